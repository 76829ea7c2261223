#include "class_a/standard/CMessageStore.h"

#include <string_view>

#include "class_a/standard/CStringMap.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr char kOriginal[] = "en_US";
constexpr char kId[] = "id";
constexpr char kDescription[] = "description";
constexpr char kAllLocales[] = "*";

}  // namespace

std::string CMessageRecord::text(const std::string& locale) const {
    auto found = _texts.find(locale);
    if (found == _texts.end()) found = _texts.find(kOriginal);
    return found == _texts.end() ? std::string() : found->second;
}

CMessageStore::CMessageStore() = default;

CMessageStore::~CMessageStore() = default;

void CMessageStore::setLocales(std::string list) {
    std::string_view rest = list;
    std::string locale;
    for (bool first = true; next_token(rest, ',', locale, 0); first = false) {
        trim_right_any(locale, " \t");
        trim_left_any(locale, " \t");
        _locales.insert(locale);
        if (first) _defaultLocale = locale;
    }
}

void CMessageStore::translate(CMessage& message, const std::string& locale) const {
    const auto found = _messages.find(message.format());
    if (found == _messages.end()) {
        message.id(-1);
        return;
    }
    message.id(found->second.id());
    const std::string text = found->second.text(locale);
    if (!text.empty()) message.format(text);
}

void CMessageStore::translate(std::string& format, const std::string& locale) const {
    const auto found = _messages.find(format);
    if (found == _messages.end()) return;
    const std::string text = found->second.text(locale);
    if (!text.empty()) format = text;
}

void CMessageStore::_processRecord(const std::string& record, unsigned long line) {
    CStringMap entries(record, "\n", 0, false);
    CMessageRecord message;
    message.id(static_cast<int>(entries.getLong(kId, -1)));
    entries.erase(kId);
    entries.erase(kDescription);
    if (!entries.has(kOriginal))
        throw_exception(KSL_SITE("CMessageStore::_processRecord"),
                        CMessage("Invalid record at line %1 in message locale file.") << line,
                        CMessage("Missing key 'en_US'."));
    const bool all = _locales.count(kAllLocales) != 0;
    for (const auto& [locale, text] : entries) {
        if (all || _locales.count(locale) != 0) message.add(locale, text);
    }
    _messages[entries.get(kOriginal)] = message;
}

}  // namespace ksl
