// The momentum equations of rvzgpu-fill's extended flow path (flow_path =
// extended), assembled with the library's extended-flow momentum
// operations:
//   interior faces: the face mass fluxes from the face volume fractions,
//   the upwind and diffusion coefficients and the deferred correction
//   weighted by `momentum_gamma` (0: upwind), limited together with the
//   explicit diffusion;
//   cell sources: the implicit Euler time term in one operation and, with
//   `gravity`, the weight of the melt;
//   final coefficients: the under-relaxed diagonal and right-hand side of
//   each component, then the SIMPLEC factor.
// The inlet and wall terms, the pressure source and the solves stay the
// basic path's (fill_solver.cpp); with gamma 0 and no gravity the system
// is the basic path's.
#pragma once

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

// The State's device arrays the momentum assembly reads and writes.
struct MomentumArrays {
    double *u, *v, *w, *u0, *v0, *w0, *vis, *den, *vfe, *flux, *mfe, *aE, *aW;
    double *Su, *Sv, *Sw, *APv, *APR, *A, *temp, *scratch;
    double* grad[9];  // du/dx, dv/dx, dw/dx, du/dy, dv/dy, dw/dy, du/dz, dv/dz, dw/dz
};

class ExtendedMomentum {
public:
    ExtendedMomentum(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                     const rvzmesh::DeviceMesh& device, const MomentumArrays& arrays);

    // Face mass fluxes, face coefficients into aE/aW and the face sources,
    // the time term of step `dt` and the gravity force, all added to the
    // right-hand sides and accumulators (cleared by the caller).
    void FacesAndCellSources(double dt);
    // The final diagonal (set) and the relaxation source of one component.
    void FinalCoefficients(double* phi, double* rhs);
    // APR = 1/aP, then the SIMPLEC factor 1/(aP - sum |a_nb|).
    void SimplecFactor();

    // The gravity passed to the library: the operation's force is
    // 0.1 rho^2 V g' / (rho_max + rho_min); g' = g (rho_melt + rho_air) /
    // (0.1 rho_melt) makes it rho g V in cells full of melt.
    static double ScaledGravity(double g, double meltDensity, double airDensity)
    {
        return g * (meltDensity + airDensity) / (0.1 * meltDensity);
    }

private:
    CRVZGPUtool& t_;
    const FillSettings& s_;
    const rvzmesh::Mesh& m_;
    const rvzmesh::DeviceMesh& d_;
    MomentumArrays a_;
    bool gravity_ = false;
};

}  // namespace fill
