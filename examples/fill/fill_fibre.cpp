#include "fill_fibre.h"

#include <algorithm>
#include <utility>
#include <cmath>
#include <string>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_linear_solve.h"
#include "fill_solver.h"

namespace fill {

namespace {

using channel::Buf;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;
using I = Buf<int>;


// Relative tolerance of the component solves: the solution is the step's
// result, and a loose solve would show as a trace that is not 1.
constexpr double kSolveTolerance = 1e-12;
// The transport takes each time step in one pass, so its diagonal is not
// under-relaxed.
constexpr double kNoRelaxation = 1.0;

// Six device arrays of one length.
struct Six {
    D c[6];
    Six(CRVZGPUtool& t, int n) : c{{t, n}, {t, n}, {t, n}, {t, n}, {t, n}, {t, n}} {}
    double* operator[](int k) const { return c[k]; }
};

}  // namespace

std::array<double, 3> PrincipalDirection(const std::array<double, 6>& s)
{
    double a[3][3] = {{s[0], s[3], s[4]}, {s[3], s[1], s[5]}, {s[4], s[5], s[2]}};
    double v[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // columns: eigenvectors
    const double scale = std::fabs(s[0]) + std::fabs(s[1]) + std::fabs(s[2]) + std::fabs(s[3]) + std::fabs(s[4]) +
                         std::fabs(s[5]);
    for (int sweep = 0; sweep < 50; ++sweep) {
        const double off = std::fabs(a[0][1]) + std::fabs(a[0][2]) + std::fabs(a[1][2]);
        if (off <= 1e-15 * scale) break;
        for (int p = 0; p < 2; ++p)
            for (int q = p + 1; q < 3; ++q) {
                if (a[p][q] == 0.0) continue;
                // The rotation that zeroes a[p][q]: tan of its angle t
                // solves t^2 + 2 theta t - 1 = 0 (the smaller root).
                const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
                const double t = (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0), sn = t * c;
                for (int k = 0; k < 3; ++k) {  // a <- a J
                    const double akp = a[k][p], akq = a[k][q];
                    a[k][p] = c * akp - sn * akq;
                    a[k][q] = sn * akp + c * akq;
                }
                for (int k = 0; k < 3; ++k) {  // a <- J^T a
                    const double apk = a[p][k], aqk = a[q][k];
                    a[p][k] = c * apk - sn * aqk;
                    a[q][k] = sn * apk + c * aqk;
                }
                for (int k = 0; k < 3; ++k) {  // v <- v J
                    const double vkp = v[k][p], vkq = v[k][q];
                    v[k][p] = c * vkp - sn * vkq;
                    v[k][q] = sn * vkp + c * vkq;
                }
            }
    }
    int largest = 0;
    for (int k = 1; k < 3; ++k)
        if (a[k][k] > a[largest][largest]) largest = k;
    std::array<double, 3> d{v[0][largest], v[1][largest], v[2][largest]};
    int biggest = 0;
    for (int k = 1; k < 3; ++k)
        if (std::fabs(d[k]) > std::fabs(d[biggest])) biggest = k;
    const double sign = d[biggest] < 0.0 ? -1.0 : 1.0;
    for (double& x : d) x *= sign * a[largest][largest];
    return d;
}

struct FibreOrientation::Arrays {
    Arrays(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& dev);
    ~Arrays() { t.FreeDeviceMemory(record); }

    void Transport(double dt, const FibreFlow& flow);
    void InletOrientation(const FibreFlow& flow);
    void BoundaryValues(const FibreFlow& flow);
    void Evolution(double dt, const FibreFlow& flow);

    CRVZGPUtool& t;
    const FillSettings& s;
    const rvzmesh::Mesh& m;
    const rvzmesh::DeviceMesh& d;
    const int nc = m.nCells, nf = m.nFaces, N = m.newNNU, nCol = m.nColumnPerRow, n = m.nExtended;
    const rvzmesh::DeviceBoundaryList& L(BoundaryKind k) const { return d.boundary[static_cast<int>(k)]; }
    const int ni = m.list(BoundaryKind::Inlet).size(), nw = m.list(BoundaryKind::Wall).size();
    const int no = m.list(BoundaryKind::Outlet).size(), ns = m.list(BoundaryKind::Symmetry).size();
    const bool isotropicInlet;

    // Transport: current and old tensor, the shared matrix, the right-hand
    // sides (N rows, the solver's length), the inlet terms.
    Six tau{t, n}, tau0{t, std::max(nc, 1)}, b{t, N};
    D A{t, N * nCol}, scratch{t, N * nCol}, aE{t, std::max(nf, 1)}, aW{t, std::max(nf, 1)};
    CellSolve cellSolve{t, m, d};  // without a solver set
    Six tempb{t, std::max(ni, 1)};
    D CB{t, std::max(ni, 1)};
    I outletTakesCell{t, std::vector<int>(std::max(no, 1), 0)};
    // Evolution: start, iterate and result, the sub-step state, the work
    // lists and the count buffers of its level table.
    const int cells = std::max(nc, 1);
    Six x0{t, cells}, x2{t, cells}, x1{t, cells}, xtemp{t, cells}, xAvg{t, cells}, F0{t, cells}, dx{t, cells};
    D dt01{t, cells}, dt02{t, cells}, dtSUM{t, cells}, F0max{t, cells}, rate{t, cells};
    I mapG{t, cells}, mapL{t, cells}, map2G{t, cells}, map2L{t, cells};
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
    std::unique_ptr<I> inner, outer;
    stF0_dx_xAvg* record = nullptr;
    bool measure = false;
    FibreTraces traces;
    FibreOrientation::Solver solve;  // empty: BiCGSTAB_ELL on the mesh's rows
    // The largest |trace - 1| of the cells of three device arrays.
    double TraceDeviation(const Six& a) const
    {
        const std::vector<double> xx = a.c[0].Download(nc), yy = a.c[1].Download(nc), zz = a.c[2].Download(nc);
        double worst = 0.0;
        for (int c = 0; c < nc; ++c) worst = std::max(worst, std::fabs(xx[c] + yy[c] + zz[c] - 1.0));
        return worst;
    }
};

namespace {

bool Isotropic(const double a[6])
{
    for (int k = 0; k < 6; ++k)
        if (a[k] != (k < 3 ? 1.0 / 3.0 : 0.0)) return false;
    return true;
}

}  // namespace

FibreOrientation::Arrays::Arrays(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                                 const rvzmesh::DeviceMesh& dev)
    : t(tool), s(settings), m(mesh), d(dev), isotropicInlet(Isotropic(settings.fibre_inlet))
{
    for (int k = 0; k < 6; ++k) tau.c[k].Upload(std::vector<double>(n, s.fibre_inlet[k]));
    Ok(t.GetSizeOfBlock(cells, total, nLevels, count, size, offset), "GetSizeOfBlock");
    inner = std::make_unique<I>(t, total);
    outer = std::make_unique<I>(t, total);
    Ok(t.AllocateDeviceMemory(1, record), "AllocateDeviceMemory");
    stF0_dx_xAvg host;
    for (int k = 0; k < 6; ++k) {
        host.F0[k] = F0[k];
        host.dx[k] = dx[k];
        host.xAvg[k] = xAvg[k];
    }
    Ok(t.DataCopyHost2Device(1, &host, record), "DataCopyHost2Device");
}

// The library's inlet terms bring the melt in isotropic; an inlet
// orientation a_in adds |m| (a_in - I/3) to the right-hand sides of the
// inlet cells, so the inflow carries |m| a_in.
void FibreOrientation::Arrays::InletOrientation(const FibreFlow& flow)
{
    if (isotropicInlet || ni == 0) return;
    std::vector<double> flux(ni);
    Ok(t.DataCopyDevice2Host(ni, flux.data(), flow.inletFlux), "DataCopyDevice2Host");
    const rvzmesh::BoundaryList& in = m.list(BoundaryKind::Inlet);
    for (int k = 0; k < 6; ++k) {
        std::vector<double> rhs = b.c[k].Download();
        const double excess = s.fibre_inlet[k] - (k < 3 ? 1.0 / 3.0 : 0.0);
        for (int f = 0; f < ni; ++f) rhs[in.cell[f]] += -std::min(flux[f], 0.0) * excess;
        b.c[k].Upload(rhs);
    }
}

// Upwind transport with the implicit Euler time term over dt: the matrix
// from the face fluxes, the time term, the inflow, the diagonal as the sum
// of the time term, the inflow and the off-diagonal magnitudes, then one
// solve per component from the current tensor.
void FibreOrientation::Arrays::Transport(double dt, const FibreFlow& flow)
{
    const auto& In = L(BoundaryKind::Inlet);
    const int fb = Blocks(nf), cb = Blocks(nc);
    for (int k = 0; k < 6; ++k) {
        Ok(t.DataCopyDevice2Device(nc, tau0[k], tau[k]), "DataCopyDevice2Device");
        b.c[k].Zero();
    }
    A.Zero();
    Ok(t.Calc_InnerFluxFiber(nf, flow.faceFlux, aE, aW, fb), "Calc_InnerFluxFiber");
    Ok(t.Calc_MapaEaWToAi(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb), "Calc_MapaEaWToAi");
    Ok(t.Calc_Fiber_UnsteadyTermContribution(nc, d.volume, dt, A, b[0], b[1], b[2], b[3], b[4], b[5], tau0[0],
                                                tau0[1], tau0[2], tau0[3], tau0[4], tau0[5], cb),
          "Calc_Fiber_UnsteadyTermContribution");
    if (ni > 0) {
        scratch.Zero();
        Ok(t.Calc_Fiber_InletBoundary(ni, In.nRows, N, nCol, In.slot, flow.inletFlux, CB, tempb[0], tempb[1],
                                         tempb[2], tempb[3], tempb[4], tempb[5], b[0], b[1], b[2], b[3], b[4], b[5],
                                         tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], In.mapPx, In.mapPy, scratch,
                                         In.rows, Blocks(ni), Blocks(In.nRows)),
              "Calc_Fiber_InletBoundary");
        scratch.Zero();
        Ok(t.Calc_Fiber_InletAi(ni, In.nRows, N, nCol, In.mapPx, In.mapPy, CB, scratch, A, In.rows, Blocks(ni),
                                   Blocks(In.nRows)),
              "Calc_Fiber_InletAi");
        InletOrientation(flow);
    }
    Ok(t.Calc_Fiber_FinalCoeff(nc, N, nCol, kNoRelaxation, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], A, b[0],
                                  b[1], b[2], b[3], b[4], b[5], cb),
          "Calc_Fiber_FinalCoeff");
    double* rhs[6];
    double* phi[6];
    for (int k = 0; k < 6; ++k) rhs[k] = b[k], phi[k] = tau[k];
    if (solve) {
        solve(A, rhs, phi, 6, kSolveTolerance);
    } else {
        const double norm = CombinedNorm(t, rhs, 6, nc, [](double v) { return v; });
        for (int k = 0; k < 6; ++k) cellSolve(A, rhs[k], phi[k], kSolveTolerance, norm, "BiCGSTAB_ELL (fibre orientation)");
    }
    if (measure) traces.transported = std::max(traces.transported, TraceDeviation(tau));
}

void FibreOrientation::Arrays::BoundaryValues(const FibreFlow& flow)
{
    const auto &W = L(BoundaryKind::Wall), &O = L(BoundaryKind::Outlet), &S = L(BoundaryKind::Symmetry);
    if (nw > 0)
        Ok(t.Calc_Fiber_WallBC(nw, W.cell, W.slot, flow.wallVent, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5],
                                  Blocks(nw)),
              "Calc_Fiber_WallBC");
    if (no > 0)
        Ok(t.Calc_Fiber_WallBC(no, O.cell, O.slot, outletTakesCell, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5],
                                  Blocks(no)),
              "Calc_Fiber_WallBC");
    if (ns > 0)
        Ok(t.Calc_Fiber_SymmBC(ns, S.cell, S.slot, flow.volf, kFCRI, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5],
                                  Blocks(ns)),
              "Calc_Fiber_SymmBC");
}

// Every cell in one call (global and local numbers coincide); cells below
// the critical volume fraction keep their tensor.
void FibreOrientation::Arrays::Evolution(double dt, const FibreFlow& flow)
{
    const int cb = Blocks(nc);
    const auto& g = flow.grad;
    Ok(t.Calc_ShearRate(nc, 1.0, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], rate, cb), "Calc_ShearRate");
    Ok(t.Calc_Fiber_UpdateTau_Input(nc, x0[0], x0[1], x0[2], x0[3], x0[4], x0[5], tau[0], tau[1], tau[2], tau[3],
                                       tau[4], tau[5], cb),
          "Calc_Fiber_UpdateTau_Input");
    const int grid64 = (nc + 63) / 64;
    Ok(t.Calc_Fiber_Find_x1_Vec(nc, nc, nc, 0, record, x0[0], x0[1], x0[2], x0[3], x0[4], x0[5], x2[0], x2[1],
                                   x2[2], x2[3], x2[4], x2[5], x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], xtemp[0],
                                   xtemp[1], xtemp[2], xtemp[3], xtemp[4], xtemp[5], xAvg[0], xAvg[1], xAvg[2], xAvg[3],
                                   xAvg[4], xAvg[5], F0[0], F0[1], F0[2], F0[3], F0[4], F0[5], dx[0], dx[1], dx[2],
                                   dx[3], dx[4], dx[5], dt01, dt02, dtSUM, F0max, dt, rate, flow.volf, g[0], g[1], g[2],
                                   g[3], g[4], g[5], g[6], g[7], g[8], mapG, mapL, map2G, map2L, s.fibre_aspect_ratio,
                                   s.fibre_interaction, kFCRI, s.fibre_closure, *inner, *outer, grid64, cb, nLevels,
                                   count, offset, total, size),
          "Calc_Fiber_Find_x1_Vec");
    if (measure) traces.evolved = std::max(traces.evolved, TraceDeviation(x1));
    Ok(t.Calc_Fiber_UpdateTau_Output(nc, x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], tau[0], tau[1], tau[2], tau[3],
                                        tau[4], tau[5], cb),
          "Calc_Fiber_UpdateTau_Output");
}

FibreOrientation::FibreOrientation(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                                   const rvzmesh::DeviceMesh& device)
    : a_(std::make_unique<Arrays>(tool, settings, mesh, device))
{
}

void FibreOrientation::SetSolver(Solver solve) { a_->solve = std::move(solve); }

FibreOrientation::~FibreOrientation() = default;

void FibreOrientation::Step(double dt, const FibreFlow& flow)
{
    if (a_->nc == 0) return;
    a_->Transport(dt, flow);
    a_->BoundaryValues(flow);
    a_->Evolution(dt, flow);
}

std::array<std::vector<double>, 6> FibreOrientation::Download() const
{
    std::array<std::vector<double>, 6> out;
    for (int k = 0; k < 6; ++k) out[k] = a_->tau.c[k].Download(a_->nc);
    return out;
}

void FibreOrientation::MeasureTraces(bool on)
{
    a_->measure = on;
    a_->traces = FibreTraces{};
}

FibreTraces FibreOrientation::Traces() const { return a_->traces; }

}  // namespace fill
