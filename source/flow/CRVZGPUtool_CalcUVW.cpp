// Facade methods of the momentum assembly.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcUVW.h"

int CRVZGPUtool::Calc_InnerFluxUVW(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                                   double gamma, int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD,
                                   double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                                   double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                                   double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
                                   double* mfeD, double* aED, double* aWD, double* SuD, double* SvD, double* SwD,
                                   double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                   int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks)
{
    const rvz::InnerFluxUVWArgs a =
        rvz::InnerFluxArgs(nFaces, nCells, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, leD, du_dxD,
                           dv_dxD, dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD,
                           visD, sxD, syD, szD, mfeD, aED, aWD, SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD,
                           MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks, nullptr);
    return rvz::Calc_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::AllRows, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxUVW_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                       double nonOrthLimitFactor, double gamma, int* ijPD, int* ijED, double* leD,
                                       double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
                                       double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD,
                                       double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                                       double* wD, double* visD, double* sxD, double* syD, double* szD, double* mfeD,
                                       double* aED, double* aWD, double* SuD, double* SvD, double* SwD, double* tempD,
                                       int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                       int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                                       int* Map2CellPBD)
{
    const rvz::InnerFluxUVWArgs a =
        rvz::InnerFluxArgs(nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, leD, du_dxD,
                           dv_dxD, dw_dxD, du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD,
                           visD, sxD, syD, szD, mfeD, aED, aWD, SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD,
                           MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks, Map2CellPBD);
    return rvz::Calc_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::ListedRows, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxUVW_Opt_ONE(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                           double nonOrthLimitFactor, double gamma, int* ijPD, int* ijED,
                                           double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
                                           double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD,
                                           double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                                           double* vD, double* wD, double* visD, double* sxD, double* syD,
                                           double* szD, double* mfeD, double* aED, double* aWD, double* SuD,
                                           double* SvD, double* SwD, double* tempD, int* MapFace2CellPxD,
                                           int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                           double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPBD)
{
    const rvz::InnerFluxUVWArgs a = rvz::InnerFluxArgs(
        nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, nullptr, du_dxD, dv_dxD, dw_dxD,
        du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD, visD, sxD, syD, szD, mfeD, aED, aWD,
        SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks,
        cellBlocks, Map2CellPBD);
    return rvz::Calc_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::ListedOne, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxUVW_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                       double nonOrthLimitFactor, double gamma, int* ijPD, int* ijED, double* leD,
                                       double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
                                       double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD,
                                       double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                                       double* wD, double* visD, double* sxD, double* syD, double* szD, double* mfeD,
                                       double* aED, double* SuD, double* SvD, double* SwD, double* tempD,
                                       int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                       int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                                       int* Map2CellPBD)
{
    const rvz::InnerFluxUVWArgs a = rvz::InnerFluxArgs(
        nFaces, nRows, new_nnu, NColumnPerRow, nonOrthLimitFactor, gamma, ijPD, ijED, leD, du_dxD, dv_dxD, dw_dxD,
        du_dyD, dv_dyD, dw_dyD, du_dzD, dv_dzD, dw_dzD, xcD, ycD, zcD, uD, vD, wD, visD, sxD, syD, szD, mfeD, aED,
        nullptr, SuD, SvD, SwD, tempD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp,
        faceBlocks, cellBlocks, Map2CellPBD);
    return rvz::Calc_InnerFluxUVW(m_Imple->BlockSize, rvz::InnerFluxForm::Partition, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_mfeD(int nFaces, double denl, double deng, double* VFeD, double* MassFluxD, double* mfeD,
                           int blocks)
{
    return rvz::Calc_mfeD(m_Imple->BlockSize, nFaces, denl, deng, VFeD, MassFluxD, mfeD, blocks,
                          m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_SC_mfeD_Par(int nFaces, double denl, double deng, int* ijCVPParD, int* ijCVEParD,
                                  double* leParD, double* VolFD, double* MassFluxParD, double* mfeD, int blocks)
{
    return rvz::Calc_SC_mfeD_Par(m_Imple->BlockSize, nFaces, denl, deng, ijCVPParD, ijCVEParD, leParD, VolFD,
                                 MassFluxParD, mfeD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InletBoundary_mfeD(int nFaces, int* ijInletD, double* denD, double* MassFluxInletD,
                                         double* mfeInletD, int blocks)
{
    return rvz::Calc_InletBoundary_mfeD(m_Imple->BlockSize, nFaces, ijInletD, denD, MassFluxInletD, mfeInletD, blocks,
                                        m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GravityForceContribution(int nCells, double GravX, double GravY, double GravZ, double* SuD,
                                               double* SvD, double* SwD, double* volumeD, double* denD, int blocks)
{
    return rvz::Calc_GravityForceContribution(m_Imple->BlockSize, nCells, GravX, GravY, GravZ, SuD, SvD, SwD, volumeD,
                                              denD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_PressureSourceContribution(int nCells, double* volumeD, double* dp_dxD, double* dp_dyD,
                                                 double* dp_dzD, double* SuD, double* SvD, double* SwD, int blocks)
{
    return rvz::Calc_PressureSourceContribution(m_Imple->BlockSize, nCells, volumeD, dp_dxD, dp_dyD, dp_dzD, SuD, SvD,
                                                SwD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UnsteadyTermContribution(int nCells, double dt, double dtNor, double BlendTime, double* denD,
                                               double* volumeD, double* u0D, double* u00D, double* v0D, double* v00D,
                                               double* w0D, double* w00D, double* SuD, double* SvD, double* SwD,
                                               double* APvD, double* APRD, int blocks)
{
    return rvz::Calc_UnsteadyTermContribution(m_Imple->BlockSize, nCells, dt, dtNor, BlendTime, denD, volumeD, u0D,
                                              u00D, v0D, v00D, w0D, w00D, SuD, SvD, SwD, APvD, APRD, blocks,
                                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_2ndImplicitEulerMethodAi(int nCells, double dt, double dtNor, double BlendTime, double* denD,
                                               double* volumeD, double* AELLD, int blocks)
{
    return rvz::Calc_2ndImplicitEulerMethodAi(m_Imple->BlockSize, nCells, dt, dtNor, BlendTime, denD, volumeD, AELLD,
                                              blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateFCRIMatch(int nFaces, int* ijWallD, double* VolFD, double FCRI, int* FCRIMatchD,
                                      int blocks)
{
    return rvz::Calc_UpdateFCRIMatch(m_Imple->BlockSize, nFaces, ijWallD, VolFD, FCRI, FCRIMatchD, blocks,
                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundary_UpdateUVW_coef(int nFaces, int* ijWallD, int* FCRIMatchD, double* Surf_DistWallD,
                                                  double* visD, double* coefD, double* uD, double* vD, double* wD,
                                                  int blocks)
{
    return rvz::Calc_WallBoundary_UpdateUVW_coef(m_Imple->BlockSize, nFaces, ijWallD, FCRIMatchD, Surf_DistWallD,
                                                 visD, coefD, uD, vD, wD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundary_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* /*unused*/,
                                              int* ijWallD, int* FCRIMatchD, double* CBD, double* coefD, double* uD,
                                              double* vD, double* wD, double* APvD, double* APRD, double* SuD,
                                              double* SvD, double* SwD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                              double* tempD, double* tempxD, double* tempyD, double* tempzD,
                                              double* AELLDtemp, int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    const rvz::WallSourceTermArgs a{nFaces, nRows, new_nnu, NColumnPerRow, ijWallD, FCRIMatchD, CBD, coefD,
                                    uD, vD, wD, APvD, APRD, SuD, SvD, SwD, MapFace2CellPxD, MapFace2CellPyD,
                                    tempD, tempxD, tempyD, tempzD, AELLDtemp, Map2CellPD, faceBlocks, rowBlocks};
    return rvz::Calc_WallBoundary_SourceTerm(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InOutletBoundary_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                  int* /*unused*/, int* ijInOutletD, double* CBD, double* uD,
                                                  double* vD, double* wD, double* APvD, double* APRD, double* SuD,
                                                  double* SvD, double* SwD, int* MapFace2CellPxD,
                                                  int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                                  int faceBlocks, int rowBlocks)
{
    const rvz::InOutletSourceTermArgs a{nFaces, nRows, new_nnu, NColumnPerRow, ijInOutletD, CBD, uD, vD, wD,
                                        APvD, APRD, SuD, SvD, SwD, MapFace2CellPxD, MapFace2CellPyD, AELLDtemp,
                                        Map2CellPD, faceBlocks, rowBlocks};
    return rvz::Calc_InOutletBoundary_SourceTerm(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_SymmetryBoundary_UpdateUVW(int nFaces, int* ijSymmCVD, int* ijSymmD, double* uD, double* vD,
                                                 double* wD, int blocks)
{
    return rvz::Calc_SymmetryBoundary_UpdateUVW(m_Imple->BlockSize, nFaces, ijSymmCVD, ijSymmD, uD, vD, wD, blocks,
                                                m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundary_UpdateUVW(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* uD,
                                             double* vD, double* wD, int blocks)
{
    return rvz::Calc_WallBoundary_UpdateUVW(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, FCRIMatchD, uD, vD, wD,
                                            blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcUVW_InOutletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                    int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                    int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::CalcUVW_InOutletAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                   MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD, faceBlocks, rowBlocks,
                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcUVW_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                int* MapFace2CellPyD, int* FCRIMatchD, double* CBD, double* coefD, double* AELLDtemp,
                                double* AELLD, int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::CalcUVW_WallAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                               MapFace2CellPyD, FCRIMatchD, CBD, coefD, AELLDtemp, AELLD, Map2CellPD, faceBlocks,
                               rowBlocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                        double* AELLD, double* AD, double* SfiD, int blocks)
{
    return rvz::Calc_FinalCoeffRHS_Sfi(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax, fiD, AELLD, AD, SfiD,
                                       blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FinalCoeffRHS_fi(int nnu, int new_nnu, int NColumnPerRow, int* indexELLD, double* AELLD,
                                       double* SfiD, double* dp_d_D, double* volumeD, double* fiD, int blocks)
{
    return rvz::Calc_FinalCoeffRHS_fi(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, indexELLD, AELLD, SfiD, dp_d_D,
                                      volumeD, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_ModAi4ValveGate(int nCells, int* AiModifiedD, double* AELLD, int blocks)
{
    return rvz::Calc_ModAi4ValveGate(m_Imple->BlockSize, nCells, AiModifiedD, AELLD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_ModAi4ValveGate_APR(int nCells, double* APRD, double* AELLD, int blocks)
{
    return rvz::Calc_ModAi4ValveGate_APR(m_Imple->BlockSize, nCells, APRD, AELLD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_APR_SIMPLEC(int nnu, int new_nnu, int NColumnPerRow, double* AELLD, double* APRD, int blocks)
{
    return rvz::Calc_APR_SIMPLEC(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, AELLD, APRD, blocks,
                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GetInVel_TotalInletArea(int nFaces, double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                              double* buffer, int blocks, int nLevels, const int* count,
                                              const int* offset, int total, const int* size, double& TotalInletArea)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_GetInVel_TotalInletArea(m_Imple->BlockSize, nFaces, ijInletSxD, ijInletSyD, ijInletSzD, buffer,
                                             blocks, table, TotalInletArea, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GetInVel_UVW_TotalMomentum_VelNorm(int nFaces, double denl, double TotalMassInletAvg,
                                                         int* ijInletD, double* ijInletSxD, double* ijInletSyD,
                                                         double* ijInletSzD, double* MassFluxInletD, double* uD,
                                                         double* vD, double* wD, double* momentumBuffer,
                                                         double* velNormBuffer, double* volumeBuffer, int blocks,
                                                         int nLevels, const int* count, const int* offset, int total,
                                                         const int* size, double& TotalMomentum, double& VelNorm,
                                                         double& EstTotalVolumeInlet)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_GetInVel_UVW_TotalMomentum_VelNorm(
        m_Imple->BlockSize, nFaces, denl, TotalMassInletAvg, ijInletD, ijInletSxD, ijInletSyD, ijInletSzD,
        MassFluxInletD, uD, vD, wD, momentumBuffer, velNormBuffer, volumeBuffer, blocks, table, TotalMomentum, VelNorm,
        EstTotalVolumeInlet, m_Imple->SelectedDevice);
}
