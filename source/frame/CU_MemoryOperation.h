// Device memory, transfers and streams: one runtime call per operation
// (two for the allocating ones), byte counts computed in 64-bit arithmetic
// from element counts.
#pragma once

#include <cstddef>

#include "CRVZGPUtool.h"

namespace rvz {

template <class T>
int AllocateDevice(int n, T*& p);
template <class T>
int FreeDevice(T* p);
template <class T>
int ZeroDevice(int n, T* p);
template <class T>
int CopyHostToDevice(int n, const T* host, T* device);
template <class T>
int CopyDeviceToHost(int n, T* host, const T* device);
template <class T>
int CopyDeviceToDevice(int n, T* dst, const T* src);

int CopyHostToDeviceAsync(int n, const double* host, double* device, cudaStream_t s);
int CopyDeviceToHostAsync(int n, double* host, const double* device, cudaStream_t s);
int CopyDeviceToDeviceAsync(int n, double* dst, const double* src, cudaStream_t s);
int AllocatePageLocked(int n, double*& p);
int FreePageLocked(double* p);
int MemoryInfo(size_t& free, size_t& total);
int CreateStream(cudaStream_t* s);
int DestroyStream(cudaStream_t s);
int SyncStream(cudaStream_t s);

// Bytes of n elements of T, n >= 0.
template <class T>
constexpr size_t Bytes(int n)
{
    return static_cast<size_t>(n) * sizeof(T);
}

}  // namespace rvz
