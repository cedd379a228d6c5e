// Row partitions of a sparse matrix for the distributed solvers, without a
// mesh: each process owns a set of rows and keeps, after its own unknowns,
// halo copies of the unknowns of other processes that its rows couple to.
//
// Couplings are taken from the symmetric closure of the matrix pattern: row
// i couples to j when A(i,j) or A(j,i) is stored. So every neighbour relation
// is mutual, and both sides of a pair derive the same lists in the same
// order without talking to each other.
//
// Local numbering: owned rows first, in ascending global order; then the
// halo, grouped by owning rank (ascending), each group in ascending global
// order. Neighbour ranks are listed in ascending order.
#pragma once

#include <vector>

namespace rvzpart {

// Owner rank of every row for `parts` contiguous blocks of rows whose sizes
// differ by at most one (the first n % parts blocks are one row longer).
std::vector<int> RowBlockOwners(int n, int parts);

// Owner rank of every point of an nx x ny x nz grid numbered
// i + nx*(j + ny*k): slabs of whole z-planes, the planes shared out as in
// RowBlockOwners. Needs 1 <= parts <= nz.
std::vector<int> SlabOwners(int nx, int ny, int nz, int parts);

// One process's share of a matrix.
struct Part {
    int rank = 0;
    int parts = 1;
    int nnu = 0;    // owned rows
    int nHalo = 0;  // halo positions nnu .. nnu+nHalo-1

    // Global row of every local position (owned, then halo).
    std::vector<int> global;

    // The owned rows in CSR with local column indices, the entries of each
    // row in their global order (a diagonal stored first stays first).
    std::vector<int> ia, ja;
    std::vector<double> aa;

    // Exchange lists with packing: per neighbour j, the owned positions whose
    // values it needs (send) and the halo positions its values fill
    // (receive), both in ascending global order. The two neighbour lists are
    // the same ranks in the same order.
    std::vector<int> sendNbr, sendStart, sendIndex;
    std::vector<int> recvNbr, recvStart, recvIndex;

    // Copy lists of the in-place exchange: one entry per coupling (i owned,
    // j of a neighbour); entry k sends the value at ijParCV[k] and receives
    // into halo position ijPar[k]. Entries are grouped by neighbour in the
    // order of nbrList and, within a pair of ranks, ordered by (row on the
    // lower rank, row on the higher rank), so both sides agree.
    std::vector<int> ijParCV, ijPar;

    // The same data as the host solver keeps it, 1-based (element 0 unused):
    // host position of local position l is l + 1; nbrList[1..nNbr] are the
    // neighbour ranks; nbrStart[rank] is the first entry of that neighbour's
    // block in sendIndexHost/recvIndexHost (1 .. NParInterFace).
    std::vector<int> nbrList, nbrStart, sendIndexHost, recvIndexHost;

    int nna() const { return static_cast<int>(ja.size()); }
    int nNbr() const { return static_cast<int>(sendNbr.size()); }
    int nParInterFace() const { return static_cast<int>(ijPar.size()); }
    int localLength() const { return nnu + nHalo; }

    // Owned and halo values of a global vector, in local order.
    std::vector<double> Localise(const std::vector<double>& globalVector) const;
};

// The part of `rank` of an n-row CSR matrix (0-based) split by `owner`
// (a rank in 0 .. parts-1 for every row).
Part BuildPart(int n, const std::vector<int>& ia, const std::vector<int>& ja, const std::vector<double>& aa,
               const std::vector<int>& owner, int rank, int parts);

}  // namespace rvzpart
