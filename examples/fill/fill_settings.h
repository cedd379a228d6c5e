// Settings of rvzgpu-fill and their case file (the format of
// examples/common/case_file.h: "key = value" lines, '#' comments). Units
// are CGS (cm, g, s, poise, dyn/cm^2) with temperatures in degrees Celsius
// and the pressures of the case file in MPa (1 MPa = 1e7 dyn/cm^2).
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "case_file.h"
#include "fill_gates.h"
#include "rvzgpu_mesh/Mesh.h"

namespace fill {

using channel::SettingsError;

struct FillSettings {
    // Geometry: "plate" (a rectangular plate [0, length] x [0, width] x [0,
    // thickness] fed through an edge gate of gate_width centred on the
    // x = 0 edge; 0 or at least width: the whole edge), "strip" (the same
    // box with the whole x = 0 end as the inlet, the y sides symmetry
    // planes: a slit flow between z = 0 and z = thickness), or "gmsh"
    // (the Gmsh MSH 4.1 file `mesh` with physical surfaces inlet, outlet,
    // wall, symmetry). Giving `mesh` selects gmsh. "disk": a sector of a
    // thin disk, radius gate_radius .. radius, angle sector_angle degrees,
    // of thickness, fed through its inner rim (the centre gate), the two
    // cut faces symmetry planes; nx cells along the radius, ny around.
    // "strip2": the strip with a gate at each end, the inlet groups
    // inlet_left (x = 0) and inlet_right (x = length).
    std::string geometry = "plate";
    std::string mesh;
    double length = 10.0, width = 5.0, thickness = 0.2;
    int nx = 30, ny = 15, nz = 4;
    double gate_width = 2.0;
    double radius = 5.0, gate_radius = 0.5, sector_angle = 30.0;

    // Melt: Newtonian of `viscosity`, or Cross-WLF (the cross_* constants,
    // or a named grade with `material`). Density in g/cm^3.
    std::string viscosity_model = "newtonian";
    double viscosity = 1000.0;  // poise
    double density = 1.0;
    std::string material;
    // Cross-WLF defaults: the constants of ps-styron-678e (materials.h).
    double cross_n = 0.252, cross_tau = 3.08e5, cross_d1 = 4.76e11, cross_d2 = 373.15, cross_a1 = 25.7,
           cross_a2 = 61.06;
    // Air: density and the least viscosity the mixing allows.
    double air_density = 1.2e-3;
    double air_viscosity = 1.8e-4;

    // Temperatures (Celsius) and the energy step of non-isothermal runs.
    std::string thermal = "isothermal";
    double melt_temperature = 230.0;
    double mould_temperature = 50.0;
    double conductivity = 1.5e4;    // erg/(s cm K)
    double specific_heat = 1.8e7;   // erg/(g K)
    double heat_transfer = 0.0;     // erg/(s cm^2 K); 0: the mould wall at its temperature
    int viscous_heating = 1;

    // Extended energy step (fill_extended_energy.h), non-isothermal runs
    // only: energy = basic (constant heat capacity, one heat-transfer
    // coefficient) or extended, whose extras are a heat capacity per cell
    // from a table of (temperature, heat capacity) pairs in increasing
    // temperature (empty: specific_heat everywhere), a heat-transfer
    // coefficient per wall boundary group (the other walls keep
    // heat_transfer) and hot-runner wall groups held at a set temperature.
    std::string energy = "basic";
    std::vector<std::pair<double, double>> energy_specific_heat_table;   // (Celsius, erg/(g K))
    std::vector<std::pair<std::string, double>> energy_wall_heat_transfer;  // (group, erg/(s cm^2 K))
    std::vector<std::pair<std::string, double>> energy_hot_runner;          // (group, Celsius)

    // Inlet: "flow_rate" (constant volume flow rate, cm^3/s) or "pressure"
    // (constant inlet pressure, MPa). The run stops as a short shot when
    // the inlet pressure passes pressure_limit (MPa) or, at constant
    // pressure, when the flow rate falls below stall_fraction of its mean
    // since the start or the time passes max_time.
    std::string inlet = "flow_rate";
    double flow_rate = 20.0;
    double inlet_pressure = 10.0;
    double pressure_limit = 100.0;
    double stall_fraction = 1e-3;
    double max_time = 1.0e30;

    // Time step from the target Courant number of the melt cells; SIMPLEC
    // outer iterations per step until the continuity residual (sum of
    // |cell imbalance| over the inflow) is below tolerance.
    double courant = 0.5;
    int max_steps = 100000;
    double tolerance = 1e-4;
    int max_outer_iterations = 200;
    double relax_velocity = 0.7;
    double relax_pressure = 1.0;
    // Interface sharpening: the CICSAM face values as a deferred
    // correction of the upwind volume-fraction equation (1), or none (0).
    int cicsam = 1;

    // Extended volume fraction (fill_extended_vof.h): vof_path "basic" (the
    // steps above) or "extended": the interface-capturing scheme
    // vof_scheme (1 CICSAM, 2 MCICSAM, 3 HRIC, 4 MHRIC), the flux method
    // vof_method (0-4: which front statistics come back), the weight
    // vof_gamma of the scheme's deferred correction, the front band
    // vof_ce_bound; the run ends when no cell lies below the critical
    // fraction.
    std::string vof_path = "basic";
    int vof_scheme = 1;
    int vof_method = 0;
    double vof_gamma = 1.0;
    double vof_ce_bound = 0.3;
    // Second fluid (extended path only): "none", "gas" or "water",
    // injected through the inlet groups second_fluid_gates (names,
    // comma-separated) from the first step that starts at or after
    // second_fluid_start_time (s) or with a filled fraction at or above
    // second_fluid_start_fraction.
    std::string second_fluid = "none";
    std::string second_fluid_gates;
    double second_fluid_start_time = 1.0e30;
    double second_fluid_start_fraction = 2.0;
    // Fibre orientation (fill_fibre.h): `fibre` on or off; the Folgar-Tucker
    // interaction coefficient (>= 0), the fibres' aspect ratio (>= 1), the
    // closure of the fourth-order tensor (1 linear, 2 quadratic, 3 hybrid,
    // 4 the fourth form of the library), and the orientation of the melt
    // entering at the inlet, six components xx yy zz xy xz yz with trace 1,
    // the diagonal in [0, 1] and the rest in [-0.5, 0.5].
    int fibre = 0;
    double fibre_interaction = 0.01;
    double fibre_aspect_ratio = 20.0;
    int fibre_closure = 3;
    double fibre_inlet[6] = {1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 0.0, 0.0, 0.0};

    // Output: a .vtu per output_interval seconds of filling (0: every step)
    // with a .pvd series, history.csv and arrival.csv, in output_dir
    // (default: the case name with "_fill"); "none": no files.
    std::string output_dir;
    double output_interval = 0.05;

    // Flow path: "basic", or "extended" (fill_extended_flow.h) with its
    // gates, switch-over, packing, compressible melt and air-pressure
    // vents (fill_gates.h); their keys need flow_path = extended.
    std::string flow_path = "basic";
    ExtendedFlowSettings extended;

    // Where the settings came from (empty: the built-in case) and the line
    // of each key the file gave.
    std::string source;
    std::map<std::string, int> line;
};

FillSettings ReadFillSettings(const std::string& path);
FillSettings ParseFillSettings(const std::string& text, const std::string& name);

// The case name: the file's name without folder and extension, "plate"
// for the built-in case.
std::string CaseName(const FillSettings& s);
// The output folder, empty for none.
std::string OutputDir(const FillSettings& s);
// The inlet control of the start line: the inlet pressure or flow rate,
// or on the extended flow path with gates each gate's control and opening
// rule, e.g. "left 0.4 cm^3/s, right 0.4 cm^3/s from the front at (2.25,
// 0.25, 0.05) cm".
std::string InletDescription(const FillSettings& s);

// Refuses, naming the file, the line and the key (SettingsError), what can
// be found before the first step: a pressure limit below the starting
// inlet pressure, an output folder that cannot be written (checked by
// creating a probe file in it), an output that would overwrite the mesh
// file or the case file.
void CheckSettings(const FillSettings& s);

// The mesh of the case: generated, or read from the Gmsh file. Refuses a
// mesh without inlet faces and one where no wall or outlet face can be
// reached from the inlet through the cells (the air would have no way out);
// errors of the mesh file come as SettingsError naming the key 'mesh'.
rvzmesh::Mesh BuildCaseMesh(const FillSettings& s);

// Refuses, at the key's line, extended-energy groups that `mesh` lacks or
// that are not wall groups (BuildCaseMesh calls it).
void CheckExtendedEnergyGroups(const FillSettings& s, const rvzmesh::Mesh& mesh);

// A failure at the line of the first of `keys` the file gave, or at the
// built-in default.
[[noreturn]] void FailAt(const FillSettings& s, std::initializer_list<const char*> keys, const std::string& what);

}  // namespace fill
