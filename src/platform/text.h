// Text of the engine: UTF-16 in the platform's character type, and its loss-free way to bytes and back.
#pragma once

#include <platform_native.h>

#include <string>
#include <string_view>

namespace rampart::platform {

using Text = std::basic_string<TCHAR>;
using TextView = std::basic_string_view<TCHAR>;

// UTF-16 to UTF-8. A lone surrogate becomes its three-byte form, so that every text survives the way there
// and back.
std::string ToUtf8(TextView text);

// UTF-8 to UTF-16, the inverse of ToUtf8. A byte that is not part of a valid sequence becomes U+FFFD.
Text FromUtf8(std::string_view bytes);

// A text of bytes in the system's code page, as programs without Unicode write it.
Text FromCodePage(std::string_view bytes);

}  // namespace rampart::platform
