// Gauss cell gradients: implementation functions behind the facade. Block
// size first (only 256 runs; any other value returns 0 without work),
// selected device last (used only to name it in reports). Each returns the
// status of its last launch; a failed launch is reported at once and the
// remaining launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"

namespace rvz {

// Interior-face contributions. `rowList` null: all-rows updates over
// rows 0 .. nRows-1 ("Calc_GradFromInnerCF_..." messages); otherwise the
// listed-rows updates over rowList[0 .. nRows-1] ("..._(Par)" messages).
struct InnerFaceGradientArgs : FaceScatter {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const double* fiD;
    double *df_dxD, *df_dyD, *df_dzD;
    const double *df_dx0D, *df_dy0D, *df_dz0D;
    const double* leD;
    const int *ijPD, *ijED;
    const double *xcD, *ycD, *zcD;
    const double *sxD, *syD, *szD;
    const double *xeD, *yeD, *zeD;
    double *tempxD, *tempyD, *tempzD;
};
int Calc_GradFromInnerCF(int BlockSize, const InnerFaceGradientArgs& a, int SelectedDevice);

int Calc_GradFromBC(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const double* fiD,
                    double* df_dxD, double* df_dyD, double* df_dzD, const int* ijbD, const double* sxD,
                    const double* syD, const double* szD, double* tempxD, double* tempyD, double* tempzD,
                    const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                    const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);

int Calc_GradCVCenter(int BlockSize, int nCells, const double* volumeD, double* df_dxD, double* df_dyD,
                      double* df_dzD, int cellGrid, int SelectedDevice);

// gradients: the nine velocity-gradient arrays du_dx, du_dy, du_dz,
// dv_dx, ..., dw_dz.
int Calc_InOutletBoundary_Update_dd(int BlockSize, int nFaces, const int* ijInOutletCVD, const int* ijInOutletD,
                                    double* const gradients[9], int grid, int SelectedDevice);
int Calc_WallBoundary_Update_dd(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                const int* FCRIMatchD, double* const gradients[9], int grid, int SelectedDevice);

}  // namespace rvz
