// Material properties: shear rate, boundary copy, the rheological models,
// the property tables and the mixing of melt and gas properties.
#include <cmath>
#include <string>
#include <vector>

#include "CU_ModMatPara.h"
#include "rvzgpu_viscosity.h"
#include "test_support.h"

namespace {

using rvztest::DeviceArray;
using rvztest::Tool;
namespace visc = rvz::viscosity;

int Grid(int n) { return (n + 255) / 256; }

// Runs CalcVis_Flow over `cells` and returns visnewD, which starts at `before`.
std::vector<double> DeviceViscosity(const visc::Settings& g, int model, const std::vector<double>& P,
                                    const std::vector<visc::Cell>& cells, double before = -7.0)
{
    const int n = static_cast<int>(cells.size());
    std::vector<double> T, p, sr, volf, conv;
    std::vector<int> hot;
    for (const auto& c : cells) {
        T.push_back(c.temperature);
        p.push_back(c.pressure);
        sr.push_back(c.shearRate);
        volf.push_back(c.volumeFraction);
        conv.push_back(c.conversion);
        hot.push_back(c.hotRunner);
    }
    DeviceArray<double> TD(T), pD(p), SRateD(sr), VolFD(volf), RxnCD(conv), ParaD(P);
    DeviceArray<int> HotD(hot);
    DeviceArray<double> visnewD(std::vector<double>(cells.size(), before));
    EXPECT_EQ(Tool().CalcVis_Flow(n, g.RIM_visg, g.lGNF, g.MoldingType, g.MeltT, g.FCRI, g.ShearR_Inlet, g.InitRxnC,
                                  g.MoldT, model, TD, pD, SRateD, VolFD, HotD, RxnCD, visnewD, ParaD, Grid(n)),
              0);
    return visnewD.Download();
}

visc::Cell FilledCell(double T, double rate)
{
    visc::Cell c;
    c.temperature = T;
    c.shearRate = rate;
    return c;
}

visc::Settings Melt230()
{
    visc::Settings g;
    g.MeltT = 230.0;
    g.MoldT = 45.0;
    g.FCRI = 0.5;
    return g;
}

// One parameter set per model, realistic in CGS units.
const std::vector<double> kPowerLaw = {0.0, 0.35, 5.0, 5500.0};                      // n, B, Tb
const std::vector<double> kModifiedCross = {0.0, 0.3, 3.0e5, 2.0e-5, 1.1e4};         // n, tau*, B, Tb
const std::vector<double> kCastroMacosko = {0.0, 0.65, 1.5, 1.0, 1.2e-5, 7000.0};    // Cg, C1, C2, B, Tb
const std::vector<double> kCastroCross = {0.0, 0.65, 1.5, 1.0, 1.2e-5, 7000.0, 0.4, 2.0e5};
const std::vector<double> kConversionPL = {0.0, -12.0, 3.0, 0.5, 6500.0, 800.0, 100.0,
                                           0.6, 0.4, 0.05, 0.7, 0.1};
const std::vector<double> kYieldPL = {0.0, 0.3, 3000.0, 8.0, 60.0, 1.5, 1.0, 0.65, 50.0, 380.0, 900.0};

struct ModelCase {
    int model;
    std::vector<double> P;
};

std::vector<ModelCase> AllModels()
{
    const auto ps = visc::PolystyreneStyron678E().parameters;
    std::vector<double> psPressure = ps;
    psPressure[5] = 1.5e-8;  // a pressure-dependent glass transition
    return {{1, {0.0, 1234.5}}, {2, kPowerLaw},       {4, kModifiedCross}, {5, ps},      {5, psPressure},
            {10, kCastroMacosko}, {11, kConversionPL}, {12, kCastroCross}, {13, kYieldPL}, {100, {0.0, 0.35, 5.0, 26000.0}},
            {101, {0.0, 0.3, 3.0e5, 1.0e-14, 24000.0}}, {102, psPressure}};
}

double RelativeError(double a, double b) { return std::fabs(a - b) / std::max(std::fabs(b), 1e-300); }

}  // namespace

// ---------------------------------------------------------------------------
// Shear rate and boundary copy
// ---------------------------------------------------------------------------

TEST(ShearRate, EqualsTwiceTheStrainRateNormForAnyGradient)
{
    // Rows: simple shear du/dy = 40, uniaxial extension e = 3 (rate sqrt(3)*3),
    // rigid rotation (rate 0), then random gradients.
    std::vector<std::vector<double>> L = {{0, 40, 0, 0, 0, 0, 0, 0, 0},
                                          {3, 0, 0, 0, -1.5, 0, 0, 0, -1.5},
                                          {0, 7, 0, -7, 0, 0, 0, 0, 0}};
    const std::vector<double> expected0 = {40.0, std::sqrt(3.0) * 3.0, 0.0};
    for (int k = 0; k < 600; ++k) L.push_back(rvztest::RandomVector(9, 100 + k, -50.0, 50.0));
    const int n = static_cast<int>(L.size());
    std::vector<std::vector<double>> comp(9, std::vector<double>(n));
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < 9; ++c) comp[c][i] = L[i][c];  // du_dx du_dy du_dz dv_dx ... dw_dz
    std::vector<DeviceArray<double>*> g;
    for (int c = 0; c < 9; ++c) g.push_back(new DeviceArray<double>(comp[c]));
    const std::vector<double> old = rvztest::RandomVector(n, 7, 0.0, 100.0);
    for (double relax : {1.0, 0.3}) {
        DeviceArray<double> SRateD(old);
        ASSERT_EQ(Tool().Calc_ShearRate(n, relax, *g[0], *g[1], *g[2], *g[3], *g[4], *g[5], *g[6], *g[7], *g[8],
                                        SRateD, Grid(n)),
                  0);
        const auto sr = SRateD.Download();
        for (int i = 0; i < n; ++i) {
            // sqrt(2 D:D), D the symmetric part of the velocity gradient.
            double dd = 0.0;
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c) {
                    const double d = 0.5 * (L[i][3 * r + c] + L[i][3 * c + r]);
                    dd += d * d;
                }
            const double rate = i < 3 ? expected0[i] : std::sqrt(2.0 * dd);
            EXPECT_NEAR(sr[i], old[i] + relax * (rate - old[i]), 1e-12 * (1.0 + rate)) << "cell " << i;
        }
    }
    for (auto* p : g) delete p;
}

TEST(UpdateBoundaryConst, CopiesListedCellsToTheirSlotsOnly)
{
    // Five cells, four boundary slots 5..8; slot 8 is not in the list.
    DeviceArray<double> fiD(std::vector<double>{1, 2, 3, 4, 5, -1, -1, -1, -1});
    DeviceArray<int> ijD(std::vector<int>{5, 6, 7}), ijCVD(std::vector<int>{4, 0, 4});
    ASSERT_EQ(Tool().Calc_UpdateBoundary_const(3, ijD, ijCVD, fiD, 1), 0);
    EXPECT_EQ(fiD.Download(), (std::vector<double>{1, 2, 3, 4, 5, 5, 1, 5, -1}));
}

// ---------------------------------------------------------------------------
// The evaluation state of the viscosity models
// ---------------------------------------------------------------------------

TEST(ViscosityState, ShearRateFloorNewtonianSwitchAndHotRunner)
{
    auto g = Melt230();
    g.ShearR_Inlet = 50.0;
    std::vector<visc::Cell> cells = {FilledCell(230, 1000.0), FilledCell(230, 0.01), FilledCell(230, 1000.0),
                                     FilledCell(230, 0.01)};
    cells[2].hotRunner = 1;
    cells[3].hotRunner = 1;
    const double n = kPowerLaw[1];
    auto at = [&](double rate) { return kPowerLaw[2] * std::exp(kPowerLaw[3] / 503.0) * std::pow(rate, n - 1.0); };

    const auto gnf = DeviceViscosity(g, 2, kPowerLaw, cells);
    EXPECT_NEAR(gnf[0], at(1000.0), 1e-12 * at(1000.0));
    EXPECT_NEAR(gnf[1], at(0.1), 1e-12 * at(0.1));  // rate floor 0.1
    EXPECT_NEAR(gnf[2], at(1000.0), 1e-12 * at(1000.0));
    EXPECT_NEAR(gnf[3], at(50.0), 1e-12 * at(50.0));  // hot runner: at least the inlet rate

    g.lGNF = 0;  // Newtonian: the cell's rate is ignored
    const auto newtonian = DeviceViscosity(g, 2, kPowerLaw, cells);
    EXPECT_TRUE(rvztest::SameBits(newtonian[0], newtonian[1]));
    EXPECT_NEAR(newtonian[0], at(0.1), 1e-12 * at(0.1));
    EXPECT_NEAR(newtonian[2], at(50.0), 1e-12 * at(50.0));
    g.ShearR_Inlet = 0.05;  // below the floor: the floor wins
    EXPECT_TRUE(rvztest::SameBits(DeviceViscosity(g, 2, kPowerLaw, cells)[3], newtonian[0]));
}

TEST(ViscosityState, TemperatureClampFilledAndUnfilledCellsReactiveMoulding)
{
    auto g = Melt230();
    // 400 C clamps to MeltT+50, 20 C to MeltT-100; the unfilled cell uses max(MeltT, MoldT).
    std::vector<visc::Cell> cells = {FilledCell(210, 100), FilledCell(400, 100), FilledCell(20, 100),
                                     FilledCell(150, 100)};
    cells[3].volumeFraction = 0.2;
    auto at = [&](double Tc) {
        return kPowerLaw[2] * std::exp(kPowerLaw[3] / (Tc + 273.0)) * std::pow(100.0, kPowerLaw[1] - 1.0);
    };
    const auto v = DeviceViscosity(g, 2, kPowerLaw, cells);
    const double expected[] = {at(210), at(280), at(130), at(230)};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(v[i], expected[i], 1e-12 * expected[i]) << i;

    g.MoldT = 260.0;  // a mould hotter than the melt sets the unfilled temperature
    EXPECT_NEAR(DeviceViscosity(g, 2, kPowerLaw, cells)[3], at(260), 1e-12 * at(260));

    g = Melt230();
    g.MoldingType = 2;  // reactive: no clamp
    const auto r = DeviceViscosity(g, 2, kPowerLaw, cells);
    EXPECT_NEAR(r[1], at(400), 1e-12 * at(400));
    EXPECT_NEAR(r[2], at(20), 1e-12 * at(20));
}

TEST(ViscosityState, ConversionIsReadOnlyInReactiveMouldingAndRimReferenceStateOverridesAll)
{
    auto g = Melt230();
    std::vector<visc::Cell> cells = {FilledCell(170, 100), FilledCell(200, 3000)};
    cells[0].conversion = 0.4;
    cells[1].conversion = 0.1;
    cells[1].volumeFraction = 0.0;
    const auto thermo = DeviceViscosity(g, 10, kCastroMacosko, cells);
    visc::State s{170 + 273.0, 100, 0.0, 0.0};
    EXPECT_NEAR(thermo[0], *visc::ModelViscosity(10, kCastroMacosko, s, g.MeltT, g.MoldT), 1e-12 * thermo[0]);

    g.RIM_visg = 1;
    g.InitRxnC = 0.2;
    g.MoldingType = 2;
    const auto rim = DeviceViscosity(g, 12, kCastroCross, cells);
    const visc::State ref{g.MoldT + 273.0, 10.0, 0.2, 0.0};
    const double expected = *visc::ModelViscosity(12, kCastroCross, ref, g.MeltT, g.MoldT);
    EXPECT_NEAR(rim[0], expected, 1e-12 * expected);
    EXPECT_TRUE(rvztest::SameBits(rim[0], rim[1]));
}

// ---------------------------------------------------------------------------
// Clamps of the models
// ---------------------------------------------------------------------------

TEST(ViscosityClamps, PowerIndexBelowFloorAndConversionAboveGelBehaveAsTheirLimits)
{
    const auto g = [] {
        auto s = Melt230();
        s.MoldingType = 2;
        return s;
    }();
    std::vector<visc::Cell> cells = {FilledCell(220, 30), FilledCell(240, 3000)};
    for (int model : {2, 4, 100, 101}) {
        auto low = model == 2 || model == 100 ? kPowerLaw : kModifiedCross;
        auto floor = low;
        low[1] = 0.03;
        floor[1] = 0.05;
        const auto a = DeviceViscosity(g, model, low, cells), b = DeviceViscosity(g, model, floor, cells);
        for (int i = 0; i < 2; ++i) EXPECT_TRUE(rvztest::SameBits(a[i], b[i])) << "model " << model;
    }
    for (int model : {10, 12}) {
        const auto& P = model == 10 ? kCastroMacosko : kCastroCross;
        auto over = cells, atLimit = cells;
        for (auto& c : over) c.conversion = 0.95;
        for (auto& c : atLimit) c.conversion = 0.9 * P[1];
        const auto a = DeviceViscosity(g, model, P, over), b = DeviceViscosity(g, model, P, atLimit);
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(rvztest::SameBits(a[i], b[i])) << "model " << model;
            EXPECT_TRUE(std::isfinite(a[i]));
        }
    }
}

TEST(ViscosityClamps, CrossWLFZeroShearViscosityStaysWithinAFactorTenOfItsMeltValue)
{
    auto g = Melt230();
    g.MoldingType = 2;  // no temperature clamp: sweep far below and above the melt
    // A steep WLF (A1 = 60) and tau* so large that the Cross term is 1.
    const std::vector<double> P = {0.0, 0.25, 1e300, 1e12, 373.0, 0.0, 60.0, 51.6};
    std::vector<visc::Cell> cells;
    for (double T = 50; T <= 400; T += 5) cells.push_back(FilledCell(T, 1.0));
    const auto v = DeviceViscosity(g, 5, P, cells);
    const double xm = 230.0 + 273.0 - 373.0;
    const double eta0m = 1e12 * std::exp(-60.0 * xm / (51.6 + xm));
    for (size_t i = 0; i < cells.size(); ++i) {
        EXPECT_GE(v[i], 0.1 * eta0m * (1 - 1e-12)) << cells[i].temperature;
        EXPECT_LE(v[i], 10.0 * eta0m * (1 + 1e-12)) << cells[i].temperature;
    }
    EXPECT_NEAR(v.front(), 10.0 * eta0m, 1e-12 * eta0m);  // cold end: upper bound
    EXPECT_NEAR(v.back(), 0.1 * eta0m, 1e-12 * eta0m);    // hot end: lower bound
}

TEST(ViscosityClamps, CappedActivationIsContinuousAndLimitsTheActivationOutsideTheBand)
{
    auto g = Melt230();
    g.MoldingType = 2;
    const double Tm = 230.0 + 273.0, T1 = Tm - 30.0, T2 = Tm + 30.0;
    std::vector<double> P2 = {0.0, 0.35, 1e-18, 26000.0};
    auto vis = [&](int model, const std::vector<double>& P, double Tabs) {
        return DeviceViscosity(g, model, P, {FilledCell(Tabs - 273.0, 100.0)})[0];
    };
    // Inside the band 100 is 2; at the edges the two agree.
    for (double T : {T1 + 1.0, Tm, T2 - 1.0, T1, T2})
        EXPECT_NEAR(vis(100, P2, T), vis(2, P2, T), 1e-12 * vis(2, P2, T)) << T;
    // Outside, the viscosity follows an activation of 20000 from the edge value.
    for (double T : {T1 - 40.0, T2 + 40.0}) {
        const double edge = T < Tm ? T1 : T2;
        const double expected = vis(2, P2, edge) * std::exp(20000.0 / T - 20000.0 / edge);
        EXPECT_NEAR(vis(100, P2, T), expected, 1e-11 * expected) << T;
    }
    // With an activation already below the cap nothing changes.
    EXPECT_TRUE(rvztest::SameBits(vis(100, kPowerLaw, T1 - 40.0), vis(2, kPowerLaw, T1 - 40.0)));
    EXPECT_TRUE(rvztest::SameBits(vis(101, kModifiedCross, T2 + 40.0), vis(4, kModifiedCross, T2 + 40.0)));
}

TEST(ViscosityModels, UndefinedModelNumbersLeaveTheOutputUnchanged)
{
    const std::vector<visc::Cell> cells = {FilledCell(230, 100), FilledCell(180, 10)};
    for (int model : {0, 3, 6, 9, 14, 99, 103, -1})
        for (double v : DeviceViscosity(Melt230(), model, kYieldPL, cells, 4321.0))
            EXPECT_EQ(v, 4321.0) << "model " << model;
}

// Every model on the device against the separately written host evaluator,
// over cells that exercise the temperature clamp, unfilled and hot-runner
// cells, the rate floor, pressures and conversions near the gel point.
TEST(ViscosityModels, DeviceAgreesWithTheHostEvaluatorForEveryModel)
{
    const auto T = rvztest::RandomVector(700, 1, 60.0, 330.0);
    const auto rate = rvztest::RandomVector(700, 2, 0.0, 2.0e4);
    const auto alpha = rvztest::RandomVector(700, 3, 0.0, 1.0);
    const auto conv = rvztest::RandomVector(700, 4, 0.0, 0.7);
    const auto p = rvztest::RandomVector(700, 5, 0.0, 1.5e9);
    std::vector<visc::Cell> cells(700);
    for (int i = 0; i < 700; ++i) {
        cells[i] = FilledCell(T[i], i % 7 == 0 ? 0.01 : rate[i]);
        cells[i].volumeFraction = alpha[i];
        cells[i].conversion = conv[i];
        cells[i].pressure = p[i];
        cells[i].hotRunner = i % 11 == 0;
    }
    for (int molding : {0, 2})
        for (int lgnf : {0, 1}) {
            auto g = Melt230();
            g.MoldingType = molding;
            g.lGNF = lgnf;
            g.ShearR_Inlet = 300.0;
            for (const auto& mc : AllModels()) {
                const auto v = DeviceViscosity(g, mc.model, mc.P, cells);
                int bad = 0;
                for (int i = 0; i < 700; ++i) {
                    const double h = *visc::CellViscosity(mc.model, mc.P, g, cells[i]);
                    ASSERT_TRUE(std::isfinite(h)) << "model " << mc.model << " cell " << i;
                    if (RelativeError(v[i], h) > 1e-12 && bad++ < 3)
                        ADD_FAILURE() << "model " << mc.model << " molding " << molding << " lGNF " << lgnf
                                      << " cell " << i << ": device " << v[i] << " host " << h;
                }
            }
        }
}

TEST(ViscosityModels, BandedCrossWLFUsesThreeFixedShiftsAroundTheMeltTemperature)
{
    auto g = Melt230();
    g.MoldingType = 2;
    auto P = visc::PolystyreneStyron678E().parameters;
    P[3] = 1.0;  // the D1 factor is not used: any value gives the same result
    const auto a = DeviceViscosity(g, 102, P, {FilledCell(215, 100), FilledCell(230, 100), FilledCell(245, 100)});
    EXPECT_TRUE(rvztest::SameBits(a[0], a[1]));
    EXPECT_TRUE(rvztest::SameBits(a[1], a[2]));
    P[3] = 1e20;
    const auto b = DeviceViscosity(g, 102, P, {FilledCell(200, 100), FilledCell(230, 100), FilledCell(270, 100)});
    EXPECT_TRUE(rvztest::SameBits(a[1], b[1]));
    EXPECT_GT(b[0], b[1]);  // below the band: shift at Tm-20
    EXPECT_LT(b[2], b[1]);  // above the band: shift at Tm+20
}

// ---------------------------------------------------------------------------
// Reference values computed outside this code
// ---------------------------------------------------------------------------

// Styron 678E (general-purpose polystyrene), Cross-WLF fit of Vietri,
// Sorrentino, Speranza, Pantani, Polym. Eng. Sci. 51 (2011): n = 0.252,
// tau* = 30800 Pa, D1 = 4.76e10 Pa s, D2 = 373.15 K, D3 = 0, A1 = 25.7,
// A2 = 61.06 K. The reference is the textbook Cross-WLF in SI units and
// kelvin, converted to poise at the end:
//   import math
//   for Tc in (210., 230., 250.):
//       T = Tc + 273.15
//       eta0 = 4.76e10 * math.exp(-25.7*(T-373.15)/(61.06+T-373.15))
//       print([10*eta0/(1+(eta0*g/30800.)**(1-0.252)) for g in (10., 100., 1e3, 1e4)])
// MeltT = 230 C keeps every point inside the library's clamps.
TEST(ViscosityReference, CrossWLFPolystyreneStyron678E)
{
    const double expected[3][4] = {
        {1.566217907751290e+04, 4.714623687772319e+03, 9.597011517675566e+02, 1.758292584615213e+02},
        {8.088521146730684e+03, 3.200197634089218e+03, 7.301531457418578e+02, 1.372354822674411e+02},
        {4.352298475592737e+03, 2.176121666207307e+03, 5.728409557941028e+02, 1.117940556834202e+02}};
    const auto ps = visc::PolystyreneStyron678E();
    std::vector<visc::Cell> cells;
    for (double T : {210.0, 230.0, 250.0})
        for (double rate : {10.0, 100.0, 1000.0, 10000.0}) cells.push_back(FilledCell(T, rate));
    auto g = Melt230();
    g.MeltT = ps.MeltT;
    const auto v = DeviceViscosity(g, ps.model, ps.parameters, cells);
    for (int t = 0; t < 3; ++t)
        for (int r = 0; r < 4; ++r) {
            EXPECT_NEAR(v[4 * t + r], expected[t][r], 1e-11 * expected[t][r]) << t << "," << r;
            const double host = visc::MaterialViscosity(ps, cells[4 * t + r].temperature, cells[4 * t + r].shearRate);
            EXPECT_NEAR(host, expected[t][r], 1e-11 * expected[t][r]);
        }
}

// Power law with Arrhenius shift, n = 0.35, B = 0.5 Pa s^n (5 poise s^n),
// Tb = 5500 K on the 273.0 scale:
//   [10*0.5*math.exp(5500/(Tc+273.0))*g**(0.35-1) for g in (10.,100.,1e3,1e4)]
// Castro-Macosko, Cg = 0.65, C1 = 1.5, C2 = 1.0, B = 1.2e-6 Pa s, Tb = 7000 K:
//   c = min(C, 0.9*0.65)
//   10*1.2e-6*math.exp(7000/(Tc+273.0))*(0.65/(0.65-c))**(1.5+1.0*c)
TEST(ViscosityReference, PowerLawAndCastroMacosko)
{
    const double powerLaw[3][4] = {
        {1.255757672798984e+05, 2.811291247014470e+04, 6.293697141363440e+03, 1.408983283011746e+03},
        {6.276489756174359e+04, 1.405131029315518e+04, 3.145696537786939e+03, 7.042337334664860e+02},
        {3.391819738380478e+04, 7.593338546525710e+03, 1.699936751641290e+03, 3.805684340128553e+02}};
    std::vector<visc::Cell> cells;
    for (double T : {200.0, 230.0, 260.0})
        for (double rate : {10.0, 100.0, 1000.0, 10000.0}) cells.push_back(FilledCell(T, rate));
    const auto v = DeviceViscosity(Melt230(), 2, kPowerLaw, cells);
    for (int k = 0; k < 12; ++k) EXPECT_NEAR(v[k], powerLaw[k / 4][k % 4], 1e-12 * powerLaw[k / 4][k % 4]) << k;

    const double castro[2][4] = {
        {1.845387463589534e+02, 5.623531447143590e+02, 3.465227570518125e+03, 2.244334398985905e+04},
        {8.742230828515082e+01, 2.664058955224255e+02, 1.641596677798943e+03, 1.063217874805916e+04}};
    auto g = Melt230();
    g.MoldingType = 2;
    cells.clear();
    for (double T : {150.0, 170.0})
        for (double C : {0.0, 0.3, 0.5, 0.7}) {
            cells.push_back(FilledCell(T, 100.0));
            cells.back().conversion = C;
        }
    const auto c = DeviceViscosity(g, 10, kCastroMacosko, cells);
    for (int k = 0; k < 8; ++k) EXPECT_NEAR(c[k], castro[k / 4][k % 4], 1e-12 * castro[k / 4][k % 4]) << k;
}

// ---------------------------------------------------------------------------
// Specific heat and conductivity tables
// ---------------------------------------------------------------------------

TEST(PropertyTables, LookupAtBelowAboveAndBetweenTheTableTemperatures)
{
    // (value, temperature): 1.8e7 at 50, 2.0e7 at 150, 2.6e7 at 250; entries
    // past N are not part of the table.
    const std::vector<double> table = {0.0, 1.8e7, 50.0, 2.0e7, 150.0, 2.6e7, 250.0, 9e9, 400.0};
    const std::vector<double> T = {20.0, 50.0, 100.0, 150.0, 200.0, 250.0, 300.0, 125.0};
    const std::vector<double> expected = {1.8e7, 1.8e7, 1.9e7, 2.0e7, 2.3e7, 2.6e7, 2.6e7, 1.95e7};
    const int n = static_cast<int>(T.size());
    DeviceArray<double> TD(T), ParaD(table);
    for (int model : {2, 3, 4}) {
        DeviceArray<double> cp(n), k(n);
        ASSERT_EQ(Tool().CalcCp_Flow(n, model, 6, TD, cp, ParaD, 1), 0);
        ASSERT_EQ(Tool().Calck_Flow(n, model, 6, TD, ParaD, k, 1), 0);
        const auto c = cp.Download(), kk = k.Download();
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(c[i], expected[i], 1e-15 * expected[i]) << "T " << T[i];
            EXPECT_TRUE(rvztest::SameBits(c[i], kk[i]));
            EXPECT_NEAR(*visc::TableProperty(model, 6, table, T[i]), expected[i], 1e-15 * expected[i]);
        }
    }
}

TEST(PropertyTables, ConstantOnePairAndUndefinedModels)
{
    const std::vector<double> T = {20.0, 400.0};
    DeviceArray<double> TD(T), ParaD(std::vector<double>{0.0, 0.0021, 180.0});
    auto run = [&](int model, int N) {
        DeviceArray<double> k(std::vector<double>{-1.0, -1.0});
        EXPECT_EQ(Tool().Calck_Flow(2, model, N, TD, ParaD, k, 1), 0);
        return k.Download();
    };
    EXPECT_EQ(run(1, 2), (std::vector<double>{0.0021, 0.0021}));
    EXPECT_EQ(run(2, 2), (std::vector<double>{0.0021, 0.0021}));  // a one-pair table is a constant
    EXPECT_EQ(run(0, 2), (std::vector<double>{-1.0, -1.0}));
    EXPECT_EQ(run(5, 2), (std::vector<double>{-1.0, -1.0}));
}

// ---------------------------------------------------------------------------
// Mixing and relaxation
// ---------------------------------------------------------------------------

TEST(MixingAndRelaxation, HalfFilledCellsMixHalfAndHalfAndRelaxationBlendsWithTheOldValue)
{
    // Cells: filled at alpha 0.5 (FCRI 0.5), unfilled at 0.2, a viscosity above
    // the top limit, one below visg, a fully filled one.
    const std::vector<double> alpha = {0.5, 0.2, 1.0, 1.0, 1.0};
    const std::vector<double> visnew = {1000.0, 5.0e4, 1e9, 1e-9, 2000.0};
    const std::vector<double> knew = {2.0e4, 2.0e4, 2.0e4, 2.0e4, 3.0e4};
    const double top = 1e6, visg = 0.5, avg = 2000.0, denl = 1.05, deng = 0.0012, mkg = 2.6e3;
    const std::vector<double> old = {7.0, 7.0, 7.0, 7.0, 7.0};
    const std::vector<double> vis = {0.5 * 1000.0 + 0.5 * 1.0, 0.2 * 2000.0 + 0.8 * 20.0, 1e6, 0.5, 2000.0};
    const std::vector<double> den = {0.5 * denl + 0.5 * deng, 0.2 * denl + 0.8 * deng, denl, denl, denl};
    const std::vector<double> mk = {0.5 * 2.0e4 + 0.5 * mkg, 0.2 * 2.0e4 + 0.8 * mkg, 2.0e4, 2.0e4, 3.0e4};
    for (double relax : {1.0, 0.25}) {
        DeviceArray<double> visnewD(visnew), kD(knew), aD(alpha), cpD(5), visD(old), denD(old), mkD(old);
        ASSERT_EQ(Tool().Calc_VisDenMk(5, top, visg, 0.5, avg, relax, denl, deng, mkg, visnewD, cpD, kD, aD, visD,
                                       denD, mkD, 1),
                  0);
        const auto v = visD.Download(), d = denD.Download(), m = mkD.Download();
        for (int i = 0; i < 5; ++i) {
            EXPECT_NEAR(v[i], 7.0 + relax * (vis[i] - 7.0), 1e-12 * vis[i]) << i;
            EXPECT_NEAR(d[i], 7.0 + relax * (den[i] - 7.0), 1e-13) << i;
            EXPECT_NEAR(m[i], 7.0 + relax * (mk[i] - 7.0), 1e-12 * mk[i]) << i;
        }
    }
}

// ---------------------------------------------------------------------------
// Status, reports and the block-size rule
// ---------------------------------------------------------------------------

TEST(MaterialStatus, FailedLaunchIsReportedAndReturnedAndOtherBlockSizesDoNothing)
{
    RVZ_REQUIRE_HOST_BACKEND();
#if !RVZGPU_BACKEND_CUDA
    DeviceArray<double> TD(std::vector<double>{230.0}), one(std::vector<double>{1.0}), P(kPowerLaw);
    DeviceArray<int> hot(std::vector<int>{0});
    DeviceArray<double> visnewD(std::vector<double>{-7.0});
    int status = 0;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().CalcVis_Flow(1, 0, 1, 0, 230.0, 0.5, 0.0, 0.0, 45.0, 2, TD, one, one, one, hot, one, visnewD,
                                     P, 1);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out, std::string("GPU[0:host] CalcVis_Flow failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(visnewD.Download()[0], -7.0);
    EXPECT_EQ(Tool().GPUGetLastError(), 0);  // the check cleared the error

    // A zero grid is a launch the platform rejects: reported with the step's message.
    const std::string rejected =
        rvztest::CaptureOutput([&] { status = Tool().Calc_VisDenMk(1, 1, 1, 0.5, 1, 1, 1, 1, 1, one, one, one, one,
                                                                   visnewD, TD, one, 0); });
    EXPECT_EQ(status, cudaErrorInvalidConfiguration);
    EXPECT_NE(rejected.find("Calc_VisDenMk failed"), std::string::npos);

    EXPECT_EQ(rvz::CalcVis_Flow(128, 1, 0, 1, 0, 230.0, 0.5, 0.0, 0.0, 45.0, 2, TD, one, one, one, hot, one, visnewD,
                                P, 1, 0),
              0);
    EXPECT_EQ(visnewD.Download()[0], -7.0);
#endif
}
