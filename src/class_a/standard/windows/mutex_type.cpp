#include <ace/OS_NS_Thread.h>

#include "class_a/standard/detail/mutex_type.h"

namespace ksl {

// A mutex object of the system, where USYNC_THREAD would be a critical section.
int mutex_type() {
    return USYNC_PROCESS;
}

}  // namespace ksl
