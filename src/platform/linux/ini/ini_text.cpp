#include "platform/linux/ini/ini_text.h"

#include <cstring>
#include <iterator>
#include <utility>

#include <utf8cpp/utf8.h>

namespace {

constexpr std::string_view LittleEndianMark = "\xFF\xFE";
constexpr std::string_view BigEndianMark = "\xFE\xFF";
constexpr char32_t Replacement = 0xFFFD;

// A view of 16-bit units in either order; an odd byte at the end is none.
class Units {
  public:
    Units(std::string_view bytes, std::size_t low) : bytes_(bytes), low_(low) {}

    bool AtEnd() const { return bytes_.size() < 2; }

    // The next character; half a pair gives the replacement character.
    char32_t Next() {
        const char32_t first = Take();
        if (first < 0xD800 || first > 0xDFFF) return first;
        if (first > 0xDBFF || AtEnd() || Peek() < 0xDC00 || Peek() > 0xDFFF) return Replacement;
        return 0x10000 + ((first - 0xD800) << 10) + (Take() - 0xDC00);
    }

  private:
    char32_t Peek() const {
        const auto byte = [this](std::size_t at) { return static_cast<unsigned char>(bytes_[at]); };
        return static_cast<char32_t>(byte(low_) | byte(1 - low_) << 8);
    }
    char32_t Take() {
        const char32_t unit = Peek();
        bytes_.remove_prefix(2);
        return unit;
    }

    std::string_view bytes_;
    std::size_t low_;  // where in a pair of bytes the low one stands
};

FileText TextFrom(Units units, std::size_t byteCount) {
    // Two bytes give three at the most.
    FileText text{std::unique_ptr<char[]>(new char[byteCount / 2 * 3]), 0};
    char* end = text.bytes.get();
    while (!units.AtEnd())
        end = utf8::unchecked::append(units.Next(), end);
    text.size = static_cast<std::size_t>(end - text.bytes.get());
    return text;
}

FileText Decode(FileText bytes) {
    const std::string_view all = bytes.View();
    if (all.starts_with(LittleEndianMark)) return TextFrom({all.substr(2), 0}, all.size());
    if (all.starts_with(BigEndianMark)) return TextFrom({all.substr(2), 1}, all.size());
    return bytes;
}

// Calls `visit` with the place of each such byte.
template <class Visit>
void ForEach(char byte, FileText& text, Visit visit) {
    char* at = text.bytes.get();
    char* const end = at + text.size;
    while ((at = static_cast<char*>(std::memchr(at, byte, static_cast<std::size_t>(end - at)))) != nullptr)
        visit(at++);
}

}  // namespace

FileText IniText(FileText bytes) {
    FileText text = Decode(std::move(bytes));
    // Names go out in lists of texts that end in a NUL; one inside a name would make two of it.
    ForEach('\0', text, [](char* at) { *at = ' '; });
    const char* const end = text.bytes.get() + text.size;
    ForEach('\r', text, [end](char* at) {
        if (at + 1 == end || at[1] != '\n') *at = '\n';
    });
    return text;
}
