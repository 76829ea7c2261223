// dhcpd.conf as statements: words up to a semicolon, or words and a block of statements in braces.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quillonctl/import/import_model.h"

namespace quillonctl {

struct DhcpdToken {
    std::string text;
    bool isQuoted = false;
    int line = 0;

    bool Is(std::string_view word) const;  // the word itself, without quotes, whatever the case
};

struct DhcpdStatement {
    std::vector<DhcpdToken> words;  // one at least
    bool hasBlock = false;
    std::vector<DhcpdStatement> block;

    int Line() const { return words.front().line; }
    bool Begins(std::string_view word) const { return words.front().Is(word); }
};

// The statements of the file. What can't be understood is dropped.
std::vector<DhcpdStatement> ParseDhcpd(std::string_view text, Import& import);

}  // namespace quillonctl
