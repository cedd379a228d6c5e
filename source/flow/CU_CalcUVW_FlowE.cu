// Extended-flow momentum assembly and boundaries: launches and status checks.
#include "platform/rvz_platform.h"

#include "CUK_CalcUVW_FlowE.cuh"
#include "CU_CalcUVW_FlowE.h"
#include "CU_FlowSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePairIntoRows;
using flow::LaunchChecked;

// Face source, collect and update of one velocity component.
template <int C>
int InnerFluxComponent(const InnerFluxUVWArgs& a, const uvw::VelocityGradient& grad, const int* rowList,
                       const double* phiD, double* target, const char* sourceMessage, const char* updateMessage,
                       int device)
{
    LaunchChecked<Kernel_Calc_FlowE_InnerFluxUVW_SourceTerm_Component<C>>(
        a.faceGrid, sourceMessage, device, a.nFaces, a.nonOrthLimitFactor, a.gamma, a.ijPD, a.ijED, a.leD, grad,
        a.xcD, a.ycD, a.zcD, phiD, a.visD, a.sxD, a.syD, a.szD, a.mfeD, a.tempD);
    return CollectConservativePairIntoRows<Sign::Plus>(
        a.nFaces, a.nRows, a.new_nnu, a.NColumnPerRow, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
        a.MapFace2CellEyD, a.tempD, a.AELLDtemp, rowList, target, a.faceGrid, a.cellGrid,
        "Calc_FlowE_InnerFluxUVW_SourceTerm failed", updateMessage, device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Interior and partition faces
// ---------------------------------------------------------------------------

int Calc_FlowE_InnerFluxUVW_mfe(int BlockSize, int nFaces, int gIsWeightedFlowRate, double deng, double denl,
                                const int* ijCVPD, const int* ijCVED, const double* denD, const double* VFeD,
                                const double* MassFluxD, double* mfeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_InnerFluxUVW_mfe>(grid, "Calc_FlowE_InnerFluxUVW_mfe failed",
                                                             SelectedDevice, nFaces, gIsWeightedFlowRate, deng, denl,
                                                             ijCVPD, ijCVED, denD, VFeD, MassFluxD, mfeD);
}

int Calc_FlowE_InnerFluxUVW(int BlockSize, InnerFluxForm form, const InnerFluxUVWArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const bool partition = form == InnerFluxForm::Partition;
    LaunchChecked<Kernel_Calc_FlowE_InnerFluxUVW_aEaW>(
        a.faceGrid, partition ? "Calc_FlowE_InnerFluxUVW_aE_Par failed" : "Calc_FlowE_InnerFluxUVW_aEaW failed", dev,
        a.nFaces, a.ijPD, a.ijED, a.leD, a.xcD, a.ycD, a.zcD, a.visD, a.sxD, a.syD, a.szD, a.mfeD, a.aED,
        partition ? nullptr : a.aWD);
    const uvw::VelocityGradient grad = uvw::GradientInCallerOrder(a.gradients);
    const int* rows = partition ? a.rowList : nullptr;
    const char* update = partition ? "Calc_FlowE_InnerFluxUVW_UpdateSourceTerm_Par failed"
                                   : "Calc_FlowE_InnerFluxUVW_UpdateSourceTerm failed";
    InnerFluxComponent<0>(a, grad, rows, a.uD, a.SuD, "Calc_FlowE_InnerFluxUVW_SourceTerm_Su failed", update, dev);
    InnerFluxComponent<1>(a, grad, rows, a.vD, a.SvD, "Calc_FlowE_InnerFluxUVW_SourceTerm_Sv failed", update, dev);
    return InnerFluxComponent<2>(a, grad, rows, a.wD, a.SwD, "Calc_FlowE_InnerFluxUVW_SourceTerm_Sw failed", update,
                                 dev);
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

int Calc_FlowE_GravityForceContribution(int BlockSize, int nCells, double denMax, double denMin, double GravX,
                                        double GravY, double GravZ, double* SuD, double* SvD, double* SwD,
                                        const double* volumeD, const double* denD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_GravityForceContribution>(
        grid, "Calc_FlowE_GravityForceContribution failed", SelectedDevice, nCells, denMax, denMin, GravX, GravY,
        GravZ, SuD, SvD, SwD, volumeD, denD);
}

int Calc_FlowE_SurfaceTensionMethodOne(int BlockSize, int nCells, double denMax, double denMin, double STCoeff,
                                       const double* volumeD, const double* CurvD, const double* denD,
                                       const double* dVF_dxD, const double* dVF_dyD, const double* dVF_dzD,
                                       double* SuD, double* SvD, double* SwD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_SurfaceTensionMethodOne>(
        grid, "Calc_FlowE_SurfaceTensionMethodOne failed", SelectedDevice, nCells, denMax, denMin, STCoeff, volumeD,
        CurvD, denD, dVF_dxD, dVF_dyD, dVF_dzD, SuD, SvD, SwD);
}

int Calc_FlowE_2ndImplicitEulerMethodAi(int BlockSize, int nCells, double OneOver_dtdtNor, double BlendTime,
                                        const double* denD, const double* volumeD, const double* u0D,
                                        const double* v0D, const double* w0D, const double* u00D,
                                        const double* v00D, const double* w00D, double* AELLD, double* APvD,
                                        double* APRD, double* SuD, double* SvD, double* SwD, int grid,
                                        int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_2ndImplicitEulerMethodAi>(
        grid, "Kernel_Calc_FlowE_2ndImplicitEulerMethodAi failed", SelectedDevice, nCells, OneOver_dtdtNor,
        BlendTime, denD, volumeD, u0D, v0D, w0D, u00D, v00D, w00D, AELLD, APvD, APRD, SuD, SvD, SwD);
}

// ---------------------------------------------------------------------------
// Final coefficients, explicit update, velocity-correction factors
// ---------------------------------------------------------------------------

int Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                          double OneOver_relax, const double* fiD, const double* AiAPvAPRD,
                                          double* AELLD, double* SfiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw>(
        grid, "Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw failed", SelectedDevice, nnu, new_nnu, NColumnPerRow, relax,
        OneOver_relax, fiD, AiAPvAPRD, AELLD, SfiD);
}

// The basic family's Jacobi pass with the caller's previous iterate as the
// neighbour values: no work array is needed.
int Calc_FlowE_FinalCoeffRHS_fi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                                const double* AELLD, const double* SfiD, const double* dp_d_D,
                                const double* volumeD, const double* fiOldD, double* fiD, int grid,
                                int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FinalCoeffRHS_fi>(grid, "Calc_FlowE_FinalCoeffRHS_fi failed", SelectedDevice,
                                                       nnu, new_nnu, NColumnPerRow, indexELLD, AELLD, SfiD, dp_d_D,
                                                       volumeD, fiOldD, fiD);
}

int Calc_FlowE_FinalCoeffRHS_UpdateAPR(int BlockSize, int nnu, const double* AELLD, double* APRD, int grid,
                                       int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_ModAi4ValveGate_APR>(grid, "Calc_FlowE_FinalCoeffRHS_UpdateAPR failed",
                                                          SelectedDevice, nnu, APRD, AELLD);
}

int Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                               const double* AELLD, double* APRD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_APR_SIMPLEC>(grid, "Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC failed",
                                                  SelectedDevice, nnu, new_nnu, NColumnPerRow, AELLD, APRD);
}

}  // namespace rvz

namespace rvz {

namespace {

using flow::CollectOwnerIntoListedRows;
using flow::CollectOwnerOnly;
using flow::UpdateListedRows;

constexpr const char* kPonlyMessage = "Calc_FlowE_InnerFluxUVW_SourceTerm_Ponly failed";
constexpr const char* kInletUpdateMessage = "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_UpdateSourceTerm_Opt failed";
constexpr const char* kAiUpdateMessage = "Calc_FlowE_UVW_InletBoundary_AiUpdate_Opt failed";

// One open-inlet face source of a component, collected as an interior pair
// and summed over the listed rows.
template <int C>
int InletFluxComponent(const InnerFluxUVWArgs& a, double le_, const bool* judge3D,
                       const uvw::VelocityGradient& grad, const double* phiD, double* target,
                       const char* sourceMessage, int device)
{
    LaunchChecked<Kernel_Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Component<C>>(
        a.faceGrid, sourceMessage, device, a.nFaces, a.nonOrthLimitFactor, a.gamma, a.ijPD, a.ijED, le_, judge3D,
        grad, a.xcD, a.ycD, a.zcD, phiD, a.visD, a.sxD, a.syD, a.szD, a.mfeD, a.tempD);
    return CollectConservativePairIntoRows<Sign::Plus>(
        a.nFaces, a.nRows, a.new_nnu, a.NColumnPerRow, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
        a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.rowList, target, a.faceGrid, a.cellGrid,
        "Calc_FlowE_InnerFluxUVW_SourceTerm failed", kInletUpdateMessage, device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Inlet faces
// ---------------------------------------------------------------------------

int Calc_FlowE_UVW_InletBoundary_mfe(int BlockSize, int nFaces, const int* ijInletD, const double* denD,
                                     const double* MassFluxInletD, double* mfeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_InletBoundary_mfeD>(grid, "Calc_FlowE_UVW_InletBoundary_mfe failed",
                                                         SelectedDevice, nFaces, ijInletD, denD, MassFluxInletD, mfeD);
}

int Calc_FlowE_UVW_InletBoundary_Judge(int BlockSize, int nFaces, double FCRI, const int* ijInletD,
                                       const int* gpInletbInD, const double* VolFD, bool* judge3D, bool* judge4D,
                                       int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_InletBoundary_Judge>(grid, "Calc_FlowE_UVW_InletBoundary_Judge failed",
                                                                    SelectedDevice, nFaces, FCRI, ijInletD,
                                                                    gpInletbInD, VolFD, judge3D, judge4D);
}

int Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(int BlockSize, int nFaces, const int* ijInletCVD,
                                                  const int* ijInletD, const bool* judge3D, double* const gradients[9],
                                                  int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    uvwe::GradientArrays g{};
    for (int i = 0; i < 9; ++i) g.g[i] = gradients[i];
    return LaunchChecked<Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd>(
        grid, "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd failed", SelectedDevice, nFaces, ijInletCVD, ijInletD,
        judge3D, g);
}

int Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(int BlockSize, int nFaces, const int* ijPD, const int* ijED,
                                                   const double* visD, const double* sxD, const double* syD,
                                                   const double* szD, const double* xcD, const double* ycD,
                                                   const double* zcD, const double* mfeD, double* aED, double* aWD,
                                                   int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const double* weightOne = nullptr;
    return LaunchChecked<Kernel_Calc_FlowE_InnerFluxUVW_aEaW>(
        grid, "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW failed", SelectedDevice, nFaces, ijPD, ijED, weightOne,
        xcD, ycD, zcD, visD, sxD, syD, szD, mfeD, aED, aWD);
}

int Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(int BlockSize, const InnerFluxUVWArgs& a, double le_,
                                                         const bool* judge3D, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const uvw::VelocityGradient grad = uvw::GradientInCallerOrder(a.gradients);
    InletFluxComponent<0>(a, le_, judge3D, grad, a.uD, a.SuD, "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Su failed",
                          dev);
    InletFluxComponent<1>(a, le_, judge3D, grad, a.vD, a.SvD, "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Sv failed",
                          dev);
    return InletFluxComponent<2>(a, le_, judge3D, grad, a.wD, a.SwD,
                                 "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Sw failed", dev);
}

int Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(int BlockSize, int nFaces, int nRows, int new_nnu,
                                                   int NColumnPerRow, const int* ijInletD, const double* aED,
                                                   const bool* judge3D, const double* uD, const double* vD,
                                                   const double* wD, double* SuD, double* SvD, double* SwD,
                                                   double* temp1D, double* temp2D, double* temp3D,
                                                   const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                   double* AELLDtemp, int faceGrid, int cellGrid,
                                                   const int* Map2CellPBD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    LaunchChecked<Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_SuSvSw_temp>(
        faceGrid, "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_SuSvSw_temp failed", dev, nFaces, ijInletD, aED,
        judge3D, uD, vD, wD, temp1D, temp2D, temp3D);
    const double* values[3] = {temp1D, temp2D, temp3D};
    double* targets[3] = {SuD, SvD, SwD};
    int status = 0;
    for (int c = 0; c < 3; ++c)
        status = CollectOwnerIntoListedRows<Sign::Plus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                        MapFace2CellPyD, values[c], AELLDtemp, Map2CellPBD,
                                                        targets[c], faceGrid, cellGrid, kPonlyMessage,
                                                        kInletUpdateMessage, dev);
    return status;
}

int Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(int BlockSize, int nFaces, int nRows, int new_nnu,
                                                     int NColumnPerRow, const double* aED, const bool* judge3D,
                                                     double* APvD, double* APRD, double* AELLD, double* tempD,
                                                     const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                     double* AELLDtemp, int faceGrid, int cellGrid,
                                                     const int* Map2CellPD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    LaunchChecked<Kernel_Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_AiAPvAPR_temp>(
        faceGrid, "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_AiAPvAPR_temp failed", dev, nFaces, aED, judge3D,
        tempD);
    CollectOwnerOnly<Sign::Plus>(nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD, tempD, AELLDtemp, faceGrid,
                                 kPonlyMessage, dev);
    UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, APvD, cellGrid, kInletUpdateMessage, dev);
    UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, APRD, cellGrid, kInletUpdateMessage, dev);
    return UpdateListedRows(nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, AELLD, cellGrid, kAiUpdateMessage,
                            dev);
}

int Calc_FlowE_UVW_Inlet_UNF(int BlockSize, int nFaces, int iFAIMIn, int iFillType, const int* ijInletCVD,
                             const int* ijInletD, const int* gpInletbInD, const int* piIsOutletD, const double* sxD,
                             const double* syD, const double* szD, double* uD, double* vD, double* wD,
                             double* MassFluxInletD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_Inlet_UNF>(grid, "Calc_FlowE_UVW_Inlet_UNF failed", SelectedDevice,
                                                          nFaces, iFAIMIn, iFillType, ijInletCVD, ijInletD,
                                                          gpInletbInD, piIsOutletD, sxD, syD, szD, uD, vD, wD,
                                                          MassFluxInletD);
}

// ---------------------------------------------------------------------------
// Walls, vents and moving walls
// ---------------------------------------------------------------------------

int Calc_FlowE_UVW_GetSurf_DistWall(int BlockSize, int nFaces, const int* ijPD, const double* sxD, const double* syD,
                                    const double* szD, const double* f_xcD, const double* f_ycD,
                                    const double* f_zcD, const double* xcD, const double* ycD, const double* zcD,
                                    double* surf_distwallD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_GetSurf_DistWall>(grid, "Calc_FlowE_UVW_GetSurf_DistWall failed",
                                                                 SelectedDevice, nFaces, ijPD, sxD, syD, szD, f_xcD,
                                                                 f_ycD, f_zcD, xcD, ycD, zcD, surf_distwallD);
}

int Calc_FlowE_UVW_Wall_Judge(int BlockSize, int nFaces, double FCRI, int iICM_Status, const int* ijWallD,
                              const int* piIsOutletD, const int* isMoveWallD, const double* VolFD, bool* judgeD,
                              bool* neg_judgeD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_Wall_Judge>(grid, "Calc_FlowE_UVW_Wall_Judge failed", SelectedDevice,
                                                           nFaces, FCRI, iICM_Status, ijWallD, piIsOutletD,
                                                           isMoveWallD, VolFD, judgeD, neg_judgeD);
}

int Calc_FlowE_UVW_coef(int BlockSize, int nFaces, const int* ijWallD, const double* visD,
                        const double* Surf_DistWallD, double* coefD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_coef>(grid, "Calc_FlowE_UVW_coef failed", SelectedDevice, nFaces,
                                                     ijWallD, visD, Surf_DistWallD, coefD);
}

int Calc_FlowE_UVW_SetJudgeTrueOrFalse(int BlockSize, int nFaces, bool TrueOrFalse, bool* judgeD, int grid,
                                       int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_SetJudgeTrueOrFalse>(grid, "Calc_FlowE_UVW_SetJudgeTrueOrFalse failed",
                                                                    SelectedDevice, nFaces, TrueOrFalse, judgeD);
}

int Calc_FlowE_UVW_SetUVWWall(int BlockSize, const SetUVWWallArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    LaunchChecked<Kernel_Calc_FlowE_UVW_SetUVWWall_uvw_temp>(a.faceGrid, "Calc_FlowE_UVW_SetUVWWall_uvw_temp failed",
                                                             dev, a.nFaces, a.ijBD, a.judge4D, a.coefD, a.visD, a.uD,
                                                             a.vD, a.wD, a.temp1D, a.temp2D, a.temp3D, a.temp4D);
    auto collect = [&](const double* values) {
        CollectOwnerOnly<Sign::Plus>(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, values, a.AELLDtemp,
                                     a.faceGrid, kPonlyMessage, dev);
    };
    auto sumInto = [&](double* target, const char* message) {
        return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPD, target, a.cellGrid,
                                message, dev);
    };
    collect(a.temp1D);
    sumInto(a.APvD, kInletUpdateMessage);
    sumInto(a.APRD, kInletUpdateMessage);
    sumInto(a.AELLD, kAiUpdateMessage);
    collect(a.temp2D);
    sumInto(a.SuD, kInletUpdateMessage);
    collect(a.temp3D);
    sumInto(a.SvD, kInletUpdateMessage);
    collect(a.temp4D);
    return sumInto(a.SwD, kInletUpdateMessage);
}

int Calc_FlowE_UVW_Wall_ICM(int BlockSize, int nFaces, int iICM_Status, double FCRI, const int* ijWallCVD,
                            const int* ijWallD, const double* sxD, const double* syD, const double* szD,
                            const double* VolFD, const int* piIsOutletD, const int* isMoveWallD,
                            double* MassFluxWallD, double* uD, double* vD, double* wD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_UVW_Wall_ICM>(grid, "Calc_FlowE_UVW_Wall_ICM failed", SelectedDevice,
                                                         nFaces, iICM_Status, FCRI, ijWallCVD, ijWallD, sxD, syD,
                                                         szD, VolFD, piIsOutletD, isMoveWallD, MassFluxWallD, uD, vD,
                                                         wD);
}

}  // namespace rvz
