// The arithmetic of the seasonal functions: classical decomposition (base,
// seasonal relatives, indices, adjustment, projection), the working-day and
// cycle wrapping of SEASONALCOMPLEX, and SEASONALSIMULATION's profile.
#include <algorithm>
#include <cmath>

#include "../common/fpkLeastSquare.h"
#include "fpkSeasonal.h"

namespace businessFunctions {
namespace seasonal {

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;

// x = 1, 2, ..., n as seen by LeastSquare.
struct Positions {
    double operator[](int i) const { return static_cast<double>(i + 1); }
};

// The base B_t (stored at B[t-1]) for the periods first..last (1-based,
// inclusive) that have one.
CoreStatus computeBase(const double* A, std::size_t n, std::size_t P, int base, bool mult, double* B,
                       std::size_t& first, std::size_t& last) {
    switch (base) {
        case BASE_MOVING_AVERAGE: {
            const std::size_t h = P / 2;
            first = h + 1;
            last = n - h;
            if (P == 1) {
                std::copy(A, A + n, B);
                break;
            }
            // Rolling sum of A over t-h .. t+h (1-based), i.e. A[t-h-1 .. t+h-1].
            double sum = 0;
            for (std::size_t i = 0; i < 2 * h + 1; ++i) sum += A[i];
            for (std::size_t t = first;; ++t) {
                const double lo = A[t - h - 1], hi = A[t + h - 1];
                B[t - 1] = (P % 2 == 1) ? sum / static_cast<double>(P)
                                        : (sum - 0.5 * lo - 0.5 * hi) / static_cast<double>(P);
                if (t == last) break;
                sum += A[t + h] - lo;
            }
            break;
        }
        case BASE_LINEAR_TREND: {
            double a = 0, b = 0;
            LeastSquare(static_cast<int>(n), Positions{}, A, a, b);
            for (std::size_t t = 1; t <= n; ++t) {
                B[t - 1] = a + b * static_cast<double>(t);
                if (mult && !(B[t - 1] > 0)) return CoreStatus::TREND_NOT_POSITIVE;
            }
            first = 1;
            last = n;
            break;
        }
        case BASE_SEASON_MEAN: {
            const std::size_t K = n / P;
            for (std::size_t s = 0; s < K; ++s) {
                double sum = 0;
                for (std::size_t i = 0; i < P; ++i) sum += A[s * P + i];
                const double mean = sum / static_cast<double>(P);
                std::fill(B + s * P, B + s * P + P, mean);
            }
            first = 1;
            last = K * P;
            break;
        }
        default: {  // BASE_OVERALL_MEAN
            double sum = 0;
            for (std::size_t i = 0; i < n; ++i) sum += A[i];
            std::fill(B, B + n, sum / static_cast<double>(n));
            first = 1;
            last = n;
            break;
        }
    }
    return CoreStatus::OK;
}

// Mean, or median (middle value, or the mean of the two middle ones), of
// v[0..m-1]; the median reorders v.
double average(double* v, std::size_t m, bool median) {
    if (!median) {
        double sum = 0;
        for (std::size_t i = 0; i < m; ++i) sum += v[i];
        return sum / static_cast<double>(m);
    }
    std::sort(v, v + m);
    return m % 2 == 1 ? v[m / 2] : (v[m / 2 - 1] + v[m / 2]) / 2;
}

}  // namespace

std::size_t decomposeScratchSize(std::size_t n, std::size_t P) { return 2 * n + P + n / P + 2; }

CoreStatus seasonalDecompose(const double* A, std::size_t n, std::size_t P, std::size_t H, int base, int index,
                             int projection, double* I, double* T, double* M, double* scratch) {
    const bool mult = isMultiplicative(index);
    const bool median = index == INDEX_MULT_MEDIAN || index == INDEX_ADD_MEDIAN;
    double* B = scratch;          // n: base
    double* D = B + n;            // n: seasonally adjusted history
    double* raw = D + n;          // P: raw indices
    double* rel = raw + P;        // n / P + 2: relatives of one position

    // 1. Base.
    std::size_t first = 1, last = n;
    if (computeBase(A, n, P, base, mult, B, first, last) != CoreStatus::OK) return CoreStatus::TREND_NOT_POSITIVE;

    // 2-3. Relatives by position and the raw index of each position.
    double rawSum = 0;
    for (std::size_t j = 0; j < P; ++j) {
        // The first period at or after `first` with position j + 1.
        std::size_t t = j + 1;
        if (t < first) t += (first - t + P - 1) / P * P;
        std::size_t m = 0;
        for (; t <= last; t += P) rel[m++] = mult ? A[t - 1] / B[t - 1] : A[t - 1] - B[t - 1];
        raw[j] = average(rel, m, median);
        rawSum += raw[j];
    }
    for (std::size_t j = 0; j < P; ++j)
        I[j] = mult ? raw[j] * static_cast<double>(P) / rawSum : raw[j] - rawSum / static_cast<double>(P);

    // 4. Seasonally adjusted history.
    for (std::size_t t = 0, j = 0; t < n; ++t) {
        D[t] = mult ? A[t] / I[j] : A[t] - I[j];
        if (++j == P) j = 0;
    }

    // 5. Projection of the adjusted series over history and forecast.
    const std::size_t total = n + H;
    switch (projection) {
        case PROJ_LINEAR: {
            double a = 0, b = 0;
            LeastSquare(static_cast<int>(n), Positions{}, D, a, b);
            for (std::size_t t = 0; t < total; ++t) T[t] = a + b * static_cast<double>(t + 1);
            break;
        }
        case PROJ_EXPONENTIAL: {
            for (std::size_t t = 0; t < n; ++t) B[t] = std::log(D[t]);
            double a = 0, b = 0;
            LeastSquare(static_cast<int>(n), Positions{}, B, a, b);
            for (std::size_t t = 0; t < total; ++t) T[t] = std::exp(a + b * static_cast<double>(t + 1));
            break;
        }
        case PROJ_AVERAGE: {
            double sum = 0;
            for (std::size_t t = 0; t < n; ++t) sum += D[t];
            std::fill(T, T + total, sum / static_cast<double>(n));
            break;
        }
        default: {  // PROJ_SMOOTHING: alpha equivalent to a P-period moving average
            const double alpha = 2.0 / (static_cast<double>(P) + 1.0);
            double level = D[0];
            T[0] = level;
            for (std::size_t t = 1; t < n; ++t) {
                level = alpha * D[t] + (1 - alpha) * level;
                T[t] = level;
            }
            std::fill(T + n, T + total, level);
            break;
        }
    }

    // 6. Model value.
    for (std::size_t t = 0, j = 0; t < total; ++t) {
        M[t] = mult ? T[t] * I[j] : T[t] + I[j];
        if (++j == P) j = 0;
    }
    return CoreStatus::OK;
}

double cycleValue(const Cycle* cycles, std::size_t k, double t) {
    double c = 0;
    for (std::size_t j = 0; j < k; ++j) {
        const double angle = kTwoPi * (t - cycles[j].start) / cycles[j].length;
        c += cycles[j].amplitude * (cycles[j].function == 1 ? std::sin(angle) : std::cos(angle));
    }
    return c;
}

std::size_t complexScratchSize(std::size_t n, std::size_t P, std::size_t H) {
    // A (n), cycle values (n + H), indices (P), model (n + H), core scratch.
    return n + 2 * (n + H) + P + decomposeScratchSize(n, P);
}

CoreStatus seasonalComplex(const double* y, const double* w, std::size_t n, std::size_t P, std::size_t H,
                           const Cycle* cycles, std::size_t k, const double* overrideFlag, const double* overrideValue,
                           const ComplexMethods& m, double* trend, double* diagnostics, double* calculated,
                           double* forecast, double* scratch) {
    const bool mult = isMultiplicative(m.index);
    const std::size_t total = n + H;
    double* A = scratch;        // n: working-day and cycle adjusted history
    double* C = A + n;          // n + H: cycle factor or term
    double* I = C + total;      // P: indices
    double* M = I + P;          // n + H: model
    double* core = M + total;

    // Working days: scale every period to the average working days of the history.
    double wsum = 0;
    for (std::size_t t = 0; t < n; ++t) wsum += w[t];
    const double wbar = wsum / static_cast<double>(n);

    // Cycles (neutral: 1 multiplicative, 0 additive).
    const double neutral = mult ? 1.0 : 0.0;
    const std::size_t cycleFrom = m.cycle == 2 ? 0 : (m.cycle == 3 ? n : total);
    std::fill(C, C + cycleFrom, neutral);
    for (std::size_t t = cycleFrom; t < total; ++t)
        C[t] = neutral + cycleValue(cycles, k, static_cast<double>(t + 1));

    for (std::size_t t = 0; t < n; ++t) {
        const double a = y[t] * wbar / w[t];
        A[t] = mult ? a / C[t] : a - C[t];
    }

    if (seasonalDecompose(A, n, P, H, m.base, m.index, m.projection, I, trend, M, core) != CoreStatus::OK)
        return CoreStatus::TREND_NOT_POSITIVE;

    for (std::size_t t = 0; t < total; ++t)
        calculated[t] = (mult ? M[t] * C[t] : M[t] + C[t]) * w[t] / wbar;
    for (std::size_t t = 0; t < n; ++t) {
        diagnostics[t] = y[t] - calculated[t];
        forecast[t] = y[t];
    }
    for (std::size_t h = 0; h < H; ++h) {
        const std::size_t t = n + h;
        if (m.override_ == 1 || overrideFlag[h] == 0)
            forecast[t] = calculated[t];
        else if (m.override_ == 2)
            forecast[t] = overrideValue[h];
        else
            forecast[t] = calculated[t] + overrideValue[h];
    }
    return CoreStatus::OK;
}

void simulationProfile(int method, std::size_t P, std::size_t DF, const double* c, double* profile) {
    for (std::size_t u = 0; u < P; ++u) {
        double s = 0;
        if (DF == 0) {
            s = 0;
        } else if (method == 1) {
            // Harmonic j: k = ceil(j / 2), cos for odd j, sin for even j. The
            // angle uses (k u) mod P, the same point of the circle, for accuracy.
            for (std::size_t j = 1; j <= DF; ++j) {
                const std::size_t k = (j + 1) / 2;
                const double angle = kTwoPi * static_cast<double>((k * u) % P) / static_cast<double>(P);
                s += c[j - 1] * (j % 2 == 1 ? std::cos(angle) : std::sin(angle));
            }
        } else {
            // Knot i at position i P / DF; x = u DF / P split exactly into i + f.
            const std::size_t i = (u * DF) / P;
            const double f = static_cast<double>((u * DF) % P) / static_cast<double>(P);
            const double from = c[i], to = c[(i + 1) % DF];
            s = from + (to - from) * f;
        }
        profile[u] = s;
    }
}

double simulationValue(const double* profile, std::size_t P, double lo, double hi, double lower, double upper,
                       double period) {
    if (hi == lo) return (lower + upper) / 2;
    double u = std::fmod(std::trunc(period) - 1, static_cast<double>(P));
    if (u < 0) u += static_cast<double>(P);
    std::size_t pos = static_cast<std::size_t>(u);
    if (pos >= P) pos = P - 1;  // guards u == P after rounding of a tiny negative remainder
    return lower + (profile[pos] - lo) * (upper - lower) / (hi - lo);
}

}  // namespace seasonal
}  // namespace businessFunctions
