#pragma once

#include <string>

namespace ksl {

// The base of the value classes that have a text form. One pair of operations reads and writes that text, and
// a forwarding pair gives it the names under which values are stored.
class CObject {
  public:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
    virtual ~CObject();

    // The compiler's name of "pointer to const CObject", the same for every derived class.
    virtual std::string className() const;

    // Replaces the value by what `text` says. A text that says nothing usable is the derived class's to
    // refuse, by an exception or by the result false.
    virtual bool set(const std::string& text) = 0;

    // The value as text, in the form that `set` reads.
    virtual std::string string() const = 0;

    // The same as `set` and `string`.
    virtual bool deserialize(const std::string& text);
    virtual std::string serialize() const;
};

}  // namespace ksl
