// Conjugate gradient on an ELL matrix, plain and Jacobi, and the ELL matrix
// product on its own.
#pragma once

namespace rvz {

// new_nnu: nnu rounded up to a whole number of 256-row blocks.
inline int PaddedRows(int nnu) { return (nnu + 255) / 256 * 256; }

// Solves A x = b; rhs and sol hold new_nnu entries. Prints the start,
// memory and end lines; returns 0, the code of a failed work allocation, or
// the platform's last error after the loop. BlockSize != 256 or a
// preconditioner other than 0 and 1: returns 0 without work.
int CG_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
           double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
           int SelectedDevice);

// y = A x for rows 0 .. nnu-1 of an ELL matrix with new_nnu rows (device
// arrays). Returns the launch status.
int ELLProduct(int nnu, int new_nnu, int NColumnPerRow, const int* indexELL, const double* aaELL, const double* x,
               double* y);

}  // namespace rvz
