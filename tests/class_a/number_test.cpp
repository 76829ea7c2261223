#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>

#include "class_a/failure.h"
#include "class_a/standard/CByteOrderConversion.h"
#include "class_a/standard/CNumberConversion.h"
#include "class_a/standard/CNumberConversionException.h"

namespace {

using Number = ksl::CNumberConversion;

// The failure of `run`, which is of the class for numbers.
std::string number_failure_of(const std::function<void()>& run, int code = 0) {
    const auto checked = [&] {
        try {
            run();
        } catch (ksl::CNumberConversionException&) {
            throw;
        } catch (ksl::CException& failure) {
            ADD_FAILURE() << "of another class: " << failure.text();
            throw;
        }
    };
    return failure_of(checked, nullptr, code);
}

std::string refused(const std::string& function, const std::string& text, int code = 0) {
    const std::string reason = code == 0 ? "" : " (" + ksl::CException::systemText(code) + ")";
    return "CNumberConversion::" + function + ": Cannot deserialize number '" + text + "' from text." +
           reason;
}

TEST(Number, IsReadInItsRangeOnly) {
    struct Case {
        const char* function;
        const char* reason;
        const char* least;
        const char* most;
        const char* below;
        const char* above;
        std::function<std::string(const std::string&)> read;
    };
#define CASE(reason, least, most, below, above, operation)                                        \
    {                                                                                             \
#operation, reason, least, most, below, above,                                            \
            [](const std::string& text) { return Number::toString(Number::operation(text, 10)); } \
    }
    const Case cases[] = {
        CASE("8 bits", "-128", "127", "-129", "128", toInt8),
        CASE("8 bits", "0", "255", "", "256", toUInt8),
        CASE("16 bits", "-32768", "32767", "-32769", "32768", toInt16),
        CASE("16 bits", "0", "65535", "", "65536", toUInt16),
        CASE("16 bits", "-32768", "32767", "-32769", "32768", toShort),
        CASE("16 bits", "0", "65535", "", "65536", toUShort),
        CASE("32 bits", "-2147483648", "2147483647", "-2147483649", "2147483648", toInt32),
        CASE("32 bits", "0", "4294967295", "", "4294967296", toUInt32),
        CASE("32 bits", "-2147483648", "2147483647", "-2147483649", "2147483648", toInt),
        CASE("32 bits", "0", "4294967295", "", "4294967296", toUInt),
        CASE("32 bits", "-2147483648", "2147483647", "-2147483649", "2147483648", toLong),
        CASE("32 bits", "0", "4294967295", "", "4294967296", toULong),
    };
    for (const Case& each : cases) {
        EXPECT_EQ(each.read(each.least), each.least) << each.function;
        EXPECT_EQ(each.read(each.most), each.most) << each.function;
        for (const std::string text : {each.below, each.above}) {
            if (text.empty()) continue;
            EXPECT_EQ(number_failure_of([&] { each.read(text); }),
                      "CNumberConversion::" + std::string(each.function) +
                          ": Cannot deserialize number from text. (Value '" + text + "' overflows " +
                          each.reason + ".)");
        }
        const std::string wide = each.least[0] == '-' ? "toInt64" : "toUInt64";
        EXPECT_EQ(number_failure_of([&] { each.read("x"); }), refused(wide, "x")) << each.function;
    }
}

TEST(Number, IsReadAsAWhole) {
    struct Case {
        std::string text;
        int base;
        std::string asUnsigned;
        std::string asSigned;
        int code = 0;  // of the refusals that have one
    };
    const std::string minus =
        "CNumberConversion::toUInt64: Cannot deserialize number from text. (Invalid format '";
    const auto isSigned = [&](const std::string& text) { return minus + text + "' appears signed.)"; };
    const auto neither = [](const std::string& text, int code = 0) {
        return Case{text, 10, refused("toUInt64", text, code), refused("toInt64", text, code), code};
    };
    const Case cases[] = {
        {"", 10, "0", "0"},
        {"+5", 10, "5", "5"},
        {" 7", 10, "7", "7"},
        {"\t\n7", 10, "7", "7"},
        {"0x1F", 0, "31", "31"},
        {"010", 0, "8", "8"},
        {"zz", 36, "1295", "1295"},
        {"-1", 10, isSigned("-1"), "-1"},
        {"1-", 10, isSigned("1-"), refused("toInt64", "1-")},
        {"18446744073709551615", 10, "18446744073709551615",
         refused("toInt64", "18446744073709551615", ERANGE), ERANGE},
        {"-9223372036854775808", 10, isSigned("-9223372036854775808"), "-9223372036854775808"},
        {"12", 1, refused("toUInt64", "12", EINVAL), refused("toInt64", "12", EINVAL), EINVAL},
        neither("7 "),
        neither(" "),
        neither("+"),
        neither("0x1F"),
        neither("18446744073709551616", ERANGE),
    };
    for (const Case& each : cases) {
        std::string result;
        std::string failure = number_failure_of(
            [&] { result = Number::toString(Number::toUInt64(each.text, each.base)); }, each.code);
        EXPECT_EQ(result.empty() ? failure : result, each.asUnsigned) << each.text;
        const bool unsignedIsNumber = !result.empty();
        result.clear();
        failure = number_failure_of([&] { result = Number::toString(Number::toInt64(each.text, each.base)); },
                                    each.code);
        EXPECT_EQ(result.empty() ? failure : result, each.asSigned) << each.text;
        const bool minusInText = each.text.find('-') != std::string::npos;
        EXPECT_EQ(Number::isNumber(each.text, each.base),
                  !each.text.empty() && (minusInText ? !result.empty() : unsignedIsNumber))
            << each.text;
    }
    EXPECT_NE(number_failure_of([] { Number::toUInt64(std::string("1\0", 2), 10); }), "no failure");
}

TEST(Number, KeepsItsSignApart) {
    struct Case {
        const char* text;
        bool valid;
        std::uint64_t value;
        bool hasSign;
        bool negative;
    };
    const Case cases[] = {{"  -5", true, 5, true, true},
                          {"+7", true, 7, true, false},
                          {"7", true, 7, false, false},
                          {"\t-5", true, 5, true, true},
                          {"-0", true, 0, true, true},
                          {"-9223372036854775808", true, 9223372036854775808U, true, true},
                          {"18446744073709551615", true, 18446744073709551615U, false, false},
                          {"+18446744073709551615", false, 0, false, false},
                          {"-9223372036854775809", false, 0, false, false},
                          {"", false, 0, false, false},
                          {"  ", false, 0, false, false},
                          {"+", false, 0, false, false},
                          {"--5", false, 0, false, false},
                          {"5x", false, 0, false, false}};
    for (const Case& each : cases) {
        const Number number(each.text, 10);
        ASSERT_EQ(number.isValid(), each.valid) << each.text;
        if (each.valid) {
            EXPECT_EQ(number.value(), each.value) << each.text;
            EXPECT_EQ(number.isSigned(), each.hasSign) << each.text;
            EXPECT_EQ(number.isNegative(), each.negative) << each.text;
            continue;
        }
        const std::string expected =
            "CNumberConversion::value: Cannot deserialize number from text. (Value '" +
            std::string(each.text) + "' is not a valid number.)";
        EXPECT_EQ(number_failure_of([&] { (void)number.value(); }), expected);
        EXPECT_EQ(number_failure_of([&] { (void)number.isSigned(); }), expected);
        EXPECT_EQ(number_failure_of([&] { (void)number.isNegative(); }), expected);
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
        {Number::toString(static_cast<signed char>(-128)), "-128"},
        {Number::toString(static_cast<unsigned char>(255)), "255"},
        {Number::toString(static_cast<short>(-32768)), "-32768"},
        {Number::toString(static_cast<unsigned short>(65535)), "65535"},
        {Number::toString(std::numeric_limits<int>::min()), "-2147483648"},
        {Number::toString(std::numeric_limits<unsigned int>::max()), "4294967295"},
        {Number::toString(-2147483647L), "-2147483647"},
        {Number::toString(4294967295UL), "4294967295"},
        {Number::toString(std::numeric_limits<long long>::min()), "-9223372036854775808"},
        {Number::toString(std::numeric_limits<unsigned long long>::max()), "18446744073709551615"},
        {Number::toString(0.0), "0"},
        {Number::toString(0.1), "0.1"},
        {Number::toString(1234567.0), "1.23457e+06"},
        {Number::toString(-1e-5), "-1e-05"},
        {Number::toString(1e300), "1e+300"},
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
    EXPECT_EQ(bytes(Order::hton(std::int16_t{-2})), "\xFF\xFE");
    EXPECT_EQ(bytes(Order::hton(std::int32_t{-2})), "\xFF\xFF\xFF\xFE");
    EXPECT_EQ(bytes(Order::hton(std::int64_t{-2})), "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE");
    EXPECT_EQ(Order::hton(std::int8_t{-2}), -2);
    EXPECT_EQ(Order::ntoh(Order::hton(std::int64_t{-0x0102030405060708})), -0x0102030405060708);
    EXPECT_EQ(Order::ntoh(Order::hton(std::uint16_t{0x0102})), 0x0102);
}

}  // namespace
