// LINEARAVERAGE: x = 0..n-1, xbar = (n-1)/2, ybar = sum(y)/n,
// b = Sxy/Sxx, a = ybar - b*xbar, result a + b*i.
#include "fpkLinearAverage.h"

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(linearAverageAllocator, "LinearAverageAllocator")
}  // namespace

namespace linear {
void linearAverage(const double* y, std::size_t n, double* out) {
    if (n == 0) return;
    const double count = static_cast<double>(n);
    const double xbar = (count - 1) / 2;
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i) sum += y[i];
    const double ybar = sum / count;
    if (n == 1) {
        out[0] = ybar;
        return;
    }
    double sxy = 0, sxx = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double dx = static_cast<double>(i) - xbar;
        sxy += dx * (y[i] - ybar);
        sxx += dx * dx;
    }
    const double b = sxy / sxx;
    const double a = ybar - b * xbar;
    for (std::size_t i = 0; i < n; ++i) out[i] = a + b * static_cast<double>(i);
}
}  // namespace linear

void FPKLinearAverage::execute() {
    traceInfo(TRACE_FPKLINEARAVERAGE, "Information: FPKLinearAverage::execute() begin");
    Verifier::verify(salesCol, "d", "SALES");
    Verifier::verify(result, "d");
    ColumnBase* averagedCol = result->getColumn(0);
    if (averagedCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "AVERAGED_RESULT"});

    const std::size_t n = salesCol->size();
    FpkVector<double> y =
        readDoubles(salesCol, linearAverageAllocator(), {TRACE_FPKLINEARAVERAGE, "salesCol->getNative failed."});
    FpkVector<double> out = makeVector<double>(linearAverageAllocator(), n);
    linear::linearAverage(y.data(), n, out.data());
    writeDoubles(averagedCol, out.data(), n, {TRACE_FPKLINEARAVERAGE, "averagedCol->setNative failed."});
}

void qelLinearAverage(const ColumnHandle& sales, TableHandle& result) {
    FPKLinearAverage(sales.get(), result.get()).execute();
}

}  // namespace businessFunctions
