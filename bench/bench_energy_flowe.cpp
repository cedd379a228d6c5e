// The extended-flow energy assembly (face mass flux, interior faces, walls
// with per-face heat transfer, cell terms) and one outer iteration of the
// melt-front temperature (assembly and convergence measure) on an
// n x n x n box from the mesh toolkit, against their byte models and a
// device-to-device copy measured in the same run.
//   bench_energy_flowe [n ...]       default: 46 100  (about 1e5 and 1e6 cells)
//
// Byte model: every array element an operation must touch, read or written
// once (cell values once per face side that reads them), ints 4 bytes,
// doubles 8; a row sum reads its NColumnPerRow scratch entries and reads and
// writes its target; the wall operation's clearing of the scratch between
// its two passes writes the whole scratch. Each position set of the
// accumulation has its own scratch, cleared once, as a host solver keeps
// them.
#include <string>
#include <vector>

#include "bench_common.h"
#include "bench_mesh.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

namespace {

struct ByteModel {
    double interior = 0.0, walls = 0.0, cells = 0.0, front = 0.0, convergence = 0.0;

    explicit ByteModel(const rvzmesh::Mesh& m)
    {
        const double nf = m.nFaces, nc = m.nCells, nCol = m.nColumnPerRow;
        const double rowSum = 8.0 * nCol + 16.0, ell = static_cast<double>(m.newNNU) * nCol;
        const auto& wall = m.list(rvzmesh::BoundaryKind::Wall);
        const auto& in = m.list(rvzmesh::BoundaryKind::Inlet);
        const double nw = wall.size(), wallRows = static_cast<double>(wall.rows.size());
        const double ni = in.size(), inRows = static_cast<double>(in.rows.size());
        // Face mass flux (cell densities): P, E, two densities, flux, mfe 40.
        // Face kernel: P, E, le, S, mfe 48 + 9 cell values per side 144 +
        // aE, aW, temp 24. Collect 40, placement of aE/aW 48.
        interior = nf * (40.0 + 216.0 + 40.0 + 48.0) + nc * rowSum;
        // Per wall face: cell, slot, flag 12, hot-runner flag 4, mould 8,
        // k 8, G 8, S 24, h 8, slot temperature 8, two contributions 16 =
        // 96; two collects of 24; two listed updates; the scratch cleared.
        // Surface temperature after the solve: 84.
        walls = nw * (96.0 + 48.0 + 84.0) + 2.0 * wallRows * (4.0 + rowSum) + 8.0 * ell;
        // Time term 72, dissipation 64, final coefficients 8 nCol + 32.
        cells = nc * (72.0 + 64.0 + 8.0 * nCol + 32.0);
        // Melt front: faces 24 + placement 48; inlet face 36 + two
        // collects 24 each + two listed updates; walls 24; time term 48;
        // final 8 nCol + 32.
        front = nf * (24.0 + 48.0) + ni * (36.0 + 48.0) + 2.0 * inRows * (4.0 + rowSum) + nw * 24.0 +
                nc * (48.0 + 8.0 * nCol + 32.0);
        convergence = nc * 16.0;
    }
};

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {46, 100});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 30);
    for (int n : sizes) {
        const rvzmesh::Mesh m = rvzbench::CubeOfHexahedra(n);
        rvzmesh::DeviceMesh d;
        if (rvzmesh::UploadMesh(tool, m, d) != 0) return 1;
        const int nc = m.nCells, nf = m.nFaces, ne = m.nExtended, nnu = m.newNNU, nCol = m.nColumnPerRow;
        const int cb = rvzmesh::Blocks(nc), fb = rvzmesh::Blocks(nf);
        const size_t ell = static_cast<size_t>(nnu) * nCol;
        const rvzmesh::DeviceBoundaryList& in = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Inlet)];
        const rvzmesh::DeviceBoundaryList& wall = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Wall)];
        const int nw = wall.size, wb = rvzmesh::Blocks(nw), wrb = rvzmesh::Blocks(wall.nRows);
        const int ib = rvzmesh::Blocks(in.size), irb = rvzmesh::Blocks(in.nRows);

        std::vector<double*> ext;
        for (int k = 0; k < 7; ++k) ext.push_back(Upload(tool, std::vector<double>(ne, 1.0 + 0.1 * k)));
        double *T = ext[0], *mk = ext[1], *cp = ext[2], *gx = ext[3], *gy = ext[4], *gz = ext[5], *Tf = ext[6];
        std::vector<double*> cell;
        for (int k = 0; k < 9; ++k) cell.push_back(Upload(tool, std::vector<double>(nc, 1.0 + 0.1 * k)));
        double *VolF = cell[0], *vis = cell[1], *SR = cell[2], *den = cell[3], *T0 = cell[4], *T00 = cell[5];
        double *Su = cell[6], *Sv = cell[7], *unread = cell[8];
        std::vector<double*> face;
        for (int k = 0; k < 6; ++k) face.push_back(Upload(tool, std::vector<double>(nf, 1e-3)));
        double *q = face[0], *vfe = face[1], *mfe = face[2], *aE = face[3], *aW = face[4], *temp = face[5];
        double* A = Upload(tool, std::vector<double>(ell, 0.0));
        std::vector<double*> scratch;
        for (int k = 0; k < 4; ++k) scratch.push_back(Upload(tool, std::vector<double>(ell, 0.0)));
        double *big = Upload(tool, std::vector<double>(ell, 1.0)), *big2 = Upload(tool, std::vector<double>(ell));
        int *outlet = Upload(tool, std::vector<int>(nw, 0)), *hot = Upload(tool, std::vector<int>(nc, 0));
        double *mould = Upload(tool, std::vector<double>(nw, 50.0)), *htc = Upload(tool, std::vector<double>(nw, 0.5));
        double *t1 = Upload(tool, std::vector<double>(nw)), *t2 = Upload(tool, std::vector<double>(nw));
        double *massIn = Upload(tool, std::vector<double>(in.size, -1e-3)), *CB = Upload(tool, std::vector<double>(in.size));
        double* tempSu = Upload(tool, std::vector<double>(in.size));
        int total = 0, nLevels = 0, count[16], size[16], offset[16];
        tool.GetSizeOfBlock(nc, total, nLevels, count, size, offset);
        double* buffer = Upload(tool, std::vector<double>(total, 0.0));
        const int runs = nc >= 500000 ? 5 : 11;
        double change = 0.0;

        auto interior = [&] {
            tool.CalcSC_FlowE_InnerFluxSC_mfe(nf, cp, d.ijP, d.ijE, vfe, 1.0, 1e-3, q, den, mfe, 1, fb);
            tool.CalcSC_FlowE_InnerFluxSC(nf, nc, nnu, nCol, cp, d.ijP, d.ijE, d.le, T, gx, gy, gz, d.xc, d.yc, d.zc,
                                          d.sx, d.sy, d.sz, mk, mfe, aE, aW, Su, temp, 0.5, d.mapPx, d.mapPy, d.mapEx,
                                          d.mapEy, scratch[0], cb, fb);
            tool.Calc_MapaEaWToAi(nf, nnu, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb);
        };
        auto walls = [&] {
            tool.CalcSC_FlowE_IsothermalWallBoundaries(nw, wall.nRows, nnu, nCol, wall.cell, wall.slot, outlet, gx, gy,
                                                       gz, T, hot, 1, wall.sx, wall.sy, wall.sz, htc, wall.surfDist,
                                                       mk, mould, A, Su, t1, t2, wall.mapPx, wall.mapPy, wall.rows,
                                                       scratch[1], wb, wrb);
            tool.CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(nw, wall.cell, wall.slot, outlet, wall.sx, wall.sy,
                                                           wall.sz, htc, wall.surfDist, mk, T, wb);
        };
        auto cells = [&] {
            tool.CalcSC_FlowE_UnsteadyTermContributionSC(nc, cp, 1e3, 1.0, den, d.volume, T0, T00, Su, A, cb);
            tool.CalcSC_FlowE_ViscousDisspationVolumetricTerm(nc, 0.5, 1.0, 5.0, 1e3, 0.0, 0, cp, VolF, vis, SR, den,
                                                              d.volume, unread, Su, cb);
            tool.CalcSC_FlowE_FinalCoeffRHS_Sfi(nc, nnu, nCol, 0.9, T, A, Su, 1.0 / 0.9, cb);
        };
        auto front = [&] {
            tool.Calc_InnerFluxHeatGen(nf, mfe, aE, aW, fb);
            tool.Calc_MapaEaWToAi(nf, nnu, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb);
            tool.Calc_MeltFrontTemp_InletBoundary(in.size, in.nRows, nnu, nCol, in.slot, massIn, CB, tempSu, Su, Tf,
                                                  in.mapPx, in.mapPy, scratch[2], in.rows, ib, irb);
            tool.Calc_MeltFrontTemp_InletAi(in.size, in.nRows, nnu, nCol, in.mapPx, in.mapPy, CB, scratch[3], A,
                                            in.rows, ib, irb);
            tool.Calc_MeltFrontTemp_WallBC(nw, wall.cell, wall.slot, Tf, wb);
            tool.Calc_MeltFrontTemp_UnsteadyTermContribution(nc, d.volume, 1e-3, A, Su, T0, cb);
            tool.Calc_MeltFrontTemp_FinalCoeff(nc, nnu, nCol, 0.9, Tf, A, Su, cb);
        };
        auto convergence = [&] {
            tool.Calc_MeltFrontTemp_CheckOuterConvergence(nc, Tf, Sv, buffer, cb, nLevels, count, offset, total, size,
                                                          change);
        };

        const ByteModel model(m);
        table.CopyRow(tool, runs, nc, static_cast<int>(ell), big2, big);
        table.Row(nc, "extended interior faces", MedianSeconds(runs, interior), model.interior);
        table.Row(nc, "extended walls", MedianSeconds(runs, walls), model.walls);
        table.Row(nc, "extended cell terms", MedianSeconds(runs, cells), model.cells);
        table.Row(nc, "melt-front assembly", MedianSeconds(runs, front), model.front);
        table.Row(nc, "melt-front convergence", MedianSeconds(runs, convergence), model.convergence);

        for (double* p : ext) tool.FreeDeviceMemory(p);
        for (double* p : cell) tool.FreeDeviceMemory(p);
        for (double* p : face) tool.FreeDeviceMemory(p);
        for (double* p : scratch) tool.FreeDeviceMemory(p);
        for (double* p : {A, big, big2, mould, htc, t1, t2, massIn, CB, tempSu, buffer}) tool.FreeDeviceMemory(p);
        for (int* p : {outlet, hot}) tool.FreeDeviceMemory(p);
        rvzmesh::FreeDeviceMesh(tool, d);
    }
    return 0;
}
