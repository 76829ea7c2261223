#include "quillonctl/check/value_check.h"

#include <cctype>
#include <cstring>

#include "database/load/option_encoding.h"
#include "database/load/pseudo_tags.h"
#include "database/load/value_reading.h"

namespace quillonctl {
namespace {

constexpr char NoAddress[] = "255.255.255.255";
constexpr std::size_t LargestBody = 255;

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string Dotted(IpAddress address) {
    char text[AddressTextSize];
    FormatAddress(address, text);
    return text;
}

bool HasBlankAtEnd(std::string_view text) {
    return !text.empty() && (std::isspace(static_cast<unsigned char>(text.front())) != 0 ||
                             std::isspace(static_cast<unsigned char>(text.back())) != 0);
}

class ValueCheck {
  public:
    explicit ValueCheck(const OptionDefinition& row) : row_(row) {}

    std::vector<ValueFault> Run(std::string_view value) {
        if (row_.tag < 0)
            CheckPseudoTag(value);
        else
            CheckOption(value);
        return std::move(faults_);
    }

  private:
    void Error(std::string text) { faults_.push_back({Severity::Error, std::move(text)}); }
    void Warn(std::string text) { faults_.push_back({Severity::Warning, std::move(text)}); }

    void CheckPseudoTag(std::string_view value) {
        switch (row_.tag) {
            case AddressTag:
            case CookieTag:
                return CheckAddress(value);
            case HardwareLengthTag:
            case HardwareTypeTag:
                return CheckNumber(value, 255);
            case FileAliasTag:
            case AlwaysBroadcastTag:
            case NoBroadcastTag:
            case IgnoreClientVendorTag:
                return CheckNumber(value, 1);
            case BootFileTag:
                if (value.size() > 127)
                    Error("the boot file has " + std::to_string(value.size()) + " characters, 127 fit");
                return;
            default:
                return;
        }
    }

    void CheckOption(std::string_view value) {
        if (value.size() > LongestOptionValue)
            return Error("the value has " + std::to_string(value.size()) + " characters, " +
                         std::to_string(LongestOptionValue) + " are the most");
        if (row_.type == OptionType::HardwareAddress) return Error("an option of type haddr can't be sent");
        if (row_.type == OptionType::String) {
            if (value.size() > LargestBody)
                Error("the text has " + std::to_string(value.size()) +
                      " characters, an option has room for 255");
            return;
        }
        CheckItems(value);
    }

    // As the service takes a list apart: an empty item ends it.
    void CheckItems(std::string_view value) {
        std::size_t count = 0;
        std::string_view rest = value;
        while (!rest.empty()) {
            const std::string_view item = rest.substr(0, rest.find(','));
            if (item.empty()) return Warn("what stands after the empty item is dropped: " + Quoted(rest));
            CheckItem(item);
            ++count;
            rest.remove_prefix(std::min(rest.size(), item.size() + 1));
        }
        if (count == 0) Warn("the value is empty: the option goes out with length 0");
        if (count * Width() > LargestBody)
            Error(std::to_string(count) + " items don't fit an option, " +
                  std::to_string(LargestBody / Width()) + " do");
    }

    std::size_t Width() const {
        switch (row_.type) {
            case OptionType::IpAddress:
            case OptionType::IpAddressArray:
            case OptionType::Int:
            case OptionType::Time:
                return 4;
            case OptionType::Word:
                return 2;
            default:
                return 1;
        }
    }

    void CheckItem(std::string_view item) {
        switch (row_.type) {
            case OptionType::IpAddress:
            case OptionType::IpAddressArray:
                return CheckAddress(item);
            case OptionType::Time:
                if (!ReadTime(std::string(item).c_str()))
                    Error("the time " + Quoted(item) +
                          " has no two colons; write hours:minutes:seconds or Infinite");
                return;
            case OptionType::Bool:
                return CheckNumber(item, 1);
            case OptionType::Word:
                return CheckNumber(item, 0xFFFF);
            case OptionType::Int:
                return CheckNumber(item, 0xFFFFFFFF);
            default:
                return CheckNumber(item, 255);
        }
    }

    void CheckAddress(std::string_view text) {
        const std::string address = Dotted(ReadAddress(std::string(text).c_str()));
        if (address == text) return;
        if (address == NoAddress)
            Error((HasBlankAtEnd(text) ? "a blank makes " + Quoted(text) + " no address"
                                       : Quoted(text) + " is no address") +
                  ": it would go out as " + NoAddress);
        else
            Warn(Quoted(text) + " is read as " + address);
    }

    void CheckNumber(std::string_view text, std::int64_t most) {
        const auto number = ReadDecimal(std::string(text).c_str());
        if (!number) return Error("the number " + Quoted(text) + " is beyond 32 bits");
        const bool isNegative = *number < 0;
        const std::size_t begin = text.find_first_not_of(" \t");
        const std::string_view digits = begin == text.npos ? "" : text.substr(begin + (isNegative ? 1 : 0));
        if (digits.empty() || digits.find_first_not_of("+0123456789") != digits.npos)
            Warn(Quoted(text) + " is read as the number " + std::to_string(*number));
        else if (most == 1 && *number != 0 && *number != 1)
            Warn(Quoted(text) + " counts as on; write 0 or 1");
        else if (*number > most || (isNegative && most != 0xFFFFFFFF))
            Warn(Quoted(text) + " doesn't fit: only its low " + (most == 255 ? "8" : "16") + " bits go out");
    }

    const OptionDefinition& row_;
    std::vector<ValueFault> faults_;
};

}  // namespace

std::vector<ValueFault> CheckValue(const OptionDefinition& row, std::string_view value) {
    return ValueCheck(row).Run(value);
}

}  // namespace quillonctl
