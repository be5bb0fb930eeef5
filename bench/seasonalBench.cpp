// Seasonal and month-row planning functions: the decomposition kernel and
// whole calls of SEASONALSIMPLE / SEASONALCOMPLEX over 120 months of history
// with 24 forecast months (one call, and 100,000 series one after another),
// and FORECASTMIX, OUTLOOK and GROW over 10,000,000 rows, whose byte rate
// compares with BM_Memcpy (bench/memcpyBench.cpp).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "functions/fpkForecastMix.h"
#include "functions/fpkGrow.h"
#include "functions/fpkOutlook.h"
#include "functions/fpkSeasonal.h"
#include "functions/fpkSeasonalCommon.h"
#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace {

using qelhost::Column;
using qelhost::ColumnHandle;
using qelhost::TableHandle;

constexpr std::size_t kHistory = 120, kPeriod = 12, kHorizon = 24;
constexpr std::size_t kRows = 10'000'000;

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

// A monthly series with trend, season and a little deterministic noise.
std::vector<double> monthly(std::size_t n, std::size_t seed) {
    std::vector<double> v(n);
    for (std::size_t t = 0; t < n; ++t)
        v[t] = (200 + 0.8 * t + 0.05 * seed) * (1 + 0.15 * std::sin(2 * M_PI * t / 12.0 + 0.3 * seed)) +
               std::sin(7.3 * t + seed);
    return v;
}

ColumnHandle doubles(const std::vector<double>& v) { return ColumnHandle(Column::doubles("IN", v)); }
ColumnHandle texts(const std::string& s) { return ColumnHandle(Column::strings("IN", {s})); }

// ---- the decomposition kernel alone ----------------------------------------------

void BM_SeasonalDecomposeKernel(benchmark::State& state) {
    using namespace businessFunctions;
    const std::vector<double> a = monthly(kHistory, 1);
    std::vector<double> I(kPeriod), T(kHistory + kHorizon), M(kHistory + kHorizon),
        scratch(seasonal::decomposeScratchSize(kHistory, kPeriod));
    const int base = static_cast<int>(state.range(0)), index = static_cast<int>(state.range(1)),
              projection = static_cast<int>(state.range(2));
    for (auto _ : state) {
        seasonal::seasonalDecompose(a.data(), kHistory, kPeriod, kHorizon, base, index, projection, I.data(), T.data(),
                                    M.data(), scratch.data());
        benchmark::DoNotOptimize(M.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_SeasonalDecomposeKernel)
    ->ArgNames({"base", "index", "proj"})
    ->Args({1, 1, 1})
    ->Args({1, 2, 2})
    ->Args({2, 4, 4})
    ->Args({3, 3, 3})
    ->Unit(benchmark::kMicrosecond);

// ---- whole calls through the loader ----------------------------------------------

struct SeriesSet {
    std::vector<ColumnHandle> series;
    std::vector<ColumnHandle> days;
};

const SeriesSet& seriesSet() {
    static const SeriesSet set = [] {
        SeriesSet s;
        for (std::size_t i = 0; i < 1000; ++i) {
            s.series.push_back(doubles(monthly(kHistory, i)));
            std::vector<double> d(kHistory + kHorizon);
            for (std::size_t t = 0; t < d.size(); ++t) d[t] = 20 + static_cast<double>((t * 7 + i) % 4);
            s.days.push_back(doubles(d));
        }
        return s;
    }();
    return set;
}

void seasonalSimpleCalls(benchmark::State& state, std::size_t callsPerIteration) {
    const qelhost::FunctionInfo& fn = *plugin().find("SEASONALSIMPLE");
    const SeriesSet& set = seriesSet();
    const ColumnHandle method = doubles({1, 1, 1, 1, 1, 1}), flag = doubles({1}), period = doubles({12}),
                       horizon = doubles({24});
    TableHandle result(plugin().makeResultTable(fn));
    std::size_t next = 0, failures = 0;
    for (auto _ : state) {
        for (std::size_t c = 0; c < callsPerIteration; ++c) {
            auto r = plugin().call(fn, {method, flag, set.series[next], period, horizon}, result);
            failures += r.error ? 1 : 0;
            next = next + 1 == set.series.size() ? 0 : next + 1;
        }
    }
    if (failures) state.SkipWithError("SEASONALSIMPLE raised an error");
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * callsPerIteration));
}

void seasonalComplexCalls(benchmark::State& state, std::size_t callsPerIteration) {
    const qelhost::FunctionInfo& fn = *plugin().find("SEASONALCOMPLEX");
    const SeriesSet& set = seriesSet();
    const ColumnHandle cycle = doubles({1, 0.05, 48, 1, 1}), override_ = doubles(std::vector<double>(kHorizon, 0)),
                       value = doubles(std::vector<double>(kHorizon, 0)), config = doubles({12, 24, 1, 1, 2, 2, 1});
    TableHandle result(plugin().makeResultTable(fn));
    std::size_t next = 0, failures = 0;
    for (auto _ : state) {
        for (std::size_t c = 0; c < callsPerIteration; ++c) {
            auto r = plugin().call(fn, {set.series[next], set.days[next], cycle, override_, value, config}, result);
            failures += r.error ? 1 : 0;
            next = next + 1 == set.series.size() ? 0 : next + 1;
        }
    }
    if (failures) state.SkipWithError("SEASONALCOMPLEX raised an error");
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * callsPerIteration));
}

void BM_SeasonalSimpleCall(benchmark::State& state) { seasonalSimpleCalls(state, 1); }
void BM_SeasonalSimple100kSeries(benchmark::State& state) { seasonalSimpleCalls(state, 100'000); }
void BM_SeasonalComplexCall(benchmark::State& state) { seasonalComplexCalls(state, 1); }
void BM_SeasonalComplex100kSeries(benchmark::State& state) { seasonalComplexCalls(state, 100'000); }
BENCHMARK(BM_SeasonalSimpleCall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SeasonalSimple100kSeries)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SeasonalComplexCall)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SeasonalComplex100kSeries)->Iterations(1)->Unit(benchmark::kMillisecond);

// ---- month-row functions over 10,000,000 rows --------------------------------------
// Bytes counted: every input column of n rows read and the result written,
// as BM_Memcpy counts one read and one write.

struct LongColumns {
    ColumnHandle a = doubles(monthly(kRows, 3));
    ColumnHandle b = doubles(monthly(kRows, 4));
    std::vector<double> va = monthly(kRows, 3), vb = monthly(kRows, 4);
};

const LongColumns& longColumns() {
    static const LongColumns c;
    return c;
}

void setBytes(benchmark::State& state, int columns) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kRows * sizeof(double)) *
                            columns);
}

// The kernels stream through cache-sized blocks as the functions do, from
// one native array to another.
void BM_ForecastMixKernel(benchmark::State& state) {
    const LongColumns& c = longColumns();
    std::vector<double> out(kRows);
    const auto phase = businessFunctions::forecastMix::phaseIn(c.va.data(), 5, 3);
    for (auto _ : state) {
        for (std::size_t b = 6; b < kRows; b += businessFunctions::planning::kBlockRows) {
            const std::size_t e = std::min(kRows, b + businessFunctions::planning::kBlockRows);
            businessFunctions::forecastMix::mixFuture(c.vb.data() + b, out.data() + b, e - b, static_cast<int64_t>(b),
                                                      phase);
        }
        benchmark::ClobberMemory();
    }
    setBytes(state, 2);  // forecast in, result out (the six actuals are negligible)
}

void BM_OutlookKernel(benchmark::State& state) {
    using namespace businessFunctions;
    const LongColumns& c = longColumns();
    std::vector<double> out(kRows);
    for (auto _ : state) {
        // TARGET: one pass for the future plan's sum, one for the result.
        const double spf = outlook::sum(c.va.data() + 6, kRows - 6);
        const auto view = outlook::futureView(FPKOutlook::TARGET, outlook::sum(c.vb.data(), 6),
                                              outlook::sum(c.va.data(), 6), spf, kRows - 6);
        outlook::future(c.va.data() + 6, out.data() + 6, kRows - 6, view);
        benchmark::ClobberMemory();
    }
    setBytes(state, 3);  // plan in twice, result out
}

void BM_GrowKernel(benchmark::State& state) {
    using namespace businessFunctions;
    const LongColumns& c = longColumns();
    constexpr std::size_t p = 12, block = planning::kBlockRows;
    std::vector<double> out(kRows), buf(p + block);
    for (auto _ : state) {
        for (std::size_t b = 0; b < kRows; b += block) {
            const std::size_t e = std::min(kRows, b + block), count = e - b;
            std::copy(c.va.data() + b, c.va.data() + e, buf.data() + p);
            grow::growBlock(buf.data(), p, c.vb.data() + b, count, static_cast<int64_t>(b), 5, FPKGrow::PERCENT);
            std::copy(buf.data() + p, buf.data() + p + count, out.data() + b);
            std::copy(buf.data() + count, buf.data() + count + p, buf.data());
        }
        benchmark::ClobberMemory();
    }
    setBytes(state, 3);  // values and rates in, result out
}

void runCall(benchmark::State& state, const char* name, const std::vector<qelhost::Argument>& args, int columns) {
    const qelhost::FunctionInfo& fn = *plugin().find(name);
    TableHandle result(plugin().makeResultTable(fn));
    for (auto _ : state) {
        auto r = plugin().call(fn, args, result);
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            break;
        }
    }
    setBytes(state, columns);
}

void BM_ForecastMixCall(benchmark::State& state) {
    const LongColumns& c = longColumns();
    runCall(state, "FORECASTMIX", {c.a, doubles({3}), doubles({1}), texts("20240615"), c.b}, 2);
}
void BM_OutlookCall(benchmark::State& state) {
    const LongColumns& c = longColumns();
    runCall(state, "OUTLOOK", {c.a, c.b, doubles({2}), doubles({1}), texts("20240615")}, 2);
}
void BM_GrowCall(benchmark::State& state) {
    const LongColumns& c = longColumns();
    runCall(state, "GROW", {c.a, doubles({12}), c.b, doubles({0}), doubles({3}), texts("202406")}, 3);
}

BENCHMARK(BM_ForecastMixKernel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OutlookKernel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GrowKernel)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ForecastMixCall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OutlookCall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GrowCall)->Unit(benchmark::kMillisecond);

}  // namespace

namespace {
// The floor of every whole call above: the host reading one 10,000,000-row
// double column into a native array and writing one back (2 columns' bytes).
void BM_HostColumnReadWrite(benchmark::State& state) {
    const LongColumns& c = longColumns();
    qelhost::ColumnPtr out = Column::make("OUT", RhoCommonObjects::VT_DOUBLE);
    std::vector<double> buffer(kRows);
    std::vector<RhoCommonObjects::NullFlags> nulls(kRows);
    for (auto _ : state) {
        c.a->getNative(0, kRows, buffer.data(), nulls.data());
        out->setNative(0, kRows, buffer.data(), nullptr);
        benchmark::ClobberMemory();
    }
    setBytes(state, 2);
}
BENCHMARK(BM_HostColumnReadWrite)->Unit(benchmark::kMillisecond);
}  // namespace
