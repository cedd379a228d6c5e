// Small vector algebra and list builders shared by the toolkit's sources.
#pragma once

#include <cmath>
#include <vector>

#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {
namespace detail {

struct Vec3 {
    double x, y, z;
};
inline Vec3 operator+(Vec3 a, Vec3 b) { return Vec3{a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3 operator-(Vec3 a, Vec3 b) { return Vec3{a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3 operator*(Vec3 a, double s) { return Vec3{a.x * s, a.y * s, a.z * s}; }
inline double Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3 Cross(Vec3 a, Vec3 b) { return Vec3{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double Norm(Vec3 a) { return std::sqrt(Dot(a, a)); }

// A boundary face before it gets its slot: adjacent cell, outward area
// vector, centroid.
struct BoundaryEntry {
    int cell;
    Vec3 S, centre;
    int group;
};

// Fills a list from its entries: slots firstSlot, firstSlot+1, ...; the
// k-th entry on a cell uses column k of the cell's row.
void FillBoundaryList(BoundaryList& list, const std::vector<BoundaryEntry>& entries, int firstSlot,
                      const Mesh& mesh);
// The combined inlet-and-outlet list from the inlet and outlet lists.
void BuildInOutlet(Mesh& mesh);
// The number of columns a list's slot map uses.
int LargestColumnUse(const BoundaryList& list);

// VTK's number for a cell shape, and which of the cell's nodes (in Gmsh
// order) is VTK's k-th: VTK's wedge wants its first triangle turned away
// from the second.
inline int VtkCellType(CellShape s)
{
    switch (s) {
    case CellShape::Tetrahedron: return 10;
    case CellShape::Hexahedron: return 12;
    case CellShape::Prism: return 13;
    case CellShape::Pyramid: return 14;
    }
    return 0;
}
inline int VtkNodeOrder(CellShape s, int k)
{
    static const int prism[6] = {0, 2, 1, 3, 5, 4};
    return s == CellShape::Prism ? prism[k] : k;
}

}  // namespace detail
}  // namespace rvzmesh
