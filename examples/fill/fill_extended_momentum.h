// The momentum equations of rvzgpu-fill's extended flow path (flow_path =
// extended), assembled with the library's extended-flow momentum
// operations:
//   interior faces: the face mass fluxes from the face volume fractions,
//   the upwind and diffusion coefficients and the deferred correction
//   weighted by `momentum_gamma` (0: upwind), limited together with the
//   explicit diffusion;
//   cell sources: the implicit Euler time term in one operation, with
//   `gravity` the weight of the melt and with `surface_tension` the
//   continuum surface force of the melt front (SurfaceTension below);
//   final coefficients: the under-relaxed diagonal and right-hand side of
//   each component, then the SIMPLEC factor.
// The inlet and wall terms, the pressure source and the solves stay the
// basic path's (fill_solver.cpp); with gamma 0, no gravity and no surface
// tension the system is the basic path's.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "fill_settings.h"
#include "rvzgpu_mesh/Mesh.h"

class CRVZGPUtool;

namespace fill {

// The State's device arrays the momentum assembly reads and writes.
struct MomentumArrays {
    double *u, *v, *w, *u0, *v0, *w0, *vis, *den, *vfe, *flux, *mfe, *aE, *aW;
    double *Su, *Sv, *Sw, *APv, *APR, *A, *temp, *scratch;
    double* grad[9];  // du/dx, dv/dx, dw/dx, du/dy, dv/dy, dw/dy, du/dz, dv/dz, dw/dz
    double* volf = nullptr;  // melt fraction (extended, halo current); read with surface tension only
};

// The Gauss gradient of an extended cell field (the host solver's, halo
// refreshed in a partitioned run): gradient(phi, gx, gy, gz).
using GradientFunction = std::function<void(double* phi, double* gx, double* gy, double* gz)>;

// The continuum surface force of the melt front on the momentum sources:
// per cell sigma kappa grad(alpha) s V, alpha the melt fraction,
// kappa = -div(n) the front's curvature with n = grad(alpha) / |grad(alpha)|
// (pointing into the melt; a drop of melt has kappa = 2/R > 0 and is
// pushed together), s = 2 rho / (rho_melt + rho_air) the library's density
// scaling, whose integral across a front is 1, so that a front carries the
// force sigma kappa per area. grad(alpha) and the divergence of n are Gauss
// gradients: n at the boundary slots is its cell's (zero gradient), and n
// of a cell without gradient is 0.
class SurfaceTension {
public:
    // mesh: its cells (and halo copies) and boundary lists; gradient as above.
    SurfaceTension(CRVZGPUtool& tool, const rvzmesh::Mesh& mesh, GradientFunction gradient);
    ~SurfaceTension();
    SurfaceTension(const SurfaceTension&) = delete;
    SurfaceTension& operator=(const SurfaceTension&) = delete;

    // The gradient and curvature of alphaD (device, extended array).
    void Update(double* alphaD);
    // Adds the force of the last Update to SuD, SvD, SwD (device, cells),
    // sigma in dyn/cm, densities in g/cm^3, denD the cell density.
    void AddForce(double sigma, double meltDensity, double airDensity, double* volumeD, double* denD, double* SuD,
                  double* SvD, double* SwD);
    std::vector<double> Curvature() const;  // 1/cm, cells, of the last Update

private:
    struct Arrays;
    std::unique_ptr<Arrays> a_;
};

class ExtendedMomentum {
public:
    // gradient: needed with surface_tension > 0 (then arrays.volf too).
    ExtendedMomentum(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                     const rvzmesh::DeviceMesh& device, const MomentumArrays& arrays,
                     GradientFunction gradient = {});
    ~ExtendedMomentum();

    // Face mass fluxes, face coefficients into aE/aW and the face sources,
    // the time term of step `dt`, the gravity force and the surface
    // tension (of the current melt fraction), all added to the right-hand
    // sides and accumulators (cleared by the caller).
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
    std::unique_ptr<SurfaceTension> tension_;  // with surface_tension > 0
};

}  // namespace fill
