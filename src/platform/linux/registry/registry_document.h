// The registry's content: keys and values, with the lines of the file they came from. Within the layer only.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/faces/types.h"

struct RegistryValue {
    std::string name;  // empty for the default value of a key
    DWORD type;
    std::string data;  // the bytes that a query gives; of a text with its NUL
};

// A line of the file as it stands there, byte by byte, with its line end, which only the last line may lack.
// A value that goes on over several lines is one of these, an empty line at its end included.
struct RegistryLine {
    std::string text;
    std::optional<RegistryValue> value;  // nothing for headings, comments and empty lines
};

// A heading and the lines below it.
struct RegistrySection {
    std::string path;  // below HKEY_LOCAL_MACHINE, components separated by a backslash; empty for itself
    std::vector<RegistryLine> lines;
};

// Keys and names compare without case. A key exists if a heading names it or one below it. Where a key or a
// value stands twice the later one holds, as when such a file is imported.
class RegistryDocument {
  public:
    // An empty registry, with the first line of its file.
    RegistryDocument();

    bool HasKey(std::string_view path) const;
    bool HasSubkeys(std::string_view path) const;
    const RegistryValue* FindValue(std::string_view path, std::string_view name) const;

    // These leave all other lines as they are. They return whether anything has changed.
    bool CreateKey(std::string_view path);
    bool SetValue(std::string_view path, RegistryValue value);
    bool RemoveValue(std::string_view path, std::string_view name);
    bool RemoveKey(std::string_view path);

    std::vector<RegistryLine> head;  // what stands above the first heading
    std::vector<RegistrySection> sections;
    bool endsLinesWithReturn = false;

    // What ends a line that an edit makes.
    std::string_view LineEnd() const { return endsLinesWithReturn ? "\r\n" : "\n"; }

  private:
    RegistrySection* FindSection(std::string_view path);
    RegistrySection& AddSection(std::string_view path);
    std::string Ended(std::string text) const { return text.append(LineEnd()); }
};
