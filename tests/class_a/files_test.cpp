#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "class_a/failure.h"
#include "class_a/standard/CFileReader.h"
#include "class_a/standard/CMessageStore.h"
#include "class_a/standard/CStat.h"

using ksl::CDirEnt;
using ksl::CStat;

namespace {

namespace fs = std::filesystem;

// A directory of its own for each test.
class Files : public testing::Test {
  protected:
    Files() {
        std::string pattern = (fs::temp_directory_path() / "ksl-files-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory to test in");
        root = pattern;
    }
    ~Files() override { fs::remove_all(root); }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(root + '/' + name) << text;
    }

    std::string root;
};

std::string failed_by_system(const std::string& what, int code) {
    return what + " (" + ksl::CException::systemText(code) + ")";
}

std::set<std::string> names_of(const std::vector<CDirEnt>& entries) {
    std::set<std::string> names;
    for (const CDirEnt& entry : entries)
        names.insert(entry.name() + (entry.isDirectory() ? "/" : ""));
    return names;
}

TEST_F(Files, AnswersQuestionsAboutPaths) {
    fs::create_directories(root + "/dir/sub");
    write("dir/file", "x");
    write("dir/odd\\name", "x");
    const struct {
        std::string path;
        bool exists;
        bool isDirectory;
    } paths[] = {{"", false, false},
                 {root + "/dir", true, true},
                 {root + "\\dir", true, true},
                 {root + "/dir\\file", true, false},
                 {root + "/dir/", true, true},
                 {root + "/dir/odd\\name", true, false},
                 {root + "/none", false, false},
                 {root + "/dir/file/x", false, false}};
    for (const auto& each : paths) {
        EXPECT_EQ(CStat::exists(each.path), each.exists) << each.path;
        EXPECT_EQ(CStat::isDirectory(each.path), each.isDirectory) << each.path;
        EXPECT_EQ(CStat::isFile(each.path), each.exists && !each.isDirectory) << each.path;
    }
}

TEST_F(Files, RemovesFilesAndDirectories) {
    fs::create_directory(root + "/dir");
    for (const char* const name : {"dir/a.txt", "dir/b.txt", "dir/c.log", "dir/d\\e.txt", "b"})
        write(name, "x");

    EXPECT_EQ(failure_of([&] { CStat::rm(root + "/none"); }, nullptr, ENOENT),
              failed_by_system("CStat::rm: Failed to remove file '" + root + "/none'.", ENOENT));
    EXPECT_EQ(failure_of([&] { CStat::rmdir(root + "/dir"); }, nullptr, ENOTEMPTY),
              failed_by_system("CStat::rmdir: Cannot remove directory '" + root + "/dir'.", ENOTEMPTY));
    EXPECT_EQ(failure_of([&] { CStat::rmdir(root + "/b"); }),
              "CStat::rmdir: Cannot remove directory '" + root + "/b'. (Path specification is a file.)");
    CStat::rmdir(root + "/none");

    // The first failure ends the loop.
    EXPECT_THROW(CStat::rm({CDirEnt(root + "/dir\\a.txt", "", false), CDirEnt(root + "/none", "", false),
                            CDirEnt(root + "/b", "", false)}),
                 ksl::CException);
    EXPECT_FALSE(CStat::exists(root + "/dir/a.txt"));
    EXPECT_TRUE(CStat::exists(root + "/b"));

    // A backslash in a name is part of it, not a way into a directory.
    fs::create_directory(root + "/dir/d");
    write("dir/d/e.txt", "x");
    CStat::rmFiles(root + "\\dir", "*.txt");
    std::vector<CDirEnt> left;
    CStat::findAll(root + "/dir", "*", left);
    EXPECT_EQ(names_of(left), (std::set<std::string>{"./", "../", "c.log", "d/"}));
    EXPECT_TRUE(CStat::exists(root + "/dir/d/e.txt"));
}

TEST_F(Files, ListsWhatFitsThePattern) {
    fs::create_directory(root + "/sub.d");
    write("a.txt", "x");
    write("B.txt", "x");
    fs::create_symlink(root + "/sub.d", root + "/link.d");
    fs::create_symlink("/nowhere/at/all", root + "/gone.txt");  // listed, but not there for `stat`
    const struct {
        const char* pattern;
        int type;
        std::set<std::string> names;
    } cases[] = {{"*", 0, {"a.txt", "B.txt"}},
                 {"*", 1, {"./", "../", "sub.d/", "link.d/"}},
                 {"*", 2, {"./", "../", "sub.d/", "link.d/", "a.txt", "B.txt"}},
                 {"*.txt", 2, {"a.txt", "B.txt"}},
                 {"[a-z]*", 2, {"a.txt", "sub.d/", "link.d/"}},
                 {"*/a.txt", 2, {}},
                 {"*", 3, {}}};
    for (const auto& each : cases) {
        std::vector<CDirEnt> found{CDirEnt("stale", "stale", false)};
        CStat::findFiles(root, each.pattern, found, each.type);
        EXPECT_EQ(names_of(found), each.names) << each.pattern << ' ' << each.type;
        for (const CDirEnt& entry : found)
            EXPECT_EQ(entry.path(), root + '/' + entry.name());
    }
    std::vector<CDirEnt> found{CDirEnt("stale", "stale", false)};
    EXPECT_EQ(failure_of([&] { CStat::findFiles(root + "/a.txt", "*", found, 2); }),
              "CStat::findFiles: Cannot stat '" + root + "/a.txt'. (Not a directory.)");
    EXPECT_EQ(found.size(), 1U);
    if (geteuid() != 0) {  // root reads every directory
        fs::permissions(root + "/sub.d", fs::perms::none);
        EXPECT_EQ(failure_of([&] { CStat::findDirectories(root + "/sub.d", "*", found); }, nullptr, EACCES),
                  failed_by_system(
                      "CStat::findFiles: Cannot enumerate files in directory '" + root + "/sub.d'.", EACCES));
        EXPECT_TRUE(found.empty());
    }
    EXPECT_TRUE(CDirEnt("a", "x", true) == CDirEnt("a", "y", false) &&
                CDirEnt("a", "z", false) < CDirEnt("b", "a", false));
}

TEST_F(Files, LooksForADirectoryUpwards) {
    fs::create_directories(root + "/a/b/c");
    fs::create_directory(root + "/x");
    const fs::path before = fs::current_path();
    fs::current_path(root + "/a/b");
    const struct {
        const char* path;
        int levels;
        bool found;
        const char* result;
    } cases[] = {{"c", 1, true, "c"},
                 {"c", 0, true, "c"},
                 {"x", 1, false, "x"},
                 {"x", 2, false, "x"},
                 {"x", 3, true, "../../x"},
                 {".\\c", 3, true, "./c"},
                 {"no such thing", 1 << 30, false, "no such thing"}};
    for (const auto& each : cases) {
        std::string path = each.path;
        EXPECT_EQ(CStat::findUp(path, each.levels), each.found) << each.path << each.levels;
        EXPECT_EQ(path, each.result);
    }
    fs::current_path(before);
}

// Notes the calls of its hooks.
class Recorder : public CFileReader {
  public:
    std::string calls;
    std::string stopAt;
    std::string failAt;

  protected:
    void _begin() override { calls += "begin "; }
    void _end() override { calls += "end"; }
    void _abort() override { calls += "abort"; }
    void _processRecord(const std::string& record, unsigned long line) override {
        calls += std::to_string(line) + '<' + record + "> ";
        if (record == stopAt) stop(true);
        if (record == failAt) throw ksl::CException();
    }
};

TEST_F(Files, ReadsRecords) {
    const std::pair<std::string, const char*> files[] = {
        {"a\n# x\nb\n\nc\n", "begin 4<a\nb\n> 6<c\n> end"},
        {"a\n\nb", "begin 2<a\n> 3<b\n> end"},
        {"", "begin end"},
        {"# x\n\n  \t#y\n \t\r\n", "begin end"},
        {"\n\n\n a\t\r\n\t b c \r\n \r\n\n", "begin 6<a\nb c\n> end"},
        {"a\n#", "begin 2<a\n> end"},
        {"a # b\n", "begin 2<a # b\n> end"},
        {"; a\n", "begin 2<; a\n> end"},
        {std::string("a\0b\n", 4), "begin 2<a"},
    };
    for (const auto& [text, calls] : files) {
        write("records", text);
        Recorder reader;
        reader.execute(root, "records");
        EXPECT_EQ(reader.calls.substr(0, std::string(calls).size()), calls) << text;
    }
    write("records", "a\n;x\n\nb\n\nc\n");
    Recorder reader;
    reader.addCommentChar(';');
    EXPECT_EQ(reader.commentChars(), "#;");
    reader.stopAt = "b\n";
    reader.execute(root, "records");
    EXPECT_EQ(reader.calls, "begin 3<a\n> 5<b\n> abort");
    reader.calls.clear();
    reader.execute(root, "records");  // stopped as it is
    EXPECT_EQ(reader.calls, "begin 3<a\n> abort");
    reader.calls.clear();
    reader.stop(false);
    reader.failAt = "a\n";
    EXPECT_THROW(reader.execute(root, "records"), ksl::CException);
    EXPECT_EQ(reader.calls, "begin 3<a\n> abort");
}

TEST_F(Files, OpensByBothSeparators) {
    fs::create_directory(root + "/sub");
    write("sub/a.txt", "x\n");
    const std::string file = root + "/sub/a.txt";
    const std::pair<std::string, std::string> paths[] = {
        {root + "/sub", "a.txt"}, {root + "\\sub\\ /", "  a.txt"}, {root, "sub\\a.txt"},
        {"ignored", file},        {"/", file.substr(1)},           {"", file.substr(1)}};
    for (const auto& [directory, name] : paths) {
        Recorder reader;
        reader.execute(directory, name);
        EXPECT_EQ(reader.path(), file);
        EXPECT_EQ(reader.calls, "begin 2<x\n> end");
    }
    const struct {
        std::string directory;
        std::string file;
        std::string path;
        int code;
    } refused[] = {{root + "/", "none", root + "/none", ENOENT},
                   {root, "/", root + "/", EISDIR},
                   {root, "sub", root + "/sub", EISDIR},
                   {"x", "\\none\\at all", "/none/at all", ENOENT}};
    for (const auto& each : refused) {
        Recorder reader;
        EXPECT_EQ(failure_of([&] { reader.execute(each.directory, each.file); }, &reader, each.code),
                  failed_by_system("CFileReader::execute: Cannot open file '" + each.path + "'.", each.code));
        EXPECT_EQ(reader.calls, "");
    }
    Recorder reader;  // opens, but its first page is not there to be read
    EXPECT_EQ(failure_of([&] { reader.execute("/proc/self", "mem"); }, &reader, EIO),
              failed_by_system("CFileReader::execute: Cannot read file '/proc/self/mem'.", EIO));
    EXPECT_EQ(reader.calls, "begin abort");
}

const char kMessages[] =
    "# messages\n"
    "id = 1000\n"
    "description = Shown when a mask is wrong.\n"
    "en_US = Cannot parse severity mask '%1'.\n"
    "de_DE = Severity-Maske '%1' ist nicht lesbar.\n"
    "\n"
    "en_US = Invalid value.\n"
    "de_DE = Falscher Wert = falsch.\n"
    "fr_FR =\n";

// The number of a message and its format, as the store leaves them.
std::string translated(const ksl::CMessageStore& store, const std::string& format,
                       const std::string& locale) {
    ksl::CMessage message(format);
    message.id(7);
    message << "x";
    store.translate(message, locale);
    std::string plain = format;
    store.translate(plain, locale);
    EXPECT_EQ(plain, message.format());
    return std::to_string(message.id()) + ' ' + message.text();
}

TEST_F(Files, TranslateMessages) {
    write("messages", kMessages);
    const struct {
        const char* locales;
        const char* format;
        const char* locale;
        const char* result;
    } cases[] = {
        {"de_DE", "Cannot parse severity mask '%1'.", "de_DE", "1000 Severity-Maske 'x' ist nicht lesbar."},
        {"de_DE", "Cannot parse severity mask '%1'.", "fr_FR", "1000 Cannot parse severity mask 'x'."},
        {"fr_FR", "Cannot parse severity mask '%1'.", "de_DE", "1000 Cannot parse severity mask 'x'."},
        {"", "Cannot parse severity mask '%1'.", "de_DE", "1000 Cannot parse severity mask 'x'."},
        {"*", "Cannot parse severity mask '%1'.", "it_IT", "1000 Cannot parse severity mask 'x'."},
        {"*", "Invalid value.", "de_DE", "-1 Falscher Wert = falsch."},
        {"*", "Invalid value.", "fr_FR", "-1 Invalid value."},
        {"*", "No such message %1.", "de_DE", "-1 No such message x."},
    };
    for (const auto& each : cases) {
        ksl::CMessageStore store;
        store.setLocales(each.locales);
        store.execute(root, "messages");
        EXPECT_EQ(translated(store, each.format, each.locale), each.result) << each.locales;
    }

    ksl::CMessageStore store;
    store.setLocales("");
    EXPECT_TRUE(store.locales().empty() && store.defaultLocale() == "en_US");
    store.setLocales(" de_DE ,\tfr_FR ");
    EXPECT_EQ(store.locales(), (std::set<std::string>{"de_DE", "fr_FR"}));
    EXPECT_EQ(store.defaultLocale(), "de_DE");
    store.execute(root, "messages");

    // An exception takes its words from the store, but never for those of the system.
    ksl::CException failure;
    failure.message(ksl::CMessage("Cannot parse severity mask '%1'.") << "y");
    failure.reason(ksl::CMessage("Invalid value."));
    EXPECT_EQ(failure.text(&store, "de_DE"),
              "Severity-Maske 'y' ist nicht lesbar. (Falscher Wert = falsch.)");
    EXPECT_EQ(failure.text(nullptr, "de_DE"), failure.text());
    EXPECT_EQ(failure.text(), "Cannot parse severity mask 'y'. (Invalid value.)");
    failure.code(ENOENT);
    EXPECT_EQ(failure.text(&store, "de_DE"), "Severity-Maske 'y' ist nicht lesbar. (Invalid value.)");
}

TEST_F(Files, EndTheLoadAtABrokenRecord) {
    const std::string good(kMessages);
    write("messages", good + "\nid = 5\n\nen_US = Never read.\n");
    ksl::CMessageStore store;
    store.setLocales("*");
    EXPECT_EQ(failure_of([&] { store.execute(root, "messages"); }, &store),
              "CMessageStore::_processRecord: Invalid record at line 12 in message locale file. (Missing key "
              "'en_US'.)");
    EXPECT_EQ(translated(store, "Invalid value.", "de_DE"), "-1 Falscher Wert = falsch.");
    EXPECT_EQ(translated(store, "Never read.", "en_US"), "-1 Never read.");

    write("messages", "id = many\nen_US = Invalid value.\nde_DE = x\n");
    EXPECT_THROW(store.execute(root, "messages"), ksl::CException);
    write("messages", "id = 9\nen_US = Invalid value.\nde_DE = replaced\nde_DE = twice\n");
    store.execute(root, "messages");
    EXPECT_EQ(translated(store, "Invalid value.", "de_DE"), "9 twice");
    EXPECT_EQ(translated(store, "Cannot parse severity mask '%1'.", "de_DE"),
              "1000 Severity-Maske 'x' ist nicht lesbar.");
}

// A quadratic load would take hours for this many.
TEST_F(Files, LoadManyMessages) {
    constexpr int kCount = 100000;
    {
        std::ofstream out(root + "/messages");
        for (int i = 0; i < kCount; ++i)
            out << "id=" << i << "\nen_US=Message " << i << "\nde_DE=Meldung " << i << "\n\n";
    }
    ksl::CMessageStore store;
    store.setLocales("de_DE");
    store.execute(root, "messages");
    for (const int i : {0, 777, kCount - 1})
        EXPECT_EQ(translated(store, "Message " + std::to_string(i), "de_DE"),
                  std::to_string(i) + " Meldung " + std::to_string(i));
}

}  // namespace
