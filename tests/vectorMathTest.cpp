// The array elementary functions against an extended-precision reference:
// every result within one unit in the last place, special values exactly as
// the C library gives them, and a result independent of its position.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "common/fpkIsaDispatch.h"
#include "common/fpkVectorMath.h"

namespace {
using namespace businessFunctions;

// |got - ref| in units in the last place of ref (as a double).
double ulpError(double got, long double ref) {
    if (std::isnan(got) || std::isnan(static_cast<double>(ref))) return std::isnan(got) == std::isnan(ref) ? 0 : 1e9;
    if (std::isinf(static_cast<double>(ref)) || std::isinf(got)) return got == static_cast<double>(ref) ? 0 : 1e9;
    int e = 0;
    std::frexp(static_cast<double>(ref), &e);
    const long double ulp = std::ldexp(1.0L, std::max(e - 53, -1074));
    return static_cast<double>(std::fabs(static_cast<long double>(got) - ref) / ulp);
}

using Unary = void (*)(const double*, double*, std::size_t);

struct UnaryCase {
    const char* what;
    Unary f;
    long double (*ref)(long double);
    std::function<double(std::mt19937_64&)> draw;
};

double uniform(std::mt19937_64& g, double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(g); }
// Positive values spread over the whole exponent range.
double anyMagnitude(std::mt19937_64& g) { return std::exp2(uniform(g, -1020, 1020)) * uniform(g, 1, 2); }

TEST(VectorMath, UnaryWithinOneUlp) {
    const double halfPi = 1.5707963267948966;
    const UnaryCase cases[] = {
        {"exp small", vmath::exp, expl, [](auto& g) { return uniform(g, -2, 2); }},
        {"exp wide", vmath::exp, expl, [](auto& g) { return uniform(g, -708, 708); }},
        {"log any magnitude", vmath::log, logl, anyMagnitude},
        {"log near 1", vmath::log, logl, [](auto& g) { return 1 + uniform(g, -1e-3, 1e-3); }},
        {"log [0.5, 4]", vmath::log, logl, [](auto& g) { return uniform(g, 0.5, 4); }},
        {"sin small", vmath::sin, sinl, [](auto& g) { return uniform(g, -10, 10); }},
        {"cos small", vmath::cos, cosl, [](auto& g) { return uniform(g, -10, 10); }},
        {"sin large", vmath::sin, sinl, [](auto& g) { return uniform(g, 0, 2.5e8); }},
        {"cos large", vmath::cos, cosl, [](auto& g) { return uniform(g, -2.5e8, 0); }},
        // Doubles next to multiples of pi/2, where the reduction cancels most.
        {"sin near k pi/2", vmath::sin, sinl,
         [=](auto& g) { return std::nextafter(std::floor(uniform(g, 1, 1.6e8)) * halfPi, 0.0); }},
        {"cos near k pi/2", vmath::cos, cosl,
         [=](auto& g) { return std::floor(uniform(g, 1, 1.6e8)) * halfPi; }},
    };
    for (const UnaryCase& c : cases) {
        std::mt19937_64 gen(11);
        std::vector<double> x(200000), y(x.size());
        for (double& v : x) v = c.draw(gen);
        c.f(x.data(), y.data(), x.size());
        double worst = 0, worstAt = 0;
        std::size_t fromLibrary = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double err = ulpError(y[i], c.ref(x[i]));
            if (err > worst) worst = err, worstAt = x[i];
            fromLibrary += y[i] == (c.f == vmath::exp ? std::exp(x[i]) : c.f == vmath::log ? std::log(x[i])
                                                         : c.f == vmath::sin ? std::sin(x[i])
                                                                             : std::cos(x[i]))
                               ? 1
                               : 0;
        }
        EXPECT_LE(worst, 1.0) << c.what << " at " << worstAt;
        std::printf("  %-18s max %.3f ulp, %.4f%% as the C library\n", c.what, worst,
                    100.0 * static_cast<double>(fromLibrary) / static_cast<double>(x.size()));
    }
}

TEST(VectorMath, PowWithinOneUlp) {
    struct Case {
        const char* what;
        double baseLo, baseHi, powerLo, powerHi;
        bool wholePowers;
    } cases[] = {
        {"rates, periods", 0.9, 1.3, 0, 1000, true},
        {"rates, long plans", 1.001, 1.1, 0, 1e5, false},
        {"wide bases", 1e-3, 5, -100, 100, false},
        {"near overflow", 1.5, 2, 1000, 1100, false},
    };
    for (const Case& c : cases) {
        std::mt19937_64 gen(12);
        std::vector<double> b(200000), t(b.size()), y(b.size());
        for (std::size_t i = 0; i < b.size(); ++i) {
            b[i] = uniform(gen, c.baseLo, c.baseHi);
            t[i] = uniform(gen, c.powerLo, c.powerHi);
            if (c.wholePowers) t[i] = std::floor(t[i]);
        }
        vmath::pow(b.data(), t.data(), y.data(), b.size());
        double worst = 0;
        std::size_t at = 0;
        for (std::size_t i = 0; i < b.size(); ++i) {
            const double err = ulpError(y[i], powl(b[i], t[i]));
            if (err > worst) worst = err, at = i;
        }
        EXPECT_LE(worst, 1.0) << c.what << " at " << b[at] << "^" << t[at];
        std::printf("  pow %-18s max %.3f ulp\n", c.what, worst);
    }
}

// Special values, and arguments at the edges of each method's range, are
// exactly what the C library gives.
TEST(VectorMath, SpecialValuesAsTheLibrary) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan(""), tiny = 4.9e-324;
    const std::vector<double> x = {0.0, -0.0, 1.0, -1.0, inf, -inf, nan, tiny, -tiny, 2.2e-308, 1e-20, -1e-20,
                                   707.9, 708.1, 709.7, 709.8, 710, -707.9, -708.1, -745.1, -745.2, -746, -800,
                                   0x1p28, -0x1p28, 1e300, -1e300};
    const std::vector<std::pair<Unary, double (*)(double)>> fns = {
        {vmath::exp, [](double v) { return std::exp(v); }},
        {vmath::log, [](double v) { return std::log(v); }},
        {vmath::sin, [](double v) { return std::sin(v); }},
        {vmath::cos, [](double v) { return std::cos(v); }}};
    for (const auto& [f, lib] : fns) {
        std::vector<double> y(x.size());
        f(x.data(), y.data(), x.size());
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double want = lib(x[i]);
            if (std::isnan(want))
                EXPECT_TRUE(std::isnan(y[i])) << x[i];
            else if (want == 0 || std::isinf(want) || std::fabs(want) < 2.3e-308)
                EXPECT_EQ(std::memcmp(&y[i], &want, sizeof want), 0) << x[i] << ": " << y[i] << " vs " << want;
            else
                EXPECT_LE(ulpError(y[i], static_cast<long double>(want)), 1.0) << x[i];
        }
    }
    const std::vector<double> bases = {0.0, -0.0, -2.0, 1.0, inf, nan, 2.0, 0.5, 1.07, tiny, 1e300};
    const std::vector<double> powers = {0.0, -0.0, 1.0, -1.0, 0.5, 3.0, inf, -inf, nan, 1e7, -1e7, 1e300, 2000};
    std::vector<double> b, t;
    for (double u : bases)
        for (double v : powers) b.push_back(u), t.push_back(v);
    std::vector<double> y(b.size());
    vmath::pow(b.data(), t.data(), y.data(), b.size());
    for (std::size_t i = 0; i < b.size(); ++i) {
        const double want = std::pow(b[i], t[i]);
        if (std::isnan(want))
            EXPECT_TRUE(std::isnan(y[i])) << b[i] << "^" << t[i];
        else if (want == 0 || std::isinf(want) || want == 1)
            EXPECT_EQ(std::memcmp(&y[i], &want, sizeof want), 0) << b[i] << "^" << t[i] << ": " << y[i];
        else
            EXPECT_LE(ulpError(y[i], powl(b[i], t[i])), 1.0) << b[i] << "^" << t[i];
    }
}

// A result depends only on its argument: any length, any start.
TEST(VectorMath, TailsAndOffsets) {
    std::mt19937_64 gen(13);
    std::vector<double> x(300), p(300);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = uniform(gen, 0.1, 50), p[i] = uniform(gen, -20, 20);
    for (Unary f : {vmath::exp, vmath::log, vmath::sin, vmath::cos}) {
        std::vector<double> whole(x.size());
        f(x.data(), whole.data(), x.size());
        for (std::size_t start : {0, 1, 3, 7}) {
            for (std::size_t n = 0; n <= 40; ++n) {
                std::vector<double> part(n);
                f(x.data() + start, part.data(), n);
                for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(part[i], whole[start + i]) << start << " " << n;
            }
        }
        std::vector<double> inPlace = x;
        f(inPlace.data(), inPlace.data(), inPlace.size());
        EXPECT_EQ(inPlace, whole);
    }
    std::vector<double> whole(x.size()), part(37);
    vmath::pow(x.data(), p.data(), whole.data(), x.size());
    vmath::pow(x.data() + 5, p.data() + 5, part.data(), part.size());
    for (std::size_t i = 0; i < part.size(); ++i) EXPECT_EQ(part[i], whole[5 + i]);
}

// Every processor level computes the same bits.
TEST(VectorMath, EveryLevelAlike) {
    std::mt19937_64 gen(14);
    std::vector<double> x(4099), p(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = uniform(gen, -700, 700), p[i] = uniform(gen, -3, 3);
    std::vector<double> base(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) base[i] = std::fabs(x[i]) / 100 + 1e-3;
    std::vector<std::vector<double>> reference;
    for (isa::Level level : {isa::Level::baseline, isa::Level::avx2, isa::Level::avx512}) {
        if (static_cast<int>(level) > static_cast<int>(isa::processorLevel())) break;
        isa::limitLevel(level);
        std::vector<std::vector<double>> got(5, std::vector<double>(x.size()));
        vmath::exp(x.data(), got[0].data(), x.size());
        vmath::log(base.data(), got[1].data(), x.size());
        vmath::sin(x.data(), got[2].data(), x.size());
        vmath::cos(x.data(), got[3].data(), x.size());
        vmath::pow(base.data(), p.data(), got[4].data(), x.size());
        isa::limitLevel(isa::Level::avx512);
        if (reference.empty())
            reference = got;
        else
            EXPECT_EQ(got, reference) << isa::levelName(level);
    }
}

}  // namespace
