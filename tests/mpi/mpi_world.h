// This process's rank and the process count of MPI_COMM_WORLD, for the
// test programs that run under mpirun.
#pragma once

#include <mpi.h>

namespace rvztest {

inline int Rank()
{
    int r = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &r);
    return r;
}

inline int Size()
{
    int s = 1;
    MPI_Comm_size(MPI_COMM_WORLD, &s);
    return s;
}

}  // namespace rvztest
