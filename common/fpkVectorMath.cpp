// Elementary functions over arrays as vector code (see fpkVectorMath.h).
//
// Every routine works through its array in blocks: one loop without
// branches computes each element by the method below (so that the compiler
// turns it into vector code, gathers included) and flags the elements it
// does not take (special values, arguments near the edges of the range);
// a second loop gives those to the C library. The arithmetic uses std::fma
// where it needs an exact product, and the library is compiled without
// contraction, so the vector versions and the baseline give the same bits.
//
// Methods:
// - exp(x): x = k ln2 + r with |r| <= ln2/2 (ln2 in two parts, the first
//   product exact by fma), e^r by its Taylor series to r^13, times 2^k.
// - log(x): x = 2^e m, m in [1, 2); m c - 1 = r exactly for c a 9-bit
//   approximation of 1/m from a table of 256; log x = e ln2 - log c +
//   log(1 + r), the table values and ln2 held as double-double values.
// - pow(b, t) = exp(t log b) with log b and t log b carried as
//   double-double values into the exponential, so that a large t keeps the
//   accuracy of the result.
// - sin and cos: x = k pi/2 + r with pi/2 in three parts (the reduction is
//   kept as a double-double value), then the Taylor series of sin or cos of
//   r by the quadrant.
// Tables are computed once, on first use, with double-double arithmetic.
#include "fpkVectorMath.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "fpkIsaDispatch.h"

namespace businessFunctions::vmath {

namespace {

// ---- double-double arithmetic for the tables (run once) ----------------

struct DD {
    double hi, lo;
};

FPK_KERNEL DD fastTwoSum(double a, double b) {
    const double s = a + b;
    return {s, b - (s - a)};
}
FPK_KERNEL DD twoSum(double a, double b) {
    const double s = a + b, bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}
DD add(DD a, DD b) {
    const DD s = twoSum(a.hi, b.hi);
    return fastTwoSum(s.hi, s.lo + a.lo + b.lo);
}
DD mul(DD a, DD b) {
    const double p = a.hi * b.hi;
    return fastTwoSum(p, std::fma(a.hi, b.hi, -p) + (a.hi * b.lo + a.lo * b.hi));
}
DD div(DD a, DD b) {
    const double q = a.hi / b.hi;
    const DD qb = mul({q, 0}, b);
    const DD rest = add(a, {-qb.hi, -qb.lo});
    return fastTwoSum(q, rest.hi / b.hi);
}
// log c = 2 atanh((c - 1)/(c + 1)) for c in [1/2, 2] whose c - 1 and c + 1
// are exact.
DD logOf(double c) {
    const DD s = div({c - 1, 0}, {c + 1, 0}), s2 = mul(s, s);
    DD term = s, sum = s;
    for (int i = 1; i < 80 && term.hi != 0; ++i) {
        term = mul(term, s2);
        const DD part = div(term, {2.0 * i + 1, 0});
        sum = add(sum, part);
        if (std::fabs(part.hi) < 1e-36 * std::fabs(sum.hi)) break;
    }
    return {2 * sum.hi, 2 * sum.lo};
}

constexpr int kLogTable = 256;

struct Tables {
    double ln2Hi, ln2Lo;
    double inverse[kLogTable];  // c_j: 9-bit approximations of 1/m over bucket j of [1, 2)
    double logHi[kLogTable], logLo[kLogTable];  // -log c_j
    Tables() {
        const DD ln2 = logOf(2.0);
        ln2Hi = ln2.hi;
        ln2Lo = ln2.lo;
        for (int j = 0; j < kLogTable; ++j) {
            const double mid = 1.0 + (j + 0.5) / kLogTable;
            const double c = std::nearbyint(256.0 / mid) / 256.0;
            inverse[j] = c;
            const DD l = logOf(c);
            logHi[j] = -l.hi;
            logLo[j] = -l.lo;
        }
    }
};

const Tables& tables() {
    static const Tables t;
    return t;
}

// c[0] x^(N-1) + c[1] x^(N-2) + ... + c[N-1], by Horner's rule with fused
// multiply-adds.
template <std::size_t N>
FPK_KERNEL double horner(double x, const double (&c)[N]) {
    double p = c[0];
#pragma GCC unroll 16  // unrolled, so that the loops around it run as vector code
    for (std::size_t i = 1; i < N; ++i) p = std::fma(p, x, c[i]);
    return p;
}

// Taylor coefficients, highest power first: e^r - 1 - r over r^2 (1/13! to
// 1/2), log(1 + r) - r + r^2/2 over r^3 (-1/10 to 1/3), sin y - y over y^3
// in z = y^2 (1/17! to -1/6), cos y - 1 + z/2 over z^2 (-1/18! to 1/24).
constexpr double kExpSeries[] = {1.0 / 6227020800.0, 1.0 / 479001600.0, 1.0 / 39916800.0, 1.0 / 3628800.0,
                                 1.0 / 362880.0,     1.0 / 40320.0,     1.0 / 5040.0,     1.0 / 720.0,
                                 1.0 / 120.0,        1.0 / 24.0,        1.0 / 6.0,        0.5};
constexpr double kLogSeries[] = {-1.0 / 10, 1.0 / 9, -1.0 / 8, 1.0 / 7, -1.0 / 6, 1.0 / 5, -1.0 / 4, 1.0 / 3};
constexpr double kSinSeries[] = {1.0 / 355687428096000.0, -1.0 / 1307674368000.0, 1.0 / 6227020800.0,
                                 -1.0 / 39916800.0,       1.0 / 362880.0,         -1.0 / 5040.0,
                                 1.0 / 120.0,             -1.0 / 6.0};
constexpr double kCosSeries[] = {-1.0 / 6402373705728000.0, 1.0 / 20922789888000.0, -1.0 / 87178291200.0,
                                 1.0 / 479001600.0,         -1.0 / 3628800.0,       1.0 / 40320.0,
                                 -1.0 / 720.0,              1.0 / 24.0};

// Rounds to the nearest whole number (ties to even) for |v| < 2^51 without
// a library call.
FPK_KERNEL double roundWhole(double v) {
    constexpr double shifter = 0x1.8p52;
    return (v + shifter) - shifter;
}

constexpr double kInvLn2 = 0x1.71547652b82fep0;

// e^(r + rl) for |r| <= ln2/2 (a little more) and a tiny rl: 1 + r exactly
// as two parts, plus the series rest r^2 p(r) and rl e^r, so
// that the result is rounded once, at the end.
FPK_KERNEL double expOfReduced(double r, double rl) {
    const double p = horner(r, kExpSeries);
    const double s = 1.0 + r, se = (1.0 - s) + r, rest = r * r * p;
    return s + (se + std::fma(rl, 1.0 + (r + rest), rest));
}

// e^(x + xl) for |x| < 708 with a small correction xl.
FPK_KERNEL double expCore(double x, double xl, double ln2Hi, double ln2Lo) {
    const double k = roundWhole(x * kInvLn2);
    const double r = std::fma(-k, ln2Hi, x);  // exact
    const double rl = std::fma(-k, ln2Lo, xl);
    const double scale = std::bit_cast<double>(static_cast<uint64_t>(static_cast<int64_t>(k) + 1023) << 52);
    return expOfReduced(r, rl) * scale;
}

// log x as a double-double value, for positive normal finite x.
FPK_KERNEL DD logCore(double x, const Tables& t) {
    const uint64_t bits = std::bit_cast<uint64_t>(x);
    const double e = static_cast<double>(static_cast<int64_t>(bits >> 52) - 1023);
    const double m = std::bit_cast<double>((bits & 0x000FFFFFFFFFFFFFull) | 0x3FF0000000000000ull);
    const auto j = static_cast<int64_t>((bits >> 44) & (kLogTable - 1));
    const double r = std::fma(m, t.inverse[j], -1.0);  // exact: |r| < 2^-7, m c a multiple of 2^-60
    // log(1 + r) = r - r^2/2 + r^3 q(r), with r^2 exact by fma.
    const double r2 = r * r, r2l = std::fma(r, r, -r2);
    const double q = horner(r, kLogSeries);
    const double tail = std::fma(r2 * r, q, -0.5 * r2l);
    // e ln2 exactly as a double-double value (e has at most 11 bits).
    const double eh = e * t.ln2Hi, el = std::fma(e, t.ln2Hi, -eh) + e * t.ln2Lo;
    // The parts, summed with their rounding errors kept.
    const DD a = twoSum(eh, t.logHi[j]);
    const DD b = twoSum(a.hi, r);
    const DD c = twoSum(b.hi, -0.5 * r2);
    return fastTwoSum(c.hi, ((a.lo + b.lo) + c.lo) + ((el + t.logLo[j]) + tail));
}

// sin or cos of x (|x| < 2^28) by quadrant: cosine = true shifts it by one.
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
constexpr double kPio2A = 0x1.921fb54442d18p0;    // pi/2 = A + B + C
constexpr double kPio2B = 0x1.1a62633145c07p-54;
constexpr double kPio2C = -0x1.f1976b7ed8fbcp-110;

FPK_KERNEL double sinCosCore(double x, bool cosine) {
    const double k = roundWhole(x * kTwoOverPi);
    const double r1 = std::fma(-k, kPio2A, x);  // exact
    const double p = k * kPio2B, pe = std::fma(k, kPio2B, -p);
    const double h = r1 - p, hb = h - r1;
    const double hErr = (r1 - (h - hb)) + (-p - hb);
    const double l = (hErr - pe) - k * kPio2C;
    const double y = h + l, yl = l - (y - h);  // the reduced argument y + yl
    const double z = y * y;
    // sin(y + yl) = y + y^3 S(z) + yl (1 - z/2)
    const double s = horner(z, kSinSeries);
    const double sinV = y + std::fma(z * y, s, yl * (1.0 - 0.5 * z));
    // cos(y + yl) = 1 - z/2 + z^2 C(z) - y yl
    const double c = horner(z, kCosSeries);
    const double hz = 0.5 * z, w = 1.0 - hz;
    const double cosV = w + (((1.0 - w) - hz) + std::fma(z * z, c, -y * yl));
    const int64_t q = (static_cast<int64_t>(k) + (cosine ? 1 : 0)) & 3;
    const double v = (q & 1) ? cosV : sinV;
    return (q & 2) ? -v : v;
}

constexpr std::size_t kBlock = 256;
constexpr double kNormalMin = std::numeric_limits<double>::min();
constexpr double kInf = std::numeric_limits<double>::infinity();

// ---- the array kernels ---------------------------------------------------

FPK_KERNEL void expKernel(const double* x, double* y, std::size_t n) {
    const Tables& t = tables();
    const double ln2Hi = t.ln2Hi, ln2Lo = t.ln2Lo;
    for (std::size_t b = 0; b < n; b += kBlock) {
        const std::size_t m = n - b < kBlock ? n - b : kBlock;
        unsigned char flag[kBlock];
        std::size_t flagged = 0;
        for (std::size_t i = 0; i < m; ++i) {
            const double v = x[b + i];
            const bool fast = std::fabs(v) < 708.0;
            const double r = expCore(fast ? v : 0.0, 0.0, ln2Hi, ln2Lo);
            const double edge = v >= 710.0 ? kInf : 0.0;  // overflow, or underflow below -746
            const bool known = fast || v >= 710.0 || v <= -746.0;
            y[b + i] = fast ? r : edge;
            flag[i] = known ? 0 : 1;
            flagged += known ? 0 : 1;
        }
        if (flagged != 0)
            for (std::size_t i = 0; i < m; ++i)
                if (flag[i]) y[b + i] = std::exp(x[b + i]);
    }
}

FPK_KERNEL void logKernel(const double* x, double* y, std::size_t n) {
    const Tables& t = tables();
    for (std::size_t b = 0; b < n; b += kBlock) {
        const std::size_t m = n - b < kBlock ? n - b : kBlock;
        // Results go to a block of their own first: the table lookups cannot
        // then touch the output, which lets them run as gathers.
        double res[kBlock];
        unsigned char flag[kBlock];
        std::size_t flagged = 0;
        for (std::size_t i = 0; i < m; ++i) {
            const double v = x[b + i];
            const bool fast = v >= kNormalMin && v < kInf;
            res[i] = logCore(fast ? v : 1.0, t).hi;
            flag[i] = fast ? 0 : 1;
            flagged += fast ? 0 : 1;
        }
        std::copy(res, res + m, y + b);
        if (flagged != 0)
            for (std::size_t i = 0; i < m; ++i)
                if (flag[i]) y[b + i] = std::log(x[b + i]);
    }
}

// b^p from l = log b, for a usual b (positive, normal, finite): sets `known`
// when the result is the method's (else the C library is asked).
FPK_KERNEL double powFromLog(double p, DD l, bool usual, double ln2Hi, double ln2Lo, bool& known) {
    usual = usual & (std::fabs(p) < kInf);  // & rather than &&: no branch
    const double q = usual ? p : 0.0;
    const double yh = q * l.hi, yl = std::fma(q, l.hi, -yh) + q * l.lo;
    const bool fast = std::fabs(yh) < 708.0;
    const double r = expCore(fast ? yh : 0.0, fast ? yl : 0.0, ln2Hi, ln2Lo);
    const double edge = yh >= 710.0 ? kInf : 0.0;  // overflow, or underflow below -746
    known = usual & (fast | (yh >= 710.0) | (yh <= -746.0));
    return fast ? r : edge;
}

// One block of pow with one base: its logarithm is taken once (the same
// operations give the same bits as the logarithm per element). Returns the
// number of elements flagged for the C library.
FPK_KERNEL std::size_t powBlockOneBaseKernel(double base, const double* power, std::size_t m, double* __restrict res,
                                             unsigned char* __restrict flag) {
    const Tables& t = tables();
    const double ln2Hi = t.ln2Hi, ln2Lo = t.ln2Lo;
    const DD l = logCore(base, t);
    std::size_t flagged = 0;
    for (std::size_t i = 0; i < m; ++i) {
        bool known;
        res[i] = powFromLog(power[i], l, true, ln2Hi, ln2Lo, known);
        flag[i] = known ? 0 : 1;
        flagged += known ? 0 : 1;
    }
    return flagged;
}

FPK_KERNEL std::size_t powBlockKernel(const double* base, const double* power, std::size_t m, double* __restrict res,
                                      unsigned char* __restrict flag) {
    const Tables& t = tables();
    const double ln2Hi = t.ln2Hi, ln2Lo = t.ln2Lo;
    std::size_t flagged = 0;
    for (std::size_t i = 0; i < m; ++i) {
        const double v = base[i], p = power[i];
        const bool usual = v >= kNormalMin && v < kInf && std::fabs(p) < kInf;
        const DD l = logCore(usual ? v : 1.0, t);
        const double q = usual ? p : 0.0;
        const double yh = q * l.hi, yl = std::fma(q, l.hi, -yh) + q * l.lo;
        const bool fast = std::fabs(yh) < 708.0;
        const double r = expCore(fast ? yh : 0.0, fast ? yl : 0.0, ln2Hi, ln2Lo);
        const double edge = yh >= 710.0 ? kInf : 0.0;  // overflow, or underflow below -746
        const bool known = usual && (fast || yh >= 710.0 || yh <= -746.0);
        res[i] = fast ? r : edge;
        flag[i] = known ? 0 : 1;
        flagged += known ? 0 : 1;
    }
    return flagged;
}

}  // namespace

FPK_DISPATCHED(std::size_t, powBlockOneBase,
               (double base, const double* power, std::size_t m, double* __restrict res,
                unsigned char* __restrict flag),
               (base, power, m, res, flag))
FPK_DISPATCHED(std::size_t, powBlock,
               (const double* base, const double* power, std::size_t m, double* __restrict res,
                unsigned char* __restrict flag),
               (base, power, m, res, flag))

void pow(const double* base, const double* power, double* y, std::size_t n) {
    for (std::size_t b = 0; b < n; b += kBlock) {
        const std::size_t m = n - b < kBlock ? n - b : kBlock;
        // Results go to a block of their own first: the table lookups cannot
        // then touch the output, which lets them run as gathers.
        double res[kBlock];
        unsigned char flag[kBlock];
        // One base for the whole block: one rate for every period, the usual plan.
        const double b0 = base[b];
        std::size_t differing = 0;
        for (std::size_t i = 0; i < m; ++i) differing += base[b + i] != b0 ? 1 : 0;
        const std::size_t flagged = differing == 0 && b0 >= kNormalMin && b0 < kInf
                                        ? powBlockOneBase(b0, power + b, m, res, flag)
                                        : powBlock(base + b, power + b, m, res, flag);
        std::copy(res, res + m, y + b);
        if (flagged != 0)
            for (std::size_t i = 0; i < m; ++i)
                if (flag[i]) y[b + i] = std::pow(base[b + i], power[b + i]);
    }
}

namespace {
template <bool Cosine>
FPK_KERNEL void sinCosKernel(const double* x, double* y, std::size_t n) {
    constexpr double kLimit = 0x1p28;
    for (std::size_t b = 0; b < n; b += kBlock) {
        const std::size_t m = n - b < kBlock ? n - b : kBlock;
        unsigned char flag[kBlock];
        std::size_t flagged = 0;
        for (std::size_t i = 0; i < m; ++i) {
            const double v = x[b + i];
            const bool fast = std::fabs(v) < kLimit;
            const double r = sinCosCore(fast ? v : 0.0, Cosine);
            // sin x rounds to x below 2^-26 (and keeps the sign of a zero).
            y[b + i] = (!Cosine && std::fabs(v) < 0x1p-26) ? v : r;
            flag[i] = fast ? 0 : 1;
            flagged += fast ? 0 : 1;
        }
        if (flagged != 0)
            for (std::size_t i = 0; i < m; ++i)
                if (flag[i]) y[b + i] = Cosine ? std::cos(x[b + i]) : std::sin(x[b + i]);
    }
}
FPK_KERNEL void sinKernel(const double* x, double* y, std::size_t n) { sinCosKernel<false>(x, y, n); }
FPK_KERNEL void cosKernel(const double* x, double* y, std::size_t n) { sinCosKernel<true>(x, y, n); }

}  // namespace

FPK_DISPATCHED(void, exp, (const double* x, double* y, std::size_t n), (x, y, n))
FPK_DISPATCHED(void, log, (const double* x, double* y, std::size_t n), (x, y, n))
FPK_DISPATCHED(void, sin, (const double* x, double* y, std::size_t n), (x, y, n))
FPK_DISPATCHED(void, cos, (const double* x, double* y, std::size_t n), (x, y, n))

}  // namespace businessFunctions::vmath
