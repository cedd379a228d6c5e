// Energy equation assembly: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_CalcSC.cuh"
#include "CU_CalcSC.h"
#include "CU_CollectResidual.h"
#include "CU_FlowSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePair;
using flow::CollectOwnerIntoListedRows;
using flow::CollectOwnerOnly;
using flow::CollectOwnerOnlyTimesSlot;
using flow::LaunchChecked;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

sc::FaceInputs FaceInputsOf(const InnerFluxSCArgs& a, InnerFluxForm form)
{
    sc::FaceInputs in{};
    in.mCp = a.mCp;
    in.FCRI = a.FCRI;
    in.ijPD = a.ijPD;
    in.ijED = a.ijED;
    in.leD = form == InnerFluxForm::ListedOne ? nullptr : a.leD;
    in.fiD = a.fiD;
    in.dxD = a.dp_dxD;
    in.dyD = a.dp_dyD;
    in.dzD = a.dp_dzD;
    in.xcD = a.xcD;
    in.ycD = a.ycD;
    in.zcD = a.zcD;
    in.sxD = a.sxD;
    in.syD = a.syD;
    in.szD = a.szD;
    in.mfeD = a.mfeD;
    in.VolFD = a.VolFD;
    in.mkD = a.mkD;
    return in;
}

// The face kernel of the form: coefficients, explicit parts and one partial
// count per block at the start of the count buffer.
void LaunchInteriorFaces(const InnerFluxSCArgs& a, InnerFluxForm form, int device)
{
    const sc::FaceInputs in = FaceInputsOf(a, form);
    const size_t shared = kBlockSize * sizeof(int);
    switch (form) {
        case InnerFluxForm::AllRows:
        case InnerFluxForm::ListedRows:
            RVZ_LAUNCH_BLOCK(Kernel_Calc_InnerFluxSC_Flow, a.faceGrid, kBlockSize, shared, 0)
            (a.nFaces, in, a.aED, a.aWD, a.tempD, a.countBuffer);
            CheckStep("Calc_InnerFluxSC_Flow failed", device);
            return;
        case InnerFluxForm::ListedOne:
            RVZ_LAUNCH_BLOCK(Kernel_Calc_InnerFluxSC_Flow_ONE, a.faceGrid, kBlockSize, shared, 0)
            (a.nFaces, in, a.aED, a.aWD, a.tempD, a.countBuffer);
            CheckStep("Calc_InnerFluxSC_Flow failed", device);
            return;
        case InnerFluxForm::Partition:
            RVZ_LAUNCH_BLOCK(Kernel_Calc_InnerFluxSC_Flow_wo_aW, a.faceGrid, kBlockSize, shared, 0)
            (a.nFaces, in, a.aED, a.tempD, a.countBuffer);
            CheckStep("Calc_InnerFluxSC_Flow_wo_aW failed", device);
            return;
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

int Calc_InnerFluxSC_Flow(int BlockSize, InnerFluxForm form, const InnerFluxSCArgs& a, const LevelView& table,
                          int& norkk, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    // No faces (an empty partition interface): nothing is dropped, and there
    // is no level table to count with.
    const bool counting = a.nFaces > 0;
    if (counting) {
        cudaMemset(a.countBuffer, 0, static_cast<size_t>(table.total) * sizeof(int));
        LaunchInteriorFaces(a, form, dev);
    }
    CollectConservativePair<Sign::Plus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD,
                                        a.MapFace2CellExD, a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                                        "Calc_InnerFluxSC_Flow_SourceTerm failed", dev);
    const int status =
        form == InnerFluxForm::AllRows
            ? UpdateAllRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SourceD, a.cellGrid,
                            "Calc_InnerFluxSC_Flow_UpdateSourceTerm failed", dev)
            : UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, a.SourceD, a.cellGrid,
                               "Calc_InnerFluxSC_Flow_UpdateSourceTerm_Opt failed", dev);
    if (counting) {
        CollectLevels<Kernel_Calc_norkk_CollectData>(table, a.countBuffer);
        CopyReductionResult(table, a.countBuffer, norkk);
    } else {
        norkk = 0;
    }
    return status;
}

// ---------------------------------------------------------------------------
// Boundary values and gradients
// ---------------------------------------------------------------------------

int Calc_InletBoundarySC_Update_ddfi(int BlockSize, int nFaces, bool IsTranInConv_RIM, double MeltT,
                                     double dTransientInletTemperature, const int* ijInletCVD, const int* ijInletD,
                                     double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int grid,
                                     int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_InletBoundarySC_Update_ddfi>(
        grid, "Calc_InletBoundarySC_Update_ddfi failed", SelectedDevice, nFaces, IsTranInConv_RIM, MeltT,
        dTransientInletTemperature, ijInletCVD, ijInletD, dp_dxD, dp_dyD, dp_dzD, fiD);
}

int Calc_OutletBoundarySC_Update_ddfi(int BlockSize, int nFaces, const int* ijOutletCVD, const int* ijOutletD,
                                      double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int grid,
                                      int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_OutletBoundarySC_Update_ddfi>(grid, "Calc_OutletBoundarySC_Update_ddfi failed",
                                                                   SelectedDevice, nFaces, ijOutletCVD, ijOutletD,
                                                                   dp_dxD, dp_dyD, dp_dzD, fiD);
}

int Calc_SymmetryBoundary_UpdateT(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, double* TD,
                                  int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_SymmetryBoundary_UpdateT>(grid, "Calc_SymmetryBoundary_UpdateT failed",
                                                               SelectedDevice, nFaces, ijSymmCVD, ijSymmD, TD);
}

int Calc_WallBoundarySC_ddfi(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                             const int* FCRIMatchD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD,
                             int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_WallBoundarySC_ddfi>(grid, "Kernel_Calc_WallBoundarySC_ddfi failed",
                                                          SelectedDevice, nFaces, ijWallCVD, ijWallD, FCRIMatchD,
                                                          dp_dxD, dp_dyD, dp_dzD, fiD);
}

// ---------------------------------------------------------------------------
// Wall thermal conditions and hot-runner walls
// ---------------------------------------------------------------------------

int Calc_WallBoundarySC_UpdateT_coef(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                     const int* FCRIMatchD, const int* HotRunnerCellD, const double* Surf_DistWallD,
                                     const double* mkD, const double* C2FMoldTD, double* coefD, double* TD,
                                     int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_WallBoundarySC_UpdateT_coef>(
        grid, "Kernel_Calc_WallBoundarySC_UpdateT_coef failed", SelectedDevice, nFaces, ijWallCVD, ijWallD,
        FCRIMatchD, HotRunnerCellD, Surf_DistWallD, mkD, C2FMoldTD, coefD, TD);
}

int Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                               const double* ijWallSxD, const double* ijWallSyD,
                                               const double* ijWallSzD, const int* FCRIMatchD,
                                               const int* HotRunnerCellD, double dHeatTransferH_CGS,
                                               const double* Surf_DistWallD, const double* mkD,
                                               const double* C2FMoldTD, double* coefD, double* TD, int grid,
                                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_WallBoundarySC_UpdateT_coef_ThermoBC3>(
        grid, "Kernel_Calc_WallBoundarySC_UpdateT_coef_ThermoBC3 failed", SelectedDevice, nFaces, ijWallCVD,
        ijWallD, ijWallSxD, ijWallSyD, ijWallSzD, FCRIMatchD, HotRunnerCellD, dHeatTransferH_CGS, Surf_DistWallD,
        mkD, C2FMoldTD, coefD, TD);
}

int Calc_UpdateThermoBC3WallTemperature(int BlockSize, int nFaces, double dHeatTransferH_CGS, const int* ijWallCVD,
                                        const int* ijWallD, const int* FCRIMatchD, const double* ijWallSxD,
                                        const double* ijWallSyD, const double* ijWallSzD,
                                        const double* Surf_DistWallD, const double* mkD, double* TD, int grid,
                                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_UpdateThermoBC3WallTemperature>(
        grid, "Kernel_Calc_UpdateThermoBC3WallTemperature failed", SelectedDevice, nFaces, dHeatTransferH_CGS,
        ijWallCVD, ijWallD, FCRIMatchD, ijWallSxD, ijWallSyD, ijWallSzD, Surf_DistWallD, mkD, TD);
}

int Calc_UpdateHotRunnerWallTemperature(int BlockSize, int nFaces, double MeltT, const int* ijWallCVD,
                                        const int* ijWallD, const int* FCRIMatchD, const int* HotRunnerCellD,
                                        double* TD, double* C2FMoldTD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_UpdateHotRunnerWallTemperature>(
        grid, "Kernel_Calc_UpdateHotRunnerWallTemperature failed", SelectedDevice, nFaces, MeltT, ijWallCVD,
        ijWallD, FCRIMatchD, HotRunnerCellD, TD, C2FMoldTD);
}

// ---------------------------------------------------------------------------
// Boundary contributions
// ---------------------------------------------------------------------------

int Calc_WallBoundarySC_SourceTerm(int BlockSize, const WallSourceSCArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    LaunchChecked<Kernel_Calc_WallBoundarySC_SourceTerm>(a.faceGrid, "Calc_WallBoundarySC_SourceTerm failed", dev,
                                                         a.nFaces, a.ijWallCVD, a.ijWallD, a.FCRIMatchD, a.coefD,
                                                         a.HotRunnerCellD, a.TD, a.tempD);
    CollectOwnerOnly<Sign::Plus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.tempD, a.AELLDtemp,
                                 a.faceGrid, "Calc_WallBoundarySC_SourceTerm_Su failed", dev);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPD, a.RHS, a.rowGrid,
                            "Calc_WallBoundarySC_SourceTermUpdate_Opt failed", dev);
}

int Calc_InletBoundarySC_SourceTerm(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                    const int* ijInletD, const double* CBD, const double* fiD, double* RHS,
                                    const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                    const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    CollectOwnerOnlyTimesSlot<Sign::Minus>(nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, CBD, ijInletD, fiD,
                                           AELLDtemp, faceGrid, "Calc_InletBoundarySC_SourceTerm_Su failed",
                                           SelectedDevice);
    return UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, RHS, rowGrid,
                            "Calc_InletBoundarySC_SourceTermUpdate_Opt failed", SelectedDevice);
}

int CalcSC_InOutletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                      const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                      double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD, faceGrid,
                                                   rowGrid, "CalcSC_InOutletAi failed",
                                                   "CalcSC_InOutletAi_Update_Opt failed", SelectedDevice);
}

int CalcSC_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* ijWallCVD,
                  const int* MapFace2CellPxD, const int* MapFace2CellPyD, const int* FCRIMatchD,
                  const int* HotRunnerCellD, const double* coefD, double* AELLDtemp, double* AELLD,
                  const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_CalcSC_WallAi>(faceGrid, "CalcSC_WallAi failed", SelectedDevice, nFaces, new_nnu, ijWallCVD,
                                        MapFace2CellPxD, MapFace2CellPyD, FCRIMatchD, HotRunnerCellD, coefD,
                                        AELLDtemp);
    return UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, AELLD, rowGrid,
                            "CalcSC_WallAi_Update_Opt failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Volumetric sources, time term, bound, final coefficients
// ---------------------------------------------------------------------------

int Calc_ViscousDisspationVolumetricTerm(int BlockSize, int nCells, double FCRI, double lVisHeat, double mCp,
                                         const double* VolFD, const double* visD, const double* SRateD,
                                         const double* denD, const double* volumeD, double* SuD, int grid,
                                         int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_ViscousDisspationVolumetricTerm>(
        grid, "Kernel_Calc_ViscousDisspationVolumetricTerm failed", SelectedDevice, nCells, FCRI, lVisHeat, mCp,
        VolFD, visD, SRateD, denD, volumeD, SuD);
}

int Calc_ReactionHeat_Su(int BlockSize, int nCells, double FCRI, double mdH, const double* VolFD,
                         const double* dC_dtD, const double* volumeD, double* SuD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_ReactionHeat_Su>(grid, "Kernel_Calc_ReactionHeat_Su failed", SelectedDevice,
                                                      nCells, FCRI, mdH, VolFD, dC_dtD, volumeD, SuD);
}

int Calc_UnsteadyTermContributionSC(int BlockSize, int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                    const double* denD, const double* volumeD, const double* fi0D,
                                    const double* fi00D, double* SuD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_UnsteadyTermContributionSC>(grid, "Calc_UnsteadyTermContributionSC failed",
                                                                 SelectedDevice, nCells, mCp, dt, dtNor, BlendTime,
                                                                 denD, volumeD, fi0D, fi00D, SuD);
}

int Calc_2ndImplicitEulerMethodAi_SC(int BlockSize, int nCells, double mCp, double dt, double dtNor,
                                     double BlendTime, const double* denD, const double* volumeD, double* AELLD,
                                     int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_2ndImplicitEulerMethodAi_SC>(
        grid, "Kernel_Calc_2ndImplicitEulerMethodAi_SC failed", SelectedDevice, nCells, mCp, dt, dtNor, BlendTime,
        denD, volumeD, AELLD);
}

int Calc_Updatefi_MoldMelt(int BlockSize, int nCells, double MeltT_MoldT, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_Updatefi_MoldMelt>(grid, "Kernel_Calc_Updatefi_MoldMelt failed", SelectedDevice,
                                                        nCells, MeltT_MoldT, fiD);
}

int CalcSC_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* fiD,
                             double* AELLD, const double* AD, double* SfiD, double MeltT, const int* HotRunnerCellD,
                             int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FinalCoeffRHS_Sfi>(grid, "CalcSC_FinalCoeffRHS_fi failed", SelectedDevice, nnu,
                                                          new_nnu, NColumnPerRow, relax, fiD, AELLD, AD, SfiD, MeltT,
                                                          HotRunnerCellD);
}

}  // namespace rvz
