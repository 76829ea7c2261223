#include "class_a/standard/CGeneralPtr.h"

#include "class_a/standard/ksl_throw.h"

namespace ksl {

void throw_null_pointee(const char* className, const char* function, const void* object) {
    throw_exception({className, __FILE__, __LINE__, function, object},
                    CMessage("Cannot dereference pointer."), CMessage("Pointee is null."));
}

}  // namespace ksl
