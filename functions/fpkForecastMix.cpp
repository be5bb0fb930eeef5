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

void mix(const double* actual, const double* forecast, double* out, std::size_t n, int64_t offset, int64_t m) {
    const int64_t rows = static_cast<int64_t>(n);
    const int64_t history = std::min(offset + 1, rows);  // offset never exceeds n - 1; kept safe anyway
    const int64_t q = std::min(m, history);
    double base = 0;
    if (q >= 1) {
        double sum = 0;
        for (int64_t r = history - q; r < history; ++r) sum += actual[r];
        base = sum / static_cast<double>(q);
    }
    for (int64_t r = 0; r < history; ++r) out[r] = actual[r];
    // Phase-in rows: offset + 1 .. offset + m (q = 0 means no history to blend from).
    const int64_t mixEnd = q >= 1 ? std::min(rows, history + m) : history;
    const double steps = static_cast<double>(m) + 1.0;
    for (int64_t r = history; r < mixEnd; ++r) {
        const double w = static_cast<double>(r - offset) / steps;
        out[r] = (1 - w) * base + w * forecast[r];
    }
    if (out != forecast) std::copy(forecast + mixEnd, forecast + n, out + mixEnd);
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

    // Only the history rows of ACTUAL are used.
    const std::size_t history = static_cast<std::size_t>(offset + 1);
    FpkVector<double> actual =
        readDoubles(actual_, 0, history, alloc, {TRACE_FPKFORECASTMIX, "actual->getNative failed."});
    FpkVector<double> values = readDoubles(forecast_, alloc, {TRACE_FPKFORECASTMIX, "forecast->getNative failed."});
    forecastMix::mix(actual.data(), values.data(), values.data(), n, offset, m);
    writeDoubles(result_->getColumn(0), values.data(), n, {TRACE_FPKFORECASTMIX, "forecastmix->setNative failed."});
}

void qelForecastMix(const ColumnHandle& actual, const ColumnHandle& mixPeriods, const ColumnHandle& switchover,
                    const ColumnHandle& switchoverDate, const ColumnHandle& forecast, TableHandle& result) {
    FPKForecastMix fn(actual.get(), mixPeriods.get(), switchover.get(), switchoverDate.get(), forecast.get(),
                      result.get());
    fn.execute();
}

}  // namespace businessFunctions
