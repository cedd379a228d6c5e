// Extended-flow utilities: the smoothed volume fraction, the partition copy
// lists and the range of a cell field. Implementation functions behind the
// facade: block size first (only 256 runs; any other value returns 0
// without work), selected device last (used only to name it in reports).
// Each returns the status of its last check; a failed launch is reported at
// once and the remaining launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"

#include "CRVZGPUtool.h"  // cudaStream_t on both backends
#include "CU_Reduction.h"

namespace rvz {

// ---- Smoothed volume fraction ----

struct SmoothFacesArgs : FaceScatter {  // rowList: partition faces, Map2CellPED
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int *ijPD, *ijED;
    const double* leD;
    const double* areaD;               // interior faces: the face areas
    const double *sxD, *syD, *szD;     // partition faces: the area vectors
    const double* SmoothVolFD;
    double *VolF_SD, *SD, *tempD;
};
int Calc_FlowE_SmoothVariable_InnerFace(int BlockSize, const SmoothFacesArgs& a, int SelectedDevice);
int Calc_FlowE_SmoothVariable_InnerFacePar(int BlockSize, const SmoothFacesArgs& a, int SelectedDevice);

struct SmoothInletArgs : FaceScatter {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int* ijInletD;
    const double *sxD, *syD, *szD;
    const double* SmoothVolFD;
    double *VolF_SD, *SD, *temp1D, *temp2D;
    const int* Map2CellPBD;
};
int Calc_FlowE_SmoothVariable_Inlet(int BlockSize, const SmoothInletArgs& a, int SelectedDevice);

int Calc_FlowE_SmoothVariable_SmoothVolF(int BlockSize, int nCells, const double* VolF_SD, const double* SD,
                                         double* SmoothVolFD, int grid, int SelectedDevice);
int Calc_FlowE_SmoothVariable_Extrapolate_Gradient(int BlockSize, int nFaces, const int* ijWallCVD,
                                                   const int* ijWallD, double* SmoothVolFD, int grid,
                                                   int SelectedDevice);
int Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(int BlockSize, int nFaces, int iFAIMIn, int iFillType,
                                                         const int* ijInletCVD, const int* ijInletD,
                                                         const int* gpInletbInD, double* SmoothVolFD, int grid,
                                                         int SelectedDevice);

// ---- Partition copy lists (stream 0: the default stream) ----

int Calc_fiD2ParD2HCopyListD(int BlockSize, int NParInterFace, const int* ijParCVD, const double* fiD,
                             double* ParD2HCopyListD, int grid, cudaStream_t stream, int SelectedDevice);
int Calc_ParH2DCopyListD2fiD(int BlockSize, int NParInterFace, const int* ijParD, const double* ParH2DCopyListD,
                             double* fiD, int grid, int SelectedDevice);

// ---- Field range: size[1] first-level blocks, status of the first level ----

int Calc_FlowE_FindMaxMinValue(int BlockSize, int NInnerCell, const double* ValueD, double& maxValue,
                               double& minValue, double* maxBuffer, double* minBuffer, const LevelView& table,
                               int SelectedDevice);

}  // namespace rvz
