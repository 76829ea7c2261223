#include "class_a/standard/CTimeT.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include "class_a/standard/CStringMap.h"
#include "class_a/standard/detail/calendar.h"
#include "class_a/standard/detail/system_time.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The seconds of the fields of a length of time, from the right: seconds, minutes, hours, days, months,
// years.
constexpr std::array<std::uint32_t, 6> kDurationFactors = {1, 60, 3600, 86400, 2592000, 31536000};

using Wrapping = std::uint64_t;

std::int64_t wrapped(Wrapping value) {
    return static_cast<std::int64_t>(value);
}

std::string two_digits(int value) {
    return (value < 10 ? "0" : "") + std::to_string(value);
}

// The form of asctime, without its limit to years of four digits and without its line feed.
std::string date_text(const std::tm& when) {
    return std::string(kDays[when.tm_wday]) + ' ' + kMonths[when.tm_mon] + ' ' + two_digits(when.tm_mday) +
           ' ' + two_digits(when.tm_hour) + ':' + two_digits(when.tm_min) + ':' + two_digits(when.tm_sec) +
           ' ' + std::to_string(when.tm_year + 1900);
}

// What atoi gives, with a bound at either end of its range.
int number_in(const std::string& text) {
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(
        std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

bool next_word(std::string& text, std::string& word) {
    trim_left(text, ' ', 0);
    return next_token(text, ' ', word, 0);
}

bool next_number(std::string& text, char separator, int& number) {
    std::string token;
    if (!next_token(text, separator, token, 0)) return false;
    number = number_in(token);
    return true;
}

template <std::size_t Count>
int index_of(const std::array<const char*, Count>& names, const std::string& word) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [&](const char* name) { return iequals(name, word.c_str()); });
    return static_cast<int>(found - names.begin());
}

// Reads the words of a date. False when one of them is missing or the month is none.
bool read_date(std::string& text, std::tm& fields) {
    std::string word;
    if (!next_word(text, word)) return false;
    if (index_of(kDays, word) < static_cast<int>(kDays.size()) && !next_word(text, word)) return false;
    fields.tm_mon = index_of(kMonths, word);
    if (fields.tm_mon == static_cast<int>(kMonths.size())) return false;

    if (!next_word(text, word)) return false;
    fields.tm_mday = number_in(word);

    if (!next_word(text, word)) return false;
    if (word.find(':') != std::string::npos) {
        if (!next_number(word, ':', fields.tm_hour) || !next_number(word, ':', fields.tm_min) ||
            !next_number(word, ':', fields.tm_sec))
            return false;
        if (!next_word(text, word)) return false;
    }
    fields.tm_year = std::max(number_in(word), std::numeric_limits<int>::min() + 1900) - 1900;
    return true;
}

struct DateKeys {
    std::string day = "day";
    std::string month = "month";
    std::string date = "date";
    std::string time = "time";
    std::string year = "year";
};

// The keys live until the process ends, so that objects in static storage may use them at any time.
const DateKeys& date_keys() {
    static const DateKeys* const keys = new DateKeys();
    return *keys;
}

void split_date(std::string text, CStringMap& out) {
    out.clear();
    const DateKeys& keys = date_keys();
    for (const std::string* key : {&keys.day, &keys.month, &keys.date, &keys.time, &keys.year}) {
        std::string word;
        next_word(text, word);
        out[*key] = word;
    }
}

}  // namespace

CTimeT& CTimeT::operator=(const std::int64_t& seconds) {
    _time = seconds;
    return *this;
}

void CTimeT::setNow() {
    _time = std::time(nullptr);
}

CTimeT CTimeT::now() {
    CTimeT moment;
    moment.setNow();
    return moment;
}

CTimeT CTimeT::operator-() const {
    return wrapped(-static_cast<Wrapping>(_time));
}

CTimeT& CTimeT::operator+=(const std::int64_t& seconds) {
    _time = wrapped(static_cast<Wrapping>(_time) + static_cast<Wrapping>(seconds));
    return *this;
}

CTimeT& CTimeT::operator-=(const std::int64_t& seconds) {
    _time = wrapped(static_cast<Wrapping>(_time) - static_cast<Wrapping>(seconds));
    return *this;
}

CTimeT CTimeT::operator*(const std::int64_t& factor) const {
    return wrapped(static_cast<Wrapping>(_time) * static_cast<Wrapping>(factor));
}

CTimeT CTimeT::operator/(const std::int64_t& divisor) const {
    if (divisor == 0)
        throw_exception(KSL_SITE("CTimeT::operator/"), CMessage("Cannot divide time."),
                        CMessage("Division by zero."));
    // The least value has no positive counterpart, and dividing it by -1 traps.
    if (divisor == -1) return -*this;
    return _time / divisor;
}

void CTimeT::gmtime(std::tm& out) const {
    if (!utc_fields(_time, out))
        throw_exception(KSL_SITE("CTimeT::gmtime"), CMessage("Cannot process gmtime."),
                        CMessage("Invalid time."));
}

std::string CTimeT::dateUTC() const {
    std::tm when;
    if (!utc_fields(_time, when))
        throw_exception(KSL_SITE("CTimeT::dateUTC"), CMessage("Cannot display time string."),
                        CMessage("Invalid time."));
    return date_text(when);
}

std::string CTimeT::dateLocal() const {
    std::tm when;
    if (!local_fields(_time, when))
        throw_exception(KSL_SITE("CTimeT::dateLocal"), CMessage("Cannot display time string."),
                        CMessage("Invalid time."));
    return date_text(when);
}

std::string CTimeT::date(bool local) const {
    return local ? dateLocal() : dateUTC();
}

std::string CTimeT::formattedUTC(const char* format) const {
    std::tm when;
    return _formattedTime(format, utc_fields(_time, when) ? &when : nullptr);
}

std::string CTimeT::formattedLocal(const char* format) const {
    std::tm when;
    return _formattedTime(format, local_fields(_time, when) ? &when : nullptr);
}

std::string CTimeT::_formattedTime(const char* format, const std::tm* when) const {
    const auto fail = [&](const char* reason) {
        throw_exception(KSL_SITE("CTimeT::_formattedTime"), CMessage("Cannot format time string."),
                        CMessage(reason));
    };
    if (format == nullptr) fail("Invalid format specifier.");
    if (when == nullptr) fail("Invalid time.");
    char buffer[256] = {};
    return std::string(buffer, format_fields(buffer, sizeof buffer, format, *when));
}

bool CTimeT::parseDateLocal(std::string text) {
    return _parseDate(std::move(text), true);
}

bool CTimeT::parseDateUTC(std::string text) {
    return _parseDate(std::move(text), false);
}

bool CTimeT::parseDate(bool local, std::string text) {
    return local ? parseDateLocal(std::move(text)) : parseDateUTC(std::move(text));
}

bool CTimeT::_parseDate(std::string text, bool local) {
    _time = 0;
    std::tm fields = {};
    if (!read_date(text, fields)) return false;
    _time = local ? local_seconds(fields) : utc_seconds(fields);
    return true;
}

bool CTimeT::parseDuration(std::string text) {
    _time = 0;
    if (text.empty()) return false;
    if (iequals(text.c_str(), "infinite") || iequals(text.c_str(), "infinity")) {
        _time = infinity();
        return true;
    }
    std::string field;
    for (const std::uint32_t factor : kDurationFactors) {
        if (!last_token(text, ':', field, 0)) break;
        if (field.empty()) continue;
        errno = 0;
        const long number = std::strtol(field.c_str(), nullptr, 10);
        if (errno == ERANGE || number > std::numeric_limits<std::int32_t>::max() ||
            number < std::numeric_limits<std::int32_t>::min())
            return false;
        *this += static_cast<std::int32_t>(static_cast<std::uint32_t>(number) * factor);
    }
    return true;
}

std::string CTimeT::durationString() const {
    if (_time == infinity()) return "infinite";
    const auto total = static_cast<std::int32_t>(_time);
    return std::to_string(total / 3600) + ':' + std::to_string(total % 3600 / 60) + ':' +
           std::to_string(total % 60);
}

void CTimeT::datePartsUTC(CStringMap& out) const {
    split_date(dateUTC(), out);
}

void CTimeT::datePartsLocal(CStringMap& out) const {
    split_date(dateLocal(), out);
}

const std::string& CTimeT::keyDay() {
    return date_keys().day;
}

const std::string& CTimeT::keyMonth() {
    return date_keys().month;
}

const std::string& CTimeT::keyDate() {
    return date_keys().date;
}

const std::string& CTimeT::keyTime() {
    return date_keys().time;
}

const std::string& CTimeT::keyYear() {
    return date_keys().year;
}

}  // namespace ksl
