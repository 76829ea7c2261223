#include "class_a/standard/CIPAddress.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "class_a/failure.h"
#include "class_a/standard/ksl_text.h"

using ksl::CIPAddress;

namespace {

__extension__ using Number = unsigned __int128;

// Built before main, and asking for the constants of the class there and after main.
struct AtStartAndEnd {
    bool atStart = CIPAddress("fe80::1").isLinkLocal();
    ~AtStartAndEnd() {
        if (!CIPAddress("::ffff:1.2.3.4").isV6MappedV4()) std::abort();
    }
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
        {"001.002.003.004", "1.2.3.4"},
        {"010.0.0.1", "10.0.0.1"},
        {"255.255.255.255", "255.255.255.255"},
        {"::", "::"},
        {"2001:DB8:0:0:0:0:0:00aF", "2001:db8::af"},
        {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
        {"0000:0000:0000:0000:0000:ffff:7F00:0001", "::ffff:127.0.0.1"}};
    for (const auto& [text, printed] : accepted) {
        EXPECT_TRUE(CIPAddress::isValid(text));
        EXPECT_EQ(CIPAddress(text).string(), printed);
    }
    std::vector<std::string> refused;
    ksl::split(
        "|.|...|0001.2.3.4|1.2.3|1.2.3.|.1.2.3|1..3.4|1.2.3.4.5|1.2.3.4.|1.2.3.256| 1.2.3.4|1.2.3.4 "
        "|1.2.3.0x1|"
        "1.2.3.-1|1.2.3.+1|001.002.003.0004|16909060|1:2|:::|1::2::3|12345::|g::|::1 |::ffff:1.2.3.256",
        refused, '|', 0);
    for (const std::string& text : refused) {
        EXPECT_FALSE(CIPAddress::isValid(text)) << text;
        CIPAddress address("9.9.9.9");
        EXPECT_EQ(failure_of([&] { address = text.c_str(); }, &address),
                  "CIPAddress::_set: Cannot create an ip address. (Text '" + text +
                      "' is not a valid IP address.)");
        EXPECT_FALSE(address.isKnown());
    }
    EXPECT_EQ(CIPAddress("10.0.0.1").fat_string(), "010.000.000.001");
    EXPECT_EQ(CIPAddress("2001:DB8::ABCD:0").fat_string(), "2001:0db8:0000:0000:0000:0000:abcd:0000");
    EXPECT_TRUE(startAndEnd.atStart);
}

TEST(IPAddress, IsMadeFromAllItsForms) {
    in_addr v4;
    std::memcpy(&v4, "\x01\x02\x03\x04", 4);
    in6_addr v6;
    std::memcpy(&v6, "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x05", 16);
    std::uint32_t value;
    std::memcpy(&value, &v4, 4);

    CIPAddress address(v4);
    EXPECT_TRUE(address == "1.2.3.4" && address.addr_family() == AF_INET);
    address = v6;
    EXPECT_TRUE(address == "2001:db8::5" && address.addr_family() == AF_INET6 && address == CIPAddress(v6));
    address = v4;
    EXPECT_EQ(CIPAddress(value, CIPAddress::ipv4), address);
    EXPECT_EQ(CIPAddress(value, CIPAddress::ipv6).string(), "::1.2.3.4");
    EXPECT_FALSE(CIPAddress(value, CIPAddress::unknown).isKnown());
    EXPECT_TRUE(address.set(address.raw_addr(), 4) && address.set(std::string("1.2.3.4")));
    EXPECT_EQ(address, CIPAddress("\x01\x02\x03\x04", 4));
    for (const auto& [type, loopback] :
         {std::pair(CIPAddress::ipv4, "127.0.0.1"), {CIPAddress::ipv6, "::1"}}) {
        address.clear(type);
        address.setLoopback();
        EXPECT_EQ(address.string(), loopback);
        address.set_inaddr_any();
        EXPECT_TRUE(address.isAny() && address.type() == type);
    }
    // What the object held before is gone, of either kind.
    const std::function<void()> reuses[] = {[&] { address.set(std::string("::")); },
                                            [&] { address.set("\0\0\0", 4); }, [&] { address = in6_addr{}; },
                                            [&] { address = "0.0.0.0"; },
                                            [&] { address.clear(CIPAddress::unknown); }};
    for (const auto& reuse : reuses)
        for (const char* const held : {"1.2.3.4", "fe80::1"}) {
            address = held;
            reuse();
            EXPECT_TRUE(address.isAny()) << held;
        }
    EXPECT_EQ(failure_of([&] { address.set("12345", 5); }, &address),
              "CIPAddress::set: Illegal operation. (Address length does not match any known address type.)");
    EXPECT_FALSE(address.isKnown());
}

TEST(IPAddress, RefusesWhatCannotBe) {
    const CIPAddress v4("1.2.3.4");
    CIPAddress v6("fe80::1");
    CIPAddress none(CIPAddress::unknown);
    const std::tuple<std::function<void()>, const CIPAddress*, std::string, std::string> illegal[] = {
        {[&] { none.set_inaddr_any(); }, &none, "set_inaddr_any",
         "Unknown address types do not have an 'any' value."},
        {[&] { none.setLoopback(); }, &none, "setLoopback",
         "Unknown address types do not have a loopback value."},
        {[&] { none.addr_family(); }, &none, "addr_family",
         "Unknown address types do not have an address family."},
        {[&] { none.string(); }, &none, "string", "Unknown address types cannot be serialized."},
        {[&] { none.mapTo(CIPAddress::ipv4); }, &none, "string",
         "Unknown address types cannot be serialized."},
        {[&] { none.fat_string(); }, &none, "fat_string", "Unknown address types cannot be serialized."},
        {[&] { none += v4; }, &none, "operator+=", "Type mismatch between ip addresses."},
        {[&] { v6 -= v4; }, &v6, "operator-=", "Type mismatch between ip addresses."},
        {[&] { (void)(none < v4); }, &none, "operator>", "Cannot compare ip addresses of unknown type."},
        {[&] { (void)(v4 >= none); }, &v4, "operator>", "Cannot compare ip addresses of unknown type."},
        {[&] { v6.mapTo(CIPAddress::unknown); }, &v6, "mapTo",
         "Unknown address type cannot be mapped to another type."}};
    for (const auto& [run, object, function, reason] : illegal)
        EXPECT_EQ(failure_of(run, object),
                  "CIPAddress::" + function + ": Illegal operation. (" + reason + ")");

    const std::function<void()> needBytes[] = {[&] { none.raw_addr(); },
                                               [&] { (void)(none == none); },
                                               [&] { ~none; },
                                               [&] { none <<= 1; },
                                               [&] { none |= v4; },
                                               [&] { none.isAllOnes(); },
                                               [&] { none.createPrefix(0); },
                                               [&] { ++none; },
                                               [&] { none -= none; }};
    for (const auto& run : needBytes)
        EXPECT_EQ(failure_of(run, &none),
                  "CIPAddress::raw_addr: Illegal operation. (Unknown address types cannot provide raw "
                  "address values.)");

    EXPECT_EQ(
        failure_of([&] { v6.mapTo(CIPAddress::ipv4); }, &v6),
        "CIPAddress::mapTo: Cannot map address fe80::1 to ipv4. (Address is not a v6-mapped-v4 address.)");
    EXPECT_EQ(failure_of([&] { v4.createPrefix(33); }, &v4),
              "CIPAddress::createPrefix: Cannot create prefix from ip address. (Address contains less than "
              "33 bits.)");
    EXPECT_THROW(v6 <<= -1, ksl::CException);
    EXPECT_EQ(v6, "fe80::1");

    EXPECT_FALSE(none == v4 || none.isV6MappedV4());
    EXPECT_EQ(none.category(), CIPAddress::any);
    none.mapTo(CIPAddress::unknown);
    none.mapTo(CIPAddress::ipv6);
    EXPECT_EQ(none.string(), "::ffff:0.0.0.0");
}

// Arithmetic, bits, prefixes, order and text against plain 128-bit numbers.
TEST(IPAddress, ComputesAsTheNumberItIs) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const auto type = i % 2 == 0 ? CIPAddress::ipv4 : CIPAddress::ipv6;
        const unsigned total = type == CIPAddress::ipv4 ? 32 : 128;
        const Number all = type == CIPAddress::ipv4 ? 0xffffffffU : ~Number(0);
        const unsigned bits = static_cast<unsigned>(random() % (total + 1));
        // Runs of ones and sums of 1 make carries run far.
        const Number a =
            (i % 3 == 0 ? ~(all << random() % total) : (Number(random()) << 64 | random())) & all;
        const Number b = (i % 5 == 0 ? Number(1) : (Number(random()) << 64 | random())) & all;
        const CIPAddress left = address_of(a, type);
        const CIPAddress right = address_of(b, type);
        const Number keep = bits == 0 ? 0 : all << (total - bits) & all;

        ASSERT_TRUE(number_of(left + right) == ((a + b) & all) && number_of(left - right) == ((a - b) & all));
        ASSERT_TRUE(number_of(left | right) == (a | b) && number_of(left & right) == (a & b));
        ASSERT_TRUE(number_of(left ^ right) == (a ^ b) && number_of(left.createPrefix(bits)) == (a & keep));
        ASSERT_TRUE((left < right) == (a < b) && (left > right) == (a > b) && (left == right) == (a == b));
        ASSERT_TRUE((left <= right) == (a <= b) && (left >= right) == (a >= b) && left == left);
        ASSERT_DOUBLE_EQ(left.toDouble(), static_cast<double>(a));
        ASSERT_TRUE(CIPAddress(left.string()) == left && CIPAddress(left.fat_string()) == left);

        CIPAddress changed = left;
        ASSERT_TRUE(changed++ == left && number_of(changed) == ((a + 1) & all) && --changed == left);
        ASSERT_TRUE(changed-- == left && number_of(changed) == ((a - 1) & all) && ++changed == left);
        ASSERT_TRUE(number_of(~changed) == (~a & all) && number_of(changed) == (~a & all));
        ASSERT_TRUE(number_of(CIPAddress(left) <<= bits) == (bits == 128 ? 0 : a << bits & all));
        ASSERT_TRUE(number_of(CIPAddress(left) >>= bits) == (bits == 128 ? 0 : a >> bits));
        changed = left;
        ASSERT_TRUE(number_of(changed += changed) == ((a + a) & all) && number_of(changed -= changed) == 0);

        if (type == CIPAddress::ipv6) continue;
        if (bits > 0 && bits < 32) {
            ASSERT_EQ(CIPAddress::prefixLenFromMask(address_of(keep, type)), int(bits));
        }
        changed = left;
        changed.mapTo(CIPAddress::ipv6);
        ASSERT_TRUE(changed.isV6MappedV4() && number_of(changed) == (Number(0xffff) << 32 | a) &&
                    changed > left);
        changed.mapTo(CIPAddress::ipv4);
        ASSERT_EQ(changed, left);
    }
}

TEST(IPAddress, MeasuresMasks) {
    EXPECT_EQ(CIPAddress::prefixLenFromMask("ffff:ffff:ffff:ffff::"), 32);
    EXPECT_EQ(CIPAddress::prefixLenFromMask("ffc0::"), 10);
    for (const char* const mask : {"255.255.255.255", "0.0.0.0", "255.0.255.0", "0.255.255.255", "0.0.0.1",
                                   "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ff0f::"})
        EXPECT_EQ(failure_of([&] { CIPAddress::prefixLenFromMask(mask); }).substr(31),
                  "Cannot calculate prefix length from subnet mask. (Subnet mask is invalid.)")
            << mask;
}

TEST(IPAddress, TellsCategoryAndScope) {
    using A = CIPAddress;
    const std::tuple<A::Category, A::Scope, std::vector<const char*>> kinds[] = {
        {A::any, A::global, {"0.0.0.0", "::"}},
        {A::broadcast, A::global, {"255.255.255.255"}},
        {A::broadcast, A::noScope, {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}},
        {A::unicast, A::nodeLocal, {"127.0.0.1", "::1", "::ffff:127.0.0.1"}},
        {A::unicast, A::linkLocal, {"fe80::1", "febf::1"}},
        {A::unicast, A::siteLocal, {"fec0::1", "feff::1"}},
        {A::unicast, A::globalUnicast, {"2001:db8::1", "3fff::"}},
        {A::unicast,
         A::global,
         {"223.255.255.255", "240.0.0.0", "127.0.0.2", "::ffff:127.0.0.2", "fc00::1", "4000::"}},
        {A::multicast, A::global, {"224.0.0.0", "239.255.255.255", "ff0e::1"}},
        {A::multicast, A::nodeLocal, {"ff01::1"}},
        {A::multicast, A::linkLocal, {"ff02::1", "ff12::1"}},
        {A::multicast, A::siteLocal, {"ff05::1"}},
        {A::multicast, A::orgLocal, {"ff08::1"}},
        {A::multicast, A::noScope, {"ff00::1", "ff03::1", "ff0f::1"}}};
    for (const auto& [category, scope, texts] : kinds) {
        for (const char* const text : texts) {
            EXPECT_EQ(A(text).category(), category) << text;
            EXPECT_EQ(A(text).scope(), scope) << text;
            EXPECT_EQ(A(text).isLinkLocal(), category == A::unicast && scope == A::linkLocal) << text;
        }
    }
    A back("::ffff:0.0.0.0");
    back.mapTo(A::ipv4);
    EXPECT_TRUE(back == "0.0.0.0" && !back.isAny());  // the other storage still has its bytes
}

}  // namespace
