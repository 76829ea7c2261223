#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

#include "class_a/standard/CObject.h"
#include "class_a/standard/CTimeT.h"

// The order of keys: by bytes, or without regard to the case of the letters A to Z. Without case a key counts
// up to its first zero byte, and of two keys that are alike up to there the shorter one comes first.
class less_string {
  public:
    explicit less_string(bool caseSensitive = true) : _caseSensitive(caseSensitive) {}
    bool operator()(const std::string& a, const std::string& b) const;

  private:
    bool _caseSensitive;
};

namespace ksl {

// Named settings in memory: a multimap from text to text with a text form of "key=value" entries and typed
// access.
//
// Values are held as text and converted at each access. Several entries may have one key: they keep the order
// in which they came, and every operation that takes a key works on the first of them. A key may also be
// given as a `const char*`, which must not be null.
//
// A map belongs to one thread at a time, even for reading: `operator[]` adds entries.
class CStringMap : public std::multimap<std::string, std::string, less_string>, public CObject {
  public:
    explicit CStringMap(bool ignoreCase = false);
    // These parse the text; a null text is empty, and a null separator is a line feed.
    CStringMap(const char* text, const char* separator = "\n", char quote = 0, bool ignoreCase = false);
    CStringMap(const std::string& text, const char* separator = "\n", char quote = 0,
               bool ignoreCase = false);
    // A flag in the place of the quote would be taken for the character 1.
    template <class Text, std::same_as<bool> Flag>
    CStringMap(const Text& text, const char* separator, Flag quote, bool ignoreCase = false) = delete;
    CStringMap(const CStringMap& other);
    ~CStringMap() override;

    // Takes over entries, separator and quote; the way of comparing keys stays.
    CStringMap& operator=(const CStringMap& other);
    // Replaces the entries by those of the text.
    CStringMap& operator=(const char* text);
    CStringMap& operator=(std::string text);

    // Parses the text up to its first zero byte; what is in the map stays.
    bool set(const std::string& text) override;
    // `format` with a line feed after each entry and no quote.
    std::string string() const override;

    // The entries in the order of their keys, each between two `quote`, with `separator` between them and,
    // with `terminate`, after the last one. An empty separator means the map's own.
    virtual std::string format(std::string separator, bool terminate, const std::string& quote) const;
    // Replaces `out` by the entries without quotes, each with the map's own separator after it.
    virtual void write(std::string& out) const;
    // What an absent key has for a value: an empty text. The reference must hold as long as the map.
    virtual const std::string& missing(const std::string& key) const;

    // Inserts new entries after those that have the same key. The map may be added to itself.
    CStringMap& operator+=(const CStringMap& other);  // takes over the other's separator and quote too
    CStringMap operator+(const CStringMap& other) const { return CStringMap(*this) += other; }
    void add(std::string key, std::string value);
    void add(const CStringMap& other);
    // Sets each entry of `other` as by `operator[]`.
    void update(const CStringMap& other);

    // Inserts the entries of the text. They are divided by the separator; with a quote character each may
    // stand between two of it, and then a separator counts only directly after a quote. Key and value are
    // divided by the first "="; a text without one is a key with an empty value. Each loses the
    // blanks at its ends, and then the tabs. False when an entry could not be stored; those before it
    // stay.
    bool parse(std::string text);
    std::string separator() const { return _separator; }

    // The text with its escape sequences resolved and each "%key%" replaced by the value. Keys come in their
    // order, each over the whole text, values put in earlier included. A "%key%" that a replacement brings
    // about with the text around it is replaced too, but one within the key's own value isn't.
    std::string expand(const std::string& text) const;

    bool has(const std::string& key) const;
    // The key exists and its value is not empty.
    bool hasValue(const std::string& key) const;
    // The value, which may be empty, or `missing(key)`.
    const std::string& get(const std::string& key) const;
    // The value, or `fallback` when it is empty or absent. The reference may be that of `fallback`.
    const std::string& get(const std::string& key, const std::string& fallback) const;
    std::string get(const char* key, const char* fallback) const;
    // The same by value, since the fallback may be gone after the call.
    std::string get(const std::string& key, const char* fallback) const;
    std::string get(const std::string& key, std::string&& fallback) const;
    // The value; a key that is absent is added with an empty one.
    std::string& operator[](const std::string& key);

    // Numbers in base 10. Without a fallback an absent key has the value of `missing`; an empty text is 0.
    // The fallback serves where the value is empty or absent. A text that is no number, or out of range,
    // throws a `CNumberConversionException` either way. The widths of 8 to 32 bits cut what `getLong` and
    // `getULong` read.

    short getShort(const std::string& key) const;
    short getShort(const std::string& key, short fallback) const;
    long getLong(const std::string& key) const;
    long getLong(const std::string& key, long fallback) const;
    unsigned long getULong(const std::string& key) const;
    unsigned long getULong(const std::string& key, unsigned long fallback) const;
    std::int8_t getInt8(const std::string& key) const;
    std::int16_t getInt16(const std::string& key) const;
    std::int32_t getInt32(const std::string& key) const;
    std::uint8_t getUInt8(const std::string& key) const;
    std::uint8_t getUInt8(const std::string& key, std::uint8_t fallback) const;
    std::uint16_t getUInt16(const std::string& key) const;
    std::uint16_t getUInt16(const std::string& key, std::uint16_t fallback) const;
    std::uint32_t getUInt32(const std::string& key) const;
    std::uint32_t getUInt32(const std::string& key, std::uint32_t fallback) const;
    std::int64_t getInt64(const std::string& key) const;
    std::int64_t getInt64(const std::string& key, std::int64_t fallback) const;
    std::uint64_t getUInt64(const std::string& key) const;
    std::uint64_t getUInt64(const std::string& key, std::uint64_t fallback) const;
    CTimeT getTime(const std::string& key, const CTimeT& fallback) const;

    // True for "true", "TRUE" and "True", and for no other text. The fallback serves an absent key only.
    bool getBool(const std::string& key) const;
    bool getBool(const std::string& key, bool fallback) const;
    template <class Text>
    requires std::is_pointer_v<Text>  // a text isn't a flag
    bool getBool(const std::string& key, Text fallback) const = delete;

    // The number that the text begins with, with a decimal point whatever the locale; the fallback for an
    // empty or absent value. A text that begins with none is 0 as a float and the fallback as a double.
    float getFloat(const std::string& key, float fallback) const;
    double getDouble(const std::string& key, double fallback) const;

    // Microseconds, from a whole number with the unit "s", "ms" or "us", or none for seconds; they wrap at 32
    // bits. The fallback for an absent key and for another unit; an empty value is 0. Throws for a number
    // beyond 32 bits.
    unsigned long getDuration(const std::string& key, unsigned long fallback) const;

    // Each replaces the value, or adds an entry.

    void set(const std::string& key, const std::string& value) { (*this)[key] = value; }
    void set(const std::string& key, std::nullptr_t) = delete;
    void setBool(const std::string& key, bool value);
    template <class Text>
    requires std::is_pointer_v<Text>  // a text isn't a flag
    void setBool(const std::string& key, Text value) = delete;
    void setShort(const std::string& key, short value);
    void setLong(const std::string& key, long value);
    void setULong(const std::string& key, unsigned long value);
    void setInt8(const std::string& key, std::int8_t value) { setLong(key, value); }
    void setInt16(const std::string& key, std::int16_t value) { setLong(key, value); }
    void setInt32(const std::string& key, std::int32_t value) { setLong(key, value); }
    void setUInt8(const std::string& key, std::uint8_t value) { setULong(key, value); }
    void setUInt16(const std::string& key, std::uint16_t value) { setULong(key, value); }
    void setUInt32(const std::string& key, std::uint32_t value) { setULong(key, value); }
    void setInt64(const std::string& key, std::int64_t value);
    void setUInt64(const std::string& key, std::uint64_t value);
    void setTime(const std::string& key, const CTimeT& value) { setInt64(key, value.value()); }
    void setFloat(const std::string& key, float value);  // 6 significant digits
    void setDouble(const std::string& key,
                   double value);  // 17, so that `getDouble` gives the same value back
    void setSeconds(const std::string& key, unsigned long value);
    void setMilliseconds(const std::string& key, unsigned long value);
    void setMicroseconds(const std::string& key, unsigned long value);

  private:
    void _insertEntries(std::string_view rest);
    const_iterator _first(const std::string& key) const;

    std::string _separator = "\n";
    char _quote = 0;
};

}  // namespace ksl
