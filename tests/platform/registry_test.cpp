#include "platform/linux/faces/registry.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

using namespace std::string_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char Head[] = "Windows Registry Editor Version 5.00\n";
constexpr char ServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon";
constexpr char Parameters[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters";

const std::string ParametersHeading = "[HKEY_LOCAL_MACHINE\\"s + Parameters + "]\n";

class OpenedKey {
  public:
    explicit OpenedKey(const char* path) : error(RegOpenKeyA(HKEY_LOCAL_MACHINE, path, &key_)) {}
    ~OpenedKey() {
        if (error == 0) RegCloseKey(key_);
    }
    operator HKEY() const { return key_; }

  private:
    HKEY key_ = nullptr;

  public:
    const LONG error;
};

struct Answer {
    LONG error;
    DWORD type;
    std::string data;
    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.error << ", type " << answer.type << ", " << testing::PrintToString(answer.data);
}

Answer Query(HKEY key, const char* name) {
    BYTE buffer[260];
    DWORD type = 99;
    DWORD size = sizeof(buffer);
    const LONG error = RegQueryValueExA(key, name, nullptr, &type, buffer, &size);
    if (error != 0) return {error, 0, {}};
    return {error, type, std::string(reinterpret_cast<char*>(buffer), size)};
}

LONG SetText(HKEY key, const char* name, const char* text, DWORD type = REG_EXPAND_SZ) {
    return RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(text),
                          static_cast<DWORD>(strlen(text) + 1));
}

LONG SetNumber(HKEY key, const char* name, DWORD number) {
    return RegSetValueExA(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4);
}

TEST(Registry, ReadsEachFormOfAValue) {
    const std::tuple<const char*, DWORD, std::string> rows[] = {
        {R"("v"=dword:000003e8)", REG_DWORD, "\xE8\x03\0\0"s},
        {R"( "V" = DWORD:1F )", REG_DWORD, "\x1F\0\0\0"s},
        {R"("v"="")", REG_SZ, "\0"s},
        {R"("v"=hex:)", REG_BINARY, ""},
        {R"("v"="a\\b\"c")", REG_SZ, "a\\b\"c\0"s},
        {R"("v"=str(2):".\\bootptab")", REG_EXPAND_SZ, ".\\bootptab\0"s},
        {"\"v\"=hex(2):25,00,\\\n  54,00,\\\r\n 00,00", REG_EXPAND_SZ, "%T\0"s},
        {R"("v"=hex(1):e4,00)", REG_SZ, "\xC3\xA4\0"s},
        {R"("v"=hex:01,ff,0)", REG_BINARY, "\x01\xFF\0"s},
        {R"("v"=hex(7):61,00,00,00,00,00)", 7, "a\0\0\0\0\0"s}};
    const TestHome home;
    for (const auto& [line, type, data] : rows) {
        home.Write("registry.reg", Head + ParametersHeading + line + "\n");
        const OpenedKey key(Parameters);
        ASSERT_EQ(key.error, 0) << line;
        EXPECT_EQ(Query(key, "v"), (Answer{0, type, data})) << line;
    }
}

TEST(Registry, FindsKeysAndNamesWithoutCase) {
    const TestHome home;
    home.Write("registry.reg", "\xEF\xBB\xBF"s + "Windows Registry Editor Version 5.00\r\n; remark\r\n\r\n" +
                                   "[hkey_local_machine\\Software\\A]\r\n@=\"default\"\r\n\"x\"=\"1\"\r\n" +
                                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\a]\r\n\"X\"=\"2\"\r\n");
    const OpenedKey key("SOFTWARE\\A\\");
    ASSERT_EQ(key.error, 0);
    EXPECT_EQ(Query(key, "X"), (Answer{0, REG_SZ, "2\0"s})) << "the later one holds";
    EXPECT_EQ(Query(key, nullptr), (Answer{0, REG_SZ, "default\0"s}));
    EXPECT_EQ(OpenedKey("software").error, 0) << "a key above one that is there";
    EXPECT_EQ(OpenedKey("softwar").error, 2);
    HKEY below = nullptr;
    const OpenedKey parent("Software");
    ASSERT_EQ(RegOpenKeyA(parent, "A", &below), 0);
    EXPECT_EQ(Query(below, "x").error, 0);
    EXPECT_EQ(RegCloseKey(below), 0);
    EXPECT_EQ(Query(below, "x").error, 6);
}

TEST(Registry, TellsTheSizeAValueNeeds) {
    const TestHome home;
    home.Write("registry.reg", Head + ParametersHeading + "\"v\"=\"four\"\n");
    const OpenedKey key(Parameters);
    BYTE buffer[5];
    for (const auto& [bytes, size, error] :
         {std::tuple{buffer, 4u, 234}, {buffer, 5u, 0}, {nullptr, 0u, 0}}) {
        DWORD needed = size;
        EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, bytes, &needed), error);
        EXPECT_EQ(needed, 5u);
    }
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, buffer, nullptr), 87);
}

TEST(Registry, ALineThatCannotBeReadFailsTheCallAndIsNamed) {
    const std::string key = Head + ParametersHeading;
    std::vector<std::pair<const char*, std::string>> rows = {
        {":1: ", ""},
        {":1: ", "REGEDIT4\n"},
        {":2: ", Head + "[HKEY_LOCAL_MACHINES\\A]\n"s},
        {":2: ", Head + "\"v\"=dword:1\n"s},
        {":2: ", Head + "[HKEY_CURRENT_USER\\A]\n"s},
        {":2: ", Head + "[HKEY_LOCAL_MACHINE\\A\\\\B]\n"s},
        {":3: ", Head + "\n[HKEY_LOCAL_MACHINE\\A\n"s},
        {":5: ", key + "\"a\"=\"b\"\n\"v\"=hex:1,\\\n  2,\\"}};
    for (const std::string& line :
         {"\"v\""s, "v=dword:1"s, "\"v\"=dword:1g"s, "\"v\"=12"s, "\"v\"=\"a\"b"s, "\"v\"=hex:1,"s,
          "\"v\"=dword:"s, "\"v\"=dword:123456789"s, "\"v\"=-"s, "\"v\"=\"a\\\""s, "\"v\"=str(4):\"a\""s,
          "\"v\"=hex:100"s, "\"v\"=hex(2):25"s, "\"v\"=hex(2):00,d8"s, "\"v\"=\"a\0b\""s})
        rows.emplace_back(":3: ", key + line + "\n");
    for (const auto& [event, text] : rows) {
        const TestHome home;
        home.Write("registry.reg", text);
        EXPECT_EQ(OpenedKey(Parameters).error, 1015) << text;
        HKEY created = nullptr;
        EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "X", &created), 1015) << text;
        EXPECT_EQ(home.Read("registry.reg"), text) << "what can't be read isn't written over";
        const std::string log = home.Read("events.log");
        EXPECT_THAT(log, HasSubstr(" error 0xC0000022 Quillon: " + home.Path("registry.reg") + event))
            << text;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << "one event a failed call";
    }
}

// Wherever a file is cut, what is read of it is what stood there, or it is refused.
TEST(Registry, ACutFileGivesNoOtherValues) {
    const TestHome home;
    const std::string whole =
        Head + ParametersHeading +
        "\"CacheSize\"=dword:000003e8\n\"Path\"=str(2):\".\\\\bootptab\"\n\"B\"=hex:01,02\n";
    int refused = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        home.Write("registry.reg", whole.substr(0, size));
        const OpenedKey key(Parameters);
        if (key.error == 1015) ++refused;
        if (key.error != 0) continue;
        EXPECT_THAT(Query(key, "CacheSize").data, testing::AnyOf("", "\xE8\x03\0\0"s)) << size;
        EXPECT_THAT(Query(key, "Path").data, testing::AnyOf("", ".\\bootptab\0"s)) << size;
        EXPECT_THAT(Query(key, "B").data, testing::AnyOf("", "\x01\x02")) << size;
    }
    EXPECT_GT(refused, static_cast<int>(whole.size() / 2));
}

TEST(Registry, WritesWhatAnInstallWrites) {
    const TestHome home;
    EXPECT_EQ(OpenedKey(ServiceKey).error, 2) << "a missing file is an empty registry";
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, Parameters, &key), 0);
    EXPECT_EQ(SetText(key, "DatabasePath", ".\\bootptab"), 0);
    EXPECT_EQ(SetText(key, "LocalAddrs", "say \"hi\"", REG_SZ), 0);
    EXPECT_EQ(SetNumber(key, "CacheSize", 1000), 0);
    EXPECT_EQ(SetNumber(key, "cachesize", 0xFFFFFFFF), 0);
    EXPECT_EQ(RegSetValueExA(key, "Bytes", 0, REG_BINARY, reinterpret_cast<const BYTE*>("\1\xFE"), 2), 0);
    EXPECT_EQ(SetText(key, "Lines", "a\nb"), 0);
    EXPECT_EQ(SetText(key, "", "default", REG_SZ), 0);
    EXPECT_EQ(Query(key, "DatabasePath"), (Answer{0, REG_EXPAND_SZ, ".\\bootptab\0"s}))
        << "seen through the same key";
    EXPECT_EQ(RegCloseKey(key), 0);

    EXPECT_EQ(home.Read("registry.reg"), Head + "\n"s + ParametersHeading +
                                             "\"DatabasePath\"=str(2):\".\\\\bootptab\"\n"
                                             "\"LocalAddrs\"=\"say \\\"hi\\\"\"\n"
                                             "\"CacheSize\"=dword:ffffffff\n"
                                             "\"Bytes\"=hex:01,fe\n"
                                             "\"Lines\"=hex(2):61,00,0a,00,62,00,00,00\n"
                                             "@=\"default\"\n");
    EXPECT_FALSE(std::filesystem::exists(home.Path("registry.reg.new")));
}

TEST(Registry, AWriteKeepsAllOtherLines) {
    const TestHome home;
    const std::string before =
        "Windows Registry Editor Version 5.00\r\n; head\r\n\r\n[HKEY_LOCAL_MACHINE\\A]\r\n"
        "; about x\r\n  \"x\" = dword:1\r\n\"h\"=hex:01,\\\r\n  02\r\n\r\n; tail\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\B]\r\n\"y\"=\"1\"\r\n";
    home.Write("registry.reg", before);
    ASSERT_EQ(chmod(home.Path("registry.reg").c_str(), 0640), 0);
    const OpenedKey key("A");
    EXPECT_EQ(SetNumber(key, "x", 1), 0);
    EXPECT_EQ(home.Read("registry.reg"), before) << "nothing changed, nothing written";
    EXPECT_EQ(SetNumber(key, "X", 2), 0);
    EXPECT_EQ(SetNumber(key, "z", 3), 0);
    std::string after = before;
    after.replace(after.find("  \"x\" = dword:1"), 15, "\"x\"=dword:00000002");
    after.replace(after.find("; tail\r\n"), 8, "; tail\r\n\"z\"=dword:00000003\r\n");
    EXPECT_EQ(home.Read("registry.reg"), after);
    struct stat status {};
    ASSERT_EQ(stat(home.Path("registry.reg").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST(Registry, DeletesKeysWithoutSubkeys) {
    const TestHome home;
    home.Write("registry.reg", Head + "[HKEY_LOCAL_MACHINE\\"s + ServiceKey +
                                   "]\n\"Start\"=dword:00000003\n" + ParametersHeading +
                                   "[HKEY_LOCAL_MACHINE\\B]\n\"y\"=\"1\"\n");
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ServiceKey), 5);
    EXPECT_EQ(RegDeleteKeyA(OpenedKey(ServiceKey), "parameters"), 0);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ServiceKey), 0);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ServiceKey), 2);
    EXPECT_EQ(home.Read("registry.reg"), Head + "[HKEY_LOCAL_MACHINE\\B]\n\"y\"=\"1\"\n"s);
}

TEST(Registry, WritersDoNotLoseEachOthersValues) {
    const TestHome home;
    std::vector<std::jthread> writers;
    for (int writer = 0; writer < 3; ++writer)
        writers.emplace_back([writer] {
            HKEY key = nullptr;
            ASSERT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "A", &key), 0);
            for (int i = 0; i < 10; ++i)
                EXPECT_EQ(SetNumber(key, std::to_string(writer * 10 + i).c_str(), 1), 0);
            RegCloseKey(key);
        });
    writers.clear();
    const std::string text = home.Read("registry.reg");
    EXPECT_EQ(std::count(text.begin(), text.end(), '='), 30);
}

TEST(Registry, WaitsForAnotherWriterForALimitedTime) {
    const TestHome home;
    const int lock = open(home.Path("registry.reg.lock").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "A", &key), 32);
    close(lock);
    EXPECT_EQ(RegCreateKeyA(HKEY_LOCAL_MACHINE, "A", &key), 0);
    RegCloseKey(key);
}

TEST(Environment, ExpandsNamesThatAreSet) {
    setenv("Q_NAME", "value", 1);
    const std::pair<const char*, const char*> rows[] = {{"a%Q_NAME%b", "avalueb"},
                                                        {"%Q_NAME%%Q_NAME%", "valuevalue"},
                                                        {"%Q_NONE%", "%Q_NONE%"},
                                                        {"50% of %Q_NAME%", "50% of value"},
                                                        {"%%", "%%"},
                                                        {"", ""}};
    for (const auto& [source, expanded] : rows) {
        char buffer[64];
        EXPECT_EQ(ExpandEnvironmentStringsA(source, buffer, sizeof(buffer)), strlen(expanded) + 1) << source;
        EXPECT_STREQ(buffer, expanded);
    }
    char small[5] = "####";
    EXPECT_EQ(ExpandEnvironmentStringsA("%Q_NAME%", small, 4), 6u);
    EXPECT_EQ(small[4], '\0') << "nothing after the buffer's end is touched";
    EXPECT_EQ(ExpandEnvironmentStringsA("%Q_NAME%", nullptr, 0), 6u);
}

}  // namespace
