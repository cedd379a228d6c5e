#include "fill_front_temperature.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_linear_solve.h"

namespace fill {

namespace {

using channel::Buf;
using channel::Ok;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;

}  // namespace

struct FrontTemperature::Arrays {
    Arrays(CRVZGPUtool& t, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device, double inlet, double critical)
        : tool(t), m(mesh), d(device), nc(mesh.nCells), nf(mesh.nFaces), N(mesh.newNNU), nCol(mesh.nColumnPerRow),
          ni(mesh.list(BoundaryKind::Inlet).size()), nw(mesh.list(BoundaryKind::Wall).size()), fcri(critical),
          F(t, std::vector<double>(mesh.nExtended, inlet)), F0(t, std::max(nc, 1)), sampled(t, std::max(nc, 1)),
          taken(t, std::max(nc, 1)), aE(t, std::max(nf, 1)), aW(t, std::max(nf, 1)),
          A(t, N * nCol), scratch(t, N * nCol), Su(t, std::max(nc, 1)), x(t, N), b(t, N), CB(t, std::max(ni, 1)),
          tempSu(t, std::max(ni, 1))
    {
        sampled.Upload(std::vector<double>(std::max(nc, 1), std::numeric_limits<double>::quiet_NaN()));
        taken.Zero();
    }
    CRVZGPUtool& tool;
    const rvzmesh::Mesh& m;
    const rvzmesh::DeviceMesh& d;
    const int nc, nf, N, nCol, ni, nw;
    const double fcri;
    D F, F0, sampled;
    Buf<bool> taken;
    D aE, aW, A, scratch, Su, x, b, CB, tempSu;
    Solver solve;
    CellSolve cellSolve{tool, m, d};  // without a solver given
};

FrontTemperature::FrontTemperature(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
                                   double inletTemperature, double fcri, Solver solve)
    : a_(std::make_unique<Arrays>(tool, mesh, device, inletTemperature, fcri))
{
    a_->solve = std::move(solve);
}

FrontTemperature::~FrontTemperature() = default;

void FrontTemperature::Advance(const double* fluxD, const double* fluxInletD, const double* TD, const double* volf0D,
                               const double* volfD, double dt)
{
    Arrays& a = *a_;
    CRVZGPUtool& t = a.tool;
    const auto& dev = a.d;
    const rvzmesh::DeviceBoundaryList& in = dev.boundary[static_cast<int>(BoundaryKind::Inlet)];
    const rvzmesh::DeviceBoundaryList& wall = dev.boundary[static_cast<int>(BoundaryKind::Wall)];
    const int nc = a.nc, nf = a.nf, N = a.N, nCol = a.nCol, cb = Blocks(nc);
    double* flux = const_cast<double*>(fluxD);

    // The old level: the melt's temperature behind the front, the carried
    // value ahead of it.
    std::vector<double> start(nc), T(nc), old = a.F.Download(nc);
    Ok(t.DataCopyDevice2Host(nc, start.data(), const_cast<double*>(volf0D)), "DataCopyDevice2Host");
    Ok(t.DataCopyDevice2Host(nc, T.data(), const_cast<double*>(TD)), "DataCopyDevice2Host");
    for (int c = 0; c < nc; ++c)
        if (start[c] >= a.fcri) old[c] = T[c];
    a.F0.Upload(old);

    // Upwind inflow coefficients of the interior faces, the inflow of the
    // inlet faces at their slot value, the time term.
    a.A.Zero();
    a.Su.Zero();
    Ok(t.Calc_InnerFluxHeatGen(nf, flux, a.aE, a.aW, Blocks(nf)), "Calc_InnerFluxHeatGen");
    Ok(t.Calc_MapaEaWToAi(nf, N, dev.mapPx, dev.mapPy, dev.mapEx, dev.mapEy, a.aE, a.aW, a.A, Blocks(nf)),
       "Calc_MapaEaWToAi");
    if (a.ni > 0) {
        a.scratch.Zero();
        Ok(t.Calc_MeltFrontTemp_InletBoundary(a.ni, in.nRows, N, nCol, in.slot, const_cast<double*>(fluxInletD), a.CB,
                                              a.tempSu, a.Su, a.F, in.mapPx, in.mapPy, a.scratch, in.rows,
                                              Blocks(a.ni), Blocks(in.nRows)),
           "Calc_MeltFrontTemp_InletBoundary");
        a.scratch.Zero();
        Ok(t.Calc_MeltFrontTemp_InletAi(a.ni, in.nRows, N, nCol, in.mapPx, in.mapPy, a.CB, a.scratch, a.A, in.rows,
                                        Blocks(a.ni), Blocks(in.nRows)),
           "Calc_MeltFrontTemp_InletAi");
    }
    Ok(t.Calc_MeltFrontTemp_UnsteadyTermContribution(nc, dev.volume, dt, a.A, a.Su, a.F0, cb),
       "Calc_MeltFrontTemp_UnsteadyTermContribution");
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.F), static_cast<double*>(a.F0)), "DataCopyDevice2Device");
    Ok(t.Calc_MeltFrontTemp_FinalCoeff(nc, N, nCol, 1.0, a.F, a.A, a.Su, cb), "Calc_MeltFrontTemp_FinalCoeff");

    // Solve on work vectors of new_nnu entries; padding rows are an identity.
    std::vector<double> Apad = a.A.Download();
    for (int r = nc; r < N; ++r) Apad[r] = 1.0;
    a.A.Upload(Apad);
    a.x.Zero();
    a.b.Zero();
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.x), static_cast<double*>(a.F)), "DataCopyDevice2Device");
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.b), static_cast<double*>(a.Su)), "DataCopyDevice2Device");
    if (a.solve)
        a.solve(a.A, a.b, a.x, 1e-13);
    else
        a.cellSolve(a.A, a.b, a.x, 1e-13, -1.0, "BiCGSTAB_ELL");
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.F), static_cast<double*>(a.x)), "DataCopyDevice2Device");
    if (a.nw > 0) Ok(t.Calc_MeltFrontTemp_WallBC(a.nw, wall.cell, wall.slot, a.F, Blocks(a.nw)), "Calc_MeltFrontTemp_WallBC");

    // The cells that filled during the step take their value.
    Ok(t.Calc_ComputeMeltFrontTemperature(nc, const_cast<double*>(volfD), const_cast<double*>(volf0D), a.sampled,
                                          a.taken, a.F, a.fcri, 0, cb),
       "Calc_ComputeMeltFrontTemperature");
}

std::vector<double> FrontTemperature::Sampled() const { return a_->sampled.Download(a_->nc); }

double FrontTemperature::Lowest() const
{
    double lowest = std::numeric_limits<double>::quiet_NaN();
    for (double v : Sampled())
        if (!std::isnan(v) && !(v >= lowest)) lowest = v;
    return lowest;
}

}  // namespace fill
