// Field statistics: the seven multi-level reductions of the material family.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "CU_ModMatPara.h"
#include "test_support.h"

namespace {

using rvztest::DeviceArray;
using rvztest::Tool;

// The level table of GetSizeOfBlock and the partial-result buffers of one
// reduction length. The buffers start full of garbage: each operation must
// clear what it uses.
struct Levels {
    int n, total = 0, nLevels = 0;
    int count[16] = {}, size[16] = {}, offset[16] = {};
    DeviceArray<double>* a = nullptr;
    DeviceArray<double>* b = nullptr;
    explicit Levels(int elements) : n(elements)
    {
        EXPECT_EQ(Tool().GetSizeOfBlock(n, total, nLevels, count, size, offset), 0);
        a = new DeviceArray<double>(std::vector<double>(total, 9.9e299));
        b = new DeviceArray<double>(std::vector<double>(total, -9.9e299));
    }
    ~Levels()
    {
        delete a;
        delete b;
    }
    int grid() const { return size[1]; }
};

struct Range {
    double max, min;
};

Range DeviceRange(int op, const std::vector<double>& f)
{
    const int n = static_cast<int>(f.size());
    Levels L(n);
    DeviceArray<double> fD(f);
    Range r{-1.0, -1.0};
    int status = -1;
    if (op == 0)
        status = Tool().Calc_Tmax_Tmin(n, fD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size,
                                       r.max, r.min);
    if (op == 1)
        status = Tool().Calc_SRmax_SRmin(n, fD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size,
                                         r.max, r.min);
    if (op == 2)
        status = Tool().Calc_Pmax_Pmin(n, fD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size,
                                       r.max, r.min);
    EXPECT_EQ(status, 0);
    return r;
}

Range DeviceViscosityRange(double FCRI, const std::vector<double>& vis, const std::vector<double>& alpha)
{
    const int n = static_cast<int>(vis.size());
    Levels L(n);
    DeviceArray<double> visD(vis), aD(alpha);
    Range r{-1.0, -1.0};
    EXPECT_EQ(Tool().Calc_vismax_vismin(n, FCRI, visD, aD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset,
                                        L.total, L.size, r.max, r.min),
              0);
    return r;
}

double DeviceUmax(double FCRI, const std::vector<double>& alpha, const std::vector<double>& u,
                  const std::vector<double>& v, const std::vector<double>& w)
{
    const int n = static_cast<int>(u.size());
    Levels L(n);
    DeviceArray<double> aD(alpha), uD(u), vD(v), wD(w);
    double umax = -1.0;
    EXPECT_EQ(Tool().Calc_Umax(n, FCRI, aD, uD, vD, wD, *L.a, L.grid(), L.nLevels, L.count, L.offset, L.total,
                               L.size, umax),
              0);
    return umax;
}

Range DeviceSums(const std::vector<double>& alpha, const std::vector<double>& vis)
{
    const int n = static_cast<int>(alpha.size());
    Levels L(n);
    DeviceArray<double> aD(alpha), visD(vis);
    Range s{-1.0, -1.0};
    EXPECT_EQ(Tool().Calc_Sum_VisMeltAvg_voltmp(n, aD, visD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset,
                                                L.total, L.size, s.max, s.min),
              0);
    return s;
}

double DeviceInletMax(const std::vector<int>& inlet, const std::vector<double>& sr)
{
    const int n = static_cast<int>(inlet.size());
    Levels L(n);
    DeviceArray<int> ijD(inlet);
    DeviceArray<double> srD(sr);
    double m = -1.0;
    EXPECT_EQ(Tool().Calc_MaxSRate(n, ijD, srD, *L.a, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size, m),
              0);
    return m;
}

// Lengths around block and level boundaries: one level (n <= 256), two,
// three and four levels of the table.
const std::vector<int> kLengths = {1, 3, 255, 256, 257, 1000, 65535, 65537, 100000, 300001};

}  // namespace

// Fields entirely below zero for the maximum and entirely above zero for the
// minimum: a padding position that entered as 0 would win.
TEST(FieldStatistics, RangesMatchPlainMaxAndMinForLengthsNotMultiplesOf256)
{
    for (int n : kLengths)
        for (int op = 0; op < 3; ++op) {
            const auto negative = rvztest::RandomVector(n, 10 + n + op, -900.0, -100.0);
            const auto positive = rvztest::RandomVector(n, 20 + n + op, 100.0, 900.0);
            const Range neg = DeviceRange(op, negative), pos = DeviceRange(op, positive);
            EXPECT_EQ(neg.max, *std::max_element(negative.begin(), negative.end())) << "n " << n << " op " << op;
            EXPECT_EQ(neg.min, *std::min_element(negative.begin(), negative.end())) << "n " << n << " op " << op;
            EXPECT_EQ(pos.max, *std::max_element(positive.begin(), positive.end())) << "n " << n << " op " << op;
            EXPECT_EQ(pos.min, *std::min_element(positive.begin(), positive.end())) << "n " << n << " op " << op;
        }
}

TEST(FieldStatistics, InletMaximumReadsTheListedBoundarySlots)
{
    for (int n : {1, 257, 1000, 70001}) {
        // The field holds cells and boundary slots; only listed slots count,
        // and the largest value of the field is not listed.
        auto sr = rvztest::RandomVector(2 * n + 10, 30 + n, -50.0, -1.0);
        sr[0] = 1e6;
        std::vector<int> inlet(n);
        double expected = -1e300;
        for (int i = 0; i < n; ++i) {
            inlet[i] = 2 * n + 9 - 2 * i;
            expected = std::max(expected, sr[inlet[i]]);
        }
        EXPECT_EQ(DeviceInletMax(inlet, sr), expected) << "n " << n;
    }
}

TEST(FieldStatistics, ViscosityRangeTakesTheMinimumOverFilledCellsOnly)
{
    for (int n : {200, 1000, 100000}) {
        auto vis = rvztest::RandomVector(n, 40 + n, 10.0, 1e5);
        auto alpha = rvztest::RandomVector(n, 50 + n, 0.0, 1.0);
        vis[n / 2] = 1.0;  // the smallest viscosity sits in a cell exactly at FCRI: filled
        alpha[n / 2] = 0.5;
        double mx = -1e300, mn = 1e30;
        for (int i = 0; i < n; ++i) {
            mx = std::max(mx, vis[i]);
            if (alpha[i] >= 0.5) mn = std::min(mn, vis[i]);
        }
        const Range r = DeviceViscosityRange(0.5, vis, alpha);
        EXPECT_EQ(r.max, mx);
        EXPECT_EQ(r.min, mn);
        // No filled cell: the minimum is 1e30, the maximum still over all cells.
        const Range empty = DeviceViscosityRange(0.5, vis, std::vector<double>(n, 0.2));
        EXPECT_EQ(empty.max, mx);
        EXPECT_EQ(empty.min, 1.0e30);
    }
}

TEST(FieldStatistics, LargestVelocityComponentOverFilledCells)
{
    for (int n : {1, 300, 65537}) {
        const auto u = rvztest::RandomVector(n, 60 + n, -80.0, 80.0);
        const auto v = rvztest::RandomVector(n, 61 + n, -80.0, 80.0);
        const auto w = rvztest::RandomVector(n, 62 + n, -80.0, 80.0);
        auto alpha = rvztest::RandomVector(n, 63 + n, 0.0, 1.0);
        alpha[n - 1] = 0.5;  // exactly at FCRI: filled
        double expected = 1e-30;
        for (int i = 0; i < n; ++i)
            if (alpha[i] >= 0.5) expected = std::max({expected, std::fabs(u[i]), std::fabs(v[i]), std::fabs(w[i])});
        EXPECT_EQ(DeviceUmax(0.5, alpha, u, v, w), expected) << "n " << n;
        EXPECT_EQ(DeviceUmax(0.5, std::vector<double>(n, 0.49), u, v, w), 1.0e-30) << "n " << n;
    }
}

TEST(FieldStatistics, TiesReturnTheCommonValue)
{
    for (int n : {256, 1000, 100000}) {
        std::vector<double> flat(n, -3.25);
        const Range r = DeviceRange(0, flat);
        EXPECT_EQ(r.max, -3.25);
        EXPECT_EQ(r.min, -3.25);
        // The extreme value repeated in many blocks and levels.
        auto f = rvztest::RandomVector(n, 70 + n, 0.0, 1.0);
        for (int i = 0; i < n; i += 97) f[i] = 2.5;
        for (int i = 5; i < n; i += 89) f[i] = -2.5;
        const Range t = DeviceRange(2, f);
        EXPECT_EQ(t.max, 2.5);
        EXPECT_EQ(t.min, -2.5);
    }
}

TEST(FieldStatistics, SumsAgreeWithAPlainSumAndGiveTheMeanMeltViscosity)
{
    for (int n : kLengths) {
        const auto alpha = rvztest::RandomVector(n, 80 + n, 0.0, 1.0);
        const auto vis = rvztest::RandomVector(n, 90 + n, 1e2, 1e5);
        long double sv = 0.0L, sa = 0.0L;
        for (int i = 0; i < n; ++i) {
            sv += static_cast<long double>(alpha[i] * vis[i]);
            sa += alpha[i];
        }
        const Range s = DeviceSums(alpha, vis);
        EXPECT_NEAR(s.max, static_cast<double>(sv), 1e-13 * static_cast<double>(sv)) << "n " << n;
        EXPECT_NEAR(s.min, static_cast<double>(sa), 1e-13 * static_cast<double>(sa)) << "n " << n;
    }
    // A uniform field: the mean melt viscosity is that viscosity.
    const Range u = DeviceSums(std::vector<double>(1000, 0.75), std::vector<double>(1000, 4000.0));
    EXPECT_EQ(u.max / u.min, 4000.0);
}

TEST(FieldStatistics, SameBitsForOneTwoAndFourThreads)
{
    const int n = 300001;
    const auto f = rvztest::RandomVector(n, 5, -1e3, 1e3);
    const auto alpha = rvztest::RandomVector(n, 6, 0.0, 1.0);
    const auto results = rvztest::ForThreadCounts({1, 2, 4}, [&] {
        const Range r = DeviceRange(1, f), v = DeviceViscosityRange(0.5, f, alpha), s = DeviceSums(alpha, f);
        std::vector<int> inlet(n / 3);
        for (int i = 0; i < n / 3; ++i) inlet[i] = 3 * i;
        return std::vector<double>{r.max, r.min, v.max, v.min, s.max, s.min, DeviceUmax(0.5, alpha, f, f, f),
                                   DeviceInletMax(inlet, f)};
    });
    for (size_t k = 0; k < results[0].size(); ++k) {
        EXPECT_TRUE(rvztest::SameBits(results[0][k], results[1][k])) << k;
        EXPECT_TRUE(rvztest::SameBits(results[0][k], results[2][k])) << k;
    }
}

// The element kernel fails: the failure is reported with its message and
// returned, and the collecting passes and the copies still run (the second
// injected fault is consumed by the first collecting pass and, unchecked,
// stays the platform's last error).
TEST(StatisticsStatus, FailedFirstLevelIsReportedAndTheCollectingPassesStillRun)
{
    RVZ_REQUIRE_HOST_BACKEND();
#if !RVZGPU_BACKEND_CUDA
    const int n = 100000;  // four levels: two collecting passes
    Levels L(n);
    ASSERT_EQ(L.nLevels, 4);
    DeviceArray<double> TD(rvztest::RandomVector(n, 3, 20.0, 300.0));
    double Tmax = 12345.0, Tmin = 12345.0;
    int status = 0;
    rvz::host::testing::inject_launch_faults(2, cudaErrorLaunchFailure);
    const std::string out = rvztest::CaptureOutput([&] {
        status = Tool().Calc_Tmax_Tmin(n, TD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size,
                                       Tmax, Tmin);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, cudaErrorLaunchFailure);
    EXPECT_EQ(out, std::string("GPU[0:host] Calc_Calc_Tmax_Tmin failed: ") + rvz::PlatformErrorText(719) +
                       ".(719)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(Tool().GPUGetLastError(), cudaErrorLaunchFailure);  // left by the unchecked collecting pass
    EXPECT_EQ(Tmax, 0.0);  // the cleared buffer, copied back
    EXPECT_EQ(Tmin, 0.0);

    // A failed collecting pass alone is not checked: status 0, nothing printed.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchFailure, 1);
    const std::string quiet = rvztest::CaptureOutput([&] {
        status = Tool().Calc_Tmax_Tmin(n, TD, *L.a, *L.b, L.grid(), L.nLevels, L.count, L.offset, L.total, L.size,
                                       Tmax, Tmin);
    });
    rvz::host::testing::clear_faults();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(quiet, "");
    EXPECT_EQ(Tool().GPUGetLastError(), cudaErrorLaunchFailure);

    // Any block size but 256: nothing runs, the host results keep their values.
    Tmax = Tmin = 7.0;
    EXPECT_EQ(rvz::Calc_Tmax_Tmin(512, n, TD, *L.a, *L.b, L.grid(), rvz::LevelView(L.nLevels, L.count, L.offset,
                                                                                    L.total, L.size),
                                  Tmax, Tmin, 0),
              0);
    EXPECT_EQ(Tmax, 7.0);
    EXPECT_EQ(Tmin, 7.0);
#endif
}
