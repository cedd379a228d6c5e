#include "settings.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>
#include <sstream>

#include "case_file.h"
#include "materials.h"

namespace channel {

namespace {

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
        {"material",
         [](Settings& s, const Line& l, const std::string& v) {
             if (FindMaterial(v) == nullptr) l.Fail("unknown material '" + v + "' (known: " + MaterialNames() + ")");
             s.material = v;
         }},
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

// The named material's Cross-WLF constants, each unless the file gives it;
// the keys the table cannot supply must then be in the file.
void ApplyMaterial(Settings& s, const std::map<std::string, int>& lines, const std::string& name)
{
    if (s.material.empty()) return;
    const Material& m = *FindMaterial(s.material);
    const std::pair<const char*, std::pair<double*, double>> constants[] = {
        {"cross_n", {&s.cross_n, m.n}},   {"cross_tau", {&s.cross_tau, m.tau}}, {"cross_d1", {&s.cross_d1, m.d1}},
        {"cross_d2", {&s.cross_d2, m.d2}}, {"cross_a1", {&s.cross_a1, m.a1}},   {"cross_a2", {&s.cross_a2, m.a2}}};
    for (const auto& [key, target] : constants)
        if (lines.count(key) == 0) *target.first = target.second;
    std::vector<std::string> needed = {"density"};
    if (s.thermal == "non-isothermal") needed.insert(needed.end(), {"specific_heat", "conductivity"});
    std::string missing;
    for (const std::string& key : needed)
        if (lines.count(key) == 0) missing += (missing.empty() ? "" : ", ") + key;
    if (!missing.empty())
        Line{name, lines.at("material"), "material"}.Fail("the table holds only the Cross-WLF constants of '" +
                                                           s.material + "'; give " + missing + " in the file");
}

}  // namespace

Settings ParseSettings(const std::string& text, const std::string& name)
{
    Settings settings;
    const std::map<std::string, int> seen = ParseKeyValues(
        text, name, [](const std::string& key) { return Setters().count(key) != 0; },
        [&settings](const Line& at, const std::string& value) {
            Setters().at(at.key)(settings, at, value);
            settings.line[at.key] = at.number;
        });
    settings.source = name;
    CheckTemperatures(settings, seen, name);
    ApplyMaterial(settings, seen, name);
    return settings;
}

Settings ReadSettings(const std::string& path) { return ParseSettings(ReadCaseFile(path), path); }

std::string CaseName(const Settings& settings)
{
    const std::string stem = std::filesystem::path(settings.source).stem().string();
    return stem.empty() ? "channel" : stem;
}

std::string OutputPath(const Settings& settings)
{
    if (settings.output == "none") return "";
    return settings.output.empty() ? CaseName(settings) + ".vtu" : settings.output;
}

namespace {

// Failures of the pre-run checks name the line of the first of `keys` the
// file gave, or the built-in case.
[[noreturn]] void FailAt(const Settings& s, std::initializer_list<const char*> keys, const std::string& what)
{
    for (const char* key : keys) {
        const auto given = s.line.find(key);
        if (given != s.line.end()) Line{s.source, given->second, key}.Fail(what);
    }
    const std::string where = s.source.empty() ? "built-in case" : s.source;
    throw SettingsError(where + ": key '" + *keys.begin() + "' (default): " + what);
}

// Host memory of a run per cell, measured on the host backend (peak
// resident size over the cell count at 57 600 hexahedra and 79 380
// tetrahedra, rounded up): fields, faces, boundary lists, the ELL matrix
// and the mesh toolkit's arrays.
constexpr double kBytesPerHexahedron = 2560.0;
constexpr double kBytesPerTetrahedron = 1536.0;

void CheckMesh(const Settings& s)
{
    const bool tets = s.cells == "tetrahedra";
    const double boxesExact = static_cast<double>(s.nx) * s.ny * s.nz;
    const double cells = boxesExact * (tets ? 6.0 : 1.0);
    const double nodes = (s.nx + 1.0) * (s.ny + 1.0) * (s.nz + 1.0);
    // Rows padded to 256, and 7 ELL columns a row (a hexahedron's diagonal
    // and six neighbours; a tetrahedron needs fewer).
    const double ellEntries = std::ceil(cells / 256.0) * 256.0 * 7.0;
    const double faces = tets ? 12.0 * boxesExact : 3.0 * boxesExact;
    const double limit = static_cast<double>(INT_MAX);
    if (nodes > limit || ellEntries > limit || faces > limit)
        FailAt(s, {"nx", "ny", "nz"},
               std::to_string(s.nx) + " x " + std::to_string(s.ny) + " x " + std::to_string(s.nz) +
                   (tets ? " boxes of six tetrahedra" : " hexahedra") +
                   " are more than the library's 32-bit indices hold (" + Number(cells) + " cells, " +
                   Number(ellEntries) + " matrix entries; at most " + std::to_string(INT_MAX) + ")");
    const double bytes = cells * (tets ? kBytesPerTetrahedron : kBytesPerHexahedron);
    const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    const double have = pages > 0 && pageSize > 0 ? static_cast<double>(pages) * static_cast<double>(pageSize) : 0.0;
    if (have > 0.0 && bytes > have)
        FailAt(s, {"nx", "ny", "nz"},
               Number(cells) + " cells need about " + Number(bytes / 1073741824.0) +
                   " GiB of memory; this machine has " + Number(have / 1073741824.0) + " GiB");
}

void CheckGeometry(const Settings& s)
{
    const double dx = s.length / s.nx, dy = s.width / s.ny, dz = s.height / s.nz;
    if (!std::isfinite(s.length * s.width * s.height))
        FailAt(s, {"length", "width", "height"}, "the duct's volume overflows a double");
    // Face areas times distances and their quotients must stay normal numbers.
    if (!(dx * dy * dz >= 1e-200))
        FailAt(s, {"length", "width", "height", "nx", "ny", "nz"},
               "cells of " + Number(dx) + " x " + Number(dy) + " x " + Number(dz) + " are too small to compute with");
    const double largest = std::max({dx, dy, dz}), smallest = std::min({dx, dy, dz});
    if (largest > 1e6 * smallest)
        FailAt(s, {"length", "width", "height", "nx", "ny", "nz"},
               "cells of " + Number(dx) + " x " + Number(dy) + " x " + Number(dz) +
                   " are more than a million times longer than wide");
    const double hydraulic = 2.0 * s.width * s.height / (s.width + s.height);
    if (!std::isfinite(s.density * s.inlet_velocity * hydraulic / s.viscosity))
        FailAt(s, {"viscosity", "density", "inlet_velocity"}, "the Reynolds number overflows a double");
}

void CheckOutput(const Settings& s)
{
    const std::string path = OutputPath(s);
    if (path.empty()) return;
    namespace fs = std::filesystem;
    std::error_code error;
    if (fs::is_directory(path, error)) FailAt(s, {"output"}, "'" + path + "' is a directory");
    if (!s.source.empty() && fs::exists(path, error) && fs::equivalent(path, s.source, error))
        FailAt(s, {"output"}, "'" + path + "' is the input file itself");
    const bool existed = fs::exists(path, error);
    std::FILE* probe = std::fopen(path.c_str(), "a");
    if (probe == nullptr) FailAt(s, {"output"}, "cannot write '" + path + "': " + std::strerror(errno));
    std::fclose(probe);
    if (!existed) std::remove(path.c_str());
}

}  // namespace

void CheckBeforeRun(const Settings& settings)
{
    CheckMesh(settings);
    CheckGeometry(settings);
    CheckOutput(settings);
}

}  // namespace channel
