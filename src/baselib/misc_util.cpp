#include <atomic>

#include "baselib/configuration.h"
#include "interfaces/baselib.h"
#include "platform/settings.h"

using namespace rampart;

namespace {

std::atomic<int> s_stopping{0};
std::atomic<int> s_loggingOff{0};

constexpr TextView kUser = _T("UserName");
constexpr TextView kPassword = _T("Password");
constexpr TextView kSave = _T("SaveLogon");
constexpr TextView kAutoLogon = _T("AutoLogon");

CString LogonSection() {
    return DictUtil::GetValue(_T("IDS_REGKEYPATH"), _T("Software\\Rampart")) + _T("\\Logon");
}

CString Setting(CString const& section, TextView name) {
    CString value;
    CRegSettingUtil::GetRegInfo(section, CString(name), value);
    return value;
}

int Edition(TextView name) {
    const TableValue* value = Configuration().Find(_T("Options"), name);
    return value && value->number == 1 ? 1 : 0;
}

}  // namespace

int MiscUtil::IsAppStopping() {
    return s_stopping.load(std::memory_order_acquire);
}

int MiscUtil::IsAppLoggingOff() {
    return s_loggingOff.load(std::memory_order_acquire);
}

void MiscUtil::SetAppStopping(int value) {
    s_stopping.store(value, std::memory_order_release);
}

void MiscUtil::SetAppLoggingOff(int value) {
    s_loggingOff.store(value, std::memory_order_release);
}

int MiscUtil::ReadUserSettings(CString& user, CString& password, int& saved, int& autoLogon) {
    const CString section = LogonSection();
    user = Setting(section, kUser);
    password = Setting(section, kPassword);
    saved = ParseInteger(Setting(section, kSave)) != 0;
    autoLogon = ParseInteger(Setting(section, kAutoLogon)) != 0;
    return saved;
}

int MiscUtil::WriteUserSettings(CString const& user, CString const& password, int save, int autoLogon) {
    const CString section = LogonSection();
    const auto write = [&](TextView name, CString const& value) {
        return CRegSettingUtil::SetRegInfo(section, CString(name), value) != 0;
    };
    const CString on = _T("1"), off = _T("0");
    const bool written = write(kUser, user) && write(kPassword, save ? password : CString()) &&
                         write(kSave, save ? on : off) && write(kAutoLogon, autoLogon ? on : off);
    return written ? 1 : 0;
}

int MiscUtil::IsGeneric() {
    return Edition(_T("Generic"));
}

int MiscUtil::IsBrandingForTalmor() {
    return Edition(_T("Talmor"));
}

int MiscUtil::IsBrandingForOrvelle() {
    return Edition(_T("Orvelle"));
}
