// Material properties and field statistics: the implementation functions
// behind the facade. Each takes the block size first (only 256 runs; any
// other value returns 0 without work) and the selected device last (used
// only to name the device in reports). Plain C++.
#pragma once

#include "CU_Reduction.h"

namespace rvz {

// ---- Material properties: one launch each, returns the launch status ----

int Calc_ShearRate(int BlockSize, int nCells, double SRRelax, const double* du_dxD, const double* du_dyD,
                   const double* du_dzD, const double* dv_dxD, const double* dv_dyD, const double* dv_dzD,
                   const double* dw_dxD, const double* dw_dyD, const double* dw_dzD, double* SRateD, int grid,
                   int SelectedDevice);

int Calc_UpdateBoundary_const(int BlockSize, int nFaces, const int* ijD, const int* ijCVD, double* fiD, int grid,
                              int SelectedDevice);

int CalcVis_Flow(int BlockSize, int nCells, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                 double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel, const double* TD, const double* pD,
                 const double* SRateD, const double* VolFD, const int* HotRunnerCellD, const double* RxnCD,
                 double* visnewD, const double* RheoModParaD, int grid, int SelectedDevice);

int CalcCp_Flow(int BlockSize, int nCells, int CpModel, int NMatModParVar_3, const double* TD, double* CpNewD,
                const double* CpModParaD, int grid, int SelectedDevice);

int Calck_Flow(int BlockSize, int nCells, int kModel, int NMatModParVar_4, const double* TD,
               const double* kModParaD, double* kNewD, int grid, int SelectedDevice);

int Calc_VisDenMk(int BlockSize, int nCells, double VisTopLimit, double visg, double FCRI, double VisMeltAvg,
                  double VisRelax, double denl, double deng, double mkg, const double* visnewD, const double* CpNewD,
                  const double* kNewD, const double* VolFD, double* visD, double* denD, double* mkD, int grid,
                  int SelectedDevice);

// ---- Field statistics: first level, collecting passes, blocking copy ----
// Each returns the status of its first-level launch.

int Calc_MaxSRate(int BlockSize, int nInletFaces, const int* ijInletD, const double* SRateD, double* buffer,
                  int grid, const LevelView& table, double& SRmaxInlet, int SelectedDevice);

int Calc_Sum_VisMeltAvg_voltmp(int BlockSize, int nCells, const double* VolFD, const double* visD, double* buffer1,
                               double* buffer2, int grid, const LevelView& table, double& sumVis, double& sumVol,
                               int SelectedDevice);

int Calc_vismax_vismin(int BlockSize, int nCells, double FCRI, const double* visD, const double* VolFD,
                       double* maxBuffer, double* minBuffer, int grid, const LevelView& table, double& vismax,
                       double& vismin, int SelectedDevice);

int Calc_Tmax_Tmin(int BlockSize, int nCells, const double* TD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Tmax, double& Tmin, int SelectedDevice);

int Calc_SRmax_SRmin(int BlockSize, int nCells, const double* SRateD, double* maxBuffer, double* minBuffer, int grid,
                     const LevelView& table, double& SRmax, double& SRmin, int SelectedDevice);

int Calc_Pmax_Pmin(int BlockSize, int nCells, const double* PD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Pmax, double& Pmin, int SelectedDevice);

int Calc_Umax(int BlockSize, int nCells, double FCRI, const double* VolFD, const double* uD, const double* vD,
              const double* wD, double* buffer, int grid, const LevelView& table, double& Umax, int SelectedDevice);

}  // namespace rvz
