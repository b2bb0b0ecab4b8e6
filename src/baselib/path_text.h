// Parts of engine paths, as views into them.
#pragma once

#include "platform/text.h"

namespace rampart {

using platform::TextView;

inline constexpr TCHAR kBackslash = _T('\\');
inline constexpr TextView kLongPathPrefix = _T("\\\\?\\");

// Length of the root that the path begins with: "C:\", "C:" alone, "\\server\share\", "\", each behind an
// optional
// "\\?\"; 0 if there is none.
size_t RootLength(TextView path);

// Without trailing backslashes, but never shorter than the root.
TextView WithoutTrailingBackslashes(TextView path);

// The last component, without the backslashes behind it; empty for a root.
TextView LastComponent(TextView path);

// What is in front of the last component: a root with its backslash, anything else without; empty for a root
// or a name.
TextView ParentOf(TextView path);

// Whether `path` is `folder` or lies below it, compared without regard to case.
bool IsInFolder(TextView path, TextView folder);

}  // namespace rampart
