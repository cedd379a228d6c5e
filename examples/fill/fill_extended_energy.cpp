#include "fill_extended_energy.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "energy_step.h"

namespace fill {

namespace {

using channel::Buf;
using channel::Ok;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;
using I = Buf<int>;

// Conductance of a wall without a heat-transfer coefficient: the series
// form h A k G / (h A + k G) is then k G to 1e-30 relative.
constexpr double kInfiniteTransfer = 1.0e30;
// Cells at or above this volume fraction count as filled (viscous heating).
constexpr double kFilled = 0.5;
// Viscous heating of one step is capped at this many degrees per time unit,
// the cap of the basic step.
constexpr double kHeatingCapPerTime = 20.0;

// Per-face coefficient: the face's group value, else heat_transfer, else
// an isothermal wall.
std::vector<double> FaceHeatTransfer(const FillSettings& s, const rvzmesh::Mesh& m)
{
    const rvzmesh::BoundaryList& wall = m.list(BoundaryKind::Wall);
    std::map<int, double> byGroup;
    for (const auto& [group, h] : s.energy_wall_heat_transfer) byGroup[m.GroupIndex(group)] = h;
    std::vector<double> h(wall.size(), s.heat_transfer > 0.0 ? s.heat_transfer : kInfiniteTransfer);
    for (int k = 0; k < wall.size(); ++k) {
        const auto given = byGroup.find(wall.group[k]);
        if (given != byGroup.end()) h[k] = given->second;
    }
    return h;
}

// A wall-list array shifted by one: the hot-runner control indexes wall
// arrays by wall numbers 1 .. NWall.
template <class T>
std::vector<T> FromOne(const std::vector<T>& v)
{
    std::vector<T> shifted(v.size() + 1, T());
    std::copy(v.begin(), v.end(), shifted.begin() + 1);
    return shifted;
}

}  // namespace

struct ExtendedEnergy::Arrays {
    Arrays(CRVZGPUtool& t, const FillSettings& set, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device)
        : tool(t), s(set), m(mesh), d(device), nc(mesh.nCells), nf(mesh.nFaces), ne(mesh.nExtended),
          N(mesh.newNNU), nCol(mesh.nColumnPerRow), ni(mesh.list(BoundaryKind::Inlet).size()),
          nw(mesh.list(BoundaryKind::Wall).size()), T(t, std::vector<double>(ne, set.melt_temperature)),
          T0(t, std::max(nc, 1)), gx(t, ne), gy(t, ne), gz(t, ne),
          mk(t, std::vector<double>(ne, set.conductivity)),
          cp(t, std::vector<double>(std::max(nc + mesh.nHalo, 1), set.specific_heat)),
          meltDensity(t, std::vector<double>(std::max(nc, 1), set.density)), mfe(t, std::max(nf, 1)),
          aE(t, std::max(nf, 1)), aW(t, std::max(nf, 1)), temp(t, std::max(nf, 1)), Su(t, std::max(nc, 1)),
          A(t, N * nCol), scratch(t, N * nCol), x(t, N), b(t, N), t1(t, std::max({ni, nw, 1})),
          t2(t, std::max({ni, nw, 1})), CB(t, std::max(ni, 1)), vents(t, std::vector<int>(std::max(nw, 1), 0)),
          htc(t, std::max(nw, 1)), mould(t, std::vector<double>(std::max(nw, 1), set.mould_temperature)),
          hot(t, std::vector<int>(std::max(nc, 1), 0)), active(t, std::vector<int>(std::max(ni, 1), 1)),
          point(t, std::vector<int>(std::max(ni, 1), 0)), melt(t, std::vector<int>{1}), open(t, std::vector<int>{0}),
          fluidT(t, std::vector<double>{0.0})
    {
        std::vector<double> table{0.0};
        for (const auto& [temperature, value] : s.energy_specific_heat_table) table.push_back(value), table.push_back(temperature);
        cpTable = std::make_unique<D>(t, table);
        faceHtc = FaceHeatTransfer(s, m);
        htc.Upload(faceHtc.empty() ? std::vector<double>{0.0} : faceHtc);
        SetUpHotRunners();
    }

    // Hot-runner cells, the control's list of wall numbers (from 1) with the
    // rows it touches, and the wall arrays shifted to those numbers.
    void SetUpHotRunners()
    {
        const rvzmesh::BoundaryList& wall = m.list(BoundaryKind::Wall);
        std::map<int, double> setT;
        for (const auto& [group, temperature] : s.energy_hot_runner) setT[m.GroupIndex(group)] = temperature;
        std::vector<int> list, hotCells(std::max(nc, 1), 0);
        std::vector<double> held(wall.size(), s.mould_temperature);
        std::set<int> rows;
        for (int k = 0; k < wall.size(); ++k) {
            const auto given = setT.find(wall.group[k]);
            if (given == setT.end()) continue;
            list.push_back(k + 1);
            held[k] = given->second;
            hotCells[wall.cell[k]] = 1;
            rows.insert(wall.cell[k]);
        }
        hotCellsHost = hotCells;
        hot.Upload(hotCells);
        nHot = static_cast<int>(list.size());
        hotRows = static_cast<int>(rows.size());
        if (nHot == 0) return;
        hotList = std::make_unique<I>(tool, list);
        hotRowList = std::make_unique<I>(tool, std::vector<int>(rows.begin(), rows.end()));
        w1Cell = std::make_unique<I>(tool, FromOne(wall.cell));
        w1Slot = std::make_unique<I>(tool, FromOne(wall.slot));
        w1Px = std::make_unique<I>(tool, FromOne(wall.mapPx));
        w1Py = std::make_unique<I>(tool, FromOne(wall.mapPy));
        w1Sx = std::make_unique<D>(tool, FromOne(wall.sx));
        w1Sy = std::make_unique<D>(tool, FromOne(wall.sy));
        w1Sz = std::make_unique<D>(tool, FromOne(wall.sz));
        w1Dist = std::make_unique<D>(tool, FromOne(wall.surfDist));
        w1Htc = std::make_unique<D>(tool, FromOne(faceHtc));
        w1Set = std::make_unique<D>(tool, FromOne(held));
    }

    CRVZGPUtool& tool;
    const FillSettings& s;
    const rvzmesh::Mesh& m;
    const rvzmesh::DeviceMesh& d;
    const int nc, nf, ne, N, nCol, ni, nw;
    D T, T0, gx, gy, gz, mk, cp, meltDensity, mfe, aE, aW, temp, Su, A, scratch, x, b, t1, t2, CB;
    I vents;
    D htc, mould;
    I hot, active, point, melt, open;
    D fluidT;
    std::unique_ptr<D> cpTable;
    std::vector<double> faceHtc;
    std::vector<int> hotCellsHost;
    int nHot = 0, hotRows = 0;
    std::unique_ptr<I> hotList, hotRowList, w1Cell, w1Slot, w1Px, w1Py;
    std::unique_ptr<D> w1Sx, w1Sy, w1Sz, w1Dist, w1Htc, w1Set;
    Solver solve;                          // set in a partitioned run
    std::function<void(double*)> refresh;  // likewise
};

ExtendedEnergy::ExtendedEnergy(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                               const rvzmesh::DeviceMesh& device)
    : a_(std::make_unique<Arrays>(tool, settings, mesh, device))
{
}

ExtendedEnergy::~ExtendedEnergy() = default;

void ExtendedEnergy::SetPartition(Solver solve, std::function<void(double*)> refresh)
{
    a_->solve = std::move(solve);
    a_->refresh = std::move(refresh);
}

double* ExtendedEnergy::TemperatureD() const { return a_->T; }
std::vector<double> ExtendedEnergy::Temperature() const { return a_->T.Download(a_->nc); }
std::vector<double> ExtendedEnergy::HeatCapacity() const { return a_->cp.Download(a_->nc); }
std::vector<double> ExtendedEnergy::WallHeatTransfer() const { return a_->faceHtc; }
std::vector<int> ExtendedEnergy::HotRunnerCells() const
{
    return std::vector<int>(a_->hotCellsHost.begin(), a_->hotCellsHost.begin() + a_->nc);
}

double ExtendedEnergy::Solve(const double* vfeD, const double* fluxD, const double* fluxInletD, const double* denD,
                             const double* volfD, const double* visD, const double* rateD, double dt)
{
    Arrays& a = *a_;
    CRVZGPUtool& t = a.tool;
    const FillSettings& s = a.s;
    const auto& dev = a.d;
    const rvzmesh::DeviceBoundaryList& in = dev.boundary[static_cast<int>(BoundaryKind::Inlet)];
    const rvzmesh::DeviceBoundaryList& out = dev.boundary[static_cast<int>(BoundaryKind::Outlet)];
    const rvzmesh::DeviceBoundaryList& wall = dev.boundary[static_cast<int>(BoundaryKind::Wall)];
    const rvzmesh::DeviceBoundaryList& sym = dev.boundary[static_cast<int>(BoundaryKind::Symmetry)];
    const int nc = a.nc, nf = a.nf, N = a.N, nCol = a.nCol, cb = Blocks(nc);
    const int kind3 = 1;  // every wall through the series form; see kInfiniteTransfer
    double* T = a.T;
    double* den = const_cast<double*>(denD);
    double* volf = const_cast<double*>(volfD);

    // Heat capacity of each cell at its temperature.
    const int pairs = static_cast<int>(s.energy_specific_heat_table.size());
    if (pairs > 0) {
        Ok(t.CalcCp_Flow(nc, 2, 2 * pairs, T, a.cp, *a.cpTable, cb), "CalcCp_Flow");
        if (a.refresh) a.refresh(a.cp);
    }
    Ok(t.CalcSC_FlowE_InnerFluxSC_mfe(nf, nullptr, dev.ijP, dev.ijE, const_cast<double*>(vfeD), s.density,
                                      s.air_density, const_cast<double*>(fluxD), den, a.mfe, 0, Blocks(nf)),
       "CalcSC_FlowE_InnerFluxSC_mfe");

    // Slot values of the outlets and symmetry planes (zero gradient).
    Ok(t.Calc_OutletBoundarySC_Update_ddfi(out.size, out.cell, out.slot, a.gx, a.gy, a.gz, T, Blocks(out.size)),
       "Calc_OutletBoundarySC_Update_ddfi");
    Ok(t.Calc_SymmetryBoundary_UpdateT(sym.size, sym.cell, sym.slot, T, Blocks(sym.size)),
       "Calc_SymmetryBoundary_UpdateT");

    // Interior faces, placed into the matrix.
    a.A.Zero();
    a.Su.Zero();
    a.scratch.Zero();
    Ok(t.CalcSC_FlowE_InnerFluxSC(nf, nc, N, nCol, a.cp, dev.ijP, dev.ijE, dev.le, T, a.gx, a.gy, a.gz, dev.xc, dev.yc,
                                  dev.zc, dev.sx, dev.sy, dev.sz, a.mk, a.mfe, a.aE, a.aW, a.Su, a.temp, 0.5, dev.mapPx,
                                  dev.mapPy, dev.mapEx, dev.mapEy, a.scratch, cb, Blocks(nf)),
       "CalcSC_FlowE_InnerFluxSC");
    Ok(t.Calc_MapaEaWToAi(nf, N, dev.mapPx, dev.mapPy, dev.mapEx, dev.mapEy, a.aE, a.aW, a.A, Blocks(nf)),
       "Calc_MapaEaWToAi");

    // Walls at the mould temperature through their coefficients; the
    // faces of hot-runner cells are left to the control below.
    if (a.nw > 0) {
        a.scratch.Zero();
        Ok(t.CalcSC_FlowE_IsothermalWallBoundaries(a.nw, wall.nRows, N, nCol, wall.cell, wall.slot, a.vents, a.gx, a.gy,
                                                   a.gz, T, a.hot, kind3, wall.sx, wall.sy, wall.sz, a.htc,
                                                   wall.surfDist, a.mk, a.mould, a.A, a.Su, a.t1, a.t2, wall.mapPx,
                                                   wall.mapPy, wall.rows, a.scratch, Blocks(a.nw), Blocks(wall.nRows)),
           "CalcSC_FlowE_IsothermalWallBoundaries");
    }
    if (a.nHot > 0) {
        a.scratch.Zero();
        Ok(t.CalcSC_FlowE_HotRunnerTemperatureControl(a.nHot, a.nw, a.hotRows, N, nCol, kind3, *a.w1Cell, *a.w1Slot,
                                                      *a.hotList, a.hot, *a.w1Sx, *a.w1Sy, *a.w1Sz, *a.w1Htc, a.mk,
                                                      *a.w1Dist, *a.w1Set, a.t1, a.t2, 0, T, a.A, a.Su, *a.w1Px,
                                                      *a.w1Py, *a.hotRowList, a.scratch, Blocks(a.nHot),
                                                      Blocks(a.hotRows)),
           "CalcSC_FlowE_HotRunnerTemperatureControl");
    }

    // Inlet at the melt temperature: conductance -CB = k G + cp * inflow.
    if (a.ni > 0) {
        const rvzmesh::BoundaryList& inlet = a.m.list(BoundaryKind::Inlet);
        std::vector<double> q(a.ni), CB(a.ni);
        Ok(t.DataCopyDevice2Host(a.ni, q.data(), const_cast<double*>(fluxInletD)), "DataCopyDevice2Host");
        const std::vector<double> cp = a.cp.Download();
        for (int k = 0; k < a.ni; ++k)
            CB[k] = -(s.conductivity * inlet.surfDist[k] - cp[inlet.cell[k]] * s.density * q[k]);
        a.CB.Upload(CB);
        a.scratch.Zero();
        Ok(t.CalcSC_FlowE_InletBoundary_First(a.ni, in.nRows, N, nCol, false, 0, s.melt_temperature, s.melt_temperature,
                                              in.cell, in.slot, a.active, a.point, a.melt, a.open, a.fluidT, a.CB, a.gx,
                                              a.gy, a.gz, T, a.A, a.Su, a.t1, a.t2, in.mapPx, in.mapPy, in.rows,
                                              a.scratch, Blocks(a.ni), Blocks(in.nRows)),
           "CalcSC_FlowE_InletBoundary_First");
    }

    // Implicit Euler time term, viscous heating of the filled cells, final
    // coefficients without relaxation.
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(a.T0), T), "DataCopyDevice2Device");
    Ok(t.CalcSC_FlowE_UnsteadyTermContributionSC(nc, a.cp, 1.0 / dt, 0.0, den, dev.volume, a.T0, a.T0, a.Su, a.A, cb),
       "CalcSC_FlowE_UnsteadyTermContributionSC");
    if (s.viscous_heating != 0)
        Ok(t.CalcSC_FlowE_ViscousDisspationVolumetricTerm(nc, kFilled, 1.0, kHeatingCapPerTime * dt, 1.0 / dt, 0.0, 0,
                                                          a.cp, volf, const_cast<double*>(visD),
                                                          const_cast<double*>(rateD), a.meltDensity, dev.volume,
                                                          nullptr, a.Su, cb),
           "CalcSC_FlowE_ViscousDisspationVolumetricTerm");
    Ok(t.CalcSC_FlowE_FinalCoeffRHS_Sfi(nc, N, nCol, 1.0, T, a.A, a.Su, 1.0, cb), "CalcSC_FlowE_FinalCoeffRHS_Sfi");

    const std::vector<double> before = a.T.Download(nc);
    if (a.solve)
        a.solve(a.A, a.Su, T, 1e-12);
    else
        channel::SolveTemperatureSystem(t, nc, N, nCol, dev.indexELL, a.A, a.Su, T, a.x, a.b);
    // Wall surface temperatures where conduction from the cell balances the
    // transfer to the mould.
    if (a.nw > 0)
        Ok(t.CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(a.nw, wall.cell, wall.slot, a.vents, wall.sx, wall.sy, wall.sz,
                                                       a.htc, wall.surfDist, a.mk, T, Blocks(a.nw)),
           "CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall");
    const std::vector<double> after = a.T.Download(nc);
    double change = 0.0;
    for (int i = 0; i < nc; ++i) change = std::max(change, std::fabs(after[i] - before[i]));
    return change;
}

}  // namespace fill
