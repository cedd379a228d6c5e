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
    // @MATERIAL-END

private:
    CRVZGPUtool_Imple* m_Imple;
};

#endif
