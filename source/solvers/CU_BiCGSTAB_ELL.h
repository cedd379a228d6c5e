// BiCGSTAB on an ELL matrix: the plain method with the breakdown test
// |rho| < 1e-99 and its messages, the Jacobi method with exact-zero
// breakdown tests and no messages.
#pragma once

namespace rvz {

// Solves A x = b; rhs and sol hold new_nnu entries. Returns 0, the code of
// a failed work allocation, or the platform's last error after the loop.
// BlockSize != 256 or a preconditioner other than 0 and 1: returns 0
// without work.
int BiCGSTAB_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
                 double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
                 int SelectedDevice);

}  // namespace rvz
