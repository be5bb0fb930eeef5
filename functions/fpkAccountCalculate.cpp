// FUTURE, PRESENTVALUE, PAYMENT, RATE and NUMBERPERIODS.
//
// Input rows are handled in order on the calling thread: each row's block of
// schedule rows is placed at a row offset that grows by the row's period count
// as read (unrounded, and backwards for a negative count), and later steps read
// the CLOSING that earlier steps wrote. The schedule is built in native
// buffers (with a written flag per row) and written to the result table in
// whole columns at the end, or before an error leaves the function.
#include "fpkAccountCalculate.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(accountAllocator, "AccountCalculateAllocator")

// Result rows are numbered below 2^31; a block that would reach further (or
// a period count that is not a finite number) is refused.
constexpr double kRowLimit = 2147483648.0;
constexpr const char* kRowLimitText = "Periods should be finite and keep the schedule below row 2147483648";
}  // namespace

namespace account {

double growthFactor(double n, double rate) {
    double f = 1.0;
    const double g = 1.0 + rate / 100.0;
    for (double count = 0; n > count; count += 1) f = f * g;
    return f;
}

double futureValue(double n, double rate, double original, double payment, int type) {
    double b = original;
    if (type == 0) {
        for (double count = 0; n > count; count += 1) b = b + payment + rate * b / 100.0;
    } else {
        const double g = rate / 100.0 + 1.0;
        for (double count = 0; n > count; count += 1) b = (b + payment) * g;
    }
    return b;
}

double presentValue(double rate, double f, double payment, double future, int type) {
    const double a = type == 0 ? (f - 1.0) * payment * 100.0 / rate
                               : (rate / 100.0 + 1.0) * payment * (f - 1.0) * 100.0 / rate;
    return (future - a) / f;
}

double periodicPayment(double rate, double f, double original, double future, int type) {
    if (type == 0) return (future - original * f) * rate / 100.0 / (f - 1.0);
    return ((future - original * f) * rate / 100.0) / ((rate / 100.0 + 1.0) * (f - 1.0));
}

double estimateRate(double n, double original, double future) {
    if (original > 0) return (std::pow(future / original, 1.0 / n) - 1.0) * 100.0;
    const double a = std::fabs(original);
    return (std::pow(((future - original) + a) / a, 1.0 / n) - 1.0) * 100.0;
}

double RateSearch::solve(double n, double original, double payment, double future, int type) {
    double r = estimateRate(n, original, future);
    double b = futureValue(n, r, original, payment, type);
    while (std::fabs(b - future) > 0.1 && counter_ <= kBudget - 1) {
        if (r == 0) {
            r = 50;
        } else {
            const double d = std::fabs(b - future);
            const bool overshoots = original > 0 ? b > future : future > b;
            if (overshoots)
                r = d < 10 ? r / 1.05 : r * 0.5;
            else
                r = d < 10 ? r * 1.1 : r * 1.5;
        }
        ++counter_;
        b = futureValue(n, r, original, payment, type);
    }
    return counter_ == kBudget ? 0.0 : r;
}

double numberOfPeriods(double rate, double original, double payment, double future, int type) {
    if (rate == 0) return std::fabs(original - future) / payment;
    if (!(future > original)) return 0;
    double count = 0;
    double b = original;
    if (type == 0) {
        do {
            count += 1;
            b = b + payment + b * rate / 100.0;
        } while (future > b);
    } else {
        const double g = 1.0 + rate / 100.0;
        do {
            count += 1;
            b = (b + payment) * g;
        } while (future > b);
    }
    return count;
}

void scheduleBlock(double original, double rate, double payment, double n, std::size_t m, double* opening,
                   double* closing, double* interest, double* periodsLeft) {
    double open = original;
    for (std::size_t k = 0; k < m; ++k) {
        const double in = open * rate / 100.0;
        const double close = open + payment + in;
        opening[k] = open;
        interest[k] = in;
        closing[k] = close;
        periodsLeft[k] = n - static_cast<double>(k);
        open = close;
    }
}

namespace {

// Four lanes of a vector register (two of them make the eight lanes of a
// BlockLanes, as two independent chains).
typedef double Lanes __attribute__((vector_size(4 * sizeof(double))));
constexpr std::size_t kHalves = BlockLanes::kLanes / 4;
static_assert(kHalves * 4 == BlockLanes::kLanes);

// Lanes 4h..4h+3 of p (a macro: passing vectors by value between functions
// would depend on the instruction set).
#define FPK_LANES_OF(p, h) (Lanes{(p)[4 * (h)], (p)[4 * (h) + 1], (p)[4 * (h) + 2], (p)[4 * (h) + 3]})

// growthFactor of each lane: the same product, one lane per block.
__attribute__((always_inline)) inline void growthLanesBody(const double* n, const double* rate, std::size_t maxM,
                                                           double* f) {
    Lanes nv[kHalves], g[kHalves], fv[kHalves];
    for (std::size_t h = 0; h < kHalves; ++h) {
        nv[h] = FPK_LANES_OF(n, h);
        g[h] = 1.0 + FPK_LANES_OF(rate, h) / 100.0;
        fv[h] = Lanes{} + 1.0;
    }
    Lanes count = Lanes{};
    for (std::size_t k = 0; k < maxM; ++k) {
        for (std::size_t h = 0; h < kHalves; ++h) fv[h] = nv[h] > count ? fv[h] * g[h] : fv[h];
        count += 1.0;
    }
    for (std::size_t l = 0; l < BlockLanes::kLanes; ++l) f[l] = fv[l / 4][l % 4];
}

__attribute__((always_inline)) inline void scheduleLanesBody(const BlockLanes& b, double* typeOneFuture) {
    Lanes rate[kHalves], payment[kHalves], nv[kHalves], g[kHalves], open[kHalves], fv[kHalves];
    for (std::size_t h = 0; h < kHalves; ++h) {
        rate[h] = FPK_LANES_OF(b.rate, h);
        payment[h] = FPK_LANES_OF(b.payment, h);
        nv[h] = FPK_LANES_OF(b.n, h);
        g[h] = rate[h] / 100.0 + 1.0;
        open[h] = FPK_LANES_OF(b.original, h);
        fv[h] = open[h];
    }
    std::size_t maxM = 0;
    for (std::size_t l = 0; l < BlockLanes::kLanes; ++l) maxM = std::max(maxM, b.m[l]);
    for (std::size_t k = 0; k < maxM; ++k) {
        const Lanes kv = Lanes{} + static_cast<double>(k);
        for (std::size_t h = 0; h < kHalves; ++h) {
            const Lanes in = open[h] * rate[h] / 100.0;
            const Lanes close = open[h] + payment[h] + in;
            const Lanes left = nv[h] - kv;
            for (std::size_t q = 0; q < 4; ++q) {
                const std::size_t l = 4 * h + q;
                if (k < b.m[l]) {
                    b.opening[l][k] = open[h][q];
                    b.interest[l][k] = in[q];
                    b.closing[l][k] = close[q];
                    b.periodsLeft[l][k] = left[q];
                }
            }
            fv[h] = kv < nv[h] ? (fv[h] + payment[h]) * g[h] : fv[h];
            open[h] = close;
        }
    }
    if (typeOneFuture != nullptr)
        for (std::size_t l = 0; l < BlockLanes::kLanes; ++l) typeOneFuture[l] = fv[l / 4][l % 4];
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void growthLanesAvx2(const double* n, const double* rate, std::size_t maxM,
                                                     double* f) {
    growthLanesBody(n, rate, maxM, f);
}
__attribute__((target("avx2"))) void scheduleLanesAvx2(const BlockLanes& b, double* typeOneFuture) {
    scheduleLanesBody(b, typeOneFuture);
}
bool hasAvx2() {
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes;
}
#endif

}  // namespace

void growthLanes(const double* n, const double* rate, std::size_t maxM, double* f) {
#if defined(__x86_64__)
    if (hasAvx2()) return growthLanesAvx2(n, rate, maxM, f);
#endif
    growthLanesBody(n, rate, maxM, f);
}

void scheduleLanes(const BlockLanes& b, double* typeOneFuture) {
#if defined(__x86_64__)
    if (hasAvx2()) return scheduleLanesAvx2(b, typeOneFuture);
#endif
    scheduleLanesBody(b, typeOneFuture);
}
#undef FPK_LANES_OF

}  // namespace account

namespace {

// The result table under construction, through a window of rows: one native
// buffer per result column and a flag per row (1 until the row is written).
// Blocks are placed in the window; when a block does not fit, the rows
// written so far go to the result table and the window moves to the block.
// Columns are laid out as in the catalogue: `lead` solved columns, then
// PAYMENT, OPENNING, CLOSING, INTEREST, PERIODS.
class Schedule {
public:
    static constexpr std::size_t kWindow = 1 << 16;

    Schedule(InternalTable* result, std::size_t lead, RhoUtils::Allocator& alloc)
        : result_(result), lead_(lead), alloc_(alloc), nulls_(makeVector<NullFlags>(alloc)) {}

    std::size_t columns() const { return lead_ + 5; }
    std::size_t paymentCol() const { return lead_; }
    std::size_t openingCol() const { return lead_ + 1; }
    std::size_t closingCol() const { return lead_ + 2; }
    std::size_t interestCol() const { return lead_ + 3; }
    std::size_t periodsCol() const { return lead_ + 4; }

    // Sizes the result columns for `rows` rows at once (when they are
    // shorter), so that the host does not grow them block by block; finish()
    // trims them back to the rows actually written.
    void presize(std::size_t rows) {
        const IoSite site{TRACE_ACCOUNTCALCULATE, "resultCol->setNative failed."};
        for (std::size_t c = 0; c < columns(); ++c) {
            ColumnBase* col = tableColumn(result_, c);
            original_[c] = col != nullptr ? col->size() : 0;
            if (original_[c] < rows) resizeColumn(col, rows, site);
        }
        presized_ = true;
    }

    // Writes what the window holds and leaves each result column as long as
    // its last written row (or as it was, when it was longer).
    void finish() {
        flush();
        if (!presized_) return;
        const IoSite site{TRACE_ACCOUNTCALCULATE, "resultCol->setNative failed."};
        for (std::size_t c = 0; c < columns(); ++c) {
            ColumnBase* col = tableColumn(result_, c);
            const std::size_t rows = std::max(original_[c], top_);
            if (col != nullptr && col->size() != rows) resizeColumn(col, rows, site);
        }
    }

    // Makes rows [lo, hi] addressable (lo >= 0).
    void cover(std::size_t lo, std::size_t hi) {
        if (lo >= base_ && hi < base_ + nulls_.size()) return;
        flush();
        const std::size_t size = std::max(kWindow, hi - lo + 1);
        if (size > nulls_.size()) {
            for (std::size_t c = 0; c < columns(); ++c) cols_[c].resize(size);
            nulls_.resize(size);
        }
        std::fill(nulls_.begin(), nulls_.end(), NullFlags(1));
        base_ = lo;
        used_ = 0;
    }
    // Row `row` (covered) of column c.
    double* at(std::size_t c, std::size_t row) { return cols_[c].data() + (row - base_); }
    // Marks rows [lo, hi] written.
    void written(std::size_t lo, std::size_t hi) {
        std::fill(nulls_.begin() + static_cast<std::ptrdiff_t>(lo - base_),
                  nulls_.begin() + static_cast<std::ptrdiff_t>(hi - base_ + 1), NullFlags(0));
        used_ = std::max(used_, hi - base_ + 1);
        top_ = std::max(top_, hi + 1);
    }

    // CLOSING of a row as the table would return it: a row never written
    // reads as null, which the host reads as 0. A row outside the window
    // (only the row just before it can be asked for) is read back from the
    // result table.
    double closingAt(std::size_t row) {
        if (row >= base_ && row < base_ + nulls_.size()) {
            const std::size_t i = row - base_;
            return nulls_[i] == 0 ? cols_[lead_ + 2][i] : 0.0;
        }
        flush();
        ColumnBase* closing = tableColumn(result_, lead_ + 2);
        if (closing == nullptr || row >= closing->size()) return 0.0;
        double v = 0;
        NullFlags isNull = 0;
        readRange(closing, row, row + 1, &v, &isNull, {TRACE_ACCOUNTCALCULATE, "closingCol->getNative failed."});
        return isNull ? 0.0 : v;
    }

    // Writes the rows written in the window so far, run by run (a row the
    // window did not write keeps what the table holds).
    void flush() {
        const IoSite site{TRACE_ACCOUNTCALCULATE, "resultCol->setNative failed."};
        std::size_t i = 0;
        while (i < used_) {
            if (nulls_[i] != 0) {
                ++i;
                continue;
            }
            std::size_t j = i;
            while (j < used_ && nulls_[j] == 0) ++j;
            for (std::size_t c = 0; c < columns(); ++c)
                writeRange(tableColumn(result_, c), base_ + i, base_ + j, cols_[c].data() + i, nullptr, site);
            i = j;
        }
    }

private:
    InternalTable* result_;
    std::size_t lead_;
    RhoUtils::Allocator& alloc_;
    FpkVector<double> cols_[7] = {makeVector<double>(alloc_), makeVector<double>(alloc_), makeVector<double>(alloc_),
                                  makeVector<double>(alloc_), makeVector<double>(alloc_), makeVector<double>(alloc_),
                                  makeVector<double>(alloc_)};
    FpkVector<NullFlags> nulls_;
    std::size_t base_ = 0;  // result row of the window's first row
    std::size_t used_ = 0;  // window rows up to the last one written
    std::size_t top_ = 0;   // result rows up to the last one written
    bool presized_ = false;
    std::size_t original_[7] = {};
};

// Places the blocks of successive input rows.
class BlockPlacer {
public:
    BlockPlacer(Schedule& s, const char* periodsName) : s_(s), periodsName_(periodsName) {}

    // Refuses a period count that cannot be placed (after writing what was
    // built so far).
    void check(double n) {
        bool ok = std::fabs(n) < kRowLimit;
        if (ok && n > 0) ok = std::trunc(offset_ + (std::ceil(n) - 1.0)) < kRowLimit;
        if (!ok) {
            s_.finish();
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", periodsName_}, {"APPEND", kRowLimitText});
        }
    }

    // Writes the block of one input row: the first `solvedCount` lead columns
    // hold the solved values, the other columns the schedule.
    // Returns the CLOSING of the block's last row (original when it has none).
    double place(double n, const double* solved, std::size_t solvedCount, double original, double rate,
                 double payment) {
        double last = original;
        start_ = offset_;
        if (n > 0) {
            const double first = std::trunc(offset_);
            const std::size_t m = static_cast<std::size_t>(std::ceil(n));
            if (first >= 0 && first == offset_) {
                // Whole, non-negative offset: the rows are consecutive.
                const std::size_t r0 = static_cast<std::size_t>(first);
                s_.cover(r0, r0 + m - 1);
                account::scheduleBlock(original, rate, payment, n, m, s_.at(s_.openingCol(), r0),
                                       s_.at(s_.closingCol(), r0), s_.at(s_.interestCol(), r0),
                                       s_.at(s_.periodsCol(), r0));
                std::fill_n(s_.at(s_.paymentCol(), r0), m, payment);
                for (std::size_t c = 0; c < solvedCount; ++c) std::fill_n(s_.at(c, r0), m, solved[c]);
                s_.written(r0, r0 + m - 1);
                last = *s_.at(s_.closingCol(), r0 + m - 1);
            } else {
                last = placeRowByRow(n, m, solved, solvedCount, original, rate, payment);
            }
        }
        offset_ += n;
        return last;
    }

    // Whole blocks of at most kLaneRows rows go into vector lanes.
    static constexpr double kLaneRows = 64;

    // How many (up to BlockLanes::kLanes) of the next input rows, with period counts n[] and
    // types type[] (count of them available), can be placed side by side:
    // whole counts from 1 to kLaneRows at whole, non-negative offsets below
    // the row limit, with a valid type. Such blocks follow one another
    // without overlapping and read nothing that other blocks write.
    std::size_t laneRows(const double* n, const double* type, std::size_t count) const {
        std::size_t g = 0;
        double off = offset_;
        while (g < account::BlockLanes::kLanes && g < count) {
            const double m = n[g];
            const bool fits = m >= 1 && m <= kLaneRows && m == std::trunc(m) && off >= 0 &&
                              off == std::trunc(off) && off + (m - 1.0) < kRowLimit &&
                              (type[g] == 0 || type[g] == 1);
            if (!fits) break;
            off += m;
            ++g;
        }
        return g;
    }

    // Places `count` (1..BlockLanes::kLanes) blocks that laneRows accepted, lanes 0..count-1
    // of b holding their original, rate, payment and n (the other lanes
    // must be zero). With futureTypes, lead column 0 gets each block's
    // futureValue (for the lane's type); otherwise the first solvedCount
    // lead columns get solved[l].
    void placeLanes(std::size_t count, account::BlockLanes& b, const int* futureTypes, const double* solved,
                    std::size_t solvedCount) {
        std::size_t r0[account::BlockLanes::kLanes] = {};
        double off = offset_;
        for (std::size_t l = 0; l < account::BlockLanes::kLanes; ++l) {
            b.m[l] = l < count ? static_cast<std::size_t>(b.n[l]) : 0;
            if (l < count) {
                r0[l] = static_cast<std::size_t>(off);
                start_ = off;
                off += b.n[l];
            }
        }
        const std::size_t lo = r0[0], hi = r0[count - 1] + b.m[count - 1] - 1;
        s_.cover(lo, hi);
        for (std::size_t l = 0; l < count; ++l) {
            b.opening[l] = s_.at(s_.openingCol(), r0[l]);
            b.closing[l] = s_.at(s_.closingCol(), r0[l]);
            b.interest[l] = s_.at(s_.interestCol(), r0[l]);
            b.periodsLeft[l] = s_.at(s_.periodsCol(), r0[l]);
        }
        double typeOne[account::BlockLanes::kLanes];
        account::scheduleLanes(b, futureTypes != nullptr ? typeOne : nullptr);
        for (std::size_t l = 0; l < count; ++l) {
            const std::size_t m = b.m[l];
            std::fill_n(s_.at(s_.paymentCol(), r0[l]), m, b.payment[l]);
            if (futureTypes != nullptr) {
                const double future = futureTypes[l] == 0 ? b.closing[l][m - 1] : typeOne[l];
                std::fill_n(s_.at(0, r0[l]), m, future);
            } else {
                for (std::size_t c = 0; c < solvedCount; ++c) std::fill_n(s_.at(c, r0[l]), m, solved[l]);
            }
        }
        s_.written(lo, hi);
        offset_ = off;
    }

    // Writes `value` into lead column c on every row of the block just placed
    // with period count n.
    void fillBlock(double n, std::size_t c, double value) {
        if (!(n > 0)) return;
        const double start = start_;
        const std::size_t m = static_cast<std::size_t>(std::ceil(n));
        for (std::size_t k = 0; k < m; ++k) {
            const double row = std::trunc(start + static_cast<double>(k));
            if (row >= 0) *s_.at(c, static_cast<std::size_t>(row)) = value;
        }
    }


private:
    // The general placement: row of step k = trunc(offset + k). Rows before
    // the table's first row are not written; a step whose row before is such
    // a row carries the closing of the step before it.
    double placeRowByRow(double n, std::size_t m, const double* solved, std::size_t solvedCount, double original,
                         double rate, double payment) {
        double carried = original;
        const double lastRow = std::trunc(offset_ + static_cast<double>(m - 1));
        if (lastRow >= 0) s_.cover(static_cast<std::size_t>(std::max(0.0, std::trunc(offset_))),
                                   static_cast<std::size_t>(lastRow));
        for (std::size_t k = 0; k < m; ++k) {
            const double row = std::trunc(offset_ + static_cast<double>(k));
            double open = original;
            if (k > 0) {
                const double back = row - 1;
                open = back >= 0 ? s_.closingAt(static_cast<std::size_t>(back)) : carried;
            }
            const double in = open * rate / 100.0;
            const double close = open + payment + in;
            carried = close;
            if (row < 0) continue;
            const std::size_t r = static_cast<std::size_t>(row);
            *s_.at(s_.openingCol(), r) = open;
            *s_.at(s_.interestCol(), r) = in;
            *s_.at(s_.closingCol(), r) = close;
            *s_.at(s_.periodsCol(), r) = n - static_cast<double>(k);
            *s_.at(s_.paymentCol(), r) = payment;
            for (std::size_t c = 0; c < solvedCount; ++c) *s_.at(c, r) = solved[c];
            s_.written(r, r);
        }
        return lastRow >= 0 ? s_.closingAt(static_cast<std::size_t>(lastRow)) : carried;
    }

    Schedule& s_;
    const char* periodsName_;
    double offset_ = 0;
    double start_ = 0;  // offset of the block placed last
};

// Rows [0, rows) of an input column; rows beyond its end read as 0, like nulls.
FpkVector<double> readInput(const ColumnBase* col, std::size_t rows, const char* failLine) {
    const std::size_t have = std::min(rows, col->size());
    FpkVector<double> v = readDoubles(col, 0, have, accountAllocator(), {TRACE_ACCOUNTCALCULATE, failLine});
    v.resize(rows, 0.0);
    return v;
}

// Result rows that the blocks of these period counts reach, up to the first
// count that cannot be placed.
std::size_t plannedRows(const FpkVector<double>& periods) {
    double offset = 0, top = 0;
    for (double n : periods) {
        if (!(std::fabs(n) < kRowLimit)) break;
        if (n > 0) {
            const double last = std::trunc(offset + (std::ceil(n) - 1.0));
            if (!(last < kRowLimit)) break;
            top = std::max(top, last + 1);
        }
        offset += n;
    }
    return static_cast<std::size_t>(top);
}

}  // namespace

void FPKAccountCalculate::execute() {
    traceInfo(TRACE_ACCOUNTCALCULATE, "Information: FPKAccountCalculatePop::execute() begin");
    if (method < PAYMENT || method > FUTURE)
        FPK_RAISE_TRACED(TRACE_ACCOUNTCALCULATE, "FPKAccountCalculate::execute: unknown method.",
                         ERR_FPK_COMM_INTERNAL_ERR);
    if (method != PAYMENT) Verifier::verify(paymentCol, "d");
    if (method != RATE) Verifier::verify(rateCol, "d");
    if (method != PERIODS) Verifier::verify(periodsCol, "d");
    if (method != ORIGINAL) Verifier::verify(originalCol, "d");
    if (method != FUTURE) Verifier::verify(futureCol, "d");
    Verifier::verify(typeCol, "d");
    Verifier::verify(result, method == PAYMENT ? "ddddd" : (method == PERIODS ? "ddddddd" : "dddddd"));
    switch (method) {
        case PAYMENT: execute_payment(); break;
        case RATE: execute_Rate(); break;
        case PERIODS: execute_Periods(); break;
        case ORIGINAL: execute_Original(); break;
        default: execute_Future(); break;
    }
}

namespace {
// Lanes 0..g-1 of dst from src[0..g-1], the other lanes 0 (a fixed count of
// lanes, so that no library copy is called for these few values).
void laneValues(double* dst, const double* src, std::size_t g) {
    for (std::size_t l = 0; l < account::BlockLanes::kLanes; ++l) dst[l] = l < g ? src[l] : 0.0;
}

// TYPE of a row: 0 or 1, anything else (NaN too) is refused after writing
// what was built so far.
int typeOf(double t, Schedule& s, const ColumnBase* typeCol) {
    if (t == 0) return 0;
    if (t == 1) return 1;
    s.finish();
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", typeCol->getName()}, {"APPEND", "Type should be in (0,1)"});
}
}  // namespace

void FPKAccountCalculate::execute_Future() {
    const std::size_t rows = periodsCol->size();
    if (rows < 1) return;
    const FpkVector<double> periods = readInput(periodsCol, rows, "periodsCol->getNative failed.");
    const FpkVector<double> rate = readInput(rateCol, rows, "rateCol->getNative failed.");
    const FpkVector<double> original = readInput(originalCol, rows, "originalCol->getNative failed.");
    const FpkVector<double> payment = readInput(paymentCol, rows, "paymentCol->getNative failed.");
    const FpkVector<double> type = readInput(typeCol, rows, "typeCol->getNative failed.");
    Schedule s(result, 1, accountAllocator());
    s.presize(plannedRows(periods));
    BlockPlacer placer(s, periodsCol->getName());
    for (std::size_t i = 0; i < rows; ++i) {
        const std::size_t g = placer.laneRows(periods.data() + i, type.data() + i, rows - i);
        if (g >= 2) {
            account::BlockLanes b;
            laneValues(b.original, original.data() + i, g);
            laneValues(b.rate, rate.data() + i, g);
            laneValues(b.payment, payment.data() + i, g);
            laneValues(b.n, periods.data() + i, g);
            int t[account::BlockLanes::kLanes];
            for (std::size_t l = 0; l < g; ++l) t[l] = type[i + l] == 0 ? 0 : 1;
            placer.placeLanes(g, b, t, nullptr, 0);
            i += g - 1;
            continue;
        }
        const double n = periods[i];
        placer.check(n);
        // The type is only looked at while periods are being compounded.
        const double future =
            n > 0 ? account::futureValue(n, rate[i], original[i], payment[i], typeOf(type[i], s, typeCol))
                  : original[i];
        placer.place(n, &future, 1, original[i], rate[i], payment[i]);
    }
    s.finish();
}

void FPKAccountCalculate::execute_Original() {
    const std::size_t rows = periodsCol->size();
    if (rows < 1) return;
    const FpkVector<double> rate = readInput(rateCol, rows, "rateCol->getNative failed.");
    const FpkVector<double> periods = readInput(periodsCol, rows, "periodsCol->getNative failed.");
    const FpkVector<double> payment = readInput(paymentCol, rows, "paymentCol->getNative failed.");
    const FpkVector<double> future = readInput(futureCol, rows, "futureCol->getNative failed.");
    const FpkVector<double> type = readInput(typeCol, rows, "typeCol->getNative failed.");
    Schedule s(result, 1, accountAllocator());
    s.presize(plannedRows(periods));
    BlockPlacer placer(s, periodsCol->getName());
    for (std::size_t i = 0; i < rows; ++i) {
        const std::size_t g = placer.laneRows(periods.data() + i, type.data() + i, rows - i);
        if (g >= 2) {
            account::BlockLanes b;
            double f[account::BlockLanes::kLanes], solved[account::BlockLanes::kLanes];
            laneValues(b.original, nullptr, 0);
            laneValues(b.rate, rate.data() + i, g);
            laneValues(b.payment, payment.data() + i, g);
            laneValues(b.n, periods.data() + i, g);
            account::growthLanes(b.n, b.rate, static_cast<std::size_t>(*std::max_element(b.n, b.n + account::BlockLanes::kLanes)), f);
            for (std::size_t l = 0; l < g; ++l) {
                const int t = type[i + l] == 0 ? 0 : 1;
                solved[l] = account::presentValue(rate[i + l], f[l], payment[i + l], future[i + l], t);
                b.original[l] = solved[l];
            }
            placer.placeLanes(g, b, nullptr, solved, 1);
            i += g - 1;
            continue;
        }
        const double n = periods[i];
        placer.check(n);
        const int t = typeOf(type[i], s, typeCol);
        const double f = account::growthFactor(n, rate[i]);
        const double original = account::presentValue(rate[i], f, payment[i], future[i], t);
        placer.place(n, &original, 1, original, rate[i], payment[i]);
    }
    s.finish();
}

void FPKAccountCalculate::execute_payment() {
    const std::size_t rows = periodsCol->size();
    if (rows < 1) return;
    const FpkVector<double> rate = readInput(rateCol, rows, "rateCol->getNative failed.");
    const FpkVector<double> periods = readInput(periodsCol, rows, "periodsCol->getNative failed.");
    const FpkVector<double> original = readInput(originalCol, rows, "originalCol->getNative failed.");
    const FpkVector<double> future = readInput(futureCol, rows, "futureCol->getNative failed.");
    const FpkVector<double> type = readInput(typeCol, rows, "typeCol->getNative failed.");
    Schedule s(result, 0, accountAllocator());
    s.presize(plannedRows(periods));
    BlockPlacer placer(s, periodsCol->getName());
    for (std::size_t i = 0; i < rows; ++i) {
        const std::size_t g = placer.laneRows(periods.data() + i, type.data() + i, rows - i);
        if (g >= 2) {
            account::BlockLanes b;
            double f[account::BlockLanes::kLanes];
            laneValues(b.original, original.data() + i, g);
            laneValues(b.rate, rate.data() + i, g);
            laneValues(b.payment, nullptr, 0);
            laneValues(b.n, periods.data() + i, g);
            account::growthLanes(b.n, b.rate, static_cast<std::size_t>(*std::max_element(b.n, b.n + account::BlockLanes::kLanes)), f);
            for (std::size_t l = 0; l < g; ++l) {
                const int t = type[i + l] == 0 ? 0 : 1;
                b.payment[l] = account::periodicPayment(rate[i + l], f[l], original[i + l], future[i + l], t);
            }
            placer.placeLanes(g, b, nullptr, nullptr, 0);
            i += g - 1;
            continue;
        }
        const double n = periods[i];
        placer.check(n);
        const int t = typeOf(type[i], s, typeCol);
        const double f = account::growthFactor(n, rate[i]);
        const double payment = account::periodicPayment(rate[i], f, original[i], future[i], t);
        placer.place(n, nullptr, 0, original[i], rate[i], payment);
    }
    s.finish();
}

void FPKAccountCalculate::execute_Rate() {
    const std::size_t rows = periodsCol->size();
    if (rows < 1) return;
    const FpkVector<double> original = readInput(originalCol, rows, "originalCol->getNative failed.");
    const FpkVector<double> periods = readInput(periodsCol, rows, "periodsCol->getNative failed.");
    const FpkVector<double> payment = readInput(paymentCol, rows, "paymentCol->getNative failed.");
    const FpkVector<double> future = readInput(futureCol, rows, "futureCol->getNative failed.");
    const FpkVector<double> type = readInput(typeCol, rows, "typeCol->getNative failed.");
    Schedule s(result, 1, accountAllocator());
    s.presize(plannedRows(periods));
    BlockPlacer placer(s, periodsCol->getName());
    account::RateSearch search;  // one step budget for the whole call
    for (std::size_t i = 0; i < rows; ++i) {
        const int t = typeOf(type[i], s, typeCol);
        const double n = periods[i];
        placer.check(n);
        const double r = search.solve(n, original[i], payment[i], future[i], t);
        placer.place(n, &r, 1, original[i], r, payment[i]);
    }
    s.finish();
}

void FPKAccountCalculate::execute_Periods() {
    const std::size_t rows = rateCol->size();
    if (rows < 1) return;
    const FpkVector<double> rate = readInput(rateCol, rows, "rateCol->getNative failed.");
    const FpkVector<double> original = readInput(originalCol, rows, "originalCol->getNative failed.");
    const FpkVector<double> payment = readInput(paymentCol, rows, "paymentCol->getNative failed.");
    const FpkVector<double> future = readInput(futureCol, rows, "futureCol->getNative failed.");
    const FpkVector<double> type = readInput(typeCol, rows, "typeCol->getNative failed.");
    Schedule s(result, 2, accountAllocator());
    const ColumnBase* periodCol = tableColumn(result, 0);
    BlockPlacer placer(s, periodCol != nullptr ? periodCol->getName() : "PERIOD");
    for (std::size_t i = 0; i < rows; ++i) {
        // The type only matters when interest is compounded.
        const int t = rate[i] != 0 ? typeOf(type[i], s, typeCol) : 0;
        const double period = account::numberOfPeriods(rate[i], original[i], payment[i], future[i], t);
        // A count that is not a number (a division by zero) still shows on
        // one row, with the first period of the schedule.
        const double blockPeriods = std::isfinite(period) ? period : 1.0;
        placer.check(blockPeriods);
        const double solved[2] = {period, 0.0};
        const double last = placer.place(blockPeriods, solved, 1, original[i], rate[i], payment[i]);
        placer.fillBlock(blockPeriods, 1, last);
    }
    s.finish();
}

// Front doors.
void qelFuture(const ColumnHandle& periods, const ColumnHandle& rate, const ColumnHandle& original,
               const ColumnHandle& payment, const ColumnHandle& type, TableHandle& result) {
    FPKAccountCalculate fn(FPKAccountCalculate::FUTURE, payment.get(), rate.get(), periods.get(), original.get(),
                           nullptr, type.get(), result.get());
    fn.execute();
}

void qelPresentValue(const ColumnHandle& rate, const ColumnHandle& periods, const ColumnHandle& payment,
                     const ColumnHandle& future, const ColumnHandle& method, TableHandle& result) {
    FPKAccountCalculate fn(FPKAccountCalculate::ORIGINAL, payment.get(), rate.get(), periods.get(), nullptr,
                           future.get(), method.get(), result.get());
    fn.execute();
}

void qelPayment(const ColumnHandle& rate, const ColumnHandle& periods, const ColumnHandle& present,
                const ColumnHandle& future, const ColumnHandle& method, TableHandle& result) {
    FPKAccountCalculate fn(FPKAccountCalculate::PAYMENT, nullptr, rate.get(), periods.get(), present.get(),
                           future.get(), method.get(), result.get());
    fn.execute();
}

void qelRate(const ColumnHandle& present, const ColumnHandle& periods, const ColumnHandle& payment,
             const ColumnHandle& future, const ColumnHandle& method, TableHandle& result) {
    FPKAccountCalculate fn(FPKAccountCalculate::RATE, payment.get(), nullptr, periods.get(), present.get(),
                           future.get(), method.get(), result.get());
    fn.execute();
}

void qelNumberPeriods(const ColumnHandle& rate, const ColumnHandle& present, const ColumnHandle& payment,
                      const ColumnHandle& future, const ColumnHandle& method, TableHandle& result) {
    FPKAccountCalculate fn(FPKAccountCalculate::PERIODS, payment.get(), rate.get(), nullptr, present.get(),
                           future.get(), method.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
