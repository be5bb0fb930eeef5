// INTERNALRATE.
//
// One rate for the whole series (written to row 0), or, when some METHOD
// value is 1, one rate per row: a row with METHOD 0 for the series from
// itself to the end, any other row for the series from row 0 up to itself.
// Per-row searches are independent and run as column jobs; when one fails,
// the rows before it are written and the call ends.
#include "fpkInternalRate.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkNetPresentValue.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(internalRateAllocator, "InternalRateAllocator")
}  // namespace

namespace irr {

double func(const double* values, const double* pows, std::size_t start, std::size_t end, double x) {
    double s = 0;
    for (std::size_t j = start; j < end; ++j) s += values[j] * std::pow(x, pows[j]);
    return s;
}

double func1(const double* values, const double* pows, std::size_t start, std::size_t end, double x) {
    double s = 0;
    for (std::size_t j = start; j < end; ++j)
        if (pows[j] != 0) s += values[j] * pows[j] * std::pow(x, pows[j] - 1);
    return s;
}

namespace {
struct Eval {
    double f = 0;  // func(x)
    double d = 0;  // func1(x)
};

// func and func1 in one pass. For a positive x the powers come from one
// logarithm (x^p = exp(p log x), x^(p-1) = x^p / x).
Eval evaluate(const double* values, const double* pows, std::size_t count, double x) {
    Eval e;
    if (x > 0 && std::isfinite(x)) {
        const double lx = std::log(x);
        for (std::size_t j = 0; j < count; ++j) {
            const double p = pows[j];
            const double xp = std::exp(p * lx);
            e.f += values[j] * xp;
            if (p != 0) e.d += values[j] * p * (xp / x);
        }
    } else {
        e.f = func(values, pows, 0, count, x);
        e.d = func1(values, pows, 0, count, x);
    }
    return e;
}
}  // namespace

Root solve(const double* values, const double* pows, std::size_t count, double estimate) {
    double x = 1.0 / (1.0 + (estimate == 0 ? 0.1 : estimate));
    Eval e = evaluate(values, pows, count, x);
    for (int32_t cyc = 0; cyc < maxCyc; ++cyc) {
        if (e.d == 0) return {};
        const double next = x - e.f / e.d;
        const Eval en = evaluate(values, pows, count, next);
        if (std::fabs(next - x) < precision || std::fabs(en.f) < precision) return {true, next};
        x = next;
        e = en;
        // From a non-number the search can never stop: it would fail after
        // the remaining steps.
        if (std::isnan(x)) return {};
    }
    return {};
}

}  // namespace irr

void FPKInternalRate::execute() {
    traceInfo(TRACE_FPKINTERNALRATE, "Information: FPKInternalRate::execute() begin");
    Verifier::verify(valuesCol, "d");
    Verifier::verify(flagCol, "d");
    Verifier::verify(estimateCol, "d");
    Verifier::verify(methodCol, "d");
    Verifier::verify(daysCol, "d");
    Verifier::verify(result, "d");
    execute_internalRate(internalRateAllocator());
}

void FPKInternalRate::execute_internalRate(RhoUtils::Allocator& alloc) {
    using NPV = FPKNetPresentValue;
    const std::size_t n = valuesCol->size();
    const FpkVector<double> flagValues =
        readDoubles(flagCol, 0, n, alloc, {TRACE_FPKINTERNALRATE, "flagCol->getNative failed."});
    FpkVector<NPV::FlagType> flags = makeVector<NPV::FlagType>(alloc, n, NPV::END);
    bool anyUser = false;
    for (std::size_t i = 0; i < n; ++i) {
        NPV::convert2Flag(flagValues[i], flags[i], flagCol->getName());
        anyUser = anyUser || flags[i] == NPV::USER;
    }
    FpkVector<int> day = makeVector<int>(alloc, n), month = makeVector<int>(alloc, n);
    if (anyUser) {
        Verifier::verify(dateCol, "S");
        const FpkVector<std::string_view> dates =
            readTexts(dateCol, 0, n, alloc, {TRACE_FPKINTERNALRATE, "dateCol->getNative failed."});
        for (std::size_t i = 0; i < n; ++i)
            if (flags[i] == NPV::USER && !NPV::parsePayDate(dates[i], day[i], month[i]))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", dateCol->getName()},
                          {"APPEND", "Pay date should be DD.MM with a day in 1..31 and a month in 1..12"});
    }
    const FpkVector<double> values =
        readDoubles(valuesCol, 0, n, alloc, {TRACE_FPKINTERNALRATE, "The value of valuesCol is empty!"});
    const FpkVector<double> days =
        readDoubles(daysCol, 0, n, alloc, {TRACE_FPKINTERNALRATE, "The value of dayscol is empty!"});
    const FpkVector<double> estimate =
        readDoubles(estimateCol, alloc, {TRACE_FPKINTERNALRATE, "estimateCol->getNative failed."});
    const FpkVector<double> method =
        readDoubles(methodCol, alloc, {TRACE_FPKINTERNALRATE, "methodCol->getNative failed."});

    FpkVector<double> first = makeVector<double>(alloc, n), later = makeVector<double>(alloc, n);
    for (std::size_t i = 0; i < n; ++i) {
        NPV::calculate_days(true, flags[i], days[i], day[i], month[i], first[i]);
        NPV::calculate_days(false, flags[i], days[i], day[i], month[i], later[i]);
    }
    // Rows beyond the end of ESTIMATE start from 0.1, beyond METHOD count as 0.
    auto estimateAt = [&](std::size_t i) { return i < estimate.size() ? estimate[i] : 0.0; };
    auto methodAt = [&](std::size_t i) { return i < method.size() ? std::trunc(method[i]) : 0.0; };
    const bool perRow = std::any_of(method.begin(), method.end(), [](double m) { return std::trunc(m) == 1; });

    // The chain anchored at row 0, shared by the whole-series rate and by
    // every row that takes the series up to itself.
    FpkVector<double> anchored = makeVector<double>(alloc, n);
    npv::chainTimes(days.data(), first.data(), later.data(), 0, n, anchored.data());
    ColumnBase* out = tableColumn(result, 0);
    const IoSite writeSite{TRACE_FPKINTERNALRATE, "resultCol->setNative failed."};

    if (!perRow) {
        const irr::Root root = irr::solve(values.data(), anchored.data(), n, estimateAt(0));
        if (!root.found) FPK_RAISE_TRACED(TRACE_FPKINTERNALRATE, "No appropriate value!", ERR_FPK_COMM_INTERNAL_ERR);
        const double rate = 1.0 / root.x - 1.0;
        writeDoubles(out, &rate, 1, writeSite);
        return;
    }

    FpkVector<double> rates = makeVector<double>(alloc, n);
    std::atomic<std::size_t> firstFailure{n};
    auto row = [&](std::size_t i) {
        if (i > firstFailure.load(std::memory_order_relaxed)) return;  // never written
        irr::Root root;
        if (methodAt(i) == 0) {
            FpkVector<double> pows = makeVector<double>(alloc, n - i);
            npv::chainTimes(days.data(), first.data(), later.data(), i, n, pows.data());
            root = irr::solve(values.data() + i, pows.data(), n - i, estimateAt(i));
        } else {
            root = irr::solve(values.data(), anchored.data(), i + 1, estimateAt(i));
        }
        if (root.found) {
            rates[i] = 1.0 / root.x - 1.0;
            return;
        }
        std::size_t seen = firstFailure.load();
        while (i < seen && !firstFailure.compare_exchange_weak(seen, i)) {
        }
    };
    npv::runFoldedRows(alloc, row, n, n / 2, "InternalRate", __FILE__, __LINE__);
    const std::size_t written = firstFailure.load();
    writeDoubles(out, rates.data(), written, writeSite);
    if (written < n) FPK_RAISE_TRACED(TRACE_FPKINTERNALRATE, "No appropriate value!", ERR_FPK_COMM_INTERNAL_ERR);
}

void qelInternalRate(const ColumnHandle& values, const ColumnHandle& flag, const ColumnHandle& date,
                     const ColumnHandle& estimate, const ColumnHandle& method, const ColumnHandle& days,
                     TableHandle& result) {
    FPKInternalRate fn(values.get(), flag.get(), date.get(), estimate.get(), method.get(), days.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
