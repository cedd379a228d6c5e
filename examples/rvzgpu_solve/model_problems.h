// Model sparse systems in CSR storage with the diagonal first in every row
// (the remaining entries of a row in ascending column order): 3-D
// seven-point finite-difference operators on an nx x ny x nz grid of unit
// spacing with homogeneous Dirichlet boundaries.
#pragma once

#include <cmath>
#include <vector>

namespace rvzmodel {

struct CsrMatrix {
    int n = 0;
    std::vector<int> ia;
    std::vector<int> ja;
    std::vector<double> aa;
    int nna() const { return static_cast<int>(ja.size()); }
};

// Coefficients of the seven-point stencil: west/east (x), south/north (y),
// bottom/top (z) neighbours as off-diagonal values, the diagonal given.
struct Stencil {
    double diagonal;
    double west, east, south, north, bottom, top;
};

inline CsrMatrix SevenPoint(int nx, int ny, int nz, const Stencil& c)
{
    CsrMatrix m;
    m.n = nx * ny * nz;
    m.ia.reserve(static_cast<size_t>(m.n) + 1);
    m.ia.push_back(0);
    auto at = [&](int i, int j, int k) { return i + nx * (j + ny * k); };
    for (int k = 0; k < nz; ++k)
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i) {
                m.ja.push_back(at(i, j, k));
                m.aa.push_back(c.diagonal);
                // Ascending column order: bottom, south, west, east, north, top.
                if (k > 0) m.ja.push_back(at(i, j, k - 1)), m.aa.push_back(c.bottom);
                if (j > 0) m.ja.push_back(at(i, j - 1, k)), m.aa.push_back(c.south);
                if (i > 0) m.ja.push_back(at(i - 1, j, k)), m.aa.push_back(c.west);
                if (i + 1 < nx) m.ja.push_back(at(i + 1, j, k)), m.aa.push_back(c.east);
                if (j + 1 < ny) m.ja.push_back(at(i, j + 1, k)), m.aa.push_back(c.north);
                if (k + 1 < nz) m.ja.push_back(at(i, j, k + 1)), m.aa.push_back(c.top);
                m.ia.push_back(static_cast<int>(m.ja.size()));
            }
    return m;
}

// -laplace(u): symmetric positive definite.
inline CsrMatrix Poisson3D(int nx, int ny, int nz) { return SevenPoint(nx, ny, nz, {6, -1, -1, -1, -1, -1, -1}); }

// -div(K grad u) with K = diag(kx, ky, kz): symmetric positive definite,
// ill-conditioned when the coefficients differ by orders of magnitude.
inline CsrMatrix AnisotropicDiffusion3D(int nx, int ny, int nz, double kx, double ky, double kz)
{
    return SevenPoint(nx, ny, nz, {2 * (kx + ky + kz), -kx, -kx, -ky, -ky, -kz, -kz});
}

// -laplace(u) + w . grad(u) with w = (wx, wy, wz) >= 0, first-order upwind
// convection: non-symmetric, diagonally dominant.
inline CsrMatrix ConvectionDiffusion3D(int nx, int ny, int nz, double wx, double wy, double wz)
{
    return SevenPoint(nx, ny, nz, {6 + wx + wy + wz, -1 - wx, -1, -1 - wy, -1, -1 - wz, -1});
}

inline std::vector<double> Multiply(const CsrMatrix& m, const std::vector<double>& x)
{
    std::vector<double> y(static_cast<size_t>(m.n), 0.0);
    for (int i = 0; i < m.n; ++i) {
        double sum = 0.0;
        for (int k = m.ia[i]; k < m.ia[i + 1]; ++k) sum += m.aa[k] * x[m.ja[k]];
        y[i] = sum;
    }
    return y;
}

inline double Norm(const std::vector<double>& v)
{
    double sum = 0.0;
    for (double x : v) sum += x * x;
    return std::sqrt(sum);
}

}  // namespace rvzmodel
