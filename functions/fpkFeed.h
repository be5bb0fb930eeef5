// FEED: a stock carried through the periods from its inflows and outflows.
#pragma once

#include <cstddef>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

class FPKFeed {
public:
    FPKFeed(ColumnBase* prime, ColumnBase* in, ColumnBase* out, InternalTable* result)
        : primeCol(prime), inCol(in), outCol(out), resultTab(result) {}
    void execute();

private:
    ColumnBase* primeCol;
    ColumnBase* inCol;
    ColumnBase* outCol;
    InternalTable* resultTab;
};

namespace kernel {
// OPENING[0] = prime, OPENING[i] = CLOSING[i-1], CLOSING = OPENING + in - out.
void feed(double prime, const double* in, const double* out, std::size_t n, double* opening, double* closing);
}  // namespace kernel

// Rows [0, n) of a numeric column as doubles: nulls and the rows the column
// lacks (when it is shorter than n) read as 0. Shared by the functions whose
// columns come from one input table and have no size check between them.
inline FpkVector<double> readRowsPadded(const ColumnBase* col, std::size_t n, RhoUtils::Allocator& alloc,
                                        IoSite site) {
    const std::size_t have = col->size() < n ? col->size() : n;
    FpkVector<double> v = readDoubles(col, 0, have, alloc, site);
    v.resize(n, 0.0);
    return v;
}

// Row 0 of a numeric column (null: 0), or `empty` when it has no rows.
inline double readFirst(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site, double empty = 0.0) {
    if (col->size() == 0) return empty;
    return readDoubles(col, 0, 1, alloc, site)[0];
}

}  // namespace businessFunctions
