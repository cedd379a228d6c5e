// Extended-flow pressure correction and inlet control: vent rules, gate
// states and judge flags, face and boundary fluxes, melt compressibility,
// boundary values, corrections and their reductions, on small boxes with
// hand-checked values. Where the extended form reduces to the basic one
// (one control state, no compressibility, vents from a flag) it must give
// the basic operation's results; a compressible channel solved densely must
// store exactly the mass that enters.
#include <algorithm>
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
using Flags = std::unique_ptr<DeviceArray<bool>>;
using Ints = std::unique_ptr<DeviceArray<int>>;

Flags FlagsOf(std::vector<bool> v) { return Up(v); }
Ints IntsOf(std::vector<int> v) { return Up(v); }

using Plan = rvztest::LevelPlan;

// Fields of the pressure-correction equation on one mesh (extended arrays).
struct Case {
    BoxMesh mesh;
    DeviceMesh dev;
    Array u, v, w, p, pp, dpx, dpy, dpz, APR, mfe, aE, aW, MassFlux, Source, A;

    explicit Case(BoxMesh m) : mesh(std::move(m)), dev(mesh)
    {
        const int n = mesh.nExt;
        u = Field(n), v = Field(n), w = Field(n), p = Field(n), pp = Field(n);
        dpx = Field(n), dpy = Field(n), dpz = Field(n), APR = Field(n);
        mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces, 99.0), aW = Field(mesh.nFaces, 99.0);
        MassFlux = Field(mesh.nFaces), Source = Field(mesh.nCells);
        A = Field(static_cast<int>(mesh.EllSize()));
    }
    void Randomise(unsigned seed)
    {
        const int n = mesh.nExt;
        for (Array* a : {&u, &v, &w, &p, &pp, &dpx, &dpy, &dpz}) (*a)->Upload(rvztest::RandomVector(n, seed++));
        APR->Upload(rvztest::RandomVector(n, seed, 0.1, 1.0));
    }
    int FlowEFlux(int stab)
    {
        auto& d = dev;
        return Tool().Calc_FlowE_InnerFluxPP_aEaWmfe(mesh.nFaces, *d.P, *d.E, *d.le, *d.sx, *d.sy, *d.sz, *d.xc,
                                                     *d.yc, *d.zc, *dpx, *dpy, *dpz, *u, *v, *w, *p, *APR, *mfe, *aE,
                                                     *aW, stab, 1);
    }
    int BasicFlux(int stab)
    {
        auto& d = dev;
        double* none = nullptr;
        return Tool().Calc_InnerFluxPP(mesh.nFaces, *d.P, *d.E, *d.le, none, none, none, none, none, none, none, none,
                                       none, *dpx, *dpy, *dpz, *d.xc, *d.yc, *d.zc, *u, *v, *w, *p, *APR, *d.sx,
                                       *d.sy, *d.sz, *mfe, *aE, *aW, stab, 1);
    }
    int BoundFlux(DeviceList& l, DeviceArray<bool>& judge, DeviceArray<double>& aEb, DeviceArray<double>& mfeb,
                  int stab)
    {
        return Tool().CalcPP_BoundFluxMass(l.n, stab, *l.cell, *l.slot, judge, *dev.xc, *dev.yc, *dev.zc, *dpx, *dpy,
                                           *dpz, *l.sx, *l.sy, *l.sz, *APR, *p, *u, *v, *w, aEb, mfeb, 1);
    }
    // Slot velocities equal to their cells' (a zero-gradient boundary).
    void CopyCellVelocitiesToSlots(const flowtest::BoundaryList& l)
    {
        for (Array* a : {&u, &v, &w}) {
            auto x = (*a)->Download();
            for (int k = 0; k < l.size(); ++k) x[l.slot[k]] = x[l.cell[k]];
            (*a)->Upload(x);
        }
    }
};

// Three cells along x, dx = 0.5, unit faces, APR = 0.2, 0.4, 0.6.
Case Line3()
{
    Case t(BoxMesh(3, 1, 1, 0.5, 1.0, 1.0));
    SetCells(*t.APR, {0.2, 0.4, 0.6});
    return t;
}

std::vector<double> Head(const std::vector<double>& v, int n) { return std::vector<double>(v.begin(), v.begin() + n); }

// ---------------------------------------------------------------------------
// Vent decisions
// ---------------------------------------------------------------------------

TEST(CalcPPFlowEVents, VolumeFractionDecidesAndPermanentOutletsStay)
{
    auto cells = IntsOf({0, 1, 2, 3, 4}), slots = IntsOf({5, 6, 7, 8, 9});
    auto VolF = Up(std::vector<double>{0, 0, 0, 0, 0, 0.9, 0.1, 0.2, 0.5, 0.49999});
    auto vent = IntsOf({2, 2, 0, 1, 0});
    ASSERT_EQ(Tool().CalcPP_FlowE_iIsOutlet1(5, 0.5, *cells, *slots, *VolF, *vent, 1), 0);
    EXPECT_EQ(vent->Download(), (std::vector<int>{2, 2, 1, 0, 1}));
}

TEST(CalcPPFlowEVents, AirPressureOrAssistFluidOpensAVentBelowTheCriticalFraction)
{
    // Entries: fluid-free cell, cell with fluid, air pressure at the
    // threshold, filled slot, former permanent outlet, tiny fluid fraction.
    auto cells = IntsOf({0, 1, 2, 3, 4, 5}), slots = IntsOf({6, 7, 8, 9, 10, 11});
    std::vector<double> alpha(12, 0.1);
    alpha[9] = 0.6;
    auto VolF = Up(alpha);
    auto MF = Up(std::vector<float>{0.0f, 0.3f, 0.3f, 0.0f, 0.3f, 1e-31f});
    auto air = Up(std::vector<double>{-1.0, -1.0, -1e-30, 5.0, -2.0, -2e-30});
    auto vent = IntsOf({0, 0, 0, 0, 2, 0});
    ASSERT_EQ(Tool().CalcPP_FlowE_iIsOutlet2(6, 1, 0.5, *cells, *slots, *VolF, *MF, *air, *vent, 1), 0);
    EXPECT_EQ(vent->Download(), (std::vector<int>{1, 0, 1, 0, 0, 1}));
    // Without assist-fluid injection only the air pressure opens a vent.
    ASSERT_EQ(Tool().CalcPP_FlowE_iIsOutlet2(6, 0, 0.5, *cells, *slots, *VolF, *MF, *air, *vent, 1), 0);
    EXPECT_EQ(vent->Download(), (std::vector<int>{0, 0, 1, 0, 0, 0}));
}

// ---------------------------------------------------------------------------
// Gate states and judge flags
// ---------------------------------------------------------------------------

TEST(CalcPPFlowEGates, GatePressureFollowsTheMaterialType)
{
    auto type = IntsOf({0, 1, 2, 3}), gate = IntsOf({0, 1, 2, 3, 2});
    auto injection = Up(std::vector<double>{7.0, 8.0, 9.0, 10.0});
    auto open = IntsOf({1, 0, 1, 1, 2});
    auto press = Field(5);
    auto judge1 = FlagsOf({false, true, false, false, true});
    ASSERT_EQ(Tool().CalcPP_FlowE_judge1judge2Press(5, 1.5, *open, *gate, *type, *injection, *press, *judge1, 1), 0);
    EXPECT_EQ(press->Download(), (std::vector<double>{1.5, 1.5, 9.0, 10.0, 9.0}));
    EXPECT_EQ(judge1->Download(), (std::vector<bool>{true, false, true, true, false}));
}

TEST(CalcPPFlowEGates, OpenPressureControlledGatesFixTheirSlots)
{
    auto slots = IntsOf({4, 5, 6, 7}), gate = IntsOf({0, 1, 1, 0});
    auto status = IntsOf({1, 2});
    auto pressure = Up(std::vector<double>{1.0, 2.0, 3.0, 4.0});
    auto judge = FlagsOf({true, true, false, false});
    auto p = Field(8, -1.0), pp = Field(8, -2.0);
    auto j2 = FlagsOf({true, false, true, true}), j3 = FlagsOf({true, true, true, true});
    for (int iTime : {1, 2}) {
        ASSERT_EQ(Tool().CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(4, iTime, *slots, *gate, *pressure, *judge,
                                                                      *status, *p, *pp, *j2, *j3, 1),
                  0);
        EXPECT_EQ(p->Download(), (std::vector<double>{-1, -1, -1, -1, -1, 2e7, -1, -1}));
        EXPECT_EQ(pp->Download(), (std::vector<double>{-2, -2, -2, -2, -2, 0, -2, -2}));
        EXPECT_EQ(j2->Download(), (std::vector<bool>{false, true, false, false}));
        EXPECT_EQ(j3->Download(), (std::vector<bool>{false, iTime > 1, false, false}));
    }
    // One status for every face: pressure control fixes them all.
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(4, 3, 2, 0.5, *slots, *p, *pp, *j2, *j3, 1), 0);
    EXPECT_EQ(p->Download(), (std::vector<double>{-1, -1, -1, -1, 5e6, 5e6, 5e6, 5e6}));
    EXPECT_EQ(j3->Download(), (std::vector<bool>{true, true, true, true}));
    p->Upload(std::vector<double>(8, -1.0));
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(4, 3, 1, 0.5, *slots, *p, *pp, *j2, *j3, 1), 0);
    EXPECT_EQ(p->Download(), std::vector<double>(8, -1.0));
    EXPECT_EQ(j2->Download(), std::vector<bool>(4, false));
    EXPECT_EQ(j3->Download(), std::vector<bool>(4, false));
}

TEST(CalcPPFlowEGates, VentsTakeTheAirPressureAndMovingWallsAreFlagged)
{
    auto slots = IntsOf({3, 4, 5, 6}), vent = IntsOf({0, 1, 2, 1}), moving = IntsOf({1, 1, 0, 1});
    auto VolF = Up(std::vector<double>{0, 0, 0, 0.9, 0.9, 0.9, 0.5});
    auto air = Up(std::vector<double>{11.0, 12.0, 13.0, 14.0});
    auto p = Field(7, -1.0), pp = Field(7, -2.0);
    auto j1A = FlagsOf(std::vector<bool>(4, false)), j5A = FlagsOf(std::vector<bool>(4, false));
    // Global vent setting on: the global air pressure.
    ASSERT_EQ(Tool().CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(4, 1, 0.25, 1, 0.5, *slots, *vent, *VolF, *air,
                                                                      *moving, *p, *pp, *j1A, *j5A, 1),
              0);
    EXPECT_EQ(p->Download(), (std::vector<double>{-1, -1, -1, -1, 0.25, 0.25, 0.25}));
    EXPECT_EQ(pp->Download(), (std::vector<double>{-2, -2, -2, -2, 0, 0, 0}));
    EXPECT_EQ(j1A->Download(), (std::vector<bool>{false, true, true, true}));
    // Moving, in compression and strictly above the critical fraction.
    EXPECT_EQ(j5A->Download(), (std::vector<bool>{true, true, false, false}));
    // Global setting off: each vent its own air pressure; no compression.
    ASSERT_EQ(Tool().CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(4, 0, 0.25, 0, 0.5, *slots, *vent, *VolF, *air,
                                                                      *moving, *p, *pp, *j1A, *j5A, 1),
              0);
    EXPECT_EQ(p->Download(), (std::vector<double>{-1, -1, -1, -1, 12.0, 13.0, 14.0}));
    EXPECT_EQ(j5A->Download(), std::vector<bool>(4, false));
}

TEST(CalcPPFlowEGates, InletCorrectionFlags)
{
    // Gates: velocity control, pressure control, velocity-controlled assist fluid.
    auto status = IntsOf({1, 2, 1}), type = IntsOf({0, 1, 2});
    auto gate = IntsOf({0, 1, 2, 0, 1}), open = IntsOf({1, 1, 1, 0, 0});
    auto cells = IntsOf({0, 0, 0, 0, 0}), slots = IntsOf({1, 2, 3, 4, 5});
    auto VolF = Up(std::vector<double>{0, 0, 0, 0, 0.1, 0.7});
    auto MF = Up(std::vector<float>{0.f});
    Flags j1C = FlagsOf(std::vector<bool>(5)), j1D = FlagsOf(std::vector<bool>(5)),
          j1E = FlagsOf(std::vector<bool>(5)), j2A = FlagsOf(std::vector<bool>(5));
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_judge(5, 0, 0.5, *cells, *slots, *VolF, *MF, *open, *gate, *type,
                                                        *status, *j1C, *j1D, *j1E, *j2A, 1),
              0);
    EXPECT_EQ(j1C->Download(), (std::vector<bool>{true, false, true, false, false}));
    EXPECT_EQ(j1D->Download(), (std::vector<bool>{false, true, false, false, false}));
    EXPECT_EQ(j1E->Download(), (std::vector<bool>{false, false, true, false, false}));
    EXPECT_EQ(j2A->Download(), (std::vector<bool>{false, false, false, true, false}));  // closed, below FCRI
}

// ---------------------------------------------------------------------------
// Face fluxes
// ---------------------------------------------------------------------------

// With the midpoint weight the interpolated velocity lies between its cells,
// so the basic form's median changes nothing: plain form 0 is the basic one
// bit for bit; form 3 differs only in how c is rounded.
TEST(CalcPPFlowEFlux, InteriorFluxIsTheBasicOneWhereInterpolationIsMonotone)
{
    Case t(BoxMesh(4, 3, 2, 0.3, 0.5, 0.7));
    t.Randomise(5);
    ASSERT_EQ(t.BasicFlux(0), 0);
    const auto mfe = t.mfe->Download(), aE = t.aE->Download();
    ASSERT_EQ(t.FlowEFlux(0), 0);
    EXPECT_EQ(t.mfe->Download(), mfe);
    EXPECT_EQ(t.aE->Download(), aE);
    EXPECT_EQ(t.aW->Download(), aE);
    ASSERT_EQ(t.BasicFlux(3), 0);
    const auto mfe3 = t.mfe->Download(), aE3 = t.aE->Download();
    ASSERT_EQ(t.FlowEFlux(3), 0);
    for (int f = 0; f < t.mesh.nFaces; ++f) {
        EXPECT_NEAR(t.mfe->Download()[f], mfe3[f], 1e-13 * (1.0 + std::fabs(mfe3[f])));
        EXPECT_NEAR(t.aE->Download()[f], aE3[f], 1e-14);
    }
}

TEST(CalcPPFlowEFlux, PlainInterpolationAndTheCoefficientForms)
{
    Case t = Line3();
    // A weight beyond 1 overshoots, and the face velocity is not clipped.
    t.dev.le->Upload({1.5, 0.5});
    SetCells(*t.u, {1.0, 3.0, 2.0});
    ASSERT_EQ(t.FlowEFlux(0), 0);
    EXPECT_EQ(t.mfe->Download(), (std::vector<double>{4.0, 2.5}));

    // Cell 1 lifted by 0.25: c = sqrt(|S|^2|d|^2)/(S.d) = sqrt(1.25); every
    // form but 0 scales the coefficient (and with it the pressure term).
    t.dev.le->Upload({0.5, 0.5});
    SetCells(*t.u, {0.0, 0.0, 0.0});
    SetCells(*t.dev.yc, {0.5, 0.75, 0.5});
    SetCells(*t.p, {0.0, 1.0, 4.0});
    const double c = std::sqrt(1.25);
    for (int stab : {1, 3}) {
        ASSERT_EQ(t.FlowEFlux(stab), 0);
        EXPECT_NEAR(t.aE->Download()[0], -0.3 * c, 1e-15);
        EXPECT_NEAR(t.aE->Download()[1], -0.5 * c, 1e-15);
        EXPECT_NEAR(t.mfe->Download()[1], -1.5 * c, 1e-15);
    }
    ASSERT_EQ(t.FlowEFlux(0), 0);
    EXPECT_NEAR(t.mfe->Download()[0], -0.3, 1e-15);
    EXPECT_NEAR(t.mfe->Download()[1], -1.5, 1e-15);

    // Partition faces: aED only.
    t.aW->Upload({7.0, 7.0});
    auto& d = t.dev;
    ASSERT_EQ(Tool().Calc_FlowE_InnerFluxPP_aEmfe_Par(2, *d.P, *d.E, *d.le, *d.sx, *d.sy, *d.sz, *d.xc, *d.yc, *d.zc,
                                                      *t.dpx, *t.dpy, *t.dpz, *t.u, *t.v, *t.w, *t.p, *t.APR, *t.mfe,
                                                      *t.aE, 1, 1),
              0);
    EXPECT_NEAR(t.aE->Download()[0], -0.3 * c, 1e-15);
    EXPECT_EQ(t.aW->Download(), (std::vector<double>{7.0, 7.0}));
}

// Open entry: the cell velocity moves into the slot and a fresh
// coefficient; closed entry: its coefficient and flux are kept and the
// stored coefficient times the pressure difference is added to the flux.
TEST(CalcPPFlowEFlux, BoundaryFluxOfOpenAndClosedFaces)
{
    Case t = Line3();
    const flowtest::BoundaryList ends = t.mesh.Merge({0, 1});
    const int b0 = ends.slot[0], b1 = ends.slot[1];
    DeviceList l(ends);
    std::vector<double> u(t.mesh.nExt, 0.0), p(t.mesh.nExt, 0.0), y = t.dev.yc->Download();
    u[0] = 2.0, u[b0] = 7.0, u[b1] = 9.0;
    p[0] = 1.0, p[b0] = 4.0, p[b1] = 1.0;
    y[b0] = 0.6;  // d = (-0.25, 0.1, 0) for the open entry
    t.u->Upload(u), t.p->Upload(p), t.dev.yc->Upload(y);
    SetCells(*t.dpx, {2.0, 0.0, 0.0});
    auto judge = FlagsOf({true, false});
    for (int stab : {0, 1}) {
        SCOPED_TRACE(stab);
        auto aEb = Up(std::vector<double>{3.0, 5.0}), mfeb = Up(std::vector<double>{3.0, 6.0});
        ASSERT_EQ(t.BoundFlux(l, *judge, *aEb, *mfeb, stab), 0);
        // a0 = -APR|S|^2 = -0.2; form != 0 scales by |S||d|/(S.d).
        const double a = stab == 0 ? -0.2 : -0.2 * std::sqrt(0.0725) / 0.25;
        const double dp = (4.0 - 1.0) - 2.0 * (-0.25);
        EXPECT_DOUBLE_EQ(aEb->Download()[0], a);
        EXPECT_DOUBLE_EQ(mfeb->Download()[0], -2.0 + a * dp);
        EXPECT_EQ(t.u->Download()[b0], 2.0);
        EXPECT_EQ(aEb->Download()[1], 5.0);
        EXPECT_EQ(mfeb->Download()[1], 6.0 + 5.0 * 1.0);
        EXPECT_EQ(t.u->Download()[b1], 9.0);
        t.u->Upload(u);
    }
}

// ---------------------------------------------------------------------------
// Agreement with the basic operations where the extended form reduces to them
// ---------------------------------------------------------------------------

struct Compared {
    std::vector<double> p, pp, u, aE, mfe, Source, A;
};

// Pressure control with one status for all faces and no compressibility is
// the basic pressure-controlled inlet with its boundary diagonal.
TEST(CalcPPFlowEAgreesWithBasic, PressureControlledInlet)
{
    auto run = [](bool extended) {
        Case t(BoxMesh(3, 2, 2, 0.5, 0.4, 0.3));
        t.Randomise(11);
        t.A->Upload(rvztest::RandomVector(t.mesh.EllSize(), 3));
        const flowtest::BoundaryList& side = t.mesh.side[0];
        DeviceList in(side);
        auto aEb = Field(in.n), mfeb = Field(in.n), CB = Up(rvztest::RandomVector(in.n, 4));
        t.dev.ClearScratch();
        const int nnu = t.mesh.newNNU, nCol = t.mesh.nCol;
        auto& d = t.dev;
        if (extended) {
            auto j2 = FlagsOf(std::vector<bool>(in.n)), j3 = FlagsOf(std::vector<bool>(in.n));
            auto ddp = Up(rvztest::RandomVector(t.mesh.nExt, 6)), t1 = Field(in.n), t2 = Field(in.n);
            EXPECT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(in.n, 1, 2, 0.3, *in.slot, *t.p, *t.pp,
                                                                               *j2, *j3, 1),
                      0);
            EXPECT_EQ(t.BoundFlux(in, *j2, *aEb, *mfeb, 0), 0);
            EXPECT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_Update_AiSu(in.n, in.nRows, nnu, nCol, *in.cell, *in.slot, *mfeb,
                                                                  *CB, *j2, *j3, *ddp, *t1, *t2, *t.A, *t.Source,
                                                                  *in.Px, *in.Py, *in.rows, *d.scratch, 1, 1),
                      0);
        } else {
            EXPECT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(
                          in.n, in.nRows, nnu, nCol, 0, 0.3, *in.cell, *in.slot, *t.u, *t.v, *t.w, *d.xc, *d.yc,
                          *d.zc, *t.dpx, *t.dpy, *t.dpz, *d.volume, *t.APR, *mfeb, *in.sx, *in.sy, *in.sz, *t.p,
                          *t.pp, *aEb, *t.Source, *in.Px, *in.Py, *d.scratch, *in.rows, 1, 1),
                      0);
            EXPECT_EQ(Tool().Calc_InnerFluxPP_InletAi(in.n, in.nRows, nnu, nCol, *in.Px, *in.Py, *CB, *d.scratch,
                                                      *t.A, *in.rows, 1, 1),
                      0);
        }
        return Compared{t.p->Download(), t.pp->Download(), t.u->Download(), aEb->Download(),
                        mfeb->Download(), t.Source->Download(), t.A->Download()};
    };
    const Compared e = run(true), b = run(false);
    EXPECT_EQ(e.p, b.p);
    EXPECT_EQ(e.pp, b.pp);
    EXPECT_EQ(e.u, b.u);
    EXPECT_EQ(e.aE, b.aE);
    EXPECT_EQ(e.mfe, b.mfe);
    EXPECT_EQ(e.Source, b.Source);
    EXPECT_EQ(e.A, b.A);
}

TEST(CalcPPFlowEAgreesWithBasic, VelocityControlledInletSource)
{
    Case t(BoxMesh(2, 1, 1));
    const flowtest::BoundaryList inlet = t.mesh.Merge({0, 2});  // cell 0 carries two faces
    DeviceList in(inlet);
    auto mfe = Up(std::vector<double>{-1.0, -2.0, -4.0}), temp = Field(3, 9.0);
    const int nnu = t.mesh.newNNU, nCol = t.mesh.nCol;
    auto& d = t.dev;
    d.ClearScratch();
    ASSERT_EQ(Tool().Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(in.n, in.nRows, nnu, nCol, *in.Px, *in.Py, *mfe,
                                                                *d.scratch, *t.Source, *in.rows, 1, 1),
              0);
    const auto basic = t.Source->Download();
    EXPECT_EQ(basic, (std::vector<double>{3.0, 4.0}));
    t.Source->Upload(std::vector<double>(2, 0.0));
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(in.n, in.nRows, nnu, nCol, 1, *mfe, *temp, *t.Source,
                                                             *in.Px, *in.Py, *in.rows, *d.scratch, 1, 1),
              0);
    EXPECT_EQ(t.Source->Download(), basic);
    // Per gate: only open faces of velocity-controlled gates contribute.
    auto gate = IntsOf({0, 1, 0}), status = IntsOf({1, 2});
    auto open = FlagsOf({true, true, false});
    t.Source->Upload(std::vector<double>(2, 0.0));
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_UpdateSu_First(in.n, in.nRows, nnu, nCol, *gate, *status, *open, *mfe, *temp,
                                                      *t.Source, *in.Px, *in.Py, *in.rows, *d.scratch, 1, 1),
              0);
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{1.0, 0.0}));
    // Pressure control: nothing enters through this operation.
    t.Source->Upload(std::vector<double>(2, 0.0));
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(in.n, in.nRows, nnu, nCol, 2, *mfe, *temp, *t.Source,
                                                             *in.Px, *in.Py, *in.rows, *d.scratch, 1, 1),
              0);
    EXPECT_EQ(t.Source->Download(), std::vector<double>(2, 0.0));
}

// Vents at their slot pressure with slot velocities equal to the cells':
// the basic vent flux, source and diagonal. The closed wall holds a zero
// coefficient, so adding its stored pressure term changes nothing either.
TEST(CalcPPFlowEAgreesWithBasic, Vents)
{
    auto run = [](bool extended) {
        Case t(BoxMesh(3, 2, 1, 0.5, 0.4, 0.3));
        t.Randomise(21);
        t.A->Upload(rvztest::RandomVector(t.mesh.EllSize(), 22));
        const flowtest::BoundaryList walls = t.mesh.Merge({1, 3});
        t.CopyCellVelocitiesToSlots(walls);
        DeviceList l(walls);
        std::vector<int> m(l.n, 1);
        m[1] = 0;
        std::vector<double> aE0 = rvztest::RandomVector(l.n, 23);
        aE0[1] = 0.0;
        auto match = IntsOf(m);
        auto CB = Up(rvztest::RandomVector(l.n, 24));
        auto aEb = Up(aE0), mfeb = Up(rvztest::RandomVector(l.n, 25));
        const int nnu = t.mesh.newNNU, nCol = t.mesh.nCol;
        auto& d = t.dev;
        d.ClearScratch();
        if (extended) {
            std::vector<double> air(l.n);
            const auto p = t.p->Download();
            for (int k = 0; k < l.n; ++k) air[k] = p[walls.slot[k]];
            auto airD = Up(air), VolF = Field(t.mesh.nExt);
            auto moving = IntsOf(std::vector<int>(l.n, 0));
            auto j1A = FlagsOf(std::vector<bool>(l.n)), j5A = FlagsOf(std::vector<bool>(l.n));
            auto t1 = Field(l.n), t2 = Field(l.n);
            EXPECT_EQ(Tool().CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(l.n, 0, 0.0, 0, 0.5, *l.slot, *match,
                                                                              *VolF, *airD, *moving, *t.p, *t.pp,
                                                                              *j1A, *j5A, 1),
                      0);
            EXPECT_EQ(t.BoundFlux(l, *j1A, *aEb, *mfeb, 0), 0);
            EXPECT_EQ(Tool().CalcPP_SetPPWall_Update_AiSu(l.n, l.nRows, nnu, nCol, *mfeb, *CB, *j1A, *t1, *t2, *t.A,
                                                          *t.Source, *l.Px, *l.Py, *l.rows, *d.scratch, 1, 1),
                      0);
        } else {
            EXPECT_EQ(Tool().Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(
                          l.n, l.nRows, nnu, nCol, 0, *l.cell, *l.slot, *match, *t.u, *t.v, *t.w, *d.xc, *d.yc,
                          *d.zc, *t.dpx, *t.dpy, *t.dpz, *l.sx, *l.sy, *l.sz, *d.volume, *t.APR, *t.p, *aEb, *mfeb,
                          *t.Source, *l.Px, *l.Py, *d.scratch, *l.rows, 1, 1),
                      0);
            EXPECT_EQ(Tool().CalcPP_WallAi(l.n, l.nRows, nnu, nCol, *l.Px, *l.Py, *match, *CB, *d.scratch, *t.A,
                                           *l.rows, 1, 1),
                      0);
        }
        return Compared{t.p->Download(), {}, t.u->Download(), aEb->Download(),
                        mfeb->Download(), t.Source->Download(), t.A->Download()};
    };
    const Compared e = run(true), b = run(false);
    EXPECT_EQ(e.p, b.p);
    EXPECT_EQ(e.u, b.u);
    EXPECT_EQ(e.aE, b.aE);
    EXPECT_EQ(e.mfe, b.mfe);
    EXPECT_EQ(e.Source, b.Source);
    EXPECT_EQ(e.A, b.A);
}

TEST(CalcPPFlowEAgreesWithBasic, BoundaryValuesOfTheCorrection)
{
    Case t(BoxMesh(3, 2, 1));
    t.Randomise(31);
    const flowtest::BoundaryList& side = t.mesh.side[2];
    DeviceList l(side);
    auto vent = IntsOf({0, 1, 0}), open = IntsOf({1, 1, 1});
    const auto start = t.pp->Download();
    auto check = [&](auto extended, auto basic) {
        t.pp->Upload(start);
        ASSERT_EQ(extended(), 0);
        const auto e = t.pp->Download();
        t.pp->Upload(start);
        ASSERT_EQ(basic(), 0);
        EXPECT_EQ(e, t.pp->Download());
        EXPECT_NE(e, start);
    };
    check([&] { return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi(3, *l.cell, *l.slot, *vent, *t.pp, 1); },
          [&] { return Tool().Calc_UpdateBoundaryPP_Wall(3, *l.slot, *l.cell, *vent, *t.pp, 1); });
    for (int s : {1, 2}) {
        auto basic = [&] {
            return s == 1 ? Tool().Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(3, *l.slot, *l.cell, *t.pp, 1)
                          : Tool().Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(3, *l.slot, *t.pp, 1);
        };
        check([&] { return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(3, s, *l.cell, *l.slot, *t.pp, 1); },
              basic);
        check([&] {
            return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(3, s, *l.cell, *l.slot, *open, *vent, *t.pp,
                                                                         1);
        },
              basic);
    }
    check([&] { return Tool().CalcPP_FlowE_Update_fi_OutletSymm(3, *l.cell, *l.slot, *t.pp, 1); },
          [&] { return Tool().Calc_UpdateBoundaryPP_Outlet(3, *l.slot, *l.cell, *t.pp, 1); });
}

TEST(CalcPPFlowEAgreesWithBasic, CorrectionsAndTheFinalDiagonal)
{
    const int nCells = 24;
    auto prepare = [&](unsigned seed) {
        auto t = std::make_unique<Case>(BoxMesh(4, 3, 2, 0.3, 0.5, 0.7));
        t->Randomise(seed);
        t->A->Upload(rvztest::RandomVector(t->mesh.EllSize(), seed + 20));
        t->MassFlux->Upload(rvztest::RandomVector(t->mesh.nFaces, seed + 21));
        t->Source->Upload(rvztest::RandomVector(nCells, seed + 22));
        return t;
    };
    auto all = [](const Case& t) {
        std::vector<double> r;
        for (const Array* a : {&t.u, &t.v, &t.w, &t.p, &t.MassFlux, &t.Source, &t.A}) {
            const auto x = (*a)->Download();
            r.insert(r.end(), x.begin(), x.end());
        }
        return r;
    };
    auto e = prepare(41), b = prepare(41);
    auto bad = IntsOf(std::vector<int>(nCells, 1));
    const auto& m = e->mesh;
    Plan plan(nCells);
    auto buffer = Field(plan.total);
    double sumE = 0.0, sumB = 1.0;

    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectPressureVelocities(nCells, 0.7, 0, 0, 0.1, *bad, *e->pp, *e->dev.volume,
                                                            *e->dpx, *e->dpy, *e->dpz, *e->APR, *e->p, *e->u, *e->v,
                                                            *e->w, *e->Source, 1),
              0);
    ASSERT_EQ(Tool().Calc_CorrectPressureVelocityCV(nCells, 0.7, 0.1, 0, *b->dev.volume, *b->APR, *b->pp, *b->p,
                                                    *b->dpx, *b->dpy, *b->dpz, *b->u, *b->v, *b->w, *b->Source, 1),
              0);
    ASSERT_EQ(Tool().CalcPP_FlowE_UpdateMassFlux(m.nFaces, m.newNNU, *e->dev.P, *e->dev.E, *e->dev.Px, *e->dev.Py,
                                                 *e->A, *e->pp, *e->MassFlux, 1),
              0);
    ASSERT_EQ(Tool().CalcPP_CorrectMassFlux(m.nFaces, m.newNNU, *b->dev.Px, *b->dev.Py, *b->dev.Ex, *b->dev.Ey, *b->A,
                                            *b->pp, *b->MassFlux, 1),
              0);
    e->Source->Upload(rvztest::RandomVector(nCells, 50));
    b->Source->Upload(rvztest::RandomVector(nCells, 50));
    ASSERT_EQ(Tool().CalcPP_FlowE_EnhanceRobustness(nCells, 0.8, m.newNNU, m.nCol, *e->pp, *e->A, *e->Source, 1), 0);
    ASSERT_EQ(Tool().CalcPP_FlowE_MassSum(nCells, *e->Source, sumE, *buffer, plan.nLevels, plan.count, plan.offset,
                                          plan.total, plan.size),
              0);
    ASSERT_EQ(Tool().Calc_AiSuMassSum(nCells, m.newNNU, m.nCol, 0.8, *b->pp, *b->A, *b->Source, sumB, *buffer,
                                      plan.nLevels, plan.count, plan.offset, plan.total, plan.size),
              0);
    EXPECT_TRUE(rvztest::SameBits(sumE, sumB));

    // Second corrector and the basic non-orthogonal correction.
    auto tE = Field(m.nFaces), tB = Field(m.nFaces);
    auto& de = e->dev;
    auto& db = b->dev;
    de.ClearScratch();
    db.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(
                  m.nFaces, nCells, m.newNNU, m.nCol, *de.P, *de.E, *de.sx, *de.sy, *de.sz, *de.xc, *de.yc, *de.zc,
                  *e->APR, *e->dpx, *e->dpy, *e->dpz, *e->MassFlux, *tE, *de.Px, *de.Py, *de.Ex, *de.Ey, *de.scratch,
                  *e->Source, 1, 1),
              0);
    ASSERT_EQ(Tool().Calc_InnerFluxPPCorr(m.nFaces, nCells, m.newNNU, m.nCol, *db.P, *db.E, *db.sx, *db.sy, *db.sz,
                                          *db.xc, *db.yc, *db.zc, *b->APR, *b->dpx, *b->dpy, *b->dpz, *b->MassFlux,
                                          *b->Source, *db.Px, *db.Py, *db.Ex, *db.Ey, *db.scratch, *tB, 1, 1),
              0);
    EXPECT_EQ(tE->Download(), tB->Download());
    const auto re = all(*e), rb = all(*b);
    ASSERT_EQ(re.size(), rb.size());
    for (size_t k = 0; k < re.size(); ++k) ASSERT_TRUE(rvztest::SameBits(re[k], rb[k])) << k;
}

// Pressure-controlled open gates are corrected like the basic
// pressure-controlled inlet, and their inflow is its inflow; vents without
// compression are the basic vents.
TEST(CalcPPFlowEAgreesWithBasic, InletAndWallCorrections)
{
    auto run = [](bool extended) {
        Case t(BoxMesh(3, 2, 2, 0.5, 0.4, 0.3));
        t.Randomise(61);
        const flowtest::BoundaryList inlet = t.mesh.Merge({0, 4});
        const flowtest::BoundaryList walls = t.mesh.Merge({1, 3});
        DeviceList in(inlet), wl(walls);
        auto Fin = Up(rvztest::RandomVector(in.n, 62)), Fw = Up(rvztest::RandomVector(wl.n, 63));
        std::vector<int> m(wl.n, 1);
        m[0] = 0, m[2] = 0;
        auto vent = IntsOf(m);
        Plan pi(in.n), pw(wl.n);
        auto b1 = Field(pi.total), b2 = Field(pi.total), b3 = Field(pi.total), bw = Field(pw.total);
        double inflow = 0.0, second = 0.0, third = 0.0, outflow = 0.0;
        auto& d = t.dev;
        if (extended) {
            auto j1C = FlagsOf(std::vector<bool>(in.n, false)), j1D = FlagsOf(std::vector<bool>(in.n, true));
            auto none = FlagsOf(std::vector<bool>(in.n, false));
            EXPECT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(in.n, *in.cell, *in.slot, *in.sx, *in.sy,
                                                                            *in.sz, *j1C, *j1D, *none, *d.xc, *d.yc,
                                                                            *d.zc, *t.APR, *d.volume, *t.u, *t.v,
                                                                            *t.w, *t.pp, *Fin, 1),
                      0);
            EXPECT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_TotalMass(in.n, *j1C, *j1D, *none, *none, *Fin, inflow,
                                                                    second, third, *b1, *b2, *b3, pi.nLevels, pi.count,
                                                                    pi.offset, pi.total, pi.size),
                      0);
            EXPECT_EQ(second, 0.0);
            EXPECT_EQ(third, 0.0);
            auto VolF = Field(t.mesh.nExt, 1.0);
            auto moving = IntsOf(std::vector<int>(wl.n, 1));
            EXPECT_EQ(Tool().CalcPP_FlowE_CorrectWallVel_TotalMass(wl.n, 0, 0.5, *wl.cell, *wl.slot, *vent, *moving,
                                                                   *wl.sx, *wl.sy, *wl.sz, *d.xc, *d.yc, *d.zc, *VolF,
                                                                   *t.pp, *t.APR, *d.volume, *t.u, *t.v, *t.w, *Fw,
                                                                   outflow, *bw, pw.nLevels, pw.count, pw.offset,
                                                                   pw.total, pw.size),
                      0);
        } else {
            EXPECT_EQ(Tool().Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(
                          in.n, *in.cell, *in.slot, *d.xc, *d.yc, *d.zc, *t.u, *t.v, *t.w, *in.sx, *in.sy, *in.sz,
                          *d.volume, *t.APR, *t.pp, *Fin, inflow, second, *b1, *b2, pi.nLevels, pi.count, pi.offset,
                          pi.total, pi.size),
                      0);
            EXPECT_EQ(Tool().Calc_CorrectVelocityWallOutlet(wl.n, *wl.cell, *wl.slot, *vent, *d.xc, *d.yc, *d.zc,
                                                            *t.u, *t.v, *t.w, *wl.sx, *wl.sy, *wl.sz, *d.volume,
                                                            *t.APR, *t.pp, *Fw, outflow, *bw, pw.nLevels, pw.count,
                                                            pw.offset, pw.total, pw.size),
                      0);
        }
        std::vector<double> r = t.u->Download();
        for (const auto& a : {Fin->Download(), Fw->Download(), t.v->Download(), t.w->Download()})
            r.insert(r.end(), a.begin(), a.end());
        r.push_back(inflow);
        r.push_back(outflow);
        return r;
    };
    EXPECT_EQ(run(true), run(false));
}

// ---------------------------------------------------------------------------
// Melt compressibility
// ---------------------------------------------------------------------------

TEST(CalcPPFlowECompressibility, DensityChangeTermsFromTheSecondStepOn)
{
    Case t = Line3();  // V = 0.5
    SetCells(*t.p, {3.0, 5.0, 2.0});
    auto p0 = Up(std::vector<double>{1.0, 5.0, 4.0}), ddp = Up(std::vector<double>{0.1, 0.2, 0.4});
    auto ddT = Up(std::vector<double>{0.0, 0.3, -0.1});
    t.Source->Upload({1.0, 1.0, 1.0});
    t.A->Upload(std::vector<double>(t.mesh.EllSize(), 2.0));
    const auto A0 = t.A->Download();
    ASSERT_EQ(Tool().CalcPP_FlowE_1stImplicitEulerMethod(3, 1, 0.25, 2.0, *t.p, *p0, *ddp, *ddT, *t.dev.volume,
                                                         *t.Source, *t.A, 1),
              0);
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{1.0, 1.0, 1.0}));
    EXPECT_EQ(t.A->Download(), A0);
    ASSERT_EQ(Tool().CalcPP_FlowE_1stImplicitEulerMethod(3, 2, 0.25, 2.0, *t.p, *p0, *ddp, *ddT, *t.dev.volume,
                                                         *t.Source, *t.A, 1),
              0);
    // tau = 0.5: Su -= V((p - p0) drho/dp + drho_T)/tau, A(c,0) += drho/dp V/tau.
    const auto S = t.Source->Download(), A = t.A->Download();
    EXPECT_DOUBLE_EQ(S[0], 1.0 - 0.2);
    EXPECT_DOUBLE_EQ(S[1], 1.0 - 0.3);
    EXPECT_DOUBLE_EQ(S[2], 1.0 - (-0.8 - 0.1));
    EXPECT_DOUBLE_EQ(A[0], 2.1);
    EXPECT_DOUBLE_EQ(A[1], 2.2);
    EXPECT_DOUBLE_EQ(A[2], 2.4);
    EXPECT_EQ(A[t.mesh.newNNU], 2.0);  // off-diagonals untouched
}

// A pressure-controlled face in a compressible step carries its flux's
// density change on the diagonal: -((drho/dp(b) + drho/dp(P))/2 mfe + CB).
TEST(CalcPPFlowECompressibility, PressureControlledInletDiagonal)
{
    Case t = Line3();
    const flowtest::BoundaryList ends = t.mesh.Merge({0, 1});
    DeviceList l(ends);
    std::vector<double> ddp(t.mesh.nExt, 0.0);
    ddp[0] = 0.2, ddp[2] = 0.6, ddp[ends.slot[0]] = 0.4, ddp[ends.slot[1]] = 1.0;
    auto ddpD = Up(ddp), mfe = Up(std::vector<double>{-3.0, 2.0}), CB = Up(std::vector<double>{-1.0, -0.5});
    auto j2 = FlagsOf({true, true}), j3 = FlagsOf({true, false});
    auto t1 = Field(2), t2 = Field(2);
    t.dev.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_Update_AiSu(2, l.nRows, t.mesh.newNNU, t.mesh.nCol, *l.cell, *l.slot,
                                                          *mfe, *CB, *j2, *j3, *ddpD, *t1, *t2, *t.A, *t.Source, *l.Px,
                                                          *l.Py, *l.rows, *t.dev.scratch, 1, 1),
              0);
    EXPECT_DOUBLE_EQ(t.A->Download()[0], -(0.3 * -3.0 - 1.0));
    EXPECT_DOUBLE_EQ(t.A->Download()[2], 0.5);  // j3 false: -CB only
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{3.0, 0.0, -2.0}));
}

// A channel of four cells, closed but for a velocity-controlled inlet that
// brings Q, filled with a melt of linear state equation rho = rho0(1 +
// kappa (p - pr)) (so drho/dp = rho0 kappa and the density change over the
// step is the integral of drho/dp dp = rho0 kappa (p - p0)). The assembled
// correction equation, solved densely and applied to the fluxes, must make
// every cell store exactly its net inflow: V (rho(p + pp) - rho(p0))/tau.
TEST(CalcPPFlowECompressibility, CorrectedChannelStoresItsInflow)
{
    Case t(BoxMesh(4, 1, 1, 0.5, 1.0, 1.0));
    const int n = 4;
    const double rho0 = 0.9, kappa = 0.05, pr = 1.0, Q = 1.5, dt = 0.1, dtNor = 2.0, tau = dt * dtNor + 1e-30;
    auto rho = [&](double p) { return rho0 * (1.0 + kappa * (p - pr)); };
    const std::vector<double> p = {4.0, 3.0, 2.5, 1.0}, p0 = {3.5, 3.0, 2.0, 1.5};
    SetCells(*t.p, p);
    SetCells(*t.APR, {0.3, 0.5, 0.2, 0.4});
    const int nnu = t.mesh.newNNU, nCol = t.mesh.nCol;
    auto& d = t.dev;
    // Face coefficients into the matrix, an unbalanced interior flux.
    ASSERT_EQ(t.FlowEFlux(0), 0);
    ASSERT_EQ(Tool().Calc_MapaEaWToAi(t.mesh.nFaces, nnu, *d.Px, *d.Py, *d.Ex, *d.Ey, *t.aE, *t.aW, *t.A, 1), 0);
    t.MassFlux->Upload({0.7, -0.2, 0.4});
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_FlowE_SourceTerm_CentralCoeff(t.mesh.nFaces, n, nnu, nCol, *t.MassFlux, *d.Px, *d.Py,
                                                          *d.Ex, *d.Ey, *d.scratch, *t.Source, 1, 1),
              0);
    DeviceList in(t.mesh.side[0]);
    auto mfeIn = Up(std::vector<double>{-Q}), temp = Field(1);
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(1, 1, nnu, nCol, 1, *mfeIn, *temp, *t.Source, *in.Px,
                                                             *in.Py, *in.rows, *d.scratch, 1, 1),
              0);
    auto p0D = Up(p0), ddp = Field(n, rho0 * kappa), ddT = Field(n, 0.0);
    ASSERT_EQ(Tool().CalcPP_FlowE_1stImplicitEulerMethod(n, 3, dt, dtNor, *t.p, *p0D, *ddp, *ddT, *d.volume,
                                                         *t.Source, *t.A, 1),
              0);
    ASSERT_EQ(Tool().CalcPP_FlowE_EnhanceRobustness(n, 1.0, nnu, nCol, *t.pp, *t.A, *t.Source, 1), 0);

    const std::vector<double> pp =
        flowtest::SolveEllDense(t.A->Download(), t.mesh.indexELL, nnu, nCol, t.Source->Download(), n);
    std::vector<double> ppx(t.mesh.nExt, 0.0);
    std::copy(pp.begin(), pp.end(), ppx.begin());
    t.pp->Upload(ppx);
    ASSERT_EQ(Tool().CalcPP_FlowE_UpdateMassFlux(t.mesh.nFaces, nnu, *d.P, *d.E, *d.Px, *d.Py, *t.A, *t.pp,
                                                 *t.MassFlux, 1),
              0);
    const auto F = t.MassFlux->Download();
    double stored = 0.0;
    for (int c = 0; c < n; ++c) {
        const double in = (c == 0 ? Q : F[c - 1]) - (c == n - 1 ? 0.0 : F[c]);
        const double storage = 0.5 * (rho(p[c] + pp[c]) - rho(p0[c])) / tau;
        EXPECT_NEAR(in, storage, 1e-12) << c;
        stored += storage;
    }
    EXPECT_NEAR(stored, Q, 1e-12);
}

// ---------------------------------------------------------------------------
// Boundary values of p and pp
// ---------------------------------------------------------------------------

TEST(CalcPPFlowEBoundaryValues, GatesAndWalls)
{
    // Entries over cells 0..3 with slots 4..7; cell values 1..4, slots 9.
    auto cells = IntsOf({0, 1, 2, 3}), slots = IntsOf({4, 5, 6, 7});
    const std::vector<double> start = {1, 2, 3, 4, 9, 9, 9, 9};
    auto fi = Up(start);
    auto air = Up(std::vector<double>{-5.0, -6.0, -7.0, -8.0});
    auto run = [&](auto op) {
        fi->Upload(start);
        EXPECT_EQ(op(), 0);
        return Head(fi->Download(), 8);
    };
    using V = std::vector<double>;
    // pp, gates: open (status 1: cell, 2: 0, 3: unchanged); closed: outlet 0, wall cell.
    auto open = IntsOf({1, 1, 0, 0}), vent = IntsOf({0, 0, 1, 0});
    auto ppGates = [&](int s) {
        return run([&] {
            return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(4, s, *cells, *slots, *open, *vent, *fi, 1);
        });
    };
    EXPECT_EQ(ppGates(1), (V{1, 2, 3, 4, 1, 2, 0, 4}));
    EXPECT_EQ(ppGates(2), (V{1, 2, 3, 4, 0, 0, 0, 4}));
    EXPECT_EQ(ppGates(3), (V{1, 2, 3, 4, 9, 9, 0, 4}));
    EXPECT_EQ(run([&] { return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(4, 3, *cells, *slots, *fi, 1); }),
              start);
    // pp, walls: a permanent outlet (2) takes 0 like a vent.
    auto wallVent = IntsOf({0, 1, 2, 0});
    EXPECT_EQ(run([&] { return Tool().CalcPP_FlowE_UpdateBoundaryPP_Update_fi(4, *cells, *slots, *wallVent, *fi, 1); }),
              (V{1, 2, 3, 4, 1, 0, 0, 4}));
    // p, walls: vents their air pressure.
    EXPECT_EQ(run([&] {
        return Tool().CalcPP_FlowE_UpdateBoundaryP_Update_fi(4, *cells, *slots, *wallVent, *air, *fi, 1);
    }),
              (V{1, 2, 3, 4, 1, -6, -7, 4}));
    // p, gates with their own status: open velocity-controlled: cell; open
    // pressure-controlled: unchanged; closed outlet: air; closed wall: cell.
    auto gate = IntsOf({0, 1, 0, 1}), status = IntsOf({1, 2});
    EXPECT_EQ(run([&] {
        return Tool().CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(4, *cells, *slots, *gate, *open, *vent, *status,
                                                                    *air, *fi, 1);
    }),
              (V{1, 2, 3, 4, 1, 9, -7, 4}));
    for (int s : {1, 2}) {
        EXPECT_EQ(run([&] {
            return Tool().CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(4, s, *cells, *slots, *fi, 1);
        }),
                  s == 1 ? (V{1, 2, 3, 4, 1, 2, 3, 4}) : start);
    }
}

// ---------------------------------------------------------------------------
// Corrections and their reductions
// ---------------------------------------------------------------------------

TEST(CalcPPFlowECorrections, RelaxationOfBadCellsAndTheCorrectionSelector)
{
    Case t = Line3();
    SetCells(*t.pp, {2.0, 2.0, 2.0});
    SetCells(*t.dpx, {1.0, 1.0, 1.0});
    auto bad = IntsOf({0, 1, 0});
    auto run = [&](int iflag, int turningBad) {
        SetCells(*t.p, {1.0, 1.0, 1.0});
        SetCells(*t.u, {1.0, 1.0, 1.0});
        t.Source->Upload({5.0, 5.0, 5.0});
        EXPECT_EQ(Tool().CalcPP_FlowE_CorrectPressureVelocities(3, 0.5, iflag, turningBad, 1.0, *bad, *t.pp,
                                                                *t.dev.volume, *t.dpx, *t.dpy, *t.dpz, *t.APR, *t.p,
                                                                *t.u, *t.v, *t.w, *t.Source, 1),
                  0);
        EXPECT_EQ(t.Source->Download(), (std::vector<double>{0.0, 0.0, 0.0}));
        return std::make_pair(Head(t.p->Download(), 3), Head(t.u->Download(), 3));
    };
    using V = std::vector<double>;
    // p += r (pp - ppo); u -= V APR dpp/dx with V = 0.5.
    EXPECT_EQ(run(0, 0), std::make_pair(V{1.5, 1.5, 1.5}, V{0.9, 0.8, 0.7}));
    EXPECT_EQ(run(1, 1), std::make_pair(V{1.5, 1.25, 1.5}, V{1.0, 1.0, 1.0}));
    EXPECT_EQ(run(2, 1), std::make_pair(V{1.0, 1.0, 1.0}, V{0.9, 0.8, 0.7}));
}

// Line3 with the -x end, the +x end and the three -y faces as one inlet list:
//   e0: open velocity-controlled assist-fluid gate (1C, 1E)
//   e1: open pressure-controlled gate (1D)
//   e2: closed gate below the critical fraction (2A)
//   e3: both 1D and 2A (each applies its decrement)
//   e4: no flag
TEST(CalcPPFlowECorrections, InletCorrectionAndItsSums)
{
    Case t = Line3();
    const flowtest::BoundaryList list = t.mesh.Merge({0, 1, 2});
    DeviceList l(list);
    const std::vector<int> b = list.slot;
    std::vector<double> u(t.mesh.nExt, 0.0), v(t.mesh.nExt, 0.0), pp(t.mesh.nExt, 0.0);
    u[b[0]] = 3.0, u[b[1]] = 1.0, v[b[3]] = 1.0, v[b[4]] = 0.25;
    pp[1] = 0.5, pp[2] = 0.5, pp[b[1]] = 1.0, pp[b[2]] = 2.0, pp[b[3]] = 1.0, pp[b[4]] = 7.0;
    t.u->Upload(u), t.v->Upload(v), t.pp->Upload(pp);
    auto F = Up(std::vector<double>{8.0, 2.0, 1.0, 3.0, 5.0});
    auto j1C = FlagsOf({true, false, false, false, false}), j1D = FlagsOf({false, true, false, true, false});
    auto j1E = FlagsOf({true, false, false, false, false}), j2A = FlagsOf({false, false, true, true, false});
    auto& d = t.dev;
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(5, *l.cell, *l.slot, *l.sx, *l.sy, *l.sz, *j1C,
                                                                    *j1D, *j2A, *d.xc, *d.yc, *d.zc, *t.APR,
                                                                    *d.volume, *t.u, *t.v, *t.w, *t.pp, *F, 1),
              0);
    // f = V APR/sqrt(|S|^2|d|^2): ends 0.5 APR/0.25, -y faces 0.5 APR/0.25.
    // e1: f = 1.2, c = 0.6; e2: f = 0.4, c = 0.8; e3: f = 0.8, c = 0.4.
    const auto Fn = F->Download(), un = t.u->Download(), vn = t.v->Download();
    EXPECT_DOUBLE_EQ(Fn[0], -3.0);  // slot velocity flux, no correction
    EXPECT_DOUBLE_EQ(Fn[1], 2.0 - 0.6);
    EXPECT_DOUBLE_EQ(Fn[2], 1.0 - 0.8 * 0.25);
    EXPECT_DOUBLE_EQ(Fn[3], 3.0 - 2.0 * 0.4 * 0.25);
    EXPECT_EQ(Fn[4], 5.0);
    EXPECT_EQ(un[b[0]], 3.0);
    EXPECT_DOUBLE_EQ(un[b[1]], 0.4);
    EXPECT_DOUBLE_EQ(vn[b[2]], 0.8 * 0.5);
    EXPECT_DOUBLE_EQ(vn[b[3]], 1.0 + 2.0 * 0.4 * 0.5);
    EXPECT_EQ(vn[b[4]], 0.25);

    Plan plan(5);
    auto b1 = Field(plan.total), b2 = Field(plan.total), b3 = Field(plan.total);
    double inlet = 0.0, fluid = 0.0, outlet = 0.0;
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_TotalMass(5, *j1C, *j1D, *j1E, *j2A, *F, inlet, fluid, outlet, *b1,
                                                            *b2, *b3, plan.nLevels, plan.count, plan.offset,
                                                            plan.total, plan.size),
              0);
    EXPECT_DOUBLE_EQ(inlet, 3.0 - 1.4 - 2.8);  // e3 counts in both
    EXPECT_DOUBLE_EQ(fluid, 3.0);
    EXPECT_DOUBLE_EQ(outlet, 0.8 + 2.8);

    // The largest slot speed of the pressure-controlled gates.
    double speed = 0.0;
    auto velNorm = [&](int n, DeviceArray<int>& slots, DeviceArray<bool>& flags) {
        Plan p(n);
        auto buffer = Field(p.total);
        EXPECT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_VelNorm(n, slots, flags, *t.u, *t.v, *t.w, speed, *buffer,
                                                              p.nLevels, p.count, p.offset, p.total, p.size),
                  0);
        return speed;
    };
    EXPECT_DOUBLE_EQ(velNorm(5, *l.slot, *j1D), 1.4);
    // No pressure-controlled gate: -1 only when the list fills its blocks.
    auto none = FlagsOf(std::vector<bool>(257, false));
    auto many = IntsOf(std::vector<int>(257, b[0]));
    EXPECT_EQ(velNorm(5, *l.slot, *none), 0.0);
    EXPECT_EQ(velNorm(256, *many, *none), -1.0);
    EXPECT_EQ(velNorm(257, *many, *none), 0.0);
}

// Line3, walls at both ends and the -y face of the middle cell:
//   e0: vent, corrected like an outlet;
//   e1: closed moving wall in compression: no correction, flux from its velocity;
//   e2: permanent outlet on a moving wall: corrected, then the moving flux.
TEST(CalcPPFlowECorrections, WallCorrectionVentsAndMovingWalls)
{
    Case t = Line3();
    flowtest::BoundaryList list = t.mesh.Merge({0, 1, 2});
    list.slot.erase(list.slot.begin() + 2), list.cell.erase(list.cell.begin() + 2);  // keep -y of cell 1
    list.sx.erase(list.sx.begin() + 2), list.sy.erase(list.sy.begin() + 2), list.sz.erase(list.sz.begin() + 2);
    for (auto* v : {&list.slot, &list.cell}) v->pop_back();
    for (auto* v : {&list.sx, &list.sy, &list.sz}) v->pop_back();
    DeviceList l(list);
    ASSERT_EQ(l.n, 3);
    const std::vector<int> b = list.slot;
    std::vector<double> u(t.mesh.nExt, 0.0), v(t.mesh.nExt, 0.0), pp(t.mesh.nExt, 0.0), VolF(t.mesh.nExt, 0.9);
    u[b[0]] = -1.0, u[b[1]] = 2.0, v[b[2]] = 0.5;
    pp[b[0]] = 1.0, pp[b[1]] = 3.0, pp[1] = 0.5, pp[b[2]] = 1.0;
    t.u->Upload(u), t.v->Upload(v), t.pp->Upload(pp);
    auto VolFD = Up(VolF);
    auto vent = IntsOf({1, 0, 2}), moving = IntsOf({0, 1, 1});
    auto F = Up(std::vector<double>{4.0, 6.0, 8.0});
    Plan plan(3);
    auto buffer = Field(plan.total);
    double outflow = 0.0;
    auto& d = t.dev;
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectWallVel_TotalMass(3, 1, 0.9, *l.cell, *l.slot, *vent, *moving, *l.sx, *l.sy,
                                                           *l.sz, *d.xc, *d.yc, *d.zc, *VolFD, *t.pp, *t.APR,
                                                           *d.volume, *t.u, *t.v, *t.w, *F, outflow, *buffer,
                                                           plan.nLevels, plan.count, plan.offset, plan.total,
                                                           plan.size),
              0);
    // e0: f = 0.5*0.2/0.25 = 0.4, c = 0.4; e2: f = 0.5*0.4/0.25 = 0.8, c = 0.4.
    const auto Fn = F->Download(), un = t.u->Download(), vn = t.v->Download();
    EXPECT_DOUBLE_EQ(un[b[0]], -1.0 + 0.4);  // S = (-1, 0, 0)
    EXPECT_DOUBLE_EQ(Fn[0], 4.0 - 0.4);
    EXPECT_EQ(un[b[1]], 2.0);
    EXPECT_EQ(Fn[1], 2.0);
    EXPECT_DOUBLE_EQ(vn[b[2]], 0.5 + 0.4 * 0.5);
    EXPECT_DOUBLE_EQ(Fn[2], -0.7 * 0.5);
    EXPECT_DOUBLE_EQ(outflow, 3.6 + (8.0 - 0.4 * 0.25));
}

// ---------------------------------------------------------------------------
// Partition-interface faces
// ---------------------------------------------------------------------------

// The interior faces of a 2x2 box taken as partition faces: owner-only
// terms summed into the owners' rows.
TEST(CalcPPFlowEPartition, OwnerOnlyTermsOfTheSourceAndTheSecondCorrector)
{
    Case t(BoxMesh(2, 2, 1, 0.5, 0.7, 1.0));
    t.Randomise(71);
    SetCells(*t.dev.yc, {0.35, 0.45, 1.05, 0.95});  // skewed faces: a non-zero correction
    const auto& m = t.mesh;
    auto& d = t.dev;
    auto rows = IntsOf({0, 1, 2});  // every owner of an interior face
    const std::vector<double> F = {2.0, 5.0, -1.0, 3.0};
    t.MassFlux->Upload(F);
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_FlowE_SourceTerm_CentralCoeff_Par(m.nFaces, 3, m.newNNU, m.nCol, *t.MassFlux, *d.Px,
                                                              *d.Py, *d.scratch, *t.Source, 1, 1, *rows),
              0);
    std::vector<double> expect(4, 0.0);
    for (int f = 0; f < m.nFaces; ++f) expect[m.P[f]] -= F[f];
    EXPECT_EQ(t.Source->Download(), expect);

    // The second corrector's flux is the interior one; only its owners' rows change.
    auto tInt = Field(m.nFaces), tPar = Field(m.nFaces), SInt = Field(4);
    auto FPar = Up(F);
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(
                  m.nFaces, 4, m.newNNU, m.nCol, *d.P, *d.E, *d.sx, *d.sy, *d.sz, *d.xc, *d.yc, *d.zc, *t.APR, *t.dpx,
                  *t.dpy, *t.dpz, *t.MassFlux, *tInt, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, *SInt, 1, 1),
              0);
    t.Source->Upload(std::vector<double>(4, 0.0));
    d.ClearScratch();
    ASSERT_EQ(Tool().CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Par(
                  m.nFaces, 3, m.newNNU, m.nCol, *d.P, *d.E, *d.sx, *d.sy, *d.sz, *d.xc, *d.yc, *d.zc, *t.APR, *t.dpx,
                  *t.dpy, *t.dpz, *FPar, *tPar, *d.Px, *d.Py, *d.scratch, *t.Source, *rows, 1, 1),
              0);
    const auto tv = tInt->Download();
    EXPECT_EQ(tPar->Download(), tv);
    EXPECT_EQ(FPar->Download(), t.MassFlux->Download());
    std::vector<double> owners(4, 0.0);
    for (int f = 0; f < m.nFaces; ++f) owners[m.P[f]] += -tv[f];
    for (int c = 0; c < 4; ++c) EXPECT_DOUBLE_EQ(t.Source->Download()[c], owners[c]) << c;
    EXPECT_NE(tv, std::vector<double>(4, 0.0));

    // Flux correction over partition faces: their own cells and matrix positions.
    t.A->Upload(rvztest::RandomVector(m.EllSize(), 72));
    t.MassFlux->Upload(F);
    FPar->Upload(F);
    ASSERT_EQ(Tool().CalcPP_FlowE_UpdateMassFlux(m.nFaces, m.newNNU, *d.P, *d.E, *d.Px, *d.Py, *t.A, *t.pp,
                                                 *t.MassFlux, 1),
              0);
    ASSERT_EQ(Tool().CalcPP_FlowE_UpdateMassFlux_Par(m.nFaces, m.newNNU, *d.P, *d.E, *d.Px, *d.Py, *t.A, *t.pp, *FPar,
                                                     1),
              0);
    EXPECT_EQ(FPar->Download(), t.MassFlux->Download());
    EXPECT_NE(FPar->Download(), F);
}

// ---------------------------------------------------------------------------
// Reproducibility and failures
// ---------------------------------------------------------------------------

// Three lock-step sums and a maximum over three levels: the host's sums,
// and the same bits for any number of threads.
TEST(CalcPPFlowERuns, InletSumsOverSeveralLevels)
{
    const int n = 70000;
    const auto F = rvztest::RandomVector(n, 81);
    std::vector<bool> c(n), dd(n), e(n), a(n);
    std::vector<int> slots(n);
    for (int k = 0; k < n; ++k) {
        c[k] = k % 3 == 0, dd[k] = k % 3 == 1, e[k] = k % 5 == 0, a[k] = k % 7 < 2;
        slots[k] = k;
    }
    long double inlet = 0, fluid = 0, outlet = 0;
    double fastest = -1.0;
    const auto u = rvztest::RandomVector(n, 82, 0.0, 1.0);
    for (int k = 0; k < n; ++k) {
        inlet += (c[k] ? -F[k] : 0.0) - (dd[k] ? F[k] : 0.0);
        fluid += e[k] ? -F[k] : 0.0;
        outlet += a[k] ? F[k] : 0.0;
        if (dd[k]) fastest = std::max(fastest, u[k]);
    }
    auto FD = Up(F), uD = Up(u), zero = Field(n);
    auto slotsD = IntsOf(slots);
    auto cD = FlagsOf(c), dD = FlagsOf(dd), eD = FlagsOf(e), aD = FlagsOf(a);
    Plan plan(n);
    ASSERT_EQ(plan.nLevels, 4);
    auto b1 = Field(plan.total), b2 = Field(plan.total), b3 = Field(plan.total);
    const auto runs = rvztest::ForThreadCounts({1, 2, 4}, [&] {
        std::vector<double> r(4);
        EXPECT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_TotalMass(n, *cD, *dD, *eD, *aD, *FD, r[0], r[1], r[2], *b1,
                                                                *b2, *b3, plan.nLevels, plan.count, plan.offset,
                                                                plan.total, plan.size),
                  0);
        EXPECT_EQ(Tool().CalcPP_FlowE_CorrectInletVel_VelNorm(n, *slotsD, *dD, *uD, *zero, *zero, r[3], *b1,
                                                              plan.nLevels, plan.count, plan.offset, plan.total,
                                                              plan.size),
                  0);
        return r;
    });
    EXPECT_NEAR(runs[0][0], static_cast<double>(inlet), 1e-10);
    EXPECT_NEAR(runs[0][1], static_cast<double>(fluid), 1e-10);
    EXPECT_NEAR(runs[0][2], static_cast<double>(outlet), 1e-10);
    EXPECT_EQ(runs[0][3], fastest);
    for (int k = 0; k < 4; ++k) {
        EXPECT_TRUE(rvztest::SameBits(runs[0][k], runs[1][k])) << k;
        EXPECT_TRUE(rvztest::SameBits(runs[0][k], runs[2][k])) << k;
    }
}

#if !RVZGPU_BACKEND_CUDA
TEST(CalcPPFlowERuns, FailedStepsAreReportedAndTheRestRuns)
{
    Case t = Line3();
    const flowtest::BoundaryList ends = t.mesh.Merge({0, 1});
    DeviceList l(ends);
    auto mfe = Up(std::vector<double>{-3.0, 2.0}), CB = Up(std::vector<double>{-1.0, -0.5}), ddp = Field(t.mesh.nExt);
    auto j2 = FlagsOf({true, true}), j3 = FlagsOf({false, false});
    auto t1 = Field(2), t2 = Field(2);
    t.dev.ClearScratch();
    int status = -1;
    // The per-face step runs, the diagonal's collect fails, the rest runs.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 1);
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().CalcPP_SetPPInlet_NOFAIM_Update_AiSu(2, l.nRows, t.mesh.newNNU, t.mesh.nCol, *l.cell, *l.slot,
                                                             *mfe, *CB, *j2, *j3, *ddp, *t1, *t2, *t.A, *t.Source,
                                                             *l.Px, *l.Py, *l.rows, *t.dev.scratch, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] CalcPP_SetPPInlet_UpdateSu_First_Collect failed: ") +
                       rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(t1->Download(), (std::vector<double>{1.0, 0.5}));
    EXPECT_EQ(t.A->Download()[0], 0.0);                                // its collect did not run
    EXPECT_EQ(t.Source->Download(), (std::vector<double>{3.0, 0.0, -2.0}));  // the right-hand side did

    // A single launch under its own (shortened) message.
    auto none = FlagsOf({false, false});
    rvz::host::testing::inject_launch_faults(1, cudaErrorInvalidValue);
    const std::string one = rvztest::CaptureOutput([&] {
        status = Tool().CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(
            2, *l.cell, *l.slot, *l.sx, *l.sy, *l.sz, *none, *none, *none, *t.dev.xc, *t.dev.yc, *t.dev.zc, *t.APR,
            *t.dev.volume, *t.u, *t.v, *t.w, *t.pp, *mfe, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorInvalidValue);
    EXPECT_EQ(one.rfind("GPU[0:host] CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInle failed: ", 0), 0u) << one;

    // A reduction reports its first level, returns its code, still finishes.
    Plan plan(2);
    auto b1 = Field(plan.total), b2 = Field(plan.total), b3 = Field(plan.total);
    double a = 0.0, b = 0.0, c = 0.0;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string red = rvztest::CaptureOutput([&] {
        status = Tool().CalcPP_FlowE_CorrectInletVel_TotalMass(2, *none, *none, *none, *none, *mfe, a, b, c, *b1, *b2,
                                                               *b3, plan.nLevels, plan.count, plan.offset, plan.total,
                                                               plan.size);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(red.rfind("GPU[0:host] CalcPP_FlowE_CorrectInletVel_TotalMass failed: ", 0), 0u) << red;
}
#endif

}  // namespace
