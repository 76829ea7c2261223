// A descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace quillonctl {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_descriptor, other._descriptor);
        return *this;
    }
    ~Descriptor() {
        if (IsOpen()) ::close(_descriptor);
    }

    bool IsOpen() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }  // -1 if there is none

  private:
    int _descriptor = -1;
};

}  // namespace quillonctl
