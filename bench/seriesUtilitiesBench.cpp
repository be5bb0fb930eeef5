// The row-independent series utilities (REPEAT, TRANSFORM, ROUNDING, CYCLES,
// DAYS) over 10,000,000 rows through the plug-in, as the host calls them.
// Each reports the bytes of its row-sized input and result columns (a date
// text counts its 8 characters), to be set against BM_Memcpy's copy
// bandwidth by bench/compare_columnjobs.py.
#include <cstdio>
#include <string>
#include <vector>

#include "benchSupport.h"

namespace {

using namespace fpkbench;

constexpr std::size_t kRows = 10'000'000;

// REPEAT of a 12-value pattern: only the result column is row-sized.
void BM_Repeat(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> input = normalSeries(n, 11);
    runCalls(state, "REPEAT", {doubles({12}), doubles(input)}, defaultResult("REPEAT"));
    setColumnBytes(state, n, 2);  // INPUT is row-sized too, though only its first 12 rows are read
}
BENCHMARK(BM_Repeat)->Arg(kRows)->Unit(benchmark::kMillisecond)->UseRealTime();

// TRANSFORM with the METHOD of range(1) on every row: 0 copy, 1 log, 2 exp,
// 3 square root, 4 square, 5 reciprocal.
void BM_Transform(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> x = normalSeries(n, 12);
    for (double& v : x) v = 1.5 + v * v;  // positive and moderate, so every method has a value
    runCalls(state, "TRANSFORM", {doubles(x), doubles(std::vector<double>(n, static_cast<double>(state.range(1))))},
             defaultResult("TRANSFORM"));
    setColumnBytes(state, n, 3);
}
BENCHMARK(BM_Transform)->ArgsProduct({{kRows}, {0, 1, 2, 3, 4, 5}})->Unit(benchmark::kMillisecond)->UseRealTime();

// ROUNDING to cents (a decimal step) and to steps of 25, nearest (method 1).
void BM_Rounding(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> x = normalSeries(n, 13);
    for (double& v : x) v *= 1000;
    const double step = state.range(1) == 0 ? 0.01 : 25;
    runCalls(state, "ROUNDING", {doubles(x), doubles({step}), doubles({1})}, defaultResult("ROUNDING"));
    setColumnBytes(state, n, 2);
}
BENCHMARK(BM_Rounding)->ArgsProduct({{kRows}, {0, 1}})->Unit(benchmark::kMillisecond)->UseRealTime();

// CYCLES of range(1) waves over the periods 1..n.
void BM_Cycles(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const std::size_t waves = static_cast<std::size_t>(state.range(1));
    std::vector<double> amplitude, length, start;
    std::vector<int32_t> function;
    for (std::size_t w = 0; w < waves; ++w) {
        amplitude.push_back(10.0 / static_cast<double>(w + 1));
        length.push_back(12.0 * static_cast<double>(w + 1));
        start.push_back(static_cast<double>(w));
        function.push_back(w % 2 == 0 ? 1 : 2);
    }
    std::vector<double> time(n);
    for (std::size_t r = 0; r < n; ++r) time[r] = static_cast<double>(r + 1);
    runCalls(state, "CYCLES", {doubles(amplitude), doubles(length), doubles(start), ints(function), doubles(time)},
             defaultResult("CYCLES"));
    setColumnBytes(state, n, 2);
}
BENCHMARK(BM_Cycles)->ArgsProduct({{kRows}, {1, 2}})->Unit(benchmark::kMillisecond)->UseRealTime();

// DAYS between two YYYYMMDD dates per row, calendar days (CONFIG 0) or
// working days of a five-day week (CONFIG 5).
void BM_Days(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<std::string> from(n), to(n);
    char text[16];
    for (std::size_t r = 0; r < n; ++r) {
        const int y = 1990 + static_cast<int>(r % 30), m = 1 + static_cast<int>(r % 12), d = 1 + static_cast<int>(r % 28);
        std::snprintf(text, sizeof text, "%04d%02d%02d", y, m, d);
        from[r] = text;
        std::snprintf(text, sizeof text, "%04d%02d%02d", y + 1 + static_cast<int>(r % 3), 1 + static_cast<int>((r / 12) % 12),
                      1 + static_cast<int>((r / 7) % 28));
        to[r] = text;
    }
    runCalls(state, "DAYS",
             {strings(from), strings(to), doubles(std::vector<double>(n, static_cast<double>(state.range(1))))},
             defaultResult("DAYS"));
    setColumnBytes(state, n, 4);
}
BENCHMARK(BM_Days)->ArgsProduct({{kRows}, {0, 5}})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
