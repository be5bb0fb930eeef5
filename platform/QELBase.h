// Interface identifiers, the base of every library object and the class
// factory interface of the host's application-function framework.
#pragma once

#include <cstdint>
#include <cstring>

#include "QELPlatform.h"

// A 16-byte interface identifier in the usual GUID layout. Identifiers are
// compared as three machine words: bytes 0-3, bytes 4-7 and bytes 8-15.
struct QELID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};

inline bool operator==(const QELID& a, const QELID& b) {
    uint32_t a0, b0, a1, b1;
    uint64_t a2, b2;
    std::memcpy(&a0, reinterpret_cast<const char*>(&a), 4);
    std::memcpy(&b0, reinterpret_cast<const char*>(&b), 4);
    std::memcpy(&a1, reinterpret_cast<const char*>(&a) + 4, 4);
    std::memcpy(&b1, reinterpret_cast<const char*>(&b) + 4, 4);
    std::memcpy(&a2, reinterpret_cast<const char*>(&a) + 8, 8);
    std::memcpy(&b2, reinterpret_cast<const char*>(&b) + 8, 8);
    return a0 == b0 && a1 == b1 && a2 == b2;
}
inline bool operator!=(const QELID& a, const QELID& b) { return !(a == b); }

static_assert(sizeof(QELID) == 16, "QELID must be 16 bytes");

// Base of every library object the framework creates.
class QELBase {
public:
    virtual ~QELBase() = default;
    virtual int32_t QueryInterface(const QELID& iid, void** iface, void** object) = 0;
};

// The class factory a plug-in hands out through CreateQELClassFactory.
// Status values: 0 = success, 1 = failure.
class IQELClassFactory_Internal {
public:
    virtual ~IQELClassFactory_Internal() = default;
    virtual int32_t QueryInterface(const QELID& iid, void** out) = 0;
    virtual int32_t CreateInstance(const QELID& iid, void** iface, void** object) = 0;
    virtual int32_t DropInstance(const QELID& iid, void** object) = 0;
};

// Signatures of the exported entries, as the host resolves them by name.
using CreateQELClassFactory_Fn = int32_t (*)(const QELID& clsid, const QELID& iid, void** factory);
// The library object is opaque to the host: it only passes it back.
class CFPK;
using QELWrapper_Fn = int32_t (*)(CFPK* object, void** slots, uint32_t count);
