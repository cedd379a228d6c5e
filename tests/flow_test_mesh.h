// A small structured box of hexahedral cells laid out as the assembly
// operations expect: interior faces with owner/neighbour, geometry and slot
// maps, boundary lists per side with their slots, maps and row lists,
// extended centroid arrays and the ELL pattern. Used by the momentum and
// pressure-correction tests to build hand-checkable cases.
//
// ELL columns: 0 is the diagonal, column 1 + s holds the face of cell
// side s (0 -x, 1 +x, 2 -y, 3 +y, 4 -z, 5 +z), interior or boundary, except
// that a boundary face on the -x side uses column 0 of the scratch, as the
// mesh toolkit's first boundary face of a cell does (so an update that
// skipped column 0 would lose it). Interior and boundary positions never
// coincide.
#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "test_support.h"

namespace flowtest {

// The four launch forms of an interior-face assembly a test calls: every
// row (plain), listed rows (_Opt and _Opt_ONE) and a partition's rows (_Par).
enum class Form { All, Opt, One, Par };

using rvztest::DeviceArray;

template <class T>
std::unique_ptr<DeviceArray<T>> Up(const std::vector<T>& v)
{
    return std::make_unique<DeviceArray<T>>(v);
}

inline int Blocks(int n) { return n > 0 ? (n + 255) / 256 : 1; }

struct BoundaryList {
    std::vector<int> slot, cell, Px, Py, rows;
    std::vector<double> sx, sy, sz;
    int size() const { return static_cast<int>(slot.size()); }
};

struct BoxMesh {
    int nx, ny, nz;
    double dx, dy, dz;
    int nCells = 0, nFaces = 0, nBoundary = 0, nExt = 0, newNNU = 0;
    static constexpr int nCol = 7;
    std::vector<int> P, E, Px, Py, Ex, Ey;
    std::vector<double> sx, sy, sz, le;
    std::vector<double> xc, yc, zc, volume;
    std::vector<int> indexELL;
    BoundaryList side[6];

    BoxMesh(int nx_, int ny_, int nz_, double dx_ = 1.0, double dy_ = 1.0, double dz_ = 1.0)
        : nx(nx_), ny(ny_), nz(nz_), dx(dx_), dy(dy_), dz(dz_)
    {
        nCells = nx * ny * nz;
        newNNU = (nCells + 255) / 256 * 256;
        indexELL.assign(static_cast<size_t>(newNNU) * nCol, -1);
        for (int c = 0; c < nCells; ++c) indexELL[c] = c;
        const double h[3] = {dx, dy, dz};
        const double area[3] = {dy * dz, dx * dz, dx * dy};
        for (int k = 0; k < nz; ++k)
            for (int j = 0; j < ny; ++j)
                for (int i = 0; i < nx; ++i) {
                    xc.push_back((i + 0.5) * dx);
                    yc.push_back((j + 0.5) * dy);
                    zc.push_back((k + 0.5) * dz);
                    volume.push_back(dx * dy * dz);
                }
        for (int c = 0; c < nCells; ++c) {
            const int ijk[3] = {c % nx, (c / nx) % ny, c / (nx * ny)};
            const int n[3] = {nx, ny, nz};
            const int stride[3] = {1, nx, nx * ny};
            for (int axis = 0; axis < 3; ++axis) {
                for (int dir = 0; dir < 2; ++dir) {
                    const int s = 2 * axis + dir;
                    const bool boundary = dir == 0 ? ijk[axis] == 0 : ijk[axis] == n[axis] - 1;
                    double S[3] = {0, 0, 0};
                    S[axis] = dir == 0 ? -area[axis] : area[axis];
                    if (boundary) {
                        BoundaryList& b = side[s];
                        b.slot.push_back(nCells + nBoundary++);
                        b.cell.push_back(c);
                        b.Px.push_back(c);
                        b.Py.push_back(s == 0 ? 0 : 1 + s);
                        b.rows.push_back(c);
                        b.sx.push_back(S[0]);
                        b.sy.push_back(S[1]);
                        b.sz.push_back(S[2]);
                        double f[3] = {xc[c], yc[c], zc[c]};
                        f[axis] += (dir == 0 ? -0.5 : 0.5) * h[axis];
                        xc.push_back(f[0]);
                        yc.push_back(f[1]);
                        zc.push_back(f[2]);
                    } else if (dir == 1) {
                        const int e = c + stride[axis];
                        P.push_back(c);
                        E.push_back(e);
                        Px.push_back(c);
                        Py.push_back(1 + s);
                        Ex.push_back(e);
                        Ey.push_back(1 + s - 1);
                        sx.push_back(S[0]);
                        sy.push_back(S[1]);
                        sz.push_back(S[2]);
                        le.push_back(0.5);
                        indexELL[static_cast<size_t>(1 + s) * newNNU + c] = e;
                        indexELL[static_cast<size_t>(s) * newNNU + e] = c;
                    }
                }
            }
        }
        nFaces = static_cast<int>(P.size());
        nExt = nCells + nBoundary;
    }

    // Several sides as one list; a cell that borders two of them appears
    // once in the row list.
    BoundaryList Merge(std::initializer_list<int> sides) const
    {
        BoundaryList m;
        std::vector<bool> seen(nCells, false);
        for (int s : sides) {
            const BoundaryList& b = side[s];
            for (int k = 0; k < b.size(); ++k) {
                m.slot.push_back(b.slot[k]);
                m.cell.push_back(b.cell[k]);
                m.Px.push_back(b.Px[k]);
                m.Py.push_back(b.Py[k]);
                m.sx.push_back(b.sx[k]);
                m.sy.push_back(b.sy[k]);
                m.sz.push_back(b.sz[k]);
                if (!seen[b.cell[k]]) m.rows.push_back(b.cell[k]);
                seen[b.cell[k]] = true;
            }
        }
        return m;
    }

    size_t EllSize() const { return static_cast<size_t>(newNNU) * nCol; }
};

// The mesh's topology and geometry on the device.
struct DeviceMesh {
    std::unique_ptr<DeviceArray<int>> P, E, Px, Py, Ex, Ey, indexELL;
    std::unique_ptr<DeviceArray<double>> sx, sy, sz, le, xc, yc, zc, volume, scratch;

    explicit DeviceMesh(const BoxMesh& m)
        : P(Up(m.P)), E(Up(m.E)), Px(Up(m.Px)), Py(Up(m.Py)), Ex(Up(m.Ex)), Ey(Up(m.Ey)), indexELL(Up(m.indexELL)),
          sx(Up(m.sx)), sy(Up(m.sy)), sz(Up(m.sz)), le(Up(m.le)), xc(Up(m.xc)), yc(Up(m.yc)), zc(Up(m.zc)),
          volume(Up(m.volume)), scratch(std::make_unique<DeviceArray<double>>(static_cast<int>(m.EllSize())))
    {
    }
    void ClearScratch() const { rvztest::Tool().ZeroDeviceMemory(scratch->size(), scratch->get()); }
};

struct DeviceList {
    std::unique_ptr<DeviceArray<int>> slot, cell, Px, Py, rows;
    std::unique_ptr<DeviceArray<double>> sx, sy, sz;
    int n, nRows;

    explicit DeviceList(const BoundaryList& b)
        : slot(Up(b.slot)), cell(Up(b.cell)), Px(Up(b.Px)), Py(Up(b.Py)), rows(Up(b.rows)), sx(Up(b.sx)),
          sy(Up(b.sy)), sz(Up(b.sz)), n(b.size()), nRows(static_cast<int>(b.rows.size()))
    {
    }
};

// Overwrites the cell part (the first cells.size() entries) of an extended
// field, keeping its boundary slots.
inline void SetCells(DeviceArray<double>& a, const std::vector<double>& cells)
{
    std::vector<double> all = a.Download();
    std::copy(cells.begin(), cells.end(), all.begin());
    a.Upload(all);
}

// A field with its values, uploaded on construction.
inline std::unique_ptr<DeviceArray<double>> Field(int n, double value = 0.0)
{
    return Up(std::vector<double>(static_cast<size_t>(n), value));
}

// Solves the ELL system A x = b of the first n rows by dense Gaussian
// elimination with partial pivoting: an independent check of the assembly.
inline std::vector<double> SolveEllDense(const std::vector<double>& A, const std::vector<int>& index, int newNNU,
                                         int nCol, const std::vector<double>& b, int n)
{
    std::vector<std::vector<double>> M(n, std::vector<double>(n + 1, 0.0));
    for (int r = 0; r < n; ++r) {
        M[r][r] = A[r];
        for (int j = 1; j < nCol; ++j) {
            const int c = index[static_cast<size_t>(j) * newNNU + r];
            if (c >= 0) M[r][c] += A[static_cast<size_t>(j) * newNNU + r];
        }
        M[r][n] = b[r];
    }
    for (int col = 0; col < n; ++col) {
        int pivot = col;
        for (int r = col + 1; r < n; ++r)
            if (std::fabs(M[r][col]) > std::fabs(M[pivot][col])) pivot = r;
        std::swap(M[col], M[pivot]);
        for (int r = col + 1; r < n; ++r) {
            const double f = M[r][col] / M[col][col];
            for (int c = col; c <= n; ++c) M[r][c] -= f * M[col][c];
        }
    }
    std::vector<double> x(n);
    for (int r = n - 1; r >= 0; --r) {
        double s = M[r][n];
        for (int c = r + 1; c < n; ++c) s -= M[r][c] * x[c];
        x[r] = s / M[r][r];
    }
    return x;
}

}  // namespace flowtest
