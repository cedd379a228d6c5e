// Distributed Jacobi BiCGSTAB on ELL storage in caller-provided storage.
#pragma once

class CRVZCom;

namespace rvz {

// BiJCGSTABELL_woMalloc over processes: the same arguments, then the
// message-passing object, the process count, an unused array, the exchange
// buffer (entries 1 .. the longest neighbour block), the 1-based host
// exchange data (nbrList[1..nNbr], nbrStart indexed by rank,
// sendIndexHost and recvIndexHost [1..NParInterFace]), the host fields of
// pHat and sHat (indexed by the 1-based host positions), the device copy
// lists ijParCVD and ijParD, the device and host staging arrays of each
// direction and the grid of the copy-list kernels. Every reduced scalar is
// summed over the processes (not with one process); pHat and sHat have
// their halo refreshed just before their products. Prints nothing unless a
// device failure is found after the loop ("Parallel BiJCGSTAB Computing
// failed", reported without abort, with the countdown) and returned.
// BlockSize != 256: returns 0 without work. Nothing is validated.
int BiJCGSTABELL_woMallocPar(int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                             double* sol, double tol, double& resIn, double& resOut, int& iter, int maxIter,
                             double* resNextLevelD, double* aDenominatorNextLevelD, double* rhoNextLevelD,
                             double* sNextLevelD, double* omegaNumeratorNextLevelD,
                             double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD,
                             double* restiltD, double* sD, double* tD, double* diagonal_reciprocalD, double* ssD,
                             double* ppD, int new_nnu, int nLevels, int* size, int total, int* count, int* offset,
                             int workLength, CRVZCom* com, int nProcs, double* unused, double* exchangeBuffer,
                             int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
                             int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD,
                             double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD,
                             double* ParH2DCopyListHost, int copyGrid, int SelectedDevice);

// The same solve; it creates one stream, on which the eight-byte copies of
// the initial residual sum and of rho are queued and waited for, and
// destroys it before returning. Failure message "Parallel BiJCGSTAB-Stream
// Computing failed".
int BiJCGSTABELL_woMallocPar_Stream(
    int BlockSize, int nnu, int NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol, double tol,
    double& resIn, double& resOut, int& iter, int maxIter, double* resNextLevelD, double* aDenominatorNextLevelD,
    double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
    double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD, double* diagonal_reciprocalD,
    double* ssD, double* ppD, int new_nnu, int nLevels, int* size, int total, int* count, int* offset, int workLength,
    CRVZCom* com, int nProcs, double* unused, double* exchangeBuffer, int* nbrList, int* nbrStart, int* sendIndexHost,
    int* recvIndexHost, int nNbr, int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD,
    int* ijParD, double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD,
    double* ParH2DCopyListHost, int copyGrid, int SelectedDevice);

}  // namespace rvz
