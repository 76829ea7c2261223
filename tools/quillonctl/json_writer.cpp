#include "quillonctl/json_writer.h"

#include <cstdio>

namespace quillonctl {

JsonWriter& JsonWriter::Open(char opening, char closing) {
    Separate();
    _text += opening;
    _closings.push_back(closing);
    _needsComma = false;
    return *this;
}

JsonWriter& JsonWriter::End() {
    _text += _closings.back();
    _closings.pop_back();
    _needsComma = true;
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Separate();
    Quote(name);
    _text += ':';
    _needsComma = false;
    return *this;
}

JsonWriter& JsonWriter::String(std::string_view bytes) {
    Separate();
    Quote(bytes);
    _needsComma = true;
    return *this;
}

JsonWriter& JsonWriter::Number(std::int64_t value) {
    Separate();
    _text += std::to_string(value);
    _needsComma = true;
    return *this;
}

JsonWriter& JsonWriter::Boolean(bool value) {
    Separate();
    _text += value ? "true" : "false";
    _needsComma = true;
    return *this;
}

void JsonWriter::Separate() {
    if (_needsComma) _text += ',';
    _needsComma = false;
}

void JsonWriter::Quote(std::string_view bytes) {
    _text += '"';
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            _text += '\\';
            _text += character;
        } else if (byte < 0x20 || byte >= 0x7F) {
            char escape[7];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            _text += escape;
        } else {
            _text += character;
        }
    }
    _text += '"';
}

}  // namespace quillonctl
