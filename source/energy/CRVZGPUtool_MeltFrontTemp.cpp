// Facade methods of the melt-front temperature.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_MeltFrontTemp.h"

int CRVZGPUtool::Calc_InnerFluxHeatGen(int nFaces, double* mfeD, double* aED, double* aWD, int blocks)
{
    return rvz::Calc_InnerFluxHeatGen(m_Imple->BlockSize, nFaces, mfeD, aED, aWD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InnerFluxHeatGen_Par(int nFaces, double* mfeD, double* aED, int blocks)
{
    return rvz::Calc_InnerFluxHeatGen_Par(m_Imple->BlockSize, nFaces, mfeD, aED, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_InletBoundary(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                  int* ijInletD, double* MassFluxInletD, double* CBD,
                                                  double* tempSuD, double* SuD, double* fiD, int* MapFace2CellPxD,
                                                  int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPBD,
                                                  int faceBlocks, int rowBlocks)
{
    return rvz::Calc_MeltFrontTemp_InletBoundary(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow,
                                                 ijInletD, MassFluxInletD, CBD, tempSuD, SuD, fiD, MapFace2CellPxD,
                                                 MapFace2CellPyD, AELLDtemp, Map2CellPBD, faceBlocks, rowBlocks,
                                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_InletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                            int* MapFace2CellPxD, int* MapFace2CellPyD, double* CBD,
                                            double* AELLDtemp, double* AELLD, int* Map2CellPD, int faceBlocks,
                                            int rowBlocks)
{
    return rvz::Calc_MeltFrontTemp_InletAi(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow,
                                           MapFace2CellPxD, MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD,
                                           faceBlocks, rowBlocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* fiD, int blocks)
{
    return rvz::Calc_MeltFrontTemp_WallBC(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, fiD, blocks,
                                          m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_UnsteadyTermContribution(int nnu, double* volumeD, double dt, double* AELLD,
                                                             double* SuD, double* fi0D, int blocks)
{
    return rvz::Calc_MeltFrontTemp_UnsteadyTermContribution(m_Imple->BlockSize, nnu, volumeD, dt, AELLD, SuD, fi0D,
                                                            blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                               double* AELLD, double* SfiD, int blocks)
{
    return rvz::Calc_MeltFrontTemp_FinalCoeff(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, relax, fiD, AELLD,
                                              SfiD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MeltFrontTemp_CheckOuterConvergence(int nCells, double* fiD, double* SvD, double* buffer,
                                                          int grid, int nLevels, const int* count, const int* offset,
                                                          int total, const int* size, double& result)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_MeltFrontTemp_CheckOuterConvergence(m_Imple->BlockSize, nCells, fiD, SvD, buffer, grid, table,
                                                         result, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_ComputeMeltFrontTemperature(int nCells, double* VolFD, double* VolF0D,
                                                  double* MeltFrontTemperatureD, bool* bMeltFrontTemperatureD,
                                                  double* dp_dxD, double FCRI, int iFlag, int blocks)
{
    return rvz::Calc_ComputeMeltFrontTemperature(m_Imple->BlockSize, nCells, VolFD, VolF0D, MeltFrontTemperatureD,
                                                 bMeltFrontTemperatureD, dp_dxD, FCRI, iFlag, blocks,
                                                 m_Imple->SelectedDevice);
}
