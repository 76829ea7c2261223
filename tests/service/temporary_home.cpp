#include "service/temporary_home.h"

#include <sstream>

#include "platform/network_namespace.h"

void TemporaryHome::WriteRegistry(const std::vector<std::string>& changes) const {
    std::vector<std::string> values = {"\"DatabasePath\"=str(2):\"" + Path("bootptab") + "\"",
                                       "\"LogFile\"=str(2):\"" + Path("bootps.log") + "\"",
                                       "\"HelperDLL\"=str(2):\"arpadd.dll\"",
                                       "\"EnableLogging\"=dword:00000000",
                                       "\"LogLevel\"=dword:0000001f",
                                       "\"ForceBroadcast\"=dword:00000000",
                                       "\"CacheSize\"=dword:000003e8",
                                       "\"ExpireSeconds\"=dword:0000000a",
                                       "\"ExpireHits\"=dword:00000001",
                                       "\"DaemonSensitivity\"=dword:000003e8",
                                       "\"PacketTripRate\"=dword:00000005",
                                       "\"Daemonblksize\"=dword:00000258",
                                       "\"MaxDaemonThreads\"=dword:0000000a",
                                       "\"SecondDaemonThreadTimeout\"=dword:00000001"};
    const auto nameOf = [](const std::string& line) { return line.substr(0, line.find('"', 1) + 1); };
    for (const std::string& change : changes) {
        std::erase_if(values, [&](const std::string& line) { return nameOf(line) == nameOf(change); });
        if (change != nameOf(change)) values.push_back(change);
    }
    std::string text =
        "Windows Registry Editor Version 5.00\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon]\n\"ImagePath\"=\"quillon\"\n\n"
        "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters]\n";
    for (const std::string& line : values)
        text += line + "\n";
    Write("registry.reg", text);
}

void TemporaryHome::WriteDatabase() const {
    Write("bootptab",
          "[Options]\nSubnet Mask=1,ipaddress\nGateways=3,ipaddressarray\nHost Name=12,string\nLease "
          "Time=51,time\n"
          "IP Address=-2,ipaddress\nBoot File=-1,string\nTemplate=-1000,string\nDirected Reply=-9,bool\n"
          "[Template:lab]\nSubnet Mask=255.255.255.0\nLease Time=1:00:00\nBoot File=lab.img\n"
          "[00-a0-24-12-34-56]\nTemplate=lab\nIP Address=127.0.0.1\nGateways=10.0.0.254\nHost Name=pc17\n");
}

void TemporaryHome::WriteFreePort() const {
    Write("services", "bootp " + std::to_string(PlainSocket("127.0.0.1").Port()) + "/udp\n");
}

std::vector<std::string> TemporaryHome::EventNumbers() const {
    std::istringstream events(Read("events.log"));
    std::vector<std::string> numbers;
    for (std::string line; std::getline(events, line);) {
        std::istringstream words(line);
        std::string time, type, number;
        words >> time >> type >> number;
        numbers.push_back(number);
    }
    return numbers;
}
