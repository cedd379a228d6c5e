// The extended temperature step of rvzgpu-fill (energy = extended): the
// same transient equation as the basic step (examples/common/energy_step.h)
// assembled with the library's extended-flow energy operations, which add
//  - a heat capacity per cell, interpolated each step from a table of
//    (temperature, heat capacity) pairs at the cell's temperature;
//  - a heat-transfer coefficient per wall face, set per wall boundary group
//    (faces of other groups take heat_transfer; where that is 0 the wall
//    is at the mould temperature, which we pass as an infinite coefficient
//    of 1e30 so that one kind-3 assembly serves both kinds of wall);
//  - hot runners: the cells of the faces of the hot-runner wall groups are
//    hot-runner cells, and those faces are held at their group's set
//    temperature through the conductance of an isothermal wall. Other wall
//    faces of a hot-runner cell are adiabatic.
// Boundaries otherwise as the basic step: the inlet at the melt
// temperature (conduction to the face plus the convected inflow), outlet
// and symmetry zero-gradient, walls always in contact with the mould.
// Interior faces get no non-orthogonal correction (zero temperature
// gradient), as in the basic step. With a constant heat capacity and
// neither per-group coefficients nor hot runners it assembles the basic
// step's system.
// On a part of a partitioned run (SetPartition) the interior faces run over
// all local faces, partition faces included, as on one process: they read
// the heat capacity, conductivity and temperature of the halo copies, so
// the heat capacity is refreshed after each update and the temperature by
// the distributed solve.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

class ExtendedEnergy {
public:
    // The temperature starts at the melt temperature. Group names of the
    // settings must exist (CheckExtendedEnergyGroups); throws
    // std::runtime_error when a device allocation fails.
    ExtendedEnergy(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                   const rvzmesh::DeviceMesh& device);
    ~ExtendedEnergy();
    ExtendedEnergy(const ExtendedEnergy&) = delete;
    ExtendedEnergy& operator=(const ExtendedEnergy&) = delete;

    // The solve of the host program: solve(A, rhs, T, tol) solves the
    // assembled system to the relative tolerance (on a part of a
    // partitioned run its owned rows, refreshing T's halo); refresh(field)
    // copies the owners' values of a cell field into its halo (a
    // partitioned run only, else empty). Unset, the step solves on its own
    // rows with the library's BiCGSTAB.
    using Solver = std::function<void(double* A, double* rhs, double* T, double tol)>;
    void SetPartition(Solver solve, std::function<void(double*)> refresh);

    // One implicit Euler step of length dt: face volume fluxes fluxD
    // (interior, P to E) with the face volume fractions vfeD, the inlet
    // volume fluxes fluxInletD (inlet list, out of the domain), the mixed
    // cell density denD (time term), the cell volume fraction volfD, the
    // viscosity visD and shear rate rateD (viscous heating, filled cells
    // only). Returns the largest change of a cell temperature (of this
    // process's cells in a partitioned run). A failed
    // library call throws std::runtime_error naming it. Device arrays are
    // not validated.
    double Solve(const double* vfeD, const double* fluxD, const double* fluxInletD, const double* denD,
                 const double* volfD, const double* visD, const double* rateD, double dt);

    double* TemperatureD() const;                 // extended array
    std::vector<double> Temperature() const;      // cells
    std::vector<double> HeatCapacity() const;     // cells, of the last Solve (halo copies not included)
    std::vector<double> WallHeatTransfer() const; // wall list, the coefficient of each face
    std::vector<int> HotRunnerCells() const;      // cells, 1 = hot runner

private:
    struct Arrays;
    std::unique_ptr<Arrays> a_;
};

}  // namespace fill
