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
    explicit JsonSyntax(std::string_view text) : _text(text) {}

    bool AtEnd() {
        while (Take('\n')) {
        }
        return _text.empty();
    }
    bool Take(char expected) {
        if (_text.empty() || _text.front() != expected) return false;
        _text.remove_prefix(1);
        return true;
    }
    bool Word(std::string_view word) {
        if (!_text.starts_with(word)) return false;
        _text.remove_prefix(word.size());
        return true;
    }
    bool Value() {
        if (_text.empty()) return false;
        switch (_text.front()) {
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
        while (!_text.empty() && _text.front() != '"') {
            if (static_cast<unsigned char>(_text.front()) - 0x20u >= 0x5Fu) return false;
            if (Take('\\')) {
                if (_text.empty()) return false;
                if (_text.front() == 'u') {
                    for (std::size_t digit = 1; digit <= 4; ++digit)
                        if (digit >= _text.size() || !std::isxdigit(static_cast<unsigned char>(_text[digit])))
                            return false;
                    _text.remove_prefix(4);
                } else if (std::strchr("\"\\/bfnrt", _text.front()) == nullptr) {
                    return false;
                }
            }
            _text.remove_prefix(1);
        }
        return Take('"');
    }
    bool Number() {
        Take('-');
        std::size_t digits = 0;
        while (digits < _text.size() && std::isdigit(static_cast<unsigned char>(_text[digits])))
            ++digits;
        if (digits == 0 || (digits > 1 && _text.front() == '0')) return false;
        _text.remove_prefix(digits);
        return true;
    }

    std::string_view _text;
};
