#pragma once

#include <cstdint>

#include "class_a/standard/CNRMutex.h"

namespace ksl {

// What the holders of one pointee share. CGeneralPtr.h has the operations.
struct COwnershipBlock {
    std::uint32_t count = 0;
    CNRMutex lock;  // held for each change of the count
};

}  // namespace ksl
