// Sparse storage: sizing, CSR-to-ELL conversion and the matrix products.
#include "CU_CG_CSR.h"
#include "CU_CG_ELL.h"
#include "krylov_test_support.h"

using namespace rvztest;

TEST(SparseStorage, PaddedRowCountAndWidestRow)
{
    EXPECT_EQ(Tool().CalcNewNNU(256), 256);
    EXPECT_EQ(Tool().CalcNewNNU(257), 512);
    EXPECT_EQ(Tool().CalcNewNNU(1), 256);
    std::vector<int> ia{0, 3, 4, 9};
    // n = 4 covers all three rows; n = 3 leaves the last (widest) row out.
    EXPECT_EQ(Tool().CalcMaxNColumn(4, ia.data()), 5);
    EXPECT_EQ(Tool().CalcMaxNColumn(3, ia.data()), 3);
    EXPECT_EQ(Tool().CalcMaxNColumn(1, ia.data()), 0);
    std::vector<int> decreasing{9, 4, 3};
    EXPECT_EQ(Tool().CalcMaxNColumn(3, decreasing.data()), 0);
}

TEST(SparseStorage, ConversionLayoutPadsRowsAndSlots)
{
    // Rows {A00, A01} and {A11}.
    std::vector<int> ia{0, 2, 3}, ja{0, 1, 1};
    std::vector<double> aa{4.0, -1.0, 3.0};
    const int nnu = 2, ncol = 2, new_nnu = 256;
    std::vector<double> values(512, -9.0);
    std::vector<int> index(512, -9);
    EXPECT_EQ(Tool().aa2aaELLd(nnu, ncol, new_nnu, ia.data(), aa.data(), values.data()), 0);
    EXPECT_EQ(Tool().ja2indexELL(nnu, ncol, new_nnu, ia.data(), ja.data(), index.data()), 0);
    std::vector<double> expectValues(512, 1.0);
    std::vector<int> expectIndex(512, -1);
    expectValues[0] = 4.0, expectValues[1] = 3.0, expectValues[256] = -1.0, expectValues[257] = 0.0;
    expectIndex[0] = 0, expectIndex[1] = 1, expectIndex[256] = 1;
    EXPECT_EQ(values, expectValues);
    EXPECT_EQ(index, expectIndex);

    // No slots: nothing is written.
    std::vector<double> untouched(4, -9.0);
    EXPECT_EQ(Tool().aa2aaELLd(nnu, 0, new_nnu, ia.data(), aa.data(), untouched.data()), 0);
    EXPECT_EQ(untouched, std::vector<double>(4, -9.0));
}

// A matrix with random rows whose columns reach far outside the row's
// block of 256, so that both the cached and the uncached reads of x occur.
static CsrMatrix RandomMatrix(int n, unsigned seed)
{
    std::mt19937 gen(seed);
    std::uniform_int_distribution<int> width(0, 9), column(0, n - 1);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    CsrMatrix m;
    m.n = n;
    m.ia.push_back(0);
    for (int i = 0; i < n; ++i) {
        m.ja.push_back(i);
        m.aa.push_back(10.0 + value(gen));
        for (int k = width(gen); k > 0; --k) {
            m.ja.push_back(k % 2 ? column(gen) : std::min(n - 1, i + k));
            m.aa.push_back(value(gen));
        }
        m.ia.push_back(m.nna());
    }
    return m;
}

TEST(SparseProducts, CsrPathsAndEllAgreeBitwiseAndWithEigen)
{
    const CsrMatrix m = RandomMatrix(1500, 11);
    const std::vector<double> x = RandomVector(static_cast<size_t>(m.n), 12);
    DeviceArray<int> ia(m.ia), ja(m.ja);
    DeviceArray<double> aa(m.aa), xD(x), yPortable(m.n), ySolver(m.n);
    ASSERT_EQ(rvz::CSRProduct(m.n, ia, ja, aa, xD, yPortable, rvz::CSRProductPath::Portable), 0);
    ASSERT_EQ(rvz::CSRProduct(m.n, ia, ja, aa, xD, ySolver, rvz::CSRProductPath::Solver), 0);
    const std::vector<double> csr = yPortable.Download();
    EXPECT_TRUE(SameBits(csr, ySolver.Download()));

    const EllHost e = ToEll(m);
    DeviceArray<int> index(e.index);
    DeviceArray<double> values(e.values), xE(Padded(x, e.new_nnu)), yE(e.new_nnu);
    const auto ell = ForThreadCounts({1, 2, 4}, [&] {
        EXPECT_EQ(rvz::ELLProduct(e.nnu, e.new_nnu, e.ncol, index, values, xE, yE), 0);
        std::vector<double> y = yE.Download();
        y.resize(static_cast<size_t>(m.n));
        return y;
    });
    for (const auto& y : ell) EXPECT_TRUE(SameBits(y, csr));

    const Eigen::VectorXd reference = ToEigen(m) * AsEigen(x);
    for (int i = 0; i < m.n; ++i) EXPECT_NEAR(csr[i], reference[i], 1e-13 * (1.0 + std::fabs(reference[i])));
}

TEST(SparseProducts, EllSkipsUnusedSlotsWhateverTheirValue)
{
    // One row, two slots: the second is unused (-1) but carries a value.
    const int new_nnu = 256;
    std::vector<int> index(512, -1);
    std::vector<double> values(512, 7.0);
    index[0] = 0, values[0] = 2.0;
    DeviceArray<int> indexD(index);
    DeviceArray<double> valuesD(values), x(std::vector<double>(256, 3.0)), y(256);
    ASSERT_EQ(rvz::ELLProduct(1, new_nnu, 2, indexD, valuesD, x, y), 0);
    const std::vector<double> out = y.Download();
    EXPECT_EQ(out[0], 6.0);
    EXPECT_EQ(out[1], 0.0);  // rows at or beyond nnu are not written
}
