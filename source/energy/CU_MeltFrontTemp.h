// Melt-front temperature: implementation functions behind the facade.
// Block size first (only 256 runs; any other value returns 0 without
// work), selected device last (used only to name it in reports). Plain C++.
#pragma once

#include "CU_Reduction.h"

namespace rvz {

int Calc_InnerFluxHeatGen(int BlockSize, int nFaces, const double* mfeD, double* aED, double* aWD, int grid,
                          int SelectedDevice);
int Calc_InnerFluxHeatGen_Par(int BlockSize, int nFaces, const double* mfeD, double* aED, int grid,
                              int SelectedDevice);
// Per-face inflow coefficient and source, the source collected and summed
// into SuD over the rows of Map2CellPBD. Returns the update's status.
int Calc_MeltFrontTemp_InletBoundary(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                     const int* ijInletD, const double* MassFluxInletD, double* CBD, double* tempSuD,
                                     double* SuD, const double* fiD, const int* MapFace2CellPxD,
                                     const int* MapFace2CellPyD, double* AELLDtemp, const int* Map2CellPBD,
                                     int faceGrid, int rowGrid, int SelectedDevice);
// -CBD collected and summed into the diagonal over the rows of Map2CellPD.
int Calc_MeltFrontTemp_InletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                               const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD,
                               double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                               int SelectedDevice);
int Calc_MeltFrontTemp_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* fiD,
                              int grid, int SelectedDevice);
int Calc_MeltFrontTemp_UnsteadyTermContribution(int BlockSize, int nnu, const double* volumeD, double dt,
                                                double* AELLD, double* SuD, const double* fi0D, int grid,
                                                int SelectedDevice);
int Calc_MeltFrontTemp_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                  const double* fiD, double* AELLD, double* SfiD, int grid, int SelectedDevice);
// max |fiD - SvD| over nCells by the two-level maximum reduction; `buffer`
// holds table.total doubles. Returns the first kernel's status.
int Calc_MeltFrontTemp_CheckOuterConvergence(int BlockSize, int nCells, const double* fiD, const double* SvD,
                                             double* buffer, int grid, const LevelView& table, double& result,
                                             int SelectedDevice);
int Calc_ComputeMeltFrontTemperature(int BlockSize, int nCells, const double* VolFD, const double* VolF0D,
                                     double* MeltFrontTemperatureD, bool* bMeltFrontTemperatureD,
                                     const double* dp_dxD, double FCRI, int iFlag, int grid, int SelectedDevice);

}  // namespace rvz
