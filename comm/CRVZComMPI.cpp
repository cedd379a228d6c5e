// Each operation is one MPI call on the C handles recovered from the
// Fortran handles the library passes around.
#include "CRVZComMPI.h"

#include <mpi.h>

#include <cstdlib>

namespace {

MPI_Comm comm_of(int handle) { return MPI_Comm_f2c(handle); }
MPI_Datatype type_of(int handle) { return MPI_Type_f2c(handle); }

}  // namespace

CRVZComMPI::CRVZComMPI() : CRVZComMPI(static_cast<int>(MPI_Comm_c2f(MPI_COMM_WORLD))) {}

CRVZComMPI::CRVZComMPI(int fortranComm)
{
    CommHandle = fortranComm;
    PackedType = static_cast<int>(MPI_Type_c2f(MPI_PACKED));
    DoubleType = static_cast<int>(MPI_Type_c2f(MPI_DOUBLE));
}

int CRVZComMPI::Rank() const
{
    int rank = 0;
    MPI_Comm_rank(comm_of(CommHandle), &rank);
    return rank;
}

int CRVZComMPI::Size() const
{
    int size = 1;
    MPI_Comm_size(comm_of(CommHandle), &size);
    return size;
}

int CRVZComMPI::AllSum(int type, void* sendBuffer, void* receiveBuffer, int count, int comm)
{
    return MPI_Allreduce(sendBuffer, receiveBuffer, count, type_of(type), MPI_SUM, comm_of(comm));
}

int CRVZComMPI::PackSize(int type, int count, int& size, int comm)
{
    return MPI_Pack_size(count, type_of(type), comm_of(comm), &size);
}

int CRVZComMPI::Pack(int type, void* input, int inputCount, void* packBuffer, int packBytes, int& position,
                     int comm)
{
    return MPI_Pack(input, inputCount, type_of(type), packBuffer, packBytes, &position, comm_of(comm));
}

int CRVZComMPI::Unpack(int type, void* output, int outputCount, void* packBuffer, int packBytes, int& position,
                       int comm)
{
    return MPI_Unpack(packBuffer, packBytes, &position, output, outputCount, type_of(type), comm_of(comm));
}

int CRVZComMPI::SendRecv(int type, void* sendBuffer, int sendCount, int destination, int sendTag,
                         void* receiveBuffer, int receiveCount, int source, int receiveTag, int comm)
{
    return MPI_Sendrecv(sendBuffer, sendCount, type_of(type), destination, sendTag, receiveBuffer, receiveCount,
                        type_of(type), source, receiveTag, comm_of(comm), MPI_STATUS_IGNORE);
}

int CRVZComMPI::SendRecvReplace(int type, void* buffer, int count, int destination, int sendTag, int source,
                                int receiveTag, int comm)
{
    return MPI_Sendrecv_replace(buffer, count, type_of(type), destination, sendTag, source, receiveTag,
                                comm_of(comm), MPI_STATUS_IGNORE);
}

int CRVZComMPI::Isend(int type, void* buffer, int count, int destination, int tag, int& request, int comm)
{
    MPI_Request r = MPI_REQUEST_NULL;
    const int code = MPI_Isend(buffer, count, type_of(type), destination, tag, comm_of(comm), &r);
    request = static_cast<int>(MPI_Request_c2f(r));
    return code;
}

int CRVZComMPI::Irecv(int type, void* buffer, int count, int source, int tag, int& request, int comm)
{
    MPI_Request r = MPI_REQUEST_NULL;
    const int code = MPI_Irecv(buffer, count, type_of(type), source, tag, comm_of(comm), &r);
    request = static_cast<int>(MPI_Request_c2f(r));
    return code;
}

int CRVZComMPI::Wait(int& request)
{
    MPI_Request r = MPI_Request_f2c(request);
    const int code = MPI_Wait(&r, MPI_STATUS_IGNORE);
    request = static_cast<int>(MPI_Request_c2f(r));
    return code;
}

int CRVZComMPI::Abort(int comm, int errorCode)
{
    MPI_Abort(comm_of(comm), errorCode);
    // MPI_Abort is not required to return control; if it does, end this
    // process with the same code.
    std::exit(errorCode);
}
