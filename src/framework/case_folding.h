// Comparison without regard to case: Unicode simple folding, character by character, with a fast path for
// ASCII. All functions are pure and may be called from any thread.
#pragma once

#include <cstddef>

#include "framework/types.h"

namespace rampart {

// The folded form of one character, beside surrogates, which stay as they are. Folding keeps a text's length.
VAULTLIB_API TCHAR FoldCharacter(TCHAR character);
// The folded form of a text, surrogate pairs included.
VAULTLIB_API Text FoldCase(TextView text);

// -1, 0 or 1 by the order of the folded characters.
VAULTLIB_API int CompareNoCase(TextView left, TextView right);
VAULTLIB_API bool EqualNoCase(TextView left, TextView right);
VAULTLIB_API bool StartsWithNoCase(TextView text, TextView prefix);
VAULTLIB_API bool EndsWithNoCase(TextView text, TextView suffix);
// Index of the first occurrence at or behind `start`, or TextView::npos. An empty `part` is found at `start`.
VAULTLIB_API size_t FindNoCase(TextView text, TextView part, size_t start = 0);
VAULTLIB_API size_t HashNoCase(TextView text);

// Lower and upper case by simple mapping, in place; the length stays.
VAULTLIB_API void MakeLowerCase(TCHAR* text, size_t length);
VAULTLIB_API void MakeUpperCase(TCHAR* text, size_t length);

// For containers; they take every text type without making a copy.
struct NoCaseLess {
    using is_transparent = void;
    bool operator()(TextView left, TextView right) const { return CompareNoCase(left, right) < 0; }
};
struct NoCaseEqual {
    using is_transparent = void;
    bool operator()(TextView left, TextView right) const { return EqualNoCase(left, right); }
};
struct NoCaseHash {
    using is_transparent = void;
    size_t operator()(TextView text) const { return HashNoCase(text); }
};

}  // namespace rampart
