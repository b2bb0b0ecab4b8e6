// Names without regard to case.
#pragma once

#include <string>
#include <string_view>

namespace rampart {

// Unicode simple case folding, character by character; bytes that are not UTF-8 stay as they are.
std::string FoldCase(std::string_view name);

bool EqualNoCase(std::string_view a, std::string_view b);

}  // namespace rampart
