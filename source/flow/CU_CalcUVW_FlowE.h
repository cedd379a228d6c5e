// Extended-flow momentum assembly and boundaries: implementation functions
// behind the facade. Block size first (only 256 runs; any other value
// returns 0 without work), selected device last (used only to name it in
// reports). Each returns the status of its last check; a failed launch is
// reported at once and the remaining launches still run. Plain C++.
#pragma once

#include "CU_CalcUVW.h"

namespace rvz {

// ---- Interior and partition faces ----

int Calc_FlowE_InnerFluxUVW_mfe(int BlockSize, int nFaces, int gIsWeightedFlowRate, double deng, double denl,
                                const int* ijCVPD, const int* ijCVED, const double* denD, const double* VFeD,
                                const double* MassFluxD, double* mfeD, int grid, int SelectedDevice);

// form AllRows: interior faces, aED and aWD, updates over rows 0 .. nRows-1;
// form Partition: partition faces, aED only, updates over a.rowList.
int Calc_FlowE_InnerFluxUVW(int BlockSize, InnerFluxForm form, const InnerFluxUVWArgs& a, int SelectedDevice);

// ---- Cell sources ----

int Calc_FlowE_GravityForceContribution(int BlockSize, int nCells, double denMax, double denMin, double GravX,
                                        double GravY, double GravZ, double* SuD, double* SvD, double* SwD,
                                        const double* volumeD, const double* denD, int grid, int SelectedDevice);
int Calc_FlowE_SurfaceTensionMethodOne(int BlockSize, int nCells, double denMax, double denMin, double STCoeff,
                                       const double* volumeD, const double* CurvD, const double* denD,
                                       const double* dVF_dxD, const double* dVF_dyD, const double* dVF_dzD,
                                       double* SuD, double* SvD, double* SwD, int grid, int SelectedDevice);
int Calc_FlowE_2ndImplicitEulerMethodAi(int BlockSize, int nCells, double OneOver_dtdtNor, double BlendTime,
                                        const double* denD, const double* volumeD, const double* u0D,
                                        const double* v0D, const double* w0D, const double* u00D,
                                        const double* v00D, const double* w00D, double* AELLD, double* APvD,
                                        double* APRD, double* SuD, double* SvD, double* SwD, int grid,
                                        int SelectedDevice);

// ---- Final coefficients, explicit update, velocity-correction factors ----

int Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                          double OneOver_relax, const double* fiD, const double* AiAPvAPRD,
                                          double* AELLD, double* SfiD, int grid, int SelectedDevice);
int Calc_FlowE_FinalCoeffRHS_fi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                                const double* AELLD, const double* SfiD, const double* dp_d_D,
                                const double* volumeD, const double* fiOldD, double* fiD, int grid,
                                int SelectedDevice);
int Calc_FlowE_FinalCoeffRHS_UpdateAPR(int BlockSize, int nnu, const double* AELLD, double* APRD, int grid,
                                       int SelectedDevice);
int Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                               const double* AELLD, double* APRD, int grid, int SelectedDevice);

// ---- Inlet faces ----

int Calc_FlowE_UVW_InletBoundary_mfe(int BlockSize, int nFaces, const int* ijInletD, const double* denD,
                                     const double* MassFluxInletD, double* mfeD, int grid, int SelectedDevice);
int Calc_FlowE_UVW_InletBoundary_Judge(int BlockSize, int nFaces, double FCRI, const int* ijInletD,
                                       const int* gpInletbInD, const double* VolFD, bool* judge3D, bool* judge4D,
                                       int grid, int SelectedDevice);
// gradients in the order du_dx, du_dy, du_dz, dv_dx, ..., dw_dz.
int Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(int BlockSize, int nFaces, const int* ijInletCVD,
                                                  const int* ijInletD, const bool* judge3D, double* const gradients[9],
                                                  int grid, int SelectedDevice);
// Weight 1 (the slot's viscosity); only aED and aWD of the list are written.
int Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(int BlockSize, int nFaces, const int* ijPD, const int* ijED,
                                                   const double* visD, const double* sxD, const double* syD,
                                                   const double* szD, const double* xcD, const double* ycD,
                                                   const double* zcD, const double* mfeD, double* aED, double* aWD,
                                                   int grid, int SelectedDevice);
// a as for the interior faces (a.leD not read, a.rowList = Map2CellPBD,
// a.nRows its length); every weight is le_, the sources of faces whose
// judge3D is false are 0.
int Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(int BlockSize, const InnerFluxUVWArgs& a, double le_,
                                                         const bool* judge3D, int SelectedDevice);
int Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(int BlockSize, int nFaces, int nRows, int new_nnu,
                                                   int NColumnPerRow, const int* ijInletD, const double* aED,
                                                   const bool* judge3D, const double* uD, const double* vD,
                                                   const double* wD, double* SuD, double* SvD, double* SwD,
                                                   double* temp1D, double* temp2D, double* temp3D,
                                                   const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                   double* AELLDtemp, int faceGrid, int cellGrid,
                                                   const int* Map2CellPBD, int SelectedDevice);
int Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(int BlockSize, int nFaces, int nRows, int new_nnu,
                                                     int NColumnPerRow, const double* aED, const bool* judge3D,
                                                     double* APvD, double* APRD, double* AELLD, double* tempD,
                                                     const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                                     double* AELLDtemp, int faceGrid, int cellGrid,
                                                     const int* Map2CellPD, int SelectedDevice);
int Calc_FlowE_UVW_Inlet_UNF(int BlockSize, int nFaces, int iFAIMIn, int iFillType, const int* ijInletCVD,
                             const int* ijInletD, const int* gpInletbInD, const int* piIsOutletD, const double* sxD,
                             const double* syD, const double* szD, double* uD, double* vD, double* wD,
                             double* MassFluxInletD, int grid, int SelectedDevice);

// ---- Walls, vents and moving walls ----

int Calc_FlowE_UVW_GetSurf_DistWall(int BlockSize, int nFaces, const int* ijPD, const double* sxD, const double* syD,
                                    const double* szD, const double* f_xcD, const double* f_ycD,
                                    const double* f_zcD, const double* xcD, const double* ycD, const double* zcD,
                                    double* surf_distwallD, int grid, int SelectedDevice);
int Calc_FlowE_UVW_Wall_Judge(int BlockSize, int nFaces, double FCRI, int iICM_Status, const int* ijWallD,
                              const int* piIsOutletD, const int* isMoveWallD, const double* VolFD, bool* judgeD,
                              bool* neg_judgeD, int grid, int SelectedDevice);
int Calc_FlowE_UVW_coef(int BlockSize, int nFaces, const int* ijWallD, const double* visD,
                        const double* Surf_DistWallD, double* coefD, int grid, int SelectedDevice);
int Calc_FlowE_UVW_SetJudgeTrueOrFalse(int BlockSize, int nFaces, bool TrueOrFalse, bool* judgeD, int grid,
                                       int SelectedDevice);

struct SetUVWWallArgs {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int* ijBD;
    const bool* judge4D;
    const double *coefD, *visD;
    double *uD, *vD, *wD;
    double *temp1D, *temp2D, *temp3D, *temp4D;
    double *AELLD, *APvD, *APRD, *SuD, *SvD, *SwD;
    double* AELLDtemp;
    const int *MapFace2CellPxD, *MapFace2CellPyD;
    const int* Map2CellPD;
    int faceGrid, cellGrid;
};
int Calc_FlowE_UVW_SetUVWWall(int BlockSize, const SetUVWWallArgs& a, int SelectedDevice);
int Calc_FlowE_UVW_Wall_ICM(int BlockSize, int nFaces, int iICM_Status, double FCRI, const int* ijWallCVD,
                            const int* ijWallD, const double* sxD, const double* syD, const double* szD,
                            const double* VolFD, const int* piIsOutletD, const int* isMoveWallD,
                            double* MassFluxWallD, double* uD, double* vD, double* wD, int grid, int SelectedDevice);

}  // namespace rvz
