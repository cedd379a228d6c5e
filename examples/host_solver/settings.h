// Settings of the channel solver and their input file.
//
// The input file holds one "key = value" per line; '#' starts a comment,
// blank lines are ignored, keys are the field names below. Every key is
// optional (the defaults are the built-in case); a key may appear once.
// A line without '=' is refused as such ("nx 10": missing '=').
// A bad file is refused with SettingsError naming the file, the line and
// the key.
#pragma once

#include <map>
#include <stdexcept>
#include <string>

#include "case_file.h"

namespace channel {

struct Settings {
    // Mesh: a straight duct [0, length] x [0, width] x [0, height] of
    // nx x ny x nz hexahedra, or of the same boxes each split into six
    // tetrahedra (cells = tetrahedra); inlet at x = 0, outlet at x = length,
    // walls on the four other sides. Odd ny and nz put hexahedra on the
    // centre line.
    int nx = 24, ny = 15, nz = 15;
    std::string cells = "hexahedra";
    double length = 4.0, width = 1.0, height = 1.0;
    // Newtonian fluid and inflow (CGS units in the library's setting; any
    // consistent units work).
    double density = 1.0;
    double viscosity = 1.0;
    double inlet_velocity = 1.0;
    // SIMPLEC: under-relaxation of the momentum equations and of the
    // pressure correction, each in (0, 1]; gamma blends upwind (0) with
    // central (1) convection through the deferred correction.
    double relax_velocity = 0.8;
    double relax_pressure = 1.0;
    double gamma = 0.0;
    // Stop when the continuity residual (sum |imbalance| / inflow) and the
    // largest velocity change per iteration (over the inlet velocity) are
    // both below tolerance; give up after max_iterations.
    double tolerance = 1e-7;
    int max_iterations = 500;
    // VTK XML file (.vtu) of the result: cell fields velocity (a vector)
    // and p, the data set named after the case. Empty: the case name with
    // ".vtu" in the current folder; "none": no file.
    std::string output;

    // Where the settings came from: the input file (empty: the built-in
    // case) and the line of each key it gave.
    std::string source;
    std::map<std::string, int> line;

    // Temperature. "isothermal": the Newtonian viscosity above, no
    // temperature field. "non-isothermal": after each flow step the
    // temperature equation is solved (inlet at melt_temperature, walls at
    // mould_temperature through the conduction coefficient, or in series
    // with the heat-transfer coefficient heat_transfer when it is positive,
    // viscous heating when viscous_heating = 1), and the viscosity follows
    // the Cross-WLF model at each cell's temperature and shear rate.
    // Temperatures in degrees Celsius; the mould may not be hotter than the
    // melt.
    std::string thermal = "isothermal";
    double melt_temperature = 230.0;
    double mould_temperature = 50.0;
    double heat_transfer = 0.0;
    double conductivity = 0.01;
    double specific_heat = 1.0;
    int viscous_heating = 1;
    // Cross-WLF constants: eta = eta0/(1 + (eta0 gamma-dot/tau)^(1-n)),
    // eta0 = D1 exp(-A1 (T - D2)/(A2 + T - D2)), T absolute (Celsius +
    // 273.0), D2 and A2 in kelvin. The defaults give eta0 = 1 at 230 C with
    // little shear thinning at the example's rates.
    //
    // `material = NAME` takes the six constants of a named grade from the
    // table in materials.h (CGS: tau in dyn/cm^2, D1 in poise); a cross_*
    // key the file also gives overrides that constant, wherever it stands.
    // The table holds no thermal data, so a file naming a material must
    // give density and, for a non-isothermal run, specific_heat and
    // conductivity as well. An unknown name is refused with the known ones.
    std::string material;
    double cross_n = 0.35;
    double cross_tau = 100.0;
    double cross_d1 = 1.65e6;
    double cross_d2 = 373.0;
    double cross_a1 = 20.0;
    double cross_a2 = 51.6;
};

// Reads the file; throws SettingsError ("file:line: key 'k': problem"),
// also for a directory or an unreadable file.
Settings ReadSettings(const std::string& path);
// The same from text already in memory; `name` stands for the file.
Settings ParseSettings(const std::string& text, const std::string& name);

// The case's name: the input file's name without folder and extension,
// "channel" for the built-in case.
std::string CaseName(const Settings& settings);
// The result file: `output`, or the case name with ".vtu"; empty for none.
std::string OutputPath(const Settings& settings);

// What can be checked before the first iteration, each refused with
// SettingsError naming the file, the line and the key (or the built-in
// case): a mesh beyond 32-bit indices or beyond this machine's memory,
// cells too small, too flat or too large to compute with, a Reynolds
// number that overflows, and an output file that is the input file, a
// directory, or cannot be written (checked by opening it for appending; a
// file that did not exist is removed again).
void CheckBeforeRun(const Settings& settings);

}  // namespace channel
