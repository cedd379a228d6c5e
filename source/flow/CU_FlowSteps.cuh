// Launch helpers of the assembly families (momentum, pressure correction,
// energy, volume fraction): one launch followed by its status check, and
// one collect or update step of the shared face-to-cell accumulation.
// Inline host functions and templates over the kernels of
// CUK_Accumulate.cuh; included by the launch files of every assembly family.
#pragma once

#include "platform/rvz_platform.h"

#include "CUK_Accumulate.cuh"
#include "CU_checkError.h"

namespace rvz {
namespace flow {

using accum::Sign;

// One thread kernel over `grid` blocks of 256, then the status check of its
// step; returns the status.
template <auto Kernel, class... Args>
int LaunchChecked(int grid, const char* message, int device, Args... args)
{
    RVZ_LAUNCH(Kernel, grid, kBlockSize, 0, 0)(args...);
    return CheckStep(message, device);
}

// Row sums of the scratch added to target[r] for r = 0 .. nRows-1.
inline int UpdateAllRows(int nRows, int new_nnu, int nCol, const double* AELLDtemp, double* target, int rowGrid,
                         const char* message, int device)
{
    RVZ_LAUNCH(Kernel_UpdateRows<accum::AllRows>, rowGrid, kBlockSize, 0, 0)
    (nRows, new_nnu, nCol, AELLDtemp, nullptr, target);
    return CheckStep(message, device);
}

// Row sums of the scratch added to target[rowList[t]] for t < nRows.
inline int UpdateListedRows(int nRows, int new_nnu, int nCol, const double* AELLDtemp, const int* rowList,
                            double* target, int rowGrid, const char* message, int device)
{
    RVZ_LAUNCH(Kernel_UpdateRows<accum::ListedRows>, rowGrid, kBlockSize, 0, 0)
    (nRows, new_nnu, nCol, AELLDtemp, rowList, target);
    return CheckStep(message, device);
}

// Owner-only collect of +v[k] (Plus) or -v[k] (Minus).
template <Sign S>
int CollectOwnerOnly(int nFaces, int new_nnu, const int* Px, const int* Py, const double* values, double* AELLDtemp,
                     int faceGrid, const char* message, int device)
{
    RVZ_LAUNCH(Kernel_CollectOwnerOnly<S>, faceGrid, kBlockSize, 0, 0)(nFaces, new_nnu, Px, Py, values, AELLDtemp);
    return CheckStep(message, device);
}

// Owner-only collect of +v[k] (Plus) or -v[k] (Minus) into the scratch,
// then its row sums added to target[rowList[t]] for t < nRows. Both steps
// are checked under their own messages; returns the status of the update.
template <Sign S>
int CollectOwnerIntoListedRows(int nFaces, int nRows, int new_nnu, int nCol, const int* Px, const int* Py,
                               const double* values, double* AELLDtemp, const int* rowList, double* target,
                               int faceGrid, int rowGrid, const char* collectMessage, const char* updateMessage,
                               int device)
{
    CollectOwnerOnly<S>(nFaces, new_nnu, Px, Py, values, AELLDtemp, faceGrid, collectMessage, device);
    return UpdateListedRows(nRows, new_nnu, nCol, AELLDtemp, rowList, target, rowGrid, updateMessage, device);
}

// Owner-only collect of s*v[k]*phi[slot[k]].
template <Sign S>
int CollectOwnerOnlyTimesSlot(int nFaces, int new_nnu, const int* Px, const int* Py, const double* values,
                              const int* slot, const double* phi, double* AELLDtemp, int faceGrid,
                              const char* message, int device)
{
    RVZ_LAUNCH(Kernel_CollectOwnerOnlyTimesSlot<S>, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, Px, Py, values, slot, phi, AELLDtemp);
    return CheckStep(message, device);
}

// Conservative pair: (v, -v) for Plus, (-v, +v) for Minus.
template <Sign S>
int CollectConservativePair(int nFaces, int new_nnu, const int* Px, const int* Py, const int* Ex, const int* Ey,
                            const double* values, double* AELLDtemp, int faceGrid, const char* message, int device)
{
    RVZ_LAUNCH(Kernel_CollectConservativePair<S>, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, Px, Py, Ex, Ey, values, AELLDtemp);
    return CheckStep(message, device);
}

// Conservative pair collected into the scratch, then its row sums added to
// the target: rows 0 .. nRows-1 when rowList is null, else rowList[0 ..
// nRows-1]. Both steps are checked under their own messages; returns the
// status of the update.
template <Sign S>
int CollectConservativePairIntoRows(int nFaces, int nRows, int new_nnu, int nCol, const int* Px, const int* Py,
                                    const int* Ex, const int* Ey, const double* values, double* AELLDtemp,
                                    const int* rowList, double* target, int faceGrid, int rowGrid,
                                    const char* collectMessage, const char* updateMessage, int device)
{
    CollectConservativePair<S>(nFaces, new_nnu, Px, Py, Ex, Ey, values, AELLDtemp, faceGrid, collectMessage, device);
    if (rowList == nullptr)
        return UpdateAllRows(nRows, new_nnu, nCol, AELLDtemp, target, rowGrid, updateMessage, device);
    return UpdateListedRows(nRows, new_nnu, nCol, AELLDtemp, rowList, target, rowGrid, updateMessage, device);
}

// Independent pair: +vP[f] (Plus) or -vP[f] (Minus) to the owner, vE[f]
// to the neighbour.
template <Sign S>
int CollectIndependentPair(int nFaces, int new_nnu, const int* Px, const int* Py, const int* Ex, const int* Ey,
                           const double* vP, const double* vE, double* AELLDtemp, int faceGrid, const char* message,
                           int device)
{
    RVZ_LAUNCH(Kernel_CollectIndependentPair<S>, faceGrid, kBlockSize, 0, 0)
    (nFaces, new_nnu, Px, Py, Ex, Ey, vP, vE, AELLDtemp);
    return CheckStep(message, device);
}

// Independent pair collected into the scratch, then its row sums added to
// target[r] for r = 0 .. nRows-1. Both steps are checked under their own
// messages; returns the status of the update.
template <Sign S>
int CollectIndependentPairIntoAllRows(int nFaces, int nRows, int new_nnu, int nCol, const int* Px, const int* Py,
                                      const int* Ex, const int* Ey, const double* vP, const double* vE,
                                      double* AELLDtemp, double* target, int faceGrid, int rowGrid,
                                      const char* collectMessage, const char* updateMessage, int device)
{
    CollectIndependentPair<S>(nFaces, new_nnu, Px, Py, Ex, Ey, vP, vE, AELLDtemp, faceGrid, collectMessage, device);
    return UpdateAllRows(nRows, new_nnu, nCol, AELLDtemp, target, rowGrid, updateMessage, device);
}

}  // namespace flow
}  // namespace rvz
