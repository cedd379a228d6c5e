// Melt-front temperature: the assembly steps, the outer convergence
// measure and the sampling checked by hand; then the transport along a
// chain of cells, relaxed outer iterations to convergence in every time
// step, against a first-order upwind implicit solution built and solved
// densely here with Eigen; and the reporting of failed steps.
#include <Eigen/Dense>

#include <cmath>
#include <vector>

#include "CU_MeltFrontTemp.h"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

using Levels = rvztest::LevelPlan;

// ---------------------------------------------------------------------------
// Assembly steps
// ---------------------------------------------------------------------------

TEST(MeltFrontTempAssembly, UpwindFacesWithUnitCoefficient)
{
    auto mfe = Up(std::vector<double>{2.0, -3.0, 0.0}), aE = Field(3, 9.0), aW = Field(3, 9.0);
    ASSERT_EQ(Tool().Calc_InnerFluxHeatGen(3, *mfe, *aE, *aW, 1), 0);
    EXPECT_EQ(aE->Download(), (std::vector<double>{0.0, -3.0, 0.0}));
    EXPECT_EQ(aW->Download(), (std::vector<double>{-2.0, 0.0, 0.0}));
    aE->Upload({9.0, 9.0, 9.0}), aW->Upload({9.0, 9.0, 9.0});
    ASSERT_EQ(Tool().Calc_InnerFluxHeatGen_Par(3, *mfe, *aE, 1), 0);
    EXPECT_EQ(aE->Download(), (std::vector<double>{0.0, -3.0, 0.0}));
    EXPECT_EQ(aW->Download(), (std::vector<double>{9.0, 9.0, 9.0}));
}

// Inlet faces on -y of two cells: the first with inflow 2 at 230, the
// second with outflow, which adds nothing.
TEST(MeltFrontTempAssembly, InletAddsInflowOnlyAndWallsCopyTheCell)
{
    BoxMesh m(2, 1, 1);
    DeviceMesh dev(m);
    DeviceList in(m.side[2]);
    std::vector<double> t(m.nExt, 0.0);
    t[0] = 50.0, t[1] = 60.0, t[m.side[2].slot[0]] = 230.0, t[m.side[2].slot[1]] = 240.0;
    auto fi = Up(t), mass = Up(std::vector<double>{-2.0, 3.0}), cb = Field(2, 9.0), tempSu = Field(2, 9.0);
    auto su = Up(std::vector<double>{1.0, 1.0});
    std::vector<double> ell(m.EllSize(), 0.0);
    ell[0] = ell[1] = 5.0;
    auto A = Up(ell);
    dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_InletBoundary(2, in.nRows, m.newNNU, m.nCol, *in.slot, *mass, *cb, *tempSu, *su,
                                                      *fi, *in.Px, *in.Py, *dev.scratch, *in.rows, 1, 1),
              0);
    EXPECT_EQ(cb->Download(), (std::vector<double>{-2.0, 0.0}));
    EXPECT_EQ(su->Download(), (std::vector<double>{1.0 + 2.0 * 230.0, 1.0}));
    dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_InletAi(2, in.nRows, m.newNNU, m.nCol, *in.Px, *in.Py, *cb, *dev.scratch, *A,
                                                *in.rows, 1, 1),
              0);
    const auto a = A->Download();
    EXPECT_EQ(a[0], 7.0);
    EXPECT_EQ(a[1], 5.0);

    DeviceList walls(m.Merge({3, 4}));
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_WallBC(walls.n, *walls.cell, *walls.slot, *fi, 1), 0);
    const auto f = fi->Download();
    for (size_t k = 0; k < m.Merge({3, 4}).slot.size(); ++k)
        EXPECT_EQ(f[m.Merge({3, 4}).slot[k]], f[m.Merge({3, 4}).cell[k]]);
    EXPECT_EQ(f[m.side[2].slot[0]], 230.0);
}

TEST(MeltFrontTempAssembly, TimeTermAndFinalCoefficients)
{
    BoxMesh m(3, 1, 1);
    std::vector<double> ell(m.EllSize(), 0.0);
    ell[1] = 10.0, ell[1 * m.newNNU + 1] = -2.0, ell[2 * m.newNNU + 1] = -3.0;
    auto A = Up(ell), vol = Up(std::vector<double>{0.5, 2.0, 1.0}), su = Field(3, 1.0);
    auto f0 = Up(std::vector<double>{10.0, 20.0, 30.0});
    // c = V/dt = 2, 8, 4 on the first two cells only (nnu = 2).
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_UnsteadyTermContribution(2, *vol, 0.25, *A, *su, *f0, 1), 0);
    EXPECT_EQ(su->Download(), (std::vector<double>{21.0, 161.0, 1.0}));
    auto a = A->Download();
    EXPECT_EQ(a[0], 2.0);
    EXPECT_EQ(a[1], 18.0);
    EXPECT_EQ(a[2], 0.0);
    // Row 1: aP = (18 + 5)/0.5; SfiD += 0.5 aP fi.
    auto fi = Up(std::vector<double>{0.0, 4.0, 0.0});
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_FinalCoeff(3, m.newNNU, m.nCol, 0.5, *fi, *A, *su, 1), 0);
    a = A->Download();
    EXPECT_EQ(a[1], 46.0);
    EXPECT_EQ(su->Download()[1], 161.0 + 0.5 * 46.0 * 4.0);
}

// ---------------------------------------------------------------------------
// Outer convergence and sampling
// ---------------------------------------------------------------------------

TEST(MeltFrontTempConvergence, LargestChangeOverThreeLevels)
{
    const int n = 140000;  // 547 first-level blocks: two collecting passes
    Levels L(n);
    ASSERT_GE(L.nLevels, 4);
    std::vector<double> fi = rvztest::RandomVector(n, 11, 100.0, 200.0), sv = fi;
    auto fiD = Up(fi), svD = Up(sv), buffer = Field(L.total, 1e9);
    double result = -1.0;
    ASSERT_EQ(Tool().Calc_MeltFrontTemp_CheckOuterConvergence(n, *fiD, *svD, *buffer, (n + 255) / 256, L.nLevels,
                                                              L.count, L.offset, L.total, L.size, result),
              0);
    EXPECT_EQ(result, 0.0);
    // Changes everywhere, the largest a decrease near the end.
    for (int i = 0; i < n; ++i) sv[i] = fi[i] + 1e-3 * std::sin(i);
    sv[n - 3] = fi[n - 3] + 0.75;
    svD->Upload(sv);
    const auto results = rvztest::ForThreadCounts({1, 2}, [&] {
        double r = -1.0;
        EXPECT_EQ(Tool().Calc_MeltFrontTemp_CheckOuterConvergence(n, *fiD, *svD, *buffer, (n + 255) / 256,
                                                                  L.nLevels, L.count, L.offset, L.total, L.size, r),
                  0);
        return r;
    });
    EXPECT_EQ(results[0], std::fabs(fi[n - 3] - sv[n - 3]));
    EXPECT_EQ(results[1], results[0]);
}

TEST(MeltFrontTempSampling, EachCellIsSampledOnceWhenItFills)
{
    // 0: fills now; 1: filled before; 2: unfilled; 3: sampled, dropped and
    // fills again; 4: sampled, still filled.
    auto volF0 = Up(std::vector<double>{0.2, 0.8, 0.1, 0.2, 0.9});
    auto volF = Up(std::vector<double>{0.8, 0.9, 0.2, 0.8, 0.9});
    auto field = Up(std::vector<double>{200.0, 201.0, 202.0, 203.0, 204.0});
    auto front = Up(std::vector<double>{-1.0, -1.0, -1.0, 150.0, 160.0});
    auto done = Up(std::vector<bool>{false, false, false, true, true});
    ASSERT_EQ(Tool().Calc_ComputeMeltFrontTemperature(5, *volF, *volF0, *front, *done, *field, 0.5, 0, 1), 0);
    EXPECT_EQ(front->Download(), (std::vector<double>{200.0, -1.0, -1.0, 150.0, 160.0}));
    EXPECT_EQ(done->Download(), (std::vector<bool>{true, false, false, true, true}));
    // iFlag = 1: unsampled cells follow the field; sampled ones keep theirs.
    field->Upload({300.0, 301.0, 302.0, 303.0, 304.0});
    ASSERT_EQ(Tool().Calc_ComputeMeltFrontTemperature(5, *volF, *volF0, *front, *done, *field, 0.5, 1, 1), 0);
    EXPECT_EQ(front->Download(), (std::vector<double>{200.0, 301.0, 302.0, 150.0, 160.0}));
    EXPECT_EQ(done->Download(), (std::vector<bool>{true, false, false, true, true}));
}

// ---------------------------------------------------------------------------
// Transport along a chain against an independent implicit upwind solution
// ---------------------------------------------------------------------------

// N cells along x with volumes V_i, a mass flux m through every face, an
// inlet at 230 on the -x face of cell 0 and walls on the sides. Each time
// step solves V_i (T_i - T0_i)/dt + m (T_i - T_{i-1}) = 0, T_{-1} = T_in.
std::vector<double> ReferenceStep(const std::vector<double>& V, double m, double dt, double Tin,
                                  const std::vector<double>& T0)
{
    const int N = static_cast<int>(V.size());
    Eigen::MatrixXd M = Eigen::MatrixXd::Zero(N, N);
    Eigen::VectorXd b(N);
    for (int i = 0; i < N; ++i) {
        M(i, i) = V[i] / dt + m;
        if (i > 0) M(i, i - 1) = -m;
        b(i) = V[i] / dt * T0[i] + (i == 0 ? m * Tin : 0.0);
    }
    const Eigen::VectorXd x = M.partialPivLu().solve(b);
    return std::vector<double>(x.data(), x.data() + N);
}

TEST(MeltFrontTempTransport, ChainMatchesTheImplicitUpwindSolution)
{
    const int N = 30;
    const double m = 0.8, dt = 0.05, Tin = 230.0, relax = 0.7;
    BoxMesh mesh(N, 1, 1, 0.1, 1.0, 1.0);
    DeviceMesh dev(mesh);
    DeviceList inlet(mesh.side[0]);
    const flowtest::BoundaryList wallList = mesh.Merge({2, 3, 4, 5});
    DeviceList walls(wallList);
    const std::vector<double> V = rvztest::RandomVector(N, 7, 0.05, 0.15);
    auto vol = Up(V);
    std::vector<double> ext(mesh.nExt, 50.0);
    ext[mesh.side[0].slot[0]] = Tin;
    auto fi = Up(ext), sv = Field(mesh.nExt), mfe = Field(mesh.nFaces, m), mass = Field(1, -m);
    auto aE = Field(mesh.nFaces), aW = Field(mesh.nFaces), cb = Field(1), tempSu = Field(1), su = Field(N);
    auto A = Field(static_cast<int>(mesh.EllSize())), f0 = Field(N);
    Levels L(N);
    auto buffer = Field(L.total);
    std::vector<double> ref(N, 50.0), T(N, 50.0);
    const int nnu = mesh.newNNU, nCol = mesh.nCol, cb1 = flowtest::Blocks(N), fb = flowtest::Blocks(mesh.nFaces);

    int totalOuter = 0;
    for (int step = 0; step < 12; ++step) {
        f0->Upload(T);
        ref = ReferenceStep(V, m, dt, Tin, ref);
        double change = 1.0;
        int outer = 0;
        for (; outer < 200 && change > 1e-11; ++outer) {
            std::vector<double> zero(A->size(), 0.0);
            for (int r = N; r < nnu; ++r) zero[r] = 1.0;
            A->Upload(zero);
            su->Upload(std::vector<double>(N, 0.0));
            ASSERT_EQ(Tool().Calc_InnerFluxHeatGen(mesh.nFaces, *mfe, *aE, *aW, fb), 0);
            ASSERT_EQ(Tool().Calc_MapaEaWToAi(mesh.nFaces, nnu, *dev.Px, *dev.Py, *dev.Ex, *dev.Ey, *aE, *aW, *A, fb),
                      0);
            dev.ClearScratch();
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_InletBoundary(1, inlet.nRows, nnu, nCol, *inlet.slot, *mass, *cb,
                                                              *tempSu, *su, *fi, *inlet.Px, *inlet.Py, *dev.scratch,
                                                              *inlet.rows, 1, 1),
                      0);
            dev.ClearScratch();
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_InletAi(1, inlet.nRows, nnu, nCol, *inlet.Px, *inlet.Py, *cb,
                                                        *dev.scratch, *A, *inlet.rows, 1, 1),
                      0);
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_UnsteadyTermContribution(N, *vol, dt, *A, *su, *f0, cb1), 0);
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_FinalCoeff(N, nnu, nCol, relax, *fi, *A, *su, cb1), 0);
            // The outer iteration's solve, dense; the previous iterate kept in sv.
            const std::vector<double> x =
                flowtest::SolveEllDense(A->Download(), mesh.indexELL, nnu, nCol, su->Download(), N);
            std::vector<double> f = fi->Download();
            sv->Upload(f);
            std::copy(x.begin(), x.end(), f.begin());
            fi->Upload(f);
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_WallBC(walls.n, *walls.cell, *walls.slot, *fi, flowtest::Blocks(walls.n)),
                      0);
            ASSERT_EQ(Tool().Calc_MeltFrontTemp_CheckOuterConvergence(N, *fi, *sv, *buffer, cb1, L.nLevels, L.count,
                                                                      L.offset, L.total, L.size, change),
                      0);
        }
        totalOuter += outer;
        const std::vector<double> f = fi->Download();
        T.assign(f.begin(), f.begin() + N);
        for (int i = 0; i < N; ++i) ASSERT_NEAR(T[i], ref[i], 1e-8) << "step " << step << " cell " << i;
        for (size_t k = 0; k < wallList.slot.size(); ++k) EXPECT_EQ(f[wallList.slot[k]], T[wallList.cell[k]]);
    }
    // Under-relaxation made the outer iterations do work; the front moved.
    EXPECT_GT(totalOuter, 12 * 5);
    EXPECT_GT(T[0], 200.0);
    EXPECT_LT(T[N - 1], 60.0);
}

// ---------------------------------------------------------------------------
// Block size and failures
// ---------------------------------------------------------------------------

TEST(MeltFrontTempRuns, OtherBlockSizesDoNothing)
{
    auto mfe = Up(std::vector<double>{-2.0}), aE = Field(1, 9.0);
    EXPECT_EQ(rvz::Calc_InnerFluxHeatGen_Par(128, 1, *mfe, *aE, 1, 0), 0);
    EXPECT_EQ(aE->Download()[0], 9.0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(MeltFrontTempRuns, FailedStepsAreReported)
{
    BoxMesh m(2, 1, 1);
    DeviceMesh dev(m);
    DeviceList in(m.side[2]);
    auto fi = Field(m.nExt, 230.0), mass = Up(std::vector<double>{-2.0, -1.0}), cb = Field(2), tempSu = Field(2);
    auto su = Field(2, 1.0);
    dev.ClearScratch();
    int status = -1;
    // The per-face kernel fails: the collect and update still run (on the
    // stale zeros of tempSuD) and decide the status.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_MeltFrontTemp_InletBoundary(2, in.nRows, m.newNNU, m.nCol, *in.slot, *mass, *cb, *tempSu,
                                                         *su, *fi, *in.Px, *in.Py, *dev.scratch, *in.rows, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_MeltFrontTemp_InletBoundary failed: ") +
                       rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(su->Download(), (std::vector<double>{1.0, 1.0}));

    rvz::host::testing::inject_launch_faults(1, cudaErrorInvalidValue, 2);
    out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_MeltFrontTemp_InletBoundary(2, in.nRows, m.newNNU, m.nCol, *in.slot, *mass, *cb, *tempSu,
                                                         *su, *fi, *in.Px, *in.Py, *dev.scratch, *in.rows, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorInvalidValue);
    EXPECT_NE(out.find("Calc_MeltFrontTemp_InletBC_Su_Update failed"), std::string::npos) << out;

    // The convergence measure checks and returns its first kernel only.
    Levels L(2);
    auto buffer = Field(L.total, 5.0), sv = Field(2, 0.0);
    double result = -1.0;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_MeltFrontTemp_CheckOuterConvergence(2, *fi, *sv, *buffer, 1, L.nLevels, L.count,
                                                                 L.offset, L.total, L.size, result);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_NE(out.find("Calc_Calc_MeltFrontTemp_CheckOuterConvergence failed"), std::string::npos) << out;
    EXPECT_EQ(result, 0.0);  // the cleared buffer
}
#endif

}  // namespace
