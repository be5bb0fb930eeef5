// Errors of the fpk program itself (bad usage, bad input files) and the
// place in a file they refer to. They end the program with exit status 2.
#pragma once

#include <stdexcept>
#include <string>

namespace fpkcli {

// A place in an input file: 1-based line and column (columns count
// characters, not bytes). Line 0 means the whole file or a command-line item.
// The name is kept once per file (see nameOf), so that the place of every
// value of a large input costs no copy of it.
struct Where {
    const std::string* file = nullptr;
    int line = 0;
    int column = 0;

    Where() = default;
    Where(const std::string* name, int l, int c) : file(name), line(l), column(c) {}
    // A place named by text, such as a file or "--set FLAG=x".
    explicit Where(const std::string& name) : file(&nameOf(name)) {}

    // "file:line:column", or just "file" when there is no line.
    std::string str() const;
    // The one stored copy of a name, kept for the life of the program.
    static const std::string& nameOf(const std::string& name);
};

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws a UsageError whose message starts with the place.
[[noreturn]] void failAt(const Where& where, const std::string& what);

}  // namespace fpkcli
