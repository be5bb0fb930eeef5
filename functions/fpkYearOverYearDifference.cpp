// YEAROVERYEARDIFFERENCE: B[r] - B[r-12], or the change in percent of
// |B[r-12]|, so that the sign always shows the direction of the change.
#include "fpkYearOverYearDifference.h"

#include <algorithm>
#include <cmath>
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
FPK_FUNCTION_ALLOCATOR(yoyAllocator, "YearOverYearDifferenceAllocator")

// A prior-year value closer to zero than this is not divided by.
const double zeroThreshold = 1.0e-10;

const IoSite kBaseRead{TRACE_FPKYEAROVERYEARDIFF, "baseCol->getNative failed."};
const IoSite kStyleRead{TRACE_FPKYEAROVERYEARDIFF, "styleCol->getNative failed."};
const IoSite kDifferenceWrite{TRACE_FPKYEAROVERYEARDIFF, "differenceCol->setNative failed."};

// One row range of YEAROVERYEARDIFFERENCE. The series is read once by the
// calling thread; ranges read the prior-year rows from it and never write it.
class YearOverYearDifferencevol final : public ColumnJob {
public:
    YearOverYearDifferencevol(const double* base, std::size_t n, ColumnBase* out, int style)
        : base_(base), n_(n), differenceCol_(out), style_(style) {}
    YearOverYearDifferencevol(const YearOverYearDifferencevol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t chunk = std::min(end - begin, kChunkRows);
        FpkVector<T> out = makeScratch<T>(yoyAllocator(), chunk);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(yoyAllocator(), chunk);
        const auto style = static_cast<FPKYearOverYearDifference::styleType>(style_);
        for (std::size_t c = begin; c < end; c += chunk) {
            const std::size_t stop = std::min(end, c + chunk);
            yoy::difference(base_, c, stop, style, out.data(), nulls.data());
            // Past the first year no row is null: the write needs no flags.
            writeRange(differenceCol_, c, stop, out.data(), c >= yoy::kLag ? nullptr : nulls.data(), kDifferenceWrite);
        }
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    const double* base_;
    [[maybe_unused]] std::size_t n_;  // the row count, kept with the column it describes
    ColumnBase* differenceCol_;
    int style_;
};
// Looks for a prior-year value too small to divide by in one row range
// (every range reads the shared series, none writes it).
class ZeroDivisorvol final : public ColumnJob {
public:
    explicit ZeroDivisorvol(const double* base) : base_(base) {}
    ZeroDivisorvol(const ZeroDivisorvol&) = default;
    void operator()(std::size_t begin, std::size_t end) override {
        if (yoy::firstZeroDivisor(base_, begin, end) < end)
            FPK_RAISE(ERR_FPK_COMM_DIVIDE_BY_ZERO, {"ZERO_THRESHOLD", "1e-10"});
    }

private:
    const double* base_;
};
}  // namespace

namespace yoy {
std::size_t firstZeroDivisor(const double* b, std::size_t begin, std::size_t end) {
    // Blocks are tested whole by a loop without an exit, which runs as vector
    // code; only a block with a small divisor is searched row by row.
    constexpr std::size_t kBlock = 1024;
    for (std::size_t lo = std::max(begin, kLag); lo < end; lo += kBlock) {
        const std::size_t hi = end - lo < kBlock ? end : lo + kBlock;
        bool small = false;
        for (std::size_t r = lo; r < hi; ++r) small |= !(std::fabs(b[r - kLag]) >= zeroThreshold);
        if (small)
            for (std::size_t r = lo; r < hi; ++r)
                if (!(std::fabs(b[r - kLag]) >= zeroThreshold)) return r;
    }
    return end;
}

void difference(const double* b, std::size_t begin, std::size_t end, FPKYearOverYearDifference::styleType style,
                double* out, unsigned char* nulls) {
    std::size_t r = begin;
    for (; r < end && r < kLag; ++r) {
        out[r - begin] = 0.0;
        nulls[r - begin] = 1;
    }
    if (r < end) std::memset(nulls + (r - begin), 0, end - r);
    // The values alone, so that the loops run as vector code.
    if (style == FPKYearOverYearDifference::ABSOLUTE) {
        for (; r < end; ++r) out[r - begin] = b[r] - b[r - kLag];
    } else {
        for (; r < end; ++r) {
            const double diff = b[r] - b[r - kLag];
            const double ratio = diff / std::fabs(b[r - kLag]);
            out[r - begin] = ratio * 100.0;
        }
    }
}
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
    FpkVector<double> b = readWholeDoubles(baseCol, yoyAllocator(), kBaseRead, "YearOverYearDifference");
    if (style == PERCENT && n > 0) {
        RhoUtils::SharedPtr<ZeroDivisorvol> check = makeJob<ZeroDivisorvol>(yoyAllocator(), b.data());
        runColumnJob(*check, n, "YearOverYearDifference", __FILE__, __LINE__);
    }

    resizeColumn(differenceCol, n, kDifferenceWrite);
    if (n == 0) return;
    RhoUtils::SharedPtr<YearOverYearDifferencevol> job =
        makeJob<YearOverYearDifferencevol>(yoyAllocator(), b.data(), n, differenceCol, static_cast<int>(style));
    runColumnJob(*job, n, "YearOverYearDifference", __FILE__, __LINE__);
}

void qelYearOverYearDifference(const ColumnHandle& base, const ColumnHandle& style, TableHandle& result) {
    FPKYearOverYearDifference(base.get(), style.get(), result.get()).execute();
}

}  // namespace businessFunctions
