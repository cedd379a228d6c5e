// Facade methods of the volume fraction: donor Courant numbers, cell fill
// rate, fill-volume bookkeeping and front update, the volume-fraction
// equation.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_Vfconv.h"

int CRVZGPUtool::Calc_CourantNoDonnorCell(int nFaces, int nnu, int new_nnu, int NColumnPerRow, int* ijCVPD,
                                          int* ijCVED, double dt, double* MassFluxD, double* volumeD, double* tempPD,
                                          double* tempED, double* CourantNoDD, int* MapFace2CellPxD,
                                          int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                          double* AELLDtemp, int faceGrid, int cellGrid)
{
    return rvz::Calc_CourantNoDonnorCell(m_Imple->BlockSize, nFaces, nnu, new_nnu, NColumnPerRow, ijCVPD, ijCVED, dt,
                                         MassFluxD, volumeD, tempPD, tempED, CourantNoDD, MapFace2CellPxD,
                                         MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceGrid,
                                         cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CourantNoDonnorCell_Wall(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                               int* ijWallCVD, double dt, int* FCRIMatchD, double* MassFluxWallD,
                                               double* volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                               double* tempD, double* AELLDtemp, double* CourantNoDD,
                                               int* Map2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_CourantNoDonnorCell_Wall(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, ijWallCVD,
                                              dt, FCRIMatchD, MassFluxWallD, volumeD, MapFace2CellPxD,
                                              MapFace2CellPyD, tempD, AELLDtemp, CourantNoDD, Map2CellPD, faceGrid,
                                              cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CellFR(int nFaces, int nnu, int new_nnu, int NColumnPerRow, double* MassFluxD, double* tempPD,
                             double* tempED, double* CellFRD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                             int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceGrid,
                             int cellGrid)
{
    return rvz::Calc_CellFR(m_Imple->BlockSize, nFaces, nnu, new_nnu, NColumnPerRow, MassFluxD, tempPD, tempED,
                            CellFRD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp,
                            faceGrid, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_CellFR_Par(int nFaces, int NPar2CellP, int new_nnu, int NColumnPerRow, double* MassFluxD,
                                 double* tempPD, double* CellFRD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                 double* AELLDtemp, int* Par2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_CellFR_Par(m_Imple->BlockSize, nFaces, NPar2CellP, new_nnu, NColumnPerRow, MassFluxD, tempPD,
                                CellFRD, MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, Par2CellPD, faceGrid, cellGrid,
                                m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_pd_dt_Over_volume(int nCells, double dt_, double* volumeD,
                                                  double* pd_dt_Over_volumeD, int cellGrid)
{
    return rvz::Calc_VOF_FlowE_pd_dt_Over_volume(m_Imple->BlockSize, nCells, dt_, volumeD, pd_dt_Over_volumeD,
                                                 cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_CourantNoDonnorCell(int nFaces, int nnu, int new_nnu, int NColumnPerRow,
                                                    int* ijCVPD, int* ijCVED, double* MassFluxD,
                                                    double* pd_dt_Over_volumeD, double* tempPD, double* tempED,
                                                    double* CourantNoDD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                    int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                                    int faceGrid, int cellGrid)
{
    return rvz::Calc_VOF_FlowE_CourantNoDonnorCell(m_Imple->BlockSize, nFaces, nnu, new_nnu, NColumnPerRow, ijCVPD,
                                                   ijCVED, MassFluxD, pd_dt_Over_volumeD, tempPD, tempED,
                                                   CourantNoDD, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                                                   MapFace2CellEyD, AELLDtemp, faceGrid, cellGrid,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_CourantNoDonnorCell_Wall(
    int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri, int IsMainPhase, int iFAIMFluidIn,
    int iICM_Status, int* ijWallCVD, int* ijWallD, int* piIsOutletD, int* isMoveWallD, double* VolFD,
    float* mftimeD, double* MassFluxOutletD, double* pd_dt_Over_volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD,
    double* tempD, double* AELLDtemp, double* CourantNoDD, int* Map2CellPD, int faceGrid, int cellGrid)
{
    (void)IsMainPhase;  // accepted for the caller's argument order; the rule does not read them
    (void)iFAIMFluidIn;
    (void)mftimeD;
    return rvz::Calc_VOF_FlowE_CourantNoDonnorCell_Wall(
        m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, fcri, iICM_Status, ijWallCVD, ijWallD,
        piIsOutletD, isMoveWallD, VolFD, MassFluxOutletD, pd_dt_Over_volumeD, MapFace2CellPxD, MapFace2CellPyD, tempD,
        AELLDtemp, CourantNoDD, Map2CellPD, faceGrid, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(
    int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri, int IsMainPhase, int iFAIMFluidIn,
    int* ijInletCVD, int* ijInletD, int* gpInletbInD, double* VolFD, float* mftimeD, double* MassFluxInletD,
    double* pd_dt_Over_volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD, double* tempD, double* AELLDtemp,
    double* CourantNoDD, int* Map2CellPD, int faceGrid, int cellGrid)
{
    (void)IsMainPhase;  // accepted for the caller's argument order; the rule does not read them
    (void)iFAIMFluidIn;
    (void)mftimeD;
    return rvz::Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(
        m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, fcri, ijInletCVD, ijInletD, gpInletbInD, VolFD,
        MassFluxInletD, pd_dt_Over_volumeD, MapFace2CellPxD, MapFace2CellPyD, tempD, AELLDtemp, CourantNoDD,
        Map2CellPD, faceGrid, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_CourantNoDonnorCell_Par(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                        int* ijCVPParD, double* MassFluxParD,
                                                        double* pd_dt_Over_volumeD, double* tempPD,
                                                        double* CourantNoDD, int* MapFace2CellPxD,
                                                        int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                                        int faceGrid, int cellGrid)
{
    return rvz::Calc_CourantNoDonnorCell_Par(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, ijCVPParD,
                                             MassFluxParD, pd_dt_Over_volumeD, 0.0, nullptr, tempPD, CourantNoDD,
                                             MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, Map2CellPD, faceGrid,
                                             cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_Flow_CourantNoDonnorCell_Par(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                       int* ijCVPParD, double* MassFluxParD, double dt,
                                                       double* volumeD, double* tempPD, double* CourantNoDD,
                                                       int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                       double* AELLDtemp, int* Map2CellPD, int faceGrid,
                                                       int cellGrid)
{
    return rvz::Calc_CourantNoDonnorCell_Par(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, ijCVPParD,
                                             MassFluxParD, nullptr, dt, volumeD, tempPD, CourantNoDD,
                                             MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, Map2CellPD, faceGrid,
                                             cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_VolF_FillVol_Less(int nCells, double* VolFD, double EMF, double EMF1, int grid)
{
    return rvz::Calc_Vfconv_VolF_FillVol_Less(m_Imple->BlockSize, nCells, VolFD, EMF, EMF1, grid,
                                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_VolF_FillVol_More(int nCells, double* VolFD, double EMF, double FCRI, int grid)
{
    return rvz::Calc_Vfconv_VolF_FillVol_More(m_Imple->BlockSize, nCells, VolFD, EMF, FCRI, grid,
                                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_VolF_Update(int nCells, double* VolFD, float* MFD, double EMF, double FCRI, int grid)
{
    return rvz::Calc_Vfconv_VolF_Update(m_Imple->BlockSize, nCells, VolFD, MFD, EMF, FCRI, grid,
                                        m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_RecordIsoFilledSurface(int nCells, double Time, double FCRI, float* MFD, double* VolFD,
                                                    int grid)
{
    return rvz::Calc_Vfconv_RecordIsoFilledSurface(m_Imple->BlockSize, nCells, Time, FCRI, MFD, VolFD, grid,
                                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::ResetVolFToSpecificValue(int nCells, double* VolFD, double Value, int grid)
{
    return rvz::ResetVolFToSpecificValue(m_Imple->BlockSize, nCells, VolFD, Value, grid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FVolUpdate_UpdateVolF(int nCells, double dvol, double FCRI, double* VolFD, double* volumeD,
                                            int grid)
{
    return rvz::Calc_FVolUpdate_UpdateVolF(m_Imple->BlockSize, nCells, dvol, FCRI, VolFD, volumeD, grid,
                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FVolUpdate_FillVol(int nCells, double* VolFD, double* volumeD, double* buffer, int grid,
                                         int nLevels, const int* count, const int* offset, int total,
                                         const int* size, double& FillVol)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_FVolUpdate_FillVol(m_Imple->BlockSize, nCells, VolFD, volumeD, buffer, grid, table, FillVol,
                                        m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FVolUpdate_UnFilledCells(int nCells, double FCRI, double* VolFD, int* buffer, int grid,
                                               int nLevels, const int* count, const int* offset, int total,
                                               const int* size, int& UnFilledCells)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_FVolUpdate_UnFilledCells(m_Imple->BlockSize, nCells, FCRI, VolFD, buffer, grid, table,
                                              UnFilledCells, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FVolUpdate_nfront(int nCells, double FCRI, double* VolFD, int* buffer, int grid, int nLevels,
                                        const int* count, const int* offset, int total, const int* size, int& nfront)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_FVolUpdate_nfront(m_Imple->BlockSize, nCells, FCRI, VolFD, buffer, grid, table, nfront,
                                       m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxVolF(int nFaces, int, int, int, int* ijCVPD, int* ijCVED, double* CourantNoD,
                                    double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* xcD, double* ycD,
                                    double* zcD, double* VolFD, double* volumeD, double* BetafD, double* mfeD,
                                    double* aED, double* aWD, double*, double* tempD, double* CeMaxNextLevel_D,
                                    double* FrontVolNextLevel_D, int*, int*, int*, int*, double*, double FCRI, int,
                                    int faceGrid, int nLevels, const int* count, const int* offset, int total,
                                    const int* size, double& CeMax, double& FrontVol)
{
    (void)tempD;  // accepted for the caller's argument order; not accessed
    const rvz::InnerFluxVolFArgs a{nFaces, ijCVPD, ijCVED, CourantNoD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD,
                                   VolFD, volumeD, BetafD, mfeD, aED, aWD, CeMaxNextLevel_D, FrontVolNextLevel_D,
                                   FCRI, faceGrid};
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxVolF(m_Imple->BlockSize, a, table, CeMax, FrontVol, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxVolF_Par(int nFaces, int, int, int, int* ijCVPD, int* ijCVED, double* CourantNoD,
                                        double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* xcD, double* ycD,
                                        double* zcD, double* VolFD, double* volumeD, double* BetafD, double* mfeD,
                                        double* aED, double*, double* tempD, double* CeMaxNextLevel_D,
                                        double* FrontVolNextLevel_D, int*, int*, int*, int*, double*, int*,
                                        double FCRI, int, int faceGrid, int nLevels, const int* count,
                                        const int* offset, int total, const int* size, double& CeMax,
                                        double& FrontVol)
{
    (void)tempD;  // accepted for the caller's argument order; not accessed
    const rvz::InnerFluxVolFArgs a{nFaces, ijCVPD, ijCVED, CourantNoD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD,
                                   VolFD, volumeD, BetafD, mfeD, aED, nullptr, CeMaxNextLevel_D, FrontVolNextLevel_D,
                                   FCRI, faceGrid};
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_InnerFluxVolF(m_Imple->BlockSize, a, table, CeMax, FrontVol, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_InletBC_CellFR_Su_CB(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                  int* ijInletD, double* MassFluxInletD, double* VolFD, double MELT,
                                                  double* tempSuD, double* tempCellFRD, double* CBD, double* SuD,
                                                  double* CellFRD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                  double* AELLDtemp, int* Map2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_Vfconv_InletBC_CellFR_Su_CB(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow,
                                                 ijInletD, MassFluxInletD, VolFD, MELT, tempSuD, tempCellFRD, CBD,
                                                 SuD, CellFRD, MapFace2CellPxD, MapFace2CellPyD, AELLDtemp,
                                                 Map2CellPD, faceGrid, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_InletAi(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                     int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                     int* Map2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_Vfconv_InletAi(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                    MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD, faceGrid, cellGrid,
                                    m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow, double* volumeD,
                                                      double dt, double* AELLD, double* SuD, double* VolF0D,
                                                      int* indexELLD, int cellGrid)
{
    return rvz::Calc_Vfconv_UnsteadyTermContribution(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, volumeD, dt,
                                                     AELLD, SuD, VolF0D, indexELLD, cellGrid,
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double relax, double* VolFD,
                                        double* AELLD, double* AD, double* SfiD, int cellGrid)
{
    return rvz::Calc_Vfconv_FinalCoeff(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax, VolFD, AELLD, AD, SfiD,
                                       cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_VolF_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* VolFD, int grid)
{
    return rvz::Calc_Vfconv_VolF_ZeroGradient(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, VolFD, grid,
                                              "Calc_Vfconv_VolF_WallBC failed", m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_VolF_Symm(int nFaces, int* ijSymmCVD, int* ijSymmD, double* VolFD, int grid)
{
    return rvz::Calc_Vfconv_VolF_ZeroGradient(m_Imple->BlockSize, nFaces, ijSymmCVD, ijSymmD, VolFD, grid,
                                              "Calc_Vfconv_VolF_Symm failed", m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Vfconv_UpdateCellFaceValue(int nFaces, int* ijCVPD, int* ijCVED, double* MassFluxD,
                                                 double* BetafeD, double* VolFD, double* VolF0D, double* VFeD,
                                                 int grid)
{
    return rvz::Calc_Vfconv_UpdateCellFaceValue(m_Imple->BlockSize, nFaces, ijCVPD, ijCVED, MassFluxD, BetafeD, VolFD,
                                                VolF0D, VFeD, grid, m_Imple->SelectedDevice);
}
