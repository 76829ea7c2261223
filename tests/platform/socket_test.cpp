#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/arrivals.h"
#include "platform/linux/instance/home.h"
#include "platform/linux/instance/service_names.h"
#include "platform/linux/net/bound_descriptors.h"
#include "platform/linux/net/datagram_socket.h"
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
    EXPECT_EQ(WSACleanup(), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    EXPECT_EQ(socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP), INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    EXPECT_EQ(getservbyname("domain", "udp"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);

    WSADATA data;
    EXPECT_EQ(WSAStartup(MAKEWORD(1, 0), &data), WSAVERNOTSUPPORTED);
    for (const WORD asked : {MAKEWORD(1, 1), MAKEWORD(2, 2)}) {
        ASSERT_EQ(WSAStartup(asked, &data), 0);
        EXPECT_EQ(LOBYTE(data.wVersion), 1);
        EXPECT_EQ(HIBYTE(data.wVersion), 1);
    }
    const SOCKET left = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    ASSERT_NE(left, INVALID_SOCKET);
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

class SocketTest : public WinsockTest {};

TEST_F(SocketTest, RefusesWithTheNumberOfTheFault) {
    const SOCKET bound = OpenBound("127.0.0.1", kPort);
    const SOCKET unbound = OpenPlain();
    const SOCKET closed = OpenPlain();
    ASSERT_EQ(closesocket(closed), 0);
    const sockaddr_in someone = WireAddress("127.0.0.1", kPort);
    const auto* generic = reinterpret_cast<const sockaddr*>(&someone);
    char buffer[8];
    int shortLength = 4;
    sockaddr_in from;
    fd_set empty{};
    fd_set some{};
    FD_SET(bound, &some);
    timeval negative{.tv_sec = -1, .tv_usec = 0};
    timeval none{.tv_sec = 0, .tv_usec = 0};

    const struct {
        const char* call;
        std::function<int()> run;
        int error;
    } cases[] = {
        {"socket of IPv6", [] { return static_cast<int>(socket(AF_INET6, SOCK_DGRAM, 0)); }, WSAEAFNOSUPPORT},
        {"socket of streams", [] { return static_cast<int>(socket(AF_INET, SOCK_STREAM, 0)); },
         WSAESOCKTNOSUPPORT},
        {"socket of TCP", [] { return static_cast<int>(socket(AF_INET, SOCK_DGRAM, 6)); },
         WSAEPROTONOSUPPORT},
        {"bind taken", [&] { return bind(unbound, generic, sizeof someone); }, WSAEADDRINUSE},
        {"bind twice", [&] { return bind(bound, generic, sizeof someone); }, WSAEINVAL},
        {"bind short", [&] { return bind(unbound, generic, 8); }, WSAEFAULT},
        {"bind closed", [&] { return bind(closed, generic, sizeof someone); }, WSAENOTSOCK},
        {"bind foreign", [&] { return BindTo(unbound, "192.0.2.1", kPort) == 0 ? 0 : -1; }, WSAEADDRNOTAVAIL},
        {"other option", [&] { return setsockopt(bound, SOL_SOCKET, 0x1002, buffer, 4); }, WSAENOPROTOOPT},
        {"short option", [&] { return setsockopt(bound, SOL_SOCKET, SO_BROADCAST, buffer, 1); }, WSAEFAULT},
        {"option of closed", [&] { return setsockopt(closed, SOL_SOCKET, SO_BROADCAST, buffer, 4); },
         WSAENOTSOCK},
        {"select nothing", [&] { return select(0, &empty, nullptr, nullptr, &none); }, WSAEINVAL},
        {"select null", [&] { return select(0, nullptr, nullptr, nullptr, &none); }, WSAEINVAL},
        {"select to write", [&] { return select(0, &some, &some, nullptr, &none); }, WSAEOPNOTSUPP},
        {"select backwards", [&] { return select(0, &some, nullptr, nullptr, &negative); }, WSAEINVAL},
        {"select closed",
         [&] {
             return SelectFrom({bound, closed}, 0s) ? 0 : -1;
         },
         WSAENOTSOCK},
        {"recvfrom unbound", [&] { return recvfrom(unbound, buffer, 8, 0, nullptr, nullptr); }, WSAEINVAL},
        {"recvfrom closed", [&] { return recvfrom(closed, buffer, 8, 0, nullptr, nullptr); }, WSAENOTSOCK},
        {"recvfrom short sender",
         [&] { return recvfrom(bound, buffer, 8, 0, reinterpret_cast<sockaddr*>(&from), &shortLength); },
         WSAEFAULT},
        {"recvfrom negative", [&] { return recvfrom(bound, buffer, -1, 0, nullptr, nullptr); }, WSAEFAULT},
        {"sendto closed", [&] { return Send(closed, "x", "127.0.0.1", kPort) == 0 ? 0 : -1; }, WSAENOTSOCK},
        {"sendto nowhere", [&] { return sendto(bound, "x", 1, 0, nullptr, 0); }, WSAEFAULT},
        {"closesocket twice", [&] { return closesocket(closed); }, WSAENOTSOCK},
        {"closesocket of no socket", [&] { return closesocket(INVALID_SOCKET); }, WSAENOTSOCK},
    };
    for (const auto& row : cases) {
        WSASetLastError(0);
        EXPECT_EQ(row.run(), -1) << row.call;
        EXPECT_EQ(WSAGetLastError(), row.error) << row.call;
    }
}

TEST_F(SocketTest, BroadcastHasToBeAllowed) {
    const SOCKET sender = OpenPlain();
    ASSERT_EQ(BindTo(sender, "127.0.0.1", 0), 0);
    EXPECT_EQ(Send(sender, "x", "255.255.255.255", kPort), WSAEACCES);
}

TEST_F(SocketTest, ReceivesWholeCutAndEmptyDatagrams) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 1);
    ASSERT_EQ(Send(sender, "whole", "127.0.0.1", kPort), 0);
    ASSERT_EQ(Send(sender, "larger than the buffer", "127.0.0.1", kPort), 0);
    ASSERT_EQ(Send(sender, "", "127.0.0.1", kPort), 0);

    const Received whole = ReceiveInto(receiver, 6);
    EXPECT_EQ(whole.result, 5);
    EXPECT_EQ(whole.data, "whole");
    const Received cut = ReceiveInto(receiver, 6);
    EXPECT_EQ(cut.result, SOCKET_ERROR);
    EXPECT_EQ(cut.error, WSAEMSGSIZE);
    EXPECT_EQ(cut.data, "larger");
    EXPECT_EQ(cut.from.sin_port, htons(kPort + 1));
    EXPECT_EQ(cut.from.sin_addr.s_addr, inet_addr("127.0.0.1"));
    EXPECT_EQ(ReceiveInto(receiver, 6).result, 0);
    EXPECT_THAT(DrainAll(receiver), IsEmpty());
}

// More than are fetched from the kernel at once.
TEST_F(SocketTest, ManyDatagramsKeepOrderLengthAndSender) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    const SOCKET senders[] = {OpenBound("127.0.0.1", kPort + 1), OpenBound("127.0.0.1", kPort + 2)};
    const auto text = [](unsigned i) { return std::string(i % 7 == 0 ? 60000 + i : i, char('a' + i % 26)); };
    constexpr unsigned kCount = 40;
    for (unsigned i = 0; i < kCount; ++i)
        ASSERT_EQ(Send(senders[i % 2], text(i), "127.0.0.1", kPort), 0);
    for (unsigned i = 0; i < kCount; ++i) {
        ASSERT_THAT(*SelectFrom({receiver}, 10s), ElementsAre(receiver)) << i;
        const Received received = ReceiveInto(receiver, 60020);
        const bool isCut = text(i).size() > 60020;
        EXPECT_EQ(received.data, text(i).substr(0, 60020)) << i;
        EXPECT_EQ(received.error, isCut ? WSAEMSGSIZE : 0) << i;
        EXPECT_EQ(received.from.sin_port, htons(static_cast<std::uint16_t>(kPort + 1 + i % 2))) << i;
    }
    EXPECT_THAT(*SelectFrom({receiver}, 0s), IsEmpty());
}

// Each datagram is shown at most once, before or as it is received, and nothing that a caller may have to
// rely on.
TEST_F(SocketTest, ArrivalsAreShownToWhoeverWatches) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 1);
    const auto sendAndReceive = [&](unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(Send(sender, std::string(i, 'a'), "127.0.0.1", kPort), 0);
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(ReceiveInto(receiver, 5).data, std::string(std::min(i, 5u), 'a'));
    };
    std::vector<std::string> shown;
    const auto show = [](const Arrival* arrivals, std::size_t count, const void* argument) {
        auto& list = **static_cast<std::vector<std::string>* const*>(argument);
        for (const Arrival* arrival = arrivals; arrival != arrivals + count; ++arrival)
            list.emplace_back(reinterpret_cast<const char*>(arrival->data), arrival->length);
    };
    auto* const list = &shown;
    sendAndReceive(3);
    EXPECT_THAT(shown, IsEmpty());
    {
        const ArrivalWatch watch(show, &list);
        std::thread([&] { sendAndReceive(3); }).join();
        EXPECT_THAT(shown, IsEmpty()) << "another thread's";
        sendAndReceive(20);
    }
    ASSERT_EQ(shown.size(), 20u);
    for (unsigned i = 0; i < shown.size(); ++i)
        EXPECT_EQ(shown[i], std::string(i, 'a')) << "whole, although it is received cut";
    sendAndReceive(3);
    EXPECT_EQ(shown.size(), 20u);
}

// One thread fetches what has woken another: what it leaves is still to be seen.
TEST_F(SocketTest, SelectSeesWhatAnotherThreadHasReadAhead) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 1);
    for (int round = 0; round < 100; ++round) {
        std::optional<std::vector<SOCKET>> seen;
        std::thread waiting([&] { seen = SelectFrom({receiver}, 2s); });
        std::this_thread::sleep_for(1ms);
        ASSERT_EQ(Send(sender, "first", "127.0.0.1", kPort), 0);
        ASSERT_EQ(Send(sender, "second", "127.0.0.1", kPort), 0);
        EXPECT_EQ(ReceiveInto(receiver, 10).data, "first");
        waiting.join();
        ASSERT_THAT(*seen, ElementsAre(receiver)) << "in round " << round;
        EXPECT_EQ(ReceiveInto(receiver, 10).data, "second");
    }
}

TEST_F(SocketTest, SelectTellsTheOthersWhenWhatWasReadAheadIsUsedUp) {
    const SOCKET busy = OpenBound("127.0.0.1", kPort);
    const SOCKET quiet = OpenBound("127.0.0.1", kPort + 1);
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 2);
    for (unsigned i = 0; i < 3 * ReadAhead::Depth; ++i)
        ASSERT_EQ(Send(sender, "x", "127.0.0.1", kPort), 0);
    ASSERT_EQ(ReceiveInto(busy, 10).result, 1);
    ASSERT_EQ(Send(sender, "x", "127.0.0.1", kPort + 1), 0);
    for (unsigned i = 1; i < ReadAhead::Depth; ++i) {
        ASSERT_THAT(*SelectFrom({busy, quiet}, 0s), ElementsAre(busy)) << i;
        ASSERT_EQ(ReceiveInto(busy, 10).result, 1);
    }
    EXPECT_THAT(*SelectFrom({busy, quiet}, 0s), ElementsAre(busy, quiet));
}

TEST_F(SocketTest, WhatWasReadAheadGoesWithTheSocket) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 1);
    for (const char* text : {"taken", "lost"})
        ASSERT_EQ(Send(sender, text, "127.0.0.1", kPort), 0);
    EXPECT_EQ(ReceiveInto(receiver, 10).data, "taken");
    ASSERT_EQ(closesocket(receiver), 0);
    EXPECT_EQ(SelectFrom({receiver}, 0s), std::nullopt);
    EXPECT_EQ(ReceiveInto(receiver, 10).error, WSAENOTSOCK);
    EXPECT_THAT(DrainAll(OpenBound("127.0.0.1", kPort)), IsEmpty());
}

TEST_F(SocketTest, SelectTellsEachReadableSocketOnce) {
    std::vector<SOCKET> sockets;
    for (unsigned i = 0; i < 5; ++i)
        sockets.push_back(OpenBound("127.0.0.1", kPort + i));
    const SOCKET sender = OpenBound("127.0.0.1", kPort + 9);
    for (const unsigned target : {3u, 1u, 3u})
        ASSERT_EQ(Send(sender, "x", "127.0.0.1", kPort + target), 0);

    EXPECT_THAT(*SelectFrom(sockets, 10s), ElementsAre(sockets[1], sockets[3]));
    EXPECT_THAT(*SelectFrom({sockets[4], sockets[3], sockets[3]}, 10s), ElementsAre(sockets[3]));
    EXPECT_EQ(ReceiveInto(sockets[3], 10).result, 1);
    EXPECT_EQ(ReceiveInto(sockets[1], 10).result, 1);
    EXPECT_THAT(*SelectFrom(sockets, 10s), ElementsAre(sockets[3]));
    EXPECT_EQ(ReceiveInto(sockets[3], 10).result, 1);
    EXPECT_THAT(*SelectFrom(sockets, 0s), IsEmpty());
    EXPECT_THAT(*SelectFrom({sockets[0], sockets[2]}, 0s), IsEmpty());
}

TEST_F(SocketTest, SelectTakesItsWholeTimeEvenWhenInterrupted) {
    struct sigaction ignored {};
    struct sigaction former {};
    ignored.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignored, &former), 0);
    const SOCKET quiet = OpenBound("127.0.0.1", kPort);
    std::atomic<bool> done{false};
    const pthread_t waiting = pthread_self();
    std::thread disturber([&] {
        while (!done.load()) {
            pthread_kill(waiting, SIGUSR1);
            std::this_thread::sleep_for(10ms);
        }
    });
    const auto start = Clock::now();
    EXPECT_THAT(*SelectFrom({quiet}, 150500us), IsEmpty());
    const auto taken = Clock::now() - start;
    done.store(true);
    disturber.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_GE(taken, 150500us);
    EXPECT_LT(taken, 1s);
}

TEST_F(SocketTest, ClosingWakesWhoeverWaits) {
    const SOCKET other = OpenBound("127.0.0.1", kPort + 1);
    const struct {
        const char* call;
        std::function<int(SOCKET)> wait;
    } cases[] = {
        {"select without limit, then recvfrom",
         [other](SOCKET watched) {
             fd_set set{};
             FD_SET(other, &set);
             FD_SET(watched, &set);
             const int ready = select(0, &set, nullptr, nullptr, nullptr);
             EXPECT_EQ(ready, 1) << "it is reported as readable";
             EXPECT_TRUE(FD_ISSET(watched, &set));
             return ReceiveInto(watched, 10).result;
         }},
        {"recvfrom", [](SOCKET watched) { return ReceiveInto(watched, 10).result; }},
    };
    for (const auto& row : cases) {
        const SOCKET watched = OpenBound("127.0.0.1", kPort);
        int answer = 0;
        int error = 0;
        Clock::time_point woken;
        std::thread waiting([&] {
            answer = row.wait(watched);
            error = WSAGetLastError();
            woken = Clock::now();
        });
        std::this_thread::sleep_for(50ms);
        const auto closing = Clock::now();
        EXPECT_EQ(closesocket(watched), 0);
        waiting.join();
        EXPECT_EQ(answer, SOCKET_ERROR) << row.call;
        EXPECT_EQ(error, WSAENOTSOCK) << row.call;
        EXPECT_LT(woken - closing, 500ms) << row.call;
    }
}

// What a rebind does while requests are answered: the address is free as soon as closesocket has returned,
// and nobody reaches a socket that isn't his.
TEST_F(SocketTest, AddressIsFreeOnceClosedWhileOthersUseIt) {
    constexpr int kRounds = 500;
    std::atomic<SOCKET> current{OpenBound("127.0.0.1", kPort)};
    std::atomic<bool> done{false};
    std::atomic<int> strangeErrors{0};
    const auto count = [&](int error) {
        if (error != 0 && error != WSAENOTSOCK) ++strangeErrors;
    };
    std::vector<std::thread> users;
    users.emplace_back([&] {
        while (!done.load())
            count(Send(current.load(), "x", "127.0.0.1", kPort));
    });
    users.emplace_back([&] {
        while (!done.load()) {
            const SOCKET watched = current.load();
            const auto ready = SelectFrom({watched}, 100ms);
            count(ready ? 0 : WSAGetLastError());
            if (ready && !ready->empty()) count(ReceiveInto(watched, 10).error);
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(closesocket(current.load()), 0);
        current.store(OpenBound("127.0.0.1", kPort));
    }
    done.store(true);
    for (auto& user : users)
        user.join();
    EXPECT_EQ(strangeErrors.load(), 0);
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

TEST_F(SocketTest, RefusedDatagramsAreNoReceiveFailures) {
    const SOCKET receiver = OpenBound("127.0.0.1", kPort);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Send(receiver, "to nobody", "127.0.0.1", kPort + 7), 0);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(Send(receiver, "news", "127.0.0.1", kPort), 0);
    EXPECT_THAT(DrainAll(receiver, 1), ElementsAre("news"));
}

TEST_F(SocketTest, HostNameNeedsRoom) {
    char name[256] = "";
    ASSERT_EQ(gethostname(name, sizeof name), 0);
    const std::string whole = name;
    ASSERT_FALSE(whole.empty());
    EXPECT_EQ(gethostname(name, static_cast<int>(whole.size())), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEFAULT);
    EXPECT_EQ(gethostname(name, static_cast<int>(whole.size()) + 1), 0);
    EXPECT_EQ(name, whole);
}

TEST(ServiceNames, AreReadAsTheSystemsFileIs) {
    const std::string file =
        "# bootp 1/udp\n"
        "\n"
        "bootp\t2067/tcp bootps\r\n"
        "bootp 2068/udp  dhcps bootps # bootpd\n"
        "bootp 2069/udp\n"
        "big 65536/udp\n"
        "high 65535/udp\n"
        "none /udp\n"
        "word x/udp\n"
        "bare 7\n"
        "open 7/\n"
        "last 9/udp";
    const struct {
        const char* name;
        const char* protocol;
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
    EXPECT_EQ(getservbyname("no-such-service", "udp"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSANO_DATA);
    // The C library's own, to have something to compare with where the system has such a file.
    if (const servent* expected = (::getservbyname)("ntp", "udp"); expected != nullptr) {
        const int port = expected->s_port;
        const servent* systems = getservbyname("ntp", "udp");
        ASSERT_NE(systems, nullptr);
        EXPECT_EQ(systems->s_port, port);
    }
}

}  // namespace
