// Momentum assembly: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_CalcUVW.cuh"
#include "CU_CalcUVW.h"
#include "CU_CollectResidual.h"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_MemoryOperation.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePairIntoRows;
using flow::CollectOwnerIntoListedRows;
using flow::CollectOwnerOnly;
using flow::CollectOwnerOnlyTimesSlot;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

// Face source, collect and update of one velocity component.
template <int C>
int InnerFluxComponent(const InnerFluxUVWArgs& a, InnerFluxForm form, const uvw::VelocityGradient& grad,
                       const double* leD, const double* phiD, double* target, const char* sourceMessage, int device)
{
    RVZ_LAUNCH(Kernel_Calc_InnerFluxUVW_SourceTerm_Component<C>, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.nonOrthLimitFactor, a.gamma, a.ijPD, a.ijED, leD, grad, a.xcD, a.ycD, a.zcD, phiD, a.visD, a.sxD,
     a.syD, a.szD, a.mfeD, a.tempD);
    CheckStep(sourceMessage, device);
    const bool allRows = form == InnerFluxForm::AllRows;
    return CollectConservativePairIntoRows<Sign::Plus>(
        a.nFaces, a.nRows, a.new_nnu, a.NColumnPerRow, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
        a.MapFace2CellEyD, a.tempD, a.AELLDtemp, allRows ? nullptr : a.rowList, target, a.faceGrid, a.cellGrid,
        "Calc_InnerFluxUVW_SourceTerm failed",
        allRows ? "Calc_InnerFluxUVW_UpdateSourceTerm failed" : "Calc_InnerFluxUVW_UpdateSourceTerm_Opt failed",
        device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

int Calc_InnerFluxUVW(int BlockSize, InnerFluxForm form, const InnerFluxUVWArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const double* leD = form == InnerFluxForm::ListedOne ? nullptr : a.leD;
    if (form == InnerFluxForm::Partition) {
        RVZ_LAUNCH(Kernel_Calc_InnerFluxUVW_aE, a.faceGrid, kBlockSize, 0, 0)
        (a.nFaces, a.ijPD, a.ijED, leD, a.xcD, a.ycD, a.zcD, a.visD, a.sxD, a.syD, a.szD, a.mfeD, a.aED);
        CheckStep("Calc_InnerFluxUVW_aE failed", SelectedDevice);
    } else {
        RVZ_LAUNCH(Kernel_Calc_InnerFluxUVW_aEaW, a.faceGrid, kBlockSize, 0, 0)
        (a.nFaces, a.ijPD, a.ijED, leD, a.xcD, a.ycD, a.zcD, a.visD, a.sxD, a.syD, a.szD, a.mfeD, a.aED, a.aWD);
        CheckStep("Calc_InnerFluxUVW_aEaW failed", SelectedDevice);
    }
    const uvw::VelocityGradient grad = uvw::GradientInCallerOrder(a.gradients);
    InnerFluxComponent<0>(a, form, grad, leD, a.uD, a.SuD, "Calc_InnerFluxUVW_SourceTerm_Su failed", SelectedDevice);
    InnerFluxComponent<1>(a, form, grad, leD, a.vD, a.SvD, "Calc_InnerFluxUVW_SourceTerm_Sv failed", SelectedDevice);
    return InnerFluxComponent<2>(a, form, grad, leD, a.wD, a.SwD, "Calc_InnerFluxUVW_SourceTerm_Sw failed",
                                 SelectedDevice);
}

// ---------------------------------------------------------------------------
// Face mass fluxes
// ---------------------------------------------------------------------------

int Calc_mfeD(int BlockSize, int nFaces, double denl, double deng, const double* VFeD, const double* MassFluxD,
              double* mfeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_mfeD, grid, kBlockSize, 0, 0)(nFaces, denl, deng, VFeD, MassFluxD, mfeD);
    return CheckStep("Calc_mfeD failed", SelectedDevice);
}

int Calc_SC_mfeD_Par(int BlockSize, int nFaces, double denl, double deng, const int* ijCVPParD, const int* ijCVEParD,
                     const double* leParD, const double* VolFD, const double* MassFluxParD, double* mfeD, int grid,
                     int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_SC_mfeD_Par, grid, kBlockSize, 0, 0)
    (nFaces, denl, deng, ijCVPParD, ijCVEParD, leParD, VolFD, MassFluxParD, mfeD);
    return CheckStep("Calc_SC_mfeD_Par failed", SelectedDevice);
}

int Calc_InletBoundary_mfeD(int BlockSize, int nFaces, const int* ijInletD, const double* denD,
                            const double* MassFluxInletD, double* mfeInletD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_InletBoundary_mfeD, grid, kBlockSize, 0, 0)(nFaces, ijInletD, denD, MassFluxInletD, mfeInletD);
    return CheckStep("Calc_InletBoundary_mfeD failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

int Calc_GravityForceContribution(int BlockSize, int nCells, double GravX, double GravY, double GravZ, double* SuD,
                                  double* SvD, double* SwD, const double* volumeD, const double* denD, int grid,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_GravityForceContribution, grid, kBlockSize, 0, 0)
    (nCells, GravX, GravY, GravZ, SuD, SvD, SwD, volumeD, denD);
    return CheckStep("Calc_GravityForceContribution failed", SelectedDevice);
}

int Calc_PressureSourceContribution(int BlockSize, int nCells, const double* volumeD, const double* dp_dxD,
                                    const double* dp_dyD, const double* dp_dzD, double* SuD, double* SvD,
                                    double* SwD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_PressureSourceContribution, grid, kBlockSize, 0, 0)
    (nCells, volumeD, dp_dxD, dp_dyD, dp_dzD, SuD, SvD, SwD);
    return CheckStep("Calc_PressureSourceContribution failed", SelectedDevice);
}

int Calc_UnsteadyTermContribution(int BlockSize, int nCells, double dt, double dtNor, double BlendTime,
                                  const double* denD, const double* volumeD, const double* u0D, const double* u00D,
                                  const double* v0D, const double* v00D, const double* w0D, const double* w00D,
                                  double* SuD, double* SvD, double* SwD, double* APvD, double* APRD, int grid,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UnsteadyTermContribution, grid, kBlockSize, 0, 0)
    (nCells, dt, dtNor, BlendTime, denD, volumeD, u0D, u00D, v0D, v00D, w0D, w00D, SuD, SvD, SwD, APvD, APRD);
    return CheckStep("Calc_UnsteadyTermContribution failed", SelectedDevice);
}

int Calc_2ndImplicitEulerMethodAi(int BlockSize, int nCells, double dt, double dtNor, double BlendTime,
                                  const double* denD, const double* volumeD, double* AELLD, int grid,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_2ndImplicitEulerMethodAi, grid, kBlockSize, 0, 0)
    (nCells, dt, dtNor, BlendTime, denD, volumeD, AELLD);
    return CheckStep("Kernel_Calc_2ndImplicitEulerMethodAi failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Boundary conditions
// ---------------------------------------------------------------------------

int Calc_UpdateFCRIMatch(int BlockSize, int nFaces, const int* ijWallD, const double* VolFD, double FCRI,
                         int* FCRIMatchD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UpdateFCRIMatch, grid, kBlockSize, 0, 0)(nFaces, ijWallD, VolFD, FCRI, FCRIMatchD);
    return CheckStep("Calc_UpdateFCRIMatch failed", SelectedDevice);
}

int Calc_WallBoundary_UpdateUVW_coef(int BlockSize, int nFaces, const int* ijWallD, const int* FCRIMatchD,
                                     const double* Surf_DistWallD, const double* visD, double* coefD, double* uD,
                                     double* vD, double* wD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_WallBoundary_UpdateUVW_coef, grid, kBlockSize, 0, 0)
    (nFaces, ijWallD, FCRIMatchD, Surf_DistWallD, visD, coefD, uD, vD, wD);
    return CheckStep("Calc_WallBoundary_UpdateUVW_coef failed", SelectedDevice);
}

int Calc_WallBoundary_SourceTerm(int BlockSize, const WallSourceTermArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    RVZ_LAUNCH(Kernel_Calc_WallBoundary_SourceTerm, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.ijWallD, a.FCRIMatchD, a.CBD, a.coefD, a.uD, a.vD, a.wD, a.tempD, a.tempxD, a.tempyD, a.tempzD);
    CheckStep("Calc_WallBoundary_SourceTerm failed", dev);

    const char* update = "Calc_WallBoundary_SourceTermUpdate_Opt failed";
    auto collect = [&](const double* values, const char* message) {
        CollectOwnerOnly<Sign::Plus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, values, a.AELLDtemp,
                                     a.faceGrid, message, dev);
    };
    auto sumInto = [&](double* target) {
        return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPD, target, a.rowGrid, update,
                            dev);
    };
    collect(a.tempD, "Calc_WallBoundary_SourceTerm_APvAPR failed");
    sumInto(a.APvD);
    sumInto(a.APRD);
    const char* components = "Calc_WallBoundary_SourceTerm_SuSvSw failed";
    collect(a.tempxD, components);
    sumInto(a.SuD);
    collect(a.tempyD, components);
    sumInto(a.SvD);
    collect(a.tempzD, components);
    return sumInto(a.SwD);
}

int Calc_InOutletBoundary_SourceTerm(int BlockSize, const InOutletSourceTermArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const char* update = "Calc_InOutletBoundary_SourceTermUpdate_Opt failed";
    auto sumInto = [&](double* target) {
        return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPD, target, a.rowGrid, update,
                            dev);
    };
    CollectOwnerOnly<Sign::Minus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.CBD, a.AELLDtemp,
                                  a.faceGrid, "Calc_InOutletBoundary_SourceTerm_APvAPR failed", dev);
    sumInto(a.APvD);
    sumInto(a.APRD);
    const double* fields[3] = {a.uD, a.vD, a.wD};
    double* targets[3] = {a.SuD, a.SvD, a.SwD};
    int status = 0;
    for (int c = 0; c < 3; ++c) {
        CollectOwnerOnlyTimesSlot<Sign::Minus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.CBD,
                                               a.ijInOutletD, fields[c], a.AELLDtemp, a.faceGrid,
                                               "Calc_InOutletBoundary_SourceTerm_SuSvSw failed", dev);
        status = sumInto(targets[c]);
    }
    return status;
}

int Calc_SymmetryBoundary_UpdateUVW(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, double* uD,
                                    double* vD, double* wD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_SymmetryBoundary_UpdateUVW, grid, kBlockSize, 0, 0)(nFaces, ijSymmCVD, ijSymmD, uD, vD, wD);
    return CheckStep("Calc_SymmetryBoundary_UpdateUVW failed", SelectedDevice);
}

int Calc_WallBoundary_UpdateUVW(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                const int* FCRIMatchD, double* uD, double* vD, double* wD, int grid,
                                int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_WallBoundary_UpdateUVW, grid, kBlockSize, 0, 0)
    (nFaces, ijWallCVD, ijWallD, FCRIMatchD, uD, vD, wD);
    return CheckStep("Calc_WallBoundary_UpdateUVW failed", SelectedDevice);
}

int CalcUVW_InOutletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                       const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                       double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD, faceGrid,
                                                   rowGrid, "CalcUVW_InOutletAi failed",
                                                   "CalcUVW_InOutletAi_Update_Opt failed", SelectedDevice);
}

int CalcUVW_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* MapFace2CellPxD,
                   const int* MapFace2CellPyD, const int* FCRIMatchD, const double* CBD, const double* coefD,
                   double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                   int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_CalcUVW_WallAi, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, FCRIMatchD, CBD, coefD, AELLDtemp);
    CheckStep("CalcUVW_WallAi failed", SelectedDevice);
    return UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, AELLD, rowGrid,
                        "CalcUVW_WallAi_Update_Opt failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Final coefficients, valve gates, SIMPLEC factor
// ---------------------------------------------------------------------------

int Calc_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* fiD,
                           double* AELLD, const double* AD, double* SfiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_FinalCoeffRHS_Sfi, grid, kBlockSize, 0, 0)
    (nnu, new_nnu, NColumnPerRow, relax, fiD, AELLD, AD, SfiD);
    return CheckStep("Calc_FinalCoeffRHS_fi failed", SelectedDevice);
}

// The new values go to a work array first, so every row reads its
// neighbours' values from before the pass, whatever the launch order.
int Calc_FinalCoeffRHS_fi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                          const double* AELLD, const double* SfiD, const double* dp_d_D, const double* volumeD,
                          double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (nnu <= 0) return 0;
    double* newFiD = nullptr;
    const int allocated = AllocateDevice(nnu, newFiD);
    if (allocated != 0)
        return ReportGPUMemoryError(kSerial, 1, allocated, static_cast<double>(nnu) * sizeof(double) / 1048576.0,
                                    SelectedDevice, 0, nullptr);
    RVZ_LAUNCH(Kernel_Calc_FinalCoeffRHS_fi, grid, kBlockSize, 0, 0)
    (nnu, new_nnu, NColumnPerRow, indexELLD, AELLD, SfiD, dp_d_D, volumeD, fiD, newFiD);
    int status = CheckStep("Calc_FinalCoeffRHS_fi failed", SelectedDevice);
    if (status == 0) {  // a failed pass must not overwrite fiD
        RVZ_LAUNCH(Kernel_Calc_FinalCoeffRHS_fi_Store, grid, kBlockSize, 0, 0)(nnu, newFiD, fiD);
        status = CheckStep("Calc_FinalCoeffRHS_fi failed", SelectedDevice);
    }
    FreeDevice(newFiD);
    return status;
}

int Calc_ModAi4ValveGate(int BlockSize, int nCells, const int* AiModifiedD, double* AELLD, int grid,
                         int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_ModAi4ValveGate, grid, kBlockSize, 0, 0)(nCells, AiModifiedD, AELLD);
    return CheckStep("Calc_ModAi4ValveGate failed", SelectedDevice);
}

int Calc_ModAi4ValveGate_APR(int BlockSize, int nCells, double* APRD, const double* AELLD, int grid,
                             int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_ModAi4ValveGate_APR, grid, kBlockSize, 0, 0)(nCells, APRD, AELLD);
    return CheckStep("Calc_ModAi4ValveGate_APR failed", SelectedDevice);
}

int Calc_APR_SIMPLEC(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const double* AELLD, double* APRD,
                     int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_APR_SIMPLEC, grid, kBlockSize, 0, 0)(nnu, new_nnu, NColumnPerRow, AELLD, APRD);
    return CheckStep("Calc_APR_SIMPLEC failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Inlet reductions
// ---------------------------------------------------------------------------

int Calc_GetInVel_TotalInletArea(int BlockSize, int nFaces, const double* sxD, const double* syD, const double* szD,
                                 double* buffer, int grid, const LevelView& table, double& TotalInletArea,
                                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_Calc_GetInVel_TotalInletArea, Kernel_Calc_GetInVel_TotalInletArea_Collection>(
        grid, table, "Calc_GetInVel_TotalInletArea failed", SelectedDevice, buffer, TotalInletArea, nFaces, sxD, syD,
        szD);
}

// Three sums of one pass: the momentum flux and the speed are reduced by the
// kernel that sets the inlet velocities, the inflow volume by a second
// first-level launch over the fluxes it has written (a block reduces at most
// two quantities in lock step). Both launches count as the first level.
int Calc_GetInVel_UVW_TotalMomentum_VelNorm(int BlockSize, int nFaces, double denl, double TotalMassInletAvg,
                                            const int* ijInletD, const double* sxD, const double* syD,
                                            const double* szD, double* MassFluxInletD, double* uD, double* vD,
                                            double* wD, double* momentumBuffer, double* velNormBuffer,
                                            double* volumeBuffer, int grid, const LevelView& table,
                                            double& TotalMomentum, double& VelNorm, double& EstTotalVolumeInlet,
                                            int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH_BLOCK(Kernel_Calc_GetInVel_UVW_TotalMomentum_VelNorm, grid, kBlockSize, kTwoQuantityShared, 0)
    (nFaces, denl, TotalMassInletAvg, ijInletD, sxD, syD, szD, MassFluxInletD, uD, vD, wD, momentumBuffer,
     velNormBuffer);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_GetInVel_VolumeInlet, grid, kBlockSize, kOneQuantityShared, 0)
    (nFaces, MassFluxInletD, volumeBuffer);
    const int status = CheckStep("Calc_GetInVel_UVW_TotalMomentum_VelNorm failed", SelectedDevice);
    CollectLevels2<Kernel_Calc_GetInVel_UVW_TotalMomentum_VelNorm_Collection>(table, momentumBuffer, velNormBuffer);
    CollectLevels<Kernel_Calc_GetInVel_VolumeInlet_Collection>(table, volumeBuffer);
    CopyReductionResult(table, momentumBuffer, TotalMomentum);
    CopyReductionResult(table, velNormBuffer, VelNorm);
    CopyReductionResult(table, volumeBuffer, EstTotalVolumeInlet);
    return status;
}

}  // namespace rvz
