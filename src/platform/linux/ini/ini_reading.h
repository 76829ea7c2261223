// The file that one INI operation reads. Within the layer only.
#pragma once

#include <memory>

#include "platform/held_ini_file.h"
#include "platform/linux/ini/parsed_ini.h"

// Notes for HeldIniFile that an operation of the calling thread can't look into its file.
void NoteMissedMemory();

// Stands at the head of an operation, whose thread alone uses it. An edit that was complete before the
// operation is in what it reads, unless the operation belongs to a series.
class IniReading {
  public:
    explicit IniReading(const char* path);
    IniReading(const IniReading&) = delete;
    IniReading& operator=(const IniReading&) = delete;

    // Null if the file can't be read; the last error says why.
    const ParsedIni* Content() const { return content_; }

    // As those of the content, which isn't null.
    std::optional<std::string_view> FindValue(std::string_view section, std::string_view key) const;
    template <class Visit>
    void ForEachKey(std::string_view section, Visit visit) const {
        const std::vector<IniKey>* keys = KnownKeys(section);
        if (keys == nullptr) return content_->ForEachKey(section, visit);
        for (const IniKey& key : *keys) {
            if (!visit(key.name)) return;
        }
    }

  private:
    // The keys of the section if they are at hand, as in a series, which asks for one after the other.
    const std::vector<IniKey>* KnownKeys(std::string_view section) const;

    std::shared_ptr<const ParsedIni> held_;  // outside a series
    const ParsedIni* content_ = nullptr;
};
