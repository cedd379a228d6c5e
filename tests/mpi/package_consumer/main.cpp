// Sums the rank over the processes through the installed CRVZComMPI.
#include <mpi.h>

#include <cstdio>

#include "CRVZComMPI.h"
#include "CRVZGPUtool.h"

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    CRVZComMPI com;
    double mine = com.Rank() + 1.0, sum = 0.0;
    com.AllSum(com.DoubleType, &mine, &sum, 1, com.CommHandle);
    const int n = com.Size();
    MPI_Finalize();
    return sum == n * (n + 1) / 2.0 ? 0 : 1;
}
