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
struct Levels {
    int total = 0, nLevels = 0;
    int count[16] = {}, size[16] = {}, offset[16] = {};
    std::unique_ptr<DeviceArray<double>> d;
    std::unique_ptr<DeviceArray<int>> i;
    explicit Levels(int n)
    {
        EXPECT_EQ(Tool().GetSizeOfBlock(n, total, nLevels, count, size, offset), 0);
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
    EXPECT_NEAR(s.fill, static_cast<double>(sum), 1e-12 * static_cast<double>(sum));
    EXPECT_EQ(s.unfilled, unfilled);
    EXPECT_EQ(s.front, front);
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
