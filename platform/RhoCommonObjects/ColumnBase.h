// Host columns: one typed column of a table, read and written in whole row
// ranges through native arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "../QELPlatform.h"
#include "../RhoUtils/RefCounted.h"

namespace RhoCommonObjects {

// Value-type codes the host reports for its columns. The codes are
// character codes: 'F' double, 'M' decimal, 'd' float, 'I' 32-bit integer,
// 'S' string, 'B' boolean (a type the business functions do not accept).
enum ValueType : int {
    VT_DOUBLE = 70,
    VT_DECIMAL = 77,
    VT_FLOAT = 100,
    VT_INTEGER = 73,
    VT_STRING = 83,
    VT_BOOLEAN = 66,
};

// Null flags of a row range: one byte per row, non-zero for a null row.
using NullFlags = uint8_t;

// A host column. Reads and writes report failure by returning false; they
// never throw. Rows beyond the current size read as failures; writes past the
// end grow the column, and rows that were never written read as null.
// Concurrent writes to disjoint row ranges are safe as long as no write grows
// the column.
class QEL_PLATFORM_API ColumnBase : public RhoUtils::RefCounted {
public:
    ~ColumnBase() override;

    virtual std::size_t size() const noexcept = 0;
    virtual const char* getName() const noexcept = 0;
    virtual int getValueType() const noexcept = 0;
    virtual bool isReadOnly() const noexcept = 0;
    // False for value types whose values have no fixed width (decimal).
    virtual bool isFixedSize() const noexcept = 0;
    // Sets the row count; new rows are null.
    virtual bool resize(std::size_t rows) noexcept = 0;

    // Read rows [begin, end) into out; nulls (optional) receives a flag per row.
    // Numeric columns convert between their types; a string column reads only
    // as text and a numeric one only as numbers. Texts stay valid until the
    // column is written or destroyed.
    virtual bool getNative(std::size_t begin, std::size_t end, double* out, NullFlags* nulls) const noexcept = 0;
    virtual bool getNative(std::size_t begin, std::size_t end, int32_t* out, NullFlags* nulls) const noexcept = 0;
    virtual bool getNative(std::size_t begin, std::size_t end, std::string_view* out, NullFlags* nulls) const noexcept = 0;

    // Write rows [begin, end); nulls (optional) marks null rows.
    virtual bool setNative(std::size_t begin, std::size_t end, const double* in, const NullFlags* nulls) noexcept = 0;
    virtual bool setNative(std::size_t begin, std::size_t end, const int32_t* in, const NullFlags* nulls) noexcept = 0;
    virtual bool setNative(std::size_t begin, std::size_t end, const std::string_view* in, const NullFlags* nulls) noexcept = 0;
};

using ColumnHandle = RhoUtils::SharedPtr<ColumnBase>;

}  // namespace RhoCommonObjects
