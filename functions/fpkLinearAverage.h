// LINEARAVERAGE: the least-squares line of the series on the row number,
// evaluated at every row.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKLinearAverage {
public:
    FPKLinearAverage(RhoCommonObjects::ColumnBase* salesCol, RhoCommonObjects::InternalTable* result)
        : salesCol(salesCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* salesCol;
    RhoCommonObjects::InternalTable* result;
};

namespace linear {
// out[i] = a + b*i, the ordinary least-squares line of y on i = 0..n-1. One
// point gives its own value.
void linearAverage(const double* y, std::size_t n, double* out);
}  // namespace linear

}  // namespace businessFunctions
