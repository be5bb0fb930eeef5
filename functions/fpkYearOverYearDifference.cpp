// YEAROVERYEARDIFFERENCE: B[r] - B[r-12], or the change in percent of
// |B[r-12]|, so that the sign always shows the direction of the change.
#include "fpkYearOverYearDifference.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>

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
FPK_FUNCTION_ALLOCATOR(yoyAllocator, "YearOverYearDifferenceAllocator")

// A prior-year value closer to zero than this is not divided by.
const double zeroThreshold = 1.0e-10;

const IoSite kBaseRead{TRACE_FPKYEAROVERYEARDIFF, "baseCol->getNative failed."};
const IoSite kStyleRead{TRACE_FPKYEAROVERYEARDIFF, "styleCol->getNative failed."};
const IoSite kDifferenceWrite{TRACE_FPKYEAROVERYEARDIFF, "differenceCol->setNative failed."};

// Reads rows [first, stop) of BASE into `rows`, a null reading as 0.
void readBase(const ColumnBase* base, std::size_t first, std::size_t stop, double* rows, NullFlags* nulls) {
    readRange(base, first, stop, rows, nulls, kBaseRead);
    replaceNulls(rows, nulls, stop - first, 0.0);
}

// One row range of YEAROVERYEARDIFFERENCE. Each chunk reads its own rows and
// the twelve before them from BASE, so the series passes through memory once.
class YearOverYearDifferencevol final : public ColumnJob {
public:
    YearOverYearDifferencevol(const ColumnBase* base, ColumnBase* out, int style)
        : baseCol_(base), differenceCol_(out), style_(style) {}
    YearOverYearDifferencevol(const YearOverYearDifferencevol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t chunk = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = yoyAllocator();
        FpkVector<double> b = makeScratch<double>(a, chunk + yoy::kLag);
        FpkVector<T> out = makeScratch<T>(a, chunk);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(a, chunk + yoy::kLag);
        const auto style = static_cast<FPKYearOverYearDifference::styleType>(style_);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            const std::size_t first = c < yoy::kLag ? 0 : c - yoy::kLag;
            readBase(baseCol_, first, stop, b.data(), nulls.data());
            yoy::difference(b.data(), first, c, stop, style, out.data(), nulls.data());
            // Past the first year no row is null: the write needs no flags.
            writeRange(differenceCol_, c, stop, out.data(), c >= yoy::kLag ? nullptr : nulls.data(), kDifferenceWrite);
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    const ColumnBase* baseCol_;
    ColumnBase* differenceCol_;
    int style_;
};

// Looks for a prior-year value too small to divide by in one row range: rows
// that some later row divides by (all but the last twelve). A find is noted,
// not raised, so that a failed read anywhere still decides the error first,
// as when the whole series is read before it is checked.
class ZeroDivisorvol final : public ColumnJob {
public:
    ZeroDivisorvol(const ColumnBase* base, std::atomic<bool>* found) : baseCol_(base), found_(found) {}
    ZeroDivisorvol(const ZeroDivisorvol&) = default;
    void operator()(std::size_t begin, std::size_t end) override {
        const std::size_t chunk = std::min(end - begin, kChunkRows), n = baseCol_->size();
        FpkVector<double> b = makeScratch<double>(yoyAllocator(), chunk);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(yoyAllocator(), chunk);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readBase(baseCol_, c, stop, b.data(), nulls.data());
            const std::size_t divisors = n <= yoy::kLag ? c : std::min(stop, n - yoy::kLag);
            if (c < divisors && yoy::firstSmall(b.data(), divisors - c) < divisors - c)
                found_->store(true, std::memory_order_relaxed);
        });
    }

private:
    const ColumnBase* baseCol_;
    std::atomic<bool>* found_;
};
}  // namespace

namespace yoy {
FPK_KERNEL std::size_t firstSmallKernel(const double* b, std::size_t n) {
    // Blocks are tested whole by a loop without an exit, which runs as vector
    // code; only a block with a small value is searched row by row.
    constexpr std::size_t kBlock = 1024;
    for (std::size_t lo = 0; lo < n; lo += kBlock) {
        const std::size_t hi = n - lo < kBlock ? n : lo + kBlock;
        std::uint64_t small = 0;
        for (std::size_t i = lo; i < hi; ++i) small += std::fabs(b[i]) >= zeroThreshold ? 0 : 1;
        if (small != 0)
            for (std::size_t i = lo; i < hi; ++i)
                if (!(std::fabs(b[i]) >= zeroThreshold)) return i;
    }
    return n;
}

FPK_DISPATCHED(std::size_t, firstSmall, (const double* b, std::size_t n), (b, n))

FPK_KERNEL void differenceKernel(const double* b, std::size_t first, std::size_t begin, std::size_t end,
                                 FPKYearOverYearDifference::styleType style, double* out, unsigned char* nulls) {
    std::size_t r = begin;
    for (; r < end && r < kLag; ++r) {
        out[r - begin] = 0.0;
        nulls[r - begin] = 1;
    }
    if (r < end) std::memset(nulls + (r - begin), 0, end - r);
    // The values alone, so that the loops run as vector code.
    if (style == FPKYearOverYearDifference::ABSOLUTE) {
        for (; r < end; ++r) out[r - begin] = b[r - first] - b[r - kLag - first];
    } else {
        for (; r < end; ++r) {
            const double diff = b[r - first] - b[r - kLag - first];
            const double ratio = diff / std::fabs(b[r - kLag - first]);
            out[r - begin] = ratio * 100.0;
        }
    }
}

FPK_DISPATCHED(void, difference,
               (const double* b, std::size_t first, std::size_t begin, std::size_t end,
                FPKYearOverYearDifference::styleType style, double* out, unsigned char* nulls),
               (b, first, begin, end, style, out, nulls))
}  // namespace yoy

void FPKYearOverYearDifference::execute() {
    traceInfo(TRACE_FPKYEAROVERYEARDIFF, "Information: FPKYearOverYearDifference::execute() begin");
    Verifier::verify(baseCol, "d", "BASE");
    Verifier::verify(styleCol, "d", "STYLE");
    Verifier::verify(result, "d");
    ColumnBase* differenceCol = result->getColumn(0);
    if (differenceCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "DIFFERENCE"});

    double styleValue = 0;
    if (!controls::readFirst(styleCol, yoyAllocator(), kStyleRead, styleValue) ||
        (styleValue != 0.0 && styleValue != 1.0))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "STYLE"}, {"APPEND", "Style should be in (0,1)"});
    const styleType style = styleValue == 1.0 ? PERCENT : ABSOLUTE;

    const std::size_t n = baseCol->size();
    if (style == PERCENT && n > yoy::kLag) {
        std::atomic<bool> found{false};
        RhoUtils::SharedPtr<ZeroDivisorvol> check = makeJob<ZeroDivisorvol>(yoyAllocator(), baseCol, &found);
        runColumnJob(*check, n - yoy::kLag, "YearOverYearDifference", __FILE__, __LINE__);
        if (found.load()) FPK_RAISE(ERR_FPK_COMM_DIVIDE_BY_ZERO, {"ZERO_THRESHOLD", "1e-10"});
    }

    resizeColumn(differenceCol, n, kDifferenceWrite);
    if (n == 0) return;
    RhoUtils::SharedPtr<YearOverYearDifferencevol> job =
        makeJob<YearOverYearDifferencevol>(yoyAllocator(), baseCol, differenceCol, static_cast<int>(style));
    runColumnJob(*job, n, "YearOverYearDifference", __FILE__, __LINE__);
}

void qelYearOverYearDifference(const ColumnHandle& base, const ColumnHandle& style, TableHandle& result) {
    FPKYearOverYearDifference(base.get(), style.get(), result.get()).execute();
}

}  // namespace businessFunctions
