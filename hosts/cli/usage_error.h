// What the parser of the command line leaves to us: options with a value that may be missing, and what was
// probably meant by what it does not know.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "options.h"

namespace rampart::cli {

// Gives "--overwrite" the value it has alone, "always", where none of its values stands behind it. The last
// argument stands first, as the parser takes them.
void CompleteOverwrite(std::vector<std::string>& reversed);

// Says what is wrong with the arguments, with the nearest command where one was mistyped; as JSON where that
// is asked for. Gives the exit code. Also ends what is no error, such as --help.
int TellUsage(CLI::App const& app, CLI::ParseError const& error, std::vector<std::string> const& reversed,
              CommonOptions const& common);

}  // namespace rampart::cli
