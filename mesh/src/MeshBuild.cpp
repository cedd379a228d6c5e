// From raw topology to the mesh arrays: face matching, geometry, boundary
// lists and slots, the ELL pattern and the slot maps.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>
#include <queue>
#include <unordered_map>

#include "MeshInternal.h"
#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

MeshError::MeshError(const std::string& file, int line, const std::string& message)
    : std::runtime_error(file + ":" + std::to_string(line) + ": " + message), file_(file), line_(line),
      message_(message)
{
}

const char* BoundaryKindName(BoundaryKind kind)
{
    static const char* const names[kBoundaryKinds] = {"inlet", "outlet", "wall", "symmetry"};
    return names[static_cast<int>(kind)];
}

int NodeCount(CellShape shape)
{
    switch (shape) {
    case CellShape::Tetrahedron: return 4;
    case CellShape::Hexahedron: return 8;
    case CellShape::Prism: return 6;
    case CellShape::Pyramid: return 5;
    }
    return 0;
}

void MeshInput::AddCell(CellShape s, const std::vector<int>& nodes, int line)
{
    shape.push_back(s);
    cellNodes.insert(cellNodes.end(), nodes.begin(), nodes.end());
    cellStart.push_back(static_cast<int>(cellNodes.size()));
    cellLine.push_back(line);
}

int MeshInput::Group(const std::string& name)
{
    for (size_t g = 0; g < groupNames.size(); ++g)
        if (groupNames[g] == name) return static_cast<int>(g);
    groupNames.push_back(name);
    return static_cast<int>(groupNames.size()) - 1;
}

int Mesh::GroupIndex(const std::string& name) const
{
    for (size_t g = 0; g < groupNames.size(); ++g)
        if (groupNames[g] == name) return static_cast<int>(g);
    return -1;
}

void MeshInput::AddBoundaryFace(BoundaryKind kind, const std::vector<int>& nodes, int line, int group)
{
    faceKind.push_back(kind);
    faceGroup.resize(faceKind.size() - 1, -1);
    faceGroup.push_back(group);
    faceNodes.insert(faceNodes.end(), nodes.begin(), nodes.end());
    faceStart.push_back(static_cast<int>(faceNodes.size()));
    faceLine.push_back(line);
}

namespace {

using detail::Vec3;

// The faces of each shape, node positions in the cell's (Gmsh) order, each
// listed so that its area vector points out of the cell.
const std::vector<std::vector<int>>& LocalFaces(CellShape shape)
{
    static const std::vector<std::vector<int>> tet = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
    static const std::vector<std::vector<int>> hex = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                                      {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
    static const std::vector<std::vector<int>> prism = {{0, 2, 1}, {3, 4, 5}, {0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}};
    static const std::vector<std::vector<int>> pyramid = {{0, 3, 2, 1}, {0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}};
    switch (shape) {
    case CellShape::Tetrahedron: return tet;
    case CellShape::Hexahedron: return hex;
    case CellShape::Prism: return prism;
    case CellShape::Pyramid: return pyramid;
    }
    return tet;
}

using FaceKey = std::array<int, 4>;

FaceKey KeyOf(const std::vector<int>& nodes)
{
    FaceKey key{-1, -1, -1, -1};
    std::copy(nodes.begin(), nodes.end(), key.begin());
    std::sort(key.begin(), key.begin() + static_cast<long>(nodes.size()));
    return key;
}

struct FaceKeyHash {
    size_t operator()(const FaceKey& k) const
    {
        size_t h = 1469598103934665603ull;
        for (int v : k) h = (h ^ static_cast<size_t>(static_cast<unsigned>(v))) * 1099511628211ull;
        return h;
    }
};

std::string NodeListText(const std::vector<int>& nodes)
{
    std::string text;
    for (int n : nodes) text += (text.empty() ? "" : " ") + std::to_string(n + 1);
    return text;
}

// A cell face: outward node list and the cells that share it.
struct FaceRecord {
    std::vector<int> nodes;  // outward from cell a
    int a = -1, b = -1;
    int boundary = -1;       // index of the input boundary face covering it
};

struct Topology {
    std::vector<FaceRecord> faces;
};

Topology MatchFaces(const MeshInput& in)
{
    Topology topo;
    std::unordered_map<FaceKey, int, FaceKeyHash> index;
    index.reserve(static_cast<size_t>(in.nCells()) * 4);
    for (int c = 0; c < in.nCells(); ++c) {
        const int* nodes = in.cellNodes.data() + in.cellStart[c];
        for (const auto& local : LocalFaces(in.shape[c])) {
            std::vector<int> faceNodes;
            for (int p : local) faceNodes.push_back(nodes[p]);
            const auto [it, fresh] = index.emplace(KeyOf(faceNodes), static_cast<int>(topo.faces.size()));
            if (fresh) {
                FaceRecord r;
                r.nodes = faceNodes;
                r.a = c;
                topo.faces.push_back(r);
                continue;
            }
            FaceRecord& r = topo.faces[it->second];
            if (r.b >= 0)
                throw MeshError(in.source, in.cellLine[c],
                                "face (nodes " + NodeListText(faceNodes) + ") of cell " + std::to_string(c) +
                                    " is shared by more than two cells");
            r.b = c;
        }
    }
    for (int k = 0; k + 1 < static_cast<int>(in.faceStart.size()); ++k) {
        const std::vector<int> nodes(in.faceNodes.begin() + in.faceStart[k], in.faceNodes.begin() + in.faceStart[k + 1]);
        const auto it = index.find(KeyOf(nodes));
        if (it == index.end() || topo.faces[it->second].b >= 0)
            throw MeshError(in.source, in.faceLine[k],
                            "boundary face (nodes " + NodeListText(nodes) + ") is not a face on the boundary of the cells");
        FaceRecord& r = topo.faces[it->second];
        if (r.boundary >= 0)
            throw MeshError(in.source, in.faceLine[k],
                            "boundary face (nodes " + NodeListText(nodes) + ") belongs to two boundary groups");
        r.boundary = k;
    }
    for (const FaceRecord& r : topo.faces)
        if (r.b < 0 && r.boundary < 0)
            throw MeshError(in.source, in.cellLine[r.a],
                            "face (nodes " + NodeListText(r.nodes) + ") of cell " + std::to_string(r.a) +
                                " lies on the boundary but in no named boundary group (inlet, outlet, wall, symmetry)");
    return topo;
}

// Reverse Cuthill-McKee order of the cell graph: order[newIndex] = old cell.
std::vector<int> ReverseCuthillMcKee(int nCells, const Topology& topo)
{
    std::vector<std::vector<int>> adjacent(static_cast<size_t>(nCells));
    for (const FaceRecord& r : topo.faces)
        if (r.b >= 0) {
            adjacent[r.a].push_back(r.b);
            adjacent[r.b].push_back(r.a);
        }
    auto degree = [&](int c) { return adjacent[c].size(); };
    std::vector<int> byDegree(static_cast<size_t>(nCells));
    std::iota(byDegree.begin(), byDegree.end(), 0);
    std::stable_sort(byDegree.begin(), byDegree.end(), [&](int p, int q) { return degree(p) < degree(q); });
    std::vector<char> seen(static_cast<size_t>(nCells), 0);
    std::vector<int> order;
    order.reserve(static_cast<size_t>(nCells));
    for (int start : byDegree) {
        if (seen[start]) continue;
        seen[start] = 1;
        size_t head = order.size();
        order.push_back(start);
        while (head < order.size()) {
            std::vector<int> next;
            for (int n : adjacent[order[head++]])
                if (!seen[n]) {
                    seen[n] = 1;
                    next.push_back(n);
                }
            std::stable_sort(next.begin(), next.end(), [&](int p, int q) {
                return degree(p) != degree(q) ? degree(p) < degree(q) : p < q;
            });
            order.insert(order.end(), next.begin(), next.end());
        }
    }
    std::reverse(order.begin(), order.end());
    return order;
}

MeshInput Reordered(const MeshInput& in, const std::vector<int>& order)
{
    MeshInput out;
    out.source = in.source;
    out.x = in.x;
    out.y = in.y;
    out.z = in.z;
    for (int old : order)
        out.AddCell(in.shape[old],
                    std::vector<int>(in.cellNodes.begin() + in.cellStart[old], in.cellNodes.begin() + in.cellStart[old + 1]),
                    in.cellLine[old]);
    out.faceKind = in.faceKind;
    out.faceStart = in.faceStart;
    out.faceNodes = in.faceNodes;
    out.faceLine = in.faceLine;
    out.groupNames = in.groupNames;
    out.faceGroup = in.faceGroup;
    return out;
}

Vec3 NodeAt(const MeshInput& in, int n) { return Vec3{in.x[n], in.y[n], in.z[n]}; }

// Area vector and centroid of a polygon: a fan of triangles around the
// vertex average; the centroid weights each triangle by its area vector's
// projection on the whole face's.
struct FaceGeometry {
    Vec3 S, centre;
    std::vector<std::array<Vec3, 3>> triangles;
};

FaceGeometry GeometryOf(const MeshInput& in, const std::vector<int>& nodes)
{
    FaceGeometry g;
    const int n = static_cast<int>(nodes.size());
    if (n == 3) {
        g.triangles.push_back({NodeAt(in, nodes[0]), NodeAt(in, nodes[1]), NodeAt(in, nodes[2])});
    } else {
        Vec3 mid{0, 0, 0};
        for (int v : nodes) mid = mid + NodeAt(in, v);
        mid = mid * (1.0 / n);
        for (int i = 0; i < n; ++i) g.triangles.push_back({mid, NodeAt(in, nodes[i]), NodeAt(in, nodes[(i + 1) % n])});
    }
    std::vector<Vec3> parts;
    g.S = Vec3{0, 0, 0};
    for (const auto& t : g.triangles) {
        parts.push_back(detail::Cross(t[1] - t[0], t[2] - t[0]) * 0.5);
        g.S = g.S + parts.back();
    }
    double weightSum = 0.0;
    g.centre = Vec3{0, 0, 0};
    for (size_t i = 0; i < parts.size(); ++i) {
        const double w = detail::Dot(parts[i], g.S);
        const auto& t = g.triangles[i];
        g.centre = g.centre + (t[0] + t[1] + t[2]) * (w / 3.0);
        weightSum += w;
    }
    g.centre = g.centre * (1.0 / weightSum);
    return g;
}

// Volume and centroid from the tetrahedra between the vertex average and
// the (outward) face triangles.
void CellGeometry(const MeshInput& in, int c, const std::vector<FaceGeometry>& faces, double& volume, Vec3& centre)
{
    Vec3 apex{0, 0, 0};
    const int n = in.cellStart[c + 1] - in.cellStart[c];
    for (int k = in.cellStart[c]; k < in.cellStart[c + 1]; ++k) apex = apex + NodeAt(in, in.cellNodes[k]);
    apex = apex * (1.0 / n);
    volume = 0.0;
    centre = Vec3{0, 0, 0};
    for (const FaceGeometry& f : faces)
        for (const auto& t : f.triangles) {
            const double v = detail::Dot(t[0] - apex, detail::Cross(t[1] - apex, t[2] - apex)) / 6.0;
            volume += v;
            centre = centre + (apex + t[0] + t[1] + t[2]) * (v / 4.0);
        }
    centre = centre * (1.0 / volume);
}

// 1 - le is then exact, so a face seen from its other side (weight 1 - le)
// interpolates with the same bits.
double ExactComplementWeight(double le) { return 1.0 - (1.0 - le); }

}  // namespace

namespace detail {

void FillBoundaryList(BoundaryList& list, const std::vector<detail::BoundaryEntry>& entries, int firstSlot, const Mesh& mesh)
{
    std::map<int, int> seen;
    for (size_t k = 0; k < entries.size(); ++k) {
        const detail::BoundaryEntry& e = entries[k];
        const double area = Norm(e.S);
        const Vec3 n = e.S * (1.0 / area);
        const Vec3 d = Vec3{mesh.xc[e.cell], mesh.yc[e.cell], mesh.zc[e.cell]};
        list.slot.push_back(firstSlot + static_cast<int>(k));
        list.cell.push_back(e.cell);
        list.group.push_back(e.group);
        list.sx.push_back(e.S.x);
        list.sy.push_back(e.S.y);
        list.sz.push_back(e.S.z);
        list.area.push_back(area);
        list.surfDist.push_back(area / Dot(e.centre - d, n));
        const int column = seen[e.cell]++;
        if (column == 0) list.rows.push_back(e.cell);
        list.mapPx.push_back(e.cell);
        list.mapPy.push_back(column);
    }
}

int LargestColumnUse(const BoundaryList& list)
{
    int largest = 0;
    for (int c : list.mapPy) largest = std::max(largest, c + 1);
    return largest;
}

}  // namespace detail

Mesh BuildMesh(const MeshInput& original, const BuildOptions& options)
{
    const int nNodes = static_cast<int>(original.x.size());
    for (int c = 0; c < original.nCells(); ++c) {
        if (original.cellStart[c + 1] - original.cellStart[c] != NodeCount(original.shape[c]))
            throw MeshError(original.source, original.cellLine[c],
                            "cell " + std::to_string(c) + " has " +
                                std::to_string(original.cellStart[c + 1] - original.cellStart[c]) +
                                " nodes; its shape has " + std::to_string(NodeCount(original.shape[c])));
    }
    for (int c = 0; c < original.nCells(); ++c)
        for (int k = original.cellStart[c]; k < original.cellStart[c + 1]; ++k)
            if (original.cellNodes[k] < 0 || original.cellNodes[k] >= nNodes)
                throw MeshError(original.source, original.cellLine[c],
                                "cell " + std::to_string(c) + " refers to node " +
                                    std::to_string(original.cellNodes[k] + 1) + ", which does not exist");
    if (original.nCells() == 0) throw MeshError(original.source, 0, "the mesh has no cells");

    Topology topo = MatchFaces(original);
    MeshInput renumbered;
    const MeshInput* inp = &original;
    if (options.renumber) {
        renumbered = Reordered(original, ReverseCuthillMcKee(original.nCells(), topo));
        topo = MatchFaces(renumbered);
        inp = &renumbered;
    }
    const MeshInput& in = *inp;
    const int nCells = in.nCells();

    // Geometry of every face (outward from cell a) and every cell.
    std::vector<FaceGeometry> faceGeometry;
    faceGeometry.reserve(topo.faces.size());
    std::vector<std::vector<int>> facesOfCell(static_cast<size_t>(nCells));
    for (size_t f = 0; f < topo.faces.size(); ++f) {
        faceGeometry.push_back(GeometryOf(in, topo.faces[f].nodes));
        facesOfCell[topo.faces[f].a].push_back(static_cast<int>(f));
        if (topo.faces[f].b >= 0) facesOfCell[topo.faces[f].b].push_back(static_cast<int>(f));
    }

    Mesh mesh;
    mesh.source = in.source;
    // The group of boundary face k: its own, or the one named after its
    // kind (added after the named ones when first used).
    mesh.groupNames = in.groupNames;
    auto groupOf = [&](int k) {
        const int own = k < static_cast<int>(in.faceGroup.size()) ? in.faceGroup[k] : -1;
        if (own >= 0 && own < static_cast<int>(mesh.groupNames.size())) return own;
        const std::string name = BoundaryKindName(in.faceKind[k]);
        const int known = mesh.GroupIndex(name);
        if (known >= 0) return known;
        mesh.groupNames.push_back(name);
        return static_cast<int>(mesh.groupNames.size()) - 1;
    };
    mesh.nCells = nCells;
    mesh.nodeX = in.x;
    mesh.nodeY = in.y;
    mesh.nodeZ = in.z;
    mesh.shape = in.shape;
    mesh.cellStart = in.cellStart;
    mesh.cellNodes = in.cellNodes;
    mesh.volume.resize(static_cast<size_t>(nCells));
    std::vector<Vec3> centre(static_cast<size_t>(nCells));
    for (int c = 0; c < nCells; ++c) {
        std::vector<FaceGeometry> outward;
        for (int f : facesOfCell[c]) {
            FaceGeometry g = faceGeometry[f];
            if (topo.faces[f].a != c) {
                g.S = g.S * -1.0;
                for (auto& t : g.triangles) std::swap(t[1], t[2]);
            }
            outward.push_back(g);
        }
        CellGeometry(in, c, outward, mesh.volume[c], centre[c]);
        if (!(mesh.volume[c] > 0.0)) {
            char text[160];
            std::snprintf(text, sizeof text, "cell %d is inside out: its volume is %.6g", c, mesh.volume[c]);
            throw MeshError(in.source, in.cellLine[c], text);
        }
    }

    // Interior faces ordered by (owner, neighbour), owner the lower index.
    struct Interior {
        int P, E, record;
    };
    std::vector<Interior> interior;
    std::array<std::vector<detail::BoundaryEntry>, kBoundaryKinds> lists;
    for (size_t f = 0; f < topo.faces.size(); ++f) {
        const FaceRecord& r = topo.faces[f];
        if (r.b >= 0) {
            interior.push_back(Interior{std::min(r.a, r.b), std::max(r.a, r.b), static_cast<int>(f)});
        } else {
            lists[static_cast<int>(in.faceKind[r.boundary])].push_back(
                detail::BoundaryEntry{r.a, faceGeometry[f].S, faceGeometry[f].centre, groupOf(r.boundary)});
        }
    }
    std::sort(interior.begin(), interior.end(),
              [](const Interior& p, const Interior& q) { return p.P != q.P ? p.P < q.P : p.E < q.E; });
    for (auto& list : lists)
        std::stable_sort(list.begin(), list.end(),
                         [](const detail::BoundaryEntry& p, const detail::BoundaryEntry& q) { return p.cell < q.cell; });

    mesh.nFaces = mesh.nInnerFaces = static_cast<int>(interior.size());
    mesh.nBoundaryFaces = 0;
    for (const auto& list : lists) mesh.nBoundaryFaces += static_cast<int>(list.size());
    mesh.nExtended = nCells + mesh.nBoundaryFaces;
    mesh.xc.resize(static_cast<size_t>(mesh.nExtended));
    mesh.yc.resize(static_cast<size_t>(mesh.nExtended));
    mesh.zc.resize(static_cast<size_t>(mesh.nExtended));
    for (int c = 0; c < nCells; ++c) {
        mesh.xc[c] = centre[c].x;
        mesh.yc[c] = centre[c].y;
        mesh.zc[c] = centre[c].z;
    }

    for (const Interior& face : interior) {
        const FaceGeometry& g = faceGeometry[face.record];
        const Vec3 S = topo.faces[face.record].a == face.P ? g.S : g.S * -1.0;
        const double area = detail::Norm(S);
        const Vec3 n = S * (1.0 / area);
        const double toFace = detail::Dot(g.centre - centre[face.P], n);
        const double fromFace = detail::Dot(centre[face.E] - g.centre, n);
        mesh.ijP.push_back(face.P);
        mesh.ijE.push_back(face.E);
        mesh.sx.push_back(S.x);
        mesh.sy.push_back(S.y);
        mesh.sz.push_back(S.z);
        mesh.area.push_back(area);
        mesh.le.push_back(ExactComplementWeight(toFace / (toFace + fromFace)));
        mesh.xe.push_back(g.centre.x);
        mesh.ye.push_back(g.centre.y);
        mesh.ze.push_back(g.centre.z);
    }

    // Boundary lists, their slots and the coordinates at the slots.
    int slot = nCells;
    for (int kind = 0; kind < kBoundaryKinds; ++kind) {
        detail::FillBoundaryList(mesh.boundary[kind], lists[kind], slot, mesh);
        for (const detail::BoundaryEntry& e : lists[kind]) {
            mesh.xc[slot] = e.centre.x;
            mesh.yc[slot] = e.centre.y;
            mesh.zc[slot] = e.centre.z;
            ++slot;
        }
    }
    detail::BuildInOutlet(mesh);

    // ELL pattern and slot maps.
    std::vector<std::vector<int>> neighbours(static_cast<size_t>(nCells));
    for (int f = 0; f < mesh.nFaces; ++f) {
        neighbours[mesh.ijP[f]].push_back(mesh.ijE[f]);
        neighbours[mesh.ijE[f]].push_back(mesh.ijP[f]);
    }
    int columns = 1;
    for (auto& row : neighbours) {
        std::sort(row.begin(), row.end());
        columns = std::max(columns, 1 + static_cast<int>(row.size()));
    }
    for (const BoundaryList& list : mesh.boundary) columns = std::max(columns, detail::LargestColumnUse(list));
    columns = std::max(columns, detail::LargestColumnUse(mesh.inOutlet));
    mesh.nColumnPerRow = columns;
    mesh.newNNU = PaddedRows(nCells);
    mesh.indexELL.assign(static_cast<size_t>(mesh.newNNU) * columns, -1);
    for (int r = 0; r < nCells; ++r) {
        mesh.indexELL[r] = r;
        for (size_t j = 0; j < neighbours[r].size(); ++j)
            mesh.indexELL[(j + 1) * static_cast<size_t>(mesh.newNNU) + r] = neighbours[r][j];
        if (!neighbours[r].empty()) mesh.map2CellPB.push_back(r);
    }
    auto columnOf = [&](int row, int neighbour) {
        const auto& list = neighbours[row];
        return 1 + static_cast<int>(std::lower_bound(list.begin(), list.end(), neighbour) - list.begin());
    };
    for (int f = 0; f < mesh.nFaces; ++f) {
        mesh.mapPx.push_back(mesh.ijP[f]);
        mesh.mapPy.push_back(columnOf(mesh.ijP[f], mesh.ijE[f]));
        mesh.mapEx.push_back(mesh.ijE[f]);
        mesh.mapEy.push_back(columnOf(mesh.ijE[f], mesh.ijP[f]));
    }
    return mesh;
}

namespace detail {

void BuildInOutlet(Mesh& mesh)
{
    BoundaryList& io = mesh.inOutlet;
    io = BoundaryList{};
    std::map<int, int> seen;
    for (BoundaryKind kind : {BoundaryKind::Inlet, BoundaryKind::Outlet}) {
        const BoundaryList& list = mesh.list(kind);
        for (int k = 0; k < list.size(); ++k) {
            io.slot.push_back(list.slot[k]);
            io.cell.push_back(list.cell[k]);
            if (!list.group.empty()) io.group.push_back(list.group[k]);
            io.sx.push_back(list.sx[k]);
            io.sy.push_back(list.sy[k]);
            io.sz.push_back(list.sz[k]);
            io.area.push_back(list.area[k]);
            io.surfDist.push_back(list.surfDist[k]);
            const int column = seen[list.cell[k]]++;
            if (column == 0) io.rows.push_back(list.cell[k]);
            io.mapPx.push_back(list.cell[k]);
            io.mapPy.push_back(column);
        }
    }
}

}  // namespace detail

}  // namespace rvzmesh
