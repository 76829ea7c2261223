#include "class_a/standard/CMessage.h"

#include <utility>

namespace ksl {

template class CArgBuffer<100, 1024, 200>;

CMessage::CMessage() : _domain("standard") {}

CMessage::CMessage(const std::string& format) : _format(format), _domain("extended") {}

CMessage::~CMessage() = default;

CMessage& CMessage::operator<<(const std::string& value) {
    _args.pushs(value);
    return *this;
}

CMessage& CMessage::operator<<(const char* value) {
    _args.pushs(value);
    return *this;
}

CMessage& CMessage::operator<<(long value) {
    _args.pushl(value);
    return *this;
}

CMessage& CMessage::operator<<(unsigned long value) {
    _args.pushul(value);
    return *this;
}

CMessage& CMessage::operator<<(int value) {
    _args.pushi(value);
    return *this;
}

CMessage& CMessage::operator<<(unsigned int value) {
    _args.pushui(value);
    return *this;
}

CMessage& CMessage::operator<<(long long value) {
    if (std::in_range<long>(value)) return *this << static_cast<long>(value);
    return *this << decimal_text(value);
}

CMessage& CMessage::operator<<(unsigned long long value) {
    if (std::in_range<unsigned long>(value)) return *this << static_cast<unsigned long>(value);
    return *this << decimal_text(value);
}

CMessage& CMessage::operator<<(double value) {
    _args.pushd(value);
    return *this;
}

CMessage& CMessage::operator<<(char value) {
    return *this << std::string(1, value);
}

const std::string& CMessage::text() const {
    _text = _format;
    for (unsigned long i = 0; i < _args.size(); ++i) {
        std::string placeholder(1, '%');
        placeholder.append(std::to_string(i + 1));
        std::size_t at = 0;
        while ((at = _text.find(placeholder, at)) != std::string::npos) {
            const std::string value = _args.arg(i);
            _text.replace(at, placeholder.size(), value);
            // One past the value: a placeholder that touches it stays for whoever reads the text.
            at += value.size() + 1;
        }
    }
    return _text;
}

}  // namespace ksl
