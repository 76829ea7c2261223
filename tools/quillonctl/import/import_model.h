// What an import consists of between the file that it comes from and the bootptab that it becomes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quillonctl/import/option_names.h"

namespace quillonctl {

// One key with its value, as bootptab has it. A setting without a value takes away what a wider scope gives.
struct Setting {
    int tag = 0;
    Shape shape = Shape::Text;
    std::optional<std::string> value;

    bool operator==(const Setting&) const = default;
};

// Settings in the order in which they came, one for each tag.
class SettingList {
  public:
    // Takes the place of an earlier one of the same tag.
    void Put(Setting setting);
    void PutAll(const SettingList& narrower);
    const Setting* Find(int tag) const;
    bool Has(int tag) const { return Find(tag) != nullptr; }
    void Remove(int tag);

    const std::vector<Setting>& All() const { return settings_; }
    bool operator==(const SettingList&) const = default;

  private:
    std::vector<Setting> settings_;
};

struct ImportedTemplate {
    std::string name;
    SettingList settings;
};

struct ImportedHost {
    std::string section;  // the hardware address, with hyphens
    std::string name;     // what the file calls it, for complaints
    int line = 0;
    std::optional<std::size_t> templateIndex;
    SettingList settings;
};

// Something that the file has and bootptab won't.
struct Dropped {
    int line = 0;
    std::string text;
};

// One file's import. Templates and hosts stand in the order of the file.
class Import {
  public:
    void Drop(int line, std::string text) { dropped_.push_back({line, std::move(text)}); }

    // The place of the template with this name and these settings, made if there is none yet. A name that
    // other settings have already gets a number, and what a heading can't have is replaced.
    std::size_t Template(const std::string& name, const SettingList& settings);

    // A host whose hardware address is there already is dropped.
    void Add(ImportedHost host);

    const std::vector<ImportedTemplate>& Templates() const { return templates_; }
    const std::vector<ImportedHost>& Hosts() const { return hosts_; }
    // By line, each once.
    std::vector<Dropped> AllDropped() const;

  private:
    std::vector<ImportedTemplate> templates_;
    std::map<std::string, std::size_t> templateByName_;
    std::vector<ImportedHost> hosts_;
    std::map<std::string, int> lineBySection_;
    std::vector<Dropped> dropped_;
};

// Addresses of names, as in /etc/hosts. Names compare without case.
using HostAddresses = std::map<std::string, std::string>;
HostAddresses ParseHosts(const std::string& text);

}  // namespace quillonctl
