// Comma lists of addresses in the settings: who may reload, which relays are answered.
#pragma once

#include <string_view>

#include "request/boot_packet.h"

// Whether `list` has the address. A piece is an address, an address with the length of a prefix
// (10.1.0.0/16), or the word "local", which stands for all addresses of this machine. Blanks around a piece
// don't count, and a piece in no such form matches none.
bool IsListed(const char* list, IpAddress address);

// Whether a piece, without blanks around it, is in one of these forms.
bool IsAddressListPiece(std::string_view piece);
