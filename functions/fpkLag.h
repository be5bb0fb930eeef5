// LAG: shifts a series by a per-row number of periods (lag or lead).
#pragma once

#include <cstdint>

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKLag {
public:
    FPKLag(RhoCommonObjects::ColumnBase* valuesCol, RhoCommonObjects::ColumnBase* padCol,
           RhoCommonObjects::ColumnBase* periodCol, RhoCommonObjects::InternalTable* result)
        : valuesCol(valuesCol), padCol(padCol), periodCol(periodCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* valuesCol;
    RhoCommonObjects::ColumnBase* padCol;
    RhoCommonObjects::ColumnBase* periodCol;
    RhoCommonObjects::InternalTable* result;
};

namespace lag {
// The rows of the series that rows [begin, end) take their values from:
// [first, last] (first > last when every row takes its pad value).
struct Sources {
    int64_t first;
    int64_t last;
};
Sources sources(std::size_t n, const double* period, std::size_t begin, std::size_t end);

// Rows [begin, end) of the shifted series: out[i] is the value of row
// begin + i, with pad and period holding that range's PAD and PERIOD. v holds
// rows vFirst, vFirst + 1, ... of the series (n rows), at least the range's
// sources. A NaN shift, a shift of at least n in magnitude or a source row
// outside the series gives the row's pad value; fractions are truncated
// toward zero.
void shift(const double* v, int64_t vFirst, std::size_t n, const double* pad, const double* period,
           std::size_t begin, std::size_t end, double* out);
}  // namespace lag

}  // namespace businessFunctions
