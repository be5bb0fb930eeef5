// VOLUMEDRIVER: a salary-driven overhead from percentages by salary band,
// each applying only to the part of the salary inside its band.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKVolumeDriver {
public:
    FPKVolumeDriver(ColumnBase* salary, ColumnBase* percent, ColumnBase* bandwidth, InternalTable* result)
        : salaryCol(salary), percentCol(percent), bandwidthCol(bandwidth), resultTab(result) {}
    void execute();

private:
    ColumnBase* salaryCol;
    ColumnBase* percentCol;
    ColumnBase* bandwidthCol;
    InternalTable* resultTab;
};

namespace kernel {
// The band table: upper[q] is the upper limit of band q (q < w); band w is
// open; percent has w + 1 entries.
struct Bands {
    const double* upper;
    const double* percent;
    std::size_t w;
};
// Turns w widths into the w upper limits.
void bandLimits(const double* width, std::size_t w, double* upper);
// Overhead of each salary: the banded sum over |salary| with the salary's
// sign; NaN for a salary that is not finite.
void overhead(const Bands& bands, const double* salary, std::size_t n, double* out);
}  // namespace kernel

}  // namespace businessFunctions
