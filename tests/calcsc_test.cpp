// Energy equation assembly: interior faces and the dropped-correction
// count, boundary values, wall thermal conditions, sources and final
// coefficients on boxes of two or three cells checked by hand; the count on
// a skewed mesh against an independent count; then transient conduction
// (erfc), viscous heating in Couette flow and a composite kind-3 wall,
// solved from the assembled system.
#include <cmath>
#include <limits>
#include <vector>

#include "CU_CalcSC.h"
#include "flow_test_mesh.h"
#include "rvzgpu_mesh/Mesh.h"
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

using Levels = rvztest::LevelPlan;

// The temperature equation on one box: extended fields, face outputs and
// the count buffer of its faces.
struct Energy {
    BoxMesh mesh;
    DeviceMesh dev;
    Levels levels;
    std::unique_ptr<DeviceArray<double>> T, gx, gy, gz, mk, VolF, mfe, aE, aW, Su, temp;
    std::unique_ptr<DeviceArray<int>> counts;

    explicit Energy(BoxMesh m) : mesh(std::move(m)), dev(mesh), levels(mesh.nFaces)
    {
        const int n = mesh.nExt;
        T = Field(n), gx = Field(n), gy = Field(n), gz = Field(n), mk = Field(n, 1.0), VolF = Field(n, 1.0);
        mfe = Field(mesh.nFaces), aE = Field(mesh.nFaces, 99.0), aW = Field(mesh.nFaces, 99.0);
        temp = Field(mesh.nFaces), Su = Field(mesh.nCells);
        counts = Up(std::vector<int>(levels.total, 7));
    }

    int Inner(Form form, double mCp, double FCRI, int& norkk, std::vector<int> rows = {})
    {
        dev.ClearScratch();
        auto list = Up(rows);
        const int nRows = form == Form::All ? mesh.nCells : static_cast<int>(rows.size());
        const int fb = flowtest::Blocks(mesh.nFaces), cb = flowtest::Blocks(nRows);
        auto& d = dev;
        const Levels& L = levels;
        switch (form) {
            case Form::All:
                return Tool().Calc_InnerFluxSC_Flow(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, mCp, FCRI, *d.P, *d.E,
                                                    *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx, *d.sy,
                                                    *d.sz, *mfe, *aE, *aW, *Su, *VolF, *mk, *temp, norkk, *d.Px,
                                                    *d.Py, *d.Ex, *d.Ey, *d.scratch, cb, fb, L.nLevels, L.count,
                                                    L.offset, L.total, L.size, *counts);
            case Form::Opt:
                return Tool().Calc_InnerFluxSC_Flow_Opt(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, mCp, FCRI, *d.P,
                                                        *d.E, *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx,
                                                        *d.sy, *d.sz, *mfe, *aE, *aW, *Su, *VolF, *mk, *temp, norkk,
                                                        *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, *list, fb, cb,
                                                        L.nLevels, L.count, L.offset, L.total, L.size, *counts);
            case Form::One:
                return Tool().Calc_InnerFluxSC_Flow_Opt_ONE(
                    mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, mCp, FCRI, *d.P, *d.E, *T, *gx, *gy, *gz, *d.xc,
                    *d.yc, *d.zc, *d.sx, *d.sy, *d.sz, *mfe, *aE, *aW, *Su, *VolF, *mk, *temp, norkk, *d.Px, *d.Py,
                    *d.Ex, *d.Ey, *d.scratch, *list, fb, cb, L.nLevels, L.count, L.offset, L.total, L.size, *counts);
            case Form::Par:
                return Tool().Calc_InnerFluxSC_Flow_Par(mesh.nFaces, nRows, mesh.newNNU, mesh.nCol, mCp, FCRI, *d.P,
                                                        *d.E, *d.le, *T, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc, *d.sx,
                                                        *d.sy, *d.sz, *mfe, *aE, *Su, *VolF, *mk, *temp, norkk,
                                                        *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, *list, cb, fb,
                                                        L.nLevels, L.count, L.offset, L.total, L.size, *counts);
        }
        return -1;
    }
};

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

// Three cells along x (dx = 0.5, unit faces), conductivities 1, 3, 5 and
// E-side weights 1/4: the harmonic mean weighs the far cell's resistance
// by 1 - le.
TEST(CalcSCInner, HarmonicConductivityAndUpwindConvection)
{
    Energy e{BoxMesh(3, 1, 1, 0.5, 1.0, 1.0)};
    SetCells(*e.mk, {1.0, 3.0, 5.0});
    e.dev.le->Upload({0.25, 0.25});
    e.mfe->Upload({0.7, -0.3});
    int norkk = -1;
    ASSERT_EQ(e.Inner(Form::All, 2.0, 0.5, norkk), 0);
    const double D0 = 2.0 / 0.5;                        // k_f = 1/(0.75/3 + 0.25/1) = 2
    const double D1 = 1.0 / (0.75 / 5 + 0.25 / 3) / 0.5;  // k_f = 30/7
    auto aE = e.aE->Download(), aW = e.aW->Download();
    EXPECT_DOUBLE_EQ(aE[0], -D0);
    EXPECT_DOUBLE_EQ(aW[0], -0.7 * 2.0 - D0);
    EXPECT_DOUBLE_EQ(aE[1], -0.3 * 2.0 - D1);
    EXPECT_DOUBLE_EQ(aW[1], -D1);
    EXPECT_EQ(norkk, 0);

    // Weight 1: the owner's conductivity; the partition form writes no aWD.
    ASSERT_EQ(e.Inner(Form::One, 2.0, 0.5, norkk, {0, 1, 2}), 0);
    EXPECT_EQ(e.aE->Download(), (std::vector<double>{-2.0, -0.6 - 6.0}));
    EXPECT_EQ(e.aW->Download(), (std::vector<double>{-1.4 - 2.0, -6.0}));
    e.aW->Upload({99.0, 99.0});
    e.mfe->Upload({0.0, 0.0});  // no flow: both coefficients are -D
    ASSERT_EQ(e.Inner(Form::Par, 2.0, 0.5, norkk, {0, 1, 2}), 0);
    aE = e.aE->Download();
    EXPECT_DOUBLE_EQ(aE[0], -D0);
    EXPECT_DOUBLE_EQ(aE[1], -D1);
    EXPECT_EQ(e.aW->Download(), (std::vector<double>{99.0, 99.0}));

    // An empty partition interface: no table, no count, nothing changes.
    Energy none{BoxMesh(1, 1, 1)};
    none.Su->Upload({3.0});
    ASSERT_EQ(none.levels.nLevels, 0);
    norkk = -1;
    ASSERT_EQ(none.Inner(Form::Par, 2.0, 0.5, norkk, {0}), 0);
    EXPECT_EQ(norkk, 0);
    EXPECT_EQ(none.Su->Download()[0], 3.0);
}

// Two cells whose centroids are offset by d = (3, 4, 0) across a face
// S = (5, 0, 0) with unit conductivity: D = 1, R = T_E - T_P and
// C = 5 g_x - (3 g_x + 4 g_y), so a gradient along y alone gives C = -4 g_y.
struct Skewed : Energy {
    Skewed() : Energy(Geometry())
    {
        dev.sx->Upload({5.0});
    }
    static BoxMesh Geometry()
    {
        BoxMesh m(2, 1, 1);
        m.xc[1] = m.xc[0] + 3.0;
        m.yc[1] = m.yc[0] + 4.0;
        return m;
    }
    // Runs the face with T_E - T_P = dT and gradient y-components at P and E.
    int Run(Form form, double dT, double gyP, double gyE, std::vector<double> volF = {1.0, 1.0})
    {
        SetCells(*T, {10.0, 10.0 + dT});
        SetCells(*gy, {gyP, gyE});
        SetCells(*VolF, volF);
        Su->Upload({100.0, 100.0});
        int norkk = -1;
        EXPECT_EQ(Inner(form, 1.0, 0.5, norkk, {0, 1}), 0);
        return norkk;
    }
};

TEST(CalcSCInner, CorrectionIsDroppedWhereItOutweighsTheImplicitPart)
{
    Skewed s;
    EXPECT_EQ(s.Run(Form::All, 1.0, -1.0, -1.0), 0);  // q = 4: kept
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{104.0, 96.0}));
    EXPECT_EQ(s.temp->Download()[0], 4.0);

    EXPECT_EQ(s.Run(Form::All, 1.0, -1.25, -1.25), 1);  // q = 5 exactly: dropped
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{100.0, 100.0}));
    EXPECT_EQ(s.temp->Download()[0], 0.0);
    EXPECT_EQ(s.Run(Form::All, -1.0, -1.25, -1.25), 1);  // q = -5: dropped

    // |q| = 1 is dropped only while a cell of the face is unfilled.
    EXPECT_EQ(s.Run(Form::All, 1.0, -0.25, -0.25), 0);
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{101.0, 99.0}));
    EXPECT_EQ(s.Run(Form::All, 1.0, -0.25, -0.25, {0.4, 1.0}), 1);
    EXPECT_EQ(s.Run(Form::All, 1.0, -0.25, -0.25, {1.0, 0.4}), 1);
    EXPECT_EQ(s.Run(Form::All, 1.0, -0.2, -0.2, {0.4, 0.4}), 0);  // q = 0.8

    // R = 0 never drops, whatever C.
    EXPECT_EQ(s.Run(Form::All, 0.0, -100.0, -100.0), 0);
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{500.0, -300.0}));
}

TEST(CalcSCInner, FaceGradientUsesTheWeights)
{
    Skewed s;
    s.dev.le->Upload({0.25});
    // g_y = 0.25*2 + 0.75*(-2) = -1: C = 4.
    EXPECT_EQ(s.Run(Form::All, 1.0, -2.0, 2.0), 0);
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{104.0, 96.0}));
    // Weight 1: the neighbour's gradient alone, C = -8.
    EXPECT_EQ(s.Run(Form::One, 1.0, -2.0, 2.0), 1);
    EXPECT_EQ(s.Run(Form::One, 10.0, -2.0, 2.0), 0);
    EXPECT_EQ(s.Su->Download(), (std::vector<double>{92.0, 108.0}));
}

// ---------------------------------------------------------------------------
// The dropped-correction count on a skewed mesh
// ---------------------------------------------------------------------------

struct SkewedBox {
    rvzmesh::Mesh mesh;
    rvzmesh::DeviceMesh dev;
    std::vector<double> T, gx, gy, gz, mk, volF, mfe;

    explicit SkewedBox(int n)
    {
        rvzmesh::BoxOptions o;
        o.nx = n, o.ny = n, o.nz = n;
        o.perturbation = 0.3;
        o.seed = 7;
        mesh = rvzmesh::BuildMesh(rvzmesh::MakeBox(o));
        EXPECT_EQ(rvzmesh::UploadMesh(Tool(), mesh, dev), 0);
        const size_t ne = mesh.nExtended;
        T = rvztest::RandomVector(ne, 1, 0.0, 1.0);
        gx = rvztest::RandomVector(ne, 2, -3.0, 3.0);
        gy = rvztest::RandomVector(ne, 3, -3.0, 3.0);
        gz = rvztest::RandomVector(ne, 4, -3.0, 3.0);
        mk = rvztest::RandomVector(ne, 5, 0.5, 2.0);
        volF = rvztest::RandomVector(ne, 6, 0.0, 1.0);
        mfe = rvztest::RandomVector(mesh.nFaces, 8);
    }
    ~SkewedBox() { rvzmesh::FreeDeviceMesh(Tool(), dev); }

    // The count, written out from the definition of a dropped correction.
    int ReferenceCount(double FCRI) const
    {
        int dropped = 0;
        for (int f = 0; f < mesh.nFaces; ++f) {
            const int p = mesh.ijP[f], e = mesh.ijE[f];
            const double w = mesh.le[f];
            const double d[3] = {mesh.xc[e] - mesh.xc[p], mesh.yc[e] - mesh.yc[p], mesh.zc[e] - mesh.zc[p]};
            const double S[3] = {mesh.sx[f], mesh.sy[f], mesh.sz[f]};
            const double g[3] = {w * gx[e] + (1 - w) * gx[p], w * gy[e] + (1 - w) * gy[p],
                                 w * gz[e] + (1 - w) * gz[p]};
            const double k = 1.0 / ((1 - w) / mk[e] + w / mk[p]);
            const double D = k * std::sqrt(S[0] * S[0] + S[1] * S[1] + S[2] * S[2]) /
                             std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
            const double R = D * (T[e] - T[p]);
            const double C = k * (g[0] * S[0] + g[1] * S[1] + g[2] * S[2]) - D * (g[0] * d[0] + g[1] * d[1] + g[2] * d[2]);
            const double ratio = std::fabs(C / R);
            const bool wet = volF[p] >= FCRI && volF[e] >= FCRI;
            if (R != 0.0 && (ratio >= 5.0 || (!wet && ratio >= 1.0))) ++dropped;
        }
        return dropped;
    }

    // The library's count, and every output of the call.
    std::vector<double> Run(double FCRI, int& norkk) const
    {
        const int nf = mesh.nFaces, nc = mesh.nCells;
        Levels L(nf);
        auto dT = Up(T), dgx = Up(gx), dgy = Up(gy), dgz = Up(gz), dmk = Up(mk), dvol = Up(volF), dmfe = Up(mfe);
        auto aE = Field(nf), aW = Field(nf), temp = Field(nf), Su = Field(nc);
        auto scratch = Field(mesh.newNNU * mesh.nColumnPerRow);
        auto counts = Up(std::vector<int>(L.total, -5));
        EXPECT_EQ(Tool().Calc_InnerFluxSC_Flow(nf, nc, mesh.newNNU, mesh.nColumnPerRow, 1.5, FCRI, dev.ijP, dev.ijE,
                                               dev.le, *dT, *dgx, *dgy, *dgz, dev.xc, dev.yc, dev.zc, dev.sx, dev.sy,
                                               dev.sz, *dmfe, *aE, *aW, *Su, *dvol, *dmk, *temp, norkk, dev.mapPx,
                                               dev.mapPy, dev.mapEx, dev.mapEy, *scratch, rvzmesh::Blocks(nc),
                                               rvzmesh::Blocks(nf), L.nLevels, L.count, L.offset, L.total, L.size,
                                               *counts),
                  0);
        std::vector<double> all = Su->Download();
        for (const auto* a : {aE.get(), aW.get(), temp.get()}) {
            const auto x = a->Download();
            all.insert(all.end(), x.begin(), x.end());
        }
        return all;
    }
};

// 39^3 cells: over 2^16 faces, so the count passes through two collecting
// levels.
TEST(CalcSCCount, SkewedMeshCountMatchesAnIndependentCount)
{
    SkewedBox box(39);
    ASSERT_GT(box.mesh.nFaces, 65536);
    ASSERT_GE(Levels(box.mesh.nFaces).nLevels, 4);
    for (double FCRI : {0.0, 0.5}) {
        const int expected = box.ReferenceCount(FCRI);
        int norkk = -1;
        box.Run(FCRI, norkk);
        EXPECT_EQ(norkk, expected) << "FCRI " << FCRI;
        EXPECT_GT(expected, 100);
        EXPECT_LT(expected, box.mesh.nFaces / 2);
    }
    EXPECT_GT(box.ReferenceCount(0.5), box.ReferenceCount(0.0));  // unfilled cells drop more
}

TEST(CalcSCCount, SameBitsAndCountForOneAndTwoThreads)
{
    SkewedBox box(9);
    std::vector<int> counts;
    const auto runs = rvztest::ForThreadCounts({1, 2}, [&] {
        int norkk = -1;
        auto all = box.Run(0.5, norkk);
        counts.push_back(norkk);
        return all;
    });
    EXPECT_EQ(counts[0], counts[1]);
    for (size_t k = 0; k < runs[0].size(); ++k) ASSERT_TRUE(rvztest::SameBits(runs[0][k], runs[1][k])) << k;
}

// ---------------------------------------------------------------------------
// Boundary values, wall conditions and boundary contributions
// ---------------------------------------------------------------------------

// Two cells along x: inlet on -x (cell 0), outlet on +x (cell 1), walls on
// -y and +y of both cells (entries: 0 cell 0 -y, 1 cell 1 -y, 2 cell 0 +y,
// 3 cell 1 +y), symmetry on -z. Walls of area dx*dz = 2.
struct TwoCells {
    BoxMesh mesh{2, 1, 1, 1.0, 1.0, 2.0};
    DeviceMesh dev{mesh};
    flowtest::BoundaryList wallList = mesh.Merge({2, 3});
    DeviceList inlet{mesh.side[0]}, outlet{mesh.side[1]}, walls{wallList}, symm{mesh.side[4]};
    DeviceList inOut{mesh.Merge({0, 1})};
    std::unique_ptr<DeviceArray<double>> T, gx, gy, gz;

    TwoCells()
    {
        const int n = mesh.nExt;
        std::vector<double> t(n), g(n);
        for (int i = 0; i < n; ++i) t[i] = -1.0 - i, g[i] = 0.5 * i;
        t[0] = 200.0, t[1] = 230.0;
        T = Up(t), gx = Up(g), gy = Up(g), gz = Up(g);
    }
    int WallSlot(int k) const { return wallList.slot[k]; }
};

TEST(CalcSCBoundary, SlotValuesAndGradients)
{
    TwoCells c;
    const int in = c.mesh.side[0].slot[0], out = c.mesh.side[1].slot[0], sym = c.mesh.side[4].slot[0];
    ASSERT_EQ(Tool().Calc_InletBoundarySC_Update_ddfi(1, false, 240.0, 180.0, *c.inlet.cell, *c.inlet.slot, *c.gx,
                                                      *c.gy, *c.gz, *c.T, 1),
              0);
    EXPECT_EQ(c.T->Download()[in], 240.0);
    EXPECT_EQ(c.gy->Download()[in], 0.0);  // cell 0's gradient
    ASSERT_EQ(Tool().Calc_InletBoundarySC_Update_ddfi(1, true, 240.0, 180.0, *c.inlet.cell, *c.inlet.slot, *c.gx,
                                                      *c.gy, *c.gz, *c.T, 1),
              0);
    EXPECT_EQ(c.T->Download()[in], 180.0);

    ASSERT_EQ(Tool().Calc_OutletBoundarySC_Update_ddfi(1, *c.outlet.cell, *c.outlet.slot, *c.gx, *c.gy, *c.gz, *c.T, 1),
              0);
    EXPECT_EQ(c.T->Download()[out], 230.0);
    EXPECT_EQ(c.gz->Download()[out], 0.5);

    const double gSym = c.gx->Download()[sym];
    ASSERT_EQ(Tool().Calc_SymmetryBoundary_UpdateT(1, *c.symm.cell, *c.symm.slot, *c.T, 1), 0);
    EXPECT_EQ(c.T->Download()[sym], 200.0);
    EXPECT_EQ(c.gx->Download()[sym], gSym);  // untouched

    // Only the unwetted wall face (entry 3) copies its cell.
    auto match = Up(std::vector<int>{0, 0, 0, 1});
    const auto before = c.T->Download(), gBefore = c.gx->Download();
    ASSERT_EQ(Tool().Calc_WallBoundarySC_ddfi(4, *c.walls.cell, *c.walls.slot, *match, *c.gx, *c.gy, *c.gz, *c.T, 1), 0);
    const auto after = c.T->Download(), gAfter = c.gx->Download();
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(after[c.WallSlot(k)], before[c.WallSlot(k)]);
        EXPECT_EQ(gAfter[c.WallSlot(k)], gBefore[c.WallSlot(k)]);
    }
    EXPECT_EQ(after[c.WallSlot(3)], 230.0);
    EXPECT_EQ(gAfter[c.WallSlot(3)], 0.5);
}

// The four wall entries of TwoCells with their mould data. Entry 0 and 2:
// active walls of cell 0 (a corner: two faces on one row); entry 1: a
// hot-runner face (cell 1 is a hot runner); entry 3: unwetted. Each wall
// slot carries its own conductivity 2 + e, not the cell's.
struct MouldWalls : TwoCells {
    std::unique_ptr<DeviceArray<int>> match = Up(std::vector<int>{0, 0, 0, 1});
    std::unique_ptr<DeviceArray<int>> hot = Up(std::vector<int>{0, 1});
    std::unique_ptr<DeviceArray<double>> surf = Up(std::vector<double>{10.0, 20.0, 30.0, 40.0});
    std::unique_ptr<DeviceArray<double>> mould = Up(std::vector<double>{50.0, 60.0, 70.0, 80.0});
    std::unique_ptr<DeviceArray<double>> mk = Up(SlotConductivities());
    std::unique_ptr<DeviceArray<double>> coef = Field(4);

    std::vector<double> SlotConductivities() const
    {
        std::vector<double> k(mesh.nExt, 1.0);
        for (int e = 0; e < 4; ++e) k[WallSlot(e)] = 2.0 + e;
        return k;
    }
};

TEST(CalcSCBoundary, MouldWallsActOnlyWhereWettedAndNotHotRunner)
{
    MouldWalls c;
    ASSERT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef(4, *c.walls.cell, *c.walls.slot, *c.match, *c.hot, *c.surf, *c.mk,
                                                      *c.mould, *c.coef, *c.T, 1),
              0);
    EXPECT_EQ(c.coef->Download(), (std::vector<double>{20.0, 60.0, 120.0, 200.0}));
    auto T = c.T->Download();
    EXPECT_EQ(T[c.WallSlot(0)], 50.0);
    EXPECT_EQ(T[c.WallSlot(1)], -1.0 - c.WallSlot(1));  // hot-runner face keeps its value
    EXPECT_EQ(T[c.WallSlot(2)], 70.0);
    EXPECT_EQ(T[c.WallSlot(3)], -1.0 - c.WallSlot(3));  // unwetted face keeps its value

    auto A = Field(static_cast<int>(c.mesh.EllSize())), rhs = Up(std::vector<double>{1.0, 2.0}), temp = Field(4);
    const int nCol = c.mesh.nCol, nnu = c.mesh.newNNU;
    ASSERT_EQ(Tool().CalcSC_WallAi(4, c.walls.nRows, nnu, nCol, *c.walls.cell, *c.walls.Px, *c.walls.Py, *c.match,
                                   *c.hot, *c.coef, *c.dev.scratch, *A, *c.walls.rows, 1, 1),
              0);
    EXPECT_EQ(A->Download()[0], 140.0);
    EXPECT_EQ(A->Download()[1], 0.0);
    ASSERT_EQ(Tool().Calc_WallBoundarySC_SourceTerm(4, c.walls.nRows, nnu, nCol, *c.walls.cell, *c.walls.slot, *c.match,
                                                    *c.coef, *c.hot, *c.T, *rhs, *temp, *c.walls.Px, *c.walls.Py,
                                                    *c.dev.scratch, *c.walls.rows, 1, 1),
              0);
    EXPECT_EQ(rhs->Download(), (std::vector<double>{1.0 + 20.0 * 50.0 + 120.0 * 70.0, 2.0}));

    // The hot-runner face takes its cell's temperature and sees the melt.
    ASSERT_EQ(Tool().Calc_UpdateHotRunnerWallTemperature(4, 240.0, *c.walls.cell, *c.walls.slot, *c.match, *c.hot, *c.T,
                                                         *c.mould, 1),
              0);
    T = c.T->Download();
    EXPECT_EQ(T[c.WallSlot(1)], 230.0);
    EXPECT_EQ(T[c.WallSlot(0)], 50.0);
    EXPECT_EQ(T[c.WallSlot(3)], -1.0 - c.WallSlot(3));
    EXPECT_EQ(c.mould->Download(), (std::vector<double>{50.0, 240.0, 70.0, 80.0}));
}

// Kind 3: the transfer conductance A h in series with conduction k G, and
// after a solve the surface temperature where the two fluxes balance.
TEST(CalcSCBoundary, HeatTransferWallIsASeriesConductance)
{
    MouldWalls c;
    const double h = 3.0, A = 2.0;
    ASSERT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(4, *c.walls.cell, *c.walls.slot, *c.walls.sx,
                                                                *c.walls.sy, *c.walls.sz, *c.match, *c.hot, h, *c.surf,
                                                                *c.mk, *c.mould, *c.coef, *c.T, 1),
              0);
    const auto cf = c.coef->Download();
    const double kG[4] = {20.0, 60.0, 120.0, 200.0};
    for (int e = 0; e < 4; ++e) EXPECT_DOUBLE_EQ(cf[e], 1.0 / (1.0 / (A * h) + 1.0 / kG[e])) << e;
    EXPECT_EQ(c.T->Download()[c.WallSlot(2)], 70.0);

    const auto T0 = c.T->Download();
    ASSERT_EQ(Tool().Calc_UpdateThermoBC3WallTemperature(4, h, *c.walls.cell, *c.walls.slot, *c.match, *c.walls.sx,
                                                         *c.walls.sy, *c.walls.sz, *c.surf, *c.mk, *c.T, 1),
              0);
    const auto T1 = c.T->Download();
    for (int e = 0; e < 3; ++e) {  // hot-runner face 1 included
        const double Tc = T0[c.wallList.cell[e]], Tm = T0[c.WallSlot(e)], Tw = T1[c.WallSlot(e)];
        EXPECT_NEAR(kG[e] * (Tc - Tw), A * h * (Tw - Tm), 1e-10 * std::fabs(kG[e] * Tc)) << e;
    }
    EXPECT_EQ(T1[c.WallSlot(3)], T0[c.WallSlot(3)]);
}

// Inlet and outlet: -CB on the diagonal, -CB T(slot) on the right-hand side.
TEST(CalcSCBoundary, InletIsADirichletConditionOfConductanceMinusCB)
{
    TwoCells c;
    auto CB = Up(std::vector<double>{-3.0, -4.0});
    auto A = Field(static_cast<int>(c.mesh.EllSize())), rhs = Up(std::vector<double>{1.0, 2.0});
    const int nCol = c.mesh.nCol, nnu = c.mesh.newNNU;
    ASSERT_EQ(Tool().CalcSC_InOutletAi(2, c.inOut.nRows, nnu, nCol, *c.inOut.Px, *c.inOut.Py, *CB, *c.dev.scratch, *A,
                                       *c.inOut.rows, 1, 1),
              0);
    EXPECT_EQ(A->Download()[0], 3.0);
    EXPECT_EQ(A->Download()[1], 4.0);
    c.dev.ClearScratch();
    const int in = c.mesh.side[0].slot[0];
    ASSERT_EQ(Tool().Calc_InletBoundarySC_SourceTerm(1, c.inlet.nRows, nnu, nCol, *c.inlet.slot, *CB, *c.T, *rhs,
                                                     *c.inlet.Px, *c.inlet.Py, *c.dev.scratch, *c.inlet.rows, 1, 1),
              0);
    EXPECT_EQ(rhs->Download(), (std::vector<double>{1.0 + 3.0 * (-1.0 - in), 2.0}));
}

// ---------------------------------------------------------------------------
// Volumetric sources, time term, bound and final coefficients
// ---------------------------------------------------------------------------

TEST(CalcSCSources, DissipationIsCappedAndOnlyInFilledCells)
{
    auto volF = Up(std::vector<double>{1.0, 0.2, 1.0, 0.5});
    auto vis = Up(std::vector<double>{2.0, 2.0, 100.0, 2.0});
    auto sr = Field(4, 3.0), den = Field(4, 1.0), V = Field(4, 0.5), Su = Field(4, 1.0);
    // cap 20 rho cp = 200: cell 2's 900 is capped; cell 3 sits at FCRI.
    ASSERT_EQ(Tool().Calc_ViscousDisspationVolumetricTerm(4, 0.5, 1.0, 10.0, *volF, *vis, *sr, *den, *V, *Su, 1), 0);
    EXPECT_EQ(Su->Download(), (std::vector<double>{1.0 + 9.0, 1.0, 1.0 + 100.0, 1.0 + 9.0}));
    ASSERT_EQ(Tool().Calc_ViscousDisspationVolumetricTerm(4, 0.5, 0.0, 10.0, *volF, *vis, *sr, *den, *V, *Su, 1), 0);
    EXPECT_EQ(Su->Download()[0], 10.0);  // switched off

    auto dCdt = Up(std::vector<double>{1.0, 2.0, 3.0, 4.0});
    Su->Upload({0.0, 0.0, 0.0, 0.0});
    ASSERT_EQ(Tool().Calc_ReactionHeat_Su(4, 0.5, 4.0, *volF, *dCdt, *V, *Su, 1), 0);
    EXPECT_EQ(Su->Download(), (std::vector<double>{2.0, 0.0, 6.0, 8.0}));
}

// c = rho V/(dt dtNor) cp = 2*0.5/(0.1*2)*3 = 15.
TEST(CalcSCSources, BlendedTimeTerm)
{
    auto den = Field(1, 2.0), V = Field(1, 0.5), fi0 = Field(1, 4.0), fi00 = Field(1, 6.0);
    auto step = [&](double B) {
        auto Su = Field(1), A = Field(256);
        EXPECT_EQ(Tool().Calc_UnsteadyTermContributionSC(1, 3.0, 0.1, 2.0, B, *den, *V, *fi0, *fi00, *Su, 1), 0);
        EXPECT_EQ(Tool().Calc_2ndImplicitEulerMethodAi_SC(1, 3.0, 0.1, 2.0, B, *den, *V, *A, 1), 0);
        return std::vector<double>{Su->Download()[0], A->Download()[0]};
    };
    const auto euler = step(0.0), bdf2 = step(1.0);
    EXPECT_NEAR(euler[0], 15.0 * 4.0, 1e-12);
    EXPECT_NEAR(euler[1], 15.0, 1e-13);
    EXPECT_NEAR(bdf2[0], 15.0 * (2.0 * 4.0 - 0.5 * 6.0), 1e-12);
    EXPECT_NEAR(bdf2[1], 1.5 * 15.0, 1e-13);
}

TEST(CalcSCSources, LowerBoundKeepsNaN)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto fi = Up(std::vector<double>{10.0, 30.0, nan, 20.0});
    ASSERT_EQ(Tool().Calc_Updatefi_MoldMelt(4, 20.0, *fi, 1), 0);
    const auto v = fi->Download();
    EXPECT_EQ(v[0], 20.0);
    EXPECT_EQ(v[1], 30.0);
    EXPECT_TRUE(std::isnan(v[2]));
    EXPECT_EQ(v[3], 20.0);
}

// Two rows in 3 columns; row 1 is a hot-runner cell. AD is AELLD itself.
TEST(CalcSCSources, FinalCoefficientsRelaxAndHoldHotRunners)
{
    const int nnu = 256, nCol = 3;
    std::vector<double> a(static_cast<size_t>(nnu) * nCol, 0.0);
    a[0] = 10.0, a[1] = 7.0;               // accumulated central coefficients
    a[nnu + 0] = -2.0, a[2 * nnu + 0] = -3.0;
    a[nnu + 1] = -4.0;
    auto A = Up(a), Sfi = Up(std::vector<double>{1.0, 1.0}), fi = Up(std::vector<double>{2.0, 5.0});
    auto hot = Up(std::vector<int>{0, 1});
    ASSERT_EQ(Tool().CalcSC_FinalCoeffRHS_Sfi(2, nnu, nCol, 0.5, *fi, *A, *A, *Sfi, 240.0, *hot, 1), 0);
    const auto r = A->Download();
    EXPECT_EQ(r[0], 30.0);  // (10 + 5)/0.5
    EXPECT_EQ(r[1], 1.0e30);
    EXPECT_EQ(Sfi->Download(), (std::vector<double>{1.0 + 0.5 * 30.0 * 2.0, 240.0 * 1.0e30}));
}

// ---------------------------------------------------------------------------
// Block size and failures
// ---------------------------------------------------------------------------

TEST(CalcSCRuns, OtherBlockSizesDoNothing)
{
    auto fi = Up(std::vector<double>{10.0});
    EXPECT_EQ(rvz::Calc_Updatefi_MoldMelt(128, 1, 20.0, *fi, 1, 0), 0);
    EXPECT_EQ(fi->Download()[0], 10.0);
    Energy e{BoxMesh(3, 1, 1, 0.5, 1.0, 1.0)};
    rvz::InnerFluxSCArgs a{};
    a.nFaces = 2;
    a.aED = *e.aE;
    int norkk = -3;
    EXPECT_EQ(rvz::Calc_InnerFluxSC_Flow(512, rvz::InnerFluxForm::AllRows, a, rvz::LevelTable{}, norkk, 0), 0);
    EXPECT_EQ(norkk, -3);
    EXPECT_EQ(e.aE->Download()[0], 99.0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(CalcSCRuns, FailedStepIsReportedAndTheRestRuns)
{
    Skewed s;
    s.Su->Upload({100.0, 100.0});
    SetCells(*s.T, {10.0, 11.0});
    SetCells(*s.gy, {-1.0, -1.0});
    int norkk = -1, status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string out = rvztest::CaptureOutput([&] { status = s.Inner(Form::All, 1.0, 0.5, norkk); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_InnerFluxSC_Flow failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, 0);  // the update, the last checked step, succeeded
    EXPECT_EQ(norkk, 0);   // the cleared partial count
    EXPECT_EQ(s.aE->Download()[0], 99.0);

    // A failing update decides the status.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 2);
    const std::string update = rvztest::CaptureOutput([&] { status = s.Inner(Form::Opt, 1.0, 0.5, norkk, {0, 1}); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_NE(update.find("Calc_InnerFluxSC_Flow_UpdateSourceTerm_Opt failed"), std::string::npos) << update;
}
#endif

// ---------------------------------------------------------------------------
// Independent checks: conduction, viscous heating and a composite wall
// ---------------------------------------------------------------------------

// One thermal wall list of a box mesh: kind 1 (h < 0) or kind 3.
struct ThermalWall {
    DeviceList list;
    double Tm, h, G;
};

// Assembles one step of the energy equation on a line of cells (rho = 1,
// conductivity k, specific heat cp) and solves it.
class Line {
public:
    Line(BoxMesh m, double k, double cp) : e_(std::move(m)), cp_(cp)
    {
        e_.mk->Upload(std::vector<double>(e_.mesh.nExt, k));
        A_ = Field(static_cast<int>(e_.mesh.EllSize()));
        match_ = Up(std::vector<int>(e_.mesh.nCells, 0));
        hot_ = Up(std::vector<int>(e_.mesh.nCells, 0));
        den_ = Field(e_.mesh.nCells, 1.0);
    }
    Energy& energy() { return e_; }
    int Cells() const { return e_.mesh.nCells; }

    // G: the face area over the distance from the cell centre to the wall.
    void AddWall(const flowtest::BoundaryList& list, double Tm, double G, double h = -1.0)
    {
        walls_.push_back(ThermalWall{DeviceList(list), Tm, h, G});
    }

    // Steady when dt <= 0; otherwise one step of the blended time term.
    // heatRate: a viscous heating rate per unit volume in every cell.
    // Solved densely or by Jacobi BiCGSTAB.
    std::vector<double> Step(double dt, double B, const std::vector<double>& T0, const std::vector<double>& T00,
                             bool dense, const std::vector<double>* heatRate = nullptr)
    {
        Energy& e = e_;
        const int n = e.mesh.nCells, nnu = e.mesh.newNNU, nCol = e.mesh.nCol, cb = flowtest::Blocks(n);
        std::vector<double> zero(A_->size(), 0.0);
        for (int r = n; r < nnu; ++r) zero[r] = 1.0;  // padding rows: an identity for the solver
        A_->Upload(zero);
        e.Su->Upload(std::vector<double>(n, 0.0));
        SetCells(*e.T, T0);
        for (ThermalWall& w : walls_) {
            const int nw = w.list.n;
            auto surf = Field(nw, w.G), mould = Field(nw, w.Tm), coef = Field(nw), temp = Field(nw);
            if (w.h < 0)
                EXPECT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef(nw, *w.list.cell, *w.list.slot, *match_, *hot_,
                                                                  *surf, *e.mk, *mould, *coef, *e.T, 1),
                          0);
            else
                EXPECT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(
                              nw, *w.list.cell, *w.list.slot, *w.list.sx, *w.list.sy, *w.list.sz, *match_, *hot_, w.h,
                              *surf, *e.mk, *mould, *coef, *e.T, 1),
                          0);
            e.dev.ClearScratch();
            EXPECT_EQ(Tool().CalcSC_WallAi(nw, w.list.nRows, nnu, nCol, *w.list.cell, *w.list.Px, *w.list.Py, *match_,
                                           *hot_, *coef, *e.dev.scratch, *A_, *w.list.rows, 1, 1),
                      0);
            EXPECT_EQ(Tool().Calc_WallBoundarySC_SourceTerm(nw, w.list.nRows, nnu, nCol, *w.list.cell, *w.list.slot,
                                                            *match_, *coef, *hot_, *e.T, *e.Su, *temp, *w.list.Px,
                                                            *w.list.Py, *e.dev.scratch, *w.list.rows, 1, 1),
                      0);
        }
        int norkk = -1;
        EXPECT_EQ(e.Inner(Form::All, cp_, 0.5, norkk), 0);
        EXPECT_EQ(Tool().Calc_MapaEaWToAi(e.mesh.nFaces, nnu, *e.dev.Px, *e.dev.Py, *e.dev.Ex, *e.dev.Ey, *e.aE, *e.aW,
                                          *A_, flowtest::Blocks(e.mesh.nFaces)),
                  0);
        if (heatRate != nullptr) {
            auto rate = Up(*heatRate), sr = Field(n, 1.0), volF = Field(n, 1.0);
            EXPECT_EQ(Tool().Calc_ViscousDisspationVolumetricTerm(n, 0.5, 1.0, 1e9, *volF, *rate, *sr, *den_,
                                                                  *e.dev.volume, *e.Su, cb),
                      0);
        }
        if (dt > 0) {
            auto f0 = Up(T0), f00 = Up(T00);
            EXPECT_EQ(Tool().Calc_UnsteadyTermContributionSC(n, cp_, dt, 1.0, B, *den_, *e.dev.volume, *f0, *f00,
                                                             *e.Su, cb),
                      0);
            EXPECT_EQ(Tool().Calc_2ndImplicitEulerMethodAi_SC(n, cp_, dt, 1.0, B, *den_, *e.dev.volume, *A_, cb), 0);
        }
        auto fi = Up(T0);
        EXPECT_EQ(Tool().CalcSC_FinalCoeffRHS_Sfi(n, nnu, nCol, 1.0, *fi, *A_, *A_, *e.Su, 0.0, *hot_, cb), 0);
        if (dense) return flowtest::SolveEllDense(A_->Download(), e.mesh.indexELL, nnu, nCol, e.Su->Download(), n);
        // The solver's vectors hold new_nnu entries.
        std::vector<double> b = e.Su->Download(), x = T0;
        b.resize(nnu, 0.0), x.resize(nnu, 0.0);
        auto rhs = Up(b), sol = Up(x);
        double resIn = 0.0, resOut = 0.0;
        int iter = 0;
        EXPECT_EQ(Tool().BiCGSTAB_ELL(n, nCol, *e.dev.indexELL, *A_, *rhs, *sol, 1e-12, resIn, resOut, iter, 2000, 1),
                  0);
        EXPECT_LT(iter, 2000);
        x = sol->Download();
        x.resize(n);
        return x;
    }

    // The wall slots' temperatures after the kind-3 surface update.
    std::vector<double> SurfaceTemperatures(const std::vector<double>& cells)
    {
        SetCells(*e_.T, cells);
        std::vector<double> out;
        for (ThermalWall& w : walls_) {
            if (w.h < 0) continue;
            auto surf = Field(w.list.n, w.G), mould = Field(w.list.n, w.Tm), coef = Field(w.list.n);
            EXPECT_EQ(Tool().Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(
                          w.list.n, *w.list.cell, *w.list.slot, *w.list.sx, *w.list.sy, *w.list.sz, *match_, *hot_,
                          w.h, *surf, *e_.mk, *mould, *coef, *e_.T, 1),
                      0);
            EXPECT_EQ(Tool().Calc_UpdateThermoBC3WallTemperature(w.list.n, w.h, *w.list.cell, *w.list.slot, *match_,
                                                                 *w.list.sx, *w.list.sy, *w.list.sz, *surf, *e_.mk,
                                                                 *e_.T, 1),
                      0);
            const auto T = e_.T->Download();
            for (int s : w.list.slot->Download()) out.push_back(T[s]);
        }
        return out;
    }

private:
    Energy e_;
    double cp_;
    std::vector<ThermalWall> walls_;
    std::unique_ptr<DeviceArray<double>> A_, den_;
    std::unique_ptr<DeviceArray<int>> match_, hot_;
};

// A semi-infinite slab at 1 whose wall drops to 0 at t = 0 (alpha = 1):
// T = erf(x / (2 sqrt(t))). Integrated from t = 0.01 (started from the
// exact field, which avoids the singular start) to t = 0.03 with 10, 20
// and 40 steps on 200 cells of 0.0075; the observed order comes from the
// differences of successive runs, which cancel the (fixed) spatial error.
std::vector<double> SlabRun(double B, int steps, std::vector<double>* exactEnd)
{
    const int N = 200;
    const double dx = 0.0075, t0 = 0.01, t1 = 0.03, dt = (t1 - t0) / steps;
    Line line(BoxMesh(N, 1, 1, dx, 1.0, 1.0), 1.0, 1.0);
    line.AddWall(line.energy().mesh.side[0], 0.0, 2.0 / dx);
    auto exact = [&](double t) {
        std::vector<double> T(N);
        for (int i = 0; i < N; ++i) T[i] = std::erf((i + 0.5) * dx / (2.0 * std::sqrt(t)));
        return T;
    };
    std::vector<double> T00 = exact(t0 - dt), T0 = exact(t0);
    for (int s = 0; s < steps; ++s) {
        std::vector<double> T = line.Step(dt, B, T0, T00, false);
        T00 = T0;
        T0 = T;
    }
    if (exactEnd != nullptr) *exactEnd = exact(t1);
    return T0;
}

double MaxDiff(const std::vector<double>& a, const std::vector<double>& b)
{
    double m = 0.0;
    for (size_t i = 0; i < a.size(); ++i) m = std::max(m, std::fabs(a[i] - b[i]));
    return m;
}

TEST(CalcSCPhysics, SlabConductionFollowsErfcWithTheTimeOrderOfTheBlend)
{
    // Some 70 solves of a few hundred cells: thousands of small launches,
    // which on the host backend run fastest on one thread.
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    for (double B : {0.0, 1.0}) {
        std::vector<double> exact;
        const auto T10 = SlabRun(B, 10, nullptr), T20 = SlabRun(B, 20, nullptr), T40 = SlabRun(B, 40, &exact);
        const double order = std::log2(MaxDiff(T10, T20) / MaxDiff(T20, T40));
        const double error = MaxDiff(T40, exact);
        std::printf("BlendTime %.0f: observed order %.3f, error against erf %.2e\n", B, order, error);
        if (B == 0.0) {
            EXPECT_NEAR(order, 1.0, 0.15);
            EXPECT_LT(error, 3e-3);
        } else {
            EXPECT_NEAR(order, 2.0, 0.2);
            EXPECT_LT(error, 1e-4);
        }
    }
    omp_set_num_threads(threads);
}

// Plane Couette flow between walls at Tw: a uniform heating q = eta
// gamma-dot^2 gives T = Tw + q y (H - y) / (2k). Second order in space.
TEST(CalcSCPhysics, ViscousHeatingInCouetteFlowIsParabolic)
{
    const double H = 2.0, k = 0.5, Tw = 30.0, eta = 3.0, U = 4.0;
    const double q = eta * (U / H) * (U / H);
    double previous = 0.0;
    for (int N : {10, 20, 40}) {
        // Cells stacked along y, walls on -y and +y with unit area.
        Line line(BoxMesh(1, N, 1, 1.0, H / N, 1.0), k, 1.0);
        line.AddWall(line.energy().mesh.side[2], Tw, 2.0 * N / H);
        line.AddWall(line.energy().mesh.side[3], Tw, 2.0 * N / H);
        std::vector<double> rate(N, q);  // visD = q with a unit shear rate
        const auto T = line.Step(0.0, 0.0, std::vector<double>(N, Tw), {}, true, &rate);
        double err = 0.0;
        for (int j = 0; j < N; ++j) {
            const double y = (j + 0.5) * H / N;
            err = std::max(err, std::fabs(T[j] - (Tw + q * y * (H - y) / (2 * k))));
        }
        const double peak = q * H * H / (8 * k);
        EXPECT_LT(err, 0.02 * peak) << N;
        if (previous > 0.0) EXPECT_LT(err, 0.3 * previous) << N;
        previous = err;
    }
}

// A slab of length L between a kind-3 wall (mould 20, h) and a mould wall
// at 200: the profile is linear, the heat flux (200 - 20)/(1/h + L/k), and
// the surface temperature 20 + flux/h; the discrete solution is exact.
TEST(CalcSCPhysics, CompositeWallMatchesTheHandComputation)
{
    const int N = 8;
    const double L = 1.0, k = 2.0, h = 5.0;
    Line line(BoxMesh(N, 1, 1, L / N, 1.0, 1.0), k, 1.0);
    line.AddWall(line.energy().mesh.side[0], 20.0, 2.0 * N / L, h);
    line.AddWall(line.energy().mesh.side[1], 200.0, 2.0 * N / L);
    const auto T = line.Step(0.0, 0.0, std::vector<double>(N, 100.0), {}, true);
    const double flux = (200.0 - 20.0) / (1.0 / h + L / k);
    const double surface = 20.0 + flux / h;
    for (int i = 0; i < N; ++i) EXPECT_NEAR(T[i], surface + flux * (i + 0.5) * (L / N) / k, 1e-10) << i;
    const auto walls = line.SurfaceTemperatures(T);
    ASSERT_EQ(walls.size(), 1u);
    EXPECT_NEAR(walls[0], surface, 1e-10);
}

}  // namespace
