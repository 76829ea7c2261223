// Without memory for one allocation after the other: what is under way ends with its ordinary failure, and
// the next attempt succeeds. Nothing may leak, which a build that looks for leaks sees.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <thread>

#include "faults/failing_allocations.h"
#include "platform/linux/instance/control_client.h"
#include "platform/linux/instance/control_socket.h"
#include "platform/linux/manager/control_server.h"
#include "request/reload.h"
#include "request/served_home.h"
#include "service/host/service_lifetime.h"

namespace {

// A start takes its time with a sanitizer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long kStartStep = 9;
#else
constexpr long kStartStep = 1;
#endif

class WithoutMemory : public ServedHome {
  protected:
    void SetUp() override {
        // One client is cached, so the last one is built for each request.
        home.WriteRegistry({"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"EnableLogging\"=dword:1",
                            "\"UseClientSrcPort\"=dword:1", "\"CacheSize\"=dword:1",
                            "\"LocalAddrs\"=\"127.0.0.1\""});
        home.Write("services", "bootp 0/udp\n");
        WriteDatabase(0);
    }
    // Another content each time, or it would be known already.
    void WriteDatabase(long mark) const {
        std::string text =
            "[Options]\nIP=-2,ipaddress\nFile=-1,string\nAlias=-7,bool\n[Template:t]\nFile=a1\n"
            "[00-a0-24-12-34-55]\nTemplate=t\nIP=127.0.0.1\nAlias=1\n";
        text += ";" + std::to_string(mark) + "\n[00-a0-24-12-34-56]\n";
        for (int i = 0; i < 300; ++i)
            text += "Unknown " + std::to_string(i) + "=1\n";
        text += "IP=127.0.0.1\nFile=a250\nAlias=1\n[File Aliases]\n";
        for (int i = 0; i < 300; ++i)
            text += "a" + std::to_string(i) + "=alias" + std::to_string(i) + "\n";
        home.Write("bootptab", text);
    }
    // The boot file of the reply to a request without this allocation; empty without a reply.
    std::string BootFile(long failing = 0, const char* wanted = "", std::uint8_t lastByte = 0x56) {
        const RequestContext context = Context(Request());
        context.packet->chaddr[5] = lastByte;
        std::strcpy(context.packet->file, wanted);
        {
            const FailingAllocation failure(failing);
            ProcessBootRequest(&context);
        }
        const Bytes reply = Received();
        if (reply.empty()) return "";
        const std::string file = reinterpret_cast<const BootPacket*>(reply.data())->file;
        return file.empty() ? "(none)" : file;
    }
};

TEST_F(WithoutMemory, ARequestIsAnsweredOrNot) {
    Open();
    const std::tuple<std::uint8_t, const char*, std::string> rows[] = {
        {0x56, "", "alias250"}, {0x56, "a7", "alias7"}, {0x55, "a7", "alias7"}};
    for (const auto& [lastByte, wanted, alias] : rows) {
        const long allocations = FailEachAllocation([&](long nth) {
            WriteDatabase(nth);
            const std::string file = BootFile(nth, wanted, lastByte);
            const bool failed = FailingAllocation::HasFailed();
            EXPECT_TRUE(file.empty() || file == alias) << nth << file;
            EXPECT_EQ(BootFile(0, wanted, lastByte), alias) << nth;
            return failed;
        });
        EXPECT_GT(allocations, 5);
    }
}

TEST_F(WithoutMemory, ALoadFailsWithItsResult) {
    const long allocations = FailEachAllocation([&](long nth) {
        for (const bool fails : {true, false}) {
            WriteDatabase(nth);
            ServerParameters record = {};
            LoadResult result = LoadOk;
            {
                const FailingAllocation failure(fails ? nth : 0);
                result = LoadParameters(&record);
            }
            EXPECT_TRUE(fails || result == LoadOk) << nth << " gave " << result;
            ReleaseParameters(&record);
            if (fails && !FailingAllocation::HasFailed()) return false;
        }
        return true;
    });
    EXPECT_GT(allocations, 50);
}

TEST_F(WithoutMemory, AReloadIsRefusedAndTheServiceServesOn) {
    Open();
    const auto reload = [&](long nth) {
        RequestContext context = Context(Bytes(11));
        const FailingAllocation failure(nth);
        LeaveFormerGeneration(ReloadParameters(&context));
        return FailingAllocation::HasFailed();
    };
    long refused = 0;
    FailEachAllocation([&](long nth) {
        WriteDatabase(nth);
        home.Write("events.log", "");
        const bool failed = reload(nth);
        const std::string answer = ReceivedText();
        EXPECT_TRUE(answer.starts_with("RELOAD ACK") || answer.starts_with("RELOAD NACK")) << nth;
        if (answer.starts_with("RELOAD NACK")) ++refused;
        // A system of unknown version broadcasts, which an event says.
        const bool broadcasts = home.Read("events.log").find("version information") != std::string::npos;
        EXPECT_TRUE(BootFile() == "alias250" || broadcasts) << nth << ' ' << answer;
        if (broadcasts) {
            reload(0);
            EXPECT_TRUE(ReceivedText().starts_with("RELOAD ACK")) << nth;
            EXPECT_EQ(BootFile(), "alias250") << nth;
        }
        return failed;
    });
    EXPECT_GT(refused, 20);
}

// Each in a process of its own: a pool ends once.
TEST_F(WithoutMemory, AStartComesUpOrEndsWithAnEvent) {
    enum { CameUp = 40, Failed, FailedInSilence, NothingFailed };
    const auto start = [&](long nth) {
        AddressWatch watch = {};
        watch.overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        bool isUp = false;
        {
            const FailingAllocation failure(nth);
            isUp = BringUpService(&watch);
        }
        if (!FailingAllocation::HasFailed()) return NothingFailed;
        const bool isReported = home.EventNumbers().size() != 0;
        TearDownService();
        return isUp ? CameUp : isReported ? Failed : FailedInSilence;
    };
    const long allocations = FailEachAllocation(
        [&](long nth) {
            home.Write("events.log", "");
            const pid_t child = fork();
            if (child == 0) std::_Exit(start(nth));
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_TRUE(WIFEXITED(status)) << nth;
            const int code = WEXITSTATUS(status);
            EXPECT_TRUE(code == CameUp || code == Failed || code == NothingFailed) << nth << " gave " << code;
            return WIFEXITED(status) && code != NothingFailed;
        },
        kStartStep);
    EXPECT_GT(allocations, 60);
}

TEST_F(WithoutMemory, AControlIsAnsweredOrDropped) {
    ControlServer control;
    ASSERT_EQ(control.Open(home.Path("control")), DWORD{ERROR_SUCCESS});
    const auto ask = [&] {
        DWORD error = 0;
        std::optional<ControlReply> reply;
        std::atomic<bool> isDone{false};
        std::thread asking([&] {
            try {
                reply = AskService(home.Path("control"), 0, error);
            } catch (const std::bad_alloc&) {  // the program that asks decides what that means to it
            }
            isDone = true;
        });
        while (!isDone) {
            control.Serve([](DWORD) { return ControlReply{}; });
            std::this_thread::yield();
        }
        asking.join();
        return reply.has_value();
    };
    FailEachAllocation([&](long nth) {
        try {
            const FailingAllocation failure(nth);
            ask();
        } catch (const std::exception&) {
            // The thread that asks wasn't made.
        }
        const bool failed = FailingAllocation::HasFailed();
        EXPECT_TRUE(ask()) << nth;
        return failed;
    });
    // A client that says nothing is kept if there is memory for it.
    const auto address = LocalSocketAddress(home.Path("control"));
    std::vector<Descriptor> silent;
    for (int i = 0; i < 60; ++i) {
        silent.emplace_back((::socket)(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        ASSERT_EQ(
            (::connect)(silent.back().Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address),
            0);
        const FailingAllocation failure(1);
        control.Serve([](DWORD) { return ControlReply{}; });
    }
    EXPECT_TRUE(ask());
}

// Operations that return their error, 0 for success; those that a start, a load and a request don't reach.

DWORD LastErrorUnless(bool succeeded) {
    return succeeded ? ERROR_SUCCESS : GetLastError();
}

DWORD WriteValue() {
    HKEY key = nullptr;
    LONG error = RegCreateKeyA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Test", &key);
    if (error != 0) return static_cast<DWORD>(error);
    error = RegSetValueExA(key, "V", 0, REG_SZ, reinterpret_cast<const BYTE*>("x"), 2);
    RegCloseKey(key);
    return static_cast<DWORD>(error);
}

DWORD QueryService() {
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, 0);
    const SC_HANDLE service = manager != nullptr ? OpenServiceA(manager, "Quillon", 0) : nullptr;
    SERVICE_STATUS status;
    const DWORD error = LastErrorUnless(service != nullptr && QueryServiceStatus(service, &status));
    if (service != nullptr) CloseServiceHandle(service);
    if (manager != nullptr) CloseServiceHandle(manager);
    return error;
}

DWORD FormatError() {
    LPSTR text = nullptr;
    const DWORD length = FormatMessageA(0x1100, nullptr, 5, 0, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    LocalFree(text);
    return LastErrorUnless(length != 0);
}

TEST_F(WithoutMemory, AnOperationFailsWithItsError) {
    int row = 0;
    for (const auto operation : {WriteValue, QueryService, FormatError}) {
        SCOPED_TRACE(row++);
        EXPECT_EQ(operation(), DWORD{ERROR_SUCCESS});
        const long allocations = FailEachAllocation([&](long nth) {
            DWORD error = 0;
            {
                const FailingAllocation failure(nth);
                error = operation();
            }
            const bool failed = FailingAllocation::HasFailed();
            EXPECT_TRUE(error == 0 || error == ERROR_NOT_ENOUGH_MEMORY) << nth << ": " << error;
            EXPECT_EQ(operation(), DWORD{ERROR_SUCCESS}) << nth;
            return failed;
        });
        EXPECT_GT(allocations, 0);
    }
}

}  // namespace
