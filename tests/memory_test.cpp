// Device memory, transfers, streams and the key sort.
#include <algorithm>
#include <climits>
#include <random>

#include "test_support.h"

namespace {

using rvztest::DeviceArray;
using rvztest::Tool;

TEST(Allocation, ZeroCountLeavesThePointerAndNullFreesSucceed)
{
    double* p = reinterpret_cast<double*>(0x1234);
    EXPECT_EQ(Tool().AllocateDeviceMemory(0, p), 0);
    EXPECT_EQ(p, reinterpret_cast<double*>(0x1234));
    stF0_dx_xAvg* r = nullptr;
    EXPECT_EQ(Tool().AllocateDeviceMemory(0, r), 0);
    EXPECT_EQ(r, nullptr);
    double* h = reinterpret_cast<double*>(0x5678);
    EXPECT_EQ(Tool().AllocateHostMemory(0, h), 0);
    EXPECT_EQ(h, reinterpret_cast<double*>(0x5678));
    EXPECT_EQ(Tool().FreeDeviceMemory(static_cast<double*>(nullptr)), 0);
    EXPECT_EQ(Tool().FreeDeviceMemory(static_cast<stF0_dx_xAvg*>(nullptr)), 0);
    EXPECT_EQ(Tool().FreeHostMemory(nullptr), 0);
    EXPECT_EQ(Tool().ZeroDeviceMemory(100, static_cast<int*>(nullptr)), 0);
}

TEST(Allocation, FreshDeviceAndPageLockedMemoryReadsZero)
{
    // Fill and free first, so that a reused block would show old contents.
    {
        DeviceArray<double> dirty(std::vector<double>(4096, 3.5));
    }
    DeviceArray<double> d(4096);
    for (double v : d.Download()) ASSERT_EQ(v, 0.0);
    DeviceArray<bool> b(77);
    for (bool v : b.Download()) ASSERT_FALSE(v);
    double* h = nullptr;
    ASSERT_EQ(Tool().AllocateHostMemory(1000, h), 0);
    ASSERT_NE(h, nullptr);
    EXPECT_TRUE(std::all_of(h, h + 1000, [](double v) { return v == 0.0; }));
    EXPECT_EQ(Tool().FreeHostMemory(h), 0);
}

TEST(Allocation, MoreThanTheDeviceHoldsReturnsTheAllocationCode)
{
    size_t free = 0, total = 0;
    ASSERT_EQ(Tool().GPUMemoryGetInfo(free, total), 0);
    EXPECT_GT(total, 0u);
    EXPECT_LE(free, total);
    // INT_MAX records of 144 bytes: some 309 GB.
    stF0_dx_xAvg* p = nullptr;
    EXPECT_EQ(Tool().AllocateDeviceMemory(INT_MAX, p), cudaErrorMemoryAllocation);
    EXPECT_EQ(p, nullptr);
    (void)Tool().GPUGetLastError();
}

TEST(Allocation, NegativeCountsAreRefusedWithoutTouchingAnything)
{
    double* p = nullptr;
    EXPECT_EQ(Tool().AllocateDeviceMemory(-1, p), cudaErrorInvalidValue);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(Tool().AllocateHostMemory(-5, p), cudaErrorInvalidValue);
    DeviceArray<double> d(std::vector<double>{1, 2, 3});
    std::vector<double> host{9, 9, 9};
    EXPECT_EQ(Tool().DataCopyHost2Device(-3, host.data(), d.get()), cudaErrorInvalidValue);
    EXPECT_EQ(Tool().DataCopyDevice2Host(-3, host.data(), d.get()), cudaErrorInvalidValue);
    EXPECT_EQ(Tool().ZeroDeviceMemory(-3, d.get()), cudaErrorInvalidValue);
    EXPECT_EQ(Tool().DataCopyDevice2DeviceAsync(-1, d.get(), d.get(), nullptr), cudaErrorInvalidValue);
    EXPECT_EQ(d.Download(), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(host, (std::vector<double>{9, 9, 9}));
}

TEST(Copies, RoundTripEveryElementTypeAndZeroCountsTouchNothing)
{
    std::vector<int> ints{1, -2, 3, INT_MAX};
    DeviceArray<int> di(ints);
    DeviceArray<int> di2(4);
    EXPECT_EQ(Tool().DataCopyDevice2Device(4, di2.get(), di.get()), 0);
    EXPECT_EQ(di2.Download(), ints);
    std::vector<float> floats{1.5f, -0.25f};
    DeviceArray<float> df(floats);
    EXPECT_EQ(df.Download(), floats);
    std::vector<double> doubles{1e-300, -0.0, 7.25};
    DeviceArray<double> dd(doubles);
    EXPECT_EQ(dd.Download(), doubles);
    EXPECT_EQ(Tool().ZeroDeviceMemory(2, dd.get()), 0);
    EXPECT_EQ(dd.Download(), (std::vector<double>{0.0, 0.0, 7.25}));

    stF0_dx_xAvg record{};
    for (int c = 0; c < 6; ++c) record.F0[c] = dd.get() + c % 3;
    stF0_dx_xAvg* rD = nullptr;
    ASSERT_EQ(Tool().AllocateDeviceMemory(1, rD), 0);
    EXPECT_EQ(Tool().DataCopyHost2Device(1, &record, rD), 0);
    EXPECT_EQ(Tool().FreeDeviceMemory(rD), 0);

    // Zero counts succeed without looking at the pointers.
    double* bogus = reinterpret_cast<double*>(0x10);
    EXPECT_EQ(Tool().DataCopyHost2Device(0, bogus, bogus), 0);
    EXPECT_EQ(Tool().DataCopyDevice2Host(0, bogus, bogus), 0);
    EXPECT_EQ(Tool().DataCopyDevice2Device(0, bogus, bogus), 0);
    EXPECT_EQ(Tool().DataCopyHost2DeviceAsync(0, bogus, bogus, nullptr), 0);
}

TEST(Streams, AsynchronousCopiesThroughPageLockedBuffersComplete)
{
    cudaStream_t s = nullptr;
    ASSERT_EQ(Tool().CreateCUDAStream(&s), 0);
    const int n = 100000;
    double* h = nullptr;
    ASSERT_EQ(Tool().AllocateHostMemory(n, h), 0);
    for (int i = 0; i < n; ++i) h[i] = i * 0.5;
    DeviceArray<double> a(n), b(n);
    EXPECT_EQ(Tool().DataCopyHost2DeviceAsync(n, h, a.get(), s), 0);
    EXPECT_EQ(Tool().DataCopyDevice2DeviceAsync(n, b.get(), a.get(), s), 0);
    std::fill(h, h + n, -1.0);
    EXPECT_EQ(Tool().SyncCUDAStream(s), 0);
    EXPECT_EQ(Tool().DataCopyDevice2HostAsync(n, h, b.get(), s), 0);
    EXPECT_EQ(Tool().SyncCUDAStream(s), 0);
    for (int i = 0; i < n; i += 997) ASSERT_EQ(h[i], i * 0.5);
    EXPECT_EQ(Tool().FreeHostMemory(h), 0);
    EXPECT_EQ(Tool().DestroyCUDAStream(s), 0);
}

#if !RVZGPU_BACKEND_CUDA
TEST(HostBackend, ForeignPointersAndOverrunsAreRefusedAndNothingLeaks)
{
    const size_t before = rvz::host::testing::live_allocations();
    double local[4] = {};
    EXPECT_EQ(Tool().FreeDeviceMemory(local), cudaErrorInvalidValue);
    {
        DeviceArray<double> d(4);
        std::vector<double> big(8, 1.0);
        EXPECT_EQ(Tool().DataCopyHost2Device(8, big.data(), d.get()), cudaErrorInvalidValue);
        EXPECT_EQ(Tool().DataCopyHost2Device(4, big.data(), d.get()), 0);
    }
    (void)Tool().GPUGetLastError();
    EXPECT_EQ(rvz::host::testing::live_allocations(), before);
}
#endif

TEST(RadixSort, SortsSmallAndLargeKeyArrays)
{
    std::vector<int> small{3, 1, 2};
    DeviceArray<int> keys(small);
    EXPECT_EQ(Tool().Thrust_RadixSort(reinterpret_cast<unsigned*>(keys.get()), 3), 0);
    EXPECT_EQ(keys.Download(), (std::vector<int>{1, 2, 3}));

    const int n = 1000000;
    std::mt19937 gen(42);
    std::vector<unsigned> host(n);
    for (auto& k : host) k = gen();
    std::vector<int> asInt(n);
    std::memcpy(asInt.data(), host.data(), n * sizeof(unsigned));
    DeviceArray<int> big(asInt);
    EXPECT_EQ(Tool().Thrust_RadixSort(reinterpret_cast<unsigned*>(big.get()), n), 0);
    std::sort(host.begin(), host.end());
    const auto sorted = big.Download();
    EXPECT_EQ(std::memcmp(sorted.data(), host.data(), n * sizeof(unsigned)), 0);
    EXPECT_EQ(Tool().Thrust_RadixSort(nullptr, 0), 0);
}

}  // namespace
