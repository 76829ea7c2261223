#pragma once

#include <cstdint>
#include <string>

namespace ksl {

// Numbers from text with strict checks, and to text in fixed forms, both untouched by the locale of the
// process. Every failure is a CNumberConversionException that quotes the text.
//
// `base` is that of strtoull: 0 lets the text's prefix decide. Blanks and a sign may lead, nothing may
// follow. A `long` takes the values of 32 bits on every platform.
class CNumberConversion {
  public:
    // Keeps the number that `text` holds, with its sign apart. Never throws for what the text says; see
    // `isValid`.
    CNumberConversion(const std::string& text, int base);
    CNumberConversion(const CNumberConversion&) = default;
    CNumberConversion& operator=(const CNumberConversion&) = default;
    virtual ~CNumberConversion();

    bool isValid() const { return _valid; }

    // The magnitude, and whether the text had a sign, and a minus. Each throws if the text was no number.
    std::uint64_t value() const;
    bool isSigned() const;
    bool isNegative() const;

    // An empty text is 0. The unsigned ones refuse a text with a `-` anywhere.
    static std::uint64_t toUInt64(const std::string& text, int base);
    static std::int64_t toInt64(const std::string& text, int base);
    static long toLong(const std::string& text, int base);
    static unsigned long toULong(const std::string& text, int base);
    static int toInt(const std::string& text, int base);
    static unsigned int toUInt(const std::string& text, int base);
    static short toShort(const std::string& text, int base);
    static unsigned short toUShort(const std::string& text, int base);
    static std::int8_t toInt8(const std::string& text, int base);
    static std::uint8_t toUInt8(const std::string& text, int base);
    static std::int16_t toInt16(const std::string& text, int base);
    static std::uint16_t toUInt16(const std::string& text, int base);
    static std::int32_t toInt32(const std::string& text, int base);
    static std::uint32_t toUInt32(const std::string& text, int base);

    // An empty text is refused. What only a double can hold becomes an infinite float.
    static double toDouble(const std::string& text);
    static float toFloat(const std::string& text);

    // Whether toInt64 (for a text with a `-`) or toUInt64 would succeed; false for an empty text.
    static bool isNumber(const std::string& text, int base);

    // Plain decimals; a double as "%g", a float as "%f".
    static std::string toString(signed char value) { return toString(static_cast<long long>(value)); }
    static std::string toString(unsigned char value) {
        return toString(static_cast<unsigned long long>(value));
    }
    static std::string toString(short value) { return toString(static_cast<long long>(value)); }
    static std::string toString(unsigned short value) {
        return toString(static_cast<unsigned long long>(value));
    }
    static std::string toString(int value) { return toString(static_cast<long long>(value)); }
    static std::string toString(unsigned int value) {
        return toString(static_cast<unsigned long long>(value));
    }
    static std::string toString(long value) { return toString(static_cast<long long>(value)); }
    static std::string toString(unsigned long value) {
        return toString(static_cast<unsigned long long>(value));
    }
    static std::string toString(long long value);
    static std::string toString(unsigned long long value);
    static std::string toString(double value);
    static std::string toString(float value);

  private:
    void _requireValid() const;

    std::string _text;
    std::uint64_t _value = 0;
    bool _signed = false;
    bool _negative = false;
    bool _valid = false;
};

}  // namespace ksl
