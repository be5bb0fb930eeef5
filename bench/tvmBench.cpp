// Time value of money through the loader, inputs built as in
// bench/compare_tvm.py (which times the same work written with numpy):
//   account functions: 1,000,000 rows of 1 to 12 periods each;
//   NETPRESENTVALUE: 10,000 rows with ten rates cycling or a different rate
//   on every row, 10,000 and 100,000 rows with one rate; INTERNALRATE: 10,000 rows with METHOD 1.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace {

using qelhost::Column;
using qelhost::ColumnHandle;

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

ColumnHandle doubles(std::vector<double> v) { return ColumnHandle(Column::doubles("IN", v)); }

struct AccountInputs {
    std::vector<double> periods, rate, present, payment, future, type;
};

AccountInputs accountInputs(std::size_t n) {
    AccountInputs in;
    for (std::size_t i = 0; i < n; ++i) {
        in.periods.push_back(static_cast<double>(1 + (i * 7) % 12));
        in.rate.push_back(0.5 + static_cast<double>(i % 10) * 0.5);
        in.present.push_back(1000 + static_cast<double>(i % 100) * 10);
        in.payment.push_back(-50 - static_cast<double>(i % 7) * 5);
        in.future.push_back(500 + static_cast<double>(i % 13) * 100);
        in.type.push_back(static_cast<double>(i % 2));
    }
    return in;
}

// Calls the function once per iteration with a fresh result table (the
// host allocates its columns within the call), or, with `warm`, with one
// result table made and filled before timing starts (its columns are
// already as long as the result, so the call only writes into them).
// Either way one call runs before timing starts: the host keeps freed column
// memory for the next column, as a server's pools do, and the first call of
// a process would otherwise time the system faulting that memory in, which
// falls on whichever benchmark happens to run first.
void runCall(benchmark::State& state, const std::string& name, const std::vector<qelhost::Argument>& args,
             bool warm = false) {
    const qelhost::FunctionInfo* fn = plugin().find(name);
    std::size_t rows = 0;
    qelhost::TableHandle table(plugin().makeResultTable(*fn));
    plugin().call(*fn, args, warm ? table : qelhost::TableHandle(plugin().makeResultTable(*fn)));
    for (auto _ : state) {
        qelhost::CallResult r =
            plugin().call(*fn, args, warm ? table : qelhost::TableHandle(plugin().makeResultTable(*fn)));
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            return;
        }
        rows = r.table->getColumn(0)->size();
        benchmark::DoNotOptimize(rows);
    }
    state.counters["result_rows"] = static_cast<double>(rows);
}

// state.range(1) = 1: the warm result table.
void BM_TvmFuture(benchmark::State& state) {
    const AccountInputs in = accountInputs(static_cast<std::size_t>(state.range(0)));
    runCall(state, "FUTURE",
            {doubles(in.periods), doubles(in.rate), doubles(in.present), doubles(in.payment), doubles(in.type)},
            state.range(1) != 0);
}
void BM_TvmPresentValue(benchmark::State& state) {
    const AccountInputs in = accountInputs(static_cast<std::size_t>(state.range(0)));
    runCall(state, "PRESENTVALUE",
            {doubles(in.rate), doubles(in.periods), doubles(in.payment), doubles(in.future), doubles(in.type)},
            state.range(1) != 0);
}
void BM_TvmPayment(benchmark::State& state) {
    const AccountInputs in = accountInputs(static_cast<std::size_t>(state.range(0)));
    runCall(state, "PAYMENT",
            {doubles(in.rate), doubles(in.periods), doubles(in.present), doubles(in.future), doubles(in.type)},
            state.range(1) != 0);
}

struct DiscountInputs {
    std::vector<double> values, rate, flag, days;
};

// Rates: 0.07 on every row (oneRate), ten rates 0.02 to 0.11 cycling over the
// rows, or (distinct) a different rate on every row.
DiscountInputs discountInputs(std::size_t n, bool oneRate, bool distinct = false) {
    const double daysOf[3] = {30, 91, 365};
    DiscountInputs in;
    for (std::size_t i = 0; i < n; ++i) {
        in.values.push_back(static_cast<double>((i * 37) % 200) - 100);
        in.rate.push_back(oneRate    ? 0.07
                          : distinct ? 0.02 + static_cast<double>(i) * 1e-6
                                     : 0.02 + static_cast<double>(i % 10) * 0.01);
        in.flag.push_back(static_cast<double>(1 + i % 3));
        in.days.push_back(daysOf[i % 3]);
    }
    return in;
}

void npv(benchmark::State& state, bool oneRate, bool distinct = false) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const DiscountInputs in = discountInputs(n, oneRate, distinct);
    runCall(state, "NETPRESENTVALUE",
            {doubles(in.rate), doubles(in.values), doubles(in.flag),
             ColumnHandle(Column::strings("IN", std::vector<std::string>(n))), doubles(in.days)});
}
void BM_TvmNetPresentValue(benchmark::State& state) { npv(state, false); }
void BM_TvmNetPresentValueOneRate(benchmark::State& state) { npv(state, true); }
void BM_TvmNetPresentValueDistinctRates(benchmark::State& state) { npv(state, false, true); }

// Per-row rates of the series up to each row (METHOD 1; row 0, whose series
// would be one cash flow, takes the whole series with METHOD 0): an outflow
// of 1000, then inflows of 100 to 104 a year.
void BM_TvmInternalRateMethod1(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    std::vector<double> values(n), flag(n, 3), days(n, 365), method(n, 1), estimate;
    method[0] = 0;
    for (std::size_t i = 0; i < n; ++i) values[i] = i == 0 ? -1000 : 100 + static_cast<double>(i % 5);
    runCall(state, "INTERNALRATE",
            {doubles(values), doubles(flag), ColumnHandle(Column::strings("IN", std::vector<std::string>(n))),
             doubles(estimate), doubles(method), doubles(days)});
}

}  // namespace

BENCHMARK(BM_TvmFuture)->Args({1'000'000, 0})->Args({1'000'000, 1})->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmPresentValue)->Args({1'000'000, 0})->Args({1'000'000, 1})->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmPayment)->Args({1'000'000, 0})->Args({1'000'000, 1})->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmNetPresentValue)->Arg(10'000)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmNetPresentValueDistinctRates)->Arg(10'000)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmNetPresentValueOneRate)->Arg(10'000)->Arg(100'000)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TvmInternalRateMethod1)->Arg(10'000)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
