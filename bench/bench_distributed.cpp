// Cost of the halo refreshes of the distributed conjugate gradient on one
// process: an nx x ny x nz Poisson block whose top plane couples to a halo
// plane that a loop-back message-passing object fills with the block's own
// bottom plane (a z-periodic operator, so the solve is a real one). Each
// iteration refreshes the halo once; the serial solver on the same block
// without the halo gives the time of the rest of the iteration.
//   bench_distributed [nx ny nz]     default: 64 64 64
//
// Byte models of one refresh (8-byte values, nshalo = one plane sent):
//   CSR   the local vector out and back: 2 x 8 (nnu + nHalo)
//   ELL   gathered plane: 4 + 8 + 8 per sent value (index, gather, copy
//         out) and 8 per received value (copy back)
// An iteration's time is the difference between solves of 1 + K and 1
// iterations, divided by K.
#include <algorithm>
#include <cstring>
#include <vector>

#include "../examples/rvzgpu_solve/model_problems.h"
#include "CRVZCom.h"
#include "bench_common.h"

using rvzbench::MedianSeconds;
using rvzbench::Quietly;
using rvzbench::Upload;

namespace {

// One process talking to itself: sums are the local values, a paired
// exchange with rank 0 delivers the process's own message.
class LoopbackCom : public CRVZCom {
public:
    int AllSum(int, void* s, void* r, int count, int) override
    {
        std::memcpy(r, s, static_cast<size_t>(count) * sizeof(double));
        return 0;
    }
    int PackSize(int, int count, int& size, int) override
    {
        size = count * static_cast<int>(sizeof(double));
        return 0;
    }
    int Pack(int, void* in, int count, void* buffer, int, int& position, int) override
    {
        std::memcpy(static_cast<char*>(buffer) + position, in, static_cast<size_t>(count) * sizeof(double));
        position += count * static_cast<int>(sizeof(double));
        return 0;
    }
    int Unpack(int, void* out, int count, void* buffer, int, int& position, int) override
    {
        std::memcpy(out, static_cast<char*>(buffer) + position, static_cast<size_t>(count) * sizeof(double));
        position += count * static_cast<int>(sizeof(double));
        return 0;
    }
    int SendRecv(int, void* s, int sendCount, int, int, void* r, int, int, int, int) override
    {
        std::memcpy(r, s, static_cast<size_t>(sendCount));
        return 0;
    }
    int SendRecvReplace(int, void*, int, int, int, int, int, int) override { return 0; }
    int Isend(int, void* s, int count, int, int, int& request, int) override
    {
        pending_.assign(static_cast<char*>(s), static_cast<char*>(s) + count);
        request = 1;
        return 0;
    }
    int Irecv(int, void* r, int count, int, int, int& request, int) override
    {
        std::memcpy(r, pending_.data(), std::min<size_t>(pending_.size(), static_cast<size_t>(count)));
        request = 2;
        return 0;
    }
    int Wait(int& request) override
    {
        request = 0;
        return 0;
    }
    int Abort(int, int code) override { std::exit(code); }

private:
    std::vector<char> pending_;
};

}  // namespace

int main(int argc, char** argv)
{
    const char* usage = "[nx ny nz]";
    if (argc != 1 && argc != 4) rvzbench::PositiveArgument("", argv[0], usage);
    const int nx = argc > 3 ? rvzbench::PositiveArgument(argv[1], argv[0], usage) : 64,
              ny = argc > 3 ? rvzbench::PositiveArgument(argv[2], argv[0], usage) : 64,
              nz = argc > 3 ? rvzbench::PositiveArgument(argv[3], argv[0], usage) : 64;
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;

    // The block, then the extra coupling of the top plane to the halo plane.
    const rvzmodel::CsrMatrix block = rvzmodel::Poisson3D(nx, ny, nz);
    const int nnu = block.n, plane = nx * ny, nHalo = plane;
    rvzmodel::CsrMatrix m;
    m.n = nnu;
    m.ia.push_back(0);
    for (int i = 0; i < nnu; ++i) {
        for (int k = block.ia[i]; k < block.ia[i + 1]; ++k) m.ja.push_back(block.ja[k]), m.aa.push_back(block.aa[k]);
        if (i >= nnu - plane) m.ja.push_back(i - (nnu - plane) + nnu), m.aa.push_back(-1.0);
        m.ia.push_back(static_cast<int>(m.ja.size()));
    }
    std::vector<int> sendIndex(static_cast<size_t>(plane)), recvIndex(static_cast<size_t>(plane));
    for (int k = 0; k < plane; ++k) sendIndex[k] = k, recvIndex[k] = nnu + k;
    std::vector<int> nbr{0}, start{0, plane};

    const int new_nnu = tool.CalcNewNNU(nnu);
    std::vector<int> ia(m.ia), ja(m.ja);
    std::vector<double> aa(m.aa);
    const int n1 = nnu + 1, ncol = tool.CalcMaxNColumn(n1, ia.data());
    std::vector<int> index(static_cast<size_t>(ncol) * new_nnu);
    std::vector<double> values(index.size());
    tool.ja2indexELL(nnu, ncol, new_nnu, ia.data(), ja.data(), index.data());
    tool.aa2aaELLd(nnu, ncol, new_nnu, ia.data(), aa.data(), values.data());

    const int length = std::max(new_nnu, nnu + nHalo);
    int *iaD = Upload(tool, ia), *jaD = Upload(tool, ja), *indexD = Upload(tool, index);
    int *biaD = Upload(tool, block.ia), *bjaD = Upload(tool, block.ja);
    double *aaD = Upload(tool, aa), *valuesD = Upload(tool, values), *baaD = Upload(tool, block.aa);
    double* rhsD = Upload(tool, std::vector<double>(static_cast<size_t>(length), 1.0));
    double* solD = Upload(tool, std::vector<double>(static_cast<size_t>(length), 0.0));
    std::vector<double> solHost(static_cast<size_t>(nnu + nHalo));
    LoopbackCom com;

    const int K = 20;
    auto iteration = [&](const std::function<void(int)>& solve) {
        const double one = MedianSeconds(5, [&] { Quietly([&] { solve(1); }); });
        const double many = MedianSeconds(5, [&] { Quietly([&] { solve(1 + K); }); });
        return (many - one) / K;
    };
    double resIn = 0, resOut = 0;
    int iter = 0, n = 1, none = 0, comm = 0, rank = 0, unused = 0, halo = nHalo;
    const double tol = 1e-30;
    auto serialCSR = [&](int maxIter) {
        tool.ZeroDeviceMemory(length, solD);
        tool.CG_CSR(nnu, block.nna(), biaD, bjaD, baaD, rhsD, solD, tol, resIn, resOut, iter, maxIter, 0);
    };
    auto distributedCSR = [&](int maxIter) {
        tool.ZeroDeviceMemory(length, solD);
        tool.CGP_CSR(nnu, m.nna(), iaD, jaD, aaD, rhsD, solD, solHost.data(), tol, resIn, resOut, iter, maxIter, 0,
                     unused, n, nbr.data(), start.data(), sendIndex.data(), halo, n, nbr.data(), start.data(),
                     recvIndex.data(), comm, rank, unused, &com);
    };
    // The block alone in ELL storage: the halo slot of each top-plane row
    // is marked empty.
    std::vector<int> blockIndex(index);
    for (int& j : blockIndex)
        if (j >= nnu) j = -1;
    int* blockIndexD = Upload(tool, blockIndex);
    auto serialELL = [&](int maxIter) {
        tool.ZeroDeviceMemory(length, solD);
        tool.CG_ELL(nnu, ncol, blockIndexD, valuesD, rhsD, solD, tol, resIn, resOut, iter, maxIter, 0);
    };
    auto distributedELL = [&](int maxIter) {
        tool.ZeroDeviceMemory(length, solD);
        tool.CGP_ELL(nnu, ncol, indexD, valuesD, rhsD, solD, solHost.data(), tol, resIn, resOut, iter, maxIter, 0,
                     unused, n, nbr.data(), start.data(), sendIndex.data(), halo, n, nbr.data(), start.data(),
                     recvIndex.data(), comm, rank, unused, &com);
    };
    (void)none;
    const double tSerial = iteration(serialCSR);
    const double tCSR = iteration(distributedCSR);
    const double tSerialELL = iteration(serialELL);
    const double tELL = iteration(distributedELL);
    const double csrBytes = 2.0 * 8.0 * (nnu + nHalo), ellBytes = 20.0 * plane + 8.0 * plane;
    std::printf("block %d x %d x %d: %d rows, halo plane %d\n", nx, ny, nz, nnu, plane);
    std::printf("%-28s %14s %18s %16s\n", "iteration", "time [us]", "refresh [us]", "refresh [GB/s]");
    std::printf("%-28s %14.1f %18s %16s\n", "CG_CSR (no halo)", tSerial * 1e6, "-", "-");
    std::printf("%-28s %14.1f %18.1f %16.2f\n", "CGP_CSR (whole vector)", tCSR * 1e6, (tCSR - tSerial) * 1e6,
                csrBytes / std::max(tCSR - tSerial, 1e-12) / 1e9);
    std::printf("%-28s %14.1f %18s %16s\n", "CG_ELL (no halo)", tSerialELL * 1e6, "-", "-");
    std::printf("%-28s %14.1f %18.1f %16.2f\n", "CGP_ELL (gathered plane)", tELL * 1e6, (tELL - tSerialELL) * 1e6,
                ellBytes / std::max(tELL - tSerialELL, 1e-12) / 1e9);
    std::printf("refresh byte models: CSR %.2f MB, ELL %.3f MB per iteration\n", csrBytes / 1e6, ellBytes / 1e6);
    for (int* p : {iaD, jaD, indexD, biaD, bjaD, blockIndexD}) tool.FreeDeviceMemory(p);
    for (double* p : {aaD, valuesD, baaD, rhsD, solD}) tool.FreeDeviceMemory(p);
    return 0;
}
