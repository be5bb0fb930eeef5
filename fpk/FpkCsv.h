// A CSV reader (comma-separated, RFC 4180 quoting) that keeps where every
// cell stands, so that a wrong cell can be reported by line and column.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "FpkErrors.h"

namespace fpkcli::csv {

struct Cell {
    std::string text;     // unquoted content
    bool quoted = false;  // written in double quotes
    Where where;

    // An unquoted cell of blanks only holds nothing.
    bool empty() const;
};

using Record = std::vector<Cell>;

// Parses a whole file into records; the first is the header. Line ends are
// LF or CRLF; an empty line is a record of one empty cell; a quoted cell may
// span lines. An unclosed quote, text after a closing quote or a quote inside
// an unquoted cell raise UsageError at the offending character.
std::vector<Record> parse(std::string_view text, const std::string& file);

}  // namespace fpkcli::csv
