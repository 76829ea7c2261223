// A look at datagrams that no thread has received yet: where several of them are fetched from the kernel at
// once, what is known of the later ones can be of use before their turn comes.
#pragma once

#include <cstddef>

// Whether the calling thread's last `recvfrom` left datagrams behind that had been fetched together with the
// one that it returned.
bool HaveMoreArrived();

struct Arrival {
    const unsigned char* data;
    std::size_t length;
};

// A thread has one of them at a time. While it lives, a `recvfrom` of its thread that fetches datagrams shows
// them to `show`, all at once and in their order, the one that it returns among them. That isn't promised for
// any datagram. `show` runs within the call and calls no operation on sockets; the datagrams are there until
// it returns.
class ArrivalWatch {
  public:
    using Show = void (*)(const Arrival* arrivals, std::size_t count, const void* argument);

    ArrivalWatch(Show show, const void* argument);
    ~ArrivalWatch();
    ArrivalWatch(const ArrivalWatch&) = delete;
    ArrivalWatch& operator=(const ArrivalWatch&) = delete;

    void ShowThem(const Arrival* arrivals, std::size_t count) const { show_(arrivals, count, argument_); }

  private:
    const Show show_;
    const void* const argument_;
};
