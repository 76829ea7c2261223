#include "quillonctl/ask_command.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <random>

#include "quillonctl/command_line/usage.h"
#include "quillonctl/complaint.h"
#include "quillonctl/exchange.h"
#include "quillonctl/exit_status.h"
#include "quillonctl/message_printer.h"
#include "quillonctl/request_builder.h"
#include "quillonctl/service_port.h"

namespace quillonctl {
namespace {

constexpr std::uint16_t ClientPort = 68;
constexpr std::uint16_t RelayPort = 67;
constexpr unsigned FirstFreePort = 1024;  // a user without privileges gets no lower one

// What the command line says, as it says it.
struct AskArguments {
    std::string hardwareAddress, dhcp, server, bind, interface, relay, ciaddr, requestedAddress,
        serverIdentifier;
    std::string parameterList, sname, file, xid;
    std::optional<unsigned> port, clientPort, hlen;
    unsigned htype = 1, secs = 0;
    std::size_t length = 0;
    double timeout = 5;
    bool broadcast = false, json = false;
};

std::string CheckAddress(const std::string& text) {
    return ParseAddress(text) ? "" : "'" + text + "' is not an IPv4 address";
}

// "305419896" or "0x12345678".
std::string CheckXid(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
    const bool good = !text.empty() && *end == '\0' && text[0] != '-' && errno == 0 && value <= 0xFFFFFFFFu;
    return good ? "" : "'" + text + "' is not a number of 32 bits";
}

std::optional<IpAddress> OptionalAddress(const std::string& text) {
    return text.empty() ? std::nullopt : ParseAddress(text);
}

RequestSettings SettingsFrom(const AskArguments& arguments) {
    RequestSettings settings;
    settings.hardwareAddress = *ParseHardwareAddress(arguments.hardwareAddress);
    settings.hlen = static_cast<std::uint8_t>(
        arguments.hlen.value_or(static_cast<unsigned>(settings.hardwareAddress.size())));
    settings.htype = static_cast<std::uint8_t>(arguments.htype);
    settings.xid = arguments.xid.empty()
                       ? std::random_device()()
                       : static_cast<std::uint32_t>(std::strtoul(arguments.xid.c_str(), nullptr, 0));
    settings.secs = static_cast<std::uint16_t>(arguments.secs);
    settings.broadcast = arguments.broadcast;
    settings.ciaddr = OptionalAddress(arguments.ciaddr).value_or(IpAddress{});
    settings.giaddr = OptionalAddress(arguments.relay).value_or(IpAddress{});
    settings.sname = arguments.sname;
    settings.file = arguments.file;
    if (!arguments.dhcp.empty()) settings.messageType = ParseMessageType(arguments.dhcp);
    settings.requestedAddress = OptionalAddress(arguments.requestedAddress);
    settings.serverIdentifier = OptionalAddress(arguments.serverIdentifier);
    if (!arguments.parameterList.empty()) settings.parameterList = *ParseCodes(arguments.parameterList);
    settings.length = arguments.length;
    return settings;
}

Route RouteFrom(const AskArguments& arguments) {
    Route route;
    if (!arguments.server.empty()) route.server = *ParseAddress(arguments.server);
    route.serverPort = static_cast<std::uint16_t>(arguments.port.value_or(ServicePort()));
    route.local = OptionalAddress(arguments.bind);
    route.interface = arguments.interface;
    if (arguments.clientPort) {
        route.localPort = static_cast<std::uint16_t>(*arguments.clientPort);
    } else if (route.serverPort < FirstFreePort) {
        route.localPort = arguments.relay.empty() ? ClientPort : RelayPort;
        route.anyPortIfDenied = true;
    }
    return route;
}

// A reply to this very request: of the same transaction and for the same hardware address.
bool Answers(Bytes reply, Bytes request) {
    constexpr std::size_t Xid = offsetof(BootPacket, xid);
    constexpr std::size_t Hardware = offsetof(BootPacket, chaddr);
    const auto same = [&](std::size_t offset, std::size_t size) {
        const std::size_t known = std::min(reply.size(), request.size());
        return offset >= known ||
               std::memcmp(&reply[offset], &request[offset], std::min(size, known - offset)) == 0;
    };
    return reply.size() >= Xid + 4 && reply[0] == BootReplyOpcode && same(Xid, 4) &&
           same(Hardware, HardwareAddressSize);
}

int Ask(const AskArguments& arguments) {
    std::string error;
    const auto request = BuildRequest(SettingsFrom(arguments), error);
    if (!request) return Complain(error);
    Reply reply;
    std::string notice;
    const std::chrono::milliseconds timeout(std::llround(arguments.timeout * 1000));
    const auto result = Exchange(
        RouteFrom(arguments), *request, timeout, [&](Bytes datagram) { return Answers(datagram, *request); },
        reply, error, notice);
    if (!notice.empty()) Complain(notice);
    if (result == ExchangeResult::Failed) return Complain(error);
    if (result != ExchangeResult::Replied) return Complain("no reply", ExitRefused);
    const DecodedMessage message = DecodeMessage(reply.bytes);
    return Output(arguments.json ? MessageJson(message, reply.from, reply.bytes)
                                 : MessageText(message, reply.from));
}

void AddRequestOptions(CLI::App& command, AskArguments& arguments) {
    const CLI::Validator address(CheckAddress, "");
    OneOf(
        *command.add_option("--dhcp", arguments.dhcp, "make it a DHCP request of this type; without: BOOTP"),
        {"discover", "request", "decline", "release", "inform"});
    command
        .add_option("--hlen", arguments.hlen,
                    "length of the hardware address as sent; its bytes if not given")
        ->check(CLI::Range(0u, 255u));
    command.add_option("--htype", arguments.htype, "hardware type")
        ->check(CLI::Range(0u, 255u))
        ->capture_default_str();
    command.add_option("--xid", arguments.xid, "transaction number, random if not given")
        ->type_name("NUMBER")
        ->check(CLI::Validator(CheckXid, ""));
    command.add_option("--secs", arguments.secs, "seconds since booting")->check(CLI::Range(0u, 65535u));
    command.add_option("--sname", arguments.sname, "name of the server that shall answer")->type_name("NAME");
    command.add_option("--file", arguments.file, "boot file to ask for")->type_name("NAME");
    command.add_option("--ciaddr", arguments.ciaddr, "address that the client has already")
        ->type_name("ADDRESS")
        ->check(address);
    command.add_flag("--broadcast", arguments.broadcast, "ask for a reply by broadcast");
    command.add_option("--requested-ip", arguments.requestedAddress, "DHCP option 50")
        ->type_name("ADDRESS")
        ->check(address);
    command.add_option("--server-id", arguments.serverIdentifier, "DHCP option 54")
        ->type_name("ADDRESS")
        ->check(address);
    command.add_option("--parameter-list", arguments.parameterList, "DHCP option 55, as in 1,3,6")
        ->type_name("CODE,...")
        ->check(CLI::Validator(
            [](const std::string& text) {
                return ParseCodes(text) ? std::string() : "'" + text + "' is not a list of option codes";
            },
            ""));
    command.add_option("--length", arguments.length, "length of the datagram in bytes; 300 if not given")
        ->check(CLI::Range(std::size_t{1}, LargestDatagram));
}

void AddRouteOptions(CLI::App& command, AskArguments& arguments) {
    const CLI::Validator address(CheckAddress, "");
    command.add_option("--server", arguments.server, "server to ask; without: the limited broadcast address")
        ->type_name("ADDRESS")
        ->check(address);
    command
        .add_option("--port", arguments.port, "port of the server; that of the service bootp if not given")
        ->check(CLI::Range(1u, 65535u));
    command
        .add_option("--client-port", arguments.clientPort,
                    "port to send from and to listen on, 0 for any; if not given: 68, or 67 for a relay, "
                    "or any if the server's port is 1024 or above")
        ->check(CLI::Range(0u, 65535u));
    command.add_option("--bind", arguments.bind, "local address to send from")
        ->type_name("ADDRESS")
        ->check(address);
    command.add_option("--interface", arguments.interface, "interface to send and receive by")
        ->type_name("NAME");
    command.add_option("--relay", arguments.relay, "be the relay agent with this address")
        ->type_name("ADDRESS")
        ->check(address);
}

}  // namespace

void AddAskCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command = app.add_subcommand("ask", "Send a BOOTP or DHCP request and show the reply");
    const auto arguments = std::make_shared<AskArguments>();
    command->add_option("MAC", arguments->hardwareAddress, "hardware address, as in 00-a0-c9-11-22-33")
        ->type_name("")
        ->required()
        ->check(CLI::Validator(
            [](const std::string& text) {
                return ParseHardwareAddress(text) ? std::string()
                                                  : "'" + text + "' is not a hardware address";
            },
            ""));
    AddRequestOptions(*command, *arguments);
    AddRouteOptions(*command, *arguments);
    command->add_option("--timeout", arguments->timeout, "seconds to wait for the reply")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->add_flag("--json", arguments->json, "show the reply as JSON");
    command->footer(
        "A reply that the server sends to the client's own address gets here only if that address is on "
        "this\n"
        "machine; --broadcast asks for one that gets here anyway. Unless the server answers the port it is "
        "asked\n"
        "from (UseClientSrcPort), replies go to port 68, or 67 of a relay, which only root may listen on.\n"
        "\n"
        "Exit status: 0 a reply came, 1 none came in time, 2 wrong usage or a failure on this side.\n"
        "\n"
        "Examples:\n"
        "  quillonctl ask 00-a0-c9-11-22-33 --interface eth0 --broadcast\n"
        "  quillonctl ask 00-a0-c9-11-22-33 --dhcp request --server 10.0.0.1 --parameter-list 1,3,6 --json\n"
        "  quillonctl ask 00-a0-c9-11-22-33 --server 10.0.0.1 --relay 10.0.7.1 --bind 10.0.7.1\n"
        "  quillonctl ask 00-a0-c9-11-22-33 --server 127.0.0.1 --port 2067 --timeout 1");
    command->callback([arguments, &run] { run = [arguments] { return Ask(*arguments); }; });
}

}  // namespace quillonctl
