// Transient filling of a mould cavity by a polymer melt, solved on the
// RVZGPU facade. Melt and air share one velocity and pressure field; their
// viscosity and density are mixed cell by cell by the melt volume fraction.
// Each time step:
//   1. SIMPLEC outer iterations with the implicit Euler time term:
//      gradients, melt and air properties mixed by the volume fraction,
//      momentum assembly and solves, the SIMPLEC factor, the pressure
//      correction with the inlet in flow-rate or pressure control and the
//      outlets and not yet wetted wall faces as vents at zero pressure,
//      its solve and the corrections, until the continuity residual is
//      below the tolerance;
//   2. the volume-fraction step: donor Courant numbers and fill rates of
//      the new fluxes, the upwind equation with its Crank-Nicolson time
//      term and the inlet at melt, solved; CICSAM face values as a deferred
//      correction and a second solve; limiting and snapping, the volume
//      correction that puts the injected volume back into the front cells,
//      the cells behind the front set full, arrival times, the vent flags
//      of the wall faces;
//   3. for a non-isothermal run, the temperature equation with its time
//      term.
//   4. with fibres, the fibre orientation step (fill_fibre.h).
// The time step follows from a target Courant number of the melt cells.
#pragma once

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

class ExtendedVof;
class FibreOrientation;
class Partitioned;

// Critical volume fraction: a cell at or above it counts as filled.
constexpr double kFCRI = 0.5;

// One time step as history.csv records it.
struct StepRecord {
    int step = 0;
    double time = 0.0;             // s, at the end of the step
    double dt = 0.0;               // s
    double filledFraction = 0.0;   // melt volume / cavity volume
    double inletPressure = 0.0;    // MPa, area-weighted mean over the inlet faces
    double flowRate = 0.0;         // cm^3/s through the inlet
    int outerIterations = 0;
    double continuity = 0.0;       // last continuity residual
    double volumeError = 0.0;      // (melt volume - injected volume) / cavity volume, after the correction
    // Wall-clock seconds of the step's stages (the device synchronised at
    // each boundary): SIMPLEC iterations without the property updates, the
    // property updates, the volume-fraction step, the temperature step.
    double flowSeconds = 0.0, propertiesSeconds = 0.0, volumeFractionSeconds = 0.0, temperatureSeconds = 0.0;
    double fibreSeconds = 0.0;  // the fibre step, with its velocity gradients
    int linearIterations = 0;   // of the momentum, pressure-correction and volume-fraction solves
    int solvesAtLimit = 0;      // linear solves of every kind that ended at their iteration limit
};

// Cell fields of the current state (cells 0 .. nCells-1).
struct Fields {
    std::vector<double> volf, u, v, w, p, T, vis, arrival;  // arrival: -1 where not yet filled
    std::vector<double> frontTemperature;  // melt-front temperature, NaN where not yet filled
    std::vector<double> second;  // second-fluid fraction; empty without a second fluid
    std::array<std::vector<double>, 6> fibre;  // orientation xx, yy, zz, xy, xz, yz; empty without fibres
};

// A step that could not be completed: outer iterations that did not reach
// the tolerance, a value that is not finite, or a failed library call.
class StepError : public std::runtime_error {
public:
    enum class Kind { NotConverged, NotFinite, Device };
    StepError(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

// Status of a library call inside a step: a failure ends the step as a
// device failure, naming the call.
inline void Ok(int status, const char* step)
{
    if (status != 0) throw StepError(StepError::Kind::Device, std::string(step) + " returned " + std::to_string(status));
}

class Filling {
public:
    // Uploads the mesh and starts with an empty cavity (melt only in the
    // inlet faces), then solves the flow of that state to choose the first
    // time step. Throws StepError. In a partitioned run `mesh` is the
    // part's (partition->Local()), and `partition` this process's share
    // (fill_partition.h); null for a run on one process.
    Filling(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
            Partitioned* partition = nullptr);
    ~Filling();
    Filling(const Filling&) = delete;
    Filling& operator=(const Filling&) = delete;

    // Advances one time step. Throws StepError.
    StepRecord Step();

    double Time() const;
    double CavityVolume() const;
    double MeltVolume() const;      // sum of volume fraction times cell volume after the last step
    double InjectedVolume() const;  // the integral of the inlet flow rate
    bool Full() const;              // every cell filled, or the melt volume equals the cavity's
    int UnfilledCells() const;
    // The least melt-front temperature of the cells filled so far (NaN:
    // none yet); see fill_front_temperature.h.
    double LowestFrontTemperature() const;
    // Heat capacity per cell of the last extended energy step; empty unless
    // energy = extended.
    std::vector<double> ExtendedHeatCapacity() const;
    const GateStates* Gates() const;  // the extended path's gates, or null
    Fields Download() const;
    // The extended volume-fraction step, null on the basic path.
    const ExtendedVof* Extended() const;
    // The fibre orientation of a case with fibres, else null.
    FibreOrientation* Fibre() const;

private:
    struct State;
    std::unique_ptr<State> s_;
};

enum class Ending { Full, ShortShotPressure, ShortShotStalled, ShortShotTime, StepLimit, Failed };

struct RunResult {
    Ending ending = Ending::Failed;
    StepError::Kind failure = StepError::Kind::Device;  // when Failed
    std::string message;
    double fillTime = 0.0;
    double maxInletPressure = 0.0;  // MPa
    double lowestFrontTemperature = 0.0;  // Celsius, over the filled cells; NaN when none filled
    std::vector<StepRecord> history;
};

// Runs the case to its end, printing a flushed progress line per step to
// `log` (null: silent) and calling `onStep` after each step (may be empty).
RunResult RunFill(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, std::FILE* log,
                  const std::function<void(const Filling&, const StepRecord&)>& onStep,
                  Partitioned* partition = nullptr);

}  // namespace fill
