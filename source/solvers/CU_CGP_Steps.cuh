// The distributed conjugate gradient: the serial method's steps (from
// CU_KrylovSteps.cuh) with every reduced scalar summed over all processes
// and the halo of the search direction refreshed from the neighbours after
// each of its updates. Shared by the CSR and ELL drivers, which supply the
// storage's kernels and the device side of the halo refresh.
//
// Included by .cu files only: it launches kernels.
#pragma once

#include <cmath>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <utility>
#include <vector>

#include "CRVZCom.h"
#include "CU_HaloExchange.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

// The value of a locally reduced scalar summed over every process.
struct ProcessSum {
    CRVZCom* com;
    int comm;
    double operator()(double local) const
    {
        double global = 0.0;
        com->AllSum(com->DoubleType, &local, &global, 1, comm);
        return global;
    }
};

// Device and page-locked work storage of a distributed solve. A failed
// allocation is reported in distributed mode, which ends every process of
// the run; the code is returned should the transport let the call go on.
class DistributedWorkspace {
public:
    DistributedWorkspace(int device, int rank, CRVZCom* com) : device_(device), rank_(rank), com_(com) {}
    DistributedWorkspace(const DistributedWorkspace&) = delete;
    DistributedWorkspace& operator=(const DistributedWorkspace&) = delete;
    ~DistributedWorkspace() { Release(); }

    template <class T>
    int Device(int n, T*& p)
    {
        p = nullptr;
        const int code = AllocateDevice(n, p);
        if (code != 0) return Failed(code);
        if (p != nullptr) release_.push_back([p] { FreeDevice(p); });
        return 0;
    }
    int PageLocked(int n, double*& p)
    {
        p = nullptr;
        const int code = AllocatePageLocked(n, p);
        if (code != 0) return Failed(code);
        if (p != nullptr) release_.push_back([p] { FreePageLocked(p); });
        return 0;
    }
    int Stream(cudaStream_t& s)
    {
        const int code = CreateStream(&s);
        if (code != 0) return Failed(code);
        release_.push_back([s] { DestroyStream(s); });
        return 0;
    }
    void Release()
    {
        for (auto it = release_.rbegin(); it != release_.rend(); ++it) (*it)();
        release_.clear();
    }

private:
    int Failed(int code)
    {
        ReportGPUMemoryError(kDistributed, 0, code, 0.0, device_, rank_, com_);
        Release();
        (void)cudaGetLastError();
        return code;
    }

    int device_;
    int rank_;
    CRVZCom* com_;
    std::vector<std::function<void()>> release_;
};

// What a distributed conjugate gradient solve is given beside its matrix.
struct CGPProblem {
    int nnu;
    int nHalo;
    bool jacobi;
    double* sol;      // device: initial guess with halo values, then the solution
    double* solHost;  // host, nnu + nHalo entries
    double tol;
    int maxIter;
    int comm;
    int rank;
    int device;
    CRVZCom* com;
};

// Without a message-passing object no scalar can be summed: the call is
// refused with a report (serial form: there is nothing to abort through).
inline bool HasMessagePassing(CRVZCom* com, const char* message, int device)
{
    if (com != nullptr) return true;
    ReportCUDAError(kSerial, cudaErrorInvalidValue, device, 0, message, nullptr);
    return false;
}

// Pairs the j-th send with the j-th receive neighbour: lists of different
// lengths cannot be exchanged and end the run with a report.
inline bool NeighbourListsPair(const CGPProblem& p, const NeighbourLists& lists)
{
    if (lists.nSendNbr == lists.nRecvNbr) return true;
    ReportCUDAError(kDistributed, cudaErrorInvalidValue, p.device, p.rank,
                    "Send and receive neighbour lists differ in length", p.com);
    return false;
}

// The solve on vectors of n entries (the direction vector also holds the
// halo). `halo` provides Prepare(workspace), Refresh(P) of the device
// direction and FinalUpdate(x, solHost), which copies the solution with its
// halo to the host and refreshes the halo values there. An initial residual
// of exactly zero (over all processes) skips the iterations with iter = 0.
// `A` launches the inverse diagonal and the initial residual (CsrOperator,
// EllOperator or one of the same form).
template <class R, class Operator, class Product, class Halo>
int CGPSolve(int n, const CGPProblem& p, bool printTolerance, double& resIn, double& resOut, int& iter,
             const Operator& A, Product&& product, Halo& halo)
{
    const LevelTable table = MakeLevelTable(n);
    CGSystem s{p.nnu, table.size[1], LevelView(table), CGVectors{}, CGBuffers{}, p.jacobi};
    DistributedWorkspace work(p.device, p.rank, p.com);
    const int total = table.total;
    const int directionLength = n > p.nnu + p.nHalo ? n : p.nnu + p.nHalo;
    int code = 0;
    for (auto e : {std::make_pair(&s.b.res, total), std::make_pair(&s.b.aNum, total), std::make_pair(&s.b.aDen, total),
                   std::make_pair(&s.b.bNum, total), std::make_pair(&s.b.bDen, total), std::make_pair(&s.v.r, n),
                   std::make_pair(&s.v.rOld, n), std::make_pair(&s.v.P, directionLength), std::make_pair(&s.v.q, n)})
        if (code == 0) code = work.Device(e.second, *e.first);
    if (p.jacobi)
        for (double** v : {&s.v.d, &s.v.z, &s.v.zOld})
            if (code == 0) code = work.Device(n, *v);
    if (code == 0) code = halo.Prepare(work);
    if (code != 0) return code;

    ProcessSum globalSum{p.com, p.comm};
    if (p.jacobi) A.InverseDiagonal(s.v.d);
    A.ResidualIn(s.v.r, s.b.res);
    resIn = std::sqrt(FinishReduction<R::kCollectResidual>(s.table, s.b.res, globalSum));
    const double tolAbs = std::fabs(p.tol) * resIn;
    if (printTolerance && p.rank == 0) {
        std::printf("resIn=%e, tolerance=%e\n", resIn, tolAbs);
        std::fflush(stdout);
    }

    double finalResidual = 0.0;
    int iterations = 0;
    if (resIn != 0.0) {
        CGFirstDirection(s);
        // Refreshing P before each product is the same sequence as refreshing
        // it after each update; the update that ends the loop is refreshed
        // below.
        auto refreshedProduct = [&](const double* P, double* q) {
            halo.Refresh(s.v.P);
            product(P, q);
        };
        CGIterate<R>(s, p.sol, tolAbs, p.maxIter, refreshedProduct, globalSum, finalResidual, iterations);
        halo.Refresh(s.v.P);
    }
    halo.FinalUpdate(p.sol, p.solHost);
    resOut = finalResidual;
    iter = iterations;
    work.Release();
    return CheckStepDistributed("Computing failed", p.device, p.rank, p.com);
}

}  // namespace rvz
