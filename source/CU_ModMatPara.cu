// Material properties and field statistics: launches and status checks.
#include "platform/rvz_platform.h"

#include <cstddef>

#include "CUK_ModMatPara.cuh"
#include "CU_CollectResidual.h"
#include "CU_ModMatPara.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

constexpr size_t kOneQuantityShared = kBlockSize * sizeof(double);
constexpr size_t kTwoQuantityShared = 2 * kBlockSize * sizeof(double);

// Step 1 of every statistic: the partial-result buffer starts from zero.
void ClearPartials(double* buffer, const LevelView& table)
{
    cudaMemset(buffer, 0, static_cast<size_t>(table.total) * sizeof(double));
}

// The collecting passes and the final copies of a max/min pair; neither is
// checked, so a failure in them leaves the platform's last error set.
template <auto Collect>
void FinishPair(const LevelView& table, double* maxBuffer, double* minBuffer, double& maxResult, double& minResult)
{
    CollectLevels2<Collect>(table, maxBuffer, minBuffer);
    CopyReductionResult(table, maxBuffer, maxResult);
    CopyReductionResult(table, minBuffer, minResult);
}

}  // namespace

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
    ClearPartials(buffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_MaxSRate, grid, kBlockSize, kOneQuantityShared, 0)
    (nInletFaces, ijInletD, SRateD, buffer);
    const int status = CheckStep("Calc_Calc_MaxSRate failed", SelectedDevice);
    CollectLevels<Kernel_Calc_MaxSRate_Collection>(table, buffer);
    CopyReductionResult(table, buffer, SRmaxInlet);
    return status;
}

int Calc_Sum_VisMeltAvg_voltmp(int BlockSize, int nCells, const double* VolFD, const double* visD, double* buffer1,
                               double* buffer2, int grid, const LevelView& table, double& sumVis, double& sumVol,
                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(buffer1, table);
    ClearPartials(buffer2, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_Sum_VisMeltAvg_voltmp, grid, kBlockSize, kTwoQuantityShared, 0)
    (nCells, VolFD, visD, buffer1, buffer2);
    const int status = CheckStep("Calc_Calc_Sum_VisMeltAvg_voltmp failed", SelectedDevice);
    FinishPair<Kernel_Calc_Sum_VisMeltAvg_voltmp_Collection>(table, buffer1, buffer2, sumVis, sumVol);
    return status;
}

int Calc_vismax_vismin(int BlockSize, int nCells, double FCRI, const double* visD, const double* VolFD,
                       double* maxBuffer, double* minBuffer, int grid, const LevelView& table, double& vismax,
                       double& vismin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(maxBuffer, table);
    ClearPartials(minBuffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_vismax_vismin, grid, kBlockSize, kTwoQuantityShared, 0)
    (nCells, FCRI, visD, VolFD, maxBuffer, minBuffer);
    const int status = CheckStep("Calc_Calc_vismax_vismin failed", SelectedDevice);
    FinishPair<Kernel_Calc_vismax_vismin_Collection>(table, maxBuffer, minBuffer, vismax, vismin);
    return status;
}

int Calc_Tmax_Tmin(int BlockSize, int nCells, const double* TD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Tmax, double& Tmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(maxBuffer, table);
    ClearPartials(minBuffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_Tmax_Tmin, grid, kBlockSize, kTwoQuantityShared, 0)(nCells, TD, maxBuffer, minBuffer);
    const int status = CheckStep("Calc_Calc_Tmax_Tmin failed", SelectedDevice);
    FinishPair<Kernel_Calc_Tmax_Tmin_Collection>(table, maxBuffer, minBuffer, Tmax, Tmin);
    return status;
}

int Calc_SRmax_SRmin(int BlockSize, int nCells, const double* SRateD, double* maxBuffer, double* minBuffer, int grid,
                     const LevelView& table, double& SRmax, double& SRmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(maxBuffer, table);
    ClearPartials(minBuffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_SRmax_SRmin, grid, kBlockSize, kTwoQuantityShared, 0)
    (nCells, SRateD, maxBuffer, minBuffer);
    const int status = CheckStep("Calc_Calc_SRmax_SRmin failed", SelectedDevice);
    FinishPair<Kernel_Calc_SRmax_SRmin_Collection>(table, maxBuffer, minBuffer, SRmax, SRmin);
    return status;
}

int Calc_Pmax_Pmin(int BlockSize, int nCells, const double* PD, double* maxBuffer, double* minBuffer, int grid,
                   const LevelView& table, double& Pmax, double& Pmin, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(maxBuffer, table);
    ClearPartials(minBuffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_Pmax_Pmin, grid, kBlockSize, kTwoQuantityShared, 0)(nCells, PD, maxBuffer, minBuffer);
    const int status = CheckStep("Calc_Calc_Pmax_Pmin failed", SelectedDevice);
    FinishPair<Kernel_Calc_Pmax_Pmin_Collection>(table, maxBuffer, minBuffer, Pmax, Pmin);
    return status;
}

int Calc_Umax(int BlockSize, int nCells, double FCRI, const double* VolFD, const double* uD, const double* vD,
              const double* wD, double* buffer, int grid, const LevelView& table, double& Umax, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    ClearPartials(buffer, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_Umax, grid, kBlockSize, kOneQuantityShared, 0)(nCells, FCRI, VolFD, uD, vD, wD, buffer);
    const int status = CheckStep("Calc_Calc_Umax failed", SelectedDevice);
    CollectLevels<Kernel_Calc_Umax_Collection>(table, buffer);
    CopyReductionResult(table, buffer, Umax);
    return status;
}

}  // namespace rvz
