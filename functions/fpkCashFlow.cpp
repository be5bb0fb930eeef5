// DISCOUNTEDCASHFLOW and INFLATEDCASHFLOW.
#include "fpkCashFlow.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <string_view>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkIsaDispatch.h"
#include "../common/fpkVectorMath.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(cashFlowAllocator, "CashFlowAllocator")

// Rows read at a time by the checks on the calling thread and by the slices
// of a column job.
constexpr std::size_t kCheckRows = 65536;
constexpr std::size_t kSliceRows = 8192;

const IoSite kPrimeRead{TRACE_FPKCASHFLOW, "primeCol->getNative failed."};
const IoSite kTimeRead{TRACE_FPKCASHFLOW, "timeCol->getNative failed."};
const IoSite kRateRead{TRACE_FPKCASHFLOW, "rateCol->getNative failed."};
const IoSite kAprRead{TRACE_FPKCASHFLOW, "aprCol->getNative failed."};
const IoSite kSwitchoverRead{TRACE_FPKCASHFLOW, "switchoverCol->getNative failed."};
const IoSite kResultWrite{TRACE_FPKCASHFLOW, "resultCol->setNative failed."};

[[noreturn]] void raiseValue(const ColumnBase* col, const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col->getName()}, {"APPEND", append});
}

// Row 0 of a numeric control column; a null reads as 0.
double controlValue(const ColumnBase* col, IoSite site) {
    if (col->size() == 0) raiseValue(col, "Column should have at least 1 row");
    double v = 0;
    NullFlags null = 0;
    readRange(col, 0, 1, &v, &null, site);
    return null ? 0.0 : v;
}
}  // namespace

namespace cashflow {

namespace {
// The base and the power of planned rows first .. first + m - 1 (all after
// the history): base 1 + rate/100 (a null rate is 0 %), power (r - offset)
// periods in years.
FPK_KERNEL void powerTermsKernel(const double* rate, const unsigned char* rateNull, long distance,
                                 double periodsPerYear, std::size_t m, double* base, double* power) {
    for (std::size_t i = 0; i < m; ++i) {
        const double rt = rateNull[i] ? 0.0 : rate[i];
        base[i] = 1 + rt / 100;
        power[i] = static_cast<double>(distance + static_cast<long>(i)) / periodsPerYear;
    }
}
FPK_DISPATCHED(void, powerTerms,
               (const double* rate, const unsigned char* rateNull, long distance, double periodsPerYear,
                std::size_t m, double* base, double* power),
               (rate, rateNull, distance, periodsPerYear, m, base, power))

// out[i] holds the growth factor g of planned row i on entry.
FPK_KERNEL void applyGrowthKernel(bool discounted, const double* prime, std::size_t m, double* out) {
    if (discounted)
        for (std::size_t i = 0; i < m; ++i) out[i] = prime[i] / out[i];
    else
        for (std::size_t i = 0; i < m; ++i) out[i] = prime[i] * out[i];
}
FPK_DISPATCHED(void, applyGrowth, (bool discounted, const double* prime, std::size_t m, double* out),
               (discounted, prime, m, out))
}  // namespace

FPK_KERNEL std::size_t countBadRatesKernel(const double* rate, const unsigned char* null, std::size_t n) {
    std::size_t bad = 0;
    for (std::size_t i = 0; i < n; ++i) bad += (null[i] == 0 && !(rate[i] > -100)) ? 1 : 0;
    return bad;
}
FPK_DISPATCHED(std::size_t, countBadRates, (const double* rate, const unsigned char* null, std::size_t n),
               (rate, null, n))

void rows(FPKCashFlow::cashFlowType type, std::size_t first, std::size_t count, const double* prime,
          const unsigned char* primeNull, const double* rate, const unsigned char* rateNull, long offset,
          double periodsPerYear, double* out, unsigned char* outNull, double* work) {
    // Rows up to the offset are history; the rest of the slice is planned.
    const long f = static_cast<long>(first);
    const std::size_t history =
        offset < f ? 0 : std::min(count, static_cast<std::size_t>(offset - f) + 1);
    std::copy(prime, prime + history, out);
    const std::size_t m = count - history;
    double* base = work;
    double* power = work + m;
    powerTerms(rate + history, rateNull + history, f + static_cast<long>(history) - offset, periodsPerYear, m, base,
               power);
    vmath::pow(base, power, out + history, m);
    applyGrowth(type == FPKCashFlow::DISCOUNTED, prime + history, m, out + history);
    std::copy(primeNull, primeNull + count, outNull);
    replaceNulls(out, primeNull, count, 0.0);
}

}  // namespace cashflow

namespace {
// One row range of the plan: reads PRIME and RATE with their null flags,
// computes the rows and writes them with their null flags in one write.
class cashFlowvol final : public ColumnJob {
public:
    cashFlowvol(ColumnBase* prime, ColumnBase* rate, ColumnBase* result, int type, long offset,
                double periodsPerYear)
        : primeCol_(prime),
          rateCol_(rate),
          resultCol_(result),
          type_(type),
          offset_(offset),
          periodsPerYear_(periodsPerYear) {}
    cashFlowvol(const cashFlowvol&) = default;

    // The range is computed in slices of kSliceRows, so that its scratch
    // stays in cache and is taken from the allocator once per range.
    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t m = end - begin < kSliceRows ? end - begin : kSliceRows;
        RhoUtils::Allocator& alloc = cashFlowAllocator();
        FpkVector<T> prime = makeScratch<T>(alloc, m);
        FpkVector<T> rate = makeScratch<T>(alloc, m);
        FpkVector<T> out = makeScratch<T>(alloc, m);
        FpkVector<NullFlags> primeNull = makeScratch<NullFlags>(alloc, m);
        FpkVector<NullFlags> rateNull = makeScratch<NullFlags>(alloc, m);
        FpkVector<NullFlags> outNull = makeScratch<NullFlags>(alloc, m);
        FpkVector<double> work = makeScratch<double>(alloc, 2 * m);
        for (std::size_t b = begin; b < end; b += m) {
            const std::size_t e = end - b < m ? end : b + m;
            readRange(primeCol_, b, e, prime.data(), primeNull.data(), kPrimeRead);
            readRange(rateCol_, b, e, rate.data(), rateNull.data(), kRateRead);
            cashflow::rows(static_cast<FPKCashFlow::cashFlowType>(type_), b, e - b, prime.data(), primeNull.data(),
                           rate.data(), rateNull.data(), offset_, periodsPerYear_, out.data(), outNull.data(),
                           work.data());
            writeRange(resultCol_, b, e, out.data(), outNull.data(), kResultWrite);
        }
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* primeCol_;
    ColumnBase* rateCol_;
    ColumnBase* resultCol_;
    int type_;
    long offset_;
    double periodsPerYear_;
};
// Looks for a planned RATE of -100 or less (or NaN) in one range of the
// planned rows; a null rate is 0 % and passes.
class rateCheckvol final : public ColumnJob {
public:
    rateCheckvol(const ColumnBase* rate, std::size_t firstPlanned, std::atomic<bool>* bad)
        : rateCol_(rate), first_(firstPlanned), bad_(bad) {}
    rateCheckvol(const rateCheckvol&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        const std::size_t m = end - begin < kSliceRows ? end - begin : kSliceRows;
        RhoUtils::Allocator& alloc = cashFlowAllocator();
        FpkVector<double> rate = makeScratch<double>(alloc, m);
        FpkVector<NullFlags> null = makeScratch<NullFlags>(alloc, m);
        for (std::size_t b = begin; b < end; b += m) {
            const std::size_t e = end - b < m ? end : b + m;
            readRange(rateCol_, first_ + b, first_ + e, rate.data(), null.data(), kRateRead);
            if (cashflow::countBadRates(rate.data(), null.data(), e - b) != 0) bad_->store(true, std::memory_order_relaxed);
        }
    }

private:
    const ColumnBase* rateCol_;
    std::size_t first_;
    std::atomic<bool>* bad_;
};
}  // namespace

long FPKCashFlow::historyOffset(std::size_t n, int year, int month, int day) const {
    if (year == 0) return -1;  // NONE: no history, TIME is not read
    const char* name = timeCol->getName();
    RhoUtils::Allocator& alloc = cashFlowAllocator();
    // Keys are read a chunk at a time, so the walk stops reading at the first
    // planned row.
    for (std::size_t begin = 0; begin < n; begin += kCheckRows) {
        const std::size_t end = begin + kCheckRows < n ? begin + kCheckRows : n;
        FpkVector<std::string_view> keys = readTexts(timeCol, begin, end, alloc, kTimeRead);
        const int inChunk = historyOffsetOfKeys(keys.data(), keys.size(), name, year, month, day);
        if (inChunk < static_cast<int>(keys.size()) - 1) return static_cast<long>(begin) + inChunk;
    }
    return static_cast<long>(n) - 1;
}

double FPKCashFlow::periodsPerYear(std::size_t n, aprType apr) const {
    if (apr == PER_PERIOD) return 1;
    const char* name = timeCol->getName();
    FpkVector<std::string_view> keys = readTexts(timeCol, 0, n >= 2 ? 2 : 1, cashFlowAllocator(), kTimeRead);
    int y, m, d;
    periodKeyStart(keys[0], name, y, m, d);
    switch (keys[0].size()) {
        case 4:
            return 1;
        case 5:
            return 4;
        case 6:
            return 12;
        default: {
            // Daily or weekly keys: a year of 365 days over the distance of
            // the first two keys (one day when there is no second key or it
            // does not lie after the first).
            int days = 1;
            if (n >= 2) {
                calculate_Time(keys[0], keys[1], days, name);
                if (days < 1) days = 1;
            }
            return 365.0 / days;
        }
    }
}

void FPKCashFlow::execute() {
    traceInfo(TRACE_FPKCASHFLOW, "Information: FPKCashFlow::execute() begin");
    Verifier::verify(primeCol, "d");
    Verifier::verify(timeCol, "S");
    Verifier::verify(rateCol, "d");
    Verifier::verify(aprCol, "d");
    Verifier::verify(switchoverCol, "d");
    Verifier::verify(switchoverDateCol, "S");
    Verifier::verify(resultTab, "d");

    ColumnBase* resultCol = resultTab->getColumn(0);
    if (resultCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", resultCol->getName()});
    if (!resultCol->isFixedSize()) FPK_RAISE(ERR_FPK_COMM_COL_NOT_FIXED_SIZE_TYPE, {"COL", resultCol->getName()});

    const std::size_t n = primeCol->size();
    if (timeCol->size() != n) raiseValue(timeCol, "Size should be equal to size of PRIME");
    if (rateCol->size() != n) raiseValue(rateCol, "Size should be equal to size of PRIME");

    const double aprValue = controlValue(aprCol, kAprRead);
    if (!(aprValue == 0 || aprValue == 1)) raiseValue(aprCol, "APR should be in (0,1)");
    const aprType apr = aprValue == 1 ? ANNUAL : PER_PERIOD;

    if (switchoverCol->size() == 0) raiseValue(switchoverCol, "Column should have at least 1 row");
    int year = 0, month = 0, day = 0;
    {
        double kind = 0;
        NullFlags null = 0;
        readRange(switchoverCol, 0, 1, &kind, &null, kSwitchoverRead);
        if (!null)
            Common_SwitchOver(switchoverCol, switchoverDateCol, static_cast<int>(n), true, true, year, month, day);
    }

    if (n == 0) {
        resizeColumn(resultCol, 0, kResultWrite);
        return;
    }

    const long offset = historyOffset(n, year, month, day);
    const double p = periodsPerYear(n, apr);

    // Every planned RATE is checked before any row is written, so the job
    // itself raises no value error. The check runs as a column job of its
    // own; a bad rate is noted and raised after it, so that a failed read
    // anywhere still decides the error first.
    const std::size_t firstPlanned = static_cast<std::size_t>(offset + 1);
    if (firstPlanned < n) {
        std::atomic<bool> bad{false};
        RhoUtils::SharedPtr<rateCheckvol> check =
            makeJob<rateCheckvol>(cashFlowAllocator(), rateCol, firstPlanned, &bad);
        runColumnJob(*check, n - firstPlanned, type == DISCOUNTED ? "DiscountedCashFlow" : "InflatedCashFlow",
                     __FILE__, __LINE__);
        if (bad.load()) raiseValue(rateCol, "Rate should be greater than -100");
    }

    resizeColumn(resultCol, n, kResultWrite);
    RhoUtils::SharedPtr<cashFlowvol> job =
        makeJob<cashFlowvol>(cashFlowAllocator(), primeCol, rateCol, resultCol, static_cast<int>(type), offset, p);
    runColumnJob(*job, n, type == DISCOUNTED ? "DiscountedCashFlow" : "InflatedCashFlow", __FILE__, __LINE__);
}

// Front doors.
void qelDiscountedCashFlow(const ColumnHandle& prime, const ColumnHandle& time, const ColumnHandle& rate,
                           const ColumnHandle& apr, const ColumnHandle& switchover,
                           const ColumnHandle& switchoverDate, TableHandle& result) {
    FPKCashFlow f(FPKCashFlow::DISCOUNTED, prime.get(), time.get(), rate.get(), apr.get(), switchover.get(),
                  switchoverDate.get(), result.get());
    f.execute();
}

void qelInflatedCashFlow(const ColumnHandle& prime, const ColumnHandle& time, const ColumnHandle& rate,
                         const ColumnHandle& apr, const ColumnHandle& switchover, const ColumnHandle& switchoverDate,
                         TableHandle& result) {
    FPKCashFlow f(FPKCashFlow::INFLATED, prime.get(), time.get(), rate.get(), apr.get(), switchover.get(),
                  switchoverDate.get(), result.get());
    f.execute();
}

}  // namespace businessFunctions
