#include "fill_extended_flow.h"

#include <algorithm>
#include <cmath>

#include "CRVZGPUtool.h"
#include "fill_partition.h"
#include "fill_solver.h"

namespace fill {

namespace {

using channel::Buf;
using rvzmesh::Blocks;
using rvzmesh::BoundaryKind;
using D = Buf<double>;
using I = Buf<int>;
using B = Buf<bool>;

constexpr double kDynPerMPa = 1.0e7;
constexpr int kStab = 1;
// Cells at or above kFull count as full for the last vents (the basic
// path's snapping bound).
constexpr double kFull = 0.9999;  // face coefficients with the non-orthogonality factor |S||d|/(S.d)


struct Table {
    int total = 0, nLevels = 0, count[16] = {}, size[16] = {}, offset[16] = {};
};
Table TableFor(CRVZGPUtool& t, int n)
{
    Table r;
    t.GetSizeOfBlock(std::max(n, 1), r.total, r.nLevels, r.count, r.size, r.offset);
    return r;
}

void UploadFlags(CRVZGPUtool& t, const std::vector<int>& v, bool* device)
{
    if (v.empty()) return;
    std::unique_ptr<bool[]> host(new bool[v.size()]);
    for (size_t k = 0; k < v.size(); ++k) host[k] = v[k] != 0;
    Ok(t.DataCopyHost2Device(static_cast<int>(v.size()), host.get(), device), "DataCopyHost2Device");
}

// A vent list (the walls or the outlets) as the extended correction sees it.
struct VentList {
    VentList(CRVZGPUtool& t, const rvzmesh::DeviceBoundaryList& l, std::vector<int> flags)
        : list(l),
          n(l.size),
          isOutlet(t, flags.empty() ? std::vector<int>(1, 0) : flags),
          air(t, std::max(n, 1)),
          moving(t, std::vector<int>(std::max(n, 1), 0)),
          a(t, std::max(n, 1)),
          mfe(t, std::max(n, 1)),
          t1(t, std::max(n, 1)),
          t2(t, std::max(n, 1)),
          judge1A(t, std::max(n, 1)),
          judge5A(t, std::max(n, 1)),
          table(TableFor(t, n)),
          buf(t, table.total)
    {
    }
    const rvzmesh::DeviceBoundaryList& list;
    int n;
    I isOutlet;  // piIsOutlet: 0 closed, 1 vent, 2 always open
    D air;       // air pressure at the face, dyn/cm^2
    I moving;
    D a, mfe, t1, t2;
    B judge1A, judge5A;
    Table table;
    D buf;
};

std::vector<double> Down(CRVZGPUtool& t, const double* device, int n)
{
    std::vector<double> v(std::max(n, 0));
    if (n > 0) Ok(t.DataCopyDevice2Host(n, v.data(), const_cast<double*>(device)), "DataCopyDevice2Host");
    return v;
}
std::vector<int> DownInt(CRVZGPUtool& t, const int* device, int n)
{
    std::vector<int> v(std::max(n, 0));
    if (n > 0) Ok(t.DataCopyDevice2Host(n, v.data(), const_cast<int*>(device)), "DataCopyDevice2Host");
    return v;
}
void Up(CRVZGPUtool& t, std::vector<double> v, double* device)
{
    if (!v.empty()) Ok(t.DataCopyHost2Device(static_cast<int>(v.size()), v.data(), device), "DataCopyHost2Device");
}

}  // namespace

namespace {

// The gate of each inlet list entry; with `refuse`, a gate naming no inlet
// group of `mesh` is refused (on a process's part a group may hold no
// face, so a part is not checked).
std::vector<int> GateOfInletEntry(const FillSettings& s, const rvzmesh::Mesh& mesh, bool refuse)
{
    const rvzmesh::BoundaryList& in = mesh.list(BoundaryKind::Inlet);
    std::vector<int> gate(in.size(), 0);
    const std::vector<GateSetting>& gates = s.extended.gates;
    if (gates.empty()) return gate;
    std::vector<int> groupGate(mesh.groupNames.size(), -1);
    for (size_t g = 0; g < gates.size(); ++g) {
        int id = mesh.GroupIndex("inlet_" + gates[g].name);
        if (id < 0) id = mesh.GroupIndex(gates[g].name);
        bool inlet = false;
        for (int k = 0; id >= 0 && k < in.size(); ++k) inlet = inlet || in.group[k] == id;
        if (!inlet && refuse)
            channel::Line{s.source, gates[g].line.at("listed"), "gates"}.Fail(
                "gate '" + gates[g].name + "' names no inlet group of the mesh (no group 'inlet_" + gates[g].name +
                "' with inlet faces)");
        if (id >= 0) groupGate[id] = static_cast<int>(g);
    }
    // Inlet faces of no listed gate: -1 (closed for the whole run).
    for (int k = 0; k < in.size(); ++k) gate[k] = in.group[k] >= 0 ? groupGate[in.group[k]] : -1;
    return gate;
}

// The wall groups of vent_groups; with `refuse`, refuses a name of no wall
// group.
std::vector<int> VentGroupIds(const FillSettings& s, const rvzmesh::Mesh& m, bool refuse)
{
    const rvzmesh::BoundaryList& W = m.list(BoundaryKind::Wall);
    std::vector<int> ids;
    for (const std::string& name : s.extended.vent_groups) {
        int id = m.GroupIndex("wall_" + name);
        if (id < 0) id = m.GroupIndex(name);
        bool wall = false;
        for (int k = 0; id >= 0 && k < W.size(); ++k) wall = wall || W.group[k] == id;
        if (!wall && refuse) FailAt(s, {"vent_groups"}, "'" + name + "' names no wall group of the mesh");
        ids.push_back(id);
    }
    return ids;
}

// The wall entries of the moving wall (1), none without one; with
// `refuse`, refuses a name of no wall group.
std::vector<int> MovingWallFaces(const FillSettings& s, const rvzmesh::Mesh& m, bool refuse)
{
    const rvzmesh::BoundaryList& W = m.list(BoundaryKind::Wall);
    std::vector<int> moving(W.size(), 0);
    const std::string& name = s.extended.compression_wall;
    if (name.empty()) return moving;
    int id = m.GroupIndex("wall_" + name);
    if (id < 0) id = m.GroupIndex(name);
    bool any = false;
    for (int k = 0; id >= 0 && k < W.size(); ++k)
        if (W.group[k] == id) moving[k] = 1, any = true;
    if (!any && refuse) FailAt(s, {"compression_wall"}, "'" + name + "' is not a wall group of the mesh");
    return moving;
}

}  // namespace

std::vector<int> GateOfInletEntry(const FillSettings& s, const rvzmesh::Mesh& mesh)
{
    return GateOfInletEntry(s, mesh, true);
}

void CheckExtendedMesh(const FillSettings& s, const rvzmesh::Mesh& mesh)
{
    GateOfInletEntry(s, mesh, true);
    VentGroupIds(s, mesh, true);
    MovingWallFaces(s, mesh, true);
}

struct ExtendedFlow::Impl {
    Impl(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh, const rvzmesh::DeviceMesh& device,
         const FlowArrays& arrays, SolveFn solveFn, GradientFn gradientFn, Partitioned* partition);

    const rvzmesh::DeviceBoundaryList& L(BoundaryKind k) const { return d.boundary[static_cast<int>(k)]; }
    std::vector<GateSetting> GateSettings() const;
    void UploadGates();
    void Densities();
    void CorrectBoundaryValues();
    void FrontCells();
    bool FilledAt(int g, std::vector<double>& vf);
    // Over the processes of a partitioned run (partials in rank order).
    double Sum(double local) { return par != nullptr ? par->Sum(local) : local; }
    int Count(int local) { return par != nullptr ? par->SumCount(local) : local; }
    void Halo(std::initializer_list<double*> fields)
    {
        if (par != nullptr)
            for (double* f : fields) par->Refresh(f);
    }

    CRVZGPUtool& t;
    const FillSettings& s;
    const rvzmesh::Mesh& m;
    const rvzmesh::DeviceMesh& d;
    FlowArrays a;
    SolveFn solve;
    GradientFn gradient;
    Partitioned* par;  // null on one process
    const int nc = m.nCells, nf = m.nFaces, N = m.newNNU, nCol = m.nColumnPerRow, n = m.nExtended;
    const int ni = m.list(BoundaryKind::Inlet).size(), ns = m.list(BoundaryKind::Symmetry).size();
    const bool compressible = s.extended.compressibility != "none";
    std::vector<int> gateOf;
    GateStates gates{GateSettings()};
    std::vector<int> frontCell;  // per gate, the cell of its point (front rule); -1: not on this process
    // Gates: per inlet entry the gate (closed faces of no gate: its own
    // closed gate at the end), open flag, pressure (MPa); per gate the
    // control status (1 flow rate, 2 pressure) and material type.
    const int nGates = gates.size() + 1;
    I gateOfD{t, std::max(ni, 1)}, openD{t, std::max(ni, 1)}, status{t, nGates}, isOutletIn{t, std::max(ni, 1)};
    I open1D{t, std::max(ni, 1)}, outletPP{t, std::max(ni, 1)}, mtrType{t, std::vector<int>(nGates, 1)};
    D pressD{t, std::max(ni, 1)}, aIn{t, std::max(ni, 1)}, mfeIn{t, std::max(ni, 1)}, t1{t, std::max(ni, 1)},
        t2{t, std::max(ni, 1)}, airIn{t, std::max(ni, 1)};
    B judge1{t, std::max(ni, 1)}, judge2A{t, std::max(ni, 1)}, judge3A{t, std::max(ni, 1)}, j1C{t, std::max(ni, 1)},
        j1D{t, std::max(ni, 1)}, j1E{t, std::max(ni, 1)}, j2Closed{t, std::max(ni, 1)}, none{t, std::max(ni, 1)};
    Buf<float> mf{t, std::max(nc, 1)};
    // Cells: pressure of the step start, d rho/dp over rho (extended
    // array: the gate faces read it at their slots), thermal term, bad
    // elements (none).
    D p0{t, n}, ddenDp{t, n}, ddenDT{t, std::max(nc, 1)};
    I bad{t, std::vector<int>(std::max(nc, 1), 0)};
    std::vector<double> T0;
    VentList walls, outlets;
    Table inT = TableFor(t, ni), cellT = TableFor(t, nc);
    D bufA{t, inT.total}, bufB{t, inT.total}, bufC{t, inT.total};
    int step = 0;
    double dt = 0.0;
    // Injection-compression: moving wall entries, their inflow flux while
    // wetted (negative: into the cell), whether the wall moves now.
    std::vector<int> moving = MovingWallFaces(s, m, par == nullptr);
    const int nw = m.list(BoundaryKind::Wall).size();
    D movingFlux{t, std::max(nw, 1)}, wallInflowFlux{t, std::max(nw, 1)}, zeroW{t, std::max(nw, 1)};
    D tSuW{t, std::max(nw, 1)}, tFRW{t, std::max(nw, 1)}, CBvW{t, std::max(nw, 1)};
    bool compressing = false;
};

std::vector<GateSetting> ExtendedFlow::Impl::GateSettings() const
{
    if (!s.extended.gates.empty()) return s.extended.gates;
    GateSetting g;
    g.name = "inlet";
    g.control = s.inlet == "pressure" ? GateControl::Pressure : GateControl::FlowRate;
    g.flow_rate = s.flow_rate;
    g.pressure = s.inlet_pressure;
    return {g};
}

ExtendedFlow::Impl::Impl(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                         const rvzmesh::DeviceMesh& device, const FlowArrays& arrays, SolveFn solveFn,
                         GradientFn gradientFn, Partitioned* partition)
    : t(tool),
      s(settings),
      m(mesh),
      d(device),
      a(arrays),
      solve(std::move(solveFn)),
      gradient(std::move(gradientFn)),
      par(partition),
      gateOf(GateOfInletEntry(settings, mesh, partition == nullptr)),
      walls(tool, device.boundary[static_cast<int>(BoundaryKind::Wall)], {}),
      outlets(tool, device.boundary[static_cast<int>(BoundaryKind::Outlet)],
              std::vector<int>(mesh.list(BoundaryKind::Outlet).size(), 2))
{
    for (int& g : gateOf)
        if (g < 0) g = nGates - 1;  // inlet faces of no listed gate: closed for the whole run
    gateOfD.Upload(gateOf.empty() ? std::vector<int>(1, 0) : gateOf);
    FrontCells();
    // Vents from the air pressure: the listed wall groups carry it, the
    // other wall faces never vent (a negative air pressure).
    const rvzmesh::BoundaryList& W = m.list(BoundaryKind::Wall);
    std::vector<double> air(std::max(W.size(), 1), 0.0);
    if (s.extended.vent_air_pressure >= 0.0) {
        const std::vector<int> ids = VentGroupIds(s, m, par == nullptr);
        for (int k = 0; k < W.size(); ++k) {
            const bool listed = ids.empty() || std::count(ids.begin(), ids.end(), W.group[k]) > 0;
            air[k] = listed ? s.extended.vent_air_pressure * kDynPerMPa : -1.0;
        }
    }
    walls.air.Upload(air);
    if (W.size() > 0) {
        walls.moving.Upload(moving);
        std::vector<double> f(W.size(), 0.0);
        for (int k = 0; k < W.size(); ++k) f[k] = moving[k] ? -s.extended.compression_speed * W.area[k] : 0.0;
        movingFlux.Upload(f);
    }
    wallInflowFlux.Zero();
    zeroW.Zero();
    outlets.air.Zero();
    mf.Zero();
    none.Zero();
    airIn.Zero();
    isOutletIn.Zero();
    ddenDp.Zero();
    ddenDT.Zero();
    T0 = std::vector<double>(std::max(nc, 1), s.melt_temperature);
}

// Front-rule points: the cell whose centroid lies nearest (the first in
// cell order at a tie), searched over the whole mesh so that a
// partitioned run picks the cell one process picks; the process owning it
// keeps its local index.
void ExtendedFlow::Impl::FrontCells()
{
    const rvzmesh::Mesh& whole = par != nullptr ? par->Whole() : m;
    frontCell.assign(gates.size(), -1);
    for (int g = 0; g < gates.size(); ++g) {
        if (gates.gate(g).opening != GateOpening::AtFront) continue;
        const double* x = gates.gate(g).point;
        double best = 1e300;
        int nearest = -1;
        for (int c = 0; c < whole.nCells; ++c) {
            const double dx = whole.xc[c] - x[0], dy = whole.yc[c] - x[1], dz = whole.zc[c] - x[2];
            const double r = dx * dx + dy * dy + dz * dz;
            if (r < best) best = r, nearest = c;
        }
        if (par == nullptr) {
            frontCell[g] = nearest;
            continue;
        }
        const std::vector<int>& global = par->Part().globalCell;
        for (int c = 0; c < nc; ++c)
            if (global[c] == nearest) frontCell[g] = c;
    }
}

// Whether the melt fills gate g's cell: its fraction from the process
// owning it (exact zeros from the others), so all processes agree. `vf`:
// the cell fractions, downloaded at the first call.
bool ExtendedFlow::Impl::FilledAt(int g, std::vector<double>& vf)
{
    if (vf.empty()) vf = Down(t, a.volf, std::max(nc, 1));
    return Sum(frontCell[g] >= 0 ? vf[frontCell[g]] : 0.0) >= kFCRI;
}

// Per-entry open flags, pressures, per-gate status, and the slot velocity
// and flux of the flow-rate gates (uniform over the gate, normal to its
// faces, zero at closed gates).
void ExtendedFlow::Impl::UploadGates()
{
    const rvzmesh::BoundaryList& in = m.list(BoundaryKind::Inlet);
    std::vector<double> area(nGates, 0.0);
    for (int k = 0; k < ni; ++k) area[gateOf[k]] += in.area[k];
    for (double& gateArea : area) gateArea = Sum(gateArea);
    if (ni == 0) return;
    std::vector<int> open(ni), st(nGates, 1), open1(ni), outPP(ni);
    std::vector<double> press(ni, 0.0), fin(ni, 0.0);
    for (int g = 0; g < gates.size(); ++g) st[g] = gates.control(g) == GateControl::Pressure ? 2 : 1;
    std::vector<double> u = Down(t, a.u, n), v = Down(t, a.v, n), w = Down(t, a.w, n);
    for (int k = 0; k < ni; ++k) {
        const int g = gateOf[k];
        const bool isOpen = g < gates.size() && gates.open(g);
        open[k] = isOpen;
        press[k] = g < gates.size() ? gates.pressure(g) : 0.0;
        open1[k] = isOpen && st[g] == 1;
        outPP[k] = isOpen && st[g] == 2;
        double speed = 0.0;
        if (isOpen && st[g] == 1) speed = gates.gate(g).flow_rate / area[g];
        if (!isOpen || st[g] == 1) {
            fin[k] = -speed * in.area[k];
            u[in.slot[k]] = -speed * in.sx[k] / in.area[k];
            v[in.slot[k]] = -speed * in.sy[k] / in.area[k];
            w[in.slot[k]] = -speed * in.sz[k] / in.area[k];
        }
    }
    Up(t, u, a.u), Up(t, v, a.v), Up(t, w, a.w);
    openD.Upload(open);
    open1D.Upload(open1);
    outletPP.Upload(outPP);
    status.Upload(st);
    pressD.Upload(press);
    UploadFlags(t, open, judge1);
    // The flux of the gates not under pressure control; pressure gates
    // keep theirs.
    std::vector<double> old = Down(t, a.fluxIn, ni);
    for (int k = 0; k < ni; ++k)
        if (!(open[k] && st[gateOf[k]] == 2)) old[k] = fin[k];
    Up(t, old, a.fluxIn);
}

// d rho/dp over rho at each cell's pressure, weighted by its melt
// fraction (the air's is not modelled; at the gate slots, as their
// cells), and the thermal term: d rho/dT over rho times the step's
// temperature change.
void ExtendedFlow::Impl::Densities()
{
    if (!compressible) return;
    const std::vector<double> p = Down(t, a.p, n), vf = Down(t, a.volf, nc);
    std::vector<double> dd(n, 0.0);
    for (int c = 0; c < nc; ++c) dd[c] = vf[c] * DensityDerivative(s.extended, s.density, p[c]) / s.density;
    const rvzmesh::BoundaryList& in = m.list(BoundaryKind::Inlet);
    for (int k = 0; k < ni; ++k) dd[in.slot[k]] = dd[in.cell[k]];
    ddenDp.Upload(dd);
    if (s.extended.drho_dT != 0.0) {
        const std::vector<double> T = Down(t, a.T, nc);
        std::vector<double> term(std::max(nc, 1), 0.0);
        for (int c = 0; c < nc; ++c) term[c] = vf[c] * s.extended.drho_dT / s.density * (T[c] - T0[c]);
        ddenDT.Upload(term);
        T0 = T;
    }
}

ExtendedFlow::ExtendedFlow(CRVZGPUtool& tool, const FillSettings& settings, const rvzmesh::Mesh& mesh,
                           const rvzmesh::DeviceMesh& device, const FlowArrays& arrays, SolveFn solve,
                           GradientFn gradient, Partitioned* partition)
    : m_(std::make_unique<Impl>(tool, settings, mesh, device, arrays, std::move(solve), std::move(gradient),
                                partition))
{
}

ExtendedFlow::~ExtendedFlow() = default;

double ExtendedFlow::FixedInflow() const
{
    const GateStates& g = m_->gates;
    double q = 0.0;
    for (int k = 0; k < g.size(); ++k) {
        if (!g.open(k)) continue;
        if (g.control(k) == GateControl::Pressure) return 0.0;
        q += g.gate(k).flow_rate;
    }
    return q;
}

const GateStates& ExtendedFlow::gates() const
{
    return m_->gates;
}
const std::vector<int>& ExtendedFlow::gateOfEntry() const
{
    return m_->gateOf;
}

void ExtendedFlow::BeginStep(int step, double time, double dt, double filledFraction)
{
    Impl& e = *m_;
    e.step = step;
    e.dt = dt;
    std::vector<double> vf;
    const auto filledAt = [&](int g) { return e.FilledAt(g, vf); };
    bool changed = step == 0;
    changed = e.gates.Open(time, filledAt) || changed;
    changed =
        e.gates.SwitchOver(filledFraction, e.s.extended.switch_over_fraction, e.s.extended.holding_pressure) || changed;
    if (changed) e.UploadGates();
    Ok(e.t.DataCopyDevice2Device(e.n, static_cast<double*>(e.p0), e.a.p), "copy");
    e.Densities();
    const ExtendedFlowSettings& x = e.s.extended;
    e.compressing = !x.compression_wall.empty() && step > 0 && time >= x.compression_start &&
                    time < x.compression_start + x.compression_stroke / x.compression_speed;
    if (!e.compressing) e.wallInflowFlux.Zero();
}

void ExtendedFlow::BoundaryPressure()
{
    Impl& e = *m_;
    const auto &In = e.L(BoundaryKind::Inlet), &W = e.L(BoundaryKind::Wall);
    if (e.ni > 0)
        Ok(e.t.CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(e.ni, In.cell, In.slot, e.gateOfD, e.openD, e.isOutletIn,
                                                             e.status, e.airIn, e.a.p, Blocks(e.ni)),
           "CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn");
    if (W.size > 0)
        Ok(e.t.CalcPP_FlowE_UpdateBoundaryP_Update_fi(W.size, W.cell, W.slot, e.a.ventWall, e.walls.air, e.a.p,
                                                      Blocks(W.size)),
           "CalcPP_FlowE_UpdateBoundaryP_Update_fi");
    if (e.compressing) {
        // The moving wall's velocity, into the cavity, at its slots.
        const rvzmesh::BoundaryList& H = e.m.list(BoundaryKind::Wall);
        std::vector<double> u = Down(e.t, e.a.u, e.n), v = Down(e.t, e.a.v, e.n), w = Down(e.t, e.a.w, e.n);
        const double speed = e.s.extended.compression_speed;
        for (int k = 0; k < H.size(); ++k)
            if (e.moving[k]) {
                u[H.slot[k]] = -speed * H.sx[k] / H.area[k];
                v[H.slot[k]] = -speed * H.sy[k] / H.area[k];
                w[H.slot[k]] = -speed * H.sz[k] / H.area[k];
            }
        Up(e.t, u, e.a.u), Up(e.t, v, e.a.v), Up(e.t, w, e.a.w);
    }
}

void ExtendedFlow::WallInflowVolumeFraction(double* A, double* Su, double* cellFR)
{
    Impl& e = *m_;
    const auto& W = e.L(BoundaryKind::Wall);
    if (!e.compressing || W.size == 0) return;
    Ok(e.t.ZeroDeviceMemory(e.N * e.nCol, e.a.scratch), "ZeroDeviceMemory");
    Ok(e.t.Calc_Vfconv_InletBC_CellFR_Su_CB(W.size, W.nRows, e.N, e.nCol, W.slot, e.wallInflowFlux, e.a.volf, 1.0,
                                            e.tSuW, e.tFRW, e.CBvW, Su, cellFR, W.mapPx, W.mapPy, e.a.scratch, W.rows,
                                            Blocks(W.size), Blocks(W.nRows)),
       "Calc_Vfconv_InletBC_CellFR_Su_CB");
    Ok(e.t.ZeroDeviceMemory(e.N * e.nCol, e.a.scratch), "ZeroDeviceMemory");
    Ok(e.t.Calc_Vfconv_InletAi(W.size, W.nRows, e.N, e.nCol, W.mapPx, W.mapPy, e.CBvW, e.a.scratch, A, W.rows,
                               Blocks(W.size), Blocks(W.nRows)),
       "Calc_Vfconv_InletAi");
}

void ExtendedFlow::Vents()
{
    Impl& e = *m_;
    const auto& W = e.L(BoundaryKind::Wall);
    if (e.s.extended.vent_air_pressure < 0.0 || e.Count(W.size) == 0) return;
    if (W.size > 0)
        Ok(e.t.CalcPP_FlowE_iIsOutlet2(W.size, 0, kFCRI, W.cell, W.slot, e.a.volf, e.mf, e.walls.air, e.a.ventWall,
                                       Blocks(W.size)),
           "CalcPP_FlowE_iIsOutlet2");
    // None left and no outlet: the faces of cells not yet full vent, as on
    // the basic path.
    const std::vector<int> open = DownInt(e.t, e.a.ventWall, W.size);
    const int openHere = static_cast<int>(std::count(open.begin(), open.end(), 1));
    if (e.Count(e.outlets.n) == 0 && e.Count(openHere) == 0 && W.size > 0)
        Ok(e.t.CalcPP_FlowE_iIsOutlet2(W.size, 0, kFull, W.cell, W.slot, e.a.volf, e.mf, e.walls.air, e.a.ventWall,
                                       Blocks(W.size)),
           "CalcPP_FlowE_iIsOutlet2");
}

double ExtendedFlow::PressureCorrection(double relaxPressure, double& inflow)
{
    Impl& e = *m_;
    CRVZGPUtool& t = e.t;
    const rvzmesh::DeviceMesh& d = e.d;
    const FlowArrays& a = e.a;
    const auto &In = e.L(BoundaryKind::Inlet), &S = e.L(BoundaryKind::Symmetry);
    const int nf = e.nf, nc = e.nc, N = e.N, nCol = e.nCol, ni = e.ni, fb = Blocks(nf), cb = Blocks(nc);
    // Interior fluxes and their sum into the right-hand side; the
    // off-diagonal coefficients.
    Ok(t.Calc_FlowE_InnerFluxPP_aEaWmfe(nf, d.ijP, d.ijE, d.le, d.sx, d.sy, d.sz, d.xc, d.yc, d.zc, a.dp[0], a.dp[1],
                                        a.dp[2], a.u, a.v, a.w, a.p, a.APR, a.mfe, a.aE, a.aW, kStab, fb),
       "Calc_FlowE_InnerFluxPP_aEaWmfe");
    Ok(t.DataCopyDevice2Device(nf, a.flux, a.mfe), "copy");
    Ok(t.ZeroDeviceMemory(nc, a.source), "ZeroDeviceMemory");
    Ok(t.ZeroDeviceMemory(N * nCol, a.scratch), "ZeroDeviceMemory");
    Ok(t.CalcPP_FlowE_SourceTerm_CentralCoeff(nf, nc, N, nCol, a.flux, d.mapPx, d.mapPy, d.mapEx, d.mapEy, a.scratch,
                                              a.source, fb, cb),
       "CalcPP_FlowE_SourceTerm_CentralCoeff");
    Ok(t.ZeroDeviceMemory(N * nCol, a.A), "ZeroDeviceMemory");
    Ok(t.Calc_MapaEaWToAi(nf, N, d.mapPx, d.mapPy, d.mapEx, d.mapEy, a.aE, a.aW, a.A, fb), "Calc_MapaEaWToAi");
    if (ni > 0) {
        // Pressure gates: the imposed pressure, the face flux and its
        // coefficient into the diagonal and the right-hand side; flow-rate
        // gates: their fixed inflow.
        const int ib = Blocks(ni), rb = Blocks(In.nRows);
        Ok(t.CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(ni, e.step + 1, In.slot, e.gateOfD, e.pressD, e.judge1,
                                                          e.status, a.p, a.pp, e.judge2A, e.judge3A, ib),
           "CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A");
        e.aIn.Zero();
        Ok(t.DataCopyDevice2Device(ni, static_cast<double*>(e.mfeIn), a.fluxIn), "copy");
        Ok(t.CalcPP_BoundFluxMass(ni, kStab, In.cell, In.slot, e.judge2A, d.xc, d.yc, d.zc, a.dp[0], a.dp[1], a.dp[2],
                                  In.sx, In.sy, In.sz, a.APR, a.p, a.u, a.v, a.w, e.aIn, e.mfeIn, ib),
           "CalcPP_BoundFluxMass");
        Ok(t.ZeroDeviceMemory(N * nCol, a.scratch), "ZeroDeviceMemory");
        Ok(t.CalcPP_SetPPInlet_UpdateSu_First(ni, In.nRows, N, nCol, e.gateOfD, e.status, e.judge1, e.mfeIn, e.t1,
                                              a.source, In.mapPx, In.mapPy, In.rows, a.scratch, ib, rb),
           "CalcPP_SetPPInlet_UpdateSu_First");
        Ok(t.ZeroDeviceMemory(N * nCol, a.scratch), "ZeroDeviceMemory");
        Ok(t.CalcPP_SetPPInlet_NOFAIM_Update_AiSu(ni, In.nRows, N, nCol, In.cell, In.slot, e.mfeIn, e.aIn, e.judge2A,
                                                  e.judge3A, e.ddenDp, e.t1, e.t2, a.A, a.source, In.mapPx, In.mapPy,
                                                  In.rows, a.scratch, ib, rb),
           "CalcPP_SetPPInlet_NOFAIM_Update_AiSu");
    }
    // Vents: wall faces as the vent flags say, outlets always.
    struct Vent {
        VentList& list;
        int* flags;
        double* fluxV;
    };
    Vent vents[2] = {{e.walls, a.ventWall, a.fluxWall}, {e.outlets, e.outlets.isOutlet, a.fluxOut}};
    for (Vent& vt : vents) {
        VentList& l = vt.list;
        if (l.n == 0) continue;
        const int lb = Blocks(l.n), rb = Blocks(l.list.nRows);
        Ok(t.CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(l.n, 0, 0.0, e.compressing ? 1 : 0, kFCRI, l.list.slot,
                                                              vt.flags, a.volf, l.air, l.moving, a.p, a.pp, l.judge1A,
                                                              l.judge5A, lb),
           "CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true");
        l.a.Zero();
        l.mfe.Zero();
        Ok(t.CalcPP_BoundFluxMass(l.n, kStab, l.list.cell, l.list.slot, l.judge1A, d.xc, d.yc, d.zc, a.dp[0], a.dp[1],
                                  a.dp[2], l.list.sx, l.list.sy, l.list.sz, a.APR, a.p, a.u, a.v, a.w, l.a, l.mfe, lb),
           "CalcPP_BoundFluxMass");
        Ok(t.ZeroDeviceMemory(N * nCol, a.scratch), "ZeroDeviceMemory");
        Ok(t.CalcPP_SetPPWall_Update_AiSu(l.n, l.list.nRows, N, nCol, l.mfe, l.a, l.judge1A, l.t1, l.t2, a.A, a.source,
                                          l.list.mapPx, l.list.mapPy, l.list.rows, a.scratch, lb, rb),
           "CalcPP_SetPPWall_Update_AiSu");
        if (e.compressing && &l == &e.walls) {
            // The moving wall's wetted faces: their fixed inflow into the
            // right-hand side (no diagonal term).
            Ok(t.ZeroDeviceMemory(N * nCol, a.scratch), "ZeroDeviceMemory");
            Ok(t.CalcPP_SetPPWall_Update_AiSu(l.n, l.list.nRows, N, nCol, e.movingFlux, e.zeroW, l.judge5A, l.t1, l.t2,
                                              a.A, a.source, l.list.mapPx, l.list.mapPy, l.list.rows, a.scratch, lb,
                                              rb),
               "CalcPP_SetPPWall_Update_AiSu");
        }
    }
    // The compressible melt's time term, then the final diagonal.
    if (e.compressible)
        Ok(t.CalcPP_FlowE_1stImplicitEulerMethod(nc, e.step + 1, e.dt, 1.0, a.p, e.p0, e.ddenDp, e.ddenDT, d.volume,
                                                 a.source, a.A, cb),
           "CalcPP_FlowE_1stImplicitEulerMethod");
    Ok(t.CalcPP_FlowE_EnhanceRobustness(nc, 1.0, N, nCol, a.pp, a.A, a.source, cb), "CalcPP_FlowE_EnhanceRobustness");
    double imbalance = 0.0;
    for (double r : Down(t, a.source, nc)) imbalance += std::fabs(r);
    imbalance = e.Sum(imbalance);
    e.solve(a.A, a.source, a.pp);

    // Boundary values of the correction: vents 0, closed walls the cell's;
    // pressure gates 0, flow-rate and closed gates the cell's.
    for (Vent& vt : vents)
        if (vt.list.n > 0)
            Ok(t.CalcPP_FlowE_UpdateBoundaryPP_Update_fi(vt.list.n, vt.list.list.cell, vt.list.list.slot, vt.flags,
                                                         a.pp, Blocks(vt.list.n)),
               "CalcPP_FlowE_UpdateBoundaryPP_Update_fi");
    if (e.ns > 0)
        Ok(t.CalcPP_FlowE_Update_fi_OutletSymm(e.ns, S.cell, S.slot, a.pp, Blocks(e.ns)),
           "CalcPP_FlowE_Update_fi_OutletSymm");
    if (ni > 0)
        Ok(t.CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(ni, 1, In.cell, In.slot, e.open1D, e.outletPP, a.pp,
                                                            Blocks(ni)),
           "CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn");
    e.gradient(a.pp, a.dpp[0], a.dpp[1], a.dpp[2]);
    Ok(t.CalcPP_FlowE_CorrectPressureVelocities(nc, relaxPressure, 0, 0, 0.0, e.bad, a.pp, d.volume, a.dpp[0], a.dpp[1],
                                                a.dpp[2], a.APR, a.p, a.u, a.v, a.w, a.source, cb),
       "CalcPP_FlowE_CorrectPressureVelocities");
    e.Halo({a.p, a.u, a.v, a.w});
    Ok(t.CalcPP_FlowE_UpdateMassFlux(nf, N, d.ijP, d.ijE, d.mapPx, d.mapPy, a.A, a.pp, a.flux, fb),
       "CalcPP_FlowE_UpdateMassFlux");
    for (Vent& vt : vents) {
        VentList& l = vt.list;
        if (l.n == 0) continue;
        double out = 0.0;
        Ok(t.CalcPP_FlowE_CorrectWallVel_TotalMass(
               l.n, e.compressing ? 1 : 0, kFCRI, l.list.cell, l.list.slot, vt.flags, l.moving, l.list.sx, l.list.sy,
               l.list.sz, d.xc, d.yc, d.zc, a.volf, a.pp, a.APR, d.volume, a.u, a.v, a.w, l.mfe, out, l.buf,
               l.table.nLevels, l.table.count, l.table.offset, l.table.total, l.table.size),
           "CalcPP_FlowE_CorrectWallVel_TotalMass");
        Ok(t.DataCopyDevice2Device(l.n, vt.fluxV, static_cast<double*>(l.mfe)), "copy");
    }
    inflow = 0.0;
    if (ni > 0) {
        // Closed gates stay walls: the correction's flag of closed faces
        // below the critical fraction (corrected as outlets) is not used.
        Ok(t.CalcPP_FlowE_CorrectInletVel_judge(ni, 0, kFCRI, In.cell, In.slot, a.volf, e.mf, e.openD, e.gateOfD,
                                                e.mtrType, e.status, e.j1C, e.j1D, e.j1E, e.j2Closed, Blocks(ni)),
           "CalcPP_FlowE_CorrectInletVel_judge");
        Ok(t.CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(ni, In.cell, In.slot, In.sx, In.sy, In.sz, e.j1C, e.j1D,
                                                            e.none, d.xc, d.yc, d.zc, a.APR, d.volume, a.u, a.v, a.w,
                                                            a.pp, e.mfeIn, Blocks(ni)),
           "CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet");
        double fluid = 0.0, out = 0.0;
        Ok(t.CalcPP_FlowE_CorrectInletVel_TotalMass(ni, e.j1C, e.j1D, e.j1E, e.none, e.mfeIn, inflow, fluid, out,
                                                    e.bufA, e.bufB, e.bufC, e.inT.nLevels, e.inT.count, e.inT.offset,
                                                    e.inT.total, e.inT.size),
           "CalcPP_FlowE_CorrectInletVel_TotalMass");
        Ok(t.DataCopyDevice2Device(ni, a.fluxIn, static_cast<double*>(e.mfeIn)), "copy");
    }
    if (e.compressing) {
        // The moving wall's inflow: its faces whose cell holds melt (the
        // slot carries the cell's fraction), for the volume bookkeeping and
        // the volume-fraction system.
        const rvzmesh::BoundaryList& H = e.m.list(BoundaryKind::Wall);
        const std::vector<double> vf = Down(t, a.volf, e.n);
        std::vector<double> f(std::max(H.size(), 1), 0.0);
        for (int k = 0; k < H.size(); ++k)
            if (e.moving[k] && vf[H.slot[k]] > kFCRI) {
                f[k] = -e.s.extended.compression_speed * H.area[k];
                inflow -= f[k];
            }
        e.wallInflowFlux.Upload(f);
    }
    inflow = e.Sum(inflow);
    return imbalance;
}

}  // namespace fill
