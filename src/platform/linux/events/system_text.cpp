#include "platform/linux/events/system_text.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace {

struct SystemTextRow {
    DWORD number;
    int error;         // the error of the C library that the number stands for
    const char* text;  // the sentence of a number that stands for none
};

constexpr SystemTextRow Texts[] = {
    {ERROR_SUCCESS, 0, "The operation completed successfully"},
    {1, ENOSYS, nullptr},
    {ERROR_FILE_NOT_FOUND, ENOENT, nullptr},
    {ERROR_PATH_NOT_FOUND, 0, "The path was not found"},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE, nullptr},
    {ERROR_ACCESS_DENIED, EACCES, nullptr},
    {ERROR_INVALID_HANDLE, EBADF, nullptr},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM, nullptr},
    {ERROR_BAD_FORMAT, 0, "The file has the wrong format"},
    {ERROR_INVALID_DATA, 0, "The data is invalid"},
    {17, EXDEV, nullptr},
    {19, EROFS, nullptr},
    {20, ENODEV, nullptr},
    {ERROR_WRITE_FAULT, EIO, nullptr},
    {ERROR_READ_FAULT, EIO, nullptr},
    {ERROR_GEN_FAILURE, 0, "The operation failed"},
    {ERROR_SHARING_VIOLATION, 0, "Another process is using the file"},
    {ERROR_HANDLE_EOF, 0, "The end of the file was reached"},
    {50, EOPNOTSUPP, nullptr},
    {ERROR_BAD_NETPATH, 0, "The network path was not found"},
    {ERROR_FILE_EXISTS, EEXIST, nullptr},
    {ERROR_INVALID_PARAMETER, EINVAL, nullptr},
    {109, EPIPE, nullptr},
    {ERROR_DISK_FULL, ENOSPC, nullptr},
    {ERROR_CALL_NOT_IMPLEMENTED, ENOSYS, nullptr},
    {ERROR_INSUFFICIENT_BUFFER, 0, "The buffer is too small"},
    {ERROR_INVALID_NAME, 0, "The name is not valid"},
    {ERROR_MOD_NOT_FOUND, 0, "The library was not found"},
    {ERROR_PROC_NOT_FOUND, 0, "The library has no such function"},
    {131, 0, "The place is in front of the file"},
    {132, ESPIPE, nullptr},
    {145, ENOTEMPTY, nullptr},
    {ERROR_BAD_PATHNAME, 0, "The path is not valid"},
    {170, EBUSY, nullptr},
    {ERROR_ALREADY_EXISTS, 0, "The object exists already"},
    {193, ENOEXEC, nullptr},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG, nullptr},
    {223, EFBIG, nullptr},
    {ERROR_MORE_DATA, 0, "There is more data than the buffer holds"},
    {ERROR_NO_MORE_ITEMS, 0, "There are no more items"},
    {ERROR_NOT_OWNER, 0, "The caller does not own the mutex"},
    {ERROR_MR_MID_NOT_FOUND, 0, "There is no text for this number"},
    {995, EINTR, nullptr},
    {ERROR_NOACCESS, EFAULT, nullptr},
    {1015, 0, "The registry is corrupt"},
    {ERROR_INVALID_SERVICE_CONTROL, 0, "The service does not accept this control"},
    {ERROR_SERVICE_REQUEST_TIMEOUT, 0, "The service did not answer in time"},
    {ERROR_SERVICE_ALREADY_RUNNING, 0, "The service is running already"},
    {ERROR_SERVICE_DOES_NOT_EXIST, 0, "The service is not installed"},
    {ERROR_SERVICE_CANNOT_ACCEPT_CTRL, 0, "The service cannot accept controls at this time"},
    {ERROR_SERVICE_NOT_ACTIVE, 0, "The service is not running"},
    {ERROR_FAILED_SERVICE_CONTROLLER_CONNECT, 0, "The process was not started by the service manager"},
    {ERROR_SERVICE_SPECIFIC_ERROR, 0, "The service ended with an error code of its own"},
    {ERROR_SERVICE_MARKED_FOR_DELETE, 0, "The service is marked for deletion"},
    {ERROR_SERVICE_EXISTS, 0, "The service is installed already"},
    {1131, EDEADLK, nullptr},
    {ERROR_INVALID_COMPUTERNAME, 0, "The computer name is not valid"},
    {ERROR_INVALID_SHARENAME, 0, "The share name is not valid"},
    {1225, ECONNREFUSED, nullptr},
    {ERROR_INVALID_THREAD_ID, 0, "There is no thread with this number"},
    {1460, ETIMEDOUT, nullptr},
    {1816, 0, "Not enough quota is available"},
    {1921, ELOOP, nullptr},
    {10004, EINTR, nullptr},
    {10009, EBADF, nullptr},
    {10013, EACCES, nullptr},
    {10014, EFAULT, nullptr},
    {10022, EINVAL, nullptr},
    {10024, EMFILE, nullptr},
    {10035, EWOULDBLOCK, nullptr},
    {10036, EINPROGRESS, nullptr},
    {10037, EALREADY, nullptr},
    {10038, ENOTSOCK, nullptr},
    {10039, EDESTADDRREQ, nullptr},
    {10040, EMSGSIZE, nullptr},
    {10041, EPROTOTYPE, nullptr},
    {10042, ENOPROTOOPT, nullptr},
    {10043, EPROTONOSUPPORT, nullptr},
    {10044, ESOCKTNOSUPPORT, nullptr},
    {10045, EOPNOTSUPP, nullptr},
    {10046, EPFNOSUPPORT, nullptr},
    {10047, EAFNOSUPPORT, nullptr},
    {10048, EADDRINUSE, nullptr},
    {10049, EADDRNOTAVAIL, nullptr},
    {10050, ENETDOWN, nullptr},
    {10051, ENETUNREACH, nullptr},
    {10052, ENETRESET, nullptr},
    {10053, ECONNABORTED, nullptr},
    {10054, ECONNRESET, nullptr},
    {10055, ENOBUFS, nullptr},
    {10056, EISCONN, nullptr},
    {10057, ENOTCONN, nullptr},
    {10058, ESHUTDOWN, nullptr},
    {10060, ETIMEDOUT, nullptr},
    {10061, ECONNREFUSED, nullptr},
    {10062, ELOOP, nullptr},
    {10063, ENAMETOOLONG, nullptr},
    {10064, EHOSTDOWN, nullptr},
    {10065, EHOSTUNREACH, nullptr},
    {10091, 0, "The network is not ready"},
    {10092, 0, "This version of the sockets interface is not supported"},
    {10093, 0, "The sockets interface was not started"},
    {10107, 0, "A call of the network failed"},
    {11001, 0, "The host was not found"},
    {11002, 0, "The host was not found at this time"},
    {11003, 0, "The name could not be looked up"},
    {11004, 0, "The name has no data of this kind"},
};

constexpr bool IsOrdered() {
    return std::is_sorted(
        std::begin(Texts), std::end(Texts),
        [](const SystemTextRow& left, const SystemTextRow& right) { return left.number < right.number; });
}
static_assert(IsOrdered(), "the table is searched by halves");

}  // namespace

std::string SystemText(DWORD number) {
    const auto row =
        std::lower_bound(std::begin(Texts), std::end(Texts), number,
                         [](const SystemTextRow& left, DWORD wanted) { return left.number < wanted; });
    if (row == std::end(Texts) || row->number != number) return {};
    const char* text = row->text != nullptr ? row->text : strerrordesc_np(row->error);
    return text != nullptr ? std::string(text) + "." : std::string();
}
