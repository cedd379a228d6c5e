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

}  // namespace rvz
