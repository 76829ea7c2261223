#include "platform/linux/ini/ini_reading.h"

#include <time.h>

#include <new>
#include <string>

#include "platform/linux/faces/types.h"
#include "platform/linux/ini/ini_cache.h"
#include "platform/linux/system/ascii_case.h"

namespace {

// The clock that costs least. It moves in ticks of one to ten milliseconds.
timespec Tick() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now;
}

// The section that was asked for last, taken apart.
class LastSection {
  public:
    // Null for a section that is too large.
    const std::vector<IniKey>* KeysOf(const ParsedIni& ini, std::string_view name) {
        if (!isKnown_ || name_ != name) {
            isKnown_ = false;
            name_ = name;
            isSmall_ = ini.ListKeys(name, keys_);
            isKnown_ = true;
        }
        return isSmall_ ? &keys_ : nullptr;
    }

    // The keys are views of the content.
    void Forget() { isKnown_ = false; }

  private:
    std::string name_;
    std::vector<IniKey> keys_;
    bool isSmall_ = false;
    bool isKnown_ = false;
};

// A thread's series: what it reads within one tick of the clock comes from one look.
class Series {
  public:
    const ParsedIni* Open(const char* path) {
        const timespec now = Tick();
        if (content_ != nullptr && IsSameTick(now) && path_ == path) return content_.get();
        content_ = nullptr;  // not held while a new one may be read
        section_.Forget();
        tick_ = now;
        path_ = path;
        content_ = OpenIni(path);
        return content_.get();
    }

    const std::vector<IniKey>* KeysOf(std::string_view section) {
        return section_.KeysOf(*content_, section);
    }

    int depth = 1;

  private:
    bool IsSameTick(const timespec& now) const {
        return now.tv_nsec == tick_.tv_nsec && now.tv_sec == tick_.tv_sec;
    }

    std::string path_;
    std::shared_ptr<const ParsedIni> content_;
    timespec tick_{};
    LastSection section_;
};

thread_local Series* series = nullptr;
constinit thread_local unsigned missed = 0;  // operations without memory; wraps

}  // namespace

// Without memory for a series each operation looks for itself.
HeldIniFile::HeldIniFile() : missedBefore_(missed) {
    if (series != nullptr) {
        ++series->depth;
    } else {
        series = new (std::nothrow) Series;
    }
}

HeldIniFile::~HeldIniFile() {
    if (series == nullptr || --series->depth > 0) return;
    delete series;
    series = nullptr;
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
