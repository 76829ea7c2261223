#include "class_a/standard/CException.h"

#include <array>
#include <ctime>
#include <new>
#include <string_view>

#include "class_a/standard/detail/system_error.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

struct SeverityWord {
    const char* word;
    int bit;
};

// In the order in which a mask is written.
constexpr std::array<SeverityWord, 6> kSeverityWords{{{"error", CException::error},
                                                      {"warning", CException::warning},
                                                      {"info", CException::info},
                                                      {"audit", CException::audit},
                                                      {"debug", CException::debug},
                                                      {"verbose", CException::verbose}}};

// The bits a word stands for; 0 for none of the words.
int severity_bits(const std::string& word) {
    if (word == "*" || word == "all") return -1;
    for (const SeverityWord& each : kSeverityWords) {
        if (word == each.word) return each.bit;
    }
    return 0;
}

std::string text_or_empty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace

CException::CException() : _time(std::time(nullptr)) {}

CException::CException(const CException& other)
    : _className(other._className),
      _line(other._line),
      _file(other._file),
      _message(other._message),
      _reason(other._reason),
      _domain(other._domain),
      _function(other._function),
      _code(other._code),
      _severity(other._severity),
      _time(other._time),
      _object(other._object) {}

CException& CException::operator=(const CException& other) {
    if (this == &other) return *this;
    _className = other._className;
    _line = other._line;
    _file = other._file;
    _message = other._message;
    _reason = other._reason;
    _domain = other._domain;
    _function = other._function;
    _code = other._code;
    _severity = other._severity;
    _time = other._time;
    _object = other._object;
    _reported = false;
    return *this;
}

CException::~CException() = default;

CException* CException::clone() const {
    try {
        return new CException(*this);
    } catch (const std::bad_alloc&) {
        return nullptr;  // whichever part of the copy there was no memory for
    }
}

void CException::className(const char* name) {
    _className = text_or_empty(name);
}

void CException::file(const char* path) {
    _file = text_or_empty(path);
}

void CException::function(const char* name) {
    _function = text_or_empty(name);
}

const CMessage& CException::reason() const {
    if (_reason.format().empty() && _code != 0) _reason.format(systemText(_code));
    return _reason;
}

std::string CException::location() const {
    return _className + ", " + _file + ", " + std::to_string(_line);
}

std::string CException::text() const {
    return _render(_message, reason());
}

std::string CException::_render(CMessage message, CMessage reason) {
    std::string result = message.text();
    const std::string& why = reason.text();
    if (!why.empty()) result += " (" + why + ")";
    return result;
}

int CException::severityMask(std::string text) {
    int mask = 0;
    std::string_view rest = text;
    std::string token;
    while (next_token(rest, ',', token, 0)) {
        trim_left(token, ' ', 0);
        trim_right(token, ' ', 0);
        const int bits = severity_bits(token);
        if (bits == 0) {
            throw_exception(KSL_STATIC_SITE("CException::severityMask"),
                            CMessage("Cannot parse severity mask '%1'.") << token,
                            CMessage("Invalid value."));
        }
        mask |= bits;
    }
    return mask;
}

std::string CException::severityText(int mask) {
    std::string result;
    for (const SeverityWord& each : kSeverityWords) {
        if ((mask & each.bit) == 0) continue;
        if (!result.empty()) result += ',';
        result += each.word;
    }
    return result;
}

std::string CException::systemText(int code) {
    if (code == 0) return {};
    std::string text;
    if (!system_error_text(code, text)) return "Unknown error code " + std::to_string(code);
    trim_right(text, '\n', 0);
    trim_right(text, '\r', 0);
    return text;
}

}  // namespace ksl
