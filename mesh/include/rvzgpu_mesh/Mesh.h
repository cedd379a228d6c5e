// The host-side mesh toolkit: turns an unstructured mesh (a Gmsh MSH 4.1
// ASCII file or a generated box) into every array the assembly operations
// of CRVZGPUtool read, partitions it, uploads it, and writes VTK files
// (legacy ASCII, and XML unstructured grids with time-series collections).
//
// Layout of one (local) mesh:
// - cells 0 .. nCells-1 (the matrix rows); in a partition the neighbour
//   copies ("halo") follow at nCells .. nCells+nHalo-1;
// - extended field arrays: one value per cell (and halo copy), then one per
//   boundary face at its boundary slot, nExtended in all; the boundary
//   slots run kind after kind (inlet, outlet, wall, symmetry);
// - interior faces 0 .. nFaces-1: owner ijP < neighbour ijE in a whole
//   mesh; area vector from P to E; le, the weight of E, is chosen so that
//   1 - le is exact (a face seen from its other side gives the same bits);
// - ELL pattern: newNNU rows (rows padded to 256) x nColumnPerRow columns,
//   column after column; column 0 the diagonal, then the neighbours in
//   ascending index order, -1 in empty columns and in every padding row;
// - slot maps: interior face f stores at (mapPx[f], mapPy[f]) = (P, column
//   of E in row P) and (mapEx[f], mapEy[f]) = (E, column of P in row E);
//   the k-th face of a boundary list on a cell uses column k of that
//   cell's row (so each list keeps the no-shared-position invariant).
//
// Errors in input are reported by throwing MeshError ("file:line: what");
// a failed load returns nothing, so nothing is half-built.
#pragma once

#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

class CRVZGPUtool;

namespace rvzmesh {

// A problem in a mesh's input: where (file and line, 0 when no line
// applies) and what.
class MeshError : public std::runtime_error {
public:
    MeshError(const std::string& file, int line, const std::string& message);
    const std::string& file() const { return file_; }
    int line() const { return line_; }
    const std::string& message() const { return message_; }

private:
    std::string file_;
    int line_;
    std::string message_;
};

enum class BoundaryKind { Inlet = 0, Outlet = 1, Wall = 2, Symmetry = 3 };
constexpr int kBoundaryKinds = 4;
const char* BoundaryKindName(BoundaryKind kind);  // "inlet", "outlet", "wall", "symmetry"

// Cell shapes, numbered as Gmsh numbers its element types.
enum class CellShape { Tetrahedron = 4, Hexahedron = 5, Prism = 6, Pyramid = 7 };
int NodeCount(CellShape shape);

// Raw topology: nodes, cells (Gmsh node order) and named boundary faces.
struct MeshInput {
    std::string source = "mesh";  // file name, for messages
    std::vector<double> x, y, z;
    std::vector<CellShape> shape;
    std::vector<int> cellStart{0};  // cell c: cellNodes[cellStart[c] .. cellStart[c+1])
    std::vector<int> cellNodes;
    std::vector<int> cellLine;  // line of each cell in the source (0: generated)
    std::vector<BoundaryKind> faceKind;
    std::vector<int> faceStart{0};
    std::vector<int> faceNodes;
    std::vector<int> faceLine;
    // Named boundary groups (a Gmsh physical surface, a generator's gate):
    // faceGroup[f] indexes groupNames; -1 puts the face in the group named
    // after its kind ("inlet", "wall", ...), so a generator that changes a
    // face's kind moves it to that kind's group as well.
    std::vector<std::string> groupNames;
    std::vector<int> faceGroup;

    int nCells() const { return static_cast<int>(shape.size()); }
    void AddCell(CellShape s, const std::vector<int>& nodes, int line = 0);
    void AddBoundaryFace(BoundaryKind kind, const std::vector<int>& nodes, int line = 0, int group = -1);
    // The index of the group `name`, added when it is new.
    int Group(const std::string& name);
};

// One boundary list (entry k).
struct BoundaryList {
    std::vector<int> slot;          // boundary slot (ijInletD, ijWallD, ...)
    std::vector<int> cell;          // adjacent cell (ijInletCVD, ...)
    std::vector<double> sx, sy, sz; // area vector, out of the domain
    std::vector<double> area;       // |S|
    std::vector<double> surfDist;   // |S| over the normal distance cell centroid - face (Surf_DistWallD)
    std::vector<int> mapPx, mapPy;  // owner-side slot map
    std::vector<int> rows;          // Map2CellPD: distinct adjacent cells
    std::vector<int> group;         // boundary group of each entry (Mesh::groupNames)
    int size() const { return static_cast<int>(slot.size()); }
};

// Partition-interface faces: P local, E the halo copy.
struct PartitionFaces {
    std::vector<int> ijP, ijE;
    std::vector<double> le, sx, sy, sz, xe, ye, ze;
    std::vector<int> mapPx, mapPy, mapEx, mapEy;
    int size() const { return static_cast<int>(ijP.size()); }
};

struct Mesh {
    std::string source;
    int nCells = 0;          // matrix rows (owned cells of a partition)
    int nHalo = 0;           // neighbour copies after the cells (partitions only)
    int nBoundaryFaces = 0;
    int nExtended = 0;       // nCells + nHalo + nBoundaryFaces
    int nFaces = 0;          // interior faces
    int nInnerFaces = 0;     // faces 0 .. nInnerFaces-1 join two local cells; the rest reach the halo
    int newNNU = 0;
    int nColumnPerRow = 0;

    // Nodes and cells (cells 0 .. nCells+nHalo-1), for output.
    std::vector<double> nodeX, nodeY, nodeZ;
    std::vector<CellShape> shape;
    std::vector<int> cellStart{0}, cellNodes;

    std::vector<double> volume;       // nCells + nHalo
    std::vector<double> xc, yc, zc;   // nExtended: face centroid at boundary slots

    std::vector<int> ijP, ijE;
    std::vector<double> sx, sy, sz, area, le, xe, ye, ze;
    std::vector<int> mapPx, mapPy, mapEx, mapEy;

    std::vector<int> indexELL;  // newNNU * nColumnPerRow

    std::array<BoundaryList, kBoundaryKinds> boundary;  // by BoundaryKind
    BoundaryList inOutlet;                              // inlet entries, then outlet entries
    std::vector<int> map2CellPB;                        // rows with at least one interior face

    // Partitions only.
    PartitionFaces par;            // copies of faces nInnerFaces .. nFaces-1
    std::vector<int> map2CellPE;   // owned rows summed by the _Par variants (all owned cells)
    std::vector<int> par2CellP;    // distinct owners of partition faces (Par2CellPD, NPar2CellPD)

    // Boundary groups: every entry of every list names one (BoundaryList::
    // group); a face without a group of its own is in its kind's group.
    std::vector<std::string> groupNames;

    const BoundaryList& list(BoundaryKind k) const { return boundary[static_cast<int>(k)]; }
    // The index of group `name` (exact match), or -1.
    int GroupIndex(const std::string& name) const;
};

// Block count for n elements in blocks of 256; at least 1, because a launch
// of 0 blocks is invalid (an empty list launches one idle block).
inline int Blocks(int n) { return n > 0 ? (n + 255) / 256 : 1; }
inline int PaddedRows(int n) { return n > 0 ? (n + 255) / 256 * 256 : 0; }

struct BuildOptions {
    bool renumber = false;  // reverse Cuthill-McKee cell order
};

// Topology, geometry, boundary lists, ELL pattern and slot maps. Throws
// MeshError for a cell with a non-positive volume (naming the cell and its
// source line), a face shared by more than two cells, a boundary face that
// matches no cell face, or a cell face on the boundary that no named
// boundary face covers.
Mesh BuildMesh(const MeshInput& input, const BuildOptions& options = {});

// Reads a Gmsh MSH 4.1 ASCII file: tetrahedra, hexahedra, prisms and
// pyramids; boundary faces (triangles, quadrangles) from 2-D physical groups
// named "inlet", "outlet", "wall" or "symmetry", or one of these followed by
// '_', '-', '.', ':' or a digit and a name of the user's ("inlet_left",
// "wall-hot"): the kind, and the group under its full name in groupNames
// (several gates, walls of their own temperature). Points and lines are
// ignored. Throws MeshError ("file:line: ...") for a missing file, a
// malformed line, a coordinate that is not a finite number (naming the
// node), an unsupported element type, an unknown group name, or a file
// without volume elements (saying that a physical volume is needed when
// none is defined: Gmsh saves only the elements of physical groups).
MeshInput ReadGmsh(const std::string& path);
inline Mesh LoadGmsh(const std::string& path, const BuildOptions& options = {})
{
    return BuildMesh(ReadGmsh(path), options);
}

// A box [x0, x0+lx] x ... of nx*ny*nz hexahedra (or 6 tetrahedra each).
// Throws MeshError for a count below 1, a side not positive, or a box
// whose node or cell numbers would overflow an int.
struct BoxOptions {
    int nx = 4, ny = 4, nz = 4;
    double x0 = 0.0, y0 = 0.0, z0 = 0.0;
    double lx = 1.0, ly = 1.0, lz = 1.0;
    // Interior nodes move by up to this fraction of the spacing per axis
    // (random, seeded): skewed, non-orthogonal cells with warped faces.
    double perturbation = 0.0;
    // Node planes at random spacing (ratio up to 1:2) and a shear of the
    // whole box (x += shear*y + shear*z): non-orthogonal, skewed cells with
    // planar faces.
    bool unevenPlanes = false;
    double shear = 0.0;
    // Interior node planes tilted at random, each moving by up to this
    // fraction of its spacing along each other axis of the box; nodes
    // are the planes' intersections, so faces stay planar while opposite
    // faces of a cell are not parallel (face centroids off the line
    // between the cell centroids).
    double tilt = 0.0;
    unsigned long long seed = 1;
    bool tetrahedra = false;
    // Kinds of the sides x-, x+, y-, y+, z-, z+.
    std::array<BoundaryKind, 6> sides{BoundaryKind::Inlet, BoundaryKind::Outlet, BoundaryKind::Wall,
                                      BoundaryKind::Wall, BoundaryKind::Wall, BoundaryKind::Symmetry};
};
MeshInput MakeBox(const BoxOptions& options);

// The slot-map invariant and the ranges of every map and row list; returns
// a description of the first problem, empty when all hold.
std::string CheckSlotMaps(const Mesh& mesh);

// One part of a partitioned mesh, with its local numbering.
struct Partition {
    int part = 0;
    Mesh local;
    std::vector<int> globalCell;  // owned cells, then halo copies: global cell index
    std::vector<int> globalSlot;  // local boundary slot - (nCells+nHalo) -> global extended index
    std::vector<int> ownerPart;   // halo copy h -> part that owns it
    // Halo refresh: values of sendIndex[sendStart[j] ..) go to part sendPart[j],
    // values from recvPart[j] land at recvIndex[recvStart[j] ..), in the same order.
    std::vector<int> sendPart, sendStart{0}, sendIndex;
    std::vector<int> recvPart, recvStart{0}, recvIndex;
};

// Recursive coordinate bisection of the cell centroids into k parts.
std::vector<int> PartitionCells(const Mesh& whole, int k);
// The parts of `whole` for the given cell-to-part map (values 0 .. k-1).
std::vector<Partition> SplitMesh(const Mesh& whole, const std::vector<int>& cellPart, int k);
// A global extended array seen by one part (cells, halo copies, slots).
std::vector<double> ToLocal(const Partition& p, const std::vector<double>& globalExtended);
// Copies every part's halo from the owners' values (in-process exchange).
void RefreshHalo(const std::vector<Partition>& parts, std::vector<std::vector<double>>& fields);

// Device copies of a mesh's arrays (null where the host array is empty).
struct DeviceBoundaryList {
    int size = 0, nRows = 0;
    int *slot = nullptr, *cell = nullptr, *mapPx = nullptr, *mapPy = nullptr, *rows = nullptr;
    double *sx = nullptr, *sy = nullptr, *sz = nullptr, *area = nullptr, *surfDist = nullptr;
};
struct DeviceMesh {
    double *volume = nullptr, *xc = nullptr, *yc = nullptr, *zc = nullptr;
    int *ijP = nullptr, *ijE = nullptr;
    double *sx = nullptr, *sy = nullptr, *sz = nullptr, *area = nullptr, *le = nullptr;
    double *xe = nullptr, *ye = nullptr, *ze = nullptr;
    int *mapPx = nullptr, *mapPy = nullptr, *mapEx = nullptr, *mapEy = nullptr;
    int* indexELL = nullptr;
    std::array<DeviceBoundaryList, kBoundaryKinds> boundary;
    DeviceBoundaryList inOutlet;
    int* map2CellPB = nullptr;
    int *parP = nullptr, *parE = nullptr;
    double *parLe = nullptr, *parSx = nullptr, *parSy = nullptr, *parSz = nullptr;
    double *parXe = nullptr, *parYe = nullptr, *parZe = nullptr;
    int *parMapPx = nullptr, *parMapPy = nullptr, *parMapEx = nullptr, *parMapEy = nullptr;
    int *map2CellPE = nullptr, *par2CellP = nullptr;
};
// Allocates and fills every array through the facade; on failure frees
// what it allocated and returns the facade's status (0 on success).
int UploadMesh(CRVZGPUtool& tool, const Mesh& mesh, DeviceMesh& device);
void FreeDeviceMesh(CRVZGPUtool& tool, DeviceMesh& device);

// A VTK legacy unstructured grid (ASCII) of the mesh's cells 0 .. nCells-1
// with cell fields (each at least nCells values). Throws MeshError for a
// shorter field or when the file cannot be written.
struct CellField {
    std::string name;
    const std::vector<double>* values;
};
void WriteVtk(const std::string& path, const Mesh& mesh, const std::vector<CellField>& fields);

// A 3-vector cell field from its three components (each at least nCells
// values), written as one field with three components, as ParaView's
// glyphs and stream lines need.
struct CellVectorField {
    std::string name;
    const std::vector<double>* x;
    const std::vector<double>* y;
    const std::vector<double>* z;
};
struct VtuContent {
    std::string name;                     // field data "CaseName" (none when empty)
    double time = std::nan("");           // field data "TimeValue" (none when not finite)
    std::vector<CellField> scalars;       // the first is the active scalar
    std::vector<CellVectorField> vectors; // the first is the active vector
};
// A VTK XML unstructured grid (.vtu) of cells 0 .. nCells-1 with cell
// fields: binary appended data, raw encoding, each array preceded by its
// byte count as UInt64, in this machine's byte order; points Float64,
// connectivity and offsets Int64, types UInt8. Throws MeshError for a field
// without a name, two fields of one name, a field shorter than the cell
// count, or a file that cannot be written.
void WriteVtu(const std::string& path, const Mesh& mesh, const VtuContent& content);

// A time series of .vtu files as a ParaView collection (.pvd). Each Add
// rewrites the whole collection (through a temporary file renamed over it),
// so a run that stops early leaves a readable series. Files are listed
// relative to the collection's folder. Throws MeshError for a time that is
// not finite or does not follow the previous one, or a file that cannot be
// written.
class PvdSeries {
public:
    PvdSeries(std::string path, std::string name);
    void Add(double time, const std::string& vtuPath);
    const std::string& path() const { return path_; }

private:
    void Write() const;
    std::string path_, name_;
    std::vector<std::pair<double, std::string>> steps_;
};

}  // namespace rvzmesh
