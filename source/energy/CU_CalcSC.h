// Energy equation assembly: implementation functions behind the facade.
// Block size first (only 256 runs; any other value returns 0 without
// work), selected device last (used only to name it in reports). Each
// returns the status of its last check; a failed launch is reported at once
// and the remaining launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"
#include "CU_Reduction.h"

namespace rvz {

// ---- Interior faces ----

struct InnerFluxSCArgs : FaceScatter {  // rowList: Map2CellPBD of the listed-row forms
    int nFaces, nRows, new_nnu, NColumnPerRow;
    double mCp, FCRI;
    const int *ijPD, *ijED;
    const double* leD;
    const double *fiD, *dp_dxD, *dp_dyD, *dp_dzD;
    const double *xcD, *ycD, *zcD;
    const double *sxD, *syD, *szD;
    const double* mfeD;
    double *aED, *aWD;
    double* SourceD;
    const double *VolFD, *mkD;
    double* tempD;
    int* countBuffer;    // table.total ints of partial counts
};
// Faces, collect, update, then the count of dropped corrections through the
// level table (written to norkk by a blocking copy). Returns the update
// step's status.
int Calc_InnerFluxSC_Flow(int BlockSize, InnerFluxForm form, const InnerFluxSCArgs& a, const LevelView& table,
                          int& norkk, int SelectedDevice);

// ---- Boundary values and gradients ----

int Calc_InletBoundarySC_Update_ddfi(int BlockSize, int nFaces, bool IsTranInConv_RIM, double MeltT,
                                     double dTransientInletTemperature, const int* ijInletCVD, const int* ijInletD,
                                     double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int grid,
                                     int SelectedDevice);
int Calc_OutletBoundarySC_Update_ddfi(int BlockSize, int nFaces, const int* ijOutletCVD, const int* ijOutletD,
                                      double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int grid,
                                      int SelectedDevice);
int Calc_SymmetryBoundary_UpdateT(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, double* TD,
                                  int grid, int SelectedDevice);
int Calc_WallBoundarySC_ddfi(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                             const int* FCRIMatchD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD,
                             int grid, int SelectedDevice);

// ---- Wall thermal conditions and hot-runner walls ----

int Calc_WallBoundarySC_UpdateT_coef(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                     const int* FCRIMatchD, const int* HotRunnerCellD, const double* Surf_DistWallD,
                                     const double* mkD, const double* C2FMoldTD, double* coefD, double* TD,
                                     int grid, int SelectedDevice);
int Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                               const double* ijWallSxD, const double* ijWallSyD,
                                               const double* ijWallSzD, const int* FCRIMatchD,
                                               const int* HotRunnerCellD, double dHeatTransferH_CGS,
                                               const double* Surf_DistWallD, const double* mkD,
                                               const double* C2FMoldTD, double* coefD, double* TD, int grid,
                                               int SelectedDevice);
int Calc_UpdateThermoBC3WallTemperature(int BlockSize, int nFaces, double dHeatTransferH_CGS, const int* ijWallCVD,
                                        const int* ijWallD, const int* FCRIMatchD, const double* ijWallSxD,
                                        const double* ijWallSyD, const double* ijWallSzD,
                                        const double* Surf_DistWallD, const double* mkD, double* TD, int grid,
                                        int SelectedDevice);
int Calc_UpdateHotRunnerWallTemperature(int BlockSize, int nFaces, double MeltT, const int* ijWallCVD,
                                        const int* ijWallD, const int* FCRIMatchD, const int* HotRunnerCellD,
                                        double* TD, double* C2FMoldTD, int grid, int SelectedDevice);

// ---- Boundary contributions (collect and update) ----

struct WallSourceSCArgs {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int *ijWallCVD, *ijWallD, *FCRIMatchD;
    const double* coefD;
    const int* HotRunnerCellD;
    const double* TD;
    double* RHS;
    double* tempD;
    const int *MapFace2CellPxD, *MapFace2CellPyD;
    double* AELLDtemp;
    const int* Map2CellPD;
    int faceGrid, rowGrid;
};
int Calc_WallBoundarySC_SourceTerm(int BlockSize, const WallSourceSCArgs& a, int SelectedDevice);

int Calc_InletBoundarySC_SourceTerm(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                    const int* ijInletD, const double* CBD, const double* fiD, double* RHS,
                                    const int* MapFace2CellPxD, const int* MapFace2CellPyD, double* AELLDtemp,
                                    const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);
int CalcSC_InOutletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                      const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                      double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);
int CalcSC_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* ijWallCVD,
                  const int* MapFace2CellPxD, const int* MapFace2CellPyD, const int* FCRIMatchD,
                  const int* HotRunnerCellD, const double* coefD, double* AELLDtemp, double* AELLD,
                  const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);

// ---- Volumetric sources, time term, bound, final coefficients ----

int Calc_ViscousDisspationVolumetricTerm(int BlockSize, int nCells, double FCRI, double lVisHeat, double mCp,
                                         const double* VolFD, const double* visD, const double* SRateD,
                                         const double* denD, const double* volumeD, double* SuD, int grid,
                                         int SelectedDevice);
int Calc_ReactionHeat_Su(int BlockSize, int nCells, double FCRI, double mdH, const double* VolFD,
                         const double* dC_dtD, const double* volumeD, double* SuD, int grid, int SelectedDevice);
int Calc_UnsteadyTermContributionSC(int BlockSize, int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                    const double* denD, const double* volumeD, const double* fi0D,
                                    const double* fi00D, double* SuD, int grid, int SelectedDevice);
int Calc_2ndImplicitEulerMethodAi_SC(int BlockSize, int nCells, double mCp, double dt, double dtNor,
                                     double BlendTime, const double* denD, const double* volumeD, double* AELLD,
                                     int grid, int SelectedDevice);
int Calc_Updatefi_MoldMelt(int BlockSize, int nCells, double MeltT_MoldT, double* fiD, int grid, int SelectedDevice);
int CalcSC_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax, const double* fiD,
                             double* AELLD, const double* AD, double* SfiD, double MeltT, const int* HotRunnerCellD,
                             int grid, int SelectedDevice);

}  // namespace rvz
