// Face geometry and small numeric helpers shared by the transport families'
// kernels (momentum, pressure correction, gradients, energy). Inline device
// functions only, so any number of kernel files may include the header.
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

// Slot value of a wall face with vent flag m (0 or 1): the cell's value on
// a vent (m = 1), the slot's own on a closed wall (m = 0). Written as
// m*cell + (m = 0 ? slot : 0), so m must be 0 or 1.
__device__ __forceinline__ double VentOrOwn(int m, double cell, double slot)
{
    return static_cast<double>(m) * cell + (m == 0 ? slot : 0.0);
}

// ---- The blended time term: implicit Euler (B = 0) blended with the
// three-level backward formula (B = 1) ----

// rho V / (dt dtNor): the time coefficient of cell c.
__device__ __forceinline__ double TimeCoefficient(int c, double dt, double dtNor, const double* denD,
                                                  const double* volumeD)
{
    return denD[c] * volumeD[c] / (dt * dtNor);
}

// The old time levels' weight in the source: (1 + B) phi0 - (B/2) phi00.
__device__ __forceinline__ double BlendedHistory(double B, double phi0, double phi00)
{
    return (1.0 + B) * phi0 - B / 2.0 * phi00;
}

// The new time level's weight in the central coefficient: 1 + B/2.
__device__ __forceinline__ double BlendedCentral(double B) { return 1.0 + B / 2.0; }

// Sum of the off-diagonal entries of ELL row r, columns 1 .. nCol-1 in order.
__device__ __forceinline__ double OffDiagonalSum(int r, int newNNU, int nCol, const double* AELLD)
{
    double s = 0.0;
    for (int j = 1; j < nCol; ++j) s = s + AELLD[j * newNNU + r];
    return s;
}

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
