#include "platform/linux/system/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/system/guarded_file.h"

namespace {

namespace fs = std::filesystem;

constexpr mode_t NewMode = 0644;
constexpr mode_t OwnLockMode = 0600;
constexpr auto LockPatience = std::chrono::seconds(5);
constexpr auto LockPause = std::chrono::milliseconds(1);

int WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return errno;
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

// Who may not give the file away keeps it. A first one is for the service to read, which runs as another
// user.
int TakeOverOwnerAndMode(int descriptor, const std::string& former) {
    struct stat status {};
    if (stat(former.c_str(), &status) != 0) {
        if (errno != ENOENT) return errno;
        return fchmod(descriptor, NewMode) == 0 ? 0 : errno;
    }
    if (fchown(descriptor, status.st_uid, status.st_gid) != 0 && errno != EPERM) return errno;
    return fchmod(descriptor, status.st_mode & 07777) == 0 ? 0 : errno;
}

int SyncFolder(const fs::path& folder) {
    const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return descriptor && fsync(descriptor.Get()) == 0 ? 0 : errno;
}

// What a crash, or somebody else, has left under the name goes.
int WriteNew(const std::string& path, const std::string& former, std::string_view bytes) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) return errno;
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) return errno;
    if (const int error = WriteAll(file.Get(), bytes); error != 0) return error;
    if (const int error = TakeOverOwnerAndMode(file.Get(), former); error != 0) return error;
    return fsync(file.Get()) == 0 ? 0 : errno;
}

fs::path FolderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

int Lock(int descriptor) {
    const auto deadline = std::chrono::steady_clock::now() + LockPatience;
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return errno;
        if (std::chrono::steady_clock::now() >= deadline) return ETIMEDOUT;
        std::this_thread::sleep_for(LockPause);
    }
    return 0;
}

}  // namespace

int ReplaceFile(const std::string& path, std::string_view bytes) {
    std::error_code missing;
    const fs::path resolved = fs::canonical(path, missing);
    const std::string target = missing ? path : resolved.string();
    const std::string temporary = target + ".new";
    if (const int error = WriteNew(temporary, target, bytes); error != 0) {
        unlink(temporary.c_str());
        return error;
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) return errno;
    return SyncFolder(FolderOf(target));
}

Descriptor LockForWriting(const std::string& path, int& error) {
    std::error_code failure;
    fs::create_directories(FolderOf(path), failure);
    Descriptor lock = OpenToWrite(path + ".lock", O_RDWR | O_CREAT | O_NOFOLLOW, OwnLockMode);
    // One that an earlier release made could be read, and so be locked, by anybody.
    const bool isOpen = lock && (fchmod(lock.Get(), OwnLockMode) == 0 || errno == EPERM);
    error = isOpen ? Lock(lock.Get()) : errno;
    return error == 0 ? std::move(lock) : Descriptor();
}
