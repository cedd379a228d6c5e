// Momentum and pressure-correction assembly on an n x n x n box against
// byte models and a device-to-device copy measured in the same run.
//   bench_flow [n ...]       default: 32 64
//
// Byte model of a launch: every array element it touches read or written
// once, cell values counted once per face side that reads them (what the
// launch must move without a cache), ints 4 bytes, doubles 8.
#include <vector>

#include "bench_common.h"

using rvzbench::MedianSeconds;
using rvzbench::Upload;

namespace {

// Faces of the box in x, then y, then z order; ELL column 1 + side.
struct Box {
    int nc = 0, nf = 0, newNNU = 0;
    static constexpr int nCol = 7;
    std::vector<int> P, E, Px, Py, Ex, Ey, index;
    std::vector<double> sx, sy, sz, le, xc, yc, zc;

    explicit Box(int n)
    {
        nc = n * n * n;
        newNNU = (nc + 255) / 256 * 256;
        index.assign(static_cast<size_t>(newNNU) * nCol, -1);
        const double h = 1.0 / n;
        for (int c = 0; c < nc; ++c) {
            index[c] = c;
            xc.push_back((c % n + 0.5) * h);
            yc.push_back((c / n % n + 0.5) * h);
            zc.push_back((c / (n * n) + 0.5) * h);
        }
        const int stride[3] = {1, n, n * n};
        for (int axis = 0; axis < 3; ++axis)
            for (int c = 0; c < nc; ++c) {
                const int ijk[3] = {c % n, c / n % n, c / (n * n)};
                if (ijk[axis] == n - 1) continue;
                const int e = c + stride[axis];
                P.push_back(c), E.push_back(e), Px.push_back(c), Ex.push_back(e);
                Py.push_back(2 + 2 * axis), Ey.push_back(1 + 2 * axis);
                index[static_cast<size_t>(2 + 2 * axis) * newNNU + c] = e;
                index[static_cast<size_t>(1 + 2 * axis) * newNNU + e] = c;
                sx.push_back(axis == 0 ? h * h : 0.0), sy.push_back(axis == 1 ? h * h : 0.0);
                sz.push_back(axis == 2 ? h * h : 0.0), le.push_back(0.5);
            }
        nf = static_cast<int>(P.size());
    }
};

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<int> sizes = rvzbench::SizesFromArguments(argc, argv, {32, 64});

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    rvzbench::RateTable table("cells", 34);
    for (int n : sizes) {
        const Box b(n);
        const int nc = b.nc, nf = b.nf, fb = (nf + 255) / 256, cb = (nc + 255) / 256;
        const int nCol = Box::nCol;
        const size_t ell = static_cast<size_t>(b.newNNU) * nCol;
        int *P = Upload(tool, b.P), *E = Upload(tool, b.E), *Px = Upload(tool, b.Px), *Py = Upload(tool, b.Py);
        int *Ex = Upload(tool, b.Ex), *Ey = Upload(tool, b.Ey), *index = Upload(tool, b.index);
        double *sx = Upload(tool, b.sx), *sy = Upload(tool, b.sy), *sz = Upload(tool, b.sz), *le = Upload(tool, b.le);
        double *xc = Upload(tool, b.xc), *yc = Upload(tool, b.yc), *zc = Upload(tool, b.zc);
        std::vector<double*> cell(20, nullptr), face(6, nullptr);
        for (size_t k = 0; k < cell.size(); ++k) cell[k] = Upload(tool, std::vector<double>(nc, 1.0 + 0.01 * k));
        for (size_t k = 0; k < face.size(); ++k) face[k] = Upload(tool, std::vector<double>(nf, 0.1 * k));
        double* A = Upload(tool, std::vector<double>(ell, -0.1));
        double* scratch = Upload(tool, std::vector<double>(ell, 0.0));
        double* big1 = Upload(tool, std::vector<double>(ell, 1.0));
        double* big2 = Upload(tool, std::vector<double>(ell, 0.0));
        double *u = cell[0], *v = cell[1], *w = cell[2], *vis = cell[3], *Su = cell[4], *Sv = cell[5], *Sw = cell[6];
        double *p = cell[7], *APR = cell[8], *pp = cell[9], *AD = cell[10];
        double* g[9];
        for (int k = 0; k < 9; ++k) g[k] = cell[11 + k];
        double *mfe = face[0], *aE = face[1], *aW = face[2], *temp = face[3], *flux = face[4];
        const int runs = nc >= 200000 ? 7 : 15;

        table.CopyRow(tool, runs, nc, static_cast<int>(ell), big2, big1);

        const double rowSum = 8.0 * nCol + 16.0;
        table.Row(nc, "Calc_InnerFluxUVW", MedianSeconds(runs, [&] {
                tool.Calc_InnerFluxUVW(nf, nc, b.newNNU, nCol, 0.5, 1.0, P, E, le, g[0], g[1], g[2], g[3], g[4], g[5],
                                       g[6], g[7], g[8], xc, yc, zc, u, v, w, vis, sx, sy, sz, mfe, aE, aW, Su, Sv, Sw,
                                       temp, Px, Py, Ex, Ey, scratch, fb, cb);
            }),
            nf * (128.0 + 3.0 * (216.0 + 40.0)) + 3.0 * nc * rowSum);
        table.Row(nc, "Calc_InnerFluxPP", MedianSeconds(runs, [&] {
                tool.Calc_InnerFluxPP(nf, P, E, le, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, g[0], g[1], g[2], xc, yc, zc, u, v, w, p, APR, sx, sy, sz, mfe,
                                      aE, aW, 0, fb);
            }),
            240.0 * nf);
        table.Row(nc, "Calc_InnerFluxPP_UpdateSourceTerm", MedianSeconds(runs, [&] {
                tool.Calc_InnerFluxPP_UpdateSourceTerm(nf, nc, b.newNNU, nCol, Px, Py, Ex, Ey, flux, scratch, Su, fb,
                                                       cb);
            }),
            40.0 * nf + nc * rowSum);
        table.Row(nc, "CalcPP_CorrectMassFlux", MedianSeconds(runs, [&] {
                tool.CalcPP_CorrectMassFlux(nf, b.newNNU, Px, Py, Ex, Ey, A, pp, flux, fb);
            }),
            52.0 * nf);
        table.Row(nc, "Calc_FinalCoeffRHS_Sfi", MedianSeconds(runs, [&] {
                tool.Calc_FinalCoeffRHS_Sfi(nc, b.newNNU, nCol, 0.7, u, A, AD, Su, cb);
            }),
            nc * (8.0 * nCol + 32.0));
        table.Row(nc, "Calc_APR_SIMPLEC", MedianSeconds(runs, [&] {
                tool.Calc_APR_SIMPLEC(nc, b.newNNU, nCol, A, APR, cb);
            }),
            nc * (8.0 * (nCol - 1) + 16.0));

        for (int* q : {P, E, Px, Py, Ex, Ey, index}) tool.FreeDeviceMemory(q);
        for (double* q : {sx, sy, sz, le, xc, yc, zc, A, scratch, big1, big2}) tool.FreeDeviceMemory(q);
        for (double* q : cell) tool.FreeDeviceMemory(q);
        for (double* q : face) tool.FreeDeviceMemory(q);
    }
    return 0;
}
