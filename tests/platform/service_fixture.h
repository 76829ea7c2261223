// A service manager of the test's own, and a service program that runs under it.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>

#include "platform/linux/instance/control_client.h"
#include "platform/linux/system/descriptor.h"
#include "temporary_folder.h"

// Receives what the service notifies.
class NotifySocket {
  public:
    // A path, or an abstract name that begins with '@'.
    explicit NotifySocket(const std::string& name);

    const std::string& Name() const { return name_; }
    // The next notification; empty if none comes within 30 seconds.
    std::string Next();

  private:
    std::string name_;
    Descriptor socket_;
};

class ServiceManagerTest : public testing::Test {
  protected:
    ServiceManagerTest();
    ~ServiceManagerTest() override;

    std::string HomeFile(const std::string& name) const { return home_.Path(name); }
    std::string Control() const { return HomeFile("control"); }

    // Starts the program, which notifies `manager`, without an argument if `behaviour` is empty; the home is
    // the test's unless another is given.
    void Start(const std::string& behaviour, const std::string& manager, const std::string& home = {});
    void StartAndAwaitRunning(const std::string& behaviour = "");
    void Signal(int signal) const;
    pid_t Process() const { return process_; }
    // A client of the control socket; none if the program doesn't take it.
    Descriptor Connect(int type = SOCK_SEQPACKET) const;
    // Leaves the program no descriptor as long as these clients are silent, and it hears them, which is two
    // seconds.
    std::vector<Descriptor> TakeDescriptors() const;
    // The processor time that it has used.
    std::chrono::milliseconds BusyTime() const;

    // The exit status, or -1 if it doesn't end within a minute or is killed.
    int AwaitEnd();
    // What the dispatcher answered: 0, or its error.
    std::string DispatcherAnswer() const { return home_.Read("result"); }

    // A control with its answer; the error, and the state that was reported.
    struct Answer {
        DWORD error, state;
        bool operator==(const Answer&) const = default;
    };
    Answer Ask(DWORD control, std::chrono::milliseconds patience = ControlPatience) const;

    const TemporaryFolder home_;
    std::optional<NotifySocket> manager_;

  private:
    pid_t process_ = -1;
};
