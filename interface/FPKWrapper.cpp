// The exported wrappers: one per business function, named NAME__Wrapper,
// generated from the catalogue.
#include "FPKObj.h"
#include "FPKWrapper.h"

#define FPK_FUNCTION(number, NAME, door, category, ...)                                                  \
    extern "C" __attribute__((visibility("default"))) int32_t NAME##__Wrapper(CFPK* obj, void** slots, \
                                                                              uint32_t count) {        \
        return fpkwrapper::callOperation(obj, &CFPK::NAME, slots, count);                              \
    }
#include "FPKCatalogue.def"
#undef FPK_FUNCTION
