// Shared pieces of the benchmarks that call functions through the loader.
#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace fpkbench {

inline qelhost::Plugin& plugin() {
    static std::unique_ptr<qelhost::Plugin> p = qelhost::Plugin::open(FPK_TEST_LIBRARY);
    return *p;
}

inline RhoCommonObjects::ColumnHandle doubles(const std::vector<double>& v) {
    return RhoCommonObjects::ColumnHandle(qelhost::Column::doubles("IN", v));
}
inline RhoCommonObjects::ColumnHandle ints(const std::vector<int32_t>& v) {
    return RhoCommonObjects::ColumnHandle(qelhost::Column::ints("IN", v));
}
inline RhoCommonObjects::ColumnHandle strings(const std::vector<std::string>& v) {
    return RhoCommonObjects::ColumnHandle(qelhost::Column::strings("IN", v));
}

inline std::vector<double> normalSeries(std::size_t n, unsigned seed) {
    std::mt19937_64 gen(seed);
    std::normal_distribution<double> d;
    std::vector<double> v(n);
    for (double& x : v) x = d(gen);
    return v;
}

// The function's result table as the catalogue describes it.
inline RhoCommonObjects::TableHandle defaultResult(const std::string& fn) {
    return RhoCommonObjects::TableHandle(plugin().makeResultTable(*plugin().find(fn)));
}

// Runs one function repeatedly into the same result table. One call before
// timing gives the result columns their final size, so the steady state of
// repeated calls is measured.
inline void runCalls(benchmark::State& state, const std::string& fn, const std::vector<qelhost::Argument>& inputs,
                     RhoCommonObjects::TableHandle result) {
    const qelhost::FunctionInfo* info = plugin().find(fn);
    if (info == nullptr) {
        state.SkipWithError("function not found");
        return;
    }
    qelhost::CallResult warm = plugin().call(*info, inputs, result);
    if (warm.error) {
        state.SkipWithError(warm.error->message.c_str());
        return;
    }
    for (auto _ : state) {
        qelhost::CallResult r = plugin().call(*info, inputs, result);
        if (r.error) {
            state.SkipWithError(r.error->message.c_str());
            return;
        }
        benchmark::DoNotOptimize(r.table.get());
    }
}

// Bytes of `columns` columns of n doubles per iteration, the measure set
// against BM_Memcpy's copy bandwidth.
inline void setColumnBytes(benchmark::State& state, std::size_t n, int columns) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(n * sizeof(double)) *
                            columns);
}

}  // namespace fpkbench
