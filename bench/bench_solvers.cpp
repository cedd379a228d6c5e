// Sparse products and Krylov iterations on the 3-D seven-point Poisson
// matrix, against their byte models and a device-to-device copy measured in
// the same run.
//   bench_solvers [n ...]   default: 1e5 1e6, and 1e7 when a GPU is present
//
// Byte models (8-byte values, 4-byte indices, every array touched once per
// kernel, x gathered once per row):
//   CSR product  4 (ia) + 12 per entry + 8 (x) + 8 (y) per row
//   ELL product  12 per slot + 8 (x) + 8 (y) per row
//   CG iteration (ELL, plain)    one product + 128 per row: the copy of r,
//                the alpha terms, x, r with its norm, the beta terms, P
//   BiCGSTAB iteration (ELL, plain, the method with messages) two products
//                + 208 per row: the copy of r, two rho terms, the alpha
//                denominator, s with its norm, two updates of x, the omega
//                terms, r with its norm, P
// An iteration's time is the difference between solves of 1 + K and 1
// iterations, divided by K (allocation and the initial residual cancel).
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include "../examples/rvzgpu_solve/model_problems.h"
#include "CRVZGPUtool.h"
#include "CU_CG_CSR.h"
#include "CU_CG_ELL.h"
#include "platform/rvz_platform.h"

namespace {

double median_seconds(int runs, const std::function<void()>& f)
{
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

// Runs f with the library's progress lines sent to /dev/null.
void quietly(const std::function<void()>& f)
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

void row(int n, const char* op, double seconds, double bytes, double copyRate)
{
    std::printf("%-10d %-22s %12.1f %12.2f %10.2f %10.2f\n", n, op, seconds * 1e6, bytes / 1e6, bytes / seconds / 1e9,
                bytes / seconds / copyRate);
    std::fflush(stdout);
}

rvzmodel::CsrMatrix PoissonOfSize(int n)
{
    if (n == 100000) return rvzmodel::Poisson3D(100, 100, 10);
    if (n == 1000000) return rvzmodel::Poisson3D(100, 100, 100);
    if (n == 10000000) return rvzmodel::Poisson3D(250, 200, 200);
    const int g = std::max(2, static_cast<int>(std::cbrt(static_cast<double>(n))));
    return rvzmodel::Poisson3D(g, g, g);
}

template <class T>
T* upload(CRVZGPUtool& tool, std::vector<T> v)
{
    T* p = nullptr;
    if (tool.AllocateDeviceMemory(static_cast<int>(v.size()), p) != 0) {
        std::fprintf(stderr, "allocation of %zu values failed\n", v.size());
        std::exit(1);
    }
    tool.DataCopyHost2Device(static_cast<int>(v.size()), v.data(), p);
    return p;
}

}  // namespace

int main(int argc, char** argv)
{
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    cudaDeviceProp prop{};
    cudaGetDeviceProperties(&prop, 0);
    const bool gpu = std::strcmp(prop.name, "host") != 0;
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(std::atoi(argv[i]));
    if (sizes.empty()) sizes = gpu ? std::vector<int>{100000, 1000000, 10000000} : std::vector<int>{100000, 1000000};

    std::printf("device: %s\n", prop.name);
    std::printf("%-10s %-22s %12s %12s %10s %10s\n", "n", "op", "time [us]", "model [MB]", "GB/s", "of copy");
    for (int requested : sizes) {
        const rvzmodel::CsrMatrix m = PoissonOfSize(requested);
        const int n = m.n;
        const int new_nnu = tool.CalcNewNNU(n);
        std::vector<int> ia(m.ia), ja(m.ja);
        std::vector<double> aa(m.aa);
        const int n1 = n + 1;
        const int ncol = tool.CalcMaxNColumn(n1, ia.data());
        std::vector<int> index(static_cast<size_t>(ncol) * new_nnu);
        std::vector<double> values(index.size());
        tool.ja2indexELL(n, ncol, new_nnu, ia.data(), ja.data(), index.data());
        tool.aa2aaELLd(n, ncol, new_nnu, ia.data(), aa.data(), values.data());

        int* iaD = upload(tool, ia);
        int* jaD = upload(tool, ja);
        double* aaD = upload(tool, aa);
        int* indexD = upload(tool, index);
        double* valuesD = upload(tool, values);
        std::vector<double> ones(static_cast<size_t>(new_nnu), 1.0);
        double* x = upload(tool, ones);
        double* y = upload(tool, ones);
        double* b = upload(tool, ones);
        double* sol = upload(tool, std::vector<double>(static_cast<size_t>(new_nnu), 0.0));
        const int runs = n >= 10000000 ? 7 : 21;

        const double copy = median_seconds(runs, [&] { tool.DataCopyDevice2Device(n, y, x); });
        const double copyRate = 16.0 * n / copy;
        row(n, "d2d copy", copy, 16.0 * n, copyRate);
        const double ellProduct = 12.0 * ncol * new_nnu + 16.0 * n;
        row(n, "SpMV CSR", median_seconds(runs, [&] {
                rvz::CSRProduct(n, iaD, jaD, aaD, x, y, rvz::CSRProductPath::Solver);
            }), 4.0 * n + 12.0 * m.nna() + 16.0 * n, copyRate);
        row(n, "SpMV ELL", median_seconds(runs, [&] {
                rvz::ELLProduct(n, new_nnu, ncol, indexD, valuesD, x, y);
            }), ellProduct, copyRate);

        // Iterations: solves of 1 + K and of 1 iterations, tolerance out of reach.
        const int K = gpu ? 50 : (n >= 1000000 ? 10 : 30);
        double resIn = 0, resOut = 0;
        int iter = 0;
        auto cg = [&](int maxIter) {
            return median_seconds(gpu ? 5 : 3, [&] {
                tool.ZeroDeviceMemory(new_nnu, sol);
                quietly([&] { tool.CG_ELL(n, ncol, indexD, valuesD, b, sol, 1e-300, resIn, resOut, iter, maxIter, 0); });
            });
        };
        row(n, "CG iteration (ELL)", (cg(1 + K) - cg(1)) / K, ellProduct + 128.0 * n, copyRate);
        auto bicg = [&](int maxIter) {
            return median_seconds(gpu ? 5 : 3, [&] {
                tool.ZeroDeviceMemory(new_nnu, sol);
                quietly([&] {
                    tool.BiCGSTAB_ELL(n, ncol, indexD, valuesD, b, sol, 1e-300, resIn, resOut, iter, maxIter, 0);
                });
            });
        };
        row(n, "BiCGSTAB iter. (ELL)", (bicg(1 + K) - bicg(1)) / K, 2 * ellProduct + 208.0 * n, copyRate);

        for (int* p : {iaD, jaD, indexD}) tool.FreeDeviceMemory(p);
        for (double* p : {aaD, valuesD, x, y, b, sol}) tool.FreeDeviceMemory(p);
    }
    return 0;
}
