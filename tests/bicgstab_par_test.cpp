// Distributed Jacobi BiCGSTAB in caller storage, seen from one process: a
// lone process against the serial caller-storage solver (bit for bit, no
// message passing), the in-place exchange through a recording CRVZCom
// (tag 100, one SendRecvReplace per neighbour and refresh, an empty block
// included, 1-based host data), halo slots outside the copy lists, the
// stream driver against the plain one, and the failure report.
#include "krylov_test_support.h"
#include "recording_com.h"

namespace rvztest {
namespace {

// Caller storage and exchange data of one distributed solve.
struct ParSetup {
    EllHost e;
    int workLength = 0;
    int nProcs = 1;
    int nNbr = 0;
    std::vector<int> ijParCV, ijPar;
    std::vector<int> nbrList{0, 0}, nbrStart{0}, sendIndexHost{0}, recvIndexHost{0};
    std::vector<double> hostFieldP, hostFieldS, exchangeBuffer{0.0};
    std::vector<double> x0, b;
};

struct ParResult {
    int status = -12345;
    double resIn = -1, resOut = -1;
    int iter = -1;
    std::vector<double> x, pHat, sHat, hostFieldP, exchangeBuffer;
    std::string out;
};

ParResult RunPar(ParSetup setup, CRVZCom* com, bool stream, int maxIter, void (*beforeSolve)() = nullptr)
{
    const EllHost& e = setup.e;
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    Tool().GetSizeOfBlock(e.new_nnu, total, nLevels, count, size, offset);
    std::vector<std::unique_ptr<DeviceArray<double>>> w;
    for (int k = 0; k < 6; ++k) w.emplace_back(new DeviceArray<double>(total));
    for (int k = 0; k < 9; ++k) w.emplace_back(new DeviceArray<double>(setup.workLength));
    for (auto& a : w) a->Upload(std::vector<double>(static_cast<size_t>(a->size()), 3.25));
    auto A = [&](int k) { return w[static_cast<size_t>(k)]->get(); };
    const int nPar = static_cast<int>(setup.ijPar.size());
    DeviceArray<int> index(e.index), ijParCVD(setup.ijParCV), ijParD(setup.ijPar);
    DeviceArray<double> aa(e.values), rhs(Padded(setup.b, e.new_nnu)), sol(Padded(setup.x0, setup.workLength));
    DeviceArray<double> d2h(nPar), h2d(nPar);
    std::vector<double> d2hHost(static_cast<size_t>(nPar) + 1), h2dHost(static_cast<size_t>(nPar) + 1);
    const int grid = (nPar + 255) / 256;
    const double tol = 1e-10;
    ParResult r;
    auto solve = stream ? &CRVZGPUtool::BiJCGSTABELL_woMallocPar_Stream : &CRVZGPUtool::BiJCGSTABELL_woMallocPar;
    if (beforeSolve != nullptr) beforeSolve();
    r.out = CaptureOutput([&] {
        r.status = (Tool().*solve)(e.nnu, e.ncol, index, aa, rhs, sol, tol, r.resIn, r.resOut, r.iter, maxIter, A(0),
                                   A(1), A(2), A(3), A(4), A(5), A(6), A(7), A(8), A(9), A(10), A(11), A(12), A(13),
                                   A(14), e.new_nnu, nLevels, size, total, count, offset, setup.workLength, com,
                                   setup.nProcs, nullptr, setup.exchangeBuffer.data(), setup.nbrList.data(),
                                   setup.nbrStart.data(), setup.sendIndexHost.data(), setup.recvIndexHost.data(),
                                   setup.nNbr, nPar, setup.hostFieldP.data(), setup.hostFieldS.data(), ijParCVD,
                                   ijParD, d2h, d2hHost.data(), h2d, h2dHost.data(), grid);
    });
    r.x = sol.Download();
    r.x.resize(static_cast<size_t>(e.nnu));
    r.sHat = w[13]->Download();
    r.pHat = w[14]->Download();
    r.hostFieldP = setup.hostFieldP;
    r.exchangeBuffer = setup.exchangeBuffer;
    return r;
}

ParSetup LoneProcess(const CsrMatrix& m)
{
    ParSetup s;
    s.e = ToEll(m);
    s.workLength = s.e.new_nnu;
    s.b = RandomVector(static_cast<size_t>(m.n), 21);
    s.x0 = RandomVector(static_cast<size_t>(m.n), 22);
    s.hostFieldP.assign(static_cast<size_t>(m.n) + 1, 0.0);
    s.hostFieldS = s.hostFieldP;
    return s;
}

TEST(BiJCGSTABPar, LoneProcessEqualsTheSerialSolverWithoutMessagePassing)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(10, 9, 8, 2.0, 1.0, 0.5);
    const ParSetup setup = LoneProcess(m);
    const SolveResult serial = Solve(Method::BiCGSTABCallerStorage, Storage::ELL, m, setup.b, setup.x0, 1e-10, 200, 1);
    ASSERT_EQ(serial.status, 0);
    ASSERT_GT(serial.iter, 3);
    for (bool stream : {false, true}) {
        SCOPED_TRACE(stream);
        RecordingCom com;
        const ParResult r = RunPar(setup, &com, stream, 200);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "");
        EXPECT_TRUE(com.calls.empty());
        EXPECT_EQ(r.iter, serial.iter);
        EXPECT_TRUE(SameBits(r.resIn, serial.resIn));
        EXPECT_TRUE(SameBits(r.resOut, serial.resOut));
        EXPECT_TRUE(SameBits(r.x, serial.x));
    }
    // One process needs no message-passing object at all.
    const ParResult alone = RunPar(setup, nullptr, false, 200);
    EXPECT_EQ(alone.status, 0);
    EXPECT_TRUE(SameBits(alone.x, serial.x));
}

// Rank 0 of three: four owned rows, halo slots 4, 5 and 6. Rank 1 is a
// neighbour whose block is empty; rank 2 receives rows 1 and 3 and sends
// into slots 4 and 5. Slot 6 is coupled in the matrix but named by no copy
// list.
ParSetup ThreeRanks()
{
    CsrMatrix m;
    m.n = 4;
    m.ia = {0, 3, 6, 9, 12};
    m.ja = {0, 1, 6, 1, 0, 4, 2, 1, 3, 3, 2, 5};
    m.aa = {4.0, -1.0, -0.5, 5.0, -1.5, -1.0, 4.5, -0.5, -1.0, 6.0, -2.0, -1.0};
    ParSetup s;
    s.e = ToEll(m);
    s.workLength = s.e.new_nnu;
    s.nProcs = 3;
    s.nNbr = 2;
    s.ijParCV = {1, 3};
    s.ijPar = {4, 5};
    s.nbrList = {0, 1, 2, 0};
    s.nbrStart = {0, 1, 1};
    s.sendIndexHost = {0, 2, 4};
    s.recvIndexHost = {0, 5, 6};
    s.b = {1.0, 2.0, -1.0, 0.5};
    s.x0 = {0.1, 0.2, 0.3, 0.4, 0.7, -0.3, 0.9};
    // Host fields: 1-based positions 1..7 (position 0 unused), sentinels.
    s.hostFieldP.assign(8, -7.5);
    s.hostFieldS = s.hostFieldP;
    s.exchangeBuffer = {-2.5, 0.0, 0.0};
    return s;
}

TEST(BiJCGSTABPar, ExchangesInPlaceWithEveryNeighbourIncludingAnEmptyBlock)
{
    RecordingCom com;
    const ParResult r = RunPar(ThreeRanks(), &com, false, 2);
    ASSERT_EQ(r.status, 0);
    const auto ex = com.Only("SendRecvReplace");
    // Two refreshes (pHat, sHat) per iteration, two neighbours each.
    ASSERT_EQ(static_cast<int>(ex.size()), 4 * std::min(r.iter, 2));
    for (size_t k = 0; k < ex.size(); ++k) {
        const bool empty = k % 2 == 0;
        EXPECT_EQ(ex[k].count, empty ? 0 : 2);
        EXPECT_EQ(ex[k].peer, empty ? 1 : 2);
        EXPECT_EQ(ex[k].source, empty ? 1 : 2);
        EXPECT_EQ(ex[k].sendTag, 100);
        EXPECT_EQ(ex[k].recvTag, 100);
        EXPECT_EQ(ex[k].type, com.DoubleType);
        EXPECT_EQ(ex[k].comm, com.CommHandle);
    }
    for (const auto& c : com.Only("AllSum")) {
        EXPECT_EQ(c.comm, com.CommHandle);
        EXPECT_EQ(c.count, 1);
    }
    EXPECT_EQ(com.calls.size(), ex.size() + com.Only("AllSum").size());

    // The last exchange sent sHat of rows 1 and 3 and received rank 2's
    // values into slots 4 and 5; slot 6 was cleared with the work arrays
    // and is named by no copy list, so it keeps 0.0.
    EXPECT_TRUE(SameBits(ex.back().sent[0], r.sHat[1]));
    EXPECT_TRUE(SameBits(ex.back().sent[1], r.sHat[3]));
    EXPECT_EQ(r.sHat[4], com.reply(2, 100, 0));
    EXPECT_EQ(r.sHat[5], com.reply(2, 100, 1));
    EXPECT_EQ(r.pHat[4], com.reply(2, 100, 0));
    EXPECT_EQ(r.sHat[6], 0.0);
    EXPECT_EQ(r.pHat[6], 0.0);
    // Host field: sent values at positions 2 and 4, received at 5 and 6;
    // every other position keeps its value. The buffer is used from 1 on.
    for (int pos : {0, 1, 3, 7}) EXPECT_EQ(r.hostFieldP[pos], -7.5) << pos;
    EXPECT_EQ(r.hostFieldP[5], com.reply(2, 100, 0));
    EXPECT_TRUE(SameBits(r.hostFieldP[2], r.pHat[1]));
    EXPECT_EQ(r.exchangeBuffer[0], -2.5);
}

TEST(BiJCGSTABPar, StreamDriverMatchesThePlainDriver)
{
    RecordingCom plainCom, streamCom;
    plainCom.sumFactor = streamCom.sumFactor = 3.0;  // as if three equal parts
    const ParResult plain = RunPar(ThreeRanks(), &plainCom, false, 4);
    const ParResult stream = RunPar(ThreeRanks(), &streamCom, true, 4);
    ASSERT_EQ(plain.status, 0);
    ASSERT_EQ(stream.status, 0);
    EXPECT_EQ(plain.iter, stream.iter);
    EXPECT_TRUE(SameBits(plain.resOut, stream.resOut));
    EXPECT_TRUE(SameBits(plain.x, stream.x));
    ASSERT_EQ(plain.iter > 0, true);
    ASSERT_EQ(plainCom.calls.size(), streamCom.calls.size());
    for (size_t k = 0; k < plainCom.calls.size(); ++k) {
        EXPECT_EQ(plainCom.calls[k].op, streamCom.calls[k].op);
        EXPECT_TRUE(SameBits(plainCom.calls[k].sent, streamCom.calls[k].sent));
    }
}

TEST(BiJCGSTABPar, SameBitsForEveryThreadCount)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(16, 16, 8, 2.0, 1.0, 0.5);
    const ParSetup setup = LoneProcess(m);
    const auto runs = ForThreadCounts({1, 2, 4}, [&] {
        RecordingCom com;
        ParResult r = RunPar(setup, &com, true, 30);
        r.x.push_back(r.resOut);
        return r.x;
    });
    EXPECT_TRUE(SameBits(runs[0], runs[1]));
    EXPECT_TRUE(SameBits(runs[0], runs[2]));
}

#if !RVZGPU_BACKEND_CUDA
// A device failure is reported in serial form (with the countdown) and
// returned; the run is not aborted.
TEST(BiJCGSTABPar, DeviceFailureIsReportedAndReturned)
{
    for (bool stream : {false, true}) {
        RecordingCom com;
        const ParResult r = RunPar(ThreeRanks(), &com, stream, 3, [] {
            rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchOutOfResources, 6);
        });
        rvz::host::testing::clear_faults();
        EXPECT_EQ(r.status, cudaErrorLaunchOutOfResources);
        EXPECT_EQ(r.out, Format("GPU[0:%s] %s: %s.(%d)\n", DeviceName().c_str(),
                                stream ? "Parallel BiJCGSTAB-Stream Computing failed"
                                       : "Parallel BiJCGSTAB Computing failed",
                                rvz::PlatformErrorText(cudaErrorLaunchOutOfResources),
                                static_cast<int>(cudaErrorLaunchOutOfResources)) +
                             Countdown());
        EXPECT_EQ(com.Count("Abort"), 0);
    }
}
#endif

}  // namespace
}  // namespace rvztest
