// The mesh toolkit: closed cells, volumes, slot maps, renumbering,
// partitions, Gmsh input (hand-written and Gmsh-generated) and bad input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "rvzgpu_mesh/Mesh.h"
#include "test_support.h"

using namespace rvzmesh;

namespace {

// Files this run wrote, removed when the program ends.
struct TempFiles {
    std::set<std::string> paths;
    ~TempFiles()
    {
        for (const std::string& p : paths) std::remove(p.c_str());
    }
};
TempFiles tempFiles;

std::string TempPath(const std::string& name)
{
    const char* dir = std::getenv("TMPDIR");
    // The process id keeps concurrent runs (several build trees) apart.
    const std::string path =
        std::string(dir != nullptr ? dir : "/tmp") + "/rvzgpu_mesh_test_" + std::to_string(getpid()) + "_" + name;
    tempFiles.paths.insert(path);
    return path;
}

void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path) << text;
}

// 1-based number of the first line that contains `needle` (0: none).
int LineOf(const std::string& text, const std::string& needle)
{
    std::istringstream in(text);
    std::string line;
    for (int n = 1; std::getline(in, line); ++n)
        if (line.find(needle) != std::string::npos) return n;
    return 0;
}

// Sum over each cell of its outward area vectors, relative to the cell's
// total face area: zero for a closed cell.
double LargestOpening(const Mesh& m)
{
    const int n = m.nCells;
    std::vector<double> sx(n, 0.0), sy(n, 0.0), sz(n, 0.0), total(n, 0.0);
    auto add = [&](int c, double x, double y, double z, double a) {
        if (c >= n) return;
        sx[c] += x;
        sy[c] += y;
        sz[c] += z;
        total[c] += a;
    };
    for (int f = 0; f < m.nFaces; ++f) {
        add(m.ijP[f], m.sx[f], m.sy[f], m.sz[f], m.area[f]);
        add(m.ijE[f], -m.sx[f], -m.sy[f], -m.sz[f], m.area[f]);
    }
    for (const BoundaryList& list : m.boundary)
        for (int k = 0; k < list.size(); ++k) add(list.cell[k], list.sx[k], list.sy[k], list.sz[k], list.area[k]);
    double worst = 0.0;
    for (int c = 0; c < n; ++c)
        worst = std::max(worst, std::sqrt(sx[c] * sx[c] + sy[c] * sy[c] + sz[c] * sz[c]) / total[c]);
    return worst;
}

double TotalVolume(const Mesh& m)
{
    return std::accumulate(m.volume.begin(), m.volume.begin() + m.nCells, 0.0);
}

// Checks every structural property a mesh must have.
void ExpectSoundMesh(const Mesh& m, double volume)
{
    EXPECT_EQ(CheckSlotMaps(m), "");
    EXPECT_LT(LargestOpening(m), 1e-13);
    EXPECT_NEAR(TotalVolume(m), volume, 1e-12 * volume);
    EXPECT_EQ(m.newNNU % 256, 0);
    EXPECT_GE(m.newNNU, m.nCells);
    EXPECT_EQ(m.nExtended, m.nCells + m.nHalo + m.nBoundaryFaces);
    for (int f = 0; f < m.nFaces; ++f) {
        ASSERT_GT(m.le[f], 0.0);
        ASSERT_LT(m.le[f], 1.0);
        ASSERT_EQ(1.0 - (1.0 - m.le[f]), m.le[f]);  // 1 - le is exact
    }
}

BoxOptions Box(int n, bool tets, double perturbation)
{
    BoxOptions o;
    o.nx = n;
    o.ny = n + 1;
    o.nz = n - 1;
    o.lx = 2.0;
    o.ly = 1.5;
    o.lz = 0.5;
    o.tetrahedra = tets;
    o.perturbation = perturbation;
    return o;
}

}  // namespace

// ---------------------------------------------------------------------------
// Geometry and maps of generated meshes
// ---------------------------------------------------------------------------

TEST(MeshGeometry, ClosedCellsVolumesAndSlotMapsOnGeneratedBoxes)
{
    for (bool tets : {false, true})
        for (double perturbation : {0.0, 0.3}) {
            SCOPED_TRACE(std::string(tets ? "tetrahedra" : "hexahedra") + " perturbation " + std::to_string(perturbation));
            const Mesh m = BuildMesh(MakeBox(Box(5, tets, perturbation)));
            EXPECT_EQ(m.nCells, 5 * 6 * 4 * (tets ? 6 : 1));
            ExpectSoundMesh(m, 2.0 * 1.5 * 0.5);
        }
    BoxOptions sheared = Box(4, false, 0.0);
    sheared.unevenPlanes = true;
    sheared.shear = 0.4;
    sheared.tilt = 0.3;
    ExpectSoundMesh(BuildMesh(MakeBox(sheared)), 2.0 * 1.5 * 0.5);
}

TEST(MeshGeometry, StructuredHexahedraHaveExactFacesWeightsAndLists)
{
    const Mesh m = BuildMesh(MakeBox(Box(4, false, 0.0)));
    const double hx = 0.5, hy = 0.3, hz = 0.5 / 3;
    for (int c = 0; c < m.nCells; ++c) ASSERT_NEAR(m.volume[c], hx * hy * hz, 1e-15);
    for (int f = 0; f < m.nFaces; ++f) {
        ASSERT_NEAR(m.le[f], 0.5, 1e-14);
        // The area vector points from P to E.
        const double along = m.sx[f] * (m.xc[m.ijE[f]] - m.xc[m.ijP[f]]) + m.sy[f] * (m.yc[m.ijE[f]] - m.yc[m.ijP[f]]) +
                             m.sz[f] * (m.zc[m.ijE[f]] - m.zc[m.ijP[f]]);
        ASSERT_GT(along, 0.0);
    }
    // Sides: x- inlet, x+ outlet, y and z- walls, z+ symmetry.
    EXPECT_EQ(m.list(BoundaryKind::Inlet).size(), 5 * 3);
    EXPECT_EQ(m.list(BoundaryKind::Outlet).size(), 5 * 3);
    EXPECT_EQ(m.list(BoundaryKind::Wall).size(), 2 * 4 * 3 + 4 * 5);
    EXPECT_EQ(m.list(BoundaryKind::Symmetry).size(), 4 * 5);
    EXPECT_EQ(m.inOutlet.size(), 30);
    // Slots run kind after kind, after the cells; coordinates there are the
    // face centroids; the inlet faces look along -x.
    const BoundaryList& inlet = m.list(BoundaryKind::Inlet);
    EXPECT_EQ(inlet.slot.front(), m.nCells);
    EXPECT_EQ(m.list(BoundaryKind::Outlet).slot.front(), m.nCells + inlet.size());
    for (int k = 0; k < inlet.size(); ++k) {
        EXPECT_DOUBLE_EQ(m.xc[inlet.slot[k]], 0.0);
        EXPECT_NEAR(inlet.sx[k], -hy * hz, 1e-15);
        EXPECT_NEAR(inlet.surfDist[k], hy * hz / (hx / 2), 1e-12);
    }
    // A corner cell holds three wall faces: columns 0, 1, 2 of its row.
    const BoundaryList& wall = m.list(BoundaryKind::Wall);
    std::map<int, std::vector<int>> columns;
    for (int k = 0; k < wall.size(); ++k) columns[wall.cell[k]].push_back(wall.mapPy[k]);
    EXPECT_EQ(columns[0], (std::vector<int>{0, 1}));  // y- and z- walls; x- is the inlet
    EXPECT_EQ(m.nColumnPerRow, 7);
}

// Two cells of lengths 0.5 and 1.5 along x: the face lies 0.25 from the
// owner's centroid and 0.75 from the neighbour's, so the weight of E is
// 0.25 / (0.25 + 0.75).
TEST(MeshGeometry, InterpolationWeightFollowsTheDistancesToTheFace)
{
    BoxOptions o;
    o.nx = 2, o.ny = 1, o.nz = 1;
    o.lx = 2.0;
    MeshInput in = MakeBox(o);
    for (double& x : in.x)
        if (x == 1.0) x = 0.5;
    const Mesh m = BuildMesh(in);
    ASSERT_EQ(m.nFaces, 1);
    EXPECT_EQ(m.xc[m.ijP[0]], 0.25);
    EXPECT_DOUBLE_EQ(m.le[0], 0.25);
}

// One parallelepiped, x' = x + s y + s z: centroid (1/2 + s, 1/2, 1/2).
// The y and z faces are planes at normal distance 1/2 from it (area 1);
// the x faces are the planes x - s y - s z = 0 and 1, of area sqrt(1 + 2s^2)
// and normal distance 1/(2 sqrt(1 + 2s^2)). The wall factor is the area
// over the normal distance, not over the distance between the centroids.
TEST(MeshGeometry, WallFactorUsesTheNormalDistanceOnASkewedCell)
{
    BoxOptions o;
    o.nx = o.ny = o.nz = 1;
    o.shear = 0.5;
    const Mesh m = BuildMesh(MakeBox(o));
    const double s2 = 0.25;
    int faces = 0;
    for (const BoundaryList& list : m.boundary)
        for (int k = 0; k < list.size(); ++k, ++faces) {
            const bool xFace = std::fabs(list.sx[k]) > 0.5;
            EXPECT_NEAR(list.surfDist[k], xFace ? 2.0 * (1.0 + 2.0 * s2) : 2.0, 1e-13) << faces;
        }
    EXPECT_EQ(faces, 6);
}

TEST(MeshGeometry, ReverseCuthillMcKeeNarrowsAShuffledNumbering)
{
    MeshInput in = MakeBox(Box(6, false, 0.2));
    // Shuffle the cells.
    std::vector<int> order(in.nCells());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    MeshInput shuffled;
    shuffled.x = in.x;
    shuffled.y = in.y;
    shuffled.z = in.z;
    for (int c : order)
        shuffled.AddCell(in.shape[c], std::vector<int>(in.cellNodes.begin() + in.cellStart[c],
                                                        in.cellNodes.begin() + in.cellStart[c + 1]));
    shuffled.faceKind = in.faceKind;
    shuffled.faceStart = in.faceStart;
    shuffled.faceNodes = in.faceNodes;
    shuffled.faceLine = in.faceLine;
    auto bandwidth = [](const Mesh& m) {
        int b = 0;
        for (int f = 0; f < m.nFaces; ++f) b = std::max(b, m.ijE[f] - m.ijP[f]);
        return b;
    };
    const Mesh plain = BuildMesh(shuffled);
    BuildOptions rcm;
    rcm.renumber = true;
    const Mesh renumbered = BuildMesh(shuffled, rcm);
    ExpectSoundMesh(renumbered, 2.0 * 1.5 * 0.5);
    EXPECT_EQ(renumbered.nFaces, plain.nFaces);
    EXPECT_LT(bandwidth(renumbered), bandwidth(plain) / 4);
    EXPECT_LE(bandwidth(renumbered), 2 * 7 * 6);  // about one layer of the 6 x 7 x 5 box
}

// ---------------------------------------------------------------------------
// Partitions
// ---------------------------------------------------------------------------

TEST(MeshPartition, PartsCoverTheMeshWithConsistentHalosAndInterfaces)
{
    const Mesh whole = BuildMesh(MakeBox(Box(6, true, 0.25)));
    for (int k : {2, 3, 4}) {
        SCOPED_TRACE("parts " + std::to_string(k));
        const std::vector<int> cellPart = PartitionCells(whole, k);
        const std::vector<Partition> parts = SplitMesh(whole, cellPart, k);
        std::vector<int> owned(whole.nCells, 0);
        int boundaryFaces = 0, parFaces = 0, innerFaces = 0;
        for (const Partition& p : parts) {
            const Mesh& m = p.local;
            EXPECT_EQ(CheckSlotMaps(m), "");
            EXPECT_GT(m.nCells, whole.nCells / k / 2);  // balanced
            EXPECT_EQ(m.newNNU, PaddedRows(m.nCells + m.nHalo));
            for (int c = 0; c < m.nCells; ++c) ++owned[p.globalCell[c]];
            for (int h = 0; h < m.nHalo; ++h) EXPECT_NE(cellPart[p.globalCell[m.nCells + h]], p.part);
            EXPECT_EQ(m.par.size(), m.nFaces - m.nInnerFaces);
            EXPECT_EQ(static_cast<int>(m.map2CellPE.size()), m.nCells);
            boundaryFaces += m.nBoundaryFaces;
            parFaces += m.par.size();
            innerFaces += m.nInnerFaces;
            // Coordinates of every local index are those of the global one.
            const std::vector<double> x = ToLocal(p, whole.xc);
            EXPECT_EQ(x, m.xc);
        }
        for (int c = 0; c < whole.nCells; ++c) ASSERT_EQ(owned[c], 1);
        EXPECT_EQ(boundaryFaces, whole.nBoundaryFaces);
        EXPECT_EQ(innerFaces + parFaces / 2, whole.nFaces);  // each interface face is seen from both sides
        // The exchange lists deliver each halo copy its owner's value.
        std::vector<std::vector<double>> fields;
        for (const Partition& p : parts) {
            std::vector<double> f(p.local.nExtended, -1.0);
            for (int c = 0; c < p.local.nCells; ++c) f[c] = p.globalCell[c] * 10.0;
            fields.push_back(f);
        }
        RefreshHalo(parts, fields);
        for (const Partition& p : parts)
            for (int h = 0; h < p.local.nHalo; ++h)
                ASSERT_EQ(fields[p.part][p.local.nCells + h], p.globalCell[p.local.nCells + h] * 10.0);
    }
}

// ---------------------------------------------------------------------------
// Gmsh input
// ---------------------------------------------------------------------------

namespace {

// A small MSH 4.1 ASCII writer for hand-made meshes: nodes 1..n, one
// volume, one surface entity per boundary group.
struct MshText {
    std::vector<std::array<double, 3>> nodes;
    struct Element {
        int type;
        std::vector<int> nodes;
    };
    std::vector<Element> cells;
    std::vector<std::pair<std::string, std::vector<Element>>> groups;  // name ("" = no group)

    std::string Text() const
    {
        std::ostringstream s;
        s << "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n$PhysicalNames\n";
        int named = 0;
        for (const auto& g : groups) named += g.first.empty() ? 0 : 1;
        s << named << "\n";
        for (size_t g = 0; g < groups.size(); ++g)
            if (!groups[g].first.empty()) s << "2 " << g + 1 << " \"" << groups[g].first << "\"\n";
        s << "$EndPhysicalNames\n$Entities\n0 0 " << groups.size() << " 1\n";
        for (size_t g = 0; g < groups.size(); ++g)
            s << g + 1 << " 0 0 0 1 1 1 " << (groups[g].first.empty() ? "0" : "1 " + std::to_string(g + 1)) << " 0\n";
        s << "1 0 0 0 1 1 1 0 0\n$EndEntities\n$Nodes\n1 " << nodes.size() << " 1 " << nodes.size() << "\n3 1 0 "
          << nodes.size() << "\n";
        for (size_t n = 0; n < nodes.size(); ++n) s << n + 1 << "\n";
        for (const auto& p : nodes) s << p[0] << " " << p[1] << " " << p[2] << "\n";
        size_t count = 0;
        for (const auto& c : cells) count += 1, (void)c;
        for (const auto& g : groups) count += g.second.size();
        s << "$EndNodes\n$Elements\n" << cells.size() + groups.size() << " " << count << " 1 " << count << "\n";
        int tag = 1;
        for (const auto& c : cells) {
            s << "3 1 " << c.type << " 1\n" << tag++;
            for (int n : c.nodes) s << " " << n;
            s << "\n";
        }
        for (size_t g = 0; g < groups.size(); ++g) {
            const auto& elements = groups[g].second;
            if (elements.empty()) continue;
            s << "2 " << g + 1 << " " << elements.front().type << " " << elements.size() << "\n";
            for (const auto& e : elements) {
                s << tag++;
                for (int n : e.nodes) s << " " << n;
                s << "\n";
            }
        }
        s << "$EndElements\n";
        return s.str();
    }
};

// A cube with a pyramid on top and a prism at its x+ side: every shape
// but the tetrahedron, volume 1 + 1/6 + 1/2.
MshText MixedShapes()
{
    MshText m;
    m.nodes = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1},
               {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 1.5}, {2, 0, 0}, {2, 0, 1}};
    m.cells = {{5, {1, 2, 3, 4, 5, 6, 7, 8}}, {7, {5, 6, 7, 8, 9}}, {6, {2, 10, 3, 6, 11, 7}}};
    m.groups = {{"inlet", {{3, {1, 4, 8, 5}}}},
                {"wall", {{3, {1, 2, 3, 4}}, {3, {1, 2, 6, 5}}, {3, {4, 3, 7, 8}}, {3, {2, 10, 11, 6}}}},
                {"wall", {{2, {5, 6, 9}}, {2, {6, 7, 9}}, {2, {7, 8, 9}}, {2, {8, 5, 9}}}},
                {"symmetry", {{2, {2, 10, 3}}, {2, {6, 11, 7}}}},
                {"outlet", {{3, {10, 3, 7, 11}}}}};
    return m;
}

bool HaveGmsh() { return std::system("gmsh --version > /dev/null 2>&1") == 0; }

// Meshes a .geo script with Gmsh into MSH 4.1 ASCII.
std::string RunGmsh(const std::string& name, const std::string& geo)
{
    const std::string geoPath = TempPath(name + ".geo");
    const std::string mshPath = TempPath(name + ".msh");
    WriteText(geoPath, geo);
    std::remove(mshPath.c_str());
    const std::string command = "gmsh -3 -format msh41 -o " + mshPath + " " + geoPath + " > /dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return mshPath;
}

}  // namespace

TEST(MeshGmsh, ReadsEveryCellShapeAndBoundaryKind)
{
    const std::string path = TempPath("mixed.msh");
    WriteText(path, MixedShapes().Text());
    const Mesh m = LoadGmsh(path);
    ASSERT_EQ(m.nCells, 3);
    EXPECT_EQ(m.nFaces, 2);
    ExpectSoundMesh(m, 1.0 + 1.0 / 6 + 0.5);
    EXPECT_NEAR(m.volume[1], 1.0 / 6, 1e-15);
    EXPECT_NEAR(m.zc[1], 1.0 + 0.5 / 4, 1e-15);  // a pyramid's centroid is a quarter up
    EXPECT_EQ(m.list(BoundaryKind::Inlet).size(), 1);
    EXPECT_EQ(m.list(BoundaryKind::Outlet).size(), 1);
    EXPECT_EQ(m.list(BoundaryKind::Wall).size(), 8);
    EXPECT_EQ(m.list(BoundaryKind::Symmetry).size(), 2);
    const BoundaryList& outlet = m.list(BoundaryKind::Outlet);
    EXPECT_NEAR(outlet.sx[0], 1.0, 1e-15);  // the slanted face (1,1,0)-(2,0,0) x 1 high, outward
    EXPECT_NEAR(outlet.sy[0], 1.0, 1e-15);
    // The VTK file lists the three cells with their types.
    const std::string vtk = TempPath("mixed.vtk");
    const std::vector<double> ids = {0, 1, 2};
    WriteVtk(vtk, m, {{"cell", &ids}});
    std::ifstream in(vtk);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("CELL_TYPES 3\n12\n14\n13\n"), std::string::npos);
    EXPECT_NE(text.find("SCALARS cell double 1"), std::string::npos);
}

TEST(MeshGmsh, NamedGroupsKeepTheirKindAndTheirName)
{
    // Two gates and two walls of the unit cube: every face keeps its
    // group through the build, the renumbering and the partition.
    MshText text;
    text.nodes = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1},
                  {2, 0, 0}, {2, 1, 0}, {2, 0, 1}, {2, 1, 1}};
    text.cells = {{5, {1, 2, 3, 4, 5, 6, 7, 8}}, {5, {2, 9, 10, 3, 6, 11, 12, 7}}};
    text.groups = {{"inlet_left", {{3, {1, 4, 8, 5}}}},
                   {"Inlet-2", {{3, {9, 10, 12, 11}}}},
                   {"wall", {{3, {1, 2, 3, 4}}, {3, {2, 9, 10, 3}}, {3, {5, 6, 7, 8}}, {3, {6, 11, 12, 7}}}},
                   {"wall_hot", {{3, {1, 2, 6, 5}}, {3, {2, 9, 11, 6}}, {3, {4, 3, 7, 8}}, {3, {3, 10, 12, 7}}}}};
    const std::string path = TempPath("groups.msh");
    WriteText(path, text.Text());
    for (bool renumber : {false, true}) {
        BuildOptions options;
        options.renumber = renumber;
        const Mesh m = LoadGmsh(path, options);
        ASSERT_EQ(m.list(BoundaryKind::Inlet).size(), 2);
        ASSERT_EQ(m.list(BoundaryKind::Wall).size(), 8);
        const int left = m.GroupIndex("inlet_left"), right = m.GroupIndex("Inlet-2");
        const int wall = m.GroupIndex("wall"), hot = m.GroupIndex("wall_hot");
        ASSERT_GE(left, 0);
        ASSERT_GE(right, 0);
        ASSERT_GE(wall, 0);
        ASSERT_GE(hot, 0);
        EXPECT_EQ(m.GroupIndex("inlet"), -1);
        const BoundaryList& in = m.list(BoundaryKind::Inlet);
        for (int k = 0; k < in.size(); ++k)
            EXPECT_EQ(in.group[k], in.sx[k] < 0 ? left : right) << "inlet entry " << k;
        const BoundaryList& w = m.list(BoundaryKind::Wall);
        for (int k = 0; k < w.size(); ++k)
            EXPECT_EQ(w.group[k], w.sz[k] != 0.0 ? wall : hot) << "wall entry " << k;
        ASSERT_EQ(m.inOutlet.group.size(), 2u);
        EXPECT_EQ(m.inOutlet.group[0], in.group[0]);
    }
    // A generator's face whose kind is changed afterwards moves to that
    // kind's group; explicit groups stay.
    MeshInput box = MakeBox(BoxOptions{});
    box.faceKind[0] = BoundaryKind::Outlet;
    const Mesh generated = BuildMesh(box);
    const BoundaryList& out = generated.list(BoundaryKind::Outlet);
    ASSERT_GT(out.size(), 0);
    for (int g : out.group) EXPECT_EQ(generated.groupNames[g], "outlet");
    const Mesh whole = LoadGmsh(path);
    const std::vector<Partition> parts = SplitMesh(whole, {0, 1}, 2);
    int gates = 0;
    for (const Partition& p : parts)
        for (int k = 0; k < p.local.list(BoundaryKind::Inlet).size(); ++k) {
            const int g = p.local.list(BoundaryKind::Inlet).group[k];
            EXPECT_TRUE(p.local.groupNames[g] == "inlet_left" || p.local.groupNames[g] == "Inlet-2");
            ++gates;
        }
    EXPECT_EQ(gates, 2);
    // A group whose name starts like a kind but is not one is refused.
    text.groups[1].first = "inletx";
    WriteText(path, text.Text());
    try {
        LoadGmsh(path);
        ADD_FAILURE() << "the group 'inletx' was accepted";
    } catch (const MeshError& e) {
        EXPECT_NE(std::string(e.what()).find("'inletx', which is not a boundary kind"), std::string::npos) << e.what();
    }
}

TEST(MeshGmsh, MeshesGeneratedByGmsh)
{
    if (rvztest::GmshWaived()) GTEST_SKIP() << "Gmsh waived on this machine (RVZGPU_TEST_WITHOUT_GMSH)";
    ASSERT_TRUE(HaveGmsh()) << "gmsh is required (scripts/debian-packages.txt)";
    const Mesh tets = LoadGmsh(RunGmsh("occbox",
                                       "SetFactory(\"OpenCASCADE\");\nBox(1) = {0, 0, 0, 1, 0.5, 0.25};\n"
                                       "Physical Surface(\"inlet\") = {1};\nPhysical Surface(\"outlet\") = {2};\n"
                                       "Physical Surface(\"wall\") = {3, 4, 5, 6};\nPhysical Volume(\"melt\") = {1};\n"
                                       "Mesh.MeshSizeMax = 0.1;\n"));
    EXPECT_GT(tets.nCells, 100);
    ExpectSoundMesh(tets, 0.125);
    EXPECT_GT(tets.list(BoundaryKind::Inlet).size(), 0);
    // Prisms (extruded triangles) and hexahedra (extruded quadrangles).
    for (bool quadrangles : {false, true}) {
        const std::string geo = std::string("Point(1) = {0, 0, 0, 0.25}; Point(2) = {1, 0, 0, 0.25};\n"
                                            "Point(3) = {1, 1, 0, 0.25}; Point(4) = {0, 1, 0, 0.25};\n"
                                            "Line(1) = {1, 2}; Line(2) = {2, 3}; Line(3) = {3, 4}; Line(4) = {4, 1};\n"
                                            "Curve Loop(1) = {1, 2, 3, 4}; Plane Surface(1) = {1};\n") +
                                (quadrangles ? "Recombine Surface{1};\n" : "") +
                                "out[] = Extrude {0, 0, 0.5} { Surface{1}; Layers{3}; Recombine; };\n"
                                "Physical Surface(\"wall\") = {1, out[0]};\nPhysical Surface(\"inlet\") = {out[2]};\n"
                                "Physical Surface(\"outlet\") = {out[4]};\n"
                                "Physical Surface(\"symmetry\") = {out[3], out[5]};\nPhysical Volume(\"melt\") = {out[1]};\n";
        const Mesh m = LoadGmsh(RunGmsh(quadrangles ? "hexes" : "prisms", geo));
        ASSERT_GT(m.nCells, 0);
        EXPECT_EQ(m.shape[0], quadrangles ? CellShape::Hexahedron : CellShape::Prism);
        ExpectSoundMesh(m, 0.5);
        EXPECT_GT(m.list(BoundaryKind::Symmetry).size(), 0);
    }
}

TEST(MeshGmsh, BadInputIsReportedWithFileAndLine)
{
    auto expectError = [](const std::string& name, const std::string& text, int line, const std::string& words) {
        SCOPED_TRACE(name);
        const std::string path = TempPath(name + ".msh");
        WriteText(path, text);
        try {
            LoadGmsh(path);
            ADD_FAILURE() << "no error";
        } catch (const MeshError& e) {
            EXPECT_EQ(e.file(), path);
            EXPECT_EQ(e.line(), line) << e.what();
            EXPECT_NE(e.message().find(words), std::string::npos) << e.what();
            EXPECT_EQ(std::string(e.what()), path + ":" + std::to_string(line) + ": " + e.message());
        }
    };
    const std::string good = MixedShapes().Text();

    try {
        ReadGmsh(TempPath("does-not-exist.msh"));
        ADD_FAILURE() << "no error for a missing file";
    } catch (const MeshError& e) {
        EXPECT_EQ(e.line(), 0);
        EXPECT_NE(e.message().find("cannot open"), std::string::npos);
    }

    std::string malformed = good;
    malformed.replace(malformed.find("0.5 0.5 1.5"), 3, "0.x");
    expectError("malformed", malformed, LineOf(good, "0.5 0.5 1.5"), "expected a number");

    std::string infinite = good;
    infinite.replace(infinite.find("0.5 0.5 1.5"), 3, "inf");
    expectError("infinite", infinite, LineOf(good, "0.5 0.5 1.5"), "node 9: the x coordinate 'inf' is not a finite");

    MshText noVolume = MixedShapes();
    noVolume.cells.clear();  // what Gmsh saves where physical surfaces but no physical volume are defined
    expectError("no-volume", noVolume.Text(), LineOf(noVolume.Text(), "$Elements"), "no physical volume");

    std::string unsupported = good;
    unsupported.replace(unsupported.find("3 1 7 1"), 7, "3 1 17 1");
    expectError("unsupported", unsupported, LineOf(good, "3 1 7 1"), "unsupported element type 17");

    MshText unnamed = MixedShapes();
    unnamed.groups.back().first = "";  // the outlet face loses its group
    expectError("unnamed-group", unnamed.Text(), LineOf(unnamed.Text(), "10 3 7 11"), "no named boundary group");

    MshText unknown = MixedShapes();
    unknown.groups.back().first = "vent";
    expectError("unknown-name", unknown.Text(), LineOf(unknown.Text(), "10 3 7 11"), "'vent'");

    MshText uncovered = MixedShapes();
    uncovered.groups.pop_back();  // the outlet face is in no list at all
    expectError("uncovered", uncovered.Text(), LineOf(uncovered.Text(), "3 2 10 3 6 11 7"),
                "in no named boundary group");

    MshText inverted = MixedShapes();
    inverted.cells[1].nodes = {5, 8, 7, 6, 9};  // pyramid base turned away from its apex
    const std::string text = inverted.Text();
    expectError("inverted", text, LineOf(text, "5 8 7 6 9"), "cell 1 is inside out");

    // Nothing was half-built: a good file still loads after the failures.
    WriteText(TempPath("good.msh"), good);
    EXPECT_EQ(LoadGmsh(TempPath("good.msh")).nCells, 3);
}

TEST(MeshGmsh, InconsistentTopologyIsRefused)
{
    auto expectError = [](const MeshInput& in, const std::string& words) {
        try {
            BuildMesh(in);
            ADD_FAILURE() << "no error for: " << words;
        } catch (const MeshError& e) {
            EXPECT_NE(e.message().find(words), std::string::npos) << e.what();
        }
    };
    BoxOptions one;
    one.nx = one.ny = one.nz = 1;
    const MeshInput cube = MakeBox(one);

    MeshInput shortCell = cube;
    shortCell.cellNodes.pop_back();
    shortCell.cellStart.back() -= 1;
    expectError(shortCell, "has 7 nodes; its shape has 8");

    MeshInput tripled = cube;  // the same hexahedron three times: faces shared by three cells
    for (int k = 0; k < 2; ++k)
        tripled.AddCell(CellShape::Hexahedron, std::vector<int>(cube.cellNodes.begin(), cube.cellNodes.end()));
    expectError(tripled, "shared by more than two cells");

    MeshInput stray = cube;
    stray.AddBoundaryFace(BoundaryKind::Wall, {0, 1, 2}, 42);  // not a face of the cell
    expectError(stray, "is not a face on the boundary");

    MeshInput twice = cube;
    twice.AddBoundaryFace(BoundaryKind::Wall, std::vector<int>(cube.faceNodes.begin(), cube.faceNodes.begin() + 4));
    expectError(twice, "belongs to two boundary groups");

    BoxOptions empty;
    empty.nx = 0;
    EXPECT_THROW(MakeBox(empty), MeshError);
    BoxOptions huge;  // 1e15 cells: refused before anything is allocated
    huge.nx = huge.ny = huge.nz = 100000;
    EXPECT_THROW(MakeBox(huge), MeshError);
}
