// FORECASTMIX: joins actuals and a forecast at the switch-over, phasing the
// forecast in over a number of periods.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"

namespace businessFunctions {

namespace forecastMix {

// The phase-in after the switch-over: the last history row, the number m
// of mixed periods, and the recent actual level `base` (the mean of the
// last q = min(m, offset + 1) actuals; no blending when q is 0).
struct PhaseIn {
    int64_t offset;
    int64_t m;
    int64_t q;
    double base;
};
// historyActual holds the actuals of rows 0..offset.
PhaseIn phaseIn(const double* historyActual, int64_t offset, int64_t m);

// Future rows first .. first + count - 1 (all after the switch-over): row r,
// j = r - offset periods after it, is (1 - w) base + w forecast with
// w = j / (m + 1) while j <= m and there is a base, else the forecast.
// `out` may be `forecast`.
void mixFuture(const double* forecast, double* out, std::size_t count, int64_t first, const PhaseIn& phase);

}  // namespace forecastMix

class FPKForecastMix {
public:
    FPKForecastMix(ColumnBase* actual, ColumnBase* mixPeriods, ColumnBase* switchover, ColumnBase* switchoverDate,
                   ColumnBase* forecast, InternalTable* result)
        : actual_(actual), mixPeriods_(mixPeriods), switchover_(switchover), switchoverDate_(switchoverDate),
          forecast_(forecast), result_(result) {}
    void execute();

private:
    ColumnBase* actual_;
    ColumnBase* mixPeriods_;
    ColumnBase* switchover_;
    ColumnBase* switchoverDate_;
    ColumnBase* forecast_;
    InternalTable* result_;
};

}  // namespace businessFunctions
