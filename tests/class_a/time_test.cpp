#include "class_a/standard/CTimeT.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <thread>

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

constexpr const char* kZones[] = {"UTC", "America/New_York", "Australia/Lord_Howe", "Europe/Berlin"};

TEST(Time, ComputesModuloTwoToThe64) {
    __extension__ using Wide = __int128;
    std::mt19937_64 random(1);
    for (int i = 0; i < 10000; ++i) {
        // Small numbers too, so that some sums don't wrap and some quotients are not 0.
        const auto a = static_cast<std::int64_t>(random()) >> random() % 64;
        const auto b = static_cast<std::int64_t>(random()) >> random() % 64;
        const CTimeT left(a);
        const CTimeT right(b);
        ASSERT_EQ(left + right, static_cast<std::int64_t>(Wide(a) + b));
        ASSERT_EQ(left - b, static_cast<std::int64_t>(Wide(a) - b));
        ASSERT_EQ(left * right, static_cast<std::int64_t>(Wide(a) * b));
        ASSERT_EQ(-left, CTimeT() - left);
        if (b != 0) {
            ASSERT_EQ(left / right, static_cast<std::int64_t>(Wide(a) / b));
        }
        ASSERT_TRUE((left < right) == (a < b) && (left <= b) == (a <= b) && (left == right) == (a == b));
        ASSERT_TRUE((left > right) == (a > b) && (left >= b) == (a >= b) && (left != right) == (a != b));
    }
    EXPECT_EQ(CTimeT(kLeast) / CTimeT(-1), kLeast);
    CTimeT time(kMost);
    EXPECT_EQ(time++, kLeast);  // the new value, unlike elsewhere
    EXPECT_EQ(time--, kMost);
    EXPECT_EQ(failure_of([&] { time / std::int64_t{0}; }, &time),
              "CTimeT::operator/: Cannot divide time. (Division by zero.)");
    time.setNow();
    EXPECT_LE(time - CTimeT::now(), 0);
    EXPECT_LE(std::time(nullptr) - time.value(), 60);
}

TEST(Time, PrintsDates) {
    const std::tuple<const char*, std::int64_t, const char*> dates[] = {
        {"UTC", kSample, "Wed Jan 02 02:03:55 1980"},
        {"UTC", -1, "Wed Dec 31 23:59:59 1969"},
        {"UTC", 2147483648, "Tue Jan 19 03:14:08 2038"},
        {"UTC", -62167219200, "Sat Jan 01 00:00:00 0"},
        {"UTC", 253402300800, "Sat Jan 01 00:00:00 10000"},
        {"America/New_York", -2717650800, "Sun Nov 18 12:00:00 1883"},
        {"America/New_York", 3000000000, "Sat Jan 24 00:20:00 2065"}};
    for (const auto& [zone, time, text] : dates) {
        setenv("TZ", zone, 1);
        EXPECT_EQ(CTimeT(time).date(true), text);
        EXPECT_EQ(CTimeT(time).formattedLocal("%a %b %d %H:%M:%S"), CTimeT(time).dateLocal().substr(0, 19));
    }
    ksl::CStringMap parts("stale=1");
    CTimeT(kSample).datePartsUTC(parts);
    EXPECT_EQ(parts.string(), "date=02\nday=Wed\nmonth=Jan\ntime=02:03:55\nyear=1980\n");
    CTimeT(kLastDate - 86400).datePartsLocal(parts);
    EXPECT_EQ(parts.get(CTimeT::keyYear()), "2147483647");

    const CTimeT zero;
    EXPECT_EQ(zero.formattedUTC("%Y-%m-%d%%"), "1970-01-01%");
    EXPECT_EQ(zero.formattedUTC(std::string(255, 'x').c_str()), std::string(255, 'x'));
    EXPECT_EQ(zero.formattedUTC(std::string(256, 'x').c_str()), "");
}

TEST(Time, RefusesWhatIsNoDate) {
    setenv("TZ", "UTC", 1);
    for (const std::int64_t value : {kMost, kLeast, kLastDate + 1, kFirstDate - 1}) {
        const CTimeT time(value);
        std::tm fields = {};
        fields.tm_year = 12345;
        const std::pair<std::function<void()>, const char*> refused[] = {
            {[&] { time.gmtime(fields); }, "gmtime: Cannot process gmtime. (Invalid time.)"},
            {[&] { time.dateUTC(); }, "dateUTC: Cannot display time string. (Invalid time.)"},
            {[&] { time.dateLocal(); }, "dateLocal: Cannot display time string. (Invalid time.)"},
            {[&] { time.formattedUTC("%Y"); }, "_formattedTime: Cannot format time string. (Invalid time.)"},
            {[&] { time.formattedLocal(nullptr); },
             "_formattedTime: Cannot format time string. (Invalid format specifier.)"}};
        for (const auto& [run, text] : refused)
            EXPECT_EQ(failure_of(run, &time), std::string("CTimeT::") + text);
        EXPECT_EQ(fields.tm_year, 12345);
    }
}

TEST(Time, ReadsDates) {
    const std::pair<const char*, std::int64_t> dates[] = {{"Wed Jan 02 02:03:55 1980", kSample},
                                                          {"  WED   jan   2   02:03:55   1980", kSample},
                                                          {"Mon Jan 02 02:03:55 1980 and more", kSample},
                                                          {"jan 2 2:3:55:77 1980", kSample},
                                                          {"Jan 1 26:03:55 1980", kSample},
                                                          {"Jan 2 1980", 315619200},
                                                          {"Jan x 1980", 315446400},
                                                          {"Jan 1 0:0:0 99999999999", 67767976201996800}};
    const char* const refused[] = {
        "Foo 2 1980",        "Jan 2", "Jan 2 ", "Jan 2 12:30 1980", "Jan 2 12:30:00", "Mon",
        "Monday Jan 2 1980", "",      "  "};
    for (const char* const zone : kZones) {
        setenv("TZ", zone, 1);
        for (const auto& [text, expected] : dates) {
            CTimeT time(77);
            EXPECT_TRUE(time.parseDate(false, text) && CTimeT().parseDate(true, text)) << text;
            EXPECT_EQ(time, expected) << text;
        }
        for (const char* const text : refused) {
            CTimeT time(77);
            EXPECT_FALSE(time.parseDate(true, text) || time != 0 || time.parseDate(false, text)) << text;
        }
    }
}

// Whatever was read before: the first of two moments, and by the offset from before a gap.
TEST(Time, ReadsDatesWhereTheClockChanges) {
    const std::tuple<const char*, const char*, std::int64_t, const char*> dates[] = {
        {"America/New_York", "Mar 14 02:30:00 2021", 1615707000, "Sun Mar 14 03:30:00 2021"},
        {"America/New_York", "Mar 14 01:59:59 2021", 1615705199, "Sun Mar 14 01:59:59 2021"},
        {"America/New_York", "Nov 07 01:30:00 2021", 1636263000, "Sun Nov 07 01:30:00 2021"},
        {"America/New_York", "Nov 07 02:00:00 2021", 1636268400, "Sun Nov 07 02:00:00 2021"},
        {"Australia/Lord_Howe", "Apr 04 01:45:00 2021", 1617461100, "Sun Apr 04 01:45:00 2021"},
        {"Australia/Lord_Howe", "Oct 03 02:15:00 2021", 1633189500, "Sun Oct 03 02:45:00 2021"},
        {"Pacific/Apia", "Dec 30 12:00:00 2011", 1325282400, "Sat Dec 31 12:00:00 2011"}};
    for (const auto& [zone, text, expected, printed] : dates) {
        setenv("TZ", zone, 1);
        for (const char* const before : {"Jan 2 2021", "Jul 2 2021"}) {
            CTimeT time;
            EXPECT_TRUE(time.parseDateLocal(before) && time.parseDateLocal(text));
            EXPECT_EQ(time, expected) << text;
            EXPECT_EQ(time.dateLocal(), printed);
        }
    }
}

// Printing and reading are inverse for UTC. A local date may name two moments, of which the first is read.
TEST(Time, ReadsWhatItPrints) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 8000; ++i) {
        setenv("TZ", kZones[i % 4], 1);
        std::int64_t time = static_cast<std::int64_t>(random()) % (kLastDate - 86400) >> random() % 57;
        if (i < 8) time = i < 4 ? kFirstDate : kLastDate;
        CTimeT read;
        ASSERT_TRUE(read.parseDateUTC(CTimeT(time).dateUTC()));
        ASSERT_EQ(read, time) << CTimeT(time).dateUTC();
        if (i < 8) continue;
        const std::string local = CTimeT(time).dateLocal();
        ASSERT_TRUE(read.parseDateLocal(local));
        ASSERT_EQ(read.dateLocal(), local);
        ASSERT_LE(read, time);

        const auto length = static_cast<std::int32_t>(time);
        ASSERT_TRUE(read.parseDuration(CTimeT(length).durationString()));
        ASSERT_EQ(read, length);
    }
}

TEST(Time, ReadsDurations) {
    const std::pair<const char*, std::int64_t> durations[] = {{"90", 90},
                                                              {"1:30", 90},
                                                              {"1:0:0", 3600},
                                                              {"5:", 300},
                                                              {":5", 5},
                                                              {":", 0},
                                                              {"1:-1", 59},
                                                              {"x", 0},
                                                              {"7:1:2:3:4:5:6", 36993906},
                                                              {"12x:3", 723},
                                                              {"infinite", -1},
                                                              {"INFINITY", -1},
                                                              {"2147483647", 2147483647},
                                                              {"-2147483648", -2147483648},
                                                              {"2147483647:1", -59},
                                                              {"100:0:0:0:0:0", -1141367296}};
    for (const auto& [text, expected] : durations) {
        CTimeT time(77);
        EXPECT_TRUE(time.parseDuration(text)) << text;
        EXPECT_EQ(time, expected) << text;
    }
    // The fields after the one that doesn't fit are added up.
    const std::pair<const char*, std::int64_t> refused[] = {
        {"", 0}, {"2147483648", 0}, {"-2147483649:07", 7}, {"99999999999999999999:1:1", 61}};
    for (const auto& [text, expected] : refused) {
        CTimeT time(77);
        EXPECT_FALSE(time.parseDuration(text)) << text;
        EXPECT_EQ(time, expected) << text;
    }
    const std::pair<std::int64_t, const char*> printed[] = {{-1, "infinite"},  {0, "0:0:0"},
                                                            {90000, "25:0:0"}, {-3661, "-1:-1:-1"},
                                                            {kLeast, "0:0:0"}, {kMost, "0:0:-1"}};
    for (const auto& [time, text] : printed)
        EXPECT_EQ(CTimeT(time).durationString(), text);
}

TEST(Time, ServesManyThreadsAtOnce) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([time = CTimeT(kSample + i * std::int64_t{98765432})] {
            const std::string utc = time.dateUTC();
            const std::string local = time.dateLocal();
            for (int turn = 0; turn < 2000; ++turn) {
                CTimeT read;
                ASSERT_TRUE(read.parseDateUTC(utc) && read == time && read.parseDateLocal(local));
                ASSERT_TRUE(time.dateUTC() == utc && time.dateLocal() == local);
                ASSERT_FALSE(time.formattedLocal("%c %Z").empty());
            }
        });
    }
    threads.clear();
}

}  // namespace
