// rvzgpu-fill's extended volume-fraction path on small strips: each scheme
// bounded and volume-conserving, the run ending exactly when the last cell
// passes the critical fraction, a second fluid entering through its gates
// only with the keep-filled rule holding, and the refusals of bad keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "example_test_tool.h"
#include "fill_extended_vof.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace {

using fill::FillSettings;
using fill::Filling;

FillSettings ExtendedStrip(int scheme, int method)
{
    FillSettings s;
    s.geometry = "strip";
    s.length = 2.0, s.width = 0.5, s.thickness = 0.2;
    s.nx = 12, s.ny = 1, s.nz = 2;
    s.viscosity = 1000.0;
    s.flow_rate = 0.4;
    s.output_dir = "none";
    s.vof_path = "extended";
    s.vof_scheme = scheme;
    s.vof_method = method;
    return s;
}

// Cells strictly between 0.01 and 0.99.
int Width(const std::vector<double>& phi)
{
    return static_cast<int>(std::count_if(phi.begin(), phi.end(), [](double v) { return v > 0.01 && v < 0.99; }));
}

// Every scheme (with a different flux method each) fills the strip: the
// fraction stays in [0, 1]; every solve conserves the volume to the
// solver's tolerance and the melt equals the injected volume Q t after
// each step; the run ends at the first step after which no cell lies below
// the critical fraction, before the whole volume has gone in.
TEST(FillExtendedVof, EverySchemeFillsTheStripBoundedAndConserving)
{
    const char* names[] = {"", "CICSAM", "MCICSAM", "HRIC", "MHRIC"};
    for (int scheme = 1; scheme <= 4; ++scheme) {
        SCOPED_TRACE(names[scheme]);
        const FillSettings s = ExtendedStrip(scheme, scheme);  // methods 1-4 with schemes 1-4
        const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
        Filling f(Tool(), s, mesh);
        ASSERT_NE(f.Extended(), nullptr);
        double lo = 1.0, hi = 0.0, worstVolume = 0.0;
        int steps = 0, widest = 0, unfilledBeforeLast = -1;
        std::vector<double> before;
        while (!f.Full() && steps < 400) {
            const fill::StepRecord r = f.Step();
            ++steps;
            const fill::Fields fields = f.Download();
            for (double v : fields.volf) lo = std::min(lo, v), hi = std::max(hi, v);
            worstVolume = std::max(worstVolume, std::fabs(f.MeltVolume() - s.flow_rate * r.time) / f.CavityVolume());
            EXPECT_NEAR(f.Extended()->InjectedMelt(), s.flow_rate * r.time, 1e-12 * f.CavityVolume());
            const int below = static_cast<int>(
                std::count_if(fields.volf.begin(), fields.volf.end(), [](double v) { return v < fill::kFCRI; }));
            EXPECT_EQ(f.Extended()->UnfilledCells(), below);
            if (!f.Full()) unfilledBeforeLast = below;
            if (r.filledFraction > 0.3 && r.filledFraction < 0.7) widest = std::max(widest, Width(fields.volf) / 2);
            before = fields.volf;
        }
        ASSERT_TRUE(f.Full());
        EXPECT_GT(unfilledBeforeLast, 0);  // the step before the last still had an unfilled cell
        EXPECT_EQ(*std::min_element(before.begin(), before.end()) >= fill::kFCRI, true);
        EXPECT_LT(f.InjectedVolume(), f.CavityVolume());  // ended by the cells, not by the volume
        EXPECT_GE(lo, 0.0);
        EXPECT_LE(hi, 1.0);
        EXPECT_LT(worstVolume, 1e-9);
        EXPECT_LT(f.Extended()->WorstSolveBalance(), 1e-9);
        EXPECT_GT(f.Extended()->FrontVol(), 0.0);
        std::printf("[ extended ] %-8s %3d steps, fill time %.4f s (V/Q %.4f), front at most %d cells wide per row, "
                    "worst solve balance %.2e\n",
                    names[scheme], steps, f.Time(), f.CavityVolume() / s.flow_rate, widest,
                    f.Extended()->WorstSolveBalance());
    }
}

// The Hele-Shaw slit (gap 0.1 cm, 16 cells along, 8 across) at a constant
// inlet pressure. After the solve the extended step snaps every cell that
// has already been recorded filled and is at or above the critical
// fraction to 1, which adds melt; the volume correction must then take the
// surplus off the partly filled cells. Taking it off every cell of the
// front band drained the full cells (the whole inlet column emptied at step
// 16, and the next flow solve through that air marked half the slit full).
// Over the first 25 steps: the melt equals the injected volume after each
// step, a cell full after one step is still filled after the next, and no
// step fills more than a column's share of the slit.
TEST(FillExtendedVof, MeltSurplusComesOffThePartlyFilledCellsOfTheSlit)
{
    FillSettings s = ExtendedStrip(1, 0);
    s.thickness = 0.1, s.nx = 16, s.nz = 8;
    s.inlet = "pressure", s.inlet_pressure = 1.0, s.pressure_limit = 10.0;
    s.tolerance = 1e-4;
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    std::vector<double> before = f.Download().volf;
    double lastFraction = 0.0;
    for (int step = 1; step <= 25 && !f.Full(); ++step) {
        const fill::StepRecord r = f.Step();
        const std::vector<double> phi = f.Download().volf;
        EXPECT_NEAR(f.MeltVolume(), f.Extended()->InjectedMelt(), 1e-9 * f.CavityVolume()) << "step " << step;
        EXPECT_NEAR(f.MeltVolume(), f.InjectedVolume(), 1e-9 * f.CavityVolume()) << "step " << step;
        for (int c = 0; c < mesh.nCells; ++c)
            if (before[c] == 1.0) EXPECT_GE(phi[c], fill::kFCRI) << "cell " << c << " at step " << step;
        EXPECT_LT(r.filledFraction - lastFraction, 1.0 / s.nx) << "step " << step;
        lastFraction = r.filledFraction, before = phi;
    }
}

// A slit 12 cells along and 4 across filled to the end at a constant inlet
// pressure: the snapping sometimes adds more melt than the partly filled
// cells hold (as the inlet column snaps full, and near the end, when every
// cell with melt is full), and the rest of the surplus comes off the full
// cells the front reached last. The melt equals the injected volume after
// every step to the end (without that second rule it ran above it from
// step 8 on, by up to 2.7 % of the cavity).
TEST(FillExtendedVof, MeltFollowsTheInjectedVolumeToTheEndOfTheSlit)
{
    FillSettings s = ExtendedStrip(1, 0);
    s.thickness = 0.1, s.nx = 12, s.nz = 4;
    s.inlet = "pressure", s.inlet_pressure = 1.0, s.pressure_limit = 10.0;
    s.tolerance = 1e-4;
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    int steps = 0;
    while (!f.Full() && steps < 400) {
        f.Step();
        ++steps;
        ASSERT_NEAR(f.MeltVolume(), f.InjectedVolume(), 1e-9 * f.CavityVolume()) << "step " << steps;
    }
    EXPECT_TRUE(f.Full());
}

// A strip two cells across whose inlet end is split into the melt gate
// (y < W/2, group "inlet") and the gas gate (y > W/2, "inlet_gas").
rvzmesh::Mesh TwoGateStrip(const FillSettings& s)
{
    rvzmesh::BoxOptions box;
    box.nx = s.nx, box.ny = s.ny, box.nz = s.nz;
    box.lx = s.length, box.ly = s.width, box.lz = s.thickness;
    const auto W = rvzmesh::BoundaryKind::Wall, S = rvzmesh::BoundaryKind::Symmetry, I = rvzmesh::BoundaryKind::Inlet;
    box.sides = {I, W, S, S, W, W};
    rvzmesh::MeshInput in = rvzmesh::MakeBox(box);
    const int gas = in.Group("inlet_gas");
    in.faceGroup.resize(in.faceKind.size(), -1);
    for (size_t f = 0; f < in.faceKind.size(); ++f) {
        if (in.faceKind[f] != I) continue;
        double y = 0.0;
        const int n = in.faceStart[f + 1] - in.faceStart[f];
        for (int k = in.faceStart[f]; k < in.faceStart[f + 1]; ++k) y += in.y[in.faceNodes[k]] / n;
        if (y > 0.5 * s.width) in.faceGroup[f] = gas;
    }
    return rvzmesh::BuildMesh(in);
}

// Gas enters through the gas gate once the strip is 30 % full: the gas
// volume is the flow through that gate since the start (half the flow
// rate; all of it if a melt gate injected gas too), the melt the full rate
// before and half after plus what the keep-filled rule put back; every
// cell touches a wall, so no cell above the critical melt fraction at one
// step falls below it at the next, and the rule has had work to do.
TEST(FillExtendedVof, SecondFluidEntersThroughItsGatesAndFilledCellsStayFilled)
{
    FillSettings s = ExtendedStrip(1, 0);
    s.ny = 2;
    s.second_fluid = "gas";
    s.second_fluid_gates = "inlet_gas";
    s.second_fluid_start_fraction = 0.3;
    s.line["second_fluid_start_fraction"] = 1;
    const rvzmesh::Mesh mesh = TwoGateStrip(s);
    ASSERT_EQ(fill::SecondFluidGateGroups(s, mesh), std::vector<int>{mesh.GroupIndex("inlet_gas")});
    Filling f(Tool(), s, mesh);
    const fill::ExtendedVof& e = *f.Extended();
    double start = -1.0, lastTime = 0.0;
    int refilled = 0, steps = 0;
    std::vector<double> previous(mesh.nCells, 0.0);
    while (!f.Full() && steps < 400) {
        const fill::StepRecord r = f.Step();
        ++steps;
        const fill::Fields fields = f.Download();
        if (e.SecondFluidFlows()) {
            if (start < 0.0) start = lastTime;
            ASSERT_EQ(fields.second.size(), static_cast<size_t>(mesh.nCells));
            EXPECT_NEAR(e.InjectedSecond(), 0.5 * s.flow_rate * (r.time - start), 1e-12);
            EXPECT_NEAR(e.SecondVolume(), e.InjectedSecond() - e.VentedSecond(), 1e-9 * f.CavityVolume());
            for (int c = 0; c < mesh.nCells; ++c)
                if (previous[c] > fill::kFCRI) EXPECT_GE(fields.volf[c], fill::kFCRI) << "cell " << c;
            refilled += e.Refilled();
        } else {
            EXPECT_EQ(e.InjectedSecond(), 0.0);
            EXPECT_TRUE(fields.second.empty() || *std::max_element(fields.second.begin(), fields.second.end()) == 0.0);
        }
        previous = fields.volf;
        lastTime = r.time;
    }
    EXPECT_TRUE(f.Full());
    EXPECT_GT(start, 0.0);
    EXPECT_GT(refilled, 0);
    std::printf("[ extended ] gas from t = %.4f s: %d cells kept filled, gas %.4f cm^3, melt %.4f cm^3 at %.4f s\n",
                start, refilled, e.SecondVolume(), f.MeltVolume(), f.Time());
}

// Gas through the whole inlet end of a strip four cells across, from 30 %
// full: the two middle rows touch no wall, so the gas pushes the melt
// along the core and reaches cells whose wall faces still vent. Every
// solve balances, and the gas in the strip is what came in less what left
// through the vents and the little that clamping to [0, 1] removed.
TEST(FillExtendedVof, SecondFluidLeavesThroughTheVentsOnly)
{
    FillSettings s = ExtendedStrip(2, 0);
    s.nz = 4;
    s.second_fluid = "gas";
    s.second_fluid_gates = "inlet";
    s.second_fluid_start_fraction = 0.3;
    s.line["second_fluid_start_fraction"] = 1;
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    Filling f(Tool(), s, mesh);
    const fill::ExtendedVof& e = *f.Extended();
    int steps = 0;
    while (!f.Full() && steps < 400) {
        f.Step();
        ++steps;
        EXPECT_NEAR(e.SecondVolume(), e.InjectedSecond() - e.VentedSecond() - e.ClippedSecond(),
                    1e-9 * f.CavityVolume());
    }
    EXPECT_TRUE(f.Full());
    EXPECT_LT(e.WorstSolveBalance(), 1e-9);
    EXPECT_GT(e.VentedSecond(), 0.0);
    EXPECT_LT(std::fabs(e.ClippedSecond()), 1e-3 * f.CavityVolume());
    std::printf("[ extended ] gas in %.4f, vented %.4f, clipped %.2e, held %.4f cm^3\n", e.InjectedSecond(),
                e.VentedSecond(), e.ClippedSecond(), e.SecondVolume());
}

std::string Refusal(const std::string& text)
{
    try {
        fill::ParseFillSettings(text, "case.inp");
    } catch (const fill::SettingsError& e) {
        return e.what();
    }
    return "accepted";
}

// Bad keys come back with the file, the line and the key.
TEST(FillExtendedVof, BadSchemeMethodAndGatesAreRefusedWithFileLineAndKey)
{
    EXPECT_EQ(Refusal("vof_path = extended\nvof_scheme = 5\n"),
              "case.inp:2: key 'vof_scheme': unknown scheme 5 (1 CICSAM, 2 MCICSAM, 3 HRIC, 4 MHRIC)");
    EXPECT_EQ(Refusal("vof_scheme = 0\n"),
              "case.inp:1: key 'vof_scheme': unknown scheme 0 (1 CICSAM, 2 MCICSAM, 3 HRIC, 4 MHRIC)");
    EXPECT_EQ(Refusal("\nvof_method = 5\n"), "case.inp:2: key 'vof_method': unknown flux method 5 (0 to 4)");
    EXPECT_EQ(Refusal("vof_method = -1\n"), "case.inp:1: key 'vof_method': unknown flux method -1 (0 to 4)");
    EXPECT_EQ(Refusal("second_fluid = gas\nsecond_fluid_gates = inlet\nsecond_fluid_start_time = 1\n"),
              "case.inp:1: key 'second_fluid': a second fluid needs vof_path = extended");
    EXPECT_EQ(Refusal("vof_path = extended\nsecond_fluid = water\nsecond_fluid_start_time = 1\n"),
              "case.inp:2: key 'second_fluid': a second fluid needs the inlet groups it enters through");
    EXPECT_EQ(Refusal("vof_path = extended\nsecond_fluid = gas\nsecond_fluid_gates = inlet\n"),
              "case.inp:2: key 'second_fluid': a second fluid needs second_fluid_start_time or "
              "second_fluid_start_fraction");
    EXPECT_EQ(Refusal("vof_path = extended\nvof_scheme = 4\nvof_method = 4\n"), "accepted");

    FillSettings s = fill::ParseFillSettings("geometry = strip\nvof_path = extended\nsecond_fluid = gas\n"
                                             "second_fluid_gates = inlet, inlet_gas\nsecond_fluid_start_time = 0.1\n",
                                             "case.inp");
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    try {
        fill::SecondFluidGateGroups(s, mesh);
        ADD_FAILURE() << "a missing gate was accepted";
    } catch (const fill::SettingsError& e) {
        EXPECT_STREQ(e.what(), "case.inp:4: key 'second_fluid_gates': the mesh has no boundary group 'inlet_gas' "
                               "(inlet groups: 'inlet')");
    }
    s.second_fluid_gates = "wall";
    try {
        fill::SecondFluidGateGroups(s, mesh);
        ADD_FAILURE() << "a wall group was accepted as a gate";
    } catch (const fill::SettingsError& e) {
        EXPECT_STREQ(e.what(), "case.inp:4: key 'second_fluid_gates': the boundary group 'wall' holds no inlet face");
    }
}

// The table of docs/performance.md (run with
// --gtest_also_run_disabled_tests): front width (cells of one row strictly
// between 0.01 and 0.99, largest over the steps between 30 % and 70 %
// filled) of a 60-cell strip for upwind (vof_gamma = 0) and each scheme.
TEST(FillExtendedVof, DISABLED_InterfaceWidthTable)
{
    const char* names[] = {"upwind", "CICSAM", "MCICSAM", "HRIC", "MHRIC"};
    for (const double courant : {0.25, 0.5}) {
        for (int scheme = 0; scheme <= 4; ++scheme) {
            FillSettings s = ExtendedStrip(std::max(scheme, 1), 0);
            s.length = 6.0, s.nx = 60, s.flow_rate = 0.6, s.courant = courant;
            if (scheme == 0) s.vof_gamma = 0.0;
            const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
            Filling f(Tool(), s, mesh);
            int widest = 0, steps = 0;
            double sum = 0.0, coreSum = 0.0;
            int samples = 0;
            while (!f.Full() && steps < 2000) {
                const fill::StepRecord r = f.Step();
                ++steps;
                if (r.filledFraction < 0.3 || r.filledFraction > 0.7) continue;
                const std::vector<double> phi = f.Download().volf;
                const int w = Width(phi) / 2;
                const int core = static_cast<int>(std::count_if(phi.begin(), phi.end(),
                                                                [](double v) { return v > 0.05 && v < 0.95; })) /
                                 2;
                widest = std::max(widest, w), sum += w, coreSum += core, ++samples;
            }
            std::printf("| %.2f | %-7s | %d | %.2f | %.2f | %.4f | %d |\n", courant, names[scheme], widest,
                        sum / std::max(samples, 1), coreSum / std::max(samples, 1),
                        f.Time() / (f.CavityVolume() / s.flow_rate), steps);
        }
    }
}

}  // namespace
