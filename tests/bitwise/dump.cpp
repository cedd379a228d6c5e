// rvzgpu-bitwise-dump: runs fixed computations and prints every result as
// its exact bit pattern, so that the outputs of the host and cuda backends
// can be compared with diff. Only + - * / sqrt fma (and comparisons, min,
// fabs) enter these results.
#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "CRVZGPUtool.h"
#include "CU_Reduction.h"
#if RVZGPU_DUMP_CHANNEL
#include "channel_solver.h"
#include "device_buffer.h"
#include "energy_step.h"
#include "rvzgpu_mesh/Mesh.h"
#endif

namespace {

void print(const char* what, int n, double v)
{
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    std::printf("%s n=%d %016" PRIx64 " %.17g\n", what, n, bits, v);
}

std::vector<double> values(int n, unsigned seed)
{
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> dist(-1e3, 1e3);
    std::vector<double> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

// Bit patterns of a whole vector folded into one number.
uint64_t fold(const std::vector<double>& v)
{
    uint64_t h = 1469598103934665603ull;
    for (double x : v) {
        uint64_t bits;
        std::memcpy(&bits, &x, sizeof bits);
        h = (h ^ bits) * 1099511628211ull;
    }
    return h;
}

// A 7-point operator on an m^3 grid in CSR form; `wind` > 0 adds upwind
// convection along x, which makes it non-symmetric.
void grid_matrix(int m, double wind, std::vector<int>& ia, std::vector<int>& ja, std::vector<double>& aa)
{
    ia.assign(1, 0);
    ja.clear();
    aa.clear();
    for (int z = 0; z < m; ++z)
        for (int y = 0; y < m; ++y)
            for (int x = 0; x < m; ++x) {
                const int i = (z * m + y) * m + x;
                ja.push_back(i);
                aa.push_back(6.0 + wind);
                const int nb[6][4] = {{x > 0, -1, 1, 0},     {x < m - 1, 1, 0, 0}, {y > 0, -m, 0, 0},
                                      {y < m - 1, m, 0, 0}, {z > 0, -m * m, 0, 0}, {z < m - 1, m * m, 0, 0}};
                for (const auto& e : nb)
                    if (e[0]) {
                        ja.push_back(i + e[1]);
                        aa.push_back(-1.0 - (e[2] ? wind : 0.0));
                    }
                ia.push_back(static_cast<int>(ja.size()));
            }
}

void solve_and_print(CRVZGPUtool& tool, bool bicgstab, int precond)
{
    const int m = 20;
    std::vector<int> ia, ja;
    std::vector<double> aa;
    grid_matrix(m, bicgstab ? 0.7 : 0.0, ia, ja, aa);
    const int n = m * m * m;
    const int nna = static_cast<int>(aa.size());
    std::vector<double> rhs = values(n, 99u);
    int *iaD = nullptr, *jaD = nullptr;
    double *aaD = nullptr, *rhsD = nullptr, *solD = nullptr;
    tool.AllocateDeviceMemory(n + 1, iaD);
    tool.AllocateDeviceMemory(nna, jaD);
    tool.AllocateDeviceMemory(nna, aaD);
    tool.AllocateDeviceMemory(n, rhsD);
    tool.AllocateDeviceMemory(n, solD);
    tool.DataCopyHost2Device(n + 1, ia.data(), iaD);
    tool.DataCopyHost2Device(nna, ja.data(), jaD);
    tool.DataCopyHost2Device(nna, aa.data(), aaD);
    tool.DataCopyHost2Device(n, rhs.data(), rhsD);
    double resIn = 0.0, resOut = 0.0;
    int iter = 0;
    const double tol = 1e-10;
    const int maxIter = 500;
    if (bicgstab)
        tool.BiCGSTAB_CSR(n, nna, iaD, jaD, aaD, rhsD, solD, tol, resIn, resOut, iter, maxIter, precond);
    else
        tool.CG_CSR(n, nna, iaD, jaD, aaD, rhsD, solD, tol, resIn, resOut, iter, maxIter, precond);
    std::vector<double> sol(n);
    tool.DataCopyDevice2Host(n, sol.data(), solD);
    const char* what = bicgstab ? (precond ? "bijcgstab_csr" : "bicgstab_csr") : (precond ? "jcg_csr" : "cg_csr");
    std::printf("\n%s iter=%d solution=%016" PRIx64 "\n", what, iter, fold(sol));
    print(what, n, resOut);
    tool.FreeDeviceMemory(iaD);
    tool.FreeDeviceMemory(jaD);
    for (double* p : {aaD, rhsD, solD}) tool.FreeDeviceMemory(p);
}

#if RVZGPU_DUMP_CHANNEL
// The energy equation on a skewed box: the interior faces with random
// temperatures and gradients (and their count of dropped corrections),
// then one whole temperature step of the example (kind-3 walls, viscous
// heating, Jacobi BiCGSTAB).
void energy_dump(CRVZGPUtool& tool)
{
    rvzmesh::BoxOptions o;
    o.nx = 10, o.ny = 8, o.nz = 6;
    o.perturbation = 0.25;
    const rvzmesh::Mesh m = rvzmesh::BuildMesh(rvzmesh::MakeBox(o));
    rvzmesh::DeviceMesh d;
    if (rvzmesh::UploadMesh(tool, m, d) != 0) return;
    const int ne = m.nExtended, nf = m.nFaces, nc = m.nCells;
    auto positive = [](std::vector<double> v) {
        for (double& x : v) x = 1.0 + std::fabs(x) * 1e-3;
        return v;
    };
    channel::Buf<double> T(tool, values(ne, 11)), gx(tool, values(ne, 12)), gy(tool, values(ne, 13)),
        gz(tool, values(ne, 14)), mk(tool, positive(values(ne, 15))), volF(tool, positive(values(ne, 16))),
        mfe(tool, values(nf, 17)), aE(tool, nf), aW(tool, nf), temp(tool, nf), Su(tool, nc),
        scratch(tool, m.newNNU * m.nColumnPerRow);
    const rvz::LevelTable t = rvz::MakeLevelTable(nf);
    channel::Buf<int> counts(tool, t.total);
    int norkk = -1;
    tool.Calc_InnerFluxSC_Flow(nf, nc, m.newNNU, m.nColumnPerRow, 2.0, 1.5, d.ijP, d.ijE, d.le, T, gx, gy, gz, d.xc,
                               d.yc, d.zc, d.sx, d.sy, d.sz, mfe, aE, aW, Su, volF, mk, temp, norkk, d.mapPx, d.mapPy,
                               d.mapEx, d.mapEy, scratch, (nc + 255) / 256, (nf + 255) / 256, t.nLevels, t.count,
                               t.offset, t.total, t.size, counts);
    std::printf("\nenergy faces dropped=%d aE=%016" PRIx64 " aW=%016" PRIx64 " Su=%016" PRIx64 "\n", norkk,
                fold(aE.Download()), fold(aW.Download()), fold(Su.Download()));

    std::vector<double> flux(nf), inflow;
    for (int f = 0; f < nf; ++f) flux[f] = 0.01 * m.sx[f];
    const rvzmesh::BoundaryList& in = m.list(rvzmesh::BoundaryKind::Inlet);
    for (int k = 0; k < in.size(); ++k) inflow.push_back(0.01 * in.sx[k]);
    channel::Buf<double> fluxD(tool, flux), inflowD(tool, inflow), vis(tool, std::vector<double>(nc, 2.0)),
        rate(tool, std::vector<double>(nc, 3.0));
    channel::ThermalProperties props;
    props.conductivity = 0.05;
    channel::ThermalBoundaries bc;
    bc.heat_transfer = 4.0;
    channel::EnergyStep step(tool, m, d, props, bc);
    step.Solve(fluxD, inflowD, vis, rate);
    std::printf("energy step T=%016" PRIx64 "\n", fold(step.Temperature()));
    rvzmesh::FreeDeviceMesh(tool, d);
}

// Extended-flow pressure correction on a perturbed box: interior flux with
// the non-orthogonal coefficient, wall fluxes of open and closed entries,
// the second corrector with its right-hand side, the vent correction with
// its sum, and the three inlet sums and the inlet speed over a long list.
void flowe_pp_dump(CRVZGPUtool& tool)
{
    rvzmesh::BoxOptions o;
    o.nx = 9, o.ny = 7, o.nz = 5;
    o.perturbation = 0.25;
    const rvzmesh::Mesh m = rvzmesh::BuildMesh(rvzmesh::MakeBox(o));
    rvzmesh::DeviceMesh d;
    if (rvzmesh::UploadMesh(tool, m, d) != 0) return;
    const int ne = m.nExtended, nf = m.nFaces, nc = m.nCells, fg = rvzmesh::Blocks(nf), cg = rvzmesh::Blocks(nc);
    auto positive = [](std::vector<double> v) {
        for (double& x : v) x = 0.1 + std::fabs(x) * 1e-3;
        return v;
    };
    channel::Buf<double> u(tool, values(ne, 31)), v(tool, values(ne, 32)), w(tool, values(ne, 33)),
        p(tool, values(ne, 34)), pp(tool, values(ne, 35)), gx(tool, values(ne, 36)), gy(tool, values(ne, 37)),
        gz(tool, values(ne, 38)), APR(tool, positive(values(ne, 39))), mfe(tool, nf), aE(tool, nf), aW(tool, nf),
        flux(tool, values(nf, 40)), corr(tool, nf), Su(tool, nc), scratch(tool, m.newNNU * m.nColumnPerRow);
    tool.Calc_FlowE_InnerFluxPP_aEaWmfe(nf, d.ijP, d.ijE, d.le, d.sx, d.sy, d.sz, d.xc, d.yc, d.zc, gx, gy, gz, u, v,
                                        w, p, APR, mfe, aE, aW, 3, fg);
    tool.CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(nf, nc, m.newNNU, m.nColumnPerRow, d.ijP, d.ijE, d.sx, d.sy,
                                                          d.sz, d.xc, d.yc, d.zc, APR, gx, gy, gz, flux, corr, d.mapPx,
                                                          d.mapPy, d.mapEx, d.mapEy, scratch, Su, fg, cg);
    const rvzmesh::DeviceBoundaryList& wl = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Wall)];
    const int nw = wl.size, wg = rvzmesh::Blocks(nw);
    std::vector<bool> open(nw);
    std::vector<int> vent(nw), moving(nw);
    for (int k = 0; k < nw; ++k) open[k] = k % 3 != 0, vent[k] = k % 4, moving[k] = k % 5 == 0;
    // std::vector<bool> has no contiguous storage: flags go up from a plain array.
    auto flags = [&tool](const std::vector<bool>& f) {
        auto b = std::make_unique<channel::Buf<bool>>(tool, static_cast<int>(f.size()));
        std::unique_ptr<bool[]> plain(new bool[f.size()]);
        std::copy(f.begin(), f.end(), plain.get());
        tool.DataCopyHost2Device(static_cast<int>(f.size()), plain.get(), *b);
        return b;
    };
    const auto judge = flags(open);
    channel::Buf<int> ventD(tool, vent), movingD(tool, moving);
    channel::Buf<double> aEb(tool, values(nw, 41)), mfeb(tool, values(nw, 42)), VolF(tool, positive(values(ne, 43)));
    tool.CalcPP_BoundFluxMass(nw, 1, wl.cell, wl.slot, *judge, d.xc, d.yc, d.zc, gx, gy, gz, wl.sx, wl.sy, wl.sz, APR,
                              p, u, v, w, aEb, mfeb, wg);
    const rvz::LevelTable tw = rvz::MakeLevelTable(nw);
    channel::Buf<double> bw(tool, tw.total);
    double outflow = 0.0;
    tool.CalcPP_FlowE_CorrectWallVel_TotalMass(nw, 1, 0.1, wl.cell, wl.slot, ventD, movingD, wl.sx, wl.sy, wl.sz, d.xc,
                                               d.yc, d.zc, VolF, pp, APR, d.volume, u, v, w, mfeb, outflow, bw,
                                               tw.nLevels, tw.count, tw.offset, tw.total, tw.size);
    std::printf("\nflowe_pp mfe=%016" PRIx64 " aE=%016" PRIx64 " flux=%016" PRIx64 " Su=%016" PRIx64
                " wall=%016" PRIx64 " u=%016" PRIx64 "\n",
                fold(mfe.Download()), fold(aE.Download()), fold(flux.Download()), fold(Su.Download()),
                fold(mfeb.Download()), fold(u.Download()));
    print("flowe_pp_ventoutflow", nw, outflow);

    const int n = 65537;
    std::vector<bool> c(n), dd(n), e(n), a(n);
    std::vector<int> slots(n);
    for (int k = 0; k < n; ++k) c[k] = k % 3 == 0, dd[k] = k % 3 == 1, e[k] = k % 5 == 0, a[k] = k % 7 < 2, slots[k] = k;
    const auto cD = flags(c), dD = flags(dd), eD = flags(e), aD = flags(a);
    channel::Buf<int> slotsD(tool, slots);
    channel::Buf<double> F(tool, values(n, 44)), s1(tool, values(n, 45)), s2(tool, values(n, 46));
    const rvz::LevelTable t = rvz::MakeLevelTable(n);
    channel::Buf<double> b1(tool, t.total), b2(tool, t.total), b3(tool, t.total);
    double inlet = 0.0, fluid = 0.0, outlet = 0.0, speed = 0.0;
    tool.CalcPP_FlowE_CorrectInletVel_TotalMass(n, *cD, *dD, *eD, *aD, F, inlet, fluid, outlet, b1, b2, b3, t.nLevels,
                                                t.count, t.offset, t.total, t.size);
    tool.CalcPP_FlowE_CorrectInletVel_VelNorm(n, slotsD, *dD, F, s1, s2, speed, b1, t.nLevels, t.count, t.offset,
                                              t.total, t.size);
    print("flowe_pp_inlet", n, inlet);
    print("flowe_pp_fluid", n, fluid);
    print("flowe_pp_outlet", n, outlet);
    print("flowe_pp_velnorm", n, speed);
    rvzmesh::FreeDeviceMesh(tool, d);
}
#endif

// Volume fraction on a chain of n cells (faces i|i+1, unit spacing): the
// CICSAM blending factors with the two front sums, and the filled volume.
void volume_fraction_and_print(CRVZGPUtool& tool, int n)
{
    std::mt19937_64 gen(7u + n);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int nf = n - 1;
    std::vector<int> P(nf), E(nf);
    std::vector<double> flux(nf), co(n), gx(n), zero(n, 0.0), phi(n), vol(n), xc(n);
    for (int f = 0; f < nf; ++f) {
        P[f] = f;
        E[f] = f + 1;
        flux[f] = unit(gen) - 0.5;
    }
    for (int c = 0; c < n; ++c) {
        co[c] = unit(gen);
        gx[c] = unit(gen) - 0.5;
        phi[c] = unit(gen);
        vol[c] = 0.5 + unit(gen);
        xc[c] = c;
    }
    std::vector<double*> owned;
    auto up = [&](const std::vector<double>& v) {
        double* d = nullptr;
        tool.AllocateDeviceMemory(static_cast<int>(v.size()), d);
        tool.DataCopyHost2Device(static_cast<int>(v.size()), const_cast<double*>(v.data()), d);
        owned.push_back(d);
        return d;
    };
    int *PD = nullptr, *ED = nullptr;
    tool.AllocateDeviceMemory(nf, PD);
    tool.AllocateDeviceMemory(nf, ED);
    tool.DataCopyHost2Device(nf, P.data(), PD);
    tool.DataCopyHost2Device(nf, E.data(), ED);
    const rvz::LevelTable tf = rvz::MakeLevelTable(nf), tc = rvz::MakeLevelTable(n);
    double *coD = up(co), *gxD = up(gx), *zD = up(zero), *phiD = up(phi), *volD = up(vol), *xcD = up(xc);
    double *mD = up(flux), *betaD = up(std::vector<double>(nf)), *aED = up(std::vector<double>(nf));
    double *aWD = up(std::vector<double>(nf)), *ceD = up(std::vector<double>(tf.total));
    double *fvD = up(std::vector<double>(tf.total)), *fillD = up(std::vector<double>(tc.total));
    double ce = 0.0, fv = 0.0, fill = 0.0;
    tool.Calc_InnerFluxVolF(nf, 0, 0, 0, PD, ED, coD, gxD, zD, zD, xcD, zD, zD, phiD, volD, betaD, mD, aED, aWD,
                            nullptr, nullptr, ceD, fvD, nullptr, nullptr, nullptr, nullptr, nullptr, 0.5, 0,
                            tf.size[1], tf.nLevels, tf.count, tf.offset, tf.total, tf.size, ce, fv);
    tool.Calc_FVolUpdate_FillVol(n, phiD, volD, fillD, tc.size[1], tc.nLevels, tc.count, tc.offset, tc.total, tc.size,
                                 fill);
    std::vector<double> beta(nf);
    tool.DataCopyDevice2Host(nf, beta.data(), betaD);
    print("vof_cemax", n, ce);
    print("vof_frontvol", n, fv);
    print("vof_fillvol", n, fill);
    std::printf("vof_beta n=%d %016" PRIx64 "\n", n, fold(beta));
    tool.FreeDeviceMemory(PD);
    tool.FreeDeviceMemory(ED);
    for (double* d : owned) tool.FreeDeviceMemory(d);
}


// Extended volume fraction on a chain of n cells (faces i|i+1, unit
// spacing, a scratch of three columns): face values of the four schemes,
// then the flux pass of a summing and a maximising method with its
// coefficients, deferred correction, source and statistics.
void extended_volume_fraction_and_print(CRVZGPUtool& tool, int n)
{
    std::mt19937_64 gen(11u + n);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int nf = n - 1, nCol = 3, newNNU = (n + 255) / 256 * 256;
    std::vector<int> P(nf), E(nf), Px(nf), Py(nf, 2), Ex(nf), Ey(nf, 1);
    std::vector<double> flux(nf), le(nf), sx(nf), one(nf, 1.0), co(n), gx(n), gy(n), zero(n, 0.0), phi(n), vol(n),
        xc(n);
    for (int f = 0; f < nf; ++f) {
        P[f] = Px[f] = f;
        E[f] = Ex[f] = f + 1;
        flux[f] = unit(gen) - 0.5;
        le[f] = 0.25 + 0.5 * unit(gen);
        sx[f] = 0.5 + unit(gen);
    }
    for (int c = 0; c < n; ++c) {
        co[c] = unit(gen);
        gx[c] = unit(gen) - 0.5;
        gy[c] = unit(gen) - 0.5;
        phi[c] = unit(gen);
        vol[c] = 0.5 + unit(gen);
        xc[c] = c;
    }
    std::vector<double*> owned;
    auto up = [&](const std::vector<double>& v) {
        double* d = nullptr;
        tool.AllocateDeviceMemory(static_cast<int>(v.size()), d);
        tool.DataCopyHost2Device(static_cast<int>(v.size()), const_cast<double*>(v.data()), d);
        owned.push_back(d);
        return d;
    };
    std::vector<int*> ownedInt;
    auto upInt = [&](const std::vector<int>& v) {
        int* d = nullptr;
        tool.AllocateDeviceMemory(static_cast<int>(v.size()), d);
        tool.DataCopyHost2Device(static_cast<int>(v.size()), const_cast<int*>(v.data()), d);
        ownedInt.push_back(d);
        return d;
    };
    int *PD = upInt(P), *ED = upInt(E), *PxD = upInt(Px), *PyD = upInt(Py), *ExD = upInt(Ex), *EyD = upInt(Ey);
    const rvz::LevelTable tf = rvz::MakeLevelTable(nf);
    double *coD = up(co), *gxD = up(gx), *gyD = up(gy), *zD = up(zero), *phiD = up(phi), *volD = up(vol);
    double *xcD = up(xc), *mD = up(flux), *leD = up(le), *sxD = up(sx), *oneD = up(one);
    double *feD = up(std::vector<double>(nf)), *betaD = up(std::vector<double>(nf));
    double *aED = up(std::vector<double>(nf)), *aWD = up(std::vector<double>(nf)), *t1D = up(std::vector<double>(nf));
    double *t2D = up(std::vector<double>(nf)), *t3D = up(std::vector<double>(nf)), *srcD = up(zero);
    double *scratchD = up(std::vector<double>(static_cast<size_t>(newNNU) * nCol));
    double *s1D = up(std::vector<double>(tf.total)), *s2D = up(std::vector<double>(tf.total));
    std::vector<double> fe(nf);
    for (int scheme = 1; scheme <= 4; ++scheme) {
        tool.Calc_VOF_FlowE_InnerFlux_HRScheme(nf, PD, ED, scheme, mD, phiD, coD, gxD, gyD, zD, xcD, zD, zD, feD, betaD,
                                               tf.size[1]);
        tool.DataCopyDevice2Host(nf, fe.data(), feD);
        std::printf("vofx_scheme%d_fe n=%d %016" PRIx64 "\n", scheme, n, fold(fe));
    }
    for (int method : {0, 2}) {
        double maxCe = 0.1, frontVol = 0.0;
        tool.Calc_VOF_FlowE_InnerFluxVolF_Method(method, nf, n, newNNU, nCol, 0.7, 0.5, 0.3, PD, ED, mD, leD, sxD, zD,
                                                 zD, phiD, coD, feD, oneD, gxD, gyD, zD, volD, PxD, PyD, ExD, EyD, aED,
                                                 aWD, t1D, t2D, t3D, scratchD, srcD, tf.size[1], (n + 255) / 256,
                                                 nullptr, nullptr, maxCe, frontVol, s1D, s2D, tf.nLevels, tf.count,
                                                 tf.offset, tf.total, tf.size);
        std::vector<double> aE(nf), src(n);
        tool.DataCopyDevice2Host(nf, aE.data(), aED);
        tool.DataCopyDevice2Host(n, src.data(), srcD);
        std::printf("vofx_method%d aE=%016" PRIx64 " source=%016" PRIx64 "\n", method, fold(aE), fold(src));
        print("vofx_maxce", n, maxCe);
        print("vofx_frontvol", n, frontVol);
    }
    for (int* d : ownedInt) tool.FreeDeviceMemory(d);
    for (double* d : owned) tool.FreeDeviceMemory(d);
}

// Fibre orientation on n cells: the local evolution under random velocity
// gradients (every closure), from the transported tensor handed over with
// its clamping and normalisation, and handed back.
void fibre_evolution_and_print(CRVZGPUtool& tool, int n)
{
    std::mt19937_64 gen(11u + n);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double*> owned;
    auto up = [&](const std::vector<double>& v) {
        double* d = nullptr;
        tool.AllocateDeviceMemory(static_cast<int>(v.size()), d);
        tool.DataCopyHost2Device(static_cast<int>(v.size()), const_cast<double*>(v.data()), d);
        owned.push_back(d);
        return d;
    };
    auto field = [&](double lo, double hi) {
        std::vector<double> v(n);
        for (auto& x : v) x = lo + (hi - lo) * unit(gen);
        return up(v);
    };
    const std::vector<double> zero(n, 0.0);
    double *tau[6], *x0[6], *x2[6], *x1[6], *xtemp[6], *xAvg[6], *F0[6], *dx[6], *grad[9];
    for (int c = 0; c < 6; ++c) {
        tau[c] = c < 3 ? field(-0.1, 1.1) : field(-0.6, 0.6);
        for (double** a : {x0, x2, x1, xtemp, xAvg, F0, dx}) a[c] = up(zero);
    }
    for (double*& g : grad) g = field(-2.0, 2.0);
    double *dt01 = up(zero), *dt02 = up(zero), *dtSUM = up(zero), *F0max = up(zero);
    double *srate = field(0.0, 3.0), *volf = field(0.0, 1.0);
    int* lists[4];
    for (int*& l : lists) tool.AllocateDeviceMemory(n, l);
    const rvz::LevelTable t = rvz::MakeLevelTable(n);
    int *inner = nullptr, *outer = nullptr;
    tool.AllocateDeviceMemory(t.total, inner);
    tool.AllocateDeviceMemory(t.total, outer);
    stF0_dx_xAvg host, *record = nullptr;
    for (int c = 0; c < 6; ++c) {
        host.F0[c] = F0[c];
        host.dx[c] = dx[c];
        host.xAvg[c] = xAvg[c];
    }
    tool.AllocateDeviceMemory(1, record);
    tool.DataCopyHost2Device(1, &host, record);
    const int g256 = (n + 255) / 256, g64 = (n + 63) / 64;
    tool.Calc_Fiber_UpdateTau_Input(n, x0[0], x0[1], x0[2], x0[3], x0[4], x0[5], tau[0], tau[1], tau[2], tau[3],
                                    tau[4], tau[5], g256);
    for (int type = 1; type <= 4; ++type) {
        tool.Calc_Fiber_Find_x1_Vec(n, n + 1, n, 0, record, x0[0], x0[1], x0[2], x0[3], x0[4], x0[5], x2[0], x2[1],
                                    x2[2], x2[3], x2[4], x2[5], x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], xtemp[0],
                                    xtemp[1], xtemp[2], xtemp[3], xtemp[4], xtemp[5], xAvg[0], xAvg[1], xAvg[2],
                                    xAvg[3], xAvg[4], xAvg[5], F0[0], F0[1], F0[2], F0[3], F0[4], F0[5], dx[0], dx[1],
                                    dx[2], dx[3], dx[4], dx[5], dt01, dt02, dtSUM, F0max, 0.7, srate, volf, grad[0],
                                    grad[1], grad[2], grad[3], grad[4], grad[5], grad[6], grad[7], grad[8], lists[0],
                                    lists[1], lists[2], lists[3], 20.0, 0.01, 0.5, type, inner, outer, g64, g256,
                                    t.nLevels, t.count, t.offset, t.total, t.size);
        tool.Calc_Fiber_UpdateTau_Output(n, x1[0], x1[1], x1[2], x1[3], x1[4], x1[5], tau[0], tau[1], tau[2], tau[3],
                                         tau[4], tau[5], g256);
        std::vector<double> all, v(n);
        for (double** a : {tau, x2, F0, dx})
            for (int c = 0; c < 6; ++c) {
                tool.DataCopyDevice2Host(n, v.data(), a[c]);
                all.insert(all.end(), v.begin(), v.end());
            }
        for (double* a : {dt01, dt02, dtSUM, F0max}) {
            tool.DataCopyDevice2Host(n, v.data(), a);
            all.insert(all.end(), v.begin(), v.end());
        }
        std::printf("fibre_closure%d n=%d %016" PRIx64 "\n", type, n, fold(all));
    }
    for (int* l : lists) tool.FreeDeviceMemory(l);
    tool.FreeDeviceMemory(inner);
    tool.FreeDeviceMemory(outer);
    tool.FreeDeviceMemory(record);
    for (double* d : owned) tool.FreeDeviceMemory(d);
}

}  // namespace

int main()
{
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::fprintf(stderr, "no device\n");
        return 1;
    }
    for (int n : {1, 255, 300, 65537, 1000003}) {
        std::vector<double> a = values(n, 1u + n), b = values(n, 2u + n);
        double *aD = nullptr, *bD = nullptr, *bufD = nullptr;
        const rvz::LevelTable t = rvz::MakeLevelTable(n);
        tool.AllocateDeviceMemory(n, aD);
        tool.AllocateDeviceMemory(n, bD);
        tool.AllocateDeviceMemory(t.total, bufD);
        tool.DataCopyHost2Device(n, a.data(), aD);
        tool.DataCopyHost2Device(n, b.data(), bD);
        double r = 0.0;
        rvz::Reduce(rvz::Combine::Sum, 256, n, aD, bufD, t, r);
        print("sum256", n, r);
        rvz::Reduce(rvz::Combine::Sum, 512, n, aD, bufD, t, r);
        print("sum512", n, r);
        rvz::Reduce(rvz::Combine::Max, 512, n, aD, bufD, t, r);
        print("max512", n, r);
        rvz::Reduce(rvz::Combine::Min, 256, n, aD, bufD, t, r);
        print("min256", n, r);
        rvz::DotProduct(n, aD, bD, bufD, t, r);
        print("dot", n, r);
        tool.FreeDeviceMemory(aD);
        tool.FreeDeviceMemory(bD);
        tool.FreeDeviceMemory(bufD);
    }
    for (bool bicgstab : {false, true})
        for (int precond : {0, 1}) solve_and_print(tool, bicgstab, precond);
    for (int n : {300, 65537}) volume_fraction_and_print(tool, n);
    for (int n : {300, 65537}) extended_volume_fraction_and_print(tool, n);
    for (int n : {300, 20001}) fibre_evolution_and_print(tool, n);
#if RVZGPU_DUMP_CHANNEL
    // Whole outer iterations of the duct case: gradients, momentum and
    // pressure-correction assembly, both solvers and the corrections.
    channel::Settings s;
    s.nx = 12, s.ny = 7, s.nz = 7;
    s.max_iterations = 5;
    s.output = "none";
    const channel::Result r = channel::RunChannel(tool, s, nullptr);
    std::printf("\nchannel iterations=%d u=%016" PRIx64 " v=%016" PRIx64 " w=%016" PRIx64 " p=%016" PRIx64 "\n",
                r.iterations, fold(r.u), fold(r.v), fold(r.w), fold(r.p));
    energy_dump(tool);
    flowe_pp_dump(tool);
#endif
    return 0;
}
