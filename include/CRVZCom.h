// CRVZCom: the message-passing operations the distributed solvers need.
//
// The library calls these member functions and reads the three handles; it
// never talks to a transport itself. The project ships an implementation
// over MPI (RVZGPU::RVZCom), whose handles are MPI's Fortran integer
// handles; any layer with MPI-like semantics can derive from this class.
// The library ignores every return value: a failing transport is expected
// to end the run itself. Buffers are host memory; counts are element counts
// of the given type unless stated.
#ifndef RVZGPU_CRVZCOM_H
#define RVZGPU_CRVZCOM_H

class CRVZCom {
public:
    int CommHandle = 0;  // the communicator
    int PackedType = 0;  // type handle of packed byte buffers
    int DoubleType = 0;  // type handle of double values

    virtual ~CRVZCom() = default;

    // Element-wise sum of `count` values over all processes, delivered to all.
    virtual int AllSum(int type, void* sendBuffer, void* receiveBuffer, int count, int comm) = 0;
    // Upper bound of the bytes needed to pack `count` values.
    virtual int PackSize(int type, int count, int& size, int comm) = 0;
    // Appends the values at byte `position` of the pack buffer and advances it.
    virtual int Pack(int type, void* input, int inputCount, void* packBuffer, int packBytes, int& position,
                     int comm) = 0;
    // Reads values from byte `position` of the pack buffer and advances it.
    virtual int Unpack(int type, void* output, int outputCount, void* packBuffer, int packBytes, int& position,
                       int comm) = 0;
    // Blocking combined send and receive.
    virtual int SendRecv(int type, void* sendBuffer, int sendCount, int destination, int sendTag,
                         void* receiveBuffer, int receiveCount, int source, int receiveTag, int comm) = 0;
    // Blocking exchange that overwrites the buffer with the received values.
    virtual int SendRecvReplace(int type, void* buffer, int count, int destination, int sendTag, int source,
                                int receiveTag, int comm) = 0;
    virtual int Isend(int type, void* buffer, int count, int destination, int tag, int& request, int comm) = 0;
    virtual int Irecv(int type, void* buffer, int count, int source, int tag, int& request, int comm) = 0;
    virtual int Wait(int& request) = 0;
    // Ends all processes of the communicator with `errorCode`; does not return.
    virtual int Abort(int comm, int errorCode) = 0;
};

#endif
