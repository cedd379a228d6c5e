// Jacobi BiCGSTAB on an ELL matrix in caller-provided storage.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_ELL_woMalloc.cuh"
#include "CU_BiCGSTAB_ELL_woMalloc.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

int BiJCGSTABELL_woMalloc(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                          double* sol, double tol, double& resIn, double& resOut, int& iter, int maxIter,
                          double* resNextLevelD, double* aDenominatorNextLevelD, double* rhoNextLevelD,
                          double* sNextLevelD, double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
                          double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD,
                          double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels,
                          int* size, int total, int* count, int* offset, int workLength, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    const LevelView table(nLevels, count, offset, total, size);
    const BiCGSystem s = CallerStorageSystem(nnu, table, resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD,
                                             sNextLevelD, omegaNumeratorNextLevelD, omegaDenominatorNextLevelD, resD,
                                             PD, vD, restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, workLength);
    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, s.grid};
    if (!BiCGRun<Kernel_CollectResidual_Alt>(
            s, BiCGScheme::B, sol, tol, resIn, resOut, iter, maxIter, A,
            [&](const double* pHat, double* v) { A.Product<Kernel_BiCGSTAB_ELL_woMalloc_Calc_v>(pHat, v); },
            [&](const double* sHat, double* t) { A.Product<Kernel_BiCGSTAB_ELL_woMalloc_Calc_t>(sHat, t); },
            LocalSum{}))
        return 0;
    return CheckStep("Serial BiJCGSTAB Computing failed", SelectedDevice);
}

}  // namespace rvz
