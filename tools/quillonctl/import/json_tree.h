// A JSON document as a tree that knows its lines, in the dialect of configuration files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillonctl {

enum class JsonKind : std::uint8_t { Null, Flag, Number, Text, Array, Object };

struct JsonMember;

struct JsonNode {
    JsonKind kind = JsonKind::Null;
    int line = 0;
    std::string text;  // of a text; a number or a flag as it is written
    std::vector<JsonNode> items;
    std::vector<JsonMember> members;

    bool IsTrue() const { return kind == JsonKind::Flag && text == "true"; }
    // Null if this is no object or has no such member; the last one of several.
    const JsonNode* Find(std::string_view name) const;
    // The text or number of a member; empty if there is none.
    std::string TextOf(std::string_view name) const;
    // The items of a member that is an array; none otherwise.
    const std::vector<JsonNode>& ItemsOf(std::string_view name) const;
};

struct JsonMember {
    std::string name;
    JsonNode node;
};

struct JsonFault {
    int line = 0;
    std::string text;
};

// Comments begin with //, # or /*, and a comma may stand after the last member. Nothing if the text is no
// JSON or nests too deeply, with the reason in `fault`.
std::optional<JsonNode> ParseJson(std::string_view text, JsonFault& fault);

}  // namespace quillonctl
