#include "class_a/standard/CStringMap.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "class_a/standard/CNumberConversionException.h"

using ksl::CStringMap;

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

Entries entries_of(const CStringMap& map) {
    return {map.begin(), map.end()};
}

TEST(StringMap, ParsesEntries) {
    const std::tuple<const char*, const char*, char, Entries> cases[] = {
        {"b=1\n\n \na=2\n", "\n", 0, {{"a", "2"}, {"b", "1"}}},
        {nullptr, nullptr, 0, {}},
        {"a=b=c", "\n", 0, {{"a", "b=c"}}},
        {"flag\n=x", nullptr, 0, {{"", "x"}, {"flag", ""}}},
        {" a = 1 \n\tb\t=2", "\n", 0, {{"a", "1"}, {"b", "2"}}},
        {"\t a \t=1", "\n", 0, {{" a ", "1"}}},  // blanks go before tabs
        {"k=2\nk=1", "\n", 0, {{"k", "2"}, {"k", "1"}}},
        {"\"a=1,2\",\" b=3 \"", ",", '"', {{"a", "1,2"}, {"b", "3"}}},
        {"a=1,b=2", ",", '"', {{"a", "1,b=2"}}},
        {"a=1; b=2;c=3", "; ", 0, {{"a", "1"}, {"b", "2;c=3"}}},
        {"a=1", "", 0, {{"a", "1"}}}};
    for (const auto& [text, separator, quote, entries] : cases)
        EXPECT_EQ(entries_of(CStringMap(text, separator, quote)), entries) << text;
    CStringMap map("a=1");
    EXPECT_TRUE(map.set(std::string("b=2\nc\0d=3", 9)));
    EXPECT_EQ(map.serialize(), "a=1\nb=2\nc=\n");
    EXPECT_EQ(CStringMap().string() + CStringMap().format(",", true, "'") + CStringMap().get("x"), "");
}

// What `format` writes `parse` reads back, for keys and values that parsing leaves alone.
TEST(StringMap, ReadsWhatItWrites) {
    std::mt19937 random(4);
    const auto text = [&random](const std::string& alphabet, std::size_t most) {
        std::string result;
        for (std::size_t i = random() % (most + 1); i > 0; --i)
            result += alphabet[random() % alphabet.size()];
        return result;
    };
    for (int i = 0; i < 2000; ++i) {
        const char quote = i % 3 == 0 ? '"' : 0;
        CStringMap map("", "|", quote, i % 2 == 0);
        for (std::size_t n = random() % 8; n > 0; --n)
            map.add("k" + text("aAbB\xE4\x7F_.", 3), text("xyz=%\xFF\n", 6) + ".");
        CStringMap read("", "|", quote, i % 2 == 0);
        ASSERT_TRUE(read.parse(map.format("", i % 5 == 0, quote == 0 ? "" : "\"")));
        ASSERT_EQ(entries_of(read), entries_of(map));
        std::string plain;
        map.write(plain);
        ASSERT_EQ(plain, map.format("|", true, ""));
    }
}

TEST(StringMap, FindsTheFirstOfEqualKeys) {
    for (const bool ignoreCase : {false, true}) {
        CStringMap map("Key=old\nother=\nkey=new", "\n", 0, ignoreCase);
        EXPECT_EQ(map.get("key"), ignoreCase ? "old" : "new");
        EXPECT_EQ(map.has("KEY"), ignoreCase);
        EXPECT_TRUE(map.has("other") && !map.hasValue("other") && map.get("other", "fallback") == "fallback");
        EXPECT_FALSE(map.has("othe") || map.has("others") || map.has(""));
        EXPECT_EQ(map.get(std::string("Key"), std::string("fallback")), "old");
        map["key"] = "set";
        map.set("added", "x");
        map.add("added", "y");
        EXPECT_EQ(map.get("Key") + map.get("added"), ignoreCase ? "setx" : "oldx");
        EXPECT_EQ(map.size(), 5U);
    }
}

// The order must be one for any keys, or the tree of the map goes astray.
TEST(StringMap, OrdersKeys) {
    std::mt19937 random(5);
    for (const bool caseSensitive : {false, true}) {
        const less_string less(caseSensitive);
        std::vector<std::string> keys(50);
        for (std::string& key : keys)
            for (std::size_t n = random() % 4; n > 0; --n)
                key += "aAbZ\xE4\0"[random() % 6];
        for (const auto& a : keys)
            for (const auto& b : keys)
                for (const auto& c : keys) {
                    EXPECT_FALSE(less(a, b) && less(b, a));
                    EXPECT_TRUE(!less(a, b) || !less(b, c) || less(a, c));
                    EXPECT_TRUE(less(a, b) || less(b, c) || !less(a, c));
                }
        EXPECT_EQ(less("B", "a"), caseSensitive);
        EXPECT_EQ(less("\xE4", "a"), !caseSensitive);
        EXPECT_TRUE(less("a", "aB") && !less("aB", "a"));
        // Without case what follows a zero byte counts by its length only.
        const std::string b("a\0b", 3), c("a\0c", 3), longer("a\0bc", 4);
        EXPECT_EQ(less(b, c), caseSensitive);
        EXPECT_TRUE(!less(c, b) && less("a", b) && !less(b, "a") && less(b, longer) && !less(longer, b));
    }
}

TEST(StringMap, TakesOverOtherMaps) {
    const CStringMap map("a=1\nb=2", "\n", 0, true);
    const CStringMap other("\"A=3\"|\"c=4\"", "|", '"', false);
    CStringMap copy(map);
    copy.update(other);
    EXPECT_EQ(copy.string() + copy.separator(), "a=3\nb=2\nc=4\n\n");
    copy.add(other);
    EXPECT_EQ(copy.string(), "a=3\nA=3\nb=2\nc=4\nc=4\n");
    EXPECT_EQ((map + other).format("", false, ""), "a=1|A=3|b=2|c=4");
    EXPECT_EQ(map.get("a"), "1");

    copy = other;
    EXPECT_TRUE(copy.separator() == "|" && copy.has("a"));  // still without case
    const CStringMap& self = copy;
    copy = self;
    copy += self;
    copy.update(self);
    EXPECT_EQ(copy.string(), "A=3\nA=3\nc=4\nc=4\n");
    copy = copy.begin()->second.c_str();
    EXPECT_EQ(copy.string(), "3=\n");
    copy = std::string("\"x=1|\"|\"y=2\"");
    EXPECT_EQ(entries_of(copy), (Entries{{"x", "1|"}, {"y", "2"}}));
}

TEST(StringMap, ReadsNumbers) {
    const CStringMap map("n=-5\nu=300\ntext=abc\nempty=\nwide=4294967296\nmost=18446744073709551615");
    EXPECT_EQ(map.getLong("n") + map.getShort("n", 7) + map.getInt64("n", 7), -15);
    EXPECT_EQ(map.getInt8("u") + map.getUInt8("u") + map.getUInt8("u", 7), 3 * 44);  // cut to the width
    EXPECT_EQ(map.getInt16("u") + map.getInt32("u") + map.getUInt16("u") + int(map.getUInt32("u", 7)), 1200);
    EXPECT_EQ(map.getUInt64("most"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(map.getTime("wide", 7), 4294967296);
    for (const char* const key : {"empty", "absent"}) {
        EXPECT_EQ(map.getLong(key) + map.getShort(key) + map.getInt64(key), 0);
        EXPECT_EQ(map.getULong(key) + map.getUInt64(key) + map.getUInt16(key), 0U);
        EXPECT_EQ(map.getLong(key, 5) + map.getShort(key, 5) + map.getInt64(key, 5), 15);
        EXPECT_EQ(map.getULong(key, 5) + map.getUInt64(key, 5) + map.getUInt8(key, 5) + map.getUInt16(key, 5),
                  20U);
        EXPECT_TRUE(map.getTime(key, 5) == 5 && map.getFloat(key, 5) == 5 && map.getDouble(key, 5) == 5);
    }
    const std::function<void()> refused[] = {
        [&] { map.getLong("text", 5); },  [&] { map.getLong("wide", 5); },  [&] { map.getULong("n", 5); },
        [&] { map.getShort("wide", 5); }, [&] { map.getInt64("most", 5); }, [&] { map.getTime("text", 5); },
        [&] { map.getUInt8("wide", 5); }, [&] { map.getInt8("wide"); }};
    for (const auto& run : refused)
        EXPECT_THROW(run(), ksl::CNumberConversionException);
}

template <class Value>
concept Writes = requires(CStringMap map, Value value) {
    map.setBool("key", value);
};
template <class Value>
concept Sets = requires(CStringMap map, Value value) {
    map.set("key", value);
};
template <class Value>
concept Reads = requires(CStringMap map, Value value) {
    map.getBool("key", value);
};

TEST(StringMap, RefusesWhatWouldBeTakenForSomethingElse) {
    static_assert(Writes<bool> && Writes<int> && !Writes<const char*> && !Writes<char*>);
    static_assert(Sets<const char*> && !Sets<std::nullptr_t>);
    static_assert(Reads<bool> && Reads<int> && !Reads<const char*> && !Reads<char*>);
    static_assert(std::is_constructible_v<CStringMap, const char*, const char*, char>);
    static_assert(!std::is_constructible_v<CStringMap, const char*, const char*, bool>);
    static_assert(!std::is_constructible_v<CStringMap, std::string, const char*, bool>);
    static_assert(!std::is_constructible_v<CStringMap, std::string, const char*, bool, bool>);
    CStringMap map("a=1;b=2", ";", 0);
    map.setBool("v", 0);
    EXPECT_FALSE(map.getBool("v", 0));
    // A fallback that is gone after the call isn't given out by reference.
    static_assert(!std::is_reference_v<decltype(map.get(std::string(), "x"))>);
    static_assert(!std::is_reference_v<decltype(map.get("x", std::string()))>);
    EXPECT_EQ(map.get(std::string("x"), "none") + map.get("a", std::string("none")), "none1");
}

TEST(StringMap, ReadsFlagsFractionsAndDurations) {
    const CStringMap map("a=true\nb=TRUE\nc=True\nd=tRUE\ne=1\nf=yes\ng=\nh= 2.5x\ni=x\nj=-1e2");
    for (const char* const key : {"a", "b", "c"})
        EXPECT_TRUE(map.getBool(key) && map.getBool(key, false)) << key;
    for (const char* const key : {"d", "e", "f", "g"})
        EXPECT_FALSE(map.getBool(key) || map.getBool(key, true)) << key;
    EXPECT_TRUE(map.getBool("absent", true) && !map.getBool("absent"));
    EXPECT_TRUE(map.getFloat("h", 1) == 2.5F && map.getFloat("i", 1) == 0 && map.getFloat("j", 1) == -100);
    EXPECT_TRUE(map.getDouble("h", 1) == 2.5 && std::isinf(CStringMap("d=-infx").getDouble("d", 77)));
    const std::pair<const char*, int> doubles[] = {{"2x", 2},    {"x", 77},         {"1e2", 100}, {"0x", 77},
                                                   {"-0Xg", 77}, {"0x1", 1},        {"00x", 0},   {"10x", 10},
                                                   {"infi", 77}, {" +INFINIT", 77}, {"0xfi", 15}};
    for (const auto& [text, expected] : doubles)
        EXPECT_EQ(CStringMap("d=" + std::string(text)).getDouble("d", 77), expected) << text;

    const std::pair<const char*, unsigned long> durations[] = {
        {"5", 5000000}, {"5s", 5000000}, {"5ms", 5000},    {"5us", 5},
        {"5h", 77},     {"1m2s", 12000}, {"", 0},          {"s", 0},
        {"5 s", 77},    {"-5s", 77},     {"4295s", 32704}, {"4294967295us", 4294967295}};
    for (const auto& [text, expected] : durations)
        EXPECT_EQ(CStringMap("d=" + std::string(text)).getDuration("d", 77), expected) << text;
    EXPECT_EQ(map.getDuration("absent", 77), 77U);
    EXPECT_THROW(CStringMap("d=4294967296").getDuration("d", 77), ksl::CNumberConversionException);
}

TEST(StringMap, WritesTypedValues) {
    CStringMap map("a=old");
    map.setBool("a", true);
    map.setInt8("b", -128);
    map.setUInt8("c", 255);
    map.setShort("d", -32768);
    map.setFloat("e", 0.1F);
    map.setTime("f", std::numeric_limits<std::int64_t>::min());
    map.setUInt64("g", std::numeric_limits<std::uint64_t>::max());
    map.setSeconds("h", 5);
    map.setMilliseconds("i", 6);
    map.setMicroseconds("j", 7);
    map.setDouble("k", 0.1);
    EXPECT_EQ(map.string(),
              "a=true\nb=-128\nc=255\nd=-32768\ne=0.1\nf=-9223372036854775808\ng=18446744073709551615\nh="
              "5s\ni=6ms\n"
              "j=7us\nk=0.10000000000000001\n");
    std::mt19937_64 random(6);
    for (int i = 0; i < 2000; ++i) {
        const double value = std::bit_cast<double>(random());
        map.setDouble("x", value);
        const double read = map.getDouble("x", 77);
        ASSERT_TRUE(read == value || (std::isnan(read) && std::isnan(value))) << map.get("x");
    }
}

TEST(StringMap, Expands) {
    const CStringMap map("name=x\nloop=<%loop%>\na=%b%%b%\nb=1\nname=second");
    const std::pair<const char*, const char*> texts[] = {{"%name%%name%\\x41", "xxA"},
                                                         {"50% of %none% %nam", "50% of %none% %nam"},
                                                         {"%loop%", "<%loop%>"},
                                                         {"%a%", "11"},
                                                         {"%%name%", "%x"}};
    for (const auto& [text, expected] : texts)
        EXPECT_EQ(map.expand(text), expected) << text;
    EXPECT_EQ(CStringMap("=100\nx=1").expand("%%x%%%"), "100x100%");
    // What a replacement brings about together with the text around it is replaced as well.
    EXPECT_EQ(CStringMap("name=").expand("%na%name%me%|%%name%name%"), "|");
    EXPECT_EQ(CStringMap("ab=b").expand("%a%ab%%%ab%"), "bb");
    EXPECT_EQ(CStringMap("ab=b%a").expand("%ab%%ab%"), "bb%aa");
    EXPECT_EQ(CStringMap("name=me%").expand("%na%name%"), "me%");
    EXPECT_EQ(CStringMap("a=a%%").expand("%a%%a%"), "a%%a%%");  // and there is an end
}

TEST(StringMap, AsksADerivedClassForMissingValues) {
    class Numbered : public CStringMap {
      public:
        const std::string& missing(const std::string& key) const override {
            return key.empty() ? _none : _nine;
        }

      private:
        std::string _none, _nine = "9";
    };
    EXPECT_EQ(Numbered().get("") + Numbered().get("x", "fallback"), "fallback");
    EXPECT_EQ(Numbered().getLong("x") + Numbered().getLong("x", 5), 14);
}

}  // namespace
