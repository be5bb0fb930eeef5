// The ten series utilities, static operations of FPKCommonFunctions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

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
    enum TransformMethod { NONE = 0, LN = 1, EXP = 2, SQRT = 3, SQUARE = 4, RECIPROCAL = 5 };
    enum RoundingMethod { NEAREST = 1, UP = 2, DOWN = 3 };
    enum CycleFunction { SINE = 1, COSINE = 2 };

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
// out[i] = pattern[(first + i) mod N].
void repeat(const double* pattern, std::size_t patternLength, std::size_t first, double* out, std::size_t n);
// One transformed value; false when the method is unknown or the result is not finite.
bool transform(double x, double method, double& out);
// n rows of TRANSFORM: out[i] = transform of x[i] by method[i]; outNull[i]
// set (and out[i] 0) where either input is null or transform() fails.
void transformRows(const double* x, const unsigned char* xNull, const double* method, const unsigned char* methodNull,
                   std::size_t n, double* out, unsigned char* outNull);
// A rounding step as ROUNDING uses it: a step below 1 whose reciprocal is
// (within 1e-9) a whole number R is applied as "times R, divide by R".
struct RoundingStep {
    double step, reciprocal;
    bool decimal;
};
RoundingStep roundingStep(double step);
// x rounded to a multiple of step by method (1 nearest, 2 up, 3 down); see ROUNDING.
double roundToStep(double x, double step, int method);
double roundToStep(double x, const RoundingStep& step, int method);
// n rows rounded by one step and method as roundToStep does; null rows give 0.
void roundRows(const double* x, const unsigned char* xNull, std::size_t n, const RoundingStep& step, int method,
               double* out);
// One wave of CYCLES.
struct Wave {
    double amplitude, length, start;
    int function;
};
// The sum of the waves at time t, with the C library's sine and cosine.
double cycleValue(const Wave* waves, std::size_t count, double t);
// out[i] = the sum of the waves at t[i], for i < n, with the library's vector
// sine and cosine (within one unit in the last place of the exact values);
// `work` is scratch for n doubles.
void cycleRows(const Wave* waves, std::size_t count, const double* t, std::size_t n, double* out, double* work);
// Day number of a date: 0 for 0001-01-01 (a Monday).
long long dayNumber(int year, int month, int day);
// Days from `from` (day number) over `days` days whose weekday is one of the
// first `perWeek` days of the week (Monday first).
long long workingDays(long long from, long long days, int perWeek);
// DAYS in two steps: the dates of a row become a span (packSpan: the days
// from FROMDATE to TODATE and the weekday of FROMDATE, in 32 bits), and the
// span with the row's CONFIG becomes the row's count.
inline constexpr uint32_t kSpanNull = 0xFFFFFFFFu;  // a row with a missing date
inline constexpr uint32_t kSpanSlow = 0xFFFFFFFEu;  // a row left to the general reading
inline uint32_t packSpan(long long from, long long days) { return static_cast<uint32_t>(days * 8 + from % 7); }
// Spans of n rows whose dates both start with eight digits forming a valid
// date (year 1 or later) with TODATE not before FROMDATE; kSpanNull for a row
// with a null or empty date, kSpanSlow for every other row (it may be valid
// all the same, e.g. a shorter text, or raise when read as DAYS reads it).
void fastSpans(const std::string_view* from, const std::string_view* to, const unsigned char* fromNull,
               const unsigned char* toNull, std::size_t n, uint32_t* spans);
// Day counts of n spans (none kSpanSlow) under CONFIG values; a kSpanNull row
// gives 0 and a null flag.
void spanCounts(const uint32_t* spans, const double* config, std::size_t n, double* out, unsigned char* outNull);
// The value of the leading decimal digits of text[begin, begin + length): 0
// when the part begins with another character or lies beyond the text.
int leadingNumber(std::string_view text, std::size_t begin, std::size_t length);
// Months of year Y (from 12Y to 12Y+11) within [lo, hi] (month numbers), as a share of the year.
double yearProportion(long long year, bool startOpen, long long start, bool stopOpen, long long stop);
}  // namespace series

}  // namespace businessFunctions
