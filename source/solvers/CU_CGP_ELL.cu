// Distributed conjugate gradient on ELL storage.
#include "platform/rvz_platform.h"

#include "CUK_CGP_ELL.cuh"
#include "CU_CGP_ELL.h"
#include "CU_CG_ELL.h"
#include "CU_CGP_Steps.cuh"

namespace rvz {

namespace {

// The direction vector's halo refreshed with device-side gathering: the
// sent values cross to a page-locked host array (stream 0), the received
// range goes back from a page-locked staging array (stream 1), and the
// final solution comes to the host on stream 2. Each copy is waited for
// before the host or the next kernel uses its data.
class GatheredHalo {
public:
    GatheredHalo(int length, const int* sendIndex, PackedHaloExchange& exchange)
        : length_(length), sendIndex_(sendIndex), exchange_(exchange), nshalo_(exchange.SentCount()),
          first_(exchange.FirstReceivePosition()), last_(exchange.LastReceivePosition())
    {
    }

    int Prepare(DistributedWorkspace& work)
    {
        int code = work.Device(nshalo_, isndlistD_);
        if (code == 0) code = work.Device(nshalo_, isndlistValueD_);
        if (code == 0) code = work.PageLocked(nshalo_, isndlistValue_);
        if (code == 0) code = work.PageLocked(length_, staging_);
        for (cudaStream_t& s : streams_)
            if (code == 0) code = work.Stream(s);
        if (code == 0) code = CopyHostToDevice(nshalo_, sendIndex_, isndlistD_);
        return code;
    }

    void Refresh(double* PD)
    {
        if (nshalo_ > 0) {
            RVZ_LAUNCH(Kernel_Map_P2isndlistValue, (nshalo_ + kBlockSize - 1) / kBlockSize, kBlockSize, 0, 0)
            (nshalo_, isndlistValueD_, isndlistD_, PD);
            CopyDeviceToHostAsync(nshalo_, isndlistValue_, isndlistValueD_, streams_[0]);
            SyncStream(streams_[0]);
        }
        for (int k = 0; k < nshalo_; ++k) staging_[sendIndex_[k]] = isndlistValue_[k];
        exchange_.Refresh(staging_);
        if (first_ <= last_) {
            CopyHostToDeviceAsync(last_ - first_ + 1, staging_ + first_, PD + first_, streams_[1]);
            SyncStream(streams_[1]);
        }
    }

    void FinalUpdate(const double* xD, double* solHost)
    {
        CopyDeviceToHostAsync(length_, solHost, xD, streams_[2]);
        SyncStream(streams_[2]);
        exchange_.PackSends(solHost);
        exchange_.ExchangeNonBlocking();
        exchange_.UnpackReceives(solHost);
    }

private:
    int length_;
    const int* sendIndex_;
    PackedHaloExchange& exchange_;
    int nshalo_;
    int first_;
    int last_;
    int* isndlistD_ = nullptr;
    double* isndlistValueD_ = nullptr;
    double* isndlistValue_ = nullptr;
    double* staging_ = nullptr;
    cudaStream_t streams_[3] = {};
};

}  // namespace

int CGP_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
            double* solHost, double tol, double& resIn, double& resOut, int& iter, int maxIter,
            int RVZPreconditionType, int nSendNbr, int* sendNbr, int* sendStart, int* sendIndex, int nHalo,
            int nRecvNbr, int* recvNbr, int* recvStart, int* recvIndex, int comm, int rank, CRVZCom* com,
            int SelectedDevice)
{
    if (BlockSize != kBlockSize) return -1;
    if (RVZPreconditionType != 0 && RVZPreconditionType != 1) return 0;
    if (!HasMessagePassing(com, "CGP_ELL needs a CRVZCom object", SelectedDevice)) return cudaErrorInvalidValue;
    const bool jacobi = RVZPreconditionType == 1;
    const int new_nnu = PaddedRows(nnu);
    std::printf(jacobi ? "CPUID:%d, CUDA_JCGPELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n"
                       : "CPUID:%d, CUDA_CGPELL: nnu=%d, new_nnu=%d, NColumnPerRow=%d\n",
                rank, nnu, new_nnu, NColumnPerRow);
    std::fflush(stdout);

    const CGPProblem problem{nnu, nHalo, jacobi, sol, solHost, tol, maxIter, comm, rank, SelectedDevice, com};
    const NeighbourLists lists{nSendNbr, sendNbr, sendStart, sendIndex, nRecvNbr, recvNbr, recvStart, recvIndex};
    if (!NeighbourListsPair(problem, lists)) return cudaErrorInvalidValue;
    PackedHaloExchange exchange(com, comm, rank, lists);
    GatheredHalo halo(nnu + nHalo, sendIndex, exchange);

    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, new_nnu / kBlockSize};
    auto product = [&](const double* P, double* q) {
        A.Product<Kernel_CG_ELL_Calc_q_parallel, Kernel_JCG_ELL_Calc_q_parallel>(jacobi, P, q);
    };
    return CGPSolve<ELLReductions>(
        new_nnu, problem, false, resIn, resOut, iter, A, product, halo);
}

}  // namespace rvz
