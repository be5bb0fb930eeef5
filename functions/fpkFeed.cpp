// FEED: OPENING = the previous CLOSING, CLOSING = OPENING + IN - OUT.
#include "fpkFeed.h"

#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(feedAllocator, "FeedAllocator")
}  // namespace

namespace kernel {
void feed(double prime, const double* in, const double* out, std::size_t n, double* opening, double* closing) {
    double stock = prime;
    for (std::size_t i = 0; i < n; ++i) {
        opening[i] = stock;
        stock = stock + in[i] - out[i];
        closing[i] = stock;
    }
}
}  // namespace kernel

void FPKFeed::execute() {
    traceInfo(TRACE_FPKFEED, "Information: FPKFeed::execute() begin");
    Verifier::verify(primeCol, "d");
    Verifier::verify(inCol, "d");
    Verifier::verify(outCol, "d");
    Verifier::verify(resultTab, "dd");
    ColumnBase* openingCol = resultTab->getColumn(0);
    ColumnBase* closingCol = resultTab->getColumn(1);
    if (openingCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", openingCol->getName()});
    if (closingCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", closingCol->getName()});
    const std::size_t n = inCol->size();
    if (outCol->size() != n) {
        const bool inShorter = n < outCol->size();
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_2, {"COL1", inShorter ? inCol->getName() : outCol->getName()},
                  {"COL2", inShorter ? outCol->getName() : inCol->getName()});
    }
    RhoUtils::Allocator& alloc = feedAllocator();
    const double prime = readFirst(primeCol, alloc, {TRACE_FPKFEED, "primeCol->getNative failed."});
    FpkVector<double> in = readDoubles(inCol, alloc, {TRACE_FPKFEED, "inCol->getNative failed."});
    FpkVector<double> out = readDoubles(outCol, alloc, {TRACE_FPKFEED, "outCol->getNative failed."});
    FpkVector<double> opening = makeVector<double>(alloc, n);
    FpkVector<double> closing = makeVector<double>(alloc, n);
    kernel::feed(prime, in.data(), out.data(), n, opening.data(), closing.data());
    writeDoubles(openingCol, opening.data(), n, {TRACE_FPKFEED, "openingCol->setNative failed."});
    writeDoubles(closingCol, closing.data(), n, {TRACE_FPKFEED, "closingCol->setNative failed."});
}

void qelFeed(const ColumnHandle& prime, const ColumnHandle& in, const ColumnHandle& out, TableHandle& result) {
    FPKFeed(prime.get(), in.get(), out.get(), result.get()).execute();
}

}  // namespace businessFunctions
