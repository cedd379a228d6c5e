// Extended-flow momentum and utilities on a box of k^3 hexahedra from the
// mesh toolkit, against their byte models (each array element read or
// written once per launch, a gathered cell value counted once per face that
// reads it, the scratch matrix once per update) and a streaming
// device-to-device copy measured in the same run.
//   bench_flowe [k ...]       default: 20 40 (8e3, 6.4e4 cells)
#include <vector>

#include "CU_Reduction.h"
#include "bench_common.h"
#include "bench_mesh.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

int main(int argc, char** argv)
{
    const std::vector<int> sides = rvzbench::SizesFromArguments(argc, argv, {20, 40});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 40);
    table.StreamingCopyRow(tool, 11);
    for (int k : sides) {
        const rvzmesh::Mesh mesh = rvzbench::CubeOfHexahedra(k);
        const int n = mesh.nCells, nf = mesh.nFaces, nn = mesh.newNNU, nc = mesh.nColumnPerRow;
        const int fg = rvzmesh::Blocks(nf), cg = rvzmesh::Blocks(n), ne = mesh.nExtended;
        const rvz::LevelTable tc = rvz::MakeLevelTable(n);
        int *P = Upload(tool, mesh.ijP), *E = Upload(tool, mesh.ijE), *Px = Upload(tool, mesh.mapPx);
        int *Py = Upload(tool, mesh.mapPy), *Ex = Upload(tool, mesh.mapEx), *Ey = Upload(tool, mesh.mapEy);
        int* index = Upload(tool, mesh.indexELL);
        double *sx = Upload(tool, mesh.sx), *sy = Upload(tool, mesh.sy), *sz = Upload(tool, mesh.sz);
        double *le = Upload(tool, mesh.le), *area = Upload(tool, mesh.area), *vol = Upload(tool, mesh.volume);
        double *xc = Upload(tool, mesh.xc), *yc = Upload(tool, mesh.yc), *zc = Upload(tool, mesh.zc);
        std::vector<double*> cell(24, nullptr);
        for (size_t j = 0; j < cell.size(); ++j) cell[j] = Upload(tool, std::vector<double>(ne, 1.0 + 0.01 * j));
        double* g[9];
        for (int j = 0; j < 9; ++j) g[j] = cell[j];
        double *u = cell[9], *v = cell[10], *w = cell[11], *vis = cell[12], *Su = cell[13], *Sv = cell[14];
        double *Sw = cell[15], *APv = cell[16], *APR = cell[17], *den = cell[18], *old = cell[19];
        double *dp = cell[20], *VolF_S = cell[21], *S = cell[22], *V = cell[23];
        std::vector<double> flux(nf);
        for (int f = 0; f < nf; ++f) flux[f] = mesh.sx[f] + 0.5 * mesh.sy[f];
        double *mfe = Upload(tool, flux), *aE = Upload(tool, std::vector<double>(nf));
        double *aW = Upload(tool, std::vector<double>(nf)), *temp = Upload(tool, std::vector<double>(nf));
        const size_t ell = static_cast<size_t>(nn) * nc;
        double *scratch = Upload(tool, std::vector<double>(ell)), *A = Upload(tool, std::vector<double>(ell, -0.1));
        double *bufA = Upload(tool, std::vector<double>(tc.total)), *bufB = Upload(tool, std::vector<double>(tc.total));
        const int runs = n >= 200000 ? 7 : 15;
        const double rowSum = 8.0 * nc + 16.0;

        // As the basic assembly: per face the coefficients (indices, area
        // vector, centroids, viscosities, flux; two coefficients written),
        // per component the source (27 values) and its collect, and three
        // row updates.
        table.Row(n, "Calc_FlowE_InnerFluxUVW", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_InnerFluxUVW(nf, n, nn, nc, 0.4, 1.0, P, E, le, g[0], g[1], g[2], g[3], g[4], g[5],
                                             g[6], g[7], g[8], xc, yc, zc, u, v, w, vis, sx, sy, sz, mfe, aE, aW, Su,
                                             Sv, Sw, temp, Px, Py, Ex, Ey, scratch, fg, cg);
            }),
            nf * (128.0 + 3.0 * (216.0 + 40.0)) + 3.0 * n * rowSum);
        // Per cell: density, volume, six old velocities read; three
        // right-hand sides, APvD, APRD and the diagonal read and written.
        table.Row(n, "Calc_FlowE_2ndImplicitEulerMethodAi", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_2ndImplicitEulerMethodAi(n, 0.5, 1.0, den, vol, u, v, w, old, old, old, A, APv, APR, Su,
                                                         Sv, Sw, cg);
            }),
            n * (8.0 * 8.0 + 6.0 * 16.0));
        // Per row: the off-diagonal entries with their indices and the
        // gathered old values, then diagonal, right-hand side, pressure
        // gradient and volume read and the new value written.
        table.Row(n, "Calc_FlowE_FinalCoeffRHS_fi", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_FinalCoeffRHS_fi(n, nn, nc, index, A, Su, dp, vol, old, u, cg);
            }),
            n * (20.0 * (nc - 1) + 40.0));
        // Face values (indices, weight, area, two cell values; one written),
        // two collects (four maps, one value, two slots) and two updates.
        table.Row(n, "Calc_FlowE_SmoothVariable_InnerFace", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_SmoothVariable_InnerFace(nf, n, nn, nc, P, E, le, area, V, VolF_S, S, temp, Px, Py, Ex,
                                                         Ey, scratch, fg, cg);
            }),
            nf * (48.0 + 2.0 * 40.0) + 2.0 * n * rowSum);
        double top = 0.0, bottom = 0.0;
        table.Row(n, "Calc_FlowE_FindMaxMinValue", MedianSeconds(runs, [&] {
                tool.Calc_FlowE_FindMaxMinValue(n, u, top, bottom, bufA, bufB, tc.nLevels, tc.count, tc.offset,
                                                tc.total, tc.size);
            }),
            8.0 * n);

        for (int* q : {P, E, Px, Py, Ex, Ey, index}) tool.FreeDeviceMemory(q);
        for (double* q : {sx, sy, sz, le, area, vol, xc, yc, zc, mfe, aE, aW, temp, scratch, A, bufA, bufB})
            tool.FreeDeviceMemory(q);
        for (double* q : cell) tool.FreeDeviceMemory(q);
    }
    return 0;
}
