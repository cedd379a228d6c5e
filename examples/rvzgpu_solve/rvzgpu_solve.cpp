// rvzgpu-solve: solve one sparse linear system with the library's Krylov
// solvers and check the answer independently on the host.
#include <algorithm>
#include <chrono>
#include <new>
#include <stdexcept>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "matrix_market.h"
#include "model_problems.h"
#include "solve_checks.h"

namespace {

const char* kUsage =
    "Usage: rvzgpu-solve [options] [matrix.mtx]\n"
    "\n"
    "Solves A x = b with the RVZGPU conjugate gradient or BiCGSTAB solver and\n"
    "prints the solver's own lines followed by the true residual ||b - A x||,\n"
    "computed on the host from the returned solution.\n"
    "\n"
    "Matrix: a Matrix Market file (coordinate, real or integer, general or\n"
    "symmetric, square). Duplicate entries are summed; a row without a stored\n"
    "diagonal gets an explicit 0.0 there. Without a file a model problem on\n"
    "an N x N x N grid is generated (see --problem, --grid).\n"
    "\n"
    "Options:\n"
    "  --method cg|bicgstab|bicgstab-caller\n"
    "                      solver (default: cg for a symmetric problem,\n"
    "                      bicgstab otherwise); bicgstab-caller is the Jacobi\n"
    "                      BiCGSTAB that works in caller-provided storage\n"
    "                      (ELL storage and Jacobi only)\n"
    "  --storage csr|ell   matrix storage on the device (default: ell)\n"
    "  --precond none|jacobi\n"
    "                      preconditioner (default: jacobi)\n"
    "  --tol X             relative tolerance, 0 < X < 1 (default: 1e-8)\n"
    "  --maxiter N         iteration limit, at least 1 (default: 10000)\n"
    "  --problem poisson|convection\n"
    "                      generated problem: 7-point Poisson (symmetric) or\n"
    "                      upwind convection-diffusion with velocity (4,1,0.5)\n"
    "                      (non-symmetric); default poisson\n"
    "  --grid N            grid points per direction of the generated problem\n"
    "                      (default: 32, that is 32768 rows; at most 674, the\n"
    "                      solvers index rows and entries with 32-bit integers)\n"
    "  --rhs exact|ones    b = A * (1,...,1), so that the error can be shown,\n"
    "                      or b = (1,...,1) (default: exact)\n"
    "  --device K          device ordinal (default: 0)\n"
    "  --help              this text\n"
    "\n"
    "Sizes are checked against 32-bit indices and the machine's memory before\n"
    "anything large is allocated. The solution counts as converged when all\n"
    "its entries are finite and the solver's residual fell below tol times its\n"
    "reference residual (or the true residual below tol ||b||).\n"
    "\n"
    "Exit status: 0 converged, 1 bad input, options or sizes, 2 the library\n"
    "reported a failure, 3 not converged or a non-finite solution.\n";

struct Options {
    std::string method;
    std::string storage = "ell";
    std::string precond = "jacobi";
    double tol = 1e-8;
    int maxIter = 10000;
    std::string problem = "poisson";
    int grid = 32;
    std::string rhs = "exact";
    int device = 0;
    std::string file;
};

[[noreturn]] void Usage(const std::string& message)
{
    std::fprintf(stderr, "rvzgpu-solve: %s\n(see rvzgpu-solve --help)\n", message.c_str());
    std::exit(1);
}

Options Parse(int argc, char** argv)
try {
    Options o;
    auto choose = [](const std::string& option, const char* value, std::initializer_list<const char*> allowed) {
        for (const char* a : allowed)
            if (std::strcmp(a, value) == 0) return std::string(value);
        Usage("unknown value '" + std::string(value) + "' for " + option);
    };
    for (int k = 1; k < argc; ++k) {
        const std::string a = argv[k];
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        }
        if (a.rfind("--", 0) != 0) {
            if (!o.file.empty()) Usage("more than one matrix file given");
            o.file = a;
            continue;
        }
        if (k + 1 >= argc) Usage(a + " needs a value");
        const char* v = argv[++k];
        if (a == "--method") o.method = choose(a, v, {"cg", "bicgstab", "bicgstab-caller"});
        else if (a == "--storage") o.storage = choose(a, v, {"csr", "ell"});
        else if (a == "--precond") o.precond = choose(a, v, {"none", "jacobi"});
        else if (a == "--tol") o.tol = rvzmodel::ParseTolerance(a, v);
        else if (a == "--maxiter") o.maxIter = rvzmodel::ParseInteger(a, v, 1);
        else if (a == "--problem") o.problem = choose(a, v, {"poisson", "convection"});
        else if (a == "--grid") o.grid = rvzmodel::ParseInteger(a, v, 2);
        else if (a == "--rhs") o.rhs = choose(a, v, {"exact", "ones"});
        else if (a == "--device") o.device = rvzmodel::ParseInteger(a, v, 0);
        else Usage("unknown option " + a);
    }
    if (o.method == "bicgstab-caller" && (o.storage != "ell" || o.precond != "jacobi"))
        Usage("bicgstab-caller needs --storage ell and --precond jacobi");
    if (o.file.empty()) rvzmodel::CheckGrid(o.grid);
    return o;
} catch (const rvzmodel::InputError& e) {
    Usage(e.what());
}

// The memory of the solve against the machine's, before the device copies.
void CheckSolveSize(const Options& o, const rvzmodel::CsrMatrix& m)
{
    int ncol = 0;
    for (int i = 0; i < m.n; ++i) ncol = std::max(ncol, m.ia[i + 1] - m.ia[i]);
    const bool ell = o.storage == "ell";
    if (ell) rvzmodel::CheckEllSize(m.n, ncol);
    rvzmodel::RequireMemory(rvzmodel::SolveBytes(m.n, m.nna(), ncol, ell),
                            "solving " + std::to_string(m.n) + " rows in " + o.storage + " storage");
}

// Device copies of one system, freed on exit.
struct DeviceSystem {
    CRVZGPUtool& tool;
    std::vector<int*> ints;
    std::vector<double*> doubles;

    template <class T>
    T* Upload(std::vector<T> values)
    {
        T* p = nullptr;
        if (tool.AllocateDeviceMemory(static_cast<int>(values.size()), p) != 0 ||
            tool.DataCopyHost2Device(static_cast<int>(values.size()), values.data(), p) != 0) {
            std::fprintf(stderr, "rvzgpu-solve: cannot place %zu values on the device\n", values.size());
            std::exit(2);
        }
        Keep(p);
        return p;
    }
    void Keep(int* p) { ints.push_back(p); }
    void Keep(double* p) { doubles.push_back(p); }
    ~DeviceSystem()
    {
        for (int* p : ints) tool.FreeDeviceMemory(p);
        for (double* p : doubles) tool.FreeDeviceMemory(p);
    }
};

struct Outcome {
    int status = 0;
    double resIn = 0.0;
    double resOut = 0.0;
    int iter = 0;
    std::vector<double> x;
};

Outcome Run(CRVZGPUtool& tool, const Options& o, const rvzmodel::CsrMatrix& m, const std::vector<double>& b)
{
    Outcome r;
    DeviceSystem dev{tool, {}, {}};
    const int type = o.precond == "jacobi" ? 1 : 0;
    const int nnu = m.n;
    if (o.storage == "csr") {
        int* ia = dev.Upload(m.ia);
        int* ja = dev.Upload(m.ja);
        double* aa = dev.Upload(m.aa);
        double* rhs = dev.Upload(b);
        double* sol = dev.Upload(std::vector<double>(b.size(), 0.0));
        const int nna = m.nna();
        r.status = o.method == "cg"
                       ? tool.CG_CSR(nnu, nna, ia, ja, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, type)
                       : tool.BiCGSTAB_CSR(nnu, nna, ia, ja, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter,
                                           o.maxIter, type);
        r.x.resize(b.size());
        tool.DataCopyDevice2Host(nnu, r.x.data(), sol);
        return r;
    }
    const int new_nnu = tool.CalcNewNNU(nnu);
    std::vector<int> ia(m.ia), ja(m.ja);
    std::vector<double> aa(m.aa);
    const int n1 = nnu + 1;
    const int ncol = tool.CalcMaxNColumn(n1, ia.data());
    std::vector<int> index(static_cast<size_t>(ncol) * new_nnu);
    std::vector<double> values(index.size());
    tool.ja2indexELL(nnu, ncol, new_nnu, ia.data(), ja.data(), index.data());
    tool.aa2aaELLd(nnu, ncol, new_nnu, ia.data(), aa.data(), values.data());
    int* indexD = dev.Upload(index);
    double* valuesD = dev.Upload(values);
    std::vector<double> padded(b);
    padded.resize(static_cast<size_t>(new_nnu), 0.0);
    double* rhs = dev.Upload(padded);
    double* sol = dev.Upload(std::vector<double>(padded.size(), 0.0));
    if (o.method == "cg") {
        r.status = tool.CG_ELL(nnu, ncol, indexD, valuesD, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, type);
    } else if (o.method == "bicgstab") {
        r.status =
            tool.BiCGSTAB_ELL(nnu, ncol, indexD, valuesD, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, type);
    } else {
        int total = 0, nLevels = 0, count[16], size[16], offset[16];
        tool.GetSizeOfBlock(new_nnu, total, nLevels, count, size, offset);
        double* w[15];
        for (int k = 0; k < 15; ++k) w[k] = dev.Upload(std::vector<double>(k < 6 ? total : new_nnu, 0.0));
        r.status = tool.BiJCGSTABELL_woMalloc(nnu, ncol, indexD, valuesD, rhs, sol, o.tol, r.resIn, r.resOut, r.iter,
                                              o.maxIter, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9],
                                              w[10], w[11], w[12], w[13], w[14], new_nnu, nLevels, size, total, count,
                                              offset, new_nnu);
    }
    r.x.resize(static_cast<size_t>(new_nnu));
    tool.DataCopyDevice2Host(new_nnu, r.x.data(), sol);
    r.x.resize(b.size());
    return r;
}

}  // namespace

int main(int argc, char** argv)
try {
    Options o = Parse(argc, argv);
    rvzmodel::CsrMatrix m;
    bool symmetric = true;
    try {
        if (!o.file.empty()) {
            rvzmodel::MatrixMarketInfo info;
            m = rvzmodel::ReadMatrixMarketFile(o.file, &info);
            symmetric = info.symmetric;
            std::printf("matrix %s: %d rows, %d stored entries (%s)%s\n", o.file.c_str(), m.n, m.nna(),
                        info.symmetric ? "symmetric" : "general",
                        info.diagonalsAdded ? (", " + std::to_string(info.diagonalsAdded) +
                                               " rows without a stored diagonal got 0.0").c_str()
                                            : "");
        } else {
            const int g = o.grid;
            symmetric = o.problem == "poisson";
            rvzmodel::RequireMemory(rvzmodel::SolveBytes(rvzmodel::GridRows(g), rvzmodel::GridEntries(g), 7,
                                                         o.storage == "ell") +
                                        12.0 * static_cast<double>(rvzmodel::GridEntries(g)),
                                    "--grid " + std::to_string(g));
            m = symmetric ? rvzmodel::Poisson3D(g, g, g) : rvzmodel::ConvectionDiffusion3D(g, g, g, 4.0, 1.0, 0.5);
            std::printf("generated %s problem on a %d^3 grid: %d rows, %d entries\n", o.problem.c_str(), g, m.n,
                        m.nna());
        }
        if (m.n < 2)
            throw rvzmodel::InputError((o.file.empty() ? "" : o.file + ": ") + "the solvers need at least 2 rows");
        if (o.precond == "jacobi") rvzmodel::CheckJacobiDiagonal(m, o.file.empty() ? "generated matrix" : o.file);
        CheckSolveSize(o, m);
    } catch (const std::runtime_error& e) {  // MatrixMarketError, InputError
        std::fprintf(stderr, "rvzgpu-solve: %s\n", e.what());
        return 1;
    }
    if (o.method.empty()) o.method = symmetric ? "cg" : "bicgstab";
    std::printf("method %s, storage %s, preconditioner %s, tol %g, maxiter %d\n", o.method.c_str(),
                o.storage.c_str(), o.precond.c_str(), o.tol, o.maxIter);
    std::fflush(stdout);

    std::vector<double> exact(static_cast<size_t>(m.n), 1.0);
    const std::vector<double> b = o.rhs == "exact" ? rvzmodel::Multiply(m, exact) : exact;

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(o.device) != 0) {
        std::fprintf(stderr, "rvzgpu-solve: cannot use device %d\n", o.device);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const Outcome r = Run(tool, o, m, b);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::fflush(stdout);  // the solver's own lines first

    std::vector<double> residual = rvzmodel::Multiply(m, r.x);
    for (size_t i = 0; i < residual.size(); ++i) residual[i] = b[i] - residual[i];
    const double trueResidual = rvzmodel::Norm(residual);
    const double normB = rvzmodel::Norm(b);
    std::printf("\nstatus %d, iterations %d, %.3f s\n", r.status, r.iter, seconds);
    std::printf("true residual ||b - A x|| = %.6e (relative to ||b||: %.3e)\n", trueResidual, trueResidual / normB);
    if (o.rhs == "exact") std::printf("max |x - 1| = %.6e\n", rvzmodel::MaxErrorFromOnes(r.x));
    std::fflush(stdout);
    if (r.status != 0) {
        std::fprintf(stderr, "rvzgpu-solve: the solver returned status %d (%s)\n", r.status,
                     tool.GetGPUErrorMessage(r.status));
        return 2;
    }
    const rvzmodel::Verdict verdict = rvzmodel::Judge(r.x, r.resIn, r.resOut, trueResidual, normB, o.tol);
    if (!verdict.converged) {
        std::fprintf(stderr, "rvzgpu-solve: %s: %s\n", o.file.empty() ? "generated problem" : o.file.c_str(),
                     verdict.reason.c_str());
        return 3;
    }
    return 0;
} catch (const std::bad_alloc&) {
    std::fprintf(stderr, "rvzgpu-solve: out of memory\n");
    return 1;
}
