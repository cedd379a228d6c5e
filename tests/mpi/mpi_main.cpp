// Entry point of the test programs that run under mpirun: every rank runs
// every test; only rank 0 prints the test progress.
#include <gtest/gtest.h>
#include <mpi.h>

#include <cstdio>

#include "CU_checkError.h"
#include "platform/rvz_platform.h"

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
#if RVZGPU_BACKEND_CUDA
    int devices = 0;
    if (cudaGetDeviceCount(&devices) != cudaSuccess || devices == 0) {
        std::printf("no CUDA device: skipping\n");
        MPI_Finalize();
        return 77;
    }
#endif
    rvz::SetReportCountdownMilliseconds(0);
    ::testing::InitGoogleTest(&argc, argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    if (rank != 0) {
        auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
        delete listeners.Release(listeners.default_result_printer());
    }
    int failed = RUN_ALL_TESTS();
    // Every rank exits with the verdict of all ranks.
    int anyFailed = 0;
    MPI_Allreduce(&failed, &anyFailed, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    MPI_Finalize();
    return anyFailed != 0 ? 1 : 0;
}
