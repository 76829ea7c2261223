#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "platform/test_thread.h"

namespace {

class HeapTest : public testing::Test {
  protected:
    void TearDown() override { EXPECT_TRUE(HeapDestroy(heap_)); }

    unsigned char* Allocate(SIZE_T size) const {
        return static_cast<unsigned char*>(HeapAlloc(heap_, HEAP_ZERO_MEMORY, size));
    }

    const HANDLE heap_ = HeapCreate(0, 0, 0);
};

TEST_F(HeapTest, BlocksAreZeroedAlignedAndApartWhateverWasThereBefore) {
    for (const SIZE_T size : {0u, 1u, 17u, 24u, 33u, 332u, 380u, 600u, 4096u, 9000u, 1u << 20, 5u << 20}) {
        std::array<unsigned char*, 5> blocks{};
        for (int round = 0; round < 3; ++round) {
            for (unsigned char*& block : blocks) {
                block = Allocate(size);
                ASSERT_NE(block, nullptr);
                EXPECT_EQ(reinterpret_cast<UINT_PTR>(block) % 16, 0u) << size;
                ASSERT_EQ(std::count(block, block + size, 0), static_cast<std::ptrdiff_t>(size)) << size;
                std::memset(block, 0xA5, size);
            }
            for (unsigned char* block : blocks)
                EXPECT_TRUE(HeapFree(heap_, 0, block));
        }
    }
}

TEST_F(HeapTest, RefusesWhatIsNoBlockOfItsAndASecondFree) {
    alignas(16) std::array<unsigned char, 64> garbage{};
    const HANDLE other = HeapCreate(0, 0, 0);
    LPVOID kept = Allocate(380);
    LPVOID block = Allocate(380);
    EXPECT_TRUE(HeapFree(heap_, 0, block));
    for (LPVOID no : {LPVOID{garbage.data() + 32}, LPVOID{garbage.data() + 33},
                      reinterpret_cast<LPVOID>(UINT_PTR{16}), HeapAlloc(other, 0, 100), block}) {
        EXPECT_FALSE(HeapFree(heap_, 0, no));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
    EXPECT_NE(Allocate(380), kept);
    HeapDestroy(other);
}

// A thread keeps some of the blocks that it frees.
TEST_F(HeapTest, AKeptBlockIsFreeToTheCaller) {
    for (int round = 0; round < 3; ++round) {
        unsigned char* block = Allocate(600);
        EXPECT_TRUE(HeapFree(heap_, 0, block));
        EXPECT_FALSE(HeapFree(heap_, 0, block));
        std::array<unsigned char*, 9> blocks{};
        for (unsigned char*& each : blocks) {
            each = Allocate(594 + static_cast<SIZE_T>(round));  // of the same footprint
            ASSERT_EQ(std::count(&blocks[0], &each, each), 0);
        }
        EXPECT_EQ(std::count(blocks.begin(), blocks.end(), block), 1);
        const HANDLE other = HeapCreate(0, 0, 0);
        EXPECT_FALSE(HeapFree(other, 0, blocks[0]));
        for (unsigned char* each : blocks) {
            LPVOID foreign = HeapAlloc(other, 0, 600);
            EXPECT_FALSE(HeapFree(heap_, 0, foreign));
            EXPECT_TRUE(HeapFree(other, 0, foreign));
            EXPECT_TRUE(HeapFree(heap_, 0, each));
        }
        EXPECT_TRUE(HeapDestroy(other));
        EXPECT_EQ(HeapAlloc(other, 0, 600), nullptr);
        EXPECT_FALSE(HeapFree(other, 0, nullptr));
    }
}

TEST_F(HeapTest, WhatAThreadHasKeptIsTheHeapsAgainWhenItEnds) {
    std::vector<LPVOID> freed(6), again;
    TestThread([&] {
        for (LPVOID& block : freed)
            block = Allocate(600);
        for (LPVOID block : freed)
            EXPECT_TRUE(HeapFree(heap_, 0, block));
    }).Join();
    while (again.size() < freed.size())
        again.push_back(Allocate(600));
    std::sort(freed.begin(), freed.end());
    std::sort(again.begin(), again.end());
    EXPECT_EQ(again, freed);
}

TEST_F(HeapTest, AnyThreadMayFree) {
    std::array<std::atomic<unsigned char*>, 64> shared{};
    TestThreads(4, [&](int number) {
        for (int i = 0; i < 5000; ++i) {
            const SIZE_T size = 16 + static_cast<SIZE_T>(i % 40) * 16;
            unsigned char* block = Allocate(size);
            ASSERT_EQ(std::count(block, block + size, 0), static_cast<std::ptrdiff_t>(size));
            std::memset(block, 1 + number, size);
            unsigned char* old = shared[static_cast<unsigned>(i * (1 + number)) % 64].exchange(block);
            ASSERT_TRUE(HeapFree(heap_, 0, old));
        }
    }).Join();
    for (auto& block : shared)
        EXPECT_TRUE(HeapFree(heap_, 0, block));
}

TEST(HeapCreateTest, AMaximumBoundsTheBlocks) {
    const HANDLE heap = HeapCreate(0, 0, 65536);
    std::vector<LPVOID> blocks;
    while (LPVOID block = HeapAlloc(heap, 0, 1000)) {
        blocks.push_back(block);
        ASSERT_LE(blocks.size(), 65u);
    }
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_GE(blocks.size(), 50u);
    EXPECT_TRUE(HeapFree(heap, 0, blocks.back()));
    EXPECT_NE(HeapAlloc(heap, 0, 1000), nullptr);
    EXPECT_TRUE(HeapFree(heap, 0, blocks[0]));
    EXPECT_TRUE(HeapFree(heap, 0, blocks[1]));
    EXPECT_NE(HeapAlloc(heap, 0, 2000), nullptr) << "what is freed makes room for blocks of all sizes";
    HeapDestroy(heap);
}

// A thread that has used the heap may end at the moment at which the heap goes.
TEST(HeapCreateTest, MayGoWhileItsUsersEnd) {
    for (int round = 0; round < 500; ++round) {
        const HANDLE heap = HeapCreate(0, 0, 0);
        std::atomic<int> used{0};
        const TestThreads users(3, [&](int) {
            EXPECT_TRUE(HeapFree(heap, 0, HeapAlloc(heap, 0, 100)));
            ++used;
        });
        while (used < 3)
            Sleep(0);
        EXPECT_TRUE(HeapDestroy(heap));
    }
}

// The first heaps of a process among them: what gives their memory back may have to set itself up at that.
TEST(HeapCreateTest, SeveralMayGoAtOnce) {
    std::atomic<int> waiting{0};
    TestThreads(8, [&](int) {
        const HANDLE heap = HeapCreate(0, 0, 0);
        EXPECT_NE(HeapAlloc(heap, 0, 100), nullptr);
        for (++waiting; waiting < 8;)
            Sleep(0);
        EXPECT_TRUE(HeapDestroy(heap));
    }).Join();
}

}  // namespace
