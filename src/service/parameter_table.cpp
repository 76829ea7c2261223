#include "service/parameter_table.h"

#include "service/server_parameters.h"

namespace {

constexpr bool Required = true;
constexpr bool Optional = false;
constexpr bool Expanded = true;
constexpr bool AsItIs = false;
constexpr bool ToInstalled = true;
constexpr bool ToLimit = false;
constexpr char Nobody[] = "nobody";  // no address list knows the word, so it matches no address
constexpr std::int64_t Most = 0xFFFFFFFF;
constexpr std::int64_t LeastSigned = -0x80000000LL;

// The registry names a value as the record does.
#define FIELD(name) #name, offsetof(ServerParameters, name)

constexpr TextParameter Texts[] = {
    {FIELD(DatabasePath), Required, Expanded, ".\\bootptab", nullptr},
    {FIELD(LogFile), Required, Expanded, "bootps.log", nullptr},
    {FIELD(HelperDLL), Required, Expanded, "arpadd.dll", nullptr},
    {FIELD(LocalAddrs), Optional, AsItIs, nullptr, nullptr},
    {FIELD(ReloadSources), Optional, AsItIs, nullptr, Nobody},
    {FIELD(RelayAgents), Optional, AsItIs, nullptr, Nobody},
};

// clang-format off
constexpr NumberParameter Numbers[] = {
    // name, field                    missing      scale  installed      least        most     outside
    {FIELD(EnableLogging),            Required, 0,     1,  1,    0,           0,        Most, ToLimit},
    {FIELD(LogLevel),                 Required, 0,     1,  3,   31,           0,        Most, ToLimit},
    {FIELD(ForceBroadcast),           Optional, 0,     1,  2,    0,           0,        Most, ToLimit},
    {FIELD(UseClientSrcPort),         Optional, 0,     1,  NotInstalled, 0,   0,        Most, ToLimit},
    {FIELD(TerminateStrings),         Optional, 0,     1,  NotInstalled, 0,   0,        Most, ToLimit},
    {FIELD(StaticArpTimeout),         Optional, 60, 1000,  NotInstalled, 0,   0,        Most, ToLimit},
    {FIELD(CacheSize),                Required, 0,     1,  4, 1000,           0,        Most, ToLimit},
    {FIELD(ExpireSeconds),            Required, 0,     1,  5,   10,           0,        Most, ToLimit},
    {FIELD(ExpireHits),               Required, 0,     1,  6,    1,           0,        Most, ToLimit},
    {FIELD(DaemonSensitivity),        Required, 0,     1,  7, 1000,           0,      500000, ToLimit},
    {FIELD(PacketTripRate),           Required, 0,     1,  8,    5,           0,        1000, ToLimit},
    {FIELD(Daemonblksize),            Required, 0,     1,  9,  600,         600,      150000, ToLimit},
    {FIELD(MaxDaemonThreads),         Required, 0,     1, 10,   10,           1,        1000, ToInstalled},
    {FIELD(SecondDaemonThreadTimeout), Required, 0,    1, 11,    1, LeastSigned,      604800, ToLimit},
    {FIELD(MinResponseSize),          Optional, 0,     1,  NotInstalled, 0,   0,        Most, ToLimit},
    {FIELD(LogSizeLimit),             Optional, 0,     1,  NotInstalled, 0,   0,        Most, ToLimit},
    {FIELD(EventRepeatSeconds),       Optional, 0,     1,  NotInstalled, 0,   0,     1000000, ToLimit},
};
// clang-format on

#undef FIELD

}  // namespace

std::span<const TextParameter> TextParameters() {
    return Texts;
}

std::span<const NumberParameter> NumberParameters() {
    return Numbers;
}

DWORD& NumberOf(ServerParameters* record, const NumberParameter& row) {
    return *reinterpret_cast<DWORD*>(reinterpret_cast<BYTE*>(record) + row.field);
}

char* TextOf(ServerParameters* record, const TextParameter& row) {
    return reinterpret_cast<char*>(record) + row.field;
}
