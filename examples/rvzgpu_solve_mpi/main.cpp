// rvzgpu-solve-mpi: rvzgpu-solve's model problems and Matrix Market files
// solved by the distributed solvers under mpirun. Every rank reads or
// generates the whole matrix, keeps its block of rows (with halo columns),
// solves its part, and rank 0 checks the assembled solution on the host
// with the same true-residual lines as rvzgpu-solve.
#include <mpi.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "CRVZComMPI.h"
#include "CRVZGPUtool.h"
#include "RVZPartition.h"
#include "matrix_market.h"
#include "model_problems.h"
#include "solve_checks.h"

namespace {

const char* kUsage =
    "Usage: mpirun -np K rvzgpu-solve-mpi [options] [matrix.mtx]\n"
    "\n"
    "Solves A x = b with the distributed conjugate gradient (CGP_CSR, CGP_ELL)\n"
    "or the distributed Jacobi BiCGSTAB in caller storage\n"
    "(BiJCGSTABELL_woMallocPar), the rows split over the K processes, and\n"
    "prints the true residual ||b - A x|| of the assembled solution.\n"
    "\n"
    "Options (as rvzgpu-solve where they share a name):\n"
    "  --method cg|bicgstab-caller   (default: cg when symmetric)\n"
    "  --stream                      bicgstab-caller through the stream driver\n"
    "  --storage csr|ell             cg only (default: ell)\n"
    "  --precond none|jacobi         cg only (default: jacobi)\n"
    "  --tol X                       0 < X < 1 (default: 1e-8)\n"
    "  --maxiter N                   at least 1 (default: 10000)\n"
    "  --problem poisson|convection  --grid N  --rhs exact|ones\n"
    "  --split slabs|rows            z-slabs of the generated grid, or equal\n"
    "                                blocks of rows (default: slabs for a\n"
    "                                generated problem, rows for a file)\n"
    "  --serial                      rank 0 also solves the whole system with\n"
    "                                the serial solver and prints its residual\n"
    "\n"
    "Every process holds the whole matrix while it builds its part: sizes are\n"
    "checked against 32-bit indices and K times the memory of one copy against\n"
    "the machine's before anything large is allocated.\n"
    "\n"
    "Exit status: 0 converged, 1 bad input, options or sizes, 2 the library\n"
    "reported a failure, 3 not converged or a non-finite solution.\n"
    "\n"
    "Under OpenMPI as root, or with more processes than cores, add\n"
    "--allow-run-as-root and --oversubscribe to the mpirun line.\n";

struct Options {
    std::string method, storage = "ell", precond = "jacobi", problem = "poisson", rhs = "exact", split, file;
    double tol = 1e-8;
    int maxIter = 10000, grid = 32;
    bool stream = false, serial = false;
};

int g_rank = 0;

[[noreturn]] void Fail(int code, const std::string& message)
{
    if (g_rank == 0) std::fprintf(stderr, "rvzgpu-solve-mpi: %s\n", message.c_str());
    MPI_Finalize();
    std::exit(code);
}

Options Parse(int argc, char** argv)
try {
    Options o;
    for (int k = 1; k < argc; ++k) {
        const std::string a = argv[k];
        if (a == "--help") {
            if (g_rank == 0) std::fputs(kUsage, stdout);
            MPI_Finalize();
            std::exit(0);
        }
        if (a == "--stream" || a == "--serial") {
            (a == "--stream" ? o.stream : o.serial) = true;
            continue;
        }
        if (a.rfind("--", 0) != 0) {
            if (!o.file.empty()) Fail(1, "more than one matrix file given");
            o.file = a;
            continue;
        }
        if (k + 1 >= argc) Fail(1, a + " needs a value");
        const std::string v = argv[++k];
        if (a == "--method" && (v == "cg" || v == "bicgstab-caller")) o.method = v;
        else if (a == "--storage" && (v == "csr" || v == "ell")) o.storage = v;
        else if (a == "--precond" && (v == "none" || v == "jacobi")) o.precond = v;
        else if (a == "--problem" && (v == "poisson" || v == "convection")) o.problem = v;
        else if (a == "--rhs" && (v == "exact" || v == "ones")) o.rhs = v;
        else if (a == "--split" && (v == "slabs" || v == "rows")) o.split = v;
        else if (a == "--tol") o.tol = rvzmodel::ParseTolerance(a, v.c_str());
        else if (a == "--maxiter") o.maxIter = rvzmodel::ParseInteger(a, v.c_str(), 1);
        else if (a == "--grid") o.grid = rvzmodel::ParseInteger(a, v.c_str(), 2);
        else Fail(1, "bad option or value: " + a + " " + v);
    }
    if (o.file.empty()) rvzmodel::CheckGrid(o.grid);
    return o;
} catch (const rvzmodel::InputError& e) {
    Fail(1, e.what());
}

template <class T>
T* Upload(CRVZGPUtool& tool, std::vector<T> values, std::vector<std::shared_ptr<void>>& keep)
{
    T* p = nullptr;
    const int n = static_cast<int>(values.size());
    if (n > 0 && (tool.AllocateDeviceMemory(n, p) != 0 || tool.DataCopyHost2Device(n, values.data(), p) != 0))
        Fail(2, "cannot place values on the device");
    if (p != nullptr) keep.emplace_back(p, [&tool](void* q) { tool.FreeDeviceMemory(static_cast<T*>(q)); });
    return p;
}

struct Ell {
    int new_nnu = 0, ncol = 0;
    std::vector<int> index;
    std::vector<double> values;
};

Ell ToEll(CRVZGPUtool& tool, int nnu, std::vector<int> ia, std::vector<int> ja, std::vector<double> aa)
{
    Ell e;
    e.new_nnu = tool.CalcNewNNU(nnu);
    const int n1 = nnu + 1;
    e.ncol = tool.CalcMaxNColumn(n1, ia.data());
    e.index.resize(static_cast<size_t>(e.ncol) * e.new_nnu);
    e.values.resize(e.index.size());
    tool.ja2indexELL(nnu, e.ncol, e.new_nnu, ia.data(), ja.data(), e.index.data());
    tool.aa2aaELLd(nnu, e.ncol, e.new_nnu, ia.data(), aa.data(), e.values.data());
    return e;
}

struct Outcome {
    int status = 0, iter = 0;
    double resIn = 0.0, resOut = 0.0;
    std::vector<double> x;  // owned rows
};

Outcome SolveCG(CRVZGPUtool& tool, CRVZComMPI& com, const Options& o, const rvzpart::Part& p,
                const std::vector<double>& bGlobal)
{
    Outcome r;
    std::vector<std::shared_ptr<void>> keep;
    const std::vector<double> bLocal = p.Localise(bGlobal);
    std::vector<double> b(bLocal.begin(), bLocal.begin() + p.nnu);
    std::vector<int> sendNbr(p.sendNbr), sendStart(p.sendStart), sendIndex(p.sendIndex), recvNbr(p.recvNbr),
        recvStart(p.recvStart), recvIndex(p.recvIndex);
    sendIndex.push_back(0);
    recvIndex.push_back(0);
    int nSend = p.nNbr(), nRecv = p.nNbr(), nHalo = p.nHalo, comm = com.CommHandle, rank = p.rank, unused = 0;
    const int type = o.precond == "jacobi" ? 1 : 0;
    std::vector<double> solHost(static_cast<size_t>(p.localLength()));
    if (o.storage == "csr") {
        int* ia = Upload(tool, p.ia, keep);
        int* ja = Upload(tool, p.ja, keep);
        double* aa = Upload(tool, p.aa, keep);
        double* rhs = Upload(tool, b, keep);
        double* sol = Upload(tool, std::vector<double>(static_cast<size_t>(p.localLength()), 0.0), keep);
        r.status = tool.CGP_CSR(p.nnu, p.nna(), ia, ja, aa, rhs, sol, solHost.data(), o.tol, r.resIn, r.resOut,
                                r.iter, o.maxIter, type, unused, nSend, sendNbr.data(), sendStart.data(),
                                sendIndex.data(), nHalo, nRecv, recvNbr.data(), recvStart.data(), recvIndex.data(),
                                comm, rank, unused, &com);
    } else {
        const Ell e = ToEll(tool, p.nnu, p.ia, p.ja, p.aa);
        int* index = Upload(tool, e.index, keep);
        double* aa = Upload(tool, e.values, keep);
        b.resize(static_cast<size_t>(e.new_nnu), 0.0);
        double* rhs = Upload(tool, b, keep);
        const size_t length = static_cast<size_t>(std::max(e.new_nnu, p.localLength()));
        double* sol = Upload(tool, std::vector<double>(length, 0.0), keep);
        r.status = tool.CGP_ELL(p.nnu, e.ncol, index, aa, rhs, sol, solHost.data(), o.tol, r.resIn, r.resOut, r.iter,
                                o.maxIter, type, unused, nSend, sendNbr.data(), sendStart.data(), sendIndex.data(),
                                nHalo, nRecv, recvNbr.data(), recvStart.data(), recvIndex.data(), comm, rank, unused,
                                &com);
    }
    r.x.assign(solHost.begin(), solHost.begin() + p.nnu);
    return r;
}

Outcome SolveBiJCGSTAB(CRVZGPUtool& tool, CRVZComMPI& com, const Options& o, const rvzpart::Part& p,
                       const std::vector<double>& bGlobal)
{
    Outcome r;
    std::vector<std::shared_ptr<void>> keep;
    const Ell e = ToEll(tool, p.nnu, p.ia, p.ja, p.aa);
    const int workLength = std::max(e.new_nnu, p.localLength());
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    tool.GetSizeOfBlock(e.new_nnu, total, nLevels, count, size, offset);
    double* w[15];
    for (int k = 0; k < 15; ++k) w[k] = Upload(tool, std::vector<double>(k < 6 ? total : workLength, 0.0), keep);
    const std::vector<double> bLocal = p.Localise(bGlobal);
    std::vector<double> b(bLocal.begin(), bLocal.begin() + p.nnu);
    b.resize(static_cast<size_t>(e.new_nnu), 0.0);
    int* index = Upload(tool, e.index, keep);
    double* aa = Upload(tool, e.values, keep);
    double* rhs = Upload(tool, b, keep);
    double* sol = Upload(tool, std::vector<double>(static_cast<size_t>(workLength), 0.0), keep);
    const int nPar = p.nParInterFace();
    int* ijParCVD = Upload(tool, p.ijParCV, keep);
    int* ijParD = Upload(tool, p.ijPar, keep);
    double* d2h = Upload(tool, std::vector<double>(static_cast<size_t>(nPar), 0.0), keep);
    double* h2d = Upload(tool, std::vector<double>(static_cast<size_t>(nPar), 0.0), keep);
    std::vector<double> d2hHost(static_cast<size_t>(nPar) + 1), h2dHost(d2hHost), buffer(d2hHost);
    std::vector<double> fieldP(static_cast<size_t>(p.localLength()) + 1), fieldS(fieldP);
    std::vector<int> nbrList(p.nbrList), nbrStart(p.nbrStart), sendIndexHost(p.sendIndexHost),
        recvIndexHost(p.recvIndexHost);
    auto solve = o.stream ? &CRVZGPUtool::BiJCGSTABELL_woMallocPar_Stream : &CRVZGPUtool::BiJCGSTABELL_woMallocPar;
    const int nProcs = com.Size();
    r.status = (tool.*solve)(p.nnu, e.ncol, index, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, w[0],
                             w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9], w[10], w[11], w[12], w[13], w[14],
                             e.new_nnu, nLevels, size, total, count, offset, workLength, &com, nProcs, nullptr,
                             buffer.data(), nbrList.data(), nbrStart.data(), sendIndexHost.data(),
                             recvIndexHost.data(), p.nNbr(), nPar, fieldP.data(), fieldS.data(), ijParCVD, ijParD,
                             d2h, d2hHost.data(), h2d, h2dHost.data(), (nPar + 255) / 256);
    r.x.resize(static_cast<size_t>(p.nnu));
    if (p.nnu > 0) tool.DataCopyDevice2Host(p.nnu, r.x.data(), sol);
    return r;
}

// The serial solve of the whole system on rank 0, for comparison.
Outcome SolveSerial(CRVZGPUtool& tool, const Options& o, const rvzmodel::CsrMatrix& m, const std::vector<double>& b)
{
    Outcome r;
    std::vector<std::shared_ptr<void>> keep;
    const Ell e = ToEll(tool, m.n, m.ia, m.ja, m.aa);
    std::vector<double> padded(b);
    padded.resize(static_cast<size_t>(e.new_nnu), 0.0);
    const int type = o.precond == "jacobi" ? 1 : 0;
    if (o.method == "cg" && o.storage == "csr") {
        int* ia = Upload(tool, m.ia, keep);
        int* ja = Upload(tool, m.ja, keep);
        double* aa = Upload(tool, m.aa, keep);
        double* rhs = Upload(tool, b, keep);
        double* sol = Upload(tool, std::vector<double>(b.size(), 0.0), keep);
        r.status = tool.CG_CSR(m.n, m.nna(), ia, ja, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, type);
        r.x.resize(b.size());
        tool.DataCopyDevice2Host(m.n, r.x.data(), sol);
        return r;
    }
    int* index = Upload(tool, e.index, keep);
    double* aa = Upload(tool, e.values, keep);
    double* rhs = Upload(tool, padded, keep);
    double* sol = Upload(tool, std::vector<double>(padded.size(), 0.0), keep);
    if (o.method == "cg") {
        r.status = tool.CG_ELL(m.n, e.ncol, index, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter, o.maxIter, type);
    } else {
        int total = 0, nLevels = 0, count[16], size[16], offset[16];
        tool.GetSizeOfBlock(e.new_nnu, total, nLevels, count, size, offset);
        double* w[15];
        for (int k = 0; k < 15; ++k) w[k] = Upload(tool, std::vector<double>(k < 6 ? total : e.new_nnu, 0.0), keep);
        r.status = tool.BiJCGSTABELL_woMalloc(m.n, e.ncol, index, aa, rhs, sol, o.tol, r.resIn, r.resOut, r.iter,
                                              o.maxIter, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9],
                                              w[10], w[11], w[12], w[13], w[14], e.new_nnu, nLevels, size, total,
                                              count, offset, e.new_nnu);
    }
    r.x.resize(static_cast<size_t>(m.n));
    tool.DataCopyDevice2Host(m.n, r.x.data(), sol);
    return r;
}

double TrueResidual(const rvzmodel::CsrMatrix& m, const std::vector<double>& b, const std::vector<double>& x)
{
    std::vector<double> r = rvzmodel::Multiply(m, x);
    for (size_t i = 0; i < r.size(); ++i) r[i] = b[i] - r[i];
    return rvzmodel::Norm(r);
}

}  // namespace

int main(int argc, char** argv)
try {
    MPI_Init(&argc, &argv);
    MPI_Comm_rank(MPI_COMM_WORLD, &g_rank);
    int nProcs = 1;
    MPI_Comm_size(MPI_COMM_WORLD, &nProcs);
    Options o = Parse(argc, argv);

    rvzmodel::CsrMatrix m;
    bool symmetric = true;
    try {
        if (!o.file.empty()) {
            rvzmodel::MatrixMarketInfo info;
            m = rvzmodel::ReadMatrixMarketFile(o.file, &info);
            symmetric = info.symmetric;
        } else {
            symmetric = o.problem == "poisson";
            const int g = o.grid;
            rvzmodel::RequireMemory(nProcs * (rvzmodel::SolveBytes(rvzmodel::GridRows(g), rvzmodel::GridEntries(g), 7,
                                                                   o.storage == "ell") +
                                              12.0 * static_cast<double>(rvzmodel::GridEntries(g))),
                                    "--grid " + std::to_string(g) + " on " + std::to_string(nProcs) + " processes");
            m = symmetric ? rvzmodel::Poisson3D(g, g, g) : rvzmodel::ConvectionDiffusion3D(g, g, g, 4.0, 1.0, 0.5);
        }
        if (o.method.empty()) o.method = symmetric ? "cg" : "bicgstab-caller";
        if (o.method != "cg" || o.precond == "jacobi")
            rvzmodel::CheckJacobiDiagonal(m, o.file.empty() ? "generated matrix" : o.file);
        // Every process holds the whole matrix and its own part.
        int ncol = 0;
        for (int i = 0; i < m.n; ++i) ncol = std::max(ncol, m.ia[i + 1] - m.ia[i]);
        const bool ell = o.method != "cg" || o.storage == "ell";
        if (ell) rvzmodel::CheckEllSize(m.n, ncol);
        rvzmodel::RequireMemory(nProcs * (12.0 * m.nna() + rvzmodel::SolveBytes(m.n, m.nna(), ncol, ell)),
                                "solving " + std::to_string(m.n) + " rows on " + std::to_string(nProcs) + " processes");
    } catch (const std::runtime_error& e) {  // MatrixMarketError, InputError
        Fail(1, e.what());
    }
    if (o.split.empty()) o.split = o.file.empty() ? "slabs" : "rows";
    if (o.split == "slabs" && (!o.file.empty() || nProcs > o.grid))
        Fail(1, "--split slabs needs a generated grid with at least K planes");
    if (m.n < 2 * nProcs)
        Fail(1, (o.file.empty() ? "" : o.file + ": ") + std::to_string(m.n) + " rows are too few for " +
                    std::to_string(nProcs) + " processes (at least 2 a process)");
    if (g_rank == 0) {
        std::printf("%d rows, %d entries on %d processes (%s); method %s, storage %s, preconditioner %s, tol %g\n",
                    m.n, m.nna(), nProcs, o.split.c_str(), o.method.c_str(),
                    o.method == "cg" ? o.storage.c_str() : "ell", o.method == "cg" ? o.precond.c_str() : "jacobi",
                    o.tol);
        std::fflush(stdout);
    }

    const std::vector<double> exact(static_cast<size_t>(m.n), 1.0);
    const std::vector<double> b = o.rhs == "exact" ? rvzmodel::Multiply(m, exact) : exact;
    const std::vector<int> owner = o.split == "slabs" ? rvzpart::SlabOwners(o.grid, o.grid, o.grid, nProcs)
                                                      : rvzpart::RowBlockOwners(m.n, nProcs);
    const rvzpart::Part part = rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, owner, g_rank, nProcs);

    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) Fail(2, "cannot use device 0");
    CRVZComMPI com;
    const Outcome r = o.method == "cg" ? SolveCG(tool, com, o, part, b) : SolveBiJCGSTAB(tool, com, o, part, b);

    std::vector<double> mine(static_cast<size_t>(m.n), 0.0), x(static_cast<size_t>(m.n), 0.0);
    for (int l = 0; l < part.nnu; ++l) mine[part.global[l]] = r.x[l];
    MPI_Reduce(mine.data(), x.data(), m.n, MPI_DOUBLE, MPI_SUM, 0, MPI_COMM_WORLD);
    int failed = r.status != 0, anyFailed = 0;
    MPI_Allreduce(&failed, &anyFailed, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    int exitCode = anyFailed ? 2 : 0;
    if (g_rank == 0) {
        const double trueResidual = TrueResidual(m, b, x);
        const double normB = rvzmodel::Norm(b);
        std::printf("\nstatus %d, iterations %d\n", r.status, r.iter);
        std::printf("true residual ||b - A x|| = %.6e (relative to ||b||: %.3e)\n", trueResidual,
                    trueResidual / normB);
        if (o.rhs == "exact") std::printf("max |x - 1| = %.6e\n", rvzmodel::MaxErrorFromOnes(x));
        const rvzmodel::Verdict verdict = rvzmodel::Judge(x, r.resIn, r.resOut, trueResidual, normB, o.tol);
        if (anyFailed) {
            std::fflush(stdout);
            std::fprintf(stderr, "rvzgpu-solve-mpi: a distributed solver returned a failure status\n");
        } else if (!verdict.converged) {
            std::fflush(stdout);
            std::fprintf(stderr, "rvzgpu-solve-mpi: %s: %s\n", o.file.empty() ? "generated problem" : o.file.c_str(),
                         verdict.reason.c_str());
            exitCode = 3;
        }
        if (o.serial) {
            const Outcome s = SolveSerial(tool, o, m, b);
            const double serialResidual = TrueResidual(m, b, s.x);
            std::printf("\nserial: status %d, iterations %d\n", s.status, s.iter);
            std::printf("serial true residual ||b - A x|| = %.6e (relative to ||b||: %.3e)\n", serialResidual,
                        serialResidual / rvzmodel::Norm(b));
            std::printf("distributed / serial true residual = %.6f\n", trueResidual / serialResidual);
        }
        std::fflush(stdout);
    }
    MPI_Bcast(&exitCode, 1, MPI_INT, 0, MPI_COMM_WORLD);
    MPI_Finalize();
    return exitCode;
} catch (const std::bad_alloc&) {
    std::fprintf(stderr, "rvzgpu-solve-mpi: process %d: out of memory\n", g_rank);
    MPI_Abort(MPI_COMM_WORLD, 1);
    return 1;
}
