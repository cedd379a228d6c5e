// Momentum assembly: face coefficients and sources, mass fluxes, cell
// sources, boundary terms, final coefficients, SIMPLEC factor and the inlet
// reductions, on small boxes whose values can be checked by hand, plus
// Couette and Poiseuille flow solved from the assembled system.
#include <cmath>
#include <vector>

#include "CU_CalcPP.h"
#include "CU_CalcUVW.h"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::Form;
using flowtest::SetCells;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

// Fields of the momentum equations on one mesh, all extended arrays sized
// to cells + boundary slots.
struct Momentum {
    BoxMesh mesh;
    DeviceMesh dev;
    std::unique_ptr<DeviceArray<double>> u, v, w, vis, mfe, aE, aW, Su, Sv, Sw, temp, APv, APR;
    std::unique_ptr<DeviceArray<double>> grad[9];  // du_dx, dv_dx, dw_dx, du_dy, ...

    explicit Momentum(BoxMesh m) : mesh(std::move(m)), dev(mesh)
    {
        const int n = mesh.nExt;
        u = Field(n), v = Field(n), w = Field(n), vis = Field(n, 1.0);
        for (auto& g : grad) g = Field(n);
        mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces, 99.0), aW = Field(mesh.nFaces, 99.0);
        temp = Field(mesh.nFaces);
        Su = Field(mesh.nCells), Sv = Field(mesh.nCells), Sw = Field(mesh.nCells);
        APv = Field(mesh.nCells), APR = Field(mesh.nCells);
    }

    int Inner(Form form, double psi, double gamma, std::vector<int> rows = {})
    {
        dev.ClearScratch();
        auto rowList = Up(rows);
        const int nRows = form == Form::All ? mesh.nCells : static_cast<int>(rows.size());
        const int fb = flowtest::Blocks(mesh.nFaces), cb = flowtest::Blocks(nRows);
        double* g[9];
        for (int i = 0; i < 9; ++i) g[i] = grad[i]->get();
        auto& d = dev;
        switch (form) {
            case Form::All:
                return Tool().Calc_InnerFluxUVW(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E, *d.le,
                                                g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], *d.xc, *d.yc,
                                                *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe, *aE, *aW, *Su, *Sv,
                                                *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, fb, cb);
            case Form::Opt:
                return Tool().Calc_InnerFluxUVW_Opt(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E,
                                                    *d.le, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], *d.xc,
                                                    *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe, *aE,
                                                    *aW, *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch,
                                                    fb, cb, *rowList);
            case Form::One:
                return Tool().Calc_InnerFluxUVW_Opt_ONE(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P,
                                                        *d.E, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8],
                                                        *d.xc, *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz,
                                                        *mfe, *aE, *aW, *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex,
                                                        *d.Ey, *d.scratch, fb, cb, *rowList);
            case Form::Par:
                return Tool().Calc_InnerFluxUVW_Par(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, psi, gamma, *d.P, *d.E,
                                                    *d.le, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], *d.xc,
                                                    *d.yc, *d.zc, *u, *v, *w, *vis, *d.sx, *d.sy, *d.sz, *mfe, *aE,
                                                    *Su, *Sv, *Sw, *temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, fb,
                                                    cb, *rowList);
        }
        return -1;
    }
};

// Three cells along x, dx = 0.5, unit faces: D = |S|^2/(S.d) = 2.
Momentum Line3() { return Momentum(BoxMesh(3, 1, 1, 0.5, 1.0, 1.0)); }

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

TEST(CalcUVWInner, CoefficientsAreUpwindConvectionPlusDiffusion)
{
    Momentum m = Line3();
    SetCells(*m.vis, {1.0, 3.0, 5.0});
    m.mfe->Upload({0.7, -0.3});
    ASSERT_EQ(m.Inner(Form::All, 0.5, 0.0), 0);
    // face 0: mu_f = 2, D = 2; face 1: mu_f = 4.
    EXPECT_EQ(m.aE->Download(), (std::vector<double>{-4.0, -0.3 - 8.0}));
    EXPECT_EQ(m.aW->Download(), (std::vector<double>{-0.7 - 4.0, -8.0}));

    // The weight-1 form takes the viscosity at E; the partition form leaves aWD alone.
    m.aW->Upload({99.0, 99.0});
    ASSERT_EQ(m.Inner(Form::One, 0.5, 0.0, {0, 1, 2}), 0);
    EXPECT_EQ(m.aE->Download(), (std::vector<double>{-6.0, -0.3 - 10.0}));
    m.aW->Upload({99.0, 99.0});
    ASSERT_EQ(m.Inner(Form::Par, 0.5, 0.0, {0, 1, 2}), 0);
    EXPECT_EQ(m.aE->Download(), (std::vector<double>{-4.0, -0.3 - 8.0}));
    EXPECT_EQ(m.aW->Download(), (std::vector<double>{99.0, 99.0}));
}

TEST(CalcUVWInner, DeferredCorrectionIsUpwindMinusCentralFlux)
{
    Momentum m = Line3();
    SetCells(*m.u, {1.0, 3.0, 2.0});
    SetCells(*m.v, {4.0, 4.0, 4.0});  // uniform: no source at all
    m.mfe->Upload({0.7, -0.3});
    m.Su->Upload({10.0, 10.0, 10.0});
    ASSERT_EQ(m.Inner(Form::All, 0.5, 1.0), 0);
    // C0 = 0.7*1 - 0.7*2 = -0.7 ; C1 = -0.3*2 + 0.3*2.5 = 0.15.
    const auto Su = m.Su->Download();
    EXPECT_DOUBLE_EQ(Su[0], 10.0 - 0.7);
    EXPECT_DOUBLE_EQ(Su[1], 10.0 + 0.7 + 0.15);
    EXPECT_DOUBLE_EQ(Su[2], 10.0 - 0.15);
    EXPECT_EQ(m.Sv->Download(), (std::vector<double>{0.0, 0.0, 0.0}));

    // Weight 1: the face value is u(E); C0 = 0.7*(1 - 3), C1 = 0.
    m.Su->Upload({0.0, 0.0, 0.0});
    ASSERT_EQ(m.Inner(Form::One, 0.5, 1.0, {0, 1, 2}), 0);
    EXPECT_DOUBLE_EQ(m.Su->Download()[0], -1.4);
    EXPECT_DOUBLE_EQ(m.Su->Download()[2], 0.0);

    // gamma = 0 removes the correction entirely.
    m.Su->Upload({0.0, 0.0, 0.0});
    ASSERT_EQ(m.Inner(Form::All, 0.5, 0.0), 0);
    EXPECT_EQ(m.Su->Download(), (std::vector<double>{0.0, 0.0, 0.0}));
}

// On an orthogonal line only the transpose term T.S = du/dx*|S| remains in
// X; with u rising by 1 per cell the orthogonal part is Ds*du = 2.
TEST(CalcUVWInner, LimiterBoundsExplicitDiffusion)
{
    auto sourceAtCell0 = [](double psi, double dudx) {
        Momentum m = Line3();
        SetCells(*m.u, {0.0, 1.0, 2.0});
        m.grad[0]->Upload(std::vector<double>(m.mesh.nExt, dudx));
        EXPECT_EQ(m.Inner(Form::All, psi, 0.0), 0);
        return m.Su->Download()[0];
    };
    EXPECT_DOUBLE_EQ(sourceAtCell0(0.5, 0.4), 0.4);              // r = 5: unlimited
    EXPECT_NEAR(sourceAtCell0(0.05, 0.4), 0.05 / 0.95 * 2, 1e-15);  // capped at psi/(1-psi)*Ds*du
    EXPECT_LT(std::fabs(sourceAtCell0(0.0, 0.4)), 1e-29);        // psi = 0 drops it
    EXPECT_EQ(sourceAtCell0(0.999, -0.4), 0.0);                  // opposite signs: dropped
}

// Cell 1 lifted by 0.25 in y: d = (0.5, +-0.25, 0) on the two faces, so
// with grad u = (0, 0.4, 0) the non-orthogonal part G.S - Ds G.d is -+0.2.
TEST(CalcUVWInner, NonOrthogonalPartFollowsTheCentroidDistance)
{
    Momentum m = Line3();
    SetCells(*m.dev.yc, {0.5, 0.75, 0.5});
    SetCells(*m.u, {2.0, 1.0, 0.0});
    m.grad[3]->Upload(std::vector<double>(m.mesh.nExt, 0.4));  // du/dy
    ASSERT_EQ(m.Inner(Form::All, 0.5, 0.0), 0);
    // face 0: X = -0.2 with du = -1 (same sign): kept; face 1: X = +0.2, dropped.
    const auto Su = m.Su->Download();
    EXPECT_NEAR(Su[0], -0.2, 1e-15);
    EXPECT_NEAR(Su[1], 0.2, 1e-15);
    EXPECT_EQ(Su[2], 0.0);
    EXPECT_DOUBLE_EQ(m.aE->Download()[0], -2.0);  // D = |S|^2/(S.d) is unchanged by the lift
}

// A linear velocity field u_i = A_ij x_j + c_i with its exact gradient A
// (not symmetric) on two skewed faces (tilted area vectors, centroids off
// the line): the implicit part mu Ds (u(E) - u(P)) and the explicit face
// source together must give the exact viscous stress mu ((A + A^T) S)_C of
// each component C; the deferred correction adds -m le du (m > 0) or
// m (1 - le) du (m < 0), with du = (A d)_C. The limiter passes everything
// here (psi = 0.9, explicit and implicit parts of the same sign).
TEST(CalcUVWInner, LinearFieldGivesTheExactViscousStressOfEveryComponent)
{
    const double A[3][3] = {{-1.0, 1.0, 0.25}, {1.5, -0.5, 0.5}, {1.0, 1.0, -0.5}}, c0[3] = {2.0, -1.0, 0.5};
    const double x[3][3] = {{0.25, 0.75, 1.25}, {0.5, 0.75, 0.5}, {0.5, 0.6, 0.5}};  // x, y, z of the cells
    const double S[2][3] = {{1.0, 0.2, 0.0}, {1.0, 0.0, -0.3}}, le[2] = {0.3, 0.6}, m[2] = {0.7, -0.3}, mu = 1.5;
    for (Form form : {Form::All, Form::Par}) {
        Momentum t = Line3();
        SetCells(*t.dev.yc, {x[1][0], x[1][1], x[1][2]});
        SetCells(*t.dev.zc, {x[2][0], x[2][1], x[2][2]});
        t.dev.sx->Upload({S[0][0], S[1][0]});
        t.dev.sy->Upload({S[0][1], S[1][1]});
        t.dev.sz->Upload({S[0][2], S[1][2]});
        t.dev.le->Upload({le[0], le[1]});
        t.mfe->Upload({m[0], m[1]});
        t.vis->Upload(std::vector<double>(t.mesh.nExt, mu));
        DeviceArray<double>* velocity[3] = {t.u.get(), t.v.get(), t.w.get()};
        for (int i = 0; i < 3; ++i) {
            std::vector<double> cells(3);
            for (int c = 0; c < 3; ++c) cells[c] = c0[i] + A[i][0] * x[0][c] + A[i][1] * x[1][c] + A[i][2] * x[2][c];
            SetCells(*velocity[i], cells);
            for (int j = 0; j < 3; ++j) t.grad[3 * j + i]->Upload(std::vector<double>(t.mesh.nExt, A[i][j]));
        }
        ASSERT_EQ(t.Inner(form, 0.9, 1.0, {2, 1}), 0);
        const std::vector<double> sources[3] = {t.Su->Download(), t.Sv->Download(), t.Sw->Download()};
        for (int C = 0; C < 3; ++C) {
            double source[2];
            for (int f = 0; f < 2; ++f) {
                double d[3], SS = 0.0, Sd = 0.0, stress = 0.0, du = 0.0;
                for (int j = 0; j < 3; ++j) d[j] = x[j][f + 1] - x[j][f];
                for (int j = 0; j < 3; ++j) {
                    SS += S[f][j] * S[f][j];
                    Sd += S[f][j] * d[j];
                    stress += (A[C][j] + A[j][C]) * S[f][j];
                    du += A[C][j] * d[j];
                }
                const double deferred = m[f] > 0 ? -m[f] * le[f] * du : m[f] * (1.0 - le[f]) * du;
                source[f] = mu * (stress - SS / Sd * du) + deferred;
            }
            SCOPED_TRACE(::testing::Message() << "component " << C << (form == Form::Par ? ", partition" : ""));
            // The partition form sums only its listed rows, 2 and 1.
            EXPECT_NEAR(sources[C][0], form == Form::Par ? 0.0 : source[0], 1e-13);
            EXPECT_NEAR(sources[C][1], source[1] - source[0], 1e-13);
            EXPECT_NEAR(sources[C][2], -source[1], 1e-13);
        }
    }
}

TEST(CalcUVWInner, ListedRowsFormsUpdateOnlyTheirRows)
{
    Momentum m = Line3();
    SetCells(*m.u, {1.0, 3.0, 2.0});
    m.mfe->Upload({0.7, -0.3});
    ASSERT_EQ(m.Inner(Form::Opt, 0.5, 1.0, {1}), 0);
    const auto Su = m.Su->Download();
    EXPECT_EQ(Su[0], 0.0);
    EXPECT_DOUBLE_EQ(Su[1], 0.85);
    EXPECT_EQ(Su[2], 0.0);
}

// ---------------------------------------------------------------------------
// Mass fluxes and cell sources
// ---------------------------------------------------------------------------

TEST(CalcUVWSources, MassFluxMixesPhaseDensities)
{
    auto VF = Up(std::vector<double>{1.0, 0.0, 0.25});
    auto F = Up(std::vector<double>{2.0, 2.0, 4.0});
    auto mfe = Field(3);
    ASSERT_EQ(Tool().Calc_mfeD(3, 0.9, 0.001, *VF, *F, *mfe, 1), 0);
    EXPECT_EQ(mfe->Download(), (std::vector<double>{1.8, 0.002, (0.25 * 0.9 + 0.75 * 0.001) * 4.0}));

    auto P = Up(std::vector<int>{0}), E = Up(std::vector<int>{1});
    auto le = Up(std::vector<double>{0.25});
    auto VolF = Up(std::vector<double>{1.0, 0.0});
    auto one = Field(1);
    ASSERT_EQ(Tool().Calc_SC_mfeD_Par(1, 2.0, 1.0, *P, *E, *le, *VolF, *F, *one, 1), 0);
    EXPECT_DOUBLE_EQ(one->Download()[0], (0.75 * 2.0 + 0.25 * 1.0) * 2.0);  // alpha = 0.75

    auto slot = Up(std::vector<int>{1});
    auto den = Up(std::vector<double>{5.0, 3.0});
    ASSERT_EQ(Tool().Calc_InletBoundary_mfeD(1, *slot, *den, *F, *one, 1), 0);
    EXPECT_EQ(one->Download()[0], 6.0);  // density at the slot
}

TEST(CalcUVWSources, GravityPressureAndTimeTerms)
{
    auto vol = Up(std::vector<double>{2.0}), den = Up(std::vector<double>{3.0});
    auto Su = Field(1, 1.0), Sv = Field(1, 1.0), Sw = Field(1, 1.0);
    ASSERT_EQ(Tool().Calc_GravityForceContribution(1, 1.0, 0.0, -9.81, *Su, *Sv, *Sw, *vol, *den, 1), 0);
    EXPECT_EQ(Su->Download()[0], 7.0);
    EXPECT_EQ(Sv->Download()[0], 1.0);
    EXPECT_DOUBLE_EQ(Sw->Download()[0], 1.0 - 6.0 * 9.81);

    auto dx = Up(std::vector<double>{0.5}), dy = Up(std::vector<double>{-1.0}), dz = Up(std::vector<double>{0.0});
    ASSERT_EQ(Tool().Calc_PressureSourceContribution(1, *vol, *dx, *dy, *dz, *Su, *Sv, *Sw, 1), 0);
    EXPECT_EQ(Su->Download()[0], 6.0);
    EXPECT_EQ(Sv->Download()[0], 3.0);

    // a = rho V/(dt dtNor) = 6/(0.5*2) = 6.
    auto u0 = Up(std::vector<double>{1.0}), u00 = Up(std::vector<double>{4.0});
    for (double B : {0.0, 1.0}) {
        auto su = Field(1), sv = Field(1), sw = Field(1), apv = Field(1), apr = Field(1, 1.0);
        ASSERT_EQ(Tool().Calc_UnsteadyTermContribution(1, 0.5, 2.0, B, *den, *vol, *u0, *u00, *u0, *u00, *u0, *u00,
                                                       *su, *sv, *sw, *apv, *apr, 1),
                  0);
        // Euler: a*u0 and a; three-level: a*(2u0 - u00/2) and 3a/2.
        EXPECT_DOUBLE_EQ(su->Download()[0], B == 0.0 ? 6.0 : 6.0 * (2.0 - 2.0));
        EXPECT_DOUBLE_EQ(apv->Download()[0], B == 0.0 ? 6.0 : 9.0);
        EXPECT_DOUBLE_EQ(apr->Download()[0], B == 0.0 ? 7.0 : 10.0);
        auto A = Field(1, 1.0);
        ASSERT_EQ(Tool().Calc_2ndImplicitEulerMethodAi(1, 0.5, 2.0, B, *den, *vol, *A, 1), 0);
        EXPECT_DOUBLE_EQ(A->Download()[0], B == 0.0 ? 7.0 : 10.0);
    }
}

// ---------------------------------------------------------------------------
// Boundary conditions
// ---------------------------------------------------------------------------

// A 2 x 1 x 1 box: cell 0 carries the -x and +y walls of the corner case.
struct Walls {
    Momentum m{BoxMesh(2, 1, 1)};
    flowtest::BoundaryList list = m.mesh.Merge({0, 3});  // cell 0 (-x), cells 0 and 1 (+y)
    DeviceList d{list};
    std::unique_ptr<DeviceArray<int>> match;
    std::unique_ptr<DeviceArray<double>> CB, coef, surf, temp, tx, ty, tz;  // one entry per wall face

    explicit Walls(std::vector<int> m_)
        : match(Up(m_)), CB(Field(3, -2.0)), coef(Field(3)), surf(Field(3, 4.0)), temp(Field(3)), tx(Field(3)),
          ty(Field(3)), tz(Field(3))
    {
    }
    int Coef() { return Tool().Calc_WallBoundary_UpdateUVW_coef(d.n, *d.slot, *match, *surf, *m.vis, *coef, *m.u, *m.v, *m.w, 1); }
    int Source()
    {
        m.dev.ClearScratch();
        return Tool().Calc_WallBoundary_SourceTerm(d.n, d.nRows, m.mesh.newNNU, m.mesh.nCol, nullptr, *d.slot, *match,
                                                   *CB, *coef, *m.u, *m.v, *m.w, *m.APv, *m.APR, *m.Su, *m.Sv, *m.Sw,
                                                   *d.Px, *d.Py, *temp, *tx, *ty, *tz, *m.dev.scratch, *d.rows, 1,
                                                   1);
    }
};

TEST(CalcUVWBoundary, VentMarkingIsStrict)
{
    auto slot = Up(std::vector<int>{0, 1, 2});
    auto VolF = Up(std::vector<double>{0.49, 0.5, 0.51});
    auto match = Up(std::vector<int>{7, 7, 7});
    ASSERT_EQ(Tool().Calc_UpdateFCRIMatch(3, *slot, *VolF, 0.5, *match, 1), 0);
    EXPECT_EQ(match->Download(), (std::vector<int>{1, 0, 0}));
}

TEST(CalcUVWBoundary, ClosedWallsAddFrictionAndStopTheSlot)
{
    Walls t({0, 0, 0});
    std::vector<double> u(t.m.mesh.nExt, 3.0), vis(t.m.mesh.nExt, 0.5);
    t.m.u->Upload(u);
    t.m.vis->Upload(vis);
    ASSERT_EQ(t.Coef(), 0);
    EXPECT_EQ(t.coef->Download(), (std::vector<double>{2.0, 2.0, 2.0}));  // mu_slot * A/delta
    for (int s : t.list.slot) EXPECT_EQ(t.m.u->Download()[s], 0.0);
    ASSERT_EQ(t.Source(), 0);
    // The corner cell sums both of its wall faces from two columns.
    EXPECT_EQ(t.m.APv->Download(), (std::vector<double>{4.0, 2.0}));
    EXPECT_EQ(t.m.APR->Download(), (std::vector<double>{4.0, 2.0}));
    EXPECT_EQ(t.m.Su->Download(), (std::vector<double>{0.0, 0.0}));
}

TEST(CalcUVWBoundary, VentsActAsOpenBoundaries)
{
    Walls t({1, 0, 1});
    std::vector<double> u(t.m.mesh.nExt, 3.0);
    t.m.u->Upload(u);
    ASSERT_EQ(t.Coef(), 0);
    const auto uAfter = t.m.u->Download();
    EXPECT_EQ(uAfter[t.list.slot[0]], 3.0);  // vents keep their value
    EXPECT_EQ(uAfter[t.list.slot[1]], 0.0);
    ASSERT_EQ(t.Source(), 0);
    // cell 0: vent (-CB = 2) and closed wall (coef 4); cell 1: vent.
    EXPECT_EQ(t.m.APv->Download(), (std::vector<double>{6.0, 2.0}));
    EXPECT_EQ(t.m.Su->Download(), (std::vector<double>{6.0, 6.0}));  // -CB*u(b), closed wall adds coef*0

    // The direct diagonal path adds the same central terms to AELLD.
    auto A = Field(static_cast<int>(t.m.mesh.EllSize()));
    t.m.dev.ClearScratch();
    ASSERT_EQ(Tool().CalcUVW_WallAi(t.d.n, t.d.nRows, t.m.mesh.newNNU, t.m.mesh.nCol, *t.d.Px, *t.d.Py, *t.match,
                                    *t.CB, *t.coef, *t.m.dev.scratch, *A, *t.d.rows, 1, 1),
              0);
    EXPECT_EQ(A->Download()[0], 6.0);
    EXPECT_EQ(A->Download()[1], 2.0);

    // Slot velocities after the solve: vents copy the cell, closed walls keep theirs.
    SetCells(*t.m.u, {7.0, 8.0});
    auto cell = Up(t.list.cell);
    ASSERT_EQ(Tool().Calc_WallBoundary_UpdateUVW(t.d.n, *cell, *t.d.slot, *t.match, *t.m.u, *t.m.v, *t.m.w, 1), 0);
    const auto ub = t.m.u->Download();
    EXPECT_EQ(ub[t.list.slot[0]], 7.0);
    EXPECT_EQ(ub[t.list.slot[1]], 0.0);
    EXPECT_EQ(ub[t.list.slot[2]], 8.0);
}

TEST(CalcUVWBoundary, InletOutletTermsAndSymmetryCopy)
{
    Momentum m{BoxMesh(2, 1, 1)};
    const flowtest::BoundaryList list = m.mesh.Merge({0, 1});  // inlet at -x, outlet at +x
    DeviceList d(list);
    auto CB = Up(std::vector<double>{-3.0, -5.0});
    std::vector<double> u(m.mesh.nExt, 0.0), w(m.mesh.nExt, 0.0);
    u[list.slot[0]] = 2.0;
    w[list.slot[1]] = -1.0;
    m.u->Upload(u);
    m.w->Upload(w);
    m.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_InOutletBoundary_SourceTerm(d.n, d.nRows, m.mesh.newNNU, m.mesh.nCol, nullptr, *d.slot, *CB,
                                                      *m.u, *m.v, *m.w, *m.APv, *m.APR, *m.Su, *m.Sv, *m.Sw, *d.Px,
                                                      *d.Py, *m.dev.scratch, *d.rows, 1, 1),
              0);
    EXPECT_EQ(m.APv->Download(), (std::vector<double>{3.0, 5.0}));
    EXPECT_EQ(m.APR->Download(), (std::vector<double>{3.0, 5.0}));
    EXPECT_EQ(m.Su->Download(), (std::vector<double>{6.0, 0.0}));
    EXPECT_EQ(m.Sw->Download(), (std::vector<double>{0.0, -5.0}));

    auto A = Field(static_cast<int>(m.mesh.EllSize()), 1.0);
    m.dev.ClearScratch();
    ASSERT_EQ(Tool().CalcUVW_InOutletAi(d.n, d.nRows, m.mesh.newNNU, m.mesh.nCol, *d.Px, *d.Py, *CB, *m.dev.scratch,
                                        *A, *d.rows, 1, 1),
              0);
    EXPECT_EQ(A->Download()[0], 4.0);
    EXPECT_EQ(A->Download()[1], 6.0);
    EXPECT_EQ(A->Download()[m.mesh.newNNU], 1.0);  // off-diagonal columns untouched

    SetCells(*m.v, {1.5, 2.5});
    auto cell = Up(list.cell);
    ASSERT_EQ(Tool().Calc_SymmetryBoundary_UpdateUVW(d.n, *cell, *d.slot, *m.u, *m.v, *m.w, 1), 0);
    EXPECT_EQ(m.v->Download()[list.slot[0]], 1.5);  // normal component kept here
    EXPECT_EQ(m.v->Download()[list.slot[1]], 2.5);
}

// ---------------------------------------------------------------------------
// Final coefficients, valve gates, SIMPLEC factor
// ---------------------------------------------------------------------------

// Row 0 with neighbours -1 (col 1) and -2 (col 2), row 1 with none.
struct TwoRows {
    int newNNU = 256, nCol = 3;
    std::vector<double> A = std::vector<double>(256 * 3, 0.0);
    std::vector<int> index = std::vector<int>(256 * 3, -1);
    TwoRows()
    {
        A[256] = -1.0, index[256] = 1;
        A[512] = -2.0, index[512] = 2;
    }
};

TEST(CalcUVWFinal, UnderRelaxedDiagonalAndRightHandSide)
{
    TwoRows r;
    auto A = Up(r.A);
    auto AD = Up(std::vector<double>{1.0, 4.0}), fi = Up(std::vector<double>{2.0, 3.0});
    auto Sfi = Field(2, 1.0);
    ASSERT_EQ(Tool().Calc_FinalCoeffRHS_Sfi(2, r.newNNU, r.nCol, 1.0, *fi, *A, *AD, *Sfi, 1), 0);
    EXPECT_EQ(A->Download()[0], 4.0);  // AD + sum |a_nb|, set not added
    EXPECT_EQ(A->Download()[1], 4.0);
    EXPECT_EQ(Sfi->Download(), (std::vector<double>{1.0, 1.0}));
    ASSERT_EQ(Tool().Calc_FinalCoeffRHS_Sfi(2, r.newNNU, r.nCol, 0.5, *fi, *A, *AD, *Sfi, 1), 0);
    EXPECT_EQ(A->Download()[0], 8.0);
    EXPECT_EQ(Sfi->Download(), (std::vector<double>{1.0 + 0.5 * 8.0 * 2.0, 1.0 + 0.5 * 8.0 * 3.0}));
}

TEST(CalcUVWFinal, ExplicitUpdateReadsNeighboursFromBeforeThePass)
{
    // Row 0: (S - (-1*fi1 - 2*fi2) + g)/a - g/a with old fi1, fi2.
    TwoRows r;
    r.A[0] = 4.0, r.A[1] = 2.0, r.A[2] = 1.0;
    r.A[257] = -1.0, r.index[257] = 0;  // row 1 reads row 0
    auto A = Up(r.A);
    auto index = Up(r.index);
    auto S = Up(std::vector<double>{1.0, 3.0, 0.0}), dp = Up(std::vector<double>{0.0, 0.5, 0.0});
    auto vol = Up(std::vector<double>{1.0, 2.0, 1.0});
    auto fi = Up(std::vector<double>{10.0, 20.0, 30.0});
    ASSERT_EQ(Tool().Calc_FinalCoeffRHS_fi(2, r.newNNU, r.nCol, *index, *A, *S, *dp, *vol, *fi, 1), 0);
    const auto out = fi->Download();
    EXPECT_DOUBLE_EQ(out[0], (1.0 + 20.0 + 60.0) / 4.0);
    EXPECT_DOUBLE_EQ(out[1], ((3.0 + 10.0) + 1.0) / 2.0 - 1.0 / 2.0);  // old fi0 = 10
    EXPECT_EQ(out[2], 30.0);
}

TEST(CalcUVWFinal, ValveGatesAndSimplecFactor)
{
    TwoRows r;
    r.A[0] = 4.0, r.A[1] = 5.0;
    auto A = Up(r.A);
    auto mod = Up(std::vector<int>{1, 0});
    ASSERT_EQ(Tool().Calc_ModAi4ValveGate(2, *mod, *A, 1), 0);
    EXPECT_EQ(A->Download()[0], 4.0);
    EXPECT_EQ(A->Download()[1], 0.0);
    auto APR = Field(2);
    ASSERT_EQ(Tool().Calc_ModAi4ValveGate_APR(2, *APR, *A, 1), 0);
    EXPECT_EQ(APR->Download()[0], 0.25);
    EXPECT_DOUBLE_EQ(APR->Download()[1], 1e30);
    // Row 0: 1/(AP - sum|a_nb|) = 1/(4 - 3); row 1 has no neighbours.
    ASSERT_EQ(Tool().Calc_APR_SIMPLEC(2, r.newNNU, r.nCol, *A, *APR, 1), 0);
    EXPECT_EQ(APR->Download()[0], 1.0);
    EXPECT_DOUBLE_EQ(APR->Download()[1], 1e30);
}

// ---------------------------------------------------------------------------
// Uniform inlet velocity
// ---------------------------------------------------------------------------

TEST(CalcUVWInlet, EveryFaceCarriesTheSameFlowWhateverItsArea)
{
    const int n = 300;  // two first-level blocks, three levels
    std::vector<double> sx(n), sy(n, 0.0), sz(n, 0.0);
    std::vector<int> slot(n);
    double area = 0.0;
    for (int k = 0; k < n; ++k) {
        sx[k] = -(1.0 + k % 4);  // outward normal -x, areas 1..4
        slot[k] = k;
        area += 1.0 + k % 4;
    }
    int total, nLevels, count[16], size[16], offset[16];
    Tool().GetSizeOfBlock(n, total, nLevels, count, size, offset);
    auto Sx = Up(sx), Sy = Up(sy), Sz = Up(sz);
    auto b1 = Field(total), b2 = Field(total), b3 = Field(total);
    double result = 0.0;
    ASSERT_EQ(Tool().Calc_GetInVel_TotalInletArea(n, *Sx, *Sy, *Sz, *b1, 2, nLevels, count, offset, total, size,
                                                  result),
              0);
    EXPECT_EQ(result, area);

    auto ij = Up(slot);
    auto F = Field(n), u = Field(n), v = Field(n), w = Field(n);
    double momentum = 0.0, velNorm = 0.0, volume = 0.0;
    ASSERT_EQ(Tool().Calc_GetInVel_UVW_TotalMomentum_VelNorm(n, 2.0, 6.0, *ij, *Sx, *Sy, *Sz, *F, *u, *v, *w, *b1, *b2,
                                                             *b3, 2, nLevels, count, offset, total, size, momentum,
                                                             velNorm, volume),
              0);
    const auto Fh = F->Download(), uh = u->Download();
    double speeds = 0.0;
    for (int k = 0; k < n; ++k) {
        EXPECT_DOUBLE_EQ(Fh[k], -6.0);
        EXPECT_DOUBLE_EQ(uh[k], 6.0 / (1.0 + k % 4));  // into the domain, speed Q/|S|
        speeds += 6.0 / (1.0 + k % 4);
    }
    EXPECT_DOUBLE_EQ(volume, 6.0 * n);
    EXPECT_NEAR(velNorm, speeds, 1e-12 * speeds);
    EXPECT_NEAR(momentum, 6.0 * 2.0 * speeds, 1e-12 * momentum);
}

// ---------------------------------------------------------------------------
// Independent checks: plane Couette and Poiseuille flow
// ---------------------------------------------------------------------------

// Cells stacked in y between two closed walls; the top wall moves with U
// and a pressure gradient G may drive the flow. The assembled system is
// solved densely on the host and compared with the analytic profile.
std::vector<double> ChannelProfile(int N, double H, double mu, double U, double G)
{
    Momentum m{BoxMesh(1, N, 1, 1.0, H / N, 1.0)};
    const flowtest::BoundaryList list = m.mesh.Merge({2, 3});
    DeviceList d(list);
    auto match = Up(std::vector<int>(d.n, 0));
    auto surf = Field(d.n, 1.0 / (0.5 * H / N));
    auto CB = Field(d.n), coef = Field(d.n), tx = Field(d.n), ty = Field(d.n), tz = Field(d.n);
    m.vis->Upload(std::vector<double>(m.mesh.nExt, mu));
    EXPECT_EQ(Tool().Calc_WallBoundary_UpdateUVW_coef(d.n, *d.slot, *match, *surf, *m.vis, *coef, *m.u, *m.v, *m.w, 1),
              0);
    std::vector<double> u = m.u->Download();
    u[list.slot[1]] = U;  // the moving wall
    m.u->Upload(u);
    EXPECT_EQ(m.Inner(Form::All, 0.5, 0.0), 0);
    m.dev.ClearScratch();
    EXPECT_EQ(Tool().Calc_WallBoundary_SourceTerm(d.n, d.nRows, m.mesh.newNNU, m.mesh.nCol, nullptr, *d.slot, *match,
                                                  *CB, *coef, *m.u, *m.v, *m.w, *m.APv, *m.APR, *m.Su, *m.Sv, *m.Sw,
                                                  *d.Px, *d.Py, *m.temp, *tx, *ty, *tz, *m.dev.scratch, *d.rows, 1, 1),
              0);
    auto dpdx = Field(N, -G), zero = Field(N);
    EXPECT_EQ(Tool().Calc_PressureSourceContribution(N, *m.dev.volume, *dpdx, *zero, *zero, *m.Su, *m.Sv, *m.Sw, 1), 0);
    auto A = Field(static_cast<int>(m.mesh.EllSize()));
    EXPECT_EQ(Tool().Calc_MapaEaWToAi(m.mesh.nFaces, m.mesh.newNNU, *m.dev.Px, *m.dev.Py, *m.dev.Ex, *m.dev.Ey, *m.aE,
                                      *m.aW, *A, 1),
              0);
    EXPECT_EQ(Tool().Calc_FinalCoeffRHS_Sfi(N, m.mesh.newNNU, m.mesh.nCol, 1.0, *m.u, *A, *m.APv, *m.Su, 1), 0);
    return flowtest::SolveEllDense(A->Download(), m.mesh.indexELL, m.mesh.newNNU, m.mesh.nCol, m.Su->Download(), N);
}

TEST(CalcUVWChannel, CouetteProfileIsReproducedExactly)
{
    const int N = 16;
    const double H = 2.0, U = 3.0;
    const auto u = ChannelProfile(N, H, 0.7, U, 0.0);
    for (int j = 0; j < N; ++j) EXPECT_NEAR(u[j], U * (j + 0.5) / N, 1e-12);
}

TEST(CalcUVWChannel, PoiseuilleProfileConvergesToTheParabola)
{
    const double H = 1.0, mu = 2.0, G = 8.0;  // u = G/(2 mu) y (H - y), centre 0.5
    double previous = 0.0;
    for (int N : {10, 20}) {
        const auto u = ChannelProfile(N, H, mu, 0.0, G);
        double err = 0.0;
        for (int j = 0; j < N; ++j) {
            const double y = (j + 0.5) * H / N;
            err = std::max(err, std::fabs(u[j] - G / (2 * mu) * y * (H - y)));
        }
        EXPECT_LT(err, 0.02 * 0.5);
        if (previous > 0.0) EXPECT_LT(err, 0.6 * previous);  // converges with the mesh
        previous = err;
    }
}

// ---------------------------------------------------------------------------
// Reproducibility and failures
// ---------------------------------------------------------------------------

TEST(CalcUVWRuns, SameBitsForOneAndTwoThreads)
{
    const auto runs = rvztest::ForThreadCounts({1, 2, 4}, [] {
        Momentum m{BoxMesh(40, 9, 3, 0.3, 0.2, 0.5)};  // more than 256 cells and faces
        const int n = m.mesh.nExt;
        m.u->Upload(rvztest::RandomVector(n, 1));
        m.v->Upload(rvztest::RandomVector(n, 2));
        m.w->Upload(rvztest::RandomVector(n, 3));
        m.vis->Upload(rvztest::RandomVector(n, 4, 0.5, 2.0));
        for (int i = 0; i < 9; ++i) m.grad[i]->Upload(rvztest::RandomVector(n, 10 + i));
        m.mfe->Upload(rvztest::RandomVector(m.mesh.nFaces, 5));
        EXPECT_EQ(m.Inner(Form::All, 0.4, 0.8), 0);
        std::vector<double> all = m.Su->Download();
        for (const DeviceArray<double>* f : {m.Sv.get(), m.Sw.get(), m.aE.get(), m.aW.get()}) {
            const auto x = f->Download();
            all.insert(all.end(), x.begin(), x.end());
        }
        return all;
    });
    for (size_t k = 0; k < runs[0].size(); ++k) {
        ASSERT_TRUE(rvztest::SameBits(runs[0][k], runs[1][k])) << k;
        ASSERT_TRUE(rvztest::SameBits(runs[0][k], runs[2][k])) << k;
    }
}

// Only blocks of 256 threads are implemented: any other block size returns
// 0 and leaves every output alone.
TEST(CalcUVWRuns, OtherBlockSizesDoNothing)
{
    auto VF = Up(std::vector<double>{1.0}), F = Up(std::vector<double>{2.0}), mfe = Field(1, 7.0);
    EXPECT_EQ(rvz::Calc_mfeD(128, 1, 1.0, 1.0, *VF, *F, *mfe, 1, 0), 0);
    EXPECT_EQ(mfe->Download()[0], 7.0);
    auto pp = Field(1, 3.0), p = Field(1, 1.0);
    EXPECT_EQ(rvz::Calc_CorrectPressureVelocityCV(512, 1, 1.0, 0.0, 1, *F, *F, *pp, *p, *F, *F, *F, *mfe, *mfe, *mfe,
                                                  *mfe, 1, 0),
              0);
    EXPECT_EQ(p->Download()[0], 1.0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(CalcUVWRuns, FailedStepIsReportedAndTheRestRuns)
{
    Momentum m = Line3();
    SetCells(*m.u, {1.0, 3.0, 2.0});
    m.mfe->Upload({0.7, -0.3});
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string out = rvztest::CaptureOutput([&] { status = m.Inner(Form::All, 0.5, 1.0); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_InnerFluxUVW_aEaW failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);  // the last step succeeded
    EXPECT_EQ(m.aE->Download()[0], 99.0);
    EXPECT_DOUBLE_EQ(m.Su->Download()[0], -0.7);  // the sources still ran

    // A failing last step decides the status; the work array of the explicit
    // update cannot be had: reported, fiD untouched.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 9);
    rvztest::CaptureOutput([&] { status = m.Inner(Form::All, 0.5, 1.0); });
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    rvz::host::testing::clear_faults();

    TwoRows r;
    auto A = Up(r.A);
    auto index = Up(r.index);
    auto fi = Up(std::vector<double>{1.0, 2.0, 3.0});
    rvz::host::testing::inject_alloc_faults(1, cudaErrorMemoryAllocation);
    const std::string mem = rvztest::CaptureOutput([&] {
        status = Tool().Calc_FinalCoeffRHS_fi(2, r.newNNU, r.nCol, *index, *A, *fi, *fi, *fi, *fi, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorMemoryAllocation);
    EXPECT_EQ(mem.rfind("GPU memory allocation failed: ", 0), 0u) << mem;
    EXPECT_EQ(fi->Download(), (std::vector<double>{1.0, 2.0, 3.0}));
}
#endif

}  // namespace
