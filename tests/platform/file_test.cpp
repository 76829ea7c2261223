#include "platform/linux/faces/file.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "platform/test_home.h"
#include "platform/windows_api.h"

namespace {

using testing::MatchesRegex;

HANDLE Open(const std::string& path, DWORD access, DWORD disposition) {
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ, nullptr, disposition, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

BOOL Write(HANDLE file, const char* text) {
    DWORD written = 0;
    const BOOL result = WriteFile(file, text, static_cast<DWORD>(strlen(text)), &written, nullptr);
    EXPECT_TRUE(!result || written == strlen(text));
    return result;
}

TEST(File, OpensByDisposition) {
    const struct {
        const char* name;
        DWORD access, disposition, error;
        bool opens;
        const char* content;  // after "new" was written, if it was opened; null for a folder
    } rows[] = {{"there", GENERIC_READ, OPEN_EXISTING, 0, true, "oldlonger"},
                {"folder", GENERIC_WRITE, OPEN_ALWAYS, 5, false, nullptr},
                {"there/none", GENERIC_READ, OPEN_EXISTING, 3, false, ""},
                {"there", GENERIC_WRITE, OPEN_ALWAYS, 183, true, "newlonger"},
                {"made", GENERIC_WRITE, OPEN_ALWAYS, 0, true, "new"},
                {"there", GENERIC_WRITE, CREATE_ALWAYS, 183, true, "new"},
                {"dangling", GENERIC_WRITE, OPEN_ALWAYS, 0, true, "new"}};
    const TestHome home;
    home.Write("there", "oldlonger");
    std::filesystem::create_directory(home.Path("folder"));
    std::filesystem::create_symlink("target", home.Path("dangling"));
    for (const auto& row : rows) {
        SetLastError(99);
        const HANDLE file = Open(home.Path(row.name), row.access, row.disposition);
        const DWORD error = GetLastError();
        EXPECT_EQ(error, row.error) << row.name << ", " << row.disposition;
        ASSERT_EQ(file != INVALID_HANDLE_VALUE, row.opens) << row.name << ", " << row.disposition;
        if (row.opens) {
            EXPECT_EQ(Write(file, "new"), row.access == GENERIC_WRITE);
            EXPECT_TRUE(CloseHandle(file));
        }
        if (row.content == nullptr) continue;
        EXPECT_EQ(home.Read(row.name), row.content) << row.name << ", " << row.disposition;
    }
}

TEST(File, AppendsOrHasAPositionOfItsOwn) {
    const TestHome home;
    const std::string path = home.Path("log");
    const HANDLE first = Open(path, FILE_APPEND_DATA, OPEN_ALWAYS);
    const HANDLE positioned = Open(path, GENERIC_WRITE, OPEN_ALWAYS);
    EXPECT_TRUE(Write(first, "one\r\n"));
    const HANDLE second = Open(path, FILE_APPEND_DATA, OPEN_ALWAYS);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_TRUE(Write(second, "two\r\n"));
    EXPECT_TRUE(Write(first, "three\r\n"));
    EXPECT_TRUE(Write(positioned, "ONE"));
    EXPECT_EQ(home.Read("log"), "ONE\r\ntwo\r\nthree\r\n");
    ASSERT_EQ(truncate(path.c_str(), 0x1'0000'0005), 0);
    DWORD high = 0;
    EXPECT_EQ(GetFileSize(second, &high), 5u);
    EXPECT_EQ(high, 1u);
    EXPECT_EQ(GetLastError(), 0u);
    for (const HANDLE file : {first, second, positioned})
        CloseHandle(file);
}

TEST(File, AFailedWriteTellsHowFarItCame) {
    const HANDLE full = Open("/dev/full", GENERIC_WRITE, OPEN_EXISTING);
    ASSERT_NE(full, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(Write(full, "x"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
    CloseHandle(full);

    const TestHome home;
    const HANDLE file = Open(home.Path("x"), GENERIC_WRITE, CREATE_NEW);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{10, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    DWORD written = 0;
    const BOOL result = WriteFile(file, "0123456789abc", 13, &written, nullptr);
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(result);
    EXPECT_EQ(written, 10u);
    CloseHandle(file);
}

TEST(Path, MakesPathsAbsolute) {
    const TestHome home;
    const auto folder = std::filesystem::current_path();
    std::filesystem::current_path(home.Path(""));
    const std::tuple<std::string, std::string, const char*> rows[] = {
        {"bootps.log", home.Path("bootps.log"), "bootps.log"},
        {".\\sub\\..\\x", home.Path("x"), "x"},
        {"/a/./b//c", "/a/b/c", "c"},
        {"/a/", "/a/", nullptr}};
    for (const auto& [path, full, last] : rows) {
        char buffer[260];
        char* part = nullptr;
        EXPECT_EQ(GetFullPathNameA(path.c_str(), sizeof(buffer), buffer, &part), full.size());
        EXPECT_EQ(buffer, full);
        EXPECT_STREQ(part, last);
    }
    char small[4];
    EXPECT_EQ(GetFullPathNameA("/abc", sizeof(small), small, nullptr), 5u);
    std::filesystem::current_path(folder);
}

TEST(SystemVersion, IsTenUnlessTheRegistrySaysOtherwise) {
    const std::string head =
        "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows "
        "NT\\CurrentVersion]\n";
    const std::tuple<std::string, BOOL, DWORD, DWORD, const char*> rows[] = {
        {"", TRUE, 10, 0, ""},
        {head + "\"CurrentVersion\"=\"3.51\"\n\"CSDVersion\"=\"Service Pack 3\"\n", TRUE, 3, 51,
         "Service Pack 3"},
        {head + "\"CSDVersion\"=\"Service Pack 1\"\n", TRUE, 10, 0, "Service Pack 1"},
        {head + "\"CurrentVersion\"=\"four\"\n", FALSE, 0, 0, ""},
        {head + "\"CurrentVersion\"=dword:00000004\n", FALSE, 0, 0, ""},
        {head + "\"CurrentVersion\"=\n", FALSE, 0, 0, ""}};
    for (const auto& [registry, succeeds, major, minor, pack] : rows) {
        const TestHome home;
        if (!registry.empty()) home.Write("registry.reg", registry);
        OSVERSIONINFOA version{};
        version.dwOSVersionInfoSize = sizeof(version);
        EXPECT_EQ(GetVersionExA(&version), succeeds) << registry;
        EXPECT_EQ(version.dwMajorVersion, major) << registry;
        EXPECT_EQ(version.dwMinorVersion, minor) << registry;
        EXPECT_STREQ(version.szCSDVersion, pack);
    }
}

TEST(Text, IsComparedWithoutCaseAndFormattedUpTo1024Characters) {
    EXPECT_EQ(_stricmp("-INSTALL", "-install"), 0);
    EXPECT_LT(_stricmp("a", "AB"), 0);
    EXPECT_GT(_stricmp("\xE4", "z"), 0);
    EXPECT_EQ(_strnicmp("Template:a", "TEMPLATE:b", 9), 0);
    EXPECT_NE(_strnicmp("Template:a", "TEMPLATE:b", 10), 0);
    char buffer[1026];
    const std::string text(1020, 'x');
    buffer[1025] = '#';
    for (const int number : {1234, 123456}) {
        EXPECT_EQ(wsprintfA(buffer, "%s%d", text.c_str(), number), 1024);
        EXPECT_STREQ(buffer, (text + "1234").c_str());
    }
    EXPECT_EQ(buffer[1025], '#');
}

TEST(Path, NamesTheProgram) {
    char buffer[1000] = "";
    const DWORD length = GetModuleFileNameA(nullptr, buffer, sizeof(buffer));
    EXPECT_EQ(length, strlen(buffer));
    EXPECT_THAT(buffer, testing::EndsWith("/platform_files_test"));
    char small[5];
    EXPECT_EQ(GetModuleFileNameA(nullptr, small, sizeof(small)), 5u);
    EXPECT_EQ(std::string(small), std::string(buffer, 4));
}

TEST(Library, ABareNameIsLookedUpBesideTheProgramOnly) {
    for (const char* name : {"PLATFORM~1.DLL", "", "libc.so.6"})
        EXPECT_EQ(LoadLibraryA(name), nullptr) << name;
    for (const char* name : {"platform_test_library.dll", "platform_test_library"}) {
        const HMODULE library = LoadLibraryA(name);
        ASSERT_NE(library, nullptr) << name;
        const FARPROC answer = GetProcAddress(library, "PlatformTestAnswer");
        ASSERT_NE(answer, nullptr);
        EXPECT_EQ(answer(), 42);
        EXPECT_EQ(GetProcAddress(library, "PlatformTestNothing"), nullptr);
    }
}

TEST(LocalTime, FollowsTheTimeZone) {
    const char* former = getenv("TZ");
    const std::string kept = former != nullptr ? former : "";
    const auto timeIn = [](const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
        char text[9];
        _strtime(text);
        return std::string(text);
    };
    // Both are of one second but for the unlucky case, in which they are taken again.
    std::string east, west;
    do {
        east = timeIn("EAST-5");
        west = timeIn("WEST6");
    } while (timeIn("EAST-5") != east);
    EXPECT_EQ((std::stoi(east) - std::stoi(west) + 24) % 24, 11) << east << ", " << west;
    char date[9];
    _strdate(date);
    EXPECT_THAT(date, MatchesRegex("[01][0-9]/[0-3][0-9]/[0-9][0-9]"));
    SYSTEMTIME now{};
    GetLocalTime(&now);
    EXPECT_GE(now.wYear, 2024);
    kept.empty() ? unsetenv("TZ") : setenv("TZ", kept.c_str(), 1);
    tzset();
}

}  // namespace
