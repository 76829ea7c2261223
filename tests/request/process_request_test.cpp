// Whole requests, in a process with a loaded database, from a datagram's block to the reply on the loopback
// interface.
#include "request/process_request.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <fstream>
#include <thread>

#include "database/last_answer.h"
#include "diagnostics/recent_clients.h"
#include "diagnostics/service_counters.h"
#include "operation_watch.h"
#include "request/address_list.h"
#include "request/daemon_pool.h"
#include "request/reload.h"
#include "request/served_home.h"

namespace {

using testing::HasSubstr;

class WholeRequest : public ServedHome {
  protected:
    void SetUp() override {
        home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:1",
                            "\"UseClientSrcPort\"=dword:1"});
        home.WriteDatabase();
        Open();
    }
    Bytes Ask(const Bytes& request) {
        const RequestContext context = Context(request);
        ProcessBootRequest(&context);
        return Received();
    }
    // The lines of the last trace block behind `label`.
    std::string Traced(const std::string& label) const {
        const std::string log = home.Read("bootps.log");
        const std::size_t at = log.rfind("\t" + label + ": ");
        return at == std::string::npos
                   ? "(none)"
                   : log.substr(at + label.size() + 3, log.find("\r\n", at) - at - label.size() - 3);
    }

    // What one refusal counts as, and where it is noted.
    template <class Action>
    static void ExpectCounted(RequestKind kind, Refusal refusal, Action action) {
        const auto noted = [&] {
            std::vector<SeenClient> seen(RecentClients::Places);
            seen.resize(UnansweredClients.Copy(0, seen.data(), seen.size()));
            return seen;
        };
        const auto count = [](const std::vector<SeenClient>& all) {
            std::uint64_t sum = 0;
            for (const SeenClient& seen : all)
                sum += seen.count;
            return sum;
        };
        const ServiceCounts before = ReadServiceCounts();
        const std::uint64_t notedBefore = count(noted());
        action();
        const ServiceCounts after = ReadServiceCounts();
        for (std::size_t i = 0; i < Refusals; ++i)
            EXPECT_EQ(after.refusals[i] - before.refusals[i], i == static_cast<std::size_t>(refusal)) << i;
        for (std::size_t i = 0; i < RequestKinds; ++i)
            EXPECT_EQ(after.requests[i] - before.requests[i], i == static_cast<std::size_t>(kind)) << i;
        EXPECT_EQ(count(noted()) - notedBefore, refusal != Refusal::Opcode);
    }
};

TEST_F(WholeRequest, ABootpClientGetsItsEntry) {
    Bytes request = Request();
    request[4] = 0x77;  // xid, echoed
    const Bytes reply = Ask(request);
    ASSERT_EQ(reply.size(), request.size());
    const auto* packet = reinterpret_cast<const BootPacket*>(reply.data());
    EXPECT_EQ(packet->op, BootReplyOpcode);
    EXPECT_EQ(packet->xid[0], 0x77);
    EXPECT_EQ(packet->yiaddr, Loopback);
    EXPECT_EQ(packet->siaddr, Loopback);
    EXPECT_STREQ(packet->sname, "alpha");
    EXPECT_STREQ(packet->file, "lab.img");
    const Bytes options(reply.begin() + 240, reply.begin() + 265);
    EXPECT_THAT(options,
                testing::ElementsAre(1, 4, 255, 255, 255, 0, 51, 4, 0, 0, 0x0E, 0x10, 3, 4, 10, 0, 0, 254,  //
                                     12, 4, 'p', 'c', '1', '7', 255));
    EXPECT_EQ(Traced("Packet type"), "BOOTP");
    EXPECT_EQ(Traced("Find status"), "Found in cache");
    EXPECT_EQ(Traced("Client's found address"), "127.0.0.1");
    EXPECT_EQ(Traced("Client's address inbound (YIADDR)"), "0.0.0.0");
    EXPECT_EQ(Traced("Bootfile specified by client"), "lab.img");
}

TEST_F(WholeRequest, EachWayToNoReplyHasItsStatus) {
    const struct {
        std::size_t offset;
        std::uint8_t value;
        const char* findStatus;
        Refusal refusal;
        RequestKind kind = RequestKind::Bootp;
    } cases[] = {
        {0, 2, "Invalid opcode", Refusal::Opcode, RequestKind::NoRequest},
        {44, 'b', "Not this server", Refusal::ServerName},
        {33, 0x57, "Hardware address not found in database.", Refusal::UnknownClient},
        {240, 53, "Packet dropped", Refusal::Dropped, RequestKind::OtherDhcp},
        {1, 6, "Hardware type mismatch. Check the event log.", Refusal::HardwareType},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.findStatus);
        Bytes request = Request();
        request[test.offset] = test.value;
        ExpectCounted(test.kind, test.refusal, [&] { EXPECT_TRUE(Ask(request).empty()); });
        EXPECT_EQ(Traced("Find status"), test.findStatus);
        EXPECT_EQ(Traced("Reply status"), "No reply sent");
        EXPECT_EQ(Traced("Packet type"), "Not available");
    }
    EXPECT_EQ(home.EventNumbers().back(), "0x8000001B");
    // A client without an address, and one after the cache whose section is malformed.
    home.WriteRegistry(
        {"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:1", "\"CacheSize\"=dword:1"});
    home.Write("bootptab",
               "[Options]\nLease=51,time\nMedia=-11,string\n[00-a0-24-12-34-56]\nMedia=02-00\n"
               "[00-a0-24-12-34-57]\nLease=1:30\n");
    Install();
    ExpectCounted(RequestKind::Bootp, Refusal::NoAddress, [&] { EXPECT_TRUE(Ask(Request()).empty()); });
    EXPECT_EQ(Traced("Reply status"), "No address defined. Reply skipped.");
    EXPECT_EQ(Traced("Hardware address"), "00-a0-24-12-34-56 MAC used for arp entry: 02-00");
    Bytes malformed = Request();
    malformed[33] = 0x57;
    ExpectCounted(RequestKind::Bootp, Refusal::Malformed, [&] { EXPECT_TRUE(Ask(malformed).empty()); });
    EXPECT_EQ(Traced("Find status"), "Error in client's database configuration. Check the event log.");
    EXPECT_EQ(home.EventNumbers().back(), "0xC000001C");
    EXPECT_THAT(home.Read("events.log"), HasSubstr("hardware address 00-a0-24-12-34-57 is malformed"));
}

// Kind and route of each reply, in the counters and in the entry, and what a client that got none leaves.
TEST_F(WholeRequest, WhatBecameOfARequestIsKept) {
    home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"CacheSize\"=dword:1"});
    home.Write("bootptab",
               "[Options]\nIP=-2,ipaddress\n[00-a0-24-12-34-56]\nIP=127.0.0.1\n"
               "[00-a0-24-12-34-57]\nIP=127.0.0.1\n");
    Install();
    using Kind = RequestKind;
    const struct {
        Bytes options;
        std::uint8_t relay, flags;
        Kind request;
        ReplyKind reply;
        ReplyRoute route;
    } rows[] = {
        {{}, 0, 0, Kind::Bootp, ReplyKind::Bootp, ReplyRoute::Directed},
        {{53, 1, 1}, 127, 0, Kind::Discover, ReplyKind::Offer, ReplyRoute::Relay},
        {{53, 1, 3}, 127, 0, Kind::Request, ReplyKind::Ack, ReplyRoute::Relay},
        {{50, 4, 9, 9, 9, 9, 53, 1, 3}, 127, 0, Kind::Request, ReplyKind::Nak, ReplyRoute::Relay},
        {{0, 53, 1, 4}, 127, 0, Kind::Decline, ReplyKind::Decline, ReplyRoute::Relay},
        {{53, 1, 7}, 127, 0x80, Kind::Release, ReplyKind::Release, ReplyRoute::Relay},
    };
    for (const auto& row : rows)
        for (const std::uint8_t last : {0x56, 0x57}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(row.reply) << " to " << int{last});
            Bytes request = Request();
            request[33] = last;
            request[10] = row.flags;
            if (row.relay != 0) std::copy_n(Loopback.bytes, 4, request.begin() + 24);
            std::copy(row.options.begin(), row.options.end(), request.begin() + 240);
            const ServiceCounts before = ReadServiceCounts();
            Ask(request);
            const ServiceCounts after = ReadServiceCounts();
            const auto kind = static_cast<std::size_t>(row.reply), way = static_cast<std::size_t>(row.route);
            EXPECT_EQ(after.replies[kind][way] - before.replies[kind][way], 1u);
            const auto asked = static_cast<std::size_t>(row.request);
            EXPECT_EQ(after.requests[asked] - before.requests[asked], 1u);
            const LastAnswer answer = LastAnswerOf(LiveParameters.ClientList);
            const std::uint8_t address[HardwareAddressSize] = {0x00, 0xA0, 0x24, 0x12, 0x34, last};
            const auto fromFile = ClientsReadFromFile.Find(address, 6);
            ASSERT_EQ(fromFile.has_value(), last == 0x57) << "it is beyond the cache";
            EXPECT_EQ(fromFile ? fromFile->kind : answer.kind, kind);
            EXPECT_EQ(fromFile ? fromFile->outcome : answer.route, way);
            EXPECT_NEAR(static_cast<double>(fromFile ? fromFile->last : answer.time),
                        static_cast<double>(std::time(nullptr)), 5);
        }
    RequestContext reload = Context(Bytes(11));
    const std::int64_t time = LastAnswerOf(LiveParameters.ClientList).time;
    LeaveFormerGeneration(ReloadParameters(&reload));
    EXPECT_EQ(LastAnswerOf(LiveParameters.ClientList).time, time) << "a reload keeps it";

    // No broadcast leaves by this socket.
    Bytes broadcast = Request();
    broadcast[10] = 0x80;
    const std::uint64_t failedSends = ReadServiceCounts().failedSends;
    ExpectCounted(Kind::Bootp, Refusal::NotSent, [&] { Ask(broadcast); });
    EXPECT_EQ(ReadServiceCounts().failedSends - failedSends, 1u);

    Bytes stranger = Request();
    stranger[33] = 0x99;
    std::copy_n(Loopback.bytes, 4, stranger.begin() + 24);
    stranger[240] = 53, stranger[241] = 1, stranger[242] = 8;
    Ask(stranger);
    const auto seen = UnansweredClients.Find({0x00, 0xA0, 0x24, 0x12, 0x34, 0x99}, 6);
    ASSERT_TRUE(seen);
    EXPECT_EQ(static_cast<Kind>(seen->kind), Kind::Inform);
    EXPECT_EQ(static_cast<Refusal>(seen->outcome), Refusal::UnknownClient);
    EXPECT_EQ(seen->peer, Loopback);
    EXPECT_EQ(seen->local, Loopback);
}

TEST_F(WholeRequest, AServerMayBeNamedByAPrefixEitherWay) {
    for (const auto& [name, answered] :
         {std::pair{"al", true}, {"ALPHA2", true}, {"alpine", false}, {"", true}}) {
        Bytes request = Request();
        std::copy_n(name, std::strlen(name), request.begin() + 44);
        EXPECT_EQ(!Ask(request).empty(), answered) << name;
    }
}

TEST_F(WholeRequest, TheBetterInterfaceAnswers) {
    LocalAddresses[0] = IpAddress{{192, 0, 2, 1}};
    LocalAddresses[1] = Loopback;
    BoundCount = 2;
    ExpectCounted(RequestKind::Bootp, Refusal::OtherInterface, [&] { EXPECT_TRUE(Ask(Request()).empty()); });
    EXPECT_EQ(Traced("Reply status"),
              "Local interface 127.0.0.1 is more suitable for this query. Skipping reply.");
    EXPECT_EQ(Traced("Packet received on local address"), "192.0.2.1");
}

TEST_F(WholeRequest, ShortAndHostileDatagramsCostATraceAndNoMore) {
    for (const std::size_t size : {1u, 2u, 27u, 43u, 107u, 235u, 239u, 240u, 241u, 600u})
        for (const int hlen : {0, 1, 6, 16, 17, 255}) {
            Bytes request(size, 0xFF);
            request[0] = 1;
            if (size > 2) request[2] = static_cast<std::uint8_t>(hlen);
            Ask(request);
            EXPECT_EQ(Traced("Total inbound packet length"), std::to_string(size));
        }
}

// Of a thread of this process that has said who it is.
void AwaitSleep(const std::atomic<pid_t>& thread) {
    for (std::string state; state != "S"; Sleep(1)) {
        if (thread == 0) continue;
        std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string number, name;
        stat >> number >> name >> state;
    }
}

// A request waits for ClientListMutex while a reload replaces all that it would have found: from then on
// everything is the new record's, and nothing the old one's.
TEST_F(WholeRequest, ARequestOfTheOldGenerationLooksInTheNewList) {
    const std::string helper = "\"HelperDLL\"=\"" HELPER_PATH "\"";
    home.WriteRegistry({helper, "\"UseClientSrcPort\"=dword:1", "\"ForceBroadcast\"=dword:1"});
    Install();
    const RequestContext context = Context(Request());
    home.WriteRegistry({"\"HelperDLL\"=\"none\"", "\"UseClientSrcPort\"=dword:1", "\"EnableLogging\"=dword:1",
                        "\"MaxDaemonThreads\"=dword:4"});
    home.Write("bootptab",
               "[Options]\nIP=-2,ipaddress\nFile=-1,string\n"
               "[00-a0-24-12-34-56]\nIP=127.0.0.1\nFile=new.img\n");
    const ServerParameters before = LiveParameters;
    LiveParameters.MaxDaemonThreads -= 3;  // they run
    RequestContext reload = Context(Bytes(11));

    std::atomic<pid_t> waiting{0};
    WaitForSingleObject(ClientListMutex, INFINITE);
    std::thread request([&] {
        waiting = ::gettid();
        ProcessBootRequest(&context);
    });
    AwaitSleep(waiting);
    LeaveFormerGeneration(ReloadParameters(&reload));
    EXPECT_EQ(ReceivedText(), std::string("RELOAD ACK", 11));
    ReleaseMutex(ClientListMutex);
    request.join();

    const Bytes reply = Received();
    ASSERT_FALSE(reply.empty()) << "a broadcast, as the old record has it, leaves by no socket of this test";
    EXPECT_STREQ(reinterpret_cast<const BootPacket*>(reply.data())->file, "new.img");
    EXPECT_EQ(Traced("Reply status"), "*Default: DD;succeeded   *Status: Reply successfully sent");
    EXPECT_EQ(Traced("Date").size(), 8u) << "the old record has no log";
    // What a reload doesn't read anew, and the count that it does.
    EXPECT_EQ(LiveParameters.HelperLibrary, before.HelperLibrary);
    EXPECT_EQ(LiveParameters.ArpAdd, before.ArpAdd);
    EXPECT_EQ(LiveParameters.ArpRemove, before.ArpRemove);
    EXPECT_EQ(LiveParameters.MaxDaemonThreads, 4u);
}

TEST_F(WholeRequest, OnlyListedRelaysAreAnswered) {
    const std::pair<std::string, const char*> rows[] = {{"", "Found in cache"},
                                                        {"10.0.0.1,127.0.0.1", "Found in cache"},
                                                        {"10.0.0.0/8", "Relay agent not listed"}};
    for (const auto& [agents, findStatus] : rows) {
        home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:1",
                            "\"RelayAgents\"=\"" + agents + "\""});
        Install();
        Bytes request = Request();
        std::copy_n(Loopback.bytes, 4, request.begin() + 24);
        Ask(request);
        EXPECT_EQ(Traced("Find status"), findStatus) << agents;
        EXPECT_EQ(Traced("Reply status") == "No reply sent", agents == "10.0.0.0/8");
        Ask(Request());
        EXPECT_EQ(Traced("Find status"), "Found in cache") << "by no relay";
    }
}

TEST(AddressList, Forms) {
    const std::tuple<const char*, IpAddress, bool> rows[] = {
        {"10.0.0.1", {{10, 0, 0, 1}}, true},
        {"10.0.0.1", {{10, 0, 0, 2}}, false},
        {" 192.0.2.1 , 10.0.0.2 ", {{10, 0, 0, 2}}, true},
        {"bad,,10.0.0.2", {{10, 0, 0, 2}}, true},
        {"10.128.0.0/9", {{10, 200, 0, 2}}, true},
        {"10.128.0.0/9", {{10, 127, 0, 2}}, false},
        {"0.0.0.0/0", {{10, 127, 0, 2}}, true},
        {"10.0.0.0/", {{10, 0, 0, 0}}, false},
        {"10.0.0.0/33,10.0.0.0/-1,10.0.0.0/8x", {{10, 0, 0, 0}}, false},
        {"local", {{127, 0, 0, 9}}, true},
        {"local", {{192, 0, 2, 9}}, false},
        {"", {{127, 0, 0, 1}}, false},
        {"nobody", {{127, 0, 0, 1}}, false}};
    for (const auto& [list, address, listed] : rows)
        EXPECT_EQ(IsListed(list, address), listed) << list;
    for (const char* piece : {"10.0.0.1", "10.1.0.0/16", "0.0.0.0/0", "local"})
        EXPECT_TRUE(IsAddressListPiece(piece)) << piece;
    for (const char* piece : {"", "nobody", "10.0.0.0/33", "10.0.0.0/", "eth0", "10.0.0.400"})
        EXPECT_FALSE(IsAddressListPiece(piece)) << piece;
}

TEST(ReloadDatagram, IsForThoseWhoAreListed) {
    ServerParameters record = {};
    sockaddr_in stranger = {};
    stranger.sin_addr.s_addr = htonl(0xC0000209);
    EXPECT_TRUE(MayReload(record, stranger));
    std::strcpy(record.ReloadSources, "local");
    EXPECT_FALSE(MayReload(record, stranger));
    stranger.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_TRUE(MayReload(record, stranger));
}

TEST_F(WholeRequest, AReloadIsAnsweredBeforeItsEvent) {
    const WatchScope scope;
    const auto answerAtEvent = [&] {
        std::string answer;
        Watched.onEvent = [&](DWORD number) {
            if (number == 0xC0000004 || number == 3) answer = ReceivedText();
        };
        RequestContext reload = Context(Bytes(11));
        LeaveFormerGeneration(ReloadParameters(&reload));
        return answer;
    };
    EXPECT_EQ(answerAtEvent(), std::string("RELOAD ACK", 11));
    std::filesystem::remove(home.Path("bootptab"));
    EXPECT_EQ(answerAtEvent(), std::string("RELOAD NACK", 12));
}

TEST_F(WholeRequest, WithoutAGenerationTheBlockIsFreedAndNothingIsSent) {
    const RequestContext context = Context(Request());
    ReleaseGeneration(UninstallGeneration());
    ProcessBootRequest(&context);
    EXPECT_TRUE(Received().empty());
    EXPECT_TRUE(WaitForGenerations(0)) << "the block was the last user";
    Install();
}

TEST(Reception, IsHeldOnceNoThreadIsAtTheSockets) {
    {
        const ReceptionPass reading;
        EXPECT_FALSE(HoldReception(20));
    }
    { const ReceptionPass stillOpen; }
    EXPECT_TRUE(HoldReception(0));
    std::atomic<pid_t> waiting{0};
    std::atomic<bool> isThrough{false};
    std::thread listener([&] {
        waiting = ::gettid();
        const ReceptionPass pass;
        isThrough = true;
    });
    AwaitSleep(waiting);
    EXPECT_FALSE(isThrough);
    ResumeReception();
    listener.join();
}

TEST(PoolDecisions, RateAndPacketLength) {
    const std::tuple<DWORD, DWORD, DWORD, bool> rates[] = {{1000, 1, 1000, true},
                                                           {1000, 0, 1000, false},
                                                           {0, 0, 0, false},
                                                           {5, 0xFFFFFFF0, 1000, true}};  // across the wrap
    for (const auto& [now, before, sensitivity, isHigh] : rates)
        EXPECT_EQ(IsRateHigh(now, before, sensitivity), isHigh) << now;
    const std::tuple<LONG, LONG, LONG> lengths[] = {
        {250, 300, 300}, {250, 0, 250}, {301, 300, 301}, {250, 601, 250}};
    for (const auto& [length, received, raised] : lengths)
        EXPECT_EQ(RaisePacketLength(length, received, 600), raised);
    for (const auto& [seconds, milliseconds] : {std::pair<LONG, DWORD>{-1, INFINITE}, {0, 0}, {2, 2000}}) {
        ServerParameters record = {};
        record.SecondDaemonThreadTimeout = seconds;
        StoreLiveParameters(record);
        EXPECT_EQ(RoleTimeoutMilliseconds(), milliseconds);
    }
}

TEST(ReloadDatagram, NeedsItsNul) {
    for (const std::string& text :
         {std::string("RELOAD REQ"), std::string("RELOAD REQ\0x", 12), std::string("RELOAD REQx")}) {
        std::uint8_t block[600] = {};
        std::memcpy(block, text.data(), text.size());
        EXPECT_EQ(IsReloadRequest(reinterpret_cast<BootPacket*>(block)), text.size() != 11) << text;
    }
}

}  // namespace
