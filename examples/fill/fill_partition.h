// One process's share of a partitioned rvzgpu-fill run (mpirun -np K).
//
// Every process builds the whole mesh, cuts it into K parts by coordinate
// bisection of the cell centroids (rvzmesh::PartitionCells, SplitMesh) and
// keeps its own part: its owned cells, then the halo copies of the
// neighbours' cells its faces reach. The filling step runs on the part as
// on a whole mesh, with three additions:
// - halo refresh: after every change of a cell field that faces read on
//   their other side, the owners' values are copied into the halo. The
//   copy lists have one entry per partition face (the owned cell sent, the
//   halo copy received), grouped by neighbour in ascending rank and, within
//   a pair of processes, in ascending global face order, so both sides
//   agree without talking; the values travel through the copy-list
//   operations (Calc_fiD2ParD2HCopyListD, Calc_ParH2DCopyListD2fiD) and one
//   SendRecvReplace per neighbour of the message-passing class;
// - linear solves by the distributed Jacobi BiCGSTAB
//   (BiJCGSTABELL_woMallocPar) on the same copy lists;
// - sums, maxima and minima over all processes in a fixed order: each
//   process's partial value lands at its rank in a vector that AllSum
//   adds up (every other entry is an exact zero), and every process then
//   combines the partials in rank order, so all processes hold the same
//   bits and a run does not depend on message timing.
// A face's coefficients sit at the same matrix columns as in the whole
// mesh, so each owned row sums its contributions in the whole mesh's order;
// what differs from one process is the order of the partial sums over
// processes (global sums, the solvers' dot products): a rounding change,
// far below the tolerances of the solves.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fill_linear_solve.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZCom;
class CRVZGPUtool;

namespace fill {

struct FillSettings;

class Partitioned {
public:
    // The part `rank` of `whole` cut into `size` parts, its copy lists and
    // the distributed solver's storage on the device. com may be null only
    // with size 1. Throws SettingsError (at the case file's mesh entry)
    // when there are more parts than cells, std::runtime_error for a failed
    // allocation.
    Partitioned(CRVZGPUtool& tool, CRVZCom* com, int rank, int size, const rvzmesh::Mesh& whole,
                const FillSettings& settings);
    ~Partitioned();
    Partitioned(const Partitioned&) = delete;
    Partitioned& operator=(const Partitioned&) = delete;

    int rank() const;
    int size() const;
    const rvzmesh::Mesh& Local() const;      // this process's part, halo included
    const rvzmesh::Partition& Part() const;  // with its global numbering
    const rvzmesh::Mesh& Whole() const;
    int GlobalCells() const;
    int PartitionFaces() const;  // entries of the copy lists

    // Copies the owners' values into the halo slots nCells .. nCells+nHalo-1
    // of a device cell field (at least nCells + nHalo values).
    void Refresh(double* fieldD);
    // Over all processes, partials combined in rank order.
    double Sum(double local);
    int SumCount(int local);
    double Max(double local);
    // The least value that is not NaN; NaN when every process has NaN.
    double MinIgnoringNaN(double local);
    // Solves the owned rows of A phi = rhs (the part's ELL pattern indexELL
    // and values A on the device, rhs and phi device arrays of at least
    // nCells values, phi's halo refreshed first and after) to the relative
    // tolerance with the floor of fill_linear_solve.h, measured against
    // equationNorm (negative: the norm of rhs over all processes). Throws
    // StepError (device) when the solver reports a failure.
    SolveResult Solve(int* indexELL, double* A, double* rhs, double* phi, double tol, double equationNorm = -1.0);
    // Owned cell values of every process in global cell order, on every
    // process (exact: each entry is one process's value plus zeros).
    std::vector<double> Gather(const std::vector<double>& owned);

    // Wall-clock seconds spent in the halo refreshes and in the sums over
    // processes since the last call (then reset).
    double TakeExchangeSeconds();

private:
    struct Impl;
    std::unique_ptr<Impl> p_;
};

// rvzgpu-fill's entry under mpirun (fill_partition_main.cpp, built with
// MPI): returns -1 when the program was not started by mpirun or runs as
// one process (the caller then runs on one process as without mpirun),
// else runs the partitioned case and returns the exit status.
int MainPartitioned(int argc, char** argv, const char* usage);

}  // namespace fill
