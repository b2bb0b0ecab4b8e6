// Wildcards in names.
#pragma once

#include "platform/text.h"

namespace rampart {

// Whether the whole name fits a pattern in which "*" stands for any characters and "?" for one. Without
// regard to case.
bool MatchesPattern(platform::TextView name, platform::TextView pattern);

}  // namespace rampart
