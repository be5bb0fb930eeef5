// DELAYSTOCK: closing stock as forward cover, purchases as the balancing figure.
#include "fpkDelayStock.h"

#include <cmath>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkFeed.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(delayStockAllocator, "DelayStockAllocator")

inline double positiveOrZero(double x) { return std::isfinite(x) && x > 0 ? x : 0.0; }
}  // namespace

namespace kernel {
void delayStock(double prime, const double* demand, const double* cover, const double* length, std::size_t n,
                double* opening, double* closing, double* purchases) {
    if (n == 0) return;
    // Period i runs from T[i] to T[i+1] = T[i] + length[i], T[0] = 0; the
    // starts are summed on the fly in the same order, so they are the same
    // doubles as a stored prefix sum.
    const double lastRate = length[n - 1] > 0 ? demand[n - 1] / length[n - 1] : 0.0;
    double tEnd = 0;  // T[n]
    for (std::size_t i = 0; i < n; ++i) tEnd += length[i];
    double tNext = 0;  // T[t+1]
    double stock = prime;
    for (std::size_t t = 0; t < n; ++t) {
        tNext += length[t];
        const double e = tNext;
        const double f = e + cover[t];
        double sum = 0;
        double ti = e;  // T[i] for i = t+1
        for (std::size_t i = t + 1; i < n && ti < f; ++i) {
            const double next = ti + length[i];
            if (length[i] != 0) sum += demand[i] * overlap(ti, next, e, f) / length[i];
            ti = next;
        }
        if (f > tEnd) sum += lastRate * (f - tEnd);
        closing[t] = sum;
        opening[t] = stock;
        purchases[t] = sum + demand[t] - stock;
        stock = sum;
    }
}
}  // namespace kernel

void FPKDelayStock::execute() {
    traceInfo(TRACE_FPKDELAYSTOCK, "Information: FPKDelayStock::execute() begin");
    Verifier::verify(primeCol, "d");
    Verifier::verify(demandCol, "d");
    Verifier::verify(levelCol, "d");
    Verifier::verify(daysCol, "d");
    Verifier::verify(indicatorCol, "d");
    Verifier::verify(resultTab, "ddd");
    if (primeCol->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", primeCol->getName()},
                  {"APPEND", "Column should have at least 1 row"});
    const std::size_t n = demandCol->size();
    if (levelCol->size() != n || daysCol->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", demandCol->getName()}, {"COL2", levelCol->getName()},
                  {"COL3", daysCol->getName()});
    if (indicatorCol->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", indicatorCol->getName()},
                  {"APPEND", "Column should have at least 1 row"});
    RhoUtils::Allocator& alloc = delayStockAllocator();
    const double prime = readFirst(primeCol, alloc, {TRACE_FPKDELAYSTOCK, "primeCol->getNative failed."});
    const double indicator = readFirst(indicatorCol, alloc, {TRACE_FPKDELAYSTOCK, "indicatorCol->getNative failed."});
    const coverUnit unit = indicator == 1.0 ? DAYS : PERIODS;
    FpkVector<double> demand = readDoubles(demandCol, alloc, {TRACE_FPKDELAYSTOCK, "demandCol->getNative failed."});
    FpkVector<double> cover = readDoubles(levelCol, alloc, {TRACE_FPKDELAYSTOCK, "levelCol->getNative failed."});
    for (double& c : cover) c = positiveOrZero(c);
    FpkVector<double> length = makeVector<double>(alloc, n, 1.0);
    if (unit == DAYS) {
        length = readDoubles(daysCol, alloc, {TRACE_FPKDELAYSTOCK, "daysCol->getNative failed."});
        for (double& l : length) l = positiveOrZero(l);
    }
    FpkVector<double> opening = makeVector<double>(alloc, n);
    FpkVector<double> closing = makeVector<double>(alloc, n);
    FpkVector<double> purchases = makeVector<double>(alloc, n);
    kernel::delayStock(prime, demand.data(), cover.data(), length.data(), n, opening.data(), closing.data(),
                       purchases.data());
    writeDoubles(resultTab->getColumn(0), opening.data(), n, {TRACE_FPKDELAYSTOCK, "openingCol->setNative failed."});
    writeDoubles(resultTab->getColumn(1), closing.data(), n, {TRACE_FPKDELAYSTOCK, "closingCol->setNative failed."});
    writeDoubles(resultTab->getColumn(2), purchases.data(), n,
                 {TRACE_FPKDELAYSTOCK, "purchasesCol->setNative failed."});
}

void qelDelayStock(const ColumnHandle& prime, const ColumnHandle& demand, const ColumnHandle& level,
                   const ColumnHandle& days, const ColumnHandle& indicator, TableHandle& result) {
    FPKDelayStock(prime.get(), demand.get(), level.get(), days.get(), indicator.get(), result.get()).execute();
}

}  // namespace businessFunctions
