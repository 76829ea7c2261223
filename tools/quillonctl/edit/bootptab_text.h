// A bootptab as lines, to be changed in places while all else stays as it is: comments, order, blanks, line
// ends. It understands lines as the service does.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillonctl {

struct KeyLine {
    std::string name;
    std::string value;  // without quotes around it
    std::size_t line = 0;
};

struct SectionLines {
    std::string name;
    std::size_t heading = 0;  // its line, counted from 0
    std::size_t end = 0;      // the line after the last of the section
};

// One row of [Options].
struct OptionName {
    std::string name;
    int tag = 0;
    std::string type;  // as it is written, in lower case
    std::size_t line = 0;
    bool hasComma = true;
};

using KeyValue = std::pair<std::string, std::string>;

class BootptabText {
  public:
    explicit BootptabText(std::string_view text);

    std::string Text() const;

    // In the order of the file. They count until the next change.
    std::vector<SectionLines> Sections() const;
    // The first of that name, whatever its case.
    std::optional<SectionLines> Find(std::string_view section) const;
    // The rows of the first section Options.
    std::vector<OptionName> Options() const;
    std::vector<KeyLine> Keys(const SectionLines& section) const;

    // Gives the key a value. One that is there keeps its line and its spelling; a new one follows the last
    // key and is written like it.
    void Put(const SectionLines& section, const KeyValue& key);
    // False if there is no such key.
    bool Remove(const SectionLines& section, std::string_view key);

    // Behind the last client, or at the end.
    void AddClient(std::string_view name, const std::vector<KeyValue>& keys);
    // Comments above and below the section stay; it returns the line of one directly above, counted from 1.
    std::optional<std::size_t> RemoveSection(const SectionLines& section);

  private:
    struct Line {
        std::string text;
        std::string ending;
    };

    // How a line of a key is written: what stands around its name and its equals sign.
    struct KeyStyle {
        std::string indent;
        std::size_t column = 0;  // of the equals sign if all have it there, else 0
        bool hasBlankBefore = true;
        bool hasBlankBehind = true;
    };

    std::size_t Body(const SectionLines& section) const;
    KeyStyle StyleOf(const SectionLines& section) const;
    static std::string WriteKey(const KeyValue& key, const KeyStyle& style);
    void Insert(std::size_t at, const std::vector<std::string>& texts);

    std::vector<Line> lines_;
};

// Whether the section is that of a client: neither [Options] nor [File Aliases] nor a template, nor one
// without a name, which nobody reads.
bool IsClient(std::string_view section);

}  // namespace quillonctl
