#include "database/load/client_list.h"

#include <cstring>
#include <fstream>

#include "database/database_result.h"
#include "database/last_answer.h"
#include "database/load/shared_sections.h"
#include "database/lookup/client_index.h"
#include "database_fixture.h"

namespace {

using Names = std::vector<std::string>;

constexpr char Exempt[] = "11-11-11-11-11-11";

class ClientListTest : public DatabaseTest {
  protected:
    Names Listed() const {
        Names names;
        for (ClientEntry* entry = list; entry != nullptr; entry = entry->next) {
            char text[HardwareTextSize] = {};
            ConvertHardwareAddress(entry->packet.chaddr, text, entry->packet.hlen);
            names.push_back(text);
        }
        return names;
    }

    void Discard() {
        for (ClientEntry* entry = list; entry != nullptr; entry = entry->next)
            CloseHandle(entry->mutex);
        list = nullptr;
        reported.clear();
    }
};

std::string Client(const std::string& name) {
    return "[" + name + "]\nHost Name=h\n";
}

TEST_F(ClientListTest, Sections) {
    const std::string head = "[Options]\nHost Name=12,string\nTimes=13,time\nLength=-3,byte\n";
    const std::string one = Client("00-01"), two = Client("00-02"), three = Client("00-03");
    const std::string stray = "[stray]\na=1\n", exempt = Client(Exempt);
    const std::string other = "22-22-22-22-22-22", malformed = "[00-02]\nTimes=1:30\n";
    const struct {
        std::string sections;
        DWORD cacheSize, result;
        Names listed, reported;
        DWORD cacheLeft;
        DWORD beyondCache = 0;
    } cases[] = {
        {"", 5, DatabaseCorrupt, {}, {}, 5},
        {"[00-01]\n", 5, DatabaseCorrupt, {}, {"00-01"}, 5},
        {one + exempt + two + three + "[Template:a]\n" + one,
         2,
         DatabaseOk,
         {"00-01", Exempt, "00-02"},
         {},
         0,
         2},
        {Client(other) + one + exempt, 1, DatabaseOk, {other, "00-01"}, {}, 0, 1},
        {one + two, 0, DatabaseOk, {"00-01", "00-02"}, {}, 0xFFFFFFFF},
        {exempt + two, 0xFFFFFFFF, DatabaseOk, {Exempt, "00-02"}, {}, 0xFFFFFFFF},
        {one + stray + two, 1, DatabaseOk, {"00-01"}, {}, 0, 2},
        {one + stray + two, 3, DatabaseCorrupt, {"00-01"}, {}, 2},
        {stray + two, 1, DatabaseCorrupt, {}, {}, 1},
        {"[options]\na=1,byte\n" + two, 1, DatabaseCorrupt, {}, {}, 1},
        {"[Options2]\n[Template:x-y]\n[File Aliases-]\n" + two, 4, DatabaseOk, {"00-02"}, {}, 3},
        {Client("my-client") + Client("00-A2"), 4, DatabaseOk, {"00-a2"}, {"my-client"}, 3},
        {one + malformed + three, 4, DatabaseOk, {"00-01", "00-03"}, {"00-02"}, 2},
        {"[00-01]\nLength=9\n", 4, DatabaseOk, {"00-01"}, {}, 3},
        {one + one, 4, DatabaseOk, {"00-01", "00-01"}, {}, 2},
        {Client("a-") + Client("-") + Client("0-1") + one, 4, DatabaseOk, {"00-01"}, {"a-", "-", "0-1"}, 3},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.sections);
        WriteBootptab(head + expected.sections);
        total = 0;
        EXPECT_EQ(Load(expected.cacheSize), expected.result);
        EXPECT_EQ(Listed(), expected.listed);
        EXPECT_EQ(reported, expected.reported);
        EXPECT_EQ(cacheLeft, expected.cacheLeft);
        EXPECT_EQ(total, 332 * (expected.listed.size() + expected.reported.size())) << "the blocks of both";
        if (expected.result == DatabaseOk) {
            const LoadCounts& counts = list->index->counts;
            EXPECT_EQ(counts.listed, expected.listed.size());
            EXPECT_EQ(counts.malformed, expected.reported.size());
            EXPECT_EQ(counts.beyondCache, expected.beyondCache);
            EXPECT_EQ(counts.cacheBytes, total);
        }
        Discard();
    }
}

TEST_F(ClientListTest, LastAnswersAreCarriedToTheNextList) {
    const auto load = [&](const std::string& clients) {
        WriteBootptab("[Options]\nHost Name=12,string\n" + clients);
        EXPECT_EQ(Load(), DatabaseOk);
        return list;
    };
    ClientEntry* const former = load(Client("00-01") + Client("00-02") + Client("00-03") + Client("00-04"));
    NoteLastAnswer(former, 0x123456789A, 2, 3);
    NoteLastAnswer(former->next, 7, 1, 1);
    NoteLastAnswer(former->next->next, 8, 1, 1);
    ClientEntry* const next = load(Client("00-03") + Client("00-01") + Client("00-05") + Client("00-04"));
    NoteLastAnswer(next, 9, 4, 2);
    CarryLastAnswers(former, next);
    CarryLastAnswers(nullptr, next);
    std::vector<std::tuple<std::int64_t, int, int>> answers;
    for (const ClientEntry* entry = next; entry != nullptr; entry = entry->next) {
        const LastAnswer answer = LastAnswerOf(entry);
        answers.emplace_back(answer.time, answer.kind, answer.route);
    }
    const decltype(answers) due = {{9, 4, 2}, {0x123456789A, 2, 3}, {0, 0, 0}, {0, 0, 0}};
    EXPECT_EQ(answers, due) << "the newer one stays, an other client's is nobody's";
    for (const ClientEntry* entry = former; entry != nullptr; entry = entry->next)
        CloseHandle(entry->mutex);
}

// A load reads templates and aliases once, and keeps fewer than these; each is asked for twice. Every entry
// is what a build of its own makes of the file.
TEST_F(ClientListTest, LoadedEntriesAreThoseOfSingleBuilds) {
    constexpr int Many = 3000;
    std::string templates = "[Options]\nHost Name=12,string\nBoot File=-1,string\nTimes=13,time\n";
    std::string clients;
    std::string aliases = "[File Aliases]\n";
    for (int at = 0; at < 2 * Many; ++at) {
        const std::string number = std::to_string(at % Many);
        char address[16];
        wsprintfA(address, "02-%02x-%02x", at / 256, at % 256);
        clients += "[" + std::string(address) + "]\nTemplate=" + number + "\n";
        if (at % 5 == 0) clients += "Times=1:00:00\nHost Name=h\nBoot File=7\n";
        if (at >= Many) continue;
        templates += "[Template:" + number + "]\nHost Name=host" + number + "\nBoot File=" + number + "\n";
        if (at % 2 == 0) aliases += number + "=alias" + number + "\n";
    }
    WriteBootptab(templates + aliases + clients);
    ASSERT_EQ(Load(), DatabaseOk);
    EXPECT_EQ(total, 2 * Many * 332u);
    int at = 0;
    for (const ClientEntry* entry = list; entry != nullptr; entry = entry->next, ++at) {
        EXPECT_EQ(entry->hits, 0u);
        EXPECT_NE(entry->stamp.wYear, 0u);
        ASSERT_EQ(WaitForSingleObject(entry->mutex, 0), WAIT_OBJECT_0);
        ReleaseMutex(entry->mutex);
        const std::string number = std::to_string(at % Many);
        if (at % 5 != 0) {
            ASSERT_EQ(entry->packet.file, (at % 2 == 0 ? "alias" : "") + number);
        }
        if (at % 50 > 1) continue;
        DWORD status = 99;
        const BootPacket& image = entry->packet;
        const ClientEntry* single = Build({image.chaddr, image.chaddr + image.hlen}, &status);
        ASSERT_NE(single, nullptr);
        ASSERT_EQ(std::memcmp(&image, &single->packet, sizeof(BootPacket) + 60), 0) << number;
        ASSERT_EQ(entry->templateCapacity, single->templateCapacity);
    }
    EXPECT_EQ(at, 2 * Many);
}

TEST_F(ClientListTest, ALoadKeepsNoMoreTextsThanItMay) {
    WriteBootptab("[Options]\nHost Name=12,string\n");
    SharedSections shared(heap);
    for (int at = 0; at < 6000; ++at)
        RecallTemplate(&shared.memo, ("Template:" + std::to_string(at)).c_str(), &shared.buffers.ofTemplate,
                       catalogue.data(), path.c_str());
    EXPECT_LE(shared.memo.templates.size(), 4096u);
    for (int at = 0; at < 6000; ++at)
        RecallAlias(&shared.memo, std::to_string(at).c_str(), path.c_str());
    EXPECT_LE(shared.memo.templates.size() + shared.memo.aliases.size(), 4096u);
}

// The file is edited where the load reports a section, and the load goes on a moment later.
TEST_F(ClientListTest, AnEditInTheMidstOfALoadShowsInWhatFollows) {
    static std::filesystem::path file;
    static std::string edited;
    const auto bootptab = [](const char* host) {
        const std::string client = std::string("]\nHost Name=") + host + "\n";
        return "[Options]\nHost Name=12,string\n[00-01" + client + "[00-02]\n[00-03" + client;
    };
    file = path;
    edited = bootptab("new");
    WriteBootptab(bootptab("old"));
    const auto report = [](const char*) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << edited;
        Sleep(50);
        return 0;
    };
    DWORD cacheSize = 0;
    ASSERT_EQ(LoadClientDatabase(0, heap, path.c_str(), &total, &list, &cacheSize, catalogue.data(), report),
              DatabaseOk);
    ASSERT_EQ(Listed(), (Names{"00-01", "00-03"}));
    EXPECT_EQ(TemplateOf(list), (Bytes{12, 3, 'o', 'l', 'd', 255}));
    EXPECT_EQ(TemplateOf(list->next), (Bytes{12, 3, 'n', 'e', 'w', 255}));
}

}  // namespace
