// Helpers shared by the test programs: device arrays that free themselves,
// captured standard output, fault injection and OpenMP thread counts.
#pragma once

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "CU_checkError.h"
#include "platform/rvz_platform.h"
#if !RVZGPU_BACKEND_CUDA
#include "platform/host_test_hooks.h"
#endif

namespace rvztest {

// One facade per test program, with its device selected.
inline CRVZGPUtool& Tool()
{
    static CRVZGPUtool* tool = [] {
        auto* t = new CRVZGPUtool();
        t->SetDeviceToUse(0);
        return t;
    }();
    return *tool;
}

// A device array owned by the test, filled from and read back to vectors.
// The level table GetSizeOfBlock gives for n elements: what every
// reduction and level-driven operation of the facade takes. For n = 0 the
// facade refuses a table and this one stays empty (no levels), as an
// operation on an empty list receives it.
struct LevelPlan {
    int total = 0, nLevels = 0;
    int count[16] = {}, size[16] = {}, offset[16] = {};
    explicit LevelPlan(int n)
    {
        const int status = Tool().GetSizeOfBlock(n, total, nLevels, count, size, offset);
        if (n > 0) EXPECT_EQ(status, 0);
    }
};

template <class T>
class DeviceArray {
public:
    explicit DeviceArray(int n) : n_(n)
    {
        if (n > 0) EXPECT_EQ(Tool().AllocateDeviceMemory(n, p_), 0);
    }
    explicit DeviceArray(const std::vector<T>& values) : DeviceArray(static_cast<int>(values.size()))
    {
        Upload(values);
    }
    ~DeviceArray()
    {
        if (p_ != nullptr) Tool().FreeDeviceMemory(p_);
    }
    DeviceArray(const DeviceArray&) = delete;
    DeviceArray& operator=(const DeviceArray&) = delete;

    T* get() const { return p_; }
    operator T*() const { return p_; }  // NOLINT: passed straight to facade methods
    int size() const { return n_; }

    void Upload(const std::vector<T>& values)
    {
        ASSERT_LE(values.size(), static_cast<size_t>(n_));
        // A plain buffer: std::vector<bool> has no contiguous storage.
        std::unique_ptr<T[]> copy(new T[values.size() + 1]);
        std::copy(values.begin(), values.end(), copy.get());
        ASSERT_EQ(Tool().DataCopyHost2Device(static_cast<int>(values.size()), copy.get(), p_), 0);
    }
    std::vector<T> Download() const
    {
        std::unique_ptr<T[]> buffer(new T[static_cast<size_t>(n_) + 1]);
        if (n_ > 0) EXPECT_EQ(Tool().DataCopyDevice2Host(n_, buffer.get(), p_), 0);
        return std::vector<T>(buffer.get(), buffer.get() + n_);
    }

private:
    int n_ = 0;
    T* p_ = nullptr;
};

// Runs `body` and returns what it printed on standard output.
template <class F>
std::string CaptureOutput(F&& body)
{
    std::fflush(stdout);
    ::testing::internal::CaptureStdout();
    body();
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
}

// Runs `body` once for each OpenMP thread count and returns the results.
// On the host backend every launch of more than one block then uses a
// team, however small the test's sizes.
template <class F>
auto ForThreadCounts(const std::vector<int>& counts, F&& body)
{
    const int saved = omp_get_max_threads();
#if !RVZGPU_BACKEND_CUDA
    const long long savedLimit = rvz::host::serial_launch_limit();
    rvz::host::testing::set_serial_launch_limit(0);
#endif
    std::vector<decltype(body())> results;
    for (int c : counts) {
        omp_set_num_threads(c);
        results.push_back(body());
    }
    omp_set_num_threads(saved);
#if !RVZGPU_BACKEND_CUDA
    rvz::host::testing::set_serial_launch_limit(savedLimit);
#endif
    return results;
}

inline std::vector<double> RandomVector(size_t n, unsigned seed, double lo = -1.0, double hi = 1.0)
{
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> dist(lo, hi);
    std::vector<double> v(n);
    for (auto& x : v) x = dist(gen);
    return v;
}

// Bitwise equality of doubles (distinguishes -0.0 and NaN payloads).
inline bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }

// Machines lent for GPU runs have no Gmsh and no package manager;
// scripts/gpu-check.sh sets RVZGPU_TEST_WITHOUT_GMSH there, and the checks
// that mesh with Gmsh skip, saying so. Everywhere else Gmsh is required.
inline bool GmshWaived() { return std::getenv("RVZGPU_TEST_WITHOUT_GMSH") != nullptr; }

#if !RVZGPU_BACKEND_CUDA
// Fault injection exists only on the host backend.
#define RVZ_REQUIRE_HOST_BACKEND() (void)0
#else
#define RVZ_REQUIRE_HOST_BACKEND() GTEST_SKIP() << "fault injection needs the host backend"
#endif

}  // namespace rvztest
