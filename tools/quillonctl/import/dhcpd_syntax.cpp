#include "quillonctl/import/dhcpd_syntax.h"

#include <algorithm>
#include <cctype>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {
namespace {

// Deeper than anybody writes by hand; a file that goes on nesting mustn't use up the stack.
constexpr int Deepest = 32;

class Lexer {
  public:
    explicit Lexer(std::string_view text) : text_(text) {}

    // False at the end of the text.
    bool Next(DhcpdToken& token) {
        SkipBlanks();
        token = {"", false, line_};
        if (at_ == text_.size()) return false;
        if (text_[at_] == '"')
            ReadString(token);
        else if (IsMark(text_[at_]))
            token.text = text_[at_++];
        else
            while (at_ < text_.size() && !IsMark(text_[at_]) && !IsBlank(text_[at_]) && text_[at_] != '"')
                token.text += text_[at_++];
        return true;
    }

  private:
    static bool IsMark(char c) { return std::string_view("{};,=()#").find(c) != std::string_view::npos; }
    static bool IsBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

    void SkipBlanks() {
        while (at_ < text_.size()) {
            if (text_[at_] == '#')
                at_ = std::min(text_.find('\n', at_), text_.size());
            else if (IsBlank(text_[at_]))
                line_ += text_[at_++] == '\n' ? 1 : 0;
            else
                return;
        }
    }

    // A string ends with its line at the latest.
    void ReadString(DhcpdToken& token) {
        token.isQuoted = true;
        for (++at_; at_ < text_.size() && text_[at_] != '\n'; ++at_) {
            if (text_[at_] == '"') {
                ++at_;
                return;
            }
            if (text_[at_] == '\\' && at_ + 1 < text_.size())
                ReadEscape(token);
            else
                token.text += text_[at_];
        }
    }

    // Ends on the last character of the escape.
    void ReadEscape(DhcpdToken& token) {
        const char letter = text_[++at_];
        static constexpr std::string_view Letters = "trnb";
        static constexpr std::string_view Meanings = "\t\r\n\b";
        const auto digits = [&](std::size_t from, std::size_t most, int base) {
            std::size_t size = 0;
            while (size < most && from + size < text_.size() && IsDigit(text_[from + size], base))
                ++size;
            return text_.substr(from, size);
        };
        const std::string_view octal = digits(at_, 3, 8);
        const std::string_view hex = letter == 'x' ? digits(at_ + 1, 2, 16) : std::string_view();
        if (!octal.empty()) {
            token.text += static_cast<char>(std::stoi(std::string(octal), nullptr, 8));
            at_ += octal.size() - 1;
        } else if (!hex.empty()) {
            token.text += static_cast<char>(std::stoi(std::string(hex), nullptr, 16));
            at_ += hex.size();
        } else {
            const std::size_t known = Letters.find(letter);
            token.text += known != std::string_view::npos ? Meanings[known] : letter;
        }
    }

    static bool IsDigit(char c, int base) {
        return base == 8 ? c >= '0' && c <= '7' : std::isxdigit(static_cast<unsigned char>(c)) != 0;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    int line_ = 1;
};

class Parser {
  public:
    Parser(std::string_view text, Import& import) : lexer_(text), import_(import) {}

    // Up to the brace that ends the block, or the end of the text.
    std::vector<DhcpdStatement> Block(int depth) {
        std::vector<DhcpdStatement> statements;
        DhcpdStatement statement;
        DhcpdToken token;
        while (lexer_.Next(token)) {
            const bool isEnd = !token.isQuoted && token.text == "}";
            if (isEnd || (!token.isQuoted && token.text == ";")) {
                Finish(statements, statement, isEnd ? "';' is missing" : nullptr);
                if (!isEnd) continue;
                if (depth > 0) return statements;
                import_.Drop(token.line, "'}' without a block");
            } else if (!token.isQuoted && token.text == "{") {
                if (statement.words.empty()) statement.words.push_back({"{", true, token.line});
                if (depth >= Deepest) {
                    import_.Drop(token.line, "blocks are nested too deeply; what follows isn't read");
                    while (lexer_.Next(token)) {
                    }
                    return statements;
                }
                statement.hasBlock = true;
                statement.block = Block(depth + 1);
                Finish(statements, statement, nullptr);
            } else {
                statement.words.push_back(std::move(token));
            }
        }
        Finish(statements, statement, "';' is missing");
        if (depth > 0) import_.Drop(token.line, "'}' is missing");
        return statements;
    }

  private:
    void Finish(std::vector<DhcpdStatement>& statements, DhcpdStatement& statement, const char* fault) {
        if (statement.words.empty()) return;
        if (fault != nullptr) import_.Drop(statement.words.back().line, fault);
        statements.push_back(std::move(statement));
        statement = {};
    }

    Lexer lexer_;
    Import& import_;
};

}  // namespace

bool DhcpdToken::Is(std::string_view word) const {
    return !isQuoted && SameText(text, word);
}

std::vector<DhcpdStatement> ParseDhcpd(std::string_view text, Import& import) {
    return Parser(text, import).Block(0);
}

}  // namespace quillonctl
