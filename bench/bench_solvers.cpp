// Sparse products and Krylov iterations on the 3-D seven-point Poisson
// matrix, against their byte models and a device-to-device copy measured in
// the same run.
//   bench_solvers [n ...]   default: 1e5 1e6, and 1e7 when a GPU is present
//
// Byte models (8-byte values, 4-byte indices, every array touched once per
// kernel, x gathered once per row):
//   CSR product  4 (ia) + 12 per entry + 8 (x) + 8 (y) per row
//   ELL product  12 per slot + 8 (x) + 8 (y) per row
//   CG iteration (ELL, plain)    one product + 112 per row: the alpha
//                terms, x, r with its norm, the beta terms, P (r_old and r
//                are exchanged, not copied)
//   BiCGSTAB iteration (ELL, plain, the method with messages) two products
//                + 208 per row: the copy of r, two rho terms, the alpha
//                denominator, s with its norm, two updates of x, the omega
//                terms, r with its norm, P
//   Jacobi CG iteration: + 24 per row (z = d r; z_old and z are exchanged)
//   Jacobi BiCGSTAB iteration: + 48 per row (two passes p^ = d p, s^ = d s)
//   on CSR storage the CSR product replaces the ELL one
// An iteration's time is the difference between solves of 1 + K and 1
// iterations, divided by K (allocation and the initial residual cancel).
// Rates are given as fractions of a copy whose arrays are larger than the
// last-level cache, measured once at the start.
//
// Where Eigen is found, its ConjugateGradient and BiCGSTAB (identity and
// diagonal preconditioner, lower and upper triangle used) run on the same
// matrix in the same process, timed the same way, and a ratio line per
// library method and storage (plain and Jacobi, CSR and ELL) gives library
// time / Eigen time per iteration.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "../examples/rvzgpu_solve/model_problems.h"
#include "CU_CG_CSR.h"
#include "CU_CG_ELL.h"
#include "bench_common.h"
#if RVZGPU_BACKEND_CUDA
#include <cusparse.h>
#endif
#if RVZGPU_BENCH_EIGEN
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>
#endif

using rvzbench::MedianSeconds;
using rvzbench::Quietly;
using rvzbench::Upload;

namespace {

#if RVZGPU_BACKEND_CUDA
// cuSPARSE's general SpMV on the same CSR arrays, y = A x, as the vendor
// reference for the library's CSR product.
class VendorSpMV {
public:
    VendorSpMV(int n, int nna, int* ia, int* ja, double* aa, double* x, double* y)
    {
        cusparseCreate(&handle_);
        cusparseCreateCsr(&a_, n, n, nna, ia, ja, aa, CUSPARSE_INDEX_32I, CUSPARSE_INDEX_32I,
                          CUSPARSE_INDEX_BASE_ZERO, CUDA_R_64F);
        cusparseCreateDnVec(&x_, n, x, CUDA_R_64F);
        cusparseCreateDnVec(&y_, n, y, CUDA_R_64F);
        size_t bytes = 0;
        cusparseSpMV_bufferSize(handle_, CUSPARSE_OPERATION_NON_TRANSPOSE, &one_, a_, x_, &zero_, y_, CUDA_R_64F,
                                CUSPARSE_SPMV_ALG_DEFAULT, &bytes);
        cudaMalloc(&work_, bytes > 0 ? bytes : 1);
    }
    ~VendorSpMV()
    {
        cudaFree(work_);
        cusparseDestroyDnVec(x_);
        cusparseDestroyDnVec(y_);
        cusparseDestroySpMat(a_);
        cusparseDestroy(handle_);
    }
    void operator()()
    {
        cusparseSpMV(handle_, CUSPARSE_OPERATION_NON_TRANSPOSE, &one_, a_, x_, &zero_, y_, CUDA_R_64F,
                     CUSPARSE_SPMV_ALG_DEFAULT, work_);
    }

private:
    cusparseHandle_t handle_ = nullptr;
    cusparseSpMatDescr_t a_ = nullptr;
    cusparseDnVecDescr_t x_ = nullptr, y_ = nullptr;
    void* work_ = nullptr;
    double one_ = 1.0, zero_ = 0.0;
};
#endif

rvzmodel::CsrMatrix PoissonOfSize(int n)
{
    if (n == 100000) return rvzmodel::Poisson3D(100, 100, 10);
    if (n == 1000000) return rvzmodel::Poisson3D(100, 100, 100);
    if (n == 10000000) return rvzmodel::Poisson3D(250, 200, 200);
    const int g = std::max(2, static_cast<int>(std::cbrt(static_cast<double>(n))));
    return rvzmodel::Poisson3D(g, g, g);
}

#if RVZGPU_BENCH_EIGEN
using EigenMatrix = Eigen::SparseMatrix<double, Eigen::RowMajor, int>;

EigenMatrix ToEigen(const rvzmodel::CsrMatrix& m)
{
    const Eigen::Map<const EigenMatrix> view(m.n, m.n, m.nna(), m.ia.data(), m.ja.data(), m.aa.data());
    return EigenMatrix(view);
}

// Seconds per iteration of an Eigen solver on A x = 1 from x = 0, the
// tolerance out of reach: solves of 1 + K and of 1 iterations, as for the
// library's solvers.
template <class Solver>
double EigenIterationSeconds(const EigenMatrix& a, int K, int runs)
{
    Solver solver;
    solver.setTolerance(1e-300);
    solver.compute(a);
    const Eigen::VectorXd b = Eigen::VectorXd::Ones(a.rows());
    Eigen::VectorXd x(a.rows());
    auto solve = [&](int maxIter) {
        solver.setMaxIterations(maxIter);
        return MedianSeconds(runs, [&] { x = solver.solve(b); });
    };
    return (solve(1 + K) - solve(1)) / K;
}

template <class Preconditioner>
using EigenCG = Eigen::ConjugateGradient<EigenMatrix, Eigen::Lower | Eigen::Upper, Preconditioner>;
template <class Preconditioner>
using EigenBiCG = Eigen::BiCGSTAB<EigenMatrix, Preconditioner>;

void RatioLine(int n, const char* what, double library, double eigen)
{
    std::printf("%-10d %-22s %12.2f  (library time / Eigen time per iteration)\n", n, what, library / eigen);
    std::fflush(stdout);
}
#endif

}  // namespace

int main(int argc, char** argv)
{
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) return 1;
    cudaDeviceProp prop{};
    cudaGetDeviceProperties(&prop, 0);
    const bool gpu = std::strcmp(prop.name, "host") != 0;
    const std::vector<int> sizes = rvzbench::SizesFromArguments(
        argc, argv, gpu ? std::vector<int>{100000, 1000000, 10000000} : std::vector<int>{100000, 1000000});

    std::printf("device: %s\n", prop.name);
    rvzbench::RateTable table("n", 22);
    table.StreamingCopyRow(tool, gpu ? 21 : 7);
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

        int* iaD = Upload(tool, ia);
        int* jaD = Upload(tool, ja);
        double* aaD = Upload(tool, aa);
        int* indexD = Upload(tool, index);
        double* valuesD = Upload(tool, values);
        std::vector<double> ones(static_cast<size_t>(new_nnu), 1.0);
        double* x = Upload(tool, ones);
        double* y = Upload(tool, ones);
        double* b = Upload(tool, ones);
        double* sol = Upload(tool, std::vector<double>(static_cast<size_t>(new_nnu), 0.0));
        const int runs = n >= 10000000 ? 7 : 21;

        const double ellProduct = 12.0 * ncol * new_nnu + 16.0 * n;
        const double csrBytes = 4.0 * n + 12.0 * m.nna() + 16.0 * n;
        const double csrSeconds = MedianSeconds(runs, [&] {
            rvz::CSRProduct(n, iaD, jaD, aaD, x, y, rvz::CSRProductPath::Solver);
        });
        table.Row(n, "SpMV CSR", csrSeconds, csrBytes);
#if RVZGPU_BACKEND_CUDA
        {
            VendorSpMV vendor(n, m.nna(), iaD, jaD, aaD, x, y);
            const double vendorSeconds = MedianSeconds(runs, [&] { vendor(); });
            table.Row(n, "cuSPARSE SpMV CSR", vendorSeconds, csrBytes);
            std::printf("%-10d %-22s %12.2f  (library time / cuSPARSE time)\n", n, "CSR ratio",
                        csrSeconds / vendorSeconds);
        }
#endif
        table.Row(n, "SpMV ELL", MedianSeconds(runs, [&] {
                rvz::ELLProduct(n, new_nnu, ncol, indexD, valuesD, x, y);
            }), ellProduct);

        // Iterations: solves of 1 + K and of 1 iterations, tolerance out of reach.
        const int K = gpu ? 50 : (n >= 1000000 ? 10 : 30);
        const int solveRuns = gpu ? 5 : 3;
        double resIn = 0, resOut = 0;
        int iter = 0;
        // Seconds per iteration of a library solve(maxIter, preconditioner).
        auto perIteration = [&](auto solve, int preconditioner) {
            auto timed = [&](int maxIter) {
                return MedianSeconds(solveRuns, [&] {
                    tool.ZeroDeviceMemory(new_nnu, sol);
                    Quietly([&] { solve(maxIter, preconditioner); });
                });
            };
            return (timed(1 + K) - timed(1)) / K;
        };
        auto cgEll = [&](int maxIter, int p) {
            tool.CG_ELL(n, ncol, indexD, valuesD, b, sol, 1e-300, resIn, resOut, iter, maxIter, p);
        };
        auto cgCsr = [&](int maxIter, int p) {
            tool.CG_CSR(n, m.nna(), iaD, jaD, aaD, b, sol, 1e-300, resIn, resOut, iter, maxIter, p);
        };
        auto bicgEll = [&](int maxIter, int p) {
            tool.BiCGSTAB_ELL(n, ncol, indexD, valuesD, b, sol, 1e-300, resIn, resOut, iter, maxIter, p);
        };
        auto bicgCsr = [&](int maxIter, int p) {
            tool.BiCGSTAB_CSR(n, m.nna(), iaD, jaD, aaD, b, sol, 1e-300, resIn, resOut, iter, maxIter, p);
        };
        const double cgBytes = ellProduct + 112.0 * n;
        const double bicgBytes = 2 * ellProduct + 208.0 * n;
        const double cgEllPlain = perIteration(cgEll, 0);
        table.Row(n, "CG iteration (ELL)", cgEllPlain, cgBytes);
        const double cgEllJacobi = perIteration(cgEll, 1);
        table.Row(n, "JCG iteration (ELL)", cgEllJacobi, cgBytes + 24.0 * n);
        const double cgCsrPlain = perIteration(cgCsr, 0);
        table.Row(n, "CG iteration (CSR)", cgCsrPlain, cgBytes - ellProduct + csrBytes);
        const double cgCsrJacobi = perIteration(cgCsr, 1);
        table.Row(n, "JCG iteration (CSR)", cgCsrJacobi, cgBytes + 24.0 * n - ellProduct + csrBytes);
        const double bicgEllPlain = perIteration(bicgEll, 0);
        table.Row(n, "BiCGSTAB iter. (ELL)", bicgEllPlain, bicgBytes);
        const double bicgEllJacobi = perIteration(bicgEll, 1);
        table.Row(n, "BiJCGSTAB iter. (ELL)", bicgEllJacobi, bicgBytes + 48.0 * n);
        const double bicgCsrPlain = perIteration(bicgCsr, 0);
        table.Row(n, "BiCGSTAB iter. (CSR)", bicgCsrPlain, bicgBytes - 2 * ellProduct + 2 * csrBytes);
        const double bicgCsrJacobi = perIteration(bicgCsr, 1);
        table.Row(n, "BiJCGSTAB iter. (CSR)", bicgCsrJacobi, bicgBytes - 2 * ellProduct + 2 * csrBytes + 48.0 * n);
#if RVZGPU_BENCH_EIGEN
        {
            const EigenMatrix a = ToEigen(m);
            const double eigenCg = EigenIterationSeconds<EigenCG<Eigen::IdentityPreconditioner>>(a, K, solveRuns);
            const double eigenJcg = EigenIterationSeconds<EigenCG<Eigen::DiagonalPreconditioner<double>>>(a, K, solveRuns);
            const double eigenBicg = EigenIterationSeconds<EigenBiCG<Eigen::IdentityPreconditioner>>(a, K, solveRuns);
            const double eigenJbicg =
                EigenIterationSeconds<EigenBiCG<Eigen::DiagonalPreconditioner<double>>>(a, K, solveRuns);
            table.Row(n, "Eigen CG iteration", eigenCg, csrBytes + 112.0 * n);
            table.Row(n, "Eigen JCG iteration", eigenJcg, csrBytes + 136.0 * n);
            table.Row(n, "Eigen BiCGSTAB iter.", eigenBicg, 2 * csrBytes + 208.0 * n);
            table.Row(n, "Eigen BiJCGSTAB iter.", eigenJbicg, 2 * csrBytes + 256.0 * n);
            RatioLine(n, "CG (ELL) ratio", cgEllPlain, eigenCg);
            RatioLine(n, "JCG (ELL) ratio", cgEllJacobi, eigenJcg);
            RatioLine(n, "CG (CSR) ratio", cgCsrPlain, eigenCg);
            RatioLine(n, "JCG (CSR) ratio", cgCsrJacobi, eigenJcg);
            RatioLine(n, "BiCGSTAB (ELL) ratio", bicgEllPlain, eigenBicg);
            RatioLine(n, "BiJCGSTAB (ELL) ratio", bicgEllJacobi, eigenJbicg);
            RatioLine(n, "BiCGSTAB (CSR) ratio", bicgCsrPlain, eigenBicg);
            RatioLine(n, "BiJCGSTAB (CSR) ratio", bicgCsrJacobi, eigenJbicg);
        }
#endif

        for (int* p : {iaD, jaD, indexD}) tool.FreeDeviceMemory(p);
        for (double* p : {aaD, valuesD, x, y, b, sol}) tool.FreeDeviceMemory(p);
    }
    return 0;
}
