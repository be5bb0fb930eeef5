// FORECAST: turns a plan of periods, "YEAR" and "TOTAL" lines into one
// forecast series by one of nine methods.
//
// The arithmetic lives in the `forecast` namespace below as plain functions
// over native arrays; FPKForecast checks the inputs, reads the host columns
// into vectors, runs the arithmetic and writes the two result columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "../common/fpkAllocator.h"
#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKForecast {
public:
    enum methodType {
        ACT_BUD = 0,
        OVERRIDE = 1,
        TREND = 2,
        GOAL = 3,
        AVERAGE = 4,
        LINEAR = 5,
        PERIODIC = 6,
        SUBTOTAL = 7,
        FULL_TERM = 8
    };
    enum daysIndicator { PERIODS = 0, DAYS = 1 };
    enum AFFLAG { ACTUAL = 0, FORECAST = 1, NONE = 2 };

    FPKForecast(ColumnBase* periodCol, ColumnBase* budgetCol, ColumnBase* actualCol, ColumnBase* afFlagCol,
                ColumnBase* periodsNumCol, ColumnBase* overrideCol, ColumnBase* daysCol, ColumnBase* periodsFlagCol,
                InternalTable* result, int method, int indicator_flag);

    void execute();
    void execute_forecast();
    static void convertFlag(int flag, AFFLAG& out);

    void execute_actbud(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                        ColumnBase* re_period, ColumnBase* result);
    void execute_override(ColumnBase* period, ColumnBase* actual, ColumnBase* overridecol, ColumnBase* afFlag,
                          ColumnBase* re_period, ColumnBase* result);
    void execute_trend(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                       ColumnBase* re_period, ColumnBase* result);
    void execute_goal(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                      ColumnBase* re_period, ColumnBase* result);
    void execute_average(ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag, ColumnBase* periodsNum,
                         ColumnBase* days, ColumnBase* re_period, ColumnBase* result);
    void execute_linear(ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag, ColumnBase* periodsNum,
                        ColumnBase* days, ColumnBase* re_period, ColumnBase* result);
    // Ordinary least squares over the first n points (see fpkLeastSquare.h).
    static bool LeastSquare(int n, const double* x, const double* y, double& a, double& b);
    void execute_periodic(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                          const FpkVector<int32_t>& flags, ColumnBase* re_period, ColumnBase* result);
    void execute_subtotal(ColumnBase* period, ColumnBase* budget, ColumnBase* actual, ColumnBase* afFlag,
                          ColumnBase* re_period, ColumnBase* result);

private:
    void execute_window(bool linear, ColumnBase* period, ColumnBase* actual, ColumnBase* afFlag,
                        ColumnBase* periodsNum, ColumnBase* days, ColumnBase* re_period, ColumnBase* result);

    ColumnBase* periodCol;
    ColumnBase* budgetCol;
    ColumnBase* actualCol;
    ColumnBase* afFlagCol;
    ColumnBase* periodsNumCol;
    ColumnBase* overrideCol;
    ColumnBase* daysCol;
    ColumnBase* periodsFlagCol;
    InternalTable* resultTab;
    int method;
    int indicator_flag;
};

// The validated method and indicator of the last FORECAST call. They are
// library-wide on purpose: execute() sets them and the methods read them, so
// two FORECAST calls must not run at the same time (the host serialises the
// calls of one function).
extern FPKForecast::methodType Method;
extern FPKForecast::daysIndicator Indicator;

// The arithmetic of the nine methods over native arrays.
namespace forecast {

// True for the subtotal marker texts: exactly "YEAR" or "TOTAL".
inline bool isMarkerText(std::string_view s) { return s == "YEAR" || s == "TOTAL"; }

// Why a method stopped before the last row.
enum class Fault : uint8_t {
    None,
    BadFlag,          // AFFLAG not 0 or 1 on a period row
    MissingFlag,      // a period row beyond the end of AFFLAG
    MissingActual,    // an actual row at or beyond the end of ACTUAL
    MissingOverride,  // more forecast rows than OVERRIDE values
    WindowShort,      // fewer than k actual periods before a forecast row
    BadDays,          // DAYS below 1 on a period row (DAYS mode)
};

// rows: the rows finished before the fault (all of them without a fault);
// their values are in the output array.
struct Outcome {
    std::size_t rows;
    Fault fault;
};

// The row-aligned inputs shared by every method. marker[i] is 1 on marker
// rows; flag has nF entries and actual nA entries, both may be shorter than
// the n PERIOD rows.
struct Plan {
    std::size_t n;
    const uint8_t* marker;
    const int32_t* flag;
    std::size_t nF;
    const double* actual;
    std::size_t nA;
};

// Sets marker[i] for the rows whose text is a marker text (null rows never are).
void markRows(const std::string_view* period, const uint8_t* nulls, std::size_t n, uint8_t* marker);

// Closed rows show ACTUAL, open rows BUDGET (budget has at least nF entries).
Outcome actBud(const Plan& p, const double* budget, double* out);
// Closed rows show ACTUAL, the j-th open row OVERRIDE[j].
Outcome overrideValues(const Plan& p, const double* overrides, std::size_t nO, double* out);
// Open rows: budget scaled by actual / budget of the closed rows among the
// first nA rows (budget has n entries, flag at least nA).
Outcome trend(const Plan& p, const double* budget, double* out);
// Open rows share what is left of the whole budget (budget has n entries).
Outcome goal(const Plan& p, const double* budget, double* out);
// AVERAGE and LINEAR over the last k actual periods before each open row;
// days (n entries) switches to daily rates, nullptr counts in periods.
// Requires 1 <= k. The list of actual points is kept in `scratch`.
Outcome average(const Plan& p, std::size_t k, const int32_t* days, double* out, RhoUtils::Allocator& scratch);
Outcome linear(const Plan& p, std::size_t k, const int32_t* days, double* out, RhoUtils::Allocator& scratch);
// Open rows: budget times the actual / budget ratio of their period group;
// groupEnd (nG entries, missing ones 0) holds 1 on a group's last row.
Outcome periodic(const Plan& p, const double* budget, const int32_t* groupEnd, std::size_t nG, double* out);
// The period-end flags of SUBTOTAL: 1 on the row before each marker row.
void subtotalFlags(const uint8_t* marker, std::size_t n, int32_t* flags);

}  // namespace forecast

}  // namespace businessFunctions
