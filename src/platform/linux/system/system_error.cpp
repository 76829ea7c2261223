#include "platform/linux/system/system_error.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <stdexcept>
#include <system_error>

namespace {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

struct Translation {
    int number;
    DWORD system;   // 0: has no meaning for files, threads and memory
    DWORD sockets;  // 0: has no meaning for sockets
};

constexpr Translation Translations[] = {
    {EPERM, ERROR_ACCESS_DENIED, 10013},
    {ENOENT, ERROR_FILE_NOT_FOUND, 0},
    {EINTR, 995, 10004},
    {EIO, ERROR_GEN_FAILURE, 0},
    {ENXIO, ERROR_FILE_NOT_FOUND, 10050},
    {ENOEXEC, 193, 0},
    {EBADF, ERROR_INVALID_HANDLE, 10038},
    {EAGAIN, ERROR_NOT_ENOUGH_MEMORY, 10035},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY, 10055},
    {EACCES, ERROR_ACCESS_DENIED, 10013},
    {EFAULT, ERROR_NOACCESS, 10014},
    {EBUSY, 170, 0},
    {EEXIST, ERROR_FILE_EXISTS, 0},
    {EXDEV, 17, 0},
    // The interface that a socket was bound to has gone.
    {ENODEV, 20, 10050},
    {ENOTDIR, ERROR_PATH_NOT_FOUND, 0},
    {EISDIR, ERROR_ACCESS_DENIED, 0},
    {EINVAL, ERROR_INVALID_PARAMETER, 10022},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES, 10024},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES, 10024},
    {ETXTBSY, ERROR_SHARING_VIOLATION, 0},
    {EFBIG, 223, 0},
    {ENOSPC, ERROR_DISK_FULL, 10055},
    {EDQUOT, ERROR_DISK_FULL, 0},
    {ESPIPE, 132, 0},
    {EROFS, 19, 0},
    {EPIPE, 109, 10058},
    {EDEADLK, 1131, 0},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE, 10063},
    {ENOSYS, ERROR_CALL_NOT_IMPLEMENTED, 10045},
    {ENOTEMPTY, 145, 0},
    {ELOOP, 1921, 10062},
    {ENOTSOCK, ERROR_INVALID_HANDLE, 10038},
    {EDESTADDRREQ, 0, 10039},
    {EMSGSIZE, 0, 10040},
    {EPROTOTYPE, 0, 10041},
    {ENOPROTOOPT, 0, 10042},
    {EPROTONOSUPPORT, 0, 10043},
    {ESOCKTNOSUPPORT, 0, 10044},
    {EOPNOTSUPP, 50, 10045},
    {EPFNOSUPPORT, 0, 10046},
    {EAFNOSUPPORT, 0, 10047},
    {EADDRINUSE, 0, 10048},
    {EADDRNOTAVAIL, 0, 10049},
    {ENETDOWN, 0, 10050},
    {ENETUNREACH, 0, 10051},
    {ENETRESET, 0, 10052},
    {ECONNABORTED, 0, 10053},
    {ECONNRESET, 0, 10054},
    {ENOBUFS, ERROR_NOT_ENOUGH_MEMORY, 10055},
    {EISCONN, 0, 10056},
    {ENOTCONN, 0, 10057},
    {ESHUTDOWN, 0, 10058},
    {ETIMEDOUT, 1460, 10060},
    // Windows tells an unreachable UDP port as a reset.
    {ECONNREFUSED, 1225, 10054},
    {EHOSTDOWN, 0, 10064},
    {EHOSTUNREACH, 0, 10065},
};

constexpr DWORD SocketCallFailed = 10107;

}  // namespace

DWORD WINAPI GetLastError() {
    return lastError;
}

void WINAPI SetLastError(DWORD error) {
    lastError = error;
}

DWORD WindowsErrorFrom(int errorNumber, ErrorDomain domain) {
    if (errorNumber == 0) return ERROR_SUCCESS;
    const auto* found = std::find_if(std::begin(Translations), std::end(Translations),
                                     [=](const Translation& row) { return row.number == errorNumber; });
    const bool known = found != std::end(Translations);
    if (domain == ErrorDomain::Sockets)
        return known && found->sockets != 0 ? found->sockets : SocketCallFailed;
    return known && found->system != 0 ? found->system : ERROR_GEN_FAILURE;
}

DWORD CaughtError(ErrorDomain domain) {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return WindowsErrorFrom(ENOMEM, domain);
    } catch (const std::length_error&) {
        return WindowsErrorFrom(ENOMEM, domain);
    } catch (const std::system_error& error) {
        return WindowsErrorFrom(error.code().value(), domain);
    } catch (...) {
        return WindowsErrorFrom(EIO, domain);
    }
}

void SetLastErrorFrom(int errorNumber, ErrorDomain domain) {
    SetLastError(WindowsErrorFrom(errorNumber, domain));
}
