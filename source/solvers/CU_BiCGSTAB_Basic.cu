// The kernels shared by the BiCGSTAB solvers.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_Basic.cuh"

using rvz::SumOp;

using rvz::row_index;

__global__ void Kernel_BiCGSTAB_CalcRho(int nnu, const double* resOldD, const double* restiltD,
                                        double* rhoNextLevelD)
{
    rvz::block_reduce_256<SumOp, double>([&](int i) { return i < nnu ? resOldD[i] * restiltD[i] : 0.0; },
                                         rhoNextLevelD);
}

__global__ void Kernel_BiCGSTAB_CalcA(int nnu, const double* restiltD, const double* vD,
                                      double* aDenominatorNextLevelD)
{
    rvz::block_reduce_256<SumOp, double>([&](int i) { return i < nnu ? restiltD[i] * vD[i] : 0.0; },
                                         aDenominatorNextLevelD);
}

__global__ void Kernel_BiCGSTAB_Calc_s(int nnu, double alpha, const double* vD, double* sD, const double* resOldD,
                                       double* sNextLevelD)
{
    rvz::update_with_norm(nnu, alpha, vD, resOldD, sD, sNextLevelD);
}

__global__ void Kernel_BiCGSTAB_CalcOmega(int nnu, const double* tD, const double* sD,
                                          double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD)
{
    rvz::two_dot_products(nnu, tD, sD, tD, tD, omegaNumeratorNextLevelD, omegaDenominatorNextLevelD);
}

__global__ void Kernel_BiCGSTAB_CalcSol(int nnu, double* sol_D, const double* sol0_D, const double* P_D,
                                        double alpha)
{
    const int i = row_index();
    if (i < nnu) sol_D[i] = fma(alpha, P_D[i], sol0_D[i]);
}

__global__ void Kernel_BiCGSTAB_CalcSol_alt(int nnu, double* sol_D, const double* sol0_D, const double* ss_D,
                                            double omega)
{
    const int i = row_index();
    if (i < nnu) sol_D[i] = fma(omega, ss_D[i], sol0_D[i]);
}

__global__ void Kernel_BiCGSTAB_CalcResidual_Out(int nnu, double omega, const double* tD, double* resD,
                                                 const double* sD, double* resNextLevelD)
{
    rvz::update_with_norm(nnu, omega, tD, sD, resD, resNextLevelD);
}

__global__ void Kernel_BiCGSTAB_CalcP(int nnu, double* P_D, const double* Pold_D, const double* res_D, double b,
                                      const double* v_D, double omega)
{
    const int i = row_index();
    if (i < nnu) P_D[i] = fma(Pold_D[i] - omega * v_D[i], b, res_D[i]);
}

__global__ void Kernel_BiJCGSTAB_CalcPrecondition(int nnu, const double* DiagonalReciprocalD, const double* rhsD,
                                                  double* solD)
{
    const int i = row_index();
    if (i < nnu) solD[i] = rhsD[i] * DiagonalReciprocalD[i];
}
