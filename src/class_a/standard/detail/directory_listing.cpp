#include <ace/OS_NS_dirent.h>
#include <ace/OS_NS_stdlib.h>

#include <memory>

#include "class_a/standard/detail/system_files.h"

namespace ksl {

namespace {

struct Freed {
    void operator()(void* block) const { ACE_OS::free(block); }
};

}  // namespace

bool list_directory(const std::string& path, std::vector<std::string>& names) {
    ACE_DIRENT** entries = nullptr;
    const int count = ACE_OS::scandir(path.c_str(), &entries, nullptr, nullptr);
    if (count < 0) return false;

    // Everything gets an owner before anything can throw.
    const std::unique_ptr<ACE_DIRENT*, Freed> list(entries);
    const auto release = [count](ACE_DIRENT** each) {
        for (int i = 0; i < count; ++i)
            ACE_OS::free(each[i]);
    };
    const std::unique_ptr<ACE_DIRENT*, decltype(release)> blocks(entries, release);

    names.clear();
    for (int i = 0; i < count; ++i)
        names.emplace_back(entries[i]->d_name);
    return true;
}

}  // namespace ksl
