// FORECAST over 1,000,000 rows: twelve months and a "YEAR" line, repeated;
// the first half of the rows is closed. BM_ForecastCall runs the whole call
// through the loader (host column reads and writes included),
// BM_ForecastKernel only the arithmetic on native arrays (marker detection
// included). bench/compare_forecast.py builds the same plan for its pandas
// version, so keep the two plan definitions in step.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "common/fpkAllocator.h"
#include "functions/fpkForecast.h"
#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace {

using businessFunctions::FpkVector;
namespace fc = businessFunctions::forecast;

constexpr std::size_t kRows = 1'000'000;
constexpr int32_t kWindow = 12;
constexpr int32_t kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Row i is month (i % 13) + 1 of block i / 13, or the block's "YEAR" line
// when i % 13 == 12. Rows below kRows / 2 are closed.
struct BenchPlan {
    std::vector<std::string> period;
    std::vector<double> budget, actual, overrides;
    std::vector<int32_t> afflag, days, periodsFlag;

    BenchPlan() {
        const std::size_t closed = kRows / 2;
        char label[16];
        for (std::size_t i = 0; i < kRows; ++i) {
            const std::size_t block = i / 13, month = i % 13;
            const bool year = month == 12;
            if (year) {
                period.emplace_back("YEAR");
            } else {
                std::snprintf(label, sizeof label, "%06zu%02zu", block, month + 1);
                period.emplace_back(label);
            }
            const double b = year ? 0.0 : 100.0 + static_cast<double>((i * 37) % 50);
            budget.push_back(b);
            if (i < closed) actual.push_back(year ? 0.0 : b * (0.9 + static_cast<double>(i % 7) * 0.03));
            afflag.push_back(i < closed ? 0 : 1);
            days.push_back(year ? 0 : kMonthDays[month]);
            periodsFlag.push_back(month == 11 ? 1 : 0);
            if (!year && i >= closed) overrides.push_back(50.0 + static_cast<double>(overrides.size() % 100));
        }
    }
};

const BenchPlan& plan() {
    static const BenchPlan p;
    return p;
}

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

void BM_ForecastCall(benchmark::State& state) {
    const int method = static_cast<int>(state.range(0));
    const int indicator = static_cast<int>(state.range(1));
    const BenchPlan& p = plan();
    using qelhost::Column;
    using qelhost::ColumnHandle;
    std::vector<qelhost::Argument> args = {
        ColumnHandle(Column::strings("PERIOD", p.period)),  ColumnHandle(Column::doubles("BUDGET", p.budget)),
        ColumnHandle(Column::doubles("ACTUAL", p.actual)),   ColumnHandle(Column::ints("AFFLAG", p.afflag)),
        ColumnHandle(Column::ints("PERIODSNUM", {kWindow})), ColumnHandle(Column::doubles("OVERRIDE", p.overrides)),
        ColumnHandle(Column::ints("DAYS", p.days)),          ColumnHandle(Column::ints("PERIODSFLAG", p.periodsFlag)),
        method,
        indicator};
    const qelhost::FunctionInfo* info = plugin().find("FORECAST");
    for (auto _ : state) {
        qelhost::CallResult r =
            plugin().call(*info, args, qelhost::TableHandle(plugin().makeResultTable(*info)));
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            break;
        }
        benchmark::DoNotOptimize(r.table.get());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}

void BM_ForecastKernel(benchmark::State& state) {
    const int method = static_cast<int>(state.range(0));
    const bool byDays = state.range(1) == 1;
    const BenchPlan& p = plan();
    RhoUtils::Allocator& alloc = businessFunctions::getGlobalFPKAllocator();
    std::vector<std::string_view> texts(p.period.begin(), p.period.end());
    std::vector<uint8_t> marker(kRows);
    std::vector<int32_t> flags(kRows);
    std::vector<double> out(kRows);
    for (auto _ : state) {
        fc::markRows(texts.data(), nullptr, kRows, marker.data());
        const fc::Plan pl{kRows, marker.data(), p.afflag.data(), kRows, p.actual.data(), p.actual.size()};
        const int32_t* d = byDays ? p.days.data() : nullptr;
        fc::Outcome o{0, fc::Fault::None};
        switch (method) {
            case 0: o = fc::actBud(pl, p.budget.data(), out.data()); break;
            case 1: o = fc::overrideValues(pl, p.overrides.data(), p.overrides.size(), out.data()); break;
            case 2: o = fc::trend(pl, p.budget.data(), out.data()); break;
            case 3:
            case 8: o = fc::goal(pl, p.budget.data(), out.data()); break;
            case 4: o = fc::average(pl, kWindow, d, out.data(), alloc); break;
            case 5: o = fc::linear(pl, kWindow, d, out.data(), alloc); break;
            case 6: o = fc::periodic(pl, p.budget.data(), p.periodsFlag.data(), kRows, out.data()); break;
            case 7:
                fc::subtotalFlags(marker.data(), kRows, flags.data());
                o = fc::periodic(pl, p.budget.data(), flags.data(), kRows, out.data());
                break;
        }
        if (o.fault != fc::Fault::None) {
            state.SkipWithError("the plan failed");
            break;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}

void methods(benchmark::internal::Benchmark* b) {
    b->ArgNames({"method", "days"});
    for (int m = 0; m <= 8; ++m) b->Args({m, 0});
    b->Args({4, 1});
    b->Args({5, 1});
    b->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(BM_ForecastCall)->Apply(methods);
BENCHMARK(BM_ForecastKernel)->Apply(methods);
