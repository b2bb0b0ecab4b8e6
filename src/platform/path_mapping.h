// Engine paths (drive letter, backslashes) to native paths and back. Reversible for every name that a file
// can have.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart::platform {

// One name. Where the system's own names are those of engine paths, it stays as it is. Elsewhere characters
// that an engine path could not hold (\ : * ? " < > | and a trailing dot or blank) map to U+F000 plus the
// character, bytes that are not UTF-8 to lone surrogates DC80..DCFF, and a character that lies in one of
// these two ranges in the native name maps byte by byte, so that no two native names meet.
Text NameToEngine(std::string_view native);
std::string NameToNative(TextView engine);

// A whole path. "C:\home\me" is "/home/me" where C: is "/", and "C:/home/me" where drives are the system's
// own. Forward slashes in an engine path count as backslashes, several count as one, and one at the end is
// dropped. A path without a drive letter is taken below the root of C:. The prefix "\\?\" is accepted and
// dropped. "." and ".." are resolved in the text and never lead above the drive. Empty on a failure:
// kPathNotFound for an unknown drive or an empty path, kBadNetworkPath for "\\server\share" where a share has
// to be mounted first, and kInvalidName for a path that no file can have (a NUL, a name that would come out
// as "." or "..", a character that the system forbids).
std::string ToNativePath(TextView enginePath);

// The drive with the longest mount point that holds `native` gives the letter; a mount point itself is "D:\".
// Empty names, "." and ".." are resolved in the text. Empty with kInvalidName if `native` is not absolute.
Text ToEnginePath(std::string_view native);

// A path in a text for people. Where the system's own paths look like engine paths it stays as it is.
// Elsewhere "C:\home\me" is "/home/me", a path in the vault, "\pc\task", is "/pc/task", and what cannot be
// shown stands as \xNN; any other text stays as it is. Leaves LastError alone.
Text ShownPath(TextView path);

}  // namespace rampart::platform
