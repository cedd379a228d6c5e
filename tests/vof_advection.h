// One implicit time step of the extended volume fraction on a box mesh,
// assembled with the library's operations: the Courant numbers, the face
// values of an interface-capturing scheme, the compression-corrected
// coefficients with the deferred correction, and Jacobi BiCGSTAB. The
// caller supplies the face fluxes, the gradient (the library leaves it to
// the flow solver) and the boundary terms. The diagonal is the
// conservative one, a0 + the corrected outflow through the cell's faces:
// the compression makes the corrected fluxes diverge, so this diagonal, not
// the total inflow, keeps the volume balance exact up to the solver.
// scheme -1: first-order upwind (no correction, Fe = 1).
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "flow_test_mesh.h"
#include "test_support.h"

namespace voftest {

using flowtest::BoxMesh;
using flowtest::DeviceMesh;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

constexpr double kFcri = 0.5;
constexpr double kCeBound = 0.3;

// Largest |A x - b| over the rows of an ELL system of the mesh.
inline double Residual(const BoxMesh& m, const std::vector<double>& A, const std::vector<double>& b,
                       const std::vector<double>& x)
{
    double worst = 0.0;
    for (int r = 0; r < m.nCells; ++r) {
        double acc = A[r] * x[r];
        for (int j = 1; j < BoxMesh::nCol; ++j) {
            const size_t at = static_cast<size_t>(j) * m.newNNU + r;
            if (m.indexELL[at] >= 0) acc += A[at] * x[m.indexELL[at]];
        }
        worst = std::max(worst, std::fabs(acc - b[r]));
    }
    return worst;
}

// Central-difference gradient of the cell values along one axis of the box
// (stride 1, nx or nx*ny); a missing neighbour takes the value `outside`
// below and the cell's own value above, or the cell's own value on both
// sides when `outside` is NaN.
inline std::vector<double> CentralGradient(const BoxMesh& m, const std::vector<double>& phi, int axis, double h,
                                           double outside = std::nan(""))
{
    const int n[3] = {m.nx, m.ny, m.nz}, stride[3] = {1, m.nx, m.nx * m.ny};
    std::vector<double> g(m.nExt, 0.0);
    for (int c = 0; c < m.nCells; ++c) {
        const int i = (c / stride[axis]) % n[axis];
        const double lo = i > 0 ? phi[c - stride[axis]] : (std::isnan(outside) ? phi[c] : outside);
        const double hi = i < n[axis] - 1 ? phi[c + stride[axis]] : phi[c];
        g[c] = (hi - lo) / (2.0 * h);
    }
    return g;
}

class Advector {
public:
    // Boundary terms of a step, called after the interior assembly with the
    // matrix and right-hand side on the device.
    using BoundaryTerms = std::function<void(DeviceArray<double>& A, DeviceArray<double>& src,
                                             DeviceArray<double>& phi, const DeviceMesh& d)>;

    Advector(const BoxMesh& m, const std::vector<double>& faceFlux, double dt)
        : m_(m), d_(m), dt_(dt), phi_(m.nExt), gx_(m.nExt), gy_(m.nExt), gz_(m.nExt), co_(m.nExt), pdt_(m.nCells),
          tP_(m.nFaces), tE_(m.nFaces), mfe_(faceFlux), Fe_(m.nFaces), beta_(m.nFaces), aE_(m.nFaces),
          aW_(m.nFaces), t1_(m.nFaces), t2_(m.nFaces), t3_(m.nFaces), src_(m.nCells),
          A_(static_cast<int>(m.EllSize())), area_(FaceAreas(m)), L_(m.nFaces)
    {
        d1_ = Up(std::vector<double>(L_.total, 7.7e200));
        d2_ = Up(std::vector<double>(L_.total, -7.7e200));
        Tool().ZeroDeviceMemory(m.nExt, phi_.get());
    }

    std::vector<double> Phi() const
    {
        const std::vector<double> all = phi_.Download();
        return std::vector<double>(all.begin(), all.begin() + m_.nCells);
    }
    void SetPhi(const std::vector<double>& cells) { flowtest::SetCells(phi_, cells); }
    DeviceArray<double>& PhiDevice() { return phi_; }

    // One step from the stored field. extraDiagonal: per cell, added to the
    // conservative diagonal (the outflow through boundary faces).
    void Step(int scheme, const std::vector<double>& gx, const std::vector<double>& gy,
              const std::vector<double>& gz, const std::vector<double>& extraDiagonal,
              const BoundaryTerms& boundary = nullptr)
    {
        const int nF = m_.nFaces, nCells = m_.nCells, nn = m_.newNNU, nCol = BoxMesh::nCol;
        const int fg = flowtest::Blocks(nF), cg = flowtest::Blocks(nCells);
        const double a0 = 1.0 / dt_;
        const std::vector<double> old = Phi();
        gx_.Upload(gx);
        gy_.Upload(gy);
        gz_.Upload(gz);
        Tool().ZeroDeviceMemory(m_.nExt, co_.get());
        d_.ClearScratch();
        EXPECT_EQ(Tool().Calc_VOF_FlowE_pd_dt_Over_volume(nCells, dt_, *d_.volume, pdt_, cg), 0);
        EXPECT_EQ(Tool().Calc_VOF_FlowE_CourantNoDonnorCell(nF, nCells, nn, nCol, *d_.P, *d_.E, mfe_, pdt_, tP_, tE_,
                                                            co_, *d_.Px, *d_.Py, *d_.Ex, *d_.Ey, *d_.scratch, fg, cg),
                  0);
        if (scheme >= 0)
            EXPECT_EQ(Tool().Calc_VOF_FlowE_InnerFlux_HRScheme(nF, *d_.P, *d_.E, scheme, mfe_, phi_, co_, gx_, gy_,
                                                               gz_, *d_.xc, *d_.yc, *d_.zc, Fe_, beta_, fg),
                      0);
        else
            Fe_.Upload(std::vector<double>(nF, 1.0));
        Tool().ZeroDeviceMemory(nCells, src_.get());
        Tool().ZeroDeviceMemory(static_cast<int>(m_.EllSize()), A_.get());
        d_.ClearScratch();
        double maxCe = 0.0, frontVol = 0.0;
        EXPECT_EQ(Tool().Calc_VOF_FlowE_InnerFluxVolF_Method(
                      0, nF, nCells, nn, nCol, scheme >= 0 ? 1.0 : 0.0, kFcri, kCeBound, *d_.P, *d_.E, mfe_, *d_.le,
                      *d_.sx, *d_.sy, *d_.sz, phi_, co_, Fe_, area_, gx_, gy_, gz_, *d_.volume, *d_.Px, *d_.Py,
                      *d_.Ex, *d_.Ey, aE_, aW_, t1_, t2_, t3_, *d_.scratch, src_, fg, cg, nullptr, nullptr, maxCe,
                      frontVol, *d1_, *d2_, L_.nLevels, L_.count, L_.offset, L_.total, L_.size),
                  0);
        EXPECT_EQ(Tool().Calc_MapaEaWToAi(nF, nn, *d_.Px, *d_.Py, *d_.Ex, *d_.Ey, aE_, aW_, A_, fg), 0);
        // Conservative diagonal and the old level's source.
        std::vector<double> a = A_.Download(), s = src_.Download();
        const std::vector<double> e = aE_.Download(), w = aW_.Download();
        for (int c = 0; c < nCells; ++c) {
            a[c] += a0 * m_.volume[c] + extraDiagonal[c];
            s[c] += a0 * m_.volume[c] * old[c];
        }
        for (int f = 0; f < nF; ++f) {
            const double corrected = e[f] - w[f];  // m'
            a[corrected > 0.0 ? m_.P[f] : m_.E[f]] += std::fabs(corrected);
        }
        A_.Upload(a);
        src_.Upload(s);
        if (boundary) boundary(A_, src_, phi_, d_);
        Solve();
    }

private:
    static std::vector<double> FaceAreas(const BoxMesh& m)
    {
        std::vector<double> area(m.nFaces);
        for (int f = 0; f < m.nFaces; ++f)
            area[f] = std::sqrt(m.sx[f] * m.sx[f] + m.sy[f] * m.sy[f] + m.sz[f] * m.sz[f]);
        return area;
    }

    // Jacobi BiCGSTAB stops at the first exact zero of its scalars (a
    // right-hand side that touches few rows): restarted from where it
    // stopped until the residual is at round-off.
    void Solve()
    {
        for (int restart = 0; restart < 10 && Residual(m_, A_.Download(), src_.Download(), phi_.Download()) > 1e-13;
             ++restart) {
            double resIn = 0.0, resOut = 0.0;
            int iter = 0;
            EXPECT_EQ(Tool().BiCGSTAB_ELL(m_.nCells, BoxMesh::nCol, *d_.indexELL, A_, src_, phi_, 1e-14, resIn, resOut,
                                          iter, 500, static_cast<RVZPreconditionType>(1)),
                      0);
        }
    }

    const BoxMesh& m_;
    DeviceMesh d_;
    double dt_;
    DeviceArray<double> phi_, gx_, gy_, gz_, co_, pdt_, tP_, tE_, mfe_, Fe_, beta_, aE_, aW_, t1_, t2_, t3_, src_, A_,
        area_;
    rvztest::LevelPlan L_;
    std::unique_ptr<DeviceArray<double>> d1_, d2_;
};

}  // namespace voftest
