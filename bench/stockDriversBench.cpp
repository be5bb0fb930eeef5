// Speed of the stock, debt, driver and queueing functions over 1,000,000 rows
// (periods), called through their algorithm classes on host columns, so that
// the column jobs run on the host's parallel-for as in a real call.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "functions/fpkDaysOutstanding_DelayDebt.h"
#include "functions/fpkDelay.h"
#include "functions/fpkDelayStock.h"
#include "functions/fpkDriver.h"
#include "functions/fpkFeed.h"
#include "functions/fpkFeedOverflow.h"
#include "functions/fpkForecastAgents.h"
#include "functions/fpkForecastSensitivity.h"
#include "functions/fpkVolumeDriver.h"
#include "host/runtime/QELHost.h"

namespace {

using qelhost::Column;
using qelhost::ColumnPtr;
using qelhost::Table;
using qelhost::TablePtr;

constexpr std::size_t kRows = 1'000'000;

// A small deterministic generator, so that every run sees the same rows.
struct Lcg {
    uint64_t s = 88172645463325252ull;
    double next() {  // in [0, 1)
        s = s * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(s >> 11) * (1.0 / 9007199254740992.0);
    }
};

ColumnPtr doubles(const char* name, const std::vector<double>& v) { return Column::doubles(name, v); }

TablePtr resultOf(const char* name, std::initializer_list<const char*> cols, int firstType = RhoCommonObjects::VT_DOUBLE) {
    TablePtr t = Table::make(name);
    bool first = true;
    for (const char* c : cols) {
        t->addColumn(RhoCommonObjects::ColumnHandle(Column::make(c, first ? firstType : RhoCommonObjects::VT_DOUBLE)));
        first = false;
    }
    return t;
}

TablePtr tableOf(const char* name, std::initializer_list<ColumnPtr> cols) {
    TablePtr t = Table::make(name);
    for (const ColumnPtr& c : cols) t->addColumn(RhoCommonObjects::ColumnHandle(c));
    return t;
}

// Call-centre intervals with offered traffic spread over 0.5 .. 4,950
// Erlangs (about 1 to 5,000 agents), targets of 70 .. 95 % in 10 .. 40 s.
struct Traffic {
    ColumnPtr method, sla, st, srph, aht;
    ColumnPtr agents;
};
Traffic traffic(double method) {
    Lcg g;
    std::vector<double> sla(kRows), st(kRows), srph(kRows), aht(kRows), agents(kRows);
    for (std::size_t i = 0; i < kRows; ++i) {
        const double a = 0.5 + 4949.5 * g.next();
        aht[i] = 120 + 300 * g.next();
        srph[i] = a * 3600 / aht[i];
        sla[i] = 70 + 25 * g.next();
        st[i] = 10 + 30 * g.next();
        agents[i] = std::floor(a + 1 + 2 * std::sqrt(a) * g.next());
    }
    return {doubles("METHOD", {method}), doubles("SLA", sla), doubles("ST", st), doubles("SRPH", srph),
            doubles("AHT", aht), doubles("AGENTS", agents)};
}

void BM_ForecastAgents(benchmark::State& state) {
    Traffic t = traffic(static_cast<double>(state.range(0)));
    TablePtr result = resultOf("RESULT", {"AGENTS"});
    for (auto _ : state) {
        businessFunctions::FPKForecastAgents(t.method.get(), t.sla.get(), t.st.get(), t.srph.get(), t.aht.get(),
                                             result.get())
            .execute();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}
BENCHMARK(BM_ForecastAgents)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

void BM_ForecastSensitivity(benchmark::State& state) {
    Traffic t = traffic(1);
    ColumnPtr cqt = doubles("CQT", std::vector<double>(kRows, 60)), cql = doubles("CQL", std::vector<double>(kRows, 5));
    TablePtr result = resultOf("RESULT", {"COMPLETION_RATE", "TRAFFIC_RATE", "UTILIZATION", "LOSS", "DELAY",
                                          "QUEUE_TIME", "QUEUE_LENGTH", "TIME_TO_AGENT", "CQT_PROPORTION",
                                          "CQL_PROBABILITY", "SERVICE_LEVEL_PROVIDED"});
    for (auto _ : state) {
        businessFunctions::FPKForecastSensitivity(t.agents.get(), t.srph.get(), t.aht.get(), t.st.get(), cqt.get(),
                                                  cql.get(), result.get())
            .execute();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kRows));
}
BENCHMARK(BM_ForecastSensitivity)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// Monthly periods with seasonal invoices.
std::vector<double> invoices() {
    Lcg g;
    std::vector<double> v(kRows);
    for (std::size_t i = 0; i < kRows; ++i) v[i] = 1000 + 500 * std::sin(static_cast<double>(i) * 0.5236) + 100 * g.next();
    return v;
}
std::vector<double> monthDays() {
    static const double days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::vector<double> v(kRows);
    for (std::size_t i = 0; i < kRows; ++i) v[i] = days[i % 12];
    return v;
}

void BM_Delay(benchmark::State& state) {
    TablePtr prime = tableOf("PRIME", {doubles("P", {5000})});
    TablePtr invoice = tableOf("INVOICE", {doubles("I", invoices())});
    TablePtr paid = tableOf("PAID", {doubles("K0", {40}), doubles("K1", {35}), doubles("K2", {20}), doubles("K3", {5})});
    TablePtr result = resultOf("result", {"RECEIVED"});
    for (auto _ : state) {
        businessFunctions::FPKDelay(prime.get(), invoice.get(), paid.get(), result.get()).execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Delay)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DelayStock(benchmark::State& state) {
    const bool days = state.range(0) == 1;
    ColumnPtr prime = doubles("PRIME", {1500}), demand = doubles("DEMAND", invoices());
    ColumnPtr level = doubles("LEVEL", std::vector<double>(kRows, days ? 45 : 1.5));
    ColumnPtr len = doubles("DAYS", monthDays()), indicator = doubles("INDICATOR", {days ? 1.0 : 0.0});
    TablePtr result = resultOf("STOCK", {"OPENING", "CLOSING", "PURCHASES"});
    for (auto _ : state) {
        businessFunctions::FPKDelayStock(prime.get(), demand.get(), level.get(), len.get(), indicator.get(),
                                         result.get())
            .execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DelayStock)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DaysOutstanding_DelayDebt(benchmark::State& state) {
    using F = businessFunctions::FPKDaysOutstanding_DelayDebt;
    const auto fn = state.range(0) == 0 ? F::DAYSOUTSTANDING : F::DELAYDEBT;
    ColumnPtr indicator = doubles("INDICATOR", {1}), prime = doubles("PRIME", {1500}), invoice = doubles("INVOICE", invoices());
    ColumnPtr duration = doubles("DURATION", monthDays()), level = doubles("LEVEL", {});
    ColumnPtr days = doubles("DAYS", std::vector<double>(kRows, 45));
    TablePtr result = resultOf("RESULT", {"OPENING", "CLOSING", "RECEIPTS"});
    for (auto _ : state) {
        F(fn, indicator.get(), prime.get(), invoice.get(), duration.get(), level.get(), days.get(), 1, result.get())
            .execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DaysOutstanding_DelayDebt)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Feed(benchmark::State& state) {
    ColumnPtr prime = doubles("PRIME", {100}), in = doubles("IN", invoices()), out = doubles("OUT", invoices());
    TablePtr result = resultOf("RESULT", {"OPENING", "CLOSING"});
    for (auto _ : state) {
        businessFunctions::FPKFeed(prime.get(), in.get(), out.get(), result.get()).execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Feed)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FeedOverflow(benchmark::State& state) {
    ColumnPtr prime = doubles("PRIME", {100}), in = doubles("IN", invoices());
    ColumnPtr factor = doubles("FACTOR", std::vector<double>(kRows, 4)), indicator = doubles("INDICATOR", {0});
    TablePtr result = resultOf("RESULT", {"OPENING", "OUTS", "CLOSING"});
    for (auto _ : state) {
        businessFunctions::FPKFeedOverflow(prime.get(), in.get(), factor.get(), indicator.get(), result.get()).execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_FeedOverflow)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_VolumeDriver(benchmark::State& state) {
    Lcg g;
    std::vector<double> salary(kRows);
    for (double& s : salary) s = 10000 * g.next();
    ColumnPtr sal = doubles("SALARY", salary), pct = doubles("PERCENT", {20, 10, 5, 2}),
              bw = doubles("BANDWIDTH", {3000, 2000, 2000});
    TablePtr result = resultOf("result", {"OVERHEAD"});
    for (auto _ : state) {
        businessFunctions::FPKVolumeDriver(sal.get(), pct.get(), bw.get(), result.get()).execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_VolumeDriver)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Driver(benchmark::State& state) {
    std::vector<std::string> keys(kRows);
    for (std::size_t i = 0; i < kRows; ++i) keys[i] = std::to_string(2000 + (i / 12) % 8000) + (i % 12 < 9 ? "0" : "") + std::to_string(i % 12 + 1);
    TablePtr history = tableOf("HISTORY", {doubles("H", invoices())});
    TablePtr time = tableOf("TIME", {Column::strings("TIME", keys)});
    TablePtr kind = tableOf("SWITCHOVER", {doubles("S", {3})});
    TablePtr date = tableOf("SWITCHOVERDATE", {Column::strings("D", {"200101"})});
    TablePtr drivers = tableOf("DRIVERS", {doubles("A", invoices()), doubles("B", invoices())});
    TablePtr result = resultOf("result", {"TIME", "A", "B"}, RhoCommonObjects::VT_STRING);
    for (auto _ : state) {
        businessFunctions::FPKDriver(history.get(), time.get(), kind.get(), date.get(), drivers.get(), result.get())
            .execute();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Driver)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
