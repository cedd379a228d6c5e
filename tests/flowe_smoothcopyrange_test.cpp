// Extended-flow utilities: the smoothed volume fraction (interior, inlet
// and partition faces, walls), the partition copy lists with and without a
// stream, and the range of a cell field; checked against host loops over
// the same mesh, by hand and by a two-partition round trip.
#include <algorithm>
#include <cmath>
#include <vector>

#include "CU_FlowE_SmoothCopyRange.h"
#include "flow_test_mesh.h"
#include "test_support.h"

namespace {

using flowtest::BoxMesh;
using flowtest::DeviceMesh;
using flowtest::Field;
using flowtest::Up;
using rvztest::DeviceArray;
using rvztest::Tool;

// A 3 x 3 x 1 box of 1 x 0.5 x 2 cells: x faces of area 1, y faces of area
// 2. The -x side is an inlet list whose neighbour-side positions lie in
// padding rows of the ELL shape (rows past the cells, never summed).
inline std::vector<double> FaceAreas(const BoxMesh& m)
{
    std::vector<double> a;
    for (int f = 0; f < m.nFaces; ++f) a.push_back(std::sqrt(m.sx[f] * m.sx[f] + m.sy[f] * m.sy[f] + m.sz[f] * m.sz[f]));
    return a;
}

struct Smoothing {
    BoxMesh mesh{3, 3, 1, 1.0, 0.5, 2.0};
    DeviceMesh dev{mesh};
    flowtest::BoundaryList inlet = mesh.side[0];
    std::unique_ptr<DeviceArray<double>> V = Field(mesh.nExt), VolF_S = Field(mesh.nCells), S = Field(mesh.nCells);
    std::unique_ptr<DeviceArray<double>> area = Up(FaceAreas(mesh)), temp = Field(mesh.nFaces);
    std::unique_ptr<DeviceArray<double>> t1 = Field(3), t2 = Field(3);
    std::unique_ptr<DeviceArray<int>> inSlot = Up(inlet.slot), inCell = Up(inlet.cell), inPx = Up(inlet.Px),
                                      inPy = Up(inlet.Py), inEx = Up(std::vector<int>{9, 10, 11}),
                                      inEy = Up(std::vector<int>{1, 2, 3}), inRows = Up(inlet.rows);
    std::unique_ptr<DeviceArray<double>> inSx = Up(inlet.sx), inSy = Up(inlet.sy), inSz = Up(inlet.sz);

    int Interior()
    {
        return Tool().Calc_FlowE_SmoothVariable_InnerFace(mesh.nFaces, mesh.nCells, mesh.newNNU, mesh.nCol, *dev.P,
                                                          *dev.E, *dev.le, *area, *V, *VolF_S, *S, *temp, *dev.Px,
                                                          *dev.Py, *dev.Ex, *dev.Ey, *dev.scratch, 1, 1);
    }
    int Inlet()
    {
        return Tool().Calc_FlowE_SmoothVariable_Inlet(3, 3, mesh.newNNU, mesh.nCol, *inCell, *inSlot, *inSx, *inSy,
                                                      *inSz, *V, *VolF_S, *S, *t1, *t2, *inPx, *inPy, *inEx, *inEy,
                                                      *dev.scratch, *inRows, 1, 1);
    }
    int Divide() { return Tool().Calc_FlowE_SmoothVariable_SmoothVolF(mesh.nCells, *VolF_S, *S, *V, 1); }
};

// ---------------------------------------------------------------------------
// Smoothed volume fraction
// ---------------------------------------------------------------------------

// Interior faces and the inlet side against a host loop over the same
// faces: each cell becomes the area-weighted mean of its face values.
TEST(FlowESmooth, CellBecomesTheAreaWeightedMeanOfItsFaceValues)
{
    Smoothing t;
    std::vector<double> v = rvztest::RandomVector(t.mesh.nExt, 7, 0.0, 1.0);
    t.V->Upload(v);
    t.dev.ClearScratch();
    ASSERT_EQ(t.Interior(), 0);
    t.dev.ClearScratch();
    ASSERT_EQ(t.Inlet(), 0);
    std::vector<double> sum(t.mesh.nCells, 0.0), areas(t.mesh.nCells, 0.0);
    const std::vector<double> A = FaceAreas(t.mesh);
    for (int f = 0; f < t.mesh.nFaces; ++f) {
        const double face = 0.5 * (v[t.mesh.P[f]] + v[t.mesh.E[f]]);
        for (int c : {t.mesh.P[f], t.mesh.E[f]}) sum[c] += face * A[f], areas[c] += A[f];
    }
    for (int k = 0; k < 3; ++k) sum[t.inlet.cell[k]] += v[t.inlet.slot[k]], areas[t.inlet.cell[k]] += 1.0;
    EXPECT_EQ(t.S->Download(), areas);
    const auto VolF_S = t.VolF_S->Download();
    for (int c = 0; c < t.mesh.nCells; ++c) EXPECT_NEAR(VolF_S[c], sum[c], 1e-15) << c;
    ASSERT_EQ(t.Divide(), 0);
    const auto smoothed = t.V->Download();
    for (int c = 0; c < t.mesh.nCells; ++c) EXPECT_NEAR(smoothed[c], sum[c] / areas[c], 1e-15) << c;
    // The boundary slots are not touched by the division.
    for (int s = t.mesh.nCells; s < t.mesh.nExt; ++s) EXPECT_EQ(smoothed[s], v[s]) << s;
}

TEST(FlowESmooth, UniformFieldIsKeptAndACellWithoutFacesGetsZero)
{
    Smoothing t;
    t.V->Upload(std::vector<double>(t.mesh.nExt, 0.625));
    t.dev.ClearScratch();
    ASSERT_EQ(t.Interior(), 0);
    ASSERT_EQ(t.Divide(), 0);
    for (int c = 0; c < t.mesh.nCells; ++c) EXPECT_DOUBLE_EQ(t.V->Download()[c], 0.625) << c;

    auto VolF_S = Field(1), S = Field(1), V = Field(1, 0.7);
    ASSERT_EQ(Tool().Calc_FlowE_SmoothVariable_SmoothVolF(1, *VolF_S, *S, *V, 1), 0);
    EXPECT_EQ(V->Download()[0], 0.0);
}

// The inlet clears the scratch between its two sums: a stale value in a row
// it sums (the caller's fault) reaches the first sum only.
TEST(FlowESmooth, InletClearsTheScratchBetweenItsTwoSums)
{
    Smoothing t;
    t.V->Upload(std::vector<double>(t.mesh.nExt, 0.5));
    t.dev.ClearScratch();
    std::vector<double> scratch(t.mesh.EllSize(), 0.0);
    scratch[5 * t.mesh.newNNU + 0] = 100.0;  // row 0, column 5
    t.dev.scratch->Upload(scratch);
    ASSERT_EQ(t.Inlet(), 0);
    EXPECT_EQ(t.VolF_S->Download()[0], 100.5);
    EXPECT_EQ(t.S->Download()[0], 1.0);
    EXPECT_EQ(t.dev.scratch->Download()[5 * t.mesh.newNNU], 0.0);
    // The neighbour-side positions hold the same values (not a +/- pair).
    EXPECT_EQ(t.dev.scratch->Download()[1 * t.mesh.newNNU + 9], 1.0);
}

// The partition form on the interior faces as if they were partition
// faces (area |S|, rows listed) sums exactly what the interior form sums
// into the listed rows, and nothing elsewhere.
TEST(FlowESmooth, PartitionFacesSumIntoTheirListedRowsOnly)
{
    Smoothing all, par;
    const auto v = rvztest::RandomVector(all.mesh.nExt, 8, 0.0, 1.0);
    for (Smoothing* t : {&all, &par}) {
        t->V->Upload(v);
        t->dev.ClearScratch();
    }
    ASSERT_EQ(all.Interior(), 0);
    auto rows = Up(std::vector<int>{4, 0, 8});
    auto& d = par.dev;
    ASSERT_EQ(Tool().Calc_FlowE_SmoothVariable_InnerFacePar(par.mesh.nFaces, 3, par.mesh.newNNU, par.mesh.nCol, *d.P,
                                                            *d.E, *d.le, *d.sx, *d.sy, *d.sz, *par.V, *par.VolF_S,
                                                            *par.S, *par.temp, *d.Px, *d.Py, *d.Ex, *d.Ey, *d.scratch,
                                                            1, 1, *rows),
              0);
    const auto sumAll = all.VolF_S->Download(), sumPar = par.VolF_S->Download();
    const auto SAll = all.S->Download(), SPar = par.S->Download();
    for (int c = 0; c < par.mesh.nCells; ++c) {
        const bool listed = c == 0 || c == 4 || c == 8;
        EXPECT_EQ(sumPar[c], listed ? sumAll[c] : 0.0) << c;
        EXPECT_EQ(SPar[c], listed ? SAll[c] : 0.0) << c;
    }
}

TEST(FlowESmooth, WallAndSelectedInletSlotsTakeTheCellValue)
{
    auto cell = Up(std::vector<int>{0, 1, 1}), slot = Up(std::vector<int>{2, 3, 4});
    auto V = Up(std::vector<double>{0.25, 0.75, 9.0, 9.0, 9.0});
    ASSERT_EQ(Tool().Calc_FlowE_SmoothVariable_Extrapolate_Gradient(2, *cell, *slot, *V, 1), 0);
    EXPECT_EQ(V->Download(), (std::vector<double>{0.25, 0.75, 0.25, 0.75, 9.0}));

    // Inactive, active, inactive: only inactive faces while a second fluid
    // is injected or in fill type 2.
    auto gp = Up(std::vector<int>{0, 1, 0});
    for (int mode = 0; mode < 3; ++mode) {
        V->Upload({0.25, 0.75, 9.0, 9.0, 9.0});
        const int iFAIMIn = mode == 0 ? 1 : 0, iFillType = mode == 1 ? 2 : 1;
        ASSERT_EQ(Tool().Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(3, iFAIMIn, iFillType, *cell, *slot, *gp,
                                                                              *V, 1),
                  0);
        EXPECT_EQ(V->Download(), mode < 2 ? (std::vector<double>{0.25, 0.75, 0.25, 9.0, 0.75})
                                          : (std::vector<double>{0.25, 0.75, 9.0, 9.0, 9.0}));
    }
}

// ---------------------------------------------------------------------------
// Partition copy lists
// ---------------------------------------------------------------------------

// Two partitions of 4 cells each, with 2 halo slots (indices 4, 5) holding
// the copies of the other partition's interface cells. A gathers its
// interface cells, the lists travel as the host would copy them, B scatters
// into its halo slots; every other entry stays as it was.
TEST(FlowECopyList, InterfaceValuesReachTheNeighboursHaloSlotsOnly)
{
    auto fiA = Up(std::vector<double>{1.0, 2.0, 3.0, 4.0, -1.0, -1.0});
    auto fiB = Up(std::vector<double>{10.0, 20.0, 30.0, 40.0, -1.0, -2.0});
    auto sendA = Up(std::vector<int>{3, 1}), haloB = Up(std::vector<int>{5, 4});
    auto outA = Field(2), inB = Field(2);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(Tool().CreateCUDAStream(&stream), 0);
    for (bool onStream : {false, true}) {
        outA->Upload({0.0, 0.0});
        fiB->Upload({10.0, 20.0, 30.0, 40.0, -1.0, -2.0});
        if (onStream) {
            ASSERT_EQ(Tool().Calc_fiD2ParD2HCopyListD_Stream(2, *sendA, *fiA, *outA, 1, stream), 0);
            ASSERT_EQ(Tool().SyncCUDAStream(stream), 0);
        } else {
            ASSERT_EQ(Tool().Calc_fiD2ParD2HCopyListD(2, *sendA, *fiA, *outA, 1), 0);
        }
        EXPECT_EQ(outA->Download(), (std::vector<double>{4.0, 2.0}));
        inB->Upload(outA->Download());  // the exchange between the partitions
        ASSERT_EQ(Tool().Calc_ParH2DCopyListD2fiD(2, *haloB, *inB, *fiB, 1), 0);
        EXPECT_EQ(fiB->Download(), (std::vector<double>{10.0, 20.0, 30.0, 40.0, 2.0, 4.0}));
        EXPECT_EQ(fiA->Download(), (std::vector<double>{1.0, 2.0, 3.0, 4.0, -1.0, -1.0}));
    }
    // An empty list changes nothing.
    ASSERT_EQ(Tool().Calc_ParH2DCopyListD2fiD(0, *haloB, *inB, *fiA, 1), 0);
    EXPECT_EQ(fiA->Download(), (std::vector<double>{1.0, 2.0, 3.0, 4.0, -1.0, -1.0}));
    ASSERT_EQ(Tool().DestroyCUDAStream(stream), 0);
}

// ---------------------------------------------------------------------------
// Field range
// ---------------------------------------------------------------------------

// The level table of GetSizeOfBlock for n elements, with buffers full of
// garbage that the operation must clear.
struct Levels : rvztest::LevelPlan {
    std::unique_ptr<DeviceArray<double>> maxBuffer, minBuffer;
    explicit Levels(int n) : LevelPlan(n)
    {
        maxBuffer = Up(std::vector<double>(total, 9.9e299));
        minBuffer = Up(std::vector<double>(total, -9.9e299));
    }
    int Range(int n, const DeviceArray<double>& f, double& maxValue, double& minValue)
    {
        return Tool().Calc_FlowE_FindMaxMinValue(n, f, maxValue, minValue, *maxBuffer, *minBuffer, nLevels, count,
                                                 offset, total, size);
    }
};

TEST(FlowERange, MaximumAndMinimumOverEveryLevelCount)
{
    // One element; one block; several blocks; enough for collecting passes.
    for (int n : {1, 200, 1000, 300001}) {
        auto values = rvztest::RandomVector(n, 11 + n, -5.0, -1.0);  // all negative: a stray 0 would show
        Levels L(n);
        DeviceArray<double> f(values);
        double maxValue = 0.0, minValue = 0.0;
        ASSERT_EQ(L.Range(n, f, maxValue, minValue), 0);
        EXPECT_EQ(maxValue, *std::max_element(values.begin(), values.end())) << n;
        EXPECT_EQ(minValue, *std::min_element(values.begin(), values.end())) << n;
    }
    // Entries past the element count take no part.
    Levels L(3);
    DeviceArray<double> f(std::vector<double>{2.0, 3.0, 1.5, 100.0, -100.0});
    double maxValue = 0.0, minValue = 0.0;
    ASSERT_EQ(L.Range(3, f, maxValue, minValue), 0);
    EXPECT_EQ(maxValue, 3.0);
    EXPECT_EQ(minValue, 1.5);
}

// ---------------------------------------------------------------------------
// Failures
// ---------------------------------------------------------------------------

TEST(FlowEUtilityRuns, OtherBlockSizesDoNothing)
{
    auto VolF_S = Field(1, 1.0), S = Field(1, 1.0), V = Field(1, 0.7);
    EXPECT_EQ(rvz::Calc_FlowE_SmoothVariable_SmoothVolF(512, 1, *VolF_S, *S, *V, 1, 0), 0);
    EXPECT_EQ(V->Download()[0], 0.7);
}

#if !RVZGPU_BACKEND_CUDA
TEST(FlowEUtilityRuns, FailedStepsAreReported)
{
    // The range checks its element kernel only; the rest still runs.
    Levels L(1000);
    DeviceArray<double> f(std::vector<double>(1000, -2.0));
    double maxValue = 7.0, minValue = 7.0;
    int status = -1;
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    std::string out = rvztest::CaptureOutput([&] { status = L.Range(1000, f, maxValue, minValue); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_FlowE_FindMaxMinValue failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(maxValue, 0.0);  // the cleared buffers were collected and copied
    EXPECT_EQ(minValue, 0.0);

    // A failed collect of the interior smoothing: reported, the updates and
    // the second collect still run, the last update's status is returned.
    Smoothing t;
    t.V->Upload(std::vector<double>(t.mesh.nExt, 0.5));
    t.dev.ClearScratch();
    rvz::host::testing::inject_launch_faults(1, cudaErrorInvalidValue, 1);
    out = rvztest::CaptureOutput([&] { status = t.Interior(); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(out.rfind("GPU[0:host] Calc_FlowE_SmoothVariable_InnerFace_VolF_S failed: ", 0), 0u) << out;
    EXPECT_EQ(status, 0);
    EXPECT_EQ(t.VolF_S->Download()[4], 0.0);
    EXPECT_EQ(t.S->Download()[4], 6.0);

    // The copy list on a stream reports under the same message as without.
    auto list = Up(std::vector<int>{0});
    auto fi = Field(1, 3.0), outList = Field(1);
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure);
    out = rvztest::CaptureOutput(
        [&] { status = Tool().Calc_fiD2ParD2HCopyListD_Stream(1, *list, *fi, *outList, 1, nullptr); });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out.rfind("GPU[0:host] fiD2ParD2HCopyListD failed: ", 0), 0u) << out;
    EXPECT_EQ(outList->Download()[0], 0.0);
}
#endif

}  // namespace
