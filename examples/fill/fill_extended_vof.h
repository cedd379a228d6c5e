// The extended volume-fraction step of rvzgpu-fill (vof_path = extended)
// and the second fluid (gas or water assist) injected through chosen inlet
// groups.
//
// Each time step, for the melt and, once the second fluid flows, for the
// second fluid:
//   1. face values and blending factors of the chosen interface-capturing
//      scheme (CICSAM, MCICSAM, HRIC, MHRIC) from the field of the last
//      time level, its gradient and the donor Courant numbers;
//   2. the compression-corrected upwind coefficients with the scheme's face
//      values as a deferred correction, and the front statistics of the
//      chosen flux method;
//   3. the conservative diagonal: V/dt plus the corrected outflow of each
//      cell's interior faces and of its outlet faces, and for the second
//      fluid of its wall vents (wall vents let air and the second fluid
//      out, not melt); implicit Euler in time;
//   4. the inlet terms by injection flags: before the second fluid starts
//      every gate injects melt; after it, the second-fluid gates inject the
//      second fluid (melt fraction 0 there) and the other gates melt;
//   5. the solve (Jacobi BiCGSTAB, restarted until the residual is at
//      round-off), then, while the second fluid flows, the keep-filled rule
//      at inlet and wall faces: a cell at the melt fraction above the
//      critical one at the last level does not fall below it;
//   6. limiting and snapping, the volume correction of the melt (the host
//      solver's), the arrival times and the end-of-filling statistics of
//      melt plus second fluid.
// On a part of a partitioned run (fill_partition.h) the face operations run
// over all local faces as on one process (a partition face's neighbour
// side lands in a halo row, which no solve reads); the solves are the
// distributed ones, every volume, count and balance is summed over the
// processes, the second fluid's halo is refreshed after each change, and
// the melt's by the host solver after the step.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

class Partitioned;

// Material type of an inlet group: melt, or the second fluid (gas, water).
enum GateMaterial { kMeltGate = 1, kGasGate = 2, kWaterGate = 3 };

// The inlet groups the second fluid enters through, by the mesh's group
// ids. Refuses (SettingsError, at the line of second_fluid_gates) a name
// that is no group of the mesh or no inlet group. Empty without second
// fluid.
std::vector<int> SecondFluidGateGroups(const FillSettings& s, const rvzmesh::Mesh& mesh);

// Device arrays of the host solver that one extended step reads or writes.
struct ExtendedVofFields {
    double dt = 0.0;
    double time = 0.0;           // at the end of the step
    double filledFraction = 0.0; // melt volume / cavity at the start of the step
    double* flux = nullptr;      // face volume fluxes, P to E
    double* fluxIn = nullptr;    // inlet face fluxes (negative: into the cell)
    double* fluxOut = nullptr;   // outlet face fluxes (positive: out)
    double* fluxWall = nullptr;  // wall vent fluxes (positive: out; 0 where closed)
    double* courant = nullptr;   // donor Courant numbers of the step
    double* volf0 = nullptr;     // melt fraction at the last level (cells and slots)
    double* volf = nullptr;      // melt fraction, in: a copy of volf0, out: the new level
    double* gx = nullptr;        // gradient of volf0
    double* gy = nullptr;
    double* gz = nullptr;
    float* arrival = nullptr;
};

class ExtendedVof {
public:
    // gradient(phi, gx, gy, gz): the host solver's Gauss gradient (halo
    // refreshed in a partitioned run); correct(target): its volume
    // correction of the melt to `target` (over all processes). partition:
    // this process's share of a partitioned run, null on one process; the
    // second fluid's gate groups are then checked on the whole mesh.
    ExtendedVof(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                const rvzmesh::DeviceMesh& d, std::function<void(double*, double*, double*, double*)> gradient,
                std::function<void(double)> correct, Partitioned* partition = nullptr);
    ~ExtendedVof();
    ExtendedVof(const ExtendedVof&) = delete;
    ExtendedVof& operator=(const ExtendedVof&) = delete;

    // One step of the melt and the second fluid. Throws StepError.
    void Advance(const ExtendedVofFields& f);

    bool SecondFluidFlows() const;
    double InjectedMelt() const;    // cm^3
    double InjectedSecond() const;  // cm^3
    // Melt the keep-filled rule added (cm^3); the melt's volume correction
    // aims at InjectedMelt() + RefillVolume().
    double RefillVolume() const;
    double SecondVolume() const;    // sum V phi2 after the last step
    double VentedSecond() const;    // second fluid that left through the vents and outlets, cm^3
    // Second fluid removed by clamping its fraction to [0, 1] after each
    // solve (the scheme's overshoots), cm^3.
    double ClippedSecond() const;
    // Largest |volume change - net inflow| of one solve over the run, over
    // the cavity volume, melt and second fluid: the balance of the solves
    // before limiting and the keep-filled rule.
    double WorstSolveBalance() const;
    // Volumes, balances, counts and front statistics below are those of
    // the whole cavity (summed over the processes of a partitioned run).
    // Cells below the critical fraction (melt plus second fluid) after the
    // last step, by the end-of-filling statistics; -1 before the first.
    int UnfilledCells() const;
    // The flux method's two front statistics of the last melt assembly.
    double FrontCe() const;
    double FrontVol() const;
    // Cells that the keep-filled rule put back to 1 in the last step.
    int Refilled() const;
    std::vector<double> SecondFraction() const;  // cells (this process's)

private:
    struct Impl;
    std::unique_ptr<Impl> p_;
};

}  // namespace fill
