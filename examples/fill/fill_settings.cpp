#include "fill_settings.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <queue>
#include <vector>

#include "fill_extended_flow.h"
#include "materials.h"

namespace fill {

namespace {

using channel::AtLeast;
using channel::Line;
using channel::NotNegative;
using channel::Positive;
using channel::Relaxation;
using channel::ToDouble;
using channel::ToInt;
using rvzmesh::BoundaryKind;

using Setter = std::function<void(FillSettings&, const Line&, const std::string&)>;

Setter Real(double FillSettings::*field, double (*check)(const Line&, double))
{
    return [field, check](FillSettings& s, const Line& l, const std::string& v) { s.*field = check(l, ToDouble(l, v)); };
}
double AnyReal(const Line&, double v) { return v; }

Setter Count(int FillSettings::*field, int lowest)
{
    return [field, lowest](FillSettings& s, const Line& l, const std::string& v) {
        s.*field = AtLeast(l, ToInt(l, v), lowest);
    };
}

Setter Switch(int FillSettings::*field)
{
    return [field](FillSettings& s, const Line& l, const std::string& v) {
        const int on = ToInt(l, v);
        if (on != 0 && on != 1) l.Fail("must be 0 or 1");
        s.*field = on;
    };
}

Setter Choice(std::string FillSettings::*field, std::vector<std::string> allowed)
{
    return [field, allowed](FillSettings& s, const Line& l, const std::string& v) {
        std::string list;
        for (const std::string& a : allowed) {
            if (a == v) {
                s.*field = v;
                return;
            }
            list += (list.empty() ? "" : ", ") + a;
        }
        l.Fail("must be one of " + list);
    };
}

// Items of a list value: "a b, c d, ..." as pairs of words.
std::vector<std::pair<std::string, std::string>> Pairs(const Line& l, const std::string& v)
{
    std::vector<std::pair<std::string, std::string>> items;
    size_t start = 0;
    while (start <= v.size()) {
        const size_t end = std::min(v.find(',', start), v.size());
        const std::string item = channel::Trim(v.substr(start, end - start));
        const size_t gap = item.find_first_of(" \t");
        if (item.empty() || gap == std::string::npos) l.Fail("'" + item + "' is not a pair of two values");
        const std::string second = channel::Trim(item.substr(gap));
        if (second.find_first_of(" \t") != std::string::npos) l.Fail("'" + item + "' is not a pair of two values");
        items.emplace_back(item.substr(0, gap), second);
        start = end + 1;
    }
    return items;
}

// "T cp, T cp, ...": at least two pairs, temperatures strictly increasing,
// heat capacities positive.
void HeatCapacityTable(FillSettings& s, const Line& l, const std::string& v)
{
    s.energy_specific_heat_table.clear();
    for (const auto& [T, cp] : Pairs(l, v)) {
        const double t = ToDouble(l, T), c = Positive(l, ToDouble(l, cp));
        if (!s.energy_specific_heat_table.empty() && !(t > s.energy_specific_heat_table.back().first))
            l.Fail("the temperatures must increase: " + channel::Number(t) + " follows " +
                   channel::Number(s.energy_specific_heat_table.back().first));
        s.energy_specific_heat_table.emplace_back(t, c);
    }
    if (s.energy_specific_heat_table.size() < 2) l.Fail("a table needs at least two (temperature, heat capacity) pairs");
}

// "group value, group value, ...", each group once.
Setter GroupValues(std::vector<std::pair<std::string, double>> FillSettings::*field, double (*check)(const Line&, double))
{
    return [field, check](FillSettings& s, const Line& l, const std::string& v) {
        (s.*field).clear();
        for (const auto& [group, value] : Pairs(l, v)) {
            for (const auto& given : s.*field)
                if (given.first == group) l.Fail("group '" + group + "' is given twice");
            (s.*field).emplace_back(group, check(l, ToDouble(l, value)));
        }
    };
}

// Six tensor components xx yy zz xy xz yz separated by blanks: a
// diagonal in [0, 1] summing to 1, off-diagonal components in [-0.5, 0.5].
void FibreInlet(FillSettings& s, const Line& l, const std::string& v)
{
    std::vector<std::string> words;
    size_t at = 0;
    while ((at = v.find_first_not_of(" \t", at)) != std::string::npos) {
        const size_t end = v.find_first_of(" \t", at);
        words.push_back(v.substr(at, end == std::string::npos ? std::string::npos : end - at));
        at = end;
    }
    if (words.size() != 6) l.Fail("needs six components xx yy zz xy xz yz, got " + std::to_string(words.size()));
    double a[6];
    for (int k = 0; k < 6; ++k) a[k] = ToDouble(l, words[k]);
    for (int k = 0; k < 3; ++k)
        if (!(a[k] >= 0.0 && a[k] <= 1.0)) l.Fail("the diagonal components must lie in [0, 1]");
    for (int k = 3; k < 6; ++k)
        if (!(a[k] >= -0.5 && a[k] <= 0.5)) l.Fail("the off-diagonal components must lie in [-0.5, 0.5]");
    const double trace = a[0] + a[1] + a[2];
    if (std::fabs(trace - 1.0) > 1e-6) l.Fail("the trace xx + yy + zz is " + channel::Number(trace) + ", not 1");
    for (int k = 0; k < 6; ++k) s.fibre_inlet[k] = k < 3 ? a[k] / trace : a[k];
}

const std::map<std::string, Setter>& Setters()
{
    static const std::map<std::string, Setter> setters = {
        {"geometry", Choice(&FillSettings::geometry, {"plate", "strip", "strip2", "disk", "gmsh"})},
        {"mesh", [](FillSettings& s, const Line&, const std::string& v) { s.mesh = v, s.geometry = "gmsh"; }},
        {"length", Real(&FillSettings::length, Positive)},
        {"width", Real(&FillSettings::width, Positive)},
        {"thickness", Real(&FillSettings::thickness, Positive)},
        {"nx", Count(&FillSettings::nx, 1)},
        {"ny", Count(&FillSettings::ny, 1)},
        {"nz", Count(&FillSettings::nz, 1)},
        {"gate_width", Real(&FillSettings::gate_width, NotNegative)},
        {"radius", Real(&FillSettings::radius, Positive)},
        {"gate_radius", Real(&FillSettings::gate_radius, Positive)},
        {"sector_angle",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const double a = ToDouble(l, v);
             if (!(a > 0.0 && a <= 90.0)) l.Fail("must lie in (0, 90]");
             s.sector_angle = a;
         }},
        {"viscosity_model", Choice(&FillSettings::viscosity_model, {"newtonian", "cross-wlf"})},
        {"viscosity", Real(&FillSettings::viscosity, Positive)},
        {"density", Real(&FillSettings::density, Positive)},
        {"material",
         [](FillSettings& s, const Line& l, const std::string& v) {
             if (channel::FindMaterial(v) == nullptr)
                 l.Fail("unknown material '" + v + "' (known: " + channel::MaterialNames() + ")");
             s.material = v;
         }},
        {"cross_n",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const double n = ToDouble(l, v);
             if (!(n >= 0.0 && n < 1.0)) l.Fail("must lie in [0, 1)");
             s.cross_n = n;
         }},
        {"cross_tau", Real(&FillSettings::cross_tau, Positive)},
        {"cross_d1", Real(&FillSettings::cross_d1, Positive)},
        {"cross_d2", Real(&FillSettings::cross_d2, Positive)},
        {"cross_a1", Real(&FillSettings::cross_a1, Positive)},
        {"cross_a2", Real(&FillSettings::cross_a2, Positive)},
        {"air_density", Real(&FillSettings::air_density, Positive)},
        {"air_viscosity", Real(&FillSettings::air_viscosity, Positive)},
        {"thermal", Choice(&FillSettings::thermal, {"isothermal", "non-isothermal"})},
        {"melt_temperature", Real(&FillSettings::melt_temperature, AnyReal)},
        {"mould_temperature", Real(&FillSettings::mould_temperature, AnyReal)},
        {"conductivity", Real(&FillSettings::conductivity, Positive)},
        {"specific_heat", Real(&FillSettings::specific_heat, Positive)},
        {"heat_transfer", Real(&FillSettings::heat_transfer, NotNegative)},
        {"viscous_heating", Switch(&FillSettings::viscous_heating)},
        {"inlet", Choice(&FillSettings::inlet, {"flow_rate", "pressure"})},
        {"flow_rate", Real(&FillSettings::flow_rate, Positive)},
        {"inlet_pressure", Real(&FillSettings::inlet_pressure, Positive)},
        {"pressure_limit", Real(&FillSettings::pressure_limit, Positive)},
        {"stall_fraction", Real(&FillSettings::stall_fraction, Positive)},
        {"max_time", Real(&FillSettings::max_time, Positive)},
        {"courant",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const double c = ToDouble(l, v);
             if (!(c > 0.0 && c <= 2.0)) l.Fail("must lie in (0, 2]");
             s.courant = c;
         }},
        {"max_steps", Count(&FillSettings::max_steps, 1)},
        {"tolerance", Real(&FillSettings::tolerance, Positive)},
        {"max_outer_iterations", Count(&FillSettings::max_outer_iterations, 1)},
        {"relax_velocity", Real(&FillSettings::relax_velocity, Relaxation)},
        {"relax_pressure", Real(&FillSettings::relax_pressure, Relaxation)},
        {"cicsam", Switch(&FillSettings::cicsam)},
        {"output_dir", [](FillSettings& s, const Line&, const std::string& v) { s.output_dir = v; }},
        {"output_interval", Real(&FillSettings::output_interval, NotNegative)},
        {"energy", Choice(&FillSettings::energy, {"basic", "extended"})},
        {"energy_specific_heat_table", HeatCapacityTable},
        {"energy_wall_heat_transfer", GroupValues(&FillSettings::energy_wall_heat_transfer, NotNegative)},
        {"energy_hot_runner", GroupValues(&FillSettings::energy_hot_runner, AnyReal)},
        {"vof_path", Choice(&FillSettings::vof_path, {"basic", "extended"})},
        {"vof_scheme",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const int k = ToInt(l, v);
             if (k < 1 || k > 4)
                 l.Fail("unknown scheme " + std::to_string(k) + " (1 CICSAM, 2 MCICSAM, 3 HRIC, 4 MHRIC)");
             s.vof_scheme = k;
         }},
        {"vof_method",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const int k = ToInt(l, v);
             if (k < 0 || k > 4) l.Fail("unknown flux method " + std::to_string(k) + " (0 to 4)");
             s.vof_method = k;
         }},
        {"vof_gamma",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const double g = ToDouble(l, v);
             if (!(g >= 0.0 && g <= 1.0)) l.Fail("must lie in [0, 1]");
             s.vof_gamma = g;
         }},
        {"vof_ce_bound", Real(&FillSettings::vof_ce_bound, Positive)},
        {"second_fluid", Choice(&FillSettings::second_fluid, {"none", "gas", "water"})},
        {"second_fluid_gates", [](FillSettings& s, const Line&, const std::string& v) { s.second_fluid_gates = v; }},
        {"second_fluid_start_time", Real(&FillSettings::second_fluid_start_time, NotNegative)},
        {"second_fluid_start_fraction", Real(&FillSettings::second_fluid_start_fraction, NotNegative)},
        {"flow_path", Choice(&FillSettings::flow_path, {"basic", "extended"})},
        // Fibre orientation.
        {"fibre",
         [](FillSettings& s, const Line& l, const std::string& v) {
             if (v != "on" && v != "off") l.Fail("must be on or off");
             s.fibre = v == "on" ? 1 : 0;
         }},
        {"fibre_interaction", Real(&FillSettings::fibre_interaction, NotNegative)},
        {"fibre_aspect_ratio",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const double r = ToDouble(l, v);
             if (!(r >= 1.0)) l.Fail("must be at least 1");
             s.fibre_aspect_ratio = r;
         }},
        {"fibre_closure",
         [](FillSettings& s, const Line& l, const std::string& v) {
             const int c = ToInt(l, v);
             if (c < 1 || c > 4) l.Fail("unknown closure " + v + " (1 linear, 2 quadratic, 3 hybrid, 4)");
             s.fibre_closure = c;
         }},
        {"fibre_inlet", FibreInlet},
    };
    return setters;
}

// A named material's Cross-WLF constants, each unless the file gives it.
void ApplyMaterial(FillSettings& s, const std::map<std::string, int>& lines)
{
    if (s.material.empty()) return;
    const channel::Material& m = *channel::FindMaterial(s.material);
    const std::pair<const char*, std::pair<double*, double>> constants[] = {
        {"cross_n", {&s.cross_n, m.n}},   {"cross_tau", {&s.cross_tau, m.tau}}, {"cross_d1", {&s.cross_d1, m.d1}},
        {"cross_d2", {&s.cross_d2, m.d2}}, {"cross_a1", {&s.cross_a1, m.a1}},   {"cross_a2", {&s.cross_a2, m.a2}}};
    for (const auto& [key, target] : constants)
        if (lines.count(key) == 0) *target.first = target.second;
    if (lines.count("viscosity_model") == 0) s.viscosity_model = "cross-wlf";
}

}  // namespace

[[noreturn]] void FailAt(const FillSettings& s, std::initializer_list<const char*> keys, const std::string& what)
{
    for (const char* key : keys) {
        const auto given = s.line.find(key);
        if (given != s.line.end()) Line{s.source, given->second, key}.Fail(what);
    }
    const std::string where = s.source.empty() ? "built-in case" : s.source;
    throw SettingsError(where + ": key '" + *keys.begin() + "' (default): " + what);
}

FillSettings ParseFillSettings(const std::string& text, const std::string& name)
{
    FillSettings s;
    const std::map<std::string, int> seen = channel::ParseKeyValues(
        text, name, [](const std::string& key) { return Setters().count(key) != 0 || IsExtendedKey(key); },
        [&s](const Line& at, const std::string& value) {
            if (Setters().count(at.key) == 0)
                ApplyExtendedKey(s.extended, at, value);
            else
                Setters().at(at.key)(s, at, value);
            s.line[at.key] = at.number;
        });
    s.source = name;
    ApplyMaterial(s, seen);
    FinishExtendedSettings(s.extended, name, seen);
    for (const auto& [key, line] : seen)
        if (IsExtendedKey(key) && s.flow_path != "extended")
            Line{name, line, key}.Fail("needs flow_path = extended");
    if (s.geometry == "gmsh" && s.mesh.empty()) FailAt(s, {"geometry"}, "geometry gmsh needs the key 'mesh'");
    if (s.second_fluid != "none") {
        if (s.vof_path != "extended")
            FailAt(s, {"second_fluid", "vof_path"}, "a second fluid needs vof_path = extended");
        if (s.second_fluid_gates.find_first_not_of(" \t,") == std::string::npos)
            FailAt(s, {"second_fluid_gates", "second_fluid"}, "a second fluid needs the inlet groups it enters through");
        if (s.line.count("second_fluid_start_time") == 0 && s.line.count("second_fluid_start_fraction") == 0)
            FailAt(s, {"second_fluid"}, "a second fluid needs second_fluid_start_time or second_fluid_start_fraction");
    }
    if (!(s.mould_temperature <= s.melt_temperature))
        FailAt(s, {"mould_temperature", "melt_temperature"}, "the mould temperature lies above the melt temperature");
    if (s.energy == "extended" && s.thermal != "non-isothermal")
        FailAt(s, {"energy"}, "the extended energy step needs thermal = non-isothermal");
    for (const char* key : {"energy_specific_heat_table", "energy_wall_heat_transfer", "energy_hot_runner"})
        if (s.line.count(key) != 0 && s.energy != "extended") FailAt(s, {key}, "is read only with energy = extended");
    return s;
}

FillSettings ReadFillSettings(const std::string& path)
{
    return ParseFillSettings(channel::ReadCaseFile(path), path);
}

std::string CaseName(const FillSettings& s)
{
    const std::string stem = std::filesystem::path(s.source).stem().string();
    return stem.empty() ? "plate" : stem;
}

std::string InletDescription(const FillSettings& s)
{
    using channel::Number;
    const auto control = [](bool pressure, double p, double q) {
        return pressure ? Number(p) + " MPa" : Number(q) + " cm^3/s";
    };
    if (s.flow_path != "extended" || s.extended.gates.empty())
        return control(s.inlet == "pressure", s.inlet_pressure, s.flow_rate);
    std::string text;
    for (const GateSetting& g : s.extended.gates) {
        if (!text.empty()) text += ", ";
        text += g.name + " " + control(g.control == GateControl::Pressure, g.pressure, g.flow_rate);
        if (g.opening == GateOpening::AtTime) text += " from " + Number(g.open_time) + " s";
        if (g.opening == GateOpening::AtFront)
            text += " from the front at (" + Number(g.point[0]) + ", " + Number(g.point[1]) + ", " +
                    Number(g.point[2]) + ") cm";
    }
    return text;
}

std::string OutputDir(const FillSettings& s)
{
    if (s.output_dir == "none") return "";
    return s.output_dir.empty() ? CaseName(s) + "_fill" : s.output_dir;
}

namespace {

namespace fs = std::filesystem;

// The mesh file as the case file names it: relative to the case file's
// folder.
std::string MeshPath(const FillSettings& s)
{
    if (s.mesh.empty() || fs::path(s.mesh).is_absolute() || s.source.empty()) return s.mesh;
    return (fs::path(s.source).parent_path() / s.mesh).string();
}

bool Same(const fs::path& a, const fs::path& b)
{
    std::error_code error;
    return fs::exists(a, error) && fs::exists(b, error) && fs::equivalent(a, b, error);
}

void CheckOutput(const FillSettings& s)
{
    const std::string dir = OutputDir(s);
    if (dir.empty()) return;
    // The files the run writes, against the inputs it reads.
    const std::string name = CaseName(s);
    std::vector<fs::path> inputs;
    if (!s.source.empty()) inputs.push_back(s.source);
    if (!s.mesh.empty()) inputs.push_back(MeshPath(s));
    for (const fs::path& input : inputs) {
        const char* what = input == fs::path(s.source) ? "the case file" : "the mesh file";
        if (Same(dir, input)) FailAt(s, {"output_dir"}, "'" + dir + "' is " + what);
        const std::string file = input.filename().string();
        const bool written = file == "history.csv" || file == "arrival.csv" || file == name + ".pvd" ||
                             (file.rfind(name + "_", 0) == 0 && input.extension() == ".vtu");
        if (written && Same(input.parent_path().empty() ? "." : input.parent_path(), dir))
            FailAt(s, {"output_dir"}, "the run would overwrite " + std::string(what) + " '" + input.string() + "'");
    }
    std::error_code error;
    fs::create_directories(dir, error);
    if (!fs::is_directory(dir, error)) FailAt(s, {"output_dir"}, "cannot create the folder '" + dir + "'");
    const std::string probe = (fs::path(dir) / ".rvzgpu-fill-probe").string();
    std::FILE* f = std::fopen(probe.c_str(), "w");
    if (f == nullptr) FailAt(s, {"output_dir"}, "cannot write into '" + dir + "': " + std::strerror(errno));
    std::fclose(f);
    std::remove(probe.c_str());
}

}  // namespace

void CheckSettings(const FillSettings& s)
{
    if (s.inlet == "pressure" && s.pressure_limit < s.inlet_pressure)
        FailAt(s, {"pressure_limit", "inlet_pressure"},
               "the pressure limit " + channel::Number(s.pressure_limit) + " MPa lies below the starting inlet pressure " +
                   channel::Number(s.inlet_pressure) + " MPa");
    if (s.geometry == "disk" && !(s.gate_radius < s.radius))
        FailAt(s, {"gate_radius", "radius"}, "the gate radius must lie below the radius");
    if (s.geometry != "gmsh") {
        const double cells = static_cast<double>(s.nx) * s.ny * s.nz;
        if (cells > 2.0e8) FailAt(s, {"nx", "ny", "nz"}, channel::Number(cells) + " cells are more than this program runs");
    }
    CheckOutput(s);
}

namespace {

rvzmesh::MeshInput Generate(const FillSettings& s)
{
    rvzmesh::BoxOptions box;
    box.nx = s.nx, box.ny = s.ny, box.nz = s.nz;
    box.lx = s.length, box.ly = s.width, box.lz = s.thickness;
    const BoundaryKind W = BoundaryKind::Wall, S = BoundaryKind::Symmetry, I = BoundaryKind::Inlet;
    if (s.geometry == "strip") {
        box.sides = {I, W, S, S, W, W};
        // The wall z = thickness is the group wall_top.
        rvzmesh::MeshInput in = rvzmesh::MakeBox(box);
        const int top = in.Group("wall_top");
        in.faceGroup.resize(in.faceKind.size(), -1);
        for (size_t f = 0; f < in.faceKind.size(); ++f) {
            bool onTop = in.faceKind[f] == W;
            for (int k = in.faceStart[f]; k < in.faceStart[f + 1]; ++k)
                onTop = onTop && std::fabs(in.z[in.faceNodes[k]] - s.thickness) < 1e-12 * s.thickness;
            if (onTop) in.faceGroup[f] = top;
        }
        return in;
    }
    if (s.geometry == "strip2") {
        // A gate at each end: the inlet groups inlet_left and inlet_right.
        box.sides = {I, I, S, S, W, W};
        rvzmesh::MeshInput in = rvzmesh::MakeBox(box);
        const int left = in.Group("inlet_left"), right = in.Group("inlet_right");
        in.faceGroup.resize(in.faceKind.size(), -1);
        for (size_t f = 0; f < in.faceKind.size(); ++f) {
            if (in.faceKind[f] != I) continue;
            const double x = in.x[in.faceNodes[in.faceStart[f]]];
            in.faceGroup[f] = x < 0.5 * s.length ? left : right;
        }
        return in;
    }
    if (s.geometry == "disk") {
        // The box [gate_radius, radius] x [0, angle] x [0, thickness] in
        // cylindrical coordinates (r, theta, z).
        box.x0 = s.gate_radius, box.lx = s.radius - s.gate_radius;
        box.ly = s.sector_angle * M_PI / 180.0;
        box.sides = {I, W, S, S, W, W};
        rvzmesh::MeshInput in = rvzmesh::MakeBox(box);
        for (size_t k = 0; k < in.x.size(); ++k) {
            const double r = in.x[k], theta = in.y[k];
            in.x[k] = r * std::cos(theta), in.y[k] = r * std::sin(theta);
        }
        return in;
    }
    box.sides = {I, W, W, W, W, W};
    rvzmesh::MeshInput in = rvzmesh::MakeBox(box);
    if (s.gate_width > 0.0 && s.gate_width < s.width) {
        // The edge gate: inlet faces of the x = 0 edge whose centre lies
        // within gate_width/2 of the edge's middle; the rest is wall.
        for (size_t f = 0; f < in.faceKind.size(); ++f) {
            if (in.faceKind[f] != I) continue;
            double y = 0.0;
            const int n = in.faceStart[f + 1] - in.faceStart[f];
            for (int k = in.faceStart[f]; k < in.faceStart[f + 1]; ++k) y += in.y[in.faceNodes[k]] / n;
            if (std::fabs(y - 0.5 * s.width) > 0.5 * s.gate_width) in.faceKind[f] = W;
        }
    }
    return in;
}

// Is a wall or outlet face reachable from the inlet cells through the
// interior faces?
bool AirCanLeave(const rvzmesh::Mesh& m)
{
    std::vector<std::vector<int>> next(m.nCells);
    for (int f = 0; f < m.nFaces; ++f) next[m.ijP[f]].push_back(m.ijE[f]), next[m.ijE[f]].push_back(m.ijP[f]);
    std::vector<char> vent(m.nCells, 0), seen(m.nCells, 0);
    for (BoundaryKind k : {BoundaryKind::Wall, BoundaryKind::Outlet})
        for (int c : m.list(k).cell) vent[c] = 1;
    std::queue<int> todo;
    for (int c : m.list(BoundaryKind::Inlet).cell)
        if (!seen[c]) seen[c] = 1, todo.push(c);
    while (!todo.empty()) {
        const int c = todo.front();
        todo.pop();
        if (vent[c]) return true;
        for (int e : next[c])
            if (!seen[e]) seen[e] = 1, todo.push(e);
    }
    return false;
}

}  // namespace

rvzmesh::Mesh BuildCaseMesh(const FillSettings& s)
{
    rvzmesh::Mesh mesh;
    const bool file = s.geometry == "gmsh";
    const char* key = file ? "mesh" : "geometry";
    try {
        mesh = rvzmesh::BuildMesh(file ? rvzmesh::ReadGmsh(MeshPath(s)) : Generate(s));
    } catch (const rvzmesh::MeshError& e) {
        FailAt(s, {key}, e.what());
    }
    const std::string what = file ? "'" + s.mesh + "'" : "the " + s.geometry;
    if (mesh.list(BoundaryKind::Inlet).size() == 0) FailAt(s, {key}, what + " has no face in an 'inlet' group");
    if (s.flow_path == "extended") CheckExtendedMesh(s, mesh);
    if (!AirCanLeave(mesh))
        FailAt(s, {key}, what + ": no wall or outlet face can be reached from the inlet, so the air has no way out");
    CheckExtendedEnergyGroups(s, mesh);
    return mesh;
}

void CheckExtendedEnergyGroups(const FillSettings& s, const rvzmesh::Mesh& mesh)
{
    const rvzmesh::BoundaryList& wall = mesh.list(BoundaryKind::Wall);
    std::vector<char> isWall(mesh.groupNames.size(), 0);
    for (int g : wall.group)
        if (g >= 0 && g < static_cast<int>(isWall.size())) isWall[g] = 1;
    std::string walls;
    for (size_t g = 0; g < isWall.size(); ++g)
        if (isWall[g]) walls += (walls.empty() ? "" : ", ") + mesh.groupNames[g];
    const std::pair<const char*, const std::vector<std::pair<std::string, double>>*> keys[] = {
        {"energy_wall_heat_transfer", &s.energy_wall_heat_transfer}, {"energy_hot_runner", &s.energy_hot_runner}};
    for (const auto& [key, groups] : keys)
        for (const auto& [name, value] : *groups) {
            const int g = mesh.GroupIndex(name);
            if (g < 0 || !isWall[g])
                FailAt(s, {key}, "the mesh has no wall group '" + name + "' (wall groups: " +
                                     (walls.empty() ? "none" : walls) + ")");
        }
}

}  // namespace fill
