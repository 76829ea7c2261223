#include "class_a/standard/CNRMutex.h"

#include "class_a/standard/detail/mutex_type.h"

namespace ksl {

namespace {

constexpr mode_t kMode = 7;

}  // namespace

CNRMutex::CNRMutex() : ACE_Mutex(mutex_type(), nullptr, nullptr, kMode) {}

CNRMutex::~CNRMutex() {
    remove();
}

void CNRMutex::acquire() {
    ACE_Mutex::acquire();
}

void CNRMutex::release() {
    ACE_Mutex::release();
}

}  // namespace ksl
