// Facade methods of the energy equation assembly.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcSC.h"

namespace {

rvz::InnerFluxSCArgs InnerArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp, double FCRI,
                               int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                               double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                               double* szD, double* mfeD, double* aED, double* aWD, double* SourceD, double* VolFD,
                               double* mkD, double* tempD, int* Px, int* Py, int* Ex, int* Ey, double* AELLDtemp,
                               int* rowList, int faceBlocks, int cellBlocks, int* countBuffer)
{
    rvz::InnerFluxSCArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.mCp = mCp;
    a.FCRI = FCRI;
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
    a.mfeD = mfeD;
    a.aED = aED;
    a.aWD = aWD;
    a.SourceD = SourceD;
    a.VolFD = VolFD;
    a.mkD = mkD;
    a.tempD = tempD;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceBlocks, cellBlocks, rowList);
    a.countBuffer = countBuffer;
    return a;
}

}  // namespace

// ---- Interior faces ----

int CRVZGPUtool::Calc_InnerFluxSC_Flow(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp, double FCRI,
                                       int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD,
                                       double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                       double* sxD, double* syD, double* szD, double* mfeD, double* aED, double* aWD,
                                       double* SourceD, double* VolFD, double* mkD, double* tempD, int& norkk,
                                       int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                       int* MapFace2CellEyD, double* AELLDtemp, int cellBlocks, int faceBlocks,
                                       int nLevels, const int* count, const int* offset, int total, const int* size,
                                       int* norkkNextLevel_D)
{
    const rvz::InnerFluxSCArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCp, FCRI, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD,
                  xcD, ycD, zcD, sxD, syD, szD, mfeD, aED, aWD, SourceD, VolFD, mkD, tempD, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, nullptr, faceBlocks, cellBlocks,
                  norkkNextLevel_D);
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxSC_Flow(m_Imple->BlockSize, rvz::InnerFluxForm::AllRows, a, table, norkk,
                                      m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxSC_Flow_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp,
                                           double FCRI, int* ijPD, int* ijED, double* leD, double* fiD,
                                           double* dp_dxD, double* dp_dyD, double* dp_dzD, double* xcD, double* ycD,
                                           double* zcD, double* sxD, double* syD, double* szD, double* mfeD,
                                           double* aED, double* aWD, double* SourceD, double* VolFD, double* mkD,
                                           double* tempD, int& norkk, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                           int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                           int* Map2CellPBD, int faceBlocks, int cellBlocks, int nLevels,
                                           const int* count, const int* offset, int total, const int* size,
                                           int* norkkNextLevel_D)
{
    const rvz::InnerFluxSCArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCp, FCRI, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD,
                  xcD, ycD, zcD, sxD, syD, szD, mfeD, aED, aWD, SourceD, VolFD, mkD, tempD, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, Map2CellPBD, faceBlocks, cellBlocks,
                  norkkNextLevel_D);
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxSC_Flow(m_Imple->BlockSize, rvz::InnerFluxForm::ListedRows, a, table, norkk,
                                      m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxSC_Flow_Opt_ONE(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp,
                                               double FCRI, int* ijPD, int* ijED, double* fiD, double* dp_dxD,
                                               double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                               double* sxD, double* syD, double* szD, double* mfeD, double* aED,
                                               double* aWD, double* SourceD, double* VolFD, double* mkD,
                                               double* tempD, int& norkk, int* MapFace2CellPxD,
                                               int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                               double* AELLDtemp, int* Map2CellPBD, int faceBlocks, int cellBlocks,
                                               int nLevels, const int* count, const int* offset, int total,
                                               const int* size, int* norkkNextLevel_D)
{
    const rvz::InnerFluxSCArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCp, FCRI, ijPD, ijED, nullptr, fiD, dp_dxD, dp_dyD,
                  dp_dzD, xcD, ycD, zcD, sxD, syD, szD, mfeD, aED, aWD, SourceD, VolFD, mkD, tempD, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, Map2CellPBD, faceBlocks, cellBlocks,
                  norkkNextLevel_D);
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxSC_Flow(m_Imple->BlockSize, rvz::InnerFluxForm::ListedOne, a, table, norkk,
                                      m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxSC_Flow_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp,
                                           double FCRI, int* ijPD, int* ijED, double* leD, double* fiD,
                                           double* dp_dxD, double* dp_dyD, double* dp_dzD, double* xcD, double* ycD,
                                           double* zcD, double* sxD, double* syD, double* szD, double* mfeD,
                                           double* aED, double* SourceD, double* VolFD, double* mkD, double* tempD,
                                           int& norkk, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                           int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                           int* Map2CellPBD, int cellBlocks, int faceBlocks, int nLevels,
                                           const int* count, const int* offset, int total, const int* size,
                                           int* norkkNextLevel_D)
{
    const rvz::InnerFluxSCArgs a =
        InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, mCp, FCRI, ijPD, ijED, leD, fiD, dp_dxD, dp_dyD, dp_dzD,
                  xcD, ycD, zcD, sxD, syD, szD, mfeD, aED, nullptr, SourceD, VolFD, mkD, tempD, MapFace2CellPxD,
                  MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, Map2CellPBD, faceBlocks, cellBlocks,
                  norkkNextLevel_D);
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxSC_Flow(m_Imple->BlockSize, rvz::InnerFluxForm::Partition, a, table, norkk,
                                      m_Imple->SelectedDevice);
}

// ---- Boundary values and gradients ----

int CRVZGPUtool::Calc_InletBoundarySC_Update_ddfi(int nFaces, bool IsTranInConv_RIM, double MeltT,
                                                  double dTransientInletTemperature, int* ijInletCVD, int* ijInletD,
                                                  double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD,
                                                  int blocks)
{
    return rvz::Calc_InletBoundarySC_Update_ddfi(m_Imple->BlockSize, nFaces, IsTranInConv_RIM, MeltT,
                                                 dTransientInletTemperature, ijInletCVD, ijInletD, dp_dxD, dp_dyD,
                                                 dp_dzD, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_OutletBoundarySC_Update_ddfi(int nFaces, int* ijOutletCVD, int* ijOutletD, double* dp_dxD,
                                                   double* dp_dyD, double* dp_dzD, double* fiD, int blocks)
{
    return rvz::Calc_OutletBoundarySC_Update_ddfi(m_Imple->BlockSize, nFaces, ijOutletCVD, ijOutletD, dp_dxD, dp_dyD,
                                                  dp_dzD, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_SymmetryBoundary_UpdateT(int nFaces, int* ijSymmCVD, int* ijSymmD, double* TD, int blocks)
{
    return rvz::Calc_SymmetryBoundary_UpdateT(m_Imple->BlockSize, nFaces, ijSymmCVD, ijSymmD, TD, blocks,
                                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundarySC_ddfi(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* dp_dxD,
                                          double* dp_dyD, double* dp_dzD, double* fiD, int blocks)
{
    return rvz::Calc_WallBoundarySC_ddfi(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, FCRIMatchD, dp_dxD, dp_dyD,
                                         dp_dzD, fiD, blocks, m_Imple->SelectedDevice);
}

// ---- Wall thermal conditions ----

int CRVZGPUtool::Calc_WallBoundarySC_UpdateT_coef(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD,
                                                  int* HotRunnerCellD, double* Surf_DistWallD, double* mkD,
                                                  double* C2FMoldTD, double* coefD, double* TD, int blocks)
{
    return rvz::Calc_WallBoundarySC_UpdateT_coef(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, FCRIMatchD,
                                                 HotRunnerCellD, Surf_DistWallD, mkD, C2FMoldTD, coefD, TD, blocks,
                                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(int nFaces, int* ijWallCVD, int* ijWallD,
                                                            double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
                                                            int* FCRIMatchD, int* HotRunnerCellD,
                                                            double dHeatTransferH_CGS, double* Surf_DistWallD,
                                                            double* mkD, double* C2FMoldTD, double* coefD, double* TD,
                                                            int blocks)
{
    return rvz::Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(
        m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, ijWallSxD, ijWallSyD, ijWallSzD, FCRIMatchD, HotRunnerCellD,
        dHeatTransferH_CGS, Surf_DistWallD, mkD, C2FMoldTD, coefD, TD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateThermoBC3WallTemperature(int nFaces, double dHeatTransferH_CGS, int* ijWallCVD,
                                                     int* ijWallD, int* FCRIMatchD, double* ijWallSxD,
                                                     double* ijWallSyD, double* ijWallSzD, double* Surf_DistWallD,
                                                     double* mkD, double* TD, int blocks)
{
    return rvz::Calc_UpdateThermoBC3WallTemperature(m_Imple->BlockSize, nFaces, dHeatTransferH_CGS, ijWallCVD,
                                                    ijWallD, FCRIMatchD, ijWallSxD, ijWallSyD, ijWallSzD,
                                                    Surf_DistWallD, mkD, TD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateHotRunnerWallTemperature(int nFaces, double MeltT, int* ijWallCVD, int* ijWallD,
                                                     int* FCRIMatchD, int* HotRunnerCellD, double* TD,
                                                     double* C2FMoldTD, int blocks)
{
    return rvz::Calc_UpdateHotRunnerWallTemperature(m_Imple->BlockSize, nFaces, MeltT, ijWallCVD, ijWallD,
                                                    FCRIMatchD, HotRunnerCellD, TD, C2FMoldTD, blocks,
                                                    m_Imple->SelectedDevice);
}

// ---- Boundary contributions ----

int CRVZGPUtool::Calc_WallBoundarySC_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* coefD,
                                                int* HotRunnerCellD, double* TD, double* RHS, double* tempD,
                                                int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                                int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    rvz::WallSourceSCArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijWallCVD = ijWallCVD;
    a.ijWallD = ijWallD;
    a.FCRIMatchD = FCRIMatchD;
    a.coefD = coefD;
    a.HotRunnerCellD = HotRunnerCellD;
    a.TD = TD;
    a.RHS = RHS;
    a.tempD = tempD;
    a.MapFace2CellPxD = MapFace2CellPxD;
    a.MapFace2CellPyD = MapFace2CellPyD;
    a.AELLDtemp = AELLDtemp;
    a.Map2CellPD = Map2CellPD;
    a.faceGrid = faceBlocks;
    a.rowGrid = rowBlocks;
    return rvz::Calc_WallBoundarySC_SourceTerm(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InletBoundarySC_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijInletD,
                                                 double* CBD, double* fiD, double* RHS, int* MapFace2CellPxD,
                                                 int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                                 int faceBlocks, int rowBlocks)
{
    return rvz::Calc_InletBoundarySC_SourceTerm(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, ijInletD,
                                                CBD, fiD, RHS, MapFace2CellPxD, MapFace2CellPyD, AELLDtemp,
                                                Map2CellPD, faceBlocks, rowBlocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_InOutletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                   int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                   int* Map2CellPD, int faceBlocks, int rowBlocks)
{
    return rvz::CalcSC_InOutletAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                  MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD, faceBlocks, rowBlocks,
                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijWallCVD,
                               int* MapFace2CellPxD, int* MapFace2CellPyD, int* FCRIMatchD, int* HotRunnerCellD,
                               double* coefD, double* AELLDtemp, double* AELLD, int* Map2CellPD, int faceBlocks,
                               int rowBlocks)
{
    return rvz::CalcSC_WallAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, ijWallCVD, MapFace2CellPxD,
                              MapFace2CellPyD, FCRIMatchD, HotRunnerCellD, coefD, AELLDtemp, AELLD, Map2CellPD,
                              faceBlocks, rowBlocks, m_Imple->SelectedDevice);
}

// ---- Volumetric sources, time term, bound, final coefficients ----

int CRVZGPUtool::Calc_ViscousDisspationVolumetricTerm(int nCells, double FCRI, double lVisHeat, double mCp,
                                                      double* VolFD, double* visD, double* SRateD, double* denD,
                                                      double* volumeD, double* SuD, int blocks)
{
    return rvz::Calc_ViscousDisspationVolumetricTerm(m_Imple->BlockSize, nCells, FCRI, lVisHeat, mCp, VolFD, visD,
                                                     SRateD, denD, volumeD, SuD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_ReactionHeat_Su(int nCells, double FCRI, double mdH, double* VolFD, double* dC_dtD,
                                      double* volumeD, double* SuD, int blocks)
{
    return rvz::Calc_ReactionHeat_Su(m_Imple->BlockSize, nCells, FCRI, mdH, VolFD, dC_dtD, volumeD, SuD, blocks,
                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UnsteadyTermContributionSC(int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                                 double* denD, double* volumeD, double* fi0D, double* fi00D,
                                                 double* SuD, int blocks)
{
    return rvz::Calc_UnsteadyTermContributionSC(m_Imple->BlockSize, nCells, mCp, dt, dtNor, BlendTime, denD, volumeD,
                                                fi0D, fi00D, SuD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_2ndImplicitEulerMethodAi_SC(int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                                  double* denD, double* volumeD, double* AELLD, int blocks)
{
    return rvz::Calc_2ndImplicitEulerMethodAi_SC(m_Imple->BlockSize, nCells, mCp, dt, dtNor, BlendTime, denD,
                                                 volumeD, AELLD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Updatefi_MoldMelt(int nCells, double MeltT_MoldT, double* fiD, int blocks)
{
    return rvz::Calc_Updatefi_MoldMelt(m_Imple->BlockSize, nCells, MeltT_MoldT, fiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcSC_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                          double* AELLD, double* AD, double* SfiD, double MeltT, int* HotRunnerCellD,
                                          int blocks)
{
    return rvz::CalcSC_FinalCoeffRHS_Sfi(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax, fiD, AELLD, AD, SfiD,
                                         MeltT, HotRunnerCellD, blocks, m_Imple->SelectedDevice);
}
