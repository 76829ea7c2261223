#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "platform/held_ini_file.h"
#include "platform/linux/system/whole_file.h"
#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

constexpr char Missing[] = "(default)";

std::string Value(const std::string& path, const char* section, const char* key) {
    char buffer[256];
    GetPrivateProfileStringA(section, key, Missing, buffer, sizeof(buffer), path.c_str());
    return buffer;
}

// The names in a buffer, whose end the list has to mark.
Names Split(const char* list, DWORD length) {
    EXPECT_EQ(list[length], '\0');
    Names names;
    for (const char* name = list; *name != '\0'; name += names.back().size() + 1)
        names.emplace_back(name);
    return names;
}

Names Keys(const std::string& path, const char* section) {
    std::vector<char> buffer(1 << 20);
    const auto size = static_cast<DWORD>(buffer.size());
    return Split(buffer.data(),
                 GetPrivateProfileStringA(section, nullptr, "", buffer.data(), size, path.c_str()));
}

Names Sections(const std::string& path) {
    std::vector<char> buffer(1 << 20);
    const auto size = static_cast<DWORD>(buffer.size());
    return Split(buffer.data(), GetPrivateProfileSectionNamesA(buffer.data(), size, path.c_str()));
}

enum class Order : std::uint8_t { Little, Big };

std::string Utf16(std::u16string_view text, Order order) {
    std::string bytes;
    for (const char16_t unit : text) {
        const char pair[] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
        bytes += order == Order::Little ? std::string{pair[0], pair[1]} : std::string{pair[1], pair[0]};
    }
    return bytes;
}

constexpr std::u16string_view Wide = u"\xFEFF[\u00C4]\r\nk=\u20AC\U0001F600\0\xD800v\n"sv;

TEST(IniFile, ReadsValues) {
    const std::tuple<const char*, std::string, const char*, const char*, const char*> rows[] = {
        {"plain", "[S]\nk=v\n", "S", "k", "v"},
        {"no line end at the end", "[S]\nk=v", "S", "k", "v"},
        {"names without case", "[sEc]\nKeY=v\n", "SeC", "kEy", "v"},
        {"long names without case", "[A Long Section Name]\nA Long Key Name=v\n", "a lONG sECTION nAME",
         "a lONG kEY nAME", "v"},
        {"only letters have case", "[S@]\nk=v\n", "S`", "k", Missing},
        {"only ASCII has case", "[S]\n\xC4=v\n", "S", "\xE4", Missing},
        {"blanks around all", " [ S ] \n \tk\t = \tv w \t\n", "S", "k", "v w"},
        {"blanks in what is asked for", "[S]\nk=v\n", " S\t", "\tk ", "v"},
        {"blanks inside aren't equal to fewer", "[A  B]\nc=v\n", "A B", "c", Missing},
        {"the first of two sections only", "[S]\na=1\n[T]\n[S]\na=2\nb=3\n", "S", "b", Missing},
        {"the first of two keys", "[S]\na=1\nA=2\n", "S", "a", "1"},
        {"no equals sign", "[S]\nk\nk=v\n", "S", "k", "v"},
        {"a second equals sign", "[S]\nk=a=b\n", "S", "k", "a=b"},
        {"a comment behind blanks", "[S]\n  ;k=1\nk=2\n", "S", "k", "2"},
        {"a hash is no comment", "[S]\n#k=1\n", "S", "#k", "1"},
        {"a semicolon in a value", "[S]\nk=1 ; c\n", "S", "k", "1 ; c"},
        {"double quotes", "[S]\nk=\" v \"\n", "S", "k", " v "},
        {"an empty value", "[S]\nk=\n", "S", "k", ""},
        {"single quotes", "[S]\nk=' v '\n", "S", "k", " v "},
        {"a lone quote", "[S]\nk=\"\n", "S", "k", "\""},
        {"one pair only", "[S]\nk=\"\"v\"\"\n", "S", "k", "\"v\""},
        {"unequal quotes", "[S]\nk=\"v'\n", "S", "k", "\"v'"},
        {"quotes around a part", "[S]\nk=\"a\" b\n", "S", "k", "\"a\" b"},
        {"a heading with a comment", "[S] ; c\nk=v\n", "S", "k", "v"},
        {"the last bracket ends the name", "[S] ; c]\nk=v\n", "S] ; c", "k", "v"},
        {"a heading without an end", "[X\nk=v\n", "X", "k", Missing},
        {"a heading without an end, with a value", "[S]\n [X=5\n", "S", "[X", "5"},
        {"an equals sign in a heading", "[S]\n[X=5]\nk=v\n", "X=5", "k", "v"},
        {"a heading without a name", "[S]\n[]\nk=v\n", "", "k", Missing},
        {"it ends the section above", "[S]\n[ ]\nk=v\n", "S", "k", Missing},
        {"a lone carriage return", "[S]\rk=v\rl=w\r\rm=x\r", "S", "l", "w"},
        {"it ends a value", "[S]\r\r\nk=v\rl=w\r\n", "S", "k", "v"},
        {"an old end of a file", "[S]\r\nk=v\r\n\x1A", "S", "\x1A", Missing},
        {"rare blanks", "\v[\fS\x1A]\f\n\x1Ak\v = \fv\x1A\n", "S", "\vk\x1A", "v"},
        {"they stay inside", "[S]\nk=v\x1A\fw\n", "S", "k", "v\x1A\fw"},
        {"UTF-16", Utf16(Wide, Order::Little), "\xC3\x84", "k", "\xE2\x82\xAC\xF0\x9F\x98\x80 \xEF\xBF\xBDv"},
        {"UTF-16, the other order", Utf16(Wide, Order::Big), "\xC3\x84", "k",
         "\xE2\x82\xAC\xF0\x9F\x98\x80 \xEF\xBF\xBDv"},
        {"UTF-16 with half a character", Utf16(u"\xFEFF[S]\nk=v\xD83D", Order::Little) + "x", "S", "k",
         "v\xEF\xBF\xBD"},
        {"UTF-16 of nothing", Utf16(u"\xFEFF", Order::Little), "S", "k", Missing},
        {"a key above all sections", "k=v\n[S]\n", "", "k", Missing},
        {"a byte order mark", "\xEF\xBB\xBF[S]\nk=v\n", "S", "k", "v"},
        {"a missing key", "[S]\nk=v\n", "S", "x", Missing},
        {"a key without a name", "[S]\n=v\n", "S", "", Missing},
        {"NUL bytes are blanks", "[S]\na\0b=c\0d\0\n"s, "S", "a b", "c d"},
        {"an empty file", "", "S", "k", Missing},
    };
    const TestHome home;
    for (const auto& [rule, text, section, key, value] : rows) {
        const std::string path = home.Write("x.ini", text);
        EXPECT_EQ(Value(path, section, key), value) << rule;
        const HeldIniFile series;
        EXPECT_EQ(Value(path, section, key), value) << rule << ", in a series";
    }
}

TEST(IniFile, ListsNames) {
    const TestHome home;
    const std::string path = home.Write(
        "x.ini",
        "above=1\n[Two]\nb=1\nno key\n;c=1\na=2\nB=3\n=4\n[X\n[]\nx=1\n[One] ; c\n[two]\nd=1\n[Empty]\n");
    EXPECT_THAT(Sections(path), ElementsAre("Two", "One", "two", "Empty"));
    EXPECT_THAT(Keys(path, nullptr), ElementsAre("Two", "One", "two", "Empty"));
    const auto check = [&path] {
        for (const char* name : {"two", "Two"})
            EXPECT_THAT(Keys(path, name), ElementsAre("b", "a", "B"));
        for (const char* name : {"Empty", "None"})
            EXPECT_THAT(Keys(path, name), IsEmpty());
    };
    check();
    const HeldIniFile series;
    check();
    char buffer[16];
    EXPECT_EQ(GetPrivateProfileStringA("Empty", nullptr, "none", buffer, sizeof(buffer), path.c_str()), 4u);
    EXPECT_STREQ(buffer, "none");
}

TEST(IniFile, CutsWhatDoesNotFit) {
    const TestHome home;
    const std::string path = home.Write("x.ini", "[S]\nab=value\ncd=2\n");
    const struct {
        const char* key;  // null: the list "ab\0cd\0"
        DWORD size, answer;
        std::string bytes;
    } rows[] = {
        {"ab", 6, 5, "value\0"s},      {"ab", 5, 4, "valu\0"s},         {"ab", 1, 0, "\0"s},
        {"x", 3, 2, "(d\0"s},          {nullptr, 8, 6, "ab\0cd\0\0#"s}, {nullptr, 7, 6, "ab\0cd\0\0"s},
        {nullptr, 6, 4, "ab\0c\0\0"s}, {nullptr, 5, 3, "ab\0\0\0"s},    {nullptr, 3, 1, "a\0\0"s},
        {nullptr, 2, 0, "\0\0"s},      {nullptr, 1, 0, "\0"s},
    };
    for (const auto& row : rows) {
        std::string buffer(row.size + 1, '#');  // the last one isn't the reader's
        EXPECT_EQ(GetPrivateProfileStringA("S", row.key, Missing, buffer.data(), row.size, path.c_str()),
                  row.answer);
        EXPECT_EQ(buffer, row.bytes + "#") << (row.key != nullptr ? row.key : "list") << " in " << row.size;
    }
    EXPECT_EQ(GetPrivateProfileStringA("S", "ab", "", nullptr, 0, path.c_str()), 0u);
}

TEST(IniFile, TheDefaultAndTheKeyMayLieInTheBuffer) {
    const TestHome home;
    const std::string path = home.Write("x.ini", "[Aliases]\nold.img=new-and-longer.img\n");
    for (const auto& [text, value] :
         {std::pair{"old.img", "new-and-longer.img"}, {"other.img", "other.img"}}) {
        char buffer[32];
        strcpy(buffer, text);
        EXPECT_EQ(GetPrivateProfileStringA("Aliases", buffer, buffer, buffer, sizeof(buffer), path.c_str()),
                  strlen(value));
        EXPECT_STREQ(buffer, value);
    }
}

// Above a size the keys of a section are indexed, more sections than are kept so; the answers are those of
// reading line by line.
TEST(IniFile, LargeSectionsAndNamesReadLikeSmallOnes) {
    const TestHome home;
    const std::string key(32000, 'k');
    std::string text = "[Small]\nkey1=small\n" + key + "=" + std::string(100000, 'v') + "\n";
    for (int section = 0; section < 9; ++section) {
        text += "[Large" + std::to_string(section) + "]\n";
        for (int i = 0; i < 2000; ++i)
            text += "Key" + std::to_string(i) + " = v" + std::to_string(i + section) + "\r\n; key=c\n";
        text += "KEY7=second\n";
    }
    const std::string path = home.Write("x.ini", text + "last=1");
    const auto check = [&path](int step) {
        for (int i = 0; i < 2000; i += step) {
            const std::string section = "large" + std::to_string(i / step % 9);
            ASSERT_EQ(Value(path, section.c_str(), ("kEY" + std::to_string(i)).c_str()),
                      "v" + std::to_string(i + i / step % 9));
        }
        EXPECT_EQ(Value(path, "Large8", "last"), "1");
        EXPECT_EQ(Value(path, "Large8", "key"), Missing);
        EXPECT_EQ(Value(path, "Small", "key1"), "small");
    };
    check(1);
    EXPECT_EQ(Keys(path, "Large8").size(), 2002u);
    EXPECT_THAT(Keys(path, "Small"), ElementsAre("key1", key));
    std::string buffer(200000, '#');
    ASSERT_EQ(GetPrivateProfileStringA("Small", key.c_str(), "", buffer.data(), 200000, path.c_str()),
              100000u);
    EXPECT_EQ(buffer.find('v', 99999), 99999u);
    const HeldIniFile series;
    check(50);
}

TEST(IniFile, WhatCannotBeReadGivesTheDefaultAndTheReason) {
    const TestHome home;
    ASSERT_EQ(mkfifo(home.Path("pipe").c_str(), 0600), 0);
    for (const auto& [name, error] : {std::pair{"none.ini", ERROR_FILE_NOT_FOUND},
                                      {".", ERROR_ACCESS_DENIED},
                                      {"pipe", ERROR_ACCESS_DENIED}}) {
        EXPECT_EQ(Value(home.Path(name), "S", "k"), Missing) << name;
        EXPECT_EQ(GetLastError(), DWORD(error)) << name;
        EXPECT_THAT(Sections(home.Path(name)), IsEmpty()) << name;
    }
    EXPECT_EQ(GetPrivateProfileSectionNamesA(std::string(8, '#').data(), 8, nullptr), 0u);
}

TEST(IniFile, SeesEachEditAtOnce) {
    const TestHome home;
    const std::string path = home.Path("x.ini");
    const auto content = [](int number) { return "[S]\nk=" + std::to_string(number) + "\n"; };
    const auto check = [&](int number) { ASSERT_EQ(Value(path, "S", "k"), std::to_string(number)); };
    home.Write("x.ini", "[S]\nk=0999\n");
    // All of one size, and far more of them than the file system's clock has ticks in the time.
    for (int i = 1000; i < 3000; ++i) {
        if (i % 100 == 0)
            std::filesystem::rename(home.Write("new.ini", content(i)), path);
        else
            std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << content(i);
        check(i);
    }
    const auto written = std::filesystem::last_write_time(path);
    usleep(70'000);  // now the file's times tell all
    check(2999);
    home.Write("x.ini", content(3000));
    std::filesystem::last_write_time(path, written);
    check(3000);
    std::filesystem::remove(path);
    EXPECT_EQ(Value(path, "S", "k"), Missing);
    home.Write("x.ini", content(3001));
    check(3001);
}

// On some file systems two edits of one moment can't be told apart by their times. A file that was changed a
// moment ago is therefore compared byte by byte.
TEST(IniFile, AFileIsTrustedOnceItsTimesTellAllEdits) {
    constexpr long Millisecond = 1'000'000;
    const std::tuple<timespec, timespec, bool> rows[] = {
        {{1000, 4 * Millisecond}, {1000, 50 * Millisecond}, false},
        {{1000, 4 * Millisecond}, {1000, 60 * Millisecond}, true},
        {{1000, 990 * Millisecond}, {1001, 30 * Millisecond}, false},
        {{1000, 990 * Millisecond}, {1001, 50 * Millisecond}, true},
        {{1000, 40 * Millisecond}, {1000, 4 * Millisecond}, false},
        {{1000, 900 * Millisecond}, {1000, 4 * Millisecond}, true},
        // Whole seconds: a file system that keeps nothing finer.
        {{1000, 0}, {1002, 60 * Millisecond}, true},
        {{0, 1}, {INT64_MAX / 2, 0}, true},
        {{INT64_MAX / 2, 1}, {0, 0}, true}};
    for (const auto& [changed, now, settled] : rows) {
        struct stat status {};
        status.st_ctim = changed;
        EXPECT_EQ(FileIdentity(status).IsSettledAt(now), settled) << changed.tv_sec << ", " << now.tv_nsec;
    }
}

TEST(IniFile, TakesPathsInEitherStyle) {
    const TestHome home;
    std::filesystem::create_directory(home.Path("sub"));
    home.Write("x.ini", "[S]\nk=here\n");
    home.Write("sub/x.ini", "[S]\nk=below\n");
    const auto folder = std::filesystem::current_path();
    std::filesystem::current_path(home.Path(""));
    for (const char* path : {"x.ini", ".\\x.ini", "./x.ini", "sub\\..\\x.ini"})
        EXPECT_EQ(Value(path, "S", "k"), "here") << path;
    EXPECT_EQ(Value(".\\sub/x.ini", "S", "k"), "below");
    // The same name is another file in another folder.
    std::filesystem::current_path(home.Path("sub"));
    EXPECT_EQ(Value(".\\x.ini", "S", "k"), "below");
    std::filesystem::current_path(folder);
    std::string absolute = home.Path("sub/x.ini");
    std::replace(absolute.begin(), absolute.end(), '/', '\\');
    EXPECT_EQ(Value(absolute, "S", "k"), "below");
}

// Whoever asks after an edit has been made must not get what was there before it.
TEST(IniFile, ThreadsSeeWholeFilesAndNoneFromThePast) {
    const TestHome home;
    const auto content = [](int version) {
        std::string text = "[S]\nk=" + std::to_string(version) + "\n[Large]\n";
        for (int i = 0; i < 300; ++i)
            text += "key" + std::to_string(i) + "=" + std::to_string(version) + "\n";
        return text;
    };
    const std::string path = home.Write("x.ini", content(0));
    std::atomic<int> written{0};
    std::atomic<bool> done{false};
    std::vector<std::jthread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&, key = i == 0 ? "k" : "key299", section = i == 0 ? "S" : "Large"] {
            while (!done) {
                const int atLeast = written.load();
                const std::string value = Value(path, section, key);
                ASSERT_NE(value, Missing);
                ASSERT_GE(std::stoi(value), atLeast);
            }
        });
    }
    // One that holds what it has read is nobody else's concern.
    std::atomic<bool> isHeld{false};
    readers.emplace_back([&] {
        const HeldIniFile held;
        for (; !done; isHeld = true)
            EXPECT_NE(Value(path, "S", "k"), Missing);
    });
    while (!isHeld)
        std::this_thread::yield();
    for (int version = 1; version <= 300; ++version) {
        std::filesystem::rename(home.Write("new.ini", content(version)), path);
        EXPECT_EQ(Value(path, "S", "k"), std::to_string(version));
        written = version;
        if (version % 50 == 0) usleep(60'000);
    }
    done = true;
    readers.clear();
}

}  // namespace
