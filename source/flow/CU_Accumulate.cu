// Placement of face coefficients into the ELL matrix: launches and checks.
#include "platform/rvz_platform.h"

#include "CUK_Accumulate.cuh"
#include "CU_Accumulate.h"
#include "CU_checkError.h"

namespace rvz {

// Plain stores: each face owns its positions, so no two threads meet.
__global__ void Kernel_Calc_MapaEaWToAi(int size, int newNNU, const int* Px, const int* Py, const int* Ex,
                                        const int* Ey, const double* aED, const double* aWD, double* AELLD)
{
    const int f = accum::ThreadIndex();
    if (f >= size) return;
    accum::StorePair(AELLD, newNNU, Px, Py, Ex, Ey, f, aED[f], aWD[f]);
}

__global__ void Kernel_Calc_MapaEToAiPar(int size, int new_nnu, const int* Px, const int* Py, const double* aED,
                                         double* AELLD)
{
    const int f = accum::ThreadIndex();
    if (f >= size) return;
    accum::StoreOwner(AELLD, new_nnu, Px, Py, f, aED[f]);
}

int Calc_MapaEaWToAi(int BlockSize, int nFaces, int newNNU, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                     const int* MapFace2CellExD, const int* MapFace2CellEyD, const double* aED, const double* aWD,
                     double* AELLD, int faceGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_MapaEaWToAi, faceGrid, kBlockSize, 0, 0)
    (nFaces, newNNU, MapFace2CellPxD, MapFace2CellPyD, MapFace2CellExD, MapFace2CellEyD, aED, aWD, AELLD);
    return CheckStep("Calc_MapaEaEWToAi failed", SelectedDevice);
}

int Calc_MapaEToAiPar(int BlockSize, int nFaces, int new_nnu, int /*unused*/, const int* ParMapFace2CellPxD,
                      const int* ParMapFace2CellPyD, const double* aED, double* AELLD, int faceGrid,
                      int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    RVZ_LAUNCH(Kernel_Calc_MapaEToAiPar, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, ParMapFace2CellPxD, ParMapFace2CellPyD, aED, AELLD);
    return CheckStep("Calc_MapaEToAiPar failed", SelectedDevice);
}

}  // namespace rvz
