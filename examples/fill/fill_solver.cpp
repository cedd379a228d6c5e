#include "fill_solver.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "energy_step.h"
#include "fill_extended_energy.h"
#include "fill_front_temperature.h"
#include "fill_extended_vof.h"
#include "fill_extended_flow.h"
#include "fill_extended_momentum.h"
#include "fill_fibre.h"
#include "fill_linear_solve.h"
#include "fill_partition.h"

namespace fill {

namespace {

using channel::Buf;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;
using I = Buf<int>;


struct LevelTable {
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
};

LevelTable TableFor(CRVZGPUtool& tool, int n)
{
    LevelTable t;
    tool.GetSizeOfBlock(std::max(n, 1), t.total, t.nLevels, t.count, t.size, t.offset);
    return t;
}

// Pressures of the case file are in MPa; the fields in dyn/cm^2.
constexpr double kDynPerMPa = 1.0e7;
// Volume fractions at or below kEmpty are snapped to 0, at or above kFull
// to 1, after each volume-fraction solve.
constexpr double kEmpty = 1.0e-4;
constexpr double kFull = 0.9999;
// A cell at or above the critical fraction whose every neighbour holds at
// least kBehindFront of melt lies behind the front (FillBehindFront).
constexpr double kBehindFront = 0.2;
// Wall faces of cells whose volume fraction lies below kVentBelow vent the
// air.
constexpr double kVentBelow = kFCRI;
// Air conductivity (erg/(s cm K)), for the mixed conductivity.
constexpr double kAirConductivity = 2.6e3;
// Inner solve tolerances (relative): the outer iterations rebuild the
// flow systems from the updated fields, so they need each one only
// reduced; the volume fraction is solved tightly, since its solution is
// the step's result.
constexpr double kMomentumTolerance = 1e-2;
constexpr double kPressureTolerance = 1e-3;
constexpr double kVolumeFractionTolerance = 1e-10;
// The time step grows by at most this factor from one step to the next.
constexpr double kGrowth = 1.5;
// Deferred-correction passes of the CICSAM face values per step.
constexpr int kCicsamPasses = 4;

}  // namespace

struct Filling::State {
    State(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, Partitioned* partition);
    ~State() { rvzmesh::FreeDeviceMesh(t, d); }

    const rvzmesh::DeviceBoundaryList& L(BoundaryKind k) const { return d.boundary[static_cast<int>(k)]; }
    const rvzmesh::BoundaryList& H(BoundaryKind k) const { return m.list(k); }

    void Start();
    void BoundaryValues();
    void Gradient(double* phi, double* gx, double* gy, double* gz);
    void Properties();
    void InletCoefficients();
    void Momentum();
    double PressureCorrection();
    int Flow();
    void VolumeFraction();
    void AssembleVolumeFraction();
    void CorrectVolume(double target);
    void FillBehindFront();
    double TakeOffSurplus(double excess);
    void ExtendedVolumeFraction();
    void BoundaryValuesAndVents();
    void Solve(double* A, double* rhs, double* phi, double tol, const char* what);
    int SolveSystem(double* A, double* rhs, double* phi, double tol, const char* what, double equationNorm = -1.0);
    double Norm(const double* v) { return OwnedNorm(t, v, nc, [this](double local) { return Sum(local); }); }
    int SolveComponents(double* A, double* const* rhs, double* const* phi, int count, double tol, const char* what);
    double MaxMeltCourant();
    double InletPressure();
    double Reduce(int (CRVZGPUtool::*op)(int, double*, double*, double*, double*, int, int, const int*, const int*,
                                         int, const int*, double&, double&),
                  double* a, double* b, double& second);
    double FilledVolume();
    int CountBelow(double fcri);
    int CountAbove(double fcri);

    CRVZGPUtool& t;
    const FillSettings& s;
    const rvzmesh::Mesh& m;
    // A partitioned run (fill_partition.h): the halo refreshes, the sums
    // over processes and the distributed solves; null on one process.
    Partitioned* par;
    void Halo(std::initializer_list<double*> fields)
    {
        if (par != nullptr)
            for (double* f : fields) par->Refresh(f);
    }
    double Sum(double local) { return par != nullptr ? par->Sum(local) : local; }
    int Count(int local) { return par != nullptr ? par->SumCount(local) : local; }
    int linearIterations = 0;  // of the current step
    int solvesAtLimit = 0;     // of the current step, every kind of solve
    rvzmesh::DeviceMesh d;
    CellSolve cellSolve{t, m, d};  // the solves on one process
    const int nc = m.nCells, nf = m.nFaces, N = m.newNNU, nCol = m.nColumnPerRow, ell = N * nCol, n = m.nExtended;
    const int ni = H(BoundaryKind::Inlet).size(), no = H(BoundaryKind::Outlet).size();
    const int nw = H(BoundaryKind::Wall).size(), ns = H(BoundaryKind::Symmetry).size();
    // Cells and outlet faces of the whole mesh.
    const int cells = par != nullptr ? par->GlobalCells() : nc, outlets = Count(no);
    const bool pressureInlet = s.inlet == "pressure";
    const bool cross = s.viscosity_model == "cross-wlf";
    const double FCRI = kFCRI;

    // Flow.
    D u{t, n}, v{t, n}, w{t, n}, p{t, n}, pp{t, n}, u0{t, n}, v0{t, n}, w0{t, n};
    D vis{t, n}, den{t, n}, visnew{t, std::max(nc, 1)}, rate{t, std::max(nc, 1)};
    D grad[9] = {{t, n}, {t, n}, {t, n}, {t, n}, {t, n}, {t, n}, {t, n}, {t, n}, {t, n}};
    D dp[3] = {{t, n}, {t, n}, {t, n}}, dpp[3] = {{t, n}, {t, n}, {t, n}}, dvf[3] = {{t, n}, {t, n}, {t, n}};
    D zero{t, n};
    D flux{t, nf}, mfe{t, nf}, aE{t, nf}, aW{t, nf}, temp{t, nf};
    const int nTemp = std::max({nf, ni, no, nw, ns, 1});
    D tx{t, nTemp}, ty{t, nTemp}, tz{t, nTemp}, tw{t, nTemp};
    D Su{t, nc}, Sv{t, nc}, Sw{t, nc}, APv{t, nc}, APR{t, n}, source{t, nc};
    D A{t, ell}, scratch{t, ell};
    // Inlet: volume fluxes (out of the cell, so negative), momentum
    // coefficients, pressure-control coefficients.
    D fluxIn{t, ni}, mfeIn{t, ni}, CBin{t, ni}, aIn{t, ni};
    // Walls: vent flags (1 while the face's cell is unfilled), coefficients
    // and vent fluxes.
    I ventWall{t, std::vector<int>(nw, 1)};
    D coef{t, nw}, CBwall{t, nw}, aWall{t, nw}, mfeWall{t, nw}, fluxWall{t, nw};
    // Outlets: always vents.
    I ventOut{t, std::vector<int>(no, 1)};
    // Momentum sees every wall as no-slip, vent or not.
    I noSlip{t, std::vector<int>(nw, 0)};
    D aOut{t, no}, mfeOut{t, no}, fluxOut{t, no};
    // Properties.
    D ones{t, std::vector<double>(std::max(nc, nf), 1.0)};
    D T{t, std::vector<double>(n, s.melt_temperature)};
    D kNew{t, std::vector<double>(std::max(nc, 1), s.conductivity)}, mk{t, n};
    I hotRunner{t, std::vector<int>(std::max(nc, 1), 0)};
    D conversion{t, std::max(nc, 1)};
    // Entry 0 is not read; model 1: the constant viscosity; model 5:
    // n, tau*, D1, D2, D3, A1, A2.
    D rheology{t, cross ? std::vector<double>{0.0, s.cross_n, s.cross_tau, s.cross_d1, s.cross_d2, 0.0, s.cross_a1,
                                              s.cross_a2}
                        : std::vector<double>{0.0, s.viscosity}};
    // Volume fraction.
    D volf{t, n}, volf0{t, n}, vfe{t, nf}, courant{t, n}, cellFR{t, n}, beta{t, nf}, AD{t, std::max(nc, 1)};
    D tSu{t, ni}, tFR{t, ni}, CBv{t, ni};
    Buf<float> arrival{t, std::vector<float>(std::max(nc, 1), 0.0f)};
    // Reductions.
    LevelTable cellT = TableFor(t, nc), faceT = TableFor(t, nf), inT = TableFor(t, ni), outT = TableFor(t, no),
               wallT = TableFor(t, nw);
    const int bufSize = std::max({cellT.total, faceT.total, inT.total, outT.total, wallT.total});
    D bufA{t, bufSize}, bufB{t, bufSize};
    I ibuf{t, bufSize};

    std::unique_ptr<channel::EnergyStep> energy;
    std::unique_ptr<ExtendedEnergy> energyx;  // energy = extended, in place of energy
    std::unique_ptr<FrontTemperature> front;
    std::unique_ptr<FibreOrientation> fibre;
    D massFlux{t, nf};
    // The extended volume-fraction step (vof_path = extended).
    std::unique_ptr<ExtendedVof> ext;

    double time = 0.0, dt = 0.0, inflow = 0.0, injected = 0.0, cavity = 0.0, filled = 0.0, continuity = 0.0;
    double visMelt = 0.0;
    double propertiesSeconds = 0.0;  // of the current step
    double Now()
    {
        t.GPUDeviceSynchronize();
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    int unfilled = 0, step = 0;
    std::vector<char> inletCell;

    // The extended flow path (flow_path = extended), or none.
    std::unique_ptr<ExtendedFlow> flowx;
    // Its momentum equations (fill_extended_momentum.h).
    std::unique_ptr<ExtendedMomentum> momx;
    double largestInflow = 0.0;
    double ExtendedContinuity();
};

Filling::State::State(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                      Partitioned* partition)
    : t(tool), s(settings), m(mesh), par(partition)
{
    Ok(rvzmesh::UploadMesh(t, m, d), "UploadMesh");
    for (int c = 0; c < nc; ++c) cavity += m.volume[c];
    cavity = Sum(cavity);
    inletCell.assign(nc, 0);
    for (int c : H(BoundaryKind::Inlet).cell) inletCell[c] = 1;
    // The solve of the steps that assemble on their own (one process or
    // distributed); its iterations are not among the step's linear ones.
    FrontTemperature::Solver stepSolve = [this](double* Am, double* rhs, double* phi, double tol) {
        SolveSystem(Am, rhs, phi, tol, "BiCGSTAB_ELL");
    };
    front = std::make_unique<FrontTemperature>(t, m, d, s.melt_temperature, FCRI, stepSolve);
    if (s.thermal == "non-isothermal" && s.energy == "extended") {
        energyx = std::make_unique<ExtendedEnergy>(t, s, m, d);
        std::function<void(double*)> refresh;
        if (par != nullptr) refresh = [this](double* field) { par->Refresh(field); };
        energyx->SetPartition(stepSolve, refresh);
    } else if (s.thermal == "non-isothermal") {
        channel::ThermalProperties props;
        props.density = s.density;
        props.specific_heat = s.specific_heat;
        props.conductivity = s.conductivity;
        channel::ThermalBoundaries bc;
        bc.melt_temperature = s.melt_temperature;
        bc.mould_temperature = s.mould_temperature;
        bc.heat_transfer = s.heat_transfer;
        bc.viscous_heating = s.viscous_heating != 0;
        energy = std::make_unique<channel::EnergyStep>(t, m, d, props, bc);
        energy->SetSolver(stepSolve);
    }
    if (s.vof_path == "extended")
        ext = std::make_unique<ExtendedVof>(
            t, s, m, d, [this](double* phi, double* gx, double* gy, double* gz) { Gradient(phi, gx, gy, gz); },
            [this](double target) { CorrectVolume(target); }, par);
    if (s.flow_path == "extended") {
        FlowArrays a{u, v, w, p, pp, APR, {dp[0], dp[1], dp[2]}, {dpp[0], dpp[1], dpp[2]}, flux, mfe, aE, aW, A,
                     scratch, source, volf, fluxIn, fluxWall, fluxOut, T, ventWall};
        flowx = std::make_unique<ExtendedFlow>(
            t, s, m, d, a, [this](double* Am, double* rhs, double* phi) {
                Solve(Am, rhs, phi, kPressureTolerance, "BiCGSTAB_ELL (pressure correction)");
            },
            [this](double* phi, double* gx, double* gy, double* gz) { Gradient(phi, gx, gy, gz); }, par);
        MomentumArrays ma{u, v, w, u0, v0, w0, vis, den, vfe, flux, mfe, aE, aW, Su, Sv, Sw, APv, APR, A, temp, scratch,
                          {grad[0], grad[1], grad[2], grad[3], grad[4], grad[5], grad[6], grad[7], grad[8]}};
        ma.volf = volf;
        momx = std::make_unique<ExtendedMomentum>(
            t, s, m, d, ma, [this](double* phi, double* gx, double* gy, double* gz) { Gradient(phi, gx, gy, gz); });
    }
    if (s.fibre) fibre = std::make_unique<FibreOrientation>(t, s, m, d);
    if (fibre)
        fibre->SetSolver([this](double* Am, double* const* rhs, double* const* phi, int count, double tol) {
            SolveComponents(Am, rhs, phi, count, tol, "BiCGSTAB_ELL (fibre orientation)");
        });
}

// The extended pressure correction; its continuity residual is the
// imbalance over the inflow, or over a thousandth of the largest inflow
// so far while the gates hold a full cavity under pressure.
double Filling::State::ExtendedContinuity()
{
    const double imbalance = flowx->PressureCorrection(s.relax_pressure, inflow);
    largestInflow = std::max(largestInflow, std::fabs(inflow));
    return imbalance / std::max({std::fabs(inflow), 1e-3 * largestInflow, 1e-300});
}

// Empty cavity: air at rest and zero pressure, melt at the inlet faces,
// every wall face a vent.
void Filling::State::Start()
{
    for (D* a : {&u, &v, &w, &p, &pp, &u0, &v0, &w0, &volf, &volf0, &vfe, &zero, &CBwall, &aWall, &mfeWall,
                 &fluxWall, &aOut, &mfeOut, &fluxOut, &flux, &conversion, &rate})
        a->Zero();
    std::vector<double> vf(n, 0.0), pr(n, 0.0);
    for (int slot : H(BoundaryKind::Inlet).slot) vf[slot] = 1.0;
    volf.Upload(vf);
    volf0.Upload(vf);
    if (pressureInlet) {
        for (int slot : H(BoundaryKind::Inlet).slot) pr[slot] = s.inlet_pressure * kDynPerMPa;
        p.Upload(pr);
    }
    // Inlet in flow-rate control: a uniform velocity normal to the inlet
    // faces carrying the flow rate, fixed for the whole run.
    const rvzmesh::BoundaryList& in = H(BoundaryKind::Inlet);
    double area = 0.0;
    for (double a : in.area) area += a;
    area = Sum(area);
    std::vector<double> fin(ni, 0.0), uu(n, 0.0), vv(n, 0.0), ww(n, 0.0);
    if (!pressureInlet) {
        const double speed = s.flow_rate / area;
        for (int k = 0; k < ni; ++k) {
            fin[k] = -speed * in.area[k];
            uu[in.slot[k]] = -speed * in.sx[k] / in.area[k];
            vv[in.slot[k]] = -speed * in.sy[k] / in.area[k];
            ww[in.slot[k]] = -speed * in.sz[k] / in.area[k];
        }
        u.Upload(uu), v.Upload(vv), w.Upload(ww);
        inflow = s.flow_rate;
    }
    fluxIn.Upload(fin);
    visMelt = s.viscosity;
    std::vector<double> visStart(n, s.viscosity), denStart(n, s.air_density);
    vis.Upload(visStart);
    den.Upload(denStart);
    mk.Upload(std::vector<double>(n, kAirConductivity));
    if (flowx) flowx->BeginStep(0, 0.0, 0.0, 0.0);
}

// Slot values before the gradients: vents and outlets zero-gradient
// velocity and zero pressure, closed walls no-slip (set by the wall
// coefficient step) and zero-gradient pressure, symmetry planes the cell
// velocity without its normal part and zero-gradient pressure; the inlet
// keeps its velocity, its pressure is the cell's (flow-rate control) or
// the inlet pressure (pressure control).
void Filling::State::BoundaryValues()
{
    const auto &W = L(BoundaryKind::Wall), &O = L(BoundaryKind::Outlet), &S = L(BoundaryKind::Symmetry),
               &In = L(BoundaryKind::Inlet);
    if (nw > 0) {
        Ok(t.Calc_WallBoundary_UpdateUVW(nw, W.cell, W.slot, noSlip, u, v, w, Blocks(nw)), "Calc_WallBoundary_UpdateUVW");
        Ok(t.Calc_UpdateBoundaryPP_Wall(nw, W.slot, W.cell, ventWall, p, Blocks(nw)), "Calc_UpdateBoundaryPP_Wall");
    }
    if (no > 0) {
        Ok(t.Calc_WallBoundary_UpdateUVW(no, O.cell, O.slot, ventOut, u, v, w, Blocks(no)), "Calc_WallBoundary_UpdateUVW");
        Ok(t.Calc_UpdateBoundaryPP_Wall(no, O.slot, O.cell, ventOut, p, Blocks(no)), "Calc_UpdateBoundaryPP_Wall");
    }
    if (ns > 0) {
        Ok(t.Calc_SymmetryBoundary_UpdateUVW(ns, S.cell, S.slot, u, v, w, Blocks(ns)), "Calc_SymmetryBoundary_UpdateUVW");
        Ok(t.Calc_UpdateVelocitySymmetryBoundary(ns, S.cell, S.slot, S.sx, S.sy, S.sz, u, v, w, Blocks(ns)),
           "Calc_UpdateVelocitySymmetryBoundary");
        Ok(t.Calc_UpdateBoundaryPP_Symm(ns, S.slot, S.cell, p, Blocks(ns)), "Calc_UpdateBoundaryPP_Symm");
    }
    if (!pressureInlet)
        Ok(t.Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(ni, In.slot, In.cell, p, Blocks(ni)),
           "Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL");
    if (flowx) flowx->BoundaryPressure();
}

// Gauss gradient without skewness correction.
void Filling::State::Gradient(double* phi, double* gx, double* gy, double* gz)
{
    for (double* g : {gx, gy, gz}) Ok(t.ZeroDeviceMemory(n, g), "ZeroDeviceMemory");
    scratch.Zero();
    Ok(t.Calc_GradFromInnerCF(nf, nc, N, nCol, phi, gx, gy, gz, zero, zero, zero, d.le, d.ijP, d.ijE, d.xc, d.yc, d.zc,
                              d.sx, d.sy, d.sz, d.xe, d.ye, d.ze, d.mapPx, d.mapPy, d.mapEx, d.mapEy, tx, ty, tz,
                              scratch, Blocks(nf), Blocks(nc)),
       "Calc_GradFromInnerCF");
    for (const auto& l : d.boundary) {
        if (l.size == 0) continue;
        scratch.Zero();
        Ok(t.Calc_GradFromBC(l.size, l.nRows, N, nCol, phi, gx, gy, gz, nullptr, l.slot, l.sx, l.sy, l.sz, tx, ty, tz,
                             l.mapPx, l.mapPy, scratch, l.rows, Blocks(l.size), Blocks(l.nRows)),
           "Calc_GradFromBC");
    }
    Ok(t.Calc_GradCVCenter(nc, d.volume, gx, gy, gz, Blocks(nc)), "Calc_GradCVCenter");
    Halo({gx, gy, gz});
}

// Two sums of a field-statistics reduction over the cells.
double Filling::State::Reduce(int (CRVZGPUtool::*op)(int, double*, double*, double*, double*, int, int, const int*,
                                                      const int*, int, const int*, double&, double&),
                              double* a, double* b, double& second)
{
    double first = 0.0;
    Ok((t.*op)(nc, a, b, bufA, bufB, Blocks(nc), cellT.nLevels, cellT.count, cellT.offset, cellT.total, cellT.size,
               first, second),
       "cell sums");
    second = Sum(second);
    return Sum(first);
}

// Melt viscosity of the model at each cell's temperature and shear rate,
// its mean over the melt, and the viscosity, density and conductivity
// mixed with the air's by the volume fraction.
void Filling::State::Properties()
{
    const int cb = Blocks(nc);
    if (cross)
        Ok(t.Calc_ShearRate(nc, 1.0, grad[0], grad[3], grad[6], grad[1], grad[4], grad[7], grad[2], grad[5], grad[8],
                            rate, cb),
           "Calc_ShearRate");
    Ok(t.CalcVis_Flow(nc, 0, cross ? 1 : 0, 0, s.melt_temperature, FCRI, 0.0, 0.0, s.mould_temperature, cross ? 5 : 1,
                      T, p, rate, volf, hotRunner, conversion, visnew, rheology, cb),
       "CalcVis_Flow");
    double sumVol = 0.0;
    const double sumVis = Reduce(&CRVZGPUtool::Calc_Sum_VisMeltAvg_voltmp, volf, visnew, sumVol);
    if (sumVol > 1e-12) {
        visMelt = sumVis / sumVol;
    } else {
        // No melt yet: the mean of the model over all cells.
        double count = 0.0;
        const double all = Reduce(&CRVZGPUtool::Calc_Sum_VisMeltAvg_voltmp, ones, visnew, count);
        visMelt = all / count;
    }
    Ok(t.Calc_VisDenMk(nc, 1.0e30, s.air_viscosity, FCRI, visMelt, cross ? 0.5 : 1.0, s.density, s.air_density,
                       kAirConductivity, visnew, nullptr, kNew, volf, vis, den, mk, cb),
       "Calc_VisDenMk");
    Halo({vis, den, mk});
    for (const auto& l : d.boundary)
        if (l.size > 0) {
            Ok(t.Calc_UpdateBoundary_const(l.size, l.slot, l.cell, vis, Blocks(l.size)), "Calc_UpdateBoundary_const");
            Ok(t.Calc_UpdateBoundary_const(l.size, l.slot, l.cell, den, Blocks(l.size)), "Calc_UpdateBoundary_const");
        }
}

// The inlet's momentum coefficient: diffusion to the face at the melt
// viscosity plus the convected inflow of melt.
void Filling::State::InletCoefficients()
{
    const std::vector<double> f = fluxIn.Download();
    const rvzmesh::BoundaryList& in = H(BoundaryKind::Inlet);
    std::vector<double> CB(ni);
    for (int k = 0; k < ni; ++k) CB[k] = -(visMelt * in.surfDist[k] - s.density * f[k]);
    CBin.Upload(CB);
}

constexpr int kStab = 3;  // boundary coefficients V APR |S|/|d|, as the vent correction

void Filling::State::Solve(double* Am, double* rhs, double* phi, double tol, const char* what)
{
    linearIterations += SolveSystem(Am, rhs, phi, tol, what);
}

// Solves the cell rows of Am phi = rhs by Jacobi BiCGSTAB to the relative
// tolerance with the floor of fill_linear_solve.h, measured against
// equationNorm: the right-hand side's norm of the whole equation when the
// system is one component of it, negative for the system's own; returns
// the iterations.
int Filling::State::SolveSystem(double* Am, double* rhs, double* phi, double tol, const char* what,
                                double equationNorm)
{
    SolveResult r;
    if (par != nullptr) {
        r = par->Solve(d.indexELL, Am, rhs, phi, tol, equationNorm);
    } else {
        r = cellSolve(Am, rhs, phi, tol, equationNorm, what);
    }
    if (r.atLimit) ++solvesAtLimit;
    return r.iterations;
}

// The components of one equation, sharing the matrix Am: each solved with
// its floor measured against the norm of all their right-hand sides
// together, since a component the flow does not drive has a right-hand
// side of rounding noise. Returns the iterations.
int Filling::State::SolveComponents(double* Am, double* const* rhs, double* const* phi, int count, double tol,
                                    const char* what)
{
    const double norm = CombinedNorm(t, rhs, count, nc, [this](double local) { return Sum(local); });
    int iterations = 0;
    for (int k = 0; k < count; ++k) iterations += SolveSystem(Am, rhs[k], phi[k], tol, what, norm);
    return iterations;
}

void Filling::State::Momentum()
{
    const auto &In = L(BoundaryKind::Inlet), &W = L(BoundaryKind::Wall);
    const int fb = Blocks(nf), cb = Blocks(nc);
    for (D* a : {&Su, &Sv, &Sw, &APv, &APR}) a->Zero();
    if (momx) {
        momx->FacesAndCellSources(dt);
    } else {
        Ok(t.Calc_mfeD(nf, s.density, s.air_density, vfe, flux, mfe, fb), "Calc_mfeD");
        scratch.Zero();
        Ok(t.Calc_InnerFluxUVW(nf, nc, N, nCol, 0.5, 0.0, d.ijP, d.ijE, d.le, grad[0], grad[1], grad[2], grad[3],
                               grad[4], grad[5], grad[6], grad[7], grad[8], d.xc, d.yc, d.zc, u, v, w, vis, d.sx, d.sy,
                               d.sz, mfe, aE, aW, Su, Sv, Sw, temp, d.mapPx, d.mapPy, d.mapEx, d.mapEy, scratch, fb, cb),
           "Calc_InnerFluxUVW");
        Ok(t.Calc_UnsteadyTermContribution(nc, dt, 1.0, 0.0, den, d.volume, u0, u0, v0, v0, w0, w0, Su, Sv, Sw, APv,
                                           APR, cb),
           "Calc_UnsteadyTermContribution");
    }
    scratch.Zero();
    Ok(t.Calc_InOutletBoundary_SourceTerm(ni, In.nRows, N, nCol, nullptr, In.slot, CBin, u, v, w, APv, APR, Su, Sv, Sw,
                                          In.mapPx, In.mapPy, scratch, In.rows, Blocks(ni), Blocks(In.nRows)),
       "Calc_InOutletBoundary_SourceTerm");
    if (nw > 0) {
        Ok(t.Calc_WallBoundary_UpdateUVW_coef(nw, W.slot, noSlip, W.surfDist, vis, coef, u, v, w, Blocks(nw)),
           "Calc_WallBoundary_UpdateUVW_coef");
        scratch.Zero();
        Ok(t.Calc_WallBoundary_SourceTerm(nw, W.nRows, N, nCol, nullptr, W.slot, noSlip, CBwall, coef, u, v, w, APv,
                                          APR, Su, Sv, Sw, W.mapPx, W.mapPy, tw, tx, ty, tz, scratch, W.rows, Blocks(nw),
                                          Blocks(W.nRows)),
           "Calc_WallBoundary_SourceTerm");
    }
    Ok(t.Calc_PressureSourceContribution(nc, d.volume, dp[0], dp[1], dp[2], Su, Sv, Sw, cb),
       "Calc_PressureSourceContribution");
    A.Zero();
    Ok(t.Calc_MapaEaWToAi(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb), "Calc_MapaEaWToAi");
    D* fields[3] = {&u, &v, &w};
    D* sources[3] = {&Su, &Sv, &Sw};
    // The final coefficients set the same diagonal for every component.
    for (int c = 0; c < 3; ++c) {
        if (momx)
            momx->FinalCoefficients(*fields[c], *sources[c]);
        else
            Ok(t.Calc_FinalCoeffRHS_Sfi(nc, N, nCol, s.relax_velocity, *fields[c], A, APv, *sources[c], cb),
               "Calc_FinalCoeffRHS_Sfi");
    }
    double* const rhs[3] = {Su, Sv, Sw};
    double* const phi[3] = {u, v, w};
    linearIterations += SolveComponents(A, rhs, phi, 3, kMomentumTolerance, "BiCGSTAB_ELL (momentum)");
    if (momx) {
        momx->SimplecFactor();
        return Halo({APR});
    }
    Ok(t.Calc_ModAi4ValveGate_APR(nc, APR, A, cb), "Calc_ModAi4ValveGate_APR");
    Ok(t.Calc_APR_SIMPLEC(nc, N, nCol, A, APR, cb), "Calc_APR_SIMPLEC");
    Halo({APR});
}

// Returns the continuity residual before the correction over the inflow.
double Filling::State::PressureCorrection()
{
    const auto &In = L(BoundaryKind::Inlet), &O = L(BoundaryKind::Outlet), &W = L(BoundaryKind::Wall),
               &S = L(BoundaryKind::Symmetry);
    const int fb = Blocks(nf), cb = Blocks(nc);
    Ok(t.Calc_InnerFluxPP(nf, d.ijP, d.ijE, d.le, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr, dp[0], dp[1], dp[2], d.xc, d.yc, d.zc, u, v, w, p, APR, d.sx, d.sy, d.sz, mfe, aE,
                          aW, kStab, fb),
       "Calc_InnerFluxPP");
    Ok(t.DataCopyDevice2Device(nf, static_cast<double*>(flux), static_cast<double*>(mfe)), "copy");
    source.Zero();
    scratch.Zero();
    Ok(t.Calc_InnerFluxPP_UpdateSourceTerm(nf, nc, N, nCol, d.mapPx, d.mapPy, d.mapEx, d.mapEy, flux, scratch, source,
                                           fb, cb),
       "Calc_InnerFluxPP_UpdateSourceTerm");
    scratch.Zero();
    if (pressureInlet)
        Ok(t.Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(ni, In.nRows, N, nCol, kStab, s.inlet_pressure, In.cell, In.slot,
                                                        u, v, w, d.xc, d.yc, d.zc, dp[0], dp[1], dp[2], d.volume, APR,
                                                        fluxIn, In.sx, In.sy, In.sz, p, pp, aIn, source, In.mapPx,
                                                        In.mapPy, scratch, In.rows, Blocks(ni), Blocks(In.nRows)),
           "Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL");
    else
        Ok(t.Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(ni, In.nRows, N, nCol, In.mapPx, In.mapPy, fluxIn, scratch,
                                                        source, In.rows, Blocks(ni), Blocks(In.nRows)),
           "Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL");
    struct Vent {
        int count;
        const rvzmesh::DeviceBoundaryList& list;
        I& flags;
        D &a, &mfeV, &fluxV;
        const LevelTable& table;
    };
    Vent vents[2] = {{nw, W, ventWall, aWall, mfeWall, fluxWall, wallT}, {no, O, ventOut, aOut, mfeOut, fluxOut, outT}};
    for (Vent& vt : vents) {
        if (vt.count == 0) continue;
        vt.a.Zero();
        vt.mfeV.Zero();
        scratch.Zero();
        Ok(t.Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(
               vt.count, vt.list.nRows, N, nCol, kStab, vt.list.cell, vt.list.slot, vt.flags, u, v, w, d.xc, d.yc,
               d.zc, dp[0], dp[1], dp[2], vt.list.sx, vt.list.sy, vt.list.sz, d.volume, APR, p, vt.a, vt.mfeV, source,
               vt.list.mapPx, vt.list.mapPy, scratch, vt.list.rows, Blocks(vt.count), Blocks(vt.list.nRows)),
           "Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt");
        Ok(t.DataCopyDevice2Device(vt.count, static_cast<double*>(vt.fluxV), static_cast<double*>(vt.mfeV)), "copy");
    }
    A.Zero();
    Ok(t.Calc_MapaEaWToAi(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb), "Calc_MapaEaWToAi");
    if (pressureInlet) {
        scratch.Zero();
        Ok(t.Calc_InnerFluxPP_InletAi(ni, In.nRows, N, nCol, In.mapPx, In.mapPy, aIn, scratch, A, In.rows, Blocks(ni),
                                      Blocks(In.nRows)),
           "Calc_InnerFluxPP_InletAi");
    }
    for (Vent& vt : vents) {
        if (vt.count == 0) continue;
        scratch.Zero();
        Ok(t.CalcPP_WallAi(vt.count, vt.list.nRows, N, nCol, vt.list.mapPx, vt.list.mapPy, vt.flags, vt.a, scratch, A,
                           vt.list.rows, Blocks(vt.count), Blocks(vt.list.nRows)),
           "CalcPP_WallAi");
    }
    double sum = 0.0;
    Ok(t.Calc_AiSuMassSum(nc, N, nCol, 1.0, pp, A, source, sum, bufA, cellT.nLevels, cellT.count, cellT.offset,
                          cellT.total, cellT.size),
       "Calc_AiSuMassSum");
    Ok(t.Calc_CheckSum(nc, pp, source, sum, bufA, cellT.nLevels, cellT.count, cellT.offset, cellT.total, cellT.size),
       "Calc_CheckSum");
    double imbalance = 0.0;
    for (double e : source.Download()) imbalance += std::fabs(e);
    imbalance = Sum(imbalance);
    Solve(A, source, pp, kPressureTolerance, "BiCGSTAB_ELL (pressure correction)");

    for (Vent& vt : vents)
        if (vt.count > 0)
            Ok(t.Calc_UpdateBoundaryPP_Wall(vt.count, vt.list.slot, vt.list.cell, vt.flags, pp, Blocks(vt.count)),
               "Calc_UpdateBoundaryPP_Wall");
    if (ns > 0) Ok(t.Calc_UpdateBoundaryPP_Symm(ns, S.slot, S.cell, pp, Blocks(ns)), "Calc_UpdateBoundaryPP_Symm");
    if (pressureInlet)
        Ok(t.Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(ni, In.slot, pp, Blocks(ni)),
           "Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL");
    else
        Ok(t.Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(ni, In.slot, In.cell, pp, Blocks(ni)),
           "Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL");
    Gradient(pp, dpp[0], dpp[1], dpp[2]);
    Ok(t.Calc_CorrectPressureVelocityCV(nc, s.relax_pressure, 0.0, 0, d.volume, APR, pp, p, dpp[0], dpp[1], dpp[2], u,
                                        v, w, Su, cb),
       "Calc_CorrectPressureVelocityCV");
    Halo({p, u, v, w});
    Ok(t.CalcPP_CorrectMassFlux(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, A, pp, flux, fb), "CalcPP_CorrectMassFlux");
    for (Vent& vt : vents) {
        if (vt.count == 0) continue;
        double out = 0.0;
        Ok(t.Calc_CorrectVelocityWallOutlet(vt.count, vt.list.cell, vt.list.slot, vt.flags, d.xc, d.yc, d.zc, u, v, w,
                                            vt.list.sx, vt.list.sy, vt.list.sz, d.volume, APR, pp, vt.fluxV, out, bufA,
                                            vt.table.nLevels, vt.table.count, vt.table.offset, vt.table.total,
                                            vt.table.size),
           "Calc_CorrectVelocityWallOutlet");
    }
    if (pressureInlet) {
        double speeds = 0.0;
        Ok(t.Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(ni, In.cell, In.slot, d.xc, d.yc, d.zc, u, v, w, In.sx, In.sy,
                                                           In.sz, d.volume, APR, pp, fluxIn, inflow, speeds, bufA, bufB,
                                                           inT.nLevels, inT.count, inT.offset, inT.total, inT.size),
           "Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL");
    } else {
        Ok(t.Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(ni, In.slot, u, v, w, In.sx, In.sy, In.sz, fluxIn, inflow,
                                                           bufA, inT.nLevels, inT.count, inT.offset, inT.total,
                                                           inT.size),
           "Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL");
    }
    inflow = Sum(inflow);
    return imbalance / std::max(std::fabs(inflow), 1e-300);
}

// SIMPLEC outer iterations of one time step; returns their number.
int Filling::State::Flow()
{
    for (int it = 1; it <= s.max_outer_iterations; ++it) {
        BoundaryValues();
        D* f[3] = {&u, &v, &w};
        for (int c = 0; c < 3; ++c) Gradient(*f[c], grad[c], grad[3 + c], grad[6 + c]);
        Gradient(p, dp[0], dp[1], dp[2]);
        const double before = Now();
        Properties();
        propertiesSeconds += Now() - before;
        InletCoefficients();
        Momentum();
        continuity = flowx ? ExtendedContinuity() : PressureCorrection();
        if (!std::isfinite(continuity) || !std::isfinite(inflow))
            throw StepError(StepError::Kind::NotFinite, "step " + std::to_string(step) + ", outer iteration " +
                                                            std::to_string(it) + ": the continuity residual is not finite");
        if (it >= 2 && continuity < s.tolerance) return it;
    }
    char text[200];
    std::snprintf(text, sizeof text,
                  "step %d: the outer iterations did not converge in %d (continuity residual %.3e, tolerance %.3e); "
                  "lower relax_velocity or courant, or raise max_outer_iterations",
                  step, s.max_outer_iterations, continuity, s.tolerance);
    throw StepError(StepError::Kind::NotConverged, text);
}

// Largest outflow over volume (per second) of the cells that hold melt or
// take it from the inlet.
double Filling::State::MaxMeltCourant()
{
    courant.Zero();
    const auto& W = L(BoundaryKind::Wall);
    scratch.Zero();
    Ok(t.Calc_CourantNoDonnorCell(nf, nc, N, nCol, d.ijP, d.ijE, 1.0, flux, d.volume, tx, ty, courant, d.mapPx, d.mapPy,
                                  d.mapEx, d.mapEy, scratch, Blocks(nf), Blocks(nc)),
       "Calc_CourantNoDonnorCell");
    if (nw > 0) {
        scratch.Zero();
        Ok(t.Calc_CourantNoDonnorCell_Wall(nw, W.nRows, N, nCol, W.cell, 1.0, ventWall, fluxWall, d.volume, W.mapPx,
                                           W.mapPy, tw, scratch, courant, W.rows, Blocks(nw), Blocks(W.nRows)),
           "Calc_CourantNoDonnorCell_Wall");
    }
    const std::vector<double> co = courant.Download(nc), vf = volf.Download(nc);
    double largest = 0.0;
    for (int c = 0; c < nc; ++c)
        if (vf[c] > kEmpty || inletCell[c]) largest = std::max(largest, co[c]);
    return par != nullptr ? par->Max(largest) : largest;
}

double Filling::State::FilledVolume()
{
    double vol = 0.0;
    Ok(t.Calc_FVolUpdate_FillVol(nc, volf, d.volume, bufA, Blocks(nc), cellT.nLevels, cellT.count, cellT.offset,
                                 cellT.total, cellT.size, vol),
       "Calc_FVolUpdate_FillVol");
    return Sum(vol);
}

int Filling::State::CountBelow(double fcri)
{
    int count = 0;
    Ok(t.Calc_FVolUpdate_UnFilledCells(nc, fcri, volf, ibuf, Blocks(nc), cellT.nLevels, cellT.count, cellT.offset,
                                       cellT.total, cellT.size, count),
       "Calc_FVolUpdate_UnFilledCells");
    return Count(count);
}

// Cells with a volume fraction above fcri - 0.2.
int Filling::State::CountAbove(double fcri)
{
    int count = 0;
    Ok(t.Calc_FVolUpdate_nfront(nc, fcri, volf, ibuf, Blocks(nc), cellT.nLevels, cellT.count, cellT.offset, cellT.total,
                                cellT.size, count),
       "Calc_FVolUpdate_nfront");
    return Count(count);
}

// The upwind volume-fraction system of the step: face coefficients and
// CICSAM blending factors, the Crank-Nicolson time term (which halves the
// face coefficients), the diagonal V/dt plus the halved inflow, then the
// inlet faces at melt (fully implicit).
void Filling::State::AssembleVolumeFraction()
{
    const auto& In = L(BoundaryKind::Inlet);
    const int fb = Blocks(nf), cb = Blocks(nc);
    double ceMax = 0.0, frontVol = 0.0;
    Ok(t.Calc_InnerFluxVolF(nf, 0, 0, 0, d.ijP, d.ijE, courant, dvf[0], dvf[1], dvf[2], d.xc, d.yc, d.zc, volf0,
                            d.volume, beta, flux, aE, aW, nullptr, temp, bufA, bufB, nullptr, nullptr, nullptr, nullptr,
                            nullptr, FCRI, 0, fb, faceT.nLevels, faceT.count, faceT.offset, faceT.total, faceT.size,
                            ceMax, frontVol),
       "Calc_InnerFluxVolF");
    A.Zero();
    Su.Zero();
    Ok(t.Calc_MapaEaWToAi(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb), "Calc_MapaEaWToAi");
    Ok(t.Calc_Vfconv_UnsteadyTermContribution(nc, N, nCol, d.volume, dt, A, Su, volf0, d.indexELL, cb),
       "Calc_Vfconv_UnsteadyTermContribution");
    std::vector<double> a0(nc);
    for (int c = 0; c < nc; ++c) a0[c] = m.volume[c] / dt;
    AD.Upload(a0);
    Ok(t.Calc_Vfconv_FinalCoeff(nc, N, nCol, 1.0, volf, A, AD, Su, cb), "Calc_Vfconv_FinalCoeff");
    scratch.Zero();
    Ok(t.Calc_Vfconv_InletBC_CellFR_Su_CB(ni, In.nRows, N, nCol, In.slot, fluxIn, volf, 1.0, tSu, tFR, CBv, Su, cellFR,
                                          In.mapPx, In.mapPy, scratch, In.rows, Blocks(ni), Blocks(In.nRows)),
       "Calc_Vfconv_InletBC_CellFR_Su_CB");
    scratch.Zero();
    Ok(t.Calc_Vfconv_InletAi(ni, In.nRows, N, nCol, In.mapPx, In.mapPy, CBv, scratch, A, In.rows, Blocks(ni),
                             Blocks(In.nRows)),
       "Calc_Vfconv_InletAi");
    if (flowx) flowx->WallInflowVolumeFraction(A, Su, cellFR);
}

// Puts the volume lost or gained by the solve, the snapping and melt that
// left through vents back into the partly filled cells until the melt
// volume equals the injected volume.
void Filling::State::CorrectVolume(double target)
{
    const int cb = Blocks(nc);
    for (int pass = 0; pass < 12; ++pass) {
        filled = FilledVolume();
        const double deficit = target - filled;
        if (std::fabs(deficit) <= 1e-12 * cavity) break;
        if (deficit < 0.0) {
            if (TakeOffSurplus(-deficit) <= 0.0) break;
            continue;
        }
        // The front cells (above FCRI - 0.2) that are not full; without
        // any, every cell with some melt that is not full.
        const int full = cells - CountBelow(1.0);
        double band = FCRI;
        int partial = CountAbove(band) - full;
        if (partial <= 0) band = 0.2, partial = CountAbove(band) - full;
        if (partial <= 0) break;
        Ok(t.Calc_FVolUpdate_UpdateVolF(nc, deficit / partial, band, volf, d.volume, cb), "Calc_FVolUpdate_UpdateVolF");
        Ok(t.Calc_Vfconv_VolF_FillVol_Less(nc, volf, 0.0, 1.0, cb), "Calc_Vfconv_VolF_FillVol_Less");
    }
    filled = FilledVolume();
}

// Sets the cells behind the front full. The melt that reaches a front
// spreads onto the walls there, but one velocity field with no-slip walls
// carries the wall rows at their slow cell-centre speed, so their cells
// keep air behind the front (0.7 to 0.9 of melt over four cells back on a
// slit of 8 cells across): a layer of low mixed viscosity where the shear
// is largest, which lets the melt flow faster than it should. A cell at or
// above FCRI whose every neighbour holds at least kBehindFront is behind
// the front; it is set full, and the added melt comes off the other partly
// filled cells, each in proportion to its melt, so that the melt volume
// stays what it was. A step whose added melt exceeds what the cells below
// FCRI hold (the front at the end of the cavity) sets none.
void Filling::State::FillBehindFront()
{
    Halo({volf});
    std::vector<double> phi = volf.Download(n);
    std::vector<double> least(nc, 1.0);
    for (int f = 0; f < nf; ++f) {
        const int a = m.ijP[f], b = m.ijE[f];
        if (a < nc) least[a] = std::min(least[a], phi[b]);
        if (b < nc) least[b] = std::min(least[b], phi[a]);
    }
    std::vector<int> behind;
    double added = 0.0, front = 0.0, partial = 0.0;
    for (int c = 0; c < nc; ++c) {
        if (phi[c] >= FCRI && phi[c] < 1.0 && least[c] >= kBehindFront) {
            behind.push_back(c), added += m.volume[c] * (1.0 - phi[c]);
        } else if (phi[c] < 1.0) {
            partial += m.volume[c] * phi[c];
            if (phi[c] < FCRI) front += m.volume[c] * phi[c];
        }
    }
    added = Sum(added);
    front = Sum(front);
    partial = Sum(partial);
    if (added <= 0.0 || added > front) return;
    for (int c : behind) phi[c] = 1.0;
    const double keep = 1.0 - added / partial;
    for (int c = 0; c < nc; ++c)
        if (phi[c] < 1.0) phi[c] *= keep;
    Ok(t.DataCopyHost2Device(nc, phi.data(), static_cast<double*>(volf)), "copy");
    filled = FilledVolume();
}

// Takes `excess` (cm^3) of melt off the cells that are neither empty nor
// full, each in proportion to the melt it holds, so that no cell goes below
// 0 and full cells stay full. (The front correction of CorrectVolume adds
// one volume to every cell above FCRI - 0.2, full ones included; with a
// surplus it would drain the full cells.) What those cells cannot give (as
// the inlet column snaps full, or near the end, when every cell with melt
// is full) comes off the full cells the front reached last, one after the
// other (a full cell not yet recorded counts as the latest). Returns the
// volume taken off. In a partitioned run the melt held and the order of
// the full cells are those of the whole mesh (ties in global cell order).
double Filling::State::TakeOffSurplus(double excess)
{
    std::vector<double> phi = volf.Download(nc);
    double held = 0.0;
    for (int c = 0; c < nc; ++c)
        if (phi[c] > 0.0 && phi[c] < 1.0) held += m.volume[c] * phi[c];
    held = Sum(held);
    const double share = held > 0.0 ? std::min(excess / held, 1.0) : 0.0;
    for (int c = 0; c < nc; ++c)
        if (phi[c] > 0.0 && phi[c] < 1.0) phi[c] -= share * phi[c];
    double taken = share * held;
    if (taken < excess) {
        const std::vector<float> mine = arrival.Download(nc);
        std::vector<double> at(mine.begin(), mine.end()), all = phi;
        if (par != nullptr) at = par->Gather(at), all = par->Gather(phi);
        const std::vector<double>& volume = par != nullptr ? par->Whole().volume : m.volume;
        std::vector<int> full;
        for (size_t c = 0; c < all.size(); ++c)
            if (all[c] == 1.0) full.push_back(static_cast<int>(c));
        const auto latest = [&at](int c) { return at[c] > 0.0 ? at[c] : std::numeric_limits<float>::max(); };
        std::stable_sort(full.begin(), full.end(), [&](int a, int b) { return latest(a) > latest(b); });
        for (size_t k = 0; k < full.size() && taken < excess; ++k) {
            const int c = full[k];
            const double give = std::min(excess - taken, volume[c]);
            all[c] -= give / volume[c], taken += give;
        }
        for (int c = 0; c < nc; ++c) phi[c] = all[par != nullptr ? par->Part().globalCell[c] : c];
    }
    Ok(t.DataCopyHost2Device(nc, phi.data(), static_cast<double*>(volf)), "copy");
    return taken;
}

void Filling::State::VolumeFraction()
{
    const auto &W = L(BoundaryKind::Wall), &O = L(BoundaryKind::Outlet);
    const int cb = Blocks(nc), fb = Blocks(nf);
    Ok(t.DataCopyDevice2Device(n, static_cast<double*>(volf0), static_cast<double*>(volf)), "copy");
    Gradient(volf0, dvf[0], dvf[1], dvf[2]);
    // Donor Courant numbers of this step and the fill rates.
    courant.Zero();
    cellFR.Zero();
    scratch.Zero();
    Ok(t.Calc_CourantNoDonnorCell(nf, nc, N, nCol, d.ijP, d.ijE, dt, flux, d.volume, tx, ty, courant, d.mapPx, d.mapPy,
                                  d.mapEx, d.mapEy, scratch, fb, cb),
       "Calc_CourantNoDonnorCell");
    if (nw > 0) {
        scratch.Zero();
        Ok(t.Calc_CourantNoDonnorCell_Wall(nw, W.nRows, N, nCol, W.cell, dt, ventWall, fluxWall, d.volume, W.mapPx,
                                           W.mapPy, tw, scratch, courant, W.rows, Blocks(nw), Blocks(W.nRows)),
           "Calc_CourantNoDonnorCell_Wall");
    }
    if (no > 0) {
        scratch.Zero();
        Ok(t.Calc_CourantNoDonnorCell_Wall(no, O.nRows, N, nCol, O.cell, dt, ventOut, fluxOut, d.volume, O.mapPx,
                                           O.mapPy, tw, scratch, courant, O.rows, Blocks(no), Blocks(O.nRows)),
           "Calc_CourantNoDonnorCell_Wall");
    }
    scratch.Zero();
    Ok(t.Calc_CellFR(nf, nc, N, nCol, flux, tx, ty, cellFR, d.mapPx, d.mapPy, d.mapEx, d.mapEy, scratch, fb, cb),
       "Calc_CellFR");
    Halo({courant, cellFR});

    if (ext) return ExtendedVolumeFraction();
    AssembleVolumeFraction();
    const std::vector<double> base = s.cicsam ? Su.Download() : std::vector<double>();
    Solve(A, Su, volf, kVolumeFractionTolerance, "BiCGSTAB_ELL (volume fraction)");
    // CICSAM face values of the time-averaged field against the upwind
    // values the matrix holds, as a deferred correction (the donor gives
    // F (phi_f - phi_upwind), the acceptor takes it), iterated with the
    // same matrix.
    const std::vector<double> F = s.cicsam ? flux.Download() : std::vector<double>();
    const std::vector<double> old = s.cicsam ? volf0.Download(n) : std::vector<double>();
    for (int pass = 0; s.cicsam && pass < kCicsamPasses; ++pass) {
        Ok(t.Calc_Vfconv_UpdateCellFaceValue(nf, d.ijP, d.ijE, flux, beta, volf, volf0, vfe, fb),
           "Calc_Vfconv_UpdateCellFaceValue");
        const std::vector<double> face = vfe.Download(), now = volf.Download(n);
        std::vector<double> rhs = base;
        for (int f = 0; f < nf; ++f) {
            const bool fromP = F[f] >= 0.0;
            const int donor = fromP ? m.ijP[f] : m.ijE[f], acceptor = fromP ? m.ijE[f] : m.ijP[f];
            const double c = std::fabs(F[f]) * (face[f] - 0.5 * (now[donor] + old[donor]));
            // A partition face changes only its owned cell's row.
            if (donor < nc) rhs[donor] -= c;
            if (acceptor < nc) rhs[acceptor] += c;
        }
        Su.Upload(rhs);
        Solve(A, Su, volf, kVolumeFractionTolerance, "BiCGSTAB_ELL (volume fraction)");
    }
    // Face values of the step for the next momentum fluxes.
    Ok(t.Calc_Vfconv_UpdateCellFaceValue(nf, d.ijP, d.ijE, flux, beta, volf, volf0, vfe, fb),
       "Calc_Vfconv_UpdateCellFaceValue");

    // Limiting and snapping, the volume correction, arrival times.
    injected += inflow * dt;
    Ok(t.Calc_Vfconv_VolF_FillVol_Less(nc, volf, kEmpty, kFull, cb), "Calc_Vfconv_VolF_FillVol_Less");
    CorrectVolume(std::min(injected, cavity));
    FillBehindFront();
    Halo({volf});
    time += dt;
    Ok(t.Calc_Vfconv_RecordIsoFilledSurface(nc, time, FCRI, arrival, volf, cb), "Calc_Vfconv_RecordIsoFilledSurface");
    unfilled = CountBelow(FCRI);
    BoundaryValuesAndVents();
}

// The extended step (fill_extended_vof.h) after the Courant numbers and
// fill rates of the step.
void Filling::State::ExtendedVolumeFraction()
{
    ExtendedVofFields f;
    f.dt = dt, f.time = time + dt, f.filledFraction = filled / cavity;
    f.flux = flux, f.fluxIn = fluxIn, f.fluxOut = fluxOut, f.fluxWall = fluxWall, f.courant = courant, f.volf0 = volf0, f.volf = volf;
    f.gx = dvf[0], f.gy = dvf[1], f.gz = dvf[2], f.arrival = arrival;
    injected += inflow * dt;
    ext->Advance(f);
    Halo({volf});
    time += dt;
    filled = FilledVolume();
    unfilled = CountBelow(FCRI);
    BoundaryValuesAndVents();
}

// Boundary values and the vents of the next step.
void Filling::State::BoundaryValuesAndVents()
{
    const auto &W = L(BoundaryKind::Wall), &O = L(BoundaryKind::Outlet), &S = L(BoundaryKind::Symmetry);
    // Wall faces of unfilled cells vent the air; when none is left and no
    // outlet either, those of cells not yet full do. The count of open
    // vents is taken over every process, also those without wall faces,
    // so that all of them meet in it.
    int openHere = 0;
    if (nw > 0) {
        Ok(t.Calc_Vfconv_VolF_WallBC(nw, W.cell, W.slot, volf, Blocks(nw)), "Calc_Vfconv_VolF_WallBC");
        Ok(t.Calc_UpdateFCRIMatch(nw, W.slot, volf, kVentBelow, ventWall, Blocks(nw)), "Calc_UpdateFCRIMatch");
        const std::vector<int> open = ventWall.Download();
        openHere = static_cast<int>(std::count(open.begin(), open.end(), 1));
    }
    if (outlets == 0 && Count(openHere) == 0 && nw > 0)
        Ok(t.Calc_UpdateFCRIMatch(nw, W.slot, volf, kFull, ventWall, Blocks(nw)), "Calc_UpdateFCRIMatch");
    if (no > 0) Ok(t.Calc_Vfconv_VolF_WallBC(no, O.cell, O.slot, volf, Blocks(no)), "Calc_Vfconv_VolF_WallBC");
    if (ns > 0) Ok(t.Calc_Vfconv_VolF_Symm(ns, S.cell, S.slot, volf, Blocks(ns)), "Calc_Vfconv_VolF_Symm");
    if (flowx) flowx->Vents();
}

// Area-weighted mean pressure of the inlet faces, MPa.
double Filling::State::InletPressure()
{
    const std::vector<double> pr = p.Download();
    const rvzmesh::BoundaryList& in = H(BoundaryKind::Inlet);
    double sum = 0.0, area = 0.0;
    for (int k = 0; k < ni; ++k) sum += pr[in.slot[k]] * in.area[k], area += in.area[k];
    sum = Sum(sum);
    area = Sum(area);
    return sum / area / kDynPerMPa;
}

Filling::Filling(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, Partitioned* partition)
    : s_(std::make_unique<State>(tool, settings, mesh, partition))
{
    State& st = *s_;
    st.Start();
    // The flow of the empty cavity, without time term, gives the first
    // time step; it only sets that step's size, so it need not converge.
    st.dt = 1.0e30;
    try {
        st.Flow();
    } catch (const StepError& e) {
        if (e.kind() != StepError::Kind::NotConverged) throw;
    }
    const double co = st.MaxMeltCourant();
    st.dt = st.s.courant / std::max(co, 1e-300);
}

Filling::~Filling() = default;

StepRecord Filling::Step()
{
    State& st = *s_;
    ++st.step;
    // The time step: the target Courant number of the melt, no more than
    // the volume left to fill at a fixed flow rate.
    if (st.flowx) st.flowx->BeginStep(st.step, st.time, st.dt, st.filled / st.cavity);
    const double fixedInflow = st.flowx ? st.flowx->FixedInflow() : st.pressureInlet ? 0.0 : st.s.flow_rate;
    if (fixedInflow > 0.0) {
        const double left = (st.cavity - st.injected) / fixedInflow;
        if (left > 0.0) st.dt = std::min(st.dt, left);
    }
    Ok(st.t.DataCopyDevice2Device(st.n, static_cast<double*>(st.u0), static_cast<double*>(st.u)), "copy");
    Ok(st.t.DataCopyDevice2Device(st.n, static_cast<double*>(st.v0), static_cast<double*>(st.v)), "copy");
    Ok(st.t.DataCopyDevice2Device(st.n, static_cast<double*>(st.w0), static_cast<double*>(st.w)), "copy");
    StepRecord r;
    r.step = st.step;
    r.dt = st.dt;
    st.propertiesSeconds = 0.0;
    st.linearIterations = 0;
    st.solvesAtLimit = 0;
    const double start = st.Now();
    r.outerIterations = st.Flow();
    const double flowEnd = st.Now();
    r.propertiesSeconds = st.propertiesSeconds;
    r.flowSeconds = flowEnd - start - st.propertiesSeconds;
    r.continuity = st.continuity;
    r.flowRate = st.inflow;
    r.inletPressure = st.InletPressure();
    const double volfStart = st.Now();
    st.VolumeFraction();
    const double volfEnd = st.Now();
    r.volumeFractionSeconds = volfEnd - volfStart;
    r.linearIterations = st.linearIterations;
    if (st.energy) {
        Ok(st.t.Calc_mfeD(st.nf, st.s.density, st.s.air_density, st.vfe, st.flux, st.massFlux, Blocks(st.nf)),
           "Calc_mfeD");
        std::vector<double> mIn = st.fluxIn.Download();
        for (double& f : mIn) f *= st.s.density;
        st.mfeIn.Upload(mIn);
        st.energy->SetTimeStep(r.dt, st.den, st.volf);
        st.energy->Solve(st.massFlux, st.mfeIn, st.vis, st.rate);
        Ok(st.t.DataCopyDevice2Device(st.n, static_cast<double*>(st.T), st.energy->TemperatureD()), "copy");
        r.temperatureSeconds = st.Now() - volfEnd;
    }
    if (st.energyx) {
        st.energyx->Solve(st.vfe, st.flux, st.fluxIn, st.den, st.volf, st.vis, st.rate, r.dt);
        Ok(st.t.DataCopyDevice2Device(st.n, static_cast<double*>(st.T), st.energyx->TemperatureD()), "copy");
        r.temperatureSeconds = st.Now() - volfEnd;
    }
    st.front->Advance(st.flux, st.fluxIn, st.T, st.volf0, st.volf, r.dt);
    if (st.fibre) {
        // Velocity gradients of the step's final velocity, then the
        // orientation over the step.
        const double fibreStart = st.Now();
        st.BoundaryValues();
        D* vel[3] = {&st.u, &st.v, &st.w};
        for (int c = 0; c < 3; ++c) st.Gradient(*vel[c], st.grad[c], st.grad[3 + c], st.grad[6 + c]);
        FibreFlow flow;
        flow.faceFlux = st.flux, flow.inletFlux = st.fluxIn, flow.volf = st.volf, flow.wallVent = st.ventWall;
        flow.grad = {st.grad[0], st.grad[3], st.grad[6], st.grad[1], st.grad[4], st.grad[7], st.grad[2], st.grad[5],
                     st.grad[8]};
        st.fibre->Step(r.dt, flow);
        r.fibreSeconds = st.Now() - fibreStart;
    }
    r.solvesAtLimit = st.solvesAtLimit;
    r.time = st.time;
    r.filledFraction = st.filled / st.cavity;
    r.volumeError = (st.filled - std::min(st.injected, st.cavity)) / st.cavity;
    if (!std::isfinite(r.filledFraction) || !std::isfinite(r.inletPressure))
        throw StepError(StepError::Kind::NotFinite, "step " + std::to_string(st.step) + ": the volume fraction or the "
                                                                                         "pressure is not finite");
    // The next time step.
    const double co = st.MaxMeltCourant();
    st.dt = std::min(kGrowth * st.dt, st.s.courant / std::max(co, 1e-300));
    return r;
}

double Filling::Time() const { return s_->time; }
FibreOrientation* Filling::Fibre() const { return s_->fibre.get(); }
double Filling::CavityVolume() const { return s_->cavity; }
double Filling::MeltVolume() const { return s_->filled; }
double Filling::InjectedVolume() const { return s_->injected; }
int Filling::UnfilledCells() const { return s_->unfilled; }
double Filling::LowestFrontTemperature() const
{
    return s_->par != nullptr ? s_->par->MinIgnoringNaN(s_->front->Lowest()) : s_->front->Lowest();
}
std::vector<double> Filling::ExtendedHeatCapacity() const
{
    return s_->energyx ? s_->energyx->HeatCapacity() : std::vector<double>();
}
bool Filling::Full() const
{
    if (s_->ext) return s_->ext->UnfilledCells() == 0;  // the end-of-filling test
    return s_->filled >= (1.0 - 1e-9) * s_->cavity;
}
const ExtendedVof* Filling::Extended() const { return s_->ext.get(); }
const GateStates* Filling::Gates() const { return s_->flowx ? &s_->flowx->gates() : nullptr; }

Fields Filling::Download() const
{
    State& st = *s_;
    Fields f;
    f.volf = st.volf.Download(st.nc);
    f.u = st.u.Download(st.nc), f.v = st.v.Download(st.nc), f.w = st.w.Download(st.nc);
    f.p = st.p.Download(st.nc);
    f.T = st.T.Download(st.nc);
    f.vis = st.vis.Download(st.nc);
    f.frontTemperature = st.front->Sampled();
    const std::vector<float> mf = st.arrival.Download(st.nc);
    f.arrival.resize(st.nc);
    for (int c = 0; c < st.nc; ++c) f.arrival[c] = mf[c] > 0.0f ? static_cast<double>(mf[c]) : -1.0;
    if (st.ext && st.s.second_fluid != "none") f.second = st.ext->SecondFraction();
    if (st.fibre) f.fibre = st.fibre->Download();
    return f;
}

RunResult RunFill(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, std::FILE* log,
                  const std::function<void(const Filling&, const StepRecord&)>& onStep, Partitioned* partition)
{
    RunResult r;
    try {
        Filling f(tool, settings, mesh, partition);
        // Injected volume and time of the previous step, for the mean flow
        // rate since the start against which a stall is judged.
        double injected = 0.0, previousTime = 0.0, packEnd = 0.0;
        bool packing = false;
        for (int step = 1;; ++step) {
            const StepRecord rec = f.Step();
            r.history.push_back(rec);
            r.maxInletPressure = std::max(r.maxInletPressure, rec.inletPressure);
            injected += rec.flowRate * (rec.time - previousTime);
            previousTime = rec.time;
            if (log != nullptr) {
                std::fprintf(log, "step %5d  t = %.6e s  filled %7.3f %%  inlet p %.6g MPa  Q %.6g cm^3/s  outer %d\n",
                             rec.step, rec.time, 100.0 * rec.filledFraction, rec.inletPressure, rec.flowRate,
                             rec.outerIterations);
                std::fflush(log);
            }
            if (onStep) onStep(f, rec);
            if (!packing) r.fillTime = rec.time;
            r.lowestFrontTemperature = f.LowestFrontTemperature();
            // Packing: the gates hold the full cavity for pack_time.
            if (f.Full() && !packing && settings.flow_path == "extended" && settings.extended.pack_time > 0.0)
                packing = true, packEnd = rec.time + settings.extended.pack_time;
            if (f.Full() && (!packing || rec.time >= packEnd)) {
                r.ending = Ending::Full;
                r.message = "full";
                break;
            }
            if (rec.inletPressure > settings.pressure_limit) {
                r.ending = Ending::ShortShotPressure;
                r.message = "short shot: the inlet pressure passed the limit of " + channel::Number(settings.pressure_limit) + " MPa";
                break;
            }
            // Judged against the mean rate since the start, not the largest:
            // the first step at constant pressure, with the cavity still
            // venting everywhere, takes a thousand times the rate the melt
            // keeps later, while a front driven by a constant pressure
            // slows only as the square root of time (its rate stays half
            // the mean).
            if (!packing && settings.inlet == "pressure" && rec.time > 0.0 &&
                rec.flowRate < settings.stall_fraction * injected / rec.time) {
                r.ending = Ending::ShortShotStalled;
                r.message = "short shot: the flow rate fell below " + channel::Number(settings.stall_fraction) +
                            " of its mean since the start";
                break;
            }
            if (rec.time >= settings.max_time) {
                r.ending = Ending::ShortShotTime;
                r.message = "short shot: not full at max_time";
                break;
            }
            if (step >= settings.max_steps) {
                r.ending = Ending::StepLimit;
                r.message = "stopped after max_steps = " + std::to_string(settings.max_steps) + " steps, not full";
                break;
            }
        }
    } catch (const StepError& e) {
        r.ending = Ending::Failed;
        r.failure = e.kind();
        r.message = e.what();
    } catch (const std::runtime_error& e) {
        r.ending = Ending::Failed;
        r.failure = StepError::Kind::Device;
        r.message = e.what();
    }
    return r;
}

}  // namespace fill
