// The readers of the files that an import takes. What bootptab can't have goes to the import as dropped; no
// text makes any of them fail.
#pragma once

#include <string_view>

#include "quillonctl/import/import_model.h"

namespace quillonctl {

// dhcpd.conf of the ISC.
void ImportDhcpd(std::string_view text, const HostAddresses& names, Import& import);

// dnsmasq.conf, as far as it is about DHCP.
void ImportDnsmasq(std::string_view text, const HostAddresses& names, Import& import);

// Lines of a hardware address and an address or a name, as in /etc/ethers.
void ImportEthers(std::string_view text, const HostAddresses& names, Import& import);

// A table with a first line of column names; commas, semicolons or tabs between the columns.
void ImportCsv(std::string_view text, const HostAddresses& names, Import& import);

// kea-dhcp4.conf.
void ImportKea(std::string_view text, const HostAddresses& names, Import& import);

}  // namespace quillonctl
