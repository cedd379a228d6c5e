// A CRVZCom that records every call instead of talking to other processes.
// Packing stores doubles byte for byte; every receive is answered by
// `reply`, a function of the message's source, tag and position in it, so a
// test knows which value each halo slot must end up with. Abort writes its
// arguments to standard error and ends the process with the code.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "CRVZCom.h"

namespace rvztest {

struct ComCall {
    std::string op;
    int type = 0;
    int count = 0;   // elements, or bytes for the packed type
    int peer = -1;   // destination (or the one peer of SendRecvReplace)
    int source = -1;
    int sendTag = -1;
    int recvTag = -1;
    int comm = -1;
    std::vector<double> sent;  // doubles sent by SendRecvReplace / AllSum
};

class RecordingCom : public CRVZCom {
public:
    RecordingCom()
    {
        CommHandle = 7;
        PackedType = 3;
        DoubleType = 5;
    }

    std::vector<ComCall> calls;
    // Value received from `source` with `tag` at position k of the message.
    std::function<double(int source, int tag, int k)> reply = [](int source, int tag, int k) {
        return 1000.0 * source + tag + 0.25 * k;
    };
    // Global sum: the local value times this factor (1 for a lone process).
    double sumFactor = 1.0;

    int Count(const std::string& op) const
    {
        int n = 0;
        for (const auto& c : calls) n += c.op == op;
        return n;
    }
    std::vector<ComCall> Only(const std::string& op) const
    {
        std::vector<ComCall> out;
        for (const auto& c : calls)
            if (c.op == op) out.push_back(c);
        return out;
    }

    int AllSum(int type, void* sendBuffer, void* receiveBuffer, int count, int comm) override
    {
        ComCall c{"AllSum", type, count};
        c.comm = comm;
        const double* in = static_cast<const double*>(sendBuffer);
        c.sent.assign(in, in + count);
        calls.push_back(c);
        for (int k = 0; k < count; ++k) static_cast<double*>(receiveBuffer)[k] = in[k] * sumFactor;
        return 0;
    }
    int PackSize(int type, int count, int& size, int comm) override
    {
        ComCall c{"PackSize", type, count};
        c.comm = comm;
        calls.push_back(c);
        size = count * static_cast<int>(sizeof(double));
        return 0;
    }
    int Pack(int type, void* input, int inputCount, void* packBuffer, int packBytes, int& position,
             int comm) override
    {
        ComCall c{"Pack", type, inputCount};
        c.comm = comm;
        calls.push_back(c);
        const size_t bytes = static_cast<size_t>(inputCount) * sizeof(double);
        if (position + static_cast<int>(bytes) > packBytes) std::abort();
        std::memcpy(static_cast<char*>(packBuffer) + position, input, bytes);
        position += static_cast<int>(bytes);
        return 0;
    }
    int Unpack(int type, void* output, int outputCount, void* packBuffer, int packBytes, int& position,
               int comm) override
    {
        ComCall c{"Unpack", type, outputCount};
        c.comm = comm;
        calls.push_back(c);
        const size_t bytes = static_cast<size_t>(outputCount) * sizeof(double);
        if (position + static_cast<int>(bytes) > packBytes) std::abort();
        std::memcpy(output, static_cast<char*>(packBuffer) + position, bytes);
        position += static_cast<int>(bytes);
        return 0;
    }
    int SendRecv(int type, void* sendBuffer, int sendCount, int destination, int sendTag, void* receiveBuffer,
                 int receiveCount, int source, int receiveTag, int comm) override
    {
        ComCall c{"SendRecv", type, sendCount, destination, source, sendTag, receiveTag, comm};
        const double* out = static_cast<const double*>(sendBuffer);
        c.sent.assign(out, out + sendCount / static_cast<int>(sizeof(double)));
        calls.push_back(c);
        FillReply(receiveBuffer, receiveCount / static_cast<int>(sizeof(double)), source, receiveTag);
        return 0;
    }
    int SendRecvReplace(int type, void* buffer, int count, int destination, int sendTag, int source,
                        int receiveTag, int comm) override
    {
        ComCall c{"SendRecvReplace", type, count, destination, source, sendTag, receiveTag, comm};
        const double* out = static_cast<const double*>(buffer);
        c.sent.assign(out, out + count);
        calls.push_back(c);
        FillReply(buffer, count, source, receiveTag);
        return 0;
    }
    int Isend(int type, void* buffer, int count, int destination, int tag, int& request, int comm) override
    {
        ComCall c{"Isend", type, count, destination, -1, tag, -1, comm};
        calls.push_back(c);
        (void)buffer;
        request = static_cast<int>(calls.size());
        return 0;
    }
    int Irecv(int type, void* buffer, int count, int source, int tag, int& request, int comm) override
    {
        ComCall c{"Irecv", type, count, -1, source, -1, tag, comm};
        calls.push_back(c);
        FillReply(buffer, type == PackedType ? count / static_cast<int>(sizeof(double)) : count, source, tag);
        request = static_cast<int>(calls.size());
        return 0;
    }
    int Wait(int& request) override
    {
        ComCall c{"Wait"};
        c.count = request;
        calls.push_back(c);
        request = 0;
        return 0;
    }
    int Abort(int comm, int errorCode) override
    {
        std::fflush(stdout);
        std::fprintf(stderr, "Abort(%d, %d)\n", comm, errorCode);
        std::fflush(stderr);
        std::_Exit(errorCode);
    }

private:
    void FillReply(void* buffer, int count, int source, int tag)
    {
        double* in = static_cast<double*>(buffer);
        for (int k = 0; k < count; ++k) in[k] = reply(source, tag, k);
    }
};

}  // namespace rvztest
