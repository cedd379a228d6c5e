// Facade methods of the material properties and the field statistics.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_ModMatPara.h"

int CRVZGPUtool::Calc_ShearRate(int nCells, double SRRelax, double* du_dxD, double* du_dyD, double* du_dzD,
                                double* dv_dxD, double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD,
                                double* dw_dzD, double* SRateD, int grid)
{
    return rvz::Calc_ShearRate(m_Imple->BlockSize, nCells, SRRelax, du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD,
                               dw_dxD, dw_dyD, dw_dzD, SRateD, grid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_UpdateBoundary_const(int nFaces, int* ijD, int* ijCVD, double* fiD, int grid)
{
    return rvz::Calc_UpdateBoundary_const(m_Imple->BlockSize, nFaces, ijD, ijCVD, fiD, grid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcVis_Flow(int nCells, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                              double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel, double* TD,
                              double* pD, double* SRateD, double* VolFD, int* HotRunnerCellD, double* RxnCD,
                              double* visnewD, double* RheoModParaD, int grid)
{
    return rvz::CalcVis_Flow(m_Imple->BlockSize, nCells, RIM_visg, lGNF, MoldingType, MeltT, FCRI, ShearR_Inlet,
                             InitRxnC, MoldT, VisModel, TD, pD, SRateD, VolFD, HotRunnerCellD, RxnCD, visnewD,
                             RheoModParaD, grid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CalcCp_Flow(int nCells, int CpModel, int NMatModParVar_3, double* TD, double* CpNewD,
                             double* CpModParaD, int grid)
{
    return rvz::CalcCp_Flow(m_Imple->BlockSize, nCells, CpModel, NMatModParVar_3, TD, CpNewD, CpModParaD, grid,
                            m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calck_Flow(int nCells, int kModel, int NMatModParVar_4, double* TD, double* kModParaD, double* kNewD,
                            int grid)
{
    return rvz::Calck_Flow(m_Imple->BlockSize, nCells, kModel, NMatModParVar_4, TD, kModParaD, kNewD, grid,
                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_VisDenMk(int nCells, double VisTopLimit, double visg, double FCRI, double VisMeltAvg,
                               double VisRelax, double denl, double deng, double mkg, double* visnewD, double* CpNewD,
                               double* kNewD, double* VolFD, double* visD, double* denD, double* mkD, int grid)
{
    return rvz::Calc_VisDenMk(m_Imple->BlockSize, nCells, VisTopLimit, visg, FCRI, VisMeltAvg, VisRelax, denl, deng,
                              mkg, visnewD, CpNewD, kNewD, VolFD, visD, denD, mkD, grid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MaxSRate(int nInletFaces, int* ijInletD, double* SRateD, double* buffer, int grid, int nLevels,
                               const int* count, const int* offset, int total, const int* size, double& SRmaxInlet)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_MaxSRate(m_Imple->BlockSize, nInletFaces, ijInletD, SRateD, buffer, grid, table, SRmaxInlet,
                              m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Sum_VisMeltAvg_voltmp(int nCells, double* VolFD, double* visD, double* buffer1,
                                            double* buffer2, int grid, int nLevels, const int* count,
                                            const int* offset, int total, const int* size, double& sumVisVol,
                                            double& sumVol)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_Sum_VisMeltAvg_voltmp(m_Imple->BlockSize, nCells, VolFD, visD, buffer1, buffer2, grid, table,
                                           sumVisVol, sumVol, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_vismax_vismin(int nCells, double FCRI, double* visD, double* VolFD, double* maxBuffer,
                                    double* minBuffer, int grid, int nLevels, const int* count, const int* offset,
                                    int total, const int* size, double& vismax, double& vismin)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_vismax_vismin(m_Imple->BlockSize, nCells, FCRI, visD, VolFD, maxBuffer, minBuffer, grid, table,
                                   vismax, vismin, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Tmax_Tmin(int nCells, double* TD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                                const int* count, const int* offset, int total, const int* size, double& Tmax,
                                double& Tmin)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_Tmax_Tmin(m_Imple->BlockSize, nCells, TD, maxBuffer, minBuffer, grid, table, Tmax, Tmin,
                               m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_SRmax_SRmin(int nCells, double* SRateD, double* maxBuffer, double* minBuffer, int grid,
                                  int nLevels, const int* count, const int* offset, int total, const int* size,
                                  double& SRmax, double& SRmin)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_SRmax_SRmin(m_Imple->BlockSize, nCells, SRateD, maxBuffer, minBuffer, grid, table, SRmax, SRmin,
                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Pmax_Pmin(int nCells, double* PD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                                const int* count, const int* offset, int total, const int* size, double& Pmax,
                                double& Pmin)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_Pmax_Pmin(m_Imple->BlockSize, nCells, PD, maxBuffer, minBuffer, grid, table, Pmax, Pmin,
                               m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Umax(int nCells, double FCRI, double* VolFD, double* uD, double* vD, double* wD, double* buffer,
                           int grid, int nLevels, const int* count, const int* offset, int total, const int* size,
                           double& Umax)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_Umax(m_Imple->BlockSize, nCells, FCRI, VolFD, uD, vD, wD, buffer, grid, table, Umax,
                          m_Imple->SelectedDevice);
}
