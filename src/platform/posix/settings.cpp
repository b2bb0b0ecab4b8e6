#include "platform/settings.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>
#include <functional>
#include <map>

#include "platform/posix/native.h"
#include "platform/posix/standard_folders.h"

namespace rampart::platform {
namespace {

using Sections = std::map<std::string, std::map<std::string, std::string>>;

// Bytes that the lines of the file use themselves. The others stand for themselves, so that a person can read
// it.
constexpr std::string_view kReserved = "%[]=\r\n";

std::string Escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        if (kReserved.find(byte) != std::string_view::npos || byte == '\0') {
            constexpr char kDigits[] = "0123456789ABCDEF";
            escaped.append({'%', kDigits[(byte >> 4) & 15], kDigits[byte & 15]});
        } else {
            escaped.push_back(byte);
        }
    }
    return escaped;
}

std::string Unescape(std::string_view text) {
    const auto digit = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
            plain.push_back(static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2])));
            i += 2;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

Sections Parse(std::string_view text) {
    Sections sections;
    std::string section;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.starts_with('[') && line.ends_with(']')) {
            section = Unescape(line.substr(1, line.size() - 2));
        } else if (const size_t equals = line.find('='); equals != std::string_view::npos) {
            sections[section][Unescape(line.substr(0, equals))] = Unescape(line.substr(equals + 1));
        }
    }
    return sections;
}

std::string Print(const Sections& sections) {
    std::string text;
    for (const auto& [section, values] : sections) {
        text.append("[").append(Escape(section)).append("]\n");
        for (const auto& [name, value] : values) {
            text.append(Escape(name)).append("=").append(Escape(value)).append("\n");
        }
    }
    return text;
}

std::string SettingsFolder() {
    return NativeDataFolder() + "/rampart";
}

std::string SettingsFile() {
    return SettingsFolder() + "/settings.ini";
}

// A file that is not there yet has no settings; one that cannot be read is a failure, or a change would lose
// them.
bool Load(Sections& sections) {
    std::string text;
    if (!ReadWholeFile(SettingsFile(), text) && errno != ENOENT && errno != ENOTDIR) {
        return FailWithErrno(errno);
    }
    sections = Parse(text);
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
bool Change(const std::function<bool(Sections&)>& change) {
    std::error_code error;
    std::filesystem::create_directories(SettingsFolder(), error);
    const std::string lockPath = SettingsFolder() + "/settings.lock";
    const Descriptor lock(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock || Retry([&] { return flock(lock.Get(), LOCK_EX); }) != 0) {
        return FailWithErrno(errno);
    }
    Sections sections;
    return Load(sections) && change(sections) && Replace(SettingsFile(), Print(sections));
}

}  // namespace

bool ReadSetting(TextView section, TextView name, Text& value) {
    Sections sections;
    if (!Load(sections)) {
        return false;
    }
    if (const auto values = sections.find(ToUtf8(section)); values != sections.end()) {
        if (const auto found = values->second.find(ToUtf8(name)); found != values->second.end()) {
            value = FromUtf8(found->second);
            return true;
        }
    }
    SetLastError(kFileNotFound);
    return false;
}

bool WriteSetting(TextView section, TextView name, TextView value) {
    return Change([&](Sections& sections) {
        sections[ToUtf8(section)][ToUtf8(name)] = ToUtf8(value);
        return true;
    });
}

bool RemoveSetting(TextView section, TextView name) {
    return Change([&](Sections& sections) {
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
