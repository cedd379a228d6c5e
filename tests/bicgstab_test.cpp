// BiCGSTAB: the plain and Jacobi drivers with their two guard schemes.
#include <cmath>

#include "krylov_test_support.h"

using namespace rvztest;

namespace {

std::vector<double> Zeros(int n) { return std::vector<double>(static_cast<size_t>(n), 0.0); }

// Upwind convection-diffusion and anisotropic diffusion, a few thousand rows.
std::vector<std::pair<const char*, CsrMatrix>> Cases()
{
    return {{"convection", rvzmodel::ConvectionDiffusion3D(16, 16, 12, 4.0, 1.0, 0.5)},
            {"anisotropic", rvzmodel::AnisotropicDiffusion3D(16, 16, 12, 1.0, 0.2, 5.0)},
            {"poisson", rvzmodel::Poisson3D(16, 16, 12)}};
}

struct Driver {
    const char* name;
    Method method;
    Storage storage;
    int type;
};

const Driver kDrivers[] = {{"csr plain", Method::BiCGSTAB, Storage::CSR, 0},
                           {"csr jacobi", Method::BiCGSTAB, Storage::CSR, 1},
                           {"ell plain", Method::BiCGSTAB, Storage::ELL, 0},
                           {"ell jacobi", Method::BiCGSTAB, Storage::ELL, 1},
                           {"caller storage", Method::BiCGSTABCallerStorage, Storage::ELL, 1}};

// Diagonal with powers of two: reciprocals and Jacobi steps are exact.
CsrMatrix Diagonal(int n)
{
    CsrMatrix m;
    m.n = n;
    for (int i = 0; i <= n; ++i) m.ia.push_back(i);
    for (int i = 0; i < n; ++i) m.ja.push_back(i), m.aa.push_back(std::ldexp(1.0, i % 5 - 2));
    return m;
}

// The method written out on Eigen vectors with the stopping rules of each
// guard scheme: A (stop on |rho| < 1e-99, on ||s|| < |tol|, or when the
// residual reaches |tol| times the initial one) and B (stop on an exact
// zero, 1e-30 in the denominators, reference residual after the first
// iteration, iter = the stopping iteration). Right Jacobi preconditioning
// with the inverse diagonal.
struct Reference {
    int iter = 0;
    double resOut = 0.0;
};

Reference ReferenceBiCGSTAB(const CsrMatrix& m, const std::vector<double>& bv, const std::vector<double>& x0,
                            double tol, int maxIter, bool jacobi, bool schemeA)
{
    using Vec = Eigen::VectorXd;
    const Eigen::SparseMatrix<double> A = ToEigen(m);
    const Vec b = AsEigen(bv);
    Vec x = AsEigen(x0), d = Vec::Ones(m.n);
    if (jacobi) d = A.diagonal().cwiseInverse();
    Vec r = b - A * x, rHat = r, P = r, v = Vec::Zero(m.n);
    Reference out;
    double tolAbs = std::fabs(tol) * r.norm(), rhoPrev = 0.0, alpha = 0.0, omega = 0.0;
    for (int i = 1;; ++i) {
        const double rho = r.dot(rHat);
        if (schemeA ? std::fabs(rho) < 1e-99 : rho == 0.0) return out;
        if (!schemeA && i > 1) {
            const double beta = (rho / (rhoPrev + 1e-30)) * (alpha / (omega + 1e-30));
            if (beta == 0.0) return out;
            P = r + beta * (P - omega * v);
        }
        rhoPrev = rho;
        const Vec pHat = d.cwiseProduct(P);
        v = A * pHat;
        const double delta = rHat.dot(v);
        alpha = schemeA ? rho / delta : rho / (delta + 1e-30);
        x += alpha * pHat;
        const Vec s = r - alpha * v;
        if (schemeA && s.norm() < std::fabs(tol)) return out;
        const Vec sHat = d.cwiseProduct(s);
        const Vec t = A * sHat;
        omega = schemeA ? t.dot(s) / t.dot(t) : t.dot(s) / (t.dot(t) + 1e-30);
        x += omega * sHat;
        r = s - omega * t;
        out.resOut = r.norm();
        if (schemeA) {
            P = r + (r.dot(rHat) / rho) * (alpha / omega) * (P - omega * v);
            out.iter = i;
            if (!(out.resOut > tolAbs) || i >= maxIter) return out;
        } else {
            if (i == 1) tolAbs = std::fabs(tol) * out.resOut;
            out.iter = i;
            if (tolAbs > out.resOut) return out;
            if (i + 1 > maxIter) {
                out.iter = maxIter + 1;
                return out;
            }
        }
    }
}

}  // namespace

// A fault that slows the method (a wrong step length, direction or guard)
// still converges to the direct solution, given iterations enough; it is
// seen against the same method written independently. Rounding makes the
// two drift apart by about a factor of ten per iteration, so the residual
// after 20 iterations is compared on every matrix, and the iteration count
// to convergence on the non-symmetric one.
TEST(BiCGSTAB, ResidualHistoryAndIterationCountOfAnIndependentImplementation)
{
    for (const auto& [name, m] : Cases()) {
        const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 23, 0.0, 1.0);
        const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 24);
        for (const Driver& d : kDrivers) {
            SCOPED_TRACE(std::string(name) + ", " + d.name);
            const bool schemeA = d.storage == Storage::CSR || d.type == 0;
            const Reference ref = ReferenceBiCGSTAB(m, b, x0, 1e-14, 20, d.type == 1, schemeA);
            const SolveResult r = Solve(d.method, d.storage, m, b, x0, 1e-14, 20, d.type);
            ASSERT_EQ(r.status, 0);
            EXPECT_EQ(r.iter, ref.iter);
            EXPECT_NEAR(r.resOut, ref.resOut, 1e-6 * ref.resOut);
            if (std::string(name) != "convection") continue;
            const Reference converged = ReferenceBiCGSTAB(m, b, x0, 1e-9, 1000, d.type == 1, schemeA);
            EXPECT_GT(converged.iter, 30);
            EXPECT_EQ(Solve(d.method, d.storage, m, b, x0, 1e-9, 1000, d.type).iter, converged.iter);
        }
    }
}

TEST(BiCGSTAB, EveryDriverMatchesTheDirectSolve)
{
    const double tol = 1e-10;
    for (const auto& [name, m] : Cases()) {
        const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 21, 0.0, 1.0);
        const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 22);
        const std::vector<double> direct = DirectSolve(m, b);
        for (const Driver& d : kDrivers) {
            SCOPED_TRACE(std::string(name) + ", " + d.name);
            const SolveResult r = Solve(d.method, d.storage, m, b, x0, tol, 1000, d.type);
            ASSERT_EQ(r.status, 0);
            EXPECT_LT(r.iter, 1000);
            // Converged against the reference residual of its scheme, and the
            // recurrence residual agrees with the true one.
            const double trueResidual = TrueResidual(m, b, r.x);
            EXPECT_LE(r.resOut, tol * r.resIn);
            EXPECT_NEAR(trueResidual, r.resOut, 1e-2 * r.resOut + 1e-13);
            EXPECT_LT(RelativeDifference(r.x, direct), 1e-7);
        }
    }
}

TEST(BiCGSTAB, SameKernelsGiveTheSameBitsForAnyThreadCount)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(14, 13, 11, 2.0, 0.5, 1.0);
    const std::vector<double> b = RandomVector(static_cast<size_t>(m.n), 31);
    const std::vector<double> x0 = RandomVector(static_cast<size_t>(m.n), 32);
    auto solveAll = [&] {
        std::vector<SolveResult> r;
        for (const Driver& d : kDrivers) r.push_back(Solve(d.method, d.storage, m, b, x0, 1e-9, 300, d.type));
        return r;
    };
    const auto runs = ForThreadCounts({1, 2, 4}, solveAll);
    for (const auto& run : runs)
        for (size_t k = 0; k < run.size(); ++k) {
            EXPECT_TRUE(SameBits(run[k].x, runs[0][k].x)) << kDrivers[k].name;
            EXPECT_EQ(run[k].iter, runs[0][k].iter);
        }
    const auto& r = runs[0];
    // Scheme A on CSR and on ELL (plain) uses the same arithmetic; so do the
    // allocating and the caller-storage Jacobi drivers of scheme B.
    EXPECT_TRUE(SameBits(r[0].x, r[2].x));
    EXPECT_TRUE(SameBits(r[0].resOut, r[2].resOut));
    EXPECT_EQ(r[0].iter, r[2].iter);
    EXPECT_TRUE(SameBits(r[3].x, r[4].x));
    EXPECT_TRUE(SameBits(r[3].resIn, r[4].resIn));
    EXPECT_EQ(r[3].iter, r[4].iter);
}

TEST(BiCGSTAB, SchemeAStopsEarlyOnASmallIntermediateResidual)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(8, 8, 8, 1.0, 1.0, 1.0);
    const std::vector<double> b = RandomVector(512, 41, 0.0, 1e-3);
    // |tol| = 10 exceeds ||s|| at once: x = x0 + alpha P, no iteration counted.
    const SolveResult r = Solve(Method::BiCGSTAB, Storage::CSR, m, b, Zeros(512), -10.0, 50, 0);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.iter, 0);
    EXPECT_EQ(r.resOut, r.resIn);
    ASSERT_NE(r.out.find("s_norm="), std::string::npos);
    double sNorm = 0.0;
    std::sscanf(r.out.c_str() + r.out.find("s_norm="), "s_norm=%le", &sNorm);
    EXPECT_EQ(r.out, "CUDA_BiCGSTABCSR: nnu=512, nna=" + std::to_string(m.nna()) + "\n" +
                         Format("s_norm=%e < s_tolerance=%e\n", sNorm, 10.0) +
                         Format("\n\niter=0, resIn=%e, resOut=%e", r.resIn, r.resOut));
    // The first step from x0 = 0 is alpha r0 with alpha = (r0.r0) / (r0.A r0).
    const std::vector<double> Ab = rvzmodel::Multiply(m, b);
    double rr = 0.0, rAr = 0.0;
    for (int i = 0; i < 512; ++i) rr += b[i] * b[i], rAr += b[i] * Ab[i];
    for (int i = 0; i < 512; ++i) EXPECT_NEAR(r.x[i], rr / rAr * b[i], 1e-12 * std::fabs(b[i]) + 1e-20);

    // Its iteration limit is tested after the first iteration, as in CG.
    for (int maxIter : {0, 1}) {
        const SolveResult one = Solve(Method::BiCGSTAB, Storage::ELL, m, b, Zeros(512), 1e-12, maxIter, 0);
        EXPECT_EQ(one.iter, 1);
        EXPECT_LT(one.resOut, one.resIn);
    }
}

TEST(BiCGSTAB, SchemeABreaksDownOnAVanishingRho)
{
    // b = 0 and x0 = 0: rho = 0 at once.
    const CsrMatrix m = rvzmodel::Poisson3D(4, 4, 4);
    const SolveResult plain = Solve(Method::BiCGSTAB, Storage::ELL, m, Zeros(64), Zeros(64), 1e-8, 50, 0);
    EXPECT_EQ(plain.out, "CUDA_BiCGSTABELL: nnu=64, new_nnu=256, NColumnPerRow=7\nrho=0.000000e+00\n"
                         "\n\niter=0, resIn=0.000000e+00, resOut=0.000000e+00");
    const SolveResult jacobi = Solve(Method::BiCGSTAB, Storage::CSR, m, Zeros(64), Zeros(64), 1e-8, 50, 1);
    EXPECT_EQ(jacobi.out, "CUDA_BiJCGSTABCSR: nnu=64, nna=" + std::to_string(m.nna()) +
                              "\nrho=0.000000e+00 < 1.000000e-99\n\n\niter=0, resIn=0.000000e+00, resOut=0.000000e+00");
    EXPECT_EQ(jacobi.status, 0);
}

TEST(BiCGSTAB, SchemeBCountsTheStoppingIteration)
{
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(10, 10, 10, 3.0, 0.0, 1.0);
    const std::vector<double> b = RandomVector(1000, 51);
    for (Method method : {Method::BiCGSTAB, Method::BiCGSTABCallerStorage}) {
        // The limit ends the loop: iter = maxIter + 1, nothing printed.
        const SolveResult limited = Solve(method, Storage::ELL, m, b, Zeros(1000), 1e-14, 3, 1);
        EXPECT_EQ(limited.iter, 4);
        EXPECT_EQ(limited.out, "");
        EXPECT_EQ(limited.status, 0);
        // No iteration at all: iter = 1, resOut = ||r0||.
        const SolveResult none = Solve(method, Storage::ELL, m, b, Zeros(1000), 1e-14, 0, 1);
        EXPECT_EQ(none.iter, 1);
        EXPECT_NEAR(none.resIn, rvzmodel::Norm(b), 1e-14 * none.resIn);
        EXPECT_TRUE(SameBits(none.resOut, none.resIn));
        // The reference residual is that after the first iteration, so a
        // loose tolerance below 1 still needs a second iteration; resIn is
        // overwritten with the first iteration's residual.
        const SolveResult loose = Solve(method, Storage::ELL, m, b, Zeros(1000), 0.99, 50, 1);
        EXPECT_EQ(loose.iter, 2);
        EXPECT_LT(loose.resIn, rvzmodel::Norm(b));
        const SolveResult above = Solve(method, Storage::ELL, m, b, Zeros(1000), 1.5, 50, 1);
        EXPECT_EQ(above.iter, 1);
        EXPECT_EQ(above.resIn, above.resOut);
    }
}

TEST(BiCGSTAB, SchemeBExactZeroExits)
{
    // Exact initial guess: return at once, resOut and iter untouched.
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(6, 6, 6, 1.0, 1.0, 1.0);
    const std::vector<double> x = RandomVector(216, 61);
    for (Method method : {Method::BiCGSTAB, Method::BiCGSTABCallerStorage}) {
        const SolveResult exact = Solve(method, Storage::ELL, m, rvzmodel::Multiply(m, x), x, 1e-8, 50, 1);
        EXPECT_EQ(exact.status, 0);
        EXPECT_EQ(exact.resIn, 0.0);
        EXPECT_EQ(exact.resOut, -1.0);
        EXPECT_EQ(exact.iter, -7);
        EXPECT_TRUE(SameBits(exact.x, x));
    }
    // Diagonal with Jacobi: alpha = 1 makes s = 0 and x exact in the first
    // iteration, which then stops at the zero omega denominator.
    const CsrMatrix d = Diagonal(300);
    const std::vector<double> b = RandomVector(300, 62);
    for (Method method : {Method::BiCGSTAB, Method::BiCGSTABCallerStorage}) {
        const SolveResult r = Solve(method, Storage::ELL, d, b, Zeros(300), 1e-8, 50, 1);
        EXPECT_EQ(r.iter, 1);
        EXPECT_NEAR(r.resOut, rvzmodel::Norm(b), 1e-14 * r.resOut);
        EXPECT_TRUE(SameBits(r.resOut, r.resIn));
        for (int i = 0; i < 300; ++i) EXPECT_EQ(r.x[i], b[i] / d.aa[i]);
    }
    // A tiny residual against a huge diagonal: rho > 0 but pHat = d P
    // underflows to zero, so v = 0 and the loop stops at delta = 0 with x
    // unchanged.
    CsrMatrix huge = rvzmodel::Poisson3D(6, 6, 6);
    for (int i = 0; i < huge.n; ++i) huge.aa[static_cast<size_t>(huge.ia[i])] = 1e300;
    const std::vector<double> tiny(216, 1e-150);  // rho = 216e-300, a normal number
    const std::vector<double> x0(216, 0.0);
    for (Method method : {Method::BiCGSTAB, Method::BiCGSTABCallerStorage}) {
        const SolveResult r = Solve(method, Storage::ELL, huge, tiny, x0, 1e-8, 50, 1);
        EXPECT_EQ(r.status, 0);
        EXPECT_GT(r.resIn, 0.0);
        EXPECT_EQ(r.iter, 1);
        EXPECT_TRUE(SameBits(r.resOut, r.resIn));
        EXPECT_TRUE(SameBits(r.x, x0));
    }
}

TEST(BiCGSTAB, UnknownPreconditionerDoesNothing)
{
    const CsrMatrix m = rvzmodel::Poisson3D(4, 4, 4);
    for (Storage storage : {Storage::CSR, Storage::ELL}) {
        const SolveResult r = Solve(Method::BiCGSTAB, storage, m, RandomVector(64, 1), Zeros(64), 1e-6, 10, -1);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.iter, -7);
    }
}

TEST(BiCGSTAB, ZeroDiagonalWithJacobiDoesNotCrash)
{
    CsrMatrix m = rvzmodel::ConvectionDiffusion3D(6, 6, 6, 1.0, 1.0, 1.0);
    m.aa[static_cast<size_t>(m.ia[50])] = 0.0;
    const std::vector<double> b = RandomVector(216, 71);
    for (const Driver& d : kDrivers) {
        if (d.type != 1) continue;
        SCOPED_TRACE(d.name);
        const SolveResult r = Solve(d.method, d.storage, m, b, Zeros(216), 1e-8, 20, 1);
        EXPECT_EQ(r.status, 0);
        // The infinite reciprocal spreads through every step: the residual is
        // not finite, and each scheme stops on its own tests.
        EXPECT_FALSE(std::isfinite(r.resOut));
    }
}

#if !RVZGPU_BACKEND_CUDA
TEST(BiCGSTAB, AllocationAndKernelFailuresAreReported)
{
    namespace hooks = rvz::host::testing;
    const CsrMatrix m = rvzmodel::ConvectionDiffusion3D(10, 10, 10, 1.0, 1.0, 1.0);
    const std::vector<double> b = RandomVector(1000, 81);
    const size_t live = hooks::live_allocations();
    cudaDeviceProp prop{};
    cudaGetDeviceProperties(&prop, 0);
    const std::string sizeLine = Format("GPU[0:%s] memory size: %lu\n", DeviceName().c_str(),
                                        static_cast<unsigned long>(prop.totalGlobalMem >> 20));

    // ELL plain: the first work buffer fails. (12 * 7 + 88) * 1024 bytes.
    hooks::inject_alloc_faults(1, cudaErrorMemoryAllocation, 4);
    SolveResult ell = Solve(Method::BiCGSTAB, Storage::ELL, m, b, Zeros(1000), 1e-6, 100, 0);
    hooks::clear_faults();
    EXPECT_EQ(ell.status, cudaErrorMemoryAllocation);
    EXPECT_EQ(ell.out, "CUDA_BiCGSTABELL: nnu=1000, new_nnu=1024, NColumnPerRow=7\n" +
                           Format("GPU memory allocation failed: %s.\n", rvz::PlatformErrorText(2)) +
                           "GPU memory requirement of this case: 0.17 (MB)\n" + sizeLine + Countdown());
    EXPECT_EQ(ell.iter, -7);
    EXPECT_EQ(hooks::live_allocations(), live);

    // A failed launch in the caller-storage driver (with its own message).
    hooks::inject_launch_faults(2, cudaErrorLaunchFailure, 6);
    SolveResult caller = Solve(Method::BiCGSTABCallerStorage, Storage::ELL, m, b, Zeros(1000), 1e-12, 2, 1);
    hooks::clear_faults();
    EXPECT_EQ(caller.status, cudaErrorLaunchFailure);
    EXPECT_EQ(caller.out, Format("GPU[0:%s] Serial BiJCGSTAB Computing failed: %s.(719)\n", DeviceName().c_str(),
                                 rvz::PlatformErrorText(cudaErrorLaunchFailure)) +
                              Countdown());

    // CSR: the end line has no line break before the report.
    hooks::inject_launch_faults(1, cudaErrorLaunchFailure, 3);
    SolveResult csr = Solve(Method::BiCGSTAB, Storage::CSR, m, b, Zeros(1000), 1e-12, 2, 0);
    hooks::clear_faults();
    EXPECT_EQ(csr.status, cudaErrorLaunchFailure);
    const std::string end = Format("\n\niter=%d, resIn=%e, resOut=%e", csr.iter, csr.resIn, csr.resOut);
    EXPECT_EQ(csr.out.substr(csr.out.find("\n\niter")),
              end + Format("GPU[0:%s] Computing failed: %s.(719)\n", DeviceName().c_str(),
                           rvz::PlatformErrorText(cudaErrorLaunchFailure)) +
                  Countdown());
    EXPECT_EQ(hooks::live_allocations(), live);
}
#endif
