// GROW: growth by rate or amount from the period GROWPERIODS rows earlier,
// after the switch-over.
#include "fpkGrow.h"

#include <algorithm>
#include <string>

#include "../common/fpkAllocator.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkSeasonalCommon.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(growAllocator, "GrowAllocator")

void raiseEmpty(const char* name) {
    FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", name},
              {"APPEND", std::string(name) + " should not be empty"});
}
}  // namespace

namespace grow {

void growBlock(double* buf, std::size_t p, const double* rate, std::size_t count, int64_t first, int64_t offset,
               FPKGrow::growType type) {
    // Rows before `start` keep their value: history, or no row p earlier (seeds).
    const int64_t pp = static_cast<int64_t>(p);
    const int64_t start = std::max(offset + 1, pp);
    const std::size_t from =
        start <= first ? 0 : static_cast<std::size_t>(std::min<int64_t>(start - first, static_cast<int64_t>(count)));
    double* cur = buf + p;
    const double* base = buf;  // base[i] is the result of row first + i - p
    if (type == FPKGrow::PERCENT) {
        for (std::size_t i = from; i < count; ++i) cur[i] = base[i] * (1 + rate[i] / 100);
    } else {
        for (std::size_t i = from; i < count; ++i) cur[i] = base[i] + rate[i];
    }
}

}  // namespace grow

void FPKGrow::execute() {
    traceInfo(TRACE_FPKGROW, "Information: FPKGrow::execute() begin");
    Verifier::verify(values_, "d", "VALUES");
    Verifier::verify(growPeriods_, "d", "GROWPERIODS");
    Verifier::verify(growRate_, "d", "GROWRATE");
    Verifier::verify(growType_, "d", "GROWTYPE");
    Verifier::verify(switchoverType_, "d", "SWITCHOVERTYPE");
    Verifier::verify(switchoverDate_, "S", "SWITCHOVERDATE");
    Verifier::verify(result_, "d");
    RhoUtils::Allocator& alloc = growAllocator();

    const std::size_t n = values_->size();
    if (growRate_->size() != n)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", growRate_->size()}, {"COL", "GROWRATE"},
                  {"APPEND", "Size of GROWRATE should be equal to size of VALUES"});
    if (growPeriods_->size() == 0) raiseEmpty("GROWPERIODS");
    const int32_t p =
        planning::asInteger(planning::controlValue(growPeriods_, {TRACE_FPKGROW, "growperiods->getNative failed."}));
    if (p < 1)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "GROWPERIODS"},
                  {"APPEND", "Grow periods should be greater than 0"});
    if (growType_->size() == 0) raiseEmpty("GROWTYPE");
    const int32_t type =
        planning::asInteger(planning::controlValue(growType_, {TRACE_FPKGROW, "growtype->getNative failed."}));
    if (type != PERCENT && type != AMOUNT)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "GROWTYPE"}, {"APPEND", "Growtype should be in (0,1)"});
    if (switchoverType_->size() == 0) raiseEmpty("SWITCHOVERTYPE");
    const int offset = planning::monthHistoryOffset(switchoverType_, switchoverDate_, n);

    const IoSite readValues{TRACE_FPKGROW, "values->getNative failed."};
    const IoSite readRate{TRACE_FPKGROW, "growrate->getNative failed."};
    const IoSite write{TRACE_FPKGROW, "grow->setNative failed."};
    ColumnBase* out = result_->getColumn(0);
    resizeColumn(out, n, write);
    if (n == 0) return;

    // The rows stream through a buffer that keeps the last p results before
    // the block in front of it. With p >= n no row has a base, and the
    // result is VALUES.
    const std::size_t keep = static_cast<std::size_t>(p) < n ? static_cast<std::size_t>(p) : 0;
    const std::size_t block = std::min(n, std::max(planning::kBlockRows, keep));
    FpkVector<double> buf = makeVector<double>(alloc, keep + block);
    FpkVector<double> rate = makeVector<double>(alloc, block);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, block);
    const std::size_t history = static_cast<std::size_t>(offset + 1);
    for (std::size_t b = 0; b < n; b += block) {
        const std::size_t e = std::min(n, b + block), count = e - b;
        planning::readBlock(values_, b, e, buf.data() + keep, nulls.data(), readValues);
        if (keep > 0 && e > history) {
            // History rates are not read.
            const std::size_t r0 = std::max(b, history);
            planning::readBlock(growRate_, r0, e, rate.data() + (r0 - b), nulls.data(), readRate);
            grow::growBlock(buf.data(), keep, rate.data(), count, static_cast<int64_t>(b), offset,
                            static_cast<growType>(type));
        }
        writeRange(out, b, e, buf.data() + keep, nullptr, write);
        // The last `keep` results become the bases of the next block.
        if (keep > 0) std::copy(buf.data() + count, buf.data() + count + keep, buf.data());
    }
}

void qelGrow(const ColumnHandle& values, const ColumnHandle& growPeriods, const ColumnHandle& growRate,
             const ColumnHandle& growType, const ColumnHandle& switchoverType, const ColumnHandle& switchoverDate,
             TableHandle& result) {
    FPKGrow fn(values.get(), growPeriods.get(), growRate.get(), growType.get(), switchoverType.get(),
               switchoverDate.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
