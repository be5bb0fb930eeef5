// The ten series utilities, static operations of FPKCommonFunctions.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKCommonFunctions {
public:
    enum CumulateFlag { CUMULATE = 0, DECUMULATE = 1 };
    enum MaxMinFlag { MAXIMUM = 0, MINIMUM = 1 };
    enum FundsSign { NEGATIVE = -1, ALL = 0, POSITIVE = 1 };

    static void Last(ColumnBase* prime, InternalTable* result);
    static void Cumulation_DeCumulate(ColumnBase* value, InternalTable* result, int flag);
    static void Max_Min_Value(ColumnBase* value, InternalTable* result, int flag);
    static void Repeat(ColumnBase* number, ColumnBase* input, InternalTable* result);
    static void Funds(ColumnBase* assets, ColumnBase* sign, InternalTable* result);
    static void Transform(ColumnBase* input, ColumnBase* method, InternalTable* result);
    static void Rounding(ColumnBase* date, ColumnBase* precision, ColumnBase* method, InternalTable* result);
    static void Cycles(ColumnBase* amplitude, ColumnBase* length, ColumnBase* start, ColumnBase* function,
                       ColumnBase* time, InternalTable* result);
    static void Days(ColumnBase* fromdate, ColumnBase* todate, ColumnBase* config, InternalTable* result);
    static void Proportion(ColumnBase* year, ColumnBase* start, ColumnBase* stop, InternalTable* result);
};

// The arithmetic of the series utilities over native arrays.
namespace series {
// out[i] = the last non-zero value of v[0..i] (0 before the first).
void last(const double* v, double* out, std::size_t n);
// Running sum (CUMULATE) or difference to the row before (DECUMULATE).
void cumulate(const double* v, double* out, std::size_t n);
void decumulate(const double* v, double* out, std::size_t n);
// Running maximum or minimum with strict comparison (NaN is never taken).
void runningExtreme(const double* v, double* out, std::size_t n, bool maximum);
// Keeps the amounts of the chosen sign (all of them for ALL).
void funds(const double* v, double* out, std::size_t n, FPKCommonFunctions::FundsSign sign);
}  // namespace series

}  // namespace businessFunctions
