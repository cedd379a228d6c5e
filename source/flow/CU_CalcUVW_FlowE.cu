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
