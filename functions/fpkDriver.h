// DRIVER: a line item kept as history up to the switch-over and projected in
// proportion to each driver after it.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::InternalTable;

class FPKDriver {
public:
    FPKDriver(InternalTable* history, InternalTable* time, InternalTable* switchover, InternalTable* switchoverDate,
              InternalTable* drivers, InternalTable* result)
        : historyTab(history), timeTab(time), switchoverTab(switchover), switchoverDateTab(switchoverDate),
          driversTab(drivers), resultTab(result) {}
    void execute();

private:
    InternalTable* historyTab;
    InternalTable* timeTab;
    InternalTable* switchoverTab;
    InternalTable* switchoverDateTab;
    InternalTable* driversTab;
    InternalTable* resultTab;
};

namespace kernel {
// out[i] = history[i] for i <= base, history[base] * driver[i] / driver[base]
// after it (driver[base] checked non-zero by the caller when base < n-1).
void driverProjection(const double* history, const double* driver, std::size_t n, std::size_t base, double* out);
}  // namespace kernel

}  // namespace businessFunctions
