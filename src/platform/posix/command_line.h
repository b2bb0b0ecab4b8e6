// Splits a command line into words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace rampart::platform {

// As a shell splits it, without any expansion: blanks part words, single quotes keep everything, double
// quotes keep everything but a backslash before `"`, `\`, `$` and `` ` ``, and a backslash outside quotes
// keeps the next character. False for a quote that is not closed.
bool SplitCommandLine(std::string_view line, std::vector<std::string>& words);

}  // namespace rampart::platform
