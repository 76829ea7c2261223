#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "class_a/standard/CExceptionSink.h"
#include "class_a/standard/CNumberConversionException.h"
#include "class_a/standard/ksl_throw.h"

namespace {

using ksl::CException;

class Thrower {
  public:
    static constexpr int line = __LINE__ + 2;
    void fromMember() const {
        ksl::throw_exception(KSL_SITE("Thrower::fromMember"), ksl::CMessage("Cannot do '%1'.") << "it",
                             ksl::CMessage(), ENOENT);
    }
};

TEST(Exception, SaysWhereItWasThrown) {
    const Thrower thrower;
    const Thrower* const pointer = &thrower;
    const std::time_t before = std::time(nullptr);
    try {
        thrower.fromMember();
        FAIL();
    } catch (CException& failure) {
        EXPECT_EQ(failure.location(), std::string(typeid(pointer).name()) + ", " + __FILE__ + ", " +
                                          std::to_string(Thrower::line));
        EXPECT_EQ(failure.function(), "Thrower::fromMember");
        EXPECT_EQ(failure.object(), &thrower);
        EXPECT_EQ(failure.domain(), "standard");
        EXPECT_EQ(failure.severity(), 4);
        EXPECT_EQ(failure.code(), ENOENT);
        EXPECT_EQ(failure.text(), "Cannot do 'it'. (" + CException::systemText(ENOENT) + ")");
        EXPECT_GE(failure.time(), before);
        EXPECT_LE(failure.time(), std::time(nullptr));
    }
}

TEST(Exception, BeginsEmpty) {
    CException empty;
    EXPECT_EQ(empty.location(), ", , 0");
    EXPECT_EQ(empty.text(), "");
    EXPECT_EQ(empty.function() + empty.domain(), "");
    EXPECT_EQ(empty.code(), 0);
    EXPECT_EQ(empty.severity(), 0);
    EXPECT_EQ(empty.object(), nullptr);
    EXPECT_EQ(empty.message().domain(), "standard");
}

TEST(Exception, RendersMessageAndReason) {
    struct Case {
        const char* message;
        const char* reason;
        int code;
        std::string text;
    };
    const Case cases[] = {{"Message.", "", 0, "Message."},
                          {"Message.", "Reason.", 0, "Message. (Reason.)"},
                          {"Message.", "Reason.", ENOENT, "Message. (Reason.)"},
                          {"Message.", "", ENOENT, "Message. (" + CException::systemText(ENOENT) + ")"},
                          {"Message.", "", 99999, "Message. (Unknown error code 99999)"}};
    for (const Case& each : cases) {
        CException failure;
        failure.message(ksl::CMessage(std::string(each.message)));
        failure.reason(ksl::CMessage(std::string(each.reason)));
        failure.code(each.code);
        EXPECT_EQ(failure.text(), each.text);
        EXPECT_EQ(failure.message().format(), "Message.");
    }
}

TEST(Exception, KnowsTheSystemsTexts) {
    EXPECT_EQ(CException::systemText(0), "");
    EXPECT_EQ(CException::systemText(-5), "Unknown error code -5");
    const std::string known = CException::systemText(ENOENT);
    EXPECT_FALSE(known.empty());
    EXPECT_EQ(known.find_first_of("\r\n"), std::string::npos);
    EXPECT_FALSE(known.starts_with("Unknown"));
}

TEST(Severity, IsReadFromText) {
    const std::pair<const char*, int> good[] = {
        {"", 0},       {"*", -1},         {"all", -1},       {"error, warning", 6},
        {"error,", 4}, {"all,error", -1}, {"error,all", -1}, {"  info  ", 1},
        {"debug", 8},  {"audit", 16},     {"verbose", 32},   {"info,info", 1}};
    for (const auto& [text, mask] : good)
        EXPECT_EQ(CException::severityMask(text), mask) << text;
    const std::pair<const char*, const char*> bad[] = {
        {"Error", "Error"}, {"error,,info", ""}, {"error, x ,info", "x"}, {" ", ""}, {"\terror", "\terror"}};
    for (const auto& [text, word] : bad) {
        try {
            CException::severityMask(text);
            ADD_FAILURE() << text;
        } catch (CException& failure) {
            EXPECT_EQ(failure.text(),
                      "Cannot parse severity mask '" + std::string(word) + "'. (Invalid value.)");
            EXPECT_EQ(failure.function(), "CException::severityMask");
            EXPECT_EQ(failure.severity(), CException::error);
            EXPECT_TRUE(failure.location().starts_with("static, class_a/standard/CException.cpp, "));
        }
    }
}

TEST(Severity, IsWrittenInOneOrder) {
    EXPECT_EQ(CException::severityText(0), "");
    EXPECT_EQ(CException::severityText(64), "");
    EXPECT_EQ(CException::severityText(-1), "error,warning,info,audit,debug,verbose");
    EXPECT_EQ(CException::severityText(CException::severityMask("verbose,error")), "error,verbose");
}

class Collector : public ksl::CExceptionSink {
  public:
    void handle(ksl::CExceptionPtr exception) override { kept.push_back(exception); }
    std::vector<ksl::CExceptionPtr> kept;
};

TEST(Exception, IsReportedOnce) {
    Collector sink;
    {
        CException failure;
        failure.message(ksl::CMessage("%1") << std::string(300, 'x'));
        failure.report(nullptr);
        failure.report(&sink);
        failure.report(&sink);
        CException copy(failure);
        copy.report(&sink);
        failure = copy;
        failure.report(&sink);
    }
    ASSERT_EQ(sink.kept.size(), 3U);
    for (const auto& each : sink.kept)
        EXPECT_EQ(each->text(), std::string(300, 'x'));
}

TEST(Exception, ClonesToItsBase) {
    try {
        ksl::throw_exception<ksl::CNumberConversionException>(KSL_STATIC_SITE("f"), ksl::CMessage("m"));
    } catch (const CException& failure) {
        EXPECT_NE(dynamic_cast<const ksl::CNumberConversionException*>(&failure), nullptr);
        const std::unique_ptr<CException> clone(failure.clone());
        ASSERT_NE(clone, nullptr);
        EXPECT_EQ(typeid(*clone.get()), typeid(CException));
        EXPECT_EQ(clone->text(), "m");
        EXPECT_EQ(clone->location(), failure.location());
        EXPECT_EQ(clone->time(), failure.time());
    }
}

}  // namespace
