// The slot-map invariant: within the interior faces (both sides) and within
// each list, no two face sides share a scratch position.
#include <set>
#include <unordered_set>

#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

struct PositionSet {
    const Mesh& mesh;
    std::unordered_set<long long> used;
    std::string problem;

    // Records (row, column); false (with a description) when it is out of
    // range or already taken.
    bool Take(int row, int column, const std::string& who)
    {
        if (row < 0 || row >= mesh.newNNU || column < 0 || column >= mesh.nColumnPerRow) {
            problem = who + ": position (" + std::to_string(row) + ", " + std::to_string(column) + ") is outside the " +
                      std::to_string(mesh.newNNU) + " x " + std::to_string(mesh.nColumnPerRow) + " scratch";
            return false;
        }
        if (!used.insert(static_cast<long long>(column) * mesh.newNNU + row).second) {
            problem = who + ": position (" + std::to_string(row) + ", " + std::to_string(column) + ") is used twice";
            return false;
        }
        return true;
    }
};

std::string CheckRowList(const Mesh& m, const std::vector<int>& rows, const std::string& name)
{
    std::set<int> seen;
    for (int r : rows) {
        if (r < 0 || r >= m.nCells) return name + ": row " + std::to_string(r) + " is not a cell";
        if (!seen.insert(r).second) return name + ": row " + std::to_string(r) + " is listed twice";
    }
    return "";
}

std::string CheckList(const Mesh& m, const BoundaryList& list, const std::string& name)
{
    PositionSet positions{m, {}, {}};
    std::set<int> cells;
    for (int k = 0; k < list.size(); ++k) {
        if (list.mapPx[k] != list.cell[k]) return name + " entry " + std::to_string(k) + ": its map row is not its cell";
        if (list.slot[k] < m.nCells + m.nHalo || list.slot[k] >= m.nExtended)
            return name + " entry " + std::to_string(k) + ": slot " + std::to_string(list.slot[k]) + " is not a boundary slot";
        if (!positions.Take(list.mapPx[k], list.mapPy[k], name + " entry " + std::to_string(k))) return positions.problem;
        cells.insert(list.cell[k]);
    }
    const std::string rows = CheckRowList(m, list.rows, name + " rows");
    if (!rows.empty()) return rows;
    if (std::set<int>(list.rows.begin(), list.rows.end()) != cells) return name + ": its rows are not its cells";
    return "";
}

}  // namespace

std::string CheckSlotMaps(const Mesh& m)
{
    PositionSet interior{m, {}, {}};
    for (int f = 0; f < m.nFaces; ++f) {
        const std::string who = "interior face " + std::to_string(f);
        if (m.mapPx[f] != m.ijP[f] || m.mapEx[f] != m.ijE[f]) return who + ": its map rows are not its cells";
        if (!interior.Take(m.mapPx[f], m.mapPy[f], who) || !interior.Take(m.mapEx[f], m.mapEy[f], who))
            return interior.problem;
        const int column = m.indexELL[static_cast<size_t>(m.mapPy[f]) * m.newNNU + m.mapPx[f]];
        if (m.mapPy[f] == 0 || column != m.ijE[f]) return who + ": the owner-side column does not hold the neighbour";
        if (m.ijE[f] < m.nCells) {
            const int back = m.indexELL[static_cast<size_t>(m.mapEy[f]) * m.newNNU + m.mapEx[f]];
            if (m.mapEy[f] == 0 || back != m.ijP[f]) return who + ": the neighbour-side column does not hold the owner";
        }
    }
    for (int r = 0; r < m.nCells; ++r)
        if (m.indexELL[r] != r) return "row " + std::to_string(r) + ": column 0 is not the diagonal";
    for (int kind = 0; kind < kBoundaryKinds; ++kind) {
        const std::string problem = CheckList(m, m.boundary[kind], BoundaryKindName(static_cast<BoundaryKind>(kind)));
        if (!problem.empty()) return problem;
    }
    std::string problem = CheckList(m, m.inOutlet, "inOutlet");
    if (problem.empty()) problem = CheckRowList(m, m.map2CellPB, "map2CellPB");
    if (problem.empty()) problem = CheckRowList(m, m.map2CellPE, "map2CellPE");
    if (problem.empty()) problem = CheckRowList(m, m.par2CellP, "par2CellP");
    if (!problem.empty()) return problem;
    PositionSet par{m, {}, {}};
    for (int f = 0; f < m.par.size(); ++f) {
        const std::string who = "partition face " + std::to_string(f);
        if (!par.Take(m.par.mapPx[f], m.par.mapPy[f], who) || !par.Take(m.par.mapEx[f], m.par.mapEy[f], who))
            return par.problem;
        if (m.par.ijP[f] >= m.nCells || m.par.ijE[f] < m.nCells) return who + ": P must be owned and E a halo copy";
    }
    return "";
}

}  // namespace rvzmesh
