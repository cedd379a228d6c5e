// The checked reduction of the field families: a block kernel writes the
// first level of one or two sums (or extrema) and its status is checked;
// then the level driver collects the remaining levels and the results are
// copied to the host. The status returned is the first-level launch's: the
// collecting passes and the copies are not checked, so a failure in them
// leaves the platform's last error set for the next check.
//
// The first-level kernel takes its inputs followed by the partial-result
// buffer(s). The reduced type T (double for sums and extrema, int for
// counts) is that of the buffer and of the host result. Included by .cu
// files only: it launches kernels.
#pragma once

#include <cstddef>

#include "CU_CollectResidual.h"
#include "CU_checkError.h"

namespace rvz {

template <auto FirstLevel, auto Collect, class T, class... Inputs>
int ReduceChecked(int grid, const LevelView& table, const char* message, int device, T* buffer, T& result,
                  Inputs... inputs)
{
    RVZ_LAUNCH_BLOCK(FirstLevel, grid, kBlockSize, kBlockSize * sizeof(T), 0)(inputs..., buffer);
    const int status = CheckStep(message, device);
    CollectLevels<Collect>(table, buffer);
    CopyReductionResult(table, buffer, result);
    return status;
}

// Two quantities reduced in lock step; a goes with bufferA, b with bufferB.
template <auto FirstLevel, auto Collect, class... Inputs>
int ReduceChecked2(int grid, const LevelView& table, const char* message, int device, double* bufferA,
                   double* bufferB, double& a, double& b, Inputs... inputs)
{
    RVZ_LAUNCH_BLOCK(FirstLevel, grid, kBlockSize, kTwoQuantityShared, 0)(inputs..., bufferA, bufferB);
    const int status = CheckStep(message, device);
    CollectLevels2<Collect>(table, bufferA, bufferB);
    CopyReductionResult(table, bufferA, a);
    CopyReductionResult(table, bufferB, b);
    return status;
}

// Three quantities reduced in lock step; a, b, c go with bufferA, B, C.
template <auto FirstLevel, auto Collect, class... Inputs>
int ReduceChecked3(int grid, const LevelView& table, const char* message, int device, double* bufferA,
                   double* bufferB, double* bufferC, double& a, double& b, double& c, Inputs... inputs)
{
    RVZ_LAUNCH_BLOCK(FirstLevel, grid, kBlockSize, kThreeQuantityShared, 0)(inputs..., bufferA, bufferB, bufferC);
    const int status = CheckStep(message, device);
    CollectLevels3<Collect>(table, bufferA, bufferB, bufferC);
    CopyReductionResult(table, bufferA, a);
    CopyReductionResult(table, bufferB, b);
    CopyReductionResult(table, bufferC, c);
    return status;
}

// Statistics start from a cleared partial-result buffer (all `total`
// entries), so that entries a level does not write read as zero.
template <class T>
void ClearPartials(T* buffer, const LevelView& table)
{
    cudaMemset(buffer, 0, static_cast<size_t>(table.total) * sizeof(T));
}

// A statistic of one quantity: its buffer cleared, then the checked reduction.
template <auto FirstLevel, auto Collect, class T, class... Inputs>
int Statistic(int grid, const LevelView& table, const char* message, int device, T* buffer, T& result,
              Inputs... inputs)
{
    ClearPartials(buffer, table);
    return ReduceChecked<FirstLevel, Collect>(grid, table, message, device, buffer, result, inputs...);
}

// A statistic of two quantities reduced in lock step (a maximum and a
// minimum, or two sums).
template <auto FirstLevel, auto Collect, class... Inputs>
int Statistic2(int grid, const LevelView& table, const char* message, int device, double* bufferA, double* bufferB,
               double& a, double& b, Inputs... inputs)
{
    ClearPartials(bufferA, table);
    ClearPartials(bufferB, table);
    return ReduceChecked2<FirstLevel, Collect>(grid, table, message, device, bufferA, bufferB, a, b, inputs...);
}

}  // namespace rvz
