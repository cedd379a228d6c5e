// Pressure correction: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_CalcPP.cuh"
#include "CU_CalcPP.h"
#include "CU_CollectResidual.h"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePair;
using flow::CollectOwnerIntoListedRows;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

pp::Fields3 F3(const DeviceVec3& v) { return pp::Fields3{v.x, v.y, v.z}; }

// Owner-only collect of -m v[k] over a wall list.
int CollectVents(int nFaces, int new_nnu, const int* Px, const int* Py, const int* FCRIMatchD, const double* values,
                 double* AELLDtemp, int faceGrid, const char* message, int device)
{
    RVZ_LAUNCH(Kernel_CalcPP_VentCollect, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, Px, Py, FCRIMatchD, values, AELLDtemp);
    return CheckStep(message, device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Steps shared with the extended-flow pressure correction
// ---------------------------------------------------------------------------

int CopyCellToSlot(int nFaces, const int* ijBD, const int* ijCVD, double* fiD, int grid, const char* message,
                   int SelectedDevice)
{
    RVZ_LAUNCH(Kernel_Calc_UpdateBoundaryPP_CopyCell, grid, kBlockSize, 0, 0)(nFaces, ijBD, ijCVD, fiD);
    return CheckStep(message, SelectedDevice);
}

int NonOrthogonalCorrectionFlux(const InnerFluxPPCorrArgs& a, const char* message, int SelectedDevice)
{
    RVZ_LAUNCH(Kernel_Calc_InnerFluxPPCorr, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.ijPD, a.ijED, F3(a.area), F3(a.centroid), a.APRD, F3(a.gradPP), a.MassFluxD, a.tempD);
    return CheckStep(message, SelectedDevice);
}

// ---------------------------------------------------------------------------
// Face fluxes and coefficients
// ---------------------------------------------------------------------------

int Calc_InnerFluxPP(int BlockSize, const InnerFluxPPArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_InnerFluxPP_aEaW, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.IsFaceMassFluxStab, a.ijPD, a.ijED, a.leD, F3(a.gradP), F3(a.centroid), a.uD, a.vD, a.wD, a.pD,
     a.APRD, F3(a.area), a.mfeD, a.aED, a.aWD);
    return CheckStep(a.aWD != nullptr ? "Calc_InnerFluxPP_aEaW failed" : "Calc_InnerFluxPP_aE failed",
                     SelectedDevice);
}

int Calc_InnerFluxPP_UpdateSourceTerm(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                      const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                      const int* MapFace2CellExD, const int* MapFace2CellEyD, const double* MassFluxD,
                                      double* AELLDtemp, double* SourceD, int faceGrid, int cellGrid,
                                      int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    CollectConservativePair<Sign::Minus>(nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                                         MapFace2CellEyD, MassFluxD, AELLDtemp, faceGrid,
                                         "Calc_InnerFluxPP_UpdateSourceTerm_PE failed", SelectedDevice);
    return UpdateAllRows(nCells, new_nnu, NColumnPerRow, AELLDtemp, SourceD, cellGrid,
                         "Calc_InnerFluxPP_UpdateSourceTerm_Update failed", SelectedDevice);
}

int Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                               const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                               const double* MassFluxInletD, double* AELLDtemp, double* SourceD,
                                               const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, MassFluxInletD, AELLDtemp, Map2CellPD, SourceD,
                                                   faceGrid, rowGrid,
                                                   "Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL failed",
                                                   "Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL_Update_Opt failed",
                                                   SelectedDevice);
}

int Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(int BlockSize, const BoundaryFluxPPArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    // The imposed pressure is set first, so the boundary flux sees it.
    RVZ_LAUNCH(Kernel_Calc_InnerFluxPP_Inlet_UpdateP_PP, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.SpruePress, a.ijED, a.pD, a.ppD);
    CheckStep("Calc_InnerFluxPP_InletUpdateP_PP failed", SelectedDevice);
    RVZ_LAUNCH(Kernel_Calc_InnerFluxPP_BoundFluxMass_aEmfe, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.IsFaceMassFluxStab, a.ijPD, a.ijED, a.uD, a.vD, a.wD, F3(a.centroid), F3(a.gradP), a.volumeD,
     a.APRD, a.mfeD, F3(a.area), a.pD, a.aED);
    CheckStep("Calc_InnerFluxPP_BoundFluxMass_aEmfe failed", SelectedDevice);
    return CollectOwnerIntoListedRows<Sign::Minus>(a.nFaces, a.nRows, a.new_nnu, a.NColumnPerRow, a.MapFace2CellPxD,
                                                   a.MapFace2CellPyD, a.mfeD, a.AELLDtemp, a.Map2CellPD, a.SourceD,
                                                   a.faceGrid, a.rowGrid, "Calc_InnerFluxPP_InletOutlet_Su failed",
                                                   "Calc_InnerFluxPP_InletOutlet_Su_Update failed", SelectedDevice);
}

int Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(int BlockSize, const BoundaryFluxPPArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_InnerFluxPP_BoundFluxMassAlt_aEmfe, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.IsFaceMassFluxStab, a.ijPD, a.ijED, a.FCRIMatchD, a.uD, a.vD, a.wD, F3(a.centroid), F3(a.gradP),
     F3(a.area), a.volumeD, a.APRD, a.pD, a.aED, a.mfeD);
    CheckStep("Calc_InnerFluxPP_BoundFluxMassAlt_aEmfe failed", SelectedDevice);
    CollectVents(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.FCRIMatchD, a.mfeD, a.AELLDtemp,
                 a.faceGrid, "Calc_InnerFluxPP_Wall_Su failed", SelectedDevice);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPD, a.SourceD, a.rowGrid,
                            "Calc_InnerFluxPP_Wall_Su_Update_Opt failed", SelectedDevice);
}

int Calc_InnerFluxPP_InletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                             const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD,
                             double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                             int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD, faceGrid,
                                                   rowGrid, "Calc_InnerFluxPP_InletAi failed",
                                                   "Calc_InnerFluxPP_InletAi_Update_Opt failed", SelectedDevice);
}

int CalcPP_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* MapFace2CellPxD,
                  const int* MapFace2CellPyD, const int* FCRIMatchD, const double* CBD, double* AELLDtemp,
                  double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    CollectVents(nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, FCRIMatchD, CBD, AELLDtemp, faceGrid,
                 "CalcPP_WallAi failed", SelectedDevice);
    return UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, AELLD, rowGrid,
                            "CalcPP_WallAi_Update_Opt failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Final diagonal and sums
// ---------------------------------------------------------------------------

int Calc_AiSuMassSum(int BlockSize, int NInnerCell, int new_nnu, int NColumnPerRow, double rr, const double* ppD,
                     double* AELLD, double* SuD, double& sum, double* buffer, const LevelView& table,
                     int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_CalcPP_AiSuMassSum, Kernel_Calc_CollectData>(
        FirstLevelBlocks(table), table, "CalcPP_AiSuMassSum failed", SelectedDevice, buffer, sum, NInnerCell, new_nnu,
        NColumnPerRow, rr, ppD, AELLD, SuD);
}

int Calc_CheckSum(int BlockSize, int nCells, double* ppD, const double* SuD, double& sum, double* buffer,
                  const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_Calc_CheckSum, Kernel_Calc_CollectData>(
        FirstLevelBlocks(table), table, "Calc_CheckSum failed", SelectedDevice, buffer, sum, nCells, ppD, SuD);
}

// ---------------------------------------------------------------------------
// Boundary values of a corrected field
// ---------------------------------------------------------------------------

int Calc_UpdateBoundaryPP_Wall(int BlockSize, int nFaces, const int* ijWallD, const int* ijWallCVD,
                               const int* FCRIMatchD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UpdateBoundaryPP_Wall, grid, kBlockSize, 0, 0)(nFaces, ijWallD, ijWallCVD, FCRIMatchD, fiD);
    return CheckStep("Calc_UpdateBoundaryPP_Wall failed", SelectedDevice);
}

int Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, const int* ijInletD,
                                                    const int* ijInletCVD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CopyCellToSlot(nFaces, ijInletD, ijInletCVD, fiD, grid, "Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL failed", SelectedDevice);
}

int Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(int BlockSize, int nFaces, const int* ijInletD, double* fiD,
                                                    int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL, grid, kBlockSize, 0, 0)(nFaces, ijInletD, fiD);
    return CheckStep("Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL failed", SelectedDevice);
}

int Calc_UpdateBoundaryPP_Outlet(int BlockSize, int nFaces, const int* ijOutletD, const int* ijOutletCVD, double* fiD,
                                 int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CopyCellToSlot(nFaces, ijOutletD, ijOutletCVD, fiD, grid, "Calc_UpdateBoundaryPP_Outlet failed", SelectedDevice);
}

int Calc_UpdateBoundaryPP_Symm(int BlockSize, int nFaces, const int* ijSymmD, const int* ijSymmCVD, double* fiD,
                               int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CopyCellToSlot(nFaces, ijSymmD, ijSymmCVD, fiD, grid, "Calc_UpdateBoundaryPP_Symm failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Corrections
// ---------------------------------------------------------------------------

int Calc_CorrectPressureVelocityCV(int BlockSize, int nCells, double relax, double ppo, int iflag,
                                   const double* volumeD, const double* APRD, const double* ppD, double* pD,
                                   const double* dp_dxD, const double* dp_dyD, const double* dp_dzD, double* uD,
                                   double* vD, double* wD, double* SuD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_CorrectPressureVelocityCV, grid, kBlockSize, 0, 0)
    (nCells, relax, ppo, iflag, volumeD, APRD, ppD, pD, dp_dxD, dp_dyD, dp_dzD, uD, vD, wD, SuD);
    return CheckStep("Calc_CorrectPressureVelocityCV failed", SelectedDevice);
}

int CalcPP_CorrectMassFlux(int BlockSize, int nFaces, int new_nnu, const int* MapFace2CellPxD,
                           const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* /*MapFace2CellEyD*/,
                           const double* AELLD, const double* ppD, double* MassFluxD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_CalcPP_CorrectMassFlux, grid, kBlockSize, 0, 0)
    (nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, AELLD, ppD, MassFluxD);
    return CheckStep("CalcPP_CorrectMassFlux failed", SelectedDevice);
}

int Calc_InnerFluxPPCorr(int BlockSize, const InnerFluxPPCorrArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    NonOrthogonalCorrectionFlux(a, "Calc_InnerFluxPPCorr failed", SelectedDevice);
    CollectConservativePair<Sign::Minus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD,
                                         a.MapFace2CellExD, a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                                         "Calc_InnerFluxPPCorr_PE failed", SelectedDevice);
    return UpdateAllRows(a.nCells, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SourceD, a.cellGrid,
                         "Calc_InnerFluxPPCorr_Update failed", SelectedDevice);
}

int Calc_UpdateVelocitySymmetryBoundary(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD,
                                        DeviceVec3 area, double* uD, double* vD, double* wD, int grid,
                                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UpdateVelocitySymmetryBoundary, grid, kBlockSize, 0, 0)
    (nFaces, ijSymmCVD, ijSymmD, F3(area), uD, vD, wD);
    return CheckStep("Calc_UpdateVelocitySymmetryBoundary failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Inlet and vent corrections with their sums
// ---------------------------------------------------------------------------

int Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, const int* ijInletD, const double* uD,
                                                  const double* vD, const double* wD, DeviceVec3 area,
                                                  double* MassFluxInletD, double& inflow, double* buffer,
                                                  const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL, Kernel_Calc_CollectData>(
        FirstLevelBlocks(table), table, "Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL failed", SelectedDevice, buffer,
        inflow, nFaces, ijInletD, uD, vD, wD, F3(area), MassFluxInletD);
}

int Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(int BlockSize, const BoundaryCorrectionArgs& a, double& inflow,
                                                  double& speedSum, double* inflowBuffer, double* speedBuffer,
                                                  const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked2<Kernel_Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL,
                          Kernel_Calc_CorrectVelocityInlet_CollectData>(
        FirstLevelBlocks(table), table, "Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL failed", SelectedDevice,
        inflowBuffer, speedBuffer, inflow, speedSum, a.nFaces, a.ijCVD, a.ijBD, F3(a.centroid), a.uD, a.vD, a.wD,
        F3(a.area), a.volumeD, a.APRD, a.ppD, a.MassFluxD);
}

int Calc_CorrectVelocityWallOutlet(int BlockSize, const BoundaryCorrectionArgs& a, double& ventOutflow,
                                   double* buffer, const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_Calc_CorrectVelocityWallOutlet, Kernel_Calc_CollectData>(
        FirstLevelBlocks(table), table, "Calc_CorrectVelocityWallOutlet failed", SelectedDevice, buffer, ventOutflow,
        a.nFaces, a.ijCVD, a.ijBD, a.FCRIMatchD, F3(a.centroid), a.uD, a.vD, a.wD, F3(a.area), a.volumeD, a.APRD, a.ppD,
        a.MassFluxD);
}

}  // namespace rvz
