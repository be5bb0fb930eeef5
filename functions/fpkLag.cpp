// LAG: RESULT[r] = VALUES[r - k_r], k_r the row's PERIOD truncated toward
// zero, or PAD[r] when the source row lies outside the series.
#include "fpkLag.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

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
FPK_FUNCTION_ALLOCATOR(lagAllocator, "LagAllocator")

const IoSite kValuesRead{TRACE_FPKLAG, "valuesCol->getNative failed."};
const IoSite kPadRead{TRACE_FPKLAG, "padCol->getNative failed."};
const IoSite kPeriodRead{TRACE_FPKLAG, "periodCol->getNative failed."};
const IoSite kResultWrite{TRACE_FPKLAG, "resultCol->setNative failed."};

// One row range of LAG. The whole series V is read once by the calling
// thread; every range reads it (any row may be a source) and never writes it.
class lagvol final : public ColumnJob {
public:
    lagvol(const double* values, std::size_t n, ColumnBase* pad, ColumnBase* period, ColumnBase* out)
        : values_(values), n_(n), padCol_(pad), periodCol_(period), resultCol_(out) {}
    lagvol(const lagvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t chunk = std::min(end - begin, kChunkRows);
        FpkVector<T> pad = makeScratch<T>(lagAllocator(), chunk);
        FpkVector<T> period = makeScratch<T>(lagAllocator(), chunk);
        FpkVector<T> out = makeScratch<T>(lagAllocator(), chunk);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(lagAllocator(), chunk);
        for (std::size_t c = begin; c < end; c += chunk) {
            const std::size_t stop = std::min(end, c + chunk);
            controls::readChunked(padCol_, c, stop, pad.data(), nulls.data(), kPadRead);
            controls::readChunked(periodCol_, c, stop, period.data(), nulls.data(), kPeriodRead);
            lag::shift(values_, n_, pad.data(), period.data(), c, stop, out.data());
            writeRange(resultCol_, c, stop, out.data(), nullptr, kResultWrite);
        }
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    const double* values_;
    std::size_t n_;
    ColumnBase* padCol_;
    ColumnBase* periodCol_;
    ColumnBase* resultCol_;
};
}  // namespace

namespace lag {
void shift(const double* v, std::size_t n, const double* pad, const double* period, std::size_t begin,
           std::size_t end, double* out) {
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
        if (hi > lo) std::copy(v + (first + lo), v + (first + hi), out + lo);
        std::copy(pad + hi, pad + m, out + hi);
        return;
    }
    for (std::size_t i = 0; i < m; ++i) {
        const double p = period[i];
        if (std::isnan(p) || std::fabs(p) >= limit) {
            out[i] = pad[i];
            continue;
        }
        const int64_t k = static_cast<int64_t>(p);  // truncates toward zero; |k| < n
        const int64_t src = static_cast<int64_t>(begin + i) - k;
        out[i] = (src >= 0 && src < rows) ? v[src] : pad[i];
    }
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

    FpkVector<double> v = readWholeDoubles(valuesCol, lagAllocator(), kValuesRead, "Lag");
    resizeColumn(resultCol, n, kResultWrite);
    if (n == 0) return;
    RhoUtils::SharedPtr<lagvol> job = makeJob<lagvol>(lagAllocator(), v.data(), n, padCol, periodCol, resultCol);
    runColumnJob(*job, n, "Lag", __FILE__, __LINE__);
}

void qelLag(const ColumnHandle& values, const ColumnHandle& pad, const ColumnHandle& period, TableHandle& result) {
    FPKLag(values.get(), pad.get(), period.get(), result.get()).execute();
}

}  // namespace businessFunctions
