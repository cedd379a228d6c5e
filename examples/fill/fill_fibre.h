// Fibre orientation of rvzgpu-fill: the second-order orientation tensor a
// of short fibres carried by the melt, six components per cell (xx, yy,
// zz, xy, xz, yz), advanced once per time step after the flow and the
// volume fraction:
//   1. transport: one first-order upwind equation per component with the
//      fully implicit time term, all six sharing one matrix; the melt
//      enters with the case's inlet orientation; one solve per component;
//   2. boundary values: walls (a wetted wall face takes its cell's tensor,
//      an unwetted one keeps its own), outlets (the cell's), symmetry
//      planes (the cell's once the face is filled);
//   3. local evolution: the Folgar-Tucker equation under the cell's
//      velocity gradient over the time step, in every filled cell, with
//      the case's interaction coefficient, aspect ratio and closure.
// The class owns its device arrays; the flow's arrays come from the
// filling state as device pointers.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

// The flow state the fibre step reads (device arrays of the filling state).
struct FibreFlow {
    double* faceFlux = nullptr;   // interior-face volume flux, owner to neighbour positive
    double* inletFlux = nullptr;  // inlet-face volume flux, negative into the cavity
    double* volf = nullptr;       // volume fraction, cells and boundary slots
    int* wallVent = nullptr;      // per wall face: 1 while the face's cell is unfilled
    // Velocity gradient of the cells: du/dx, du/dy, du/dz, dv/dx, .., dw/dz.
    std::array<double*, 9> grad{};
};

// The principal direction of a symmetric 3x3 tensor given by its six
// components (xx, yy, zz, xy, xz, yz): the unit eigenvector of the largest
// eigenvalue scaled by that eigenvalue, its sign chosen so that its
// largest component (by magnitude, the first of equal ones) is positive.
// Jacobi rotations to a relative off-diagonal size of 1e-15.
std::array<double, 3> PrincipalDirection(const std::array<double, 6>& a);

struct FibreTraces {
    double transported = 0.0, evolved = 0.0;
};

class FibreOrientation {
public:
    // Starts with the inlet orientation in every cell and boundary slot.
    FibreOrientation(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                     const rvzmesh::DeviceMesh& device);
    ~FibreOrientation();
    FibreOrientation(const FibreOrientation&) = delete;
    FibreOrientation& operator=(const FibreOrientation&) = delete;

    // One time step of length dt: transport, boundary values, evolution.
    // Throws StepError (fill_solver.h) for a failed library call.
    void Step(double dt, const FibreFlow& flow);

    // The six components of the cells (xx, yy, zz, xy, xz, yz).
    std::array<std::vector<double>, 6> Download() const;
    // Checks for tests: while on, each step records the largest
    // |a_xx + a_yy + a_zz - 1| over the cells after the transport and after
    // the evolution (before the hand-back renormalises the diagonal); each
    // costs a download of three cell arrays. Turning it on clears them.
    void MeasureTraces(bool on);
    FibreTraces Traces() const;

    // Solves the transport systems A x[k] = b[k] of `count` components
    // sharing A (device arrays of the mesh's ELL pattern and rows; x holds
    // the current values) to the relative tolerance tol, with the floor of
    // fill_linear_solve.h measured against the norm of all the b[k]
    // together. Unset: BiCGSTAB_ELL on the mesh's rows (one process).
    // The filling step sets its solve (distributed in a partitioned run).
    using Solver = std::function<void(double* A, double* const* b, double* const* x, int count, double tol)>;
    void SetSolver(Solver solve);

private:
    struct Arrays;
    std::unique_ptr<Arrays> a_;
};

}  // namespace fill
