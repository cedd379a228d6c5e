// Pressure correction: Rhie-Chow face fluxes and coefficients, right-hand
// side and boundary terms, final diagonal and sums, boundary values,
// corrections and their reductions, on small boxes with hand-checkable
// values; a one-dimensional channel solved from the assembled system must
// conserve the inlet flow through every face and the outlet.
#include <cmath>
#include <vector>

#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::SetCells;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

using Array = std::unique_ptr<DeviceArray<double>>;

// Fields of the pressure-correction equation on one mesh (extended arrays).
struct Pressure {
    BoxMesh mesh;
    DeviceMesh dev;
    Array u, v, w, p, pp, dpx, dpy, dpz, APR, mfe, aE, aW, MassFlux, Source, A;

    explicit Pressure(BoxMesh m) : mesh(std::move(m)), dev(mesh)
    {
        const int n = mesh.nExt;
        u = Field(n), v = Field(n), w = Field(n), p = Field(n), pp = Field(n);
        dpx = Field(n), dpy = Field(n), dpz = Field(n), APR = Field(n);
        mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces, 99.0), aW = Field(mesh.nFaces, 99.0);
        MassFlux = Field(mesh.nFaces), Source = Field(mesh.nCells);
        A = Field(static_cast<int>(mesh.EllSize()));
    }

    int Flux(int stab, bool partition = false)
    {
        auto& d = dev;
        double* none = nullptr;
        if (partition)
            return Tool().Calc_InnerFluxPP_Par(mesh.nFaces, *d.P, *d.E, *d.le, none, none, none, none, none, none, none,
                                               none, none, *dpx, *dpy, *dpz, *d.xc, *d.yc, *d.zc, *u, *v, *w, *p, *APR,
                                               *d.sx, *d.sy, *d.sz, *mfe, *aE, stab, 1);
        return Tool().Calc_InnerFluxPP(mesh.nFaces, *d.P, *d.E, *d.le, none, none, none, none, none, none, none, none,
                                       none, *dpx, *dpy, *dpz, *d.xc, *d.yc, *d.zc, *u, *v, *w, *p, *APR, *d.sx,
                                       *d.sy, *d.sz, *mfe, *aE, *aW, stab, 1);
    }
    int InteriorSource()
    {
        dev.ClearScratch();
        return Tool().Calc_InnerFluxPP_UpdateSourceTerm(mesh.nFaces, mesh.nCells, mesh.newNNU, mesh.nCol, *dev.Px,
                                                        *dev.Py, *dev.Ex, *dev.Ey, *MassFlux, *dev.scratch, *Source,
                                                        1, 1);
    }
    // Wall list through the vent operation; aEb/mfeb are the list's own.
    int Vents(DeviceList& l, DeviceArray<int>& match, DeviceArray<double>& aEb, DeviceArray<double>& mfeb, int stab)
    {
        dev.ClearScratch();
        return Tool().Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(
            l.n, l.nRows, mesh.newNNU, mesh.nCol, stab, *l.cell, *l.slot, match, *u, *v, *w, *dev.xc, *dev.yc,
            *dev.zc, *dpx, *dpy, *dpz, *l.sx, *l.sy, *l.sz, *dev.volume, *APR, *p, aEb, mfeb, *Source, *l.Px, *l.Py,
            *dev.scratch, *l.rows, 1, 1);
    }
};

// Three cells along x, dx = 0.5, unit faces, APR = 0.2, 0.4, 0.6.
Pressure Line3()
{
    Pressure t(BoxMesh(3, 1, 1, 0.5, 1.0, 1.0));
    SetCells(*t.APR, {0.2, 0.4, 0.6});
    return t;
}

int LevelTable(int n, int& total, int& nLevels, int count[16], int size[16], int offset[16])
{
    return Tool().GetSizeOfBlock(n, total, nLevels, count, size, offset);
}

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

TEST(CalcPPFlux, UniformGradientLeavesTheInterpolatedVelocity)
{
    Pressure t = Line3();
    SetCells(*t.u, {1.0, 3.0, 2.0});
    SetCells(*t.p, {1.5, 2.5, 3.5});  // p = 2x + 1 with its exact gradient
    t.dpx->Upload(std::vector<double>(t.mesh.nExt, 2.0));
    ASSERT_EQ(t.Flux(0), 0);
    EXPECT_EQ(t.mfe->Download(), (std::vector<double>{2.0, 2.5}));
    EXPECT_DOUBLE_EQ(t.aE->Download()[0], -0.3);  // -A|S|^2/2
    EXPECT_DOUBLE_EQ(t.aE->Download()[1], -0.5);
    EXPECT_EQ(t.aW->Download(), t.aE->Download());

    // On an orthogonal face c = 1: form 3 gives the same values.
    const auto mfe0 = t.mfe->Download();
    ASSERT_EQ(t.Flux(3), 0);
    EXPECT_EQ(t.mfe->Download(), mfe0);
    EXPECT_DOUBLE_EQ(t.aE->Download()[0], -0.3);
}

TEST(CalcPPFlux, PressureTermFormsAndVelocityLimiting)
{
    Pressure t = Line3();
    SetCells(*t.u, {1.0, 3.0, 2.0});
    SetCells(*t.p, {0.0, 1.0, 4.0});  // dp* = 1 and 3, no gradients
    ASSERT_EQ(t.Flux(0), 0);
    EXPECT_EQ(t.mfe->Download(), (std::vector<double>{2.0 - 0.3, 2.5 - 1.5}));
    ASSERT_EQ(t.Flux(1), 0);  // other forms: scaled by c|S|/|d| = 2
    EXPECT_EQ(t.mfe->Download(), (std::vector<double>{2.0 - 0.6, 2.5 - 3.0}));

    // A weight beyond 1 overshoots; the face velocity is clipped to u(E).
    t.dev.le->Upload({1.5, 0.5});
    SetCells(*t.p, {0.0, 0.0, 0.0});
    t.aW->Upload({7.0, 7.0});
    ASSERT_EQ(t.Flux(0, true), 0);
    EXPECT_EQ(t.mfe->Download()[0], 3.0);
    EXPECT_EQ(t.aW->Download(), (std::vector<double>{7.0, 7.0}));  // partition faces: aED only
}

// Along any line a quadratic p satisfies p(E) - p(P) = (grad p(P) + grad p(E))/2 . d
// exactly: with its exact gradients the pressure term vanishes on every face
// whatever the geometry, and the flux is the interpolated velocity alone.
TEST(CalcPPFlux, QuadraticPressureWithItsExactGradientsLeavesTheVelocity)
{
    Pressure t = Line3();
    const double x[3] = {0.25, 0.75, 1.25}, y[3] = {0.5, 0.75, 0.25}, z[3] = {0.5, 0.625, 0.5};
    SetCells(*t.dev.yc, {y[0], y[1], y[2]});
    SetCells(*t.dev.zc, {z[0], z[1], z[2]});
    std::vector<double> p(3), gx(3), gy(3), gz(3);
    for (int c = 0; c < 3; ++c) {
        p[c] = 2.0 * x[c] * x[c] - x[c] * y[c] + 3.0 * y[c] * y[c] + z[c] * z[c] + 4.0 * z[c];
        gx[c] = 4.0 * x[c] - y[c];
        gy[c] = -x[c] + 6.0 * y[c];
        gz[c] = 2.0 * z[c] + 4.0;
    }
    SetCells(*t.p, p);
    SetCells(*t.dpx, gx);
    SetCells(*t.dpy, gy);
    SetCells(*t.dpz, gz);
    t.u->Upload(std::vector<double>(t.mesh.nExt, 1.5));
    for (int stab : {0, 3, 1}) {
        ASSERT_EQ(t.Flux(stab), 0);
        const auto mfe = t.mfe->Download();
        EXPECT_NEAR(mfe[0], 1.5, 1e-14) << stab;
        EXPECT_NEAR(mfe[1], 1.5, 1e-14) << stab;
    }
}

// Cell 1 lifted by 0.25: d = (0.5, +-0.25, 0), S = (1, 0, 0), so
// c = |S||d|/(S.d) = sqrt(1.25) while |S|^2/(S.d) stays 2. With dp* = 1 and 3
// (no gradients) and A = 0.6 and 1.0, form 3 scales the coefficient by c,
// the other forms scale the pressure term by c|S|/|d| = 2.
TEST(CalcPPFlux, NonOrthogonalFaceScalesTheCoefficientOrThePressureTerm)
{
    Pressure t = Line3();
    SetCells(*t.dev.yc, {0.5, 0.75, 0.5});
    SetCells(*t.p, {0.0, 1.0, 4.0});
    const double c = std::sqrt(1.25);
    auto expect = [](const DeviceArray<double>& a, double face0, double face1) {
        EXPECT_NEAR(a.Download()[0], face0, 1e-15);
        EXPECT_NEAR(a.Download()[1], face1, 1e-15);
    };
    ASSERT_EQ(t.Flux(0), 0);
    expect(*t.aE, -0.3, -0.5);
    expect(*t.mfe, -0.3, -1.5);
    ASSERT_EQ(t.Flux(3), 0);
    expect(*t.aE, -0.3 * c, -0.5 * c);
    expect(*t.mfe, -0.3 * c, -1.5 * c);
    EXPECT_EQ(t.aW->Download(), t.aE->Download());
    ASSERT_EQ(t.Flux(1), 0);
    expect(*t.aE, -0.3, -0.5);
    expect(*t.mfe, -0.6, -3.0);
}

// ---------------------------------------------------------------------------
// Right-hand side, boundaries and the imbalance
// ---------------------------------------------------------------------------

TEST(CalcPPSource, BalancedFlowHasNoImbalance)
{
    Pressure t = Line3();
    t.MassFlux->Upload({2.0, 2.0});
    ASSERT_EQ(t.InteriorSource(), 0);
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{-2.0, 0.0, 2.0}));

    DeviceList in(t.mesh.side[0]);
    auto Fin = Up(std::vector<double>{-2.0});  // inflow of 2
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(in.n, in.nRows, t.mesh.newNNU, t.mesh.nCol, *in.Px,
                                                                *in.Py, *Fin, *t.dev.scratch, *t.Source, *in.rows, 1,
                                                                1),
              0);
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{0.0, 0.0, 2.0}));

    // The +x side as a wall list: closed, nothing changes.
    DeviceList out(t.mesh.side[1]);
    auto closed = Up(std::vector<int>{0});
    auto aEb = Field(1, 5.0), mfeb = Field(1, 6.0);
    std::vector<double> u = t.u->Download();
    u[t.mesh.side[1].slot[0]] = 2.0;  // slot velocity of the vent
    t.u->Upload(u);
    ASSERT_EQ(t.Vents(out, *closed, *aEb, *mfeb, 0), 0);
    EXPECT_EQ(aEb->Download()[0], 5.0);
    EXPECT_EQ(mfeb->Download()[0], 6.0);
    EXPECT_EQ(t.Source->Download()[2], 2.0);

    // As a vent it carries u(b).S = 2 out (uniform pressure): balance.
    auto vent = Up(std::vector<int>{1});
    ASSERT_EQ(t.Vents(out, *vent, *aEb, *mfeb, 0), 0);
    EXPECT_EQ(aEb->Download()[0], -0.6);  // -APR |S|^2
    EXPECT_EQ(mfeb->Download()[0], 2.0);
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{0.0, 0.0, 0.0}));

    int total, nLevels, count[16], size[16], offset[16];
    LevelTable(3, total, nLevels, count, size, offset);
    auto buffer = Field(total);
    t.pp->Upload(std::vector<double>(t.mesh.nExt, 4.0));
    double sum = -1.0;
    ASSERT_EQ(Tool().Calc_CheckSum(3, *t.pp, *t.Source, sum, *buffer, nLevels, count, offset, total, size), 0);
    EXPECT_EQ(sum, 0.0);
    const auto pp = t.pp->Download();
    EXPECT_EQ(std::vector<double>(pp.begin(), pp.begin() + 3), (std::vector<double>{0.0, 0.0, 0.0}));
}

TEST(CalcPPSource, PressureControlledInletImposesThePressure)
{
    Pressure t = Line3();
    const flowtest::BoundaryList& inlet = t.mesh.side[0];
    DeviceList in(inlet);
    SetCells(*t.u, {1.0, 0.0, 0.0});
    SetCells(*t.p, {1e6 - 10.0, 0.0, 0.0});
    t.pp->Upload(std::vector<double>(t.mesh.nExt, 3.0));
    auto aEb = Field(1), mfeb = Field(1);
    for (int stab : {0, 1}) {
        t.Source->Upload({0.0, 0.0, 0.0});
        t.dev.ClearScratch();
        ASSERT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(
                      in.n, in.nRows, t.mesh.newNNU, t.mesh.nCol, stab, 0.1, *in.cell, *in.slot, *t.u, *t.v, *t.w,
                      *t.dev.xc, *t.dev.yc, *t.dev.zc, *t.dpx, *t.dpy, *t.dpz, *t.dev.volume, *t.APR, *mfeb, *in.sx,
                      *in.sy, *in.sz, *t.p, *t.pp, *aEb, *t.Source, *in.Px, *in.Py, *t.dev.scratch, *in.rows, 1, 1),
                  0);
        EXPECT_EQ(t.p->Download()[inlet.slot[0]], 1e6);
        EXPECT_EQ(t.pp->Download()[inlet.slot[0]], 0.0);
        EXPECT_EQ(t.u->Download()[inlet.slot[0]], 1.0);  // zero gradient
        // stab 0: a = -APR|S|^2 = -0.2; other: -V APR |S|/|d| = -0.5*0.2*4.
        const double a = stab == 0 ? -0.2 : -0.4;
        EXPECT_DOUBLE_EQ(aEb->Download()[0], a);
        EXPECT_DOUBLE_EQ(mfeb->Download()[0], -1.0 + a * 10.0);  // u.S with S = -x
        EXPECT_DOUBLE_EQ(t.Source->Download()[0], 1.0 - a * 10.0);
    }
}

// A linear pressure p = 3x + 2y with its exact gradient in the cells (and
// nonsense at the slots): the boundary term (p(b) - p(P)) - grad p(P).d
// vanishes, so an inlet in pressure control (p(b) imposed at 1.2, its exact
// value) and a vent carry exactly u.S. The slots sit off the normal through
// the cell centroid (d = (-0.25, 0.1, 0) and (0.25, -0.1, 0)): the stabilised
// coefficient is -V APR |S|^2/(S.d), not -V APR |S|/|d|.
TEST(CalcPPSource, BoundaryFluxesOfALinearPressureAreTheVelocityFlux)
{
    Pressure t = Line3();
    const int in = t.mesh.side[0].slot[0], out = t.mesh.side[1].slot[0];
    std::vector<double> y = t.dev.yc->Download(), p(t.mesh.nExt), u(t.mesh.nExt, 0.0), v(t.mesh.nExt, 0.0);
    y[in] = 0.6;
    y[out] = 0.4;
    t.dev.yc->Upload(y);
    const auto x = t.dev.xc->Download();
    for (int i = 0; i < t.mesh.nExt; ++i) p[i] = 3.0 * x[i] + 2.0 * y[i];
    p[in] = 0.0;
    t.p->Upload(p);
    std::vector<double> gx(t.mesh.nExt, 100.0), gy(t.mesh.nExt, -50.0);
    std::fill(gx.begin(), gx.begin() + 3, 3.0);
    std::fill(gy.begin(), gy.begin() + 3, 2.0);
    t.dpx->Upload(gx);
    t.dpy->Upload(gy);
    u[0] = 1.0, v[0] = 0.5;    // inlet cell: u.S = -1 with S = (-1, 0, 0)
    u[out] = 2.0, v[out] = 1.0;  // vent slot: u.S = 2
    t.u->Upload(u);
    t.v->Upload(v);
    DeviceList inlet(t.mesh.side[0]), vent(t.mesh.side[1]);
    auto open = Up(std::vector<int>{1});
    for (int stab : {0, 1}) {
        SCOPED_TRACE(stab);
        auto aEb = Field(1), mfeb = Field(1);
        t.Source->Upload({0.0, 0.0, 0.0});
        t.dev.ClearScratch();
        ASSERT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(
                      inlet.n, inlet.nRows, t.mesh.newNNU, t.mesh.nCol, stab, 1.2e-7, *inlet.cell, *inlet.slot, *t.u,
                      *t.v, *t.w, *t.dev.xc, *t.dev.yc, *t.dev.zc, *t.dpx, *t.dpy, *t.dpz, *t.dev.volume, *t.APR, *mfeb,
                      *inlet.sx, *inlet.sy, *inlet.sz, *t.p, *t.pp, *aEb, *t.Source, *inlet.Px, *inlet.Py,
                      *t.dev.scratch, *inlet.rows, 1, 1),
                  0);
        EXPECT_NEAR(t.p->Download()[in], 1.2, 1e-15);
        EXPECT_NEAR(aEb->Download()[0], stab == 0 ? -0.2 : -0.5 * 0.2 / 0.25, 1e-15);
        EXPECT_NEAR(mfeb->Download()[0], -1.0, 1e-14);
        ASSERT_EQ(t.Vents(vent, *open, *aEb, *mfeb, stab), 0);
        EXPECT_NEAR(aEb->Download()[0], stab == 0 ? -0.6 : -0.5 * 0.6 / 0.25, 1e-15);
        EXPECT_NEAR(mfeb->Download()[0], 2.0, 1e-14);
        const auto S = t.Source->Download();
        EXPECT_NEAR(S[0], 1.0, 1e-14);
        EXPECT_NEAR(S[2], -2.0, 1e-14);
    }
}

TEST(CalcPPSource, BoundaryDiagonalTerms)
{
    Pressure t(BoxMesh(2, 1, 1));
    const flowtest::BoundaryList walls = t.mesh.Merge({0, 2});  // cell 0 carries two of them
    DeviceList l(walls);
    auto CB = Up(std::vector<double>{-1.0, -2.0, -4.0});
    auto match = Up(std::vector<int>{1, 0, 1});
    t.A->Upload(std::vector<double>(t.mesh.EllSize(), 0.5));
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_WallAi(l.n, l.nRows, t.mesh.newNNU, t.mesh.nCol, *l.Px, *l.Py, *match, *CB,
                                   *t.dev.scratch, *t.A, *l.rows, 1, 1),
              0);
    // list: (cell 0, -x, vent), (cell 0, -y, closed), (cell 1, -y, vent)
    EXPECT_EQ(t.A->Download()[0], 1.5);
    EXPECT_EQ(t.A->Download()[1], 4.5);
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_InnerFluxPP_InletAi(l.n, l.nRows, t.mesh.newNNU, t.mesh.nCol, *l.Px, *l.Py, *CB,
                                              *t.dev.scratch, *t.A, *l.rows, 1, 1),
              0);
    EXPECT_EQ(t.A->Download()[0], 4.5);
    EXPECT_EQ(t.A->Download()[1], 8.5);
}

TEST(CalcPPSource, FinalDiagonalAndImbalanceSum)
{
    // 300 rows (three levels): diagonal 1, one off-diagonal -0.5 each.
    const int n = 300, newNNU = 512, nCol = 2;
    std::vector<double> A(newNNU * nCol, 0.0), Su(n), pp(n, 2.0);
    double expected = 0.0;
    for (int i = 0; i < n; ++i) {
        A[i] = 1.0;
        A[newNNU + i] = -0.5;
        Su[i] = i % 7 - 3.0;
        expected += Su[i];
    }
    int total, nLevels, count[16], size[16], offset[16];
    LevelTable(n, total, nLevels, count, size, offset);
    ASSERT_EQ(nLevels, 3);
    auto Ad = Up(A), Sud = Up(Su), ppd = Up(pp), buffer = Field(total);
    double sum = 0.0;
    ASSERT_EQ(Tool().Calc_AiSuMassSum(n, newNNU, nCol, 1.0, *ppd, *Ad, *Sud, sum, *buffer, nLevels, count, offset,
                                      total, size),
              0);
    EXPECT_EQ(sum, expected);
    EXPECT_EQ(Sud->Download(), Su);  // rr = 1 leaves the right-hand side
    EXPECT_EQ(Ad->Download()[0], 1.5);
    ASSERT_EQ(Tool().Calc_AiSuMassSum(n, newNNU, nCol, 0.5, *ppd, *Ad, *Sud, sum, *buffer, nLevels, count, offset,
                                      total, size),
              0);
    EXPECT_EQ(Ad->Download()[0], 4.0);                  // (1.5 + 0.5)/0.5
    EXPECT_EQ(Sud->Download()[0], Su[0] + 0.5 * 4.0 * 2.0);
    EXPECT_EQ(sum, expected + n * 4.0);
}

// ---------------------------------------------------------------------------
// Boundary values and corrections
// ---------------------------------------------------------------------------

TEST(CalcPPCorrect, BoundaryValuesOfTheCorrection)
{
    std::vector<double> fi{5.0, 6.0, -1.0, -1.0, -1.0};
    auto slot = Up(std::vector<int>{2, 3, 4}), cell = Up(std::vector<int>{0, 1, 1});
    auto match = Up(std::vector<int>{0, 1, 0});
    auto f = Up(fi);
    ASSERT_EQ(Tool().Calc_UpdateBoundaryPP_Wall(3, *slot, *cell, *match, *f, 1), 0);
    EXPECT_EQ(f->Download(), (std::vector<double>{5.0, 6.0, 5.0, 0.0, 6.0}));
    for (int kind = 0; kind < 3; ++kind) {
        f->Upload(fi);
        const int s = kind == 0   ? Tool().Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(3, *slot, *cell, *f, 1)
                      : kind == 1 ? Tool().Calc_UpdateBoundaryPP_Outlet(3, *slot, *cell, *f, 1)
                                  : Tool().Calc_UpdateBoundaryPP_Symm(3, *slot, *cell, *f, 1);
        ASSERT_EQ(s, 0);
        EXPECT_EQ(f->Download(), (std::vector<double>{5.0, 6.0, 5.0, 6.0, 6.0}));
    }
    ASSERT_EQ(Tool().Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(3, *slot, *f, 1), 0);
    EXPECT_EQ(f->Download(), (std::vector<double>{5.0, 6.0, 0.0, 0.0, 0.0}));
}

TEST(CalcPPCorrect, CellCorrectionFollowsTheFlag)
{
    auto vol = Up(std::vector<double>{2.0}), apr = Up(std::vector<double>{0.25});
    auto ppd = Up(std::vector<double>{3.0}), g = Up(std::vector<double>{4.0});
    for (int iflag : {0, 1, 2}) {
        auto p = Up(std::vector<double>{10.0}), u = Up(std::vector<double>{1.0}), Su = Up(std::vector<double>{9.0});
        auto v = Up(std::vector<double>{0.0}), w = Up(std::vector<double>{2.0}), gz = Up(std::vector<double>{-1.0});
        ASSERT_EQ(Tool().Calc_CorrectPressureVelocityCV(1, 0.5, 1.0, iflag, *vol, *apr, *ppd, *p, *g, *g, *gz, *u, *v,
                                                        *w, *Su, 1),
                  0);
        EXPECT_EQ(p->Download()[0], iflag == 2 ? 10.0 : 11.0);  // 10 + 0.5*(3 - 1)
        EXPECT_EQ(u->Download()[0], iflag == 1 ? 1.0 : -1.0);   // 1 - 2*0.25*4
        EXPECT_EQ(v->Download()[0], iflag == 1 ? 0.0 : -2.0);
        EXPECT_EQ(w->Download()[0], iflag == 1 ? 2.0 : 2.5);
        EXPECT_EQ(Su->Download()[0], iflag == 1 ? 9.0 : 0.0);
    }
}

TEST(CalcPPCorrect, FaceFluxCorrections)
{
    Pressure t = Line3();
    std::vector<double> A(t.mesh.EllSize(), 0.0);
    A[2 * t.mesh.newNNU + 0] = -0.3;  // (row 0, +x column): face 0
    A[2 * t.mesh.newNNU + 1] = -0.5;  // (row 1, +x column): face 1
    t.A->Upload(A);
    SetCells(*t.pp, {4.0, 2.0, 3.0});
    t.MassFlux->Upload({1.0, 1.0});
    ASSERT_EQ(Tool().CalcPP_CorrectMassFlux(t.mesh.nFaces, t.mesh.newNNU, *t.dev.Px, *t.dev.Py, *t.dev.Ex, *t.dev.Ey,
                                            *t.A, *t.pp, *t.MassFlux, 1),
              0);
    EXPECT_DOUBLE_EQ(t.MassFlux->Download()[0], 1.0 + 0.6);
    EXPECT_DOUBLE_EQ(t.MassFlux->Download()[1], 1.0 - 0.5);

    // Non-orthogonal part: none on the straight line, then cell 1 moved up by
    // 0.25 gives k = (0, -/+0.25, 0) on the two faces.
    auto runCorr = [&] {
        t.dev.ClearScratch();
        auto temp = Field(t.mesh.nFaces);
        return Tool().Calc_InnerFluxPPCorr(t.mesh.nFaces, t.mesh.nCells, t.mesh.newNNU, t.mesh.nCol, *t.dev.P,
                                           *t.dev.E, *t.dev.sx, *t.dev.sy, *t.dev.sz, *t.dev.xc, *t.dev.yc,
                                           *t.dev.zc, *t.APR, *t.dpx, *t.dpy, *t.dpz, *t.MassFlux, *t.Source,
                                           *t.dev.Px, *t.dev.Py, *t.dev.Ex, *t.dev.Ey, *t.dev.scratch, *temp, 1, 1);
    };
    t.dpy->Upload(std::vector<double>(t.mesh.nExt, 2.0));
    t.MassFlux->Upload({0.0, 0.0});
    ASSERT_EQ(runCorr(), 0);
    EXPECT_EQ(t.MassFlux->Download(), (std::vector<double>{0.0, 0.0}));
    SetCells(*t.dev.yc, {0.5, 0.75, 0.5});
    ASSERT_EQ(runCorr(), 0);
    EXPECT_DOUBLE_EQ(t.MassFlux->Download()[0], 0.125 * 0.6 * 2.0);
    EXPECT_DOUBLE_EQ(t.MassFlux->Download()[1], -0.125 * 1.0 * 2.0);
    const auto S = t.Source->Download();
    EXPECT_DOUBLE_EQ(S[0], -0.15);
    EXPECT_DOUBLE_EQ(S[1], 0.15 + 0.25);
    EXPECT_DOUBLE_EQ(S[2], -0.25);
}

TEST(CalcPPCorrect, SymmetrySlotLosesTheNormalComponent)
{
    auto cell = Up(std::vector<int>{0, 1}), slot = Up(std::vector<int>{2, 3});
    auto sx = Up(std::vector<double>{0.0, 1.0}), sy = Up(std::vector<double>{2.0, 1.0}), sz = Field(2);
    auto u = Up(std::vector<double>{1.0, 1.0, 9.0, 9.0}), v = Up(std::vector<double>{3.0, 0.0, 9.0, 9.0});
    auto w = Up(std::vector<double>{5.0, 0.0, 9.0, 9.0});
    ASSERT_EQ(Tool().Calc_UpdateVelocitySymmetryBoundary(2, *cell, *slot, *sx, *sy, *sz, *u, *v, *w, 1), 0);
    EXPECT_EQ(u->Download()[2], 1.0);
    EXPECT_EQ(v->Download()[2], 0.0);
    EXPECT_EQ(w->Download()[2], 5.0);
    EXPECT_NEAR(u->Download()[3], 0.5, 1e-15);
    EXPECT_NEAR(v->Download()[3], -0.5, 1e-15);
}

TEST(CalcPPCorrect, InletAndVentCorrectionsWithTheirSums)
{
    Pressure t = Line3();
    const flowtest::BoundaryList& inlet = t.mesh.side[0];
    DeviceList in(inlet);
    int total, nLevels, count[16], size[16], offset[16];
    LevelTable(1, total, nLevels, count, size, offset);
    auto b1 = Field(total), b2 = Field(total);
    std::vector<double> u(t.mesh.nExt, 0.0);
    u[inlet.slot[0]] = 3.0;
    t.u->Upload(u);
    auto F = Field(1);
    double inflow = 0.0, speed = 0.0;
    ASSERT_EQ(Tool().Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(1, *in.slot, *t.u, *t.v, *t.w, *in.sx, *in.sy,
                                                                   *in.sz, *F, inflow, *b1, nLevels, count, offset,
                                                                   total, size),
              0);
    EXPECT_EQ(F->Download()[0], -3.0);
    EXPECT_EQ(inflow, 3.0);

    // f = V APR/(|S||d|) = 0.5*0.2/0.25 = 0.4; c = f (pp(b) - pp(P)) = -2.
    SetCells(*t.pp, {5.0, 0.0, 0.0});
    ASSERT_EQ(Tool().Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(
                  1, *in.cell, *in.slot, *t.dev.xc, *t.dev.yc, *t.dev.zc, *t.u, *t.v, *t.w, *in.sx, *in.sy, *in.sz,
                  *t.dev.volume, *t.APR, *t.pp, *F, inflow, speed, *b1, *b2, nLevels, count, offset, total, size),
              0);
    EXPECT_DOUBLE_EQ(t.u->Download()[inlet.slot[0]], 1.0);  // 3 - c*S = 3 - 2
    EXPECT_DOUBLE_EQ(F->Download()[0], -1.0);               // -3 - c|S|^2
    EXPECT_DOUBLE_EQ(inflow, 1.0);
    EXPECT_DOUBLE_EQ(speed, 1.0);

    // The same face as a vent: corrected only when m = 1.
    auto Fw = Field(1, -3.0);
    for (int m : {0, 1}) {
        auto match = Up(std::vector<int>{m});
        double out = -1.0;
        u[inlet.slot[0]] = 3.0;
        t.u->Upload(u);
        ASSERT_EQ(Tool().Calc_CorrectVelocityWallOutlet(1, *in.cell, *in.slot, *match, *t.dev.xc, *t.dev.yc,
                                                        *t.dev.zc, *t.u, *t.v, *t.w, *in.sx, *in.sy, *in.sz,
                                                        *t.dev.volume, *t.APR, *t.pp, *Fw, out, *b1, nLevels, count,
                                                        offset, total, size),
                  0);
        EXPECT_DOUBLE_EQ(Fw->Download()[0], m == 0 ? -3.0 : -1.0);
        EXPECT_DOUBLE_EQ(out, m == 0 ? 0.0 : -1.0);
        EXPECT_DOUBLE_EQ(t.u->Download()[inlet.slot[0]], m == 0 ? 3.0 : 1.0);
    }
}

// ---------------------------------------------------------------------------
// Independent check: a one-dimensional channel
// ---------------------------------------------------------------------------

// N cells along x from rest, inlet flow Q imposed at -x, a vent at +x at
// pressure correction 0. The assembled equation, solved densely, must give
// a correction whose corrected fluxes carry exactly Q through every face
// and out of the vent, with the linear profile pp_i = Q (N - i - 1/2) r.
TEST(CalcPPChannel, CorrectedFluxesConserveTheInletFlow)
{
    const int N = 12;
    const double Q = 0.75, apr = 0.2, dx = 0.5;
    Pressure t(BoxMesh(N, 1, 1, dx, 1.0, 1.0));
    t.APR->Upload(std::vector<double>(t.mesh.nExt, apr));
    ASSERT_EQ(t.Flux(1), 0);  // U = 0, p = 0: only the coefficients matter
    ASSERT_EQ(Tool().Calc_MapaEaWToAi(t.mesh.nFaces, t.mesh.newNNU, *t.dev.Px, *t.dev.Py, *t.dev.Ex, *t.dev.Ey, *t.aE,
                                      *t.aW, *t.A, 1),
              0);
    ASSERT_EQ(t.InteriorSource(), 0);

    DeviceList in(t.mesh.side[0]);
    auto Fin = Up(std::vector<double>{-Q});
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(1, 1, t.mesh.newNNU, t.mesh.nCol, *in.Px, *in.Py, *Fin,
                                                                *t.dev.scratch, *t.Source, *in.rows, 1, 1),
              0);
    DeviceList out(t.mesh.side[1]);
    auto vent = Up(std::vector<int>{1});
    auto CB = Field(1), mfeb = Field(1);
    ASSERT_EQ(t.Vents(out, *vent, *CB, *mfeb, 1), 0);
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_WallAi(1, 1, t.mesh.newNNU, t.mesh.nCol, *out.Px, *out.Py, *vent, *CB, *t.dev.scratch,
                                   *t.A, *out.rows, 1, 1),
              0);
    int total, nLevels, count[16], size[16], offset[16];
    LevelTable(N, total, nLevels, count, size, offset);
    auto buffer = Field(total);
    double imbalance = 0.0;
    ASSERT_EQ(Tool().Calc_AiSuMassSum(N, t.mesh.newNNU, t.mesh.nCol, 1.0, *t.pp, *t.A, *t.Source, imbalance, *buffer,
                                      nLevels, count, offset, total, size),
              0);
    EXPECT_DOUBLE_EQ(imbalance, Q);

    const auto pp = flowtest::SolveEllDense(t.A->Download(), t.mesh.indexELL, t.mesh.newNNU, t.mesh.nCol,
                                            t.Source->Download(), N);
    // Resistance of an interior face 1/(APR |S|^2); of the vent, half a cell
    // away, (dx/2)/(V APR |S|).
    const double r = 1.0 / apr, rVent = 0.5 * dx / (dx * apr);
    for (int i = 0; i < N; ++i) EXPECT_NEAR(pp[i], Q * ((N - 1 - i) * r + rVent), 1e-12);
    std::vector<double> ppx = t.pp->Download();
    std::copy(pp.begin(), pp.end(), ppx.begin());
    t.pp->Upload(ppx);

    ASSERT_EQ(Tool().CalcPP_CorrectMassFlux(t.mesh.nFaces, t.mesh.newNNU, *t.dev.Px, *t.dev.Py, *t.dev.Ex, *t.dev.Ey,
                                            *t.A, *t.pp, *t.MassFlux, 1),
              0);
    for (double f : t.MassFlux->Download()) EXPECT_NEAR(f, Q, 1e-12);
    ASSERT_EQ(Tool().Calc_UpdateBoundaryPP_Wall(1, *out.slot, *out.cell, *vent, *t.pp, 1), 0);
    auto Fout = Field(1);
    double outflow = 0.0;
    LevelTable(1, total, nLevels, count, size, offset);
    ASSERT_EQ(Tool().Calc_CorrectVelocityWallOutlet(1, *out.cell, *out.slot, *vent, *t.dev.xc, *t.dev.yc, *t.dev.zc,
                                                    *t.u, *t.v, *t.w, *out.sx, *out.sy, *out.sz, *t.dev.volume, *t.APR,
                                                    *t.pp, *Fout, outflow, *buffer, nLevels, count, offset, total,
                                                    size),
              0);
    EXPECT_NEAR(outflow, Q, 1e-12);
    EXPECT_NEAR(t.u->Download()[t.mesh.side[1].slot[0]], Q, 1e-12);  // outlet velocity Q/|S|
}

// ---------------------------------------------------------------------------
// Reproducibility and failures
// ---------------------------------------------------------------------------

TEST(CalcPPRuns, SameBitsForOneTwoAndFourThreads)
{
    const auto runs = rvztest::ForThreadCounts({1, 2, 4}, [] {
        Pressure t(BoxMesh(40, 9, 3, 0.3, 0.2, 0.5));
        const int n = t.mesh.nExt;
        unsigned seed = 1;
        for (Array* a : {&t.u, &t.v, &t.w, &t.p, &t.dpx, &t.dpy, &t.dpz}) (*a)->Upload(rvztest::RandomVector(n, seed++));
        t.APR->Upload(rvztest::RandomVector(n, 40, 0.1, 1.0));
        EXPECT_EQ(t.Flux(0), 0);
        EXPECT_EQ(Tool().Calc_MapaEaWToAi(t.mesh.nFaces, t.mesh.newNNU, *t.dev.Px, *t.dev.Py, *t.dev.Ex, *t.dev.Ey,
                                          *t.aE, *t.aW, *t.A, 2),
                  0);
        EXPECT_EQ(Tool().DataCopyDevice2Device(t.mesh.nFaces, t.MassFlux->get(), t.mfe->get()), 0);
        EXPECT_EQ(t.InteriorSource(), 0);
        int total, nLevels, count[16], size[16], offset[16];
        LevelTable(t.mesh.nCells, total, nLevels, count, size, offset);
        auto buffer = Field(total);
        double sum = 0.0;
        EXPECT_EQ(Tool().Calc_AiSuMassSum(t.mesh.nCells, t.mesh.newNNU, t.mesh.nCol, 0.8, *t.pp, *t.A, *t.Source, sum,
                                          *buffer, nLevels, count, offset, total, size),
                  0);
        std::vector<double> all = t.Source->Download();
        const auto A = t.A->Download();
        all.insert(all.end(), A.begin(), A.end());
        all.push_back(sum);
        return all;
    });
    for (size_t k = 0; k < runs[0].size(); ++k) {
        ASSERT_TRUE(rvztest::SameBits(runs[0][k], runs[1][k])) << k;
        ASSERT_TRUE(rvztest::SameBits(runs[0][k], runs[2][k])) << k;
    }
}

#if !RVZGPU_BACKEND_CUDA
TEST(CalcPPRuns, FailedStepsAreReportedAndTheRestRuns)
{
    Pressure t = Line3();
    DeviceList in(t.mesh.side[0]);
    auto aEb = Field(1), mfeb = Field(1);
    SetCells(*t.u, {1.0, 0.0, 0.0});
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(
            in.n, in.nRows, t.mesh.newNNU, t.mesh.nCol, 0, 0.1, *in.cell, *in.slot, *t.u, *t.v, *t.w, *t.dev.xc,
            *t.dev.yc, *t.dev.zc, *t.dpx, *t.dpy, *t.dpz, *t.dev.volume, *t.APR, *mfeb, *in.sx, *in.sy, *in.sz, *t.p,
            *t.pp, *aEb, *t.Source, *in.Px, *in.Py, *t.dev.scratch, *in.rows, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_InnerFluxPP_InletUpdateP_PP failed: ") +
                       rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(t.p->Download()[t.mesh.side[0].slot[0]], 0.0);  // the pressure step did not run
    EXPECT_DOUBLE_EQ(mfeb->Download()[0], -1.0);               // the flux step did

    // A reduction reports its first level, returns its code, still finishes.
    int total, nLevels, count[16], size[16], offset[16];
    LevelTable(3, total, nLevels, count, size, offset);
    auto buffer = Field(total);
    double sum = 0.0;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string red = rvztest::CaptureOutput([&] {
        status = Tool().Calc_CheckSum(3, *t.pp, *t.Source, sum, *buffer, nLevels, count, offset, total, size);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(red.rfind("GPU[0:host] Calc_CheckSum failed: ", 0), 0u) << red;
}
#endif

}  // namespace
