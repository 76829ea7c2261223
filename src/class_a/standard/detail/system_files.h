#pragma once

#include <fstream>
#include <string>
#include <vector>

// What the library needs of the platform's files. A call that can fail leaves its error in
// `last_system_error`.
namespace ksl {

// What the platform puts between a directory and a name.
char path_separator();

// The path with the platform's separators, whichever of "/" and "\" it came with. A path that exists as it
// stands comes back unchanged, since either character may be part of a name.
std::string platform_path(const std::string& path);

// The remaining operations take the path as it stands.

enum class PathKind { missing, file, directory };
PathKind path_kind(const std::string& path);

bool remove_file(const std::string& path);
bool remove_directory(const std::string& path);

// Opens a file, not a directory, as text. Returns 0 or the error.
int open_for_reading(const std::string& path, std::ifstream& in);

// Stores the names in a directory, unsorted, "." and ".." among them.
bool list_directory(const std::string& path, std::vector<std::string>& names);

}  // namespace ksl
