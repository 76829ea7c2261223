#include "quillonctl/import/json_tree.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <nlohmann/json.hpp>

namespace quillonctl {
namespace {

// Deeper than any configuration; a document that goes on nesting mustn't use up the stack.
constexpr std::size_t Deepest = 64;

// Reads the text and counts its lines. All copies count together.
class CountingIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, int* line) : at_(at), line_(line) {}
    reference operator*() const { return *at_; }
    CountingIterator& operator++() {
        if (*at_ == '\n') ++*line_;
        ++at_;
        return *this;
    }
    CountingIterator operator++(int) {
        CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

  private:
    const char* at_;
    int* line_;
};

// Builds the tree from what the parser meets.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
  public:
    TreeBuilder(const int& line, JsonNode& root, JsonFault& fault)
        : line_(line), root_(root), fault_(fault) {}

    bool null() override { return Add({JsonKind::Null, line_, "", {}, {}}); }
    bool boolean(bool value) override {
        return Add({JsonKind::Flag, line_, value ? "true" : "false", {}, {}});
    }
    bool number_integer(number_integer_t value) override { return AddNumber(std::to_string(value)); }
    bool number_unsigned(number_unsigned_t value) override { return AddNumber(std::to_string(value)); }
    bool number_float(number_float_t /*value*/, const string_t& text) override { return AddNumber(text); }
    bool string(string_t& value) override { return Add({JsonKind::Text, line_, value, {}, {}}); }
    bool binary(binary_t& /*value*/) override { return false; }
    bool start_object(std::size_t /*size*/) override { return Open(JsonKind::Object); }
    bool start_array(std::size_t /*size*/) override { return Open(JsonKind::Array); }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }
    bool key(string_t& name) override {
        name_ = name;
        nameLine_ = line_;
        return true;
    }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        // What the parser says begins with its own name for the fault, in brackets.
        const std::string text = error.what();
        const std::size_t begin = text.find("] ");
        fault_ = {line_, begin != std::string::npos ? text.substr(begin + 2) : text};
        return false;
    }

  private:
    bool AddNumber(std::string text) { return Add({JsonKind::Number, line_, std::move(text), {}, {}}); }

    JsonNode* Place(JsonNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
            return &root_;
        }
        JsonNode& parent = *open_.back();
        if (parent.kind == JsonKind::Array) return &parent.items.emplace_back(std::move(node));
        // The parser has read beyond a number before it hands it over.
        node.line = nameLine_;
        return &parent.members.emplace_back(JsonMember{name_, std::move(node)}).node;
    }

    bool Add(JsonNode node) {
        Place(std::move(node));
        return true;
    }

    // A node stays where it is as long as it is open: its siblings come after its end.
    bool Open(JsonKind kind) {
        if (open_.size() >= Deepest) {
            fault_ = {line_, "nested too deeply"};
            return false;
        }
        open_.push_back(Place({kind, line_, "", {}, {}}));
        return true;
    }

    bool Close() {
        open_.pop_back();
        return true;
    }

    const int& line_;
    JsonNode& root_;
    JsonFault& fault_;
    std::vector<JsonNode*> open_;
    std::string name_;
    int nameLine_ = 0;
};

// Ends on the last character of the comment that begins there, which becomes blanks; stays where it is if
// none does.
std::size_t BlankComment(std::string& text, std::size_t at) {
    const std::string_view rest = std::string_view(text).substr(at);
    std::size_t end = at;
    if (rest.starts_with("/*"))
        end = std::min(text.find("*/", at + 2), text.size() - 2) + 2;
    else if (rest.starts_with("//") || rest.starts_with("#"))
        end = std::min(text.find('\n', at), text.size());
    if (end == at) return at;
    for (; at < end; ++at)
        if (text[at] != '\n') text[at] = ' ';
    return end - 1;
}

// What such files may have and JSON doesn't: comments, a comma after the last member, a number that begins
// with its point. All of it becomes blanks or JSON, and each line stays where it is.
std::string PlainJson(std::string_view text) {
    std::string plain(text);
    bool inText = false;
    std::size_t last = 0;  // the last character that isn't blank
    for (std::size_t at = 0; at < plain.size(); ++at) {
        if (inText) {
            if (plain[at] == '\\')
                ++at;
            else if (plain[at] == '"')
                inText = false;
            last = at;
            continue;
        }
        at = BlankComment(plain, at);
        const char c = plain[at];
        if (std::isspace(static_cast<unsigned char>(c)) != 0) continue;
        if ((c == '}' || c == ']') && plain[last] == ',') plain[last] = ' ';
        if (c == '.' && at > 0 && plain[at - 1] == ' ') plain[at - 1] = '0';
        inText = c == '"';
        last = at;
    }
    return plain;
}

}  // namespace

const JsonNode* JsonNode::Find(std::string_view name) const {
    for (auto member = members.rbegin(); member != members.rend(); ++member)
        if (member->name == name) return &member->node;
    return nullptr;
}

std::string JsonNode::TextOf(std::string_view name) const {
    const JsonNode* member = Find(name);
    return member != nullptr ? member->text : "";
}

const std::vector<JsonNode>& JsonNode::ItemsOf(std::string_view name) const {
    static const std::vector<JsonNode> None;
    const JsonNode* member = Find(name);
    return member != nullptr ? member->items : None;
}

std::optional<JsonNode> ParseJson(std::string_view text, JsonFault& fault) {
    const std::string plain = PlainJson(text);
    JsonNode root;
    int line = 1;
    TreeBuilder builder(line, root, fault);
    const bool isGood = nlohmann::json::sax_parse(CountingIterator(plain.data(), &line),
                                                  CountingIterator(plain.data() + plain.size(), &line),
                                                  &builder, nlohmann::json::input_format_t::json);
    if (!isGood) return std::nullopt;
    return root;
}

}  // namespace quillonctl
