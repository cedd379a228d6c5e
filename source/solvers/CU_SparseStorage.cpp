#include "CU_SparseStorage.h"

#include <cstddef>

namespace rvz {

namespace {

// Walks slot k (outer) and row i (inner) in storage order; `write(at, e)`
// gets the storage position and the CSR entry e of slot k, or -1 for an
// unused slot of a row and -2 for a padding row.
template <class Write>
void ForEachSlot(int nnu, int NColumnPerRow, int new_nnu, const int* ia, Write&& write)
{
    for (int k = 0; k < NColumnPerRow; ++k)
        for (int i = 0; i < new_nnu; ++i) {
            const size_t at = static_cast<size_t>(k) * static_cast<size_t>(new_nnu) + static_cast<size_t>(i);
            if (i >= nnu)
                write(at, -2);
            else if (ia[i] + k < ia[i + 1])
                write(at, ia[i] + k);
            else
                write(at, -1);
        }
}

}  // namespace

int CalcNewNNU(int nnu) { return (nnu + 255) / 256 * 256; }

int CalcMaxNColumn(int n, const int* ia)
{
    int widest = 0;
    for (int k = 1; k < n; ++k)
        if (ia[k] - ia[k - 1] > widest) widest = ia[k] - ia[k - 1];
    return widest;
}

void ConvertValuesToELL(int nnu, int NColumnPerRow, int new_nnu, const int* ia, const double* aa, double* aaELL)
{
    ForEachSlot(nnu, NColumnPerRow, new_nnu, ia,
                [&](size_t at, int e) { aaELL[at] = e >= 0 ? aa[e] : (e == -1 ? 0.0 : 1.0); });
}

void ConvertIndicesToELL(int nnu, int NColumnPerRow, int new_nnu, const int* ia, const int* ja, int* indexELL)
{
    ForEachSlot(nnu, NColumnPerRow, new_nnu, ia, [&](size_t at, int e) { indexELL[at] = e >= 0 ? ja[e] : -1; });
}

}  // namespace rvz
