// Extended-path volume fraction: implementation functions behind the facade.
// Block size first (only 256 runs; any other value returns 0 without work),
// selected device last (used only to name it in reports). Each returns the
// status of its last check; a failed launch is reported at once and the
// remaining launches still run. Plain C++.
#pragma once

#include "CU_Reduction.h"

namespace rvz {

// ---- Interface capturing and flux assembly ----

int Calc_VOF_FlowE_InnerFlux_HRScheme(int BlockSize, int nFaces, const int* ijCVPD, const int* ijCVED, int HRScheme,
                                      const double* mfeD, const double* VolFD, const double* CourantNoDD,
                                      const double* dVF_dxD, const double* dVF_dyD, const double* dVF_dzD,
                                      const double* xcD, const double* ycD, const double* zcD, double* FeD,
                                      double* BetafD, int faceGrid, int SelectedDevice);

// One face set of the flux operation: interior faces (aWD and areaD given,
// rows 0 .. nRows-1 updated) or partition faces (aWD and areaD null, the
// rows of rowList updated).
struct VofFluxArgs {
    int Method, nFaces, nRows, new_nnu, NColumnPerRow;
    double gamma, fcri, CeBound;
    const int *ijCVPD, *ijCVED;
    const double *mfeD, *leD, *sxD, *syD, *szD, *areaD;
    const double *VolFD, *CourantNoDD, *FeD, *dVF_dxD, *dVF_dyD, *dVF_dzD, *volumeD;
    const int *Px, *Py, *Ex, *Ey;
    double *aED, *aWD, *temp1D, *temp2D, *temp3D, *AELLDtemp, *SourceD;
    const int* rowList;  // null: all rows
    int faceGrid, cellGrid;
    double *stat1, *stat2;
};
int Calc_VOF_FlowE_InnerFluxVolF_Method(int BlockSize, const VofFluxArgs& a, const LevelView& table, double& maxCe,
                                        double& FrontVol, int SelectedDevice);

int Calc_VOF_FlowE_UnsteadyTermContribution(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                            const double* volumeD, double dt, double* AELLD, double* SuD,
                                            const double* VolF0D, const int* indexELLD, int cellGrid,
                                            int SelectedDevice);

// ---- Boundaries, front time and end of filling ----

int Calc_VOF_FlowE_SetVOFInlet_judge(int BlockSize, int nFaces, int iFAIMFluidIn, int IsMainPhase,
                                     const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD,
                                     const int* ijInletGPD, const int* gpInletGPMtrTypeD, double* dVF_dxD,
                                     double* dVF_dyD, double* dVF_dzD, bool* judge1_2D, bool* judge3PD,
                                     bool* judge3ND, bool* judge4PD, int faceGrid, int SelectedDevice);

// The slot maps, scratch and row list of one boundary list whose per-face
// diagonal (temp1D) and source (temp2D) terms go into AELLD and SourceD.
struct VofInjection {
    int nFaces, nCells, new_nnu, NColumnPerRow;
    double *temp1D, *temp2D;
    const int *Px, *Py;
    double* AELLDtemp;
    const int* Map2CellPD;
    double *AELLD, *SourceD;
    int faceGrid, cellGrid;
};
int Calc_VOF_FlowE_SetVOFInlet(int BlockSize, const VofInjection& j, double phase, const int* ijInletD,
                               const bool* judgeD, const double* mfeD, double* VolFD, int SelectedDevice);
int Calc_VOF_FlowE_SetVOFInlet_All(int BlockSize, const VofInjection& j, const int* ijInletD, const bool* judge1_2D,
                                   const bool* judge3PD, const bool* judge3ND, const bool* judge4PD,
                                   const double* mfeD, double* VolFD, int SelectedDevice);
int Calc_VOF_FlowE_ICM_UpdateAiSu(int BlockSize, const VofInjection& j, double fcri, double MELT, const int* ijWallD,
                                  const int* isMoveWallD, const double* MassFluxOutletD, double* VolFD,
                                  int SelectedDevice);

// The slot maps, scratch and row list of one keep-filled rule (inlet or
// wall faces), whose per-face values tempD overwrite VolFD of the rows.
struct VofRefill {
    int nFaces, nCells, new_nnu, NColumnPerRow;
    double* tempD;
    const int *Px, *Py;
    double* AELLDtemp;
    const int* Map2CellPD;
    int faceGrid, cellGrid;
};
int Calc_VOF_FlowE_InletBC(int BlockSize, const VofRefill& r, int iFAIMFluidIn, int IsMainPhase, double fcri,
                           const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD, const double* VolF0D,
                           double* VolFD, double* CourantNoDD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD,
                           int SelectedDevice);
int Calc_VOF_FlowE_WallBC_FAIM_MainPhase(int BlockSize, const VofRefill& r, double fcri, const int* ijWallCVD,
                                         const int* ijWallD, const double* VolF0D, double* VolFD, int SelectedDevice);
int Calc_VOF_FlowE_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* VolFD,
                          double* CourantNoDD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, int faceGrid,
                          int SelectedDevice);
int Calc_VOF_FlowE_Update_dVF_d(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* dVF_dxD,
                                double* dVF_dyD, double* dVF_dzD, int faceGrid, int SelectedDevice);
int Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(int BlockSize, int nCells, double FillVol, double EMF, double EMF1,
                                                 double fcri, const float* mftimeD, double* VolFD, int cellGrid,
                                                 int SelectedDevice);
int Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(int BlockSize, int nCells, double EMF, double EMF1, double fcri,
                                                   const float* mftimeD, double* VolFD, int cellGrid,
                                                   int SelectedDevice);
int Calc_VOF_FlowE_Update_mftime(int BlockSize, int nCells, double fcri, double Time, const double* VolFD,
                                 float* mftimeD, int cellGrid, int SelectedDevice);
int Calc_VOF_FlowE_CheckEndFilling(int BlockSize, int nCells, double fcri, const double* VolFD, const double* volumeD,
                                   int& unfilledCells, double& unfilledVolume, int* intScratch, double* doubleScratch,
                                   const LevelView& table, int SelectedDevice);

}  // namespace rvz
