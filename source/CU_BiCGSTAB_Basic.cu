// The kernels shared by the BiCGSTAB solvers.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_Basic.cuh"

using rvz::Pair;
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
    rvz::block_reduce_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double s = fma(-alpha, vD[i], resOldD[i]);
            sD[i] = s;
            return s * s;
        },
        sNextLevelD);
}

__global__ void Kernel_BiCGSTAB_CalcOmega(int nnu, const double* tD, const double* sD,
                                          double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD)
{
    rvz::block_reduce2_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return Pair<double>{0.0, 0.0};
            return Pair<double>{tD[i] * sD[i], tD[i] * tD[i]};
        },
        omegaNumeratorNextLevelD, omegaDenominatorNextLevelD);
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
    rvz::block_reduce_256<SumOp, double>(
        [&](int i) {
            if (i >= nnu) return 0.0;
            const double r = fma(-omega, tD[i], sD[i]);
            resD[i] = r;
            return r * r;
        },
        resNextLevelD);
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
