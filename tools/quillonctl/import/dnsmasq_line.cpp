#include "quillonctl/import/dnsmasq_line.h"

#include <cctype>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

char Escaped(char letter) {
    static constexpr std::string_view Letters = "trnbe";
    static constexpr std::string_view Meanings = "\t\r\n\b\x1B";
    const std::size_t known = Letters.find(letter);
    return known != std::string_view::npos ? Meanings[known] : letter;
}

}  // namespace

DnsmasqLine SplitDnsmasqLine(std::string_view text, int number) {
    DnsmasqLine line{number, "", {}};
    ValueItem item;
    bool inQuotes = false;
    bool inValue = false;
    const auto finish = [&] {
        if (!item.isQuoted) item.text = std::string(Trimmed(item.text));
        if (inValue)
            line.items.push_back(std::move(item));
        else
            line.name = item.text;
        item = {};
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        const bool isComment =
            c == '#' && !inQuotes && (at == 0 || std::isspace(static_cast<unsigned char>(text[at - 1])));
        if (isComment) break;
        if (inQuotes && c == '\\' && at + 1 < text.size()) {
            item.text += Escaped(text[++at]);
        } else if (c == '"') {
            inQuotes = !inQuotes;
            if (inQuotes) item.text = std::string(Trimmed(item.text));
            item.isQuoted = true;
        } else if (!inQuotes && ((c == '=' && !inValue) || (c == ',' && inValue))) {
            finish();
            inValue = true;
        } else if (inQuotes || !item.isQuoted || std::isspace(static_cast<unsigned char>(c)) == 0) {
            item.text += c;
        }
    }
    finish();
    return line;
}

bool TakePrefix(std::string& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.erase(0, prefix.size());
    return true;
}

bool TakeTag(std::string& text, std::string_view word) {
    return TakePrefix(text, word) || TakePrefix(text, "net:");
}

std::vector<std::string> TakeConditions(DnsmasqLine& line) {
    std::vector<std::string> conditions;
    while (!line.items.empty() && !line.items[0].isQuoted && TakeTag(line.items[0].text, "tag:")) {
        conditions.push_back(line.items[0].text);
        line.items.erase(line.items.begin());
    }
    return conditions;
}

}  // namespace quillonctl
