// What is said over the control socket of a service. Within the layer, and for the operator's command.
//
// The socket is a local one that keeps message borders. A client connects, sends one request and gets one
// reply; then the service closes the connection. Numbers are in the machine's own order: both ends are on it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/linux/faces/service_manager.h"

// "Qct1".
inline constexpr std::uint32_t ControlMark = 0x31746351;

// Asks for the last reported status, without a word to the service's handler.
inline constexpr DWORD ControlQuery = 0;

struct ControlRequest {
    std::uint32_t mark = ControlMark;
    DWORD control = ControlQuery;  // or a SERVICE_CONTROL_ number
};

struct ControlReply {
    std::uint32_t mark = ControlMark;
    DWORD error = ERROR_SUCCESS;  // why the control was not carried out
    SERVICE_STATUS status{};      // the last reported one
};

// "Qrp1".
inline constexpr std::uint32_t ReportMark = 0x31707251;

// Asks for one page of a report; see platform/service_report.h.
struct ReportRequest {
    std::uint32_t mark = ReportMark;
    std::uint32_t report = 0;  // a ServiceReport
    std::uint64_t from = 0;
    char about[48] = {};  // with its NUL
};

// The head of the reply. `length` bytes of text follow in the same message.
struct ReportReply {
    std::uint32_t mark = ReportMark;
    DWORD error = ERROR_SUCCESS;  // why there is no page
    std::uint64_t next = 0;
    std::uint32_t edition = 0;
    std::uint32_t length = 0;
};

inline constexpr std::size_t ReportPageSize = 32768;
