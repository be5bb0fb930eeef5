// FORECASTMIX: joins actuals and a forecast at the switch-over, phasing the
// forecast in over a number of periods.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"

namespace businessFunctions {

namespace forecastMix {
// Rows 0..offset take `actual`; the m rows after the switch-over blend the
// mean of the last min(m, offset + 1) actuals with the forecast, the weight
// on the forecast rising j / (m + 1); later rows take the forecast. `out`
// may be `forecast` itself.
void mix(const double* actual, const double* forecast, double* out, std::size_t n, int64_t offset, int64_t m);
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
