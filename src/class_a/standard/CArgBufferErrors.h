#pragma once

// What an argument buffer calls when it can't go on. Each throws a CException that names `function` as the
// failing operation; none returns.
namespace ksl {

[[noreturn]] void arg_buffer_too_many_arguments(const char* function);
[[noreturn]] void arg_buffer_no_space(const char* function);
[[noreturn]] void arg_buffer_no_memory(const char* function);
[[noreturn]] void arg_buffer_invalid_pointer(const char* function);
[[noreturn]] void arg_buffer_out_of_bounds(const char* function, unsigned long index);

}  // namespace ksl
