// Face-to-cell accumulation without atomics: the building blocks every
// assembly family uses to turn per-face values into per-cell sums.
//
// Collect step: one thread per face (or list entry) STORES its value(s) at
// its own positions of the scratch matrix AELLDtemp, given by a slot map
// (row Px[f], column Py[f]; row Ex[f], column Ey[f] for the neighbour side).
// No two faces of one map share a position, so no two threads write the
// same element.
// Update step: one thread per row sums the row's NColumnPerRow columns in
// column order 0, 1, ... and adds the sum to target[row]. Rows are either
// 0 .. rows-1 (all-rows form) or rowList[0 .. rows-1] (listed-rows form).
// The fixed column order makes every sum bitwise reproducible.
//
// The scratch is stored column after column: (row r, column j) sits at
// j*new_nnu + r, formed in 32-bit signed arithmetic (the caller keeps
// new_nnu*NColumnPerRow below 2^31).
//
// Everything here is a template or inline, so any number of families may
// include this header.
#pragma once

#include "CUK_ShareMemory1.cuh"

namespace rvz {
namespace accum {

// The face, list entry or row of the calling thread.
__device__ __forceinline__ int ThreadIndex()
{
    return static_cast<int>(blockIdx.x) * kBlockSize + static_cast<int>(threadIdx.x);
}

__device__ __forceinline__ int Position(int row, int column, int new_nnu) { return column * new_nnu + row; }

// The owner-side and neighbour-side positions of one face side.
__device__ __forceinline__ void StoreOwner(double* AELLDtemp, int new_nnu, const int* Px, const int* Py, int f,
                                           double owner)
{
    AELLDtemp[Position(Px[f], Py[f], new_nnu)] = owner;
}

__device__ __forceinline__ void StorePair(double* AELLDtemp, int new_nnu, const int* Px, const int* Py, const int* Ex,
                                          const int* Ey, int f, double owner, double neighbour)
{
    AELLDtemp[Position(Px[f], Py[f], new_nnu)] = owner;
    AELLDtemp[Position(Ex[f], Ey[f], new_nnu)] = neighbour;
}

// Sum of one scratch row in column order.
__device__ __forceinline__ double RowSum(const double* AELLDtemp, int row, int new_nnu, int NColumnPerRow)
{
    double s = 0.0;
    for (int j = 0; j < NColumnPerRow; ++j) s = s + AELLDtemp[Position(row, j, new_nnu)];
    return s;
}

// Row choice of an update step.
struct AllRows {
    __device__ __forceinline__ static int Row(int t, const int*) { return t; }
};
struct ListedRows {
    __device__ __forceinline__ static int Row(int t, const int* rowList) { return rowList[t]; }
};

// Sign of the owner side of a conservative pair: Plus stores (v, -v),
// Minus stores (-v, +v) (an outflow from the owner).
enum class Sign { Plus, Minus };

template <Sign S>
__device__ __forceinline__ double Signed(double v)
{
    if constexpr (S == Sign::Plus) {
        return v;
    } else {
        return -v;
    }
}

}  // namespace accum

// Conservative pair: owner position gets s*v[f], neighbour position -(s*v[f]).
template <accum::Sign S>
__global__ void Kernel_CollectConservativePair(int size, int new_nnu, const int* Px, const int* Py, const int* Ex,
                                               const int* Ey, const double* v, double* AELLDtemp)
{
    const int f = accum::ThreadIndex();
    if (f >= size) return;
    const double owner = accum::Signed<S>(v[f]);
    accum::StorePair(AELLDtemp, new_nnu, Px, Py, Ex, Ey, f, owner, -owner);
}

// Independent pair: each side gets its own value, unchanged.
template <accum::Sign S>
__global__ void Kernel_CollectIndependentPair(int size, int new_nnu, const int* Px, const int* Py, const int* Ex,
                                              const int* Ey, const double* vP, const double* vE, double* AELLDtemp)
{
    const int f = accum::ThreadIndex();
    if (f >= size) return;
    accum::StorePair(AELLDtemp, new_nnu, Px, Py, Ex, Ey, f, accum::Signed<S>(vP[f]), vE[f]);
}

// Owner only: boundary lists and partition-interface faces.
template <accum::Sign S>
__global__ void Kernel_CollectOwnerOnly(int size, int new_nnu, const int* Px, const int* Py, const double* v,
                                        double* AELLDtemp)
{
    const int k = accum::ThreadIndex();
    if (k >= size) return;
    accum::StoreOwner(AELLDtemp, new_nnu, Px, Py, k, accum::Signed<S>(v[k]));
}

// Owner only, the list value times the field at the entry's boundary slot:
// s*v[k]*phi[slot[k]] (with Minus and v = CB, the right-hand side -CB*phi
// of a boundary face whose conductance is -CB).
template <accum::Sign S>
__global__ void Kernel_CollectOwnerOnlyTimesSlot(int size, int new_nnu, const int* Px, const int* Py, const double* v,
                                                 const int* slot, const double* phi, double* AELLDtemp)
{
    const int k = accum::ThreadIndex();
    if (k >= size) return;
    accum::StoreOwner(AELLDtemp, new_nnu, Px, Py, k, accum::Signed<S>(v[k]) * phi[slot[k]]);
}

// Update: target[r] += sum of row r of the scratch, for `rows` rows chosen
// by RowChoice (rowList is not read by the all-rows form). With AELLD as
// the target, position r is the diagonal of row r.
template <class RowChoice>
__global__ void Kernel_UpdateRows(int rows, int new_nnu, int NColumnPerRow, const double* AELLDtemp,
                                  const int* rowList, double* target)
{
    const int t = accum::ThreadIndex();
    if (t >= rows) return;
    const int r = RowChoice::Row(t, rowList);
    target[r] = target[r] + accum::RowSum(AELLDtemp, r, new_nnu, NColumnPerRow);
}

}  // namespace rvz
