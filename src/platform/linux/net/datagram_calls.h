// The system calls that move datagrams. Within the layer only.
//
// The C library's own first get ready for the thread to be cancelled while it is in the call, at the price of
// two atomic operations each. No thread here is ever cancelled.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>

// As sendto and recvmmsg, neither of which waits.
ssize_t SendDatagram(int descriptor, const void* data, std::size_t size, const sockaddr_in& to);
int ReceiveDatagrams(int descriptor, mmsghdr* messages, unsigned count);
