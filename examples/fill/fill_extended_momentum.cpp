#include "fill_extended_momentum.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_solver.h"

namespace fill {

namespace {

using rvzmesh::Blocks;

// Weight of the limiter between the deferred non-orthogonal correction and
// the explicit diffusion (the basic path's value).
constexpr double kNonOrthLimit = 0.5;

}  // namespace

ExtendedMomentum::ExtendedMomentum(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                                   const rvzmesh::DeviceMesh& device, const MomentumArrays& arrays,
                                   GradientFunction gradient)
    : t_(tool), s_(settings), m_(mesh), d_(device), a_(arrays)
{
    const double* g = s_.extended.gravity;
    gravity_ = g[0] != 0.0 || g[1] != 0.0 || g[2] != 0.0;
    if (s_.extended.surface_tension > 0.0) {
        if (!gradient || a_.volf == nullptr)
            throw std::invalid_argument("surface tension needs the melt fraction and its gradient");
        tension_ = std::make_unique<SurfaceTension>(tool, mesh, std::move(gradient));
    }
}

ExtendedMomentum::~ExtendedMomentum() = default;

void ExtendedMomentum::FacesAndCellSources(double dt)
{
    const int nf = m_.nFaces, nc = m_.nCells, N = m_.newNNU, nCol = m_.nColumnPerRow;
    const int fb = Blocks(nf), cb = Blocks(nc);
    const rvzmesh::DeviceMesh& d = d_;
    // Face mass fluxes: the face volume fraction mixes the densities.
    Ok(t_.Calc_FlowE_InnerFluxUVW_mfe(nf, 0, s_.air_density, s_.density, d.ijP, d.ijE, a_.den, a_.vfe, a_.flux, a_.mfe,
                                      fb),
       "Calc_FlowE_InnerFluxUVW_mfe");
    Ok(t_.ZeroDeviceMemory(N * nCol, a_.scratch), "ZeroDeviceMemory");
    double** g = a_.grad;
    Ok(t_.Calc_FlowE_InnerFluxUVW(nf, nc, N, nCol, kNonOrthLimit, s_.extended.momentum_gamma, d.ijP, d.ijE, d.le,
                                  g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], d.xc, d.yc, d.zc, a_.u, a_.v,
                                  a_.w, a_.vis, d.sx, d.sy, d.sz, a_.mfe, a_.aE, a_.aW, a_.Su, a_.Sv, a_.Sw, a_.temp,
                                  d.mapPx, d.mapPy, d.mapEx, d.mapEy, a_.scratch, fb, cb),
       "Calc_FlowE_InnerFluxUVW");
    // Implicit Euler (no second level): the old velocities stand for both.
    Ok(t_.Calc_FlowE_2ndImplicitEulerMethodAi(nc, 1.0 / dt, 0.0, a_.den, d.volume, a_.u0, a_.v0, a_.w0, a_.u0, a_.v0,
                                              a_.w0, a_.A, a_.APv, a_.APR, a_.Su, a_.Sv, a_.Sw, cb),
       "Calc_FlowE_2ndImplicitEulerMethodAi");
    if (gravity_) {
        const double* gv = s_.extended.gravity;
        const double rl = s_.density, rg = s_.air_density;
        Ok(t_.Calc_FlowE_GravityForceContribution(nc, rl, rg, ScaledGravity(gv[0], rl, rg), ScaledGravity(gv[1], rl, rg),
                                                  ScaledGravity(gv[2], rl, rg), a_.Su, a_.Sv, a_.Sw, d.volume, a_.den,
                                                  cb),
           "Calc_FlowE_GravityForceContribution");
    }
    if (tension_) {
        tension_->Update(a_.volf);
        tension_->AddForce(s_.extended.surface_tension, s_.density, s_.air_density, d.volume, a_.den, a_.Su, a_.Sv,
                           a_.Sw);
    }
}

struct SurfaceTension::Arrays {
    Arrays(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, GradientFunction g)
        : t(tool), m(mesh), gradient(std::move(g)), n(mesh.nExtended), held(mesh.nCells + mesh.nHalo)
    {
    }
    CRVZGPUtool& t;
    const rvzmesh::Mesh& m;
    GradientFunction gradient;
    const int n, held;  // extended length; cells and halo copies
    channel::Buf<double> grad[3] = {{t, n}, {t, n}, {t, n}};      // of alpha
    channel::Buf<double> normal[3] = {{t, n}, {t, n}, {t, n}};    // n
    channel::Buf<double> dn[3] = {{t, n}, {t, n}, {t, n}};        // gradient of one component of n
    channel::Buf<double> curvature{t, std::max(m.nCells, 1)};
};

SurfaceTension::SurfaceTension(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, GradientFunction gradient)
    : a_(std::make_unique<Arrays>(tool, mesh, std::move(gradient)))
{
}

SurfaceTension::~SurfaceTension() = default;

// The unit normal of each cell and halo copy (each computes its own from
// its refreshed gradient, the same bits as its owner), its boundary slots
// the cell's; then kappa = -(dnx/dx + dny/dy + dnz/dz).
void SurfaceTension::Update(double* alphaD)
{
    Arrays& a = *a_;
    a.gradient(alphaD, a.grad[0], a.grad[1], a.grad[2]);
    std::vector<double> g[3], unit[3];
    for (int k = 0; k < 3; ++k) g[k] = a.grad[k].Download(a.held), unit[k].assign(a.n, 0.0);
    for (int c = 0; c < a.held; ++c) {
        const double length = std::sqrt(g[0][c] * g[0][c] + g[1][c] * g[1][c] + g[2][c] * g[2][c]);
        if (length > 0.0)
            for (int k = 0; k < 3; ++k) unit[k][c] = g[k][c] / length;
    }
    for (const rvzmesh::BoundaryList& l : a.m.boundary)
        for (int e = 0; e < l.size(); ++e)
            for (int k = 0; k < 3; ++k) unit[k][l.slot[e]] = unit[k][l.cell[e]];
    std::vector<double> kappa(a.m.nCells, 0.0);
    for (int k = 0; k < 3; ++k) {
        a.normal[k].Upload(unit[k]);
        a.gradient(a.normal[k], a.dn[0], a.dn[1], a.dn[2]);
        const std::vector<double> d = a.dn[k].Download(a.m.nCells);
        for (int c = 0; c < a.m.nCells; ++c) kappa[c] -= d[c];
    }
    if (a.m.nCells > 0) a.curvature.Upload(kappa);
}

void SurfaceTension::AddForce(double sigma, double meltDensity, double airDensity, double* volumeD, double* denD,
                              double* SuD, double* SvD, double* SwD)
{
    Arrays& a = *a_;
    Ok(a.t.Calc_FlowE_SurfaceTensionMethodOne(a.m.nCells, meltDensity, airDensity, sigma, volumeD, a.curvature, denD,
                                              a.grad[0], a.grad[1], a.grad[2], SuD, SvD, SwD, Blocks(a.m.nCells)),
       "Calc_FlowE_SurfaceTensionMethodOne");
}

std::vector<double> SurfaceTension::Curvature() const { return a_->curvature.Download(a_->m.nCells); }

void ExtendedMomentum::FinalCoefficients(double* phi, double* rhs)
{
    const double relax = s_.relax_velocity;
    Ok(t_.Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(m_.nCells, m_.newNNU, m_.nColumnPerRow, relax, 1.0 / relax, phi, a_.APv,
                                                a_.A, rhs, Blocks(m_.nCells)),
       "Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw");
}

void ExtendedMomentum::SimplecFactor()
{
    const int nc = m_.nCells, cb = Blocks(nc);
    Ok(t_.Calc_FlowE_FinalCoeffRHS_UpdateAPR(nc, a_.A, a_.APR, cb), "Calc_FlowE_FinalCoeffRHS_UpdateAPR");
    Ok(t_.Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(nc, m_.newNNU, m_.nColumnPerRow, a_.A, a_.APR, cb),
       "Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC");
}

}  // namespace fill
