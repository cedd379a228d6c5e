// Facade methods of the extended-flow pressure correction and inlet control.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcPP_FlowE.h"

namespace {

rvz::ListAccumulation Accumulation(int nFaces, int nRows, int new_nnu, int NColumnPerRow, const int* Px,
                                   const int* Py, const int* rows, double* AELLDtemp, int faceBlocks, int rowBlocks)
{
    return rvz::ListAccumulation{nFaces, nRows, new_nnu, NColumnPerRow, Px, Py, rows, AELLDtemp, faceBlocks,
                                 rowBlocks};
}

rvz::FlowEInnerFluxArgs InnerArgs(int nFaces, int* ijPD, int* ijED, double* leD, double* sxD, double* syD,
                                  double* szD, double* xcD, double* ycD, double* zcD, double* dp_dxD, double* dp_dyD,
                                  double* dp_dzD, double* uD, double* vD, double* wD, double* pD, double* APRD,
                                  double* mfeD, double* aED, double* aWD, int stab, int blocks)
{
    return rvz::FlowEInnerFluxArgs{nFaces,          ijPD, ijED, leD, {sxD, syD, szD}, {xcD, ycD, zcD},
                                   {dp_dxD, dp_dyD, dp_dzD}, uD, vD, wD, pD, APRD, mfeD, aED, aWD, stab, blocks};
}

rvz::InnerFluxPPCorrArgs CorrectorArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijP, int* ijE,
                                       double* sxD, double* syD, double* szD, double* xcD, double* ycD, double* zcD,
                                       double* APRD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                                       double* MassFluxD, double* mfeCorrD, int* Px, int* Py, int* Ex, int* Ey,
                                       double* AELLDtemp, double* SourceD, int faceBlocks, int rowBlocks)
{
    rvz::InnerFluxPPCorrArgs a{};
    a.nFaces = nFaces;
    a.nCells = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijPD = ijP;
    a.ijED = ijE;
    a.area = {sxD, syD, szD};
    a.centroid = {xcD, ycD, zcD};
    a.APRD = APRD;
    a.gradPP = {dp_dxD, dp_dyD, dp_dzD};
    a.MassFluxD = MassFluxD;
    a.SourceD = SourceD;
    a.tempD = mfeCorrD;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceBlocks, rowBlocks);
    return a;
}

}  // namespace

// ---- Vent decisions ----

int CRVZGPUtool::CalcPP_FlowE_iIsOutlet1(int nFaces, double FCRI, int* ijWallCVD, int* ijWallD, double* VolFD,
                                         int* piIsOutletD, int blocks)
{
    return rvz::CalcPP_FlowE_iIsOutlet1(m_Imple->BlockSize, nFaces, FCRI, ijWallCVD, ijWallD, VolFD, piIsOutletD,
                                        blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_iIsOutlet2(int nFaces, int iFAIMFluidIn, double FCRI, int* ijWallCVD, int* ijWallD,
                                         double* VolFD, float* MFD, double* AirPressureD, int* piIsOutletD,
                                         int blocks)
{
    return rvz::CalcPP_FlowE_iIsOutlet2(m_Imple->BlockSize, nFaces, iFAIMFluidIn, FCRI, ijWallCVD, ijWallD, VolFD,
                                        MFD, AirPressureD, piIsOutletD, blocks, m_Imple->SelectedDevice);
}

// ---- Face fluxes and the gate pressures ----

int CRVZGPUtool::Calc_FlowE_InnerFluxPP_aEaWmfe(int nFaces, int* ijPD, int* ijED, double* leD, double* sxD,
                                                double* syD, double* szD, double* xcD, double* ycD, double* zcD,
                                                double* dp_dxD, double* dp_dyD, double* dp_dzD, double* uD,
                                                double* vD, double* wD, double* pD, double* APRD, double* mfeD,
                                                double* aED, double* aWD, int IsFaceMassFluxStab, int blocks)
{
    return rvz::Calc_FlowE_InnerFluxPP(m_Imple->BlockSize,
                                       InnerArgs(nFaces, ijPD, ijED, leD, sxD, syD, szD, xcD, ycD, zcD, dp_dxD, dp_dyD,
                                                 dp_dzD, uD, vD, wD, pD, APRD, mfeD, aED, aWD, IsFaceMassFluxStab,
                                                 blocks),
                                       m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_InnerFluxPP_aEmfe_Par(int nFaces, int* ijPParD, int* ijEParD, double* leParD,
                                                  double* sxParD, double* syParD, double* szParD, double* xcD,
                                                  double* ycD, double* zcD, double* dp_dxD, double* dp_dyD,
                                                  double* dp_dzD, double* uD, double* vD, double* wD, double* pD,
                                                  double* APRD, double* mfeD, double* aED, int IsFaceMassFluxStab,
                                                  int blocks)
{
    return rvz::Calc_FlowE_InnerFluxPP(m_Imple->BlockSize,
                                       InnerArgs(nFaces, ijPParD, ijEParD, leParD, sxParD, syParD, szParD, xcD, ycD,
                                                 zcD, dp_dxD, dp_dyD, dp_dzD, uD, vD, wD, pD, APRD, mfeD, aED,
                                                 nullptr, IsFaceMassFluxStab, blocks),
                                       m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_judge1judge2Press(int nFaces, double SpruePress, int* gpInletbInD, int* ijInletGPD,
                                                int* gpInletGPMtrTypeD, double* pRVZFlowCTL_m_InjecPressD,
                                                double* PressD, bool* judge1D, int blocks)
{
    return rvz::CalcPP_FlowE_judge1judge2Press(m_Imple->BlockSize, nFaces, SpruePress, gpInletbInD, ijInletGPD,
                                               gpInletGPMtrTypeD, pRVZFlowCTL_m_InjecPressD, PressD, judge1D, blocks,
                                               m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_BoundFluxMass(int nFaces, int IsFaceMassFluxStab, int* ijPD, int* ijED, bool* judgeD,
                                      double* xcD, double* ycD, double* zcD, double* dp_dxD, double* dp_dyD,
                                      double* dp_dzD, double* sxD, double* syD, double* szD, double* APRD, double* pD,
                                      double* uD, double* vD, double* wD, double* aED, double* mfeD, int blocks)
{
    const rvz::BoundFluxMassArgs a{nFaces,       IsFaceMassFluxStab,       ijPD,           ijED, judgeD,
                                   {xcD, ycD, zcD}, {dp_dxD, dp_dyD, dp_dzD}, {sxD, syD, szD}, APRD, pD,
                                   uD,           vD,                       wD,             aED,  mfeD,
                                   blocks};
    return rvz::CalcPP_BoundFluxMass(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

// ---- Inlet and wall states ----

int CRVZGPUtool::CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(int nFaces, int iTime, int* ijBD, int* ijInletGPD,
                                                              double* pressureD, bool* judgeD,
                                                              int* pRVZFlowCTL_m_iStatus_ControlD, double* pD,
                                                              double* ppD, bool* judge2AD, bool* judge3AD, int blocks)
{
    return rvz::CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(m_Imple->BlockSize, nFaces, iTime, ijBD, ijInletGPD,
                                                             pressureD, judgeD, pRVZFlowCTL_m_iStatus_ControlD, pD,
                                                             ppD, judge2AD, judge3AD, blocks,
                                                             m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(int nFaces, int iTime,
                                                                   int RVZFlowCTL_m_iStatus_Control, double pressure,
                                                                   int* ijBD, double* pD, double* ppD, bool* judge2D,
                                                                   bool* judge3D, int blocks)
{
    return rvz::CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(m_Imple->BlockSize, nFaces, iTime,
                                                                  RVZFlowCTL_m_iStatus_Control, pressure, ijBD, pD,
                                                                  ppD, judge2D, judge3D, blocks,
                                                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(int nFaces, int oGeneralCtrl_iIsOutlet,
                                                                  double oGeneralCtrl_dAirPressure, int iICM_Status,
                                                                  double FCRI, int* ijBD, int* piIsOutletD,
                                                                  double* VolFD, double* AirPressureD,
                                                                  int* isMoveWallD, double* pD, double* ppD,
                                                                  bool* judge1AD, bool* judge5AD, int blocks)
{
    const rvz::WallStateArgs a{nFaces, oGeneralCtrl_iIsOutlet, oGeneralCtrl_dAirPressure, iICM_Status, FCRI,
                               ijBD,   piIsOutletD,            VolFD,                     AirPressureD, isMoveWallD,
                               pD,     ppD,                    judge1AD,                  judge5AD,     blocks};
    return rvz::CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

// ---- Inlet and wall right-hand sides and diagonals ----

int CRVZGPUtool::CalcPP_SetPPInlet_UpdateSu_First(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                  int* ijInletGPD, int* pRVZFlowCTL_m_iStatus_ControlD, bool* judgeD,
                                                  double* mfeD, double* tempD, double* SuD, int* MapFace2CellPxD,
                                                  int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp,
                                                  int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_SetPPInlet_UpdateSu_First(
        m_Imple->BlockSize,
        Accumulation(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, Map2CellPD, AELLDtemp,
                     faceBlocks, rowBlocks),
        ijInletGPD, pRVZFlowCTL_m_iStatus_ControlD, judgeD, mfeD, tempD, SuD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                         int RVZFlowCTL_m_iStatus_Control, double* mfeD,
                                                         double* tempD, double* SuD, int* MapFace2CellPxD,
                                                         int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp,
                                                         int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(
        m_Imple->BlockSize,
        Accumulation(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, Map2CellPD, AELLDtemp,
                     faceBlocks, rowBlocks),
        RVZFlowCTL_m_iStatus_Control, mfeD, tempD, SuD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_SetPPInlet_NOFAIM_Update_AiSu(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                      int* ijPD, int* ijBD, double* mfeD, double* CBD, bool* judge2D,
                                                      bool* judge3D, double* dden_dpD, double* temp1D, double* temp2D,
                                                      double* AELLD, double* SuD, int* MapFace2CellPxD,
                                                      int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp,
                                                      int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_SetPPInlet_NOFAIM_Update_AiSu(
        m_Imple->BlockSize,
        Accumulation(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, Map2CellPD, AELLDtemp,
                     faceBlocks, rowBlocks),
        ijPD, ijBD, mfeD, CBD, judge2D, judge3D, dden_dpD, temp1D, temp2D, AELLD, SuD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_SetPPWall_Update_AiSu(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mfeD,
                                              double* CBD, bool* judge1AD, double* temp1D, double* temp2D,
                                              double* AELLD, double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                              int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_SetPPWall_Update_AiSu(
        m_Imple->BlockSize,
        Accumulation(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, Map2CellPD, AELLDtemp,
                     faceBlocks, rowBlocks),
        mfeD, CBD, judge1AD, temp1D, temp2D, AELLD, SuD, m_Imple->SelectedDevice);
}

// ---- Interior right-hand side ----

int CRVZGPUtool::CalcPP_FlowE_SourceTerm_CentralCoeff(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                      double* MassFluxD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                      int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                                      double* SourceD, int faceBlocks, int cellBlocks)
{
    return rvz::CalcPP_FlowE_SourceTerm_CentralCoeff(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow,
                                                     MassFluxD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                                                     MapFace2CellEyD, AELLDtemp, SourceD, faceBlocks, cellBlocks,
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_SourceTerm_CentralCoeff_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                          double* MassFluxParD, int* MapFace2CellPxD,
                                                          int* MapFace2CellPyD, double* AELLDtemp, double* SourceD,
                                                          int faceBlocks, int rowBlocks, int* NPar2CellPD)
{
    return rvz::CalcPP_FlowE_SourceTerm_CentralCoeff_Par(
        m_Imple->BlockSize,
        Accumulation(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, NPar2CellPD, AELLDtemp,
                     faceBlocks, rowBlocks),
        MassFluxParD, SourceD, m_Imple->SelectedDevice);
}

// ---- Compressibility, final diagonal and the mass sum ----

int CRVZGPUtool::CalcPP_FlowE_1stImplicitEulerMethod(int nCells, int iTime, double dt, double dtNor, double* pD,
                                                     double* p0D, double* dden_dpD, double* dden_dTD, double* volumeD,
                                                     double* SuD, double* AELLD, int blocks)
{
    return rvz::CalcPP_FlowE_1stImplicitEulerMethod(m_Imple->BlockSize, nCells, iTime, dt, dtNor, pD, p0D, dden_dpD,
                                                    dden_dTD, volumeD, SuD, AELLD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_EnhanceRobustness(int nRows, double rr, int new_nnu, int NColumnPerRow, double* ppD,
                                                double* AELLD, double* SuD, int blocks)
{
    return rvz::CalcPP_FlowE_EnhanceRobustness(m_Imple->BlockSize, nRows, rr, new_nnu, NColumnPerRow, ppD, AELLD, SuD,
                                               blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_MassSum(int NInnerCell, double* SuD, double& MassSum, double* buffer, int nLevels,
                                      const int* count, const int* offset, int total, const int* size)
{
    return rvz::CalcPP_FlowE_MassSum(m_Imple->BlockSize, NInnerCell, SuD, MassSum, buffer,
                                     rvz::LevelView(nLevels, count, offset, total, size), m_Imple->SelectedDevice);
}

// ---- Boundary values of pp and p ----

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryPP_Update_fi(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                                         double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryPP_Update_fi(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, piIsOutletD,
                                                        fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                                int* ijInletD, int* gpInletbInD, int* piIsOutletD,
                                                                double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(m_Imple->BlockSize, nFaces, iStatus_Control,
                                                               ijInletCVD, ijInletD, gpInletbInD, piIsOutletD, fiD,
                                                               blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                                  int* ijInletD, double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(m_Imple->BlockSize, nFaces, iStatus_Control,
                                                                 ijInletCVD, ijInletD, fiD, blocks,
                                                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_Update_fi_OutletSymm(int nFaces, int* ijPD, int* ijBD, double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_Update_fi_OutletSymm(m_Imple->BlockSize, nFaces, ijPD, ijBD, fiD, blocks,
                                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryP_Update_fi(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                                        double* AirPressureD, double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryP_Update_fi(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, piIsOutletD,
                                                       AirPressureD, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(int nFaces, int* ijInletCVD, int* ijInletD,
                                                               int* ijInletGPD, int* gpInletbInD, int* piIsOutletD,
                                                               int* pRVZFlowCTL_m_iStatus_ControlD,
                                                               double* AirPressureD, double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(m_Imple->BlockSize, nFaces, ijInletCVD, ijInletD,
                                                              ijInletGPD, gpInletbInD, piIsOutletD,
                                                              pRVZFlowCTL_m_iStatus_ControlD, AirPressureD, fiD,
                                                              blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                                 int* ijInletD, double* fiD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(m_Imple->BlockSize, nFaces, iStatus_Control,
                                                                ijInletCVD, ijInletD, fiD, blocks,
                                                                m_Imple->SelectedDevice);
}

// ---- Corrections after the solve ----

int CRVZGPUtool::CalcPP_FlowE_UpdateMassFlux(int nFaces, int new_nnu, int* ijCVPD, int* ijCVED, int* MapFace2CellPxD,
                                             int* MapFace2CellPyD, double* AELLD, double* ppD, double* MassFluxD,
                                             int blocks)
{
    return rvz::CalcPP_FlowE_UpdateMassFlux(m_Imple->BlockSize, nFaces, new_nnu, ijCVPD, ijCVED, MapFace2CellPxD,
                                            MapFace2CellPyD, AELLD, ppD, MassFluxD, blocks, false,
                                            m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_UpdateMassFlux_Par(int nFaces, int new_nnu, int* ijCVPParD, int* ijCVEParD,
                                                 int* ParMapFace2CellPxD, int* ParMapFace2CellPyD, double* AELLD,
                                                 double* ppD, double* MassFluxParD, int blocks)
{
    return rvz::CalcPP_FlowE_UpdateMassFlux(m_Imple->BlockSize, nFaces, new_nnu, ijCVPParD, ijCVEParD,
                                            ParMapFace2CellPxD, ParMapFace2CellPyD, AELLD, ppD, MassFluxParD, blocks,
                                            true, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectPressureVelocities(int nCells, double relaxIP, int iflag,
                                                        int oGeneralCtrl_iTurningBad, double ppo,
                                                        int* gpIsBadElementsD, double* ppD, double* volumeD,
                                                        double* dp_dxD, double* dp_dyD, double* dp_dzD, double* APRD,
                                                        double* pD, double* uD, double* vD, double* wD, double* SuD,
                                                        int blocks)
{
    const rvz::CorrectPressureVelocitiesArgs a{
        nCells, relaxIP, iflag, oGeneralCtrl_iTurningBad, ppo, gpIsBadElementsD, ppD, volumeD,
        {dp_dxD, dp_dyD, dp_dzD}, APRD, pD, uD, vD, wD, SuD, blocks};
    return rvz::CalcPP_FlowE_CorrectPressureVelocities(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectInletVel_judge(int nFaces, int /*iFAIMFluidIn*/, double FCRI,
                                                    int* /*ijInletCVD*/, int* ijInletD, double* VolFD,
                                                    float* /*MFD*/, int* gpInletbInD, int* ijInletGPD,
                                                    int* gpInletGPMtrTypeD, int* pRVZFlowCTL_m_iStatus_ControlD,
                                                    bool* judge1CD, bool* judge1DD, bool* judge1ED, bool* judge2AD,
                                                    int blocks)
{
    return rvz::CalcPP_FlowE_CorrectInletVel_judge(m_Imple->BlockSize, nFaces, FCRI, ijInletD, VolFD, gpInletbInD,
                                                   ijInletGPD, gpInletGPMtrTypeD, pRVZFlowCTL_m_iStatus_ControlD,
                                                   rvz::InletFlags{judge1CD, judge1DD, judge1ED, judge2AD}, blocks,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(int nFaces, int* ijInletCVD, int* ijInletD,
                                                                double* ijInletSxD, double* ijInletSyD,
                                                                double* ijInletSzD, bool* judge1CD, bool* judge1DD,
                                                                bool* judge2AD, double* xcD, double* ycD, double* zcD,
                                                                double* APRD, double* volumeD, double* uD, double* vD,
                                                                double* wD, double* ppD, double* MassFluxInletD,
                                                                int blocks)
{
    const rvz::FlowEBoundaryCorrectionArgs a{nFaces, ijInletCVD, ijInletD, {ijInletSxD, ijInletSyD, ijInletSzD},
                                             {xcD, ycD, zcD}, APRD, volumeD, ppD, uD, vD, wD, MassFluxInletD};
    return rvz::CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(
        m_Imple->BlockSize, a, rvz::InletFlags{judge1CD, judge1DD, nullptr, judge2AD}, blocks,
        m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectInletVel_TotalMass(int nFaces, bool* judge1CD, bool* judge1DD, bool* judge1ED,
                                                        bool* judge2AD, double* MassFluxInletD,
                                                        double& TotalMassInlet, double& TotalFluidMassInlet,
                                                        double& TotalMassOutlet, double* inletBuffer,
                                                        double* fluidBuffer, double* outletBuffer, int nLevels,
                                                        const int* count, const int* offset, int total,
                                                        const int* size)
{
    return rvz::CalcPP_FlowE_CorrectInletVel_TotalMass(
        m_Imple->BlockSize, nFaces, rvz::InletFlags{judge1CD, judge1DD, judge1ED, judge2AD}, MassFluxInletD,
        TotalMassInlet, TotalFluidMassInlet, TotalMassOutlet, inletBuffer, fluidBuffer, outletBuffer,
        rvz::LevelView(nLevels, count, offset, total, size), m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectInletVel_VelNorm(int nFaces, int* ijInletD, bool* judge1DD, double* uD,
                                                      double* vD, double* wD, double& VelNorm, double* buffer,
                                                      int nLevels, const int* count, const int* offset, int total,
                                                      const int* size)
{
    return rvz::CalcPP_FlowE_CorrectInletVel_VelNorm(m_Imple->BlockSize, nFaces, ijInletD, judge1DD, uD, vD, wD,
                                                     VelNorm, buffer, rvz::LevelView(nLevels, count, offset, total, size),
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectWallVel_TotalMass(int nFaces, int iICM_Status, double FCRI, int* ijWallCVD,
                                                       int* ijWallD, int* piIsOutletD, int* isMoveWallD,
                                                       double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
                                                       double* xcD, double* ycD, double* zcD, double* VolFD,
                                                       double* ppD, double* APRD, double* volumeD, double* uD,
                                                       double* vD, double* wD, double* MassFluxWallD,
                                                       double& TotalMassOutlet, double* buffer, int nLevels,
                                                       const int* count, const int* offset, int total, const int* size)
{
    const rvz::FlowEBoundaryCorrectionArgs a{nFaces, ijWallCVD, ijWallD, {ijWallSxD, ijWallSyD, ijWallSzD},
                                             {xcD, ycD, zcD}, APRD, volumeD, ppD, uD, vD, wD, MassFluxWallD};
    return rvz::CalcPP_FlowE_CorrectWallVel_TotalMass(m_Imple->BlockSize, a, iICM_Status, FCRI, piIsOutletD,
                                                      isMoveWallD, VolFD, TotalMassOutlet, buffer,
                                                      rvz::LevelView(nLevels, count, offset, total, size),
                                                      m_Imple->SelectedDevice);
}

// ---- Second corrector ----

int CRVZGPUtool::CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(
    int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijCVPD, int* ijCVED, double* sxD, double* syD,
    double* szD, double* xcD, double* ycD, double* zcD, double* APRD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
    double* MassFluxD, double* mfeCorrD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
    int* MapFace2CellEyD, double* AELLDtemp, double* SourceD, int faceBlocks, int cellBlocks)
{
    return rvz::CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(
        m_Imple->BlockSize,
        CorrectorArgs(nFaces, nCells, new_nnu, NColumnPerRow, ijCVPD, ijCVED, sxD, syD, szD, xcD, ycD, zcD, APRD,
                      dp_dxD, dp_dyD, dp_dzD, MassFluxD, mfeCorrD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                      MapFace2CellEyD, AELLDtemp, SourceD, faceBlocks, cellBlocks),
        nullptr, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Par(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijCVPParD, int* ijCVEParD, double* sxParD,
    double* syParD, double* szParD, double* xcD, double* ycD, double* zcD, double* APRD, double* dp_dxD,
    double* dp_dyD, double* dp_dzD, double* MassFluxParD, double* mfeCorrD, int* ParMapFace2CellPxD,
    int* ParMapFace2CellPyD, double* AELLDtemp, double* SourceD, int* Par2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(
        m_Imple->BlockSize,
        CorrectorArgs(nFaces, nRows, new_nnu, NColumnPerRow, ijCVPParD, ijCVEParD, sxParD, syParD, szParD, xcD, ycD,
                      zcD, APRD, dp_dxD, dp_dyD, dp_dzD, MassFluxParD, mfeCorrD, ParMapFace2CellPxD,
                      ParMapFace2CellPyD, nullptr, nullptr, AELLDtemp, SourceD, faceBlocks, rowBlocks),
        Par2CellPD, m_Imple->SelectedDevice);
}
