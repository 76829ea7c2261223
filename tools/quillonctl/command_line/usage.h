// Words on the command line: which are known, what is wrong with one, and how it may go on.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace quillonctl {

// What is wrong with the command line that `app` couldn't parse: the word, and the one that may have been
// meant.
std::string UsageComplaint(const CLI::App& app, const CLI::ParseError& error);

// Lets the option be one of these words. Its type shows them, and completions offer them.
void OneOf(CLI::Option& option, const std::vector<std::string>& words);

// How the last of the words after the program's name may go on, a line each: a word, with a tab and what it
// does if that is known; ":file" for names of files, ":folder" for those of folders. Shells ask for this.
std::string Completions(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace quillonctl
