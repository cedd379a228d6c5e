// The melt-front temperature of rvzgpu-fill: the temperature the advancing
// front carries into each cell, taken when the cell fills.
//
// Each step, after the volume fraction and the temperature, a scalar F is
// transported over the step by the face volume fluxes alone (first-order
// upwind, implicit Euler, no diffusion, no heat capacity), with inflow at
// the inlet temperature:
//   V (F - F_old)/dt + sum over inflow faces |q| (F - F_upwind) = 0,
// where F_old is the temperature of the energy step in the cells filled at
// the start of the step (the melt behind the front; the inlet temperature
// in isothermal runs) and the previous F elsewhere (ahead of the front).
// F starts at the inlet temperature. A cell whose volume fraction crosses
// the critical value during the step takes its F as its melt-front
// temperature, once. Each value is a weighted mean of older values and the
// inlet's, so F stays within the range of the temperatures it is fed.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

class FrontTemperature {
public:
    // Solves the step's system A x = b to a relative tolerance (device
    // arrays of the mesh's ELL pattern and rows; x holds the old values).
    using Solver = std::function<void(double* A, double* b, double* x, double tol)>;
    // Without `solve`, BiCGSTAB_ELL on the mesh's rows; a partitioned run
    // gives the distributed solve of its part.
    FrontTemperature(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
                     double inletTemperature, double fcri, Solver solve = {});
    ~FrontTemperature();
    FrontTemperature(const FrontTemperature&) = delete;
    FrontTemperature& operator=(const FrontTemperature&) = delete;

    // One step of length dt: fluxD the interior face volume fluxes (P to
    // E), fluxInletD the inlet ones (out of the domain, negative inflow),
    // TD the cell temperatures, volf0D and volfD the volume fraction at the
    // start and the end of the step (all device arrays, not validated).
    // A failed library call throws std::runtime_error naming it.
    void Advance(const double* fluxD, const double* fluxInletD, const double* TD, const double* volf0D,
                 const double* volfD, double dt);

    // Per cell: the melt-front temperature, NaN where not yet taken.
    std::vector<double> Sampled() const;
    // The least taken value; NaN when no cell has one.
    double Lowest() const;

private:
    struct Arrays;
    std::unique_ptr<Arrays> a_;
};

}  // namespace fill
