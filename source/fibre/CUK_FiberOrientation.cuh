// The algebra of the fibre-orientation kernels, free of any array: clamping
// and the hand-over normalisation, the Folgar-Tucker rate with its closures,
// and the sub-step control. Inline functions callable on host and device,
// so any number of files (and the tests) may include the header.
//
// Components are always in the order xx, yy, zz, xy, xz, yz.
#pragma once

#include <math.h>

#include "platform/rvz_platform.h"

#include "CU_CalcFiber.h"  // kComponents

namespace rvz {
namespace fibre {

// Clamp to [lo, hi]; a NaN passes through unchanged.
RVZ_HOST_DEVICE __forceinline__ double Clamp(double x, double lo, double hi)
{
    if (x < lo) return lo;
    if (x > hi) return hi;
    return x;
}

// Bounds of a component: [0, 1] on the diagonal (c < 3), [-0.5, 0.5] off it.
RVZ_HOST_DEVICE __forceinline__ double ClampComponent(int c, double x)
{
    return c < 3 ? Clamp(x, 0.0, 1.0) : Clamp(x, -0.5, 0.5);
}

// One tensor in registers.
struct Sym6 {
    double v[kComponents];
};

// Every component clamped to its bounds (no renormalisation).
RVZ_HOST_DEVICE __forceinline__ Sym6 Clamped(const Sym6& a)
{
    Sym6 s;
    for (int c = 0; c < kComponents; ++c) s.v[c] = ClampComponent(c, a.v[c]);
    return s;
}

// The hand-over between transport and evolution: clamped, and the diagonal
// divided by its sum + 1e-30 so that it sums to one.
RVZ_HOST_DEVICE __forceinline__ Sym6 Normalised(const Sym6& a)
{
    Sym6 s = Clamped(a);
    const double trace = s.v[0] + s.v[1] + s.v[2] + 1.0e-30;
    for (int c = 0; c < 3; ++c) s.v[c] = s.v[c] / trace;
    return s;
}

// ---- Tensor algebra of the orientation equation ----

struct Mat3 {
    double m[3][3];
};

RVZ_HOST_DEVICE __forceinline__ Mat3 Full(const Sym6& a)
{
    Mat3 A;
    A.m[0][0] = a.v[0];
    A.m[1][1] = a.v[1];
    A.m[2][2] = a.v[2];
    A.m[0][1] = A.m[1][0] = a.v[3];
    A.m[0][2] = A.m[2][0] = a.v[4];
    A.m[1][2] = A.m[2][1] = a.v[5];
    return A;
}

RVZ_HOST_DEVICE __forceinline__ Mat3 Product(const Mat3& A, const Mat3& B)
{
    Mat3 C;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) C.m[i][j] = A.m[i][0] * B.m[0][j] + A.m[i][1] * B.m[1][j] + A.m[i][2] * B.m[2][j];
    return C;
}

// Row and column of each stored component (xx, yy, zz, xy, xz, yz).
RVZ_HOST_DEVICE __forceinline__ int RowOf(int c) { return c < 3 ? c : (c == 5 ? 1 : 0); }
RVZ_HOST_DEVICE __forceinline__ int ColumnOf(int c) { return c < 3 ? c : (c == 3 ? 1 : 2); }
RVZ_HOST_DEVICE __forceinline__ double Delta(int c) { return c < 3 ? 1.0 : 0.0; }

// Sum over k, l of A_kl B_kl.
RVZ_HOST_DEVICE __forceinline__ double DoubleDot(const Mat3& A, const Mat3& B)
{
    double s = 0.0;
    for (int k = 0; k < 3; ++k)
        for (int l = 0; l < 3; ++l) s = s + A.m[k][l] * B.m[k][l];
    return s;
}

// Sum over k, l of A_kl^2 B_kl: the element-wise square of A against B.
RVZ_HOST_DEVICE __forceinline__ double SquaredDoubleDot(const Mat3& A, const Mat3& B)
{
    double s = 0.0;
    for (int k = 0; k < 3; ++k)
        for (int l = 0; l < 3; ++l) s = s + A.m[k][l] * A.m[k][l] * B.m[k][l];
    return s;
}

RVZ_HOST_DEVICE __forceinline__ double Determinant(const Mat3& A)
{
    return A.m[0][0] * (A.m[1][1] * A.m[2][2] - A.m[1][2] * A.m[2][1]) -
           A.m[0][1] * (A.m[1][0] * A.m[2][2] - A.m[1][2] * A.m[2][0]) +
           A.m[0][2] * (A.m[1][0] * A.m[2][1] - A.m[1][1] * A.m[2][0]);
}

// What every closure reads: a, D, a.D, D.a, s = a:D and tr D.
struct ClosureInput {
    Mat3 a, D, aD, Da;
    double s, Dkk;
};

// Closure value C = a4:D, component c, of each closure type.
RVZ_HOST_DEVICE __forceinline__ double LinearClosure(const ClosureInput& in, int c)
{
    const int i = RowOf(c), j = ColumnOf(c);
    return -(1.0 / 35.0) * (Delta(c) * in.Dkk + 2.0 * in.D.m[i][j]) +
           (1.0 / 7.0) * (Delta(c) * in.s + in.a.m[i][j] * in.Dkk + 2.0 * in.aD.m[i][j] + 2.0 * in.Da.m[i][j]);
}

RVZ_HOST_DEVICE __forceinline__ double QuadraticClosure(const ClosureInput& in, int c)
{
    return in.a.m[RowOf(c)][ColumnOf(c)] * in.s;
}

// Closure 4: 0.2 (2 delta s + 6 (a.D.a) - a s - 2 delta q), with q the
// element-wise square of a against D.
struct ClosureFour {
    Mat3 aDa;
    double q;
};

enum ClosureType { kNoClosure = 0, kLinear = 1, kQuadratic = 2, kHybrid = 3, kClosureFour = 4 };

// The six closure components of `type` (any unknown type gives zero).
RVZ_HOST_DEVICE __forceinline__ Sym6 Closure(int type, const ClosureInput& in)
{
    Sym6 C;
    if (type == kLinear) {
        for (int c = 0; c < kComponents; ++c) C.v[c] = LinearClosure(in, c);
    } else if (type == kQuadratic) {
        for (int c = 0; c < kComponents; ++c) C.v[c] = QuadraticClosure(in, c);
    } else if (type == kHybrid) {
        const double f = Clamp(1.0 - 27.0 * Determinant(in.a), 0.0, 1.0);
        for (int c = 0; c < kComponents; ++c) C.v[c] = (1.0 - f) * LinearClosure(in, c) + f * QuadraticClosure(in, c);
    } else if (type == kClosureFour) {
        const ClosureFour k{Product(in.aD, in.a), SquaredDoubleDot(in.a, in.D)};
        for (int c = 0; c < kComponents; ++c) {
            const int i = RowOf(c), j = ColumnOf(c);
            C.v[c] = 0.2 * (2.0 * Delta(c) * in.s + 6.0 * k.aDa.m[i][j] - in.a.m[i][j] * in.s - 2.0 * Delta(c) * k.q);
        }
    } else {
        for (int c = 0; c < kComponents; ++c) C.v[c] = 0.0;
    }
    return C;
}

// The Folgar-Tucker rate da/dt at the (clamped) state a under the velocity
// gradient L (L_ij = du_i/dx_j): rotation W.a - a.W, stretching
// lambda (D.a + a.D - 2 C) and rotary diffusion 2 CI gammaDot (delta - 3 a).
RVZ_HOST_DEVICE __forceinline__ Sym6 FolgarTuckerRate(const Sym6& aState, const Mat3& L, double aspectRatio, double CI,
                                                      double gammaDot, int closureType)
{
    ClosureInput in;
    in.a = Full(aState);
    Mat3 W;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            in.D.m[i][j] = (L.m[i][j] + L.m[j][i]) / 2.0;
            W.m[i][j] = (L.m[i][j] - L.m[j][i]) / 2.0;
        }
    in.aD = Product(in.a, in.D);
    in.Da = Product(in.D, in.a);
    in.s = DoubleDot(in.a, in.D);
    in.Dkk = in.D.m[0][0] + in.D.m[1][1] + in.D.m[2][2];
    const Mat3 Wa = Product(W, in.a);
    const Mat3 aW = Product(in.a, W);
    const double AR2 = aspectRatio * aspectRatio;
    const double lambda = (AR2 - 1.0) / (AR2 + 1.0);
    const Sym6 C = Closure(closureType, in);
    Sym6 F;
    for (int c = 0; c < kComponents; ++c) {
        const int i = RowOf(c), j = ColumnOf(c);
        F.v[c] = (Wa.m[i][j] - aW.m[i][j]) + lambda * (in.Da.m[i][j] + in.aD.m[i][j] - 2.0 * C.v[c]) +
                 2.0 * CI * gammaDot * (Delta(c) - 3.0 * in.a.m[i][j]);
    }
    return F;
}

// The sub-step length and increment of one cell from its rate F0: m the
// largest |dt01 F0_c| (first component wins ties), F0max that component's
// rate; a step whose largest increment exceeds dxLimit is shortened to
// |dxLimit / F0max|, floored at dtLowLimit and capped at the remaining time.
struct StepChoice {
    double dt;     // the sub-step length used
    double F0max;  // the rate of the limiting component
    bool changed;  // dt replaces dt01
};

RVZ_HOST_DEVICE __forceinline__ StepChoice ChooseStep(const Sym6& F0, double dt01, double remaining, double dxLimit,
                                                      double dtLowLimit)
{
    double m = -1.0e30;
    double F0max = 0.0;
    for (int c = 0; c < kComponents; ++c) {
        const double v = fabs(dt01 * F0.v[c]);
        if (v > m) {
            m = v;
            F0max = F0.v[c];
        }
    }
    if (!(m > dxLimit)) return StepChoice{dt01, F0max, false};
    double dt = fabs(dxLimit / (F0max + 1.0e-30));
    if (dt < dtLowLimit) dt = dtLowLimit;
    if (dt > remaining) dt = remaining;
    return StepChoice{dt, F0max, true};
}

}  // namespace fibre
}  // namespace rvz
