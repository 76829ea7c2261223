#include "quillonctl/explain/explained_client.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include "database/lookup/find_client.h"
#include "quillonctl/check/database_check.h"
#include "quillonctl/check/loaded_database.h"
#include "quillonctl/check/registry_check.h"
#include "quillonctl/check/section_check.h"
#include "quillonctl/message_decoder.h"
#include "quillonctl/request_builder.h"
#include "request/daemon_pool.h"
#include "request/reply_delivery.h"

namespace quillonctl {
namespace {

constexpr std::uint8_t Discover = 1;

// A line of the screen: what it is about in the first column.
std::string Row(const std::string& about, const std::string& text) {
    return "  " + about + std::string(about.size() < 16 ? 16 - about.size() : 1, ' ') + text + "\n";
}

// Which section and line an option of the reply comes from.
using Origins = std::map<std::uint8_t, std::string>;

// What one kind of request would get.
struct TrialReply {
    int status = FindUnknownClient;
    DecodedMessage message;
    std::uint8_t flags = 0;  // of the entry
};

class Explainer {
  public:
    Explainer(const ExplainQuestion& question, const ServerParameters& record, const BootptabLines& lines)
        : question_(question),
          record_(record),
          lines_(lines),
          database_(lines.Path(), record),
          rows_(lines, database_.Catalogue(), &ignored_) {
        std::string name(HardwareTextSize, '\0');
        std::vector<std::uint8_t> bytes = question.hardwareAddress;
        bytes.resize(HardwareAddressSize);
        ConvertHardwareAddress(bytes.data(), name.data(), static_cast<int>(question.hardwareAddress.size()));
        name_ = name.c_str();
        section_ = lines.Find(name_);
    }

    ExplainedClient Run(const Findings& findings) {
        const TrialReply bootp = Ask(std::nullopt);
        const TrialReply dhcp = Ask(Discover);
        ExplainedClient explained;
        explained.text = "Client " + name_ + "\n" + Place(bootp.status);
        explained.getsReply = HasReply(bootp) && HasReply(dhcp);
        explained.text += Reply("BOOTP", bootp) + Reply("DHCP DISCOVER", dhcp);
        if (HasReply(bootp)) explained.text += Way(bootp.flags);
        explained.text += FindingsAbout(findings);
        return explained;
    }

  private:
    static bool HasReply(const TrialReply& reply) {
        return reply.status <= FindListedBootp && !(reply.message.header.yiaddr == IpAddress{});
    }

    TrialReply Ask(std::optional<std::uint8_t> messageType) {
        RequestSettings settings;
        settings.hardwareAddress = question_.hardwareAddress;
        settings.hlen = static_cast<std::uint8_t>(question_.hardwareAddress.size());
        settings.htype = question_.hardwareType;
        settings.messageType = messageType;
        std::string error;
        const auto request = BuildRequest(settings, error);
        if (!request) throw std::runtime_error(error);
        std::vector<BYTE> block(std::max<std::size_t>(record_.Daemonblksize, request->size()));
        std::ranges::copy(*request, block.begin());
        const auto length = static_cast<std::size_t>(RaisePacketLength(
            static_cast<LONG>(request->size()), record_.MinResponseSize, record_.Daemonblksize));
        return LookUp(block, length);
    }

    TrialReply LookUp(std::vector<BYTE>& block, std::size_t length) {
        auto* packet = reinterpret_cast<BootPacket*>(block.data());
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
        char media[100] = {};
        DWORD total = 0;
        TrialReply reply;
        reply.status = FindClient(record_.TerminateStrings, database_.Heap(), lines_.Path().c_str(), &total,
                                  const_cast<ClientEntry*>(database_.FirstEntry()), database_.Catalogue(),
                                  packet, block.data() + length, IpAddress{}, mutex, 0, media);
        CloseHandle(mutex);
        if (reply.status <= FindListedBootp) reply.flags = packet->op;
        reply.message = DecodeMessage({block.data(), length});
        return reply;
    }

    std::string Place(int status) const {
        if (section_ == nullptr)
            return Row("section",
                       "none in " + lines_.Path() + ": copy the address there as a section's name");
        std::string text = Row("section", lines_.Path() + ":" + std::to_string(section_->line));
        if (const CheckedSection* shared = Template())
            text += Row("template", std::string(shared->name) + ", line " + std::to_string(shared->line));
        const bool isListed = status == FindListedBootp || status == FindListedDhcp;
        return text + Row("cache", isListed ? "its reply is built at the load"
                                            : "not in it; read from the file at each request");
    }

    const CheckedSection* Template() const {
        const CheckedKey* key = section_ == nullptr ? nullptr : section_->Find(TemplateKey);
        return key == nullptr ? nullptr : lines_.Find(TemplatePrefix + std::string(key->value));
    }

    void NoteOrigins(const CheckedSection& section, const char* kind, Origins* origins) const {
        for (const CheckedKey& key : section.keys) {
            const OptionDefinition* row = rows_.RowOf(key.name);
            if (row != nullptr && row->tag >= 0)
                (*origins)[static_cast<std::uint8_t>(row->tag)] =
                    std::string(key.name) + ", " + kind + ", line " + std::to_string(key.line);
        }
    }

    Origins OriginsOfOptions() const {
        Origins origins;
        if (const CheckedSection* shared = Template()) NoteOrigins(*shared, "template", &origins);
        if (section_ != nullptr) NoteOrigins(*section_, "client", &origins);
        return origins;
    }

    std::string Reply(const char* kind, const TrialReply& reply) const {
        std::string text = std::string("Reply to ") + kind + "\n";
        if (reply.status > FindListedBootp) return text + Row("none", WhyNone(reply.status));
        const BootPacket& header = reply.message.header;
        if (header.yiaddr == IpAddress{})
            return text + Row("none", "No address defined. Reply skipped: add a key with tag -2");
        text += Row("address", AddressText(header.yiaddr));
        text += Row("boot file", FieldText(header.file, sizeof header.file));
        const Origins origins = OriginsOfOptions();
        for (const DecodedOption& option : reply.message.options) {
            const auto origin = origins.find(option.code);
            std::string values;
            for (const std::string& value : option.values)
                values += (values.empty() ? "" : ", ") + value;
            if (option.code == TagServerIdentifier) values = "the address that the request reaches";
            if (!option.remark.empty()) values += " (" + option.remark + ")";
            text += Row("option " + std::to_string(option.code),
                        values + "   [" + (origin == origins.end() ? "the service" : origin->second) + "]");
        }
        if (reply.message.end == ListEnd::Missing || reply.message.end == ListEnd::CutShort)
            text += Row("cut", "the options don't fit " + std::to_string(reply.message.length) +
                                   " octets: set MinResponseSize");
        return text;
    }

    std::string WhyNone(int status) const {
        switch (status) {
            case FindUnknownClient:
                return section_ == nullptr
                           ? "Hardware address not found in database."
                           : "Hardware address not found in database: the section has no keys";
            case FindOtherHardwareType:
                return "Hardware type mismatch: the section is for another one; see the key with tag -4";
            case FindRefused:
                return "Packet dropped: the request is too short for the reply; set MinResponseSize";
            case FindMalformed:
                return "Error in client's database configuration: see the findings";
            default:
                return "Undefined error";
        }
    }

    static std::string RouteText(Route route, const std::string& relay) {
        switch (route) {
            case Route::Relay:
                return "to the relay agent " + relay + ", port 67";
            case Route::Broadcast:
                return "to 255.255.255.255";
            default:
                return "to its own address, which is entered as a neighbour before";
        }
    }

    // As delivery chooses, for a client that asks for a broadcast and one that doesn't.
    std::string Way(std::uint8_t flags) const {
        std::string text = "Way of the reply\n";
        const std::string relay = question_.relay ? AddressText(*question_.relay) : "";
        for (const bool wanted : {false, true}) {
            bool broadcast = wanted || record_.ForceBroadcast != 0;
            std::uint8_t now = flags;
            CancelBroadcast(record_.ForceBroadcast != 0, &now, &broadcast);
            const Route route = ChooseRoute(question_.relay.has_value(), broadcast, now);
            text += Row(wanted ? "flag set" : "flag clear", RouteText(route, relay));
        }
        return text + Row("", record_.ForceBroadcast != 0 ? "ForceBroadcast is set"
                                                          : "the flag is the client's wish for a broadcast");
    }

    bool Concerns(const Finding& finding, const CheckedSection* section) const {
        if (section == nullptr || finding.file != lines_.Path()) return false;
        const int last = section->keys.empty() ? section->line : section->keys.back().line;
        return finding.line >= section->line && finding.line <= last;
    }

    std::string FindingsAbout(const Findings& findings) const {
        std::string text;
        for (const Finding& finding : findings.All())
            if (finding.refuses || Concerns(finding, section_) || Concerns(finding, Template()))
                text += "  " + FindingLine(finding);
        return text.empty() ? text : "Findings\n" + text;
    }

    const ExplainQuestion& question_;
    const ServerParameters& record_;
    const BootptabLines& lines_;
    Findings ignored_;
    const LoadedDatabase database_;
    const SectionCheck rows_;
    std::string name_;
    const CheckedSection* section_ = nullptr;
};

}  // namespace

ExplainedClient ExplainClient(const ExplainQuestion& question) {
    const CheckOutcome outcome = CheckDatabase(std::nullopt);
    if (!outcome.isRead) throw std::runtime_error(outcome.file + ": " + outcome.error);
    std::string error;
    const auto lines = BootptabLines::Read(outcome.file, error);
    if (!lines) throw std::runtime_error(outcome.file + ": " + error);
    ServerParameters record = SettingsOrInstalled();
    if (!IsHeapPossible(record.CacheSize)) record.CacheSize = 0;
    return Explainer(question, record, *lines).Run(outcome.findings);
}

}  // namespace quillonctl
