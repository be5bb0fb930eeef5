// MOVINGMEDIAN: the median of a moving window of LENGTH rows placed by
// OFFSET, with rows flagged in EXCLUDE (and NaN values) left out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../common/fpkAllocator.h"
#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKMovingMedian {
public:
    FPKMovingMedian(RhoCommonObjects::ColumnBase* valueCol, RhoCommonObjects::ColumnBase* lengthCol,
                    RhoCommonObjects::ColumnBase* offsetCol, RhoCommonObjects::ColumnBase* excludeCol,
                    RhoCommonObjects::InternalTable* result)
        : valueCol(valueCol), lengthCol(lengthCol), offsetCol(offsetCol), excludeCol(excludeCol), result(result) {}
    void execute();

private:
    RhoCommonObjects::ColumnBase* valueCol;
    RhoCommonObjects::ColumnBase* lengthCol;
    RhoCommonObjects::ColumnBase* offsetCol;
    RhoCommonObjects::ColumnBase* excludeCol;
    RhoCommonObjects::InternalTable* result;
};

namespace movingmedian {

// The values of a sliding window, split into a lower and an upper half kept
// as a max-heap and a min-heap of (value, row) pairs, ordered by value and
// then by row so that equal values stay distinct. Rows must leave the window
// in increasing row order: an erased pair is only counted out and dropped
// when it reaches the top of its heap (or when a heap holds more dropped
// pairs than live ones and is rebuilt), so memory stays proportional to the
// window. Values must not be NaN.
class WindowMedian {
public:
    explicit WindowMedian(RhoUtils::Allocator& alloc);
    void insert(double value, int64_t row);
    // `row` must be in the window and be its oldest row.
    void erase(double value, int64_t row);
    std::size_t size() const { return lowCount_ + highCount_; }
    // The median, or false when the window is empty: the middle value for an
    // odd count, (max of the lower half + min of the upper half) * 0.5 for an
    // even one. Balances the halves first (|low| = |high| or |high| + 1).
    bool median(double& out);

    struct Entry {
        double value;
        int64_t row;
    };

private:
    using Heap = FpkVector<Entry>;
    void clean(Heap& heap, bool isLow);
    void compact(Heap& heap, bool isLow, std::size_t live);
    void rebalance();

    Heap low_, high_;
    std::size_t lowCount_ = 0, highCount_ = 0;
    int64_t gone_ = INT64_MIN;  // rows below this have left the window
};

// The same for short windows: the window's pairs in one sorted array, where
// inserting or erasing moves at most w pairs, which for a few dozen rows is
// cheaper than the heaps' bookkeeping.
class SortedWindow {
public:
    explicit SortedWindow(RhoUtils::Allocator& alloc);
    void insert(double value, int64_t row);
    void erase(double value, int64_t row);
    bool median(double& out) const;

private:
    FpkVector<WindowMedian::Entry> sorted_;
};

// Windows of at most this many rows use SortedWindow.
inline constexpr std::size_t kSortedWindowMax = 32;

// Moving median of n values. usable[j] is non-zero when row j takes part in
// windows. The window of row r covers rows r + offset - length + 1 ..
// r + offset, clipped to the series; an empty window gives a null row
// (nulls[r] = 1, out[r] = 0). Windows of at most sortedUpTo rows use the
// sorted array, longer ones the heaps; both give the same medians.
void movingMedian(const double* values, const unsigned char* usable, std::size_t n, int64_t length, int64_t offset,
                  double* out, unsigned char* nulls, RhoUtils::Allocator& alloc,
                  std::size_t sortedUpTo = kSortedWindowMax);

}  // namespace movingmedian

}  // namespace businessFunctions
