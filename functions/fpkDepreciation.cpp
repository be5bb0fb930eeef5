// ANNUALDEPRECIATION, DBDEPRECIATION, SLDEPRECIATION and SOYDEPRECIATION.
//
// Where an asset's block starts depends on the lives of the assets before
// it, so the schedules are computed on the calling thread: a first pass
// checks every value and sums the lives, so that nothing is written unless
// every asset is valid; a second computes the blocks and writes them in
// slices of whole blocks.
#include "fpkDepreciation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(depreciationAllocator, "DepreciationAllocator")

constexpr double kMaxRows = 2147483647.0;
// Rows of result computed between two writes (at least; a longer block is
// computed whole).
constexpr std::size_t kSliceRows = 65536;

[[noreturn]] void raiseValue(const ColumnBase* col, const char* append) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", col->getName()}, {"APPEND", append});
}

bool wholeAtLeastOne(double v) { return std::isfinite(v) && v == std::trunc(v) && v >= 1; }
}  // namespace

namespace depreciation {

double decliningFraction(double rate, FPKDepreciation::assetType kind, double life) {
    const double q = kind == FPKDepreciation::assetType::FIXED_RATE ? rate / 100 : (rate / 100) / life;
    return q > 1 ? 1.0 : q;
}

void schedule(FPKDepreciation::methodType method, double asset, std::size_t life, double q,
              FPKDepreciation::indicatorType indicator, double* valueIndex, double* depValue) {
    const double L = static_cast<double>(life);
    const bool showBook = indicator == FPKDepreciation::indicatorType::BOOK_VALUE;
    double book = asset;
    switch (method) {
        case FPKDepreciation::methodType::SL: {
            const double charge = asset / L;
            for (std::size_t k = 1; k <= life; ++k) {
                const double c = k < life ? charge : book;
                book = book - c;
                valueIndex[k - 1] = static_cast<double>(k);
                depValue[k - 1] = showBook ? book : c;
            }
            break;
        }
        case FPKDepreciation::methodType::SOY: {
            const double digits = L * (L + 1);
            for (std::size_t k = 1; k <= life; ++k) {
                const double c = k < life ? asset * (L - static_cast<double>(k) + 1) * 2 / digits : book;
                book = book - c;
                valueIndex[k - 1] = static_cast<double>(k);
                depValue[k - 1] = showBook ? book : c;
            }
            break;
        }
        case FPKDepreciation::methodType::DB:
            for (std::size_t k = 1; k <= life; ++k) {
                const double c = book * q;
                book = book - c;
                valueIndex[k - 1] = static_cast<double>(k);
                depValue[k - 1] = showBook ? book : c;
            }
            break;
    }
}

}  // namespace depreciation

void FPKDepreciation::execute() {
    traceInfo(TRACE_FPKDEPRECIATION, "Information: FPKDepreciation::execute() begin");
    const bool annual = type == depreciationType::ANNUAL;
    const bool hasRate = annual || type == depreciationType::DB;  // RATE, ASSETTYPE and PERIODS
    const bool hasLife = !hasRate;                                 // LIFE (in periodsCol)

    // Type patterns in catalogue order.
    if (annual) Verifier::verify(methodCol, "I");
    Verifier::verify(assetCol, "d");
    if (hasRate) Verifier::verify(rateCol, "d");
    if (hasLife) Verifier::verify(periodsCol, "d");
    Verifier::verify(indicatorCol, "d");
    if (hasRate) {
        Verifier::verify(assetTypeCol, "d");
        Verifier::verify(periodsCol, "d");
    }
    Verifier::verify(resultTab, "dd");

    ColumnBase* valueIndexCol = resultTab->getColumn(0);
    ColumnBase* depValueCol = resultTab->getColumn(1);
    if (valueIndexCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", valueIndexCol->getName()});
    if (depValueCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", depValueCol->getName()});

    const std::size_t n = assetCol->size();
    const char* sizeText = "Size should be equal to size of ASSET";
    if (annual && methodCol->size() != n) raiseValue(methodCol, sizeText);
    if (hasRate && rateCol->size() != n) raiseValue(rateCol, sizeText);
    if (hasLife && periodsCol->size() != n) raiseValue(periodsCol, sizeText);
    if (hasRate && assetTypeCol->size() != n) raiseValue(assetTypeCol, sizeText);
    if (hasRate && periodsCol->size() != n) raiseValue(periodsCol, sizeText);

    RhoUtils::Allocator& alloc = depreciationAllocator();
    if (indicatorCol->size() == 0) raiseValue(indicatorCol, "Column should have at least 1 row");
    const double indicatorValue =
        readDoubles(indicatorCol, 0, 1, alloc, {TRACE_FPKDEPRECIATION, "indicatorCol->getNative failed."})[0];
    if (!(indicatorValue == 0 || indicatorValue == 1)) raiseValue(indicatorCol, "Indicator should be in (0,1)");
    const indicatorType indicator = indicatorValue == 1 ? indicatorType::BOOK_VALUE : indicatorType::CHARGE;

    const IoSite valueIndexWrite{TRACE_FPKDEPRECIATION, "valueIndexCol->setNative failed."};
    const IoSite depValueWrite{TRACE_FPKDEPRECIATION, "depValueCol->setNative failed."};
    if (n == 0) {
        resizeColumn(valueIndexCol, 0, valueIndexWrite);
        resizeColumn(depValueCol, 0, depValueWrite);
        return;
    }

    // First pass: every value is checked and the lives are summed before
    // anything is written.
    FpkVector<int32_t> methods =
        annual ? readInts(methodCol, alloc, {TRACE_FPKDEPRECIATION, "methodCol->getNative failed."})
               : makeVector<int32_t>(alloc, n, static_cast<int32_t>(type == depreciationType::SL   ? methodType::SL
                                                                    : type == depreciationType::SOY ? methodType::SOY
                                                                                                    : methodType::DB));
    FpkVector<double> assets = readDoubles(assetCol, alloc, {TRACE_FPKDEPRECIATION, "assetCol->getNative failed."});
    FpkVector<double> rates = hasRate
                                  ? readDoubles(rateCol, alloc, {TRACE_FPKDEPRECIATION, "rateCol->getNative failed."})
                                  : makeVector<double>(alloc);
    FpkVector<double> assetTypes =
        hasRate ? readDoubles(assetTypeCol, alloc, {TRACE_FPKDEPRECIATION, "assetTypeCol->getNative failed."})
                : makeVector<double>(alloc);
    FpkVector<double> lives = readDoubles(periodsCol, alloc, {TRACE_FPKDEPRECIATION, "periodsCol->getNative failed."});
    const char* lifeText =
        hasLife ? "Life should be a whole number greater than 0" : "Periods should be a whole number greater than 0";

    double total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const int32_t m = methods[i];
        if (annual && !(m == 1 || m == 2 || m == 3)) raiseValue(methodCol, "Method should be in (1,2,3)");
        if (m == static_cast<int32_t>(methodType::DB)) {
            if (!(rates[i] >= 0)) raiseValue(rateCol, "Rate should not be negative");
            if (!(assetTypes[i] == 0 || assetTypes[i] == 1)) raiseValue(assetTypeCol, "Assettype should be in (0,1)");
        }
        if (!wholeAtLeastOne(lives[i])) raiseValue(periodsCol, lifeText);
        total += lives[i];
    }
    if (total > kMaxRows) {
        if (TRACE_FPKDEPRECIATION.isEnabled(QELTrace::Error))
            TRACE_FPKDEPRECIATION.write(QELTrace::Error, "result size exceeds 2147483647 rows.");
        FPK_RAISE(ERR_FPK_COMM_INTERNAL_ERR);
    }

    // Second pass: the blocks, one after the other. They are computed into
    // a buffer of whole blocks (at least kSliceRows rows) that is written
    // whenever the next block would not fit, so the scratch memory stays
    // small and in cache however long the result is.
    const std::size_t rows = static_cast<std::size_t>(total);
    std::size_t longest = 0;
    for (double l : lives) longest = std::max(longest, static_cast<std::size_t>(l));
    const std::size_t capacity = std::max(longest, std::min(rows, kSliceRows));
    FpkVector<double> valueIndex = makeVector<double>(alloc, capacity);
    FpkVector<double> depValue = makeVector<double>(alloc, capacity);
    resizeColumn(valueIndexCol, rows, valueIndexWrite);
    resizeColumn(depValueCol, rows, depValueWrite);
    std::size_t written = 0, filled = 0;
    auto flush = [&] {
        writeRange(valueIndexCol, written, written + filled, valueIndex.data(), nullptr, valueIndexWrite);
        writeRange(depValueCol, written, written + filled, depValue.data(), nullptr, depValueWrite);
        written += filled;
        filled = 0;
    };
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t life = static_cast<std::size_t>(lives[i]);
        if (filled + life > capacity) flush();
        const methodType method = static_cast<methodType>(methods[i]);
        double q = 0;
        if (method == methodType::DB)
            q = depreciation::decliningFraction(rates[i], static_cast<assetType>(static_cast<int>(assetTypes[i])),
                                                lives[i]);
        depreciation::schedule(method, assets[i], life, q, indicator, valueIndex.data() + filled,
                               depValue.data() + filled);
        filled += life;
    }
    flush();
}

// Front doors.
void qelAnnualDepreciation(const ColumnHandle& method, const ColumnHandle& asset, const ColumnHandle& rate,
                           const ColumnHandle& indicator, const ColumnHandle& assetType, const ColumnHandle& periods,
                           TableHandle& result) {
    FPKDepreciation f(FPKDepreciation::depreciationType::ANNUAL, method.get(), asset.get(), rate.get(),
                      indicator.get(), assetType.get(), periods.get(), result.get());
    f.execute();
}

void qelDbDepreciation(const ColumnHandle& asset, const ColumnHandle& rate, const ColumnHandle& indicator,
                       const ColumnHandle& assetType, const ColumnHandle& periods, TableHandle& result) {
    FPKDepreciation f(FPKDepreciation::depreciationType::DB, nullptr, asset.get(), rate.get(), indicator.get(),
                      assetType.get(), periods.get(), result.get());
    f.execute();
}

void qelSldDepreciation(const ColumnHandle& asset, const ColumnHandle& life, const ColumnHandle& indicator,
                        TableHandle& result) {
    FPKDepreciation f(FPKDepreciation::depreciationType::SL, nullptr, asset.get(), nullptr, indicator.get(), nullptr,
                      life.get(), result.get());
    f.execute();
}

void qelSoyDepreciation(const ColumnHandle& asset, const ColumnHandle& life, const ColumnHandle& indicator,
                        TableHandle& result) {
    FPKDepreciation f(FPKDepreciation::depreciationType::SOY, nullptr, asset.get(), nullptr, indicator.get(),
                      nullptr, life.get(), result.get());
    f.execute();
}

}  // namespace businessFunctions
