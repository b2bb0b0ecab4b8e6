// Folders of the user by native path.
#pragma once

#include <string>

namespace rampart::platform {

// For user data and settings; need not exist. UserDataFolder() is the same as an engine path.
std::string NativeDataFolder();

// For locks of this machine and user; made if it is missing. Only this user can write there, or the text is
// empty.
std::string RuntimeFolder();

}  // namespace rampart::platform
