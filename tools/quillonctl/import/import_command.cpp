#include "quillonctl/import/import_command.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "quillonctl/command_line/usage.h"
#include "quillonctl/complaint.h"
#include "quillonctl/import/bootptab_writer.h"
#include "quillonctl/import/importers.h"
#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

using Importer = void (*)(std::string_view text, const HostAddresses& names, Import& import);

struct Format {
    const char* name;
    Importer importer;
};

constexpr Format Formats[] = {{"dhcpd", ImportDhcpd},
                              {"dnsmasq", ImportDnsmasq},
                              {"ethers", ImportEthers},
                              {"csv", ImportCsv},
                              {"kea", ImportKea}};

struct ImportArguments {
    std::string from;
    std::string file;
    std::string hosts;
};

int RunImport(const ImportArguments& arguments) {
    std::string error;
    const auto text = ReadWholeFile(arguments.file, error);
    if (!text) return Complain(error);
    HostAddresses names;
    if (!arguments.hosts.empty()) {
        const auto hosts = ReadWholeFile(arguments.hosts, error);
        if (!hosts) return Complain(error);
        names = ParseHosts(*hosts);
    }
    const auto* format =
        std::ranges::find_if(Formats, [&](const Format& row) { return arguments.from == row.name; });
    Import import;
    format->importer(*text, names, import);
    const std::vector<Dropped> dropped = import.AllDropped();
    const int status =
        Output(WriteBootptab(import, "Imported from " + arguments.file + " (" + arguments.from + ")."),
               dropped.empty() ? ExitDone : ExitRefused);
    for (const Dropped& finding : dropped)
        std::cerr << arguments.file << ":" << finding.line << ": " << finding.text << "\n";
    return status;
}

}  // namespace

void AddImportCommand(CLI::App& app, std::function<int()>& run) {
    CLI::App* command = app.add_subcommand("import", "Show another server's configuration as a bootptab");
    const auto arguments = std::make_shared<ImportArguments>();
    std::vector<std::string> formats;
    for (const Format& format : Formats)
        formats.emplace_back(format.name);
    OneOf(*command->add_option("--from", arguments->from, "what kind of file it is")->required(), formats);
    command->add_option("--hosts", arguments->hosts, "addresses of the names in the file, as in /etc/hosts")
        ->type_name("FILE");
    command->add_option("FILE", arguments->file, "the file to read")->type_name("")->required();
    command->footer(
        "The bootptab goes to the standard output, with a template for each subnet or group. What can't be\n"
        "carried over goes to the standard error, as FILE:LINE: and the reason. No other file is followed.\n"
        "\n"
        "A csv file names its columns in the first line: mac, ip, and any of template, mask, gateway, dns,\n"
        "host-name, boot-file, lease-time, or another option by its name.\n"
        "\n"
        "Exit status: 0 all was carried over, 1 something was dropped, 2 wrong usage or a failure.\n"
        "\n"
        "Examples:\n"
        "  quillonctl import --from dhcpd /etc/dhcp/dhcpd.conf > bootptab\n"
        "  quillonctl import --from ethers --hosts /etc/hosts /etc/ethers > bootptab");
    command->callback([arguments, &run] { run = [arguments] { return RunImport(*arguments); }; });
}

}  // namespace quillonctl
