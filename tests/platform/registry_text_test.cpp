#include "platform/linux/registry/registry_text.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <utility>

#include "platform/linux/faces/registry.h"

namespace {

using namespace std::string_literals;

using Content = std::map<std::pair<std::string, std::string>, std::pair<DWORD, std::string>>;

constexpr std::array<const char*, 4> Keys = {"A", "A\\B", "Software\\C d", ""};
constexpr std::array<const char*, 5> Names = {"x", "Long Name", "quo\"te\\", "", "y"};

// Makes files as people, regedit and this program write them, and knows what is in them.
class FileMaker {
  public:
    explicit FileMaker(unsigned seed) : random_(seed) {}

    int UpTo(int most) { return std::uniform_int_distribution(0, most)(random_); }
    template <class Items>
    auto OneOf(const Items& items) {
        return items[static_cast<std::size_t>(UpTo(static_cast<int>(std::size(items)) - 1))];
    }

    RegistryValue AnyValue() {
        RegistryValue value{OneOf(Names), OneOf(std::array{REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, 7u}),
                            ""};
        const bool isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ;
        for (int left = value.type == REG_DWORD ? 4 : UpTo(40); left > 0; --left)
            value.data += static_cast<char>(isText ? OneOf(" ;\\\"=[]abc\n"s) : UpTo(255));
        if (isText) value.data += '\0';
        return value;
    }

    void AddFile() {
        text = OneOf(std::array{"", "\xEF\xBB\xBF"}) + std::string(RegistryFirstLine) + LineEnd();
        for (int lines = UpTo(60); lines > 0; --lines)
            AddLine();
        if (UpTo(3) > 0) return;
        text += isInKey_ ? "[HKEY_LOCAL_MACHINE\\last]" : "; the last line has no end";
    }

    std::string text;
    Content content;
    std::vector<std::string> comments;

  private:
    std::string LineEnd() { return UpTo(2) > 0 ? "\n" : "\r\n"; }
    std::string Blanks() { return std::string(static_cast<std::size_t>(UpTo(3) / 2), OneOf(" \t"s)); }

    void AddLine() {
        const int kind = UpTo(9);
        if (kind == 0) {
            key_ = OneOf(Keys);
            isInKey_ = true;
            text += Blanks() + RegistryHeading(key_) + Blanks() + LineEnd();
        } else if (kind < 3) {
            comments.push_back("; \\ " + std::to_string(comments.size()) +
                               OneOf(std::array{" [x]", "=", " \\"}));
            text += Blanks() + comments.back() + LineEnd();
        } else if (kind < 5 || !isInKey_) {
            text += Blanks() + LineEnd();
        } else {
            AddValue(AnyValue());
        }
    }

    void AddValue(const RegistryValue& value) {
        std::string line = RegistryValueText(value);
        if (line.find("=hex") != std::string::npos) line = Continued(line);
        text += Blanks() + line + Blanks() + LineEnd();
        if (line.ends_with('\\')) text += Blanks() + LineEnd();
        content[{key_, value.name}] = {value.type, value.data};
    }

    // A list of bytes over some lines, of which those behind a backslash may be empty.
    std::string Continued(const std::string& line) {
        std::string lines;
        for (const char c : line) {
            lines += c;
            if (c == ',' && UpTo(5) == 0) lines += Blanks() + "\\" + LineEnd() + Blanks();
        }
        return UpTo(3) == 0 ? lines + "\\" : lines;
    }

    std::mt19937 random_;
    std::string key_;
    bool isInKey_ = false;
};

Content ContentOf(const RegistryDocument& document) {
    Content content;
    for (const RegistrySection& section : document.sections) {
        for (const RegistryLine& line : section.lines) {
            if (line.value) content[{section.path, line.value->name}] = {line.value->type, line.value->data};
        }
    }
    return content;
}

// Makes the same change to the document and to what is expected of it.
void Edit(FileMaker& maker, RegistryDocument& document) {
    const std::string key = maker.OneOf(Keys);
    const RegistryValue value = maker.AnyValue();
    if (maker.UpTo(3) == 0) {
        document.RemoveValue(key, value.name);
        maker.content.erase({key, value.name});
    } else {
        document.SetValue(key, value);
        maker.content[{key, value.name}] = {value.type, value.data};
    }
    if (maker.UpTo(5) == 0) document.CreateKey("New" + std::to_string(maker.UpTo(2)));
}

TEST(RegistryText, ReadingAndWritingLosesNothingNorDoesAnEdit) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        FileMaker maker(seed);
        maker.AddFile();
        std::string text = maker.text;
        ASSERT_EQ(ContentOf(ParseRegistry(text)), maker.content) << seed << ":\n" << text;
        ASSERT_EQ(FormatRegistry(ParseRegistry(text)), text);
        for (int edits = 0; edits < 5; ++edits) {
            RegistryDocument document = ParseRegistry(text);
            Edit(maker, document);
            text = FormatRegistry(document);
            ASSERT_EQ(ContentOf(ParseRegistry(text)), maker.content) << seed << ":\n" << text;
        }
        std::size_t at = 0;
        for (const std::string& comment : maker.comments) {
            at = text.find(comment, at);
            ASSERT_NE(at, std::string::npos) << comment << " in\n" << text;
        }
    }
}

}  // namespace
