// Extended-path volume-fraction kernels: the four interface-capturing
// schemes (face value and blending factor), the compression-corrected flux
// with its deferred correction and front statistics (five methods, interior
// and partition faces), the Crank-Nicolson time term, the inlet, moving-wall
// and re-fill boundary rules, limiting and snapping, arrival times and the
// end-of-filling statistics. Included by CU_Vfconv_FlowE.cu only.
#pragma once

#include "CUK_CollectResidual.cuh"
#include "CUK_VofSteps.cuh"

namespace rvz {
namespace vof {

// ---- Interface-capturing schemes ----
// Each gives the normalised face value of an in-range normalised donor
// value x from the interface angle's cosine c and the donor Courant number.

struct SchemeCicsam {
    __device__ __forceinline__ static double FaceValue(double x, double c, double Co)
    {
        const CicsamBounds b = CicsamBoundsOf(x, Co);
        const double w = CicsamWeight(c);
        return w * b.cbc + (1.0 - w) * b.uq;
    }
};

// Courant-independent CICSAM: bounds min(2x, 1) and min(x + 1/4, bound),
// weighted by |c|^(1/4).
struct SchemeModifiedCicsam {
    __device__ __forceinline__ static double FaceValue(double x, double c, double)
    {
        const double B = fmin(2.0 * x, 1.0);
        const double Q = fmin(x + 0.25, B);
        const double w = ClampUnit(sqrt(sqrt(fabs(c))));
        return w * B + (1.0 - w) * Q;
    }
};

// HRIC's bounded downwind value: 2x below one half, else 1.
__device__ __forceinline__ double HricBounded(double x) { return x < 0.5 ? 2.0 * x : 1.0; }

// HRIC: the bounded downwind value and upwind weighted by sqrt|c|, then
// drawn back to upwind as the donor Courant number rises from 0.3 to 0.7.
struct SchemeHric {
    static constexpr double kCoLow = 0.3;
    static constexpr double kCoHigh = 0.7;
    __device__ __forceinline__ static double FaceValue(double x, double c, double Co)
    {
        const double w = sqrt(fabs(c));
        const double F = w * HricBounded(x) + (1.0 - w) * x;
        if (Co < kCoLow) return F;
        if (Co <= kCoHigh) return x + (F - x) * (kCoHigh - Co) * 2.5;
        return x;
    }
};

// Courant-independent HRIC: the bounded downwind value and min((6x + 3)/8,
// bound), weighted by 0.8 sqrt(c) on faces where the gradient points
// downwind (c > 0).
struct SchemeModifiedHric {
    __device__ __forceinline__ static double FaceValue(double x, double c, double)
    {
        const double B = HricBounded(x);
        const double Q = fmin((6.0 * x + 3.0) / 8.0, B);
        const double w = c > 0.0 ? 0.8 * sqrt(c) : 0.0;
        return w * B + (1.0 - w) * Q;
    }
};

// Face value and blending factor of one face by Scheme; out of range the
// face value is the upwind one (beta = 0).
template <class Scheme>
__device__ __forceinline__ void SchemeFace(int f, const int* ijCVPD, const int* ijCVED, const double* mfeD,
                                           const double* VolFD, const double* CourantNoDD, const double* gxD,
                                           const double* gyD, const double* gzD, const double* xcD, const double* ycD,
                                           const double* zcD, double* FeD, double* BetafD)
{
    const DonorAcceptor da = DonorOf(mfeD[f], ijCVPD[f], ijCVED[f]);
    const InterfaceFace face = LoadInterfaceFace(da, VolFD, xcD, ycD, zcD, gxD, gyD, gzD);
    const double x = face.NormalisedDonor();
    const double tf = InNormalisedRange(x) ? Scheme::FaceValue(x, face.CosAngle(), CourantNoDD[da.D]) : x;
    const double beta = BlendingFactor(tf, x);
    BetafD[f] = beta;
    FeD[f] = ClampUnit((1.0 - beta) * face.phiD + beta * face.phiA);
}

// ---- Compression-corrected flux and front statistics ----

// The upper end of the filling band of the front statistics.
constexpr double kFillingEnd = 0.994;

// Band tests of the front statistics on the donor value phiD.
enum class FrontBand { NearCritical, Filling, Everywhere };

template <FrontBand Band>
__device__ __forceinline__ bool InBand(double phiD, double fcri, double CeBound)
{
    if constexpr (Band == FrontBand::NearCritical) {
        return fabs(phiD - fcri) < CeBound;
    } else if constexpr (Band == FrontBand::Filling) {
        return fcri - CeBound <= phiD && phiD < kFillingEnd;
    } else {
        return phiD >= 0.0;
    }
}

// The statistics of methods 0-4: band and whether the face values are
// summed (Co V, V) or carried into maxima (Co against maxCe, 1 against
// FrontVol).
template <int Method>
struct FrontMethod {
    static_assert(Method >= 0 && Method <= 4, "front methods 0 to 4");
    static constexpr FrontBand kBand = Method == 4 ? FrontBand::Everywhere
                                       : Method % 2 == 0 ? FrontBand::NearCritical
                                                         : FrontBand::Filling;
    static constexpr bool kSums = Method <= 1;
};

// The face gradient, interpolated with the neighbour's weight lambda.
__device__ __forceinline__ flow::Vec3 FaceGradient(double lambda, const flow::Vec3& gE, const flow::Vec3& gP)
{
    return flow::Vec3{flow::Interp(lambda, gE.x, gP.x), flow::Interp(lambda, gE.y, gP.y),
                      flow::Interp(lambda, gE.z, gP.z)};
}

// Cosine between the face area vector S (area A) and the face gradient.
__device__ __forceinline__ double InterfaceAlignment(const flow::Vec3& S, const flow::Vec3& gf, double A)
{
    return flow::Dot(S, gf) / (sqrt(flow::Dot(gf, gf)) * A + 1.0e-30);
}

// Per-face result of the flux kernel.
struct CompressedFlux {
    double aE, aW, deferred;
};

// Compression flux 0.1 m c_f (1 - Fe), dropped when larger than the flux
// itself; the corrected flux m' gives the upwind coefficients and the
// deferred correction gamma (upwind flux of phi - m' Fe).
__device__ __forceinline__ CompressedFlux CompressFace(double m, double cf, double Fe, double phiP, double phiE,
                                                       double gamma)
{
    double mc = 0.1 * m * cf * (1.0 - Fe);
    if (fabs(mc) > fabs(m)) mc = 0.0;
    const double mp = m - mc;
    const double out = mp > 0.0 ? mp : 0.0;  // max(m', 0)
    const double in = mp < 0.0 ? mp : 0.0;   // min(m', 0)
    return CompressedFlux{in, -out, gamma * (in * phiE + out * phiP - mp * Fe)};
}

}  // namespace vof
}  // namespace rvz

// ---------------------------------------------------------------------------
// Interface-capturing schemes (one thread per interior face)
// ---------------------------------------------------------------------------

// Scheme is one of SchemeCicsam, SchemeModifiedCicsam, SchemeHric,
// SchemeModifiedHric; HRScheme is accepted and not read.
template <class Scheme>
__global__ void Kernel_Calc_VOF_FlowE_InnerFlux_HRScheme(int n, const int* ijCVPD, const int* ijCVED, int HRScheme,
                                                         const double* mfeD, const double* VolFD,
                                                         const double* CourantNoDD, const double* dVF_dxD,
                                                         const double* dVF_dyD, const double* dVF_dzD,
                                                         const double* xcD, const double* ycD, const double* zcD,
                                                         double* FeD, double* BetafD)
{
    (void)HRScheme;
    const int f = rvz::vof::ThreadIndex();
    if (f >= n) return;
    rvz::vof::SchemeFace<Scheme>(f, ijCVPD, ijCVED, mfeD, VolFD, CourantNoDD, dVF_dxD, dVF_dyD, dVF_dzD, xcD, ycD,
                                 zcD, FeD, BetafD);
}

// ---------------------------------------------------------------------------
// Compression-corrected flux, deferred correction and front statistics
// ---------------------------------------------------------------------------

namespace rvz {
namespace vof {
// Arrays of one face set for the flux kernels; aWD and areaD are null on
// partition faces (aW is not written there and the area is |S|).
struct VofFluxFaces {
    const int *P, *E;
    const double *mfe, *le, *sx, *sy, *sz, *area;
    const double *VolF, *Co, *Fe, *gx, *gy, *gz, *volume;
    double *aE, *aW, *temp1, *temp2, *temp3;
};
}  // namespace vof
}  // namespace rvz

// Method M on face f: coefficients, deferred correction (temp1) and the two
// front statistics (temp2, temp3). Partition faces: Par = true.
template <int Method, bool Par>
__global__ void Kernel_Calc_VOF_FlowE_InnerFluxVolF_aEaWtemp123(int n, rvz::vof::VofFluxFaces a, double gamma,
                                                                double fcri, double CeBound, double maxCe,
                                                                double FrontVol)
{
    using namespace rvz::vof;
    using rvz::flow::Load3;
    using Stat = FrontMethod<Method>;
    const int f = ThreadIndex();
    if (f >= n) return;
    const int P = a.P[f], E = a.E[f];
    const double m = a.mfe[f];
    const rvz::flow::Vec3 gf = FaceGradient(a.le[f], Load3(a.gx, a.gy, a.gz, E), Load3(a.gx, a.gy, a.gz, P));
    const rvz::flow::Vec3 S = Load3(a.sx, a.sy, a.sz, f);
    const double A = Par ? sqrt(rvz::flow::Dot(S, S)) : a.area[f];
    const CompressedFlux c = CompressFace(m, InterfaceAlignment(S, gf, A), a.Fe[f], a.VolF[P], a.VolF[E], gamma);
    a.aE[f] = c.aE;
    if (!Par) a.aW[f] = c.aW;
    a.temp1[f] = c.deferred;

    const int D = DonorOf(m, P, E).D;
    const bool in = InBand<Stat::kBand>(a.VolF[D], fcri, CeBound);
    const double Co = a.Co[D];
    if constexpr (Stat::kSums) {
        a.temp2[f] = in ? Co * a.volume[D] : 0.0;
        a.temp3[f] = in ? a.volume[D] : 0.0;
    } else {
        a.temp2[f] = in && Co > maxCe ? Co : maxCe;
        a.temp3[f] = in ? 1.0 : FrontVol;
    }
}

namespace rvz {
namespace vof {
// Maximum whose positions outside the data count as 0, so that the result
// is never below 0.
struct MaxFromZeroOp {
    template <class T>
    RVZ_HOST_DEVICE static T identity()
    {
        return T(0);
    }
    template <class T>
    RVZ_HOST_DEVICE static T apply(T a, T b)
    {
        return a > b ? a : b;
    }
};
}  // namespace vof
}  // namespace rvz

// First level of the two front statistics: per block, the sums (or maxima
// from 0) of temp2D and temp3D; faces past the end count as 0.
template <class Op>
__global__ void Kernel_Calc_VOF_FlowE_InnerFluxVolF_Reduce(int n, const double* temp2D, const double* temp3D,
                                                           double* out1, double* out2)
{
    rvz::block_reduce2_256<Op, double>(
        [&](int f) { return f < n ? rvz::Pair<double>{temp2D[f], temp3D[f]} : rvz::Pair<double>{0.0, 0.0}; }, out1,
        out2);
}

template <class Op>
__global__ void Kernel_Calc_VOF_FlowE_InnerFluxVolF_Collect12(int n, const double* inA, const double* inB,
                                                              double* outA, double* outB)
{
    rvz::collect_level2<Op, 512>(n, inA, inB, outA, outB);
}

// Crank-Nicolson time term with a0 = V / (dt + 1e-30).
__global__ void Kernel_Calc_VOF_FlowE_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow,
                                                               const double* volumeD, double dt, double* AELLD,
                                                               double* SuD, const double* VolF0D,
                                                               const int* indexELLD)
{
    const int r = rvz::vof::ThreadIndex();
    if (r >= nnu) return;
    rvz::vof::CrankNicolsonRow(r, volumeD[r] / (dt + 1.0e-30), new_nnu, NColumnPerRow, AELLD, SuD, VolF0D, indexELLD);
}

// ---------------------------------------------------------------------------
// Inlets, moving walls and re-fill rules (one thread per boundary face)
// ---------------------------------------------------------------------------

namespace rvz {
namespace vof {

__device__ __forceinline__ void CopyGradientToSlot(int C, int B, double* gx, double* gy, double* gz)
{
    gx[B] = gx[C];
    gy[B] = gy[C];
    gz[B] = gz[C];
}

// The inflow magnitude of a boundary face, -min(m, 0).
__device__ __forceinline__ double InflowMagnitude(double m) { return m < 0.0 ? -m : 0.0; }

// An injecting face: w joins the diagonal (temp1) and w times the injected
// value the right-hand side (temp2).
__device__ __forceinline__ void InjectionTerms(int k, double w, double diagonalWeight, double sourceWeight,
                                               double* temp1D, double* temp2D)
{
    temp1D[k] = w * diagonalWeight;
    temp2D[k] = w * sourceWeight;
}

// Keep-filled rule: a cell filled at the previous level (phi0 > fcri) that
// fell below fcri.
__device__ __forceinline__ bool LostFill(double phi0, double phi, double fcri) { return phi0 > fcri && phi < fcri; }

}  // namespace vof
}  // namespace rvz

__global__ void Kernel_Calc_VOF_FlowE_SetVOFInlet_judge(int n, int iFAIMFluidIn, int IsMainPhase,
                                                        const int* ijInletCVD, const int* ijInletD,
                                                        const int* gpInletbInD, const int* ijInletGPD,
                                                        const int* gpInletGPMtrTypeD, double* dVF_dxD,
                                                        double* dVF_dyD, double* dVF_dzD, bool* judge1_2D,
                                                        bool* judge3PD, bool* judge3ND, bool* judge4PD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    rvz::vof::CopyGradientToSlot(ijInletCVD[k], ijInletD[k], dVF_dxD, dVF_dyD, dVF_dzD);
    const int type = gpInletGPMtrTypeD[ijInletGPD[k]];
    const bool active = gpInletbInD[k] == 1;
    const bool second = iFAIMFluidIn != 0;
    const bool main = IsMainPhase == 1;
    const bool laterFluid = type == 2 || type == 3;
    judge1_2D[k] = active && !second;
    judge3PD[k] = active && second && main && laterFluid;
    judge3ND[k] = active && second && !main && laterFluid;
    judge4PD[k] = active && second && main && type == 1;
}

// One flag: the boundary value becomes `phase` and the face injects it.
__global__ void Kernel_Calc_VOF_FlowE_SetVOFInlet(int n, double phase, const int* ijInletD, const bool* judgeD,
                                                  const double* mfeD, double* VolFD, double* temp1D, double* temp2D)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const double j = judgeD[k] ? 1.0 : 0.0;
    if (judgeD[k]) VolFD[ijInletD[k]] = phase;
    rvz::vof::InjectionTerms(k, rvz::vof::InflowMagnitude(mfeD[k]), j, j * phase, temp1D, temp2D);
}

// All four flags: 4P, 3N and 1_2 inject 1, 3P injects 0 (first set flag in
// that order of precedence gives the boundary value).
__global__ void Kernel_Calc_VOF_FlowE_SetVOFInlet_All(int n, const int* ijInletD, const bool* judge1_2D,
                                                      const bool* judge3PD, const bool* judge3ND,
                                                      const bool* judge4PD, const double* mfeD, double* VolFD,
                                                      double* temp1D, double* temp2D)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const bool j12 = judge1_2D[k], j3P = judge3PD[k], j3N = judge3ND[k], j4P = judge4PD[k];
    double& phiB = VolFD[ijInletD[k]];
    if (j4P || j3N) {
        phiB = 1.0;
    } else if (j3P) {
        phiB = 0.0;
    } else if (j12) {
        phiB = 1.0;
    }
    const double filling = (j12 ? 1.0 : 0.0) + (j3N ? 1.0 : 0.0) + (j4P ? 1.0 : 0.0);
    const double all = filling + (j3P ? 1.0 : 0.0);
    rvz::vof::InjectionTerms(k, rvz::vof::InflowMagnitude(mfeD[k]), all, filling, temp1D, temp2D);
}

// Moving walls the melt has reached inject MELT.
__global__ void Kernel_Calc_VOF_FlowE_ICM_UpdateAiSu(int n, double fcri, double MELT, const int* ijWallD,
                                                     const int* isMoveWallD, const double* MassFluxOutletD,
                                                     double* VolFD, double* temp1D, double* temp2D)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    double& phiB = VolFD[ijWallD[k]];
    const double s = phiB > fcri && isMoveWallD[k] == 1 ? 1.0 : 0.0;
    if (s == 1.0) phiB = MELT;
    rvz::vof::InjectionTerms(k, rvz::vof::InflowMagnitude(MassFluxOutletD[k]), s, s * MELT, temp1D, temp2D);
}

// Inlet faces: a face that is not injecting takes its cell's values; the
// keep-filled rule (main phase, second fluid injected) refills a cell that
// lost its fill next to such a face. tempD: 1 when refilled, else phi_C.
__global__ void Kernel_Calc_VOF_FlowE_InletBC(int n, int iFAIMFluidIn, int IsMainPhase, double fcri,
                                              const int* ijInletCVD, const int* ijInletD, const int* gpInletbInD,
                                              const double* VolF0D, double* VolFD, double* CourantNoDD,
                                              double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* tempD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const int C = ijInletCVD[k], B = ijInletD[k];
    const bool idle = gpInletbInD[k] == 0;
    const bool refill =
        IsMainPhase == 1 && iFAIMFluidIn >= 1 && idle && rvz::vof::LostFill(VolF0D[C], VolFD[C], fcri);
    if (idle) {
        CourantNoDD[B] = CourantNoDD[C];
        rvz::vof::CopyGradientToSlot(C, B, dVF_dxD, dVF_dyD, dVF_dzD);
        VolFD[B] = refill ? 1.0 : VolFD[C];
    }
    tempD[k] = refill ? 1.0 : VolFD[C];
}

// Wall faces: the keep-filled rule without phase or injection tests.
__global__ void Kernel_Calc_VOF_FlowE_WallBC_FAIM_MainPhase(int n, double fcri, const int* ijWallCVD,
                                                            const int* ijWallD, const double* VolF0D, double* VolFD,
                                                            double* tempD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const int C = ijWallCVD[k];
    const bool refill = rvz::vof::LostFill(VolF0D[C], VolFD[C], fcri);
    if (refill) VolFD[ijWallD[k]] = 1.0;
    tempD[k] = refill ? 1.0 : VolFD[C];
}

// Listed rows: phi_r becomes the largest of 0 and the row's slot values.
__global__ void Kernel_Calc_VOF_FlowE_InletBC_UpdateSourceTerm_Opt(int rows, int new_nnu, int NColumnPerRow,
                                                                   const double* AELLDtemp, const int* rowList,
                                                                   double* VolFD)
{
    const int t = rvz::vof::ThreadIndex();
    if (t >= rows) return;
    const int r = rowList[t];
    double v = 0.0;
    for (int j = 0; j < NColumnPerRow; ++j) v = fmax(v, AELLDtemp[rvz::accum::Position(r, j, new_nnu)]);
    VolFD[r] = v;
}

// Zero-gradient walls: the slot takes the cell's value, Courant number and
// gradient; the second form the gradient only.
__global__ void Kernel_Calc_VOF_FlowE_WallBC(int n, const int* ijWallCVD, const int* ijWallD, double* VolFD,
                                             double* CourantNoDD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    const int C = ijWallCVD[k], B = ijWallD[k];
    VolFD[B] = VolFD[C];
    CourantNoDD[B] = CourantNoDD[C];
    rvz::vof::CopyGradientToSlot(C, B, dVF_dxD, dVF_dyD, dVF_dzD);
}

__global__ void Kernel_Calc_VOF_FlowE_Update_dVF_d(int n, const int* ijWallCVD, const int* ijWallD, double* dVF_dxD,
                                                   double* dVF_dyD, double* dVF_dzD)
{
    const int k = rvz::vof::ThreadIndex();
    if (k >= n) return;
    rvz::vof::CopyGradientToSlot(ijWallCVD[k], ijWallD[k], dVF_dxD, dVF_dyD, dVF_dzD);
}

// ---------------------------------------------------------------------------
// Limiting, snapping, arrival times (one thread per cell)
// ---------------------------------------------------------------------------

namespace rvz {
namespace vof {
// Fill level from which the late-filling snap replaces the early one.
constexpr double kLateFilling = 0.994;
}  // namespace vof
}  // namespace rvz

__global__ void Kernel_Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(int n, double FillVol, double EMF, double EMF1,
                                                                    double fcri, const float* mftimeD,
                                                                    double* VolFD)
{
    using namespace rvz::vof;
    const int c = ThreadIndex();
    if (c >= n) return;
    const double v = ClampUnit(VolFD[c]);
    const double banded = FillVol < kLateFilling ? SnapEarly(v, EMF, EMF1) : SnapLate(v, EMF, fcri);
    VolFD[c] = SnapToRecordedFront(banded, mftimeD[c], EMF, fcri);
}

__global__ void Kernel_Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(int n, double EMF, double EMF1, double fcri,
                                                                      const float* mftimeD, double* VolFD)
{
    using namespace rvz::vof;
    const int c = ThreadIndex();
    if (c >= n) return;
    VolFD[c] = SnapRecorded(SnapEarly(ClampUnit(VolFD[c]), EMF, EMF1), mftimeD[c], fcri);
}

__global__ void Kernel_Calc_VOF_FlowE_Update_mftime(int n, double fcri, double Time, const double* VolFD,
                                                    float* mftimeD)
{
    const int c = rvz::vof::ThreadIndex();
    if (c >= n) return;
    rvz::vof::RecordArrival(mftimeD[c], VolFD[c], fcri, Time);
}

// ---------------------------------------------------------------------------
// End-of-filling statistics: unfilled cells and their melt volume
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_VOF_FlowE_CheckEndFillingInt(int n, double fcri, const double* VolFD, int* countD)
{
    rvz::block_reduce_256<rvz::SumOp, int>([&](int c) { return c < n && VolFD[c] < fcri ? 1 : 0; }, countD);
}

__global__ void Kernel_Calc_VOF_FlowE_CheckEndFillingDouble(int n, double fcri, const double* VolFD,
                                                            const double* volumeD, double* sumD)
{
    rvz::block_reduce_256<rvz::SumOp, double>(
        [&](int c) { return c < n && VolFD[c] < fcri ? volumeD[c] * VolFD[c] : 0.0; }, sumD);
}

__global__ void Kernel_Calc_VOF_FlowE_CheckEndFilling_CollectSum12Int(int n, const int* in, int* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}

__global__ void Kernel_Calc_VOF_FlowE_CheckEndFilling_CollectSum12Double(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::SumOp, 512>(n, in, out);
}
