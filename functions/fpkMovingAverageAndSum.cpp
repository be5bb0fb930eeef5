// MOVINGAVERAGEANDSUM: every row is summed directly over its own window
// (no running sum, so a large value leaving the window leaves no rounding
// residue behind). Rows whose window is complete are computed a block at a
// time with one accumulator per row, which keeps each row's own order of
// additions while letting the processor work on several rows at once.
#include "fpkMovingAverageAndSum.h"

#include <algorithm>
#include <cstdint>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(movingAverageAllocator, "MovingAverageAndSumAllocator")

constexpr std::size_t kBlock = 8;

inline double finish(double s, double divisor, FPKMovingAverageAndSum::averageMethod method) {
    return method == FPKMovingAverageAndSum::SUM ? s : s / divisor;
}

// Rows [r0, r0 + kBlock) with complete windows. One named accumulator per row
// keeps the sums in registers; each row still adds its positions oldest
// first, exactly as a row on its own would.
void fullBlock(const double* ext, std::size_t p, std::size_t w, const double* weights, std::size_t r0, double* acc) {
    const double* x = ext + (r0 + p + 1 - w);
    double a0 = 0, a1 = 0, a2 = 0, a3 = 0, a4 = 0, a5 = 0, a6 = 0, a7 = 0;
    if (weights == nullptr) {
        for (std::size_t k = 0; k < w; ++k, ++x) {
            a0 += x[0];
            a1 += x[1];
            a2 += x[2];
            a3 += x[3];
            a4 += x[4];
            a5 += x[5];
            a6 += x[6];
            a7 += x[7];
        }
    } else {
        for (std::size_t k = 0; k < w; ++k, ++x) {
            const double wk = weights[k];
            a0 += wk * x[0];
            a1 += wk * x[1];
            a2 += wk * x[2];
            a3 += wk * x[3];
            a4 += wk * x[4];
            a5 += wk * x[5];
            a6 += wk * x[6];
            a7 += wk * x[7];
        }
    }
    acc[0] = a0;
    acc[1] = a1;
    acc[2] = a2;
    acc[3] = a3;
    acc[4] = a4;
    acc[5] = a5;
    acc[6] = a6;
    acc[7] = a7;
}

// One row, any window (complete or shortened at the start).
void singleRow(const double* ext, std::size_t p, std::size_t w, const double* weights, std::size_t r,
               FPKMovingAverageAndSum::averageMethod method, double& out) {
    const int64_t windowStart = static_cast<int64_t>(r) - static_cast<int64_t>(w) + 1;
    const int64_t qStart = std::max<int64_t>(windowStart, -static_cast<int64_t>(p));
    double s = 0, divisor = 0;
    for (int64_t q = qStart; q <= static_cast<int64_t>(r); ++q) {
        const double v = ext[static_cast<std::size_t>(q + static_cast<int64_t>(p))];
        if (weights == nullptr) {
            s += v;
            divisor += 1;
        } else {
            const double wk = weights[q - windowStart];
            s += wk * v;
            divisor += wk;
        }
    }
    out = finish(s, divisor, method);
}
}  // namespace

namespace movingaverage {
void movingWindow(const double* ext, std::size_t p, std::size_t n, std::size_t w, const double* weights,
                  FPKMovingAverageAndSum::averageMethod method, double* out) {
    // Rows from firstFull on have all w positions.
    const std::size_t firstFull = std::min<std::size_t>(w - 1 > p ? w - 1 - p : 0, n);
    for (std::size_t r = 0; r < firstFull; ++r) singleRow(ext, p, w, weights, r, method, out[r]);
    if (firstFull == n) return;

    double fullDivisor = 0;
    if (weights == nullptr)
        fullDivisor = static_cast<double>(w);
    else
        for (std::size_t k = 0; k < w; ++k) fullDivisor += weights[k];

    std::size_t r = firstFull;
    double acc[kBlock];
    for (; r + kBlock <= n; r += kBlock) {
        fullBlock(ext, p, w, weights, r, acc);
        for (std::size_t j = 0; j < kBlock; ++j) out[r + j] = finish(acc[j], fullDivisor, method);
    }
    for (; r < n; ++r) singleRow(ext, p, w, weights, r, method, out[r]);
}
}  // namespace movingaverage

void FPKMovingAverageAndSum::execute() {
    traceInfo(TRACE_FPKMOVINGAVERAGEANDSUM, "Information: FPKMovingAverageAndSum::execute() begin");
    Verifier::verify(originalTab, "[Id]");
    Verifier::verify(averageStyleTab, "[Id]");
    Verifier::verify(averageMethodTab, "[Id]");
    Verifier::verify(primeTab, "[Id]");
    Verifier::verify(averagePeriodsTab, "[Id]");
    Verifier::verify(weightingsTab, "[Id]");
    Verifier::verify(result, "d");
    RhoUtils::Allocator& alloc = movingAverageAllocator();

    double styleValue = 0;
    if (!controls::readFirst(averageStyleTab->getColumn(0), alloc,
                             {TRACE_FPKMOVINGAVERAGEANDSUM, "averageStyleTab->getNative failed."}, styleValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "AVERAGESTYLE"},
                  {"APPEND", "AVERAGESTYLE should not be empty"});
    if (styleValue != 0.0 && styleValue != 1.0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "AVERAGESTYLE"}, {"APPEND", "Averagestyle should be in (0,1)"});
    const averageStyle style = styleValue == 1.0 ? WEIGHTED : SIMPLE;

    double methodValue = 0;
    if (!controls::readFirst(averageMethodTab->getColumn(0), alloc,
                             {TRACE_FPKMOVINGAVERAGEANDSUM, "averageMethodTab->getNative failed."}, methodValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "AVERAGEMETHOD"},
                  {"APPEND", "AVERAGEMETHOD should not be empty"});
    if (methodValue != 0.0 && methodValue != 1.0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "AVERAGEMETHOD"},
                  {"APPEND", "Averagemethod should be in (0,1)"});
    const averageMethod method = methodValue == 1.0 ? SUM : AVERAGE;

    double periodsValue = 0;
    if (!controls::readFirst(averagePeriodsTab->getColumn(0), alloc,
                             {TRACE_FPKMOVINGAVERAGEANDSUM, "averagePeriodsTab->getNative failed."}, periodsValue))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "AVERAGEPERIODS"},
                  {"APPEND", "AVERAGEPERIODS should not be empty"});
    if (!controls::isWholeIn(periodsValue, 1, controls::kMaxInt32))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "AVERAGEPERIODS"},
                  {"APPEND", "Averageperiods should be a whole number greater than 0"});
    const std::size_t w = static_cast<std::size_t>(periodsValue);

    FpkVector<double> weights = makeVector<double>(alloc);
    if (style == WEIGHTED) {
        ColumnBase* weightsCol = weightingsTab->getColumn(0);
        if (weightsCol->size() != w)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", weightsCol->size()}, {"COL", "WEIGHTINGS"},
                      {"APPEND", "Size should be equal to AVERAGEPERIODS"});
        weights = readDoubles(weightsCol, alloc, {TRACE_FPKMOVINGAVERAGEANDSUM, "weightingsTab->getNative failed."});
        for (double wk : weights)
            if (!(wk > 0))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "WEIGHTINGS"},
                          {"APPEND", "Weightings should be greater than 0"});
    }

    ColumnBase* originalCol = originalTab->getColumn(0);
    ColumnBase* primeCol = primeTab->getColumn(0);
    const std::size_t n = originalCol->size();
    const std::size_t primeRows = primeCol->size();
    // Only the last w - 1 history rows can reach a window.
    const std::size_t p = std::min(primeRows, w - 1);
    FpkVector<double> ext = makeVector<double>(alloc, p + n);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, p + n);
    readRange(primeCol, primeRows - p, primeRows, ext.data(), nulls.data(),
              {TRACE_FPKMOVINGAVERAGEANDSUM, "primeTab->getNative failed."});
    readRange(originalCol, 0, n, ext.data() + p, nulls.data() + p,
              {TRACE_FPKMOVINGAVERAGEANDSUM, "originalTab->getNative failed."});
    for (std::size_t i = 0; i < p + n; ++i)
        if (nulls[i]) ext[i] = 0.0;
    FpkVector<double> out = makeVector<double>(alloc, n);
    movingaverage::movingWindow(ext.data(), p, n, w, style == WEIGHTED ? weights.data() : nullptr, method, out.data());
    writeDoubles(result->getColumn(0), out.data(), n, {TRACE_FPKMOVINGAVERAGEANDSUM, "resultCol->setNative failed."});
}

void qelMovingAverageAndSum(const TableHandle& original, const TableHandle& averageStyle,
                            const TableHandle& averageMethod, const TableHandle& prime,
                            const TableHandle& averagePeriods, const TableHandle& weightings, TableHandle& result) {
    FPKMovingAverageAndSum(original.get(), averageStyle.get(), averageMethod.get(), prime.get(), averagePeriods.get(),
                           weightings.get(), result.get())
        .execute();
}

}  // namespace businessFunctions
