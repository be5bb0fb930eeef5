// Ordinary least squares of y on x over the first n points.
#pragma once

namespace businessFunctions {

// False when n < 2 or when every x is the same (Sxx exactly 0); otherwise
// b = Sxy / Sxx (slope) and a = mean(y) - b * mean(x) (intercept).
template <class X, class Y>
bool LeastSquare(int n, const X& x, const Y& y, double& a, double& b) {
    if (n < 2) return false;
    double mx = 0, my = 0;
    for (int i = 0; i < n; ++i) {
        mx += x[i];
        my += y[i];
    }
    mx /= n;
    my /= n;
    double sxy = 0, sxx = 0;
    for (int i = 0; i < n; ++i) {
        sxy += (x[i] - mx) * (y[i] - my);
        sxx += (x[i] - mx) * (x[i] - mx);
    }
    if (sxx == 0) return false;
    b = sxy / sxx;
    a = my - b * mx;
    return true;
}

}  // namespace businessFunctions
