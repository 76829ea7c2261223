#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "class_a/standard/CException.h"
#include "class_a/standard/ksl_text.h"

namespace {

using Texts = std::vector<std::string>;

TEST(Tokens, AreTakenFromTheFront) {
    struct Case {
        std::string text;
        char quote;
        Texts tokens;
    };
    const Case cases[] = {
        {"", '"', {}},
        {"a,b", '"', {"a", "b"}},
        {"a,", '"', {"a"}},
        {",a", '"', {"", "a"}},
        {",", '"', {""}},
        {R"("a,b",c)", '"', {R"("a,b")", "c"}},
        {R"("a,b",c)", 0, {R"("a)", R"(b")", "c"}},
        {R"("a,b)", '"', {R"("a,b)"}},
        {std::string("a\0b,c", 5), 0, {std::string("a\0b", 3), "c"}},
    };
    for (const Case& each : cases) {
        Texts tokens{"kept"};
        ksl::split(each.text, tokens, ',', each.quote);
        Texts expected{"kept"};
        expected.insert(expected.end(), each.tokens.begin(), each.tokens.end());
        EXPECT_EQ(tokens, expected) << each.text;
    }
}

TEST(Tokens, AreTakenFromTheBack) {
    struct Case {
        std::string text;
        Texts tokens;
    };
    const Case cases[] = {
        {"", {}},      {"a", {"a"}},      {"a,b", {"b", "a"}},
        {",a", {"a"}}, {"a,", {"", "a"}}, {R"(c,"a,b")", {R"("a,b")", "c"}},
    };
    for (const Case& each : cases) {
        std::string text = each.text;
        std::string token;
        Texts tokens;
        while (ksl::last_token(text, ',', token, '"'))
            tokens.push_back(token);
        EXPECT_EQ(tokens, each.tokens) << each.text;
    }
}

TEST(Tokens, MayBeDividedByAText) {
    struct Case {
        std::string text;
        const char* separator;
        char closing;
        Texts tokens;
    };
    const Case cases[] = {
        {"a--b", "--", 0, {"a", "b"}},
        {"a-b", "--", 0, {"a-b"}},
        {"a--", "--", 0, {"a"}},
        {"--a", "--", '"', {"", "a"}},
        {R"("a--b"--c)", "--", '"', {R"("a--b")", "c"}},
        {"a---b", "--", '-', {"a-", "b"}},
        {"ab", "", 0, {"ab"}},
        {"ab", nullptr, 0, {"ab"}},
    };
    for (const Case& each : cases) {
        std::string text = each.text;
        std::string token;
        Texts tokens;
        while (ksl::next_token(text, each.separator, token, each.closing))
            tokens.push_back(token);
        EXPECT_EQ(tokens, each.tokens) << each.text;
    }
}

TEST(Paths, AreCutAtTheLastSeparator) {
    const Texts cases[] = {{R"(dir\file)", "dir", "file"}, {"/x", "", "x"}, {"a/", "a", ""}, {"a", "", "a"},
                           {R"(a\b/c)", R"(a\b)", "c"},    {"", "", ""}};
    for (const Texts& each : cases) {
        std::string directory = "old";
        std::string file = "old";
        ksl::split_path(each[0], directory, file);
        EXPECT_EQ((Texts{directory, file}), (Texts{each[1], each[2]})) << each[0];
    }
}

TEST(Paths, AreCleanedAtBothEnds) {
    struct Case {
        std::string path;
        bool clean;
        std::string left;
    };
    const Case cases[] = {
        {"", false, ""},          {"../a/b", true, "a/b"}, {"a/../b", false, "a/../b"}, {"...", false, ""},
        {R"(\.a.\/)", true, "a"}, {"a.b", true, "a.b"},    {"..a..b..", false, "a..b"}};
    for (const Case& each : cases) {
        std::string path = each.path;
        EXPECT_EQ(ksl::clean_relative_path(path), each.clean) << each.path;
        EXPECT_EQ(path, each.left) << each.path;
    }
}

TEST(Trimming, RemovesUpToTheLimit) {
    struct Case {
        std::string text;
        unsigned limit;
        unsigned removed;
    };
    const Case cases[] = {{"xxxa", 2, 2}, {"xxxa", 0, 3}, {"xxxa", 9, 3},
                          {"axa", 0, 0},  {"xx", 0, 2},   {"", 1, 0}};
    for (const Case& each : cases) {
        std::string left = each.text;
        EXPECT_EQ(ksl::trim_left(left, 'x', each.limit), each.removed) << each.text;
        EXPECT_EQ(left, each.text.substr(each.removed));
        std::string right(each.text.rbegin(), each.text.rend());
        EXPECT_EQ(ksl::trim_right(right, 'x', each.limit), each.removed) << each.text;
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
                           {"a", "a", R"("a")"},
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
    struct Case {
        std::string text;
        std::string from;
        bool found;
        std::string left;
    };
    const Case cases[] = {{R"(\ab)", "a", false, R"(\ab)"},
                          {"xAbab", "aB", true, "x<>ab"},
                          {R"(\\ab)", "a", true, R"(\\<>b)"},
                          {"ab", "abc", false, "ab"},
                          {"", "", false, ""},
                          {"ab", "", true, "<>ab"},
                          {R"(b\)", "a", false, R"(b\)"},
                          {"aab", "ab", true, "a<>"}};
    for (const Case& each : cases) {
        std::string text = each.text;
        EXPECT_EQ(ksl::replace_first(text, each.from, "<>"), each.found) << each.text;
        EXPECT_EQ(text, each.left);
    }
}

TEST(WideText, ExtendsBytesBySign) {
    EXPECT_EQ(ksl::widen(std::string("A\x7F\x80\xFF\0z", 6)), std::wstring(L"A\x7F\xFF80\xFFFF\0z", 6));
}

TEST(WideText, ReplacesWhatIsInvalid) {
    const std::string mark = "\xEF\xBF\xBD";
    struct Case {
        std::string utf8;
        std::wstring wide;
        std::string back;
    };
    const Case cases[] = {
        {"", L"", ""},
        {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", L"a\u00e9\u20ac\U0001F600",
         "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3), std::string("a\0b", 3)},
        {"\xC3", L"\uFFFD", mark},  // cut off at the end
        {"\xC3"
         "a",
         L"\uFFFDa", mark + "a"},  // cut off by another character
        {"\xFF"
         "a",
         L"\uFFFDa", mark + "a"},  // never a first byte
        {"\x80"
         "a",
         L"\uFFFDa", mark + "a"},               // a byte without its first
        {"\xC0\xAF", L"\uFFFD", mark},          // a slash, longer than need be
        {"\xED\xA0\x80", L"\uFFFD", mark},      // half a surrogate pair
        {"\xF4\x90\x80\x80", L"\uFFFD", mark},  // above the last code point
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ksl::from_utf8(each.utf8), each.wide) << each.back;
        EXPECT_EQ(ksl::to_utf8(each.wide), each.back);
    }
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
                           {R"(\xG1)", std::string(1, '\0')},
                           {R"(\\x4)", R"(\x4)"}};
    for (const Texts& each : cases)
        EXPECT_EQ(ksl::process_control_chars(each[0]), each[1]) << each[0];
    for (const std::string bad : {R"(a\x)", R"(a\x4)"}) {
        try {
            ksl::process_control_chars(bad);
            ADD_FAILURE() << bad;
        } catch (ksl::CException& failure) {
            EXPECT_EQ(failure.text(), "Cannot process control characters in text '" + bad +
                                          "'. (Insufficient digits for a hex escape sequence.)");
            EXPECT_EQ(failure.function(), "::process_control_chars");
            EXPECT_TRUE(failure.location().starts_with("static, class_a/standard/ksl_text.cpp, "))
                << failure.location();
        }
    }
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
