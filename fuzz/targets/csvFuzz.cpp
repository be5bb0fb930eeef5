// Coverage-guided fuzzing of the fpk program's CSV reader.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fpk/FpkCsv.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        fpkcli::csv::parse(std::string_view(reinterpret_cast<const char*>(data), size), "input.csv");
    } catch (const fpkcli::UsageError&) {
    }
    return 0;
}
