// Small helpers shared by the seasonal functions and the month-row planning
// functions (FORECASTMIX, OUTLOOK, GROW): reading a double as an integer,
// reading row 0 of a control column, and the last history row of month rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "../common/fpkColumnIO.h"
#include "../common/fpkCommon.h"

namespace businessFunctions {
namespace planning {

// A double read as an integer: truncated toward zero when finite and within
// the 32-bit range; NaN, infinities and values outside that range read as
// INT32_MIN, which every range check of these functions rejects.
inline int32_t asInteger(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

// Row 0 of a numeric control column as a double; a null row reads as 0.
// The caller has checked that the column has a row.
inline double controlValue(const ColumnBase* col, IoSite site) {
    double v = 0;
    NullFlags null = 0;
    readRange(col, 0, 1, &v, &null, site);
    return null ? 0.0 : v;
}

// Rows per block when a month-row function streams a long column: small
// enough for the block buffers to stay in cache, large enough that the host
// call per block does not count.
inline constexpr std::size_t kBlockRows = 16384;

// Rows [begin, end) of a numeric column into out (nulls: a buffer of at
// least end - begin flags); a null row reads as 0.
inline void readBlock(const ColumnBase* col, std::size_t begin, std::size_t end, double* out, NullFlags* nulls,
                      IoSite site) {
    readRange(col, begin, end, out, nulls, site);
    for (std::size_t i = 0; i < end - begin; ++i)
        if (nulls[i]) out[i] = 0.0;
}

// The last history row of n consecutive month rows starting in January of
// the switch-over year: reads the switch-over kind and date (raising their
// errors) and applies the rule "history is every row whose month starts
// before the switch-over date". -1 means no history.
inline int monthHistoryOffset(const ColumnBase* switchover, const ColumnBase* switchoverDate, std::size_t n) {
    int year = 0, month = 0, day = 0;
    const int rows = n > static_cast<std::size_t>(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max()
                                                                                  : static_cast<int>(n);
    Common_SwitchOver(switchover, switchoverDate, rows, true, true, year, month, day);
    return historyOffsetOfMonths(n, year, month, day);
}

}  // namespace planning
}  // namespace businessFunctions
