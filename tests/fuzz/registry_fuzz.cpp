// registry.reg of any bytes: what can be read is written again without loss, also after edits.
#include <algorithm>
#include <vector>

#include "class_a/fuzz/expect.h"
#include "platform/linux/registry/registry_text.h"

namespace {

constexpr char Path[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters";
constexpr DWORD TextType = 1;

struct Found {
    std::string path, name;
    DWORD type;
    std::string data;

    bool operator==(const Found&) const = default;
};

bool SameName(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, [](char a, char b) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
        return lower(a) == lower(b);
    });
}

// All values in their order but that of one name in one key.
std::vector<Found> Values(const RegistryDocument& document, std::string_view path, std::string_view name) {
    std::vector<Found> values;
    for (const RegistrySection& section : document.sections)
        for (const RegistryLine& line : section.lines)
            if (line.value && !(SameName(section.path, path) && SameName(line.value->name, name)))
                values.push_back({section.path, line.value->name, line.value->type, line.value->data});
    return values;
}

RegistryDocument WrittenAndRead(const RegistryDocument& document) {
    try {
        return ParseRegistry(FormatRegistry(document));
    } catch (const RegistryTextError&) {
        expect(false, "what is written can be read");
        throw;
    }
}

void ExpectEdit(const RegistryDocument& original, std::string_view name, const std::string& data) {
    RegistryDocument edited = original;
    try {
        edited.SetValue(Path, {std::string(name), TextType, data + '\0'});
    } catch (const std::invalid_argument&) {
        return;  // a text that the form can't hold
    }
    RegistryDocument again = WrittenAndRead(edited);
    expect(Values(again, Path, name) == Values(original, Path, name), "an edit changes no other value");
    const RegistryValue* value = again.FindValue(Path, name);
    expect(value != nullptr && value->type == TextType && value->data == data + '\0', "an edit is read back");

    again.RemoveValue(Path, name);
    RegistryDocument removed = WrittenAndRead(again);
    expect(removed.FindValue(Path, name) == nullptr, "what is removed is gone");
    expect(Values(removed, Path, name) == Values(original, Path, name), "a removal changes no other value");

    removed.RemoveKey(Path);
    expect(!WrittenAndRead(removed).HasKey(Path) || removed.HasSubkeys(Path), "a removed key is gone");
}

}  // namespace

// The first byte is the length of a value's name, which follows; then its length, and the value; then the
// file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const auto take = [&rest] {
        if (rest.empty()) return std::string();
        const std::size_t length =
            std::min<std::size_t>(static_cast<unsigned char>(rest[0]) % 32, rest.size() - 1);
        std::string taken(rest.substr(1, length));
        rest.remove_prefix(1 + length);
        std::erase_if(taken, [](char c) { return c == '\0' || c == '\r' || c == '\n'; });  // no name has them
        return taken;
    };
    const std::string name = take(), value = take();
    try {
        const RegistryDocument document = ParseRegistry(rest);
        expect(Values(WrittenAndRead(document), "", "?") == Values(document, "", "?"),
               "nothing is lost on the way");
        expect(FormatRegistry(WrittenAndRead(document)) == FormatRegistry(document),
               "a second time changes nothing");
        ExpectEdit(document, name, value);
    } catch (const RegistryTextError& refusal) {
        expect(refusal.Line() >= 1, "a refusal names its line");
    }
    return 0;
}
