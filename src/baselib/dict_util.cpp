#include "baselib/configuration.h"
#include "baselib/whole_file.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"
#include "platform/process.h"

using namespace rampart;

namespace {

constexpr uint64_t kLargestConfiguration = 16 << 20;

// Waits for the lock of a file that all processes take before they change it. Null when it cannot be had.
std::unique_ptr<platform::FileHandle> LockBeside(Text const& path) {
    using platform::FileHandle;
    if (path.empty() || !platform::CreateFolders(path.substr(0, path.rfind(_T('\\'))))) {
        return nullptr;
    }
    auto file = FileHandle::Open(path + _T(".lock"),
                                 platform::kOpenRead | platform::kOpenWrite | platform::kOpenCreate);
    return file && file->Lock() ? std::move(file) : nullptr;
}

}  // namespace

int DictUtil::GetConfigInt(CString const& section, CString const& key, CString const& defaultText,
                           CString const&) {
    const TableValue* value = Configuration().Find(section, key);
    return value ? value->number : ParseInteger(defaultText);
}

CString DictUtil::GetConfigString(CString const& section, CString const& key, CString const& defaultText,
                                  CString const&) {
    const TableValue* value = Configuration().Find(section, key);
    return value ? value->text : defaultText;
}

int DictUtil::SetConfigString(CString const& section, CString const& key, CString const& value) {
    return Guarded(_T("Error: SetConfigString"), 0, [&] {
        // One change at a time on this machine, so that none is lost; a link stays one.
        const Text path = platform::LinkTarget(UserConfigurationFile());
        const auto lock = LockBeside(path);
        if (!lock) {
            return 0;
        }
        std::string content;
        if (!ReadWholeFile(path, kLargestConfiguration, content)) {
            const uint32_t error = platform::LastError();
            if (error != platform::kFileNotFound && error != platform::kPathNotFound) {
                return 0;
            }
            content.clear();
        }
        const auto changed = WithIniValue(content, section, key, value);
        if (!changed || !WriteWholeFile(path, *changed)) {
            return 0;
        }
        RefreshConfiguration();
        return 1;
    });
}

CString DictUtil::GetValue(CString const& key, CString const& defaultText) {
    const TableValue* value = Dictionary().Find(kDictionarySection, key);
    return value ? value->text : defaultText;
}

CString DictUtil::GetAppExeFolder() {
    return CString(TextView(platform::ExecutableFolder()));
}

void DictUtil::Refresh() {
    RefreshConfiguration();
}
