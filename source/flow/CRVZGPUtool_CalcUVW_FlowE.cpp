// Facade methods of the extended-flow momentum assembly and boundaries.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcUVW_FlowE.h"

// ---------------------------------------------------------------------------
// Interior and partition faces
// ---------------------------------------------------------------------------

int CRVZGPUtool::Calc_FlowE_InnerFluxUVW_mfe(int nFaces, int gIsWeightedFlowRate, double deng, double denl,
                                             int* ijCVPD, int* ijCVED, double* denD, double* VFeD, double* MassFluxD,
                                             double* mfeD, int blocks)
{
    return rvz::Calc_FlowE_InnerFluxUVW_mfe(m_Imple->BlockSize, nFaces, gIsWeightedFlowRate, deng, denl, ijCVPD,
                                            ijCVED, denD, VFeD, MassFluxD, mfeD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_InnerFluxUVW(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                         double nonOrthLimitFactor, double gamma, int* ijPD, int* ijED, double* leD,
                                         double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
                                         double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD,
                                         double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                                         double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
                                         double* mfeD, double* aED, double* aWD, double* SuD, double* SvD,
                                         double* SwD, double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                         int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                         int faceBlocks, int cellBlocks)
{
    const rvz::InnerFluxUVWArgs a =
        rvz::InnerFluxArgs(nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, leD, du_dxD,
                           dv_dxD, dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD,
                           visD, sxD, syD, szD, mfeD, aED, aWD, SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD,
                           MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks, nullptr);
    return rvz::Calc_FlowE_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::AllRows, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_InnerFluxUVWPar(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                            double nonOrthLimitFactor, double gamma, int* ijPParD, int* ijEParD,
                                            double* leParD, double* du_dxD, double* dv_dxD, double* dw_dxD,
                                            double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                                            double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD,
                                            double* uD, double* vD, double* wD, double* visD, double* sxParD,
                                            double* syParD, double* szParD, double* mfeD, double* aED, double* SuD,
                                            double* SvD, double* SwD, double* tempD, int* ParMapFace2CellPxD,
                                            int* ParMapFace2CellPyD, int* ParMapFace2CellExD,
                                            int* ParMapFace2CellEyD, double* AELLDtemp, int faceBlocks,
                                            int cellBlocks, int* Map2CellPED)
{
    const rvz::InnerFluxUVWArgs a = rvz::InnerFluxArgs(
        nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPParD, ijEParD, leParD, du_dxD, dv_dxD,
        dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD, visD, sxParD, syParD,
        szParD, mfeD, aED, nullptr, SuD, SvD, SwD, tempD, ParMapFace2CellPxD, ParMapFace2CellPyD, ParMapFace2CellExD,
        ParMapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks, Map2CellPED);
    return rvz::Calc_FlowE_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::Partition, a,
                                        m_Imple->SelectedDevice);
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

int CRVZGPUtool::Calc_FlowE_GravityForceContribution(int nCells, double denMax, double denMin, double GravX,
                                                     double GravY, double GravZ, double* SuD, double* SvD,
                                                     double* SwD, double* volumeD, double* denD, int blocks)
{
    return rvz::Calc_FlowE_GravityForceContribution(m_Imple->BlockSize, nCells, denMax, denMin, GravX, GravY, GravZ,
                                                    SuD, SvD, SwD, volumeD, denD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SurfaceTensionMethodOne(int nCells, double denMax, double denMin, double STCoeff,
                                                    double* volumeD, double* CurvD, double* denD, double* dVF_dxD,
                                                    double* dVF_dyD, double* dVF_dzD, double* SuD, double* SvD,
                                                    double* SwD, int blocks)
{
    return rvz::Calc_FlowE_SurfaceTensionMethodOne(m_Imple->BlockSize, nCells, denMax, denMin, STCoeff, volumeD,
                                                   CurvD, denD, dVF_dxD, dVF_dyD, dVF_dzD, SuD, SvD, SwD, blocks,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_2ndImplicitEulerMethodAi(int nCells, double OneOver_dtdtNor, double BlendTime,
                                                     double* denD, double* volumeD, double* u0D, double* v0D,
                                                     double* w0D, double* u00D, double* v00D, double* w00D,
                                                     double* AELLD, double* APvD, double* APRD, double* SuD,
                                                     double* SvD, double* SwD, int blocks)
{
    return rvz::Calc_FlowE_2ndImplicitEulerMethodAi(m_Imple->BlockSize, nCells, OneOver_dtdtNor, BlendTime, denD,
                                                    volumeD, u0D, v0D, w0D, u00D, v00D, w00D, AELLD, APvD, APRD, SuD,
                                                    SvD, SwD, blocks, m_Imple->SelectedDevice);
}

// ---------------------------------------------------------------------------
// Final coefficients
// ---------------------------------------------------------------------------

int CRVZGPUtool::Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(int nnu, int new_nnu, int NColumnPerRow, double relax,
                                                       double OneOver_relax, double* fiD, double* AiAPvAPRD,
                                                       double* AELLD, double* SfiD, int blocks)
{
    return rvz::Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax,
                                                      OneOver_relax, fiD, AiAPvAPRD, AELLD, SfiD, blocks,
                                                      m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_FinalCoeffRHS_fi(int nnu, int new_nnu, int NColumnPerRow, int* indexELLD, double* AELLD,
                                             double* SfiD, double* dp_d_D, double* volumeD, double* fiOldD,
                                             double* fiD, int blocks)
{
    return rvz::Calc_FlowE_FinalCoeffRHS_fi(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, indexELLD, AELLD, SfiD,
                                            dp_d_D, volumeD, fiOldD, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_FinalCoeffRHS_UpdateAPR(int nnu, double* AELLD, double* APRD, int blocks)
{
    return rvz::Calc_FlowE_FinalCoeffRHS_UpdateAPR(m_Imple->BlockSize, nnu, AELLD, APRD, blocks,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(int nnu, int new_nnu, int NColumnPerRow, double* AELLD,
                                                            double* APRD, int blocks)
{
    return rvz::Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, AELLD,
                                                           APRD, blocks, m_Imple->SelectedDevice);
}

// ---------------------------------------------------------------------------
// Inlet faces
// ---------------------------------------------------------------------------

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_mfe(int nFaces, int* ijInletD, double* denD, double* MassFluxInletD,
                                                  double* mfeD, int blocks)
{
    return rvz::Calc_FlowE_UVW_InletBoundary_mfe(m_Imple->BlockSize, nFaces, ijInletD, denD, MassFluxInletD, mfeD,
                                                 blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_Judge(int nFaces, double FCRI, int /*iFAIMFluidIn*/,
                                                    int* /*ijInletCVD*/, int* ijInletD, int* gpInletbInD,
                                                    double* VolFD, double* /*MFD*/, bool* judge3D, bool* judge4D,
                                                    int blocks)
{
    return rvz::Calc_FlowE_UVW_InletBoundary_Judge(m_Imple->BlockSize, nFaces, FCRI, ijInletD, gpInletbInD, VolFD,
                                                   judge3D, judge4D, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(int nFaces, int* ijInletCVD, int* ijInletD,
                                                               bool* judge3D, double* du_dxD, double* du_dyD,
                                                               double* du_dzD, double* dv_dxD, double* dv_dyD,
                                                               double* dv_dzD, double* dw_dxD, double* dw_dyD,
                                                               double* dw_dzD, int blocks)
{
    double* const gradients[9] = {du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD, dw_dxD, dw_dyD, dw_dzD};
    return rvz::Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(m_Imple->BlockSize, nFaces, ijInletCVD, ijInletD,
                                                              judge3D, gradients, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(int nFaces, double /*le_*/, int* ijPD, int* ijED,
                                                                double* visD, double* sxD, double* syD, double* szD,
                                                                double* xcD, double* ycD, double* zcD, double* mfeD,
                                                                double* aED, double* aWD, int blocks)
{
    return rvz::Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(m_Imple->BlockSize, nFaces, ijPD, ijED, visD, sxD, syD,
                                                               szD, xcD, ycD, zcD, mfeD, aED, aWD, blocks,
                                                               m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor, double gamma, int* ijPD,
    int* ijED, double le_, bool* judge3D, double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
    double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD, double* dw_dzD, double* xcD, double* ycD,
    double* zcD, double* uD, double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
    double* mfeD, double* SuD, double* SvD, double* SwD, double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
    int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPBD)
{
    const rvz::InnerFluxUVWArgs a = rvz::InnerFluxArgs(
        nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, nullptr, du_dxD, dv_dxD,
        dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD, visD, sxD, syD, szD, mfeD,
        nullptr, nullptr, SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD,
        AELLDtemp, faceBlocks, cellBlocks, Map2CellPBD);
    return rvz::Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(m_Imple->BlockSize, a, le_, judge3D,
                                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* /*unused*/, int* ijInletD, double* aED, bool* judge3D,
    double* uD, double* vD, double* wD, double* SuD, double* SvD, double* SwD, double* temp1D, double* temp2D,
    double* temp3D, int* MapFace2CellPxD, int* MapFace2CellPyD, int* /*unused2*/, int* /*unused3*/,
    double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPBD)
{
    return rvz::Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(
        m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, ijInletD, aED, judge3D, uD, vD, wD, SuD, SvD, SwD,
        temp1D, temp2D, temp3D, MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, faceBlocks, cellBlocks, Map2CellPBD,
        m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* /*unused*/, int* /*unused2*/, double* aED,
    bool* judge3D, double* APvD, double* APRD, double* AELLD, double* tempD, int* MapFace2CellPxD,
    int* MapFace2CellPyD, int* /*unused3*/, int* /*unused4*/, double* AELLDtemp, int faceBlocks, int cellBlocks,
    int* Map2CellPD)
{
    return rvz::Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(
        m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, aED, judge3D, APvD, APRD, AELLD, tempD,
        MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, faceBlocks, cellBlocks, Map2CellPD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_Inlet_UNF(int nFaces, int iFAIMIn, int iFillType, int* ijInletCVD, int* ijInletD,
                                          int* gpInletbInD, int* piIsOutletD, double* ijInletSxD, double* ijInletSyD,
                                          double* ijInletSzD, double* uD, double* vD, double* wD,
                                          double* MassFluxInletD, int blocks)
{
    return rvz::Calc_FlowE_UVW_Inlet_UNF(m_Imple->BlockSize, nFaces, iFAIMIn, iFillType, ijInletCVD, ijInletD,
                                         gpInletbInD, piIsOutletD, ijInletSxD, ijInletSyD, ijInletSzD, uD, vD, wD,
                                         MassFluxInletD, blocks, m_Imple->SelectedDevice);
}

// ---------------------------------------------------------------------------
// Walls, vents and moving walls
// ---------------------------------------------------------------------------

int CRVZGPUtool::Calc_FlowE_UVW_GetSurf_DistWall(int nFaces, int* ijPD, double* sxD, double* syD, double* szD,
                                                 double* f_xcD, double* f_ycD, double* f_zcD, double* xcD,
                                                 double* ycD, double* zcD, double* surf_distwallD, int blocks)
{
    return rvz::Calc_FlowE_UVW_GetSurf_DistWall(m_Imple->BlockSize, nFaces, ijPD, sxD, syD, szD, f_xcD, f_ycD, f_zcD,
                                                xcD, ycD, zcD, surf_distwallD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_Wall_Judge(int nFaces, double FCRI, int iICM_Status, int* ijWallD, int* piIsOutletD,
                                           int* isMoveWallD, double* VolFD, bool* judgeD, bool* neg_judgeD,
                                           int blocks)
{
    return rvz::Calc_FlowE_UVW_Wall_Judge(m_Imple->BlockSize, nFaces, FCRI, iICM_Status, ijWallD, piIsOutletD,
                                          isMoveWallD, VolFD, judgeD, neg_judgeD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_coef(int nFaces, int* ijWallD, double* visD, double* Surf_DistWallD, double* coefD,
                                     int blocks)
{
    return rvz::Calc_FlowE_UVW_coef(m_Imple->BlockSize, nFaces, ijWallD, visD, Surf_DistWallD, coefD, blocks,
                                    m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_SetJudgeTrueOrFalse(int nFaces, bool TrueOrFalse, bool* judgeD, int blocks)
{
    return rvz::Calc_FlowE_UVW_SetJudgeTrueOrFalse(m_Imple->BlockSize, nFaces, TrueOrFalse, judgeD, blocks,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVW_SetUVWWall(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijBD,
                                           bool* judge4D, double* coefD, double* visD, double* uD, double* vD,
                                           double* wD, double* temp1D, double* temp2D, double* temp3D,
                                           double* temp4D, double* AELLD, double* APvD, double* APRD, double* SuD,
                                           double* SvD, double* SwD, double* AELLDtemp, int* MapFace2CellPxD,
                                           int* MapFace2CellPyD, int* /*unused*/, int* /*unused2*/, int* Map2CellPD,
                                           int faceBlocks, int cellBlocks)
{
    rvz::SetUVWWallArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijBD = ijBD;
    a.judge4D = judge4D;
    a.coefD = coefD;
    a.visD = visD;
    a.uD = uD;
    a.vD = vD;
    a.wD = wD;
    a.temp1D = temp1D;
    a.temp2D = temp2D;
    a.temp3D = temp3D;
    a.temp4D = temp4D;
    a.AELLD = AELLD;
    a.APvD = APvD;
    a.APRD = APRD;
    a.SuD = SuD;
    a.SvD = SvD;
    a.SwD = SwD;
    a.AELLDtemp = AELLDtemp;
    a.MapFace2CellPxD = MapFace2CellPxD;
    a.MapFace2CellPyD = MapFace2CellPyD;
    a.Map2CellPD = Map2CellPD;
    a.faceGrid = faceBlocks;
    a.cellGrid = cellBlocks;
    return rvz::Calc_FlowE_UVW_SetUVWWall(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_UVM_Wall_ICM(int nFaces, int iICM_Status, double FCRI, int* ijWallCVD, int* ijWallD,
                                         double* ijWallSxD, double* ijWallSyD, double* ijWallSzD, double* VolFD,
                                         int* piIsOutletD, int* isMoveWallD, double* MassFluxWallD, double* uD,
                                         double* vD, double* wD, int blocks)
{
    return rvz::Calc_FlowE_UVW_Wall_ICM(m_Imple->BlockSize, nFaces, iICM_Status, FCRI, ijWallCVD, ijWallD, ijWallSxD,
                                        ijWallSyD, ijWallSzD, VolFD, piIsOutletD, isMoveWallD, MassFluxWallD, uD, vD,
                                        wD, blocks, m_Imple->SelectedDevice);
}
