// Melt-front temperature kernels: a scalar carried by the face mass fluxes
// alone (first-order upwind, no diffusion, no heat capacity) with inflow at
// the inlets, zero gradient at walls and an implicit Euler time term; its
// outer-iteration convergence measure and its sampling per cell when the
// cell fills. Face-to-cell sums go through the shared collect and update
// kernels of CUK_Accumulate.cuh. Included by CU_MeltFrontTemp.cu only.
#pragma once

#include "CUK_Accumulate.cuh"
#include "CUK_CollectResidual.cuh"
#include "CUK_FlowGeometry.cuh"

// Upwind convection with unit coefficient.
__global__ void Kernel_Calc_InnerFluxHeatGen(int n, const double* mfeD, double* aED, double* aWD)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    aED[f] = rvz::flow::NegativePart(mfeD[f]);
    aWD[f] = -rvz::flow::PositivePart(mfeD[f]);
}

// Partition-interface faces: the neighbour's row is not assembled here.
__global__ void Kernel_Calc_InnerFluxHeatGen_Par(int n, const double* mfeD, double* aED)
{
    const int f = rvz::accum::ThreadIndex();
    if (f >= n) return;
    aED[f] = rvz::flow::NegativePart(mfeD[f]);
}

// Inflow coefficient c = min(m, 0) and inflow source -c T_b of inlet face i.
__global__ void Kernel_Calc_MeltFrontTemp_InletBoundary(int n, const int* ijInletD, const double* MassFluxInletD,
                                                        double* CBD, double* tempSuD, const double* fiD)
{
    const int i = rvz::accum::ThreadIndex();
    if (i >= n) return;
    const double c = rvz::flow::NegativePart(MassFluxInletD[i]);
    CBD[i] = c;
    tempSuD[i] = -c * fiD[ijInletD[i]];
}

// Zero gradient at walls.
__global__ void Kernel_Calc_MeltFrontTemp_WallBC(int n, const int* ijWallCVD, const int* ijWallD, double* fiD)
{
    const int i = rvz::accum::ThreadIndex();
    if (i >= n) return;
    fiD[ijWallD[i]] = fiD[ijWallCVD[i]];
}

// Implicit Euler: V/dt into the diagonal, V/dt fi0 into the source.
__global__ void Kernel_Calc_MeltFrontTemp_UnsteadyTermContribution(int nnu, const double* volumeD, double dt,
                                                                   double* AELLD, double* SuD, const double* fi0D)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= nnu) return;
    const double a = volumeD[c] / dt;
    SuD[c] += a * fi0D[c];
    AELLD[c] += a;
}

// aP = (AELLD - sum of off-diagonals)/relax with implicit under-relaxation.
__global__ void Kernel_Calc_MeltFrontTemp_FinalCoeff(int nnu, int new_nnu, int nCol, double relax, const double* fiD,
                                                     double* AELLD, double* SfiD)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= nnu) return;
    const double s = rvz::flow::OffDiagonalSum(c, new_nnu, nCol, AELLD);
    const double aP = (AELLD[c] - s) / relax;
    AELLD[c] = aP;
    SfiD[c] += (1.0 - relax) * aP * fiD[c];
}

// Per-block maxima of |fi - Sv|; positions past n take no part.
__global__ void Kernel_Calc_MeltFrontTemp_CheckOuterConvergence(int n, const double* fiD, const double* SvD,
                                                                double* maxD)
{
    rvz::block_reduce_256<rvz::MaxOp, double>(
        [&](int i) { return i < n ? fabs(fiD[i] - SvD[i]) : rvz::MaxOp::identity<double>(); }, maxD);
}

// Collecting pass of the maximum: 512 entries per block.
__global__ void Kernel_Calc_MeltFrontTemp_Collectl2C(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::MaxOp, 512>(n, in, out);
}

// A cell takes its sample when its volume fraction first crosses FCRI;
// with iFlag = 1 an unsampled cell follows the field until then. A sampled
// cell keeps its sample, also when its volume fraction drops below FCRI and
// crosses it again.
__global__ void Kernel_Calc_ComputeMeltFrontTemperature(int n, const double* VolFD, const double* VolF0D,
                                                        double* MeltFrontTemperatureD, bool* bMeltFrontTemperatureD,
                                                        const double* dp_dxD, double FCRI, int iFlag)
{
    const int c = rvz::accum::ThreadIndex();
    if (c >= n) return;
    const bool filledNow = VolF0D[c] < FCRI && VolFD[c] >= FCRI;
    const bool sampled = bMeltFrontTemperatureD[c];
    if (!sampled && (filledNow || iFlag == 1)) MeltFrontTemperatureD[c] = dp_dxD[c];
    bMeltFrontTemperatureD[c] = sampled || filledNow;
}
