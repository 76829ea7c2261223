// The two forms in which a reply is shown.
#pragma once

#include <string>

#include "quillonctl/message_decoder.h"

namespace quillonctl {

// For people: a line for each field and each option, "NAME  VALUE". `from` is the sender, "ADDRESS:PORT".
std::string MessageText(const DecodedMessage& message, const std::string& from);

// For programs: one JSON object, with the whole message once more as hexadecimal digits in "raw".
std::string MessageJson(const DecodedMessage& message, const std::string& from, Bytes raw);

}  // namespace quillonctl
