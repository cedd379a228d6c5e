// Device steps shared by the two volume-fraction families (the basic
// equation of CU_Vfconv and the extended path of CU_Vfconv_FlowE): clamps,
// donor and acceptor of a face, the normalised-variable geometry of an
// interface face, the CICSAM bounds, the limiting and snapping rules, the
// arrival-time record and one row of the Crank-Nicolson time term. Inline
// device functions only, so both kernel files may include it.
#pragma once

#include <math.h>

#include "CUK_Accumulate.cuh"
#include "CUK_FlowGeometry.cuh"

namespace rvz {
namespace vof {

using accum::ThreadIndex;

// The value when it is strictly positive, else 0.
__device__ __forceinline__ double PositivePart(double x) { return x > 0.0 ? x : 0.0; }

// The value when it is zero or negative (an inflow), else 0.
__device__ __forceinline__ double Inflow(double m) { return m <= 0.0 ? m : 0.0; }

// Clamp to [lo, hi]; a NaN passes through unchanged.
__device__ __forceinline__ double Clamp(double x, double lo, double hi)
{
    if (x < lo) return lo;
    if (x > hi) return hi;
    return x;
}

__device__ __forceinline__ double ClampUnit(double x) { return Clamp(x, 0.0, 1.0); }

// Donor D and acceptor A of a face: the owner donates when m >= 0.
struct DonorAcceptor {
    int D, A;
};
__device__ __forceinline__ DonorAcceptor DonorOf(double m, int P, int E)
{
    return m >= 0.0 ? DonorAcceptor{P, E} : DonorAcceptor{E, P};
}

// The normalised-variable picture of one face: donor and acceptor values,
// the donor-to-acceptor distance d and the donor gradient g. The far-upwind
// value is extrapolated back from the acceptor by 2 d.g, the normalised
// donor value is measured between it and the acceptor, and the interface
// angle is the one between d and g.
struct InterfaceFace {
    double phiD, phiA;
    flow::Vec3 d, g;

    __device__ __forceinline__ double Upwind() const { return ClampUnit(phiA - 2.0 * flow::Dot(d, g)); }

    __device__ __forceinline__ double NormalisedDonor() const
    {
        const double phiU = Upwind();
        return (phiD - phiU) / (phiA - phiU + 1.0e-30);
    }

    __device__ __forceinline__ double CosAngle() const
    {
        const double c = flow::Dot(d, g) / sqrt(flow::Dot(d, d)) / (sqrt(flow::Dot(g, g)) + 1.0e-30);
        return Clamp(c, -1.0, 1.0);
    }
};

// The face of one interior face of a face set, read from the cell arrays.
__device__ __forceinline__ InterfaceFace LoadInterfaceFace(const DonorAcceptor& da, const double* VolFD,
                                                           const double* xcD, const double* ycD, const double* zcD,
                                                           const double* gxD, const double* gyD, const double* gzD)
{
    using flow::Load3;
    return InterfaceFace{VolFD[da.D], VolFD[da.A], flow::From(Load3(xcD, ycD, zcD, da.D), Load3(xcD, ycD, zcD, da.A)),
                         Load3(gxD, gyD, gzD, da.D)};
}

// The blending factor that places the normalised face value tf between the
// donor (0) and the acceptor (1), given the normalised donor value x.
__device__ __forceinline__ double BlendingFactor(double tf, double x) { return (tf - x) / (1.0 - x + 1.0e-30); }

__device__ __forceinline__ bool InNormalisedRange(double x) { return x >= 0.0 && x <= 1.0; }

// CICSAM's two bounds of an in-range normalised donor value x with the
// donor Courant number Co: the convection-boundedness criterion and
// ULTIMATE-QUICKEST, the second never above the first.
struct CicsamBounds {
    double cbc, uq;
};
__device__ __forceinline__ CicsamBounds CicsamBoundsOf(double x, double Co)
{
    const double cbc = fmin(x / (Co + 1.0e-30), 1.0);
    return CicsamBounds{cbc, fmin((8.0 * Co * x + (1.0 - Co) * (6.0 * x + 3.0)) / 8.0, cbc)};
}

// CICSAM's angle weight: 0.8 cos^2, clamped to [0, 1].
constexpr double kCicsamAngleWeight = 0.8;
__device__ __forceinline__ double CicsamWeight(double cosT) { return ClampUnit(kCicsamAngleWeight * cosT * cosT); }

// Limiting and snapping rules, each on a value already clamped to [0, 1]
// (a NaN passes every comparison unchanged).
// Early filling: <= EMF becomes 0, then >= EMF1 becomes 1.
__device__ __forceinline__ double SnapEarly(double v, double EMF, double EMF1)
{
    if (v <= EMF) v = 0.0;
    if (v >= EMF1) v = 1.0;
    return v;
}
// Late filling: < EMF becomes 0, then >= FCRI becomes 1.
__device__ __forceinline__ double SnapLate(double v, double EMF, double FCRI)
{
    if (v < EMF) v = 0.0;
    if (v >= FCRI) v = 1.0;
    return v;
}
// Front snapping: >= FCRI becomes 1 only in a cell whose arrival time is
// recorded (>= 1e-30).
__device__ __forceinline__ double SnapRecorded(double v, float arrival, double FCRI)
{
    if (v >= FCRI && static_cast<double>(arrival) >= 1.0e-30) v = 1.0;
    return v;
}
// Clamp, < EMF becomes 0, then the front snapping.
__device__ __forceinline__ double SnapToRecordedFront(double v, float arrival, double EMF, double FCRI)
{
    v = ClampUnit(v);
    if (v < EMF) v = 0.0;
    return SnapRecorded(v, arrival, FCRI);
}

// Arrival time: recorded once, when a cell without one reaches FCRI.
__device__ __forceinline__ void RecordArrival(float& arrival, double phi, double FCRI, double Time)
{
    if (arrival == 0.0f && phi >= FCRI) arrival = static_cast<float>(Time);
}

// One row of the Crank-Nicolson time term: the row's off-diagonal entries
// are halved in place, a0 joins the diagonal, and the old level's explicit
// half, (a0 + sum of the halved entries) phi0_r - sum(half_j phi0_j), goes
// to the source.
__device__ __forceinline__ void CrankNicolsonRow(int r, double a0, int new_nnu, int NColumnPerRow, double* AELLD,
                                                 double* SuD, const double* VolF0D, const int* indexELLD)
{
    double S = a0;
    double neighbours = 0.0;
    for (int j = 1; j < NColumnPerRow; ++j) {
        const int at = accum::Position(r, j, new_nnu);
        const double half = AELLD[at] * 0.5;
        AELLD[at] = half;
        S = S + half;
        const int c = indexELLD[at];
        if (c != -1) neighbours = neighbours + half * VolF0D[c];
    }
    AELLD[r] = AELLD[r] + a0;
    SuD[r] = SuD[r] + (S * VolF0D[r] - neighbours);
}

}  // namespace vof
}  // namespace rvz
