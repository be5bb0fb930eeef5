// FORECASTSENSITIVITY: Erlang C queueing metrics of a call-centre interval
// for a given number of agents.
#pragma once

#include <cstddef>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace businessFunctions {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::InternalTable;

class FPKForecastSensitivity {
public:
    // The result columns, in table order.
    enum metric {
        COMPLETION_RATE,
        TRAFFIC_RATE,
        UTILIZATION,
        LOSS,
        DELAY,
        QUEUE_TIME,
        QUEUE_LENGTH,
        TIME_TO_AGENT,
        CQT_PROPORTION,
        CQL_PROBABILITY,
        SERVICE_LEVEL_PROVIDED,
        METRIC_COUNT
    };

    FPKForecastSensitivity(ColumnBase* agents, ColumnBase* srph, ColumnBase* aht, ColumnBase* st, ColumnBase* cqt,
                           ColumnBase* cql, InternalTable* result)
        : agentsCol(agents), srphCol(srph), ahtCol(aht), stCol(st), cqtCol(cqt), cqlCol(cql), resultTab(result) {}
    void execute();

private:
    ColumnBase* agentsCol;
    ColumnBase* srphCol;
    ColumnBase* ahtCol;
    ColumnBase* stCol;
    ColumnBase* cqtCol;
    ColumnBase* cqlCol;
    InternalTable* resultTab;
};

namespace kernel {
// The eleven metrics of one row; valid[k] false marks a null result.
void sensitivityRow(double agents, double srph, double aht, double st, double cqt, double cql,
                    double out[FPKForecastSensitivity::METRIC_COUNT], bool valid[FPKForecastSensitivity::METRIC_COUNT]);
}  // namespace kernel

}  // namespace businessFunctions
