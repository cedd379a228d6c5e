// Facade methods of the distributed solvers.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_BiCGSTAB_ELL_woMallocPar.h"
#include "CU_CGP_CSR.h"
#include "CU_CGP_ELL.h"

int CRVZGPUtool::CGP_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs, double* sol,
                         double* solHost, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                         RVZPreconditionType preconditioner, int& /*notUsed1*/, int& nSendNbr, int* sendNbr,
                         int* sendStart, int* sendIndex, int& nHalo, int& nRecvNbr, int* recvNbr, int* recvStart,
                         int* recvIndex, int& comm, int& rank, int& /*notUsed2*/, CRVZCom* com)
{
    return rvz::CGP_CSR(m_Imple->BlockSize, nnu, nna, ia, ja, aa, rhs, sol, solHost, tol, resIn, resOut, iter, maxIter,
                        preconditioner, nSendNbr, sendNbr, sendStart, sendIndex, nHalo, nRecvNbr, recvNbr,
                        recvStart, recvIndex, comm, rank, com, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CGP_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                         double* sol, double* solHost, double const& tol, double& resIn, double& resOut, int& iter,
                         int maxIter, RVZPreconditionType preconditioner, int& /*notUsed1*/, int& nSendNbr,
                         int* sendNbr, int* sendStart, int* sendIndex, int& nHalo, int& nRecvNbr, int* recvNbr,
                         int* recvStart, int* recvIndex, int& comm, int& rank, int& /*notUsed2*/, CRVZCom* com)
{
    return rvz::CGP_ELL(m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, solHost, tol, resIn, resOut,
                        iter, maxIter, preconditioner, nSendNbr, sendNbr, sendStart, sendIndex, nHalo, nRecvNbr,
                        recvNbr, recvStart, recvIndex, comm, rank, com, m_Imple->SelectedDevice);
}

int CRVZGPUtool::BiJCGSTABELL_woMallocPar(
    int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
    double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter, double* resNextLevelD,
    double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD,
    double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD, double* restiltD, double* sD,
    double* tD, double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels, int* size,
    int total, int* count, int* offset, int const& workLength, CRVZCom* com, int const& nProcs, double* notUsed,
    double* exchangeBuffer, int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
    int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD, double* ParD2HCopyListD,
    double* ParD2HCopyListHost, double* ParH2DCopyListD, double* ParH2DCopyListHost, int copyGrid)
{
    return rvz::BiJCGSTABELL_woMallocPar(
        m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, tol, resIn, resOut, iter, maxIter,
        resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD, sNextLevelD, omegaNumeratorNextLevelD,
        omegaDenominatorNextLevelD, resD, PD, vD, restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, new_nnu, nLevels,
        size, total, count, offset, workLength, com, nProcs, notUsed, exchangeBuffer, nbrList, nbrStart,
        sendIndexHost, recvIndexHost, nNbr, NParInterFace, hostFieldP, hostFieldS, ijParCVD, ijParD,
        ParD2HCopyListD, ParD2HCopyListHost, ParH2DCopyListD, ParH2DCopyListHost, copyGrid, m_Imple->SelectedDevice);
}

int CRVZGPUtool::BiJCGSTABELL_woMallocPar_Stream(
    int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
    double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter, double* resNextLevelD,
    double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD,
    double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD, double* restiltD, double* sD,
    double* tD, double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels, int* size,
    int total, int* count, int* offset, int const& workLength, CRVZCom* com, int const& nProcs, double* notUsed,
    double* exchangeBuffer, int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
    int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD, double* ParD2HCopyListD,
    double* ParD2HCopyListHost, double* ParH2DCopyListD, double* ParH2DCopyListHost, int copyGrid)
{
    return rvz::BiJCGSTABELL_woMallocPar_Stream(
        m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, tol, resIn, resOut, iter, maxIter,
        resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD, sNextLevelD, omegaNumeratorNextLevelD,
        omegaDenominatorNextLevelD, resD, PD, vD, restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, new_nnu, nLevels,
        size, total, count, offset, workLength, com, nProcs, notUsed, exchangeBuffer, nbrList, nbrStart,
        sendIndexHost, recvIndexHost, nNbr, NParInterFace, hostFieldP, hostFieldS, ijParCVD, ijParD,
        ParD2HCopyListD, ParD2HCopyListHost, ParH2DCopyListD, ParH2DCopyListHost, copyGrid, m_Imple->SelectedDevice);
}
