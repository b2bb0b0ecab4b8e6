// A user's wildcard or path as an expression (grammar: docs/filters.md).
#pragma once

#include "platform/text.h"

namespace rampart {

using platform::Text;
using platform::TextView;

// For a folder the expression fits the folder's path with its trailing backslash and every path below it. An
// empty entry gives an empty expression, which fits no path.
Text ExpressionOfEntry(TextView entry, bool isFolder);

}  // namespace rampart
