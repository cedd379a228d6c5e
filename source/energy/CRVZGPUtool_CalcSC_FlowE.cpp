// Facade methods of the extended-flow energy assembly.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcSC_FlowE.h"

namespace {

// The arguments every interior-face form shares; form-specific ones are
// filled by the caller.
rvz::InnerFluxSCFlowEArgs InnerArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD, int* ijPD,
                                    int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                                    double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                                    double* szD, double* mkD, double* mfeD, double* aED, double* aWD,
                                    double* SourceD, double* tempD, double nonOrthLimitFactor, int* Px, int* Py,
                                    int* Ex, int* Ey, double* AELLDtemp, int faceBlocks, int cellBlocks)
{
    rvz::InnerFluxSCFlowEArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.mCpD = mCpD;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.leD = leD;
    a.fiD = fiD;
    a.dp_dxD = dp_dxD;
    a.dp_dyD = dp_dyD;
    a.dp_dzD = dp_dzD;
    a.xcD = xcD;
    a.ycD = ycD;
    a.zcD = zcD;
    a.sxD = sxD;
    a.syD = syD;
    a.szD = szD;
    a.mkD = mkD;
    a.mfeD = mfeD;
    a.aED = aED;
    a.aWD = aWD;
    a.SourceD = SourceD;
    a.tempD = tempD;
    a.nonOrthLimitFactor = nonOrthLimitFactor;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceBlocks, cellBlocks);
    return a;
}

rvz::TwoPassTarget Target(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* AELLD, double* SuD,
                          double* temp1D, double* temp2D, int* Px, int* Py, int* Map2CellPD, double* AELLDtemp,
                          int faceBlocks, int rowBlocks)
{
    return rvz::TwoPassTarget{nFaces, nRows, new_nnu, NColumnPerRow, AELLD, SuD, temp1D, temp2D, Px, Py,
                              Map2CellPD, AELLDtemp, faceBlocks, rowBlocks};
}

}  // namespace

// ---- Vent flags, face mass flux ----

int CRVZGPUtool::CalcSC_FlowE_Temperature_iIsOutlet1(int nFaces, int* ijWallD, int* piIsOutletD, double* VolFD,
                                                     double FCRI, int blocks)
{
    return rvz::CalcSC_FlowE_Temperature_iIsOutlet1(m_Imple->BlockSize, nFaces, ijWallD, piIsOutletD, VolFD, FCRI,
                                                    blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_Temperature_iIsOutlet2(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                                     double* VolFD, float* MFD, int iFAIMFluidIn,
                                                     double* AirPressureD, double FCRI, int EnableVentingAnalysis,
                                                     int blocks)
{
    return rvz::CalcSC_FlowE_Temperature_iIsOutlet2(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, piIsOutletD,
                                                    VolFD, MFD, iFAIMFluidIn, AirPressureD, FCRI,
                                                    EnableVentingAnalysis, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InnerFluxSC_mfe(int nFaces, double* /*mCpD*/, int* ijPD, int* ijED, double* VFeD,
                                              double denl, double deng, double* MassFluxD, double* denD,
                                              double* mfeD, int gIsWeightedFlowRate, int blocks)
{
    return rvz::CalcSC_FlowE_InnerFluxSC_mfe(m_Imple->BlockSize, nFaces, ijPD, ijED, VFeD, denl, deng, MassFluxD,
                                             denD, mfeD, gIsWeightedFlowRate, blocks, m_Imple->SelectedDevice);
}

// ---- Interior faces ----

int CRVZGPUtool::CalcSC_FlowE_InnerFluxSC(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                          int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD,
                                          double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                          double* sxD, double* syD, double* szD, double* mkD, double* mfeD,
                                          double* aED, double* aWD, double* SourceD, double* tempD,
                                          double nonOrthLimitFactor, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                          int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                          int cellBlocks, int faceBlocks)
{
    const rvz::InnerFluxSCFlowEArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCpD, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD, xcD,
                  ycD, zcD, sxD, syD, szD, mkD, mfeD, aED, aWD, SourceD, tempD, nonOrthLimitFactor, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks);
    return rvz::CalcSC_FlowE_InnerFluxSC(m_Imple->BlockSize, rvz::FlowEInnerForm::AllRows, a,
                                         m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InnerFluxSC_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                              int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD,
                                              double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                              double* sxD, double* syD, double* szD, double* mkD, double* mfeD,
                                              double* aED, double* aWD, double* SourceD, double* tempD,
                                              double nonOrthLimitFactor, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                              int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                              int faceBlocks, int cellBlocks, int* Map2CellPBD)
{
    rvz::InnerFluxSCFlowEArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCpD, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD, xcD,
                  ycD, zcD, sxD, syD, szD, mkD, mfeD, aED, aWD, SourceD, tempD, nonOrthLimitFactor, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks);
    a.rowList = Map2CellPBD;
    return rvz::CalcSC_FlowE_InnerFluxSC(m_Imple->BlockSize, rvz::FlowEInnerForm::Listed, a,
                                         m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InnerFluxSC_Opt_judge(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD, int* ijPD, int* ijED, double* leD,
    double* fiD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD,
    double* syD, double* szD, double* mkD, double* mfeD, double* aED, double* aWD, double* SourceD, double* tempD,
    double nonOrthLimitFactor, int* gpInletbInD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
    int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPBD)
{
    rvz::InnerFluxSCFlowEArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCpD, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD, xcD,
                  ycD, zcD, sxD, syD, szD, mkD, mfeD, aED, aWD, SourceD, tempD, nonOrthLimitFactor, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks);
    a.gpInletbInD = gpInletbInD;
    a.rowList = Map2CellPBD;
    return rvz::CalcSC_FlowE_InnerFluxSC(m_Imple->BlockSize, rvz::FlowEInnerForm::Judged, a,
                                         m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InnerFluxSC_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                              int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD,
                                              double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                              double* sxD, double* syD, double* szD, double* mkD, double* mfeD,
                                              double* aED, double* SourceD, double* tempD, double nonOrthLimitFactor,
                                              int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                              int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks,
                                              int cellBlocks, int* Map2CellPBD)
{
    rvz::InnerFluxSCFlowEArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCpD, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD, xcD,
                  ycD, zcD, sxD, syD, szD, mkD, mfeD, aED, nullptr, SourceD, tempD, nonOrthLimitFactor,
                  MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks,
                  cellBlocks);
    a.rowList = Map2CellPBD;
    return rvz::CalcSC_FlowE_InnerFluxSC(m_Imple->BlockSize, rvz::FlowEInnerForm::Partition, a,
                                         m_Imple->SelectedDevice);
}

// ---- Cell terms ----

int CRVZGPUtool::CalcSC_FlowE_UnsteadyTermContributionSC(int nCells, double* mCpD, double OneOver_dtdtNor,
                                                         double BlendTime, double* denD, double* volumeD,
                                                         double* fi0D, double* fi00D, double* SuD, double* AELLD,
                                                         int blocks)
{
    return rvz::CalcSC_FlowE_UnsteadyTermContributionSC(m_Imple->BlockSize, nCells, mCpD, OneOver_dtdtNor,
                                                        BlendTime, denD, volumeD, fi0D, fi00D, SuD, AELLD, blocks,
                                                        m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_ViscousDisspationVolumetricTerm(int nCells, double FCRI, double lVisHeat,
                                                              double VisTempLimiter, double OneOver_dtdtNor,
                                                              double /*mdH*/, int /*MoldingType*/, double* mCpD,
                                                              double* VolFD, double* visD, double* SRateD,
                                                              double* denD, double* volumeD, double* /*dC_dtD*/,
                                                              double* SuD, int blocks)
{
    return rvz::CalcSC_FlowE_ViscousDisspationVolumetricTerm(m_Imple->BlockSize, nCells, FCRI, lVisHeat,
                                                             VisTempLimiter, OneOver_dtdtNor, mCpD, VolFD, visD,
                                                             SRateD, denD, volumeD, SuD, blocks,
                                                             m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                                double* AELLD, double* SfiD, double OneOver_relaxIF, int blocks)
{
    return rvz::CalcSC_FlowE_FinalCoeffRHS_Sfi(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax, fiD, AELLD,
                                               SfiD, OneOver_relaxIF, blocks, m_Imple->SelectedDevice);
}

// ---- Boundary faces with two accumulations ----

int CRVZGPUtool::CalcSC_FlowE_IsothermalWallBoundaries(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
    double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int* HotRunnerCellD, int isThermoBC3,
    double* ijWallSxD, double* ijWallSyD, double* ijWallSzD, double* pdWallHTCD, double* Surf_DistWallD, double* mkD,
    double* C2FMoldTD, double* AELLD, double* SuD, double* temp1D, double* temp2D, int* MapFace2CellPxD,
    int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks)
{
    rvz::IsothermalWallArgs a{};
    a.to = Target(nFaces, nRows, new_nnu, NColumnPerRow, AELLD, SuD, temp1D, temp2D, MapFace2CellPxD,
                  MapFace2CellPyD, Map2CellPD, AELLDtemp, faceBlocks, rowBlocks);
    a.ijWallCVD = ijWallCVD;
    a.ijWallD = ijWallD;
    a.piIsOutletD = piIsOutletD;
    a.dp_dxD = dp_dxD;
    a.dp_dyD = dp_dyD;
    a.dp_dzD = dp_dzD;
    a.fiD = fiD;
    a.HotRunnerCellD = HotRunnerCellD;
    a.isThermoBC3 = isThermoBC3;
    a.ijWallSxD = ijWallSxD;
    a.ijWallSyD = ijWallSyD;
    a.ijWallSzD = ijWallSzD;
    a.pdWallHTCD = pdWallHTCD;
    a.Surf_DistWallD = Surf_DistWallD;
    a.mkD = mkD;
    a.C2FMoldTD = C2FMoldTD;
    return rvz::CalcSC_FlowE_IsothermalWallBoundaries(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InletBoundary_First(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, bool IsTranInConv_RIM, int iFAIMFluidIn,
    double dTransientInletTemperature, double gdMeltT, int* ijInletCVD, int* ijInletD, int* gpInletbInD,
    int* ijInletGPD, int* gpInletGPMtrTypeD, int* pRVZFlowCTL_m_iIsShutOffD, double* pRVZFlowCTL_m_dFluidTD,
    double* CBD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, double* AELLD, double* SuD,
    double* temp1D, double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp,
    int faceBlocks, int rowBlocks)
{
    rvz::InletFirstArgs a{};
    a.to = Target(nFaces, nRows, new_nnu, NColumnPerRow, AELLD, SuD, temp1D, temp2D, MapFace2CellPxD,
                  MapFace2CellPyD, Map2CellPD, AELLDtemp, faceBlocks, rowBlocks);
    a.IsTranInConv_RIM = IsTranInConv_RIM;
    a.iFAIMFluidIn = iFAIMFluidIn;
    a.dTransientInletTemperature = dTransientInletTemperature;
    a.gdMeltT = gdMeltT;
    a.ijInletCVD = ijInletCVD;
    a.ijInletD = ijInletD;
    a.gpInletbInD = gpInletbInD;
    a.ijInletGPD = ijInletGPD;
    a.gpInletGPMtrTypeD = gpInletGPMtrTypeD;
    a.pRVZFlowCTL_m_iIsShutOffD = pRVZFlowCTL_m_iIsShutOffD;
    a.pRVZFlowCTL_m_dFluidTD = pRVZFlowCTL_m_dFluidTD;
    a.CBD = CBD;
    a.dp_dxD = dp_dxD;
    a.dp_dyD = dp_dyD;
    a.dp_dzD = dp_dzD;
    a.fiD = fiD;
    return rvz::CalcSC_FlowE_InletBoundary_First(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InletBoundary_Second(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, double FCRI, double dHeatTransferH_SI, double gdMoldT,
    int /*iFAIMFluidIn*/, int isThermoBC3, int* ijInletCVD, int* ijInletD, double* ijInletSxD, double* ijInletSyD,
    double* ijInletSzD, double* ijInletxcD, double* ijInletycD, double* ijInletzcD, double* xcD, double* ycD,
    double* zcD, double* VolFD, float* /*MFD*/, int* HotRunnerCellD, double* mkD, int* gpInletbInD, double* dp_dxD,
    double* dp_dyD, double* dp_dzD, double* fiD, double* AELLD, double* SuD, double* temp1D, double* temp2D,
    int* MapFace2CellPxD, int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks)
{
    rvz::InletSecondArgs a{};
    a.to = Target(nFaces, nRows, new_nnu, NColumnPerRow, AELLD, SuD, temp1D, temp2D, MapFace2CellPxD,
                  MapFace2CellPyD, Map2CellPD, AELLDtemp, faceBlocks, rowBlocks);
    a.FCRI = FCRI;
    a.dHeatTransferH_SI = dHeatTransferH_SI;
    a.gdMoldT = gdMoldT;
    a.isThermoBC3 = isThermoBC3;
    a.ijInletCVD = ijInletCVD;
    a.ijInletD = ijInletD;
    a.ijInletSxD = ijInletSxD;
    a.ijInletSyD = ijInletSyD;
    a.ijInletSzD = ijInletSzD;
    a.ijInletxcD = ijInletxcD;
    a.ijInletycD = ijInletycD;
    a.ijInletzcD = ijInletzcD;
    a.xcD = xcD;
    a.ycD = ycD;
    a.zcD = zcD;
    a.VolFD = VolFD;
    a.HotRunnerCellD = HotRunnerCellD;
    a.mkD = mkD;
    a.gpInletbInD = gpInletbInD;
    a.dp_dxD = dp_dxD;
    a.dp_dyD = dp_dyD;
    a.dp_dzD = dp_dzD;
    a.fiD = fiD;
    return rvz::CalcSC_FlowE_InletBoundary_Second(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_HotRunnerTemperatureControl(
    int size, int NWall, int nRows, int new_nnu, int NColumnPerRow, int isThermoBC3, int* ijWallCVD, int* ijWallD,
    int* SurfBC_ToWallIndxD, int* HotRunnerCellD, double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
    double* pdWallHTCD, double* mkD, double* Surf_DistWallD, double* C2FMoldTD, double* temp1D, double* temp2D,
    int stride, double* TD, double* AELLD, double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* Map2CellPD,
    double* AELLDtemp, int faceBlocks, int rowBlocks)
{
    rvz::HotRunnerControlArgs a{};
    a.to = Target(size, nRows, new_nnu, NColumnPerRow, AELLD, SuD, temp1D, temp2D, MapFace2CellPxD, MapFace2CellPyD,
                  Map2CellPD, AELLDtemp, faceBlocks, rowBlocks);
    a.NWall = NWall;
    a.isThermoBC3 = isThermoBC3;
    a.stride = stride;
    a.ijWallCVD = ijWallCVD;
    a.ijWallD = ijWallD;
    a.SurfBC_ToWallIndxD = SurfBC_ToWallIndxD;
    a.HotRunnerCellD = HotRunnerCellD;
    a.ijWallSxD = ijWallSxD;
    a.ijWallSyD = ijWallSyD;
    a.ijWallSzD = ijWallSzD;
    a.pdWallHTCD = pdWallHTCD;
    a.mkD = mkD;
    a.Surf_DistWallD = Surf_DistWallD;
    a.C2FMoldTD = C2FMoldTD;
    a.TD = TD;
    return rvz::CalcSC_FlowE_HotRunnerTemperatureControl(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

// ---- Wall surface temperatures, hot-runner walls ----

int CRVZGPUtool::CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(int nFaces, int* ijWallCVD, int* ijWallD,
                                                           int* piIsOutletD, double* ijWallSxD, double* ijWallSyD,
                                                           double* ijWallSzD, double* pdWallHTCD,
                                                           double* Surf_DistWallD, double* mkD, double* TD,
                                                           int blocks)
{
    return rvz::CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD,
                                                          piIsOutletD, ijWallSxD, ijWallSyD, ijWallSzD, pdWallHTCD,
                                                          Surf_DistWallD, mkD, TD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(int nFaces, double FCRI, int /*iFAIMFluidIn*/,
                                                            double dHeatTransferH_SI, int* ijInletCVD, int* ijInletD,
                                                            double* ijInletSxD, double* ijInletSyD,
                                                            double* ijInletSzD, double* ijInletxcD,
                                                            double* ijInletycD, double* ijInletzcD, double* xcD,
                                                            double* ycD, double* zcD, int* gpInletbInD, double* mkD,
                                                            float* /*MFD*/, double* VolFD, double* TD, int blocks)
{
    const rvz::InletSurfaceArgs a{nFaces,     FCRI,       dHeatTransferH_SI, ijInletCVD, ijInletD, ijInletSxD,
                                  ijInletSyD, ijInletSzD, ijInletxcD,        ijInletycD, ijInletzcD, xcD,
                                  ycD,        zcD,        gpInletbInD,       mkD,        VolFD,    TD,
                                  blocks};
    return rvz::CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_InitHotRunnerWallTemp(int nFaces, double FCRI, int* ijWallCVD, int* ijWallD,
                                                    double* VolFD, int* HotRunnerCellD, double* TD, int blocks)
{
    return rvz::CalcSC_FlowE_InitHotRunnerWallTemp(m_Imple->BlockSize, nFaces, FCRI, ijWallCVD, ijWallD, VolFD,
                                                   HotRunnerCellD, TD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_UpdateHotRunnerWallTemp(int nFaces, double FCRI, double gdMeltT, int* ijWallCVD,
                                                      int* ijWallD, double* VolFD, int* HotRunnerCellD, double* TD,
                                                      double* C2FMoldTD, int blocks)
{
    return rvz::CalcSC_FlowE_UpdateHotRunnerWallTemp(m_Imple->BlockSize, nFaces, FCRI, gdMeltT, ijWallCVD, ijWallD,
                                                     VolFD, HotRunnerCellD, TD, C2FMoldTD, blocks,
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(int size, int NWall, int* ijWallCVD, int* ijWallD,
                                                               int* SurfBC_ToWallIndxD, int* HotRunnerCellD,
                                                               int stride, double* TD, int blocks)
{
    return rvz::CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(m_Imple->BlockSize, size, NWall, ijWallCVD, ijWallD,
                                                              SurfBC_ToWallIndxD, HotRunnerCellD, stride, TD, blocks,
                                                              m_Imple->SelectedDevice);
}
