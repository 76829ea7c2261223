#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <random>
#include <vector>

#include "class_a/failure.h"
#include "class_a/standard/CBase64.h"
#include "class_a/standard/CBuffer.h"
#include "class_a/standard/CHexStore.h"
#include "class_a/standard/CIPAddress.h"

using ksl::CHexStore;

namespace {

using Buffer = ksl::CBuffer<unsigned char, 64>;
using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const CHexStore& store) {
    return {store.data(), store.data() + store.size()};
}

CHexStore random_store(std::mt19937& random, std::size_t length) {
    CHexStore store;
    for (std::size_t i = 0; i < length; ++i)
        store.push_back(static_cast<unsigned char>(random()));
    return store;
}

TEST(Buffer, DoublesItsCapacity) {
    const std::pair<std::size_t, std::vector<std::size_t>> runs[] = {
        {0, {64, 128, 256}}, {64, {64, 128, 256}}, {65, {65, 130, 260}}};
    for (const auto& [initial, capacities] : runs) {
        Buffer buffer(initial);
        std::vector<std::size_t> seen;
        for (int i = 0; i < 200; ++i) {
            if (seen.empty() || seen.back() != buffer.capacity()) seen.push_back(buffer.capacity());
            buffer.push_back(static_cast<unsigned char>(i));
        }
        EXPECT_EQ(seen, capacities);
        for (int i = 0; i < 200; ++i)
            EXPECT_EQ(buffer[static_cast<std::size_t>(i)], i);
        EXPECT_EQ(Buffer(buffer).capacity(), buffer.capacity());
        buffer.clear();
        EXPECT_TRUE(buffer.empty());
        EXPECT_EQ(std::count(buffer.data(), buffer.data() + buffer.capacity(), 0),
                  static_cast<std::ptrdiff_t>(buffer.capacity()));
    }
    Buffer buffer(0);
    buffer.push_back(1);
    EXPECT_THROW(buffer.append(2, std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_THROW(buffer.reserve(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
    EXPECT_EQ(buffer.size(), 1U);
    EXPECT_EQ(buffer.capacity(), 64U);
}

// Any run of operations does to a buffer what it does to a vector.
TEST(Buffer, BehavesAsAVector) {
    std::mt19937 random(8);
    for (int run = 0; run < 200; ++run) {
        Buffer buffer(random() % 100);
        Bytes model;
        for (int step = 0; step < 100; ++step) {
            const auto value = static_cast<unsigned char>(random());
            const std::size_t count = random() % 50;
            const std::size_t from = model.empty() ? 0 : random() % model.size();
            switch (random() % 8) {
                case 0:
                    buffer.assign(count, value);
                    model.assign(count, value);
                    break;
                case 1:
                    buffer.append(value, count);
                    model.insert(model.end(), count, value);
                    break;
                case 2: {  // a part of itself
                    const Bytes part(model.begin() + static_cast<std::ptrdiff_t>(from), model.end());
                    buffer.append(buffer.data() + from, part.size());
                    model.insert(model.end(), part.begin(), part.end());
                    break;
                }
                case 3:
                    buffer.insert(from, value);
                    model.insert(model.begin() + static_cast<std::ptrdiff_t>(from), value);
                    break;
                case 4:
                    buffer.pop_back();
                    if (!model.empty()) model.pop_back();
                    break;
                case 5:
                    if (model.size() > 1000) {
                        buffer.clear();
                        model.clear();
                    }
                    break;
                case 6: {
                    Buffer other(random() % 200);
                    other.push_back(value);
                    other = buffer;
                    Buffer& self = buffer;
                    buffer = self;
                    buffer = other;
                    other.assign(1, 0);
                    break;
                }
                default:
                    buffer.push_back(value);
                    model.push_back(value);
            }
            ASSERT_EQ(Bytes(buffer.data(), buffer.data() + buffer.size()), model);
            ASSERT_GE(buffer.capacity(), buffer.size());
        }
        const Buffer& constant = buffer;
        ASSERT_TRUE(std::equal(buffer.begin(), buffer.end(), model.begin(), model.end()));
        ASSERT_TRUE(std::equal(constant.begin(), constant.end(), model.begin(), model.end()));
        ASSERT_TRUE(std::equal(buffer.rbegin(), buffer.rend(), model.rbegin(), model.rend()));
        ASSERT_TRUE(std::equal(constant.rbegin(), constant.rend(), model.rbegin(), model.rend()));
    }
}

TEST(Buffer, IteratorsKnowTheirEnd) {
    Buffer buffer(0);
    EXPECT_EQ(buffer.begin(), buffer.end());
    EXPECT_EQ(buffer.rbegin(), buffer.rend());
    buffer.append(7, 2);
    Buffer other(buffer);
    auto at = buffer.begin();
    EXPECT_NE(at, other.begin());
    EXPECT_EQ(*at++, 7);
    EXPECT_EQ(at.index(), 1U);
    EXPECT_NE(at, buffer.begin());
    ++at;
    EXPECT_EQ(at, other.end());
    EXPECT_EQ(++at, buffer.end());
    EXPECT_EQ(at.index(), 2U);
    EXPECT_EQ(buffer.rbegin().index(), 2U);
    *other.begin() = 9;
    EXPECT_EQ(other[0] * 10 + buffer[0], 97);
}

TEST(HexStore, ComparesBytesInOrder) {
    std::mt19937 random(9);
    for (int i = 0; i < 2000; ++i) {
        CHexStore a = random_store(random, random() % 4);
        CHexStore b = random_store(random, random() % 4);
        for (auto* store : {&a, &b})
            for (auto& byte : *store)
                byte = byte % 3 == 0 ? 0x7F : byte % 3 == 1 ? 0x80 : 0;
        a.separator(":");
        const Bytes x = bytes_of(a);
        const Bytes y = bytes_of(b);
        const bool relations[] = {a == b, a != b, a<b, a <= b, a> b, a >= b};
        const bool expected[] = {x == y, x != y, x<y, x <= y, x> y, x >= y};
        ASSERT_TRUE(std::equal(relations, relations + 6, expected));
    }
}

TEST(HexStore, ReadsPairs) {
    const struct {
        const char* text;
        const char* separator;
        const char* printed;
    } cases[] = {
        {"", "-", ""},
        {"0a-0B", "-", "0A-0B"},
        {"0A:fF", "-", "0A-FF"},
        {"0A-", "-", "0A"},
        {"0A0b", "", "0A0B"},
        {"0A, 0B", ", ", "0A, 0B"},
        {"0A, 0B,", ", ", "0A, 0B"},
        {"0A, 0B, ", ", ", "0A, 0B"},
        {"0A", "long", "0A"},
        {nullptr, nullptr, ""},
        {"0A", nullptr, "0A"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(CHexStore(each.text, each.separator).string(), each.printed);

    CHexStore store("11-22", ":");
    store = "0A-0B";
    EXPECT_EQ(store.serialize(), "0A-0B");
    EXPECT_TRUE(store.set(std::string("01-02\0-03", 9)));
    EXPECT_EQ(store.string(), "01-02");

    const std::pair<const char*, const char*> refused[] = {
        {"0A-F", ""}, {"0A-0G", "G"}, {"0A--1", "-"}, {"0A-\xFF", "\xFF"}, {"0A-0B-:", ":"}, {"0A- 1", " "}};
    for (const auto& [text, character] : refused) {
        EXPECT_EQ(
            failure_of([&, t = text] { store.set(t); }, &store),
            "CHexStore::_char2Nybble: Cannot convert character to nybble. (Invalid hexadecimal character '" +
                std::string(character) + "'.)");
        EXPECT_EQ(store[0], 0x0A) << text;
    }
}

TEST(HexStore, OwnsItsBytes) {
    CHexStore store(Bytes(100, 5).data(), 100, nullptr, 200);
    EXPECT_EQ(store.capacity(), 200U);
    CHexStore copy(store);
    EXPECT_EQ(copy.capacity(), 200U);
    copy[0] = 6;
    EXPECT_EQ(store.at(0), 5);
    CHexStore& self = copy;
    copy = self;
    copy += copy;
    EXPECT_EQ(copy.size(), 200U);
    EXPECT_EQ(copy[100], 6);
    copy.append(nullptr, 5);
    copy.append("x", 0);
    copy.append(1, 2);
    EXPECT_EQ(copy.size(), 202U);

    CHexStore small("01:02", ":");
    const CHexStore sum = small + CHexStore("03-04");
    EXPECT_EQ(sum.string(), "01:02:03:04");
    small.insert(++small.begin(), 0xFF);
    small.insert(small.end(), 0xEE);
    EXPECT_EQ(small.string(), "EE:01:FF:02");
    small.pop_back();
    small.assign(2, 7);
    EXPECT_EQ(small.string(), "07:07");
    small.clear();
    small.pop_back();
    EXPECT_TRUE(small.empty() && small.raw() == nullptr && sum.raw() == sum.data());

    small = ksl::CIPAddress("10.0.0.255");
    EXPECT_EQ(small.string(), "0A:00:00:FF");
    EXPECT_THROW(small = ksl::CIPAddress(ksl::CIPAddress::unknown), ksl::CException);
    EXPECT_TRUE(small.empty());
}

// Both text forms are read back, for bytes of every length.
TEST(HexStore, AndBase64ReadWhatTheyWrite) {
    std::mt19937 random(10);
    const char* const separators[] = {"-", "", ", ", "0A"};
    for (std::size_t length = 0; length <= 1000; ++length) {
        const CHexStore store = random_store(random, length);
        CHexStore spaced(store);
        spaced.separator(separators[length % 4]);
        ASSERT_EQ(CHexStore(spaced.string(), separators[length % 4]), store);
        const std::string text = CBase64::encode(store);
        ASSERT_EQ(text.size(), (length + 2) / 3 * 4);
        ASSERT_EQ(CBase64::decode(text), store);
    }
}

TEST(Base64, EncodesTheWellKnownVectors) {
    const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"},
                                                           {"M", "TQ=="},
                                                           {"\xFB\xEF\xBE", "++++"},
                                                           {"\xFF\xFF\xFF", "////"}};
    for (const auto& [plain, text] : vectors) {
        const CHexStore store(plain, std::char_traits<char>::length(plain));
        EXPECT_EQ(CBase64::encode(store), text);
        EXPECT_EQ(CBase64::decode(text), store);
    }
    EXPECT_EQ(CBase64::decode("TWFu").string(), "4D-61-6E");
    // Where the padding stands is not tested: as a digit it is 64, cut to what the bytes have room for.
    EXPECT_EQ(CBase64::decode("====").string(), "00");
    EXPECT_EQ(CBase64::decode("=AAATQ==").string(), "00-00-00-4D");
    EXPECT_EQ(CBase64::decode("AA=A").string(), "00-00-00");
}

TEST(Base64, RefusesMalformedText) {
    for (const std::string text : {"TQ=", "T", "TWFuT", "TWFu\n"})
        EXPECT_EQ(failure_of([&] { CBase64::decode(text); }),
                  "CBase64::decode: Cannot decode input '" + text + "' from base 64. (Invalid length.)");
    for (const std::string& text :
         {std::string("T*=="), std::string("TQ=\x80"), std::string("\xFF\xFF\xFF\xFF"),
          std::string("TQ=\0", 4), std::string("TWFuTQ -"), std::string("TWF_")})
        EXPECT_EQ(failure_of([&] { CBase64::decode(text); }),
                  "CBase64::decode: Error decoding base 64. (Invalid data.)");
}

}  // namespace
