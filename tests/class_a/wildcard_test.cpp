#include <gtest/gtest.h>

#include <random>
#include <string>

#include "class_a/standard/ksl_text.h"

namespace {

TEST(Wildcard, FitsTheWholeText) {
    struct Case {
        std::string pattern;
        std::string text;
        bool fits;
    };
    const Case cases[] = {
        {"*", "", true},
        {"", "", true},
        {"", "a", false},
        {"a*c", "abc", true},
        {"a*c", "ac", true},
        {"a*c", "ab", false},
        {"a**c", "abbc", true},
        {"A", "a", false},
        {"?", "", false},
        {"a?", "ab", true},
        {"*a", "", false},
        {"a*", "a", true},
        {"*ab*", "xaab", true},
        {"[a-c]x", "bx", true},
        {"[a-c]x", "dx", false},
        {"[^a]", "a", false},
        {"[^a]", "b", true},
        {"[abc]", "c", true},
        {"[]", "a", false},
        {"[]a]", "a", false},
        {"[^]", "a", true},
        {"[^]", "", false},
        {R"(\*)", "*", true},
        {R"(\*)", "a", false},
        {R"(\a)", "a", true},
        {R"(\)", "", false},
        {R"(\)", "\\", false},
        {R"([\])", "\\", true},
        {"[c-a]", "b", false},
        {"[-b]", "b", false},
        {"[-b]", "-", false},
        {"[-bb]", "b", true},
        {"[a-c-e]", "d", true},
        {"[a-c-e]", "-", false},
        {"[-a-c]", "b", true},
        {"[\x80-a]", "A", true},
        {"[A-\x80]", "B", false},
        {"[a", "a", false},
        {"[a-", "a", false},
        {"[a-]", "a", false},
        {"[^", "a", false},
        {"*[a", "a", false},
        {"[", "", false},
        {"x[^-", "xa", false},
        {std::string("a\0b", 3), std::string("a\0c", 3), true},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ksl::wildcard_match(each.pattern, each.text), each.fits)
            << each.pattern << " " << each.text;
    }
}

// What the stars mean, tried one by one; the patterns hold no other special character but `?`.
bool fits_by_definition(const char* pattern, const char* text) {
    if (*pattern == 0) return *text == 0;
    if (*pattern != '*')
        return *text != 0 && (*pattern == '?' || *pattern == *text) &&
               fits_by_definition(pattern + 1, text + 1);
    return fits_by_definition(pattern + 1, text) || (*text != 0 && fits_by_definition(pattern, text + 1));
}

TEST(Wildcard, MeansWhatTryingAllRunsMeans) {
    std::mt19937 random(1);
    const auto word = [&](const std::string& letters, std::size_t most) {
        std::string result(random() % (most + 1), ' ');
        for (char& each : result)
            each = letters[random() % letters.size()];
        return result;
    };
    int fitting = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::string pattern = word("ab*?*", 8);
        const std::string text = word("ab", 10);
        const bool expected = fits_by_definition(pattern.c_str(), text.c_str());
        EXPECT_EQ(ksl::wildcard_match(pattern, text), expected) << pattern << " " << text;
        fitting += expected ? 1 : 0;
    }
    EXPECT_GT(fitting, 2000);  // the comparison has seen both answers
}

TEST(Wildcard, DoesNotBlowUp) {
    std::string pattern;
    for (int i = 0; i < 50; ++i)
        pattern += "*a";
    EXPECT_FALSE(ksl::wildcard_match(pattern + "b", std::string(10000, 'a')));
}

}  // namespace
