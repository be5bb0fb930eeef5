// FORECASTMIX: actuals up to the switch-over, then a linear phase-in from
// the recent actual level to the forecast.
#include "fpkForecastMix.h"

#include <algorithm>

#include "../common/fpkAllocator.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkSeasonalCommon.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(forecastMixAllocator, "ForecastMixAllocator")
}  // namespace

namespace forecastMix {

PhaseIn phaseIn(const double* historyActual, int64_t offset, int64_t m) {
    PhaseIn p{offset, m, std::min(m, offset + 1), 0.0};
    if (p.q >= 1) {
        double sum = 0;
        for (int64_t r = offset + 1 - p.q; r <= offset; ++r) sum += historyActual[r];
        p.base = sum / static_cast<double>(p.q);
    }
    return p;
}

void mixFuture(const double* forecast, double* out, std::size_t count, int64_t first, const PhaseIn& phase) {
    // Rows first + i with j = first + i - offset <= m are blended.
    std::size_t blended = 0;
    if (phase.q >= 1) {
        const int64_t lastMixed = phase.offset + phase.m;  // the last blended row
        if (lastMixed >= first) blended = static_cast<std::size_t>(std::min<int64_t>(lastMixed - first + 1, static_cast<int64_t>(count)));
    }
    const double steps = static_cast<double>(phase.m) + 1.0;
    for (std::size_t i = 0; i < blended; ++i) {
        const double w = static_cast<double>(first + static_cast<int64_t>(i) - phase.offset) / steps;
        out[i] = (1 - w) * phase.base + w * forecast[i];
    }
    if (out != forecast) std::copy(forecast + blended, forecast + count, out + blended);
}

}  // namespace forecastMix

void FPKForecastMix::execute() {
    traceInfo(TRACE_FPKFORECASTMIX, "Information: FPKForecastMix::execute() begin");
    Verifier::verify(actual_, "d", "ACTUAL");
    Verifier::verify(mixPeriods_, "d", "FORECASTMIXPERIODS");
    Verifier::verify(switchover_, "d", "SWITCHOVER");
    Verifier::verify(switchoverDate_, "S", "SWITCHOVERDATE");
    Verifier::verify(forecast_, "d", "FORECAST");
    Verifier::verify(result_, "d");
    RhoUtils::Allocator& alloc = forecastMixAllocator();

    const std::size_t n = forecast_->size();
    if (actual_->size() != n)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", actual_->size()}, {"COL", "ACTUAL"},
                  {"APPEND", "Size of ACTUAL should be equal to size of FORECAST"});
    if (mixPeriods_->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "FORECASTMIXPERIODS"},
                  {"APPEND", "FORECASTMIXPERIODS should not be empty"});
    const int32_t m = planning::asInteger(
        planning::controlValue(mixPeriods_, {TRACE_FPKFORECASTMIX, "forecastmixperiods->getNative failed."}));
    if (m < 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "FORECASTMIXPERIODS"},
                  {"APPEND", "Mix periods should not be less than 0"});
    if (switchover_->size() == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "SWITCHOVER"},
                  {"APPEND", "SWITCHOVER should not be empty"});
    const int offset = planning::monthHistoryOffset(switchover_, switchoverDate_, n);

    // The history (at most twelve rows) shows the actuals.
    const IoSite readActual{TRACE_FPKFORECASTMIX, "actual->getNative failed."};
    const IoSite readForecast{TRACE_FPKFORECASTMIX, "forecast->getNative failed."};
    const IoSite write{TRACE_FPKFORECASTMIX, "forecastmix->setNative failed."};
    const std::size_t history = static_cast<std::size_t>(offset + 1);
    FpkVector<double> actual = readDoubles(actual_, 0, history, alloc, readActual);
    const forecastMix::PhaseIn phase = forecastMix::phaseIn(actual.data(), offset, m);
    ColumnBase* out = result_->getColumn(0);
    resizeColumn(out, n, write);
    writeRange(out, 0, history, actual.data(), nullptr, write);

    // The future rows stream through one block buffer.
    const std::size_t block = std::min(planning::kBlockRows, n - history);
    FpkVector<double> values = makeVector<double>(alloc, block);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, block);
    for (std::size_t b = history; b < n; b += block) {
        const std::size_t e = std::min(n, b + block);
        planning::readBlock(forecast_, b, e, values.data(), nulls.data(), readForecast);
        forecastMix::mixFuture(values.data(), values.data(), e - b, static_cast<int64_t>(b), phase);
        writeRange(out, b, e, values.data(), nullptr, write);
    }
}

void qelForecastMix(const ColumnHandle& actual, const ColumnHandle& mixPeriods, const ColumnHandle& switchover,
                    const ColumnHandle& switchoverDate, const ColumnHandle& forecast, TableHandle& result) {
    FPKForecastMix fn(actual.get(), mixPeriods.get(), switchover.get(), switchoverDate.get(), forecast.get(),
                      result.get());
    fn.execute();
}

}  // namespace businessFunctions
