// The temperature equation of the example host solver: one steady
// assembly and Jacobi BiCGSTAB solve per flow step, through the library's
// energy operations, on a mesh of the toolkit whose flow (face mass fluxes,
// viscosity, shear rate) the caller supplies.
//
// Boundaries: the inlet holds the melt temperature (conduction to the face
// plus the convected inflow); the outlet is zero-gradient (its outflow
// leaves through the upwind diagonal, so it adds no term); walls are at the
// mould temperature, through the conduction coefficient (kind 1) or in
// series with a heat-transfer coefficient h > 0 (kind 3); symmetry sides
// are adiabatic. Viscous heating eta*gamma-dot^2 is a source when switched
// on. The interior faces get no non-orthogonal correction (zero temperature
// gradient), as the example's flow gradients get no skewness correction.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace channel {

template <class T>
class Buf;

// Solves an assembled temperature system A T = Su (ELL, nc rows padded to
// N = new_nnu, nCol columns) by Jacobi BiCGSTAB to 1e-12 on the work
// vectors x and b (N entries), starting from and writing the cells of T.
// The padding rows of A become identity rows. Throws on a library failure.
void SolveTemperatureSystem(CRVZGPUtool& t, int nc, int N, int nCol, int* indexELL, Buf<double>& A,
                            const Buf<double>& Su, double* T, Buf<double>& x, Buf<double>& b);

struct ThermalProperties {
    double density = 1.0;
    double specific_heat = 1.0;  // cp, constant
    double conductivity = 1.0;   // k, constant
};

struct ThermalBoundaries {
    double melt_temperature = 230.0;   // inlet
    double mould_temperature = 50.0;   // walls
    double heat_transfer = 0.0;        // h > 0: kind-3 walls; 0: kind 1
    bool viscous_heating = true;
};

class EnergyStep {
public:
    // Keeps references to the mesh and its device copy; allocates its own
    // fields, with the temperature starting at the melt temperature.
    EnergyStep(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
               const ThermalProperties& properties, const ThermalBoundaries& boundaries);
    ~EnergyStep();
    EnergyStep(const EnergyStep&) = delete;
    EnergyStep& operator=(const EnergyStep&) = delete;

    // Assembles and solves the steady temperature equation for the face
    // mass fluxes mfeD (interior faces, P to E) and mfeInletD (inlet list,
    // out of the domain, so negative for inflow), the cell viscosity visD
    // and shear rate SRateD (both read only with viscous heating). Returns
    // the largest change of a cell temperature. A failed library call
    // throws std::runtime_error naming it.
    double Solve(const double* mfeD, const double* mfeInletD, const double* visD, const double* SRateD);

    // Transient runs: from the next Solve on, the implicit Euler time term
    // rho cp V / dt (T - T_old) joins the equation, T_old the temperature
    // before that Solve, rho the cell density denD (device, cells; read at
    // each Solve); viscous heating then heats only the cells whose volume
    // fraction volumeFractionD (device, cells) is at least 0.5. dt > 0 and
    // the arrays are not validated.
    void SetTimeStep(double dt, const double* denD, const double* volumeFractionD);

    // The temperature field (extended array, device) and its cell values.
    double* TemperatureD() const;
    std::vector<double> Temperature() const;
    // Heat flux into each wall face from the last solve, coef*(T_cell -
    // T_mould) over the face area (the wall list's order).
    std::vector<double> WallHeatFlux() const;
    // Dropped non-orthogonal corrections of the last assembly.
    int DroppedCorrections() const { return dropped_; }

    // Solves the assembled system A T = rhs (device arrays of the mesh's
    // ELL pattern and rows; T the temperature, extended array) to the
    // relative tolerance tol. Unset: SolveTemperatureSystem on the mesh's
    // rows. A partitioned run sets the distributed solve of its part.
    using Solver = std::function<void(double* A, double* rhs, double* T, double tol)>;
    void SetSolver(Solver solve) { solve_ = std::move(solve); }

private:
    struct Arrays;
    CRVZGPUtool& tool_;
    const rvzmesh::Mesh& mesh_;
    const rvzmesh::DeviceMesh& dev_;
    ThermalProperties props_;
    ThermalBoundaries bc_;
    Arrays* a_;
    int dropped_ = 0;
    Solver solve_;
    double dt_ = 0.0;
    const double* timeDensity_ = nullptr;
    const double* volumeFraction_ = nullptr;
};

}  // namespace channel
