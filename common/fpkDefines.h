// Error definitions and how the library raises them.
//
// Each definition is a function-local static record behind its accessor
// `businessFunctions__<NAME>()`, filled and registered with the host's error
// registry on the first call (a thread-safe one-time initialisation), and
// never freed. `businessFunctions::<NAME>()` is the same accessor under the
// library's namespace.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "../platform/QELError.h"
#include "../platform/QELTrace.h"

#define FPK_ERROR(code, NAME, text) const QELError::ErrorDefinition& businessFunctions__##NAME();
#include "fpkErrors.def"
#undef FPK_ERROR

namespace businessFunctions {

#define FPK_ERROR(code, NAME, text) \
    inline const QELError::ErrorDefinition& NAME() { return ::businessFunctions__##NAME(); }
#include "fpkErrors.def"
#undef FPK_ERROR

// One named argument of a raise: an integer (counts, sizes, years) or a text
// (names, appended sentences).
struct ErrArg {
    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    ErrArg(const char* n, I v) : name(n), isInteger(true), integer(static_cast<int64_t>(v)) {}
    ErrArg(const char* n, std::string_view v) : name(n), text(v) {}
    ErrArg(const char* n, const char* v) : name(n), text(v) {}

    const char* name;
    bool isInteger = false;
    int64_t integer = 0;
    std::string_view text;
};

// Throws the host exception for `def`, with ERROR_CODE and then the given
// arguments appended in order.
[[noreturn]] void raiseError(const char* file, int line, const QELError::ErrorDefinition& def,
                             std::initializer_list<ErrArg> args = {});

// Writes `detail` to `topic` at trace level 3 (when enabled), then raises.
[[noreturn]] void raiseTraced(const char* file, int line, const QELTrace::Topic& topic, std::string_view detail,
                              const QELError::ErrorDefinition& def, std::initializer_list<ErrArg> args = {});

// Writes an "Information: ..." line at trace level 3 when the topic allows it.
inline void traceInfo(const QELTrace::Topic& topic, std::string_view line) {
    if (topic.isEnabled(QELTrace::Info)) topic.write(QELTrace::Info, line);
}

}  // namespace businessFunctions

// FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", name}, {"APPEND", "..."});
#define FPK_RAISE(NAME, ...) ::businessFunctions::raiseError(__FILE__, __LINE__, ::businessFunctions::NAME(), {__VA_ARGS__})
// FPK_RAISE_TRACED(TRACE_FPKLAST, "inputcol->getNative failed.", ERR_FPK_COMM_INTERNAL_ERR);
#define FPK_RAISE_TRACED(topic, detail, NAME, ...) \
    ::businessFunctions::raiseTraced(__FILE__, __LINE__, topic, detail, ::businessFunctions::NAME(), {__VA_ARGS__})
