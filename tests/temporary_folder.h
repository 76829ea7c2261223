// A folder of its own for one test, gone with all that is in it at the end.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "quillon-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::system_error(errno, std::generic_category());
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path() const { return path_; }
    std::string Path(const std::string& name) const { return path_ / name; }
    // Empty if there is no such file.
    std::string Read(const std::string& name) const {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // Returns the file's path.
    std::string Write(const std::string& name, std::string_view text) const {
        std::ofstream file(path_ / name, std::ios::binary);
        if (!(file << text).flush()) throw std::system_error(errno, std::generic_category(), name);
        return Path(name);
    }

  private:
    std::filesystem::path path_;
};
