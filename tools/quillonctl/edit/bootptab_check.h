// What is wrong with a bootptab, before it takes the place of the one that serves.
#pragma once

#include <string>
#include <vector>

namespace quillonctl {

struct CheckFinding {
    std::size_t line = 0;  // counted from 1
    std::string section;
    std::string text;       // without numbers of lines, which an edit moves
    std::size_t other = 0;  // a second line that has to do with it; 0 if there is none
};

// Every error of the whole text, in the order of its lines. `path` is for checks that look beside the file.
std::vector<CheckFinding> CheckResult(const std::string& path, const std::string& text);

// Those of the result that weren't there before, by section and text.
std::vector<CheckFinding> NewFindings(const std::vector<CheckFinding>& before,
                                      std::vector<CheckFinding> after);

// "FILE:12: error: [00-a0-c9-11-22-33] ...".
std::string FindingText(const std::string& path, const CheckFinding& finding);

}  // namespace quillonctl
