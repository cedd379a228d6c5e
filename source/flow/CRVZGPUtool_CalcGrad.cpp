// Facade methods of the Gauss cell gradients.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_CalcGrad.h"

namespace {

rvz::InnerFaceGradientArgs InnerArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* fiD,
                                     double* df_dxD, double* df_dyD, double* df_dzD, double* df_dx0D,
                                     double* df_dy0D, double* df_dz0D, double* leD, int* ijPD, int* ijED, double* xcD,
                                     double* ycD, double* zcD, double* sxD, double* syD, double* szD, double* xeD,
                                     double* yeD, double* zeD, int* Px, int* Py, int* Ex, int* Ey, double* tempxD,
                                     double* tempyD, double* tempzD, double* AELLDtemp, int faceGrid, int cellGrid,
                                     int* rowList)
{
    rvz::InnerFaceGradientArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.fiD = fiD;
    a.df_dxD = df_dxD;
    a.df_dyD = df_dyD;
    a.df_dzD = df_dzD;
    a.df_dx0D = df_dx0D;
    a.df_dy0D = df_dy0D;
    a.df_dz0D = df_dz0D;
    a.leD = leD;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.xcD = xcD;
    a.ycD = ycD;
    a.zcD = zcD;
    a.sxD = sxD;
    a.syD = syD;
    a.szD = szD;
    a.xeD = xeD;
    a.yeD = yeD;
    a.zeD = zeD;
    a.tempxD = tempxD;
    a.tempyD = tempyD;
    a.tempzD = tempzD;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceGrid, cellGrid, rowList);
    return a;
}

}  // namespace

int CRVZGPUtool::Calc_GradFromInnerCF(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double* fiD,
                                      double* df_dxD, double* df_dyD, double* df_dzD, double* df_dx0D,
                                      double* df_dy0D, double* df_dz0D, double* leD, int* ijPD, int* ijED,
                                      double* xcD, double* ycD, double* zcD, double* sxD, double* syD, double* szD,
                                      double* xeD, double* yeD, double* zeD, int* MapFace2CellPxD,
                                      int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                      double* tempxD, double* tempyD, double* tempzD, double* AELLDtemp, int faceGrid,
                                      int cellGrid)
{
    const auto args = InnerArgs(nFaces, nCells, new_nnu, NColumnPerRow, fiD, df_dxD, df_dyD, df_dzD, df_dx0D,
                                df_dy0D, df_dz0D, leD, ijPD, ijED, xcD, ycD, zcD, sxD, syD, szD, xeD, yeD, zeD,
                                MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, tempxD, tempyD,
                                tempzD, AELLDtemp, faceGrid, cellGrid, nullptr);
    return rvz::Calc_GradFromInnerCF(m_Imple->BlockSize, args, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GradFromInnerCFPar(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* fiD,
                                         double* df_dxD, double* df_dyD, double* df_dzD, double* df_dx0D,
                                         double* df_dy0D, double* df_dz0D, double* leD, int* ijPD, int* ijED,
                                         double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                                         double* szD, double* xeD, double* yeD, double* zeD, int* MapFace2CellPxD,
                                         int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                         double* tempxD, double* tempyD, double* tempzD, double* AELLDtemp,
                                         int faceGrid, int cellGrid, int* Map2CellPED)
{
    const auto args = InnerArgs(nFaces, nRows, new_nnu, NColumnPerRow, fiD, df_dxD, df_dyD, df_dzD, df_dx0D,
                                df_dy0D, df_dz0D, leD, ijPD, ijED, xcD, ycD, zcD, sxD, syD, szD, xeD, yeD, zeD,
                                MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, tempxD, tempyD,
                                tempzD, AELLDtemp, faceGrid, cellGrid, Map2CellPED);
    return rvz::Calc_GradFromInnerCF(m_Imple->BlockSize, args, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GradFromBC(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* fiD, double* df_dxD,
                                 double* df_dyD, double* df_dzD, int* /*unused*/, int* ijbD, double* sxD,
                                 double* syD, double* szD, double* tempxD, double* tempyD, double* tempzD,
                                 int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                 int faceGrid, int rowGrid)
{
    return rvz::Calc_GradFromBC(m_Imple->BlockSize, nFaces, nRows, new_nnu, NColumnPerRow, fiD, df_dxD, df_dyD,
                                df_dzD, ijbD, sxD, syD, szD, tempxD, tempyD, tempzD, MapFace2CellPxD,
                                MapFace2CellPyD, AELLDtemp, Map2CellPD, faceGrid, rowGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_GradCVCenter(int nCells, double* volumeD, double* df_dxD, double* df_dyD, double* df_dzD,
                                   int cellGrid)
{
    return rvz::Calc_GradCVCenter(m_Imple->BlockSize, nCells, volumeD, df_dxD, df_dyD, df_dzD, cellGrid,
                                  m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_InOutletBoundary_Update_dd(int nFaces, int* ijInOutletCVD, int* ijInOutletD, double* du_dxD,
                                                 double* du_dyD, double* du_dzD, double* dv_dxD, double* dv_dyD,
                                                 double* dv_dzD, double* dw_dxD, double* dw_dyD, double* dw_dzD,
                                                 int grid)
{
    double* const g[9] = {du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD, dw_dxD, dw_dyD, dw_dzD};
    return rvz::Calc_InOutletBoundary_Update_dd(m_Imple->BlockSize, nFaces, ijInOutletCVD, ijInOutletD, g, grid,
                                                m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_WallBoundary_Update_dd(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD,
                                             double* du_dxD, double* du_dyD, double* du_dzD, double* dv_dxD,
                                             double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD,
                                             double* dw_dzD, int grid)
{
    double* const g[9] = {du_dxD, du_dyD, du_dzD, dv_dxD, dv_dyD, dv_dzD, dw_dxD, dw_dyD, dw_dzD};
    return rvz::Calc_WallBoundary_Update_dd(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD, FCRIMatchD, g, grid,
                                            m_Imple->SelectedDevice);
}
