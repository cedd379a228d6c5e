// Momentum assembly: implementation functions behind the facade. Block size
// first (only 256 runs; any other value returns 0 without work), selected
// device last (used only to name it in reports). Each returns the status of
// its last check; a failed launch is reported at once and the remaining
// launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"
#include "CU_Reduction.h"

namespace rvz {

// ---- Interior faces: coefficients and explicit sources ----

struct InnerFluxUVWArgs : FaceScatter {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    double nonOrthLimitFactor, gamma;
    const int *ijPD, *ijED;
    const double* leD;
    // du_dx, dv_dx, dw_dx, du_dy, dv_dy, dw_dy, du_dz, dv_dz, dw_dz
    const double* gradients[9];
    const double *xcD, *ycD, *zcD;
    const double *uD, *vD, *wD;
    const double* visD;
    const double *sxD, *syD, *szD;
    const double* mfeD;
    double *aED, *aWD;
    double *SuD, *SvD, *SwD;
    double* tempD;
};
int Calc_InnerFluxUVW(int BlockSize, InnerFluxForm form, const InnerFluxUVWArgs& a, int SelectedDevice);

// The argument record from a facade's argument list (the order of
// Calc_InnerFluxUVW_Opt; rowList null for the all-rows forms).
inline InnerFluxUVWArgs InnerFluxArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double psi, double gamma,
                                      int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD, double* dw_dxD,
                                      double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD,
                                      double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                                      double* wD, double* visD, double* sxD, double* syD, double* szD, double* mfeD,
                                      double* aED, double* aWD, double* SuD, double* SvD, double* SwD, double* tempD,
                                      int* Px, int* Py, int* Ex, int* Ey, double* AELLDtemp, int faceBlocks,
                                      int cellBlocks, int* rowList)
{
    InnerFluxUVWArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.nonOrthLimitFactor = psi;
    a.gamma = gamma;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.leD = leD;
    const double* gradients[9] = {du_dxD, dv_dxD, dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD};
    for (int i = 0; i < 9; ++i) a.gradients[i] = gradients[i];
    a.xcD = xcD;
    a.ycD = ycD;
    a.zcD = zcD;
    a.uD = uD;
    a.vD = vD;
    a.wD = wD;
    a.visD = visD;
    a.sxD = sxD;
    a.syD = syD;
    a.szD = szD;
    a.mfeD = mfeD;
    a.aED = aED;
    a.aWD = aWD;
    a.SuD = SuD;
    a.SvD = SvD;
    a.SwD = SwD;
    a.tempD = tempD;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceBlocks, cellBlocks, rowList);
    return a;
}

// ---- Face mass fluxes ----

int Calc_mfeD(int BlockSize, int nFaces, double denl, double deng, const double* VFeD, const double* MassFluxD,
              double* mfeD, int grid, int SelectedDevice);
int Calc_SC_mfeD_Par(int BlockSize, int nFaces, double denl, double deng, const int* ijCVPParD, const int* ijCVEParD,
                     const double* leParD, const double* VolFD, const double* MassFluxParD, double* mfeD, int grid,
                     int SelectedDevice);
int Calc_InletBoundary_mfeD(int BlockSize, int nFaces, const int* ijInletD, const double* denD,
                            const double* MassFluxInletD, double* mfeInletD, int grid, int SelectedDevice);

// ---- Cell sources ----

int Calc_GravityForceContribution(int BlockSize, int nCells, double GravX, double GravY, double GravZ, double* SuD,
                                  double* SvD, double* SwD, const double* volumeD, const double* denD, int grid,
                                  int SelectedDevice);
int Calc_PressureSourceContribution(int BlockSize, int nCells, const double* volumeD, const double* dp_dxD,
                                    const double* dp_dyD, const double* dp_dzD, double* SuD, double* SvD,
                                    double* SwD, int grid, int SelectedDevice);
int Calc_UnsteadyTermContribution(int BlockSize, int nCells, double dt, double dtNor, double BlendTime,
                                  const double* denD, const double* volumeD, const double* u0D, const double* u00D,
                                  const double* v0D, const double* v00D, const double* w0D, const double* w00D,
                                  double* SuD, double* SvD, double* SwD, double* APvD, double* APRD, int grid,
                                  int SelectedDevice);
int Calc_2ndImplicitEulerMethodAi(int BlockSize, int nCells, double dt, double dtNor, double BlendTime,
                                  const double* denD, const double* volumeD, double* AELLD, int grid,
                                  int SelectedDevice);

// ---- Boundary conditions ----

int Calc_UpdateFCRIMatch(int BlockSize, int nFaces, const int* ijWallD, const double* VolFD, double FCRI,
                         int* FCRIMatchD, int grid, int SelectedDevice);
int Calc_WallBoundary_UpdateUVW_coef(int BlockSize, int nFaces, const int* ijWallD, const int* FCRIMatchD,
                                     const double* Surf_DistWallD, const double* visD, double* coefD, double* uD,
                                     double* vD, double* wD, int grid, int SelectedDevice);

struct WallSourceTermArgs {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int *ijWallD, *FCRIMatchD;
    const double *CBD, *coefD;
    const double *uD, *vD, *wD;
    double *APvD, *APRD, *SuD, *SvD, *SwD;
    const int *MapFace2CellPxD, *MapFace2CellPyD;
    double *tempD, *tempxD, *tempyD, *tempzD;
    double* AELLDtemp;
    const int* Map2CellPD;
    int faceGrid, rowGrid;
};
int Calc_WallBoundary_SourceTerm(int BlockSize, const WallSourceTermArgs& a, int SelectedDevice);

struct InOutletSourceTermArgs {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int* ijInOutletD;
    const double* CBD;
    const double *uD, *vD, *wD;
    double *APvD, *APRD, *SuD, *SvD, *SwD;
    const int *MapFace2CellPxD, *MapFace2CellPyD;
    double* AELLDtemp;
    const int* Map2CellPD;
    int faceGrid, rowGrid;
};
int Calc_InOutletBoundary_SourceTerm(int BlockSize, const InOutletSourceTermArgs& a, int SelectedDevice);

int Calc_SymmetryBoundary_UpdateUVW(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, double* uD,
                                    double* vD, double* wD, int grid, int SelectedDevice);
int Calc_WallBoundary_UpdateUVW(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                const int* FCRIMatchD, double* uD, double* vD, double* wD, int grid,
                                int SelectedDevice);
int CalcUVW_InOutletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                       const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                       double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);
int CalcUVW_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* MapFace2CellPxD,
                   const int* MapFace2CellPyD, const int* FCRIMatchD, const double* CBD, const double* coefD,
                   double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                   int SelectedDevice);

// ---- Final coefficients, valve gates, SIMPLEC factor ----

int Calc_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* fiD,
                           double* AELLD, const double* AD, double* SfiD, int grid, int SelectedDevice);
int Calc_FinalCoeffRHS_fi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const int* indexELLD,
                          const double* AELLD, const double* SfiD, const double* dp_d_D, const double* volumeD,
                          double* fiD, int grid, int SelectedDevice);
int Calc_ModAi4ValveGate(int BlockSize, int nCells, const int* AiModifiedD, double* AELLD, int grid,
                         int SelectedDevice);
int Calc_ModAi4ValveGate_APR(int BlockSize, int nCells, double* APRD, const double* AELLD, int grid,
                             int SelectedDevice);
int Calc_APR_SIMPLEC(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, const double* AELLD, double* APRD,
                     int grid, int SelectedDevice);

// ---- Inlet reductions (status of the first level) ----

int Calc_GetInVel_TotalInletArea(int BlockSize, int nFaces, const double* sxD, const double* syD, const double* szD,
                                 double* buffer, int grid, const LevelView& table, double& TotalInletArea,
                                 int SelectedDevice);
int Calc_GetInVel_UVW_TotalMomentum_VelNorm(int BlockSize, int nFaces, double denl, double TotalMassInletAvg,
                                            const int* ijInletD, const double* sxD, const double* syD,
                                            const double* szD, double* MassFluxInletD, double* uD, double* vD,
                                            double* wD, double* momentumBuffer, double* velNormBuffer,
                                            double* volumeBuffer, int grid, const LevelView& table,
                                            double& TotalMomentum, double& VelNorm, double& EstTotalVolumeInlet,
                                            int SelectedDevice);

}  // namespace rvz
