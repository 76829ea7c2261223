// A home of an instance's own for one test, which QUILLON_HOME names.
#pragma once

#include <gtest/gtest.h>

#include "temporary_folder.h"

class TestHome : public TemporaryFolder {
  public:
    TestHome() { setenv("QUILLON_HOME", Path().c_str(), 1); }
    ~TestHome() { unsetenv("QUILLON_HOME"); }
};
