// Small helpers shared by the calendar and smoothing functions (TIME,
// TIMESUM, YEARTODATE, YEARTODATESTATISTICAL, YEAROVERYEARDIFFERENCE, LAG,
// LINEARAVERAGE, MOVINGMEDIAN, MOVINGAVERAGEANDSUM): reading a control value
// at row 0 and testing codes and counts.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"

namespace businessFunctions {
namespace controls {

// Row 0 of a numeric control column as a double (a null row reads as 0).
// False when the column has no row.
inline bool readFirst(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site, double& value) {
    if (col == nullptr || col->size() == 0) return false;
    FpkVector<double> v = readDoubles(col, 0, 1, alloc, site);
    value = v[0];
    return true;
}

// A finite value equal to its integer part, within [lo, hi]. NaN never passes.
inline bool isWholeIn(double v, double lo, double hi) {
    return std::isfinite(v) && v == std::trunc(v) && v >= lo && v <= hi;
}

inline constexpr double kMaxInt32 = 2147483647.0;

// Rows [begin, end) of a numeric column into out, nulls read as 0, through a
// null-flag buffer of at least min(kChunkRows, end - begin) entries.
inline void readChunked(const ColumnBase* col, std::size_t begin, std::size_t end, double* out, NullFlags* nulls,
                        IoSite site) {
    forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
        readRange(col, c, stop, out + (c - begin), nulls, site);
        replaceNulls(out + (c - begin), nulls, stop - c, 0.0);
    });
}

}  // namespace controls
}  // namespace businessFunctions
