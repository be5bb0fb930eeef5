// TIME: the time axis of a plan, one period key per row: the history
// periods before the switch-over date, then the plan periods.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKTime {
public:
    enum TIMESCALE { DAY = 1, WEEK = 2, MONTH = 3, QUARTER = 4, YEAR = 5 };

    FPKTime(RhoCommonObjects::ColumnBase* timeScaleCol, RhoCommonObjects::ColumnBase* startDateCol,
            RhoCommonObjects::ColumnBase* switchOverCol, RhoCommonObjects::ColumnBase* timeInformationCol,
            RhoCommonObjects::InternalTable* result)
        : timeScaleCol(timeScaleCol),
          startDateCol(startDateCol),
          switchOverCol(switchOverCol),
          timeInformationCol(timeInformationCol),
          result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* timeScaleCol;
    RhoCommonObjects::ColumnBase* startDateCol;
    RhoCommonObjects::ColumnBase* switchOverCol;
    RhoCommonObjects::ColumnBase* timeInformationCol;
    RhoCommonObjects::InternalTable* result;
};

namespace timeaxis {

struct Date {
    int year, month, day;
};

// Day number in the proleptic Gregorian calendar, 1 January of year 1 = 1.
int64_t dayOf(const Date& d);
// The date of a day number (the inverse of dayOf).
Date dateOf(int64_t n);
// Week day of a date, 0 = Monday .. 6 = Sunday.
int weekDay(const Date& d);

// The start of the period of the given scale that contains `date`.
Date periodStart(FPKTime::TIMESCALE scale, const Date& date);
// The start of period k of an axis whose period 0 starts on s0.
Date periodAt(FPKTime::TIMESCALE scale, const Date& s0, int64_t k);
// The number of periods of an axis starting on s0 that start before d
// (d not earlier than s0).
int64_t historyPeriods(FPKTime::TIMESCALE scale, const Date& s0, const Date& d);
// Whether period k of the axis starts after 31 December 9999.
bool beyondLastYear(FPKTime::TIMESCALE scale, const Date& s0, int64_t k);
// Writes the key of the period starting on `start` (YYYYMMDD for days and
// weeks, YYYYMM, YYYYQ, YYYY) into out (at least 9 characters); returns its
// length.
std::size_t formatKey(FPKTime::TIMESCALE scale, const Date& start, char* out);

}  // namespace timeaxis

}  // namespace businessFunctions
