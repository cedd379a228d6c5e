#include "fill_extended_vof.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <memory>
#include <sstream>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_partition.h"
#include "fill_solver.h"

namespace fill {

namespace {

using channel::Buf;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;
using I = Buf<int>;


// Snapping bands after the solve: at or below kEmpty to 0, at or above
// kFull to 1 (the basic path's values).
constexpr double kEmpty = 1.0e-4;
constexpr double kFull = 0.9999;
// The solve is restarted until the largest row residual is below this
// fraction of the largest right-hand side.
constexpr double kResidual = 1.0e-13;
constexpr int kRestarts = 8;

struct Levels {
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
    Levels(CRVZGPUtool& t, int n) { t.GetSizeOfBlock(std::max(n, 1), total, nLevels, count, size, offset); }
};

std::vector<std::string> SplitNames(const std::string& list)
{
    std::vector<std::string> names;
    std::stringstream in(list);
    std::string name;
    while (std::getline(in, name, ',')) {
        name.erase(0, name.find_first_not_of(" \t"));
        name.erase(name.find_last_not_of(" \t") + 1);
        if (!name.empty()) names.push_back(name);
    }
    return names;
}

}  // namespace

std::vector<int> SecondFluidGateGroups(const FillSettings& s, const rvzmesh::Mesh& mesh)
{
    std::vector<int> groups;
    if (s.second_fluid == "none") return groups;
    const rvzmesh::BoundaryList& in = mesh.list(BoundaryKind::Inlet);
    for (const std::string& name : SplitNames(s.second_fluid_gates)) {
        const int g = mesh.GroupIndex(name);
        if (g < 0) {
            std::string known;
            for (int k = 0; k < in.size(); ++k) {
                const std::string& gn = mesh.groupNames[in.group[k]];
                if (known.find("'" + gn + "'") == std::string::npos) known += (known.empty() ? "'" : ", '") + gn + "'";
            }
            FailAt(s, {"second_fluid_gates"}, "the mesh has no boundary group '" + name + "' (inlet groups: " + known + ")");
        }
        if (std::find(in.group.begin(), in.group.end(), g) == in.group.end())
            FailAt(s, {"second_fluid_gates"}, "the boundary group '" + name + "' holds no inlet face");
        groups.push_back(g);
    }
    return groups;
}

struct ExtendedVof::Impl {
    Impl(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& dm,
         Partitioned* partition)
        : t(tool), s(settings), m(mesh), d(dm), par(partition)
    {
    }
    const rvzmesh::DeviceBoundaryList& L(BoundaryKind k) const { return d.boundary[static_cast<int>(k)]; }

    // Over all processes of a partitioned run (rank order); the value
    // itself on one process.
    double Sum(double local) { return par != nullptr ? par->Sum(local) : local; }
    int Count(int local) { return par != nullptr ? par->SumCount(local) : local; }
    double Max(double local) { return par != nullptr ? par->Max(local) : local; }
    void Halo(double* field)
    {
        if (par != nullptr) par->Refresh(field);
    }
    void FrontStatistics(double& ce, double& vol);
    void TurnBack();
    double* WholeFlux(double* flux);

    // One equation: IsMainPhase 1 for the melt, 0 for the second fluid.
    // phi0/phi: last and new level; returns the balance error of the
    // solve over the cavity.
    double Equation(const ExtendedVofFields& f, int mainPhase, double* phi0, double* phi, double* gx, double* gy,
                    double* gz);
    void Solve(double* phi);
    void KeepFilled(const ExtendedVofFields& f);

    CRVZGPUtool& t;
    const FillSettings& s;
    const rvzmesh::Mesh& m;
    const rvzmesh::DeviceMesh& d;
    Partitioned* par;  // null on one process
    std::function<void(double*, double*, double*, double*)> gradient;
    std::function<void(double)> correct;
    const int nc = m.nCells, nf = m.nFaces, N = m.newNNU, nCol = m.nColumnPerRow, n = m.nExtended;
    const int ni = m.list(BoundaryKind::Inlet).size(), nw = m.list(BoundaryKind::Wall).size(),
              no = m.list(BoundaryKind::Outlet).size();
    double cavity = 0.0;

    D Fe{t, nf}, beta{t, nf}, aE{t, nf}, aW{t, nf}, t1{t, nf}, t2{t, nf}, t3{t, nf};
    D src{t, std::max(N, 1)}, x{t, std::max(N, 1)}, A{t, N * nCol}, scratch{t, N * nCol};
    // Inlet faces: active flag, group, material type of each group, the
    // four injection flags, scratch.
    I active{t, std::vector<int>(std::max(ni, 1), 1)}, group{t, std::max(ni, 1)};
    I material{t, std::max(static_cast<int>(m.groupNames.size()), 1)};
    Buf<bool> j12{t, std::max(ni, 1)}, j3P{t, std::max(ni, 1)}, j3N{t, std::max(ni, 1)}, j4P{t, std::max(ni, 1)};
    D in1{t, std::max(ni, 1)}, in2{t, std::max(ni, 1)}, inTemp{t, std::max(ni, 1)}, wallTemp{t, std::max(nw, 1)};
    // Second fluid and the end-of-filling field (melt plus second fluid).
    D phi2{t, std::vector<double>(n, 0.0)}, phi20{t, std::vector<double>(n, 0.0)}, total{t, n};
    D g2[3] = {{t, n}, {t, n}, {t, n}};
    Levels faceL{t, nf}, cellL{t, nc};
    D stats1{t, faceL.total}, stats2{t, faceL.total}, endD{t, cellL.total};
    I endI{t, cellL.total};

    std::vector<char> secondGate;  // per inlet face
    // The interior faces in the whole mesh's order: a part lists its
    // partition faces after the others, and a diagonal summed on the host
    // gets the whole mesh's bits only when it adds them in that order.
    std::vector<int> faceOrder;
    // The interior faces as the whole mesh orients them. A part turns each
    // partition face so that its own cell is P; the compression correction
    // of the flux methods, 0.1 m c_f (1 - Fe), keeps its sign when a face
    // is turned (m and c_f both change sign), so on a turned face the
    // corrected flux would differ from the whole mesh's by twice the
    // correction. The faces the cut turned are turned back for the face
    // operations (P the halo copy, area vector, weight and slot maps
    // swapped, flux negated); on one process these are the mesh's arrays.
    std::vector<int> turned;     // local faces the cut turned
    std::vector<int> hostP, hostE;
    int *ijP = nullptr, *ijE = nullptr, *mapPx = nullptr, *mapPy = nullptr, *mapEx = nullptr, *mapEy = nullptr;
    double *le = nullptr, *sx = nullptr, *sy = nullptr, *sz = nullptr;
    std::vector<std::unique_ptr<I>> turnedInts;
    std::vector<std::unique_ptr<D>> turnedReals;
    std::unique_ptr<D> wholeFlux;
    bool flows = false;
    double injectedMelt = 0.0, injectedSecond = 0.0, secondVolume = 0.0, worstBalance = 0.0;
    double frontCe = 0.0, frontVol = 0.0;
    double refillVolume = 0.0, ventedSecond = 0.0, clippedSecond = 0.0;  // melt the keep-filled rule added
    int unfilled = -1, refilled = 0;
};

ExtendedVof::ExtendedVof(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                         const rvzmesh::DeviceMesh& d, std::function<void(double*, double*, double*, double*)> gradient,
                         std::function<void(double)> correct, Partitioned* partition)
    : p_(std::make_unique<Impl>(tool, settings, mesh, d, partition))
{
    Impl& e = *p_;
    e.gradient = std::move(gradient);
    e.correct = std::move(correct);
    double cavity = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) cavity += mesh.volume[c];
    e.cavity = e.Sum(cavity);
    const rvzmesh::BoundaryList& in = mesh.list(BoundaryKind::Inlet);
    std::vector<int> types(std::max(mesh.groupNames.size(), size_t{1}), kMeltGate);
    // A part may hold no face of a second-fluid gate: the groups are those
    // of the whole mesh (a part keeps its group numbers).
    const std::vector<int> gates = SecondFluidGateGroups(settings, partition != nullptr ? partition->Whole() : mesh);
    for (int g : gates) types[g] = settings.second_fluid == "water" ? kWaterGate : kGasGate;
    e.material.Upload(types);
    e.faceOrder.resize(static_cast<size_t>(e.nf));
    std::iota(e.faceOrder.begin(), e.faceOrder.end(), 0);
    if (partition != nullptr) {
        const rvzmesh::Mesh& whole = partition->Whole();
        const std::vector<int>& global = partition->Part().globalCell;
        std::map<std::pair<int, int>, int> wholeFace;
        for (int fc = 0; fc < whole.nFaces; ++fc) wholeFace[{whole.ijP[fc], whole.ijE[fc]}] = fc;
        std::vector<int> at(static_cast<size_t>(e.nf));
        for (int fc = 0; fc < e.nf; ++fc) {
            const int a = global[mesh.ijP[fc]], b = global[mesh.ijE[fc]];
            at[fc] = wholeFace.at({std::min(a, b), std::max(a, b)});
        }
        std::sort(e.faceOrder.begin(), e.faceOrder.end(), [&at](int x, int y) { return at[x] < at[y]; });
    }
    e.TurnBack();
    e.secondGate.assign(e.ni, 0);
    for (int k = 0; k < e.ni; ++k) e.secondGate[k] = types[in.group[k]] != kMeltGate;
    if (e.ni > 0) e.group.Upload(in.group);
}

ExtendedVof::~ExtendedVof() = default;

void ExtendedVof::Impl::TurnBack()
{
    hostP = m.ijP, hostE = m.ijE;
    ijP = d.ijP, ijE = d.ijE, mapPx = d.mapPx, mapPy = d.mapPy, mapEx = d.mapEx, mapEy = d.mapEy;
    le = d.le, sx = d.sx, sy = d.sy, sz = d.sz;
    if (par == nullptr) return;
    const std::vector<int>& global = par->Part().globalCell;
    for (int fc = m.nInnerFaces; fc < nf; ++fc)
        if (global[m.ijP[fc]] > global[m.ijE[fc]]) turned.push_back(fc);
    if (turned.empty()) return;
    std::vector<int> Px = m.mapPx, Py = m.mapPy, Ex = m.mapEx, Ey = m.mapEy;
    std::vector<double> w = m.le, ax = m.sx, ay = m.sy, az = m.sz;
    for (int fc : turned) {
        std::swap(hostP[fc], hostE[fc]);
        std::swap(Px[fc], Ex[fc]), std::swap(Py[fc], Ey[fc]);
        w[fc] = 1.0 - w[fc];  // exact: the weights are built so
        ax[fc] = -ax[fc], ay[fc] = -ay[fc], az[fc] = -az[fc];
    }
    int** ints[] = {&ijP, &ijE, &mapPx, &mapPy, &mapEx, &mapEy};
    const std::vector<int>* intValues[] = {&hostP, &hostE, &Px, &Py, &Ex, &Ey};
    for (int k = 0; k < 6; ++k) {
        turnedInts.push_back(std::make_unique<I>(t, *intValues[k]));
        *ints[k] = *turnedInts.back();
    }
    double** reals[] = {&le, &sx, &sy, &sz};
    const std::vector<double>* realValues[] = {&w, &ax, &ay, &az};
    for (int k = 0; k < 4; ++k) {
        turnedReals.push_back(std::make_unique<D>(t, *realValues[k]));
        *reals[k] = *turnedReals.back();
    }
    wholeFlux = std::make_unique<D>(t, nf);
}

// The face volume fluxes in the orientation of TurnBack.
double* ExtendedVof::Impl::WholeFlux(double* flux)
{
    if (turned.empty()) return flux;
    std::vector<double> q(static_cast<size_t>(nf));
    Ok(t.DataCopyDevice2Host(nf, q.data(), flux), "copy");
    for (int fc : turned) q[fc] = -q[fc];
    wholeFlux->Upload(q);
    return *wholeFlux;
}

// The conservative system of one fraction: scheme face values, corrected
// coefficients with the deferred correction, the diagonal V/dt plus the
// corrected outflow of interior and outlet faces, the inlet terms of the
// injection flags; solved in place.
double ExtendedVof::Impl::Equation(const ExtendedVofFields& f, int mainPhase, double* phi0, double* phi, double* gx,
                                   double* gy, double* gz)
{
    const auto &In = L(BoundaryKind::Inlet), &O = L(BoundaryKind::Outlet);
    const int fb = Blocks(nf), cb = Blocks(nc);
    const double gamma = s.vof_gamma;
    double* flux = WholeFlux(f.flux);
    Ok(t.Calc_VOF_FlowE_InnerFlux_HRScheme(nf, ijP, ijE, s.vof_scheme, flux, phi0, f.courant, gx, gy, gz, d.xc,
                                           d.yc, d.zc, Fe, beta, fb),
       "Calc_VOF_FlowE_InnerFlux_HRScheme");
    src.Zero();
    A.Zero();
    scratch.Zero();
    double ce = 0.0, vol = 0.0;
    Ok(t.Calc_VOF_FlowE_InnerFluxVolF_Method(s.vof_method, nf, nc, N, nCol, gamma, kFCRI, s.vof_ce_bound, ijP, ijE,
                                             flux, le, sx, sy, sz, phi0, f.courant, Fe, d.area, gx, gy, gz,
                                             d.volume, mapPx, mapPy, mapEx, mapEy, aE, aW, t1, t2, t3, scratch,
                                             src, fb, cb, nullptr, nullptr, ce, vol, stats1, stats2, faceL.nLevels,
                                             faceL.count, faceL.offset, faceL.total, faceL.size),
       "Calc_VOF_FlowE_InnerFluxVolF_Method");
    if (par != nullptr) FrontStatistics(ce, vol);
    if (mainPhase == 1) frontCe = ce, frontVol = vol;
    Ok(t.Calc_MapaEaWToAi(nf, N, mapPx, mapPy, mapEx, mapEy, aE, aW, A, fb), "Calc_MapaEaWToAi");

    // Injection flags of the inlet faces.
    if (ni > 0)
        Ok(t.Calc_VOF_FlowE_SetVOFInlet_judge(ni, flows ? 1 : 0, mainPhase, In.cell, In.slot, active, group, material,
                                              gx, gy, gz, j12, j3P, j3N, j4P, Blocks(ni)),
           "Calc_VOF_FlowE_SetVOFInlet_judge");
    std::unique_ptr<bool[]> flag[4];
    bool* dev[4] = {j12, j3P, j3N, j4P};
    for (int k = 0; k < 4; ++k) {
        flag[k].reset(new bool[std::max(ni, 1)]);
        if (ni > 0) Ok(t.DataCopyDevice2Host(ni, flag[k].get(), dev[k]), "copy");
    }

    // Conservative diagonal and the old level, on the host.
    std::vector<double> a = A.Download(), rhs = src.Download();
    const std::vector<double> e = aE.Download(), w = aW.Download();
    std::vector<double> p0(nc);
    Ok(t.DataCopyDevice2Host(nc, p0.data(), phi0), "copy");
    for (int c = 0; c < nc; ++c) {
        const double a0 = m.volume[c] / f.dt;
        a[c] += a0;
        rhs[c] += a0 * p0[c];
    }
    for (int fc : faceOrder) {
        const double corrected = e[fc] - w[fc];  // m' = min(m', 0) + max(m', 0)
        a[corrected > 0.0 ? hostP[fc] : hostE[fc]] += std::fabs(corrected);
    }
    std::vector<double> outFlux;
    if (no > 0) {
        outFlux.resize(no);
        Ok(t.DataCopyDevice2Host(no, outFlux.data(), f.fluxOut), "copy");
        const rvzmesh::BoundaryList& out = m.list(BoundaryKind::Outlet);
        for (int k = 0; k < no; ++k)
            if (outFlux[k] > 0.0) a[out.cell[k]] += outFlux[k];
    }
    std::vector<double> wallFlux;
    const rvzmesh::BoundaryList& wall = m.list(BoundaryKind::Wall);
    if (mainPhase == 0 && nw > 0) {
        wallFlux.resize(nw);
        Ok(t.DataCopyDevice2Host(nw, wallFlux.data(), f.fluxWall), "copy");
        for (int k = 0; k < nw; ++k)
            if (wallFlux[k] > 0.0) a[wall.cell[k]] += wallFlux[k];
    }
    // The inlet operation adds the inflow of each flagged face to the
    // diagonal (its inflow form); the conservative diagonal holds no
    // inflow, so that much comes off first.
    std::vector<double> inFlux(ni);
    if (ni > 0) Ok(t.DataCopyDevice2Host(ni, inFlux.data(), f.fluxIn), "copy");
    const rvzmesh::BoundaryList& inH = m.list(BoundaryKind::Inlet);
    double inflowIn = 0.0;  // inflow of this fraction
    for (int k = 0; k < ni; ++k) {
        const double wIn = -std::min(inFlux[k], 0.0);
        const int set = flag[0][k] + flag[1][k] + flag[2][k] + flag[3][k];
        const int filling = flag[0][k] + flag[2][k] + flag[3][k];
        a[inH.cell[k]] -= set * wIn;
        inflowIn += filling * wIn;
    }
    A.Upload(a);
    src.Upload(rhs);
    scratch.Zero();
    if (ni > 0)
        Ok(t.Calc_VOF_FlowE_SetVOFInlet_All(ni, In.nRows, N, nCol, In.slot, j12, j3P, j3N, j4P, f.fluxIn, phi, src, A,
                                            in1, in2, In.mapPx, In.mapPy, scratch, Blocks(ni), Blocks(In.nRows),
                                            In.rows),
           "Calc_VOF_FlowE_SetVOFInlet_All");
    Solve(phi);

    // Balance of the solve: volume change against inflow minus outflow.
    std::vector<double> p1(nc);
    Ok(t.DataCopyDevice2Host(nc, p1.data(), phi), "copy");
    double change = 0.0, outflow = 0.0;
    for (int c = 0; c < nc; ++c) change += m.volume[c] * (p1[c] - p0[c]);
    const rvzmesh::BoundaryList& out = m.list(BoundaryKind::Outlet);
    for (int k = 0; k < no; ++k)
        if (outFlux[k] > 0.0) outflow += outFlux[k] * p1[out.cell[k]];
    for (size_t k = 0; k < wallFlux.size(); ++k)
        if (wallFlux[k] > 0.0) outflow += wallFlux[k] * p1[wall.cell[k]];
    change = Sum(change), outflow = Sum(outflow), inflowIn = Sum(inflowIn);
    if (mainPhase == 0) ventedSecond += f.dt * outflow;
    (mainPhase == 1 ? injectedMelt : injectedSecond) += f.dt * inflowIn;
    return std::fabs(change - f.dt * (inflowIn - outflow)) / cavity;
}

// Jacobi BiCGSTAB, restarted from where it stopped while the largest row
// residual is above kResidual of the right-hand side (the method stops at
// the first exact zero of its scalars, as on the first step, whose
// right-hand side touches the inlet rows only). On a part: the distributed
// solve, which leaves the halo of x refreshed, and the largest residual
// and right-hand side of all processes.
void ExtendedVof::Impl::Solve(double* phi)
{
    const int held = par != nullptr ? m.nCells + m.nHalo : nc;  // rows, then the halo copies they read
    x.Zero();
    Ok(t.DataCopyDevice2Device(nc, static_cast<double*>(x), phi), "copy");
    const std::vector<double> a = A.Download(), b = src.Download(nc);
    double scale = 0.0;
    for (double v : b) scale = std::max(scale, std::fabs(v));
    scale = Max(scale);
    for (int restart = 0; restart < kRestarts; ++restart) {
        if (par != nullptr) {
            par->Solve(d.indexELL, A, src, x, 1e-14);
        } else {
            double resIn = 0.0, resOut = 0.0;
            int iter = 0;
            Ok(t.BiCGSTAB_ELL(nc, nCol, d.indexELL, A, src, x, 1e-14, resIn, resOut, iter, 4000, 1),
               "BiCGSTAB_ELL (extended volume fraction)");
        }
        const std::vector<double> xs = x.Download(held);
        double worst = 0.0;
        for (int r = 0; r < nc; ++r) {
            double acc = a[r] * xs[r];
            for (int j = 1; j < nCol; ++j) {
                const size_t at = static_cast<size_t>(j) * N + r;
                if (m.indexELL[at] >= 0) acc += a[at] * xs[m.indexELL[at]];
            }
            worst = std::max(worst, std::fabs(acc - b[r]));
        }
        if (Max(worst) <= kResidual * std::max(scale, 1e-300)) break;
    }
    Ok(t.DataCopyDevice2Device(held, phi, static_cast<double*>(x)), "copy");
}

// The flux method's front statistics of the whole mesh. Maxima (methods
// 2-4) are the largest of the processes'. Sums (methods 0 and 1) count
// each face once: a partition face is on both of its processes' lists, so
// it is added by the process of lower rank only.
void ExtendedVof::Impl::FrontStatistics(double& ce, double& vol)
{
    if (s.vof_method < 0 || s.vof_method > 1) {
        ce = Max(ce), vol = Max(vol);
        return;
    }
    const std::vector<double> face2 = t2.Download(nf), face3 = t3.Download(nf);
    const std::vector<int>& owner = par->Part().ownerPart;
    double sum2 = 0.0, sum3 = 0.0;
    for (int fc = 0; fc < nf; ++fc) {
        if (fc >= m.nInnerFaces && owner[static_cast<size_t>(m.ijE[fc] - nc)] < par->rank()) continue;
        sum2 += face2[fc], sum3 += face3[fc];
    }
    ce = Sum(sum2), vol = Sum(sum3);
}

// While the second fluid flows: a cell above the critical melt fraction at
// the last level that fell below it keeps filled at the inlet faces that do
// not inject and at the walls.
void ExtendedVof::Impl::KeepFilled(const ExtendedVofFields& f)
{
    const auto &In = L(BoundaryKind::Inlet), &W = L(BoundaryKind::Wall);
    std::vector<double> before(nc);
    Ok(t.DataCopyDevice2Host(nc, before.data(), f.volf), "copy");
    if (ni > 0) {
        scratch.Zero();
        Ok(t.Calc_VOF_FlowE_InletBC(ni, In.nRows, N, nCol, flows ? 1 : 0, 1, kFCRI, In.cell, In.slot, active,
                                    f.volf0, f.volf, f.courant, f.gx, f.gy, f.gz, inTemp, In.mapPx, In.mapPy, scratch,
                                    Blocks(ni), Blocks(In.nRows), In.rows),
           "Calc_VOF_FlowE_InletBC");
    }
    if (flows && nw > 0) {
        scratch.Zero();
        Ok(t.Calc_VOF_FlowE_WallBC_FAIM_MainPhase(nw, W.nRows, N, nCol, kFCRI, W.cell, W.slot, f.volf0, f.volf,
                                                  wallTemp, W.mapPx, W.mapPy, scratch, Blocks(nw), Blocks(W.nRows),
                                                  W.rows),
           "Calc_VOF_FlowE_WallBC_FAIM_MainPhase");
    }
    std::vector<double> after(nc);
    Ok(t.DataCopyDevice2Host(nc, after.data(), f.volf), "copy");
    refilled = 0;
    double added = 0.0;
    for (int c = 0; c < nc; ++c) {
        if (after[c] == before[c]) continue;
        refilled += after[c] == 1.0;
        added += m.volume[c] * (after[c] - before[c]);
    }
    refilled = Count(refilled);
    refillVolume += Sum(added);
}

void ExtendedVof::Advance(const ExtendedVofFields& f)
{
    Impl& e = *p_;
    const int cb = Blocks(e.nc);
    if (!e.flows && e.s.second_fluid != "none" &&
        (f.time - f.dt >= e.s.second_fluid_start_time || f.filledFraction >= e.s.second_fluid_start_fraction))
        e.flows = true;

    // The melt.
    e.worstBalance = std::max(e.worstBalance, e.Equation(f, 1, f.volf0, f.volf, f.gx, f.gy, f.gz));
    e.KeepFilled(f);

    // The second fluid, from its own last level.
    if (e.flows) {
        Ok(e.t.DataCopyDevice2Device(e.n, static_cast<double*>(e.phi20), static_cast<double*>(e.phi2)), "copy");
        e.gradient(e.phi20, e.g2[0], e.g2[1], e.g2[2]);
        e.worstBalance = std::max(e.worstBalance, e.Equation(f, 0, e.phi20, e.phi2, e.g2[0], e.g2[1], e.g2[2]));
        const std::vector<double> solved = e.phi2.Download(e.nc);
        Ok(e.t.Calc_Vfconv_VolF_FillVol_Less(e.nc, e.phi2, 0.0, 1.0, cb), "Calc_Vfconv_VolF_FillVol_Less");
        const std::vector<double> p2 = e.phi2.Download(e.nc);
        double held = 0.0, clipped = 0.0;
        for (int c = 0; c < e.nc; ++c) {
            held += e.m.volume[c] * p2[c];
            clipped += e.m.volume[c] * (solved[c] - p2[c]);
        }
        e.secondVolume = e.Sum(held);
        e.clippedSecond += e.Sum(clipped);
        e.Halo(e.phi2);
    }

    // Limiting and snapping, the melt's volume correction, arrival times.
    // While the second fluid flows, recorded cells at or above the critical
    // fraction are not snapped to 1: that would undo every displacement of
    // melt by the second fluid; the keep-filled rule decides instead.
    if (e.flows)
        Ok(e.t.Calc_Vfconv_VolF_FillVol_Less(e.nc, f.volf, kEmpty, kFull, cb), "Calc_Vfconv_VolF_FillVol_Less");
    else
        Ok(e.t.Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(e.nc, f.filledFraction, kEmpty, kFull, kFCRI, f.arrival,
                                                            f.volf, cb),
           "Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme");
    e.correct(std::min(e.injectedMelt + e.refillVolume, e.cavity));
    Ok(e.t.Calc_VOF_FlowE_Update_mftime(e.nc, kFCRI, f.time, f.volf, f.arrival, cb), "Calc_VOF_FlowE_Update_mftime");

    // End of filling: cells whose melt plus second fluid lies below the
    // critical fraction.
    Ok(e.t.DataCopyDevice2Device(e.nc, static_cast<double*>(e.total), f.volf), "copy");
    if (e.flows) {
        std::vector<double> sum = e.total.Download(e.nc);
        const std::vector<double> p2 = e.phi2.Download(e.nc);
        for (int c = 0; c < e.nc; ++c) sum[c] += p2[c];
        Ok(e.t.DataCopyHost2Device(e.nc, sum.data(), static_cast<double*>(e.total)), "copy");
    }
    double unfilledVolume = 0.0;
    Ok(e.t.Calc_VOF_FlowE_CheckEndFilling(e.nc, kFCRI, e.total, e.d.volume, 0, e.unfilled, unfilledVolume, e.endI,
                                          e.endD, e.cellL.nLevels, e.cellL.count, e.cellL.offset, e.cellL.total,
                                          e.cellL.size),
       "Calc_VOF_FlowE_CheckEndFilling");
    e.unfilled = e.Count(e.unfilled);
}

bool ExtendedVof::SecondFluidFlows() const { return p_->flows; }
double ExtendedVof::InjectedMelt() const { return p_->injectedMelt; }
double ExtendedVof::InjectedSecond() const { return p_->injectedSecond; }
double ExtendedVof::SecondVolume() const { return p_->secondVolume; }
double ExtendedVof::VentedSecond() const { return p_->ventedSecond; }
double ExtendedVof::ClippedSecond() const { return p_->clippedSecond; }
double ExtendedVof::RefillVolume() const { return p_->refillVolume; }
double ExtendedVof::WorstSolveBalance() const { return p_->worstBalance; }
int ExtendedVof::UnfilledCells() const { return p_->unfilled; }
double ExtendedVof::FrontCe() const { return p_->frontCe; }
double ExtendedVof::FrontVol() const { return p_->frontVol; }
int ExtendedVof::Refilled() const { return p_->refilled; }
std::vector<double> ExtendedVof::SecondFraction() const { return p_->phi2.Download(p_->nc); }

}  // namespace fill
