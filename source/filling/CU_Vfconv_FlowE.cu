// Extended-path volume fraction: launches and status checks.
#include "platform/rvz_platform.h"

#include "CUK_Vfconv_FlowE.cuh"
#include "CU_FlowSteps.cuh"
#include "CU_ReduceSteps.cuh"
#include "CU_Vfconv_FlowE.h"
#include "CU_checkError.h"

namespace rvz {

namespace {

using accum::Sign;
using flow::CollectConservativePair;
using flow::CollectOwnerIntoListedRows;
using flow::LaunchChecked;
using flow::UpdateAllRows;
using flow::UpdateListedRows;

// ---- Interface capturing and flux assembly ----

template <class Scheme>
int LaunchScheme(int nFaces, const int* ijCVPD, const int* ijCVED, int HRScheme, const double* mfeD,
                 const double* VolFD, const double* CourantNoDD, const double* gx, const double* gy, const double* gz,
                 const double* xcD, const double* ycD, const double* zcD, double* FeD, double* BetafD, int faceGrid,
                 const char* message, int device)
{
    return LaunchChecked<Kernel_Calc_VOF_FlowE_InnerFlux_HRScheme<Scheme>>(
        faceGrid, message, device, nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD, CourantNoDD, gx, gy, gz, xcD, ycD,
        zcD, FeD, BetafD);
}

vof::VofFluxFaces FluxFacesOf(const VofFluxArgs& a)
{
    return vof::VofFluxFaces{a.ijCVPD, a.ijCVED, a.mfeD,  a.leD,     a.sxD,     a.syD,     a.szD,     a.areaD,
                        a.VolFD,  a.CourantNoDD, a.FeD, a.dVF_dxD, a.dVF_dyD, a.dVF_dzD, a.volumeD, a.aED,
                        a.aWD,    a.temp1D, a.temp2D, a.temp3D};
}

// The face kernel of method M on interior (Par = false) or partition faces.
template <int Method, bool Par>
int LaunchFluxMethod(const VofFluxArgs& a, double maxCe, double FrontVol, int device)
{
    static const char* const kMessages[2][5] = {
        {"Calc_VOF_FlowE_InnerFluxVolF_Method0_aEaWtemp123 failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method1_aEaWtemp123 failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method2_aEaWtemp123 failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method3_aEaWtemp123 failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method4_aEaWtemp123 failed"},
        {"Calc_VOF_FlowE_InnerFluxVolF_Method0_aEaWtemp123_Par failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method1_aEaWtemp123_Par failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method2_aEaWtemp123_Par failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method3_aEaWtemp123_Par failed",
         "Calc_VOF_FlowE_InnerFluxVolF_Method4_aEaWtemp123_Par failed"}};
    return LaunchChecked<Kernel_Calc_VOF_FlowE_InnerFluxVolF_aEaWtemp123<Method, Par>>(
        a.faceGrid, kMessages[Par ? 1 : 0][Method], device, a.nFaces, FluxFacesOf(a), a.gamma, a.fcri, a.CeBound,
        maxCe, FrontVol);
}

template <bool Par>
void LaunchFluxFaces(const VofFluxArgs& a, double maxCe, double FrontVol, int device)
{
    switch (a.Method) {
        case 0: LaunchFluxMethod<0, Par>(a, maxCe, FrontVol, device); break;
        case 1: LaunchFluxMethod<1, Par>(a, maxCe, FrontVol, device); break;
        case 2: LaunchFluxMethod<2, Par>(a, maxCe, FrontVol, device); break;
        case 3: LaunchFluxMethod<3, Par>(a, maxCe, FrontVol, device); break;
        case 4: LaunchFluxMethod<4, Par>(a, maxCe, FrontVol, device); break;
        default: break;
    }
}

// The deferred correction into the source: the owner's slot gains temp1D,
// the neighbour's slot loses it; then the row sums.
int DeferredCorrectionIntoSource(const VofFluxArgs& a, int device)
{
    CollectConservativePair<Sign::Plus>(a.nFaces, a.new_nnu, a.Px, a.Py, a.Ex, a.Ey, a.temp1D, a.AELLDtemp,
                                        a.faceGrid, "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm failed", device);
    if (a.rowList == nullptr)
        return UpdateAllRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.SourceD, a.cellGrid,
                             "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm failed", device);
    return UpdateListedRows(a.nRows, a.new_nnu, a.NColumnPerRow, a.AELLDtemp, a.rowList, a.SourceD, a.cellGrid,
                            "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm_Par failed", device);
}

// The two front statistics over the faces: sums for methods 0-1, maxima
// from 0 for methods 2-4.
template <class Op>
int ReduceFrontStatistics(const VofFluxArgs& a, const LevelView& table, double& maxCe, double& FrontVol, int device)
{
    return ReduceChecked2<Kernel_Calc_VOF_FlowE_InnerFluxVolF_Reduce<Op>,
                          Kernel_Calc_VOF_FlowE_InnerFluxVolF_Collect12<Op>>(
        table.size[1], table, "CalcPP_FlowE_MassSum failed", device, a.stat1, a.stat2, maxCe, FrontVol, a.nFaces,
        static_cast<const double*>(a.temp2D), static_cast<const double*>(a.temp3D));
}

// ---- Boundaries ----

// Diagonal (temp1D) then right-hand side (temp2D) of the listed rows.
int InjectIntoRows(const VofInjection& j, int device)
{
    CollectOwnerIntoListedRows<Sign::Plus>(j.nFaces, j.nCells, j.new_nnu, j.NColumnPerRow, j.Px, j.Py, j.temp1D,
                                           j.AELLDtemp, j.Map2CellPD, j.AELLD, j.faceGrid, j.cellGrid,
                                           "Calc_VOF_FlowE_SetVOFInlet_SourceTerm_Ponly failed",
                                           "Calc_VOF_FlowE_SetVOFInlet_AiUpdate_Opt failed", device);
    return CollectOwnerIntoListedRows<Sign::Plus>(j.nFaces, j.nCells, j.new_nnu, j.NColumnPerRow, j.Px, j.Py,
                                                  j.temp2D, j.AELLDtemp, j.Map2CellPD, j.SourceD, j.faceGrid,
                                                  j.cellGrid, "Calc_VOF_FlowE_SetVOFInlet_SourceTerm_Ponly failed",
                                                  "Calc_VOF_FlowE_SetVOFInlet_UpdateSourceTerm_Opt failed", device);
}

// The keep-filled values tempD stored in the owners' slots, then each
// listed row's VolFD overwritten by the largest of 0 and its slots.
int RefillRows(const VofRefill& r, double* VolFD, int device)
{
    flow::CollectOwnerOnly<Sign::Plus>(r.nFaces, r.new_nnu, r.Px, r.Py, r.tempD, r.AELLDtemp, r.faceGrid,
                                       "Calc_VOF_FlowE_InletBC_SourceTerm_Ponly failed", device);
    return LaunchChecked<Kernel_Calc_VOF_FlowE_InletBC_UpdateSourceTerm_Opt>(
        r.cellGrid, "Calc_VOF_FlowE_InletBC_UpdateSourceTerm_Opt failed", device, r.nCells, r.new_nnu,
        r.NColumnPerRow, static_cast<const double*>(r.AELLDtemp), r.Map2CellPD, VolFD);
}

}  // namespace

// ---------------------------------------------------------------------------
// Interface capturing and flux assembly
// ---------------------------------------------------------------------------

int Calc_VOF_FlowE_InnerFlux_HRScheme(int BlockSize, int nFaces, const int* ijCVPD, const int* ijCVED, int HRScheme,
                                      const double* mfeD, const double* VolFD, const double* CourantNoDD,
                                      const double* dVF_dxD, const double* dVF_dyD, const double* dVF_dzD,
                                      const double* xcD, const double* ycD, const double* zcD, double* FeD,
                                      double* BetafD, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    switch (HRScheme) {
        case 0:
        case 1:
            return LaunchScheme<vof::SchemeCicsam>(nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD, CourantNoDD,
                                                   dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD, FeD, BetafD, faceGrid,
                                                   "Calc_VOF_FlowE_InnerFlux_HRScheme_CICSAM failed", dev);
        case 2:
            return LaunchScheme<vof::SchemeModifiedCicsam>(nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD,
                                                           CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD,
                                                           FeD, BetafD, faceGrid,
                                                           "Calc_VOF_FlowE_InnerFlux_HRScheme_MCICSAM failed", dev);
        case 3:
            return LaunchScheme<vof::SchemeHric>(nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD, CourantNoDD,
                                                 dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD, FeD, BetafD, faceGrid,
                                                 "Calc_VOF_FlowE_InnerFlux_HRScheme_HRIC failed", dev);
        case 4:
            return LaunchScheme<vof::SchemeModifiedHric>(nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD,
                                                         CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD, FeD,
                                                         BetafD, faceGrid,
                                                         "Calc_VOF_FlowE_InnerFlux_HRScheme_MHRIC failed", dev);
        default:
            return 0;
    }
}

int Calc_VOF_FlowE_InnerFluxVolF_Method(int BlockSize, const VofFluxArgs& a, const LevelView& table, double& maxCe,
                                        double& FrontVol, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    ClearPartials(a.stat1, table);
    ClearPartials(a.stat2, table);
    const bool partition = a.aWD == nullptr;
    if (partition)
        LaunchFluxFaces<true>(a, maxCe, FrontVol, dev);
    else
        LaunchFluxFaces<false>(a, maxCe, FrontVol, dev);
    int status = DeferredCorrectionIntoSource(a, dev);
    if (a.Method == 0 || a.Method == 1) {
        status = ReduceFrontStatistics<SumOp>(a, table, maxCe, FrontVol, dev);
    } else if (a.Method >= 2 && a.Method <= 4) {
        status = ReduceFrontStatistics<vof::MaxFromZeroOp>(a, table, maxCe, FrontVol, dev);
    } else {
        CopyReductionResult(table, a.stat1, maxCe);
        CopyReductionResult(table, a.stat2, FrontVol);
    }
    return status;
}

int Calc_VOF_FlowE_UnsteadyTermContribution(int BlockSize, int nnu, int new_nnu, int NColumnPerRow,
                                            const double* volumeD, double dt, double* AELLD, double* SuD,
                                            const double* VolF0D, const int* indexELLD, int cellGrid,
                                            int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_UnsteadyTermContribution>(
        cellGrid, "Calc_VOF_FlowE_UnsteadyTermContribution failed", SelectedDevice, nnu, new_nnu, NColumnPerRow,
        volumeD, dt, AELLD, SuD, VolF0D, indexELLD);
}

// ---------------------------------------------------------------------------
// Inlets, moving walls and keep-filled rules
// ---------------------------------------------------------------------------

int Calc_VOF_FlowE_SetVOFInlet_judge(int BlockSize, int nFaces, int iFAIMFluidIn, int IsMainPhase,
                                     const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD,
                                     const int* ijInletGPD, const int* gpInletGPMtrTypeD, double* dVF_dxD,
                                     double* dVF_dyD, double* dVF_dzD, bool* judge1_2D, bool* judge3PD,
                                     bool* judge3ND, bool* judge4PD, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_SetVOFInlet_judge>(
        faceGrid, "Calc_VOF_FlowE_SetVOFInlet_judge failed", SelectedDevice, nFaces, iFAIMFluidIn, IsMainPhase,
        ijInletCVD, ijInletD, gpInletbInD, ijInletGPD, gpInletGPMtrTypeD, dVF_dxD, dVF_dyD, dVF_dzD, judge1_2D,
        judge3PD, judge3ND, judge4PD);
}

int Calc_VOF_FlowE_SetVOFInlet(int BlockSize, const VofInjection& j, double phase, const int* ijInletD,
                               const bool* judgeD, const double* mfeD, double* VolFD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_VOF_FlowE_SetVOFInlet>(j.faceGrid, "Calc_VOF_FlowE_SetVOFInlet failed", SelectedDevice,
                                                     j.nFaces, phase, ijInletD, judgeD, mfeD, VolFD, j.temp1D,
                                                     j.temp2D);
    return InjectIntoRows(j, SelectedDevice);
}

int Calc_VOF_FlowE_SetVOFInlet_All(int BlockSize, const VofInjection& j, const int* ijInletD, const bool* judge1_2D,
                                   const bool* judge3PD, const bool* judge3ND, const bool* judge4PD,
                                   const double* mfeD, double* VolFD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_VOF_FlowE_SetVOFInlet_All>(j.faceGrid, "Calc_VOF_FlowE_SetVOFInlet_All failed",
                                                         SelectedDevice, j.nFaces, ijInletD, judge1_2D, judge3PD,
                                                         judge3ND, judge4PD, mfeD, VolFD, j.temp1D, j.temp2D);
    return InjectIntoRows(j, SelectedDevice);
}

int Calc_VOF_FlowE_ICM_UpdateAiSu(int BlockSize, const VofInjection& j, double fcri, double MELT, const int* ijWallD,
                                  const int* isMoveWallD, const double* MassFluxOutletD, double* VolFD,
                                  int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_VOF_FlowE_ICM_UpdateAiSu>(j.faceGrid, "Calc_VOF_FlowE_ICM_UpdateAiSu failed",
                                                        SelectedDevice, j.nFaces, fcri, MELT, ijWallD, isMoveWallD,
                                                        MassFluxOutletD, VolFD, j.temp1D, j.temp2D);
    return InjectIntoRows(j, SelectedDevice);
}

int Calc_VOF_FlowE_InletBC(int BlockSize, const VofRefill& r, int iFAIMFluidIn, int IsMainPhase, double fcri,
                           const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD, const double* VolF0D,
                           double* VolFD, double* CourantNoDD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD,
                           int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_VOF_FlowE_InletBC>(r.faceGrid, "Calc_VOF_FlowE_InletBC failed", SelectedDevice,
                                                 r.nFaces, iFAIMFluidIn, IsMainPhase, fcri, ijInletCVD, ijInletD,
                                                 gpInletbInD, VolF0D, VolFD, CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD,
                                                 r.tempD);
    return RefillRows(r, VolFD, SelectedDevice);
}

int Calc_VOF_FlowE_WallBC_FAIM_MainPhase(int BlockSize, const VofRefill& r, double fcri, const int* ijWallCVD,
                                         const int* ijWallD, const double* VolF0D, double* VolFD, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_VOF_FlowE_WallBC_FAIM_MainPhase>(r.faceGrid,
                                                               "Calc_VOF_FlowE_WallBC_FAIM_MainPhase failed",
                                                               SelectedDevice, r.nFaces, fcri, ijWallCVD, ijWallD,
                                                               VolF0D, VolFD, r.tempD);
    return RefillRows(r, VolFD, SelectedDevice);
}

int Calc_VOF_FlowE_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* VolFD,
                          double* CourantNoDD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, int faceGrid,
                          int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_WallBC>(faceGrid, "Calc_VOF_FlowE_WallBC failed", SelectedDevice,
                                                       nFaces, ijWallCVD, ijWallD, VolFD, CourantNoDD, dVF_dxD,
                                                       dVF_dyD, dVF_dzD);
}

int Calc_VOF_FlowE_Update_dVF_d(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* dVF_dxD,
                                double* dVF_dyD, double* dVF_dzD, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    // This step reports under the inlet-flag message.
    return LaunchChecked<Kernel_Calc_VOF_FlowE_Update_dVF_d>(faceGrid, "Calc_VOF_FlowE_SetVOFInlet_judge failed",
                                                             SelectedDevice, nFaces, ijWallCVD, ijWallD, dVF_dxD,
                                                             dVF_dyD, dVF_dzD);
}

// ---------------------------------------------------------------------------
// Limiting, arrival times, end of filling
// ---------------------------------------------------------------------------

int Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(int BlockSize, int nCells, double FillVol, double EMF, double EMF1,
                                                 double fcri, const float* mftimeD, double* VolFD, int cellGrid,
                                                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme>(
        cellGrid, "Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme failed", SelectedDevice, nCells, FillVol, EMF, EMF1,
        fcri, mftimeD, VolFD);
}

int Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(int BlockSize, int nCells, double EMF, double EMF1, double fcri,
                                                   const float* mftimeD, double* VolFD, int cellGrid,
                                                   int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme>(
        cellGrid, "Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme failed", SelectedDevice, nCells, EMF, EMF1, fcri,
        mftimeD, VolFD);
}

int Calc_VOF_FlowE_Update_mftime(int BlockSize, int nCells, double fcri, double Time, const double* VolFD,
                                 float* mftimeD, int cellGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_VOF_FlowE_Update_mftime>(cellGrid, "Calc_VOF_FlowE_Update_mftime failed",
                                                              SelectedDevice, nCells, fcri, Time, VolFD, mftimeD);
}

int Calc_VOF_FlowE_CheckEndFilling(int BlockSize, int nCells, double fcri, const double* VolFD, const double* volumeD,
                                   int& unfilledCells, double& unfilledVolume, int* intScratch, double* doubleScratch,
                                   const LevelView& table, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const int dev = SelectedDevice;
    ClearPartials(intScratch, table);
    ClearPartials(doubleScratch, table);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_VOF_FlowE_CheckEndFillingInt, table.size[1], kBlockSize, kBlockSize * sizeof(int), 0)
    (nCells, fcri, VolFD, intScratch);
    CheckStep("Calc_VOF_FlowE_CheckEndFillingInt failed", dev);
    RVZ_LAUNCH_BLOCK(Kernel_Calc_VOF_FlowE_CheckEndFillingDouble, table.size[1], kBlockSize, kOneQuantityShared, 0)
    (nCells, fcri, VolFD, volumeD, doubleScratch);
    CheckStep("Calc_VOF_FlowE_CheckEndFillingDouble failed", dev);
    CollectLevels<Kernel_Calc_VOF_FlowE_CheckEndFilling_CollectSum12Int>(table, intScratch);
    CollectLevels<Kernel_Calc_VOF_FlowE_CheckEndFilling_CollectSum12Double>(table, doubleScratch);
    const int status = CheckStep("Calc_VOF_FlowE_CheckEndFilling_CollectSum12 failed", dev);
    CopyReductionResult(table, intScratch, unfilledCells);
    CopyReductionResult(table, doubleScratch, unfilledVolume);
    return status;
}

}  // namespace rvz
