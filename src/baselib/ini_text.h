// INI text in UTF-8: sections, "key = value" lines, comments that begin with ";" or "#".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"

namespace rampart {

struct IniEntry {
    platform::Text section;
    platform::Text key;
    platform::Text value;  // as it stands in the file, without blanks at its ends
};

// All entries in file order, those of a key that comes twice too. Lines that are neither are passed over; a
// text that cannot be read at all gives none.
std::vector<IniEntry> ParseIni(std::string_view utf8);

// The text with one value put in, everything else as it was. Nothing if a name or the value cannot stand in a
// line of its own.
std::optional<std::string> WithIniValue(std::string_view utf8, platform::TextView section,
                                        platform::TextView key, platform::TextView value);

// A value without the double quotes around it. They keep blanks at its ends. A value with a quote inside,
// such as "a" and "b", stays as it is; one that is to begin and end with quotes has two pairs.
platform::TextView UnquotedIniValue(platform::TextView value);

// Unquoted, and with \n, \t, \\ and \" replaced by what they stand for; another backslash stays as it is.
platform::Text UnescapedIniValue(platform::TextView value);

}  // namespace rampart
