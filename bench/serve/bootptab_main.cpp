// Writes a bootptab with as many clients as asked for, as a site with one template for all would have it.
#include <cstdio>
#include <cstdlib>

#include "sample_clients.h"

namespace {

constexpr char Head[] =
    "[Options]\n"
    "Subnet Mask = 1,ipaddress\n"
    "Gateways = 3,ipaddressarray\n"
    "Name Servers = 6,ipaddressarray\n"
    "Host Name = 12,string\n"
    "Lease Time = 51,time\n"
    "Boot File = -1,string\n"
    "IP Address = -2,ipaddress\n"
    "Template = -1000,string\n"
    "\n"
    "[Template:lab]\n"
    "Subnet Mask = 255.0.0.0\n"
    "Gateways = 10.255.0.1\n"
    "Lease Time = 8:00:00\n"
    "Boot File = boot.img\n";

void WriteClient(std::uint32_t client) {
    const bench::HardwareAddress hardware = bench::HardwareAddressOf(client);
    const bench::NetworkAddress address = bench::NetworkAddressOf(client);
    std::printf(
        "\n[%02x-%02x-%02x-%02x-%02x-%02x]\nTemplate = lab\nIP Address = %d.%d.%d.%d\nHost Name = host%u\n"
        "Name Servers = 10.255.0.2,10.255.0.3\n",
        hardware[0], hardware[1], hardware[2], hardware[3], hardware[4], hardware[5], address[0], address[1],
        address[2], address[3], client);
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned long clients = argc == 2 ? std::strtoul(argv[1], nullptr, 10) : 0;
    if (clients == 0 || clients > bench::MostClients) {
        std::fprintf(stderr, "usage: bench_bootptab CLIENTS (1 to %u)\n", bench::MostClients);
        return EXIT_FAILURE;
    }
    std::fputs(Head, stdout);
    for (std::uint32_t client = 0; client < clients; ++client)
        WriteClient(client);
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
