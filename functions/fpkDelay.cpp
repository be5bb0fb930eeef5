// DELAY: RESULT[t] = sum over k of INVOICE[t-k] x share(t-k, k), plus the
// run-off of the opening balance.
#include "fpkDelay.h"

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(delayAllocator, "DelayAllocator")

// Table check with a column type that has no letter reported under the
// table's parameter name; every other outcome as the common verifier has it.
void verifyTable(const InternalTable* table, const char* pattern, const char* paramName) {
    if (table != nullptr && Verifier::verifyTab(table, std::string("^") + pattern + "$") == 3)
        FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", paramName});
    Verifier::verify(table, pattern);
}
}  // namespace

namespace kernel {
void delay(double prime, const double* invoice, std::size_t n, const double* shares, std::size_t r, std::size_t m,
           double* result) {
    auto share = [&](std::size_t i, std::size_t k) -> double {
        if (r == 0) return 0.0;
        return shares[(i < r ? i : r - 1) * m + k];
    };
    // Opening run-off: had a constant x been invoiced every period before
    // row 0 and paid by the profile of row 0, x * S would be outstanding now
    // and x * (p[t+1] + ... + p[m-1]) of it would fall due in row t.
    double s = 0;
    for (std::size_t k = 1; k < m; ++k) s += static_cast<double>(k) * share(0, k);
    for (std::size_t t = 0; t < n; ++t) {
        double sum = 0;
        const std::size_t kEnd = t + 1 < m ? t + 1 : m;
        for (std::size_t k = 0; k < kEnd; ++k) sum += invoice[t - k] * share(t - k, k);
        double runOff = 0;
        if (s == 0) {
            runOff = t == 0 ? prime : 0.0;
        } else if (t + 1 < m) {
            double tail = 0;
            for (std::size_t k = t + 1; k < m; ++k) tail += share(0, k);
            runOff = prime * tail / s;
        }
        result[t] = sum + runOff;
    }
}
}  // namespace kernel

void FPKDelay::execute() {
    traceInfo(TRACE_FPKDELAY, "Information: FPKDelay::execute() begin");
    verifyTable(primeTab, "[Id]", "PRIME");
    verifyTable(invoiceTab, "[Id]", "INVOICE");
    verifyTable(paidTab, "[Id]+", "PAID");
    verifyTable(resultTab, "d", "result");
    RhoUtils::Allocator& alloc = delayAllocator();
    const ColumnBase* primeCol = primeTab->getColumn(0);
    const ColumnBase* invoiceCol = invoiceTab->getColumn(0);
    const std::size_t n = invoiceCol->size();
    const std::size_t m = paidTab->getColumnCount();
    // PAID's row count is that of its longest column; a shorter column's
    // missing cells are null, so 0 %. Rows past the last invoice row are
    // never used.
    std::size_t r = 0;
    for (std::size_t k = 0; k < m; ++k)
        if (paidTab->getColumn(k)->size() > r) r = paidTab->getColumn(k)->size();
    if (r > n) r = n;
    const IoSite paidSite{TRACE_FPKDELAY, "paidTab->getNative failed."};
    FpkVector<double> shares = makeVector<double>(alloc, r * m);
    for (std::size_t k = 0; k < m; ++k) {
        const ColumnBase* c = paidTab->getColumn(k);
        const std::size_t rows = c->size() < r ? c->size() : r;
        FpkVector<double> v = readDoubles(c, 0, rows, alloc, paidSite);
        for (std::size_t i = 0; i < rows; ++i) shares[i * m + k] = v[i] / 100;
    }
    double prime = 0;
    if (primeCol->size() > 0) prime = readDoubles(primeCol, 0, 1, alloc, {TRACE_FPKDELAY, "primeTab->getNative failed."})[0];
    FpkVector<double> invoice = readDoubles(invoiceCol, alloc, {TRACE_FPKDELAY, "invoiceTab->getNative failed."});
    FpkVector<double> result = makeVector<double>(alloc, n);
    kernel::delay(prime, invoice.data(), n, shares.data(), r, m, result.data());
    writeDoubles(resultTab->getColumn(0), result.data(), n, {TRACE_FPKDELAY, "resultCol->setNative failed."});
}

void qelDelay(const TableHandle& prime, const TableHandle& invoice, const TableHandle& paid, TableHandle& result) {
    FPKDelay(prime.get(), invoice.get(), paid.get(), result.get()).execute();
}

}  // namespace businessFunctions
