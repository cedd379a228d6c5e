// Facade methods of the extended-flow utilities: smoothed volume fraction,
// partition copy lists and field range.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_FlowE_SmoothCopyRange.h"

namespace {

rvz::SmoothFacesArgs FacesArgs(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijPD, int* ijED,
                               double* leD, double* SmoothVolFD, double* VolF_SD, double* SD, double* tempD, int* Px,
                               int* Py, int* Ex, int* Ey, double* AELLDtemp, int faceBlocks, int cellBlocks)
{
    rvz::SmoothFacesArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijPD = ijPD;
    a.ijED = ijED;
    a.leD = leD;
    a.SmoothVolFD = SmoothVolFD;
    a.VolF_SD = VolF_SD;
    a.SD = SD;
    a.tempD = tempD;
    a.SetScatter(Px, Py, Ex, Ey, AELLDtemp, faceBlocks, cellBlocks);
    return a;
}

}  // namespace

int CRVZGPUtool::Calc_FlowE_SmoothVariable_InnerFace(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijPD,
                                                     int* ijED, double* leD, double* InnerFaceAreaD,
                                                     double* SmoothVolFD, double* VolF_SD, double* SD, double* tempD,
                                                     int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                     int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                                     int faceBlocks, int cellBlocks)
{
    rvz::SmoothFacesArgs a =
        FacesArgs(nFaces, nRows, new_nnu, NColumnPerRow, ijPD, ijED, leD, SmoothVolFD, VolF_SD, SD, tempD,
                  MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks);
    a.areaD = InnerFaceAreaD;
    return rvz::Calc_FlowE_SmoothVariable_InnerFace(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SmoothVariable_InnerFacePar(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                        int* ijPParD, int* ijEParD, double* leParD, double* sxParD,
                                                        double* syParD, double* szParD, double* SmoothVolFD,
                                                        double* VolF_SD, double* SD, double* tempD,
                                                        int* ParMapFace2CellPxD, int* ParMapFace2CellPyD,
                                                        int* ParMapFace2CellExD, int* ParMapFace2CellEyD,
                                                        double* AELLDtemp, int faceBlocks, int cellBlocks,
                                                        int* Map2CellPED)
{
    rvz::SmoothFacesArgs a = FacesArgs(nFaces, nRows, new_nnu, NColumnPerRow, ijPParD, ijEParD, leParD, SmoothVolFD,
                                       VolF_SD, SD, tempD, ParMapFace2CellPxD, ParMapFace2CellPyD,
                                       ParMapFace2CellExD, ParMapFace2CellEyD, AELLDtemp, faceBlocks, cellBlocks);
    a.sxD = sxParD;
    a.syD = syParD;
    a.szD = szParD;
    a.rowList = Map2CellPED;
    return rvz::Calc_FlowE_SmoothVariable_InnerFacePar(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SmoothVariable_Inlet(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                 int* /*ijInletCVD*/, int* ijInletD, double* ijInletSxD,
                                                 double* ijInletSyD, double* ijInletSzD, double* SmoothVolFD,
                                                 double* VolF_SD, double* SD, double* temp1D, double* temp2D,
                                                 int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                                 int* MapFace2CellEyD, double* AELLDtemp, int* Map2CellPBD,
                                                 int faceBlocks, int cellBlocks)
{
    rvz::SmoothInletArgs a{};
    a.nFaces = nFaces;
    a.nRows = nRows;
    a.new_nnu = new_nnu;
    a.NColumnPerRow = NColumnPerRow;
    a.ijInletD = ijInletD;
    a.sxD = ijInletSxD;
    a.syD = ijInletSyD;
    a.szD = ijInletSzD;
    a.SmoothVolFD = SmoothVolFD;
    a.VolF_SD = VolF_SD;
    a.SD = SD;
    a.temp1D = temp1D;
    a.temp2D = temp2D;
    a.Map2CellPBD = Map2CellPBD;
    a.SetScatter(MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, AELLDtemp, faceBlocks,
                 cellBlocks);
    return rvz::Calc_FlowE_SmoothVariable_Inlet(m_Imple->BlockSize, a, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SmoothVariable_SmoothVolF(int nCells, double* VolF_SD, double* SD, double* SmoothVolFD,
                                                      int blocks)
{
    return rvz::Calc_FlowE_SmoothVariable_SmoothVolF(m_Imple->BlockSize, nCells, VolF_SD, SD, SmoothVolFD, blocks,
                                                     m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SmoothVariable_Extrapolate_Gradient(int nFaces, int* ijWallCVD, int* ijWallD,
                                                                double* SmoothVolFD, int blocks)
{
    return rvz::Calc_FlowE_SmoothVariable_Extrapolate_Gradient(m_Imple->BlockSize, nFaces, ijWallCVD, ijWallD,
                                                               SmoothVolFD, blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(int nFaces, int iFAIMIn, int iFillType,
                                                                      int* ijInletCVD, int* ijInletD,
                                                                      int* gpInletbInD, double* SmoothVolFD,
                                                                      int blocks)
{
    return rvz::Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(m_Imple->BlockSize, nFaces, iFAIMIn, iFillType,
                                                                     ijInletCVD, ijInletD, gpInletbInD, SmoothVolFD,
                                                                     blocks, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_fiD2ParD2HCopyListD(int NParInterFace, int* ijParCVD, double* fiD, double* ParD2HCopyListD,
                                          int blocks)
{
    return rvz::Calc_fiD2ParD2HCopyListD(m_Imple->BlockSize, NParInterFace, ijParCVD, fiD, ParD2HCopyListD, blocks,
                                         0, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_fiD2ParD2HCopyListD_Stream(int NParInterFace, int* ijParCVD, double* fiD,
                                                 double* ParD2HCopyListD, int blocks, cudaStream_t stream)
{
    return rvz::Calc_fiD2ParD2HCopyListD(m_Imple->BlockSize, NParInterFace, ijParCVD, fiD, ParD2HCopyListD, blocks,
                                         stream, m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_ParH2DCopyListD2fiD(int NParInterFace, int* ijParD, double* ParH2DCopyListD, double* fiD,
                                          int blocks)
{
    return rvz::Calc_ParH2DCopyListD2fiD(m_Imple->BlockSize, NParInterFace, ijParD, ParH2DCopyListD, fiD, blocks,
                                         m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_FlowE_FindMaxMinValue(int NInnerCell, double* ValueD, double& maxValue, double& minValue,
                                            double* maxBuffer, double* minBuffer, int nLevels, const int* count,
                                            const int* offset, int total, const int* size)
{
    const rvz::LevelView table(nLevels, count, offset, total, size);
    return rvz::Calc_FlowE_FindMaxMinValue(m_Imple->BlockSize, NInnerCell, ValueD, maxValue, minValue, maxBuffer,
                                           minBuffer, table, m_Imple->SelectedDevice);
}
