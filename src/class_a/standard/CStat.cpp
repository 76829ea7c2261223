#include "class_a/standard/CStat.h"

#include "class_a/standard/detail/system_error.h"
#include "class_a/standard/detail/system_files.h"
#include "class_a/standard/ksl_text.h"
#include "class_a/standard/ksl_throw.h"

namespace ksl {

namespace {

// No platform takes a longer path, so that there is nothing to be found by one.
constexpr std::size_t kLongestPath = 32767;

bool is_kept(int type, bool isDirectory) {
    switch (type) {
        case CStat::files:
            return !isDirectory;
        case CStat::directories:
            return isDirectory;
        default:
            return type == CStat::all;
    }
}

}  // namespace

bool CStat::exists(const std::string& path) {
    return !path.empty() && path_kind(platform_path(path)) != PathKind::missing;
}

bool CStat::isDirectory(const std::string& path) {
    return !path.empty() && path_kind(platform_path(path)) == PathKind::directory;
}

bool CStat::isFile(const std::string& path) {
    return !path.empty() && path_kind(platform_path(path)) == PathKind::file;
}

void CStat::rm(const std::string& path) {
    if (remove_file(platform_path(path))) return;
    const int code = last_system_error();
    throw_exception(KSL_STATIC_SITE("CStat::rm"), CMessage("Failed to remove file '%1'.") << path, CMessage(),
                    code);
}

void CStat::rm(std::vector<CDirEnt> entries) {
    for (const CDirEnt& entry : entries)
        rm(entry.path());
}

void CStat::rmdir(const std::string& path) {
    constexpr const char* cannot = "Cannot remove directory '%1'.";
    if (isDirectory(path)) {
        if (remove_directory(platform_path(path))) return;
        const int code = last_system_error();
        throw_exception(KSL_STATIC_SITE("CStat::rmdir"), CMessage(cannot) << path, CMessage(), code);
    }
    if (isFile(path))
        throw_exception(KSL_STATIC_SITE("CStat::rmdir"), CMessage(cannot) << path,
                        CMessage("Path specification is a file."));
}

void CStat::rmFiles(const std::string& directory, const std::string& pattern) {
    std::vector<CDirEnt> found;
    findOnlyFiles(directory, pattern, found);
    rm(std::move(found));
}

void CStat::findFiles(const std::string& directory, const std::string& pattern, std::vector<CDirEnt>& out,
                      int type) {
    if (!isDirectory(directory))
        throw_exception(KSL_STATIC_SITE("CStat::findFiles"), CMessage("Cannot stat '%1'.") << directory,
                        CMessage("Not a directory."));
    out.clear();
    const std::string native = platform_path(directory);
    std::vector<std::string> names;
    if (!list_directory(native, names)) {
        const int code = last_system_error();
        throw_exception(KSL_STATIC_SITE("CStat::findFiles"),
                        CMessage("Cannot enumerate files in directory '%1'.") << directory, CMessage(), code);
    }
    for (const std::string& name : names) {
        const std::string path = native + path_separator() + name;
        const PathKind kind = path_kind(path);
        if (kind == PathKind::missing || !wildcard_match(pattern, name)) continue;
        const bool isDir = kind == PathKind::directory;
        if (is_kept(type, isDir)) out.emplace_back(path, name, isDir);
    }
}

void CStat::findOnlyFiles(const std::string& directory, const std::string& pattern,
                          std::vector<CDirEnt>& out) {
    findFiles(directory, pattern, out, files);
}

void CStat::findDirectories(const std::string& directory, const std::string& pattern,
                            std::vector<CDirEnt>& out) {
    findFiles(directory, pattern, out, directories);
}

void CStat::findAll(const std::string& directory, const std::string& pattern, std::vector<CDirEnt>& out) {
    findFiles(directory, pattern, out, all);
}

bool CStat::findUp(std::string& path, int levels) {
    std::string candidate = path;
    for (int step = 1; candidate.size() <= kLongestPath; ++step) {
        if (isDirectory(candidate)) {
            path = platform_path(candidate);
            return true;
        }
        if (step >= levels) break;
        candidate.insert(0, "../");
    }
    return false;
}

}  // namespace ksl
