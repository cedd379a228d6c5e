// One assembly of the energy equation (every operation of one step, in the
// order a host solver calls them) on an n x n x n box from the mesh
// toolkit, against its byte model and a device-to-device copy measured in
// the same run.
//   bench_energy [n ...]       default: 46 100  (about 1e5 and 1e6 cells)
//
// Byte model: every array element an operation must touch, read or written
// once (cell values once per face side that reads them), ints 4 bytes,
// doubles 8; a row sum reads its NColumnPerRow scratch entries and reads and
// writes its target. Each position set of the face-to-cell accumulation
// (interior faces, walls, inlet and outlet, inlet) has its own scratch,
// cleared once, as a host solver keeps them.
#include <string>
#include <vector>

#include "bench_common.h"
#include "bench_mesh.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

namespace {

// The byte model of one assembly, by group of operations.
struct ByteModel {
    double interior = 0.0, boundary = 0.0, cells = 0.0;
    double total() const { return interior + boundary + cells; }

    ByteModel(const rvzmesh::Mesh& m)
    {
        const double nf = m.nFaces, nc = m.nCells, nCol = m.nColumnPerRow;
        const double rowSum = 8.0 * nCol + 16.0;
        // Face kernel: P, E, le, S, mfe (48) + 9 cell values per side (144)
        // + aE, aW, temp (24); collect 40; placement of aE/aW 48.
        interior = nf * (216.0 + 40.0 + 48.0) + nc * rowSum;
        auto list = [&](rvzmesh::BoundaryKind k) { return &m.list(k); };
        const auto *in = list(rvzmesh::BoundaryKind::Inlet), *out = list(rvzmesh::BoundaryKind::Outlet);
        const auto *wall = list(rvzmesh::BoundaryKind::Wall), *sym = list(rvzmesh::BoundaryKind::Symmetry);
        auto rows = [](const rvzmesh::BoundaryList* l) { return static_cast<double>(l->rows.size()); };
        const double ni = in->size(), no = out->size(), nw = wall->size(), ns = sym->size();
        const double nio = m.inOutlet.size();
        boundary = ni * 64.0 + no * 72.0 + ns * 24.0 + nw * 108.0  // slot values and gradients
                   + nw * 56.0                                      // wall coefficients
                   + nw * 36.0 + rows(wall) * (4.0 + rowSum)         // wall diagonal
                   + nw * (40.0 + 24.0) + rows(wall) * (4.0 + rowSum)  // wall source
                   + nio * 24.0 + static_cast<double>(m.inOutlet.rows.size()) * (4.0 + rowSum)
                   + ni * 36.0 + rows(in) * (4.0 + rowSum);
        // Dissipation 56, reaction 40, time source 48, time diagonal 32,
        // final coefficients 8 nCol + 44, lower bound 8 (per cell).
        cells = nc * (56.0 + 40.0 + 48.0 + 32.0 + 8.0 * nCol + 44.0 + 8.0);
    }
};

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {46, 100});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 28);
    for (int n : sizes) {
        const rvzmesh::Mesh m = rvzbench::CubeOfHexahedra(n);
        rvzmesh::DeviceMesh d;
        if (rvzmesh::UploadMesh(tool, m, d) != 0) return 1;
        const int nc = m.nCells, nf = m.nFaces, ne = m.nExtended, nnu = m.newNNU, nCol = m.nColumnPerRow;
        const int cb = rvzmesh::Blocks(nc), fb = rvzmesh::Blocks(nf);
        const size_t ell = static_cast<size_t>(nnu) * nCol;
        const rvzmesh::DeviceBoundaryList& in = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Inlet)];
        const rvzmesh::DeviceBoundaryList& out = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Outlet)];
        const rvzmesh::DeviceBoundaryList& wall = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Wall)];
        const rvzmesh::DeviceBoundaryList& sym = d.boundary[static_cast<int>(rvzmesh::BoundaryKind::Symmetry)];
        const rvzmesh::DeviceBoundaryList& io = d.inOutlet;

        double *T = Upload(tool, std::vector<double>(ne, 230.0)), *mk = Upload(tool, std::vector<double>(ne, 1.8e4));
        double *gx = Upload(tool, std::vector<double>(ne, 0.1)), *gy = Upload(tool, std::vector<double>(ne, 0.2));
        double* gz = Upload(tool, std::vector<double>(ne, 0.3));
        std::vector<double*> cell;
        for (int k = 0; k < 10; ++k) cell.push_back(Upload(tool, std::vector<double>(nc, 1.0 + 0.1 * k)));
        double *VolF = cell[0], *vis = cell[1], *SR = cell[2], *den = cell[3], *dCdt = cell[4], *T0 = cell[5];
        double *T00 = cell[6], *Su = cell[7];
        double *mfe = Upload(tool, std::vector<double>(nf, 1e-3)), *aE = Upload(tool, std::vector<double>(nf, 0.0));
        double *aW = Upload(tool, std::vector<double>(nf, 0.0)), *temp = Upload(tool, std::vector<double>(nf, 0.0));
        double* A = Upload(tool, std::vector<double>(ell, 0.0));
        std::vector<double*> scratch;
        for (int k = 0; k < 4; ++k) scratch.push_back(Upload(tool, std::vector<double>(ell, 0.0)));
        double *big = Upload(tool, std::vector<double>(ell, 1.0)), *big2 = Upload(tool, std::vector<double>(ell));
        const int nw = wall.size;
        int *match = Upload(tool, std::vector<int>(nw, 0)), *hot = Upload(tool, std::vector<int>(nc, 0));
        double *mould = Upload(tool, std::vector<double>(nw, 50.0)), *coef = Upload(tool, std::vector<double>(nw));
        double *wallTemp = Upload(tool, std::vector<double>(nw)), *CB = Upload(tool, std::vector<double>(io.size, -1.0));
        int total = 0, nLevels = 0, count[16], size[16], offset[16];
        tool.GetSizeOfBlock(nf, total, nLevels, count, size, offset);
        int* counts = Upload(tool, std::vector<int>(total, 0));
        const int runs = nc >= 500000 ? 5 : 11;
        const double mCp = 2.1e7, FCRI = 0.5;
        int norkk = 0;

        auto interior = [&] {
            tool.Calc_InnerFluxSC_Flow(nf, nc, nnu, nCol, mCp, FCRI, d.ijP, d.ijE, d.le, T, gx, gy, gz, d.xc, d.yc,
                                       d.zc, d.sx, d.sy, d.sz, mfe, aE, aW, Su, VolF, mk, temp, norkk, d.mapPx,
                                       d.mapPy, d.mapEx, d.mapEy, scratch[0], cb, fb, nLevels, count, offset, total,
                                       size, counts);
            tool.Calc_MapaEaWToAi(nf, nnu, d.mapPx, d.mapPy, d.mapEx, d.mapEy, aE, aW, A, fb);
        };
        auto boundary = [&] {
            const int ib = rvzmesh::Blocks(in.size), wb = rvzmesh::Blocks(nw);
            tool.Calc_InletBoundarySC_Update_ddfi(in.size, false, 230.0, 230.0, in.cell, in.slot, gx, gy, gz, T, ib);
            tool.Calc_OutletBoundarySC_Update_ddfi(out.size, out.cell, out.slot, gx, gy, gz, T,
                                                   rvzmesh::Blocks(out.size));
            tool.Calc_SymmetryBoundary_UpdateT(sym.size, sym.cell, sym.slot, T, rvzmesh::Blocks(sym.size));
            tool.Calc_WallBoundarySC_ddfi(nw, wall.cell, wall.slot, match, gx, gy, gz, T, wb);
            tool.Calc_WallBoundarySC_UpdateT_coef(nw, wall.cell, wall.slot, match, hot, wall.surfDist, mk, mould, coef,
                                                  T, wb);
            tool.CalcSC_WallAi(nw, wall.nRows, nnu, nCol, wall.cell, wall.mapPx, wall.mapPy, match, hot, coef,
                               scratch[1], A, wall.rows, wb, rvzmesh::Blocks(wall.nRows));
            tool.Calc_WallBoundarySC_SourceTerm(nw, wall.nRows, nnu, nCol, wall.cell, wall.slot, match, coef, hot, T,
                                                Su, wallTemp, wall.mapPx, wall.mapPy, scratch[1], wall.rows, wb,
                                                rvzmesh::Blocks(wall.nRows));
            tool.CalcSC_InOutletAi(io.size, io.nRows, nnu, nCol, io.mapPx, io.mapPy, CB, scratch[2], A, io.rows,
                                   rvzmesh::Blocks(io.size), rvzmesh::Blocks(io.nRows));
            tool.Calc_InletBoundarySC_SourceTerm(in.size, in.nRows, nnu, nCol, in.slot, CB, T, Su, in.mapPx, in.mapPy,
                                                 scratch[3], in.rows, ib, rvzmesh::Blocks(in.nRows));
        };
        auto cells = [&] {
            tool.Calc_ViscousDisspationVolumetricTerm(nc, FCRI, 1.0, mCp, VolF, vis, SR, den, d.volume, Su, cb);
            tool.Calc_ReactionHeat_Su(nc, FCRI, 1.0, VolF, dCdt, d.volume, Su, cb);
            tool.Calc_UnsteadyTermContributionSC(nc, mCp, 1e-3, 1.0, 1.0, den, d.volume, T0, T00, Su, cb);
            tool.Calc_2ndImplicitEulerMethodAi_SC(nc, mCp, 1e-3, 1.0, 1.0, den, d.volume, A, cb);
            tool.CalcSC_FinalCoeffRHS_Sfi(nc, nnu, nCol, 0.9, T, A, A, Su, 230.0, hot, cb);
            tool.Calc_Updatefi_MoldMelt(nc, 40.0, T, cb);
        };

        const ByteModel model(m);
        table.CopyRow(tool, runs, nc, static_cast<int>(ell), big2, big);
        table.Row(nc, "interior faces", MedianSeconds(runs, interior), model.interior);
        table.Row(nc, "boundary lists", MedianSeconds(runs, boundary), model.boundary);
        table.Row(nc, "cell terms and final", MedianSeconds(runs, cells), model.cells);
        table.Row(nc, "energy assembly (all)", MedianSeconds(runs, [&] {
                      boundary();
                      interior();
                      cells();
                  }),
                  model.total());

        for (double* q : {T, mk, gx, gy, gz, mfe, aE, aW, temp, A, big, big2, mould, coef, wallTemp, CB})
            tool.FreeDeviceMemory(q);
        for (double* q : cell) tool.FreeDeviceMemory(q);
        for (double* q : scratch) tool.FreeDeviceMemory(q);
        for (int* q : {match, hot, counts}) tool.FreeDeviceMemory(q);
        rvzmesh::FreeDeviceMesh(tool, d);
    }
    return 0;
}
