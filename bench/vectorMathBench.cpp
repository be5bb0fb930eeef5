// The array elementary functions against the C library's, one core, arrays
// of one chunk (in cache), and the processor levels side by side.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/fpkIsaDispatch.h"
#include "common/fpkVectorMath.h"

namespace {
using namespace businessFunctions;

constexpr std::size_t kElements = 16384;

std::vector<double> uniformValues(double lo, double hi, unsigned seed) {
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> d(lo, hi);
    std::vector<double> v(kElements);
    for (double& x : v) x = d(gen);
    return v;
}

// range(0): 0 exp, 1 log, 2 sin, 3 cos, 4 pow; range(1): the processor level
// (0 baseline, 1 AVX2, 2 AVX-512), or 3 for the C library.
void BM_VectorMath(benchmark::State& state) {
    const int fn = static_cast<int>(state.range(0)), level = static_cast<int>(state.range(1));
    if (level < 3 && level > static_cast<int>(isa::processorLevel())) {
        state.SkipWithError("level not available on this processor");
        return;
    }
    const std::vector<double> x = fn == 0   ? uniformValues(-50, 50, 1)
                                  : fn == 1 ? uniformValues(1e-3, 1e6, 2)
                                  : fn == 4 ? uniformValues(0.9, 1.3, 3)
                                            : uniformValues(0, 5e6, 4);
    const std::vector<double> power = uniformValues(0, 1000, 5);
    std::vector<double> y(kElements);
    if (level < 3) isa::limitLevel(static_cast<isa::Level>(level));
    for (auto _ : state) {
        if (level < 3) {
            switch (fn) {
                case 0: vmath::exp(x.data(), y.data(), kElements); break;
                case 1: vmath::log(x.data(), y.data(), kElements); break;
                case 2: vmath::sin(x.data(), y.data(), kElements); break;
                case 3: vmath::cos(x.data(), y.data(), kElements); break;
                default: vmath::pow(x.data(), power.data(), y.data(), kElements);
            }
        } else {
            for (std::size_t i = 0; i < kElements; ++i)
                y[i] = fn == 0 ? std::exp(x[i])
                       : fn == 1 ? std::log(x[i])
                       : fn == 2 ? std::sin(x[i])
                       : fn == 3 ? std::cos(x[i])
                                 : std::pow(x[i], power[i]);
        }
        benchmark::DoNotOptimize(y.data());
        benchmark::ClobberMemory();
    }
    isa::limitLevel(isa::Level::avx512);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kElements));
    state.counters["ns_per_element"] = benchmark::Counter(
        static_cast<double>(state.iterations() * kElements), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["ns_per_element"] = benchmark::Counter(static_cast<double>(state.iterations() * kElements) * 1e-9,
                                                          benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_VectorMath)->ArgsProduct({{0, 1, 2, 3, 4}, {0, 1, 2, 3}});

}  // namespace
