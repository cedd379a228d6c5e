// The error reporters. Their lines go to standard output, flushed at once,
// because a host solver's output is usually redirected to a log it watches.
#include "CU_checkError.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "CRVZCom.h"
#include "platform/rvz_platform.h"

namespace rvz {

namespace {

int countdownMilliseconds = 1000;

struct DeviceIdentity {
    char name[256] = "";
    size_t globalMemory = 0;
};

// Name and memory of a device; empty when the platform cannot describe it
// (device -1 before a device is selected). The failed query must not
// become the caller's next last error.
DeviceIdentity identify(int device)
{
    DeviceIdentity id;
    cudaDeviceProp prop;
    if (device >= 0 && cudaGetDeviceProperties(&prop, device) == cudaSuccess) {
        std::snprintf(id.name, sizeof(id.name), "%s", prop.name);
        id.globalMemory = prop.totalGlobalMem;
    } else {
        (void)cudaGetLastError();
    }
    return id;
}

void count_down()
{
    for (int k = 5; k >= 1; --k) {
        std::printf("\r%d ", k);
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::milliseconds(countdownMilliseconds));
    }
}

// Distributed mode: end every process. Without a message-passing object
// this process ends alone, with the same code.
[[noreturn]] void abort_run(CRVZCom* com, int code)
{
    std::fflush(stdout);
    if (com != nullptr) com->Abort(com->CommHandle, code);
    std::exit(code);
}

}  // namespace

void SetReportCountdownMilliseconds(int milliseconds) { countdownMilliseconds = milliseconds < 0 ? 0 : milliseconds; }

int ReportCountdownMilliseconds() { return countdownMilliseconds; }

const char* PlatformErrorText(int code) { return cudaGetErrorString(static_cast<cudaError_t>(code)); }

int ReportCUDAError(int mode, int code, int device, int processId, const char* message, CRVZCom* com)
{
    const DeviceIdentity id = identify(device);
    if (mode == kDistributed) {
        std::printf("CPUID:%d", processId);
        std::printf("GPU[%d:%s] %s: %s.\n", device, id.name, message, PlatformErrorText(code));
        std::fflush(stdout);
        abort_run(com, code);
    }
    std::printf("GPU[%d:%s] %s: %s.(%d)\n", device, id.name, message, PlatformErrorText(code), code);
    std::fflush(stdout);
    count_down();
    return code;
}

int ReportGPUMemoryError(int mode, int showRequirement, int code, double requiredMB, int device, int processId,
                         CRVZCom* com)
{
    const DeviceIdentity id = identify(device);
    if (mode == kDistributed) std::printf("CPUID:%d", processId);
    std::printf("GPU memory allocation failed: %s.\n", PlatformErrorText(code));
    if (showRequirement) std::printf("GPU memory requirement of this case: %.2lf (MB)\n", requiredMB);
    std::printf("GPU[%d:%s] memory size: %lu\n", device, id.name, static_cast<unsigned long>(id.globalMemory >> 20));
    std::fflush(stdout);
    if (mode == kDistributed) abort_run(com, -1);
    count_down();
    return code;
}

int CheckStep(const char* message, int device)
{
    const int code = cudaGetLastError();
    if (code != cudaSuccess) ReportCUDAError(kSerial, code, device, 0, message, nullptr);
    return code;
}

int CheckStepDistributed(const char* message, int device, int processId, CRVZCom* com)
{
    const int code = cudaGetLastError();
    if (code != cudaSuccess) ReportCUDAError(kDistributed, code, device, processId, message, com);
    return code;
}

}  // namespace rvz
