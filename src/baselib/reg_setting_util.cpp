#include "baselib/configuration.h"
#include "interfaces/baselib.h"
#include "platform/settings.h"

using namespace rampart;

int CRegSettingUtil::GetRegInfo(CString const& section, CString const& key, CString& value) {
    if (IsGreenVersion()) {
        const TableValue* found = Configuration().Find(section, key);
        if (found) {
            value = found->text;
        }
        return found ? 1 : 0;
    }
    Text text;
    if (!platform::ReadSetting(section, key, text)) {
        return 0;
    }
    value = CString(TextView(text));
    return 1;
}

int CRegSettingUtil::SetRegInfo(CString const& section, CString const& key, CString const& value) {
    return IsGreenVersion() ? DictUtil::SetConfigString(section, key, value)
                            : static_cast<int>(platform::WriteSetting(section, key, value));
}

int CRegSettingUtil::IsGreenVersion() {
    const TableValue* value = Configuration().Find(_T("Options"), _T("GreenVersion"));
    return value && value->number == 1 ? 1 : 0;
}
