// Volume fraction: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_Vfconv.cuh"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_Vfconv.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectIndependentPairIntoAllRows;
using flow::CollectOwnerIntoListedRows;
using flow::UpdateAllRows;

// The messages of the collect and update steps of one boundary-list
// accumulation.
struct ListMessages {
    const char* collect;
    const char* update;
};

// Owner-only collect of tempD and the listed-rows update into target.
int CollectListIntoCells(int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* Px, const int* Py,
                         const double* tempD, double* AELLDtemp, double* target, const int* rows, int faceGrid,
                         int cellGrid, ListMessages messages, int device)
{
    return CollectOwnerIntoListedRows<Sign::Plus>(nFaces, nRows, new_nnu, NColumnPerRow, Px, Py, tempD, AELLDtemp,
                                                  rows, target, faceGrid, cellGrid, messages.collect, messages.update,
                                                  device);
}

constexpr ListMessages kFlowEWallMessages{"Calc_VOF_FlowE_CourantNoDonnorCell_Wall failed",
                                          "Calc_VOF_FlowE_CourantNoDonnorCell_Wall_Update failed"};

}  // namespace

// ---------------------------------------------------------------------------
// Donor Courant numbers
// ---------------------------------------------------------------------------

int Calc_CourantNoDonnorCell(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow, const int* ijCVPD,
                             const int* ijCVED, double dt, const double* MassFluxD, const double* volumeD,
                             double* tempPD, double* tempED, double* CourantNoDD, const int* MapFace2CellPxD,
                             const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* MapFace2CellEyD,
                             double* AELLDtemp, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_CourantNoDonnorCell_temp, faceGrid, kBlockSize, 0, 0)
    (nFaces, ijCVPD, ijCVED, dt, MassFluxD, volumeD, tempPD, tempED);
    CheckStep("Calc_CourantNoDonnorCell_temp failed", SelectedDevice);
    return CollectIndependentPairIntoAllRows<Sign::Plus>(nFaces, nnu, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                         MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, tempPD,
                                                         tempED, AELLDtemp, CourantNoDD, faceGrid, cellGrid,
                                                         "Calc_CourantNoDonnorCell failed",
                                                         "Calc_CourantNoDonnorCell_Update failed", SelectedDevice);
}

int Calc_CourantNoDonnorCell_Wall(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                  const int* ijWallCVD, double dt, const int* FCRIMatchD,
                                  const double* MassFluxWallD, const double* volumeD, const int* MapFace2CellPxD,
                                  const int* MapFace2CellPyD, double* tempD, double* AELLDtemp, double* CourantNoDD,
                                  const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_CourantNoDonnorCell_Wall_temp, faceGrid, kBlockSize, 0, 0)
    (nFaces, ijWallCVD, dt, FCRIMatchD, MassFluxWallD, volumeD, tempD);
    CheckStep("Calc_CourantNoDonnorCell_Wall_temp failed", SelectedDevice);
    return CollectListIntoCells(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempD,
                                AELLDtemp, CourantNoDD, Map2CellPD, faceGrid, cellGrid,
                                {"Calc_CourantNoDonnorCell_Wall failed", "Calc_CourantNoDonnorCell_Wall_Update failed"},
                                SelectedDevice);
}

int Calc_VOF_FlowE_pd_dt_Over_volume(int BlockSize, int nCells, double dt_, const double* volumeD,
                                     double* pd_dt_Over_volumeD, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_VOF_FlowE_pd_dt_Over_volume, cellGrid, kBlockSize, 0, 0)
    (nCells, dt_, volumeD, pd_dt_Over_volumeD);
    return CheckStep("Calc_VOF_FlowE_pd_dt_Over_volume failed", SelectedDevice);
}

int Calc_VOF_FlowE_CourantNoDonnorCell(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow,
                                       const int* ijCVPD, const int* ijCVED, const double* MassFluxD,
                                       const double* pd_dt_Over_volumeD, double* tempPD, double* tempED,
                                       double* CourantNoDD, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                       const int* MapFace2CellExD, const int* MapFace2CellEyD, double* AELLDtemp,
                                       int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_temp, faceGrid, kBlockSize, 0, 0)
    (nFaces, ijCVPD, ijCVED, MassFluxD, pd_dt_Over_volumeD, tempPD, tempED);
    CheckStep("Calc_VOF_FlowE_CourantNoDonnorCell_temp failed", SelectedDevice);
    return CollectIndependentPairIntoAllRows<Sign::Plus>(nFaces, nnu, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                         MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, tempPD,
                                                         tempED, AELLDtemp, CourantNoDD, faceGrid, cellGrid,
                                                         "Calc_VOF_FlowE_CourantNoDonnorCell failed",
                                                         "Calc_VOF_FlowE_CourantNoDonnorCell_Update failed",
                                                         SelectedDevice);
}

int Calc_VOF_FlowE_CourantNoDonnorCell_Wall(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                            double fcri, int iICM_Status, const int* ijWallCVD, const int* ijWallD,
                                            const int* piIsOutletD, const int* isMoveWallD, const double* VolFD,
                                            const double* MassFluxOutletD, const double* pd_dt_Over_volumeD,
                                            const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* tempD,
                                            double* AELLDtemp, double* CourantNoDD, const int* Map2CellPD,
                                            int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Wall_temp, faceGrid, kBlockSize, 0, 0)
    (nFaces, fcri, iICM_Status, ijWallCVD, ijWallD, piIsOutletD, isMoveWallD, VolFD, MassFluxOutletD,
     pd_dt_Over_volumeD, tempD);
    CheckStep("Calc_VOF_FlowE_CourantNoDonnorCell_Wall_temp failed", SelectedDevice);
    return CollectListIntoCells(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempD,
                                AELLDtemp, CourantNoDD, Map2CellPD, faceGrid, cellGrid, kFlowEWallMessages,
                                SelectedDevice);
}

int Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(int BlockSize, int nFaces, int nCells, int new_nnu,
                                                 int NColumnPerRow, double fcri, const int* ijInletCVD,
                                                 const int* ijInletD, const int* gpInletbInD, const double* VolFD,
                                                 const double* MassFluxInletD, const double* pd_dt_Over_volumeD,
                                                 const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                 double* tempD, double* AELLDtemp, double* CourantNoDD,
                                                 const int* Map2CellPD, int faceGrid, int cellGrid,
                                                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF, faceGrid, kBlockSize, 0, 0)
    (nFaces, fcri, ijInletCVD, ijInletD, gpInletbInD, VolFD, MassFluxInletD, pd_dt_Over_volumeD, tempD);
    CheckStep("Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF failed", SelectedDevice);
    return CollectListIntoCells(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempD,
                                AELLDtemp, CourantNoDD, Map2CellPD, faceGrid, cellGrid, kFlowEWallMessages,
                                SelectedDevice);
}

int Calc_CourantNoDonnorCell_Par(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                 const int* ijCVPParD, const double* MassFluxParD, const double* pdtOverVolumeD,
                                 double dt, const double* volumeD, double* tempPD, double* CourantNoDD,
                                 const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                 const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (pdtOverVolumeD != nullptr) {
        RVZ_LAUNCH(Kernel_Calc_VOF_FlowE_CourantNoDonnorCell_Par_temp, faceGrid, kBlockSize, 0, 0)
        (nFaces, ijCVPParD, MassFluxParD, pdtOverVolumeD, tempPD);
        CheckStep("Calc_VOF_FlowE_CourantNoDonnorCell_Par_temp failed", SelectedDevice);
    } else {
        RVZ_LAUNCH(Kernel_Calc_VOF_Flow_CourantNoDonnorCell_Par_temp, faceGrid, kBlockSize, 0, 0)
        (nFaces, ijCVPParD, MassFluxParD, dt, volumeD, tempPD);
        CheckStep("Calc_VOF_Flow_CourantNoDonnorCell_Par_temp failed", SelectedDevice);
    }
    return CollectListIntoCells(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempPD,
                                AELLDtemp, CourantNoDD, Map2CellPD, faceGrid, cellGrid,
                                {"Calc_VOF_FlowE_CourantNoDonnorCell_Par failed",
                                 "Calc_VOF_FlowE_CourantNoDonnorCell_Par_Update failed"},
                                SelectedDevice);
}

// ---------------------------------------------------------------------------
// Cell fill rate
// ---------------------------------------------------------------------------

int Calc_CellFR(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow, const double* MassFluxD,
                double* tempPD, double* tempED, double* CellFRD, const int* MapFace2CellPxD,
                const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* MapFace2CellEyD,
                double* AELLDtemp, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_CellFR_temp, faceGrid, kBlockSize, 0, 0)(nFaces, MassFluxD, tempPD, tempED);
    CheckStep("Calc_CellFR_temp failed", SelectedDevice);
    // The owner side stores -tempPD: the magnitude of an inflow into P.
    return CollectIndependentPairIntoAllRows<Sign::Minus>(nFaces, nnu, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                          MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, tempPD,
                                                          tempED, AELLDtemp, CellFRD, faceGrid, cellGrid,
                                                          "Calc_CellFR failed", "Calc_CellFR_Update failed",
                                                          SelectedDevice);
}

int Calc_CellFR_Par(int BlockSize, int nFaces, int NPar2CellP, int new_nnu, int NColumnPerRow,
                    const double* MassFluxD, double* tempPD, double* CellFRD, const int* MapFace2CellPxD,
                    const int* MapFace2CellPyD, double* AELLDtemp, const int* Par2CellPD, int faceGrid, int cellGrid,
                    int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_CellFR_tempP, faceGrid, kBlockSize, 0, 0)(nFaces, MassFluxD, tempPD);
    CheckStep("Calc_CellFR_tempP failed", SelectedDevice);
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, NPar2CellP, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, tempPD, AELLDtemp, Par2CellPD, CellFRD, faceGrid,
                                                   cellGrid, "Calc_CellFR_P failed", "Calc_CellFR_Update_Par failed",
                                                   SelectedDevice);
}

// ---------------------------------------------------------------------------
// Fill-volume bookkeeping and front update
// ---------------------------------------------------------------------------

int Calc_Vfconv_VolF_FillVol_Less(int BlockSize, int nCells, double* VolFD, double EMF, double EMF1, int grid,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_VolF_FillVol_Less, grid, kBlockSize, 0, 0)(nCells, VolFD, EMF, EMF1);
    return CheckStep("Calc_Vfconv_VolF_FillVol_Less failed", SelectedDevice);
}

int Calc_Vfconv_VolF_FillVol_More(int BlockSize, int nCells, double* VolFD, double EMF, double FCRI, int grid,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_VolF_FillVol_More, grid, kBlockSize, 0, 0)(nCells, VolFD, EMF, FCRI);
    return CheckStep("Calc_Vfconv_VolF_FillVol_More failed", SelectedDevice);
}

int Calc_Vfconv_VolF_Update(int BlockSize, int nCells, double* VolFD, const float* MFD, double EMF, double FCRI,
                            int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_VolF_Update, grid, kBlockSize, 0, 0)(nCells, VolFD, MFD, EMF, FCRI);
    return CheckStep("Calc_Vfconv_VolF_Update failed", SelectedDevice);
}

int Calc_Vfconv_RecordIsoFilledSurface(int BlockSize, int nCells, double Time, double FCRI, float* MFD,
                                       const double* VolFD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_RecordIsoFilledSurface, grid, kBlockSize, 0, 0)(nCells, Time, FCRI, MFD, VolFD);
    return CheckStep("Calc_Vfconv_RecordIsoFilledSurface failed", SelectedDevice);
}

int ResetVolFToSpecificValue(int BlockSize, int nCells, double* VolFD, double Value, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_ResetVolFToSpecificValue, grid, kBlockSize, 0, 0)(nCells, VolFD, Value);
    return CheckStep("Calc_ResetVolFToSpecificValue failed", SelectedDevice);
}

int Calc_FVolUpdate_UpdateVolF(int BlockSize, int nCells, double dvol, double FCRI, double* VolFD,
                               const double* volumeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_FVolUpdate_UpdateVolF, grid, kBlockSize, 0, 0)(nCells, dvol, FCRI, VolFD, volumeD);
    return CheckStep("Calc_FVolUpdate_Update_VolF failed", SelectedDevice);
}

int Calc_FVolUpdate_FillVol(int BlockSize, int nCells, const double* VolFD, const double* volumeD, double* buffer,
                            int grid, const LevelView& table, double& FillVol, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_FVolUpdate_FillVol, Kernel_Calc_FVolUpdate_FillVol_Collection>(
        grid, table, "Calc_FVolUpdate_FillVol failed", SelectedDevice, buffer, FillVol, nCells, VolFD, volumeD);
}

int Calc_FVolUpdate_UnFilledCells(int BlockSize, int nCells, double FCRI, const double* VolFD, int* buffer, int grid,
                                  const LevelView& table, int& UnFilledCells, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_FVolUpdate_UnFilledCells, Kernel_Calc_FVolUpdate_UnFilledCells_Collection>(
        grid, table, "Calc_FVolUpdate_UnFilledCells failed", SelectedDevice, buffer, UnFilledCells, nCells, FCRI,
        VolFD);
}

int Calc_FVolUpdate_nfront(int BlockSize, int nCells, double FCRI, const double* VolFD, int* buffer, int grid,
                           const LevelView& table, int& nfront, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_FVolUpdate_nfront, Kernel_Calc_FVolUpdate_nfront_Collection>(
        grid, table, "Calc_FVolUpdate_nfront failed", SelectedDevice, buffer, nfront, nCells, FCRI, VolFD);
}

// ---------------------------------------------------------------------------
// Volume-fraction equation
// ---------------------------------------------------------------------------

int Calc_InnerFluxVolF(int BlockSize, const InnerFluxVolFArgs& a, const LevelView& table, double& CeMax,
                       double& FrontVol, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(a.ceMaxBuffer, table);
    ClearPartials(a.frontVolBuffer, table);
    if (a.aWD == nullptr) {
        RVZ_LAUNCH(Kernel_Calc_InnerFluxVolF_aE, a.faceGrid, kBlockSize, 0, 0)(a.nFaces, a.mfeD, a.aED);
        CheckStep("Calc_InnerFluxVolF_aE failed", SelectedDevice);
    } else {
        RVZ_LAUNCH(Kernel_Calc_InnerFluxVolF_aEaW, a.faceGrid, kBlockSize, 0, 0)(a.nFaces, a.mfeD, a.aED, a.aWD);
        CheckStep("Calc_InnerFluxVolF_aEaW failed", SelectedDevice);
    }
    RVZ_LAUNCH_BLOCK(Kernel_Calc_InnerFluxVolF_Betaf_temp_CeMax, a.faceGrid, kBlockSize, kTwoQuantityShared, 0)
    (a.nFaces, a.ijCVPD, a.ijCVED, a.CourantNoD, a.dVF_dxD, a.dVF_dyD, a.dVF_dzD, a.xcD, a.ycD, a.zcD, a.VolFD,
     a.volumeD, a.FCRI, a.mfeD, a.BetafD, a.ceMaxBuffer, a.frontVolBuffer);
    const int status = CheckStep("Calc_InnerFluxVolF_Betaf_temp_CeMax failed", SelectedDevice);
    CollectLevels<Kernel_Calc_InnerFluxVolF_CollectCeMaxFrontVol>(table, a.ceMaxBuffer);
    CollectLevels<Kernel_Calc_InnerFluxVolF_CollectCeMaxFrontVol>(table, a.frontVolBuffer);
    CopyReductionResult(table, a.ceMaxBuffer, CeMax);
    CopyReductionResult(table, a.frontVolBuffer, FrontVol);
    return status;
}

int Calc_Vfconv_InletBC_CellFR_Su_CB(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                     const int* ijInletD, const double* MassFluxInletD, double* VolFD, double MELT,
                                     double* tempSuD, double* tempCellFRD, double* CBD, double* SuD, double* CellFRD,
                                     const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                     const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_InletBC_CellFRtemp_Sutemp_CB, faceGrid, kBlockSize, 0, 0)
    (nFaces, ijInletD, MassFluxInletD, VolFD, MELT, tempSuD, tempCellFRD, CBD);
    CheckStep("Calc_Vfconv_InletBC_CellFRtemp_Sutemp_CB failed", dev);
    CollectListIntoCells(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, tempSuD, AELLDtemp,
                         SuD, Map2CellPD, faceGrid, cellGrid,
                         {"Calc_Vfconv_InletBC_Su failed", "Calc_Vfconv_InletBC_Su_Update failed"}, dev);
    cudaMemset(AELLDtemp, 0, static_cast<size_t>(new_nnu) * static_cast<size_t>(NColumnPerRow) * sizeof(double));
    // The fill rate gains the inflow's magnitude, -tempCellFRD.
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, tempCellFRD, AELLDtemp, Map2CellPD, CellFRD,
                                                   faceGrid, cellGrid, "Calc_Vfconv_InletBC_CellFR failed",
                                                   "Calc_Vfconv_InletBC_CellFR_Update failed", dev);
}

int Calc_Vfconv_InletAi(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                        const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                        double* AELLD, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    // The diagonal gains the inflow's magnitude, -CBD.
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD, faceGrid,
                                                   cellGrid, "Calc_Vfconv_InletAi failed",
                                                   "Calc_Vfconv_InletAi_Update_Opt failed", SelectedDevice);
}

int Calc_Vfconv_UnsteadyTermContribution(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                         const double* volumeD, double dt, double* AELLD, double* SuD,
                                         const double* VolF0D, const int* indexELLD, int cellGrid,
                                         int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_UnsteadyTermContribution, cellGrid, kBlockSize, 0, 0)
    (nnu, new_nnu, NColumnPerRow, volumeD, dt, AELLD, SuD, VolF0D, indexELLD);
    return CheckStep("Calc_Vfconv_UnsteadyTermContribution failed", SelectedDevice);
}

int Calc_Vfconv_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* VolFD,
                           double* AELLD, const double* AD, double* SfiD, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_FinalCoeff, cellGrid, kBlockSize, 0, 0)
    (nnu, new_nnu, NColumnPerRow, relax, VolFD, AELLD, AD, SfiD);
    return CheckStep("Calc_Vfconv_FinalCoeff failed", SelectedDevice);
}

int Calc_Vfconv_VolF_ZeroGradient(int BlockSize, int nFaces, const int* ijCVD, const int* ijD, double* VolFD,
                                  int grid, const char* message, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_VolF_CopyCellToSlot, grid, kBlockSize, 0, 0)(nFaces, ijCVD, ijD, VolFD);
    return CheckStep(message, SelectedDevice);
}

int Calc_Vfconv_UpdateCellFaceValue(int BlockSize, int nFaces, const int* ijCVPD, const int* ijCVED,
                                    const double* MassFluxD, const double* BetafeD, const double* VolFD,
                                    const double* VolF0D, double* VFeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_Vfconv_UpdateCellFaceValue, grid, kBlockSize, 0, 0)
    (nFaces, ijCVPD, ijCVED, MassFluxD, BetafeD, VolFD, VolF0D, VFeD);
    return CheckStep("Calc_Vfconv_UpdateCellFaceValue failed", SelectedDevice);
}

}  // namespace rvz
