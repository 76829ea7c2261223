#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>

#include "class_a/failure.h"
#include "class_a/standard/CByteOrderConversion.h"
#include "class_a/standard/CNumberConversion.h"
#include "class_a/standard/CNumberConversionException.h"

namespace {

using Number = ksl::CNumberConversion;

std::string number_failure_of(const std::function<void()>& run, int code = 0) {
    return failure_of<ksl::CNumberConversionException>(run, nullptr, code);
}

std::string refused(const std::string& function, const std::string& text, int code = 0) {
    const std::string reason = code == 0 ? "" : " (" + ksl::CException::systemText(code) + ")";
    return "CNumberConversion::" + function + ": Cannot deserialize number '" + text + "' from text." +
           reason;
}

TEST(Number, IsReadInItsRangeOnly) {
    struct Range {
        const char *least, *most, *below, *above, *bits;
    };
    const Range int8{"-128", "127", "-129", "128", "8"};
    const Range uint8{"0", "255", "", "256", "8"};
    const Range int16{"-32768", "32767", "-32769", "32768", "16"};
    const Range uint16{"0", "65535", "", "65536", "16"};
    const Range int32{"-2147483648", "2147483647", "-2147483649", "2147483648", "32"};
    const Range uint32{"0", "4294967295", "", "4294967296", "32"};
    struct Case {
        const char* function;
        const Range& range;
        std::function<std::string(const std::string&)> read;
    };
#define CASE(range, operation)                                                                    \
    Case {                                                                                        \
#operation, range,                                                                        \
            [](const std::string& text) { return Number::toString(Number::operation(text, 10)); } \
    }
    const Case cases[] = {CASE(int8, toInt8),     CASE(uint8, toUInt8),   CASE(int16, toInt16),
                          CASE(uint16, toUInt16), CASE(int16, toShort),   CASE(uint16, toUShort),
                          CASE(int32, toInt32),   CASE(uint32, toUInt32), CASE(int32, toInt),
                          CASE(uint32, toUInt),   CASE(int32, toLong),    CASE(uint32, toULong)};
    for (const auto& [function, range, read] : cases) {
        EXPECT_EQ(read(range.least), range.least) << function;
        EXPECT_EQ(read(range.most), range.most) << function;
        for (const std::string text : {range.below, range.above}) {
            if (text.empty()) continue;
            EXPECT_EQ(number_failure_of([&, &overflow = read] { overflow(text); }),
                      "CNumberConversion::" + std::string(function) +
                          ": Cannot deserialize number from text. (Value '" + text + "' overflows " +
                          range.bits + " bits.)");
        }
        EXPECT_EQ(number_failure_of([&refuse = read] { refuse("x"); }),
                  refused(range.least[0] == '-' ? "toInt64" : "toUInt64", "x"))
            << function;
    }
}

TEST(Number, IsReadAsAWhole) {
    struct Case {
        const char* text;
        int base;
        const char* asUnsigned;  // null for a refusal
        const char* asSigned;
        int code = 0;  // of a refusal that isn't for a sign
    };
    constexpr const char* kMost = "18446744073709551615";
    constexpr const char* kLeast = "-9223372036854775808";
    const Case cases[] = {{"", 10, "0", "0"},
                          {"+5", 10, "5", "5"},
                          {"\t\n7", 10, "7", "7"},
                          {"0x1F", 0, "31", "31"},
                          {"010", 0, "8", "8"},
                          {"zz", 36, "1295", "1295"},
                          {"-1", 10, nullptr, "-1"},
                          {"1-", 10, nullptr, nullptr},
                          {kMost, 10, kMost, nullptr, ERANGE},
                          {kLeast, 10, nullptr, kLeast},
                          {"12", 1, nullptr, nullptr, EINVAL},
                          {"7 ", 10, nullptr, nullptr},
                          {" ", 10, nullptr, nullptr},
                          {"+", 10, nullptr, nullptr},
                          {"0x1F", 10, nullptr, nullptr},
                          {"18446744073709551616", 10, nullptr, nullptr, ERANGE}};
    for (const auto& [text, base, asUnsigned, asSigned, code] : cases) {
        const auto expect = [text = std::string(text)](const char* expected, const std::string& refusal,
                                                       int failure, const auto& read) {
            std::string result;
            EXPECT_EQ(number_failure_of([&] { result = Number::toString(read()); }, failure),
                      expected != nullptr ? "no failure" : refusal)
                << text;
            EXPECT_EQ(result, expected != nullptr ? expected : "") << text;
        };
        const bool hasMinus = std::string(text).find('-') != std::string::npos;
        const std::string isSigned =
            "CNumberConversion::toUInt64: Cannot deserialize number from text. (Invalid "
            "format '" +
            std::string(text) + "' appears signed.)";
        expect(asUnsigned, hasMinus ? isSigned : refused("toUInt64", text, code), code,
               [&, value = text, radix = base] { return Number::toUInt64(value, radix); });
        expect(asSigned, refused("toInt64", text, code), code,
               [&, value = text, radix = base] { return Number::toInt64(value, radix); });
        EXPECT_EQ(Number::isNumber(text, base), *text != 0 && (hasMinus ? asSigned : asUnsigned) != nullptr)
            << text;
    }
    EXPECT_NE(number_failure_of([] { Number::toUInt64(std::string("1\0", 2), 10); }), "no failure");
}

TEST(Number, KeepsItsSignApart) {
    const std::tuple<std::string, std::uint64_t, std::string> cases[] = {
        {"5", 5, "-"},
        {"7", 7, "+"},
        {"7", 7, ""},
        {"0", 0, "-"},
        {"9223372036854775808", 9223372036854775808U, "-"},
        {"18446744073709551615", 18446744073709551615U, ""}};
    for (const auto& [digits, value, sign] : cases) {
        for (const char* const blank : {"", "  ", "\t", "\n", "\v", "\f", "\r"}) {
            const Number number(blank + sign + digits, 10);
            ASSERT_TRUE(number.isValid()) << sign << digits;
            EXPECT_EQ(number.value(), value) << sign << digits;
            EXPECT_EQ(number.isSigned(), sign != "") << sign << digits;
            EXPECT_EQ(number.isNegative(), sign == "-") << sign << digits;
        }
    }
    for (const std::string text :
         {"+18446744073709551615", "-9223372036854775809", "", "  ", "+", "--5", "5x", "\b5", "\x1F-5"}) {
        const Number number(text, 10);
        EXPECT_FALSE(number.isValid()) << text;
        for (const std::function<void()>& ask : {std::function<void()>([&] { (void)number.value(); }),
                                                 {[&] { (void)number.isSigned(); }},
                                                 {[&] { (void)number.isNegative(); }}})
            EXPECT_EQ(number_failure_of(ask),
                      "CNumberConversion::value: Cannot deserialize number from text. (Value '" + text +
                          "' is not a valid number.)");
    }
}

void expect_reals() {
    EXPECT_EQ(Number::toDouble("1.5"), 1.5);
    EXPECT_EQ(Number::toDouble(" -2e3"), -2000);
    EXPECT_EQ(Number::toDouble("0"), 0);
    EXPECT_EQ(Number::toFloat("0.1"), 0.1F);
    EXPECT_TRUE(std::isinf(Number::toFloat("1e39")));
    for (const std::string text : {"", " ", "1.5x", "1,5", "1.5 "}) {
        EXPECT_EQ(number_failure_of([&] { Number::toDouble(text); }), refused("toDouble", text));
        EXPECT_EQ(number_failure_of([&] { Number::toFloat(text); }), refused("toFloat", text));
    }
    EXPECT_EQ(number_failure_of([] { Number::toDouble("1e999"); }, ERANGE),
              refused("toDouble", "1e999", ERANGE));
    EXPECT_EQ(Number::toString(1.5), "1.5");
    EXPECT_EQ(Number::toString(1.5F), "1.500000");
    EXPECT_EQ(Number::toString(1234567L), "1234567");
}

TEST(Number, IsReadAndWrittenAsAReal) {
    expect_reals();
}

// Switches the process to a locale with a decimal comma, if this system has one or can make one.
bool use_comma() {
    const std::string folder = testing::TempDir() + "ksl-locale";
    const std::string command =
        "mkdir -p " + folder + " && localedef -i de_DE -f UTF-8 " + folder + "/de_DE.UTF-8";
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr && std::system((command + " 2>&1").c_str()) != -1) {
        setenv("LOCPATH", folder.c_str(), 1);
        std::setlocale(LC_ALL, "de_DE.UTF-8");
    }
    return *std::localeconv()->decimal_point == ',';
}

TEST(Number, IgnoresTheLocale) {
    const bool comma = use_comma();
    if (comma) expect_reals();
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    if (!comma) GTEST_SKIP() << "no locale with a decimal comma on this system";
}

TEST(Number, IsWrittenInItsForm) {
    const std::pair<std::string, const char*> cases[] = {
        {Number::toString(std::numeric_limits<long long>::min()), "-9223372036854775808"},
        {Number::toString(std::numeric_limits<unsigned long long>::max()), "18446744073709551615"},
        {Number::toString(1234567.0), "1.23457e+06"},
        {Number::toString(-1e-5), "-1e-05"},
        {Number::toString(std::numeric_limits<double>::infinity()), "inf"},
        {Number::toString(0.1F), "0.100000"},
        {Number::toString(-std::numeric_limits<float>::max()),
         "-340282346638528859811704183484516925440.000000"}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text, expected);
}

TEST(ByteOrder, IsThatOfTheNetwork) {
    using Order = ksl::CByteOrderConversion;
    const auto bytes = [](auto value) {
        return std::string(reinterpret_cast<const char*>(&value), sizeof value);
    };
    EXPECT_EQ(bytes(Order::hton(std::uint8_t{0x81})), "\x81");
    EXPECT_EQ(bytes(Order::hton(std::uint16_t{0x8102})), "\x81\x02");
    EXPECT_EQ(bytes(Order::hton(std::uint32_t{0x81020304})), "\x81\x02\x03\x04");
    EXPECT_EQ(bytes(Order::hton(std::uint64_t{0x8102030405060708})), "\x81\x02\x03\x04\x05\x06\x07\x08");
    EXPECT_EQ(bytes(Order::hton(0x8102030405060708ULL)), "\x81\x02\x03\x04\x05\x06\x07\x08");
    EXPECT_EQ(bytes(Order::ntoh(-2LL)), bytes(Order::hton(static_cast<std::int64_t>(-2L))));
    EXPECT_EQ(bytes(Order::hton('x')), "x");
    EXPECT_EQ(bytes(Order::hton(std::int16_t{-2})), "\xFF\xFE");
    EXPECT_EQ(bytes(Order::hton(std::int32_t{-2})), "\xFF\xFF\xFF\xFE");
    EXPECT_EQ(bytes(Order::hton(std::int64_t{-2})), "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE");
    EXPECT_EQ(Order::hton(std::int8_t{-2}), -2);
    EXPECT_EQ(Order::ntoh(Order::hton(std::int64_t{-0x0102030405060708})), -0x0102030405060708);
    EXPECT_EQ(Order::ntoh(Order::hton(std::uint16_t{0x0102})), 0x0102);
}

}  // namespace
