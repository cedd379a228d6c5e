// Facade methods of the fibre orientation: transport of the six tensor
// components and the local evolution under the velocity gradient.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcFiber.h"

namespace {

using rvz::fibre::ConstTensor6;
using rvz::fibre::Tensor6;

Tensor6 T6(double* xx, double* yy, double* zz, double* xy, double* xz, double* yz)
{
    return Tensor6{{xx, yy, zz, xy, xz, yz}};
}

ConstTensor6 C6(const double* xx, const double* yy, const double* zz, const double* xy, const double* xz,
                const double* yz)
{
    return ConstTensor6{{xx, yy, zz, xy, xz, yz}};
}

}  // namespace

int CRVZGPUtool::Calc_InnerFluxFiber(int nFaces, double* mfeD, double* aED, double* aWD, int faceGrid)
{
    return rvz::Calc_InnerFluxFiber(m_Imple->BlockSize, nFaces, mfeD, aED, aWD, faceGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_UnsteadyTermContribution(int nnu, double* volumeD, double dtFiber, double* AELLD,
                                                     double* bxxD, double* byyD, double* bzzD, double* bxyD,
                                                     double* bxzD, double* byzD, double* Tauxx0D, double* Tauyy0D,
                                                     double* Tauzz0D, double* Tauxy0D, double* Tauxz0D, double* Tauyz0D,
                                                     int cellGrid)
{
    return rvz::Calc_Fiber_UnsteadyTermContribution(
        m_Imple->BlockSize, nnu, volumeD, dtFiber, AELLD, T6(bxxD, byyD, bzzD, bxyD, bxzD, byzD),
        C6(Tauxx0D, Tauyy0D, Tauzz0D, Tauxy0D, Tauxz0D, Tauyz0D), cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_InletBoundary(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijInletD,
                                          double* MassFluxInletD, double* CBD, double* tempbxxD, double* tempbyyD,
                                          double* tempbzzD, double* tempbxyD, double* tempbxzD, double* tempbyzD,
                                          double* bxxD, double* byyD, double* bzzD, double* bxyD, double* bxzD,
                                          double* byzD, double* TauxxD, double* TauyyD, double* TauzzD, double* TauxyD,
                                          double* TauxzD, double* TauyzD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                          double* AELLDtemp, int* Map2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_Fiber_InletBoundary(
        m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, ijInletD, MassFluxInletD, CBD,
        T6(tempbxxD, tempbyyD, tempbzzD, tempbxyD, tempbxzD, tempbyzD), T6(bxxD, byyD, bzzD, bxyD, bxzD, byzD),
        T6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), MapFace2CellPxD, MapFace2CellPyD, AELLDtemp, Map2CellPD,
        faceGrid, cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_InletAi(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                    int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                    int* Map2CellPD, int faceGrid, int cellGrid)
{
    return rvz::Calc_Fiber_InletAi(m_Imple->BlockSize, nFaces, nCells, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                   MapFace2CellPyD, CBD, AELLDtemp, AELLD, Map2CellPD, faceGrid, cellGrid,
                                   m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double udf, double* TauxxD,
                                       double* TauyyD, double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD,
                                       double* AELLD, double* bxxD, double* byyD, double* bzzD, double* bxyD,
                                       double* bxzD, double* byzD, int cellGrid)
{
    return rvz::Calc_Fiber_FinalCoeff(m_Imple->BlockSize, nnu, new_nnu, NColumnPerRow, udf,
                                      C6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), AELLD,
                                      T6(bxxD, byyD, bzzD, bxyD, bxzD, byzD), cellGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* TauxxD,
                                   double* TauyyD, double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD,
                                   int faceGrid)
{
    return rvz::Calc_Fiber_WallBC(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, FCRIMatchD,
                                  T6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), faceGrid,
                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_SymmBC(int nFaces, int* ijSymmCVD, int* ijSymmD, double* VolFD, double FCRI, double* TauxxD,
                                   double* TauyyD, double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD,
                                   int faceGrid)
{
    return rvz::Calc_Fiber_SymmBC(m_Imple->BlockSize, nFaces, ijSymmCVD, ijSymmD, VolFD, FCRI,
                                  T6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), faceGrid,
                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_UpdateTau_Input(int nCells, double* x00D, double* x01D, double* x02D, double* x03D,
                                            double* x04D, double* x05D, double* TauxxD, double* TauyyD, double* TauzzD,
                                            double* TauxyD, double* TauxzD, double* TauyzD, int cellGrid)
{
    return rvz::Calc_Fiber_UpdateTau_Input(m_Imple->BlockSize, nCells, T6(x00D, x01D, x02D, x03D, x04D, x05D),
                                           C6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), cellGrid,
                                           m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_UpdateTau_Output(int nCells, double* x10D, double* x11D, double* x12D, double* x13D,
                                             double* x14D, double* x15D, double* TauxxD, double* TauyyD, double* TauzzD,
                                             double* TauxyD, double* TauxzD, double* TauyzD, int cellGrid)
{
    return rvz::Calc_Fiber_UpdateTau_Output(m_Imple->BlockSize, nCells, C6(x10D, x11D, x12D, x13D, x14D, x15D),
                                            T6(TauxxD, TauyyD, TauzzD, TauxyD, TauxzD, TauyzD), cellGrid,
                                            m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_Fiber_Find_x1_Vec(
    int nActive, int NInnerCells, int localLength, int startPosition, stF0_dx_xAvg* F0dxxAvgD, double* x00D,
    double* x01D, double* x02D, double* x03D, double* x04D, double* x05D, double* x20D, double* x21D, double* x22D,
    double* x23D, double* x24D, double* x25D, double* x10D, double* x11D, double* x12D, double* x13D, double* x14D,
    double* x15D, double* xtemp0D, double* xtemp1D, double* xtemp2D, double* xtemp3D, double* xtemp4D, double* xtemp5D,
    double* xAvg0D, double* xAvg1D, double* xAvg2D, double* xAvg3D, double* xAvg4D, double* xAvg5D, double* F0xxD,
    double* F0yyD, double* F0zzD, double* F0xyD, double* F0xzD, double* F0yzD, double* dx0D, double* dx1D, double* dx2D,
    double* dx3D, double* dx4D, double* dx5D, double* dt01D, double* dt02D, double* dtSUMD, double* F0maxD, double dtt,
    double* SRateD, double* VolFD, double* du_dxD, double* du_dyD, double* du_dzD, double* dv_dxD, double* dv_dyD,
    double* dv_dzD, double* dw_dxD, double* dw_dyD, double* dw_dzD, int* ThreadCellMapForGlobalD,
    int* ThreadCellMapForLocalD, int* ThreadCellMap2ForGlobalD, int* ThreadCellMap2ForLocalD, double Fiber_AR,
    double Fiber_CI, double FCRI, int Fiber422Type, int* localwhile1NextLevel_D, int* localwhile2NextLevel_D,
    int grid64, int grid256, int nLevels, const int* count, const int* offset, int total, const int* size)
{
    rvz::fibre::EvolutionArgs a;
    a.nActive = nActive;
    a.NInnerCells = NInnerCells;
    a.localLength = localLength;
    a.startPosition = startPosition;
    a.record = F0dxxAvgD;
    a.state.x0 = T6(x00D, x01D, x02D, x03D, x04D, x05D);
    a.state.x2 = T6(x20D, x21D, x22D, x23D, x24D, x25D);
    a.state.x1 = T6(x10D, x11D, x12D, x13D, x14D, x15D);
    a.state.xtemp = T6(xtemp0D, xtemp1D, xtemp2D, xtemp3D, xtemp4D, xtemp5D);
    a.state.xAvg = T6(xAvg0D, xAvg1D, xAvg2D, xAvg3D, xAvg4D, xAvg5D);
    a.state.dt01 = dt01D;
    a.state.dt02 = dt02D;
    a.state.dtSUM = dtSUMD;
    a.state.F0max = F0maxD;
    a.F0 = T6(F0xxD, F0yyD, F0zzD, F0xyD, F0xzD, F0yzD);
    a.dx = T6(dx0D, dx1D, dx2D, dx3D, dx4D, dx5D);
    a.dtt = dtt;
    a.flow = rvz::fibre::EvolutionFlow{
        SRateD,      VolFD,    {{du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD, dw_dxD, dw_dyD, dw_dzD}},
        Fiber_AR,    Fiber_CI, FCRI,
        Fiber422Type};
    a.mapGlobal = ThreadCellMapForGlobalD;
    a.mapLocal = ThreadCellMapForLocalD;
    a.map2Global = ThreadCellMap2ForGlobalD;
    a.map2Local = ThreadCellMap2ForLocalD;
    a.innerScratch = localwhile1NextLevel_D;
    a.outerScratch = localwhile2NextLevel_D;
    a.grid64 = grid64;
    a.grid256 = grid256;
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_Fiber_Find_x1_Vec(m_Imple->BlockSize, a, table, m_Imple->SelectedDevice);
}
