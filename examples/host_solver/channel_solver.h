// Steady laminar flow of a Newtonian fluid through a straight rectangular
// duct, solved by SIMPLEC outer iterations on the RVZGPU facade: gradients,
// momentum assembly with its boundary terms and relaxation, three momentum
// solves, the SIMPLEC factor, the pressure-correction equation with the
// inlet in flow-rate control and the outlet as a vent at zero correction,
// its solve, and the correction of pressure, velocities and face fluxes;
// in a non-isothermal run then the temperature equation and the Cross-WLF
// viscosity at the new temperature and shear rate.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "settings.h"

class CRVZGPUtool;
namespace rvzmesh {
struct Mesh;
}

namespace channel {

enum class Outcome { Converged, NotConverged, Diverged, DeviceFailure };

struct Result {
    Outcome outcome = Outcome::NotConverged;
    std::string message;
    int iterations = 0;
    double continuity = 0.0;      // sum |cell imbalance| / inflow of the last iteration
    double velocityChange = 0.0;  // largest |delta u| / inlet velocity of the last iteration
    double inflow = 0.0, outflow = 0.0;
    // Measured in the developed part of the duct (0.4 .. 0.85 of the length).
    double centreVelocity = 0.0;
    double pressureGradient = 0.0;  // -dp/dx along the centre line
    std::vector<double> u, v, w, p;  // cell values
    std::shared_ptr<const rvzmesh::Mesh> mesh;  // the cells of u, v, w, p (when an output file is wanted)
    // Non-isothermal runs: the temperature (cells) and the largest change of
    // a cell temperature in the last iteration.
    std::vector<double> T;
    double temperatureChange = 0.0;
};

// Runs the case, printing one convergence line per iteration to `log`
// (null: silent); the caller writes the result file.
Result RunChannel(CRVZGPUtool& tool, const Settings& settings, std::FILE* log);

}  // namespace channel
