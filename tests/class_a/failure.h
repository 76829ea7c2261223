#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "class_a/standard/CException.h"

// Runs what must fail and returns "function: message (reason)". Checks what all failures of the library have
// in common, and that the failure names `object`, or no object and the class "static".
inline std::string failure_of(const std::function<void()>& run, const void* object = nullptr, int code = 0) {
    try {
        run();
    } catch (ksl::CException& failure) {
        EXPECT_EQ(failure.code(), code);
        EXPECT_EQ(failure.severity(), ksl::CException::error);
        EXPECT_EQ(failure.domain(), "standard");
        EXPECT_EQ(failure.object(), object);
        EXPECT_EQ(failure.location().starts_with("static, class_a/standard/C"), object == nullptr);
        EXPECT_NE(failure.location().find(", class_a/standard/C"), std::string::npos);
        return failure.function() + ": " + failure.text();
    }
    return "no failure";
}
