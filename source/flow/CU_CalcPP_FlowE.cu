// Extended-flow pressure correction and inlet control: launches and status
// checks.
#include "platform/rvz_platform.h"

#include "CUK_CalcPP_FlowE.cuh"
#include "CU_CalcPP_FlowE.h"
#include "CU_CollectResidual.h"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePair;
using flow::CollectOwnerIntoListedRows;
using flow::LaunchChecked;
using flow::UpdateAllRows;

pp::Fields3 F3(const DeviceVec3& v) { return pp::Fields3{v.x, v.y, v.z}; }

// The collect and update messages every inlet and wall form of the
// extended path reports under.
constexpr const char* kListCollect = "CalcPP_SetPPInlet_UpdateSu_First_Collect failed";
constexpr const char* kListUpdate = "CalcPP_SetPPInlet_UpdateSu_First_Su failed";

// Owner-only collect of +values into the scratch, its row sums added to
// target at the listed rows.
int AddToListedRows(const ListAccumulation& acc, const double* values, double* target, int device)
{
    return CollectOwnerIntoListedRows<Sign::Plus>(acc.nFaces, acc.nRows, acc.new_nnu, acc.NColumnPerRow,
                                                  acc.MapFace2CellPxD, acc.MapFace2CellPyD, values, acc.AELLDtemp,
                                                  acc.Map2CellPD, target, acc.faceGrid, acc.rowGrid, kListCollect,
                                                  kListUpdate, device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Vent decisions and gate pressures
// ---------------------------------------------------------------------------

int CalcPP_FlowE_iIsOutlet1(int BlockSize, int n, double FCRI, const int* ijWallCVD, const int* ijWallD,
                            const double* VolFD, int* piIsOutletD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_iIsOutlet1>(grid, "CalcPP_FlowE_iIsOutlet1 failed", SelectedDevice, n,
                                                         FCRI, ijWallCVD, ijWallD, VolFD, piIsOutletD);
}

int CalcPP_FlowE_iIsOutlet2(int BlockSize, int n, int iFAIMFluidIn, double FCRI, const int* ijWallCVD,
                            const int* ijWallD, const double* VolFD, const float* MFD, const double* AirPressureD,
                            int* piIsOutletD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_iIsOutlet2>(grid, "CalcPP_FlowE_iIsOutlet2 failed", SelectedDevice, n,
                                                         iFAIMFluidIn, FCRI, ijWallCVD, ijWallD, VolFD, MFD,
                                                         AirPressureD, piIsOutletD);
}

int CalcPP_FlowE_judge1judge2Press(int BlockSize, int n, double SpruePress, const int* gpInletbInD,
                                   const int* ijInletGPD, const int* gpInletGPMtrTypeD, const double* InjecPressD,
                                   double* PressD, bool* judge1D, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_judge1judge2Press>(grid, "CalcPP_FlowE_judge1judge2Press failed",
                                                                SelectedDevice, n, SpruePress, gpInletbInD,
                                                                ijInletGPD, gpInletGPMtrTypeD, InjecPressD, PressD,
                                                                judge1D);
}

// ---------------------------------------------------------------------------
// Interior and boundary face fluxes
// ---------------------------------------------------------------------------

int Calc_FlowE_InnerFluxPP(int BlockSize, const FlowEInnerFluxArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_InnerFluxPP_aEaWmfe>(
        a.grid,
        a.aWD != nullptr ? "Calc_FlowE_InnerFluxPP_aEaWmfe failed" : "Calc_FlowE_InnerFluxPP_aEmfe_Par failed",
        SelectedDevice, a.nFaces, a.ijPD, a.ijED, a.leD, F3(a.area), F3(a.centroid), F3(a.gradP), a.uD, a.vD, a.wD,
        a.pD, a.APRD, a.mfeD, a.aED, a.aWD, a.IsFaceMassFluxStab);
}

int CalcPP_BoundFluxMass(int BlockSize, const BoundFluxMassArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_BoundFluxMass>(a.grid, "CalcPP_BoundFluxMass failed", SelectedDevice, a.nFaces,
                                                      a.IsFaceMassFluxStab, a.ijPD, a.ijED, a.judgeD, F3(a.centroid),
                                                      F3(a.gradP), F3(a.area), a.APRD, a.pD, a.uD, a.vD, a.wD, a.aED,
                                                      a.mfeD);
}

// ---------------------------------------------------------------------------
// Inlet and wall states
// ---------------------------------------------------------------------------

int CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(int BlockSize, int n, int iTime, const int* ijBD,
                                                 const int* ijInletGPD, const double* pressureD, const bool* judgeD,
                                                 const int* statusD, double* pD, double* ppD, bool* judge2AD,
                                                 bool* judge3AD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A>(
        grid, "CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A failed", SelectedDevice, n, iTime, ijBD, ijInletGPD,
        pressureD, judgeD, statusD, pD, ppD, judge2AD, judge3AD);
}

int CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(int BlockSize, int n, int iTime, int status, double pressure,
                                                      const int* ijBD, double* pD, double* ppD, bool* judge2D,
                                                      bool* judge3D, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3>(
        grid, "CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3 failed", SelectedDevice, n, iTime, status, pressure,
        ijBD, pD, ppD, judge2D, judge3D);
}

int CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(int BlockSize, const WallStateArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true>(
        a.grid, "CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true failed", SelectedDevice, a.nFaces, a.iIsOutlet,
        a.dAirPressure, a.iICM_Status, a.FCRI, a.ijBD, a.piIsOutletD, a.VolFD, a.AirPressureD, a.isMoveWallD, a.pD,
        a.ppD, a.judge1AD, a.judge5AD);
}

// ---------------------------------------------------------------------------
// Inlet and wall right-hand sides and diagonals
// ---------------------------------------------------------------------------

int CalcPP_SetPPInlet_UpdateSu_First(int BlockSize, const ListAccumulation& acc, const int* ijInletGPD,
                                     const int* statusD, const bool* judgeD, const double* mfeD, double* tempD,
                                     double* SuD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_CalcPP_SetPPInlet_UpdateSu_First_temp>(acc.faceGrid,
                                                                "CalcPP_SetPPInlet_UpdateSu_First_temp failed",
                                                                SelectedDevice, acc.nFaces, ijInletGPD, statusD,
                                                                judgeD, mfeD, tempD);
    return AddToListedRows(acc, tempD, SuD, SelectedDevice);
}

int CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(int BlockSize, const ListAccumulation& acc, int status,
                                            const double* mfeD, double* tempD, double* SuD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_CalcPP_SetPPInlet_NOFAIM_UpdateSu_First_temp>(
        acc.faceGrid, "CalcPP_SetPPInlet_NOFAIM_UpdateSu_First_temp failed", SelectedDevice, acc.nFaces, status, mfeD,
        tempD);
    return AddToListedRows(acc, tempD, SuD, SelectedDevice);
}

int CalcPP_SetPPInlet_NOFAIM_Update_AiSu(int BlockSize, const ListAccumulation& acc, const int* ijPD,
                                         const int* ijBD, const double* mfeD, const double* CBD, const bool* judge2D,
                                         const bool* judge3D, const double* dden_dpD, double* temp1D, double* temp2D,
                                         double* AELLD, double* SuD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_CalcPP_SetPPInlet_NOFAIM_Update_AiSu_temp>(
        acc.faceGrid, "CalcPP_SetPPInlet_NOFAIM_Update_AiSu_temp failed", SelectedDevice, acc.nFaces, ijPD, ijBD,
        mfeD, CBD, judge2D, judge3D, dden_dpD, temp1D, temp2D);
    AddToListedRows(acc, temp1D, AELLD, SelectedDevice);
    return AddToListedRows(acc, temp2D, SuD, SelectedDevice);
}

int CalcPP_SetPPWall_Update_AiSu(int BlockSize, const ListAccumulation& acc, const double* mfeD, const double* CBD,
                                 const bool* judge1AD, double* temp1D, double* temp2D, double* AELLD, double* SuD,
                                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_CalcPP_SetPPWall_Update_AiSu_temp>(acc.faceGrid, "CalcPP_SetPPWall_Update_AiSu_temp failed",
                                                            SelectedDevice, acc.nFaces, mfeD, CBD, judge1AD, temp1D,
                                                            temp2D);
    AddToListedRows(acc, temp1D, AELLD, SelectedDevice);
    return AddToListedRows(acc, temp2D, SuD, SelectedDevice);
}

// ---------------------------------------------------------------------------
// Interior right-hand side
// ---------------------------------------------------------------------------

int CalcPP_FlowE_SourceTerm_CentralCoeff(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                         const double* MassFluxD, const int* Px, const int* Py, const int* Ex,
                                         const int* Ey, double* AELLDtemp, double* SourceD, int faceGrid,
                                         int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    CollectConservativePair<Sign::Minus>(nFaces, new_nnu, Px, Py, Ex, Ey, MassFluxD, AELLDtemp, faceGrid,
                                         "CalcPP_FlowE_SourceTerm_CentralCoeff_Collect_Su failed", SelectedDevice);
    return UpdateAllRows(nCells, new_nnu, NColumnPerRow, AELLDtemp, SourceD, cellGrid,
                         "CalcPP_FlowE_SourceTerm_CentralCoeff_Update_Su failed", SelectedDevice);
}

int CalcPP_FlowE_SourceTerm_CentralCoeff_Par(int BlockSize, const ListAccumulation& acc, const double* MassFluxParD,
                                             double* SourceD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(
        acc.nFaces, acc.nRows, acc.new_nnu, acc.NColumnPerRow, acc.MapFace2CellPxD, acc.MapFace2CellPyD,
        MassFluxParD, acc.AELLDtemp, acc.Map2CellPD, SourceD, acc.faceGrid, acc.rowGrid,
        "CalcPP_FlowE_SourceTerm_CentralCoeff_Collect_Su_Par failed",
        "CalcPP_FlowE_SourceTerm_CentralCoeff_Update_Su_Par failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Compressibility, final diagonal and mass sum
// ---------------------------------------------------------------------------

int CalcPP_FlowE_1stImplicitEulerMethod(int BlockSize, int n, int iTime, double dt, double dtNor, const double* pD,
                                        const double* p0D, const double* dden_dpD, const double* dden_dTD,
                                        const double* volumeD, double* SuD, double* AELLD, int grid,
                                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_1stImplicitEulerMethod>(
        grid, "CalcPP_FlowE_1stImplicitEulerMethod failed", SelectedDevice, n, iTime, dt, dtNor, pD, p0D, dden_dpD,
        dden_dTD, volumeD, SuD, AELLD);
}

int CalcPP_FlowE_EnhanceRobustness(int BlockSize, int n, double rr, int new_nnu, int NColumnPerRow, const double* ppD,
                                   double* AELLD, double* SuD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_EnhanceRobustness>(grid, "CalcPP_FlowE_EnhanceRobustness failed",
                                                                SelectedDevice, n, rr, new_nnu, NColumnPerRow, ppD,
                                                                AELLD, SuD);
}

int CalcPP_FlowE_MassSum(int BlockSize, int NInnerCell, const double* SuD, double& MassSum, double* buffer,
                         const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_CalcPP_FlowE_MassSum, Kernel_CalcPP_FlowE_CollectMassSum>(
        FirstLevelBlocks(table), table, "CalcPP_FlowE_MassSum failed", SelectedDevice, buffer, MassSum, NInnerCell,
        SuD);
}

// ---------------------------------------------------------------------------
// Boundary values of pp and p
// ---------------------------------------------------------------------------

int CalcPP_FlowE_UpdateBoundaryPP_Update_fi(int BlockSize, int n, const int* ijWallCVD, const int* ijWallD,
                                            const int* piIsOutletD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi>(
        grid, "CalcPP_FlowE_UpdateBoundaryPP_Update_fi failed", SelectedDevice, n, ijWallCVD, ijWallD, piIsOutletD,
        fiD);
}

int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                   const int* ijInletD, const int* gpInletbInD,
                                                   const int* piIsOutletD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn>(
        grid, "CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn failed", SelectedDevice, n, status, ijInletCVD,
        ijInletD, gpInletbInD, piIsOutletD, fiD);
}

int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                     const int* ijInletD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn>(
        grid, "CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn failed", SelectedDevice, n, status, ijInletCVD,
        ijInletD, fiD);
}

int CalcPP_FlowE_Update_fi_OutletSymm(int BlockSize, int n, const int* ijPD, const int* ijBD, double* fiD, int grid,
                                      int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CopyCellToSlot(n, ijBD, ijPD, fiD, grid, "CalcPP_FlowE_Update_fi_OutletSymm failed", SelectedDevice);
}

int CalcPP_FlowE_UpdateBoundaryP_Update_fi(int BlockSize, int n, const int* ijWallCVD, const int* ijWallD,
                                           const int* piIsOutletD, const double* AirPressureD, double* fiD, int grid,
                                           int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi>(
        grid, "CalcPP_FlowE_UpdateBoundaryP_Update_fi failed", SelectedDevice, n, ijWallCVD, ijWallD, piIsOutletD,
        AirPressureD, fiD);
}

int CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(int BlockSize, int n, const int* ijInletCVD, const int* ijInletD,
                                                  const int* ijInletGPD, const int* gpInletbInD,
                                                  const int* piIsOutletD, const int* statusD,
                                                  const double* AirPressureD, double* fiD, int grid,
                                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn>(
        grid, "CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn failed", SelectedDevice, n, ijInletCVD, ijInletD,
        ijInletGPD, gpInletbInD, piIsOutletD, statusD, AirPressureD, fiD);
}

int CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                    const int* ijInletD, double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn>(
        grid, "CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn failed", SelectedDevice, n, status, ijInletCVD,
        ijInletD, fiD);
}

// ---------------------------------------------------------------------------
// Corrections
// ---------------------------------------------------------------------------

int CalcPP_FlowE_UpdateMassFlux(int BlockSize, int n, int new_nnu, const int* ijCVPD, const int* ijCVED,
                                const int* Px, const int* Py, const double* AELLD, const double* ppD,
                                double* MassFluxD, int grid, bool partition, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_UpdateMassFlux>(
        grid, partition ? "CalcPP_FlowE_UpdateMassFlux_Par failed" : "CalcPP_FlowE_UpdateMassFlux failed",
        SelectedDevice, n, new_nnu, ijCVPD, ijCVED, Px, Py, AELLD, ppD, MassFluxD);
}

int CalcPP_FlowE_CorrectPressureVelocities(int BlockSize, const CorrectPressureVelocitiesArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_CorrectPressureVelocities>(
        a.grid, "CalcPP_FlowE_CorrectPressureVelocities failed", SelectedDevice, a.nCells, a.relaxIP, a.iflag,
        a.iTurningBad, a.ppo, a.gpIsBadElementsD, a.ppD, a.volumeD, a.gradPP.x, a.gradPP.y, a.gradPP.z, a.APRD, a.pD,
        a.uD, a.vD, a.wD, a.SuD);
}

int CalcPP_FlowE_CorrectInletVel_judge(int BlockSize, int n, double FCRI, const int* ijInletD, const double* VolFD,
                                       const int* gpInletbInD, const int* ijInletGPD, const int* gpInletGPMtrTypeD,
                                       const int* statusD, const InletFlags& flags, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_CorrectInletVel_judge>(
        grid, "CalcPP_FlowE_CorrectInletVel_judge failed", SelectedDevice, n, FCRI, ijInletD, VolFD, gpInletbInD,
        ijInletGPD, gpInletGPMtrTypeD, statusD, flags.judge1CD, flags.judge1DD, flags.judge1ED, flags.judge2AD);
}

int CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(int BlockSize, const FlowEBoundaryCorrectionArgs& a,
                                                   const InletFlags& flags, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet>(
        grid, "CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInle failed", SelectedDevice, a.nFaces, a.ijCVD, a.ijBD,
        F3(a.area), flags.judge1CD, flags.judge1DD, flags.judge2AD, F3(a.centroid), a.APRD, a.volumeD, a.uD, a.vD,
        a.wD, a.ppD, a.MassFluxD);
}

int CalcPP_FlowE_CorrectInletVel_TotalMass(int BlockSize, int n, const InletFlags& flags,
                                           const double* MassFluxInletD, double& TotalMassInlet,
                                           double& TotalFluidMassInlet, double& TotalMassOutlet,
                                           double* inletBuffer, double* fluidBuffer, double* outletBuffer,
                                           const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked3<Kernel_CalcPP_FlowE_CorrectInletVel_TotalMass,
                          Kernel_CalcPP_FlowE_CorrectInletVel_CollectTotalMass>(
        FirstLevelBlocks(table), table, "CalcPP_FlowE_CorrectInletVel_TotalMass failed", SelectedDevice, inletBuffer,
        fluidBuffer, outletBuffer, TotalMassInlet, TotalFluidMassInlet, TotalMassOutlet, n,
        static_cast<const bool*>(flags.judge1CD), static_cast<const bool*>(flags.judge1DD),
        static_cast<const bool*>(flags.judge1ED), static_cast<const bool*>(flags.judge2AD), MassFluxInletD);
}

int CalcPP_FlowE_CorrectInletVel_VelNorm(int BlockSize, int n, const int* ijInletD, const bool* judge1DD,
                                         const double* uD, const double* vD, const double* wD, double& VelNorm,
                                         double* buffer, const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_CalcPP_FlowE_CorrectInletVel_VelNorm,
                         Kernel_CalcPP_FlowE_CorrectInletVel_CollectVelNorm>(
        FirstLevelBlocks(table), table, "CalcPP_FlowE_CorrectInletVel_VelNorm failed", SelectedDevice, buffer,
        VelNorm, n, ijInletD, judge1DD, uD, vD, wD);
}

int CalcPP_FlowE_CorrectWallVel_TotalMass(int BlockSize, const FlowEBoundaryCorrectionArgs& a, int iICM_Status,
                                          double FCRI, const int* piIsOutletD, const int* isMoveWallD,
                                          const double* VolFD, double& TotalMassOutlet, double* buffer,
                                          const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return ReduceChecked<Kernel_CalcPP_FlowE_CorrectWallVel_TotalMass,
                         Kernel_CalcPP_FlowE_CorrectWallVel_CollectTotalMass>(
        FirstLevelBlocks(table), table, "CalcPP_FlowE_CorrectWallVel failed", SelectedDevice, buffer, TotalMassOutlet,
        a.nFaces, iICM_Status, FCRI, a.ijCVD, a.ijBD, piIsOutletD, isMoveWallD, F3(a.area), F3(a.centroid), VolFD,
        a.ppD, a.APRD, a.volumeD, a.uD, a.vD, a.wD, a.MassFluxD);
}

int CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(int BlockSize, const InnerFluxPPCorrArgs& a,
                                                     const int* rowList, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const bool partition = a.MapFace2CellExD == nullptr;
    if (!partition) {
        NonOrthogonalCorrectionFlux(a, "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector failed", SelectedDevice);
        CollectConservativePair<Sign::Minus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD,
                                             a.MapFace2CellExD, a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                                             "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Collect_Su failed",
                                             SelectedDevice);
        return UpdateAllRows(a.nCells, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SourceD, a.cellGrid,
                             "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Update_Su failed", SelectedDevice);
    }
    NonOrthogonalCorrectionFlux(a, "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Par failed", SelectedDevice);
    return CollectOwnerIntoListedRows<Sign::Minus>(
        a.nFaces, a.nCells, a.new_nnu, a.NColumnPerRow, a.MapFace2CellPxD, a.MapFace2CellPyD, a.tempD, a.AELLDtemp,
        rowList, a.SourceD, a.faceGrid, a.cellGrid,
        "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Collect_Su_Par failed",
        "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Update_Su_Par failed", SelectedDevice);
}

}  // namespace rvz
