// Requests to the kernel's routing tables (rtnetlink) and what it returns. Within the layer and the ARP
// helper.
//
// A socket serves one thread at a time, and takes messages of the kernel only. Failures are returned as
// numbers of errno.
#pragma once

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

class NetlinkSocket {
  public:
    // Subscribed to the given groups (RTMGRP_...); null with errno set if it can't be had.
    static std::unique_ptr<NetlinkSocket> Open(unsigned groups = 0);

    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;
    ~NetlinkSocket();

    using OnMessage = std::function<void(const nlmsghdr&)>;

    // Sends the request and hands over each message of the reply: one for a plain request, and all up to the
    // end for one with NLM_F_DUMP or NLM_F_ACK. 0, else what the kernel refused the request with; ETIMEDOUT
    // if it stays silent. After a failure other than a refusal the socket may hold a late reply, so
    // `IsUsable` turns false and the owner opens a new one.
    int Exchange(nlmsghdr* request, const OnMessage& onMessage);

    // Waits for the next notices of the subscribed groups. ENOBUFS: some have been lost.
    int Receive(const OnMessage& onMessage);

    // Takes the notices that have come so far, without waiting. Returns whether there were any.
    bool Discard();

    bool IsUsable() const { return usable_; }
    unsigned Port() const { return mnl_socket_get_portid(handle_); }  // its own address

  private:
    explicit NetlinkSocket(mnl_socket* handle) : handle_(handle) {}

    mnl_socket* handle_;
    std::uint32_t sequence_ = 0;
    bool usable_ = true;
};

// Hands over each message in what was received, up to the first whose length doesn't fit. More than 0: more
// may follow; 0: the reply is complete; -1 with errno. Messages of another `sequence` or `port` are an error,
// unless those are 0. `received` is aligned as nlmsghdr is.
int HandOverMessages(const void* received, std::size_t length, unsigned sequence, unsigned port,
                     const NetlinkSocket::OnMessage& onMessage);

// One request under construction: the header, one fixed structure and room for attributes.
class NetlinkRequest {
  public:
    explicit NetlinkRequest(std::uint16_t type, std::uint16_t flags = 0);

    template <class Fixed>
    Fixed* Add() {
        return static_cast<Fixed*>(mnl_nlmsg_put_extra_header(header_, sizeof(Fixed)));
    }
    void AddAttribute(std::uint16_t type, const void* value, std::size_t length);
    nlmsghdr* Header() { return header_; }

  private:
    alignas(nlmsghdr) std::array<std::uint8_t, 512> storage_{};
    nlmsghdr* header_;
};

// The attributes of a message by type; a type above `Highest` is passed over, a missing one is null.
template <std::uint16_t Highest>
using NetlinkAttributes = std::array<const nlattr*, Highest + 1>;

template <std::uint16_t Highest>
NetlinkAttributes<Highest> ParseAttributes(const nlmsghdr& message, unsigned fixedLength) {
    NetlinkAttributes<Highest> attributes{};
    mnl_attr_parse(
        &message, fixedLength,
        [](const nlattr* attribute, void* data) {
            const auto type = mnl_attr_get_type(attribute);
            if (type <= Highest) (*static_cast<NetlinkAttributes<Highest>*>(data))[type] = attribute;
            return MNL_CB_OK;
        },
        &attributes);
    return attributes;
}

// The 32 bits of an attribute; 0 if it is missing or too short.
std::uint32_t AttributeWord(const nlattr* attribute);
