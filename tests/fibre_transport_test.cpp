// Fibre orientation, transport: upwind face coefficients, the time term,
// inlet, relaxation, wall and symmetry values, the hand-over to and from
// the local evolution, and an assembled row of cells solved densely
// against the upwind recurrence.
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using rvztest::DeviceArray;
using rvztest::Tool;
using Vec = std::vector<double>;

// Six component arrays (xx, yy, zz, xy, xz, yz) of n entries.
struct Six {
    std::unique_ptr<DeviceArray<double>> c[6];
    explicit Six(int n, double value = 0.0)
    {
        for (auto& p : c) p = std::make_unique<DeviceArray<double>>(Vec(n, value));
    }
    Six(const std::array<Vec, 6>& v)  // NOLINT: built from literals in the tests
    {
        for (int k = 0; k < 6; ++k) c[k] = std::make_unique<DeviceArray<double>>(v[k]);
    }
    double* operator[](int i) const { return c[i]->get(); }
    std::array<Vec, 6> Download() const
    {
        std::array<Vec, 6> v;
        for (int k = 0; k < 6; ++k) v[k] = c[k]->Download();
        return v;
    }
};

// ---------------------------------------------------------------------------
// Face coefficients and the time term
// ---------------------------------------------------------------------------

TEST(FiberTransportAssembly, UpwindCoefficientsCarryTheMatrixSign)
{
    DeviceArray<double> m(Vec{2.0, -3.0, 0.0}), aE(Vec{9, 9, 9}), aW(Vec{9, 9, 9});
    ASSERT_EQ(Tool().Calc_InnerFluxFiber(3, m, aE, aW, 1), 0);
    EXPECT_EQ(aE.Download(), (Vec{0.0, -3.0, 0.0}));
    EXPECT_EQ(aW.Download(), (Vec{-2.0, 0.0, 0.0}));
}

TEST(FiberTransportAssembly, TimeTermIsFullyImplicitForEveryComponent)
{
    // Two rows of three: the third is past nnu and stays.
    DeviceArray<double> volume(Vec{2.0, 4.0, 8.0}), A(Vec{1.0, 1.0, 1.0, 0.5, 0.5, 0.5});
    Six b(3, 1.0);
    Six tau0(std::array<Vec, 6>{Vec{0.5, 0.2, 9}, Vec{0.3, 0.4, 9}, Vec{0.2, 0.4, 9}, Vec{0.1, -0.2, 9},
                                Vec{0.0, 0.3, 9}, Vec{-0.4, 0.0, 9}});
    ASSERT_EQ(Tool().Calc_Fiber_UnsteadyTermContribution(2, volume, 0.5, A, b[0], b[1], b[2], b[3], b[4], b[5], tau0[0],
                                                         tau0[1], tau0[2], tau0[3], tau0[4], tau0[5], 1),
              0);
    // a0 = 4 and 8; off-diagonal entries (positions 3..5) are not touched.
    EXPECT_EQ(A.Download(), (Vec{5.0, 9.0, 1.0, 0.5, 0.5, 0.5}));
    const auto t0 = tau0.Download();
    const auto got = b.Download();
    for (int c = 0; c < 6; ++c) EXPECT_EQ(got[c], (Vec{1.0 + 4.0 * t0[c][0], 1.0 + 8.0 * t0[c][1], 1.0})) << c;
}

// ---------------------------------------------------------------------------
// Inlet
// ---------------------------------------------------------------------------

// Two inlet faces on the -x side of a 2 x 2 x 1 box: cells 0 and 2.
struct Inlet {
    BoxMesh m{2, 2, 1};
    DeviceMesh d{m};
    DeviceList in{m.side[0]};
    Six tau{m.nExt, 0.7};
    Six b{m.nCells, 1.0};
    Six tempb{2};
    DeviceArray<double> CB{Vec{9, 9}};
    DeviceArray<double> A{Vec(m.EllSize(), 2.0)};
    Inlet() { d.ClearScratch(); }
    int Boundary(const Vec& flux)
    {
        DeviceArray<double> f(flux);
        return Tool().Calc_Fiber_InletBoundary(in.n, in.nRows, m.newNNU, BoxMesh::nCol, *in.slot, f, CB, tempb[0],
                                               tempb[1], tempb[2], tempb[3], tempb[4], tempb[5], b[0], b[1], b[2], b[3],
                                               b[4], b[5], tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], *in.Px,
                                               *in.Py, *d.scratch, *in.rows, 1, 1);
    }
};

TEST(FiberTransportInlet, InflowAddsAThirdToTheDiagonalComponentsAndOutflowNothing)
{
    Inlet t;
    // Face 0 (cell 0) carries 3 into the domain; face 1 (cell 2) flows out.
    ASSERT_EQ(t.Boundary({-3.0, 2.0}), 0);
    EXPECT_EQ(t.CB.Download(), (Vec{-3.0, 0.0}));
    const auto b = t.b.Download();
    for (int c = 0; c < 3; ++c) EXPECT_EQ(b[c], (Vec{1.0 + 1.0, 1.0, 1.0, 1.0})) << c;
    for (int c = 3; c < 6; ++c) EXPECT_EQ(b[c], (Vec{1.0, 1.0, 1.0, 1.0})) << c;
    const auto tb = t.tempb.Download();
    EXPECT_EQ(tb[0], (Vec{1.0, 0.0}));
    EXPECT_EQ(tb[5], (Vec{0.0, 0.0}));
    // Both boundary tensors become isotropic, the outflow face's too; the
    // cells keep theirs.
    const auto tau = t.tau.Download();
    for (int s : t.m.side[0].slot)
        for (int c = 0; c < 6; ++c) EXPECT_EQ(tau[c][s], c < 3 ? 1.0 / 3.0 : 0.0) << c;
    for (int c = 0; c < 6; ++c) EXPECT_EQ(tau[c][0], 0.7);
}

TEST(FiberTransportInlet, DiagonalGainsTheInflowMagnitude)
{
    Inlet t;
    ASSERT_EQ(t.Boundary({-3.0, 2.0}), 0);
    ASSERT_EQ(Tool().Calc_Fiber_InletAi(t.in.n, t.in.nRows, t.m.newNNU, BoxMesh::nCol, *t.in.Px, *t.in.Py, t.CB,
                                        *t.d.scratch, t.A, *t.in.rows, 1, 1),
              0);
    const Vec A = t.A.Download();
    EXPECT_EQ(Vec(A.begin(), A.begin() + 4), (Vec{2.0 + 3.0, 2.0, 2.0, 2.0}));
    EXPECT_EQ(A[t.m.newNNU], 2.0);  // off-diagonal entries stay
}

// ---------------------------------------------------------------------------
// Relaxation
// ---------------------------------------------------------------------------

TEST(FiberTransportRelaxation, DiagonalLessOffDiagonalsOverUdfAndItsExplicitPart)
{
    // One row of new_nnu = 2 and three columns: diagonal 5, off-diagonal
    // -1 and -2; the second row is past nnu.
    DeviceArray<double> A(Vec{5.0, 7.0, -1.0, 7.0, -2.0, 7.0});
    Six tau(std::array<Vec, 6>{Vec{0.5}, Vec{0.3}, Vec{0.2}, Vec{0.1}, Vec{-0.1}, Vec{0.0}});
    Six b(2, 1.0);
    ASSERT_EQ(Tool().Calc_Fiber_FinalCoeff(1, 2, 3, 0.8, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], A, b[0], b[1],
                                           b[2], b[3], b[4], b[5], 1),
              0);
    const double d = (5.0 - (-1.0 + -2.0)) / 0.8;
    EXPECT_EQ(A.Download(), (Vec{d, 7.0, -1.0, 7.0, -2.0, 7.0}));
    const auto got = b.Download();
    const double t[6] = {0.5, 0.3, 0.2, 0.1, -0.1, 0.0};
    for (int c = 0; c < 6; ++c) {
        EXPECT_DOUBLE_EQ(got[c][0], 1.0 + (1.0 - 0.8) * d * t[c]) << c;
        EXPECT_EQ(got[c][1], 1.0) << c;
    }
}

// ---------------------------------------------------------------------------
// Wall and symmetry values
// ---------------------------------------------------------------------------

// Cells 0 and 1 with four boundary slots 2..5.
std::array<Vec, 6> CellsAndSlots()
{
    std::array<Vec, 6> v;
    for (int c = 0; c < 6; ++c) v[c] = Vec{0.1 * (c + 1), 0.2 * (c + 1), -1, -2, -3, -4};
    return v;
}

TEST(FiberTransportBoundaries, WetWallTakesTheCellTensorAndDryWallKeepsItsOwn)
{
    Six tau(CellsAndSlots());
    DeviceArray<int> cell(std::vector<int>{0, 1, 1}), slot(std::vector<int>{2, 3, 4}), match(std::vector<int>{0, 1, 0});
    ASSERT_EQ(Tool().Calc_Fiber_WallBC(3, cell, slot, match, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], 1), 0);
    const auto got = tau.Download();
    for (int c = 0; c < 6; ++c)  // every component, tau_zz included
        EXPECT_EQ(got[c], (Vec{0.1 * (c + 1), 0.2 * (c + 1), 0.1 * (c + 1), -2, 0.2 * (c + 1), -4})) << c;
}

TEST(FiberTransportBoundaries, SymmetryCopiesOnlyIntoFilledSlots)
{
    Six tau(CellsAndSlots());
    DeviceArray<int> cell(std::vector<int>{0, 1, 0}), slot(std::vector<int>{2, 3, 5});
    DeviceArray<double> volf(Vec{1, 1, 0.5, 0.49, 9, 0.9});
    ASSERT_EQ(Tool().Calc_Fiber_SymmBC(3, cell, slot, volf, 0.5, tau[0], tau[1], tau[2], tau[3], tau[4], tau[5], 1), 0);
    const auto got = tau.Download();
    for (int c = 0; c < 6; ++c)
        EXPECT_EQ(got[c], (Vec{0.1 * (c + 1), 0.2 * (c + 1), 0.1 * (c + 1), -2, -3, 0.1 * (c + 1)})) << c;
}

// ---------------------------------------------------------------------------
// Hand-over to and from the local evolution
// ---------------------------------------------------------------------------

TEST(FiberTransportHandOver, DiagonalIsClampedAndNormalisedAndOffDiagonalClamped)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Five cells: (2, 0, 0), (-0.1, 0.5, 0.5), zeros, (0.25, 0.125, 0.125), NaN.
    const std::array<Vec, 6> in{Vec{2.0, -0.1, 0.0, 0.25, nan}, Vec{0.0, 0.5, 0.0, 0.125, 0.5},
                                Vec{0.0, 0.5, 0.0, 0.125, 0.5}, Vec{0.7, -0.6, 0.0, 0.3, 0.1},
                                Vec{-0.5, 0.5, 0.0, -0.2, nan}, Vec{0.4, -3.0, 0.0, 0.0, 0.0}};
    Six tau(in), x(5, 9.0), back(5, 9.0);
    ASSERT_EQ(Tool().Calc_Fiber_UpdateTau_Input(5, x[0], x[1], x[2], x[3], x[4], x[5], tau[0], tau[1], tau[2], tau[3],
                                                tau[4], tau[5], 1),
              0);
    const auto got = x.Download();
    auto column = [&](int i) {
        Vec v(6);
        for (int c = 0; c < 6; ++c) v[c] = got[c][i];
        return v;
    };
    EXPECT_EQ(column(0), (Vec{1.0, 0.0, 0.0, 0.5, -0.5, 0.4}));
    EXPECT_EQ(column(1), (Vec{0.0, 0.5, 0.5, -0.5, 0.5, -0.5}));
    EXPECT_EQ(column(2), (Vec{0.0, 0.0, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(column(3), (Vec{0.5, 0.25, 0.25, 0.3, -0.2, 0.0}));
    EXPECT_TRUE(std::isnan(got[0][4]) && std::isnan(got[1][4]) && std::isnan(got[4][4]));  // a NaN passes
    // The hand-back applies the same rule (here to the already normalised
    // values, which it keeps).
    ASSERT_EQ(Tool().Calc_Fiber_UpdateTau_Output(4, x[0], x[1], x[2], x[3], x[4], x[5], back[0], back[1], back[2],
                                                 back[3], back[4], back[5], 1),
              0);
    const auto b = back.Download();
    for (int c = 0; c < 6; ++c)
        for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(b[c][i], got[c][i]) << c << " " << i;
    for (int c = 0; c < 6; ++c) EXPECT_EQ(b[c][4], 9.0);  // past nCells
    DeviceArray<double> raw(Vec{3.0, 0.0, 1.0, 0.9, -0.9, 0.0});
    Six one(1);
    ASSERT_EQ(Tool().Calc_Fiber_UpdateTau_Output(1, raw, raw.get() + 1, raw.get() + 2, raw.get() + 3, raw.get() + 4,
                                                 raw.get() + 5, one[0], one[1], one[2], one[3], one[4], one[5], 1),
              0);
    const auto o = one.Download();
    EXPECT_EQ((Vec{o[0][0], o[1][0], o[2][0], o[3][0], o[4][0], o[5][0]}),
              (Vec{1.0 / (2.0 + 1e-30), 0.0, 1.0 / (2.0 + 1e-30), 0.5, -0.5, 0.0}));
}

// ---------------------------------------------------------------------------
// An assembled row against the upwind recurrence
// ---------------------------------------------------------------------------

// Three cells along x, flux m from left to right, an inlet on the left:
// with a0 = V/dt the implicit upwind equations are (a0 + m) tau_c = a0
// tau0_c + m tau_{c-1}, tau_{-1} the isotropic inflow. The assembled
// system, solved by dense elimination, must give that recurrence for every
// component; relaxed (udf < 1) around the exact solution it gives the same.
TEST(FiberTransportSystem, AssembledRowSolvesTheUpwindRecurrence)
{
    const BoxMesh m(3, 1, 1);
    const double flux = 1.5, dt = 0.25;
    const std::array<Vec, 6> tau0{Vec{0.6, 0.2, 0.1},  Vec{0.3, 0.5, 0.1}, Vec{0.1, 0.3, 0.8},
                                  Vec{0.2, -0.1, 0.0}, Vec{0.0, 0.1, 0.3}, Vec{-0.2, 0.0, 0.1}};
    std::array<Vec, 6> exact;
    for (int c = 0; c < 6; ++c) {
        double upstream = c < 3 ? 1.0 / 3.0 : 0.0;
        for (int i = 0; i < 3; ++i) {
            const double a0 = m.volume[i] / dt;
            upstream = (a0 * tau0[c][i] + flux * upstream) / (a0 + flux);
            exact[c].push_back(upstream);
        }
    }
    for (double udf : {1.0, 0.6}) {
        DeviceMesh d(m);
        d.ClearScratch();
        DeviceList in(m.side[0]);
        DeviceArray<double> mfe(Vec{flux, flux}), aE(2), aW(2), A(static_cast<int>(m.EllSize()));
        DeviceArray<double> inflow(Vec{-flux}), CB(1);
        Six old(tau0), b(3), tempb(1);
        std::array<Vec, 6> current = exact;
        for (auto& v : current) v.resize(m.nExt, 0.0);
        Six tau(current);
        ASSERT_EQ(Tool().Calc_InnerFluxFiber(2, mfe, aE, aW, 1), 0);
        ASSERT_EQ(Tool().Calc_MapaEaWToAi(2, m.newNNU, *d.Px, *d.Py, *d.Ex, *d.Ey, aE, aW, A, 1), 0);
        ASSERT_EQ(Tool().Calc_Fiber_UnsteadyTermContribution(3, *d.volume, dt, A, b[0], b[1], b[2], b[3], b[4], b[5],
                                                             old[0], old[1], old[2], old[3], old[4], old[5], 1),
                  0);
        ASSERT_EQ(Tool().Calc_Fiber_InletBoundary(1, 1, m.newNNU, BoxMesh::nCol, *in.slot, inflow, CB, tempb[0],
                                                  tempb[1], tempb[2], tempb[3], tempb[4], tempb[5], b[0], b[1], b[2],
                                                  b[3], b[4], b[5], tau[0], tau[1], tau[2], tau[3], tau[4], tau[5],
                                                  *in.Px, *in.Py, *d.scratch, *in.rows, 1, 1),
                  0);
        ASSERT_EQ(
            Tool().Calc_Fiber_InletAi(1, 1, m.newNNU, BoxMesh::nCol, *in.Px, *in.Py, CB, *d.scratch, A, *in.rows, 1, 1),
            0);
        ASSERT_EQ(Tool().Calc_Fiber_FinalCoeff(3, m.newNNU, BoxMesh::nCol, udf, tau[0], tau[1], tau[2], tau[3], tau[4],
                                               tau[5], A, b[0], b[1], b[2], b[3], b[4], b[5], 1),
                  0);
        const Vec Ah = A.Download();
        const auto bh = b.Download();
        for (int c = 0; c < 6; ++c) {
            const Vec x = flowtest::SolveEllDense(Ah, m.indexELL, m.newNNU, BoxMesh::nCol, bh[c], 3);
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(x[i], exact[c][i], 1e-14) << "udf " << udf << " c " << c;
        }
    }
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

#if !RVZGPU_BACKEND_CUDA
std::string Report(const char* message)
{
    return std::string("GPU[0:host] ") + message + ": " + rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ";
}

// The inlet runs 13 launches: the per-face values, then a collect and an
// update for each component xx, yy, zz, xy, xz, yz.
TEST(FiberTransportFailure, InletStepsReportTheirComponentAndTheLastCheckIsReturned)
{
    {
        Inlet t;
        int status = -1;
        rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 7);
        const std::string out = rvztest::CaptureOutput([&] { status = t.Boundary({-3.0, 2.0}); });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(out, Report("Calc_Fiber_InletBC_bxy failed"));
        EXPECT_EQ(status, 0);
        // The slots still held the zz sources, which the xy update added;
        // the later components are whole again.
        const auto b = t.b.Download();
        EXPECT_EQ(b[3], (Vec{2.0, 1.0, 1.0, 1.0}));
        EXPECT_EQ(b[4], (Vec{1.0, 1.0, 1.0, 1.0}));
    }
    {
        Inlet t;
        int status = -1;
        rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 12);
        const std::string out = rvztest::CaptureOutput([&] { status = t.Boundary({-3.0, 2.0}); });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(out, Report("Calc_Fiber_InletBC_byz_Update failed"));
        EXPECT_EQ(status, cudaErrorLaunchFailure);
        EXPECT_EQ(t.b.Download()[5], (Vec{1.0, 1.0, 1.0, 1.0}));
    }
    {
        // A one-launch operation: the failure is its status; nothing is written.
        DeviceArray<double> m(Vec{2.0}), aE(Vec{9.0}), aW(Vec{9.0});
        rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 0);
        const std::string out =
            rvztest::CaptureOutput([&] { EXPECT_EQ(Tool().Calc_InnerFluxFiber(1, m, aE, aW, 1), 719); });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(out, Report("Calc_InnerFluxFiber failed"));
        EXPECT_EQ(aW.Download(), (Vec{9.0}));
    }
}
#endif

}  // namespace
