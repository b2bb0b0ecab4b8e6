// The text of a settings file: a line [section], then its values as name=value, in UTF-8. Bytes that the
// lines use themselves stand as %XX.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart::platform {

// Values by name, by section.
using SettingsSections = std::map<std::string, std::map<std::string, std::string>>;

// Lines that are neither a section nor a value are passed over.
SettingsSections ParseSettings(std::string_view text);
std::string PrintSettings(const SettingsSections& sections);
// False with kFileNotFound if there is no such value.
bool FindSetting(const SettingsSections& sections, TextView section, TextView name, Text& value);

}  // namespace rampart::platform
