// A home of an instance's own for one test: a temporary folder that QUILLON_HOME names, with files in it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

class TestHome {
  public:
    TestHome() {
        char folder[] = "/tmp/quillon-home-XXXXXX";
        path_ = mkdtemp(folder);
        setenv("QUILLON_HOME", path_.c_str(), 1);
    }
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;
    ~TestHome() {
        unsetenv("QUILLON_HOME");
        std::filesystem::remove_all(path_);
    }

    std::string PathOf(const std::string& name) const { return path_ / name; }

    std::string Write(const std::string& name, std::string_view text) const {
        std::ofstream file(PathOf(name), std::ios::binary);
        file << text;
        EXPECT_TRUE(file.flush()) << name;
        return PathOf(name);
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(PathOf(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    std::filesystem::path path_;
};
