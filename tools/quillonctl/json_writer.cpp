#include "quillonctl/json_writer.h"

#include <cstdio>

namespace quillonctl {

JsonWriter& JsonWriter::Open(char opening, char closing) {
    Separate();
    text_ += opening;
    closings_.push_back(closing);
    needsComma_ = false;
    return *this;
}

JsonWriter& JsonWriter::End() {
    text_ += closings_.back();
    closings_.pop_back();
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Separate();
    Quote(name);
    text_ += ':';
    needsComma_ = false;
    return *this;
}

JsonWriter& JsonWriter::String(std::string_view bytes) {
    Separate();
    Quote(bytes);
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::Number(std::int64_t value) {
    Separate();
    text_ += std::to_string(value);
    needsComma_ = true;
    return *this;
}

JsonWriter& JsonWriter::Boolean(bool value) {
    Separate();
    text_ += value ? "true" : "false";
    needsComma_ = true;
    return *this;
}

void JsonWriter::Separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = false;
}

void JsonWriter::Quote(std::string_view bytes) {
    text_ += '"';
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            text_ += '\\';
            text_ += character;
        } else if (byte < 0x20 || byte >= 0x7F) {
            char escape[7];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            text_ += escape;
        } else {
            text_ += character;
        }
    }
    text_ += '"';
}

}  // namespace quillonctl
