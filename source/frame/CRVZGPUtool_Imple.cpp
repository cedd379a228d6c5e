#include "CRVZGPUtool_Imple.h"

#include <cstdio>
#include <cstring>

#include "platform/rvz_platform.h"

namespace {

const char kLongFormat[] =
    "\n Device(%d)-[%s]\n CUDA Driver Version                            : %d.%d\n CUDA Runtime Version"
    "                           : %d.%d\n CUDA Compute Capability                        : %d.%d\n Total amount"
    " of global memory                  : %u MB\n Number of multiprocessors                      : %d\n Number"
    " of cores                                : %d\n Total amount of constant memory                : %u KB\n"
    " Total amount of shared memory per block        : %u KB\n Total number of registers available per block "
    " : %d\n Warp size                                      : %d\n Maximum number of threads per block      "
    "      : %d\n Maximum sizes of each dimension of a block     : %d x %d x %d\n Maximum sizes of each dimens"
    "ion of a grid      : %d x %d x %d\n Maximum memory pitch                           : %u KB\n Texture a"
    "lignment                              : %u bytes\n Clock rate                                     : %.2f"
    " GHz\n Concurrent copy and execution                  : %s\n Run time limit on kernels                "
    "      : %s\n Integrated (motherboard) GPU                   : %s\n Support host page-locked memory mapp"
    "ing        : %s\n Compute mode                                   : %s\n";

const char kShortFormat[] =
    "\n Device(%d)-[%s]\n -- CUDA Driver Version       : %d.%d\n -- CUDA Runtime Version      : %d.%d\n -- CU"
    "DA Compute Capability   : %d.%d\n -- Device global memory      : %u MB\n -- Number of multiprocessors : %"
    "d\n -- Number of cores           : %d\n -- Clock rate                : %.2f GHz\n -- Compute mode         "
    "     : %s\n";

// Devices with double precision: capability 1.3, or 2.0 and later.
bool has_double_precision(const cudaDeviceProp& p) { return p.major >= 2 || (p.major == 1 && p.minor == 3); }

const char* yes_no(int flag) { return flag ? "Yes" : "No"; }

const char* compute_mode_text(int mode)
{
    switch (mode) {
        case 0: return "Default";
        case 1: return "Exclusive";
        case 2: return "Prohibited";
        default: return "Unknown";
    }
}

// Attributes that current runtimes no longer keep in the property record.
int attribute(cudaDeviceAttr attr, int ordinal)
{
    int value = 0;
    if (cudaDeviceGetAttribute(&value, attr, ordinal) != cudaSuccess) {
        (void)cudaGetLastError();
        value = 0;
    }
    return value;
}

}  // namespace

CRVZGPUtool_Imple::CRVZGPUtool_Imple()
{
    std::memset(DeviceInfoLongFormat, 0, sizeof(DeviceInfoLongFormat));
    std::memset(DeviceInfoShortFormat, 0, sizeof(DeviceInfoShortFormat));
    std::memset(ErrorMessage, 0, sizeof(ErrorMessage));
    BlockSize = 256;
    SelectedDevice = -1;
    DeviceStatus = 0;
    LastNNU = 0;

    // Without a driver the runtime answers with an error and leaves the
    // count unwritten: that is a machine with no device.
    DeviceCount = 0;
    if (cudaGetDeviceCount(&DeviceCount) != cudaSuccess) {
        DeviceCount = 0;
        (void)cudaGetLastError();
    }
    int driverVersion = 0;
    int runtimeVersion = 0;
    cudaDriverGetVersion(&driverVersion);
    cudaRuntimeGetVersion(&runtimeVersion);
    (void)cudaGetLastError();
    std::snprintf(DeviceInfoLongFormat, sizeof(DeviceInfoLongFormat), "%s", kLongFormat);
    std::snprintf(DeviceInfoShortFormat, sizeof(DeviceInfoShortFormat), "%s", kShortFormat);

    for (int pass = 0; pass < 2; ++pass) {
        for (int ordinal = 0; ordinal < DeviceCount; ++ordinal) {
            cudaDeviceProp prop;
            if (cudaGetDeviceProperties(&prop, ordinal) != cudaSuccess) {
                (void)cudaGetLastError();
                continue;
            }
            if (!has_double_precision(prop)) continue;
            if (pass == 0)
                ++UsableDeviceCount;
            else
                UsableDeviceList.push_back(ordinal);
        }
    }

    const size_t n = static_cast<size_t>(UsableDeviceCount);
    DeviceInfoLong.assign(n, std::vector<char>(kTextSize, 0));
    DeviceInfoShort.assign(n, std::vector<char>(kTextSize, 0));
    DeviceName.assign(n, std::vector<char>(kTextSize, 0));
    DeviceGlobalMemory.assign(n, 0);
    DeviceSharedMemPerBlock.assign(n, 0);
    DeviceRegsPerBlock.assign(n, 0);
    DeviceWarpSize.assign(n, 0);
    DeviceMaxThreadsPerBlock.assign(n, 0);
    DeviceConstMemory.assign(n, 0);
    DeviceMajor.assign(n, 0);
    DeviceMinor.assign(n, 0);
    for (int k = 0; k < UsableDeviceCount; ++k) DescribeDevice(k, UsableDeviceList[k], driverVersion, runtimeVersion);

    if (UsableDeviceCount == 0) DeviceStatus = -1;
}

void CRVZGPUtool_Imple::DescribeDevice(int k, int ordinal, int driverVersion, int runtimeVersion)
{
    cudaDeviceProp p;
    std::memset(&p, 0, sizeof(p));
    if (cudaGetDeviceProperties(&p, ordinal) != cudaSuccess) (void)cudaGetLastError();
    const int coresPerProcessor = p.major == 1 ? 8 : 32;
    const double clockGHz = attribute(cudaDevAttrClockRate, ordinal) * 1e-6;
    const char* computeMode = compute_mode_text(attribute(cudaDevAttrComputeMode, ordinal));

    std::snprintf(DeviceInfoLong[k].data(), kTextSize, DeviceInfoLongFormat, k, p.name, driverVersion / 1000,
                  driverVersion % 100, runtimeVersion / 1000, runtimeVersion % 100, p.major, p.minor,
                  static_cast<unsigned>(p.totalGlobalMem >> 20), p.multiProcessorCount,
                  p.multiProcessorCount * coresPerProcessor, static_cast<unsigned>(p.totalConstMem >> 10),
                  static_cast<unsigned>(p.sharedMemPerBlock >> 10), p.regsPerBlock, p.warpSize,
                  p.maxThreadsPerBlock, p.maxThreadsDim[0], p.maxThreadsDim[1], p.maxThreadsDim[2],
                  p.maxGridSize[0], p.maxGridSize[1], p.maxGridSize[2], static_cast<unsigned>(p.memPitch >> 10),
                  static_cast<unsigned>(p.textureAlignment), clockGHz,
                  yes_no(attribute(cudaDevAttrGpuOverlap, ordinal)),
                  yes_no(attribute(cudaDevAttrKernelExecTimeout, ordinal)), yes_no(p.integrated),
                  yes_no(p.canMapHostMemory), computeMode);
    std::snprintf(DeviceInfoShort[k].data(), kTextSize, DeviceInfoShortFormat, k, p.name, driverVersion / 1000,
                  driverVersion % 100, runtimeVersion / 1000, runtimeVersion % 100, p.major, p.minor,
                  static_cast<unsigned>(p.totalGlobalMem >> 20), p.multiProcessorCount,
                  p.multiProcessorCount * coresPerProcessor, clockGHz, computeMode);

    std::snprintf(DeviceName[k].data(), kTextSize, "%s", p.name);
    DeviceGlobalMemory[k] = p.totalGlobalMem;
    DeviceSharedMemPerBlock[k] = p.sharedMemPerBlock;
    DeviceRegsPerBlock[k] = p.regsPerBlock;
    DeviceWarpSize[k] = p.warpSize;
    DeviceMaxThreadsPerBlock[k] = p.maxThreadsPerBlock;
    DeviceConstMemory[k] = p.totalConstMem;
    DeviceMajor[k] = p.major;
    DeviceMinor[k] = p.minor;
}

int CRVZGPUtool_Imple::SetDeviceToUse(int device)
{
    const cudaError_t status = cudaSetDevice(device);
    if (status != cudaSuccess) return status;
    (void)cudaDeviceSetCacheConfig(cudaFuncCachePreferL1);
    (void)cudaGetLastError();
    int current = -1;
    if (cudaGetDevice(&current) != cudaSuccess) {
        current = -1;
        (void)cudaGetLastError();
    }
    SelectedDevice = current;
    std::fflush(stdout);
    return 0;
}

const char* CRVZGPUtool_Imple::GetGPUErrorMessage(int code)
{
    const bool platformCode = (code >= 0 && code <= 36) || code == 38 || code == 127 || code == 10000;
    if (platformCode)
        std::snprintf(ErrorMessage, sizeof(ErrorMessage), "%s", cudaGetErrorString(static_cast<cudaError_t>(code)));
    else if (code == -1)
        std::snprintf(ErrorMessage, sizeof(ErrorMessage), "NO CUDA Device Available");
    else if (code == -2)
        std::snprintf(ErrorMessage, sizeof(ErrorMessage), "CUDA Device Is Not Selected");
    else if (code == -3)
        std::snprintf(ErrorMessage, sizeof(ErrorMessage), "Error occurred at the previous function");
    else
        std::snprintf(ErrorMessage, sizeof(ErrorMessage), "Invalid CUDA Error Code (%d)", code);
    return ErrorMessage;
}
