// Kernels of the material properties and the field statistics: shear rate,
// the rheological models, the specific-heat and conductivity tables, the
// mixing of melt and gas properties, and the seven statistics reductions.
// Included by CU_ModMatPara.cu only.
#pragma once

#include <cmath>

#include "CUK_CollectResidual.cuh"
#include "CUK_FieldRange.cuh"
#include "CUK_ShareMemory1.cuh"

namespace rvz {
namespace modmat {

// Temperatures enter the rheological models as degrees Celsius plus 273.0.
constexpr double kKelvinOffset = 273.0;
constexpr double kTiny = 1.0e-30;
constexpr double kHalfPi = 1.5707963267948966;

__device__ __forceinline__ double Larger(double a, double b) { return a > b ? a : b; }
__device__ __forceinline__ double Smaller(double a, double b) { return a < b ? a : b; }
__device__ __forceinline__ double Clamp(double x, double lo, double hi) { return Smaller(Larger(x, lo), hi); }

// The state at which a cell's rheological model is evaluated.
struct RheologyPoint {
    double T;         // absolute temperature, degrees Celsius + 273.0
    double rate;      // shear rate
    double C;         // reaction conversion
    double pressure;  // gauge pressure of the cell
};

// The process settings the models read besides their parameters.
struct ProcessTemperatures {
    double MeltT;
    double MoldT;
};

// Cross shear thinning of a zero-shear viscosity: eta0 / (1 + (eta0*rate/tau*)^(1-n)).
__device__ __forceinline__ double CrossThinning(double eta0, double rate, double tauStar, double n)
{
    return eta0 / (1.0 + pow(eta0 * rate / tauStar, 1.0 - n));
}

// A power-law index at or below 0.05 counts as 0.05.
__device__ __forceinline__ double PowerIndex(double n) { return Larger(n, 0.05); }

// Conversion kept below the gel point: min(C, 0.9*Cg).
__device__ __forceinline__ double SubGelConversion(double C, double Cg) { return Smaller(C, 0.9 * Cg); }

// Gel factor (Cg / max(Cg - C, 1e-30))^(C1 + C2*C), C already kept below the gel point.
__device__ __forceinline__ double GelFactor(double Cg, double C1, double C2, double C)
{
    return pow(Cg / Larger(Cg - C, kTiny), C1 + C2 * C);
}

__device__ __forceinline__ double ArrheniusFactor(double B, double Tb, double T)
{
    return B * exp(Clamp(Tb / T, -200.0, 200.0));
}

// Activation temperature capped at 20000 outside the band (Tm-30, Tm+30),
// with B rescaled so that the viscosity stays continuous at the band edges.
__device__ __forceinline__ void CapActivation(double T, double MeltT, double& B, double& Tb)
{
    const double Tm = MeltT + kKelvinOffset;
    const double T1 = Tm - 30.0;
    const double T2 = Tm + 30.0;
    const double Tbc = Smaller(Tb, 20000.0);
    if (T <= T1) {
        B = B * exp((Tb - Tbc) / T1);
        Tb = Tbc;
    }
    if (T >= T2) {
        B = B * exp((Tb - Tbc) / T2);
        Tb = Tbc;
    }
}

__device__ __forceinline__ double PowerLawArrhenius(const double* P, const RheologyPoint& s, bool capped,
                                                    double MeltT)
{
    const double n = PowerIndex(P[1]);
    double B = P[2];
    double Tb = P[3];
    if (capped) CapActivation(s.T, MeltT, B, Tb);
    return ArrheniusFactor(B, Tb, s.T) * pow(s.rate, n - 1.0);
}

__device__ __forceinline__ double CrossArrhenius(const double* P, const RheologyPoint& s, bool capped, double MeltT)
{
    const double n = PowerIndex(P[1]);
    const double tauStar = P[2];
    double B = P[3];
    double Tb = P[4];
    if (capped) CapActivation(s.T, MeltT, B, Tb);
    return CrossThinning(ArrheniusFactor(B, Tb, s.T), s.rate, tauStar, n);
}

// The WLF exponent -A1*(x - T*)/(A2 + x - T* + 1e-30), without the ln D1 term.
__device__ __forceinline__ double WLFExponent(double x, double Tstar, double A1, double A2)
{
    return -A1 * (x - Tstar) / (A2 + x - Tstar + kTiny);
}

// Cross-WLF: the zero-shear viscosity is evaluated no colder than Tm-30 and
// kept within a factor 10 of its value at the melt temperature.
__device__ __forceinline__ double CrossWLF(const double* P, const RheologyPoint& s, double MeltT)
{
    const double n = PowerIndex(P[1]);
    const double tauStar = P[2];
    const double D1 = P[3], D2 = P[4], D3 = P[5], A1 = P[6], A2t = P[7];
    const double p = s.pressure + 1.0e6;
    const double Tstar = D2 + D3 * p;
    const double A2 = A2t + D3 * p;
    const double Tp = Larger(s.T, Tstar);
    const double Tm = MeltT + kKelvinOffset;
    const double lnD1 = log(D1);
    const double Te = Tp > Tm - 30.0 ? Tp : Tm - 30.0;
    const double eta0T = exp(Clamp(lnD1 + WLFExponent(Te, Tstar, A1, A2), -200.0, 200.0));
    const double eta0m = exp(lnD1 + WLFExponent(Tm, Tstar, A1, A2));
    const double eta0 = Clamp(eta0T, 0.1 * eta0m, 10.0 * eta0m);
    return CrossThinning(eta0, s.rate, tauStar, n);
}

// Banded WLF shift without the D1 factor: the exponent is taken at Tm-20
// below the band, at Tm+20 above it and at Tm inside it.
__device__ __forceinline__ double CrossWLFBanded(const double* P, const RheologyPoint& s, double MeltT)
{
    const double n = PowerIndex(P[1]);
    const double tauStar = P[2];
    const double D2 = P[4], D3 = P[5], A1 = P[6], A2t = P[7];
    const double p = s.pressure + 1.0e6;
    const double Tstar = D2 + D3 * p;
    const double A2 = A2t + D3 * p;
    const double Tp = Larger(s.T, Tstar);
    const double Tm = MeltT + kKelvinOffset;
    const double fm = WLFExponent(Tm, Tstar, A1, A2);
    double g = fm;
    if (Tp < Tm - 20.0)
        g = WLFExponent(Tm - 20.0, Tstar, A1, A2);
    else if (Tp > Tm + 20.0)
        g = WLFExponent(Tm + 20.0, Tstar, A1, A2);
    const double eta0m = exp(fm);
    const double eta0 = Clamp(exp(g), 0.1 * eta0m, 10.0 * eta0m);
    return CrossThinning(eta0, s.rate, tauStar, n);
}

__device__ __forceinline__ double CastroMacosko(const double* P, const RheologyPoint& s)
{
    const double Cg = P[1];
    const double C = SubGelConversion(s.C, Cg);
    return P[4] * exp(P[5] / s.T) * GelFactor(Cg, P[2], P[3], C);
}

__device__ __forceinline__ double CastroMacoskoCross(const double* P, const RheologyPoint& s)
{
    const double Cg = P[1];
    const double C = SubGelConversion(s.C, Cg);
    const double eta0 = P[4] * exp(P[5] / s.T);
    return CrossThinning(eta0, s.rate, P[7], PowerIndex(P[6])) * GelFactor(Cg, P[2], P[3], C);
}

// Coldest temperature at which the reactive models are evaluated.
__device__ __forceinline__ double ReactiveFloor(const ProcessTemperatures& pt)
{
    return 0.7 * pt.MoldT + 0.3 * pt.MeltT + kKelvinOffset;
}

__device__ __forceinline__ double ConversionPowerLaw(const double* P, const RheologyPoint& s,
                                                     const ProcessTemperatures& pt)
{
    const double Tp = Larger(s.T, ReactiveFloor(pt));
    const double Cg = P[10];
    const double C = SubGelConversion(s.C, Cg);
    const double t = tan((C - P[11]) * kHalfPi / Cg);
    const double m = Clamp(P[7] * exp(P[8] * C + P[9] * t), 0.05, 0.99);
    const double eta0 = exp(P[1] + P[2] * C + P[3] * t + (P[4] + P[5] * C + P[6] * t) / Tp);
    return eta0 * pow(s.rate, m - 1.0);
}

__device__ __forceinline__ double PowerLawWLFYield(const double* P, const RheologyPoint& s,
                                                   const ProcessTemperatures& pt)
{
    const double T2 = Larger(Larger(s.T, ReactiveFloor(pt)), P[9]);
    const double n = PowerIndex(P[1]);
    const double Cg = P[7];
    const double C = SubGelConversion(s.C, Cg);
    const double G = GelFactor(Cg, P[5], P[6], C);
    const double a = exp(Clamp(-P[3] * (T2 - P[9]) / (P[4] + T2 - P[9] + kTiny), -50.0, 50.0));
    return P[2] * G * a * pow(s.rate, n - 1.0) + P[8] * exp(P[10] / (T2 + kTiny)) / (s.rate + kTiny);
}

// Writes the viscosity of `model` at state s; returns false, writing
// nothing, for a model number without a formula.
__device__ __forceinline__ bool ModelViscosity(int model, const double* P, const RheologyPoint& s,
                                               const ProcessTemperatures& pt, double& viscosity)
{
    switch (model) {
    case 1: viscosity = P[1]; return true;
    case 2: viscosity = PowerLawArrhenius(P, s, false, pt.MeltT); return true;
    case 4: viscosity = CrossArrhenius(P, s, false, pt.MeltT); return true;
    case 5: viscosity = CrossWLF(P, s, pt.MeltT); return true;
    case 10: viscosity = CastroMacosko(P, s); return true;
    case 11: viscosity = ConversionPowerLaw(P, s, pt); return true;
    case 12: viscosity = CastroMacoskoCross(P, s); return true;
    case 13: viscosity = PowerLawWLFYield(P, s, pt); return true;
    case 100: viscosity = PowerLawArrhenius(P, s, true, pt.MeltT); return true;
    case 101: viscosity = CrossArrhenius(P, s, true, pt.MeltT); return true;
    case 102: viscosity = CrossWLFBanded(P, s, pt.MeltT); return true;
    default: return false;
    }
}

// Linear interpolation in a (value, temperature) table P[1..N] of ascending
// temperatures, the temperature clamped to the table's range.
__device__ __forceinline__ double TableValue(int N, const double* P, double T)
{
    const int pairs = N / 2;
    if (pairs < 2) return P[1];
    T = Clamp(T, P[2], P[2 * pairs]);
    int a = pairs - 2;  // the last segment when none holds T
    for (int j = 0; j + 1 < pairs; ++j)
        if (P[2 * j + 2] <= T && T <= P[2 * j + 4]) {
            a = j;
            break;
        }
    const double va = P[2 * a + 1], Ta = P[2 * a + 2];
    const double vb = P[2 * a + 3], Tb = P[2 * a + 4];
    return va + (vb - va) * (T - Ta) / (Tb - Ta);
}

// Writes the property of `model` (1 constant, 2..4 table); returns false
// for any other model number.
__device__ __forceinline__ bool PropertyValue(int model, int N, const double* P, double T, double& value)
{
    if (model == 1) {
        value = P[1];
        return true;
    }
    if (model >= 2 && model <= 4) {
        value = TableValue(N, P, T);
        return true;
    }
    return false;
}

}  // namespace modmat
}  // namespace rvz

// ---------------------------------------------------------------------------
// Material properties, one thread per cell (or boundary face)
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_ShearRate(int n, double SRRelax, const double* du_dxD, const double* du_dyD,
                                      const double* du_dzD, const double* dv_dxD, const double* dv_dyD,
                                      const double* dv_dzD, const double* dw_dxD, const double* dw_dyD,
                                      const double* dw_dzD, double* SRateD)
{
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    // Twice the strain-rate tensor: diagonal a, d, f; off-diagonal b, c, e.
    const double a = 2.0 * du_dxD[i];
    const double b = dv_dxD[i] + du_dyD[i];
    const double c = dw_dxD[i] + du_dzD[i];
    const double d = 2.0 * dv_dyD[i];
    const double e = dw_dyD[i] + dv_dzD[i];
    const double f = 2.0 * dw_dzD[i];
    const double rate = sqrt(0.5 * (a * a + d * d + f * f + 2.0 * b * b + 2.0 * c * c + 2.0 * e * e));
    SRateD[i] = SRateD[i] + SRRelax * (rate - SRateD[i]);
}

__global__ void Kernel_Calc_UpdateBoundary_const(int n, const int* ijD, const int* ijCVD, double* fiD)
{
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    fiD[ijD[i]] = fiD[ijCVD[i]];
}

__global__ void Kernel_CalcVis_Flow(int n, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                                    double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel,
                                    const double* TD, const double* pD, const double* SRateD, const double* VolFD,
                                    const int* HotRunnerCellD, const double* RxnCD, double* visnewD,
                                    const double* RheoModParaD)
{
    using namespace rvz::modmat;
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    double s = lGNF != 0 ? SRateD[i] + kTiny : kTiny;
    s = Larger(s, 0.1);
    double Tc = TD[i];
    if (MoldingType != 2) Tc = Clamp(Tc, MeltT - 100.0, MeltT + 50.0);
    RheologyPoint point;
    point.C = MoldingType == 2 ? RxnCD[i] : 0.0;
    point.T = VolFD[i] >= FCRI ? Tc + kKelvinOffset : Larger(MeltT, MoldT) + kKelvinOffset;
    point.rate = HotRunnerCellD[i] == 1 ? Larger(s, ShearR_Inlet) : s;
    point.pressure = pD[i];
    if (RIM_visg == 1) {
        point.T = MoldT + kKelvinOffset;
        point.rate = 10.0;
        point.C = InitRxnC;
    }
    const ProcessTemperatures pt{MeltT, MoldT};
    double viscosity;
    if (ModelViscosity(VisModel, RheoModParaD, point, pt, viscosity)) visnewD[i] = viscosity;
}

__global__ void Kernel_CalcCp_Flow(int n, int CpModel, int NMatModParVar_3, const double* TD, double* CpNewD,
                                   const double* CpModParaD)
{
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    double value;
    if (rvz::modmat::PropertyValue(CpModel, NMatModParVar_3, CpModParaD, TD[i], value)) CpNewD[i] = value;
}

__global__ void Kernel_Calck_Flow(int n, int kModel, int NMatModParVar_4, const double* TD, const double* kModParaD,
                                  double* kNewD)
{
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    double value;
    if (rvz::modmat::PropertyValue(kModel, NMatModParVar_4, kModParaD, TD[i], value)) kNewD[i] = value;
}

__global__ void Kernel_Calc_VisDenMk(int n, double VisTopLimit, double visg, double FCRI, double VisMeltAvg,
                                     double VisRelax, double denl, double deng, double mkg, const double* visnewD,
                                     const double* kNewD, const double* VolFD, double* visD, double* denD,
                                     double* mkD)
{
    using namespace rvz::modmat;
    const int i = blockIdx.x * blockDim.x + threadIdx.x;
    if (i >= n) return;
    const double alpha = VolFD[i];
    const double eta = Clamp(visnewD[i], visg, VisTopLimit);
    double etaMelt, etaGas;
    if (alpha >= FCRI) {
        etaMelt = eta;
        etaGas = Larger(eta / 1000.0, visg);
    } else {
        etaMelt = VisMeltAvg;
        etaGas = Larger(VisMeltAvg / 100.0, visg);
    }
    const double gasFraction = 1.0 - alpha;
    visD[i] = visD[i] + VisRelax * (alpha * etaMelt + gasFraction * etaGas - visD[i]);
    denD[i] = denD[i] + VisRelax * (alpha * denl + gasFraction * deng - denD[i]);
    mkD[i] = mkD[i] + VisRelax * (alpha * kNewD[i] + gasFraction * mkg - mkD[i]);
}

// ---------------------------------------------------------------------------
// Field statistics: first level, one entry per block of 256 elements
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_MaxSRate(int n, const int* ijInletD, const double* SRateD, double* maxD)
{
    rvz::block_reduce_256<rvz::MaxOp, double>(
        [&](int i) { return i < n ? SRateD[ijInletD[i]] : rvz::MaxOp::identity<double>(); }, maxD);
}

__global__ void Kernel_Calc_Sum_VisMeltAvg_voltmp(int n, const double* VolFD, const double* visD, double* sumVisD,
                                                  double* sumVolD)
{
    rvz::block_reduce2_256<rvz::SumOp, double>(
        [&](int i) {
            if (i >= n) return rvz::Pair<double>{0.0, 0.0};
            const double alpha = VolFD[i];
            return rvz::Pair<double>{alpha * visD[i], alpha};
        },
        sumVisD, sumVolD);
}

// Maximum over all cells, minimum over filled cells (unfilled ones enter the
// minimum as 1e30).
__global__ void Kernel_Calc_vismax_vismin(int n, double FCRI, const double* visD, const double* VolFD, double* maxD,
                                          double* minD)
{
    rvz::block_reduce_maxmin_256(
        [&](int i) {
            if (i >= n)
                return rvz::Pair<double>{rvz::MaxOp::identity<double>(), rvz::MinOp::identity<double>()};
            const double v = visD[i];
            return rvz::Pair<double>{v, VolFD[i] >= FCRI ? v : 1.0e30};
        },
        maxD, minD);
}

__global__ void Kernel_Calc_Tmax_Tmin(int n, const double* TD, double* maxD, double* minD)
{
    rvz::FieldRange(n, TD, maxD, minD);
}

__global__ void Kernel_Calc_SRmax_SRmin(int n, const double* SRateD, double* maxD, double* minD)
{
    rvz::FieldRange(n, SRateD, maxD, minD);
}

__global__ void Kernel_Calc_Pmax_Pmin(int n, const double* PD, double* maxD, double* minD)
{
    rvz::FieldRange(n, PD, maxD, minD);
}

// Largest velocity component of a filled cell; an unfilled cell enters as 1e-30.
__global__ void Kernel_Calc_Umax(int n, double FCRI, const double* VolFD, const double* uD, const double* vD,
                                 const double* wD, double* maxD)
{
    rvz::block_reduce_256<rvz::MaxOp, double>(
        [&](int i) {
            if (i >= n) return rvz::MaxOp::identity<double>();
            if (VolFD[i] < FCRI) return 1.0e-30;
            return rvz::modmat::Larger(rvz::modmat::Larger(fabs(uD[i]), fabs(vD[i])), fabs(wD[i]));
        },
        maxD);
}

// ---------------------------------------------------------------------------
// Field statistics: collecting passes, 512 entries per block
// ---------------------------------------------------------------------------

__global__ void Kernel_Calc_MaxSRate_Collection(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::MaxOp, 512>(n, in, out);
}

__global__ void Kernel_Calc_Umax_Collection(int n, const double* in, double* out)
{
    rvz::collect_level<rvz::MaxOp, 512>(n, in, out);
}

__global__ void Kernel_Calc_Sum_VisMeltAvg_voltmp_Collection(int n, const double* inA, const double* inB,
                                                             double* outA, double* outB)
{
    rvz::collect_level2<rvz::SumOp, 512>(n, inA, inB, outA, outB);
}

__global__ void Kernel_Calc_vismax_vismin_Collection(int n, const double* inMax, const double* inMin, double* outMax,
                                                     double* outMin)
{
    rvz::CollectRange(n, inMax, inMin, outMax, outMin);
}

__global__ void Kernel_Calc_Tmax_Tmin_Collection(int n, const double* inMax, const double* inMin, double* outMax,
                                                 double* outMin)
{
    rvz::CollectRange(n, inMax, inMin, outMax, outMin);
}

__global__ void Kernel_Calc_SRmax_SRmin_Collection(int n, const double* inMax, const double* inMin, double* outMax,
                                                   double* outMin)
{
    rvz::CollectRange(n, inMax, inMin, outMax, outMin);
}

__global__ void Kernel_Calc_Pmax_Pmin_Collection(int n, const double* inMax, const double* inMin, double* outMax,
                                                 double* outMin)
{
    rvz::CollectRange(n, inMax, inMin, outMax, outMin);
}
