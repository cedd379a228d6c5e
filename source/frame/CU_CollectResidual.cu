// Level tables, the collecting kernels of the solvers and the generic dot
// product.
#include "CU_CollectResidual.h"

#include "CU_checkError.h"

namespace rvz {

int BuildLevelTable(int n, int& total, int& nLevels, int count[kMaxLevels], int size[kMaxLevels],
                    int offset[kMaxLevels])
{
    if (n < 1) {
        total = 0;
        nLevels = 0;
        return cudaErrorInvalidValue;
    }
    // size[0] is n padded to whole blocks; each further level has one entry
    // per block of the level below, down to a single entry.
    size[0] = (n + kBlockSize - 1) / kBlockSize * kBlockSize;
    int levels = 1;
    do {
        size[levels] = (size[levels - 1] + kBlockSize - 1) / kBlockSize;
        ++levels;
    } while (size[levels - 1] > 1);
    nLevels = levels;
    size[levels] = 1;
    offset[0] = 0;
    for (int k = 1; k < levels; ++k) {
        offset[k] = offset[k - 1] + (size[k] + kBlockSize - 1) / kBlockSize * kBlockSize;
        count[k] = size[k];
    }
    total = offset[levels - 1];
    return 0;
}

LevelTable MakeLevelTable(int n)
{
    LevelTable t;
    BuildLevelTable(n, t.total, t.nLevels, t.count, t.size, t.offset);
    return t;
}

int DotProduct(int n, const double* V1D, const double* V2D, double* buffer, const LevelView& table, double& result)
{
    RVZ_LAUNCH_BLOCK(Kernel_JCG_CalcV1dotV2, table.size[1], kBlockSize, kBlockSize * sizeof(double), 0)
    (n, V1D, V2D, buffer);
    const int status = cudaGetLastError();
    CollectLevels<Kernel_CollectResidual>(table, buffer);
    CopyReductionResult(table, buffer, result);
    return status;
}

namespace {

template <class Op>
__global__ void Kernel_ReduceField(int n, const double* xD, double* nextLevelD)
{
    rvz::block_reduce_256<Op, double>([&](int i) { return i < n ? xD[i] : Op::template identity<double>(); },
                                      nextLevelD);
}

template <class Op>
int reduce_with(int collectInputs, int n, const double* xD, double* buffer, const LevelView& table, double& result,
                int device)
{
    RVZ_LAUNCH_BLOCK(Kernel_ReduceField<Op>, table.size[1], kBlockSize, kBlockSize * sizeof(double), 0)
    (n, xD, buffer);
    const int status = CheckStep("Reduce failed", device);
    if (collectInputs == 512)
        CollectLevels<Kernel_CollectLevel<Op, 512, double>>(table, buffer);
    else
        CollectLevels<Kernel_CollectLevel<Op, 256, double>>(table, buffer);
    CopyReductionResult(table, buffer, result);
    return status;
}

}  // namespace

int Reduce(Combine op, int collectInputs, int n, const double* xD, double* buffer, const LevelView& table,
           double& result, int device)
{
    switch (op) {
        case Combine::Max: return reduce_with<MaxOp>(collectInputs, n, xD, buffer, table, result, device);
        case Combine::Min: return reduce_with<MinOp>(collectInputs, n, xD, buffer, table, result, device);
        default: return reduce_with<SumOp>(collectInputs, n, xD, buffer, table, result, device);
    }
}

}  // namespace rvz

// The solvers' collecting kernels. Kernels of equal arithmetic share one
// body; they keep their own names so that a profile names the solver step.
__global__ void Kernel_CollectResidual(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 256>(n, in, out);
}

__global__ void Kernel_CollectResidual_Alt(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_CG_Collect_A(int n, const double* inA, const double* inB, double* outA, double* outB)
{
    rvz::collect_level2<rvz::SumOp, 256>(n, inA, inB, outA, outB);
}

__global__ void Kernel_CG_Collect_B(int n, const double* inA, const double* inB, double* outA, double* outB)
{
    rvz::collect_level2<rvz::SumOp, 256>(n, inA, inB, outA, outB);
}

__global__ void Kernel_CG_Collect_A_Alt(int n, const double* inA, const double* inB, double* outA,
                                               double* outB)
{
    rvz::collect_level2<rvz::SumOp, 512>(n, inA, inB, outA, outB);
}

__global__ void Kernel_CG_Collect_B_Alt(int n, const double* inA, const double* inB, double* outA,
                                               double* outB)
{
    rvz::collect_level2<rvz::SumOp, 512>(n, inA, inB, outA, outB);
}

__global__ void Kernel_BiCGSTAB_Collect_rho(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_BiCGSTAB_Collect_A(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_BiCGSTAB_Collect_s(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_BiCGSTAB_Collect_Omega(int n, const double* inA, const double* inB, double* outA,
                                                     double* outB)
{
    rvz::collect_level2<rvz::SumOp, 512>(n, inA, inB, outA, outB);
}

// The generic first-level dot product: per-block sums of V1[i]*V2[i].
__global__ void Kernel_JCG_CalcV1dotV2(int size, const double* V1D, const double* V2D, double* dotNextLevelD)
{
    rvz::block_reduce_256<rvz::SumOp, double>([&](int i) { return i < size ? V1D[i] * V2D[i] : 0.0; },
                                              dotNextLevelD);
}
