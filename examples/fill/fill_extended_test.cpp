// rvzgpu-fill's extended flow path: the gates' opening rules and
// switch-over by hand; the case-file keys and their refusals; on small
// strips, the path without extras against the basic path, two gates at the
// ends of a strip filling it symmetrically with the weld line in the
// middle, sequential valve gating, the mass packed into a full cavity
// against the integral of d rho/dp times the pressure rise, and gravity in
// the extended momentum equations against the hydrostatic gradient; the
// surface tension's curvature and force against a computation of their
// own and the curvature of a cylindrical front, and a vanishing coefficient
// leaving a run unchanged.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "example_test_tool.h"
#include "fill_extended_flow.h"
#include "fill_extended_momentum.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace {

using fill::FillSettings;
using fill::GateControl;
using fill::GateOpening;
using fill::GateSetting;
using fill::GateStates;

GateSetting Gate(const char* name, GateControl control, GateOpening opening)
{
    GateSetting g;
    g.name = name;
    g.control = control;
    g.opening = opening;
    g.flow_rate = 1.0;
    g.pressure = 5.0;
    return g;
}

// ---------------------------------------------------------------------------
// Gate states by hand
// ---------------------------------------------------------------------------

TEST(FillGates, OpeningRulesAndSwitchOver)
{
    GateSetting timed = Gate("b", GateControl::FlowRate, GateOpening::AtTime);
    timed.open_time = 0.5;
    GateStates gs({Gate("a", GateControl::FlowRate, GateOpening::Always), timed,
                   Gate("c", GateControl::Pressure, GateOpening::AtFront)});
    bool frontThere = false;
    std::vector<int> asked;
    const auto filledAt = [&](int g) {
        asked.push_back(g);
        return frontThere;
    };
    // t = 0: only the always-open gate; the front gate is asked about.
    EXPECT_TRUE(gs.Open(0.0, filledAt));
    EXPECT_TRUE(gs.open(0));
    EXPECT_FALSE(gs.open(1));
    EXPECT_FALSE(gs.open(2));
    EXPECT_EQ(asked, std::vector<int>({2}));
    // Just before its time the timed gate stays shut; at its time it opens.
    EXPECT_FALSE(gs.Open(0.4999, filledAt));
    EXPECT_TRUE(gs.Open(0.5, filledAt));
    EXPECT_TRUE(gs.open(1));
    // The front gate opens when the melt reaches its point, and is not
    // asked again once open.
    frontThere = true;
    EXPECT_TRUE(gs.Open(0.6, filledAt));
    EXPECT_TRUE(gs.open(2));
    asked.clear();
    frontThere = false;
    EXPECT_FALSE(gs.Open(0.7, filledAt));
    EXPECT_TRUE(asked.empty());
    EXPECT_TRUE(gs.open(2));  // gates stay open
    // Switch-over: below the fraction nothing changes; at it the flow-rate
    // gates take the holding pressure, the pressure gate keeps its own.
    EXPECT_FALSE(gs.SwitchOver(0.94, 0.95, 3.0));
    EXPECT_EQ(gs.control(0), GateControl::FlowRate);
    EXPECT_TRUE(gs.SwitchOver(0.95, 0.95, 3.0));
    EXPECT_EQ(gs.control(0), GateControl::Pressure);
    EXPECT_EQ(gs.control(1), GateControl::Pressure);
    EXPECT_DOUBLE_EQ(gs.pressure(0), 3.0);
    EXPECT_DOUBLE_EQ(gs.pressure(2), 5.0);
    EXPECT_FALSE(gs.SwitchOver(1.0, 0.95, 7.0));  // once
    EXPECT_DOUBLE_EQ(gs.pressure(0), 3.0);
}

TEST(FillGates, TaitDerivativeMatchesDifferenceQuotient)
{
    fill::ExtendedFlowSettings s;
    s.compressibility = "tait";
    const auto rho = [&](double p) { return 0.95 / (1.0 - s.tait_c * std::log1p(p / (s.tait_b * 1e7))); };
    for (double p : {0.0, 5.0e7, 8.0e8}) {
        const double h = 1.0e4;
        EXPECT_NEAR(fill::DensityDerivative(s, 0.95, p), (rho(p + h) - rho(p - h)) / (2 * h),
                    1e-6 * fill::DensityDerivative(s, 0.95, p));
    }
    s.compressibility = "constant";
    s.drho_dp = 2e-3;
    EXPECT_DOUBLE_EQ(fill::DensityDerivative(s, 0.95, 1e7), 2e-10);
}

// ---------------------------------------------------------------------------
// Case file
// ---------------------------------------------------------------------------

std::string Refusal(const std::string& text)
{
    try {
        const FillSettings s = fill::ParseFillSettings(text, "case.inp");
        fill::BuildCaseMesh(s);
    } catch (const fill::SettingsError& e) {
        return e.what();
    }
    return "accepted";
}

TEST(FillGates, CaseFileKeys)
{
    const FillSettings s = fill::ParseFillSettings(
        "flow_path = extended\ngates = left, right\ngate_left_flow_rate = 2\ngate_right_control = pressure\n"
        "gate_right_pressure = 30\ngate_right_open = front 1 2 3\nswitch_over_fraction = 1\nholding_pressure = 4\n",
        "case.inp");
    ASSERT_EQ(s.extended.gates.size(), 2u);
    EXPECT_EQ(s.extended.gates[0].name, "left");
    EXPECT_EQ(s.extended.gates[0].opening, GateOpening::Always);
    EXPECT_DOUBLE_EQ(s.extended.gates[0].flow_rate, 2.0);
    EXPECT_EQ(s.extended.gates[1].control, GateControl::Pressure);
    EXPECT_EQ(s.extended.gates[1].opening, GateOpening::AtFront);
    EXPECT_DOUBLE_EQ(s.extended.gates[1].point[2], 3.0);
    EXPECT_DOUBLE_EQ(s.extended.switch_over_fraction, 1.0);
    // The start line names each gate's control and opening rule.
    EXPECT_EQ(fill::InletDescription(s), "left 2 cm^3/s, right 30 MPa from the front at (1, 2, 3) cm");
    EXPECT_EQ(fill::InletDescription(fill::ParseFillSettings("flow_rate = 2.5\n", "case.inp")), "2.5 cm^3/s");

    const std::string strip2 = "flow_path = extended\ngeometry = strip2\nnx = 4\nny = 1\nnz = 1\n";
    EXPECT_EQ(Refusal(strip2 + "gates = left, middle\ngate_left_flow_rate = 1\ngate_middle_flow_rate = 1\n"),
              "case.inp:6: key 'gates': gate 'middle' names no inlet group of the mesh (no group 'inlet_middle' with "
              "inlet faces)");
    EXPECT_EQ(Refusal(strip2 + "switch_over_fraction = 0\n"),
              "case.inp:6: key 'switch_over_fraction': the switch-over fraction must lie in (0, 1]");
    EXPECT_EQ(Refusal(strip2 + "switch_over_fraction = 1.01\n"),
              "case.inp:6: key 'switch_over_fraction': the switch-over fraction must lie in (0, 1]");
    EXPECT_EQ(Refusal(strip2 + "gates = left\ngate_left_flow_rate = 1\ngate_right_flow_rate = 1\n"),
              "case.inp:8: key 'gate_right_flow_rate': gate 'right' is not listed in 'gates'");
    EXPECT_EQ(Refusal(strip2 + "gates = left\n"),
              "case.inp:6: key 'gates': gate 'left' under flow-rate control needs gate_left_flow_rate");
    EXPECT_EQ(Refusal(strip2 + "gates = left\ngate_left_flow_rate = 1\ngate_left_open = later\n"),
              "case.inp:8: key 'gate_left_open': must be 'always', 'time <s>' or 'front <x> <y> <z>'");
    EXPECT_EQ(Refusal("pack_time = 1\n"), "case.inp:1: key 'pack_time': needs flow_path = extended");
    const FillSettings m = fill::ParseFillSettings("flow_path = extended\ngravity = 0 -981 2.5\nmomentum_gamma = 1\n",
                                                   "case.inp");
    EXPECT_DOUBLE_EQ(m.extended.gravity[1], -981.0);
    EXPECT_DOUBLE_EQ(m.extended.gravity[2], 2.5);
    EXPECT_DOUBLE_EQ(m.extended.momentum_gamma, 1.0);
    EXPECT_EQ(Refusal("flow_path = extended\ngravity = 0 -981\n"),
              "case.inp:2: key 'gravity': needs three numbers, x y z in cm/s^2");
    EXPECT_EQ(Refusal("flow_path = extended\ngravity = 0 0 1 1\n"),
              "case.inp:2: key 'gravity': needs three numbers, x y z in cm/s^2");
    EXPECT_EQ(Refusal("flow_path = extended\nmomentum_gamma = 1.5\n"),
              "case.inp:2: key 'momentum_gamma': must lie in [0, 1]");
    EXPECT_EQ(Refusal("gravity = 0 0 -981\n"), "case.inp:1: key 'gravity': needs flow_path = extended");
    EXPECT_EQ(Refusal("flow_path = extended\ngeometry = strip\ncompression_wall = inlet\ncompression_speed = 1\n"
                      "compression_stroke = 1\n"),
              "case.inp:3: key 'compression_wall': 'inlet' is not a wall group of the mesh");
    EXPECT_EQ(Refusal("flow_path = extended\ncompression_wall = top\ncompression_speed = 1\n"),
              "case.inp:2: key 'compression_wall': a moving wall needs compression_stroke");
    EXPECT_EQ(Refusal(strip2 + "vent_air_pressure = 0\nvent_groups = lid\n"),
              "case.inp:7: key 'vent_groups': 'lid' names no wall group of the mesh");
}

// ---------------------------------------------------------------------------
// Runs
// ---------------------------------------------------------------------------

FillSettings Strip(const std::string& path)
{
    FillSettings s;
    s.flow_path = path;
    s.geometry = "strip";
    s.length = 4.0, s.width = 0.5, s.thickness = 0.2;
    s.nx = 16, s.ny = 1, s.nz = 2;
    s.flow_rate = 0.4;
    s.output_dir = "none";
    return s;
}

struct CaseRun {
    fill::RunResult result;
    fill::Fields last;
    std::vector<double> xc, yc, zc;
    std::vector<std::vector<int>> open;  // gate states after each step
    double cavity = 0.0;
};

CaseRun RunCase(const FillSettings& s,
                const std::function<void(const fill::Filling&, const fill::StepRecord&)>& more = {})
{
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    CaseRun r;
    r.xc.assign(mesh.xc.begin(), mesh.xc.begin() + mesh.nCells);
    r.yc.assign(mesh.yc.begin(), mesh.yc.begin() + mesh.nCells);
    r.zc.assign(mesh.zc.begin(), mesh.zc.begin() + mesh.nCells);
    r.result = fill::RunFill(Tool(), s, mesh, nullptr, [&](const fill::Filling& f, const fill::StepRecord& rec) {
        r.last = f.Download();
        r.cavity = f.CavityVolume();
        std::vector<int> o;
        if (f.Gates() != nullptr)
            for (int g = 0; g < f.Gates()->size(); ++g) o.push_back(f.Gates()->open(g));
        r.open.push_back(o);
        if (more) more(f, rec);
    });
    return r;
}

TEST(FillExtendedFlow, WithoutExtrasAgreesWithTheBasicPath)
{
    for (const char* inlet : {"flow_rate", "pressure"}) {
        SCOPED_TRACE(inlet);
        FillSettings b = Strip("basic"), e = Strip("extended");
        b.inlet = e.inlet = inlet;
        b.inlet_pressure = e.inlet_pressure = 0.3;
        const CaseRun rb = RunCase(b), re = RunCase(e);
        ASSERT_EQ(rb.result.ending, fill::Ending::Full) << rb.result.message;
        ASSERT_EQ(re.result.ending, fill::Ending::Full) << re.result.message;
        EXPECT_NEAR(re.result.fillTime, rb.result.fillTime, 0.03 * rb.result.fillTime);
        for (size_t c = 0; c < rb.last.arrival.size(); ++c)
            EXPECT_NEAR(re.last.arrival[c], rb.last.arrival[c], 0.05 * rb.result.fillTime) << "cell " << c;
        EXPECT_NEAR(re.result.maxInletPressure, rb.result.maxInletPressure, 0.05 * rb.result.maxInletPressure);
    }
}

// Gravity along a strip filled at a constant flow rate: the flow of the
// filled part is Poiseuille's between the walls, driven by the pressure
// gradient and the weight of the melt together, so at the same flow rate
// the pressure falls more slowly along the strip by exactly rho g. Only the
// extended momentum equations carry the weight. (Across the gap, the
// cell-centred gradient next to the walls, whose pressure is the cell's,
// makes the rows' pressure steps 3 % to 19 % above rho g dz on four cells:
// a limit of body forces on this discretisation.) Measured: rho g within
// 4e-5, the gradient without gravity the cell-centred Poiseuille value
// within 1e-4.
double FilledPressureGradient(FillSettings s)
{
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    fill::Filling f(Tool(), s, mesh);
    while (f.MeltVolume() < 0.75 * f.CavityVolume()) f.Step();
    const fill::Fields fields = f.Download();
    const double dx = s.length / s.nx;
    // The mean pressure of each column, and the first column not full.
    std::vector<double> p(s.nx, 0.0);
    int front = s.nx;
    for (int c = 0; c < mesh.nCells; ++c) {
        const int ix = static_cast<int>(mesh.xc[c] / dx);
        p[ix] += fields.p[c] / (s.ny * s.nz);
        if (fields.volf[c] < 1.0) front = std::min(front, ix);
    }
    // Between the third column and the third before the front.
    const int a = 2, b = front - 3;
    EXPECT_GE(b - a, 4);
    return (p[a] - p[b]) / ((b - a) * dx);
}

TEST(FillExtendedFlow, GravityAlongTheStripLowersThePressureGradientByRhoG)
{
    const double g = 5.0e5;  // cm/s^2: rho g is 40 % of the flow's pressure gradient
    FillSettings s = Strip("extended");
    s.nz = 4;
    const double without = FilledPressureGradient(s);
    s.extended.gravity[0] = g;
    const double with = FilledPressureGradient(s);
    EXPECT_NEAR(without - with, s.density * g, 1e-3 * s.density * g) << "without " << without << ", with " << with;
    // Without gravity, the cell-centred Poiseuille gradient on nz cells
    // across: 12 mu Q / (W h^3 (1 + 2 / nz^2)).
    const double h = s.thickness;
    EXPECT_NEAR(without, 12.0 * s.viscosity * s.flow_rate / (s.width * h * h * h * (1.0 + 2.0 / (s.nz * s.nz))),
                1e-3 * without);
}

TEST(FillExtendedFlow, TwoGatesFillAStripSymmetrically)
{
    FillSettings s = Strip("extended");
    s.geometry = "strip2";
    GateSetting left = Gate("left", GateControl::FlowRate, GateOpening::Always), right = left;
    right.name = "right";
    left.flow_rate = right.flow_rate = 0.2;
    left.line["listed"] = right.line["listed"] = 1;
    s.extended.gates = {left, right};
    const CaseRun r = RunCase(s);
    ASSERT_EQ(r.result.ending, fill::Ending::Full) << r.result.message;
    const size_t nc = r.xc.size();
    double lastTime = -1.0, lastX = -1.0;
    for (size_t c = 0; c < nc; ++c) {
        // The mirror cell across x = L/2 (same y and z row).
        size_t m = nc;
        for (size_t k = 0; k < nc; ++k)
            if (std::fabs(r.xc[k] - (s.length - r.xc[c])) < 1e-9 && std::fabs(r.yc[k] - r.yc[c]) < 1e-9 &&
                std::fabs(r.zc[k] - r.zc[c]) < 1e-9)
                m = k;
        ASSERT_LT(m, nc);
        EXPECT_NEAR(r.last.arrival[c], r.last.arrival[m], 1e-5 * r.result.fillTime) << "cell " << c;
        if (r.last.arrival[c] > lastTime) lastTime = r.last.arrival[c], lastX = r.xc[c];
    }
    // The weld line: the last cells to fill are the two middle columns.
    EXPECT_NEAR(lastX, 0.5 * s.length, 0.5 * s.length / s.nx + 1e-9);
}

TEST(FillExtendedFlow, SequentialGatingOpensTheSecondGateWhenTheFrontPasses)
{
    FillSettings s = Strip("extended");
    s.geometry = "strip2";
    GateSetting left = Gate("left", GateControl::FlowRate, GateOpening::Always), right = left;
    right.name = "right";
    right.opening = GateOpening::AtFront;
    right.point[0] = 3.125, right.point[1] = 0.25, right.point[2] = 0.05;
    left.flow_rate = right.flow_rate = 0.4;
    left.line["listed"] = right.line["listed"] = 1;
    s.extended.gates = {left, right};
    std::vector<double> frontVolf;  // the volume fraction of the point's cell after each step
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    int pointCell = 0;
    for (int c = 0; c < mesh.nCells; ++c)
        if (std::fabs(mesh.xc[c] - 3.125) < 1e-9 && mesh.zc[c] < 0.1) pointCell = c;
    const CaseRun r = RunCase(
        s, [&](const fill::Filling& f, const fill::StepRecord&) { frontVolf.push_back(f.Download().volf[pointCell]); });
    ASSERT_EQ(r.result.ending, fill::Ending::Full) << r.result.message;
    // The gate opens at the start of the step after the one that fills
    // the point's cell; until then only the left gate feeds.
    size_t filledAt = frontVolf.size(), openedAt = frontVolf.size();
    for (size_t k = 0; k < frontVolf.size(); ++k) {
        if (filledAt == frontVolf.size() && frontVolf[k] >= fill::kFCRI) filledAt = k;
        if (openedAt == frontVolf.size() && r.open[k][1]) openedAt = k;
        EXPECT_TRUE(r.open[k][0]);
    }
    ASSERT_LT(filledAt, frontVolf.size());
    EXPECT_EQ(openedAt, filledAt + 1);
    for (size_t k = 0; k < r.result.history.size(); ++k)
        EXPECT_NEAR(r.result.history[k].flowRate, k < openedAt ? 0.4 : 0.8, 1e-9) << "step " << k;
}

// Vents at an air pressure p_air: an incompressible fill at a flow rate
// is the same flow with every pressure raised by p_air.
TEST(FillExtendedFlow, VentAirPressureRaisesThePressureByItsValue)
{
    FillSettings zero = Strip("extended"), raised = Strip("extended");
    zero.extended.vent_air_pressure = 0.0;
    raised.extended.vent_air_pressure = 0.05;  // MPa
    const CaseRun a = RunCase(zero), b = RunCase(raised);
    ASSERT_EQ(a.result.ending, fill::Ending::Full) << a.result.message;
    ASSERT_EQ(b.result.ending, fill::Ending::Full) << b.result.message;
    ASSERT_EQ(a.result.history.size(), b.result.history.size());
    for (size_t k = 0; k < a.result.history.size(); ++k)
        EXPECT_NEAR(b.result.history[k].inletPressure - a.result.history[k].inletPressure, 0.05, 1e-3 * 0.05)
            << "step " << k;
    for (size_t c = 0; c < a.last.arrival.size(); ++c)
        EXPECT_NEAR(b.last.arrival[c], a.last.arrival[c], 1e-4 * a.result.fillTime) << "cell " << c;
}

// Injection-compression on the fixed mesh: the strip's top wall moving in
// at speed s pushes melt in over its wetted length x_f, so
// d(W h x_f)/dt = Q + s W x_f and the strip is full at
// t = (h/s) ln(1 + s W L / Q).
TEST(FillExtendedFlow, MovingWallFillsAtTheAnalyticTime)
{
    FillSettings s = Strip("extended");
    s.extended.compression_wall = "top";
    s.extended.compression_speed = 0.1;
    s.extended.compression_stroke = 1.0;
    // Behind the front (two cells back) every cell stays full, and the
    // mean velocity across the gap carries the section's flow Q + s W x.
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    const double dx = s.length / s.nx;
    int checked = 0;
    const CaseRun r = RunCase(s, [&](const fill::Filling& f, const fill::StepRecord&) {
        const fill::Fields now = f.Download();
        const double front = f.MeltVolume() / (s.width * s.thickness);
        std::vector<double> sum(s.nx, 0.0);
        std::vector<int> count(s.nx, 0);
        for (int c = 0; c < mesh.nCells; ++c) {
            if (mesh.xc[c] > front - 2.0 * dx) continue;
            EXPECT_GT(now.volf[c], 0.99) << "cell " << c << " at t = " << f.Time();
            const int column = static_cast<int>(mesh.xc[c] / dx);
            sum[column] += now.u[c], ++count[column];
        }
        // From the second column on: the gate cell's velocity is not the
        // section's mean (2.6 to 2.7 against 4 cm/s, on the basic path too).
        for (int k = 1; k < s.nx; ++k) {
            if (count[k] != s.nz) continue;
            const double x = (k + 0.5) * dx;
            const double mean = (s.flow_rate + 0.1 * s.width * x) / (s.width * s.thickness);
            EXPECT_NEAR(sum[k] / count[k], mean, 0.05 * mean) << "x = " << x << " at t = " << f.Time();
            ++checked;
        }
    });
    ASSERT_EQ(r.result.ending, fill::Ending::Full) << r.result.message;
    EXPECT_GT(checked, 20);
    const double expected = s.thickness / 0.1 * std::log(1.0 + 0.1 * s.width * s.length / s.flow_rate);
    EXPECT_NEAR(r.result.fillTime, expected, 0.02 * expected);
    EXPECT_LT(r.result.fillTime, 0.9 * r.cavity / s.flow_rate);
    for (const fill::StepRecord& rec : r.result.history) EXPECT_LT(std::fabs(rec.volumeError), 1e-9);
}

TEST(FillExtendedFlow, PackedMassIsTheIntegralOfTheCompressibility)
{
    FillSettings s = Strip("extended");
    s.extended.switch_over_fraction = 0.9;
    s.extended.holding_pressure = 1.0;
    s.extended.pack_time = 0.2;
    s.extended.compressibility = "constant";
    s.extended.drho_dp = 1e-3;  // g/cm^3 per MPa
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    bool full = false;
    double injectedAtFull = 0.0, injectedEnd = 0.0;
    std::vector<double> pAtFull, pEnd;
    const CaseRun r = RunCase(s, [&](const fill::Filling& f, const fill::StepRecord&) {
        if (!f.Full()) return;
        if (!full) full = true, injectedAtFull = f.InjectedVolume(), pAtFull = f.Download().p;
        injectedEnd = f.InjectedVolume(), pEnd = f.Download().p;
    });
    ASSERT_EQ(r.result.ending, fill::Ending::Full) << r.result.message;
    ASSERT_TRUE(full);
    EXPECT_GT(r.result.history.back().time, r.result.fillTime + 0.2 - 1e-12);
    double expected = 0.0, rise = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) {
        expected += mesh.volume[c] * s.extended.drho_dp * 1e-7 * (pEnd[c] - pAtFull[c]);
        rise = std::max(rise, pEnd[c] - pAtFull[c]);
    }
    const double added = s.density * (injectedEnd - injectedAtFull);
    EXPECT_GT(rise, 1e5);  // the pressure did rise under the holding pressure
    // Switched over to the holding pressure before the end of filling.
    EXPECT_NEAR(r.result.history.back().inletPressure, 1.0, 1e-9);
    for (const fill::StepRecord& rec : r.result.history)
        if (rec.filledFraction < 0.9 - 1e-9) EXPECT_DOUBLE_EQ(rec.flowRate, 0.4);
    EXPECT_NEAR(added, expected, 1e-3 * expected);
}

// The thermal term: a melt cooling in a cold mould while the gate holds
// the full cavity at pressure takes in the mass of its shrinkage. The term
// of step k is d rho/dT times the temperature change of step k - 1 (the
// temperature step follows the flow), so the packed mass from the end of
// step j to the end of step N is the sum of V (d rho/dp (p_N - p_j) +
// d rho/dT (T_{N-1} - T_{j-1})). The window starts two steps after the
// cavity is full, once the last cells filled have taken the melt's heat.
TEST(FillExtendedFlow, PackedMassIncludesTheThermalShrinkage)
{
    FillSettings s = Strip("extended");
    s.thermal = "non-isothermal";
    s.mould_temperature = 50.0;
    s.heat_transfer = 0.0;
    s.extended.switch_over_fraction = 0.9;
    s.extended.holding_pressure = 1.0;
    s.extended.pack_time = 0.2;
    s.extended.compressibility = "constant";
    s.extended.drho_dp = 1e-3;
    s.extended.drho_dT = -5e-4;  // g/cm^3 per K
    const rvzmesh::Mesh mesh = fill::BuildCaseMesh(s);
    std::vector<std::vector<double>> T, p;
    std::vector<double> injected;
    std::vector<char> full;
    const CaseRun r = RunCase(s, [&](const fill::Filling& f, const fill::StepRecord&) {
        const fill::Fields now = f.Download();
        T.push_back(now.T), p.push_back(now.p), injected.push_back(f.InjectedVolume()), full.push_back(f.Full());
    });
    ASSERT_EQ(r.result.ending, fill::Ending::Full) << r.result.message;
    const size_t j = std::find(full.begin(), full.end(), 1) - full.begin() + 2, N = full.size() - 1;
    ASSERT_GT(j, 0u);
    ASSERT_GT(N, j + 2);
    double pressure = 0.0, thermal = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) {
        pressure += mesh.volume[c] * s.extended.drho_dp * 1e-7 * (p[N][c] - p[j][c]);
        thermal += mesh.volume[c] * s.extended.drho_dT * (T[N - 1][c] - T[j - 1][c]);
    }
    EXPECT_GT(thermal, 0.1 * std::fabs(pressure));  // the melt did cool and shrink
    const double added = s.density * (injected[N] - injected[j]);
    EXPECT_NEAR(added, pressure + thermal, 1e-3 * std::fabs(pressure + thermal));
}

// ---------------------------------------------------------------------------
// Surface tension
// ---------------------------------------------------------------------------

// The Gauss gradient of a cell field with its boundary slots, written out
// here from its definition: interior face value le phi_E + (1 - le) phi_P,
// boundary face value the slot's, sum of value times area vector over the
// cell's faces, over its volume.
std::vector<std::array<double, 3>> GaussGradient(const rvzmesh::Mesh& m, const std::vector<double>& phi)
{
    std::vector<std::array<double, 3>> g(m.nCells, {0.0, 0.0, 0.0});
    for (int f = 0; f < m.nFaces; ++f) {
        const double value = m.le[f] * phi[m.ijE[f]] + (1.0 - m.le[f]) * phi[m.ijP[f]];
        const double S[3] = {m.sx[f], m.sy[f], m.sz[f]};
        for (int k = 0; k < 3; ++k) g[m.ijP[f]][k] += value * S[k], g[m.ijE[f]][k] -= value * S[k];
    }
    for (const rvzmesh::BoundaryList& l : m.boundary)
        for (int e = 0; e < l.size(); ++e) {
            const double S[3] = {l.sx[e], l.sy[e], l.sz[e]};
            for (int k = 0; k < 3; ++k) g[l.cell[e]][k] += phi[l.slot[e]] * S[k];
        }
    for (int c = 0; c < m.nCells; ++c)
        for (int k = 0; k < 3; ++k) g[c][k] /= m.volume[c];
    return g;
}

// The surface-tension step of a box with the melt fraction `alpha` (a
// function of the position, taken at the cell centroids and the boundary
// faces' centroids) and the cell density rho = air + alpha (melt - air):
// the curvature and the force (Su, Sv, Sw) it gives.
struct TensionOutcome {
    std::vector<double> curvature;
    std::vector<double> force[3];
};

TensionOutcome Tension(const rvzmesh::Mesh& m, const std::function<double(double, double, double)>& alpha,
                       double sigma, double melt, double air)
{
    CRVZGPUtool& t = Tool();
    rvzmesh::DeviceMesh d;
    EXPECT_EQ(rvzmesh::UploadMesh(t, m, d), 0);
    const int n = m.nExtended, nc = m.nCells, N = m.newNNU, nCol = m.nColumnPerRow;
    using D = channel::Buf<double>;
    std::vector<double> a(n), rho(nc);
    for (int c = 0; c < n; ++c) a[c] = alpha(m.xc[c], m.yc[c], m.zc[c]);
    for (int c = 0; c < nc; ++c) rho[c] = air + a[c] * (melt - air);
    D alphaD(t, a), den(t, rho), zero(t, n), scratch(t, N * nCol), Su(t, nc), Sv(t, nc), Sw(t, nc);
    const int nt = std::max(m.nFaces, 1);
    D tx(t, nt), ty(t, nt), tz(t, nt);
    // The library's Gauss gradient, as the filling step calls it.
    const fill::GradientFunction gradient = [&](double* phi, double* gx, double* gy, double* gz) {
        for (double* g : {gx, gy, gz}) ASSERT_EQ(t.ZeroDeviceMemory(n, g), 0);
        scratch.Zero();
        ASSERT_EQ(t.Calc_GradFromInnerCF(m.nFaces, nc, N, nCol, phi, gx, gy, gz, zero, zero, zero, d.le, d.ijP, d.ijE,
                                         d.xc, d.yc, d.zc, d.sx, d.sy, d.sz, d.xe, d.ye, d.ze, d.mapPx, d.mapPy,
                                         d.mapEx, d.mapEy, tx, ty, tz, scratch, rvzmesh::Blocks(m.nFaces),
                                         rvzmesh::Blocks(nc)),
                  0);
        for (const auto& l : d.boundary) {
            if (l.size == 0) continue;
            D bx(t, l.size), by(t, l.size), bz(t, l.size);
            scratch.Zero();
            ASSERT_EQ(t.Calc_GradFromBC(l.size, l.nRows, N, nCol, phi, gx, gy, gz, nullptr, l.slot, l.sx, l.sy, l.sz,
                                        bx, by, bz, l.mapPx, l.mapPy, scratch, l.rows, rvzmesh::Blocks(l.size),
                                        rvzmesh::Blocks(l.nRows)),
                      0);
        }
        ASSERT_EQ(t.Calc_GradCVCenter(nc, d.volume, gx, gy, gz, rvzmesh::Blocks(nc)), 0);
    };
    TensionOutcome r;
    {
        fill::SurfaceTension st(t, m, gradient);
        st.Update(alphaD);
        st.AddForce(sigma, melt, air, d.volume, den, Su, Sv, Sw);
        r.curvature = st.Curvature();
    }
    r.force[0] = Su.Download(), r.force[1] = Sv.Download(), r.force[2] = Sw.Download();
    rvzmesh::FreeDeviceMesh(t, d);
    return r;
}

rvzmesh::Mesh Box(int nx, int ny, int nz, double x0, double y0, double perturbation)
{
    rvzmesh::BoxOptions b;
    b.nx = nx, b.ny = ny, b.nz = nz;
    b.x0 = x0, b.y0 = y0;
    b.lx = 1.0, b.ly = 1.0, b.lz = 1.0 / nx;
    b.perturbation = perturbation;
    return rvzmesh::BuildMesh(rvzmesh::MakeBox(b));
}

// A round melt front (a Gaussian hump of the fraction) on a box of skewed
// cells: the curvature -div(grad a / |grad a|) and the force
// sigma kappa grad(a) 2 rho / (rho_melt + rho_air) V of every cell, worked
// out here from the definitions on the mesh's own arrays, against the
// step's. The key and its refusal.
TEST(FillSurfaceTension, CurvatureAndForceMatchTheirDefinitions)
{
    const rvzmesh::Mesh m = Box(6, 5, 2, 0.0, 0.0, 0.25);
    const auto alpha = [](double x, double y, double z) {
        return std::exp(-((x - 0.4) * (x - 0.4) + (y - 0.55) * (y - 0.55)) / 0.15 + 0.3 * z);
    };
    const double sigma = 30.0, melt = 0.95, air = 0.0012;
    const TensionOutcome r = Tension(m, alpha, sigma, melt, air);

    std::vector<double> a(m.nExtended);
    for (int c = 0; c < m.nExtended; ++c) a[c] = alpha(m.xc[c], m.yc[c], m.zc[c]);
    const auto ga = GaussGradient(m, a);
    std::vector<double> normal[3];
    for (int k = 0; k < 3; ++k) normal[k].assign(m.nExtended, 0.0);
    for (int c = 0; c < m.nCells; ++c) {
        const double len = std::sqrt(ga[c][0] * ga[c][0] + ga[c][1] * ga[c][1] + ga[c][2] * ga[c][2]);
        for (int k = 0; k < 3; ++k) normal[k][c] = ga[c][k] / len;
    }
    for (const rvzmesh::BoundaryList& l : m.boundary)
        for (int e = 0; e < l.size(); ++e)
            for (int k = 0; k < 3; ++k) normal[k][l.slot[e]] = normal[k][l.cell[e]];
    std::vector<double> kappa(m.nCells, 0.0);
    for (int k = 0; k < 3; ++k) {
        const auto dn = GaussGradient(m, normal[k]);
        for (int c = 0; c < m.nCells; ++c) kappa[c] -= dn[c][k];
    }
    double kScale = 0.0, fScale = 0.0, kDiff = 0.0, fDiff = 0.0;
    ASSERT_EQ(r.curvature.size(), kappa.size());
    for (int c = 0; c < m.nCells; ++c) {
        kScale = std::max(kScale, std::fabs(kappa[c]));
        kDiff = std::max(kDiff, std::fabs(kappa[c] - r.curvature[c]));
        const double rho = air + a[c] * (melt - air), scaling = 2.0 * rho / (melt + air);
        for (int k = 0; k < 3; ++k) {
            const double force = sigma * kappa[c] * ga[c][k] * scaling * m.volume[c];
            fScale = std::max(fScale, std::fabs(force));
            fDiff = std::max(fDiff, std::fabs(force - r.force[k][c]));
        }
    }
    EXPECT_GT(kScale, 1.0);
    EXPECT_LE(kDiff, 1e-12 * kScale);
    EXPECT_LE(fDiff, 1e-12 * fScale);
    std::printf("curvature up to %.3g /cm, force up to %.3g dyn; deviations %.2g and %.2g of them\n", kScale, fScale,
                kDiff / kScale, fDiff / fScale);

    const FillSettings s = fill::ParseFillSettings("flow_path = extended\nsurface_tension = 72.5\n", "case.inp");
    EXPECT_DOUBLE_EQ(s.extended.surface_tension, 72.5);
    EXPECT_EQ(Refusal("flow_path = extended\nsurface_tension = -1\n"),
              "case.inp:2: key 'surface_tension': must not be negative");
    EXPECT_EQ(Refusal("surface_tension = 30\n"), "case.inp:1: key 'surface_tension': needs flow_path = extended");
}

// A front along circles about the z axis (the fraction falls linearly with
// the distance r from the axis) on the box x, y in [1, 2]: its curvature
// is 1/r (n = -r/|r|, -div n = 1/r in the plane). Cells two or more cells
// away from the sides carry the Gauss divergence's second-order error
// (measured: within 1.8e-3 of 1/r on 16 x 16 cells, 5.3e-4 on 32 x 32);
// nearer the sides the boundary cells' one-sided gradients make it first
// order (4 % on 16 x 16), and those cells are not compared.
double WorstCylinderCurvature(int cells)
{
    const rvzmesh::Mesh m = Box(cells, cells, 1, 1.0, 1.0, 0.0);
    const TensionOutcome r =
        Tension(m, [](double x, double y, double) { return 2.0 - std::sqrt(x * x + y * y); }, 30.0, 0.95, 0.0012);
    double worst = 0.0;
    int compared = 0;
    const double inner = 2.0 / cells;
    for (int c = 0; c < m.nCells; ++c) {
        const double x = m.xc[c], y = m.yc[c];
        if (x < 1.0 + inner || x > 2.0 - inner || y < 1.0 + inner || y > 2.0 - inner) continue;
        worst = std::max(worst, std::fabs(r.curvature[c] * std::sqrt(x * x + y * y) - 1.0));
        ++compared;
    }
    EXPECT_EQ(compared, (cells - 4) * (cells - 4));
    return worst;
}

TEST(FillSurfaceTension, CurvatureOfACylindricalFrontIsOneOverTheRadius)
{
    const double coarse = WorstCylinderCurvature(16), fine = WorstCylinderCurvature(32);
    EXPECT_LT(coarse, 3e-3);
    EXPECT_LT(fine, coarse / 3.0);  // second order
    std::printf("curvature of the cylindrical front: within %.2g (16 cells) and %.2g (32 cells) of 1/r\n", coarse,
                fine);
}

// A vanishing coefficient: the surface-tension path (its gradients write
// the filling step's work arrays) runs and leaves every field of a run
// bit for bit as without it; a coefficient of 72 dyn/cm moves them.
TEST(FillSurfaceTension, VanishingCoefficientLeavesTheRunUnchanged)
{
    FillSettings s = Strip("extended");
    s.ny = 2, s.nz = 2;
    s.max_steps = 6;
    const CaseRun off = RunCase(s);
    s.extended.surface_tension = 1e-300;
    const CaseRun vanishing = RunCase(s);
    s.extended.surface_tension = 72.0;
    const CaseRun on = RunCase(s);
    ASSERT_EQ(off.result.history.size(), vanishing.result.history.size());
    const std::vector<double>* fields[][2] = {{&off.last.volf, &vanishing.last.volf}, {&off.last.p, &vanishing.last.p},
                                              {&off.last.u, &vanishing.last.u},       {&off.last.v, &vanishing.last.v},
                                              {&off.last.w, &vanishing.last.w}};
    for (const auto& pair : fields) EXPECT_EQ(*pair[0], *pair[1]);
    for (size_t k = 0; k < off.result.history.size(); ++k) {
        EXPECT_EQ(off.result.history[k].time, vanishing.result.history[k].time);
        EXPECT_EQ(off.result.history[k].outerIterations, vanishing.result.history[k].outerIterations);
    }
    EXPECT_NE(off.last.p, on.last.p);
}

}  // namespace
