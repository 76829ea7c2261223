// A home of an instance's own for one test: a temporary folder that QUILLON_HOME names, with files in it.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string_view>

#include "temporary_folder.h"

class TestHome {
  public:
    TestHome() { setenv("QUILLON_HOME", folder_.Path().c_str(), 1); }
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;
    ~TestHome() { unsetenv("QUILLON_HOME"); }

    std::string Path(const std::string& name) const { return folder_.Path(name); }

    // Returns its path.
    std::string Write(const std::string& name, std::string_view text) const {
        std::ofstream file(Path(name), std::ios::binary);
        file << text;
        EXPECT_TRUE(file.flush()) << name;
        return Path(name);
    }

    // Empty if there is no such file.
    std::string Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    const TemporaryFolder folder_;
};
