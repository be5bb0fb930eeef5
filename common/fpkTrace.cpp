#include "fpkTrace.h"

namespace businessFunctions {
#define FPK_TOPIC(object, name) QELTrace::Topic object(name);
#include "fpkTraceTopics.def"
#undef FPK_TOPIC
}  // namespace businessFunctions
