// The facade's lifecycle, device, error and memory methods. The numeric
// methods of each family forward from CRVZGPUtool_<family>.cpp.
#include "CRVZGPUtool.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "CRVZGPUtool_Imple.h"
#include "CU_Reduction.h"
#include "CU_MemoryOperation.h"
#include "CU_ThrustSort.h"
#include "platform/rvz_platform.h"

CRVZGPUtool::CRVZGPUtool()
{
    m_Imple = new (std::nothrow) CRVZGPUtool_Imple();
    if (m_Imple == nullptr) {
        std::printf("Allocate CRVZGPUtool_Imple failed!\n");
        std::fflush(stdout);
        std::exit(-1);
    }
}

CRVZGPUtool::~CRVZGPUtool()
{
    delete m_Imple;
    m_Imple = nullptr;
}

int CRVZGPUtool::SetDeviceToUse(int device) { return m_Imple->SetDeviceToUse(device); }

int CRVZGPUtool::GetSelectedDevice(int& device)
{
    device = m_Imple->SelectedDevice;
    return 0;
}

const char* CRVZGPUtool::GetGPUErrorMessage(int code) { return m_Imple->GetGPUErrorMessage(code); }

int CRVZGPUtool::GPUGetLastError() { return cudaGetLastError(); }

int CRVZGPUtool::GPUDeviceSynchronize()
{
    (void)cudaDeviceSynchronize();
    return 0;
}

int CRVZGPUtool::GetSizeOfBlock(int n, int& total, int& nLevels, int count[16], int size[16], int offset[16])
{
    return rvz::BuildLevelTable(n, total, nLevels, count, size, offset);
}

#define RVZ_FACADE_MEMORY(T)                                                                                  \
    int CRVZGPUtool::AllocateDeviceMemory(int n, T*& p) { return rvz::AllocateDevice(n, p); }                 \
    int CRVZGPUtool::FreeDeviceMemory(T* p) { return rvz::FreeDevice(p); }                                    \
    int CRVZGPUtool::DataCopyHost2Device(int n, T* host, T* device) { return rvz::CopyHostToDevice(n, host, device); }

#define RVZ_FACADE_ARRAY(T)                                                                                          \
    int CRVZGPUtool::ZeroDeviceMemory(int n, T* p) { return rvz::ZeroDevice(n, p); }                                 \
    int CRVZGPUtool::DataCopyDevice2Host(int n, T* host, T* device) { return rvz::CopyDeviceToHost(n, host, device); } \
    int CRVZGPUtool::DataCopyDevice2Device(int n, T* dst, T* src) { return rvz::CopyDeviceToDevice(n, dst, src); }

RVZ_FACADE_MEMORY(int)
RVZ_FACADE_MEMORY(float)
RVZ_FACADE_MEMORY(double)
RVZ_FACADE_MEMORY(bool)
RVZ_FACADE_MEMORY(stF0_dx_xAvg)
RVZ_FACADE_ARRAY(int)
RVZ_FACADE_ARRAY(float)
RVZ_FACADE_ARRAY(double)
RVZ_FACADE_ARRAY(bool)
#undef RVZ_FACADE_MEMORY
#undef RVZ_FACADE_ARRAY

int CRVZGPUtool::DataCopyHost2DeviceAsync(int n, double* host, double* device, cudaStream_t s)
{
    return rvz::CopyHostToDeviceAsync(n, host, device, s);
}

int CRVZGPUtool::DataCopyDevice2HostAsync(int n, double* host, double* device, cudaStream_t s)
{
    return rvz::CopyDeviceToHostAsync(n, host, device, s);
}

int CRVZGPUtool::DataCopyDevice2DeviceAsync(int n, double* dst, double* src, cudaStream_t s)
{
    return rvz::CopyDeviceToDeviceAsync(n, dst, src, s);
}

int CRVZGPUtool::AllocateHostMemory(int n, double*& p) { return rvz::AllocatePageLocked(n, p); }

int CRVZGPUtool::FreeHostMemory(double* p) { return rvz::FreePageLocked(p); }

int CRVZGPUtool::GPUMemoryGetInfo(size_t& free, size_t& total) { return rvz::MemoryInfo(free, total); }

int CRVZGPUtool::CreateCUDAStream(cudaStream_t* s) { return rvz::CreateStream(s); }

int CRVZGPUtool::DestroyCUDAStream(cudaStream_t s) { return rvz::DestroyStream(s); }

int CRVZGPUtool::SyncCUDAStream(cudaStream_t s) { return rvz::SyncStream(s); }

// A failed sort is reported by SortKeys; the method returns 0 regardless.
int CRVZGPUtool::Thrust_RadixSort(unsigned int* keys, unsigned int n)
{
    (void)rvz::SortKeys(keys, n);
    return 0;
}
