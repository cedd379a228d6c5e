#include "channel_solver.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <vector>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "energy_step.h"
#include "melt_viscosity.h"
#include "rvzgpu_mesh/Mesh.h"

namespace channel {

namespace {

using rvzmesh::BoundaryKind;
using rvzmesh::Blocks;

struct LevelTable {
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
};

LevelTable TableFor(CRVZGPUtool& tool, int n)
{
    LevelTable t;
    tool.GetSizeOfBlock(std::max(n, 1), t.total, t.nLevels, t.count, t.size, t.offset);
    return t;
}

rvzmesh::Mesh MakeDuct(const Settings& s)
{
    rvzmesh::BoxOptions box;
    box.nx = s.nx, box.ny = s.ny, box.nz = s.nz;
    box.lx = s.length, box.ly = s.width, box.lz = s.height;
    box.tetrahedra = s.cells == "tetrahedra";
    box.sides = {BoundaryKind::Inlet, BoundaryKind::Outlet, BoundaryKind::Wall,
                 BoundaryKind::Wall,  BoundaryKind::Wall,   BoundaryKind::Wall};
    return rvzmesh::BuildMesh(rvzmesh::MakeBox(box));
}

// The whole state of one run on the device.
class Channel {
public:
    Channel(CRVZGPUtool& tool, const Settings& s)
        : t_(tool), s_(s), m_(MakeDuct(s)), nc_(m_.nCells), nf_(m_.nFaces), N_(m_.newNNU), nCol_(m_.nColumnPerRow),
          ell_(N_ * nCol_), inlet_(m_.list(BoundaryKind::Inlet)), outlet_(m_.list(BoundaryKind::Outlet)),
          wall_(m_.list(BoundaryKind::Wall))
    {
        Ok(rvzmesh::UploadMesh(t_, m_, d_), "UploadMesh");
        if (s_.thermal == "non-isothermal") StartThermal();
    }
    ~Channel()
    {
        energy_.reset();
        melt_.reset();
        rvzmesh::FreeDeviceMesh(t_, d_);
    }

    Result Run(std::FILE* log);

private:
    using D = Buf<double>;
    using I = Buf<int>;
    const rvzmesh::DeviceBoundaryList& In() const { return d_.boundary[0]; }
    const rvzmesh::DeviceBoundaryList& Out() const { return d_.boundary[1]; }
    const rvzmesh::DeviceBoundaryList& Wall() const { return d_.boundary[2]; }

    void SetInlet();
    void BoundaryValues();
    void Gradient(double* phi, double* gx, double* gy, double* gz);
    double Momentum();
    void Solve(double* A, double* rhs, double* phi, double tol);
    void PressureCorrection(double& continuity);
    void Measure(Result& r) const;
    void StartThermal();
    void UpdateViscosity();
    double Temperature();

    CRVZGPUtool& t_;
    const Settings& s_;
    rvzmesh::Mesh m_;
    rvzmesh::DeviceMesh d_;
    const int nc_, nf_, N_, nCol_, ell_;
    const rvzmesh::BoundaryList &inlet_, &outlet_, &wall_;
    const int n_ = m_.nExtended;

    D u_{t_, n_}, v_{t_, n_}, w_{t_, n_}, p_{t_, n_}, pp_{t_, n_};
    D vis_{t_, std::vector<double>(n_, s_.viscosity)}, den_{t_, std::vector<double>(n_, s_.density)};
    D grad_[9] = {{t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}, {t_, n_}};
    D dp_[3] = {{t_, n_}, {t_, n_}, {t_, n_}}, dpp_[3] = {{t_, n_}, {t_, n_}, {t_, n_}};
    D zero_{t_, n_};  // previous gradient: none
    D ones_{t_, std::vector<double>(nf_, 1.0)};
    D flux_{t_, nf_}, mfe_{t_, nf_}, aE_{t_, nf_}, aW_{t_, nf_}, temp_{t_, nf_};
    const int nTemp_ = std::max({nf_, inlet_.size(), outlet_.size(), wall_.size(), 1});
    D tx_{t_, nTemp_}, ty_{t_, nTemp_}, tz_{t_, nTemp_}, tw_{t_, nTemp_};
    D Su_{t_, nc_}, Sv_{t_, nc_}, Sw_{t_, nc_}, APv_{t_, nc_}, APR_{t_, n_}, source_{t_, nc_};
    D A_{t_, ell_}, scratch_{t_, ell_};
    D x_{t_, N_}, b_{t_, N_};
    // Inlet in flow-rate control.
    D fluxIn_{t_, inlet_.size()}, mfeIn_{t_, inlet_.size()}, CBin_{t_, inlet_.size()};
    // Closed walls.
    I closed_{t_, std::vector<int>(wall_.size(), 0)};
    D coef_{t_, wall_.size()}, CBwall_{t_, wall_.size()};
    // The outlet as a vent: zero pressure (correction) at its slots.
    I vent_{t_, std::vector<int>(outlet_.size(), 1)};
    D aVent_{t_, outlet_.size()}, mfeVent_{t_, outlet_.size()}, fluxVent_{t_, outlet_.size()};
    LevelTable inTable_ = TableFor(t_, inlet_.size()), outTable_ = TableFor(t_, outlet_.size());
    LevelTable cellTable_ = TableFor(t_, nc_);
    D bufA_{t_, std::max({inTable_.total, outTable_.total, cellTable_.total})};
    D bufB_{t_, bufA_.size()}, bufC_{t_, bufA_.size()};
    double inflow_ = 0.0, outflow_ = 0.0;
    // Non-isothermal runs only.
    std::unique_ptr<EnergyStep> energy_;
    std::unique_ptr<MeltViscosity> melt_;
    std::unique_ptr<D> massFlux_;
};

// The temperature field starts at the melt temperature everywhere.
void Channel::StartThermal()
{
    ThermalProperties props;
    props.density = s_.density;
    props.specific_heat = s_.specific_heat;
    props.conductivity = s_.conductivity;
    ThermalBoundaries bc;
    bc.melt_temperature = s_.melt_temperature;
    bc.mould_temperature = s_.mould_temperature;
    bc.heat_transfer = s_.heat_transfer;
    bc.viscous_heating = s_.viscous_heating != 0;
    energy_ = std::make_unique<EnergyStep>(t_, m_, d_, props, bc);
    melt_ = std::make_unique<MeltViscosity>(t_, m_, d_, s_);
    massFlux_ = std::make_unique<D>(t_, nf_);
}

// Cross-WLF viscosity at the current temperature and shear rate, half-way
// relaxed: the viscosity feeds back on the flow that heats the melt.
void Channel::UpdateViscosity()
{
    double* g[9];
    for (int i = 0; i < 9; ++i) g[i] = grad_[i];
    melt_->Update(g, energy_->TemperatureD(), p_, vis_, 0.5);
}

// The temperature for the corrected face fluxes; returns the largest change.
double Channel::Temperature()
{
    Ok(t_.Calc_mfeD(nf_, s_.density, s_.density, ones_, flux_, *massFlux_, Blocks(nf_)), "Calc_mfeD");
    return energy_->Solve(*massFlux_, mfeIn_, vis_, melt_->ShearRateD());
}

// Uniform inlet velocity and its fixed face fluxes; the inlet's momentum
// coefficient carries diffusion to the face plus the convected inflow.
void Channel::SetInlet()
{
    const int n = inlet_.size();
    const double faceFlow = s_.inlet_velocity * inlet_.area[0];  // equal faces of the box
    double momentum = 0.0, speeds = 0.0, volume = 0.0, area = 0.0;
    Ok(t_.Calc_GetInVel_TotalInletArea(n, In().sx, In().sy, In().sz, bufA_, Blocks(n), inTable_.nLevels,
                                       inTable_.count, inTable_.offset, inTable_.total, inTable_.size, area),
       "Calc_GetInVel_TotalInletArea");
    Ok(t_.Calc_GetInVel_UVW_TotalMomentum_VelNorm(n, s_.density, faceFlow, In().slot, In().sx, In().sy, In().sz,
                                                  fluxIn_, u_, v_, w_, bufA_, bufB_, bufC_, Blocks(n),
                                                  inTable_.nLevels, inTable_.count, inTable_.offset, inTable_.total,
                                                  inTable_.size, momentum, speeds, volume),
       "Calc_GetInVel_UVW_TotalMomentum_VelNorm");
    Ok(t_.Calc_InletBoundary_mfeD(n, In().slot, den_, fluxIn_, mfeIn_, Blocks(n)), "Calc_InletBoundary_mfeD");
    const std::vector<double> mfe = mfeIn_.Download();
    std::vector<double> CB(n);
    for (int k = 0; k < n; ++k) CB[k] = -(s_.viscosity * inlet_.surfDist[k] - mfe[k]);
    CBin_.Upload(CB);
    inflow_ = volume;
    if (std::fabs(area - s_.width * s_.height) > 1e-9 * area) throw std::runtime_error("inlet area mismatch");
}

// Slot values before the gradients: outlet velocity zero-gradient, wall
// velocities zero (set by the wall coefficient step), pressure zero-gradient
// at walls and inlet and zero at the outlet.
void Channel::BoundaryValues()
{
    const int no = outlet_.size(), nw = wall_.size(), ni = inlet_.size();
    Ok(t_.Calc_WallBoundary_UpdateUVW(no, Out().cell, Out().slot, vent_, u_, v_, w_, Blocks(no)),
       "Calc_WallBoundary_UpdateUVW");
    Ok(t_.Calc_UpdateBoundaryPP_Wall(nw, Wall().slot, Wall().cell, closed_, p_, Blocks(nw)), "UpdateBoundary p");
    Ok(t_.Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(ni, In().slot, In().cell, p_, Blocks(ni)),
       "UpdateBoundary p");
    Ok(t_.Calc_UpdateBoundaryPP_Wall(no, Out().slot, Out().cell, vent_, p_, Blocks(no)), "UpdateBoundary p");
}

// Gauss gradient with no skewness correction (zero previous gradient): on
// the tetrahedral duct a second pass with the first-pass gradient was
// measured to change neither the velocity nor the pressure-gradient error.
void Channel::Gradient(double* phi, double* gx, double* gy, double* gz)
{
    for (double* g : {gx, gy, gz}) Ok(t_.ZeroDeviceMemory(n_, g), "ZeroDeviceMemory");
    scratch_.Zero();
    Ok(t_.Calc_GradFromInnerCF(nf_, nc_, N_, nCol_, phi, gx, gy, gz, zero_, zero_, zero_, d_.le, d_.ijP, d_.ijE,
                               d_.xc, d_.yc, d_.zc, d_.sx, d_.sy, d_.sz, d_.xe, d_.ye, d_.ze, d_.mapPx, d_.mapPy,
                               d_.mapEx, d_.mapEy, tx_, ty_, tz_, scratch_, Blocks(nf_), Blocks(nc_)),
       "Calc_GradFromInnerCF");
    for (const auto& l : d_.boundary) {
        if (l.size == 0) continue;
        scratch_.Zero();
        Ok(t_.Calc_GradFromBC(l.size, l.nRows, N_, nCol_, phi, gx, gy, gz, nullptr, l.slot, l.sx, l.sy, l.sz, tx_,
                              ty_, tz_, l.mapPx, l.mapPy, scratch_, l.rows, Blocks(l.size), Blocks(l.nRows)),
           "Calc_GradFromBC");
    }
    Ok(t_.Calc_GradCVCenter(nc_, d_.volume, gx, gy, gz, Blocks(nc_)), "Calc_GradCVCenter");
}

// Relative tolerances of the inner solves. An outer iteration only needs
// each linear system reduced enough to make progress: the next outer
// iteration rebuilds the systems from the updated fields, so converging
// them further is work the outer loop throws away. The outer loop's own
// test (continuity and velocity change below `tolerance`) decides the
// accuracy of the result. Measured on the default duct: 1e-8 and 1e-10
// took the same 54 outer iterations as these, to the same result digits.
constexpr double kMomentumTolerance = 1e-1;
constexpr double kPressureTolerance = 1e-2;

// Jacobi BiCGSTAB on work vectors of new_nnu entries (the fields are
// extended arrays, which may be shorter than new_nnu).
void Channel::Solve(double* A, double* rhs, double* phi, double tol)
{
    x_.Zero();
    b_.Zero();
    Ok(t_.DataCopyDevice2Device(nc_, static_cast<double*>(x_), phi), "copy");
    Ok(t_.DataCopyDevice2Device(nc_, static_cast<double*>(b_), rhs), "copy");
    double resIn = 0.0, resOut = 0.0;
    int iter = 0;
    Ok(t_.BiCGSTAB_ELL(nc_, nCol_, d_.indexELL, A, b_, x_, tol, resIn, resOut, iter, 2000, 1), "BiCGSTAB_ELL");
    Ok(t_.DataCopyDevice2Device(nc_, phi, static_cast<double*>(x_)), "copy");
}

// Assembles and solves the three momentum equations; returns the largest
// velocity change. Leaves the SIMPLEC factor in APR.
double Channel::Momentum()
{
    const int ni = inlet_.size(), nw = wall_.size(), fb = Blocks(nf_), cb = Blocks(nc_);
    for (D* a : {&Su_, &Sv_, &Sw_, &APv_, &APR_}) a->Zero();
    Ok(t_.Calc_mfeD(nf_, s_.density, s_.density, ones_, flux_, mfe_, fb), "Calc_mfeD");
    double* g[9];
    for (int i = 0; i < 9; ++i) g[i] = grad_[i];
    scratch_.Zero();
    Ok(t_.Calc_InnerFluxUVW(nf_, nc_, N_, nCol_, 0.5, s_.gamma, d_.ijP, d_.ijE, d_.le, g[0], g[1], g[2], g[3], g[4],
                            g[5], g[6], g[7], g[8], d_.xc, d_.yc, d_.zc, u_, v_, w_, vis_, d_.sx, d_.sy, d_.sz, mfe_,
                            aE_, aW_, Su_, Sv_, Sw_, temp_, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, scratch_, fb, cb),
       "Calc_InnerFluxUVW");
    scratch_.Zero();
    Ok(t_.Calc_InOutletBoundary_SourceTerm(ni, In().nRows, N_, nCol_, nullptr, In().slot, CBin_, u_, v_, w_, APv_,
                                           APR_, Su_, Sv_, Sw_, In().mapPx, In().mapPy, scratch_, In().rows,
                                           Blocks(ni), Blocks(In().nRows)),
       "Calc_InOutletBoundary_SourceTerm");
    Ok(t_.Calc_WallBoundary_UpdateUVW_coef(nw, Wall().slot, closed_, Wall().surfDist, vis_, coef_, u_, v_, w_,
                                           Blocks(nw)),
       "Calc_WallBoundary_UpdateUVW_coef");
    scratch_.Zero();
    Ok(t_.Calc_WallBoundary_SourceTerm(nw, Wall().nRows, N_, nCol_, nullptr, Wall().slot, closed_, CBwall_, coef_,
                                       u_, v_, w_, APv_, APR_, Su_, Sv_, Sw_, Wall().mapPx, Wall().mapPy, tw_, tx_,
                                       ty_, tz_, scratch_, Wall().rows, Blocks(nw), Blocks(Wall().nRows)),
       "Calc_WallBoundary_SourceTerm");
    Ok(t_.Calc_PressureSourceContribution(nc_, d_.volume, dp_[0], dp_[1], dp_[2], Su_, Sv_, Sw_, cb),
       "Calc_PressureSourceContribution");
    A_.Zero();
    Ok(t_.Calc_MapaEaWToAi(nf_, N_, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, aE_, aW_, A_, fb), "Calc_MapaEaWToAi");

    double change = 0.0;
    D* fields[3] = {&u_, &v_, &w_};
    D* sources[3] = {&Su_, &Sv_, &Sw_};
    for (int c = 0; c < 3; ++c) {
        const std::vector<double> before = fields[c]->Download(nc_);
        Ok(t_.Calc_FinalCoeffRHS_Sfi(nc_, N_, nCol_, s_.relax_velocity, *fields[c], A_, APv_, *sources[c], cb),
           "Calc_FinalCoeffRHS_Sfi");
        Solve(A_, *sources[c], *fields[c], kMomentumTolerance);
        const std::vector<double> after = fields[c]->Download(nc_);
        for (int i = 0; i < nc_; ++i) change = std::max(change, std::fabs(after[i] - before[i]));
    }
    Ok(t_.Calc_ModAi4ValveGate_APR(nc_, APR_, A_, cb), "Calc_ModAi4ValveGate_APR");
    Ok(t_.Calc_APR_SIMPLEC(nc_, N_, nCol_, A_, APR_, cb), "Calc_APR_SIMPLEC");
    return change;
}

// Rhie-Chow fluxes, the correction equation and its solve, then the
// corrections. `continuity` gets sum |imbalance| before the correction.
void Channel::PressureCorrection(double& continuity)
{
    const int ni = inlet_.size(), no = outlet_.size(), nw = wall_.size(), fb = Blocks(nf_), cb = Blocks(nc_);
    const int stab = 3;  // boundary coefficients V APR |S|/|d|, matching the vent correction
    Ok(t_.Calc_InnerFluxPP(nf_, d_.ijP, d_.ijE, d_.le, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, nullptr, dp_[0], dp_[1], dp_[2], d_.xc, d_.yc, d_.zc, u_, v_, w_, p_, APR_, d_.sx,
                           d_.sy, d_.sz, mfe_, aE_, aW_, stab, fb),
       "Calc_InnerFluxPP");
    Ok(t_.DataCopyDevice2Device(nf_, static_cast<double*>(flux_), static_cast<double*>(mfe_)), "copy");
    source_.Zero();
    scratch_.Zero();
    Ok(t_.Calc_InnerFluxPP_UpdateSourceTerm(nf_, nc_, N_, nCol_, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, flux_,
                                            scratch_, source_, fb, cb),
       "Calc_InnerFluxPP_UpdateSourceTerm");
    scratch_.Zero();
    Ok(t_.Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(ni, In().nRows, N_, nCol_, In().mapPx, In().mapPy, fluxIn_,
                                                     scratch_, source_, In().rows, Blocks(ni), Blocks(In().nRows)),
       "Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL");
    scratch_.Zero();
    Ok(t_.Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(
           no, Out().nRows, N_, nCol_, stab, Out().cell, Out().slot, vent_, u_, v_, w_, d_.xc, d_.yc, d_.zc, dp_[0],
           dp_[1], dp_[2], Out().sx, Out().sy, Out().sz, d_.volume, APR_, p_, aVent_, mfeVent_, source_, Out().mapPx,
           Out().mapPy, scratch_, Out().rows, Blocks(no), Blocks(Out().nRows)),
       "Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt");
    Ok(t_.DataCopyDevice2Device(no, static_cast<double*>(fluxVent_), static_cast<double*>(mfeVent_)), "copy");

    A_.Zero();
    Ok(t_.Calc_MapaEaWToAi(nf_, N_, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, aE_, aW_, A_, fb), "Calc_MapaEaWToAi");
    scratch_.Zero();
    Ok(t_.CalcPP_WallAi(no, Out().nRows, N_, nCol_, Out().mapPx, Out().mapPy, vent_, aVent_, scratch_, A_, Out().rows,
                        Blocks(no), Blocks(Out().nRows)),
       "CalcPP_WallAi");
    const LevelTable& ct = cellTable_;
    double sum = 0.0;
    Ok(t_.Calc_AiSuMassSum(nc_, N_, nCol_, 1.0, pp_, A_, source_, sum, bufA_, ct.nLevels, ct.count, ct.offset, ct.total,
                           ct.size),
       "Calc_AiSuMassSum");
    Ok(t_.Calc_CheckSum(nc_, pp_, source_, sum, bufA_, ct.nLevels, ct.count, ct.offset, ct.total, ct.size),
       "Calc_CheckSum");
    continuity = 0.0;
    for (double s : source_.Download()) continuity += std::fabs(s);
    Solve(A_, source_, pp_, kPressureTolerance);

    Ok(t_.Calc_UpdateBoundaryPP_Wall(nw, Wall().slot, Wall().cell, closed_, pp_, Blocks(nw)), "UpdateBoundary pp");
    Ok(t_.Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(ni, In().slot, In().cell, pp_, Blocks(ni)),
       "UpdateBoundary pp");
    Ok(t_.Calc_UpdateBoundaryPP_Wall(no, Out().slot, Out().cell, vent_, pp_, Blocks(no)), "UpdateBoundary pp");
    Gradient(pp_, dpp_[0], dpp_[1], dpp_[2]);
    Ok(t_.Calc_CorrectPressureVelocityCV(nc_, s_.relax_pressure, 0.0, 0, d_.volume, APR_, pp_, p_, dpp_[0], dpp_[1],
                                         dpp_[2], u_, v_, w_, Su_, cb),
       "Calc_CorrectPressureVelocityCV");
    Ok(t_.CalcPP_CorrectMassFlux(nf_, N_, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, A_, pp_, flux_, fb),
       "CalcPP_CorrectMassFlux");
    const LevelTable &ot = outTable_, &it = inTable_;
    Ok(t_.Calc_CorrectVelocityWallOutlet(no, Out().cell, Out().slot, vent_, d_.xc, d_.yc, d_.zc, u_, v_, w_, Out().sx,
                                         Out().sy, Out().sz, d_.volume, APR_, pp_, fluxVent_, outflow_, bufA_,
                                         ot.nLevels, ot.count, ot.offset, ot.total, ot.size),
       "Calc_CorrectVelocityWallOutlet");
    Ok(t_.Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(ni, In().slot, u_, v_, w_, In().sx, In().sy, In().sz,
                                                        fluxIn_, inflow_, bufA_, it.nLevels, it.count, it.offset,
                                                        it.total, it.size),
       "Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL");
}

// Least-squares solution of the normal equations M a = v (M symmetric,
// positive definite, k x k) by Gaussian elimination.
std::vector<double> SolveNormalEquations(std::vector<std::vector<double>> m, std::vector<double> v)
{
    const size_t k = v.size();
    for (size_t c = 0; c < k; ++c)
        for (size_t r = c + 1; r < k; ++r) {
            const double f = m[r][c] / m[c][c];
            for (size_t j = c; j < k; ++j) m[r][j] -= f * m[c][j];
            v[r] -= f * v[c];
        }
    std::vector<double> a(k);
    for (size_t c = k; c-- > 0;) {
        double sum = v[c];
        for (size_t j = c + 1; j < k; ++j) sum -= m[c][j] * a[j];
        a[c] = sum / m[c][c];
    }
    return a;
}

// Centre-line velocity and pressure gradient over 0.4 .. 0.85 of the
// length (least-squares slope of p over the centre-line cells). Hexahedra
// with odd ny and nz have cells on the centre line; on tetrahedra no
// centroid lies there, so the centre-line velocity is the constant term of
// a quadratic fit u(y, z) over the cells near the centre line around 0.7 L,
// and the pressure slope is fitted over the cells near the centre line.
void Channel::Measure(Result& r) const
{
    const double yc = 0.5 * s_.width, zc = 0.5 * s_.height;
    const bool onLine = s_.cells == "hexahedra";
    const double radius = onLine ? 1e-9 * s_.width : 0.25 * std::min(s_.width, s_.height);
    double best = 1e300, sx = 0.0, sp = 0.0, sxx = 0.0, sxp = 0.0;
    int n = 0;
    std::vector<std::vector<double>> m(6, std::vector<double>(6, 0.0));
    std::vector<double> v(6, 0.0);
    for (int c = 0; c < nc_; ++c) {
        const double dy = m_.yc[c] - yc, dz = m_.zc[c] - zc;
        if (std::hypot(dy, dz) > radius) continue;
        const double x = m_.xc[c];
        if (x < 0.4 * s_.length || x > 0.85 * s_.length) continue;
        sx += x, sp += r.p[c], sxx += x * x, sxp += x * r.p[c], ++n;
        if (onLine && std::fabs(x - 0.7 * s_.length) < best)
            best = std::fabs(x - 0.7 * s_.length), r.centreVelocity = r.u[c];
        if (!onLine && std::fabs(x - 0.7 * s_.length) < 0.1 * s_.length) {
            const double basis[6] = {1.0, dy, dz, dy * dy, dz * dz, dy * dz};
            for (int i = 0; i < 6; ++i) {
                v[i] += basis[i] * r.u[c];
                for (int j = 0; j < 6; ++j) m[i][j] += basis[i] * basis[j];
            }
        }
    }
    r.pressureGradient = n >= 2 ? -(n * sxp - sx * sp) / (n * sxx - sx * sx) : 0.0;
    if (!onLine && m[0][0] >= 6.0) r.centreVelocity = SolveNormalEquations(m, v)[0];
}

Result Channel::Run(std::FILE* log)
{
    Result r;
    SetInlet();
    if (log != nullptr)
        std::fprintf(log, "channel: %d x %d x %d cells, %d faces, inflow %.6g, Re %.4g\n", s_.nx, s_.ny, s_.nz, nf_,
                     inflow_, s_.density * s_.inlet_velocity * 2.0 * s_.width * s_.height /
                                  (s_.width + s_.height) / s_.viscosity);
    if (log != nullptr)
        std::fprintf(log, "%6s %14s %14s %14s %14s%s\n", "iter", "continuity", "du/U", "inflow", "outflow",
                     energy_ ? "     max |dT|" : "");
    double first = 0.0;
    for (int it = 1; it <= s_.max_iterations; ++it) {
        BoundaryValues();
        for (int c = 0; c < 3; ++c) {
            D* f[3] = {&u_, &v_, &w_};
            Gradient(*f[c], grad_[c], grad_[3 + c], grad_[6 + c]);  // d/dx, d/dy, d/dz of component c
        }
        Gradient(p_, dp_[0], dp_[1], dp_[2]);
        if (energy_) UpdateViscosity();
        const double change = Momentum() / s_.inlet_velocity;
        double imbalance = 0.0;
        PressureCorrection(imbalance);
        if (energy_) r.temperatureChange = Temperature();
        r.iterations = it;
        r.continuity = imbalance / inflow_;
        r.velocityChange = change;
        if (log != nullptr && energy_)
            std::fprintf(log, "%6d %14.6e %14.6e %14.8g %14.8g %14.6e\n", it, r.continuity, change, inflow_, outflow_,
                         r.temperatureChange);
        else if (log != nullptr)
            std::fprintf(log, "%6d %14.6e %14.6e %14.8g %14.8g\n", it, r.continuity, change, inflow_, outflow_);
        if (it == 1) first = r.continuity;
        if (!std::isfinite(r.continuity) || !std::isfinite(change) || r.continuity > 1e6 * std::max(first, 1.0)) {
            r.outcome = Outcome::Diverged;
            r.message = "diverged at iteration " + std::to_string(it) +
                        ": the continuity residual grew without bound; lower relax_velocity or relax_pressure";
            break;
        }
        const bool thermalSettled = !energy_ || r.temperatureChange < s_.tolerance * s_.melt_temperature;
        if (r.continuity < s_.tolerance && change < s_.tolerance && thermalSettled) {
            r.outcome = Outcome::Converged;
            r.message = "converged in " + std::to_string(it) + " iterations";
            break;
        }
    }
    if (r.outcome == Outcome::NotConverged)
        r.message = "not converged after " + std::to_string(s_.max_iterations) + " iterations";
    r.inflow = inflow_;
    r.outflow = outflow_;
    r.u = u_.Download(nc_), r.v = v_.Download(nc_), r.w = w_.Download(nc_), r.p = p_.Download(nc_);
    if (energy_) r.T = energy_->Temperature();
    if (r.outcome != Outcome::Diverged) Measure(r);
    if (s_.output != "none") r.mesh = std::make_shared<const rvzmesh::Mesh>(m_);
    return r;
}

}  // namespace

Result RunChannel(CRVZGPUtool& tool, const Settings& settings, std::FILE* log)
{
    try {
        Channel channel(tool, settings);
        return channel.Run(log);
    } catch (const std::exception& e) {
        Result r;
        r.outcome = Outcome::DeviceFailure;
        r.message = e.what();
        return r;
    }
}

}  // namespace channel
