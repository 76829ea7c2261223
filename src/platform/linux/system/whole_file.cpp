#include "platform/linux/system/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "platform/linux/system/system_error.h"

namespace {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds Millisecond = 1'000'000;
constexpr Nanoseconds Second = 1000 * Millisecond;
// Several ticks of the slowest kernel clock (100 Hz).
constexpr Nanoseconds UsualTick = 50 * Millisecond;
// File systems that keep whole seconds, or pairs of them.
constexpr Nanoseconds CoarseTick = 2 * Second + UsualTick;

bool SameTime(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

// read() that goes on after a signal.
ssize_t ReadSome(int descriptor, char* bytes, std::size_t size) {
    ssize_t count = 0;
    do {
        count = read(descriptor, bytes, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

std::unique_ptr<char[]> Allocate(std::size_t size) {
    return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

}  // namespace

FileIdentity::FileIdentity(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(status.st_size),
      modified(status.st_mtim),
      changed(status.st_ctim) {}

bool FileIdentity::operator==(const FileIdentity& other) const {
    return inode == other.inode && device == other.device && size == other.size &&
           SameTime(modified, other.modified) && SameTime(changed, other.changed);
}

// Only a change that gets the very time of the last one can hide, so a time far in the future is settled as
// well.
bool FileIdentity::IsSettledAt(const timespec& now) const {
    const Nanoseconds tick = changed.tv_nsec == 0 ? CoarseTick : UsualTick;
    const std::int64_t seconds = std::int64_t{now.tv_sec} - changed.tv_sec;
    if (seconds > CoarseTick / Second + 1 || seconds < -(CoarseTick / Second + 1)) return true;
    const Nanoseconds age = seconds * Second + (now.tv_nsec - changed.tv_nsec);
    return age > tick || age < -tick;
}

Descriptor OpenForReading(const char* path, struct stat& status) {
    // Without O_NONBLOCK a pipe under this name would hold the caller up.
    Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file || fstat(file.Get(), &status) != 0) {
        SetLastErrorFrom(errno);
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return {};
    }
    return file;
}

DWORD ReadWholeFile(const std::string& path, FileText& text) {
    struct stat status {};
    const Descriptor file = OpenForReading(path.c_str(), status);
    if (!file) return GetLastError();
    const int error = ReadToEnd(file.Get(), static_cast<std::size_t>(status.st_size), text);
    return error == 0 ? ERROR_SUCCESS : WindowsErrorFrom(error);
}

int ReadToEnd(int descriptor, std::size_t expected, FileText& text) {
    // One byte more than the file has, so that its end is found without growing.
    std::size_t capacity = expected + 1;
    std::unique_ptr<char[]> bytes = Allocate(capacity);
    std::size_t size = 0;
    while (bytes != nullptr) {
        const ssize_t count = ReadSome(descriptor, bytes.get() + size, capacity - size);
        if (count < 0) return errno;
        size += static_cast<std::size_t>(count);
        if (count == 0) {
            text.bytes = std::move(bytes);
            text.size = size;
            return 0;
        }
        if (size < capacity) continue;
        if (capacity > std::numeric_limits<std::size_t>::max() / 2) break;
        std::unique_ptr<char[]> larger = Allocate(capacity * 2);
        if (larger == nullptr) break;
        std::memcpy(larger.get(), bytes.get(), size);
        bytes = std::move(larger);
        capacity *= 2;
    }
    return ENOMEM;
}

bool HasSameBytes(int descriptor, std::string_view bytes) {
    char piece[8 * 1024];  // on the stack of whichever thread asks, which keeps what it has once touched
    for (;;) {
        const ssize_t count = ReadSome(descriptor, piece, sizeof(piece));
        if (count < 0) return false;
        const std::string_view read(piece, static_cast<std::size_t>(count));
        if (read.empty()) return bytes.empty();
        if (!bytes.starts_with(read)) return false;
        bytes.remove_prefix(read.size());
    }
}
