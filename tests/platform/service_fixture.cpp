#include "platform/service_fixture.h"

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstddef>
#include <fstream>
#include <set>
#include <thread>

#include "platform/linux/instance/control_socket.h"
#include "platform/linux/instance/home.h"

NotifySocket::NotifySocket(const std::string& name)
    : name_(name), socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    auto address = LocalSocketAddress(name).value();
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (::bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), size) != 0) std::abort();
}

std::string NotifySocket::Next() {
    pollfd waiting{socket_.Get(), POLLIN, 0};
    if (::poll(&waiting, 1, 30000) != 1) return "";
    char text[1000];
    const ssize_t received = ::recv(socket_.Get(), text, sizeof text, 0);
    return std::string(text, received > 0 ? static_cast<std::size_t>(received) : 0);
}

ServiceManagerTest::ServiceManagerTest() {
    manager_.emplace(HomeFile("notify"));
    ::setenv("QUILLON_HOME", home_.Path().c_str(), 1);
}

ServiceManagerTest::~ServiceManagerTest() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
}

void ServiceManagerTest::Start(const std::string& behaviour, const std::string& manager,
                               const std::string& home) {
    process_ = ::fork();
    if (process_ != 0) return;
    ::close_range(STDERR_FILENO + 1, ~0u, 0);  // what the test itself was started with
    ::setenv("NOTIFY_SOCKET", manager.c_str(), 1);
    if (!home.empty()) ::setenv("QUILLON_HOME", home.c_str(), 1);
    ::execl(SERVICE_PROGRAM, SERVICE_PROGRAM, behaviour.empty() ? nullptr : behaviour.c_str(), nullptr);
    ::_exit(127);
}

void ServiceManagerTest::StartAndAwaitRunning(const std::string& behaviour) {
    Start(behaviour, manager_->Name());
    std::string notification;
    do
        notification = manager_->Next();
    while (!notification.empty() && !notification.starts_with("READY=1"));
    ASSERT_EQ(notification, "READY=1\nSTATUS=Running");
}

void ServiceManagerTest::Signal(int signal) const {
    ::kill(process_, signal);
}

Descriptor ServiceManagerTest::Connect(int type) const {
    Descriptor connection(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    const auto address = LocalSocketAddress(PathOf(HomePlace::ControlSocket)).value();
    if (::connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        connection.Reset();
    return connection;
}

std::vector<Descriptor> ServiceManagerTest::TakeDescriptors() const {
    const std::filesystem::path folder = "/proc/" + std::to_string(process_) + "/fd";
    const auto open = [&folder] {
        std::set<rlim_t> numbers;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            numbers.insert(std::stoul(entry.path().filename()));
        return numbers;
    };
    const rlim_t end = *open().rbegin() + 1;
    const rlimit limit{end, end};
    EXPECT_EQ(::prlimit(process_, RLIMIT_NOFILE, &limit, nullptr), 0);
    std::vector<Descriptor> silent;
    for (int attempt = 0; open().size() < end && attempt < 14; ++attempt) {
        silent.push_back(Connect());
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(open().size(), end);
    return silent;
}

std::chrono::milliseconds ServiceManagerTest::BusyTime() const {
    std::ifstream file("/proc/" + std::to_string(process_) + "/stat");
    std::string text;
    std::getline(file, text, ')');
    for (int field = 3; field <= 13; ++field)
        file >> text;
    long user = 0;
    long kernel = 0;
    file >> user >> kernel;
    return std::chrono::milliseconds((user + kernel) * 1000 / ::sysconf(_SC_CLK_TCK));
}

int ServiceManagerTest::AwaitEnd() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    int status = 0;
    while (::waitpid(process_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ServiceManagerTest::Answer ServiceManagerTest::Ask(DWORD control, std::chrono::milliseconds patience) const {
    DWORD error = 0;
    const auto reply = AskService(Control(), control, error, patience);
    return reply ? Answer{reply->error, reply->status.dwCurrentState} : Answer{error, 0};
}
