#include "platform/linux/registry/registry_text.h"

#include <utility>

#include "platform/linux/ini/ini_line.h"
#include "platform/linux/registry/registry_value_text.h"
#include "platform/linux/system/ascii_case.h"

namespace {

constexpr std::string_view RootName = "HKEY_LOCAL_MACHINE";
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

// Without the line end, and blanks at both ends.
std::string_view Trim(std::string_view line) {
    if (line.ends_with('\n')) line.remove_suffix(1);
    return TrimBlanks(line);
}

// Goes over the lines of a text and counts them.
class Lines {
  public:
    explicit Lines(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }
    std::size_t Number() const { return number_; }

    // With its line end.
    std::string_view Next() {
        const std::size_t end = rest_.find('\n');
        const std::string_view line = end == std::string_view::npos ? rest_ : rest_.substr(0, end + 1);
        rest_.remove_prefix(line.size());
        ++number_;
        return line;
    }

  private:
    std::string_view rest_;
    std::size_t number_ = 0;
};

class Parser {
  public:
    explicit Parser(std::string_view text) : lines_(text) {}

    RegistryDocument Parse() {
        ParseFirstLine();
        while (!lines_.AtEnd())
            ParseLine(std::string(lines_.Next()));
        return std::move(document_);
    }

  private:
    [[noreturn]] void Fail(const std::string& what) const { throw RegistryTextError(lines_.Number(), what); }

    void ParseFirstLine() {
        const std::string_view line = lines_.Next();
        std::string_view content = line;
        if (content.starts_with(ByteOrderMark)) content.remove_prefix(ByteOrderMark.size());
        if (Trim(content) != RegistryFirstLine) {
            Fail("the first line has to be '" + std::string(RegistryFirstLine) + "'");
        }
        document_.endsLinesWithReturn = line.ends_with("\r\n");
        document_.head = {{std::string(line), {}}};
    }

    void ParseLine(std::string line) {
        if (line.find('\0') != std::string::npos) Fail("a NUL byte in the line");
        const std::string_view content = Trim(line);
        if (content.starts_with('[')) {
            ParseHeading(line, content);
        } else if (content.empty() || content.starts_with(';')) {
            Append({std::move(line), {}});
        } else if (document_.sections.empty()) {
            Fail("a value above the first key");
        } else {
            ParseValue(std::move(line));
        }
    }

    void ParseHeading(const std::string& line, std::string_view content) {
        if (!content.ends_with(']')) Fail("a key without its closing bracket");
        std::string_view path = content.substr(1, content.size() - 2);
        if (!EqualWithoutCase(path.substr(0, RootName.size()), RootName))
            Fail("only keys of HKEY_LOCAL_MACHINE are kept");
        path.remove_prefix(RootName.size());
        if (!path.empty() && path.front() != '\\') Fail("only keys of HKEY_LOCAL_MACHINE are kept");
        if (path.ends_with('\\') || path.find("\\\\") != std::string_view::npos)
            Fail("a key with an empty name in its path");
        if (!path.empty()) path.remove_prefix(1);
        document_.sections.push_back({std::string(path), {{line, {}}}});
    }

    void ParseValue(std::string line) {
        std::string joined(Trim(line));
        // Only a list of bytes goes on in the next line: a text ends in a quote, a number in a digit.
        while (joined.ends_with('\\')) {
            if (lines_.AtEnd()) Fail("the line is cut");
            const std::string_view next = lines_.Next();
            line += next;
            joined.pop_back();
            joined += Trim(next);
        }
        ParsedRegistryValue parsed = ParseRegistryValue(joined);
        if (!parsed.fault.empty()) Fail(parsed.fault);
        if (!line.ends_with('\n') && !parsed.isComplete) Fail("the line is cut");
        Append({std::move(line), std::move(parsed.value)});
    }

    void Append(RegistryLine line) {
        (document_.sections.empty() ? document_.head : document_.sections.back().lines)
            .push_back(std::move(line));
    }

    Lines lines_;
    RegistryDocument document_;
};

// The last line of a file need not have an end, until another one comes after it.
void AppendLines(const std::vector<RegistryLine>& lines, std::string_view lineEnd, std::string& text) {
    for (const RegistryLine& line : lines) {
        if (!text.empty() && !text.ends_with('\n')) text += lineEnd;
        text += line.text;
    }
}

}  // namespace

RegistryDocument ParseRegistry(std::string_view text) {
    if (text.empty()) throw RegistryTextError(1, "the file is empty");
    return Parser(text).Parse();
}

std::string FormatRegistry(const RegistryDocument& document) {
    std::string text;
    AppendLines(document.head, document.LineEnd(), text);
    for (const RegistrySection& section : document.sections)
        AppendLines(section.lines, document.LineEnd(), text);
    return text;
}

std::string RegistryHeading(std::string_view path) {
    std::string heading = "[" + std::string(RootName);
    if (!path.empty()) heading.append("\\").append(path);
    return heading + "]";
}
