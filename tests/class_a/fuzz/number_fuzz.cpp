#include "class_a/fuzz/expect.h"
#include "class_a/standard/CNumberConversion.h"
#include "class_a/standard/CNumberConversionException.h"

namespace {

using ksl::CNumberConversion;

// Whether `convert` accepts the text. What it accepts comes back the same from its own text.
template <class Convert>
bool accepts(const std::string& text, int base, Convert convert) {
    try {
        const auto value = convert(text, base);
        expect(convert(CNumberConversion::toString(value), 10) == value, "a number is read from its text");
        return true;
    } catch (ksl::CNumberConversionException& failure) {
        expect(failure.text().starts_with("Cannot deserialize number"), "the failure says what failed");
        return false;
    }
}

}  // namespace

// The first byte gives the base, the others are the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const int base = data[0] % 40 - 1;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const bool asSigned = accepts(text, base, CNumberConversion::toInt64);
    const bool asUnsigned = accepts(text, base, CNumberConversion::toUInt64);
    const bool hasMinus = text.find('-') != std::string::npos;
    const bool expected = !text.empty() && (hasMinus ? asSigned : asUnsigned);
    expect(CNumberConversion::isNumber(text, base) == expected, "isNumber says what the conversions do");
    expect(!accepts(text, base, CNumberConversion::toInt8) || asSigned, "what fits 8 bits fits 64");
    expect(!accepts(text, base, CNumberConversion::toULong) || asUnsigned, "what fits 32 bits fits 64");

    const CNumberConversion number(text, base);
    if (number.isValid() && number.isNegative()) {
        const auto magnitude = 0 - static_cast<std::uint64_t>(CNumberConversion::toInt64(text, base));
        expect(number.value() == magnitude, "value and sign are the number");
    }
    try {
        CNumberConversion::toDouble(text);
    } catch (ksl::CNumberConversionException& failure) {
        expect(failure.function() == "CNumberConversion::toDouble", "the failure names its function");
    }
    return 0;
}
