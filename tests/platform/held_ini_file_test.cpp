#include "platform/held_ini_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/linux/system/fetch_count.h"
#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

constexpr char Missing[] = "(default)";
constexpr useconds_t SeveralTicks = 25'000;  // of the slowest kernel clock

class HeldIniFileTest : public ::testing::Test {
  protected:
    // Files of the same size throughout.
    void Edit(int number) { home.Write("x.ini", "[S]\nother=0\nk=" + std::to_string(number) + "\n"); }

    std::string Value(const char* file = "x.ini", const char* section = "S") const {
        char buffer[32];
        GetPrivateProfileStringA(section, "k", Missing, buffer, sizeof(buffer), home.Path(file).c_str());
        return buffer;
    }

    const TestHome home;
};

TEST_F(HeldIniFileTest, AnEditShowsAtTheBeginningAndAfterTheEndAtOnce) {
    for (int number = 1000; number < 1600; number += 2) {
        Edit(number);
        {
            const HeldIniFile held;
            ASSERT_EQ(Value(), std::to_string(number));
            Edit(number + 1);
        }
        ASSERT_EQ(Value(), std::to_string(number + 1));
    }
}

TEST_F(HeldIniFileTest, AnEditInItsMidstShowsSoon) {
    Edit(1000);
    const HeldIniFile held;
    ASSERT_EQ(Value(), "1000");
    Edit(1001);
    usleep(SeveralTicks);
    EXPECT_EQ(Value(), "1001");
    std::filesystem::rename(home.Write("new.ini", "[Before]\nk=1\n[S]\nk=1002\n"), home.Path("x.ini"));
    usleep(SeveralTicks);
    EXPECT_EQ(Value(), "1002");
    EXPECT_EQ(Value("x.ini", "Before"), "1");
    std::filesystem::remove(home.Path("x.ini"));
    usleep(SeveralTicks);
    EXPECT_EQ(Value(), Missing);
    Edit(1003);
    EXPECT_EQ(Value(), "1003");  // what isn't there is looked for each time
}

// What is received is counted in fetches from the kernel, and so is a look.
TEST_F(HeldIniFileTest, ADatagramIsServedByALookThatIsLaterThanItsComing) {
    const auto served = [this] {
        const HeldIniFile held{HeldIniFile::SinceLastDatagram{}};
        return Value();
    };
    const auto receive = [] { fetchOfLastDatagram = ++fetchCount; };
    Edit(1000);
    receive();
    EXPECT_EQ(served(), "1000");
    Edit(1001);
    EXPECT_EQ(served(), "1001") << "the datagram has been served";
    fetchOfLastDatagram = fetchCount;
    Edit(1002);
    EXPECT_EQ(served(), "1001") << "came with the one before: a look has been taken since";
    receive();
    EXPECT_EQ(served(), "1002");
    fetchOfLastDatagram = fetchCount;
    Edit(1003);
    std::thread([&] { EXPECT_EQ(served(), "1003") << "has received nothing"; }).join();
    EXPECT_EQ(served(), "1003");
    Edit(1004);
    EXPECT_EQ(Value(), "1004");
    receive();
    {
        const HeldIniFile held{HeldIniFile::SinceLastDatagram{}};
        EXPECT_EQ(Value(), "1004");
        Edit(1005);
        usleep(SeveralTicks);
        EXPECT_EQ(Value(), "1004") << "one look for all of a request";
    }
}

TEST_F(HeldIniFileTest, TheNumberOfTheContentChangesWithIt) {
    const HeldIniFile held;
    Edit(1000);
    const std::uint64_t first = held.ContentNumber(home.Path("x.ini").c_str());
    EXPECT_NE(first, 0u);
    EXPECT_EQ(held.ContentNumber(home.Path("x.ini").c_str()), first);
    Edit(1001);
    usleep(SeveralTicks);
    EXPECT_NE(held.ContentNumber(home.Path("x.ini").c_str()), first);
    EXPECT_EQ(held.ContentNumber(home.Path("y.ini").c_str()), 0u);
}

TEST_F(HeldIniFileTest, OneWithinAnotherEndsNothing) {
    Edit(1000);
    {
        const HeldIniFile outer;
        { const HeldIniFile inner; }
        EXPECT_EQ(Value(), "1000");
        Edit(1001);
    }
    EXPECT_EQ(Value(), "1001");
}

TEST_F(HeldIniFileTest, FilesAndSectionsInTurn) {
    home.Write("x.ini", "[S]\nk=1\n[T]\nk=2\n[s]\nk=3\n");
    home.Write("y.ini", "[T]\nk=4\n[S]\nk=5\n");
    const HeldIniFile held;
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"x.ini", "S", "1"},     {"x.ini", "T", "2"},     {"y.ini", "T", "4"},  {"y.ini", "S", "5"},
        {"x.ini", "S", "1"},     {"x.ini", "s", "1"},     {"x.ini", " T", "2"}, {"x.ini", "U", Missing},
        {"z.ini", "U", Missing}, {"z.ini", "S", Missing}, {"y.ini", "S", "5"},
    };
    for (int round = 0; round < 3; ++round) {
        for (const auto& [file, section, value] : rows)
            ASSERT_EQ(Value(file, section), value) << file << " [" << section << "]";
    }
}

}  // namespace
