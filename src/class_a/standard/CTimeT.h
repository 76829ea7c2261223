#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace ksl {

class CStringMap;

// A signed 64-bit count of seconds: a moment, counted from 1970-01-01 00:00:00 UTC, or a length of time.
//
// The value -1 stands for "infinite" where lengths of time are read and printed. Arithmetic and comparison
// know nothing of that: they take it as the number -1, and as a moment it is one second before the epoch.
//
// Dates are those that the platform can split into fields; local dates follow the time zone of the process at
// each call. No operation uses a static buffer: different objects may be used by different threads at once,
// one object by several as long as no thread changes it.
class CTimeT {
  public:
    CTimeT() = default;
    CTimeT(const CTimeT& other) = default;
    CTimeT(std::int64_t seconds) : _time(seconds) {}
    virtual ~CTimeT() = default;

    CTimeT& operator=(const CTimeT& other) = default;
    CTimeT& operator=(const std::int64_t& seconds);
    void set(std::int64_t seconds) { _time = seconds; }
    std::int64_t value() const { return _time; }

    void setNow();
    static CTimeT now();
    // The value that stands for "infinite": -1.
    static std::int64_t infinity() { return -1; }

    // Arithmetic wraps at 64 bits. Division cuts toward zero.

    CTimeT operator-() const;
    CTimeT& operator+=(const CTimeT& other) { return *this += other._time; }
    CTimeT& operator+=(const std::int64_t& seconds);
    CTimeT& operator-=(const CTimeT& other) { return *this -= other._time; }
    CTimeT& operator-=(const std::int64_t& seconds);
    CTimeT operator+(const CTimeT& other) const { return *this + other._time; }
    CTimeT operator+(const std::int64_t& seconds) const { return CTimeT(*this) += seconds; }
    CTimeT operator-(const CTimeT& other) const { return *this - other._time; }
    CTimeT operator-(const std::int64_t& seconds) const { return CTimeT(*this) -= seconds; }
    CTimeT operator*(const CTimeT& other) const { return *this * other._time; }
    CTimeT operator*(const std::int64_t& factor) const;
    CTimeT operator/(const CTimeT& other) const { return *this / other._time; }
    // Throws a `CException` when the divisor is 0.
    CTimeT operator/(const std::int64_t& divisor) const;

    CTimeT& operator++() { return *this += 1; }
    CTimeT& operator--() { return *this -= 1; }
    // Gives the new value, like the prefix form, and not the one before.
    CTimeT operator++(int) { return *this += 1; }
    // Gives the new value, like the prefix form, and not the one before.
    CTimeT operator--(int) { return *this -= 1; }

    bool operator==(const CTimeT& other) const { return _time == other._time; }
    bool operator==(const std::int64_t& seconds) const { return _time == seconds; }
    bool operator!=(const CTimeT& other) const { return _time != other._time; }
    bool operator!=(const std::int64_t& seconds) const { return _time != seconds; }
    bool operator<(const CTimeT& other) const { return _time < other._time; }
    bool operator<(const std::int64_t& seconds) const { return _time < seconds; }
    bool operator<=(const CTimeT& other) const { return _time <= other._time; }
    bool operator<=(const std::int64_t& seconds) const { return _time <= seconds; }
    bool operator>(const CTimeT& other) const { return _time > other._time; }
    bool operator>(const std::int64_t& seconds) const { return _time > seconds; }
    bool operator>=(const CTimeT& other) const { return _time >= other._time; }
    bool operator>=(const std::int64_t& seconds) const { return _time >= seconds; }

    // The fields of the UTC date. Throws a `CException`, with `out` untouched, when there is no such date.
    void gmtime(std::tm& out) const;

    // The date as "Wed Jan 02 02:03:55 1980". Throws a `CException` when there is no such date.
    std::string dateUTC() const;
    std::string dateLocal() const;
    std::string date(bool local) const;

    // The date by a format of `strftime`; empty when the text needs 256 characters or more. Throws a
    // `CException` for a null format and when there is no such date.
    std::string formattedUTC(const char* format) const;
    std::string formattedLocal(const char* format) const;

    // Reads what `dateUTC` and `dateLocal` print. The day of the week may be missing and is not compared with
    // the date. The time may be missing and is then 00:00:00. Words count without case, several blanks as
    // one. False, with the value 0, for text that has no month, day, year or whole time where they belong. A
    // day, hour or year that is no number counts as 0, and fields out of range carry over.
    //
    // A local time that the clock shows twice, when it is set back, is the first of the two. One that it
    // leaves out is read as by the clock from before the change: in a gap from 2:00 to 3:00, 2:30 is 3:30.
    bool parseDateLocal(std::string text);
    bool parseDateUTC(std::string text);
    bool parseDate(bool local, std::string text);

    // Reads "seconds", "minutes:seconds" and so on up to "years:months:days:hours:minutes:seconds", where a
    // month has 30 days and a year 365, and the words "infinite" and "infinity". An empty field counts
    // nothing; each field's seconds wrap at 32 bits. False for an empty text, and for a field that does not
    // fit 32 bits, with the fields after it added up.
    bool parseDuration(std::string text);

    // The length of time as "hours:minutes:seconds" without leading zeros, of the low 32 bits of the value;
    // "infinite" for -1.
    std::string durationString() const;

    // Replaces what `out` holds by the words of `dateUTC` or `dateLocal` under the five keys below.
    void datePartsUTC(CStringMap& out) const;
    void datePartsLocal(CStringMap& out) const;

    static const std::string& keyDay();
    static const std::string& keyMonth();
    static const std::string& keyDate();
    static const std::string& keyTime();
    static const std::string& keyYear();

  private:
    std::string _formattedTime(const char* format, const std::tm* when) const;
    bool _parseDate(std::string text, bool local);

    std::int64_t _time = 0;
};

}  // namespace ksl
