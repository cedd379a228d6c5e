// The facade's frame: device enumeration and selection, error texts, the
// last-error rules and both error reporters in both modes.
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "CRVZCom.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_Reduction.h"
#include "test_support.h"

namespace {

using rvztest::CaptureOutput;
using rvztest::Tool;

static_assert(!std::is_copy_constructible<CRVZGPUtool>::value, "a facade owns its implementation alone");
static_assert(!std::is_copy_assignable<CRVZGPUtool>::value, "a facade owns its implementation alone");

TEST(ErrorMessage, PlatformTextsForKnownCodesAndOwnTextsOtherwise)
{
    CRVZGPUtool& tool = Tool();
    EXPECT_STREQ(tool.GetGPUErrorMessage(37), "Invalid CUDA Error Code (37)");
    EXPECT_STREQ(tool.GetGPUErrorMessage(39), "Invalid CUDA Error Code (39)");
    EXPECT_STREQ(tool.GetGPUErrorMessage(-4), "Invalid CUDA Error Code (-4)");
    EXPECT_STREQ(tool.GetGPUErrorMessage(0), cudaGetErrorString(cudaSuccess));
    EXPECT_STREQ(tool.GetGPUErrorMessage(2), "out of memory");
    for (int code : {11, 36, 38, 127, 10000})
        EXPECT_STREQ(tool.GetGPUErrorMessage(code), cudaGetErrorString(static_cast<cudaError_t>(code))) << code;
    EXPECT_STREQ(tool.GetGPUErrorMessage(-1), "NO CUDA Device Available");
    EXPECT_STREQ(tool.GetGPUErrorMessage(-2), "CUDA Device Is Not Selected");
    EXPECT_STREQ(tool.GetGPUErrorMessage(-3), "Error occurred at the previous function");
    // One buffer: the text of the previous call is overwritten.
    const char* first = tool.GetGPUErrorMessage(-1);
    tool.GetGPUErrorMessage(-2);
    EXPECT_STREQ(first, "CUDA Device Is Not Selected");
}

TEST(DeviceSelection, RejectedOrdinalLeavesTheSelectionUnchanged)
{
    CRVZGPUtool tool;
    int device = 99;
    EXPECT_EQ(tool.GetSelectedDevice(device), 0);
    EXPECT_EQ(device, -1);
    int count = 0;
    cudaGetDeviceCount(&count);
    EXPECT_EQ(tool.SetDeviceToUse(count + 3), cudaErrorInvalidDevice);
    tool.GetSelectedDevice(device);
    EXPECT_EQ(device, -1);
    (void)tool.GPUGetLastError();
    EXPECT_EQ(tool.SetDeviceToUse(0), 0);
    tool.GetSelectedDevice(device);
    EXPECT_EQ(device, 0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(DeviceEnumeration, DescribesTheHostDeviceWithBothTemplates)
{
    CRVZGPUtool_Imple imple;
    ASSERT_EQ(imple.DeviceCount, 1);
    ASSERT_EQ(imple.UsableDeviceCount, 1);
    EXPECT_EQ(imple.DeviceStatus, 0);
    EXPECT_EQ(imple.BlockSize, 256);
    EXPECT_EQ(imple.SelectedDevice, -1);
    EXPECT_EQ(imple.UsableDeviceList, std::vector<int>{0});
    EXPECT_STREQ(imple.DeviceName[0].data(), "host");
    EXPECT_EQ(imple.DeviceWarpSize[0], 32);
    const std::string shortText = imple.DeviceInfoShort[0].data();
    EXPECT_EQ(shortText.rfind("\n Device(0)-[host]\n -- CUDA Driver Version       : 0.0\n", 0), 0u) << shortText;
    EXPECT_NE(shortText.find(" -- Clock rate                : 0.00 GHz\n -- Compute mode              : Default\n"),
              std::string::npos)
        << shortText;
    const std::string longText = imple.DeviceInfoLong[0].data();
    EXPECT_NE(longText.find(" Warp size                                      : 32\n"), std::string::npos);
    EXPECT_NE(longText.find(" Maximum sizes of each dimension of a block     : 1024 x 1024 x 64\n"), std::string::npos);
    EXPECT_NE(longText.find(" Integrated (motherboard) GPU                   : Yes\n"), std::string::npos);
    EXPECT_NE(longText.find(" Run time limit on kernels                      : No\n"), std::string::npos);
    const std::string tail = " Compute mode                                   : Default\n";
    ASSERT_GT(longText.size(), tail.size());
    EXPECT_EQ(longText.substr(longText.size() - tail.size()), tail);
}

TEST(LastError, SynchronizeReturnsZeroAndTheFaultShowsUpOnce)
{
    rvz::host::testing::inject_alloc_faults(1, cudaErrorMemoryAllocation);
    double* p = nullptr;
    EXPECT_EQ(Tool().AllocateDeviceMemory(10, p), cudaErrorMemoryAllocation);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(Tool().GPUDeviceSynchronize(), 0);
    EXPECT_EQ(Tool().GPUGetLastError(), cudaErrorMemoryAllocation);
    EXPECT_EQ(Tool().GPUGetLastError(), 0);
}
#endif

// A message-passing object that records what the reporters ask of it; its
// Abort throws instead of ending the process, so the test can go on.
struct AbortCalled : std::runtime_error {
    int comm;
    int code;
    AbortCalled(int c, int e) : std::runtime_error("abort"), comm(c), code(e) {}
};

class RecordingCom : public CRVZCom {
public:
    RecordingCom() { CommHandle = 91; }
    int AllSum(int, void*, void*, int, int) override { return 0; }
    int PackSize(int, int, int&, int) override { return 0; }
    int Pack(int, void*, int, void*, int, int&, int) override { return 0; }
    int Unpack(int, void*, int, void*, int, int&, int) override { return 0; }
    int SendRecv(int, void*, int, int, int, void*, int, int, int, int) override { return 0; }
    int SendRecvReplace(int, void*, int, int, int, int, int, int) override { return 0; }
    int Isend(int, void*, int, int, int, int&, int) override { return 0; }
    int Irecv(int, void*, int, int, int, int&, int) override { return 0; }
    int Wait(int&) override { return 0; }
    int Abort(int comm, int code) override { throw AbortCalled(comm, code); }
};

TEST(ErrorReporter, SerialModePrintsTheStepAndCountsDownThenReturnsTheCode)
{
    const std::string out = CaptureOutput([] {
        EXPECT_EQ(rvz::ReportCUDAError(0, 9, 0, 3, "Calc_CellFR failed", nullptr), 9);
    });
    const std::string name = Tool().GetGPUErrorMessage(9);
    char deviceName[256] = "";
    cudaDeviceProp prop;
    if (cudaGetDeviceProperties(&prop, 0) == cudaSuccess) std::snprintf(deviceName, sizeof deviceName, "%s", prop.name);
    EXPECT_EQ(out, "GPU[0:" + std::string(deviceName) + "] Calc_CellFR failed: " + name + ".(9)\n\r5 \r4 \r3 \r2 \r1 ");
}

TEST(ErrorReporter, UnselectedDeviceHasAnEmptyNameAndLeavesNoLastError)
{
    const std::string out = CaptureOutput([] { rvz::ReportCUDAError(0, 2, -1, 0, "X failed", nullptr); });
    EXPECT_EQ(out.rfind("GPU[-1:] X failed: out of memory.(2)\n", 0), 0u) << out;
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

TEST(ErrorReporter, CountdownDelaysTheCallerFiveSteps)
{
    rvz::SetReportCountdownMilliseconds(30);
    const auto start = std::chrono::steady_clock::now();
    CaptureOutput([] { rvz::ReportCUDAError(0, 1, 0, 0, "X failed", nullptr); });
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    rvz::SetReportCountdownMilliseconds(0);
    EXPECT_GE(ms, 150.0);
}

TEST(ErrorReporter, DistributedModePrintsTheRankAndAbortsWithTheCode)
{
    RecordingCom com;
    int comm = 0, code = 0;
    const std::string out = CaptureOutput([&] {
        try {
            rvz::ReportCUDAError(1, 2, -1, 7, "CG_CSR failed", &com);
        } catch (const AbortCalled& a) {
            comm = a.comm;
            code = a.code;
        }
    });
    EXPECT_EQ(out, "CPUID:7GPU[-1:] CG_CSR failed: out of memory.\n");
    EXPECT_EQ(comm, 91);
    EXPECT_EQ(code, 2);
}

TEST(MemoryReporter, SerialModeWithAndWithoutTheRequirementLine)
{
    const std::string with = CaptureOutput([] { EXPECT_EQ(rvz::ReportGPUMemoryError(0, 1, 2, 0.13671875, -1, 0, nullptr), 2); });
    EXPECT_EQ(with,
              "GPU memory allocation failed: out of memory.\n"
              "GPU memory requirement of this case: 0.14 (MB)\n"
              "GPU[-1:] memory size: 0\n\r5 \r4 \r3 \r2 \r1 ");
    const std::string without = CaptureOutput([] { rvz::ReportGPUMemoryError(0, 0, 2, 5.0, -1, 0, nullptr); });
    EXPECT_EQ(without, "GPU memory allocation failed: out of memory.\nGPU[-1:] memory size: 0\n\r5 \r4 \r3 \r2 \r1 ");
}

TEST(MemoryReporter, DistributedModeAbortsWithMinusOne)
{
    RecordingCom com;
    int code = 0;
    const std::string out = CaptureOutput([&] {
        try {
            rvz::ReportGPUMemoryError(1, 1, 2, 12.5, -1, 3, &com);
        } catch (const AbortCalled& a) {
            code = a.code;
        }
    });
    EXPECT_EQ(out,
              "CPUID:3GPU memory allocation failed: out of memory.\n"
              "GPU memory requirement of this case: 12.50 (MB)\n"
              "GPU[-1:] memory size: 0\n");
    EXPECT_EQ(code, -1);
}

TEST(StatusCheck, AFailedStepIsReportedAtOnceAndItsCodeReturned)
{
    RVZ_REQUIRE_HOST_BACKEND();
#if !RVZGPU_BACKEND_CUDA
    // The second launch of a two-level reduction fails; the operation still
    // runs to its end and returns the status of its check.
    rvz::host::testing::inject_launch_faults(1, cudaErrorLaunchOutOfResources);
    const int n = 1000;
    rvztest::DeviceArray<double> x(std::vector<double>(n, 1.0));
    const rvz::LevelTable t = rvz::MakeLevelTable(n);
    rvztest::DeviceArray<double> buffer(t.total);
    double result = -1.0;
    int status = 0;
    const std::string out =
        CaptureOutput([&] { status = rvz::Reduce(rvz::Combine::Sum, 256, n, x, buffer, t, result, 0); });
    EXPECT_EQ(status, cudaErrorLaunchOutOfResources);
    EXPECT_EQ(out, "GPU[0:host] Reduce failed: " + std::string(cudaGetErrorString(cudaErrorLaunchOutOfResources)) +
                       ".(701)\n\r5 \r4 \r3 \r2 \r1 ");
    EXPECT_EQ(result, 0.0) << "the skipped first level leaves zeros; the collecting pass and the copy still ran";
    rvz::host::testing::clear_faults();
#endif
}

#if !RVZGPU_BACKEND_CUDA
// Each thread writes its block's linear number and its own linear number in
// the block at its element; elements past n stay untouched.
__global__ void Kernel_RecordLaunchIndices(int n, int* out)
{
    const int perBlock = static_cast<int>(blockDim.x * blockDim.y * blockDim.z);
    const int t = static_cast<int>(threadIdx.x + blockDim.x * (threadIdx.y + blockDim.y * threadIdx.z));
    const int b = static_cast<int>(blockIdx.x + gridDim.x * (blockIdx.y + gridDim.y * blockIdx.z));
    const int i = b * perBlock + t;
    if (i < n) out[i] = b * 4096 + t;
}

std::vector<int> RecordedIndices(int n, dim3 grid, dim3 block)
{
    rvztest::DeviceArray<int> out(std::vector<int>(static_cast<size_t>(n) + 1, -1));
    RVZ_LAUNCH(Kernel_RecordLaunchIndices, grid, block, 0, 0)(n, out.get());
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    return out.Download();
}

// The host launcher walks every thread once with its own indices, in the
// vectorised loop of 256-thread blocks, the loop of other one-dimensional
// blocks and the three-dimensional walk, on one thread and in a team.
TEST(HostLauncher, EveryThreadSeesItsOwnLaunchIndices)
{
    const int n = 1000;
    struct Shape {
        dim3 grid, block;
    };
    const Shape shapes[] = {{dim3(4), dim3(256)}, {dim3(10), dim3(100)}, {dim3(4, 2, 2), dim3(8, 4, 2)}};
    for (const Shape& shape : shapes) {
        const int perBlock = static_cast<int>(shape.block.x * shape.block.y * shape.block.z);
        std::vector<int> expected(static_cast<size_t>(n) + 1, -1);
        for (int i = 0; i < n; ++i) expected[i] = i / perBlock * 4096 + i % perBlock;
        const auto results =
            rvztest::ForThreadCounts({1, 2}, [&] { return RecordedIndices(n, shape.grid, shape.block); });
        for (const auto& r : results) EXPECT_EQ(r, expected) << "block of " << perBlock;
    }
}
#endif

}  // namespace
