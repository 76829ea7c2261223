// bootptab as the service's own reader takes it apart, with the number of each line.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class ParsedIni;

namespace quillonctl {

struct CheckedKey {
    std::string_view name;
    std::string_view value;
    int line;
};

struct CheckedSection {
    std::string_view name;
    int line;
    std::vector<CheckedKey> keys;

    // The first key of that name, in whatever case; null if there is none.
    const CheckedKey* Find(std::string_view key) const;
};

class BootptabLines {
  public:
    // Nothing, with the reason in `error`, if the file can't be read.
    static std::optional<BootptabLines> Read(const std::string& path, std::string& error);

    const std::string& Path() const { return path_; }

    // All of them in file order, those as well whose name has been there before.
    const std::vector<CheckedSection>& Sections() const { return sections_; }

    // The first section of that name, in whatever case, which is the one that the service reads.
    const CheckedSection* Find(std::string_view name) const;

  private:
    void TakeApart(std::string_view text);

    std::string path_;
    std::shared_ptr<const ParsedIni> content_;  // has the text
    std::vector<CheckedSection> sections_;
    std::unordered_map<std::string, std::size_t> firstByName_;
};

// In lower case, as names compare.
std::string FoldedName(std::string_view name);

}  // namespace quillonctl
