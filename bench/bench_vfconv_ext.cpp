// Extended volume-fraction operations on a box of k^3 hexahedra from the
// mesh toolkit, against their byte models (each array element read or
// written once, a gathered cell value counted once per face that reads it)
// and a device-to-device copy measured in the same run.
//   bench_vfconv_ext [k ...]   default: 20 40 80 (8e3, 6.4e4, 5.1e5 cells)
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
    rvzbench::RateTable table("cells", 34);
    for (int k : sides) {
        const rvzmesh::Mesh mesh = rvzbench::CubeOfHexahedra(k);
        const int n = mesh.nCells, nf = mesh.nFaces, nn = mesh.newNNU, nc = mesh.nColumnPerRow;
        const int fg = rvzmesh::Blocks(nf), cg = rvzmesh::Blocks(n);
        const rvz::LevelTable tf = rvz::MakeLevelTable(nf), tc = rvz::MakeLevelTable(n);
        std::vector<double> flux(nf), phi(mesh.nExtended), area(nf);
        for (int f = 0; f < nf; ++f) {
            flux[f] = mesh.sx[f] + 0.5 * mesh.sy[f];
            area[f] = 1.0;
        }
        for (int c = 0; c < mesh.nExtended; ++c) phi[c] = (c % 97) / 96.0;
        int *P = Upload(tool, mesh.ijP), *E = Upload(tool, mesh.ijE), *Px = Upload(tool, mesh.mapPx);
        int *Py = Upload(tool, mesh.mapPy), *Ex = Upload(tool, mesh.mapEx), *Ey = Upload(tool, mesh.mapEy);
        int* index = Upload(tool, mesh.indexELL);
        double *m = Upload(tool, flux), *vol = Upload(tool, mesh.volume), *xc = Upload(tool, mesh.xc);
        double *yc = Upload(tool, mesh.yc), *zc = Upload(tool, mesh.zc), *volf = Upload(tool, phi);
        double *sx = Upload(tool, mesh.sx), *sy = Upload(tool, mesh.sy), *sz = Upload(tool, mesh.sz);
        double *le = Upload(tool, std::vector<double>(nf, 0.5)), *ar = Upload(tool, area);
        double *old = Upload(tool, phi), *cell = Upload(tool, std::vector<double>(n, 0.1));
        double *gx = Upload(tool, std::vector<double>(n, 0.3)), *zero = Upload(tool, std::vector<double>(n, 0.0));
        double *Fe = Upload(tool, std::vector<double>(nf, 0.5)), *beta = Upload(tool, std::vector<double>(nf));
        double *aE = Upload(tool, std::vector<double>(nf)), *aW = Upload(tool, std::vector<double>(nf));
        double *t1 = Upload(tool, std::vector<double>(nf)), *t2 = Upload(tool, std::vector<double>(nf));
        double* t3 = Upload(tool, std::vector<double>(nf));
        float* mftime = Upload(tool, std::vector<float>(n, 1.0f));
        const size_t ell = static_cast<size_t>(nn) * nc;
        double *scratch = Upload(tool, std::vector<double>(ell)), *A = Upload(tool, std::vector<double>(ell, -0.1));
        double *bufA = Upload(tool, std::vector<double>(tf.total)), *bufB = Upload(tool, std::vector<double>(tf.total));
        double* bufC = Upload(tool, std::vector<double>(tc.total));
        int* bufI = Upload(tool, std::vector<int>(tc.total));
        const int runs = n >= 500000 ? 11 : 31;

        table.CopyRow(tool, runs, n, n, cell, zero);
        // Per face: P, E (two ints), m, and of donor and acceptor the two
        // values, both centres, the donor's gradient and Courant number
        // (12 doubles); Fe and beta written.
        for (const auto& [schemeNumber, name] : {std::pair{0, "HRScheme CICSAM"}, std::pair{4, "HRScheme MHRIC"}}) {
            const int scheme = schemeNumber;
            table.Row(n, name, MedianSeconds(runs, [&] {
                    tool.Calc_VOF_FlowE_InnerFlux_HRScheme(nf, P, E, scheme, m, volf, cell, gx, zero, zero, xc, yc, zc,
                                                           Fe, beta, fg);
                }), (8.0 + 8.0 * 13.0 + 16.0) * nf);
        }
        // Per face: P, E, m, le, S, area, Fe, both cells' gradients and
        // values, the donor's Courant number and volume read; aE, aW and
        // three temporaries written; the source collect (four map entries,
        // temp1 read, two slots written), the row update and the first
        // level of both statistics (temp2, temp3 read again).
        const double methodBytes = (8.0 + 8.0 * 7.0 + 8.0 * 6.0 + 16.0 + 16.0 + 40.0) * nf +
                                   (16.0 + 8.0 + 16.0) * nf + (8.0 * nc * n + 16.0 * n) + 16.0 * nf;
        for (const auto& [methodNumber, name] :
             {std::pair{0, "InnerFluxVolF_Method 0"}, std::pair{2, "InnerFluxVolF_Method 2"}}) {
            const int method = methodNumber;
            table.Row(n, name, MedianSeconds(runs, [&] {
                    double ce = 0.0, fv = 0.0;
                    tool.Calc_VOF_FlowE_InnerFluxVolF_Method(
                        method, nf, n, nn, nc, 1.0, 0.5, 0.3, P, E, m, le, sx, sy, sz, volf, cell, Fe, ar, gx, zero,
                        zero, vol, Px, Py, Ex, Ey, aE, aW, t1, t2, t3, scratch, cell, fg, cg, nullptr, nullptr, ce, fv,
                        bufA, bufB, tf.nLevels, tf.count, tf.offset, tf.total, tf.size);
                }), methodBytes);
        }
        // As the basic time term.
        table.Row(n, "VOF_FlowE_UnsteadyTerm", MedianSeconds(runs, [&] {
                tool.Calc_VOF_FlowE_UnsteadyTermContribution(n, nn, nc, vol, 1e30, A, cell, old, index, cg);
            }), (20.0 * (nc - 1) + 8.0 * 6.0 + 8.0 * 5.0) * n);
        // Per cell: the value read and written, the arrival time read.
        table.Row(n, "AdjustVof_DefaultUpwind", MedianSeconds(runs, [&] {
                tool.Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(n, 0.5, 0.01, 0.99, 0.5, mftime, old, cg);
            }), 20.0 * n);
        // Per cell: the value read by both first levels, the volume once.
        table.Row(n, "CheckEndFilling", MedianSeconds(runs, [&] {
                int cells = 0;
                double melt = 0.0;
                tool.Calc_VOF_FlowE_CheckEndFilling(n, 0.5, volf, vol, 0, cells, melt, bufI, bufC, tc.nLevels,
                                                    tc.count, tc.offset, tc.total, tc.size);
            }), 24.0 * n);
        for (int* p : {P, E, Px, Py, Ex, Ey, index, bufI}) tool.FreeDeviceMemory(p);
        for (double* p : {m, vol, xc, yc, zc, volf, sx, sy, sz, le, ar, old, cell, gx, zero, Fe, beta, aE, aW, t1, t2,
                          t3, scratch, A, bufA, bufB, bufC})
            tool.FreeDeviceMemory(p);
        tool.FreeDeviceMemory(mftime);
    }
    return 0;
}
