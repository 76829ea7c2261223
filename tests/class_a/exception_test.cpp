#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

#include "class_a/failure.h"
#include "class_a/standard/CExceptionSink.h"
#include "class_a/standard/CIPAddress.h"
#include "class_a/standard/CNumberConversionException.h"

namespace {

using ksl::CException;

TEST(Exception, SaysWhoThrewItAndWhen) {
    const ksl::CIPAddress none(ksl::CIPAddress::unknown);
    const std::time_t before = std::time(nullptr);
    try {
        none.string();
        FAIL();
    } catch (const CException& failure) {
        const std::string place = std::string(typeid(&none).name()) + ", class_a/standard/CIPAddress.cpp, ";
        EXPECT_TRUE(failure.location().starts_with(place)) << failure.location();
        EXPECT_TRUE(before <= failure.time() && failure.time() <= std::time(nullptr));
    }
}

// All that an exception says of itself, but for its time and object.
std::string parts_of(const CException& failure) {
    return failure.location() + '|' + failure.function() + '|' + failure.domain() + '|' +
           failure.message().text() + '|' + failure.reason().format() + '|' + std::to_string(failure.code()) +
           '|' + std::to_string(failure.severity());
}

TEST(Exception, IsCopiedWhole) {
    ksl::CNumberConversionException source;
    EXPECT_EQ(parts_of(source), ", , 0|||||0|0");
    EXPECT_EQ(source.object(), nullptr);
    EXPECT_EQ(source.message().domain(), "standard");
    source.className("class");
    source.file("file");
    source.line(1);
    source.function("function");
    source.domain("domain");
    source.message(ksl::CMessage("message"));
    source.reason(ksl::CMessage("reason"));
    source.code(2);
    source.severity(CException::audit);
    source.object(&source);
    while (std::time(nullptr) == source.time())
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    CException assigned;
    EXPECT_NE(assigned.time(), source.time());
    assigned = source;
    const std::unique_ptr<CException> clone(source.clone());
    EXPECT_EQ(typeid(*clone.get()), typeid(CException));
    for (const CException& each : {CException(source), assigned, *clone}) {  // each copied once more
        EXPECT_EQ(parts_of(each), "class, file, 1|function|domain|message|reason|2|16");
        EXPECT_EQ(each.time(), source.time());
        EXPECT_EQ(each.object(), &source);
    }
}

TEST(Exception, RendersMessageAndReason) {
    const std::tuple<std::string, int, std::string> cases[] = {
        {"", 0, "Message."},
        {"Reason.", 0, "Message. (Reason.)"},
        {"Reason.", ENOENT, "Message. (Reason.)"},
        {"", ENOENT, "Message. (" + CException::systemText(ENOENT) + ")"},
        {"", -5, "Message. (Unknown error code -5)"}};
    for (const auto& [reason, code, text] : cases) {
        CException failure;
        failure.message(ksl::CMessage("Message."));
        failure.reason(ksl::CMessage(reason));
        failure.code(code);
        EXPECT_EQ(failure.text(), text);
        EXPECT_EQ(failure.message().format(), "Message.");
    }
    const std::string known = CException::systemText(ENOENT);
    EXPECT_FALSE(known.empty() || known.starts_with("Unknown"));
    EXPECT_EQ(known.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(CException::systemText(0), "");
}

TEST(Severity, IsReadAndWritten) {
    const std::pair<const char*, int> good[] = {
        {"", 0},       {"*", -1},         {"all", -1},       {"error, warning", 6},
        {"error,", 4}, {"all,error", -1}, {"error,all", -1}, {"  info  ", 1},
        {"debug", 8},  {"audit", 16},     {"verbose", 32},   {"info,info", 1}};
    for (const auto& [text, mask] : good)
        EXPECT_EQ(CException::severityMask(text), mask) << text;
    const std::pair<const char*, const char*> bad[] = {
        {"Error", "Error"}, {"error,,info", ""}, {"error, x ,info", "x"}, {" ", ""}, {"\terror", "\terror"}};
    for (const auto& [text, word] : bad)
        EXPECT_EQ(failure_of([&, &wrong = text] { CException::severityMask(wrong); }),
                  "CException::severityMask: Cannot parse severity mask '" + std::string(word) +
                      "'. (Invalid value.)");
    EXPECT_EQ(CException::severityText(0) + CException::severityText(64), "");
    EXPECT_EQ(CException::severityText(-1), "error,warning,info,audit,debug,verbose");
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

}  // namespace
