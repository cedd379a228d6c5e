#include "fill_extended_momentum.h"

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
                                   const rvzmesh::DeviceMesh& device, const MomentumArrays& arrays)
    : t_(tool), s_(settings), m_(mesh), d_(device), a_(arrays)
{
    const double* g = s_.extended.gravity;
    gravity_ = g[0] != 0.0 || g[1] != 0.0 || g[2] != 0.0;
}

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
}

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
