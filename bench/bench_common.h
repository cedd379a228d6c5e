// Pieces every benchmark program shares: median timing, silencing the
// library's progress lines, the result table with its rate against a
// device-to-device copy, argument sizes and uploads.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "CRVZGPUtool.h"
#include "platform/rvz_platform.h"

namespace rvzbench {

// Median seconds of `runs` timed calls of f. Two untimed calls first pay
// for first touches and caches; every timed call ends with a device
// synchronisation so that queued launches are counted.
inline double MedianSeconds(int runs, const std::function<void()>& f)
{
    f();
    f();
    cudaDeviceSynchronize();
    std::vector<double> t;
    for (int r = 0; r < runs; ++r) {
        const auto a = std::chrono::steady_clock::now();
        f();
        cudaDeviceSynchronize();
        t.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - a).count());
    }
    std::sort(t.begin(), t.end());
    return t[t.size() / 2];
}

// Runs f with standard output sent to /dev/null (the solvers print a line
// per call, which would both clutter the table and cost time).
inline void Quietly(const std::function<void()>& f)
{
    std::fflush(stdout);
    const int saved = dup(1);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    f();
    std::fflush(stdout);
    dup2(saved, 1);
    close(null);
    close(saved);
}

// Doubles per array of a copy whose two arrays together are at least twice
// the last-level cache, and at least n: a copy that streams from memory is
// the yardstick of kernels that do, one that fits the cache is not.
inline int StreamingCopyCount(int n)
{
    long long cacheBytes = 0;
#if RVZGPU_BACKEND_CUDA
    int l2 = 0;
    if (cudaDeviceGetAttribute(&l2, cudaDevAttrL2CacheSize, 0) == cudaSuccess) cacheBytes = l2;
#else
    cacheBytes = sysconf(_SC_LEVEL3_CACHE_SIZE);
    if (cacheBytes <= 0) cacheBytes = sysconf(_SC_LEVEL2_CACHE_SIZE);
#endif
    if (cacheBytes <= 0) cacheBytes = 64ll << 20;
    return static_cast<int>(std::max<long long>(n, cacheBytes / static_cast<long long>(sizeof(double))));
}

// A positive whole number from the command line; anything else (a flag such
// as --help, zero, a typo) prints the program's usage and ends it.
inline int PositiveArgument(const char* text, const char* program, const char* usage)
{
    char* end = nullptr;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || v <= 0 || v > 2147483647L) {
        std::fprintf(stderr, "%s: '%s' is not a positive size\nusage: %s %s\n", program, text, program, usage);
        std::exit(2);
    }
    return static_cast<int>(v);
}

// The sizes named on the command line, or `defaults` when none is.
inline std::vector<int> SizesFromArguments(int argc, char** argv, std::vector<int> defaults)
{
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(PositiveArgument(argv[i], argv[0], "[size ...]"));
    return sizes.empty() ? defaults : sizes;
}

// A device copy of v; a failed allocation ends the program (a benchmark
// on a partial set of arrays would time nonsense).
template <class T>
T* Upload(CRVZGPUtool& tool, std::vector<T> v)
{
    T* p = nullptr;
    if (tool.AllocateDeviceMemory(static_cast<int>(v.size()), p) != 0) {
        std::fprintf(stderr, "allocation of %zu values failed\n", v.size());
        std::exit(1);
    }
    tool.DataCopyHost2Device(static_cast<int>(v.size()), v.data(), p);
    return p;
}

// Rows of size, operation, median time, bytes of the model, achieved rate
// and that rate as a fraction of the device-to-device copy rate measured
// first in the same run (the copy is the attainable bandwidth).
class RateTable {
public:
    RateTable(const char* sizeLabel, int opWidth) : opWidth_(opWidth)
    {
        std::printf("%-10s %-*s %12s %12s %10s %10s\n", sizeLabel, opWidth_, "op", "time [us]", "model [MB]", "GB/s",
                    "of copy");
    }

    // Times a copy of `count` doubles (read and written: 16 bytes each),
    // prints its row and makes its rate the reference of later rows.
    void CopyRow(CRVZGPUtool& tool, int runs, int size, int count, double* dst, double* src)
    {
        const double seconds = MedianSeconds(runs, [&] { tool.DataCopyDevice2Device(count, dst, src); });
        copyRate_ = 16.0 * count / seconds;
        Row(size, "d2d copy", seconds, 16.0 * count);
    }

    // The same on arrays of its own of StreamingCopyCount(0) doubles: the
    // memory bandwidth, measured once for all later rows.
    void StreamingCopyRow(CRVZGPUtool& tool, int runs)
    {
        const int count = StreamingCopyCount(0);
        double* src = Upload(tool, std::vector<double>(static_cast<size_t>(count), 1.0));
        double* dst = Upload(tool, std::vector<double>(static_cast<size_t>(count), 0.0));
        CopyRow(tool, runs, count, count, dst, src);
        tool.FreeDeviceMemory(src);
        tool.FreeDeviceMemory(dst);
    }

    void Row(int size, const char* op, double seconds, double bytes) const
    {
        std::printf("%-10d %-*s %12.1f %12.2f %10.2f %10.2f\n", size, opWidth_, op, seconds * 1e6, bytes / 1e6,
                    bytes / seconds / 1e9, bytes / seconds / copyRate_);
        std::fflush(stdout);
    }

private:
    int opWidth_;
    double copyRate_ = 0.0;
};

}  // namespace rvzbench
