// YEARTODATESTATISTICAL: ORIGINAL[r] = Y[r] where row r opens a year (or is
// row 0), else Y[r] - Y[r-1].
#include "fpkYeartoDateStatistical.h"

#include <algorithm>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(ytdStatAllocator, "YearToDateStatisticalAllocator")

const IoSite kSeriesRead{TRACE_FPKYEARTODATESTAT, "ytdSeriesCol->getNative failed."};
const IoSite kStartRead{TRACE_FPKYEARTODATESTAT, "startDateCol->getNative failed."};
const IoSite kOriginalWrite{TRACE_FPKYEARTODATESTAT, "originalCol->setNative failed."};

// One row range of YEARTODATESTATISTICAL. Each chunk reads its own rows and
// the row before them, so the series passes through memory once.
class YeartoDateStatisticalvol final : public ColumnJob {
public:
    YeartoDateStatisticalvol(const ColumnBase* series, ColumnBase* out, int start)
        : seriesCol_(series), originalCol_(out), start_(start) {}
    YeartoDateStatisticalvol(const YeartoDateStatisticalvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t chunk = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = ytdStatAllocator();
        FpkVector<double> y = makeScratch<double>(a, chunk + 1);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(a, chunk + 1);
        FpkVector<T> out = makeScratch<T>(a, chunk);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            const std::size_t first = c == 0 ? 0 : c - 1;
            readRange(seriesCol_, first, stop, y.data(), nulls.data(), kSeriesRead);
            replaceNulls(y.data(), nulls.data(), stop - first, 0.0);
            ytdstat::periodValues(y.data(), first, c, stop, start_, out.data());
            writeRange(originalCol_, c, stop, out.data(), nullptr, kOriginalWrite);
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    const ColumnBase* seriesCol_;
    ColumnBase* originalCol_;
    int start_;
};
}  // namespace

namespace ytdstat {
void periodValues(const double* y, std::size_t first, std::size_t begin, std::size_t end, int start, double* out) {
    // Every row's difference first, as one vector loop; then the rows that
    // open a year (month index 0, and row 0) take their own value.
    for (std::size_t r = begin == 0 ? 1 : begin; r < end; ++r) out[r - begin] = y[r - first] - y[r - 1 - first];
    if (begin == 0 && end > 0) out[0] = y[0];
    const std::size_t month = (static_cast<std::size_t>(start) - 1 + begin) % 12;
    for (std::size_t r = begin + (month == 0 ? 0 : 12 - month); r < end; r += 12) out[r - begin] = y[r - first];
}
}  // namespace ytdstat

void FPKYeartoDateStatistical::execute() {
    traceInfo(TRACE_FPKYEARTODATESTAT, "Information: FPKYeartoDateStatistical::execute() begin");
    Verifier::verify(ytdSeriesCol, "d", "YEARTODATESERIES");
    Verifier::verify(startDateCol, "I", "STARTDATE");
    Verifier::verify(result, "d");
    ColumnBase* originalCol = result->getColumn(0);
    if (originalCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "ORIGINAL"});

    if (startDateCol->size() == 0) FPK_RAISE(ERR_FPK_YTD_STDT_OUT_OF_RANGE);
    const int32_t start = readInts(startDateCol, 0, 1, ytdStatAllocator(), kStartRead)[0];
    if (start < 1 || start > 12) FPK_RAISE(ERR_FPK_YTD_STDT_OUT_OF_RANGE);

    const std::size_t n = ytdSeriesCol->size();
    resizeColumn(originalCol, n, kOriginalWrite);
    if (n == 0) return;
    RhoUtils::SharedPtr<YeartoDateStatisticalvol> job =
        makeJob<YeartoDateStatisticalvol>(ytdStatAllocator(), ytdSeriesCol, originalCol, static_cast<int>(start));
    runColumnJob(*job, n, "YearToDateStatistical", __FILE__, __LINE__);
}

void qelYearToDateStatistical(const ColumnHandle& series, const ColumnHandle& startDate, TableHandle& result) {
    FPKYeartoDateStatistical(series.get(), startDate.get(), result.get()).execute();
}

}  // namespace businessFunctions
