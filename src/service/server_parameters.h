// The record of all operating parameters and of the handles that were built from them.
#pragma once

#include "arp/arp_helper.h"
#include "platform/windows_api.h"

struct ClientEntry;
struct OptionDefinition;
struct Generation;

inline constexpr std::size_t ParameterTextSize = 260;

inline constexpr char ServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon";
inline constexpr char ParametersKey[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters";
inline constexpr char AgentKey[] = "SOFTWARE\\Microsoft\\RFC1156Agent\\CurrentVersion";

// Plain data without a pointer into itself: a copy of the bytes is a valid record. The handles in it are
// process-wide.
struct ServerParameters {
    char DatabasePath[ParameterTextSize];
    char LogFile[ParameterTextSize];     // absolute once the log is open
    char LocalAddrs[ParameterTextSize];  // comma list of addresses to bind; empty binds all
    DWORD ForceBroadcast;                // every reply that isn't relayed is a broadcast
    DWORD EnableLogging;
    DWORD LogLevel;           // mask of event types for the event log; 16 bits count
    DWORD CacheSize;          // what the load has left of it; 0xFFFFFFFF after a load without limit
    DWORD DaemonSensitivity;  // milliseconds
    DWORD PacketTripRate;     // datagrams
    DWORD Daemonblksize;      // bytes
    DWORD MaxDaemonThreads;   // in the live record: the threads that may still be started
    DWORD ExpireSeconds;      // nothing acts on it
    DWORD ExpireHits;
    DWORD UseClientSrcPort;
    DWORD MinResponseSize;     // bytes
    DWORD LogSizeLimit;        // bytes of the log from which on the trace rests; 0: none
    DWORD EventRepeatSeconds;  // a failure of requests is reported once in this time; 0: each time
    DWORD TerminateStrings;    // strings in options end in a NUL
    DWORD StaticArpTimeout;    // milliseconds here, seconds in the registry
    HANDLE LogHandle;
    HANDLE LogMutex;
    OptionDefinition* OptionCatalogue;  // on ClientHeap
    ClientEntry* ClientList;            // on ClientHeap
    HANDLE ClientHeap;
    HMODULE HelperLibrary;
    ArpAddFunction ArpAdd;
    ArpRemoveFunction ArpRemove;
    char HelperDLL[ParameterTextSize];
    LONG SecondDaemonThreadTimeout;         // seconds; negative waits without limit
    char ReloadSources[ParameterTextSize];  // address list: who may reload; empty: whoever wants
    char RelayAgents[ParameterTextSize];    // address list: relays that are answered; empty: all
    char ImagePath[ParameterTextSize];
    char SnmpAgentPath[ParameterTextSize];
    Generation* Owner;  // counts the users of what hangs on this record; null while it is being loaded
};

// The record that the listener works with. Only the owner of the listening role writes and reads it, but for
// MaxDaemonThreads, which ThreadCountMutex guards.
extern ServerParameters LiveParameters;

// SecondDaemonThreadTimeout of this moment, as a wait takes it. Any thread may call.
DWORD RoleTimeoutMilliseconds();

// Copies `record` over the live one; its settings for events hold from then on.
void StoreLiveParameters(const ServerParameters& record);

// Results of the registry operations.
inline constexpr DWORD RegistryReadOk = 0;
inline constexpr DWORD RegistryKeyMissingElsewhere = 53;
inline constexpr DWORD RegistryParametersKeyMissing = 87;
inline constexpr DWORD RegistryValueMissing = 161;
inline constexpr DWORD RegistryServiceKeyMissing = 1213;

// Fills `record` from the registry. `name` has room for ParameterTextSize bytes: the value that failed the
// read, with result 161, else empty. The first failure ends the read.
DWORD ReadRegistryParameters(HKEY root, ServerParameters* record, char* name, const char* serviceKey,
                             const char* parametersKey, const char* agentKey);

// Writes the values that an install writes; `name` as above for the first one that can't be written.
DWORD WriteRegistryParameters(HKEY root, const ServerParameters* record, char* name,
                              const char* parametersKey);

// Writes those of them that are missing, and leaves the others as they are. Results as above.
DWORD CompleteRegistryParameters(HKEY root, const ServerParameters* record, char* name,
                                 const char* parametersKey);

// Whether none of the values that an install writes is missing.
bool HasInstalledParameters(HKEY root, const char* parametersKey);

// The install values, all but HelperDLL. Touches nothing else.
void SetDefaultParameters(ServerParameters* record);

// Corrects what lies outside the limits, silently.
void ApplyParameterLimits(ServerParameters* record);

// Starting size of the heap in bytes: CacheSize times the smallest entry in 32 bits, 20000 at least.
DWORD ClientHeapSize(DWORD cacheSize);
