#include "class_a/fuzz/expect.h"
#include "class_a/standard/ksl_text.h"

// The input is a pattern, a line feed and a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string pattern;
    ksl::next_token(text, '\n', pattern, 0);
    const bool fits = ksl::wildcard_match(pattern, text);
    expect(!fits || ksl::wildcard_match("*" + pattern, text), "a star in front may take nothing");

    // A pattern of escaped characters fits the text they are, and nothing else.
    const std::string plain = text.c_str();
    std::string escaped;
    for (const char c : plain)
        escaped += {'\\', c};
    expect(ksl::wildcard_match(escaped, plain), "an escaped text fits itself");
    expect(!ksl::wildcard_match(escaped, plain + "x"), "an escaped text fits no longer one");
    return 0;
}
