#include "common/program_settings.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "common/exit_code.h"
#include "common/text.h"

namespace rampart::host {

namespace {

constexpr TCHAR const* kMissedRunsFlag = _T("MissedTaskReStart");
constexpr TCHAR const* kMissedDelayFlag = _T("DelayMinsMissedTask");
constexpr TCHAR const* kChangeDelayFlag = _T("DelaySecs");
constexpr unsigned long kMadeUp = 1;

// A number is kept by `read` and `write`; `words` are what a person writes for 0, 1, ..., or none.
struct Setting {
    char const* key;
    unsigned long least;
    unsigned long most;
    unsigned long fallback;
    std::vector<char const*> words;
    char const* meaning;
    std::optional<unsigned long> (*read)();
    void (*write)(unsigned long);
};

std::optional<unsigned long> ReadFlag(CString const& name) {
    unsigned long value = 0;
    return GlobalFunction::LoadFlag(name, value) ? std::optional(value) : std::nullopt;
}

CString RetryFlag() {
    return ApiUtil::GetCustomerID() + DictUtil::GetValue(_T("TaskRetryOnceReg"), CString());
}

std::optional<unsigned long> ReadNumber(TCHAR const* section, TCHAR const* key) {
    CString const text = DictUtil::GetConfigString(section, key, _T(""), _T(""));
    return text.IsEmpty() ? std::nullopt
                          : std::optional(static_cast<unsigned long>(ApiUtil::StrToInt64(text)));
}

void WriteNumber(TCHAR const* section, TCHAR const* key, unsigned long value) {
    if (!DictUtil::SetConfigString(section, key, CString::FromUtf8(std::to_string(value)))) {
        throw CommandError(kExitFailed, "the configuration could not be written: " + Utf8(GetLastErrorMsg()));
    }
    DictUtil::Refresh();
}

// The switch that lets several tasks run at all, and the number that may.
std::optional<unsigned long> ReadTasksAtOnce() {
    ManageMultipleRunningTask* const registry = ManageMultipleRunningTask::GetInstance();
    registry->InitAllowTwoTasksConcurrently();
    return static_cast<unsigned long>(registry->m_nMaxRunningTasks);
}

void WriteTasksAtOnce(unsigned long count) {
    CString const section =
        DictUtil::GetValue(_T("ZQBackOptions"), CString()) + _T("\\") + ApiUtil::GetCustomerID();
    CString const name = DictUtil::GetValue(_T("SupportTwoTasksConcurrently"), CString());
    if (!CRegSettingUtil::SetRegInfo(section, name, count > 1 ? _T("1") : _T("0"))) {
        throw CommandError(kExitFailed, "the setting could not be written: " + Utf8(GetLastErrorMsg()));
    }
    WriteNumber(_T("Options"), _T("MultipleRunningTaskCount"), count);
}

std::vector<Setting> const& Settings() {
    static std::vector<Setting> const settings = {
        {"missed-runs",
         0,
         1,
         1,
         {"skipped", "made-up"},
         "what becomes of runs that were missed while the machine was off: skipped, or made-up",
         [] {
             std::optional<unsigned long> const value = ReadFlag(kMissedRunsFlag);
             return value ? std::optional(*value == kMadeUp ? 1UL : 0UL) : std::nullopt;
         },
         [](unsigned long value) { GlobalFunction::SaveFlag(kMissedRunsFlag, value); }},
        {"missed-delay",
         1,
         1439,
         1,
         {},
         "minutes after which a missed run is made up",
         [] { return ReadFlag(kMissedDelayFlag); },
         [](unsigned long value) { GlobalFunction::SaveFlag(kMissedDelayFlag, value); }},
        {"change-delay",
         1,
         86399,
         60,
         {},
         "seconds: a change of a continuous task starts no run while a retry is planned so soon",
         []() -> std::optional<unsigned long> {
             return ReadFlag(kChangeDelayFlag).value_or(0) == 0
                        ? std::nullopt
                        : ReadNumber(_T("RealTimeDelay"), _T("DelaySecs"));
         },
         [](unsigned long value) {
             WriteNumber(_T("RealTimeDelay"), _T("DelaySecs"), value);
             GlobalFunction::SaveFlag(kChangeDelayFlag, value);
         }},
        {"retry",
         0,
         1,
         1,
         {"off", "on"},
         "whether a run that failed is tried again: on or off",
         [] {
             std::optional<unsigned long> const value = ReadFlag(RetryFlag());
             return value ? std::optional(*value != 0 ? 1UL : 0UL) : std::nullopt;
         },
         [](unsigned long value) { GlobalFunction::SaveFlag(RetryFlag(), value); }},
        {"retry-interval",
         1,
         10080,
         240,
         {},
         "minutes from a failed run to its retry",
         [] { return ReadNumber(_T("Options"), _T("errorRetryInterval")); },
         [](unsigned long value) { WriteNumber(_T("Options"), _T("errorRetryInterval"), value); }},
        {"special-files",
         0,
         1,
         0,
         {"off", "on"},
         "whether named pipes and devices are kept, as entries without content: on or off",
         [] { return ReadNumber(_T("Options"), _T("BackupSpecialFiles")); },
         [](unsigned long value) { WriteNumber(_T("Options"), _T("BackupSpecialFiles"), value); }},
        {"tasks-at-once",
         1,
         16,
         1,
         {},
         "how many tasks may run side by side",
         &ReadTasksAtOnce,
         &WriteTasksAtOnce},
    };
    return settings;
}

std::string WordOf(Setting const& setting, unsigned long value) {
    return setting.words.empty() ? std::to_string(value) : setting.words[std::min<size_t>(value, 1)];
}

unsigned long ParseValue(Setting const& setting, std::string const& text) {
    if (text == "default") {
        return setting.fallback;
    }
    auto const word = std::find(setting.words.begin(), setting.words.end(), text);
    if (word != setting.words.end()) {
        return static_cast<unsigned long>(word - setting.words.begin());
    }
    unsigned long value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    bool const isNumber = setting.words.empty() && error == std::errc() && end == text.data() + text.size();
    if (!isNumber || value < setting.least || value > setting.most) {
        throw CommandError(
            kExitUsage,
            std::string(setting.key) + " cannot be \"" + Printable(text) + "\": it is " +
                (setting.words.empty() ? "a number from " + std::to_string(setting.least) + " to " +
                                             std::to_string(setting.most)
                                       : std::string(setting.words[0]) + " or " + setting.words[1]) +
                ", or default");
    }
    return value;
}

}  // namespace

std::vector<ProgramSetting> ProgramSettings() {
    std::vector<ProgramSetting> list;
    for (Setting const& setting : Settings()) {
        list.push_back({setting.key, WordOf(setting, setting.read().value_or(setting.fallback)),
                        WordOf(setting, setting.fallback), setting.meaning});
    }
    return list;
}

void SetProgramSetting(std::string const& key, std::string const& value) {
    for (Setting const& setting : Settings()) {
        if (key == setting.key) {
            setting.write(ParseValue(setting, value));
            return;
        }
    }
    throw CommandError(kExitUsage,
                       "there is no setting \"" + Printable(key) + "\"; \"rampart config get\" lists them");
}

}  // namespace rampart::host
