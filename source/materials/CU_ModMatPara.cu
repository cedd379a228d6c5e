// Material properties and field statistics: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_ModMatPara.cuh"
#include "CU_CollectResidual.h"
#include "CU_ModMatPara.h"
#include "CU_ReduceSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

// ---------------------------------------------------------------------------
// Material properties
// ---------------------------------------------------------------------------

int Calc_ShearRate(int BlockSize, int nCells, double SRRelax, const double* du_dxD, const double* du_dyD,
                   const double* du_dzD, const double* dv_dxD, const double* dv_dyD, const double* dv_dzD,
                   const double* dw_dxD, const double* dw_dyD, const double* dw_dzD, double* SRateD, int grid,
                   int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_ShearRate, grid, kBlockSize, 0, 0)
    (nCells, SRRelax, du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD, dw_dxD, dw_dyD, dw_dzD, SRateD);
    return CheckStep("Calc_ShearRate failed", SelectedDevice);
}

int Calc_UpdateBoundary_const(int BlockSize, int nFaces, const int* ijD, const int* ijCVD, double* fiD, int grid,
                              int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_UpdateBoundary_const, grid, kBlockSize, 0, 0)(nFaces, ijD, ijCVD, fiD);
    return CheckStep("Calc_UpdateBoundary_const failed", SelectedDevice);
}

int CalcVis_Flow(int BlockSize, int nCells, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                 double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel, const double* TD, const double* pD,
                 const double* SRateD, const double* VolFD, const int* HotRunnerCellD, const double* RxnCD,
                 double* visnewD, const double* RheoModParaD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_CalcVis_Flow, grid, kBlockSize, 0, 0)
    (nCells, RIM_visg, lGNF, MoldingType, MeltT, FCRI, ShearR_Inlet, InitRxnC, MoldT, VisModel, TD, pD, SRateD,
     VolFD, HotRunnerCellD, RxnCD, visnewD, RheoModParaD);
    return CheckStep("CalcVis_Flow failed", SelectedDevice);
}

int CalcCp_Flow(int BlockSize, int nCells, int CpModel, int NMatModParVar_3, const double* TD, double* CpNewD,
                const double* CpModParaD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_CalcCp_Flow, grid, kBlockSize, 0, 0)(nCells, CpModel, NMatModParVar_3, TD, CpNewD, CpModParaD);
    return CheckStep("CalcCp_Flow failed", SelectedDevice);
}

int Calck_Flow(int BlockSize, int nCells, int kModel, int NMatModParVar_4, const double* TD,
               const double* kModParaD, double* kNewD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calck_Flow, grid, kBlockSize, 0, 0)(nCells, kModel, NMatModParVar_4, TD, kModParaD, kNewD);
    return CheckStep("Calck_Flow failed", SelectedDevice);
}

int Calc_VisDenMk(int BlockSize, int nCells, double VisTopLimit, double visg, double FCRI, double VisMeltAvg,
                  double VisRelax, double denl, double deng, double mkg, const double* visnewD, const double* CpNewD,
                  const double* kNewD, const double* VolFD, double* visD, double* denD, double* mkD, int grid,
                  int SelectedDevice)
{
    (void)CpNewD;  // accepted for the caller's sake; the mixing does not read it
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_VisDenMk, grid, kBlockSize, 0, 0)
    (nCells, VisTopLimit, visg, FCRI, VisMeltAvg, VisRelax, denl, deng, mkg, visnewD, kNewD, VolFD, visD, denD, mkD);
    return CheckStep("Calc_VisDenMk failed", SelectedDevice);
}

// ---------------------------------------------------------------------------
// Field statistics
// ---------------------------------------------------------------------------

int Calc_MaxSRate(int BlockSize, int nInletFaces, const int* ijInletD, const double* SRateD, double* buffer,
                  int grid, const LevelView& table, double& SRmaxInlet, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_MaxSRate, Kernel_Calc_MaxSRate_Collection>(
        grid, table, "Calc_Calc_MaxSRate failed", SelectedDevice, buffer, SRmaxInlet, nInletFaces, ijInletD, SRateD);
}

int Calc_Sum_VisMeltAvg_voltmp(int BlockSize, int nCells, const double* VolFD, const double* visD, double* buffer1,
                               double* buffer2, int grid, const LevelView& table, double& sumVis, double& sumVol,
                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_Sum_VisMeltAvg_voltmp, Kernel_Calc_Sum_VisMeltAvg_voltmp_Collection>(
        grid, table, "Calc_Calc_Sum_VisMeltAvg_voltmp failed", SelectedDevice, buffer1, buffer2, sumVis, sumVol, nCells,
        VolFD, visD);
}

int Calc_vismax_vismin(int BlockSize, int nCells, double FCRI, const double* visD, const double* VolFD,
                       double* maxBuffer, double* minBuffer, int grid, const LevelView& table, double& vismax,
                       double& vismin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_vismax_vismin, Kernel_Calc_vismax_vismin_Collection>(
        grid, table, "Calc_Calc_vismax_vismin failed", SelectedDevice, maxBuffer, minBuffer, vismax, vismin, nCells,
        FCRI, visD, VolFD);
}

int Calc_Tmax_Tmin(int BlockSize, int nCells, const double* TD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Tmax, double& Tmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_Tmax_Tmin, Kernel_Calc_Tmax_Tmin_Collection>(
        grid, table, "Calc_Calc_Tmax_Tmin failed", SelectedDevice, maxBuffer, minBuffer, Tmax, Tmin, nCells, TD);
}

int Calc_SRmax_SRmin(int BlockSize, int nCells, const double* SRateD, double* maxBuffer, double* minBuffer, int grid,
                     const LevelView& table, double& SRmax, double& SRmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_SRmax_SRmin, Kernel_Calc_SRmax_SRmin_Collection>(
        grid, table, "Calc_Calc_SRmax_SRmin failed", SelectedDevice, maxBuffer, minBuffer, SRmax, SRmin, nCells,
        SRateD);
}

int Calc_Pmax_Pmin(int BlockSize, int nCells, const double* PD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Pmax, double& Pmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic2<Kernel_Calc_Pmax_Pmin, Kernel_Calc_Pmax_Pmin_Collection>(
        grid, table, "Calc_Calc_Pmax_Pmin failed", SelectedDevice, maxBuffer, minBuffer, Pmax, Pmin, nCells, PD);
}

int Calc_Umax(int BlockSize, int nCells, double FCRI, const double* VolFD, const double* uD, const double* vD,
              const double* wD, double* buffer, int grid, const LevelView& table, double& Umax, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_Umax, Kernel_Calc_Umax_Collection>(
        grid, table, "Calc_Calc_Umax failed", SelectedDevice, buffer, Umax, nCells, FCRI, VolFD, uD, vD, wD);
}

}  // namespace rvz
