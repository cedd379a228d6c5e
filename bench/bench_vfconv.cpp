// Volume-fraction operations on a box of k^3 hexahedra from the mesh
// toolkit, against their byte models (each array element read or written
// once, a gathered cell value counted once per face that reads it) and a
// device-to-device copy measured in the same run.
//   bench_vfconv [k ...]       default: 20 40 80 (8e3, 6.4e4, 5.1e5 cells)
#include <vector>

#include "CU_Reduction.h"
#include "bench_common.h"
#include "bench_mesh.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

int main(int argc, char** argv)
{
    const std::vector<int> sides = rvzbench::SizesFromArguments(argc, argv, {20, 40, 80});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 30);
    for (int k : sides) {
        const rvzmesh::Mesh mesh = rvzbench::CubeOfHexahedra(k);
        const int n = mesh.nCells, nf = mesh.nFaces, nn = mesh.newNNU, nc = mesh.nColumnPerRow;
        const int fg = rvzmesh::Blocks(nf), cg = rvzmesh::Blocks(n);
        const rvz::LevelTable tf = rvz::MakeLevelTable(nf), tc = rvz::MakeLevelTable(n);
        std::vector<double> flux(nf), phi(mesh.nExtended);
        for (int f = 0; f < nf; ++f) flux[f] = mesh.sx[f] + 0.5 * mesh.sy[f];
        for (int c = 0; c < mesh.nExtended; ++c) phi[c] = (c % 97) / 96.0;
        int *P = Upload(tool, mesh.ijP), *E = Upload(tool, mesh.ijE), *Px = Upload(tool, mesh.mapPx);
        int *Py = Upload(tool, mesh.mapPy), *Ex = Upload(tool, mesh.mapEx), *Ey = Upload(tool, mesh.mapEy);
        int* index = Upload(tool, mesh.indexELL);
        double *m = Upload(tool, flux), *vol = Upload(tool, mesh.volume), *xc = Upload(tool, mesh.xc);
        double *yc = Upload(tool, mesh.yc), *zc = Upload(tool, mesh.zc), *volf = Upload(tool, phi);
        double *old = Upload(tool, phi), *cell = Upload(tool, std::vector<double>(n, 0.1));
        double *gx = Upload(tool, std::vector<double>(n, 0.3)), *zero = Upload(tool, std::vector<double>(n, 0.0));
        double *tP = Upload(tool, std::vector<double>(nf)), *tE = Upload(tool, std::vector<double>(nf));
        double *beta = Upload(tool, std::vector<double>(nf)), *aE = Upload(tool, std::vector<double>(nf));
        double* aW = Upload(tool, std::vector<double>(nf));
        const size_t ell = static_cast<size_t>(nn) * nc;
        double *scratch = Upload(tool, std::vector<double>(ell)), *A = Upload(tool, std::vector<double>(ell, -0.1));
        double *bufA = Upload(tool, std::vector<double>(tf.total)), *bufB = Upload(tool, std::vector<double>(tf.total));
        double* bufC = Upload(tool, std::vector<double>(tc.total));
        const int runs = n >= 500000 ? 11 : 31;

        table.CopyRow(tool, runs, n, n, cell, zero);
        const double faceSide = 8.0 * nf, row = 8.0 * nc * n + 16.0 * n;
        // Per face: P, E, m, two volumes read, two values written; collect:
        // four map entries and two values read, two slots written; update:
        // every slot of a row read, the target read and written.
        table.Row(n, "Calc_CourantNoDonnorCell", MedianSeconds(runs, [&] {
                tool.Calc_CourantNoDonnorCell(nf, n, nn, nc, P, E, 0.01, m, vol, tP, tE, cell, Px, Py, Ex, Ey,
                                              scratch, fg, cg);
            }), 7.0 * faceSide + 8.0 * faceSide + row);
        // As the Courant number without the indices and volumes.
        table.Row(n, "Calc_CellFR", MedianSeconds(runs, [&] {
                tool.Calc_CellFR(nf, n, nn, nc, m, tP, tE, cell, Px, Py, Ex, Ey, scratch, fg, cg);
            }), 3.0 * faceSide + 8.0 * faceSide + row);
        // Per face: m, P, E, and of donor and acceptor the value, centre,
        // gradient, Courant number and volume (12 values); beta, aE, aW
        // written. The front sums' partials are negligible.
        double ce = 0.0, fv = 0.0;
        table.Row(n, "Calc_InnerFluxVolF", MedianSeconds(runs, [&] {
                tool.Calc_InnerFluxVolF(nf, 0, 0, 0, P, E, cell, gx, zero, zero, xc, yc, zc, volf, vol, beta, m, aE,
                                        aW, nullptr, nullptr, bufA, bufB, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        0.5, 0, fg, tf.nLevels, tf.count, tf.offset, tf.total, tf.size, ce, fv);
            }), (3.0 + 12.0 + 3.0) * faceSide);
        // Per row: every entry and column index read and the entries
        // written, the volume, diagonal, source and old value of the row,
        // and one old value gathered per neighbour (six).
        table.Row(n, "UnsteadyTermContribution", MedianSeconds(runs, [&] {
                tool.Calc_Vfconv_UnsteadyTermContribution(n, nn, nc, vol, 1e30, A, cell, old, index, cg);
            }), (20.0 * (nc - 1) + 8.0 * 6.0 + 8.0 * 5.0) * n);
        table.Row(n, "Calc_Vfconv_VolF_FillVol_More", MedianSeconds(runs, [&] {
                tool.Calc_Vfconv_VolF_FillVol_More(n, old, 0.01, 0.5, cg);
            }), 16.0 * n);
        double fill = 0.0;
        table.Row(n, "Calc_FVolUpdate_FillVol", MedianSeconds(runs, [&] {
                tool.Calc_FVolUpdate_FillVol(n, volf, vol, bufC, cg, tc.nLevels, tc.count, tc.offset, tc.total,
                                             tc.size, fill);
            }), 16.0 * n);
        for (int* p : {P, E, Px, Py, Ex, Ey, index}) tool.FreeDeviceMemory(p);
        for (double* p : {m, vol, xc, yc, zc, volf, old, cell, gx, zero, tP, tE, beta, aE, aW, scratch, A, bufA, bufB,
                          bufC})
            tool.FreeDeviceMemory(p);
    }
    return 0;
}
