#include <ace/OS_NS_Thread.h>

#include "class_a/standard/detail/mutex_type.h"

namespace ksl {

// With pthreads ACE keeps a mutex between processes in a named piece of shared memory, and there is no name
// here.
int mutex_type() {
    return USYNC_THREAD;
}

}  // namespace ksl
