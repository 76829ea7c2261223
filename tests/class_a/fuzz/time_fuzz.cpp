#include "class_a/fuzz/expect.h"
#include "class_a/standard/CException.h"
#include "class_a/standard/CTimeT.h"

using ksl::CTimeT;

// The input is the text of a date and of a length of time at once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CTimeT date(77);
    const bool isDate = date.parseDateUTC(text);
    expect(isDate || date == 0, "what is no date is 0");
    expect(CTimeT().parseDateLocal(text) == isDate, "what a date is doesn't depend on the zone");
    try {
        CTimeT again;
        expect(again.parseDateUTC(date.dateUTC()) && again == date, "a printed date is read back");
    } catch (ksl::CException& failure) {
        expect(failure.function() == "CTimeT::dateUTC", "only printing refuses a date out of range");
    }

    CTimeT duration(77);
    if (!duration.parseDuration(text))
        expect(!text.empty() || duration == 0, "an empty text is no length of time");
    CTimeT again;
    expect(again.parseDuration(duration.durationString()), "a printed length of time is read");
    expect(again == static_cast<std::int32_t>(duration.value()), "and is the low half of what was printed");
    return 0;
}
