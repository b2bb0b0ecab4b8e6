// What the user has chosen for all tasks of this machine: missed runs, retries, delays, tasks at once.
#pragma once

#include <string>
#include <vector>

#include "engine/vaultlib.h"

namespace rampart::host {

struct ProgramSetting {
    std::string key;
    std::string value;
    std::string fallback;  // what holds when nothing was chosen
    std::string meaning;
};

// All of them, with the values that hold now. The engine runs (EngineSession).
std::vector<ProgramSetting> ProgramSettings();
// Chooses a value; "default" takes it back. Throws CommandError for a key or a value that is none. Programs
// that run take it with RunningEngine::TakeSettings.
void SetProgramSetting(std::string const& key, std::string const& value);

}  // namespace rampart::host
