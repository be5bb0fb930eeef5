// FEEDOVERFLOW: OUTS = base / FACTOR, CLOSING = OPENING + IN - OUTS.
#include "fpkFeedOverflow.h"

#include <cmath>

#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkFeed.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(feedOverflowAllocator, "FeedOverflowAllocator")

// A residence time closer to zero than this is a division by zero.
const double zeroThreshold = 1.0e-10;
}  // namespace

namespace kernel {
void feedOverflow(double prime, const double* in, const double* factor, std::size_t n,
                  FPKFeedOverflow::inflowTiming timing, double* opening, double* outs, double* closing) {
    double stock = prime;
    for (std::size_t i = 0; i < n; ++i) {
        opening[i] = stock;
        const double base = timing == FPKFeedOverflow::START ? stock + in[i] : stock;
        outs[i] = base / factor[i];
        stock = stock + in[i] - outs[i];
        closing[i] = stock;
    }
}
}  // namespace kernel

void FPKFeedOverflow::execute() {
    traceInfo(TRACE_FPKFEEDOVERFLOW, "Information: FPKFeedOverflow::execute() begin");
    Verifier::verify(primeCol, "d");
    Verifier::verify(inCol, "d");
    Verifier::verify(factorCol, "d");
    Verifier::verify(indicatorCol, "d");
    Verifier::verify(resultTab, "ddd");
    ColumnBase* openingCol = resultTab->getColumn(0);
    ColumnBase* outsCol = resultTab->getColumn(1);
    ColumnBase* closingCol = resultTab->getColumn(2);
    for (ColumnBase* c : {openingCol, outsCol, closingCol})
        if (c->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", c->getName()});
    const std::size_t n = inCol->size();
    if (factorCol->size() != n) {
        const bool inShorter = n < factorCol->size();
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", inShorter ? inCol->getName() : factorCol->getName()},
                  {"COL2", inShorter ? factorCol->getName() : inCol->getName()});
    }
    RhoUtils::Allocator& alloc = feedOverflowAllocator();
    FpkVector<double> factor = readDoubles(factorCol, alloc, {TRACE_FPKFEEDOVERFLOW, "factorCol->getNative failed."});
    for (std::size_t i = 0; i < n; ++i)
        if (!(std::fabs(factor[i]) >= zeroThreshold)) FPK_RAISE(ERR_FPK_COMM_DIVIDE_BY_ZERO, {"ZERO_THRESHOLD", "1e-10"});
    const double prime = readFirst(primeCol, alloc, {TRACE_FPKFEEDOVERFLOW, "primeCol->getNative failed."});
    const double indicator = readFirst(indicatorCol, alloc, {TRACE_FPKFEEDOVERFLOW, "indicatorCol->getNative failed."});
    const inflowTiming timing = indicator == 1.0 ? START : END;
    FpkVector<double> in = readDoubles(inCol, alloc, {TRACE_FPKFEEDOVERFLOW, "inCol->getNative failed."});
    FpkVector<double> opening = makeVector<double>(alloc, n);
    FpkVector<double> outs = makeVector<double>(alloc, n);
    FpkVector<double> closing = makeVector<double>(alloc, n);
    kernel::feedOverflow(prime, in.data(), factor.data(), n, timing, opening.data(), outs.data(), closing.data());
    writeDoubles(openingCol, opening.data(), n, {TRACE_FPKFEEDOVERFLOW, "openingCol->setNative failed."});
    writeDoubles(outsCol, outs.data(), n, {TRACE_FPKFEEDOVERFLOW, "outsCol->setNative failed."});
    writeDoubles(closingCol, closing.data(), n, {TRACE_FPKFEEDOVERFLOW, "closingCol->setNative failed."});
}

void qelFeedOverflow(const ColumnHandle& prime, const ColumnHandle& in, const ColumnHandle& factor,
                     const ColumnHandle& indicator, TableHandle& result) {
    FPKFeedOverflow(prime.get(), in.get(), factor.get(), indicator.get(), result.get()).execute();
}

}  // namespace businessFunctions
