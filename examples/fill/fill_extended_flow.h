// The extended flow path of rvzgpu-fill (flow_path = extended): the
// pressure correction of the extended-flow operations with several gates,
// each an inlet group under its own flow-rate or pressure control and
// opening rule; switch-over to a holding pressure and packing with a
// compressible melt (the continuity equation's d rho/dp and thermal
// terms); vents decided from the air pressure. The momentum equations are
// assembled by ExtendedMomentum (fill_extended_momentum.h), the volume
// fraction is the basic path's.
//
// One pressure-correction pass (ExtendedFlow::PressureCorrection):
//   interior face fluxes and coefficients; their conservative sum into the
//   right-hand side; the off-diagonal coefficients into the matrix;
//   pressure gates: pressure imposed at their faces, face flux and
//   coefficient, diagonal and right-hand side; flow-rate gates: their
//   fixed inflow into the right-hand side; vents (wall faces and outlets):
//   their pressure, face flux and coefficient, diagonal and right-hand
//   side; the compressibility term; the final diagonal; solve; boundary
//   values of the correction; correction of pressure, cell velocities,
//   interior fluxes, vent fluxes and gate fluxes with the inflow sum.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "device_buffer.h"
#include "fill_gates.h"
#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

namespace fill {

// The State's device arrays the extended path reads and writes.
struct FlowArrays {
    double *u, *v, *w, *p, *pp, *APR, *dp[3], *dpp[3], *flux, *mfe, *aE, *aW, *A, *scratch, *source, *volf;
    double *fluxIn, *fluxWall, *fluxOut, *T;
    int* ventWall;  // 1: the wall face vents
};

class Partitioned;

class ExtendedFlow {
public:
    using SolveFn = std::function<void(double* A, double* rhs, double* phi)>;
    using GradientFn = std::function<void(double* phi, double* gx, double* gy, double* gz)>;

    // Refuses (SettingsError at the key's line) gates naming groups that
    // are not inlet groups of the mesh, vent groups that are not wall
    // groups, and a gate-less case whose mesh has no inlet.
    // In a partitioned run (`partition` not null; mesh is this process's
    // part, checked as a whole by CheckExtendedMesh before) a part may
    // hold no face of a group and nothing is refused; the gate areas, the
    // imbalance, the inflow and the open vents are summed over the
    // processes, a front-rule gate's point is the nearest cell of the
    // whole mesh and its fraction is read by the process owning it, the
    // corrected pressure and velocities are refreshed in the halo, so every
    // process takes the same gate, switch-over and vent decisions. Every
    // process must then call each method the same number of times.
    ExtendedFlow(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                 const rvzmesh::DeviceMesh& device, const FlowArrays& arrays, SolveFn solve, GradientFn gradient,
                 Partitioned* partition = nullptr);
    ~ExtendedFlow();

    // Before a time step (and once before the first): opens gates whose
    // rule holds at `time`, switches over at `filledFraction`, keeps the
    // pressure of the step start and the density derivatives of each cell.
    // `step` counts time steps (0: the start, no time term).
    void BeginStep(int step, double time, double dt, double filledFraction);
    // The pressure at the gate and wall slots before the gradients, and
    // the velocity of a moving wall's slots while it moves.
    void BoundaryPressure();
    // The melt inflow of a moving wall's wetted faces into the volume-
    // fraction system (right-hand side, diagonal, fill rates).
    void WallInflowVolumeFraction(double* A, double* Su, double* cellFR);
    // One pressure correction; returns the sum of |cell imbalance| before
    // it and sets `inflow`, the volume flow in through the open gates.
    double PressureCorrection(double relaxPressure, double& inflow);
    // After the volume-fraction step: the vent flags of the wall faces, if
    // they come from the air pressure.
    void Vents();

    // The inflow of the open gates when all of them are under flow-rate
    // control (cm^3/s), else 0.
    double FixedInflow() const;
    const GateStates& gates() const;
    // Gate of each inlet list entry.
    const std::vector<int>& gateOfEntry() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_;
};

// The gate of each inlet list entry: the entries of the inlet group named
// gate g (the group "inlet_<name>" or "<name>"). Refuses a gate naming no
// inlet group, at its line.
std::vector<int> GateOfInletEntry(const FillSettings& s, const rvzmesh::Mesh& mesh);
// Refuses, before the run, gates, vent groups and a moving wall that name
// no group of their kind in the mesh (SettingsError at the key's line).
void CheckExtendedMesh(const FillSettings& s, const rvzmesh::Mesh& mesh);

}  // namespace fill
