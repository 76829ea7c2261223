// The contract with the ARP helper: a loadable library with two C exports.
//
// A directed reply goes to an address that its client doesn't have yet, so the stack has to know which
// hardware address belongs to it. All texts are NUL-terminated and are valid only during the call. ArpAdd
// is called by any number of threads at once, ArpRemove by one thread alongside them.
#pragma once

inline constexpr int ArpAddFailed = 0;  // the reply is broadcast instead
// An entry was made and ArpRemove will be called for it; any other value: there is nothing to remove.
inline constexpr int ArpAddCreated = 2;

extern "C" {
// Ties `clientAddress` to `mediaAddress` (text form 00-a0-24-12-34-56) on the interface that owns
// `localAddress`. `hardwareAddress` is the request's chaddr, `hardwareLength` its hlen; the media address may
// differ from it.
using ArpAddFunction = int (*)(const char* localAddress, const char* clientAddress, const char* mediaAddress,
                               const unsigned char* hardwareAddress, int hardwareLength,
                               const char* agentPath);

// Removes the entry again; the order of the addresses is the other one. The result is not looked at.
using ArpRemoveFunction = int (*)(const char* clientAddress, const char* localAddress);
}
