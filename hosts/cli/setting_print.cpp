#include "setting_print.h"

#include <algorithm>

#include "output.h"

namespace rampart::cli {

namespace {

constexpr size_t kKeyWidth = 20;

}  // namespace

bool PrintSettings(CommonOptions const& common, std::string const& key,
                   std::vector<ShownSetting> const& settings) {
    nlohmann::json values = nlohmann::json::object();
    for (ShownSetting const& setting : settings) {
        if (!key.empty() && key != setting.key) {
            continue;
        }
        values[setting.key] = {
            {"value", setting.value}, {"default", setting.isDefault}, {"meaning", setting.meaning}};
        std::string const value = Printable(setting.value);
        if (!key.empty()) {
            PrintLine(common, value);
            continue;
        }
        std::string const gap(kKeyWidth - std::min(kKeyWidth, setting.key.size()), ' ');
        PrintLine(common, setting.key + gap + value +
                              (setting.isDefault && value != "default" ? " (default)" : "") + "\n    " +
                              setting.meaning);
    }
    if (common.json && !values.empty()) {
        PrintJson(values);
    }
    return !values.empty();
}

void PrintNewValue(CommonOptions const& common, std::string const& key,
                   std::vector<ShownSetting> const& settings) {
    for (ShownSetting const& setting : settings) {
        if (setting.key == key) {
            if (common.json) {
                PrintJson({{"key", key}, {"value", setting.value}, {"default", setting.isDefault}});
            }
            PrintLine(common, key + " is now " + Printable(setting.value));
        }
    }
}

}  // namespace rampart::cli
