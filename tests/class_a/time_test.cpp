#include "class_a/standard/CTimeT.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "class_a/failure.h"
#include "class_a/standard/CStringMap.h"

using ksl::CTimeT;

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

// The first and the last moment whose year is an int.
constexpr std::int64_t kFirstDate = -67768040609740800;
constexpr std::int64_t kLastDate = 67767976233532799;

constexpr std::int64_t kSample = 315626635;  // 1980-01-02 02:03:55 UTC

// The time zone of the process for the length of a block.
class Zone {
  public:
    explicit Zone(const char* name) {
        const char* const before = std::getenv("TZ");
        if (before != nullptr) _before = before;
        _wasSet = before != nullptr;
        setenv("TZ", name, 1);
    }
    ~Zone() {
        if (_wasSet)
            setenv("TZ", _before.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

  private:
    std::string _before;
    bool _wasSet;
};

constexpr const char* kZones[] = {"UTC", "America/New_York", "Australia/Lord_Howe", "Europe/Berlin",
                                  "Asia/Kathmandu"};

TEST(Time, ComputesAndComparesModuloTwoToThe64) {
    __extension__ using Wide = __int128;
    std::mt19937_64 random(1);
    for (int i = 0; i < 10000; ++i) {
        // Small numbers too, so that some sums don't wrap and some quotients are not 0.
        const auto a = static_cast<std::int64_t>(random()) >> random() % 64;
        const auto b = static_cast<std::int64_t>(random()) >> random() % 64;
        const CTimeT left(a);
        const CTimeT right(b);
        EXPECT_EQ((left + right).value(), static_cast<std::int64_t>(Wide(a) + b));
        EXPECT_EQ((left - right).value(), static_cast<std::int64_t>(Wide(a) - b));
        EXPECT_EQ((left * right).value(), static_cast<std::int64_t>(Wide(a) * b));
        EXPECT_EQ((left + b) + (left - b) * std::int64_t{1}, left * std::int64_t{2});
        if (b != 0) {
            EXPECT_EQ((left / right).value(), static_cast<std::int64_t>(Wide(a) / b));
        }
        EXPECT_EQ(-left, CTimeT() - left);
        const bool relations[] = {left == right, left != right, left<right, left <= right, left> right,
                                  left >= right};
        const bool plain[] = {left == b, left != b, left<b, left <= b, left> b, left >= b};
        const bool expected[] = {a == b, a != b, a<b, a <= b, a> b, a >= b};
        EXPECT_TRUE(std::equal(relations, relations + 6, expected) && std::equal(plain, plain + 6, expected));
    }
    EXPECT_EQ(CTimeT(kMost) + 1, kLeast);
    EXPECT_EQ(CTimeT(kLeast) / CTimeT(-1), kLeast);
    EXPECT_EQ(CTimeT(-7) / CTimeT(2), -3);
    const CTimeT time(1);
    EXPECT_EQ(failure_of([&] { time / std::int64_t{0}; }, &time),
              "CTimeT::operator/: Cannot divide time. (Division by zero.)");
}

TEST(Time, PostfixFormsGiveTheNewValue) {
    CTimeT time(kMost);
    EXPECT_EQ(time++, kLeast);
    EXPECT_EQ(time--, kMost);
    EXPECT_EQ(--time, kMost - 1);
    EXPECT_EQ((time += CTimeT(2)) -= std::int64_t{3}, kMost - 2);
    const CTimeT now = CTimeT::now();
    time.setNow();
    EXPECT_LE(now, time);
    EXPECT_LE(std::time(nullptr) - now.value(), 60);
}

TEST(Time, PrintsDates) {
    const struct {
        std::int64_t time;
        const char* text;
    } dates[] = {
        {kSample, "Wed Jan 02 02:03:55 1980"},
        {0, "Thu Jan 01 00:00:00 1970"},
        {-1, "Wed Dec 31 23:59:59 1969"},
        {-11676096000, "Sat Jan 01 00:00:00 1600"},
        {2147483648, "Tue Jan 19 03:14:08 2038"},
        {-62167219200, "Sat Jan 01 00:00:00 0"},
        {253402300800, "Sat Jan 01 00:00:00 10000"},
    };
    for (const auto& date : dates)
        EXPECT_EQ(CTimeT(date.time).dateUTC(), date.text);
    EXPECT_EQ(CTimeT(kSample).date(false), CTimeT(kSample).dateUTC());
    EXPECT_EQ(CTimeT(kSample).date(true), CTimeT(kSample).dateLocal());

    std::tm fields = {};
    CTimeT(kSample).gmtime(fields);
    EXPECT_EQ(fields.tm_year, 80);
    EXPECT_EQ(fields.tm_yday, 1);
}

TEST(Time, FormatsDates) {
    EXPECT_EQ(CTimeT(0).formattedUTC("%Y-%m-%d%%"), "1970-01-01%");
    EXPECT_EQ(CTimeT(0).formattedUTC(""), "");
    EXPECT_EQ(CTimeT(0).formattedUTC(std::string(255, 'x').c_str()), std::string(255, 'x'));
    EXPECT_EQ(CTimeT(0).formattedUTC(std::string(256, 'x').c_str()), "");
    EXPECT_EQ(CTimeT(kSample).formattedLocal("%a %b %d %H:%M:%S %Y"), CTimeT(kSample).dateLocal());
}

TEST(Time, RefusesWhatIsNoDate) {
    for (const std::int64_t value : {kMost, kLeast, kLastDate + 1, kFirstDate - 1}) {
        const CTimeT time(value);
        std::tm fields = {};
        fields.tm_year = 12345;
        EXPECT_EQ(failure_of([&] { time.gmtime(fields); }, &time),
                  "CTimeT::gmtime: Cannot process gmtime. (Invalid time.)");
        EXPECT_EQ(fields.tm_year, 12345);
        EXPECT_EQ(failure_of([&] { time.dateUTC(); }, &time),
                  "CTimeT::dateUTC: Cannot display time string. (Invalid time.)");
        EXPECT_EQ(failure_of([&] { time.formattedUTC("%Y"); }, &time),
                  "CTimeT::_formattedTime: Cannot format time string. (Invalid time.)");
        EXPECT_EQ(failure_of([&] { time.formattedLocal(nullptr); }, &time),
                  "CTimeT::_formattedTime: Cannot format time string. (Invalid format specifier.)");
    }
    const CTimeT never(kMost);
    EXPECT_EQ(failure_of([&] { never.dateLocal(); }, &never),
              "CTimeT::dateLocal: Cannot display time string. (Invalid time.)");
}

TEST(Time, ReadsDates) {
    const struct {
        const char* text;
        bool read;
        std::int64_t time;
    } dates[] = {
        {"Wed Jan 02 02:03:55 1980", true, kSample},
        {"jan 2 02:03:55 1980", true, kSample},
        {"  WED   JAN   2   02:03:55   1980", true, kSample},
        {"Mon Jan 02 02:03:55 1980 and more", true, kSample},
        {"Jan 2 1980", true, 315619200},
        {"Jan 2 2:3:55:77 1980", true, kSample},
        {"Jan 1 26:03:55 1980", true, kSample},
        {"Jan x 1980", true, 315446400},
        {"Jan 1 0:0:0 99999999999", true, 67767976201996800},
        {"Foo 2 1980", false, 0},
        {"Jan 2", false, 0},
        {"Jan 2 ", false, 0},
        {"Jan 2 12:30 1980", false, 0},
        {"Jan 2 12:30:00", false, 0},
        {"Mon", false, 0},
        {"Monday Jan 2 1980", false, 0},
        {"", false, 0},
        {"   ", false, 0},
    };
    for (const char* const name : kZones) {
        const Zone zone(name);
        for (const auto& date : dates) {
            CTimeT time(77);
            EXPECT_EQ(time.parseDate(false, date.text), date.read) << date.text;
            EXPECT_EQ(time, date.time) << date.text;
            EXPECT_EQ(CTimeT(77).parseDate(true, date.text), date.read) << date.text;
        }
    }
}

TEST(Time, KnowsTheDaylightRulesOfTheZone) {
    const struct {
        const char* zone;
        std::int64_t time;
        const char* text;
    } dates[] = {
        {"America/New_York", 1615705199, "Sun Mar 14 01:59:59 2021"},
        {"America/New_York", 1615705200, "Sun Mar 14 03:00:00 2021"},
        {"America/New_York", 1636268399, "Sun Nov 07 01:59:59 2021"},
        {"America/New_York", 1636275600, "Sun Nov 07 04:00:00 2021"},
        {"America/New_York", -2717650800, "Sun Nov 18 12:00:00 1883"},
        {"America/New_York", 3000000000, "Sat Jan 24 00:20:00 2065"},
        {"Australia/Lord_Howe", 1617461999, "Sun Apr 04 01:59:59 2021"},
        {"Australia/Lord_Howe", 1617462000, "Sun Apr 04 01:30:00 2021"},
        {"Australia/Lord_Howe", 1633188600, "Sun Oct 03 02:30:00 2021"},
        {"Asia/Kathmandu", 0, "Thu Jan 01 05:30:00 1970"},
    };
    for (const auto& date : dates) {
        const Zone zone(date.zone);
        EXPECT_EQ(CTimeT(date.time).dateLocal(), date.text);
    }
}

// Printing and reading are inverse for UTC. A local date may name two moments, which print alike.
TEST(Time, ReadsWhatItPrints) {
    std::mt19937_64 random(2);
    for (const char* const name : kZones) {
        const Zone zone(name);
        for (int i = 0; i < 2000; ++i) {
            std::int64_t time = static_cast<std::int64_t>(random()) % (kLastDate - 86400) >> random() % 57;
            if (i == 0) time = kFirstDate;
            if (i == 1) time = kLastDate;
            CTimeT read(77);
            ASSERT_TRUE(read.parseDateUTC(CTimeT(time).dateUTC()));
            ASSERT_EQ(read, time) << CTimeT(time).dateUTC();
            if (i < 2) continue;
            const std::string local = CTimeT(time).dateLocal();
            ASSERT_TRUE(read.parseDateLocal(local));
            ASSERT_EQ(read.dateLocal(), local);
        }
    }
}

TEST(Time, ReadsDurations) {
    const struct {
        const char* text;
        bool read;
        std::int64_t time;
    } durations[] = {
        {"90", true, 90},
        {"1:30", true, 90},
        {"1:0:0", true, 3600},
        {"1:0:0:0", true, 86400},
        {"1:0:0:0:0", true, 2592000},
        {"1:0:0:0:0:0", true, 31536000},
        {"7:1:2:3:4:5:6", true, 31536000 + 2 * 2592000 + 3 * 86400 + 4 * 3600 + 5 * 60 + 6},
        {"5:", true, 300},
        {":5", true, 5},
        {":", true, 0},
        {"1:-1", true, 59},
        {"x", true, 0},
        {"12x:3", true, 723},
        {"infinite", true, -1},
        {"INFINITY", true, -1},
        {"", false, 0},
        {"2147483647", true, 2147483647},
        {"-2147483648", true, -2147483648},
        {"2147483648", false, 0},
        {"-2147483649:07", false, 7},
        {"99999999999999999999", false, 0},
        {"2147483647:1", true, -59},
        {"100:0:0:0:0:0", true, -1141367296},
    };
    for (const auto& duration : durations) {
        CTimeT time(77);
        EXPECT_EQ(time.parseDuration(duration.text), duration.read) << duration.text;
        EXPECT_EQ(time, duration.time) << duration.text;
    }
}

TEST(Time, PrintsDurations) {
    const std::pair<std::int64_t, const char*> durations[] = {
        {-1, "infinite"},  {0, "0:0:0"},        {3661, "1:1:1"},
        {90000, "25:0:0"}, {-3661, "-1:-1:-1"}, {std::int64_t{1} << 32, "0:0:0"},
        {kLeast, "0:0:0"}, {kMost, "0:0:-1"}};
    for (const auto& [time, text] : durations)
        EXPECT_EQ(CTimeT(time).durationString(), text);

    std::mt19937 random(3);
    for (int i = 0; i < 10000; ++i) {
        const auto time = static_cast<std::int32_t>(random()) >> random() % 32;
        CTimeT read;
        ASSERT_TRUE(read.parseDuration(CTimeT(time).durationString()));
        ASSERT_EQ(read, time);
    }
}

TEST(Time, SplitsADateIntoItsParts) {
    for (const bool local : {false, true}) {
        ksl::CStringMap parts("stale=1");
        if (local)
            CTimeT(kSample).datePartsLocal(parts);
        else
            CTimeT(kSample).datePartsUTC(parts);
        EXPECT_EQ(parts.size(), 5U);
        EXPECT_EQ(parts.get(CTimeT::keyDay()) + ' ' + parts.get("month") + ' ' +
                      parts.get(CTimeT::keyDate()) + ' ' + parts.get("time") + ' ' +
                      parts.get(CTimeT::keyYear()),
                  CTimeT(kSample).date(local));
    }
}

TEST(Time, ServesManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const CTimeT time(kSample + i * std::int64_t{98765432});
            const std::string utc = time.dateUTC();
            const std::string local = time.dateLocal();
            for (int turn = 0; turn < 2000; ++turn) {
                CTimeT read;
                ASSERT_TRUE(read.parseDateUTC(utc) && read == time);
                ASSERT_TRUE(time.dateUTC() == utc && time.dateLocal() == local);
                ASSERT_TRUE(read.parseDateLocal(local) && read.dateLocal() == local);
                ASSERT_EQ(time.formattedUTC("%a %b %d %H:%M:%S %Y"), utc);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
