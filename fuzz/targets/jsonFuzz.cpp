// Coverage-guided fuzzing of the fpk program's JSON reader: any text either
// parses or is refused with a usage error naming the place.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fpk/FpkJson.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        fpkcli::json::parse(std::string_view(reinterpret_cast<const char*>(data), size), "input.json");
    } catch (const fpkcli::UsageError&) {
    }
    return 0;
}
