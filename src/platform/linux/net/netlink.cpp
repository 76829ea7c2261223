#include "platform/linux/net/netlink.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int ReplySeconds = 2;
constexpr std::size_t AnswerSize = 16384;

int HandOver(const nlmsghdr* message, void* onMessage) {
    (*static_cast<const NetlinkSocket::OnMessage*>(onMessage))(*message);
    return MNL_CB_OK;
}

void* AsUserData(const NetlinkSocket::OnMessage& onMessage) {
    return const_cast<NetlinkSocket::OnMessage*>(&onMessage);
}

// What the kernel itself sent: another process with the privilege could write to the socket, too. A message
// that is cut fails with ENOSPC.
ssize_t ReceiveFromKernel(mnl_socket* handle, void* buffer, std::size_t size) {
    for (;;) {
        sockaddr_nl sender{};
        iovec place{buffer, size};
        msghdr message{};
        message.msg_name = &sender;
        message.msg_namelen = sizeof sender;
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        const ssize_t length = recvmsg(mnl_socket_get_fd(handle), &message, 0);
        if (length < 0 && errno != EINTR) return length;
        if (length < 0 || message.msg_namelen != sizeof sender || sender.nl_pid != 0) continue;
        if ((message.msg_flags & MSG_TRUNC) == 0) return length;
        errno = ENOSPC;
        return -1;
    }
}

ssize_t SendToKernel(mnl_socket* handle, const nlmsghdr& request) {
    ssize_t sent = 0;
    do {
        sent = mnl_socket_sendto(handle, &request, request.nlmsg_len);
    } while (sent < 0 && errno == EINTR);
    return sent;
}

}  // namespace

int HandOverMessages(const void* received, std::size_t length, unsigned sequence, unsigned port,
                     const NetlinkSocket::OnMessage& onMessage) {
    // The library takes one message at a time: it compares lengths as signed numbers, so one of 2 GiB and
    // more would pass. It reads to the next multiple of four, too, which is where the kernel's messages end.
    const auto* next = static_cast<const char*>(received);
    int outcome = MNL_CB_OK;
    while (length >= sizeof(nlmsghdr) && outcome > MNL_CB_STOP) {
        const std::size_t own = reinterpret_cast<const nlmsghdr*>(next)->nlmsg_len;
        const std::size_t step = MNL_ALIGN(own);
        if (own < sizeof(nlmsghdr) || step > length) break;
        outcome = mnl_cb_run(next, own, sequence, port, HandOver, AsUserData(onMessage));
        next += step;
        length -= step;
    }
    return outcome;
}

std::unique_ptr<NetlinkSocket> NetlinkSocket::Open(unsigned groups) {
    std::unique_ptr<mnl_socket, int (*)(mnl_socket*)> owned(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC),
                                                            mnl_socket_close);
    if (owned == nullptr) return nullptr;
    std::unique_ptr<NetlinkSocket> opened(new NetlinkSocket(owned.get()));
    mnl_socket* handle = owned.release();
    if (mnl_socket_bind(handle, groups, MNL_SOCKET_AUTOPID) < 0) return nullptr;
    if (groups == 0) {
        const timeval limit{.tv_sec = ReplySeconds, .tv_usec = 0};
        setsockopt(mnl_socket_get_fd(handle), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    return opened;
}

NetlinkSocket::~NetlinkSocket() {
    const int kept = errno;
    mnl_socket_close(handle_);
    errno = kept;
}

int NetlinkSocket::Exchange(nlmsghdr* request, const OnMessage& onMessage) {
    const bool isLong = (request->nlmsg_flags & (NLM_F_ACK | NLM_F_DUMP)) != 0;
    request->nlmsg_seq = ++sequence_;
    if (SendToKernel(handle_, *request) < 0) return errno;

    alignas(nlmsghdr) std::array<char, AnswerSize> buffer;
    for (;;) {
        const ssize_t length = ReceiveFromKernel(handle_, buffer.data(), buffer.size());
        if (length <= 0) {
            usable_ = false;
            return length < 0 && errno != EAGAIN ? errno : ETIMEDOUT;
        }
        const int outcome = HandOverMessages(buffer.data(), static_cast<std::size_t>(length), sequence_,
                                             mnl_socket_get_portid(handle_), onMessage);
        if (outcome == MNL_CB_STOP) return 0;
        if (outcome > 0 && !isLong) return 0;
        if (outcome < 0) {
            // EINTR: the table changed while it was read, and the rest of the old reply may still come.
            usable_ = errno != EINTR && errno != EPROTO && errno != ESRCH;
            return errno;
        }
    }
}

int NetlinkSocket::Receive(const OnMessage& onMessage) {
    alignas(nlmsghdr) std::array<char, AnswerSize> buffer;
    const ssize_t length = ReceiveFromKernel(handle_, buffer.data(), buffer.size());
    if (length < 0) return errno;
    const int outcome = HandOverMessages(buffer.data(), static_cast<std::size_t>(length), 0, 0, onMessage);
    return outcome < 0 ? errno : 0;
}

bool NetlinkSocket::Discard() {
    std::array<char, AnswerSize> buffer;
    bool found = false;
    for (;;) {
        // An overrun is returned as an error, and is news like any other.
        const ssize_t length = recv(mnl_socket_get_fd(handle_), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (length < 0 && errno == EAGAIN) return found;
        if (length < 0 && errno != ENOBUFS && errno != EINTR) return true;
        found = true;
    }
}

NetlinkRequest::NetlinkRequest(std::uint16_t type, std::uint16_t flags)
    : header_(mnl_nlmsg_put_header(storage_.data())) {
    header_->nlmsg_type = type;
    header_->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
}

void NetlinkRequest::AddAttribute(std::uint16_t type, const void* value, std::size_t length) {
    mnl_attr_put_check(header_, storage_.size(), type, length, value);
}

std::uint32_t AttributeWord(const nlattr* attribute) {
    std::uint32_t word = 0;
    if (attribute != nullptr && mnl_attr_get_payload_len(attribute) >= sizeof word) {
        std::memcpy(&word, mnl_attr_get_payload(attribute), sizeof word);
    }
    return word;
}
