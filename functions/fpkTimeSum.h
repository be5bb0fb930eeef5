// TIMESUM: rolls month rows up into their year rows within one column.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKTimeSum {
public:
    enum methodType { SUM = 1, AVERAGE = 2, DAYS_AVERAGE = 3, FIRST = 4, LAST = 5 };
    enum layoutType { INTERLEAVED = 0, BLOCK = 1 };

    FPKTimeSum(RhoCommonObjects::InternalTable* dataTab, RhoCommonObjects::InternalTable* numPeriodsTab,
               RhoCommonObjects::InternalTable* methodsTab, RhoCommonObjects::InternalTable* daysTab,
               RhoCommonObjects::InternalTable* configTab, RhoCommonObjects::InternalTable* result)
        : dataTab(dataTab),
          numPeriodsTab(numPeriodsTab),
          methodsTab(methodsTab),
          daysTab(daysTab),
          configTab(configTab),
          result(result) {}
    void execute();

private:
    RhoCommonObjects::InternalTable* dataTab;
    RhoCommonObjects::InternalTable* numPeriodsTab;
    RhoCommonObjects::InternalTable* methodsTab;
    RhoCommonObjects::InternalTable* daysTab;
    RhoCommonObjects::InternalTable* configTab;
    RhoCommonObjects::InternalTable* result;
};

namespace timesum {
// Year y's months are rows f_y .. f_y + n_y - 1 and its year row is t_y:
// interleaved, f_y = sum of (n_k + 1) over k < y and t_y = f_y + n_y; block,
// f_y = sum of n_k over k < y and t_y = M + y (M = all months).

// The first month row whose day count is not greater than 0, in year order,
// or SIZE_MAX when every month has days.
std::size_t firstBadDays(const double* days, const int64_t* numPeriods, std::size_t years,
                         FPKTimeSum::layoutType layout);

// Copies the month rows of data to out and fills each year row with the
// aggregate of its months. days is read only for DAYS_AVERAGE.
void aggregate(const double* data, const double* days, const int64_t* numPeriods, std::size_t years,
               FPKTimeSum::layoutType layout, FPKTimeSum::methodType method, double* out);
}  // namespace timesum

}  // namespace businessFunctions
