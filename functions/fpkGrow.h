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
// One block of rows first .. first + count - 1. buf[0 .. p) holds the
// results of rows first - p .. first - 1 (entries for rows below 0 are not
// read) and buf[p .. p + count) the VALUES of the block on entry, its
// results on return. A row after `offset` with a row p earlier becomes that
// row's result grown by rate[i] percent (PERCENT) or by the amount rate[i]
// (AMOUNT); every other row keeps its value. `rate` holds the block's rates
// (rate[i] for row first + i); rates of history rows are not read.
void growBlock(double* buf, std::size_t p, const double* rate, std::size_t count, int64_t first, int64_t offset,
               FPKGrow::growType type);
}  // namespace grow

}  // namespace businessFunctions
