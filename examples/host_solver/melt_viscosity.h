// The viscosity of a non-isothermal melt in the example host solver: the
// shear rate from the velocity gradient, the Cross-WLF model at each cell's
// temperature and shear rate, under-relaxed into the solver's viscosity
// field, whose boundary slots then take their cells' values. Every step is
// a library operation.
#pragma once

#include <memory>

#include "rvzgpu_mesh/Mesh.h"
#include "settings.h"

class CRVZGPUtool;

namespace channel {

class MeltViscosity {
public:
    MeltViscosity(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
                  const Settings& settings);
    ~MeltViscosity();
    MeltViscosity(const MeltViscosity&) = delete;
    MeltViscosity& operator=(const MeltViscosity&) = delete;

    // grad: the nine velocity-gradient arrays in the order du/dx, dv/dx,
    // dw/dx, du/dy, dv/dy, dw/dy, du/dz, dv/dz, dw/dz. TD: temperature,
    // pD: pressure, visD: the extended viscosity field, moved by `relax`
    // towards the model's value. A failed call throws std::runtime_error.
    void Update(double* const grad[9], double* TD, double* pD, double* visD, double relax);
    // The shear rate of the last update (cells).
    double* ShearRateD() const;

private:
    struct Arrays;
    CRVZGPUtool& tool_;
    const rvzmesh::Mesh& mesh_;
    const rvzmesh::DeviceMesh& dev_;
    const Settings& s_;
    std::unique_ptr<Arrays> a_;
};

}  // namespace channel
