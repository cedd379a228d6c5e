// Extended-flow utilities: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_FlowE_SmoothCopyRange.cuh"
#include "CU_FlowE_SmoothCopyRange.h"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectIndependentPair;
using flow::LaunchChecked;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

// The same value at both positions of each face (a sum over the faces
// around a cell, not the +/- pair of a flux).
int CollectAtBothSides(int nFaces, int new_nnu, const int* Px, const int* Py, const int* Ex, const int* Ey,
                       const double* values, double* AELLDtemp, int faceGrid, const char* message, int device)
{
    return CollectIndependentPair<Sign::Plus>(nFaces, new_nnu, Px, Py, Ex, Ey, values, values, AELLDtemp, faceGrid,
                                              message, device);
}

}  // namespace

// ---------------------------------------------------------------------------
// Smoothed volume fraction
// ---------------------------------------------------------------------------

int Calc_FlowE_SmoothVariable_InnerFace(int BlockSize, const SmoothFacesArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const char* update = "Calc_FlowE_SmoothVariable_UpdateSourceTerm failed";
    LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_InnerFace>(a.faceGrid, "Calc_FlowE_SmoothVariable_InnerFace failed",
                                                              dev, a.nFaces, a.ijPD, a.ijED, a.leD, a.areaD,
                                                              a.SmoothVolFD, a.tempD);
    CollectAtBothSides(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
                       a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                       "Calc_FlowE_SmoothVariable_InnerFace_VolF_S failed", dev);
    UpdateAllRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.VolF_SD, a.cellGrid, update, dev);
    CollectAtBothSides(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
                       a.MapFace2CellEyD, a.areaD, a.AELLDtemp, a.faceGrid,
                       "Calc_FlowE_SmoothVariable_InnerFace_S failed", dev);
    return UpdateAllRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SD, a.cellGrid, update, dev);
}

int Calc_FlowE_SmoothVariable_InnerFacePar(int BlockSize, const SmoothFacesArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const char* update = "Calc_FlowE_SmoothVariable_UpdateSourceTermPar failed";
    LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_InnerFacePar>(
        a.faceGrid, "Calc_FlowE_SmoothVariable_InnerFacePar failed", dev, a.nFaces, a.ijPD, a.ijED, a.leD, a.sxD,
        a.syD, a.szD, a.SmoothVolFD, a.tempD);
    CollectAtBothSides(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
                       a.MapFace2CellEyD, a.tempD, a.AELLDtemp, a.faceGrid,
                       "Calc_FlowE_SmoothVariable_InnerFace_VolF_S failed", dev);
    UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, a.VolF_SD, a.cellGrid, update,
                     dev);
    LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_InnerFace_S_Par>(
        a.faceGrid, "Calc_FlowE_SmoothVariable_InnerFace_S_Par failed", dev, a.nFaces, a.new_nnu, a.MapFace2CellPxD,
        a.MapFace2CellPyD, a.MapFace2CellExD, a.MapFace2CellEyD, a.sxD, a.syD, a.szD, a.AELLDtemp);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, a.SD, a.cellGrid, update,
                            dev);
}

// The scratch is cleared (new_nnu x NColumnPerRow doubles) between the two
// accumulations, so the area sum starts from zeros everywhere; the first
// sum relies on the caller's clearing, as every accumulation does.
int Calc_FlowE_SmoothVariable_Inlet(int BlockSize, const SmoothInletArgs& a, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    const char* collect = "Calc_FlowE_SmoothVariable_Inlet_VolF_S failed";
    const char* update = "Calc_FlowE_SmoothVariable_UpdateSourceTerm_Opt failed";
    LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_Inlet>(a.faceGrid, "Calc_FlowE_SmoothVariable_Inlet failed", dev,
                                                          a.nFaces, a.ijInletD, a.sxD, a.syD, a.szD, a.SmoothVolFD,
                                                          a.temp1D, a.temp2D);
    CollectAtBothSides(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
                       a.MapFace2CellEyD, a.temp1D, a.AELLDtemp, a.faceGrid, collect, dev);
    UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPBD, a.VolF_SD, a.cellGrid, update,
                     dev);
    cudaMemset(a.AELLDtemp, 0, static_cast<size_t>(a.new_nnu) * static_cast<size_t>(a.NColumnPerRow) * sizeof(double));
    CollectAtBothSides(a.nFaces, a.new_nnu, a.MapFace2CellPxD, a.MapFace2CellPyD, a.MapFace2CellExD,
                       a.MapFace2CellEyD, a.temp2D, a.AELLDtemp, a.faceGrid, "Calc_FlowE_SmoothVariable_Inlet_S failed",
                       dev);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.Map2CellPBD, a.SD, a.cellGrid, update,
                            dev);
}

int Calc_FlowE_SmoothVariable_SmoothVolF(int BlockSize, int nCells, const double* VolF_SD, const double* SD,
                                         double* SmoothVolFD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_SmoothVolF>(
        grid, "Calc_FlowE_SmoothVariable_SmoothVolF failed", SelectedDevice, nCells, VolF_SD, SD, SmoothVolFD);
}

int Calc_FlowE_SmoothVariable_Extrapolate_Gradient(int BlockSize, int nFaces, const int* ijWallCVD,
                                                   const int* ijWallD, double* SmoothVolFD, int grid,
                                                   int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_Extrapolate_Gradient>(
        grid, "Calc_FlowE_SmoothVariable_Extrapolate_Gradient failed", SelectedDevice, nFaces, ijWallCVD, ijWallD,
        SmoothVolFD);
}

int Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(int BlockSize, int nFaces, int iFAIMIn, int iFillType,
                                                         const int* ijInletCVD, const int* ijInletD,
                                                         const int* gpInletbInD, double* SmoothVolFD, int grid,
                                                         int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet>(
        grid, "Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet failed", SelectedDevice, nFaces, iFAIMIn,
        iFillType, ijInletCVD, ijInletD, gpInletbInD, SmoothVolFD);
}

// ---------------------------------------------------------------------------
// Partition copy lists
// ---------------------------------------------------------------------------

int Calc_fiD2ParD2HCopyListD(int BlockSize, int NParInterFace, const int* ijParCVD, const double* fiD,
                             double* ParD2HCopyListD, int grid, cudaStream_t stream, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_fiD2ParD2HCopyListD, grid, kBlockSize, 0, stream)(NParInterFace, ijParCVD, fiD, ParD2HCopyListD);
    return CheckStep("fiD2ParD2HCopyListD failed", SelectedDevice);
}

int Calc_ParH2DCopyListD2fiD(int BlockSize, int NParInterFace, const int* ijParD, const double* ParH2DCopyListD,
                             double* fiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_ParH2DCopyListD2fiD>(grid, "ParH2DCopyListD2fiD failed", SelectedDevice,
                                                     NParInterFace, ijParD, ParH2DCopyListD, fiD);
}

// ---------------------------------------------------------------------------
// Field range
// ---------------------------------------------------------------------------

int Calc_FlowE_FindMaxMinValue(int BlockSize, int NInnerCell, const double* ValueD, double& maxValue,
                               double& minValue, double* maxBuffer, double* minBuffer, const LevelView& table,
                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_FlowE_FindMaxMinValue, Kernel_Calc_FlowE_CollectMaxMinData>(
        table.size[1], table, "Calc_FlowE_FindMaxMinValue failed", SelectedDevice, maxBuffer, minBuffer, maxValue,
        minValue, NInnerCell, ValueD);
}

}  // namespace rvz
