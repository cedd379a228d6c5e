// Checks shared by rvzgpu-solve and rvzgpu-solve-mpi: option values, sizes
// against 32-bit indices and the machine's memory (checked before anything
// large is allocated), and the verdict on a returned solution.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "model_problems.h"

namespace rvzmodel {

// A value, size or option the program refuses; what() says which and why.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A relative tolerance: a finite number above 0 and below 1.
inline double ParseTolerance(const std::string& option, const char* text)
{
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text, &end);
    if (end == text || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        throw InputError(option + " needs a number, not '" + text + "'");
    if (!(v > 0.0 && v < 1.0)) throw InputError(option + " must lie between 0 and 1 (exclusive), not " + text);
    return v;
}

// An integer in [lo, hi].
inline int ParseInteger(const std::string& option, const char* text, int lo, int hi = INT_MAX)
{
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno == ERANGE || v < lo || v > hi)
        throw InputError(option + " needs an integer from " + std::to_string(lo) + " to " + std::to_string(hi) +
                         ", not '" + text + "'");
    return static_cast<int>(v);
}

// Physical memory of this machine in bytes (0 when unknown).
inline std::uint64_t PhysicalMemory()
{
    const long pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGESIZE);
    return pages > 0 && size > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size) : 0;
}

inline std::string GiB(double bytes)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f GiB", bytes / (1024.0 * 1024.0 * 1024.0));
    return text;
}

// Refuses a run whose estimated memory exceeds the machine's.
inline void RequireMemory(double bytes, const std::string& what)
{
    const double have = static_cast<double>(PhysicalMemory());
    if (have > 0.0 && bytes > have)
        throw InputError(what + " needs about " + GiB(bytes) + " of memory; this machine has " + GiB(have));
}

// Host memory of one solve of n rows and nna stored entries, besides the
// matrix as read: right-hand side, solution, exact solution, product and
// residual on the host (8 bytes a row each), the device copies of the
// matrix and vectors (on the host backend also host memory), and the ELL
// copy of ncol columns a row (index and value, 12 bytes an entry, on the
// host and the device) when the storage is ELL.
inline double SolveBytes(long long n, long long nna, long long ncol, bool ell)
{
    const double padded = static_cast<double>((n + 255) / 256 * 256);
    const double csr = 12.0 * static_cast<double>(nna) + 4.0 * static_cast<double>(n + 1);
    const double vectors = 8.0 * 5.0 * static_cast<double>(n) + 8.0 * 17.0 * padded;  // solver work vectors
    return csr + vectors + (ell ? 2.0 * 12.0 * static_cast<double>(ncol) * padded : csr);
}

// Rows and stored entries of the seven-point operator on an N^3 grid.
inline long long GridRows(long long g) { return g * g * g; }
inline long long GridEntries(long long g) { return 7 * g * g * g - 6 * g * g; }

// --grid N: rows and entries must fit 32-bit indices (also after padding
// rows to 256 and for the ELL copy of 7 columns a row).
inline void CheckGrid(int g)
{
    auto fits = [](long long n) {
        const long long padded = (GridRows(n) + 255) / 256 * 256;
        return GridEntries(n) <= INT_MAX && 7 * padded <= INT_MAX;
    };
    if (fits(g)) return;
    int largest = 2;
    while (fits(largest + 1)) ++largest;
    throw InputError("--grid " + std::to_string(g) + ": " + std::to_string(GridRows(g)) + " rows and " +
                     std::to_string(GridEntries(g)) + " entries exceed the 32-bit indices of the solvers (" +
                     std::to_string(INT_MAX) + "); the largest grid is " + std::to_string(largest));
}

// ELL storage of new_nnu padded rows x ncol columns in one 32-bit-indexed array.
inline void CheckEllSize(long long n, long long ncol)
{
    const long long padded = (n + 255) / 256 * 256;
    if (ncol * padded > INT_MAX)
        throw InputError("ELL storage of " + std::to_string(padded) + " rows x " + std::to_string(ncol) +
                         " columns exceeds 32-bit indices; use --storage csr");
}

// Jacobi divides by every diagonal: refuse one without a finite reciprocal
// (a row without a stored diagonal gets 0.0) before the solver turns it
// into infinities.
inline void CheckJacobiDiagonal(const CsrMatrix& m, const std::string& source)
{
    for (int i = 0; i < m.n; ++i) {
        const double d = m.aa[static_cast<size_t>(m.ia[i])];
        if (std::isfinite(1.0 / d)) continue;
        char text[64];
        std::snprintf(text, sizeof text, "%g", d);
        throw InputError(source + ": row " + std::to_string(i + 1) + " has the diagonal " + text +
                     ", whose reciprocal is not finite; the Jacobi preconditioner divides by it "
                     "(use --precond none, or fix the matrix)");
    }
}

// The largest |x_i - 1|; NaN when any entry is NaN (std::fmax would drop it).
inline double MaxErrorFromOnes(const std::vector<double>& x)
{
    double err = 0.0;
    for (double v : x) {
        const double e = std::fabs(v - 1.0);
        if (!(e <= err)) err = e;  // a NaN is kept: no comparison with it is true
        if (std::isnan(err)) break;
    }
    return err;
}

// The verdict on a returned solution: converged when every entry is finite
// and either the solver's residual fell below tol times its reference
// residual, or the true residual ||b - A x|| lies below tol ||b|| (the
// BiCGSTAB drivers may stop early on a small intermediate residual).
struct Verdict {
    bool converged = false;
    std::string reason;  // why not, empty when converged
};

inline Verdict Judge(const std::vector<double>& x, double resIn, double resOut, double trueResidual, double normB,
                     double tol)
{
    Verdict v;
    long long bad = 0, first = -1;
    for (size_t i = 0; i < x.size(); ++i)
        if (!std::isfinite(x[i])) {
            if (first < 0) first = static_cast<long long>(i);
            ++bad;
        }
    if (bad > 0) {
        v.reason = "the solution has " + std::to_string(bad) + " non-finite entries (first in row " +
                   std::to_string(first + 1) + "): the matrix is singular or the solver broke down";
        return v;
    }
    if (!std::isfinite(trueResidual)) {
        v.reason = "the true residual is not finite";
        return v;
    }
    const bool solverConverged = std::isfinite(resOut) && resOut <= tol * resIn;
    const bool trueConverged = trueResidual <= tol * normB;
    if (!solverConverged && !trueConverged) {
        char text[200];
        std::snprintf(text, sizeof text,
                      "not converged: residual %.3e against the solver's target %.3e (tol %g times %.3e)", resOut,
                      tol * resIn, tol, resIn);
        v.reason = text;
        return v;
    }
    v.converged = true;
    return v;
}

}  // namespace rvzmodel
