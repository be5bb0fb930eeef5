// Fault injection counters shared by the host runtime's sources.
#pragma once

#include "QELHost.h"

namespace qelhost::detail {
// Counts one call of the kind; true when this call is the one to fail.
bool shouldFail(Fault fault) noexcept;
}  // namespace qelhost::detail
