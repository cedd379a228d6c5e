// Gates of rvzgpu-fill's extended flow path: each gate is one inlet group
// of the mesh with its own control (a volume flow rate or a pressure) and
// its own opening rule, and the settings of the path (switch-over to a
// holding pressure, packing with a compressible melt, vents from the air
// pressure). GateStates holds the gates' state through a run; it is plain
// host logic, tested on its own.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "case_file.h"

namespace fill {

enum class GateControl { FlowRate, Pressure };
// Always open; open from a given time; open once the melt reaches a point
// (the cell holding the point is filled): sequential valve gating.
enum class GateOpening { Always, AtTime, AtFront };

struct GateSetting {
    std::string name;  // the mesh's inlet group, "inlet_<name>" or "<name>"
    GateControl control = GateControl::FlowRate;
    double flow_rate = 0.0;  // cm^3/s
    double pressure = 0.0;   // MPa
    GateOpening opening = GateOpening::Always;
    double open_time = 0.0;             // s, AtTime
    double point[3] = {0.0, 0.0, 0.0};  // cm, AtFront
    std::map<std::string, int> line;    // line of each of its keys ("gate_<name>_<what>")
};

// Settings of the extended flow path (flow_path = extended).
struct ExtendedFlowSettings {
    // Gates in the order of the key `gates`; none: one gate of every inlet
    // face under the case's `inlet` control.
    std::vector<GateSetting> gates;
    // Switch-over: at this filled fraction every flow-rate gate changes to
    // the holding pressure (MPa); a negative fraction: no switch-over.
    double switch_over_fraction = -1.0;
    double holding_pressure = 0.0;
    // Packing: seconds the run goes on at the gates' pressures after the
    // cavity is full.
    double pack_time = 0.0;
    // Compressible melt: none, constant d rho/dp (g/cm^3 per MPa), or the
    // Tait form rho(p) = rho0 / (1 - C ln(1 + p/B)) (B in MPa), whose
    // derivative the solver takes at each cell's pressure. drho_dT (g/cm^3
    // per K) times each step's temperature change is the thermal term.
    std::string compressibility = "none";
    double drho_dp = 0.0;
    double tait_b = 200.0, tait_c = 0.0894;
    double drho_dT = 0.0;
    // Vents from the air pressure: a wall face of an unfilled cell vents
    // while its air pressure (MPa, gauge) is not negative; vent_groups
    // names the wall groups that carry vent_air_pressure (empty: every
    // wall face), the other wall faces do not vent. A negative
    // vent_air_pressure: the vents of the basic path.
    double vent_air_pressure = -1.0;
    std::vector<std::string> vent_groups;
    // Injection-compression: the wall group compression_wall ("wall_<name>"
    // or "<name>") moves into the cavity at compression_speed (cm/s) from
    // compression_start (s) for compression_stroke (cm). On the fixed mesh
    // its wetted faces carry a melt inflow of the speed times their area.
    std::string compression_wall;
    double compression_speed = 0.0, compression_start = 0.0, compression_stroke = 0.0;
    // Momentum (fill_extended_momentum.h): gravity (cm/s^2, x y z) acting
    // on the melt, and the weight of the deferred correction of the face
    // values in [0, 1] (0: upwind).
    double gravity[3] = {0.0, 0.0, 0.0};
    double momentum_gamma = 0.0;
    // Surface tension of the melt front (dyn/cm; 0: none), a continuum
    // surface force in the momentum sources (fill_extended_momentum.h).
    double surface_tension = 0.0;
};

// Reads one key of the extended flow path into `s` (gates, gate_<name>_*,
// switch_over_fraction, holding_pressure, pack_time, compressibility,
// drho_dp, tait_b, tait_c, drho_dT, vent_air_pressure, vent_groups,
// compression_wall, compression_speed, compression_start,
// compression_stroke, gravity, momentum_gamma, surface_tension);
// returns false for a key that is not one of them. `value` is refused at
// `at` when it is malformed.
bool IsExtendedKey(const std::string& key);
void ApplyExtendedKey(ExtendedFlowSettings& s, const channel::Line& at, const std::string& value);
// After the whole file: refuses gate keys of gates not listed in `gates`,
// a gate without its value, at the line of the key. `lines`: each key's
// line.
void FinishExtendedSettings(ExtendedFlowSettings& s, const std::string& file, const std::map<std::string, int>& lines);

// The density derivative d rho/dp (g/cm^3 per dyn/cm^2) at the gauge
// pressure p (dyn/cm^2) and the density rho0 at zero pressure.
double DensityDerivative(const ExtendedFlowSettings& s, double rho0, double p);

class GateStates {
public:
    explicit GateStates(std::vector<GateSetting> gates);
    int size() const { return static_cast<int>(gates_.size()); }
    const GateSetting& gate(int g) const { return gates_[g]; }
    bool open(int g) const { return open_[g] != 0; }
    GateControl control(int g) const { return control_[g]; }
    double pressure(int g) const { return pressure_[g]; }  // MPa, under pressure control
    bool switched() const { return switched_; }

    // Opens every closed gate whose rule holds at `time`; `filledAt(g)`
    // says whether the melt has reached gate g's point (asked only for
    // closed front-rule gates). Gates stay open once opened. Returns
    // whether any gate opened.
    bool Open(double time, const std::function<bool(int)>& filledAt);
    // At or above `fraction` filled, every flow-rate gate changes to
    // pressure control at `holding` MPa, once. Returns whether it did.
    bool SwitchOver(double filledFraction, double fraction, double holding);

private:
    std::vector<GateSetting> gates_;
    std::vector<char> open_;
    std::vector<GateControl> control_;
    std::vector<double> pressure_;
    bool switched_ = false;
};

}  // namespace fill
