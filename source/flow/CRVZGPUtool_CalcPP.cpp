// Facade methods of the pressure correction.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcPP.h"

namespace {

rvz::InnerFluxPPArgs InnerArgs(int nFaces, int* ijPD, int* ijED, double* leD, double* dp_dxD, double* dp_dyD,
                               double* dp_dzD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                               double* wD, double* pD, double* APRD, double* sxD, double* syD, double* szD,
                               double* mfeD, double* aED, double* aWD, int stab, int faceBlocks)
{
    rvz::InnerFluxPPArgs a{};
    a.nFaces = nFaces;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.leD = leD;
    a.gradP = {dp_dxD, dp_dyD, dp_dzD};
    a.centroid = {xcD, ycD, zcD};
    a.uD = uD;
    a.vD = vD;
    a.wD = wD;
    a.pD = pD;
    a.APRD = APRD;
    a.area = {sxD, syD, szD};
    a.mfeD = mfeD;
    a.aED = aED;
    a.aWD = aWD;
    a.IsFaceMassFluxStab = stab;
    a.faceGrid = faceBlocks;
    return a;
}

}  // namespace

int CRVZGPUtool::Calc_InnerFluxPP(int nFaces, int* ijPD, int* ijED, double* leD, double*, double*, double*, double*,
                                  double*, double*, double*, double*, double*, double* dp_dxD, double* dp_dyD,
                                  double* dp_dzD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                                  double* wD, double* pD, double* APRD, double* sxD, double* syD, double* szD,
                                  double* mfeD, double* aED, double* aWD, int IsFaceMassFluxStab, int faceBlocks)
{
    const rvz::InnerFluxPPArgs a = InnerArgs(nFaces, ijPD, ijED, leD, dp_dxD, dp_dyD, dp_dzD, xcD, ycD, zcD, uD, vD,
                                             wD, pD, APRD, sxD, syD, szD, mfeD, aED, aWD, IsFaceMassFluxStab,
                                             faceBlocks);
    return rvz::Calc_InnerFluxPP(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_Par(int nFaces, int* ijPD, int* ijED, double* leD, double*, double*, double*,
                                      double*, double*, double*, double*, double*, double*, double* dp_dxD,
                                      double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                      double* uD, double* vD, double* wD, double* pD, double* APRD, double* sxD,
                                      double* syD, double* szD, double* mfeD, double* aED, int IsFaceMassFluxStab,
                                      int faceBlocks)
{
    const rvz::InnerFluxPPArgs a = InnerArgs(nFaces, ijPD, ijED, leD, dp_dxD, dp_dyD, dp_dzD, xcD, ycD, zcD, uD, vD,
                                             wD, pD, APRD, sxD, syD, szD, mfeD, aED, nullptr, IsFaceMassFluxStab,
                                             faceBlocks);
    return rvz::Calc_InnerFluxPP(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_UpdateSourceTerm(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                   int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                                   int* MapFace2CellEyD, double* MassFluxD, double* AELLDtemp,
                                                   double* SourceD, int faceBlocks, int cellBlocks)
{
    return rvz::Calc_InnerFluxPP_UpdateSourceTerm(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow,
                                                  MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD,
                                                  MassFluxD, AELLDtemp, SourceD, faceBlocks, cellBlocks,
                                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                            int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                            double* MassFluxInletD, double* AELLDtemp,
                                                            double* SourceD, int* Map2CellPD, int faceBlocks,
                                                            int rowBlocks)
{
    return rvz::Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow,
                                                           MapFace2CellPxD, MapFace2CellPyD, MassFluxInletD,
                                                           AELLDtemp, SourceD, Map2CellPD, faceBlocks, rowBlocks,
                                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int IsFaceMassFluxStab, double SpruePress, int* ijPD,
    int* ijED, double* uD, double* vD, double* wD, double* xcD, double* ycD, double* zcD, double* dp_dxD,
    double* dp_dyD, double* dp_dzD, double* volumeD, double* APRD, double* mfeD, double* sxD, double* syD,
    double* szD, double* pD, double* ppD, double* aED, double* SourceD, int* MapFace2CellPxD, int* MapFace2CellPyD,
    double* AELLDtemp, int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    rvz::BoundaryFluxPPArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.IsFaceMassFluxStab = IsFaceMassFluxStab;
    a.SpruePress = SpruePress;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.uD = uD;
    a.vD = vD;
    a.wD = wD;
    a.centroid = {xcD, ycD, zcD};
    a.gradP = {dp_dxD, dp_dyD, dp_dzD};
    a.volumeD = volumeD;
    a.APRD = APRD;
    a.mfeD = mfeD;
    a.area = {sxD, syD, szD};
    a.pD = pD;
    a.ppD = ppD;
    a.aED = aED;
    a.SourceD = SourceD;
    a.MapFace2CellPxD = MapFace2CellPxD;
    a.MapFace2CellPyD = MapFace2CellPyD;
    a.AELLDtemp = AELLDtemp;
    a.Map2CellPD = Map2CellPD;
    a.faceGrid = faceBlocks;
    a.rowGrid = rowBlocks;
    return rvz::Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(
    int nFaces, int nRows, int new_nnu, int NColumnPerRow, int IsFaceMassFluxStab, int* ijPD, int* ijED,
    int* FCRIMatchD, double* uD, double* vD, double* wD, double* xcD, double* ycD, double* zcD, double* dp_dxD,
    double* dp_dyD, double* dp_dzD, double* sxD, double* syD, double* szD, double* volumeD, double* APRD, double* pD,
    double* aED, double* mfeD, double* SourceD, int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
    int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    rvz::BoundaryFluxPPArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.IsFaceMassFluxStab = IsFaceMassFluxStab;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.FCRIMatchD = FCRIMatchD;
    a.uD = uD;
    a.vD = vD;
    a.wD = wD;
    a.centroid = {xcD, ycD, zcD};
    a.gradP = {dp_dxD, dp_dyD, dp_dzD};
    a.area = {sxD, syD, szD};
    a.volumeD = volumeD;
    a.APRD = APRD;
    a.pD = pD;
    a.aED = aED;
    a.mfeD = mfeD;
    a.SourceD = SourceD;
    a.MapFace2CellPxD = MapFace2CellPxD;
    a.MapFace2CellPyD = MapFace2CellPyD;
    a.AELLDtemp = AELLDtemp;
    a.Map2CellPD = Map2CellPD;
    a.faceGrid = faceBlocks;
    a.rowGrid = rowBlocks;
    return rvz::Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPP_InletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                          int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                          int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::Calc_InnerFluxPP_InletAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                         MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD, faceBlocks, rowBlocks,
                                         m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                               int* MapFace2CellPyD, int* FCRIMatchD, double* CBD, double* AELLDtemp, double* AELLD,
                               int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::CalcPP_WallAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                              MapFace2CellPyD, FCRIMatchD, CBD, AELLDtemp, AELLD, Map2CellPD, faceBlocks, rowBlocks,
                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_AiSuMassSum(int NInnerCell, int new_nnu, int NColumnPerRow, double rr, double* ppD,
                                  double* AELLD, double* SuD, double& sum, double* buffer, int nLevels,
                                  const int* count, const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_AiSuMassSum(m_Imple->BlockSize, NInnerCell, new_nnu, NColumnPerRow, rr, ppD, AELLD, SuD, sum,
                                 buffer, table, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CheckSum(int nCells, double* ppD, double* SuD, double& sum, double* buffer, int nLevels,
                               const int* count, const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_CheckSum(m_Imple->BlockSize, nCells, ppD, SuD, sum, buffer, table, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundaryPP_Wall(int nFaces, int* ijWallD, int* ijWallCVD, int* FCRIMatchD, double* fiD,
                                            int blocks)
{
    return rvz::Calc_UpdateBoundaryPP_Wall(m_Imple->BlockSize, nFaces, ijWallD, ijWallCVD, FCRIMatchD, fiD, blocks,
                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(int nFaces, int* ijInletD, int* ijInletCVD,
                                                                 double* fiD, int blocks)
{
    return rvz::Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(m_Imple->BlockSize, nFaces, ijInletD, ijInletCVD, fiD,
                                                                blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(int nFaces, int* ijInletD, double* fiD, int blocks)
{
    return rvz::Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(m_Imple->BlockSize, nFaces, ijInletD, fiD, blocks,
                                                                m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundaryPP_Outlet(int nFaces, int* ijOutletD, int* ijOutletCVD, double* fiD, int blocks)
{
    return rvz::Calc_UpdateBoundaryPP_Outlet(m_Imple->BlockSize, nFaces, ijOutletD, ijOutletCVD, fiD, blocks,
                                             m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundaryPP_Symm(int nFaces, int* ijSymmD, int* ijSymmCVD, double* fiD, int blocks)
{
    return rvz::Calc_UpdateBoundaryPP_Symm(m_Imple->BlockSize, nFaces, ijSymmD, ijSymmCVD, fiD, blocks,
                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CorrectPressureVelocityCV(int nCells, double relax, double ppo, int iflag, double* volumeD,
                                                double* APRD, double* ppD, double* pD, double* dp_dxD, double* dp_dyD,
                                                double* dp_dzD, double* uD, double* vD, double* wD, double* SuD,
                                                int blocks)
{
    return rvz::Calc_CorrectPressureVelocityCV(m_Imple->BlockSize, nCells, relax, ppo, iflag, volumeD, APRD, ppD, pD,
                                               dp_dxD, dp_dyD, dp_dzD, uD, vD, wD, SuD, blocks,
                                               m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcPP_CorrectMassFlux(int nFaces, int new_nnu, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                        int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLD, double* ppD,
                                        double* MassFluxD, int blocks)
{
    return rvz::CalcPP_CorrectMassFlux(m_Imple->BlockSize, nFaces, new_nnu, MapFace2CellPxD, MapFace2CellPyD,
                                       MapFace2CellExD, MapFace2CellEyD, AELLD, ppD, MassFluxD, blocks,
                                       m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxPPCorr(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijPD, int* ijED,
                                      double* SxD, double* SyD, double* SzD, double* xcD, double* ycD, double* zcD,
                                      double* APRD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* MassFluxD,
                                      double* SourceD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                      int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, double* tempD,
                                      int faceBlocks, int cellBlocks)
{
    rvz::InnerFluxPPCorrArgs a{};
    a.nFaces = nFaces;
    a.nCells = nCells;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.area = {SxD, SyD, SzD};
    a.centroid = {xcD, ycD, zcD};
    a.APRD = APRD;
    a.gradPP = {dp_dxD, dp_dyD, dp_dzD};
    a.MassFluxD = MassFluxD;
    a.SourceD = SourceD;
    a.tempD = tempD;
    a.SetScatter(MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks,
                 cellBlocks);
    return rvz::Calc_InnerFluxPPCorr(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateVelocitySymmetryBoundary(int nFaces, int* ijSymmCVD, int* ijSymmD, double* ijSymmSxD,
                                                     double* ijSymmSyD, double* ijSymmSzD, double* uD, double* vD,
                                                     double* wD, int blocks)
{
    return rvz::Calc_UpdateVelocitySymmetryBoundary(m_Imple->BlockSize, nFaces, ijSymmCVD, ijSymmD,
                                                    {ijSymmSxD, ijSymmSyD, ijSymmSzD}, uD, vD, wD, blocks,
                                                    m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(int nFaces, int* ijInletD, double* uD, double* vD,
                                                               double* wD, double* ijInletSxD, double* ijInletSyD,
                                                               double* ijInletSzD, double* MassFluxInletD,
                                                               double& inflow, double* buffer, int nLevels,
                                                               const int* count, const int* offset, int total,
                                                               const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(m_Imple->BlockSize, nFaces, ijInletD, uD, vD, wD,
                                                              {ijInletSxD, ijInletSyD, ijInletSzD}, MassFluxInletD,
                                                              inflow, buffer, table, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(
    int nFaces, int* ijInletCVD, int* ijInletD, double* xcD, double* ycD, double* zcD, double* uD, double* vD,
    double* wD, double* ijInletSxD, double* ijInletSyD, double* ijInletSzD, double* volumeD, double* APRD, double* ppD,
    double* MassFluxInletD, double& inflow, double& speedSum, double* inflowBuffer, double* speedBuffer, int nLevels,
    const int* count, const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    const rvz::BoundaryCorrectionArgs a{nFaces,  ijInletCVD, ijInletD, nullptr, {xcD, ycD, zcD},
                                        uD,      vD,         wD,       {ijInletSxD, ijInletSyD, ijInletSzD},
                                        volumeD, APRD,       ppD,      MassFluxInletD};
    return rvz::Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(m_Imple->BlockSize, a, inflow, speedSum, inflowBuffer,
                                                              speedBuffer, table, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CorrectVelocityWallOutlet(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD,
                                                double* xcD, double* ycD, double* zcD, double* uD, double* vD,
                                                double* wD, double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
                                                double* volumeD, double* APRD, double* ppD, double* MassFluxWallD,
                                                double& ventOutflow, double* buffer, int nLevels, const int* count,
                                                const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    const rvz::BoundaryCorrectionArgs a{nFaces,  ijWallCVD, ijWallD, FCRIMatchD, {xcD, ycD, zcD},
                                        uD,      vD,        wD,      {ijWallSxD, ijWallSyD, ijWallSzD},
                                        volumeD, APRD,      ppD,     MassFluxWallD};
    return rvz::Calc_CorrectVelocityWallOutlet(m_Imple->BlockSize, a, ventOutflow, buffer, table,
                                               m_Imple->SelectedDevice);
}
