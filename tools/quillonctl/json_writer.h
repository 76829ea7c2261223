// Writes one JSON document into a string. Any bytes make a valid document.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillonctl {

class JsonWriter {
  public:
    JsonWriter& BeginObject() { return Open('{', '}'); }
    JsonWriter& BeginArray() { return Open('[', ']'); }
    JsonWriter& End();

    // Inside an object, before each value.
    JsonWriter& Key(std::string_view name);

    // A byte that isn't printable ASCII is written as the code point of the same number, so that a reader
    // gets every byte back whatever its encoding was.
    JsonWriter& String(std::string_view bytes);
    JsonWriter& Number(std::int64_t value);
    JsonWriter& Boolean(bool value);

    const std::string& Text() const { return text_; }

  private:
    JsonWriter& Open(char opening, char closing);
    void Separate();
    void Quote(std::string_view bytes);

    std::string text_;
    std::vector<char> closings_;
    bool needsComma_ = false;
};

}  // namespace quillonctl
