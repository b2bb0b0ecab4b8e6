// rampart vault get, set
#include "commands.h"
#include "common/exit_code.h"
#include "output.h"
#include "session.h"
#include "setting_print.h"

namespace rampart::cli {

namespace {

constexpr int kInvalidCode = 7;
constexpr int kNotFoundCode = 11;

[[noreturn]] void FailSetting(int code, CString const& message) {
    bool const usage = code == kInvalidCode || code == kNotFoundCode;
    throw CommandError(usage ? kExitUsage : kExitFailed,
                       Utf8(message.IsEmpty() ? ApiUtil::GetQuilString(code) : message));
}

std::vector<ShownSetting> Shown() {
    std::vector<VaultSetting> settings;
    CString message;
    if (int const code = VaultAdmin::Settings(settings, message)) {
        FailSetting(code, message);
    }
    std::vector<ShownSetting> shown;
    for (VaultSetting const& setting : settings) {
        shown.push_back({Utf8(setting.key), Utf8(setting.value), setting.isDefault, Utf8(setting.meaning)});
    }
    return shown;
}

}  // namespace

int RunVaultGet(CommonOptions const& common, SettingOptions const& options) {
    VaultSession const session(common.vault, false);
    if (!PrintSettings(common, options.key, Shown())) {
        FailSetting(kNotFoundCode, CString::FromUtf8("there is no setting \"" + options.key +
                                                     "\"; \"rampart vault get\" lists them"));
    }
    return kExitDone;
}

int RunVaultSet(CommonOptions const& common, SettingOptions const& options) {
    VaultSession const session(common.vault, false);
    CString message;
    if (int const code = VaultAdmin::SetSetting(CString::FromUtf8(options.key),
                                                CString::FromUtf8(options.value), message)) {
        FailSetting(code, code == kNotFoundCode
                              ? message + CString::FromUtf8("; \"rampart vault get\" lists them")
                              : message);
    }
    PrintNewValue(common, options.key, Shown());
    return kExitDone;
}

}  // namespace rampart::cli
