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

// What every future row shows: the plan times `factor` (PLAN: factor 1), or
// the same `level` on every row (TARGET when the future plan sums to 0).
struct FutureView {
    bool even;
    double factor;
    double level;
};

// From SA (actuals of the history), SPH (plan of the history), SPF (plan of
// the future rows) and the number of future rows.
FutureView futureView(FPKOutlook::outlookMethod method, double sa, double sph, double spf, std::size_t futureRows);

// The outlook of `count` future rows; `out` may be `plan`.
void future(const double* plan, double* out, std::size_t count, const FutureView& view);

// Sum of v[0..count-1].
double sum(const double* v, std::size_t count);

}  // namespace outlook

}  // namespace businessFunctions
