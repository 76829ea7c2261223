#include <gtest/gtest.h>

#include <random>

#include "class_a/standard/ksl_text.h"

namespace {

TEST(Wildcard, FitsTheWholeText) {
    const std::pair<std::string, std::string> fitting[] = {
        {"*", ""},         {"", ""},
        {"a*c", "abc"},    {"a*c", "ac"},
        {"a**c", "abbc"},  {"a?", "ab"},
        {"a*", "a"},       {"*ab*", "xaab"},
        {"[a-c]x", "bx"},  {"[^a]", "b"},
        {"[abc]", "c"},    {"[^]", "a"},
        {R"(\*)", "*"},    {R"(\a)", "a"},
        {R"([\])", "\\"},  {"[-bb]", "b"},
        {"[a-c-e]", "d"},  {"[-a-c]", "b"},
        {"[\x80-a]", "A"}, {std::string("a\0b", 3), std::string("a\0c", 3)}};
    for (const auto& [pattern, text] : fitting)
        EXPECT_TRUE(ksl::wildcard_match(pattern, text)) << pattern << " " << text;
    const std::pair<const char*, const char*> others[] = {
        {"", "a"},        {"a*c", "ab"},    {"A", "a"},        {"?", ""},      {"*a", ""},
        {"[a-c]x", "dx"}, {"[^a]", "a"},    {"[]", "a"},       {"[]a]", "a"},  {"[^]", ""},
        {R"(\*)", "a"},   {R"(\)", ""},     {R"(\)", "\\"},    {"[c-a]", "b"}, {"[-b]", "b"},
        {"[-b]", "-"},    {"[a-c-e]", "-"}, {"[A-\x80]", "B"}, {"[a", "a"},    {"[a-", "a"},
        {"[a-]", "a"},    {"[^", "a"},      {"*[a", "a"},      {"[", ""},      {"x[^-", "xa"}};
    for (const auto& [pattern, text] : others)
        EXPECT_FALSE(ksl::wildcard_match(pattern, text)) << pattern << " " << text;
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
    EXPECT_GT(fitting, 2000);  // the comparison has seen both results
}

TEST(Wildcard, DoesNotBlowUp) {
    std::string pattern;
    for (int i = 0; i < 50; ++i)
        pattern += "*a";
    EXPECT_FALSE(ksl::wildcard_match(pattern + "b", std::string(10000, 'a')));
}

}  // namespace
