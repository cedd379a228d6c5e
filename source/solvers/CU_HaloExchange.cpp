// Message-passing side of the halo refreshes.
#include "CU_HaloExchange.h"

#include <algorithm>
#include <climits>

#include "CRVZCom.h"

namespace rvz {

PackedHaloExchange::PackedHaloExchange(CRVZCom* com, int comm, int rank, const NeighbourLists& lists)
    : com_(com), comm_(comm), lists_(lists)
{
    for (int j = 0; j < lists.nSendNbr; ++j) {
        int bytes = 0;
        com->PackSize(com->DoubleType, lists.sendStart[j + 1] - lists.sendStart[j], bytes, comm);
        sendBytes_.push_back(bytes);
        sendBuffers_.emplace_back(static_cast<size_t>(std::max(bytes, 1)));
        sendTag_.push_back(MessageTag(rank, lists.sendNbr[j]));
    }
    for (int j = 0; j < lists.nRecvNbr; ++j) {
        int bytes = 0;
        com->PackSize(com->DoubleType, lists.recvStart[j + 1] - lists.recvStart[j], bytes, comm);
        recvBytes_.push_back(bytes);
        recvBuffers_.emplace_back(static_cast<size_t>(std::max(bytes, 1)));
        recvTag_.push_back(MessageTag(lists.recvNbr[j], rank));
    }
}

void PackedHaloExchange::PackSends(double* values)
{
    for (int j = 0; j < lists_.nSendNbr; ++j) {
        int position = 0;
        for (int k = lists_.sendStart[j]; k < lists_.sendStart[j + 1]; ++k)
            com_->Pack(com_->DoubleType, &values[lists_.sendIndex[k]], 1, sendBuffers_[j].data(), sendBytes_[j],
                       position, comm_);
    }
}

void PackedHaloExchange::ExchangePaired()
{
    for (int j = 0; j < lists_.nSendNbr; ++j)
        com_->SendRecv(com_->PackedType, sendBuffers_[j].data(), sendBytes_[j], lists_.sendNbr[j], sendTag_[j],
                       recvBuffers_[j].data(), recvBytes_[j], lists_.recvNbr[j], recvTag_[j], comm_);
}

void PackedHaloExchange::ExchangeNonBlocking()
{
    // The pack buffers hold each neighbour's doubles in order; they travel
    // as that many doubles.
    std::vector<int> sends(static_cast<size_t>(lists_.nSendNbr), 0);
    for (int j = 0; j < lists_.nSendNbr; ++j)
        com_->Isend(com_->DoubleType, sendBuffers_[j].data(), lists_.sendStart[j + 1] - lists_.sendStart[j],
                    lists_.sendNbr[j], sendTag_[j], sends[j], comm_);
    for (int j = 0; j < lists_.nRecvNbr; ++j) {
        int request = 0;
        com_->Irecv(com_->DoubleType, recvBuffers_[j].data(), lists_.recvStart[j + 1] - lists_.recvStart[j],
                    lists_.recvNbr[j], recvTag_[j], request, comm_);
        com_->Wait(request);
    }
    for (int& request : sends) com_->Wait(request);
}

void PackedHaloExchange::UnpackReceives(double* values)
{
    for (int j = 0; j < lists_.nRecvNbr; ++j) {
        int position = 0;
        for (int k = lists_.recvStart[j]; k < lists_.recvStart[j + 1]; ++k)
            com_->Unpack(com_->DoubleType, &values[lists_.recvIndex[k]], 1, recvBuffers_[j].data(), recvBytes_[j],
                         position, comm_);
    }
}

int PackedHaloExchange::SentCount() const { return lists_.nSendNbr > 0 ? lists_.sendStart[lists_.nSendNbr] : 0; }

int PackedHaloExchange::FirstReceivePosition() const
{
    int first = INT_MAX;
    const int n = lists_.nRecvNbr > 0 ? lists_.recvStart[lists_.nRecvNbr] : 0;
    for (int k = 0; k < n; ++k) first = std::min(first, lists_.recvIndex[k]);
    return first;
}

int PackedHaloExchange::LastReceivePosition() const
{
    int last = INT_MIN;
    const int n = lists_.nRecvNbr > 0 ? lists_.recvStart[lists_.nRecvNbr] : 0;
    for (int k = 0; k < n; ++k) last = std::max(last, lists_.recvIndex[k]);
    return last;
}

void ExchangeInPlace(CRVZCom* com, const InPlaceExchangeData& data, double* hostField)
{
    if (data.nProcs < 2 || data.nNbr < 1) return;
    constexpr int kTag = 100;
    for (int m = 1; m <= data.nNbr; ++m) {
        const int p = data.nbrList[m];
        const int first = data.nbrStart[p];
        const int length =
            m < data.nNbr ? data.nbrStart[data.nbrList[m + 1]] - first : data.NParInterFace - first + 1;
        for (int j = 1; j <= length; ++j) data.buffer[j] = hostField[data.sendIndexHost[first + j - 1]];
        com->SendRecvReplace(com->DoubleType, &data.buffer[1], length, p, kTag, p, kTag, com->CommHandle);
        for (int j = 1; j <= length; ++j) hostField[data.recvIndexHost[first + j - 1]] = data.buffer[j];
    }
}

}  // namespace rvz
