// What the INI reader costs: a file that is new to it, and single questions about one that it knows.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/held_ini_file.h"
#include "platform/windows_api.h"

namespace {

constexpr std::chrono::milliseconds UntilSettled{
    100};  // a file that has just been written is read every time

std::string SectionName(std::int64_t number) {
    char name[32];
    std::snprintf(name, sizeof name, "02-00-00-%02x-%02x-%02x", static_cast<unsigned>(number >> 16 & 255),
                  static_cast<unsigned>(number >> 8 & 255), static_cast<unsigned>(number & 255));
    return name;
}

// A file of clients that goes with its object.
class SampleFile {
  public:
    explicit SampleFile(std::int64_t sections)
        : path_((std::filesystem::temp_directory_path() / ("quillon-ini-bench-" + std::to_string(sections)))
                    .string()) {
        std::ofstream file(path_, std::ios::binary | std::ios::trunc);
        for (std::int64_t number = 0; number < sections; ++number)
            file << '[' << SectionName(number) << "]\nTemplate = lab\nIP Address = 10.0.0.1\nHost Name = host"
                 << number << "\nName Servers = 10.255.0.2,10.255.0.3\n";
        file.close();
        std::this_thread::sleep_for(UntilSettled);
    }
    ~SampleFile() { std::filesystem::remove(path_); }
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;

    const char* path() const { return path_.c_str(); }

    // Another time makes it another file for whoever keeps what was read.
    void Touch() {
        std::filesystem::last_write_time(path_,
                                         std::filesystem::last_write_time(path_) - std::chrono::seconds(1));
    }

  private:
    std::string path_;
};

DWORD ReadHostName(const SampleFile& file, const std::string& section) {
    char value[100];
    return GetPrivateProfileStringA(section.c_str(), "Host Name", "", value, sizeof value, file.path());
}

void BM_IniFileRead(benchmark::State& state) {
    SampleFile file(state.range(0));
    const std::string last = SectionName(state.range(0) - 1);
    for (auto _ : state) {
        file.Touch();
        if (ReadHostName(file, last) == 0) state.SkipWithError("no value");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_IniFileRead)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);

void BM_IniValue(benchmark::State& state) {
    const SampleFile file(state.range(0));
    std::mt19937 random(1);
    std::vector<std::string> sections(4096);
    for (std::string& section : sections)
        section = SectionName(static_cast<std::int64_t>(random()) % state.range(0));
    std::size_t at = 0;
    for (auto _ : state) {
        if (ReadHostName(file, sections[at++ % sections.size()]) == 0) state.SkipWithError("no value");
    }
}
BENCHMARK(BM_IniValue)->RangeMultiplier(10)->Range(100, 100000);

// As in a load, which asks for several texts of a section in a row.
void BM_IniValueInSeries(benchmark::State& state) {
    const SampleFile file(1000);
    const std::string section = SectionName(500);
    const HeldIniFile series;
    for (auto _ : state) {
        if (ReadHostName(file, section) == 0) state.SkipWithError("no value");
    }
}
BENCHMARK(BM_IniValueInSeries);

void BM_IniKeyNames(benchmark::State& state) {
    const SampleFile file(1000);
    const std::string section = SectionName(500);
    char names[1000];
    for (auto _ : state) {
        if (GetPrivateProfileStringA(section.c_str(), nullptr, "", names, sizeof names, file.path()) == 0)
            state.SkipWithError("no keys");
    }
}
BENCHMARK(BM_IniKeyNames);

}  // namespace
