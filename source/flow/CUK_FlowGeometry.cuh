// Face geometry and small numeric helpers shared by the momentum (CalcUVW)
// and pressure-correction (CalcPP) kernels. Inline device functions only, so
// the header may be included by both families' kernel files.
#pragma once

#include "platform/rvz_platform.h"

namespace rvz {
namespace flow {

struct Vec3 {
    double x, y, z;
};

__device__ __forceinline__ double Dot(const Vec3& a, const Vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

__device__ __forceinline__ Vec3 Load3(const double* x, const double* y, const double* z, int i)
{
    return Vec3{x[i], y[i], z[i]};
}

// b - a: the vector from a to b.
__device__ __forceinline__ Vec3 From(const Vec3& a, const Vec3& b) { return Vec3{b.x - a.x, b.y - a.y, b.z - a.z}; }

// Face value between P and E with the E-side weight w.
__device__ __forceinline__ double Interp(double w, double atE, double atP) { return w * atE + (1.0 - w) * atP; }

// The middle one of three values: b clipped to the interval spanned by a and c.
__device__ __forceinline__ double Median3(double a, double b, double c)
{
    const double lo = a < c ? a : c;
    const double hi = a < c ? c : a;
    return b < lo ? lo : (b > hi ? hi : b);
}

// Upwind parts of a face flux m: max(m, 0) and min(m, 0), written as the
// comparisons the assembly is defined with.
__device__ __forceinline__ double PositivePart(double m) { return m > 0.0 ? m : 0.0; }
__device__ __forceinline__ double NegativePart(double m) { return m > 0.0 ? 0.0 : m; }

// The geometric quantities of one face from its area vector S and the
// centroid-to-centroid vector d.
struct FaceGeometry {
    Vec3 S;
    Vec3 d;
    double S2;    // sx^2 + sy^2 + sz^2
    double magS;  // |S|
    double magD;  // |d|
    double Sd;    // S.d

    __device__ __forceinline__ FaceGeometry(const Vec3& s, const Vec3& dd) : S(s), d(dd)
    {
        S2 = Dot(S, S);
        magS = sqrt(S2);
        magD = sqrt(Dot(d, d));
        Sd = Dot(S, d);
    }
    // c = |S||d| / (S.d + 1e-30): 1 on an orthogonal face, larger when skewed.
    __device__ __forceinline__ double NonOrthogonality() const { return magS * magD / (Sd + 1.0e-30); }
    // D = c |S| / |d|, the orthogonal diffusion factor (|S|^2 / S.d up to rounding).
    __device__ __forceinline__ double DiffusionFactor() const { return NonOrthogonality() * magS / magD; }
};

}  // namespace flow
}  // namespace rvz
