// Host-side halo exchanges of the distributed solvers through CRVZCom.
// Plain C++: the device side of each refresh lives with its solver.
#pragma once

#include <vector>

class CRVZCom;

namespace rvz {

// Tag of a message from rank `from` to rank `to`: (from + 10 to + 11) x 10,
// so rank 0 -> 1 is 210 and 1 -> 0 is 120.
inline int MessageTag(int from, int to) { return (from + 10 * to + 11) * 10; }

// The neighbour lists of the conjugate gradient exchange (0-based local
// positions). The j-th send neighbour and the j-th receive neighbour are
// exchanged with in one paired call, so both lists must name the same
// ranks in the same order (not validated).
struct NeighbourLists {
    int nSendNbr;
    const int* sendNbr;
    const int* sendStart;  // nSendNbr + 1 offsets into sendIndex
    const int* sendIndex;
    int nRecvNbr;
    const int* recvNbr;
    const int* recvStart;
    const int* recvIndex;
};

// Pack buffers sized once per solve (PackSize of each neighbour's count of
// doubles) and the message tags; each refresh packs the values one by one,
// exchanges and unpacks them one by one.
class PackedHaloExchange {
public:
    PackedHaloExchange(CRVZCom* com, int comm, int rank, const NeighbourLists& lists);

    // Packs, for every send neighbour, values[sendIndex[k]] in list order.
    void PackSends(double* values);
    // SendRecv with every neighbour in list order: the j-th send paired
    // with the j-th receive.
    void ExchangePaired();
    // Isend to every send neighbour; then, per receive neighbour, Irecv
    // followed at once by Wait; finally the sends are waited for, so that
    // the pack buffers may be reused or freed. Both pass DoubleType and the
    // neighbour's count of doubles.
    void ExchangeNonBlocking();
    // Unpacks every receive neighbour's values into values[recvIndex[k]].
    void UnpackReceives(double* values);

    // Pack, paired exchange, unpack.
    void Refresh(double* values)
    {
        PackSends(values);
        ExchangePaired();
        UnpackReceives(values);
    }

    int SentCount() const;  // values sent per refresh
    // Smallest and largest receive position (first > last when none).
    int FirstReceivePosition() const;
    int LastReceivePosition() const;

private:
    CRVZCom* com_;
    int comm_;
    NeighbourLists lists_;
    std::vector<int> sendTag_, recvTag_;
    std::vector<int> sendBytes_, recvBytes_;
    std::vector<std::vector<char>> sendBuffers_, recvBuffers_;
};

// The host exchange data of the in-place exchange, as the host solver
// keeps them (1-based).
struct InPlaceExchangeData {
    int nProcs;
    double* buffer;        // exchange buffer, entries 1 .. longest block
    const int* nbrList;    // entries 1 .. nNbr: neighbour ranks
    const int* nbrStart;   // indexed by rank: first entry of its block
    const int* sendIndexHost;  // entries 1 .. NParInterFace
    const int* recvIndexHost;
    int nNbr;
    int NParInterFace;
};

// For every neighbour in list order: gathers its block of sent values
// from the host field into the buffer, exchanges it in place with that
// neighbour (SendRecvReplace, tag 100 both ways, a block of length zero
// included) and puts the received values at the receive positions of the
// field. Nothing happens with fewer than two processes or no neighbour.
void ExchangeInPlace(CRVZCom* com, const InPlaceExchangeData& data, double* hostField);

}  // namespace rvz
