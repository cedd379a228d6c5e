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

    const int grid = (nnu + kBlockSize - 1) / kBlockSize;
    auto inverseDiagonal = [&](double* d) {
        RVZ_LAUNCH(Kernel_CSR_CalcM, grid, kBlockSize, 0, 0)(nnu, ia, ja, aa, d);
    };
    auto residualIn = [&](double* r, double* buffer) {
        RVZ_LAUNCH_BLOCK(Kernel_CSR_CalcResidual_In, grid, kBlockSize, kTwoQuantityShared, 0)
        (nnu, ia, ja, aa, rhs, sol, r, buffer);
    };
    auto productV = [&](const double* P, double* v) {
        RVZ_LAUNCH(Kernel_BiCGSTAB_CSR_Calc_v, grid, kBlockSize, kTwoQuantityShared, 0)(nnu, v, ia, ja, aa, P);
    };
    auto productT = [&](const double* s, double* t) {
        RVZ_LAUNCH(Kernel_BiCGSTAB_CSR_Calc_t, grid, kBlockSize, kTwoQuantityShared, 0)(nnu, t, ia, ja, aa, s);
    };
    return BiCGSolve<Kernel_CollectResidual>(nnu, nnu, jacobi, BiCGScheme::A, sol, tol, resIn, resOut, iter, maxIter,
                                             false, 0.0, SelectedDevice, inverseDiagonal, residualIn, productV,
                                             productT);
}

}  // namespace rvz
