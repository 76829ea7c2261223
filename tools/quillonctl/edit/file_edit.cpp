#include "quillonctl/edit/file_edit.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace quillonctl {
namespace {

constexpr std::chrono::seconds Patience(10);
constexpr std::chrono::milliseconds Pause(20);
constexpr char AccessList[] = "system.posix_acl_access";

bool Fail(const std::string& what, std::string& error) {
    error = what + ": " + std::strerror(errno);
    return false;
}

class Closing {
  public:
    explicit Closing(int descriptor) : descriptor_(descriptor) {}
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    ~Closing() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    int Get() const { return descriptor_; }

  private:
    int descriptor_;
};

bool WriteAll(int descriptor, const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t written = ::write(descriptor, text.data() + at, text.size() - at);
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) at += static_cast<std::size_t>(written);
    }
    return true;
}

// A mode alone would widen the access of a file with a list.
bool CopyAccessList(const std::string& from, int descriptor) {
    std::vector<char> list(65536);
    const ssize_t size = ::getxattr(from.c_str(), AccessList, list.data(), list.size());
    if (size < 0) return errno == ENODATA || errno == ENOTSUP;
    return ::fsetxattr(descriptor, AccessList, list.data(), static_cast<std::size_t>(size), 0) == 0;
}

bool SameTime(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

std::optional<FileEdit> FileEdit::Begin(const std::string& path, std::string& error) {
    FileEdit edit;
    const std::unique_ptr<char, decltype(&std::free)> whole(::realpath(path.c_str(), nullptr), std::free);
    if (whole == nullptr) {
        Fail(path, error);
        return std::nullopt;
    }
    edit.path_ = whole.get();
    edit.folder_ = edit.path_.substr(0, edit.path_.rfind('/') + 1);
    if (!edit.Lock(error) || !edit.Read(error)) return std::nullopt;
    return edit;
}

FileEdit::FileEdit(FileEdit&& other) noexcept
    : path_(std::move(other.path_)),
      folder_(std::move(other.folder_)),
      text_(std::move(other.text_)),
      status_(other.status_),
      folderDescriptor_(std::exchange(other.folderDescriptor_, -1)) {}

FileEdit::~FileEdit() {
    if (folderDescriptor_ >= 0) ::close(folderDescriptor_);
}

// The lock is on the folder: the file itself is another one after each edit.
bool FileEdit::Lock(std::string& error) {
    folderDescriptor_ = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderDescriptor_ < 0) return Fail(folder_, error);
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    while (::flock(folderDescriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return Fail(folder_, error);
        if (std::chrono::steady_clock::now() > deadline) {
            error = path_ + ": another edit goes on";
            return false;
        }
        std::this_thread::sleep_for(Pause);
    }
    return true;
}

bool FileEdit::Read(std::string& error) {
    const Closing file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0 || ::fstat(file.Get(), &status_) != 0) return Fail(path_, error);
    if (!S_ISREG(status_.st_mode)) {
        error = path_ + ": this is no regular file";
        return false;
    }
    std::vector<char> block(65536);
    for (;;) {
        const ssize_t size = ::read(file.Get(), block.data(), block.size());
        if (size < 0 && errno != EINTR) return Fail(path_, error);
        if (size == 0) return true;
        if (size > 0) text_.append(block.data(), static_cast<std::size_t>(size));
    }
}

bool FileEdit::IsUnchanged() const {
    struct stat now {};
    return ::stat(path_.c_str(), &now) == 0 && now.st_ino == status_.st_ino && now.st_dev == status_.st_dev &&
           now.st_size == status_.st_size && SameTime(now.st_mtim, status_.st_mtim) &&
           SameTime(now.st_ctim, status_.st_ctim);
}

bool FileEdit::WriteBeside(const std::string& name, const std::string& text, std::string& error) {
    // Only one edit at a time has this name: what is there was left by one that was killed.
    ::unlink(name.c_str());
    const Closing file(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.Get() < 0) return Fail(name, error);
    struct stat own {};
    const bool isOwned =
        ::fstat(file.Get(), &own) == 0 && own.st_uid == status_.st_uid && own.st_gid == status_.st_gid;
    if (!isOwned && ::fchown(file.Get(), status_.st_uid, status_.st_gid) != 0)
        return Fail(path_ + ": its owner can't be kept", error);
    if (::fchmod(file.Get(), status_.st_mode & 07777) != 0 || !CopyAccessList(path_, file.Get()))
        return Fail(path_ + ": its mode can't be kept", error);
    if (!WriteAll(file.Get(), text) || ::fsync(file.Get()) != 0) return Fail(name, error);
    return true;
}

bool FileEdit::Replace(const std::string& text, std::string& error) {
    const std::string name = folder_ + "." + path_.substr(folder_.size()) + ".quillonctl";
    bool isDone = WriteBeside(name, text, error);
    if (isDone && !IsUnchanged()) {
        error = path_ + ": somebody has changed it meanwhile";
        isDone = false;
    }
    if (isDone && ::rename(name.c_str(), path_.c_str()) != 0) isDone = Fail(path_, error);
    if (!isDone) {
        ::unlink(name.c_str());
        return false;
    }
    // The content is safe already; this is for the name.
    ::fsync(folderDescriptor_);
    return true;
}

}  // namespace quillonctl
