// The library's interface identifiers, its interface IFPK with one operation
// per business function, and the front doors those operations forward to.
#pragma once

#include <cstdint>

#include "../platform/QELBase.h"
#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"
#include "FPKCatalogueMacros.h"

// {672548A3-6CA5-4EC6-9083-2EDEA30804EC}: class id of the library object.
inline constexpr QELID FPK_CLSID = {0x672548A3, 0x6CA5, 0x4EC6, {0x90, 0x83, 0x2E, 0xDE, 0xA3, 0x08, 0x04, 0xEC}};
// {0A2B8055-C09C-44E6-8953-93CA210D2719}: interface id of IFPK.
inline constexpr QELID FPK_IID = {0x0A2B8055, 0xC09C, 0x44E6, {0x89, 0x53, 0x93, 0xCA, 0x21, 0x0D, 0x27, 0x19}};
// {00000001-0000-0000-C000-000000000046}: interface id of the class factory.
inline constexpr QELID QELClassFactory_IID = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// One pure operation per business function, in catalogue order. Each takes a
// handle per input column or table, an int per scalar and the result table
// handle, in catalogue order; failures are thrown.
class IFPK {
public:
    virtual ~IFPK() = default;
#define FPK_FUNCTION(number, NAME, door, category, ...) virtual void NAME(FPK_PARAMS(__VA_ARGS__)) const = 0;
#include "FPKCatalogue.def"
#undef FPK_FUNCTION
};

namespace businessFunctions {
// Front doors: take the raw pointers out of the handles and run the
// function's algorithm.
#define FPK_FUNCTION(number, NAME, door, category, ...) void door(FPK_PARAMS(__VA_ARGS__));
#include "FPKCatalogue.def"
#undef FPK_FUNCTION
}  // namespace businessFunctions
