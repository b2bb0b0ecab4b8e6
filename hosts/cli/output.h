// Lines for people and objects for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "engine/vaultlib.h"
#include "options.h"

namespace rampart::cli {

// "rampart: text" on standard error; as an object on standard output too when JSON is asked for.
void PrintError(CommonOptions const& common, std::string const& text);
// A line on standard output unless quiet or JSON.
void PrintLine(CommonOptions const& common, std::string const& text);
void PrintJson(nlohmann::json const& value);

// A path or name fit for a terminal: control characters and bytes that are not UTF-8 shown as \xNN.
std::string Printable(std::string const& bytes);
// The native form of an engine path, printable.
std::string PrintablePath(CString const& enginePath);
// A path in the vault with forward slashes, printable.
std::string PrintableServerPath(CString const& serverPath);
std::string Utf8(CString const& text);

std::string FormatBytes(__int64 bytes);
std::string FormatCount(__int64 count, char const* one, char const* many);
// Local time "YYYY-MM-DD HH:MM:SS" of nanoseconds since 1970 UTC; "-" if unknown.
std::string FormatTime(__int64 nanoseconds);
std::string FormatDuration(__int64 seconds);

}  // namespace rampart::cli
