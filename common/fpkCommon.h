// Calendar, date and switch-over helpers shared by the date-driven functions.
//
// Dates are proleptic Gregorian. Period keys (TIME labels, switch-over dates)
// are texts of decimal digits whose length says what they are: YYYYMMDD (a
// day), YYYYMM (a month), YYYYQ (a quarter) or YYYY (a year); a key stands
// for the first day of its period.
//
// Switch-over: a row is history when its period starts before the
// switch-over date D; history is always a prefix of the rows, given as the
// offset of its last row (-1 for none).
#pragma once

#include <cstdint>
#include <string_view>

#include "../platform/RhoCommonObjects/ColumnBase.h"

namespace businessFunctions {

// Days in a common (leap) year before the first day of month m, by m.
extern const int32_t MONTHDAY[13];
extern const int32_t MONTHDAYLEAP[13];
// Month lengths, January first. February is rewritten for the year last
// given to leapYearAdjust or CaculateWeekDay: the table is shared by all
// calls and written without a lock, so concurrent calls for years of
// different leap status can see each other's February. Callers that need a
// stable month length use isleap or the two tables above.
extern int32_t smonthDays[12];

enum SWITCHOVER { NONE = 0, ENTER_DATE = 1, TODAY = 2, MONTH = 3 };

int isleap(int year);
void leapYearAdjust(int year);
// Day of the week, 0 = Sunday .. 6 = Saturday (Zeller's congruence).
int CaculateWeekDay(int year, int month, int day);
// Counts the days of the month whose week-day index is below 5: out1 those
// before `day`, out2 those from `day` to the month's end, out3 the whole month.
void CaculateWorkingDays(int year, int month, int day, double* out1, double* out2, double* out3);
// Rounds half up toward +infinity for positive values; negative values are
// truncated toward zero (-2.5 gives -2, -2.7 gives -2).
double roundDouble(double x);
// 0..3 to the SWITCHOVER kinds; anything else raises
// ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE.
void convert2Enum(int value, SWITCHOVER& out);
// Raises ERR_FPK_COMM_MONTH_OUT_OF_RANGE or ERR_FPK_COMM_DAY_OUT_OF_RANGE.
void IsLegal(int year, int month, int day);

// Days from 0001-01-01 (day 0) to the given date.
int64_t dayNumber(int year, int month, int day);
// Today's date in UTC from the host clock.
void todayUtc(int& year, int& month, int& day);

// The first day of a period key without raising: false for a key that
// periodKeyStart would refuse (any of its errors).
bool tryPeriodKeyStart(std::string_view key, int& year, int& month, int& day);
// The first day of a period key. A key of another length or with a
// non-digit raises ERR_FPK_COMM_INVALID_COL_DATE_FORMAT (COL = colName,
// FORMAT = "YYYYMMDD"); a bad month or quarter, or day, raises through IsLegal.
void periodKeyStart(std::string_view key, const char* colName, int& year, int& month, int& day);
// Days from the start of the earlier key's period to the start of the later
// key's (may be 0 or negative). Errors as periodKeyStart, naming colName.
void calculate_Time(std::string_view earlier, std::string_view later, int& days, const char* colName = "TIME");

// Reads the switch-over kind at row 0 of switchoverCol (integer or double;
// no rows or a null gives NONE) and returns the switch-over date D (all zero
// for NONE). needsDate false refuses every kind but NONE, allowToday false
// refuses TODAY (both with ERR_FPK_COMM_SWTOVDT_OUT_OF_RANGE). The date
// column may be a string column or an integer or double column holding the
// digits. `rows` is only traced.
void Common_SwitchOver(const RhoCommonObjects::ColumnBase* switchoverCol,
                       const RhoCommonObjects::ColumnBase* switchoverDateCol, int rows, bool needsDate,
                       bool allowToday, int& year, int& month, int& day);

// The switch-over date D of a kind: all zero for NONE, today's UTC date for
// TODAY, SWITCHOVERDATE row 0 as YYYYMMDD (ENTER_DATE) or YYYYMM (MONTH,
// day 1) otherwise, with the date-format, month and day errors of
// Common_SwitchOver.
void switchoverDateOf(SWITCHOVER kind, const RhoCommonObjects::ColumnBase* switchoverDateCol, int& year, int& month,
                      int& day);

// Reads row 0 of a switch-over date column as text: a string column as it
// stands, an integer column or a double column (truncated) as its digits; a
// NaN, infinite or negative number, or a column without rows, reads as "".
// Other column types raise ERR_FPK_COMM_UNSUPPORTED_COL_TYPE.
// `buffer` must hold at least 32 characters; the result may point into it.
std::string_view switchoverDateText(const RhoCommonObjects::ColumnBase* dateCol, char* buffer);

// The offset of the last history row among period keys (-1 when the first
// key does not start before D). Keys are parsed up to the first non-history
// row. D all zero (NONE) gives -1.
int historyOffsetOfKeys(const std::string_view* keys, std::size_t n, const char* colName, int year, int month,
                        int day);
// The same for rows that are consecutive months from January of D's year.
int historyOffsetOfMonths(std::size_t n, int year, int month, int day);

}  // namespace businessFunctions
