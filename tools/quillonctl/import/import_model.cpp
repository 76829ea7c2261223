#include "quillonctl/import/import_model.h"

#include <algorithm>

#include "quillonctl/text/text_pieces.h"

namespace quillonctl {

void SettingList::Put(Setting setting) {
    const auto found = std::ranges::find(settings_, setting.tag, &Setting::tag);
    if (found != settings_.end())
        *found = std::move(setting);
    else
        settings_.push_back(std::move(setting));
}

void SettingList::PutAll(const SettingList& narrower) {
    for (const Setting& setting : narrower.settings_)
        Put(setting);
}

const Setting* SettingList::Find(int tag) const {
    const auto found = std::ranges::find(settings_, tag, &Setting::tag);
    return found != settings_.end() ? &*found : nullptr;
}

void SettingList::Remove(int tag) {
    std::erase_if(settings_, [tag](const Setting& setting) { return setting.tag == tag; });
}

std::size_t Import::Template(const std::string& name, const SettingList& settings) {
    std::string heading(Trimmed(name));
    std::ranges::replace_if(
        heading, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\''; }, '_');
    for (std::size_t number = 1;; ++number) {
        const std::string unique = number == 1 ? heading : heading + " (" + std::to_string(number) + ")";
        const auto [place, isNew] = templateByName_.try_emplace(Lower(unique), templates_.size());
        if (isNew) templates_.push_back({unique, settings});
        if (templates_[place->second].settings == settings) return place->second;
    }
}

void Import::Add(ImportedHost host) {
    const auto [place, isNew] = lineBySection_.try_emplace(host.section, host.line);
    if (!isNew) {
        Drop(host.line, "hardware address " + host.section + " stands in line " +
                            std::to_string(place->second) + " already; one client has one address here");
        return;
    }
    hosts_.push_back(std::move(host));
}

std::vector<Dropped> Import::AllDropped() const {
    std::vector<Dropped> sorted = dropped_;
    std::ranges::stable_sort(sorted, {}, &Dropped::line);
    const auto isTwin = [](const Dropped& one, const Dropped& other) {
        return one.line == other.line && one.text == other.text;
    };
    sorted.erase(std::unique(sorted.begin(), sorted.end(), isTwin), sorted.end());
    return sorted;
}

HostAddresses ParseHosts(const std::string& text) {
    HostAddresses addresses;
    for (const std::string_view line : Lines(text)) {
        const std::vector<std::string> words = Words(line.substr(0, line.find('#')));
        if (words.empty() || !AddressNumber(words[0])) continue;
        for (std::size_t at = 1; at < words.size(); ++at)
            addresses.try_emplace(Lower(words[at]), words[0]);
    }
    return addresses;
}

}  // namespace quillonctl
