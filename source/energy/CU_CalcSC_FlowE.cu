// Extended-flow energy assembly: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_CalcSC_FlowE.cuh"
#include "CU_CalcSC_FlowE.h"
#include "CU_FlowSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePair;
using flow::CollectOwnerIntoListedRows;
using flow::LaunchChecked;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

sce::FaceInputs FaceInputsOf(const InnerFluxSCFlowEArgs& a)
{
    sce::FaceInputs in{};
    in.mCpD = a.mCpD;
    in.ijPD = a.ijPD;
    in.ijED = a.ijED;
    in.leD = a.leD;
    in.fiD = a.fiD;
    in.xcD = a.xcD;
    in.ycD = a.ycD;
    in.zcD = a.zcD;
    in.sxD = a.sxD;
    in.syD = a.syD;
    in.szD = a.szD;
    in.mkD = a.mkD;
    in.mfeD = a.mfeD;
    in.nonOrthLimitFactor = a.nonOrthLimitFactor;
    return in;
}

// The face kernel of the form, checked under its own message.
void LaunchInteriorFaces(FlowEInnerForm form, const InnerFluxSCFlowEArgs& a, int device)
{
    const sce::FaceInputs in = FaceInputsOf(a);
    const sce::Gradient g{a.dp_dxD, a.dp_dyD, a.dp_dzD};
    switch (form) {
        case FlowEInnerForm::AllRows:
            LaunchChecked<Kernel_CalcSC_FlowE_InnerFluxSC>(a.faceGrid, "CalcSC_FlowE_InnerFluxSC failed", device,
                                                           a.nFaces, in, g, a.aED, a.aWD, a.tempD);
            return;
        case FlowEInnerForm::Listed:
            LaunchChecked<Kernel_CalcSC_FlowE_InnerFluxSC_Opt>(a.faceGrid, "CalcSC_FlowE_InnerFluxSC_Opt failed",
                                                               device, a.nFaces, in, g, a.aED, a.aWD, a.tempD);
            return;
        case FlowEInnerForm::Judged:
            LaunchChecked<Kernel_CalcSC_FlowE_InnerFluxSC_Opt_judge>(
                a.faceGrid, "CalcSC_FlowE_InnerFluxSC_Opt_judge failed", device, a.nFaces, in, g, a.gpInletbInD,
                a.aED, a.aWD, a.tempD);
            return;
        case FlowEInnerForm::Partition:
            LaunchChecked<Kernel_CalcSC_FlowE_InnerFluxSC_Par>(a.faceGrid, "CalcSC_FlowE_InnerFluxSC_Par failed",
                                                               device, a.nFaces, in, g, a.aED, a.tempD);
            return;
    }
}

// Messages of the four accumulation steps of a boundary operation.
struct TwoPassMessages {
    const char *collectAi, *updateAi, *collectSu, *updateSu;
};

// Diagonal pass (temp1D into AELLD), the scratch cleared, right-hand-side
// pass (temp2D into SuD). Returns the status of the last update.
int AccumulateTwoPasses(const TwoPassTarget& t, const TwoPassMessages& m, int device)
{
    CollectOwnerIntoListedRows<Sign::Plus>(t.nFaces, t.nRows, t.new_nnu, t.NColumnPerRow, t.MapFace2CellPxD,
                                           t.MapFace2CellPyD, t.temp1D, t.AELLDtemp, t.Map2CellPD, t.AELLD,
                                           t.faceGrid, t.rowGrid, m.collectAi, m.updateAi, device);
    cudaMemset(t.AELLDtemp, 0, static_cast<size_t>(t.new_nnu) * t.NColumnPerRow * sizeof(double));
    return CollectOwnerIntoListedRows<Sign::Plus>(t.nFaces, t.nRows, t.new_nnu, t.NColumnPerRow, t.MapFace2CellPxD,
                                                  t.MapFace2CellPyD, t.temp2D, t.AELLDtemp, t.Map2CellPD, t.SuD,
                                                  t.faceGrid, t.rowGrid, m.collectSu, m.updateSu, device);
}

// The inlet family's collect and update messages, shared by both forms;
// the first form names its second collect after the diagonal.
constexpr TwoPassMessages kInletFirstMessages{
    "CalcSC_FlowE_InletBoundary_SourceTerm failed", "CalcSC_FlowE_InletBoundary_Ai_Update_Opt failed",
    "CalcSC_FlowE_InletBoundary_Ai failed", "CalcSC_FlowE_InletBoundary_Su_Update_Opt failed"};
constexpr TwoPassMessages kInletSecondMessages{
    "CalcSC_FlowE_InletBoundary_SourceTerm failed", "CalcSC_FlowE_InletBoundary_Ai_Update_Opt failed",
    "CalcSC_FlowE_InletBoundary_SourceTerm failed", "CalcSC_FlowE_InletBoundary_Su_Update_Opt failed"};

}  // namespace

// ---------------------------------------------------------------------------
// Vent flags, face mass flux
// ---------------------------------------------------------------------------

int CalcSC_FlowE_Temperature_iIsOutlet1(int BlockSize, int nFaces, const int* ijWallD, int* piIsOutletD,
                                        const double* VolFD, double FCRI, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_Temperature_iIsOutlet1>(
        grid, "CalcSC_FlowE_Temperature_iIsOutlet1 failed", SelectedDevice, nFaces, ijWallD, piIsOutletD, VolFD, FCRI);
}

int CalcSC_FlowE_Temperature_iIsOutlet2(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                        int* piIsOutletD, const double* VolFD, const float* MFD, int iFAIMFluidIn,
                                        const double* AirPressureD, double FCRI, int EnableVentingAnalysis, int grid,
                                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_Temperature_iIsOutlet2>(
        grid, "CalcSC_FlowE_Temperature_iIsOutlet2 failed", SelectedDevice, nFaces, ijWallCVD, ijWallD, piIsOutletD,
        VolFD, MFD, iFAIMFluidIn, AirPressureD, FCRI, EnableVentingAnalysis);
}

int CalcSC_FlowE_InnerFluxSC_mfe(int BlockSize, int nFaces, const int* ijPD, const int* ijED, const double* VFeD,
                                 double denl, double deng, const double* MassFluxD, const double* denD, double* mfeD,
                                 int gIsWeightedFlowRate, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_InnerFluxSC_mfe>(grid, "CalcSC_FlowE_InnerFluxSC_mfe failed",
                                                              SelectedDevice, nFaces, ijPD, ijED, VFeD, denl, deng,
                                                              MassFluxD, denD, mfeD, gIsWeightedFlowRate);
}

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

int CalcSC_FlowE_InnerFluxSC(int BlockSize, FlowEInnerForm form, const InnerFluxSCFlowEArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    LaunchInteriorFaces(form, a, dev);
    CollectConservativePair<Sign::Plus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD,
                                        a.MapFace2CellExD, a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                                        "CalcSC_FlowE_InnerFluxSC_SourceTerm failed", dev);
    if (form == FlowEInnerForm::AllRows)
        return UpdateAllRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SourceD, a.cellGrid,
                             "CalcSC_FlowE_InnerFluxSC_UpdateSourceTerm failed", dev);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, a.SourceD, a.cellGrid,
                            "CalcSC_FlowE_InnerFluxSC_UpdateSourceTerm_Opt failed", dev);
}

// ---------------------------------------------------------------------------
// Cell terms
// ---------------------------------------------------------------------------

int CalcSC_FlowE_UnsteadyTermContributionSC(int BlockSize, int nCells, const double* mCpD, double OneOver_dtdtNor,
                                            double BlendTime, const double* denD, const double* volumeD,
                                            const double* fi0D, const double* fi00D, double* SuD, double* AELLD,
                                            int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_UnsteadyTermContributionSC>(
        grid, "CalcSC_FlowE_UnsteadyTermContributionSC failed", SelectedDevice, nCells, mCpD, OneOver_dtdtNor,
        BlendTime, denD, volumeD, fi0D, fi00D, SuD, AELLD);
}

int CalcSC_FlowE_ViscousDisspationVolumetricTerm(int BlockSize, int nCells, double FCRI, double lVisHeat,
                                                 double VisTempLimiter, double OneOver_dtdtNor, const double* mCpD,
                                                 const double* VolFD, const double* visD, const double* SRateD,
                                                 const double* denD, const double* volumeD, double* SuD, int grid,
                                                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_ViscousDisspationVolumetricTerm>(
        grid, "Kernel_CalcSC_FlowE_ViscousDisspationVolumetricTerm failed", SelectedDevice, nCells, FCRI, lVisHeat,
        VisTempLimiter, OneOver_dtdtNor, mCpD, VolFD, visD, SRateD, denD, volumeD, SuD);
}

int CalcSC_FlowE_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                   const double* fiD, double* AELLD, double* SfiD, double OneOver_relaxIF, int grid,
                                   int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_FinalCoeffRHS_Sfi>(grid, "CalcSC_FlowE_FinalCoeffRHS_fi failed",
                                                                SelectedDevice, nnu, new_nnu, NColumnPerRow, relax,
                                                                fiD, AELLD, SfiD, OneOver_relaxIF);
}

// ---------------------------------------------------------------------------
// Boundary operations with two accumulations
// ---------------------------------------------------------------------------

int CalcSC_FlowE_IsothermalWallBoundaries(int BlockSize, const IsothermalWallArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const TwoPassTarget& t = a.to;
    LaunchChecked<Kernel_CalcSC_FlowE_IsothermalWallBoundaries>(
        t.faceGrid, "CalcSC_FlowE_IsothermalWallBoundariesC failed", SelectedDevice, t.nFaces, a.ijWallCVD, a.ijWallD,
        a.piIsOutletD, a.dp_dxD, a.dp_dyD, a.dp_dzD, a.fiD, a.HotRunnerCellD, a.isThermoBC3, a.ijWallSxD, a.ijWallSyD,
        a.ijWallSzD, a.pdWallHTCD, a.Surf_DistWallD, a.mkD, a.C2FMoldTD, t.temp1D, t.temp2D);
    return AccumulateTwoPasses(t,
                               TwoPassMessages{"CalcSC_FlowE_IsothermalWallBoundaries_Ai failed",
                                               "CalcSC_FlowE_IsothermalWallBoundaries_Ai_Update_Opt failed",
                                               "CalcSC_FlowE_IsothermalWallBoundaries_Ai failed",
                                               "CalcSC_FlowE_IsothermalWallBoundaries_Su_Update_Opt failed"},
                               SelectedDevice);
}

int CalcSC_FlowE_InletBoundary_First(int BlockSize, const InletFirstArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const TwoPassTarget& t = a.to;
    LaunchChecked<Kernel_CalcSC_FlowE_InletBoundary_fi_first>(
        t.faceGrid, "CalcSC_FlowE_InletBoundary_fi_first failed", SelectedDevice, t.nFaces, a.IsTranInConv_RIM,
        a.iFAIMFluidIn, a.dTransientInletTemperature, a.gdMeltT, a.ijInletCVD, a.ijInletD, a.gpInletbInD,
        a.ijInletGPD, a.gpInletGPMtrTypeD, a.pRVZFlowCTL_m_iIsShutOffD, a.pRVZFlowCTL_m_dFluidTD, a.CBD, a.dp_dxD,
        a.dp_dyD, a.dp_dzD, a.fiD, t.temp1D, t.temp2D);
    return AccumulateTwoPasses(t, kInletFirstMessages, SelectedDevice);
}

int CalcSC_FlowE_InletBoundary_Second(int BlockSize, const InletSecondArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const TwoPassTarget& t = a.to;
    LaunchChecked<Kernel_CalcSC_FlowE_InletBoundary_fi_second>(
        t.faceGrid, "CalcSC_FlowE_InletBoundary_fi_second failed", SelectedDevice, t.nFaces, a.FCRI,
        a.dHeatTransferH_SI, a.gdMoldT, a.isThermoBC3, a.ijInletCVD, a.ijInletD, a.ijInletSxD, a.ijInletSyD,
        a.ijInletSzD, a.ijInletxcD, a.ijInletycD, a.ijInletzcD, a.xcD, a.ycD, a.zcD, a.VolFD, a.HotRunnerCellD, a.mkD,
        a.gpInletbInD, a.dp_dxD, a.dp_dyD, a.dp_dzD, a.fiD, t.temp1D, t.temp2D);
    return AccumulateTwoPasses(t, kInletSecondMessages, SelectedDevice);
}

// The control's collects go through the entries' wall indices, so it runs
// its own collect kernel before each shared update.
int CalcSC_FlowE_HotRunnerTemperatureControl(int BlockSize, const HotRunnerControlArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const TwoPassTarget& t = a.to;
    const int dev = SelectedDevice;
    LaunchChecked<Kernel_CalcSC_FlowE_HotRunnerTemperatureControl>(
        t.faceGrid, "CalcSC_FlowE_HotRunnerTemperatureControl failed", dev, t.nFaces, a.NWall, a.isThermoBC3,
        a.ijWallCVD, a.ijWallD, a.SurfBC_ToWallIndxD, a.HotRunnerCellD, a.ijWallSxD, a.ijWallSyD, a.ijWallSzD,
        a.pdWallHTCD, a.mkD, a.Surf_DistWallD, a.C2FMoldTD, t.temp1D, t.temp2D, a.stride, a.TD);
    const char* collect = "CalcSC_FlowE_HotRunnerTemperatureControl_SourceTerm failed";
    LaunchChecked<Kernel_CalcSC_FlowE_HotRunnerTemperatureControl_SourceTerm>(
        t.faceGrid, collect, dev, t.nFaces, a.NWall, t.new_nnu, t.MapFace2CellPxD, t.MapFace2CellPyD,
        a.SurfBC_ToWallIndxD, a.stride, static_cast<const double*>(t.temp1D), t.AELLDtemp);
    UpdateListedRows(t.nRows, t.new_nnu, t.NColumnPerRow, t.AELLDtemp, t.Map2CellPD, t.AELLD, t.rowGrid,
                     "CalcSC_FlowE_HotRunnerTemperatureControl_Ai_Update_Opt failed", dev);
    cudaMemset(t.AELLDtemp, 0, static_cast<size_t>(t.new_nnu) * t.NColumnPerRow * sizeof(double));
    LaunchChecked<Kernel_CalcSC_FlowE_HotRunnerTemperatureControl_SourceTerm>(
        t.faceGrid, collect, dev, t.nFaces, a.NWall, t.new_nnu, t.MapFace2CellPxD, t.MapFace2CellPyD,
        a.SurfBC_ToWallIndxD, a.stride, static_cast<const double*>(t.temp2D), t.AELLDtemp);
    return UpdateListedRows(t.nRows, t.new_nnu, t.NColumnPerRow, t.AELLDtemp, t.Map2CellPD, t.SuD, t.rowGrid,
                            "CalcSC_FlowE_HotRunnerTemperatureControl_Su_Update_Opt failed", dev);
}

// ---------------------------------------------------------------------------
// Wall surface temperatures and hot-runner walls
// ---------------------------------------------------------------------------

int CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                              const int* piIsOutletD, const double* ijWallSxD,
                                              const double* ijWallSyD, const double* ijWallSzD,
                                              const double* pdWallHTCD, const double* Surf_DistWallD,
                                              const double* mkD, double* TD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall>(
        grid, "Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall failed", SelectedDevice, nFaces, ijWallCVD, ijWallD,
        piIsOutletD, ijWallSxD, ijWallSyD, ijWallSzD, pdWallHTCD, Surf_DistWallD, mkD, TD);
}

int CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(int BlockSize, const InletSurfaceArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet>(
        a.grid, "Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet failed", SelectedDevice, a.nFaces, a.FCRI,
        a.dHeatTransferH_SI, a.ijInletCVD, a.ijInletD, a.ijInletSxD, a.ijInletSyD, a.ijInletSzD, a.ijInletxcD,
        a.ijInletycD, a.ijInletzcD, a.xcD, a.ycD, a.zcD, a.gpInletbInD, a.mkD, a.VolFD, a.TD);
}

int CalcSC_FlowE_InitHotRunnerWallTemp(int BlockSize, int nFaces, double FCRI, const int* ijWallCVD,
                                       const int* ijWallD, const double* VolFD, const int* HotRunnerCellD, double* TD,
                                       int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_InitHotRunnerWallTemp>(
        grid, "Kernel_CalcSC_FlowE_InitHotRunnerWallTemp failed", SelectedDevice, nFaces, FCRI, ijWallCVD, ijWallD,
        VolFD, HotRunnerCellD, TD);
}

int CalcSC_FlowE_UpdateHotRunnerWallTemp(int BlockSize, int nFaces, double FCRI, double gdMeltT,
                                         const int* ijWallCVD, const int* ijWallD, const double* VolFD,
                                         const int* HotRunnerCellD, double* TD, double* C2FMoldTD, int grid,
                                         int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_UpdateHotRunnerWallTemp>(
        grid, "Kernel_CalcSC_FlowE_UpdateHotRunnerWallTemp failed", SelectedDevice, nFaces, FCRI, gdMeltT, ijWallCVD,
        ijWallD, VolFD, HotRunnerCellD, TD, C2FMoldTD);
}

int CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(int BlockSize, int size, int NWall, const int* ijWallCVD,
                                                  const int* ijWallD, const int* SurfBC_ToWallIndxD,
                                                  const int* HotRunnerCellD, int stride, double* TD, int grid,
                                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC>(
        grid, "CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC failed", SelectedDevice, size, NWall, ijWallCVD, ijWallD,
        SurfBC_ToWallIndxD, HotRunnerCellD, stride, TD);
}

}  // namespace rvz
