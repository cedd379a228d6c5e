#include "energy_step.h"

#include <algorithm>
#include <cmath>

#include "CRVZGPUtool.h"
#include "device_buffer.h"

namespace channel {

namespace {

using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;

int Kind(BoundaryKind k) { return static_cast<int>(k); }

}  // namespace

// Fields and per-list coefficients of the temperature equation.
struct EnergyStep::Arrays {
    using D = Buf<double>;
    using I = Buf<int>;
    Arrays(CRVZGPUtool& t, const rvzmesh::Mesh& m, const ThermalProperties& p, double T0)
        : tool(t), ne(m.nExtended), nc(m.nCells), nf(m.nFaces), ell(m.newNNU * m.nColumnPerRow),
          ni(m.list(BoundaryKind::Inlet).size()), nw(m.list(BoundaryKind::Wall).size()),
          T(t, std::vector<double>(ne, T0)), gx(t, ne), gy(t, ne), gz(t, ne),
          mk(t, std::vector<double>(ne, p.conductivity)), den(t, std::vector<double>(nc, p.density)),
          filled(t, std::vector<double>(ne, 1.0)), aE(t, nf), aW(t, nf), temp(t, std::max({nf, ni, nw, 1})),
          Su(t, nc), A(t, ell), scratchInner(t, ell), scratchWall(t, ell), scratchInlet(t, ell),
          x(t, m.newNNU), b(t, m.newNNU), CB(t, std::max(ni, 1)), coef(t, std::max(nw, 1)),
          mould(t, std::max(nw, 1)), wet(t, std::vector<int>(std::max(nw, 1), 0)),
          hotRunner(t, std::vector<int>(nc, 0))
    {
        t.GetSizeOfBlock(std::max(nf, 1), total, nLevels, count, size, offset);
        counts = new I(t, std::max(total, 1));
    }
    ~Arrays() { delete counts; }

    CRVZGPUtool& tool;
    const int ne, nc, nf, ell, ni, nw;
    D T, gx, gy, gz, mk, den, filled, aE, aW, temp, Su, A, scratchInner, scratchWall, scratchInlet, x, b, CB, coef,
        mould, T0{tool, std::max(nc, 1)};
    I wet, hotRunner;
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
    I* counts = nullptr;
};

EnergyStep::EnergyStep(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
                       const ThermalProperties& properties, const ThermalBoundaries& boundaries)
    : tool_(tool), mesh_(mesh), dev_(device), props_(properties), bc_(boundaries),
      a_(new Arrays(tool, mesh, properties, boundaries.melt_temperature))
{
    a_->mould.Upload(std::vector<double>(std::max(a_->nw, 1), bc_.mould_temperature));
}

EnergyStep::~EnergyStep() { delete a_; }

double* EnergyStep::TemperatureD() const { return a_->T; }

std::vector<double> EnergyStep::Temperature() const { return a_->T.Download(a_->nc); }

std::vector<double> EnergyStep::WallHeatFlux() const
{
    const rvzmesh::BoundaryList& wall = mesh_.list(BoundaryKind::Wall);
    // coef is the conductance from the cell centre to the mould (in series
    // with h on kind-3 walls), so the flux is taken against the mould.
    const std::vector<double> T = a_->T.Download(), coef = a_->coef.Download();
    std::vector<double> q(wall.size());
    for (int k = 0; k < wall.size(); ++k)
        q[k] = coef[k] * (T[wall.cell[k]] - bc_.mould_temperature) / wall.area[k];
    return q;
}

void EnergyStep::SetTimeStep(double dt, const double* denD, const double* volumeFractionD)
{
    dt_ = dt;
    timeDensity_ = denD;
    volumeFraction_ = volumeFractionD;
}

double EnergyStep::Solve(const double* mfeD, const double* mfeInletD, const double* visD, const double* SRateD)
{
    Arrays& a = *a_;
    CRVZGPUtool& t = tool_;
    const rvzmesh::DeviceBoundaryList& in = dev_.boundary[Kind(BoundaryKind::Inlet)];
    const rvzmesh::DeviceBoundaryList& out = dev_.boundary[Kind(BoundaryKind::Outlet)];
    const rvzmesh::DeviceBoundaryList& wall = dev_.boundary[Kind(BoundaryKind::Wall)];
    const rvzmesh::DeviceBoundaryList& sym = dev_.boundary[Kind(BoundaryKind::Symmetry)];
    const int nc = a.nc, nf = a.nf, N = mesh_.newNNU, nCol = mesh_.nColumnPerRow, cb = Blocks(nc);
    const double cp = props_.specific_heat;
    double* T = a.T;
    double* mfe = const_cast<double*>(mfeD);

    // Slot values: inlet at the melt, outlet and symmetry zero-gradient,
    // walls at the mould (placed by the coefficient step).
    Ok(t.Calc_InletBoundarySC_Update_ddfi(in.size, false, bc_.melt_temperature, bc_.melt_temperature, in.cell, in.slot,
                                          a.gx, a.gy, a.gz, T, Blocks(in.size)),
       "Calc_InletBoundarySC_Update_ddfi");
    Ok(t.Calc_OutletBoundarySC_Update_ddfi(out.size, out.cell, out.slot, a.gx, a.gy, a.gz, T, Blocks(out.size)),
       "Calc_OutletBoundarySC_Update_ddfi");
    Ok(t.Calc_SymmetryBoundary_UpdateT(sym.size, sym.cell, sym.slot, T, Blocks(sym.size)),
       "Calc_SymmetryBoundary_UpdateT");
    if (bc_.heat_transfer > 0.0)
        Ok(t.Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(a.nw, wall.cell, wall.slot, wall.sx, wall.sy, wall.sz, a.wet,
                                                        a.hotRunner, bc_.heat_transfer, wall.surfDist, a.mk, a.mould,
                                                        a.coef, T, Blocks(a.nw)),
           "Calc_WallBoundarySC_UpdateT_coef_ThermoBC3");
    else
        Ok(t.Calc_WallBoundarySC_UpdateT_coef(a.nw, wall.cell, wall.slot, a.wet, a.hotRunner, wall.surfDist, a.mk,
                                              a.mould, a.coef, T, Blocks(a.nw)),
           "Calc_WallBoundarySC_UpdateT_coef");

    // Interior faces, placed into the matrix; each position set has its own
    // scratch, which therefore needs no clearing between steps.
    a.A.Zero();
    a.Su.Zero();
    Ok(t.Calc_InnerFluxSC_Flow(nf, nc, N, nCol, cp, 0.5, dev_.ijP, dev_.ijE, dev_.le, T, a.gx, a.gy, a.gz, dev_.xc,
                               dev_.yc, dev_.zc, dev_.sx, dev_.sy, dev_.sz, mfe, a.aE, a.aW, a.Su, a.filled, a.mk,
                               a.temp, dropped_, dev_.mapPx, dev_.mapPy, dev_.mapEx, dev_.mapEy, a.scratchInner, cb,
                               Blocks(nf), a.nLevels, a.count, a.offset, a.total, a.size, *a.counts),
       "Calc_InnerFluxSC_Flow");
    Ok(t.Calc_MapaEaWToAi(nf, N, dev_.mapPx, dev_.mapPy, dev_.mapEx, dev_.mapEy, a.aE, a.aW, a.A, Blocks(nf)),
       "Calc_MapaEaWToAi");

    // Walls: conductance on the diagonal, conductance times wall temperature
    // on the right-hand side.
    Ok(t.CalcSC_WallAi(a.nw, wall.nRows, N, nCol, wall.cell, wall.mapPx, wall.mapPy, a.wet, a.hotRunner, a.coef,
                       a.scratchWall, a.A, wall.rows, Blocks(a.nw), Blocks(wall.nRows)),
       "CalcSC_WallAi");
    Ok(t.Calc_WallBoundarySC_SourceTerm(a.nw, wall.nRows, N, nCol, wall.cell, wall.slot, a.wet, a.coef, a.hotRunner, T,
                                        a.Su, a.temp, wall.mapPx, wall.mapPy, a.scratchWall, wall.rows, Blocks(a.nw),
                                        Blocks(wall.nRows)),
       "Calc_WallBoundarySC_SourceTerm");

    // Inlet: conductance -CB = k G + cp * inflow, a Dirichlet condition.
    if (a.ni > 0) {
        const rvzmesh::BoundaryList& inlet = mesh_.list(BoundaryKind::Inlet);
        std::vector<double> mIn(a.ni), CB(a.ni);
        Ok(t.DataCopyDevice2Host(a.ni, mIn.data(), const_cast<double*>(mfeInletD)), "DataCopyDevice2Host");
        for (int k = 0; k < a.ni; ++k) CB[k] = -(props_.conductivity * inlet.surfDist[k] - cp * mIn[k]);
        a.CB.Upload(CB);
        Ok(t.CalcSC_InOutletAi(a.ni, in.nRows, N, nCol, in.mapPx, in.mapPy, a.CB, a.scratchInlet, a.A, in.rows,
                               Blocks(a.ni), Blocks(in.nRows)),
           "CalcSC_InOutletAi");
        Ok(t.Calc_InletBoundarySC_SourceTerm(a.ni, in.nRows, N, nCol, in.slot, a.CB, T, a.Su, in.mapPx, in.mapPy,
                                             a.scratchInlet, in.rows, Blocks(a.ni), Blocks(in.nRows)),
           "Calc_InletBoundarySC_SourceTerm");
    }
    if (dt_ > 0.0) {
        double* den = const_cast<double*>(timeDensity_);
        Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.T0), T), "DataCopyDevice2Device");
        Ok(t.Calc_UnsteadyTermContributionSC(nc, cp, dt_, 1.0, 0.0, den, dev_.volume, a.T0, a.T0, a.Su, cb),
           "Calc_UnsteadyTermContributionSC");
        Ok(t.Calc_2ndImplicitEulerMethodAi_SC(nc, cp, dt_, 1.0, 0.0, den, dev_.volume, a.A, cb),
           "Calc_2ndImplicitEulerMethodAi_SC");
    }
    double* heated = volumeFraction_ != nullptr ? const_cast<double*>(volumeFraction_) : static_cast<double*>(a.filled);
    if (bc_.viscous_heating)
        Ok(t.Calc_ViscousDisspationVolumetricTerm(nc, 0.5, 1.0, cp, heated, const_cast<double*>(visD),
                                                  const_cast<double*>(SRateD), a.den, dev_.volume, a.Su, cb),
           "Calc_ViscousDisspationVolumetricTerm");
    Ok(t.CalcSC_FinalCoeffRHS_Sfi(nc, N, nCol, 1.0, T, a.A, a.A, a.Su, bc_.melt_temperature, a.hotRunner, cb),
       "CalcSC_FinalCoeffRHS_Sfi");

    const std::vector<double> before = a.T.Download(nc);
    if (solve_)
        solve_(a.A, a.Su, T, 1e-12);
    else
        SolveTemperatureSystem(t, nc, N, nCol, dev_.indexELL, a.A, a.Su, T, a.x, a.b);
    if (bc_.heat_transfer > 0.0)
        Ok(t.Calc_UpdateThermoBC3WallTemperature(a.nw, bc_.heat_transfer, wall.cell, wall.slot, a.wet, wall.sx, wall.sy,
                                                 wall.sz, wall.surfDist, a.mk, T, Blocks(a.nw)),
           "Calc_UpdateThermoBC3WallTemperature");
    const std::vector<double> after = a.T.Download(nc);
    double change = 0.0;
    for (int i = 0; i < nc; ++i) change = std::max(change, std::fabs(after[i] - before[i]));
    return change;
}

void SolveTemperatureSystem(CRVZGPUtool& t, int nc, int N, int nCol, int* indexELL, Buf<double>& A,
                            const Buf<double>& Su, double* T, Buf<double>& x, Buf<double>& b)
{
    // Work vectors of new_nnu entries; the padding rows become identity rows.
    std::vector<double> Apad = A.Download();
    for (int r = nc; r < N; ++r) Apad[r] = 1.0;
    A.Upload(Apad);
    x.Zero();
    b.Zero();
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(x), T), "DataCopyDevice2Device");
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(b), static_cast<double*>(Su)), "DataCopyDevice2Device");
    double resIn = 0.0, resOut = 0.0;
    int iter = 0;
    Ok(t.BiCGSTAB_ELL(nc, nCol, indexELL, A, b, x, 1e-12, resIn, resOut, iter, 4000, 1), "BiCGSTAB_ELL");
    Ok(t.DataCopyDevice2Device(nc, T, static_cast<double*>(x)), "DataCopyDevice2Device");
}

}  // namespace channel
