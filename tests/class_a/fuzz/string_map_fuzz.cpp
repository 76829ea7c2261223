#include "class_a/fuzz/expect.h"
#include "class_a/standard/CException.h"
#include "class_a/standard/CStringMap.h"

using ksl::CStringMap;

// The first byte chooses separator, quote and case, the others are the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const char* const separators[] = {"\n", ",", "", "; "};
    const bool quoted = (data[0] & 4) != 0;
    const char* const separator = separators[data[0] & 3];
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const CStringMap map(text, separator, quoted ? '"' : 0, (data[0] & 8) != 0);

    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        expect(map.has(entry->first), "an entry is found by its key");
        expect(entry == map.begin() || !map.key_comp()(entry->first, std::prev(entry)->first),
               "keys are in order");
        try {
            map.getDuration(entry->first, map.getULong(entry->first, 5));
        } catch (ksl::CException& failure) {
            expect(failure.function().starts_with("CNumberConversion::"), "only numbers are refused");
        }
    }
    if (!quoted && *separator != 0) {
        CStringMap again("", separator, 0, (data[0] & 8) != 0);
        expect(again.parse(map.format("", true, "")), "what is written is read");
        expect(again.size() >= map.size(), "and no entry is lost");
    }
    // Values that name many others make a text grow with the product of their lengths.
    if (map.size() > 8) return 0;
    try {
        map.expand(text);
    } catch (ksl::CException& failure) {
        expect(failure.function() == "::process_control_chars", "only escape sequences are refused");
    }
    return 0;
}
