// rvzgpu-solve: solve one sparse linear system with the library's Krylov
// solvers and check the answer independently on the host.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "matrix_market.h"
#include "model_problems.h"

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
    "  --tol X             relative tolerance (default: 1e-8)\n"
    "  --maxiter N         iteration limit (default: 10000)\n"
    "  --problem poisson|convection\n"
    "                      generated problem: 7-point Poisson (symmetric) or\n"
    "                      upwind convection-diffusion with velocity (4,1,0.5)\n"
    "                      (non-symmetric); default poisson\n"
    "  --grid N            grid points per direction of the generated problem\n"
    "                      (default: 32, that is 32768 rows)\n"
    "  --rhs exact|ones    b = A * (1,...,1), so that the error can be shown,\n"
    "                      or b = (1,...,1) (default: exact)\n"
    "  --device K          device ordinal (default: 0)\n"
    "  --help              this text\n"
    "\n"
    "Exit status: 0 solved (converged or not), 1 bad input or options,\n"
    "2 the library reported a failure.\n";

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

double ParseDouble(const std::string& option, const char* text)
{
    char* end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(v)) Usage(option + " needs a number, not '" + text + "'");
    return v;
}

int ParseInt(const std::string& option, const char* text, int lo)
{
    char* end = nullptr;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || v < lo || v > 2000000000L)
        Usage(option + " needs an integer >= " + std::to_string(lo) + ", not '" + text + "'");
    return static_cast<int>(v);
}

Options Parse(int argc, char** argv)
{
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
        else if (a == "--tol") o.tol = ParseDouble(a, v);
        else if (a == "--maxiter") o.maxIter = ParseInt(a, v, 0);
        else if (a == "--problem") o.problem = choose(a, v, {"poisson", "convection"});
        else if (a == "--grid") o.grid = ParseInt(a, v, 2);
        else if (a == "--rhs") o.rhs = choose(a, v, {"exact", "ones"});
        else if (a == "--device") o.device = ParseInt(a, v, 0);
        else Usage("unknown option " + a);
    }
    if (o.method == "bicgstab-caller" && (o.storage != "ell" || o.precond != "jacobi"))
        Usage("bicgstab-caller needs --storage ell and --precond jacobi");
    return o;
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
{
    const Options o0 = Parse(argc, argv);
    Options o = o0;
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
            m = symmetric ? rvzmodel::Poisson3D(g, g, g) : rvzmodel::ConvectionDiffusion3D(g, g, g, 4.0, 1.0, 0.5);
            std::printf("generated %s problem on a %d^3 grid: %d rows, %d entries\n", o.problem.c_str(), g, m.n,
                        m.nna());
        }
    } catch (const rvzmodel::MatrixMarketError& e) {
        std::fprintf(stderr, "rvzgpu-solve: %s\n", e.what());
        return 1;
    }
    if (m.n < 2) {
        std::fprintf(stderr, "rvzgpu-solve: the solvers need at least 2 rows\n");
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

    std::vector<double> residual = rvzmodel::Multiply(m, r.x);
    for (size_t i = 0; i < residual.size(); ++i) residual[i] = b[i] - residual[i];
    const double trueResidual = rvzmodel::Norm(residual);
    std::printf("\nstatus %d, iterations %d, %.3f s\n", r.status, r.iter, seconds);
    std::printf("true residual ||b - A x|| = %.6e (relative to ||b||: %.3e)\n", trueResidual,
                trueResidual / rvzmodel::Norm(b));
    if (o.rhs == "exact") {
        double err = 0.0;
        for (double v : r.x) err = std::fmax(err, std::fabs(v - 1.0));
        std::printf("max |x - 1| = %.6e\n", err);
    }
    return r.status == 0 ? 0 : 2;
}
