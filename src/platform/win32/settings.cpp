// The registry of the user, or, where RAMPART_HOME moves all of the user's data, a file there.
#include "platform/settings.h"

#include "platform/process.h"
#include "platform/settings_text.h"
#include "platform/win32/native.h"
#include "platform/win32/standard_folders.h"

namespace rampart::platform {
namespace {

constexpr wchar_t kRegistryFolder[] = L"Software\\Rampart\\Settings";

// Owns a key of the registry.
class RegistryKey {
public:
    RegistryKey() = default;
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey() {
        if (m_key != nullptr) {
            RegCloseKey(m_key);
        }
    }
    HKEY Get() const { return m_key; }
    HKEY* Out() { return &m_key; }

private:
    HKEY m_key = nullptr;
};

// Names of keys and values are one line and end at a zero; a backslash would begin another key.
std::wstring RegistryName(TextView text) {
    std::wstring name;
    for (const TCHAR c : text) {
        if (c == L'%' || c == L'\\' || c == 0) {
            constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
            name.append({L'%', kDigits[(c >> 4) & 15], kDigits[c & 15]});
        } else {
            name.push_back(c);
        }
    }
    return name;
}

std::wstring RegistryPath(TextView section) {
    return std::wstring(kRegistryFolder) + L"\\Section " + RegistryName(section);
}

bool ReadRegistry(TextView section, TextView name, Text& value) {
    RegistryKey key;
    LSTATUS result =
        RegOpenKeyExW(HKEY_CURRENT_USER, RegistryPath(section).c_str(), 0, KEY_QUERY_VALUE, key.Out());
    if (result != ERROR_SUCCESS) {
        return FailWithSystemError(static_cast<DWORD>(result));
    }
    Text text(64, L'\0');
    while (true) {
        auto bytes = static_cast<DWORD>(text.size() * sizeof(TCHAR));
        DWORD type = 0;
        result = RegQueryValueExW(key.Get(), RegistryName(name).c_str(), nullptr, &type,
                                  reinterpret_cast<BYTE*>(text.data()), &bytes);
        if (result == ERROR_SUCCESS && type != REG_SZ) {
            result = ERROR_FILE_NOT_FOUND;
        }
        if (result != ERROR_MORE_DATA && result != ERROR_SUCCESS) {
            return FailWithSystemError(static_cast<DWORD>(result));
        }
        text.resize(bytes / sizeof(TCHAR));
        if (result == ERROR_SUCCESS) {
            break;
        }
    }
    if (text.ends_with(L'\0')) {
        text.pop_back();
    }
    value = text;
    return true;
}

bool WriteRegistry(TextView section, TextView name, TextView value) {
    RegistryKey key;
    LSTATUS result = RegCreateKeyExW(HKEY_CURRENT_USER, RegistryPath(section).c_str(), 0, nullptr, 0,
                                     KEY_SET_VALUE, nullptr, key.Out(), nullptr);
    if (result == ERROR_SUCCESS) {
        const Text text(value);
        result = RegSetValueExW(key.Get(), RegistryName(name).c_str(), 0, REG_SZ,
                                reinterpret_cast<const BYTE*>(text.c_str()),
                                static_cast<DWORD>((text.size() + 1) * sizeof(TCHAR)));
    }
    return result == ERROR_SUCCESS || FailWithSystemError(static_cast<DWORD>(result));
}

bool RemoveRegistry(TextView section, TextView name) {
    RegistryKey key;
    LSTATUS result =
        RegOpenKeyExW(HKEY_CURRENT_USER, RegistryPath(section).c_str(), 0, KEY_SET_VALUE, key.Out());
    if (result == ERROR_SUCCESS) {
        result = RegDeleteValueW(key.Get(), RegistryName(name).c_str());
    }
    return result == ERROR_SUCCESS || FailWithSystemError(static_cast<DWORD>(result));
}

// The settings file below RAMPART_HOME, under a lock that all processes take: this system does not replace a
// file while others read it.
class SettingsFile {
public:
    explicit SettingsFile(Text home) : m_folder(std::move(home) + L"\\data\\rampart") {}

    // False when the lock or the file cannot be read; then it is not written either.
    bool Load() {
        CreateFolders(m_folder);
        m_lock = FileHandle::Open(m_folder + L"\\settings.lock", kOpenRead | kOpenWrite | kOpenCreate);
        if (!m_lock || !m_lock->Lock()) {
            return false;
        }
        auto file = FileHandle::Open(Path(), kOpenRead);
        if (!file) {
            return LastError() == kFileNotFound;
        }
        uint64_t size = 0;
        if (!file->GetSize(size)) {
            return false;
        }
        std::string text(size, '\0');
        const int64_t got = file->ReadAt(0, text.data(), text.size());
        text.resize(static_cast<size_t>(std::max<int64_t>(got, 0)));
        sections = ParseSettings(text);
        return got >= 0;
    }

    // Whole or not at all, also after a crash.
    bool Save() const {
        const std::string text = PrintSettings(sections);
        const Text temporary = Path() + L".new";
        auto file = FileHandle::Open(temporary, kOpenWrite | kOpenCreate | kOpenTruncate);
        if (!file || file->WriteAt(0, text.data(), text.size()) < 0 || !file->Sync()) {
            return false;
        }
        file.reset();
        return RenamePath(temporary, Path(), /*replace=*/true);
    }

    SettingsSections sections;

private:
    Text Path() const { return m_folder + L"\\settings.ini"; }

    const Text m_folder;
    std::unique_ptr<FileHandle> m_lock;
};

}  // namespace

bool ReadSetting(TextView section, TextView name, Text& value) {
    Text home = FolderVariable("RAMPART_HOME");
    if (home.empty()) {
        return ReadRegistry(section, name, value);
    }
    SettingsFile file(std::move(home));
    if (!file.Load()) {
        return false;
    }
    return FindSetting(file.sections, section, name, value);
}

bool WriteSetting(TextView section, TextView name, TextView value) {
    Text home = FolderVariable("RAMPART_HOME");
    if (home.empty()) {
        return WriteRegistry(section, name, value);
    }
    SettingsFile file(std::move(home));
    if (!file.Load()) {
        return false;
    }
    file.sections[ToUtf8(section)][ToUtf8(name)] = ToUtf8(value);
    return file.Save();
}

bool RemoveSetting(TextView section, TextView name) {
    Text home = FolderVariable("RAMPART_HOME");
    if (home.empty()) {
        return RemoveRegistry(section, name);
    }
    SettingsFile file(std::move(home));
    if (!file.Load()) {
        return false;
    }
    const auto values = file.sections.find(ToUtf8(section));
    if (values == file.sections.end() || values->second.erase(ToUtf8(name)) == 0) {
        SetLastError(kFileNotFound);
        return false;
    }
    if (values->second.empty()) {
        file.sections.erase(values);
    }
    return file.Save();
}

}  // namespace rampart::platform
