// rvzgpu-fill's extended energy step and melt-front temperature on small
// strips: the extended step against the basic one where both model the
// same thing, its heat capacity table against a hand interpolation, the
// melt-front temperature of an isothermal fill and of a fill cooled by the
// mould, and the case-file refusals of the new keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "example_test_tool.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace {

using fill::FillSettings;
using fill::Filling;

// A cooled strip [0, 2] x [0, 0.5] x [0, 0.2]: inlet over the x = 0 end,
// walls at z = 0, h and x = L, symmetry planes at y = 0, W; melt at 230 C
// into a mould at 50 C.
FillSettings CooledStrip(int nx, int nz)
{
    FillSettings s;
    s.geometry = "strip";
    s.length = 2.0, s.width = 0.5, s.thickness = 0.2;
    s.nx = nx, s.ny = 1, s.nz = nz;
    s.viscosity = 1000.0;
    s.flow_rate = 0.4;
    s.output_dir = "none";
    s.thermal = "non-isothermal";
    s.melt_temperature = 230.0;
    s.mould_temperature = 50.0;
    return s;
}

struct FillRun {
    std::vector<std::vector<double>> T;  // cell temperatures after each step
    fill::Fields last;
    double lowest = 0.0;
    bool full = false;
};

FillRun Steps(const FillSettings& s, int steps)
{
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    FillRun r;
    for (int k = 0; k < steps && !f.Full(); ++k) {
        f.Step();
        r.T.push_back(f.Download().T);
    }
    r.full = f.Full();
    r.last = f.Download();
    r.lowest = f.LowestFrontTemperature();
    return r;
}

double MaxDifference(const std::vector<double>& a, const std::vector<double>& b)
{
    double d = 0.0;
    for (size_t i = 0; i < a.size(); ++i) d = std::max(d, std::fabs(a[i] - b[i]));
    return d;
}

// ---------------------------------------------------------------------------
// The extended step against the basic one
// ---------------------------------------------------------------------------

// With a constant heat capacity, one heat-transfer coefficient and no hot
// runners the extended operations assemble the basic step's equation (the
// box's faces are orthogonal, so both forms of the diffusion coefficient
// agree): the temperatures agree step by step, with the mould at its
// temperature (kind 1), through a heat-transfer coefficient (kind 3), and
// with viscous heating at its cap.
TEST(FillExtendedEnergy, ConstantHeatCapacityAgreesWithTheBasicStep)
{
    for (const double h : {0.0, 3.0e6}) {
        for (const int heating : {0, 1}) {
            FillSettings basic = CooledStrip(8, 2);
            basic.heat_transfer = h;
            basic.viscous_heating = heating;
            // Viscous heating needs the shear rate of the Cross-WLF model;
            // a low heat capacity puts its cap 20 rho cp within reach (a
            // cap twice as high fails the comparison).
            if (heating) basic.viscosity_model = "cross-wlf", basic.specific_heat = 1.0e5;
            FillSettings extended = basic;
            extended.energy = "extended";
            const FillRun a = Steps(basic, 6), b = Steps(extended, 6);
            ASSERT_EQ(a.T.size(), b.T.size());
            double spread = 0.0;
            for (size_t k = 0; k < a.T.size(); ++k) {
                EXPECT_LT(MaxDifference(a.T[k], b.T[k]), 1e-9 * basic.melt_temperature)
                    << "h " << h << ", heating " << heating << ", step " << k + 1;
                for (double T : a.T[k]) spread = std::max(spread, std::fabs(T - basic.melt_temperature));
            }
            // The comparison is not between two unchanged fields.
            EXPECT_GT(spread, 1.0) << "h " << h << ", heating " << heating;
        }
    }
}

// The heat capacity of each cell is the table's linear interpolation at
// the cell's temperature from the step before (the table clamps outside
// its range), computed here by hand.
TEST(FillExtendedEnergy, HeatCapacityFollowsTheTableAtEachCellTemperature)
{
    FillSettings s = CooledStrip(8, 2);
    s.energy = "extended";
    s.energy_specific_heat_table = {{100.0, 1.2e7}, {200.0, 2.0e7}, {300.0, 2.4e7}};
    const auto interpolate = [&s](double T) {
        const auto& t = s.energy_specific_heat_table;
        T = std::min(std::max(T, t.front().first), t.back().first);
        for (size_t k = 1; k < t.size(); ++k)
            if (T <= t[k].first)
                return t[k - 1].second + (t[k].second - t[k - 1].second) * (T - t[k - 1].first) /
                                             (t[k].first - t[k - 1].first);
        return t.back().second;
    };
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    std::vector<double> before(mesh.nCells, s.melt_temperature);
    bool changed = false;
    for (int k = 0; k < 4; ++k) {
        f.Step();
        const std::vector<double> cp = f.ExtendedHeatCapacity();
        ASSERT_EQ(static_cast<int>(cp.size()), mesh.nCells);
        for (int c = 0; c < mesh.nCells; ++c)
            ASSERT_NEAR(cp[c], interpolate(before[c]), 1e-9 * cp[c]) << "step " << k + 1 << ", cell " << c;
        before = f.Download().T;
        changed = changed || MaxDifference(before, std::vector<double>(mesh.nCells, s.melt_temperature)) > 1.0;
    }
    EXPECT_TRUE(changed);
}

// The strip of CooledStrip(10, 2) from a Gmsh file whose walls are the
// groups wall_top (z = h), wall_bottom (z = 0) and wall_end (x = L).
FillSettings GroupStrip()
{
    FillSettings s = CooledStrip(10, 2);
    s.geometry = "gmsh";
    s.mesh = std::string(FILL_TESTDATA) + "/groupstrip.msh";
    s.energy = "extended";
    s.viscous_heating = 0;
    return s;
}

// Per-group coefficients: the same coefficient given to every wall group
// is the basic step's single heat_transfer; an adiabatic top against a
// cooled bottom (the end adiabatic too) makes every column warmer at the
// top.
TEST(FillExtendedEnergy, HeatTransferPerWallGroup)
{
    FillSettings basic = GroupStrip();
    basic.energy = "basic";
    basic.heat_transfer = 3.0e6;
    FillSettings groups = GroupStrip();
    groups.energy_wall_heat_transfer = {{"wall_top", 3.0e6}, {"wall_bottom", 3.0e6}, {"wall_end", 3.0e6}};
    const FillRun a = Steps(basic, 6), b = Steps(groups, 6);
    ASSERT_EQ(a.T.size(), b.T.size());
    for (size_t k = 0; k < a.T.size(); ++k)
        EXPECT_LT(MaxDifference(a.T[k], b.T[k]), 1e-9 * basic.melt_temperature) << "step " << k + 1;

    FillSettings oneSided = GroupStrip();
    oneSided.energy_wall_heat_transfer = {{"wall_top", 0.0}, {"wall_bottom", 3.0e6}, {"wall_end", 0.0}};
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(oneSided);
    const FillRun c = Steps(oneSided, 6);
    const double cooled = oneSided.melt_temperature - 1.0;
    int columns = 0;
    for (int bottom = 0; bottom < mesh.nCells; ++bottom) {
        if (mesh.zc[bottom] > 0.5 * oneSided.thickness) continue;
        for (int top = 0; top < mesh.nCells; ++top)
            if (std::fabs(mesh.xc[top] - mesh.xc[bottom]) < 1e-9 && mesh.zc[top] > 0.5 * oneSided.thickness &&
                c.T.back()[bottom] < cooled) {
                EXPECT_GT(c.T.back()[top], c.T.back()[bottom] + 1.0) << "x = " << mesh.xc[top];
                ++columns;
            }
    }
    EXPECT_GT(columns, 2);
}

// Hot runners: the bottom wall held at the melt temperature, the other
// walls adiabatic, melt at that temperature: nothing cools, the solution
// is the constant. Held above it, the bottom cells warm towards the set
// temperature and never pass it.
TEST(FillExtendedEnergy, HotRunnerWallsHoldTheirSetTemperature)
{
    FillSettings s = GroupStrip();
    s.energy_wall_heat_transfer = {{"wall_top", 0.0}, {"wall_end", 0.0}};
    s.energy_hot_runner = {{"wall_bottom", s.melt_temperature}};
    const FillRun held = Steps(s, 6);
    for (size_t k = 0; k < held.T.size(); ++k)
        EXPECT_LT(MaxDifference(held.T[k], std::vector<double>(held.T[k].size(), s.melt_temperature)), 1e-6)
            << "step " << k + 1;
    // The same walls without the hot runner cool the melt.
    FillSettings cold = s;
    cold.energy_hot_runner.clear();
    const FillRun cooled = Steps(cold, 6);
    EXPECT_GT(MaxDifference(cooled.T.back(), held.T.back()), 10.0);

    s.energy_hot_runner = {{"wall_bottom", 260.0}};
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    const FillRun hot = Steps(s, 6);
    double hottest = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) {
        EXPECT_GE(hot.T.back()[c], s.melt_temperature - 1e-6) << "cell " << c;
        EXPECT_LE(hot.T.back()[c], 260.0 + 1e-6) << "cell " << c;
        if (mesh.zc[c] < 0.5 * s.thickness) hottest = std::max(hottest, hot.T.back()[c]);
    }
    EXPECT_GT(hottest, s.melt_temperature + 5.0);
}

// ---------------------------------------------------------------------------
// Melt-front temperature
// ---------------------------------------------------------------------------

// An isothermal fill carries the inlet temperature into every cell: each
// cell is sampled once it fills and holds the inlet temperature.
TEST(FillFrontTemperature, IsothermalFillCarriesTheInletTemperatureEverywhere)
{
    FillSettings s = CooledStrip(10, 2);
    s.thermal = "isothermal";
    s.melt_temperature = 215.0;
    const FillRun r = Steps(s, 400);
    ASSERT_TRUE(r.full);
    ASSERT_EQ(r.last.frontTemperature.size(), r.last.volf.size());
    for (size_t c = 0; c < r.last.frontTemperature.size(); ++c)
        EXPECT_NEAR(r.last.frontTemperature[c], 215.0, 1e-9) << "cell " << c;
    EXPECT_NEAR(r.lowest, 215.0, 1e-9);
}

// A melt cooled by the mould on its way along the strip reaches the far
// cells colder: the front temperature of each column (mean over the
// thickness) falls monotonically with x, below the inlet's and above the
// mould's.
TEST(FillFrontTemperature, FallsAlongTheFlowPathOfACooledStrip)
{
    for (const std::string energy : {"basic", "extended"}) {
        FillSettings s = CooledStrip(10, 2);
        s.energy = energy;
        s.viscous_heating = 0;
        s.courant = 0.1;
        const FillRun r = Steps(s, 400);
        ASSERT_TRUE(r.full) << energy;
        std::vector<double> column(s.nx, 0.0);
        const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
        for (int c = 0; c < mesh.nCells; ++c) {
            const double F = r.last.frontTemperature[c];
            ASSERT_FALSE(std::isnan(F)) << energy << ": cell " << c << " never sampled";
            EXPECT_GT(F, s.mould_temperature) << energy << ", cell " << c;
            EXPECT_LE(F, s.melt_temperature + 1e-9) << energy << ", cell " << c;
            column[static_cast<int>(mesh.xc[c] / s.length * s.nx)] += F / s.nz;
        }
        for (int i = 1; i < s.nx; ++i) EXPECT_LT(column[i], column[i - 1]) << energy << ", column " << i;
        EXPECT_LT(column.back(), s.melt_temperature - 5.0) << energy;
        EXPECT_NEAR(r.lowest, *std::min_element(r.last.frontTemperature.begin(), r.last.frontTemperature.end()), 0.0);
    }
}

// ---------------------------------------------------------------------------
// Case-file refusals
// ---------------------------------------------------------------------------

std::string Refusal(const std::string& text)
{
    try {
        const FillSettings s = fill::ParseFillSettings(text, "case.inp");
        fill::BuildCaseMesh(s);
    } catch (const fill::SettingsError& e) {
        return e.what();
    }
    return "";
}

TEST(FillExtendedEnergySettings, RefusesBadTablesAndUnknownGroupsAtTheirLine)
{
    const std::string head = "geometry = strip\nthermal = non-isothermal\nenergy = extended\n";
    EXPECT_EQ(Refusal(head + "energy_specific_heat_table = 100 1.8e7, 200 2.2e7, 150 2.0e7\n"),
              "case.inp:4: key 'energy_specific_heat_table': the temperatures must increase: 150 follows 200");
    EXPECT_EQ(Refusal(head + "energy_specific_heat_table = 100 1.8e7, 100 2.2e7\n"),
              "case.inp:4: key 'energy_specific_heat_table': the temperatures must increase: 100 follows 100");
    EXPECT_EQ(Refusal(head + "energy_specific_heat_table = 100 1.8e7\n"),
              "case.inp:4: key 'energy_specific_heat_table': a table needs at least two (temperature, heat "
              "capacity) pairs");
    EXPECT_EQ(Refusal(head + "energy_specific_heat_table = 100 1.8e7, 200\n"),
              "case.inp:4: key 'energy_specific_heat_table': '200' is not a pair of two values");
    EXPECT_EQ(Refusal(head + "energy_specific_heat_table = 100 1.8e7, 200 -1\n"),
              "case.inp:4: key 'energy_specific_heat_table': must be positive");
    EXPECT_EQ(Refusal(head + "\nenergy_wall_heat_transfer = wall 1e5, wall 2e5\n"),
              "case.inp:5: key 'energy_wall_heat_transfer': group 'wall' is given twice");
    const std::string mesh = "mesh = " + std::string(FILL_TESTDATA) + "/groupstrip.msh\n";
    EXPECT_EQ(Refusal(head + mesh + "energy_hot_runner = wall_end 240, wall_side 250\n"),
              "case.inp:5: key 'energy_hot_runner': the mesh has no wall group 'wall_side' (wall groups: wall_top, "
              "wall_bottom, wall_end)");
    EXPECT_EQ(Refusal(head + mesh + "energy_wall_heat_transfer = inlet 1e5\n"),
              "case.inp:5: key 'energy_wall_heat_transfer': the mesh has no wall group 'inlet' (wall groups: "
              "wall_top, wall_bottom, wall_end)");
    EXPECT_EQ(Refusal(head + "energy_wall_heat_transfer = wall 1e5\n"), "");
    EXPECT_EQ(Refusal("geometry = strip\nenergy = extended\n"),
              "case.inp:2: key 'energy': the extended energy step needs thermal = non-isothermal");
    EXPECT_EQ(Refusal("geometry = strip\nthermal = non-isothermal\nenergy_hot_runner = wall 250\n"),
              "case.inp:3: key 'energy_hot_runner': is read only with energy = extended");
}

}  // namespace
