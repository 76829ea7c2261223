// A folder of its own for one test, gone with all that is in it at the end.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>
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

  private:
    std::filesystem::path path_;
};
