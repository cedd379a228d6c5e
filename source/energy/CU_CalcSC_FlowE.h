// Extended-flow energy assembly: implementation functions behind the
// facade. Block size first (only 256 runs; any other value returns 0
// without work), selected device last (used only to name it in reports).
// Each returns the status of its last check; a failed launch is reported at
// once and the remaining launches still run. Plain C++.
#pragma once

#include "CU_Accumulate.h"

namespace rvz {

// ---- Vent flags, face mass flux ----

int CalcSC_FlowE_Temperature_iIsOutlet1(int BlockSize, int nFaces, const int* ijWallD, int* piIsOutletD,
                                        const double* VolFD, double FCRI, int grid, int SelectedDevice);
int CalcSC_FlowE_Temperature_iIsOutlet2(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                        int* piIsOutletD, const double* VolFD, const float* MFD, int iFAIMFluidIn,
                                        const double* AirPressureD, double FCRI, int EnableVentingAnalysis, int grid,
                                        int SelectedDevice);
int CalcSC_FlowE_InnerFluxSC_mfe(int BlockSize, int nFaces, const int* ijPD, const int* ijED, const double* VFeD,
                                 double denl, double deng, const double* MassFluxD, const double* denD, double* mfeD,
                                 int gIsWeightedFlowRate, int grid, int SelectedDevice);

// ---- Interior faces ----

// The four forms of the extended interior-face operation.
enum class FlowEInnerForm {
    AllRows,    // weights leD, aED and aWD, update over rows 0 .. nRows-1
    Listed,     // every weight 1, aED and aWD, update over rowList
    Judged,     // as Listed on the faces with gpInletbInD = 1 (owner gradient copied to E)
    Partition,  // as Listed without aWD
};

struct InnerFluxSCFlowEArgs : FaceScatter {  // rowList: Map2CellPBD of the listed forms
    int nFaces, nRows, new_nnu, NColumnPerRow;
    const double* mCpD;
    const int *ijPD, *ijED;
    const double* leD;
    const double* fiD;
    double *dp_dxD, *dp_dyD, *dp_dzD;  // written by the judged form only
    const double *xcD, *ycD, *zcD;
    const double *sxD, *syD, *szD;
    const double *mkD, *mfeD;
    double *aED, *aWD;
    double* SourceD;
    double* tempD;
    double nonOrthLimitFactor;
    const int* gpInletbInD;  // judged form only
};
// Faces, collect (+tempD at the owner, -tempD at the neighbour), update
// into SourceD. Returns the update's status.
int CalcSC_FlowE_InnerFluxSC(int BlockSize, FlowEInnerForm form, const InnerFluxSCFlowEArgs& a, int SelectedDevice);

// ---- Cell terms ----

int CalcSC_FlowE_UnsteadyTermContributionSC(int BlockSize, int nCells, const double* mCpD, double OneOver_dtdtNor,
                                            double BlendTime, const double* denD, const double* volumeD,
                                            const double* fi0D, const double* fi00D, double* SuD, double* AELLD,
                                            int grid, int SelectedDevice);
int CalcSC_FlowE_ViscousDisspationVolumetricTerm(int BlockSize, int nCells, double FCRI, double lVisHeat,
                                                 double VisTempLimiter, double OneOver_dtdtNor, const double* mCpD,
                                                 const double* VolFD, const double* visD, const double* SRateD,
                                                 const double* denD, const double* volumeD, double* SuD, int grid,
                                                 int SelectedDevice);
int CalcSC_FlowE_FinalCoeffRHS_Sfi(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                   const double* fiD, double* AELLD, double* SfiD, double OneOver_relaxIF, int grid,
                                   int SelectedDevice);

// ---- Boundary operations with two accumulations ----

// Where the per-face contributions go: temp1D into the diagonal AELLD,
// then (scratch cleared) temp2D into SuD, both over the rows of Map2CellPD.
struct TwoPassTarget {
    int nFaces, nRows, new_nnu, NColumnPerRow;
    double *AELLD, *SuD, *temp1D, *temp2D;
    const int *MapFace2CellPxD, *MapFace2CellPyD, *Map2CellPD;
    double* AELLDtemp;
    int faceGrid, rowGrid;
};

struct IsothermalWallArgs {
    TwoPassTarget to;
    const int *ijWallCVD, *ijWallD, *piIsOutletD;
    double *dp_dxD, *dp_dyD, *dp_dzD, *fiD;
    const int* HotRunnerCellD;
    int isThermoBC3;
    const double *ijWallSxD, *ijWallSyD, *ijWallSzD, *pdWallHTCD, *Surf_DistWallD, *mkD, *C2FMoldTD;
};
int CalcSC_FlowE_IsothermalWallBoundaries(int BlockSize, const IsothermalWallArgs& a, int SelectedDevice);

struct InletFirstArgs {
    TwoPassTarget to;
    bool IsTranInConv_RIM;
    int iFAIMFluidIn;
    double dTransientInletTemperature, gdMeltT;
    const int *ijInletCVD, *ijInletD, *gpInletbInD, *ijInletGPD, *gpInletGPMtrTypeD, *pRVZFlowCTL_m_iIsShutOffD;
    const double *pRVZFlowCTL_m_dFluidTD, *CBD;
    double *dp_dxD, *dp_dyD, *dp_dzD, *fiD;
};
int CalcSC_FlowE_InletBoundary_First(int BlockSize, const InletFirstArgs& a, int SelectedDevice);

struct InletSecondArgs {
    TwoPassTarget to;
    double FCRI, dHeatTransferH_SI, gdMoldT;
    int isThermoBC3;
    const int *ijInletCVD, *ijInletD;
    const double *ijInletSxD, *ijInletSyD, *ijInletSzD, *ijInletxcD, *ijInletycD, *ijInletzcD;
    const double *xcD, *ycD, *zcD, *VolFD;
    const int* HotRunnerCellD;
    const double* mkD;
    const int* gpInletbInD;
    double *dp_dxD, *dp_dyD, *dp_dzD, *fiD;
};
int CalcSC_FlowE_InletBoundary_Second(int BlockSize, const InletSecondArgs& a, int SelectedDevice);

// to.nFaces is the number of entries of the surface-condition list.
struct HotRunnerControlArgs {
    TwoPassTarget to;
    int NWall, isThermoBC3, stride;
    const int *ijWallCVD, *ijWallD, *SurfBC_ToWallIndxD, *HotRunnerCellD;
    const double *ijWallSxD, *ijWallSyD, *ijWallSzD, *pdWallHTCD, *mkD, *Surf_DistWallD, *C2FMoldTD;
    double* TD;
};
int CalcSC_FlowE_HotRunnerTemperatureControl(int BlockSize, const HotRunnerControlArgs& a, int SelectedDevice);

// ---- Wall surface temperatures and hot-runner walls ----

int CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD,
                                              const int* piIsOutletD, const double* ijWallSxD,
                                              const double* ijWallSyD, const double* ijWallSzD,
                                              const double* pdWallHTCD, const double* Surf_DistWallD,
                                              const double* mkD, double* TD, int grid, int SelectedDevice);
struct InletSurfaceArgs {
    int nFaces;
    double FCRI, dHeatTransferH_SI;
    const int *ijInletCVD, *ijInletD;
    const double *ijInletSxD, *ijInletSyD, *ijInletSzD, *ijInletxcD, *ijInletycD, *ijInletzcD;
    const double *xcD, *ycD, *zcD;
    const int* gpInletbInD;
    const double *mkD, *VolFD;
    double* TD;
    int grid;
};
int CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(int BlockSize, const InletSurfaceArgs& a, int SelectedDevice);
int CalcSC_FlowE_InitHotRunnerWallTemp(int BlockSize, int nFaces, double FCRI, const int* ijWallCVD,
                                       const int* ijWallD, const double* VolFD, const int* HotRunnerCellD, double* TD,
                                       int grid, int SelectedDevice);
int CalcSC_FlowE_UpdateHotRunnerWallTemp(int BlockSize, int nFaces, double FCRI, double gdMeltT,
                                         const int* ijWallCVD, const int* ijWallD, const double* VolFD,
                                         const int* HotRunnerCellD, double* TD, double* C2FMoldTD, int grid,
                                         int SelectedDevice);
int CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(int BlockSize, int size, int NWall, const int* ijWallCVD,
                                                  const int* ijWallD, const int* SurfBC_ToWallIndxD,
                                                  const int* HotRunnerCellD, int stride, double* TD, int grid,
                                                  int SelectedDevice);

}  // namespace rvz
