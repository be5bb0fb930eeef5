// GROW: projects a series beyond the switch-over by growing each future
// period from the period GROWPERIODS rows earlier.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"

namespace businessFunctions {

class FPKGrow {
public:
    enum growType { PERCENT = 0, AMOUNT = 1 };

    FPKGrow(ColumnBase* values, ColumnBase* growPeriods, ColumnBase* growRate, ColumnBase* growType,
            ColumnBase* switchoverType, ColumnBase* switchoverDate, InternalTable* result)
        : values_(values), growPeriods_(growPeriods), growRate_(growRate), growType_(growType),
          switchoverType_(switchoverType), switchoverDate_(switchoverDate), result_(result) {}
    void execute();

private:
    ColumnBase* values_;
    ColumnBase* growPeriods_;
    ColumnBase* growRate_;
    ColumnBase* growType_;
    ColumnBase* switchoverType_;
    ColumnBase* switchoverDate_;
    InternalTable* result_;
};

namespace grow {
// In place over values[0..n-1]: rows after `offset` that have a row p
// earlier become that row's (already grown) value increased by rate[r]
// percent or by that amount; other rows keep their value. `rate` holds the
// rates of the future rows only: rate[0] belongs to row offset + 1.
void grow(double* values, const double* rate, std::size_t n, int64_t offset, int64_t p, FPKGrow::growType type);
}  // namespace grow

}  // namespace businessFunctions
