#include "class_a/standard/CExceptionSink.h"

namespace ksl {

CExceptionSink::~CExceptionSink() = default;

void CExceptionSink::flush() {}

namespace {

// Empty if there is no memory for the copy, or for the count of its owners.
CExceptionPtr copy_of(const CException& exception) {
    try {
        return CExceptionPtr(exception.clone());
    } catch (...) {
        return CExceptionPtr(nullptr);
    }
}

}  // namespace

void CException::report(CExceptionSink* sink) {
    if (_reported || sink == nullptr) return;
    sink->handle(copy_of(*this));
    _reported = true;
}

}  // namespace ksl
