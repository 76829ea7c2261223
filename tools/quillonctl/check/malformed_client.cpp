#include "quillonctl/check/malformed_client.h"

#include <cstring>

#include "database/client_entry.h"
#include "database/load/option_encoding.h"

namespace quillonctl {
namespace {

// An image of its own with room for the largest packet.
class TrialImage {
  public:
    TrialImage() : block_(LargestEntryImage), cursor_(Options(Packet())) {}

    EncodeOutcome Add(const OptionDefinition* row, std::string_view value, DWORD terminateStrings) {
        char text[OptionValueSize] = {};
        std::memcpy(text, value.data(), std::min<std::size_t>(value.size(), LongestOptionValue + 1));
        const EncodedOption encoded = EncodeDefinedOption(terminateStrings, row, Packet(), cursor_,
                                                          block_.data() + block_.size(), text);
        if (encoded.outcome == EncodeOutcome::Done) cursor_ = encoded.cursor;
        return encoded.outcome;
    }

  private:
    BootPacket* Packet() { return reinterpret_cast<BootPacket*>(block_.data()); }

    std::vector<BYTE> block_;
    BYTE* cursor_;
};

struct Trial {
    const SectionCheck& rows;
    DWORD terminateStrings;
    TrialImage image;

    // The reason, or an empty text.
    std::string Encode(const CheckedSection& section, const CheckedSection* overriding) {
        for (const CheckedKey& key : section.keys) {
            if (overriding != nullptr && overriding->Find(key.name) != nullptr) continue;
            const EncodeOutcome outcome =
                image.Add(rows.RowOf(key.name), section.Find(key.name)->value, terminateStrings);
            if (outcome == EncodeOutcome::NoRoom) return "its options outgrow the largest packet";
            if (outcome == EncodeOutcome::Malformed)
                return "'" + std::string(key.name) + "' in line " + std::to_string(key.line) +
                       " can't be used";
        }
        return {};
    }
};

}  // namespace

std::string WhyMalformed(const BootptabLines& file, const SectionCheck& rows, const ServerParameters& record,
                         const CheckedSection& section) {
    std::string name(section.name);
    BYTE address[HardwareAddressSize] = {};
    char text[HardwareTextSize] = {};
    ConvertHardwareAddress(address, text, ConvertHardwareAddress(address, name.data(), -1));
    if (FoldedName(text) != FoldedName(name))
        return "'" + name + "' is read as the hardware address '" + text +
               "'; write two hexadecimal digits for each byte, with hyphens";
    if (section.keys.empty()) return "the section has no keys";
    Trial trial = {rows, record.TerminateStrings, {}};
    const CheckedKey* templateName = section.Find(TemplateKey);
    const CheckedSection* shared =
        templateName != nullptr ? file.Find(TemplatePrefix + std::string(templateName->value)) : nullptr;
    std::string reason = shared != nullptr ? trial.Encode(*shared, &section) : "";
    if (reason.empty()) reason = trial.Encode(section, nullptr);
    return reason.empty() ? "the alias of its boot file is too long" : reason;
}

}  // namespace quillonctl
