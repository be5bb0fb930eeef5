// ANNUALDEPRECIATION, DBDEPRECIATION, SLDEPRECIATION and SOYDEPRECIATION:
// one depreciation schedule per asset, written as one block of result rows
// (one row per period of the asset's life), blocks in input-row order.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKDepreciation {
public:
    // Which function runs.
    enum class depreciationType { ANNUAL = 0, DB = 1, SL = 2, SOY = 3 };
    // METHOD of ANNUALDEPRECIATION.
    enum class methodType { SL = 1, SOY = 2, DB = 3 };
    // ASSETTYPE: RATE as the rate per period, or as a percentage of the
    // straight-line rate 1/L.
    enum class assetType { FIXED_RATE = 0, FACTOR = 1 };
    // INDICATOR: what DEP_VALUE shows.
    enum class indicatorType { CHARGE = 0, BOOK_VALUE = 1 };

    // Columns the function does not have are null. `periods` holds LIFE for
    // SLDEPRECIATION and SOYDEPRECIATION.
    FPKDepreciation(depreciationType type, ColumnBase* method, ColumnBase* asset, ColumnBase* rate,
                    ColumnBase* indicator, ColumnBase* assetType, ColumnBase* periods, InternalTable* result)
        : type(type),
          methodCol(method),
          assetCol(asset),
          rateCol(rate),
          indicatorCol(indicator),
          assetTypeCol(assetType),
          periodsCol(periods),
          resultTab(result) {}

    void execute();

private:
    depreciationType type;
    ColumnBase* methodCol;
    ColumnBase* assetCol;
    ColumnBase* rateCol;
    ColumnBase* indicatorCol;
    ColumnBase* assetTypeCol;
    ColumnBase* periodsCol;
    InternalTable* resultTab;
};

namespace depreciation {
// The declining-balance fraction q of the book value charged per period:
// rate/100 (FIXED_RATE) or (rate/100)/life (FACTOR), at most 1.
double decliningFraction(double rate, FPKDepreciation::assetType kind, double life);
// Writes the schedule of one asset of cost `asset` over `life` periods into
// valueIndex[0..life) (the period numbers 1..life) and depValue[0..life)
// (the charge of each period, or the book value at its end). The straight
// line and sum-of-years'-digits methods charge the remaining book value in
// the last period, so that it ends at exactly 0; the declining balance charges
// `q` of the book value in every period. `q` is used by DB only.
void schedule(FPKDepreciation::methodType method, double asset, std::size_t life, double q,
              FPKDepreciation::indicatorType indicator, double* valueIndex, double* depValue);
}  // namespace depreciation

}  // namespace businessFunctions
