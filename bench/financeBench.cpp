// Cash flows, depreciation and leases.
//
// DISCOUNTEDCASHFLOW over 10,000,000 rows, through the plug-in boundary (the
// calling-thread RATE check plus the column job) and the row arithmetic alone
// on one thread; compare the bytes per second with BM_Memcpy. Depreciation
// and lease schedules for 1,000,000 assets of 10 periods each.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "functions/fpkCashFlow.h"
#include "functions/fpkDepreciation.h"
#include "functions/fpkLease_LeaseVariable.h"
#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace {

using qelhost::Column;
using RhoCommonObjects::ColumnHandle;
using RhoCommonObjects::TableHandle;

qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

constexpr std::size_t kCashFlowRows = 10'000'000;
constexpr std::size_t kAssets = 1'000'000;

ColumnHandle doubles(std::size_t n, double first, double step, int cycle) {
    std::vector<double> v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = first + step * static_cast<double>(static_cast<int>(i % cycle));
    return ColumnHandle(Column::doubles("IN", v));
}

void runCall(benchmark::State& state, const char* fn, const std::vector<qelhost::Argument>& args) {
    const qelhost::FunctionInfo* info = plugin().find(fn);
    for (auto _ : state) {
        qelhost::CallResult r = plugin().call(*info, args, TableHandle(plugin().makeResultTable(*info)));
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            break;
        }
        benchmark::DoNotOptimize(r.table.get());
    }
}

// Bytes a row moves: PRIME and RATE read, RESULT written (doubles).
void setCashFlowBytes(benchmark::State& state, std::size_t n) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n * 3 * sizeof(double)));
}

void BM_CashFlowRows(benchmark::State& state) {
    const std::size_t n = kCashFlowRows;
    std::vector<double> prime(n, 100), rate(n), out(n), work(2 * n);
    std::vector<unsigned char> nulls(n, 0), outNull(n);
    for (std::size_t i = 0; i < n; ++i) rate[i] = 1 + static_cast<double>(i % 7);
    for (auto _ : state) {
        businessFunctions::cashflow::rows(businessFunctions::FPKCashFlow::DISCOUNTED, 0, n, prime.data(),
                                          nulls.data(), rate.data(), nulls.data(), 11, 12, out.data(),
                                          outNull.data(), work.data());
        benchmark::ClobberMemory();
    }
    setCashFlowBytes(state, n);
}
BENCHMARK(BM_CashFlowRows)->Unit(benchmark::kMillisecond);

// Repeated calls into one result table, after a first call: the steady
// state the column-job benchmarks measure too (no page faults of a fresh
// result column). range(0): 0 a rate curve that changes every row (1 % to
// 7 %), 1 one rate of 5 % for every row.
void BM_DiscountedCashFlow(benchmark::State& state) {
    const std::size_t n = kCashFlowRows;
    const std::vector<qelhost::Argument> args = {
        doubles(n, 100, 1, 50), ColumnHandle(Column::strings("IN", std::vector<std::string>(n, "2024"))),
        state.range(0) == 0 ? doubles(n, 1, 1, 7) : doubles(n, 5, 0, 1), ColumnHandle(Column::doubles("IN", {0})),
        ColumnHandle(Column::doubles("IN", {0})), ColumnHandle(Column::strings("IN", {}))};
    const qelhost::FunctionInfo* info = plugin().find("DISCOUNTEDCASHFLOW");
    TableHandle result(plugin().makeResultTable(*info));
    qelhost::CallResult warm = plugin().call(*info, args, result);
    if (warm.error) {
        state.SkipWithError(warm.error->message.c_str());
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(plugin().call(*info, args, result).table.get());
    setCashFlowBytes(state, n);
}
BENCHMARK(BM_DiscountedCashFlow)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Depreciation(benchmark::State& state) {
    const std::size_t n = kAssets;
    const ColumnHandle asset = doubles(n, 1000, 10, 100);
    const ColumnHandle life = doubles(n, 10, 0, 1);
    const ColumnHandle indicator(Column::doubles("IN", {1}));
    switch (state.range(0)) {
        case 0:
            runCall(state, "SLDEPRECIATION", {asset, life, indicator});
            break;
        case 1:
            runCall(state, "SOYDEPRECIATION", {asset, life, indicator});
            break;
        case 2:
            runCall(state, "DBDEPRECIATION", {asset, doubles(n, 150, 25, 3), indicator, doubles(n, 0, 1, 2), life});
            break;
        default: {
            std::vector<int32_t> method(n);
            for (std::size_t i = 0; i < n; ++i) method[i] = static_cast<int32_t>(i % 3) + 1;
            runCall(state, "ANNUALDEPRECIATION",
                    {ColumnHandle(Column::ints("IN", method)), asset, doubles(n, 150, 25, 3), indicator,
                     doubles(n, 0, 1, 2), life});
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}
// 0 SL, 1 SOY, 2 DB, 3 ANNUAL (methods mixed).
BENCHMARK(BM_Depreciation)->DenseRange(0, 3)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Lease(benchmark::State& state) {
    const std::size_t n = kAssets;
    const ColumnHandle advance = doubles(n, 10000, 100, 50);
    const ColumnHandle residual = doubles(n, 0, 500, 3);
    const ColumnHandle periods = doubles(n, 10, 0, 1);
    const ColumnHandle arrears(Column::doubles("IN", {0}));
    const ColumnHandle redemption(Column::doubles("IN", {0.5}));
    if (state.range(0) == 0)
        runCall(state, "LEASE", {advance, residual, periods, arrears, ColumnHandle(Column::doubles("IN", {1})),
                                 redemption});
    else
        runCall(state, "LEASEVARIABLE",
                {advance, residual, periods, arrears, ColumnHandle(Column::doubles("IN", {1, 1, 1.5, 1.5, 2})),
                 redemption, ColumnHandle(Column::doubles("IN", {3})), ColumnHandle(Column::doubles("IN", {1}))});
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n));
}
// 0 LEASE, 1 LEASEVARIABLE with a rising rate path, quarterly interest and recalculation.
BENCHMARK(BM_Lease)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();

// A copy into memory that has not been touched yet, as the host's result
// column is on every call: the yardstick that includes the page faults.
void BM_FreshCopy(benchmark::State& state) {
    const std::size_t n = kCashFlowRows;
    std::vector<double> src(n, 1.5);
    for (auto _ : state) {
        std::vector<double> dst(src);
        benchmark::DoNotOptimize(dst.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n * sizeof(double)) * 2);
}
BENCHMARK(BM_FreshCopy)->Unit(benchmark::kMillisecond);

// The schedule arithmetic alone, 1,000,000 assets of 10 periods, into a
// buffer of one slice that is reused (what the functions do between writes).
void BM_DepreciationSchedules(benchmark::State& state) {
    using D = businessFunctions::FPKDepreciation;
    const auto method = static_cast<D::methodType>(state.range(0));
    std::vector<double> index(10), dep(10);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kAssets; ++i) {
            const double q = businessFunctions::depreciation::decliningFraction(200, D::assetType::FACTOR, 10);
            businessFunctions::depreciation::schedule(method, 1000 + static_cast<double>(i % 100), 10, q,
                                                      D::indicatorType::BOOK_VALUE, index.data(), dep.data());
            benchmark::DoNotOptimize(dep.data());
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kAssets));
}
// 1 SL, 2 SOY, 3 DB.
BENCHMARK(BM_DepreciationSchedules)->DenseRange(1, 3)->Unit(benchmark::kMillisecond);

void BM_LeaseSchedules(benchmark::State& state) {
    std::vector<double> cols(11 * 10);
    businessFunctions::lease::Block b;
    double* p = cols.data();
    b = {p, p + 10, p + 20, p + 30, p + 40, p + 50, p + 60, p + 70, p + 80, p + 90, p + 100};
    const double fixedRate[] = {1};
    const double path[] = {1, 1, 1.5, 1.5, 2};
    businessFunctions::lease::Terms t;
    t.redemptionRate = 0.5;
    if (state.range(0) == 0) {
        t.ratePath = fixedRate;
    } else {
        t.ratePath = path;
        t.rateCount = 5;
        t.compound = 3;
        t.recalculate = true;
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < kAssets; ++i) {
            businessFunctions::lease::schedule(t, 10000 + static_cast<double>(i % 50) * 100,
                                               static_cast<double>(i % 3) * 500, 10, b);
            benchmark::DoNotOptimize(cols.data());
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kAssets));
}
// 0 LEASE terms, 1 LEASEVARIABLE terms.
BENCHMARK(BM_LeaseSchedules)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);

}  // namespace
