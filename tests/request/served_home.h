// A home whose parameters are live, with a server's socket and a client's on the loopback interface: requests
// run in this process.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "platform/network_namespace.h"
#include "request/interfaces.h"
#include "request/pool_state.h"
#include "request/process_request.h"
#include "service/generation.h"
#include "service/parameter_load.h"
#include "service/temporary_home.h"

class ServedHome : public testing::Test {
  protected:
    using Bytes = std::vector<std::uint8_t>;
    static constexpr IpAddress Loopback = {{127, 0, 0, 1}};

    // Registry and database are written by then.
    void Open() {
        WSADATA data;
        WSAStartup(MAKEWORD(1, 1), &data);
        MakePoolMutexes();
        Install();
        std::strcpy(HostName, "alpha");
        LocalAddresses[0] = Loopback;
        BoundCount = 1;
        ASSERT_EQ(OpenBoundSocket(&server, 0, Loopback, 0), 0);
        client.emplace("127.0.0.1");
    }
    void TearDown() override {
        if (!client) return;
        WSACleanup();
        ReleaseGeneration(UninstallGeneration());
        EXPECT_TRUE(WaitForGenerations(0));
        BoundCount = 0;
        for (const HANDLE mutex : {ListenerMutex.load(), ThreadCountMutex.load(), ListenerHandleMutex.load(),
                                   ClientListMutex.load()})
            CloseHandle(mutex);
    }
    void Install() {
        ServerParameters record = {};
        ASSERT_EQ(LoadParameters(&record), LoadOk) << home.Read("events.log");
        if (Generation* const previous = InstallGeneration(MakeGeneration(&record)))
            ReleaseGeneration(previous);
    }
    // A context for the client's datagram of `request`, in a block as the pool allocates it.
    RequestContext Context(const Bytes& request) {
        RequestContext context = {};
        context.from.sin_family = AF_INET;
        context.from.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        context.from.sin_port = htons(client->Port());
        context.socket = server;
        context.length = static_cast<LONG>(request.size());
        context.blockOwner = PinCurrentGeneration();
        const ServerParameters& record = RecordOf(context.blockOwner);
        context.packet =
            static_cast<BootPacket*>(HeapAlloc(record.ClientHeap, HEAP_ZERO_MEMORY, record.Daemonblksize));
        std::memcpy(context.packet, request.data(), request.size());
        return context;
    }
    // What the client has got; empty if there is nothing.
    Bytes Received() {
        const std::optional<Datagram> datagram = client->Receive(std::chrono::milliseconds(0));
        return datagram ? Bytes(datagram->data.begin(), datagram->data.end()) : Bytes();
    }
    std::string ReceivedText() {
        const Bytes received = Received();
        return {received.begin(), received.end()};
    }

    // Of the client 00-a0-24-12-34-56.
    static Bytes Request() {
        Bytes request(300);
        request[0] = request[1] = 1;  // op: request, htype: Ethernet
        request[2] = 6;               // hlen
        std::memcpy(&request[28], "\x00\xA0\x24\x12\x34\x56", 6);
        return request;
    }

    TemporaryHome home;
    SOCKET server = 0;
    std::optional<PlainSocket> client;
};
