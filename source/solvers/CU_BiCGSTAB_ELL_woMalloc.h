// Jacobi BiCGSTAB on an ELL matrix in caller-provided device storage.
#pragma once

namespace rvz {

// Solves A x = b with exact-zero breakdown tests, allocating nothing. The
// fifteen arrays are zero-filled first: six partial-sum buffers of `total`
// doubles (residual, alpha denominator, rho, s, omega numerator, omega
// denominator) and nine vectors of workLength doubles (r, P, v, rtilde, s,
// t, inverse diagonal, sHat, pHat). The level table is GetSizeOfBlock's
// for new_nnu; grids have size[1] blocks. Nothing is printed except a
// failure ("Serial BiJCGSTAB Computing failed"). The level table and the
// array lengths are not validated. BlockSize != 256: returns 0 without work.
int BiJCGSTABELL_woMalloc(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                          double* sol, double tol, double& resIn, double& resOut, int& iter, int maxIter,
                          double* resNextLevelD, double* aDenominatorNextLevelD, double* rhoNextLevelD,
                          double* sNextLevelD, double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
                          double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD,
                          double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels,
                          int* size, int total, int* count, int* offset, int workLength, int SelectedDevice);

}  // namespace rvz
