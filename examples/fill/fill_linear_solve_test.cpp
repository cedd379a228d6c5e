// The solve every rvzgpu-fill step calls (fill_linear_solve.h) on small
// tridiagonal systems in ELL storage, against Eigen's dense LU: it stops
// where the library's Jacobi BiCGSTAB on its own runs to its iteration
// limit (a strongly diagonal system from zero, a start vector that nearly
// solves the system, a right-hand side of rounding noise beside a larger
// component of the same equation), and leaves a solve whose tolerance is
// reachable exactly as the library computes it.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstdio>
#include <vector>

#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "example_test_tool.h"
#include "fill_linear_solve.h"

namespace {

using channel::Buf;

constexpr int kRows = 512;  // a multiple of 256: the ELL rows need no padding
constexpr int kColumns = 3;

// Rows i: diagonal d, -lower at i-1, -upper at i+1 (an upwind convection
// term with diffusion around a time term).
struct Tridiagonal {
    double d, lower, upper;
    Eigen::MatrixXd Dense() const
    {
        Eigen::MatrixXd A = Eigen::MatrixXd::Zero(kRows, kRows);
        for (int i = 0; i < kRows; ++i) {
            A(i, i) = d;
            if (i > 0) A(i, i - 1) = -lower;
            if (i + 1 < kRows) A(i, i + 1) = -upper;
        }
        return A;
    }
};

// A system on the device and the library's Jacobi BiCGSTAB on it.
struct DeviceSystem {
    CRVZGPUtool& tool;
    Buf<int> index;
    Buf<double> a, b;
    DeviceSystem(CRVZGPUtool& t, const Tridiagonal& m, const Eigen::VectorXd& rhs)
        : tool(t), index(t, kRows * kColumns), a(t, kRows * kColumns), b(t, kRows)
    {
        std::vector<int> idx(kRows * kColumns, -1);
        std::vector<double> val(kRows * kColumns, 0.0);
        for (int i = 0; i < kRows; ++i) {
            idx[i] = i, val[i] = m.d;
            if (i > 0) idx[kRows + i] = i - 1, val[kRows + i] = -m.lower;
            if (i + 1 < kRows) idx[2 * kRows + i] = i + 1, val[2 * kRows + i] = -m.upper;
        }
        index.Upload(idx);
        a.Upload(val);
        b.Upload(std::vector<double>(rhs.data(), rhs.data() + kRows));
    }
    fill::JacobiBiCGSTAB Run()
    {
        return [this](double* sol, double tol, int maxIter, double& resIn, double& resOut, int& iter) {
            ASSERT_EQ(tool.BiCGSTAB_ELL(kRows, kColumns, index, a, b, sol, tol, resIn, resOut, iter, maxIter, 1), 0);
        };
    }
    // The library alone from x0: the iteration it stopped in.
    int LibraryAlone(const Eigen::VectorXd& x0, double tol)
    {
        Buf<double> x(tool, std::vector<double>(x0.data(), x0.data() + kRows));
        double resIn = 0.0, resOut = 0.0;
        int iter = 0;
        Run()(x, tol, fill::kSolveIterationLimit, resIn, resOut, iter);
        return iter;
    }
};

Eigen::VectorXd Profile()
{
    Eigen::VectorXd x(kRows);
    for (int i = 0; i < kRows; ++i) x[i] = 0.5 + 0.5 * std::sin(0.05 * i);
    return x;
}

double Relative(const Eigen::VectorXd& x, const Eigen::VectorXd& reference)
{
    return (x - reference).lpNorm<Eigen::Infinity>() / reference.lpNorm<Eigen::Infinity>();
}

struct Solved {
    fill::SolveResult result;
    Eigen::VectorXd x;
};

Solved Solve(CRVZGPUtool& tool, DeviceSystem& s, const Eigen::VectorXd& x0, double rhsNorm, double tol)
{
    Buf<double> x(tool, std::vector<double>(x0.data(), x0.data() + kRows)), probe(tool, kRows);
    Solved out;
    out.result = fill::SolveToReachableResidual(tool, s.Run(), x, probe, kRows, rhsNorm, tol);
    const std::vector<double> h = x.Download();
    out.x = Eigen::Map<const Eigen::VectorXd>(h.data(), kRows);
    return out;
}

// A strongly diagonal system (a volume fraction's: the time term far above
// the fluxes) from the solution changed by 1e-6 of itself (the previous
// step's field), and a milder one from within 1e-9 of the solution: the
// library alone ends at its limit, the solve within a few iterations at
// the floor, with Eigen's solution to the floor's accuracy.
TEST(FillLinearSolve, StopsAtTheRoundingFloorWhereTheLibraryAloneRunsToItsLimit)
{
    CRVZGPUtool& tool = Tool();
    struct Case {
        const char* name;
        Tridiagonal m;
        double startOffset;  // start vector: the solution times (1 + startOffset)
    };
    const Case cases[] = {{"strongly diagonal", {1.0e2, 1.0, 0.5}, 1e-6}, {"milder", {4.0, 1.5, 1.0}, 1e-9}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Eigen::MatrixXd A = c.m.Dense();
        const Eigen::VectorXd rhs = A * Profile();
        const Eigen::VectorXd exact = A.partialPivLu().solve(rhs);
        const Eigen::VectorXd x0 = exact * (1.0 + c.startOffset);
        DeviceSystem s(tool, c.m, rhs);
        EXPECT_GT(s.LibraryAlone(x0, 1e-10), fill::kSolveIterationLimit);
        const Solved r = Solve(tool, s, x0, rhs.norm(), 1e-10);
        EXPECT_FALSE(r.result.atLimit);
        EXPECT_LE(r.result.iterations, 6);
        EXPECT_NEAR(r.result.target, fill::kReachableResidual * rhs.norm(), 1e-3 * r.result.target);
        EXPECT_LE(r.result.residual, r.result.target);
        // The true residual, computed apart from the solver.
        EXPECT_LE((rhs - A * r.x).norm(), 10.0 * r.result.target);
        EXPECT_LE(Relative(r.x, exact), 1e-11);
    }
}

// One component of an equation whose right-hand side is rounding noise
// (1e-17) beside a component of order one: measured against its own norm
// the solve runs to the limit (the library's 1e-30 guards are not small
// next to the products of such vectors), against the equation's norm the
// probe already meets the floor. The noise solution is Eigen's to 1e-13 of
// the other component's scale.
TEST(FillLinearSolve, NoiseComponentIsMeasuredAgainstTheWholeEquation)
{
    CRVZGPUtool& tool = Tool();
    const Tridiagonal m{4.0, 1.5, 1.0};
    const Eigen::MatrixXd A = m.Dense();
    const Eigen::VectorXd big = A * Profile();
    Eigen::VectorXd noise(kRows);
    for (int i = 0; i < kRows; ++i) noise[i] = 1e-17 * std::cos(1.7 * i);
    const Eigen::VectorXd exact = A.partialPivLu().solve(noise);

    // The norm of both right-hand sides together, by the device helper
    // against the host.
    Buf<double> bigD(tool, std::vector<double>(big.data(), big.data() + kRows));
    Buf<double> noiseD(tool, std::vector<double>(noise.data(), noise.data() + kRows));
    double* const both[2] = {bigD, noiseD};
    const double equation = fill::CombinedNorm(tool, both, 2, kRows, [](double v) { return v; });
    EXPECT_NEAR(equation, std::sqrt(big.squaredNorm() + noise.squaredNorm()), 1e-14 * equation);

    DeviceSystem s(tool, m, noise);
    const Eigen::VectorXd zero = Eigen::VectorXd::Zero(kRows);
    const Solved own = Solve(tool, s, zero, noise.norm(), 1e-2);
    EXPECT_TRUE(own.result.atLimit);
    const Solved whole = Solve(tool, s, zero, equation, 1e-2);
    EXPECT_FALSE(whole.result.atLimit);
    EXPECT_EQ(whole.result.iterations, 1);
    EXPECT_LE((whole.x - exact).lpNorm<Eigen::Infinity>(), 1e-13 * Profile().lpNorm<Eigen::Infinity>());
}

// Where the tolerance lies well above the floor the rule changes nothing:
// the same iterate, bit for bit, as the library called once with the same
// tolerance, one probe iteration more; and a start vector that solves the
// system exactly (zero right-hand side, zero start) costs no iteration.
TEST(FillLinearSolve, ReachableToleranceLeavesTheLibrarysSolve)
{
    CRVZGPUtool& tool = Tool();
    const Tridiagonal m{2.05, 1.0, 1.0};
    const Eigen::MatrixXd A = m.Dense();
    const Eigen::VectorXd rhs = A * Profile();
    DeviceSystem s(tool, m, rhs);
    const Eigen::VectorXd zero = Eigen::VectorXd::Zero(kRows);
    const Solved ours = Solve(tool, s, zero, rhs.norm(), 1e-6);

    Buf<double> x(tool, std::vector<double>(kRows, 0.0));
    double resIn = 0.0, resOut = 0.0;
    int iter = 0;
    s.Run()(x, 1e-6, fill::kSolveIterationLimit, resIn, resOut, iter);
    const std::vector<double> library = x.Download();
    EXPECT_LT(iter, fill::kSolveIterationLimit);
    EXPECT_EQ(ours.result.iterations, iter + 1);
    EXPECT_EQ(ours.result.residual, resOut);
    for (int i = 0; i < kRows; ++i) ASSERT_EQ(ours.x[i], library[static_cast<size_t>(i)]) << "row " << i;
    // To the tolerance: 1e-6 of the residual after one iteration.
    EXPECT_LE(Relative(ours.x, A.partialPivLu().solve(rhs)), 1e-4);

    DeviceSystem homogeneous(tool, m, zero);
    const Solved none = Solve(tool, homogeneous, zero, 0.0, 1e-6);
    EXPECT_EQ(none.result.iterations, 0);
    EXPECT_EQ(none.x.lpNorm<Eigen::Infinity>(), 0.0);
}

}  // namespace
