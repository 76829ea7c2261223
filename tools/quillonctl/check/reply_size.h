// Whether the reply that an entry makes fits its request.
#pragma once

#include <optional>

#include "database/client_entry.h"
#include "service/server_parameters.h"

namespace quillonctl {

// What most firmware sends at least.
inline constexpr LONG ShortRequest = 300;

struct CutReply {
    LONG needed;       // octets of an OFFER with all options and the end mark
    std::uint8_t tag;  // the first option that a short request loses
};

// Nothing if an OFFER fits a request of 300 octets, as it is after MinResponseSize.
std::optional<CutReply> CutOf(const ClientEntry& entry, const ServerParameters& record);

}  // namespace quillonctl
