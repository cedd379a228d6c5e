// Distributed Jacobi BiCGSTAB on ELL storage in caller-provided storage.
#include "platform/rvz_platform.h"

#include "CUK_BiCGSTAB_ELL_woMallocPar.cuh"
#include "CU_BiCGSTAB_ELL_woMallocPar.h"
#include "CU_BiCGSTAB_ParSteps.cuh"

namespace rvz {

int BiJCGSTABELL_woMallocPar(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                             double* sol, double tol, double& resIn, double& resOut, int& iter, int maxIter,
                             double* resNextLevelD, double* aDenominatorNextLevelD, double* rhoNextLevelD,
                             double* sNextLevelD, double* omegaNumeratorNextLevelD,
                             double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD,
                             double* restiltD, double* sD, double* tD, double* diagonal_reciprocalD, double* ssD,
                             double* ppD, int new_nnu, int nLevels, int* size, int total, int* count, int* offset,
                             int workLength, CRVZCom* com, int nProcs, double* /*unused*/, double* exchangeBuffer,
                             int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
                             int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD,
                             double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD,
                             double* ParH2DCopyListHost, int copyGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    if (!ParHasMessagePassing(com, nProcs, "BiJCGSTABELL_woMallocPar needs a CRVZCom object", SelectedDevice))
        return cudaErrorInvalidValue;
    const LevelView table(nLevels, count, offset, total, size);
    const BiCGSystem s = CallerStorageSystem(nnu, table, resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD,
                                             sNextLevelD, omegaNumeratorNextLevelD, omegaDenominatorNextLevelD, resD,
                                             PD, vD, restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, workLength);
    const EllOperator A{nnu, new_nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, s.grid};
    const InPlaceExchangeData data{nProcs, exchangeBuffer, nbrList, nbrStart, sendIndexHost, recvIndexHost,
                                   nNbr,   NParInterFace};
    const ParCopyLists lists{NParInterFace,   ijParCVD,        ijParD,           ParD2HCopyListD,
                             ParD2HCopyListHost, ParH2DCopyListD, ParH2DCopyListHost, copyGrid};
    ParProcessSum globalSum{com, nProcs};
    if (!RunBiJCGSTABPar<Kernel_BICGSTAB_fiD2ParD2HCopyListD, Kernel_BICGSTAB_ParH2DCopyListD2fiD>(
            s, A, sol, tol, resIn, resOut, iter, maxIter, com, data, lists, hostFieldP, hostFieldS, globalSum))
        return 0;
    return CheckStep("Parallel BiJCGSTAB Computing failed", SelectedDevice);
}

}  // namespace rvz
