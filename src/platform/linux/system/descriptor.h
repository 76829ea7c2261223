// A file descriptor with one owner.
#pragma once

#include <unistd.h>

#include <utility>

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Reset(); }

    int Get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int Release() { return std::exchange(descriptor_, -1); }
    void Reset(int descriptor = -1) {
        const int former = std::exchange(descriptor_, descriptor);
        if (former >= 0) close(former);
    }

  private:
    int descriptor_ = -1;
};
