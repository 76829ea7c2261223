#include "class_a/standard/CExceptionSink.h"

namespace ksl {

CExceptionSink::~CExceptionSink() = default;

void CExceptionSink::flush() {}

void CException::report(CExceptionSink* sink) {
    if (_reported || sink == nullptr) return;
    sink->handle(CExceptionPtr(clone()));
    _reported = true;
}

}  // namespace ksl
