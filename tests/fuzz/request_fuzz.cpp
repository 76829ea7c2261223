// One datagram on its whole road, against a loaded database: what is sent is captured and judged, and so is
// the trace.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "database/lookup/client_index.h"
#include "fuzz/reply_rules.h"
#include "request/daemon_pool.h"
#include "request/interfaces.h"
#include "request/pool_state.h"
#include "request/process_request.h"
#include "request/reload.h"
#include "request/request_trace.h"
#include "service/generation.h"
#include "service/parameter_load.h"
#include "service/temporary_home.h"

namespace {

constexpr std::size_t BlockSize = 600;
constexpr std::size_t LargestTemplate = 160;
constexpr unsigned FilesLast = 4096;  // inputs until log and events begin anew

// The first byte of an input.
enum Setting : unsigned { SendFails = 4, TwoInterfaces = 8, EntryMade = 16 };

const char Database[] =
    "[Options]\nMask=1,ipaddress\nRouters=3,ipaddressarray\nHost=12,string\nLease=51,time\nFiller=200,"
    "string\n"
    "IP=-2,ipaddress\nFile=-1,string\nType=-4,byte\nAlias=-7,bool\nAlways=-8,bool\nNever=-9,bool\nPlain=-10,"
    "bool\nMedia=-11,string\nTemplate=-1000,string\n"
    "[Template:lab]\nMask=255.255.255.0\nLease=1:00:00\nFile=lab.img\nRouters=10.0.0.254,10.0.0.253\n"
    "[00-a0-24-12-34-56]\nTemplate=lab\nIP=10.0.0.17\nHost=pc17\n"
    "[00-a0-24-12-34-57]\nTemplate=lab\nIP=10.0.0.18\nPlain=1\n"
    "[00-a0-24-12-34-58]\nTemplate=lab\nIP=10.0.0.19\nNever=1\nMedia=02-00-00-00-00-01\n"
    "[00-a0-24-12-34-59]\nTemplate=lab\nIP=192.168.5.9\nAlways=1\nAlias=1\n"
    "[00-a0-24-12-34-5a]\nTemplate=lab\nHost=nowhere\n"
    "[00-a0-24-12-34-5b]\nTemplate=lab\nIP=10.0.0.21\nLease=never\n"
    "[00-a0-24-12-34-5c]\nIP=10.0.0.22\nType=6\nFiller="
    "0123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890123456789\n"
    "[File Aliases]\nlab.img=alias.img\n";
constexpr std::uint8_t KnownPrefix[] = {0x00, 0xA0, 0x24, 0x12, 0x34};
constexpr std::uint8_t FirstKnown = 0x56, LastKnown = 0x5C, PlainClient = 0x57;

struct Sent {
    std::vector<std::uint8_t> data;
    sockaddr_in to;
};
std::vector<Sent> Captured;
unsigned Settings;

int AddEntry(const char* local, const char* client, const char* media, const unsigned char*, int,
             const char*) {
    expect(std::strlen(local) < 16 && std::strlen(client) < 16 && std::strlen(media) < 100,
           "addresses have their bounds");
    return (Settings & EntryMade) != 0 ? ArpAddCreated : ArpAddFailed;
}

int RemoveEntry(const char*, const char*) {
    return 0;
}

class Fixture {
  public:
    Fixture() {
        home_.Write("bootptab", Database);
        WSADATA data;
        WSAStartup(MAKEWORD(1, 1), &data);
        MakePoolMutexes();
        std::strcpy(HostName, "alpha");
        LocalAddresses[0] = IpAddress{{10, 0, 0, 1}};
        LocalAddresses[1] = IpAddress{{192, 168, 5, 1}};
        expect(OpenBoundSocket(&server, 0, IpAddress{{127, 0, 0, 1}}, 0) == 0, "a socket can be had");
        const char* const changes[] = {
            "\"ForceBroadcast\"=dword:00000000", "\"ForceBroadcast\"=dword:00000001",
            "\"UseClientSrcPort\"=dword:00000001", "\"MinResponseSize\"=dword:0000012c"};
        for (const char* change : changes)
            generations_.push_back(Load(change));
        log_ = open(home_.Path("bootps.log").c_str(), O_RDWR | O_CLOEXEC);
        expect(log_ >= 0, "the log is there");
    }

    void Use(unsigned which) {
        if (Generation* next = generations_[which % generations_.size()]; next != current_) {
            InstallGeneration(next);
            current_ = next;
        }
        if (++inputs_ % FilesLast == 0) {
            expect(ftruncate(log_, 0) == 0, "the log begins anew");
            unlink(home_.Path("events.log").c_str());
        }
    }

    // What was written since the last call.
    std::string NewTrace() {
        const off_t end = lseek(log_, 0, SEEK_END);
        std::string trace(static_cast<std::size_t>(end - std::min(logEnd_, end)), '\0');
        expect(pread(log_, trace.data(), trace.size(), std::min(logEnd_, end)) == std::ssize(trace),
               "the log is read");
        logEnd_ = end;
        return trace;
    }

    SOCKET server = 0;

  private:
    Generation* Load(const char* change) {
        home_.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:00000001",
                             "\"CacheSize\"=dword:00000004", change});
        ServerParameters record = {};
        expect(LoadParameters(&record) == LoadOk, "the database loads");
        record.ArpAdd = AddEntry;
        record.ArpRemove = RemoveEntry;
        return MakeGeneration(&record);
    }

    TemporaryHome home_;
    std::vector<Generation*> generations_;
    Generation* current_ = nullptr;
    int log_ = -1;
    off_t logEnd_ = 0;
    unsigned inputs_ = 0;
};

RequestContext ContextOf(const Fixture& fixture, const std::uint8_t* data, std::size_t size) {
    RequestContext context = {};
    context.from.sin_family = AF_INET;
    context.from.sin_addr.s_addr = htonl(0x0A000063);
    context.from.sin_port = htons(1068);
    context.socket = fixture.server;
    context.interfaceIndex = (Settings & TwoInterfaces) != 0 ? 1 : 0;
    context.blockOwner = PinCurrentGeneration();
    const ServerParameters& record = RecordOf(context.blockOwner);
    context.packet =
        static_cast<BootPacket*>(HeapAlloc(record.ClientHeap, HEAP_ZERO_MEMORY, record.Daemonblksize));
    std::memcpy(context.packet, data, size);
    context.length = RaisePacketLength(static_cast<LONG>(size), record.MinResponseSize, record.Daemonblksize);
    return context;
}

void ExpectDestination(const sockaddr_in& to, const BootPacket* request, const BootPacket* reply) {
    IpAddress address;
    std::memcpy(&address, &to.sin_addr, sizeof address);
    const IpAddress& due = request->giaddr == IpAddress{} ? reply->yiaddr : request->giaddr;
    expect(address == due || address == IpAddress{{255, 255, 255, 255}},
           "a reply goes to its relay, else to its client");
    const int port = ntohs(to.sin_port);
    expect(port == 67 || port == 68 || port == 1068, "the port is one of the protocol's, or the client's");
}

// A request counts as many bytes as it says, so a short address is that of the first client it begins.
bool BeginsAKnownAddress(const BootPacket& request) {
    const std::size_t prefix = std::min(sizeof KnownPrefix, std::size_t{request.hlen});
    return std::equal(KnownPrefix, KnownPrefix + prefix, request.chaddr) &&
           (request.hlen <= sizeof KnownPrefix ||
            (request.chaddr[5] >= FirstKnown && request.chaddr[5] <= LastKnown));
}

}  // namespace

extern "C" ssize_t __wrap__Z12SendDatagramiPKvmRK11sockaddr_in(int, const void* data, size_t size,
                                                               const sockaddr_in& to) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    Captured.push_back({{bytes, bytes + size}, to});
    if ((Settings & SendFails) == 0) return static_cast<ssize_t>(size);
    errno = EPERM;
    return -1;
}

// The first byte holds settings; the second names a known client, whose address is then put in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto& fixture = *new Fixture;
    if (size < 3) return 0;
    std::vector<std::uint8_t> request(data + 2, data + std::min(size, BlockSize + 2));
    if (const std::uint8_t client = data[1];
        client < 2 * (LastKnown - FirstKnown + 1) && request.size() > 34) {
        request[0] = request[1] = 1;
        request[2] = 6;
        std::copy(std::begin(KnownPrefix), std::end(KnownPrefix), request.begin() + 28);
        request[33] = static_cast<std::uint8_t>(FirstKnown + client / 2);
    }
    Settings = data[0];
    Captured.clear();
    fixture.Use(Settings & 3);
    BoundCount = (Settings & TwoInterfaces) != 0 ? 2 : 1;
    fixture.NewTrace();
    const RequestContext context = ContextOf(fixture, request.data(), request.size());
    const auto length = static_cast<std::size_t>(context.length);
    if (IsReloadRequest(context.packet)) {  // the listener keeps it for itself
        RequestContext kept = context;
        ReleaseRequest(&kept);
        return 0;
    }
    ProcessBootRequest(&context);

    request.resize(std::max(length, sizeof(BootPacket)));
    const auto* asked = reinterpret_cast<const BootPacket*>(request.data());
    const bool mayBeKnown = BeginsAKnownAddress(*asked);
    expect(Captured.size() <= ((Settings & SendFails) != 0 ? 2 : 1), "one reply at most");
    for (const Sent& sent : Captured) {
        expect(mayBeKnown && asked->op == BootRequestOpcode, "nothing for an unknown address");
        expect(sent.data.size() == length, "a reply has the request's length");
        expect(sent.data[0] == BootReplyOpcode, "a reply says so");
        ExpectSoundReply(request.data(), sent.data.data(), length, LargestTemplate,
                         asked->chaddr[5] == PlainClient);
        ExpectDestination(sent.to, asked, reinterpret_cast<const BootPacket*>(sent.data.data()));
    }
    const std::string trace = fixture.NewTrace();
    expect(!trace.empty() && trace.size() <= TraceSize, "a trace has its size");
    expect(trace.ends_with("\r\n") || trace.size() == TraceSize, "a trace ends its line");
    expect(trace.find('\0') == std::string::npos, "a trace is text");
    return 0;
}
