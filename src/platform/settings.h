// Per-user settings: a value of text for a section and a name. Writes are atomic and seen by other processes.
#pragma once

#include "platform/text.h"

namespace rampart::platform {

// Any thread. Names and values may hold any text; section names may hold backslashes. False with
// kFileNotFound if there is no such value, which leaves `value` as it is, and with another error if the
// settings cannot be read or written.
bool ReadSetting(TextView section, TextView name, Text& value);
bool WriteSetting(TextView section, TextView name, TextView value);
bool RemoveSetting(TextView section, TextView name);

}  // namespace rampart::platform
