// Volume fraction: implementation functions behind the facade. Block size
// first (only 256 runs; any other value returns 0 without work), selected
// device last (used only to name it in reports). Each returns the status of
// its last check; a failed launch is reported at once and the remaining
// launches still run. Plain C++.
#pragma once

#include "CU_Reduction.h"

namespace rvz {

// ---- Donor Courant numbers and cell fill rate ----

int Calc_CourantNoDonnorCell(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow, const int* ijCVPD,
                             const int* ijCVED, double dt, const double* MassFluxD, const double* volumeD,
                             double* tempPD, double* tempED, double* CourantNoDD, const int* MapFace2CellPxD,
                             const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* MapFace2CellEyD,
                             double* AELLDtemp, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_CourantNoDonnorCell_Wall(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                  const int* ijWallCVD, double dt, const int* FCRIMatchD,
                                  const double* MassFluxWallD, const double* volumeD, const int* MapFace2CellPxD,
                                  const int* MapFace2CellPyD, double* tempD, double* AELLDtemp, double* CourantNoDD,
                                  const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_CellFR(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow, const double* MassFluxD,
                double* tempPD, double* tempED, double* CellFRD, const int* MapFace2CellPxD,
                const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* MapFace2CellEyD,
                double* AELLDtemp, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_CellFR_Par(int BlockSize, int nFaces, int NPar2CellP, int new_nnu, int NColumnPerRow,
                    const double* MassFluxD, double* tempPD, double* CellFRD, const int* MapFace2CellPxD,
                    const int* MapFace2CellPyD, double* AELLDtemp, const int* Par2CellPD, int faceGrid, int cellGrid,
                    int SelectedDevice);
int Calc_VOF_FlowE_pd_dt_Over_volume(int BlockSize, int nCells, double dt_, const double* volumeD,
                                     double* pd_dt_Over_volumeD, int cellGrid, int SelectedDevice);
int Calc_VOF_FlowE_CourantNoDonnorCell(int BlockSize, int nFaces, int nnu, int new_nnu, int NColumnPerRow,
                                       const int* ijCVPD, const int* ijCVED, const double* MassFluxD,
                                       const double* pd_dt_Over_volumeD, double* tempPD, double* tempED,
                                       double* CourantNoDD, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                       const int* MapFace2CellExD, const int* MapFace2CellEyD, double* AELLDtemp,
                                       int faceGrid, int cellGrid, int SelectedDevice);
int Calc_VOF_FlowE_CourantNoDonnorCell_Wall(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                            double fcri, int iICM_Status, const int* ijWallCVD, const int* ijWallD,
                                            const int* piIsOutletD, const int* isMoveWallD, const double* VolFD,
                                            const double* MassFluxOutletD, const double* pd_dt_Over_volumeD,
                                            const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* tempD,
                                            double* AELLDtemp, double* CourantNoDD, const int* Map2CellPD,
                                            int faceGrid, int cellGrid, int SelectedDevice);
int Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(int BlockSize, int nFaces, int nCells, int new_nnu,
                                                 int NColumnPerRow, double fcri, const int* ijInletCVD,
                                                 const int* ijInletD, const int* gpInletbInD, const double* VolFD,
                                                 const double* MassFluxInletD, const double* pd_dt_Over_volumeD,
                                                 const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                 double* tempD, double* AELLDtemp, double* CourantNoDD,
                                                 const int* Map2CellPD, int faceGrid, int cellGrid,
                                                 int SelectedDevice);
// The partition faces' outflow Courant numbers with dt / V read from
// pd_dt_Over_volumeD (pdtOverVolumeD != nullptr) or formed as dt / V.
int Calc_CourantNoDonnorCell_Par(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                 const int* ijCVPParD, const double* MassFluxParD, const double* pdtOverVolumeD,
                                 double dt, const double* volumeD, double* tempPD, double* CourantNoDD,
                                 const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                 const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);

// ---- Fill-volume bookkeeping and front update ----

int Calc_Vfconv_VolF_FillVol_Less(int BlockSize, int nCells, double* VolFD, double EMF, double EMF1, int grid,
                                  int SelectedDevice);
int Calc_Vfconv_VolF_FillVol_More(int BlockSize, int nCells, double* VolFD, double EMF, double FCRI, int grid,
                                  int SelectedDevice);
int Calc_Vfconv_VolF_Update(int BlockSize, int nCells, double* VolFD, const float* MFD, double EMF, double FCRI,
                            int grid, int SelectedDevice);
int Calc_Vfconv_RecordIsoFilledSurface(int BlockSize, int nCells, double Time, double FCRI, float* MFD,
                                       const double* VolFD, int grid, int SelectedDevice);
int ResetVolFToSpecificValue(int BlockSize, int nCells, double* VolFD, double Value, int grid, int SelectedDevice);
int Calc_FVolUpdate_FillVol(int BlockSize, int nCells, const double* VolFD, const double* volumeD, double* buffer,
                            int grid, const LevelView& table, double& FillVol, int SelectedDevice);
int Calc_FVolUpdate_UnFilledCells(int BlockSize, int nCells, double FCRI, const double* VolFD, int* buffer, int grid,
                                  const LevelView& table, int& UnFilledCells, int SelectedDevice);
int Calc_FVolUpdate_nfront(int BlockSize, int nCells, double FCRI, const double* VolFD, int* buffer, int grid,
                           const LevelView& table, int& nfront, int SelectedDevice);
int Calc_FVolUpdate_UpdateVolF(int BlockSize, int nCells, double dvol, double FCRI, double* VolFD,
                               const double* volumeD, int grid, int SelectedDevice);

// ---- Volume-fraction equation ----

// Arrays of the upwind coefficients and the CICSAM blending factor.
struct InnerFluxVolFArgs {
    int nFaces;
    const int *ijCVPD, *ijCVED;
    const double* CourantNoD;
    const double *dVF_dxD, *dVF_dyD, *dVF_dzD;
    const double *xcD, *ycD, *zcD;
    const double *VolFD, *volumeD;
    double* BetafD;
    const double* mfeD;
    double *aED, *aWD;  // aWD == nullptr: the partition form (aED only)
    double *ceMaxBuffer, *frontVolBuffer;
    double FCRI;
    int faceGrid;
};
int Calc_InnerFluxVolF(int BlockSize, const InnerFluxVolFArgs& a, const LevelView& table, double& CeMax,
                       double& FrontVol, int SelectedDevice);
int Calc_Vfconv_InletBC_CellFR_Su_CB(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                     const int* ijInletD, const double* MassFluxInletD, double* VolFD, double MELT,
                                     double* tempSuD, double* tempCellFRD, double* CBD, double* SuD, double* CellFRD,
                                     const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                     const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_Vfconv_InletAi(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                        const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                        double* AELLD, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_Vfconv_UnsteadyTermContribution(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                         const double* volumeD, double dt, double* AELLD, double* SuD,
                                         const double* VolF0D, const int* indexELLD, int cellGrid,
                                         int SelectedDevice);
int Calc_Vfconv_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* VolFD,
                           double* AELLD, const double* AD, double* SfiD, int cellGrid, int SelectedDevice);
// Boundary slots take their cells' values; `message` names the face kind.
int Calc_Vfconv_VolF_ZeroGradient(int BlockSize, int nFaces, const int* ijCVD, const int* ijD, double* VolFD,
                                  int grid, const char* message, int SelectedDevice);
int Calc_Vfconv_UpdateCellFaceValue(int BlockSize, int nFaces, const int* ijCVPD, const int* ijCVED,
                                    const double* MassFluxD, const double* BetafeD, const double* VolFD,
                                    const double* VolF0D, double* VFeD, int grid, int SelectedDevice);

}  // namespace rvz
