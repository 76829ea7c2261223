#pragma once

namespace ksl {

// ACE's number for the kind of mutex that CNRMutex is.
int mutex_type();

}  // namespace ksl
