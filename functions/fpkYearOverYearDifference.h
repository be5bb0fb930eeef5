// YEAROVERYEARDIFFERENCE: each month against the same month a year (12 rows)
// earlier, as an absolute difference or a percentage change.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKYearOverYearDifference {
public:
    enum styleType { ABSOLUTE = 0, PERCENT = 1 };

    FPKYearOverYearDifference(RhoCommonObjects::ColumnBase* baseCol, RhoCommonObjects::ColumnBase* styleCol,
                              RhoCommonObjects::InternalTable* result)
        : baseCol(baseCol), styleCol(styleCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* baseCol;
    RhoCommonObjects::ColumnBase* styleCol;
    RhoCommonObjects::InternalTable* result;
};

namespace yoy {
// Months per year: the distance to the prior-year row.
inline constexpr std::size_t kLag = 12;
// The first row r of [begin, end), r >= 12, whose prior-year value b[r - 12]
// has a magnitude below 1e-10 (or is NaN), or end when there is none.
std::size_t firstZeroDivisor(const double* b, std::size_t begin, std::size_t end);
// Rows [begin, end) of the result over the whole series b: out[i] and
// nulls[i] for row begin + i. Rows before 12 are null (value 0).
void difference(const double* b, std::size_t begin, std::size_t end, FPKYearOverYearDifference::styleType style,
                double* out, unsigned char* nulls);
}  // namespace yoy

}  // namespace businessFunctions
