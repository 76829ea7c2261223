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

// Plain data without a pointer into itself: a copy of the bytes is a valid record. The handles in it are process-wide.
struct ServerParameters {
    char DatabasePath[ParameterTextSize];
    char LogFile[ParameterTextSize];     // absolute once the log is open
    char LocalAddrs[ParameterTextSize];  // comma list of addresses to bind; empty binds all
    DWORD ForceBroadcast;                // every reply that isn't relayed is a broadcast
    DWORD EnableLogging;
    DWORD LogLevel;   // mask of event types for the event log; 16 bits count
    DWORD CacheSize;  // what the load has left of it; 0xFFFFFFFF after a load without limit
    DWORD DaemonSensitivity;          // milliseconds
    DWORD PacketTripRate;             // datagrams
    DWORD Daemonblksize;              // bytes
    DWORD MaxDaemonThreads;           // in the live record: the threads that may still be started
    DWORD ExpireSeconds;              // nothing acts on it
    DWORD ExpireHits;
    DWORD UseClientSrcPort;
    DWORD MinResponseSize;   // bytes
    DWORD TerminateStrings;  // strings in options end in a NUL
    DWORD StaticArpTimeout;  // milliseconds here, seconds in the registry
    HANDLE LogHandle;
    HANDLE LogMutex;
    OptionDefinition* OptionCatalogue;  // on ClientHeap
    ClientEntry* ClientList;            // on ClientHeap
    HANDLE ClientHeap;
    HMODULE HelperLibrary;
    ArpAddFunction ArpAdd;
    ArpRemoveFunction ArpRemove;
    char HelperDLL[ParameterTextSize];
    LONG SecondDaemonThreadTimeout;  // seconds; negative waits without limit
    char ImagePath[ParameterTextSize];
    char SnmpAgentPath[ParameterTextSize];
    Generation* Owner;  // counts the users of what hangs on this record; null while it is being loaded
};
