// Lines for people and objects for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "common/text.h"
#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

// "rampart: text" on standard error; as an object on standard output too when JSON is asked for.
void PrintError(CommonOptions const& common, std::string const& text);
// A line on standard output unless quiet or JSON.
void PrintLine(CommonOptions const& common, std::string const& text);
void PrintJson(nlohmann::json const& value);
// On one line, for a program that follows.
void PrintJsonLine(nlohmann::json const& value);

}  // namespace rampart::cli
