// BiCGSTAB on a CSR matrix.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_CSR.cuh"
#include "CU_BiCGSTAB_CSR.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

int BiCGSTAB_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double tol,
                 double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    const bool jacobi = RVZPreconditionType == 1;
    std::printf(jacobi ? "CUDA_BiJCGSTABCSR: nnu=%d, nna=%d\n" : "CUDA_BiCGSTABCSR: nnu=%d, nna=%d\n", nnu, nna);
    std::fflush(stdout);

    const CsrOperator A{nnu, ia, ja, aa, rhs, sol, (nnu + kBlockSize - 1) / kBlockSize};
    return BiCGSolve<Kernel_CollectResidual>(
        nnu, nnu, jacobi, BiCGScheme::A, sol, tol, resIn, resOut, iter, maxIter, false, 0.0, SelectedDevice,
        A,
        [&](const double* P, double* v) { A.Product<Kernel_BiCGSTAB_CSR_Calc_v>(P, v, kTwoQuantityShared); },
        [&](const double* s, double* t) { A.Product<Kernel_BiCGSTAB_CSR_Calc_t>(s, t, kTwoQuantityShared); });
}

}  // namespace rvz
