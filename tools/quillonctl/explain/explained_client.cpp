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
#include "quillonctl/explain/last_seen.h"
#include "quillonctl/explain/listening_side.h"
#include "quillonctl/explain/status_advice.h"
#include "quillonctl/message_decoder.h"
#include "quillonctl/request_builder.h"
#include "request/address_list.h"
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
    std::string log;  // the find status, or the reply status if that keeps a reply back
    bool isListed = false;
    bool hasReply = false;
    DecodedMessage message;
    std::uint8_t flags = 0;  // of the entry
};

// As the service's log has it.
const char* FindStatusText(int status) {
    switch (status) {
        case FindTransientDhcp:
        case FindTransientBootp:
            return "Found in database file";
        case FindListedDhcp:
        case FindListedBootp:
            return "Found in cache";
        case FindUnknownClient:
            return "Hardware address not found in database.";
        case FindOtherHardwareType:
            return "Hardware type mismatch. Check the event log.";
        case FindRefused:
            return "Packet dropped";
        case FindMalformed:
            return "Error in client's database configuration. Check the event log.";
        default:
            return "Undefined error. Check the event log.";
    }
}

class Explainer {
  public:
    Explainer(const ExplainQuestion& question, const ServerParameters& record, const BootptabLines& lines)
        : question_(question),
          record_(record),
          lines_(lines),
          database_(lines.Path(), record),
          rows_(lines, database_.Catalogue(), &ignored_),
          side_(record, question.interface) {
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
        explained.text = "Client " + name_ + "\n" + Place(bootp.isListed);
        explained.getsReply = bootp.hasReply && dhcp.hasReply;
        explained.text += Reply("BOOTP", bootp) + Reply("DHCP DISCOVER", dhcp);
        if (bootp.hasReply) explained.text += Way(bootp.flags);
        explained.text += Seen() + FindingsAbout(findings) + Advice();
        return explained;
    }

  private:
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
        const int status =
            FindClient(record_.TerminateStrings, database_.Heap(), lines_.Path().c_str(), &total,
                       const_cast<ClientEntry*>(database_.FirstEntry()), database_.Catalogue(), packet,
                       block.data() + length, side_.Heard().value_or(IpAddress{}), mutex, 0, media);
        CloseHandle(mutex);
        reply.isListed = status == FindListedDhcp || status == FindListedBootp;
        reply.hasReply = status <= FindListedBootp;
        reply.log = FindStatusText(status);
        if (reply.hasReply) reply.flags = packet->op;
        reply.message = DecodeMessage({block.data(), length});
        HoldBack(*packet, static_cast<LONG>(length), &reply);
        Note(reply.log);
        return reply;
    }

    // What keeps the reply to a client that was found, or that wasn't even looked for.
    void HoldBack(const BootPacket& packet, LONG length, TrialReply* reply) {
        std::string reason;
        const bool isRelayRefused = question_.relay && record_.RelayAgents[0] != '\0' &&
                                    !IsListed(record_.RelayAgents, *question_.relay);
        const auto better = reply->hasReply ? side_.BetterFor(&packet, length) : std::nullopt;
        if (isRelayRefused)
            reason = "Relay agent not listed";
        else if (reply->hasReply && packet.yiaddr == IpAddress{})
            reason = "No address defined. Reply skipped.";
        else if (better)
            reason = "Local interface " + AddressText(*better) +
                     " is more suitable for this query. Skipping reply.";
        if (reason.empty()) return;
        if (reply->hasReply && !isRelayRefused) Note(reply->log);
        reply->hasReply = false;
        reply->log = reason;
    }

    // What the log would say, once, in the order in which it comes up.
    void Note(const std::string& log) {
        if (std::ranges::find(said_, log) == said_.end()) said_.push_back(log);
    }

    std::string Place(bool isListed) const {
        if (section_ == nullptr)
            return Row("section",
                       "none in " + lines_.Path() + ": copy the address there as a section's name");
        std::string text = Row("section", lines_.Path() + ":" + std::to_string(section_->line));
        if (const CheckedSection* shared = Template())
            text += Row("template", std::string(shared->name) + ", line " + std::to_string(shared->line));
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
        if (!reply.hasReply) return text + Row("none", reply.log);
        const BootPacket& header = reply.message.header;
        text += Row("address", AddressText(header.yiaddr));
        text += Row("boot file", FieldText(header.file, sizeof header.file));
        const Origins origins = OriginsOfOptions();
        for (const DecodedOption& option : reply.message.options) {
            const auto origin = origins.find(option.code);
            std::string values;
            for (const std::string& value : option.values)
                values += (values.empty() ? "" : ", ") + value;
            if (option.code == TagServerIdentifier && !side_.Heard())
                values = "the address that the request reaches";
            if (!option.remark.empty()) values += " (" + option.remark + ")";
            text += Row("option " + std::to_string(option.code),
                        values + "   [" + (origin == origins.end() ? "the service" : origin->second) + "]");
        }
        if (reply.message.end == ListEnd::Missing || reply.message.end == ListEnd::CutShort)
            text += Row("cut", "the options don't fit " + std::to_string(reply.message.length) +
                                   " octets: set MinResponseSize");
        return text;
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
    std::string Way(std::uint8_t flags) {
        std::string text = "Way of the reply\n";
        const std::string relay = question_.relay ? AddressText(*question_.relay) : "";
        for (const bool wanted : {false, true}) {
            bool broadcast = wanted || record_.ForceBroadcast != 0;
            std::uint8_t now = flags;
            CancelBroadcast(record_.ForceBroadcast != 0, &now, &broadcast);
            const Route route = ChooseRoute(question_.relay.has_value(), broadcast, now);
            text += Row(wanted ? "flag set" : "flag clear", RouteText(route, relay));
            Note(ReplyStatusText({.broadcast = broadcast, .firstSent = true}));
        }
        return text + Row("", record_.ForceBroadcast != 0 ? "ForceBroadcast is set"
                                                          : "the flag is the client's wish for a broadcast");
    }

    std::string Seen() const {
        std::string text = "Seen by the service\n";
        for (const auto& [about, what] : LastSeen(name_))
            text += Row(about, what);
        return text;
    }

    // What the guide says of each status that the log would show.
    std::string Advice() const {
        std::string text = "What the log says of it, and what to do\n";
        for (const std::string& log : said_) {
            text += "  " + log + "\n";
            const StatusAdvice* row = AdviceOn(log);
            if (row != nullptr) text += Row("", row->meaning) + Row("", row->advice);
        }
        return text;
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
    const ListeningSide side_;
    std::vector<std::string> said_;
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
