// A read position in an input text that keeps its line and column, shared by
// the JSON and CSV readers so that both report places the same way.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "FpkErrors.h"

namespace fpkcli {

class TextCursor {
protected:
    TextCursor(std::string_view text, const std::string& file) : s_(text), file_(&Where::nameOf(file)) {
        // A byte-order mark is not part of the text.
        if (s_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
    }

    Where here() const { return Where{file_, line_, column_}; }
    bool atEnd() const { return pos_ >= s_.size(); }
    char peek() const { return atEnd() ? '\0' : s_[pos_]; }

    // Moves one byte on, keeping line and column: a column is a character,
    // so the continuation bytes of a UTF-8 sequence do not count.
    void advance() {
        const unsigned char c = static_cast<unsigned char>(s_[pos_++]);
        if (c == '\n') {
            ++line_;
            column_ = 1;
        } else if ((c & 0xC0) != 0x80) {
            ++column_;
        }
    }

    std::string_view s_;
    const std::string* file_;
    std::size_t pos_ = 0;
    int line_ = 1;
    int column_ = 1;
};

}  // namespace fpkcli
