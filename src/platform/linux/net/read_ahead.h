// Datagrams that the kernel has handed over before anybody asked for them. Within the layer.
//
// What waits at a descriptor is fetched with one system call, however many datagrams it is, so that under
// load a datagram costs a copy instead of two calls. Not to be used by two threads at once.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>

class ReadAhead {
  public:
    static constexpr unsigned Depth = 16;

    ReadAhead();  // throws std::bad_alloc
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    bool IsEmpty() const { return next_ == count_; }

    // Fetches what the descriptor has now. 0, or a number of errno: EAGAIN if there is nothing. Only to be
    // called when all has been taken.
    int Fill(int descriptor);

    // Takes out the first one, cut to `size` bytes, and returns its whole length. There has to be one.
    std::size_t Take(void* buffer, std::size_t size, sockaddr_in& from);

  private:
    void ShowArrivals() const;

    std::byte* const storage_;
    unsigned next_ = 0;
    unsigned count_ = 0;
    std::uint64_t fetch_ = 0;  // that brought what is there
    std::array<sockaddr_in, Depth> senders_;
    std::array<iovec, Depth> places_;
    std::array<mmsghdr, Depth> messages_;
};
