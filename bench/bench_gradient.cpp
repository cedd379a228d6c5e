// Gauss gradient of one field on a box of hexahedra (or tetrahedra):
// interior faces, the six boundary lists and the division, against a byte
// model and a device-to-device copy measured in the same run.
//   bench_gradient [n [tets]]       n cells per axis (default 64), tets = 1
//
// Byte model (each array touched once per launch, every gathered cell
// value counted once per cell):
//   face values: per face ijP, ijE, le, S, face centroid (64 B) and the
//                three temporaries written (24 B); per cell the field, the
//                previous gradient and the centroid (56 B);
//   per component: collect reads two maps per side and the temporary and
//                writes two scratch values (40 B per face); update reads
//                the row's NColumnPerRow scratch values and reads and
//                writes the output (8*NColumnPerRow + 16 B per cell);
//   boundary lists alike with one side; division 56 B per cell.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "CRVZGPUtool.h"
#include "bench_common.h"
#include "platform/rvz_platform.h"
#include "rvzgpu_mesh/Mesh.h"


int main(int argc, char** argv)
{
    using namespace rvzmesh;
    BoxOptions o;
    const char* usage = "[cells-per-axis [tetrahedra 0|1]]";
    o.nx = o.ny = o.nz = argc > 1 ? rvzbench::PositiveArgument(argv[1], argv[0], usage) : 64;
    o.tetrahedra = argc > 2 && std::atoi(argv[2]) != 0;
    o.perturbation = 0.2;
    const Mesh m = BuildMesh(MakeBox(o));

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    DeviceMesh d;
    if (UploadMesh(tool, m, d) != 0) return 1;
    const int nc = m.nCells, nf = m.nFaces, ncol = m.nColumnPerRow;
    int longest = nf;
    for (const BoundaryList& l : m.boundary) longest = std::max(longest, l.size());
    double *fi = nullptr, *g[3] = {}, *g0[3] = {}, *t[3] = {}, *scratch = nullptr, *copyDst = nullptr;
    tool.AllocateDeviceMemory(m.nExtended, fi);
    for (int c = 0; c < 3; ++c) {
        tool.AllocateDeviceMemory(nc, g[c]);
        tool.AllocateDeviceMemory(nc, g0[c]);
        tool.AllocateDeviceMemory(longest, t[c]);
    }
    tool.AllocateDeviceMemory(m.newNNU * ncol, scratch);
    tool.AllocateDeviceMemory(m.newNNU * ncol, copyDst);
    std::vector<double> field(m.nExtended);
    for (int i = 0; i < m.nExtended; ++i) field[i] = m.xc[i] * m.xc[i] + m.yc[i] - m.zc[i];
    tool.DataCopyHost2Device(m.nExtended, field.data(), fi);

    auto interior = [&] {
        tool.Calc_GradFromInnerCF(nf, nc, m.newNNU, ncol, fi, g[0], g[1], g[2], g0[0], g0[1], g0[2], d.le, d.ijP, d.ijE,
                                  d.xc, d.yc, d.zc, d.sx, d.sy, d.sz, d.xe, d.ye, d.ze, d.mapPx, d.mapPy, d.mapEx,
                                  d.mapEy, t[0], t[1], t[2], scratch, Blocks(nf), Blocks(nc));
    };
    auto boundary = [&] {
        for (int k = 0; k < kBoundaryKinds; ++k) {
            const DeviceBoundaryList& l = d.boundary[k];
            tool.ZeroDeviceMemory(m.newNNU * ncol, scratch);
            tool.Calc_GradFromBC(l.size, l.nRows, m.newNNU, ncol, fi, g[0], g[1], g[2], nullptr, l.slot, l.sx, l.sy,
                                 l.sz, t[0], t[1], t[2], l.mapPx, l.mapPy, scratch, l.rows, Blocks(l.size),
                                 Blocks(l.nRows));
        }
    };
    auto whole = [&] {
        for (int c = 0; c < 3; ++c) tool.ZeroDeviceMemory(nc, g[c]);
        tool.ZeroDeviceMemory(m.newNNU * ncol, scratch);
        interior();
        boundary();
        tool.Calc_GradCVCenter(nc, d.volume, g[0], g[1], g[2], Blocks(nc));
    };

    const double interiorBytes = nf * (64.0 + 24.0) + nc * 56.0 + 3.0 * (nf * 40.0 + nc * (8.0 * ncol + 16.0));
    double listBytes = 0.0, clearBytes = 0.0;
    for (const BoundaryList& l : m.boundary) {
        listBytes += l.size() * (4.0 + 24.0 + 8.0 + 24.0) + 3.0 * (l.size() * 24.0 +
                                                                   l.rows.size() * (4.0 + 8.0 * ncol + 16.0));
        clearBytes += 8.0 * m.newNNU * ncol;
    }
    const double wholeBytes = interiorBytes + listBytes + clearBytes + 8.0 * m.newNNU * ncol + 3.0 * 8.0 * nc +
                              nc * 56.0;
    const int runs = 21;
    std::printf("%s box %d^3: %d cells, %d faces, %d boundary faces, %d columns\n",
                o.tetrahedra ? "tetrahedral" : "hexahedral", o.nx, nc, nf, m.nBoundaryFaces, ncol);
    rvzbench::RateTable table("cells", 22);
    // The reference copy moves the scratch matrix, the largest array here.
    table.CopyRow(tool, runs, nc, m.newNNU * ncol, copyDst, scratch);
    table.Row(nc, "Calc_GradFromInnerCF", rvzbench::MedianSeconds(runs, interior), interiorBytes);
    table.Row(nc, "whole gradient", rvzbench::MedianSeconds(runs, whole), wholeBytes);
    FreeDeviceMesh(tool, d);
    for (double* p : {fi, g[0], g[1], g[2], g0[0], g0[1], g0[2], t[0], t[1], t[2], scratch, copyDst})
        tool.FreeDeviceMemory(p);
    return 0;
}
