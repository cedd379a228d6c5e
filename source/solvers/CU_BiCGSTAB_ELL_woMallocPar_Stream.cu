// Distributed Jacobi BiCGSTAB on ELL storage in caller-provided storage,
// with the initial residual sum and rho brought to the host on a stream of
// its own.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_ELL_woMallocPar_Stream.cuh"
#include "CU_BiCGSTAB_ELL_woMallocPar.h"
#include "CU_BiCGSTAB_ParSteps.cuh"

namespace rvz {

// The global sum of the stream driver: as ParProcessSum, and it names the
// stream its reductions copy on.
struct StreamProcessSum : ParProcessSum {
    cudaStream_t stream;
};

// The reductions of the stream driver. The scheme's steps finish every
// reduction through FinishReduction; for this driver's sum type, this
// overload (found by argument-dependent lookup, and more specialised than
// the general one) queues the eight-byte copies of the initial residual
// sum and of rho on the driver's stream and waits for that stream before
// the value is used. The other scalars are copied as in every solver.
template <auto Collect>
double FinishReduction(const LevelView& table, double* buffer, StreamProcessSum& globalSum)
{
    CollectLevels<Collect>(table, buffer);
    double local = 0.0;
    if constexpr (Collect == Kernel_CollectResidual_Alt || Collect == Kernel_BiCGSTAB_Collect_rho) {
        CopyDeviceToHostAsync(1, &local, buffer + ResultOffset(table), globalSum.stream);
        SyncStream(globalSum.stream);
    } else {
        CopyReductionResult(table, buffer, local);
    }
    return globalSum(local);
}

int BiJCGSTABELL_woMallocPar_Stream(
    int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol, double tol,
    double& resIn, double& resOut, int& iter, int maxIter, double* resNextLevelD, double* aDenominatorNextLevelD,
    double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
    double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD, double* diagonal_reciprocalD,
    double* ssD, double* ppD, int new_nnu, int nLevels, int* size, int total, int* count, int* offset, int workLength,
    CRVZCom* com, int nProcs, double* /*unused*/, double* exchangeBuffer, int* nbrList, int* nbrStart,
    int* sendIndexHost, int* recvIndexHost, int nNbr, int NParInterFace, double* hostFieldP, double* hostFieldS,
    int* ijParCVD, int* ijParD, double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD,
    double* ParH2DCopyListHost, int copyGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (!ParHasMessagePassing(com, nProcs, "BiJCGSTABELL_woMallocPar_Stream needs a CRVZCom object", SelectedDevice))
        return cudaErrorInvalidValue;
    StreamProcessSum globalSum{{com, nProcs}, nullptr};
    CreateStream(&globalSum.stream);
    const LevelView table(nLevels, count, offset, total, size);
    const BiCGSystem s = CallerStorageSystem(nnu, table, resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD,
                                             sNextLevelD, omegaNumeratorNextLevelD, omegaDenominatorNextLevelD, resD,
                                             PD, vD, restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, workLength);
    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, s.grid};
    const InPlaceExchangeData data{nProcs, exchangeBuffer, nbrList, nbrStart, sendIndexHost, recvIndexHost,
                                   nNbr,   NParInterFace};
    const ParCopyLists lists{NParInterFace,   ijParCVD,        ijParD,           ParD2HCopyListD,
                             ParD2HCopyListHost, ParH2DCopyListD, ParH2DCopyListHost, copyGrid};
    const bool iterated =
        RunBiJCGSTABPar<Kernel_BICGSTAB_fiD2ParD2HCopyListD_Stream, Kernel_BICGSTAB_ParH2DCopyListD2fiD_Stream>(
            s, A, sol, tol, resIn, resOut, iter, maxIter, com, data, lists, hostFieldP, hostFieldS, globalSum);
    DestroyStream(globalSum.stream);
    if (!iterated) return 0;
    return CheckStep("Parallel BiJCGSTAB-Stream Computing failed", SelectedDevice);
}

}  // namespace rvz
