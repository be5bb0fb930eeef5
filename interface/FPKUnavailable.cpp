// Fallback front doors. Every front door has a weak definition here that
// reports the function as missing from this build; a function's own source
// defines the real front door, which takes precedence at link time.
#include <string>

#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
[[noreturn]] void unavailable(const char* name) {
    FPK_RAISE_TRACED(TRACE_FPKCOMMONCODE, std::string("Information: ") + name + " is not available in this build.",
                     ERR_FPK_COMM_INTERNAL_ERR);
}
}  // namespace

#define FPK_FUNCTION(number, NAME, door, category, ...) \
    __attribute__((weak)) void door(FPK_PARAMS(__VA_ARGS__)) { unavailable(#NAME); }
#include "FPKCatalogue.def"
#undef FPK_FUNCTION

}  // namespace businessFunctions
