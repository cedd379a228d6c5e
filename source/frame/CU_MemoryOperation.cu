#include "CU_MemoryOperation.h"

#include <cstring>

#include "platform/rvz_platform.h"

namespace rvz {

namespace {

// A negative count is refused before the platform sees it: as a byte count
// it would wrap to an enormous size.
inline bool negative(int n) { return n < 0; }

int invalid_count() { return cudaErrorInvalidValue; }

int copy(int n, size_t elementSize, void* dst, const void* src, cudaMemcpyKind kind)
{
    if (n == 0) return 0;
    if (negative(n)) return invalid_count();
    return cudaMemcpy(dst, src, static_cast<size_t>(n) * elementSize, kind);
}

int copy_async(int n, void* dst, const void* src, cudaMemcpyKind kind, cudaStream_t s)
{
    if (n == 0) return 0;
    if (negative(n)) return invalid_count();
    return cudaMemcpyAsync(dst, src, Bytes<double>(n), kind, s);
}

}  // namespace

template <class T>
int AllocateDevice(int n, T*& p)
{
    if (n == 0) return 0;
    if (negative(n)) return invalid_count();
    T* fresh = nullptr;
    const cudaError_t status = cudaMalloc(reinterpret_cast<void**>(&fresh), Bytes<T>(n));
    if (status != cudaSuccess) return status;
    p = fresh;
    (void)cudaMemset(p, 0, Bytes<T>(n));
    return 0;
}

template <class T>
int FreeDevice(T* p)
{
    if (p == nullptr) return 0;
    return cudaFree(p);
}

template <class T>
int ZeroDevice(int n, T* p)
{
    if (p == nullptr) return 0;
    if (negative(n)) return invalid_count();
    return cudaMemset(p, 0, Bytes<T>(n));
}

template <class T>
int CopyHostToDevice(int n, const T* host, T* device)
{
    return copy(n, sizeof(T), device, host, cudaMemcpyHostToDevice);
}

template <class T>
int CopyDeviceToHost(int n, T* host, const T* device)
{
    return copy(n, sizeof(T), host, device, cudaMemcpyDeviceToHost);
}

template <class T>
int CopyDeviceToDevice(int n, T* dst, const T* src)
{
    return copy(n, sizeof(T), dst, src, cudaMemcpyDeviceToDevice);
}

#define RVZ_INSTANTIATE_MEMORY(T)                                 \
    template int AllocateDevice<T>(int, T*&);                     \
    template int FreeDevice<T>(T*);                               \
    template int ZeroDevice<T>(int, T*);                          \
    template int CopyHostToDevice<T>(int, const T*, T*);          \
    template int CopyDeviceToHost<T>(int, T*, const T*);          \
    template int CopyDeviceToDevice<T>(int, T*, const T*);

RVZ_INSTANTIATE_MEMORY(int)
RVZ_INSTANTIATE_MEMORY(unsigned int)
RVZ_INSTANTIATE_MEMORY(float)
RVZ_INSTANTIATE_MEMORY(double)
RVZ_INSTANTIATE_MEMORY(bool)
RVZ_INSTANTIATE_MEMORY(stF0_dx_xAvg)
#undef RVZ_INSTANTIATE_MEMORY

int CopyHostToDeviceAsync(int n, const double* host, double* device, cudaStream_t s)
{
    return copy_async(n, device, host, cudaMemcpyHostToDevice, s);
}

int CopyDeviceToHostAsync(int n, double* host, const double* device, cudaStream_t s)
{
    return copy_async(n, host, device, cudaMemcpyDeviceToHost, s);
}

int CopyDeviceToDeviceAsync(int n, double* dst, const double* src, cudaStream_t s)
{
    return copy_async(n, dst, src, cudaMemcpyDeviceToDevice, s);
}

int AllocatePageLocked(int n, double*& p)
{
    if (n == 0) return 0;
    if (negative(n)) return invalid_count();
    double* fresh = nullptr;
    const cudaError_t status = cudaHostAlloc(reinterpret_cast<void**>(&fresh), Bytes<double>(n), cudaHostAllocDefault);
    if (status != cudaSuccess) return status;
    p = fresh;
    std::memset(p, 0, Bytes<double>(n));
    return 0;
}

int FreePageLocked(double* p)
{
    if (p == nullptr) return 0;
    return cudaFreeHost(p);
}

int MemoryInfo(size_t& free, size_t& total) { return cudaMemGetInfo(&free, &total); }

int CreateStream(cudaStream_t* s) { return cudaStreamCreate(s); }

int DestroyStream(cudaStream_t s) { return cudaStreamDestroy(s); }

int SyncStream(cudaStream_t s) { return cudaStreamSynchronize(s); }

}  // namespace rvz
