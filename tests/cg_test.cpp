// Conjugate gradient, plain and Jacobi, on CSR and ELL storage.
#include <Eigen/IterativeLinearSolvers>

#include <cmath>
#include <limits>

#include "krylov_test_support.h"

using namespace rvztest;

namespace {

// Smallest eigenvalue of the seven-point operator -div(K grad) on an
// n x n x n grid with Dirichlet boundaries: sum over the axes of
// 4 k sin^2(pi / (2 (n + 1))).
double SmallestEigenvalue(int n, double kx, double ky, double kz)
{
    const double s = std::sin(M_PI / (2.0 * (n + 1)));
    return 4.0 * (kx + ky + kz) * s * s;
}

struct SpdCase {
    const char* name;
    CsrMatrix matrix;
    double lambdaMin;
};

std::vector<SpdCase> SpdCases()
{
    const int n = 16;  // 4096 rows
    return {{"poisson", rvzmodel::Poisson3D(n, n, n), SmallestEigenvalue(n, 1, 1, 1)},
            {"anisotropic", rvzmodel::AnisotropicDiffusion3D(n, n, n, 1.0, 0.1, 20.0),
             SmallestEigenvalue(n, 1.0, 0.1, 20.0)}};
}

std::vector<double> Zeros(int n) { return std::vector<double>(static_cast<size_t>(n), 0.0); }

template <class Preconditioner>
int EigenIterations(const CsrMatrix& m, const std::vector<double>& b, double tol)
{
    Eigen::ConjugateGradient<Eigen::SparseMatrix<double>, Eigen::Lower | Eigen::Upper, Preconditioner> cg;
    // Eigen stops when ||r||^2 < tol^2 ||b||^2; from x0 = 0 that is our test
    // ||r|| <= |tol| ||r0|| up to the strict inequality.
    cg.setTolerance(tol);
    cg.setMaxIterations(100000);
    const Eigen::SparseMatrix<double> A = ToEigen(m);
    cg.compute(A);
    Eigen::VectorXd x = cg.solve(AsEigen(b));
    return static_cast<int>(cg.iterations());
}

}  // namespace

TEST(CG, SolutionsMatchDirectSolveAndEigenIterationCounts)
{
    const double tol = 1e-8;
    for (const SpdCase& c : SpdCases()) {
        const CsrMatrix& m = c.matrix;
        const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 5, 0.0, 1.0);
        const std::vector<double> direct = DirectSolve(m, b);
        for (int type : {0, 1}) {
            SCOPED_TRACE(std::string(c.name) + (type ? " jacobi" : " plain"));
            const SolveResult r = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), tol, 10000, type);
            ASSERT_EQ(r.status, 0);
            EXPECT_NEAR(r.resIn, rvzmodel::Norm(b), 1e-14 * r.resIn);
            // The recurrence residual tracks the true one closely here.
            const double trueResidual = TrueResidual(m, b, r.x);
            EXPECT_LE(trueResidual, 1.01 * tol * r.resIn);
            EXPECT_NEAR(trueResidual, r.resOut, 1e-3 * r.resOut + 1e-12);
            // ||x - x*|| <= ||A^-1|| ||b - A x|| = ||r|| / lambda_min.
            std::vector<double> error(direct.size());
            for (size_t i = 0; i < error.size(); ++i) error[i] = r.x[i] - direct[i];
            EXPECT_LE(rvzmodel::Norm(error), 1.01 * trueResidual / c.lambdaMin);

            const int eigen = type ? EigenIterations<Eigen::DiagonalPreconditioner<double>>(m, b, tol)
                                   : EigenIterations<Eigen::IdentityPreconditioner>(m, b, tol);
            EXPECT_NEAR(r.iter, eigen, 1);
        }
    }
}

TEST(CG, CsrAndEllIterateBitwiseAlikeForAnyThreadCount)
{
    const CsrMatrix m = rvzmodel::AnisotropicDiffusion3D(12, 11, 10, 1.0, 3.0, 0.5);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 8);
    const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 9);
    for (int type : {0, 1}) {
        auto solveBoth = [&] {
            return std::make_pair(Solve(Method::CG, Storage::CSR, m, b, x0, 1e-9, 500, type),
                                  Solve(Method::CG, Storage::ELL, m, b, x0, 1e-9, 500, type));
        };
        const auto runs = ForThreadCounts({1, 2, 4}, solveBoth);
        const SolveResult& csr = runs[0].first;
        EXPECT_GT(csr.iter, 10);
        for (const auto& run : runs)
            for (const SolveResult* r : {&run.first, &run.second}) {
                EXPECT_TRUE(SameBits(r->x, csr.x));
                EXPECT_TRUE(SameBits(r->resOut, csr.resOut));
                EXPECT_TRUE(SameBits(r->resIn, csr.resIn));
                EXPECT_EQ(r->iter, csr.iter);
            }
    }
}

TEST(CG, IterationLimitIsTestedAfterTheFirstIteration)
{
    const CsrMatrix m = rvzmodel::Poisson3D(8, 8, 8);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 3);
    for (int maxIter : {0, 1}) {
        const SolveResult r = Solve(Method::CG, Storage::ELL, m, b, Zeros(m.n), 1e-12, maxIter, 0);
        EXPECT_EQ(r.iter, 1);
        EXPECT_LT(r.resOut, r.resIn);
    }
    // Even an initial guess already within the tolerance gets one iteration.
    const SolveResult r = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), 2.0, 100, 1);
    EXPECT_EQ(r.iter, 1);
}

TEST(CG, DiagonalSystemsConvergeInOneIteration)
{
    // Powers of two: the reciprocals and every step are exact.
    CsrMatrix m;
    m.n = 300;
    for (int i = 0; i <= m.n; ++i) m.ia.push_back(i);
    for (int i = 0; i < m.n; ++i) m.ja.push_back(i), m.aa.push_back(std::ldexp(1.0, i % 7 - 3));
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 4);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        const SolveResult jacobi = Solve(Method::CG, storage, m, b, Zeros(m.n), 1e-12, 50, 1);
        EXPECT_EQ(jacobi.iter, 1);
        EXPECT_EQ(jacobi.resOut, 0.0);
        for (int i = 0; i < m.n; ++i) EXPECT_EQ(jacobi.x[i], b[i] / m.aa[i]);
    }
    // Without a preconditioner one iteration suffices for a multiple of I.
    for (double& a : m.aa) a = 4.0;
    const SolveResult plain = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), 1e-12, 50, 0);
    EXPECT_EQ(plain.iter, 1);
    EXPECT_EQ(plain.resOut, 0.0);
}

TEST(CG, PrintedLinesAndTheExactInitialGuess)
{
    // 1000 rows, 7 slots: (12 * 7 + 56) * 1024 bytes = 0.13671875 MB.
    const CsrMatrix m = rvzmodel::Poisson3D(10, 10, 10);
    const std::vector<double> b = RandomVector(1000, 6);
    const SolveResult ell = Solve(Method::CG, Storage::ELL, m, b, Zeros(m.n), 1e-6, 100, 0);
    EXPECT_EQ(ell.out, "CUDA_CGELL: nnu=1000, new_nnu=1024, NColumnPerRow=7\nRequiredGPUMemoryInMB=1.367188e-01\n" +
                           Format("\n\niter=%d, resIn=%e, resOut=%e\n", ell.iter, ell.resIn, ell.resOut));
    const SolveResult jell = Solve(Method::CG, Storage::ELL, m, b, Zeros(m.n), 1e-6, 100, 1);
    // (7 + 6) * 1024 * 12 bytes.
    EXPECT_EQ(jell.out.substr(0, jell.out.find("\n\n")),
              "CUDA_JCGELL: nnu=1000, new_nnu=1024, NColumnPerRow=7\nRequiredGPUMemoryInMB=1.523438e-01");
    const SolveResult csr = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), 1e-6, 100, 1);
    EXPECT_EQ(csr.out, Format("CUDA_JCGCSR: nnu=1000, nna=%d\n", m.nna()) +
                           Format("\n\niter=%d, resIn=%e, resOut=%e\n", csr.iter, csr.resIn, csr.resOut));

    // x0 already exact: no 0/0 step, the solution is left as it was.
    const std::vector<double> x = RandomVector(1000, 7);
    const SolveResult exact = Solve(Method::CG, Storage::CSR, m, rvzmodel::Multiply(m, x), x, 1e-6, 100, 0);
    EXPECT_EQ(exact.status, 0);
    EXPECT_EQ(exact.resIn, 0.0);
    EXPECT_EQ(exact.resOut, 0.0);
    EXPECT_EQ(exact.iter, 0);
    EXPECT_TRUE(SameBits(exact.x, x));
}

TEST(CG, UnknownPreconditionerDoesNothing)
{
    const CsrMatrix m = rvzmodel::Poisson3D(4, 4, 4);
    const std::vector<double> x0 = RandomVector(64, 2);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        const SolveResult r = Solve(Method::CG, storage, m, RandomVector(64, 1), x0, 1e-6, 10, 2);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.iter, -7);
        EXPECT_TRUE(SameBits(r.x, x0));
    }
}

TEST(CG, ZeroDiagonalWithJacobiGivesInfinitiesNotACrash)
{
    CsrMatrix m = rvzmodel::Poisson3D(6, 6, 6);
    m.aa[static_cast<size_t>(m.ia[100])] = 0.0;
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 3);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        const SolveResult r = Solve(Method::CG, storage, m, b, Zeros(m.n), 1e-8, 100, 1);
        EXPECT_EQ(r.status, 0);
        // d = 1/0 = inf makes the step NaN, and a NaN residual ends the loop.
        EXPECT_EQ(r.iter, 1);
        EXPECT_TRUE(std::isnan(r.resOut));
    }
}

#if !RVZGPU_BACKEND_CUDA
TEST(CG, AllocationAndKernelFailuresAreReported)
{
    namespace hooks = rvz::host::testing;
    const CsrMatrix m = rvzmodel::Poisson3D(10, 10, 10);
    const std::vector<double> b = RandomVector(1000, 6);
    const size_t live = hooks::live_allocations();
    cudaDeviceProp prop{};
    cudaGetDeviceProperties(&prop, 0);
    const std::string memoryLines =
        Format("GPU memory allocation failed: %s.\n", rvz::PlatformErrorText(cudaErrorMemoryAllocation));
    const std::string sizeLine =
        Format("GPU[0:%s] memory size: %lu\n", DeviceName().c_str(), static_cast<unsigned long>(prop.totalGlobalMem >> 20));

    // ELL: the seventh work array fails (after the test's own 4 arrays).
    hooks::inject_alloc_faults(1, cudaErrorMemoryAllocation, 4 + 6);
    SolveResult ell = Solve(Method::CG, Storage::ELL, m, b, Zeros(m.n), 1e-6, 100, 0);
    hooks::clear_faults();
    EXPECT_EQ(ell.status, cudaErrorMemoryAllocation);
    EXPECT_EQ(ell.out, "CUDA_CGELL: nnu=1000, new_nnu=1024, NColumnPerRow=7\nRequiredGPUMemoryInMB=1.367188e-01\n" +
                           memoryLines + "GPU memory requirement of this case: 0.14 (MB)\n" + sizeLine + Countdown());
    EXPECT_EQ(ell.resOut, -1.0);
    EXPECT_EQ(ell.iter, -7);
    EXPECT_EQ(hooks::live_allocations(), live);

    // CSR with Jacobi: the last work array fails; no requirement line.
    hooks::inject_alloc_faults(1, cudaErrorMemoryAllocation, 5 + 11);
    SolveResult csr = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), 1e-6, 100, 1);
    hooks::clear_faults();
    EXPECT_EQ(csr.status, cudaErrorMemoryAllocation);
    EXPECT_EQ(csr.out, Format("CUDA_JCGCSR: nnu=1000, nna=%d\n", m.nna()) + memoryLines + sizeLine + Countdown());
    EXPECT_EQ(hooks::live_allocations(), live);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);

    // A failed launch inside the loop (the first update of x, after the
    // residual, its collect, the product, the alpha terms and their collect)
    // is reported once, after the loop.
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 5);
    SolveResult failed = Solve(Method::CG, Storage::CSR, m, b, Zeros(m.n), 1e-6, 3, 0);
    hooks::clear_faults();
    EXPECT_EQ(failed.status, cudaErrorLaunchFailure);
    EXPECT_EQ(failed.iter, 3);
    EXPECT_EQ(failed.out, Format("CUDA_CGCSR: nnu=1000, nna=%d\n", m.nna()) +
                              Format("\n\niter=%d, resIn=%e, resOut=%e\n", failed.iter, failed.resIn, failed.resOut) +
                              Format("GPU[0:%s] Computing failed: %s.(%d)\n", DeviceName().c_str(),
                                     rvz::PlatformErrorText(cudaErrorLaunchFailure), int(cudaErrorLaunchFailure)) +
                              Countdown());
    EXPECT_EQ(hooks::live_allocations(), live);
}
#endif
