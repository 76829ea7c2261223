#include "class_a/fuzz/expect.h"
#include "class_a/standard/CBase64.h"
#include "class_a/standard/CException.h"

using ksl::CHexStore;

// The first byte gives the length of the separator, the others are hexadecimal pairs and base 64 at once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    CHexStore store(0, std::string(data[0] % 4, ':'));
    try {
        expect(store.set(text), "what is read is true");
    } catch (ksl::CException& failure) {
        expect(failure.function() == "CHexStore::_char2Nybble", "only digits are refused");
    }
    const CHexStore read(store);
    store.set(store.string());
    expect(store == read, "printed bytes are read back");

    const CHexStore raw(data, size);
    expect(CBase64::decode(CBase64::encode(raw)) == raw, "encoded bytes are decoded");
    try {
        const CHexStore decoded = CBase64::decode(text);
        expect(decoded.size() <= text.size() / 4 * 3, "four characters are three bytes at most");
        expect(CBase64::decode(CBase64::encode(decoded)) == decoded, "and so are decoded ones");
    } catch (ksl::CException& failure) {
        expect(failure.function() == "CBase64::decode", "the failure names its function");
    }
    return 0;
}
