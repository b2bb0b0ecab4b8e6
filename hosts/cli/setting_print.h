// Settings on the terminal: of the vault's account, and of the program.
#pragma once

#include <string>
#include <vector>

#include "options.h"

namespace rampart::cli {

struct ShownSetting {
    std::string key;
    std::string value;
    bool isDefault = false;
    std::string meaning;
};

// The one of that key, or all for an empty key. False, and nothing is printed, if there is none.
bool PrintSettings(CommonOptions const& common, std::string const& key,
                   std::vector<ShownSetting> const& settings);
// The one that was set.
void PrintNewValue(CommonOptions const& common, std::string const& key,
                   std::vector<ShownSetting> const& settings);

}  // namespace rampart::cli
