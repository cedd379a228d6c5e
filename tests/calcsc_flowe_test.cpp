// Extended-flow energy assembly: per-cell heat capacity, the bounded
// non-orthogonal correction, vents, per-face heat transfer, the inlet
// forms, hot-runner walls and the hot-runner control, checked by hand on
// boxes of a few cells; then the extended path with a constant heat
// capacity and no extras against the basic energy path on the same mesh,
// and the reporting of failed steps.
#include <cmath>
#include <limits>
#include <vector>

#include "CU_CalcSC_FlowE.h"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoundaryList;
using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::SetCells;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

using Doubles = std::unique_ptr<DeviceArray<double>>;
using Ints = std::unique_ptr<DeviceArray<int>>;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

enum class EForm { All, Opt, Judge, Par };

// The extended temperature equation's interior faces on one box.
struct FlowE {
    BoxMesh mesh;
    DeviceMesh dev;
    Doubles T, gx, gy, gz, mk, cp, mfe, aE, aW, Su, temp;
    Ints judge;

    explicit FlowE(BoxMesh m) : mesh(std::move(m)), dev(mesh)
    {
        const int n = mesh.nExt, nf = mesh.nFaces;
        T = Field(n), gx = Field(n), gy = Field(n), gz = Field(n), mk = Field(n, 1.0), cp = Field(n, 1.0);
        mfe = Field(nf), aE = Field(nf, 99.0), aW = Field(nf, 99.0), temp = Field(nf, 99.0), Su = Field(mesh.nCells);
        judge = Up(std::vector<int>(nf, 1));
    }

    int Inner(EForm form, double beta, std::vector<int> rows = {})
    {
        dev.ClearScratch();
        if (rows.empty())
            for (int c = 0; c < mesh.nCells; ++c) rows.push_back(c);
        auto list = Up(rows);
        const int nRows = static_cast<int>(rows.size());
        const int fb = flowtest::Blocks(mesh.nFaces), cb = flowtest::Blocks(nRows);
        auto& d = dev;
        switch (form) {
            case EForm::All:
                return Tool().CalcSC_FlowE_InnerFluxSC(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, *cp, *d.P, *d.E,
                                                       *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx, *d.sy,
                                                       *d.sz, *mk, *mfe, *aE, *aW, *Su, *temp, beta, *d.Px, *d.Py,
                                                       *d.Ex, *d.Ey, *d.scratch, cb, fb);
            case EForm::Opt:
                return Tool().CalcSC_FlowE_InnerFluxSC_Opt(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, *cp, *d.P,
                                                           *d.E, *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx,
                                                           *d.sy, *d.sz, *mk, *mfe, *aE, *aW, *Su, *temp, beta, *d.Px,
                                                           *d.Py, *d.Ex, *d.Ey, *d.scratch, fb, cb, *list);
            case EForm::Judge:
                return Tool().CalcSC_FlowE_InnerFluxSC_Opt_judge(
                    mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, *cp, *d.P, *d.E, *d.le, *T, *gx, *gy, *gz, *d.xc,
                    *d.yc, *d.zc, *d.sx, *d.sy, *d.sz, *mk, *mfe, *aE, *aW, *Su, *temp, beta, *judge, *d.Px, *d.Py,
                    *d.Ex, *d.Ey, *d.scratch, fb, cb, *list);
            case EForm::Par:
                return Tool().CalcSC_FlowE_InnerFluxSC_Par(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, *cp, *d.P,
                                                           *d.E, *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx,
                                                           *d.sy, *d.sz, *mk, *mfe, *aE, *Su, *temp, beta, *d.Px,
                                                           *d.Py, *d.Ex, *d.Ey, *d.scratch, fb, cb, *list);
        }
        return -1;
    }
};

// Per-face contributions and their targets of a boundary operation on a
// list of the box: the diagonal A (ELL, 100 on the listed rows) and SuD.
struct TwoPass {
    DeviceList list;
    Doubles A, Su, t1, t2;
    explicit TwoPass(const BoxMesh& m, const BoundaryList& b) : list(b)
    {
        std::vector<double> a(m.EllSize(), 0.0);
        for (int c = 0; c < m.nCells; ++c) a[c] = 100.0;
        A = Up(a), Su = Field(m.nCells, 10.0), t1 = Field(list.n, 99.0), t2 = Field(list.n, 99.0);
    }
    std::vector<double> Diagonal(int n) const
    {
        auto a = A->Download();
        return std::vector<double>(a.begin(), a.begin() + n);
    }
};

// ---------------------------------------------------------------------------
// Per-cell heat capacity: face mass flux, convection, time term, heating
// ---------------------------------------------------------------------------

TEST(FlowEHeatCapacity, FaceMassFluxFromCellOrMixtureDensity)
{
    BoxMesh m(3, 1, 1);
    DeviceMesh d(m);
    auto vfe = Up(std::vector<double>{0.25, 1.0}), q = Up(std::vector<double>{2.0, -1.0});
    auto den = Up(std::vector<double>{1.0, 3.0, 5.0}), mfe = Field(2), cp = Field(3);
    ASSERT_EQ(Tool().CalcSC_FlowE_InnerFluxSC_mfe(2, *cp, *d.P, *d.E, *vfe, 0.9, 0.001, *q, *den, *mfe, 1, 1), 0);
    EXPECT_EQ(mfe->Download(), (std::vector<double>{4.0, -4.0}));
    for (int weighted : {0, 2}) {
        ASSERT_EQ(Tool().CalcSC_FlowE_InnerFluxSC_mfe(2, *cp, *d.P, *d.E, *vfe, 0.9, 0.001, *q, *den, *mfe, weighted, 1),
                  0);
        const auto v = mfe->Download();
        EXPECT_DOUBLE_EQ(v[0], (0.25 * 0.9 + 0.75 * 0.001) * 2.0);
        EXPECT_DOUBLE_EQ(v[1], -0.9);
    }
}

// Three cells along x (dx = 0.5, unit faces), conductivities 1, 3, 5,
// specific heats 2, 4, 8, E-side weights 1/4: D = k_f |S|^2/(S.d) with the
// harmonic k_f, and the face's heat capacity interpolated with the weight.
TEST(FlowEHeatCapacity, ConvectionCarriesTheFaceHeatCapacity)
{
    FlowE e{BoxMesh(3, 1, 1, 0.5, 1.0, 1.0)};
    SetCells(*e.mk, {1.0, 3.0, 5.0});
    SetCells(*e.cp, {2.0, 4.0, 8.0});
    e.dev.le->Upload({0.25, 0.25});
    e.mfe->Upload({0.7, -0.3});
    ASSERT_EQ(e.Inner(EForm::All, 0.5), 0);
    const double D0 = 2.0 / 0.5, D1 = 1.0 / (0.75 / 5 + 0.25 / 3) / 0.5;
    auto aE = e.aE->Download(), aW = e.aW->Download();
    EXPECT_DOUBLE_EQ(aE[0], -D0);
    EXPECT_DOUBLE_EQ(aW[0], -(0.25 * 4.0 + 0.75 * 2.0) * 0.7 - D0);
    EXPECT_DOUBLE_EQ(aE[1], -(0.25 * 8.0 + 0.75 * 4.0) * 0.3 - D1);
    EXPECT_DOUBLE_EQ(aW[1], -D1);
    EXPECT_EQ(e.temp->Download(), (std::vector<double>{0.0, 0.0}));  // uniform field: no correction

    // Weight 1: the owner's conductivity, the neighbour's heat capacity.
    ASSERT_EQ(e.Inner(EForm::Opt, 0.5), 0);
    EXPECT_EQ(e.aE->Download(), (std::vector<double>{-2.0, -8.0 * 0.3 - 6.0}));
    EXPECT_EQ(e.aW->Download(), (std::vector<double>{-4.0 * 0.7 - 2.0, -6.0}));
    e.aW->Upload({99.0, 99.0});
    ASSERT_EQ(e.Inner(EForm::Par, 0.5), 0);
    EXPECT_EQ(e.aE->Download(), (std::vector<double>{-2.0, -8.0 * 0.3 - 6.0}));
    EXPECT_EQ(e.aW->Download(), (std::vector<double>{99.0, 99.0}));
}

TEST(FlowEHeatCapacity, TimeTermHeatingAndFinalCoefficients)
{
    BoxMesh m(3, 1, 1);
    auto cp = Up(std::vector<double>{2.0, 3.0}), den = Up(std::vector<double>{1.0, 2.0});
    auto vol = Up(std::vector<double>{0.5, 0.5}), f0 = Up(std::vector<double>{10.0, 20.0});
    auto f00 = Up(std::vector<double>{4.0, 8.0}), su = Field(2, 1.0), A = Field(2, 1.0);
    // c = rho V cp / (dt dtNor) = 4 and 12; B = 1: history 2 T0 - T00/2, diagonal 1.5 c.
    ASSERT_EQ(Tool().CalcSC_FlowE_UnsteadyTermContributionSC(2, *cp, 4.0, 1.0, *den, *vol, *f0, *f00, *su, *A, 1), 0);
    EXPECT_EQ(su->Download(), (std::vector<double>{1.0 + 4.0 * 18.0, 1.0 + 12.0 * 36.0}));
    EXPECT_EQ(A->Download(), (std::vector<double>{1.0 + 6.0, 1.0 + 18.0}));

    // Heating capped at VisTempLimiter/(dt dtNor) rho cp = 5 * 2 * rho cp per
    // unit volume; only filled cells, only with lVisHeat != 0.
    auto volF = Up(std::vector<double>{1.0, 1.0, 0.2}), vis = Up(std::vector<double>{3.0, 10.0, 3.0});
    auto sr = Up(std::vector<double>{2.0, 2.0, 2.0}), cp3 = Field(3, 2.0), den3 = Field(3, 1.0);
    auto vol3 = Field(3, 0.5), su3 = Field(3, 1.0), unread = Field(3);
    ASSERT_EQ(Tool().CalcSC_FlowE_ViscousDisspationVolumetricTerm(3, 0.5, 1.0, 5.0, 2.0, 7.0, 1, *cp3, *volF, *vis,
                                                                  *sr, *den3, *vol3, *unread, *su3, 1),
              0);
    EXPECT_EQ(su3->Download(), (std::vector<double>{1.0 + 12.0 * 0.5, 1.0 + 20.0 * 0.5, 1.0}));
    ASSERT_EQ(Tool().CalcSC_FlowE_ViscousDisspationVolumetricTerm(3, 0.5, 0.0, 5.0, 2.0, 7.0, 1, *cp3, *volF, *vis,
                                                                  *sr, *den3, *vol3, *unread, *su3, 1),
              0);
    EXPECT_EQ(su3->Download()[0], 7.0);

    // Row 1 of a 3-cell line: diagonal 10, off-diagonals -2 and -3; aP =
    // (10 + 5) / relax through OneOver_relaxIF; no hot-runner penalty here.
    std::vector<double> ell(m.EllSize(), 0.0);
    ell[1] = 10.0, ell[1 * m.newNNU + 1] = -2.0, ell[2 * m.newNNU + 1] = -3.0;
    auto AE = Up(ell), fi = Up(std::vector<double>{0.0, 4.0, 0.0}), sfi = Field(3, 1.0);
    ASSERT_EQ(Tool().CalcSC_FlowE_FinalCoeffRHS_Sfi(3, m.newNNU, m.nCol, 0.5, *fi, *AE, *sfi, 2.0, 1), 0);
    EXPECT_EQ(AE->Download()[1], 30.0);
    EXPECT_EQ(sfi->Download(), (std::vector<double>{1.0, 1.0 + 0.5 * 30.0 * 4.0, 1.0}));
}

// ---------------------------------------------------------------------------
// The bounded non-orthogonal correction
// ---------------------------------------------------------------------------

// Two cells whose centroids are offset by d = (3, 4, 0) across a face
// S = (5, 0, 0) with unit conductivity: D = |S|^2/(S.d) = 5/3 and, with a
// gradient along y alone, C = -(5/3) 4 g_y.
struct Skewed : FlowE {
    Skewed() : FlowE(Geometry()) { dev.sx->Upload({5.0}); }
    static BoxMesh Geometry()
    {
        BoxMesh m(2, 1, 1);
        m.xc[1] = m.xc[0] + 3.0;
        m.yc[1] = m.yc[0] + 4.0;
        return m;
    }
    // The kept correction for T_E - T_P = dT and the y-gradients at P and E.
    double Run(EForm form, double beta, double dT, double gyP, double gyE)
    {
        SetCells(*T, {10.0, 10.0 + dT});
        SetCells(*gy, {gyP, gyE});
        Su->Upload({100.0, 100.0});
        EXPECT_EQ(Inner(form, beta), 0);
        const double kept = temp->Download()[0];
        const auto su = Su->Download();
        EXPECT_EQ(su[0], 100.0 + kept);  // owner +, neighbour -
        EXPECT_EQ(su[1], 100.0 - kept);
        return kept;
    }
};

TEST(FlowENonOrthogonal, CorrectionIsBoundedByTheImplicitFlux)
{
    Skewed s;
    const double D = 25.0 / 15.0;
    EXPECT_DOUBLE_EQ(s.aE->Download()[0], 99.0);
    EXPECT_DOUBLE_EQ(s.Run(EForm::All, 0.5, 1.0, -0.25, -0.25), D);        // C = D R/R: lambda = 1
    EXPECT_DOUBLE_EQ(s.Run(EForm::All, 0.5, 1.0, -1.0, -1.0), D);          // C = 4 D: cut to R
    EXPECT_DOUBLE_EQ(s.Run(EForm::All, 0.75, 1.0, -1.0, -1.0), 3.0 * D);   // beta/(1-beta) = 3: r = 3/4
    EXPECT_DOUBLE_EQ(s.Run(EForm::All, 0.5, -1.0, 1.0, 1.0), -D);          // both negative
    EXPECT_EQ(s.Run(EForm::All, 0.5, 1.0, 1.0, 1.0), 0.0);                 // opposite signs: dropped
    EXPECT_DOUBLE_EQ(s.aE->Download()[0], -D);
    // beta = 0 leaves a correction of the order of 1e-30; so does dT = 0.
    EXPECT_LT(std::fabs(s.Run(EForm::All, 0.0, 1.0, -1.0, -1.0)), 1.0e-29);
    EXPECT_LT(std::fabs(s.Run(EForm::All, 0.5, 0.0, -1.0, -1.0)), 1.0e-29);
}

TEST(FlowENonOrthogonal, WeightsAndTheJudgedFaceList)
{
    Skewed s;
    s.dev.le->Upload({0.25});
    const double D = 25.0 / 15.0;
    // g_y = 0.25 (-2) + 0.75 (-0.2) = -0.65: C = 0.65 (20/3) < R (beta 0.75).
    EXPECT_DOUBLE_EQ(s.Run(EForm::All, 0.75, 10.0, -0.2, -2.0), 0.65 * 4.0 * D);
    // Weight 1: the neighbour's gradient alone.
    EXPECT_DOUBLE_EQ(s.Run(EForm::Opt, 0.75, 10.0, -0.2, -2.0), 2.0 * 4.0 * D);
    EXPECT_DOUBLE_EQ(s.Run(EForm::Par, 0.75, 10.0, -0.2, -2.0), 2.0 * 4.0 * D);
    // Judged, flag 1: the owner's gradient is copied to E first.
    EXPECT_DOUBLE_EQ(s.Run(EForm::Judge, 0.75, 10.0, -0.2, -2.0), 0.2 * 4.0 * D);
    EXPECT_EQ(s.gy->Download()[1], -0.2);
    // Flag 0: nothing but tempD = 0; coefficients and gradient are kept.
    s.judge->Upload({0});
    s.aE->Upload({99.0}), s.aW->Upload({98.0});
    EXPECT_EQ(s.Run(EForm::Judge, 0.75, 10.0, -0.2, -2.0), 0.0);
    EXPECT_EQ(s.gy->Download()[1], -2.0);
    EXPECT_EQ(s.aE->Download()[0], 99.0);
    EXPECT_EQ(s.aW->Download()[0], 98.0);
}

// A skewed 24 x 24 x 2 box (centroids shifted at random) with random
// fields: the same bits on one and two OpenMP threads.
TEST(FlowENonOrthogonal, SameBitsForOneAndTwoThreads)
{
    BoxMesh m(24, 24, 2, 0.1, 0.1, 0.1);
    const auto shift = rvztest::RandomVector(m.nCells * 3, 21, -0.02, 0.02);
    for (int c = 0; c < m.nCells; ++c) m.xc[c] += shift[3 * c], m.yc[c] += shift[3 * c + 1], m.zc[c] += shift[3 * c + 2];
    FlowE e{m};
    const int n = m.nExt;
    e.T->Upload(rvztest::RandomVector(n, 22, 100.0, 200.0));
    e.gx->Upload(rvztest::RandomVector(n, 23)), e.gy->Upload(rvztest::RandomVector(n, 24));
    e.gz->Upload(rvztest::RandomVector(n, 25)), e.mk->Upload(rvztest::RandomVector(n, 26, 0.5, 2.0));
    e.cp->Upload(rvztest::RandomVector(n, 27, 1.0, 3.0)), e.mfe->Upload(rvztest::RandomVector(m.nFaces, 28));
    const auto runs = rvztest::ForThreadCounts({1, 2}, [&] {
        e.Su->Upload(std::vector<double>(m.nCells, 0.0));
        EXPECT_EQ(e.Inner(EForm::All, 0.6), 0);
        std::vector<double> out = e.Su->Download(), aE = e.aE->Download(), aW = e.aW->Download();
        out.insert(out.end(), aE.begin(), aE.end());
        out.insert(out.end(), aW.begin(), aW.end());
        return out;
    });
    ASSERT_EQ(runs[0].size(), runs[1].size());
    int corrected = 0;
    for (size_t i = 0; i < runs[0].size(); ++i) EXPECT_TRUE(rvztest::SameBits(runs[0][i], runs[1][i])) << i;
    for (double t : e.temp->Download()) corrected += std::fabs(t) > 1e-20 ? 1 : 0;
    EXPECT_GT(corrected, m.nFaces / 4);  // the correction is at work on most faces
}

// ---------------------------------------------------------------------------
// Vents
// ---------------------------------------------------------------------------

TEST(FlowEVents, OutletFlagsFromFillingAndVentPressure)
{
    // Walls 0..5 of cells 0..5 with slots 6..11.
    auto cells = Up(std::vector<int>{0, 1, 2, 3, 4, 5}), slots = Up(std::vector<int>{6, 7, 8, 9, 10, 11});
    auto flags = Up(std::vector<int>{2, 0, 1, 0, 5, 5});
    auto volF = Up(std::vector<double>{0, 0, 0, 0, 0, 0, 0.1, 0.1, 0.9, kNaN, 0.5, 0.1});
    ASSERT_EQ(Tool().CalcSC_FlowE_Temperature_iIsOutlet1(6, *slots, *flags, *volF, 0.5, 1), 0);
    EXPECT_EQ(flags->Download(), (std::vector<int>{2, 1, 0, 0, 0, 1}));

    // Flag 2 is not special here. Unfilled slots only: face 0 holds no
    // second fluid; face 1 holds some and the air is under suction; face 2's
    // MFD is NaN; face 3 sees no suction; face 4 is filled; face 5's
    // pressure -2e-37 becomes -2e-30 once scaled, below -1e-30.
    const float fNaN = std::numeric_limits<float>::quiet_NaN();
    auto mfd = Up(std::vector<float>{0.0f, 0.5f, fNaN, 0.5f, 0.0f, 0.5f});
    auto air = Up(std::vector<double>{-1.0, -1.0, -1.0, 0.0, 0.0, -2e-37});
    volF->Upload({0, 0, 0, 0, 0, 0, 0.1, 0.1, 0.1, 0.1, 0.9, 0.1});
    flags->Upload({2, 2, 2, 2, 2, 2});
    ASSERT_EQ(Tool().CalcSC_FlowE_Temperature_iIsOutlet2(6, *cells, *slots, *flags, *volF, *mfd, 1, *air, 0.5, 1, 1),
              0);
    EXPECT_EQ(flags->Download(), (std::vector<int>{1, 0, 0, 1, 0, 0}));
    // Without venting analysis the pressure term is 0: every unfilled slot vents.
    ASSERT_EQ(Tool().CalcSC_FlowE_Temperature_iIsOutlet2(6, *cells, *slots, *flags, *volF, *mfd, 1, *air, 0.5, 0, 1),
              0);
    EXPECT_EQ(flags->Download(), (std::vector<int>{1, 1, 1, 1, 0, 1}));
    // Without a second fluid its test is off.
    ASSERT_EQ(Tool().CalcSC_FlowE_Temperature_iIsOutlet2(6, *cells, *slots, *flags, *volF, *mfd, 0, *air, 0.5, 1, 1),
              0);
    EXPECT_EQ(flags->Download(), (std::vector<int>{0, 0, 0, 1, 0, 0}));
}

// The walls on -y of three cells (dx = 2: |S| = 2): a vent, a closed wall
// and a closed wall of a hot-runner cell.
struct Walls {
    BoxMesh mesh{3, 1, 1, 2.0, 1.0, 1.0};
    BoundaryList b = mesh.side[2];
    TwoPass acc{mesh, b};
    Doubles T = Field(mesh.nExt), gx = Field(mesh.nExt), gy = Field(mesh.nExt), gz = Field(mesh.nExt);
    Doubles mk = Field(mesh.nExt), htc = Up(std::vector<double>{1.0, 3.0, 1.0});
    Doubles surf = Up(std::vector<double>{4.0, 4.0, 4.0}), mould = Up(std::vector<double>{40.0, 50.0, 60.0});
    Ints outlet = Up(std::vector<int>{1, 0, 0}), hot = Up(std::vector<int>{0, 0, 1});
    DeviceMesh dev{mesh};

    Walls()
    {
        std::vector<double> t(mesh.nExt, -7.0), k(mesh.nExt, 1.0), g(mesh.nExt, -5.0);
        for (int c = 0; c < 3; ++c) t[c] = 200.0 + c, g[c] = c;
        for (int i = 0; i < 3; ++i) k[b.slot[i]] = 0.5;
        T->Upload(t), mk->Upload(k), gx->Upload(g);
    }
    int Run(int kind3)
    {
        dev.ClearScratch();
        const DeviceList& l = acc.list;
        return Tool().CalcSC_FlowE_IsothermalWallBoundaries(
            l.n, l.nRows, mesh.newNNU, mesh.nCol, *l.cell, *l.slot, *outlet, *gx, *gy, *gz, *T, *hot, kind3, *l.sx,
            *l.sy, *l.sz, *htc, *surf, *mk, *mould, *acc.A, *acc.Su, *acc.t1, *acc.t2, *l.Px, *l.Py, *l.rows,
            *dev.scratch, 1, 1);
    }
};

TEST(FlowEVents, VentingWallIsAdiabaticAndClosedWallIsIsothermal)
{
    Walls w;
    ASSERT_EQ(w.Run(0), 0);
    const double kG = 0.5 * 4.0;
    EXPECT_EQ(w.acc.t1->Download(), (std::vector<double>{0.0, kG, 0.0}));
    EXPECT_EQ(w.acc.Diagonal(3), (std::vector<double>{100.0, 100.0 + kG, 100.0}));
    EXPECT_EQ(w.acc.Su->Download(), (std::vector<double>{10.0, 10.0 + kG * 50.0, 10.0}));
    const auto T = w.T->Download(), gx = w.gx->Download();
    EXPECT_EQ(T[w.b.slot[0]], 200.0);  // vent: the cell's value and gradient
    EXPECT_EQ(gx[w.b.slot[0]], 0.0);
    EXPECT_EQ(T[w.b.slot[1]], 50.0);   // closed: the mould temperature
    EXPECT_EQ(gx[w.b.slot[1]], -5.0);
    EXPECT_EQ(T[w.b.slot[2]], -7.0);   // hot runner, closed: untouched
}

// ---------------------------------------------------------------------------
// Per-face heat transfer
// ---------------------------------------------------------------------------

TEST(FlowEHeatTransfer, WallCoefficientPerFaceInSeriesWithConduction)
{
    Walls w;
    ASSERT_EQ(w.Run(1), 0);
    const double kG = 2.0, hA = 3.0 * 2.0, series = hA * kG / (hA + kG);
    EXPECT_DOUBLE_EQ(w.acc.Diagonal(3)[1], 100.0 + series);
    EXPECT_DOUBLE_EQ(w.acc.Su->Download()[1], 10.0 + series * 50.0);

    // After a solve: beta = (hA/G)/k = 3, T_w = (3 T_m + T_c)/4 where the
    // face is not a vent (the hot-runner face included).
    auto T = w.T->Download();
    T[w.b.slot[2]] = 60.0;
    w.T->Upload(T);
    ASSERT_EQ(Tool().CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(3, *w.acc.list.cell, *w.acc.list.slot, *w.outlet,
                                                               *w.acc.list.sx, *w.acc.list.sy, *w.acc.list.sz,
                                                               *w.htc, *w.surf, *w.mk, *w.T, 1),
              0);
    T = w.T->Download();
    EXPECT_EQ(T[w.b.slot[0]], 200.0);
    EXPECT_DOUBLE_EQ(T[w.b.slot[1]], (3.0 * 50.0 + 201.0) / 4.0);
    EXPECT_DOUBLE_EQ(T[w.b.slot[2]], (1.0 * 60.0 + 202.0) / 2.0);  // beta = (1 * 2 / 4) / 0.5
}

// Inlet faces on -y of four cells (unit faces, d_n = 1/2).
struct Inlets {
    BoxMesh mesh{4, 1, 1};
    BoundaryList b = mesh.side[2];
    TwoPass acc{mesh, b};
    DeviceMesh dev{mesh};
    Doubles T = Field(mesh.nExt), gx = Field(mesh.nExt), gy = Field(mesh.nExt), gz = Field(mesh.nExt);
    Doubles mk = Field(mesh.nExt, 0.5), fx, fy, fz, volF = Field(mesh.nExt, 1.0);
    Ints active = Up(std::vector<int>{1, 1, 1, 0});

    Inlets()
    {
        std::vector<double> t(mesh.nExt, -7.0), g(mesh.nExt, -5.0), x, y, z;
        for (int c = 0; c < 4; ++c) t[c] = 200.0 + c, g[c] = c;
        for (int s : b.slot) x.push_back(mesh.xc[s]), y.push_back(mesh.yc[s]), z.push_back(mesh.zc[s]);
        T->Upload(t), gx->Upload(g), fx = Up(x), fy = Up(y), fz = Up(z);
    }
    std::vector<double> Slots() const
    {
        const auto t = T->Download();
        std::vector<double> s;
        for (int k : b.slot) s.push_back(t[k]);
        return s;
    }
};

TEST(FlowEHeatTransfer, InjectedTemperatureFromTheInjectionPoint)
{
    Inlets in;
    const DeviceList& l = in.acc.list;
    // Faces 0..2 active, of injection points 0, 1, 2: melt behind a shut
    // valve, a fluid at 90, an unknown material; face 3 is not injecting.
    auto gp = Up(std::vector<int>{0, 1, 2, 0}), type = Up(std::vector<int>{1, 2, 7});
    auto shut = Up(std::vector<int>{1, 0, 0});
    auto fluidT = Up(std::vector<double>{0.0, 90.0, 0.0});
    auto cb = Up(std::vector<double>{-2.0, -3.0, -4.0, -5.0});
    auto run = [&](bool transient, int second) {
        in.dev.ClearScratch();
        return Tool().CalcSC_FlowE_InletBoundary_First(
            l.n, l.nRows, in.mesh.newNNU, in.mesh.nCol, transient, second, 77.0, 230.0, *l.cell, *l.slot, *in.active,
            *gp, *type, *shut, *fluidT, *cb, *in.gx, *in.gy, *in.gz, *in.T, *in.acc.A, *in.acc.Su, *in.acc.t1,
            *in.acc.t2, *l.Px, *l.Py, *l.rows, *in.dev.scratch, 1, 1);
    };
    ASSERT_EQ(run(false, 1), 0);
    EXPECT_EQ(in.Slots(), (std::vector<double>{200.0, 90.0, 0.0, -7.0}));
    EXPECT_EQ(in.acc.Diagonal(4), (std::vector<double>{102.0, 103.0, 104.0, 100.0}));
    EXPECT_EQ(in.acc.Su->Download(), (std::vector<double>{410.0, 280.0, 10.0, 10.0}));
    const auto g = in.gx->Download();
    EXPECT_EQ(g[in.b.slot[1]], 1.0);
    EXPECT_EQ(g[in.b.slot[3]], -5.0);

    // The valve open: melt. No second fluid: melt everywhere. A transient
    // inlet temperature overrides all.
    shut->Upload({0, 0, 0});
    ASSERT_EQ(run(false, 1), 0);
    EXPECT_EQ(in.Slots()[0], 230.0);
    ASSERT_EQ(run(false, 0), 0);
    EXPECT_EQ(in.Slots(), (std::vector<double>{230.0, 230.0, 230.0, -7.0}));
    ASSERT_EQ(run(true, 1), 0);
    EXPECT_EQ(in.Slots(), (std::vector<double>{77.0, 77.0, 77.0, -7.0}));
    EXPECT_EQ(in.acc.t2->Download(), (std::vector<double>{2.0 * 77.0, 3.0 * 77.0, 4.0 * 77.0, 0.0}));
}

TEST(FlowEHeatTransfer, InletFacesThatDoNotInjectActAsWalls)
{
    Inlets in;
    const DeviceList& l = in.acc.list;
    // Face 0 injects; 1 is unfilled; 2 is filled; 3 is filled, of a hot-runner cell.
    in.active->Upload({1, 0, 0, 0});
    auto vf = in.volF->Download();
    vf[in.b.slot[1]] = 0.1;
    in.volF->Upload(vf);
    auto hot = Up(std::vector<int>{0, 0, 0, 1});
    auto mfd = Up(std::vector<float>{0, 0, 0, 0});
    auto run = [&](int kind3) {
        in.dev.ClearScratch();
        return Tool().CalcSC_FlowE_InletBoundary_Second(
            l.n, l.nRows, in.mesh.newNNU, in.mesh.nCol, 0.5, 0.004, 40.0, 1, kind3, *l.cell, *l.slot, *l.sx, *l.sy,
            *l.sz, *in.fx, *in.fy, *in.fz, *in.dev.xc, *in.dev.yc, *in.dev.zc, *in.volF, *mfd, *hot, *in.mk,
            *in.active, *in.gx, *in.gy, *in.gz, *in.T, *in.acc.A, *in.acc.Su, *in.acc.t1, *in.acc.t2, *l.Px, *l.Py,
            *l.rows, *in.dev.scratch, 1, 1);
    };
    ASSERT_EQ(run(0), 0);
    const double kG = 0.5 * 1.0 / (0.5 + 1e-20);
    EXPECT_EQ(in.Slots(), (std::vector<double>{-7.0, 201.0, 40.0, -7.0}));
    EXPECT_EQ(in.gx->Download()[in.b.slot[1]], 1.0);
    EXPECT_EQ(in.acc.Diagonal(4), (std::vector<double>{100.0, 100.0, 100.0 + kG, 100.0}));
    EXPECT_EQ(in.acc.Su->Download(), (std::vector<double>{10.0, 10.0, 10.0 + kG * 40.0, 10.0}));
    // Kind 3: h A = 0.004 * 1000 * 1 = 4 in series with k G = 1.
    ASSERT_EQ(run(1), 0);
    EXPECT_DOUBLE_EQ(in.acc.t1->Download()[2], 4.0 * kG / (4.0 + kG));

    // Surface temperature after a solve: filled faces that do not inject
    // (the hot-runner face too, and a NaN volume fraction counts as filled):
    // beta = (4 / (1/0.5)) / 0.5 = 4.
    auto T = in.T->Download();
    T[in.b.slot[3]] = 20.0;
    in.T->Upload(T);
    vf[in.b.slot[3]] = kNaN;
    in.volF->Upload(vf);
    ASSERT_EQ(Tool().CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(4, 0.5, 1, 0.004, *l.cell, *l.slot, *l.sx, *l.sy, *l.sz,
                                                                *in.fx, *in.fy, *in.fz, *in.dev.xc, *in.dev.yc,
                                                                *in.dev.zc, *in.active, *in.mk, *mfd, *in.volF, *in.T,
                                                                1),
              0);
    const auto s = in.Slots();
    EXPECT_EQ(s[0], -7.0);
    EXPECT_EQ(s[1], 201.0);
    EXPECT_DOUBLE_EQ(s[2], (4.0 * 40.0 + 202.0) / 5.0);
    EXPECT_DOUBLE_EQ(s[3], (4.0 * 20.0 + 203.0) / 5.0);
}

// ---------------------------------------------------------------------------
// Hot-runner walls and the hot-runner control
// ---------------------------------------------------------------------------

TEST(FlowEHotRunner, WallIsInitialisedOnceFromTheMelt)
{
    // Walls of cells 0, 1, 2 (slots 3, 4, 5): filled hot runner, unfilled
    // hot runner, filled ordinary cell.
    auto cells = Up(std::vector<int>{0, 1, 2}), slots = Up(std::vector<int>{3, 4, 5});
    auto volF = Up(std::vector<double>{1, 1, 1, 0.9, 0.1, 0.9});
    auto hot = Up(std::vector<int>{1, 1, 0});
    auto T = Up(std::vector<double>{230.0, 231.0, 232.0, 50.0, 51.0, 52.0});
    auto mould = Up(std::vector<double>{40.0, 41.0, 42.0});
    ASSERT_EQ(Tool().CalcSC_FlowE_InitHotRunnerWallTemp(3, 0.5, *cells, *slots, *volF, *hot, *T, 1), 0);
    EXPECT_EQ(T->Download(), (std::vector<double>{230.0, 231.0, 232.0, 0.0, 51.0, 52.0}));
    ASSERT_EQ(Tool().CalcSC_FlowE_UpdateHotRunnerWallTemp(3, 0.5, 260.0, *cells, *slots, *volF, *hot, *T, *mould, 1), 0);
    EXPECT_EQ(T->Download(), (std::vector<double>{230.0, 231.0, 232.0, 230.0, 51.0, 52.0}));
    EXPECT_EQ(mould->Download(), (std::vector<double>{260.0, 41.0, 42.0}));
    // Once initialised, a later update leaves the wall alone.
    T->Upload({240.0, 231.0, 232.0, 230.0, 51.0, 52.0});
    mould->Upload({40.0, 41.0, 42.0});
    ASSERT_EQ(Tool().CalcSC_FlowE_UpdateHotRunnerWallTemp(3, 0.5, 260.0, *cells, *slots, *volF, *hot, *T, *mould, 1), 0);
    EXPECT_EQ(T->Download()[3], 230.0);
    EXPECT_EQ(mould->Download()[0], 40.0);
}

// Walls 0, 1, 2 on -y of three cells (|S| = 2); the surface list (read
// from stride 1) names walls 1, 0, 3 and 2 with NWall = 2: only entries
// naming walls 1 .. NWall of hot-runner cells act.
struct Surface {
    Walls w;
    Ints list = Up(std::vector<int>{-9, 1, 0, 3, 2});
    Doubles setT = Up(std::vector<double>{300.0, 310.0, 320.0});
    Doubles t1 = Field(4, 99.0), t2 = Field(4, 99.0);

    Surface() { w.hot->Upload({1, 1, 0}); }
    int Control(int kind3)
    {
        w.dev.ClearScratch();
        const DeviceList& l = w.acc.list;
        return Tool().CalcSC_FlowE_HotRunnerTemperatureControl(
            4, 2, l.nRows, w.mesh.newNNU, w.mesh.nCol, kind3, *l.cell, *l.slot, *list, *w.hot, *l.sx, *l.sy, *l.sz,
            *w.htc, *w.mk, *w.surf, *setT, *t1, *t2, 1, *w.T, *w.acc.A, *w.acc.Su, *l.Px, *l.Py, *l.rows,
            *w.dev.scratch, 1, 1);
    }
};

TEST(FlowEHotRunner, ThermalConditionListActsOnHotRunnerWallsOnly)
{
    Surface s;
    ASSERT_EQ(Tool().CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(4, 2, *s.w.acc.list.cell, *s.w.acc.list.slot,
                                                                   *s.list, *s.w.hot, 1, *s.w.T, 1),
              0);
    const auto T = s.w.T->Download();
    EXPECT_EQ(T[s.w.b.slot[0]], -7.0);  // w = 0: inactive, though its cell is a hot runner
    EXPECT_EQ(T[s.w.b.slot[1]], 201.0);
    EXPECT_EQ(T[s.w.b.slot[2]], -7.0);  // not a hot-runner cell
}

TEST(FlowEHotRunner, ControlHoldsTheSetTemperatureThroughTheWallConductance)
{
    Surface s;
    ASSERT_EQ(s.Control(0), 0);
    const double kG = 0.5 * 4.0;
    EXPECT_EQ(s.t1->Download(), (std::vector<double>{kG, 0.0, 0.0, 0.0}));
    EXPECT_EQ(s.t2->Download(), (std::vector<double>{kG * 310.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(s.w.acc.Diagonal(3), (std::vector<double>{100.0, 100.0 + kG, 100.0}));
    EXPECT_EQ(s.w.acc.Su->Download(), (std::vector<double>{10.0, 10.0 + kG * 310.0, 10.0}));
    const auto T = s.w.T->Download();
    EXPECT_EQ(T[s.w.b.slot[1]], 310.0);
    EXPECT_EQ(T[s.w.b.slot[0]], -7.0);
    EXPECT_EQ(T[s.w.b.slot[2]], -7.0);
    // Kind 3: pdWallHTCD[1] |S| = 6 in series.
    ASSERT_EQ(s.Control(1), 0);
    EXPECT_DOUBLE_EQ(s.t1->Download()[0], 6.0 * kG / (6.0 + kG));
}

// ---------------------------------------------------------------------------
// The extended path against the basic path
// ---------------------------------------------------------------------------

// One implicit step of the temperature equation on a 4 x 3 box with mould
// walls all round, varying conductivity, a constant specific heat, a flow
// from the +x,+y diagonal, and the blended time term; assembled once by the
// basic operations and once by the extended ones (densities 1, no vents,
// no hot runners, kind-1 walls).
struct Assembled {
    std::vector<double> A, b, T;
};

struct Both {
    BoxMesh mesh{4, 3, 1, 0.5, 0.7, 1.0};
    DeviceMesh dev{mesh};
    BoundaryList walls = mesh.Merge({0, 1, 2, 3, 4, 5});
    DeviceList wl{walls};
    const double cp = 1.7, dt = 0.02, dtNor = 1.5, B = 0.6, relax = 0.8, Tm = 40.0;
    std::vector<double> T0, T00, k, flux;

    Both()
    {
        const int n = mesh.nCells;
        T0 = rvztest::RandomVector(n, 3, 150.0, 250.0);
        T00 = rvztest::RandomVector(n, 4, 150.0, 250.0);
        k = rvztest::RandomVector(mesh.nExt, 5, 0.5, 2.0);
        flux.resize(mesh.nFaces);
        for (int f = 0; f < mesh.nFaces; ++f) flux[f] = (f % 3 == 0 ? -1.0 : 1.0) * (0.3 + 0.1 * f);
    }
    Assembled Solve(const Doubles& A, const Doubles& Su) const
    {
        Assembled r{A->Download(), Su->Download(), {}};
        r.T = flowtest::SolveEllDense(r.A, mesh.indexELL, mesh.newNNU, mesh.nCol, r.b, mesh.nCells);
        r.b.resize(mesh.nCells);
        return r;
    }

    Assembled Basic() const
    {
        const int n = mesh.nCells, nw = wl.n, nnu = mesh.newNNU, nCol = mesh.nCol, cb = flowtest::Blocks(n);
        std::vector<double> t(mesh.nExt, 0.0);
        std::copy(T0.begin(), T0.end(), t.begin());
        auto T = Up(t), g = Field(mesh.nExt, 0.3), mk = Up(k), volF = Field(n, 1.0), mfe = Up(flux);
        auto aE = Field(mesh.nFaces), aW = Field(mesh.nFaces), temp = Field(mesh.nFaces), Su = Field(n);
        auto A = Field(static_cast<int>(mesh.EllSize())), den = Field(n, 1.0), f0 = Up(T0), f00 = Up(T00);
        auto match = Up(std::vector<int>(nw, 0)), hot = Up(std::vector<int>(n, 0));
        auto surf = Up(std::vector<double>(wl.n, 3.0)), mould = Field(nw, Tm), coef = Field(nw), wt = Field(nw);
        EXPECT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef(nw, *wl.cell, *wl.slot, *match, *hot, *surf, *mk, *mould,
                                                          *coef, *T, 1),
                  0);
        dev.ClearScratch();
        EXPECT_EQ(Tool().CalcSC_WallAi(nw, wl.nRows, nnu, nCol, *wl.cell, *wl.Px, *wl.Py, *match, *hot, *coef,
                                       *dev.scratch, *A, *wl.rows, 1, 1),
                  0);
        EXPECT_EQ(Tool().Calc_WallBoundarySC_SourceTerm(nw, wl.nRows, nnu, nCol, *wl.cell, *wl.slot, *match, *coef,
                                                        *hot, *T, *Su, *wt, *wl.Px, *wl.Py, *dev.scratch, *wl.rows, 1,
                                                        1),
                  0);
        struct {
            int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
        } L;
        Tool().GetSizeOfBlock(mesh.nFaces, L.total, L.nLevels, L.count, L.size, L.offset);
        auto counts = Up(std::vector<int>(L.total, 0));
        int norkk = -1;
        dev.ClearScratch();
        EXPECT_EQ(Tool().Calc_InnerFluxSC_Flow(mesh.nFaces, n, nnu, nCol, cp, 0.5, *dev.P, *dev.E, *dev.le, *T, *g,
                                               *g, *g, *dev.xc, *dev.yc, *dev.zc, *dev.sx, *dev.sy, *dev.sz, *mfe, *aE,
                                               *aW, *Su, *volF, *mk, *temp, norkk, *dev.Px, *dev.Py, *dev.Ex, *dev.Ey,
                                               *dev.scratch, cb, 1, L.nLevels, L.count, L.offset, L.total, L.size,
                                               *counts),
                  0);
        EXPECT_EQ(Tool().Calc_MapaEaWToAi(mesh.nFaces, nnu, *dev.Px, *dev.Py, *dev.Ex, *dev.Ey, *aE, *aW, *A, 1), 0);
        EXPECT_EQ(Tool().Calc_UnsteadyTermContributionSC(n, cp, dt, dtNor, B, *den, *dev.volume, *f0, *f00, *Su, cb),
                  0);
        EXPECT_EQ(Tool().Calc_2ndImplicitEulerMethodAi_SC(n, cp, dt, dtNor, B, *den, *dev.volume, *A, cb), 0);
        EXPECT_EQ(Tool().CalcSC_FinalCoeffRHS_Sfi(n, nnu, nCol, relax, *f0, *A, *A, *Su, 0.0, *hot, cb), 0);
        return Solve(A, Su);
    }

    Assembled Extended() const
    {
        const int n = mesh.nCells, nw = wl.n, nnu = mesh.newNNU, nCol = mesh.nCol, cb = flowtest::Blocks(n);
        std::vector<double> t(mesh.nExt, 0.0);
        std::copy(T0.begin(), T0.end(), t.begin());
        auto T = Up(t), gx = Field(mesh.nExt, 0.3), gy = Field(mesh.nExt, 0.3), gz = Field(mesh.nExt, 0.3);
        auto mk = Up(k), cpD = Field(mesh.nExt, cp), q = Up(flux), vfe = Field(mesh.nFaces, 1.0);
        auto mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces), aW = Field(mesh.nFaces), temp = Field(mesh.nFaces);
        auto Su = Field(n), A = Field(static_cast<int>(mesh.EllSize())), den = Field(n, 1.0), f0 = Up(T0),
             f00 = Up(T00);
        auto outlet = Up(std::vector<int>(nw, 0)), hot = Up(std::vector<int>(n, 0));
        auto surf = Field(nw, 3.0), mould = Field(nw, Tm), htc = Field(nw, 1.0), t1 = Field(nw), t2 = Field(nw);
        dev.ClearScratch();
        EXPECT_EQ(Tool().CalcSC_FlowE_IsothermalWallBoundaries(nw, wl.nRows, nnu, nCol, *wl.cell, *wl.slot, *outlet,
                                                               *gx, *gy, *gz, *T, *hot, 0, *wl.sx, *wl.sy, *wl.sz,
                                                               *htc, *surf, *mk, *mould, *A, *Su, *t1, *t2, *wl.Px,
                                                               *wl.Py, *wl.rows, *dev.scratch, 1, 1),
                  0);
        EXPECT_EQ(Tool().CalcSC_FlowE_InnerFluxSC_mfe(mesh.nFaces, *cpD, *dev.P, *dev.E, *vfe, 1.0, 0.0, *q, *den,
                                                      *mfe, 1, 1),
                  0);
        dev.ClearScratch();
        EXPECT_EQ(Tool().CalcSC_FlowE_InnerFluxSC(mesh.nFaces, n, nnu, nCol, *cpD, *dev.P, *dev.E, *dev.le, *T, *gx,
                                                  *gy, *gz, *dev.xc, *dev.yc, *dev.zc, *dev.sx, *dev.sy, *dev.sz, *mk,
                                                  *mfe, *aE, *aW, *Su, *temp, 0.5, *dev.Px, *dev.Py, *dev.Ex, *dev.Ey,
                                                  *dev.scratch, cb, 1),
                  0);
        EXPECT_EQ(Tool().Calc_MapaEaWToAi(mesh.nFaces, nnu, *dev.Px, *dev.Py, *dev.Ex, *dev.Ey, *aE, *aW, *A, 1), 0);
        EXPECT_EQ(Tool().CalcSC_FlowE_UnsteadyTermContributionSC(n, *cpD, 1.0 / (dt * dtNor), B, *den, *dev.volume,
                                                                 *f0, *f00, *Su, *A, cb),
                  0);
        EXPECT_EQ(Tool().CalcSC_FlowE_FinalCoeffRHS_Sfi(n, nnu, nCol, relax, *f0, *A, *Su, 1.0 / relax, cb), 0);
        return Solve(A, Su);
    }
};

TEST(FlowEAgainstBasic, ConstantHeatCapacityWithoutExtrasGivesTheBasicSystem)
{
    Both both;
    const Assembled basic = both.Basic(), ext = both.Extended();
    ASSERT_EQ(basic.A.size(), ext.A.size());
    double scale = 0.0;
    for (double a : basic.A) scale = std::max(scale, std::fabs(a));
    for (size_t i = 0; i < basic.A.size(); ++i) EXPECT_NEAR(ext.A[i], basic.A[i], 1e-13 * scale) << i;
    for (size_t i = 0; i < basic.b.size(); ++i) EXPECT_NEAR(ext.b[i], basic.b[i], 1e-12 * std::fabs(basic.b[i])) << i;
    for (size_t i = 0; i < basic.T.size(); ++i) EXPECT_NEAR(ext.T[i], basic.T[i], 1e-10) << i;
    // Not a trivial agreement: the step moved the field.
    double moved = 0.0;
    for (size_t i = 0; i < basic.T.size(); ++i) moved = std::max(moved, std::fabs(basic.T[i] - both.T0[i]));
    EXPECT_GT(moved, 1.0);
}

// ---------------------------------------------------------------------------
// Block size and failures
// ---------------------------------------------------------------------------

TEST(FlowERuns, OtherBlockSizesDoNothing)
{
    auto volF = Up(std::vector<double>{0.0, 0.1});
    auto slots = Up(std::vector<int>{1});
    auto flags = Up(std::vector<int>{0});
    EXPECT_EQ(rvz::CalcSC_FlowE_Temperature_iIsOutlet1(128, 1, *slots, *flags, *volF, 0.5, 1, 0), 0);
    EXPECT_EQ(flags->Download()[0], 0);
    Walls w;
    rvz::IsothermalWallArgs a{};
    a.to.nFaces = 3;
    a.to.temp1D = *w.acc.t1;
    EXPECT_EQ(rvz::CalcSC_FlowE_IsothermalWallBoundaries(512, a, 0), 0);
    EXPECT_EQ(w.acc.t1->Download()[0], 99.0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(FlowERuns, FailedStepIsReportedAndTheRestRuns)
{
    Walls w;
    int status = -1;
    // The per-face kernel fails: reported, the accumulations still run on
    // the stale per-face values.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    std::string out = rvztest::CaptureOutput([&] { status = w.Run(0); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] CalcSC_FlowE_IsothermalWallBoundariesC failed: ") +
                       rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(w.acc.Diagonal(3), (std::vector<double>{199.0, 199.0, 199.0}));  // 99 from the untouched temp1D

    // The second collect (after the diagonal's update) carries the
    // diagonal's collect message; the status is the last update's.
    Walls w2;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 3);
    out = rvztest::CaptureOutput([&] { status = w2.Run(0); });
    rvz::host::testing::clear_faults();
    EXPECT_NE(out.find("CalcSC_FlowE_IsothermalWallBoundaries_Ai failed"), std::string::npos) << out;
    EXPECT_EQ(status, 0);
    EXPECT_EQ(w2.acc.Su->Download(), (std::vector<double>{10.0, 10.0, 10.0}));  // the cleared scratch's sums

    Walls w3;
    rvz::host::testing::inject_launch_faults(1, cudaErrorInvalidValue, 4);
    out = rvztest::CaptureOutput([&] { status = w3.Run(0); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorInvalidValue);
    EXPECT_NE(out.find("CalcSC_FlowE_IsothermalWallBoundaries_Su_Update_Opt failed"), std::string::npos) << out;
    EXPECT_EQ(w3.acc.Diagonal(3)[1], 102.0);  // the diagonal pass ran
}
#endif

}  // namespace
