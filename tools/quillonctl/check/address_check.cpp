#include "quillonctl/check/address_check.h"

#include "database/lookup/option_list.h"

namespace quillonctl {
namespace {

constexpr std::uint8_t TagGateways = 3;

std::uint32_t Number(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
           bytes[3];
}

std::string Dotted(const std::uint8_t* bytes) {
    char text[AddressTextSize];
    FormatAddress({{bytes[0], bytes[1], bytes[2], bytes[3]}}, text);
    return text;
}

std::optional<OptionView> WholeOption(const ClientEntry& entry, std::uint8_t tag) {
    const BYTE* options = Options(&entry.packet);
    const auto option = FindOption({options, options + entry.templateCapacity, PadRule::Options}, tag);
    if (!option || option->form != OptionForm::Whole || option->length < sizeof(IpAddress))
        return std::nullopt;
    return option;
}

}  // namespace

std::vector<std::string> SubnetFaults(const ClientEntry& entry) {
    std::vector<std::string> faults;
    const auto maskOption = WholeOption(entry, TagSubnetMask);
    const std::uint32_t address = Number(entry.packet.yiaddr.bytes);
    if (!maskOption || address == 0 || address == 0xFFFFFFFF) return faults;
    const std::uint32_t mask = Number(maskOption->value);
    const std::string own = Dotted(entry.packet.yiaddr.bytes);
    const std::uint32_t hosts = ~mask;
    if ((hosts & (hosts + 1)) != 0) {
        faults.push_back("the subnet mask " + Dotted(maskOption->value) + " has gaps");
        return faults;
    }
    if (hosts > 1 && (address & hosts) == 0) faults.push_back(own + " is the address of its subnet itself");
    if (hosts > 1 && (address & hosts) == hosts)
        faults.push_back(own + " is the broadcast address of its subnet");
    const auto gateways = WholeOption(entry, TagGateways);
    for (std::size_t at = 0; gateways && at + sizeof(IpAddress) <= gateways->length;
         at += sizeof(IpAddress)) {
        const std::uint8_t* gateway = gateways->value + at;
        if (Number(gateway) != 0xFFFFFFFF && ((Number(gateway) ^ address) & mask) != 0)
            faults.push_back("the gateway " + Dotted(gateway) + " lies outside the subnet of " + own);
    }
    return faults;
}

}  // namespace quillonctl
