#include "request/boot_packet.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using testing::ElementsAreArray;

TEST(HardwareAddress, TextIsReadInPairs) {
    struct Case {
        const char* text;
        std::vector<std::uint8_t> bytes;
    };
    const Case cases[] = {
        {"", {}},
        {"00-a0-c9-11-22-33", {0x00, 0xA0, 0xC9, 0x11, 0x22, 0x33}},
        {"00:A0 c9", {0x00, 0xA0, 0xC9}},
        {"0-1", {0}},                     // the second group begins at the NUL
        {"0-12-34", {0x00, 0x02, 0x04}},  // a short group shifts the rest: "0-", "2-", "4"
        {"00-", {0}},
        {"7", {7}},
        {"my-client", {0x00, 0x0C, 0x0E}},
        {"00-01-02-03-04-05-06-07-08-09-0a-0b-0c-0d-0e-0f-10",
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
    };
    for (const Case& test : cases) {
        std::uint8_t bytes[HardwareAddressSize];
        char text[128];
        std::strcpy(text, test.text);
        const int count = ConvertHardwareAddress(bytes, text, -1);
        EXPECT_THAT(std::vector<std::uint8_t>(bytes, bytes + count), ElementsAreArray(test.bytes))
            << test.text;
    }
}

TEST(HardwareAddress, BytesBecomeTextAndOldTextGoes) {
    std::uint8_t bytes[HardwareAddressSize];
    for (int i = 0; i < HardwareAddressSize; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 17);
    struct Case {
        int count;
        int converted;
        const char* text;
    };
    const char* const whole = "00-11-22-33-44-55-66-77-88-99-aa-bb-cc-dd-ee-ff";
    for (const Case& test :
         {Case{0, 0, ""}, Case{3, 3, "00-11-22"}, Case{16, 16, whole}, Case{200, 16, whole}}) {
        char text[100] = "an older and rather longer text that has to go";
        EXPECT_EQ(ConvertHardwareAddress(bytes, text, test.count), test.converted);
        EXPECT_STREQ(text, test.text);
    }
}

}  // namespace
