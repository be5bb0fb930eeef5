// MOVINGMEDIAN: slides a window over the series, inserting the entering row
// and erasing the leaving one, at O(log w) per row.
#include "fpkMovingMedian.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkTimeSeriesControls.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(movingMedianAllocator, "MovingMedianAllocator")

using Entry = movingmedian::WindowMedian::Entry;

inline bool lessEntry(const Entry& a, const Entry& b) {
    return a.value < b.value || (a.value == b.value && a.row < b.row);
}
// std heaps keep the largest element (by the comparison) at the front.
struct LowOrder {  // max-heap
    bool operator()(const Entry& a, const Entry& b) const { return lessEntry(a, b); }
};
struct HighOrder {  // min-heap
    bool operator()(const Entry& a, const Entry& b) const { return lessEntry(b, a); }
};
}  // namespace

namespace movingmedian {

WindowMedian::WindowMedian(RhoUtils::Allocator& alloc) : low_(FpkAllocator<Entry>(alloc)), high_(FpkAllocator<Entry>(alloc)) {}

void WindowMedian::clean(Heap& heap, bool isLow) {
    while (!heap.empty() && heap.front().row < gone_) {
        if (isLow)
            std::pop_heap(heap.begin(), heap.end(), LowOrder());
        else
            std::pop_heap(heap.begin(), heap.end(), HighOrder());
        heap.pop_back();
    }
}

void WindowMedian::compact(Heap& heap, bool isLow, std::size_t live) {
    if (heap.size() <= 2 * live + 32) return;
    const int64_t gone = gone_;
    heap.erase(std::remove_if(heap.begin(), heap.end(), [gone](const Entry& e) { return e.row < gone; }), heap.end());
    if (isLow)
        std::make_heap(heap.begin(), heap.end(), LowOrder());
    else
        std::make_heap(heap.begin(), heap.end(), HighOrder());
}

void WindowMedian::rebalance() {
    while (lowCount_ > highCount_ + 1) {
        clean(low_, true);
        std::pop_heap(low_.begin(), low_.end(), LowOrder());
        high_.push_back(low_.back());
        low_.pop_back();
        std::push_heap(high_.begin(), high_.end(), HighOrder());
        --lowCount_;
        ++highCount_;
    }
    while (highCount_ > lowCount_) {
        clean(high_, false);
        std::pop_heap(high_.begin(), high_.end(), HighOrder());
        low_.push_back(high_.back());
        high_.pop_back();
        std::push_heap(low_.begin(), low_.end(), LowOrder());
        --highCount_;
        ++lowCount_;
    }
}

// Insert and erase keep every pair of the lower half below every pair of the
// upper half but leave the sizes to median(), which rebalances once: when a
// row leaves one half and the entering row joins the same half, nothing moves.
void WindowMedian::insert(double value, int64_t row) {
    const Entry p{value, row};
    clean(low_, true);
    if (lowCount_ > 0 && lessEntry(p, low_.front())) {
        low_.push_back(p);
        std::push_heap(low_.begin(), low_.end(), LowOrder());
        ++lowCount_;
    } else {
        high_.push_back(p);
        std::push_heap(high_.begin(), high_.end(), HighOrder());
        ++highCount_;
    }
}

void WindowMedian::erase(double value, int64_t row) {
    const Entry p{value, row};
    clean(low_, true);
    if (lowCount_ > 0 && !lessEntry(low_.front(), p))
        --lowCount_;
    else
        --highCount_;
    gone_ = row + 1;
    compact(low_, true, lowCount_);
    compact(high_, false, highCount_);
}

bool WindowMedian::median(double& out) {
    const std::size_t m = lowCount_ + highCount_;
    if (m == 0) return false;
    rebalance();
    clean(low_, true);
    if (m % 2 == 1) {
        out = low_.front().value;
    } else {
        clean(high_, false);
        out = (low_.front().value + high_.front().value) * 0.5;
    }
    return true;
}

SortedWindow::SortedWindow(RhoUtils::Allocator& alloc) : sorted_(FpkAllocator<Entry>(alloc)) {}

void SortedWindow::insert(double value, int64_t row) {
    const Entry p{value, row};
    sorted_.insert(std::upper_bound(sorted_.begin(), sorted_.end(), p, lessEntry), p);
}

void SortedWindow::erase(double value, int64_t row) {
    sorted_.erase(std::lower_bound(sorted_.begin(), sorted_.end(), Entry{value, row}, lessEntry));
}

bool SortedWindow::median(double& out) const {
    const std::size_t m = sorted_.size();
    if (m == 0) return false;
    // The lower half holds (m + 1) / 2 pairs; its maximum is at (m - 1) / 2.
    out = m % 2 == 1 ? sorted_[m / 2].value : (sorted_[m / 2 - 1].value + sorted_[m / 2].value) * 0.5;
    return true;
}

namespace {
template <class Window>
void slide(Window& window, const double* values, const unsigned char* usable, int64_t rows, int64_t length,
           int64_t offset, double* out, unsigned char* nulls) {
    const int64_t first = std::max<int64_t>(offset - length + 1, 0);
    const int64_t last = std::min<int64_t>(offset, rows - 1);
    for (int64_t j = first; j <= last; ++j)
        if (usable[j]) window.insert(values[j], j);
    for (int64_t r = 0; r < rows; ++r) {
        if (r > 0) {
            const int64_t leaving = r - 1 + offset - length + 1;
            if (leaving >= 0 && leaving < rows && usable[leaving]) window.erase(values[leaving], leaving);
            const int64_t entering = r + offset;
            if (entering >= 0 && entering < rows && usable[entering]) window.insert(values[entering], entering);
        }
        double m = 0;
        const bool any = window.median(m);
        out[r] = any ? m : 0.0;
        nulls[r] = any ? 0 : 1;
    }
}
}  // namespace

void movingMedian(const double* values, const unsigned char* usable, std::size_t n, int64_t length, int64_t offset,
                  double* out, unsigned char* nulls, RhoUtils::Allocator& alloc, std::size_t sortedUpTo) {
    const int64_t rows = static_cast<int64_t>(n);
    if (static_cast<uint64_t>(std::min<int64_t>(length, rows)) <= sortedUpTo) {
        SortedWindow window(alloc);
        slide(window, values, usable, rows, length, offset, out, nulls);
    } else {
        WindowMedian window(alloc);
        slide(window, values, usable, rows, length, offset, out, nulls);
    }
}

}  // namespace movingmedian

void FPKMovingMedian::execute() {
    traceInfo(TRACE_FPKMOVINGMEDIAN, "Information: FPKMovingMedian::execute() begin");
    Verifier::verify(valueCol, "d", "VALUE");
    Verifier::verify(lengthCol, "d", "LENGTH");
    Verifier::verify(offsetCol, "d", "OFFSET");
    Verifier::verify(excludeCol, "d", "EXCLUDE");
    Verifier::verify(result, "d");
    RhoUtils::Allocator& alloc = movingMedianAllocator();

    double length = 0;
    if (!controls::readFirst(lengthCol, alloc, {TRACE_FPKMOVINGMEDIAN, "lengthCol->getNative failed."}, length))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "LENGTH"}, {"APPEND", "LENGTH should not be empty"});
    if (!controls::isWholeIn(length, 1, controls::kMaxInt32))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "LENGTH"},
                  {"APPEND", "Length should be a whole number greater than 0"});

    double offset = 0;
    if (!controls::readFirst(offsetCol, alloc, {TRACE_FPKMOVINGMEDIAN, "offsetCol->getNative failed."}, offset))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "OFFSET"}, {"APPEND", "OFFSET should not be empty"});
    if (!controls::isWholeIn(offset, -controls::kMaxInt32, controls::kMaxInt32))
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "OFFSET"}, {"APPEND", "Offset should be a whole number"});

    const std::size_t n = valueCol->size();
    if (excludeCol->size() < n)
        FPK_RAISE(ERR_FPK_MVMD_COL_SIZE_LESS, {"COL1", "EXCLUDE"}, {"COL2", "VALUE"});

    FpkVector<double> values = readDoubles(valueCol, alloc, {TRACE_FPKMOVINGMEDIAN, "valueCol->getNative failed."});
    FpkVector<double> exclude =
        readDoubles(excludeCol, 0, n, alloc, {TRACE_FPKMOVINGMEDIAN, "excludeCol->getNative failed."});
    FpkVector<unsigned char> usable = makeVector<unsigned char>(alloc, n);
    for (std::size_t j = 0; j < n; ++j) {
        if (exclude[j] != 0.0 && exclude[j] != 1.0)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "EXCLUDE"}, {"APPEND", "Exclude should be in (0,1)"});
        usable[j] = (exclude[j] == 0.0 && !std::isnan(values[j])) ? 1 : 0;
    }

    // The EXCLUDE values are no longer needed: their storage takes the result.
    FpkVector<double> out = std::move(exclude);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, n);
    movingmedian::movingMedian(values.data(), usable.data(), n, static_cast<int64_t>(length),
                               static_cast<int64_t>(offset), out.data(), nulls.data(), alloc);
    writeDoubles(result->getColumn(0), out.data(), n, {TRACE_FPKMOVINGMEDIAN, "resultsCol->setNative failed."},
                 nulls.data());
}

void qelMovingMedian(const ColumnHandle& value, const ColumnHandle& length, const ColumnHandle& offset,
                     const ColumnHandle& exclude, TableHandle& result) {
    FPKMovingMedian(value.get(), length.get(), offset.get(), exclude.get(), result.get()).execute();
}

}  // namespace businessFunctions
