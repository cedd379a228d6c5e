// A device failure inside a distributed solver ends every process: the
// last rank's launches fail, it reports "CPUID:<rank>" and aborts the run
// through CRVZComMPI with the failure's code; the other ranks are waiting
// in a collective call and are ended with it. The exit status of mpirun is
// checked by mpi_abort_check.cmake.
//   mpi_abort csr|ell [alloc]     alloc: a work allocation fails instead
#include <mpi.h>

#include <cstdio>
#include <string>
#include <vector>

#include "CRVZComMPI.h"
#include "CRVZGPUtool.h"
#include "RVZPartition.h"
#include "platform/rvz_platform.h"
#include "../../examples/rvzgpu_solve/model_problems.h"
#if !RVZGPU_BACKEND_CUDA
#include "platform/host_test_hooks.h"
#endif

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    const bool ell = argc > 1 && std::string(argv[1]) == "ell";
    const bool allocation = argc > 2 && std::string(argv[2]) == "alloc";
#if RVZGPU_BACKEND_CUDA
    std::printf("fault injection needs the host backend\n");
    MPI_Finalize();
    return 77;
#else
    CRVZComMPI com;
    const int rank = com.Rank(), size = com.Size();
    CRVZGPUtool tool;
    tool.SetDeviceToUse(0);
    const rvzmodel::CsrMatrix m = rvzmodel::Poisson3D(8, 8, 8);
    const rvzpart::Part part =
        rvzpart::BuildPart(m.n, m.ia, m.ja, m.aa, rvzpart::SlabOwners(8, 8, 8, size), rank, size);

    // The local matrix in the chosen storage (ELL: slot-major, padded rows).
    std::vector<int> cols(part.ja), starts(part.ia);
    std::vector<double> vals(part.aa);
    int ncol = part.nna(), rows = part.nnu, entries = part.nna();
    if (ell) {
        rows = tool.CalcNewNNU(part.nnu);
        const int n1 = part.nnu + 1;
        ncol = tool.CalcMaxNColumn(n1, starts.data());
        entries = ncol * rows;
        cols.assign(static_cast<size_t>(entries), -1);
        vals.assign(static_cast<size_t>(entries), 0.0);
        std::vector<int> ja(part.ja);
        std::vector<double> aa(part.aa);
        tool.ja2indexELL(part.nnu, ncol, rows, starts.data(), ja.data(), cols.data());
        tool.aa2aaELLd(part.nnu, ncol, rows, starts.data(), aa.data(), vals.data());
    }
    int *ia = nullptr, *ja = nullptr;
    double *aa = nullptr, *rhs = nullptr, *sol = nullptr;
    const int length = rows > part.localLength() ? rows : part.localLength();
    tool.AllocateDeviceMemory(part.nnu + 1, ia);
    tool.AllocateDeviceMemory(entries, ja);
    tool.AllocateDeviceMemory(entries, aa);
    tool.AllocateDeviceMemory(length, rhs);
    tool.AllocateDeviceMemory(length, sol);
    std::vector<int> sendNbr(part.sendNbr), sendStart(part.sendStart), sendIndex(part.sendIndex),
        recvNbr(part.recvNbr), recvStart(part.recvStart), recvIndex(part.recvIndex);
    std::vector<double> b(static_cast<size_t>(length), 1.0);
    tool.DataCopyHost2Device(part.nnu + 1, starts.data(), ia);
    tool.DataCopyHost2Device(entries, cols.data(), ja);
    tool.DataCopyHost2Device(entries, vals.data(), aa);
    tool.DataCopyHost2Device(length, b.data(), rhs);
    sendIndex.push_back(0);
    recvIndex.push_back(0);

    // The failing rank's launches fail from its third on, and the failure
    // shows in the check after the loop; or its third work allocation fails
    // and is reported at once.
    if (rank == size - 1 && allocation) rvz::host::testing::inject_alloc_faults(1, cudaErrorMemoryAllocation, 2);
    if (rank == size - 1 && !allocation)
        rvz::host::testing::inject_launch_faults(1000000, cudaErrorLaunchOutOfResources, 2);
    std::vector<double> solHost(static_cast<size_t>(part.localLength()));
    double resIn = 0, resOut = 0;
    int iter = 0, nSend = part.nNbr(), nRecv = part.nNbr(), nHalo = part.nHalo, comm = com.CommHandle, r = rank,
        unused = 0;
    if (ell)
        tool.CGP_ELL(part.nnu, ncol, ja, aa, rhs, sol, solHost.data(), 1e-8, resIn, resOut, iter, 50, 0, unused, nSend,
                     sendNbr.data(), sendStart.data(), sendIndex.data(), nHalo, nRecv, recvNbr.data(),
                     recvStart.data(), recvIndex.data(), comm, r, unused, &com);
    else
        tool.CGP_CSR(part.nnu, part.nna(), ia, ja, aa, rhs, sol, solHost.data(), 1e-8, resIn, resOut, iter, 50, 0,
                     unused, nSend, sendNbr.data(), sendStart.data(), sendIndex.data(), nHalo, nRecv, recvNbr.data(),
                     recvStart.data(), recvIndex.data(), comm, r, unused, &com);
    // Not reached on any rank: the failing rank aborts the run, and the
    // others wait for it in their next collective call.
    MPI_Barrier(MPI_COMM_WORLD);
    std::printf("rank %d returned from the solver\n", rank);
    MPI_Finalize();
    return 0;
#endif
}
