// STOCKFLOW end to end through the loader: 1,000,000 planned daily rows, a
// cover of 30 rows in each cover unit (30 rows, 30 days of daily keys, 30
// period-length units of 1), and the PRESERVE_SUM rounding pass. The columns
// are built once; each iteration is one call.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "functions/fpkStockFlow.h"
#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace {

using qelhost::Argument;
using qelhost::Column;
using qelhost::ColumnHandle;

constexpr std::size_t kRows = 1'000'000;

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

// Consecutive days from 1 January 2000 as YYYYMMDD keys.
std::vector<std::string> dailyKeys(std::size_t n) {
    static const int lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::vector<std::string> keys;
    keys.reserve(n);
    int y = 2000, m = 1, d = 1;
    char buffer[48];
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(buffer, sizeof buffer, "%04d%02d%02d", y, m, d);
        keys.emplace_back(buffer);
        const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
        if (++d > lengths[m - 1] + (m == 2 && leap ? 1 : 0)) {
            d = 1;
            if (++m > 12) m = 1, ++y;
        }
    }
    return keys;
}

std::vector<Argument> inputs(int coverUnit, int roundMethod) {
    std::vector<double> sales(kRows), cover(kRows, 30), zeros(kRows, 0), wastage(kRows, 2), minimum(kRows, 0),
        maximum(kRows, 0);
    for (std::size_t i = 0; i < kRows; ++i) sales[i] = 100 + static_cast<double>((i * 7919) % 97) * 0.37;
    static const std::vector<std::string> keys = dailyKeys(kRows);
    auto d = [](const std::vector<double>& v) { return ColumnHandle(Column::doubles("IN", v)); };
    auto i = [](const std::vector<int32_t>& v) { return ColumnHandle(Column::ints("IN", v)); };
    return {d({500}),
            ColumnHandle(Column::strings("IN", keys)),
            d(sales),
            d(cover),
            d(zeros),
            d(zeros),
            d(zeros),
            i({0}),
            ColumnHandle(Column::strings("IN", {""})),
            i({coverUnit}),
            i(std::vector<int32_t>(kRows, 1)),
            d(maximum),
            d(minimum),
            d(wastage),
            i({roundMethod}),
            i({12}),
            i({0})};
}

void BM_StockFlow(benchmark::State& state) {
    const int unit = static_cast<int>(state.range(0));
    const int rounding = static_cast<int>(state.range(1));
    const qelhost::FunctionInfo* fn = plugin().find("STOCKFLOW");
    const std::vector<Argument> in = inputs(unit, rounding);
    qelhost::resetProfiler();
    qelhost::setProfilerEnabled(true);
    for (auto _ : state) {
        qelhost::CallResult r = plugin().call(*fn, in, qelhost::TableHandle(plugin().makeResultTable(*fn)));
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            break;
        }
        benchmark::DoNotOptimize(r.table.get());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kRows));
    // Milliseconds per call of the stages.
    qelhost::setProfilerEnabled(false);
    const auto sections = qelhost::profilerSections();
    auto ms = [&](const char* name) {
        auto it = sections.find(name);
        return it == sections.end() || it->second.count == 0
                   ? 0.0
                   : static_cast<double>(it->second.totalNs) / 1e6 / static_cast<double>(it->second.count);
    };
    state.counters["plan_ms"] = ms("Calculate Closing Opening SupplyOutLook SalesOutLook Wastage ");
    state.counters["cover_ms"] = ms("Calculate ActualCover ");
    state.counters["round_ms"] = ms("Round result");
    state.counters["stockflow_ms"] = ms("execute in three different stock_flow_branch");
}

}  // namespace

// Cover unit (0 days, 1 rows, 2 period lengths), rounding method.
BENCHMARK(BM_StockFlow)
    ->ArgNames({"unit", "round"})
    ->Args({1, 0})
    ->Args({0, 0})
    ->Args({2, 0})
    ->Args({1, 2})
    ->Args({1, 3})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

// The arithmetic alone on native arrays: planned rows and actual cover, 30
// rows of cover (lengths 1, as in UNITS or PERIODS of length 1).
static void BM_StockFlowKernel(benchmark::State& state) {
    namespace sf = businessFunctions::stockflow;
    const bool whole = state.range(0) != 0;  // whole-number sales take the prefix-sum path
    std::vector<double> sales(kRows), cover(kRows, 30), zeros(kRows, 0), wastage(kRows, 2);
    for (std::size_t i = 0; i < kRows; ++i)
        sales[i] = whole ? static_cast<double>(100 + (i * 7919) % 97) : 100 + static_cast<double>((i * 7919) % 97) * 0.37;
    sf::Series s;
    s.n = kRows;
    s.prime = 500;
    s.forecastSales = sales.data();
    s.forecastCover = cover.data();
    s.maxSupply = zeros.data();
    s.minSupply = zeros.data();
    s.wastageRate = wastage.data();
    s.endMethod = 12;
    std::vector<double> out(6 * kRows);
    for (auto _ : state) {
        sf::Result r{&out[0], &out[kRows], &out[2 * kRows], &out[3 * kRows], &out[4 * kRows], &out[5 * kRows]};
        const sf::EndAverage avg = sf::planRows(s, r);
        sf::coverRows(s, avg, r);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kRows));
}
BENCHMARK(BM_StockFlowKernel)->ArgName("whole")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3);
