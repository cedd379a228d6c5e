#include "RVZPartition.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace rvzpart {

namespace {

// First row of block b when n rows are shared out over `parts` blocks.
long long block_start(long long n, int parts, int b)
{
    const long long base = n / parts;
    const long long extra = n % parts;
    return b * base + std::min<long long>(b, extra);
}

// Rows coupled to each row of `mine` through the symmetric closure.
std::vector<std::vector<int>> couplings_of(int n, const std::vector<int>& ia, const std::vector<int>& ja,
                                           const std::vector<int>& owner, int rank)
{
    std::vector<std::vector<int>> adj(static_cast<size_t>(n));
    for (int r = 0; r < n; ++r)
        for (int k = ia[r]; k < ia[r + 1]; ++k) {
            const int c = ja[k];
            if (c == r) continue;
            if (owner[r] == rank) adj[r].push_back(c);
            if (owner[c] == rank) adj[c].push_back(r);
        }
    for (auto& a : adj) {
        std::sort(a.begin(), a.end());
        a.erase(std::unique(a.begin(), a.end()), a.end());
    }
    return adj;
}

}  // namespace

std::vector<int> RowBlockOwners(int n, int parts)
{
    if (parts < 1 || n < 0) throw std::invalid_argument("RowBlockOwners: need parts >= 1 and n >= 0");
    std::vector<int> owner(static_cast<size_t>(n));
    for (int b = 0; b < parts; ++b)
        for (long long r = block_start(n, parts, b); r < block_start(n, parts, b + 1); ++r) owner[r] = b;
    return owner;
}

std::vector<int> SlabOwners(int nx, int ny, int nz, int parts)
{
    if (parts < 1 || parts > nz) throw std::invalid_argument("SlabOwners: need 1 <= parts <= nz");
    const std::vector<int> plane = RowBlockOwners(nz, parts);
    std::vector<int> owner(static_cast<size_t>(nx) * ny * nz);
    for (size_t p = 0; p < owner.size(); ++p) owner[p] = plane[p / (static_cast<size_t>(nx) * ny)];
    return owner;
}

std::vector<double> Part::Localise(const std::vector<double>& globalVector) const
{
    std::vector<double> local(global.size());
    for (size_t l = 0; l < global.size(); ++l) local[l] = globalVector[global[l]];
    return local;
}

Part BuildPart(int n, const std::vector<int>& ia, const std::vector<int>& ja, const std::vector<double>& aa,
               const std::vector<int>& owner, int rank, int parts)
{
    if (static_cast<int>(owner.size()) != n || static_cast<int>(ia.size()) != n + 1)
        throw std::invalid_argument("BuildPart: owner and ia must describe n rows");
    for (int o : owner)
        if (o < 0 || o >= parts) throw std::invalid_argument("BuildPart: owner rank out of range");

    Part part;
    part.rank = rank;
    part.parts = parts;
    const auto adj = couplings_of(n, ia, ja, owner, rank);

    std::vector<int> local(static_cast<size_t>(n), -1);
    for (int r = 0; r < n; ++r)
        if (owner[r] == rank) {
            local[r] = static_cast<int>(part.global.size());
            part.global.push_back(r);
        }
    part.nnu = static_cast<int>(part.global.size());

    // Halo rows, by (owner, global row).
    std::vector<std::pair<int, int>> halo;
    for (int r : std::vector<int>(part.global))
        for (int c : adj[r])
            if (owner[c] != rank) halo.emplace_back(owner[c], c);
    std::sort(halo.begin(), halo.end());
    halo.erase(std::unique(halo.begin(), halo.end()), halo.end());
    for (const auto& h : halo) {
        local[h.second] = static_cast<int>(part.global.size());
        part.global.push_back(h.second);
    }
    part.nHalo = static_cast<int>(halo.size());

    // Local matrix.
    part.ia.push_back(0);
    for (int l = 0; l < part.nnu; ++l) {
        const int r = part.global[l];
        for (int k = ia[r]; k < ia[r + 1]; ++k) {
            part.ja.push_back(local[ja[k]]);
            part.aa.push_back(aa[k]);
        }
        part.ia.push_back(static_cast<int>(part.ja.size()));
    }

    // Neighbours in ascending rank order (the halo is already grouped so).
    for (const auto& h : halo)
        if (part.sendNbr.empty() || part.sendNbr.back() != h.first) part.sendNbr.push_back(h.first);
    part.recvNbr = part.sendNbr;

    part.sendStart.push_back(0);
    part.recvStart.push_back(0);
    part.nbrList.assign(part.sendNbr.size() + 2, 0);
    part.nbrStart.assign(static_cast<size_t>(parts), 0);
    part.sendIndexHost.push_back(0);
    part.recvIndexHost.push_back(0);
    for (size_t m = 0; m < part.sendNbr.size(); ++m) {
        const int p = part.sendNbr[m];
        // Owned rows coupled to p, and the couplings themselves keyed by
        // (row on the lower rank, row on the higher rank).
        std::vector<std::pair<std::pair<int, int>, std::pair<int, int>>> pairs;
        for (int l = 0; l < part.nnu; ++l) {
            const int r = part.global[l];
            bool coupled = false;
            for (int c : adj[r])
                if (owner[c] == p) {
                    coupled = true;
                    const auto key = rank < p ? std::make_pair(r, c) : std::make_pair(c, r);
                    pairs.push_back({key, {l, local[c]}});
                }
            if (coupled) part.sendIndex.push_back(l);
        }
        part.sendStart.push_back(static_cast<int>(part.sendIndex.size()));
        for (int l = part.nnu; l < part.localLength(); ++l)
            if (owner[part.global[l]] == p) part.recvIndex.push_back(l);
        part.recvStart.push_back(static_cast<int>(part.recvIndex.size()));

        std::sort(pairs.begin(), pairs.end());
        part.nbrList[m + 1] = p;
        part.nbrStart[p] = static_cast<int>(part.ijPar.size()) + 1;
        for (const auto& e : pairs) {
            part.ijParCV.push_back(e.second.first);
            part.ijPar.push_back(e.second.second);
            part.sendIndexHost.push_back(e.second.first + 1);
            part.recvIndexHost.push_back(e.second.second + 1);
        }
    }
    return part;
}

}  // namespace rvzpart
