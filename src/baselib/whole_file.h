// Small files read and written as a whole.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart {

// False with LastError set if the file cannot be read, or is larger than `limit` bytes (kFileTooLarge). A
// symbolic link is followed.
bool ReadWholeFile(platform::TextView path, uint64_t limit, std::string& content);

// Replaces the file only once all is written and durable; its folder is made if it is missing. A file that
// was there keeps its access rights, a new one is this user's alone. On a failure the old file stays and
// LastError says why.
bool WriteWholeFile(platform::TextView path, std::string_view content);

}  // namespace rampart
