// The loops compiled for AVX-512, AVX2 and baseline x86-64 give the same
// bits: every version runs on the same inputs (ones that reach the special
// cases of each loop) and is compared with the baseline version.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/fpkIsaDispatch.h"
#include "functions/fpkCashFlow.h"
#include "functions/fpkCommonFunctions.h"
#include "functions/fpkLag.h"
#include "functions/fpkYearOverYearDifference.h"

namespace {
using namespace businessFunctions;
using isa::Level;

// The same bits (NaN equal to NaN of the same pattern).
void expectSameBits(const std::vector<double>& a, const std::vector<double>& b, const char* what) {
    ASSERT_EQ(a.size(), b.size()) << what;
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(std::memcmp(&a[i], &b[i], sizeof(double)), 0) << what << " row " << i << ": " << a[i] << " vs " << b[i];
}

// Runs `compute` at every level the processor has and compares each with the baseline.
template <class F>
void forEachLevel(F compute) {
    std::vector<double> reference;
    for (Level level : {Level::baseline, Level::avx2, Level::avx512}) {
        if (static_cast<int>(level) > static_cast<int>(isa::processorLevel())) break;
        isa::limitLevel(level);
        std::vector<double> got = compute();
        isa::limitLevel(Level::avx512);
        SCOPED_TRACE(isa::levelName(level));
        if (level == Level::baseline)
            reference = got;
        else
            expectSameBits(got, reference, isa::levelName(level));
    }
}

// Values across the whole range, with the awkward ones mixed in.
std::vector<double> awkwardValues(std::size_t n, unsigned seed) {
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> mag(-300, 300), unit(-1, 1);
    const double inf = std::numeric_limits<double>::infinity();
    const std::vector<double> special = {0.0, -0.0, 1.0, -1.0, 0.5, 2.5, -2.5, 1e-310, inf, -inf,
                                         std::nan(""), 4503599627370496.0, 0.07, 709.8, -745.2, 1e300};
    std::vector<double> v(n);
    for (std::size_t i = 0; i < n; ++i)
        v[i] = i % 7 == 0 ? special[(i / 7) % special.size()] : unit(gen) * std::pow(10.0, mag(gen) / 30);
    return v;
}

constexpr std::size_t kRows = 5003;  // not a multiple of any vector width

TEST(VectorLevels, SeriesLoops) {
    const std::vector<double> x = awkwardValues(kRows, 1);
    std::vector<unsigned char> xNull(kRows, 0), methodNull(kRows, 0);
    for (std::size_t i = 0; i < kRows; i += 13) xNull[i] = 1;
    for (double method : {0.0, 1.0, 2.0, 3.0, 4.0, 5.0}) {
        SCOPED_TRACE(method);
        const std::vector<double> m(kRows, method);
        forEachLevel([&] {
            std::vector<double> out(kRows);
            std::vector<unsigned char> outNull(kRows);
            series::transformRows(x.data(), xNull.data(), m.data(), methodNull.data(), kRows, out.data(),
                                  outNull.data());
            for (std::size_t i = 0; i < kRows; ++i)
                if (outNull[i]) out[i] = -7;  // null rows compared by their flag
            return out;
        });
    }
    for (double step : {0.01, 0.05, 25.0, 1e-300}) {
        for (int method : {1, 2, 3}) {
            SCOPED_TRACE(step);
            forEachLevel([&] {
                std::vector<double> out(kRows);
                series::roundRows(x.data(), xNull.data(), kRows, series::roundingStep(step), method, out.data());
                return out;
            });
        }
    }
    std::vector<series::Wave> waves = {{100, 12, 0, FPKCommonFunctions::SINE}, {20, 4, 1, FPKCommonFunctions::COSINE},
                                       {3, 0.001, -5, FPKCommonFunctions::SINE}};
    forEachLevel([&] {
        std::vector<double> out(kRows), work(kRows);
        series::cycleRows(waves.data(), waves.size(), x.data(), kRows, out.data(), work.data());
        return out;
    });
}

TEST(VectorLevels, YearOverYearAndLag) {
    std::vector<double> b = awkwardValues(kRows, 2);
    for (auto style : {FPKYearOverYearDifference::ABSOLUTE, FPKYearOverYearDifference::PERCENT}) {
        forEachLevel([&] {
            std::vector<double> out(kRows - 100);
            std::vector<unsigned char> nulls(kRows);
            yoy::difference(b.data(), 88, 100, kRows, style, out.data(), nulls.data());
            return out;
        });
    }
    std::vector<double> period = awkwardValues(kRows, 3), pad(kRows, -1);
    for (double& p : period) p = std::isfinite(p) ? std::fmod(p, 40.0) : p;
    forEachLevel([&] {
        const lag::Sources s = lag::sources(kRows, period.data(), 0, kRows);
        std::vector<double> out(kRows);
        lag::shift(b.data(), 0, kRows, pad.data(), period.data(), 0, kRows, out.data());
        out.push_back(static_cast<double>(s.first));
        out.push_back(static_cast<double>(s.last));
        return out;
    });
}

TEST(VectorLevels, CashFlowPowers) {
    std::vector<double> prime = awkwardValues(kRows, 4), rate(kRows);
    std::vector<unsigned char> primeNull(kRows, 0), rateNull(kRows, 0);
    std::mt19937_64 gen(5);
    std::uniform_real_distribution<double> r(-99, 400);
    for (double& v : rate) v = r(gen);
    for (std::size_t i = 0; i < kRows; i += 11) rateNull[i] = 1;
    for (auto type : {FPKCashFlow::DISCOUNTED, FPKCashFlow::INFLATED}) {
        for (double perYear : {1.0, 12.0, 365.0}) {
            forEachLevel([&] {
                std::vector<double> out(kRows), work(2 * kRows);
                std::vector<unsigned char> outNull(kRows);
                cashflow::rows(type, 3, kRows, prime.data(), primeNull.data(), rate.data(), rateNull.data(), 40,
                               perYear, out.data(), outNull.data(), work.data());
                return out;
            });
        }
    }
}

}  // namespace
