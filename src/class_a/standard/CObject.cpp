#include "class_a/standard/CObject.h"

#include <typeinfo>

namespace ksl {

CObject::~CObject() = default;

std::string CObject::className() const {
    return typeid(this).name();
}

bool CObject::deserialize(const std::string& text) {
    return set(text);
}

std::string CObject::serialize() const {
    return string();
}

}  // namespace ksl
