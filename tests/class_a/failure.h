#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "class_a/standard/CException.h"

// Whether the source line at the end of a location, "class, file, line", is one that throws for `function`.
inline bool names_its_line(const std::string& location, const std::string& function) {
    const std::size_t atLine = location.rfind(", ");
    const std::size_t atFile = location.rfind(", ", atLine - 1) + 2;
    std::ifstream source(KSL_SOURCES + location.substr(atFile, atLine - atFile));
    std::string line;
    for (int left = std::stoi(location.substr(atLine + 2)); left > 0; --left)
        std::getline(source, line);
    return line.find("SITE(\"" + function + "\")") != std::string::npos ||
           line.find("SITE(function)") != std::string::npos;  // of a callback that gets the name
}

// Runs what must fail with `Exception` and returns "function: message (reason)". Checks what all failures of
// the library have in common, and that this one names `object`, or no object and the class "static".
template <class Exception = ksl::CException>
std::string failure_of(const std::function<void()>& run, const void* object = nullptr, int code = 0) {
    try {
        run();
    } catch (const ksl::CException& failure) {
        EXPECT_NE(dynamic_cast<const Exception*>(&failure), nullptr) << "another class";
        EXPECT_EQ(failure.code(), code);
        EXPECT_EQ(failure.severity(), ksl::CException::error);
        EXPECT_EQ(failure.domain(), "standard");
        EXPECT_EQ(failure.object(), object);
        EXPECT_EQ(failure.location().starts_with("static, class_a/standard/"), object == nullptr);
        EXPECT_NE(failure.location().find(", class_a/standard/"), std::string::npos);
        EXPECT_TRUE(names_its_line(failure.location(), failure.function())) << failure.location();
        return failure.function() + ": " + failure.text();
    }
    return "no failure";
}
