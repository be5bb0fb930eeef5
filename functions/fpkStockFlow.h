// STOCKFLOW, STOCKFLOWREVERSE and STOCKFLOWBATCH: the inventory projection
// (opening, wastage, supply, closing, sales and supply outlook, actual cover)
// over history and plan, and its rounding passes.
//
// The arithmetic lives in plain functions over native arrays (namespace
// `stockflow` and the helpers below); the algorithm classes check the inputs,
// read the host columns, run the arithmetic and write the result table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string_view>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

namespace stockflow {

enum CoverUnit { DAYS = 0, UNITS = 1, PERIODS = 2 };
enum Outlook { DEFAULT = 0, RESTRICT = 1 };
enum RoundMethod { DNR = 0, ROUND = 1, PRESERVE_SUM = 2, PRESERVE_SUM_YOY = 3 };

// Column names that error messages carry in $COL$.
struct Names {
    const char* time = "TIME";
    const char* forecastSales = "FORECASTSALES";
    const char* forecastCover = "FORECASTCOVER";
    const char* actualSales = "ACTUALSALES";
    const char* actualClosing = "ACTUALCLOSING";
    const char* wastageRate = "WASTAGERATE";
    const char* periodLength = "PERIODLENGTH";
    const char* endMethod = "ENDMETHOD";
    const char* roundMethod = "ROUNDMETHOD";
};

// The length of each row for the cover walks: its day count (DAYS), its
// PERIODLENGTH (PERIODS) or 1 (UNITS, len == nullptr). A row flagged in
// `bad` has no length (a malformed TIME key); reaching it calls raiseBad,
// which raises that key's error.
struct Lengths {
    CoverUnit unit = UNITS;
    const int64_t* len = nullptr;
    const uint8_t* bad = nullptr;
    std::function<void(std::size_t)> raiseBad;

    // The length of row k (< n); raises for a bad row.
    int64_t at(std::size_t k) const {
        if (bad != nullptr && bad[k]) raiseBad(k);
        return len != nullptr ? len[k] : 1;
    }
};

// The end average: the mean of the last N forecast sales, and the integer
// mean of their lengths (1 for UNITS).
struct EndAverage {
    double sales = 0;
    int64_t length = 1;
};

// One call's inputs as native arrays, n rows each. Arrays a call does not
// read may be null: the actuals without history rows, the plan columns
// without planned rows, `batch` outside STOCKFLOWBATCH.
struct Series {
    std::size_t n = 0;
    double prime = 0;
    const double* forecastSales = nullptr;
    const double* forecastCover = nullptr;
    const double* actualSales = nullptr;
    const double* actualSupply = nullptr;
    const double* actualClosing = nullptr;
    const double* maxSupply = nullptr;
    const double* minSupply = nullptr;
    const double* wastageRate = nullptr;
    const double* batch = nullptr;
    int offset = -1;  // last history row, -1 .. n-1
    int endMethod = 1;
    Outlook outlook = DEFAULT;
    Lengths lengths;
    Names names;
};

// The result columns. `rows` counts the rows whose five stock columns are
// complete and `covered` the rows whose ACTUALCOVER is; on an error both say
// how far the computation got.
struct Result {
    double* opening = nullptr;
    double* closing = nullptr;
    double* cover = nullptr;
    double* wastage = nullptr;
    double* salesOutlook = nullptr;
    double* supplyOutlook = nullptr;
    std::size_t rows = 0;
    std::size_t covered = 0;
};

// History rows 0..offset, the end average and the planned rows, in that
// order. Raises the value errors of the rows as it reaches them.
EndAverage planRows(const Series& s, Result& r);
// ACTUALCOVER of every row from CLOSING and SALESOUTLOOK.
void coverRows(const Series& s, const EndAverage& avg, Result& r);
// Rounds the five stock columns (OPENING, CLOSING, WASTAGE, SALESOUTLOOK,
// SUPPLYOUTLOOK) by `method`; a method outside 0..3 raises.
void roundRows(int method, double* const columns[5], std::size_t n, const Names& names);

// The batch clamp of one planned row: from the unclamped supply s, the
// limits and the batch size b, the supply bought and the closing stock.
void batchClamp(double s, double minSupply, double maxSupply, double b, double opening, double sales, double wastage,
                double target, double& supply, double& closing);

// Repeated addition: applies `s = s + a` up to `maxSteps` times, exactly as
// the loop would, stopping early after the first step whose result is at
// least `stop`. Returns the number of steps taken; `stalled` is set when
// s + a == s before that (the sum can no longer grow). Inside one binade
// the steps all add the same amount, so a run of them is taken at once: the
// cost is a few steps per binade crossed, not per step.
uint64_t advance(double& s, double a, uint64_t maxSteps, double stop, bool& stalled);

// The target closing of planned row `row` as the row-by-row walk computes
// it: the forecast sales of the next rows until their lengths reach `cover`
// (rows past the end stand in with the end average).
double targetClosing(const Series& s, const EndAverage& avg, std::size_t row, int cover);
// The actual cover of a row with stock `closing`: the lengths of the next
// rows whose outlook sales the stock serves in full.
double actualCover(const Series& s, const EndAverage& avg, const double* salesOutlook, std::size_t row, double closing);

// DAYS mode: the day count of each row, from the start of the previous
// row's period key to the start of its own (row 0: from the start of the
// period of its own kind before it). A row whose key or previous key is
// malformed is flagged in `bad`.
void dayCounts(const std::string_view* keys, std::size_t n, int64_t* len, uint8_t* bad);

// FORECASTCOVER as an integer: truncated toward zero and saturated to the
// 32-bit range; NaN raises like a negative cover.
int coverOf(double value, const Names& names);

}  // namespace stockflow

// The rounding helpers. Preserv_Round rounds one value of a running series
// so that the running sum of rounded values stays within one half of
// `target`, the running raw sum. Preserv_SUM moves `excess` units over the
// values by the size of their residuals (see the user documentation for the
// direction and the row-0 rule).
double Preserv_Round(double value, double target, double& runningRounded);
void Preserv_SUM(double excess, std::size_t n, const double* residual, double* values);

// 0, 1, 2 to the cover units; anything else raises the invalid-value error
// (COL = colName) with the text "switchover is not in (0, 1, 2)".
void convert2units(int value, stockflow::CoverUnit& out, const char* colName = "COVERUNITS");

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKStockFlow {
public:
    FPKStockFlow(ColumnBase* prime, ColumnBase* time, ColumnBase* forecastSales, ColumnBase* forecastCover,
                 ColumnBase* actualSales, ColumnBase* actualSupply, ColumnBase* actualClosing, ColumnBase* switchover,
                 ColumnBase* switchoverDate, ColumnBase* coverUnits, ColumnBase* periodLength, ColumnBase* maxSupply,
                 ColumnBase* minSupply, ColumnBase* wastageRate, ColumnBase* roundMethod, ColumnBase* endMethod,
                 ColumnBase* outlookMethod, InternalTable* result)
        : primeCol(prime), timeCol(time), forecastSalesCol(forecastSales), forecastCoverCol(forecastCover),
          actualSalesCol(actualSales), actualSupplyCol(actualSupply), actualClosingCol(actualClosing),
          switchoverCol(switchover), switchoverDateCol(switchoverDate), coverUnitsCol(coverUnits),
          periodLengthCol(periodLength), maxSupplyCol(maxSupply), minSupplyCol(minSupply), wastageRateCol(wastageRate),
          roundMethodCol(roundMethod), endMethodCol(endMethod), outlookMethodCol(outlookMethod), resultTab(result) {}

    void execute();
    // The fifteen type checks shared with STOCKFLOWREVERSE and STOCKFLOWBATCH.
    static void checkInput(ColumnBase* prime, ColumnBase* time, ColumnBase* forecastSales, ColumnBase* forecastCover,
                           ColumnBase* actualSales, ColumnBase* actualSupply, ColumnBase* actualClosing,
                           ColumnBase* coverUnits, ColumnBase* periodLength, ColumnBase* maxSupply,
                           ColumnBase* minSupply, ColumnBase* wastageRate, ColumnBase* roundMethod,
                           ColumnBase* endMethod, ColumnBase* outlookMethod);
    // The last history row for switch-over kinds 0..4 (see docs/stockflow.md).
    void getOffset(int switchover, ColumnBase* time, ColumnBase* switchoverDate, int& offset);

private:
    ColumnBase* primeCol;
    ColumnBase* timeCol;
    ColumnBase* forecastSalesCol;
    ColumnBase* forecastCoverCol;
    ColumnBase* actualSalesCol;
    ColumnBase* actualSupplyCol;
    ColumnBase* actualClosingCol;
    ColumnBase* switchoverCol;
    ColumnBase* switchoverDateCol;
    ColumnBase* coverUnitsCol;
    ColumnBase* periodLengthCol;
    ColumnBase* maxSupplyCol;
    ColumnBase* minSupplyCol;
    ColumnBase* wastageRateCol;
    ColumnBase* roundMethodCol;
    ColumnBase* endMethodCol;
    ColumnBase* outlookMethodCol;
    InternalTable* resultTab;
};

class FPKStockFlowReverse {
public:
    FPKStockFlowReverse(ColumnBase* prime, ColumnBase* time, ColumnBase* forecastSales, ColumnBase* forecastCover,
                        ColumnBase* actualSales, ColumnBase* actualSupply, ColumnBase* actualClosing,
                        ColumnBase* forecastFlag, ColumnBase* coverUnits, ColumnBase* periodLength,
                        ColumnBase* maxSupply, ColumnBase* minSupply, ColumnBase* wastageRate,
                        ColumnBase* roundMethod, ColumnBase* endMethod, ColumnBase* outlookMethod,
                        InternalTable* result)
        : primeCol(prime), timeCol(time), forecastSalesCol(forecastSales), forecastCoverCol(forecastCover),
          actualSalesCol(actualSales), actualSupplyCol(actualSupply), actualClosingCol(actualClosing),
          forecastFlagCol(forecastFlag), coverUnitsCol(coverUnits), periodLengthCol(periodLength),
          maxSupplyCol(maxSupply), minSupplyCol(minSupply), wastageRateCol(wastageRate), roundMethodCol(roundMethod),
          endMethodCol(endMethod), outlookMethodCol(outlookMethod), resultTab(result) {}
    virtual ~FPKStockFlowReverse() = default;

    void execute();
    // Rows before the first row whose flag is above 1 are history.
    static void getOffset(ColumnBase* forecastFlag, int& offset);

private:
    ColumnBase* primeCol;
    ColumnBase* timeCol;
    ColumnBase* forecastSalesCol;
    ColumnBase* forecastCoverCol;
    ColumnBase* actualSalesCol;
    ColumnBase* actualSupplyCol;
    ColumnBase* actualClosingCol;
    ColumnBase* forecastFlagCol;
    ColumnBase* coverUnitsCol;
    ColumnBase* periodLengthCol;
    ColumnBase* maxSupplyCol;
    ColumnBase* minSupplyCol;
    ColumnBase* wastageRateCol;
    ColumnBase* roundMethodCol;
    ColumnBase* endMethodCol;
    ColumnBase* outlookMethodCol;
    InternalTable* resultTab;
};

class FPKStockFlowBatch {
public:
    FPKStockFlowBatch(ColumnBase* prime, ColumnBase* time, ColumnBase* forecastSales, ColumnBase* forecastCover,
                      ColumnBase* actualSales, ColumnBase* actualSupply, ColumnBase* actualClosing,
                      ColumnBase* forecastFlag, ColumnBase* coverUnits, ColumnBase* periodLength,
                      ColumnBase* maxSupply, ColumnBase* minSupply, ColumnBase* batchQuantity,
                      ColumnBase* wastageRate, ColumnBase* roundMethod, ColumnBase* endMethod,
                      ColumnBase* outlookMethod, InternalTable* result)
        : primeCol(prime), timeCol(time), forecastSalesCol(forecastSales), forecastCoverCol(forecastCover),
          actualSalesCol(actualSales), actualSupplyCol(actualSupply), actualClosingCol(actualClosing),
          forecastFlagCol(forecastFlag), coverUnitsCol(coverUnits), periodLengthCol(periodLength),
          maxSupplyCol(maxSupply), minSupplyCol(minSupply), batchQuantityCol(batchQuantity),
          wastageRateCol(wastageRate), roundMethodCol(roundMethod), endMethodCol(endMethod),
          outlookMethodCol(outlookMethod), resultTab(result) {}

    void execute();

private:
    ColumnBase* primeCol;
    ColumnBase* timeCol;
    ColumnBase* forecastSalesCol;
    ColumnBase* forecastCoverCol;
    ColumnBase* actualSalesCol;
    ColumnBase* actualSupplyCol;
    ColumnBase* actualClosingCol;
    ColumnBase* forecastFlagCol;
    ColumnBase* coverUnitsCol;
    ColumnBase* periodLengthCol;
    ColumnBase* maxSupplyCol;
    ColumnBase* minSupplyCol;
    ColumnBase* batchQuantityCol;
    ColumnBase* wastageRateCol;
    ColumnBase* roundMethodCol;
    ColumnBase* endMethodCol;
    ColumnBase* outlookMethodCol;
    InternalTable* resultTab;
};

}  // namespace businessFunctions
