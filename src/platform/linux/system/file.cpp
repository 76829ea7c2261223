#include "platform/linux/faces/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <string>

#include "platform/linux/instance/home.h"
#include "platform/linux/objects/object.h"
#include "platform/linux/objects/promise.h"
#include "platform/linux/system/descriptor.h"
#include "platform/linux/system/guarded_file.h"
#include "platform/linux/system/system_error.h"

namespace {

constexpr mode_t NewFileMode = 0640;  // less the process's mask

class OpenFile : public Object {
  public:
    static constexpr ObjectType OwnType = ObjectType::File;
    explicit OpenFile(Descriptor opened) : Object(OwnType), descriptor(std::move(opened)) {}

    const Descriptor descriptor;
};

struct Opened {
    Descriptor descriptor;
    bool existed;
};

int AccessFlags(DWORD access) {
    const int writing = (access & GENERIC_WRITE) != 0 ? 0 : (access & FILE_APPEND_DATA) != 0 ? O_APPEND : -1;
    if (writing < 0) return O_RDONLY;
    return writing | ((access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY);
}

Descriptor Open(const std::string& path, int flags) {
    if ((flags & O_ACCMODE) != O_RDONLY) return OpenToWrite(path, flags, NewFileMode);
    // O_NONBLOCK: a pipe without a reader must not hold the caller up.
    return Descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, NewFileMode));
}

// Opens what is there, else makes it. Between the two another process may make or delete the file.
Opened OpenOrCreate(const std::string& path, int flags) {
    for (int tries = 0; tries < 3; ++tries) {
        Descriptor there = Open(path, flags);
        if (there || errno != ENOENT) return {std::move(there), true};
        Descriptor made = Open(path, flags | O_CREAT | O_EXCL);
        if (made || errno != EEXIST) return {std::move(made), false};
    }
    return {Open(path, flags | O_CREAT), false};
}

Opened OpenAs(const std::string& path, int flags, DWORD disposition) {
    switch (disposition) {
        case CREATE_NEW:
            return {Open(path, flags | O_CREAT | O_EXCL), false};
        case CREATE_ALWAYS: {
            Opened opened = OpenOrCreate(path, flags);
            if (opened.descriptor && opened.existed && ftruncate(opened.descriptor.Get(), 0) != 0) {
                opened.descriptor.Reset();
            }
            return opened;
        }
        case OPEN_ALWAYS:
            return OpenOrCreate(path, flags);
        case OPEN_EXISTING:
            return {Open(path, flags), true};
        default:
            errno = EINVAL;
            return {{}, false};
    }
}

// A missing folder is another error than a missing file.
DWORD OpenError(const std::string& path, int error) {
    if (error != ENOENT) return WindowsErrorFrom(error);
    if (path.empty()) return ERROR_PATH_NOT_FOUND;
    std::error_code unknown;
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const bool hasFolder = folder.empty() || std::filesystem::is_directory(folder, unknown);
    return hasFolder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

bool IsFolder(const Descriptor& descriptor) {
    struct stat status {};
    return fstat(descriptor.Get(), &status) == 0 && S_ISDIR(status.st_mode);
}

HANDLE Fail(DWORD error) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

// Writes go on after a signal, and to a full pipe they don't wait.
DWORD WriteAll(int descriptor, const char* bytes, DWORD size, DWORD& done) {
    KeepPromise();
    while (done < size) {
        const ssize_t count = write(descriptor, bytes + done, size - done);
        if (count < 0 && errno == EBADF) return ERROR_ACCESS_DENIED;  // opened for reading
        if (count < 0 && errno != EINTR) return WindowsErrorFrom(errno);
        if (count == 0) return ERROR_WRITE_FAULT;
        if (count > 0) done += static_cast<DWORD>(count);
    }
    return ERROR_SUCCESS;
}

}  // namespace

HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES, DWORD disposition, DWORD,
                          HANDLE) try {
    KeepPromise();
    const std::string native = NativePath(path);
    Opened opened = OpenAs(native, AccessFlags(access), disposition);
    if (!opened.descriptor) return Fail(OpenError(native, errno));
    if (IsFolder(opened.descriptor)) return Fail(ERROR_ACCESS_DENIED);
    const Ref<OpenFile> file = MakeObject<OpenFile>(std::move(opened.descriptor));
    const HANDLE handle = PublishObject(file);
    if (handle == nullptr) return INVALID_HANDLE_VALUE;
    const bool tellsExistence = disposition == OPEN_ALWAYS || disposition == CREATE_ALWAYS;
    SetLastError(tellsExistence && opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
} catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

BOOL WINAPI WriteFile(HANDLE handle, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped) {
    DWORD done = 0;
    DWORD error = ERROR_SUCCESS;
    if (overlapped != nullptr || (data == nullptr && size > 0)) {
        error = ERROR_INVALID_PARAMETER;
    } else if (const Ref<OpenFile> file = LookUpObject<OpenFile>(handle); file) {
        error = WriteAll(file->descriptor.Get(), static_cast<const char*>(data), size, done);
    } else {
        error = ERROR_INVALID_HANDLE;
    }
    if (written != nullptr) *written = done;
    if (error != ERROR_SUCCESS) SetLastError(error);
    return error == ERROR_SUCCESS;
}

DWORD WINAPI GetFileSize(HANDLE handle, LPDWORD high) {
    const Ref<OpenFile> file = LookUpObject<OpenFile>(handle);
    struct stat status {};
    if (!file || fstat(file->descriptor.Get(), &status) != 0) {
        SetLastError(file ? WindowsErrorFrom(errno) : DWORD{ERROR_INVALID_HANDLE});
        return INVALID_FILE_SIZE;
    }
    if (high != nullptr) *high = static_cast<DWORD>(status.st_size >> 32);
    SetLastError(ERROR_SUCCESS);
    return static_cast<DWORD>(status.st_size);
}
