// The arithmetic of STOCKFLOW, STOCKFLOWREVERSE and STOCKFLOWBATCH over
// native arrays: history, end average, planned rows, actual cover, rounding.
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "../common/fpkAllocator.h"
#include "../common/fpkCommon.h"
#include "../common/fpkDefines.h"
#include "fpkStockFlow.h"

namespace businessFunctions {

RhoUtils::Allocator& stockFlowAllocator();
FPK_FUNCTION_ALLOCATOR(stockFlowAllocator, "StockFlowAllocator")

namespace stockflow {

namespace {

[[noreturn]] void invalidValue(const char* col, const char* text) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col}, {"APPEND", text});
}

// A row length that no walk can use: a negative PERIODLENGTH, a TIME key
// earlier than the one before it, or an averaged length of 0 or less past
// the last row (a walk could never reach its cover).
[[noreturn]] void badLength(const Series& s) {
    if (s.lengths.unit == DAYS) FPK_RAISE(ERR_FPK_SF_INVALID_TIME);
    invalidValue(s.names.periodLength, "periodLengthValue must bigger than 0");
}

// x / b truncated toward zero into 32 bits (saturated; NaN gives 0).
double quotient32(double x, double b) {
    const double q = std::trunc(x / b);
    if (std::isnan(q)) return 0;
    return std::clamp(q, -2147483648.0, 2147483647.0);
}

double roundUpToBatch(double x, double b) {
    const double q = quotient32(x, b);
    return q * b < x ? (q + 1) * b : x;
}

double roundDownToBatch(double x, double b) {
    const double q = quotient32(x, b);
    return q * b < x ? q * b : x;
}

// e with |x| in [2^e, 2^(e+1)).
int binadeOf(double x) {
    int e = 0;
    std::frexp(x, &e);
    return e - 1;
}

bool sameBinade(double a, double b) {
    return std::isfinite(a) && std::isfinite(b) && a != 0 && b != 0 && std::signbit(a) == std::signbit(b) &&
           binadeOf(a) == binadeOf(b);
}

// A 32-bit running total: t + r truncated toward zero; a total beyond the
// 32-bit range becomes INT32_MIN, as an overflowing conversion does on the
// usual hardware.
int32_t addTruncated(int32_t total, double r) {
    const double t = static_cast<double>(total) + r;
    if (!(t > -2147483649.0 && t < 2147483648.0)) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(t);
}

// Prefix sums of values[first..n) and of the row lengths, for range sums in
// O(1). `exact` is set only when every partial sum of those values is exact
// in double (all finite, non-negative multiples of one power of two whose
// total stays below 2^52 of it): then a range sum from the prefixes is the
// very number the row-by-row walk adds up, in any order. `lengthsOk` is set
// when no row from `first` on lacks a length; `monotone` when no length is
// negative.
struct Prefix {
    bool exact = false;
    bool lengthsOk = false;
    bool monotone = false;
    FpkVector<double> sum = makeVector<double>(stockFlowAllocator());
    FpkVector<int64_t> length = makeVector<int64_t>(stockFlowAllocator());
};

Prefix buildPrefix(const double* values, const Lengths& lengths, std::size_t first, std::size_t n) {
    Prefix p;
    int lowest = std::numeric_limits<int>::max();
    double total = 0;
    for (std::size_t k = first; k < n; ++k) {
        const double v = values[k];
        if (!(v >= 0) || !std::isfinite(v)) return p;
        if (v == 0) continue;
        int e = 0;
        const double m = std::frexp(v, &e);
        const uint64_t mantissa = static_cast<uint64_t>(std::ldexp(m, 53));
        lowest = std::min(lowest, e - 53 + std::countr_zero(mantissa));
        total += v;
    }
    if (lowest != std::numeric_limits<int>::max() && !(total < std::ldexp(1.0, 52 + lowest))) return p;
    p.lengthsOk = true;
    p.monotone = true;
    for (std::size_t k = first; k < n; ++k) {
        if (lengths.bad != nullptr && lengths.bad[k]) p.lengthsOk = false;
        if (lengths.len != nullptr && lengths.len[k] < 0) p.monotone = false;
    }
    if (!p.lengthsOk) return p;
    p.exact = true;
    p.sum.assign(n + 1, 0.0);
    p.length.assign(n + 1, 0);
    for (std::size_t k = 0; k < n; ++k) {
        p.sum[k + 1] = p.sum[k] + (k >= first ? values[k] : 0.0);
        p.length[k + 1] = p.length[k] + (lengths.len != nullptr ? lengths.len[k] : 1);
    }
    return p;
}

// Prefix sums built on first demand: most calls never walk far.
struct LazyPrefix {
    const double* values;
    const Lengths* lengths;
    std::size_t first, n;
    bool needMonotone;
    bool built = false;
    Prefix prefix = Prefix();

    const Prefix* get() {
        if (!built) {
            prefix = buildPrefix(values, *lengths, first, n);
            built = true;
        }
        return prefix.exact && (prefix.monotone || !needMonotone) ? &prefix : nullptr;
    }
};

// The first k in [from, n) whose cumulative `prefix[k + 1] - prefix[from]`
// reaches `limit`, or n when none does (the prefix is non-decreasing). It
// gallops from `from` before bisecting, so a short window costs little.
template <class T>
std::size_t firstReaching(const FpkVector<T>& prefix, std::size_t from, std::size_t n, T limit) {
    std::size_t lo = from, hi = n, step = 1;
    while (lo + step < n) {
        const std::size_t probe = lo + step - 1;
        if (prefix[probe + 1] - prefix[from] >= limit) {
            hi = probe + 1;
            break;
        }
        lo = probe + 1;
        step *= 2;
    }
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (prefix[mid + 1] - prefix[from] >= limit)
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

}  // namespace

int coverOf(double value, const Names& names) {
    if (std::isnan(value)) invalidValue(names.forecastCover, "coverPeriod must be no less than 0");
    return static_cast<int>(std::clamp(std::trunc(value), -2147483648.0, 2147483647.0));
}

uint64_t advance(double& s, double a, uint64_t maxSteps, double stop, bool& stalled) {
    stalled = false;
    uint64_t done = 0;
    // The two values before s, when they came from single steps.
    double p0 = 0, p1 = 0;
    int history = 0;
    while (done < maxSteps) {
        // Three consecutive values in one binade: from here every step adds
        // the same delta (a rounded to the binade's spacing; on a rounding
        // tie the first step inside the binade lands on an even multiple, and
        // from an even multiple the rounding always goes the same way), so a
        // run of steps that stays inside the binade is s + t * delta exactly.
        if (history >= 2 && sameBinade(p0, p1) && sameBinade(p1, s)) {
            const double delta = s - p1;
            const int e = binadeOf(s);
            const double hi = s > 0 ? std::ldexp(1.0, e + 1) : -std::ldexp(1.0, e);
            // Two steps of slack absorb the rounding of this estimate.
            const double room = (hi - s - 2 * (a + delta)) / delta - 2;
            uint64_t t = room > 1 ? static_cast<uint64_t>(std::min(room, 9.0e15)) : 0;
            t = std::min(t, maxSteps - done);
            if (t > 0 && s + static_cast<double>(t) * delta >= stop) {
                const double q = (stop - s) / delta;
                t = std::min<uint64_t>(t, q > 0 ? static_cast<uint64_t>(std::min(q, 9.0e15)) : 0);
                while (t > 0 && s + static_cast<double>(t) * delta >= stop) --t;
            }
            if (t > 0) {
                s = s + static_cast<double>(t) * delta;
                done += t;
                history = 0;
                continue;
            }
        }
        const double next = s + a;
        if (next == s) {
            stalled = true;
            return done;
        }
        p0 = p1;
        p1 = s;
        s = next;
        ++done;
        if (history < 2) ++history;
        if (s >= stop || std::isnan(s)) return done;
    }
    return done;
}

namespace {
// Walks up to this many rows (or this much cover) one by one before the
// prefix sums take over.
constexpr int kShortWalk = 64;

double targetClosingWith(const Series& s, const EndAverage& avg, std::size_t row, int cover, LazyPrefix* source) {
    if (cover < 0) invalidValue(s.names.forecastCover, "coverPeriod must be no less than 0");
    double target = 0;
    int64_t reached = 0;
    std::size_t k = row + 1;
    const Prefix* prefix = source != nullptr && cover > kShortWalk && k < s.n ? source->get() : nullptr;
    if (prefix != nullptr) {
        // The rows up to the one whose length reaches the cover, at once.
        const std::size_t last = std::min(firstReaching<int64_t>(prefix->length, k, s.n, cover), s.n - 1);
        target = prefix->sum[last + 1] - prefix->sum[k];
        reached = prefix->length[last + 1] - prefix->length[k];
        k = last + 1;
    }
    for (; reached < cover && k < s.n; ++k) {
        const double v = s.forecastSales[k];
        if (!(v >= 0)) invalidValue(s.names.forecastSales, "forecastSalesValue must bigger than 0");
        const int64_t length = s.lengths.at(k);
        if (length < 0) badLength(s);
        target += v;
        reached += length;
    }
    if (reached < cover) {
        // Past the last row every period sells the end average.
        if (avg.length <= 0) badLength(s);
        const uint64_t steps = static_cast<uint64_t>((cover - reached + avg.length - 1) / avg.length);
        bool stalled = false;
        advance(target, avg.sales, steps, std::numeric_limits<double>::infinity(), stalled);
    }
    return target;
}

double actualCoverWith(const Series& s, const EndAverage& avg, const double* salesOutlook, std::size_t row,
                       double closing, LazyPrefix* source) {
    if (!(closing > 0)) return 0;
    double sum = 0;
    int64_t cover = 0;
    const std::size_t origin = row + 1;
    // A short walk first: most covers end within a few rows.
    const std::size_t shortEnd = source != nullptr ? std::min(s.n, origin + kShortWalk) : origin;
    for (std::size_t k = origin; k < shortEnd; ++k) {
        sum += salesOutlook[k];
        if (sum > closing) return static_cast<double>(cover);
        cover += s.lengths.at(k);
        if (!(sum < closing)) return static_cast<double>(cover);
    }
    std::size_t from = shortEnd;
    const Prefix* prefix = source != nullptr && shortEnd < s.n ? source->get() : nullptr;
    if (prefix != nullptr) {
        // The row whose sales make the sum reach the closing stock, at once.
        const std::size_t k = firstReaching<double>(prefix->sum, origin, s.n, closing);
        if (k < s.n) {
            const double reached = prefix->sum[k + 1] - prefix->sum[origin];
            const std::size_t counted = reached > closing ? k : k + 1;
            return static_cast<double>(prefix->length[counted] - prefix->length[origin]);
        }
        sum = prefix->sum[s.n] - prefix->sum[origin];
        cover = prefix->length[s.n] - prefix->length[origin];
        from = s.n;
    }
    for (std::size_t k = from; k < s.n; ++k) {
        sum += salesOutlook[k];
        if (sum > closing) return static_cast<double>(cover);
        cover += s.lengths.at(k);
        if (!(sum < closing)) return static_cast<double>(cover);
    }
    // Past the last row: steps of the end average, each one average length.
    bool stalled = false;
    const uint64_t steps = advance(sum, avg.sales, std::numeric_limits<uint64_t>::max(), closing, stalled);
    // A sum that can no longer grow never uses the stock up: the cover ends
    // where the sales stop adding up.
    const double counted = stalled || !(sum > closing) ? static_cast<double>(steps) : static_cast<double>(steps) - 1;
    return static_cast<double>(cover) + counted * static_cast<double>(avg.length);
}
}  // namespace

double targetClosing(const Series& s, const EndAverage& avg, std::size_t row, int cover) {
    return targetClosingWith(s, avg, row, cover, nullptr);
}

double actualCover(const Series& s, const EndAverage& avg, const double* salesOutlook, std::size_t row,
                   double closing) {
    return actualCoverWith(s, avg, salesOutlook, row, closing, nullptr);
}

void batchClamp(double s, double minSupply, double maxSupply, double b, double opening, double sales, double wastage,
                double target, double& supply, double& closing) {
    bool maxDropped = false;
    if (b != 0) {
        s = roundUpToBatch(s, b);
        minSupply = roundUpToBatch(minSupply, b);
        maxSupply = roundDownToBatch(maxSupply, b);
        if (minSupply > maxSupply) {
            if (maxSupply != 0)
                maxSupply = minSupply;
            else
                maxDropped = true;
        }
    }
    if (s < minSupply) {
        supply = minSupply;
        closing = minSupply + opening - sales - wastage;
    } else if (!maxDropped && maxSupply != 0 && s > maxSupply) {
        supply = maxSupply;
        closing = maxSupply + opening - sales - wastage;
    } else {
        supply = s;
        closing = (b == 0 && !maxDropped) ? target : opening + s - sales - wastage;
    }
}

EndAverage planRows(const Series& s, Result& r) {
    const Names& nm = s.names;
    const std::size_t n = s.n;
    const std::size_t history = static_cast<std::size_t>(s.offset + 1);

    // History: the actuals as they are.
    for (std::size_t i = 0; i < history; ++i) {
        const double closing = s.actualClosing[i];
        if (!(closing >= 0)) invalidValue(nm.actualClosing, "actual closingValue must be bigger than 0");
        const double sales = s.actualSales[i];
        if (!(sales >= 0)) invalidValue(nm.actualSales, "actual salesValue must be bigger than 0");
        const double opening = i == 0 ? s.prime : r.closing[i - 1];
        const double rate = s.wastageRate[i];
        if (!(rate >= 0 && rate <= 100)) invalidValue(nm.wastageRate, "wastageRate must between 0 and 100");
        r.closing[i] = closing;
        r.salesOutlook[i] = sales;
        r.supplyOutlook[i] = s.actualSupply[i];
        r.opening[i] = opening;
        r.wastage[i] = opening < 0 ? 0 : rate * opening / 100;
        r.rows = i + 1;
    }

    // End average over the last N rows.
    const int periods = s.endMethod;
    if (periods < 1 || static_cast<std::size_t>(periods) > n) invalidValue(nm.endMethod, "n_Periods must be bigger than 0");
    EndAverage avg;
    double sum = 0;
    for (std::size_t k = n - static_cast<std::size_t>(periods); k < n; ++k) {
        const double v = s.forecastSales[k];
        if (!(v >= 0)) invalidValue(nm.forecastSales, "forecastSales must be no less than 0");
        sum += v;
    }
    avg.sales = sum / periods;
    if (s.lengths.unit != UNITS) {
        int64_t lengths = 0;
        for (std::size_t k = n - static_cast<std::size_t>(periods); k < n; ++k) lengths += s.lengths.at(k);
        avg.length = lengths / periods;
    }

    // Planned rows, in order: each opens with the previous closing. Their
    // target walks read the forecast sales of the planned rows.
    LazyPrefix fast{s.forecastSales, &s.lengths, history, n, true, false, Prefix()};
    for (std::size_t i = history; i < n; ++i) {
        const double opening = i == 0 ? s.prime : r.closing[i - 1];
        const double rate = s.wastageRate[i];
        if (!(rate >= 0 && rate <= 100)) invalidValue(nm.wastageRate, "wastageRate must between 0 and 100");
        const double wastage = opening < 0 ? 0 : rate * opening / 100;
        const double target = targetClosingWith(s, avg, i, coverOf(s.forecastCover[i], nm), &fast);
        const double sales = s.forecastSales[i];
        if (!(sales >= 0)) invalidValue(nm.forecastSales, "forecastSales must be no less than 0");
        const double unclamped = sales + target + wastage - opening;
        double supply = 0, closing = 0;
        batchClamp(unclamped, s.minSupply[i], s.maxSupply[i], s.batch != nullptr ? s.batch[i] : 0.0, opening, sales,
                   wastage, target, supply, closing);
        r.opening[i] = opening;
        r.wastage[i] = wastage;
        r.supplyOutlook[i] = supply;
        if (s.outlook == RESTRICT && closing < 0) {
            // Sales are cut to what is available.
            r.closing[i] = 0;
            r.salesOutlook[i] = opening - wastage + supply;
        } else {
            r.closing[i] = closing;
            r.salesOutlook[i] = sales;
        }
        r.rows = i + 1;
    }
    return avg;
}

void coverRows(const Series& s, const EndAverage& avg, Result& r) {
    LazyPrefix fast{r.salesOutlook, &s.lengths, s.n > 0 ? 1u : 0u, s.n, false, false, Prefix()};
    for (std::size_t row = 0; row < s.n; ++row) {
        r.cover[row] = actualCoverWith(s, avg, r.salesOutlook, row, r.closing[row], &fast);
        r.covered = row + 1;
    }
}

void roundRows(int method, double* const columns[5], std::size_t n, const Names& names) {
    if (method < DNR || method > PRESERVE_SUM_YOY) invalidValue(names.roundMethod, "roundMethodValue is not in (0, 1,2,3)");
    if (method == DNR) return;
    FpkVector<double> rounded = makeVector<double>(stockFlowAllocator(), method == PRESERVE_SUM ? n : 0);
    FpkVector<double> residual = makeVector<double>(stockFlowAllocator(), method == PRESERVE_SUM ? n : 0);
    for (int c = 0; c < 5; ++c) {
        double* v = columns[c];
        switch (method) {
            case ROUND:
                for (std::size_t i = 0; i < n; ++i) v[i] = roundDouble(v[i]);
                break;
            case PRESERVE_SUM: {
                double rawTotal = 0;
                int32_t roundedTotal = 0;
                for (std::size_t i = 0; i < n; ++i) {
                    rounded[i] = roundDouble(v[i]);
                    residual[i] = v[i] - rounded[i];
                    rawTotal += v[i];
                    roundedTotal = addTruncated(roundedTotal, rounded[i]);
                }
                Preserv_SUM(rawTotal - roundedTotal, n, residual.data(), rounded.data());
                std::copy(rounded.begin(), rounded.end(), v);
                break;
            }
            case PRESERVE_SUM_YOY: {
                double rawTotal = 0, roundedTotal = 0;
                for (std::size_t i = 0; i < n; ++i) {
                    rawTotal += v[i];
                    v[i] = Preserv_Round(v[i], rawTotal, roundedTotal);
                }
                break;
            }
            default:
                break;
        }
    }
}

}  // namespace stockflow

double Preserv_Round(double value, double target, double& runningRounded) {
    const double r = roundDouble(value);
    runningRounded += r;
    const double d = target - runningRounded;
    if (r <= value) {
        if (std::fabs(d) > std::fabs(d - 1)) {
            runningRounded += 1;
            return r + 1;
        }
        return r;
    }
    if (std::fabs(d) > std::fabs(d + 1)) {
        runningRounded -= 1;
        return r - 1;
    }
    return r;
}

void Preserv_SUM(double excess, std::size_t n, const double* residual, double* values) {
    if (n == 0 || !(excess != 0) || std::isnan(excess)) return;
    // Work lists: the entries of the excess's sign at the front, keyed by
    // the size of their residual; the rest keep key 0 and index 0.
    FpkVector<double> key = makeVector<double>(stockFlowAllocator(), n, 0.0);
    FpkVector<std::size_t> index = makeVector<std::size_t>(stockFlowAllocator(), n, 0);
    std::size_t filled = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const bool take = excess > 0 ? residual[i] > 0 : residual[i] < 0;
        if (!take) continue;
        key[filled] = excess > 0 ? residual[i] : -residual[i];
        index[filled] = i;
        ++filled;
    }
    double remaining = excess > 0 ? excess : -excess;
    const double unit = excess > 0 ? -1.0 : 1.0;

    // Selection sort from the top: for p = n-1 down, the largest key among
    // positions 0..p (the highest position on ties) is swapped into p. Only
    // the positions the units reach matter. The positive keys start in
    // positions 0..filled-1 and win every step until all are placed; the
    // positions from `filled` up hold unfilled entries (key 0, index 0) until
    // a step swaps one down. A tournament tree over positions 0..filled-1
    // finds each maximum in log n.
    std::size_t leaves = 1;
    while (leaves < filled) leaves <<= 1;
    const double gone = -std::numeric_limits<double>::infinity();
    FpkVector<double> live = makeVector<double>(stockFlowAllocator(), leaves, gone);
    std::copy(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(filled), live.begin());
    FpkVector<std::size_t> best = makeVector<std::size_t>(stockFlowAllocator(), 2 * leaves, 0);
    auto winner = [&](std::size_t a, std::size_t b) {
        return (live[a] > live[b] || (live[a] == live[b] && a > b)) ? a : b;
    };
    for (std::size_t i = 0; i < leaves; ++i) best[leaves + i] = i;
    for (std::size_t v = leaves - 1; v >= 1; --v) best[v] = winner(best[2 * v], best[2 * v + 1]);
    auto update = [&](std::size_t pos) {
        for (std::size_t v = (leaves + pos) / 2; v >= 1; v /= 2) best[v] = winner(best[2 * v], best[2 * v + 1]);
    };
    std::size_t p = n;
    for (; p > n - filled && remaining > 0;) {
        --p;
        const std::size_t j = best[1];
        const std::size_t placed = index[j];
        if (p < filled) {
            std::swap(key[j], key[p]);
            std::swap(index[j], index[p]);
            live[j] = key[j];
            live[p] = gone;
            update(p);
        } else {
            // An unfilled entry comes down from p.
            key[j] = 0;
            index[j] = 0;
            live[j] = 0;
        }
        update(j);
        values[placed] += unit;
        remaining -= 1;
    }
    // The positions below hold only unfilled entries (key 0, index 0):
    // whatever units remain fall on row 0.
    for (; p > 0 && remaining > 0; --p) {
        values[0] += unit;
        remaining -= 1;
    }
}

void convert2units(int value, stockflow::CoverUnit& out, const char* colName) {
    switch (value) {
        case 0:
            out = stockflow::DAYS;
            return;
        case 1:
            out = stockflow::UNITS;
            return;
        case 2:
            out = stockflow::PERIODS;
            return;
        default:
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", colName}, {"APPEND", "switchover is not in (0, 1, 2)"});
    }
}

}  // namespace businessFunctions
