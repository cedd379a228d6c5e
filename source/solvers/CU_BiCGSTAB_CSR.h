// BiCGSTAB on a CSR matrix, plain and Jacobi (right preconditioning).
#pragma once

namespace rvz {

// Solves A x = b with the breakdown test |rho| < 1e-99 and the early exit
// on a small ||s||. Prints the start line and the end line (the latter
// without a line break); returns 0, the code of a failed work allocation,
// or the platform's last error after the loop. BlockSize != 256 or a
// preconditioner other than 0 and 1: returns 0 without work.
int BiCGSTAB_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double tol,
                 double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType, int SelectedDevice);

}  // namespace rvz
