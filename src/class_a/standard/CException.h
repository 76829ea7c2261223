#pragma once

#include <cstdint>
#include <string>

#include "class_a/standard/CMessage.h"

namespace ksl {

class CExceptionSink;
class CMessageStore;

// What the library throws, by value: a message that names the operation, a reason that names the fault, and
// where and when it happened. It belongs to one thread at a time: even where it is const, `reason` and `text`
// may write to it.
class CException {
  public:
    // Severities: the bits of a mask.
    static constexpr int info = 1;
    static constexpr int warning = 2;
    static constexpr int error = 4;
    static constexpr int debug = 8;
    static constexpr int audit = 16;
    static constexpr int verbose = 32;

    // Empty, but for the time: now.
    CException();

    // Everything but the mark of a report, so that a copy can be reported once by itself.
    CException(const CException& other);
    CException& operator=(const CException& other);
    virtual ~CException();

    // Hands a copy on the heap to the sink, which shares in owning it. Does nothing the second time, or for
    // null.
    virtual void report(CExceptionSink* sink);

    // A copy that the caller deletes; null if there is no memory for it.
    virtual CException* clone() const;

    void className(const char* name);
    void className(const std::string& name) { _className = name; }
    void file(const char* path);
    void file(const std::string& path) { _file = path; }
    void line(int line) { _line = line; }
    void message(const CMessage& message) { _message = message; }
    void reason(const CMessage& reason) { _reason = reason; }
    void domain(const std::string& domain) { _domain = domain; }
    void function(const char* name);
    void function(const std::string& name) { _function = name; }
    void code(int code) { _code = code; }
    void severity(int severity) { _severity = severity; }
    void object(const void* object) { _object = object; }

    const CMessage& message() const { return _message; }
    const std::string& domain() const { return _domain; }
    const std::string& function() const { return _function; }
    int code() const { return _code; }              // the operating system's error; 0 for none
    int severity() const { return _severity; }      // 0 until set
    const void* object() const { return _object; }  // an identity only: it may be gone
    std::int64_t time() const { return _time; }     // of construction, in seconds since the epoch

    // The reason; if none was given and there is a code, the system's text of that code, kept from then on.
    const CMessage& reason() const;

    // Class name, file and line, joined by ", ".
    std::string location() const;

    // Message and reason in one line: "Cannot parse severity mask 'x'. (Invalid value.)"
    std::string text() const;

    // The same in the words of `locale`, as far as the store has them. A text of the system stays as it is,
    // and a null store gives what `text()` gives.
    std::string text(const CMessageStore* store, const std::string& locale) const;

    // A list such as "error, warning" as a mask; "*" and "all" set every bit. Throws a CException for another
    // word.
    static int severityMask(std::string text);

    // The words of the bits that are set, joined by commas.
    static std::string severityText(int mask);

    // The operating system's text of an error code, without line end; empty for 0.
    static std::string systemText(int code);

  private:
    // Renders the two as the one line of `text`.
    static std::string _render(CMessage message, CMessage reason);

    std::string _className;
    int _line = 0;
    std::string _file;
    CMessage _message;
    mutable CMessage _reason;  // filled in by `reason`
    std::string _domain;
    std::string _function;
    int _code = 0;
    int _severity = 0;
    std::int64_t _time;
    const void* _object = nullptr;
    bool _reported = false;
};

}  // namespace ksl
