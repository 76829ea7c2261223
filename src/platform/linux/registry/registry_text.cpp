#include "platform/linux/registry/registry_text.h"

#include <utility>

#include "platform/linux/ini/ini_line.h"
#include "platform/linux/registry/registry_value_text.h"
#include "platform/linux/system/ascii_case.h"

namespace {

constexpr std::string_view RootName = "HKEY_LOCAL_MACHINE";
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

// Goes over the lines of a text and counts them.
class Lines {
  public:
    explicit Lines(std::string_view text) : rest_(text) {}

    bool AtEnd() const { return rest_.empty(); }
    std::size_t Number() const { return number_; }
    bool HadLineEnd() const { return hadLineEnd_; }
    bool HadReturn() const { return hadReturn_; }

    std::string_view Next() {
        const std::size_t before = rest_.size();
        std::string_view line = TakeLine(rest_);
        hadLineEnd_ = before - rest_.size() > line.size();
        hadReturn_ = line.ends_with('\r');
        if (hadReturn_) line.remove_suffix(1);
        ++number_;
        return line;
    }

  private:
    std::string_view rest_;
    std::size_t number_ = 0;
    bool hadLineEnd_ = true;
    bool hadReturn_ = false;
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
        std::string_view line = lines_.Next();
        if (line.starts_with(ByteOrderMark)) line.remove_prefix(ByteOrderMark.size());
        if (TrimBlanks(line) != RegistryFirstLine) {
            Fail("the first line has to be '" + std::string(RegistryFirstLine) + "'");
        }
        document_.endsLinesWithReturn = lines_.HadReturn();
    }

    void ParseLine(std::string line) {
        if (line.find('\0') != std::string::npos) Fail("a NUL byte in the line");
        const std::string_view content = TrimBlanks(line);
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
        std::string joined(TrimBlanks(line));
        // Only a list of bytes goes on in the next line: a text ends in a quote, a number in a digit.
        while (joined.ends_with('\\')) {
            if (lines_.AtEnd()) Fail("the line is cut");
            const std::string_view next = lines_.Next();
            line += '\n' + std::string(next);
            joined.pop_back();
            joined += TrimBlanks(next);
        }
        ParsedRegistryValue parsed = ParseRegistryValue(joined);
        if (!parsed.fault.empty()) Fail(parsed.fault);
        if (!lines_.HadLineEnd() && !parsed.isComplete) Fail("the line is cut");
        Append({std::move(line), std::move(parsed.value)});
    }

    void Append(RegistryLine line) {
        (document_.sections.empty() ? document_.head : document_.sections.back().lines)
            .push_back(std::move(line));
    }

    Lines lines_;
    RegistryDocument document_;
};

void AppendLines(const std::vector<RegistryLine>& lines, std::string_view lineEnd, std::string& text) {
    for (const RegistryLine& line : lines) {
        std::string_view rest = line.text;
        do {
            text += rest.empty() ? rest : TakeLine(rest);
            text += lineEnd;
        } while (!rest.empty());
    }
}

}  // namespace

RegistryDocument ParseRegistry(std::string_view text) {
    if (text.empty()) throw RegistryTextError(1, "the file is empty");
    return Parser(text).Parse();
}

std::string FormatRegistry(const RegistryDocument& document) {
    const std::string_view lineEnd = document.endsLinesWithReturn ? "\r\n" : "\n";
    std::string text;
    AppendLines(document.head, lineEnd, text);
    for (const RegistrySection& section : document.sections)
        AppendLines(section.lines, lineEnd, text);
    return text;
}

std::string RegistryHeading(std::string_view path) {
    std::string heading = "[" + std::string(RootName);
    if (!path.empty()) heading.append("\\").append(path);
    return heading + "]";
}
