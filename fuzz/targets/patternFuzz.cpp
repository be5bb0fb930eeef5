// Coverage-guided fuzzing of the column-type pattern matcher: the input's
// first byte splits it into a pattern and a text of type letters.
#include <cstddef>
#include <cstdint>
#include <string>

#include "common/fpkAllocator.h"
#include "common/fpkCommonCode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::size_t split = data[0] % size;
    std::string pattern(reinterpret_cast<const char*>(data + 1), split > 0 ? split - 1 : 0);
    std::string text(reinterpret_cast<const char*>(data + (split > 0 ? split : 1)), size - (split > 0 ? split : 1));
    // Texts and patterns are C strings to the matcher.
    pattern = pattern.c_str();
    text = text.c_str();
    // The matcher backtracks: its time grows exponentially with the number of
    // repeated items, which only the library's own fixed patterns contain
    // (at most two). Hostile patterns are kept to three repeats and the text,
    // one letter per table column, to 64 letters.
    int repeats = 0;
    for (char c : pattern) repeats += (c == '*' || c == '+');
    if (repeats > 3 || text.size() > 64) return 0;
    businessFunctions::RE re(businessFunctions::getGlobalFPKAllocator());
    re.preprocess(pattern.c_str());
    re.match(text.c_str());
    return 0;
}
