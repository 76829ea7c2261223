#include "class_a/fuzz/expect.h"
#include "class_a/standard/CException.h"
#include "class_a/standard/ksl_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    expect(ksl::process_control_chars(ksl::escape_control_chars(text)) == text, "escaping is undone");
    try {
        expect(ksl::process_control_chars(text).size() <= text.size(),
               "a sequence is longer than what it stands for");
    } catch (ksl::CException& failure) {
        expect(text.find("\\x") != std::string::npos, "only a hex escape can fail");
        expect(failure.text().ends_with("(Insufficient digits for a hex escape sequence.)"),
               "the failure says why");
    }
    return 0;
}
