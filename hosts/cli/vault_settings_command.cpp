// rampart vault get, set
#include "commands.h"
#include "common/exit_code.h"
#include "output.h"
#include "session.h"

namespace rampart::cli {

namespace {

constexpr int kInvalidCode = 7;
constexpr int kNotFoundCode = 11;
constexpr size_t kKeyWidth = 20;

[[noreturn]] void FailSetting(int code, CString const& message) {
    bool const usage = code == kInvalidCode || code == kNotFoundCode;
    throw CommandError(usage ? kExitUsage : kExitFailed,
                       Utf8(message.IsEmpty() ? ApiUtil::GetQuilString(code) : message));
}

std::vector<VaultSetting> Settings() {
    std::vector<VaultSetting> settings;
    CString message;
    if (int const code = VaultAdmin::Settings(settings, message)) {
        FailSetting(code, message);
    }
    return settings;
}

}  // namespace

int RunVaultGet(CommonOptions const& common, SettingOptions const& options) {
    VaultSession session(common.vault, false);
    nlohmann::json values = nlohmann::json::object();
    bool found = false;
    for (VaultSetting const& setting : Settings()) {
        std::string const key = Utf8(setting.key);
        std::string const value = Utf8(setting.value);
        if (!options.key.empty() && options.key != key) {
            continue;
        }
        found = true;
        values[key] = {{"value", value}, {"default", setting.isDefault}, {"meaning", Utf8(setting.meaning)}};
        if (options.key.empty()) {
            PrintLine(common, key + std::string(kKeyWidth - std::min(kKeyWidth, key.size()), ' ') +
                                  Printable(value) +
                                  (setting.isDefault && value != "default" ? " (default)" : "") + "\n    " +
                                  Utf8(setting.meaning));
        } else {
            PrintLine(common, Printable(value));
        }
    }
    if (!found) {
        FailSetting(kNotFoundCode, CString::FromUtf8("there is no setting \"" + options.key +
                                                     "\"; \"rampart vault get\" lists them"));
    }
    if (common.json) {
        PrintJson(values);
    }
    return kExitDone;
}

int RunVaultSet(CommonOptions const& common, SettingOptions const& options) {
    VaultSession session(common.vault, false);
    CString message;
    if (int const code = VaultAdmin::SetSetting(CString::FromUtf8(options.key),
                                                CString::FromUtf8(options.value), message)) {
        FailSetting(code, code == kNotFoundCode
                              ? message + CString::FromUtf8("; \"rampart vault get\" lists them")
                              : message);
    }
    for (VaultSetting const& setting : Settings()) {
        if (Utf8(setting.key) == options.key) {
            if (common.json) {
                PrintJson(
                    {{"key", options.key}, {"value", Utf8(setting.value)}, {"default", setting.isDefault}});
            }
            PrintLine(common, options.key + " is now " + Printable(Utf8(setting.value)));
        }
    }
    return kExitDone;
}

}  // namespace rampart::cli
