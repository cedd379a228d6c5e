// BiCGSTAB on an ELL matrix.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_ELL.cuh"
#include "CU_BiCGSTAB_ELL.h"
#include "CU_CG_ELL.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

int BiCGSTAB_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
                 double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
                 int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    const bool jacobi = RVZPreconditionType == 1;
    const int new_nnu = PaddedRows(nnu);
    // The matrix and eleven vectors.
    const double requiredMB = (12.0 * NColumnPerRow + 88.0) * new_nnu / (1024.0 * 1024.0);
    if (!jacobi) {
        std::printf("CUDA_BiCGSTABELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n", nnu, new_nnu, NColumnPerRow);
        std::fflush(stdout);
    }

    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, new_nnu / kBlockSize};
    auto productV = [&](const double* P, double* v) {
        A.Product<Kernel_BiCGSTAB_ELL_Calc_v, Kernel_BiJCGSTAB_ELL_Calc_v>(jacobi, P, v);
    };
    auto productT = [&](const double* s, double* t) {
        A.Product<Kernel_BiCGSTAB_ELL_Calc_t, Kernel_BiJCGSTAB_ELL_Calc_t>(jacobi, s, t);
    };
    return BiCGSolve<Kernel_CollectResidual_Alt>(
        new_nnu, nnu, jacobi, jacobi ? BiCGScheme::B : BiCGScheme::A, sol, tol, resIn, resOut, iter, maxIter, true,
        requiredMB, SelectedDevice, A, productV, productT);
}

}  // namespace rvz
