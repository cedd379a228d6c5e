// Structured boxes of hexahedra or tetrahedra, optionally distorted.
#include <array>
#include <climits>
#include <cstdint>

#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

// splitmix64: the same numbers on every platform and standard library.
class Random {
public:
    explicit Random(unsigned long long seed) : state_(seed) {}
    double Uniform(double lo, double hi)
    {
        state_ += 0x9e3779b97f4a7c15ull;
        uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        z ^= z >> 31;
        const double unit = static_cast<double>(z >> 11) * (1.0 / 9007199254740992.0);
        return lo + (hi - lo) * unit;
    }

private:
    uint64_t state_;
};

// Node plane positions along one axis: even, or at random spacing.
std::vector<double> Planes(int n, double origin, double length, bool uneven, Random& random)
{
    std::vector<double> widths(static_cast<size_t>(n), 1.0);
    if (uneven)
        for (double& w : widths) w = random.Uniform(1.0, 2.0);
    double total = 0.0;
    for (double w : widths) total += w;
    std::vector<double> planes{origin};
    double at = 0.0;
    for (int i = 0; i < n; ++i) {
        at += widths[i];
        planes.push_back(i + 1 == n ? origin + length : origin + length * (at / total));
    }
    return planes;
}

// The point on the planes x = a + sa.(y, z), y = b + sb.(x, z),
// z = c + sc.(x, y), by Cramer's rule.
void Intersect(double a, const std::array<double, 2>& sa, double b, const std::array<double, 2>& sb, double c,
               const std::array<double, 2>& sc, double& x, double& y, double& z)
{
    // Rows: x - sa0 y - sa1 z = a; -sb0 x + y - sb1 z = b; -sc0 x - sc1 y + z = c.
    const double m[3][3] = {{1.0, -sa[0], -sa[1]}, {-sb[0], 1.0, -sb[1]}, {-sc[0], -sc[1], 1.0}};
    const double r[3] = {a, b, c};
    auto det = [](const double q[3][3]) {
        return q[0][0] * (q[1][1] * q[2][2] - q[1][2] * q[2][1]) - q[0][1] * (q[1][0] * q[2][2] - q[1][2] * q[2][0]) +
               q[0][2] * (q[1][0] * q[2][1] - q[1][1] * q[2][0]);
    };
    const double d = det(m);
    double out[3];
    for (int col = 0; col < 3; ++col) {
        double q[3][3];
        for (int row = 0; row < 3; ++row)
            for (int k = 0; k < 3; ++k) q[row][k] = k == col ? r[row] : m[row][k];
        out[col] = det(q) / d;
    }
    x = out[0];
    y = out[1];
    z = out[2];
}

// The six tetrahedra of a hexahedron around its diagonal 0-6 (Kuhn split):
// every hexahedron is split alike, so neighbouring splits match.
const int kKuhnTets[6][4] = {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6}, {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};

}  // namespace

MeshInput MakeBox(const BoxOptions& o)
{
    if (o.nx < 1 || o.ny < 1 || o.nz < 1)
        throw MeshError("box", 0, "a box needs at least one cell along each axis");
    if (!(o.lx > 0.0 && o.ly > 0.0 && o.lz > 0.0)) throw MeshError("box", 0, "a box needs positive side lengths");
    // Node and cell numbers are ints: refuse a box beyond them before
    // anything is allocated.
    const double nodes = (o.nx + 1.0) * (o.ny + 1.0) * (o.nz + 1.0);
    const double cells = static_cast<double>(o.nx) * o.ny * o.nz * (o.tetrahedra ? 6.0 : 1.0);
    if (nodes > INT_MAX || 8.0 * cells > INT_MAX)
        throw MeshError("box", 0,
                        std::to_string(o.nx) + " x " + std::to_string(o.ny) + " x " + std::to_string(o.nz) +
                            " cells are more than 32-bit node and cell numbers hold");
    MeshInput in;
    in.source = "box";
    Random random(o.seed);
    const std::vector<double> px = Planes(o.nx, o.x0, o.lx, o.unevenPlanes, random);
    const std::vector<double> py = Planes(o.ny, o.y0, o.ly, o.unevenPlanes, random);
    const std::vector<double> pz = Planes(o.nz, o.z0, o.lz, o.unevenPlanes, random);
    // Slopes of the interior planes: x = px + sx1*(y - y0) + sx2*(z - z0), and
    // alike; a plane moves by at most `tilt` of its spacing across the box.
    auto slopes = [&](const std::vector<double>& p, double l1, double l2) {
        const int n = static_cast<int>(p.size()) - 1;
        std::vector<std::array<double, 2>> s(static_cast<size_t>(n) + 1, {0.0, 0.0});
        for (int i = 1; i < n && o.tilt > 0.0; ++i) {
            const double h = 0.5 * (p[i + 1] - p[i - 1]);
            s[i] = {random.Uniform(-o.tilt, o.tilt) * h / l1, random.Uniform(-o.tilt, o.tilt) * h / l2};
        }
        return s;
    };
    const auto tx = slopes(px, o.ly, o.lz), ty = slopes(py, o.lx, o.lz), tz = slopes(pz, o.lx, o.ly);
    auto node = [&](int i, int j, int k) { return (k * (o.ny + 1) + j) * (o.nx + 1) + i; };
    for (int k = 0; k <= o.nz; ++k)
        for (int j = 0; j <= o.ny; ++j)
            for (int i = 0; i <= o.nx; ++i) {
                double x, y, z;
                Intersect(px[i] - tx[i][0] * o.y0 - tx[i][1] * o.z0, tx[i], py[j] - ty[j][0] * o.x0 - ty[j][1] * o.z0,
                          ty[j], pz[k] - tz[k][0] * o.x0 - tz[k][1] * o.y0, tz[k], x, y, z);
                const bool inside = i > 0 && i < o.nx && j > 0 && j < o.ny && k > 0 && k < o.nz;
                if (inside && o.perturbation > 0.0) {
                    const double a = o.perturbation;
                    x += a * (px[i + 1] - px[i - 1]) * 0.5 * random.Uniform(-1.0, 1.0);
                    y += a * (py[j + 1] - py[j - 1]) * 0.5 * random.Uniform(-1.0, 1.0);
                    z += a * (pz[k + 1] - pz[k - 1]) * 0.5 * random.Uniform(-1.0, 1.0);
                }
                in.x.push_back(x + o.shear * (y - o.y0) + o.shear * (z - o.z0));
                in.y.push_back(y);
                in.z.push_back(z);
            }
    for (int k = 0; k < o.nz; ++k)
        for (int j = 0; j < o.ny; ++j)
            for (int i = 0; i < o.nx; ++i) {
                const std::vector<int> hex = {node(i, j, k),         node(i + 1, j, k),     node(i + 1, j + 1, k),
                                              node(i, j + 1, k),     node(i, j, k + 1),     node(i + 1, j, k + 1),
                                              node(i + 1, j + 1, k + 1), node(i, j + 1, k + 1)};
                if (!o.tetrahedra) {
                    in.AddCell(CellShape::Hexahedron, hex);
                    continue;
                }
                for (const auto& tet : kKuhnTets)
                    in.AddCell(CellShape::Tetrahedron, {hex[tet[0]], hex[tet[1]], hex[tet[2]], hex[tet[3]]});
            }
    // Boundary quadrilaterals (split like the cells' faces for tetrahedra:
    // the Kuhn diagonal of every face runs from its lowest-indexed corner
    // of the hexahedron to the opposite one).
    auto addQuad = [&](BoundaryKind kind, int a, int b, int c, int d) {
        if (!o.tetrahedra) {
            in.AddBoundaryFace(kind, {a, b, c, d});
            return;
        }
        in.AddBoundaryFace(kind, {a, b, c});
        in.AddBoundaryFace(kind, {a, c, d});
    };
    for (int k = 0; k < o.nz; ++k)
        for (int j = 0; j < o.ny; ++j) {
            addQuad(o.sides[0], node(0, j, k), node(0, j + 1, k), node(0, j + 1, k + 1), node(0, j, k + 1));
            addQuad(o.sides[1], node(o.nx, j, k), node(o.nx, j + 1, k), node(o.nx, j + 1, k + 1), node(o.nx, j, k + 1));
        }
    for (int k = 0; k < o.nz; ++k)
        for (int i = 0; i < o.nx; ++i) {
            addQuad(o.sides[2], node(i, 0, k), node(i + 1, 0, k), node(i + 1, 0, k + 1), node(i, 0, k + 1));
            addQuad(o.sides[3], node(i, o.ny, k), node(i + 1, o.ny, k), node(i + 1, o.ny, k + 1), node(i, o.ny, k + 1));
        }
    for (int j = 0; j < o.ny; ++j)
        for (int i = 0; i < o.nx; ++i) {
            addQuad(o.sides[4], node(i, j, 0), node(i + 1, j, 0), node(i + 1, j + 1, 0), node(i, j + 1, 0));
            addQuad(o.sides[5], node(i, j, o.nz), node(i + 1, j, o.nz), node(i + 1, j + 1, o.nz), node(i, j + 1, o.nz));
        }
    return in;
}

}  // namespace rvzmesh

