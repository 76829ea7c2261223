#include "platform/linux/net/datagram_calls.h"

#include <sys/syscall.h>
#include <unistd.h>

ssize_t SendDatagram(int descriptor, const void* data, std::size_t size, const sockaddr_in& to) {
    return ::syscall(SYS_sendto, descriptor, data, size, MSG_DONTWAIT | MSG_NOSIGNAL, &to, sizeof to);
}

int ReceiveDatagrams(int descriptor, mmsghdr* messages, unsigned count) {
    return static_cast<int>(::syscall(SYS_recvmmsg, descriptor, messages, count, MSG_DONTWAIT, nullptr));
}
