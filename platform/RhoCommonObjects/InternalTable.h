// Host tables: a name and an ordered list of named, typed columns.
#pragma once

#include <cstddef>

#include "../QELPlatform.h"
#include "../RhoUtils/RefCounted.h"
#include "ColumnBase.h"

namespace RhoCommonObjects {

class QEL_PLATFORM_API InternalTable : public RhoUtils::RefCounted {
public:
    ~InternalTable() override;

    virtual const char* getName() const noexcept = 0;
    virtual std::size_t getColumnCount() const noexcept = 0;
    // nullptr when i is out of range. The table keeps its columns alive.
    virtual ColumnBase* getColumn(std::size_t i) const noexcept = 0;
};

using TableHandle = RhoUtils::SharedPtr<InternalTable>;

}  // namespace RhoCommonObjects
