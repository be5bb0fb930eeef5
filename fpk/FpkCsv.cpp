#include "FpkCsv.h"

namespace fpkcli::csv {

bool Cell::empty() const {
    if (quoted) return false;
    for (char c : text)
        if (c != ' ' && c != '\t') return false;
    return true;
}

namespace {

class Reader {
public:
    Reader(std::string_view text, const std::string& file) : s_(text), file_(&Where::nameOf(file)) {
        if (s_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
    }

    std::vector<Record> records() {
        std::vector<Record> out;
        while (!atEnd()) out.push_back(record());
        return out;
    }

private:
    Where here() const { return Where{file_, line_, column_}; }
    bool atEnd() const { return pos_ >= s_.size(); }
    char peek() const { return atEnd() ? '\0' : s_[pos_]; }
    bool atLineEnd() const { return atEnd() || peek() == '\n' || peek() == '\r'; }

    void advance() {
        const unsigned char c = static_cast<unsigned char>(s_[pos_++]);
        if (c == '\n') {
            ++line_;
            column_ = 1;
        } else if ((c & 0xC0) != 0x80) {
            ++column_;
        }
    }

    // LF, CRLF or a lone CR.
    void skipLineEnd() {
        if (peek() == '\r') {
            ++pos_;
            if (peek() != '\n') {
                ++line_;
                column_ = 1;
            }
        }
        if (peek() == '\n') advance();
    }

    Record record() {
        Record r;
        for (;;) {
            r.push_back(cell());
            if (peek() == ',') {
                advance();
                continue;
            }
            skipLineEnd();
            return r;
        }
    }

    Cell cell() {
        Cell c;
        c.where = here();
        if (peek() != '"') {
            while (!atLineEnd() && peek() != ',') {
                if (peek() == '"') failAt(here(), "malformed CSV: a double quote inside an unquoted cell (quote the whole cell and double the quote)");
                c.text += peek();
                advance();
            }
            return c;
        }
        c.quoted = true;
        advance();
        for (;;) {
            if (atEnd()) failAt(c.where, "malformed CSV: the quoted cell is not closed");
            if (peek() == '"') {
                advance();
                if (peek() == '"') {
                    c.text += '"';
                    advance();
                    continue;
                }
                if (!atLineEnd() && peek() != ',') failAt(here(), "malformed CSV: text after the closing quote of a cell");
                return c;
            }
            c.text += peek();
            advance();
        }
    }

    std::string_view s_;
    const std::string* file_;
    std::size_t pos_ = 0;
    int line_ = 1;
    int column_ = 1;
};

}  // namespace

std::vector<Record> parse(std::string_view text, const std::string& file) { return Reader(text, file).records(); }

}  // namespace fpkcli::csv
