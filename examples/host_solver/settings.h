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
};

class SettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
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
