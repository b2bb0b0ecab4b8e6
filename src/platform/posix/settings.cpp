#include "platform/settings.h"

#include <fcntl.h>

#include <functional>
#include <map>

#include "platform/file_system.h"
#include "platform/posix/native.h"
#include "platform/posix/standard_folders.h"
#include "platform/settings_text.h"

namespace rampart::platform {
namespace {

std::string SettingsFolder() {
    return NativeDataFolder() + "/rampart";
}

std::string SettingsFile() {
    return SettingsFolder() + "/settings.ini";
}

// A file that is not there yet has no settings; one that cannot be read is a failure, or a change would lose
// them.
bool Load(SettingsSections& sections) {
    std::string text;
    if (!ReadWholeFile(SettingsFile(), text) && errno != ENOENT && errno != ENOTDIR) {
        return FailWithErrno(errno);
    }
    sections = ParseSettings(text);
    return true;
}

// Whole or not at all: a reader finds the old file or the new one, also after a crash.
bool Replace(const std::string& path, std::string_view text) {
    const std::string temporary = path + ".new";
    Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file || WriteFully(file.Get(), 0, text.data(), text.size()) < 0 || fsync(file.Get()) != 0 ||
        rename(temporary.c_str(), path.c_str()) != 0) {
        return FailWithErrno(errno);
    }
    return true;
}

// Changes the values under a lock that all processes take, so that none loses what another wrote.
bool Change(const std::function<bool(SettingsSections&)>& change) {
    MakeFolders(SettingsFolder());
    const auto lock =
        FileHandle::OpenNative(SettingsFolder() + "/settings.lock", kOpenRead | kOpenWrite | kOpenCreate);
    if (!lock || !lock->Lock()) {
        return false;
    }
    SettingsSections sections;
    return Load(sections) && change(sections) && Replace(SettingsFile(), PrintSettings(sections));
}

}  // namespace

bool ReadSetting(TextView section, TextView name, Text& value) {
    SettingsSections sections;
    if (!Load(sections)) {
        return false;
    }
    return FindSetting(sections, section, name, value);
}

bool WriteSetting(TextView section, TextView name, TextView value) {
    return Change([&](SettingsSections& sections) {
        sections[ToUtf8(section)][ToUtf8(name)] = ToUtf8(value);
        return true;
    });
}

bool RemoveSetting(TextView section, TextView name) {
    return Change([&](SettingsSections& sections) {
        const auto values = sections.find(ToUtf8(section));
        if (values == sections.end() || values->second.erase(ToUtf8(name)) == 0) {
            SetLastError(kFileNotFound);
            return false;
        }
        if (values->second.empty()) {
            sections.erase(values);
        }
        return true;
    });
}

}  // namespace rampart::platform
