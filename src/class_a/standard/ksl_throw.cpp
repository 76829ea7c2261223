#include "class_a/standard/ksl_throw.h"

namespace ksl {

void describe_failure(CException& exception, const CThrowSite& site, const CMessage& message,
                      const CMessage& reason, int code) {
    exception.className(site.className);
    exception.file(site.file);
    exception.line(site.line);
    exception.message(message);
    exception.code(code);
    exception.reason(reason);
    exception.domain("standard");
    exception.function(site.function);
    exception.severity(CException::error);
    exception.object(site.object);
}

}  // namespace ksl
