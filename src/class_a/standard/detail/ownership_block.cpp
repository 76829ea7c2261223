#include "class_a/standard/detail/ownership_block.h"

#include "class_a/standard/CGeneralPtr.h"
#include "class_a/standard/CGuard.h"

namespace ksl {

COwnershipBlock* make_ownership_block() {
    return new COwnershipBlock;
}

void destroy_ownership_block(COwnershipBlock* block) {
    delete block;
}

void add_owner(COwnershipBlock& block) {
    const CGuard<CNRMutex> guard(block.lock);
    ++block.count;
}

std::uint32_t remove_owner(COwnershipBlock& block) {
    const CGuard<CNRMutex> guard(block.lock);
    return --block.count;
}

}  // namespace ksl
