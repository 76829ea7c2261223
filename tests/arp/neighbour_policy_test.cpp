#include "arp/helper/neighbour_policy.h"

#include <gtest/gtest.h>
#include <linux/neighbour.h>

#include <array>

#include "arp/helper/hardware_address.h"

namespace {

HardwareAddress Mac(std::uint8_t last) {
    HardwareAddress address;
    address.length = 6;
    address.bytes[0] = 2;
    address.bytes[5] = last;
    return address;
}

TEST(HardwareAddressText, IsPairsOfDigitsWithOneKindOfSeparatorAtMost) {
    const std::string longest(HardwareAddress::Longest * 2, 'a');
    for (const std::string& text : {std::string(), longest + "00", std::string("0"),
                                    std::string("00-a0-24-12-34-5"), std::string("00-a0-24-12-34-56-"),
                                    std::string("-00-a0-24-12-34-56"), std::string("00--a0-24-12-34-56"),
                                    std::string("00 a0 24 12 34 56"), std::string("00-a0-24-12-34-5g"),
                                    std::string("+0-a0-24-12-34-56"), std::string("0x-a0-24-12-34-56")})
        EXPECT_FALSE(ParseHardwareAddress(text)) << text;
    EXPECT_EQ(ParseHardwareAddress(longest)->length, 32);
    EXPECT_EQ(ParseHardwareAddress("ff")->length, 1);
    const std::array<std::uint8_t, 6> expected{0x00, 0xA0, 0x24, 0x12, 0x34, 0xFE};
    for (const char* text :
         {"00-a0-24-12-34-Fe", "00:A0:24:12:34:FE", "00.a0.24.12.34.fe", "00a0241234fe", "00a0.2412.34fe"}) {
        const auto parsed = ParseHardwareAddress(text);
        ASSERT_TRUE(parsed && parsed->length == 6) << text;
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), parsed->bytes.begin())) << text;
    }
}

TEST(NeighbourPolicy, TouchesNothingThatSomebodyElseMadeToStay) {
    constexpr std::uint8_t kOurs = OriginOfHelper;
    using Action = NeighbourAction;
    const std::tuple<const char*, std::optional<Neighbour>, Action> cases[] = {
        {"nothing there", std::nullopt, Action::Enter},
        {"learned, right", Neighbour{Mac(1), NUD_REACHABLE}, Action::LeaveRight},
        {"learned, right, doubted", Neighbour{Mac(1), NUD_DELAY}, Action::LeaveRight},
        {"learned, right, under probe", Neighbour{Mac(1), NUD_PROBE}, Action::Enter},
        {"learned, wrong", Neighbour{Mac(2), NUD_REACHABLE}, Action::Enter},
        {"asked for", Neighbour{{}, NUD_INCOMPLETE}, Action::Enter},
        {"failed", Neighbour{Mac(1), NUD_FAILED}, Action::Enter},
        {"administrator's, wrong", Neighbour{Mac(2), NUD_PERMANENT}, Action::LeaveWrong},
        {"needs no ARP, wrong", Neighbour{Mac(2), NUD_NOARP}, Action::LeaveWrong},
        {"another program's, wrong", Neighbour{Mac(2), NUD_REACHABLE, 0, true}, Action::LeaveWrong},
        {"another program's with our mark, not permanent", Neighbour{Mac(2), NUD_REACHABLE, kOurs, true},
         Action::LeaveWrong},
        {"another program's, permanent", Neighbour{Mac(2), NUD_PERMANENT, 11, true}, Action::LeaveWrong},
        {"ours", Neighbour{Mac(1), NUD_PERMANENT, kOurs, true}, Action::KeepOurs},
        {"ours for another client", Neighbour{Mac(2), NUD_PERMANENT, kOurs, true}, Action::Enter},
        {"ours, replaced by an administrator", Neighbour{Mac(2), NUD_PERMANENT, kOurs}, Action::LeaveWrong},
        {"ours, replaced by the right one", Neighbour{Mac(1), NUD_PERMANENT, kOurs}, Action::LeaveRight},
    };
    for (const auto& [what, present, action] : cases)
        EXPECT_EQ(DecideEntry(present, Mac(1)), action) << what;
}

}  // namespace
