// CRVZComMPI: the message-passing class of the distributed solvers over MPI.
//
// The three handles are MPI's Fortran integer handles (MPI_Comm_c2f,
// MPI_Type_c2f), so they fit the int members of CRVZCom; requests travel
// the same way (MPI_Request_c2f). MPI must be initialised before an object
// is built and finalised after the last one is used; this class neither
// initialises nor finalises it. Return values are MPI's error codes, which
// the library ignores (MPI's default error handler ends the run on a
// transport failure).
#ifndef RVZGPU_CRVZCOMMPI_H
#define RVZGPU_CRVZCOMMPI_H

#include "CRVZCom.h"

class CRVZComMPI : public CRVZCom {
public:
    // Over MPI_COMM_WORLD, with MPI_DOUBLE and MPI_PACKED.
    CRVZComMPI();
    // Over the communicator with this Fortran handle.
    explicit CRVZComMPI(int fortranComm);

    int Rank() const;
    int Size() const;

    int AllSum(int type, void* sendBuffer, void* receiveBuffer, int count, int comm) override;
    int PackSize(int type, int count, int& size, int comm) override;
    int Pack(int type, void* input, int inputCount, void* packBuffer, int packBytes, int& position,
             int comm) override;
    int Unpack(int type, void* output, int outputCount, void* packBuffer, int packBytes, int& position,
               int comm) override;
    int SendRecv(int type, void* sendBuffer, int sendCount, int destination, int sendTag, void* receiveBuffer,
                 int receiveCount, int source, int receiveTag, int comm) override;
    int SendRecvReplace(int type, void* buffer, int count, int destination, int sendTag, int source, int receiveTag,
                        int comm) override;
    int Isend(int type, void* buffer, int count, int destination, int tag, int& request, int comm) override;
    int Irecv(int type, void* buffer, int count, int source, int tag, int& request, int comm) override;
    int Wait(int& request) override;
    int Abort(int comm, int errorCode) override;
};

#endif
