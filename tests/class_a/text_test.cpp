#include <gtest/gtest.h>

#include <random>
#include <string_view>

#include "class_a/failure.h"
#include "class_a/standard/CStringMap.h"
#include "class_a/standard/ksl_text.h"

namespace {

using Texts = std::vector<std::string>;

// Takes all tokens of the text that begins the row; they are the rest of it.
template <class Take>
void expect_tokens(const Texts& row, Take take) {
    std::string text = row.front();
    std::string token;
    Texts found{text};
    while (take(text, token))
        found.push_back(token);
    EXPECT_EQ(found, row);
}

TEST(Tokens, AreTakenFromEitherEnd) {
    const Texts fromFront[] = {{""},
                               {"a,b", "a", "b"},
                               {"a,", "a"},
                               {",a", "", "a"},
                               {",", ""},
                               {R"("a,b",c)", R"("a,b")", "c"},
                               {R"("a,b)", R"("a,b)"},
                               {std::string("a\0b,c", 5), std::string("a\0b", 3), "c"}};
    for (const Texts& row : fromFront) {
        expect_tokens(row, [](auto& text, auto& token) { return ksl::next_token(text, ',', token, '"'); });
        Texts tokens{row.front()};
        ksl::split(row.front(), tokens, ',', '"');  // keeps what there was
        EXPECT_EQ(tokens, row);
    }
    expect_tokens({R"("a,b",c)", R"("a)", R"(b")", "c"},
                  [](auto& text, auto& token) { return ksl::next_token(text, ',', token, 0); });
    const Texts fromBack[] = {{""},        {"a", "a"},      {"a,b", "b", "a"},
                              {",a", "a"}, {"a,", "", "a"}, {R"(c,"a,b")", R"("a,b")", "c"}};
    for (const Texts& row : fromBack)
        expect_tokens(row, [](auto& text, auto& token) { return ksl::last_token(text, ',', token, '"'); });
}

TEST(Tokens, MayBeDividedByAText) {
    struct Case {
        const char* separator;
        char closing;
        Texts row;
    };
    const Case cases[] = {{"--", 0, {"a--b", "a", "b"}},
                          {"--", 0, {"a-b", "a-b"}},
                          {"--", 0, {"a--", "a"}},
                          {"--", '"', {"--a", "", "a"}},
                          {"--", '"', {R"("a--b"--c)", R"("a--b")", "c"}},
                          {"--", '-', {"a---b", "a-", "b"}},
                          {"", 0, {"ab", "ab"}},
                          {nullptr, 0, {"ab", "ab"}}};
    for (const auto& [separator, closing, row] : cases)
        expect_tokens(row, [divider = separator, quote = closing](auto& text, auto& token) {
            return ksl::next_token(text, divider, token, quote);
        });
}

// Moving what is left at each token would outlast the time that a test has.
TEST(Tokens, TakeAsLongAsTheText) {
    constexpr std::size_t kCount = 300000;
    std::string text;
    for (std::size_t i = 0; i < kCount; ++i)
        text += std::string(90, 'x') + "=\",";
    Texts tokens;
    ksl::split(text, tokens, ',', 0);
    EXPECT_EQ(tokens.size(), kCount);
    std::string_view rest = text;
    std::size_t count = 0;
    for (std::string token; ksl::next_token(rest, ",", token, '"');)
        ++count;
    EXPECT_EQ(count, kCount);
    EXPECT_EQ(ksl::CStringMap(text, ",", '"').size(), kCount);
}

TEST(Paths, AreCutAtTheLastSeparator) {
    const Texts cases[] = {{R"(dir\file)", "dir", "file"}, {"/x", "", "x"}, {"a/", "a", ""}, {"a", "", "a"},
                           {R"(a\b/c)", R"(a\b)", "c"},    {"", "", ""}};
    for (const Texts& each : cases) {
        std::string path = each[0];
        std::string directory = "old";
        std::string file = "old";
        ksl::split_path(path, directory, file);
        EXPECT_EQ((Texts{directory, file}), (Texts{each[1], each[2]})) << each[0];
        ksl::split_path(path, path, file);  // an output may be the input
        EXPECT_EQ((Texts{path, file}), (Texts{each[1], each[2]})) << each[0];
        path = each[0];
        ksl::split_path(path, directory, path);
        EXPECT_EQ((Texts{directory, path}), (Texts{each[1], each[2]})) << each[0];
    }
}

TEST(Paths, AreCleanedAtBothEnds) {
    const Texts clean[] = {{"../a/b", "a/b"}, {R"(\.a.\/)", "a"}, {"a.b", "a.b"}};
    const Texts others[] = {{"", ""}, {"a/../b", "a/../b"}, {"...", ""}, {"..a..b..", "a..b"}};
    const auto expect = [](const Texts& row, bool result) {
        std::string path = row[0];
        EXPECT_EQ(ksl::clean_relative_path(path), result) << row[0];
        EXPECT_EQ(path, row[1]) << row[0];
    };
    for (const Texts& each : clean)
        expect(each, true);
    for (const Texts& each : others)
        expect(each, false);
}

TEST(Trimming, RemovesUpToTheLimit) {
    const std::tuple<std::string, unsigned, unsigned> cases[] = {
        {"xxxa", 2, 2}, {"xxxa", 0, 3}, {"xxxa", 9, 3}, {"axa", 0, 0}, {"xx", 0, 2}, {"", 1, 0}};
    for (const auto& [text, limit, removed] : cases) {
        std::string left = text;
        EXPECT_EQ(ksl::trim_left(left, 'x', limit), removed) << text;
        EXPECT_EQ(left, text.substr(removed));
        std::string right(text.rbegin(), text.rend());
        EXPECT_EQ(ksl::trim_right(right, 'x', limit), removed) << text;
        EXPECT_EQ(std::string(right.rbegin(), right.rend()), left);
    }
    std::string text = "-+a+-b+";
    ksl::trim_left_any(text, "+-");
    ksl::trim_right_any(text, "+-");
    EXPECT_EQ(text, "a+-b");
    ksl::trim_left_any(text, "+-ab");
    EXPECT_EQ(text, "");
}

TEST(Quotes, AreStrippedAndPut) {
    const Texts cases[] = {{"\t \"\" a \"\n ", " a ", "\"\t \"\" a \"\n \""},
                           {R"("a")", "a", R"("a")"},
                           {R"("a" )", "a", R"("a" ")"},
                           {"", "", R"("")"},
                           {R"(""")", "", R"("")"}};
    for (const Texts& each : cases) {
        EXPECT_EQ(ksl::strip(each[0]), each[1]) << each[0];
        EXPECT_EQ(ksl::quote(each[0]), each[2]) << each[0];
    }
}

TEST(Comparing, KnowsNoCaseAndFindsBrackets) {
    EXPECT_TRUE(ksl::iequals("Az@[", "aZ@["));
    EXPECT_FALSE(ksl::iequals("@", "`"));  // the bytes next to the letters
    EXPECT_FALSE(ksl::iequals("ab", "a"));
    EXPECT_FALSE(ksl::iequals("a", "ab"));
    EXPECT_FALSE(ksl::iequals("\xC4", "\xE4"));
    EXPECT_FALSE(ksl::iequals("", static_cast<const char*>(nullptr)));
    EXPECT_TRUE(ksl::iequals(std::string("Ab\0x", 4), std::string("aB\0y", 4)));
    const std::pair<const char*, bool> brackets[] = {{"  [x] ", true}, {"[x", false}, {"x]", false},
                                                     {"[]", true},     {"[", false},  {"", false},
                                                     {"\t[x]", false}};
    for (const auto& [text, expected] : brackets)
        EXPECT_EQ(ksl::is_bracketed(text), expected) << text;
}

TEST(Replacing, SparesWhatIsEscaped) {
    EXPECT_EQ(ksl::replace_char("a.b.", '.', ".."), "a..b..");
    const Texts cases[] = {{R"(\ab)", "a", R"(\ab)"},
                           {"xAbab", "aB", "x<>ab"},
                           {R"(\\ab)", "a", R"(\\<>b)"},
                           {"ab", "abc", "ab"},
                           {"", "", ""},
                           {"ab", "", "<>ab"},
                           {R"(b\)", "a", R"(b\)"},
                           {"aab", "ab", "a<>"}};
    for (const Texts& each : cases) {
        std::string text = each[0];
        EXPECT_EQ(ksl::replace_first(text, each[1], "<>"), each[2] != each[0]) << each[0];
        EXPECT_EQ(text, each[2]);
    }
}

TEST(WideText, IsConverted) {
    const std::string mark = "\xEF\xBF\xBD";
    const std::tuple<std::string, std::wstring, std::string> cases[] = {
        {"", L"", ""},
        {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", L"a\u00e9\u20ac\U0001F600",
         "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {"\xC3", L"\uFFFD", mark},               // cut off at the end
        {"\xC3\x61", L"\uFFFDa", mark + "a"},    // cut off by another character
        {"\xFF\x61", L"\uFFFDa", mark + "a"},    // never a first byte
        {"\x80\x61", L"\uFFFDa", mark + "a"},    // a byte without its first
        {"\xC0\xAF", L"\uFFFD", mark},           // a slash, longer than need be
        {"\xED\xA0\x80", L"\uFFFD", mark},       // half a surrogate pair
        {"\xF4\x90\x80\x80", L"\uFFFD", mark}};  // above the last code point
    for (const auto& [utf8, wide, back] : cases) {
        EXPECT_EQ(ksl::from_utf8(utf8), wide) << back;
        EXPECT_EQ(ksl::to_utf8(wide), back);
    }
    EXPECT_EQ(ksl::widen(std::string("A\x7F\x80\xFF\0z", 6)), std::wstring(L"A\x7F\xFF80\xFFFF\0z", 6));
    EXPECT_EQ(ksl::to_utf8({static_cast<wchar_t>(0xD800)}), mark);
    EXPECT_EQ(ksl::to_utf8({static_cast<wchar_t>(-1)}), sizeof(wchar_t) == 2 ? "\xEF\xBF\xBF" : mark);
}

TEST(Escapes, AreProcessed) {
    const Texts cases[] = {{R"(a\tb)", "atb"},
                           {R"(\\\n\r\")", "\\\n\r\""},
                           {R"(\x41\x4a)", "AJ"},
                           {R"(\x4G)", "\x04"},
                           {R"(\x-1)", "\xFF"},
                           {R"(\x 9)", "\t"},
                           {R"(a\)", R"(a\)"},
                           {"", ""},
                           {std::string("a\0b", 3), "a"},
                           {R"(\\x4)", R"(\x4)"}};
    for (const Texts& each : cases)
        EXPECT_EQ(ksl::process_control_chars(each[0]), each[1]) << each[0];
    for (const std::string bad : {R"(a\x)", R"(a\x4)"})
        EXPECT_EQ(failure_of([&] { ksl::process_control_chars(bad); }),
                  "::process_control_chars: Cannot process control characters in text '" + bad +
                      "'. (Insufficient digits for a hex escape sequence.)");
}

TEST(Escapes, AreWritten) {
    EXPECT_EQ(ksl::escape_control_chars(std::string("\n\r\"\\\xE9\0\x1F ~\x7F", 10)),
              R"(\n\r\"\\\xE9\x00\x1F ~)"
              "\x7F");
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        std::string bytes(random() % 40, '\0');
        for (char& each : bytes)
            each = static_cast<char>(random() % 256);
        EXPECT_EQ(ksl::process_control_chars(ksl::escape_control_chars(bytes)), bytes);
    }
}

}  // namespace
