// Fibre orientation: launches, status checks and the host loop of the local
// evolution.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_CalcFiber.cuh"
#include "CU_CalcFiber.h"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_ThrustSort.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectOwnerIntoListedRows;
using flow::LaunchChecked;

// The per-component messages of the inlet's right-hand-side sums.
struct InletMessages {
    const char* collect;
    const char* update;
};
constexpr InletMessages kInletMessages[fibre::kComponents] = {
    {"Calc_Fiber_InletBC_bxx failed", "Calc_Fiber_InletBC_bxx_Update failed"},
    {"Calc_Fiber_InletBC_byy failed", "Calc_Fiber_InletBC_byy_Update failed"},
    {"Calc_Fiber_InletBC_bzz failed", "Calc_Fiber_InletBC_bzz_Update failed"},
    {"Calc_Fiber_InletBC_bxy failed", "Calc_Fiber_InletBC_bxy_Update failed"},
    {"Calc_Fiber_InletBC_bxz failed", "Calc_Fiber_InletBC_bxz_Update failed"},
    {"Calc_Fiber_InletBC_byz failed", "Calc_Fiber_InletBC_byz_Update failed"},
};

fibre::ConstTensor6 AsConst(const fibre::Tensor6& t)
{
    fibre::ConstTensor6 c;
    for (int i = 0; i < fibre::kComponents; ++i) c.c[i] = t.c[i];
    return c;
}

}  // namespace

// ---------------------------------------------------------------------------
// Transport
// ---------------------------------------------------------------------------

int Calc_InnerFluxFiber(int BlockSize, int nFaces, const double* mfeD, double* aED, double* aWD, int faceGrid,
                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_InnerFluxFiber>(faceGrid, "Calc_InnerFluxFiber failed", SelectedDevice, nFaces,
                                                     mfeD, aED, aWD);
}

int Calc_Fiber_UnsteadyTermContribution(int BlockSize, int nnu, const double* volumeD, double dtFiber, double* AELLD,
                                        fibre::Tensor6 b, fibre::ConstTensor6 tau0, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_UnsteadyTermContribution>(
        cellGrid, "Calc_Fiber_UnsteadyTermContribution failed", SelectedDevice, nnu, volumeD, dtFiber, AELLD, b, tau0);
}

int Calc_Fiber_InletBoundary(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow, const int* ijInletD,
                             const double* MassFluxInletD, double* CBD, fibre::Tensor6 tempb, fibre::Tensor6 b,
                             fibre::Tensor6 tau, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                             double* AELLDtemp, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    int status = LaunchChecked<Kernel_Calc_Fiber_InletBoundary>(
        faceGrid, "Calc_Fiber_InletBoundary failed", SelectedDevice, nFaces, ijInletD, MassFluxInletD, CBD, tempb, tau);
    // Each component overwrites the same slots, so no clearing in between.
    for (int c = 0; c < fibre::kComponents; ++c)
        status = CollectOwnerIntoListedRows<Sign::Plus>(
            nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempb.c[c], AELLDtemp, Map2CellPD,
            b.c[c], faceGrid, cellGrid, kInletMessages[c].collect, kInletMessages[c].update, SelectedDevice);
    return status;
}

int Calc_Fiber_InletAi(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                       const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                       double* AELLD, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    // The diagonal gains the inflow's magnitude, -CBD.
    return CollectOwnerIntoListedRows<Sign::Minus>(
        nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD,
        faceGrid, cellGrid, "Calc_Fiber_InletAi failed", "Calc_Fiber_InletAi_Update_Opt failed", SelectedDevice);
}

int Calc_Fiber_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double udf, fibre::ConstTensor6 tau,
                          double* AELLD, fibre::Tensor6 b, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_FinalCoeff>(cellGrid, "Calc_Fiber_FinalCoeff failed", SelectedDevice, nnu,
                                                       new_nnu, NColumnPerRow, udf, tau, AELLD, b);
}

int Calc_Fiber_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, const int* FCRIMatchD,
                      fibre::Tensor6 tau, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_WallBC>(faceGrid, "Calc_Fiber_WallBC failed", SelectedDevice, nFaces,
                                                   ijWallCVD, ijWallD, FCRIMatchD, tau);
}

int Calc_Fiber_SymmBC(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, const double* VolFD,
                      double FCRI, fibre::Tensor6 tau, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_SymmBC>(faceGrid, "Calc_Fiber_SymmBC failed", SelectedDevice, nFaces,
                                                   ijSymmCVD, ijSymmD, VolFD, FCRI, tau);
}

int Calc_Fiber_UpdateTau_Input(int BlockSize, int nCells, fibre::Tensor6 x0, fibre::ConstTensor6 tau, int cellGrid,
                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_UpdateTau_Input>(cellGrid, "Calc_Fiber_UpdateTau_Input failed",
                                                            SelectedDevice, nCells, tau, x0);
}

int Calc_Fiber_UpdateTau_Output(int BlockSize, int nCells, fibre::ConstTensor6 x1, fibre::Tensor6 tau, int cellGrid,
                                int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Fiber_UpdateTau_Output>(cellGrid, "Calc_Fiber_UpdateTau_Output failed",
                                                             SelectedDevice, nCells, x1, tau);
}

// ---------------------------------------------------------------------------
// Local evolution
// ---------------------------------------------------------------------------

namespace {

// Blocks of `width` threads for n entries, at most the caller's grid: the
// passes over a shrinking work list launch only the blocks it still fills.
int BlocksFor(int n, int width, int callerGrid)
{
    const int blocks = (n + width - 1) / width;
    return blocks < callerGrid ? blocks : callerGrid;
}

void ZeroInts(int* p, int n)
{
    if (n > 0) cudaMemset(p, 0, static_cast<size_t>(n) * sizeof(int));
}

void CopyInts(int* dst, const int* src, int n)
{
    if (n > 0) cudaMemcpy(dst, src, static_cast<size_t>(n) * sizeof(int), cudaMemcpyDeviceToDevice);
}

// The remaining count of a work list: the first level's per-block counts
// collected to one value and copied to the host.
int CollectCount(const LevelView& table, int* scratch)
{
    CollectLevels<Kernel_Calc_Fiber_Collect_while>(table, scratch);
    int count = 0;
    CopyReductionResult(table, scratch, count);
    return count;
}

// Ascending sort of the first n entries of both lists of a pair. Finished
// entries hold the sentinel, larger than every index, and move to the end;
// as the global and local numbers of an entry differ by the same offset for
// every entry, the two sorted lists stay paired.
void CompactLists(int* mapGlobal, int* mapLocal, int n)
{
    SortKeys(reinterpret_cast<unsigned int*>(mapGlobal), static_cast<unsigned int>(n));
    SortKeys(reinterpret_cast<unsigned int*>(mapLocal), static_cast<unsigned int>(n));
}

// One implicit-midpoint pass over the `active` entries of the inner list;
// returns how many still iterate.
int MidpointPass(const fibre::EvolutionArgs& a, const LevelView& table, int active, int device)
{
    const int sentinel = a.NInnerCells;
    RVZ_LAUNCH(Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_xtemp_xAvg, BlocksFor(active, kBlockSize, a.grid256),
               kBlockSize, 0, 0)
    (active, sentinel, a.state, a.mapGlobal, a.mapLocal);
    CheckStep("Calc_Fiber_Find_x1_Vec_AltInnerLoop_xtemp_xAvg failed", device);
    RVZ_LAUNCH(Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_F0dxmax_Opt,
               BlocksFor(active, fibre::kRateBlockSize, a.grid64), fibre::kRateBlockSize, 0, 0)
    (active, sentinel, a.record, a.state, a.flow, a.dtt, fibre::kDxLimit, fibre::kDtLowFraction * a.dtt, a.mapGlobal,
     a.mapLocal);
    CheckStep("Calc_Fiber_Find_x1_Vec_AltInnerLoop_F0dxmax failed", device);
    ZeroInts(a.innerScratch, table.total);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_Fiber_Find_x1_Vec_AltInnerLoop_x2errXmax, BlocksFor(active, kBlockSize, a.grid256),
                     kBlockSize, kBlockSize * sizeof(int), 0)
    (active, sentinel, fibre::kPassTolerance, a.state, AsConst(a.dx), a.mapGlobal, a.mapLocal, a.innerScratch);
    CheckStep("Calc_Fiber_Find_x1_Vec_AltInnerLoop_x2errXmax failed", device);
    const int remaining = CollectCount(table, a.innerScratch);
    CompactLists(a.mapGlobal, a.mapLocal, active);
    return remaining;
}

}  // namespace

int Calc_Fiber_Find_x1_Vec(int BlockSize, const fibre::EvolutionArgs& a, const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    ZeroInts(a.innerScratch, table.total);
    ZeroInts(a.outerScratch, table.total);
    RVZ_LAUNCH(Kernel_Calc_Fiber_Find_x1_Vec_AltStart, a.grid256, kBlockSize, 0, 0)
    (a.nActive, a.startPosition, a.dtt, a.state, a.mapGlobal, a.mapLocal);
    int status = CheckStep("Calc_Fiber_Find_x1_Vec_AltStart failed", dev);
    CopyInts(a.map2Global, a.mapGlobal, a.localLength);
    CopyInts(a.map2Local, a.mapLocal, a.localLength);
    const size_t bytes = a.localLength > 0 ? static_cast<size_t>(a.localLength) * sizeof(double) : 0;
    for (int c = 0; c < fibre::kComponents; ++c) {
        cudaMemset(a.state.xtemp.c[c], 0, bytes);
        cudaMemset(a.state.xAvg.c[c], 0, bytes);
        cudaMemset(a.F0.c[c], 0, bytes);
        cudaMemset(a.dx.c[c], 0, bytes);
    }
    cudaMemset(a.state.dt02, 0, bytes);
    cudaMemset(a.state.F0max, 0, bytes);

    int outerActive = a.nActive;
    for (int subStep = 0; subStep < fibre::kMaxSubSteps && outerActive > 0; ++subStep) {
        int active = outerActive;
        for (int pass = 0; pass < fibre::kMaxPasses && active > 0; ++pass) active = MidpointPass(a, table, active, dev);
        // Every level of the outer scratch is rewritten: the acceptance runs
        // over the caller's whole grid.
        RVZ_LAUNCH_BLOCK(Kernel_Calc_Fiber_Find_x1_Vec_AltOuterLoop, a.grid256, kBlockSize, kBlockSize * sizeof(int), 0)
        (outerActive, a.NInnerCells, a.dtt, fibre::kFinishedBelow, a.state, a.map2Global, a.map2Local, a.outerScratch);
        status = CheckStep("Calc_Fiber_Find_x1_Vec_AltOuterLoop failed", dev);
        const int stillStepping = CollectCount(table, a.outerScratch);
        CompactLists(a.map2Global, a.map2Local, outerActive);
        outerActive = stillStepping;
        CopyInts(a.mapGlobal, a.map2Global, outerActive);
        CopyInts(a.mapLocal, a.map2Local, outerActive);
    }
    return status;
}

}  // namespace rvz
