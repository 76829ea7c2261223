// The sockets that the service listens on, one for each local address, and the choice among interfaces.
//
// Only the owner of the listening role binds. Request threads read addresses and counts at any time; a socket
// that was closed under them fails and is never mistaken for a newer one.
#pragma once

#include <atomic>

#include "platform/windows_api.h"
#include "request/boot_packet.h"

inline constexpr DWORD MaxLocalAddresses = 50;
inline constexpr DWORD MaxBoundSockets = 255;

// Index i of both tables is one interface.
extern std::atomic<IpAddress> LocalAddresses[MaxLocalAddresses];
extern SOCKET BoundSockets[MaxBoundSockets];
extern DWORD SocketCount;              // entries that the listener watches and the tear-down closes
extern std::atomic<DWORD> BoundCount;  // sockets that are really bound
extern WORD ActivePort;                // host order
extern char HostName[260];             // set at the start, never changed after

// Results of BindAllInterfaces; the start passes them on as the service-specific exit code.
inline constexpr DWORD BindOk = 0;
inline constexpr DWORD BindEnumerateFailed = 18;
inline constexpr DWORD BindBroadcastFailed = 20;

// Closes all sockets, enumerates the addresses anew and binds those, or the ones that LocalAddrs names
// instead. No address bound at all is reported and is no failure; so is a LocalAddrs that names none, and
// each address that it names and that can't be bound. After StopReception() it binds nothing.
DWORD BindAllInterfaces();

// From the last system row to the first, 50 at most. Returns 1, or 0 on failure.
int EnumerateLocalAddresses(DWORD* count, IpAddress* table);

// The pieces of a comma list that are addresses, in order; an empty piece ends the list, 50 at most. Returns
// their count.
DWORD ParseLocalAddresses(const char* list, IpAddress* table);

// Returns 0, or the Windows Sockets error with *slot set to 0.
int OpenBoundSocket(SOCKET* slot, WORD port, IpAddress address, int reuse);

// Closes the SocketCount entries, from last to first.
void CloseAllSockets();

// Ends reception for good, from any thread: closes all sockets, now and at every later binding. The listener
// wakes and tears the service down.
void StopReception();
bool IsReceptionStopped();

// A listener's own copy of the sockets that are bound.
struct BoundSocketsCopy {
    SOCKET sockets[MaxBoundSockets];
    DWORD count = 0;
    DWORD binding = 0;  // which binding it is of; 0 for none
};

// Brings the copy up to date, if the sockets were bound anew since it was made.
void RefreshBoundSockets(BoundSocketsCopy* copy);

// The subscription to address changes: of the first daemon thread alone; the others keep the marker, for
// which nothing ever changes.
inline HANDLE UnarmedEvent() {
    return INVALID_HANDLE_VALUE;
}
struct AddressWatch {
    OVERLAPPED overlapped;
    HANDLE handle;
};
void ArmAddressChange(OVERLAPPED* overlapped, HANDLE* handle);
int AddressChanged(OVERLAPPED* overlapped);

// Returns 1 if another local interface sits on the subnet of the finished reply's client, and stores its
// index; 0 otherwise. Reads nothing beyond `length`: a mask that is cut there is none, so that every
// interface that heard the request sends a reply.
int IsBetterInterface(DWORD* interfaceIndex, const BootPacket* packet, LONG length);
