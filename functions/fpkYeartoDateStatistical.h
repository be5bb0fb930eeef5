// YEARTODATESTATISTICAL: recovers the period values from a year-to-date
// series (the inverse of YEARTODATE).
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKYeartoDateStatistical {
public:
    FPKYeartoDateStatistical(RhoCommonObjects::ColumnBase* ytdSeriesCol, RhoCommonObjects::ColumnBase* startDateCol,
                             RhoCommonObjects::InternalTable* result)
        : ytdSeriesCol(ytdSeriesCol), startDateCol(startDateCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* ytdSeriesCol;
    RhoCommonObjects::ColumnBase* startDateCol;
    RhoCommonObjects::InternalTable* result;
};

namespace ytdstat {
// Rows [begin, end) of the period values of a year-to-date series whose row 0
// is month `start` (1..12) of its year, from y holding rows first .. end - 1
// (first = begin - 1, or 0 at the start): out[i] is row begin + i.
// A row that opens a year keeps its value; any other row is the difference
// from the row before.
void periodValues(const double* y, std::size_t first, std::size_t begin, std::size_t end, int start, double* out);
}  // namespace ytdstat

}  // namespace businessFunctions
