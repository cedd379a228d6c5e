// Volume fraction: donor Courant numbers, cell fill rates, limiting and
// snapping, arrival times, fill statistics and the volume correction.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "flow_test_mesh.h"
#include "rvzgpu_mesh/Mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

constexpr double kFcri = 0.5;

// A row of three cells along x (faces 0|1 and 1|2) with the volumes 1, 2, 4
// so that a formula that divides by the wrong cell's volume shows.
struct Row3 {
    BoxMesh m{3, 1, 1};
    std::unique_ptr<DeviceMesh> d;
    Row3()
    {
        m.volume = {1.0, 2.0, 4.0};
        d = std::make_unique<DeviceMesh>(m);
        d->ClearScratch();
    }
};

struct Target {
    DeviceArray<double> tP, tE, value;
    Target(int nFaces, const std::vector<double>& start) : tP(nFaces), tE(nFaces), value(start) {}
};

std::vector<double> Courant(Row3& r, const std::vector<double>& flux, double dt, std::vector<double> start)
{
    DeviceArray<double> m(flux);
    Target t(r.m.nFaces, start);
    const DeviceMesh& d = *r.d;
    EXPECT_EQ(Tool().Calc_CourantNoDonnorCell(r.m.nFaces, r.m.nCells, r.m.newNNU, BoxMesh::nCol, *d.P, *d.E, dt, m,
                                              *d.volume, t.tP, t.tE, t.value, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch,
                                              1, 1),
              0);
    return t.value.Download();
}

std::vector<double> FillRate(Row3& r, const std::vector<double>& flux, std::vector<double> start)
{
    DeviceArray<double> m(flux);
    Target t(r.m.nFaces, start);
    const DeviceMesh& d = *r.d;
    EXPECT_EQ(Tool().Calc_CellFR(r.m.nFaces, r.m.nCells, r.m.newNNU, BoxMesh::nCol, m, t.tP, t.tE, t.value, *d.Px,
                                 *d.Py, *d.Ex, *d.Ey, *d.scratch, 1, 1),
              0);
    return t.value.Download();
}

// ---------------------------------------------------------------------------
// Interior faces
// ---------------------------------------------------------------------------

TEST(VfconvCourant, EachFaceCountsForItsDonorOnlyAndAddsToTheTarget)
{
    Row3 r;
    // Face 0|1 carries 2 out of cell 0, face 1|2 carries 3 out of cell 2.
    EXPECT_EQ(Courant(r, {2.0, -3.0}, 0.5, {10.0, 20.0, 30.0}),
              (std::vector<double>{10.0 + 2.0 * 0.5 / 1.0, 20.0, 30.0 + 3.0 * 0.5 / 4.0}));
    // The reverse directions reach the other donors; a zero flux adds nothing.
    EXPECT_EQ(Courant(r, {-2.0, 3.0}, 0.5, {0, 0, 0}), (std::vector<double>{0.0, 2.0 * 0.5 / 2.0 + 3.0 * 0.5 / 2.0, 0.0}));
    EXPECT_EQ(Courant(r, {0.0, -0.0}, 0.5, {1, 1, 1}), (std::vector<double>{1, 1, 1}));
}

TEST(VfconvCourant, FillRateIsTheInflowMagnitudeOfTheAcceptor)
{
    Row3 r;
    EXPECT_EQ(FillRate(r, {2.0, -3.0}, {10.0, 20.0, 30.0}), (std::vector<double>{10.0, 25.0, 30.0}));
    EXPECT_EQ(FillRate(r, {-2.0, 3.0}, {0, 0, 0}), (std::vector<double>{2.0, 0.0, 3.0}));
    EXPECT_EQ(FillRate(r, {0.0, 0.0}, {0, 0, 0}), (std::vector<double>{0, 0, 0}));
}

TEST(VfconvCourant, ExtendedFormReadsDtOverVolume)
{
    Row3 r;
    DeviceArray<double> pdt(3);
    ASSERT_EQ(Tool().Calc_VOF_FlowE_pd_dt_Over_volume(3, 0.5, *r.d->volume, pdt, 1), 0);
    const std::vector<double> q = pdt.Download();
    EXPECT_EQ(q, (std::vector<double>{0.5 / (1.0 + 1e-30), 0.5 / 2.0, 0.5 / 4.0}));
    DeviceArray<double> m(std::vector<double>{2.0, -3.0});
    Target t(2, {0, 0, 0});
    const DeviceMesh& d = *r.d;
    ASSERT_EQ(Tool().Calc_VOF_FlowE_CourantNoDonnorCell(2, 3, r.m.newNNU, BoxMesh::nCol, *d.P, *d.E, m, pdt, t.tP,
                                                        t.tE, t.value, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch, 1, 1),
              0);
    EXPECT_EQ(t.value.Download(), (std::vector<double>{1.0, 0.0, 0.375}));
}

// A uniform flow u along x through a box of the mesh toolkit: every cell
// but the last column sends u dt / dx through its +x face, and every cell
// but the first column receives u A.
TEST(VfconvCourant, UniformFlowOnAToolkitBoxGivesUdtOverDx)
{
    rvzmesh::BoxOptions o;
    o.nx = 5;
    o.ny = 2;
    o.nz = 3;
    o.lx = 2.5;
    o.ly = 0.4;
    o.lz = 0.9;
    const rvzmesh::Mesh mesh = rvzmesh::BuildMesh(rvzmesh::MakeBox(o));
    const double u = 3.0, dt = 0.02, dx = 0.5, area = 0.2 * 0.3;
    std::vector<double> flux(mesh.nFaces);
    for (int f = 0; f < mesh.nFaces; ++f) flux[f] = u * mesh.sx[f];  // u . S, owner to neighbour
    DeviceArray<int> P(mesh.ijP), E(mesh.ijE), Px(mesh.mapPx), Py(mesh.mapPy), Ex(mesh.mapEx), Ey(mesh.mapEy);
    DeviceArray<double> m(flux), vol(mesh.volume), tP(mesh.nFaces), tE(mesh.nFaces);
    DeviceArray<double> scratch(std::vector<double>(static_cast<size_t>(mesh.newNNU) * mesh.nColumnPerRow, 0.0));
    DeviceArray<double> co(std::vector<double>(mesh.nCells, 0.0)), fr(std::vector<double>(mesh.nCells, 0.0));
    const int fg = rvzmesh::Blocks(mesh.nFaces), cg = rvzmesh::Blocks(mesh.nCells);
    ASSERT_EQ(Tool().Calc_CourantNoDonnorCell(mesh.nFaces, mesh.nCells, mesh.newNNU, mesh.nColumnPerRow, P, E, dt, m,
                                              vol, tP, tE, co, Px, Py, Ex, Ey, scratch, fg, cg),
              0);
    ASSERT_EQ(Tool().Calc_CellFR(mesh.nFaces, mesh.nCells, mesh.newNNU, mesh.nColumnPerRow, m, tP, tE, fr, Px, Py, Ex,
                                 Ey, scratch, fg, cg),
              0);
    const std::vector<double> c = co.Download(), r = fr.Download();
    std::vector<double> xc(mesh.xc.begin(), mesh.xc.begin() + mesh.nCells);
    for (int i = 0; i < mesh.nCells; ++i) {
        const bool last = xc[i] > 2.5 - dx, first = xc[i] < dx;
        EXPECT_NEAR(c[i], last ? 0.0 : u * dt / dx, 1e-14) << "cell " << i;
        EXPECT_NEAR(r[i], first ? 0.0 : u * area, 1e-14) << "cell " << i;
    }
}

// ---------------------------------------------------------------------------
// Boundary and partition faces (owner only, listed rows)
// ---------------------------------------------------------------------------

// Four cells in a row; the -y side gives one face per cell.
struct Row4 {
    BoxMesh m{4, 1, 1, 1.0, 1.0, 1.0};
    std::unique_ptr<DeviceMesh> d;
    std::unique_ptr<DeviceList> l;
    Row4()
    {
        m.volume = {1.0, 2.0, 4.0, 8.0};
        d = std::make_unique<DeviceMesh>(m);
        d->ClearScratch();
        l = std::make_unique<DeviceList>(m.side[2]);
    }
};

TEST(VfconvBoundary, WallFacesCountOutflowWhereTheMatchFlagAdmitsThem)
{
    Row4 r;
    DeviceArray<double> mw(std::vector<double>{4.0, 4.0, -4.0, 8.0}), t(4), co(std::vector<double>{1, 1, 1, 1});
    DeviceArray<int> match(std::vector<int>{1, 0, 1, 1});
    ASSERT_EQ(Tool().Calc_CourantNoDonnorCell_Wall(4, 4, r.m.newNNU, BoxMesh::nCol, *r.l->cell, 0.5, match, mw,
                                                   *r.d->volume, *r.l->Px, *r.l->Py, t, *r.d->scratch, co, *r.l->rows,
                                                   1, 1),
              0);
    EXPECT_EQ(co.Download(), (std::vector<double>{1.0 + 2.0, 1.0, 1.0, 1.0 + 0.5}));
}

TEST(VfconvBoundary, ExtendedWallRulesOnTheBoundaryValue)
{
    Row4 r;
    const double below = std::nextafter(kFcri, 0.0), above = 0.9;
    // Slots of the four wall faces, in cell order.
    std::vector<double> volf(r.m.nExt, 0.0);
    auto run = [&](std::vector<double> phiB, std::vector<int> outlet, std::vector<int> moving, int icm) {
        for (int k = 0; k < 4; ++k) volf[r.m.side[2].slot[k]] = phiB[k];
        DeviceArray<double> vf(volf), mo(std::vector<double>{2.0, 2.0, 2.0, -2.0}), t(4);
        DeviceArray<double> pdt(std::vector<double>{1.0, 0.5, 0.25, 0.125}), co(std::vector<double>{0, 0, 0, 0});
        DeviceArray<int> out(outlet), mv(moving);
        DeviceArray<float> mft(std::vector<float>{0, 0, 0, 0});
        EXPECT_EQ(Tool().Calc_VOF_FlowE_CourantNoDonnorCell_Wall(4, 4, r.m.newNNU, BoxMesh::nCol, kFcri, 1, 0, icm,
                                                                 *r.l->cell, *r.l->slot, out, mv, vf, mft, mo, pdt,
                                                                 *r.l->Px, *r.l->Py, t, *r.d->scratch, co,
                                                                 *r.l->rows, 1, 1),
                  0);
        return co.Download();
    };
    // At fcri the face is closed; just below it is open; the fourth face is an inflow.
    EXPECT_EQ(run({kFcri, below, 0.0, 0.0}, {0, 0, 0, 0}, {0, 0, 0, 0}, 0), (std::vector<double>{0.0, 1.0, 0.5, 0.0}));
    // The outlet flag opens a face whatever its value.
    EXPECT_EQ(run({kFcri, above, 1.0, 1.0}, {0, 1, 1, 1}, {0, 0, 0, 0}, 0), (std::vector<double>{0.0, 1.0, 0.5, 0.0}));
    // A reached moving wall opens only in moving-wall mode and above fcri.
    EXPECT_EQ(run({above, kFcri, above, above}, {0, 0, 0, 0}, {1, 1, 0, 1}, 1),
              (std::vector<double>{2.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(run({above, above, above, above}, {0, 0, 0, 0}, {1, 1, 1, 1}, 0), (std::vector<double>{0, 0, 0, 0}));
}

TEST(VfconvBoundary, InletFacesCountOnlyWhenInactiveAndUnreached)
{
    Row4 r;
    std::vector<double> volf(r.m.nExt, 0.0);
    const std::vector<double> phiB{0.0, 0.0, kFcri, 0.0};
    for (int k = 0; k < 4; ++k) volf[r.m.side[2].slot[k]] = phiB[k];
    DeviceArray<double> vf(volf), mi(std::vector<double>{2.0, 2.0, 2.0, -2.0}), t(4);
    DeviceArray<double> pdt(std::vector<double>{1.0, 0.5, 0.25, 0.125}), co(std::vector<double>{0, 0, 0, 0});
    DeviceArray<int> active(std::vector<int>{0, 3, 0, 0});
    DeviceArray<float> mft(std::vector<float>{0, 0, 0, 0});
    ASSERT_EQ(Tool().Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(4, 4, r.m.newNNU, BoxMesh::nCol, kFcri, 1, 0,
                                                                  *r.l->cell, *r.l->slot, active, vf, mft, mi, pdt,
                                                                  *r.l->Px, *r.l->Py, t, *r.d->scratch, co,
                                                                  *r.l->rows, 1, 1),
              0);
    EXPECT_EQ(co.Download(), (std::vector<double>{2.0, 0.0, 0.0, 0.0}));
}

TEST(VfconvBoundary, PartitionFacesOwnerOnly)
{
    Row4 r;
    // The -y faces stand in for partition faces: flux positive out of the cell.
    DeviceArray<double> mp(std::vector<double>{2.0, -2.0, 4.0, 0.0}), t(4);
    DeviceArray<double> co(std::vector<double>{0, 0, 0, 0}), co2(std::vector<double>{0, 0, 0, 0});
    DeviceArray<double> pdt(std::vector<double>{0.5 / 1.0, 0.5 / 2.0, 0.5 / 4.0, 0.5 / 8.0});
    DeviceArray<double> fr(std::vector<double>{1, 1, 1, 1});
    const DeviceList& l = *r.l;
    ASSERT_EQ(Tool().Calc_VOF_Flow_CourantNoDonnorCell_Par(4, 4, r.m.newNNU, BoxMesh::nCol, *l.cell, mp, 0.5,
                                                           *r.d->volume, t, co, *l.Px, *l.Py, *r.d->scratch, *l.rows,
                                                           1, 1),
              0);
    EXPECT_EQ(co.Download(), (std::vector<double>{1.0, 0.0, 0.5, 0.0}));
    ASSERT_EQ(Tool().Calc_VOF_FlowE_CourantNoDonnorCell_Par(4, 4, r.m.newNNU, BoxMesh::nCol, *l.cell, mp, pdt, t, co2,
                                                            *l.Px, *l.Py, *r.d->scratch, *l.rows, 1, 1),
              0);
    EXPECT_EQ(co2.Download(), co.Download());
    ASSERT_EQ(Tool().Calc_CellFR_Par(4, 4, r.m.newNNU, BoxMesh::nCol, mp, t, fr, *l.Px, *l.Py, *r.d->scratch, *l.rows,
                                     1, 1),
              0);
    EXPECT_EQ(fr.Download(), (std::vector<double>{1.0, 3.0, 1.0, 1.0}));
}

// ---------------------------------------------------------------------------
// Limiting, snapping and arrival times
// ---------------------------------------------------------------------------

constexpr double kEmf = 0.01, kEmf1 = 0.99;

std::vector<double> Limit(int op, std::vector<double> phi, std::vector<float> mfd = {}, double emf1 = kEmf1)
{
    const int n = static_cast<int>(phi.size());
    DeviceArray<double> v(phi);
    if (mfd.empty()) mfd.assign(n, 0.0f);
    DeviceArray<float> t(mfd);
    int status = -1;
    if (op == 0) status = Tool().Calc_Vfconv_VolF_FillVol_Less(n, v, kEmf, emf1, 1);
    if (op == 1) status = Tool().Calc_Vfconv_VolF_FillVol_More(n, v, kEmf, kFcri, 1);
    if (op == 2) status = Tool().Calc_Vfconv_VolF_Update(n, v, t, kEmf, kFcri, 1);
    EXPECT_EQ(status, 0);
    return v.Download();
}

TEST(VfconvLimit, ThresholdsOfTheThreeRules)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<double> phi{-0.1, 1.3, kEmf, 0.3, kFcri, kEmf1, nan};
    const std::vector<double> less = Limit(0, phi), more = Limit(1, phi), upd = Limit(2, phi);
    EXPECT_EQ(std::vector<double>(less.begin(), less.end() - 1), (std::vector<double>{0.0, 1.0, 0.0, 0.3, kFcri, 1.0}));
    EXPECT_EQ(std::vector<double>(more.begin(), more.end() - 1), (std::vector<double>{0.0, 1.0, kEmf, 0.3, 1.0, 1.0}));
    // Without arrival times nothing above fcri snaps.
    EXPECT_EQ(std::vector<double>(upd.begin(), upd.end() - 1),
              (std::vector<double>{0.0, 1.0, kEmf, 0.3, kFcri, kEmf1}));
    EXPECT_TRUE(std::isnan(less.back()) && std::isnan(more.back()) && std::isnan(upd.back()));
    // EMF1 below EMF: everything above EMF becomes 1.
    EXPECT_EQ(Limit(0, {0.005, 0.011, 0.3}, {}, 0.001), (std::vector<double>{0.0, 1.0, 1.0}));
}

TEST(VfconvLimit, ArrivalTimeIsRecordedOnceAndEnablesSnapping)
{
    DeviceArray<double> v(std::vector<double>{kFcri, 0.4, 0.8});
    DeviceArray<float> mfd(std::vector<float>{0.0f, 0.0f, 2.5f});
    // Time 0 records nothing that a later call could not overwrite.
    ASSERT_EQ(Tool().Calc_Vfconv_RecordIsoFilledSurface(3, 0.0, kFcri, mfd, v, 1), 0);
    EXPECT_EQ(mfd.Download(), (std::vector<float>{0.0f, 0.0f, 2.5f}));
    ASSERT_EQ(Tool().Calc_Vfconv_RecordIsoFilledSurface(3, 0.1, kFcri, mfd, v, 1), 0);
    EXPECT_EQ(mfd.Download(), (std::vector<float>{0.1f, 0.0f, 2.5f}));
    ASSERT_EQ(Tool().Calc_Vfconv_RecordIsoFilledSurface(3, 0.7, kFcri, mfd, v, 1), 0);
    EXPECT_EQ(mfd.Download(), (std::vector<float>{0.1f, 0.0f, 2.5f}));
    ASSERT_EQ(Tool().Calc_Vfconv_VolF_Update(3, v, mfd, kEmf, kFcri, 1), 0);
    EXPECT_EQ(v.Download(), (std::vector<double>{1.0, 0.4, 1.0}));
    ASSERT_EQ(Tool().ResetVolFToSpecificValue(2, v, 0.25, 1), 0);
    EXPECT_EQ(v.Download(), (std::vector<double>{0.25, 0.25, 1.0}));
}

TEST(VfconvLimit, VolumeCorrectionReachesFrontCellsOnly)
{
    const double edge = kFcri - 0.2;
    DeviceArray<double> v(std::vector<double>{edge, std::nextafter(edge, 1.0), 0.9, 0.6});
    DeviceArray<double> vol(std::vector<double>{1.0, 2.0, 1.0, 4.0});
    ASSERT_EQ(Tool().Calc_FVolUpdate_UpdateVolF(4, 0.4, kFcri, v, vol, 1), 0);
    const std::vector<double> got = v.Download();
    EXPECT_EQ(got[0], edge);
    EXPECT_DOUBLE_EQ(got[1], edge + 0.2);
    EXPECT_EQ(got[2], 1.0);
    EXPECT_DOUBLE_EQ(got[3], 0.7);
    // No lower bound: a negative volume can take a front cell below 0.
    DeviceArray<double> w(std::vector<double>{0.35});
    ASSERT_EQ(Tool().Calc_FVolUpdate_UpdateVolF(1, -1.0, kFcri, w, vol, 1), 0);
    EXPECT_DOUBLE_EQ(w.Download()[0], -0.65);
}

// ---------------------------------------------------------------------------
// Fill statistics
// ---------------------------------------------------------------------------

// The level table of n elements with one buffer of each type, full of
// garbage that every statistic must clear.
struct Levels : rvztest::LevelPlan {
    std::unique_ptr<DeviceArray<double>> d;
    std::unique_ptr<DeviceArray<int>> i;
    explicit Levels(int n) : LevelPlan(n)
    {
        d = Up(std::vector<double>(total, 7.7e200));
        i = Up(std::vector<int>(total, 12345));
    }
};

struct Stats {
    double fill = -1.0;
    int unfilled = -1, front = -1;
};

Stats DeviceStats(const std::vector<double>& phi, const std::vector<double>& vol)
{
    const int n = static_cast<int>(phi.size());
    Levels L(n);
    DeviceArray<double> v(phi), V(vol);
    Stats s;
    EXPECT_EQ(Tool().Calc_FVolUpdate_FillVol(n, v, V, *L.d, L.size[1], L.nLevels, L.count, L.offset, L.total, L.size,
                                             s.fill),
              0);
    EXPECT_EQ(Tool().Calc_FVolUpdate_UnFilledCells(n, kFcri, v, *L.i, L.size[1], L.nLevels, L.count, L.offset,
                                                   L.total, L.size, s.unfilled),
              0);
    EXPECT_EQ(Tool().Calc_FVolUpdate_nfront(n, kFcri, v, *L.i, L.size[1], L.nLevels, L.count, L.offset, L.total,
                                            L.size, s.front),
              0);
    return s;
}

TEST(VfconvStatistics, SmallFieldWithoutCollectingPass)
{
    const double edge = kFcri - 0.2;
    const Stats s = DeviceStats({0.0, edge, std::nextafter(edge, 1.0), kFcri, 1.0}, {1.0, 2.0, 4.0, 8.0, 16.0});
    EXPECT_DOUBLE_EQ(s.fill, 2.0 * edge + 4.0 * std::nextafter(edge, 1.0) + 8.0 * kFcri + 16.0);
    EXPECT_EQ(s.unfilled, 3);
    EXPECT_EQ(s.front, 3);
}

// 70000 cells: three levels of partial results, two collecting passes.
// Against a compensated host sum and host counts.
TEST(VfconvStatistics, LargeFieldAgainstAnIndependentSum)
{
    const int n = 70000;
    std::vector<double> phi = rvztest::RandomVector(n, 11, -0.05, 1.05), vol = rvztest::RandomVector(n, 12, 0.5, 2.0);
    long double sum = 0.0L;
    int unfilled = 0, front = 0;
    for (int c = 0; c < n; ++c) {
        sum += static_cast<long double>(phi[c]) * vol[c];
        unfilled += phi[c] < kFcri;
        front += phi[c] > kFcri - 0.2;
    }
    const Stats s = DeviceStats(phi, vol);
    const auto again = rvztest::ForThreadCounts({1, 2}, [&] { return DeviceStats(phi, vol).fill; });
    EXPECT_TRUE(rvztest::SameBits(again[0], s.fill) && rvztest::SameBits(again[1], s.fill));
    EXPECT_NEAR(s.fill, static_cast<double>(sum), 1e-12 * static_cast<double>(sum));
    EXPECT_EQ(s.unfilled, unfilled);
    EXPECT_EQ(s.front, front);
}

// ---------------------------------------------------------------------------
// Volume-fraction equation
// ---------------------------------------------------------------------------

// Inputs of the face coefficients and blending factors of a box mesh.
struct VolFFaces {
    const BoxMesh& m;
    DeviceMesh d;
    std::unique_ptr<DeviceArray<double>> co, gx, gy, gz, volf, mfe, beta, aE, aW, ceMax, frontVol;
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
    VolFFaces(const BoxMesh& mesh, const std::vector<double>& Co, const std::vector<double>& grad_x,
              const std::vector<double>& grad_y, const std::vector<double>& phi, const std::vector<double>& flux)
        : m(mesh), d(mesh), co(Up(Co)), gx(Up(grad_x)), gy(Up(grad_y)), gz(Up(std::vector<double>(mesh.nCells, 0.0))),
          volf(Up(phi)), mfe(Up(flux)), beta(Up(std::vector<double>(mesh.nFaces, -9.0))),
          aE(Up(std::vector<double>(mesh.nFaces, -9.0))), aW(Up(std::vector<double>(mesh.nFaces, -9.0)))
    {
        EXPECT_EQ(Tool().GetSizeOfBlock(mesh.nFaces, total, nLevels, count, size, offset), 0);
        ceMax = Up(std::vector<double>(total, 5e200));
        frontVol = Up(std::vector<double>(total, -5e200));
    }
    // Returns (CeMax, FrontVol).
    std::pair<double, double> Run(double fcri, bool partition = false)
    {
        double ce = -1.0, fv = -1.0;
        int status = -1;
        DeviceArray<double> temp(m.nFaces);
        if (partition)
            status = Tool().Calc_InnerFluxVolF_Par(m.nFaces, 0, 0, 0, *d.P, *d.E, *co, *gx, *gy, *gz, *d.xc, *d.yc,
                                                   *d.zc, *volf, *d.volume, *beta, *mfe, *aE, nullptr, temp, *ceMax,
                                                   *frontVol, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                   fcri, 0, flowtest::Blocks(m.nFaces), nLevels, count, offset,
                                                   total, size, ce, fv);
        else
            status = Tool().Calc_InnerFluxVolF(m.nFaces, 0, 0, 0, *d.P, *d.E, *co, *gx, *gy, *gz, *d.xc, *d.yc, *d.zc,
                                               *volf, *d.volume, *beta, *mfe, *aE, *aW, nullptr, temp, *ceMax,
                                               *frontVol, nullptr, nullptr, nullptr, nullptr, nullptr, fcri, 0,
                                               flowtest::Blocks(m.nFaces), nLevels, count, offset, total, size, ce,
                                               fv);
        EXPECT_EQ(status, 0);
        return {ce, fv};
    }
};

// Three cells in a row, unit spacing, volumes 1, 2, 4. Face 0|1 flows
// forward (donor 0), face 1|2 backward (donor 2).
BoxMesh Row3Volumes()
{
    BoxMesh m(3, 1, 1);
    m.volume = {1.0, 2.0, 4.0};
    return m;
}

TEST(VfconvEquation, BlendingFactorByHandOnBothFlowDirections)
{
    const BoxMesh m = Row3Volumes();
    VolFFaces v(m, {0.3, 0.0, 0.2}, {0.2, 0.0, -0.3}, {0.0, 0.0, 0.4}, {0.6, 0.9, 0.4}, {1.0, -1.0});
    const auto [ce, fv] = v.Run(0.5);
    const std::vector<double> beta = v.beta->Download();
    // Face 0: d = (1,0,0), g = (0.2,0,0): phi_U = 0.9 - 0.4 = 0.5, donor
    // value 0.25, cos = 1 (weight 0.8); CBC = 0.25/0.3, UQ = (8*0.3*0.25 +
    // 0.7*(6*0.25+3))/8 = 0.46875.
    const double f0 = 0.8 * (0.25 / 0.3) + 0.2 * 0.46875;
    EXPECT_NEAR(beta[0], (f0 - 0.25) / 0.75, 1e-14);
    // Face 1: donor cell 2, d = (-1,0,0), g = (-0.3,0.4,0): d.g = 0.3,
    // phi_U = 0.3, donor value 1/6, cos = 0.6 (weight 0.288); Co = 0.2:
    // CBC = (1/6)/0.2, UQ = (8*0.2/6 + 0.8*4)/8.
    const double cbc = (1.0 / 6.0) / 0.2, uq = (8.0 * 0.2 / 6.0 + 0.8 * 4.0) / 8.0;
    const double f1 = 0.288 * cbc + 0.712 * uq;
    EXPECT_NEAR(beta[1], (f1 - 1.0 / 6.0) / (5.0 / 6.0), 1e-14);
    // Upwind coefficients with their matrix sign.
    EXPECT_EQ(v.aE->Download(), (std::vector<double>{0.0, -1.0}));
    EXPECT_EQ(v.aW->Download(), (std::vector<double>{-1.0, 0.0}));
    // Both donors (0.6 and 0.4) lie within 0.2 of 0.5: Co V and V of each.
    EXPECT_NEAR(ce, 0.3 * 1.0 + 0.2 * 4.0, 1e-15);
    EXPECT_EQ(fv, 5.0);
    // The partition form gives the same factors and sums, leaving aW alone.
    v.beta->Upload(std::vector<double>(2, -9.0));
    v.aW->Upload(std::vector<double>(2, 7.0));
    const auto par = v.Run(0.5, true);
    EXPECT_EQ(v.beta->Download(), beta);
    EXPECT_EQ(par, std::make_pair(ce, fv));
    EXPECT_EQ(v.aW->Download(), (std::vector<double>{7.0, 7.0}));
}

TEST(VfconvEquation, BlendingFactorEdgeCases)
{
    const BoxMesh m = Row3Volumes();
    // A uniform field: donor value 0, beta 0. 0.5 lies exactly 0.2 from 0.3:
    // not a front face.
    ASSERT_EQ(0.5 - 0.3, 0.2);
    VolFFaces u(m, {0.3, 0.3, 0.3}, {0, 0, 0}, {0, 0, 0}, {0.5, 0.5, 0.5}, {1.0, 0.0});
    EXPECT_EQ(u.Run(0.3), std::make_pair(0.0, 0.0));
    EXPECT_EQ(u.beta->Download(), (std::vector<double>{0.0, 0.0}));
    // m = 0 takes the owner as donor: face 1|2 with donor 1 (0.6, Co 0) and
    // acceptor 2 (1.0), zero gradient: phi_U = 1, donor value far outside
    // [0, 1], beta 0. Face 0|1 (donor 0 = 0.2, Co 0, g = 0.1): phi_U = 0.4,
    // donor value < 0, beta 0 as well. Only face 1|2 is a front face.
    VolFFaces z(m, {0.0, 0.0, 0.9}, {0.1, 0.0, 0.0}, {0, 0, 0}, {0.2, 0.6, 1.0}, {1.0, 0.0});
    EXPECT_EQ(z.Run(0.5), std::make_pair(0.0, 2.0));
    EXPECT_EQ(z.beta->Download(), (std::vector<double>{0.0, 0.0}));
    // Co = 0 with a donor value in (0, 1]: the bounded scheme gives 1, the
    // other min(3(2 phi + 1)/8... , 1); g along d: weight 0.8.
    VolFFaces c(m, {0.0, 0.0, 0.0}, {0.1, 0.0, 0.0}, {0, 0, 0}, {0.5, 0.6, 0.0}, {1.0, 0.0});
    c.Run(0.5);
    // phi_U = 0.4, donor value 0.5, UQ = (6*0.5+3)/8 = 0.75.
    EXPECT_NEAR(c.beta->Download()[0], (0.8 * 1.0 + 0.2 * 0.75 - 0.5) / 0.5, 1e-14);
}

// 750 faces in three blocks of the first level: the front sums against
// host sums over the faces.
TEST(VfconvEquation, FrontSumsOverSeveralBlocks)
{
    const BoxMesh m(40, 10, 1);
    const int n = m.nCells;
    std::vector<double> phi = rvztest::RandomVector(n, 21, 0.0, 1.0), co = rvztest::RandomVector(n, 22, 0.0, 1.0);
    std::vector<double> flux = rvztest::RandomVector(m.nFaces, 23, -1.0, 1.0);
    VolFFaces v(m, co, rvztest::RandomVector(n, 24), rvztest::RandomVector(n, 25), phi, flux);
    const double fcri = 0.5;
    double ce = 0.0, fv = 0.0;
    for (int f = 0; f < m.nFaces; ++f) {
        const int D = flux[f] >= 0.0 ? m.P[f] : m.E[f];
        if (std::fabs(phi[D] - fcri) < 0.2) {
            ce += co[D] * m.volume[D];
            fv += m.volume[D];
        }
    }
    ASSERT_GE(v.nLevels, 3);
    const auto [gotCe, gotFv] = v.Run(fcri);
    EXPECT_NEAR(gotCe, ce, 1e-12 * ce);
    EXPECT_NEAR(gotFv, fv, 1e-12 * fv);
    EXPECT_GT(fv, 0.0);
}

TEST(VfconvEquation, InletSourceFillRateAndDiagonal)
{
    Row3 r;
    // Inlet faces on the -x side of cell 0 (scratch column 0) and the +x
    // side of cell 2; the second carries an outflow.
    const flowtest::BoundaryList b = r.m.Merge({0, 1});
    DeviceList l(b);
    const double melt = 0.75;
    std::vector<double> volf(r.m.nExt, 0.1);
    DeviceArray<double> vf(volf), mi(std::vector<double>{-2.0, 1.0}), tSu(2), tFR(2), cb(2);
    DeviceArray<double> su(std::vector<double>{1, 1, 1}), fr(std::vector<double>{1, 1, 1});
    // A value left in a row that is not summed: the operation clears the
    // whole scratch between its two sums.
    std::vector<double> scratch(r.m.EllSize(), 0.0);
    scratch[3 * r.m.newNNU + 1] = 10.0;
    r.d->scratch->Upload(scratch);
    ASSERT_EQ(Tool().Calc_Vfconv_InletBC_CellFR_Su_CB(2, 2, r.m.newNNU, BoxMesh::nCol, *l.slot, mi, vf, melt, tSu, tFR,
                                                      cb, su, fr, *l.Px, *l.Py, *r.d->scratch, *l.rows, 1, 1),
              0);
    const std::vector<double> v = vf.Download();
    EXPECT_EQ(v[b.slot[0]], melt);
    EXPECT_EQ(v[b.slot[1]], melt);
    EXPECT_EQ(v[0], 0.1);
    EXPECT_EQ(su.Download(), (std::vector<double>{1.0 + 2.0 * melt, 1.0, 1.0}));
    EXPECT_EQ(fr.Download(), (std::vector<double>{3.0, 1.0, 1.0}));
    EXPECT_EQ(cb.Download(), (std::vector<double>{-2.0, 0.0}));
    std::vector<double> left = r.d->scratch->Download();
    EXPECT_EQ(left[b.Py[0] * r.m.newNNU + b.Px[0]], 2.0);
    left[b.Py[0] * r.m.newNNU + b.Px[0]] = 0.0;
    EXPECT_EQ(left, std::vector<double>(r.m.EllSize(), 0.0));
    std::vector<double> ell(r.m.EllSize(), 0.0);
    ell[0] = ell[1] = ell[2] = 0.5;
    DeviceArray<double> A(ell);
    ASSERT_EQ(Tool().Calc_Vfconv_InletAi(2, 2, r.m.newNNU, BoxMesh::nCol, *l.Px, *l.Py, cb, *r.d->scratch, A, *l.rows,
                                         1, 1),
              0);
    const std::vector<double> a = A.Download();
    EXPECT_EQ(std::vector<double>(a.begin(), a.begin() + 3), (std::vector<double>{2.5, 0.5, 0.5}));
}

TEST(VfconvEquation, UnsteadyTermHalvesOffDiagonalsAndFinalCoeffRelaxes)
{
    Row3 r;
    const int nn = r.m.newNNU;
    // Row 1 (middle) has neighbours 0 (column 1) and 2 (column 2); an entry
    // in an empty column (6) still enters S but has no neighbour value.
    std::vector<double> ell(r.m.EllSize(), 0.0);
    ell[1] = 3.0;
    ell[1 * nn + 1] = -2.0;
    ell[2 * nn + 1] = -4.0;
    ell[6 * nn + 1] = -1.0;
    ASSERT_EQ(r.m.indexELL[1 * nn + 1], 0);
    ASSERT_EQ(r.m.indexELL[2 * nn + 1], 2);
    ASSERT_EQ(r.m.indexELL[6 * nn + 1], -1);
    DeviceArray<double> A(ell), su(std::vector<double>{0, 0, 0}), old(std::vector<double>{0.2, 0.5, 1.0});
    ASSERT_EQ(Tool().Calc_Vfconv_UnsteadyTermContribution(3, nn, BoxMesh::nCol, *r.d->volume, 0.5, A, su, old,
                                                          *r.d->indexELL, 1),
              0);
    std::vector<double> a = A.Download();
    // a0 = 2/0.5 = 4; S = 4 - 1 - 2 - 0.5 = 0.5.
    EXPECT_EQ(a[1], 7.0);
    EXPECT_EQ(a[1 * nn + 1], -1.0);
    EXPECT_EQ(a[2 * nn + 1], -2.0);
    EXPECT_EQ(a[6 * nn + 1], -0.5);
    EXPECT_DOUBLE_EQ(su.Download()[1], 0.5 * 0.5 - (-1.0 * 0.2 - 2.0 * 1.0));
    // A row without off-diagonal entries: a0 on the diagonal, a0 phi0 in SuD.
    EXPECT_EQ(su.Download()[0], 1.0 / 0.5 * 0.2);
    // Relaxation: diag = (AD - sum of off-diagonals) / relax.
    DeviceArray<double> ad(std::vector<double>{1.0, 0.5, 0.0}), sfi(std::vector<double>{0, 1, 0});
    ASSERT_EQ(Tool().Calc_Vfconv_FinalCoeff(3, nn, BoxMesh::nCol, 0.5, old, A, ad, sfi, 1), 0);
    a = A.Download();
    EXPECT_EQ(a[1], (0.5 + 3.5) / 0.5);
    EXPECT_EQ(a[0], 2.0);
    EXPECT_EQ(sfi.Download(), (std::vector<double>{0.5 * 2.0 * 0.2, 1.0 + 0.5 * 8.0 * 0.5, 0.0}));
}

TEST(VfconvEquation, BoundaryAndFaceValues)
{
    Row3 r;
    const flowtest::BoundaryList wall = r.m.side[2], symm = r.m.side[5];
    DeviceList w(wall), s(symm);
    std::vector<double> volf(r.m.nExt, -1.0);
    volf[0] = 0.1;
    volf[1] = 0.2;
    volf[2] = 0.3;
    DeviceArray<double> vf(volf);
    ASSERT_EQ(Tool().Calc_Vfconv_VolF_WallBC(3, *w.cell, *w.slot, vf, 1), 0);
    ASSERT_EQ(Tool().Calc_Vfconv_VolF_Symm(3, *s.cell, *s.slot, vf, 1), 0);
    const std::vector<double> v = vf.Download();
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(v[wall.slot[k]], volf[k]);
        EXPECT_EQ(v[symm.slot[k]], volf[k]);
    }
    // Face values: face 0|1 forward (donor 0), face 1|2 with m = 0 (donor 1).
    DeviceArray<double> now(std::vector<double>{0.2, 0.6, 1.0}), old(std::vector<double>{0.0, 0.4, 1.0});
    DeviceArray<double> m(std::vector<double>{1.0, 0.0}), beta(std::vector<double>{0.25, 0.5}), vfe(2);
    const DeviceMesh& d = *r.d;
    ASSERT_EQ(Tool().Calc_Vfconv_UpdateCellFaceValue(2, *d.P, *d.E, m, beta, now, old, vfe, 1), 0);
    EXPECT_EQ(vfe.Download(), (std::vector<double>{0.75 * 0.1 + 0.25 * 0.5, 0.5 * 0.5 + 0.5 * 1.0}));
    // Backward flow swaps the roles (face 1|2: donor 2 at 1.0, acceptor 1
    // at 0.5); beta = -1 leans past the donor, to 1.5, clamped to 1.
    m.Upload({-1.0, -1.0});
    beta.Upload({0.25, -1.0});
    ASSERT_EQ(Tool().Calc_Vfconv_UpdateCellFaceValue(2, *d.P, *d.E, m, beta, now, old, vfe, 1), 0);
    EXPECT_EQ(vfe.Download(), (std::vector<double>{0.75 * 0.5 + 0.25 * 0.1, 1.0}));
}

// One time step of melt entering an empty row of four unit cells at the
// flux m, assembled from the operations in a host solver's order and solved
// densely, against the recurrence written down by hand from the discrete
// equations: upwind coefficients (aW = -m), relaxed diagonal (relax 1, AD
// 0: m in every row but the first), inlet diagonal m and source m MELT in
// the first row, then the time term (a0 = V/dt, off-diagonals halved, old
// level 0). Row 0: (a0 + m) phi_0 = m MELT; row r: (a0 + m) phi_r = m/2
// phi_(r-1).
TEST(VfconvEquation, AssembledStepAgainstTheHandRecurrence)
{
    const BoxMesh m(4, 1, 1);
    const double flux = 2.0, dt = 0.25, melt = 1.0, a0 = 1.0 / dt;
    VolFFaces v(m, std::vector<double>(4, 0.0), std::vector<double>(4, 0.0), std::vector<double>(4, 0.0),
                std::vector<double>(m.nExt, 0.0), std::vector<double>(m.nFaces, flux));
    v.Run(0.5);
    const DeviceMesh& d = v.d;
    const int nn = m.newNNU, fg = 1, cg = 1;
    DeviceArray<double> A(std::vector<double>(m.EllSize(), 0.0)), ad(std::vector<double>(4, 0.0));
    DeviceArray<double> su(std::vector<double>(4, 0.0)), sfi(std::vector<double>(4, 0.0));
    DeviceArray<double> old(std::vector<double>(m.nExt, 0.0));
    ASSERT_EQ(Tool().Calc_MapaEaWToAi(m.nFaces, nn, *d.Px, *d.Py, *d.Ex, *d.Ey, *v.aE, *v.aW, A, fg), 0);
    ASSERT_EQ(Tool().Calc_Vfconv_FinalCoeff(4, nn, BoxMesh::nCol, 1.0, *v.volf, A, ad, sfi, cg), 0);
    DeviceList in(m.side[0]);
    DeviceArray<double> mi(std::vector<double>{-flux}), tSu(1), tFR(1), cb(1), fr(std::vector<double>(4, 0.0));
    ASSERT_EQ(Tool().Calc_Vfconv_InletBC_CellFR_Su_CB(1, 1, nn, BoxMesh::nCol, *in.slot, mi, *v.volf, melt, tSu, tFR, cb,
                                                      su, fr, *in.Px, *in.Py, *d.scratch, *in.rows, fg, cg),
              0);
    ASSERT_EQ(Tool().Calc_Vfconv_InletAi(1, 1, nn, BoxMesh::nCol, *in.Px, *in.Py, cb, *d.scratch, A, *in.rows, fg, cg),
              0);
    ASSERT_EQ(Tool().Calc_Vfconv_UnsteadyTermContribution(4, nn, BoxMesh::nCol, *d.volume, dt, A, su, old,
                                                          *d.indexELL, cg),
              0);
    const std::vector<double> phi =
        flowtest::SolveEllDense(A.Download(), m.indexELL, nn, BoxMesh::nCol, su.Download(), 4);
    double expected = flux * melt / (a0 + flux);
    for (int r = 0; r < 4; ++r) {
        EXPECT_NEAR(phi[r], expected, 1e-14) << "cell " << r;
        expected *= flux / 2.0 / (a0 + flux);
    }
    EXPECT_EQ(fr.Download(), (std::vector<double>{flux, 0.0, 0.0, 0.0}));
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

#if !RVZGPU_BACKEND_CUDA
std::string Report(const char* message)
{
    return std::string("GPU[0:host] ") + message + ": " + rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ";
}

TEST(VfconvFailure, EachLaunchReportsItsStepAndTheLastCheckIsReturned)
{
    Row3 r;
    int status = -1;
    std::vector<double> co;
    // The collect launch fails: reported, the update still runs and succeeds.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 1);
    std::string out = rvztest::CaptureOutput([&] { co = Courant(r, {2.0, -3.0}, 0.5, {0, 0, 0}); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("Calc_CourantNoDonnorCell failed"));
    // The update fails: its code is the operation's status.
    DeviceArray<double> m(std::vector<double>{2.0, -3.0});
    Target t(2, {0, 0, 0});
    const DeviceMesh& d = *r.d;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 2);
    out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_CellFR(2, 3, r.m.newNNU, BoxMesh::nCol, m, t.tP, t.tE, t.value, *d.Px, *d.Py, *d.Ex, *d.Ey,
                                    *d.scratch, 1, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out, Report("Calc_CellFR_Update failed"));
    EXPECT_EQ(t.value.Download(), (std::vector<double>{0, 0, 0}));
}

TEST(VfconvFailure, BlendingFactorStatusIsReturnedAfterTheCopies)
{
    const BoxMesh m = Row3Volumes();
    VolFFaces v(m, {0.3, 0.0, 0.2}, {0.2, 0.0, -0.3}, {0.0, 0.0, 0.4}, {0.6, 0.9, 0.4}, {1.0, -1.0});
    double ce = -1.0, fv = -1.0;
    int status = -1;
    DeviceArray<double> temp(2);
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 1);
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_InnerFluxVolF(2, 0, 0, 0, *v.d.P, *v.d.E, *v.co, *v.gx, *v.gy, *v.gz, *v.d.xc, *v.d.yc,
                                           *v.d.zc, *v.volf, *v.d.volume, *v.beta, *v.mfe, *v.aE, *v.aW, nullptr, temp,
                                           *v.ceMax, *v.frontVol, nullptr, nullptr, nullptr, nullptr, nullptr, 0.5, 0,
                                           1, v.nLevels, v.count, v.offset, v.total, v.size, ce, fv);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out, Report("Calc_InnerFluxVolF_Betaf_temp_CeMax failed"));
    EXPECT_EQ(std::make_pair(ce, fv), std::make_pair(0.0, 0.0));  // the cleared buffers, copied back
    EXPECT_EQ(v.aE->Download(), (std::vector<double>{0.0, -1.0}));
}

TEST(VfconvFailure, StatisticReportsItsFirstLevelOnly)
{
    Levels L(5);
    DeviceArray<double> v(std::vector<double>{0.9, 0.9, 0.0, 0.0, 0.0});
    int front = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    int status = -1;
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_FVolUpdate_nfront(5, kFcri, v, *L.i, L.size[1], L.nLevels, L.count, L.offset, L.total,
                                               L.size, front);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out, Report("Calc_FVolUpdate_nfront failed"));
    EXPECT_EQ(front, 0);  // the cleared buffer, copied back
}
#endif

}  // namespace
