#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string_view>
#include <utility>

#include "class_a/failure.h"
#include "class_a/standard/CMessage.h"
#include "class_a/standard/CObject.h"

namespace {

using Buffer = ksl::CArgBuffer<100, 1024, 200>;

constexpr const char* kNoSpace =
    "CArgBuffer::_checkSpace: Cannot process argument. (Not enough buffer space.)";

TEST(ArgBuffer, RendersEveryKind) {
    Buffer buffer;
    buffer.pushc(-128).pushuc(255).pushh(-32768).pushuh(65535).pushl(-2147483647L - 1).pushul(4294967295UL);
    buffer.pushx(0xBEEF).pushx(0).pushi(INT_MIN).pushui(UINT_MAX).pushd(0.1).pushd(1e100).pushs("short");
    buffer.pushs(std::string("cut\0off", 7)).pushs(std::string(500, 'x')).pushs("");
    const std::string kept(500, 'x');
    const std::string expected[] = {
        "-128",        "255",        "-32768", "65535",  "-2147483648", "4294967295", "0xbeef", "0",
        "-2147483648", "4294967295", "0.1",    "1e+100", "short",       "cut",        kept,     ""};
    ASSERT_EQ(buffer.size(), std::size(expected));
    for (unsigned long i = 0; i < buffer.size(); ++i)
        EXPECT_EQ(buffer.arg(i), expected[i]) << i;
    for (const unsigned long end : {16UL, 0UL}) {
        EXPECT_EQ(failure_of([&] { (void)buffer.arg(end); }),
                  "CArgBuffer::arg: Cannot access argument " + std::to_string(end) + ". (Out of bounds.)");
        buffer.clear();
    }
    EXPECT_EQ(failure_of([&] { buffer.pushs(static_cast<const char*>(nullptr)); }),
              "CArgBuffer::pushs: Cannot push string argument. (Invalid pointer.)");
    EXPECT_EQ(buffer.size(), 0U);
}

// A secret that was put in is gone from the memory of the buffer.
TEST(ArgBuffer, IsWipedByClear) {
    Buffer buffer;
    const std::string_view memory(reinterpret_cast<const char*>(&buffer), sizeof buffer);
    buffer.pushs("first").pushs("secret");
    EXPECT_NE(memory.find("secret"), std::string::npos);
    buffer.clear();
    EXPECT_EQ(memory.find("secret"), std::string::npos);
}

TEST(ArgBuffer, NeverCutsAWideLong) {
    Buffer buffer;
    buffer.pushl(LONG_MIN).pushul(ULONG_MAX).pushx(ULONG_MAX);
    EXPECT_EQ(buffer.arg(0), std::to_string(LONG_MIN));
    EXPECT_EQ(buffer.arg(1), std::to_string(ULONG_MAX));
    EXPECT_EQ(buffer.arg(2), "0x" + std::string(2 * sizeof(long), 'f'));
}

TEST(ArgBuffer, TakesAHundredArguments) {
    const std::function<void(Buffer&)> pushes[] = {
        [](Buffer& buffer) { buffer.pushl(1); }, [](Buffer& buffer) { buffer.pushd(1); },
        [](Buffer& buffer) { buffer.pushs(std::string(200, 'x')); }};
    for (const auto& push : pushes) {
        Buffer buffer;
        for (int i = 0; i < 100; ++i)
            push(buffer);
        EXPECT_EQ(failure_of([&] { push(buffer); }),
                  "CArgBuffer::_checkSpace: Cannot process argument. (Too many arguments.)");
        EXPECT_EQ(buffer.size(), 100U);
    }
}

TEST(ArgBuffer, CountsItsBytes) {
    const std::pair<unsigned, std::function<void(Buffer&)>> cases[] = {
        {1, [](Buffer& b) { b.pushc(1); }},
        {2, [](Buffer& b) { b.pushh(1); }},
        {4, [](Buffer& b) { b.pushl(1); }},
        {4, [](Buffer& b) { b.pushx(1); }},
        {8, [](Buffer& b) { b.pushd(1); }},
        {1, [](Buffer& b) { b.pushs(""); }},
        {200, [](Buffer& b) { b.pushs(std::string(199, 'x')); }},
        {8, [](Buffer& b) { b.pushs(std::string(200, 'x')); }}};  // on the heap
    for (const auto& [size, push] : cases) {
        for (const unsigned missing : {0U, 1U}) {
            Buffer buffer;
            unsigned left = 1024 - size + missing;
            for (; left > 200; left -= 100)
                buffer.pushs(std::string(99, 'f'));
            if (left > 0) buffer.pushs(std::string(left - 1, 'f'));
            const auto before = buffer.size();
            const auto run = [&buffer, &add = push] { add(buffer); };
            EXPECT_EQ(failure_of(run), missing == 0 ? "no failure" : kNoSpace) << size;
            EXPECT_EQ(buffer.size(), before + 1 - missing);
            const bool full = missing == 0 || size == 1;
            EXPECT_EQ(failure_of([&] { buffer.pushc(1); }), full ? kNoSpace : "no failure") << size;
        }
    }
}

TEST(ArgBuffer, CopiesShareNothing) {
    Buffer copy;
    copy.pushs(std::string(400, 'o'));
    {
        Buffer source;
        source.pushi(7).pushs(std::string(300, 'x')).pushs("s");
        copy = source;
        const Buffer second(source);
        EXPECT_EQ(second.arg(1), std::string(300, 'x'));
        source.clear();
    }
    const Buffer& self = copy;
    copy = self;
    copy.pushs("more");
    ASSERT_EQ(copy.size(), 4U);
    EXPECT_EQ(copy.arg(0), "7");
    EXPECT_EQ(copy.arg(1), std::string(300, 'x'));
    EXPECT_EQ(copy.arg(2), "s");
    EXPECT_EQ(copy.arg(3), "more");
}

TEST(Message, FillsItsPlaceholders) {
    struct Case {
        const char* format;
        std::vector<std::string> values;
        const char* text;
    };
    const Case cases[] = {{"plain", {"x"}, "plain"},
                          {"a %1 b %2", {"x"}, "a x b %2"},
                          {"%2 %1 %2", {"x", "y"}, "y x y"},
                          {"%1%1", {"x"}, "x%1"},
                          {"%1 %1", {"%1"}, "%1 %1"},
                          {"%1", {"%2", "y"}, "y"},
                          {"%1 %10", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}, "1 10"},
                          {"%%1 %0 %", {"x"}, "%x %0 %"},
                          {"%1", {""}, ""}};
    for (const auto& [format, values, text] : cases) {
        ksl::CMessage message{std::string(format)};
        for (const std::string& value : values)
            message << value;
        EXPECT_EQ(message.text(), text) << format;
        EXPECT_EQ(message.text(), text) << "the second time";
    }
    ksl::CMessage message("%1 %2 %3 %4 %5");
    message << -1 << 2U << -3L << 4UL << "five";
    EXPECT_EQ(message.text(), "-1 2 -3 4 five");
    message.format("%5");
    EXPECT_EQ(std::as_const(message).text(), "five");
}

template <class Value>
concept Pushable = requires(ksl::CMessage message, Value value) {
    message << value;
};

TEST(Message, TakesAValueAsWhatItIs) {
    ksl::CMessage message("%1 %2 %3 %4 %5 %6");
    message << 'x' << 1.5 << 2.5F << LLONG_MIN << ULLONG_MAX << static_cast<signed char>(-7);
    EXPECT_EQ(message.text(), "x 1.5 2.5 -9223372036854775808 18446744073709551615 -7");
    static_assert(Pushable<short> && Pushable<bool> && Pushable<std::size_t> && Pushable<char*>);
    static_assert(!Pushable<wchar_t> && !Pushable<char16_t> && !Pushable<void*>);
}

TEST(Message, BeginsWithItsDefaultsAndCopiesWhole) {
    ksl::CMessage source("%1");
    EXPECT_EQ(ksl::CMessage().domain(), "standard");
    EXPECT_EQ(ksl::CMessage().format(), "");
    EXPECT_EQ(source.domain(), "extended");
    EXPECT_EQ(source.id(), -1);
    source << std::string(1000, 'x');
    source.id(5);
    ksl::CMessage copy;
    copy = source;
    source = ksl::CMessage();
    EXPECT_EQ(copy.text(), std::string(1000, 'x'));
    EXPECT_EQ(copy.id(), 5);
    EXPECT_EQ(copy.domain(), "extended");
}

struct Word : ksl::CObject {
    bool set(const std::string& value) override { return !(text = value).empty(); }
    std::string string() const override { return text; }
    std::string text;
};

TEST(Object, ForwardsItsTextForm) {
    Word word;
    ksl::CObject& object = word;
    EXPECT_FALSE(object.deserialize(""));
    EXPECT_TRUE(object.deserialize("text"));
    EXPECT_EQ(word.text, "text");
    EXPECT_EQ(object.serialize(), "text");
    const ksl::CObject* const pointer = &object;
    EXPECT_EQ(object.className(), typeid(pointer).name());
}

}  // namespace
