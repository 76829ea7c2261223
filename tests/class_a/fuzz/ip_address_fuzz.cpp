#include "class_a/fuzz/expect.h"
#include "class_a/standard/CException.h"
#include "class_a/standard/CIPAddress.h"

using ksl::CIPAddress;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CIPAddress address(CIPAddress::unknown);
    try {
        address.set(text);
    } catch (ksl::CException& failure) {
        expect(failure.function() == "CIPAddress::_set", "the failure names its function");
    }
    expect(address.isKnown() == CIPAddress::isValid(text), "isValid says what set does");
    if (!address.isKnown()) return 0;
    expect(CIPAddress(address.string()) == address, "the platform's text is read back");
    expect(CIPAddress(address.fat_string()) == address, "and the text of fixed width");
    expect(address.isLinkLocal() ==
               (address.category() == CIPAddress::unicast && address.scope() == CIPAddress::linkLocal),
           "every address has a category and a scope");
    const CIPAddress prefix = address.createPrefix(static_cast<unsigned>(size % (address.size() * 8)));
    expect(prefix <= address && prefix + (address - prefix) == address, "a prefix is not above its address");
    return 0;
}
