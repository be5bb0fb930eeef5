// YEARTODATE: a running total that restarts with the first month of each
// year. Sequential by nature, so it runs on the calling thread.
#include "fpkYearToDate.h"

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(ytdAllocator, "YearToDateAllocator")
}  // namespace

namespace ytd {
void yearToDate(const double* sales, std::size_t n, int start, double* out) {
    double acc = 0;
    std::size_t month = static_cast<std::size_t>(start) - 1;
    for (std::size_t r = 0; r < n; ++r) {
        acc = (r == 0 || month == 0) ? sales[r] : acc + sales[r];
        out[r] = acc;
        if (++month == 12) month = 0;
    }
}
}  // namespace ytd

void FPKYeartoDate::execute() {
    traceInfo(TRACE_FPKYEARTODATE, "Information: FPKYeartoDate::execute() begin");
    Verifier::verify(salesCol, "d", "SALES");
    Verifier::verify(startDateCol, "d", "STARTDATE");
    Verifier::verify(result, "d");

    double start = 0;
    if (!controls::readFirst(startDateCol, ytdAllocator(), {TRACE_FPKYEARTODATE, "startDateCol->getNative failed."},
                             start) ||
        !controls::isWholeIn(start, 1, 12))
        FPK_RAISE(ERR_FPK_YTD_STDT_OUT_OF_RANGE);

    const std::size_t n = salesCol->size();
    FpkVector<double> sales = readDoubles(salesCol, ytdAllocator(), {TRACE_FPKYEARTODATE, "salesCol->getNative failed."});
    FpkVector<double> out = makeVector<double>(ytdAllocator(), n);
    ytd::yearToDate(sales.data(), n, static_cast<int>(start), out.data());
    writeDoubles(result->getColumn(0), out.data(), n, {TRACE_FPKYEARTODATE, "yearToDateCol->setNative failed."});
}

void qelYearToDate(const ColumnHandle& sales, const ColumnHandle& startDate, TableHandle& result) {
    FPKYeartoDate(sales.get(), startDate.get(), result.get()).execute();
}

}  // namespace businessFunctions
