// Pressure correction: implementation functions behind the facade. Block
// size first (only 256 runs; any other value returns 0 without work),
// selected device last (used only to name it in reports). Each returns the
// status of its last check (a reduction: of its first level); a failed
// launch is reported at once and the remaining launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"

#include "CU_Reduction.h"

namespace rvz {

// Three device arrays of one vector quantity (x, y, z components).
struct DeviceVec3 {
    const double *x, *y, *z;
};

// ---- Face fluxes and coefficients ----

struct InnerFluxPPArgs {
    int nFaces;
    const int *ijPD, *ijED;
    const double* leD;
    DeviceVec3 gradP;
    DeviceVec3 centroid;
    const double *uD, *vD, *wD;
    const double* pD;
    const double* APRD;
    DeviceVec3 area;
    double* mfeD;
    double* aED;
    double* aWD;  // null: partition faces, aED only
    int IsFaceMassFluxStab;
    int faceGrid;
};
int Calc_InnerFluxPP(int BlockSize, const InnerFluxPPArgs& a, int SelectedDevice);

int Calc_InnerFluxPP_UpdateSourceTerm(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                      const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                      const int* MapFace2CellExD, const int* MapFace2CellEyD, const double* MassFluxD,
                                      double* AELLDtemp, double* SourceD, int faceGrid, int cellGrid,
                                      int SelectedDevice);

int Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                               const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                                               const double* MassFluxInletD, double* AELLDtemp, double* SourceD,
                                               const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);

// Inlet in pressure control (cells ijPD, slots ijED) or wall vents.
struct BoundaryFluxPPArgs {
    int nFaces, nRows, new_nnu, NColumnPerRow, IsFaceMassFluxStab;
    double SpruePress;  // inlet only
    const int *ijPD, *ijED;
    const int* FCRIMatchD;  // walls only
    double *uD, *vD, *wD;
    DeviceVec3 centroid;
    DeviceVec3 gradP;
    const double* volumeD;
    const double* APRD;
    double* mfeD;
    DeviceVec3 area;
    double* pD;
    double* ppD;  // inlet only
    double* aED;
    double* SourceD;
    const int *MapFace2CellPxD, *MapFace2CellPyD;
    double* AELLDtemp;
    const int* Map2CellPD;
    int faceGrid, rowGrid;
};
int Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(int BlockSize, const BoundaryFluxPPArgs& a, int SelectedDevice);
int Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(int BlockSize, const BoundaryFluxPPArgs& a, int SelectedDevice);

int Calc_InnerFluxPP_InletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                             const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD,
                             double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                             int SelectedDevice);
int CalcPP_WallAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* MapFace2CellPxD,
                  const int* MapFace2CellPyD, const int* FCRIMatchD, const double* CBD, double* AELLDtemp,
                  double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid, int SelectedDevice);

// ---- Final diagonal and sums (first-level grid from the table) ----

int Calc_AiSuMassSum(int BlockSize, int NInnerCell, int new_nnu, int NColumnPerRow, double rr, const double* ppD,
                     double* AELLD, double* SuD, double& sum, double* buffer, const LevelView& table,
                     int SelectedDevice);
int Calc_CheckSum(int BlockSize, int nCells, double* ppD, const double* SuD, double& sum, double* buffer,
                  const LevelView& table, int SelectedDevice);

// ---- Boundary values of a corrected field ----

int Calc_UpdateBoundaryPP_Wall(int BlockSize, int nFaces, const int* ijWallD, const int* ijWallCVD,
                               const int* FCRIMatchD, double* fiD, int grid, int SelectedDevice);
int Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, const int* ijInletD,
                                                    const int* ijInletCVD, double* fiD, int grid, int SelectedDevice);
int Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(int BlockSize, int nFaces, const int* ijInletD, double* fiD,
                                                    int grid, int SelectedDevice);
int Calc_UpdateBoundaryPP_Outlet(int BlockSize, int nFaces, const int* ijOutletD, const int* ijOutletCVD, double* fiD,
                                 int grid, int SelectedDevice);
int Calc_UpdateBoundaryPP_Symm(int BlockSize, int nFaces, const int* ijSymmD, const int* ijSymmCVD, double* fiD,
                               int grid, int SelectedDevice);

// ---- Corrections ----

int Calc_CorrectPressureVelocityCV(int BlockSize, int nCells, double relax, double ppo, int iflag,
                                   const double* volumeD, const double* APRD, const double* ppD, double* pD,
                                   const double* dp_dxD, const double* dp_dyD, const double* dp_dzD, double* uD,
                                   double* vD, double* wD, double* SuD, int grid, int SelectedDevice);
int CalcPP_CorrectMassFlux(int BlockSize, int nFaces, int new_nnu, const int* MapFace2CellPxD,
                           const int* MapFace2CellPyD, const int* MapFace2CellExD, const int* MapFace2CellEyD,
                           const double* AELLD, const double* ppD, double* MassFluxD, int grid, int SelectedDevice);

struct InnerFluxPPCorrArgs : FaceScatter {
    int nFaces, nCells, new_nnu, NColumnPerRow;
    const int *ijPD, *ijED;
    DeviceVec3 area;
    DeviceVec3 centroid;
    const double* APRD;
    DeviceVec3 gradPP;
    double* MassFluxD;
    double* SourceD;
    double* tempD;
};
int Calc_InnerFluxPPCorr(int BlockSize, const InnerFluxPPCorrArgs& a, int SelectedDevice);

int Calc_UpdateVelocitySymmetryBoundary(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD,
                                        DeviceVec3 area, double* uD, double* vD, double* wD, int grid,
                                        int SelectedDevice);

// ---- Inlet and vent corrections with their sums ----

int Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(int BlockSize, int nFaces, const int* ijInletD, const double* uD,
                                                  const double* vD, const double* wD, DeviceVec3 area,
                                                  double* MassFluxInletD, double& inflow, double* buffer,
                                                  const LevelView& table, int SelectedDevice);

struct BoundaryCorrectionArgs {
    int nFaces;
    const int *ijCVD, *ijBD;
    const int* FCRIMatchD;  // vents only
    DeviceVec3 centroid;
    double *uD, *vD, *wD;
    DeviceVec3 area;
    const double *volumeD, *APRD, *ppD;
    double* MassFluxD;
};
int Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(int BlockSize, const BoundaryCorrectionArgs& a, double& inflow,
                                                  double& speedSum, double* inflowBuffer, double* speedBuffer,
                                                  const LevelView& table, int SelectedDevice);
int Calc_CorrectVelocityWallOutlet(int BlockSize, const BoundaryCorrectionArgs& a, double& ventOutflow,
                                   double* buffer, const LevelView& table, int SelectedDevice);

// ---- Steps shared with the extended-flow pressure correction ----

// fiD[ijBD[k]] = fiD[ijCVD[k]] for k < nFaces (zero gradient at the slots),
// checked under `message`.
int CopyCellToSlot(int nFaces, const int* ijBD, const int* ijCVD, double* fiD, int grid, const char* message,
                   int SelectedDevice);
// The non-orthogonal correction flux t of each face of a.ijPD/a.ijED (only
// the fields of the flux step are read): MassFluxD[f] += t, tempD[f] = t;
// checked under `message`.
int NonOrthogonalCorrectionFlux(const InnerFluxPPCorrArgs& a, const char* message, int SelectedDevice);

}  // namespace rvz
