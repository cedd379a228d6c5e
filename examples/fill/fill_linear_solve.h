// How rvzgpu-fill calls the library's Jacobi BiCGSTAB: every linear solve
// of a filling step (momentum, pressure correction, volume fraction, the
// basic energy step, melt-front temperature, fibre orientation; on one
// process and partitioned) goes through SolveToReachableResidual. The
// extended volume-fraction path keeps its own restarted solve.
//
// The library's Jacobi BiCGSTAB measures its relative tolerance against
// the residual norm after its first iteration, r1, and stops when the
// residual falls below tol r1. When that first iteration already brings
// the residual near rounding level (a strongly diagonal system such as
// the volume fraction's, or a start vector that nearly solves the
// system), tol r1 lies below anything the arithmetic reaches and the
// solve runs to its iteration limit for nothing. Here a solve stops at
//     max(tol r1, kReachableResidual |b|),
// the second term being a residual norm that rounding in b - A x already
// comes close to. Since r1 is known only after an iteration, one
// iteration is run first on a copy of the start vector (the probe): when
// it reaches the floor its result is taken; else the solve runs from the
// start vector with the library tolerance max(tol, kReachableResidual |b|
// / r1), so it takes the same first iteration and stops at that target.
// Every quantity is a global one (norms summed over processes in a fixed
// order), so every process of a partitioned run takes the same decision.
#pragma once

#include <functional>
#include <memory>

#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

// The iteration limit of every linear solve.
constexpr int kSolveIterationLimit = 4000;
// A residual norm at or below this fraction of the right-hand side's norm
// counts as solved. Rounding alone leaves about two rounding units (4e-16)
// of |b| in b - A x for these systems; a floor some thousands of units
// above that is met by a residual that still falls steeply, so that runs
// whose sums round differently (one process or several) stop in the same
// iteration, and it lies below any accuracy a step asks for.
constexpr double kReachableResidual = 1e-12;

// One run of the library's Jacobi BiCGSTAB on the system at hand from the
// start vector in sol, updated in place; resIn, resOut and iter as the
// library writes them (resIn: the residual norm after the first iteration;
// iter: the iteration in which the run stopped, maxIter + 1 at the limit;
// resOut and iter are not written when the start vector solves the system
// exactly).
using JacobiBiCGSTAB =
    std::function<void(double* sol, double tol, int maxIter, double& resIn, double& resOut, int& iter)>;

struct SolveResult {
    int iterations = 0;    // iterations run, the probe's included
    bool atLimit = false;  // the solve ended at kSolveIterationLimit
    double target = 0.0;   // the residual norm it was to reach
    double residual = 0.0;  // the residual norm it ended with (the library's)
};

// Solves A x = b by `run` from the start vector in x (n device values,
// updated in place) to the residual norm max(tol r1, kReachableResidual
// rhsNorm) as above; probe is device storage of n values. rhsNorm is the
// norm of b over all processes.
SolveResult SolveToReachableResidual(CRVZGPUtool& tool, const JacobiBiCGSTAB& run, double* x, double* probe, int n,
                                     double rhsNorm, double tol);

// Euclidean norm of the first n values of a device vector; `sum` adds the
// local sum of squares over the processes (identity on one process).
double OwnedNorm(CRVZGPUtool& tool, const double* v, int n, const std::function<double(double)>& sum);

// The norm of `count` device vectors of n values taken together (the
// right-hand sides of the components of one equation).
double CombinedNorm(CRVZGPUtool& tool, double* const* v, int count, int n, const std::function<double(double)>& sum);

// The solve on one process: BiCGSTAB_ELL (Jacobi) over the cell rows of a
// mesh, on work vectors of newNNU values it owns.
class CellSolve {
public:
    CellSolve(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device);
    ~CellSolve();
    CellSolve(const CellSolve&) = delete;
    CellSolve& operator=(const CellSolve&) = delete;

    // Solves A phi = rhs (A in the mesh's ELL pattern; rhs and phi device
    // arrays of at least nCells values, phi the start vector) to tol with
    // the floor measured against equationNorm (negative: the norm of
    // rhs). Throws StepError (device, naming `what`) when a call fails.
    SolveResult operator()(double* A, double* rhs, double* phi, double tol, double equationNorm, const char* what);

private:
    struct Work;
    std::unique_ptr<Work> w_;
};

}  // namespace fill
