// SEASONALSIMPLE, SEASONALCOMPLEX and SEASONALSIMULATION: classical
// seasonal decomposition and a synthetic seasonal profile.
//
// The arithmetic lives in the `seasonal` namespace over native arrays, so
// that tests and benchmarks run it without a host; the algorithm classes
// check the inputs, read the columns, call it and write the results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../common/fpkColumnIO.h"

namespace businessFunctions {

namespace seasonal {

// Method numbers of the shared stages, as the METHOD / CONFIG columns carry them.
enum BaseChoice { BASE_MOVING_AVERAGE = 1, BASE_LINEAR_TREND = 2, BASE_SEASON_MEAN = 3, BASE_OVERALL_MEAN = 4 };
enum IndexChoice { INDEX_MULT_MEAN = 1, INDEX_MULT_MEDIAN = 2, INDEX_ADD_MEAN = 3, INDEX_ADD_MEDIAN = 4 };
enum ProjectionChoice { PROJ_LINEAR = 1, PROJ_EXPONENTIAL = 2, PROJ_AVERAGE = 3, PROJ_SMOOTHING = 4 };

inline bool isMultiplicative(int indexMethod) { return indexMethod == INDEX_MULT_MEAN || indexMethod == INDEX_MULT_MEDIAN; }

enum class CoreStatus { OK, TREND_NOT_POSITIVE };

// Doubles of scratch that seasonalDecompose needs for n history periods and
// season length P.
std::size_t decomposeScratchSize(std::size_t n, std::size_t P);

// Classical decomposition of the history A[0..n-1] (period t = 1..n is
// A[t-1], position ((t-1) mod P) + 1) with season length P and H forecast
// periods. Requires n >= 2P, P >= 1, valid method numbers, and in the
// multiplicative model A > 0. Writes the seasonal indices I[0..P-1], the
// projected level T[0..n+H-1] and the model value M[0..n+H-1]. Returns
// TREND_NOT_POSITIVE (writing nothing else of use) when the linear-trend base
// of a multiplicative model is not above 0 somewhere in the history.
CoreStatus seasonalDecompose(const double* A, std::size_t n, std::size_t P, std::size_t H, int base, int index,
                             int projection, double* I, double* T, double* M, double* scratch);

// One cycle of SEASONALCOMPLEX: amplitude, length in periods, start period
// and function (1 sine, 2 cosine).
struct Cycle {
    double amplitude;
    double length;
    double start;
    int function;
};
// c(t) = sum of amplitude * f(2 pi (t - start) / length) over the cycles.
double cycleValue(const Cycle* cycles, std::size_t k, double t);

// SEASONALCOMPLEX without the host: y (n history values), w (n + H working
// days), cycles, per forecast period the override flag (0/1) and value, the
// methods. Writes TREND, DIAGNOTICS (history rows only), CALCULATED and
// FORECAST, n + H values each (DIAGNOTICS n). Requirements as
// seasonalDecompose, plus w > 0.
struct ComplexMethods {
    int base, index, cycle, override_, projection;
};
CoreStatus seasonalComplex(const double* y, const double* w, std::size_t n, std::size_t P, std::size_t H,
                           const Cycle* cycles, std::size_t k, const double* overrideFlag, const double* overrideValue,
                           const ComplexMethods& m, double* trend, double* diagnostics, double* calculated,
                           double* forecast, double* scratch);
// Scratch doubles for seasonalComplex.
std::size_t complexScratchSize(std::size_t n, std::size_t P, std::size_t H);

// SEASONALSIMULATION's shape over one season: s(0..P-1) from DF shape
// parameters c (HARMONIC = 1: Fourier weights; KNOTS = 2: evenly spaced
// knots joined linearly, the last to the first).
void simulationProfile(int method, std::size_t P, std::size_t DF, const double* c, double* profile);
// The result of one period number (already known to be finite): the
// profile rescaled to lower .. upper at position (trunc(period) - 1) mod P.
double simulationValue(const double* profile, std::size_t P, double lo, double hi, double lower, double upper,
                       double period);

}  // namespace seasonal

class FPKSeasonalSimple {
public:
    enum class calendarMethod { NONE = 1 };
    enum class baseMethod { MOVING_AVERAGE = 1, LINEAR_TREND = 2, SEASON_MEAN = 3, OVERALL_MEAN = 4 };
    enum class indexMethod { MULT_MEAN = 1, MULT_MEDIAN = 2, ADD_MEAN = 3, ADD_MEDIAN = 4 };
    enum class cycleMethod { NONE = 1 };
    enum class overrideMethod { NONE = 1 };
    enum class projectionMethod { LINEAR = 1, EXPONENTIAL = 2, AVERAGE = 3, SMOOTHING = 4 };

    FPKSeasonalSimple(ColumnBase* method, ColumnBase* actFlag, ColumnBase* original, ColumnBase* periodNumber,
                      ColumnBase* forecastPeriod, InternalTable* result)
        : method_(method), actFlag_(actFlag), original_(original), periodNumber_(periodNumber),
          forecastPeriod_(forecastPeriod), result_(result) {}
    void execute();

private:
    ColumnBase* method_;
    ColumnBase* actFlag_;
    ColumnBase* original_;
    ColumnBase* periodNumber_;
    ColumnBase* forecastPeriod_;
    InternalTable* result_;
};

class FPKSeasonalComplex {
public:
    enum class calendarMethod { NONE = 1, WORKINGDAYS = 2 };
    enum class baseMethod { MOVING_AVERAGE = 1, LINEAR_TREND = 2, SEASON_MEAN = 3, OVERALL_MEAN = 4 };
    enum class indexMethod { MULT_MEAN = 1, MULT_MEDIAN = 2, ADD_MEAN = 3, ADD_MEDIAN = 4 };
    enum class cycleMethod { NONE = 1, FULL = 2, FORECAST_ONLY = 3 };
    enum class overrideMethod { NONE = 1, REPLACE = 2, ADD = 3 };
    enum class projectionMethod { LINEAR = 1, EXPONENTIAL = 2, AVERAGE = 3, SMOOTHING = 4 };

    // One planner override of a forecast period, as the front door read it.
    struct OverrideRecord {
        double flag;
        double value;
    };

    FPKSeasonalComplex(ColumnBase* original, ColumnBase* workingDays, ColumnBase* cycle, ColumnBase* override_,
                       ColumnBase* overrideValue, ColumnBase* config, const std::vector<OverrideRecord>& overrides,
                       InternalTable* result)
        : original_(original), workingDays_(workingDays), cycle_(cycle), override_(override_),
          overrideValue_(overrideValue), config_(config), overrides_(overrides), result_(result) {}
    void execute();

private:
    ColumnBase* original_;
    ColumnBase* workingDays_;
    ColumnBase* cycle_;
    ColumnBase* override_;
    ColumnBase* overrideValue_;
    ColumnBase* config_;
    const std::vector<OverrideRecord>& overrides_;
    InternalTable* result_;
};

class FPKSeasonalSimulation {
public:
    enum class simulationMethod { HARMONIC = 1, KNOTS = 2 };

    FPKSeasonalSimulation(ColumnBase* method, ColumnBase* periods, ColumnBase* param, InternalTable* result)
        : method_(method), periods_(periods), param_(param), result_(result) {}
    void execute();

private:
    ColumnBase* method_;
    ColumnBase* periods_;
    ColumnBase* param_;
    InternalTable* result_;
};

}  // namespace businessFunctions
