// Fibre-orientation kernels: the transport of the six tensor components
// (upwind face coefficients, time term, inlet, relaxation, wall and symmetry
// values, the hand-over to and from the local evolution) and the local
// evolution itself (start, implicit-midpoint pass, rate and step control,
// sub-step acceptance, count collection). Included by CU_CalcFiber.cu only.
// Face-to-cell sums go through the shared collect and update kernels; the
// tensor algebra is in CUK_FiberOrientation.cuh.
#pragma once

#include "CRVZGPUtool.h"
#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"
#include "CUK_FiberOrientation.cuh"
#include "CUK_FlowGeometry.cuh"
#include "CU_CalcFiber.h"

namespace rvz {
namespace fibre {

constexpr int kRateBlockSize = 64;  // the rate kernel's blocks

// The thread's element for a one-dimensional block of any width.
__device__ __forceinline__ int ThreadIndexOfWidth(int width)
{
    return static_cast<int>(blockIdx.x) * width + static_cast<int>(threadIdx.x);
}
__device__ __forceinline__ int ThreadIndex() { return ThreadIndexOfWidth(kBlockSize); }

__device__ __forceinline__ Sym6 Load(const ConstTensor6& t, int i)
{
    Sym6 s;
    for (int c = 0; c < kComponents; ++c) s.v[c] = t.c[c][i];
    return s;
}
__device__ __forceinline__ void Store(const Tensor6& t, int i, const Sym6& s)
{
    for (int c = 0; c < kComponents; ++c) t.c[c][i] = s.v[c];
}

// Global and local numbers of work-list entry k; false for a finished
// entry (the sentinel) or one beyond the list's valid part.
__device__ __forceinline__ bool ListEntry(int k, int n, int sentinel, const int* mapGlobal, const int* mapLocal, int& g,
                                          int& l)
{
    if (k >= n) return false;
    g = mapGlobal[k];
    l = mapLocal[k];
    return g < sentinel && l < sentinel;
}

}  // namespace fibre
}  // namespace rvz

// ===========================================================================
// Transport
// ===========================================================================

// First-order upwind coefficients with their matrix sign.
__global__ void Kernel_Calc_InnerFluxFiber(int n, const double* mfeD, double* aED, double* aWD)
{
    const int f = rvz::fibre::ThreadIndex();
    if (f >= n) return;
    const double m = mfeD[f];
    aED[f] = rvz::flow::NegativePart(m);
    aWD[f] = m > 0.0 ? -m : 0.0;
}

// Fully implicit time term: a0 = V/dt joins the diagonal, a0 tau0 each
// right-hand side.
__global__ void Kernel_Calc_Fiber_UnsteadyTermContribution(int nnu, const double* volumeD, double dtFiber,
                                                           double* AELLD, rvz::fibre::Tensor6 b,
                                                           rvz::fibre::ConstTensor6 tau0)
{
    const int r = rvz::fibre::ThreadIndex();
    if (r >= nnu) return;
    const double a0 = volumeD[r] / dtFiber;
    for (int c = 0; c < rvz::fibre::kComponents; ++c) b.c[c][r] = b.c[c][r] + a0 * tau0.c[c][r];
    AELLD[r] = AELLD[r] + a0;
}

// Inlet faces: the boundary tensor becomes isotropic; the inflow a = min(m,
// 0) gives the per-face sources -a/3 on the diagonal components and 0 off
// it, and the coefficient a.
__global__ void Kernel_Calc_Fiber_InletBoundary(int n, const int* ijInletD, const double* MassFluxInletD, double* CBD,
                                                rvz::fibre::Tensor6 tempb, rvz::fibre::Tensor6 tau)
{
    const int k = rvz::fibre::ThreadIndex();
    if (k >= n) return;
    const int B = ijInletD[k];
    const double a = rvz::flow::NegativePart(MassFluxInletD[k]);
    for (int c = 0; c < rvz::fibre::kComponents; ++c) {
        const bool diagonal = c < 3;
        tau.c[c][B] = diagonal ? 1.0 / 3.0 : 0.0;
        tempb.c[c][k] = diagonal ? -a / 3.0 : 0.0;
    }
    CBD[k] = a;
}

// Under-relaxed diagonal: d = (diagonal - off-diagonal sum) / udf replaces
// the diagonal, each right-hand side gains (1 - udf) d tau.
__global__ void Kernel_Calc_Fiber_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double udf,
                                             rvz::fibre::ConstTensor6 tau, double* AELLD, rvz::fibre::Tensor6 b)
{
    const int r = rvz::fibre::ThreadIndex();
    if (r >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(r, new_nnu, NColumnPerRow, AELLD);
    const double d = (AELLD[r] - s) / udf;
    AELLD[r] = d;
    for (int c = 0; c < rvz::fibre::kComponents; ++c) b.c[c][r] = b.c[c][r] + (1.0 - udf) * d * tau.c[c][r];
}

// Wall faces: tau[B] = f tau[B] + (tau[C] when f = 0, else 0).
__global__ void Kernel_Calc_Fiber_WallBC(int n, const int* ijWallCVD, const int* ijWallD, const int* FCRIMatchD,
                                         rvz::fibre::Tensor6 tau)
{
    const int k = rvz::fibre::ThreadIndex();
    if (k >= n) return;
    const int C = ijWallCVD[k];
    const int B = ijWallD[k];
    const int fi = FCRIMatchD[k];
    const double f = static_cast<double>(fi);
    for (int c = 0; c < rvz::fibre::kComponents; ++c) tau.c[c][B] = f * tau.c[c][B] + (fi == 0 ? tau.c[c][C] : 0.0);
}

// Symmetry planes: a filled boundary slot (VolF >= FCRI) takes its cell's
// tensor; an unfilled one keeps its own.
__global__ void Kernel_Calc_Fiber_SymmBC(int n, const int* ijSymmCVD, const int* ijSymmD, const double* VolFD,
                                         double FCRI, rvz::fibre::Tensor6 tau)
{
    const int k = rvz::fibre::ThreadIndex();
    if (k >= n) return;
    const int B = ijSymmD[k];
    if (!(VolFD[B] >= FCRI)) return;
    const int C = ijSymmCVD[k];
    for (int c = 0; c < rvz::fibre::kComponents; ++c) tau.c[c][B] = tau.c[c][C];
}

// The hand-over in either direction: clamped and normalised.
__global__ void Kernel_Calc_Fiber_UpdateTau_Input(int n, rvz::fibre::ConstTensor6 tau, rvz::fibre::Tensor6 x0)
{
    const int i = rvz::fibre::ThreadIndex();
    if (i >= n) return;
    rvz::fibre::Store(x0, i, rvz::fibre::Normalised(rvz::fibre::Load(tau, i)));
}

__global__ void Kernel_Calc_Fiber_UpdateTau_Output(int n, rvz::fibre::ConstTensor6 x1, rvz::fibre::Tensor6 tau)
{
    const int i = rvz::fibre::ThreadIndex();
    if (i >= n) return;
    rvz::fibre::Store(tau, i, rvz::fibre::Normalised(rvz::fibre::Load(x1, i)));
}

// ===========================================================================
// Local evolution
// ===========================================================================

// Start: entry k is cell g = start + k with local number k; the step spans
// the whole time step and both iterates begin at the start state.
__global__ void Kernel_Calc_Fiber_Find_x1_Vec_AltStart(int nActive, int startPosition, double dtt,
                                                       rvz::fibre::EvolutionState s, int* mapGlobal, int* mapLocal)
{
    const int k = rvz::fibre::ThreadIndex();
    if (k >= nActive) return;
    const int g = startPosition + k;
    const int l = k;
    s.dt01[l] = dtt;
    s.dtSUM[l] = 0.0;
    for (int c = 0; c < rvz::fibre::kComponents; ++c) {
        const double x0 = s.x0.c[c][g];
        s.x2.c[c][g] = x0;
        s.x1.c[c][l] = x0;
    }
    mapGlobal[k] = g;
    mapLocal[k] = l;
}

// Midpoint of the pass: xtemp keeps the previous iterate, xAvg = (x1 + x2)/2.
__global__ void Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_xtemp_xAvg(int n, int sentinel, rvz::fibre::EvolutionState s,
                                                                      const int* mapGlobal, const int* mapLocal)
{
    int g, l;
    if (!rvz::fibre::ListEntry(rvz::fibre::ThreadIndex(), n, sentinel, mapGlobal, mapLocal, g, l)) return;
    for (int c = 0; c < rvz::fibre::kComponents; ++c) {
        const double x2 = s.x2.c[c][g];
        s.xtemp.c[c][l] = x2;
        s.xAvg.c[c][l] = (s.x1.c[c][l] + x2) / 2.0;
    }
}

// The rate at the midpoint and the step control. The F0, dx and xAvg arrays
// come through the record; cells below FCRI have zero rates.
__global__ void Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_F0dxmax_Opt(int n, int sentinel, const stF0_dx_xAvg* rec,
                                                                       rvz::fibre::EvolutionState s,
                                                                       rvz::fibre::EvolutionFlow flow, double dtt,
                                                                       double dxLimit, double dtLowLimit,
                                                                       const int* mapGlobal, const int* mapLocal)
{
    using namespace rvz::fibre;
    int g, l;
    if (!ListEntry(ThreadIndexOfWidth(kRateBlockSize), n, sentinel, mapGlobal, mapLocal, g, l)) return;
    Sym6 F0;
    if (flow.VolFD[g] < flow.FCRI) {
        for (int c = 0; c < kComponents; ++c) F0.v[c] = 0.0;
    } else {
        Sym6 a;
        for (int c = 0; c < kComponents; ++c) a.v[c] = rec->xAvg[c][l];
        Mat3 L;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) L.m[i][j] = flow.grad.L[3 * i + j][g];
        F0 = FolgarTuckerRate(Clamped(a), L, flow.AR, flow.CI, flow.SRateD[g], flow.closureType);
    }
    const double dtSUM = s.dtSUM[l];
    const double remaining = dtt - dtSUM;
    const StepChoice step = ChooseStep(F0, s.dt01[l], remaining, dxLimit, dtLowLimit);
    for (int c = 0; c < kComponents; ++c) {
        rec->F0[c][l] = F0.v[c];
        rec->dx[c][l] = step.dt * F0.v[c];
    }
    if (step.changed) s.dt01[l] = step.dt;
    s.F0max[l] = step.F0max;
    s.dt02[l] = remaining;
    s.dtSUM[l] = dtSUM;
}

// The new iterate x2 = x1 + dx (clamped) and its change since the previous
// pass; an entry whose change is at most `tolerance` leaves the inner list.
// Per block: the number of entries still iterating.
__global__ void Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_x2errXmax(int n, int sentinel, double tolerance,
                                                                     rvz::fibre::EvolutionState s,
                                                                     rvz::fibre::ConstTensor6 dx, int* mapGlobal,
                                                                     int* mapLocal, int* countD)
{
    rvz::block_reduce_256<rvz::SumOp, int>(
        [&](int k) {
            int g, l;
            if (!rvz::fibre::ListEntry(k, n, sentinel, mapGlobal, mapLocal, g, l)) return 0;
            double err = -1.0e30;
            for (int c = 0; c < rvz::fibre::kComponents; ++c) {
                const double x2 = rvz::fibre::ClampComponent(c, s.x1.c[c][l] + dx.c[c][l]);
                s.x2.c[c][g] = x2;
                const double change = fabs(x2 - s.xtemp.c[c][l]);
                if (change > err) err = change;
            }
            if (err > tolerance) return 1;
            mapGlobal[k] = sentinel;
            mapLocal[k] = sentinel;
            return 0;
        },
        countD);
}

// Acceptance of the sub-step: x1 takes x2, the time advances, the next step
// doubles up to the remaining time; a cell with no time left leaves the
// outer list. Per block: the number of cells still sub-stepping.
__global__ void Kernel_Calc_Fiber_Find_x1_Vec_AltOuterLoop(int n, int sentinel, double dtt, double finishedBelow,
                                                           rvz::fibre::EvolutionState s, int* mapGlobal, int* mapLocal,
                                                           int* countD)
{
    rvz::block_reduce_256<rvz::SumOp, int>(
        [&](int k) {
            int g, l;
            if (!rvz::fibre::ListEntry(k, n, sentinel, mapGlobal, mapLocal, g, l)) return 0;
            const double dt01 = s.dt01[l];
            const double t = s.dtSUM[l] + dt01;
            const double rem = dtt - t;
            for (int c = 0; c < rvz::fibre::kComponents; ++c) s.x1.c[c][l] = s.x2.c[c][g];
            s.dtSUM[l] = t;
            s.dt02[l] = rem;
            s.dt01[l] = 2.0 * dt01 <= rem ? 2.0 * dt01 : rem;
            if (rem > finishedBelow) return 1;
            mapGlobal[k] = sentinel;
            mapLocal[k] = sentinel;
            return 0;
        },
        countD);
}

// The counts' collecting passes, 512 entries per block.
__global__ void Kernel_Calc_Fiber_Collect_while(int n, const int* in, int* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}
