#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <random>

#include "class_a/failure.h"
#include "class_a/standard/CBase64.h"
#include "class_a/standard/CIPAddress.h"

using ksl::CHexStore;

namespace {

using Buffer = ksl::CBuffer<unsigned char, 64>;
using Bytes = std::vector<unsigned char>;

template <class Store>
Bytes bytes_of(const Store& store) {
    return {store.data(), store.data() + store.size()};
}

TEST(Buffer, DoublesItsCapacity) {
    for (const auto& [initial, capacities] :
         {std::pair(0, Bytes{64, 128}), {64, {64, 128}}, {65, {65, 130}}}) {
        Buffer buffer(static_cast<std::size_t>(initial));
        buffer.assign(initial == 65 ? 65 : 64, 1);
        EXPECT_EQ(buffer.capacity(), capacities[0]);
        buffer.push_back(2);
        EXPECT_EQ(buffer.capacity(), capacities[1]);
        EXPECT_EQ(Buffer(buffer).capacity(), capacities[1]);
        volatile std::size_t tooMany = std::numeric_limits<std::size_t>::max();
        EXPECT_THROW(buffer.append(2, tooMany), std::bad_alloc);
        EXPECT_EQ(buffer.capacity() + buffer[buffer.size() - 1], capacities[1] + 2U);
        while (buffer.size() < buffer.capacity())
            buffer.push_back(3);
        buffer.assign(1, 4);
        buffer.clear();  // and what lies after the elements in use
        EXPECT_EQ(std::count(buffer.data(), buffer.data() + capacities[1], 0), capacities[1]);
    }
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
            const std::size_t from = random() % (model.size() + 1);
            const Bytes tail(model.begin() + static_cast<std::ptrdiff_t>(from), model.end());
            switch (model.size() > 1000 ? 4 : random() % 7) {  // it may double with each step
                case 0:
                    buffer.append(value, count);
                    model.insert(model.end(), count, value);
                    break;
                case 1:  // a part of itself
                    buffer.append(buffer.data() + from, tail.size());
                    model.insert(model.end(), tail.begin(), tail.end());
                    break;
                case 2:
                    buffer.insert(from, value);
                    model.insert(model.end() - static_cast<std::ptrdiff_t>(tail.size()), value);
                    break;
                case 3:
                    buffer.pop_back();
                    if (!model.empty()) model.pop_back();
                    break;
                case 4:
                    buffer.assign(count, value);
                    model.assign(count, value);
                    break;
                case 5: {
                    const Buffer copy(buffer);
                    Buffer other(count);
                    other = buffer;
                    buffer.clear();
                    buffer = copy;
                    buffer = static_cast<const Buffer&>(buffer);
                    ASSERT_TRUE(other == copy && other.data() != copy.data());
                    break;
                }
                default:
                    buffer.push_back(value);
                    model.push_back(value);
            }
            ASSERT_TRUE(std::equal(model.begin(), model.end(), buffer.data(), buffer.data() + buffer.size()));
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
    EXPECT_TRUE(buffer.begin() == buffer.end() && buffer.rbegin() == buffer.rend());
    buffer.append(7, 2);
    const Buffer other(buffer);
    auto at = buffer.begin();
    EXPECT_TRUE(at != Buffer(buffer).begin() && *at++ == 7 && at.index() == 1 && at != buffer.begin());
    EXPECT_TRUE(++at == buffer.end() && ++at == buffer.end() && at.index() == 2);
    *buffer.begin() = 9;
    EXPECT_EQ(*other.begin(), 7);
}

TEST(HexStore, ReadsPairs) {
    const char* const cases[][3] = {
        {"", "-", ""},        {"0a-0B", "-", "0A-0B"},    {"0A:fF", "-", "0A-FF"},
        {"0A0b", "", "0A0B"}, {"0A, 0B", ", ", "0A, 0B"}, {"0A, 0B, ", ", ", "0A, 0B"},
        {"0A", "long", "0A"}, {nullptr, nullptr, ""},     {"0A-0B", nullptr, "0A-0B"}};
    for (const auto& [text, separator, printed] : cases)
        EXPECT_EQ(CHexStore(text, separator).string(), printed);

    CHexStore store("11:22", ":");
    store = "0A-0B";
    EXPECT_EQ(store.serialize(), "0A-0B");
    EXPECT_TRUE(store.set(std::string("01-02\0-03", 9)) && store.string() == "01-02");
    for (const char* const character : {"", "G", "-", "\xFF", "/", ":", "@", "`", "g"}) {
        EXPECT_EQ(
            failure_of([&] { store.set(std::string("0A-0B-") + "F" + character); }, &store),
            "CHexStore::_char2Nybble: Cannot convert character to nybble. (Invalid hexadecimal character '" +
                std::string(character) + "'.)");
        EXPECT_EQ(store.string(), "0A-0B");  // what was read so far
    }
}

TEST(HexStore, OwnsItsBytes) {
    CHexStore store(Bytes(100, 5).data(), 100, nullptr, 200);
    CHexStore copy(store);
    EXPECT_EQ(copy.capacity(), 200U);
    copy[0] = 6;
    copy = static_cast<const CHexStore&>(copy);
    copy += copy;
    copy.append(nullptr, 5);
    EXPECT_TRUE(copy.size() == 200 && copy[100] == 6 && store.at(0) == 5);

    CHexStore small("01:02", ":");
    EXPECT_EQ((small + CHexStore("03-04")).string(), "01:02:03:04");
    small.insert(++small.begin(), 0xFF);
    small.insert(small.end(), 0xEE);  // belongs to no store: the front
    EXPECT_EQ(small.string(), "EE:01:FF:02");
    small = ksl::CIPAddress("10.0.0.255");
    EXPECT_EQ(small.string(), "0A:00:00:FF");
    EXPECT_TRUE(small.raw() == small.data());
    EXPECT_THROW(small = ksl::CIPAddress(ksl::CIPAddress::unknown), ksl::CException);
    EXPECT_TRUE(small.raw() == nullptr);
}

// Both text forms are read back, for bytes of every length, and stores compare as their bytes do.
TEST(HexStore, AndBase64ReadWhatTheyWrite) {
    std::mt19937 random(10);
    const char* const separators[] = {"-", "", ", ", "0A"};
    CHexStore last;
    for (std::size_t length = 0; length <= 1000; ++length) {
        CHexStore store(0, separators[length % 4]);
        for (std::size_t i = 0; i < length; ++i)
            store.push_back(static_cast<unsigned char>(random()));
        ASSERT_EQ(CHexStore(store.string(), separators[length % 4]), store);
        ASSERT_EQ(CBase64::decode(CBase64::encode(store)), store);

        const Bytes a = bytes_of(length % 3 == 0 ? store : last + store);
        const Bytes b = bytes_of(last);
        const CHexStore left(a.data(), a.size(), ":");
        ASSERT_TRUE((left < last) == (a < b) && (left <= last) == (a <= b) && (left == last) == (a == b));
        ASSERT_TRUE((left > last) == (a > b) && (left >= last) == (a >= b) && (left != last) == (a != b));
        last = store;
    }
}

TEST(Base64, EncodesTheWellKnownVectors) {
    const std::pair<std::string, const char*> vectors[] = {
        {"", ""}, {"f", "Zg=="}, {"foobar", "Zm9vYmFy"}, {"\xFB\xEF\xBE", "++++"}, {"\xFF\xFF\xFF", "////"}};
    for (const auto& [plain, text] : vectors) {
        const CHexStore store(plain.data(), plain.size());
        EXPECT_EQ(CBase64::encode(store), text);
        EXPECT_EQ(CBase64::decode(text), store);
    }
    // Where the padding stands is not tested: as a digit it is 64, cut to what the bytes have room for.
    EXPECT_EQ(CBase64::decode("=AAATQ==AA=A").string(), "00-00-00-4D-00-00-00");
    for (const std::string text : {"TQ=", "T", "TWFu\n"})
        EXPECT_EQ(failure_of([&] { CBase64::decode(text); }),
                  "CBase64::decode: Cannot decode input '" + text + "' from base 64. (Invalid length.)");
    for (const std::string& text : {std::string("T*=="), std::string("TQ=\x80"), std::string("TQ=\0", 4),
                                    std::string("TWFuTQ -"), std::string("TWF_")})
        EXPECT_EQ(failure_of([&] { CBase64::decode(text); }),
                  "CBase64::decode: Error decoding base 64. (Invalid data.)");
}

}  // namespace
