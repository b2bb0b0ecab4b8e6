#include "platform/posix/standard_folders.h"

#include <pwd.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/posix/native.h"
#include "platform/process.h"

namespace rampart::platform {
namespace {

std::string HomeFolder() {
    std::string home = EnvironmentVariable("HOME");
    if (home.starts_with('/')) {
        return home;
    }
    char buffer[4096];
    passwd entry;
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr) {
        return found->pw_dir;
    }
    return "/";
}

// A relative path of the variable counts from the working folder. Empty if it is not set.
std::string FolderVariable(const char* name) {
    const std::string value = EnvironmentVariable(name);
    std::error_code error;
    return value.empty() ? value : std::filesystem::absolute(value, error).lexically_normal().string();
}

// Variables of the desktop count only if they are absolute.
std::string DesktopFolder(const char* name, const char* underHome) {
    const std::string value = EnvironmentVariable(name);
    return value.starts_with('/') ? value : HomeFolder() + underHome;
}

// A link is none: it leads where somebody else may have put it.
bool IsOwnFolder(const std::string& path, mode_t rightsOfOthers) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & rightsOfOthers) == 0;
}

bool IsPrivateFolder(const std::string& path) {
    return IsOwnFolder(path, S_IWGRP | S_IWOTH);
}

// Empty where it cannot be had. One that others could write to may hold what they put there.
std::string WithFolder(const std::string& path) {
    MakeFolders(std::filesystem::path(path).parent_path().string());
    if (mkdir(path.c_str(), S_IRWXU) != 0 && IsPrivateFolder(path)) {
        chmod(path.c_str(), S_IRWXU);
    }
    return IsOwnFolder(path, S_IRWXG | S_IRWXO) ? path : std::string();
}

}  // namespace

std::string NativeDataFolder() {
    const std::string home = FolderVariable("RAMPART_HOME");
    return !home.empty() ? home + "/data" : DesktopFolder("XDG_DATA_HOME", "/.local/share");
}

std::string RuntimeFolder() {
    if (const std::string home = FolderVariable("RAMPART_HOME"); !home.empty()) {
        return WithFolder(home + "/run");
    }
    const std::string user = std::to_string(geteuid());
    // A session of the desktop and a job without one must find the same locks, so the variable counts only
    // where the usual place is missing.
    for (const std::string& session : {"/run/user/" + user, EnvironmentVariable("XDG_RUNTIME_DIR")}) {
        if (geteuid() != 0 && session.starts_with('/') && IsPrivateFolder(session)) {
            return WithFolder(session + "/rampart");
        }
    }
    const std::string shared = WithFolder(geteuid() == 0 ? "/run/rampart" : "/tmp/rampart-" + user);
    // Somebody else may have been there first; what lies below the own data is nobody else's.
    return !shared.empty() ? shared : WithFolder(NativeDataFolder() + "/rampart/run");
}

Text UserDataFolder() {
    return ToEnginePath(NativeDataFolder());
}

Text ConfigurationFolder() {
    std::string folder = FolderVariable("RAMPART_CONFIG");
    if (folder.empty()) {
        const std::string home = FolderVariable("RAMPART_HOME");
        folder = !home.empty() ? home + "/config" : DesktopFolder("XDG_CONFIG_HOME", "/.config") + "/rampart";
    }
    return ToEnginePath(folder);
}

}  // namespace rampart::platform
