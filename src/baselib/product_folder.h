// Where this program keeps the data of its user.
#pragma once

#include "platform/text.h"

namespace rampart {

// "Company\Product" in the user's data, an engine path without trailing backslash; need not exist. Any
// thread.
platform::Text ProductDataFolder();

}  // namespace rampart
