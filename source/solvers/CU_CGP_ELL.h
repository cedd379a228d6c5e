// Distributed conjugate gradient on ELL storage.
#pragma once

class CRVZCom;

namespace rvz {

// As CGP_CSR on ELL storage (rows padded to a multiple of 256), with a
// narrower halo refresh: the sent values are gathered on the device and
// only they cross to the host; after the exchange only the range from the
// smallest to the largest receive position goes back. Its copies run on
// three streams it creates and destroys. The solution's final halo update
// uses Isend to every neighbour, then Irecv and Wait per neighbour. No
// tolerance line is printed.
int CGP_ELL(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
            double* solHost, double tol, double& resIn, double& resOut, int& iter, int maxIter,
            int RVZPreconditionType, int nSendNbr, int* sendNbr, int* sendStart, int* sendIndex, int nHalo,
            int nRecvNbr, int* recvNbr, int* recvStart, int* recvIndex, int comm, int rank, CRVZCom* com,
            int SelectedDevice);

}  // namespace rvz
