#include "melt_viscosity.h"

#include "CRVZGPUtool.h"
#include "device_buffer.h"

namespace channel {

using rvzmesh::Blocks;

struct MeltViscosity::Arrays {
    Arrays(CRVZGPUtool& t, const rvzmesh::Mesh& m, const Settings& s)
        : rate(t, m.nCells), newVis(t, m.nCells), filled(t, std::vector<double>(m.nCells, 1.0)),
          hotRunner(t, std::vector<int>(m.nCells, 0)), conversion(t, m.nCells), density(t, std::vector<double>(m.nCells, s.density)),
          conductivity(t, std::vector<double>(m.nCells, s.conductivity)), relaxedK(t, m.nCells),
          // Entry 0 is not read; then n, tau*, D1, D2, D3, A1, A2.
          parameters(t, std::vector<double>{0.0, s.cross_n, s.cross_tau, s.cross_d1, s.cross_d2, 0.0, s.cross_a1,
                                            s.cross_a2})
    {
    }
    Buf<double> rate, newVis, filled;
    Buf<int> hotRunner;
    Buf<double> conversion, density, conductivity, relaxedK, parameters;
};

MeltViscosity::MeltViscosity(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
                             const Settings& settings)
    : tool_(tool), mesh_(mesh), dev_(device), s_(settings), a_(std::make_unique<Arrays>(tool, mesh, settings))
{
}

MeltViscosity::~MeltViscosity() = default;

double* MeltViscosity::ShearRateD() const { return a_->rate; }

void MeltViscosity::Update(double* const g[9], double* TD, double* pD, double* visD, double relax)
{
    CRVZGPUtool& t = tool_;
    Arrays& a = *a_;
    const int nc = mesh_.nCells, cb = Blocks(nc);
    // The shear rate of this velocity field (no relaxation of its own).
    Ok(t.Calc_ShearRate(nc, 1.0, g[0], g[3], g[6], g[1], g[4], g[7], g[2], g[5], g[8], a.rate, cb), "Calc_ShearRate");
    Ok(t.CalcVis_Flow(nc, 0, 1, 0, s_.melt_temperature, 0.5, 0.0, 0.0, s_.mould_temperature, 5, TD, pD, a.rate,
                      a.filled, a.hotRunner, a.conversion, a.newVis, a.parameters, cb),
       "CalcVis_Flow");
    // A filled melt everywhere: the mixing step only relaxes the viscosity
    // (density and conductivity relax towards their own constant values).
    Ok(t.Calc_VisDenMk(nc, 1.0e30, 1.0e-30, 0.5, 1.0, relax, s_.density, s_.density, s_.conductivity, a.newVis,
                       nullptr, a.conductivity, a.filled, visD, a.density, a.relaxedK, cb),
       "Calc_VisDenMk");
    for (const rvzmesh::DeviceBoundaryList& l : dev_.boundary)
        if (l.size > 0)
            Ok(t.Calc_UpdateBoundary_const(l.size, l.slot, l.cell, visD, Blocks(l.size)), "Calc_UpdateBoundary_const");
}

}  // namespace channel
