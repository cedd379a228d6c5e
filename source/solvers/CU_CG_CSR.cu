// Conjugate gradient on a CSR matrix.
#include "platform/rvz_platform.h"

#include "CUK_CG_CSR.cuh"
#include "CU_CG_CSR.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

int CG_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double tol,
           double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    const bool jacobi = RVZPreconditionType == 1;
    std::printf(jacobi ? "CUDA_JCGCSR: nnu=%d, nna=%d\n" : "CUDA_CGCSR: nnu=%d, nna=%d\n", nnu, nna);
    std::fflush(stdout);

    const CsrOperator A{nnu, ia, ja, aa, rhs, sol, (nnu + kBlockSize - 1) / kBlockSize};
    return CGSolve<CSRReductions>(
        nnu, nnu, jacobi, sol, tol, resIn, resOut, iter, maxIter, false, 0.0, SelectedDevice,
        A,
        [&](const double* P, double* q) { A.Product<Kernel_CG_CSR_Calc_q>(P, q, kTwoQuantityShared); });
}

int CSRProduct(int nnu, const int* ia, const int* ja, const double* aa, const double* x, double* y,
               CSRProductPath path)
{
    const int grid = (nnu + kBlockSize - 1) / kBlockSize;
    if (path == CSRProductPath::Portable)
        RVZ_LAUNCH(Kernel_CSR_Product_Portable, grid, kBlockSize, 0, 0)(nnu, y, ia, ja, aa, x);
    else
        RVZ_LAUNCH(Kernel_CG_CSR_Calc_q, grid, kBlockSize, kTwoQuantityShared, 0)(nnu, y, ia, ja, aa, x);
    return cudaGetLastError();
}

}  // namespace rvz
