// Reads a message file in the form of the Windows message compiler.
//
// Taken is the part of that form that the service's table uses: lists of severities and facilities, and
// messages with a number, a severity, a facility, a symbolic name, one language and a text. Anything else is
// an error.
#pragma once

#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

struct MessageDefinition {
    std::uint32_t number;      // the whole identifier: severity in the top two bits, facility, code
    std::string symbolicName;  // the name of its constant
    std::string text;          // each line ends in a carriage return and a line feed
};

class MessageFileError : public std::runtime_error {
  public:
    MessageFileError(std::size_t line, const std::string& what)
        : std::runtime_error(std::to_string(line) + ": " + what) {}
};

// The messages in file order. Throws MessageFileError, which names the line.
std::vector<MessageDefinition> ReadMessageFile(std::istream& input);
