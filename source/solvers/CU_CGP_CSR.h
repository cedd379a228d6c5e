// Distributed conjugate gradient on CSR storage.
#pragma once

class CRVZCom;

namespace rvz {

// Solves A x = b for a matrix distributed by rows: the local rows' column
// indices at or above nnu name halo positions (nnu .. nnu+nHalo-1), whose
// values the caller has put into sol beyond nnu. Every reduced scalar is
// summed over all processes (CRVZCom::AllSum on `comm`); the halo of the
// search direction is refreshed through the host after each of its
// updates (pack, SendRecv with every neighbour in list order, unpack); the
// solution with refreshed halo values ends in solHost. Prints the start
// line with the rank and, on rank 0, the tolerance line. Returns 0; a
// failure (allocation or device) is reported in distributed mode and ends
// every process. BlockSize != 256 returns -1 and a preconditioner other
// than 0 or 1 returns 0, both without work. Lists and lengths are not
// validated beyond the send and receive neighbour counts agreeing.
int CGP_CSR(int BlockSize, int nnu, int nna, int* ia, int* ja, double* aa, double* rhs, double* sol, double* solHost,
            double tol, double& resIn, double& resOut, int& iter, int maxIter, int RVZPreconditionType,
            int nSendNbr, int* sendNbr, int* sendStart, int* sendIndex, int nHalo, int nRecvNbr, int* recvNbr,
            int* recvStart, int* recvIndex, int comm, int rank, CRVZCom* com, int SelectedDevice);

}  // namespace rvz
