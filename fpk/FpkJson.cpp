#include "FpkJson.h"

#include "FpkTextCursor.h"

#include <cstdint>
#include <mutex>
#include <set>

namespace fpkcli {

std::string Where::str() const {
    const std::string name = file != nullptr ? *file : std::string();
    if (line <= 0) return name;
    return name + ":" + std::to_string(line) + ":" + std::to_string(column);
}

const std::string& Where::nameOf(const std::string& name) {
    static std::mutex lock;
    static std::set<std::string> names;
    std::lock_guard<std::mutex> guard(lock);
    return *names.insert(name).first;
}

void failAt(const Where& where, const std::string& what) {
    const std::string place = where.str();
    throw UsageError(place.empty() ? what : place + ": " + what);
}

namespace json {

const Value* Value::member(std::string_view key) const {
    for (const Member& m : members)
        if (m.key == key) return &m.value;
    return nullptr;
}

const char* Value::kindName() const {
    switch (kind) {
        case Null:
            return "null";
        case Bool:
            return "a boolean";
        case Number:
            return "a number";
        case String:
            return "a string";
        case Array:
            return "an array";
        case Object:
            return "an object";
    }
    return "a value";
}

namespace {

constexpr int kMaxDepth = 256;

class Parser : TextCursor {
public:
    Parser(std::string_view text, const std::string& file) : TextCursor(text, file) {}

    Value document() {
        skipSpace();
        Value v = value(0);
        skipSpace();
        if (pos_ < s_.size()) fail("unexpected text after the end of the document");
        return v;
    }

private:
    [[noreturn]] void fail(const std::string& what) const { failAt(here(), "malformed JSON: " + what); }


    void skipSpace() {
        while (!atEnd()) {
            const char c = peek();
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
                advance();
            else
                break;
        }
    }

    void expectLiteral(std::string_view word) {
        for (char c : word) {
            if (peek() != c) fail("unknown word (expected a value)");
            advance();
        }
    }

    Value value(int depth) {
        if (depth > kMaxDepth) fail("nesting is deeper than 256 levels");
        Value v;
        v.where = here();
        if (atEnd()) fail("unexpected end of input (expected a value)");
        const char c = peek();
        switch (c) {
            case '{':
                object(v, depth);
                break;
            case '[':
                array(v, depth);
                break;
            case '"':
                v.kind = Value::String;
                v.text = string();
                break;
            case 't':
                expectLiteral("true");
                v.kind = Value::Bool;
                v.boolean = true;
                break;
            case 'f':
                expectLiteral("false");
                v.kind = Value::Bool;
                break;
            case 'n':
                expectLiteral("null");
                break;
            default:
                if (c == '-' || (c >= '0' && c <= '9')) {
                    v.kind = Value::Number;
                    v.text = number();
                } else {
                    fail(std::string("unexpected character '") + c + "' (expected a value)");
                }
        }
        return v;
    }

    void object(Value& v, int depth) {
        v.kind = Value::Object;
        advance();  // '{'
        skipSpace();
        if (peek() == '}') {
            advance();
            return;
        }
        for (;;) {
            skipSpace();
            if (peek() != '"') fail(atEnd() ? "unexpected end of input (expected a key)" : "expected a key in double quotes");
            const Where keyAt = here();
            std::string key = string();
            if (v.member(key) != nullptr) failAt(keyAt, "duplicate key \"" + key + "\"");
            skipSpace();
            if (peek() != ':') fail(atEnd() ? "unexpected end of input (expected ':')" : "expected ':' after the key");
            advance();
            skipSpace();
            Value member = value(depth + 1);
            v.members.push_back(Member{std::move(key), std::move(member), keyAt});
            skipSpace();
            if (peek() == ',') {
                advance();
                continue;
            }
            if (peek() == '}') {
                advance();
                return;
            }
            fail(atEnd() ? "unexpected end of input (expected ',' or '}')" : "expected ',' or '}' after an object member");
        }
    }

    void array(Value& v, int depth) {
        v.kind = Value::Array;
        advance();  // '['
        skipSpace();
        if (peek() == ']') {
            advance();
            return;
        }
        for (;;) {
            skipSpace();
            v.items.push_back(value(depth + 1));
            skipSpace();
            if (peek() == ',') {
                advance();
                continue;
            }
            if (peek() == ']') {
                advance();
                return;
            }
            fail(atEnd() ? "unexpected end of input (expected ',' or ']')" : "expected ',' or ']' after an array element");
        }
    }

    std::string number() {
        const std::size_t start = pos_;
        auto digits = [&] {
            if (!(peek() >= '0' && peek() <= '9')) fail("expected a digit in the number");
            while (peek() >= '0' && peek() <= '9') advance();
        };
        if (peek() == '-') advance();
        if (peek() == '0') {
            advance();
            if (peek() >= '0' && peek() <= '9') fail("a number must not start with 0");
        } else {
            digits();
        }
        if (peek() == '.') {
            advance();
            digits();
        }
        if (peek() == 'e' || peek() == 'E') {
            advance();
            if (peek() == '+' || peek() == '-') advance();
            digits();
        }
        return std::string(s_.substr(start, pos_ - start));
    }

    unsigned hex4() {
        unsigned u = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = peek();
            unsigned d;
            if (c >= '0' && c <= '9')
                d = static_cast<unsigned>(c - '0');
            else if (c >= 'a' && c <= 'f')
                d = static_cast<unsigned>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                d = static_cast<unsigned>(c - 'A' + 10);
            else
                fail("expected four hexadecimal digits after \\u");
            u = u * 16 + d;
            advance();
        }
        return u;
    }

    static void appendUtf8(std::string& out, uint32_t cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    std::string string() {
        const Where start = here();
        advance();  // opening quote
        std::string out;
        for (;;) {
            if (atEnd()) failAt(start, "malformed JSON: the string is not closed");
            const char c = peek();
            if (c == '"') {
                advance();
                return out;
            }
            if (static_cast<unsigned char>(c) < 0x20) fail("a control character inside a string (write it as an escape)");
            if (c != '\\') {
                out += c;
                advance();
                continue;
            }
            advance();
            const char e = peek();
            switch (e) {
                case '"':
                case '\\':
                case '/':
                    out += e;
                    break;
                case 'b':
                    out += '\b';
                    break;
                case 'f':
                    out += '\f';
                    break;
                case 'n':
                    out += '\n';
                    break;
                case 'r':
                    out += '\r';
                    break;
                case 't':
                    out += '\t';
                    break;
                case 'u': {
                    advance();
                    uint32_t cp = hex4();
                    if (cp >= 0xD800 && cp <= 0xDBFF) {
                        if (peek() != '\\') fail("a lone high surrogate in a \\u escape");
                        advance();
                        if (peek() != 'u') fail("a lone high surrogate in a \\u escape");
                        advance();
                        const uint32_t low = hex4();
                        if (low < 0xDC00 || low > 0xDFFF) fail("a high surrogate not followed by a low one");
                        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                        fail("a lone low surrogate in a \\u escape");
                    }
                    appendUtf8(out, cp);
                    continue;  // hex4 has moved past the digits
                }
                default:
                    fail(atEnd() ? "unexpected end of input in an escape" : std::string("unknown escape \\") + e);
            }
            advance();
        }
    }
};

}  // namespace

Value parse(std::string_view text, const std::string& file) { return Parser(text, file).document(); }

}  // namespace json
}  // namespace fpkcli
