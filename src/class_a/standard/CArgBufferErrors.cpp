#include "class_a/standard/CArgBufferErrors.h"

#include "class_a/standard/ksl_throw.h"

namespace ksl {

void arg_buffer_too_many_arguments(const char* function) {
    throw_exception(KSL_STATIC_SITE(function), CMessage("Cannot process argument."),
                    CMessage("Too many arguments."));
}

void arg_buffer_no_space(const char* function) {
    throw_exception(KSL_STATIC_SITE(function), CMessage("Cannot process argument."),
                    CMessage("Not enough buffer space."));
}

void arg_buffer_no_memory(const char* function) {
    throw_exception(KSL_STATIC_SITE(function), CMessage("Cannot push string argument."),
                    CMessage("Not enough memory."));
}

void arg_buffer_invalid_pointer(const char* function) {
    throw_exception(KSL_STATIC_SITE(function), CMessage("Cannot push string argument."),
                    CMessage("Invalid pointer."));
}

void arg_buffer_out_of_bounds(const char* function, unsigned long index) {
    throw_exception(KSL_STATIC_SITE(function), CMessage("Cannot access argument %1.") << index,
                    CMessage("Out of bounds."));
}

}  // namespace ksl
