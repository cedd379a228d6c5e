// Distributed conjugate gradient seen from one process: the message
// pattern through a recording CRVZCom (tags, pairing, packing positions,
// final update), the lone-process result against the serial solvers, the
// printed lines and the distributed failure reports. Solutions over real
// processes are checked under mpirun (tests/mpi).
#include <unistd.h>

#include <cmath>

#include "krylov_test_support.h"
#include "recording_com.h"

namespace rvztest {
namespace {

// Rank `rank` of a two-process split of the 6-row chain tridiag(-1, 2, -1):
// three owned rows and one halo value from the other rank.
struct ChainPart {
    int rank;
    int nnu = 3, nHalo = 1, nna = 8;
    std::vector<int> ia;
    std::vector<int> ja;
    std::vector<double> aa;
    int neighbour;
    int nRecvNbr = 1;
    std::vector<int> sendStart{0, 1}, recvStart{0, 1};
    std::vector<int> sendIndex, recvIndex{3};
    std::vector<double> b{1.0, 2.0, 3.0};
    std::vector<double> x0{0.5, -0.25, 0.125, 0.75};  // last entry: the halo value

    explicit ChainPart(int r) : rank(r), neighbour(1 - r)
    {
        // Rank 0 owns global rows 0..2 and couples through row 2; rank 1 owns
        // 3..5 and couples through its first row.
        if (r == 0) {
            ia = {0, 2, 5, 8};
            ja = {0, 1, 1, 0, 2, 2, 1, 3};
            aa = {2, -1, 2, -1, -1, 2, -1, -1};
        } else {
            ia = {0, 3, 6, 8};
            ja = {0, 3, 1, 1, 0, 2, 2, 1};
            aa = {2, -1, -1, 2, -1, -1, 2, -1};
        }
        sendIndex = {r == 0 ? 2 : 0};
    }
    // r0 = b - A x0 at local row i.
    double InitialResidual(int i) const
    {
        double s = 0.0;
        for (int k = ia[i]; k < ia[i + 1]; ++k) s += aa[k] * x0[ja[k]];
        return b[i] - s;
    }
};

struct DistributedRun {
    int status = -12345;
    double resIn = -1, resOut = -1;
    int iter = -1;
    std::vector<double> x, solHost;
    std::string out;
};

// `beforeSolve` runs once the arrays are on the device; without `capture`
// the solver's lines go straight to standard output.
DistributedRun RunChain(const ChainPart& p, Storage storage, RecordingCom& com, int type, int maxIter,
                        void (*beforeSolve)() = nullptr, bool capture = true)
{
    auto captured = [&](auto&& body) {
        if (beforeSolve != nullptr) beforeSolve();
        if (capture) return CaptureOutput(body);
        body();
        return std::string();
    };
    DistributedRun run;
    int nSend = 1, nRecv = p.nRecvNbr, nHalo = p.nHalo, comm = 9, rank = p.rank, unused1 = 0, unused2 = 0;
    std::vector<int> nbr{p.neighbour}, sendStart(p.sendStart), sendIndex(p.sendIndex), recvStart(p.recvStart),
        recvIndex(p.recvIndex);
    run.solHost.assign(4, -9.0);
    const double tol = 1e-12;
    if (storage == Storage::CSR) {
        DeviceArray<int> ia(p.ia), ja(p.ja);
        DeviceArray<double> aa(p.aa), rhs(p.b), sol(p.x0);
        run.out = captured([&] {
            run.status = Tool().CGP_CSR(p.nnu, p.nna, ia, ja, aa, rhs, sol, run.solHost.data(), tol, run.resIn,
                                        run.resOut, run.iter, maxIter, type, unused1, nSend, nbr.data(),
                                        sendStart.data(), sendIndex.data(), nHalo, nRecv, nbr.data(), recvStart.data(),
                                        recvIndex.data(), comm, rank, unused2, &com);
        });
        run.x = sol.Download();
        return run;
    }
    CsrMatrix m;
    m.n = p.nnu;
    m.ia = p.ia;
    m.ja = p.ja;
    m.aa = p.aa;
    const EllHost e = ToEll(m);
    DeviceArray<int> index(e.index);
    DeviceArray<double> aa(e.values), rhs(Padded(p.b, e.new_nnu)), sol(Padded(p.x0, e.new_nnu));
    run.out = captured([&] {
        run.status = Tool().CGP_ELL(p.nnu, e.ncol, index, aa, rhs, sol, run.solHost.data(), tol, run.resIn,
                                    run.resOut, run.iter, maxIter, type, unused1, nSend, nbr.data(), sendStart.data(),
                                    sendIndex.data(), nHalo, nRecv, nbr.data(), recvStart.data(), recvIndex.data(),
                                    comm, rank, unused2, &com);
    });
    run.x = sol.Download();
    run.x.resize(4);
    return run;
}

// The operations of the log, in order, as one letter each: A AllSum,
// P Pack, X SendRecv, U Unpack, S Isend, R Irecv, W Wait.
std::string Pattern(const RecordingCom& com)
{
    std::string s;
    for (const auto& c : com.calls) {
        if (c.op == "AllSum") s += 'A';
        if (c.op == "Pack") s += 'P';
        if (c.op == "SendRecv") s += 'X';
        if (c.op == "Unpack") s += 'U';
        if (c.op == "Isend") s += 'S';
        if (c.op == "Irecv") s += 'R';
        if (c.op == "Wait") s += 'W';
    }
    return s;
}

class CGPMessages : public ::testing::TestWithParam<Storage> {};

TEST_P(CGPMessages, TagsPairingAndOrderFollowTheIterations)
{
    for (int rank : {0, 1}) {
        SCOPED_TRACE(rank);
        const ChainPart part(rank);
        RecordingCom com;
        const DistributedRun run = RunChain(part, GetParam(), com, 0, 2);
        ASSERT_EQ(run.status, 0);
        ASSERT_EQ(run.iter, 2);
        // resIn, then a refresh of P0; per iteration alpha (2 sums), the
        // residual, beta (2 sums) and a refresh of the new P; then the final
        // update of the solution (paired for CSR, non-blocking for ELL).
        const std::string refresh = "PXU", iteration = "AAAAA" + refresh;
        const std::string last = GetParam() == Storage::CSR ? "PXU" : "PSRWWU";
        EXPECT_EQ(Pattern(com), "A" + refresh + iteration + iteration + last);

        const int toNeighbour = rank == 0 ? 210 : 120, fromNeighbour = rank == 0 ? 120 : 210;
        for (const auto& c : com.Only("SendRecv")) {
            EXPECT_EQ(c.type, com.PackedType);
            EXPECT_EQ(c.count, 8);
            EXPECT_EQ(c.peer, part.neighbour);
            EXPECT_EQ(c.source, part.neighbour);
            EXPECT_EQ(c.sendTag, toNeighbour);
            EXPECT_EQ(c.recvTag, fromNeighbour);
            EXPECT_EQ(c.comm, 9);
        }
        if (GetParam() == Storage::ELL) {
            const auto isend = com.Only("Isend"), irecv = com.Only("Irecv");
            ASSERT_EQ(isend.size(), 1u);
            ASSERT_EQ(irecv.size(), 1u);
            EXPECT_EQ(isend[0].sendTag, toNeighbour);
            EXPECT_EQ(isend[0].peer, part.neighbour);
            EXPECT_EQ(irecv[0].recvTag, fromNeighbour);
            EXPECT_EQ(irecv[0].source, part.neighbour);
        }
        for (const auto& c : com.Only("AllSum")) {
            EXPECT_EQ(c.type, com.DoubleType);
            EXPECT_EQ(c.count, 1);
            EXPECT_EQ(c.comm, 9);
        }
        for (const auto& c : com.Only("PackSize")) EXPECT_EQ(c.count, 1);

        // The first message carries P0 = r0 at the send position; the last
        // one the solution there. The received value fills the halo of
        // solHost; the owned part is the device solution.
        const auto exchanges = com.Only("SendRecv");
        EXPECT_TRUE(SameBits(exchanges.front().sent[0], part.InitialResidual(part.sendIndex[0])));
        const double lastSent = GetParam() == Storage::CSR ? exchanges.back().sent[0] : run.solHost[part.sendIndex[0]];
        EXPECT_TRUE(SameBits(lastSent, run.x[part.sendIndex[0]]));
        EXPECT_EQ(run.solHost[3], com.reply(part.neighbour, fromNeighbour, 0));
        for (int i = 0; i < 3; ++i) EXPECT_TRUE(SameBits(run.solHost[i], run.x[i]));
    }
}

TEST_P(CGPMessages, HaloOfTheDirectionEntersTheProduct)
{
    // The neighbour answers every refresh with 0: the halo then reads 0.0
    // in the products, so from the first refresh on the solve is the serial
    // solve of the three owned rows (the initial residual still sees the
    // caller's halo value 0.75).
    const ChainPart part(0);
    RecordingCom com;
    com.reply = [](int, int, int) { return 0.0; };
    const DistributedRun run = RunChain(part, GetParam(), com, 0, 3);
    ASSERT_EQ(run.status, 0);
    // The 3x3 matrix tridiag(-1, 2, -1) is solved exactly in three
    // iterations from r0: x = x0 + A3^-1 r0.
    const double r0[3] = {part.InitialResidual(0), part.InitialResidual(1), part.InitialResidual(2)};
    const double inv[3][3] = {{0.75, 0.5, 0.25}, {0.5, 1.0, 0.5}, {0.25, 0.5, 0.75}};
    for (int i = 0; i < 3; ++i) {
        const double expected = part.x0[i] + inv[i][0] * r0[0] + inv[i][1] * r0[1] + inv[i][2] * r0[2];
        EXPECT_NEAR(run.x[i], expected, 1e-13);
    }
}

INSTANTIATE_TEST_SUITE_P(Storages, CGPMessages, ::testing::Values(Storage::CSR, Storage::ELL));

// Rank 0 sends two values (rows 1 and 2) and receives one: the final
// non-blocking update of the ELL form sends and receives doubles, as many
// as each neighbour's list holds; the paired refreshes carry packed bytes.
TEST(CGPMessageCounts, EachExchangeCarriesItsNeighboursCount)
{
    ChainPart part(0);
    part.sendStart = {0, 2};
    part.sendIndex = {1, 2};
    RecordingCom com;
    const DistributedRun run = RunChain(part, Storage::ELL, com, 0, 2);
    ASSERT_EQ(run.status, 0);
    const auto isend = com.Only("Isend"), irecv = com.Only("Irecv");
    ASSERT_EQ(isend.size(), 1u);
    ASSERT_EQ(irecv.size(), 1u);
    EXPECT_EQ(isend[0].type, com.DoubleType);
    EXPECT_EQ(isend[0].count, 2);
    EXPECT_EQ(irecv[0].type, com.DoubleType);
    EXPECT_EQ(irecv[0].count, 1);
    EXPECT_EQ(run.solHost[3], com.reply(1, 120, 0));
    for (const auto& c : com.Only("SendRecv")) {
        EXPECT_EQ(c.type, com.PackedType);
        EXPECT_EQ(c.count, 16);
        EXPECT_EQ(c.sent.size(), 2u);
    }
}


// A lone process with no neighbour: the serial solve, bit for bit, plus
// the solution on the host and the distributed lines.
TEST(CGPLoneProcess, EqualsTheSerialSolverBitForBit)
{
    const CsrMatrix m = rvzmodel::Poisson3D(9, 8, 7);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 11), x0 = RandomVector(m.n, 12);
    for (Storage storage : {Storage::CSR, Storage::ELL})
        for (int type : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << "storage " << static_cast<int>(storage) << " type " << type);
            const SolveResult serial = Solve(Method::CG, storage, m, b, x0, 1e-10, 500, type);
            RecordingCom com;
            DistributedRun run;
            int none = 0, comm = 9, rank = 0, unused = 0, nHalo = 0;
            std::vector<int> start{0};
            run.solHost.assign(static_cast<size_t>(m.n), 0.0);
            if (storage == Storage::CSR) {
                DeviceArray<int> ia(m.ia), ja(m.ja);
                DeviceArray<double> aa(m.aa), rhs(b), sol(x0);
                const int nna = m.nna();
                run.out = CaptureOutput([&] {
                    run.status = Tool().CGP_CSR(m.n, nna, ia, ja, aa, rhs, sol, run.solHost.data(), 1e-10, run.resIn,
                                                run.resOut, run.iter, 500, type, unused, none, nullptr, start.data(),
                                                nullptr, nHalo, none, nullptr, start.data(), nullptr, comm, rank,
                                                unused, &com);
                });
                run.x = sol.Download();
                EXPECT_EQ(run.out, Format(type ? "CPUID:0, CUDA_JCGPCSR: nnu=%d, nna=%d\n"
                                               : "CPUID:0, CUDA_CGPCSR: nnu=%d, nna=%d\n",
                                          m.n, nna) +
                                       Format("resIn=%e, tolerance=%e\n", run.resIn, 1e-10 * run.resIn));
            } else {
                const EllHost e = ToEll(m);
                DeviceArray<int> index(e.index);
                DeviceArray<double> aa(e.values), rhs(Padded(b, e.new_nnu)), sol(Padded(x0, e.new_nnu));
                run.out = CaptureOutput([&] {
                    run.status = Tool().CGP_ELL(m.n, e.ncol, index, aa, rhs, sol, run.solHost.data(), 1e-10,
                                                run.resIn, run.resOut, run.iter, 500, type, unused, none, nullptr,
                                                start.data(), nullptr, nHalo, none, nullptr, start.data(), nullptr,
                                                comm, rank, unused, &com);
                });
                run.x = sol.Download();
                run.x.resize(static_cast<size_t>(m.n));
                EXPECT_EQ(run.out, Format(type ? "CPUID:0, CUDA_JCGPELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n"
                                               : "CPUID:0, CUDA_CGPELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n",
                                          m.n, e.new_nnu, e.ncol));
            }
            ASSERT_EQ(run.status, 0);
            EXPECT_GT(run.iter, 5);
            EXPECT_EQ(run.iter, serial.iter);
            EXPECT_TRUE(SameBits(run.resIn, serial.resIn));
            EXPECT_TRUE(SameBits(run.resOut, serial.resOut));
            EXPECT_TRUE(SameBits(run.x, serial.x));
            EXPECT_TRUE(SameBits(run.solHost, serial.x));
            EXPECT_EQ(com.Count("SendRecv") + com.Count("Isend") + com.Count("Irecv"), 0);
            EXPECT_EQ(com.Count("AllSum"), 1 + 5 * run.iter);
        }
}

// The chain's rank 0 with a neighbour that answers with fixed values, on
// a longer chain of blocks: the same bits for 1, 2 and 4 threads.
TEST(CGPLoneProcess, SameBitsForEveryThreadCount)
{
    const CsrMatrix m = rvzmodel::Poisson3D(20, 20, 10);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 13);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        const auto runs = ForThreadCounts({1, 2, 4}, [&] {
            RecordingCom com;
            std::vector<double> solHost(static_cast<size_t>(m.n));
            int none = 0, comm = 9, rank = 0, unused = 0, nHalo = 0, iter = 0;
            double resIn = 0, resOut = 0;
            std::vector<int> start{0};
            if (storage == Storage::CSR) {
                DeviceArray<int> ia(m.ia), ja(m.ja);
                DeviceArray<double> aa(m.aa), rhs(b), sol(static_cast<int>(m.n));
                const int nna = m.nna();
                CaptureOutput([&] {
                    Tool().CGP_CSR(m.n, nna, ia, ja, aa, rhs, sol, solHost.data(), 1e-10, resIn, resOut, iter, 40, 1,
                                   unused, none, nullptr, start.data(), nullptr, nHalo, none, nullptr, start.data(),
                                   nullptr, comm, rank, unused, &com);
                });
            } else {
                const EllHost e = ToEll(m);
                DeviceArray<int> index(e.index);
                DeviceArray<double> aa(e.values), rhs(Padded(b, e.new_nnu)), sol(e.new_nnu);
                CaptureOutput([&] {
                    Tool().CGP_ELL(m.n, e.ncol, index, aa, rhs, sol, solHost.data(), 1e-10, resIn, resOut, iter, 40,
                                   1, unused, none, nullptr, start.data(), nullptr, nHalo, none, nullptr,
                                   start.data(), nullptr, comm, rank, unused, &com);
                });
            }
            solHost.push_back(resOut);
            return solHost;
        });
        EXPECT_TRUE(SameBits(runs[0], runs[1]));
        EXPECT_TRUE(SameBits(runs[0], runs[2]));
    }
}

TEST(CGPLoneProcess, OnlyRankZeroPrintsTheTolerance)
{
    const ChainPart part(1);
    RecordingCom com;
    const DistributedRun run = RunChain(part, Storage::CSR, com, 1, 1);
    EXPECT_EQ(run.out, "CPUID:1, CUDA_JCGPCSR: nnu=3, nna=8\n");
}

TEST(CGPLoneProcess, RefusesAMissingMessagePassingObject)
{
    const ChainPart part(0);
    int none = 0, nHalo = 0, comm = 0, rank = 0, unused = 0, iter = -1;
    double resIn = -1, resOut = -1;
    std::vector<double> solHost(4);
    std::vector<int> start{0};
    DeviceArray<int> ia(part.ia), ja(part.ja);
    DeviceArray<double> aa(part.aa), rhs(part.b), sol(part.x0);
    int status = 0;
    const std::string out = CaptureOutput([&] {
        status = Tool().CGP_CSR(part.nnu, part.nna, ia, ja, aa, rhs, sol, solHost.data(), 1e-8, resIn, resOut, iter, 5,
                                0, unused, none, nullptr, start.data(), nullptr, nHalo, none, nullptr, start.data(),
                                nullptr, comm, rank, unused, nullptr);
    });
    EXPECT_EQ(status, cudaErrorInvalidValue);
    EXPECT_EQ(iter, -1);
    EXPECT_EQ(out, Format("GPU[0:%s] CGP_CSR needs a CRVZCom object: %s.(1)\n", DeviceName().c_str(),
                              rvz::PlatformErrorText(cudaErrorInvalidValue)) +
                       Countdown());
}

TEST(CGPLoneProcess, UnknownPreconditionerDoesNothing)
{
    const ChainPart part(0);
    RecordingCom com;
    const DistributedRun run = RunChain(part, Storage::ELL, com, 2, 5);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(com.calls.empty());
    EXPECT_EQ(run.iter, -1);
}

#if !RVZGPU_BACKEND_CUDA
// A failure inside a distributed solver is printed with the rank and ends
// the run through CRVZCom::Abort (the recording double ends the process
// with the code). Standard output is sent to standard error so that the
// death test sees the report.
void RunWithStdoutOnStderr(Storage storage, void (*inject)())
{
    std::fflush(stdout);
    dup2(2, 1);
    const ChainPart part(1);
    RecordingCom com;
    RunChain(part, storage, com, 0, 3, inject, false);
}

TEST(CGPFailures, DeviceFailureIsReportedWithTheRankAndAbortsTheRun)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string text = rvz::PlatformErrorText(cudaErrorLaunchOutOfResources);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        EXPECT_EXIT(RunWithStdoutOnStderr(storage,
                                          [] {
                                              rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchOutOfResources,
                                                                                       4);
                                          }),
                    ::testing::ExitedWithCode(cudaErrorLaunchOutOfResources & 0xff),
                    "CPUID:1GPU\\[0:" + DeviceName() + "\\] Computing failed: " + text + "\\.\nAbort\\(7, 701\\)");
    }
}

// The j-th send neighbour is paired with the j-th receive neighbour: lists
// of different lengths end the run with a report.
void RunUnpairedLists(Storage storage)
{
    std::fflush(stdout);
    dup2(2, 1);
    ChainPart part(1);
    part.nRecvNbr = 0;
    part.recvStart = {0};
    RecordingCom com;
    RunChain(part, storage, com, 0, 3, nullptr, false);
}

TEST(CGPFailures, NeighbourListsOfDifferentLengthsAbortTheRun)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string text = rvz::PlatformErrorText(cudaErrorInvalidValue);
    for (Storage storage : {Storage::CSR, Storage::ELL})
        EXPECT_EXIT(RunUnpairedLists(storage), ::testing::ExitedWithCode(cudaErrorInvalidValue),
                    "CPUID:1GPU\\[0:" + DeviceName() + "\\] Send and receive neighbour lists differ in length: " +
                        text + "\\.\nAbort\\(7, 1\\)");
}

TEST(CGPFailures, AllocationFailureIsReportedWithTheRankAndAbortsTheRun)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        EXPECT_EXIT(RunWithStdoutOnStderr(
                        storage, [] { rvz::host::testing::inject_alloc_faults(1, cudaErrorMemoryAllocation, 3); }),
                    ::testing::ExitedWithCode(255),
                    "CPUID:1GPU memory allocation failed: out of memory\\.\nGPU\\[0:" + DeviceName() +
                        "\\] memory size: [0-9]+\nAbort\\(7, -1\\)");
    }
}
#endif

}  // namespace
}  // namespace rvztest
