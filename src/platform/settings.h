// Per-user settings: a value of text for a section and a name. Writes are atomic and seen by other processes.
#pragma once

#include "platform/text.h"

namespace rampart::platform {

// Section names may hold backslashes. False if there is no such value.
bool ReadSetting(TextView section, TextView name, Text& value);
bool WriteSetting(TextView section, TextView name, TextView value);
bool RemoveSetting(TextView section, TextView name);

}  // namespace rampart::platform
