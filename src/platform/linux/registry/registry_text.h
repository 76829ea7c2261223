// The text form of the registry, that of a .reg file of version 5. Within the layer only.
//
//   Windows Registry Editor Version 5.00
//   ; a comment
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Example]
//   @="the default value"
//   "Number"=dword:000003e8
//   "Path"=str(2):".\\bootptab"
//   "Bytes"=hex:01,02,03
//
// A list of bytes goes on in the next line after a backslash. Texts are bytes, with quote and backslash
// escaped by a backslash; hex(1) and hex(2) give them in UTF-16, least significant byte first. hex and hex(N)
// give the bytes of any other type.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/linux/registry/registry_document.h"

inline constexpr std::string_view RegistryFirstLine = "Windows Registry Editor Version 5.00";

// A line that can't be read.
class RegistryTextError : public std::runtime_error {
  public:
    RegistryTextError(std::size_t line, const std::string& what) : std::runtime_error(what), line_(line) {}
    std::size_t Line() const { return line_; }

  private:
    std::size_t line_;
};

// Throws RegistryTextError for the first line that isn't in the form, and for one that is cut at the end of
// the text.
RegistryDocument ParseRegistry(std::string_view text);
std::string FormatRegistry(const RegistryDocument& document);

std::string RegistryHeading(std::string_view path);
// Throws std::invalid_argument for a text that has control characters in it and isn't UTF-8.
std::string RegistryValueText(const RegistryValue& value);
