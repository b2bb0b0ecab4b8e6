// Texts from and for people: a program's arguments, names and paths that a terminal can show, sizes, counts,
// times.
#pragma once

#include <string>
#include <vector>

#include "engine/vaultlib.h"

namespace rampart::host {

// The arguments in UTF-8 as CLI11 takes them: the last one first, without the program's name.
std::vector<std::string> ArgumentsForParser(int argc, char** argv);

// A path or name fit for a terminal: control characters and bytes that are not UTF-8 shown as \xNN.
std::string Printable(std::string const& bytes);
// The native form of an engine path, printable.
std::string PrintablePath(CString const& enginePath);
// A path in the vault with forward slashes, printable.
std::string PrintableServerPath(CString const& serverPath);
std::string Utf8(CString const& text);

// At most `width` bytes, with an ellipsis where something was cut; no character is cut in two.
std::string Shortened(std::string const& text, size_t width);

std::string FormatBytes(__int64 bytes);
std::string FormatCount(__int64 count, char const* one, char const* many);
// Local time "YYYY-MM-DD HH:MM:SS" of nanoseconds since 1970 UTC; "-" if unknown.
std::string FormatTime(__int64 nanoseconds);
std::string FormatDuration(__int64 seconds);

}  // namespace rampart::host
