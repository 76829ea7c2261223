// Turns a message file into the header of its numbers and the table of its texts.
//
// usage: message_compiler MESSAGES.mc HEADER.h TABLE.cpp
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "diagnostics/message_compiler/message_file.h"

namespace {

std::string Hexadecimal(std::uint32_t number) {
    char text[11];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(number));
    return text;
}

std::string Literal(const std::string& text) {
    std::string literal = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r') {
            literal += "\\r";
        } else if (c == '\n') {
            literal += "\\n";
        } else if (c == '"' || c == '\\') {
            literal += std::string("\\") + c;
        } else if (byte < 0x20 || byte > 0x7E) {
            char octal[5];  // three octal digits end by themselves, a hexadecimal escape doesn't
            std::snprintf(octal, sizeof(octal), "\\%03o", static_cast<unsigned>(byte));
            literal += octal;
        } else {
            literal += c;
        }
    }
    return literal + '"';
}

void WriteFile(const char* path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) throw std::runtime_error(std::string(path) + ": cannot be written");
}

std::string Header(const std::vector<MessageDefinition>& messages) {
    std::string header =
        "// The numbers of all events. Made from the message file.\n#pragma once\n\n#include <cstdint>\n\n";
    for (const MessageDefinition& message : messages) {
        header += "inline constexpr std::uint32_t " + message.symbolicName + " = " +
                  Hexadecimal(message.number) + "u;\n";
    }
    return header;
}

std::string Table(const std::vector<MessageDefinition>& messages) {
    std::string table =
        "// The texts of all events. Made from the message file.\n"
        "#include \"platform/linux/events/message_table.h\"\n\nconst MessageTableRow MessageTable[] = {\n";
    for (const MessageDefinition& message : messages) {
        table += "    {" + Hexadecimal(message.number) + "u, " + Literal(message.text) + "},\n";
    }
    return table +
           "};\n\nconst std::size_t MessageTableSize = sizeof(MessageTable) / sizeof(MessageTable[0]);\n";
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 4) throw std::runtime_error("usage: message_compiler MESSAGES.mc HEADER.h TABLE.cpp");
    std::ifstream input(argv[1], std::ios::binary);
    if (!input) throw std::runtime_error(std::string(argv[1]) + ": cannot be read");
    try {
        const std::vector<MessageDefinition> messages = ReadMessageFile(input);
        if (messages.empty()) throw MessageFileError(1, "no messages in the file");
        WriteFile(argv[2], Header(messages));
        WriteFile(argv[3], Table(messages));
    } catch (const MessageFileError& error) {
        throw std::runtime_error(std::string(argv[1]) + ":" + error.what());
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
