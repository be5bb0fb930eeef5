// YEARTODATE: the running total of each year's months.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKYeartoDate {
public:
    FPKYeartoDate(RhoCommonObjects::ColumnBase* salesCol, RhoCommonObjects::ColumnBase* startDateCol,
                  RhoCommonObjects::InternalTable* result)
        : salesCol(salesCol), startDateCol(startDateCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* salesCol;
    RhoCommonObjects::ColumnBase* startDateCol;
    RhoCommonObjects::InternalTable* result;
};

namespace ytd {
// Year-to-date totals of n monthly values, row 0 being month `start` (1..12)
// of its year: the total restarts at row 0 and at every first month.
void yearToDate(const double* sales, std::size_t n, int start, double* out);
}  // namespace ytd

}  // namespace businessFunctions
