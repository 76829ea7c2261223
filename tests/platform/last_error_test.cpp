// Every operation of the layer that fails says why: none leaves the error of an earlier call in its place.
#include <array>
#include <filesystem>
#include <functional>
#include <regex>

#include "platform/test_home.h"
#include "platform/test_thread.h"

namespace {

constexpr DWORD kStale = 0x20000001;

// `fails` is whether the call failed.
struct Row {
    std::string call;
    DWORD error;
    std::function<bool()> fails;
};

// A call that has to fail, of an operation that sets the error, and of one that returns it.
#define SETS(error, failure)                                              \
    Row {                                                                 \
#failure, error, [=, this] { return static_cast<bool>(failure); } \
    }
#define RETURNS(error, call)                                                   \
    Row {                                                                      \
#call, error, [=, this] { return Returned(static_cast<DWORD>(call)); } \
    }

class LastErrorTest : public testing::Test {
  protected:
    LastErrorTest() {
        RegCreateKeyA(HKEY_LOCAL_MACHINE, "A\\B", &key);
        RegSetValueExA(key, "V", 0, REG_SZ, reinterpret_cast<const BYTE*>("text"), 5);
        std::filesystem::create_directory(home.Path("events.log"));
        FD_SET(closed, &closedSet);
        TestThread thread([] {});
        DuplicateHandle(self, thread.Handle(), self, &ended, 0, FALSE, DUPLICATE_SAME_ACCESS);
    }
    ~LastErrorTest() override {
        RegCloseKey(key);
        for (const HANDLE each : {heap, mutex, event, file, ended})
            CloseHandle(each);
        for (const SC_HANDLE each : {service, manager})
            CloseServiceHandle(each);
    }
    static bool Returned(DWORD error) {
        SetLastError(error);
        return error != 0;
    }
    HANDLE Open(const std::string& path, DWORD disposition = OPEN_EXISTING) const {
        return CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, disposition, 0, nullptr);
    }
    bool OpenFails(const std::string& name, DWORD disposition = OPEN_EXISTING) const {
        return Open(home.Path(name), disposition) == INVALID_HANDLE_VALUE;
    }
    SC_HANDLE Create(SC_HANDLE in, LPCSTR account = nullptr) const {
        return CreateServiceA(in, "S", "S", 0, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                              SERVICE_ERROR_NORMAL, "/bin/true", nullptr, nullptr, nullptr, account, nullptr);
    }
    bool Dispatches() const {
        char name[] = "S";
        const SERVICE_TABLE_ENTRYA table[] = {{name, [](DWORD, LPSTR*) {}}, {nullptr, nullptr}};
        return StartServiceCtrlDispatcherA(table) != FALSE;
    }
    std::vector<Row> OfObjects();
    std::vector<Row> OfFiles();
    std::vector<Row> OfServices();
    std::vector<Row> OfSocketsTooEarly();
    std::vector<Row> OfSockets();
    std::vector<Row> OfNumbers();

    TestHome home;
    const HANDLE none = reinterpret_cast<HANDLE>(LONG_PTR{0x7FFFFFF0});
    const HANDLE self = GetCurrentProcess();
    const HANDLE heap = HeapCreate(0, 0, 0);
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE file = Open(home.Write("file", "[S]\nKey=value\n"));
    const HANDLE log = RegisterEventSourceA(nullptr, "S");
    const SC_HANDLE manager = OpenSCManagerA(nullptr, nullptr, 0);
    const SC_HANDLE service = Create(manager);
    const SOCKET closed = SOCKET{0x7FFFFFF0};
    SOCKET unbound = INVALID_SOCKET;
    SOCKET bound = INVALID_SOCKET;
    HANDLE ended = nullptr;
    HKEY key = nullptr;
    // Where a call that failed to fail would write.
    mutable std::array<char, 600> buffer{};
    mutable HANDLE handle = nullptr;
    mutable HKEY opened = nullptr;
    mutable DWORD one = 1;
    mutable int four = 4;
    mutable MSG message{};
    mutable SERVICE_STATUS status{};
    mutable WSADATA data{};
    mutable fd_set noneSet{}, closedSet{};
    const timeval negative{.tv_sec = -1, .tv_usec = 0};
    const sockaddr address{};
    sockaddr own{};
};

std::vector<Row> LastErrorTest::OfObjects() {
    constexpr SIZE_T kAll = ~SIZE_T{0};
    const LPTHREAD_START_ROUTINE body = [](LPVOID) -> DWORD { return 0; };
    return {SETS(6, !CloseHandle(none)),
            SETS(6, !DuplicateHandle(self, none, self, &handle, 0, FALSE, 2)),
            SETS(6, !DuplicateHandle(none, event, self, &handle, 0, FALSE, 2)),
            SETS(8, !HeapCreate(0, SIZE_T{1} << 31, 0)),
            SETS(8, !HeapCreate(0, kAll, 0)),
            SETS(87, !HeapCreate(0, 65536, 4096)),
            SETS(6, !HeapAlloc(none, 0, 1)),
            SETS(8, !HeapAlloc(heap, 0, SIZE_T{1} << 60)),
            SETS(8, !HeapAlloc(heap, 0, kAll)),
            SETS(8, !HeapAlloc(heap, 0, kAll - 16)),
            SETS(6, !HeapFree(none, 0, nullptr)),
            SETS(87, !HeapFree(heap, 0, reinterpret_cast<LPVOID>(16))),
            SETS(6, !HeapDestroy(event)),
            SETS(120, !CreateMutexA(nullptr, FALSE, "n")),
            SETS(120, !CreateEventA(nullptr, TRUE, FALSE, "n")),
            SETS(6, !ReleaseMutex(event)),
            SETS(288, !ReleaseMutex(mutex)),
            SETS(6, !SetEvent(mutex)),
            SETS(6, !ResetEvent(mutex)),
            SETS(6, WaitForSingleObject(none, 0) == WAIT_FAILED),
            SETS(6, WaitForSingleObject(heap, 0) == WAIT_FAILED),
            SETS(6, WaitForSingleObjectEx(none, 0, TRUE) == WAIT_FAILED),
            SETS(87, !CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr)),
            SETS(120, !CreateThread(nullptr, 0, body, nullptr, 4, nullptr)),
            SETS(8, !CreateThread(nullptr, SIZE_T{1} << 46, body, nullptr, 0, nullptr)),
            SETS(6, SuspendThread(event) == 0xFFFFFFFFu),
            SETS(5, SuspendThread(ended) == 0xFFFFFFFFu),
            SETS(6, ResumeThread(event) == 0xFFFFFFFFu),
            SETS(1444, !PostThreadMessageA(3, 0, 0, 0)),
            SETS(1444, !PostThreadMessageA(0, 0, 0, 0)),
            SETS(998, GetMessageA(nullptr, nullptr, 0, 0) == -1),
            SETS(120, GetMessageA(&message, nullptr, 1, 2) == -1)};
}

std::vector<Row> LastErrorTest::OfFiles() {
    const std::string tooLong(300, 'x');
    const std::string longPath = home.Path(tooLong);
    const std::string path = home.Path("file");
    const std::string missing = home.Path("none");
    char* const text = buffer.data();
    return {// CreateFileA
            SETS(2, OpenFails("none")),
            SETS(3, OpenFails("none/x")),
            SETS(3, Open("") == INVALID_HANDLE_VALUE),
            SETS(5, OpenFails("")),
            SETS(206, OpenFails(tooLong)),
            SETS(80, OpenFails("file", CREATE_NEW)),
            SETS(87, OpenFails("file", 9)),
            SETS(6, !WriteFile(none, "x", 1, nullptr, nullptr)),
            SETS(5, !WriteFile(file, "x", 1, nullptr, nullptr)),
            SETS(87, !WriteFile(file, nullptr, 1, nullptr, nullptr)),
            SETS(6, GetFileSize(none, nullptr) == INVALID_FILE_SIZE),
            SETS(123, !GetFullPathNameA("", 600, text, nullptr)),
            SETS(206, GetFullPathNameA(longPath.c_str(), 260, text, nullptr) > 260),
            SETS(122, GetModuleFileNameA(nullptr, text, 3) == 3),
            SETS(122, !GetVersionExA(nullptr)),
            SETS(2, !GetPrivateProfileStringA("S", "Key", "", text, 9, missing.c_str())),
            SETS(87, !GetPrivateProfileStringA("S", "Key", "", nullptr, 0, path.c_str())),
            SETS(234, GetPrivateProfileStringA("S", "Key", "", text, 3, path.c_str()) == 2),
            SETS(2, !GetPrivateProfileSectionNamesA(text, 9, missing.c_str())),
            SETS(126, !LoadLibraryA("none.dll")),
            SETS(193, !LoadLibraryA(path.c_str())),
            SETS(127, !GetProcAddress(nullptr, "x")),
            SETS(87, !ExpandEnvironmentStringsA(nullptr, nullptr, 0))};
}

std::vector<Row> LastErrorTest::OfServices() {
    char* const text = buffer.data();
    const LPHANDLER_FUNCTION handler = [](DWORD) {};
    return {
        SETS(87, !RegisterEventSourceA(nullptr, "")),
        SETS(6, !DeregisterEventSource(event)),
        SETS(6, !ReportEventA(none, 1, 0, 1, nullptr, 0, 0, nullptr, nullptr)),
        SETS(5, !ReportEventA(log, 1, 0, 1, nullptr, 0, 0, nullptr, nullptr)),
        SETS(317, !FormatMessageA(0x1000, nullptr, 987654, 0, text, 600, nullptr)),
        SETS(122, !FormatMessageA(0x1000, nullptr, 5, 0, text, 2, nullptr)),
        SETS(87, !FormatMessageA(0, nullptr, 5, 0, text, 600, nullptr)),
        SETS(120, !SetConsoleCtrlHandler(nullptr, TRUE)),
        SETS(1063, !Dispatches()),  // StartServiceCtrlDispatcherA
        SETS(1063, !RegisterServiceCtrlHandlerA("S", handler)),
        SETS(6, !SetServiceStatus(nullptr, &status)),
        SETS(1210, !OpenSCManagerA("elsewhere", nullptr, 0)),
        SETS(123, !OpenSCManagerA(nullptr, "x", 0)),
        // CreateServiceA
        SETS(6, !Create(nullptr)),
        SETS(120, !Create(manager, "a")),
        SETS(1073, !Create(manager)),
        SETS(1060, !OpenServiceA(manager, "none", 0)),
        SETS(6, !OpenServiceA(nullptr, "S", 0)),
        SETS(6, !QueryServiceStatus(manager, &status)),
        SETS(1062, !ControlService(service, SERVICE_CONTROL_PAUSE, &status)),
        SETS(6, !DeleteService(manager)),
        SETS(6, !CloseServiceHandle(nullptr)),
    };
}

std::vector<Row> LastErrorTest::OfSocketsTooEarly() {
    return {SETS(10093, WSACleanup()),
            SETS(10093, socket(AF_INET, SOCK_DGRAM, 0) == INVALID_SOCKET),
            SETS(10093, closesocket(4)),
            SETS(10093, !getservbyname("bootps", "udp")),
            SETS(10093, gethostname(nullptr, 0)),
            SETS(10093, select(0, nullptr, nullptr, nullptr, nullptr))};
}

std::vector<Row> LastErrorTest::OfSockets() {
    char* const text = buffer.data();
    auto* const sender = reinterpret_cast<sockaddr*>(text);
    return {SETS(10047, socket(AF_INET6, SOCK_DGRAM, 0) == INVALID_SOCKET),
            SETS(10044, socket(AF_INET, SOCK_STREAM, 0) == INVALID_SOCKET),
            SETS(10043, socket(AF_INET, SOCK_DGRAM, 6) == INVALID_SOCKET),
            SETS(10038, closesocket(closed)),
            SETS(10038, closesocket(INVALID_SOCKET)),
            SETS(10038, setsockopt(closed, SOL_SOCKET, SO_BROADCAST, nullptr, 0)),
            SETS(10042, setsockopt(unbound, SOL_SOCKET, SO_RCVBUF, "1234", 4)),
            SETS(10014, setsockopt(unbound, SOL_SOCKET, SO_BROADCAST, nullptr, 0)),
            SETS(10014, setsockopt(unbound, SOL_SOCKET, SO_BROADCAST, "1", 1)),
            SETS(10038, bind(closed, &own, sizeof own)),
            SETS(10014, bind(unbound, nullptr, 0)),
            SETS(10014, bind(unbound, &own, 8)),
            SETS(10047, bind(unbound, &address, sizeof address)),
            SETS(10022, bind(bound, &own, sizeof own)),
            SETS(10022, select(0, nullptr, nullptr, nullptr, nullptr)),
            SETS(10022, select(0, &noneSet, nullptr, nullptr, nullptr)),
            SETS(10038, select(0, &closedSet, nullptr, nullptr, nullptr)),
            SETS(10022, select(0, &closedSet, nullptr, nullptr, &negative)),
            SETS(10045, select(0, &closedSet, &closedSet, nullptr, nullptr)),
            SETS(10038, recvfrom(closed, text, 9, 0, nullptr, nullptr) < 0),
            SETS(10022, recvfrom(unbound, text, 9, 0, nullptr, nullptr) < 0),
            SETS(10045, recvfrom(unbound, text, 9, 2, nullptr, nullptr) < 0),
            SETS(10014, recvfrom(bound, text, -1, 0, nullptr, nullptr) < 0),
            SETS(10014, recvfrom(bound, text, 9, 0, sender, &four) < 0),
            SETS(10038, sendto(closed, "x", 1, 0, &own, sizeof own) < 0),
            SETS(10014, sendto(unbound, "x", 1, 0, nullptr, 0) < 0),
            SETS(10014, gethostname(text, 0)),
            SETS(11004, !getservbyname("no such service", "udp"))};
}

std::vector<Row> LastErrorTest::OfNumbers() {
    auto* const byte = reinterpret_cast<BYTE*>(buffer.data());
    return {RETURNS(2, RegOpenKeyA(HKEY_LOCAL_MACHINE, "none", &opened)),
            RETURNS(6, RegOpenKeyA(nullptr, "A", &opened)),
            RETURNS(161, RegOpenKeyA(HKEY_LOCAL_MACHINE, "A\\\\B", &opened)),
            RETURNS(87, RegOpenKeyA(HKEY_LOCAL_MACHINE, "A", nullptr)),
            RETURNS(6, RegCreateKeyA(nullptr, "A", &opened)),
            RETURNS(2, RegQueryValueExA(key, "none", nullptr, nullptr, nullptr, nullptr)),
            RETURNS(234, RegQueryValueExA(key, "V", nullptr, nullptr, byte, &one)),
            RETURNS(6, RegSetValueExA(nullptr, "V", 0, REG_SZ, nullptr, 0)),
            RETURNS(5, RegDeleteKeyA(HKEY_LOCAL_MACHINE, "A")),
            RETURNS(2, RegDeleteKeyA(HKEY_LOCAL_MACHINE, "none")),
            RETURNS(6, RegCloseKey(nullptr)),
            RETURNS(87, GetIpAddrTable(nullptr, nullptr, FALSE)),
            RETURNS(87, NotifyAddrChange(nullptr, nullptr)),
            RETURNS(10014, WSAStartup(MAKEWORD(1, 1), nullptr)),
            RETURNS(10092, WSAStartup(MAKEWORD(1, 0), &data))};
}

TEST_F(LastErrorTest, EachFailureHasItsOwn) {
    std::string calls;
    const auto check = [&calls](const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            SetLastError(kStale);
            EXPECT_TRUE(row.fails()) << row.call;
            EXPECT_EQ(GetLastError(), row.error) << row.call;
            calls += row.call + '\n';
        }
    };
    check(OfObjects());
    check(OfFiles());
    check(OfServices());
    DeleteService(service);
    DeregisterEventSource(log);
    check(OfSocketsTooEarly());
    ASSERT_EQ(WSAStartup(MAKEWORD(1, 1), &data), 0);
    own.sa_family = AF_INET;
    unbound = socket(AF_INET, SOCK_DGRAM, 0);
    bound = socket(AF_INET, SOCK_DGRAM, 0);
    ASSERT_EQ(bind(bound, &own, sizeof own), 0);
    check(OfSockets());
    check(OfNumbers());
    WSACleanup();

    // The first are in helpers above; the others don't fail, but for want of memory.
    calls +=
        " CreateFileA( CreateServiceA( StartServiceCtrlDispatcherA( "
        "GetLastError( SetLastError( WSAGetLastError( WSASetLastError( GetCurrentThread( "
        "GetCurrentThreadId( GetCurrentProcess( GetTickCount( Sleep( GetLocalTime( LocalFree( "
        "WaitMessage( ";
    const std::regex declaration("WINAPI (\\w+)\\(");
    for (const auto& face : std::filesystem::directory_iterator(FACES)) {
        std::ifstream stream(face.path());
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        for (std::sregex_iterator each(text.begin(), text.end(), declaration), end; each != end; ++each)
            EXPECT_TRUE(std::regex_search(calls, std::regex("\\b" + (*each)[1].str() + "\\("))) << (*each)[1];
    }
}

}  // namespace
