// Distributed conjugate gradient on CSR storage.
#include "platform/rvz_platform.h"

#include "CUK_CGP_CSR.cuh"
#include "CU_CGP_CSR.h"
#include "CU_CGP_Steps.cuh"

namespace rvz {

namespace {

// The direction vector's halo refreshed through a host copy of the whole
// local vector: out to the host, exchange, back to the device.
class StagedHalo {
public:
    StagedHalo(int length, PackedHaloExchange& exchange) : length_(length), staging_(length), exchange_(exchange) {}

    int Prepare(DistributedWorkspace&) { return 0; }

    void Refresh(double* PD)
    {
        CopyDeviceToHost(length_, staging_.data(), PD);
        exchange_.Refresh(staging_.data());
        CopyHostToDevice(length_, staging_.data(), PD);
    }

    void FinalUpdate(const double* xD, double* solHost)
    {
        CopyDeviceToHost(length_, solHost, xD);
        exchange_.Refresh(solHost);
    }

private:
    int length_;
    std::vector<double> staging_;
    PackedHaloExchange& exchange_;
};

// The distributed initial residual reads x0 directly, halo columns
// included, not through the serial kernel's block cache.
struct DistributedCsrOperator : CsrOperator {
    void ResidualIn(double* r, double* buffer) const
    {
        RVZ_LAUNCH_BLOCK(Kernel_CGP_CSR_CalcResidual_In, grid, kBlockSize, kOneQuantityShared, 0)
        (nnu, ia, ja, aa, rhs, sol, r, buffer);
    }
};

}  // namespace

int CGP_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double* solHost,
            double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
            int nSendNbr, int* sendNbr, int* sendStart, int* sendIndex, int nHalo, int nRecvNbr, int* recvNbr,
            int* recvStart, int* recvIndex, int comm, int rank, CRVZCom* com, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return -1;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    if (!HasMessagePassing(com, "CGP_CSR needs a CRVZCom object", SelectedDevice)) return cudaErrorInvalidValue;
    const bool jacobi = RVZPreconditionType == 1;
    std::printf(jacobi ? "CPUID:%d, CUDA_JCGPCSR: nnu=%d, nna=%d\n" : "CPUID:%d, CUDA_CGPCSR: nnu=%d, nna=%d\n", rank,
                nnu, nna);
    std::fflush(stdout);

    const CGPProblem problem{nnu, nHalo, jacobi, sol, solHost, tol, maxIter, comm, rank, SelectedDevice, com};
    const NeighbourLists lists{nSendNbr, sendNbr, sendStart, sendIndex, nRecvNbr, recvNbr, recvStart, recvIndex};
    if (!NeighbourListsPair(problem, lists)) return cudaErrorInvalidValue;
    PackedHaloExchange exchange(com, comm, rank, lists);
    StagedHalo halo(nnu + nHalo, exchange);

    const DistributedCsrOperator A{{nnu, ia, ja, aa, rhs, sol, (nnu + kBlockSize - 1) / kBlockSize}};
    return CGPSolve<CSRReductions>(
        nnu, problem, true, resIn, resOut, iter, A,
        [&](const double* P, double* q) { A.Product<Kernel_CSR_Product_Portable>(P, q, 0); }, halo);
}

}  // namespace rvz
