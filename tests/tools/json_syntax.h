// Whether a text is one JSON document, by the grammar of RFC 8259.
#pragma once

#include <cctype>
#include <cstring>
#include <string_view>

class JsonSyntax {
  public:
    static bool IsValid(std::string_view text) {
        JsonSyntax syntax(text);
        return syntax.Value() && syntax.AtEnd();
    }

  private:
    explicit JsonSyntax(std::string_view text) : text_(text) {}

    bool AtEnd() {
        while (Take('\n')) {
        }
        return text_.empty();
    }
    bool Take(char expected) {
        if (text_.empty() || text_.front() != expected) return false;
        text_.remove_prefix(1);
        return true;
    }
    bool Word(std::string_view word) {
        if (!text_.starts_with(word)) return false;
        text_.remove_prefix(word.size());
        return true;
    }
    bool Value() {
        if (text_.empty()) return false;
        switch (text_.front()) {
            case '{':
                return List('{', '}', true);
            case '[':
                return List('[', ']', false);
            case '"':
                return String();
            default:
                return Word("true") || Word("false") || Number();
        }
    }
    bool List(char opening, char closing, bool named) {
        if (!Take(opening)) return false;
        if (Take(closing)) return true;
        do {
            if (named && !(String() && Take(':'))) return false;
            if (!Value()) return false;
        } while (Take(','));
        return Take(closing);
    }
    bool String() {
        if (!Take('"')) return false;
        while (!text_.empty() && text_.front() != '"') {
            if (static_cast<unsigned char>(text_.front()) - 0x20u >= 0x5Fu) return false;
            if (Take('\\')) {
                if (text_.empty()) return false;
                if (text_.front() == 'u') {
                    for (std::size_t digit = 1; digit <= 4; ++digit)
                        if (digit >= text_.size() || !std::isxdigit(static_cast<unsigned char>(text_[digit])))
                            return false;
                    text_.remove_prefix(4);
                } else if (std::strchr("\"\\/bfnrt", text_.front()) == nullptr) {
                    return false;
                }
            }
            text_.remove_prefix(1);
        }
        return Take('"');
    }
    bool Number() {
        Take('-');
        std::size_t digits = 0;
        while (digits < text_.size() && std::isdigit(static_cast<unsigned char>(text_[digits])))
            ++digits;
        if (digits == 0 || (digits > 1 && text_.front() == '0')) return false;
        text_.remove_prefix(digits);
        return true;
    }

    std::string_view text_;
};
