// Facade methods of the sparse storage helpers and the serial Krylov solvers.
#include "CRVZGPUtool.h"
#include "CRVZGPUtool_Imple.h"
#include "CU_BiCGSTAB_CSR.h"
#include "CU_BiCGSTAB_ELL.h"
#include "CU_BiCGSTAB_ELL_woMalloc.h"
#include "CU_CG_CSR.h"
#include "CU_CG_ELL.h"
#include "CU_SparseStorage.h"

int CRVZGPUtool::CalcNewNNU(int const& nnu)
{
    m_Imple->LastNNU = nnu;
    return rvz::CalcNewNNU(nnu);
}

int CRVZGPUtool::CalcMaxNColumn(int const& n, int* const ia) { return rvz::CalcMaxNColumn(n, ia); }

int CRVZGPUtool::aa2aaELLd(int const& nnu, int const& NColumnPerRow, int const& new_nnu, int* const ia,
                           double* const aa, double* aaELL)
{
    rvz::ConvertValuesToELL(nnu, NColumnPerRow, new_nnu, ia, aa, aaELL);
    return 0;
}

int CRVZGPUtool::ja2indexELL(int const& nnu, int const& NColumnPerRow, int const& new_nnu, int* const ia,
                             int* const ja, int* indexELL)
{
    rvz::ConvertIndicesToELL(nnu, NColumnPerRow, new_nnu, ia, ja, indexELL);
    return 0;
}

int CRVZGPUtool::CG_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs, double* sol,
                        double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter,
                        RVZPreconditionType preconditioner)
{
    return rvz::CG_CSR(m_Imple->BlockSize, nnu, nna, ia, ja, aa, rhs, sol, tol, resIn, resOut, iter, maxIter,
                       preconditioner, m_Imple->SelectedDevice);
}

int CRVZGPUtool::CG_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                        double* sol, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                        RVZPreconditionType preconditioner)
{
    return rvz::CG_ELL(m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, tol, resIn, resOut, iter,
                       maxIter, preconditioner, m_Imple->SelectedDevice);
}

int CRVZGPUtool::BiCGSTAB_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs,
                              double* sol, double const& tol, double& resIn, double& resOut, int& iter,
                              int const& maxIter, RVZPreconditionType preconditioner)
{
    return rvz::BiCGSTAB_CSR(m_Imple->BlockSize, nnu, nna, ia, ja, aa, rhs, sol, tol, resIn, resOut, iter, maxIter,
                             preconditioner, m_Imple->SelectedDevice);
}

int CRVZGPUtool::BiCGSTAB_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                              double* sol, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                              RVZPreconditionType preconditioner)
{
    return rvz::BiCGSTAB_ELL(m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, tol, resIn, resOut,
                             iter, maxIter, preconditioner, m_Imple->SelectedDevice);
}

int CRVZGPUtool::BiJCGSTABELL_woMalloc(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL,
                                       double* rhs, double* sol, double const& tol, double& resIn, double& resOut,
                                       int& iter, int const& maxIter, double* resNextLevelD,
                                       double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD,
                                       double* omegaNumeratorNextLevelD, double* omegaDenominatorNextLevelD,
                                       double* resD, double* PD, double* vD, double* restiltD, double* sD, double* tD,
                                       double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu,
                                       int nLevels, int* size, int total, int* count, int* offset,
                                       int const& workLength)
{
    return rvz::BiJCGSTABELL_woMalloc(m_Imple->BlockSize, nnu, NColumnPerRow, indexELL, aaELL, rhs, sol, tol, resIn,
                                      resOut, iter, maxIter, resNextLevelD, aDenominatorNextLevelD, rhoNextLevelD,
                                      sNextLevelD, omegaNumeratorNextLevelD, omegaDenominatorNextLevelD, resD, PD, vD,
                                      restiltD, sD, tD, diagonal_reciprocalD, ssD, ppD, new_nnu, nLevels, size, total,
                                      count, offset, workLength, m_Imple->SelectedDevice);
}
