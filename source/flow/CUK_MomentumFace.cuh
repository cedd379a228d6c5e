// Face steps of the momentum assemblies, shared by the basic momentum
// family (CUK_CalcUVW.cuh) and the extended-flow one (CUK_CalcUVW_FlowE.cuh):
// the upwind-plus-diffusion face coefficients, the parts of the explicit
// face source of one velocity component (non-orthogonal and transpose
// diffusion, deferred correction) and its limiter. Inline device functions
// only, so any number of kernel files may include the header.
#pragma once

#include "CUK_FlowGeometry.cuh"

namespace rvz {
namespace uvw {

using flow::Dot;
using flow::Interp;
using flow::Load3;
using flow::Vec3;

// The nine velocity-gradient arrays: g[i][j] = d(velocity i)/d(x_j).
struct VelocityGradient {
    const double* g[3][3];
};

// The gradient arrays in the facades' order: du_dx, dv_dx, dw_dx, du_dy,
// dv_dy, dw_dy, du_dz, dv_dz, dw_dz. Host code.
inline VelocityGradient GradientInCallerOrder(const double* const gradients[9])
{
    VelocityGradient g{};
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) g.g[i][j] = gradients[3 * j + i];
    return g;
}

__device__ __forceinline__ int ThreadIndex() { return static_cast<int>(blockIdx.x * blockDim.x + threadIdx.x); }

// E-side weight of face f: leD[f], or 1 for the forms without weights.
__device__ __forceinline__ double Weight(const double* leD, int f) { return leD != nullptr ? leD[f] : 1.0; }

__device__ __forceinline__ Vec3 CentroidDistance(const double* xcD, const double* ycD, const double* zcD, int P, int E)
{
    return flow::From(Load3(xcD, ycD, zcD, P), Load3(xcD, ycD, zcD, E));
}

// Upwind convection of flux m plus the diffusion conductance `diffusion`:
// aE = min(m, 0) - diffusion, aW = -max(m, 0) - diffusion.
__device__ __forceinline__ void UpwindCoefficients(double m, double diffusion, double& aE, double& aW)
{
    aE = flow::NegativePart(m) - diffusion;
    aW = -flow::PositivePart(m) - diffusion;
}

// Diffusion plus first-order upwind convection of one face, with the
// orthogonal diffusion factor D = (|S||d|/(S.d + 1e-30)) |S|/|d|.
__device__ __forceinline__ void FaceCoefficients(int f, const int* ijPD, const int* ijED, const double* leD,
                                                 const double* xcD, const double* ycD, const double* zcD,
                                                 const double* visD, const double* sxD, const double* syD,
                                                 const double* szD, const double* mfeD, double& aE, double& aW)
{
    const int P = ijPD[f];
    const int E = ijED[f];
    const double w = Weight(leD, f);
    const flow::FaceGeometry geo(Load3(sxD, syD, szD, f), CentroidDistance(xcD, ycD, zcD, P, E));
    UpwindCoefficients(mfeD[f], Interp(w, visD[E], visD[P]) * geo.DiffusionFactor(), aE, aW);
}

// Ds = |S|^2/(S.d + 1e-30), with |S|^2 formed as the square of |S|.
__device__ __forceinline__ double SourceDiffusionFactor(const Vec3& S, const Vec3& d)
{
    const double magS = sqrt(Dot(S, S));
    return magS * magS / (Dot(S, d) + 1.0e-30);
}

// The pieces of the explicit face source of one velocity component.
struct FaceSourceParts {
    double muf;   // interpolated viscosity
    double Ds;    // |S|^2/(S.d + 1e-30)
    double dphi;  // phi(E) - phi(P)
    double X;     // explicit diffusion (G.S - Ds G.d) + T.S
    double C;     // deferred correction: upwind minus central flux
};

// Parts of the face source of component C (0 u, 1 v, 2 w) between P and E
// with the E-side weight w: G is the component's gradient and T the matching
// row of the transposed gradient, both interpolated with w.
template <int C>
__device__ __forceinline__ FaceSourceParts FaceSourceTerms(int f, int P, int E, double w,
                                                           const VelocityGradient& grad, const double* xcD,
                                                           const double* ycD, const double* zcD, const double* phiD,
                                                           const double* visD, const double* sxD, const double* syD,
                                                           const double* szD, const double* mfeD)
{
    FaceSourceParts p;
    p.muf = Interp(w, visD[E], visD[P]);
    const double phiP = phiD[P];
    const double phiE = phiD[E];
    const double phif = Interp(w, phiE, phiP);
    auto interpGrad = [&](int i, int j) { return Interp(w, grad.g[i][j][E], grad.g[i][j][P]); };
    const Vec3 G{interpGrad(C, 0), interpGrad(C, 1), interpGrad(C, 2)};
    const Vec3 T{interpGrad(0, C), interpGrad(1, C), interpGrad(2, C)};

    const Vec3 S = Load3(sxD, syD, szD, f);
    const Vec3 d = CentroidDistance(xcD, ycD, zcD, P, E);
    p.Ds = SourceDiffusionFactor(S, d);
    p.X = (Dot(G, S) - p.Ds * Dot(G, d)) + Dot(T, S);
    p.dphi = phiE - phiP;

    const double m = mfeD[f];
    p.C = flow::PositivePart(m) * phiP + flow::NegativePart(m) * phiE - m * phif;
    return p;
}

// Limiter of an explicit quantity Q against the orthogonal part Ds*dphi:
// r = (psi Ds dphi + 1e-30)/((1 - psi) Q + 1e-30) clipped to [0, 1]; a NaN
// r stays NaN.
__device__ __forceinline__ double Limiter(double psi, double Ds, double dphi, double Q)
{
    const double r = (psi * Ds * dphi + 1.0e-30) / ((1.0 - psi) * Q + 1.0e-30);
    return r > 1.0 ? 1.0 : (r < 0.0 ? 0.0 : r);
}

// Face value of the phase mixture: alpha*denl + (1 - alpha)*deng.
__device__ __forceinline__ double MixtureDensity(double alpha, double denl, double deng)
{
    return alpha * denl + (1.0 - alpha) * deng;
}

}  // namespace uvw
}  // namespace rvz
