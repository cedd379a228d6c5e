// Conjugate gradient on an ELL matrix.
#include "platform/rvz_platform.h"

#include "CUK_CG_ELL.cuh"
#include "CU_CG_ELL.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

namespace {

// The device memory a solve needs beside its partial-sum buffers, in MB:
// the matrix and the work vectors.
double RequiredMB(int new_nnu, int NColumnPerRow, bool jacobi)
{
    const double bytes = jacobi ? (NColumnPerRow + 6.0) * new_nnu * 12.0 : (12.0 * NColumnPerRow + 56.0) * new_nnu;
    return bytes / (1024.0 * 1024.0);
}

}  // namespace

int CG_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
           double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
           int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    const bool jacobi = RVZPreconditionType == 1;
    const int new_nnu = PaddedRows(nnu);
    const double requiredMB = RequiredMB(new_nnu, NColumnPerRow, jacobi);
    std::printf(jacobi ? "CUDA_JCGELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n"
                       : "CUDA_CGELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n",
                nnu, new_nnu, NColumnPerRow);
    std::fflush(stdout);
    std::printf("RequiredGPUMemoryInMB=%e\n", requiredMB);
    std::fflush(stdout);

    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, new_nnu / kBlockSize};
    return CGSolve<ELLReductions>(
        new_nnu, nnu, jacobi, sol, tol, resIn, resOut, iter, maxIter, true, requiredMB, SelectedDevice,
        A,
        [&](const double* P, double* q) { A.Product<Kernel_CG_ELL_Calc_q, Kernel_JCG_ELL_Calc_q>(jacobi, P, q); });
}

int ELLProduct(int nnu, int new_nnu, int NColumnPerRow, const int* indexELL, const double* aaELL, const double* x,
               double* y)
{
    const int grid = (nnu + kBlockSize - 1) / kBlockSize;
    RVZ_LAUNCH(Kernel_CG_ELL_Calc_q, grid, kBlockSize, 0, 0)(nnu, new_nnu, NColumnPerRow, y, aaELL, indexELL, x);
    return cudaGetLastError();
}

}  // namespace rvz
