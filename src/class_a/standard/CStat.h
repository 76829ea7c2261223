#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ksl {

// One entry of a directory, as `CStat` lists it. Entries compare by their paths only.
class CDirEnt {
  public:
    CDirEnt() = default;
    CDirEnt(std::string path, std::string name, bool isDirectory)
        : _path(std::move(path)), _name(std::move(name)), _isDirectory(isDirectory) {}
    CDirEnt(const CDirEnt&) = default;
    CDirEnt& operator=(const CDirEnt&) = default;
    virtual ~CDirEnt() = default;

    std::string path() const { return _path; }
    void path(const std::string& path) { _path = path; }
    std::string name() const { return _name; }
    void name(const std::string& name) { _name = name; }
    bool isDirectory() const { return _isDirectory; }

    bool operator<(const CDirEnt& other) const { return _path < other._path; }
    bool operator==(const CDirEnt& other) const { return _path == other._path; }
    bool operator!=(const CDirEnt& other) const { return _path != other._path; }

  private:
    std::string _path;
    std::string _name;
    bool _isDirectory = false;
};

// Questions about paths, and removing and listing files. Paths may come with "/" and "\"; those given out
// have the separator of the platform. Links are followed, but for `rm`. Failures are thrown as `CException`
// with the code of the system. Any thread may call these at any time.
class CStat {
  public:
    // Which entries `findFiles` keeps.
    static constexpr int files = 0;
    static constexpr int directories = 1;
    static constexpr int all = 2;

    virtual ~CStat() = default;

    static bool exists(const std::string& path);
    static bool isDirectory(const std::string& path);
    // It exists and is no directory.
    static bool isFile(const std::string& path);

    static void rm(const std::string& path);
    // In the order given; after the first failure the rest stay.
    static void rm(std::vector<CDirEnt> entries);
    // Removes an empty directory. A path that does not exist is no failure; a file is one.
    static void rmdir(const std::string& path);
    static void rmFiles(const std::string& directory, const std::string& pattern);

    // Replaces `out` by the entries whose names fit the pattern (see `wildcard_match`), in no particular
    // order, "." and ".." among the directories. An entry that vanishes meanwhile is left out, and so is
    // everything for an unknown `type`. Throws, with `out` untouched, when `directory` is none.
    static void findFiles(const std::string& directory, const std::string& pattern, std::vector<CDirEnt>& out,
                          int type);
    static void findOnlyFiles(const std::string& directory, const std::string& pattern,
                              std::vector<CDirEnt>& out);
    static void findDirectories(const std::string& directory, const std::string& pattern,
                                std::vector<CDirEnt>& out);
    static void findAll(const std::string& directory, const std::string& pattern, std::vector<CDirEnt>& out);

    // Looks for a directory by `path`, "../path" and so on, `levels` paths in all and one at the least. The
    // first one that exists becomes `path`; false, with `path` unchanged, if there is none.
    static bool findUp(std::string& path, int levels);
};

}  // namespace ksl
