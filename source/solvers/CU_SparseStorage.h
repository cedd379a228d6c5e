// Host-side sizing and conversion of CSR matrices into the padded,
// slot-major ELL storage: slot k of row i at position i + k * new_nnu.
#pragma once

namespace rvz {

// nnu rounded up to a multiple of 256.
int CalcNewNNU(int nnu);
// Largest ia[k] - ia[k-1] over k = 1 .. n-1; 0 when n < 2 or none is positive.
int CalcMaxNColumn(int n, const int* ia);
// ELL values: CSR entries in row order, 0.0 in unused slots of a row,
// 1.0 in every slot of a padding row (i >= nnu).
void ConvertValuesToELL(int nnu, int NColumnPerRow, int new_nnu, const int* ia, const double* aa, double* aaELL);
// ELL column indices: CSR columns in row order, -1 in unused and padding slots.
void ConvertIndicesToELL(int nnu, int NColumnPerRow, int new_nnu, const int* ia, const int* ja, int* indexELL);

}  // namespace rvz
