// Level tables and multi-level reductions: the table for hand-derived sizes,
// and sums, maxima and minima equal to an independent re-implementation of
// the fixed tree order, bit for bit, for any OpenMP thread count.
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "CU_Reduction.h"
#include "test_support.h"

namespace {

using rvztest::DeviceArray;
using rvztest::Tool;

struct ExpectedTable {
    int n;
    int nLevels;
    std::vector<int> size;
    std::vector<int> offset;
    int total;
};

// Worked by hand from the rule: pad n to blocks of 256, one entry per block
// per level down to 1, each level's region padded to 256 entries.
const ExpectedTable kTables[] = {
    {1, 2, {256, 1}, {0, 256}, 256},
    {255, 2, {256, 1}, {0, 256}, 256},
    {256, 2, {256, 1}, {0, 256}, 256},
    {257, 3, {512, 2, 1}, {0, 256, 512}, 512},
    {300, 3, {512, 2, 1}, {0, 256, 512}, 512},
    {1000, 3, {1024, 4, 1}, {0, 256, 512}, 512},
    {65536, 3, {65536, 256, 1}, {0, 256, 512}, 512},
    {65537, 4, {65792, 257, 2, 1}, {0, 512, 768, 1024}, 1024},
    {100000, 4, {100096, 391, 2, 1}, {0, 512, 768, 1024}, 1024},
    {10000000, 4, {10000128, 39063, 153, 1}, {0, 39168, 39424, 39680}, 39680},
};

TEST(LevelTable, MatchesHandDerivedSizesOffsetsAndCounts)
{
    for (const auto& e : kTables) {
        SCOPED_TRACE(e.n);
        int total = -7, nLevels = -7, count[16], size[16], offset[16];
        std::fill(count, count + 16, -9);
        ASSERT_EQ(Tool().GetSizeOfBlock(e.n, total, nLevels, count, size, offset), 0);
        EXPECT_EQ(nLevels, e.nLevels);
        EXPECT_EQ(total, e.total);
        for (int k = 0; k < e.nLevels; ++k) {
            EXPECT_EQ(size[k], e.size[k]) << "size[" << k << "]";
            EXPECT_EQ(offset[k], e.offset[k]) << "offset[" << k << "]";
        }
        EXPECT_EQ(size[e.nLevels], 1) << "the entry after the last level";
        EXPECT_EQ(count[0], -9) << "count[0] is not written";
        for (int k = 1; k < e.nLevels; ++k) EXPECT_EQ(count[k], e.size[k]);
    }
}

TEST(LevelTable, RefusesCountsBelowOne)
{
    int total = 5, nLevels = 5, count[16], size[16], offset[16];
    EXPECT_EQ(Tool().GetSizeOfBlock(0, total, nLevels, count, size, offset), cudaErrorInvalidValue);
    EXPECT_EQ(nLevels, 0);
    EXPECT_EQ(total, 0);
    EXPECT_EQ(Tool().GetSizeOfBlock(-3, total, nLevels, count, size, offset), cudaErrorInvalidValue);
}

// ---------------------------------------------------------------------------
// An independent model of the reduction order, written from the rule.

using Combine2 = std::function<double(double, double)>;

double Tree256(std::vector<double> s, const Combine2& op)
{
    for (int stride = 128; stride >= 1; stride /= 2)
        for (int t = 0; t < stride; ++t) s[t] = op(s[t], s[t + stride]);
    return s[0];
}

double ModelReduce(const std::vector<double>& x, int n, int collectInputs, const Combine2& op, double neutral)
{
    const rvz::LevelTable t = rvz::MakeLevelTable(n);
    std::vector<double> level(t.size[1]);
    for (int b = 0; b < t.size[1]; ++b) {
        std::vector<double> s(256);
        for (int k = 0; k < 256; ++k) s[k] = b * 256 + k < n ? x[b * 256 + k] : neutral;
        level[b] = Tree256(s, op);
    }
    for (int k = 1; k <= t.nLevels - 2; ++k) {
        const int count = t.count[k];
        std::vector<double> next(t.size[k + 1]);
        for (int b = 0; b < t.size[k + 1]; ++b) {
            std::vector<double> s(256);
            for (int tt = 0; tt < 256; ++tt) {
                const int j = b * collectInputs + tt;
                s[tt] = j < count ? level[j] : neutral;
                if (collectInputs == 512 && j + 256 < count) s[tt] = op(s[tt], level[j + 256]);
            }
            next[b] = Tree256(s, op);
        }
        level = next;
    }
    return level[0];
}

struct Reduction {
    rvz::Combine combine;
    Combine2 op;
    double neutral;
    const char* name;
};

const Reduction kReductions[] = {
    {rvz::Combine::Sum, [](double a, double b) { return a + b; }, 0.0, "sum"},
    {rvz::Combine::Max, [](double a, double b) { return a > b ? a : b; }, -std::numeric_limits<double>::infinity(),
     "max"},
    {rvz::Combine::Min, [](double a, double b) { return a > b ? b : a; }, std::numeric_limits<double>::infinity(),
     "min"},
};

double DeviceReduce(const Reduction& r, int collectInputs, const DeviceArray<double>& x, int n)
{
    const rvz::LevelTable t = rvz::MakeLevelTable(n);
    // The partial-result buffer starts full of garbage: nothing may read an
    // entry a pass did not write.
    DeviceArray<double> buffer(std::vector<double>(t.total, 12345.678));
    double result = std::nan("");
    EXPECT_EQ(rvz::Reduce(r.combine, collectInputs, n, x, buffer, t, result), 0);
    return result;
}

TEST(BlockReduction, EqualsTheTreeOrderBitForBitWithGarbagePastTheCount)
{
    for (int n : {1, 255, 256, 257, 300, 1000, 65536, 65537, 100000, 10000000}) {
        // Values of mixed magnitude make the order of addition visible.
        std::vector<double> x = rvztest::RandomVector(n + 300, 17u + n, -1e3, 1e3);
        for (int i = 0; i < n; i += 7) x[i] *= 1e-9;
        for (int i = n; i < n + 300; ++i) x[i] = 1e300;  // garbage beyond the count
        DeviceArray<double> xD(x);
        for (const auto& r : kReductions)
            for (int inputs : {256, 512}) {
                SCOPED_TRACE(testing::Message() << r.name << " n=" << n << " inputs=" << inputs);
                const double expected = ModelReduce(x, n, inputs, r.op, r.neutral);
                EXPECT_TRUE(rvztest::SameBits(DeviceReduce(r, inputs, xD, n), expected));
            }
    }
}

TEST(BlockReduction, SameBitsForOneTwoAndFourThreads)
{
    const int n = 1000003;
    DeviceArray<double> xD(rvztest::RandomVector(n, 5u));
    for (const auto& r : kReductions) {
        const auto results = rvztest::ForThreadCounts({1, 2, 4}, [&] { return DeviceReduce(r, 256, xD, n); });
        EXPECT_TRUE(rvztest::SameBits(results[0], results[1])) << r.name;
        EXPECT_TRUE(rvztest::SameBits(results[0], results[2])) << r.name;
    }
}

TEST(BlockReduction, BothCollectingWidthsGiveTheSameSumUpToRounding)
{
    const int n = 300000;
    const auto x = rvztest::RandomVector(n, 9u, 0.0, 1.0);
    DeviceArray<double> xD(x);
    const double a = DeviceReduce(kReductions[0], 256, xD, n);
    const double b = DeviceReduce(kReductions[0], 512, xD, n);
    EXPECT_NEAR(a, b, 1e-9 * std::fabs(a));
}

TEST(DotProduct, MatchesTheExactDotOfSmallIntegers)
{
    // Products and partial sums of small integers are exact in any order, so
    // the device result must equal the plain sum exactly.
    for (int n : {300, 65537}) {
        std::vector<double> a(n), b(n);
        double exact = 0.0;
        for (int i = 0; i < n; ++i) {
            a[i] = (i % 13) - 6;
            b[i] = (i % 7) + 1;
            exact += a[i] * b[i];
        }
        DeviceArray<double> aD(a), bD(b);
        const rvz::LevelTable t = rvz::MakeLevelTable(n);
        DeviceArray<double> buffer(t.total);
        double result = 0.0;
        EXPECT_EQ(rvz::DotProduct(n, aD, bD, buffer, t, result), 0);
        EXPECT_EQ(result, exact) << n;
    }
}

TEST(BlockReduction, SingleLevelReadsTheResultAtOffsetZero)
{
    const rvz::LevelTable t = rvz::MakeLevelTable(256);
    EXPECT_EQ(rvz::ResultOffset(t), 0);
    const rvz::LevelTable t300 = rvz::MakeLevelTable(300);
    EXPECT_EQ(rvz::ResultOffset(t300), 256);
}

}  // namespace
