// Fully developed laminar flow of a Newtonian fluid through a rectangular
// duct of width W and height H (series solution of the Poisson equation
// mu (u_yy + u_zz) = -G with u = 0 on the walls).
#pragma once

#include <cmath>

namespace channel {

struct DuctFlow {
    double pressureGradient;  // G = -dp/dx
    double centreVelocity;    // u at the duct's centre line
};

// The flow that carries the mean velocity `mean` (terms up to n = 401).
inline DuctFlow AnalyticDuctFlow(double W, double H, double mu, double mean)
{
    const double pi = 3.14159265358979323846;
    const double a = 0.5 * W, b = 0.5 * H;  // -a < y < a, -b < z < b
    double flowSum = 0.0, centreSum = 0.0;
    for (int n = 1; n <= 401; n += 2) {
        const double k = n * pi / (2.0 * a);
        flowSum += std::tanh(k * b) / std::pow(n, 5);
        const double sign = ((n - 1) / 2) % 2 == 0 ? 1.0 : -1.0;
        centreSum += sign * (1.0 - 1.0 / std::cosh(k * b)) / std::pow(n, 3);
    }
    // Q = 4 b a^3 G/(3 mu) (1 - 192 a/(pi^5 b) sum tanh(n pi b/2a)/n^5)
    const double flowPerG = 4.0 * b * a * a * a / (3.0 * mu) * (1.0 - 192.0 * a / (std::pow(pi, 5) * b) * flowSum);
    const double G = mean * W * H / flowPerG;
    return DuctFlow{G, 16.0 * a * a * G / (mu * std::pow(pi, 3)) * centreSum};
}

}  // namespace channel
