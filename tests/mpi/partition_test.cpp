// The row partitioner: owners, local matrices with halo columns, and the
// exchange lists that two ranks must agree on without talking.
#include <algorithm>
#include <map>
#include <stdexcept>

#include "../../examples/rvzgpu_solve/model_problems.h"
#include "RVZPartition.h"
#include "test_support.h"

namespace rvztest {
namespace {

using rvzpart::Part;

std::vector<Part> AllParts(const rvzmodel::CsrMatrix& m, const std::vector<int>& owner, int parts)
{
    std::vector<Part> all;
    for (int r = 0; r < parts; ++r) all.push_back(rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, owner, r, parts));
    return all;
}

std::vector<int> Globals(const Part& p, const std::vector<int>& positions, int from, int to)
{
    std::vector<int> g;
    for (int k = from; k < to; ++k) g.push_back(p.global[positions[k]]);
    return g;
}

TEST(Partition, OwnersShareRowsAndPlanesEvenly)
{
    const std::vector<int> blocks = rvzpart::RowBlockOwners(10, 4);
    EXPECT_EQ(blocks, (std::vector<int>{0, 0, 0, 1, 1, 1, 2, 2, 3, 3}));
    const std::vector<int> slabs = rvzpart::SlabOwners(2, 3, 5, 2);
    for (int p = 0; p < 30; ++p) EXPECT_EQ(slabs[p], p / 6 < 3 ? 0 : 1) << p;
    EXPECT_THROW(rvzpart::SlabOwners(2, 2, 2, 3), std::invalid_argument);
    const rvzmodel::CsrMatrix m = rvzmodel::Poisson3D(3, 3, 3);
    EXPECT_THROW(rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, std::vector<int>(27, 2), 0, 2), std::invalid_argument);
}

// Each local matrix applied to the local copy of a vector gives the global
// product at its rows; every pair of ranks agrees on what goes each way.
TEST(Partition, LocalMatricesAndListsAgreeAcrossRanks)
{
    const rvzmodel::CsrMatrix m = rvzmodel::ConvectionDiffusion3D(7, 6, 5, 1.0, 2.0, 0.5);
    const std::vector<double> x = RandomVector(static_cast<size_t>(m.n), 5);
    const std::vector<double> y = rvzmodel::Multiply(m, x);
    const std::vector<int> owner = rvzpart::RowBlockOwners(m.n, 4);
    const std::vector<Part> parts = AllParts(m, owner, 4);
    int owned = 0;
    for (const Part& p : parts) {
        owned += p.nnu;
        const std::vector<double> local = p.Localise(x);
        for (int i = 0; i < p.nnu; ++i) {
            EXPECT_EQ(p.ja[p.ia[i]], i);  // the diagonal stays first
            double s = 0.0;
            for (int k = p.ia[i]; k < p.ia[i + 1]; ++k) s += p.aa[k] * local[p.ja[k]];
            EXPECT_NEAR(s, y[p.global[i]], 1e-12);
        }
        for (int l = p.nnu; l < p.localLength(); ++l) EXPECT_NE(owner[p.global[l]], p.rank);
    }
    EXPECT_EQ(owned, m.n);

    for (const Part& p : parts)
        for (int j = 0; j < p.nNbr(); ++j) {
            const Part& q = parts[p.sendNbr[j]];
            EXPECT_EQ(p.recvNbr[j], p.sendNbr[j]);
            const auto back = std::find(q.recvNbr.begin(), q.recvNbr.end(), p.rank);
            ASSERT_NE(back, q.recvNbr.end());
            const int jq = static_cast<int>(back - q.recvNbr.begin());
            EXPECT_EQ(Globals(p, p.sendIndex, p.sendStart[j], p.sendStart[j + 1]),
                      Globals(q, q.recvIndex, q.recvStart[jq], q.recvStart[jq + 1]));

            // Copy lists: p's block for q and q's block for p pair entry by
            // entry (what p sends is what q receives, and the reverse).
            auto block = [](const Part& a, int peer) {
                const int first = a.nbrStart[peer] - 1;
                int m1 = 1;
                while (a.nbrList[m1] != peer) ++m1;
                const int last = m1 < a.nNbr() ? a.nbrStart[a.nbrList[m1 + 1]] - 1 : a.nParInterFace();
                return std::make_pair(first, last);
            };
            const auto bp = block(p, q.rank), bq = block(q, p.rank);
            ASSERT_EQ(bp.second - bp.first, bq.second - bq.first);
            EXPECT_GT(bp.second - bp.first, 0);
            for (int k = 0; k < bp.second - bp.first; ++k) {
                EXPECT_EQ(p.global[p.ijParCV[bp.first + k]], q.global[q.ijPar[bq.first + k]]);
                EXPECT_EQ(p.global[p.ijPar[bp.first + k]], q.global[q.ijParCV[bq.first + k]]);
                EXPECT_EQ(p.sendIndexHost[bp.first + k + 1], p.ijParCV[bp.first + k] + 1);
                EXPECT_EQ(p.recvIndexHost[bp.first + k + 1], p.ijPar[bp.first + k] + 1);
            }
        }
}

// A coupling stored in one direction only still makes both ranks
// neighbours, with a halo slot on each side.
TEST(Partition, OneWayCouplingIsMutual)
{
    rvzmodel::CsrMatrix m;
    m.n = 4;
    m.ia = {0, 2, 3, 4, 5};
    m.ja = {0, 3, 1, 2, 3};
    m.aa = {2.0, -1.0, 2.0, 2.0, 2.0};
    const std::vector<Part> parts = AllParts(m, {0, 0, 1, 1}, 2);
    EXPECT_EQ(parts[0].global, (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(parts[1].global, (std::vector<int>{2, 3, 0}));
    EXPECT_EQ(parts[1].sendIndex, (std::vector<int>{1}));
    EXPECT_EQ(parts[1].nParInterFace(), 1);
    EXPECT_EQ(parts[0].ijParCV, (std::vector<int>{0}));
    EXPECT_EQ(parts[0].ijPar, (std::vector<int>{2}));
}

}  // namespace
}  // namespace rvztest
