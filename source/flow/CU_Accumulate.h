// Placement of face coefficients into the ELL matrix through the slot maps
// of the face-to-cell accumulation, and the forms of the interior-face
// operations that accumulate. Implementation functions behind the
// facade: block size first (only 256 runs; any other value returns 0
// without work), selected device last (used only to name it in reports).
// Plain C++.
#pragma once

namespace rvz {

// The four forms of an interior-face assembly operation.
enum class InnerFluxForm {
    AllRows,     // aED and aWD, weights leD, updates over rows 0 .. nRows-1
    ListedRows,  // as AllRows, updates over rowList[0 .. nRows-1]
    ListedOne,   // as ListedRows with every weight 1 (leD not read)
    Partition,   // aED only, weights leD, listed updates
};

// Where an interior-face operation leaves its two per-face contributions
// before they are summed into cells: the owner's slot (Px, Py) and the
// neighbour's slot (Ex, Ey) of the scratch AELLDtemp; the grids of its
// face and cell launches; the rows of the listed-row updates (null where
// every row is updated). Every face-assembly argument record starts with it.
struct FaceScatter {
    const int *MapFace2CellPxD, *MapFace2CellPyD, *MapFace2CellExD, *MapFace2CellEyD;
    double* AELLDtemp;
    int faceGrid, cellGrid;
    const int* rowList;

    void SetScatter(const int* Px, const int* Py, const int* Ex, const int* Ey, double* scratch, int faceBlocks,
                    int cellBlocks, const int* rows = nullptr)
    {
        MapFace2CellPxD = Px;
        MapFace2CellPyD = Py;
        MapFace2CellExD = Ex;
        MapFace2CellEyD = Ey;
        AELLDtemp = scratch;
        faceGrid = faceBlocks;
        cellGrid = cellBlocks;
        rowList = rows;
    }
};

// AELLD(Px[f], Py[f]) = aED[f] and AELLD(Ex[f], Ey[f]) = aWD[f] for every
// interior face. Reports "Calc_MapaEaEWToAi failed".
int Calc_MapaEaWToAi(int BlockSize, int nFaces, int newNNU, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                     const int* MapFace2CellExD, const int* MapFace2CellEyD, const double* aED, const double* aWD,
                     double* AELLD, int faceGrid, int SelectedDevice);

// AELLD(Px[f], Py[f]) = aED[f] for every partition-interface face; the third
// count is not used. Reports "Calc_MapaEToAiPar failed".
int Calc_MapaEToAiPar(int BlockSize, int nFaces, int new_nnu, int unused, const int* ParMapFace2CellPxD,
                      const int* ParMapFace2CellPyD, const double* aED, double* AELLD, int faceGrid,
                      int SelectedDevice);

}  // namespace rvz
