// Extended-flow pressure correction on a box of k^3 hexahedra from the mesh
// toolkit, against byte models (each array element read or written once, a
// gathered cell value counted once per face side or list entry that reads
// it, ints 4 bytes, doubles 8) and a device-to-device copy measured in the
// same run.
//   bench_calcpp_flowe [k ...]       default: 32 64
#include <vector>

#include "CU_Reduction.h"
#include "bench_common.h"
#include "bench_mesh.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

int main(int argc, char** argv)
{
    const std::vector<int> sides = rvzbench::SizesFromArguments(argc, argv, {32, 64});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 44);
    for (int k : sides) {
        const rvzmesh::Mesh mesh = rvzbench::CubeOfHexahedra(k);
        const rvzmesh::BoundaryList& walls = mesh.list(rvzmesh::BoundaryKind::Wall);
        const int n = mesh.nCells, nf = mesh.nFaces, nn = mesh.newNNU, nc = mesh.nColumnPerRow, ne = mesh.nExtended;
        const int nw = static_cast<int>(walls.slot.size());
        const int fg = rvzmesh::Blocks(nf), cg = rvzmesh::Blocks(n);
        const rvz::LevelTable tc = rvz::MakeLevelTable(n), tw = rvz::MakeLevelTable(nw);
        int *P = Upload(tool, mesh.ijP), *E = Upload(tool, mesh.ijE), *Px = Upload(tool, mesh.mapPx);
        int *Py = Upload(tool, mesh.mapPy), *Ex = Upload(tool, mesh.mapEx), *Ey = Upload(tool, mesh.mapEy);
        int *wCell = Upload(tool, walls.cell), *wSlot = Upload(tool, walls.slot);
        int *vent = Upload(tool, std::vector<int>(nw, 1)), *moving = Upload(tool, std::vector<int>(nw, 0));
        int* bad = Upload(tool, std::vector<int>(n, 0));
        double *sx = Upload(tool, mesh.sx), *sy = Upload(tool, mesh.sy), *sz = Upload(tool, mesh.sz);
        double *le = Upload(tool, mesh.le), *xc = Upload(tool, mesh.xc), *yc = Upload(tool, mesh.yc);
        double *zc = Upload(tool, mesh.zc), *vol = Upload(tool, mesh.volume);
        double *wsx = Upload(tool, walls.sx), *wsy = Upload(tool, walls.sy), *wsz = Upload(tool, walls.sz);
        std::vector<double*> ext(12, nullptr), face(5, nullptr);
        for (size_t j = 0; j < ext.size(); ++j) ext[j] = Upload(tool, std::vector<double>(ne, 1.0 + 0.01 * j));
        for (size_t j = 0; j < face.size(); ++j) face[j] = Upload(tool, std::vector<double>(nf, 0.1 * j));
        double *u = ext[0], *v = ext[1], *w = ext[2], *p = ext[3], *pp = ext[4], *APR = ext[5];
        double *gx = ext[6], *gy = ext[7], *gz = ext[8], *p0 = ext[9], *ddp = ext[10], *VolF = ext[11];
        double *mfe = face[0], *aE = face[1], *aW = face[2], *flux = face[3], *corr = face[4];
        double *Su = Upload(tool, std::vector<double>(n, 0.0)), *ddT = Upload(tool, std::vector<double>(n, 0.0));
        double* Fw = Upload(tool, std::vector<double>(nw, 0.0));
        const size_t ell = static_cast<size_t>(nn) * nc;
        double *scratch = Upload(tool, std::vector<double>(ell)), *A = Upload(tool, std::vector<double>(ell, -0.1));
        double *bufC = Upload(tool, std::vector<double>(tc.total)), *bufW = Upload(tool, std::vector<double>(tw.total));
        double *big1 = Upload(tool, std::vector<double>(ell, 1.0)), *big2 = Upload(tool, std::vector<double>(ell));
        const int runs = n >= 200000 ? 7 : 15;

        table.CopyRow(tool, runs, n, static_cast<int>(ell), big2, big1);
        const double row = 8.0 * nc * n + 16.0 * n;
        // Per face: P, E, weight, S; per side the centroid, gradient,
        // velocity, pressure and APR; mfe, aE, aW written.
        table.Row(n, "Calc_FlowE_InnerFluxPP_aEaWmfe", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_InnerFluxPP_aEaWmfe(nf, P, E, le, sx, sy, sz, xc, yc, zc, gx, gy, gz, u, v, w, p, APR,
                                                    mfe, aE, aW, 0, fg);
            }), (8.0 + 8.0 + 24.0 + 2.0 * 88.0 + 24.0) * nf);
        // Collect: four map entries, the flux, two slots written; update: rows.
        table.Row(n, "CalcPP_FlowE_SourceTerm_CentralCoeff", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_SourceTerm_CentralCoeff(nf, n, nn, nc, flux, Px, Py, Ex, Ey, scratch, Su, fg, cg);
            }), 40.0 * nf + row);
        // p, p0, drho/dp, drho/dT, V read; Su and the diagonal read and written.
        table.Row(n, "CalcPP_FlowE_1stImplicitEulerMethod", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_1stImplicitEulerMethod(n, 2, 0.1, 1.0, p, p0, ddp, ddT, vol, Su, A, cg);
            }), 72.0 * n);
        table.Row(n, "CalcPP_FlowE_EnhanceRobustness", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_EnhanceRobustness(n, 1.0, nn, nc, pp, A, Su, cg);
            }), (8.0 * nc + 32.0) * n);
        double sum = 0.0;
        table.Row(n, "CalcPP_FlowE_MassSum", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_MassSum(n, Su, sum, bufC, tc.nLevels, tc.count, tc.offset, tc.total, tc.size);
            }), 8.0 * n);
        // Cells and map entries (16), the coefficient, two pp, flux read and written.
        table.Row(n, "CalcPP_FlowE_UpdateMassFlux", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_UpdateMassFlux(nf, nn, P, E, Px, Py, A, pp, flux, fg);
            }), 56.0 * nf);
        // Bad flag, pp, V, gradient, APR read; p, u, v, w read and written; Su written.
        table.Row(n, "CalcPP_FlowE_CorrectPressureVelocities", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_CorrectPressureVelocities(n, 0.0, 0, 0, 0.0, bad, pp, vol, gx, gy, gz, APR, p, u, v,
                                                            w, Su, cg);
            }), 124.0 * n);
        // Flux step: P, E, S, per side centroid, gradient and APR, flux read
        // and written, t written; then the collect and the row update.
        table.Row(n, "..._CorrectMassFluxInnerCV_2ndCorrector", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(nf, n, nn, nc, P, E, sx, sy, sz, xc, yc, zc,
                                                                      APR, gx, gy, gz, flux, corr, Px, Py, Ex, Ey,
                                                                      scratch, Su, fg, cg);
            }), 168.0 * nf + 40.0 * nf + row);
        // Per wall entry: cell, slot, vent and moving flags, S, both
        // centroids, VolF, both pp, APR, V; slot velocity and flux read and written.
        double outflow = 0.0;
        table.Row(n, "CalcPP_FlowE_CorrectWallVel_TotalMass", MedianSeconds(runs, [&] {
                tool.CalcPP_FlowE_CorrectWallVel_TotalMass(nw, 0, 0.5, wCell, wSlot, vent, moving, wsx, wsy, wsz, xc,
                                                           yc, zc, VolF, pp, APR, vol, u, v, w, Fw, outflow, bufW,
                                                           tw.nLevels, tw.count, tw.offset, tw.total, tw.size);
            }), 192.0 * nw);

        for (int* q : {P, E, Px, Py, Ex, Ey, wCell, wSlot, vent, moving, bad}) tool.FreeDeviceMemory(q);
        for (double* q : {sx, sy, sz, le, xc, yc, zc, vol, wsx, wsy, wsz, Su, ddT, Fw, scratch, A, bufC, bufW, big1,
                          big2})
            tool.FreeDeviceMemory(q);
        for (double* q : ext) tool.FreeDeviceMemory(q);
        for (double* q : face) tool.FreeDeviceMemory(q);
    }
    return 0;
}
