#include "class_a/standard/CIPAddress.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>

#include "class_a/failure.h"

using ksl::CIPAddress;

namespace {

__extension__ using Number = unsigned __int128;

// Built before main, and asking for the constants of the class there and behind main.
struct AtStartAndEnd {
    AtStartAndEnd() { atStart = CIPAddress("fe80::1").isLinkLocal(); }
    ~AtStartAndEnd() {
        if (!CIPAddress("::ffff:1.2.3.4").isV6MappedV4()) std::abort();
    }
    bool atStart;
} startAndEnd;

Number number_of(const CIPAddress& address) {
    Number number = 0;
    for (std::size_t i = 0; i < address.size(); ++i)
        number = number << 8 | address.raw_addr()[i];
    return number;
}

CIPAddress address_of(Number number, CIPAddress::Type type) {
    unsigned char bytes[16];
    const std::size_t size = type == CIPAddress::ipv4 ? 4 : 16;
    for (std::size_t i = size; i-- > 0; number >>= 8)
        bytes[i] = static_cast<unsigned char>(number);
    return CIPAddress(bytes, size);
}

TEST(IPAddress, ReadsText) {
    const std::pair<const char*, const char*> accepted[] = {
        {"1.2.3.4", "1.2.3.4"},
        {"001.002.003.004", "1.2.3.4"},
        {"010.0.0.1", "10.0.0.1"},
        {"255.255.255.255", "255.255.255.255"},
        {"0.0.0.0", "0.0.0.0"},
        {"::", "::"},
        {"::1", "::1"},
        {"2001:DB8:0:0:0:0:0:00aF", "2001:db8::af"},
        {"0000:0000:0000:0000:0000:ffff:7F00:0001", "::ffff:127.0.0.1"},
        {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
    };
    for (const auto& [text, printed] : accepted) {
        EXPECT_TRUE(CIPAddress::isValid(text));
        EXPECT_EQ(CIPAddress(text).string(), printed);
        EXPECT_EQ(CIPAddress(CIPAddress(text).fat_string()), CIPAddress(text));
    }
    for (const char* const text : {"",
                                   ".",
                                   "...",
                                   "0001.2.3.4",
                                   "1.2.3",
                                   "1.2.3.",
                                   ".1.2.3",
                                   "1..3.4",
                                   "1.2.3.4.5",
                                   "1.2.3.4.",
                                   "1.2.3.256",
                                   "1.2.3.999",
                                   " 1.2.3.4",
                                   "1.2.3.4 ",
                                   "1.2.3.0x1",
                                   "1.2.3.-1",
                                   "1.2.3.+1",
                                   "1.2.3.a",
                                   "001.002.003.0004",
                                   "1",
                                   "16909060",
                                   "example",
                                   "1:2",
                                   ":::",
                                   "1::2::3",
                                   "12345::",
                                   "g::",
                                   "::1 ",
                                   "::ffff:1.2.3.256"}) {
        EXPECT_FALSE(CIPAddress::isValid(text)) << text;
        CIPAddress address("9.9.9.9");
        EXPECT_EQ(failure_of([&] { address = text; }, &address),
                  "CIPAddress::_set: Cannot create an ip address. (Text '" + std::string(text) +
                      "' is not a valid IP address.)");
        EXPECT_FALSE(address.isKnown());
        EXPECT_TRUE(address.isAny());
    }
    EXPECT_TRUE(startAndEnd.atStart);
}

TEST(IPAddress, PrintsFixedWidths) {
    EXPECT_EQ(CIPAddress("10.0.0.1").fat_string(), "010.000.000.001");
    EXPECT_EQ(CIPAddress("::1").fat_string(), "0000:0000:0000:0000:0000:0000:0000:0001");
    EXPECT_EQ(CIPAddress("2001:DB8::ABCD:0").fat_string(), "2001:0db8:0000:0000:0000:0000:abcd:0000");
}

TEST(IPAddress, IsMadeFromAllItsForms) {
    in_addr v4;
    std::memcpy(&v4, "\x01\x02\x03\x04", 4);
    in6_addr v6;
    std::memcpy(&v6, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x05", 16);
    std::uint32_t value;
    std::memcpy(&value, &v4, 4);

    CIPAddress address(v4);
    EXPECT_EQ(address, "1.2.3.4");
    EXPECT_EQ(address.addr_family(), AF_INET);
    address = v6;
    EXPECT_EQ(address, "2001:db8::5");
    EXPECT_EQ(address.addr_family(), AF_INET6);
    EXPECT_EQ(CIPAddress(v6).size(), 16U);
    address = v4;
    EXPECT_EQ(CIPAddress(value, CIPAddress::ipv4), address);
    EXPECT_EQ(CIPAddress(value, CIPAddress::ipv6).string(), "::1.2.3.4");
    EXPECT_FALSE(CIPAddress(value, CIPAddress::unknown).isKnown());
    EXPECT_TRUE(address.set(address.raw_addr(), 4));
    EXPECT_TRUE(address.set(std::string("1.2.3.4")));
    EXPECT_EQ(address, CIPAddress("\x01\x02\x03\x04", 4));
    EXPECT_EQ(CIPAddress(CIPAddress::ipv6).string(), "::");

    address.setLoopback();
    EXPECT_EQ(address.string(), "127.0.0.1");
    address.set_inaddr_any();
    EXPECT_EQ(address.string(), "0.0.0.0");
    address.clear(CIPAddress::ipv6);
    address.setLoopback();
    EXPECT_EQ(address.string(), "::1");
    address.set_inaddr_any();
    EXPECT_TRUE(address.isAny());
    EXPECT_EQ(failure_of([&] { address.set("12345", 5); }, &address),
              "CIPAddress::set: Illegal operation. (Address length does not match any known address type.)");
    EXPECT_FALSE(address.isKnown());
}

TEST(IPAddress, RefusesWhatNeedsAnAddress) {
    const CIPAddress v4("1.2.3.4");
    CIPAddress none(CIPAddress::unknown);
    const std::pair<std::function<void()>, const char*> refused[] = {
        {[&] { none.set_inaddr_any(); },
         "CIPAddress::set_inaddr_any: Illegal operation. (Unknown address types do not have an 'any' "
         "value.)"},
        {[&] { none.setLoopback(); },
         "CIPAddress::setLoopback: Illegal operation. (Unknown address types do not have a loopback value.)"},
        {[&] { none.addr_family(); },
         "CIPAddress::addr_family: Illegal operation. (Unknown address types do not have an address "
         "family.)"},
        {[&] { none.string(); },
         "CIPAddress::string: Illegal operation. (Unknown address types cannot be serialized.)"},
        {[&] { none.fat_string(); },
         "CIPAddress::fat_string: Illegal operation. (Unknown address types cannot be serialized.)"},
        {[&] { none.createPrefix(1); },
         "CIPAddress::createPrefix: Cannot create prefix from ip address. (Address contains less than 1 "
         "bits.)"},
        {[&] { none += v4; },
         "CIPAddress::operator+=: Illegal operation. (Type mismatch between ip addresses.)"},
        {[&] { none -= v4; },
         "CIPAddress::operator-=: Illegal operation. (Type mismatch between ip addresses.)"},
        {[&] { (void)(none < v4); },
         "CIPAddress::operator>: Illegal operation. (Cannot compare ip addresses of unknown type.)"},
        {[&] { (void)(none >= v4); },
         "CIPAddress::operator>: Illegal operation. (Cannot compare ip addresses of unknown type.)"},
        {[&] { none.mapTo(CIPAddress::ipv4); },
         "CIPAddress::string: Illegal operation. (Unknown address types cannot be serialized.)"},
    };
    for (const auto& [run, text] : refused)
        EXPECT_EQ(failure_of(run, &none), text);

    const char* const raw =
        "CIPAddress::raw_addr: Illegal operation. (Unknown address types cannot provide raw address values.)";
    const std::function<void()> needRaw[] = {[&] { none.raw_addr(); }, [&] { (void)(none == none); },
                                             [&] { ~none; },           [&] { none <<= 1; },
                                             [&] { none >>= 1; },      [&] { none |= v4; },
                                             [&] { none.isAllOnes(); }};
    for (const auto& run : needRaw)
        EXPECT_EQ(failure_of(run, &none), raw);
    for (const std::function<void()>& run :
         {std::function<void()>([&] { none += none; }), std::function<void()>([&] { ++none; }),
          std::function<void()>([&] { CIPAddress(v4) &= none; })})
        EXPECT_THROW(run(), ksl::CException);

    CIPAddress known("fe80::1");
    EXPECT_EQ(
        failure_of([&] { known.mapTo(CIPAddress::unknown); }, &known),
        "CIPAddress::mapTo: Illegal operation. (Unknown address type cannot be mapped to another type.)");
    EXPECT_EQ(
        failure_of([&] { known.mapTo(CIPAddress::ipv4); }, &known),
        "CIPAddress::mapTo: Cannot map address fe80::1 to ipv4. (Address is not a v6-mapped-v4 address.)");
    EXPECT_EQ(failure_of([&] { v4.createPrefix(33); }, &v4),
              "CIPAddress::createPrefix: Cannot create prefix from ip address. (Address contains less than "
              "33 bits.)");
    EXPECT_EQ(failure_of([&] { known <<= -1; }),
              "CBitShift::left: Cannot left shift by -1 bits. (Negative shift is not supported.)");
    EXPECT_EQ(known, "fe80::1");

    EXPECT_FALSE(none == v4);
    EXPECT_EQ(none.category(), CIPAddress::any);
    EXPECT_EQ(none.toDouble(), 0);
    EXPECT_FALSE(none.isV6MappedV4() || none.isLinkLocal());
    none.mapTo(CIPAddress::unknown);
    none.mapTo(CIPAddress::ipv6);
    EXPECT_EQ(none.string(), "::ffff:0.0.0.0");
}

// Arithmetic, bits, prefixes and order against plain 128-bit numbers.
TEST(IPAddress, ComputesAsTheNumberItIs) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const auto type = i % 2 == 0 ? CIPAddress::ipv4 : CIPAddress::ipv6;
        const unsigned total = type == CIPAddress::ipv4 ? 32 : 128;
        const Number all = type == CIPAddress::ipv4 ? 0xffffffffU : ~Number(0);
        const unsigned bits = static_cast<unsigned>(random() % (total + 1));
        // Runs of zeros and ones at either end make carries run far.
        const Number a = (i % 3 == 0 ? all << bits : (Number(random()) << 64 | random())) & all;
        const Number b = (i % 5 == 0 ? Number(1) : (Number(random()) << 64 | random())) & all;
        const CIPAddress left = address_of(a, type);
        const CIPAddress right = address_of(b, type);
        const Number keep = bits == 0 ? 0 : all << (total - bits) & all;

        ASSERT_TRUE(number_of(left + right) == ((a + b) & all));
        ASSERT_TRUE(number_of(left - right) == ((a - b) & all));
        ASSERT_TRUE(number_of(left | right) == (a | b) && number_of(left & right) == (a & b));
        ASSERT_TRUE(number_of(left ^ right) == (a ^ b));
        ASSERT_TRUE(number_of(left.createPrefix(bits)) == (a & keep));
        ASSERT_EQ(left < right, a < b);
        ASSERT_EQ(left > right, a > b);
        ASSERT_EQ(left <= right, a <= b);
        ASSERT_EQ(left >= right, a >= b);
        ASSERT_EQ(left == right, a == b);
        ASSERT_DOUBLE_EQ(left.toDouble(), static_cast<double>(a));

        CIPAddress changed = left;
        ASSERT_TRUE(number_of(changed++) == a && number_of(changed) == ((a + 1) & all));
        ASSERT_TRUE(number_of(changed--) == ((a + 1) & all) && changed == left);
        ASSERT_TRUE(number_of(++changed) == ((a + 1) & all) && --changed == left);
        ASSERT_TRUE(number_of(~changed) == (~a & all) && number_of(changed) == (~a & all));
        changed = left;
        ASSERT_TRUE(number_of(changed <<= static_cast<long>(bits)) == (bits == 128 ? 0 : a << bits & all));
        changed = left;
        ASSERT_TRUE(number_of(changed >>= static_cast<long>(bits)) == (bits == 128 ? 0 : a >> bits));
        changed = left;
        ASSERT_TRUE(number_of(changed += changed) == ((a + a) & all));
        ASSERT_TRUE(number_of(changed -= changed) == 0);
        ASSERT_EQ(CIPAddress(left.string()), left);
        ASSERT_EQ(CIPAddress(left.fat_string()), left);

        const CIPAddress mask = address_of(keep, type);
        if (type == CIPAddress::ipv4 && bits > 0 && bits < 32) {
            ASSERT_EQ(CIPAddress::prefixLenFromMask(mask), int(bits));
        }
        if (type == CIPAddress::ipv4) {
            CIPAddress mapped = left;
            mapped.mapTo(CIPAddress::ipv6);
            ASSERT_TRUE(mapped.isV6MappedV4() && number_of(mapped) == (Number(0xffff) << 32 | a) &&
                        mapped > left);
            mapped.mapTo(CIPAddress::ipv4);
            ASSERT_EQ(mapped, left);
        }
    }
}

TEST(IPAddress, MeasuresMasks) {
    EXPECT_EQ(CIPAddress::prefixLenFromMask("ffff:ffff:ffff:ffff::"), 32);
    EXPECT_EQ(CIPAddress::prefixLenFromMask("ffc0::"), 10);
    for (const char* const mask : {"255.255.255.255", "0.0.0.0", "255.0.255.0", "0.255.255.255", "0.0.0.1",
                                   "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ff0f::"})
        EXPECT_EQ(
            failure_of([&] { CIPAddress::prefixLenFromMask(mask); }),
            "CIPAddress::prefixLenFromMask: Cannot calculate prefix length from subnet mask. (Subnet mask is "
            "invalid.)")
            << mask;
}

TEST(IPAddress, TellsCategoryAndScope) {
    const struct {
        const char* text;
        CIPAddress::Category category;
        CIPAddress::Scope scope;
    } addresses[] = {
        {"0.0.0.0", CIPAddress::any, CIPAddress::global},
        {"255.255.255.255", CIPAddress::broadcast, CIPAddress::global},
        {"223.255.255.255", CIPAddress::unicast, CIPAddress::global},
        {"224.0.0.0", CIPAddress::multicast, CIPAddress::global},
        {"239.255.255.255", CIPAddress::multicast, CIPAddress::global},
        {"240.0.0.0", CIPAddress::unicast, CIPAddress::global},
        {"127.0.0.1", CIPAddress::unicast, CIPAddress::nodeLocal},
        {"127.0.0.2", CIPAddress::unicast, CIPAddress::global},
        {"::", CIPAddress::any, CIPAddress::global},
        {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", CIPAddress::broadcast, CIPAddress::noScope},
        {"::1", CIPAddress::unicast, CIPAddress::nodeLocal},
        {"::ffff:127.0.0.1", CIPAddress::unicast, CIPAddress::nodeLocal},
        {"::ffff:127.0.0.2", CIPAddress::unicast, CIPAddress::global},
        {"fe80::1", CIPAddress::unicast, CIPAddress::linkLocal},
        {"febf::1", CIPAddress::unicast, CIPAddress::linkLocal},
        {"fec0::1", CIPAddress::unicast, CIPAddress::siteLocal},
        {"fc00::1", CIPAddress::unicast, CIPAddress::global},
        {"2001:db8::1", CIPAddress::unicast, CIPAddress::globalUnicast},
        {"3fff::", CIPAddress::unicast, CIPAddress::globalUnicast},
        {"4000::", CIPAddress::unicast, CIPAddress::global},
        {"ff01::1", CIPAddress::multicast, CIPAddress::nodeLocal},
        {"ff12::1", CIPAddress::multicast, CIPAddress::linkLocal},
        {"ff03::1", CIPAddress::multicast, CIPAddress::noScope},
        {"ff05::1", CIPAddress::multicast, CIPAddress::siteLocal},
        {"ff08::1", CIPAddress::multicast, CIPAddress::orgLocal},
        {"ff0e::1", CIPAddress::multicast, CIPAddress::global},
    };
    for (const auto& each : addresses) {
        const CIPAddress address(each.text);
        EXPECT_EQ(address.category(), each.category) << each.text;
        EXPECT_EQ(address.scope(), each.scope) << each.text;
        EXPECT_EQ(address.isLinkLocal(),
                  each.category == CIPAddress::unicast && each.scope == CIPAddress::linkLocal);
    }
    CIPAddress back("::ffff:0.0.0.0");
    back.mapTo(CIPAddress::ipv4);
    EXPECT_EQ(back, "0.0.0.0");
    EXPECT_FALSE(back.isAny());
}

TEST(IPAddress, MayBeReadByManyThreads) {
    const CIPAddress mapped("::ffff:127.0.0.1");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int turn = 0; turn < 500; ++turn)
                ASSERT_TRUE(mapped.isV6MappedV4() && mapped.scope() == CIPAddress::nodeLocal &&
                            mapped.string().size() == 16);
        });
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
