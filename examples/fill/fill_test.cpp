// rvzgpu-fill on small meshes: the volume bookkeeping against the flow
// rate, the fill time and front speed of a strip, the Hele-Shaw slit
// against its analytic front law, the bounds and width of the front, and
// bit-identical runs on one and two threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "CRVZGPUtool.h"
#include "example_test_tool.h"
#include "fill_settings.h"
#include "fill_solver.h"
#include "test_support.h"

namespace {

using fill::FillSettings;
using fill::Filling;

// A strip [0, L] x [0, W] x [0, h]: inlet over the x = 0 end, walls at
// z = 0, h and x = L, symmetry planes at y = 0, W (one cell across).
FillSettings Strip(int nx, int nz, double L = 4.0, double h = 0.2)
{
    FillSettings s;
    s.geometry = "strip";
    s.length = L, s.width = 0.5, s.thickness = h;
    s.nx = nx, s.ny = 1, s.nz = nz;
    s.viscosity = 1000.0;
    s.flow_rate = 0.4;
    s.tolerance = 1e-4;
    s.output_dir = "none";
    return s;
}

struct FillRun {
    std::vector<fill::StepRecord> steps;
    std::vector<double> volumeError;  // |melt volume - Q t| / V after each step
    double lowest = 1.0, highest = 0.0;
    int widestFront = 0;  // most cells of one row (fixed z) strictly between 0.01 and 0.99
    fill::Fields last;
    double cavity = 0.0;
    bool full = false;
};

FillRun FillToEnd(const FillSettings& s, int maxSteps = 1000)
{
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    FillRun r;
    r.cavity = f.CavityVolume();
    for (int k = 0; k < maxSteps && !f.Full(); ++k) {
        const fill::StepRecord rec = f.Step();
        r.steps.push_back(rec);
        r.volumeError.push_back(std::fabs(f.MeltVolume() - f.InjectedVolume()) / r.cavity);
        const fill::Fields fields = f.Download();
        std::vector<int> perRow(s.nz * s.ny, 0);
        for (int c = 0; c < mesh.nCells; ++c) {
            const double a = fields.volf[c];
            r.lowest = std::min(r.lowest, a), r.highest = std::max(r.highest, a);
            if (a > 0.01 && a < 0.99) {
                const int row = static_cast<int>(mesh.zc[c] / s.thickness * s.nz) * s.ny +
                                static_cast<int>(mesh.yc[c] / s.width * s.ny);
                r.widestFront = std::max(r.widestFront, ++perRow[row]);
            }
        }
    }
    r.full = f.Full();
    r.last = f.Download();
    return r;
}

// ---------------------------------------------------------------------------
// Constant flow rate
// ---------------------------------------------------------------------------

// At a fixed flow rate the melt in the cavity is the injected volume Q t
// after every step; the strip is full after V/Q, within the last step; the
// volume fraction stays in [0, 1] and the front is at most a few cells
// wide; cells fill in order along the strip at the speed Q / (W h).
TEST(FillStrip, VolumeFillTimeBoundsAndFrontSpeedAtConstantFlowRate)
{
    const FillSettings s = Strip(20, 4);
    const FillRun r = FillToEnd(s);
    ASSERT_TRUE(r.full);
    for (size_t k = 0; k < r.volumeError.size(); ++k) ASSERT_LT(r.volumeError[k], 1e-9) << "step " << k + 1;
    const double fillTime = r.cavity / s.flow_rate;
    EXPECT_NEAR(r.steps.back().time, fillTime, r.steps.back().dt);
    EXPECT_GE(r.lowest, 0.0);
    EXPECT_LE(r.highest, 1.0);
    EXPECT_LE(r.widestFront, 4);
    // Arrival time against x: a straight line of slope W h / Q; every cell
    // within two steps' time of it.
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    double sx = 0, st = 0, sxx = 0, sxt = 0;
    const int n = mesh.nCells;
    for (int c = 0; c < n; ++c) {
        ASSERT_GT(r.last.arrival[c], 0.0) << "cell " << c << " never filled";
        sx += mesh.xc[c], st += r.last.arrival[c], sxx += mesh.xc[c] * mesh.xc[c], sxt += mesh.xc[c] * r.last.arrival[c];
    }
    const double slope = (n * sxt - sx * st) / (n * sxx - sx * sx), intercept = (st - slope * sx) / n;
    const double expected = s.width * s.thickness / s.flow_rate;
    EXPECT_NEAR(slope, expected, 0.03 * expected);
    double dtMax = 0.0;
    for (const auto& rec : r.steps) dtMax = std::max(dtMax, rec.dt);
    for (int c = 0; c < n; ++c)
        EXPECT_NEAR(r.last.arrival[c], intercept + slope * mesh.xc[c], 2.0 * dtMax) << "cell " << c;
}

// The edge-gated plate (the default geometry, coarse): the melt volume
// follows Q t at every step and the run ends full at V/Q.
TEST(FillPlate, VolumeFollowsTheFlowRateUntilFull)
{
    FillSettings s;
    s.nx = 12, s.ny = 6, s.nz = 2;
    s.length = 3.0, s.width = 1.5, s.thickness = 0.2, s.gate_width = 0.5;
    s.flow_rate = 1.0;
    s.output_dir = "none";
    const FillRun r = FillToEnd(s);
    ASSERT_TRUE(r.full);
    for (size_t k = 0; k < r.volumeError.size(); ++k) ASSERT_LT(r.volumeError[k], 1e-9) << "step " << k + 1;
    EXPECT_NEAR(r.steps.back().time, r.cavity / s.flow_rate, r.steps.back().dt);
    EXPECT_GE(r.lowest, 0.0);
    EXPECT_LE(r.highest, 1.0);
}

// A sector of a thin disk fed through its inner rim (the centre gate) at a
// constant flow rate: the front is a circle whose radius grows as
// r_f^2 = r_0^2 + 2 Q t / (theta h), so a cell at radius r fills at
// theta h (r^2 - r_0^2) / (2 Q), within the time the front takes to cross
// it and a step.
TEST(FillDisk, RadialFrontFromTheCentreGate)
{
    FillSettings s;
    s.geometry = "disk";
    s.radius = 4.0, s.gate_radius = 0.5, s.sector_angle = 30.0, s.thickness = 0.2;
    s.nx = 14, s.ny = 4, s.nz = 2;
    s.flow_rate = 2.0;
    s.output_dir = "none";
    const FillRun r = FillToEnd(s);
    ASSERT_TRUE(r.full);
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    const double theta = s.sector_angle * M_PI / 180.0, dr = (s.radius - s.gate_radius) / s.nx;
    double dtMax = 0.0;
    for (const auto& rec : r.steps) dtMax = std::max(dtMax, rec.dt);
    for (int c = 0; c < mesh.nCells; ++c) {
        const double rc = std::hypot(mesh.xc[c], mesh.yc[c]);
        const double expected = theta * s.thickness * (rc * rc - s.gate_radius * s.gate_radius) / (2.0 * s.flow_rate);
        const double crossing = theta * s.thickness * rc * dr / s.flow_rate;
        EXPECT_NEAR(r.last.arrival[c], expected, crossing + dtMax) << "cell " << c << " at radius " << rc;
    }
    for (size_t k = 0; k < r.volumeError.size(); ++k) ASSERT_LT(r.volumeError[k], 1e-9) << "step " << k + 1;
}

// ---------------------------------------------------------------------------
// Constant pressure: the Hele-Shaw slit
// ---------------------------------------------------------------------------

// A Newtonian melt driven by a constant pressure difference dp into a slit
// of gap h: the mean velocity h^2 dp / (12 mu x_f) moves the front as
// x_f^2 = K t with K = h^2 dp / (6 mu), so the slit of length L fills at
// 6 mu L^2 / (h^2 dp).
//
// Two measured departures, taken apart here:
// - the filled strip's flow rate at a given pressure gradient G: the
//   cell-centred wall gradient u_1 / (dz/2) gives a mean velocity of
//   h^2 G / (12 mu) (1 + 2 / nz^2) for nz cells across (every cell value
//   lies G dz^2 / (8 mu) above the parabola's), 12.5 % and 3.1 % high on
//   4 and 8 cells;
// - the front: the melt of about half a cell behind the volume front
//   (x_f from the melt volume) carries no pressure drop, since the vents of
//   the wall row, whose front lags the interior rows', hold the column
//   there at zero pressure, so the melt sees x_f - delta. Fitting
//   x_f^2 - 2 delta x_f = K t + c over the run separates the constant
//   offset delta from K.
// K of the fit holds within 5 % on 8 cells across (measured +1.7 %) and
// comes closer than on 4 (+10.1 %); delta stays below one and a half cells
// (0.50 and 0.58); the fill time, which carries both, is held to 16 % and
// 10 % (measured -12.9 % and -7.9 %). The extended
// volume-fraction step on 8 cells across (measured -6.6 %, K -1.0 %, delta
// 0.72 cells) holds K within 3 %, delta below 0.8 cells and the fill time
// within 7.5 % and closer than the basic step's.
struct SlitRun {
    double fillTime = 0.0;
    double permeability = 0.0;  // flow rate over W h^3 G / (12 mu) of the filled strip, mid-way
    double K = 0.0, delta = 0.0;  // of the fit x_f^2 - 2 delta x_f = K t + c over x_f > L/4
    std::vector<double> time, front;  // t and x_f after each step
};

SlitRun FillSlit(const FillSettings& s)
{
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    const double h = s.thickness, L = s.length, dx = L / s.nx;
    SlitRun r;
    // Normal equations of the least-squares fit in the unknowns (K, delta, c).
    double M[3][4] = {};
    bool midway = false;
    for (int k = 0; k < 3000 && !f.Full(); ++k) {
        fill::StepRecord rec;
        try {
            rec = f.Step();
        } catch (const fill::StepError& e) {
            ADD_FAILURE() << e.what();
            return r;
        }
        const double xf = rec.filledFraction * L;
        r.time.push_back(rec.time), r.front.push_back(xf);
        if (xf > 0.25 * L) {
            const double row[3] = {rec.time, 2.0 * xf, 1.0};
            for (int a = 0; a < 3; ++a) {
                for (int b = 0; b < 3; ++b) M[a][b] += row[a] * row[b];
                M[a][3] += row[a] * xf * xf;
            }
        }
        if (!midway && xf >= 0.5 * L) {
            // The pressure gradient between the centres of the second and
            // the fourth column of the wall row, well inside the melt.
            midway = true;
            const fill::Fields fields = f.Download();
            double p1 = 0.0, p3 = 0.0;
            for (int c = 0; c < mesh.nCells; ++c) {
                if (mesh.zc[c] > h / s.nz) continue;
                const int column = static_cast<int>(mesh.xc[c] / dx);
                if (column == 1) p1 = fields.p[c];
                if (column == 3) p3 = fields.p[c];
            }
            const double G = (p1 - p3) / (2.0 * dx);
            r.permeability = rec.flowRate / (s.width * h * h * h * G / (12.0 * s.viscosity));
        }
        r.fillTime = rec.time;
    }
    EXPECT_TRUE(f.Full());
    for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row)
            if (row != c) {
                const double q = M[row][c] / M[c][c];
                for (int k = 0; k < 4; ++k) M[row][k] -= q * M[c][k];
            }
    r.K = M[0][3] / M[0][0];
    r.delta = M[1][3] / M[1][1];
    return r;
}

TEST(FillHeleShaw, FrontLawAtConstantPressureConvergesUnderRefinement)
{
    SlitRun runs[2];
    const int nz[2] = {4, 8};
    for (int k = 0; k < 2; ++k) {
        FillSettings s = Strip(16, nz[k], 2.0, 0.1);
        s.inlet = "pressure";
        s.inlet_pressure = 1.0;  // MPa
        s.pressure_limit = 10.0;
        runs[k] = FillSlit(s);
        const SlitRun& r = runs[k];
        const double dp = s.inlet_pressure * 1e7, h = s.thickness, mu = s.viscosity, L = s.length, dx = L / s.nx;
        const double K = h * h * dp / (6.0 * mu);
        std::printf("Hele-Shaw slit, %d cells across: fill time %+.2f %%, strip flow rate %+.2f %%, fitted K %+.2f %%, "
                    "front offset %.3f cells\n",
                    nz[k], 100.0 * (r.fillTime * K / (L * L) - 1.0), 100.0 * (r.permeability - 1.0),
                    100.0 * (r.K / K - 1.0), r.delta / dx);
        EXPECT_NEAR(r.permeability, 1.0 + 2.0 / (nz[k] * nz[k]), 0.005) << nz[k] << " cells across";
        EXPECT_GT(r.delta, 0.0);
        EXPECT_LT(r.delta, 1.5 * dx);
        runs[k].K = std::fabs(r.K / K - 1.0);
        runs[k].fillTime = std::fabs(r.fillTime * K / (L * L) - 1.0);
    }
    EXPECT_LT(runs[1].K, 0.05);
    EXPECT_LT(runs[1].K, runs[0].K);
    EXPECT_LT(runs[0].fillTime, 0.16);
    EXPECT_LT(runs[1].fillTime, 0.10);
    EXPECT_LT(runs[1].fillTime, runs[0].fillTime);

    // The extended volume-fraction step on 8 cells across: its vents let no
    // melt out and its snapping fills the recorded cells, so the front
    // offset and the fill time come out smaller than the basic step's.
    FillSettings s = Strip(16, 8, 2.0, 0.1);
    s.inlet = "pressure";
    s.inlet_pressure = 1.0;
    s.pressure_limit = 10.0;
    s.vof_path = "extended";
    const SlitRun ext = FillSlit(s);
    const double K = s.thickness * s.thickness * s.inlet_pressure * 1e7 / (6.0 * s.viscosity), dx = s.length / s.nx;
    const double fillTime = std::fabs(ext.fillTime * K / (s.length * s.length) - 1.0);
    std::printf("Hele-Shaw slit, extended step, 8 cells across: fill time %+.2f %%, strip flow rate %+.2f %%, "
                "fitted K %+.2f %%, front offset %.3f cells\n",
                100.0 * (ext.fillTime * K / (s.length * s.length) - 1.0), 100.0 * (ext.permeability - 1.0),
                100.0 * (ext.K / K - 1.0), ext.delta / dx);
    EXPECT_NEAR(ext.permeability, 1.0 + 2.0 / 64.0, 0.005);
    EXPECT_NEAR(ext.K, K, 0.03 * K);
    EXPECT_GT(ext.delta, 0.0);
    EXPECT_LT(ext.delta, 0.8 * dx);
    EXPECT_LT(fillTime, 0.075);
    EXPECT_LT(fillTime, runs[1].fillTime);
}

// The front position itself: x_f(t) from the melt volume against
// sqrt(K t) over the second half of the fill of a thin slit (h = 0.025 cm,
// L/h = 80, 8 cells across), where the front offset is a small share of
// x_f; the largest departure falls when the cells along the slit are
// halved (measured +4.3 % on 16 cells along, +3.0 % on 32; of these, about
// 1.5 % is the cell-centred wall term's 3.1 % of mobility).
double LargestFrontDeparture(const SlitRun& r, double K)
{
    double largest = 0.0;
    for (size_t k = 0; k < r.time.size(); ++k)
        if (r.time[k] >= 0.5 * r.fillTime)
            largest = std::max(largest, std::fabs(r.front[k] / std::sqrt(K * r.time[k]) - 1.0));
    return largest;
}

TEST(FillHeleShaw, FrontPositionFollowsTheSquareRootLawOnAThinSlit)
{
    double departure[2] = {};
    const int nx[2] = {16, 32};
    for (int k = 0; k < 2; ++k) {
        FillSettings s = Strip(nx[k], 8, 2.0, 0.025);
        s.inlet = "pressure";
        s.inlet_pressure = 1.0;  // MPa
        s.pressure_limit = 10.0;
        const SlitRun r = FillSlit(s);
        const double K = s.thickness * s.thickness * s.inlet_pressure * 1e7 / (6.0 * s.viscosity);
        departure[k] = LargestFrontDeparture(r, K);
        std::printf("Hele-Shaw slit h = 0.025 cm, %d x 8 cells: largest |x_f / sqrt(K t) - 1| over the second half "
                    "%.2f %%, fill time %+.2f %%\n",
                    nx[k], 100.0 * departure[k], 100.0 * (r.fillTime * K / (s.length * s.length) - 1.0));
        ASSERT_GT(r.time.size(), 20u);
        EXPECT_NEAR(r.permeability, 1.0 + 2.0 / 64.0, 0.005) << nx[k] << " cells along";
        EXPECT_NEAR(r.K, K, 0.05 * K) << nx[k] << " cells along";
    }
    EXPECT_LT(departure[0], 0.05);
    EXPECT_LT(departure[1], 0.04);
    EXPECT_LT(departure[1], 0.85 * departure[0]);
}

// ---------------------------------------------------------------------------
// Temperature
// ---------------------------------------------------------------------------

// A Cross-WLF melt filling a strip in a cold mould: the temperature stays
// between the mould's and the melt's (viscous heating is off), the melt
// next to the walls ends colder than on the mid-plane, and the cooled melt
// is more viscous than at the melt temperature, so the inlet pressure
// exceeds the isothermal run's.
TEST(FillTemperature, ColdMouldCoolsTheMeltAndRaisesThePressure)
{
    FillSettings s = Strip(10, 4, 2.0, 0.2);
    s.viscosity_model = "cross-wlf";
    s.viscous_heating = 0;
    s.mould_temperature = 50.0;
    s.flow_rate = 0.1;
    const FillRun iso = FillToEnd(s);
    s.thermal = "non-isothermal";
    const FillRun hot = FillToEnd(s);
    ASSERT_TRUE(iso.full && hot.full);
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    double wall = 0.0, middle = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) {
        EXPECT_GE(hot.last.T[c], s.mould_temperature - 1e-9);
        EXPECT_LE(hot.last.T[c], s.melt_temperature + 1e-9);
        const bool nearWall = mesh.zc[c] < 0.25 * s.thickness || mesh.zc[c] > 0.75 * s.thickness;
        (nearWall ? wall : middle) += hot.last.T[c];
    }
    EXPECT_LT(wall, middle);
    EXPECT_GT(hot.steps.back().inletPressure, 1.05 * iso.steps.back().inletPressure);
    // The last cells, at the far end, filled with melt that had little time
    // to cool: closer to the melt than to the mould (a steady temperature
    // of the end's slow flow would lie near the mould's).
    for (int c = 0; c < mesh.nCells; ++c)
        if (mesh.xc[c] > s.length * (1.0 - 1.0 / s.nx))
            EXPECT_GT(hot.last.T[c], 0.5 * (s.melt_temperature + s.mould_temperature)) << "cell " << c;
}

// ---------------------------------------------------------------------------
// Threads
// ---------------------------------------------------------------------------

// The whole run, every field bit for bit, on one and on two threads.
TEST(FillThreads, RunIsBitIdenticalOnOneAndTwoThreads)
{
    FillSettings s = Strip(8, 3, 1.0, 0.2);
    s.flow_rate = 0.2;
    const auto runs = rvztest::ForThreadCounts({1, 2}, [&s] {
        const FillRun r = FillToEnd(s);
        std::vector<double> all;
        for (const auto& rec : r.steps)
            for (double x : {rec.time, rec.filledFraction, rec.inletPressure, rec.flowRate}) all.push_back(x);
        for (const auto* f : {&r.last.volf, &r.last.u, &r.last.v, &r.last.w, &r.last.p, &r.last.vis, &r.last.arrival})
            all.insert(all.end(), f->begin(), f->end());
        return all;
    });
    ASSERT_EQ(runs[0].size(), runs[1].size());
    EXPECT_EQ(std::memcmp(runs[0].data(), runs[1].data(), runs[0].size() * sizeof(double)), 0);
}

}  // namespace
