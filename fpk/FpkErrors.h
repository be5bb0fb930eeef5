// Errors of the fpk program itself (bad usage, bad input files) and the
// place in a file they refer to. They end the program with exit status 2.
#pragma once

#include <stdexcept>
#include <string>

namespace fpkcli {

// A place in an input file: 1-based line and column (columns count
// characters, not bytes). Line 0 means the whole file or a command-line item.
struct Where {
    std::string file;
    int line = 0;
    int column = 0;

    // "file:line:column", or just "file" when there is no line.
    std::string str() const;
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws a UsageError whose message starts with the place.
[[noreturn]] void failAt(const Where& where, const std::string& what);

}  // namespace fpkcli
