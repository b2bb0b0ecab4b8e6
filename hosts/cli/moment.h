// A moment that a user typed.
#pragma once

#include <optional>
#include <string>

namespace rampart::cli {

// Nanoseconds since 1970 UTC of "YYYY-MM-DD", "YYYY-MM-DD HH:MM" or "YYYY-MM-DD HH:MM:SS[.fraction]" in local
// time (a "T" may stand for the blank). The end of what was typed: a day is meant whole, a minute whole. None
// if it is no date.
std::optional<long long> ParseMoment(std::string const& text);

// The same of an option: none if it was not given; throws CommandError for what is no date.
std::optional<long long> RequireMoment(std::string const& text);

}  // namespace rampart::cli
