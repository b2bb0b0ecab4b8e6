#include <mutex>

#include "baselib/configuration.h"
#include "baselib/whole_file.h"
#include "framework/guarded.h"
#include "interfaces/baselib.h"
#include "platform/process.h"

using namespace rampart;

namespace {

constexpr uint64_t kLargestConfiguration = 16 << 20;

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
        static Mutex mutex;  // one change at a time, so that none is lost
        MutexLock lock(mutex);
        const Text path = UserConfigurationFile();
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
