// Kernels shared by the BiCGSTAB solvers (plain, Jacobi, caller storage,
// distributed). Defined once, in CU_BiCGSTAB_Basic.cu. One thread per row;
// rows at or beyond nnu do no work and contribute 0.0 to reductions.
#pragma once

#include "CUK_CG_Basic.cuh"

// Per-block sums of r[i] * rtilde[i].
__global__ void Kernel_BiCGSTAB_CalcRho(int nnu, const double* resOldD, const double* restiltD,
                                        double* rhoNextLevelD);
// Per-block sums of rtilde[i] * v[i] (the denominator of alpha).
__global__ void Kernel_BiCGSTAB_CalcA(int nnu, const double* restiltD, const double* vD,
                                      double* aDenominatorNextLevelD);
// s = r - alpha v and per-block sums of s^2.
__global__ void Kernel_BiCGSTAB_Calc_s(int nnu, double alpha, const double* vD, double* sD, const double* resOldD,
                                       double* sNextLevelD);
// Per-block sums of t.s (numerator of omega) and t.t (denominator).
__global__ void Kernel_BiCGSTAB_CalcOmega(int nnu, const double* tD, const double* sD,
                                          double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD);
// x = x0 + alpha P.
__global__ void Kernel_BiCGSTAB_CalcSol(int nnu, double* sol_D, const double* sol0_D, const double* P_D,
                                        double alpha);
// x = x0 + omega ss: the same arithmetic, its own kernel for the omega step.
__global__ void Kernel_BiCGSTAB_CalcSol_alt(int nnu, double* sol_D, const double* sol0_D, const double* ss_D,
                                            double omega);
// r = s - omega t and per-block sums of r^2.
__global__ void Kernel_BiCGSTAB_CalcResidual_Out(int nnu, double omega, const double* tD, double* resD,
                                                 const double* sD, double* resNextLevelD);
// P = r + b (Pold - omega v).
__global__ void Kernel_BiCGSTAB_CalcP(int nnu, double* P_D, const double* Pold_D, const double* res_D, double b,
                                      const double* v_D, double omega);
// sol = rhs d: the right preconditioner applied to a vector.
__global__ void Kernel_BiJCGSTAB_CalcPrecondition(int nnu, const double* DiagonalReciprocalD, const double* rhsD,
                                                  double* solD);
