// What a SOCKET names: up to three descriptors that look like one. Within the layer; failures are returned as
// numbers of errno, a socket that has been closed as ENOTSOCK.
//
// No operation here waits for a datagram. Any thread may call any of them at any time; a descriptor is given
// back only when no thread is in a call on it, and `closesocket` returns after that, so that its address is
// free then.
#pragma once

#include <netinet/in.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "platform/linux/net/read_ahead.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/short_lock.h"
#include "platform/linux/system/descriptor.h"

class DatagramSocket final : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::Socket;
    static constexpr unsigned Descriptors =
        3;  // its own, that of the limited and that of the directed broadcasts

    explicit DatagramSocket(Descriptor own);
    ~DatagramSocket() override;

    enum class Option { ReuseAddress, Broadcast };
    int SetOption(Option option, bool on);
    int Bind(const sockaddr_in& address);

    // One datagram from whichever descriptor has one: its own first, then in turn. `length` is that of the
    // datagram, also if that is more than `size`. EAGAIN if there is none, EINVAL if the socket has no port
    // yet. What else waits at that descriptor is read ahead, for the calls that follow.
    int TryReceive(void* buffer, std::size_t size, sockaddr_in& from, std::size_t& length);

    // Sends from its own address. ENOBUFS if its interface doesn't get rid of what was sent before: that is
    // waited for a few milliseconds, and for some time after that not at all, so that an interface that is
    // blocked holds up no thread that has others to serve.
    int Send(const void* data, std::size_t size, const sockaddr_in& to);

    // Adds the datagrams that the kernel has dropped since the descriptors were opened.
    int AddReceiveDrops(std::uint64_t& drops);

    // Which descriptors a wait has found readable, one bit each: they are asked first.
    void NoteReadable(unsigned descriptors) { readable_.store(descriptors, std::memory_order_relaxed); }

    // Whether a datagram is there of which the descriptors know nothing any more.
    bool HasReadAhead() const { return hasReadAhead_.load(); }

    // The calling thread's stay at the descriptors; they are open while it lasts. False if the socket has
    // been closed.
    class Stay {
      public:
        explicit Stay(DatagramSocket& socket) : socket_(socket.Enter() ? &socket : nullptr) {}
        ~Stay() {
            if (socket_ != nullptr) socket_->Leave();
        }
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;
        explicit operator bool() const { return socket_ != nullptr; }

      private:
        DatagramSocket* socket_;
    };

    // -1 if there is no such descriptor. To be asked during a stay.
    int DescriptorAt(unsigned index) const { return descriptors_[index].load(std::memory_order_acquire); }

    void OnLastHandleClosed() override;

  private:
    bool Enter();
    void Leave();
    bool IsClosed() const;
    int FindDatagram(unsigned& from);
    unsigned InTurn(unsigned descriptors) const;
    int Fill(unsigned index);
    bool WaitForRoom(int descriptor);
    void NoteReadAhead(bool isThere);
    void CloseDescriptors();

    std::array<std::atomic<int>, Descriptors> descriptors_;
    std::atomic<std::uint32_t> stays_{0};  // and ClosedMark
    std::atomic<std::uint32_t> readable_{0};
    std::atomic<bool> hasPort_{false};
    std::atomic<std::chrono::steady_clock::rep> noWaitBefore_{0};  // the steady clock's count
    std::mutex binding_;
    std::atomic<bool> hasReadAhead_{false};
    ShortLock receiving_;  // guards what follows
    std::array<ReadAhead, Descriptors> ahead_;
    unsigned filled_ = 0;  // those of `ahead_` that aren't empty, one bit each
    unsigned turn_ = 0;
};
