// Lets failed expectations show texts in a readable form.
#pragma once

#include <ostream>

#include "framework/cstring.h"

inline void PrintTo(const CString& text, std::ostream* out) {
    *out << '"' << text.ToUtf8() << '"';
}
