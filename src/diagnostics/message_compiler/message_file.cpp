#include "diagnostics/message_compiler/message_file.h"

#include <charconv>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

namespace {

using NumberList = std::map<std::string, std::uint32_t>;

constexpr std::uint32_t MaxCode = 0xFFFF;
constexpr std::uint32_t MaxFacility = 0xFFF;
constexpr std::uint32_t MaxSeverity = 3;

std::string Trimmed(const std::string& text) {
    const char* blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::uint32_t> Number(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* begin = text.data() + (hexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    std::uint32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

class Reader {
  public:
    explicit Reader(std::istream& input) : input_(input) {}

    std::vector<MessageDefinition> Read() {
        while (const auto statement = NextStatement()) {
            const auto& [keyword, value] = *statement;
            if (keyword == "MessageId") {
                ReadMessage(value);
            } else if (keyword == "SeverityNames") {
                severities_ = ReadList(value, MaxSeverity);
            } else if (keyword == "FacilityNames") {
                facilities_ = ReadList(value, MaxFacility);
            } else if (keyword == "LanguageNames") {
                languages_ = ReadList(value, MaxCode);
            } else if (keyword != "MessageIdTypedef" && keyword != "OutputBase") {
                Fail("unknown statement '" + keyword + "'");
            }
        }
        return std::move(messages_);
    }

  private:
    using Statement = std::pair<std::string, std::string>;

    [[noreturn]] void Fail(const std::string& what) const { throw MessageFileError(lineNumber_, what); }

    bool NextLine(std::string& line) {
        if (!std::getline(input_, line)) return false;
        ++lineNumber_;
        return true;
    }

    // The next line `keyword=value`; a value that opens a parenthesis goes on to the line that closes it.
    std::optional<Statement> NextStatement() {
        std::string line;
        do {
            if (!NextLine(line)) return std::nullopt;
            line = Trimmed(line);
        } while (line.empty() || line.front() == ';');
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) Fail("expected 'keyword=value'");
        const std::string keyword = Trimmed(line.substr(0, equals));
        std::string value = Trimmed(line.substr(equals + 1));
        while (value.starts_with('(') && !value.ends_with(')')) {
            if (!NextLine(line)) Fail("a list without its closing parenthesis");
            value += '\n' + Trimmed(line);
        }
        return Statement{keyword, value};
    }

    // A list `(name=number:symbol ...)`; the symbol is for the header of the Windows compiler alone.
    NumberList ReadList(const std::string& value, std::uint32_t maximum) const {
        if (!value.starts_with('(')) Fail("expected a list in parentheses");
        std::istringstream entries(value.substr(1, value.size() - 2));
        NumberList list;
        for (std::string entry; entries >> entry;) {
            const std::size_t equals = entry.find('=');
            if (equals == std::string::npos) Fail("expected 'name=number' in a list");
            const std::size_t colon = entry.find(':', equals);
            const auto number =
                Number(entry.substr(equals + 1, colon == std::string::npos ? colon : colon - equals - 1));
            if (!number || *number > maximum) Fail("bad number in '" + entry + "'");
            list[entry.substr(0, equals)] = *number;
        }
        return list;
    }

    // What follows `MessageId=`: the other fields in any order, `Language` last, then the text.
    void ReadMessage(const std::string& code) {
        const auto number = Number(code);
        if (!number || *number > MaxCode) Fail("MessageId takes a number up to 0xFFFF");
        std::optional<std::uint32_t> severity;
        std::optional<std::uint32_t> facility;
        MessageDefinition message{};
        for (;;) {
            const auto field = NextStatement();
            if (!field) Fail("a message without text at the end of the file");
            const auto& [keyword, value] = *field;
            if (keyword == "Severity") {
                severity = Named(severities_, value);
            } else if (keyword == "Facility") {
                facility = Named(facilities_, value);
            } else if (keyword == "SymbolicName") {
                message.symbolicName = value;
            } else if (keyword == "Language") {
                Named(languages_, value);
                break;
            } else {
                Fail("unknown field '" + keyword + "' in a message");
            }
        }
        if (!severity || !facility || message.symbolicName.empty()) {
            Fail("a message needs Severity, Facility and SymbolicName");
        }
        message.number = *severity << 30 | *facility << 16 | *number;
        message.text = ReadText();
        Add(std::move(message));
    }

    std::uint32_t Named(const NumberList& list, const std::string& name) const {
        const auto found = list.find(name);
        if (found == list.end()) Fail("'" + name + "' is in no list of names");
        return found->second;
    }

    std::string ReadText() {
        std::string text;
        for (std::string line;;) {
            if (!NextLine(line)) Fail("a text without the line '.' at its end");
            if (line.ends_with('\r')) line.pop_back();
            if (line == ".") return text;
            text += line + "\r\n";
        }
    }

    void Add(MessageDefinition message) {
        if (message.text.empty()) Fail("a message without text");
        if (!numbers_.insert(message.number).second) Fail("a number that is taken already");
        if (!names_.insert(message.symbolicName).second) Fail("a symbolic name that is taken already");
        messages_.push_back(std::move(message));
    }

    std::istream& input_;
    std::size_t lineNumber_ = 0;
    NumberList severities_;
    NumberList facilities_;
    NumberList languages_;
    std::set<std::uint32_t> numbers_;
    std::set<std::string> names_;
    std::vector<MessageDefinition> messages_;
};

}  // namespace

std::vector<MessageDefinition> ReadMessageFile(std::istream& input) {
    return Reader(input).Read();
}
