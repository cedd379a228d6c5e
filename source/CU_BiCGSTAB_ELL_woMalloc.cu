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
    BiCGBuffers buffers;
    buffers.res = resNextLevelD;
    buffers.aDen = aDenominatorNextLevelD;
    buffers.rho = rhoNextLevelD;
    buffers.s = sNextLevelD;
    buffers.omegaNum = omegaNumeratorNextLevelD;
    buffers.omegaDen = omegaDenominatorNextLevelD;
    BiCGVectors vectors;
    vectors.r = resD;
    vectors.P = PD;
    vectors.v = vD;
    vectors.rTilde = restiltD;
    vectors.s = sD;
    vectors.t = tD;
    vectors.d = diagonal_reciprocalD;
    vectors.sHat = ssD;
    vectors.pHat = ppD;
    const BiCGSystem s = CallerStorageSystem(nnu, table, buffers, vectors, workLength);

    const int grid = s.grid;
    auto inverseDiagonal = [&](double* d) {
        RVZ_LAUNCH(Kernel_ELL_CalcM, grid, kBlockSize, 0, 0)(nnu, NColumnPerRow, indexELL, aaELL, d);
    };
    auto residualIn = [&](double* r, double* buffer) {
        RVZ_LAUNCH_BLOCK(Kernel_ELL_CalcResidual_In, grid, kBlockSize, kOneQuantityShared, 0)
        (nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, r, buffer);
    };
    auto productV = [&](const double* pHat, double* v) {
        RVZ_LAUNCH(Kernel_BiCGSTAB_ELL_woMalloc_Calc_v, grid, kBlockSize, 0, 0)
        (nnu, new_nnu, NColumnPerRow, v, aaELL, indexELL, pHat);
    };
    auto productT = [&](const double* sHat, double* t) {
        RVZ_LAUNCH(Kernel_BiCGSTAB_ELL_woMalloc_Calc_t, grid, kBlockSize, 0, 0)
        (nnu, new_nnu, NColumnPerRow, t, aaELL, indexELL, sHat);
    };
    if (!BiCGRun<Kernel_CollectResidual_Alt>(s, BiCGScheme::B, sol, tol, resIn, resOut, iter, maxIter,
                                             inverseDiagonal, residualIn, productV, productT, LocalSum{}))
        return 0;
    return CheckStep("Serial BiJCGSTAB Computing failed", SelectedDevice);
}

}  // namespace rvz
