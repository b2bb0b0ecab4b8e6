// Attributes of an open file.
#pragma once

#include <string>

#include "platform/attributes.h"
#include "platform/win32/native.h"

namespace rampart::platform {

// `path` is the system's path of the same file, by which its streams are found. Empty with LastError set on a
// failure.
std::string ReadAttributes(HANDLE file, const std::wstring& path);

}  // namespace rampart::platform
