// OUTLOOK: the latest estimate of a plan, actuals before the switch-over and
// a view of the plan after it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../common/fpkColumnIO.h"

namespace businessFunctions {

class FPKOutlook {
public:
    enum outlookMethod { PLAN = 0, RATIO = 1, TARGET = 2 };

    FPKOutlook(ColumnBase* plan, ColumnBase* actual, ColumnBase* method, ColumnBase* switchover,
               ColumnBase* switchoverDate, InternalTable* result)
        : plan_(plan), actual_(actual), method_(method), switchover_(switchover), switchoverDate_(switchoverDate),
          result_(result) {}
    void execute();

private:
    ColumnBase* plan_;
    ColumnBase* actual_;
    ColumnBase* method_;
    ColumnBase* switchover_;
    ColumnBase* switchoverDate_;
    InternalTable* result_;
};

namespace outlook {
// The outlook of n plan rows: rows 0..offset show the actuals (actual has
// nA rows; rows beyond it count as 0), the rest the plan as `method` views
// it. `out` may be `plan` itself.
void outlook(const double* plan, const double* actual, std::size_t nA, double* out, std::size_t n, int64_t offset,
             FPKOutlook::outlookMethod method);
}  // namespace outlook

}  // namespace businessFunctions
