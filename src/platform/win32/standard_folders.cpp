#include "platform/win32/standard_folders.h"

#include "platform/fnv_hash.h"
#include "platform/process.h"
#include "platform/win32/native.h"

// native.h comes first, so that shlobj.h finds windows.h
#include <shlobj.h>

namespace rampart::platform {
namespace {

constexpr size_t kLongestName = 150;

Text ApplicationData() {
    wchar_t folder[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, folder) !=
        S_OK) {
        return FolderVariable("APPDATA");
    }
    return folder;
}

uint64_t HashOf(TextView text) {
    Text lower(text);
    for (TCHAR& c : lower) {
        c = static_cast<TCHAR>(towlower(c));
    }
    return Fnv64(lower);
}

}  // namespace

Text FolderVariable(const char* name) {
    const Text value = FromUtf8(EnvironmentVariable(name));
    if (value.empty()) {
        return value;
    }
    return ToEnginePath(NativeOf(ReadText([&](wchar_t* buffer, DWORD size) {
        return GetFullPathNameW(value.c_str(), size, buffer, nullptr);
    })));
}

std::wstring SharedNamePrefix() {
    wchar_t user[256] = {};
    DWORD size = 256;
    if (GetUserNameW(user, &size) == 0) {
        user[0] = 0;
    }
    const Text home = FolderVariable("RAMPART_HOME");
    return L"Rampart-" + SharedNamePart(user) + L"-" +
           (home.empty() ? L"" : std::to_wstring(HashOf(home)) + L"-");
}

std::wstring SharedNamePart(TextView name) {
    std::wstring part;
    for (const TCHAR c : name) {
        if (c == L'\\' || c == L'%' || c == L'/' || c < 0x20) {
            constexpr wchar_t kDigits[] = L"0123456789abcdef";
            part.push_back(L'%');
            part.push_back(kDigits[(c >> 4) & 15]);
            part.push_back(kDigits[c & 15]);
        } else {
            part.push_back(c);
        }
    }
    return part.size() > kLongestName ? std::wstring() : part;
}

Text UserDataFolder() {
    const Text home = FolderVariable("RAMPART_HOME");
    return home.empty() ? ApplicationData() : home + L"\\data";
}

Text ConfigurationFolder() {
    if (Text folder = FolderVariable("RAMPART_CONFIG"); !folder.empty()) {
        return folder;
    }
    const Text home = FolderVariable("RAMPART_HOME");
    return home.empty() ? ApplicationData() + L"\\rampart" : home + L"\\config";
}

}  // namespace rampart::platform
