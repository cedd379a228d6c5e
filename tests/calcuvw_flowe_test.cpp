// Extended-flow momentum assembly: face mass flux, coefficients and the
// jointly limited face sources, density-scaled gravity, surface tension,
// the one-operation time term, final coefficients and the explicit update,
// on small boxes checked by hand and against the basic momentum operations.
#include <cmath>
#include <vector>

#include "CU_CalcUVW_FlowE.h"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::SetCells;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

enum class Op { FlowE, FlowEPar, Basic };

// Fields of the momentum equations on one mesh (extended arrays sized to
// cells + boundary slots).
struct Momentum {
    BoxMesh mesh;
    DeviceMesh dev;
    std::unique_ptr<DeviceArray<double>> u, v, w, vis, mfe, aE, aW, Su, Sv, Sw, temp;
    std::unique_ptr<DeviceArray<double>> grad[9];  // du_dx, dv_dx, dw_dx, du_dy, ...

    explicit Momentum(BoxMesh m) : mesh(std::move(m)), dev(mesh)
    {
        const int n = mesh.nExt;
        u = Field(n), v = Field(n), w = Field(n), vis = Field(n, 1.0);
        for (auto& g : grad) g = Field(n);
        mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces, 99.0), aW = Field(mesh.nFaces, 99.0);
        temp = Field(mesh.nFaces);
        Su = Field(mesh.nCells), Sv = Field(mesh.nCells), Sw = Field(mesh.nCells);
    }

    // Rows: every cell for FlowE and Basic, `rows` for the partition form.
    int Inner(Op op, double psi, double gamma, std::vector<int> rows = {})
    {
        dev.ClearScratch();
        auto rowList = Up(rows);
        const int nRows = op == Op::FlowEPar ? static_cast<int>(rows.size()) : mesh.nCells;
        const int fb = flowtest::Blocks(mesh.nFaces), cb = flowtest::Blocks(nRows);
        double* g[9];
        for (int i = 0; i < 9; ++i) g[i] = grad[i]->get();
        auto& d = dev;
        switch (op) {
            case Op::FlowE:
                return Tool().Calc_FlowE_InnerFluxUVW(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E,
                                                      *d.le, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8],
                                                      *d.xc, *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe,
                                                      *aE, *aW, *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey,
                                                      *d.scratch, fb, cb);
            case Op::FlowEPar:
                return Tool().Calc_FlowE_InnerFluxUVWPar(
                    mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E, *d.le, g[0], g[1], g[2], g[3],
                    g[4], g[5], g[6], g[7], g[8], *d.xc, *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe,
                    *aE, *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, fb, cb, *rowList);
            case Op::Basic:
                return Tool().Calc_InnerFluxUVW(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E,
                                                *d.le, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], *d.xc,
                                                *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe, *aE, *aW,
                                                *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, fb, cb);
        }
        return -1;
    }

    std::vector<double> Outputs() const
    {
        std::vector<double> all;
        for (const DeviceArray<double>* f : {Su.get(), Sv.get(), Sw.get(), aE.get(), aW.get()}) {
            const auto x = f->Download();
            all.insert(all.end(), x.begin(), x.end());
        }
        return all;
    }
};

// Three cells along x, dx = 0.5, unit faces: Ds = |S|^2/(S.d) = 2.
Momentum Line3() { return Momentum(BoxMesh(3, 1, 1, 0.5, 1.0, 1.0)); }

// A random state on a box of more than 256 cells and faces.
void Randomise(Momentum& m)
{
    const int n = m.mesh.nExt;
    m.u->Upload(rvztest::RandomVector(n, 1));
    m.v->Upload(rvztest::RandomVector(n, 2));
    m.w->Upload(rvztest::RandomVector(n, 3));
    m.vis->Upload(rvztest::RandomVector(n, 4, 0.5, 2.0));
    for (int i = 0; i < 9; ++i) m.grad[i]->Upload(rvztest::RandomVector(n, 10 + i));
    m.mfe->Upload(rvztest::RandomVector(m.mesh.nFaces, 5));
    // Skew the centroids so the non-orthogonal part is not zero.
    std::vector<double> yc = m.mesh.yc;
    const auto shift = rvztest::RandomVector(m.mesh.nCells, 6, -0.05, 0.05);
    for (int c = 0; c < m.mesh.nCells; ++c) yc[c] += shift[c];
    m.dev.yc->Upload(yc);
}

// ---------------------------------------------------------------------------
// Face mass flux and coefficients
// ---------------------------------------------------------------------------

TEST(CalcUVWFlowEFaces, MassFluxUsesCellMeanOrPhaseMixture)
{
    auto P = Up(std::vector<int>{0, 1}), E = Up(std::vector<int>{1, 2});
    auto den = Up(std::vector<double>{1.0, 0.5, 0.25});
    auto VFe = Up(std::vector<double>{1.0, 0.0});
    auto F = Up(std::vector<double>{2.0, -4.0});
    auto mfe = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_InnerFluxUVW_mfe(2, 1, 0.001, 0.9, *P, *E, *den, *VFe, *F, *mfe, 1), 0);
    EXPECT_EQ(mfe->Download(), (std::vector<double>{0.75 * 2.0, 0.375 * -4.0}));
    // Any other flag value: melt (VFe = 1) takes denl, air (0) deng.
    ASSERT_EQ(Tool().Calc_FlowE_InnerFluxUVW_mfe(2, 0, 0.001, 0.9, *P, *E, *den, *VFe, *F, *mfe, 1), 0);
    EXPECT_EQ(mfe->Download(), (std::vector<double>{0.9 * 2.0, 0.001 * -4.0}));
}

TEST(CalcUVWFlowEFaces, CoefficientsAreUpwindConvectionPlusDiffusion)
{
    Momentum m = Line3();
    SetCells(*m.vis, {1.0, 3.0, 5.0});
    m.mfe->Upload({0.7, -0.3});
    ASSERT_EQ(m.Inner(Op::FlowE, 0.5, 0.0), 0);
    // face 0: mu_f = 2, Ds = 2; face 1: mu_f = 4.
    EXPECT_EQ(m.aE->Download(), (std::vector<double>{-4.0, -0.3 - 8.0}));
    EXPECT_EQ(m.aW->Download(), (std::vector<double>{-0.7 - 4.0, -8.0}));
    m.aE->Upload({99.0, 99.0});
    m.aW->Upload({99.0, 99.0});
    ASSERT_EQ(m.Inner(Op::FlowEPar, 0.5, 0.0, {0, 1, 2}), 0);
    EXPECT_EQ(m.aE->Download(), (std::vector<double>{-4.0, -0.3 - 8.0}));
    EXPECT_EQ(m.aW->Download(), (std::vector<double>{99.0, 99.0}));  // the partition form has no aWD
}

// ---------------------------------------------------------------------------
// Limited deferred correction
// ---------------------------------------------------------------------------

// u rises by 1 per cell (Ds du = 2) and du/dx = 1 everywhere, so X = T.S = 1
// on both faces; |m| = 0.7 gives C = -0.35 on both (upwind minus central).
// With gamma = 1, Y = 0.65; the basic assembly limits X alone and adds C.
TEST(CalcUVWFlowELimiter, DeferredCorrectionIsLimitedWithTheDiffusion)
{
    auto sources = [](Op op, double psi, double dudx) {
        Momentum m = Line3();
        SetCells(*m.u, {0.0, 1.0, 2.0});
        m.grad[0]->Upload(std::vector<double>(m.mesh.nExt, dudx));
        m.mfe->Upload({0.7, -0.7});
        EXPECT_EQ(m.Inner(op, psi, 1.0), 0);
        return m.Su->Download();
    };
    // psi = 0.5: r = 1/(0.5*0.65) > 1, nothing is cut; both assemblies agree.
    auto flowE = sources(Op::FlowE, 0.5, 1.0);
    EXPECT_NEAR(flowE[0], 0.65, 1e-15);
    EXPECT_NEAR(flowE[1], 0.0, 1e-15);
    EXPECT_NEAR(flowE[2], -0.65, 1e-15);
    EXPECT_NEAR(sources(Op::Basic, 0.5, 1.0)[0], 0.65, 1e-15);
    // psi = 0.2: the whole Y is capped at psi/(1-psi) Ds du = 0.5; the basic
    // form caps X at 0.5 and then adds C: 0.15.
    EXPECT_NEAR(sources(Op::FlowE, 0.2, 1.0)[0], 0.5, 1e-15);
    EXPECT_NEAR(sources(Op::Basic, 0.2, 1.0)[0], 0.15, 1e-15);
    // No explicit diffusion: Y = C opposes the implicit flux, lambda = 0 and
    // the correction goes with it; the basic form keeps C.
    EXPECT_EQ(sources(Op::FlowE, 0.5, 0.0), (std::vector<double>{0.0, 0.0, 0.0}));
    EXPECT_NEAR(sources(Op::Basic, 0.5, 0.0)[0], -0.35, 1e-15);
    // psi = 0 reduces every face source to the order of 1e-30.
    for (double s : sources(Op::FlowE, 0.0, 1.0)) EXPECT_LT(std::fabs(s), 1e-29);
}

// The extended assembly with gamma = 0 is the basic one: same coefficients
// (up to the rounding of the two diffusion factors) and the same sources,
// bit for bit, on a skewed random box, for any thread count.
TEST(CalcUVWFlowELimiter, WithoutCorrectionItAgreesWithTheBasicAssembly)
{
    auto run = [](Op op) {
        return rvztest::ForThreadCounts({1, 3}, [op] {
            Momentum m{BoxMesh(40, 9, 3, 0.3, 0.2, 0.5)};
            Randomise(m);
            EXPECT_EQ(m.Inner(op, 0.4, 0.0), 0);
            return m.Outputs();
        });
    };
    const auto flowE = run(Op::FlowE), basic = run(Op::Basic);
    const size_t nSources = 3 * 40 * 9 * 3;
    ASSERT_EQ(flowE[0].size(), basic[0].size());
    for (size_t k = 0; k < flowE[0].size(); ++k) {
        ASSERT_TRUE(rvztest::SameBits(flowE[0][k], flowE[1][k])) << k;
        if (k < nSources)
            ASSERT_EQ(flowE[0][k], basic[0][k]) << k;
        else
            ASSERT_NEAR(flowE[0][k], basic[0][k], 1e-13 * std::fabs(basic[0][k])) << k;
    }
    // With gamma = 1 the two differ wherever a correction is limited.
    Momentum a{BoxMesh(40, 9, 3, 0.3, 0.2, 0.5)}, b{BoxMesh(40, 9, 3, 0.3, 0.2, 0.5)};
    Randomise(a);
    Randomise(b);
    ASSERT_EQ(a.Inner(Op::FlowE, 0.4, 1.0), 0);
    ASSERT_EQ(b.Inner(Op::Basic, 0.4, 1.0), 0);
    EXPECT_NE(a.Su->Download(), b.Su->Download());
}

// ---------------------------------------------------------------------------
// Partition faces
// ---------------------------------------------------------------------------

// The partition form sums only the rows it lists; the neighbour side of each
// face (the remote cell's copy) is written into the scratch but never summed.
TEST(CalcUVWFlowEPartition, OnlyListedRowsReceiveTheSources)
{
    Momentum all = Line3(), par = Line3();
    for (Momentum* m : {&all, &par}) {
        SetCells(*m->u, {0.0, 1.0, 2.0});
        SetCells(*m->v, {3.0, 1.0, 0.0});
        m->grad[0]->Upload(std::vector<double>(m->mesh.nExt, 1.0));
        m->mfe->Upload({0.7, -0.7});
    }
    ASSERT_EQ(all.Inner(Op::FlowE, 0.5, 1.0), 0);
    ASSERT_EQ(par.Inner(Op::FlowEPar, 0.5, 1.0, {2, 0}), 0);
    const auto Su = all.Su->Download(), SuPar = par.Su->Download();
    const auto Sv = all.Sv->Download(), SvPar = par.Sv->Download();
    EXPECT_EQ(SuPar, (std::vector<double>{Su[0], 0.0, Su[2]}));
    EXPECT_EQ(SvPar, (std::vector<double>{Sv[0], 0.0, Sv[2]}));
    EXPECT_NE(Su[0], 0.0);
}

// ---------------------------------------------------------------------------
// Cell sources
// ---------------------------------------------------------------------------

TEST(CalcUVWFlowESources, GravityIsScaledByTheLocalDensity)
{
    // Cell 0 pure melt (rho = denMax = 1), cell 1 pure air (rho = denMin).
    const double denMax = 1.0, denMin = 0.001;
    auto vol = Up(std::vector<double>{2.0, 4.0}), den = Up(std::vector<double>{denMax, denMin});
    auto Su = Field(2, 1.0), Sv = Field(2), Sw = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_GravityForceContribution(2, denMax, denMin, 0.0, 10.0, -981.0, *Su, *Sv, *Sw, *vol,
                                                         *den, 1),
              0);
    EXPECT_EQ(Su->Download(), (std::vector<double>{1.0, 1.0}));
    // 0.1 rho V g denMax/(denMax + denMin) for the melt cell; rho^2 for air.
    EXPECT_NEAR(Sv->Download()[0], 0.1 * 1.0 * 2.0 * 10.0 * denMax / 1.001, 1e-14);
    EXPECT_NEAR(Sw->Download()[0], 0.1 * 1.0 * 2.0 * -981.0 / 1.001, 1e-12);
    EXPECT_NEAR(Sw->Download()[1], 0.1 * 1e-6 * 4.0 * -981.0 / 1.001, 1e-18);
}

TEST(CalcUVWFlowESources, SurfaceTensionFollowsTheVolumeFractionGradient)
{
    // 2 rho/(denMax + denMin) = 1 for rho = 0.5, denMax + denMin = 1.
    auto vol = Up(std::vector<double>{2.0}), den = Up(std::vector<double>{0.5}), curv = Up(std::vector<double>{3.0});
    auto dx = Up(std::vector<double>{1.0}), dy = Up(std::vector<double>{0.0}), dz = Up(std::vector<double>{-0.5});
    auto Su = Field(1, 1.0), Sv = Field(1, 1.0), Sw = Field(1, 1.0);
    ASSERT_EQ(
        Tool().Calc_FlowE_SurfaceTensionMethodOne(1, 0.9, 0.1, 70.0, *vol, *curv, *den, *dx, *dy, *dz, *Su, *Sv, *Sw, 1),
        0);
    EXPECT_DOUBLE_EQ(Su->Download()[0], 1.0 + 70.0 * 3.0 * 2.0);
    EXPECT_EQ(Sv->Download()[0], 1.0);
    EXPECT_DOUBLE_EQ(Sw->Download()[0], 1.0 - 70.0 * 3.0 * 0.5 * 2.0);
}

// One operation: c = rho V/(dt dtNor) = 3*2*0.5 = 3 into the right-hand
// sides, APvD, APRD and the diagonal at once.
TEST(CalcUVWFlowESources, TimeTermBlendsEulerAndThreeLevelInOneOperation)
{
    auto den = Up(std::vector<double>{3.0}), vol = Up(std::vector<double>{2.0});
    auto u0 = Up(std::vector<double>{1.0}), v0 = Up(std::vector<double>{2.0}), w0 = Up(std::vector<double>{0.0});
    auto u00 = Up(std::vector<double>{4.0}), v00 = Up(std::vector<double>{0.0}), w00 = Up(std::vector<double>{2.0});
    for (double B : {0.0, 1.0}) {
        auto A = Field(1, 1.0), APv = Field(1, 2.0), APR = Field(1), Su = Field(1), Sv = Field(1), Sw = Field(1);
        ASSERT_EQ(Tool().Calc_FlowE_2ndImplicitEulerMethodAi(1, 0.5, B, *den, *vol, *u0, *v0, *w0, *u00, *v00, *w00,
                                                             *A, *APv, *APR, *Su, *Sv, *Sw, 1),
                  0);
        const double c = 3.0, central = B == 0.0 ? c : 1.5 * c;
        EXPECT_EQ(A->Download()[0], 1.0 + central);
        EXPECT_EQ(APv->Download()[0], 2.0 + central);
        EXPECT_EQ(APR->Download()[0], central);
        // Euler: c phi0; three-level: c (2 phi0 - phi00/2).
        EXPECT_EQ(Su->Download()[0], B == 0.0 ? 3.0 : 3.0 * (2.0 - 2.0));
        EXPECT_EQ(Sv->Download()[0], B == 0.0 ? 6.0 : 12.0);
        EXPECT_EQ(Sw->Download()[0], B == 0.0 ? 0.0 : -3.0);
    }
}

// ---------------------------------------------------------------------------
// Final coefficients, explicit update, velocity-correction factors
// ---------------------------------------------------------------------------

// Two rows in an ELL of 256 rows and 3 columns: row 0 couples to row 1 in
// column 1 (-1), row 1 to row 0 in column 2 (-2); row 0's column 2 is empty
// (index -1) but holds a stray 5 that the explicit update must skip.
struct TwoRows {
    static constexpr int newNNU = 256, nCol = 3;
    std::vector<double> A = std::vector<double>(newNNU * nCol, 0.0);
    std::vector<int> index = std::vector<int>(newNNU * nCol, -1);
    TwoRows()
    {
        A[0] = 4.0, A[1] = 6.0;
        A[newNNU + 0] = -1.0, index[newNNU + 0] = 1;
        A[2 * newNNU + 1] = -2.0, index[2 * newNNU + 1] = 0;
        index[0] = 0, index[1] = 1;
    }
};

TEST(CalcUVWFlowEFinal, UnderRelaxedDiagonalAndRightHandSide)
{
    TwoRows r;
    auto A = Up(r.A);
    auto Ai = Up(std::vector<double>{1.0, 2.0}), fi = Up(std::vector<double>{3.0, -1.0});
    auto Sfi = Field(2, 1.0);
    // relax 0.5: aP = (Ai + |a_nb|) * 2; Sfi += 0.5 aP fi.
    ASSERT_EQ(Tool().Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(2, r.newNNU, r.nCol, 0.5, 2.0, *fi, *Ai, *A, *Sfi, 1), 0);
    const auto Anew = A->Download();
    EXPECT_EQ(Anew[0], 4.0);
    EXPECT_EQ(Anew[1], 8.0);
    EXPECT_EQ(Sfi->Download(), (std::vector<double>{1.0 + 0.5 * 4.0 * 3.0, 1.0 - 0.5 * 8.0}));
    EXPECT_EQ(Anew[r.newNNU], -1.0);  // off-diagonal entries untouched
}

TEST(CalcUVWFlowEFinal, ExplicitUpdateIsAJacobiStepThatSkipsEmptyColumns)
{
    TwoRows r;
    r.A[2 * r.newNNU + 0] = 5.0;  // stray value in an empty column
    auto A = Up(r.A);
    auto index = Up(r.index);
    auto Sfi = Up(std::vector<double>{2.0, 4.0}), dp = Up(std::vector<double>{0.3, -7.0});
    auto vol = Up(std::vector<double>{1.0, 2.0});
    auto fiOld = Up(std::vector<double>{1.0, 2.0}), fi = Field(2, 99.0);
    ASSERT_EQ(Tool().Calc_FlowE_FinalCoeffRHS_fi(2, r.newNNU, r.nCol, *index, *A, *Sfi, *dp, *vol, *fiOld, *fi, 1), 0);
    // Row 0: (2 + 1*2)/4; row 1: (4 + 2*1)/6, both from the old values; the
    // pressure term is added and removed again.
    const auto x = fi->Download();
    EXPECT_NEAR(x[0], 1.0, 1e-15);
    EXPECT_NEAR(x[1], 1.0, 1e-15);
    EXPECT_EQ(fiOld->Download(), (std::vector<double>{1.0, 2.0}));
}

TEST(CalcUVWFlowEFinal, VelocityCorrectionFactors)
{
    TwoRows r;
    auto A = Up(r.A);
    auto APR = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_FinalCoeffRHS_UpdateAPR(2, *A, *APR, 1), 0);
    EXPECT_EQ(APR->Download(), (std::vector<double>{0.25, 1.0 / 6.0}));
    // SIMPLEC: 1/(AP + sum of off-diagonal entries) = 1/3 and 1/4.
    ASSERT_EQ(Tool().Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(2, r.newNNU, r.nCol, *A, *APR, 1), 0);
    const auto apr = APR->Download();
    EXPECT_NEAR(apr[0], 1.0 / 3.0, 1e-16);
    EXPECT_NEAR(apr[1], 0.25, 1e-16);
    // A zero diagonal gives the guarded 1e30.
    auto zero = Field(1);
    ASSERT_EQ(Tool().Calc_FlowE_FinalCoeffRHS_UpdateAPR(1, *zero, *APR, 1), 0);
    EXPECT_EQ(APR->Download()[0], 1.0 / 1e-30);
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

TEST(CalcUVWFlowERuns, OtherBlockSizesDoNothing)
{
    auto P = Up(std::vector<int>{0});
    auto den = Up(std::vector<double>{1.0}), mfe = Field(1, 7.0);
    EXPECT_EQ(rvz::Calc_FlowE_InnerFluxUVW_mfe(128, 1, 1, 1.0, 1.0, *P, *P, *den, *den, *den, *mfe, 1, 0), 0);
    EXPECT_EQ(mfe->Download()[0], 7.0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(CalcUVWFlowERuns, FailedStepIsReportedAndTheRestRuns)
{
    Momentum m = Line3();
    SetCells(*m.u, {0.0, 1.0, 2.0});
    m.grad[0]->Upload(std::vector<double>(m.mesh.nExt, 1.0));
    m.mfe->Upload({0.7, -0.7});
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    std::string out = rvztest::CaptureOutput([&] { status = m.Inner(Op::FlowE, 0.5, 1.0); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_FlowE_InnerFluxUVW_aEaW failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);  // the last step succeeded
    EXPECT_EQ(m.aE->Download()[0], 99.0);
    EXPECT_NEAR(m.Su->Download()[0], 0.65, 1e-15);  // the sources still ran

    // The partition form's last launch (the w update) decides the status.
    m.Su->Upload({0.0, 0.0, 0.0});
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 9);
    out = rvztest::CaptureOutput([&] { status = m.Inner(Op::FlowEPar, 0.5, 1.0, {0, 1, 2}); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out.rfind("GPU[0:host] Calc_FlowE_InnerFluxUVW_UpdateSourceTerm_Par failed: ", 0), 0u) << out;
    EXPECT_NEAR(m.Su->Download()[0], 0.65, 1e-15);

    // A one-launch operation reports under its own name.
    auto vol = Field(1, 1.0), Su = Field(1);
    rvz::host::testing::inject_launch_faults(1, cudaErrorInvalidValue);
    out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_FlowE_GravityForceContribution(1, 1.0, 0.0, 1.0, 1.0, 1.0, *Su, *Su, *Su, *vol, *vol, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorInvalidValue);
    EXPECT_EQ(out.rfind("GPU[0:host] Calc_FlowE_GravityForceContribution failed: ", 0), 0u) << out;
    EXPECT_EQ(Su->Download()[0], 0.0);
}
#endif

// ---------------------------------------------------------------------------
// Inlet faces
// ---------------------------------------------------------------------------

// Bool flags as 0/1 for comparison.
std::vector<int> Flags(const DeviceArray<bool>& a)
{
    std::vector<int> out;
    for (bool b : a.Download()) out.push_back(b ? 1 : 0);
    return out;
}

TEST(CalcUVWFlowEInlet, ActiveOrUnfilledFacesAreOpenFilledInactiveOnesAreWalls)
{
    // active filled, active unfilled, inactive unfilled, inactive filled,
    // inactive with a NaN fraction (counts as filled), inactive at FCRI.
    auto slot = Up(std::vector<int>{0, 1, 2, 3, 4, 5});
    auto gp = Up(std::vector<int>{1, 1, 0, 0, 0, 0});
    auto VolF = Up(std::vector<double>{0.9, 0.1, 0.1, 0.9, std::nan(""), 0.5});
    DeviceArray<bool> judge3(6), judge4(6);
    ASSERT_EQ(Tool().Calc_FlowE_UVW_InletBoundary_Judge(6, 0.5, 1, nullptr, *slot, *gp, *VolF, nullptr, judge3, judge4,
                                                        1),
              0);
    EXPECT_EQ(Flags(judge3), (std::vector<int>{1, 1, 1, 0, 0, 0}));
    EXPECT_EQ(Flags(judge4), (std::vector<int>{0, 0, 0, 1, 1, 1}));
}

TEST(CalcUVWFlowEInlet, OpenFacesGetZeroGradientVelocity)
{
    // Two inlet faces: cells 0 and 1, slots 2 and 3; only the first is open.
    auto cell = Up(std::vector<int>{0, 1}), slot = Up(std::vector<int>{2, 3});
    DeviceArray<bool> judge3(std::vector<bool>{true, false});
    std::vector<std::unique_ptr<DeviceArray<double>>> g;
    for (int i = 0; i < 9; ++i) g.push_back(Up(std::vector<double>{1.0 + i, 10.0 + i, -1.0, -2.0}));
    ASSERT_EQ(Tool().Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(2, *cell, *slot, judge3, *g[0], *g[1], *g[2], *g[3],
                                                                   *g[4], *g[5], *g[6], *g[7], *g[8], 1),
              0);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(g[i]->Download(), (std::vector<double>{1.0 + i, 10.0 + i, 1.0 + i, -2.0}));
}

// Line3 with an inlet list on its two x ends: entry 0 is cell 0's -x face
// (slot s0, scratch column 0), entry 1 cell 2's +x face. ijPD = cell,
// ijED = slot; the neighbour side of the pair goes to row 1, column 6,
// which no row list holds. d = -+0.25 along x and |S| = 1: Ds = 4.
struct InletEnds {
    Momentum m = Line3();
    flowtest::BoundaryList list = m.mesh.Merge({0, 1});
    std::unique_ptr<DeviceArray<int>> P = Up(list.cell), E = Up(list.slot), Px = Up(list.Px), Py = Up(list.Py),
                                      Ex = Up(std::vector<int>{1, 1}), Ey = Up(std::vector<int>{6, 5}),
                                      rows = Up(list.rows), slot = Up(list.slot);
    std::unique_ptr<DeviceArray<double>> sx = Up(list.sx), sy = Up(list.sy), sz = Up(list.sz);
    std::unique_ptr<DeviceArray<double>> mfe = Up(std::vector<double>{-0.5, -0.5}), aE = Field(2), aW = Field(2);
    DeviceArray<bool> open{std::vector<bool>{true, false}};
    int nRows = static_cast<int>(list.rows.size());
    int s0 = list.slot[0], s1 = list.slot[1];

    InletEnds()
    {
        std::vector<double> vis(m.mesh.nExt, 1.0);
        vis[s0] = vis[s1] = 2.0;
        m.vis->Upload(vis);
    }
    int Coefficients()
    {
        return Tool().Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(2, 0.5, *P, *E, *m.vis, *sx, *sy, *sz, *m.dev.xc,
                                                                     *m.dev.yc, *m.dev.zc, *mfe, *aE, *aW, 1);
    }
    int Sources(double psi, double gamma, double le)
    {
        m.dev.ClearScratch();
        double* g[9];
        for (int i = 0; i < 9; ++i) g[i] = m.grad[i]->get();
        return Tool().Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(
            2, nRows, m.mesh.newNNU, m.mesh.nCol, psi, gamma, *P, *E, le, open, g[0], g[1], g[2], g[3], g[4], g[5],
            g[6], g[7], g[8], *m.dev.xc, *m.dev.yc, *m.dev.zc, *m.u, *m.v, *m.w, *m.vis, *sx, *sy, *sz, *mfe, *m.Su,
            *m.Sv, *m.Sw, *m.temp, *Px, *Py, *Ex, *Ey, *m.dev.scratch, 1, 1, *rows);
    }
};

TEST(CalcUVWFlowEInlet, OpenFaceIsAssembledLikeAnInteriorFaceTowardsItsSlot)
{
    InletEnds t;
    ASSERT_EQ(t.Coefficients(), 0);
    // Weight 1: mu_f = 2 (the slot's); aE = min(m,0) - 2*4, aW = -0 - 8.
    EXPECT_EQ(t.aE->Download(), (std::vector<double>{-8.5, -8.5}));
    EXPECT_EQ(t.aW->Download(), (std::vector<double>{-8.0, -8.0}));

    // Face source with le_ = 0.5: u(cell 0) = 1, u(slot) = -1, du/dx = 4:
    // X = T.S = -4 (orthogonal), C = min(m,0) u(slot) - m u_f = 0.5,
    // mu_f = 1.5, Y = -4 + 0.5/1.5 has the sign of Ds du: not limited, so
    // tempD = mu_f X + C = -5.5. The closed face contributes nothing.
    std::vector<double> u(t.m.mesh.nExt, 1.0);
    u[t.s0] = -1.0;
    u[t.s1] = 7.0;
    t.m.u->Upload(u);
    t.m.grad[0]->Upload(std::vector<double>(t.m.mesh.nExt, 4.0));
    t.m.Su->Upload({1.0, 1.0, 1.0});
    ASSERT_EQ(t.Sources(0.5, 1.0, 0.5), 0);
    const auto Su = t.m.Su->Download();
    EXPECT_NEAR(Su[0], 1.0 - 5.5, 1e-14);
    EXPECT_EQ(Su[1], 1.0);  // the neighbour side (the slot) has no row
    EXPECT_EQ(Su[2], 1.0);  // closed face
    EXPECT_EQ(t.m.Sv->Download(), (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(CalcUVWFlowEInlet, OpenFaceAddsItsCoefficientToTheCentreAndTheSlotVelocityToTheSources)
{
    InletEnds t;
    ASSERT_EQ(t.Coefficients(), 0);
    std::vector<double> u(t.m.mesh.nExt, 0.0), w(t.m.mesh.nExt, 0.0);
    u[t.s0] = 3.0, u[t.s1] = 5.0, w[t.s0] = -2.0;
    t.m.u->Upload(u);
    t.m.w->Upload(w);
    auto t1 = Field(2), t2 = Field(2), t3 = Field(2);
    t.m.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(
                  2, t.nRows, t.m.mesh.newNNU, t.m.mesh.nCol, nullptr, *t.slot, *t.aE, t.open, *t.m.u, *t.m.v, *t.m.w,
                  *t.m.Su, *t.m.Sv, *t.m.Sw, *t1, *t2, *t3, *t.Px, *t.Py, nullptr, nullptr, *t.m.dev.scratch, 1, 1,
                  *t.rows),
              0);
    EXPECT_EQ(t.m.Su->Download(), (std::vector<double>{8.5 * 3.0, 0.0, 0.0}));
    EXPECT_EQ(t.m.Sw->Download(), (std::vector<double>{8.5 * -2.0, 0.0, 0.0}));
    EXPECT_EQ(t1->Download(), (std::vector<double>{8.5 * 3.0, 0.0}));

    auto A = Field(static_cast<int>(t.m.mesh.EllSize()), 1.0), APv = Field(3), APR = Field(3, 2.0), temp = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(
                  2, t.nRows, t.m.mesh.newNNU, t.m.mesh.nCol, nullptr, nullptr, *t.aE, t.open, *APv, *APR, *A, *temp,
                  *t.Px, *t.Py, nullptr, nullptr, *t.m.dev.scratch, 1, 1, *t.rows),
              0);
    EXPECT_EQ(APv->Download(), (std::vector<double>{8.5, 0.0, 0.0}));
    EXPECT_EQ(APR->Download(), (std::vector<double>{10.5, 2.0, 2.0}));
    const auto Anew = A->Download();
    EXPECT_EQ(Anew[0], 9.5);
    EXPECT_EQ(Anew[2], 1.0);
}

TEST(CalcUVWFlowEInlet, InactiveVentedInletLetsTheCellVelocityOut)
{
    // Entries: inactive vent, active vent, inactive closed, inactive vent.
    auto cell = Up(std::vector<int>{0, 0, 0, 0}), slot = Up(std::vector<int>{1, 2, 3, 4});
    auto gp = Up(std::vector<int>{0, 1, 0, 0}), vent = Up(std::vector<int>{1, 1, 0, 2});
    auto sx = Up(std::vector<double>{2.0, 2.0, 2.0, 0.0}), sy = Up(std::vector<double>{0.0, 0.0, 0.0, -1.0});
    auto sz = Field(4);
    for (int mode = 0; mode < 3; ++mode) {  // iFAIMIn = 1; iFillType = 2; neither
        const int iFAIMIn = mode == 0 ? 1 : 0, iFillType = mode == 1 ? 2 : 1;
        auto u = Up(std::vector<double>{3.0, 9.0, 9.0, 9.0, 9.0}), v = Up(std::vector<double>{1.0, 0.0, 0.0, 0.0, 0.0});
        auto w = Field(5), flux = Field(4, -7.0);
        ASSERT_EQ(Tool().Calc_FlowE_UVW_Inlet_UNF(4, iFAIMIn, iFillType, *cell, *slot, *gp, *vent, *sx, *sy, *sz, *u, *v,
                                                  *w, *flux, 1),
                  0);
        if (mode < 2) {
            EXPECT_EQ(u->Download(), (std::vector<double>{3.0, 3.0, 9.0, 9.0, 3.0}));
            EXPECT_EQ(v->Download(), (std::vector<double>{1.0, 1.0, 0.0, 0.0, 1.0}));
            EXPECT_EQ(flux->Download(), (std::vector<double>{6.0, -7.0, -7.0, -1.0}));
        } else {
            EXPECT_EQ(u->Download(), (std::vector<double>{3.0, 9.0, 9.0, 9.0, 9.0}));
            EXPECT_EQ(flux->Download(), (std::vector<double>{-7.0, -7.0, -7.0, -7.0}));
        }
    }
}

// ---------------------------------------------------------------------------
// Walls, vents and moving walls
// ---------------------------------------------------------------------------

TEST(CalcUVWFlowEWall, GeometryFactorIsAreaOverNormalDistance)
{
    auto P = Up(std::vector<int>{0, 0});
    auto sx = Up(std::vector<double>{0.0, 3.0}), sy = Up(std::vector<double>{2.0, 4.0}), sz = Field(2);
    auto fx = Up(std::vector<double>{0.5, 1.5}), fy = Up(std::vector<double>{1.0, 1.5}), fz = Up(std::vector<double>{0.7, 0.5});
    auto xc = Field(1, 0.5), yc = Field(1, 0.5), zc = Field(1, 0.5), surf = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_UVW_GetSurf_DistWall(2, *P, *sx, *sy, *sz, *fx, *fy, *fz, *xc, *yc, *zc, *surf, 1), 0);
    // Face 0: area 2, normal distance 0.5 (the offset in z is tangential).
    // Face 1: area 5, n = (0.6, 0.8, 0), r = (1, 1, 0): distance 1.4.
    const auto s = surf->Download();
    EXPECT_NEAR(s[0], 4.0, 1e-14);
    EXPECT_NEAR(s[1], 5.0 / 1.4, 1e-14);

    auto slot = Up(std::vector<int>{1, 0});
    auto vis = Up(std::vector<double>{3.0, 0.5}), coef = Field(2);
    ASSERT_EQ(Tool().Calc_FlowE_UVW_coef(2, *slot, *vis, *surf, *coef, 1), 0);
    EXPECT_EQ(coef->Download(), (std::vector<double>{0.5 * s[0], 3.0 * s[1]}));
}

TEST(CalcUVWFlowEWall, VentsAlwaysAndMovingFilledFacesOnlyInMovingMode)
{
    // vent 1, vent 2, moving filled, moving at FCRI, still filled, moving unfilled.
    auto slot = Up(std::vector<int>{0, 1, 2, 3, 4, 5});
    auto vent = Up(std::vector<int>{1, 2, 0, 0, 0, 0}), moving = Up(std::vector<int>{0, 0, 1, 1, 0, 1});
    auto VolF = Up(std::vector<double>{0.0, 1.0, 0.9, 0.5, 0.9, 0.1});
    DeviceArray<bool> judge(6), neg(6);
    ASSERT_EQ(Tool().Calc_FlowE_UVW_Wall_Judge(6, 0.5, 1, *slot, *vent, *moving, *VolF, judge, neg, 1), 0);
    EXPECT_EQ(Flags(judge), (std::vector<int>{1, 1, 1, 0, 0, 0}));
    EXPECT_EQ(Flags(neg), (std::vector<int>{0, 0, 0, 1, 1, 1}));
    ASSERT_EQ(Tool().Calc_FlowE_UVW_Wall_Judge(6, 0.5, 0, *slot, *vent, *moving, *VolF, judge, neg, 1), 0);
    EXPECT_EQ(Flags(judge), (std::vector<int>{1, 1, 0, 0, 0, 0}));

    ASSERT_EQ(Tool().Calc_FlowE_UVW_SetJudgeTrueOrFalse(5, true, judge, 1), 0);
    EXPECT_EQ(Flags(judge), (std::vector<int>{1, 1, 1, 1, 1, 0}));
}

// Walls on cell 0's -x face (scratch column 0) and cell 2's +x face; only
// the first is a no-slip face.
TEST(CalcUVWFlowEWall, NoSlipFaceStopsItsSlotAndAddsItsFriction)
{
    InletEnds t;
    DeviceArray<bool> judge4(std::vector<bool>{true, false});
    auto coef = Up(std::vector<double>{4.0, 4.0});
    std::vector<double> u(t.m.mesh.nExt, 1.0);
    t.m.u->Upload(u);
    t.m.v->Upload(u);
    auto A = Field(static_cast<int>(t.m.mesh.EllSize())), APv = Field(3), APR = Field(3);
    auto t1 = Field(2, 9.0), t2 = Field(2, 9.0), t3 = Field(2, 9.0), t4 = Field(2, 9.0);
    t.m.Su->Upload({1.0, 1.0, 1.0});
    t.m.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_FlowE_UVW_SetUVWWall(2, t.nRows, t.m.mesh.newNNU, t.m.mesh.nCol, *t.slot, judge4, *coef,
                                               *t.m.vis, *t.m.u, *t.m.v, *t.m.w, *t1, *t2, *t3, *t4, *A, *APv, *APR,
                                               *t.m.Su, *t.m.Sv, *t.m.Sw, *t.m.dev.scratch, *t.Px, *t.Py, nullptr,
                                               nullptr, *t.rows, 1, 1),
              0);
    // coefD times the slot viscosity 2.
    EXPECT_EQ(APv->Download(), (std::vector<double>{8.0, 0.0, 0.0}));
    EXPECT_EQ(APR->Download(), (std::vector<double>{8.0, 0.0, 0.0}));
    EXPECT_EQ(A->Download()[0], 8.0);
    EXPECT_EQ(t.m.Su->Download(), (std::vector<double>{1.0, 1.0, 1.0}));
    EXPECT_EQ(t.m.Sv->Download(), (std::vector<double>{0.0, 0.0, 0.0}));
    const auto uNew = t.m.u->Download(), vNew = t.m.v->Download();
    EXPECT_EQ(uNew[t.s0], 0.0);
    EXPECT_EQ(vNew[t.s0], 0.0);
    EXPECT_EQ(uNew[t.s1], 1.0);  // not a no-slip face: kept
    EXPECT_EQ(t1->Download(), (std::vector<double>{8.0, 0.0}));
    EXPECT_EQ(t2->Download(), (std::vector<double>{0.0, 0.0}));
}

TEST(CalcUVWFlowEWall, VentsAndMovingWallsSetTheirFluxClosedWallsKeepTheirs)
{
    // vent (takes the cell velocity), moving filled (keeps its slot
    // velocity), closed still wall (keeps everything).
    auto cell = Up(std::vector<int>{0, 0, 0}), slot = Up(std::vector<int>{1, 2, 3});
    auto sx = Up(std::vector<double>{2.0, 2.0, 2.0}), sy = Up(std::vector<double>{0.0, 1.0, 0.0}), sz = Field(3);
    auto VolF = Up(std::vector<double>{1.0, 0.0, 0.9, 0.9});
    auto vent = Up(std::vector<int>{1, 0, 0}), moving = Up(std::vector<int>{0, 1, 0});
    auto u = Up(std::vector<double>{3.0, 0.0, 0.5, 0.25}), v = Up(std::vector<double>{1.0, 0.0, 4.0, 0.0});
    auto w = Field(4), flux = Field(3, -7.0);
    ASSERT_EQ(Tool().Calc_FlowE_UVM_Wall_ICM(3, 1, 0.5, *cell, *slot, *sx, *sy, *sz, *VolF, *vent, *moving, *flux, *u,
                                             *v, *w, 1),
              0);
    EXPECT_EQ(u->Download(), (std::vector<double>{3.0, 3.0, 0.5, 0.25}));
    EXPECT_EQ(v->Download(), (std::vector<double>{1.0, 1.0, 4.0, 0.0}));
    EXPECT_EQ(flux->Download(), (std::vector<double>{6.0, 1.0 + 4.0, -7.0}));
    // Out of the moving-wall mode the moving face keeps its flux too.
    flux->Upload({-7.0, -7.0, -7.0});
    ASSERT_EQ(Tool().Calc_FlowE_UVM_Wall_ICM(3, 0, 0.5, *cell, *slot, *sx, *sy, *sz, *VolF, *vent, *moving, *flux, *u,
                                             *v, *w, 1),
              0);
    EXPECT_EQ(flux->Download(), (std::vector<double>{6.0, -7.0, -7.0}));
}

// ---------------------------------------------------------------------------
// Independent check: plane Poiseuille flow
// ---------------------------------------------------------------------------

// Cells stacked in y between two no-slip walls, driven by a pressure
// gradient G: assembled with the extended interior faces, the wall
// geometry factor and the no-slip wall operation, solved densely on the
// host and compared with u = G/(2 mu) y (H - y).
std::vector<double> PoiseuilleProfile(int N, double H, double mu, double G)
{
    Momentum m{BoxMesh(1, N, 1, 1.0, H / N, 1.0)};
    const flowtest::BoundaryList list = m.mesh.Merge({2, 3});
    flowtest::DeviceList d(list);
    std::vector<double> fx, fy, fz;
    for (int s : list.slot) fx.push_back(m.mesh.xc[s]), fy.push_back(m.mesh.yc[s]), fz.push_back(m.mesh.zc[s]);
    auto Fx = Up(fx), Fy = Up(fy), Fz = Up(fz), surf = Field(d.n);
    EXPECT_EQ(Tool().Calc_FlowE_UVW_GetSurf_DistWall(d.n, *d.cell, *d.sx, *d.sy, *d.sz, *Fx, *Fy, *Fz, *m.dev.xc,
                                                     *m.dev.yc, *m.dev.zc, *surf, 1),
              0);
    m.vis->Upload(std::vector<double>(m.mesh.nExt, mu));
    EXPECT_EQ(m.Inner(Op::FlowE, 0.5, 0.0), 0);
    auto A = Field(static_cast<int>(m.mesh.EllSize()));
    EXPECT_EQ(Tool().Calc_MapaEaWToAi(m.mesh.nFaces, m.mesh.newNNU, *m.dev.Px, *m.dev.Py, *m.dev.Ex, *m.dev.Ey, *m.aE,
                                      *m.aW, *A, 1),
              0);
    DeviceArray<bool> judge4(std::vector<bool>(d.n, true));
    auto APv = Field(N), APR = Field(N), t1 = Field(d.n), t2 = Field(d.n), t3 = Field(d.n), t4 = Field(d.n);
    m.dev.ClearScratch();
    EXPECT_EQ(Tool().Calc_FlowE_UVW_SetUVWWall(d.n, d.nRows, m.mesh.newNNU, m.mesh.nCol, *d.slot, judge4, *surf, *m.vis,
                                               *m.u, *m.v, *m.w, *t1, *t2, *t3, *t4, *A, *APv, *APR, *m.Su, *m.Sv,
                                               *m.Sw, *m.dev.scratch, *d.Px, *d.Py, nullptr, nullptr, *d.rows, 1, 1),
              0);
    auto dpdx = Field(N, -G), zero = Field(N);
    EXPECT_EQ(Tool().Calc_PressureSourceContribution(N, *m.dev.volume, *dpdx, *zero, *zero, *m.Su, *m.Sv, *m.Sw, 1), 0);
    EXPECT_EQ(Tool().Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(N, m.mesh.newNNU, m.mesh.nCol, 1.0, 1.0, *m.u, *APv, *A,
                                                           *m.Su, 1),
              0);
    return flowtest::SolveEllDense(A->Download(), m.mesh.indexELL, m.mesh.newNNU, m.mesh.nCol, m.Su->Download(), N);
}

TEST(CalcUVWFlowEChannel, PoiseuilleProfileConvergesToTheParabola)
{
    const double H = 1.0, mu = 2.0, G = 8.0;  // centre velocity 0.5
    double previous = 0.0;
    for (int N : {10, 20}) {
        const auto u = PoiseuilleProfile(N, H, mu, G);
        double err = 0.0;
        for (int j = 0; j < N; ++j) {
            const double y = (j + 0.5) * H / N;
            err = std::max(err, std::fabs(u[j] - G / (2 * mu) * y * (H - y)));
        }
        EXPECT_LT(err, 0.02 * 0.5);
        if (previous > 0.0) EXPECT_LT(err, 0.6 * previous);
        previous = err;
    }
}

#if !RVZGPU_BACKEND_CUDA
// The diagonal update of the no-slip wall reports under its own message;
// the right-hand-side updates after it still run.
TEST(CalcUVWFlowEWall, FailedDiagonalUpdateIsReportedAndTheRestRuns)
{
    InletEnds t;
    DeviceArray<bool> judge4(std::vector<bool>{true, false});
    auto coef = Up(std::vector<double>{4.0, 4.0});
    auto A = Field(static_cast<int>(t.m.mesh.EllSize())), APv = Field(3), APR = Field(3);
    auto t1 = Field(2), t2 = Field(2), t3 = Field(2), t4 = Field(2);
    t.m.dev.ClearScratch();
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 4);  // temp, collect, APv, APR, then AELLD
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_FlowE_UVW_SetUVWWall(2, t.nRows, t.m.mesh.newNNU, t.m.mesh.nCol, *t.slot, judge4, *coef,
                                                  *t.m.vis, *t.m.u, *t.m.v, *t.m.w, *t1, *t2, *t3, *t4, *A, *APv,
                                                  *APR, *t.m.Su, *t.m.Sv, *t.m.Sw, *t.m.dev.scratch, *t.Px, *t.Py,
                                                  nullptr, nullptr, *t.rows, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_FlowE_UVW_InletBoundary_AiUpdate_Opt failed: ") +
                       rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(A->Download()[0], 0.0);
    EXPECT_EQ(APR->Download()[0], 8.0);
}
#endif

}  // namespace
