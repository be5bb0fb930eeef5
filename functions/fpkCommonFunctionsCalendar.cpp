// DAYS and PROPORTION: day counts of periods and shares of a year.
#include <algorithm>
#include <string_view>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkCommonFunctions.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(daysAllocator, "DaysAllocator")
FPK_FUNCTION_ALLOCATOR(proportionAllocator, "ProportionAllocator")
}  // namespace

namespace series {

int leadingNumber(std::string_view text, std::size_t begin, std::size_t length) {
    int value = 0;
    for (std::size_t i = begin; i < begin + length && i < text.size(); ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') break;
        value = value * 10 + (c - '0');
    }
    return value;
}

long long dayNumber(int year, int month, int day) { return businessFunctions::dayNumber(year, month, day); }

long long workingDays(long long from, long long days, int perWeek) {
    const long long q = days / 7, r = days % 7, w = from % 7;
    long long count = q * perWeek;
    for (long long j = 0; j < r; ++j)
        if ((w + j) % 7 < perWeek) ++count;
    return count;
}

double yearProportion(long long year, bool startOpen, long long start, bool stopOpen, long long stop) {
    const long long first = 12 * year, last = 12 * year + 11;
    const long long lo = startOpen ? first : std::max(start, first);
    const long long hi = stopOpen ? last : std::min(stop, last);
    const long long months = hi >= lo ? hi - lo + 1 : 0;
    return static_cast<double>(months) / 12;
}

}  // namespace series

namespace {
bool missing(std::string_view text, NullFlags null) { return null != 0 || text.empty(); }

// A YYYYMMDD text checked as DAYS reads it; returns its day number.
long long checkedDay(std::string_view text) {
    const int year = series::leadingNumber(text, 0, 4);
    const int month = series::leadingNumber(text, 4, 2);
    const int day = series::leadingNumber(text, 6, 2);
    if (year < 1) FPK_RAISE(ERR_FPK_DAYS_INVALID_YEAR, {"YEAR", year});
    IsLegal(year, month, day);
    return series::dayNumber(year, month, day);
}

// Checks the dates of one row range in row order, so that with the host
// keeping the error of the lowest failing range, a call fails on the first
// bad row as a row-by-row check would.
class daysCheckvol final : public ColumnJob {
public:
    daysCheckvol(ColumnBase* from, ColumnBase* to) : from_(from), to_(to) {}
    daysCheckvol(const daysCheckvol&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = daysAllocator();
        FpkVector<std::string_view> from = makeScratch<std::string_view>(a, n), to = makeScratch<std::string_view>(a, n);
        FpkVector<NullFlags> fromNull = makeScratch<NullFlags>(a, n), toNull = makeScratch<NullFlags>(a, n);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(from_, c, stop, from.data(), fromNull.data(), {TRACE_FPKDAYS, "fromdatecol->getNative failed."});
            readRange(to_, c, stop, to.data(), toNull.data(), {TRACE_FPKDAYS, "todatecol->getNative failed."});
            // A null text reads as empty, and an empty date is not checked.
            for (std::size_t i = 0; i < stop - c; ++i) {
                if (missing(from[i], fromNull[i]) || missing(to[i], toNull[i])) continue;
                const long long f = checkedDay(from[i]);
                const long long t = checkedDay(to[i]);
                if (t < f) FPK_RAISE(ERR_FPK_DAYS_INVALID_FROMTO_DATE);
            }
        });
    }

private:
    ColumnBase* from_;
    ColumnBase* to_;
};

class daysvol final : public ColumnJob {
public:
    daysvol(ColumnBase* from, ColumnBase* to, ColumnBase* config, ColumnBase* out)
        : from_(from), to_(to), config_(config), out_(out) {}
    daysvol(const daysvol&) = default;

    template <class TF, class TT, class TC>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = daysAllocator();
        FpkVector<TF> from = makeScratch<TF>(a, n);
        FpkVector<TT> to = makeScratch<TT>(a, n);
        FpkVector<TC> config = makeScratch<TC>(a, n);
        FpkVector<double> out = makeScratch<double>(a, n);
        FpkVector<NullFlags> fromNull = makeScratch<NullFlags>(a, n), toNull = makeScratch<NullFlags>(a, n),
                             configNull = makeScratch<NullFlags>(a, n), outNull = makeScratch<NullFlags>(a, n);
        const auto day = [](std::string_view t) {
            return series::dayNumber(series::leadingNumber(t, 0, 4), series::leadingNumber(t, 4, 2),
                                     series::leadingNumber(t, 6, 2));
        };
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(from_, c, stop, from.data(), fromNull.data(), {TRACE_FPKDAYS, "fromdatecol->getNative failed."});
            readRange(to_, c, stop, to.data(), toNull.data(), {TRACE_FPKDAYS, "todatecol->getNative failed."});
            readRange(config_, c, stop, config.data(), configNull.data(), {TRACE_FPKDAYS, "configcol->getNative failed."});
            replaceNulls(config.data(), configNull.data(), stop - c, TC(0));
            for (std::size_t i = 0; i < stop - c; ++i) {
                outNull[i] = missing(from[i], fromNull[i]) || missing(to[i], toNull[i]) ? 1 : 0;
                if (outNull[i]) {
                    out[i] = 0.0;
                    continue;
                }
                const long long f = day(from[i]), d = day(to[i]) - f;
                const double k = config[i];
                out[i] = (k >= 1 && k < 7) ? static_cast<double>(series::workingDays(f, d, static_cast<int>(k)))
                                           : static_cast<double>(d);
            }
            writeRange(out_, c, stop, out.data(), outNull.data(), {TRACE_FPKDAYS, "totaldayscol->setNative failed."});
        });
    }
    void operator()(std::size_t begin, std::size_t end) override {
        run<std::string_view, std::string_view, double>(begin, end);
    }

private:
    ColumnBase* from_;
    ColumnBase* to_;
    ColumnBase* config_;
    ColumnBase* out_;
};
}  // namespace

void FPKCommonFunctions::Days(ColumnBase* fromdate, ColumnBase* todate, ColumnBase* config, InternalTable* result) {
    traceInfo(TRACE_FPKDAYS, "Information: FPKCommonFunctions::Days() begin");
    Verifier::verify(fromdate, "S", "FROMDATE");
    Verifier::verify(todate, "S", "TODATE");
    Verifier::verify(config, "d", "CONFIG");
    Verifier::verify(result, "d");
    const std::size_t n = fromdate->size();
    if (todate->size() != n || config->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "FROMDATE"}, {"COL2", "TODATE"}, {"COL3", "CONFIG"});
    RhoUtils::Allocator& a = daysAllocator();
    // Every row's dates are checked before the result is touched.
    if (n > 0) {
        auto check = makeJob<daysCheckvol>(a, fromdate, todate);
        runColumnJob(*check, n, "Days", __FILE__, __LINE__);
    }
    ColumnBase* out = result->getColumn(0);
    resizeColumn(out, n, {TRACE_FPKDAYS, "totaldayscol->setNative failed."});
    if (n == 0) return;
    auto job = makeJob<daysvol>(a, fromdate, todate, config, out);
    runColumnJob(*job, n, "Days", __FILE__, __LINE__);
}

void FPKCommonFunctions::Proportion(ColumnBase* year, ColumnBase* start, ColumnBase* stop, InternalTable* result) {
    traceInfo(TRACE_FPKPROPORTION, "Information: FPKCommonFunctions::Proportion() begin");
    Verifier::verify(year, "S", "YEAR");
    Verifier::verify(start, "S", "START");
    Verifier::verify(stop, "S", "STOP");
    Verifier::verify(result, "d");
    ColumnBase* out = result->getColumn(0);
    if (out->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "PROPORTION"});
    const std::size_t n = year->size();
    if (start->size() != n || stop->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "YEAR"}, {"COL2", "START"}, {"COL3", "STOP"});
    RhoUtils::Allocator& a = proportionAllocator();
    FpkVector<std::string_view> years = readTexts(year, a, {TRACE_FPKPROPORTION, "yearcol->getNative failed."});
    FpkVector<std::string_view> starts = readTexts(start, a, {TRACE_FPKPROPORTION, "startcol->getNative failed."});
    FpkVector<std::string_view> stops = readTexts(stop, a, {TRACE_FPKPROPORTION, "stopcol->getNative failed."});
    FpkVector<double> values = makeVector<double>(a, n);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(a, n);
    const auto month = [](std::string_view t) {
        const int y = series::leadingNumber(t, 0, 4), m = series::leadingNumber(t, 4, 2);
        IsLegal(y, m, 1);
        return 12LL * y + m - 1;
    };
    for (std::size_t i = 0; i < n; ++i) {
        const int y = years[i].empty() ? 0 : series::leadingNumber(years[i], 0, 4);
        if (y < 1) {
            nulls[i] = 1;
            continue;
        }
        const bool startOpen = starts[i].empty(), stopOpen = stops[i].empty();
        const long long s = startOpen ? 0 : month(starts[i]);
        const long long e = stopOpen ? 0 : month(stops[i]);
        if (!startOpen && !stopOpen && s > e) FPK_RAISE(ERR_FPK_PRPTN_INVALID_FROMTO_MONTH);
        values[i] = series::yearProportion(y, startOpen, s, stopOpen, e);
    }
    writeDoubles(out, values.data(), n, {TRACE_FPKPROPORTION, "proportioncol->setNative failed."}, nulls.data());
}

void qelDays(const ColumnHandle& fromdate, const ColumnHandle& todate, const ColumnHandle& config,
             TableHandle& result) {
    FPKCommonFunctions::Days(fromdate.get(), todate.get(), config.get(), result.get());
}
void qelProportion(const ColumnHandle& year, const ColumnHandle& start, const ColumnHandle& stop,
                   TableHandle& result) {
    FPKCommonFunctions::Proportion(year.get(), start.get(), stop.get(), result.get());
}

}  // namespace businessFunctions
