// LAG: RESULT[r] = VALUES[r - k_r], k_r the row's PERIOD truncated toward
// zero, or PAD[r] when the source row lies outside the series.
#include "fpkLag.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkIsaDispatch.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(lagAllocator, "LagAllocator")

const IoSite kValuesRead{TRACE_FPKLAG, "valuesCol->getNative failed."};
const IoSite kPadRead{TRACE_FPKLAG, "padCol->getNative failed."};
const IoSite kPeriodRead{TRACE_FPKLAG, "periodCol->getNative failed."};
const IoSite kResultWrite{TRACE_FPKLAG, "resultCol->setNative failed."};

// The whole series, read by the first range that needs it: a range whose
// shifts reach further than its window (rows far apart in one chunk).
class WholeSeries {
public:
    WholeSeries(const ColumnBase* values, RhoUtils::Allocator& alloc)
        : values_(values), alloc_(alloc), v_(FpkAllocator<double>(alloc)) {}
    const double* get() {
        std::call_once(once_, [&] {
            FpkVector<double> v = makeScratch<double>(alloc_, values_->size());
            FpkVector<NullFlags> nulls = makeScratch<NullFlags>(alloc_, values_->size());
            readRange(values_, 0, values_->size(), v.data(), nulls.data(), kValuesRead);
            replaceNulls(v.data(), nulls.data(), values_->size(), 0.0);
            v_ = std::move(v);
        });
        return v_.data();
    }

private:
    const ColumnBase* values_;
    RhoUtils::Allocator& alloc_;
    FpkVector<double> v_;
    std::once_flag once_;
};

// One row range of LAG. Each chunk reads the rows of VALUES that its shifts
// point at (for one shift, the chunk's own rows moved by it); a chunk whose
// sources lie too far apart uses the whole series.
class lagvol final : public ColumnJob {
public:
    lagvol(ColumnBase* values, std::size_t n, ColumnBase* pad, ColumnBase* period, ColumnBase* out,
           WholeSeries* whole)
        : valuesCol_(values), n_(n), padCol_(pad), periodCol_(period), resultCol_(out), whole_(whole) {}
    lagvol(const lagvol&) = default;

    // Rows of VALUES a chunk reads at most into its window.
    static constexpr std::size_t kWindowRows = 4 * kChunkRows;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t chunk = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = lagAllocator();
        FpkVector<T> pad = makeScratch<T>(a, chunk);
        FpkVector<T> period = makeScratch<T>(a, chunk);
        FpkVector<T> out = makeScratch<T>(a, chunk);
        FpkVector<T> window = makeScratch<T>(a, std::min(n_, kWindowRows));
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(a, std::min(n_, kWindowRows));
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            controls::readChunked(padCol_, c, stop, pad.data(), nulls.data(), kPadRead);
            controls::readChunked(periodCol_, c, stop, period.data(), nulls.data(), kPeriodRead);
            const lag::Sources src = lag::sources(n_, period.data(), c, stop);
            const std::size_t span = src.first <= src.last ? static_cast<std::size_t>(src.last - src.first + 1) : 0;
            if (span <= kWindowRows) {
                const auto lo = static_cast<std::size_t>(std::max<int64_t>(src.first, 0));
                readRange(valuesCol_, lo, lo + span, window.data(), nulls.data(), kValuesRead);
                replaceNulls(window.data(), nulls.data(), span, 0.0);
                lag::shift(window.data(), src.first, n_, pad.data(), period.data(), c, stop, out.data());
            } else {
                lag::shift(whole_->get(), 0, n_, pad.data(), period.data(), c, stop, out.data());
            }
            writeRange(resultCol_, c, stop, out.data(), nullptr, kResultWrite);
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* valuesCol_;
    std::size_t n_;
    ColumnBase* padCol_;
    ColumnBase* periodCol_;
    ColumnBase* resultCol_;
    WholeSeries* whole_;
};
}  // namespace

namespace lag {
namespace {
// The row that row r takes its value from, or -1 for its pad value. The shift
// is converted only when it is in range, and no branch is taken, so that the
// loops below run as vector code.
FPK_KERNEL int64_t sourceRow(double p, double limit, int64_t rows, int64_t r) {
    const bool inRange = std::fabs(p) < limit;  // false for NaN
    const int64_t src = r - static_cast<int64_t>(inRange ? p : 0.0);  // truncates toward zero; |k| < n
    return (inRange & (src >= 0) & (src < rows)) ? src : -1;
}

FPK_KERNEL Sources sourcesKernel(std::size_t n, const double* period, std::size_t begin, std::size_t end) {
    const double limit = static_cast<double>(n);
    const auto rows = static_cast<int64_t>(n), b = static_cast<int64_t>(begin);
    int64_t first = rows, last = -1;
    for (std::size_t i = 0; i < end - begin; ++i) {
        const int64_t src = sourceRow(period[i], limit, rows, b + static_cast<int64_t>(i));
        const int64_t lo = src >= 0 ? src : rows;
        first = lo < first ? lo : first;
        last = src > last ? src : last;
    }
    return {first, last};
}

// `out` is a chunk buffer of the job: it never overlaps the inputs.
FPK_KERNEL void gatherKernel(const double* v, int64_t vFirst, std::size_t n, const double* pad, const double* period,
                             std::size_t begin, std::size_t m, double* __restrict out) {
    const double limit = static_cast<double>(n);
    const auto rows = static_cast<int64_t>(n), b = static_cast<int64_t>(begin);
    for (std::size_t i = 0; i < m; ++i) {
        const int64_t src = sourceRow(period[i], limit, rows, b + static_cast<int64_t>(i));
        const double value = v[src >= 0 ? src - vFirst : 0];
        out[i] = src >= 0 ? value : pad[i];
    }
}

FPK_DISPATCHED(void, gather,
               (const double* v, int64_t vFirst, std::size_t n, const double* pad, const double* period,
                std::size_t begin, std::size_t m, double* out),
               (v, vFirst, n, pad, period, begin, m, out))
}  // namespace

FPK_DISPATCHED(Sources, sources, (std::size_t n, const double* period, std::size_t begin, std::size_t end),
               (n, period, begin, end))

void shift(const double* v, int64_t vFirst, std::size_t n, const double* pad, const double* period,
           std::size_t begin, std::size_t end, double* out) {
    const double limit = static_cast<double>(n);
    const int64_t rows = static_cast<int64_t>(n);
    const std::size_t m = end - begin;
    if (m == 0) return;
    // A chunk whose rows all have one shift (the usual case) is a run of the
    // series, with PAD where the run leaves it: copied as a block.
    const double p0 = period[0];
    bool same = !std::isnan(p0) && std::fabs(p0) < limit;
    for (std::size_t i = 1; i < m && same; ++i) same = period[i] == p0;
    if (same) {
        const int64_t k = static_cast<int64_t>(p0);
        const int64_t first = static_cast<int64_t>(begin) - k;  // source of row `begin`
        // Rows i in [lo, hi) have a source inside the series.
        const int64_t lo = std::clamp<int64_t>(-first, 0, static_cast<int64_t>(m));
        const int64_t hi = std::clamp<int64_t>(rows - first, lo, static_cast<int64_t>(m));
        std::copy(pad, pad + lo, out);
        if (hi > lo) std::copy(v + (first + lo - vFirst), v + (first + hi - vFirst), out + lo);
        std::copy(pad + hi, pad + m, out + hi);
        return;
    }
    gather(v, vFirst, n, pad, period, begin, m, out);
}
}  // namespace lag

void FPKLag::execute() {
    traceInfo(TRACE_FPKLAG, "Information: FPKLag::execute() begin");
    Verifier::verify(valuesCol, "d", "VALUES");
    Verifier::verify(padCol, "d", "PAD");
    Verifier::verify(periodCol, "d", "PERIOD");
    Verifier::verify(result, "d");

    const std::size_t n = valuesCol->size();
    if (padCol->size() != n || periodCol->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "VALUES"}, {"COL2", "PAD"}, {"COL3", "PERIOD"});

    ColumnBase* resultCol = nullptr;
    for (std::size_t c = 0; c < result->getColumnCount() && resultCol == nullptr; ++c) {
        ColumnBase* candidate = result->getColumn(c);
        if (candidate != nullptr && std::strcmp(candidate->getName(), "VALUE") == 0) resultCol = candidate;
    }
    if (resultCol == nullptr) FPK_RAISE(ERR_FPK_COMM_COL_NOT_FIND, {"COL", "VALUE"});

    resizeColumn(resultCol, n, kResultWrite);
    if (n == 0) return;
    WholeSeries whole(valuesCol, lagAllocator());
    RhoUtils::SharedPtr<lagvol> job = makeJob<lagvol>(lagAllocator(), valuesCol, n, padCol, periodCol, resultCol, &whole);
    runColumnJob(*job, n, "Lag", __FILE__, __LINE__);
}

void qelLag(const ColumnHandle& values, const ColumnHandle& pad, const ColumnHandle& period, TableHandle& result) {
    FPKLag(values.get(), pad.get(), period.get(), result.get()).execute();
}

}  // namespace businessFunctions
