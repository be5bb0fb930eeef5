// Columns and tables of the reference host.
#include <malloc.h>
#include <sys/mman.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "HostFaults.h"
#include "QELHost.h"

namespace RhoCommonObjects {
ColumnBase::~ColumnBase() = default;
InternalTable::~InternalTable() = default;
}  // namespace RhoCommonObjects

namespace qelhost {

using namespace RhoCommonObjects;

namespace {
// Column storage is large and short-lived: a call's result columns are made,
// filled and dropped again and again. Like a database server's own memory
// pools, the host keeps freed memory for the next column instead of handing
// it back to the system and faulting fresh pages in on every call.
const bool keepFreedMemory = [] {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_TOP_PAD, 64 << 20);
    return true;
}();
}  // namespace

namespace {
// Large writes go to column storage with streaming stores: a column just
// written is not read again soon, so its lines skip the cache and are not
// first read from memory as ordinary stores would have them.
constexpr std::size_t kStreamBytes = 64 * 1024;

void storeRows(double* dst, const double* src, std::size_t n) {
#if defined(__SSE2__)
    if (n * sizeof(double) >= kStreamBytes) {
        std::size_t i = 0;
        if ((reinterpret_cast<std::uintptr_t>(dst) & 15) != 0) {
            dst[0] = src[0];
            i = 1;
        }
        if ((reinterpret_cast<std::uintptr_t>(dst + i) & 15) == 0) {
            for (; i + 2 <= n; i += 2) _mm_stream_pd(dst + i, _mm_loadu_pd(src + i));
            _mm_sfence();
        }
        for (; i < n; ++i) dst[i] = src[i];
        return;
    }
#endif
    std::memcpy(dst, src, n * sizeof(double));
}

bool anySet(const NullFlags* flags, std::size_t n) {
    NullFlags any = 0;
    for (std::size_t i = 0; i < n; ++i) any |= flags[i];
    return any != 0;
}

// Copies a text of at most 12 bytes with fixed-size moves, two overlapping
// ones from each end, instead of a call per row. Both are loaded before
// either is stored, so the text may overlap the destination.
template <class Word>
void copyEnds(char* dst, const char* src, std::size_t n) {
    Word head, tail;
    std::memcpy(&head, src, sizeof head);
    std::memcpy(&tail, src + n - sizeof tail, sizeof tail);
    std::memcpy(dst, &head, sizeof head);
    std::memcpy(dst + n - sizeof tail, &tail, sizeof tail);
}

void copyShortText(char* dst, const char* src, std::size_t n) {
    if (n >= 8)
        copyEnds<uint64_t>(dst, src, n);
    else if (n >= 4)
        copyEnds<uint32_t>(dst, src, n);
    else
        for (std::size_t i = 0; i < n; ++i) dst[i] = src[i];
}

bool toInt32(double v, int32_t& out) {
    if (!(v >= -2147483648.0 && v < 2147483648.0)) return false;  // NaN, infinities, out of range
    out = static_cast<int32_t>(v);
    return true;
}
}  // namespace

Column::Column(std::string name, int valueType, bool readOnly)
    : name_(std::move(name)), type_(valueType), readOnly_(readOnly) {}
Column::~Column() { freeTexts(0, texts_.size()); }

// The row helpers are inline (used in this file only) so that the row loops
// inline them instead of calling through the library's exported symbols.
inline const char* Column::textData(const TextRow& row) noexcept {
    if (row.size <= kInlineText) return row.bytes;
    const char* heap;
    std::memcpy(&heap, row.bytes + 4, sizeof heap);
    return heap;
}

// Writes one row; rows are written by one thread each (column jobs write
// disjoint ranges), so only the flag of heap blocks is shared. The old heap
// block is freed last: the text may be a view of this very row.
inline void Column::putText(TextRow& row, std::string_view text) {
    const char* old = row.size > kInlineText ? textData(row) : nullptr;
    if (text.size() <= kInlineText) {
        copyShortText(row.bytes, text.data(), text.size());
    } else {
        if (text.size() > UINT32_MAX) throw std::length_error("text too long");
        char* heap = new char[text.size()];
        std::memcpy(heap, text.data(), text.size());
        std::memcpy(row.bytes + 4, &heap, sizeof heap);
        heapTexts_.store(true, std::memory_order_relaxed);
    }
    row.size = static_cast<uint32_t>(text.size());
    delete[] old;
}

inline void Column::freeTexts(std::size_t begin, std::size_t end) noexcept {
    if (!heapTexts_.load(std::memory_order_relaxed)) return;
    for (std::size_t i = begin; i < end; ++i)
        if (texts_[i].size > kInlineText) {
            delete[] textData(texts_[i]);
            texts_[i].size = 0;
        }
}

ColumnPtr Column::make(std::string name, int valueType, bool readOnly) {
    return ColumnPtr::adopt(new Column(std::move(name), valueType, readOnly));
}

ColumnPtr Column::doubles(std::string name, const std::vector<double>& values) {
    ColumnPtr c = make(std::move(name), VT_DOUBLE);
    c->numbers_ = values;
    c->nulls_.assign(values.size(), 0);
    return c;
}

ColumnPtr Column::ints(std::string name, const std::vector<int32_t>& values) {
    ColumnPtr c = make(std::move(name), VT_INTEGER);
    c->integers_ = values;
    c->nulls_.assign(values.size(), 0);
    return c;
}

ColumnPtr Column::strings(std::string name, const std::vector<std::string>& values) {
    ColumnPtr c = make(std::move(name), VT_STRING);
    c->texts_.resize(values.size(), TextRow{});
    for (std::size_t i = 0; i < values.size(); ++i) c->putText(c->texts_[i], values[i]);
    c->nulls_.assign(values.size(), 0);
    return c;
}

std::size_t Column::size() const noexcept { return nulls_.size(); }
const char* Column::getName() const noexcept { return name_.c_str(); }
int Column::getValueType() const noexcept { return type_; }
bool Column::isReadOnly() const noexcept { return readOnly_; }
bool Column::isFixedSize() const noexcept { return type_ != VT_DECIMAL && type_ != VT_STRING; }

bool Column::isNumeric() const {
    return type_ == VT_DOUBLE || type_ == VT_DECIMAL || type_ == VT_FLOAT || isInteger();
}

double Column::numberAt(std::size_t row) const {
    if (isInteger()) return integers_[row];
    return numbers_[row];
}
int32_t Column::integerAt(std::size_t row) const { return integers_[row]; }
std::string_view Column::textAt(std::size_t row) const { return {textData(texts_[row]), texts_[row].size}; }

namespace {
// Large column storage is backed by huge pages where the system offers them
// on request: a fresh multi-megabyte column then costs a few page faults
// instead of one per 4 KB. The vector is given its room first, advised,
// and only then filled.
template <class V>
void reserveLarge(V& v, std::size_t rows) {
    constexpr std::size_t kHuge = 2u << 20;
    if (rows <= v.capacity() || rows * sizeof(typename V::value_type) < 4 * kHuge) return;
    v.reserve(rows);
    const auto start = (reinterpret_cast<std::uintptr_t>(v.data()) + kHuge - 1) & ~(kHuge - 1);
    const auto stop = (reinterpret_cast<std::uintptr_t>(v.data() + v.capacity())) & ~(kHuge - 1);
    if (stop > start) madvise(reinterpret_cast<void*>(start), stop - start, MADV_HUGEPAGE);
}
}  // namespace

bool Column::grow(std::size_t rows) noexcept {
    try {
        if (isText()) {
            if (rows < texts_.size()) freeTexts(rows, texts_.size());
            reserveLarge(texts_, rows);
            texts_.resize(rows, TextRow{});
        } else if (isInteger()) {
            reserveLarge(integers_, rows);
            integers_.resize(rows, 0);
        } else {
            reserveLarge(numbers_, rows);
            numbers_.resize(rows, 0.0);
        }
        reserveLarge(nulls_, rows);
        nulls_.resize(rows, 1);
        return true;
    } catch (...) {
        return false;
    }
}

bool Column::resize(std::size_t rows) noexcept {
    if (readOnly_ || detail::shouldFail(Fault::SetNative)) return false;
    return grow(rows);
}

bool Column::getNative(std::size_t begin, std::size_t end, double* out, NullFlags* nulls) const noexcept {
    if (detail::shouldFail(Fault::GetNative)) return false;
    if (begin > end || end > size() || !isNumeric()) return false;
    if (!isInteger()) {
        // Numbers are stored as doubles with null rows holding 0: a plain copy.
        if (end > begin) std::memcpy(out, numbers_.data() + begin, (end - begin) * sizeof(double));
        if (nulls && end > begin) std::memcpy(nulls, nulls_.data() + begin, end - begin);
        return true;
    }
    for (std::size_t i = begin; i < end; ++i) {
        out[i - begin] = nulls_[i] ? 0.0 : numberAt(i);
        if (nulls) nulls[i - begin] = nulls_[i];
    }
    return true;
}

bool Column::getNative(std::size_t begin, std::size_t end, int32_t* out, NullFlags* nulls) const noexcept {
    if (detail::shouldFail(Fault::GetNative)) return false;
    if (begin > end || end > size() || !isNumeric()) return false;
    for (std::size_t i = begin; i < end; ++i) {
        int32_t v = 0;
        if (!nulls_[i]) {
            if (isInteger())
                v = integers_[i];
            else if (!toInt32(std::trunc(numbers_[i]), v))
                return false;
        }
        out[i - begin] = v;
        if (nulls) nulls[i - begin] = nulls_[i];
    }
    return true;
}

bool Column::getNative(std::size_t begin, std::size_t end, std::string_view* out, NullFlags* nulls) const noexcept {
    if (detail::shouldFail(Fault::GetNative)) return false;
    if (begin > end || end > size() || !isText()) return false;
    // Without branches: both places a text may live are computed and one is
    // chosen, so the loop runs at the speed of the copy.
    for (std::size_t i = begin; i < end; ++i) {
        const TextRow& row = texts_[i];
        const char* heap;
        std::memcpy(&heap, row.bytes + 4, sizeof heap);
        const char* data = row.size <= kInlineText ? row.bytes : heap;
        out[i - begin] = std::string_view(data, nulls_[i] ? 0 : row.size);
    }
    if (nulls && end > begin) std::memcpy(nulls, nulls_.data() + begin, end - begin);
    return true;
}

bool Column::setNative(std::size_t begin, std::size_t end, const double* in, const NullFlags* nulls) noexcept {
    if (detail::shouldFail(Fault::SetNative)) return false;
    if (readOnly_ || begin > end || !isNumeric()) return false;
    if (end > size() && !grow(end)) return false;
    if (type_ == VT_DOUBLE || type_ == VT_DECIMAL) {
        // A plain copy; null rows keep 0 as their stored value.
        const std::size_t n = end - begin;
        if (n == 0) return true;
        storeRows(numbers_.data() + begin, in, n);
        if (nulls == nullptr) {
            std::memset(nulls_.data() + begin, 0, n);
        } else {
            std::memcpy(nulls_.data() + begin, nulls, n);
            if (anySet(nulls, n))
                for (std::size_t i = 0; i < n; ++i)
                    if (nulls[i]) {
                        nulls_[begin + i] = 1;
                        numbers_[begin + i] = 0.0;
                    }
        }
        return true;
    }
    for (std::size_t i = begin; i < end; ++i) {
        const bool isNullRow = nulls != nullptr && nulls[i - begin] != 0;
        nulls_[i] = isNullRow ? 1 : 0;
        if (isNullRow) {  // null rows store 0, so that reads can copy
            if (isInteger())
                integers_[i] = 0;
            else
                numbers_[i] = 0.0;
            continue;
        }
        const double v = in[i - begin];
        if (isInteger()) {
            if (!toInt32(std::trunc(v), integers_[i])) return false;
        } else if (type_ == VT_FLOAT) {
            numbers_[i] = static_cast<double>(static_cast<float>(v));
        } else {
            numbers_[i] = v;
        }
    }
    return true;
}

bool Column::setNative(std::size_t begin, std::size_t end, const int32_t* in, const NullFlags* nulls) noexcept {
    if (detail::shouldFail(Fault::SetNative)) return false;
    if (readOnly_ || begin > end || !isNumeric()) return false;
    if (end > size() && !grow(end)) return false;
    for (std::size_t i = begin; i < end; ++i) {
        const bool isNullRow = nulls != nullptr && nulls[i - begin] != 0;
        nulls_[i] = isNullRow ? 1 : 0;
        const int32_t v = isNullRow ? 0 : in[i - begin];
        if (isInteger())
            integers_[i] = v;
        else
            numbers_[i] = v;
    }
    return true;
}

bool Column::setNative(std::size_t begin, std::size_t end, const std::string_view* in, const NullFlags* nulls) noexcept {
    if (detail::shouldFail(Fault::SetNative)) return false;
    if (readOnly_ || begin > end || !isText()) return false;
    if (end > size() && !grow(end)) return false;
    try {
        for (std::size_t i = begin; i < end; ++i) {
            const bool isNullRow = nulls != nullptr && nulls[i - begin] != 0;
            nulls_[i] = isNullRow ? 1 : 0;
            putText(texts_[i], isNullRow ? std::string_view() : in[i - begin]);
        }
    } catch (...) {
        return false;
    }
    return true;
}

Table::Table(std::string name) : name_(std::move(name)) {}
Table::~Table() = default;
TablePtr Table::make(std::string name) { return TablePtr::adopt(new Table(std::move(name))); }
const char* Table::getName() const noexcept { return name_.c_str(); }
std::size_t Table::getColumnCount() const noexcept { return columns_.size(); }
ColumnBase* Table::getColumn(std::size_t i) const noexcept { return i < columns_.size() ? columns_[i].get() : nullptr; }
void Table::addColumn(ColumnHandle column) { columns_.push_back(std::move(column)); }
Column* Table::column(std::size_t i) const { return dynamic_cast<Column*>(getColumn(i)); }

std::optional<int> valueTypeFromName(std::string_view name) {
    if (name == "double") return VT_DOUBLE;
    if (name == "float") return VT_FLOAT;
    if (name == "decimal") return VT_DECIMAL;
    if (name == "int" || name == "integer") return VT_INTEGER;
    if (name == "string") return VT_STRING;
    if (name == "bool" || name == "boolean") return VT_BOOLEAN;
    return std::nullopt;
}

const char* valueTypeName(int valueType) {
    switch (valueType) {
        case VT_DOUBLE:
            return "double";
        case VT_FLOAT:
            return "float";
        case VT_DECIMAL:
            return "decimal";
        case VT_INTEGER:
            return "int";
        case VT_STRING:
            return "string";
        case VT_BOOLEAN:
            return "bool";
        default:
            return "unknown";
    }
}

}  // namespace qelhost
