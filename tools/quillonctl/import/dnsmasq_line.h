// One line of dnsmasq's configuration: its name, and the items of its value.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quillonctl/import/option_value.h"

namespace quillonctl {

struct DnsmasqLine {
    int number = 0;
    std::string name;
    std::vector<ValueItem> items;  // what stands after the equals sign, between commas
};

// A comma or a '#' in quotes is part of the text. The name of a line that says nothing is empty.
DnsmasqLine SplitDnsmasqLine(std::string_view text, int number);

bool TakePrefix(std::string& text, std::string_view prefix);

// Takes `word` off a tag that is set, or off a condition on one: "net:" is an older word for both.
bool TakeTag(std::string& text, std::string_view word);

// Takes the conditions off the front of a line.
std::vector<std::string> TakeConditions(DnsmasqLine& line);

}  // namespace quillonctl
