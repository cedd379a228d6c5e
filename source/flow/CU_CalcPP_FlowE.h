// Extended-flow pressure correction and inlet control: implementation
// functions behind the facade. Block size first (only 256 runs; any other
// value returns 0 without work), selected device last (used only to name it
// in reports). Each returns the status of its last check (a reduction: of
// its first level); a failed launch is reported at once and the remaining
// launches still run. Plain C++.
#pragma once

#include "CU_CalcPP.h"
#include "CU_Reduction.h"

namespace rvz {

// ---- Vent decisions and gate pressures (one launch each) ----

int CalcPP_FlowE_iIsOutlet1(int BlockSize, int n, double FCRI, const int* ijWallCVD, const int* ijWallD,
                            const double* VolFD, int* piIsOutletD, int grid, int SelectedDevice);
int CalcPP_FlowE_iIsOutlet2(int BlockSize, int n, int iFAIMFluidIn, double FCRI, const int* ijWallCVD,
                            const int* ijWallD, const double* VolFD, const float* MFD, const double* AirPressureD,
                            int* piIsOutletD, int grid, int SelectedDevice);
int CalcPP_FlowE_judge1judge2Press(int BlockSize, int n, double SpruePress, const int* gpInletbInD,
                                   const int* ijInletGPD, const int* gpInletGPMtrTypeD, const double* InjecPressD,
                                   double* PressD, bool* judge1D, int grid, int SelectedDevice);

// ---- Interior and boundary face fluxes ----

// Interior (aWD set) or partition-interface faces (aWD null: aED only).
struct FlowEInnerFluxArgs {
    int nFaces;
    const int *ijPD, *ijED;
    const double* leD;
    DeviceVec3 area, centroid, gradP;
    const double *uD, *vD, *wD, *pD, *APRD;
    double *mfeD, *aED, *aWD;
    int IsFaceMassFluxStab;
    int grid;
};
int Calc_FlowE_InnerFluxPP(int BlockSize, const FlowEInnerFluxArgs& a, int SelectedDevice);

struct BoundFluxMassArgs {
    int nFaces, IsFaceMassFluxStab;
    const int *ijPD, *ijED;
    const bool* judgeD;
    DeviceVec3 centroid, gradP, area;
    const double *APRD, *pD;
    double *uD, *vD, *wD, *aED, *mfeD;
    int grid;
};
int CalcPP_BoundFluxMass(int BlockSize, const BoundFluxMassArgs& a, int SelectedDevice);

// ---- Inlet and wall states ----

int CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(int BlockSize, int n, int iTime, const int* ijBD,
                                                 const int* ijInletGPD, const double* pressureD, const bool* judgeD,
                                                 const int* statusD, double* pD, double* ppD, bool* judge2AD,
                                                 bool* judge3AD, int grid, int SelectedDevice);
int CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(int BlockSize, int n, int iTime, int status, double pressure,
                                                      const int* ijBD, double* pD, double* ppD, bool* judge2D,
                                                      bool* judge3D, int grid, int SelectedDevice);

struct WallStateArgs {
    int nFaces, iIsOutlet;
    double dAirPressure;
    int iICM_Status;
    double FCRI;
    const int *ijBD, *piIsOutletD;
    const double *VolFD, *AirPressureD;
    const int* isMoveWallD;
    double *pD, *ppD;
    bool *judge1AD, *judge5AD;
    int grid;
};
int CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(int BlockSize, const WallStateArgs& a, int SelectedDevice);

// ---- Inlet and wall right-hand sides and diagonals (owner-only collects
// into the listed rows) ----

// The scratch and the rows of one boundary list's accumulation.
struct ListAccumulation {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const int *MapFace2CellPxD, *MapFace2CellPyD, *Map2CellPD;
    double* AELLDtemp;
    int faceGrid, rowGrid;
};

int CalcPP_SetPPInlet_UpdateSu_First(int BlockSize, const ListAccumulation& acc, const int* ijInletGPD,
                                     const int* statusD, const bool* judgeD, const double* mfeD, double* tempD,
                                     double* SuD, int SelectedDevice);
int CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(int BlockSize, const ListAccumulation& acc, int status,
                                            const double* mfeD, double* tempD, double* SuD, int SelectedDevice);
int CalcPP_SetPPInlet_NOFAIM_Update_AiSu(int BlockSize, const ListAccumulation& acc, const int* ijPD,
                                         const int* ijBD, const double* mfeD, const double* CBD, const bool* judge2D,
                                         const bool* judge3D, const double* dden_dpD, double* temp1D, double* temp2D,
                                         double* AELLD, double* SuD, int SelectedDevice);
int CalcPP_SetPPWall_Update_AiSu(int BlockSize, const ListAccumulation& acc, const double* mfeD, const double* CBD,
                                 const bool* judge1AD, double* temp1D, double* temp2D, double* AELLD, double* SuD,
                                 int SelectedDevice);

// ---- Interior right-hand side ----

int CalcPP_FlowE_SourceTerm_CentralCoeff(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                         const double* MassFluxD, const int* Px, const int* Py, const int* Ex,
                                         const int* Ey, double* AELLDtemp, double* SourceD, int faceGrid,
                                         int cellGrid, int SelectedDevice);
int CalcPP_FlowE_SourceTerm_CentralCoeff_Par(int BlockSize, const ListAccumulation& acc, const double* MassFluxParD,
                                             double* SourceD, int SelectedDevice);

// ---- Compressibility, final diagonal and mass sum ----

int CalcPP_FlowE_1stImplicitEulerMethod(int BlockSize, int n, int iTime, double dt, double dtNor, const double* pD,
                                        const double* p0D, const double* dden_dpD, const double* dden_dTD,
                                        const double* volumeD, double* SuD, double* AELLD, int grid,
                                        int SelectedDevice);
int CalcPP_FlowE_EnhanceRobustness(int BlockSize, int n, double rr, int new_nnu, int NColumnPerRow, const double* ppD,
                                   double* AELLD, double* SuD, int grid, int SelectedDevice);
int CalcPP_FlowE_MassSum(int BlockSize, int NInnerCell, const double* SuD, double& MassSum, double* buffer,
                         const LevelView& table, int SelectedDevice);

// ---- Boundary values of pp and p (one launch each) ----

int CalcPP_FlowE_UpdateBoundaryPP_Update_fi(int BlockSize, int n, const int* ijWallCVD, const int* ijWallD,
                                            const int* piIsOutletD, double* fiD, int grid, int SelectedDevice);
int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                   const int* ijInletD, const int* gpInletbInD,
                                                   const int* piIsOutletD, double* fiD, int grid, int SelectedDevice);
int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                     const int* ijInletD, double* fiD, int grid, int SelectedDevice);
int CalcPP_FlowE_Update_fi_OutletSymm(int BlockSize, int n, const int* ijPD, const int* ijBD, double* fiD, int grid,
                                      int SelectedDevice);
int CalcPP_FlowE_UpdateBoundaryP_Update_fi(int BlockSize, int n, const int* ijWallCVD, const int* ijWallD,
                                           const int* piIsOutletD, const double* AirPressureD, double* fiD, int grid,
                                           int SelectedDevice);
int CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(int BlockSize, int n, const int* ijInletCVD, const int* ijInletD,
                                                  const int* ijInletGPD, const int* gpInletbInD,
                                                  const int* piIsOutletD, const int* statusD,
                                                  const double* AirPressureD, double* fiD, int grid,
                                                  int SelectedDevice);
int CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(int BlockSize, int n, int status, const int* ijInletCVD,
                                                    const int* ijInletD, double* fiD, int grid, int SelectedDevice);

// ---- Corrections ----

// Interior (partition = false) or partition-interface faces.
int CalcPP_FlowE_UpdateMassFlux(int BlockSize, int n, int new_nnu, const int* ijCVPD, const int* ijCVED,
                                const int* Px, const int* Py, const double* AELLD, const double* ppD,
                                double* MassFluxD, int grid, bool partition, int SelectedDevice);

struct CorrectPressureVelocitiesArgs {
    int nCells;
    double relaxIP;
    int iflag, iTurningBad;
    double ppo;
    const int* gpIsBadElementsD;
    const double *ppD, *volumeD;
    DeviceVec3 gradPP;
    const double* APRD;
    double *pD, *uD, *vD, *wD, *SuD;
    int grid;
};
int CalcPP_FlowE_CorrectPressureVelocities(int BlockSize, const CorrectPressureVelocitiesArgs& a, int SelectedDevice);

struct InletFlags {
    bool *judge1CD, *judge1DD, *judge1ED, *judge2AD;
};
int CalcPP_FlowE_CorrectInletVel_judge(int BlockSize, int n, double FCRI, const int* ijInletD, const double* VolFD,
                                       const int* gpInletbInD, const int* ijInletGPD, const int* gpInletGPMtrTypeD,
                                       const int* statusD, const InletFlags& flags, int grid, int SelectedDevice);

// An inlet or wall list after the solve.
struct FlowEBoundaryCorrectionArgs {
    int nFaces;
    const int *ijCVD, *ijBD;
    DeviceVec3 area, centroid;
    const double *APRD, *volumeD, *ppD;
    double *uD, *vD, *wD;
    double* MassFluxD;
};
int CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(int BlockSize, const FlowEBoundaryCorrectionArgs& a,
                                                   const InletFlags& flags, int grid, int SelectedDevice);

int CalcPP_FlowE_CorrectInletVel_TotalMass(int BlockSize, int n, const InletFlags& flags,
                                           const double* MassFluxInletD, double& TotalMassInlet,
                                           double& TotalFluidMassInlet, double& TotalMassOutlet,
                                           double* inletBuffer, double* fluidBuffer, double* outletBuffer,
                                           const LevelView& table, int SelectedDevice);
int CalcPP_FlowE_CorrectInletVel_VelNorm(int BlockSize, int n, const int* ijInletD, const bool* judge1DD,
                                         const double* uD, const double* vD, const double* wD, double& VelNorm,
                                         double* buffer, const LevelView& table, int SelectedDevice);
int CalcPP_FlowE_CorrectWallVel_TotalMass(int BlockSize, const FlowEBoundaryCorrectionArgs& a, int iICM_Status,
                                          double FCRI, const int* piIsOutletD, const int* isMoveWallD,
                                          const double* VolFD, double& TotalMassOutlet, double* buffer,
                                          const LevelView& table, int SelectedDevice);

// Second corrector: the non-orthogonal correction flux t of each face into
// MassFluxD and mfeCorrD, -t at the owner and +t at the neighbour summed
// into SourceD (all rows), or for partition faces (a.MapFace2CellExD null)
// -t at the owner summed into the rows of `rowList`.
int CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(int BlockSize, const InnerFluxPPCorrArgs& a,
                                                     const int* rowList, int SelectedDevice);

}  // namespace rvz
