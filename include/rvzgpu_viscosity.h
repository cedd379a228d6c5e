// Host-side evaluation of the rheological models and property tables that
// CRVZGPUtool::CalcVis_Flow, CalcCp_Flow and Calck_Flow apply on the device.
//
// Plain C++17, header only, no device and no library needed: a host solver
// uses it to print a material's viscosity table or to check its parameters
// before a run, and the tests use it as a second, separately written
// statement of the same formulas.
//
// Units are the library's: CGS (viscosity in poise = 0.1 Pa s, stress and
// pressure in dyn/cm^2 = 0.1 Pa), temperatures in degrees Celsius, and the
// models see the absolute temperature as degrees Celsius + 273.0 (not
// 273.15). Parameter vectors are indexed like the device arrays: entry 0 is
// not read, the model's parameters start at entry 1.
#ifndef RVZGPU_VISCOSITY_H
#define RVZGPU_VISCOSITY_H

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

namespace rvz {
namespace viscosity {

constexpr double kCelsiusToAbsolute = 273.0;

// Process settings that CalcVis_Flow takes as scalars.
struct Settings {
    int RIM_visg = 0;     // 1: evaluate at the reference state (MoldT, rate 10, InitRxnC)
    int lGNF = 1;         // 0: ignore the cell's shear rate (Newtonian flow)
    int MoldingType = 0;  // 2: reactive moulding (no temperature clamp, conversion read)
    double MeltT = 0.0;   // degrees Celsius
    double FCRI = 0.5;    // a cell is filled at or above this volume fraction
    double ShearR_Inlet = 0.0;
    double InitRxnC = 0.0;
    double MoldT = 0.0;   // degrees Celsius
};

// One cell's fields as CalcVis_Flow reads them.
struct Cell {
    double temperature = 0.0;  // degrees Celsius
    double shearRate = 0.0;
    double volumeFraction = 1.0;
    int hotRunner = 0;
    double conversion = 0.0;
    double pressure = 0.0;  // gauge, dyn/cm^2
};

// The state a model is evaluated at.
struct State {
    double T = 0.0;     // absolute: degrees Celsius + 273.0
    double rate = 0.0;  // 1/s
    double C = 0.0;     // conversion
    double p = 0.0;     // gauge pressure, dyn/cm^2
};

namespace detail {

inline double Bound(double x, double lo, double hi) { return std::min(std::max(x, lo), hi); }

// Cross form eta0 / (1 + (eta0 * rate / tau)^(1 - n)), n at least 0.05.
inline double Cross(double eta0, double rate, double tau, double n)
{
    const double index = std::max(n, 0.05);
    return eta0 / (1.0 + std::pow(eta0 * rate / tau, 1.0 - index));
}

inline double Gel(double Cg, double C1, double C2, double C)
{
    const double c = std::min(C, 0.9 * Cg);
    return std::pow(Cg / std::max(Cg - c, 1.0e-30), C1 + C2 * c);
}

// Arrhenius activation capped at 20000 outside (Tm - 30, Tm + 30), the
// prefactor rescaled for continuity at the band edge.
inline void Cap(double T, double MeltT, double& B, double& Tb)
{
    const double Tm = MeltT + kCelsiusToAbsolute;
    const double capped = std::min(Tb, 20000.0);
    for (double edge : {Tm - 30.0, Tm + 30.0}) {
        const bool outside = edge < Tm ? T <= edge : T >= edge;
        if (outside) {
            B *= std::exp((Tb - capped) / edge);
            Tb = capped;
        }
    }
}

inline double PowerLaw(const std::vector<double>& P, const State& s, bool cap, double MeltT)
{
    double B = P[2], Tb = P[3];
    if (cap) Cap(s.T, MeltT, B, Tb);
    const double shift = std::exp(Bound(Tb / s.T, -200.0, 200.0));
    return B * shift * std::pow(s.rate, std::max(P[1], 0.05) - 1.0);
}

inline double ModifiedCross(const std::vector<double>& P, const State& s, bool cap, double MeltT)
{
    double B = P[3], Tb = P[4];
    if (cap) Cap(s.T, MeltT, B, Tb);
    const double eta0 = B * std::exp(Bound(Tb / s.T, -200.0, 200.0));
    return Cross(eta0, s.rate, P[2], P[1]);
}

struct WLF {
    double Tstar, A1, A2;
    double operator()(double x) const { return -A1 * (x - Tstar) / (A2 + x - Tstar + 1.0e-30); }
};

inline WLF MakeWLF(const std::vector<double>& P, const State& s)
{
    const double p = s.p + 1.0e6;
    return WLF{P[4] + P[5] * p, P[6], P[7] + P[5] * p};
}

inline double CrossWLF(const std::vector<double>& P, const State& s, double MeltT)
{
    const WLF f = MakeWLF(P, s);
    const double lnD1 = std::log(P[3]);
    const double Tm = MeltT + kCelsiusToAbsolute;
    const double Tuse = std::max(std::max(s.T, f.Tstar), Tm - 30.0);
    const double atMelt = std::exp(lnD1 + f(Tm));
    const double eta0 = Bound(std::exp(Bound(lnD1 + f(Tuse), -200.0, 200.0)), 0.1 * atMelt, 10.0 * atMelt);
    return Cross(eta0, s.rate, P[2], P[1]);
}

inline double BandedCrossWLF(const std::vector<double>& P, const State& s, double MeltT)
{
    const WLF f = MakeWLF(P, s);
    const double Tm = MeltT + kCelsiusToAbsolute;
    const double T = std::max(s.T, f.Tstar);
    const double at = T < Tm - 20.0 ? Tm - 20.0 : (T > Tm + 20.0 ? Tm + 20.0 : Tm);
    const double atMelt = std::exp(f(Tm));
    return Cross(Bound(std::exp(f(at)), 0.1 * atMelt, 10.0 * atMelt), s.rate, P[2], P[1]);
}

inline double ReactiveFloor(double MeltT, double MoldT) { return 0.7 * MoldT + 0.3 * MeltT + kCelsiusToAbsolute; }

inline double ConversionPowerLaw(const std::vector<double>& P, const State& s, double MeltT, double MoldT)
{
    const double T = std::max(s.T, ReactiveFloor(MeltT, MoldT));
    const double Cg = P[10];
    const double C = std::min(s.C, 0.9 * Cg);
    const double t = std::tan((C - P[11]) * 1.5707963267948966 / Cg);
    const double m = Bound(P[7] * std::exp(P[8] * C + P[9] * t), 0.05, 0.99);
    const double lnEta0 = P[1] + P[2] * C + P[3] * t + (P[4] + P[5] * C + P[6] * t) / T;
    return std::exp(lnEta0) * std::pow(s.rate, m - 1.0);
}

inline double YieldPowerLaw(const std::vector<double>& P, const State& s, double MeltT, double MoldT)
{
    const double T = std::max({s.T, ReactiveFloor(MeltT, MoldT), P[9]});
    const double shift = std::exp(Bound(-P[3] * (T - P[9]) / (P[4] + T - P[9] + 1.0e-30), -50.0, 50.0));
    const double flow = P[2] * Gel(P[7], P[5], P[6], s.C) * shift * std::pow(s.rate, std::max(P[1], 0.05) - 1.0);
    const double yield = P[8] * std::exp(P[10] / (T + 1.0e-30)) / (s.rate + 1.0e-30);
    return flow + yield;
}

}  // namespace detail

// The state of step one of the viscosity update: shear-rate floor and the
// Newtonian switch, temperature clamp, filled/unfilled temperature,
// hot-runner shear rate and the reference state of RIM_visg.
inline State EvaluationState(const Settings& g, const Cell& c)
{
    State s;
    const double rate = std::max(g.lGNF != 0 ? c.shearRate + 1.0e-30 : 1.0e-30, 0.1);
    const bool reactive = g.MoldingType == 2;
    const double Tc = reactive ? c.temperature : detail::Bound(c.temperature, g.MeltT - 100.0, g.MeltT + 50.0);
    const bool filled = c.volumeFraction >= g.FCRI;
    s.T = (filled ? Tc : std::max(g.MeltT, g.MoldT)) + kCelsiusToAbsolute;
    s.rate = c.hotRunner == 1 ? std::max(rate, g.ShearR_Inlet) : rate;
    s.C = reactive ? c.conversion : 0.0;
    s.p = c.pressure;
    if (g.RIM_visg == 1) s = State{g.MoldT + kCelsiusToAbsolute, 10.0, g.InitRxnC, c.pressure};
    return s;
}

// Viscosity of model `model` at state s, or nothing for a model number
// without a formula (the device then leaves the cell's value unchanged).
// P must hold the model's parameters at entries 1 and up.
inline std::optional<double> ModelViscosity(int model, const std::vector<double>& P, const State& s, double MeltT,
                                            double MoldT)
{
    switch (model) {
    case 1: return P[1];
    case 2: return detail::PowerLaw(P, s, false, MeltT);
    case 100: return detail::PowerLaw(P, s, true, MeltT);
    case 4: return detail::ModifiedCross(P, s, false, MeltT);
    case 101: return detail::ModifiedCross(P, s, true, MeltT);
    case 5: return detail::CrossWLF(P, s, MeltT);
    case 102: return detail::BandedCrossWLF(P, s, MeltT);
    case 10: return P[4] * std::exp(P[5] / s.T) * detail::Gel(P[1], P[2], P[3], s.C);
    case 12: {
        const double eta0 = P[4] * std::exp(P[5] / s.T);
        return detail::Cross(eta0, s.rate, P[7], P[6]) * detail::Gel(P[1], P[2], P[3], s.C);
    }
    case 11: return detail::ConversionPowerLaw(P, s, MeltT, MoldT);
    case 13: return detail::YieldPowerLaw(P, s, MeltT, MoldT);
    default: return std::nullopt;
    }
}

// The whole per-cell update of CalcVis_Flow.
inline std::optional<double> CellViscosity(int model, const std::vector<double>& P, const Settings& g, const Cell& c)
{
    return ModelViscosity(model, P, EvaluationState(g, c), g.MeltT, g.MoldT);
}

// Specific heat or conductivity at temperature T (degrees Celsius): model 1
// is the constant P[1]; models 2-4 interpolate linearly in the (value,
// temperature) pairs P[1..N] of ascending temperature, clamped to the
// table's range. Nothing for other models.
inline std::optional<double> TableProperty(int model, int N, const std::vector<double>& P, double T)
{
    if (model == 1) return P[1];
    if (model < 2 || model > 4) return std::nullopt;
    const int pairs = N / 2;
    if (pairs < 2) return P[1];
    auto value = [&](int k) { return P[2 * k + 1]; };
    auto temperature = [&](int k) { return P[2 * k + 2]; };
    T = detail::Bound(T, temperature(0), temperature(pairs - 1));
    int k = 0;
    while (k < pairs - 2 && !(temperature(k) <= T && T <= temperature(k + 1))) ++k;
    const double w = (T - temperature(k)) / (temperature(k + 1) - temperature(k));
    return value(k) + (value(k + 1) - value(k)) * w;
}

// Cross-WLF parameters in SI units (Pa, Pa s, K with 273.15, K/Pa) turned
// into the parameter vector of model 5: stresses and viscosities times 10,
// D3 per dyn/cm^2, and D2 lowered by 0.15 so that T - T* is the same on the
// library's 273.0 scale.
inline std::vector<double> CrossWLFParametersFromSI(double n, double tauStarPa, double D1PaS, double D2K,
                                                   double D3KPerPa, double A1, double A2K)
{
    return {0.0, n, 10.0 * tauStarPa, 10.0 * D1PaS, D2K - 0.15, D3KPerPa / 10.0, A1, A2K};
}

// A material ready for the viscosity update.
struct Material {
    std::string name;
    std::string source;
    int model = 0;
    std::vector<double> parameters;  // entry 0 unused
    double MeltT = 0.0;              // degrees Celsius
    double MoldT = 0.0;              // degrees Celsius
};

// General-purpose polystyrene Styron 678E, Cross-WLF, from the fit of
// Vietri, Sorrentino, Speranza and Pantani, Polym. Eng. Sci. 51 (2011):
// n = 0.252, tau* = 30800 Pa, D1 = 4.76e10 Pa s, D2 = 373.15 K, D3 = 0,
// A1 = 25.7, A2 = 61.06 K. Melt 230 C, mould 45 C.
inline Material PolystyreneStyron678E()
{
    Material m;
    m.name = "PS Styron 678E";
    m.source = "Cross-WLF fit of Vietri et al., Polym. Eng. Sci. 51 (2011)";
    m.model = 5;
    m.parameters = CrossWLFParametersFromSI(0.252, 30800.0, 4.76e10, 373.15, 0.0, 25.7, 61.06);
    m.MeltT = 230.0;
    m.MoldT = 45.0;
    return m;
}

// The viscosity (poise) of a filled cell of `material` at temperature T
// (degrees Celsius), shear rate `rate` and gauge pressure p, with the
// library's clamps applied.
inline double MaterialViscosity(const Material& material, double T, double rate, double p = 0.0)
{
    Settings g;
    g.MeltT = material.MeltT;
    g.MoldT = material.MoldT;
    Cell c;
    c.temperature = T;
    c.shearRate = rate;
    c.pressure = p;
    return CellViscosity(material.model, material.parameters, g, c).value_or(std::nan(""));
}

}  // namespace viscosity
}  // namespace rvz

#endif
