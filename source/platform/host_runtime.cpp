// The host backend's runtime: one device named "host" whose memory is the
// process heap. Allocations are recorded so that a free or copy through a
// pointer the runtime never handed out is refused with the runtime's code
// instead of corrupting memory.
#include "host_runtime.h"

#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>

#include "host_test_hooks.h"

namespace rvz {
namespace host {

__thread LaunchState launchState = {{0, 0, 0}, {0, 0, 0}, dim3(), dim3(), false};

namespace {

struct ErrorText {
    int code;
    const char* name;
    const char* text;
};

const ErrorText kErrorTexts[] = {
#include "cuda_error_texts.inc"
};

cudaError_t lastError = cudaSuccess;
int currentDevice = 0;

// A fault plan: let `skip` more events pass, then fail `count` of them.
struct FaultPlan {
    int skip = 0;
    int count = 0;
    cudaError_t code = cudaSuccess;

    bool consume()
    {
        if (count <= 0) return false;
        if (skip > 0) {
            --skip;
            return false;
        }
        --count;
        return true;
    }
};

FaultPlan launchFaults;
FaultPlan allocFaults;

constexpr size_t kAlignment = 256;
constexpr unsigned kMaxThreadsPerBlock = 1024;
constexpr size_t kSharedPerBlock = 48 * 1024;

struct Allocation {
    size_t bytes;
    bool pageLocked;
};

std::mutex allocMutex;
std::map<const char*, Allocation> allocations;
size_t allocatedBytes = 0;

size_t physical_memory()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) return size_t(1) << 32;
    return static_cast<size_t>(pages) * static_cast<size_t>(pageSize);
}

cudaError_t fail(cudaError_t code)
{
    lastError = code;
    return code;
}

// Device arrays start on a 256-byte boundary, as cudaMalloc's do. Normally
// the block is rounded up to whole 256-byte units; sanitizer builds ask for
// exactly `bytes`, so that the first byte past the array lies in the
// allocator's red zone and an overrun is reported where it happens.
void* aligned_block(size_t bytes)
{
#if RVZGPU_EXACT_ALLOCATIONS
    void* mem = nullptr;
    return posix_memalign(&mem, kAlignment, bytes) == 0 ? mem : nullptr;
#else
    return std::aligned_alloc(kAlignment, (bytes + kAlignment - 1) / kAlignment * kAlignment);
#endif
}

cudaError_t allocate(void** p, size_t bytes, bool pageLocked)
{
    if (p == nullptr) return fail(cudaErrorInvalidValue);
    if (allocFaults.consume()) return fail(allocFaults.code);
    if (bytes == 0) {
        *p = nullptr;
        return cudaSuccess;
    }
    if (bytes > physical_memory()) return fail(cudaErrorMemoryAllocation);
    void* mem = aligned_block(bytes);
    if (mem == nullptr) return fail(cudaErrorMemoryAllocation);
    std::lock_guard<std::mutex> lock(allocMutex);
    allocations[static_cast<const char*>(mem)] = Allocation{bytes, pageLocked};
    allocatedBytes += bytes;
    *p = mem;
    return cudaSuccess;
}

cudaError_t release(void* p, bool pageLocked)
{
    if (p == nullptr) return cudaSuccess;
    {
        std::lock_guard<std::mutex> lock(allocMutex);
        auto it = allocations.find(static_cast<const char*>(p));
        if (it == allocations.end() || it->second.pageLocked != pageLocked) return fail(cudaErrorInvalidValue);
        allocatedBytes -= it->second.bytes;
        allocations.erase(it);
    }
    std::free(p);
    return cudaSuccess;
}

// True when [p, p + bytes) lies inside one live device allocation.
bool is_device_range(const void* p, size_t bytes)
{
    const char* c = static_cast<const char*>(p);
    std::lock_guard<std::mutex> lock(allocMutex);
    auto it = allocations.upper_bound(c);
    if (it == allocations.begin()) return false;
    --it;
    if (it->second.pageLocked) return false;
    return c >= it->first && static_cast<size_t>(c - it->first) + bytes <= it->second.bytes;
}

}  // namespace

void set_last_error(cudaError_t code) { lastError = code; }

bool begin_launch(const dim3& grid, const dim3& block, size_t sharedBytes)
{
    if (launchFaults.consume()) {
        lastError = launchFaults.code;
        return false;
    }
    const unsigned long long threads = static_cast<unsigned long long>(block.x) * block.y * block.z;
    const bool badGrid = grid.x == 0 || grid.y == 0 || grid.z == 0 || grid.x > 2147483647u || grid.y > 65535u ||
                         grid.z > 65535u;
    const bool badBlock = threads == 0 || threads > kMaxThreadsPerBlock || block.z > 64;
    if (badGrid || badBlock || sharedBytes > kSharedPerBlock) {
        lastError = cudaErrorInvalidConfiguration;
        return false;
    }
    return true;
}

namespace {

// -1 until first read; launches may come from several host threads.
std::atomic<long long> serialLimit{-1};

long long limit_from_environment()
{
    const char* text = std::getenv("RVZGPU_HOST_SERIAL_BELOW");
    if (text == nullptr || *text == '\0') return kSerialLaunchLimit;
    char* end = nullptr;
    const long long v = std::strtoll(text, &end, 10);
    return end != text && *end == '\0' && v >= 0 ? v : kSerialLaunchLimit;
}

}  // namespace

long long serial_launch_limit()
{
    long long limit = serialLimit.load(std::memory_order_relaxed);
    if (limit < 0) {
        limit = limit_from_environment();
        serialLimit.store(limit, std::memory_order_relaxed);
    }
    return limit;
}

int launch_threads(long long blocks, long long threads)
{
    if (omp_in_parallel() || blocks <= 1 || threads < serial_launch_limit()) return 1;
    const int available = omp_get_max_threads();
    return static_cast<int>(std::max<long long>(1, std::min<long long>(available, blocks)));
}

namespace testing {

void inject_launch_faults(int count, cudaError_t code, int skip) { launchFaults = FaultPlan{skip, count, code}; }

void inject_alloc_faults(int count, cudaError_t code, int skip) { allocFaults = FaultPlan{skip, count, code}; }

void set_serial_launch_limit(long long threads) { serialLimit.store(threads, std::memory_order_relaxed); }

void clear_faults()
{
    launchFaults = FaultPlan{};
    allocFaults = FaultPlan{};
}

size_t live_allocations()
{
    std::lock_guard<std::mutex> lock(allocMutex);
    return allocations.size();
}

}  // namespace testing

}  // namespace host
}  // namespace rvz

using rvz::host::fail;

cudaError_t cudaGetDeviceCount(int* count)
{
    if (count == nullptr) return fail(cudaErrorInvalidValue);
    *count = 1;
    return cudaSuccess;
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* prop, int device)
{
    if (prop == nullptr) return fail(cudaErrorInvalidValue);
    if (device != 0) return fail(cudaErrorInvalidDevice);
    std::memset(prop, 0, sizeof(*prop));
    std::strncpy(prop->name, "host", sizeof(prop->name) - 1);
    prop->totalGlobalMem = rvz::host::physical_memory();
    prop->sharedMemPerBlock = rvz::host::kSharedPerBlock;
    prop->regsPerBlock = 65536;
    prop->warpSize = 32;
    prop->memPitch = 2147483647;
    prop->maxThreadsPerBlock = static_cast<int>(rvz::host::kMaxThreadsPerBlock);
    prop->maxThreadsDim[0] = 1024;
    prop->maxThreadsDim[1] = 1024;
    prop->maxThreadsDim[2] = 64;
    prop->maxGridSize[0] = 2147483647;
    prop->maxGridSize[1] = 65535;
    prop->maxGridSize[2] = 65535;
    prop->totalConstMem = 65536;
    prop->major = 8;
    prop->minor = 0;
    prop->textureAlignment = 512;
    prop->multiProcessorCount = omp_get_num_procs();
    prop->integrated = 1;
    prop->canMapHostMemory = 1;
    return cudaSuccess;
}

cudaError_t cudaDeviceGetAttribute(int* value, cudaDeviceAttr attr, int device)
{
    if (value == nullptr) return fail(cudaErrorInvalidValue);
    if (device != 0) return fail(cudaErrorInvalidDevice);
    switch (attr) {
        case cudaDevAttrClockRate: *value = 0; break;
        case cudaDevAttrGpuOverlap: *value = 0; break;
        case cudaDevAttrKernelExecTimeout: *value = 0; break;
        case cudaDevAttrComputeMode: *value = cudaComputeModeDefault; break;
        default: return fail(cudaErrorInvalidValue);
    }
    return cudaSuccess;
}

cudaError_t cudaDriverGetVersion(int* version)
{
    if (version == nullptr) return fail(cudaErrorInvalidValue);
    *version = 0;
    return cudaSuccess;
}

cudaError_t cudaRuntimeGetVersion(int* version)
{
    if (version == nullptr) return fail(cudaErrorInvalidValue);
    *version = 0;
    return cudaSuccess;
}

cudaError_t cudaSetDevice(int device)
{
    if (device != 0) return fail(cudaErrorInvalidDevice);
    rvz::host::currentDevice = device;
    return cudaSuccess;
}

cudaError_t cudaGetDevice(int* device)
{
    if (device == nullptr) return fail(cudaErrorInvalidValue);
    *device = rvz::host::currentDevice;
    return cudaSuccess;
}

cudaError_t cudaDeviceSetCacheConfig(cudaFuncCache) { return cudaSuccess; }

// Launches run to completion before they return, so there is nothing to wait for.
cudaError_t cudaDeviceSynchronize() { return cudaSuccess; }

cudaError_t cudaGetLastError()
{
    const cudaError_t code = rvz::host::lastError;
    rvz::host::lastError = cudaSuccess;
    return code;
}

cudaError_t cudaPeekAtLastError() { return rvz::host::lastError; }

const char* cudaGetErrorString(cudaError_t code)
{
    for (const auto& e : rvz::host::kErrorTexts)
        if (e.code == code) return e.text;
    return "unrecognized error code";
}

const char* cudaGetErrorName(cudaError_t code)
{
    for (const auto& e : rvz::host::kErrorTexts)
        if (e.code == code) return e.name;
    return "cudaErrorUnknown";
}

cudaError_t cudaMalloc(void** p, size_t bytes) { return rvz::host::allocate(p, bytes, false); }

cudaError_t cudaFree(void* p) { return rvz::host::release(p, false); }

cudaError_t cudaMemset(void* p, int value, size_t bytes)
{
    if (bytes == 0) return cudaSuccess;
    if (!rvz::host::is_device_range(p, bytes)) return fail(cudaErrorInvalidValue);
    std::memset(p, value, bytes);
    return cudaSuccess;
}

cudaError_t cudaMemcpy(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind)
{
    if (bytes == 0) return cudaSuccess;
    if (dst == nullptr || src == nullptr) return fail(cudaErrorInvalidValue);
    const bool dstDevice = kind == cudaMemcpyHostToDevice || kind == cudaMemcpyDeviceToDevice;
    const bool srcDevice = kind == cudaMemcpyDeviceToHost || kind == cudaMemcpyDeviceToDevice;
    if (kind < cudaMemcpyHostToHost || kind > cudaMemcpyDefault) return fail(cudaErrorInvalidMemcpyDirection);
    if ((dstDevice && !rvz::host::is_device_range(dst, bytes)) ||
        (srcDevice && !rvz::host::is_device_range(src, bytes)))
        return fail(cudaErrorInvalidValue);
    std::memmove(dst, src, bytes);
    return cudaSuccess;
}

// Streams run in issue order on the calling thread, so an asynchronous copy
// is complete when it returns; the stream must still be a live one.
cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t bytes, cudaMemcpyKind kind, cudaStream_t)
{
    return cudaMemcpy(dst, src, bytes, kind);
}

cudaError_t cudaHostAlloc(void** p, size_t bytes, unsigned int) { return rvz::host::allocate(p, bytes, true); }

cudaError_t cudaFreeHost(void* p) { return rvz::host::release(p, true); }

cudaError_t cudaMemGetInfo(size_t* free, size_t* total)
{
    if (free == nullptr || total == nullptr) return fail(cudaErrorInvalidValue);
    const long avail = sysconf(_SC_AVPHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    *total = rvz::host::physical_memory();
    *free = avail > 0 && pageSize > 0 ? std::min(*total, static_cast<size_t>(avail) * static_cast<size_t>(pageSize))
                                      : *total;
    return cudaSuccess;
}

struct CUstream_st {
    int magic;
};

namespace {
constexpr int kStreamMagic = 0x5354524d;
}

cudaError_t cudaStreamCreate(cudaStream_t* stream)
{
    if (stream == nullptr) return fail(cudaErrorInvalidValue);
    *stream = new CUstream_st{kStreamMagic};
    return cudaSuccess;
}

cudaError_t cudaStreamDestroy(cudaStream_t stream)
{
    if (stream == nullptr || stream->magic != kStreamMagic) return fail(cudaErrorInvalidResourceHandle);
    stream->magic = 0;
    delete stream;
    return cudaSuccess;
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream)
{
    if (stream != nullptr && stream->magic != kStreamMagic) return fail(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}
