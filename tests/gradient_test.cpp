// Face-to-cell accumulation and Gauss cell gradients on toolkit meshes:
// exactness for linear fields, convergence for a quadratic one, limiter,
// list and scratch edge cases, matrix placement, boundary-slot copies,
// bitwise reproducibility, partitions, and failure reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "rvzgpu_mesh/Mesh.h"
#include "test_support.h"

using namespace rvzmesh;
using rvztest::DeviceArray;
using rvztest::Tool;

namespace {

struct Vector3 {
    std::vector<double> x, y, z;
};

using Function = std::function<double(double, double, double)>;

// A function at every cell centroid, halo copy and boundary-face centroid.
std::vector<double> Sample(const Mesh& m, const Function& f, int count = -1)
{
    const int n = count < 0 ? m.nExtended : count;
    std::vector<double> v(n);
    for (int i = 0; i < n; ++i) v[i] = f(m.xc[i], m.yc[i], m.zc[i]);
    return v;
}

Vector3 SampleGradient(const Mesh& m, const Function& gx, const Function& gy, const Function& gz)
{
    const int n = m.nCells + m.nHalo;
    return Vector3{Sample(m, gx, n), Sample(m, gy, n), Sample(m, gz, n)};
}

// How the interior faces are summed.
enum class InteriorForm {
    AllRows,       // Calc_GradFromInnerCF over every face, rows 0 .. nCells-1
    ListedRows,    // Calc_GradFromInnerCFPar over every face, rows of map2CellPE
    SplitByFaces,  // owned-owned faces all-rows, then partition faces over par2CellP
};

// A mesh on the device with the work arrays of a gradient.
class GradientRun {
public:
    explicit GradientRun(const Mesh& mesh) : m_(mesh)
    {
        EXPECT_EQ(UploadMesh(Tool(), m_, d_), 0);
        int longest = std::max(1, m_.nFaces);
        for (const BoundaryList& list : m_.boundary) longest = std::max(longest, list.size());
        temp_[0] = std::make_unique<DeviceArray<double>>(longest);
        temp_[1] = std::make_unique<DeviceArray<double>>(longest);
        temp_[2] = std::make_unique<DeviceArray<double>>(longest);
        scratch_ = std::make_unique<DeviceArray<double>>(m_.newNNU * m_.nColumnPerRow);
    }
    ~GradientRun() { FreeDeviceMesh(Tool(), d_); }
    GradientRun(const GradientRun&) = delete;
    GradientRun& operator=(const GradientRun&) = delete;

    double* temp(int c) const { return temp_[c]->get(); }
    double* scratch() const { return scratch_->get(); }
    DeviceMesh& device() { return d_; }

    // The four steps of a gradient; returns the cell values.
    Vector3 Compute(const std::vector<double>& field, const Vector3& previous,
                    InteriorForm form = InteriorForm::AllRows)
    {
        const int n = m_.nCells + m_.nHalo;
        DeviceArray<double> fi(field), gx0(previous.x), gy0(previous.y), gz0(previous.z);
        DeviceArray<double> gx(n), gy(n), gz(n);
        Tool().ZeroDeviceMemory(scratch_->size(), scratch());
        if (form == InteriorForm::SplitByFaces) {
            EXPECT_EQ(Interior(m_.nInnerFaces, fi, gx, gy, gz, gx0, gy0, gz0, nullptr), 0);
            Tool().ZeroDeviceMemory(scratch_->size(), scratch());
            EXPECT_EQ(Partition(fi, gx, gy, gz, gx0, gy0, gz0), 0);
        } else {
            EXPECT_EQ(Interior(m_.nFaces, fi, gx, gy, gz, gx0, gy0, gz0,
                               form == InteriorForm::ListedRows ? d_.map2CellPE : nullptr),
                      0);
        }
        for (int kind = 0; kind < kBoundaryKinds; ++kind) {
            Tool().ZeroDeviceMemory(scratch_->size(), scratch());
            EXPECT_EQ(Boundary(m_.boundary[kind], d_.boundary[kind], fi, gx, gy, gz), 0);
        }
        EXPECT_EQ(Tool().Calc_GradCVCenter(m_.nCells, d_.volume, gx, gy, gz, Blocks(m_.nCells)), 0);
        auto cells = [&](const DeviceArray<double>& a) {
            std::vector<double> v = a.Download();
            v.resize(m_.nCells);
            return v;
        };
        return Vector3{cells(gx), cells(gy), cells(gz)};
    }

    int Interior(int nFaces, double* fi, double* gx, double* gy, double* gz, double* gx0, double* gy0, double* gz0,
                 int* rowList)
    {
        if (rowList == nullptr)
            return Tool().Calc_GradFromInnerCF(nFaces, m_.nCells, m_.newNNU, m_.nColumnPerRow, fi, gx, gy, gz, gx0,
                                               gy0, gz0, d_.le, d_.ijP, d_.ijE, d_.xc, d_.yc, d_.zc, d_.sx, d_.sy,
                                               d_.sz, d_.xe, d_.ye, d_.ze, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy,
                                               temp(0), temp(1), temp(2), scratch(), Blocks(nFaces),
                                               Blocks(m_.nCells));
        const int rows = static_cast<int>(m_.map2CellPE.size());
        return Tool().Calc_GradFromInnerCFPar(nFaces, rows, m_.newNNU, m_.nColumnPerRow, fi, gx, gy, gz, gx0, gy0,
                                              gz0, d_.le, d_.ijP, d_.ijE, d_.xc, d_.yc, d_.zc, d_.sx, d_.sy, d_.sz,
                                              d_.xe, d_.ye, d_.ze, d_.mapPx, d_.mapPy, d_.mapEx, d_.mapEy, temp(0),
                                              temp(1), temp(2), scratch(), Blocks(nFaces), Blocks(rows), rowList);
    }

    int Partition(double* fi, double* gx, double* gy, double* gz, double* gx0, double* gy0, double* gz0)
    {
        const int nFaces = m_.par.size();
        const int rows = static_cast<int>(m_.par2CellP.size());
        return Tool().Calc_GradFromInnerCFPar(nFaces, rows, m_.newNNU, m_.nColumnPerRow, fi, gx, gy, gz, gx0, gy0,
                                              gz0, d_.parLe, d_.parP, d_.parE, d_.xc, d_.yc, d_.zc, d_.parSx,
                                              d_.parSy, d_.parSz, d_.parXe, d_.parYe, d_.parZe, d_.parMapPx,
                                              d_.parMapPy, d_.parMapEx, d_.parMapEy, temp(0), temp(1), temp(2),
                                              scratch(), Blocks(nFaces), Blocks(rows), d_.par2CellP);
    }

    int Boundary(const BoundaryList& list, const DeviceBoundaryList& dl, double* fi, double* gx, double* gy,
                 double* gz)
    {
        return Tool().Calc_GradFromBC(list.size(), dl.nRows, m_.newNNU, m_.nColumnPerRow, fi, gx, gy, gz, nullptr,
                                      dl.slot, dl.sx, dl.sy, dl.sz, temp(0), temp(1), temp(2), dl.mapPx, dl.mapPy,
                                      scratch(), dl.rows, Blocks(list.size()), Blocks(dl.nRows));
    }

private:
    const Mesh& m_;
    DeviceMesh d_;
    std::unique_ptr<DeviceArray<double>> temp_[3];
    std::unique_ptr<DeviceArray<double>> scratch_;
};

Vector3 Zero(const Mesh& m)
{
    const std::vector<double> z(m.nCells + m.nHalo, 0.0);
    return Vector3{z, z, z};
}

BoxOptions SkewedHexahedra(int n)
{
    BoxOptions o;
    o.nx = o.ny = o.nz = n;
    o.unevenPlanes = true;
    o.tilt = 0.3;
    o.shear = 0.35;
    o.seed = 11;
    return o;
}

BoxOptions PerturbedTetrahedra(int n)
{
    BoxOptions o;
    o.nx = o.ny = o.nz = n;
    o.tetrahedra = true;
    o.perturbation = 0.2;
    o.seed = 5;
    return o;
}

Mesh GmshTetrahedra()
{
    const std::string dir = std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/tmp";
    const std::string stem = dir + "/rvzgpu_gradient_test_" + std::to_string(getpid());
    const std::string geo = stem + ".geo", msh = stem + ".msh";
    std::ofstream(geo) << "SetFactory(\"OpenCASCADE\");\nBox(1) = {0, 0, 0, 1, 0.8, 0.6};\n"
                          "Physical Surface(\"inlet\") = {1};\nPhysical Surface(\"outlet\") = {2};\n"
                          "Physical Surface(\"wall\") = {3, 4, 5};\nPhysical Surface(\"symmetry\") = {6};\n"
                          "Physical Volume(\"melt\") = {1};\nMesh.MeshSizeMax = 0.15;\n";
    std::remove(msh.c_str());
    const std::string command = "gmsh -3 -format msh41 -o " + msh + " " + geo + " > /dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << "gmsh is required (scripts/debian-packages.txt)";
    Mesh m = LoadGmsh(msh);
    std::remove(geo.c_str());
    std::remove(msh.c_str());
    return m;
}

double Phi(double x, double y, double z) { return 1.0 + 2.0 * x - 3.0 * y + 0.5 * z; }

// Cells whose interior faces all have their exact linear face value inside
// the range of the two cell values, so the limiter leaves them alone.
std::vector<char> UnlimitedCells(const Mesh& m, const Function& Phi)
{
    std::vector<char> ok(m.nCells, 1);
    for (int f = 0; f < m.nFaces; ++f) {
        const double p = Phi(m.xc[m.ijP[f]], m.yc[m.ijP[f]], m.zc[m.ijP[f]]);
        const double e = Phi(m.xc[m.ijE[f]], m.yc[m.ijE[f]], m.zc[m.ijE[f]]);
        const double face = Phi(m.xe[f], m.ye[f], m.ze[f]);
        if (face < std::min(p, e) || face > std::max(p, e)) ok[m.ijP[f]] = ok[m.ijE[f]] = 0;
    }
    return ok;
}

}  // namespace

// ---------------------------------------------------------------------------
// Against analytic gradients
// ---------------------------------------------------------------------------

TEST(GradientAnalytic, LinearFieldIsExactWithItsGradientAsPrevious)
{
    const Function gx = [](double, double, double) { return 2.0; };
    const Function gy = [](double, double, double) { return -3.0; };
    const Function gz = [](double, double, double) { return 0.5; };
    std::vector<std::pair<std::string, Mesh>> meshes;
    meshes.emplace_back("skewed hexahedra", BuildMesh(MakeBox(SkewedHexahedra(6))));
    meshes.emplace_back("perturbed tetrahedra", BuildMesh(MakeBox(PerturbedTetrahedra(5))));
    if (!rvztest::GmshWaived()) meshes.emplace_back("gmsh tetrahedra", GmshTetrahedra());
    for (const auto& [name, m] : meshes) {
        SCOPED_TRACE(name);
        GradientRun run(m);
        const std::vector<double> field = Sample(m, Phi);
        const Vector3 g = run.Compute(field, SampleGradient(m, gx, gy, gz));
        const std::vector<char> unlimited = UnlimitedCells(m, Phi);
        int checked = 0;
        for (int c = 0; c < m.nCells; ++c) {
            if (!unlimited[c]) continue;
            ++checked;
            ASSERT_NEAR(g.x[c], 2.0, 1e-11) << "cell " << c;
            ASSERT_NEAR(g.y[c], -3.0, 1e-11) << "cell " << c;
            ASSERT_NEAR(g.z[c], 0.5, 1e-11) << "cell " << c;
        }
        // Elsewhere the limiter clips some face (checked on its own below).
        EXPECT_GT(checked, m.nCells / 4);
        // Without the previous gradient the skewed faces are off: the
        // correction is what makes the result exact.
        const Vector3 plain = run.Compute(field, Zero(m));
        double worst = 0.0;
        for (int c = 0; c < m.nCells; ++c) worst = std::max(worst, std::fabs(plain.y[c] + 3.0));
        EXPECT_GT(worst, 1e-3);
    }
}

// First order on skewed meshes with planar faces. On tetrahedra the median
// limiter clips a fixed share of the faces at every refinement, and a
// clipped face value is only first-order accurate, so the error converges
// only in the cells the limiter leaves alone.
TEST(GradientAnalytic, QuadraticFieldConvergesUnderRefinement)
{
    const Function phi = [](double x, double y, double z) { return x * x + x * y - 2.0 * z * z + y; };
    const Function gx = [](double x, double y, double) { return 2.0 * x + y; };
    const Function gy = [](double x, double, double) { return x + 1.0; };
    const Function gz = [](double, double, double z) { return -4.0 * z; };
    for (bool tets : {false, true}) {
        SCOPED_TRACE(tets ? "skewed tetrahedra" : "skewed hexahedra");
        std::vector<double> errors;
        for (int n : {4, 8, 16}) {
            BoxOptions o = SkewedHexahedra(n);
            o.tetrahedra = tets;
            const Mesh m = BuildMesh(MakeBox(o));
            GradientRun run(m);
            const Vector3 exact = SampleGradient(m, gx, gy, gz);
            const Vector3 g = run.Compute(Sample(m, phi), exact);
            const std::vector<char> unlimited = UnlimitedCells(m, phi);
            double sum = 0.0, volume = 0.0;
            for (int c = 0; c < m.nCells; ++c) {
                if (!unlimited[c]) continue;
                const double ex = g.x[c] - exact.x[c], ey = g.y[c] - exact.y[c], ez = g.z[c] - exact.z[c];
                sum += m.volume[c] * (ex * ex + ey * ey + ez * ez);
                volume += m.volume[c];
            }
            EXPECT_GT(volume, 0.25);
            errors.push_back(std::sqrt(sum / volume));
        }
        const double order1 = std::log(errors[0] / errors[1]) / std::log(2.0);
        const double order2 = std::log(errors[1] / errors[2]) / std::log(2.0);
        std::printf("    L2 errors %.3e %.3e %.3e: orders %.2f %.2f\n", errors[0], errors[1], errors[2], order1, order2);
        EXPECT_GT(order1, 0.9);
        EXPECT_GT(order2, 0.9);
    }
}

// ---------------------------------------------------------------------------
// Edge cases of the accumulation and of the face values
// ---------------------------------------------------------------------------

TEST(GradientEdgeCases, ListsCornersAndTheScratchClearingContract)
{
    // One 2 x 1 x 1 cell: six wall faces on cell 0, in columns 0 .. 5.
    BoxOptions o;
    o.nx = o.ny = o.nz = 1;
    o.lx = 2.0;
    o.sides.fill(BoundaryKind::Wall);
    const Mesh m = BuildMesh(MakeBox(o));
    ASSERT_EQ(m.list(BoundaryKind::Wall).size(), 6);
    GradientRun run(m);
    const BoundaryList& wall = m.list(BoundaryKind::Wall);
    DeviceArray<double> fi(Sample(m, [](double x, double, double) { return x; }));
    DeviceArray<double> gx(std::vector<double>{7.0}), gy(std::vector<double>{8.0}), gz(std::vector<double>{9.0});

    // An empty list launches one idle block and changes nothing.
    EXPECT_EQ(Tool().Calc_GradFromBC(0, 0, m.newNNU, m.nColumnPerRow, fi, gx, gy, gz, nullptr,
                                     run.device().boundary[2].slot, run.device().boundary[2].sx,
                                     run.device().boundary[2].sy, run.device().boundary[2].sz, run.temp(0),
                                     run.temp(1), run.temp(2), run.device().boundary[2].mapPx,
                                     run.device().boundary[2].mapPy, run.scratch(), run.device().boundary[2].rows, 1,
                                     1),
              0);
    EXPECT_EQ(gx.Download()[0], 7.0);
    EXPECT_EQ(gz.Download()[0], 9.0);

    // Every face of the corner cell is summed: grad x = (2*1 - 0*1)/2 = 1.
    Tool().ZeroDeviceMemory(1, gx.get());
    Tool().ZeroDeviceMemory(1, gy.get());
    Tool().ZeroDeviceMemory(1, gz.get());
    EXPECT_EQ(run.Boundary(wall, run.device().boundary[2], fi, gx, gy, gz), 0);
    EXPECT_EQ(Tool().Calc_GradCVCenter(1, run.device().volume, gx, gy, gz, 1), 0);
    EXPECT_DOUBLE_EQ(gx.Download()[0], 1.0);
    EXPECT_NEAR(gy.Download()[0], 0.0, 1e-15);

    // The update sums every column of a row: a scratch left dirty by another
    // position set leaks into the sum, which is why the caller clears it.
    // Default sides: one inlet face on the cell, in column 0 of 3.
    o.sides = BoxOptions{}.sides;
    const Mesh one = BuildMesh(MakeBox(o));
    ASSERT_EQ(one.nColumnPerRow, 3);
    GradientRun oneRun(one);
    const DeviceBoundaryList& inlet = oneRun.device().boundary[static_cast<int>(BoundaryKind::Inlet)];
    DeviceArray<double> fiOne(Sample(one, [](double x, double, double) { return x + 1.0; }));
    std::vector<double> stale(one.newNNU * one.nColumnPerRow, 0.0);
    stale[2 * one.newNNU] = 0.25;  // column 2, row 0: the inlet face does not write it
    for (bool dirty : {false, true}) {
        DeviceArray<double> scratch(stale);
        if (!dirty) Tool().ZeroDeviceMemory(scratch.size(), scratch.get());
        Tool().ZeroDeviceMemory(1, gx.get());
        EXPECT_EQ(Tool().Calc_GradFromBC(1, 1, one.newNNU, one.nColumnPerRow, fiOne, gx, gy, gz, nullptr, inlet.slot,
                                         inlet.sx, inlet.sy, inlet.sz, oneRun.temp(0), oneRun.temp(1), oneRun.temp(2),
                                         inlet.mapPx, inlet.mapPy, scratch, inlet.rows, 1, 1),
                  0);
        EXPECT_DOUBLE_EQ(gx.Download()[0], dirty ? -1.0 + 0.25 : -1.0);  // S = (-1, 0, 0), value 1
    }
}

TEST(GradientEdgeCases, FaceValuesAreClippedToTheRangeOfTheTwoCells)
{
    // Two cells, one interior face; its centroid is moved off the line
    // between the cells so the correction has something to correct.
    BoxOptions o;
    o.nx = 2;
    o.ny = o.nz = 1;
    const Mesh m = BuildMesh(MakeBox(o));
    ASSERT_EQ(m.nFaces, 1);
    GradientRun run(m);
    DeviceMesh& d = run.device();
    DeviceArray<double> ye(std::vector<double>{m.ye[0] + 0.1});
    struct Case {
        double p, e, gradientY, face;
    };
    // Corrected value 2 + 0.1*g: inside, above both, below both, and a
    // face between equal cells, which keeps their value whatever the gradient.
    const Case cases[] = {{1.0, 3.0, 5.0, 2.5}, {1.0, 3.0, 100.0, 3.0}, {3.0, 1.0, -100.0, 1.0}, {4.0, 4.0, 100.0, 4.0}};
    for (const Case& c : cases) {
        std::vector<double> field = Sample(m, [](double, double, double) { return 0.0; });
        field[0] = c.p;
        field[1] = c.e;
        DeviceArray<double> fi(field), gx(2), gy(2), gz(2), gx0(2), gy0(std::vector<double>{c.gradientY, c.gradientY}),
            gz0(2);
        EXPECT_EQ(Tool().Calc_GradFromInnerCF(1, 2, m.newNNU, m.nColumnPerRow, fi, gx, gy, gz, gx0, gy0, gz0, d.le,
                                              d.ijP, d.ijE, d.xc, d.yc, d.zc, d.sx, d.sy, d.sz, d.xe, ye, d.ze,
                                              d.mapPx, d.mapPy, d.mapEx, d.mapEy, run.temp(0), run.temp(1),
                                              run.temp(2), run.scratch(), 1, 1),
                  0);
        const double area = m.sx[0];
        std::vector<double> temp(1);
        Tool().DataCopyDevice2Host(1, temp.data(), run.temp(0));
        EXPECT_DOUBLE_EQ(temp[0] / area, c.face) << "cells " << c.p << ", " << c.e << ", gradient " << c.gradientY;
        // Conservative pair: the owner gets +S phi, the neighbour -S phi.
        EXPECT_DOUBLE_EQ(gx.Download()[0], temp[0]);
        EXPECT_DOUBLE_EQ(gx.Download()[1], -temp[0]);
    }
}

// ---------------------------------------------------------------------------
// Matrix placement and boundary-slot copies
// ---------------------------------------------------------------------------

TEST(GradientPlacement, CoefficientsLandAtTheirNeighboursColumns)
{
    const Mesh m = BuildMesh(MakeBox(PerturbedTetrahedra(4)));
    GradientRun run(m);
    std::vector<double> aE(m.nFaces), aW(m.nFaces);
    for (int f = 0; f < m.nFaces; ++f) {
        aE[f] = -1.0 - f;
        aW[f] = -0.5 - f;
    }
    const double untouched = 99.0;
    DeviceArray<double> dE(aE), dW(aW), A(std::vector<double>(m.newNNU * m.nColumnPerRow, untouched));
    EXPECT_EQ(Tool().Calc_MapaEaWToAi(m.nFaces, m.newNNU, run.device().mapPx, run.device().mapPy, run.device().mapEx,
                                      run.device().mapEy, dE, dW, A, Blocks(m.nFaces)),
              0);
    // Expected from the face list alone: row P, neighbour E holds aE; row E,
    // neighbour P holds aW; the diagonal and empty columns keep their value.
    std::map<std::pair<int, int>, double> expected;
    for (int f = 0; f < m.nFaces; ++f) {
        expected[{m.ijP[f], m.ijE[f]}] = aE[f];
        expected[{m.ijE[f], m.ijP[f]}] = aW[f];
    }
    const std::vector<double> a = A.Download();
    for (int r = 0; r < m.newNNU; ++r)
        for (int j = 0; j < m.nColumnPerRow; ++j) {
            const int at = j * m.newNNU + r;
            const int n = m.indexELL[at];
            const bool placed = j > 0 && n >= 0;
            ASSERT_EQ(a[at], placed ? expected.at({r, n}) : untouched) << "row " << r << " column " << j;
        }

    // Partition faces: only the owner side is placed.
    const std::vector<Partition> parts = SplitMesh(m, PartitionCells(m, 2), 2);
    const Mesh& local = parts[0].local;
    GradientRun localRun(local);
    DeviceArray<double> parE(std::vector<double>(local.par.size(), -2.0));
    DeviceArray<double> B(std::vector<double>(local.newNNU * local.nColumnPerRow, untouched));
    EXPECT_EQ(Tool().Calc_MapaEToAiPar(local.par.size(), local.newNNU, 12345, localRun.device().parMapPx,
                                       localRun.device().parMapPy, parE, B, Blocks(local.par.size())),
              0);
    const std::vector<double> b = B.Download();
    int placed = 0;
    for (size_t at = 0; at < b.size(); ++at) placed += b[at] == -2.0 ? 1 : 0;
    EXPECT_EQ(placed, local.par.size());
    for (int f = 0; f < local.par.size(); ++f) {
        EXPECT_EQ(b[local.par.mapPy[f] * local.newNNU + local.par.mapPx[f]], -2.0);
        EXPECT_EQ(local.indexELL[local.par.mapPy[f] * local.newNNU + local.par.mapPx[f]], local.par.ijE[f]);
    }
}

TEST(GradientPlacement, VelocityGradientReachesInletOutletAndVentSlots)
{
    BoxOptions o;
    o.nx = o.ny = o.nz = 3;
    const Mesh m = BuildMesh(MakeBox(o));
    GradientRun run(m);
    std::vector<std::unique_ptr<DeviceArray<double>>> g;
    std::vector<std::vector<double>> host;
    for (int c = 0; c < 9; ++c) {
        std::vector<double> v(m.nExtended);
        for (int i = 0; i < m.nExtended; ++i) v[i] = i < m.nCells ? 100.0 * c + i : -1.0 - c;
        host.push_back(v);
        g.push_back(std::make_unique<DeviceArray<double>>(v));
    }
    const DeviceBoundaryList& io = run.device().inOutlet;
    EXPECT_EQ(Tool().Calc_InOutletBoundary_Update_dd(io.size, io.cell, io.slot, *g[0], *g[1], *g[2], *g[3], *g[4],
                                                     *g[5], *g[6], *g[7], *g[8], Blocks(io.size)),
              0);
    const BoundaryList& wall = m.list(BoundaryKind::Wall);
    std::vector<int> match(wall.size());
    for (int k = 0; k < wall.size(); ++k) match[k] = k % 2;
    DeviceArray<int> dMatch(match);
    const DeviceBoundaryList& dw = run.device().boundary[static_cast<int>(BoundaryKind::Wall)];
    EXPECT_EQ(Tool().Calc_WallBoundary_Update_dd(wall.size(), dw.cell, dw.slot, dMatch, *g[0], *g[1], *g[2], *g[3],
                                                 *g[4], *g[5], *g[6], *g[7], *g[8], Blocks(wall.size())),
              0);
    for (int c = 0; c < 9; ++c) {
        std::vector<double> want = host[c];
        for (int k = 0; k < m.inOutlet.size(); ++k) want[m.inOutlet.slot[k]] = host[c][m.inOutlet.cell[k]];
        for (int k = 0; k < wall.size(); ++k)
            if (match[k] == 1) want[wall.slot[k]] = host[c][wall.cell[k]];
        ASSERT_EQ(g[c]->Download(), want) << "component " << c;
    }
}

// ---------------------------------------------------------------------------
// Reproducibility and partitions
// ---------------------------------------------------------------------------

namespace {

const Function kWave = [](double x, double y, double z) { return std::sin(3.0 * x) * std::cos(2.0 * y) + z * z; };

Vector3 RoughPrevious(const Mesh& m, unsigned seed)
{
    const int n = m.nCells + m.nHalo;
    return Vector3{rvztest::RandomVector(n, seed), rvztest::RandomVector(n, seed + 1), rvztest::RandomVector(n, seed + 2)};
}

bool SameBits(const Vector3& a, const Vector3& b, const std::vector<int>& at = {})
{
    for (size_t i = 0; i < b.x.size(); ++i) {
        const size_t j = at.empty() ? i : static_cast<size_t>(at[i]);
        if (!rvztest::SameBits(a.x[j], b.x[i]) || !rvztest::SameBits(a.y[j], b.y[i]) ||
            !rvztest::SameBits(a.z[j], b.z[i]))
            return false;
    }
    return true;
}

}  // namespace

TEST(GradientReproducibility, SameBitsForEveryThreadCountAndRun)
{
    const Mesh m = BuildMesh(MakeBox(PerturbedTetrahedra(7)));
    ASSERT_GT(m.nFaces, 4 * 256);
    GradientRun run(m);
    const std::vector<double> field = Sample(m, kWave);
    const Vector3 previous = RoughPrevious(m, 3);
    const auto results = rvztest::ForThreadCounts({1, 2, 4, 4}, [&] { return run.Compute(field, previous); });
    for (size_t k = 1; k < results.size(); ++k) EXPECT_TRUE(SameBits(results[0], results[k])) << "run " << k;
}

TEST(GradientPartition, PartsReproduceTheWholeMeshOnTheirCells)
{
    const Mesh whole = BuildMesh(MakeBox(PerturbedTetrahedra(6)));
    const std::vector<double> field = Sample(whole, kWave);
    // The previous gradient is a global extended array like the field.
    const Vector3 previous = RoughPrevious(whole, 9);
    Vector3 previousExtended;
    for (auto [from, to] : {std::pair{&previous.x, &previousExtended.x}, std::pair{&previous.y, &previousExtended.y},
                            std::pair{&previous.z, &previousExtended.z}}) {
        *to = *from;
        to->resize(whole.nExtended, 0.0);
    }
    GradientRun wholeRun(whole);
    const Vector3 reference = wholeRun.Compute(field, previous);
    for (int k : {2, 4}) {
        const std::vector<Partition> parts = SplitMesh(whole, PartitionCells(whole, k), k);
        for (const Partition& p : parts) {
            SCOPED_TRACE("part " + std::to_string(p.part) + " of " + std::to_string(k));
            const Mesh& local = p.local;
            ASSERT_GT(local.par.size(), 0);
            GradientRun run(local);
            Vector3 localPrevious{ToLocal(p, previousExtended.x), ToLocal(p, previousExtended.y),
                                  ToLocal(p, previousExtended.z)};
            for (auto* v : {&localPrevious.x, &localPrevious.y, &localPrevious.z}) v->resize(local.nCells + local.nHalo);
            const std::vector<double> localField = ToLocal(p, field);
            const std::vector<int> owned(p.globalCell.begin(), p.globalCell.begin() + local.nCells);
            // All local faces, rows listed: the same columns in the same
            // order as in the whole mesh, so the same bits.
            const Vector3 listed = run.Compute(localField, localPrevious, InteriorForm::ListedRows);
            EXPECT_TRUE(SameBits(reference, listed, owned));
            // Owned faces first, then the partition faces over their owners:
            // the same sums grouped differently.
            const Vector3 split = run.Compute(localField, localPrevious, InteriorForm::SplitByFaces);
            for (int c = 0; c < local.nCells; ++c) {
                const int g = owned[c];
                ASSERT_NEAR(split.x[c], reference.x[g], 1e-12 * (1.0 + std::fabs(reference.x[g])));
                ASSERT_NEAR(split.y[c], reference.y[g], 1e-12 * (1.0 + std::fabs(reference.y[g])));
                ASSERT_NEAR(split.z[c], reference.z[g], 1e-12 * (1.0 + std::fabs(reference.z[g])));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Failure reports (host backend: injected launch faults)
// ---------------------------------------------------------------------------

#if !RVZGPU_BACKEND_CUDA
namespace {

std::string Report(const char* message, int code)
{
    char line[256];
    std::snprintf(line, sizeof line, "GPU[0:host] %s: %s.(%d)\n", message, rvz::PlatformErrorText(code), code);
    return std::string(line) + "\r5 \r4 \r3 \r2 \r1 ";
}

}  // namespace

TEST(GradientFailures, AFailedStepIsReportedAndTheOthersStillRun)
{
    namespace hooks = rvz::host::testing;
    const Mesh m = BuildMesh(MakeBox(SkewedHexahedra(3)));
    GradientRun run(m);
    DeviceMesh& d = run.device();
    const std::vector<double> field = Sample(m, Phi);
    DeviceArray<double> fi(field), gx(m.nCells), gy(m.nCells), gz(m.nCells), zero(m.nCells);
    const int failure = cudaErrorLaunchFailure;

    // The x collect fails: reported once; y and z are still accumulated and
    // the status is the last launch's (0).
    int status = -1;
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 1);
    std::string out = rvztest::CaptureOutput([&] { status = run.Interior(m.nFaces, fi, gx, gy, gz, zero, zero, zero, nullptr); });
    hooks::clear_faults();
    EXPECT_EQ(out, Report("Calc_GradFromInnerCF_xyz failed", failure));
    EXPECT_EQ(status, 0);
    const std::vector<double> x = gx.Download(), y = gy.Download();
    EXPECT_TRUE(std::all_of(x.begin(), x.end(), [](double v) { return v == 0.0; }));
    EXPECT_TRUE(std::any_of(y.begin(), y.end(), [](double v) { return v != 0.0; }));

    // The last update fails: its code is returned. Listed form messages.
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 6);
    out = rvztest::CaptureOutput([&] { status = run.Interior(m.nFaces, fi, gx, gy, gz, zero, zero, zero, d.map2CellPB); });
    hooks::clear_faults();
    EXPECT_EQ(out, Report("Calc_GradFromInnerCF_UpdateddPar failed", failure));
    EXPECT_EQ(status, failure);
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 0);
    out = rvztest::CaptureOutput([&] { run.Interior(m.nFaces, fi, gx, gy, gz, zero, zero, zero, d.map2CellPB); });
    hooks::clear_faults();
    EXPECT_EQ(out, Report("Calc_GradFromInnerCF_tempxyz(Par) failed", failure));

    // Boundary list, division and the single-launch operations.
    const BoundaryList& inlet = m.list(BoundaryKind::Inlet);
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 2);
    out = rvztest::CaptureOutput([&] { status = run.Boundary(inlet, d.boundary[0], fi, gx, gy, gz); });
    hooks::clear_faults();
    EXPECT_EQ(out, Report("Calc_GradFromBC_Updatedd_Opt failed", failure));
    EXPECT_EQ(status, 0);
    struct Single {
        const char* message;
        std::function<int()> call;
    };
    const Single singles[] = {
        {"Calc_GradCVCenter failed", [&] { return Tool().Calc_GradCVCenter(m.nCells, d.volume, gx, gy, gz, 1); }},
        {"Calc_InletBoundary_Update_dd failed",
         [&] {
             return Tool().Calc_InOutletBoundary_Update_dd(0, d.inOutlet.cell, d.inOutlet.slot, gx, gx, gx, gx, gx, gx,
                                                           gx, gx, gx, 1);
         }},
        {"Calc_WallBoundary_Update_dd failed",
         [&] {
             return Tool().Calc_WallBoundary_Update_dd(0, nullptr, nullptr, nullptr, gx, gx, gx, gx, gx, gx, gx, gx, gx,
                                                       1);
         }},
        {"Calc_MapaEaEWToAi failed",
         [&] { return Tool().Calc_MapaEaWToAi(0, m.newNNU, d.mapPx, d.mapPy, d.mapEx, d.mapEy, gx, gx, gx, 1); }},
        {"Calc_MapaEToAiPar failed",
         [&] { return Tool().Calc_MapaEToAiPar(0, m.newNNU, 0, d.mapPx, d.mapPy, gx, gx, 1); }},
    };
    for (const Single& s : singles) {
        hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 0);
        out = rvztest::CaptureOutput([&] { status = s.call(); });
        hooks::clear_faults();
        EXPECT_EQ(out, Report(s.message, failure));
        EXPECT_EQ(status, failure);
    }
}
#endif
