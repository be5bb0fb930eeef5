// Whole-range reads and writes of host columns. A failed read, resize or
// write writes its detail line to the function's trace topic and raises the
// internal error; nothing here touches a column one value at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "../platform/QELTrace.h"
#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"
#include "fpkAllocator.h"
#include "fpkDefines.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;
using RhoCommonObjects::NullFlags;
using RhoCommonObjects::ColumnHandle;
using RhoCommonObjects::TableHandle;

// Where a failure is reported: the function's topic and the detail line.
struct IoSite {
    const QELTrace::Topic& topic;
    const char* failLine;
};

template <class T>
void readRange(const ColumnBase* col, std::size_t begin, std::size_t end, T* out, NullFlags* nulls, IoSite site) {
    if (begin == end) return;
    if (col == nullptr || !col->getNative(begin, end, out, nulls))
        FPK_RAISE_TRACED(site.topic, site.failLine, ERR_FPK_COMM_INTERNAL_ERR);
}

template <class T>
void writeRange(ColumnBase* col, std::size_t begin, std::size_t end, const T* in, const NullFlags* nulls, IoSite site) {
    if (col == nullptr || (begin != end && !col->setNative(begin, end, in, nulls)))
        FPK_RAISE_TRACED(site.topic, site.failLine, ERR_FPK_COMM_INTERNAL_ERR);
}

// Whether any of n flags is set; one pass over the flags as vector code.
inline bool anyNull(const NullFlags* nulls, std::size_t n) {
    NullFlags any = 0;
    for (std::size_t i = 0; i < n; ++i) any |= nulls[i];
    return any != 0;
}

// Sets the rows flagged null to `nullValue`. The values are touched only
// when there is a null among them, and then by a select rather than a
// branch, so that it runs as vector code.
template <class T>
void replaceNulls(T* values, const NullFlags* nulls, std::size_t n, T nullValue) {
    if (!anyNull(nulls, n)) return;
    for (std::size_t i = 0; i < n; ++i) values[i] = nulls[i] ? nullValue : values[i];
}

inline void resizeColumn(ColumnBase* col, std::size_t rows, IoSite site) {
    if (col == nullptr || !col->resize(rows)) FPK_RAISE_TRACED(site.topic, site.failLine, ERR_FPK_COMM_INTERNAL_ERR);
}

// Rows [begin, end) of a numeric column as doubles; a null row reads as `nullValue`.
FpkVector<double> readDoubles(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                              IoSite site, double nullValue = 0.0);
// Rows [begin, end) of a numeric column as 32-bit integers; a null row reads as `nullValue`.
FpkVector<int32_t> readInts(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                            IoSite site, int32_t nullValue = 0);
// Rows [begin, end) of a string column; a null row reads as the empty text.
// The texts point into the column and stay valid until it is written.
FpkVector<std::string_view> readTexts(const ColumnBase* col, std::size_t begin, std::size_t end,
                                      RhoUtils::Allocator& alloc, IoSite site);
// Null flags of rows [begin, end).
FpkVector<NullFlags> readNulls(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                               IoSite site);

// Whole column shorthands.
inline FpkVector<double> readDoubles(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site,
                                     double nullValue = 0.0) {
    return readDoubles(col, 0, col ? col->size() : 0, alloc, site, nullValue);
}
inline FpkVector<int32_t> readInts(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site,
                                   int32_t nullValue = 0) {
    return readInts(col, 0, col ? col->size() : 0, alloc, site, nullValue);
}
inline FpkVector<std::string_view> readTexts(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site) {
    return readTexts(col, 0, col ? col->size() : 0, alloc, site);
}

// Resizes the column to values.size() rows and writes them all.
void writeDoubles(ColumnBase* col, const double* values, std::size_t n, IoSite site, const NullFlags* nulls = nullptr);

// Column i of a table, or nullptr.
inline ColumnBase* tableColumn(const InternalTable* table, std::size_t i) {
    return table != nullptr ? table->getColumn(i) : nullptr;
}

}  // namespace businessFunctions
