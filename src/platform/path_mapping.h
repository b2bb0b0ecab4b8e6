// Engine paths (drive letter, backslashes) to native paths and back. Reversible for every name that a file
// can have.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart::platform {

// One name: characters that an engine path could not hold (\ : * ? " < > | and a trailing dot or blank) map
// to U+F000 plus the character, bytes that are not UTF-8 to lone surrogates DC80..DCFF, and a character that
// lies in one of these two ranges in the native name maps byte by byte, so that no two native names meet.
Text NameToEngine(std::string_view native);
std::string NameToNative(TextView engine);

// A whole path. "C:\home\me" is "/home/me" where C: is "/". Forward slashes in an engine path count as
// backslashes. A path without a drive letter is taken below the root of C:. A path of an unknown drive gives
// an empty text and the error kPathNotFound. Prefix "\\?\" is accepted and dropped.
std::string ToNativePath(TextView enginePath);

// `native` is absolute; the drive with the longest mount point that holds it gives the letter.
Text ToEnginePath(std::string_view native);

}  // namespace rampart::platform
