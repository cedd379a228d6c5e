// The checked reduction of the field families: a block kernel writes the
// first level of one or two sums (or extrema) and its status is checked;
// then the level driver collects the remaining levels and the results are
// copied to the host. The status returned is the first-level launch's: the
// collecting passes and the copies are not checked, so a failure in them
// leaves the platform's last error set for the next check.
//
// The first-level kernel takes its inputs followed by the partial-result
// buffer(s). Included by .cu files only: it launches kernels.
#pragma once

#include "CU_CollectResidual.h"
#include "CU_checkError.h"

namespace rvz {

template <auto FirstLevel, auto Collect, class... Inputs>
int ReduceChecked(int grid, const LevelView& table, const char* message, int device, double* buffer,
                  double& result, Inputs... inputs)
{
    RVZ_LAUNCH_BLOCK(FirstLevel, grid, kBlockSize, kOneQuantityShared, 0)(inputs..., buffer);
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

}  // namespace rvz
