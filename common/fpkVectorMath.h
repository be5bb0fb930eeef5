// Elementary functions over whole arrays, computed as vector code.
//
// Each routine computes y[i] = f(x[i]) for i < n (x and y may be the same
// array). The results are within one unit in the last place of the exact
// value (the tests measure how far against an extended-precision
// reference), special values (NaN, infinities, zeros, arguments outside the
// domain, overflow and underflow) give exactly what the C library gives,
// and a result depends only on its own argument: never on the processor's
// vector level, on n, or on the position of the element in the array.
#pragma once

#include <cstddef>

namespace businessFunctions::vmath {

void exp(const double* x, double* y, std::size_t n);
void log(const double* x, double* y, std::size_t n);
// y[i] = base[i] raised to power[i].
void pow(const double* base, const double* power, double* y, std::size_t n);
void sin(const double* x, double* y, std::size_t n);
void cos(const double* x, double* y, std::size_t n);

}  // namespace businessFunctions::vmath
