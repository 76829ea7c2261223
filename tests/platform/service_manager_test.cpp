#include "platform/linux/faces/service_manager.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <thread>

#include "platform/linux/faces/registry.h"
#include "platform/service_fixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

SC_HANDLE Create(SC_HANDLE manager, const char* name, const char* program) {
    return CreateServiceA(manager, name, "The Display Name", SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                          SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, program, nullptr, nullptr, nullptr,
                          nullptr, nullptr);
}

TEST_F(ServiceManagerTest, TheDispatcherConnectsOnlyToAManagerThatIsThere) {
    home_.Write("file", "x");
    for (const std::string& name :
         {std::string(), HomeFile("nobody"), HomeFile("file"), std::string("@quillon-test-nobody"),
          std::string("relative"), std::string("/") + std::string(200, 'x')}) {
        Start("", name);
        EXPECT_EQ(AwaitEnd(), 1) << name;
        EXPECT_EQ(DispatcherAnswer(), "1063") << name;
    }
    EXPECT_FALSE(std::filesystem::exists(Control()));
}

TEST_F(ServiceManagerTest, ReportsItsStatesAndObeysItsControls) {
    Start("", manager_->Name());
    EXPECT_EQ(manager_->Next(), "STATUS=Starting\nEXTEND_TIMEOUT_USEC=3000000");
    EXPECT_EQ(manager_->Next(), "READY=1\nSTATUS=Running");
    EXPECT_TRUE(std::filesystem::exists(HomeFile("working-directory")));
    EXPECT_EQ(Ask(ControlQuery), (Answer{0, SERVICE_RUNNING}));
    EXPECT_EQ(Ask(SERVICE_CONTROL_INTERROGATE), (Answer{0, SERVICE_RUNNING}));
    EXPECT_EQ(Ask(SERVICE_CONTROL_PAUSE), (Answer{0, SERVICE_PAUSED}));
    EXPECT_EQ(manager_->Next(), "STATUS=Paused");
    EXPECT_EQ(Ask(SERVICE_CONTROL_CONTINUE), (Answer{0, SERVICE_RUNNING}));
    EXPECT_EQ(manager_->Next(), "READY=1\nSTATUS=Running");
    EXPECT_EQ(Ask(128), (Answer{ERROR_INVALID_SERVICE_CONTROL, SERVICE_RUNNING}));
    const auto stopped = Ask(SERVICE_CONTROL_STOP);
    EXPECT_EQ(stopped.error, 0u);
    EXPECT_EQ(manager_->Next(), "STOPPING=1\nSTATUS=Stopped");
    EXPECT_EQ(manager_->Next(), "STOPPING=1\nSTATUS=Stopping\nEXTEND_TIMEOUT_USEC=3000000");
    EXPECT_EQ(manager_->Next(), "STOPPING=1\nSTATUS=Stopped with exit code 1066, service-specific code 11");
    EXPECT_EQ(AwaitEnd(), 0);
    EXPECT_EQ(DispatcherAnswer(), "0");
    EXPECT_EQ(Ask(ControlQuery), (Answer{ERROR_SERVICE_NOT_ACTIVE, 0}));
    EXPECT_FALSE(std::filesystem::exists(Control()));
}

TEST_F(ServiceManagerTest, ASignalDuringTheStartWaitsForTheStart) {
    Start("slow-start", manager_->Name());
    EXPECT_THAT(manager_->Next(), StartsWith("STATUS=Starting"));
    Signal(SIGTERM);
    EXPECT_EQ(Ask(SERVICE_CONTROL_STOP), (Answer{ERROR_SERVICE_CANNOT_ACCEPT_CTRL, SERVICE_START_PENDING}));
    EXPECT_EQ(manager_->Next(), "READY=1\nSTATUS=Running");
    EXPECT_EQ(AwaitEnd(), 0);
}

TEST_F(ServiceManagerTest, AnUnaskedEndIsAFailure) {
    for (const auto& [behaviour, error] : {std::pair{"fail", "1066"}, {"vanish", "1067"}}) {
        Start(behaviour, manager_->Name());
        EXPECT_EQ(AwaitEnd(), 1);
        EXPECT_EQ(DispatcherAnswer(), error);
    }
}

TEST_F(ServiceManagerTest, DoesNotWaitForATearDownWithoutEnd) {
    StartAndAwaitRunning("stuck-tear-down");
    EXPECT_EQ(Ask(SERVICE_CONTROL_STOP).error, 0u);
    EXPECT_EQ(Ask(SERVICE_CONTROL_PAUSE), (Answer{ERROR_SERVICE_NOT_ACTIVE, SERVICE_STOPPED}));
    EXPECT_EQ(AwaitEnd(), 0);
}

TEST_F(ServiceManagerTest, AManagerThatReadsNothingStopsNothing) {
    StartAndAwaitRunning();
    for (int round = 0; round < 500; ++round) {
        ASSERT_EQ(Ask(SERVICE_CONTROL_PAUSE), (Answer{0, SERVICE_PAUSED}));
        ASSERT_EQ(Ask(SERVICE_CONTROL_CONTINUE), (Answer{0, SERVICE_RUNNING}));
    }
    manager_.reset();  // and now no one is there at all
    EXPECT_EQ(Ask(SERVICE_CONTROL_PAUSE), (Answer{0, SERVICE_PAUSED}));
    Signal(SIGINT);
    EXPECT_EQ(AwaitEnd(), 0);
}

TEST_F(ServiceManagerTest, AProcessThatHangsTimesOut) {
    StartAndAwaitRunning();
    Signal(SIGSTOP);
    EXPECT_EQ(Ask(ControlQuery, std::chrono::milliseconds(300)), (Answer{ERROR_SERVICE_REQUEST_TIMEOUT, 0}));
    Signal(SIGCONT);
    EXPECT_EQ(Ask(ControlQuery), (Answer{0, SERVICE_RUNNING}));
}

TEST_F(ServiceManagerTest, InstallsAndRemovesAService) {
    ::mkdir(HomeFile("systemd").c_str(), 0755);
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    ASSERT_NE(manager, nullptr);
    const auto create = [&](const char* name) { return Create(manager, name, "/opt/quillon/bin/quillon"); };
    const SC_HANDLE service = create("Quillon");
    ASSERT_NE(service, nullptr) << GetLastError();
    EXPECT_EQ(create("quillon"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_SERVICE_EXISTS);
    EXPECT_EQ(create("Quil/lon"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);

    const std::string registry = home_.Read("registry.reg");
    for (const char* line :
         {"[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon]", "\"Type\"=dword:00000010",
          "\"Start\"=dword:00000003", "\"ErrorControl\"=dword:00000001",
          "\"ImagePath\"=str(2):\"/opt/quillon/bin/quillon\"", "\"DisplayName\"=\"The Display Name\""})
        EXPECT_THAT(registry, HasSubstr(line));
    const std::string unit = home_.Read("systemd/quillon.service");
    EXPECT_THAT(unit, HasSubstr("\nExecStart=/opt/quillon/bin/quillon\n"));
    EXPECT_THAT(unit, HasSubstr("QUILLON_HOME=" + home_.Path()));

    SERVICE_STATUS status{};
    EXPECT_TRUE(QueryServiceStatus(service, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
    HKEY parameters = nullptr;
    const char* const path = "SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters";
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, path, &parameters), 0);
    RegCloseKey(parameters);
    EXPECT_TRUE(DeleteService(service));
    EXPECT_FALSE(DeleteService(service));
    EXPECT_EQ(GetLastError(), ERROR_SERVICE_MARKED_FOR_DELETE);
    EXPECT_EQ(OpenServiceA(manager, "Quillon", SERVICE_ALL_ACCESS), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_FALSE(std::filesystem::exists(HomeFile("systemd/quillon.service")));
    const std::string left = home_.Read("registry.reg");
    EXPECT_THAT(left, HasSubstr("Quillon\\Parameters]"));
    for (const char* gone : {"ImagePath", "DisplayName", "ErrorControl"})
        EXPECT_THAT(left, Not(HasSubstr(gone)));

    EXPECT_TRUE(CloseServiceHandle(service));
    EXPECT_FALSE(CloseServiceHandle(service));
    const SC_HANDLE again = create("QUILLON");
    EXPECT_NE(again, nullptr) << GetLastError();
    EXPECT_TRUE(CloseServiceHandle(again));
    EXPECT_TRUE(CloseServiceHandle(manager));
}

TEST_F(ServiceManagerTest, AnInstalledServiceIsReachedByItsHandle) {
    const SC_HANDLE manager = OpenSCManagerA("", nullptr, SC_MANAGER_ALL_ACCESS);
    const SC_HANDLE service = Create(manager, "Quillon", SERVICE_PROGRAM);
    ASSERT_NE(service, nullptr) << GetLastError();
    NotifySocket abstract("@quillon-test-" + std::to_string(::getpid()));
    Start("reload", abstract.Name());
    EXPECT_THAT(abstract.Next(), StartsWith("STATUS=Starting"));
    EXPECT_EQ(abstract.Next(), "READY=1\nSTATUS=Running");
    EXPECT_THAT(abstract.Next(), StartsWith("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(abstract.Next(), "READY=1\nSTATUS=Running");
    SERVICE_STATUS status{};
    EXPECT_TRUE(QueryServiceStatus(service, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
    EXPECT_EQ(status.dwControlsAccepted, 3u);
    EXPECT_TRUE(ControlService(service, SERVICE_CONTROL_PAUSE, &status));
    EXPECT_EQ(status.dwCurrentState, SERVICE_PAUSED);
    EXPECT_FALSE(ControlService(service, 0, &status));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_SERVICE_CONTROL);
    EXPECT_TRUE(ControlService(service, SERVICE_CONTROL_STOP, &status));
    EXPECT_EQ(AwaitEnd(), 0);
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
}

}  // namespace
