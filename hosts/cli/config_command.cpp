// rampart config get, set
#include "commands.h"
#include "common/exit_code.h"
#include "common/program_settings.h"
#include "common/service_link.h"
#include "output.h"
#include "session.h"
#include "setting_print.h"

namespace rampart::cli {

namespace {

std::vector<ShownSetting> Shown() {
    std::vector<ShownSetting> shown;
    for (host::ProgramSetting const& setting : host::ProgramSettings()) {
        shown.push_back({setting.key, setting.value, setting.value == setting.fallback, setting.meaning});
    }
    return shown;
}

}  // namespace

int RunConfigGet(CommonOptions const& common, SettingOptions const& options) {
    EngineSession const session(common, false);
    if (!PrintSettings(common, options.key, Shown())) {
        throw CommandError(kExitUsage, "there is no setting \"" + Printable(options.key) +
                                           "\"; \"rampart config get\" lists them");
    }
    return kExitDone;
}

int RunConfigSet(CommonOptions const& common, SettingOptions const& options) {
    EngineSession const session(common, false);
    host::SetProgramSetting(options.key, options.value);
    host::TellServiceToReload();
    PrintNewValue(common, options.key, Shown());
    return kExitDone;
}

}  // namespace rampart::cli
