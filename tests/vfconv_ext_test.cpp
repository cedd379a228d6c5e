// Extended volume fraction: the four interface-capturing schemes against
// their formulas, the compression-corrected flux and front statistics, the
// time term, inlet, wall and keep-filled rules, limiting, arrival times, the
// end-of-filling test, a step advected along a chain of cells, and the
// failure reports.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "flow_test_mesh.h"
#include "test_support.h"
#include "vof_advection.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceList;
using flowtest::DeviceMesh;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

using voftest::kFcri;

// Flags from a string of 0s and 1s.
std::vector<bool> Bits(const std::string& s)
{
    std::vector<bool> b;
    for (char c : s) b.push_back(c == '1');
    return b;
}

// The level table of n elements with buffers full of garbage that every
// reduction must clear.
struct Levels : rvztest::LevelPlan {
    std::unique_ptr<DeviceArray<double>> d1, d2;
    std::unique_ptr<DeviceArray<int>> i;
    explicit Levels(int n) : LevelPlan(n)
    {
        d1 = Up(std::vector<double>(total, 7.7e200));
        d2 = Up(std::vector<double>(total, -7.7e200));
        i = Up(std::vector<int>(total, 12345));
    }
};

// ---------------------------------------------------------------------------
// Interface-capturing schemes
// ---------------------------------------------------------------------------

struct V3 {
    double x, y, z;
};
double Dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

struct SchemeResult {
    double beta, Fe, x;
};

// The schemes written from their defining table: HRScheme 0/1 CICSAM, 2
// MCICSAM, 3 HRIC, 4 MHRIC.
SchemeResult ReferenceScheme(int scheme, double phiD, double phiA, V3 d, V3 g, double Co)
{
    const double phiU = std::clamp(phiA - 2.0 * Dot(d, g), 0.0, 1.0);
    const double x = (phiD - phiU) / (phiA - phiU + 1e-30);
    double c = Dot(d, g) / std::sqrt(Dot(d, d)) / (std::sqrt(Dot(g, g)) + 1e-30);
    c = std::clamp(c, -1.0, 1.0);
    double tf = x;
    if (x >= 0.0 && x <= 1.0) {
        if (scheme <= 1) {
            const double B = std::min(x / (Co + 1e-30), 1.0);
            const double Q = std::min((8.0 * Co * x + (1.0 - Co) * (6.0 * x + 3.0)) / 8.0, B);
            const double w = std::clamp(0.8 * c * c, 0.0, 1.0);
            tf = w * B + (1.0 - w) * Q;
        } else if (scheme == 2) {
            const double B = std::min(2.0 * x, 1.0);
            const double Q = std::min(x + 0.25, B);
            const double w = c == 0.0 ? 0.0 : std::clamp(std::pow(std::fabs(c), 0.25), 0.0, 1.0);
            tf = w * B + (1.0 - w) * Q;
        } else if (scheme == 3) {
            const double B = x < 0.5 ? 2.0 * x : 1.0;
            const double w = std::sqrt(std::fabs(c));
            const double F = w * B + (1.0 - w) * x;
            tf = Co < 0.3 ? F : Co <= 0.7 ? x + (F - x) * (0.7 - Co) / 0.4 : x;
        } else {
            const double B = x < 0.5 ? 2.0 * x : 1.0;
            const double Q = std::min((6.0 * x + 3.0) / 8.0, B);
            const double w = c > 0.0 ? 0.8 * std::sqrt(c) : 0.0;
            tf = w * B + (1.0 - w) * Q;
        }
    }
    const double beta = (tf - x) / (1.0 - x + 1e-30);
    return {beta, std::clamp((1.0 - beta) * phiD + beta * phiA, 0.0, 1.0), x};
}

// Independent faces, each with its own two cells (2f owner, 2f+1
// neighbour): donor and acceptor values, distance, donor gradient at a
// chosen angle to the distance, donor Courant number and flow direction.
struct SchemeFaces {
    int n;
    std::vector<int> P, E;
    std::vector<double> m, phi, xc, yc, zc, gx, gy, gz, Co;
    std::vector<V3> g;  // donor gradients

    explicit SchemeFaces(int nFaces, unsigned seed) : n(nFaces)
    {
        std::mt19937_64 gen(seed);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        const double angles[] = {0.0, 0.4, 1.0, M_PI / 2.0, 2.0, 2.6, M_PI};
        const double courants[] = {0.0, 0.1, 0.3, 0.5, 0.7, 0.9, 1.3};
        for (int f = 0; f < n; ++f) {
            const bool forward = f % 2 == 0;
            P.push_back(2 * f);
            E.push_back(2 * f + 1);
            m.push_back(forward ? 0.5 + u(gen) : -(0.5 + u(gen)));
            const double len = 0.5 + 1.5 * u(gen), alpha = 2.0 * M_PI * u(gen);
            const V3 dd{len * std::cos(alpha), len * std::sin(alpha), 0.0};  // donor to acceptor
            const double theta = f % 3 == 0 ? angles[f / 3 % 7] : M_PI * u(gen);
            const double gm = 0.05 + 1.2 * u(gen);
            const V3 gg{gm * std::cos(alpha + theta), gm * std::sin(alpha + theta), (u(gen) - 0.5) * 0.1};
            const double phiD = -0.05 + 1.1 * u(gen), phiA = u(gen);
            const double co = f % 5 == 0 ? courants[f / 5 % 7] : 1.4 * u(gen);
            const V3 donorAt{10.0 * f, 1.0, 2.0};
            const V3 acceptorAt{donorAt.x + dd.x, donorAt.y + dd.y, donorAt.z + dd.z};
            const V3 cellAt[2] = {forward ? donorAt : acceptorAt, forward ? acceptorAt : donorAt};
            const double cellPhi[2] = {forward ? phiD : phiA, forward ? phiA : phiD};
            for (int s = 0; s < 2; ++s) {
                xc.push_back(cellAt[s].x);
                yc.push_back(cellAt[s].y);
                zc.push_back(cellAt[s].z);
                phi.push_back(cellPhi[s]);
                const bool donor = (s == 0) == forward;
                gx.push_back(donor ? gg.x : 9.0);  // the acceptor's gradient must not be read
                gy.push_back(donor ? gg.y : -9.0);
                gz.push_back(donor ? gg.z : 9.0);
                Co.push_back(donor ? co : 77.0);
            }
            g.push_back(gg);
        }
    }
    double PhiD(int f) const { return phi[f % 2 == 0 ? 2 * f : 2 * f + 1]; }
    double PhiA(int f) const { return phi[f % 2 == 0 ? 2 * f + 1 : 2 * f]; }
    double CoD(int f) const { return Co[f % 2 == 0 ? 2 * f : 2 * f + 1]; }
    // Donor to acceptor as the cell centres give it.
    V3 Distance(int f) const
    {
        const int D = f % 2 == 0 ? 2 * f : 2 * f + 1, A = f % 2 == 0 ? 2 * f + 1 : 2 * f;
        return {xc[A] - xc[D], yc[A] - yc[D], zc[A] - zc[D]};
    }
};

struct SchemeRun {
    std::vector<double> Fe, beta;
    int status;
};

SchemeRun RunScheme(const SchemeFaces& s, int scheme)
{
    DeviceArray<int> P(s.P), E(s.E);
    DeviceArray<double> m(s.m), phi(s.phi), co(s.Co), gx(s.gx), gy(s.gy), gz(s.gz), xc(s.xc), yc(s.yc), zc(s.zc);
    DeviceArray<double> Fe(std::vector<double>(s.n, -3.0)), beta(std::vector<double>(s.n, -3.0));
    SchemeRun r;
    r.status = Tool().Calc_VOF_FlowE_InnerFlux_HRScheme(s.n, P, E, scheme, m, phi, co, gx, gy, gz, xc, yc, zc, Fe,
                                                        beta, flowtest::Blocks(s.n));
    r.Fe = Fe.Download();
    r.beta = beta.Download();
    return r;
}

TEST(VfconvExtScheme, FaceValuesAgainstTheFormulasOverASweep)
{
    const SchemeFaces s(3000, 5);
    for (int scheme = 0; scheme <= 4; ++scheme) {
        const SchemeRun r = RunScheme(s, scheme);
        ASSERT_EQ(r.status, 0);
        int inRange = 0, outOfRange = 0;
        for (int f = 0; f < s.n; ++f) {
            const SchemeResult ref = ReferenceScheme(scheme, s.PhiD(f), s.PhiA(f), s.Distance(f), s.g[f], s.CoD(f));
            const bool in = ref.x >= 0.0 && ref.x <= 1.0;
            (in ? inRange : outOfRange)++;
            ASSERT_NEAR(r.Fe[f], ref.Fe, 1e-12) << "scheme " << scheme << " face " << f;
            if (!in) {
                ASSERT_EQ(r.beta[f], 0.0) << "scheme " << scheme << " face " << f;
            } else if (1.0 - ref.x > 1e-6) {
                ASSERT_NEAR(r.beta[f], ref.beta, 1e-10 * std::max(1.0, std::fabs(ref.beta)))
                    << "scheme " << scheme << " face " << f;
            }
        }
        EXPECT_GT(inRange, s.n / 5) << "scheme " << scheme;
        EXPECT_GT(outOfRange, s.n / 10) << "scheme " << scheme;
    }
}

// A single face (owner at the origin, neighbour at x = 1, flow forward)
// with phi_A = 0, upwind value 1 (gradient -1/2 along d): x = 1 - phi_D.
SchemeRun OneFace(int scheme, double phiD, V3 g, double Co)
{
    SchemeFaces s(1, 1);
    s.phi = {phiD, 0.0};
    s.xc = {0.0, 1.0};
    s.yc = {0.0, 0.0};
    s.zc = {0.0, 0.0};
    s.gx = {g.x, 0.0};
    s.gy = {g.y, 0.0};
    s.gz = {g.z, 0.0};
    s.Co = {Co, 0.0};
    s.m = {1.0};
    return RunScheme(s, scheme);
}

TEST(VfconvExtScheme, HandValuesAndEdgeCases)
{
    // x = 0.75 (phi_D = 0.25), gradient along -d (c = -1).
    const V3 along{-0.5, 0.0, 0.0};
    // MCICSAM, c = -1: w = 1, face value B = min(1.5, 1) = 1, beta = 1.
    EXPECT_DOUBLE_EQ(OneFace(2, 0.25, along, 0.0).beta[0], 1.0);
    // MHRIC, c = -1: w = 0, face value Q = (6 0.75 + 3)/8 = 0.9375, beta = 0.75.
    EXPECT_DOUBLE_EQ(OneFace(4, 0.25, along, 0.0).beta[0], 0.75);
    // CICSAM, Co = 0.5: B = 1, Q = min((3 + 0.5 7.5)/8, 1) = 0.84375, w = 0.8:
    // face value 0.96875, beta = 0.875, Fe = 0.125 0.25 = 0.03125.
    const SchemeRun c = OneFace(0, 0.25, along, 0.5);
    EXPECT_DOUBLE_EQ(c.beta[0], 0.875);
    EXPECT_DOUBLE_EQ(c.Fe[0], 0.03125);
    EXPECT_EQ(OneFace(1, 0.25, along, 0.5).beta, c.beta);  // 0 and 1 are both CICSAM
    // HRIC: F = 1 (w = 1, B = 1); beta 1 below Co 0.3, 0 above 0.7, and
    // in between F drawn back linearly: Co = 0.5 halves it.
    EXPECT_DOUBLE_EQ(OneFace(3, 0.25, along, 0.29).beta[0], 1.0);
    EXPECT_NEAR(OneFace(3, 0.25, along, 0.3).beta[0], 1.0, 1e-15);
    EXPECT_NEAR(OneFace(3, 0.25, along, 0.5).beta[0], 0.5, 1e-15);
    EXPECT_EQ(OneFace(3, 0.25, along, 0.7).beta[0], 0.0);
    EXPECT_EQ(OneFace(3, 0.25, along, 0.71).beta[0], 0.0);
    // Other scheme numbers: nothing written, status 0.
    for (int scheme : {5, -1}) {
        const SchemeRun r = OneFace(scheme, 0.25, along, 0.5);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.Fe[0], -3.0);
        EXPECT_EQ(r.beta[0], -3.0);
    }
}

// ---------------------------------------------------------------------------
// Compression-corrected flux and front statistics
// ---------------------------------------------------------------------------

// The flux pass on the faces of a box, with every per-face and per-cell
// input chosen at random and the reference written from the formulas.
struct FluxCase {
    BoxMesh m;
    std::vector<double> mfe, Fe, phi, Co, gx, gy, gz, area, source;
    double gamma = 0.7, CeBound = 0.3;

    FluxCase(int nx, int ny, unsigned seed) : m(nx, ny, 1)
    {
        const int nF = m.nFaces, nC = m.nCells;
        mfe = rvztest::RandomVector(nF, seed, -2.0, 2.0);
        Fe = rvztest::RandomVector(nF, seed + 1, 0.0, 1.0);
        phi = rvztest::RandomVector(nC, seed + 2, 0.0, 1.0);
        Co = rvztest::RandomVector(nC, seed + 3, 0.0, 1.0);
        gx = rvztest::RandomVector(nC, seed + 4);
        gy = rvztest::RandomVector(nC, seed + 5);
        gz = rvztest::RandomVector(nC, seed + 6);
        source = rvztest::RandomVector(nC, seed + 7);
        m.volume = rvztest::RandomVector(nC, seed + 8, 0.5, 2.0);
        m.le = rvztest::RandomVector(nF, seed + 9, 0.2, 0.8);
        // Area vectors of length 2 with an area of 1 given: the interior form
        // uses the given area, the partition form the length.
        for (int f = 0; f < nF; ++f) {
            m.sx[f] *= 2.0;
            m.sy[f] *= 2.0;
            area.push_back(1.0);
        }
    }

    struct Face {
        double aE, aW, t1, t2, t3;
    };
    Face Reference(int f, int method, double maxCe, double FrontVol, bool par) const
    {
        const int P = m.P[f], E = m.E[f];
        const double l = m.le[f];
        const V3 gf{l * gx[E] + (1 - l) * gx[P], l * gy[E] + (1 - l) * gy[P], l * gz[E] + (1 - l) * gz[P]};
        const V3 S{m.sx[f], m.sy[f], m.sz[f]};
        const double A = par ? std::sqrt(Dot(S, S)) : area[f];
        const double cf = Dot(S, gf) / (std::sqrt(Dot(gf, gf)) * A + 1e-30);
        double mc = 0.1 * mfe[f] * cf * (1.0 - Fe[f]);
        if (std::fabs(mc) > std::fabs(mfe[f])) mc = 0.0;
        const double mp = mfe[f] - mc;
        Face r{std::min(mp, 0.0), -std::max(mp, 0.0), 0, 0, 0};
        r.t1 = gamma * (std::min(mp, 0.0) * phi[E] + std::max(mp, 0.0) * phi[P] - mp * Fe[f]);
        const int D = mfe[f] >= 0.0 ? P : E;
        const double pD = phi[D];
        const bool band = method == 4                 ? pD >= 0.0
                          : method == 0 || method == 2 ? std::fabs(pD - kFcri) < CeBound
                                                       : kFcri - CeBound <= pD && pD < 0.994;
        if (method <= 1) {
            r.t2 = band ? Co[D] * m.volume[D] : 0.0;
            r.t3 = band ? m.volume[D] : 0.0;
        } else {
            r.t2 = band ? std::max(Co[D], maxCe) : maxCe;
            r.t3 = band ? 1.0 : FrontVol;
        }
        return r;
    }
};

struct FluxRun {
    std::vector<double> aE, aW, t1, t2, t3, source;
    double maxCe, FrontVol;
    int status;
};

// Runs the interior (par = false) or partition form; the partition form
// updates the listed rows `rows` only.
FluxRun RunFlux(const FluxCase& c, int method, double maxCe, double FrontVol, bool par,
                const std::vector<int>& rows = {})
{
    const BoxMesh& m = c.m;
    const DeviceMesh d(m);
    d.ClearScratch();
    const int nF = m.nFaces;
    DeviceArray<double> mfe(c.mfe), Fe(c.Fe), phi(c.phi), co(c.Co), gx(c.gx), gy(c.gy), gz(c.gz), area(c.area);
    DeviceArray<double> aE(std::vector<double>(nF, -5.0)), aW(std::vector<double>(nF, -5.0));
    DeviceArray<double> t1(nF), t2(nF), t3(nF), src(c.source);
    DeviceArray<int> rowList(rows.empty() ? std::vector<int>{0} : rows);
    Levels L(nF);
    FluxRun r;
    r.maxCe = maxCe;
    r.FrontVol = FrontVol;
    const int fg = flowtest::Blocks(nF), cg = flowtest::Blocks(m.nCells);
    if (par)
        r.status = Tool().Calc_VOF_FlowE_InnerFluxVolF_Method_Par(
            method, nF, static_cast<int>(rows.size()), m.newNNU, BoxMesh::nCol, c.gamma, kFcri, c.CeBound, *d.P, *d.E,
            mfe, *d.le, *d.sx, *d.sy, *d.sz, phi, co, Fe, gx, gy, gz, *d.volume, *d.Px, *d.Py, *d.Ex, *d.Ey, aE, t1, t2,
            t3, *d.scratch, src, rowList, fg, cg, nullptr, nullptr, r.maxCe, r.FrontVol, *L.d1, *L.d2, L.nLevels,
            L.count, L.offset, L.total, L.size);
    else
        r.status = Tool().Calc_VOF_FlowE_InnerFluxVolF_Method(
            method, nF, m.nCells, m.newNNU, BoxMesh::nCol, c.gamma, kFcri, c.CeBound, *d.P, *d.E, mfe, *d.le, *d.sx,
            *d.sy, *d.sz, phi, co, Fe, area, gx, gy, gz, *d.volume, *d.Px, *d.Py, *d.Ex, *d.Ey, aE, aW, t1, t2, t3,
            *d.scratch, src, fg, cg, nullptr, nullptr, r.maxCe, r.FrontVol, *L.d1, *L.d2, L.nLevels, L.count,
            L.offset, L.total, L.size);
    r.aE = aE.Download();
    r.aW = aW.Download();
    r.t1 = t1.Download();
    r.t2 = t2.Download();
    r.t3 = t3.Download();
    r.source = src.Download();
    return r;
}

void ExpectFluxMatches(const FluxCase& c, const FluxRun& r, int method, double maxCe, double FrontVol, bool par,
                       const std::vector<int>& rows)
{
    std::vector<double> source = c.source;
    std::vector<double> delta(c.m.nCells, 0.0);
    double s2 = 0.0, s3 = 0.0;
    for (int f = 0; f < c.m.nFaces; ++f) {
        const FluxCase::Face e = c.Reference(f, method, maxCe, FrontVol, par);
        ASSERT_NEAR(r.aE[f], e.aE, 1e-14) << f;
        if (par)
            ASSERT_EQ(r.aW[f], -5.0);
        else
            ASSERT_NEAR(r.aW[f], e.aW, 1e-14) << f;
        ASSERT_NEAR(r.t1[f], e.t1, 1e-14) << f;
        ASSERT_NEAR(r.t2[f], e.t2, 1e-14) << f;
        ASSERT_NEAR(r.t3[f], e.t3, 1e-14) << f;
        delta[c.m.P[f]] += e.t1;
        delta[c.m.E[f]] -= e.t1;
        if (method <= 1) {
            s2 += e.t2;
            s3 += e.t3;
        } else {
            s2 = std::max(s2, e.t2);
            s3 = std::max(s3, e.t3);
        }
    }
    for (int cell = 0; cell < c.m.nCells; ++cell) {
        const bool listed = !par || std::find(rows.begin(), rows.end(), cell) != rows.end();
        // A partition update sums the whole row, both sides of its faces.
        EXPECT_NEAR(r.source[cell], source[cell] + (listed ? delta[cell] : 0.0), 1e-13) << cell;
    }
    EXPECT_NEAR(r.maxCe, s2, 1e-12 * std::max(1.0, std::fabs(s2)));
    EXPECT_NEAR(r.FrontVol, s3, 1e-12 * std::max(1.0, std::fabs(s3)));
}

TEST(VfconvExtFlux, EveryMethodAgainstTheFormulasOnBothFaceSets)
{
    const FluxCase c(4, 3, 21);
    const std::vector<int> rows = {1, 5, 6, 11};
    for (int method = 0; method <= 4; ++method) {
        for (bool par : {false, true}) {
            // Methods 2-4 carry the incoming values: a small maxCe lets the
            // donors win, a FrontVol of 0.5 shows where no face is in band.
            const double maxCe = method >= 2 ? 0.4 : -1.0, FrontVol = 0.5;
            const FluxRun r = RunFlux(c, method, maxCe, FrontVol, par, rows);
            EXPECT_EQ(r.status, 0);
            SCOPED_TRACE(testing::Message() << "method " << method << (par ? " partition" : " interior"));
            ExpectFluxMatches(c, r, method, maxCe, FrontVol, par, rows);
        }
    }
}

TEST(VfconvExtFlux, EdgeCasesOfTheCompressionBandsAndMethodChoice)
{
    FluxCase c(3, 1, 3);
    c.mfe = {2.0, -1.0};
    c.phi = {0.994, 0.2, 0.994};
    c.gx = {-1.0, -1.0, -1.0};
    c.gy = c.gz = {0.0, 0.0, 0.0};
    c.m.sx = {1.0, 1.0};
    c.m.sy = {0.0, 0.0};
    c.Fe = {1.0, 0.25};  // face 0: no compression
    c.CeBound = 0.6;     // phi_D = 0.994 lies inside |phi - fcri| < 0.6
    // Face 0: m' = m, coefficients of plain upwind; face 1 (c_f = -1):
    // mc = 0.1 (-1)(-1)(0.75) = 0.075, m' = -1.075.
    FluxRun r = RunFlux(c, 1, 0.0, 0.0, false);
    EXPECT_EQ(r.aE[0], 0.0);
    EXPECT_DOUBLE_EQ(r.aE[1], -1.075);
    EXPECT_EQ(r.aW, (std::vector<double>{-2.0, 0.0}));
    // Method 1 stops at 0.994: both donors (cells 0 and 2) are outside.
    EXPECT_EQ(std::make_pair(r.maxCe, r.FrontVol), std::make_pair(0.0, 0.0));
    // Method 0 takes them: sum Co V and V.
    r = RunFlux(c, 0, 0.0, 0.0, false);
    EXPECT_DOUBLE_EQ(r.FrontVol, c.m.volume[0] + c.m.volume[2]);
    // Method 4 and a negative incoming maxCe: the largest donor Courant
    // number, and 1 for FrontVol.
    r = RunFlux(c, 4, -5.0, -5.0, false);
    EXPECT_EQ(r.maxCe, std::max(c.Co[0], c.Co[2]));
    EXPECT_EQ(r.FrontVol, 1.0);
    // gamma = 0: no deferred correction.
    c.gamma = 0.0;
    r = RunFlux(c, 0, 0.0, 0.0, false);
    EXPECT_EQ(r.t1, (std::vector<double>{0.0, 0.0}));
    EXPECT_EQ(r.source, c.source);
    // A compression larger than the flux is dropped (Fe far below 0).
    c.Fe = {-20.0, -20.0};
    r = RunFlux(c, 0, 0.0, 0.0, false);
    EXPECT_EQ(r.aE, (std::vector<double>{0.0, -1.0}));
    // Another method: no face kernel, both outputs 0, status of the update.
    r = RunFlux(c, 5, 3.0, 3.0, false);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.aE, (std::vector<double>{-5.0, -5.0}));
    EXPECT_EQ(std::make_pair(r.maxCe, r.FrontVol), std::make_pair(0.0, 0.0));
}

// 70000 faces: two collecting passes of both statistics, sums and maxima,
// against host sums and maxima, and the same bits for one and two threads.
TEST(VfconvExtFlux, StatisticsOverManyBlocks)
{
    const FluxCase c(350, 201, 77);
    ASSERT_GT(c.m.nFaces, 131072 / 2);
    for (int method : {0, 3}) {
        const double maxCe = 0.2, FrontVol = 0.0;
        const auto runs =
            rvztest::ForThreadCounts({1, 2}, [&] { return RunFlux(c, method, maxCe, FrontVol, false).maxCe; });
        EXPECT_TRUE(rvztest::SameBits(runs[0], runs[1]));
        const FluxRun r = RunFlux(c, method, maxCe, FrontVol, false);
        long double s2 = 0.0L, s3 = 0.0L;
        for (int f = 0; f < c.m.nFaces; ++f) {
            const FluxCase::Face e = c.Reference(f, method, maxCe, FrontVol, false);
            s2 = method <= 1 ? s2 + e.t2 : std::max<long double>(s2, e.t2);
            s3 = method <= 1 ? s3 + e.t3 : std::max<long double>(s3, e.t3);
        }
        EXPECT_NEAR(r.maxCe, static_cast<double>(s2), 1e-11 * static_cast<double>(s2)) << method;
        EXPECT_NEAR(r.FrontVol, static_cast<double>(s3), 1e-11 * static_cast<double>(s3)) << method;
    }
}

// Maxima start from 0: 512 faces (two full blocks), none in band, every
// face value the negative incoming one.
TEST(VfconvExtFlux, MaximaStartFromZero)
{
    FluxCase c(513, 1, 8);
    ASSERT_EQ(c.m.nFaces, 512);
    c.CeBound = 0.0;
    const FluxRun r = RunFlux(c, 2, -5.0, -3.0, false);
    EXPECT_EQ(r.t2, std::vector<double>(512, -5.0));
    EXPECT_EQ(std::make_pair(r.maxCe, r.FrontVol), std::make_pair(0.0, 0.0));
}

TEST(VfconvExtFlux, TimeTermIsTheBasicOneWithAGuardedTimeStep)
{
    const BoxMesh m(3, 1, 1);
    const DeviceMesh d(m);
    std::vector<double> A(m.EllSize(), 0.0);
    for (int r = 0; r < 3; ++r) A[r] = 4.0 + r;
    A[static_cast<size_t>(2) * m.newNNU + 0] = -1.0;  // 0 -> 1
    A[static_cast<size_t>(1) * m.newNNU + 1] = -3.0;  // 1 -> 0
    A[static_cast<size_t>(2) * m.newNNU + 1] = -0.5;  // 1 -> 2
    const std::vector<double> su = {0.1, 0.2, 0.3}, old = {0.25, 0.5, 1.0};
    DeviceArray<double> A1(A), A2(A), s1(su), s2(su), o(old);
    ASSERT_EQ(Tool().Calc_VOF_FlowE_UnsteadyTermContribution(3, m.newNNU, BoxMesh::nCol, *d.volume, 0.5, A1, s1, o,
                                                              *d.indexELL, 1),
              0);
    ASSERT_EQ(Tool().Calc_Vfconv_UnsteadyTermContribution(3, m.newNNU, BoxMesh::nCol, *d.volume, 0.5, A2, s2, o,
                                                          *d.indexELL, 1),
              0);
    EXPECT_EQ(A1.Download(), A2.Download());
    EXPECT_EQ(s1.Download(), s2.Download());
    // By hand, row 1: halves -1.5 and -0.25, diagonal 5 + 2, source 0.2 +
    // (2 - 1.75) 0.5 - (-1.5 0.25 - 0.25 1.0).
    const std::vector<double> a = A1.Download(), s = s1.Download();
    EXPECT_EQ(a[1], 7.0);
    EXPECT_EQ(s[1], 0.2 + (0.25 * 0.5 + 0.375 + 0.25));
    // dt = 0: a0 = V / 1e-30 instead of a division by zero.
    DeviceArray<double> A3(A), s3(su);
    ASSERT_EQ(Tool().Calc_VOF_FlowE_UnsteadyTermContribution(3, m.newNNU, BoxMesh::nCol, *d.volume, 0.0, A3, s3, o,
                                                              *d.indexELL, 1),
              0);
    EXPECT_EQ(A3.Download()[0], 4.0 + 1.0 / 1e-30);
}

// ---------------------------------------------------------------------------
// Inlets, moving walls and keep-filled rules
// ---------------------------------------------------------------------------

// Three cells in a row; a boundary list of four faces: cell 0 twice (-x
// and -y), cells 1 and 2 once (-y), so that one row sums two faces.
struct BoundaryCase {
    BoxMesh m{3, 1, 1};
    DeviceMesh d{m};
    flowtest::BoundaryList list = m.Merge({0, 2});
    DeviceList l{list};
    DeviceArray<double> phi{std::vector<double>(m.nExt, 0.0)};
    DeviceArray<double> A{std::vector<double>(m.EllSize(), 0.0)}, source{std::vector<double>(3, 0.0)};
    DeviceArray<double> t1{4}, t2{4};

    void SetSlots(const std::vector<double>& values)
    {
        std::vector<double> all = phi.Download();
        for (int k = 0; k < 4; ++k) all[list.slot[k]] = values[k];
        phi.Upload(all);
    }
    std::vector<double> Slots() const
    {
        const std::vector<double> all = phi.Download();
        std::vector<double> out;
        for (int k = 0; k < 4; ++k) out.push_back(all[list.slot[k]]);
        return out;
    }
    std::vector<double> Diagonal() const
    {
        const std::vector<double> a = A.Download();
        return {a[0], a[1], a[2]};
    }
};

TEST(VfconvExtBoundary, InjectionFlagsByPhaseFluidAndMaterial)
{
    // Six inlet faces on one cell's slots; groups 0, 1, 2 of types 1, 2, 3.
    const std::vector<int> cell = {0, 0, 0, 0, 0, 0}, slot = {3, 4, 5, 6, 7, 8}, group = {0, 1, 2, 0, 1, 2};
    const std::vector<int> active = {1, 1, 1, 0, 1, 2};  // only 1 is active
    DeviceArray<int> C(cell), B(slot), G(group), act(active), types(std::vector<int>{1, 2, 3});
    DeviceArray<double> gx(std::vector<double>(9, 0.5)), gy(std::vector<double>(9, -1.0)), gz(9);
    gx.Upload({2.0});
    DeviceArray<bool> j12(6), j3P(6), j3N(6), j4P(6);
    auto flags = [&](int fluidIn, int mainPhase) {
        EXPECT_EQ(Tool().Calc_VOF_FlowE_SetVOFInlet_judge(6, fluidIn, mainPhase, C, B, act, G, types, gx, gy, gz, j12,
                                                          j3P, j3N, j4P, 1),
                  0);
        return std::vector<std::vector<bool>>{j12.Download(), j3P.Download(), j3N.Download(), j4P.Download()};
    };
    const std::vector<bool> none = Bits("000000");
    // No second fluid: every active face injects 1 (judge1_2D) only.
    EXPECT_EQ(flags(0, 1), (std::vector<std::vector<bool>>{Bits("111010"), none, none, none}));
    // Second fluid, main phase: types 2 and 3 inject 0, type 1 injects 1.
    EXPECT_EQ(flags(2, 1), (std::vector<std::vector<bool>>{none, Bits("011010"), none, Bits("100000")}));
    // Second fluid, the other phase: types 2 and 3 inject 1.
    EXPECT_EQ(flags(1, 0), (std::vector<std::vector<bool>>{none, none, Bits("011010"), none}));
    // The slots took the cell's gradient.
    EXPECT_EQ(gx.Download(), (std::vector<double>{2.0, 0.5, 0.5, 2.0, 2.0, 2.0, 2.0, 2.0, 2.0}));
}

TEST(VfconvExtBoundary, InletTermsOfAllFlagsAndOfOneFlag)
{
    BoundaryCase b;
    b.d.ClearScratch();
    b.SetSlots({0.5, 0.5, 0.5, 0.5});
    // Face 0: 4P (inflow 2); face 1: 3P (inflow 1); face 2: 1_2 and 3N
    // (inflow 0.5); face 3: 3P and 1_2 with an outflow.
    DeviceArray<bool> j12(Bits("0011")), j3P(Bits("0101")), j3N(Bits("0010")), j4P(Bits("1000"));
    DeviceArray<double> mfe(std::vector<double>{-2.0, -1.0, -0.5, 3.0});
    ASSERT_EQ(Tool().Calc_VOF_FlowE_SetVOFInlet_All(4, 3, b.m.newNNU, BoxMesh::nCol, *b.l.slot, j12, j3P, j3N, j4P,
                                                    mfe, b.phi, b.source, b.A, b.t1, b.t2, *b.l.Px, *b.l.Py,
                                                    *b.d.scratch, 1, 1, *b.l.rows),
              0);
    // Boundary values by precedence 4P, 3N, 3P, 1_2; the diagonal gains w per
    // flag, the source w per filling flag (3P adds to the diagonal only).
    EXPECT_EQ(b.Slots(), (std::vector<double>{1.0, 0.0, 1.0, 0.0}));
    EXPECT_EQ(b.Diagonal(), (std::vector<double>{3.0, 1.0, 0.0}));
    EXPECT_EQ(b.source.Download(), (std::vector<double>{2.0, 1.0, 0.0}));
    // One flag, injecting phase 0.3 where judgeD is set.
    b.d.ClearScratch();
    b.SetSlots({0.5, 0.5, 0.5, 0.5});
    DeviceArray<bool> judge(Bits("1011"));
    ASSERT_EQ(Tool().Calc_VOF_FlowE_SetVOFInlet(4, 3, b.m.newNNU, BoxMesh::nCol, 0.3, *b.l.slot, judge, mfe, b.phi,
                                                b.source, b.A, b.t1, b.t2, *b.l.Px, *b.l.Py, *b.d.scratch, 1, 1,
                                                *b.l.rows),
              0);
    EXPECT_EQ(b.Slots(), (std::vector<double>{0.3, 0.5, 0.3, 0.3}));
    EXPECT_EQ(b.Diagonal(), (std::vector<double>{3.0 + 2.0, 1.0 + 0.5, 0.0}));
    EXPECT_EQ(b.source.Download(), (std::vector<double>{2.0 + 2.0 * 0.3, 1.0 + 0.5 * 0.3, 0.0}));
}

TEST(VfconvExtBoundary, MovingWallsInjectMeltWhereTheMeltHasReachedThem)
{
    BoundaryCase b;
    b.d.ClearScratch();
    // Moving, reached (0.6 > fcri), inflow 2 -> injects; moving at exactly
    // fcri -> not; fixed wall -> not; moving, reached, outflow -> value only.
    b.SetSlots({0.6, kFcri, 0.9, 0.9});
    DeviceArray<int> moving(std::vector<int>{1, 1, 0, 1});
    DeviceArray<double> flux(std::vector<double>{-2.0, -1.0, -1.0, 1.0});
    ASSERT_EQ(Tool().Calc_VOF_FlowE_ICM_UpdateAiSu(4, 3, b.m.newNNU, BoxMesh::nCol, kFcri, 0.8, nullptr, *b.l.slot,
                                                   moving, flux, b.phi, b.source, b.A, b.t1, b.t2, *b.l.Px, *b.l.Py,
                                                   *b.d.scratch, 1, 1, *b.l.rows),
              0);
    EXPECT_EQ(b.Slots(), (std::vector<double>{0.8, kFcri, 0.9, 0.8}));
    EXPECT_EQ(b.Diagonal(), (std::vector<double>{2.0, 0.0, 0.0}));
    EXPECT_EQ(b.source.Download(), (std::vector<double>{2.0 * 0.8, 0.0, 0.0}));
}

// Cells 0 and 1 were filled and fell below fcri; cell 2 is negative. Face 1
// (cell 0) injects, the others do not.
struct RefillCase : BoundaryCase {
    DeviceArray<double> old{std::vector<double>{0.9, 0.9, 0.1}};
    DeviceArray<double> co{std::vector<double>(m.nExt, 0.0)}, gx{std::vector<double>(m.nExt, 0.0)};
    DeviceArray<double> gy{std::vector<double>(m.nExt, 0.0)}, gz{std::vector<double>(m.nExt, 0.0)};
    DeviceArray<double> temp{4};
    DeviceArray<int> injecting{std::vector<int>{0, 1, 0, 0}};
    RefillCase()
    {
        d.ClearScratch();
        flowtest::SetCells(phi, {0.3, 0.3, -0.2});
        SetSlots({7.0, 7.0, 7.0, 7.0});
        flowtest::SetCells(co, {0.1, 0.2, 0.3});
        flowtest::SetCells(gx, {1.0, 2.0, 3.0});
    }
    std::vector<double> Cells() const
    {
        const std::vector<double> all = phi.Download();
        return {all[0], all[1], all[2]};
    }
    int Inlet(int fluidIn, int mainPhase)
    {
        return Tool().Calc_VOF_FlowE_InletBC(4, 3, m.newNNU, BoxMesh::nCol, fluidIn, mainPhase, kFcri, *l.cell,
                                             *l.slot, injecting, old, phi, co, gx, gy, gz, temp, *l.Px, *l.Py,
                                             *d.scratch, 1, 1, *l.rows);
    }
};

TEST(VfconvExtBoundary, KeepFilledRuleWhileTheSecondFluidIsInjected)
{
    RefillCase r;
    ASSERT_EQ(r.Inlet(1, 1), 0);
    // Cells 0 and 1 lost their fill next to idle inlet faces: refilled. The
    // negative cell 2 becomes 0. The injecting face's slot stays.
    EXPECT_EQ(r.Cells(), (std::vector<double>{1.0, 1.0, 0.0}));
    EXPECT_EQ(r.Slots(), (std::vector<double>{1.0, 7.0, 1.0, -0.2}));
    const std::vector<double> co = r.co.Download(), gx = r.gx.Download();
    for (int k : {0, 2, 3}) {
        EXPECT_EQ(co[r.list.slot[k]], co[r.list.cell[k]]);
        EXPECT_EQ(gx[r.list.slot[k]], gx[r.list.cell[k]]);
    }
    EXPECT_EQ(co[r.list.slot[1]], 0.0);
}

TEST(VfconvExtBoundary, NoRefillWithoutSecondFluidOrForTheOtherPhase)
{
    for (const auto& [fluidIn, mainPhase] : {std::pair{0, 1}, std::pair{1, 0}}) {
        RefillCase r;
        ASSERT_EQ(r.Inlet(fluidIn, mainPhase), 0);
        EXPECT_EQ(r.Cells(), (std::vector<double>{0.3, 0.3, 0.0}));
        EXPECT_EQ(r.Slots(), (std::vector<double>{0.3, 7.0, 0.3, -0.2}));
    }
    // The wall form tests no phase: cells 0 and 1 refill next to walls.
    RefillCase w;
    ASSERT_EQ(Tool().Calc_VOF_FlowE_WallBC_FAIM_MainPhase(4, 3, w.m.newNNU, BoxMesh::nCol, kFcri, *w.l.cell,
                                                          *w.l.slot, w.old, w.phi, w.temp, *w.l.Px, *w.l.Py,
                                                          *w.d.scratch, 1, 1, *w.l.rows),
              0);
    EXPECT_EQ(w.Cells(), (std::vector<double>{1.0, 1.0, 0.0}));
    EXPECT_EQ(w.Slots(), (std::vector<double>{1.0, 1.0, 1.0, 7.0}));
    // Zero-gradient walls copy value, Courant number and gradient; the
    // gradient-only form leaves the value.
    RefillCase z;
    ASSERT_EQ(Tool().Calc_VOF_FlowE_Update_dVF_d(4, *z.l.cell, *z.l.slot, z.gx, z.gy, z.gz, 1), 0);
    EXPECT_EQ(z.Slots(), (std::vector<double>{7.0, 7.0, 7.0, 7.0}));
    EXPECT_EQ(z.gx.Download()[z.list.slot[3]], 3.0);
    ASSERT_EQ(Tool().Calc_VOF_FlowE_WallBC(4, *z.l.cell, *z.l.slot, z.phi, z.co, z.gx, z.gy, z.gz, 1), 0);
    EXPECT_EQ(z.Slots(), (std::vector<double>{0.3, 0.3, 0.3, -0.2}));
    EXPECT_EQ(z.co.Download()[z.list.slot[2]], 0.2);
}

// ---------------------------------------------------------------------------
// Limiting, arrival times and the end of filling
// ---------------------------------------------------------------------------

TEST(VfconvExtLimit, BandsOfTheTwoAdjustmentsAndTheArrivalTime)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), EMF = 0.01, EMF1 = 0.99;
    const std::vector<double> phi = {-0.1, 0.01, 0.02, kFcri, kFcri, 0.7, 0.995, 1.3, nan};
    const std::vector<float> arrival = {0, 0, 0, 0, 1.0f, 0, 0, 0, 0};
    auto adjust = [&](int form, double fillVol) {
        DeviceArray<double> v(phi);
        DeviceArray<float> mf(arrival);
        const int status =
            form == 0 ? Tool().Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(9, fillVol, EMF, EMF1, kFcri, mf, v, 1)
                      : Tool().Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(9, EMF, EMF1, kFcri, mf, v, 1);
        EXPECT_EQ(status, 0);
        return v.Download();
    };
    auto same = [](const std::vector<double>& a, const std::vector<double>& b) {
        for (size_t i = 0; i < a.size(); ++i)
            if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i])))) return false;
        return true;
    };
    // Early filling: <= EMF to 0, >= EMF1 to 1, fcri to 1 only where arrived.
    const std::vector<double> early = {0, 0, 0.02, kFcri, 1, 0.7, 1, 1, nan};
    EXPECT_TRUE(same(adjust(0, 0.5), early));
    EXPECT_TRUE(same(adjust(0, std::nextafter(0.994, 0.0)), early));
    EXPECT_TRUE(same(adjust(1, 0.5), early));
    // From FillVol 0.994 on: only < EMF to 0, and >= fcri to 1 everywhere.
    EXPECT_TRUE(same(adjust(0, 0.994), (std::vector<double>{0, 0.01, 0.02, 1, 1, 1, 1, 1, nan})));
    // A cell at fcri without an arrival time is snapped once one is stored.
    DeviceArray<double> v(std::vector<double>{kFcri, std::nextafter(kFcri, 0.0)});
    DeviceArray<float> mf(std::vector<float>{0.0f, 0.0f});
    ASSERT_EQ(Tool().Calc_VOF_FlowE_Update_mftime(2, kFcri, 0.0, v, mf, 1), 0);
    EXPECT_EQ(mf.Download(), (std::vector<float>{0.0f, 0.0f}));  // Time 0 records nothing
    ASSERT_EQ(Tool().Calc_VOF_FlowE_Update_mftime(2, kFcri, 2.5, v, mf, 1), 0);
    ASSERT_EQ(Tool().Calc_VOF_FlowE_Update_mftime(2, kFcri, 3.5, v, mf, 1), 0);
    EXPECT_EQ(mf.Download(), (std::vector<float>{2.5f, 0.0f}));  // recorded once
    ASSERT_EQ(Tool().Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(2, EMF, EMF1, kFcri, mf, v, 1), 0);
    EXPECT_EQ(v.Download(), (std::vector<double>{1.0, std::nextafter(kFcri, 0.0)}));
}

std::pair<int, double> EndOfFilling(const std::vector<double>& phi, const std::vector<double>& vol)
{
    const int n = static_cast<int>(phi.size());
    Levels L(n);
    DeviceArray<double> v(phi), V(vol);
    std::pair<int, double> out{-1, -1.0};
    EXPECT_EQ(Tool().Calc_VOF_FlowE_CheckEndFilling(n, kFcri, v, V, 0, out.first, out.second, *L.i, *L.d1, L.nLevels,
                                                    L.count, L.offset, L.total, L.size),
              0);
    return out;
}

TEST(VfconvExtLimit, EndOfFillingFiresWhenTheLastCellPassesTheCriticalFraction)
{
    const int n = 600;  // one collecting pass
    std::vector<double> phi(n, 1.0), vol = rvztest::RandomVector(n, 4, 0.5, 2.0);
    phi[377] = 0.2;
    EXPECT_EQ(EndOfFilling(phi, vol), std::make_pair(1, vol[377] * 0.2));
    phi[377] = std::nextafter(kFcri, 0.0);
    EXPECT_EQ(EndOfFilling(phi, vol), std::make_pair(1, vol[377] * phi[377]));
    phi[377] = kFcri;
    EXPECT_EQ(EndOfFilling(phi, vol), std::make_pair(0, 0.0));
    // 70000 cells: two collecting passes, against host counts and sums.
    const int big = 70000;
    const std::vector<double> p = rvztest::RandomVector(big, 8, 0.0, 1.0), V = rvztest::RandomVector(big, 9, 0.5, 2.0);
    int count = 0;
    long double sum = 0.0L;
    for (int c = 0; c < big; ++c)
        if (p[c] < kFcri) {
            ++count;
            sum += static_cast<long double>(p[c]) * V[c];
        }
    const auto [cells, volume] = EndOfFilling(p, V);
    EXPECT_EQ(cells, count);
    EXPECT_NEAR(volume, static_cast<double>(sum), 1e-12 * static_cast<double>(sum));
}

// ---------------------------------------------------------------------------
// A step advected along a chain of cells
// ---------------------------------------------------------------------------

// Melt enters a chain of unit cells through the left end at the flux m and
// leaves through the right end; every face carries m. Each time step is
// assembled and solved as in vof_advection.h, the test supplying the
// gradient (central differences, the inlet value 1 on the left) and the
// outlet's outflow on the diagonal. The inlet operation adds its inflow to
// the diagonal (the inflow form), so the test takes that much off the
// inlet cell first.
struct StepResult {
    std::vector<double> phi;
    double worstBalance = 0.0, lo = 1.0, hi = 0.0;
};

StepResult AdvectStep(int scheme, int nCells, int steps, double dt)
{
    const double flux = 1.0;
    const BoxMesh m(nCells, 1, 1);
    const DeviceList in(m.side[0]);
    const int nn = m.newNNU, nCol = BoxMesh::nCol;
    voftest::Advector step(m, std::vector<double>(m.nFaces, flux), dt);
    DeviceArray<double> inFlux(std::vector<double>{-flux}), inT1(1), inT2(1);
    DeviceArray<bool> judge(Bits("1"));
    std::vector<double> diagonal(nCells, 0.0);
    diagonal[nCells - 1] += flux;  // the outlet
    diagonal[0] -= flux;           // the inlet operation adds its inflow
    const auto inlet = [&](DeviceArray<double>& A, DeviceArray<double>& src, DeviceArray<double>& phi,
                           const DeviceMesh& d) {
        d.ClearScratch();
        EXPECT_EQ(Tool().Calc_VOF_FlowE_SetVOFInlet(1, 1, nn, nCol, 1.0, *in.slot, judge, inFlux, phi, src, A, inT1,
                                                    inT2, *in.Px, *in.Py, *d.scratch, 1, 1, *in.rows),
                  0);
    };
    const std::vector<double> zero(m.nExt, 0.0);
    StepResult out;
    for (int s = 0; s < steps; ++s) {
        const std::vector<double> old = step.Phi();
        step.Step(scheme, voftest::CentralGradient(m, old, 0, 1.0, 1.0), zero, zero, diagonal, inlet);
        const std::vector<double> phi = step.Phi();
        double change = 0.0;
        for (int c = 0; c < nCells; ++c) {
            change += phi[c] - old[c];
            out.lo = std::min(out.lo, phi[c]);
            out.hi = std::max(out.hi, phi[c]);
        }
        const double expected = dt * (flux * 1.0 - flux * phi[nCells - 1]);
        out.worstBalance = std::max(out.worstBalance, std::fabs(change - expected));
    }
    out.phi = step.Phi();
    return out;
}

// Position of the 0.5 crossing between cell centres, and the number of
// cells strictly between 0.01 and 0.99.
double Crossing(const std::vector<double>& phi)
{
    for (size_t c = 1; c < phi.size(); ++c)
        if (phi[c - 1] >= 0.5 && phi[c] < 0.5) return c - 0.5 + (phi[c - 1] - 0.5) / (phi[c - 1] - phi[c]);
    return -1.0;
}
int Width(const std::vector<double>& phi)
{
    return static_cast<int>(std::count_if(phi.begin(), phi.end(), [](double v) { return v > 0.01 && v < 0.99; }));
}

// Donor Courant numbers 0.25 and 0.5; the front travels 30 cells of 60.
TEST(VfconvExtAdvection, StepStaysBoundedConservedAndInPlaceForEveryScheme)
{
    const int nCells = 60;
    const char* names[] = {"upwind", "CICSAM", "CICSAM", "MCICSAM", "HRIC", "MHRIC"};
    for (const double dt : {0.25, 0.5}) {
        const int steps = static_cast<int>(30.0 / dt);
        const double front = steps * dt;  // unit flux through unit faces
        int upwindWidth = 0;
        for (int scheme = -1; scheme <= 4; ++scheme) {
            const StepResult r = AdvectStep(scheme, nCells, steps, dt);
            SCOPED_TRACE(testing::Message() << names[scheme + 1] << " dt " << dt);
            EXPECT_LT(r.worstBalance, 1e-12);
            EXPECT_GE(r.lo, -1e-12);
            EXPECT_LE(r.hi, 1.0 + 1e-12);
            EXPECT_NEAR(Crossing(r.phi), front, 1.0);
            const int width = Width(r.phi);
            if (scheme < 0)
                upwindWidth = width;
            else
                EXPECT_LT(width, upwindWidth);
            std::printf("[ interface ] Co %.2f %-8s width %2d cells, 0.5 crossing at %.3f (exact %.1f), range "
                        "[%.3g, 1 + %.3g], worst balance %.3g\n",
                        dt, names[scheme + 1], width, Crossing(r.phi), front, r.lo, r.hi - 1.0, r.worstBalance);
        }
    }
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

#if !RVZGPU_BACKEND_CUDA
std::string Report(const char* message)
{
    return std::string("GPU[0:host] ") + message + ": " + rvz::PlatformErrorText(719) + ".(719)\n\r5 \r4 \r3 \r2 \r1 ";
}

TEST(VfconvExtFailure, FluxStepsReportTheirMessagesAndTheReductionStatusIsReturned)
{
    const FluxCase c(4, 3, 21);
    // The face kernel fails: reported, the later steps succeed, status 0.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 0);
    FluxRun r;
    std::string out = rvztest::CaptureOutput([&] { r = RunFlux(c, 2, 0.0, 0.0, false); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("Calc_VOF_FlowE_InnerFluxVolF_Method2_aEaWtemp123 failed"));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.aE, std::vector<double>(c.m.nFaces, -5.0));
    // The partition update fails.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 2);
    out = rvztest::CaptureOutput([&] { r = RunFlux(c, 0, 0.0, 0.0, true, {1}); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("Calc_VOF_FlowE_InnerFluxVolF_SourceTerm_Par failed"));
    EXPECT_EQ(r.status, 0);
    // The first reduction level fails: its code is returned and the cleared
    // statistics are copied back.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 3);
    out = rvztest::CaptureOutput([&] { r = RunFlux(c, 3, 0.7, 0.7, false); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("CalcPP_FlowE_MassSum failed"));
    EXPECT_EQ(r.status, cudaErrorLaunchFailure);
    EXPECT_EQ(std::make_pair(r.maxCe, r.FrontVol), std::make_pair(0.0, 0.0));
}

TEST(VfconvExtFailure, BoundaryAndEndOfFillingChecks)
{
    // The second collect of the inlet terms fails; the source update after
    // it succeeds and gives the status.
    BoundaryCase b;
    b.d.ClearScratch();
    DeviceArray<bool> judge(Bits("1111"));
    DeviceArray<double> mfe(std::vector<double>{-1.0, -1.0, -1.0, -1.0});
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 3);
    std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_VOF_FlowE_SetVOFInlet(4, 3, b.m.newNNU, BoxMesh::nCol, 1.0, *b.l.slot, judge, mfe, b.phi,
                                                   b.source, b.A, b.t1, b.t2, *b.l.Px, *b.l.Py, *b.d.scratch, 1, 1,
                                                   *b.l.rows);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("Calc_VOF_FlowE_SetVOFInlet_SourceTerm_Ponly failed"));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(b.Diagonal(), (std::vector<double>{2.0, 1.0, 1.0}));
    // A collecting pass of the end-of-filling statistics fails: one check
    // after the passes reports it and returns its code.
    const std::vector<double> phi(600, 0.25), vol(600, 2.0);
    Levels L(600);
    DeviceArray<double> v(phi), V(vol);
    int cells = -1;
    double volume = -1.0;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 3);
    out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_VOF_FlowE_CheckEndFilling(600, kFcri, v, V, 0, cells, volume, *L.i, *L.d1, L.nLevels,
                                                       L.count, L.offset, L.total, L.size);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, Report("Calc_VOF_FlowE_CheckEndFilling_CollectSum12 failed"));
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(cells, 600);  // the count's passes ran
}
#endif

}  // namespace
