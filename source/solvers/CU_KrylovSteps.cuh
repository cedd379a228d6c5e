// Host-side step sequences of the Krylov solvers, shared by the serial
// drivers (CSR, ELL, caller storage) and the distributed ones.
//
// A sequence is parameterised by
// - the matrix product(s), callables `product(in, out)` that launch the
//   storage's product kernel (a distributed driver refreshes the halo of
//   `in` there before launching), and
// - the global sum, a callable that turns a locally reduced scalar into
//   the value the method uses (LocalSum in a serial solve; a sum over all
//   processes in a distributed one).
// Every reduction runs its first level fused into a step kernel and then
// goes through the level driver of CU_CollectResidual.h.
//
// Included by .cu files only: it launches kernels.
#pragma once

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <utility>
#include <vector>

#include "CUK_BiCGSTAB_Basic.cuh"
#include "CU_CollectResidual.h"
#include "CU_MemoryOperation.h"
#include "CU_checkError.h"

namespace rvz {

// A CSR matrix with the right-hand side and initial guess of one solve: the
// launches every CSR driver makes on it, one thread per row over `grid`
// blocks. The product kernel is the driver's own (its name is part of each
// family's kernel set); every one takes (nnu, y, ia, ja, aa, x).
struct CsrOperator {
    int nnu;
    const int* ia;
    const int* ja;
    const double* aa;
    const double* rhs;
    const double* sol;
    int grid;

    void InverseDiagonal(double* d) const
    {
        RVZ_LAUNCH(Kernel_CSR_CalcM, grid, kBlockSize, 0, 0)(nnu, ia, ja, aa, d);
    }

    // r = b - A x0, with the first level of ||r||^2 into buffer.
    void ResidualIn(double* r, double* buffer) const
    {
        RVZ_LAUNCH_BLOCK(Kernel_CSR_CalcResidual_In, grid, kBlockSize, kTwoQuantityShared, 0)
        (nnu, ia, ja, aa, rhs, sol, r, buffer);
    }

    // y = A x; `shared` is the block cache of x the kernel uses on a GPU.
    template <auto Kernel>
    void Product(const double* x, double* y, size_t shared) const
    {
        RVZ_LAUNCH(Kernel, grid, kBlockSize, shared, 0)(nnu, y, ia, ja, aa, x);
    }
};

// An ELL matrix with the right-hand side and initial guess of one solve:
// the launches every ELL driver makes on it over `grid` blocks. Product
// kernels take (nnu, new_nnu, NColumnPerRow, y, aaELL, indexELL, x).
struct EllOperator {
    int nnu;
    int new_nnu;
    int NColumnPerRow;
    const int* indexELL;
    const double* aaELL;
    const double* rhs;
    const double* sol;
    int grid;

    void InverseDiagonal(double* d) const
    {
        RVZ_LAUNCH(Kernel_ELL_CalcM, grid, kBlockSize, 0, 0)(nnu, NColumnPerRow, indexELL, aaELL, d);
    }

    // r = b - A x0, with the first level of ||r||^2 into buffer.
    void ResidualIn(double* r, double* buffer) const
    {
        RVZ_LAUNCH_BLOCK(Kernel_ELL_CalcResidual_In, grid, kBlockSize, kOneQuantityShared, 0)
        (nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, r, buffer);
    }

    template <auto Kernel>
    void Product(const double* x, double* y) const
    {
        RVZ_LAUNCH(Kernel, grid, kBlockSize, 0, 0)(nnu, new_nnu, NColumnPerRow, y, aaELL, indexELL, x);
    }

    // The plain and the Jacobi method launch kernels of their own names.
    template <auto Plain, auto Jacobi>
    void Product(bool jacobi, const double* x, double* y) const
    {
        if (jacobi)
            Product<Jacobi>(x, y);
        else
            Product<Plain>(x, y);
    }
};

// The scalar of a serial solve is the local one.
struct LocalSum {
    double operator()(double local) const { return local; }
};

// Collecting levels, the eight-byte copy and the global sum of a reduction
// whose first level has been launched into `buffer`.
template <auto Collect, class GlobalSum>
double FinishReduction(const LevelView& table, double* buffer, GlobalSum& globalSum)
{
    CollectLevels<Collect>(table, buffer);
    double local = 0.0;
    CopyReductionResult(table, buffer, local);
    return globalSum(local);
}

template <auto Collect, class GlobalSum>
void FinishReduction2(const LevelView& table, double* bufferA, double* bufferB, GlobalSum& globalSum, double& a,
                      double& b)
{
    CollectLevels2<Collect>(table, bufferA, bufferB);
    double localA = 0.0;
    double localB = 0.0;
    CopyReductionResult(table, bufferA, localA);
    CopyReductionResult(table, bufferB, localB);
    a = globalSum(localA);
    b = globalSum(localB);
}

// What every step of a method reads: rows, the grid of its one-thread-
// per-row launches, the level table of its reductions, the method's work
// vectors and partial-sum buffers, and whether it is Jacobi-preconditioned.
template <class Vectors, class Buffers>
struct KrylovSystem {
    int nnu;
    int grid;
    LevelView table;
    Vectors v;
    Buffers b;
    bool jacobi;
};

// Device work storage of one solve, allocated (and zero-filled) in the
// order given and freed on destruction.
class SolverWorkspace {
public:
    struct Entry {
        double** pointer;
        int count;
    };

    SolverWorkspace() = default;
    SolverWorkspace(const SolverWorkspace&) = delete;
    SolverWorkspace& operator=(const SolverWorkspace&) = delete;
    ~SolverWorkspace() { Release(); }

    // Allocates every entry; on the first failure reports it with the memory
    // reporter (the requirement line only when showRequirement is set),
    // frees what was allocated and returns the allocation's code.
    int Allocate(std::initializer_list<Entry> entries, bool showRequirement, double requiredMB, int device)
    {
        for (const Entry& e : entries) {
            double* p = nullptr;
            const int code = AllocateDevice(e.count, p);
            if (code != 0) {
                ReportGPUMemoryError(kSerial, showRequirement ? 1 : 0, code, requiredMB, device, 0, nullptr);
                Release();
                // The failure has been reported and is returned to the caller;
                // it must not surface again as a failed computation later.
                (void)cudaGetLastError();
                return code;
            }
            held_.push_back(p);
            *e.pointer = p;
        }
        return 0;
    }

    void Release()
    {
        for (auto it = held_.rbegin(); it != held_.rend(); ++it) FreeDevice(*it);
        held_.clear();
    }

private:
    std::vector<double*> held_;
};

// ---------------------------------------------------------------------------
// Conjugate gradient
// ---------------------------------------------------------------------------

struct CGVectors {
    double* r = nullptr;
    double* rOld = nullptr;
    double* P = nullptr;
    double* q = nullptr;
    double* d = nullptr;  // Jacobi only: inverse diagonal
    double* z = nullptr;  // Jacobi only: d r
    double* zOld = nullptr;
};

struct CGBuffers {
    double* res = nullptr;
    double* aNum = nullptr;
    double* aDen = nullptr;
    double* bNum = nullptr;
    double* bDen = nullptr;
};

using CGSystem = KrylovSystem<CGVectors, CGBuffers>;

// The collecting kernels of a storage, and whether its Jacobi dot products
// run as two separate first-level launches.
template <auto CollectResidualK, auto CollectAK, auto CollectBK, bool SplitJacobiDots>
struct CGReductions {
    static constexpr auto kCollectResidual = CollectResidualK;
    static constexpr auto kCollectA = CollectAK;
    static constexpr auto kCollectB = CollectBK;
    static constexpr bool kSplitJacobiDots = SplitJacobiDots;
};
using CSRReductions = CGReductions<Kernel_CollectResidual, Kernel_CG_Collect_A, Kernel_CG_Collect_B, false>;
using ELLReductions =
    CGReductions<Kernel_CollectResidual_Alt, Kernel_CG_Collect_A_Alt, Kernel_CG_Collect_B_Alt, true>;

inline void LaunchDot(const CGSystem& s, const double* a, const double* b, double* buffer)
{
    RVZ_LAUNCH_BLOCK(Kernel_JCG_CalcV1dotV2, s.grid, kBlockSize, kOneQuantityShared, 0)(s.nnu, a, b, buffer);
}

// z = d r (Jacobi), then the first direction P = r or P = z.
inline void CGFirstDirection(const CGSystem& s)
{
    if (s.jacobi) RVZ_LAUNCH(Kernel_JCG_CalcZ, s.grid, kBlockSize, 0, 0)(s.nnu, s.v.d, s.v.r, s.v.z);
    CopyDeviceToDevice(s.nnu, s.v.P, s.jacobi ? s.v.z : s.v.r);
}

// alpha = (r_old.r_old) / (P.q), or (r_old.z_old) / (P.q) with Jacobi.
template <class R, class GlobalSum>
double CGAlpha(const CGSystem& s, GlobalSum& globalSum)
{
    if (s.jacobi && R::kSplitJacobiDots) {
        LaunchDot(s, s.v.rOld, s.v.zOld, s.b.aNum);
        LaunchDot(s, s.v.P, s.v.q, s.b.aDen);
    } else if (s.jacobi) {
        RVZ_LAUNCH_BLOCK(Kernel_JCG_CalcA, s.grid, kBlockSize, kTwoQuantityShared, 0)
        (s.nnu, s.v.rOld, s.v.zOld, s.v.P, s.v.q, s.b.aNum, s.b.aDen);
    } else {
        RVZ_LAUNCH_BLOCK(Kernel_CG_CalcA, s.grid, kBlockSize, kTwoQuantityShared, 0)
        (s.nnu, s.v.rOld, s.v.P, s.v.q, s.b.aNum, s.b.aDen);
    }
    double numerator = 0.0;
    double denominator = 0.0;
    FinishReduction2<R::kCollectA>(s.table, s.b.aNum, s.b.aDen, globalSum, numerator, denominator);
    return numerator / denominator;
}

// r = r_old - alpha q; returns ||r||.
template <class R, class GlobalSum>
double CGResidual(const CGSystem& s, double alpha, GlobalSum& globalSum)
{
    RVZ_LAUNCH_BLOCK(Kernel_CG_CalcResidual_Out, s.grid, kBlockSize, kOneQuantityShared, 0)
    (s.nnu, alpha, s.v.q, s.v.r, s.v.rOld, s.b.res);
    return std::sqrt(FinishReduction<R::kCollectResidual>(s.table, s.b.res, globalSum));
}

// beta = (r.r) / (r_old.r_old), or (r.z) / (r_old.z_old) with Jacobi.
template <class R, class GlobalSum>
double CGBeta(const CGSystem& s, GlobalSum& globalSum)
{
    if (s.jacobi && R::kSplitJacobiDots) {
        LaunchDot(s, s.v.r, s.v.z, s.b.bNum);
        LaunchDot(s, s.v.rOld, s.v.zOld, s.b.bDen);
    } else if (s.jacobi) {
        RVZ_LAUNCH_BLOCK(Kernel_JCG_CalcB, s.grid, kBlockSize, kTwoQuantityShared, 0)
        (s.nnu, s.v.rOld, s.v.r, s.v.zOld, s.v.z, s.b.bNum, s.b.bDen);
    } else {
        RVZ_LAUNCH_BLOCK(Kernel_CG_CalcB, s.grid, kBlockSize, kTwoQuantityShared, 0)
        (s.nnu, s.v.rOld, s.v.r, s.b.bNum, s.b.bDen);
    }
    double numerator = 0.0;
    double denominator = 0.0;
    FinishReduction2<R::kCollectB>(s.table, s.b.bNum, s.b.bDen, globalSum, numerator, denominator);
    return numerator / denominator;
}

// The iterations of the conjugate gradient method from the first direction
// on. At least one iteration runs: the stopping test follows the update.
// A NaN residual fails `resOut > tolAbs` and stops the loop.
template <class R, class Product, class GlobalSum>
void CGIterate(const CGSystem& s, double* x, double tolAbs, int maxIter, Product&& product, GlobalSum&& globalSum,
               double& resOut, int& iter)
{
    // r_old = r and z_old = z by exchanging the vectors: the residual and
    // z = d r kernels overwrite every row of r and z before they are read
    // again, so the exchange gives the same numbers without two copies of
    // n doubles per iteration.
    CGSystem w = s;
    iter = 0;
    do {
        std::swap(w.v.rOld, w.v.r);
        if (s.jacobi) std::swap(w.v.zOld, w.v.z);
        product(static_cast<const double*>(w.v.P), w.v.q);
        const double alpha = CGAlpha<R>(w, globalSum);
        RVZ_LAUNCH(Kernel_CG_CalcSol, w.grid, kBlockSize, 0, 0)(w.nnu, x, x, w.v.P, alpha);
        resOut = CGResidual<R>(w, alpha, globalSum);
        if (w.jacobi) RVZ_LAUNCH(Kernel_JCG_CalcZ, w.grid, kBlockSize, 0, 0)(w.nnu, w.v.d, w.v.r, w.v.z);
        const double beta = CGBeta<R>(w, globalSum);
        RVZ_LAUNCH(Kernel_CG_CalcP, w.grid, kBlockSize, 0, 0)(w.nnu, w.v.P, w.v.P, w.jacobi ? w.v.z : w.v.r, beta);
        ++iter;
    } while (resOut > tolAbs && iter < maxIter);
}

// The allocating conjugate gradient driver after its start lines: work
// storage for vectors of n entries, the inverse diagonal (Jacobi), the
// initial residual, the iterations, the end line and the status check.
// `A` launches the storage's inverse diagonal and initial residual;
// `product(P, q)` its matrix product. An initial residual of exactly zero
// returns at once with iter = 0 and resOut = 0.
template <class R, class Operator, class Product>
int CGSolve(int n, int nnu, bool jacobi, double* x, double tol, double& resIn, double& resOut, int& iter,
            int maxIter, bool showRequirement, double requiredMB, int device, const Operator& A, Product&& product)
{
    const LevelTable table = MakeLevelTable(n);
    CGSystem s{nnu, table.size[1], LevelView(table), CGVectors{}, CGBuffers{}, jacobi};
    SolverWorkspace work;
    const int total = table.total;
    int code = work.Allocate({{&s.b.res, total},
                              {&s.b.aNum, total},
                              {&s.b.aDen, total},
                              {&s.b.bNum, total},
                              {&s.b.bDen, total},
                              {&s.v.r, n},
                              {&s.v.rOld, n},
                              {&s.v.P, n},
                              {&s.v.q, n}},
                             showRequirement, requiredMB, device);
    if (code == 0 && jacobi)
        code = work.Allocate({{&s.v.d, n}, {&s.v.z, n}, {&s.v.zOld, n}}, showRequirement, requiredMB, device);
    if (code != 0) return code;

    LocalSum localSum;
    if (jacobi) A.InverseDiagonal(s.v.d);
    A.ResidualIn(s.v.r, s.b.res);
    resIn = std::sqrt(FinishReduction<R::kCollectResidual>(s.table, s.b.res, localSum));
    double finalResidual = 0.0;
    int iterations = 0;
    if (resIn != 0.0) {
        CGFirstDirection(s);
        CGIterate<R>(s, x, std::fabs(tol) * resIn, maxIter, product, localSum, finalResidual, iterations);
    }
    resOut = finalResidual;
    iter = iterations;
    work.Release();
    std::printf("\n\niter=%d, resIn=%e, resOut=%e\n", iter, resIn, resOut);
    std::fflush(stdout);
    return CheckStep("Computing failed", device);
}

// ---------------------------------------------------------------------------
// BiCGSTAB
// ---------------------------------------------------------------------------

// Without a preconditioner pHat aliases P and sHat aliases s.
struct BiCGVectors {
    double* r = nullptr;
    double* rOld = nullptr;  // scheme A only
    double* rTilde = nullptr;
    double* P = nullptr;
    double* pHat = nullptr;
    double* v = nullptr;
    double* s = nullptr;
    double* sHat = nullptr;
    double* t = nullptr;
    double* d = nullptr;
};

struct BiCGBuffers {
    double* res = nullptr;
    double* aDen = nullptr;
    double* rho = nullptr;
    double* s = nullptr;
    double* omegaNum = nullptr;
    double* omegaDen = nullptr;
};

using BiCGSystem = KrylovSystem<BiCGVectors, BiCGBuffers>;

// After the initial residual kernel: ||r0|| through `CollectInitial`, then
// rtilde = r0 and, when asked, P = r0.
template <auto CollectInitial, class GlobalSum>
double BiCGStart(const BiCGSystem& s, GlobalSum& globalSum, bool setDirection)
{
    const double resIn = std::sqrt(FinishReduction<CollectInitial>(s.table, s.b.res, globalSum));
    CopyDeviceToDevice(s.nnu, s.v.rTilde, s.v.r);
    if (setDirection) CopyDeviceToDevice(s.nnu, s.v.P, s.v.r);
    return resIn;
}

template <class GlobalSum>
double BiCGRho(const BiCGSystem& s, const double* r, GlobalSum& globalSum)
{
    RVZ_LAUNCH_BLOCK(Kernel_BiCGSTAB_CalcRho, s.grid, kBlockSize, kOneQuantityShared, 0)
    (s.nnu, r, s.v.rTilde, s.b.rho);
    return FinishReduction<Kernel_BiCGSTAB_Collect_rho>(s.table, s.b.rho, globalSum);
}

// hat = d in (Jacobi; without it hat aliases in), then out = A hat: v from
// P through pHat, and t from s through sHat.
template <class Product>
void BiCGPreconditionedProduct(const BiCGSystem& s, const double* in, double* hat, double* out, Product& product)
{
    if (s.jacobi) RVZ_LAUNCH(Kernel_BiJCGSTAB_CalcPrecondition, s.grid, kBlockSize, 0, 0)(s.nnu, s.v.d, in, hat);
    product(static_cast<const double*>(hat), out);
}

// delta = rtilde.v
template <class GlobalSum>
double BiCGAlphaDenominator(const BiCGSystem& s, GlobalSum& globalSum)
{
    RVZ_LAUNCH_BLOCK(Kernel_BiCGSTAB_CalcA, s.grid, kBlockSize, kOneQuantityShared, 0)(s.nnu, s.v.rTilde, s.v.v, s.b.aDen);
    return FinishReduction<Kernel_BiCGSTAB_Collect_A>(s.table, s.b.aDen, globalSum);
}

// s = r - alpha v; returns the reduced s.s.
template <class GlobalSum>
double BiCGIntermediate(const BiCGSystem& s, const double* r, double alpha, GlobalSum& globalSum)
{
    RVZ_LAUNCH_BLOCK(Kernel_BiCGSTAB_Calc_s, s.grid, kBlockSize, kOneQuantityShared, 0)
    (s.nnu, alpha, s.v.v, s.v.s, r, s.b.s);
    return FinishReduction<Kernel_BiCGSTAB_Collect_s>(s.table, s.b.s, globalSum);
}

// t.s and t.t
template <class GlobalSum>
void BiCGOmegaTerms(const BiCGSystem& s, GlobalSum& globalSum, double& numerator, double& denominator)
{
    RVZ_LAUNCH_BLOCK(Kernel_BiCGSTAB_CalcOmega, s.grid, kBlockSize, kTwoQuantityShared, 0)
    (s.nnu, s.v.t, s.v.s, s.b.omegaNum, s.b.omegaDen);
    FinishReduction2<Kernel_BiCGSTAB_Collect_Omega>(s.table, s.b.omegaNum, s.b.omegaDen, globalSum, numerator,
                                                    denominator);
}

// r = s - omega t; returns ||r||.
template <class GlobalSum>
double BiCGResidual(const BiCGSystem& s, double omega, GlobalSum& globalSum)
{
    RVZ_LAUNCH_BLOCK(Kernel_BiCGSTAB_CalcResidual_Out, s.grid, kBlockSize, kOneQuantityShared, 0)
    (s.nnu, omega, s.v.t, s.v.r, s.v.s, s.b.res);
    return std::sqrt(FinishReduction<Kernel_CollectResidual>(s.table, s.b.res, globalSum));
}

inline void BiCGUpdateSolution(const BiCGSystem& s, double* x, const double* direction, double step, bool omegaStep)
{
    if (omegaStep)
        RVZ_LAUNCH(Kernel_BiCGSTAB_CalcSol_alt, s.grid, kBlockSize, 0, 0)(s.nnu, x, x, direction, step);
    else
        RVZ_LAUNCH(Kernel_BiCGSTAB_CalcSol, s.grid, kBlockSize, 0, 0)(s.nnu, x, x, direction, step);
}

// P = r + beta (P - omega v)
inline void BiCGDirection(const BiCGSystem& s, double beta, double omega)
{
    RVZ_LAUNCH(Kernel_BiCGSTAB_CalcP, s.grid, kBlockSize, 0, 0)(s.nnu, s.v.P, s.v.P, s.v.r, beta, s.v.v, omega);
}

// Scheme A: breakdown test |rho| < 1e-99 with a message, early exit when
// ||s|| falls below the raw tolerance, convergence against |tol| ||r0||.
// resOut and iter receive the last residual norm (||r0|| before the first
// residual update) and the number of completed iterations.
template <class ProductV, class ProductT, class GlobalSum>
void BiCGSchemeA(const BiCGSystem& s, double* x, double tol, double resIn, int maxIter, ProductV&& productV,
                 ProductT&& productT, GlobalSum&& globalSum, double& resOut, int& iter)
{
    constexpr double kRhoBreakdown = 1e-99;
    const double tolAbs = std::fabs(tol) * resIn;
    resOut = resIn;
    int k = 0;
    for (;;) {
        CopyDeviceToDevice(s.nnu, s.v.rOld, s.v.r);
        const double rho = BiCGRho(s, s.v.rOld, globalSum);
        if (std::fabs(rho) < kRhoBreakdown) {
            if (s.jacobi)
                std::printf("rho=%e < %e\n", rho, kRhoBreakdown);
            else
                std::printf("rho=%e\n", rho);
            std::fflush(stdout);
            break;
        }
        BiCGPreconditionedProduct(s, s.v.P, s.v.pHat, s.v.v, productV);
        const double alpha = rho / BiCGAlphaDenominator(s, globalSum);
        const double sNorm = std::sqrt(BiCGIntermediate(s, s.v.rOld, alpha, globalSum));
        BiCGUpdateSolution(s, x, s.v.pHat, alpha, false);
        if (sNorm < std::fabs(tol)) {
            std::printf("s_norm=%e < s_tolerance=%e\n", sNorm, std::fabs(tol));
            std::fflush(stdout);
            break;
        }
        BiCGPreconditionedProduct(s, s.v.s, s.v.sHat, s.v.t, productT);
        double omegaNumerator = 0.0;
        double omegaDenominator = 0.0;
        BiCGOmegaTerms(s, globalSum, omegaNumerator, omegaDenominator);
        const double omega = omegaNumerator / omegaDenominator;
        BiCGUpdateSolution(s, x, s.v.sHat, omega, true);
        resOut = BiCGResidual(s, omega, globalSum);
        const double rhoNew = BiCGRho(s, s.v.r, globalSum);
        BiCGDirection(s, (rhoNew / rho) * (alpha / omega), omega);
        ++k;
        if (!(resOut > tolAbs) || k >= maxIter) break;
    }
    iter = k;
}

// Scheme B: stops silently at the first exact zero of rho, beta, delta,
// alpha, the omega denominator or omega; 1e-30 guards every denominator.
// The reference residual is the one after the first iteration: resIn is
// overwritten with it. iter is the iteration in which the loop stopped, or
// maxIter + 1 when the limit ended it. The caller has handled ||r0|| = 0
// and set resOut to ||r0||.
template <class ProductV, class ProductT, class GlobalSum>
void BiCGSchemeB(const BiCGSystem& s, double* x, double tol, double& resIn, int maxIter, ProductV&& productV,
                 ProductT&& productT, GlobalSum&& globalSum, double& resOut, int& iter)
{
    constexpr double kGuard = 1e-30;
    double rhoPrev = 0.0;
    double alpha = 0.0;
    double omega = 0.0;
    double tolAbs = 0.0;
    int i = 1;
    for (; i <= maxIter; ++i) {
        const double rho = BiCGRho(s, s.v.r, globalSum);
        if (rho == 0.0) break;
        if (i == 1) {
            CopyDeviceToDevice(s.nnu, s.v.P, s.v.r);
        } else {
            const double beta = (rho / (rhoPrev + kGuard)) * (alpha / (omega + kGuard));
            if (beta == 0.0) break;
            BiCGDirection(s, beta, omega);
        }
        rhoPrev = rho;
        BiCGPreconditionedProduct(s, s.v.P, s.v.pHat, s.v.v, productV);
        const double delta = BiCGAlphaDenominator(s, globalSum);
        if (delta == 0.0) break;
        alpha = rho / (delta + kGuard);
        if (alpha == 0.0) break;
        BiCGUpdateSolution(s, x, s.v.pHat, alpha, false);
        (void)BiCGIntermediate(s, s.v.r, alpha, globalSum);
        BiCGPreconditionedProduct(s, s.v.s, s.v.sHat, s.v.t, productT);
        double omegaNumerator = 0.0;
        double omegaDenominator = 0.0;
        BiCGOmegaTerms(s, globalSum, omegaNumerator, omegaDenominator);
        if (omegaDenominator == 0.0) break;
        omega = omegaNumerator / (omegaDenominator + kGuard);
        if (omega == 0.0) break;
        BiCGUpdateSolution(s, x, s.v.sHat, omega, true);
        resOut = BiCGResidual(s, omega, globalSum);
        if (i == 1) {
            tolAbs = std::fabs(tol) * resOut;
            resIn = resOut;
        }
        if (tolAbs > resOut) break;
    }
    iter = i;
}

enum class BiCGScheme { A, B };

// Everything from the inverse diagonal to the last iteration, on storage
// that is ready (zero-filled). Returns false when scheme B found an exact
// initial guess and returned before iterating (resOut and iter untouched).
template <auto CollectInitial, class Operator, class ProductV, class ProductT, class GlobalSum>
bool BiCGRun(const BiCGSystem& s, BiCGScheme scheme, double* x, double tol, double& resIn, double& resOut,
             int& iter, int maxIter, const Operator& A, ProductV&& productV, ProductT&& productT,
             GlobalSum&& globalSum)
{
    if (s.jacobi) A.InverseDiagonal(s.v.d);
    A.ResidualIn(s.v.r, s.b.res);
    resIn = BiCGStart<CollectInitial>(s, globalSum, scheme == BiCGScheme::A);
    if (scheme == BiCGScheme::A) {
        BiCGSchemeA(s, x, tol, resIn, maxIter, productV, productT, globalSum, resOut, iter);
        return true;
    }
    if (resIn == 0.0) return false;
    double finalResidual = resIn;
    BiCGSchemeB(s, x, tol, resIn, maxIter, productV, productT, globalSum, finalResidual, iter);
    resOut = finalResidual;
    return true;
}

// The allocating BiCGSTAB driver after its start line: work storage for
// vectors of n entries, the solve, the end line of scheme A (without a
// line break) and the status check with "Computing failed".
template <auto CollectInitial, class Operator, class ProductV, class ProductT>
int BiCGSolve(int n, int nnu, bool jacobi, BiCGScheme scheme, double* x, double tol, double& resIn, double& resOut,
              int& iter, int maxIter, bool showRequirement, double requiredMB, int device, const Operator& A,
              ProductV&& productV, ProductT&& productT)
{
    const LevelTable table = MakeLevelTable(n);
    BiCGSystem s{nnu, table.size[1], LevelView(table), BiCGVectors{}, BiCGBuffers{}, jacobi};
    SolverWorkspace work;
    const int total = table.total;
    int code = work.Allocate({{&s.b.res, total},
                              {&s.b.aDen, total},
                              {&s.b.rho, total},
                              {&s.b.s, total},
                              {&s.b.omegaNum, total},
                              {&s.b.omegaDen, total},
                              {&s.v.r, n},
                              {&s.v.rTilde, n},
                              {&s.v.P, n},
                              {&s.v.v, n},
                              {&s.v.s, n},
                              {&s.v.t, n}},
                             showRequirement, requiredMB, device);
    if (code == 0 && scheme == BiCGScheme::A)
        code = work.Allocate({{&s.v.rOld, n}}, showRequirement, requiredMB, device);
    if (code == 0 && jacobi)
        code = work.Allocate({{&s.v.d, n}, {&s.v.pHat, n}, {&s.v.sHat, n}}, showRequirement, requiredMB, device);
    if (code != 0) return code;
    if (!jacobi) {
        s.v.pHat = s.v.P;
        s.v.sHat = s.v.s;
    }

    const bool iterated =
        BiCGRun<CollectInitial>(s, scheme, x, tol, resIn, resOut, iter, maxIter, A, productV, productT, LocalSum{});
    work.Release();
    if (!iterated) return 0;
    if (scheme == BiCGScheme::A) {
        std::printf("\n\niter=%d, resIn=%e, resOut=%e", iter, resIn, resOut);
        std::fflush(stdout);
    }
    return CheckStep("Computing failed", device);
}

// The fifteen caller-provided arrays of the caller-storage Jacobi BiCGSTAB
// (six partial-sum buffers, nine vectors), zero-filled, as a system over
// the caller's level table. Grids are size[1] blocks.
inline BiCGSystem CallerStorageSystem(int nnu, const LevelView& table, double* resNextLevelD,
                                      double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD,
                                      double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
                                      double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD,
                                      double* diagonal_reciprocalD, double* ssD, double* ppD, int workLength)
{
    BiCGBuffers b;
    b.res = resNextLevelD;
    b.aDen = aDenominatorNextLevelD;
    b.rho = rhoNextLevelD;
    b.s = sNextLevelD;
    b.omegaNum = omegaNumeratorNextLevelD;
    b.omegaDen = omegaDenominatorNextLevelD;
    BiCGVectors v;
    v.r = resD;
    v.P = PD;
    v.v = vD;
    v.rTilde = restiltD;
    v.s = sD;
    v.t = tD;
    v.d = diagonal_reciprocalD;
    v.sHat = ssD;
    v.pHat = ppD;
    for (double* buffer : {b.res, b.aDen, b.rho, b.s, b.omegaNum, b.omegaDen}) ZeroDevice(table.total, buffer);
    for (double* vector : {v.r, v.P, v.v, v.rTilde, v.s, v.t, v.d, v.sHat, v.pHat}) ZeroDevice(workLength, vector);
    return BiCGSystem{nnu, table.size[1], table, v, b, true};
}

}  // namespace rvz
