#include <gtest/gtest.h>

#include "quillonctl/edit/bootptab_check.h"
#include "quillonctl/edit/bootptab_text.h"
#include "quillonctl/edit/unified_diff.h"
#include "quillonctl/text/nearest_name.h"

namespace quillonctl {
namespace {

TEST(BootptabText, ChangesNothingButWhatItIsAskedTo) {
    using Edit = void (*)(BootptabText & file);
    const Edit put = [](BootptabText& file) { file.Put(*file.Find("0A-0b"), {"ip address", "10.0.0.2"}); };
    const Edit putNew = [](BootptabText& file) { file.Put(*file.Find("0a-0b"), {"Host Name", " pc "}); };
    const Edit add = [](BootptabText& file) { file.AddClient("0c-0d", {{"IP Address", "10.0.0.3"}}); };
    const Edit removeKey = [](BootptabText& file) { file.Remove(*file.Find("0a-0b"), "gateway"); };
    const Edit remove = [](BootptabText& file) { file.RemoveSection(*file.Find("0a-0b")); };
    const std::tuple<Edit, const char*, const char*> rows[] = {
        {put, "[0a-0b]\n IP Address\t=  10.0.0.1 \n", "[0a-0b]\n IP Address\t=  10.0.0.2\n"},
        {put, "[0a-0b]\r\nIP Address='10.0.0.1'", "[0a-0b]\r\nIP Address=10.0.0.2"},
        {put, "[0a-0b]\nIP Address = \"10.0.0.2\"\n", "[0a-0b]\nIP Address = \"10.0.0.2\"\n"},
        {put, "[0a-0b]\nIP Address=1\nIP Address=1\n[0a-0b]\nIP Address=1\n",
         "[0a-0b]\nIP Address=10.0.0.2\nIP Address=1\n[0a-0b]\nIP Address=1\n"},
        {put, "[0a-0b]\r\n; c\r\n\r\n[x]\r\n", "[0a-0b]\r\nip address = 10.0.0.2\r\n; c\r\n\r\n[x]\r\n"},
        {put, "[0a-0b]\nA=1\n[]\nIP Address=5\n", "[0a-0b]\nA=1\nip address=10.0.0.2\n[]\nIP Address=5\n"},
        {putNew, "[0a-0b]\nA=1\n; c\n", "[0a-0b]\nA=1\nHost Name=\" pc \"\n; c\n"},
        {putNew, "[0a-0b]\n  A          = 1\n  Gateway    = 2",
         "[0a-0b]\n  A          = 1\n  Gateway    = 2\n  Host Name  = \" pc \"\n"},
        {putNew, "[0a-0b]\n", "[0a-0b]\nHost Name = \" pc \"\n"},
        {putNew, "[0a-0b]", "[0a-0b]\nHost Name = \" pc \"\n"},
        {add, "", "[0c-0d]\nIP Address = 10.0.0.3\n"},
        {add, "[0a-0b]\nA=1\n; last\n\n[File Aliases]\na=b\n",
         "[0a-0b]\nA=1\n\n[0c-0d]\nIP Address=10.0.0.3\n\n; last\n\n[File Aliases]\na=b\n"},
        {add, "[Options]\r\nA=1,byte", "[Options]\r\nA=1,byte\r\n\r\n[0c-0d]\r\nIP Address = 10.0.0.3\r\n"},
        {removeKey, "[0a-0b]\nA=1\nGateway = 2\nGateway = 3\n", "[0a-0b]\nA=1\nGateway = 3\n"},
        {remove, "; 1\n\n; 2\n[0a-0b]\n; 3\nA=1\n; 4\n\n[x-y]\n", "; 1\n\n; 2\n; 4\n\n[x-y]\n"},
        {remove, "[x-y]\n\n[0a-0b]\nA=1\n\n[0a-0b]\nB=1\n", "[x-y]\n\n[0a-0b]\nB=1\n"},
        {remove, "[x-y]\nB=1\n\n[ 0A-0B ]] \nA=1", "[x-y]\nB=1\n\n[ 0A-0B ]] \nA=1"},
    };
    for (const auto& [edit, before, after] : rows) {
        BootptabText file(before);
        EXPECT_EQ(file.Text(), before);
        if (!file.Find("0a-0b") && edit != add) continue;
        edit(file);
        EXPECT_EQ(file.Text(), after);
    }
}

// What was wrong before stays out, wherever the edit has moved it.
TEST(NewErrors, AreThoseThatAnEditMakes) {
    const std::string file = "[Options]\nIP = -2,ipaddress\n[0a-0b]\nIP = 10.0.0.1\n[0a-0c]\nIP = 10.0.0.1\n";
    EXPECT_TRUE(NewErrors("f", file, "; moved\n" + file).empty());
    const auto errors = NewErrors("f", file, "; moved\n" + file + "[0a-0d]\nIP = 10.0.0.400\n");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(FindingLine(errors[0]),
              "f:9: error: IP: '10.0.0.400' is no address: it would go out as 255.255.255.255\n");
}

TEST(UnifiedDiff, HasTheFormThatPatchTakes) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"a\n", "a\n", ""},
        {"", "a\n", "--- f\n+++ f\n@@ -0,0 +1 @@\n+a\n"},
        {"a\nb", "a\nc\n", "--- f\n+++ f\n@@ -1,2 +1,2 @@\n a\n-b\n\\ No newline at end of file\n+c\n"},
        {"1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\n6\n7\n8\n9\n",
         "--- f\n+++ f\n@@ -2,7 +2,6 @@\n 2\n 3\n 4\n-5\n 6\n 7\n 8\n"},
        {"a\n1\n2\n3\n4\n5\n6\n7\nb\n", "A\n1\n2\n3\n4\n5\n6\n7\nB\n",
         "--- f\n+++ f\n@@ -1,4 +1,4 @@\n-a\n+A\n 1\n 2\n 3\n@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+B\n"},
        {"x\ny\nz\n", "y\nx\nz\n", "--- f\n+++ f\n@@ -1,3 +1,3 @@\n-x\n y\n+x\n z\n"},
    };
    for (const auto& [before, after, diff] : rows)
        EXPECT_EQ(UnifiedDiff("f", before, after), diff);
}

TEST(NearestName, GuessesOnlyWhatIsNear) {
    const std::vector<std::string> known = {"reload", "remove", "query", "ask", "Gateways"};
    const std::pair<const char*, const char*> rows[] = {
        {"relod", "reload"}, {"RELAOD", "reload"}, {"gatewyas", "Gateways"},
        {"aks", "ask"},      {"xyz", ""},          {"", ""},
        {"a", ""},           {"dad", ""},          {"reloadreload", ""}};
    for (const auto& [word, nearest] : rows)
        EXPECT_EQ(NearestName(word, known), nearest) << word;
    EXPECT_EQ(EditDistance("ab", "ba"), 1u);
    EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
}

}  // namespace
}  // namespace quillonctl
