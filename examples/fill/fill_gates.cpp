#include "fill_gates.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <set>
#include <sstream>

namespace fill {

namespace {

using channel::Line;

std::vector<std::string> Names(const Line& at, const std::string& value)
{
    std::vector<std::string> names;
    std::string item;
    std::istringstream in(value);
    while (std::getline(in, item, ',')) {
        item = channel::Trim(item);
        if (item.empty()) at.Fail("an empty name in the list");
        for (char c : item)
            if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) at.Fail("'" + item + "' is not a name");
        names.push_back(item);
    }
    return names;
}

// "gate_<name>_<what>": the gate's name and what, or false.
bool SplitGateKey(const std::string& key, std::string& name, std::string& what)
{
    static const char* whats[] = {"control", "flow_rate", "pressure", "open"};
    if (key.rfind("gate_", 0) != 0) return false;
    for (const char* w : whats) {
        const std::string tail = std::string("_") + w;
        if (key.size() > 5 + tail.size() && key.compare(key.size() - tail.size(), tail.size(), tail) == 0) {
            name = key.substr(5, key.size() - 5 - tail.size());
            what = w;
            return true;
        }
    }
    return false;
}

GateSetting& GateNamed(ExtendedFlowSettings& s, const std::string& name)
{
    for (GateSetting& g : s.gates)
        if (g.name == name) return g;
    s.gates.push_back(GateSetting{});
    s.gates.back().name = name;
    return s.gates.back();
}

void ApplyGateKey(GateSetting& g, const Line& at, const std::string& what, const std::string& value)
{
    g.line[what] = at.number;
    if (what == "control") {
        if (value == "flow_rate")
            g.control = GateControl::FlowRate;
        else if (value == "pressure")
            g.control = GateControl::Pressure;
        else
            at.Fail("must be one of flow_rate, pressure");
    } else if (what == "flow_rate") {
        g.flow_rate = channel::Positive(at, channel::ToDouble(at, value));
    } else if (what == "pressure") {
        g.pressure = channel::Positive(at, channel::ToDouble(at, value));
    } else {
        std::istringstream in(value);
        std::string rule, extra;
        in >> rule;
        if (rule == "always") {
            g.opening = GateOpening::Always;
        } else if (rule == "time") {
            std::string t;
            in >> t;
            g.opening = GateOpening::AtTime;
            g.open_time = channel::NotNegative(at, channel::ToDouble(at, t));
        } else if (rule == "front") {
            g.opening = GateOpening::AtFront;
            for (double& c : g.point) {
                std::string t;
                if (!(in >> t)) at.Fail("'front' needs the point's three coordinates");
                c = channel::ToDouble(at, t);
            }
        } else {
            at.Fail("must be 'always', 'time <s>' or 'front <x> <y> <z>'");
        }
        if (in >> extra) at.Fail("unexpected '" + extra + "' after the rule");
    }
}

}  // namespace

bool IsExtendedKey(const std::string& key)
{
    static const std::set<std::string> keys = {"gates",
                                               "switch_over_fraction",
                                               "holding_pressure",
                                               "pack_time",
                                               "compressibility",
                                               "drho_dp",
                                               "tait_b",
                                               "tait_c",
                                               "drho_dT",
                                               "vent_air_pressure",
                                               "vent_groups",
                                               "compression_wall",
                                               "compression_speed",
                                               "compression_start",
                                               "compression_stroke",
                                               "gravity",
                                               "momentum_gamma",
                                               "surface_tension"};
    std::string name, what;
    return keys.count(key) != 0 || SplitGateKey(key, name, what);
}

void ApplyExtendedKey(ExtendedFlowSettings& s, const Line& at, const std::string& value)
{
    const std::string& k = at.key;
    std::string name, what;
    if (k == "gates") {
        for (const std::string& n : Names(at, value)) GateNamed(s, n).line["listed"] = at.number;
    } else if (SplitGateKey(k, name, what)) {
        ApplyGateKey(GateNamed(s, name), at, what, value);
    } else if (k == "switch_over_fraction") {
        const double f = channel::ToDouble(at, value);
        if (!(f > 0.0 && f <= 1.0)) at.Fail("the switch-over fraction must lie in (0, 1]");
        s.switch_over_fraction = f;
    } else if (k == "holding_pressure") {
        s.holding_pressure = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "pack_time") {
        s.pack_time = channel::NotNegative(at, channel::ToDouble(at, value));
    } else if (k == "compressibility") {
        if (value != "none" && value != "constant" && value != "tait") at.Fail("must be one of none, constant, tait");
        s.compressibility = value;
    } else if (k == "drho_dp") {
        s.drho_dp = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "tait_b") {
        s.tait_b = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "tait_c") {
        s.tait_c = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "drho_dT") {
        s.drho_dT = channel::ToDouble(at, value);
    } else if (k == "vent_air_pressure") {
        s.vent_air_pressure = channel::ToDouble(at, value);
    } else if (k == "vent_groups") {
        s.vent_groups = Names(at, value);
    } else if (k == "compression_wall") {
        const std::vector<std::string> names = Names(at, value);
        if (names.size() != 1) at.Fail("names one wall group");
        s.compression_wall = names[0];
    } else if (k == "compression_speed") {
        s.compression_speed = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "compression_start") {
        s.compression_start = channel::NotNegative(at, channel::ToDouble(at, value));
    } else if (k == "compression_stroke") {
        s.compression_stroke = channel::Positive(at, channel::ToDouble(at, value));
    } else if (k == "gravity") {
        std::istringstream in(value);
        std::string word;
        int count = 0;
        while (in >> word) {
            if (count == 3) at.Fail("needs three numbers, x y z in cm/s^2");
            s.gravity[count++] = channel::ToDouble(at, word);
        }
        if (count != 3) at.Fail("needs three numbers, x y z in cm/s^2");
    } else if (k == "momentum_gamma") {
        const double g = channel::ToDouble(at, value);
        if (!(g >= 0.0 && g <= 1.0)) at.Fail("must lie in [0, 1]");
        s.momentum_gamma = g;
    } else if (k == "surface_tension") {
        s.surface_tension = channel::NotNegative(at, channel::ToDouble(at, value));
    }
}

void FinishExtendedSettings(ExtendedFlowSettings& s, const std::string& file, const std::map<std::string, int>& lines)
{
    for (const GateSetting& g : s.gates) {
        const auto at = [&](const std::string& what) {
            return Line{file, g.line.at(what), "gate_" + g.name + "_" + what};
        };
        if (g.line.count("listed") == 0)
            at(g.line.begin()->first).Fail("gate '" + g.name + "' is not listed in 'gates'");
        if (g.control == GateControl::FlowRate && g.line.count("flow_rate") == 0)
            Line{file, g.line.at("listed"), "gates"}.Fail("gate '" + g.name + "' under flow-rate control needs gate_" +
                                                          g.name + "_flow_rate");
        if (g.control == GateControl::Pressure && g.line.count("pressure") == 0)
            Line{file, g.line.at("listed"), "gates"}.Fail("gate '" + g.name + "' under pressure control needs gate_" +
                                                          g.name + "_pressure");
    }
    if (s.switch_over_fraction > 0.0 && lines.count("holding_pressure") == 0)
        Line{file, lines.at("switch_over_fraction"), "switch_over_fraction"}.Fail(
            "a switch-over needs holding_pressure");
    for (const char* key : {"compression_speed", "compression_stroke"})
        if (!s.compression_wall.empty() && lines.count(key) == 0)
            Line{file, lines.at("compression_wall"), "compression_wall"}.Fail(std::string("a moving wall needs ") +
                                                                              key);
    if (s.compressibility == "constant" && lines.count("drho_dp") == 0)
        Line{file, lines.at("compressibility"), "compressibility"}.Fail("constant compressibility needs drho_dp");
}

double DensityDerivative(const ExtendedFlowSettings& s, double rho0, double p)
{
    constexpr double kDynPerMPa = 1.0e7;
    if (s.compressibility == "constant") return s.drho_dp / kDynPerMPa;
    if (s.compressibility == "tait") {
        // rho = rho0 / (1 - C ln(1 + p/B)): d rho/dp = rho0 C / ((B + p) (1 - C ln(1 + p/B))^2).
        const double B = s.tait_b * kDynPerMPa, q = std::max(p, 0.0);
        const double den = 1.0 - s.tait_c * std::log1p(q / B);
        return rho0 * s.tait_c / ((B + q) * den * den);
    }
    return 0.0;
}

GateStates::GateStates(std::vector<GateSetting> gates)
    : gates_(std::move(gates)), open_(gates_.size(), 0), control_(gates_.size()), pressure_(gates_.size())
{
    for (size_t g = 0; g < gates_.size(); ++g) {
        control_[g] = gates_[g].control;
        pressure_[g] = gates_[g].pressure;
    }
}

bool GateStates::Open(double time, const std::function<bool(int)>& filledAt)
{
    bool opened = false;
    for (int g = 0; g < size(); ++g) {
        if (open_[g]) continue;
        const GateSetting& s = gates_[g];
        const bool now = s.opening == GateOpening::Always ||
                         (s.opening == GateOpening::AtTime && time >= s.open_time) ||
                         (s.opening == GateOpening::AtFront && filledAt(g));
        if (now) open_[g] = 1, opened = true;
    }
    return opened;
}

bool GateStates::SwitchOver(double filledFraction, double fraction, double holding)
{
    if (switched_ || fraction <= 0.0 || filledFraction < fraction) return false;
    switched_ = true;
    for (int g = 0; g < size(); ++g)
        if (control_[g] == GateControl::FlowRate) control_[g] = GateControl::Pressure, pressure_[g] = holding;
    return true;
}

}  // namespace fill
