// The answering end of the control socket. Within the layer.
//
// One thread owns it: it waits on the descriptors that AppendTo gives and then calls Serve, which never
// blocks. Only the owner of the process and root are heard; others get ERROR_ACCESS_DENIED. A client that
// stays silent is dropped after a while, and so is one that doesn't speak the protocol; there is a bounded
// number of them at once. With no descriptor left in the process there is one at a time.
#pragma once

#include <poll.h>

#include <chrono>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/instance/control_protocol.h"
#include "platform/linux/system/descriptor.h"
#include "platform/linux/system/spare_descriptor.h"

class ControlServer {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t MostClients = 16;
    static constexpr std::size_t MostDescriptors = MostClients + 1;
    // Carries out one request of a client that may make it.
    using Handler = std::function<ControlReply(DWORD control)>;

    ControlServer() = default;
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;
    ~ControlServer();  // takes the socket's file away

    // Listens where this instance is spoken to, in a folder that it makes if the system doesn't keep it.
    // Returns what Open does.
    DWORD OpenForInstance();

    // Listens at `path`. The file of a process that is gone is replaced. Returns 0,
    // ERROR_SERVICE_ALREADY_RUNNING if a process listens there already, ERROR_FILENAME_EXCED_RANGE for a path
    // that is too long, or the error.
    DWORD Open(const std::string& path);

    void AppendTo(std::vector<pollfd>& descriptors) const;

    // When Serve has to be called although no descriptor is ready; the far future if there is nothing to wait
    // for.
    Clock::time_point NextDeadline() const;

    // How long a poll may last that is to end then.
    static int MillisecondsUntil(Clock::time_point when);

    // Takes in new clients, answers those that have asked, drops those that have had their time, and those
    // for which there is no memory.
    void Serve(const Handler& handler);

  private:
    struct Client {
        Descriptor connection;
        Clock::time_point deadline;
    };

    DWORD Lock();
    DWORD Listen();
    Descriptor Accept() const;
    void TakeInClients(const Handler& handler);
    static bool ServeClient(const Client& client, const Handler& handler);

    std::string path_;
    Descriptor lock_;
    Descriptor listener_;
    SpareDescriptor spare_;
    bool isResting_ = false;      // there was no descriptor for the next client
    std::deque<Client> clients_;  // the oldest first
};
