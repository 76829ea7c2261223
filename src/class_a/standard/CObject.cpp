#include "class_a/standard/CObject.h"

#include <typeinfo>

namespace ksl {

CObject::~CObject() = default;

std::string CObject::className() const {
    return typeid(this).name();
}

void CObject::deserialize(const std::string& text) {
    set(text);
}

std::string CObject::serialize() const {
    return string();
}

}  // namespace ksl
