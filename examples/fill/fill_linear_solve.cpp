#include "fill_linear_solve.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_solver.h"

namespace fill {

namespace {

// Iterations actually run by a library call that stopped in iteration
// `iter` (maxIter + 1 when the limit ended it).
int IterationsRun(int iter, int maxIter) { return std::max(0, std::min(iter, maxIter)); }

}  // namespace

SolveResult SolveToReachableResidual(CRVZGPUtool& tool, const JacobiBiCGSTAB& run, double* x, double* probe, int n,
                                     double rhsNorm, double tol)
{
    SolveResult result;
    const double floor = kReachableResidual * rhsNorm;
    // The probe: the first iteration from the start vector, on a copy.
    Ok(tool.DataCopyDevice2Device(n, probe, x), "copy");
    double first = 0.0, after = -1.0;
    int iter = 0;
    run(probe, tol, 1, first, after, iter);
    if (after < 0.0) {
        // The start vector solves the system exactly: nothing to do.
        result.target = floor;
        return result;
    }
    result.iterations = IterationsRun(iter, 1);
    if (after <= floor) {
        Ok(tool.DataCopyDevice2Device(n, x, probe), "copy");
        result.target = floor, result.residual = after;
        return result;
    }
    // The whole solve from the start vector: its first iteration repeats
    // the probe's, so its reference residual is `first` again, and the
    // library tolerance max(tol, floor / first) stops it below
    // max(tol first, floor).
    const double libraryTol = std::max(std::fabs(tol), floor / first);
    double resIn = 0.0, resOut = 0.0;
    iter = 0;
    run(x, libraryTol, kSolveIterationLimit, resIn, resOut, iter);
    result.iterations += IterationsRun(iter, kSolveIterationLimit);
    result.atLimit = iter > kSolveIterationLimit;
    result.target = libraryTol * first, result.residual = resOut;
    return result;
}

double OwnedNorm(CRVZGPUtool& tool, const double* v, int n, const std::function<double(double)>& sum)
{
    std::vector<double> h(static_cast<size_t>(std::max(n, 0)));
    if (n > 0) Ok(tool.DataCopyDevice2Host(n, h.data(), const_cast<double*>(v)), "copy");
    double squares = 0.0;
    for (double value : h) squares += value * value;
    return std::sqrt(sum(squares));
}

double CombinedNorm(CRVZGPUtool& tool, double* const* v, int count, int n, const std::function<double(double)>& sum)
{
    double squares = 0.0;
    for (int k = 0; k < count; ++k) squares += std::pow(OwnedNorm(tool, v[k], n, sum), 2);
    return std::sqrt(squares);
}

struct CellSolve::Work {
    Work(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device)
        : t(tool), d(device), nc(mesh.nCells), N(mesh.newNNU), nCol(mesh.nColumnPerRow), x(t, N), b(t, N), probe(t, N)
    {
    }
    CRVZGPUtool& t;
    const rvzmesh::DeviceMesh& d;
    const int nc, N, nCol;
    channel::Buf<double> x, b, probe;
};

CellSolve::CellSolve(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device)
    : w_(std::make_unique<Work>(tool, mesh, device))
{
}

CellSolve::~CellSolve() = default;

SolveResult CellSolve::operator()(double* A, double* rhs, double* phi, double tol, double equationNorm,
                                  const char* what)
{
    Work& w = *w_;
    CRVZGPUtool& t = w.t;
    w.x.Zero();
    w.b.Zero();
    Ok(t.DataCopyDevice2Device(w.nc, static_cast<double*>(w.x), phi), "copy");
    Ok(t.DataCopyDevice2Device(w.nc, static_cast<double*>(w.b), rhs), "copy");
    const JacobiBiCGSTAB run = [&](double* sol, double tl, int maxIter, double& resIn, double& resOut, int& iter) {
        Ok(t.BiCGSTAB_ELL(w.nc, w.nCol, w.d.indexELL, A, w.b, sol, tl, resIn, resOut, iter, maxIter, 1), what);
    };
    const double norm = equationNorm >= 0.0 ? equationNorm : OwnedNorm(t, rhs, w.nc, [](double v) { return v; });
    const SolveResult r = SolveToReachableResidual(t, run, w.x, w.probe, w.N, norm, tol);
    Ok(t.DataCopyDevice2Device(w.nc, phi, static_cast<double*>(w.x)), "copy");
    return r;
}

}  // namespace fill

