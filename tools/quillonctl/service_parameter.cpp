#include "quillonctl/service_parameter.h"

#include "platform/linux/faces/registry.h"
#include "platform/linux/instance/home.h"

namespace quillonctl {
namespace {

constexpr char ParametersKey[] = "SYSTEM\\CurrentControlSet\\Services\\Quillon\\Parameters";
constexpr char UsualName[] = ".\\bootptab";

std::string Expanded(const std::string& text) {
    char expanded[260] = "";
    const DWORD size = ExpandEnvironmentStringsA(text.c_str(), expanded, sizeof expanded);
    return size != 0 && size <= sizeof expanded ? expanded : text;
}

}  // namespace

std::string TextParameter(const char* name) {
    char text[261] = "";  // what the service takes has 260 with its NUL, if it has one
    DWORD size = sizeof text - 1;
    HKEY key = nullptr;
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, ParametersKey, &key) != 0) return "";
    const LONG result = RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(key);
    return result == 0 ? text : "";
}

std::string DatabasePath() {
    const std::string configured = TextParameter("DatabasePath");
    std::string path = NativePath(Expanded(configured.empty() ? UsualName : configured).c_str());
    while (path.starts_with("./"))
        path.erase(0, 2);
    return path.starts_with('/') ? path : PathOf(HomePlace::Folder) + "/" + path;
}

}  // namespace quillonctl
