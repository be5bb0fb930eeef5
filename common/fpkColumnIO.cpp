#include "fpkColumnIO.h"

namespace businessFunctions {

namespace {
template <class T>
FpkVector<T> readWithNulls(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                           IoSite site, T nullValue) {
    FpkVector<T> out = makeScratch<T>(alloc, end - begin);
    if (begin == end) return out;
    FpkVector<NullFlags> nulls = makeScratch<NullFlags>(alloc, end - begin);
    readRange(col, begin, end, out.data(), nulls.data(), site);
    replaceNulls(out.data(), nulls.data(), out.size(), nullValue);
    return out;
}
}  // namespace

FpkVector<double> readDoubles(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                              IoSite site, double nullValue) {
    return readWithNulls<double>(col, begin, end, alloc, site, nullValue);
}

FpkVector<int32_t> readInts(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                            IoSite site, int32_t nullValue) {
    return readWithNulls<int32_t>(col, begin, end, alloc, site, nullValue);
}

FpkVector<std::string_view> readTexts(const ColumnBase* col, std::size_t begin, std::size_t end,
                                      RhoUtils::Allocator& alloc, IoSite site) {
    return readWithNulls<std::string_view>(col, begin, end, alloc, site, std::string_view());
}

FpkVector<NullFlags> readNulls(const ColumnBase* col, std::size_t begin, std::size_t end, RhoUtils::Allocator& alloc,
                               IoSite site) {
    FpkVector<NullFlags> nulls = makeScratch<NullFlags>(alloc, end - begin);
    if (begin == end) return nulls;
    // A double read reports the null flags of any numeric column; a string
    // column is read as text.
    if (col != nullptr && col->getValueType() == RhoCommonObjects::VT_STRING) {
        FpkVector<std::string_view> texts = makeScratch<std::string_view>(alloc, end - begin);
        readRange(col, begin, end, texts.data(), nulls.data(), site);
    } else {
        FpkVector<double> values = makeScratch<double>(alloc, end - begin);
        readRange(col, begin, end, values.data(), nulls.data(), site);
    }
    return nulls;
}

void writeDoubles(ColumnBase* col, const double* values, std::size_t n, IoSite site, const NullFlags* nulls) {
    resizeColumn(col, n, site);
    writeRange(col, 0, n, values, nulls, site);
}

}  // namespace businessFunctions
