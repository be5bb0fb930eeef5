// DAYSOUTSTANDING (countback) and DELAYDEBT (delayed invoices), one class.
#include "fpkDaysOutstanding_DelayDebt.h"

#include <algorithm>
#include <cmath>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkDelayStock.h"
#include "fpkFeed.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(daysOutstandingAllocator, "DaysOutstanding_DelayDebtAllocator")

const QELTrace::Topic& topic() { return TRACE_FPKDAYSOUTSTANDING_DELAYDEBT; }
}  // namespace

namespace kernel {

void periodStarts(const double* length, std::size_t n, double* starts) {
    double t = 0;
    for (std::size_t i = 0; i < n; ++i) {
        starts[i] = t;
        t = t + length[i];
    }
    starts[n] = t;
}

void daysOutstanding(double prime, const double* invoice, const double* length, const double* starts,
                     const double* delay, std::size_t n, bool runOff, double* opening, double* closing,
                     double* receipts) {
    if (n == 0) return;
    const double d0 = delay[0];
    const bool spread = runOff && d0 > 0;
    double stock = prime;
    for (std::size_t t = 0; t < n; ++t) {
        const double e = starts[t + 1];
        const double s = e - delay[t];
        // Rows t, t-1, ... while their period ends after the window's start.
        double sum = 0;
        for (std::size_t i = t + 1; i-- > 0 && starts[i + 1] > s;)
            sum += invoice[i] * overlap(starts[i], starts[i + 1], s, e) / length[i];
        if (spread) sum += prime * overlap(-d0, 0, s, e) / d0;
        closing[t] = sum;
        opening[t] = stock;
        receipts[t] = stock + invoice[t] - sum;
        stock = sum;
    }
}

void delayDebt(double prime, const double* invoice, const double* length, const double* starts, const double* delay,
               std::size_t n, bool runOff, double* opening, double* closing, double* receipts) {
    if (n == 0) return;
    for (std::size_t j = 0; j < n; ++j) receipts[j] = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = starts[i] + delay[i];
        const double b = starts[i + 1] + delay[i];
        // Rows before the one holding a receive nothing of these invoices.
        std::size_t j = static_cast<std::size_t>(std::upper_bound(starts, starts + n, a) - starts);
        j = j > 0 ? j - 1 : 0;
        if (j < i) j = i;
        for (; j < n && starts[j] < b; ++j)
            receipts[j] += invoice[i] * overlap(a, b, starts[j], starts[j + 1]) / length[i];
    }
    const double d0 = delay[0];
    if (runOff && d0 > 0) {
        for (std::size_t j = 0; j < n && starts[j] < d0; ++j)
            receipts[j] += prime * overlap(0, d0, starts[j], starts[j + 1]) / d0;
    } else {
        receipts[0] += prime;
    }
    double stock = prime;
    for (std::size_t j = 0; j < n; ++j) {
        opening[j] = stock;
        stock = stock + invoice[j] - receipts[j];
        closing[j] = stock;
    }
}

}  // namespace kernel

void FPKDaysOutstanding_DelayDebt::execute() {
    traceInfo(topic(), "Information: FPKDaysOutstanding_DelayDebt::execute() begin");
    if (flag != COLLECT_FIRST && flag != RUN_OFF)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "FLAG"}, {"APPEND", "Flag should be in (0,1)"});
    const openingType opening = static_cast<openingType>(flag);
    Verifier::verify(indicatorCol, "d");
    Verifier::verify(primeCol, "d");
    Verifier::verify(invoiceCol, "d");
    Verifier::verify(durationCol, "d");
    Verifier::verify(levelCol, "d");
    Verifier::verify(daysCol, "d");
    Verifier::verify(resultTab, "ddd");
    RhoUtils::Allocator& alloc = daysOutstandingAllocator();
    if (indicatorCol->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", indicatorCol->getName()},
                  {"APPEND", "Column should have at least 1 row"});
    const double indicator = readFirst(indicatorCol, alloc, {topic(), "indicatorCol->getNative failed."});
    if (indicator != 0.0 && indicator != 1.0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", indicatorCol->getName()},
                  {"APPEND", "Indicator should be in (0,1)"});
    const delayUnit unit = indicator == 1.0 ? DAYS : PERIODS;
    if (primeCol->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", primeCol->getName()},
                  {"APPEND", "Column should have at least 1 row"});
    const std::size_t n = invoiceCol->size();
    // Lengths and delays of the unit; a row a shorter column lacks reads as
    // null, so 0.
    FpkVector<double> length = makeVector<double>(alloc, n, 1.0);
    FpkVector<double> delay = makeVector<double>(alloc);
    if (unit == PERIODS) {
        delay = readRowsPadded(levelCol, n, alloc, {topic(), "levelCol->getNative failed."});
        for (std::size_t i = 0; i < n; ++i)
            if (!(delay[i] >= 1 && delay[i] <= 12))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", levelCol->getName()},
                          {"APPEND", "Level should be between 1 and 12"});
    } else {
        length = readRowsPadded(durationCol, n, alloc, {topic(), "durationCol->getNative failed."});
        delay = readRowsPadded(daysCol, n, alloc, {topic(), "daysCol->getNative failed."});
        for (std::size_t i = 0; i < n; ++i) {
            if (!(std::isfinite(length[i]) && length[i] > 0))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", durationCol->getName()},
                          {"APPEND", "Duration should be greater than 0"});
            if (!(std::isfinite(delay[i]) && delay[i] >= 0))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", daysCol->getName()},
                          {"APPEND", "Days should not be less than 0"});
        }
    }
    const double prime = readFirst(primeCol, alloc, {topic(), "primeCol->getNative failed."});
    FpkVector<double> invoice = readDoubles(invoiceCol, alloc, {topic(), "invoiceCol->getNative failed."});
    FpkVector<double> openingV = makeVector<double>(alloc, n);
    FpkVector<double> closingV = makeVector<double>(alloc, n);
    FpkVector<double> receiptsV = makeVector<double>(alloc, n);
    FpkVector<double> starts = makeVector<double>(alloc, n + 1);
    kernel::periodStarts(length.data(), n, starts.data());
    const bool runOff = opening == RUN_OFF;
    if (selector == DAYSOUTSTANDING)
        kernel::daysOutstanding(prime, invoice.data(), length.data(), starts.data(), delay.data(), n, runOff,
                                openingV.data(), closingV.data(), receiptsV.data());
    else
        kernel::delayDebt(prime, invoice.data(), length.data(), starts.data(), delay.data(), n, runOff,
                          openingV.data(), closingV.data(), receiptsV.data());
    writeDoubles(resultTab->getColumn(0), openingV.data(), n, {topic(), "openingCol->setNative failed."});
    writeDoubles(resultTab->getColumn(1), closingV.data(), n, {topic(), "closingCol->setNative failed."});
    writeDoubles(resultTab->getColumn(2), receiptsV.data(), n, {topic(), "receiptsCol->setNative failed."});
}

void qelDaysOutstanding(const ColumnHandle& indicator, const ColumnHandle& prime, const ColumnHandle& invoice,
                        const ColumnHandle& duration, const ColumnHandle& level, const ColumnHandle& days, int flag,
                        TableHandle& result) {
    FPKDaysOutstanding_DelayDebt(FPKDaysOutstanding_DelayDebt::DAYSOUTSTANDING, indicator.get(), prime.get(),
                                 invoice.get(), duration.get(), level.get(), days.get(), flag, result.get())
        .execute();
}

void qelDelayDebt(const ColumnHandle& indicator, const ColumnHandle& prime, const ColumnHandle& invoice,
                  const ColumnHandle& duration, const ColumnHandle& level, const ColumnHandle& days, int flag,
                  TableHandle& result) {
    FPKDaysOutstanding_DelayDebt(FPKDaysOutstanding_DelayDebt::DELAYDEBT, indicator.get(), prime.get(),
                                 invoice.get(), duration.get(), level.get(), days.get(), flag, result.get())
        .execute();
}

}  // namespace businessFunctions
