// GROW: growth by rate or amount from the period GROWPERIODS rows earlier,
// after the switch-over.
#include "fpkGrow.h"

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

void grow(double* values, const double* rate, std::size_t n, int64_t offset, int64_t p, FPKGrow::growType type) {
    // The first future row that has a row p earlier; rows before it keep
    // their value (history, or seeds of the growth).
    const int64_t rows = static_cast<int64_t>(n);
    int64_t r = offset + 1 > p ? offset + 1 : p;
    if (type == FPKGrow::PERCENT) {
        for (; r < rows; ++r) values[r] = values[r - p] * (1 + rate[r - offset - 1] / 100);
    } else {
        for (; r < rows; ++r) values[r] = values[r - p] + rate[r - offset - 1];
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

    FpkVector<double> values = readDoubles(values_, alloc, {TRACE_FPKGROW, "values->getNative failed."});
    // History rates are not used.
    FpkVector<double> rate =
        readDoubles(growRate_, static_cast<std::size_t>(offset + 1), n, alloc, {TRACE_FPKGROW, "growrate->getNative failed."});
    grow::grow(values.data(), rate.data(), n, offset, p, static_cast<growType>(type));
    writeDoubles(result_->getColumn(0), values.data(), n, {TRACE_FPKGROW, "grow->setNative failed."});
}

void qelGrow(const ColumnHandle& values, const ColumnHandle& growPeriods, const ColumnHandle& growRate,
             const ColumnHandle& growType, const ColumnHandle& switchoverType, const ColumnHandle& switchoverDate,
             TableHandle& result) {
    FPKGrow fn(values.get(), growPeriods.get(), growRate.get(), growType.get(), switchoverType.get(),
               switchoverDate.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
