// The text of an exception in another locale. It stands apart so that CException itself needs no message
// store.

#include "class_a/standard/CException.h"
#include "class_a/standard/CMessageStore.h"

namespace ksl {

std::string CException::text(const CMessageStore* store, const std::string& locale) const {
    CMessage message = _message;
    CMessage why = reason();
    if (store != nullptr) {
        store->translate(message, locale);
        // With a code the reason may be the system's own words.
        if (_code == 0) store->translate(why, locale);
    }
    return _render(message, why);
}

}  // namespace ksl
