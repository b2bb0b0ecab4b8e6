// Engine texts in the form that expressions and paths are matched in: valid UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "platform/text.h"

namespace rampart {

// A lone surrogate, which stands for a byte of a name that is not UTF-8, becomes the character U+10D800 to
// U+10DFFF of the same number, so that "any character" includes it. A surrogate pair of that plane maps to
// the same; names that hold such characters do not occur in filters.
void AppendFilterText(platform::TextView text, std::string& utf8);

// The text in a buffer of the calling thread, valid until its next call.
std::string_view FilterText(platform::TextView text);

}  // namespace rampart
