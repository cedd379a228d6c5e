// Gauss cell gradients: launches and status checks.
#include "platform/rvz_platform.h"

#include "CUK_CalcGrad.cuh"
#include "CU_CalcGrad.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

// The step messages of the two interior forms.
struct InnerMessages {
    const char* faceValues;
    const char* collect;
    const char* update;
};
constexpr InnerMessages kAllRowsMessages = {"Calc_GradFromInnerCF_tempxyz failed", "Calc_GradFromInnerCF_xyz failed",
                                            "Calc_GradFromInnerCF_Updatedd failed"};
constexpr InnerMessages kListedRowsMessages = {"Calc_GradFromInnerCF_tempxyz(Par) failed",
                                               "Calc_GradFromInnerCF_xyz(Par) failed",
                                               "Calc_GradFromInnerCF_UpdateddPar failed"};

// One component: conservative-pair collect of temp, row sums into out.
int AccumulateInnerComponent(const InnerFaceGradientArgs& a, const double* temp, double* out,
                             const InnerMessages& messages, int device)
{
    RVZ_LAUNCH(Kernel_CollectConservativePair<accum::Sign::Plus>, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD, a.MapFace2CellEyD, temp,
     a.AELLDtemp);
    CheckStep(messages.collect, device);
    if (a.rowList == nullptr) {
        RVZ_LAUNCH(Kernel_UpdateRows<accum::AllRows>, a.cellGrid, kBlockSize, 0, 0)
        (a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, nullptr, out);
    } else {
        RVZ_LAUNCH(Kernel_UpdateRows<accum::ListedRows>, a.cellGrid, kBlockSize, 0, 0)
        (a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, out);
    }
    return CheckStep(messages.update, device);
}

// One component of a boundary list: owner-only collect, listed rows.
int AccumulateBoundaryComponent(int nFaces, int nRows, int new_nnu, int NColumnPerRow, const double* temp,
                                const int* Px, const int* Py, double* AELLDtemp, const int* Map2CellPD, double* out,
                                int faceGrid, int rowGrid, int device)
{
    RVZ_LAUNCH(Kernel_CollectOwnerOnly<accum::Sign::Plus>, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, Px, Py, temp, AELLDtemp);
    CheckStep("Calc_GradFromBC_xyz failed", device);
    RVZ_LAUNCH(Kernel_UpdateRows<accum::ListedRows>, rowGrid, kBlockSize, 0, 0)
    (nRows, new_nnu, NColumnPerRow, AELLDtemp, Map2CellPD, out);
    return CheckStep("Calc_GradFromBC_Updatedd_Opt failed", device);
}

grad::VelocityGradient AsVelocityGradient(double* const gradients[9])
{
    grad::VelocityGradient g;
    for (int c = 0; c < 9; ++c) g.g[c] = gradients[c];
    return g;
}

}  // namespace

int Calc_GradFromInnerCF(int BlockSize, const InnerFaceGradientArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const InnerMessages& messages = a.rowList == nullptr ? kAllRowsMessages : kListedRowsMessages;
    RVZ_LAUNCH(Kernel_Calc_GradFromInnerCF_tempxyz, a.faceGrid, kBlockSize, 0, 0)
    (a.nFaces, a.fiD, a.df_dx0D, a.df_dy0D, a.df_dz0D, a.leD, a.ijPD, a.ijED, a.xcD, a.ycD, a.zcD, a.sxD, a.syD, a.szD,
     a.xeD, a.yeD, a.zeD, a.tempxD, a.tempyD, a.tempzD);
    CheckStep(messages.faceValues, SelectedDevice);
    AccumulateInnerComponent(a, a.tempxD, a.df_dxD, messages, SelectedDevice);
    AccumulateInnerComponent(a, a.tempyD, a.df_dyD, messages, SelectedDevice);
    return AccumulateInnerComponent(a, a.tempzD, a.df_dzD, messages, SelectedDevice);
}

int Calc_GradFromBC(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const double* fiD,
                    double* df_dxD, double* df_dyD, double* df_dzD, const int* ijbD, const double* sxD,
                    const double* syD, const double* szD, double* tempxD, double* tempyD, double* tempzD,
                    const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                    const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_GradFromBC_tempxyz, faceGrid, kBlockSize, 0, 0)
    (nFaces, fiD, ijbD, sxD, syD, szD, tempxD, tempyD, tempzD);
    CheckStep("Calc_GradFromBC_tempxyz failed", SelectedDevice);
    const double* temps[3] = {tempxD, tempyD, tempzD};
    double* outs[3] = {df_dxD, df_dyD, df_dzD};
    int status = 0;
    for (int c = 0; c < 3; ++c)
        status = AccumulateBoundaryComponent(nFaces, nRows, new_nnu, NColumnPerRow, temps[c], MapFace2CellPxD,
                                             MapFace2CellPyD, AELLDtemp, Map2CellPD, outs[c], faceGrid, rowGrid,
                                             SelectedDevice);
    return status;
}

int Calc_GradCVCenter(int BlockSize, int nCells, const double* volumeD, double* df_dxD, double* df_dyD,
                      double* df_dzD, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_GradCVCenter, cellGrid, kBlockSize, 0, 0)(nCells, volumeD, df_dxD, df_dyD, df_dzD);
    return CheckStep("Calc_GradCVCenter failed", SelectedDevice);
}

int Calc_InOutletBoundary_Update_dd(int BlockSize, int nFaces, const int* ijInOutletCVD, const int* ijInOutletD,
                                    double* const gradients[9], int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_InOutletBoundary_Update_dd, grid, kBlockSize, 0, 0)
    (nFaces, ijInOutletCVD, ijInOutletD, AsVelocityGradient(gradients));
    return CheckStep("Calc_InletBoundary_Update_dd failed", SelectedDevice);
}

int Calc_WallBoundary_Update_dd(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                const int* FCRIMatchD, double* const gradients[9], int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_WallBoundary_Update_dd, grid, kBlockSize, 0, 0)
    (nFaces, ijWallCVD, ijWallD, FCRIMatchD, AsVelocityGradient(gradients));
    return CheckStep("Calc_WallBoundary_Update_dd failed", SelectedDevice);
}

}  // namespace rvz
