#include "platform/linux/instance/home.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace {

struct Place {
    const char* name;        // in a home of its own
    const char* systemPath;  // without one
};

constexpr std::array<Place, 6> Places = {{
    {"", "/var/lib/quillon"},
    {"registry.reg", "/etc/quillon/registry.reg"},
    {"services", "/var/lib/quillon/services"},
    {"events.log", "/var/lib/quillon/events.log"},
    {"control", "/run/quillon/control"},
    {"systemd", "/etc/systemd/system"},
}};

// A service changes its working directory after the start; a relative home must not move with it.
std::filesystem::path CurrentFolder() {
    std::error_code failure;
    return std::filesystem::current_path(failure);
}

const std::filesystem::path StartFolder = CurrentFolder();

const char* OwnHome() {
    const char* home = std::getenv("QUILLON_HOME");
    return home != nullptr && *home != '\0' ? home : nullptr;
}

}  // namespace

bool HasOwnHome() {
    return OwnHome() != nullptr;
}

std::string PathOf(HomePlace place) {
    const Place& wanted = Places.at(static_cast<std::size_t>(place));
    const char* home = OwnHome();
    if (home == nullptr) return wanted.systemPath;
    const std::filesystem::path folder = (StartFolder / home).lexically_normal();
    return *wanted.name == '\0' ? folder.string() : (folder / wanted.name).string();
}

std::string NativePath(const char* path) {
    std::string native = path != nullptr ? path : "";
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}
