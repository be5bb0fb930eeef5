// FORECASTAGENTS: agents needed per interval by Erlang C (M/M/c), and the
// Erlang arithmetic it shares with FORECASTSENSITIVITY.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKForecastAgents {
public:
    enum methodType { SERVICE_LEVEL = 1, SPEED_OF_ANSWER = 2, FRACTIONAL = 3 };

    FPKForecastAgents(ColumnBase* method, ColumnBase* sla, ColumnBase* st, ColumnBase* srph, ColumnBase* aht,
                      InternalTable* result)
        : methodCol(method), slaCol(sla), stCol(st), srphCol(srph), ahtCol(aht), resultTab(result) {}
    void execute();

private:
    ColumnBase* methodCol;
    ColumnBase* slaCol;
    ColumnBase* stCol;
    ColumnBase* srphCol;
    ColumnBase* ahtCol;
    InternalTable* resultTab;
};

namespace erlang {

// The largest offered traffic (Erlangs) the queueing functions work out; the
// walk over agent counts costs about the square root of it per row.
inline constexpr double kMaxTraffic = 1.0e9;

// Erlang B is carried as its inverse, I(j) = 1 / B(j), which follows from the
// recursion B(j) = A B(j-1) / (j + A B(j-1)) as I(j) = 1 + (j / A) I(j-1),
// I(0) = 1: one multiply-add per agent, no factorials, and it overflows to
// infinity (B exactly 0) instead of losing precision.
//
// Below the traffic every factor j / A is less than 1, so an error in I
// shrinks on its way up; walkStart picks the agent count j0 from which the
// recursion needs to run so that an approximate I(j0) = A / (A - j0) has
// shrunk below 1e-26 of its size by `upto` (at most floor(A)). For small
// traffic j0 is 0 and I(0) = 1 exactly.
struct WalkStart {
    double j0;
    double inverse;
};
WalkStart walkStart(double a, double upto);

// Erlang B for n >= 1 whole agents and traffic a >= 0 (1 for infinite traffic).
double erlangB(double n, double a);

// Erlang C from B for n > a: the probability that a request waits.
inline double erlangC(double n, double a, double b) { return n * b / (n - a * (1 - b)); }

// Agents for one row; srph > 0 and the row's values already checked.
double agentsFor(FPKForecastAgents::methodType method, double sla, double st, double srph, double aht);

}  // namespace erlang

}  // namespace businessFunctions
