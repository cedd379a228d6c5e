#include "settings.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

namespace channel {

namespace {

std::string Trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos) return "";
    const size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

struct Line {
    const std::string& file;
    int number;
    std::string key;
    [[noreturn]] void Fail(const std::string& what) const
    {
        throw SettingsError(file + ":" + std::to_string(number) + ": key '" + key + "': " + what);
    }
};

double ToDouble(const Line& at, const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || errno == ERANGE || !std::isfinite(value))
        at.Fail("'" + text + "' is not a finite number");
    return value;
}

int ToInt(const Line& at, const std::string& text)
{
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || errno == ERANGE || value < -2147483647L || value > 2147483647L)
        at.Fail("'" + text + "' is not an integer");
    return static_cast<int>(value);
}

double Positive(const Line& at, double v)
{
    if (!(v > 0.0)) at.Fail("must be positive");
    return v;
}

double Relaxation(const Line& at, double v)
{
    if (!(v > 0.0 && v <= 1.0)) at.Fail("must lie in (0, 1]");
    return v;
}

int AtLeast(const Line& at, int v, int lowest)
{
    if (v < lowest) at.Fail("must be at least " + std::to_string(lowest));
    return v;
}

using Setter = std::function<void(Settings&, const Line&, const std::string&)>;

const std::map<std::string, Setter>& Setters()
{
    static const std::map<std::string, Setter> setters = {
        {"nx", [](Settings& s, const Line& l, const std::string& v) { s.nx = AtLeast(l, ToInt(l, v), 2); }},
        {"ny", [](Settings& s, const Line& l, const std::string& v) { s.ny = AtLeast(l, ToInt(l, v), 1); }},
        {"nz", [](Settings& s, const Line& l, const std::string& v) { s.nz = AtLeast(l, ToInt(l, v), 1); }},
        {"length", [](Settings& s, const Line& l, const std::string& v) { s.length = Positive(l, ToDouble(l, v)); }},
        {"width", [](Settings& s, const Line& l, const std::string& v) { s.width = Positive(l, ToDouble(l, v)); }},
        {"height", [](Settings& s, const Line& l, const std::string& v) { s.height = Positive(l, ToDouble(l, v)); }},
        {"density", [](Settings& s, const Line& l, const std::string& v) { s.density = Positive(l, ToDouble(l, v)); }},
        {"viscosity",
         [](Settings& s, const Line& l, const std::string& v) { s.viscosity = Positive(l, ToDouble(l, v)); }},
        {"inlet_velocity",
         [](Settings& s, const Line& l, const std::string& v) { s.inlet_velocity = Positive(l, ToDouble(l, v)); }},
        {"relax_velocity",
         [](Settings& s, const Line& l, const std::string& v) { s.relax_velocity = Relaxation(l, ToDouble(l, v)); }},
        {"relax_pressure",
         [](Settings& s, const Line& l, const std::string& v) { s.relax_pressure = Relaxation(l, ToDouble(l, v)); }},
        {"gamma",
         [](Settings& s, const Line& l, const std::string& v) {
             const double g = ToDouble(l, v);
             if (!(g >= 0.0 && g <= 1.0)) l.Fail("must lie in [0, 1]");
             s.gamma = g;
         }},
        {"tolerance",
         [](Settings& s, const Line& l, const std::string& v) { s.tolerance = Positive(l, ToDouble(l, v)); }},
        {"max_iterations",
         [](Settings& s, const Line& l, const std::string& v) { s.max_iterations = AtLeast(l, ToInt(l, v), 1); }},
        {"output", [](Settings& s, const Line&, const std::string& v) { s.output = v; }},
        {"cells",
         [](Settings& s, const Line& l, const std::string& v) {
             if (v != "hexahedra" && v != "tetrahedra") l.Fail("must be hexahedra or tetrahedra");
             s.cells = v;
         }},
        // Temperature and the Cross-WLF melt.
        {"thermal",
         [](Settings& s, const Line& l, const std::string& v) {
             if (v != "isothermal" && v != "non-isothermal") l.Fail("must be isothermal or non-isothermal");
             s.thermal = v;
         }},
        {"melt_temperature", [](Settings& s, const Line& l, const std::string& v) { s.melt_temperature = ToDouble(l, v); }},
        {"mould_temperature",
         [](Settings& s, const Line& l, const std::string& v) { s.mould_temperature = ToDouble(l, v); }},
        {"heat_transfer",
         [](Settings& s, const Line& l, const std::string& v) {
             const double h = ToDouble(l, v);
             if (h < 0.0) l.Fail("must not be negative");
             s.heat_transfer = h;
         }},
        {"conductivity",
         [](Settings& s, const Line& l, const std::string& v) { s.conductivity = Positive(l, ToDouble(l, v)); }},
        {"specific_heat",
         [](Settings& s, const Line& l, const std::string& v) { s.specific_heat = Positive(l, ToDouble(l, v)); }},
        {"viscous_heating",
         [](Settings& s, const Line& l, const std::string& v) {
             const int on = ToInt(l, v);
             if (on != 0 && on != 1) l.Fail("must be 0 or 1");
             s.viscous_heating = on;
         }},
        {"cross_n",
         [](Settings& s, const Line& l, const std::string& v) {
             const double n = ToDouble(l, v);
             if (!(n >= 0.0 && n < 1.0)) l.Fail("must lie in [0, 1)");
             s.cross_n = n;
         }},
        {"cross_tau", [](Settings& s, const Line& l, const std::string& v) { s.cross_tau = Positive(l, ToDouble(l, v)); }},
        {"cross_d1", [](Settings& s, const Line& l, const std::string& v) { s.cross_d1 = Positive(l, ToDouble(l, v)); }},
        {"cross_d2", [](Settings& s, const Line& l, const std::string& v) { s.cross_d2 = Positive(l, ToDouble(l, v)); }},
        {"cross_a1", [](Settings& s, const Line& l, const std::string& v) { s.cross_a1 = Positive(l, ToDouble(l, v)); }},
        {"cross_a2", [](Settings& s, const Line& l, const std::string& v) { s.cross_a2 = Positive(l, ToDouble(l, v)); }},
    };
    return setters;
}

// A mould hotter than the melt is refused at the later of the two keys.
void CheckTemperatures(const Settings& s, const std::map<std::string, int>& lines, const std::string& name)
{
    if (!(s.mould_temperature > s.melt_temperature)) return;
    const auto melt = lines.find("melt_temperature"), mould = lines.find("mould_temperature");
    const int meltLine = melt == lines.end() ? 0 : melt->second;
    const int mouldLine = mould == lines.end() ? 0 : mould->second;
    const bool mouldLater = mouldLine >= meltLine;
    Line at{name, mouldLater ? mouldLine : meltLine, mouldLater ? "mould_temperature" : "melt_temperature"};
    at.Fail("the mould temperature lies above the melt temperature");
}

}  // namespace

Settings ParseSettings(const std::string& text, const std::string& name)
{
    Settings settings;
    std::map<std::string, int> seen;  // key -> its line
    std::istringstream in(text);
    std::string raw;
    int number = 0;
    while (std::getline(in, raw)) {
        ++number;
        const std::string line = Trim(raw.substr(0, raw.find('#')));
        if (line.empty()) continue;
        const size_t eq = line.find('=');
        Line at{name, number, Trim(line.substr(0, eq))};
        if (at.key.empty())
            throw SettingsError(name + ":" + std::to_string(number) + ": expected 'key = value', got '" + line + "'");
        const auto setter = Setters().find(at.key);
        if (setter == Setters().end()) at.Fail("unknown key");
        if (eq == std::string::npos) at.Fail("missing '=' and value");
        const std::string value = Trim(line.substr(eq + 1));
        if (value.empty()) at.Fail("missing value");
        if (!seen.emplace(at.key, number).second) at.Fail("given twice");
        setter->second(settings, at, value);
    }
    CheckTemperatures(settings, seen, name);
    return settings;
}

Settings ReadSettings(const std::string& path)
{
    std::ifstream file(path);
    if (!file) throw SettingsError(path + ": cannot open the input file");
    std::ostringstream text;
    text << file.rdbuf();
    return ParseSettings(text.str(), path);
}

}  // namespace channel
