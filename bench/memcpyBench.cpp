// The machine's copy bandwidth, the yardstick of the column-job benchmarks:
// a job that reads one column and writes another moves the same bytes as a
// memcpy of both. BM_Memcpy is one memcpy call; BM_MemcpyAllCores splits the
// same copy over one thread per core, the most the memory system gives.
#include <benchmark/benchmark.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

void setCopyBytes(benchmark::State& state, std::size_t n) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n * sizeof(double)) * 2);
}

void BM_Memcpy(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> src(n, 1.5), dst(n);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), n * sizeof(double));
        benchmark::ClobberMemory();
    }
    setCopyBytes(state, n);
}
BENCHMARK(BM_Memcpy)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void BM_MemcpyAllCores(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    std::vector<double> src(n, 1.5), dst(n);
    for (auto _ : state) {
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < threads; ++t)
            workers.emplace_back([&, t] {
                const std::size_t lo = n * t / threads, hi = n * (t + 1) / threads;
                std::memcpy(dst.data() + lo, src.data() + lo, (hi - lo) * sizeof(double));
            });
        for (std::thread& w : workers) w.join();
        benchmark::ClobberMemory();
    }
    setCopyBytes(state, n);
}
BENCHMARK(BM_MemcpyAllCores)->Arg(10'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
