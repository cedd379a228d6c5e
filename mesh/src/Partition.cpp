// Partitioning: coordinate bisection, the local meshes with their halo
// copies, partition-interface faces and exchange lists.
#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "MeshInternal.h"
#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

void Bisect(const Mesh& m, std::vector<int> cells, int firstPart, int parts, std::vector<int>& cellPart)
{
    if (parts == 1 || cells.size() <= 1) {
        for (int c : cells) cellPart[c] = firstPart;
        return;
    }
    const std::vector<double>* axes[3] = {&m.xc, &m.yc, &m.zc};
    int axis = 0;
    double widest = -1.0;
    for (int a = 0; a < 3; ++a) {
        const auto [lo, hi] = std::minmax_element(cells.begin(), cells.end(),
                                                  [&](int p, int q) { return (*axes[a])[p] < (*axes[a])[q]; });
        const double width = (*axes[a])[*hi] - (*axes[a])[*lo];
        if (width > widest) {
            widest = width;
            axis = a;
        }
    }
    const std::vector<double>& key = *axes[axis];
    std::sort(cells.begin(), cells.end(), [&](int p, int q) { return key[p] != key[q] ? key[p] < key[q] : p < q; });
    const int leftParts = parts / 2;
    const size_t split = cells.size() * static_cast<size_t>(leftParts) / static_cast<size_t>(parts);
    Bisect(m, std::vector<int>(cells.begin(), cells.begin() + static_cast<long>(split)), firstPart, leftParts, cellPart);
    Bisect(m, std::vector<int>(cells.begin() + static_cast<long>(split), cells.end()), firstPart + leftParts,
           parts - leftParts, cellPart);
}

// Cells of part p and their face neighbours in other parts.
void LocalCells(const Mesh& w, const std::vector<int>& cellPart, int p, Partition& part, std::vector<int>& toLocal)
{
    std::set<int> halo;
    for (int c = 0; c < w.nCells; ++c)
        if (cellPart[c] == p) part.globalCell.push_back(c);
    for (int f = 0; f < w.nFaces; ++f) {
        const bool ownP = cellPart[w.ijP[f]] == p;
        const bool ownE = cellPart[w.ijE[f]] == p;
        if (ownP != ownE) halo.insert(ownP ? w.ijE[f] : w.ijP[f]);
    }
    part.local.nCells = static_cast<int>(part.globalCell.size());
    part.local.nHalo = static_cast<int>(halo.size());
    part.globalCell.insert(part.globalCell.end(), halo.begin(), halo.end());
    for (size_t i = 0; i < part.globalCell.size(); ++i) toLocal[part.globalCell[i]] = static_cast<int>(i);
    for (int h : halo) part.ownerPart.push_back(cellPart[h]);
}

void CopyCellsAndGeometry(const Mesh& w, Partition& part)
{
    Mesh& m = part.local;
    m.source = w.source;
    m.groupNames = w.groupNames;
    m.nodeX = w.nodeX;
    m.nodeY = w.nodeY;
    m.nodeZ = w.nodeZ;
    m.shape.clear();
    m.cellStart.assign(1, 0);
    m.cellNodes.clear();
    for (int g : part.globalCell) {
        m.shape.push_back(w.shape[g]);
        m.cellNodes.insert(m.cellNodes.end(), w.cellNodes.begin() + w.cellStart[g], w.cellNodes.begin() + w.cellStart[g + 1]);
        m.cellStart.push_back(static_cast<int>(m.cellNodes.size()));
        m.volume.push_back(w.volume[g]);
        m.xc.push_back(w.xc[g]);
        m.yc.push_back(w.yc[g]);
        m.zc.push_back(w.zc[g]);
    }
}

void AddFace(const Mesh& w, int f, bool flip, const std::vector<int>& toLocal, Mesh& m)
{
    const double s = flip ? -1.0 : 1.0;
    m.ijP.push_back(toLocal[flip ? w.ijE[f] : w.ijP[f]]);
    m.ijE.push_back(toLocal[flip ? w.ijP[f] : w.ijE[f]]);
    m.sx.push_back(s * w.sx[f]);
    m.sy.push_back(s * w.sy[f]);
    m.sz.push_back(s * w.sz[f]);
    m.area.push_back(w.area[f]);
    m.le.push_back(flip ? 1.0 - w.le[f] : w.le[f]);  // exact: the weights are built so
    m.xe.push_back(w.xe[f]);
    m.ye.push_back(w.ye[f]);
    m.ze.push_back(w.ze[f]);
    // The same columns as in the whole mesh, so every row sums its
    // contributions in the same order.
    m.mapPx.push_back(m.ijP.back());
    m.mapPy.push_back(flip ? w.mapEy[f] : w.mapPy[f]);
    m.mapEx.push_back(m.ijE.back());
    m.mapEy.push_back(flip ? w.mapPy[f] : w.mapEy[f]);
}

void LocalFaces(const Mesh& w, const std::vector<int>& cellPart, int p, const std::vector<int>& toLocal, Mesh& m)
{
    std::vector<int> crossing;
    for (int f = 0; f < w.nFaces; ++f) {
        const bool ownP = cellPart[w.ijP[f]] == p;
        const bool ownE = cellPart[w.ijE[f]] == p;
        if (ownP && ownE)
            AddFace(w, f, false, toLocal, m);
        else if (ownP || ownE)
            crossing.push_back(f);
    }
    m.nInnerFaces = static_cast<int>(m.ijP.size());
    for (int f : crossing) AddFace(w, f, cellPart[w.ijP[f]] != p, toLocal, m);
    m.nFaces = static_cast<int>(m.ijP.size());
    PartitionFaces& par = m.par;
    std::set<int> owners;
    for (int f = m.nInnerFaces; f < m.nFaces; ++f) {
        par.ijP.push_back(m.ijP[f]);
        par.ijE.push_back(m.ijE[f]);
        par.le.push_back(m.le[f]);
        par.sx.push_back(m.sx[f]);
        par.sy.push_back(m.sy[f]);
        par.sz.push_back(m.sz[f]);
        par.xe.push_back(m.xe[f]);
        par.ye.push_back(m.ye[f]);
        par.ze.push_back(m.ze[f]);
        par.mapPx.push_back(m.mapPx[f]);
        par.mapPy.push_back(m.mapPy[f]);
        par.mapEx.push_back(m.mapEx[f]);
        par.mapEy.push_back(m.mapEy[f]);
        owners.insert(m.ijP[f]);
    }
    m.par2CellP.assign(owners.begin(), owners.end());
    m.map2CellPE.resize(static_cast<size_t>(m.nCells));
    std::iota(m.map2CellPE.begin(), m.map2CellPE.end(), 0);
}

void LocalBoundary(const Mesh& w, const std::vector<int>& toLocal, const std::vector<int>& cellPart, int p,
                   Partition& part)
{
    Mesh& m = part.local;
    int slot = m.nCells + m.nHalo;
    for (int kind = 0; kind < kBoundaryKinds; ++kind) {
        const BoundaryList& g = w.boundary[kind];
        BoundaryList& l = m.boundary[kind];
        std::set<int> rows;
        for (int k = 0; k < g.size(); ++k) {
            if (cellPart[g.cell[k]] != p) continue;
            const int cell = toLocal[g.cell[k]];
            part.globalSlot.push_back(g.slot[k]);
            l.slot.push_back(slot++);
            l.cell.push_back(cell);
            l.group.push_back(g.group[k]);
            l.sx.push_back(g.sx[k]);
            l.sy.push_back(g.sy[k]);
            l.sz.push_back(g.sz[k]);
            l.area.push_back(g.area[k]);
            l.surfDist.push_back(g.surfDist[k]);
            l.mapPx.push_back(cell);
            l.mapPy.push_back(g.mapPy[k]);
            if (rows.insert(cell).second) l.rows.push_back(cell);
            m.xc.push_back(w.xc[g.slot[k]]);
            m.yc.push_back(w.yc[g.slot[k]]);
            m.zc.push_back(w.zc[g.slot[k]]);
        }
    }
    m.nBoundaryFaces = slot - m.nCells - m.nHalo;
    m.nExtended = slot;
    detail::BuildInOutlet(m);
}

void LocalPattern(const Mesh& w, const std::vector<int>& toLocal, Partition& part)
{
    Mesh& m = part.local;
    m.nColumnPerRow = w.nColumnPerRow;
    m.newNNU = PaddedRows(m.nCells + m.nHalo);
    m.indexELL.assign(static_cast<size_t>(m.newNNU) * m.nColumnPerRow, -1);
    for (int r = 0; r < m.nCells; ++r) {
        const int g = part.globalCell[r];
        bool hasFace = false;
        for (int j = 0; j < m.nColumnPerRow; ++j) {
            const int n = w.indexELL[static_cast<size_t>(j) * w.newNNU + g];
            m.indexELL[static_cast<size_t>(j) * m.newNNU + r] = n < 0 ? -1 : toLocal[n];
            hasFace = hasFace || (j > 0 && n >= 0);
        }
        if (hasFace) m.map2CellPB.push_back(r);
    }
}

void ExchangeLists(std::vector<Partition>& parts)
{
    for (Partition& p : parts) {
        std::map<int, std::vector<int>> from;  // owner part -> halo indices (ascending global)
        for (int h = 0; h < p.local.nHalo; ++h) from[p.ownerPart[h]].push_back(p.local.nCells + h);
        for (const auto& [q, halo] : from) {
            p.recvPart.push_back(q);
            p.recvIndex.insert(p.recvIndex.end(), halo.begin(), halo.end());
            p.recvStart.push_back(static_cast<int>(p.recvIndex.size()));
        }
    }
    for (Partition& p : parts) {
        std::map<int, std::vector<int>> to;  // part -> my owned cells it copies
        for (const Partition& q : parts)
            for (int h = 0; h < q.local.nHalo; ++h)
                if (q.ownerPart[h] == p.part) {
                    const int global = q.globalCell[q.local.nCells + h];
                    const auto it = std::lower_bound(p.globalCell.begin(), p.globalCell.begin() + p.local.nCells, global);
                    to[q.part].push_back(static_cast<int>(it - p.globalCell.begin()));
                }
        for (const auto& [q, cells] : to) {
            p.sendPart.push_back(q);
            p.sendIndex.insert(p.sendIndex.end(), cells.begin(), cells.end());
            p.sendStart.push_back(static_cast<int>(p.sendIndex.size()));
        }
    }
}

}  // namespace

std::vector<int> PartitionCells(const Mesh& whole, int k)
{
    std::vector<int> cellPart(static_cast<size_t>(whole.nCells), 0);
    std::vector<int> all(static_cast<size_t>(whole.nCells));
    std::iota(all.begin(), all.end(), 0);
    Bisect(whole, all, 0, std::max(1, k), cellPart);
    return cellPart;
}

std::vector<Partition> SplitMesh(const Mesh& whole, const std::vector<int>& cellPart, int k)
{
    std::vector<Partition> parts(static_cast<size_t>(k));
    for (int p = 0; p < k; ++p) {
        Partition& part = parts[p];
        part.part = p;
        std::vector<int> toLocal(static_cast<size_t>(whole.nCells), -1);
        LocalCells(whole, cellPart, p, part, toLocal);
        CopyCellsAndGeometry(whole, part);
        LocalFaces(whole, cellPart, p, toLocal, part.local);
        LocalBoundary(whole, toLocal, cellPart, p, part);
        LocalPattern(whole, toLocal, part);
    }
    ExchangeLists(parts);
    return parts;
}

std::vector<double> ToLocal(const Partition& p, const std::vector<double>& globalExtended)
{
    std::vector<double> local;
    local.reserve(static_cast<size_t>(p.local.nExtended));
    for (int g : p.globalCell) local.push_back(globalExtended[g]);
    for (int g : p.globalSlot) local.push_back(globalExtended[g]);
    return local;
}

void RefreshHalo(const std::vector<Partition>& parts, std::vector<std::vector<double>>& fields)
{
    for (const Partition& p : parts)
        for (size_t j = 0; j < p.recvPart.size(); ++j) {
            const Partition& q = parts[p.recvPart[j]];
            const size_t jj = static_cast<size_t>(std::find(q.sendPart.begin(), q.sendPart.end(), p.part) - q.sendPart.begin());
            for (int i = 0; i < p.recvStart[j + 1] - p.recvStart[j]; ++i)
                fields[p.part][p.recvIndex[p.recvStart[j] + i]] = fields[q.part][q.sendIndex[q.sendStart[jj] + i]];
        }
}

}  // namespace rvzmesh
