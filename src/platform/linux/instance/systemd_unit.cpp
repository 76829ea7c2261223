#include "platform/linux/instance/systemd_unit.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/linux/instance/home.h"
#include "platform/linux/system/ascii_case.h"
#include "platform/stop_bounds.h"

namespace {

// No root: the service gets the three capabilities that it needs, and a user of its own. There is no limit of
// starts: an address that it is to listen on may come at any time.
constexpr char Body[] = R"([Unit]
Description=@DESCRIPTION@
Wants=network-online.target
After=network-online.target
StartLimitIntervalSec=0

[Service]
Type=notify
NotifyAccess=main
@CHECK@ExecStart=@EXECUTABLE@
ExecReload=@TOOL@ reload
Restart=on-failure
RestartSec=5
TimeoutStopSec=@STOPSECONDS@
@INSTANCE@
UMask=0027

AmbientCapabilities=CAP_NET_BIND_SERVICE CAP_NET_RAW CAP_NET_ADMIN
CapabilityBoundingSet=CAP_NET_BIND_SERVICE CAP_NET_RAW CAP_NET_ADMIN
NoNewPrivileges=yes
ProtectSystem=strict
ProtectHome=@PROTECTHOME@
PrivateTmp=yes
PrivateDevices=yes
DevicePolicy=closed
ProtectClock=yes
ProtectControlGroups=yes
ProtectHostname=yes
ProtectKernelLogs=yes
ProtectKernelModules=yes
ProtectKernelTunables=yes
ProtectProc=invisible
ProcSubset=pid
LockPersonality=yes
MemoryDenyWriteExecute=yes
RemoveIPC=yes
RestrictAddressFamilies=AF_INET AF_NETLINK AF_UNIX
RestrictNamespaces=yes
RestrictRealtime=yes
RestrictSUIDSGID=yes
KeyringMode=private
SystemCallArchitectures=native
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources
SystemCallErrorNumber=EPERM

[Install]
WantedBy=multi-user.target
)";

constexpr char SystemInstance[] = R"(WorkingDirectory=/var/lib/quillon
DynamicUser=yes
User=quillon
StateDirectory=quillon
StateDirectoryMode=0750
ConfigurationDirectory=quillon
RuntimeDirectory=quillon)";

// The home may lie where the rest of the sandbox hides everything, so it is mounted into it.
constexpr char OwnInstance[] = R"(WorkingDirectory=@HOME@
Environment=@HOMESETTING@
User=@USER@
BindPaths=@HOMEMOUNT@
ReadWritePaths=@HOMEMOUNT@)";

void Replace(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

using Values = std::initializer_list<std::pair<std::string_view, std::string>>;

// Puts the values in the places of their marks, @NAME@. What is in a value is never taken for a mark.
std::string FillIn(std::string_view text, const Values& values) {
    std::string filled;
    while (!text.empty()) {
        const auto* value =
            std::ranges::find_if(values, [&](const auto& row) { return text.starts_with(row.first); });
        const bool isMark = value != values.end();
        filled += isMark ? std::string_view(value->second) : text.substr(0, 1);
        text.remove_prefix(isMark ? value->first.size() : 1);
    }
    return filled;
}

bool IsWritable(const std::string& text) {
    return std::ranges::none_of(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

std::string WithoutSpecifiers(std::string text) {
    Replace(text, "%", "%%");
    return text;
}

std::string Quoted(const std::string& text) {
    std::string quoted = WithoutSpecifiers(text);
    Replace(quoted, "\\", "\\\\");
    Replace(quoted, "\"", "\\\"");
    return "\"" + quoted + "\"";
}

// A word of a command line, where a dollar sign begins a variable as well.
std::string CommandWord(const std::string& text) {
    static constexpr char Plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+";
    if (text.find_first_not_of(Plain) == std::string::npos) return text;
    std::string word = Quoted(text);
    Replace(word, "$", "$$");
    return word;
}

// A path in a list of paths; a colon would part source and target of a mount.
std::string ListedPath(const std::string& text) {
    std::string path = text;
    Replace(path, ":", "\\:");
    return Quoted(path);
}

bool LiesAmongHomes(const std::string& path) {
    return std::ranges::any_of(std::initializer_list<const char*>{"/home/", "/root/", "/run/user/"},
                               [&](const char* folder) { return path.starts_with(folder); });
}

// What would refuse the start is said ahead of it. A tool that is only a name may not be there, and must not
// keep the service from starting.
std::string CheckLine(const std::string& tool) {
    return tool.starts_with('/') ? "ExecStartPre=" + CommandWord(tool) + " check --refusals\n" : "";
}

std::string FindTool(const std::string& executable) {
    const std::string folders[] = {std::filesystem::path(executable).parent_path().string(), "/usr/local/bin",
                                   "/usr/bin", "/usr/local/sbin", "/usr/sbin"};
    for (const std::string& folder : folders)
        if (const std::string tool = folder + "/quillonctl"; ::access(tool.c_str(), X_OK) == 0) return tool;
    return "quillonctl";
}

std::string OwnerOf(const std::string& folder) {
    struct stat found {};
    if (::stat(folder.c_str(), &found) != 0) found.st_uid = ::geteuid();
    passwd entry{};
    passwd* result = nullptr;
    char texts[4096];
    if (::getpwuid_r(found.st_uid, &entry, texts, sizeof texts, &result) == 0 && result != nullptr)
        return entry.pw_name;
    return std::to_string(found.st_uid);
}

}  // namespace

UnitSettings SettingsHere(const std::string& description, const std::string& executable) {
    UnitSettings settings;
    settings.description = description;
    settings.executable = executable;
    settings.controlTool = FindTool(executable);
    settings.readsHomes = LiesAmongHomes(executable) || LiesAmongHomes(settings.controlTool);
    if (HasOwnHome()) {
        settings.home = PathOf(HomePlace::Folder);
        settings.user = OwnerOf(settings.home);
    }
    return settings;
}

std::optional<std::string> UnitText(const UnitSettings& settings) {
    for (const std::string* text :
         {&settings.description, &settings.executable, &settings.controlTool, &settings.home, &settings.user})
        if (!IsWritable(*text)) return std::nullopt;
    const bool hasHome = !settings.home.empty();
    if (!settings.executable.starts_with('/') || (hasHome && !settings.home.starts_with('/')))
        return std::nullopt;

    const std::string instance = FillIn(hasHome ? OwnInstance : SystemInstance,
                                        {{"@HOME@", WithoutSpecifiers(settings.home)},
                                         {"@HOMESETTING@", Quoted("QUILLON_HOME=" + settings.home)},
                                         {"@HOMEMOUNT@", ListedPath(settings.home)},
                                         {"@USER@", WithoutSpecifiers(settings.user)}});
    return FillIn(Body, {{"@INSTANCE@", instance},
                         {"@PROTECTHOME@", settings.readsHomes ? "read-only" : "yes"},
                         {"@CHECK@", CheckLine(settings.controlTool)},
                         {"@EXECUTABLE@", CommandWord(settings.executable)},
                         {"@TOOL@", CommandWord(settings.controlTool)},
                         {"@STOPSECONDS@", std::to_string(UnitStopSeconds)},
                         {"@DESCRIPTION@", WithoutSpecifiers(settings.description)}});
}

std::optional<std::string> UnitName(const std::string& service) {
    static constexpr char Allowed[] = "abcdefghijklmnopqrstuvwxyz0123456789._-";
    std::string name = service;
    std::ranges::transform(name, name.begin(), FoldCase);
    if (name.empty() || name.size() > 200 || name.find_first_not_of(Allowed) != std::string::npos)
        return std::nullopt;
    return name + ".service";
}
