// What the log says about one datagram, as plain values, and the block of lines made of them.
#pragma once

#include "request/request_context.h"

// The hardware address with its suffix; a longer combination is cut.
inline constexpr std::size_t HardwareTraceSize = 100;

// The longest text that one block may have; what goes beyond is lost.
inline constexpr std::size_t TraceSize = 1024;

struct RequestTrace {
    const char* packetType = "Not available";
    const char* findStatus = "No Status available";
    const char* replyStatus = "No reply sent";
    std::uint8_t opcode = 0;

    // Of the request as it came. A datagram with a wrong opcode isn't looked at any further: `decoded` stays
    // clear and these texts stay empty.
    bool decoded = false;
    std::uint8_t flags = 0;
    bool vendorOptions = false;
    IpAddress yiaddr = {};
    IpAddress siaddr = {};
    IpAddress cookie = {};
    IpAddress localAddress = {};
    const char* arpMacText = "";  // the entry's own media address
    char serverName[sizeof BootPacket::sname + 1];
    char date[9];
    char time[9];

    // Once the request has come as far as a reply.
    bool replied = false;
    IpAddress foundAddress = {};
    IpAddress gateway = {};

    // The texts are empty to begin with, and that of the server's name ends wherever it is filled to.
    RequestTrace() { serverName[0] = serverName[sizeof serverName - 1] = date[0] = time[0] = '\0'; }
};

// Formats the block; fields that the trace doesn't hold are those of the packet now. Control characters in
// the server name and the boot file are shown as \x and two digits, all other bytes as they are. Returns the
// length.
int FormatTrace(const RequestTrace& trace, const RequestContext& context, char (&text)[TraceSize + 1]);
