// Every operation of the layer that fails says why: none leaves the error of an earlier call in its place.
#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>
#include <string_view>
#include <vector>

#include "platform/test_home.h"
#include "platform/test_thread.h"

namespace {

constexpr DWORD kStale = 0x20000001;

// `fails` is whether the call failed.
struct Row {
    std::string operation;
    DWORD error;
    std::function<bool()> fails;
};

class LastErrorTest : public testing::Test {
  protected:
    LastErrorTest() {
        home.Write("file", "[S]\nKey=value\n");
        home.Write("registry.reg",
                   "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\A\\B]\n\"V\"=\"text\"\n");
        RegOpenKeyA(HKEY_LOCAL_MACHINE, "A\\B", &key);
        file = CreateFileA(home.Path("file").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    }
    ~LastErrorTest() override {
        RegCloseKey(key);
        CloseHandle(file);
        for (const HANDLE each : {heap, mutex, event})
            CloseHandle(each);
        CloseServiceHandle(manager);
    }
    static void Check(const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            SetLastError(kStale);
            EXPECT_TRUE(row.fails()) << row.operation;
            EXPECT_EQ(GetLastError(), row.error) << row.operation;
        }
    }
    HANDLE Open(const std::string& path, DWORD disposition = OPEN_EXISTING) const {
        return CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, disposition, 0, nullptr);
    }
    SC_HANDLE Create(SC_HANDLE in, LPCSTR account) const {
        return CreateServiceA(in, "S", "S", 0, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                              SERVICE_ERROR_NORMAL, "/bin/true", nullptr, nullptr, nullptr, account, nullptr);
    }
    std::vector<Row> OfObjects();
    std::vector<Row> OfFiles();
    std::vector<Row> OfServices();
    std::vector<Row> OfSockets();
    static std::vector<Row> OfSocketsTooEarly();
    // Of operations that return their error.
    std::vector<Row> OfNumbers();

    TestHome home;
    const HANDLE none = reinterpret_cast<HANDLE>(LONG_PTR{0x7FFFFFF0});
    const HANDLE heap = HeapCreate(0, 0, 0);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, 0);
    HKEY key = nullptr;
    HANDLE file = nullptr;
    std::array<char, 600> buffer{};
    sockaddr_in address{};
};

std::vector<Row> LastErrorTest::OfObjects() {
    const auto body = [](LPVOID) -> DWORD { return 0; };
    return {
        {"CloseHandle", 6, [=, this] { return !CloseHandle(none); }},
        {"DuplicateHandle", 6,
         [=, this] {
             HANDLE copy = nullptr;
             return !DuplicateHandle(GetCurrentProcess(), none, GetCurrentProcess(), &copy, 0, FALSE, 2);
         }},
        {"DuplicateHandle from elsewhere", 6,
         [=, this] {
             HANDLE copy = nullptr;
             return !DuplicateHandle(none, event, GetCurrentProcess(), &copy, 0, FALSE, 2);
         }},
        {"HeapCreate", 8, [] { return HeapCreate(0, SIZE_T{1} << 31, 0) == nullptr; }},
        {"HeapCreate beyond its maximum", 87, [] { return HeapCreate(0, 65536, 4096) == nullptr; }},
        {"HeapAlloc", 6, [=, this] { return HeapAlloc(none, 0, 1) == nullptr; }},
        {"HeapAlloc of too much", 8, [=, this] { return HeapAlloc(heap, 0, SIZE_T{1} << 60) == nullptr; }},
        {"HeapFree", 6, [=, this] { return !HeapFree(none, 0, nullptr); }},
        {"HeapFree of no block", 87, [=, this] { return !HeapFree(heap, 0, reinterpret_cast<LPVOID>(16)); }},
        {"HeapDestroy", 6, [=, this] { return !HeapDestroy(event); }},
        {"CreateMutexA with a name", 120, [] { return CreateMutexA(nullptr, FALSE, "n") == nullptr; }},
        {"CreateEventA with a name", 120, [] { return CreateEventA(nullptr, TRUE, FALSE, "n") == nullptr; }},
        {"ReleaseMutex", 6, [=, this] { return !ReleaseMutex(event); }},
        {"ReleaseMutex by another", 288, [=, this] { return !ReleaseMutex(mutex); }},
        {"SetEvent", 6, [=, this] { return !SetEvent(mutex); }},
        {"ResetEvent", 6, [=, this] { return !ResetEvent(none); }},
        {"WaitForSingleObject", 6, [=, this] { return WaitForSingleObject(none, 0) == WAIT_FAILED; }},
        {"WaitForSingleObject on a heap", 6,
         [=, this] { return WaitForSingleObject(heap, 0) == WAIT_FAILED; }},
        {"WaitForSingleObjectEx", 6,
         [=, this] { return WaitForSingleObjectEx(none, 0, TRUE) == WAIT_FAILED; }},
        {"CreateThread", 87,
         [] { return CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr) == nullptr; }},
        {"CreateThread with flags", 120,
         [=, this] { return CreateThread(nullptr, 0, body, nullptr, 4, nullptr) == nullptr; }},
        {"CreateThread of too much", 8,
         [=, this] { return CreateThread(nullptr, SIZE_T{1} << 46, body, nullptr, 0, nullptr) == nullptr; }},
        {"SuspendThread", 6, [=, this] { return SuspendThread(none) == 0xFFFFFFFFu; }},
        {"SuspendThread of one that has ended", 5,
         [] {
             TestThread thread([] {});
             thread.Join();
             SetLastError(kStale);
             return SuspendThread(thread.Handle()) == 0xFFFFFFFFu;
         }},
        {"ResumeThread", 6, [=, this] { return ResumeThread(event) == 0xFFFFFFFFu; }},
        {"PostThreadMessageA", 1444, [] { return !PostThreadMessageA(3, 0, 0, 0); }},
        {"GetMessageA", 998, [] { return GetMessageA(nullptr, nullptr, 0, 0) == -1; }},
        {"GetMessageA with a filter", 120,
         [] {
             MSG message;
             return GetMessageA(&message, nullptr, 1, 2) == -1;
         }},
    };
}

std::vector<Row> LastErrorTest::OfFiles() {
    const std::string longPath = home.Path(std::string(300, 'x'));
    const auto ini = [this](LPSTR text, DWORD size, const std::string& path) {
        return GetPrivateProfileStringA("S", "Key", "", text, size, path.c_str());
    };
    return {
        {"CreateFileA", 2, [=, this] { return Open(home.Path("none")) == INVALID_HANDLE_VALUE; }},
        {"CreateFileA in no folder", 3,
         [=, this] { return Open(home.Path("none/x")) == INVALID_HANDLE_VALUE; }},
        {"CreateFileA without a path", 3, [=, this] { return Open("") == INVALID_HANDLE_VALUE; }},
        {"CreateFileA of a folder", 5, [=, this] { return Open(home.Path("")) == INVALID_HANDLE_VALUE; }},
        {"CreateFileA of a path that is too long", 206,
         [=, this] { return Open(longPath) == INVALID_HANDLE_VALUE; }},
        {"CreateFileA of a second", 80,
         [=, this] { return Open(home.Path("file"), CREATE_NEW) == INVALID_HANDLE_VALUE; }},
        {"CreateFileA in no way", 87,
         [=, this] { return Open(home.Path("file"), 9) == INVALID_HANDLE_VALUE; }},
        {"WriteFile", 6, [=, this] { return !WriteFile(none, "x", 1, nullptr, nullptr); }},
        {"WriteFile to one for reading", 5, [=, this] { return !WriteFile(file, "x", 1, nullptr, nullptr); }},
        {"WriteFile of nothing", 87, [=, this] { return !WriteFile(file, nullptr, 1, nullptr, nullptr); }},
        {"GetFileSize", 6, [=, this] { return GetFileSize(none, nullptr) == INVALID_FILE_SIZE; }},
        {"SetConsoleCtrlHandler", 120, [] { return !SetConsoleCtrlHandler(nullptr, TRUE); }},
        {"GetFullPathNameA", 123,
         [=, this] { return GetFullPathNameA("", 600, buffer.data(), nullptr) == 0; }},
        {"GetFullPathNameA of a path that doesn't fit", 206,
         [=, this] { return GetFullPathNameA(longPath.c_str(), 260, buffer.data(), nullptr) > 260; }},
        {"GetModuleFileNameA", 122, [=, this] { return GetModuleFileNameA(nullptr, buffer.data(), 3) == 3; }},
        {"GetVersionExA", 122, [] { return !GetVersionExA(nullptr); }},
        {"GetPrivateProfileStringA", 2, [=, this] { return ini(buffer.data(), 9, home.Path("none")) == 0; }},
        {"GetPrivateProfileStringA without room", 87,
         [=, this] { return ini(nullptr, 0, home.Path("file")) == 0; }},
        {"GetPrivateProfileStringA with little room", 234,
         [=, this] { return ini(buffer.data(), 3, home.Path("file")) == 2; }},
        {"GetPrivateProfileSectionNamesA", 2,
         [=, this] {
             return GetPrivateProfileSectionNamesA(buffer.data(), 9, home.Path("none").c_str()) == 0;
         }},
        {"LoadLibraryA", 126, [] { return LoadLibraryA("none.dll") == nullptr; }},
        {"LoadLibraryA of what is none", 193,
         [=, this] { return LoadLibraryA(home.Path("file").c_str()) == nullptr; }},
        {"GetProcAddress", 127, [] { return GetProcAddress(nullptr, "x") == nullptr; }},
        {"ExpandEnvironmentStringsA", 87, [] { return ExpandEnvironmentStringsA(nullptr, nullptr, 0) == 0; }},
    };
}

std::vector<Row> LastErrorTest::OfServices() {
    return {
        {"RegisterEventSourceA", 87, [] { return RegisterEventSourceA(nullptr, "") == nullptr; }},
        {"DeregisterEventSource", 6, [=, this] { return !DeregisterEventSource(event); }},
        {"ReportEventA", 6,
         [=, this] { return !ReportEventA(none, 1, 0, 1, nullptr, 0, 0, nullptr, nullptr); }},
        {"ReportEventA to no file", 5,
         [=, this] {
             std::filesystem::create_directory(home.Path("events.log"));
             const HANDLE log = RegisterEventSourceA(nullptr, "S");
             SetLastError(kStale);
             const bool failed = !ReportEventA(log, 1, 0, 1, nullptr, 0, 0, nullptr, nullptr);
             DeregisterEventSource(log);
             return failed;
         }},
        {"FormatMessageA", 317,
         [=, this] { return FormatMessageA(0x1000, nullptr, 987654, 0, buffer.data(), 600, nullptr) == 0; }},
        {"FormatMessageA with little room", 122,
         [=, this] { return FormatMessageA(0x1000, nullptr, 5, 0, buffer.data(), 2, nullptr) == 0; }},
        {"FormatMessageA of no kind", 87,
         [=, this] { return FormatMessageA(0, nullptr, 5, 0, buffer.data(), 600, nullptr) == 0; }},
        {"StartServiceCtrlDispatcherA", 1063,
         [] {
             char name[] = "S";
             const SERVICE_TABLE_ENTRYA table[] = {{name, [](DWORD, LPSTR*) {}}, {nullptr, nullptr}};
             return !StartServiceCtrlDispatcherA(table);
         }},
        {"RegisterServiceCtrlHandlerA", 1063,
         [] { return RegisterServiceCtrlHandlerA("S", [](DWORD) {}) == nullptr; }},
        {"SetServiceStatus", 6,
         [] {
             SERVICE_STATUS status{};
             return !SetServiceStatus(nullptr, &status);
         }},
        {"OpenSCManagerA", 1210, [] { return OpenSCManagerA("elsewhere", nullptr, 0) == nullptr; }},
        {"OpenSCManagerA of another database", 123,
         [] { return OpenSCManagerA(nullptr, "x", 0) == nullptr; }},
        {"CreateServiceA", 6, [=, this] { return Create(nullptr, nullptr) == nullptr; }},
        {"CreateServiceA with an account", 120, [=, this] { return Create(manager, "a") == nullptr; }},
        {"OpenServiceA", 1060, [=, this] { return OpenServiceA(manager, "none", 0) == nullptr; }},
        {"OpenServiceA without a manager", 6, [] { return OpenServiceA(nullptr, "S", 0) == nullptr; }},
        {"QueryServiceStatus", 6,
         [=, this] {
             SERVICE_STATUS status;
             return !QueryServiceStatus(manager, &status);
         }},
        {"ControlService", 1062,
         [=, this] {
             SERVICE_STATUS status;
             const SC_HANDLE service = Create(manager, nullptr);
             const bool failed =
                 service != nullptr && !ControlService(service, SERVICE_CONTROL_PAUSE, &status);
             const DWORD error = GetLastError();
             DeleteService(service);
             CloseServiceHandle(service);
             SetLastError(error);
             return failed;
         }},
        {"DeleteService", 6, [=, this] { return !DeleteService(manager); }},
        {"CloseServiceHandle", 6, [] { return !CloseServiceHandle(nullptr); }},
    };
}

std::vector<Row> LastErrorTest::OfSocketsTooEarly() {
    return {
        {"WSACleanup", 10093, [] { return WSACleanup() != 0; }},
        {"socket", 10093, [] { return socket(AF_INET, SOCK_DGRAM, 0) == INVALID_SOCKET; }},
        {"closesocket", 10093, [] { return closesocket(4) != 0; }},
        {"getservbyname", 10093, [] { return getservbyname("bootps", "udp") == nullptr; }},
        {"gethostname", 10093, [] { return gethostname(nullptr, 0) != 0; }},
        {"select", 10093, [] { return select(0, nullptr, nullptr, nullptr, nullptr) != 0; }},
    };
}

std::vector<Row> LastErrorTest::OfSockets() {
    const SOCKET closed = SOCKET{0x7FFFFFF0};
    const auto* to = reinterpret_cast<const sockaddr*>(&address);
    const auto with = [](auto use) {
        const SOCKET open = socket(AF_INET, SOCK_DGRAM, 0);
        SetLastError(kStale);
        const bool failed = use(open) != 0;
        const DWORD error = GetLastError();
        closesocket(open);
        SetLastError(error);
        return failed;
    };
    return {
        {"socket", 10047, [] { return socket(AF_INET6, SOCK_DGRAM, 0) == INVALID_SOCKET; }},
        {"socket of another type", 10044, [] { return socket(AF_INET, SOCK_STREAM, 0) == INVALID_SOCKET; }},
        {"socket of another protocol", 10043,
         [] { return socket(AF_INET, SOCK_DGRAM, 6) == INVALID_SOCKET; }},
        {"closesocket", 10038, [=, this] { return closesocket(closed) != 0; }},
        {"setsockopt", 10038,
         [=, this] { return setsockopt(closed, SOL_SOCKET, SO_BROADCAST, nullptr, 0) != 0; }},
        {"setsockopt of another", 10042,
         [=, this] {
             return with([](SOCKET open) { return setsockopt(open, SOL_SOCKET, SO_RCVBUF, "1234", 4); });
         }},
        {"setsockopt to nothing", 10014,
         [=, this] {
             return with([](SOCKET open) { return setsockopt(open, SOL_SOCKET, SO_BROADCAST, nullptr, 0); });
         }},
        {"bind", 10038, [=, this] { return bind(closed, to, sizeof(sockaddr_in)) != 0; }},
        {"bind to nothing", 10014,
         [=, this] { return with([](SOCKET open) { return bind(open, nullptr, 0); }); }},
        {"bind to another family", 10047,
         [=, this] { return with([=](SOCKET open) { return bind(open, to, sizeof(sockaddr_in)); }); }},
        {"select", 10022,
         [] {
             fd_set set;
             FD_ZERO(&set);
             return select(0, &set, nullptr, nullptr, nullptr) != 0;
         }},
        {"select of one that is closed", 10038,
         [=, this] {
             fd_set set;
             FD_ZERO(&set);
             FD_SET(closed, &set);
             return select(0, &set, nullptr, nullptr, nullptr) != 0;
         }},
        {"recvfrom", 10038,
         [=, this] { return recvfrom(closed, buffer.data(), 9, 0, nullptr, nullptr) < 0; }},
        {"recvfrom of one that is unbound", 10022,
         [=, this] {
             return with(
                 [&](SOCKET open) { return recvfrom(open, buffer.data(), 9, 0, nullptr, nullptr) < 0; });
         }},
        {"recvfrom with flags", 10045,
         [=, this] {
             return with(
                 [&](SOCKET open) { return recvfrom(open, buffer.data(), 9, 2, nullptr, nullptr) < 0; });
         }},
        {"sendto", 10038, [=, this] { return sendto(closed, "x", 1, 0, to, sizeof(sockaddr_in)) < 0; }},
        {"sendto nowhere", 10014,
         [=, this] { return with([](SOCKET open) { return sendto(open, "x", 1, 0, nullptr, 0) < 0; }); }},
        {"gethostname", 10014, [=, this] { return gethostname(buffer.data(), 0) != 0; }},
        {"getservbyname", 11004, [] { return getservbyname("no such service", "udp") == nullptr; }},
    };
}

std::vector<Row> LastErrorTest::OfNumbers() {
    const auto row = [](const char* operation, DWORD error, std::function<LONG()> run) {
        return Row{operation, error, [run] {
                       const LONG number = run();
                       SetLastError(static_cast<DWORD>(number));
                       return number != 0;
                   }};
    };
    HKEY& opened = *new (buffer.data()) HKEY(nullptr);
    const auto small = [=, this] {
        DWORD size = 1;
        BYTE byte = 0;
        return RegQueryValueExA(key, "V", nullptr, nullptr, &byte, &size);
    };
    return {
        row("RegOpenKeyA", 2, [&] { return RegOpenKeyA(HKEY_LOCAL_MACHINE, "none", &opened); }),
        row("RegOpenKeyA in none", 6, [&] { return RegOpenKeyA(nullptr, "A", &opened); }),
        row("RegOpenKeyA of an empty name", 161,
            [&] { return RegOpenKeyA(HKEY_LOCAL_MACHINE, "A\\\\B", &opened); }),
        row("RegOpenKeyA to nowhere", 87, [] { return RegOpenKeyA(HKEY_LOCAL_MACHINE, "A", nullptr); }),
        row("RegCreateKeyA", 6, [&] { return RegCreateKeyA(nullptr, "A", &opened); }),
        row("RegQueryValueExA", 2,
            [this] { return RegQueryValueExA(key, "none", nullptr, nullptr, nullptr, nullptr); }),
        row("RegQueryValueExA with little room", 234, small),
        row("RegSetValueExA", 6, [] { return RegSetValueExA(nullptr, "V", 0, REG_SZ, nullptr, 0); }),
        row("RegDeleteKeyA", 5, [] { return RegDeleteKeyA(HKEY_LOCAL_MACHINE, "A"); }),
        row("RegDeleteKeyA of none", 2, [] { return RegDeleteKeyA(HKEY_LOCAL_MACHINE, "none"); }),
        row("RegCloseKey", 6, [] { return RegCloseKey(nullptr); }),
        row("GetIpAddrTable", 87, [] { return static_cast<LONG>(GetIpAddrTable(nullptr, nullptr, FALSE)); }),
        row("NotifyAddrChange", 87, [] { return static_cast<LONG>(NotifyAddrChange(nullptr, nullptr)); }),
        row("WSAStartup", 10014, [] { return WSAStartup(MAKEWORD(1, 1), nullptr); }),
        row("WSAStartup of no version", 10092,
            [] {
                WSADATA data;
                return WSAStartup(0, &data);
            }),
    };
}

TEST_F(LastErrorTest, EachFailureHasItsOwn) {
    std::set<std::string> seen;
    const auto check = [&seen](const std::vector<Row>& rows) {
        Check(rows);
        for (const Row& row : rows)
            seen.insert(row.operation.substr(0, row.operation.find(' ')));
    };
    check(OfObjects());
    check(OfFiles());
    check(OfServices());
    check(OfSocketsTooEarly());
    WSADATA data;
    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    check(OfSockets());
    check(OfNumbers());
    WSACleanup();

    // These don't fail, but for want of memory.
    seen.insert({"GetLastError", "SetLastError", "WSAGetLastError", "WSASetLastError", "GetCurrentThread",
                 "GetCurrentThreadId", "GetCurrentProcess", "GetTickCount", "Sleep", "GetLocalTime",
                 "LocalFree", "WaitMessage"});
    constexpr std::string_view mark = "WINAPI ";
    for (const auto& face : std::filesystem::directory_iterator(FACES)) {
        std::ifstream stream(face.path());
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
            const auto begin = at + mark.size();
            const std::string name = text.substr(begin, text.find_first_of("(*)", begin) - begin);
            EXPECT_TRUE(name.empty() || seen.contains(name)) << name;
        }
    }
}

}  // namespace
