// FEEDOVERFLOW: a stock that empties itself by 1/FACTOR of its base each
// period (a first-order delay with residence time FACTOR).
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKFeedOverflow {
public:
    // END: the inflow arrives at the end of the period and leaves from the
    // next one on; START: it arrives at the start and can leave at once.
    enum inflowTiming { END = 0, START = 1 };

    FPKFeedOverflow(ColumnBase* prime, ColumnBase* in, ColumnBase* factor, ColumnBase* indicator,
                    InternalTable* result)
        : primeCol(prime), inCol(in), factorCol(factor), indicatorCol(indicator), resultTab(result) {}
    void execute();

private:
    ColumnBase* primeCol;
    ColumnBase* inCol;
    ColumnBase* factorCol;
    ColumnBase* indicatorCol;
    InternalTable* resultTab;
};

namespace kernel {
// OUTS[i] = base / factor[i] with base = OPENING (+ IN for START);
// CLOSING = OPENING + IN - OUTS. Factors are checked by the caller.
void feedOverflow(double prime, const double* in, const double* factor, std::size_t n,
                  FPKFeedOverflow::inflowTiming timing, double* opening, double* outs, double* closing);
}  // namespace kernel

}  // namespace businessFunctions
