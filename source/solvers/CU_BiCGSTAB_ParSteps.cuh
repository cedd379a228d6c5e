// The distributed Jacobi BiCGSTAB in caller storage: scheme B of the
// serial caller-storage solver (CU_KrylovSteps.cuh) with every reduced
// scalar summed over the processes and the halo of pHat and sHat refreshed
// through the partition-interface copy lists just before their products.
// Shared by the plain and the stream drivers.
//
// Included by .cu files only: it launches kernels.
#pragma once

#include "CRVZCom.h"
#include "CUK_ParCopyList.cuh"
#include "CU_HaloExchange.h"
#include "CU_KrylovSteps.cuh"

namespace rvz {

// The partition-interface copy lists and their staging arrays.
struct ParCopyLists {
    int NParInterFace;
    const int* ijParCVD;
    const int* ijParD;
    double* ParD2HCopyListD;
    double* ParD2HCopyListHost;
    double* ParH2DCopyListD;
    double* ParH2DCopyListHost;
    int grid;
};

// A locally reduced scalar summed over the processes of CommHandle; with
// one process the local value is used and nothing is called.
struct ParProcessSum {
    CRVZCom* com;
    int nProcs;
    double operator()(double local) const
    {
        if (nProcs == 1) return local;
        double global = 0.0;
        com->AllSum(com->DoubleType, &local, &global, 1, com->CommHandle);
        return global;
    }
};

// More than one process needs a message-passing object: without one the
// call is refused with a report.
inline bool ParHasMessagePassing(CRVZCom* com, int nProcs, const char* message, int device)
{
    if (com != nullptr || nProcs == 1) return true;
    ReportCUDAError(kSerial, cudaErrorInvalidValue, device, 0, message, nullptr);
    return false;
}

// Refreshes the halo slots of y: gather the sent values on the device and
// bring them to the host field, exchange with the neighbours in place, take
// the received values out of the host field and scatter them into y. Halo
// slots not named in ijParD keep their values. With an empty interface the
// device steps launch nothing (a grid of zero blocks is not a launch).
template <auto Gather, auto Scatter>
void RefreshParHalo(CRVZCom* com, const InPlaceExchangeData& data, const ParCopyLists& lists, double* yD,
                    double* hostField)
{
    const int n = lists.NParInterFace;
    if (n > 0) {
        RVZ_LAUNCH(Gather, lists.grid, kBlockSize, 0, 0)(n, lists.ijParCVD, yD, lists.ParD2HCopyListD);
        CopyDeviceToHost(n, lists.ParD2HCopyListHost, lists.ParD2HCopyListD);
    }
    for (int k = 0; k < n; ++k) hostField[data.sendIndexHost[k + 1]] = lists.ParD2HCopyListHost[k];
    ExchangeInPlace(com, data, hostField);
    for (int k = 0; k < n; ++k) lists.ParH2DCopyListHost[k] = hostField[data.recvIndexHost[k + 1]];
    if (n > 0) {
        CopyHostToDevice(n, lists.ParH2DCopyListHost, lists.ParH2DCopyListD);
        RVZ_LAUNCH(Scatter, lists.grid, kBlockSize, 0, 0)(n, lists.ijParD, lists.ParH2DCopyListD, yD);
    }
}

// Runs scheme B on storage that CallerStorageSystem has zero-filled.
// Returns false when the initial residual is exactly zero over all
// processes (every process returns together, resOut and iter untouched).
template <auto Gather, auto Scatter, class GlobalSum>
bool RunBiJCGSTABPar(const BiCGSystem& s, const EllOperator& A, double* sol, double tol, double& resIn,
                     double& resOut, int& iter, int maxIter, CRVZCom* com, const InPlaceExchangeData& data, const ParCopyLists& lists,
                     double* hostFieldP, double* hostFieldS, GlobalSum& globalSum)
{
    auto productV = [&](const double* pHat, double* v) {
        RefreshParHalo<Gather, Scatter>(com, data, lists, s.v.pHat, hostFieldP);
        A.Product<Kernel_BiCGSTAB_ELL_woMalloc_Calc_v>(pHat, v);
    };
    auto productT = [&](const double* sHat, double* t) {
        RefreshParHalo<Gather, Scatter>(com, data, lists, s.v.sHat, hostFieldS);
        A.Product<Kernel_BiCGSTAB_ELL_woMalloc_Calc_t>(sHat, t);
    };
    return BiCGRun<Kernel_CollectResidual_Alt>(
        s, BiCGScheme::B, sol, tol, resIn, resOut, iter, maxIter,
        A,
        productV, productT, globalSum);
}

}  // namespace rvz
