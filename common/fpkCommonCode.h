// Input verification: the type letters of host columns and the small
// backtracking matcher for column-type patterns such as "[ID]+".
//
// Letters: host codes 70, 77 and 100 give 'd', 73 gives 'I', 83 gives 'S'.
// Patterns compare letters exactly, so a capital 'D' in a pattern matches no
// column at all: "[ID]" accepts integer columns only. Functions that accept
// double columns in a table use a lower-case 'd' ("[Id]").
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"
#include "../platform/RhoUtils/Allocator.h"
#include "fpkAllocator.h"

namespace businessFunctions {

class RE {
public:
    // One compiled item: the set of characters it accepts.
    struct ReItem {
        std::set<char> chars;
        bool operator==(char c) const { return chars.count(c) != 0; }
        bool isChar(char c) const { return chars.size() == 1 && *chars.begin() == c; }
        bool isEnd() const { return chars.empty(); }
    };
    using Items = std::vector<ReItem, FpkAllocator<ReItem>>;
    using iterator = Items::const_iterator;

    explicit RE(RhoUtils::Allocator& alloc);
    // Compiles the pattern: "[...]" is a class, every other character an item
    // of its own; a terminating empty item ends the list.
    void preprocess(const char* pattern);
    bool match(const char* text) const;

    bool matchFromHere(iterator it, const char* text) const;
    bool matchStar(const ReItem& item, iterator it, const char* text) const;
    bool matchPlus(const ReItem& item, iterator it, const char* text) const;

private:
    Items items_;
};

class Verifier {
public:
    // The letter of a host value-type code; 255 (no letter) for other codes
    // in 70..100 and -1 outside it.
    static int translteTypeToChar(int typeCode);
    // 0 match, 1 no match, 2 null column.
    static int32_t verifyCol(const RhoCommonObjects::ColumnBase* column, const std::string& pattern);
    // 0 match, 1 no match, 2 null table, 3 a column type without a letter.
    static int32_t verifyTab(const RhoCommonObjects::InternalTable* table, const std::string& pattern);
    // Anchor the pattern, check, and raise on failure: a column mismatch is
    // ERR_FPK_COMM_UNSUPPORTED_COL_TYPE with COL = colName (the column's own
    // name when colName is null); a table mismatch
    // ERR_FPK_COMM_UNMATCHED_TABLE_TYPE with TAB = the table's name; null
    // pointers the traced internal error.
    static void verify(const RhoCommonObjects::ColumnBase* column, const char* pattern, const char* colName = nullptr);
    static void verify(const RhoCommonObjects::InternalTable* table, const char* pattern);
};

}  // namespace businessFunctions
