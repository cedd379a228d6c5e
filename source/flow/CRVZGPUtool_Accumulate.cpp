// Facade methods of the face-to-cell accumulation: matrix placement.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_Accumulate.h"

int CRVZGPUtool::Calc_MapaEaWToAi(int nFaces, int newNNU, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                  int* MapFace2CellExD, int* MapFace2CellEyD, double* aED, double* aWD, double* AELLD,
                                  int faceGrid)
{
    return rvz::Calc_MapaEaWToAi(m_Imple->BlockSize, nFaces, newNNU, MapFace2CellPxD, MapFace2CellPyD,
                                 MapFace2CellExD, MapFace2CellEyD, aED, aWD, AELLD, faceGrid,
                                 m_Imple->SelectedDevice);
}

int CRVZGPUtool::Calc_MapaEToAiPar(int nFaces, int new_nnu, int unused, int* ParMapFace2CellPxD,
                                   int* ParMapFace2CellPyD, double* aED, double* AELLD, int faceGrid)
{
    return rvz::Calc_MapaEToAiPar(m_Imple->BlockSize, nFaces, new_nnu, unused, ParMapFace2CellPxD,
                                  ParMapFace2CellPyD, aED, AELLD, faceGrid, m_Imple->SelectedDevice);
}
