#include "request/boot_packet.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using testing::ElementsAreArray;

TEST(HardwareAddress, TextIsReadInPairs) {
    const std::pair<std::string, std::vector<std::uint8_t>> cases[] = {
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
    for (auto [text, expected] : cases) {
        std::uint8_t bytes[HardwareAddressSize];
        const int count = ConvertHardwareAddress(bytes, text.data(), -1);
        EXPECT_THAT(std::vector<std::uint8_t>(bytes, bytes + count), ElementsAreArray(expected)) << text;
    }
}

TEST(HardwareAddress, BytesBecomeTextAndOldTextGoes) {
    std::uint8_t bytes[HardwareAddressSize];
    for (int i = 0; i < HardwareAddressSize; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 17);
    const std::string whole = "00-11-22-33-44-55-66-77-88-99-aa-bb-cc-dd-ee-ff";
    for (const int count : {0, 3, 16, 200}) {
        char text[100] = "an older and rather longer text that has to go";
        const int converted = std::min(count, 16);
        EXPECT_EQ(ConvertHardwareAddress(bytes, text, count), converted);
        EXPECT_EQ(text, whole.substr(0, count == 0 ? 0 : static_cast<std::size_t>(converted * 3 - 1)));
    }
}

}  // namespace
