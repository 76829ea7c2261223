#pragma once

#include <typeinfo>

#include "class_a/standard/CException.h"
#include "class_a/standard/detail/system_error.h"  // last_system_error

// How the library throws. A throw site names itself, what could not be done and why:
//
//     throw_exception(KSL_STATIC_SITE("CException::severityMask"),
//                     CMessage("Cannot parse severity mask '%1'.") << token, CMessage("Invalid value."));
//
// Where the system's error is the reason, the site takes `last_system_error()` into a variable before
// anything else can change it, and passes an empty reason and that code.
namespace ksl {

struct CThrowSite {
    const char* className;
    const char* file;
    int line;
    const char* function;
    const void* object;
};

// In a member function that names its object.
#define KSL_SITE(function)                                      \
    ::ksl::CThrowSite {                                         \
        typeid(this).name(), __FILE__, __LINE__, function, this \
    }

// In a static or free function, and in a member function that has no object to name.
#define KSL_STATIC_SITE(function)                       \
    ::ksl::CThrowSite {                                 \
        "static", __FILE__, __LINE__, function, nullptr \
    }

// Fills in an exception of the domain "standard" with severity `error`.
void describe_failure(CException& exception, const CThrowSite& site, const CMessage& message,
                      const CMessage& reason, int code);

template <class Exception = CException>
[[noreturn]] void throw_exception(const CThrowSite& site, const CMessage& message,
                                  const CMessage& reason = CMessage(), int code = 0) {
    Exception exception;
    describe_failure(exception, site, message, reason, code);
    throw exception;
}

}  // namespace ksl
