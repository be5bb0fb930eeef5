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
// The index of the first of b[0..n) with a magnitude below 1e-10 (or NaN),
// or n when there is none: a prior-year value too small to divide by.
std::size_t firstSmall(const double* b, std::size_t n);
// Rows [begin, end) of the result, from b holding rows first .. end - 1 of
// the series (first <= begin - 12 when begin >= 12, else 0): out[i] and
// nulls[i] for row begin + i. Rows before 12 are null (value 0).
void difference(const double* b, std::size_t first, std::size_t begin, std::size_t end,
                FPKYearOverYearDifference::styleType style, double* out, unsigned char* nulls);
}  // namespace yoy

}  // namespace businessFunctions
