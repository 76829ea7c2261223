// The system's error numbers as Windows' error numbers: the one place that translates them. Within the layer
// only.
//
// GetLastError and WSAGetLastError read one and the same value of the calling thread.
#pragma once

#include "platform/linux/faces/types.h"

enum class ErrorDomain {
    System,  // files, threads, memory
    Sockets  // numbers from 10004 on
};

// A number that has no counterpart gives ERROR_GEN_FAILURE, or WSASYSCALLFAILURE (10107). 0 stays 0.
DWORD WindowsErrorFrom(int errorNumber, ErrorDomain domain = ErrorDomain::System);

// The error of the exception that is being handled: the last resort of an operation, which lets none out.
DWORD CaughtError(ErrorDomain domain = ErrorDomain::System);

void SetLastErrorFrom(int errorNumber, ErrorDomain domain = ErrorDomain::System);
