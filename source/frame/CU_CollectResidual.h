// The level driver of multi-level reductions.
//
// A reduction over n elements runs a first-level kernel (usually fused with
// the element work of a solver step or an assembly operation) that writes
// one partial result per block at offset 0 of a partial-result buffer, then
// one collecting launch per further level, then a blocking copy of the final
// value. The level table (GetSizeOfBlock) fixes the sizes and offsets; every
// reduction of the library drives its levels through the functions below.
#pragma once

#include "CUK_CollectResidual.cuh"
#include "CU_Reduction.h"

namespace rvz {

// Collecting passes k = 1 .. nLevels-2: size[k+1] blocks reduce count[k]
// entries at offset[k-1] into one entry per block at offset[k].
template <auto Collect, class T>
void CollectLevels(const LevelView& table, T* buffer, cudaStream_t stream = 0)
{
    for (int k = 1; k <= table.nLevels - 2; ++k)
        RVZ_LAUNCH_BLOCK(Collect, table.size[k + 1], kBlockSize, kBlockSize * sizeof(T), stream)
        (table.count[k], buffer + table.offset[k - 1], buffer + table.offset[k]);
}

// The same for two quantities reduced together in lock step.
template <auto Collect, class T>
void CollectLevels2(const LevelView& table, T* bufferA, T* bufferB, cudaStream_t stream = 0)
{
    for (int k = 1; k <= table.nLevels - 2; ++k)
        RVZ_LAUNCH_BLOCK(Collect, table.size[k + 1], kBlockSize, 2 * kBlockSize * sizeof(T), stream)
        (table.count[k], bufferA + table.offset[k - 1], bufferB + table.offset[k - 1], bufferA + table.offset[k],
         bufferB + table.offset[k]);
}

// The same for three quantities reduced together in lock step.
template <auto Collect, class T>
void CollectLevels3(const LevelView& table, T* bufferA, T* bufferB, T* bufferC, cudaStream_t stream = 0)
{
    for (int k = 1; k <= table.nLevels - 2; ++k)
        RVZ_LAUNCH_BLOCK(Collect, table.size[k + 1], kBlockSize, 3 * kBlockSize * sizeof(T), stream)
        (table.count[k], bufferA + table.offset[k - 1], bufferB + table.offset[k - 1], bufferC + table.offset[k - 1],
         bufferA + table.offset[k], bufferB + table.offset[k], bufferC + table.offset[k]);
}

// Blocking copy of the final value into the host variable; it also waits
// for every launch before it on the default stream.
template <class T>
cudaError_t CopyReductionResult(const LevelView& table, const T* buffer, T& result)
{
    const int at = ResultOffset(table);
    if (at < 0) return cudaErrorInvalidValue;
    return cudaMemcpy(&result, buffer + at, sizeof(T), cudaMemcpyDeviceToHost);
}

}  // namespace rvz
