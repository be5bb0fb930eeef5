// INTERNALRATE: the rate at which a series of cash flows, placed in time
// like those of NETPRESENTVALUE, has a net present value of zero. Newton's
// method on x = 1 / (1 + rate).
#pragma once

#include <cstddef>
#include <cstdint>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"
#include "../platform/RhoUtils/Allocator.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKInternalRate {
public:
    FPKInternalRate(ColumnBase* valuesCol, ColumnBase* flagCol, ColumnBase* dateCol, ColumnBase* estimateCol,
                    ColumnBase* methodCol, ColumnBase* daysCol, InternalTable* result)
        : valuesCol(valuesCol), flagCol(flagCol), dateCol(dateCol), estimateCol(estimateCol), methodCol(methodCol),
          daysCol(daysCol), result(result) {}

    void execute();

private:
    void execute_internalRate(RhoUtils::Allocator& alloc);

    ColumnBase* valuesCol;
    ColumnBase* flagCol;
    ColumnBase* dateCol;
    ColumnBase* estimateCol;
    ColumnBase* methodCol;
    ColumnBase* daysCol;
    InternalTable* result;
};

namespace irr {

inline constexpr int32_t maxCyc = 1000000;
inline constexpr double precision = 0.0001;

// sum of values[j] * x^pows[j] over j in [start, end).
double func(const double* values, const double* pows, std::size_t start, std::size_t end, double x);
// Its derivative: sum of values[j] * pows[j] * x^(pows[j] - 1), terms with
// pows[j] = 0 left out.
double func1(const double* values, const double* pows, std::size_t start, std::size_t end, double x);

struct Root {
    bool found = false;
    double x = 0;  // where the search stopped (valid when found)
};

// Newton's method from x0 = 1 / (1 + estimate) (1 / 1.1 for estimate 0). It
// stops when a step moves x by less than `precision` or func at the new x is
// below it, and fails on a zero derivative or after maxCyc steps.
Root solve(const double* values, const double* pows, std::size_t count, double estimate);

}  // namespace irr

}  // namespace businessFunctions
