// Shared by the sparse, conjugate gradient and BiCGSTAB tests: model
// matrices on the device in CSR and ELL storage, one-call solves with
// captured output, and the independent reference solutions.
#pragma once

#include <Eigen/Sparse>
#include <Eigen/SparseLU>

#include <cstdio>
#include <string>
#include <vector>

#include "../examples/rvzgpu_solve/model_problems.h"
#include "test_support.h"

namespace rvztest {

using rvzmodel::CsrMatrix;

struct EllHost {
    int nnu = 0;
    int new_nnu = 0;
    int ncol = 0;
    std::vector<int> index;
    std::vector<double> values;
};

inline EllHost ToEll(const CsrMatrix& m)
{
    EllHost e;
    e.nnu = m.n;
    e.new_nnu = Tool().CalcNewNNU(m.n);
    const int n1 = m.n + 1;
    std::vector<int> ia(m.ia);
    std::vector<int> ja(m.ja);
    std::vector<double> aa(m.aa);
    e.ncol = Tool().CalcMaxNColumn(n1, ia.data());
    e.index.resize(static_cast<size_t>(e.ncol) * e.new_nnu);
    e.values.resize(e.index.size());
    Tool().ja2indexELL(e.nnu, e.ncol, e.new_nnu, ia.data(), ja.data(), e.index.data());
    Tool().aa2aaELLd(e.nnu, e.ncol, e.new_nnu, ia.data(), aa.data(), e.values.data());
    return e;
}

enum class Method { CG, BiCGSTAB, BiCGSTABCallerStorage };
enum class Storage { CSR, ELL };

struct SolveResult {
    int status = -12345;
    double resIn = -1.0;
    double resOut = -1.0;
    int iter = -7;
    std::vector<double> x;
    std::string out;
};

inline std::vector<double> Padded(const std::vector<double>& v, size_t n)
{
    std::vector<double> p(v);
    p.resize(n, 0.0);
    return p;
}

// The caller storage of BiJCGSTABELL_woMalloc for new_nnu rows.
inline int SolveCallerStorage(const EllHost& e, int* indexD, double* aaD, double* rhsD, double* solD, double tol,
                              SolveResult& r, int maxIter)
{
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    Tool().GetSizeOfBlock(e.new_nnu, total, nLevels, count, size, offset);
    std::vector<DeviceArray<double>*> arrays;
    for (int k = 0; k < 6; ++k) arrays.push_back(new DeviceArray<double>(total));
    for (int k = 0; k < 9; ++k) arrays.push_back(new DeviceArray<double>(e.new_nnu));
    // Stale contents that the call must clear first.
    for (auto* a : arrays) a->Upload(std::vector<double>(static_cast<size_t>(a->size()), 3.25));
    auto A = [&](int k) { return arrays[static_cast<size_t>(k)]->get(); };
    const int status = Tool().BiJCGSTABELL_woMalloc(
        e.nnu, e.ncol, indexD, aaD, rhsD, solD, tol, r.resIn, r.resOut, r.iter, maxIter, A(0), A(1), A(2), A(3), A(4),
        A(5), A(6), A(7), A(8), A(9), A(10), A(11), A(12), A(13), A(14), e.new_nnu, nLevels, size, total, count,
        offset, e.new_nnu);
    for (auto* a : arrays) delete a;
    return status;
}

// One solve through the facade; the output is captured.
inline SolveResult Solve(Method method, Storage storage, const CsrMatrix& m, const std::vector<double>& b,
                         const std::vector<double>& x0, double tol, int maxIter, int type)
{
    SolveResult r;
    if (storage == Storage::CSR && method != Method::BiCGSTABCallerStorage) {
        DeviceArray<int> ia(m.ia), ja(m.ja);
        DeviceArray<double> aa(m.aa), rhs(b), sol(x0);
        const int n = m.n, nna = m.nna();
        r.out = CaptureOutput([&] {
            r.status = method == Method::CG
                           ? Tool().CG_CSR(n, nna, ia, ja, aa, rhs, sol, tol, r.resIn, r.resOut, r.iter, maxIter, type)
                           : Tool().BiCGSTAB_CSR(n, nna, ia, ja, aa, rhs, sol, tol, r.resIn, r.resOut, r.iter,
                                                 maxIter, type);
        });
        r.x = sol.Download();
        return r;
    }
    const EllHost e = ToEll(m);
    DeviceArray<int> index(e.index);
    DeviceArray<double> aa(e.values), rhs(Padded(b, e.new_nnu)), sol(Padded(x0, e.new_nnu));
    r.out = CaptureOutput([&] {
        if (method == Method::CG)
            r.status = Tool().CG_ELL(e.nnu, e.ncol, index, aa, rhs, sol, tol, r.resIn, r.resOut, r.iter, maxIter, type);
        else if (method == Method::BiCGSTAB)
            r.status =
                Tool().BiCGSTAB_ELL(e.nnu, e.ncol, index, aa, rhs, sol, tol, r.resIn, r.resOut, r.iter, maxIter, type);
        else
            r.status = SolveCallerStorage(e, index, aa, rhs, sol, tol, r, maxIter);
    });
    r.x = sol.Download();
    r.x.resize(static_cast<size_t>(m.n));
    return r;
}

inline Eigen::SparseMatrix<double> ToEigen(const CsrMatrix& m)
{
    std::vector<Eigen::Triplet<double>> t;
    for (int i = 0; i < m.n; ++i)
        for (int k = m.ia[i]; k < m.ia[i + 1]; ++k) t.emplace_back(i, m.ja[k], m.aa[k]);
    Eigen::SparseMatrix<double> A(m.n, m.n);
    A.setFromTriplets(t.begin(), t.end());
    A.makeCompressed();
    return A;
}

inline Eigen::Map<const Eigen::VectorXd> AsEigen(const std::vector<double>& v)
{
    return Eigen::Map<const Eigen::VectorXd>(v.data(), static_cast<Eigen::Index>(v.size()));
}

// The direct solution by sparse LU factorisation.
inline std::vector<double> DirectSolve(const CsrMatrix& m, const std::vector<double>& b)
{
    Eigen::SparseLU<Eigen::SparseMatrix<double>> lu;
    const Eigen::SparseMatrix<double> A = ToEigen(m);
    lu.compute(A);
    EXPECT_EQ(lu.info(), Eigen::Success);
    Eigen::VectorXd x = lu.solve(AsEigen(b));
    return std::vector<double>(x.data(), x.data() + x.size());
}

inline double RelativeDifference(const std::vector<double>& a, const std::vector<double>& b)
{
    std::vector<double> d(a.size());
    for (size_t i = 0; i < a.size(); ++i) d[i] = a[i] - b[i];
    return rvzmodel::Norm(d) / rvzmodel::Norm(b);
}

inline double TrueResidual(const CsrMatrix& m, const std::vector<double>& b, const std::vector<double>& x)
{
    std::vector<double> r = rvzmodel::Multiply(m, x);
    for (size_t i = 0; i < r.size(); ++i) r[i] = b[i] - r[i];
    return rvzmodel::Norm(r);
}

inline bool SameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!SameBits(a[i], b[i])) return false;
    return true;
}

// The device name as the reporters print it.
inline std::string DeviceName()
{
    cudaDeviceProp prop{};
    if (cudaGetDeviceProperties(&prop, 0) != cudaSuccess) return "";
    return prop.name;
}

template <class... Args>
std::string Format(const char* format, Args... args)
{
    char buffer[1024];
    std::snprintf(buffer, sizeof(buffer), format, args...);
    return buffer;
}

inline std::string Countdown() { return "\r5 \r4 \r3 \r2 \r1 "; }

}  // namespace rvztest
