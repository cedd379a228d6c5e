// Fibre orientation, local evolution: the step control, the work lists and
// their sentinels, cells below the critical fraction, simple shear and
// uniaxial elongation against an independent adaptive Runge-Kutta
// integration of the same orientation equation with the same closure, the
// steady state of simple shear, the tensor invariants, and the whole fibre
// step for one and two threads.
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "CUK_FiberOrientation.cuh"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using rvztest::DeviceArray;
using rvztest::Tool;
using State = std::array<double, 6>;  // xx, yy, zz, xy, xz, yz
using Grad = std::array<double, 9>;   // du/dx, du/dy, du/dz, dv/dx, .., dw/dz

const State kIsotropic{1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 0.0, 0.0, 0.0};
constexpr double kAR = 20.0;

Grad SimpleShear(double rate)
{
    return Grad{0, rate, 0, 0, 0, 0, 0, 0, 0};  // u = rate * y
}
Grad UniaxialElongation(double rate) { return Grad{rate, 0, 0, 0, -rate / 2.0, 0, 0, 0, -rate / 2.0}; }

// ---------------------------------------------------------------------------
// The device side: every array Calc_Fiber_Find_x1_Vec works on, for G
// global cells and a local length of L.
// ---------------------------------------------------------------------------

struct Six {
    std::unique_ptr<DeviceArray<double>> c[6];
    explicit Six(int n)
    {
        for (auto& p : c) p = std::make_unique<DeviceArray<double>>(std::vector<double>(n, 0.0));
    }
    double* operator[](int i) const { return c[i]->get(); }
    State At(int i) const
    {
        State s;
        for (int k = 0; k < 6; ++k) s[k] = c[k]->Download()[i];
        return s;
    }
};

struct Evolution {
    int G, L, sentinel;
    // Host inputs, uploaded by Run.
    std::vector<State> x0;
    std::vector<Grad> grad;
    std::vector<double> srate, volf;
    // Device arrays.
    Six dx0, x2, x1, xtemp, xAvg, F0, dx;
    DeviceArray<double> dt01, dt02, dtSUM, F0max, SRate, VolF;
    std::unique_ptr<DeviceArray<double>> dU[9];
    std::unique_ptr<DeviceArray<int>> mapG, mapL, map2G, map2L, inner, outer;
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
    stF0_dx_xAvg* record = nullptr;

    Evolution(int g, int l)
        : G(g),
          L(l),
          sentinel(g + l + 7),
          x0(g, kIsotropic),
          grad(g, Grad{}),
          srate(g, 0.0),
          volf(g, 1.0),
          dx0(g),
          x2(g),
          x1(l),
          xtemp(l),
          xAvg(l),
          F0(l),
          dx(l),
          dt01(l),
          dt02(l),
          dtSUM(l),
          F0max(l),
          SRate(g),
          VolF(g)
    {
        for (auto& p : dU) p = std::make_unique<DeviceArray<double>>(g);
        // The lists start with marks that show which entries a call wrote.
        mapG = std::make_unique<DeviceArray<int>>(std::vector<int>(l, -5));
        mapL = std::make_unique<DeviceArray<int>>(std::vector<int>(l, -6));
        map2G = std::make_unique<DeviceArray<int>>(std::vector<int>(l, -7));
        map2L = std::make_unique<DeviceArray<int>>(std::vector<int>(l, -8));
        EXPECT_EQ(Tool().GetSizeOfBlock(l, total, nLevels, count, size, offset), 0);
        inner = std::make_unique<DeviceArray<int>>(std::vector<int>(total, 99));
        outer = std::make_unique<DeviceArray<int>>(std::vector<int>(total, 99));
        EXPECT_EQ(Tool().AllocateDeviceMemory(1, record), 0);
        stF0_dx_xAvg host;
        for (int c = 0; c < 6; ++c) {
            host.F0[c] = F0[c];
            host.dx[c] = dx[c];
            host.xAvg[c] = xAvg[c];
        }
        EXPECT_EQ(Tool().DataCopyHost2Device(1, &host, record), 0);
    }
    ~Evolution() { Tool().FreeDeviceMemory(record); }

    void SetCell(int g, const State& a, const Grad& L_, double gammaDot, double phi = 1.0)
    {
        x0[g] = a;
        grad[g] = L_;
        srate[g] = gammaDot;
        volf[g] = phi;
    }

    void Upload()
    {
        for (int c = 0; c < 6; ++c) {
            std::vector<double> v(G);
            for (int g = 0; g < G; ++g) v[g] = x0[g][c];
            dx0.c[c]->Upload(v);
        }
        for (int k = 0; k < 9; ++k) {
            std::vector<double> v(G);
            for (int g = 0; g < G; ++g) v[g] = grad[g][k];
            dU[k]->Upload(v);
        }
        SRate.Upload(srate);
        VolF.Upload(volf);
    }

    int Run(int nActive, int start, double dtt, double CI, int type, double fcri = 0.5, double AR = kAR)
    {
        Upload();
        return Call(nActive, start, dtt, CI, type, fcri, AR);
    }

    int Call(int nActive, int start, double dtt, double CI, int type, double fcri = 0.5, double AR = kAR)
    {
        const int grid256 = flowtest::Blocks(nActive);
        const int grid64 = nActive > 0 ? (nActive + 63) / 64 : 1;
        return Tool().Calc_Fiber_Find_x1_Vec(
            nActive, sentinel, L, start, record, dx0[0], dx0[1], dx0[2], dx0[3], dx0[4], dx0[5], x2[0], x2[1], x2[2],
            x2[3], x2[4], x2[5], x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], xtemp[0], xtemp[1], xtemp[2], xtemp[3],
            xtemp[4], xtemp[5], xAvg[0], xAvg[1], xAvg[2], xAvg[3], xAvg[4], xAvg[5], F0[0], F0[1], F0[2], F0[3], F0[4],
            F0[5], dx[0], dx[1], dx[2], dx[3], dx[4], dx[5], dt01, dt02, dtSUM, F0max, dtt, SRate, VolF, *dU[0], *dU[1],
            *dU[2], *dU[3], *dU[4], *dU[5], *dU[6], *dU[7], *dU[8], *mapG, *mapL, *map2G, *map2L, AR, CI, fcri, type,
            *inner, *outer, grid64, grid256, nLevels, count, offset, total, size);
    }

    // Time integration of one cell over `time` by `calls` calls of dtt each,
    // every call starting from the previous result.
    State Integrate(double time, int calls, double CI, int type)
    {
        const double dtt = time / calls;
        Upload();
        for (int k = 0; k < calls; ++k) {
            EXPECT_EQ(Call(1, 0, dtt, CI, type), 0);
            for (int c = 0; c < 6; ++c) Tool().DataCopyDevice2Device(1, dx0[c], x1[c]);
        }
        return x1.At(0);
    }
};

// ---------------------------------------------------------------------------
// The reference: the same orientation equation, written with the full
// fourth-order tensors of the closures, integrated by an adaptive
// Dormand-Prince 5(4) Runge-Kutta method.
// ---------------------------------------------------------------------------

using M3 = std::array<std::array<double, 3>, 3>;

M3 ToMatrix(const State& s) { return M3{{{s[0], s[3], s[4]}, {s[3], s[1], s[5]}, {s[4], s[5], s[2]}}}; }
State FromMatrix(const M3& m) { return State{m[0][0], m[1][1], m[2][2], m[0][1], m[0][2], m[1][2]}; }
double Kd(int i, int j) { return i == j ? 1.0 : 0.0; }

// a4:D for a fourth-order tensor given as a function of (i, j, k, l).
template <class A4>
M3 Contract(A4 A, const M3& D)
{
    M3 C{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k)
                for (int l = 0; l < 3; ++l) C[i][j] += A(i, j, k, l) * D[k][l];
    return C;
}

M3 ReferenceClosure(int type, const M3& a, const M3& D)
{
    auto linear = [&](int i, int j, int k, int l) {
        return -1.0 / 35.0 * (Kd(i, j) * Kd(k, l) + Kd(i, k) * Kd(j, l) + Kd(i, l) * Kd(j, k)) +
               1.0 / 7.0 *
                   (a[i][j] * Kd(k, l) + a[i][k] * Kd(j, l) + a[i][l] * Kd(j, k) + a[k][l] * Kd(i, j) +
                    a[j][l] * Kd(i, k) + a[j][k] * Kd(i, l));
    };
    auto quadratic = [&](int i, int j, int k, int l) { return a[i][j] * a[k][l]; };
    if (type == 1) return Contract(linear, D);
    if (type == 2) return Contract(quadratic, D);
    if (type == 3) {
        const double det = a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
                           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
                           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
        const double f = std::min(1.0, std::max(0.0, 1.0 - 27.0 * det));
        return Contract(
            [&](int i, int j, int k, int l) { return (1 - f) * linear(i, j, k, l) + f * quadratic(i, j, k, l); }, D);
    }
    M3 C{};
    if (type == 4) {
        double s = 0, q = 0;
        for (int k = 0; k < 3; ++k)
            for (int l = 0; l < 3; ++l) {
                s += a[k][l] * D[k][l];
                q += a[k][l] * a[k][l] * D[k][l];
            }
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                double aDa = 0;
                for (int k = 0; k < 3; ++k)
                    for (int l = 0; l < 3; ++l) aDa += a[i][k] * D[k][l] * a[l][j];
                C[i][j] = 0.2 * (2 * Kd(i, j) * s + 6 * aDa - a[i][j] * s - 2 * Kd(i, j) * q);
            }
    }
    return C;
}

State ReferenceRate(const State& x, const Grad& g, double gammaDot, double CI, int type)
{
    State xc = x;
    for (int c = 0; c < 6; ++c)
        xc[c] = c < 3 ? std::min(1.0, std::max(0.0, x[c])) : std::min(0.5, std::max(-0.5, x[c]));
    const M3 a = ToMatrix(xc);
    M3 D, W;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            D[i][j] = (g[3 * i + j] + g[3 * j + i]) / 2;
            W[i][j] = (g[3 * i + j] - g[3 * j + i]) / 2;
        }
    const M3 C = ReferenceClosure(type, a, D);
    const double lambda = (kAR * kAR - 1) / (kAR * kAR + 1);
    M3 F{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double Wa = 0, aW = 0, Da = 0, aD = 0;
            for (int k = 0; k < 3; ++k) {
                Wa += W[i][k] * a[k][j];
                aW += a[i][k] * W[k][j];
                Da += D[i][k] * a[k][j];
                aD += a[i][k] * D[k][j];
            }
            F[i][j] = Wa - aW + lambda * (Da + aD - 2 * C[i][j]) + 2 * CI * gammaDot * (Kd(i, j) - 3 * a[i][j]);
        }
    return FromMatrix(F);
}

State ReferenceIntegrate(State x, double T, const Grad& g, double gammaDot, double CI, int type)
{
    static const double c[7] = {0, 1.0 / 5, 3.0 / 10, 4.0 / 5, 8.0 / 9, 1, 1};
    static const double A[7][6] = {{},
                                   {1.0 / 5},
                                   {3.0 / 40, 9.0 / 40},
                                   {44.0 / 45, -56.0 / 15, 32.0 / 9},
                                   {19372.0 / 6561, -25360.0 / 2187, 64448.0 / 6561, -212.0 / 729},
                                   {9017.0 / 3168, -355.0 / 33, 46732.0 / 5247, 49.0 / 176, -5103.0 / 18656},
                                   {35.0 / 384, 0, 500.0 / 1113, 125.0 / 192, -2187.0 / 6784, 11.0 / 84}};
    static const double b5[7] = {35.0 / 384, 0, 500.0 / 1113, 125.0 / 192, -2187.0 / 6784, 11.0 / 84, 0};
    static const double b4[7] = {5179.0 / 57600, 0,       7571.0 / 16695, 393.0 / 640, -92097.0 / 339200,
                                 187.0 / 2100,   1.0 / 40};
    (void)c;
    double t = 0, h = 1e-3;
    while (t < T) {
        if (t + h > T) h = T - t;
        State k[7];
        for (int s = 0; s < 7; ++s) {
            State y = x;
            for (int r = 0; r < s; ++r)
                for (int q = 0; q < 6; ++q) y[q] += h * A[s][r] * k[r][q];
            k[s] = ReferenceRate(y, g, gammaDot, CI, type);
        }
        State y5 = x;
        double err = 0;
        for (int q = 0; q < 6; ++q) {
            double d5 = 0, d4 = 0;
            for (int s = 0; s < 7; ++s) {
                d5 += b5[s] * k[s][q];
                d4 += b4[s] * k[s][q];
            }
            y5[q] += h * d5;
            err = std::max(err, std::fabs(h * (d5 - d4)));
        }
        const double tol = 1e-12;
        if (err <= tol) {
            t += h;
            x = y5;
        }
        h *= std::min(4.0, std::max(0.2, 0.9 * std::pow(tol / (err + 1e-300), 0.2)));
    }
    return x;
}

double MaxDiff(const State& a, const State& b)
{
    double m = 0;
    for (int c = 0; c < 6; ++c) m = std::max(m, std::fabs(a[c] - b[c]));
    return m;
}

// ---------------------------------------------------------------------------
// Step control (the algebra itself, hand-checked)
// ---------------------------------------------------------------------------

rvz::fibre::Sym6 Rates(std::initializer_list<double> v)
{
    rvz::fibre::Sym6 s{};
    int c = 0;
    for (double x : v) s.v[c++] = x;
    return s;
}

TEST(FiberStepControl, LargestIncrementLimitsTheStep)
{
    using rvz::fibre::ChooseStep;
    // dt01 = 1 and a largest rate of magnitude 0.02: the step becomes 0.5,
    // so the largest increment is 0.01; F0max keeps the rate's sign.
    auto s = ChooseStep(Rates({0.005, -0.02, 0.01, 0, 0, 0}), 1.0, 10.0, 0.01, 0.01);
    EXPECT_TRUE(s.changed);
    EXPECT_EQ(s.dt, 0.5);
    EXPECT_EQ(s.F0max, -0.02);
    // At most 0.01 already: the step stays.
    s = ChooseStep(Rates({0.005, -0.01, 0.0, 0, 0, 0}), 1.0, 10.0, 0.01, 0.01);
    EXPECT_FALSE(s.changed);
    EXPECT_EQ(s.dt, 1.0);
    // A tie goes to the first component.
    s = ChooseStep(Rates({0, 0, 0, 0.03, -0.03, 0}), 1.0, 10.0, 0.01, 0.01);
    EXPECT_EQ(s.F0max, 0.03);
}

TEST(FiberStepControl, ShortStepIsFlooredAndLongStepCappedByTheTimeLeft)
{
    using rvz::fibre::ChooseStep;
    // 0.01 / 100 = 1e-4 is below the floor 0.01 dtt (dtt = 1): raised, so
    // the increment 0.01 * 100 = 1 exceeds the limit.
    auto s = ChooseStep(Rates({100, -50, -50, 0, 0, 0}), 1.0, 1.0, 0.01, 0.01);
    EXPECT_EQ(s.dt, 0.01);
    // 0.01 / 0.02 = 0.5 but only 0.3 is left.
    s = ChooseStep(Rates({0.02, 0, 0, 0, 0, 0}), 1.0, 0.3, 0.01, 0.01);
    EXPECT_EQ(s.dt, 0.3);
}

// ---------------------------------------------------------------------------
// Sub-steps, sentinels and the work lists (through the facade)
// ---------------------------------------------------------------------------

// Rotary diffusion only (no velocity gradient): with k = CI gammaDot,
// da_zz/dt = 2k (1 - 3 a_zz). From a = diag(0.5, 0.5, 0) with k = 0.01
// and dtt = 1 the largest rate 0.02 halves the first step to 0.5; the
// next step would double to 1 but only 0.5 is left. Each sub-step
// converges after two passes (an Euler pass, then one at the midpoint):
// two explicit-midpoint steps of 0.5.
TEST(FiberSubSteps, HandCheckedDiffusionTakesTwoHalfSteps)
{
    Evolution e(1, 1);
    const double k = 0.01;
    e.SetCell(0, State{0.5, 0.5, 0.0, 0, 0, 0}, Grad{}, 1.0);
    ASSERT_EQ(e.Run(1, 0, 1.0, k, 1), 0);
    // n explicit-midpoint steps of length h.
    auto midpointSteps = [&](double h, int n) {
        State x{0.5, 0.5, 0.0, 0, 0, 0};
        for (int step = 0; step < n; ++step)
            for (int c = 0; c < 3; ++c) {
                const double mid = x[c] + h * 2 * k * (1 - 3 * x[c]) / 2;
                x[c] = x[c] + h * 2 * k * (1 - 3 * mid);
            }
        return x;
    };
    const State x = midpointSteps(0.5, 2);
    const State got = e.x1.At(0);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(got[c], x[c], 1e-15) << c;
    // A single step of 1 or four of 0.25 would end measurably elsewhere.
    EXPECT_GT(std::fabs(got[2] - midpointSteps(1.0, 1)[2]), 1e-9);
    EXPECT_GT(std::fabs(got[2] - midpointSteps(0.25, 4)[2]), 1e-9);
    EXPECT_EQ(e.dtSUM.Download()[0], 1.0);
    EXPECT_EQ(e.dt02.Download()[0], 0.0);
    EXPECT_EQ(e.dt01.Download()[0], 0.0);  // the remaining time, as 2 * 0.5 exceeds it
    // One step of 1.0 or of 0.25 ends elsewhere.
    EXPECT_GT(std::fabs(got[2] - (0.02 - 0.5 * 0.02 * 0.06)), 1e-6);
}

TEST(FiberSubSteps, CellsBelowTheCriticalFractionAndQuietCellsFinishInOneStep)
{
    Evolution e(3, 3);
    const State a{0.6, 0.3, 0.1, 0.2, -0.1, 0.05};
    e.SetCell(0, a, SimpleShear(5.0), 5.0, 0.49);  // below FCRI = 0.5: no change
    e.SetCell(1, a, Grad{}, 3.0, 1.0);             // no gradient, CI = 0: no change
    e.SetCell(2, a, SimpleShear(5.0), 5.0, 0.5);   // at FCRI: evolves
    ASSERT_EQ(e.Run(3, 0, 2.0, 0.0, 3), 0);
    EXPECT_EQ(e.x1.At(0), a);
    EXPECT_EQ(e.x1.At(1), a);
    EXPECT_GT(MaxDiff(e.x1.At(2), a), 0.1);
    const auto F0 = e.F0.At(0);
    EXPECT_EQ(F0, (State{0, 0, 0, 0, 0, 0}));
    // Every cell spans the whole step; the quiet ones in one sub-step.
    const auto t = e.dtSUM.Download();
    EXPECT_EQ(t[0], 2.0);
    EXPECT_EQ(t[1], 2.0);
    EXPECT_NEAR(t[2], 2.0, 1e-10);
}

TEST(FiberWorkLists, FinishedEntriesHoldTheSentinelAndRangesKeepTheirCells)
{
    // Cells 2..4 of 6 are handled (startPosition 2) with a local length of
    // 4; each local result must be that of its own cell computed alone.
    Evolution e(6, 4);
    const State a{0.5, 0.3, 0.2, 0.1, 0.0, -0.05};
    e.SetCell(2, a, SimpleShear(4.0), 4.0);
    e.SetCell(3, a, Grad{}, 1.0, 0.1);  // below FCRI: finishes at once
    e.SetCell(4, a, UniaxialElongation(1.0), std::sqrt(3.0));
    for (int g : {0, 1, 5}) e.SetCell(g, State{9, 9, 9, 9, 9, 9}, SimpleShear(1.0), 1.0);
    const double CI = 0.01;
    ASSERT_EQ(e.Run(3, 2, 1.5, CI, 1), 0);
    for (int l = 0; l < 3; ++l) {
        Evolution one(1, 1);
        one.SetCell(0, e.x0[2 + l], e.grad[2 + l], e.srate[2 + l], e.volf[2 + l]);
        ASSERT_EQ(one.Run(1, 0, 1.5, CI, 1), 0);
        EXPECT_EQ(e.x1.At(l), one.x1.At(0)) << l;
        EXPECT_EQ(e.x2.At(2 + l), one.x2.At(0)) << l;
    }
    // Cells outside the range keep x2 as it was (zero); the outer lists
    // hold only sentinels, and the inner lists' entries past nActive are
    // not written by the start (their copies reach the outer lists).
    EXPECT_EQ(e.x2.At(0), (State{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(e.x2.At(5), (State{0, 0, 0, 0, 0, 0}));
    const int s = e.sentinel;
    EXPECT_EQ(e.map2G->Download(), (std::vector<int>{s, s, s, -5}));
    EXPECT_EQ(e.map2L->Download(), (std::vector<int>{s, s, s, -6}));
    EXPECT_EQ(e.mapG->Download()[3], -5);
}

// 700 cells over three blocks of 256 and eleven of 64, finishing after
// different numbers of passes and sub-steps: the compacted lists must keep
// every cell on its own state, as when it is integrated alone.
TEST(FiberWorkLists, ManyCellsMatchEachCellIntegratedAlone)
{
    const int n = 700;
    Evolution e(n, n);
    for (int g = 0; g < n; ++g) {
        const auto r = rvztest::RandomVector(9, 500 + g, -1.5, 1.5);
        Grad L;
        std::copy(r.begin(), r.end(), L.begin());
        L[8] = -L[0] - L[4];
        e.SetCell(g, kIsotropic, L, std::fabs(r[1]) + 0.1, g % 5 == 0 ? 0.2 : 1.0);
    }
    ASSERT_EQ(e.Run(n, 0, 0.8, 0.02, 3), 0);
    Six& x1 = e.x1;
    std::array<std::vector<double>, 6> all;
    for (int c = 0; c < 6; ++c) all[c] = x1.c[c]->Download();
    for (int g = 0; g < n; g += 13) {
        Evolution one(1, 1);
        one.SetCell(0, e.x0[g], e.grad[g], e.srate[g], e.volf[g]);
        ASSERT_EQ(one.Run(1, 0, 0.8, 0.02, 3), 0);
        const State alone = one.x1.At(0);
        for (int c = 0; c < 6; ++c) EXPECT_EQ(all[c][g], alone[c]) << "cell " << g << " component " << c;
    }
}

TEST(FiberWorkLists, NoActiveCellDoesNothing)
{
    Evolution e(2, 2);
    ASSERT_EQ(e.Run(0, 0, 1.0, 0.01, 1), 0);
    EXPECT_EQ(e.map2G->Download(), (std::vector<int>{-5, -5}));  // the inner lists' marks, copied
    EXPECT_EQ(e.dtSUM.Download(), (std::vector<double>{0, 0}));
}

// ---------------------------------------------------------------------------
// Against the reference integration
// ---------------------------------------------------------------------------

struct Flow {
    const char* name;
    Grad grad;
    double gammaDot;
    double time;
};

// Spans over which every closure keeps the exact solution inside the
// bounds the library clamps to (longer ones take the linear closure in
// elongation, and closure 4 in shear at small CI, past a_ii in [0, 1]).
const Flow kShear{"simple shear", SimpleShear(1.0), 1.0, 2.0};
const Flow kElongation{"uniaxial elongation", UniaxialElongation(1.0), std::sqrt(3.0), 1.0};
const double kCoefficients[2] = {0.01, 0.03};

// The library's sub-steps are explicit-midpoint-like steps with increments
// of at most 0.01 (second order); over these spans their error stays below
// 5e-4 (2e-4 measured), while the closures and the two interaction
// coefficients differ by far more (checked below).
constexpr double kSecondOrderTolerance = 5e-4;

TEST(FiberAgainstReference, ShearAndElongationFromIsotropicForEachClosureAndTwoCoefficients)
{
    for (const Flow& f : {kShear, kElongation})
        for (int type = 1; type <= 4; ++type)
            for (double CI : kCoefficients) {
                Evolution e(1, 1);
                e.SetCell(0, kIsotropic, f.grad, f.gammaDot);
                const State got = e.Integrate(f.time, 4, CI, type);
                const State ref = ReferenceIntegrate(kIsotropic, f.time, f.grad, f.gammaDot, CI, type);
                EXPECT_LT(MaxDiff(got, ref), kSecondOrderTolerance) << f.name << " closure " << type << " CI " << CI;
                // The test can tell closures and coefficients apart.
                const State other = ReferenceIntegrate(kIsotropic, f.time, f.grad, f.gammaDot, CI, type % 4 + 1);
                EXPECT_GT(MaxDiff(ref, other), 5 * kSecondOrderTolerance) << f.name << " closure " << type;
                const double otherCI = CI == kCoefficients[0] ? kCoefficients[1] : kCoefficients[0];
                const State ref2 = ReferenceIntegrate(kIsotropic, f.time, f.grad, f.gammaDot, otherCI, type);
                EXPECT_GT(MaxDiff(ref, ref2), 5 * kSecondOrderTolerance) << f.name << " closure " << type;
            }
}

// Near the steady state a sub-step's first (explicit Euler) pass already
// changes the state by less than the pass tolerance and is accepted, so
// the approach is by Euler steps of dtt; they damp the slowly decaying
// rotation of the linear closure only for short steps, and the quadratic
// and hybrid closures settle much sooner. Calls of 0.05 reach the steady
// state, which the implicit-midpoint fixed point shares with the equation.
TEST(FiberAgainstReference, SimpleShearReachesItsSteadyState)
{
    const double CI = 0.01;
    for (int type : {2, 3}) {
        const State steady = ReferenceIntegrate(kIsotropic, 150.0, kShear.grad, 1.0, CI, type);
        const State rate = ReferenceRate(steady, kShear.grad, 1.0, CI, type);
        ASSERT_LT(MaxDiff(rate, State{}), 1e-10) << "reference not steady, closure " << type;
        Evolution e(1, 1);
        e.SetCell(0, kIsotropic, kShear.grad, 1.0);
        const State got = e.Integrate(150.0, 3000, CI, type);
        EXPECT_LT(MaxDiff(got, steady), 1e-6) << "closure " << type;
    }
}

// ---------------------------------------------------------------------------
// Invariants
// ---------------------------------------------------------------------------

// The linear, quadratic and hybrid closures keep the trace of the rate at
// zero in an incompressible flow, so the trace stays 1. Closure 4 does not
// in general: its trace is a:D + 1.2 ((a.a):D - sum a_kl^2 D_kl), which
// vanishes only while a stays diagonal under a diagonal D (elongation from
// isotropic) and not in shear. Dropping the closure (type 0) changes the
// trace by 2 lambda a:D in both flows. The test measures the drift.
TEST(FiberInvariants, TraceSymmetryAndBoundsAlongShearAndElongation)
{
    for (const Flow* fp : {&kShear, &kElongation})
        for (int type = 0; type <= 4; ++type) {
            const Flow& f = *fp;
            Evolution e(1, 1);
            e.SetCell(0, kIsotropic, f.grad, f.gammaDot);
            e.Upload();
            double drift = 0;
            for (int k = 0; k < 10; ++k) {
                ASSERT_EQ(e.Call(1, 0, f.time / 10, 0.01, type), 0);
                const State x = e.x1.At(0);
                for (int c = 0; c < 3; ++c) {
                    EXPECT_GE(x[c], 0.0);
                    EXPECT_LE(x[c], 1.0);
                }
                for (int c = 3; c < 6; ++c) EXPECT_LE(std::fabs(x[c]), 0.5);
                drift = std::max(drift, std::fabs(x[0] + x[1] + x[2] - 1.0));
                for (int c = 0; c < 6; ++c) Tool().DataCopyDevice2Device(1, e.dx0[c], e.x1[c]);
            }
            const bool conserves = (type >= 1 && type <= 3) || (type == 4 && &f == &kElongation);
            if (conserves)
                EXPECT_LT(drift, 1e-12) << f.name << " closure " << type;
            else
                EXPECT_GT(drift, 1e-3) << f.name << " closure " << type << " is expected to change the trace";
            // Shear and elongation leave the off-diagonal xz, yz at zero.
            const State x = e.x1.At(0);
            EXPECT_EQ(x[4], 0.0);
            EXPECT_EQ(x[5], 0.0);
        }
}

TEST(FiberInvariants, IsotropicStateUnderPureRotationDoesNotRotate)
{
    Evolution e(1, 1);
    // Rigid rotation about z: du/dy = -1, dv/dx = 1 (D = 0).
    e.SetCell(0, kIsotropic, Grad{0, -1, 0, 1, 0, 0, 0, 0, 0}, 0.0);
    ASSERT_EQ(e.Run(1, 0, 3.0, 0.01, 1), 0);
    const State x = e.x1.At(0);
    for (int c = 0; c < 6; ++c) EXPECT_NEAR(x[c], kIsotropic[c], 1e-15);
}

// ---------------------------------------------------------------------------
// The whole fibre step for one and two threads
// ---------------------------------------------------------------------------

std::vector<double> WholeFibreStep()
{
    using flowtest::BoxMesh;
    using flowtest::DeviceMesh;
    using flowtest::Up;
    const BoxMesh m(9, 8, 8);  // 576 cells: several blocks of 256 and of 64
    DeviceMesh d(m);
    d.ClearScratch();
    const int n = m.nCells, nx = m.nExt;
    const int faceGrid = flowtest::Blocks(m.nFaces), cellGrid = flowtest::Blocks(n);
    auto tau = std::make_unique<Six>(nx);
    auto tau0 = std::make_unique<Six>(n);
    auto b = std::make_unique<Six>(n);
    for (int c = 0; c < 6; ++c) {
        std::vector<double> v = rvztest::RandomVector(nx, 11 + c, c < 3 ? 0.0 : -0.3, c < 3 ? 1.0 : 0.3);
        tau->c[c]->Upload(v);
        tau0->c[c]->Upload(rvztest::RandomVector(n, 31 + c, 0.0, 0.5));
    }
    DeviceArray<double> mfe(rvztest::RandomVector(m.nFaces, 5)), aE(m.nFaces), aW(m.nFaces);
    DeviceArray<double> A(static_cast<int>(m.EllSize()));
    EXPECT_EQ(Tool().Calc_InnerFluxFiber(m.nFaces, mfe, aE, aW, faceGrid), 0);
    EXPECT_EQ(Tool().Calc_MapaEaWToAi(m.nFaces, m.newNNU, *d.Px, *d.Py, *d.Ex, *d.Ey, aE, aW, A, faceGrid), 0);
    EXPECT_EQ(Tool().Calc_Fiber_UnsteadyTermContribution(n, *d.volume, 0.1, A, (*b)[0], (*b)[1], (*b)[2], (*b)[3],
                                                         (*b)[4], (*b)[5], (*tau0)[0], (*tau0)[1], (*tau0)[2],
                                                         (*tau0)[3], (*tau0)[4], (*tau0)[5], cellGrid),
              0);
    flowtest::DeviceList inlet(m.side[0]);
    const int ni = inlet.n;
    DeviceArray<double> flux(rvztest::RandomVector(ni, 7, -2.0, 0.5)), CB(ni);
    Six tempb(ni);
    Six& t = *tau;
    EXPECT_EQ(Tool().Calc_Fiber_InletBoundary(
                  ni, inlet.nRows, m.newNNU, BoxMesh::nCol, *inlet.slot, flux, CB, tempb[0], tempb[1], tempb[2],
                  tempb[3], tempb[4], tempb[5], (*b)[0], (*b)[1], (*b)[2], (*b)[3], (*b)[4], (*b)[5], t[0], t[1], t[2],
                  t[3], t[4], t[5], *inlet.Px, *inlet.Py, *d.scratch, *inlet.rows, flowtest::Blocks(ni), cellGrid),
              0);
    EXPECT_EQ(Tool().Calc_Fiber_InletAi(ni, inlet.nRows, m.newNNU, BoxMesh::nCol, *inlet.Px, *inlet.Py, CB, *d.scratch,
                                        A, *inlet.rows, flowtest::Blocks(ni), cellGrid),
              0);
    EXPECT_EQ(Tool().Calc_Fiber_FinalCoeff(n, m.newNNU, BoxMesh::nCol, 0.7, t[0], t[1], t[2], t[3], t[4], t[5], A,
                                           (*b)[0], (*b)[1], (*b)[2], (*b)[3], (*b)[4], (*b)[5], cellGrid),
              0);
    flowtest::DeviceList wall(m.Merge({1, 2, 3}));
    std::vector<int> match(wall.n);
    for (int k = 0; k < wall.n; ++k) match[k] = k % 3 == 0 ? 1 : 0;
    DeviceArray<int> fcriMatch(match);
    EXPECT_EQ(Tool().Calc_Fiber_WallBC(wall.n, *wall.cell, *wall.slot, fcriMatch, t[0], t[1], t[2], t[3], t[4], t[5],
                                       flowtest::Blocks(wall.n)),
              0);
    flowtest::DeviceList symm(m.side[4]);
    DeviceArray<double> volf(rvztest::RandomVector(nx, 9, 0.0, 1.0));
    EXPECT_EQ(Tool().Calc_Fiber_SymmBC(symm.n, *symm.cell, *symm.slot, volf, 0.5, t[0], t[1], t[2], t[3], t[4], t[5],
                                       flowtest::Blocks(symm.n)),
              0);
    // Local evolution of every cell under random gradients.
    Evolution e(n, n);
    EXPECT_EQ(Tool().Calc_Fiber_UpdateTau_Input(n, e.dx0[0], e.dx0[1], e.dx0[2], e.dx0[3], e.dx0[4], e.dx0[5], t[0],
                                                t[1], t[2], t[3], t[4], t[5], cellGrid),
              0);
    const std::vector<double> volfCells = volf.Download();
    for (int g = 0; g < n; ++g) {
        const auto r = rvztest::RandomVector(9, 1000 + g, -2.0, 2.0);
        Grad L;
        std::copy(r.begin(), r.end(), L.begin());
        L[8] = -L[0] - L[4];
        e.grad[g] = L;
        e.srate[g] = std::fabs(r[0]) + 0.5;
        e.volf[g] = volfCells[g];
    }
    for (int k = 0; k < 9; ++k) {
        std::vector<double> v(n);
        for (int g = 0; g < n; ++g) v[g] = e.grad[g][k];
        e.dU[k]->Upload(v);
    }
    e.SRate.Upload(e.srate);
    e.VolF.Upload(e.volf);
    EXPECT_EQ(e.Call(n, 0, 0.7, 0.01, 3), 0);
    EXPECT_EQ(Tool().Calc_Fiber_UpdateTau_Output(n, e.x1[0], e.x1[1], e.x1[2], e.x1[3], e.x1[4], e.x1[5], t[0], t[1],
                                                 t[2], t[3], t[4], t[5], cellGrid),
              0);
    std::vector<double> all = A.Download();
    for (int c = 0; c < 6; ++c)
        for (const Six* s : {&t, b.get(), &e.x1, &e.x2, &e.F0, &e.dx}) {
            const auto v = s->c[c]->Download();
            all.insert(all.end(), v.begin(), v.end());
        }
    for (const DeviceArray<double>* v : {&e.dtSUM, &e.dt01, &e.dt02, &e.F0max}) {
        const auto w = v->Download();
        all.insert(all.end(), w.begin(), w.end());
    }
    return all;
}

TEST(FiberThreads, WholeFibreStepIsBitIdenticalForOneAndTwoThreads)
{
    const auto results = rvztest::ForThreadCounts({1, 2}, WholeFibreStep);
    ASSERT_EQ(results[0].size(), results[1].size());
    size_t differ = 0;
    for (size_t i = 0; i < results[0].size(); ++i) differ += rvztest::SameBits(results[0][i], results[1][i]) ? 0 : 1;
    EXPECT_EQ(differ, 0u);
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

#if !RVZGPU_BACKEND_CUDA
std::string Report(const char* message)
{
    return std::string("GPU[0:host] ") + message + ": " + rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ";
}

// One cell below FCRI runs: start, one pass (midpoint, rate, update), and
// the acceptance; launches 1 to 5.
TEST(FiberEvolutionFailure, FailedStepsAreReportedAndTheAcceptanceStatusReturned)
{
    {
        Evolution e(1, 1);
        e.SetCell(0, kIsotropic, SimpleShear(1.0), 1.0, 0.0);
        int status = -1;
        rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 2);
        const std::string out = rvztest::CaptureOutput([&] { status = e.Run(1, 0, 1.0, 0.01, 1); });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(out, Report("Calc_Fiber_Find_x1_Vec_AltInnerLoop_F0dxmax failed"));
        EXPECT_EQ(status, 0);  // the acceptance after it succeeded
        EXPECT_EQ(e.dtSUM.Download()[0], 1.0);
    }
    {
        Evolution e(1, 1);
        e.SetCell(0, kIsotropic, SimpleShear(1.0), 1.0, 0.0);
        int status = -1;
        rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 4);
        const std::string out = rvztest::CaptureOutput([&] { status = e.Run(1, 0, 1.0, 0.01, 1); });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(out, Report("Calc_Fiber_Find_x1_Vec_AltOuterLoop failed"));
        EXPECT_EQ(status, cudaErrorLaunchFailure);
        // The sub-step was not accepted, and the cleared outer count ends the call.
        EXPECT_EQ(e.dtSUM.Download()[0], 0.0);
    }
}
#endif

}  // namespace
