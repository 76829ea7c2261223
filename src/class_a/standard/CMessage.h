#pragma once

#include <string>

#include "class_a/standard/CArgBuffer.h"

namespace ksl {

extern template class CArgBuffer<100, 1024, 200>;

// A text with numbered placeholders (%1, %2, ...) and the values that fill them. The values stay binary until
// `text` renders them, so a message that is never read costs no conversion.
//
// One message belongs to one thread at a time: even `text` writes to it.
class CMessage {
  public:
    CMessage();
    CMessage(const std::string& format);
    CMessage(const CMessage&) = default;
    CMessage& operator=(const CMessage&) = default;
    virtual ~CMessage();

    // The first value pushed fills %1, the next one %2, and so on. Throws a CException when there is no room
    // left, or for a null pointer. A string goes in up to its first zero byte.
    CMessage& operator<<(const std::string& value);
    CMessage& operator<<(const char* value);
    CMessage& operator<<(long value);
    CMessage& operator<<(unsigned long value);
    CMessage& operator<<(int value);
    CMessage& operator<<(unsigned int value);
    CMessage& operator<<(long long value);
    CMessage& operator<<(unsigned long long value);
    CMessage& operator<<(double value);  // as "%g"
    CMessage& operator<<(char value);    // the character itself; for its number, cast it
    // These would be shown as numbers.
    CMessage& operator<<(wchar_t) = delete;
    CMessage& operator<<(char8_t) = delete;
    CMessage& operator<<(char16_t) = delete;
    CMessage& operator<<(char32_t) = delete;

    // Fills the placeholders in the order of their numbers, each over the whole text, values put in earlier
    // included. A placeholder without a value stays. The reference holds until the next call or the end of
    // the message.
    const std::string& text() const;

    const std::string& format() const { return _format; }
    void format(const std::string& format) { _format = format; }

    // The number that a message store knows this message by; -1 for none.
    int id() const { return _id; }
    void id(int id) { _id = id; }

    const std::string& domain() const { return _domain; }

  private:
    CArgBuffer<100, 1024, 200> _args;
    mutable std::string _text;  // as `text` rendered it last
    std::string _format;
    int _id = -1;
    std::string _domain;
};

}  // namespace ksl
