// Whether a text is one JSON document, by the grammar of RFC 8259, without blanks.
#pragma once

#include <regex>
#include <string>

struct JsonSyntax {
    // Takes values out from the inside outwards, until one is left.
    static bool IsValid(const std::string& text) {
        static const std::regex string(R"re("(?:[ !#-\[\]-~]|\\["\\/bfnrt]|\\u[0-9a-fA-F]{4})*")re");
        static const std::regex atom("true|false|-?(?:0|[1-9][0-9]*)");
        static const std::regex list(
            R"re(\[(?:(?:0|"")(?:,(?:0|""))*)?\]|\{(?:"":(?:0|"")(?:,"":(?:0|""))*)?\})re");
        std::string left = std::regex_replace(std::regex_replace(text, string, "\"\""), atom, "0");
        for (std::string before; left != before; left = std::regex_replace(left, list, "0"))
            before = left;
        return left == "0" || left == "0\n" || left == "\"\"";
    }
};
