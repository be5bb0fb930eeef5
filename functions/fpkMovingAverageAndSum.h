// MOVINGAVERAGEANDSUM: simple or weighted moving average or sum over a
// trailing window, with history before the series taken from PRIME.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKMovingAverageAndSum {
public:
    enum averageStyle { SIMPLE = 0, WEIGHTED = 1 };
    enum averageMethod { AVERAGE = 0, SUM = 1 };

    FPKMovingAverageAndSum(RhoCommonObjects::InternalTable* originalTab, RhoCommonObjects::InternalTable* averageStyleTab,
                           RhoCommonObjects::InternalTable* averageMethodTab, RhoCommonObjects::InternalTable* primeTab,
                           RhoCommonObjects::InternalTable* averagePeriodsTab,
                           RhoCommonObjects::InternalTable* weightingsTab, RhoCommonObjects::InternalTable* result)
        : originalTab(originalTab),
          averageStyleTab(averageStyleTab),
          averageMethodTab(averageMethodTab),
          primeTab(primeTab),
          averagePeriodsTab(averagePeriodsTab),
          weightingsTab(weightingsTab),
          result(result) {}
    void execute();

private:
    RhoCommonObjects::InternalTable* originalTab;
    RhoCommonObjects::InternalTable* averageStyleTab;
    RhoCommonObjects::InternalTable* averageMethodTab;
    RhoCommonObjects::InternalTable* primeTab;
    RhoCommonObjects::InternalTable* averagePeriodsTab;
    RhoCommonObjects::InternalTable* weightingsTab;
    RhoCommonObjects::InternalTable* result;
};

namespace movingaverage {
// The moving result of the n rows of a series. ext holds the p history values
// that can reach a window (p <= w - 1, oldest first) followed by the n series
// values, so the value at position q (q >= -p) is ext[p + q]. weights holds w
// weights (oldest window position first) or is null for equal weights. Each
// row sums its own existing window positions oldest first, starting from 0;
// the average divides by the count or by the sum of the existing weights.
void movingWindow(const double* ext, std::size_t p, std::size_t n, std::size_t w, const double* weights,
                  FPKMovingAverageAndSum::averageMethod method, double* out);
}  // namespace movingaverage

}  // namespace businessFunctions
