// The machine's copy bandwidth, the yardstick of the column-job benchmarks:
// a job that reads one column and writes another moves the same bytes as a
// memcpy of both.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

static void BM_Memcpy(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> src(n, 1.5), dst(n);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), n * sizeof(double));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n * sizeof(double)) * 2);
}
BENCHMARK(BM_Memcpy)->Arg(10'000'000)->Unit(benchmark::kMillisecond);
