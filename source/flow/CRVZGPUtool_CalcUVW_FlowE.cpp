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
