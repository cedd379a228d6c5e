// The distributed solvers over real processes: each rank solves its part of
// a model problem split by the row partitioner and compares its rows with
// the serial solve of the whole system (which every rank runs itself) and
// with the true residual of the assembled solution.
#include <mpi.h>

#include <algorithm>
#include <cmath>

#include "CRVZComMPI.h"
#include "RVZPartition.h"
#include "krylov_test_support.h"
#include "mpi_world.h"

namespace rvztest {
namespace {

struct LocalSolve {
    int status = -12345;
    double resIn = -1, resOut = -1;
    int iter = -1;
    std::vector<double> x;        // local vector: owned then halo
    std::vector<double> solHost;  // CG only
};

// The global vector assembled from every rank's owned values.
std::vector<double> Assemble(const rvzpart::Part& part, const std::vector<double>& local, int n)
{
    std::vector<double> mine(static_cast<size_t>(n), 0.0), all(static_cast<size_t>(n), 0.0);
    for (int l = 0; l < part.nnu; ++l) mine[part.global[l]] = local[l];
    MPI_Allreduce(mine.data(), all.data(), n, MPI_DOUBLE, MPI_SUM, MPI_COMM_WORLD);
    return all;
}

CsrMatrix LocalMatrix(const rvzpart::Part& part)
{
    CsrMatrix m;
    m.n = part.nnu;
    m.ia = part.ia;
    m.ja = part.ja;
    m.aa = part.aa;
    return m;
}

LocalSolve RunCGP(const rvzpart::Part& part, Storage storage, const std::vector<double>& bGlobal,
                  const std::vector<double>& x0Global, double tol, int maxIter, int type)
{
    CRVZComMPI com;
    LocalSolve s;
    const std::vector<double> b = part.Localise(bGlobal), x0 = part.Localise(x0Global);
    std::vector<double> bOwned(b.begin(), b.begin() + part.nnu);
    int nSend = part.nNbr(), nRecv = part.nNbr(), nHalo = part.nHalo, comm = com.CommHandle, rank = com.Rank(),
        unused = 0;
    std::vector<int> sendNbr(part.sendNbr), sendStart(part.sendStart), sendIndex(part.sendIndex),
        recvNbr(part.recvNbr), recvStart(part.recvStart), recvIndex(part.recvIndex);
    sendIndex.push_back(0);
    recvIndex.push_back(0);
    s.solHost.assign(static_cast<size_t>(part.localLength()), -1.0);
    const CsrMatrix local = LocalMatrix(part);
    CaptureOutput([&] {
        if (storage == Storage::CSR) {
            DeviceArray<int> ia(local.ia), ja(local.ja);
            DeviceArray<double> aa(local.aa), rhs(bOwned), sol(x0);
            s.status = Tool().CGP_CSR(part.nnu, local.nna(), ia, ja, aa, rhs, sol, s.solHost.data(), tol, s.resIn,
                                      s.resOut, s.iter, maxIter, type, unused, nSend, sendNbr.data(),
                                      sendStart.data(), sendIndex.data(), nHalo, nRecv, recvNbr.data(),
                                      recvStart.data(), recvIndex.data(), comm, rank, unused, &com);
            s.x = sol.Download();
        } else {
            const EllHost e = ToEll(local);
            const size_t length = static_cast<size_t>(std::max(e.new_nnu, part.localLength()));
            DeviceArray<int> index(e.index);
            DeviceArray<double> aa(e.values), rhs(Padded(bOwned, e.new_nnu)), sol(Padded(x0, length));
            s.status = Tool().CGP_ELL(part.nnu, e.ncol, index, aa, rhs, sol, s.solHost.data(), tol, s.resIn, s.resOut,
                                      s.iter, maxIter, type, unused, nSend, sendNbr.data(), sendStart.data(),
                                      sendIndex.data(), nHalo, nRecv, recvNbr.data(), recvStart.data(),
                                      recvIndex.data(), comm, rank, unused, &com);
            s.x = sol.Download();
        }
    });
    s.x.resize(static_cast<size_t>(part.localLength()));
    return s;
}

LocalSolve RunBiJCGSTABPar(const rvzpart::Part& part, bool stream, const std::vector<double>& bGlobal,
                           const std::vector<double>& x0Global, double tol, int maxIter)
{
    CRVZComMPI com;
    LocalSolve s;
    const std::vector<double> b = part.Localise(bGlobal), x0 = part.Localise(x0Global);
    const EllHost e = ToEll(LocalMatrix(part));
    const int workLength = std::max(e.new_nnu, part.localLength());
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    Tool().GetSizeOfBlock(e.new_nnu, total, nLevels, count, size, offset);
    std::vector<std::unique_ptr<DeviceArray<double>>> w;
    for (int k = 0; k < 6; ++k) w.emplace_back(new DeviceArray<double>(total));
    for (int k = 0; k < 9; ++k) w.emplace_back(new DeviceArray<double>(workLength));
    auto A = [&](int k) { return w[static_cast<size_t>(k)]->get(); };
    const int nPar = part.nParInterFace();
    DeviceArray<int> index(e.index), ijParCVD(part.ijParCV), ijParD(part.ijPar);
    std::vector<double> bOwned(b.begin(), b.begin() + part.nnu);
    DeviceArray<double> aa(e.values), rhs(Padded(bOwned, e.new_nnu)), sol(Padded(x0, workLength));
    DeviceArray<double> d2h(nPar), h2d(nPar);
    std::vector<double> d2hHost(static_cast<size_t>(nPar) + 1), h2dHost(static_cast<size_t>(nPar) + 1);
    std::vector<double> fieldP(static_cast<size_t>(part.localLength()) + 1), fieldS(fieldP);
    std::vector<double> buffer(static_cast<size_t>(nPar) + 1);
    std::vector<int> nbrList(part.nbrList), nbrStart(part.nbrStart), sendIndexHost(part.sendIndexHost),
        recvIndexHost(part.recvIndexHost);
    auto solve = stream ? &CRVZGPUtool::BiJCGSTABELL_woMallocPar_Stream : &CRVZGPUtool::BiJCGSTABELL_woMallocPar;
    const int nProcs = com.Size();
    CaptureOutput([&] {
        s.status = (Tool().*solve)(
            e.nnu, e.ncol, index, aa, rhs, sol, tol, s.resIn, s.resOut, s.iter, maxIter, A(0), A(1), A(2), A(3),
            A(4), A(5), A(6), A(7), A(8), A(9), A(10), A(11), A(12), A(13), A(14), e.new_nnu, nLevels, size, total,
            count, offset, workLength, &com, nProcs, nullptr, buffer.data(), nbrList.data(), nbrStart.data(),
            sendIndexHost.data(), recvIndexHost.data(), part.nNbr(), nPar, fieldP.data(), fieldS.data(), ijParCVD,
            ijParD, d2h, d2hHost.data(), h2d, h2dHost.data(), (nPar + 255) / 256);
    });
    s.x = sol.Download();
    s.x.resize(static_cast<size_t>(part.localLength()));
    return s;
}

// Relative difference of the owned rows from the serial solution.
double OwnedDifference(const rvzpart::Part& part, const std::vector<double>& local, const std::vector<double>& serial)
{
    double num = 0.0, den = 0.0;
    for (int l = 0; l < part.nnu; ++l) {
        const double d = local[l] - serial[part.global[l]];
        num += d * d;
        den += serial[part.global[l]] * serial[part.global[l]];
    }
    double sums[2] = {num, den}, all[2];
    MPI_Allreduce(sums, all, 2, MPI_DOUBLE, MPI_SUM, MPI_COMM_WORLD);
    return std::sqrt(all[0] / all[1]);
}

bool OwnedBitwiseEqual(const rvzpart::Part& part, const std::vector<double>& local, const std::vector<double>& serial)
{
    for (int l = 0; l < part.nnu; ++l)
        if (!SameBits(local[l], serial[part.global[l]])) return false;
    return true;
}

struct Split {
    const char* name;
    CsrMatrix m;
    std::vector<int> owner;
};

std::vector<Split> SymmetricProblems()
{
    const int nz = 8;
    std::vector<Split> s;
    s.push_back({"slabs", rvzmodel::Poisson3D(12, 10, nz), rvzpart::SlabOwners(12, 10, nz, Size())});
    const CsrMatrix an = rvzmodel::AnisotropicDiffusion3D(11, 9, 7, 1.0, 4.0, 0.25);
    s.push_back({"row blocks", an, rvzpart::RowBlockOwners(an.n, Size())});
    return s;
}

TEST(DistributedCG, MatchesTheSerialSolveOnEveryPartition)
{
    for (const Split& split : SymmetricProblems())
        for (Storage storage : {Storage::CSR, Storage::ELL})
            for (int type : {0, 1}) {
                SCOPED_TRACE(::testing::Message() << split.name << " storage " << static_cast<int>(storage)
                                                  << " type " << type);
                const CsrMatrix& m = split.m;
                const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 31);
                const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 32, -0.1, 0.1);
                const double tol = 1e-9;
                const SolveResult serial = Solve(Method::CG, storage, m, b, x0, tol, 1000, type);
                const rvzpart::Part part = rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, split.owner, Rank(), Size());
                const LocalSolve d = RunCGP(part, storage, b, x0, tol, 1000, type);
                EXPECT_EQ(d.status, 0);
                EXPECT_LE(std::abs(d.iter - serial.iter), 1);
                EXPECT_NEAR(d.resIn, serial.resIn, 1e-12 * serial.resIn);
                if (Size() == 1) {
                    EXPECT_EQ(d.iter, serial.iter);
                    EXPECT_TRUE(OwnedBitwiseEqual(part, d.x, serial.x));
                }
                EXPECT_LT(OwnedDifference(part, d.x, serial.x), 1e-12);  // measured 2e-16
                // Against the matrix itself: the assembled solution meets the
                // tolerance, and the host copy carries the neighbours' values.
                const std::vector<double> x = Assemble(part, d.x, m.n);
                EXPECT_LE(TrueResidual(m, b, x), 1.01 * tol * d.resIn);
                for (int l = 0; l < part.localLength(); ++l) EXPECT_TRUE(SameBits(d.solHost[l], x[part.global[l]]));
            }
}

TEST(DistributedBiJCGSTAB, MatchesTheSerialCallerStorageSolve)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(12, 10, 8, 3.0, 1.0, 0.5);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 41);
    const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 42, -0.1, 0.1);
    const double tol = 1e-9;
    const SolveResult serial = Solve(Method::BiCGSTABCallerStorage, Storage::ELL, m, b, x0, tol, 500, 1);
    ASSERT_EQ(serial.status, 0);
    for (const auto& owner : {rvzpart::SlabOwners(12, 10, 8, Size()), rvzpart::RowBlockOwners(m.n, Size())}) {
        const rvzpart::Part part = rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, owner, Rank(), Size());
        const LocalSolve plain = RunBiJCGSTABPar(part, false, b, x0, tol, 500);
        const LocalSolve stream = RunBiJCGSTABPar(part, true, b, x0, tol, 500);
        EXPECT_EQ(plain.status, 0);
        EXPECT_EQ(stream.status, 0);
        EXPECT_LE(std::abs(plain.iter - serial.iter), 1);
        EXPECT_EQ(plain.iter, stream.iter);
        EXPECT_TRUE(SameBits(plain.x, stream.x));
        EXPECT_LT(OwnedDifference(part, plain.x, serial.x), 1e-11);  // measured 1.5e-15
        if (Size() == 1) EXPECT_TRUE(OwnedBitwiseEqual(part, plain.x, serial.x));
        // The reference residual is the one after the first iteration.
        const std::vector<double> x = Assemble(part, plain.x, m.n);
        EXPECT_LE(TrueResidual(m, b, x), 1.01 * tol * plain.resIn);
    }
}

}  // namespace
}  // namespace rvztest
