// The control socket under clients that don't behave, and under other users.
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstring>
#include <thread>

#include "platform/linux/instance/control_socket.h"
#include "platform/linux/manager/control_server.h"
#include "platform/service_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

class ControlSocketTest : public ServiceManagerTest {
  protected:
    // Whether the service closes the connection within `patience` without an answer.
    static bool IsDropped(const Descriptor& connection, int patience) {
        pollfd waiting{connection.Get(), POLLIN, 0};
        char byte = 0;
        return ::poll(&waiting, 1, patience) == 1 && ::recv(connection.Get(), &byte, 1, MSG_DONTWAIT) <= 0;
    }

    static void Say(const Descriptor& connection, DWORD control) {
        const ControlRequest request{.control = control};
        ::send(connection.Get(), &request, sizeof request, MSG_NOSIGNAL);
    }
    // The error in the answer; the service's own are no such number.
    static DWORD Hear(const Descriptor& connection, int flags = 0) {
        ControlReply reply;
        const ssize_t received = ::recv(connection.Get(), &reply, sizeof reply, flags);
        return received == static_cast<ssize_t>(sizeof reply) ? reply.error : ~DWORD{0};
    }

    void ExpectPromptAnswer() const {
        const auto begin = Clock::now();
        EXPECT_EQ(Ask(ControlQuery), (Answer{0, SERVICE_RUNNING}));
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    }

    // The exit status of `body` in a process of another user.
    static int AsNobody(const std::function<int()>& body) {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(::setgid(65534) != 0 || ::setuid(65534) != 0 ? 99 : body());
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(ControlSocketTest, SilentClientsHoldUpNobodyAndAreDropped) {
    StartAndAwaitRunning();
    std::vector<Descriptor> silent;
    for (int count = 0; count < 60; ++count) {
        silent.push_back(Connect());
        if (count % 10 == 9) ExpectPromptAnswer();
    }
    for (const Descriptor& connection : silent)
        EXPECT_TRUE(IsDropped(connection, 5000));
    ExpectPromptAnswer();
}

TEST_F(ControlSocketTest, NonsenseIsDroppedAtOnce) {
    StartAndAwaitRunning();
    const ControlRequest good{.control = SERVICE_CONTROL_STOP};
    std::string request(reinterpret_cast<const char*>(&good), sizeof good);
    std::string otherMark = request;
    otherMark[0] ^= 1;
    for (const std::string& message :
         {request.substr(0, 7), request + "x", otherMark, std::string(100000, 'x'), std::string("x")}) {
        const Descriptor connection = Connect();
        ASSERT_EQ(::send(connection.Get(), message.data(), message.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(message.size()));
        EXPECT_TRUE(IsDropped(connection, 1000)) << message.size();
    }
    EXPECT_FALSE(Connect(SOCK_STREAM));
    // One that goes away without waiting for its answer.
    Say(Connect(), ControlQuery);
    ExpectPromptAnswer();
}

TEST_F(ControlSocketTest, ARequestThatWaitedBehindASlowHandlerIsStillHeard) {
    StartAndAwaitRunning("slow-handler");
    // Three of these take longer than a client may be silent.
    std::vector<Descriptor> slow;
    for (int count = 0; count < 3; ++count) {
        slow.push_back(Connect());
        Say(slow.back(), SERVICE_CONTROL_INTERROGATE);
    }
    EXPECT_EQ(Ask(ControlQuery), (Answer{0, SERVICE_RUNNING}));
    for (const Descriptor& connection : slow)
        EXPECT_EQ(Hear(connection), 0u);
}

TEST_F(ControlSocketTest, OnlyTheOwnerAndRootMayUseIt) {
    StartAndAwaitRunning();
    struct stat found {};
    ASSERT_EQ(::stat(Control().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0600u);
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to be another user";
    ::chmod(home_.Path().c_str(), 0755);
    const auto askAsNobody = [&] {
        return AsNobody([&] { return static_cast<int>(Ask(SERVICE_CONTROL_STOP).error); });
    };
    EXPECT_EQ(askAsNobody(), static_cast<int>(ERROR_ACCESS_DENIED));
    // Whoever gets past the file's mode is still asked who he is.
    ::chmod(Control().c_str(), 0666);
    EXPECT_EQ(askAsNobody(), static_cast<int>(ERROR_ACCESS_DENIED));
    ExpectPromptAnswer();
}

TEST_F(ControlSocketTest, ARefusalArrivesWheneverTheRequestCame) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to be another user";
    StartAndAwaitRunning();
    ::chmod(home_.Path().c_str(), 0755);
    ::chmod(Control().c_str(), 0666);
    for (const bool isAskedBeforeItIsTakenIn : {true, false}) {
        if (isAskedBeforeItIsTakenIn) Signal(SIGSTOP);
        ASSERT_EQ(::seteuid(65534), 0);
        const Descriptor connection = Connect();
        ASSERT_EQ(::seteuid(0), 0);
        if (!isAskedBeforeItIsTakenIn) std::this_thread::sleep_for(std::chrono::milliseconds(100));
        Say(connection, SERVICE_CONTROL_STOP);
        if (isAskedBeforeItIsTakenIn) Signal(SIGCONT);

        pollfd end{connection.Get(), POLLRDHUP, 0};
        EXPECT_EQ(::poll(&end, 1, 5000), 1);
        EXPECT_EQ(Hear(connection, MSG_DONTWAIT), DWORD{ERROR_ACCESS_DENIED}) << isAskedBeforeItIsTakenIn;
    }
}

TEST_F(ControlSocketTest, ADeadServicesSocketIsReplacedAndALiveOnesIsNot) {
    StartAndAwaitRunning();
    Signal(SIGKILL);
    EXPECT_EQ(AwaitEnd(), -1);
    ASSERT_TRUE(std::filesystem::exists(Control()));
    EXPECT_EQ(Ask(ControlQuery), (Answer{ERROR_SERVICE_NOT_ACTIVE, 0}));
    StartAndAwaitRunning();

    ControlServer second;
    EXPECT_EQ(second.Open(Control()), ERROR_SERVICE_ALREADY_RUNNING);
    ExpectPromptAnswer();
    Signal(SIGTERM);
    EXPECT_EQ(AwaitEnd(), 0);
    EXPECT_FALSE(std::filesystem::exists(Control()));
}

TEST_F(ControlSocketTest, WhatIsNotAnAbandonedSocketIsNeverRemoved) {
    home_.Write("control", "precious");
    Start("", manager_->Name());
    EXPECT_EQ(AwaitEnd(), 1);
    EXPECT_EQ(DispatcherAnswer(), std::to_string(ERROR_FILE_EXISTS));
    EXPECT_TRUE(std::filesystem::is_regular_file(Control()));
    EXPECT_THAT(manager_->Next(), testing::HasSubstr("No control socket at " + Control()));
    std::filesystem::remove(Control());

    // Somebody else's server, without the lock of ours.
    Descriptor foreign(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const auto address = LocalSocketAddress(Control()).value();
    ASSERT_EQ(::bind(foreign.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(foreign.Get(), 1), 0);
    ControlServer server;
    EXPECT_EQ(server.Open(Control()), ERROR_SERVICE_ALREADY_RUNNING);
    EXPECT_TRUE(std::filesystem::is_socket(Control()));
}

// Pages of a report: their number, and how often there is another edition in the midst.
int Pages;
int Changes;
std::uint32_t Edition;

char LetterOf(std::uint64_t page) {
    return static_cast<char>('a' + (page + 7 * Edition) % 26);
}

bool MakePage(const ReportQuestion& question, ReportPage* page) {
    if (question.report != ServiceReport::Clients) return false;
    if (question.from == 1 && Changes > 0) {
        --Changes;
        ++Edition;
    }
    std::memset(page->text, LetterOf(question.from), page->room);
    page->length = page->room;
    page->edition = Edition;
    page->next = question.from + 1 < static_cast<std::uint64_t>(Pages) ? question.from + 1 : 0;
    return true;
}

TEST_F(ControlSocketTest, AReportComesInPages) {
    ControlServer server;
    ASSERT_EQ(server.Open(Control()), 0u);
    std::jthread serving([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::vector<pollfd> waited;
            server.AppendTo(waited);
            ::poll(waited.data(), waited.size(), 10);
            server.Serve([](DWORD) { return ControlReply(); });
        }
    });
    DWORD error = 0;
    const auto ask = [&](ServiceReport report, const std::string& about = "") {
        return AskReport(Control(), report, about, error);
    };
    EXPECT_FALSE(ask(ServiceReport::Clients));
    EXPECT_EQ(error, ERROR_SERVICE_CANNOT_ACCEPT_CTRL) << "no one makes reports";
    SetReportProvider(MakePage);
    EXPECT_FALSE(ask(ServiceReport::Counters));
    EXPECT_EQ(error, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(ask(ServiceReport::Clients, std::string(48, 'x')));
    EXPECT_EQ(error, ERROR_INVALID_PARAMETER) << "too long";
    for (const auto& [pages, changes] : {std::pair{1, 0}, {5, 0}, {5, 3}}) {
        Pages = pages;
        Changes = changes;
        const auto report = ask(ServiceReport::Clients);
        ASSERT_TRUE(report) << error;
        std::string due;
        for (int page = 0; page < pages; ++page)
            due.append(ReportPageSize, LetterOf(static_cast<std::uint64_t>(page)));
        EXPECT_TRUE(*report == due) << pages << " pages, begun anew " << changes << " times";
    }
    if (::geteuid() == 0) {
        ::chmod(home_.Path().c_str(), 0755);
        ::chmod(Control().c_str(), 0666);
        EXPECT_EQ(AsNobody([&] {
                      ask(ServiceReport::Clients);
                      return static_cast<int>(error);
                  }),
                  static_cast<int>(ERROR_ACCESS_DENIED));
    }
    SetReportProvider(nullptr);
}

// A reply of another length than it should have is none.
TEST_F(ControlSocketTest, ATooLongReplyIsRefused) {
    const Descriptor listener(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const auto address = LocalSocketAddress(Control()).value();
    ASSERT_EQ(::bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener.Get(), 2), 0);
    for (const std::size_t more : {0u, 1u}) {
        std::jthread service([&] {
            const Descriptor client(::accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            ControlRequest request;
            ::recv(client.Get(), &request, sizeof request, 0);
            const ControlReply reply;
            std::string bytes(reinterpret_cast<const char*>(&reply), sizeof reply);
            bytes.append(more, 'x');
            ::send(client.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        });
        DWORD error = 0;
        EXPECT_EQ(AskService(Control(), ControlQuery, error).has_value(), more == 0);
        EXPECT_EQ(error == 0, more == 0);
    }
}

TEST_F(ControlSocketTest, WithoutADescriptorLeftItServesOneByOneAndRests) {
    StartAndAwaitRunning();
    ExpectPromptAnswer();
    std::vector<Descriptor> silent = TakeDescriptors();
    for (int count = 0; count < 3;
         ++count)  // the next may come before the last one's descriptor is free, into a rest
        EXPECT_EQ(Ask(ControlQuery, std::chrono::seconds(30)), (Answer{0, SERVICE_RUNNING}));
    const auto before = BusyTime();
    for (int count = 0; count < 3; ++count)
        silent.push_back(Connect());
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_LT(BusyTime() - before, std::chrono::milliseconds(150));
    EXPECT_EQ(Ask(ControlQuery, std::chrono::seconds(30)), (Answer{0, SERVICE_RUNNING}));
}

TEST_F(ControlSocketTest, AHomeThatIsMissingOrTooLongIsAClearFailure) {
    const std::string deep = HomeFile(std::string(110, 'd'));
    std::filesystem::create_directory(deep);
    for (const auto& [folder, text] :
         {std::pair{deep, std::string("error 206")},
          {HomeFile("nowhere"), "No home at " + HomeFile("nowhere") + ", error 2: "}}) {
        Start("", manager_->Name(), folder);
        EXPECT_EQ(AwaitEnd(), 1);
        EXPECT_THAT(manager_->Next(), testing::HasSubstr(text));
    }
    DWORD error = 0;
    EXPECT_FALSE(AskService(deep + "/control", ControlQuery, error));
    EXPECT_EQ(error, ERROR_FILENAME_EXCED_RANGE);
}

}  // namespace
