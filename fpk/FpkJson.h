// A JSON reader that keeps where every value and key stands in the file, so
// that a wrong value deep inside an input can be reported by line and column.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "FpkErrors.h"

namespace fpkcli::json {

struct Member;

struct Value {
    enum Kind { Null, Bool, Number, String, Array, Object };

    Kind kind = Null;
    bool boolean = false;
    // Number: the token as written (converted by whoever knows the target
    // type); String: the decoded text.
    std::string text;
    std::vector<Value> items;                           // Array
    std::vector<Member> members;  // Object, in file order
    Where where;                  // where the value starts

    const Value* member(std::string_view key) const;
    // "a number", "a string", "an array", ... for messages.
    const char* kindName() const;
};

struct Member {
    std::string key;
    Value value;
    Where where;  // where the key stands
};

// Parses a whole document. Malformed text, a duplicate key or nesting deeper
// than 256 levels raise UsageError at the offending character.
Value parse(std::string_view text, const std::string& file);

}  // namespace fpkcli::json
