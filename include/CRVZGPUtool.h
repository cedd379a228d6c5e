// CRVZGPUtool: the GPU computing library of an unstructured finite-volume
// solver of polymer melt flow.
//
// A host solver constructs one CRVZGPUtool per process, selects a device
// with SetDeviceToUse, keeps its fields in device arrays allocated through
// this class, and calls one method per algebraic step. Every method returns
// an int status: 0 on success, otherwise the device runtime's error code
// (cudaError_t numbering on both backends); no exception crosses this
// boundary. Indices and counts are 0-based 32-bit ints. Unless a method's
// comment says otherwise, arguments are not validated: the caller passes
// arrays of the documented lengths.
//
// The header compiles with a plain C++17 compiler on both backends.
#ifndef RVZGPU_CRVZGPUTOOL_H
#define RVZGPU_CRVZGPUTOOL_H

#include <cstddef>

#include "rvzgpu_config.h"

#if RVZGPU_BACKEND_CUDA
#include <driver_types.h>
#else
typedef struct CUstream_st* cudaStream_t;
#endif

class CRVZCom;
class CRVZGPUtool_Imple;

// Preconditioner of the Krylov solvers: 0 none, 1 Jacobi (inverse diagonal).
typedef int RVZPreconditionType;

// The record that hands the fibre-orientation rate kernel its eighteen
// device arrays in one argument: the six components (xx, yy, zz, xy, xz, yz)
// of F0, of dx and of xAvg.
struct stF0_dx_xAvg {
    double* F0[6];
    double* dx[6];
    double* xAvg[6];
};
static_assert(sizeof(stF0_dx_xAvg) == 144, "the fibre record holds eighteen 8-byte device pointers");

class CRVZGPUtool {
public:
    // ---------------------------------------------------------------------
    // Lifecycle, devices and errors
    // ---------------------------------------------------------------------

    // Enumerates the devices with double precision. On a machine without a
    // usable device the object is still built (no device can be selected).
    // If the implementation object cannot be allocated, prints
    // "Allocate CRVZGPUtool_Imple failed!" and ends the process with -1.
    CRVZGPUtool();
    ~CRVZGPUtool();

    // A facade owns its implementation object alone: it cannot be copied.
    CRVZGPUtool(const CRVZGPUtool&) = delete;
    CRVZGPUtool& operator=(const CRVZGPUtool&) = delete;

    // Selects the device with this platform ordinal and prefers L1 cache
    // over shared memory. Returns the platform's code when the ordinal is
    // rejected, leaving the selection unchanged.
    int SetDeviceToUse(int device);
    // Writes the selected ordinal, -1 before a successful SetDeviceToUse.
    int GetSelectedDevice(int& device);
    // Text of a status code (the platform's text for the codes the runtime
    // documents, the library's own for -1, -2, -3). Valid until the next call.
    const char* GetGPUErrorMessage(int code);
    // The platform's last error, which the call also clears.
    int GPUGetLastError();
    // Waits for the device to finish; always returns 0 (a fault shows up in
    // the next GPUGetLastError).
    int GPUDeviceSynchronize();
    // The level table of a reduction over n elements: nLevels levels of
    // size[k] entries; level k-1 writes its size[k] partial results at
    // offset[k-1] of a buffer of `total` doubles; the result ends at
    // offset[nLevels-2]. Returns 0; for n < 1 (no table exists) returns
    // cudaErrorInvalidValue with nLevels = total = 0.
    int GetSizeOfBlock(int n, int& total, int& nLevels, int count[16], int size[16], int offset[16]);

    // ---------------------------------------------------------------------
    // Device memory, transfers, streams and the key sort
    //
    // Counts are element counts; a count of zero is a successful no-op. A
    // negative count is refused with cudaErrorInvalidValue (1) before any
    // platform call. Host pointers come first in host-device copies; device-
    // to-device copies take the destination first.
    // ---------------------------------------------------------------------

    // Allocates n elements and fills them with zero bytes; n = 0 leaves p as
    // it was. Returns the allocation status (cudaErrorMemoryAllocation when
    // the device cannot hold n elements).
    int AllocateDeviceMemory(int n, int*& p);
    int AllocateDeviceMemory(int n, float*& p);
    int AllocateDeviceMemory(int n, double*& p);
    int AllocateDeviceMemory(int n, bool*& p);
    int AllocateDeviceMemory(int n, stF0_dx_xAvg*& p);
    // Releases p (null: nothing to do). The caller's pointer is not cleared.
    int FreeDeviceMemory(int* p);
    int FreeDeviceMemory(float* p);
    int FreeDeviceMemory(double* p);
    int FreeDeviceMemory(bool* p);
    int FreeDeviceMemory(stF0_dx_xAvg* p);
    // Sets n elements to zero bytes (null p: nothing to do).
    int ZeroDeviceMemory(int n, int* p);
    int ZeroDeviceMemory(int n, float* p);
    int ZeroDeviceMemory(int n, double* p);
    int ZeroDeviceMemory(int n, bool* p);
    int DataCopyHost2Device(int n, int* host, int* device);
    int DataCopyHost2Device(int n, float* host, float* device);
    int DataCopyHost2Device(int n, double* host, double* device);
    int DataCopyHost2Device(int n, bool* host, bool* device);
    int DataCopyHost2Device(int n, stF0_dx_xAvg* host, stF0_dx_xAvg* device);
    int DataCopyDevice2Host(int n, int* host, int* device);
    int DataCopyDevice2Host(int n, float* host, float* device);
    int DataCopyDevice2Host(int n, double* host, double* device);
    int DataCopyDevice2Host(int n, bool* host, bool* device);
    int DataCopyDevice2Device(int n, int* dst, int* src);
    int DataCopyDevice2Device(int n, float* dst, float* src);
    int DataCopyDevice2Device(int n, double* dst, double* src);
    int DataCopyDevice2Device(int n, bool* dst, bool* src);
    // Queued on stream s; the host buffer must stay valid (and be page-locked
    // for overlap) until the stream is synchronised.
    int DataCopyHost2DeviceAsync(int n, double* host, double* device, cudaStream_t s);
    int DataCopyDevice2HostAsync(int n, double* host, double* device, cudaStream_t s);
    int DataCopyDevice2DeviceAsync(int n, double* dst, double* src, cudaStream_t s);
    // Page-locked host buffer of n doubles, filled with zeros.
    int AllocateHostMemory(int n, double*& p);
    int FreeHostMemory(double* p);
    int GPUMemoryGetInfo(size_t& free, size_t& total);
    int CreateCUDAStream(cudaStream_t* s);
    int DestroyCUDAStream(cudaStream_t s);
    int SyncCUDAStream(cudaStream_t s);
    // Sorts n device keys in place into ascending order (Thrust's device
    // sort, a radix sort for this key type). Returns 0.
    int Thrust_RadixSort(unsigned int* keys, unsigned int n);

    // ---------------------------------------------------------------------
    // Sparse storage, products, conjugate gradient and BiCGSTAB
    // ---------------------------------------------------------------------
    // @SPARSE-BEGIN
    // @SPARSE-END

    // ---------------------------------------------------------------------
    // Distributed solvers
    // ---------------------------------------------------------------------
    // @DISTRIBUTED-BEGIN
    // @DISTRIBUTED-END

    // ---------------------------------------------------------------------
    // Face-to-cell accumulation and cell gradients
    // ---------------------------------------------------------------------
    // @MESH-BEGIN
    // @MESH-END

    // ---------------------------------------------------------------------
    // Momentum and pressure correction
    // ---------------------------------------------------------------------
    // @FLOW-BEGIN
    // @FLOW-END

    // ---------------------------------------------------------------------
    // Material properties and field statistics
    // ---------------------------------------------------------------------
    // @MATERIAL-BEGIN
    // Shear rate of each cell from its nine velocity-gradient components,
    // sqrt(0.5*(a^2+d^2+f^2+2b^2+2c^2+2e^2)) with a = 2du/dx, b = dv/dx+du/dy,
    // c = dw/dx+du/dz, d = 2dv/dy, e = dw/dy+dv/dz, f = 2dw/dz, under-relaxed
    // into SRateD: SRateD += SRRelax*(rate - SRateD). One launch of `grid`
    // blocks; reads 10 and writes 1 double per cell. Reports "Calc_ShearRate
    // failed". Nothing is validated.
    int Calc_ShearRate(int nCells, double SRRelax, double* du_dxD, double* du_dyD, double* du_dzD, double* dv_dxD,
                       double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD, double* dw_dzD, double* SRateD,
                       int grid);
    // Copies each listed cell's value to its boundary slot: fiD[ijD[i]] =
    // fiD[ijCVD[i]] for the nFaces list entries. One launch; reports
    // "Calc_UpdateBoundary_const failed". Indices are not validated.
    int Calc_UpdateBoundary_const(int nFaces, int* ijD, int* ijCVD, double* fiD, int grid);
    // Melt viscosity of each cell from rheological model VisModel (1 constant,
    // 2 power law with Arrhenius, 4 Modified Cross with Arrhenius, 5 Cross-WLF,
    // 10 Castro-Macosko, 11 conversion-dependent power law, 12 Castro-Macosko
    // with Cross thinning, 13 power law with WLF shift, gel factor and yield
    // term, 100/101 as 2/4 with the activation temperature capped at 20000
    // outside MeltT +- 30, 102 banded Cross-WLF without D1) with the
    // parameters RheoModParaD[1..] (a device array; entry 0 is not read),
    // written to visnewD. The state: shear rate max(SRateD+1e-30, 0.1) (0.1
    // when lGNF = 0), raised to ShearR_Inlet in hot-runner cells (== 1);
    // temperature TD clamped to [MeltT-100, MeltT+50] except in reactive
    // moulding (MoldingType 2, which also reads the conversion RxnCD), taken
    // as max(MeltT, MoldT) in unfilled cells (VolFD < FCRI), plus 273.0;
    // RIM_visg = 1 evaluates every cell at MoldT, rate 10 and InitRxnC. Any
    // other model number leaves visnewD unchanged. One launch; reports
    // "CalcVis_Flow failed". Parameters are not validated (a zero tau* or a
    // non-positive D1 gives inf/NaN).
    int CalcVis_Flow(int nCells, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                     double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel, double* TD, double* pD,
                     double* SRateD, double* VolFD, int* HotRunnerCellD, double* RxnCD, double* visnewD,
                     double* RheoModParaD, int grid);
    // Specific heat of each cell: CpModel 1 gives CpModParaD[1]; 2, 3 and 4
    // interpolate linearly in the (value, temperature) pairs CpModParaD[1..N],
    // N = NMatModParVar_3, the temperature clamped to the table's range (a
    // table of one pair gives its value). Other models leave CpNewD
    // unchanged. Note the order: output, then table. One launch; reports
    // "CalcCp_Flow failed". Temperatures must be strictly increasing (not
    // validated: a repeated temperature divides by zero).
    int CalcCp_Flow(int nCells, int CpModel, int NMatModParVar_3, double* TD, double* CpNewD, double* CpModParaD,
                    int grid);
    // Thermal conductivity, as CalcCp_Flow with kModParaD and N =
    // NMatModParVar_4. Note the order: table, then output. Reports
    // "Calck_Flow failed".
    int Calck_Flow(int nCells, int kModel, int NMatModParVar_4, double* TD, double* kModParaD, double* kNewD,
                   int grid);
    // Effective viscosity, density and conductivity of each two-phase cell,
    // alpha = VolFD: eta = visnewD clamped to [visg, VisTopLimit] (the upper
    // bound wins if they cross); a filled cell mixes eta with a gas viscosity
    // max(eta/1000, visg), an unfilled one VisMeltAvg with max(VisMeltAvg/100,
    // visg); density mixes denl/deng and conductivity kNewD/mkg; each is
    // relaxed by VisRelax into visD, denD, mkD. CpNewD is accepted and not
    // read. One launch; reports "Calc_VisDenMk failed". Nothing is validated.
    int Calc_VisDenMk(int nCells, double VisTopLimit, double visg, double FCRI, double VisMeltAvg, double VisRelax,
                      double denl, double deng, double mkg, double* visnewD, double* CpNewD, double* kNewD,
                      double* VolFD, double* visD, double* denD, double* mkD, int grid);

    // Field statistics. Each is a multi-level reduction with the level table
    // of GetSizeOfBlock for its element count (nLevels, count, offset, total,
    // size) and one partial-result buffer of `total` doubles per reduced
    // quantity: the buffers are cleared, `grid` blocks of 256 elements write
    // one partial result each, nLevels-2 collecting passes of 512 entries per
    // block reduce them, and a blocking copy brings the value at
    // offset[nLevels-2] into the host result. Maxima keep the left value
    // unless the right one is larger; minima take the right value when the
    // left one is larger; positions past the element count take no part.
    // A failed first-level launch is reported (message below); the
    // collecting passes and copies still run and are not checked. Returns the
    // first-level status. The table must belong to the element count (not
    // validated).

    // Largest shear rate over the inlet faces: SRateD[ijInletD[i]].
    // Reports "Calc_Calc_MaxSRate failed".
    int Calc_MaxSRate(int nInletFaces, int* ijInletD, double* SRateD, double* buffer, int grid, int nLevels,
                      const int* count, const int* offset, int total, const int* size, double& SRmaxInlet);
    // The two sums sum(VolFD*visD) and sum(VolFD) whose quotient is the mean
    // melt viscosity VisMeltAvg. Reports "Calc_Calc_Sum_VisMeltAvg_voltmp
    // failed".
    int Calc_Sum_VisMeltAvg_voltmp(int nCells, double* VolFD, double* visD, double* buffer1, double* buffer2,
                                   int grid, int nLevels, const int* count, const int* offset, int total,
                                   const int* size, double& sumVisVol, double& sumVol);
    // Largest visD over all cells and smallest over filled cells (VolFD >=
    // FCRI); with no filled cell vismin is 1e30. Reports
    // "Calc_Calc_vismax_vismin failed".
    int Calc_vismax_vismin(int nCells, double FCRI, double* visD, double* VolFD, double* maxBuffer,
                           double* minBuffer, int grid, int nLevels, const int* count, const int* offset, int total,
                           const int* size, double& vismax, double& vismin);
    // Range of the temperature. Reports "Calc_Calc_Tmax_Tmin failed".
    int Calc_Tmax_Tmin(int nCells, double* TD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                       const int* count, const int* offset, int total, const int* size, double& Tmax, double& Tmin);
    // Range of the shear rate. Reports "Calc_Calc_SRmax_SRmin failed".
    int Calc_SRmax_SRmin(int nCells, double* SRateD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                         const int* count, const int* offset, int total, const int* size, double& SRmax,
                         double& SRmin);
    // Range of the pressure. Reports "Calc_Calc_Pmax_Pmin failed".
    int Calc_Pmax_Pmin(int nCells, double* PD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                       const int* count, const int* offset, int total, const int* size, double& Pmax, double& Pmin);
    // Largest max(|u|, |v|, |w|) over filled cells (VolFD >= FCRI); unfilled
    // cells enter as 1e-30, so with no filled cell Umax is 1e-30. Reports
    // "Calc_Calc_Umax failed".
    int Calc_Umax(int nCells, double FCRI, double* VolFD, double* uD, double* vD, double* wD, double* buffer,
                  int grid, int nLevels, const int* count, const int* offset, int total, const int* size,
                  double& Umax);
    // @MATERIAL-END

private:
    CRVZGPUtool_Imple* m_Imple;
};

#endif
