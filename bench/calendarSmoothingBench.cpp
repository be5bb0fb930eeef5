// Calendar and smoothing functions through the plug-in, as the host calls
// them. The column-job functions (LAG, YEARTODATESTATISTICAL,
// YEAROVERYEARDIFFERENCE) report the bytes of their input and result columns,
// to be set against BM_Memcpy's copy bandwidth; MOVINGMEDIAN is compared with
// pandas by compare_movingmedian.py.
#include <string>
#include <vector>

#include "benchSupport.h"

namespace {

using namespace fpkbench;
using qelhost::Column;
using qelhost::Table;
using RhoCommonObjects::ColumnHandle;
using RhoCommonObjects::TableHandle;

constexpr std::size_t kBigRows = 10'000'000;

// The floor of every column job: the host reading one column into a warm
// native array and writing it into another, with no computation and no
// allocation. Same bytes as BM_Memcpy and BM_YearToDateStatistical.
void BM_HostColumnCopy(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    RhoUtils::SharedPtr<Column> in = Column::doubles("IN", normalSeries(n, 8));
    RhoUtils::SharedPtr<Column> out = Column::doubles("OUT", std::vector<double>(n, 0.0));
    std::vector<double> buffer(n);
    std::vector<RhoCommonObjects::NullFlags> nulls(n);
    for (auto _ : state) {
        in->getNative(0, n, buffer.data(), nulls.data());
        out->setNative(0, n, buffer.data(), nulls.data());
        benchmark::ClobberMemory();
    }
    setColumnBytes(state, n, 2);
}
BENCHMARK(BM_HostColumnCopy)->Arg(kBigRows)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Lag(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> period(n);
    for (std::size_t r = 0; r < n; ++r) period[r] = static_cast<double>(r % 25) - 12.0;
    runCalls(state, "LAG", {doubles(normalSeries(n, 1)), doubles(normalSeries(n, 2)), doubles(period)},
             defaultResult("LAG"));
    // Three input columns read and one result column written.
    setColumnBytes(state, n, 4);
}
BENCHMARK(BM_Lag)->Arg(kBigRows)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_YearToDateStatistical(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    runCalls(state, "YEARTODATESTATISTICAL", {doubles(normalSeries(n, 3)), ints({4})},
             defaultResult("YEARTODATESTATISTICAL"));
    setColumnBytes(state, n, 2);
}
BENCHMARK(BM_YearToDateStatistical)->Arg(kBigRows)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_YearOverYearDifference(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> base = normalSeries(n, 4);
    for (double& b : base) b += 10.0;  // keeps prior-year values away from zero for the percentage
    runCalls(state, "YEAROVERYEARDIFFERENCE", {doubles(base), doubles({static_cast<double>(state.range(1))})},
             defaultResult("YEAROVERYEARDIFFERENCE"));
    setColumnBytes(state, n, 2);
}
BENCHMARK(BM_YearOverYearDifference)
    ->Args({kBigRows, 0})
    ->Args({kBigRows, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Trailing windows (OFFSET 0), as a rolling median with partial windows at
// the start computes them.
void BM_MovingMedian(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    runCalls(state, "MOVINGMEDIAN",
             {doubles(normalSeries(n, 5)), doubles({static_cast<double>(state.range(1))}), doubles({0}),
              doubles(std::vector<double>(n, 0.0))},
             defaultResult("MOVINGMEDIAN"));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}
BENCHMARK(BM_MovingMedian)
    ->Args({1'000'000, 10})
    ->Args({1'000'000, 1'000})
    ->Args({1'000'000, 100'000})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

TableHandle table(const std::string& name, ColumnHandle c) {
    RhoUtils::SharedPtr<Table> t = Table::make(name);
    t->addColumn(std::move(c));
    return TableHandle(t);
}

// AVERAGESTYLE as range(1) (0 simple, 1 weighted), the average, a window of
// range(2) with a full window of history.
void BM_MovingAverageAndSum(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const std::size_t w = static_cast<std::size_t>(state.range(2));
    std::vector<double> weights(w);
    for (std::size_t k = 0; k < w; ++k) weights[k] = 1.0 + static_cast<double>(k % 7);
    RhoUtils::SharedPtr<Table> result = Table::make("result");
    result->addColumn(ColumnHandle(Column::make("RESULT", RhoCommonObjects::VT_DOUBLE)));
    runCalls(state, "MOVINGAVERAGEANDSUM",
             {table("ORIGINAL", doubles(normalSeries(n, 6))),
              table("AVERAGESTYLE", doubles({static_cast<double>(state.range(1))})),
              table("AVERAGEMETHOD", doubles({0})), table("PRIME", doubles(normalSeries(w, 7))),
              table("AVERAGEPERIODS", doubles({static_cast<double>(w)})), table("WEIGHTINGS", doubles(weights))},
             TableHandle(result));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}
BENCHMARK(BM_MovingAverageAndSum)
    ->Args({1'000'000, 0, 1'000})
    ->Args({1'000'000, 1, 1'000})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
