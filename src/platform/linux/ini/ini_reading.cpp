#include "platform/linux/ini/ini_reading.h"

#include <time.h>

#include <array>
#include <new>
#include <string>
#include <utility>

#include "platform/linux/faces/types.h"
#include "platform/linux/ini/ini_cache.h"
#include "platform/linux/system/ascii_case.h"
#include "platform/linux/system/fetch_count.h"

namespace {

// The clock that costs least. It moves in ticks of one to ten milliseconds.
timespec Tick() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now;
}

// The sections that were asked for last, taken apart: a client's and those that many clients share.
class LastSections {
  public:
    // Null for a section that is too large.
    const std::vector<IniKey>* KeysOf(const ParsedIni& ini, std::string_view name) {
        if (last_->lastUse != 0 && last_->name == name) return Used(*last_);
        Section* oldest = &sections_.front();
        for (Section& section : sections_) {
            if (section.lastUse != 0 && section.name == name) return Used(section);
            if (section.lastUse < oldest->lastUse) oldest = &section;
        }
        oldest->lastUse = 0;
        oldest->name = name;
        oldest->isSmall = ini.ListKeys(name, oldest->keys);
        return Used(*oldest);
    }

    // The keys are views of the content.
    void Forget() {
        for (Section& section : sections_)
            section.lastUse = 0;
    }

  private:
    struct Section {
        std::string name;
        std::vector<IniKey> keys;
        bool isSmall = false;
        std::uint64_t lastUse = 0;  // 0: not known
    };

    const std::vector<IniKey>* Used(Section& section) {
        section.lastUse = ++uses_;
        last_ = &section;
        return section.isSmall ? &section.keys : nullptr;
    }

    std::array<Section, 4> sections_;
    std::uint64_t uses_ = 0;
    Section* last_ = sections_.data();
};

// A thread's series: what it reads within one tick of the clock comes from one look, or all of it does.
class Series {
  public:
    void Begin() {
        isOneLook_ = false;
        since_ = Now;
    }
    void BeginSince(LookTime since) {
        isOneLook_ = true;
        since_ = since;
    }
    void End() { content_ = nullptr; }

    const ParsedIni* Open(const char* path) {
        if (content_ != nullptr && path_.compare(path) == 0 && (isOneLook_ || IsSameTick(Tick())))
            return content_.get();
        content_ = nullptr;  // not held while a new one may be read
        tick_ = Tick();
        path_ = path;
        content_ = OpenIni(path, since_);
        const std::uint64_t number = content_ != nullptr ? content_->Number() : 0;
        if (number != sectionsOf_) sections_.Forget();
        sectionsOf_ = number;
        return content_.get();
    }

    const std::vector<IniKey>* KeysOf(std::string_view section) {
        return sections_.KeysOf(*content_, section);
    }

    int depth = 0;

  private:
    bool IsSameTick(const timespec& now) const {
        return now.tv_nsec == tick_.tv_nsec && now.tv_sec == tick_.tv_sec;
    }

    std::string path_;
    std::shared_ptr<const ParsedIni> content_;
    timespec tick_{};
    bool isOneLook_ = false;
    LookTime since_ = Now;
    LastSections sections_;
    std::uint64_t sectionsOf_ = 0;  // the content's number
};

constinit thread_local Series* series = nullptr;  // while one lasts
constinit thread_local unsigned missed = 0;       // operations without memory; wraps

// What a thread keeps from one series to the next. Null without memory.
Series* OwnSeries() {
    static thread_local std::unique_ptr<Series> own;
    if (own == nullptr) own.reset(new (std::nothrow) Series);
    return own.get();
}

}  // namespace

// Without memory for a series each operation looks for itself.
HeldIniFile::HeldIniFile() : missedBefore_(missed) {
    if (series == nullptr && (series = OwnSeries()) != nullptr) series->Begin();
    if (series != nullptr) ++series->depth;
}

HeldIniFile::HeldIniFile(SinceLastDatagram) : missedBefore_(missed) {
    const std::uint64_t fetch = std::exchange(fetchOfLastDatagram, 0);
    if (series == nullptr && (series = OwnSeries()) != nullptr) series->BeginSince(fetch != 0 ? fetch : Now);
    if (series != nullptr) ++series->depth;
}

HeldIniFile::~HeldIniFile() {
    if (series == nullptr || --series->depth > 0) return;
    series->End();
    series = nullptr;
}

std::uint64_t HeldIniFile::ContentNumber(const char* path) const try {
    const ParsedIni* content = series != nullptr ? series->Open(path) : nullptr;
    return content != nullptr ? content->Number() : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

bool HeldIniFile::HasMissedMemory() const {
    return missed != missedBefore_;
}

void NoteMissedMemory() {
    ++missed;
}

IniReading::IniReading(const char* path) {
    try {
        if (series == nullptr) held_ = OpenIni(path);
        content_ = series == nullptr ? held_.get() : series->Open(path);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
}

const std::vector<IniKey>* IniReading::KnownKeys(std::string_view section) const try {
    return series != nullptr ? series->KeysOf(section) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

std::optional<std::string_view> IniReading::FindValue(std::string_view section, std::string_view key) const {
    const std::vector<IniKey>* keys = KnownKeys(section);
    if (keys == nullptr) return content_->FindValue(section, key);
    for (const IniKey& known : *keys) {
        if (EqualWithoutCase(known.name, key)) return known.value;
    }
    return std::nullopt;
}
