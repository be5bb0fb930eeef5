#include "fpkCommonCode.h"

#include "fpkDefines.h"
#include "fpkTrace.h"

namespace businessFunctions {

namespace {
// The verifier compiles its patterns in its own allocator.
FPK_FUNCTION_ALLOCATOR(verifierAllocator, "VerifierAllocator")

constexpr char kNoLetter = static_cast<char>(0xFF);
}  // namespace

RE::RE(RhoUtils::Allocator& alloc) : items_(FpkAllocator<ReItem>(alloc)) {}

void RE::preprocess(const char* pattern) {
    items_.clear();
    for (const char* p = pattern; *p != '\0'; ++p) {
        ReItem item;
        if (*p == '[') {
            ++p;
            while (*p != '\0' && *p != ']') item.chars.insert(*p++);
            if (*p == '\0') --p;  // an unclosed class ends with the pattern
        } else {
            item.chars.insert(*p);
        }
        // An empty class "[]" would read as the end of the items; it accepts
        // no letter, which NUL (never part of a text) stands in for.
        if (item.chars.empty()) item.chars.insert('\0');
        items_.push_back(std::move(item));
    }
    items_.push_back(ReItem());
}

bool RE::match(const char* text) const {
    iterator first = items_.begin();
    if (first->isChar('^')) return matchFromHere(first + 1, text);
    for (;; ++text) {
        if (matchFromHere(first, text)) return true;
        if (*text == '\0') return false;
    }
}

bool RE::matchFromHere(iterator it, const char* text) const {
    if (it->isEnd()) return true;
    iterator next = it + 1;
    if (next->isChar('*')) return matchStar(*it, it + 2, text);
    if (next->isChar('+')) return matchPlus(*it, it + 2, text);
    if (it->isChar('$') && next->isEnd()) return *text == '\0';
    if (*text != '\0' && (it->isChar('.') || *it == *text)) return matchFromHere(next, text + 1);
    return false;
}

bool RE::matchStar(const ReItem& item, iterator it, const char* text) const {
    for (;; ++text) {
        if (matchFromHere(it, text)) return true;
        if (*text == '\0' || !(item == *text || item.isChar('.'))) return false;
    }
}

bool RE::matchPlus(const ReItem& item, iterator it, const char* text) const {
    while (*text != '\0' && (item == *text || item.isChar('.'))) {
        ++text;
        if (matchFromHere(it, text)) return true;
    }
    return false;
}

int Verifier::translteTypeToChar(int typeCode) {
    switch (typeCode) {
        case 70:
        case 77:
        case 100:
            return 'd';
        case 73:
            return 'I';
        case 83:
            return 'S';
        default:
            return (typeCode >= 70 && typeCode <= 100) ? 255 : -1;
    }
}

namespace {
bool matches(const std::string& pattern, const std::string& letters) {
    RE re(verifierAllocator());
    re.preprocess(pattern.c_str());
    return re.match(letters.c_str());
}

char letterOf(int typeCode) {
    int c = Verifier::translteTypeToChar(typeCode);
    return (c == 255 || c == -1) ? kNoLetter : static_cast<char>(c);
}
// The name of the first column of the table whose type has no letter.
const char* firstUnsupportedName(const RhoCommonObjects::InternalTable* table) {
    for (std::size_t i = 0; i < table->getColumnCount(); ++i) {
        const RhoCommonObjects::ColumnBase* col = table->getColumn(i);
        if (col == nullptr) return table->getName();
        if (letterOf(col->getValueType()) == kNoLetter) return col->getName();
    }
    return table->getName();
}
}  // namespace

int32_t Verifier::verifyCol(const RhoCommonObjects::ColumnBase* column, const std::string& pattern) {
    if (column == nullptr) return 2;
    const int code = column->getValueType();
    const char letter = (code >= 240 && code <= 242) ? kNoLetter : letterOf(code);
    return matches(pattern, std::string(1, letter)) ? 0 : 1;
}

int32_t Verifier::verifyTab(const RhoCommonObjects::InternalTable* table, const std::string& pattern) {
    if (table == nullptr) return 2;
    std::string letters;
    for (std::size_t i = 0; i < table->getColumnCount(); ++i) {
        const RhoCommonObjects::ColumnBase* col = table->getColumn(i);
        const char letter = col != nullptr ? letterOf(col->getValueType()) : kNoLetter;
        if (letter == kNoLetter) return 3;
        letters.push_back(letter);
    }
    return matches(pattern, letters) ? 0 : 1;
}

void Verifier::verify(const RhoCommonObjects::ColumnBase* column, const char* pattern, const char* colName) {
    const std::string anchored = std::string("^") + pattern + "$";
    switch (verifyCol(column, anchored)) {
        case 0:
            return;
        case 2:
            FPK_RAISE_TRACED(TRACE_FPKCOMMONCODE,
                             "Verifier::verifyColumn: The input column pointer for verifying is NULL.",
                             ERR_FPK_COMM_INTERNAL_ERR);
        default:
            FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", colName != nullptr ? colName : column->getName()});
    }
}

void Verifier::verify(const RhoCommonObjects::InternalTable* table, const char* pattern) {
    const std::string anchored = std::string("^") + pattern + "$";
    switch (verifyTab(table, anchored)) {
        case 0:
            return;
        case 2:
            FPK_RAISE_TRACED(TRACE_FPKCOMMONCODE,
                             "Verifier::verifyTable: The input itab pointer for verifying is NULL.",
                             ERR_FPK_COMM_INTERNAL_ERR);
        case 3:
            FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", firstUnsupportedName(table)});
        default:
            FPK_RAISE(ERR_FPK_COMM_UNMATCHED_TABLE_TYPE, {"TAB", table->getName()});
    }
}

}  // namespace businessFunctions
