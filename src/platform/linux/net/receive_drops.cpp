#include "platform/receive_drops.h"

#include "platform/linux/net/datagram_socket.h"

bool AddReceiveDrops(SOCKET handle, std::uint64_t* drops) {
    const auto socket = LookUpObject<DatagramSocket>(reinterpret_cast<HANDLE>(handle));
    return socket && socket->AddReceiveDrops(*drops) == 0;
}
