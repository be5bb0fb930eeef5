// Trace topic objects of the library, one per function family plus the
// shared TRACE_FPKCOMMONCODE. They register with the host when the library
// is loaded.
#pragma once

#include "../platform/QELTrace.h"

namespace businessFunctions {
#define FPK_TOPIC(object, name) extern QELTrace::Topic object;
#include "fpkTraceTopics.def"
#undef FPK_TOPIC
}  // namespace businessFunctions
