// Short ways to the socket operations of the layer, for the tests of them.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string_view>

#include "platform/windows_api.h"

inline sockaddr_in WireAddress(const std::string& address, unsigned port) {
    sockaddr_in wire{};
    wire.sin_family = AF_INET;
    wire.sin_port = htons(static_cast<std::uint16_t>(port));
    wire.sin_addr.s_addr = inet_addr(address.c_str());
    return wire;
}

// Windows Sockets is started while it lives.
class WinsockTest : public testing::Test {
  protected:
    void SetUp() override {
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    }
    void TearDown() override { WSACleanup(); }

    static SOCKET OpenPlain() { return socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP); }

    // 0, or the error.
    static int BindTo(SOCKET bound, const std::string& address, unsigned port) {
        const sockaddr_in wire = WireAddress(address, port);
        return bind(bound, reinterpret_cast<const sockaddr*>(&wire), sizeof wire) == 0 ? 0
                                                                                       : WSAGetLastError();
    }

    static int SetOption(SOCKET changed, int option, int value) {
        const auto* bytes = reinterpret_cast<const char*>(&value);
        return setsockopt(changed, SOL_SOCKET, option, bytes, sizeof value) == 0 ? 0 : WSAGetLastError();
    }

    // As the service opens them.
    static SOCKET OpenBound(const std::string& address, unsigned port) {
        const SOCKET opened = OpenPlain();
        EXPECT_EQ(SetOption(opened, SO_REUSEADDR, 0), 0);
        EXPECT_EQ(BindTo(opened, address, port), 0) << address << ":" << port;
        EXPECT_EQ(SetOption(opened, SO_BROADCAST, 1), 0);
        return opened;
    }

    static int Send(SOCKET sender, std::string_view data, const std::string& address, unsigned port) {
        const sockaddr_in wire = WireAddress(address, port);
        const int sent = sendto(sender, data.data(), static_cast<int>(data.size()), 0,
                                reinterpret_cast<const sockaddr*>(&wire), sizeof wire);
        return sent == static_cast<int>(data.size()) ? 0 : WSAGetLastError();
    }

    // The readable ones of the sockets, in the order of the answer; nothing if select failed.
    static std::optional<std::vector<SOCKET>> SelectFrom(const std::vector<SOCKET>& sockets,
                                                         std::chrono::microseconds limit) {
        fd_set set;
        FD_ZERO(&set);
        for (const SOCKET watched : sockets)
            FD_SET(watched, &set);
        timeval timeout{.tv_sec = limit.count() / 1000000, .tv_usec = limit.count() % 1000000};
        const int count = select(0, &set, nullptr, nullptr, &timeout);
        if (count < 0) return std::nullopt;
        EXPECT_EQ(static_cast<unsigned>(count), set.fd_count);
        return std::vector<SOCKET>(set.fd_array, set.fd_array + set.fd_count);
    }

    struct Received {
        int result = 0;
        int error = 0;
        std::string data;
        sockaddr_in from{};
    };

    static Received ReceiveInto(SOCKET receiver, std::size_t size) {
        Received received;
        received.data.assign(size, '?');
        int fromLength = sizeof received.from;
        received.result = recvfrom(receiver, received.data.data(), static_cast<int>(size), 0,
                                   reinterpret_cast<sockaddr*>(&received.from), &fromLength);
        received.error = received.result < 0 ? WSAGetLastError() : 0;
        if (received.result >= 0) received.data.resize(static_cast<std::size_t>(received.result));
        return received;
    }

    // All datagrams that the socket gets until none has come for a while, but at least so many, if they come
    // at all.
    static std::vector<std::string> DrainAll(SOCKET receiver, std::size_t expected = 0) {
        constexpr std::chrono::milliseconds kQuiet{100};
        constexpr std::chrono::seconds kPatience{10};
        std::vector<std::string> all;
        for (;;) {
            const auto ready =
                all.size() < expected ? SelectFrom({receiver}, kPatience) : SelectFrom({receiver}, kQuiet);
            if (!ready || ready->empty()) return all;
            all.push_back(ReceiveInto(receiver, 1500).data);
        }
    }
};
