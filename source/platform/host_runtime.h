// The host backend's stand-in for the parts of the CUDA runtime the library
// uses. One device named "host"; device memory is ordinary heap memory; a
// kernel launch runs blocks spread over OpenMP threads and, inside a block,
// threads one after another. Error numbering and texts follow the CUDA
// runtime so that status codes mean the same on both backends.
#pragma once

#include <cstddef>
#include <cstdint>

// The same handle type the CUDA headers declare.
typedef struct CUstream_st* cudaStream_t;

enum cudaError_t : int {
    cudaSuccess = 0,
    cudaErrorInvalidValue = 1,
    cudaErrorMemoryAllocation = 2,
    cudaErrorInitializationError = 3,
    cudaErrorLaunchFailure = 719,
    cudaErrorInvalidConfiguration = 9,
    cudaErrorInvalidDevicePointer = 17,
    cudaErrorInvalidMemcpyDirection = 21,
    cudaErrorInsufficientDriver = 35,
    cudaErrorNoDevice = 100,
    cudaErrorInvalidDevice = 101,
    cudaErrorInvalidResourceHandle = 400,
    cudaErrorLaunchOutOfResources = 701,
    cudaErrorIllegalAddress = 700,
    cudaErrorUnknown = 999,
};
typedef cudaError_t cudaError;

enum cudaMemcpyKind {
    cudaMemcpyHostToHost = 0,
    cudaMemcpyHostToDevice = 1,
    cudaMemcpyDeviceToHost = 2,
    cudaMemcpyDeviceToDevice = 3,
    cudaMemcpyDefault = 4,
};

enum cudaFuncCache {
    cudaFuncCachePreferNone = 0,
    cudaFuncCachePreferShared = 1,
    cudaFuncCachePreferL1 = 2,
    cudaFuncCachePreferEqual = 3,
};

enum cudaDeviceAttr {
    cudaDevAttrClockRate = 13,
    cudaDevAttrGpuOverlap = 15,
    cudaDevAttrKernelExecTimeout = 17,
    cudaDevAttrComputeMode = 20,
};

enum cudaComputeMode {
    cudaComputeModeDefault = 0,
    cudaComputeModeExclusive = 1,
    cudaComputeModeProhibited = 2,
};

#define cudaHostAllocDefault 0x00u

struct uint3 {
    unsigned int x, y, z;
};

struct dim3 {
    unsigned int x, y, z;
    constexpr dim3(unsigned int vx = 1, unsigned int vy = 1, unsigned int vz = 1) : x(vx), y(vy), z(vz) {}
};

// The fields of the runtime's device record that the library reads.
struct cudaDeviceProp {
    char name[256];
    size_t totalGlobalMem;
    size_t sharedMemPerBlock;
    int regsPerBlock;
    int warpSize;
    size_t memPitch;
    int maxThreadsPerBlock;
    int maxThreadsDim[3];
    int maxGridSize[3];
    size_t totalConstMem;
    int major;
    int minor;
    size_t textureAlignment;
    int multiProcessorCount;
    int integrated;
    int canMapHostMemory;
};

cudaError_t cudaGetDeviceCount(int* count);
cudaError_t cudaGetDeviceProperties(cudaDeviceProp* prop, int device);
cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attr, int device);
cudaError_t cudaDriverGetVersion(int* version);
cudaError_t cudaRuntimeGetVersion(int* version);
cudaError_t cudaSetDevice(int device);
cudaError_t cudaGetDevice(int* device);
cudaError_t cudaDeviceSetCacheConfig(cudaFuncCache config);
cudaError_t cudaDeviceSynchronize();
cudaError_t cudaGetLastError();
cudaError_t cudaPeekAtLastError();
const char* cudaGetErrorString(cudaError_t code);
const char* cudaGetErrorName(cudaError_t code);

cudaError_t cudaMalloc(void** p, size_t bytes);
template <class T>
inline cudaError_t cudaMalloc(T** p, size_t bytes)
{
    return cudaMalloc(reinterpret_cast<void**>(p), bytes);
}
cudaError_t cudaFree(void* p);
cudaError_t cudaMemset(void* p, int value, size_t bytes);
cudaError_t cudaMemcpy(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind);
cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind,
                            cudaStream_t stream = nullptr);
cudaError_t cudaHostAlloc(void** p, size_t bytes, unsigned int flags);
template <class T>
inline cudaError_t cudaHostAlloc(T** p, size_t bytes, unsigned int flags)
{
    return cudaHostAlloc(reinterpret_cast<void**>(p), bytes, flags);
}
cudaError_t cudaFreeHost(void* p);
cudaError_t cudaMemGetInfo(size_t* free, size_t* total);
cudaError_t cudaStreamCreate(cudaStream_t* stream);
cudaError_t cudaStreamDestroy(cudaStream_t stream);
cudaError_t cudaStreamSynchronize(cudaStream_t stream);

namespace rvz {
namespace host {

// The launch state of the running kernel thread: its indices, as CUDA names
// them, and whether a block kernel is running (its threads are then walked
// by the block primitives rather than by the launcher).
//
// One record in __thread storage (constant-initialised: a C++ thread_local
// of class type is reached through an initialisation wrapper in every
// translation unit but its own, a test and a call on each access). One
// record rather than four variables: code built with initial-exec
// thread-local access reads each variable's offset from the global offset
// table, and where the vectoriser combined the offsets of two variables
// into one vector load, the linker could no longer rewrite the load into a
// constant offset when it links an executable ("TLS transition ...
// failed"). A single record has one offset, loaded by a plain move.
struct LaunchState {
    uint3 thread;
    uint3 block;
    dim3 blockSize;
    dim3 gridSize;
    bool inBlockLaunch;
};
extern __thread LaunchState launchState;

}  // namespace host
}  // namespace rvz

#define threadIdx (::rvz::host::launchState.thread)
#define blockIdx (::rvz::host::launchState.block)
#define blockDim (::rvz::host::launchState.blockSize)
#define gridDim (::rvz::host::launchState.gridSize)

namespace rvz {
namespace host {

// Validates a launch configuration and consumes pending injected faults.
// Returns true when the launch may run; otherwise the platform's last
// error holds the reason and the launch is skipped.
bool begin_launch(const dim3& grid, const dim3& block, size_t sharedBytes);

// Number of OpenMP threads used to spread the blocks of one launch of
// `threads` kernel threads: 1 inside a parallel region and for launches
// below serial_launch_limit() threads, else up to one per block.
int launch_threads(long long blocks, long long threads);

// Launches of fewer kernel threads than this run on the calling thread. The
// environment variable RVZGPU_HOST_SERIAL_BELOW sets it (0: every launch
// with more than one block uses a team); the default is kSerialLaunchLimit.
constexpr long long kSerialLaunchLimit = 32768;
long long serial_launch_limit();


void set_last_error(cudaError_t code);

}  // namespace host
}  // namespace rvz
