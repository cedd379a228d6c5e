#include "fill_partition.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>

#include "CRVZCom.h"
#include "CRVZGPUtool.h"
#include "device_buffer.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace fill {

namespace {

using channel::Buf;
using D = Buf<double>;
using I = Buf<int>;

double Seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The copy lists of a part: one entry per partition face, grouped by the
// neighbour that owns the face's halo cell (ascending rank), each group in
// ascending global face order (SplitMesh lists a part's partition faces in
// that order, its own cell on the P side).
struct CopyLists {
    std::vector<int> sendCell, recvHalo;  // ijParCV, ijPar
    std::vector<int> nbr, start;          // neighbour ranks and their first entries (0-based), start.back() = size
};

CopyLists BuildCopyLists(const rvzmesh::Partition& part)
{
    const rvzmesh::Mesh& m = part.local;
    std::map<int, std::vector<int>> byNeighbour;  // rank -> local faces
    for (int f = m.nInnerFaces; f < m.nFaces; ++f)
        byNeighbour[part.ownerPart[m.ijE[f] - m.nCells]].push_back(f);
    CopyLists l;
    for (const auto& [rank, faces] : byNeighbour) {
        l.nbr.push_back(rank);
        l.start.push_back(static_cast<int>(l.sendCell.size()));
        for (int f : faces) {
            l.sendCell.push_back(m.ijP[f]);
            l.recvHalo.push_back(m.ijE[f]);
        }
    }
    l.start.push_back(static_cast<int>(l.sendCell.size()));
    return l;
}

}  // namespace

struct Partitioned::Impl {
    Impl(CRVZGPUtool& tool, CRVZCom* c, int r, int k, const rvzmesh::Mesh& w, std::vector<rvzmesh::Partition> parts)
        : t(tool), com(c), rank(r), size(k), whole(w), part(std::move(parts[static_cast<size_t>(r)])),
          lists(BuildCopyLists(part))
    {
    }

    CRVZGPUtool& t;
    CRVZCom* com;
    const int rank, size;
    const rvzmesh::Mesh& whole;
    rvzmesh::Partition part;
    CopyLists lists;
    const rvzmesh::Mesh& m = part.local;
    const int nc = m.nCells, N = m.newNNU, nPar = static_cast<int>(lists.sendCell.size());
    const int nLocal = m.nCells + m.nHalo;

    // Device copy lists and staging arrays.
    I sendCellD{t, lists.sendCell}, recvHaloD{t, lists.recvHalo};
    D outD{t, std::max(nPar, 1)}, inD{t, std::max(nPar, 1)};
    std::vector<double> outHost = std::vector<double>(static_cast<size_t>(std::max(nPar, 1)) + 1);
    std::vector<double> inHost = outHost, buffer = outHost;

    // The solver's host exchange data (1-based; host position of local
    // position l is l + 1).
    std::vector<int> nbrList, nbrStart, sendIndexHost, recvIndexHost;
    std::vector<double> fieldP = std::vector<double>(static_cast<size_t>(nLocal) + 1),
                        fieldS = std::vector<double>(static_cast<size_t>(nLocal) + 1);
    // Level table and work storage of the solver over N rows.
    int total = 0, nLevels = 0, count[16] = {}, sizes[16] = {}, offset[16] = {};
    std::vector<std::unique_ptr<D>> work;
    D x{t, N}, b{t, N}, probe{t, N};

    double exchangeSeconds = 0.0;

    void Exchange(double* hostField)
    {
        for (size_t j = 0; j < lists.nbr.size(); ++j) {
            const int first = lists.start[j], length = lists.start[j + 1] - first;
            for (int k = 0; k < length; ++k) buffer[k] = hostField[lists.sendCell[first + k]];
            com->SendRecvReplace(com->DoubleType, buffer.data(), length, lists.nbr[j], 100, lists.nbr[j], 100,
                                 com->CommHandle);
            for (int k = 0; k < length; ++k) hostField[lists.recvHalo[first + k]] = buffer[k];
        }
    }

    // Each process's value at its rank, added up over the processes.
    std::vector<double> Partials(double local)
    {
        const double start = Seconds();
        std::vector<double> mine(static_cast<size_t>(size), 0.0), all(mine);
        mine[static_cast<size_t>(rank)] = local;
        if (size > 1)
            com->AllSum(com->DoubleType, mine.data(), all.data(), size, com->CommHandle);
        else
            all = mine;
        exchangeSeconds += Seconds() - start;
        return all;
    }
};

Partitioned::Partitioned(CRVZGPUtool& tool, CRVZCom* com, int rank, int size, const rvzmesh::Mesh& whole,
                         const FillSettings& settings)
{
    if (size > whole.nCells)
        FailAt(settings, {"mesh", "geometry"},
               "the mesh has " + std::to_string(whole.nCells) + " cells, fewer than the " + std::to_string(size) +
                   " processes of the run (each process needs at least one cell)");
    if (size > 1 && com == nullptr) throw std::runtime_error("a partitioned run needs the message-passing class");
    p_ = std::make_unique<Impl>(tool, com, rank, size, whole,
                                rvzmesh::SplitMesh(whole, rvzmesh::PartitionCells(whole, size), size));
    Impl& p = *p_;
    p.nbrList.push_back(0);
    p.nbrStart.assign(static_cast<size_t>(size), 0);
    for (size_t j = 0; j < p.lists.nbr.size(); ++j) {
        p.nbrList.push_back(p.lists.nbr[j]);
        p.nbrStart[static_cast<size_t>(p.lists.nbr[j])] = p.lists.start[j] + 1;
    }
    p.sendIndexHost.push_back(0);
    p.recvIndexHost.push_back(0);
    for (int k = 0; k < p.nPar; ++k) {
        p.sendIndexHost.push_back(p.lists.sendCell[k] + 1);
        p.recvIndexHost.push_back(p.lists.recvHalo[k] + 1);
    }
    tool.GetSizeOfBlock(p.N, p.total, p.nLevels, p.count, p.sizes, p.offset);
    for (int k = 0; k < 15; ++k) p.work.push_back(std::make_unique<D>(tool, k < 6 ? p.total : p.N));
}

Partitioned::~Partitioned() = default;

int Partitioned::rank() const { return p_->rank; }
int Partitioned::size() const { return p_->size; }
const rvzmesh::Mesh& Partitioned::Local() const { return p_->m; }
const rvzmesh::Partition& Partitioned::Part() const { return p_->part; }
const rvzmesh::Mesh& Partitioned::Whole() const { return p_->whole; }
int Partitioned::GlobalCells() const { return p_->whole.nCells; }
int Partitioned::PartitionFaces() const { return p_->nPar; }

void Partitioned::Refresh(double* fieldD)
{
    Impl& p = *p_;
    if (p.size == 1) return;
    const double start = Seconds();
    const int blocks = rvzmesh::Blocks(p.nPar);
    if (p.nPar > 0) {
        channel::Ok(p.t.Calc_fiD2ParD2HCopyListD(p.nPar, p.sendCellD, fieldD, p.outD, blocks),
                    "Calc_fiD2ParD2HCopyListD");
        channel::Ok(p.t.DataCopyDevice2Host(p.nPar, p.outHost.data(), static_cast<double*>(p.outD)),
                    "DataCopyDevice2Host");
    }
    // Host field in local positions (the sent cells' values), exchanged in
    // place, then the received halo values back in list order.
    std::vector<double>& field = p.fieldP;
    for (int k = 0; k < p.nPar; ++k) field[p.lists.sendCell[k]] = p.outHost[k];
    p.Exchange(field.data());
    for (int k = 0; k < p.nPar; ++k) p.inHost[k] = field[p.lists.recvHalo[k]];
    if (p.nPar > 0) {
        channel::Ok(p.t.DataCopyHost2Device(p.nPar, p.inHost.data(), static_cast<double*>(p.inD)),
                    "DataCopyHost2Device");
        channel::Ok(p.t.Calc_ParH2DCopyListD2fiD(p.nPar, p.recvHaloD, p.inD, fieldD, blocks),
                    "Calc_ParH2DCopyListD2fiD");
    }
    p.exchangeSeconds += Seconds() - start;
}

double Partitioned::Sum(double local)
{
    double sum = 0.0;
    for (double v : p_->Partials(local)) sum += v;
    return sum;
}

int Partitioned::SumCount(int local) { return static_cast<int>(std::lround(Sum(static_cast<double>(local)))); }

double Partitioned::Max(double local)
{
    const std::vector<double> all = p_->Partials(local);
    return *std::max_element(all.begin(), all.end());
}

double Partitioned::MinIgnoringNaN(double local)
{
    double least = std::numeric_limits<double>::quiet_NaN();
    // NaN does not survive the sum: each process says whether it has a
    // value, and gives it.
    const std::vector<double> has = p_->Partials(std::isnan(local) ? 0.0 : 1.0);
    const std::vector<double> all = p_->Partials(std::isnan(local) ? 0.0 : local);
    for (size_t k = 0; k < all.size(); ++k)
        if (has[k] != 0.0 && !(all[k] >= least)) least = all[k];
    return least;
}

SolveResult Partitioned::Solve(int* indexELL, double* A, double* rhs, double* phi, double tol, double equationNorm)
{
    Impl& p = *p_;
    p.x.Zero();
    p.b.Zero();
    channel::Ok(p.t.DataCopyDevice2Device(p.nc, static_cast<double*>(p.x), phi), "copy");
    channel::Ok(p.t.DataCopyDevice2Device(p.nc, static_cast<double*>(p.b), rhs), "copy");
    Refresh(p.x);
    auto w = [&](int k) { return static_cast<double*>(*p.work[static_cast<size_t>(k)]); };
    const JacobiBiCGSTAB run = [&](double* sol, double tl, int maxIter, double& resIn, double& resOut, int& iter) {
        const int status = p.t.BiJCGSTABELL_woMallocPar(
            p.nc, p.m.nColumnPerRow, indexELL, A, p.b, sol, tl, resIn, resOut, iter, maxIter, w(0), w(1), w(2), w(3),
            w(4), w(5), w(6), w(7), w(8), w(9), w(10), w(11), w(12), w(13), w(14), p.N, p.nLevels, p.sizes, p.total,
            p.count, p.offset, p.N, p.com, p.size, nullptr, p.buffer.data(), p.nbrList.data(), p.nbrStart.data(),
            p.sendIndexHost.data(), p.recvIndexHost.data(), static_cast<int>(p.lists.nbr.size()), p.nPar,
            p.fieldP.data(), p.fieldS.data(), p.sendCellD, p.recvHaloD, p.outD, p.outHost.data(), p.inD,
            p.inHost.data(), rvzmesh::Blocks(p.nPar));
        if (status != 0)
            throw StepError(StepError::Kind::Device, "BiJCGSTABELL_woMallocPar returned " + std::to_string(status));
    };
    const double rhsNorm = equationNorm >= 0.0 ? equationNorm : OwnedNorm(p.t, rhs, p.nc, [this](double v) { return Sum(v); });
    const SolveResult r = SolveToReachableResidual(p.t, run, p.x, p.probe, p.N, rhsNorm, tol);
    channel::Ok(p.t.DataCopyDevice2Device(p.nc, phi, static_cast<double*>(p.x)), "copy");
    Refresh(phi);
    return r;
}

std::vector<double> Partitioned::Gather(const std::vector<double>& owned)
{
    Impl& p = *p_;
    std::vector<double> mine(static_cast<size_t>(p.whole.nCells), 0.0), all(mine);
    for (int c = 0; c < p.nc; ++c) mine[static_cast<size_t>(p.part.globalCell[c])] = owned[static_cast<size_t>(c)];
    if (p.size > 1)
        p.com->AllSum(p.com->DoubleType, mine.data(), all.data(), p.whole.nCells, p.com->CommHandle);
    else
        all = mine;
    return all;
}

double Partitioned::TakeExchangeSeconds()
{
    const double s = p_->exchangeSeconds;
    p_->exchangeSeconds = 0.0;
    return s;
}

}  // namespace fill
