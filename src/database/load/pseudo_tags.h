// Pseudo-tags: keys that set a field of a client's prebuilt reply instead of adding an option to it.
#pragma once

#include "platform/windows_api.h"
#include "request/boot_packet.h"

inline constexpr LONG BootFileTag = -1;
inline constexpr LONG AddressTag = -2;
inline constexpr LONG HardwareLengthTag = -3;
inline constexpr LONG HardwareTypeTag = -4;
inline constexpr LONG CookieTag = -6;
inline constexpr LONG FileAliasTag = -7;
inline constexpr LONG AlwaysBroadcastTag = -8;
inline constexpr LONG NoBroadcastTag = -9;
inline constexpr LONG IgnoreClientVendorTag = -10;
inline constexpr LONG ArpMacTag = -11;

// Applies a value to the image of an entry; every tag that isn't named above does nothing. False if the value
// doesn't fit its field, or is a number that 32 bits can't hold; the image is then as it was.
bool ApplyPseudoTag(LONG tag, BootPacket* packet, const char* value);
