#pragma once

#include <string>
#include <string_view>
#include <vector>

// Operations on plain texts: cutting, trimming, comparing, wildcards, escape sequences and wide text. A text
// is bytes; only the wide-text functions know of an encoding. None keeps a state, so all may run on any
// thread at once. Only process_control_chars fails by itself.
namespace ksl {

// Take the first or the last token and its separator off `text`. A separator between two `quote` characters
// doesn't count; the quotes stay in the token; 0 means no quoting. False when `text` is empty, so that "a,"
// is one token.
bool next_token(std::string& text, char separator, std::string& token, char quote);
bool last_token(std::string& text, char separator, std::string& token, char quote);

// The same from the front with a separator of several characters. With a `closing` other than 0, a separator
// counts only at the very front or directly after that character. An empty or null separator divides
// nothing.
bool next_token(std::string& text, const char* separator, std::string& token, char closing);

// The same on a view of a text, which must not lie in `token`. A string moves all that is left each time its
// front is cut off. A view doesn't, so that a whole text is cut up in the time of one look at it.
bool next_token(std::string_view& text, char separator, std::string& token, char quote);
bool next_token(std::string_view& text, const char* separator, std::string& token, char closing);

// Appends all tokens of `text` to what `tokens` holds.
void split(std::string text, std::vector<std::string>& tokens, char separator, char quote);

// Cuts at the last slash or backslash, which goes to neither part. Without one, all is the file.
void split_path(const std::string& path, std::string& directory, std::string& file);

// Remove `c` from an end, at most `limit` times (0: without limit), and say how often.
unsigned trim_left(std::string& text, char c, unsigned limit);
unsigned trim_right(std::string& text, char c, unsigned limit);

// Remove whatever is in `set` from an end.
void trim_left_any(std::string& text, const std::string& set);
void trim_right_any(std::string& text, const std::string& set);
bool contains_char(char c, const std::string& set);

// Without the blanks, tabs and line feeds at the ends, and then without the double quotes there. Blanks
// inside the quotes stay.
std::string strip(const std::string& text);

// In exactly one pair of double quotes.
std::string quote(const std::string& text);

// Equal but for the case of the letters A to Z. The strings are compared up to their first zero byte; null is
// equal to null only.
bool iequals(const char* a, const char* b);
bool iequals(std::string a, std::string b);

// Whether the whole text fits the pattern, with case. `*` is any run of characters and `?` any one. `[a-z]`
// is one of a class, `[^a-z]` one outside it, and `\c` the character c. Both end at their first zero byte. A
// class without its `]`, and a backslash that ends the pattern, fit nothing. The time is at most that of one
// product of the two lengths.
bool wildcard_match(const std::string& pattern, const std::string& text);

// Whether `text` is in square brackets, blanks around them aside.
bool is_bracketed(std::string text);

// Removes slashes, backslashes and points from both ends. True if something is left and it holds no "..". The
// changes stay in any case.
bool clean_relative_path(std::string& path);

// A copy with each `c` replaced.
std::string replace_char(const std::string& text, char c, const std::string& replacement);

// Replaces the first `from`, in whatever case, that doesn't begin with an escaped character: a backslash
// hides itself and what follows it. False if there is none.
bool replace_first(std::string& text, std::string from, const std::string& to);

// One wide character for each byte, by sign extension to 16 bits: 0x80 to 0xFF become 0xFF80 to 0xFFFF.
std::wstring widen(const std::string& text);

// Between the platform's wide text and UTF-8. What is invalid becomes U+FFFD.
std::string to_utf8(const std::wstring& text);
std::wstring from_utf8(const std::string& text);

// Turns `\\`, `\n`, `\r` and `\xHH` into the characters they stand for; another escaped character stands for
// itself, and a backslash at the very end stays. The text ends at its first zero byte. Throws a CException
// for a hex escape with fewer than two characters after it.
std::string process_control_chars(const std::string& text);

// The other way round: line feed, carriage return, double quote, backslash, and all bytes below 32 or above
// 127.
std::string escape_control_chars(const std::string& text);

}  // namespace ksl
