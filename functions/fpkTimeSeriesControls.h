// Small helpers shared by the calendar and smoothing functions (TIME,
// TIMESUM, YEARTODATE, YEARTODATESTATISTICAL, YEAROVERYEARDIFFERENCE, LAG,
// LINEARAVERAGE, MOVINGMEDIAN, MOVINGAVERAGEANDSUM): reading a control value
// at row 0 and testing codes and counts.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"

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

// Rows a range job reads and writes at a time. A multiple of 64, so every
// chunk of a range starts where a host partition may start; small enough that
// a job's scratch buffers stay in cache and are reused from chunk to chunk
// instead of touching fresh memory for the whole range.
inline constexpr std::size_t kChunkRows = 16384;

// Rows [begin, end) of a numeric column into out, nulls read as 0, through a
// null-flag buffer of at least min(kChunkRows, end - begin) entries.
inline void readChunked(const ColumnBase* col, std::size_t begin, std::size_t end, double* out, NullFlags* nulls,
                        IoSite site) {
    for (std::size_t c = begin; c < end; c += kChunkRows) {
        const std::size_t stop = end - c < kChunkRows ? end : c + kChunkRows;
        readRange(col, c, stop, out + (c - begin), nulls, site);
        for (std::size_t i = 0; i < stop - c; ++i)
            if (nulls[i]) out[c - begin + i] = 0.0;
    }
}

// Whole numeric column as doubles (nulls as 0), read a chunk at a time.
inline FpkVector<double> readWhole(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site) {
    const std::size_t n = col->size();
    FpkVector<double> out(n, FpkAllocator<double>(alloc));
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, n < kChunkRows ? n : kChunkRows);
    readChunked(col, 0, n, out.data(), nulls.data(), site);
    return out;
}

}  // namespace controls
}  // namespace businessFunctions
