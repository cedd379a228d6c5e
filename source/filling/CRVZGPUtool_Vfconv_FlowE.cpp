// Facade methods of the extended volume fraction: interface-capturing
// schemes, flux assembly and front statistics, the time term, inlet, wall
// and keep-filled rules, limiting, arrival times and the end of filling.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_Vfconv_FlowE.h"

int CRVZGPUtool::Calc_VOF_FlowE_InnerFlux_HRScheme(int nFaces, int* ijCVPD, int* ijCVED, int HRScheme, double* mfeD,
                                                   double* VolFD, double* CourantNoDD, double* dVF_dxD,
                                                   double* dVF_dyD, double* dVF_dzD, double* xcD, double* ycD,
                                                   double* zcD, double* FeD, double* BetafD, int faceGrid)
{
    return rvz::Calc_VOF_FlowE_InnerFlux_HRScheme(m_Imple->BlockSize, nFaces, ijCVPD, ijCVED, HRScheme, mfeD, VolFD,
                                                  CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD, zcD, FeD, BetafD,
                                                  faceGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_InnerFluxVolF_Method(
    int Method, int nFaces, int nnu, int new_nnu, int NColumnPerRow, double gamma, double fcri, double CeBound,
    int* ijCVPD, int* ijCVED, double* mfeD, double* leD, double* sxD, double* syD, double* szD, double* VolFD,
    double* CourantNoDD, double* FeD, double* areaD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD,
    double* volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
    double* aED, double* aWD, double* temp1D, double* temp2D, double* temp3D, double* AELLDtemp, double* SourceD,
    int faceGrid, int cellGrid, double*, double*, double& maxCe, double& FrontVol, double* statistics1D,
    double* statistics2D, int nLevels, const int* count, const int* offset, int total, const int* size)
{
    const rvz::VofFluxArgs a{Method,          nFaces,          nnu,     new_nnu,  NColumnPerRow, gamma,   fcri,
                             CeBound,         ijCVPD,          ijCVED,  mfeD,     leD,           sxD,     syD,
                             szD,             areaD,           VolFD,   CourantNoDD, FeD,        dVF_dxD, dVF_dyD,
                             dVF_dzD,         volumeD,         MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                             MapFace2CellEyD, aED,             aWD,     temp1D,   temp2D,        temp3D,  AELLDtemp,
                             SourceD,         nullptr,         faceGrid, cellGrid, statistics1D, statistics2D};
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_VOF_FlowE_InnerFluxVolF_Method(m_Imple->BlockSize, a, table, maxCe, FrontVol,
                                                    m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_InnerFluxVolF_Method_Par(
    int Method, int nFaces, int nCells, int new_nnu, int NColumnPerRow, double gamma, double fcri, double CeBound,
    int* ijCVPParD, int* ijCVEParD, double* mfeParD, double* leParD, double* sxParD, double* syParD, double* szParD,
    double* VolFD, double* CourantNoDD, double* FeD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD,
    double* volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
    double* aED, double* temp1D, double* temp2D, double* temp3D, double* AELLDtemp, double* SourceD,
    int* Map2CellPED, int faceGrid, int cellGrid, double*, double*, double& maxCe, double& FrontVol,
    double* statistics1D, double* statistics2D, int nLevels, const int* count, const int* offset, int total,
    const int* size)
{
    const rvz::VofFluxArgs a{Method,          nFaces,          nCells,    new_nnu,  NColumnPerRow, gamma,   fcri,
                             CeBound,         ijCVPParD,       ijCVEParD, mfeParD,  leParD,        sxParD,  syParD,
                             szParD,          nullptr,         VolFD,     CourantNoDD, FeD,        dVF_dxD, dVF_dyD,
                             dVF_dzD,         volumeD,         MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD,
                             MapFace2CellEyD, aED,             nullptr,   temp1D,   temp2D,        temp3D,  AELLDtemp,
                             SourceD,         Map2CellPED,     faceGrid,  cellGrid, statistics1D, statistics2D};
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_VOF_FlowE_InnerFluxVolF_Method(m_Imple->BlockSize, a, table, maxCe, FrontVol,
                                                    m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow, double* volumeD,
                                                         double dt, double* AELLD, double* SuD, double* VolF0D,
                                                         int* indexELLD, int cellGrid)
{
    return rvz::Calc_VOF_FlowE_UnsteadyTermContribution(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, volumeD,
                                                        dt, AELLD, SuD, VolF0D, indexELLD, cellGrid,
                                                        m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_SetVOFInlet_judge(int nFaces, int iFAIMFluidIn, int IsMainPhase, int* ijInletCVD,
                                                  int* ijInletD, int* gpInletbInD, int* ijInletGPD,
                                                  int* gpInletGPMtrTypeD, double* dVF_dxD, double* dVF_dyD,
                                                  double* dVF_dzD, bool* judge1_2D, bool* judge3PD, bool* judge3ND,
                                                  bool* judge4PD, int faceGrid)
{
    return rvz::Calc_VOF_FlowE_SetVOFInlet_judge(m_Imple->BlockSize, nFaces, iFAIMFluidIn, IsMainPhase, ijInletCVD,
                                                 ijInletD, gpInletbInD, ijInletGPD, gpInletGPMtrTypeD, dVF_dxD,
                                                 dVF_dyD, dVF_dzD, judge1_2D, judge3PD, judge3ND, judge4PD, faceGrid,
                                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_SetVOFInlet(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double phase,
                                            int* ijInletD, bool* judgeD, double* mfeD, double* VolFD, double* SourceD,
                                            double* AELLD, double* temp1D, double* temp2D, int* MapFace2CellPxD,
                                            int* MapFace2CellPyD, double* AELLDtemp, int faceGrid, int cellGrid,
                                            int* Map2CellPD)
{
    const rvz::VofInjection j{nFaces,          nCells,    new_nnu,    NColumnPerRow, temp1D, temp2D,  MapFace2CellPxD,
                              MapFace2CellPyD, AELLDtemp, Map2CellPD, AELLD,         SourceD, faceGrid, cellGrid};
    return rvz::Calc_VOF_FlowE_SetVOFInlet(m_Imple->BlockSize, j, phase, ijInletD, judgeD, mfeD, VolFD,
                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_SetVOFInlet_All(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                int* ijInletD, bool* judge1_2D, bool* judge3PD, bool* judge3ND,
                                                bool* judge4PD, double* mfeD, double* VolFD, double* SourceD,
                                                double* AELLD, double* temp1D, double* temp2D, int* MapFace2CellPxD,
                                                int* MapFace2CellPyD, double* AELLDtemp, int faceGrid, int cellGrid,
                                                int* Map2CellPD)
{
    const rvz::VofInjection j{nFaces,          nCells,    new_nnu,    NColumnPerRow, temp1D, temp2D,  MapFace2CellPxD,
                              MapFace2CellPyD, AELLDtemp, Map2CellPD, AELLD,         SourceD, faceGrid, cellGrid};
    return rvz::Calc_VOF_FlowE_SetVOFInlet_All(m_Imple->BlockSize, j, ijInletD, judge1_2D, judge3PD, judge3ND,
                                               judge4PD, mfeD, VolFD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_ICM_UpdateAiSu(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri,
                                               double MELT, int* ijWallCVD, int* ijWallD, int* isMoveWallD,
                                               double* MassFluxOutletD, double* VolFD, double* SourceD, double* AELLD,
                                               double* temp1D, double* temp2D, int* MapFace2CellPxD,
                                               int* MapFace2CellPyD, double* AELLDtemp, int faceGrid, int cellGrid,
                                               int* Map2CellPD)
{
    (void)ijWallCVD;  // accepted for the caller's argument order; not read
    const rvz::VofInjection j{nFaces,          nCells,    new_nnu,    NColumnPerRow, temp1D, temp2D,  MapFace2CellPxD,
                              MapFace2CellPyD, AELLDtemp, Map2CellPD, AELLD,         SourceD, faceGrid, cellGrid};
    return rvz::Calc_VOF_FlowE_ICM_UpdateAiSu(m_Imple->BlockSize, j, fcri, MELT, ijWallD, isMoveWallD,
                                              MassFluxOutletD, VolFD, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_InletBC(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int iFAIMFluidIn,
                                        int IsMainPhase, double fcri, int* ijInletCVD, int* ijInletD,
                                        int* gpInletbInD, double* VolF0D, double* VolFD, double* CourantNoDD,
                                        double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* tempD,
                                        int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp, int faceGrid,
                                        int cellGrid, int* Map2CellPD)
{
    const rvz::VofRefill r{nFaces,    nCells,     new_nnu,  NColumnPerRow, tempD, MapFace2CellPxD, MapFace2CellPyD,
                           AELLDtemp, Map2CellPD, faceGrid, cellGrid};
    return rvz::Calc_VOF_FlowE_InletBC(m_Imple->BlockSize, r, iFAIMFluidIn, IsMainPhase, fcri, ijInletCVD, ijInletD,
                                       gpInletbInD, VolF0D, VolFD, CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD,
                                       m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_WallBC_FAIM_MainPhase(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                      double fcri, int* ijWallCVD, int* ijWallD, double* VolF0D,
                                                      double* VolFD, double* tempD, int* MapFace2CellPxD,
                                                      int* MapFace2CellPyD, double* AELLDtemp, int faceGrid,
                                                      int cellGrid, int* Map2CellPD)
{
    const rvz::VofRefill r{nFaces,    nCells,     new_nnu,  NColumnPerRow, tempD, MapFace2CellPxD, MapFace2CellPyD,
                           AELLDtemp, Map2CellPD, faceGrid, cellGrid};
    return rvz::Calc_VOF_FlowE_WallBC_FAIM_MainPhase(m_Imple->BlockSize, r, fcri, ijWallCVD, ijWallD, VolF0D, VolFD,
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* VolFD, double* CourantNoDD,
                                       double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, int faceGrid)
{
    return rvz::Calc_VOF_FlowE_WallBC(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, VolFD, CourantNoDD, dVF_dxD,
                                      dVF_dyD, dVF_dzD, faceGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_Update_dVF_d(int nFaces, int* ijWallCVD, int* ijWallD, double* dVF_dxD,
                                             double* dVF_dyD, double* dVF_dzD, int faceGrid)
{
    return rvz::Calc_VOF_FlowE_Update_dVF_d(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, dVF_dxD, dVF_dyD,
                                            dVF_dzD, faceGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(int nCells, double FillVol, double EMF, double EMF1,
                                                              double fcri, float* mftimeD, double* VolFD,
                                                              int cellGrid)
{
    return rvz::Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(m_Imple->BlockSize, nCells, FillVol, EMF, EMF1, fcri,
                                                             mftimeD, VolFD, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(int nCells, double EMF, double EMF1, double fcri,
                                                                float* mftimeD, double* VolFD, int cellGrid)
{
    return rvz::Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(m_Imple->BlockSize, nCells, EMF, EMF1, fcri, mftimeD,
                                                               VolFD, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_Update_mftime(int nCells, double fcri, double Time, double* VolFD, float* mftimeD,
                                              int cellGrid)
{
    return rvz::Calc_VOF_FlowE_Update_mftime(m_Imple->BlockSize, nCells, fcri, Time, VolFD, mftimeD, cellGrid,
                                             m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VOF_FlowE_CheckEndFilling(int nCells, double fcri, double* VolFD, double* volumeD, int,
                                                int& unfilledCells, double& unfilledVolume, int* intScratchD,
                                                double* doubleScratchD, int nLevels, const int* count,
                                                const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_VOF_FlowE_CheckEndFilling(m_Imple->BlockSize, nCells, fcri, VolFD, volumeD, unfilledCells,
                                               unfilledVolume, intScratchD, doubleScratchD, table,
                                               m_Imple->SelectedDevice);
}
