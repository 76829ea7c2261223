// Whether a text is one JSON document, by the grammar of RFC 8259.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

class JsonSyntax {
  public:
    static bool IsValid(std::string_view text) {
        JsonSyntax syntax(text.substr(0, text.find_last_not_of('\n') + 1));
        return syntax.Value() && syntax.text_.empty();
    }

  private:
    explicit JsonSyntax(std::string_view text) : text_(text) {}

    bool Take(std::string_view expected) {
        if (!text_.starts_with(expected)) return false;
        text_.remove_prefix(expected.size());
        return true;
    }
    bool Value() {
        if (text_.starts_with('{')) return List("{", "}", true);
        if (text_.starts_with('[')) return List("[", "]", false);
        if (text_.starts_with('"')) return String();
        return Take("true") || Take("false") || Number();
    }
    bool List(std::string_view opening, std::string_view closing, bool named) {
        if (!Take(opening)) return false;
        if (Take(closing)) return true;
        do {
            if (named && !(String() && Take(":"))) return false;
            if (!Value()) return false;
        } while (Take(","));
        return Take(closing);
    }
    bool String() {
        if (!Take("\"")) return false;
        while (!text_.empty() && text_.front() != '"') {
            if (static_cast<unsigned char>(text_.front()) - 0x20u >= 0x5Fu) return false;
            std::size_t size = 1;
            if (text_.front() == '\\') {
                size = text_.starts_with("\\u") ? 6 : 2;
                if (text_.size() < size || std::strchr("\"\\/bfnrtu", text_[1]) == nullptr) return false;
                for (std::size_t digit = 2; digit < size; ++digit)
                    if (std::isxdigit(static_cast<unsigned char>(text_[digit])) == 0) return false;
            }
            text_.remove_prefix(size);
        }
        return Take("\"");
    }
    bool Number() {
        Take("-");
        const std::size_t digits = std::min(text_.find_first_not_of("0123456789"), text_.size());
        if (digits == 0 || (digits > 1 && text_.front() == '0')) return false;
        text_.remove_prefix(digits);
        return true;
    }

    std::string_view text_;
};
