#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "class_a/failure.h"
#include "class_a/standard/CMessageStore.h"
#include "class_a/standard/CStat.h"
#include "temporary_folder.h"

using ksl::CDirEnt;
using ksl::CStat;

namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

// A directory of its own for each test, which runs in it.
class Files : public testing::Test {
  protected:
    Files() { fs::current_path(root); }

    static void write(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

    // Runs what the system makes fail with `code`.
    static void fails(const std::function<void()>& run, const void* object, int code,
                      const std::string& text) {
        EXPECT_EQ(failure_of(run, object, code), text + " (" + ksl::CException::systemText(code) + ")");
    }

    const TemporaryFolder folder;
    const std::string root = folder.Path();
};

Names names_of(const std::vector<CDirEnt>& entries) {
    Names names;
    for (const CDirEnt& entry : entries)
        names.insert(entry.name() + (entry.isDirectory() ? "/" : ""));
    return names;
}

TEST_F(Files, AreAskedForAndRemoved) {
    fs::create_directories("dir/odd");
    for (const char* const name : {"dir/a.txt", "dir/b.log", "dir/odd\\c.txt", "dir/odd/c.txt", "b"})
        write(name, "x");
    for (const char* const path : {"dir", "./dir/", ".\\dir", "dir\\odd"})
        EXPECT_TRUE(CStat::exists(path) && CStat::isDirectory(path) && !CStat::isFile(path)) << path;
    for (const char* const path : {"b", "dir\\a.txt", "dir/odd\\c.txt"})
        EXPECT_TRUE(CStat::exists(path) && !CStat::isDirectory(path) && CStat::isFile(path)) << path;
    for (const char* const path : {"", "none", "b/x"})
        EXPECT_FALSE(CStat::exists(path) || CStat::isDirectory(path) || CStat::isFile(path)) << path;

    fails([] { CStat::rm("none"); }, nullptr, ENOENT, "CStat::rm: Failed to remove file 'none'.");
    fails([] { CStat::rmdir("dir"); }, nullptr, ENOTEMPTY, "CStat::rmdir: Cannot remove directory 'dir'.");
    EXPECT_EQ(failure_of([] { CStat::rmdir("b"); }),
              "CStat::rmdir: Cannot remove directory 'b'. (Path specification is a file.)");
    CStat::rmdir("none");
    // A backslash in a name is part of it, not a way into a directory.
    CStat::rmFiles(root + "\\dir", "*.txt");
    EXPECT_FALSE(CStat::exists("dir/a.txt"));
    EXPECT_TRUE(CStat::exists("dir/odd/c.txt"));
    // The first failure ends the loop.
    EXPECT_THROW(
        CStat::rm({CDirEnt("dir\\b.log", "", false), CDirEnt("none", "", false), CDirEnt("b", "", false)}),
        ksl::CException);
    EXPECT_TRUE(!CStat::exists("dir/b.log") && CStat::exists("b"));
    CStat::rm("dir\\odd\\c.txt");
    CStat::rmdir("dir\\odd");
    EXPECT_FALSE(fs::exists("dir/odd"));
}

TEST_F(Files, AreListedByAPattern) {
    fs::create_directory("sub.d");
    write("a.txt", "x");
    write("B.txt", "x");
    fs::create_symlink("sub.d", "link.d");
    fs::create_symlink("/nowhere/at/all", "gone.txt");  // listed, but not there for `stat`
    const std::tuple<const char*, int, Names> cases[] = {{"*", 0, {"a.txt", "B.txt"}},
                                                         {"*", 1, {"./", "../", "sub.d/", "link.d/"}},
                                                         {"[a-z]*", 2, {"a.txt", "sub.d/", "link.d/"}},
                                                         {"*/a.txt", 2, {}},
                                                         {"*", 3, {}}};
    std::vector<CDirEnt> found{CDirEnt("stale", "stale", false)};
    EXPECT_EQ(failure_of([&] { CStat::findFiles("a.txt", "*", found, 2); }),
              "CStat::findFiles: Cannot stat 'a.txt'. (Not a directory.)");
    EXPECT_EQ(found.size(), 1U);
    for (const auto& [pattern, type, names] : cases) {
        CStat::findFiles(root, pattern, found, type);
        EXPECT_EQ(names_of(found), names) << pattern << ' ' << type;
        for (const CDirEnt& entry : found)
            EXPECT_EQ(entry.path(), root + '/' + entry.name());
    }
    if (geteuid() != 0) {  // root reads every directory
        fs::permissions("sub.d", fs::perms::none);
        found.emplace_back("stale", "stale", false);
        fails([&] { CStat::findAll("sub.d", "*", found); }, nullptr, EACCES,
              "CStat::findFiles: Cannot enumerate files in directory 'sub.d'.");
        EXPECT_TRUE(found.empty());
    }
    EXPECT_TRUE(CDirEnt("a", "x", true) == CDirEnt("a", "y", false) &&
                CDirEnt("a", "z", 0) < CDirEnt("b", "a", 0));
}

TEST_F(Files, AreLookedForUpwards) {
    fs::create_directories("a/b/c");
    fs::create_directory("x");
    fs::current_path("a/b");
    const std::tuple<std::string, int, const char*> cases[] = {
        {"c", 1, "c"},     {"c", 0, "c"},       {".\\c", 3, "./c"},
        {"x", 2, nullptr}, {"x", 3, "../../x"}, {"no such thing", 1 << 30, nullptr}};
    for (const auto& [start, levels, result] : cases) {
        std::string path = start;
        EXPECT_EQ(CStat::findUp(path, levels), result != nullptr) << path << levels;
        EXPECT_EQ(path, result == nullptr ? start : result);
    }
}

// Notes the calls of its hooks.
class Recorder : public CFileReader {
  public:
    std::string run(const std::string& directory, const std::string& file) {
        calls = "begin missing";
        execute(directory, file);
        return calls;
    }
    std::string calls, stopAt, failAt;

  protected:
    void _begin() override { calls = ""; }
    void _end() override { calls += "end"; }
    void _abort() override { calls += "abort"; }
    void _processRecord(const std::string& record, unsigned long line) override {
        calls += std::to_string(line) + '<' + record + "> ";
        if (record == stopAt) stop(true);
        if (record == failAt) throw ksl::CException();
    }
};

TEST_F(Files, AreReadByRecords) {
    const std::pair<const char*, const char*> files[] = {
        {"a\n# x\nb\n\nc\n", "4<a\nb\n> 6<c\n> end"},
        {"a\n\nb", "2<a\n> 3<b\n> end"},
        {"", "end"},
        {"# x\n\n  \t#y\n \t\r\n", "end"},
        {"\n\n a\t\r\n\t b # c \r\n \r\n\n", "5<a\nb # c\n> end"},
        {"a\n#", "2<a\n> end"},
        {"; a\n", "2<; a\n> end"},
        {"\xEF\xBB\xBF# x\na\n\xEF\xBB\xBF# y", "3<a\n\xEF\xBB\xBF# y\n> end"},
        {"\xEF\xBB\xBF", "end"},
        {"\xEF\xBB", "1<\xEF\xBB\n> end"},
        {"\xEF\xEF\xBB\xBFx", "1<\xEF\xEF\xBB\xBFx\n> end"}};
    for (const auto& [text, calls] : files) {
        write("records", text);
        EXPECT_EQ(Recorder().run(root, "records"), calls) << text;
    }
    write("records", "a\n;x\n\nb\n\nc\n");
    Recorder reader;
    reader.addCommentChar(';');
    reader.stopAt = "b\n";
    EXPECT_EQ(reader.run(root, "records"), "3<a\n> 5<b\n> abort");
    EXPECT_EQ(reader.run(root, "records"), "3<a\n> abort");  // stopped as it is
    reader.stop(false);
    reader.failAt = "a\n";
    EXPECT_THROW(reader.run(root, "records"), ksl::CException);
    EXPECT_EQ(reader.calls, "3<a\n> abort");
}

TEST_F(Files, AreOpenedByBothSeparators) {
    fs::create_directory("sub");
    write("sub/a.txt", "x\n");
    const std::string file = root + "/sub/a.txt";
    const std::pair<std::string, std::string> paths[] = {
        {root + "\\sub\\ /", "  a.txt"}, {root, "sub\\a.txt"}, {"ignored", file}, {"", file.substr(1)}};
    for (const auto& [directory, name] : paths) {
        Recorder reader;
        EXPECT_EQ(reader.run(directory, name), "2<x\n> end");
        EXPECT_EQ(reader.path(), file);
    }
    const std::tuple<const char*, const char*, int, std::string> refused[] = {
        {"./", "none", ENOENT, "./none"},
        {".", "/", EISDIR, "./"},
        {".", "sub", EISDIR, "./sub"},
        {"x", "\\none\\at all", ENOENT, "/none/at all"}};
    Recorder reader;
    for (const auto& [directory, name, code, path] : refused)
        fails([&, from = directory, opened = name] { reader.execute(from, opened); }, &reader, code,
              "CFileReader::execute: Cannot open file '" + path + "'.");
    EXPECT_EQ(reader.calls, "");
    // This one opens, but its first page is not there to be read.
    fails([&] { reader.execute("/proc/self", "mem"); }, &reader, EIO,
          "CFileReader::execute: Cannot read file '/proc/self/mem'.");
    EXPECT_EQ(reader.calls, "abort");
}

constexpr const char* kMessages =
    "\xEF\xBB\xBFid = 1000\ndescription = Shown when a mask is wrong.\nen_US = Cannot parse "
    "'%1'.\n"
    "de_DE = '%1' ist nicht lesbar.\n\nen_US = Invalid value.\nde_DE = Falscher Wert = falsch.\nfr_FR =\n";

// The number of a message and its text, as the store leaves them.
std::string translated(const ksl::CMessageStore& store, std::string format, const std::string& locale) {
    ksl::CMessage message(format);
    message.id(77);
    store.translate(message << "x", locale);
    store.translate(format, locale);
    EXPECT_EQ(format, message.format());
    return std::to_string(message.id()) + ' ' + message.text();
}

TEST_F(Files, TranslateMessages) {
    write("messages", kMessages);
    const char* const cases[][4] = {{"de_DE", "Cannot parse '%1'.", "de_DE", "1000 'x' ist nicht lesbar."},
                                    {"de_DE", "Cannot parse '%1'.", "fr_FR", "1000 Cannot parse 'x'."},
                                    {"fr_FR", "Cannot parse '%1'.", "de_DE", "1000 Cannot parse 'x'."},
                                    {"", "Cannot parse '%1'.", "de_DE", "1000 Cannot parse 'x'."},
                                    {"*", "Cannot parse '%1'.", "it_IT", "1000 Cannot parse 'x'."},
                                    {"*", "Cannot parse '%1'.", "id", "1000 Cannot parse 'x'."},
                                    {"*", "Cannot parse '%1'.", "description", "1000 Cannot parse 'x'."},
                                    {"*", "Invalid value.", "de_DE", "-1 Falscher Wert = falsch."},
                                    {"*", "Invalid value.", "fr_FR", "-1 Invalid value."},
                                    {"*", "No such message %1.", "de_DE", "-1 No such message x."}};
    for (const auto& [locales, format, locale, result] : cases) {
        ksl::CMessageStore store;
        store.setLocales(locales);
        store.execute(root, "messages");
        EXPECT_EQ(translated(store, format, locale), result) << locales;
    }
    ksl::CMessageStore store;
    store.setLocales("");
    EXPECT_TRUE(store.locales().empty() && store.defaultLocale() == "en_US");
    store.setLocales(" de_DE ,\tfr_FR ");
    EXPECT_TRUE(store.locales() == (Names{"de_DE", "fr_FR"}) && store.defaultLocale() == "de_DE");
    store.execute(root, "messages");

    // An exception takes its words from the store, but never for those of the system.
    ksl::CException failure;
    failure.message(ksl::CMessage("Cannot parse '%1'.") << "y");
    failure.reason(ksl::CMessage("Invalid value."));
    EXPECT_EQ(failure.text(&store, "de_DE"), "'y' ist nicht lesbar. (Falscher Wert = falsch.)");
    EXPECT_EQ(failure.text(nullptr, "de_DE"), "Cannot parse 'y'. (Invalid value.)");
    failure.code(ENOENT);
    EXPECT_EQ(failure.text(&store, "de_DE"), "'y' ist nicht lesbar. (Invalid value.)");
}

TEST_F(Files, EndALoadAtABrokenRecord) {
    write("messages", std::string(kMessages) + "\nid = 5\n\nen_US = Never read.\nde_DE = x\n");
    ksl::CMessageStore store;
    store.setLocales("*");
    EXPECT_EQ(failure_of([&] { store.execute(root, "messages"); }, &store),
              "CMessageStore::_processRecord: Invalid record at line 11 in message locale file. (Missing key "
              "'en_US'.)");
    EXPECT_EQ(translated(store, "Invalid value.", "de_DE"), "-1 Falscher Wert = falsch.");
    EXPECT_EQ(translated(store, "Never read.", "de_DE"), "-1 Never read.");
    write("messages", "id = many\nen_US = Invalid value.\nde_DE = x\n");
    EXPECT_THROW(store.execute(root, "messages"), ksl::CException);
    write("messages", "id = 9\nen_US = Invalid value.\nde_DE = replaced\nde_DE = twice\n");
    store.execute(root, "messages");
    EXPECT_EQ(translated(store, "Invalid value.", "de_DE"), "9 twice");
    EXPECT_EQ(translated(store, "Cannot parse '%1'.", "de_DE"), "1000 'x' ist nicht lesbar.");
}

}  // namespace
