#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include "platform/arrivals.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/instance/service_names.h"
#include "platform/linux/net/bound_descriptors.h"
#include "platform/linux/net/datagram_socket.h"
#include "platform/receive_drops.h"
#include "platform/test_home.h"
#include "platform/winsock_fixture.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

// Apart from those of the same test program in other processes, and below the ports that the system gives
// out.
const unsigned kPort = 20000 + static_cast<unsigned>((::getpid)()) % 750 * 16;

TEST(WinsockSession, IsCountedAndClosesWhatIsLeft) {
    WSADATA data;
    for (const WORD asked : {MAKEWORD(1, 1), MAKEWORD(2, 2)}) {
        ASSERT_EQ(WSAStartup(asked, &data), 0);
        EXPECT_EQ(data.wVersion, MAKEWORD(1, 1));
    }
    const SOCKET left = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    const sockaddr_in address = WireAddress("127.0.0.1", kPort);
    ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), 0);

    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    EXPECT_EQ(closesocket(left), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
    const SOCKET next = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    EXPECT_EQ(bind(next, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(WSACleanup(), 0);
}

class SocketTest : public WinsockTest {
  protected:
    static int SendTo(SOCKET sender, std::string_view data, unsigned port = kPort) {
        return Send(sender, data, "127.0.0.1", port);
    }
    // The first is at kPort, the next at the ports after it.
    static std::vector<SOCKET> Open(unsigned count) {
        std::vector<SOCKET> sockets;
        while (sockets.size() < count)
            sockets.push_back(OpenBound("127.0.0.1", kPort + static_cast<unsigned>(sockets.size())));
        return sockets;
    }
};

TEST_F(SocketTest, RefusesAddressesThatItMayNotUse) {
    const SOCKET bound = OpenBound("127.0.0.1", kPort);
    const SOCKET unbound = OpenPlain();
    EXPECT_EQ(BindTo(unbound, "127.0.0.1", kPort), WSAEADDRINUSE);
    for (const char* address : {"192.0.2.1", "255.255.255.255", "127.255.255.255", "224.0.0.1"})
        EXPECT_EQ(BindTo(OpenPlain(), address, kPort), WSAEADDRNOTAVAIL) << address;
    ASSERT_EQ(BindTo(unbound, "127.0.0.1", 0), 0);
    EXPECT_EQ(Send(unbound, "x", "255.255.255.255", kPort), WSAEACCES) << "broadcasts have to be allowed";
    ASSERT_EQ(closesocket(unbound), 0);
    EXPECT_EQ(closesocket(unbound), SOCKET_ERROR);
    EXPECT_EQ(SelectFrom({bound, unbound}, 0s), std::nullopt);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
}

TEST_F(SocketTest, ReceivesWholeCutAndEmptyDatagrams) {
    const auto sockets = Open(2);
    for (const char* text : {"whole", "larger than the buffer", ""})
        ASSERT_EQ(SendTo(sockets[1], text), 0);
    EXPECT_EQ(ReceiveInto(sockets[0], 6).data, "whole");
    const Received cut = ReceiveInto(sockets[0], 6);
    EXPECT_EQ(cut.error, WSAEMSGSIZE);
    EXPECT_EQ(cut.data, "larger");
    EXPECT_EQ(cut.from.sin_port, htons(kPort + 1));
    EXPECT_EQ(cut.from.sin_addr.s_addr, inet_addr("127.0.0.1"));
    EXPECT_EQ(ReceiveInto(sockets[0], 6).result, 0);
    EXPECT_THAT(DrainAll(sockets[0]), IsEmpty());
}

// More than are fetched from the kernel at once.
TEST_F(SocketTest, ManyDatagramsKeepOrderLengthAndSender) {
    const auto sockets = Open(3);
    const auto text = [](unsigned i) { return std::string(i % 7 == 0 ? 60000 + i : i, char('a' + i % 26)); };
    for (unsigned i = 0; i < 40; ++i)
        ASSERT_EQ(SendTo(sockets[1 + i % 2], text(i)), 0);
    for (unsigned i = 0; i < 40; ++i) {
        ASSERT_THAT(*SelectFrom({sockets[0]}, 10s), ElementsAre(sockets[0])) << i;
        const Received received = ReceiveInto(sockets[0], 60020);
        EXPECT_EQ(received.data, text(i).substr(0, 60020)) << i;
        EXPECT_EQ(received.error, text(i).size() > 60020 ? WSAEMSGSIZE : 0) << i;
        EXPECT_EQ(received.from.sin_port, htons(static_cast<std::uint16_t>(kPort + 1 + i % 2))) << i;
    }
    EXPECT_THAT(*SelectFrom({sockets[0]}, 0s), IsEmpty());
}

// Each datagram is shown at most once, before or as it is received, and nothing that a caller may have to
// rely on.
TEST_F(SocketTest, ArrivalsAreShownToWhoeverWatches) {
    const auto sockets = Open(2);
    const auto sendAndReceive = [&](unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(SendTo(sockets[1], std::string(i, 'a')), 0);
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(ReceiveInto(sockets[0], 5).data, std::string(std::min(i, 5u), 'a'));
    };
    std::vector<std::string> shown;
    auto* const list = &shown;
    const auto show = [](const Arrival* arrivals, std::size_t count, const void* argument) {
        auto& strings = **static_cast<std::vector<std::string>* const*>(argument);
        for (const Arrival* arrival = arrivals; arrival != arrivals + count; ++arrival)
            strings.emplace_back(reinterpret_cast<const char*>(arrival->data), arrival->length);
    };
    sendAndReceive(3);
    {
        const ArrivalWatch watch(show, &list);
        std::thread([&] { sendAndReceive(3); }).join();
        EXPECT_THAT(shown, IsEmpty()) << "another thread's";
        sendAndReceive(20);
    }
    sendAndReceive(3);
    ASSERT_EQ(shown.size(), 20u);
    for (unsigned i = 0; i < shown.size(); ++i)
        EXPECT_EQ(shown[i], std::string(i, 'a')) << "whole, although it is received cut";
}

// One thread fetches what has woken another: what it leaves is still to be seen, and goes with the socket.
TEST_F(SocketTest, WhatIsReadAheadIsSeenByAllAndGoesWithTheSocket) {
    const auto sockets = Open(2);
    for (int round = 0; round < 100; ++round) {
        std::optional<std::vector<SOCKET>> seen;
        std::thread waiting([&] { seen = SelectFrom({sockets[0]}, 2s); });
        std::this_thread::sleep_for(1ms);
        for (const char* text : {"first", "second"})
            ASSERT_EQ(SendTo(sockets[1], text), 0);
        EXPECT_EQ(ReceiveInto(sockets[0], 10).data, "first");
        waiting.join();
        ASSERT_THAT(*seen, ElementsAre(sockets[0])) << "in round " << round;
        if (round == 99) continue;
        EXPECT_EQ(ReceiveInto(sockets[0], 10).data, "second");
    }
    ASSERT_EQ(closesocket(sockets[0]), 0);
    EXPECT_EQ(ReceiveInto(sockets[0], 10).error, WSAENOTSOCK);
    EXPECT_THAT(DrainAll(OpenBound("127.0.0.1", kPort)), IsEmpty());
}

TEST_F(SocketTest, SelectReportsEachReadableSocketOnce) {
    const auto sockets = Open(5);
    for (const unsigned target : {3u, 1u, 3u})
        ASSERT_EQ(SendTo(sockets[0], "x", kPort + target), 0);
    EXPECT_THAT(*SelectFrom(sockets, 10s), ElementsAre(sockets[1], sockets[3]));
    EXPECT_THAT(*SelectFrom({sockets[4], sockets[3], sockets[3]}, 10s), ElementsAre(sockets[3]));
    EXPECT_EQ(ReceiveInto(sockets[3], 10).result, 1);
    EXPECT_EQ(ReceiveInto(sockets[1], 10).result, 1);
    EXPECT_THAT(*SelectFrom(sockets, 10s), ElementsAre(sockets[3]));
    EXPECT_EQ(ReceiveInto(sockets[3], 10).result, 1);
    EXPECT_THAT(*SelectFrom(sockets, 0s), IsEmpty());
}

TEST_F(SocketTest, SelectTakesItsWholeTimeEvenWhenInterrupted) {
    struct sigaction ignored {};
    struct sigaction former {};
    ignored.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignored, &former), 0);
    const SOCKET quiet = OpenBound("127.0.0.1", kPort);
    std::atomic<bool> done{false};
    std::thread disturber([&done, waiting = pthread_self()] {
        for (; !done; std::this_thread::sleep_for(10ms))
            pthread_kill(waiting, SIGUSR1);
    });
    const auto start = Clock::now();
    EXPECT_THAT(*SelectFrom({quiet}, 150500us), IsEmpty());
    EXPECT_GE(Clock::now() - start, 150500us);
    done = true;
    disturber.join();
    sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(SocketTest, ClosingWakesWhoeverWaits) {
    const SOCKET other = OpenBound("127.0.0.1", kPort + 1);
    for (const bool selects : {true, false}) {
        const SOCKET watched = OpenBound("127.0.0.1", kPort);
        std::thread waiting([&] {
            fd_set set{};
            FD_SET(other, &set);
            FD_SET(watched, &set);
            EXPECT_EQ(selects ? select(0, &set, nullptr, nullptr, nullptr) : 1, 1);
            EXPECT_TRUE(FD_ISSET(watched, &set));
            EXPECT_EQ(ReceiveInto(watched, 10).error, WSAENOTSOCK);
        });
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(closesocket(watched), 0);
        waiting.join();
    }
}

// What a rebind does while requests are answered: the address is free as soon as closesocket has returned,
// and no one reaches a socket that isn't his.
TEST_F(SocketTest, AddressIsFreeOnceClosedWhileOthersUseIt) {
    std::atomic<SOCKET> current{OpenBound("127.0.0.1", kPort)};
    std::atomic<bool> done{false};
    const auto check = [](int error) { EXPECT_TRUE(error == 0 || error == WSAENOTSOCK) << error; };
    std::thread sender([&] {
        while (!done)
            check(SendTo(current, "x"));
    });
    std::thread receiver([&] {
        while (!done) {
            const SOCKET watched = current;
            const auto ready = SelectFrom({watched}, 100ms);
            check(ready ? 0 : WSAGetLastError());
            if (ready && !ready->empty()) check(ReceiveInto(watched, 10).error);
        }
    });
    for (int round = 0; round < 500; ++round) {
        ASSERT_EQ(closesocket(current), 0);
        current = OpenBound("127.0.0.1", kPort);
    }
    done = true;
    sender.join();
    receiver.join();
}

TEST(DatagramSocket, KeepsItsDescriptorsWhileSomebodyIsAtThem) {
    Descriptor own;
    ASSERT_EQ(OpenDatagramDescriptor(own), 0);
    const auto held = MakeObject<DatagramSocket>(std::move(own));
    auto stay = std::make_unique<DatagramSocket::Stay>(*held);
    std::atomic<bool> closed{false};
    std::thread closing([&] {
        held->OnLastHandleClosed();
        closed.store(true);
    });
    while (DatagramSocket::Stay(*held))
        std::this_thread::yield();
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(closed.load());
    EXPECT_GE(held->DescriptorAt(0), 0);
    stay.reset();
    closing.join();
    EXPECT_EQ(held->DescriptorAt(0), -1);
}

TEST_F(SocketTest, HostNameNeedsRoom) {
    char name[256] = "";
    ASSERT_EQ(gethostname(name, sizeof name), 0);
    const int length = static_cast<int>(strlen(name));
    ASSERT_GT(length, 0);
    EXPECT_EQ(gethostname(name, length), SOCKET_ERROR);
    EXPECT_EQ(gethostname(name, length + 1), 0);
}

TEST(ServiceNames, AreReadAsTheSystemsFileIs) {
    const std::string file =
        "# bootp 1/udp\n\nbootp\t2067/tcp bootps\r\nbootp 2068/udp  dhcps bootps # bootpd\n"
        "bootp 2069/udp\nbig 65536/udp\nhigh 65535/udp\nnone /udp\nword x/udp\nbare 7\nopen 7/\nlast 9/udp";
    const struct {
        const char *name, *protocol;
        int port;  // -1: not found
    } cases[] = {
        {"bootp", "udp", 2068}, {"bootp", "tcp", 2067}, {"bootp", "", 2067},   {"bootps", "udp", 2068},
        {"dhcps", "udp", 2068}, {"dhcps", "tcp", -1},   {"bootpd", "udp", -1}, {"BOOTP", "udp", -1},
        {"big", "udp", -1},     {"high", "udp", 65535}, {"none", "udp", -1},   {"word", "udp", -1},
        {"bare", "", -1},       {"open", "", -1},       {"last", "udp", 9},    {"#", "udp", -1},
        {"", "udp", -1},
    };
    for (const auto& row : cases) {
        std::istringstream lines(file);
        const auto found = FindServiceName(lines, row.name, row.protocol);
        EXPECT_EQ(found ? found->port : -1, row.port) << row.name << "/" << row.protocol;
    }
}

TEST_F(SocketTest, ServiceNameOfTheHomeComesFirst) {
    const TestHome home;
    home.Write("services", "domain 2053/udp nameserver\n");
    const servent* own = getservbyname("nameserver", "udp");
    ASSERT_NE(own, nullptr);
    EXPECT_STREQ(own->s_name, "domain");
    EXPECT_STREQ(own->s_aliases[0], "nameserver");
    EXPECT_EQ(ntohs(static_cast<std::uint16_t>(own->s_port)), 2053);
    // The C library's own, to have something to compare with where the system has such a file.
    if (const servent* expected = (::getservbyname)("ntp", "udp"); expected != nullptr) {
        const int port = expected->s_port;
        const servent* systems = getservbyname("ntp", "udp");
        ASSERT_NE(systems, nullptr);
        EXPECT_EQ(systems->s_port, port);
    }
}

// What finds no room in the receive buffer is counted.
TEST_F(SocketTest, CountsWhatTheSystemDrops) {
    const std::vector<SOCKET> sockets = Open(2);
    std::uint64_t drops = 0;
    ASSERT_TRUE(AddReceiveDrops(sockets[0], &drops));
    EXPECT_EQ(drops, 0u);
    constexpr std::size_t Sent = 30000;  // more than the largest buffer holds
    for (std::size_t i = 0; i < Sent; ++i)
        ASSERT_EQ(SendTo(sockets[1], "datagram"), 0);
    const std::size_t received = DrainAll(sockets[0]).size();
    ASSERT_LT(received, Sent);
    ASSERT_TRUE(AddReceiveDrops(sockets[0], &drops));
    EXPECT_EQ(drops, Sent - received);
    closesocket(sockets[0]);
    EXPECT_FALSE(AddReceiveDrops(sockets[0], &drops));
}

}  // namespace
