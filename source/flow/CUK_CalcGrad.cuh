// Kernels of the Gauss cell gradients: face values of interior faces with
// the one-step skewness correction and the median limiter, face values of
// boundary lists, the division by the cell volume, and the copies of the
// velocity gradient into boundary slots. The collect and update steps are
// the shared ones of CUK_Accumulate.cuh. Included by CU_CalcGrad.cu only.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_FlowGeometry.cuh"

namespace rvz {
namespace grad {

// Value at weight w of the E side: w*e + (1 - w)*p.
__device__ __forceinline__ double Interpolate(double w, double e, double p) { return w * e + (1.0 - w) * p; }

// The median of a, b and c; symmetric in a and b, so a face gives the same
// bits whichever of its cells is called the owner.
__device__ __forceinline__ double Median(double a, double b, double c)
{
    const double lo = a < b ? a : b;
    const double hi = a < b ? b : a;
    const double upper = c < hi ? c : hi;
    return lo > upper ? lo : upper;
}

// The nine components of a velocity gradient, as extended arrays.
struct VelocityGradient {
    double* g[9];
};

}  // namespace grad

// Face value of interior face f, corrected to the face centroid with the
// interpolated previous gradient and clipped to the range of the two cell
// values, times the face area vector.
__global__ void Kernel_Calc_GradFromInnerCF_tempxyz(int size, const double* fiD, const double* df_dx0D,
                                                    const double* df_dy0D, const double* df_dz0D, const double* leD,
                                                    const int* ijPD, const int* ijED, const double* xcD,
                                                    const double* ycD, const double* zcD, const double* sxD,
                                                    const double* syD, const double* szD, const double* xeD,
                                                    const double* yeD, const double* zeD, double* tempxD,
                                                    double* tempyD, double* tempzD)
{
    const int f = accum::ThreadIndex();
    if (f >= size) return;
    const int P = ijPD[f];
    const int E = ijED[f];
    const double w = leD[f];
    const double fiP = fiD[P];
    const double fiE = fiD[E];
    const double fiLine = grad::Interpolate(w, fiE, fiP);
    const double gx = grad::Interpolate(w, df_dx0D[E], df_dx0D[P]);
    const double gy = grad::Interpolate(w, df_dy0D[E], df_dy0D[P]);
    const double gz = grad::Interpolate(w, df_dz0D[E], df_dz0D[P]);
    const double xLine = grad::Interpolate(w, xcD[E], xcD[P]);
    const double yLine = grad::Interpolate(w, ycD[E], ycD[P]);
    const double zLine = grad::Interpolate(w, zcD[E], zcD[P]);
    double corrected = fiLine + gx * (xeD[f] - xLine);
    corrected = corrected + gy * (yeD[f] - yLine);
    corrected = corrected + gz * (zeD[f] - zLine);
    const double face = grad::Median(fiE, fiP, corrected);
    tempxD[f] = sxD[f] * face;
    tempyD[f] = syD[f] * face;
    tempzD[f] = szD[f] * face;
}

// Face value of boundary-list entry k: the boundary slot's value, unchanged.
__global__ void Kernel_Calc_GradFromBC_tempxyz(int size, const double* fiD, const int* ijbD, const double* sxD,
                                               const double* syD, const double* szD, double* tempxD, double* tempyD,
                                               double* tempzD)
{
    const int k = accum::ThreadIndex();
    if (k >= size) return;
    const double face = fiD[ijbD[k]];
    tempxD[k] = sxD[k] * face;
    tempyD[k] = syD[k] * face;
    tempzD[k] = szD[k] * face;
}

__global__ void Kernel_Calc_GradCVCenter(int size, const double* volumeD, double* df_dxD, double* df_dyD,
                                         double* df_dzD)
{
    const int c = accum::ThreadIndex();
    if (c >= size) return;
    const double v = volumeD[c];
    df_dxD[c] = df_dxD[c] / v;
    df_dyD[c] = df_dyD[c] / v;
    df_dzD[c] = df_dzD[c] / v;
}

__global__ void Kernel_Calc_InOutletBoundary_Update_dd(int size, const int* ijInOutletCVD, const int* ijInOutletD,
                                                       grad::VelocityGradient g)
{
    const int k = accum::ThreadIndex();
    if (k >= size) return;
    const int cell = ijInOutletCVD[k];
    const int slot = ijInOutletD[k];
    for (int c = 0; c < 9; ++c) g.g[c][slot] = g.g[c][cell];
}

// A vent face (m = 1) takes the cell's gradient; a closed wall (m = 0)
// keeps its boundary value.
__global__ void Kernel_Calc_WallBoundary_Update_dd(int size, const int* ijWallCVD, const int* ijWallD,
                                                   const int* FCRIMatchD, grad::VelocityGradient g)
{
    const int k = accum::ThreadIndex();
    if (k >= size) return;
    const int cell = ijWallCVD[k];
    const int slot = ijWallD[k];
    const int m = FCRIMatchD[k];
    for (int c = 0; c < 9; ++c) g.g[c][slot] = flow::VentOrOwn(m, g.g[c][cell], g.g[c][slot]);
}

}  // namespace rvz
