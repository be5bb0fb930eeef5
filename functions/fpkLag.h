// LAG: shifts a series by a per-row number of periods (lag or lead).
#pragma once

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
// Rows [begin, end) of the shifted series: out[i] is the value of row
// begin + i, with pad and period holding that range's PAD and PERIOD. v is
// the whole series (n rows). A NaN shift, a shift of at least n in magnitude
// or a source row outside the series gives the row's pad value; fractions are
// truncated toward zero.
void shift(const double* v, std::size_t n, const double* pad, const double* period, std::size_t begin,
           std::size_t end, double* out);
}  // namespace lag

}  // namespace businessFunctions
