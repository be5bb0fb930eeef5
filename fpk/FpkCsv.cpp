#include "FpkCsv.h"

#include "FpkTextCursor.h"

namespace fpkcli::csv {

bool Cell::empty() const {
    if (quoted) return false;
    for (char c : text)
        if (c != ' ' && c != '\t') return false;
    return true;
}

namespace {

class Reader : TextCursor {
public:
    Reader(std::string_view text, const std::string& file) : TextCursor(text, file) {}

    std::vector<Record> records() {
        std::vector<Record> out;
        while (!atEnd()) out.push_back(record());
        return out;
    }

private:
    bool atLineEnd() const { return atEnd() || peek() == '\n' || peek() == '\r'; }

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
};

}  // namespace

std::vector<Record> parse(std::string_view text, const std::string& file) { return Reader(text, file).records(); }

}  // namespace fpkcli::csv
