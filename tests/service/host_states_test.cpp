// The life of the service in this process, with a manager of the test's own.
#include <gmock/gmock.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "database/load/client_list.h"
#include "diagnostics/activity_log.h"
#include "operation_watch.h"
#include "request/daemon_pool.h"
#include "service/generation.h"
#include "service/host/service_host.h"
#include "service/temporary_home.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// The statuses that the manager has got: state, exit code, controls accepted.
using Status = std::array<DWORD, 3>;

class HostStates : public testing::Test {
  protected:
    HostStates() {
        Watched.onStatus = [this](const SERVICE_STATUS& status) {
            const std::lock_guard lock(guard);
            statuses.push_back({status.dwCurrentState, status.dwWin32ExitCode, status.dwControlsAccepted});
        };
    }
    std::vector<Status> Taken() {
        const std::lock_guard lock(guard);
        return std::exchange(statuses, {});
    }
    std::vector<Status> After(DWORD control) {
        ServiceControlHandler(control);
        return Taken();
    }
    void AwaitStart() {
        const auto isRunning = [this] {
            const std::lock_guard lock(guard);
            return statuses.size() == 3 && std::ranges::count(home.EventNumbers(), "0x40000001") == 1;
        };
        while (!isRunning())
            Sleep(5);
    }
    // To the service.
    void SendByte() const {
        const SOCKET from = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port =
            htons(static_cast<WORD>(std::stoi(home.Read("services").substr(6))));  // behind "bootp "
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(sendto(from, "", 1, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to), 1);
        closesocket(from);
    }

    const WatchScope scope;
    TemporaryHome home;
    std::mutex guard;
    std::vector<Status> statuses;
};

constexpr DWORD All = 3;

TEST_F(HostStates, EachControlInEachState) {
    home.WriteRegistry(
        {"\"HelperDLL\"=\"" HELPER_PATH "\"", "\"LocalAddrs\"=\"127.0.0.1\"", "\"EnableLogging\"=dword:1"});
    home.WriteDatabase();
    home.WriteFreePort();
    // Where the listener is when it reads a datagram.
    std::atomic<bool> isHeld{false};
    const HANDLE reads = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE mayGoOn = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    Watched.onHeapAlloc = [&] {
        if (!isHeld) return;
        SetEvent(reads);
        WaitForSingleObject(mayGoOn, INFINITE);
    };
    std::thread host([] { ServiceMain(0, nullptr); });
    AwaitStart();
    EXPECT_THAT(Taken(), ElementsAre(Status{SERVICE_START_PENDING, 0, 0}, Status{SERVICE_START_PENDING, 0, 0},
                                     Status{SERVICE_RUNNING, 0, All}));
    const Status running = {SERVICE_RUNNING, 0, All};
    const Status paused = {SERVICE_PAUSED, 0, All};
    const Status stopped = {SERVICE_STOPPED, 0, All};
    EXPECT_THAT(After(SERVICE_CONTROL_CONTINUE), ElementsAre(running));
    isHeld = true;
    SendByte();
    WaitForSingleObject(reads, INFINITE);
    EXPECT_THAT(After(SERVICE_CONTROL_PAUSE), ElementsAre(running));
    SetEvent(mayGoOn);
    EXPECT_THAT(After(SERVICE_CONTROL_PAUSE), ElementsAre(paused));
    for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_INTERROGATE})
        EXPECT_THAT(After(control), ElementsAre(paused));
    EXPECT_THAT(After(SERVICE_CONTROL_CONTINUE), ElementsAre(running));

    // A request that is under way at the stop has its log to its end.
    Generation* const request = PinCurrentGeneration();
    EXPECT_THAT(After(SERVICE_CONTROL_STOP).front(), stopped);
    for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE}) {
        for (const Status& status : After(control))
            EXPECT_THAT(status[0], testing::AnyOf(SERVICE_STOPPED, SERVICE_STOP_PENDING));
    }
    Sleep(200);
    WriteLogLine("the last trace\r\n", RecordOf(request).LogHandle, RecordOf(request).LogMutex, 1000);
    ReleaseGeneration(request);
    host.join();
    EXPECT_EQ(Taken().back(), stopped);
    EXPECT_THAT(home.Read("bootps.log"), testing::ContainsRegex("the last trace\r\n\r\n.*service stopped"));

    // Whoever comes later reports nothing, and takes no role.
    for (const DWORD control :
         {SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_INTERROGATE, SERVICE_CONTROL_STOP})
        EXPECT_THAT(After(control), ElementsAre());
    AddressWatch unarmed = {};
    unarmed.overlapped.hEvent = UnarmedEvent();
    EXPECT_EQ(RunDaemonLoop({nullptr, &unarmed, nullptr}), LoopEnd::RoleLost);
    EXPECT_THAT(home.EventNumbers(), ElementsAre("0x40000001", "0x40000002"));
    LoadsInterrupted = false;
}

}  // namespace
