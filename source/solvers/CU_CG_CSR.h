// Conjugate gradient on a CSR matrix, plain and Jacobi, and the CSR matrix
// product on its own.
#pragma once

namespace rvz {

// Solves A x = b (A symmetric positive definite, first entry of every row
// its diagonal). Prints the start and end lines; returns 0, the code of a
// failed work allocation, or the platform's last error after the loop.
// BlockSize != 256 or a preconditioner other than 0 and 1: returns 0
// without work.
int CG_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double tol,
           double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType, int SelectedDevice);

// Which kernel forms a CSR product: the one that reads x directly on every
// backend, or the solvers' own (on a GPU it reads the block's x from a
// shared-memory cache). Both give the same bits.
enum class CSRProductPath { Portable, Solver };

// y = A x for rows 0 .. nnu-1 (device arrays). Returns the launch status.
int CSRProduct(int nnu, const int* ia, const int* ja, const double* aa, const double* x, double* y,
               CSRProductPath path);

}  // namespace rvz
