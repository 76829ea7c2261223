// The content of one INI file: its text in one block, and where the sections are. Within the layer only.
//
// Headings are found when it is made, keys when they are asked for. Any number of threads may read one
// object.
#pragma once

#include <array>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/linux/ini/ini_line.h"
#include "platform/linux/ini/name_index.h"
#include "platform/linux/system/whole_file.h"

// The keys of a section with many lines, indexed by name.
class SectionKeys {
  public:
    explicit SectionKeys(std::string_view body);
    std::optional<std::string_view> FindValue(std::string_view name) const;

  private:
    std::optional<IniKey> KeyAt(std::uint32_t offset) const;

    std::string_view body_;
    NameIndex index_;
};

class ParsedIni {
  public:
    // Throws std::bad_alloc.
    explicit ParsedIni(FileText bytes);

    // The first value of that name in the first section of that name. The text belongs to this object.
    std::optional<std::string_view> FindValue(std::string_view section, std::string_view key) const;

    // Calls `visit(name)` for each section, in file order, until it returns false. One without a name isn't
    // shown, and none of its keys is found.
    template <class Visit>
    void ForEachSection(Visit visit) const {
        for (const Section& section : sections_) {
            const std::string_view name = Name(section);
            if (!name.empty() && !visit(name)) return;
        }
    }

    // Calls `visit(name)` for each key of the first section of that name, in file order, until it returns
    // false.
    template <class Visit>
    void ForEachKey(std::string_view section, Visit visit) const {
        std::string_view rest = FindBody(section).body;
        while (!rest.empty()) {
            const std::optional<IniKey> key = ParseKey(TakeLine(rest));
            if (key && !visit(key->name)) return;
        }
    }

    // The keys of the first section of that name, in file order. False for a section so large that its index
    // is faster. Throws std::bad_alloc.
    bool ListKeys(std::string_view section, std::vector<IniKey>& keys) const;

    // No other content of any file has had the same.
    std::uint64_t Number() const { return number_; }

    // What is left of the file's bytes; the same, unless it was in UTF-16 or had NULs or lone returns in it.
    std::string_view Text() const { return text_.View(); }

  private:
    struct Section {
        std::size_t nameBegin;
        std::size_t nameEnd;
        std::size_t bodyBegin;
        std::size_t bodyEnd;
    };
    struct Body {
        std::uint32_t section;
        std::string_view body;
    };
    struct IndexedSection {
        std::uint32_t section = NameIndex::None;
        std::shared_ptr<const SectionKeys> keys;
    };

    std::string_view Name(const Section& section) const;
    void FindSections();
    void IndexSections();
    Body FindBody(std::string_view section) const;
    std::shared_ptr<const SectionKeys> KeysOf(const Body& body) const;

    static std::uint64_t NextNumber();

    const std::uint64_t number_ = NextNumber();
    FileText text_;
    std::vector<Section> sections_;
    NameIndex index_;

    // The large sections that were asked for last. One after the other is what a load reads.
    mutable std::mutex indexedMutex_;
    mutable std::array<IndexedSection, 8> indexed_;
    mutable std::size_t nextIndexed_ = 0;
};
