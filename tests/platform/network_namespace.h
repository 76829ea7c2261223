// Network namespaces of a test's own, with hosts in them that the test speaks through. Apart from the layer:
// here the names of the socket calls are the C library's.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/system/descriptor.h"

class NetworkNamespace {
  public:
    // A fresh, empty one, with the loopback interface up. Nothing if the process may not have one.
    static std::optional<NetworkNamespace> Create();

    // As an argument of `ip link set ... netns`.
    std::string Path() const;

    // The calling thread is in the namespace while this lives, and so is what it starts and opens there.
    class Visit {
      public:
        explicit Visit(const NetworkNamespace& visited);
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

      private:
        Descriptor home_;
    };

  private:
    explicit NetworkNamespace(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

    Descriptor descriptor_;
};

// Runs a command of the shell and answers what it printed; a failing command fails the test.
std::string Shell(const std::string& command);

struct Datagram {
    std::string data;
    std::string from;  // "address:port"
};

// A plain UDP socket in the calling thread's namespace.
class PlainSocket {
  public:
    // Bound to the address and port; to no address if it is empty. May send broadcasts.
    explicit PlainSocket(const std::string& address = "", std::uint16_t port = 0,
                         const std::string& interfaceName = "");

    // False if the system refuses it.
    bool Send(std::string_view data, const std::string& address, std::uint16_t port);
    std::optional<Datagram> Receive(std::chrono::milliseconds limit);
    std::uint16_t Port() const;

  private:
    Descriptor descriptor_;
};

struct Frame {
    std::uint16_t protocol = 0;  // ETH_P_...
    std::vector<std::uint8_t> bytes;
};

// Sees all that an interface of the calling thread's namespace receives.
class FrameWatch {
  public:
    explicit FrameWatch(const std::string& interfaceName);
    std::optional<Frame> Next(std::chrono::milliseconds limit);

  private:
    Descriptor descriptor_;
};
